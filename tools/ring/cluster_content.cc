#include "tools/ring/cluster_content.h"

#include <fmt/format.h>

#include "backends/cluster_format.h"
#include "store/bytes.h"
#include "store/tag_catalogue.h"
#include "tools/common/ring_files.h"

namespace vmr::tool {
namespace {

// How a kind of packet is measured. The last byte of its head counts.
struct PacketKind {
  unsigned char header;
  std::size_t head_bytes;
  std::size_t bytes_per_count;
  bool has_items;
};
constexpr PacketKind kKinds[] = {
    {HEADER_1, kHeader1Bytes, 1, true},
    {HEADER_2, kHeader2Bytes, 1, true},
    {HEADER_CONT, kHeaderContBytes, 1, true},
    {HEADER_DICTIONARY, 1 + 1, 2, false},
};

const PacketKind* FindKind(unsigned char header) {
  for (const PacketKind& kind : kKinds)
    if (kind.header == header) return &kind;
  return nullptr;
}

// The whole length of the item of which `available` bytes are there; 0 when it
// does not end within them or no reader decodes it. The time zone's name, which
// none decodes either, is known to be written.
std::size_t WrittenItemBytes(const unsigned char* item, std::size_t available) {
  constexpr std::size_t kHeadBytes = 1 + 1;
  if (item[0] != TAG_TIME_ZONE_NAME) return ItemLength(FindTag(item[0]), item, available);
  if (available < kHeadBytes) return 0;
  const std::size_t length = kHeadBytes + item[1];
  return length <= available ? length : 0;
}

class Walk {
 public:
  Walk(const unsigned char* image, std::size_t used_bytes, ContentSink* sink)
      : image_(image), end_(used_bytes), sink_(sink), st_(ClusterSt(image)) {
    if (TellsTick(st_)) tick_ = st_;
  }

  ClusterContent Run() {
    for (std::size_t at = kClusterHeaderBytes; at < end_;) at += Step(image_ + at, end_ - at);
    return content_;
  }

 private:
  std::size_t Step(const unsigned char* packet, std::size_t available) {
    const PacketKind* const kind = FindKind(packet[0]);
    if (kind == nullptr) {
      if (packet[0] != HEADER_NULL) ++content_.junk_bytes;
      return 1;
    }
    const std::size_t count = available >= kind->head_bytes ? packet[kind->head_bytes - 1] : 0;
    const std::size_t bytes = kind->head_bytes + count * kind->bytes_per_count + kPacketCrcBytes;
    if (bytes > available) {
      ++content_.cut_packets;
      return available;
    }
    if (kind->has_items && !CrcIsRight(packet, bytes, count)) {
      ++content_.wrong_crcs;
      return bytes;
    }
    TakePacket(*kind, packet, bytes);
    return bytes;
  }

  // Deliberate: of a continuation only the first L bytes are covered.
  static bool CrcIsRight(const unsigned char* packet, std::size_t bytes, std::size_t count) {
    const std::size_t covered = packet[0] == HEADER_CONT ? count : bytes - kPacketCrcBytes;
    return Crc8(packet, static_cast<unsigned int>(covered), kCrcInitial) == packet[bytes - 1];
  }

  void TakePacket(const PacketKind& kind, const unsigned char* packet, std::size_t bytes) {
    if (content_.packets++ == 0) content_.first_kind = packet[0];
    if (packet == image_ + kClusterHeaderBytes) content_.begins_sound = true;
    TakeTick(packet);
    if (sink_ != nullptr) sink_->TakePacket(packet, bytes, tick_);
    if (kind.has_items)
      TakeItems(packet + kind.head_bytes, bytes - kind.head_bytes - kPacketCrcBytes);
  }

  void TakeTick(const unsigned char* packet) {
    unsigned int tick = tick_;
    if (packet[0] == HEADER_1)
      tick = GetLe32(packet + 1);
    else if (packet[0] == HEADER_2 && tick_ != kNoTick)
      tick = (tick_ & ~0xFFU) | packet[1];
    else
      return;
    if (content_.first_tick == kNoTick) {
      content_.first_tick = tick;
      // Continuations in front may have been given the tick of a packet behind them
      // that a power cut then kept from being written.
      const bool continued = content_.first_kind == HEADER_CONT;
      content_.wrong_st = continued ? tick < st_ : tick != st_;
    } else if (tick < tick_) {
      content_.ticks_fall = true;
    }
    tick_ = tick;
    content_.last_tick = tick;
  }

  void TakeItems(const unsigned char* item, std::size_t available) {
    while (available > 0) {
      const std::size_t bytes = WrittenItemBytes(item, available);
      if (bytes == 0) {
        ++content_.undecodable;
        return;
      }
      ++content_.items;
      content_.tags.set(item[0]);
      if (sink_ != nullptr) sink_->TakeItem(item, tick_);
      item += bytes;
      available -= bytes;
    }
  }

  const unsigned char* image_;
  std::size_t end_;
  ContentSink* sink_;
  unsigned int st_;
  unsigned int tick_ = kNoTick;
  ClusterContent content_;
};

}  // namespace

ClusterContent WalkCluster(const unsigned char* image, std::size_t used_bytes, ContentSink* sink) {
  return Walk(image, used_bytes, sink).Run();
}

std::string KindName(unsigned char tag) {
  if (tag == TAG_TIME_ZONE_NAME) return "time zone name";
  const TagRow* const row = FindTag(tag);
  return row != nullptr ? row->name : fmt::format("tag 0x{:02X}", tag);
}

std::set<std::string> KindNames(const TagSet& tags) {
  std::set<std::string> names;
  for (std::size_t tag = 0; tag < tags.size(); ++tag)
    if (tags.test(tag)) names.insert(KindName(static_cast<unsigned char>(tag)));
  return names;
}

}  // namespace vmr::tool
