#include "tools/record/replay_clock.h"

#include <gtest/gtest.h>

#include <cmath>

#include "tools/common/iso_time.h"

namespace vmr::tool {
namespace {

constexpr std::int64_t kMachineTime = 1000000;

class ReplayClockTest : public testing::Test {
 protected:
  static Stamp At(double seconds) {
    return {std::nullopt, std::llround(seconds * static_cast<double>(kMicrosecondsPerSecond))};
  }
  static Stamp Tick(unsigned int tick) { return {tick, std::nullopt}; }
  // Goes where the stamp says; the tick it led to.
  unsigned int Go(const Stamp& stamp) {
    const ReplayClock::Placement place = clock.Place(stamp);
    EXPECT_EQ(place.error, "");
    clock.SetTick(place.tick);
    clock.SetTime(stamp);
    return clock.Tick();
  }
  std::time_t NowAt(unsigned int tick) {
    clock.SetTick(tick);
    return clock.Now();
  }

  ReplayClock clock{10, kMachineTime};
};

TEST_F(ReplayClockTest, TheFirstTimeBelongsToTheTickItFinds) {
  EXPECT_EQ(Go(At(5000.3)), 10U);
  EXPECT_EQ(clock.Now(), 5000);
}

TEST_F(ReplayClockTest, TicksAreHalfSecondsFromTheFirstTime) {
  Go(At(5000.3));
  EXPECT_EQ(Go(At(5000.7)), 10U);
  EXPECT_EQ(Go(At(5000.8)), 11U);
  EXPECT_EQ(Go(At(5060.3)), 130U);
}

TEST_F(ReplayClockTest, TenEventsASecondLoseNoFractions) {
  for (int i = 0; i <= 36000; ++i) Go(At(5000 + i / 10.0));
  EXPECT_EQ(clock.Tick(), 10U + 7200);
}

TEST_F(ReplayClockTest, TheWallClockRunsOnFromTheLastTimeGiven) {
  Go(At(5000.6));
  EXPECT_EQ(NowAt(11), 5001);
  EXPECT_EQ(NowAt(12), 5001);
  EXPECT_EQ(NowAt(13), 5002);
}

TEST_F(ReplayClockTest, UntilATimeIsGivenTheWallClockIsTheMachines) {
  EXPECT_EQ(clock.Now(), kMachineTime);
  EXPECT_EQ(Go(Tick(20)), 20U);
  EXPECT_EQ(clock.Now(), kMachineTime + 5);
}

TEST_F(ReplayClockTest, ATickThatGoesBackLeavesTheTick) {
  Go(Tick(20));
  EXPECT_EQ(Go(Tick(15)), 20U);
}

TEST_F(ReplayClockTest, ATimeThatGoesBackLeavesTheTickAndTurnsTheWallClockBack) {
  Go(At(5000));
  Go(At(5100));
  EXPECT_EQ(Go(At(4000)), 210U);
  EXPECT_EQ(clock.Now(), 4000);
  EXPECT_EQ(Go(At(4001)), 212U);
  EXPECT_EQ(NowAt(214), 4002);
}

TEST_F(ReplayClockTest, TimesGoOnCountingAcrossATick) {
  Go(At(5000));
  EXPECT_EQ(Go(Tick(30)), 30U);
  EXPECT_EQ(clock.Now(), 5010);
  EXPECT_EQ(Go(At(5011)), 32U);
}

TEST_F(ReplayClockTest, ATimeBehindTheTicksIsGoingBack) {
  Go(At(5000));
  Go(Tick(30));
  EXPECT_EQ(Go(At(5005)), 30U);
  EXPECT_EQ(clock.Now(), 5005);
  EXPECT_EQ(Go(At(5006)), 32U);
}

TEST_F(ReplayClockTest, TickAndTimeTogetherSetTheClockForward) {
  Go(At(5000));
  EXPECT_EQ(Go({12U, 9000 * kMicrosecondsPerSecond}), 12U);
  EXPECT_EQ(clock.Now(), 9000);
  EXPECT_EQ(Go(At(9001)), 14U);
}

TEST_F(ReplayClockTest, ATimeBeyondTheLastTickIsRefused) {
  clock.SetTick(kLastInputTick - 1);
  Go(At(5000));
  EXPECT_EQ(clock.Place(At(5000.5)).tick, kLastInputTick);
  EXPECT_EQ(clock.Place(At(5001)).error,
            "\"time\" would be tick 4294967041, but the last tick is 4294967040");
}

TEST_F(ReplayClockTest, ATimeThatNoRecordingCanHoldIsRefused) {
  const char* const reason =
      "\"time\" is outside 1970-01-01 to 2038-01-19, which a recording can hold";
  EXPECT_EQ(clock.Place(At(-1)).error, reason);
  EXPECT_EQ(clock.Place(At(2147483648.0)).error, reason);
  EXPECT_EQ(clock.Place(At(2147483647.0)).error, "");
}

}  // namespace
}  // namespace vmr::tool
