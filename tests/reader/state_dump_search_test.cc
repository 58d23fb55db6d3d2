// Looking for the state dump from which a replay begins.
//
// VMR_PROPERTY_SEED=n runs the random configurations with that seed; a failure
// prints the seed.
#include <stdlib.h>

#include <algorithm>
#include <map>
#include <random>

#include "store/tag_catalogue.h"
#include "tests/reader/extraction_fixture.h"

namespace vmr::test {
namespace {

using testing::ElementsAre;

constexpr unsigned int kAnyTick = 0xFFFFFFFE;

// Where the search went, and what the reader met next.
struct Found {
  int cluster;
  Bytes next_tick;  // the packets that the reader collects from there
  unsigned int tick;
};
bool operator==(const Found& a, const Found& b) {
  return a.cluster == b.cluster && a.next_tick == b.next_tick && a.tick == b.tick;
}
void PrintTo(const Found& found, std::ostream* os) {
  *os << "cluster " << found.cluster << ", tick " << found.tick << ", "
      << testing::PrintToString(found.next_tick);
}

class StateDumpSearch : public ExtractionTest {
 protected:
  StateDumpSearch() { EXPECT_EQ(out.Open(), 1); }

  Found Search(int start_cluster, unsigned int tick) {
    DataStoreNormal ring(kBase);
    EXPECT_EQ(ring.Open(), 1);
    log_.Clear();
    reader.StartAt(0);
    Found found{reader.FindMostRecentStateDump(ring, out, start_cluster, tick), {}, 0};
    walk_log = ReaderLog(0xFF);
    if (found.cluster < 0 || reader.ReadNextSystemTick(ring, out) < 1) return found;
    RecordingStore copy;
    EXPECT_EQ(copy.Open(), 1);
    EXPECT_EQ(reader.WriteReadSystemTick(copy), 1);
    found.next_tick = AllOf(copy);
    found.tick = reader.ReadSysTick();
    return found;
  }
  bool Walked(const std::string& text) const {
    return std::find(walk_log.begin(), walk_log.end(), text) != walk_log.end();
  }
  const StateMirror& Mirror() const { return out.Mirror(); }
  bool SirenOn() const { return Mirror().inputs.on[1]; }
  bool BrakeOn() const { return Mirror().inputs.on[2]; }

  RecordingStore out;
  std::vector<std::string> walk_log;
};

// ---- Which dump ------------------------------------------------------------------

TEST_F(StateDumpSearch, ADumpInTheStartClusterIsFound) {
  Record({{90, Mark(90)}, {100, Mark(100) + H2(101, B("36 1A 38")) + H2(102, B("56"))}});
  EXPECT_EQ(Search(1, 101), (Found{1, H2(101, B("36 1A 38")), 101}));
  EXPECT_TRUE(SirenOn());
  EXPECT_TRUE(BrakeOn());
  EXPECT_EQ(out.GetCurrentSystemTick(), 101U);
}

TEST_F(StateDumpSearch, ADumpThatIsTooLateIsPassed) {
  Record({{90, H1(90, B("1A"))}, {100, Mark(100) + H2(101, B("1A"))}});
  EXPECT_EQ(Search(1, 100), (Found{0, H1(90, B("1A")), 90}));
  EXPECT_TRUE(
      Walked("32 Found a state dump in this cluster but readSysTick (101) is > sysTick "
             "(100) searching for!"));
  EXPECT_EQ(reader.LastExtraction().later_dump_tick, 101U);
}

// A later one in the same cluster is met by the replay anyway.
TEST_F(StateDumpSearch, TheFirstOfAClusterWins) {
  Record({{90, Mark(90) + H2(91, B("1A")) + H2(92, B("1A"))}});
  EXPECT_EQ(Search(0, 100), (Found{0, H2(91, B("1A")), 91}));
}

TEST_F(StateDumpSearch, TheNearestClusterBeforeTheStartWins) {
  Record({{90, H1(90, B("1A"))}, {100, H1(100, B("1A"))}, {110, Mark(110)}, {120, Mark(120)}});
  EXPECT_EQ(Search(3, 125), (Found{1, H1(100, B("1A")), 100}));
}

TEST_F(StateDumpSearch, ItGoesBackOverTheRingsEnd) {
  RecordAll([](std::size_t c) -> ClusterOf {
    const auto tick = static_cast<unsigned int>(c < 5 ? 40000 + c : 1000 + c);
    return {tick, H1(tick, c == 32766 ? B("1A") : B("56"))};
  });
  EXPECT_EQ(Search(2, 40003), (Found{32766, H1(33766, B("1A")), 33766}));
}

TEST_F(StateDumpSearch, AMarkInAContinuationIsFoundAndTheReaderStaysThere) {
  Record({{90, Mark(90) + H2(95, B("36")) + Cont(B("38")) + Cont(B("37 1A")) + Cont(B("39"))}});
  const Found found = Search(0, 100);
  EXPECT_EQ(found, (Found{0, Cont(B("37 1A")) + Cont(B("39")), 95}));
  EXPECT_FALSE(SirenOn());
  EXPECT_TRUE(BrakeOn());  // the packet behind it is not passed any more
  EXPECT_TRUE(ReaderLogged(4,
                           "ReadNextSystemTick: Possible out of sequence read of a CONTINUATION "
                           "packet in source @ last read system tick 95"));
}

// The mark opens a cluster, where no tick is known yet.
TEST_F(StateDumpSearch, ADumpThatIsSplitOverTwoClustersIsPassed) {
  Record({{80, H1(80, B("1A"))},
          {90, Mark(90) + H2(95, B("36"))},
          {100, Cont(B("38 1A")) + H1(100, B("56"))}});
  EXPECT_EQ(Search(2, 100), (Found{0, H1(80, B("1A")), 80}));
  EXPECT_TRUE(
      Walked("32 Found a state dump in this cluster but readSysTick (4294967295) is > "
             "sysTick (100) searching for!"));
}

TEST_F(StateDumpSearch, SoIsOneBehindAShortHeaderThatOpensACluster) {
  Record({{80, H1(80, B("1A"))}, {90, H2(90, B("1A")) + H2(91, B("56"))}});
  EXPECT_EQ(Search(1, 100).cluster, 0);
}

TEST_F(StateDumpSearch, ForTheLastOfAllTicksEvenAnUnknownTickWillDo) {
  Record({{80, H1(80, B("1A"))}, {90, H2(90, B("1A"))}});
  EXPECT_EQ(Search(1, 0xFFFFFFFF).cluster, 1);
}

// Deliberate: no carry.
TEST_F(StateDumpSearch, AShortHeaderReplacesTheLowByteOnly) {
  Record({{0x1FE, H1(0x1FE, B("56")) + H2(0x02, B("1A"))}});
  EXPECT_EQ(Search(0, 0x102), (Found{0, H2(0x02, B("1A")), 0x102}));
}

TEST_F(StateDumpSearch, AHeadersTickIsReadLeastSignificantByteFirst) {
  Record({{0x01020304, WithCrc(B("80 04 03 02 01 01 1A"))}});
  EXPECT_EQ(Search(0, 0x01020304).tick, 0x01020304U);
  EXPECT_EQ(Search(0, 0x01020303).cluster, 32766);  // too late, so on to an empty one
}

// ---- Where the walk ends -----------------------------------------------------------

TEST_F(StateDumpSearch, AnEmptyClusterEndsItAndTheReplayBeginsBehindIt) {
  Record({{90, Mark(90)}, {100, Mark(100)}, {110, Mark(110)}});
  EXPECT_EQ(Search(2, 115).cluster, 32767);
  EXPECT_TRUE(Walked("2 No data found in cluster 32767"));
  DataStoreNormal ring(kBase);
  ASSERT_EQ(ring.Open(), 1);
  reader.StartAt(0);
  reader.FindMostRecentStateDump(ring, out, 2, 115);
  ASSERT_EQ(reader.ReadNextSystemTick(ring, out), 1);
  EXPECT_EQ(reader.ReadSysTick(), 90U);
}

TEST_F(StateDumpSearch, AStartClusterThatIsEmptyIsTheAnswer) {
  Record({{90, H1(90, B("1A"))}, {100, Mark(100)}});
  EXPECT_EQ(Search(7, 115).cluster, 7);
}

TEST_F(StateDumpSearch, AClusterThatCannotBeReadIsAFailure) {
  Record({{90, Mark(90)}, {100, Mark(100)}, {110, Mark(110)}, {120, Mark(120)}, {130, Mark(130)}});
  LoseCluster(1);
  EXPECT_EQ(Search(2, 115).cluster, -1);
  EXPECT_TRUE(Walked("2 Failed to read data from cluster 1"));
}

TEST_F(StateDumpSearch, ANumberThatIsNoClusterIsAFailure) {
  Record({{90, Mark(90)}});
  for (const int cluster : {-1, 32768}) {
    EXPECT_EQ(Search(cluster, 115).cluster, -1);
    EXPECT_TRUE(Walked("2 Failed to read data from cluster " + std::to_string(cluster)));
  }
}

TEST_F(StateDumpSearch, AClosedOutputHasNoBufferToSearchIn) {
  Record({{90, H1(90, B("1A"))}});
  DataStoreNormal ring(kBase);
  ASSERT_EQ(ring.Open(), 1);
  RecordingStore closed;
  EXPECT_EQ(reader.FindMostRecentStateDump(ring, closed, 0, 115), -1);
  EXPECT_TRUE(ReaderLogged(2, "Failed to read data from cluster 0"));
}

TEST_F(StateDumpSearch, IsTheSameWithEveryMessageSwitchedOff) {
  const CapturedLog quiet(0);
  Record({{90, H1(90, B("1A"))}});
  EXPECT_EQ(Search(0, 115).cluster, 0);
  EXPECT_EQ(Search(7, 115).cluster, 7);  // an empty one
  EXPECT_EQ(Search(32768, 115).cluster, -1);
  EXPECT_TRUE(quiet.Entries().empty());
}

TEST_F(StateDumpSearch, ARoundWithoutADumpIsAFailure) {
  RecordAll([](std::size_t c) -> ClusterOf {
    const auto tick = static_cast<unsigned int>(1000 + c);
    return {tick, H1(tick, c == 4 ? B("1A") : B("56"))};
  });
  EXPECT_EQ(Search(3, 1003).cluster, -1);  // that of cluster 4 is too late
  EXPECT_TRUE(Walked("4 Made it through all clusters and did not find systick"));
}

TEST_F(StateDumpSearch, APacketThatClaimsToReachPastTheClustersEndEndsItsCluster) {
  const Bytes claims[] = {B("80 6F 00 00 00 08 1A 1A 1A 1A 1A 1A 1A 1A"),  // one byte short
                          B("80 6F 00 00 00"),
                          B("81 6F FF 1A"),
                          B("81 6F"),
                          B("82 02 1A 1A"),
                          B("82"),
                          B("83 02 01 02 1A 1A"),
                          B("83"),
                          B("80")};
  for (const Bytes& claim : claims) {
    SCOPED_TRACE(testing::PrintToString(claim));
    Record({{90, H1(90, B("1A"))}, {110, Mark(110) + claim}});
    EXPECT_EQ(Search(1, 200).cluster, 0);
    EXPECT_TRUE(Walked("32 DoesClusterContainStateDump: HDR1 bytesLeft(" +
                       std::to_string(claim.size()) + "), bytesParsed(8)"));
    EXPECT_TRUE(Walked("128 DoesClusterContainStateDumpnumReadPackets(1)"));
  }
}

TEST_F(StateDumpSearch, AndThePacketThatEndsWithItIsParsed) {
  Record({{90, Mark(90)}, {110, Mark(110) + H2(111, Times(255, B("1A")))}});
  EXPECT_EQ(Search(1, 200).cluster, 1);
}

// ---- Messages ------------------------------------------------------------------------

TEST_F(StateDumpSearch, ItsMessages) {
  Record({{80, Mark(80)},
          {90, H1(90, B("56")) + Cont(B("56")) + B("83 01 20 C2 00") + B("84") + B("00") +
                   H2(91, B("1A 56")) + H2(92, B("1A"))}});
  EXPECT_EQ(Search(1, 90).cluster, 32767);
  walk_log.erase(
      std::find(walk_log.begin(), walk_log.end(), "128 read 8 bytes from data store at cluster 0"),
      walk_log.end());
  EXPECT_THAT(
      walk_log,
      ElementsAre("128 read 30 bytes from data store at cluster 1",
                  "64 DoesClusterContainStateDumpFound HEADER_1 @ last read system tick 90",
                  "32 DoesClusterContainStateDump: HDR1 bytesLeft(22), bytesParsed(8)",
                  "64 DoesClusterContainStateDumpFound HEADER_CONT @ last read system tick 90",
                  "32 DoesClusterContainStateDump: CONT bytesLeft(18), bytesParsed(4)",
                  "32 DoesClusterContainStateDump: DICT bytesLeft(13), bytesParsed(5)",
                  "32 DoesClusterContainStateDump: UNKN bytesLeft(12), bytesParsed(1)",
                  "32 DoesClusterContainStateDump: UNKN bytesLeft(11), bytesParsed(1)",
                  "64 DoesClusterContainStateDumpFound HEADER_2 @ last read system tick 91",
                  "128 DoesClusterContainStateDumpFound a state dump in this cluster!",
                  "32 Found a state dump in this cluster but readSysTick (91) is > sysTick (90) "
                  "searching for!",
                  "32 DoesClusterContainStateDump: HDR2 bytesLeft(5), bytesParsed(6)",
                  "64 DoesClusterContainStateDumpFound HEADER_2 @ last read system tick 92",
                  "128 DoesClusterContainStateDumpFound a state dump in this cluster!",
                  "32 Found a state dump in this cluster but readSysTick (92) is > sysTick (90) "
                  "searching for!",
                  "32 DoesClusterContainStateDump: HDR2 bytesLeft(0), bytesParsed(5)",
                  "128 DoesClusterContainStateDumpnumReadPackets(4)"));
}

TEST_F(StateDumpSearch, ItsMessagesWhenTheDumpIsTheOneWanted) {
  Record({{90, H1(90, B("1A")) + H2(91, B("56"))}});
  EXPECT_EQ(Search(0, 90).cluster, 0);
  EXPECT_THAT(walk_log,
              ElementsAre("128 read 13 bytes from data store at cluster 0",
                          "64 DoesClusterContainStateDumpFound HEADER_1 @ last read system tick 90",
                          "128 DoesClusterContainStateDumpFound a state dump in this cluster!",
                          "32 Found a state dump in this cluster!"));
}

TEST_F(StateDumpSearch, AnUnknownTickIsLoggedAsWhatItIs) {
  Record({{80, Mark(80)}, {90, H2(90, B("56"))}});
  Search(1, 90);
  EXPECT_TRUE(
      Walked("64 DoesClusterContainStateDumpFound HEADER_2 @ last read system tick 4294967295"));
}

TEST_F(StateDumpSearch, ThePacketListIsEmptiedAfterSeventeen) {
  Record({{80, Mark(80)}, {90, H1(90, B("56")) + Times(20, Cont(B("56")))}});
  Search(1, 90);
  EXPECT_EQ(std::count(walk_log.begin(), walk_log.end(),
                       "128 DoesClusterContainStateDumpnumReadPackets(17)"),
            1);
  EXPECT_TRUE(Walked("128 DoesClusterContainStateDumpnumReadPackets(4)"));
}

TEST_F(StateDumpSearch, AndOnceWhenThereAreExactlySeventeen) {
  Record({{80, Mark(80)}, {90, H1(90, B("56")) + Times(16, Cont(B("56")))}});
  Search(1, 90);
  EXPECT_EQ(std::count(walk_log.begin(), walk_log.end(),
                       "128 DoesClusterContainStateDumpnumReadPackets(17)"),
            1);
}

TEST_F(StateDumpSearch, NothingBufferedHoldsNoDump) {
  EXPECT_FALSE(reader.DoesClusterContainStateDump(out, kAnyTick));
  EXPECT_THAT(ReaderLog(0xFF), testing::IsEmpty());
}

TEST_F(StateDumpSearch, NothingOfAnEarlierSearchIsLeft) {
  Record({{90, H1(90, B("1A"))}, {100, H2(101, B("1A")) + H2(102, B("56"))}});
  EXPECT_EQ(Search(0, 90).cluster, 0);  // the tick is known, the reader stands at a packet
  EXPECT_EQ(Search(1, 101).cluster, 0);
  EXPECT_TRUE(
      Walked("32 Found a state dump in this cluster but readSysTick (4294967295) is > "
             "sysTick (101) searching for!"));
}

// ---- Dumps whose tick only their cluster's header tells ------------------------------

// A ring that has come round, cluster 0 the oldest, with a bookmark at tick 1000 + c
// in every cluster c that is not written out.
class UntoldDumps : public StateDumpSearch {
 protected:
  void RecordWith(const std::map<std::size_t, ClusterOf>& written_out) {
    RecordAll([&](std::size_t c) {
      const auto at = written_out.find(c);
      const auto tick = static_cast<unsigned int>(1000 + c);
      return at != written_out.end() ? at->second : ClusterOf{tick, Mark(tick)};
    });
  }
  // A cluster that begins with a short header.
  static ClusterOf Short(unsigned int tick, const std::string& items) {
    return {tick, H2(tick, B(items)) + H2(tick + 1, B("56"))};
  }
  std::size_t LineOf(const std::string& text) const {
    return static_cast<std::size_t>(std::find(walk_log.begin(), walk_log.end(), text) -
                                    walk_log.begin());
  }
};

TEST_F(UntoldDumps, OneIsTakenAtItsClustersFirstTickAfterARoundWithoutAnother) {
  RecordWith({{40, Short(1040, "36 1A 38")}});
  EXPECT_EQ(Search(60, 1060), (Found{40, H2(1040, B("36 1A 38")), 1040}));
  EXPECT_TRUE(SirenOn());
  EXPECT_TRUE(BrakeOn());
  EXPECT_EQ(out.GetCurrentSystemTick(), 1040U);
  EXPECT_TRUE(reader.LastExtraction().dump_found);
  EXPECT_EQ(reader.LastExtraction().dump_tick, 1040U);
  EXPECT_LT(LineOf("4 Made it through all clusters and did not find systick"),
            LineOf("32 Reading cluster 40 again from its first tick 1040"));
  EXPECT_LT(LineOf("32 Reading cluster 40 again from its first tick 1040"), walk_log.size());
}

TEST_F(UntoldDumps, AnyOtherDumpHoweverOldIsPreferred) {
  RecordWith({{3, {1003, H1(1003, B("1A"))}}, {40, Short(1040, "1A")}});
  EXPECT_EQ(Search(60, 1060).cluster, 3);
}

TEST_F(UntoldDumps, OfSeveralTheNearestIsTaken) {
  RecordWith({{30, Short(1030, "1A")}, {40, Short(1040, "1A")}, {90, Short(1090, "1A")}});
  EXPECT_EQ(Search(60, 1060).cluster, 40);
}

TEST_F(UntoldDumps, OneThatIsTooLateByItsClustersFirstTickIsPassedAgain) {
  RecordWith({{40, Short(1040, "1A")}, {60, {1060, H2(1060, B("56")) + H2(1063, B("1A"))}}});
  EXPECT_EQ(Search(60, 1062).cluster, 40);
  EXPECT_EQ(Search(60, 1063).cluster, 60);
}

TEST_F(UntoldDumps, WithNoneThatIsInTimeTheSearchFails) {
  RecordWith({{60, {1060, H2(1060, B("56")) + H2(1063, B("1A"))}}});
  EXPECT_EQ(Search(60, 1062).cluster, -1);
}

// The mirror is as if the cluster before had been read and then this one.
TEST_F(UntoldDumps, ASplitOneIsReadFromTheClusterBeforeOn) {
  RecordWith({{39, {1039, H2(1039, B("37 38")) + H2(1040, B("36"))}},
              {40, {1042, Cont(B("39 1A")) + H2(1042, B("56"))}},
              {50, {1050, H1(1050, B("37 38"))}}});
  EXPECT_EQ(Search(60, 1060), (Found{40, Cont(B("39 1A")), 1042}));
  EXPECT_TRUE(SirenOn());
  EXPECT_FALSE(BrakeOn());
}

// What time it is in it follows from that cluster's first tick, too.
TEST_F(UntoldDumps, ASplitOnesTimeIsThatOfItsBeginning) {
  RecordWith({{39, {1039, H2(1039, B("56")) + H2(1040, B("03 00 10 00 00"))}},
              {40, {1042, Cont(B("1A")) + H2(1042, B("56"))}}});
  EXPECT_EQ(Search(60, 1060).cluster, 40);
  out.InitCurrentSystemTick(1044);
  EXPECT_EQ(out.GetAdjustedTime(), 0x1002);
}

TEST_F(UntoldDumps, TheOldestClusterMayHoldIt) {
  RecordWith({{0, Short(1000, "1A")}});
  EXPECT_EQ(Search(5, 1005), (Found{0, H2(1000, B("1A")), 1000}));
}

// What it began with has been overwritten.
TEST_F(UntoldDumps, TheOldestClustersOwnContinuationsAreNoDump) {
  RecordWith({{0, {1001, Cont(B("36")) + Cont(B("1A")) + H2(1001, B("56"))}}});
  EXPECT_EQ(Search(5, 1005).cluster, -1);
  RecordWith({{0, {1001, Cont(B("36 1A")) + H2(1001, B("56")) + H2(1002, B("1A"))}}});
  EXPECT_EQ(Search(5, 1005), (Found{0, H2(1002, B("1A")), 1002}));
  RecordWith({{0, {1001, Cont(B("1A")) + B("82 FF 1A")}}});
  EXPECT_EQ(Search(5, 1005).cluster, -1);
}

TEST_F(UntoldDumps, ClustersBehindTheOldestDoNotCount) {
  RecordWith({{90, Short(500, "1A")}});
  EXPECT_EQ(Search(60, 1060).cluster, -1);
  EXPECT_EQ(Search(95, 1060).cluster, 90);
}

TEST_F(UntoldDumps, AcrossTheFilesEndTheyDo) {
  RecordAll([](std::size_t c) -> ClusterOf {
    const auto tick = static_cast<unsigned int>(c < 5 ? 40000 + c : 1000 + c);
    return {tick, c == 32766 ? H2(tick, B("1A")) : Mark(tick)};
  });
  EXPECT_EQ(Search(2, 40002), (Found{32766, H2(33766, B("1A")), 33766}));
}

TEST_F(UntoldDumps, AClusterWithoutAFirstTickTellsNone) {
  for (const unsigned int none : {0xFFFFFFFFU, 0xFFFFFFFEU, 0xFFFFFFFDU}) {
    SCOPED_TRACE(none);
    RecordWith({{30, Short(1030, "1A")}, {40, {none, Short(1040, "1A").packets}}});
    EXPECT_EQ(Search(60, 0xFFFFFFFE).cluster, 30);
  }
}

TEST_F(UntoldDumps, NorDoesOneBehindAHeaderOfAnUnknownTick) {
  RecordWith({{30, Short(1030, "1A")}, {40, {1040, Mark(0xFFFFFFFF) + H2(1040, B("1A"))}}});
  EXPECT_EQ(Search(60, 1060).cluster, 30);
  RecordWith({{40, {1040, H2(1040, B("56")) + H1(0xFFFFFFFF, B("1A"))}}});
  EXPECT_EQ(Search(60, 1060).cluster, -1);
}

TEST_F(UntoldDumps, AMarkBehindATimeZoneNameIsOneToo) {
  RecordWith({{40, Short(1040, "36 04 03 43 53 54 38 1A")}});
  EXPECT_EQ(Search(60, 1060).cluster, 40);
  EXPECT_TRUE(BrakeOn());
  RecordWith({{40, Short(1040, "36 FF 1A")}});
  EXPECT_EQ(Search(60, 1060).cluster, -1);
}

TEST_F(UntoldDumps, AClusterThatCannotBeReadLeavesTheNearerOnes) {
  RecordWith({{40, Short(1040, "1A")}});
  LoseCluster(20);
  EXPECT_EQ(Search(60, 1060).cluster, 40);
  EXPECT_TRUE(Walked("2 Failed to read data from cluster 20"));
  RecordWith({{41, {1041, Cont(B("1A")) + H2(1041, B("56"))}}});
  LoseCluster(40);
  EXPECT_EQ(Search(60, 1060).cluster, -1);  // its beginning is lost
  RecordWith({{41, Short(1041, "1A")}, {60, {1060, H2(1063, B("1A"))}}});
  LoseCluster(50);
  EXPECT_EQ(Search(60, 1060).cluster, -1);  // behind the lost one
}

TEST_F(UntoldDumps, AreFoundWithEveryMessageSwitchedOff) {
  const CapturedLog quiet(0);
  RecordWith({{40, {1041, Cont(B("1A")) + H2(1041, B("56"))}}});
  EXPECT_EQ(Search(60, 1060).cluster, 40);
  LoseCluster(39);
  EXPECT_EQ(Search(60, 1060).cluster, -1);
  EXPECT_TRUE(quiet.Entries().empty());
}

TEST_F(UntoldDumps, AReplayBeginsThere) {
  RecordWith({{40, Short(1040, "36 1A 38")}, {50, {1050, H2(1050, B("39 3E"))}}});
  ASSERT_TRUE(Extract(1060, 1041));
  const Bytes state = StartOf(1060, 1041, [](DataStore& unit) {
    unit.StoreConfigSettingsValid(true, TAG_POLICY_END);
    unit.ReportStateData(TAG_SIREN_ON, false, 0);
    unit.ReportStateData(TAG_DOOR_ON, false, 0);
  });
  EXPECT_EQ(Out(), state + Mark(1061));
  EXPECT_EQ(reader.LastExtraction().state_cluster, 40);
  EXPECT_EQ(reader.LastExtraction().dump_tick, 1040U);
  EXPECT_TRUE(ReaderLogged(32,
                           "ReadToNewFile: Last state dump found: stateCluster(40), "
                           "nextReadLoc(167936), readSysTick(1040)"));
}

// ---- What the output holds meanwhile -------------------------------------------------

// Reading covert on records it again; 1900 times fill seven areas and more.
Bytes CovertBlinks(unsigned int tick) { return Times(19, H1(tick, Times(100, B("3A 3B")))); }

TEST_F(StateDumpSearch, WhatReadingRecordsAgainNeverFillsTheOutput) {
  std::vector<ClusterOf> clusters{{90, CovertBlinks(90) + H2(91, B("1A"))}};
  for (unsigned int tick = 100; tick < 106; ++tick) clusters.push_back({tick, CovertBlinks(tick)});
  Record(clusters);
  EXPECT_EQ(Search(6, 120).cluster, 0);
  EXPECT_EQ(
      log_.Count(2, "DataStore.cc", "***************** Dropped 1 data bytes ********************"),
      0);
  EXPECT_EQ(out.UsedAreas(), 0);
}

TEST_F(StateDumpSearch, ItemsThatWaitedThereBeforeAreNotDiscarded) {
  Record({{90, H1(90, B("1A"))}, {100, CovertBlinks(100)}});
  out.ReportButton(BUTTON_RECORD, BUTTON_PRESSED, true);
  EXPECT_EQ(Search(1, 120).cluster, 0);
  out.WriteBuffers();
  ASSERT_FALSE(out.packets.empty());
  EXPECT_EQ(out.packets[0].bytes[6], TAG_BUTTON);
}

// ---- The item that no decoder accepts --------------------------------------------------

TEST_F(StateDumpSearch, AMarkBehindATimeZoneNameIsFound) {
  Record({{90, Mark(90)}, {100, H1(100, B("36 04 03 43 53 54 38 1A"))}});
  EXPECT_EQ(Search(1, 100), (Found{1, H1(100, B("36 04 03 43 53 54 38 1A")), 100}));
  EXPECT_TRUE(SirenOn());
  EXPECT_TRUE(BrakeOn());
}

TEST_F(StateDumpSearch, EvenWhenTheNameIsEmptyOrThereAreTwo) {
  Record({{90, Mark(90)}, {100, H1(100, B("04 00 04 01 41 1A"))}});
  EXPECT_EQ(Search(1, 100).cluster, 1);
}

TEST_F(StateDumpSearch, ANameThatClaimsToReachPastItsPacketGivesThePacketUp) {
  for (const char* const items : {"36 04 03 1A 1A", "36 04 FF 1A", "36 04"}) {
    SCOPED_TRACE(items);
    Record({{90, H1(90, B("1A"))}, {100, H1(100, B(items)) + H2(101, B("56"))}});
    EXPECT_EQ(Search(1, 105).cluster, 0);
    EXPECT_TRUE(SirenOn());
  }
}

TEST_F(StateDumpSearch, ANameThatEndsItsPacketIsTheLastItem) {
  Record({{90, H1(90, B("1A"))}, {100, H1(100, B("36 04 02 1A 1A")) + H2(101, B("1A"))}});
  EXPECT_EQ(Search(1, 105), (Found{1, H2(101, B("1A")), 101}));
}

TEST_F(StateDumpSearch, OtherItemsThatNoDecoderAcceptsGiveThePacketUp) {
  for (const char* const tag : {"00 00", "01 00", "0A 00", "57 00", "F2 00", "FF 00"}) {
    SCOPED_TRACE(tag);
    Record({{90, H1(90, B("1A"))}, {100, H1(100, B(tag) + B("1A"))}});
    EXPECT_EQ(Search(1, 105).cluster, 0);
  }
}

// The replay meets the packet again, and gives it up there.
TEST_F(StateDumpSearch, OnlyTheSearchStepsOverIt) {
  Record({{90, H1(90, B("36 04 00 1A 38")) + H2(95, B("36 04 00 39 3E"))}});
  ASSERT_TRUE(Extract(100, 110));
  const Bytes state = StartOf(100, 110, [](DataStore& unit) {
    unit.StoreConfigSettingsValid(true, TAG_POLICY_END);
    unit.ReportStateData(TAG_SIREN_ON, false, 0);
    unit.ReportStateData(TAG_BRAKE_ON, false, 0);
  });
  EXPECT_EQ(Out(), state);
}

// ---- Random configurations ------------------------------------------------------------

// A unit as it is configured in the field, with texts of usual lengths.
class ConfiguredUnits : public StateDumpSearch {
 protected:
  static std::uint32_t Seed() {
    const char* const wanted = getenv("VMR_PROPERTY_SEED");
    return wanted != nullptr ? static_cast<std::uint32_t>(strtoul(wanted, nullptr, 10))
                             : std::random_device{}();
  }
  std::string Text(std::size_t least, std::size_t most) {
    std::string text(least + random() % (most - least + 1), ' ');
    for (char& c : text) c = static_cast<char>('a' + random() % 26);
    return text;
  }
  void Configure(DataStore& unit) {
    unsigned char mac[6];
    for (unsigned char& byte : mac) byte = static_cast<unsigned char>(random());
    unit.ReportMac(mac, false);
    unit.ReportSystemSerialNum(Text(6, 14));
    unit.ReportVehicleInfo({{Text(2, 12)}}, false);
    unit.ReportDepartmentInfo({{Text(8, 35)}}, false);
    unit.ReportOfficerInfo({{Text(6, 28)}, {Text(2, 8)}}, false);
    SystemInfo system;
    system.time_zone_index = static_cast<std::int32_t>(random() % 50);
    system.time_zone_name.value = random() % 2 == 0 ? Text(3, 5) : Text(12, 40);
    system.radar_type = static_cast<std::uint16_t>(random() % 5);
    unit.ReportSystemInfo(system, false);
    for (int component = 0; component < 10; ++component)
      if (random() % 3 != 0)
        unit.ReportVersion(static_cast<e_COMPONENT>(component), Text(3, 20).c_str());
    unit.ReportConfiguration(false);
  }
  // The dump as it stands in the ring, and a minute behind it.
  void RecordOne(unsigned int dump_tick) {
    DataStoreNormal unit(kBase);
    ASSERT_EQ(unit.Open(), 1);
    unit.InitCurrentSystemTick(10);
    unit.ReportStateData(TAG_SIREN_ON, true, 0);
    unit.WriteBuffers();
    Configure(unit);
    unit.InitCurrentSystemTick(dump_tick);
    unit.WriteFullState(false);
    unit.WriteBuffers();
    for (unsigned int tick = dump_tick + 1; tick < dump_tick + 120; ++tick) {
      unit.InitCurrentSystemTick(tick);
      unit.ReportBookmark(0);
      unit.WriteBuffers();
    }
    unit.Close();
  }
  // Whether a mark stands where a reader that gives a packet up at the time zone
  // name meets it.
  static bool MarkIsInPlainSight(const Bytes& packets) {
    for (std::size_t at = 0; at < packets.size();) {
      const std::size_t head = packets[at] == 0x80 ? 6 : packets[at] == 0x81 ? 3 : 2;
      const std::size_t end = at + head + packets[at + head - 1];
      for (std::size_t item = at + head; item < end && packets[item] != 0x04;) {
        if (packets[item] == 0x1A) return true;
        item += ItemLength(FindTag(packets[item]), &packets[item], end - item);
      }
      at = end + 1;
    }
    return false;
  }
  Bytes FirstCluster() const {
    const Bytes cluster = files_.ReadBlock(kFile1, 0);
    return Bytes(cluster.begin() + 7, cluster.begin() + cluster[5] + 256 * cluster[6]);
  }

  std::mt19937 random;
};

TEST_F(ConfiguredUnits, ExtractWhereverTheMarkStands) {
  constexpr unsigned int kDumpTick = 7300;
  const std::uint32_t seed = Seed();
  PutEmptyPair();
  const SimulatedFiles::Image empty = files_.Snapshot();
  int in_plain_sight = 0;
  for (std::uint32_t run = 0; run < 500 && !HasFailure(); ++run) {
    SCOPED_TRACE("VMR_PROPERTY_SEED=" + std::to_string(seed) + ", run " + std::to_string(run));
    random.seed(seed + run);
    files_.Restore(empty);
    log_.Clear();
    RecordOne(kDumpTick);
    in_plain_sight += MarkIsInPlainSight(FirstCluster()) ? 1 : 0;
    ASSERT_TRUE(Extract(kDumpTick + 50, kDumpTick + 60));
    EXPECT_TRUE(reader.LastExtraction().dump_found);
    EXPECT_EQ(reader.LastExtraction().dump_tick, kDumpTick);
    EXPECT_EQ(reader.LastExtraction().state_cluster, 0);
    EXPECT_EQ(reader.LastExtraction().packets, 30U);
  }
  // Both kinds were among them; usually four in ten are the first.
  EXPECT_GT(in_plain_sight, 50);
  EXPECT_LT(in_plain_sight, 450);
  RecordProperty("in_plain_sight", in_plain_sight);
  RecordProperty("seed", std::to_string(seed));
}

}  // namespace
}  // namespace vmr::test
