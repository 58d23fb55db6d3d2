// The viewer's dates: what the C library says of every second, in any zone.
#include "reader/date_text.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <time.h>

#include <cstdint>
#include <cstdio>
#include <limits>
#include <random>
#include <string>

namespace vmr {
namespace {

std::string Expected(std::int32_t second) {
  const time_t time = second;
  std::tm local{};
  if (localtime_r(&time, &local) == nullptr) return "";
  char text[80];
  static_cast<void>(std::snprintf(text, sizeof(text), "%02d/%02d/%02d %02d:%02d:%02d",
                                  local.tm_mon + 1, local.tm_mday, local.tm_year + 1900,
                                  local.tm_hour, local.tm_min, local.tm_sec));
  return text;
}

// In the zone `TZ` names, until the test ends.
class Dates : public testing::Test {
 protected:
  ~Dates() override { Use("UTC"); }
  static void Use(const char* zone) {
    setenv("TZ", zone, 1);
    DateText().Of(0);  // looks the zone up once; below it is set anew
    tzset();
  }

  // Forth, back and at random between two seconds.
  static void CheckBetween(std::int32_t first, std::int32_t last, std::int32_t step) {
    DateText dates;
    for (std::int64_t at = first; at <= last; at += step) Check(dates, at);
    for (std::int64_t at = last; at >= first; at -= step) Check(dates, at);
    std::mt19937 random(1);
    std::uniform_int_distribution<std::int64_t> between(first, last);
    for (int n = 0; n < 2000; ++n) Check(dates, between(random));
  }
  static void Check(DateText& dates, std::int64_t second) {
    const auto at = static_cast<std::int32_t>(second);
    ASSERT_EQ(dates.Of(at), Expected(at)) << at;
  }
};

constexpr std::int32_t kHour = 60 * 60;
constexpr std::int32_t kDay = 24 * kHour;

TEST_F(Dates, EverySecondOfADayIsWhatTheCLibrarySays) {
  Use("EST5EDT,M3.2.0,M11.1.0");
  CheckBetween(1560976000, 1560976000 + kDay, 1);
}

TEST_F(Dates, ClocksThatAreSetForwardAndBackAreFollowed) {
  Use("EST5EDT,M3.2.0,M11.1.0");  // 2019: 10 March at 7:00 UTC, 3 November at 6:00
  CheckBetween(1552201200 - 2 * kHour, 1552201200 + 2 * kHour, 1);
  CheckBetween(1572760800 - 2 * kHour, 1572760800 + 2 * kHour, 1);
}

TEST_F(Dates, AChangeAmidAnHourAndByHalfAnHourIsFollowed) {
  Use("AAA3:07:09BBB2:37:09,M3.1.0/2:10:05,M11.1.0/1:20:07");
  CheckBetween(1551571200, 1551571200 + kDay, 1);  // 3 March 2019
  CheckBetween(1572739200, 1572739200 + kDay, 1);  // 3 November
}

TEST_F(Dates, ZonesAwayFromWholeHoursAreFollowed) {
  for (const char* const zone : {"NPT-5:45", "XXX3:07:09", "YYY-12:59:59"}) {
    Use(zone);
    CheckBetween(1560976000, 1560976000 + 4 * kHour, 1);
  }
}

TEST_F(Dates, TheEndsOf32BitsAreReached) {
  using Limits = std::numeric_limits<std::int32_t>;
  for (const char* const zone : {"UTC0", "EST5EDT,M3.2.0,M11.1.0", "NPT-5:45"}) {
    Use(zone);
    CheckBetween(Limits::max() - 2 * kHour, Limits::max(), 1);
    CheckBetween(Limits::min(), Limits::min() + 2 * kHour, 1);
    CheckBetween(-kDay, kDay, 7);
    CheckBetween(Limits::min(), Limits::max(), 999983);
  }
}

TEST_F(Dates, ZonesOfTheSystemAreFollowedThroughTheirHistory) {
  for (const char* const zone : {"America/Chicago", "Europe/Berlin", "Australia/Lord_Howe",
                                 "Africa/Monrovia", "Asia/Kathmandu", "right/Europe/London"}) {
    Use(zone);  // of one that is not there it is UTC
    CheckBetween(0, 1893456000, 7207);
  }
}

TEST_F(Dates, LeapSecondsAreFollowedWhereAZoneCountsThem) {
  // The end of 1995 at the end of an hour, and amid one.
  for (const char* const zone : {"right/Europe/London", "right/Asia/Kathmandu"}) {
    Use(zone);
    CheckBetween(820454419 - 2 * kHour, 820454419 + 2 * kHour, 1);
  }
}

}  // namespace
}  // namespace vmr
