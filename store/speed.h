// Speed sources family: the vehicle's own speed, from up to three devices.
#ifndef VMR_STORE_SPEED_H_
#define VMR_STORE_SPEED_H_

#include <cstddef>
#include <cstdint>
#include <string>

#include "store/device_table.h"

namespace vmr {

// Both are on disk: these values may never change.
enum e_SpeedUnits : std::uint32_t {
  SPEED_UNITS_NONE = 0,
  SPEED_UNITS_KMH = 1,
  SPEED_UNITS_MPH = 2,
  SPEED_UNITS_AS_ON_RADAR = 3
};
enum e_SPEED_SRC_TYPE : std::uint32_t {
  SPEED_SRC_DISCONNECTED = 0,
  SPEED_SRC_GPS = 1,
  SPEED_SRC_RADAR = 2
};

// The devices that every store configures.
inline constexpr unsigned char kGpsSpeedId = 1;
inline constexpr unsigned char kRadarSpeedId = 2;
// Ids for which speed, radar data and radar target items have tags. Any other
// would give another item's tag.
inline constexpr unsigned char kFirstTaggedId = 1;
inline constexpr unsigned char kLastTaggedId = 7;

struct SPEED_DESC_T {
  unsigned char id = kFreeDeviceId;
  e_SpeedUnits units = SPEED_UNITS_NONE;
  e_SPEED_SRC_TYPE type = SPEED_SRC_DISCONNECTED;
  std::string desc;
  std::uint16_t radarType = 0;  // the radar type it was configured for
  bool valid = false;           // false: the next speed is written even if equal
  std::uint32_t speed = 0;      // last accepted, 0..65535
};
inline constexpr int kSpeedDeviceCount = 3;

struct SpeedMirror {
  SPEED_DESC_T devices[kSpeedDeviceCount];
};

// SpeedDesc item: what a device is. Untimed, slack 4.
//
//    offset  0      1      2                          3     4
//           +------+------+--------------------------+-----+--  ...  --+
//           | 0x70 |  id  | units << 5 | type (0..4) |  L  | L chars   |
//           +------+------+--------------------------+-----+--  ...  --+
inline constexpr std::size_t kSpeedDescHeadBytes = 1 + 1 + 1 + 1;

// Speed items: one byte up to 127, two from 128 on. Tick-stamped, slack 1.
//
//    offset  0           1            offset  0           1              3
//           +-----------+-----------+        +-----------+------+------+
//           | 0x70 + id | speed, u8 |        | 0x77 + id | speed, LE u16|
//           +-----------+-----------+        +-----------+------+------+
inline constexpr std::size_t kSpeed8Bytes = 1 + 1;
inline constexpr std::size_t kSpeed16Bytes = 1 + 2;

// Prints a speed as the viewer shows it: 252..255 are words of the radar.
// Deliberate: the comparison leaves out bit 8, so that 508..511 print as the
// same words.
void PrintSpeedValue(std::uint32_t speed);

}  // namespace vmr

#endif  // VMR_STORE_SPEED_H_
