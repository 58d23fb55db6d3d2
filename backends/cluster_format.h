// The cluster file: a fixed number of clusters of equal size, without a file
// header or trailer. The ring store's files are 32768 clusters of 4096 bytes;
// cluster n starts at byte n * 4096. What is true of every ring file and cluster is said
// here, for the recorder and for whoever mends or saves its files.
#ifndef VMR_BACKENDS_CLUSTER_FORMAT_H_
#define VMR_BACKENDS_CLUSTER_FORMAT_H_

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "host/crc8.h"
#include "store/bytes.h"
#include "store/stream_format.h"

namespace vmr {

// First bytes of every cluster.
//
//    offset  0     1                       5            7            size      4096
//           +-----+-----------------------+------------+--- ... ----+--- ... --+
//           | crc | st, LE u32            | size, LE   | whole      | zeros    |
//           |     |                       | u16        | packets    |          |
//           +-----+-----------------------+------------+--- ... ----+--- ... --+
//
//    crc   Crc8 over bytes 1 .. size - 1, initial value 0xFF; what lies behind
//          `size` is never checked
//    st    tick of the first packet placed in the cluster; 0xFFFFFFFF in a
//          cluster never written, 0xFFFFFFFE also counts as none
//    size  bytes in use, these 7 included: 7..4096
//
// Deliberate: both fields are least significant byte first on every machine, the
// big-endian unit included, so that files can be read anywhere. The struct holds
// the bytes as they stand on disk; they are swapped only when a value is taken.
struct CLUSTER_HEADER_T {
  unsigned char crc;
  unsigned char st[4];
  unsigned char size[2];

  std::uint32_t FirstTick() const { return GetLe32(st); }
  std::uint16_t UsedBytes() const { return GetLe16(size); }
};
inline constexpr int kClusterHeaderBytes = 1 + 4 + 2;
static_assert(sizeof(CLUSTER_HEADER_T) == kClusterHeaderBytes);

inline constexpr int kClusterBytes = 4096;
inline constexpr int kClusterCount = 32768;
inline constexpr int kMaxClusterPayload = kClusterBytes - kClusterHeaderBytes;
static_assert(kMaxClusterPayload == 4089);

// The mode of a ring's files: a recorder sets any other right.
inline constexpr mode_t kRingFileMode = 0660;

// The name of file 1 or 2 of the ring at `base`.
inline std::string RingFileName(const std::string& base, int number) {
  return base + "_" + std::to_string(number) + ".mtd";
}

// The clusters behind and in front of one, around the ring.
inline int NextCluster(int cluster) { return cluster + 1 >= kClusterCount ? 0 : cluster + 1; }
inline int PreviousCluster(int cluster) {
  return cluster - 1 < 0 ? kClusterCount - 1 : cluster - 1;
}

// First ticks that are none.
inline constexpr unsigned int kNeverWrittenSt = 0xFFFFFFFF;
inline constexpr unsigned int kPartialWrapSt = 0xFFFFFFFE;
inline constexpr unsigned int kUnreadableSt = 0xFFFFFFFD;
// Any other first tick is a tick.
inline bool TellsTick(unsigned int st) { return st < kUnreadableSt; }

// The header fields of a whole cluster image.
inline std::uint32_t ClusterSt(const unsigned char* cluster) { return GetLe32(cluster + 1); }
inline std::uint16_t ClusterSize(const unsigned char* cluster) { return GetLe16(cluster + 5); }
inline void SetClusterSt(unsigned char* cluster, std::uint32_t st) { PutLe32(cluster + 1, st); }
inline void SetClusterSize(unsigned char* cluster, int size) {
  PutLe16(cluster + 5, static_cast<std::uint16_t>(size));
}

// What byte 0 must be. `size` must be at least 7 and within the image.
inline unsigned char ClusterCrc(const unsigned char* cluster) {
  return Crc8(cluster + 1, ClusterSize(cluster) - 1U, kCrcInitial);
}

// What an image says of itself: a size that is one, and one that leaves room for packets.
inline bool HasPlausibleSize(const unsigned char* cluster) {
  return ClusterSize(cluster) >= kClusterHeaderBytes && ClusterSize(cluster) <= kClusterBytes;
}
inline bool HoldsPackets(const unsigned char* cluster) {
  return ClusterSize(cluster) > kClusterHeaderBytes;
}
// The image is whole.
inline bool IsSoundCluster(const unsigned char* cluster) {
  return HasPlausibleSize(cluster) && cluster[0] == ClusterCrc(cluster);
}

// Makes the header say that `size` bytes are in use, and that they and the first tick
// are whole. `size` as above.
inline void SealCluster(unsigned char* cluster, int size) {
  SetClusterSize(cluster, size);
  cluster[0] = ClusterCrc(cluster);
}

// A cluster of `cluster_bytes` bytes in which nothing was ever written.
inline void FillNeverWritten(unsigned char* cluster, int cluster_bytes) {
  std::memset(cluster, 0, static_cast<std::size_t>(cluster_bytes));
  SetClusterSt(cluster, kNeverWrittenSt);
  SealCluster(cluster, kClusterHeaderBytes);
}

}  // namespace vmr

#endif  // VMR_BACKENDS_CLUSTER_FORMAT_H_
