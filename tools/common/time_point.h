// A place in a recording as a person names it: a tick or a time; and time zones.
#ifndef VMR_TOOLS_COMMON_TIME_POINT_H_
#define VMR_TOOLS_COMMON_TIME_POINT_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vmr::tool {

// What was typed; a local time is not yet one of any zone.
struct TypedTime {
  enum class Kind : unsigned char { kTick, kInstant, kLocal };

  Kind kind = Kind::kTick;
  unsigned int tick = 0;
  std::int64_t us = 0;   // since 1970-01-01 00:00, UTC or as a clock showed it
  bool is_date = false;  // a whole day, named by its midnight
  bool is_now = false;
  std::string text;
};

inline constexpr std::string_view kTimeForms =
    "a tick (0 to 4294967295), 2019-06-19T16:33:57-05:00, 2019-06-19T16:33 or 2019-06-19 "
    "in the time zone, @1560979977 (seconds since 1970), now or -15min";

// Any of kTimeForms; `now_us` is what "now" and "-15min" are reckoned from. Units: s, min,
// h, d. Nothing for anything else.
std::optional<TypedTime> ParseTime(std::string_view text, std::int64_t now_us);
std::int64_t Now_us();

// A tick, or else a time.
struct TimePoint {
  std::optional<unsigned int> tick;
  std::int64_t us = 0;  // since 1970-01-01 00:00 UTC
  // The end of a day, or now: nobody expects a recording to reach so far.
  bool is_loose = false;
};
// A date is its first moment, or its last one.
enum class DayEnd : unsigned char { kFirst, kLast };

// Where `typed` is in the zone in use. Nothing, and `error`, for a local time that the
// zone's clocks show twice or never: what to type instead.
std::optional<TimePoint> PointOf(const TypedTime& typed, DayEnd end, std::string& error);

// From now on local times are those of `zone`: a name such as "America/Chicago", "UTC", or
// "local" for this machine's. False when this machine does not know it.
bool UseTimeZone(const std::string& zone);

// What a clock of the zone in use shows.
struct LocalTime {
  int year, month, day, hour, minute, second;
  int us;              // of the second
  int offset_minutes;  // local time is so much ahead of UTC
};
LocalTime LocalTimeOf(std::int64_t time_us);

// "2019-06-19 16:33:57-05:00", local; of UTC "+00:00".
std::string LocalTimeText(std::int64_t time_us);
// What the zone in use calls its time then: "CDT".
std::string ZoneAbbreviation(std::int64_t time_us);
// "-05:00"
std::string OffsetText(int offset_minutes);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_COMMON_TIME_POINT_H_
