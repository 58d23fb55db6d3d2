// What must be in a ring, kept apart from the ring: every packet that was handed
// to it is noted, and which clusters it still has is worked out from the lengths
// alone. Of a cluster only a checksum is kept, so the model's size is fixed.
#ifndef VMR_TESTS_SOAK_RING_MODEL_H_
#define VMR_TESTS_SOAK_RING_MODEL_H_

#include <cstddef>
#include <cstdint>
#include <vector>

namespace vmr::test {

class RingModel {
 public:
  static constexpr std::size_t kClusters = 32768;

  struct Cluster {
    std::uint64_t checksum = 0;
    std::uint32_t packets = 0;
    std::uint32_t first_tick = 0;
  };

  RingModel() : clusters_(kClusters) {}

  void Take(const unsigned char* packet, int length, unsigned int tick) {
    constexpr int kClusterBytes = 4096, kHeaderBytes = 7;
    if (length > kClusterBytes - used_bytes_) {
      ++begun_;
      Newest() = Cluster();
      used_bytes_ = kHeaderBytes;
    }
    used_bytes_ += length;
    Cluster& cluster = Newest();
    if (cluster.packets == 0) cluster.first_tick = tick;
    ++cluster.packets;
    cluster.checksum = Continued(cluster.checksum, packet, length);
    ++packets_;
    if (tick < kNoTick) last_tick_ = tick;
  }

  // FNV-1a over the packets of a cluster.
  static std::uint64_t Continued(std::uint64_t checksum, const unsigned char* bytes, int length) {
    for (int i = 0; i < length; ++i) checksum = (checksum ^ bytes[i]) * 0x100000001B3U;
    return (checksum ^ static_cast<std::uint64_t>(length)) * 0x100000001B3U;
  }

  // Clusters begun since the model was made; the newest one's number follows.
  std::uint64_t Begun() const { return begun_; }
  std::uint64_t Laps() const { return begun_ / kClusters; }
  int NewestNumber() const { return static_cast<int>(begun_ % kClusters); }
  unsigned int LastTick() const { return last_tick_; }
  // Packets handed over so far: the number of the next one.
  std::uint64_t Packets() const { return packets_; }

  // The clusters that a reader must meet, oldest first.
  std::vector<Cluster> Window() const {
    std::vector<Cluster> window;
    const std::uint64_t first = begun_ < kClusters ? 0 : begun_ - kClusters + 1;
    for (std::uint64_t n = first; n <= begun_; ++n) window.push_back(clusters_[n % kClusters]);
    return window;
  }

  // Handed over with continuations and with what has no tick.
  static constexpr unsigned int kNoTick = 0xFFFFFFFE;

 private:
  Cluster& Newest() { return clusters_[begun_ % kClusters]; }

  std::vector<Cluster> clusters_;
  std::uint64_t begun_ = 0;
  int used_bytes_ = 7;
  std::uint64_t packets_ = 0;
  unsigned int last_tick_ = 0;
};

}  // namespace vmr::test

#endif  // VMR_TESTS_SOAK_RING_MODEL_H_
