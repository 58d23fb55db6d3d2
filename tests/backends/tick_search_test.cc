// Finding the cluster that holds a tick.
#include <algorithm>
#include <random>
#include <set>

#include "host/default/host_control.h"
#include "tests/backends/ring_fixture.h"
#include "tests/support/sanitized.h"

namespace vmr {
namespace {

using namespace test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;
using ::testing::StartsWith;

constexpr unsigned int kUnreadable = 0xFFFFFFFF;

Bytes Damaged() { return Repeat(0x55, 4096); }

class TickSearch : public RingTest {
 protected:
  // A ring whose clusters 0 .. `count` - 1 begin with the ticks 1000, 1010 and so
  // on, the current cluster being the last of them.
  void OpenWith(std::size_t count) {
    PutClusters(count);
    Open();
  }
  void PutClusters(std::size_t count) {
    PutEmptyPair();
    files_.PutBlocks(kFile1, 0, count, [](std::size_t c) { return Header(1000 + 10 * c); });
    files_.CopyContent(kFile1, kFile2);
  }
  // One that has wrapped: clusters 0 .. `current` begin with 400000, 400010, ...
  void PutWrapped(std::size_t current) {
    PutClusters(kRingClusters);
    files_.PutBlocks(kFile1, 0, current + 1, [](std::size_t c) { return Header(400000 + 10 * c); });
    files_.CopyContent(kFile1, kFile2);
  }
  void OpenWrapped(std::size_t current) {
    PutWrapped(current);
    Open();
  }
  static Bytes Header(std::size_t st) { return ClusterImage(static_cast<std::uint32_t>(st), {}); }

  void Open() {
    ASSERT_EQ(store_.Open(), 1);
    files_.ClearOperations();
    log_.Clear();
  }
  int Find(unsigned int tick) { return store_.FindSystemTick(tick); }
  // Fills the current cluster, which is still without packets, with a write to
  // file #2, and begins the next one with a write to file #1.
  void BeginCluster(unsigned int tick) {
    ASSERT_EQ(Write(store_, Repeat(0x84, 4089), tick - 1), 1);
    ASSERT_EQ(WriteTick(store_, tick), 1);
    files_.ClearOperations();
    log_.Clear();
  }
  std::set<long> ClustersRead() const {
    std::set<long> clusters;
    for (const Operation& done : files_.Operations())
      if (done.op == FileOp::kRead) clusters.insert(done.offset / 4096);
    return clusters;
  }
  std::vector<std::string> Rounds() const {
    std::vector<std::string> rounds;
    for (const std::string& text : log_.Texts(128))
      if (text.rfind("FindSystemTick: newCluster(", 0) == 0) rounds.push_back(text);
    return rounds;
  }
  // Of all levels but the trace of each item.
  std::vector<LogEntry> Messages() const {
    std::vector<LogEntry> messages;
    for (const LogEntry& entry : log_.Entries())
      if (entry.level != 128) messages.push_back(entry);
    return messages;
  }
  static LogEntry Message(unsigned int level, const std::string& text) {
    return {level, "DataStoreNormal.cc", text};
  }

  DataStoreNormal store_{kBase};
};

// ---- Ticks at and beyond the ends ------------------------------------------------

TEST_F(TickSearch, AnEmptyStoreGivesClusterZeroBecauseBothEndsReadAsLaterThanAnyTick) {
  PutEmptyPair();
  Open();
  EXPECT_EQ(Find(5), 0);
  EXPECT_THAT(Messages(),
              ElementsAre(Message(16,
                                  "FindSystemTick: System tick (5) is prior to oldest system tick "
                                  "4294967295 Cluster = 0")));
  EXPECT_TRUE(Logged(128, "newCluster(0) newSt(4294967295), oldCluster(0), oldSt(4294967295)"));
}

TEST_F(TickSearch, TheTickThatIsNoneIsTheOldestOfAnEmptyStore) {
  PutEmptyPair();
  Open();
  EXPECT_EQ(Find(0xFFFFFFFF), 0);
  EXPECT_THAT(Messages(),
              ElementsAre(Message(32,
                                  "FindSystemTick: System tick (4294967295) is oldest system "
                                  "tick in data store")));
}

TEST_F(TickSearch, ATickOlderThanTheOldestClustersFirstGivesTheOldestCluster) {
  OpenWith(5);
  EXPECT_EQ(Find(999), 0);
  EXPECT_THAT(Messages(), ElementsAre(Message(16,
                                              "FindSystemTick: System tick (999) is prior to "
                                              "oldest system tick 1000 Cluster = 0")));
  EXPECT_TRUE(Logged(128, "newCluster(4) newSt(1040), oldCluster(0), oldSt(1000)"));
  EXPECT_THAT(Rounds(), IsEmpty());
}

TEST_F(TickSearch, ATickNewerThanTheNewestClustersFirstGivesTheCurrentCluster) {
  OpenWith(5);
  EXPECT_EQ(Find(1041), 4);
  EXPECT_THAT(Messages(),
              ElementsAre(Message(32,
                                  "FindSystemTick: System tick (1041) is after to newest system "
                                  "tick 1040")));
  EXPECT_THAT(Rounds(), IsEmpty());
}

TEST_F(TickSearch, TheOldestClustersFirstTickGivesThatCluster) {
  OpenWith(5);
  EXPECT_EQ(Find(1000), 0);
  EXPECT_THAT(Messages(),
              ElementsAre(Message(32,
                                  "FindSystemTick: System tick (1000) is oldest system tick in "
                                  "data store")));
}

TEST_F(TickSearch, TheNewestClustersFirstTickGivesThatCluster) {
  OpenWith(5);
  EXPECT_EQ(Find(1040), 4);
  EXPECT_THAT(Messages(),
              ElementsAre(Message(32,
                                  "FindSystemTick: System tick (1040) is start of newest "
                                  "cluster")));
}

TEST_F(TickSearch, InARingOfOneClusterEveryTickIsAtOrBeyondAnEnd) {
  OpenWith(1);
  for (const unsigned int tick : {0U, 999U, 1000U, 1001U, 0xFFFFFFFFU}) EXPECT_EQ(Find(tick), 0);
  EXPECT_THAT(
      Messages(),
      ElementsAre(
          Message(16,
                  "FindSystemTick: System tick (0) is prior to oldest system tick 1000 "
                  "Cluster = 0"),
          Message(16,
                  "FindSystemTick: System tick (999) is prior to oldest system tick 1000 "
                  "Cluster = 0"),
          Message(32, "FindSystemTick: System tick (1000) is oldest system tick in data store"),
          Message(32, "FindSystemTick: System tick (1001) is after to newest system tick 1000"),
          Message(32,
                  "FindSystemTick: System tick (4294967295) is after to newest system "
                  "tick 1000")));
}

// The oldest is compared before the newest.
TEST_F(TickSearch, WhenBothEndsBeginWithTheTickTheOldestIsGiven) {
  PutEmptyPair();
  for (const std::size_t c : {0U, 1U, 2U}) PutInBoth(c, Header(1000));
  Open();
  ASSERT_EQ(store_.CurrentCluster(), 2);
  EXPECT_EQ(Find(1000), 0);
}

TEST_F(TickSearch, TicksAreComparedUnsigned) {
  PutEmptyPair();
  PutInBoth(0, Header(0x7FFFFFF0));
  PutInBoth(1, Header(0x80000010));
  PutInBoth(2, Header(0xFFFFFFF0));
  Open();
  EXPECT_EQ(Find(1), 0);
  EXPECT_EQ(Find(0x80000000), 0);
  EXPECT_EQ(Find(0x90000000), 1);
  EXPECT_EQ(Find(0xFFFFFFF5), 2);
}

// ---- Between the ends ------------------------------------------------------------

TEST_F(TickSearch, TheLastClusterThatDoesNotBeginAfterTheTickIsGiven) {
  OpenWith(5);
  EXPECT_EQ(Find(1015), 1);
  EXPECT_THAT(Messages(), IsEmpty());
  EXPECT_THAT(Rounds(),
              ElementsAre("FindSystemTick: newCluster(4), newSt(1040), foldCluster(2), "
                          "foldSt(1020), oldCluster(0), oldSt(1000), distance(4), sysTick(1015)",
                          "FindSystemTick: newCluster(2), newSt(1020), foldCluster(1), "
                          "foldSt(1010), oldCluster(0), oldSt(1000), distance(2), sysTick(1015)",
                          "FindSystemTick: newCluster(2), newSt(1020), foldCluster(1), "
                          "foldSt(1010), oldCluster(1), oldSt(1010), distance(1), sysTick(1015)"));
}

TEST_F(TickSearch, AClusterThatBeginsWithTheTickEndsTheSearchWhenItIsMet) {
  OpenWith(5);
  EXPECT_EQ(Find(1020), 2);
  EXPECT_THAT(Rounds(), SizeIs(1));
}

TEST_F(TickSearch, EveryClusterOfAYoungRingIsFoundByItsTicks) {
  OpenWith(37);
  for (unsigned int c = 0; c < 37; ++c)
    for (const unsigned int tick : {1000 + 10 * c, 1005 + 10 * c, 1009 + 10 * c})
      EXPECT_EQ(Find(tick), static_cast<int>(c)) << tick;
}

TEST_F(TickSearch, AWrappedRingIsSearchedAcrossTheWrap) {
  OpenWrapped(100);
  EXPECT_EQ(Find(1000 + 10 * 101 - 1), 101);
  EXPECT_TRUE(Logged(16,
                     "FindSystemTick: System tick (2009) is prior to oldest system tick 2010 "
                     "Cluster = 101"));
  EXPECT_TRUE(Logged(128, "newCluster(100) newSt(401000), oldCluster(101), oldSt(2010)"));
  EXPECT_EQ(Find(1000 + 10 * 101), 101);
  EXPECT_EQ(Find(1000 + 10 * 101 + 1), 101);
  EXPECT_EQ(Find(1000 + 10 * 20000 + 3), 20000);
  EXPECT_EQ(Find(1000 + 10 * 32767), 32767);
  EXPECT_EQ(Find(1000 + 10 * 32767 + 9), 32767);
  EXPECT_EQ(Find(399999), 32767);
  EXPECT_EQ(Find(400000), 0);
  EXPECT_EQ(Find(400009), 0);
  EXPECT_EQ(Find(400995), 99);
  EXPECT_EQ(Find(401000), 100);
  EXPECT_EQ(Find(401001), 100);
}

TEST_F(TickSearch, TheMiddleOfARangeAcrossTheWrapIsFoldedBackIntoTheRing) {
  OpenWrapped(100);
  EXPECT_EQ(Find(400004), 0);
  EXPECT_EQ(Rounds().front(),
            "FindSystemTick: newCluster(100), newSt(401000), foldCluster(16484), foldSt(165840), "
            "oldCluster(101), oldSt(2010), distance(32767), sysTick(400004)");
  // 32740 + 128 / 2 is 32804, which is cluster 36.
  EXPECT_TRUE(Logged(128,
                     "FindSystemTick: newCluster(100), newSt(401000), foldCluster(36), "
                     "foldSt(400360), oldCluster(32740), oldSt(328400), distance(128), "
                     "sysTick(400004)"));
}

TEST_F(TickSearch, AFullRingAboutToWrapIsSearchedFromClusterZero) {
  OpenWith(kRingClusters);
  EXPECT_EQ(Find(1000 + 10 * 16383 + 5), 16383);
  EXPECT_TRUE(Logged(128, "newCluster(32767) newSt(328670), oldCluster(0), oldSt(1000)"));
  EXPECT_EQ(Find(1000 + 10 * 32766 + 9), 32766);
}

TEST_F(TickSearch, EveryClusterAtTheSeamsOfAWrappedRingIsFound) {
  host::SetLogLevel(2);
  for (const int current : {0, 1, 2, 16382, 16383, 16384, 32765, 32766}) {
    SCOPED_TRACE(current);
    OpenWrapped(static_cast<std::size_t>(current));
    ASSERT_EQ(store_.CurrentCluster(), current);
    for (int c = 0; c < 32768; c += 1 + 250 * (c % 16384 > 40 && c % 16384 < 16250)) {
      const unsigned int st = (c <= current ? 400000U : 1000U) + 10U * static_cast<unsigned int>(c);
      EXPECT_EQ(Find(st), c);
      EXPECT_EQ(Find(st + 9), c);
    }
    store_.Close();
  }
}

// ---- What is read, and what is remembered ----------------------------------------

TEST_F(TickSearch, ReadsAtMost17ClustersWhereverTheTickLies) {
  host::SetLogLevel(2);
  std::size_t most = 0;
  for (const bool wrapped : {true, false}) {
    wrapped ? OpenWrapped(100) : OpenWith(32767);
    for (unsigned int tick = 900; tick < 402000; tick += 97) {
      files_.ClearOperations();
      Find(tick);
      most = std::max(most, static_cast<std::size_t>(files_.Count(FileOp::kRead)));
    }
    store_.Close();
  }
  EXPECT_LE(most, 17U);
  EXPECT_GE(most, 16U);
}

TEST_F(TickSearch, AClusterIsReadOnceInASearch) {
  OpenWith(20000);
  Find(150003);
  EXPECT_EQ(static_cast<int>(ClustersRead().size()), files_.Count(FileOp::kRead));
}

TEST_F(TickSearch, NothingIsWrittenByASearchOfAHealthyRing) {
  OpenWrapped(100);
  Find(150003);
  EXPECT_THAT(files_.Trace({FileOp::kWrite, FileOp::kFsync}), IsEmpty());
}

TEST_F(TickSearch, WhatWasOverwrittenSinceTheLastSearchIsSeen) {
  OpenWith(9);
  EXPECT_EQ(Find(1045), 4);
  PutInBoth(4, Header(1046));
  EXPECT_EQ(Find(1045), 3);
}

TEST_F(TickSearch, BetweenSearchesAClustersTickIsTheOneThatTheLastOneRead) {
  OpenWith(9);
  EXPECT_EQ(store_.GetSystemTick(4), 1040U);
  PutInBoth(4, Header(1046));
  EXPECT_EQ(store_.GetSystemTick(4), 1040U);
  Find(0);
  EXPECT_EQ(store_.GetSystemTick(4), 1046U);
}

TEST_F(TickSearch, WhatIsRememberedIsNotTakenOverIntoTheNextOpen) {
  OpenWith(9);
  EXPECT_EQ(store_.GetSystemTick(4), 1040U);
  store_.Close();
  PutInBoth(4, Header(1046));
  Open();
  EXPECT_EQ(store_.GetSystemTick(4), 1046U);
}

TEST_F(TickSearch, GetSystemTickReadsAClusterOnce) {
  OpenWith(9);
  EXPECT_EQ(store_.GetSystemTick(3), 1030U);
  EXPECT_EQ(store_.GetSystemTick(3), 1030U);
  EXPECT_THAT(ClustersRead(), ElementsAre(3));
  EXPECT_EQ(files_.Count(FileOp::kRead), 1);
  EXPECT_TRUE(log_.Has(128, "MetadataHdrCache.cc", "Found item in cache"));
}

TEST_F(TickSearch, GetSystemTickOfAClusterNeverWrittenIsNone) {
  OpenWith(9);
  EXPECT_EQ(store_.GetSystemTick(9), 0xFFFFFFFFU);
}

// The two cluster images are the recording's end; a read must not land in them.
TEST_F(TickSearch, ASearchLeavesTheClustersInMemoryAlone) {
  PutPairWith(9);
  Open();
  WriteTick(store_, 2000);
  Find(1003);
  WriteTick(store_, 2001);
  EXPECT_EQ(TicksOf(ReadStream(store_, 7 * 4096)),
            (std::vector<unsigned int>{1007, 1008, 2000, 2001}));
}

// The file that reads try first is the one that lacks the last write: a cluster
// that has just begun is there as it was a lap ago.
TEST_F(TickSearch, ACurrentClusterThatOnlyTheOtherFileHasIsSearchedByItsOwnTick) {
  OpenWrapped(100);
  BeginCluster(500000);
  ASSERT_EQ(store_.CurrentCluster(), 101);
  ASSERT_EQ(files_.ReadBlock(kFile2, 101), Header(2010));
  EXPECT_EQ(Find(500000), 101);
  EXPECT_EQ(Find(450000), 100);
  EXPECT_EQ(Find(300000), 29900);
  EXPECT_THAT(Messages(),
              ElementsAre(Message(32,
                                  "FindSystemTick: System tick (500000) is start of newest "
                                  "cluster")));
  EXPECT_EQ(Find(500001), 101);
  EXPECT_TRUE(Logged(32,
                     "FindSystemTick: System tick (500001) is after to newest system tick "
                     "500000"));
}

TEST_F(TickSearch, TheTwoClustersInMemoryAreNotReadFromTheFiles) {
  OpenWrapped(100);
  BeginCluster(500000);
  for (const unsigned int tick : {450000U, 500000U, 500001U, 400995U}) Find(tick);
  EXPECT_THAT(ClustersRead(), Not(testing::Contains(100)));
  EXPECT_THAT(ClustersRead(), Not(testing::Contains(101)));
}

TEST_F(TickSearch, APacketAppendedSinceTheOpeningIsFound) {
  PutEmptyPair();
  Open();
  WriteTick(store_, 77);
  EXPECT_EQ(Find(77), 0);
  EXPECT_THAT(Messages().back().text, StartsWith("FindSystemTick: System tick (77) is oldest"));
}

// ---- Damage ----------------------------------------------------------------------

TEST_F(TickSearch, AClusterThatCannotBeReadHasTheTickOfNone) {
  OpenWith(9);
  PutInBoth(4, Damaged());
  EXPECT_EQ(store_.GetSystemTick(4), kUnreadable);
  PutInBoth(4, Header(1040));
  EXPECT_EQ(store_.GetSystemTick(4), 1040U) << "a failure is not remembered";
}

TEST_F(TickSearch, AClusterOutsideTheRingHasTheTickOfNone) {
  OpenWith(9);
  EXPECT_EQ(store_.GetSystemTick(-1), kUnreadable);
  EXPECT_EQ(store_.GetSystemTick(32768), kUnreadable);
}

TEST_F(TickSearch, AnUnreadableProbeMovesTheUpperBoundDown) {
  OpenWith(9);
  PutInBoth(4, Damaged());
  EXPECT_EQ(Find(1065), 3);
  EXPECT_EQ(Rounds().front(),
            "FindSystemTick: newCluster(8), newSt(1080), foldCluster(4), foldSt(4294967295), "
            "oldCluster(0), oldSt(1000), distance(8), sysTick(1065)");
  EXPECT_EQ(Rounds().back(),
            "FindSystemTick: newCluster(4), newSt(4294967295), foldCluster(3), foldSt(1030), "
            "oldCluster(3), oldSt(1030), distance(1), sysTick(1065)");
}

TEST_F(TickSearch, AProbeUnreadableInOneFileIsReadFromTheOther) {
  OpenWith(9);
  for (const std::string file : {kFile1, kFile2}) {
    PutCluster(file, 4, Damaged());
    EXPECT_EQ(Find(1065), 6) << file;
    PutCluster(file, 4, Header(1040));
  }
}

// It is taken for a ring that has not wrapped.
TEST_F(TickSearch, AnUnreadableClusterBehindTheNewestMakesClusterZeroTheOldest) {
  OpenWrapped(100);
  PutInBoth(101, Damaged());
  EXPECT_EQ(Find(300000), 0);
  EXPECT_TRUE(Logged(16,
                     "FindSystemTick: System tick (300000) is prior to oldest system tick 400000 "
                     "Cluster = 0"));
  EXPECT_EQ(Find(400555), 55);
}

// ---- Closed stores ---------------------------------------------------------------

TEST_F(TickSearch, AClosedStoreHasNoTicksAndReadsNothing) {
  EXPECT_EQ(store_.GetSystemTick(0), kUnreadable);
  EXPECT_EQ(Find(5), 0);
  OpenWith(9);
  EXPECT_EQ(Find(1045), 4);
  store_.Close();
  files_.ClearOperations();
  log_.Clear();
  EXPECT_EQ(store_.GetSystemTick(4), kUnreadable);
  EXPECT_EQ(Find(1045), 0);
  EXPECT_THAT(Messages(), ElementsAre(Message(16,
                                              "FindSystemTick: System tick (1045) is prior to "
                                              "oldest system tick 4294967295 Cluster = 0")));
  EXPECT_THAT(files_.Operations(), IsEmpty());
}

// ---- A recorder that goes on -----------------------------------------------------

class TickSearchBesideARecorder : public TickSearch {
 protected:
  void OpenReadOnly(int expected_current) {
    ASSERT_EQ(store_.OpenReadOnly(), 1);
    ASSERT_EQ(store_.CurrentCluster(), expected_current);
    files_.ClearOperations();
    log_.Clear();
  }
  // The recorder fills the `count` clusters behind `newest`, as they follow.
  void GoOn(std::size_t newest, std::size_t count, std::size_t first_tick) {
    for (std::size_t i = 0; i < count; ++i)
      PutInBoth((newest + 1 + i) % kRingClusters, Header(first_tick + 10 * i));
  }
};

TEST_F(TickSearchBesideARecorder, InAYoungRingTheSearchGoesFromClusterZeroToTheNewestAtTheOpening) {
  for (const std::size_t went_on : {0U, 1U, 2U, 3U, 50U}) {
    SCOPED_TRACE(went_on);
    PutClusters(9);
    OpenReadOnly(8);
    GoOn(8, went_on, 1090);
    EXPECT_EQ(Find(999), 0);
    EXPECT_EQ(Find(1045), 4);
    EXPECT_EQ(Find(1080), 8);
    EXPECT_EQ(Find(1095), 8);
    EXPECT_EQ(store_.InitialReadLocation(), 0);
    store_.Close();
  }
}

TEST_F(TickSearchBesideARecorder, InAWrappedRingTheOldestClusterIsTheFirstNotOverwrittenSince) {
  for (const int went_on : {0, 1, 2, 3, 50, 5000}) {
    SCOPED_TRACE(went_on);
    PutWrapped(32700);
    OpenReadOnly(32700);
    GoOn(32700, static_cast<std::size_t>(went_on), 727010);
    const int oldest = (32701 + went_on) % 32768;
    const int lap = oldest > 32700 ? 1000 : 400000;
    EXPECT_EQ(Find(0), oldest);
    EXPECT_EQ(Find(static_cast<unsigned int>(lap + 10 * oldest + 5)), oldest);
    EXPECT_EQ(Find(400000 + 10 * 9999 + 5), 9999);
    EXPECT_EQ(Find(727000), 32700);
    EXPECT_EQ(Find(727015), 32700);
    EXPECT_EQ(store_.InitialReadLocation(), long{oldest} * 4096);
    store_.Close();
  }
}

TEST_F(TickSearchBesideARecorder, OfARingOverwrittenAltogetherTheTwoClustersInMemoryAreLeft) {
  PutWrapped(100);
  OpenReadOnly(100);
  GoOn(100, kRingClusters, 401010);
  EXPECT_EQ(Find(300000), 99);
  EXPECT_EQ(Find(401000), 100);
  EXPECT_EQ(store_.InitialReadLocation(), 99 * 4096);
}

TEST_F(TickSearchBesideARecorder, AtMost15MoreClustersAreReadForIt) {
  PutWrapped(100);
  OpenReadOnly(100);
  GoOn(100, 3, 401010);
  std::size_t most = 0;
  for (unsigned int tick = 900; tick < 402000; tick += 997) {
    files_.ClearOperations();
    Find(tick);
    most = std::max(most, ClustersRead().size());
  }
  EXPECT_LE(most, 17U + 15U);
}

// ---- Any ring --------------------------------------------------------------------

// A ring as numbers: the first tick of every cluster, and which the newest is.
struct Layout {
  std::vector<std::uint32_t> st = std::vector<std::uint32_t>(kRingClusters, 0xFFFFFFFF);
  int current = 0;
  std::vector<bool> unreadable = std::vector<bool>(kRingClusters, false);

  std::uint32_t Tick(int cluster) const {
    const auto c = static_cast<std::size_t>(cluster);
    return unreadable[c] && cluster != current ? kUnreadable : st[c];
  }
  // Oldest to newest, as the search sees them.
  std::vector<int> InOrder() const {
    const int behind = (current + 1) % 32768;
    std::vector<int> order;
    for (int c = Tick(behind) == kUnreadable ? 0 : behind; c != current; c = (c + 1) % 32768)
      order.push_back(c);
    order.push_back(current);
    return order;
  }
};

class AnyRing : public TickSearch {
 protected:
  AnyRing() { host::SetLogLevel(0); }

  unsigned int Draw(unsigned int below) { return static_cast<unsigned int>(random_() % below); }

  // Young, full and about to wrap, or wrapped; often with equal first ticks.
  Layout DrawLayout() {
    Layout ring;
    const unsigned int shape = Draw(4);
    const std::size_t written = shape == 0 ? 1 + Draw(40) : shape == 1 ? 1 + Draw(32767) : 32768;
    ring.current = static_cast<int>(shape == 3 ? Draw(32767) : written - 1);
    const unsigned int most_apart = std::vector<unsigned int>{2, 3, 20, 60000}[Draw(4)];
    std::uint32_t tick = Draw(2000000000);
    const auto first = written < kRingClusters ? 0 : static_cast<std::size_t>(ring.current) + 1;
    for (std::size_t i = 0; i < written; ++i) {
      ring.st[(first + i) % kRingClusters] = tick;
      tick += Draw(most_apart);
    }
    return ring;
  }
  void Put(const Layout& ring) {
    PutEmptyPair();
    files_.PutBlocks(kFile1, 0, kRingClusters, [&](std::size_t c) { return Header(ring.st[c]); });
    files_.CopyContent(kFile1, kFile2);
  }
  // One in `in`, except the two that are in memory.
  std::vector<std::size_t> DrawClusters(unsigned int in) {
    std::vector<std::size_t> drawn;
    for (std::size_t c = 0; c < kRingClusters; ++c) {
      const int cluster = static_cast<int>(c);
      if (Draw(in) == 0 && cluster != store_.CurrentCluster() &&
          cluster != store_.PreviousCluster())
        drawn.push_back(c);
    }
    return drawn;
  }
  // First ticks of the ring, their neighbours, and others.
  unsigned int DrawTick(const Layout& ring) {
    const std::uint32_t some = ring.st[Draw(kRingClusters)];
    return Draw(10) == 0 ? static_cast<unsigned int>(random_()) : some + Draw(3) - 1;
  }

  // What a look at every cluster, from the oldest to the newest, says.
  static void ExpectRight(const Layout& ring, unsigned int tick, int found) {
    const std::vector<int> order = ring.InOrder();
    if (tick <= ring.Tick(order.front())) {
      EXPECT_EQ(found, order.front());
    } else if (tick >= ring.Tick(order.back())) {
      EXPECT_EQ(found, order.back());
    } else {
      const auto at = std::find(order.begin(), order.end() - 1, found);
      ASSERT_NE(at, order.end() - 1) << found;
      EXPECT_LE(ring.Tick(found), tick);
      // With the tick itself any cluster that begins with it will do. Otherwise
      // no later one could be meant, or none that can be read.
      EXPECT_TRUE(ring.Tick(found) == tick || ring.Tick(*(at + 1)) > tick) << found;
    }
  }
  // Mending a damaged copy takes a look at the cluster's neighbours.
  static constexpr std::size_t kNeighbours = 2;

  void ExpectSearchesRight(const Layout& ring, int searches, std::size_t damaged = 0) {
    ASSERT_EQ(store_.CurrentCluster(), ring.current);
    for (int i = 0; i < searches && !HasFailure(); ++i) {
      const unsigned int tick = DrawTick(ring);
      SCOPED_TRACE(tick);
      files_.ClearOperations();
      ExpectRight(ring, tick, Find(tick));
      EXPECT_LE(ClustersRead().size(), 17U + kNeighbours * damaged);
    }
  }

  // With sanitizers a quarter of them.
  static constexpr unsigned int kLayouts = kSanitized ? 6 : 24;
  std::mt19937 random_;
};

TEST_F(AnyRing, GivesWhatALookAtEveryClusterGives) {
  for (unsigned int seed = 0; seed < kLayouts && !HasFailure(); ++seed) {
    SCOPED_TRACE(seed);
    random_.seed(seed);
    const Layout ring = DrawLayout();
    Put(ring);
    ASSERT_EQ(store_.Open(), 1);
    ExpectSearchesRight(ring, 60);
    store_.Close();
  }
}

TEST_F(AnyRing, GivesTheSameWithClustersDamagedInOneFile) {
  for (unsigned int seed = 0; seed < kLayouts / 2 && !HasFailure(); ++seed) {
    SCOPED_TRACE(seed);
    random_.seed(seed);
    const Layout ring = DrawLayout();
    Put(ring);
    ASSERT_EQ(store_.Open(), 1);
    for (const std::size_t c : DrawClusters(5))
      PutCluster(c % 2 == 0 ? kFile1 : kFile2, c, Damaged());
    ExpectSearchesRight(ring, 60, 5);
    store_.Close();
  }
}

TEST_F(AnyRing, StopsBelowAClusterThatCannotBeRead) {
  for (unsigned int seed = 0; seed < kLayouts / 2 && !HasFailure(); ++seed) {
    SCOPED_TRACE(seed);
    random_.seed(seed);
    Layout ring = DrawLayout();
    Put(ring);
    ASSERT_EQ(store_.Open(), 1);
    for (const std::size_t c : DrawClusters(10)) {
      ring.unreadable[c] = true;
      PutInBoth(c, Damaged());
    }
    ExpectSearchesRight(ring, 60);
    store_.Close();
  }
}

}  // namespace
}  // namespace vmr
