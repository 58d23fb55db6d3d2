// What more than one room knows of a ring's two files and their clusters.
#ifndef VMR_TOOLS_COMMON_RING_FILES_H_
#define VMR_TOOLS_COMMON_RING_FILES_H_

#include <sys/types.h>

#include <string>

#include "backends/cluster_format.h"

namespace vmr::tool {

inline constexpr mode_t kRingFileMode = 0660;

// `<base>_<number>.mtd`, one of the two files of a ring.
std::string RingFileName(const std::string& base, int number);

inline int NextCluster(int cluster) { return (cluster + 1) % kClusterCount; }
inline int PreviousCluster(int cluster) { return (cluster + kClusterCount - 1) % kClusterCount; }

// A cluster's first tick is one, not one of the values that say that there is none.
inline bool TellsTick(unsigned int st) { return st < kUnreadableSt; }

// Ends the making of a cluster's image, whose size is set: it gets its CRC.
inline void SealCluster(unsigned char* cluster) { cluster[0] = ClusterCrc(cluster); }

}  // namespace vmr::tool

#endif  // VMR_TOOLS_COMMON_RING_FILES_H_
