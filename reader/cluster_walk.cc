#include "reader/cluster_walk.h"

#include <algorithm>

#include "host/log.h"
#include "store/packet_format.h"

namespace vmr {
namespace {

constexpr char kLogSource[] = "MetadataReader.cc";
constexpr char kOperation[] = "DoesClusterContainStateDump";

// How the walk names what it meets, by its first byte.
const char* KindName(unsigned char header) {
  static constexpr const char* kNames[] = {"HDR1", "HDR2", "CONT", "DICT"};
  return FindPacketShape(header) == nullptr ? "UNKN" : kNames[header - HEADER_1];
}

// One packet of the walk, or one byte that is none.
struct WalkedPacket {
  const PacketShape* shape = nullptr;
  std::size_t bytes = 1;

  bool HoldsItems() const { return shape != nullptr && shape->has_items; }
};

WalkedPacket Examine(const unsigned char* packet, std::size_t available) {
  const PacketShape* const shape = FindPacketShape(packet[0]);
  if (shape == nullptr) return {};
  return {shape, PacketBytes(*shape, packet, available)};
}

// Whether a dump's mark is among the items, as the walk meets them.
bool HoldMark(const unsigned char* items, std::size_t available) {
  while (available > 0) {
    if (items[0] == TAG_POLICY_END) return true;
    const std::size_t item_bytes = ItemLength(FindTag(items[0]), items, available);
    if (item_bytes == 0) return false;
    items += item_bytes;
    available -= item_bytes;
  }
  return false;
}

// Of an item that nobody decodes, and that ends within `available`; else 0.
std::size_t UndecodableItemBytes(const unsigned char* item, std::size_t available) {
  const TagRow* const row = FindTag(item[0]);
  return row != nullptr && row->decoder == nullptr ? ItemLength(row, item, available) : 0;
}

void LogHeader(unsigned char header, unsigned int tick) {
  static constexpr const char* kNames[] = {"HEADER_1", "HEADER_2", "HEADER_CONT"};
  VMR_LOG(kLogTrace, kOperation << "Found " << kNames[header - HEADER_1]
                                << " @ last read system tick " << tick);
}

}  // namespace

bool ClusterWalk::Run(DataStore& output, unsigned int first_tick,
                      std::optional<unsigned int> wanted_tick) {
  packets_.ForgetPackets();
  parser_.Decoded().policy_end_seen = false;
  met_untold_dump_ = false;
  packets_.SetTick(first_tick);
  if (first_tick != kNoTick) output.InitCurrentSystemTick(first_tick);
  while (packets_.UnparsedBytes() > 0) {
    const WalkedPacket packet = Examine(packets_.Unparsed(), packets_.UnparsedBytes());
    if (packet.bytes > packets_.UnparsedBytes()) break;
    if (packet.HoldsItems()) TakePacket(output, *packet.shape, packet.bytes);
    // Deliberate: the reader stays at this packet, with all of the cluster still
    // buffered, and so meets it again.
    if (parser_.Decoded().policy_end_seen && IsWanted(wanted_tick)) return true;
    const char* const kind = KindName(*packets_.Unparsed());
    packets_.Pass(packet.bytes);
    VMR_LOG(kLogInfo, kOperation << ": " << kind << " bytesLeft(" << packets_.UnparsedBytes()
                                 << "), bytesParsed(" << packet.bytes << ")");
    if (packets_.UnparsedBytes() > 0 && packets_.ListIsFull()) EmptyPacketList();
  }
  if (packets_.HasBytes()) EmptyPacketList();
  packets_.ForgetBytes();
  return false;
}

void ClusterWalk::TakePacket(DataStore& output, const PacketShape& shape,
                             std::size_t packet_bytes) {
  const unsigned char* const packet = packets_.Unparsed();
  const unsigned int tick = PacketTickIfKnown(packet, packets_.Tick());
  const bool tells_tick =
      packet[0] == HEADER_1 || (packet[0] == HEADER_2 && packets_.Tick() != kNoTick);
  packets_.SetTick(tick);
  if (tells_tick) output.InitCurrentSystemTick(tick);
  LogHeader(packet[0], tick);
  packets_.List(packet_bytes);
  ParseItems(output, packet + shape.head_bytes, PacketItemBytes(shape, packet_bytes));
}

// Every dump holds an item that no decoder accepts, and behind it, as often as
// not, the end of the configuration that marks the dump. Here alone that item is
// stepped over; elsewhere it ends its packet like any other illegal one.
void ClusterWalk::ParseItems(DataStore& output, const unsigned char* items, std::size_t available) {
  while (available > 0) {
    std::size_t item_bytes = UndecodableItemBytes(items, available);
    if (item_bytes == 0) {
      const int parsed = parser_.ParseItem(output, items, available);
      if (parsed < 1) return;
      item_bytes = static_cast<std::size_t>(parsed);
    }
    items += item_bytes;
    available -= item_bytes;
  }
}

// Takes the mark of a dump back, for the next.
bool ClusterWalk::IsWanted(std::optional<unsigned int> wanted_tick) {
  const unsigned int tick = packets_.Tick();
  VMR_LOG(kLogEachItem, kOperation << "Found a state dump in this cluster!");
  parser_.Decoded().policy_end_seen = false;
  if (!wanted_tick) return false;
  if (tick <= *wanted_tick) {
    VMR_LOG(kLogInfo, "Found a state dump in this cluster!");
    report_.dump_found = true;
    report_.dump_tick = tick;
    return true;
  }
  VMR_LOG(kLogInfo, "Found a state dump in this cluster but readSysTick ("
                        << tick << ") is > sysTick (" << *wanted_tick << ") searching for!");
  report_.later_dump_tick = std::min(report_.later_dump_tick, tick);
  met_untold_dump_ = met_untold_dump_ || tick == kNoTick;
  return false;
}

void ClusterWalk::EmptyPacketList() {
  VMR_LOG(kLogEachItem, kOperation << "numReadPackets(" << packets_.PacketCount() << ")");
  packets_.ForgetPackets();
}

bool ClusterWalk::HoldsDump(unsigned int first_tick, unsigned int wanted_tick) const {
  unsigned int tick = first_tick;
  const unsigned char* at = packets_.Unparsed();
  for (std::size_t left = packets_.UnparsedBytes(); left > 0;) {
    const WalkedPacket packet = Examine(at, left);
    if (packet.bytes > left) return false;
    if (packet.HoldsItems()) {
      tick = PacketTickIfKnown(at, tick);
      const std::size_t item_bytes = PacketItemBytes(*packet.shape, packet.bytes);
      if (tick <= wanted_tick && HoldMark(at + packet.shape->head_bytes, item_bytes)) return true;
    }
    at += packet.bytes;
    left -= packet.bytes;
  }
  return false;
}

void ClusterWalk::PassContinuations() {
  while (packets_.UnparsedBytes() > 0 && *packets_.Unparsed() == HEADER_CONT) {
    const std::size_t bytes = WholePacketBytes(packets_.Unparsed(), packets_.UnparsedBytes());
    if (bytes == 0) return;
    packets_.Pass(bytes);
  }
}

}  // namespace vmr
