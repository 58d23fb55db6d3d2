#include "tools/common/iso_time.h"

#include <gtest/gtest.h>

namespace vmr::tool {
namespace {

constexpr std::int64_t kSecond = 1000000;

TEST(IsoTime, UtcTimesAreReadToTheMicrosecond) {
  EXPECT_EQ(ParseIsoTime("1970-01-01T00:00:00Z"), 0);
  EXPECT_EQ(ParseIsoTime("2019-06-19T21:33:57Z"), 1560980037 * kSecond);
  EXPECT_EQ(ParseIsoTime("2019-06-19T21:33:57.25Z"), 1560980037 * kSecond + 250000);
  EXPECT_EQ(ParseIsoTime("2019-06-19T21:33:57.1234569Z"), 1560980037 * kSecond + 123456);
  EXPECT_EQ(ParseIsoTime("2019-06-19 21:33:57,5z"), 1560980037 * kSecond + 500000);
  EXPECT_EQ(ParseIsoTime("1969-12-31T23:59:59Z"), -kSecond);
}

TEST(IsoTime, OffsetsFromUtcAreTakenOff) {
  EXPECT_EQ(ParseIsoTime("2019-06-19T23:33:57+02:00"), 1560980037 * kSecond);
  EXPECT_EQ(ParseIsoTime("2019-06-19T16:03:57-0530"), 1560980037 * kSecond);
  EXPECT_EQ(ParseIsoTime("2019-06-20T00:33:57+03"), 1560980037 * kSecond);
}

TEST(IsoTime, LeapDaysAndCenturiesCount) {
  EXPECT_EQ(ParseIsoTime("2024-02-29T00:00:00Z"), 1709164800 * kSecond);
  EXPECT_EQ(ParseIsoTime("2000-03-01T00:00:00Z"), 951868800 * kSecond);
  EXPECT_EQ(ParseIsoTime("2100-03-01T00:00:00Z"), 4107542400 * kSecond);
  EXPECT_FALSE(ParseIsoTime("2023-02-29T00:00:00Z"));
  EXPECT_FALSE(ParseIsoTime("2100-02-29T00:00:00Z"));
}

TEST(IsoTime, ALeapSecondIsTheSecondAfterIt) {
  EXPECT_EQ(ParseIsoTime("2016-12-31T23:59:60Z"), ParseIsoTime("2017-01-01T00:00:00Z"));
}

TEST(IsoTime, AnythingElseIsNoTime) {
  for (const char* text : {"", "2019", "2019-06-19", "2019-06-19T21:33:57", "2019-06-19T21:33Z",
                           "2019-13-01T00:00:00Z", "2019-00-01T00:00:00Z", "2019-01-00T00:00:00Z",
                           "2019-06-31T00:00:00Z", "2019-06-19T24:00:00Z", "2019-06-19T21:60:00Z",
                           "2019-06-19T21:33:61Z", "2019-06-19T21:33:57.Z", "2019-06-19T21:33:57Zx",
                           " 2019-06-19T21:33:57Z", "2019-06-19T21:33:57+2",
                           "2019-06-19T21:33:57+02:", "+019-06-19T21:33:57Z", "1560980037"})
    EXPECT_FALSE(ParseIsoTime(text)) << text;
}

}  // namespace
}  // namespace vmr::tool
