// Time, temperature and supply voltage family.
#ifndef VMR_STORE_TIME_TEMPERATURE_H_
#define VMR_STORE_TIME_TEMPERATURE_H_

#include <cstddef>
#include <cstdint>
#include <string>

#include "store/stream_format.h"

namespace vmr {

// Time item: anchors ticks to the calendar. Untimed, slack 1.
//
//    offset  0      1                           5
//           +------+-----------------------------+
//           | 0x03 | seconds since 1970, LE i32  |
//           +------+-----------------------------+
inline constexpr std::size_t kTimeBytes = 1 + 4;

// Where ticks and wall clock were last seen together.
struct TimeMirror {
  std::int32_t base_time = 0;         // seconds since 1970 UTC
  std::uint32_t base_tick = 0;        // the tick of base_time
  std::uint32_t time_check_tick = 0;  // the tick of the last look at the wall clock
};

// When the whole state is written again.
struct DumpSchedule {
  unsigned int full_state_tick = 0;          // of the last dump
  unsigned int highest_tick = 0;             // given to TimerTick
  unsigned int lowest_tick_since = kNoTick;  // while ticks are before the highest
  bool ticks_went_back = false;              // they once were
};

// On disk: these values may never change.
enum e_TempSensors : unsigned int {
  TEMP_SENSOR_INLET = 0,
  TEMP_SENSOR_OUTLET = 1,
  TEMP_SENSOR_POWER = 2,
  TEMP_SENSOR_CPU = 3,
};
inline constexpr unsigned int kTempSensorCount = 4;

// One sensor as a store remembers it.
struct TempInfo_t {
  std::string desc;
  bool valid = false;            // a temperature is held
  std::int16_t temperature = 0;  // degrees
};

// TempDesc item: a sensor's name. Untimed, slack 4.
//
//    offset  0      1        2     3
//           +------+--------+-----+--  ...  --+
//           | 0xE0 | sensor |  L  | L chars   |
//           +------+--------+-----+--  ...  --+
inline constexpr std::size_t kTempDescHeadBytes = 1 + 1 + 1;

// Temp item: one reading. Tick-stamped, slack 4.
//
//    offset  0               1
//           +---------------+----------------------------+
//           | 0xE1 + sensor | degrees, low 8 bits, as i8 |
//           +---------------+----------------------------+
inline constexpr std::size_t kTempBytes = 1 + 1;

struct TemperatureMirror {
  TempInfo_t sensors[kTempSensorCount];
};

// VoltPercent item: supply voltage. Only decoded; nothing here writes it.
//
//    offset  0      1
//           +------+-------------+
//           | 0xD1 | percent, u8 |
//           +------+-------------+
inline constexpr std::size_t kVoltPercentBytes = 1 + 1;

}  // namespace vmr

#endif  // VMR_STORE_TIME_TEMPERATURE_H_
