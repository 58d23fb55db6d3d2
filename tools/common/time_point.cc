#include "tools/common/time_point.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <filesystem>

#include "tools/common/iso_time.h"
#include "tools/common/numbers.h"

namespace vmr::tool {
namespace {

// The second at which a clock here shows `civil` (a time as if it were UTC), by
// summer or winter time; nothing if it never does.
std::optional<std::time_t> LocalSecond(std::time_t civil, int summer_time) {
  std::tm fields{};
  if (gmtime_r(&civil, &fields) == nullptr) return std::nullopt;
  std::tm shown = fields;
  shown.tm_isdst = summer_time;
  const std::time_t second = std::mktime(&shown);
  if (shown.tm_hour != fields.tm_hour || shown.tm_min != fields.tm_min) return std::nullopt;
  return second;
}

std::optional<TimePoint> LocalTimePoint(std::int64_t civil_us) {
  const std::int64_t fraction_us = civil_us % kMicrosecondsPerSecond;
  const auto civil = static_cast<std::time_t>(civil_us / kMicrosecondsPerSecond);
  const auto winter = LocalSecond(civil, 0);
  const auto summer = LocalSecond(civil, 1);
  // An hour that is left out in spring: mktime goes on past it.
  const auto any = winter ? winter : summer ? summer : LocalSecond(civil + 3600, -1);
  if (!any) return std::nullopt;
  const auto [first, last] = std::minmax({winter.value_or(*any), summer.value_or(*any)});
  return TimePoint{std::nullopt, std::int64_t{first} * kMicrosecondsPerSecond + fraction_us,
                   std::int64_t{last} * kMicrosecondsPerSecond + fraction_us};
}

}  // namespace

std::optional<TimePoint> ParseTimePoint(std::string_view text) {
  if (const auto tick = ParseTick(text)) return TimePoint{tick, 0, 0};
  if (const auto time = ParseIsoTime(text)) return TimePoint{std::nullopt, *time, *time};
  const auto civil = ParseCivilTime(text);
  return civil && *civil >= 0 ? LocalTimePoint(*civil) : std::nullopt;
}

bool UseTimeZone(const std::string& zone) {
  const char* const chosen = std::getenv("TZDIR");
  const std::string folder = chosen != nullptr ? chosen : "/usr/share/zoneinfo";
  // The C library takes a name that it does not know for UTC.
  std::error_code unknown;
  const bool known = !zone.empty() && zone.front() != '/' && zone.find("..") == zone.npos &&
                     std::filesystem::is_regular_file(folder + "/" + zone, unknown);
  if (!known && zone != "UTC") return false;
  setenv("TZ", zone.c_str(), 1);
  tzset();
  return true;
}

std::string LocalTimeText(std::int64_t time_us) {
  const auto second = static_cast<std::time_t>(time_us / kMicrosecondsPerSecond);
  std::tm local{};
  char text[64];
  if (localtime_r(&second, &local) == nullptr) return "an unknown time";
  return std::string(text, std::strftime(text, sizeof(text), "%Y-%m-%d %H:%M:%S %Z", &local));
}

}  // namespace vmr::tool
