#include "tools/common/time_point.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <time.h>

namespace vmr::tool {
namespace {

constexpr std::int64_t kSecond = 1000000;

// Every test begins and ends in UTC.
class TimePoints : public testing::Test {
 protected:
  TimePoints() { Reset(); }
  ~TimePoints() override { Reset(); }

  static void Reset() {
    setenv("TZ", "UTC", 1);
    tzset();
  }
};

TEST_F(TimePoints, DigitsAloneAreATick) {
  EXPECT_EQ(ParseTimePoint("0")->tick, 0U);
  EXPECT_EQ(ParseTimePoint("4294967295")->tick, 4294967295U);
  for (const char* text : {"4294967296", "10000000000", "-1", "+1", "1.5", "", " 1", "0x10"})
    EXPECT_FALSE(ParseTimePoint(text)) << text;
}

TEST_F(TimePoints, ATimeWithAZoneIsThatTime) {
  const auto point = ParseTimePoint("2019-06-19T16:33:57.5-05:00");
  ASSERT_TRUE(point);
  EXPECT_FALSE(point->tick);
  EXPECT_EQ(point->earliest_us, 1560980037 * kSecond + 500000);
  EXPECT_EQ(point->latest_us, point->earliest_us);
}

TEST_F(TimePoints, ATimeWithoutAZoneIsLocal) {
  EXPECT_EQ(ParseTimePoint("2019-06-19T21:33:57")->earliest_us, 1560980037 * kSecond);
  ASSERT_TRUE(UseTimeZone("America/Chicago"));
  EXPECT_EQ(ParseTimePoint("2019-06-19T16:33:57")->earliest_us, 1560980037 * kSecond);
  EXPECT_EQ(ParseTimePoint("2019-06-19 16:33")->earliest_us, 1560979980 * kSecond);
  EXPECT_EQ(LocalTimeText(1560980037 * kSecond), "2019-06-19 16:33:57 CDT");
}

TEST_F(TimePoints, AnHourThatAClockShowsTwiceIsBothOfThem) {
  ASSERT_TRUE(UseTimeZone("America/Chicago"));
  const auto point = ParseTimePoint("2019-11-03T01:30:00");
  ASSERT_TRUE(point);
  EXPECT_EQ(point->earliest_us, 1572762600 * kSecond);  // summer time
  EXPECT_EQ(point->latest_us, 1572766200 * kSecond);    // an hour later
}

TEST_F(TimePoints, AnHourThatIsLeftOutIsTheOneAfterIt) {
  ASSERT_TRUE(UseTimeZone("America/Chicago"));
  const auto point = ParseTimePoint("2019-03-10T02:30:00");
  ASSERT_TRUE(point);
  EXPECT_EQ(LocalTimeText(point->earliest_us), "2019-03-10 03:30:00 CDT");
}

TEST_F(TimePoints, AZoneThatIsNotKnownIsRefused) {
  for (const char* zone : {"", "Mars/Olympus", "../zoneinfo/UTC", "/etc/localtime", "America"})
    EXPECT_FALSE(UseTimeZone(zone)) << zone;
  EXPECT_TRUE(UseTimeZone("UTC"));
}

TEST_F(TimePoints, AnythingElseIsNone) {
  for (const char* text : {"now", "2019-06-19", "2019-06-19T", "2019-06-31T10:00", "10:00",
                           "2019-06-19T25:00", "2019-06-19T10:00:", "2019-06-19T10:00:00+"})
    EXPECT_FALSE(ParseTimePoint(text)) << text;
}

}  // namespace
}  // namespace vmr::tool
