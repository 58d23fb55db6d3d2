#include "backends/cluster_copies.h"

#include <cstring>

#include "backends/cluster_format.h"
#include "store/packet_format.h"

namespace vmr {
namespace {

// Packets follow one another and end at `size`, each as `is_good` wants it.
template <typename IsGood>
bool PacketsEndAtSize(const unsigned char* cluster, IsGood is_good) {
  if (!HasPlausibleSize(cluster)) return false;
  const std::size_t size = ClusterSize(cluster);
  std::size_t at = kClusterHeaderBytes;
  while (at < size) {
    const std::size_t bytes = WholePacketBytes(cluster + at, size - at);
    if (bytes == 0 || !is_good(cluster + at, bytes)) return false;
    at += bytes;
  }
  return true;
}

// Or has the same packets, but not the tick that a closed cluster got.
bool IsBeginningOf(const unsigned char* shorter, const unsigned char* longer) {
  const auto payload = static_cast<std::size_t>(ClusterSize(shorter) - kClusterHeaderBytes);
  const bool lacks_tick = ClusterSt(shorter) == kPartialWrapSt && TellsTick(ClusterSt(longer));
  const int missing = ClusterSize(longer) - ClusterSize(shorter);
  return (missing > 0 || (missing == 0 && lacks_tick)) &&
         memcmp(shorter + kClusterHeaderBytes, longer + kClusterHeaderBytes, payload) == 0;
}

}  // namespace

bool PacketsAreSound(const unsigned char* cluster) {
  return PacketsEndAtSize(cluster, PacketEndIsRight);
}

int ClaimedBytes(const unsigned char* cluster) {
  const bool borne_out =
      PacketsEndAtSize(cluster, [](const unsigned char*, std::size_t) { return true; });
  return borne_out ? ClusterSize(cluster) : 0;
}

unsigned int LastToldTick(const unsigned char* cluster) {
  unsigned int tick = ClusterSt(cluster);
  const auto take_tick = [&tick](const unsigned char* packet, std::size_t) {
    tick = PacketTick(packet, tick);
    return true;
  };
  static_cast<void>(PacketsEndAtSize(cluster, take_tick));  // they are sound
  return TickOrZero(tick);
}

bool AreSameCopy(const unsigned char* a, const unsigned char* b) {
  return ClusterSize(a) == ClusterSize(b) && memcmp(a + 1, b + 1, ClusterSize(a) - 1U) == 0;
}

bool IsBetterCopy(const unsigned char* challenger, const unsigned char* holder) {
  if (!HoldsPackets(challenger) || !PacketsAreSound(challenger)) return false;
  if (!PacketsAreSound(holder)) return true;
  return HoldsPackets(holder) && IsBeginningOf(holder, challenger);
}

}  // namespace vmr
