// Radar family: the traffic radar's description, connection and readings.
#ifndef VMR_STORE_RADAR_H_
#define VMR_STORE_RADAR_H_

#include <cstddef>
#include <cstdint>
#include <string>

#include "store/speed.h"

namespace vmr {

// On disk: these values may never change.
enum e_RADAR_SRC_TYPE : std::uint32_t { RADAR_SRC_DISCONNECTED = 0, RADAR_SRC_GENERIC = 1 };
// Only the lowest bit is recorded; further values are the host's.
enum e_RADAR_DIRECTION : std::uint32_t { RADAR_DIRECTION_0 = 0, RADAR_DIRECTION_1 = 1 };

// The radar that every store configures.
inline constexpr unsigned char kConfiguredRadarId = 1;
// As a lock or fastest speed: the item does not carry it.
inline constexpr unsigned short kSpeedNotPresent = 32767;

struct RADAR_DESC_T {
  unsigned char id = kFreeDeviceId;
  e_SpeedUnits units = SPEED_UNITS_NONE;
  e_RADAR_SRC_TYPE type = RADAR_SRC_DISCONNECTED;
  std::uint32_t radarType = 0;  // the radar type it was configured for
  std::string desc;
  bool dataValid = false;     // a reading is held
  std::uint16_t target = 0;   // 252..255 are status words, not speeds
  std::uint16_t lock = 0;     // 0..1023 survive recording
  std::uint16_t fastest = 0;  // 0..1023 survive recording
  e_RADAR_DIRECTION direction = RADAR_DIRECTION_0;
  bool connected = false;
};
inline constexpr int kRadarCount = 2;

struct RadarMirror {
  RADAR_DESC_T radars[kRadarCount];
};

// RadarDesc item. Untimed, slack 4.
//
//    offset  0      1      2                          3     4
//           +------+------+--------------------------+-----+--  ...  --+
//           | 0x60 |  id  | units << 5 | type (0..4) |  L  | L chars   |
//           +------+------+--------------------------+-----+--  ...  --+
inline constexpr std::size_t kRadarDescHeadBytes = 1 + 1 + 1 + 1;

// RadarState item. Untimed, slack 1.
//
//    offset  0      1
//           +------+------------------------------------------+
//           | 0x6F | connected << 5 (bits 7..5) | id (4..0)    |
//           +------+------------------------------------------+
inline constexpr std::size_t kRadarStateBytes = 1 + 1;

// RadarData item: three 10-bit speeds. Tick-stamped, slack 1.
//
//    offset  0           1                              2        3         4
//           +-----------+------------------------------+--------+---------+--------+
//           | 0x60 + id | d | l l | f f | t t | 0      | lock   | fastest | target |
//           |           |   bits 9..8 of each          | 7..0   | 7..0    | 7..0   |
//           +-----------+------------------------------+--------+---------+--------+
//    d      direction, bit 7; l lock, bits 6..5; f fastest, 4..3; t target, 2..1
inline constexpr std::size_t kRadarDataBytes = 1 + 1 + 1 + 1 + 1;
struct BIN_RADAR_DATA_T {
  unsigned char tag;
  unsigned char packed;   // direction, and bits 9..8 of each speed
  unsigned char lock;     // bits 7..0
  unsigned char fastest;  // bits 7..0
  unsigned char target;   // bits 7..0
};
static_assert(sizeof(BIN_RADAR_DATA_T) == kRadarDataBytes);

// RadarTarget item: only the target moved, and it is below 251. Tick-stamped,
// slack 1.
//
//    offset  0           1
//           +-----------+------------+
//           | 0x67 + id | target, u8 |
//           +-----------+------------+
inline constexpr std::size_t kRadarTargetBytes = 1 + 1;

}  // namespace vmr

#endif  // VMR_STORE_RADAR_H_
