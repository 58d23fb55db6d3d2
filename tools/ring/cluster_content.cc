#include "tools/ring/cluster_content.h"

#include <fmt/format.h>

#include "backends/cluster_format.h"
#include "store/bytes.h"
#include "store/packet_format.h"
#include "store/tag_catalogue.h"

namespace vmr::tool {
namespace {

// How far the item at `item` reaches, of which `available` bytes (at least 1) are there; 0 when
// it does not end within them or its tag is none. Clusters are walked by the millions of items,
// each of which waits for the length of the one before: one small table tells it sooner than
// the catalogue's rows.
class ItemLengths {
 public:
  ItemLengths() {
    for (const TagRow& row : Tags()) heads_[row.tag] = {row.size, row.variable};
  }
  std::size_t At(const unsigned char* item, std::size_t available) const {
    const Head head = heads_[item[0]];
    if (head.size > available) return 0;
    const std::size_t length = head.variable ? head.size + item[head.size - 1] : head.size;
    return length > available ? 0 : length;
  }

 private:
  struct Head {
    unsigned char size = 0;
    bool variable = false;
  };
  std::array<Head, 256> heads_{};
};

const ItemLengths& Lengths() {
  static const ItemLengths kLengths;
  return kLengths;
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
  // Looks at what stands at `packet`; how far it reaches.
  std::size_t Step(const unsigned char* packet, std::size_t available) {
    const PacketShape* const shape = FindPacketShape(packet[0]);
    if (shape == nullptr) {
      ++(packet[0] == HEADER_NULL ? content_.null_bytes : content_.junk_bytes);
      return 1;
    }
    const std::size_t bytes = WholePacketBytes(packet, available);
    if (bytes == 0) {
      ++content_.cut_packets;
      return available;
    }
    // A dictionary has no CRC, and its last byte is not judged.
    if (shape->has_items && !PacketEndIsRight(packet, bytes))
      ++content_.wrong_crcs;
    else
      CountPacket(*shape, packet, bytes);
    return bytes;
  }

  void CountPacket(const PacketShape& shape, const unsigned char* packet, std::size_t bytes) {
    if (content_.packets++ == 0) content_.first_kind = packet[0];
    if (packet == image_ + kClusterHeaderBytes) content_.begins_sound = true;
    FollowTick(packet);
    if (sink_ != nullptr) sink_->OnPacket(packet, bytes, tick_);
    if (shape.has_items)
      CountItems(packet + shape.head_bytes, bytes - shape.head_bytes - kPacketCrcBytes);
  }

  void FollowTick(const unsigned char* packet) {
    if (packet[0] != HEADER_1 && (packet[0] != HEADER_2 || tick_ == kNoTick)) return;
    const unsigned int tick = PacketTick(packet, tick_);
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

  void CountItems(const unsigned char* item, std::size_t available) {
    std::uint16_t items = 0;
    for (; available > 0; ++items) {
      const std::size_t bytes = lengths_.At(item, available);
      if (bytes == 0) {
        ++content_.undecodable;
        break;
      }
      content_.tags.set(item[0]);
      if (sink_ != nullptr) sink_->OnItem(item, tick_);
      item += bytes;
      available -= bytes;
    }
    content_.items = static_cast<std::uint16_t>(content_.items + items);
  }

  const ItemLengths& lengths_ = Lengths();
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

void CountItems(const unsigned char* image, std::size_t used_bytes, TagCounts& counts) {
  const ItemLengths& lengths = Lengths();
  for (std::size_t at = kClusterHeaderBytes; at < used_bytes;) {
    const unsigned char* const packet = image + at;
    const PacketShape& shape = *FindPacketShape(packet[0]);
    const std::size_t packet_bytes = PacketBytes(shape, packet, used_bytes - at);
    at += packet_bytes;
    if (!shape.has_items) continue;
    const unsigned char* item = packet + shape.head_bytes;
    for (std::size_t left = PacketItemBytes(shape, packet_bytes); left > 0;) {
      const std::size_t bytes = lengths.At(item, left);
      if (bytes == 0) break;
      ++counts[item[0]];
      item += bytes;
      left -= bytes;
    }
  }
}

std::string KindName(unsigned char tag) {
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
