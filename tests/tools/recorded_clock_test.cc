#include "tools/ring/recorded_clock.h"

#include <gtest/gtest.h>

namespace vmr::tool {
namespace {

constexpr std::int64_t kSecond = 1000000;

// Both ends of a range that begins and ends at `time_s`.
std::pair<unsigned int, unsigned int> TicksAt(const RecordedClock& clock, std::int64_t time_s) {
  return {clock.FirstTickFrom(time_s * kSecond), clock.LastTickUpTo(time_s * kSecond)};
}
std::pair<unsigned int, unsigned int> Ticks(unsigned int first, unsigned int last) {
  return {first, last};
}

TEST(RecordedClock, TwoTicksAreASecond) {
  RecordedClock clock;
  EXPECT_TRUE(clock.Empty());
  clock.Add(100, 1000);
  EXPECT_FALSE(clock.Empty());
  EXPECT_EQ(TicksAt(clock, 1000), Ticks(100, 100));
  EXPECT_EQ(TicksAt(clock, 1060), Ticks(220, 220));
  EXPECT_EQ(clock.FirstTickFrom(1000 * kSecond + 1), 101U);
  EXPECT_EQ(clock.LastTickUpTo(1000 * kSecond + 999999), 101U);
  EXPECT_EQ(clock.TimeAt(103), 1001 * kSecond + 500000);
}

TEST(RecordedClock, TimesBeforeTheFirstItemAreReckonedFromIt) {
  RecordedClock clock;
  clock.Add(100, 1000);
  EXPECT_EQ(TicksAt(clock, 990), Ticks(80, 80));
  EXPECT_EQ(TicksAt(clock, 0), Ticks(0, 0));
  EXPECT_EQ(clock.TimeAt(98), 999 * kSecond);
}

TEST(RecordedClock, AClockSetForwardSkipsTimes) {
  RecordedClock clock;
  clock.Add(100, 1000);
  clock.Add(200, 5000);  // it would have been 1050
  EXPECT_EQ(TicksAt(clock, 1049), Ticks(198, 198));
  EXPECT_EQ(TicksAt(clock, 3000), Ticks(200, 199)) << "nothing is recorded then";
  EXPECT_EQ(TicksAt(clock, 5000), Ticks(200, 200));
}

TEST(RecordedClock, AClockSetBackShowsTimesTwiceAndTheWiderRangeIsTaken) {
  RecordedClock clock;
  clock.Add(100, 1000);
  clock.Add(200, 1020);  // it would have been 1050
  EXPECT_EQ(TicksAt(clock, 1030), Ticks(160, 220));
  EXPECT_EQ(TicksAt(clock, 1010), Ticks(120, 120));
}

TEST(RecordedClock, TheLastTickThereIsEndsAllReckoning) {
  RecordedClock clock;
  clock.Add(100, 1000);
  EXPECT_EQ(TicksAt(clock, 4000000000), Ticks(4294967293, 4294967293));
}

}  // namespace
}  // namespace vmr::tool
