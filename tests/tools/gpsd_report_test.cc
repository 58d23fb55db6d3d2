#include "tools/events/gpsd_report.h"

#include <gtest/gtest.h>

#include "tests/support/recording_store.h"
#include "tools/events/event_parser.h"
#include "tools/record/gps_tracker.h"

namespace vmr::tool {
namespace {

using test::B;

struct Axis {
  int degrees, minutes, fraction, positive;
  bool operator==(const Axis& other) const {
    return degrees == other.degrees && minutes == other.minutes && fraction == other.fraction &&
           positive == other.positive;
  }
};
void PrintTo(const Axis& axis, std::ostream* os) {
  *os << axis.degrees << ' ' << axis.minutes << '.' << axis.fraction << ' ' << axis.positive;
}

Axis Latitude(double degrees) {
  const GpsStatusItem fix = FixAt(degrees, 0);
  return {fix.latitude_degrees, fix.latitude_minutes, fix.latitude_fraction, fix.latitude_is_north};
}

Axis Longitude(double degrees) {
  const GpsStatusItem fix = FixAt(0, degrees);
  return {fix.longitude_degrees, fix.longitude_minutes, fix.longitude_fraction,
          fix.longitude_is_east};
}

TEST(FixAt, DegreesBecomeMinutesAndTenThousandths) {
  EXPECT_EQ(Latitude(49.026566667), (Axis{49, 1, 5940, 1}));
  EXPECT_EQ(Latitude(-33.5), (Axis{33, 30, 0, 0}));
  EXPECT_EQ(Longitude(-93.499397), (Axis{93, 29, 9638, 0}));
  EXPECT_EQ(Longitude(180), (Axis{180, 0, 0, 1}));
  EXPECT_EQ(Latitude(0), (Axis{0, 0, 0, 1}));
}

TEST(FixAt, RoundsToTheNearestTenThousandthOfAMinute) {
  EXPECT_EQ(Latitude(10 + 0.4 / 600000), (Axis{10, 0, 0, 1}));
  EXPECT_EQ(Latitude(10 + 0.6 / 600000), (Axis{10, 0, 1, 1}));
  EXPECT_EQ(Latitude(-10 - 0.6 / 600000), (Axis{10, 0, 1, 0}));
}

TEST(FixAt, AMinuteThatRoundsUpToSixtyCarriesIntoTheDegrees) {
  EXPECT_EQ(Latitude(49 + 59.99999 / 60), (Axis{50, 0, 0, 1}));
  EXPECT_EQ(Latitude(49 + 59.9999 / 60), (Axis{49, 59, 9999, 1}));
  EXPECT_EQ(Longitude(-(179 + 59.99999 / 60)), (Axis{180, 0, 0, 0}));
  EXPECT_EQ(Latitude(49 + 29.99999 / 60), (Axis{49, 30, 0, 1}));
}

// Feeds lines to a tracker and looks at what reaches the store.
class GpsTrackerTest : public testing::Test {
 protected:
  GpsTrackerTest() {
    store.CheckGpsConfig(false);
    store.CheckSpeedConfig(false);
    SystemInfo info;
    info.record_speed_in_metadata.value = true;
    store.ReportSystemInfo(info, false);
  }

  test::Bytes ItemsAfter(const std::string& line) {
    ParsedLine parsed = ParseLine(line);
    const Report& report = std::get<Report>(parsed);
    tracker.Follow(store, std::get<GpsReport>(report.content), report.stamp, 7);
    return store.FlushedItems();
  }

  test::RecordingStore store;
  GpsTracker tracker;
};

// 49 degrees 1 minute and 12 degrees 3 minutes, north and east.
const test::Bytes kAbsolute = B("91 00 31 01 00 00 0C 03 00 00");
constexpr const char* kFix = R"({"class":"TPV","mode":3,"lat":49.0166666667,"lon":12.05})";
constexpr const char* kLoss = R"({"class":"TPV","mode":1})";

std::string TimedFix(const std::string& time, const std::string& position = "") {
  return R"({"class":"TPV","mode":3,"time":")" + time + "\"" + position + "}";
}

TEST_F(GpsTrackerTest, AReportWithAPositionIsAFix) {
  EXPECT_EQ(ItemsAfter(kFix), kAbsolute);
  EXPECT_EQ(tracker.Fixes(), 1U);
}

TEST_F(GpsTrackerTest, ReportsOfTheSameTimeAreOneFix) {
  const std::string here = R"(,"lat":49.0166666667,"lon":12.05)";
  const std::string there = R"(,"lat":49.5,"lon":12.05)";
  EXPECT_EQ(ItemsAfter(TimedFix("2029-11-25T16:57:44.000Z", here)), kAbsolute);
  EXPECT_EQ(ItemsAfter(TimedFix("2029-11-25T16:57:44.000Z", there)), B(""));
  EXPECT_EQ(ItemsAfter(TimedFix("2029-11-25T17:57:44+01:00", there)), B(""));
  EXPECT_EQ(tracker.Fixes(), 1U);
  EXPECT_NE(ItemsAfter(TimedFix("2029-11-25T16:57:44.100Z", there)), B(""));
  EXPECT_EQ(tracker.Fixes(), 2U);
}

TEST_F(GpsTrackerTest, TheFirstReportOfATimeThatHasAPositionCounts) {
  EXPECT_EQ(ItemsAfter(TimedFix("2029-11-25T16:57:44Z")), B(""));
  EXPECT_EQ(ItemsAfter(TimedFix("2029-11-25T16:57:44Z", R"(,"lat":49.0166666667,"lon":12.05)")),
            kAbsolute);
}

TEST_F(GpsTrackerTest, EveryReportWithoutTimeIsAFix) {
  ItemsAfter(kFix);
  ItemsAfter(kFix);
  EXPECT_EQ(tracker.Fixes(), 2U);
}

TEST_F(GpsTrackerTest, AReportWithoutLatitudeOrLongitudeIsNoFix) {
  EXPECT_EQ(ItemsAfter(R"({"class":"TPV","mode":3,"lat":49})"), B(""));
  EXPECT_EQ(ItemsAfter(R"({"class":"TPV","mode":2,"lon":12})"), B(""));
  EXPECT_EQ(ItemsAfter(R"({"class":"TPV","mode":3})"), B(""));
  EXPECT_EQ(tracker.Fixes(), 0U);
  EXPECT_EQ(tracker.Losses(), 0U);
}

TEST_F(GpsTrackerTest, ModesBelowTwoAreALossThatIsReportedOnce) {
  EXPECT_EQ(ItemsAfter(kLoss), B("94 00"));
  EXPECT_EQ(ItemsAfter(R"({"class":"TPV","mode":0,"lat":1,"lon":1})"), B(""));
  EXPECT_EQ(tracker.Losses(), 1U);
}

TEST_F(GpsTrackerTest, AFixAfterALossMakesGpsAvailableFirstAndIsAbsolute) {
  ItemsAfter(kFix);
  ItemsAfter(kLoss);
  EXPECT_EQ(ItemsAfter(R"({"class":"TPV","mode":3})"), B(""));
  EXPECT_EQ(ItemsAfter(kFix), test::operator+(B("94 01"), kAbsolute));
}

std::string FixWith(const std::string& speed, const std::string& time = "") {
  return R"({"class":"TPV","mode":3,"lat":49.0166666667,"lon":12.05,)" +
         (time.empty() ? "" : "\"time\":\"" + time + "\",") + "\"speed\":" + speed + "}";
}

TEST(MilesPerHour, AreRoundedToTheNearest) {
  EXPECT_EQ(MilesPerHour(0), 0);
  EXPECT_EQ(MilesPerHour(0.44704 * 54.49), 54);
  EXPECT_EQ(MilesPerHour(0.44704 * 54.51), 55);
  EXPECT_EQ(MilesPerHour(29296), 65533);
}

TEST_F(GpsTrackerTest, ASpeedIsThatOfTheGpsDeviceInMilesPerHour) {
  EXPECT_EQ(ItemsAfter(FixWith("24.178")), test::operator+(kAbsolute, B("71 36")));
  EXPECT_EQ(ItemsAfter(FixWith("24.2")), B(""));
  EXPECT_EQ(ItemsAfter(FixWith("60")), B("78 86 00"));
}

TEST_F(GpsTrackerTest, OfReportsOfOneTimeTheFirstSpeedCounts) {
  const std::string time = "2029-11-25T16:57:44.000Z";
  ItemsAfter(TimedFix(time, R"(,"lat":49.0166666667,"lon":12.05)"));
  EXPECT_EQ(ItemsAfter(FixWith("10", time)), B("71 16"));
  EXPECT_EQ(ItemsAfter(FixWith("20", time)), B(""));
  EXPECT_EQ(ItemsAfter(FixWith("20", "2029-11-25T16:57:45.000Z")), B("71 2D"));
  EXPECT_EQ(tracker.Fixes(), 2U);
}

TEST_F(GpsTrackerTest, ASpeedWithoutAFixDoesNotCount) {
  EXPECT_EQ(ItemsAfter(R"({"class":"TPV","mode":3,"speed":20})"), B(""));
  EXPECT_EQ(ItemsAfter(R"({"class":"TPV","mode":1,"speed":20,"lat":1,"lon":1})"), B("94 00"));
}

TEST_F(GpsTrackerTest, ASpeedThatIsOfNoUseIsLeftOutAndSaidSo) {
  for (const char* speed : {"-0.1", "29296.5", "1e300", "null", "\"fast\"", "[]"}) {
    const std::string line = FixWith(speed, "2029-11-25T16:57:44Z");
    const Report report = std::get<Report>(ParseLine(line));
    EXPECT_FALSE(std::get<GpsReport>(report.content).speed_mph) << speed;
    EXPECT_TRUE(std::get<GpsReport>(report.content).position) << speed;
    EXPECT_EQ(report.remark.rfind("\"speed\" is ", 0), 0U) << report.remark;
  }
  EXPECT_EQ(std::get<Report>(ParseLine(FixWith("-1"))).remark,
            "\"speed\" is -1, expected a number from 0 to 29296; ignored");
}

// Readers take the speed for invalid while GPS is away.
TEST_F(GpsTrackerTest, AfterALossTheSameSpeedIsRecordedAgain) {
  ItemsAfter(FixWith("20"));
  ItemsAfter(kLoss);
  EXPECT_EQ(ItemsAfter(FixWith("20")),
            test::operator+(test::operator+(B("94 01"), kAbsolute), B("71 2D")));
}

TEST_F(GpsTrackerTest, SilenceIsALossToo) {
  tracker.Lose(store);
  EXPECT_EQ(store.FlushedItems(), B("94 00"));
  EXPECT_EQ(ItemsAfter(kFix), test::operator+(B("94 01"), kAbsolute));
}

}  // namespace
}  // namespace vmr::tool
