// A ring that has come round: all clusters written, as memory. Packets of every
// kind at random, a full state dump every hour of ticks.
#ifndef VMR_TESTS_SUPPORT_FULL_RING_H_
#define VMR_TESTS_SUPPORT_FULL_RING_H_

#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

#include "backends/cluster_format.h"
#include "tests/support/bytes.h"

namespace vmr::test {

// What a ring is filled with.
struct FullRingCourse {
  unsigned int ticks_between_packets = 5;  // at most
  int items_in_packet = 8;                 // at most
  // A dump is found only when a whole tick stands in front of it in its cluster.
  // With this its own packet has one.
  bool dumps_tell_tick = false;
  // Continuations, dictionaries, damage, unknown ticks, items that are illegal.
  bool odd_packets = true;
};

class FullRing {
 public:
  static constexpr std::size_t kClusters = 32768;
  static constexpr unsigned int kTicksBetweenDumps = 7200;

  // `newest`: the cluster written last.
  FullRing(std::uint32_t seed, std::size_t newest, const FullRingCourse& course = {});

  const std::vector<unsigned char>& Image() const { return image_; }
  const unsigned char* Cluster(std::size_t n) const { return &image_[n * kClusterBytes]; }
  std::size_t Newest() const { return newest_; }
  std::size_t Oldest() const { return (newest_ + 1) % kClusters; }
  // Of the clusters, and of the packets in them, from the oldest on.
  const std::vector<unsigned int>& PacketTicks() const { return packet_ticks_; }
  const std::vector<unsigned int>& DumpTicks() const { return dump_ticks_; }

 private:
  std::uint32_t Below(std::size_t n) { return static_cast<std::uint32_t>(random_() % n); }
  unsigned char Byte() { return static_cast<unsigned char>(random_()); }

  // The item areas of some units' full states.
  void MakeDumps();

  void EmitTick();

  // As a store writes it that was not told the tick; the next packet tells it again.
  void EmitUnknownTick();

  void EmitPackets(const std::vector<Bytes>& areas);

  void FillArea(Bytes& area, int items);
  // Leave it in `item_`.
  void MakeItem();
  void MakeTextItem();

  // As the store does it.
  void Append(const Bytes& packet, unsigned int tick);
  void BeginCluster();
  void CloseCluster();

  std::mt19937 random_;
  const FullRingCourse course_;
  const std::size_t newest_;
  std::vector<unsigned char> image_;
  std::vector<std::vector<Bytes>> dumps_;
  std::vector<unsigned int> packet_ticks_;
  std::vector<unsigned int> dump_ticks_;
  unsigned int tick_ = 100000;
  unsigned int last_tick_ = kNoTick;
  unsigned int next_dump_ = 0;
  bool recording_ = false;
  std::size_t at_ = 0;
  std::size_t used_ = 0;
  unsigned int st_ = kPartialWrapSt;
  std::size_t written_ = 0;
  // Of the moment; kept, as millions are made.
  Bytes item_;
  Bytes packet_;
};

}  // namespace vmr::test

#endif  // VMR_TESTS_SUPPORT_FULL_RING_H_
