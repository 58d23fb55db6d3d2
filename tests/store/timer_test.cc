// The timer tick: when the wall clock is looked at and when items are flushed.
#include <gtest/gtest.h>

#include "tests/support/reference_crc.h"
#include "tests/support/store_fixture.h"

namespace vmr::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Timer : public StoreTest {
 protected:
  void Add(unsigned short slack) { store.AddToCurrPacket(B("56").data(), 1, slack); }

  void TickWithClock(unsigned int tick, std::time_t now) {
    clock.Set(now);
    store.TimerTick(tick);
  }

  // The store has seen `now` at `tick`.
  void KnowsTheTime(unsigned int tick, std::time_t now) {
    TickWithClock(tick, now);
    store.packets.clear();
    log.Clear();
  }

  // The base time of a store that knew the time, when the clock five seconds
  // later is off by so much.
  std::int32_t BaseAfterClockIsOffBy(int difference_s) {
    RecordingStore fresh;
    clock.Set(1600000000);
    fresh.TimerTick(1000);
    clock.Set(1600000005 + difference_s);
    fresh.TimerTick(1010);
    return fresh.Mirror().time.base_time;
  }

  // The time items at the front of the packets written.
  std::vector<Bytes> TimeItems() const {
    std::vector<Bytes> items;
    for (const WrittenPacket& packet : store.packets) {
      const auto item = packet.bytes.begin() + (packet.bytes[0] == HEADER_1 ? 6 : 3);
      if (*item == TAG_TIME) items.push_back(Bytes(item, item + 5));
    }
    return items;
  }
};

// ---- Current tick and time ---------------------------------------------------

TEST_F(Timer, TheTickHandedInIsTheCurrentOne) {
  TickAt(12345);
  EXPECT_EQ(store.GetCurrentSystemTick(), 12345u);
  store.InitCurrentSystemTick(7);
  EXPECT_EQ(store.GetCurrentSystemTick(), 7u);
}

TEST_F(Timer, AdjustedTimeIsTheBaseTimeAndHalfTheTicksSince) {
  KnowsTheTime(1000, 1600000000);
  for (const auto& [tick, seconds] : {std::pair{1000u, 0}, {1001u, 0}, {1002u, 1}, {3000u, 1000}}) {
    store.InitCurrentSystemTick(tick);
    EXPECT_EQ(store.GetAdjustedTime(), 1600000000 + seconds) << tick;
  }
}

TEST_F(Timer, AdjustedTimeOfATickBeforeTheBaseShiftsTheUnsignedDifference) {
  KnowsTheTime(1000, 1600000000);
  store.InitCurrentSystemTick(998);
  EXPECT_EQ(store.GetAdjustedTime(), static_cast<std::int32_t>(1600000000u + 0x7FFFFFFFu));
}

TEST_F(Timer, AdjustedTimeWrapsAsASignedNumber) {
  KnowsTheTime(1000, 0x7FFFFFFF);
  store.InitCurrentSystemTick(1002);
  EXPECT_EQ(store.GetAdjustedTime(), std::numeric_limits<std::int32_t>::min());
}

// ---- Wall clock --------------------------------------------------------------

TEST_F(Timer, TheFirstTickRecordsTheTime) {
  TickWithClock(1000, 0x499602D2);
  ASSERT_EQ(store.packets.size(), 1u);
  EXPECT_EQ(store.packets[0].bytes, WithCrc(B("80 E8 03 00 00 05 03 D2 02 96 49")));
  EXPECT_EQ(store.Mirror().time.base_time, 0x499602D2);
  EXPECT_EQ(store.Mirror().time.base_tick, 1000u);
  EXPECT_EQ(store.Mirror().time.time_check_tick, 1000u);
}

TEST_F(Timer, AClockChangeIsTracedWithEverythingThatLedToIt) {
  KnowsTheTime(1000, 1600000000);
  TickWithClock(1010, 1600003605);
  EXPECT_TRUE(Logged(kLogEachItem,
                     "caught time change 1600003605 est time 1600000005 baseTime=1600000000"
                     " systick=1010 baseTimeTs=1000"));
}

TEST_F(Timer, TheClockIsLookedAtAfterMoreThanThreeTicks) {
  KnowsTheTime(1000, 1600000000);
  TickWithClock(1003, 1700000000);
  EXPECT_THAT(TimeItems(), IsEmpty());
  TickWithClock(1004, 1700000000);
  EXPECT_THAT(TimeItems(), ElementsAre(B("03 00 F1 53 65")));
}

TEST_F(Timer, AnAgreeingClockPutsOffTheNextLookAsWell) {
  KnowsTheTime(1000, 1600000000);
  TickWithClock(1004, 1600000002);
  EXPECT_EQ(store.Mirror().time.time_check_tick, 1004u);
  EXPECT_EQ(store.Mirror().time.base_tick, 1000u) << "the base stays";
  TickWithClock(1007, 1700000000);
  EXPECT_THAT(TimeItems(), IsEmpty());
  TickWithClock(1008, 1700000000);
  EXPECT_EQ(TimeItems().size(), 1u);
}

TEST_F(Timer, OneSecondOfDifferenceIsTolerated) {
  for (const int difference_s : {-1, 0, 1})
    EXPECT_EQ(BaseAfterClockIsOffBy(difference_s), 1600000000) << difference_s;
}

TEST_F(Timer, TwoSecondsOfDifferenceAreAClockChangeEitherWay) {
  for (const int difference_s : {-2, 2})
    EXPECT_EQ(BaseAfterClockIsOffBy(difference_s), 1600000005 + difference_s) << difference_s;
}

TEST_F(Timer, TheClockCheckSurvivesAWrapOfTheTick) {
  KnowsTheTime(0xFFFFFFF0, 1600000000);
  TickWithClock(0x00000010, 1600000016);
  EXPECT_THAT(TimeItems(), IsEmpty());
  TickWithClock(0x00000020, 1600000034);
  EXPECT_EQ(TimeItems().size(), 1u);
}

TEST_F(Timer, AWallClockBeyond32BitsWrapsLikeTheItem) {
  TickWithClock(1000, 0x80000001);
  EXPECT_THAT(TimeItems(), ElementsAre(B("03 01 00 00 80")));
  EXPECT_TRUE(Logged(kLogEachItem,
                     "caught time change -2147483647 est time 500 baseTime=0 systick=1000"
                     " baseTimeTs=0"));
}

// ---- Flushing ----------------------------------------------------------------

TEST_F(Timer, ItemsAreFlushedWhenTheirSlackIsUp) {
  TickAt(100);
  Add(4);
  for (const unsigned int tick : {101u, 102u, 103u}) {
    TickAt(tick);
    EXPECT_THAT(store.packets, IsEmpty()) << tick;
  }
  TickAt(104);
  ASSERT_EQ(store.packets.size(), 1u);
  EXPECT_EQ(store.packets[0].bytes, WithCrc(B("80 68 00 00 00 01 56")));
}

TEST_F(Timer, WithoutItemsTheSlackStartFollowsTheTick) {
  TickAt(100);
  TickAt(200);
  Add(4);
  TickAt(203);
  EXPECT_THAT(store.packets, IsEmpty());
  TickAt(204);
  EXPECT_EQ(store.packets.size(), 1u);
}

TEST_F(Timer, AFlushStartsTheSlackAnew) {
  TickAt(100);
  Add(1);
  TickAt(150);
  EXPECT_EQ(store.packets.size(), 1u);
  Add(4);
  TickAt(153);
  EXPECT_EQ(store.packets.size(), 1u);
  TickAt(154);
  EXPECT_EQ(store.packets.size(), 2u);
}

TEST_F(Timer, AfterAFlushNoSlackIsPending) {
  TickAt(100);
  Add(1);
  TickAt(101);
  log.Clear();
  TickAt(102);
  EXPECT_THAT(log.Entries(), IsEmpty());
}

TEST_F(Timer, PendingSlackIsTracedAtEveryTick) {
  TickAt(100);
  Add(4);
  log.Clear();
  clock.Set(51);
  store.TimerTick(102);
  EXPECT_THAT(log.Entries(),
              ElementsAre(LogEntry{128, "DataStore.cc",
                                   "sysTick_ (102), lastSlackSt (100), slack (4), currTime (51)"}));
}

TEST_F(Timer, SlackSurvivesAWrapOfTheTick) {
  KnowsTheTime(0xFFFFFFFE, 1600000000);
  Add(4);
  for (const unsigned int tick : {0xFFFFFFFFu, 0u, 1u}) {
    TickWithClock(tick, 1600000001);
    EXPECT_THAT(store.packets, IsEmpty()) << tick;
  }
  TickWithClock(0x00000002, 1600000002);
  EXPECT_EQ(store.packets.size(), 1u);
}

TEST_F(Timer, NoItemIsWrittenWithoutAReason) {
  for (unsigned int tick = 0; tick < 20000; tick += 3) TickAt(tick);
  EXPECT_THAT(store.packets, IsEmpty());
}

}  // namespace
}  // namespace vmr::test
