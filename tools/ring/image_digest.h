// Tells whether a cluster's image is the one that was looked at before.
#ifndef VMR_TOOLS_RING_IMAGE_DIGEST_H_
#define VMR_TOOLS_RING_IMAGE_DIGEST_H_

#include <cstdint>
#include <cstring>

#include "backends/cluster_format.h"

namespace vmr::tool {

// Of all 4096 bytes, to be compared within one process. A cluster's own CRC has eight bits,
// which one change in 256 leaves as they are. Four lanes, as each step waits for the one
// before it.
inline std::uint64_t ImageDigest(const unsigned char* image) {
  constexpr std::uint64_t kMultiplier = 0x9E3779B97F4A7C15;
  constexpr int kLanes = 4, kWordBytes = 8;
  static_assert(kClusterBytes % (kLanes * kWordBytes) == 0);
  std::uint64_t lanes[kLanes] = {1, 2, 3, 4};
  const auto mix = [](std::uint64_t lane, std::uint64_t word) {
    lane = (lane ^ word) * kMultiplier;
    return lane ^ lane >> 29;
  };
  for (int at = 0; at < kClusterBytes; at += kLanes * kWordBytes)
    for (int lane = 0; lane < kLanes; ++lane) {
      std::uint64_t word;
      std::memcpy(&word, image + at + lane * kWordBytes, sizeof(word));
      lanes[lane] = mix(lanes[lane], word);
    }
  std::uint64_t digest = 0;
  for (const std::uint64_t lane : lanes) digest = mix(digest, lane);
  return digest;
}

}  // namespace vmr::tool

#endif  // VMR_TOOLS_RING_IMAGE_DIGEST_H_
