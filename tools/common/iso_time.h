// Reads ISO 8601 times as gpsd and event sources write them.
#ifndef VMR_TOOLS_COMMON_ISO_TIME_H_
#define VMR_TOOLS_COMMON_ISO_TIME_H_

#include <cstdint>
#include <optional>
#include <string_view>

namespace vmr::tool {

inline constexpr std::int64_t kMicrosecondsPerSecond = 1000000;

// Microseconds since 1970-01-01 UTC of "2019-06-19T21:33:57.250Z" or
// "2019-06-19T23:33:57+02:00". The fraction may have any number of digits, of
// which six count; the zone is needed. Nothing for a text that is no such time.
std::optional<std::int64_t> ParseIsoTime(std::string_view text);

// The same of a time without a zone, as if it were UTC; the seconds may be left
// out: "2019-06-19T21:33".
std::optional<std::int64_t> ParseCivilTime(std::string_view text);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_COMMON_ISO_TIME_H_
