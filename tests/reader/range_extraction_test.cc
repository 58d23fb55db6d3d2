// Extracting a range of a ring into a file: what the file holds, what it
// returns, what is logged and when the watchdog is petted.
#include <errno.h>

#include <algorithm>
#include <random>
#include <set>

#include "backends/data_store_flat.h"
#include "store/tag_catalogue.h"
#include "tests/reader/extraction_fixture.h"
#include "tests/reader/random_host.h"

namespace vmr::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr auto kFirstSensor = static_cast<e_TempSensors>(0);

class RangeExtraction : public ExtractionTest {
 protected:
  // What is behind the label and the state of a unit of which nothing is known.
  Bytes Copied(unsigned int start, unsigned int end) const {
    const Bytes all = Out();
    const Bytes begin = FreshStart(start, end);
    if (all.size() < begin.size() ||
        Bytes(all.begin(), all.begin() + static_cast<long>(begin.size())) != begin) {
      ADD_FAILURE() << "another beginning: " << testing::PrintToString(all);
      return {};
    }
    return Bytes(all.begin() + static_cast<long>(begin.size()), all.end());
  }
  int DroppedItems() const {
    return static_cast<int>(log_.Count(
        2, "DataStore.cc", "***************** Dropped 1 data bytes ********************"));
  }
};

// ---- What the file holds -------------------------------------------------------

TEST_F(RangeExtraction, AStartTickThatAPacketHasIsThatOfTheStateAndThePacketIsNotCopied) {
  Record({{90, Mark(90) + Mark(100) + Mark(110)}});
  ASSERT_TRUE(Extract(100, 110));
  EXPECT_EQ(Out(),
            WithCrc(B("80 64 00 00 00 A2"  // tick 100, 162 bytes
                      " 20 10 52 61 6E 67 65 20 31 30 30 20 74 6F 20 31 31 30"  // Range 100 to 110
                      " 03 32 00 00 00  02 00 00 00 00 00 00 00"
                      " 90 01 00  E0 00 00 E0 01 00 E0 02 00 E0 03 00  1A"
                      " 35 37 39 3D 3F 41 43 45 47 3B 4B"
                      " 59 01 01 00 59 01 02 00 59 02 01 00 59 02 02 00"
                      " 59 00 01 00 59 00 02 00 59 03 01 00 59 03 02 00  94 00"
                      " 55 00 55 10 55 20 55 30  51 00 51 10 51 20 51 30"
                      " B0 00 00 00 00 00 00 00 00  B0 10 00 00 00 00 00 00 00"
                      " B0 20 00 00 00 00 00 00 00  B0 30 00 00 00 00 00 00 00"
                      " B0 40 00 00 00 00 00 00 00  B0 50 00 00 00 00 00 00 00")) +
                WithCrc(B("80 6E 00 00 00 01 56")));
  EXPECT_TRUE(reader.LastExtraction().start_tick_folded);
}

TEST_F(RangeExtraction, AStartBetweenTwoPacketsIsTheStatesTickAndTheNextPacketFollows) {
  Record({{90, Mark(90) + Mark(100) + Mark(110)}});
  ASSERT_TRUE(Extract(95, 100));
  EXPECT_EQ(Out(), FreshStart(95, 100) + Mark(100) + Mark(110));
  EXPECT_FALSE(reader.LastExtraction().start_tick_folded);
}

TEST_F(RangeExtraction, PacketsAreCopiedAsTheyAre) {
  const Bytes packets = H2(0x5F, B("C0 01 00")) + Cont(B("56 56")) + B("83 01 20 C2 00") +
                        WithCrc(B("80 70 00 00 00 02 04 07")) + B("81 71 00 00");  // wrong CRC
  Record({{90, Mark(90) + packets}});
  ASSERT_TRUE(Extract(91, 0x70));
  EXPECT_EQ(Out(), FreshStart(91, 0x70) + packets);
}

TEST_F(RangeExtraction, WhatWasReportedBeforeTheStartIsInTheState) {
  Record({{90, H1(90, B("1A")) + H2(95, B("36 E1 19")) + H2(99, B("38")) + H2(100, B("39"))}});
  ASSERT_TRUE(Extract(99, 200));
  const Bytes state = StartOf(99, 200, [](DataStore& unit) {
    unit.StoreConfigSettingsValid(true, TAG_POLICY_END);
    unit.ReportStateData(TAG_SIREN_ON, false, 0);
    unit.ReportTemp(kFirstSensor, 25, false, 0);
    unit.ReportStateData(TAG_BRAKE_ON, false, 0);
  });
  EXPECT_EQ(Out(), state + H2(100, B("39")));
}

TEST_F(RangeExtraction, AnEndTickAdmitsTwentyTicksMore) {
  Record({{90, Mark(90) + Mark(110) + Mark(130) + Mark(131)}});
  ASSERT_TRUE(Extract(90, 110));
  EXPECT_EQ(Copied(90, 110), Mark(110) + Mark(130));
  EXPECT_EQ(reader.LastExtraction().widened_end, 130U);
  EXPECT_EQ(reader.LastExtraction().next_tick, 131U);
}

TEST_F(RangeExtraction, TheLastOfAllTicksIsNotWidened) {
  Record({{90, Mark(90) + Mark(0x7FFFFFFF) + Mark(0xFFFFFFFE)}});
  ASSERT_TRUE(Extract(90, 0xFFFFFFFF));
  EXPECT_EQ(Copied(90, 0xFFFFFFFF), Mark(0x7FFFFFFF) + Mark(0xFFFFFFFE));
  EXPECT_EQ(reader.LastExtraction().widened_end, 0xFFFFFFFFU);
}

TEST_F(RangeExtraction, AnEndTickNearItDoesNotComeRound) {
  Record({{90, Mark(90) + Mark(0x7FFFFFFF) + Mark(0xFFFFFFFE)}});
  for (const unsigned int end : {0xFFFFFFEAU, 0xFFFFFFEBU, 0xFFFFFFECU, 0xFFFFFFF0U, 0xFFFFFFFEU}) {
    SCOPED_TRACE(end);
    ASSERT_TRUE(Extract(90, end));
    EXPECT_EQ(Copied(90, end), Mark(0x7FFFFFFF) + Mark(0xFFFFFFFE));
    EXPECT_EQ(reader.LastExtraction().widened_end, end == 0xFFFFFFEA ? 0xFFFFFFFE : 0xFFFFFFFF);
  }
}

TEST_F(RangeExtraction, ARangeAfterTheLastTickGivesLabelAndStateAndSucceeds) {
  Record({{90, Mark(90) + Mark(100)}});
  EXPECT_TRUE(Extract(101, 300));
  EXPECT_EQ(Out(), FreshStart(101, 300));
  EXPECT_TRUE(ReaderLogged(64,
                           "ReadToNewFile: Metadata system tick read NEVER FOUND IN RANGE to "
                           "starting/ending system ticks, writing full state at starting system "
                           "tick"));
  EXPECT_EQ(reader.LastExtraction().packets, 0U);
}

TEST_F(RangeExtraction, ARangeWhoseFirstPacketIsPastTheWidenedEndGivesLabelAndStateAndSucceeds) {
  Record({{90, Mark(90) + Mark(141)}});
  EXPECT_TRUE(Extract(100, 120));
  EXPECT_EQ(Out(), FreshStart(100, 120));
  EXPECT_EQ(reader.LastExtraction().next_tick, 141U);
  EXPECT_TRUE(Extract(100, 121));
  EXPECT_EQ(Copied(100, 121), Mark(141));
}

TEST_F(RangeExtraction, ARangeThatEndsBeforeItBeginsGivesLabelAndState) {
  Record({{90, Mark(90) + Mark(150) + Mark(160)}});
  EXPECT_TRUE(Extract(150, 100));
  EXPECT_EQ(Out(), FreshStart(150, 100));
}

TEST_F(RangeExtraction, AnExistingDestinationIsReplaced) {
  Record({{90, Mark(90) + Mark(100)}});
  files_.PutFile(kOut, Times(1000, B("80 00 00 00 00 01 36 00")));
  ASSERT_TRUE(Extract(90, 100));
  EXPECT_EQ(Out(), FreshStart(90, 100) + Mark(100));
}

TEST_F(RangeExtraction, ItIsGoneEvenWhenTheOutputCannotBeOpened) {
  Record({{90, Mark(90) + Mark(100)}});
  files_.PutFile(kOut, B("01 02 03"));
  files_.FailOnce(FileOp::kOpen, kOut, EACCES);
  EXPECT_FALSE(Extract(90, 100));
  EXPECT_FALSE(files_.Exists(kOut));
  EXPECT_THAT(ReaderLog(2), ElementsAre("2 ReadToNewFile: Could not open output data store"));
  EXPECT_EQ(files_.OpenDescriptors(), 0);
}

TEST_F(RangeExtraction, ARangeMayGoOnOverManyClusters) {
  std::vector<ClusterOf> clusters;
  Bytes wanted;
  for (unsigned int n = 0; n < 40; ++n) {
    const unsigned int tick = 1000 + 200 * n;
    const Bytes packets = Times(100, H1(tick, Times(20, B("56")))) + H1(tick + 100, B("56"));
    clusters.push_back({tick, packets});
    if (n >= 3 && n <= 30) wanted = wanted + packets;
  }
  Record(clusters);
  ASSERT_TRUE(Extract(1599, 7100));
  EXPECT_EQ(Copied(1599, 7100), wanted);
}

TEST_F(RangeExtraction, AYoungRingWithoutADumpIsReplayedFromItsFirstPacket) {
  Record({{90, H1(90, B("36")) + H2(91, B("E1 19"))},
          {100, H2(100, B("38"))},
          {110, H2(110, B("37")) + H2(111, B("56"))}});
  ASSERT_TRUE(Extract(105, 200));
  const Bytes state = StartOf(105, 200, [](DataStore& unit) {
    unit.ReportStateData(TAG_SIREN_ON, false, 0);
    unit.ReportTemp(kFirstSensor, 25, false, 0);
    unit.ReportStateData(TAG_BRAKE_ON, false, 0);
  });
  EXPECT_EQ(Out(), state + H2(110, B("37")) + H2(111, B("56")));
  EXPECT_TRUE(ReaderLogged(2, "No data found in cluster 32767"));
  EXPECT_TRUE(ReaderLogged(32,
                           "ReadToNewFile: Last state dump found: stateCluster(32767), "
                           "nextReadLoc(0), readSysTick(91)"));
  EXPECT_FALSE(reader.LastExtraction().dump_found);
}

// The store reads its one cluster for the empty one before it, too: the search
// passes it twice.
TEST_F(RangeExtraction, SoIsARingOfOneCluster) {
  Record({{90, H1(90, B("56")) + H2(100, B("56"))}});
  ASSERT_TRUE(Extract(90, 100));
  EXPECT_EQ(Out(), FreshStart(90, 100) + H2(100, B("56")));
  EXPECT_TRUE(ReaderLogged(2, "No data found in cluster 32766"));
}

TEST_F(RangeExtraction, AnEmptyRingGivesLabelAndState) {
  Record({});
  EXPECT_TRUE(Extract(100, 200));
  EXPECT_EQ(Out(), FreshStart(100, 200));
}

// A range may begin before everything that is left of the recording.
TEST_F(RangeExtraction, AStartBeforeTheOldestTickIsTheStatesTickAll) {
  Record({{90, Mark(90) + Mark(100)}});
  ASSERT_TRUE(Extract(7, 100));
  EXPECT_EQ(Out(), FreshStart(7, 100) + Mark(90) + Mark(100));
}

TEST_F(RangeExtraction, AnUndefinedTickBeforeTheStartCountsAsBeforeIt) {
  Record({{5, H2(0xFE, B("36"))}, {100, H1(100, B("56")) + H2(101, B("38"))}});
  ASSERT_TRUE(Extract(50, 200));
  const Bytes state =
      StartOf(50, 200, [](DataStore& unit) { unit.ReportStateData(TAG_SIREN_ON, false, 0); });
  EXPECT_EQ(Out(), state + H1(100, B("56")) + H2(101, B("38")));
  EXPECT_TRUE(ReaderLogged(4,
                           "ReadNextSystemTick: Found HEADER_2 packet when last read system tick "
                           "was undefined, ignoring..."));
}

TEST_F(RangeExtraction, EvenWhenTheStartIsTheLastOfAllTicks) {
  Record({{5, H2(0xFE, B("36"))}});
  ASSERT_TRUE(Extract(0xFFFFFFFF, 0xFFFFFFFF));
  const Bytes state = StartOf(0xFFFFFFFF, 0xFFFFFFFF, [](DataStore& unit) {
    unit.ReportStateData(TAG_SIREN_ON, false, 0);
  });
  EXPECT_EQ(Out(), state);
}

// The search passes newer clusters before it comes to the dump.
TEST_F(RangeExtraction, StateOfNewerClustersThatNothingOverwritesStays) {
  Record({{90, H1(90, B("1A"))},
          {100, H1(100, B("56")) + H2(105, B("36 1A"))}});  // a dump that is too late
  ASSERT_TRUE(Extract(101, 104));
  const Bytes state = StartOf(101, 104, [](DataStore& unit) {
    unit.StoreConfigSettingsValid(true, TAG_POLICY_END);
    unit.ReportStateData(TAG_SIREN_ON, false, 0);  // at 105
  });
  EXPECT_EQ(Out(), state + H2(105, B("36 1A")));
}

TEST_F(RangeExtraction, ADamagedStretchIsLeftOutAndCounted) {
  Record({{90, Mark(90) + Mark(100) + B("00 84 FF") + Mark(110)}});
  ASSERT_TRUE(Extract(90, 110));
  EXPECT_EQ(Copied(90, 110), Mark(100) + Mark(110));
  EXPECT_EQ(reader.LastExtraction().skipped_bytes, 3U);
}

TEST_F(RangeExtraction, TheReportSaysWhatWasCopied) {
  Record({{80, H1(80, B("1A")) + Mark(90) + Mark(100) + Cont(B("56")) + Mark(104) + Mark(140)}});
  ASSERT_TRUE(Extract(95, 110));
  const ExtractionReport& report = reader.LastExtraction();
  EXPECT_EQ(report.widened_end, 130U);
  EXPECT_EQ(report.state_cluster, 0);
  EXPECT_TRUE(report.dump_found);
  EXPECT_EQ(report.dump_tick, 80U);
  EXPECT_EQ(report.packets, 3U);
  EXPECT_EQ(report.bytes, 8U + 4U + 8U);
  EXPECT_EQ(report.first_tick, 100U);
  EXPECT_EQ(report.last_tick, 104U);
  EXPECT_EQ(report.widest_gap, 4U);
  EXPECT_EQ(report.gap_tick, 100U);
  EXPECT_EQ(report.next_tick, 140U);
  EXPECT_FALSE(report.read_failed);
  EXPECT_FALSE(report.ticks_went_back);
}

TEST_F(RangeExtraction, TicksThatGoBackAreCopiedAsTheyComeAndReported) {
  Record({{80, Mark(80) + Mark(100) + Mark(110) + Mark(105) + Mark(104) + Mark(112)}});
  ASSERT_TRUE(Extract(95, 120));
  EXPECT_EQ(Copied(95, 120), Mark(100) + Mark(110) + Mark(105) + Mark(104) + Mark(112));
  const ExtractionReport& report = reader.LastExtraction();
  EXPECT_TRUE(report.ticks_went_back);
  EXPECT_EQ(report.first_tick, 100U);
  EXPECT_EQ(report.last_tick, 112U);
  EXPECT_EQ(report.widest_gap, 10U);  // not what is between 110 and 105
  EXPECT_EQ(report.gap_tick, 100U);
}

// ---- Unknown ticks in the range ---------------------------------------------------

TEST_F(RangeExtraction, APacketOfUnknownTickIsPastNoEndAndIsCopied) {
  const Bytes range = Mark(100) + Mark(0xFFFFFFFF) + H2(0x02, B("56")) + Mark(110);
  Record({{90, Mark(90) + range + Mark(131)}});
  ASSERT_TRUE(Extract(95, 110));
  EXPECT_EQ(Copied(95, 110), range);
  EXPECT_TRUE(ReaderLogged(64,
                           "ReadToNewFile: Metadata system tick read is IN RANGE to the "
                           "starting/ending system ticks, writing metadata, readSysTick = "
                           "4294967295, startSystemTick_ = 95, endSystemTick_ = 130"));
}

TEST_F(RangeExtraction, ItCountsAsAPacketAndNotInWhatIsSaidOfTicks) {
  Record(
      {{90, Mark(90) + Mark(100) + Mark(0xFFFFFFFF) + Mark(110) + Mark(0xFFFFFFFF) + Mark(131)}});
  ASSERT_TRUE(Extract(95, 110));
  const ExtractionReport& report = reader.LastExtraction();
  EXPECT_EQ(report.packets, 4U);
  EXPECT_EQ(report.bytes, 4U * 8U);
  EXPECT_EQ(report.first_tick, 100U);
  EXPECT_EQ(report.last_tick, 110U);
  EXPECT_EQ(report.widest_gap, 10U);
  EXPECT_EQ(report.gap_tick, 100U);
  EXPECT_FALSE(report.ticks_went_back);
  EXPECT_EQ(report.next_tick, 131U);
}

TEST_F(RangeExtraction, OnesAloneLeaveTheReportWithoutATick) {
  Record({{90, Mark(90) + Mark(0xFFFFFFFF) + Mark(131)}});
  ASSERT_TRUE(Extract(90, 110));
  EXPECT_EQ(Copied(90, 110), Mark(0xFFFFFFFF));
  EXPECT_EQ(reader.LastExtraction().packets, 1U);
  EXPECT_EQ(reader.LastExtraction().first_tick, 0xFFFFFFFFU);
  EXPECT_EQ(reader.LastExtraction().last_tick, 0xFFFFFFFFU);
}

TEST_F(RangeExtraction, BeforeTheStartOneIsReplayedAndBeginsNoRange) {
  Record({{90, Mark(90) + H1(0xFFFFFFFF, B("36")) + Mark(131)}});
  ASSERT_TRUE(Extract(95, 110));
  const Bytes state =
      StartOf(95, 110, [](DataStore& unit) { unit.ReportStateData(TAG_SIREN_ON, false, 0); });
  EXPECT_EQ(Out(), state);
  EXPECT_EQ(reader.LastExtraction().next_tick, 131U);
}

// ---- An input that reading records again -----------------------------------------

constexpr char kCovertOn[] = "35 37 39 3D 3F 41 43 45 47 3A 4B";

// Deliberate: the search passes the cluster once, the replay once more.
TEST_F(RangeExtraction, CovertOnBeforeTheStartIsRecordedAgainBetweenLabelAndState) {
  Record({{90, H1(90, B("3A")) + H2(91, B("3B")) + H2(92, B("3A"))}, {100, H2(100, B("56"))}});
  ASSERT_TRUE(Extract(95, 100));
  EXPECT_EQ(Out(),
            H1(95, Label(95, 100) + B("3A 3A 3A") + FreshState(47, kCovertOn)) + H2(100, B("56")));
}

TEST_F(RangeExtraction, CovertOnInTheRangeIsRecordedAgainAtTheFilesEnd) {
  const Bytes blinks = H1(300, B("3A")) + H1(700, B("3B")) + H1(800, B("3A"));
  Record({{80, H1(80, B("1A")) + Mark(90) + blinks}});
  ASSERT_TRUE(Extract(90, 780));
  const Bytes state = StartOf(
      90, 780, [](DataStore& unit) { unit.StoreConfigSettingsValid(true, TAG_POLICY_END); });
  EXPECT_EQ(Out(), state + blinks + H1(800, B("3A 3A")));
}

// Four areas and more of it, as an input that blinks for an hour leaves them.
Bytes Blinking(unsigned int tick, int times) {
  Bytes packets;
  for (; times > 0; times -= 100)
    packets = packets + H1(tick, Times(std::min(times, 100), B("3A 3B")));
  return packets;
}
constexpr int kBlinksOfACluster = 1900;

// The items of the first packet and its continuations.
std::vector<Bytes> FirstItems(const Bytes& stream) {
  std::vector<Bytes> items;
  for (std::size_t at = 0; at < stream.size() && (at == 0 || stream[at] == 0x82);) {
    const std::size_t head = stream[at] == 0x80 ? 6 : stream[at] == 0x81 ? 3 : 2;
    const std::size_t end = at + head + stream[at + head - 1];
    for (at += head; at < end;) {
      const unsigned char* const item = stream.data() + at;
      const std::size_t length =
          item[0] == 0x04 ? 2U + item[1] : ItemLength(FindTag(item[0]), item, end - at);
      EXPECT_GT(length, 0U);
      items.emplace_back(item, item + std::max<std::size_t>(length, 1));
      at += std::max<std::size_t>(length, 1);
    }
    ++at;  // crc
  }
  return items;
}

// In no order: where there is room for an item depends on what waits before it.
std::vector<Bytes> WithoutCovertOn(std::vector<Bytes> items) {
  items.erase(std::remove(items.begin(), items.end(), B("3A")), items.end());
  std::sort(items.begin(), items.end());
  return items;
}

std::vector<ClusterOf> BlinkingClusters(unsigned int first_tick, unsigned int count) {
  std::vector<ClusterOf> clusters;
  for (unsigned int n = 0; n < count; ++n)
    clusters.push_back({first_tick + n, Blinking(first_tick + n, kBlinksOfACluster)});
  return clusters;
}

TEST_F(RangeExtraction, ThousandsOfThemInTheReplayDoNotCrowdOutLabelAndState) {
  std::vector<ClusterOf> clusters = BlinkingClusters(100, 5);
  clusters.insert(clusters.begin(), {90, H1(90, B("1A"))});
  clusters.push_back({200, Mark(200)});
  Record(clusters);
  for (const unsigned int start : {104U, 150U, 300U}) {
    SCOPED_TRACE(start);
    ASSERT_TRUE(Extract(start, 200));
    const Bytes state = StartOf(
        start, 200, [](DataStore& unit) { unit.StoreConfigSettingsValid(true, TAG_POLICY_END); });
    EXPECT_EQ(FirstItems(Out())[0], Label(start, 200));
    EXPECT_EQ(WithoutCovertOn(FirstItems(Out())), WithoutCovertOn(FirstItems(state)));
  }
}

TEST_F(RangeExtraction, NorDoThoseThatTheSearchPassedBeforeAStateIsWrittenAtOnce) {
  Record(BlinkingClusters(100, 5));
  ASSERT_TRUE(Extract(50, 60));
  EXPECT_EQ(Out(), FreshStart(50, 60));
  EXPECT_EQ(DroppedItems(), 0);
}

// Deliberate: as if all that the search read had waited until the replay's first turn
// and gone then: only what the replay itself records again is left.
TEST_F(RangeExtraction, WhenTheSearchDiscardedThemTheOnesItReadLaterGoToo) {
  Record({{90, H1(90, B("1A"))},
          {100, H1(100, B("3A 3B"))},
          {101, Mark(101) + Blinking(101, kBlinksOfACluster)}});
  ASSERT_TRUE(Extract(101, 80));
  const std::vector<Bytes> items = FirstItems(Out());
  EXPECT_EQ(items[0], Label(101, 80));
  EXPECT_EQ(items[1], B("3A"));
  EXPECT_EQ(std::count(items.begin(), items.end(), B("3A")), 1);
  EXPECT_EQ(DroppedItems(), 0);
}

TEST_F(RangeExtraction, HoweverManyClustersTheSearchPassesNoneIsDropped) {
  std::vector<ClusterOf> clusters = BlinkingClusters(100, 20);
  clusters.insert(clusters.begin(), {90, H1(90, B("1A"))});
  Record(clusters);
  ASSERT_TRUE(Extract(119, 80));
  EXPECT_EQ(FirstItems(Out())[0], Label(119, 80));
  EXPECT_EQ(DroppedItems(), 0);
}

TEST_F(RangeExtraction, NorThoseOfASearchThatFails) {
  RecordAll([](std::size_t c) -> ClusterOf {
    const auto tick = static_cast<unsigned int>(1000 + c);
    return {tick, c < 40000 && c % 4096 == 0 ? Blinking(tick, kBlinksOfACluster) : Mark(tick)};
  });
  EXPECT_FALSE(Extract(2000, 3000));
  EXPECT_EQ(Out(), FreshStart(2000, 3000));
  EXPECT_EQ(DroppedItems(), 0);
}

// As many as a reader takes for one tick, behind as many as may wait.
TEST_F(RangeExtraction, ATickOfSeventeenPacketsFullOfThemHasRoomForAll) {
  const Bytes full = Times(127, B("3A 3B"));
  const Bytes waiting = Times(7, H1(100, full));
  Record({{90, H1(90, B("1A")) + waiting},
          {101, H1(101, full) + Times(12, Cont(full))},
          {102, Times(4, Cont(full)) + Mark(102)}});
  for (const unsigned int start : {95U, 100U, 101U, 120U}) {
    SCOPED_TRACE(start);
    ASSERT_TRUE(Extract(start, 200));
    EXPECT_EQ(FirstItems(Out())[0], Label(start, 200));
    EXPECT_EQ(DroppedItems(), 0);
  }
}

TEST_F(RangeExtraction, ThousandsOfThemInTheRangeAreAllRecordedAgain) {
  std::vector<ClusterOf> clusters = BlinkingClusters(100, 5);
  clusters.insert(clusters.begin(), {90, H1(90, B("1A"))});
  clusters.push_back({0x500, H2(0x500, B("56"))});
  Record(clusters);
  ASSERT_TRUE(Extract(90, 0x500));
  EXPECT_EQ(DroppedItems(), 0);
  const Bytes all = Out();
  const auto again =
      std::count(all.begin(), all.end(), 0x3A) - std::count(all.begin(), all.end(), 0x3B);
  // As many once more as were copied; in the state it is off.
  EXPECT_EQ(again, 5 * kBlinksOfACluster - 1);
}

// ---- Failures ----------------------------------------------------------------------

TEST_F(RangeExtraction, ASourceThatCannotBeOpenedLeavesTheDestinationUntouched) {
  files_.PutFile(kFile1, B("01 02 03"));
  files_.PutFile(kFile2, B("01 02 03"));
  files_.PutFile(kOut, B("AA BB"));
  NotingWatchdog watchdog([] { return 0; });
  EXPECT_FALSE(Extract(90, 100, &watchdog));
  EXPECT_THAT(ReaderLog(0xFF),
              ElementsAre("32 ReadToNewFile: Being asked for metadata in range at starting system "
                          "tick 90 to ending system tick 100",
                          "2 ReadToNewFile: Could not open input file /m/r"));
  EXPECT_EQ(files_.Content(kOut), B("AA BB"));
  EXPECT_THAT(watchdog.seen, IsEmpty());
}

// An open ring answers every tick with a cluster, whatever state it is in, so a
// start tick that is not found ends no extraction.
TEST_F(RangeExtraction, AStartTickThatIsNotFoundInTheSourceDoesNotHappenInAnOpenRing) {
  Record({{90, Mark(90)}, {100, Mark(100)}, {110, Mark(110)}, {120, Mark(120)}});
  for (long lost = -1; lost < 3; ++lost) {
    if (lost >= 0) LoseCluster(lost);
    DataStoreNormal ring(kBase);
    if (ring.Open() == 0) continue;
    for (const unsigned int tick : {0U, 89U, 90U, 105U, 119U, 121U, 0xFFFFFFFFU})
      EXPECT_GE(ring.FindSystemTick(tick), 0);
    ring.Close();
  }
}

TEST_F(RangeExtraction, WithoutAUsableDumpItFailsAfterPassingEveryClusterOnce) {
  RecordAll([](std::size_t c) -> ClusterOf {
    return {static_cast<unsigned int>(1000 + c), Mark(static_cast<unsigned int>(1000 + c))};
  });
  EXPECT_FALSE(Extract(2000, 3000));
  EXPECT_EQ(Out(), FreshStart(2000, 3000));
  EXPECT_THAT(ReaderLog(2 | 4),
              ElementsAre("4 Made it through all clusters and did not find systick",
                          "2 ReadToNewFile: Failure finding recent state dump - "
                          "2000"));
  EXPECT_TRUE(ReaderLogged(64,
                           "ReadToNewFile: Metadata system tick read NEVER FOUND IN RANGE to "
                           "starting/ending system ticks, writing full state at starting system "
                           "tick"));
  std::set<std::string> passed;
  for (const LogEntry& entry : log_.Entries())
    if (entry.file == "MetadataReader.cc" && entry.text.rfind("read 8 bytes", 0) == 0) {
      EXPECT_TRUE(passed.insert(entry.text).second) << entry.text;
    }
  EXPECT_EQ(passed.size(), kRingClusters);
}

TEST_F(RangeExtraction, AClusterThatCannotBeReadEndsTheSearchAndTheCallFails) {
  Record({{80, Mark(80)}, {90, Mark(90)}, {100, Mark(100)}, {110, Mark(110)}, {120, Mark(120)}});
  LoseCluster(1);
  EXPECT_FALSE(Extract(112, 130));
  EXPECT_EQ(Out(), FreshStart(112, 130));
  EXPECT_THAT(ReaderLog(2),
              ElementsAre("2 Failed to read data from cluster 1",
                          "2 ReadToNewFile: Failure finding recent state dump - 112"));
}

// The collecting hands on nothing that the parsing would refuse, so there is no
// parse failure before the start either: whatever a damaged packet begins with,
// it is skipped.
TEST_F(RangeExtraction, AParseFailureBeforeTheStartDoesNotComeOfDamage) {
  Bytes damage;
  for (int byte = 0; byte < 256; ++byte)
    if (byte < 0x80 || byte > 0x83) damage.push_back(static_cast<unsigned char>(byte));
  const Bytes illegal = H1(96, B("FF 00")) + H1(97, B("")) + H1(98, B("20 50 01"));
  Record({{80, Mark(80)}, {90, Mark(90) + damage + illegal + Mark(110)}});
  EXPECT_TRUE(Extract(100, 110));
  EXPECT_EQ(Copied(100, 110), Mark(110));
  EXPECT_THAT(ReaderLog(2), ElementsAre("2 No data found in cluster 32767"));
}

TEST_F(RangeExtraction, FailsAlikeWithEveryMessageSwitchedOff) {
  const CapturedLog quiet(0);
  files_.PutFile(kFile1, B("01 02 03"));
  files_.PutFile(kFile2, B("01 02 03"));
  EXPECT_FALSE(Extract(90, 100));
  Record({{90, Mark(90)}, {100, Mark(100)}, {110, Mark(110)}, {120, Mark(120)}, {130, Mark(130)}});
  files_.FailOnce(FileOp::kOpen, kOut, EACCES);
  EXPECT_FALSE(Extract(95, 100));
  files_.FailOnce(FileOp::kWrite, kOut, ENOSPC, 4);  // magic, dictionary, state, packet
  EXPECT_FALSE(Extract(95, 100));
  EXPECT_EQ(Copied(95, 100), Bytes());
  LoseCluster(1);
  EXPECT_FALSE(Extract(115, 120));
  EXPECT_TRUE(quiet.Entries().empty());
}

TEST_F(RangeExtraction, ACopyFailureKeepsWhatWasWrittenSoFar) {
  Record({{90, H1(90, B("1A")) + Mark(100) + Mark(110) + Mark(120)}});
  ASSERT_TRUE(Extract(95, 120));
  const Bytes whole = Out();
  const int writes = files_.Count(FileOp::kWrite, kOut);
  for (int kept = 0; kept < 3; ++kept) {  // the first of them is another branch
    SCOPED_TRACE(kept);
    files_.FailFromNowOn(FileOp::kWrite, kOut, ENOSPC, writes - 2 + kept);
    EXPECT_FALSE(Extract(95, 120));
    EXPECT_EQ(Out(), Bytes(whole.begin(), whole.end() - 8 * (3 - kept)));
    EXPECT_THAT(ReaderLog(2),
                ElementsAre("2 Failed to WriteReadSystemTick",
                            "2 ReadToNewFile: Failed Parsing or Writing System Tick"));
    EXPECT_EQ(ReaderLog(64).back().find("NEVER FOUND"), std::string::npos);
    EXPECT_EQ(reader.LastExtraction().packets, static_cast<unsigned long>(kept));
    files_.ClearFaults();
  }
}

// Deliberate: the end of what can be read is the end of the recording.
TEST_F(RangeExtraction, AClusterOfTheRangeThatCannotBeReadEndsItWithSuccess) {
  Record({{90, H1(90, B("1A")) + Mark(100)},
          {110, Mark(110)},
          {120, Mark(120)},
          {130, Mark(130)},
          {140, Mark(140)}});
  LoseCluster(2);
  EXPECT_TRUE(Extract(95, 140));
  // The last tick before it was still being collected.
  EXPECT_EQ(reader.LastExtraction().last_tick, 100U);
  EXPECT_TRUE(reader.LastExtraction().read_failed);
  Bytes all = Out();
  EXPECT_EQ(Bytes(all.end() - 8, all.end()), Mark(100));
}

TEST_F(RangeExtraction, AndOneBeforeTheStartGivesLabelAndStateWithSuccess) {
  Record({{90, H1(90, B("1A")) + H2(100, B("36"))},
          {110, Mark(110)},
          {120, Mark(120)},
          {130, Mark(130)}});
  LoseCluster(1);
  EXPECT_TRUE(Extract(105, 140));
  EXPECT_TRUE(reader.LastExtraction().read_failed);
  EXPECT_EQ(reader.LastExtraction().packets, 0U);
}

// ---- Messages and the watchdog -------------------------------------------------------

TEST_F(RangeExtraction, ItsMessagesWhenTheStartTickHasAPacket) {
  Record({{90, H1(90, B("1A")) + H2(100, B("56")) + H2(110, B("56")) + H2(131, B("56"))}});
  ASSERT_TRUE(Extract(100, 110));
  EXPECT_THAT(
      ReaderLog(2 | 4 | 32 | 64),
      ElementsAre(
          "32 ReadToNewFile: Being asked for metadata in range at starting system tick 100 to "
          "ending system tick 110",
          "64 ReadToNewFile: Found system tick (100) at cluster 0, searching for last full state "
          "dump",
          "64 DoesClusterContainStateDumpFound HEADER_1 @ last read system tick 90",
          "32 Found a state dump in this cluster!",
          "32 ReadToNewFile: Last state dump found: stateCluster(0), nextReadLoc(23), "
          "readSysTick(90)",
          "64 ReadNextSystemTick: Found HEADER_1 @ last read system tick 90",
          "64 ReadNextSystemTick: Found HEADER_2 @ last read system tick 100",
          "64 ReadToNewFile: Metadata system tick read is EQUAL TO the starting system tick, "
          "writing full state start, readSysTick = 100, startSystemTick_ = 100, endSystemTick_ = "
          "130",
          "64 ReadNextSystemTick: Found HEADER_2 @ last read system tick 110",
          "64 ReadToNewFile: Metadata system tick read is IN RANGE to the starting/ending system "
          "ticks, writing metadata, readSysTick = 110, startSystemTick_ = 100, endSystemTick_ = "
          "130",
          "64 ReadNextSystemTick: Found HEADER_2 @ last read system tick 131"));
}

TEST_F(RangeExtraction, AndWhenTheStartIsBetweenTwoPackets) {
  Record({{90, H1(90, B("1A")) + H2(110, B("56"))}});
  ASSERT_TRUE(Extract(100, 0xFFFFFFFF));
  EXPECT_THAT(
      ReaderLog(2 | 4 | 64),
      ElementsAre(
          "64 ReadToNewFile: Found system tick (100) at cluster 0, searching for last full state "
          "dump",
          "64 DoesClusterContainStateDumpFound HEADER_1 @ last read system tick 90",
          "64 ReadNextSystemTick: Found HEADER_1 @ last read system tick 90",
          "64 ReadNextSystemTick: Found HEADER_2 @ last read system tick 110",
          "64 ReadToNewFile: Metadata system tick read is GREATER THAN the starting system tick, "
          "writing full state start, readSysTick = 110, startSystemTick_ = 100, endSystemTick_ = "
          "4294967295"));
}

// In the search it is nothing to tell, and with a dump found it is no longer.
TEST_F(RangeExtraction, ARelativePositionWithoutAnAbsoluteOneIsLoggedInTheReplay) {
  const auto logged = [this] {
    return log_.Count(2, "DataStore.cc", "Requested to Store GPS but location not set");
  };
  Record({{90, H1(90, B("92 01 01"))}, {100, Mark(100)}});
  ASSERT_TRUE(Extract(95, 100));
  EXPECT_EQ(logged(), 1);
  Record({{90, H1(90, B("92 01 01 1A"))}, {100, Mark(100)}});
  ASSERT_TRUE(Extract(95, 100));
  EXPECT_EQ(logged(), 1);
}

// Two descriptors are the ring's, one is the output's.
TEST_F(RangeExtraction, TheWatchdogIsPettedBetweenTheExpensiveSteps) {
  Record({{90, H1(90, B("1A")) + Mark(95) + Mark(100) + Mark(110) + Mark(131)}});
  NotingWatchdog watchdog([this] { return files_.OpenDescriptors(); });
  ASSERT_TRUE(Extract(100, 110, &watchdog));
  EXPECT_THAT(watchdog.seen, ElementsAre(2,           // the source is open
                                         3,           // the output is
                                         3, 3,        // tick search, dump search
                                         3, 3, 3, 3,  // ticks 90 to 110
                                         3, 1, 0));   // closing
}

TEST_F(RangeExtraction, ItIsPettedForEveryTickThatIsReplayedOrCopied) {
  Record({{90, H1(90, B("1A")) + Mark(95) + Mark(110) + Mark(111)}});
  struct {
    unsigned int start, end;
    std::size_t ticks;
  } const ranges[] = {
      {100, 101, 4}, {100, 0xFFFFFFFF, 4}, {100, 80, 2}, {500, 600, 4}, {91, 60, 1}};
  for (const auto& range : ranges) {
    SCOPED_TRACE(range.start);
    NotingWatchdog watchdog([] { return 0; });
    ASSERT_TRUE(Extract(range.start, range.end, &watchdog));
    EXPECT_EQ(watchdog.seen.size(), 4 + range.ticks + 3);
  }
}

TEST_F(RangeExtraction, ItIsPettedEvery256ClustersThatTheSearchPasses) {
  RecordAll([](std::size_t c) -> ClusterOf {
    const auto tick = static_cast<unsigned int>(1000 + c);
    return {tick, Mark(tick)};
  });
  NotingWatchdog watchdog([this] { return static_cast<int>(reader.ReadSysTick()); });
  EXPECT_FALSE(Extract(2000, 3000, &watchdog));
  constexpr std::size_t kBefore = 3, kSearch = 32768 / 256, kBehind = 3;
  ASSERT_EQ(watchdog.seen.size(), kBefore + kSearch + kBehind);
  EXPECT_EQ(watchdog.seen[kBefore], 2000 - 255);
  EXPECT_EQ(watchdog.seen[kBefore + 1], 2000 - 511);
  EXPECT_EQ(watchdog.seen[kBefore + kSearch - 1], 2001);  // the last of the round
  EXPECT_FALSE(Extract(2000, 3000));
}

TEST_F(RangeExtraction, AndWhenItLooksAgainForADumpWithoutATick) {
  RecordAll([](std::size_t c) -> ClusterOf {
    const auto tick = static_cast<unsigned int>(1000 + c);
    if (c == 1000) return {tick, H2(tick, B("56")) + H2(tick + 1, B("1A"))};  // too late
    return {tick, c == 100 ? H2(tick, B("1A")) : Mark(tick)};
  });
  NotingWatchdog watchdog([] { return 0; });
  EXPECT_TRUE(Extract(2000, 1900, &watchdog));
  EXPECT_EQ(reader.LastExtraction().state_cluster, 100);
  constexpr std::size_t kReplayed = 901;
  EXPECT_EQ(watchdog.seen.size(), 4U + 32768 / 256 + 900 / 256 + kReplayed + 3U);
}

TEST_F(RangeExtraction, ItIsPettedToTheEndWhenACallFails) {
  Record({{90, H1(90, B("1A")) + Mark(100)},
          {110, Mark(110)},
          {120, Mark(120)},
          {130, Mark(130)},
          {140, Mark(140)}});
  NotingWatchdog no_output([this] { return files_.OpenDescriptors(); });
  files_.FailOnce(FileOp::kOpen, kOut, EACCES);
  EXPECT_FALSE(Extract(100, 110, &no_output));
  EXPECT_THAT(no_output.seen, ElementsAre(2));

  NotingWatchdog full([this] { return files_.OpenDescriptors(); });
  files_.FailOnce(FileOp::kWrite, kOut, ENOSPC, 5);
  EXPECT_FALSE(Extract(95, 110, &full));
  EXPECT_THAT(full.seen, ElementsAre(2, 3, 3, 3, 3, 3, 1, 0));

  LoseCluster(1);
  NotingWatchdog no_dump([this] { return files_.OpenDescriptors(); });
  EXPECT_FALSE(Extract(125, 130, &no_dump));
  EXPECT_THAT(no_dump.seen, ElementsAre(2, 3, 3, 3, 1, 0));
}

// ---- One reader for many calls ----------------------------------------------------------

class RepeatedExtraction : public RangeExtraction {
 protected:
  RepeatedExtraction() {
    Record({{90, H1(90, B("1A")) + H2(100, B("36"))},
            {110, H2(110, B("92 01 01"))},
            {120, H2(120, B("56")) + H2(125, B("F0 56"))},
            {130, H2(130, B("56"))}});
  }
  // What a reader that has done nothing else extracts.
  Bytes Alone(unsigned int start, unsigned int end) {
    MetadataReader fresh;
    log_.Clear();
    EXPECT_TRUE(fresh.ReadToNewFile(kBase, kOut, start, end, nullptr));
    alone_log = ReaderLog(0xFF);
    return Out();
  }
  // Extracts the same and compares file and messages.
  void ExpectTheSame(const Bytes& file, unsigned int start, unsigned int end) {
    EXPECT_TRUE(Extract(start, end));
    EXPECT_EQ(Out(), file);
    EXPECT_EQ(ReaderLog(0xFF), alone_log);
  }

  std::vector<std::string> alone_log;
};

TEST_F(RepeatedExtraction, ACallGivesTheSameAfterAnother) {
  const Bytes file = Alone(105, 120);
  for (const unsigned int start : {0U, 90U, 128U, 500U}) {
    EXPECT_TRUE(Extract(start, start + 20));
    ExpectTheSame(file, 105, 120);
  }
}

TEST_F(RepeatedExtraction, AndAfterOneThatFailed) {
  const Bytes file = Alone(105, 120);
  for (int nth = 1; nth <= 6; ++nth) {
    SCOPED_TRACE(nth);
    files_.FailFromNowOn(FileOp::kWrite, kOut, ENOSPC, nth);
    EXPECT_FALSE(Extract(105, 120));
    files_.ClearFaults();
    ExpectTheSame(file, 105, 120);
  }
  files_.FailOnce(FileOp::kOpen, kOut, EACCES);
  EXPECT_FALSE(Extract(105, 120));
  ExpectTheSame(file, 105, 120);
  files_.FailFromNowOn(FileOp::kRead, "", EIO, 40);
  Extract(105, 120);
  files_.ClearFaults();
  ExpectTheSame(file, 105, 120);
  EXPECT_FALSE(reader.ReadToNewFile("-x", kOut, 105, 120, nullptr));
  EXPECT_EQ(reader.LastExtraction().packets, 0U);
  ExpectTheSame(file, 105, 120);
}

TEST_F(RepeatedExtraction, AndAfterAView) {
  const Bytes file = Alone(105, 120);
  const auto view = [this] { return reader.ViewFile(kBase, true, 0, 0xFFFFFFFF, true); };
  Printed([&] { EXPECT_TRUE(view()); });
  ExpectTheSame(file, 105, 120);
}

TEST_F(RepeatedExtraction, AndAViewGivesTheSameAfterAnExtraction) {
  const auto view = [this] { EXPECT_TRUE(reader.ViewFile(kBase, true, 0, 0xFFFFFFFF, false)); };
  const std::string listing = Printed(view);
  ASSERT_TRUE(Extract(105, 120));
  EXPECT_EQ(Printed(view), listing);
}

TEST_F(RepeatedExtraction, ReadOnlyGivesTheSameAndChangesNothing) {
  const Bytes file = Alone(105, 120);
  files_.FlipByte(kFile1, 2 * 4096);  // a recorder would repair it
  const SimulatedFiles::Image before = files_.Snapshot();
  MetadataReader looking(RingAccess::kReadOnly);
  files_.ClearOperations();
  EXPECT_TRUE(looking.ReadToNewFile(kBase, kOut, 105, 120, nullptr));
  EXPECT_EQ(Out(), file);
  for (const char* const path : {kFile1, kFile2}) {
    EXPECT_EQ(files_.Count(FileOp::kWrite, path), 0);
    EXPECT_EQ(files_.Count(FileOp::kFsync, path), 0);
  }
  EXPECT_EQ(files_.ReadBlock(kFile1, 2)[0],
            static_cast<unsigned char>(
                ClusterImage(120, H2(120, B("56")) + H2(125, B("F0 56")))[0] ^ 0xFF));
  EXPECT_EQ(before.size(), files_.Snapshot().size());
}

// ---- Reading the file back --------------------------------------------------------------

// The stream without the items that end their packet for a reader.
Bytes WithoutTimeZoneNames(const Bytes& stream) {
  Bytes kept;
  for (std::size_t at = 0; at < stream.size();) {
    const std::size_t head = stream[at] == 0x80 ? 6 : stream[at] == 0x81 ? 3 : 2;
    const std::size_t length_at = kept.size() + head - 1;
    const std::size_t end = at + head + stream[at + head - 1];
    kept.insert(kept.end(), stream.data() + at, stream.data() + at + head);
    for (at += head; at < end;) {
      const unsigned char* const item = stream.data() + at;
      const std::size_t length =
          item[0] == 0x04 ? 2U + item[1] : ItemLength(FindTag(item[0]), item, end - at);
      if (item[0] != 0x04) kept.insert(kept.end(), item, item + length);
      at += length;
    }
    kept[length_at] = static_cast<unsigned char>(kept.size() - length_at - 1);
    kept.push_back(stream[at++]);  // a crc that nobody checks
  }
  return kept;
}

// A recording with dumps, and files cut out of it that are read back without the
// time zone name.
class ExtractedRecording : public RangeExtraction {
 protected:
  void RecordAtRandom(std::uint32_t seed) {
    constexpr unsigned int kTicksBetweenDumps = 700;
    std::mt19937 random(seed);
    PutEmptyPair();
    WithoutTimeZoneName<DataStoreNormal> ring(kBase);
    ASSERT_EQ(ring.Open(), 1);
    ring.ReportConfiguration(false);
    for (unsigned int tick = 100; ring.CurrentCluster() < 12; ++tick) {
      ring.InitCurrentSystemTick(tick);
      if (tick % kTicksBetweenDumps == 100) ring.WriteFullState(false);
      for (int n = 0; n < 3; ++n) ReportSomething(ring, random);
      ring.WriteBuffers();
    }
    ring.Close();
  }
  static void ReportSomething(DataStore& unit, std::mt19937& random) {
    const unsigned int number = random() % 4;
    const bool on = random() % 2 == 1;
    const std::string text(random() % 30, static_cast<char>('a' + number));
    switch (random() % 9) {
      case 0:
        return unit.ReportStateData(on ? TAG_SIREN_ON : TAG_SIREN_OFF, true, 0);
      case 1:
        return unit.ReportStateData(on ? TAG_DOOR_ON : TAG_DOOR_OFF, true, 0);
      case 2:
        return unit.ReportCameraState(static_cast<e_CameraPort>(number),
                                      on ? CAMERA_STATE_ON : CAMERA_STATE_OFF, true, 0);
      case 3:
        return unit.ReportVideoStreamState(static_cast<e_VideoStream>(number),
                                           on ? STREAM_STATE_ON : STREAM_STATE_OFF, true, 0);
      case 4:
        return unit.ReportMicPresent(static_cast<e_MicrophonePosition>(number), on, true, 0);
      case 5:
        return unit.ReportTemp(static_cast<e_TempSensors>(number),
                               static_cast<short>(random() % 100), true, 0);
      case 6:
        return unit.ReportVehicleInfo({{text}}, true);
      case 7:
        return unit.ReportOfficerInfo({{text}, {"4711"}}, true);
      default:
        return unit.ReportBookmark(0);
    }
  }
  // The last tick of every cluster but the two newest: the search passes nothing
  // later than it.
  std::vector<unsigned int> LastTicks() {
    DataStoreNormal ring(kBase);
    EXPECT_EQ(ring.Open(), 1);
    std::vector<unsigned int> ticks;
    for (int cluster = 0; cluster + 1 < ring.CurrentCluster(); ++cluster) {
      RecordingStore into;
      EXPECT_EQ(into.Open(), 1);
      MetadataReader clusters;
      clusters.StartAt(0);
      unsigned int last = 0;
      const unsigned int next = ring.GetSystemTick(cluster + 1);
      while (clusters.ReadNextSystemTick(ring, into) > 0 && clusters.ReadSysTick() < next)
        last = clusters.ReadSysTick();
      ticks.push_back(last);
    }
    ring.Close();
    return ticks;
  }
  // The state at a tick, as a store has it that read everything up to it.
  template <typename Source>
  static std::vector<Bytes> StateAt(const std::string& path, unsigned int tick) {
    Source source(path);
    testing::internal::CaptureStdout();  // flat readers name the kind of file
    EXPECT_NE(source.Open(), 0);
    RecordingStore into;
    EXPECT_EQ(into.Open(), 1);
    MetadataReader all;
    all.StartAt(source.InitialReadLocation());
    while (all.ReadNextSystemTick(source, into) > 0 && all.ReadSysTick() <= tick)
      all.ParseReadSystemTick(into);
    source.Close();
    testing::internal::GetCapturedStdout();
    return StateItems(into);
  }
  static std::vector<Bytes> StateItems(RecordingStore& store) {
    store.StoreConfigSettingsValid(true, TAG_POLICY_END);
    while (store.HasPendingItems()) store.WriteBuffers();
    store.packets.clear();
    store.WriteFullState(false);
    store.WriteBuffers();
    std::vector<Bytes> items;
    for (const Bytes& item : FirstItems(AllOf(store)))
      if (item[0] != TAG_TIME) items.push_back(item);  // its second may be rounded otherwise
    std::sort(items.begin(), items.end());
    return items;
  }
  static std::vector<Bytes> LeftOver(const std::vector<Bytes>& of, const std::vector<Bytes>& less) {
    std::vector<Bytes> left;
    std::set_difference(of.begin(), of.end(), less.begin(), less.end(), std::back_inserter(left));
    return left;
  }
  // A listing without the clock, from the first tick behind `tick` on.
  std::string Listing(const std::string& path, bool ring, unsigned int tick) {
    MetadataReader viewer;
    std::string text =
        Printed([&] { EXPECT_TRUE(viewer.ViewFile(path, ring, tick + 1, 0xFFFFFFFF, false)); });
    const std::string clock = "(00/00/0000 00:00:00) ";
    for (std::size_t at = 0; (at = text.find('(', at)) != std::string::npos; ++at)
      if (text.compare(at + 3, 1, "/") == 0) text.erase(at, clock.size());
    return text.substr(text.find("(hdr"));
  }
};

TEST_F(ExtractedRecording, TheFileHoldsTheStateAtTheStartAndListsAsTheRingDoes) {
  const std::uint32_t seed = std::random_device{}();
  for (std::uint32_t run = 0; run < 3 && !HasFailure(); ++run) {
    SCOPED_TRACE("seed " + std::to_string(seed + run));
    RecordAtRandom(seed + run);
    const std::vector<unsigned int> starts = LastTicks();
    ASSERT_GE(starts.size(), 3U);
    for (const unsigned int start : starts) {
      SCOPED_TRACE("start " + std::to_string(start));
      ASSERT_TRUE(Extract(start, 0xFFFFFFFF));
      files_.PutFile(kOut, B("66 5D 53 31 83 00 00") + WithoutTimeZoneNames(Out()));
      const std::vector<Bytes> now = StateAt<DataStoreFlatRead>(kOut, start);
      const std::vector<Bytes> then = StateAt<DataStoreNormal>(kBase, start);
      EXPECT_THAT(LeftOver(now, then), IsEmpty()) << "only in the file";
      EXPECT_THAT(LeftOver(then, now), IsEmpty()) << "only in the ring";
      const std::string ring = Listing(kBase, true, start);
      EXPECT_EQ(Listing(kOut, false, start), ring);
    }
  }
}

}  // namespace
}  // namespace vmr::test
