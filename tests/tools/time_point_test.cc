#include "tools/common/time_point.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <time.h>

namespace vmr::tool {
namespace {

constexpr std::int64_t kSecond = 1000000;
constexpr std::int64_t kNow = 1700000000 * kSecond;

// Every test begins and ends in UTC.
class TimePoints : public testing::Test {
 protected:
  TimePoints() { Reset(); }
  ~TimePoints() override { Reset(); }

  static void Reset() {
    setenv("TZ", "UTC", 1);
    tzset();
  }
  // The microseconds that the text stands for in the zone in use; -1 when it has none.
  static std::int64_t TimeOf(const char* text, DayEnd end = DayEnd::kFirst) {
    const auto typed = ParseTime(text, kNow);
    if (!typed) return -1;
    std::string error;
    const auto point = PointOf(*typed, end, error);
    return point && !point->tick ? point->us : -1;
  }
  static std::string ErrorOf(const char* text) {
    std::string error;
    EXPECT_FALSE(PointOf(*ParseTime(text, kNow), DayEnd::kFirst, error));
    return error;
  }
};

TEST_F(TimePoints, DigitsAloneAreATick) {
  EXPECT_EQ(ParseTime("0", kNow)->tick, 0U);
  const auto typed = ParseTime("4294967295", kNow);
  ASSERT_TRUE(typed);
  EXPECT_EQ(typed->kind, TypedTime::Kind::kTick);
  EXPECT_EQ(typed->tick, 4294967295U);
  for (const char* text : {"4294967296", "10000000000", "-1", "+1", "1.5", "", " 1", "0x10"})
    EXPECT_FALSE(ParseTime(text, kNow)) << text;
}

TEST_F(TimePoints, ATimeWithAnOffsetIsThatTime) {
  EXPECT_EQ(TimeOf("2019-06-19T16:33:57.5-05:00"), 1560980037 * kSecond + 500000);
  EXPECT_EQ(TimeOf("2019-06-19T21:33Z"), 1560979980 * kSecond);
  EXPECT_EQ(TimeOf("2019-06-19T16:33-05:00"), 1560979980 * kSecond);
}

TEST_F(TimePoints, SecondsSince1970StandBehindAnAt) {
  EXPECT_EQ(TimeOf("@1560980037"), 1560980037 * kSecond);
  EXPECT_EQ(TimeOf("@1560980037.25"), 1560980037 * kSecond + 250000);
  for (const char* text : {"@", "@-1", "@1.", "@1.x", "@x", "@99999999999999999999"})
    EXPECT_FALSE(ParseTime(text, kNow)) << text;
}

TEST_F(TimePoints, NowAndSoLongAgoAreReckonedFromNow) {
  EXPECT_EQ(TimeOf("now"), kNow);
  EXPECT_EQ(TimeOf("-15min"), kNow - 900 * kSecond);
  EXPECT_EQ(TimeOf("-1h30m"), kNow - 5400 * kSecond);
  EXPECT_EQ(TimeOf("-2d"), kNow - 172800 * kSecond);
  for (const char* text : {"-", "-15", "-min", "-15 min", "-15weeks", "-99999999999999d", "--1h"})
    EXPECT_FALSE(ParseTime(text, kNow)) << text;
}

TEST_F(TimePoints, ATimeWithoutAnOffsetIsLocal) {
  EXPECT_EQ(TimeOf("2019-06-19T21:33:57"), 1560980037 * kSecond);
  ASSERT_TRUE(UseTimeZone("America/Chicago"));
  EXPECT_EQ(TimeOf("2019-06-19T16:33:57"), 1560980037 * kSecond);
  EXPECT_EQ(TimeOf("2019-06-19 16:33"), 1560979980 * kSecond);
  EXPECT_EQ(LocalTimeText(1560980037 * kSecond), "2019-06-19 16:33:57-05:00");
}

TEST_F(TimePoints, ADateIsItsFirstOrItsLastMoment) {
  ASSERT_TRUE(UseTimeZone("America/Chicago"));
  EXPECT_EQ(TimeOf("2019-06-19", DayEnd::kFirst), 1560920400 * kSecond);
  EXPECT_EQ(TimeOf("2019-06-19", DayEnd::kLast), 1561006800 * kSecond - 1);
  // Summer time ends: the day has 25 hours.
  EXPECT_EQ(TimeOf("2019-11-03", DayEnd::kLast) - TimeOf("2019-11-03", DayEnd::kFirst),
            25 * 3600 * kSecond - 1);
}

TEST_F(TimePoints, ATimeThatClocksShowTwiceIsAskedAbout) {
  ASSERT_TRUE(UseTimeZone("America/Chicago"));
  EXPECT_EQ(ErrorOf("2019-11-03T01:30"),
            "2019-11-03T01:30 comes twice in America/Chicago; say 2019-11-03T01:30-05:00 or "
            "2019-11-03T01:30-06:00");
  EXPECT_EQ(TimeOf("2019-11-03T00:59:59"), 1572760799 * kSecond);
  EXPECT_EQ(TimeOf("2019-11-03T02:00:00"), 1572768000 * kSecond);
}

TEST_F(TimePoints, ATimeThatClocksSkipIsAskedAbout) {
  ASSERT_TRUE(UseTimeZone("America/Chicago"));
  EXPECT_EQ(ErrorOf("2019-03-10T02:30:00"),
            "2019-03-10T02:30:00 is skipped by the clocks in America/Chicago; say "
            "2019-03-10T02:30:00-06:00 or 2019-03-10T02:30:00-05:00");
  EXPECT_EQ(TimeOf("2019-03-10T01:59:59"), 1552204799 * kSecond);
  EXPECT_EQ(TimeOf("2019-03-10T03:00:00"), 1552204800 * kSecond);
}

TEST_F(TimePoints, OffsetsEastOfGreenwichAndOfPartsOfHours) {
  ASSERT_TRUE(UseTimeZone("Asia/Kathmandu"));
  EXPECT_EQ(LocalTimeText(0), "1970-01-01 05:30:00+05:30");
  EXPECT_EQ(LocalTimeText(1560980037 * kSecond), "2019-06-20 03:18:57+05:45");
  EXPECT_EQ(OffsetText(-570), "-09:30");
}

TEST_F(TimePoints, AZoneThatIsNotKnownIsRefused) {
  for (const char* zone : {"", "Mars/Olympus", "../zoneinfo/UTC", "/etc/localtime", "America"})
    EXPECT_FALSE(UseTimeZone(zone)) << zone;
  EXPECT_TRUE(UseTimeZone("UTC"));
  EXPECT_TRUE(UseTimeZone("local"));
}

TEST_F(TimePoints, AnythingElseIsNone) {
  for (const char* text : {"yesterday", "2019-06-19T", "2019-06-31T10:00", "10:00", "2019-13-01",
                           "2019-06-19T25:00", "2019-06-19T10:00:", "2019-06-19T10:00:00+"})
    EXPECT_FALSE(ParseTime(text, kNow)) << text;
}

}  // namespace
}  // namespace vmr::tool
