// What the packets of one cluster come to.
#ifndef VMR_TOOLS_RING_CLUSTER_CONTENT_H_
#define VMR_TOOLS_RING_CLUSTER_CONTENT_H_

#include <array>
#include <bitset>
#include <cstddef>
#include <cstdint>
#include <set>
#include <string>

#include "store/stream_format.h"

namespace vmr::tool {

using TagSet = std::bitset<256>;
using TagCounts = std::array<unsigned long, 256>;

// Counts and ticks of a cluster's packets. Only packets that are whole and whose
// CRC is right count and tell ticks. A cluster's 4096 bytes hold no more than 16 bits
// count; there are tens of thousands of these in memory.
struct ClusterContent {
  std::uint16_t packets = 0;
  std::uint16_t items = 0;
  TagSet tags;
  unsigned int first_tick = kNoTick;  // of the first packet with a header of its own
  unsigned int last_tick = kNoTick;
  unsigned char first_kind = 0;  // of the first packet; 0 without one
  bool begins_sound = false;     // the first packet stands where packets begin

  std::uint16_t null_bytes = 0;   // in a packet's place, that stand for nothing
  std::uint16_t junk_bytes = 0;   // in a packet's place that begin none
  std::uint16_t wrong_crcs = 0;   // packets
  std::uint16_t cut_packets = 0;  // that claim to reach past the cluster's end
  std::uint16_t undecodable = 0;  // packets with an item that no reader decodes
  bool ticks_fall = false;        // from one packet to the next
  bool wrong_st = false;          // the cluster's first tick is not its first packet's

  // Bytes that are no sound packet.
  bool Faulty() const { return junk_bytes + wrong_crcs + cut_packets > 0; }
  // Sound packets, one behind the other, and nothing else.
  bool IsPure() const { return packets > 0 && null_bytes == 0 && !Faulty(); }
};

// Is shown what a walk meets.
class ContentSink {
 public:
  virtual ~ContentSink() = default;
  // A sound packet; `tick` is kNoTick when nothing tells it.
  virtual void OnPacket(const unsigned char* /*packet*/, std::size_t /*bytes*/,
                        unsigned int /*tick*/) {}
  virtual void OnItem(const unsigned char* /*item*/, unsigned int /*tick*/) {}
};

// Walks the packets of a cluster image. `used_bytes`, at most 4096, is where they
// end; the image's own `size` is not looked at, so that damaged images can be
// walked. `sink` may be null.
ClusterContent WalkCluster(const unsigned char* image, std::size_t used_bytes,
                           ContentSink* sink = nullptr);

// Adds up the items of a cluster whose content is pure.
void CountItems(const unsigned char* image, std::size_t used_bytes, TagCounts& counts);

// The names of the kinds of items, as the viewer prints them; kinds that share a
// name are one.
std::set<std::string> KindNames(const TagSet& tags);
std::string KindName(unsigned char tag);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_RING_CLUSTER_CONTENT_H_
