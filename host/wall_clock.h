// The wall clock, replaceable so that tests and replays can set it.
#ifndef VMR_HOST_WALL_CLOCK_H_
#define VMR_HOST_WALL_CLOCK_H_

#include <ctime>

namespace vmr {

class WallClock {
 public:
  virtual ~WallClock() = default;
  // Seconds since 1970-01-01 UTC.
  virtual std::time_t Now() = 0;

  // The clock in use; `time` of the C library unless replaced.
  static WallClock& Current();
  // Puts `clock` in use, null for the default, and returns the one before.
  // `clock` stays the caller's and must outlive its use.
  static WallClock* Use(WallClock* clock);
};

// Local time of `seconds` in `*result`; false when it cannot be formed. The
// time zone is looked up once in the life of the process: looking at the zone
// file for every printed line costs fifty times the conversion itself.
[[nodiscard]] bool LocalTime(std::time_t seconds, std::tm* result);

}  // namespace vmr

#endif  // VMR_HOST_WALL_CLOCK_H_
