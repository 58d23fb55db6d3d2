// GPS family: the vehicle's position, recorded when it has moved more than 20
// feet, the receiver's description and its availability.
#ifndef VMR_STORE_GPS_H_
#define VMR_STORE_GPS_H_

#include <cstddef>
#include <cstdint>
#include <string>

#include "store/gps_movement.h"
#include "store/stream_format.h"

namespace vmr {

// One axis of a position. As a number it is a signed count of TTs,
// ten-thousandths of a minute of arc. Deliberate: north and west positive, south
// and east negative, as every recording has it.
struct Location_t {
  char hemisphere = 0;        // 'N', 'S', 'E', 'W'; after decoding an absolute item its masked bits
  std::int32_t degrees = 0;   // negative beside 'S' and 'E' after decoding a delta
  std::uint16_t minutes = 0;  // taken as signed 16-bit, for the same reason
  std::int32_t fraction = 0;  // ten-thousandths of a minute, 0..9999 for a fix from the host
};

struct GPS_DESC_T {
  std::string desc;
};

// GpsDesc item: which receiver the positions come from. Untimed, slack 4.
//
//    offset  0      1      2     3
//           +------+------+-----+--  ...  --+
//           | 0x90 | 0x01 |  L  | L chars   |
//           +------+------+-----+--  ...  --+
inline constexpr std::size_t kGpsDescHeadBytes = 1 + 1 + 1;
struct BIN_GPS_DESC_T {
  unsigned char tag;
  unsigned char always_1;
  unsigned char length;  // of the text
  char text[kMaxItemTextBytes];
};
static_assert(sizeof(BIN_GPS_DESC_T) == kGpsDescHeadBytes + kMaxItemTextBytes);

// GpsAbs item: a whole position. Tick-stamped, slack 1.
//
//    offset  0      1      2     3     4          6     7     8         10
//           +------+------+-----+-----+----+-----+-----+-----+----+-----+
//           | 0x91 | quad | lat | lat | lat frac | lon | lon | lon frac |
//           |      |      | deg | min | LE u16   | deg | min | LE u16   |
//           +------+------+-----+-----+----+-----+-----+-----+----+-----+
//    quad   0 N and not W, 1 N and W, 2 not N and not W, 3 not N and W
inline constexpr std::size_t kGpsAbsBytes = 1 + 1 + 1 + 1 + 2 + 1 + 1 + 2;
struct BIN_GPS_ABS_T {
  unsigned char tag;
  unsigned char quadrant;
  unsigned char latitude_degrees;
  unsigned char latitude_minutes;
  unsigned char latitude_fraction[2];  // LE u16
  unsigned char longitude_degrees;
  unsigned char longitude_minutes;
  unsigned char longitude_fraction[2];  // LE u16
};
static_assert(sizeof(BIN_GPS_ABS_T) == kGpsAbsBytes);

// GpsRel8 and GpsRel16 items: TTs from the last written position.
// Tick-stamped, slack 1.
//
//    offset  0      1        2        3        offset  0      1          3         5
//           +------+--------+--------+                +------+----+-----+----+----+
//           | 0x92 | d lat  | d lon  |                | 0x93 | d lat    | d lon   |
//           |      | i8     | i8     |                |      | LE i16   | LE i16  |
//           +------+--------+--------+                +------+----+-----+----+----+
inline constexpr std::size_t kGpsRel8Bytes = 1 + 1 + 1;
struct BIN_GPS_REL8_T {
  unsigned char tag;
  std::int8_t latitude_delta;
  std::int8_t longitude_delta;
};
static_assert(sizeof(BIN_GPS_REL8_T) == kGpsRel8Bytes);
inline constexpr std::size_t kGpsRel16Bytes = 1 + 2 + 2;
struct BIN_GPS_REL16_T {
  unsigned char tag;
  unsigned char latitude_delta[2];   // LE i16
  unsigned char longitude_delta[2];  // LE i16
};
static_assert(sizeof(BIN_GPS_REL16_T) == kGpsRel16Bytes);

// GpsState item: the receiver's availability. Untimed, slack 1.
//
//    offset  0      1
//           +------+-----------------+
//           | 0x94 | 1 available / 0 |
//           +------+-----------------+
inline constexpr std::size_t kGpsStateBytes = 1 + 1;

// What a store remembers of the family.
struct GpsMirror {
  GPS_DESC_T gpsDesc;
  bool gpsConfigured = false;   // a description was configured or decoded
  bool gpsLocationSet = false;  // a position is held
  bool gpsAvailable = false;    // last reported state
  Location_t gpsLat;            // last written position; when reading, last decoded
  Location_t gpsLon;
  DriftArea gpsDrift;  // around the last written position; around nothing once one was decoded
};

}  // namespace vmr

#endif  // VMR_STORE_GPS_H_
