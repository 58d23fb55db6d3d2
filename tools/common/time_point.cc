#include "tools/common/time_point.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <filesystem>

#include "tools/common/iso_time.h"
#include "tools/common/numbers.h"
#include "tools/common/ticks.h"

namespace vmr::tool {
namespace {

constexpr std::int64_t kSecond_us = kMicrosecondsPerSecond;
constexpr std::int64_t kDay_s = 24 * 60 * 60;
// Year 9999 ends then.
constexpr std::int64_t kLastSecond = 253402300799;

struct Unit {
  std::string_view name;
  std::int64_t seconds;
};
constexpr Unit kUnits[] = {{"s", 1},       {"sec", 1},    {"m", 60},       {"min", 60},
                           {"h", 60 * 60}, {"d", kDay_s}, {"day", kDay_s}, {"days", kDay_s}};

TypedTime Instant(std::int64_t time_us) {
  TypedTime typed;
  typed.kind = TypedTime::Kind::kInstant;
  typed.us = time_us;
  return typed;
}

// Takes the digits that the text begins with; nothing when there are none, or too many.
std::optional<std::int64_t> TakeDigits(std::string_view& text) {
  std::int64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || text.front() == '-') return std::nullopt;
  text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  if (number > kLastSecond) return std::nullopt;
  return number;
}

// "15min", "1h30min"
std::optional<std::int64_t> ParseSeconds(std::string_view text) {
  std::int64_t seconds = 0;
  do {
    const auto number = TakeDigits(text);
    const std::string_view name = text.substr(0, text.find_first_of("0123456789"));
    const auto* const unit = std::find_if(std::begin(kUnits), std::end(kUnits),
                                          [name](const Unit& row) { return row.name == name; });
    if (!number || unit == std::end(kUnits) || *number > kLastSecond / unit->seconds)
      return std::nullopt;
    seconds += *number * unit->seconds;
    text.remove_prefix(name.size());
  } while (!text.empty());
  return seconds;
}

std::optional<TypedTime> ParseRelative(std::string_view text, std::int64_t now_us) {
  const auto seconds = ParseSeconds(text);
  if (!seconds) return std::nullopt;
  return Instant(now_us - *seconds * kSecond_us);
}

// "@1560979977" or "@1560979977.5"
std::optional<TypedTime> ParseEpoch(std::string_view text) {
  const auto seconds = TakeDigits(text);
  if (!seconds) return std::nullopt;
  std::int64_t fraction_us = 0;
  if (!text.empty()) {
    if (text.front() != '.' || text.size() < 2) return std::nullopt;
    std::int64_t unit = kSecond_us;
    for (const char digit : text.substr(1)) {
      if (digit < '0' || digit > '9') return std::nullopt;
      fraction_us += (digit - '0') * (unit /= 10);
    }
  }
  return Instant(*seconds * kSecond_us + fraction_us);
}

std::optional<TypedTime> ParseLocal(std::string_view text) {
  TypedTime typed;
  typed.kind = TypedTime::Kind::kLocal;
  auto civil = ParseCivilTime(text);
  if (!civil) {
    typed.is_date = true;
    civil = ParseCivilTime(std::string(text) + "T00:00");
  }
  if (!civil) return std::nullopt;
  typed.us = *civil;
  return typed;
}

// "2019-06-19T16:33-05:00": the seconds may be left out.
std::optional<std::int64_t> ParseZoned(std::string_view text) {
  if (const auto time = ParseIsoTime(text)) return time;
  constexpr std::size_t kToMinute = std::string_view("2019-06-19T16:33").size();
  if (text.size() <= kToMinute) return std::nullopt;
  return ParseIsoTime(std::string(text.substr(0, kToMinute)) + ":00" +
                      std::string(text.substr(kToMinute)));
}

std::optional<TypedTime> ParseAny(std::string_view text, std::int64_t now_us) {
  if (text.empty()) return std::nullopt;
  if (text == "now") {
    TypedTime typed = Instant(now_us);
    typed.is_now = true;
    return typed;
  }
  if (text.front() == '@') return ParseEpoch(text.substr(1));
  if (text.front() == '-') return ParseRelative(text.substr(1), now_us);
  if (const auto tick = ParseTick(text)) {
    TypedTime typed;
    typed.tick = *tick;
    return typed;
  }
  if (const auto time = ParseZoned(text)) return Instant(*time);
  return ParseLocal(text);
}

// ---- Zones -----------------------------------------------------------------------

std::tm Shown(std::time_t second) {
  std::tm fields{};
  if (localtime_r(&second, &fields) == nullptr) fields = {};
  return fields;
}

// The seconds at which clocks of the zone show `civil` (a time as if it were UTC), in
// order: none, one or two. No zone is as much as two days off, or changes twice within
// that.
struct Seconds {
  std::array<std::time_t, 2> at{};
  std::size_t count = 0;
};
Seconds SecondsShowing(std::time_t civil) {
  Seconds found;
  for (const std::time_t look : {civil - kDay_s, civil + kDay_s}) {
    const std::time_t second = civil - Shown(look).tm_gmtoff;
    if (second + Shown(second).tm_gmtoff != civil) continue;
    if (found.count == 0 || found.at[0] != second) found.at[found.count++] = second;
  }
  if (found.count == 2 && found.at[0] > found.at[1]) std::swap(found.at[0], found.at[1]);
  return found;
}

std::string ZoneInUse() {
  const char* const name = std::getenv("TZ");
  return name == nullptr || *name == '\0' ? "this machine's time zone" : name;
}

// The same local time, its offset named.
std::string WithOffset(const TypedTime& typed, int offset_s) {
  std::string text = typed.text;
  if (typed.is_date) text += "T00:00";
  return text + OffsetText(offset_s / 60);
}

std::optional<TimePoint> LocalPoint(const TypedTime& typed, std::int64_t civil_us,
                                    std::string& error) {
  const std::int64_t civil_s = FloorDivide(civil_us, kSecond_us);
  const auto civil = static_cast<std::time_t>(civil_s);
  const Seconds seconds = SecondsShowing(civil);
  if (seconds.count == 1)
    return TimePoint{std::nullopt, civil_us + (seconds.at[0] - civil_s) * kSecond_us};
  const auto before = static_cast<int>(Shown(civil - kDay_s).tm_gmtoff);
  const auto behind = static_cast<int>(Shown(civil + kDay_s).tm_gmtoff);
  error = fmt::format("{} {} in {}; say {} or {}", typed.text,
                      seconds.count == 0 ? "is skipped by the clocks" : "comes twice", ZoneInUse(),
                      WithOffset(typed, before), WithOffset(typed, behind));
  return std::nullopt;
}

}  // namespace

std::optional<TypedTime> ParseTime(std::string_view text, std::int64_t now_us) {
  auto typed = ParseAny(text, now_us);
  if (typed) typed->text = text;
  return typed;
}

std::int64_t Now_us() {
  const auto since = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::microseconds>(since).count();
}

std::optional<TimePoint> PointOf(const TypedTime& typed, DayEnd end, std::string& error) {
  TimePoint known;
  if (typed.kind == TypedTime::Kind::kTick) known.tick = typed.tick;
  known.us = typed.us;
  known.is_loose = typed.is_now;
  if (typed.kind != TypedTime::Kind::kLocal) return known;
  const bool is_last = typed.is_date && end == DayEnd::kLast;
  auto point = LocalPoint(typed, typed.us + (is_last ? kDay_s * kSecond_us : 0), error);
  if (point && is_last) --point->us;
  if (point) point->is_loose = typed.is_date;
  return point;
}

bool UseTimeZone(const std::string& zone) {
  static const char* const kOwn = std::getenv("TZ");
  static const std::string kOwnZone = kOwn == nullptr ? "" : kOwn;
  if (zone == "local") {
    kOwn == nullptr ? unsetenv("TZ") : setenv("TZ", kOwnZone.c_str(), 1);
    tzset();
    return true;
  }
  const char* const chosen = std::getenv("TZDIR");
  const std::string folder = chosen != nullptr ? chosen : "/usr/share/zoneinfo";
  // The C library takes a name that it does not know for UTC.
  std::error_code unknown;
  const bool known = !zone.empty() && zone.front() != '/' && zone.find("..") == zone.npos &&
                     zone.find('\0') == zone.npos &&
                     std::filesystem::is_regular_file(folder + "/" + zone, unknown);
  if (!known && zone != "UTC") return false;
  setenv("TZ", zone.c_str(), 1);
  tzset();
  return true;
}

LocalTime LocalTimeOf(std::int64_t time_us) {
  const std::int64_t second = FloorDivide(time_us, kSecond_us);
  const std::tm shown = Shown(static_cast<std::time_t>(second));
  return {shown.tm_year + 1900,
          shown.tm_mon + 1,
          shown.tm_mday,
          shown.tm_hour,
          shown.tm_min,
          shown.tm_sec,
          static_cast<int>(time_us - second * kSecond_us),
          static_cast<int>(shown.tm_gmtoff / 60)};
}

std::string ZoneAbbreviation(std::int64_t time_us) {
  const std::tm shown = Shown(static_cast<std::time_t>(FloorDivide(time_us, kSecond_us)));
  return shown.tm_zone == nullptr ? "" : shown.tm_zone;
}

std::string OffsetText(int offset_minutes) {
  const int magnitude = std::abs(offset_minutes);
  return fmt::format("{}{:02}:{:02}", offset_minutes < 0 ? '-' : '+', magnitude / 60,
                     magnitude % 60);
}

std::string LocalTimeText(std::int64_t time_us) {
  const LocalTime local = LocalTimeOf(time_us);
  return fmt::format("{:04}-{:02}-{:02} {:02}:{:02}:{:02}{}", local.year, local.month, local.day,
                     local.hour, local.minute, local.second, OffsetText(local.offset_minutes));
}

}  // namespace vmr::tool
