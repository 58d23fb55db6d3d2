// The items of bench/drive.h as plain numbers, for those that record or read them in
// another way.
#ifndef VMR_BENCH_PEER_ITEMS_H_
#define VMR_BENCH_PEER_ITEMS_H_

#include <vector>

#include "bench/drive.h"

namespace vmr::bench {

struct PeerItem {
  enum Kind : int {
    kFix,
    kSpeed,
    kRadar,
    kTemperature,
    kInput,
    kButton,
    kStream,
    kCamera,
    kLiveStream,
    kMicrophone,
    kKinds
  };
  unsigned int tick;
  Kind kind;
  int id;
  int a, b, c, d;  // what of it is used depends on the kind
};

inline constexpr int kPeerIds = 8;
// What a reader of such items keeps: the last values of each.
using PeerState = PeerItem[PeerItem::kKinds][kPeerIds];

// As many items as the drive records in `ticks` ticks, of the same kinds.
inline std::vector<PeerItem> PeerItems(Drive::Kind kind, unsigned int ticks) {
  std::vector<PeerItem> items;
  for (unsigned int tick = 2; tick < 2 + ticks; ++tick) {
    const int even = tick % 2 == 0 ? 1 : 0;
    const int place = static_cast<int>(tick * 73);
    const int speed = static_cast<int>(40 + tick / 2 % 30);
    const bool moves = kind == Drive::Kind::kBusy || even != 0;
    if (moves) items.push_back({tick, PeerItem::kFix, 0, 24600000 + place, 56099638, 0, 0});
    // It changes once a second.
    if (moves && even != 0) items.push_back({tick, PeerItem::kSpeed, 1, speed, 0, 0, 0});
    if (kind == Drive::Kind::kSparse) continue;
    items.push_back({tick, PeerItem::kRadar, 1, speed + 5, speed + 9, 0, 0});
    items.push_back({tick, PeerItem::kTemperature, 3, even != 0 ? 40 : 50, 0, 0, 0});
    for (const int id : {1, 2}) items.push_back({tick, PeerItem::kInput, id, even, 0, 0, 0});
    items.push_back({tick, PeerItem::kButton, 0, even != 0 ? 0 : 2, 0, 0, 0});
    items.push_back({tick, PeerItem::kStream, 0, even, 0, 0, 0});
    items.push_back({tick, PeerItem::kCamera, 0, even, 0, 0, 0});
    for (const int id : {3, 4, 5})
      items.push_back({tick, PeerItem::kLiveStream, id, 1, even, 0x0A000005, 5004});
    for (const int id : {0, 1}) items.push_back({tick, PeerItem::kMicrophone, id, even, 0, 0, 0});
  }
  return items;
}

}  // namespace vmr::bench

#endif  // VMR_BENCH_PEER_ITEMS_H_
