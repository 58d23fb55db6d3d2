#include "reader/packet_parser.h"

#include <algorithm>
#include <cctype>
#include <string_view>

#include "host/log.h"
#include "reader/packet_collector.h"
#include "store/packet_format.h"
#include "store/view_text.h"

namespace vmr {
namespace {

constexpr char kLogSource[] = "MetadataReader.cc";

bool Dumping(const DataStore& out) { return (out.ViewMode() & kViewDumps) != 0; }

void Dump(const unsigned char* bytes, int count) {
  PrintText('\n');
  PacketParser::DebugPrint(bytes, count);
}

[[gnu::noinline, gnu::cold]] void LogBadHeader(unsigned char header, long position) {
  if (header == HEADER_NULL)
    VMR_LOG(kLogError, "Found NULL packet in processed data prior to " << position);
  else
    VMR_LOG(kLogError, "Found bad header (" << static_cast<int>(header)
                                            << ") header in processed data prior to " << position);
}

// Apart from what nearly all items need.
[[gnu::noinline, gnu::cold]] void SayIllegal(const DataStore& out, const unsigned char* item) {
  if (out.Viewing()) PrintText("[Illegal payload tag 0x", Hex2{item[0]}, "] ");
}

// Of a packet of which `length` bytes are there, all of its head among them.
std::size_t ItemBytes(const unsigned char* packet, int length, int head_bytes) {
  return static_cast<std::size_t>(std::min<int>(packet[head_bytes - 1], length - head_bytes));
}

// How the viewer names a packet with items.
const char* HeaderName(unsigned char header) {
  static constexpr const char* kNames[] = {"hdr1", "hdr2", "hdrCONT"};
  return kNames[header - HEADER_1];
}

void PrintHeaderLine(const char* name, unsigned int tick, std::string_view date, int item_bytes) {
  PrintText('(', name, ") ", Wide5{tick}, " (",
            date.empty() ? std::string_view("NULL localtime return") : date, ") (",
            Dec2{item_bytes}, ") ");
}

void PrintDictionary(const unsigned char* packet, int length) {
  constexpr unsigned char kVariable = 0x80;
  const PacketShape& shape = *FindPacketShape(HEADER_DICTIONARY);
  const auto head_bytes = static_cast<int>(shape.head_bytes);
  const auto entry_bytes = static_cast<int>(shape.bytes_per_count);
  PrintText("hdrDICT (", Dec2{packet[1]}, ") ");
  for (int i = 0; i < packet[1] && head_bytes + (i + 1) * entry_bytes <= length; ++i) {
    const unsigned char* const entry = packet + head_bytes + i * entry_bytes;
    PrintText(i == 0 ? "" : ",", "0x", Hex2{entry[0]}, '-', entry[1] & ~kVariable & 0xFF,
              (entry[1] & kVariable) != 0 ? "V" : "");
  }
  PrintText("\n\n");  // Deliberate: an empty line behind it
}

// One row of a dump; `print_cell` prints a byte two columns wide.
template <typename PrintCell>
void DumpRow(const char* label, const unsigned char* bytes, int count, PrintCell print_cell) {
  constexpr int kGroupBytes = 8;
  PrintText(label);
  for (int i = 0; i < count; ++i) {
    if (i > 0) PrintText(i % kGroupBytes == 0 ? "  " : " ");
    print_cell(bytes[i]);
  }
  PrintText('\n');
}

}  // namespace

bool PacketParser::ParseTick(DataStore& out, const PacketCollector& packets) {
  for (const PacketCollector::Packet& packet : packets)
    if (!ParsePacket(out, packet.bytes, static_cast<int>(packet.count), packets.NextPosition()))
      return false;
  return true;
}

bool PacketParser::ParsePacket(DataStore& out, const unsigned char* packet, int length,
                               long position) {
  if (packet == nullptr || length < 1) return false;
  const PacketShape* const shape = FindPacketShape(packet[0]);
  if (shape == nullptr || static_cast<std::size_t>(length) < shape->head_bytes) {
    LogBadHeader(packet[0], position);
    return false;
  }
  if (shape->has_items)
    ParseItemPacket(out, packet, length, static_cast<int>(shape->head_bytes));
  else if (out.Viewing())
    PrintDictionary(packet, length);
  return true;
}

// All of its head is there.
void PacketParser::ParseItemPacket(DataStore& out, const unsigned char* packet, int length,
                                   int head_bytes) {
  const unsigned int tick_before = out.GetCurrentSystemTick();
  out.InitCurrentSystemTick(PacketTick(packet, tick_before));
  if (out.ViewMode() == 0)
    ParseItems(out, packet + head_bytes, ItemBytes(packet, length, head_bytes));
  else
    ShowItemPacket(out, packet, length, head_bytes, tick_before);
}

// Parses it with what frames it for the eye.
void PacketParser::ShowItemPacket(DataStore& out, const unsigned char* packet, int length,
                                  int head_bytes, unsigned int tick_before) {
  const int counted = packet[head_bytes - 1];
  // Deliberate: the tick is the one before this header, the date and time are those
  // of the new one.
  if (out.Viewing())
    PrintHeaderLine(HeaderName(packet[0]), tick_before, date_.Of(out.GetAdjustedTime()), counted);
  if (Dumping(out)) Dump(packet, head_bytes);
  const std::size_t item_bytes = ItemBytes(packet, length, head_bytes);
  if (Dumping(out))
    DumpItems(out, packet + head_bytes, item_bytes);
  else
    ParseItems(out, packet + head_bytes, item_bytes);
  if (out.Viewing()) PrintText('\n');
}

// An illegal item ends its packet: nothing tells where the next one begins.
void PacketParser::ParseItems(DataStore& out, const unsigned char* items, std::size_t count) {
  const TagCatalogue& tags = Tags();
  while (count > 0) {
    std::size_t item_bytes = 0;
    if (!ParseItemOf(tags.Find(items[0]), out, items, count, item_bytes)) return;
    items += item_bytes;
    count -= item_bytes;
  }
}

void PacketParser::DumpItems(DataStore& out, const unsigned char* items, std::size_t count) {
  while (count > 0) {
    const int item_bytes = ParseItem(out, items, count);
    Dump(items, item_bytes);
    if (item_bytes < 1) return;
    items += item_bytes;
    count -= static_cast<std::size_t>(item_bytes);
  }
}

int PacketParser::ParseItem(DataStore& out, const unsigned char* item, std::size_t available) {
  std::size_t length = 0;
  return ParseItemOf(FindTag(item[0]), out, item, available, length) ? static_cast<int>(length)
                                                                     : -1;
}

// An item that claims to reach past its packet is as illegal as an unknown tag, and as
// one that is written and that nobody decodes. False for these.
inline bool PacketParser::ParseItemOf(const TagRow* row, DataStore& out, const unsigned char* item,
                                      std::size_t available, std::size_t& length) {
  if (!MeasureItem(row, item, available, length) || row->decoder == nullptr) {
    SayIllegal(out, item);
    return false;
  }
  row->decoder(out, item, decoded_);
  return true;
}

void PacketParser::DebugPrint(const unsigned char* bytes, int count) {
  DumpRow("       hex:", bytes, count, [](unsigned char byte) { PrintText(Hex2{byte}); });
  DumpRow(" printable:", bytes, count, [](unsigned char byte) {
    if (std::isprint(byte) != 0)
      PrintText(static_cast<char>(byte), ' ');
    else
      PrintText("  ");
  });
}

}  // namespace vmr
