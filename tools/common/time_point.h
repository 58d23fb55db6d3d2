// A place in a recording as a person names it: a tick or a time of day.
#ifndef VMR_TOOLS_COMMON_TIME_POINT_H_
#define VMR_TOOLS_COMMON_TIME_POINT_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vmr::tool {

struct TimePoint {
  std::optional<unsigned int> tick;  // else both times are set
  // Microseconds since 1970-01-01 UTC. The two differ only for a local time that
  // a clock shows twice, when it is turned back in autumn.
  std::int64_t earliest_us = 0;
  std::int64_t latest_us = 0;
};

// "1200" is a tick; "2019-06-19T21:33:57Z" and "2019-06-19T16:33:57-05:00" are
// times; without a zone the time is local, see UseTimeZone. The seconds may be
// left out. Nothing for anything else.
std::optional<TimePoint> ParseTimePoint(std::string_view text);

// From now on local times are those of `zone`, a name such as "America/Chicago".
// False when this machine does not know it.
bool UseTimeZone(const std::string& zone);

// "2019-06-19 16:33:57 CDT", local.
std::string LocalTimeText(std::int64_t time_us);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_COMMON_TIME_POINT_H_
