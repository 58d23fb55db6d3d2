// A ring of numbered packets in real files, made without the store.
#ifndef VMR_TESTS_PROCESSES_REAL_RING_H_
#define VMR_TESTS_PROCESSES_REAL_RING_H_

#include <cstdint>
#include <string>

namespace vmr::processes {

inline constexpr int kRingClusters = 32768;
inline constexpr int kImageBytes = 4096;
inline constexpr long long kRingFileBytes = 1LL * kRingClusters * kImageBytes;

// Where a ring stands: its current cluster holds the packet recorded last.
struct RingStart {
  int current;      // -1: nothing was ever recorded
  bool second_lap;  // the clusters behind the current one hold the lap before
};

std::string RingPath(const std::string& base, int file);

// The packet that stands alone in a cluster of a ring laid so: 1 in the oldest.
std::uint32_t LaidNumber(const RingStart& start, int cluster);
// The last of them, 0 when there is none.
std::uint32_t LastLaidNumber(const RingStart& start);

// Writes both files of the ring, over what is there. False, and errno, when a
// file cannot be written.
bool LayRing(const std::string& base, const RingStart& start);

// Removes all that a ring may consist of.
void RemoveRing(const std::string& base);

}  // namespace vmr::processes

#endif  // VMR_TESTS_PROCESSES_REAL_RING_H_
