// Parsing packets and items into a store, and printing their frame.
#include <algorithm>
#include <cctype>
#include <cstdio>

#include "host/log.h"
#include "host/wall_clock.h"
#include "reader/metadata_reader.h"
#include "store/packet_format.h"

namespace vmr {
namespace {

constexpr char kLogSource[] = "MetadataReader.cc";

bool RefuseNull(const void* argument, const char* operation) {
  if (argument != nullptr) return false;
  VMR_LOG(kLogError, "Null value passed to " << operation);
  return true;
}

bool Dumping(const DataStore& out) { return (out.ViewMode() & kViewDumps) != 0; }

void Dump(const unsigned char* bytes, int count) {
  std::putchar('\n');
  MetadataReader::DebugPrint(bytes, count);
}

// Deliberate: `tick` is the one before this header, the date and time are those
// of the new one.
void PrintHeaderLine(const DataStore& out, const char* name, unsigned int tick, int item_bytes) {
  std::tm local{};
  if (!LocalTime(out.GetAdjustedTime(), &local)) {
    std::printf("(%s) %5u (NULL localtime return) (%02d) ", name, tick, item_bytes);
    return;
  }
  std::printf("(%s) %5u (%02d/%02d/%02d %02d:%02d:%02d) (%02d) ", name, tick, local.tm_mon + 1,
              local.tm_mday, local.tm_year + 1900, local.tm_hour, local.tm_min, local.tm_sec,
              item_bytes);
}

void PrintDictionary(const unsigned char* packet, int length) {
  constexpr int kHeadBytes = 1 + 1;
  constexpr int kEntryBytes = 2;
  constexpr unsigned char kVariable = 0x80;
  std::printf("hdrDICT (%02d) ", packet[1]);
  for (int i = 0; i < packet[1] && kHeadBytes + (i + 1) * kEntryBytes <= length; ++i) {
    const unsigned char* const entry = packet + kHeadBytes + i * kEntryBytes;
    std::printf("%s0x%02X-%d%s", i == 0 ? "" : ",", entry[0], entry[1] & ~kVariable & 0xFF,
                (entry[1] & kVariable) != 0 ? "V" : "");
  }
  std::printf("\n\n");  // Deliberate: an empty line behind it
}

// One row of a dump; `print_cell` prints a byte two columns wide.
template <typename PrintCell>
void DumpRow(const char* label, const unsigned char* bytes, int count, PrintCell print_cell) {
  constexpr int kGroupBytes = 8;
  std::fputs(label, stdout);
  for (int i = 0; i < count; ++i) {
    if (i > 0) std::fputs(i % kGroupBytes == 0 ? "  " : " ", stdout);
    print_cell(bytes[i]);
  }
  std::putchar('\n');
}

// How the viewer names a packet with items.
const char* HeaderName(unsigned char header) {
  static constexpr const char* kNames[] = {"hdr1", "hdr2", "hdrCONT"};
  return kNames[header - HEADER_1];
}

}  // namespace

int MetadataReader::ParsePacket(DataStore& out, const unsigned char* packet, int length) {
  if (packet == nullptr || length < 1) return 0;
  const unsigned char header = packet[0];
  if (header == HEADER_NULL) {
    VMR_LOG(kLogError, "Found NULL packet in processed data prior to " << next_read_location_);
    return 0;
  }
  const PacketShape* const shape = FindPacketShape(header);
  if (shape == nullptr || static_cast<std::size_t>(length) < shape->head_bytes) {
    VMR_LOG(kLogError, "Found bad header (" << static_cast<int>(header)
                                            << ") header in processed data prior to "
                                            << next_read_location_);
    return 0;
  }
  if (!shape->has_items) {
    if (out.Viewing()) PrintDictionary(packet, length);
    return 1;
  }
  const auto head_bytes = static_cast<int>(shape->head_bytes);
  const int item_bytes = std::min<int>(packet[head_bytes - 1], length - head_bytes);
  const unsigned int tick_before = out.GetCurrentSystemTick();
  out.InitCurrentSystemTick(PacketTick(packet, tick_before));
  ParseItemPacket(out, packet, {HeaderName(header), head_bytes, item_bytes}, tick_before);
  return 1;
}

void MetadataReader::ParseItemPacket(DataStore& out, const unsigned char* packet,
                                     const ItemArea& area, unsigned int tick_before) {
  if (out.Viewing())
    PrintHeaderLine(out, area.header_name, tick_before, packet[area.head_bytes - 1]);
  if (Dumping(out)) Dump(packet, area.head_bytes);
  ParseItems(out, packet + area.head_bytes, area.item_bytes);
  if (out.Viewing()) std::putchar('\n');
}

// An illegal item ends its packet: nothing tells where the next one begins.
void MetadataReader::ParseItems(DataStore& out, const unsigned char* items, int count) {
  while (count > 0) {
    const int item_bytes = ParseItemWithin(out, items, static_cast<std::size_t>(count));
    if (Dumping(out)) Dump(items, item_bytes);
    if (item_bytes < 1) return;
    items += item_bytes;
    count -= item_bytes;
  }
}

int MetadataReader::ParseItem(DataStore& out, const unsigned char* item) {
  if (RefuseNull(item, "ParseItem")) return -1;
  constexpr std::size_t kAllOfIt = 2 * kMaxPacketItemBytes;
  return ParseItemWithin(out, item, kAllOfIt);
}

// An item that claims to reach past its packet is as illegal as an unknown tag, and as
// one that is written and that nobody decodes.
int MetadataReader::ParseItemWithin(DataStore& out, const unsigned char* item,
                                    std::size_t available) {
  const TagRow* const row = FindTag(item[0]);
  const std::size_t length = ItemLength(row, item, available);
  if (length == 0 || row->decoder == nullptr) {
    if (out.Viewing()) std::printf("[Illegal payload tag 0x%02X] ", item[0]);
    return -1;
  }
  row->decoder(out, item, decoded_);
  return static_cast<int>(length);
}

void MetadataReader::DebugPrint(const unsigned char* bytes, int count) {
  if (RefuseNull(bytes, "DebugPrint")) return;
  DumpRow("       hex:", bytes, count, [](unsigned char byte) { std::printf("%02X", byte); });
  DumpRow(" printable:", bytes, count, [](unsigned char byte) {
    if (std::isprint(byte) != 0)
      std::printf("%c ", byte);
    else
      std::fputs("  ", stdout);
  });
}

}  // namespace vmr
