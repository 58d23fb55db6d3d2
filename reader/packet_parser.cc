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
  const unsigned char header = packet[0];
  if (header == HEADER_NULL) {
    VMR_LOG(kLogError, "Found NULL packet in processed data prior to " << position);
    return false;
  }
  const PacketShape* const shape = FindPacketShape(header);
  if (shape == nullptr || static_cast<std::size_t>(length) < shape->head_bytes) {
    VMR_LOG(kLogError, "Found bad header (" << static_cast<int>(header)
                                            << ") header in processed data prior to " << position);
    return false;
  }
  if (shape->has_items)
    ParseItemPacket(out, packet, length);
  else if (out.Viewing())
    PrintDictionary(packet, length);
  return true;
}

// All of its head is there.
void PacketParser::ParseItemPacket(DataStore& out, const unsigned char* packet, int length) {
  const auto head_bytes = static_cast<int>(FindPacketShape(packet[0])->head_bytes);
  const int counted = packet[head_bytes - 1];
  const unsigned int tick_before = out.GetCurrentSystemTick();
  out.InitCurrentSystemTick(PacketTick(packet, tick_before));
  // Deliberate: the tick is the one before this header, the date and time are those
  // of the new one.
  if (out.Viewing())
    PrintHeaderLine(HeaderName(packet[0]), tick_before, date_.Of(out.GetAdjustedTime()), counted);
  if (Dumping(out)) Dump(packet, head_bytes);
  ParseItems(out, packet + head_bytes, std::min(counted, length - head_bytes));
  if (out.Viewing()) PrintText('\n');
}

// An illegal item ends its packet: nothing tells where the next one begins.
void PacketParser::ParseItems(DataStore& out, const unsigned char* items, int count) {
  while (count > 0) {
    const int item_bytes = ParseItem(out, items, static_cast<std::size_t>(count));
    if (Dumping(out)) Dump(items, item_bytes);
    if (item_bytes < 1) return;
    items += item_bytes;
    count -= item_bytes;
  }
}

// An item that claims to reach past its packet is as illegal as an unknown tag, and as
// one that is written and that nobody decodes.
int PacketParser::ParseItem(DataStore& out, const unsigned char* item, std::size_t available) {
  const TagRow* const row = FindTag(item[0]);
  const std::size_t length = ItemLength(row, item, available);
  if (length == 0 || row->decoder == nullptr) {
    if (out.Viewing()) PrintText("[Illegal payload tag 0x", Hex2{item[0]}, "] ");
    return -1;
  }
  row->decoder(out, item, decoded_);
  return static_cast<int>(length);
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
