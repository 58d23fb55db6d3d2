// What happens when the ticks of a ring fall: because 32 bits of them have run
// out, or because a unit counts from the beginning at every power-up. All
// comparisons of ticks in the search for the newest cluster are plain unsigned
// ones, so it takes the place of the fall for the end of the recording.
#include <memory>
#include <vector>

#include "tests/backends/ring_fixture.h"
#include "tests/support/store_fixture.h"

namespace vmr {
namespace {

using namespace test;
using ::testing::ElementsAre;

using Ticks = std::vector<unsigned int>;

// The last tick but a few before the counter wraps.
constexpr unsigned int kBeforeWrap = 0xFFFFFF00;

class TickWrap : public RingTest {
 protected:
  // A pair of files whose clusters 0 .. hold a packet each, of these ticks; the
  // clusters behind them were never written.
  void PutRing(const Ticks& ticks) {
    PutEmptyPair();
    for (std::size_t c = 0; c < ticks.size(); ++c)
      PutInBoth(c, ClusterImage(ticks[c], PacketAt(ticks[c], 262)));
  }
  // The same with every other cluster written earlier, from tick 1000 on.
  void PutWrappedRing(const Ticks& ticks) {
    files_.PutFile(kFile1, {});
    files_.PutBlocks(kFile1, 0, kRingClusters, [&](std::size_t c) {
      const unsigned int tick =
          c < ticks.size() ? ticks[c] : static_cast<unsigned int>(1000 + c - ticks.size());
      return ClusterImage(tick, PacketAt(tick, 262));
    });
    files_.PutFile(kFile2, {});
    files_.CopyContent(kFile1, kFile2);
  }

  void Open() {
    store_ = std::make_unique<DataStoreNormal>(kBase);
    ASSERT_EQ(store_->Open(), 1);
  }
  void Restart() {
    store_.reset();
    Open();
  }
  // Packets of 262 bytes, 15 of which fill a cluster.
  void Record(const Ticks& ticks) {
    for (const unsigned int tick : ticks) ASSERT_EQ(WriteTick(*store_, tick, 262), 1);
  }
  // What a reader of the whole store meets.
  Ticks Listed() { return TicksOf(ReadStream(*store_, store_->InitialReadLocation())); }

  void ExpectResumed(int cluster, unsigned int tick) {
    EXPECT_EQ(store_->CurrentCluster(), cluster);
    EXPECT_EQ(store_->GetCurrentSystemTick(), tick);
  }

  std::unique_ptr<DataStoreNormal> store_;
};

Ticks From(unsigned int first, std::size_t count) {
  Ticks ticks;
  for (std::size_t i = 0; i < count; ++i) ticks.push_back(first + static_cast<unsigned int>(i));
  return ticks;
}

Ticks operator+(Ticks a, const Ticks& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

// ---- Without a restart -----------------------------------------------------------

TEST_F(TickWrap, WhileTheStoreStaysOpenNothingIsLost) {
  PutRing(From(kBeforeWrap, 3));
  Open();
  const Ticks recorded = From(0xFFFFFFC0, 61) + From(0, 60);
  Record(recorded);
  EXPECT_EQ(Listed(), From(kBeforeWrap, 3) + recorded);
}

// ---- A restart in a ring that has not come round -----------------------------------

// Ticks up to the wrap in clusters 0 to 3, from 0 on in clusters 4 to 6.
const Ticks kAroundTheWrap = From(kBeforeWrap, 4) + From(10, 3);

TEST_F(TickWrap, ARestartResumesInTheLastClusterBeforeTheWrap) {
  PutRing(kAroundTheWrap);
  Open();
  ExpectResumed(3, kBeforeWrap + 3);
}

TEST_F(TickWrap, ARestartListsOnlyWhatCameAfterTheWrap) {
  PutRing(kAroundTheWrap);
  Open();
  EXPECT_EQ(Listed(), From(10, 3));
}

TEST_F(TickWrap, AfterARestartWhatCameAfterTheWrapIsWrittenOver) {
  PutRing(kAroundTheWrap);
  Open();
  Record(From(100, 15));  // 14 packets fill cluster 3, the last begins cluster 4
  EXPECT_EQ(store_->CurrentCluster(), 4);
  EXPECT_EQ(Listed(), From(11, 2)) << "and the new run is not listed before it has passed them";
  Record(From(200, 15 * 3));
  EXPECT_EQ(store_->CurrentCluster(), 7);
  EXPECT_EQ(Listed(), From(kBeforeWrap, 4) + From(100, 15) + From(200, 15 * 3));
}

TEST_F(TickWrap, EveryRestartGoesBackToTheSameClusterAgain) {
  PutRing(kAroundTheWrap);
  Open();
  Record(From(100, 60));
  Restart();
  ExpectResumed(3, 113);  // 14 packets were added to it
  Record(From(300, 30));
  Restart();
  ExpectResumed(3, 113);
}

// ---- A restart in a ring that has come round ---------------------------------------

TEST_F(TickWrap, InAWrappedRingARestartListsEverythingWithTheNewestFirst) {
  PutWrappedRing(From(kBeforeWrap, 4) + From(10, 3));
  Open();
  ExpectResumed(3, kBeforeWrap + 3);
  const Ticks listed = Listed();
  ASSERT_EQ(listed.size(), kRingClusters);
  EXPECT_EQ(Ticks(listed.begin(), listed.begin() + 5), From(10, 3) + From(1000, 2));
  EXPECT_EQ(Ticks(listed.end() - 4, listed.end()), From(kBeforeWrap, 4));
}

TEST_F(TickWrap, AWrapAtTheRingsEndIsNoDifferent) {
  PutEmptyPair();
  files_.PutBlocks(kFile1, 0, kRingClusters, [](std::size_t c) {
    const auto tick = static_cast<unsigned int>(c < 3 ? 10 + c : kBeforeWrap - kRingClusters + c);
    return ClusterImage(tick, PacketAt(tick, 262));
  });
  files_.CopyContent(kFile1, kFile2);
  Open();
  EXPECT_EQ(store_->CurrentCluster(), 32767) << "clusters 0 to 2 are newer";
}

// ---- Looking for a tick ---------------------------------------------------------------

TEST_F(TickWrap, WhileTheStoreStaysOpenNeitherSideOfTheWrapIsFound) {
  PutWrappedRing(From(kBeforeWrap, 4));
  Open();
  Record(From(10, 60));
  EXPECT_EQ(store_->CurrentCluster(), 7);
  EXPECT_EQ(store_->FindSystemTick(30), 8) << "the oldest, as for a tick before all";
  EXPECT_EQ(store_->FindSystemTick(kBeforeWrap + 1), 7) << "the newest, as for one after all";
}

TEST_F(TickWrap, AfterARestartOnlyTicksAfterTheWrapAreFound) {
  PutRing(kAroundTheWrap);
  Open();
  EXPECT_EQ(store_->FindSystemTick(11), 5);
  EXPECT_EQ(store_->FindSystemTick(kBeforeWrap + 1), 6) << "the last after the wrap";
}

TEST_F(TickWrap, AfterARestartInAWrappedRingEveryTickIsFound) {
  PutWrappedRing(kAroundTheWrap);
  Open();
  EXPECT_EQ(store_->FindSystemTick(11), 5);
  EXPECT_EQ(store_->FindSystemTick(2000), 1007);
  EXPECT_EQ(store_->FindSystemTick(kBeforeWrap + 1), 1);
}

// ---- Healing ------------------------------------------------------------------------

// The ring as a run leaves it that went on from the wrap in cluster 3 for more
// than a lap: `left` clusters of ticks before the wrap are still there.
class AfterALap : public TickWrap, public ::testing::WithParamInterface<std::size_t> {
 protected:
  void PutLapped(std::size_t left) {
    PutEmptyPair();
    files_.PutBlocks(kFile1, 0, kRingClusters, [&](std::size_t c) {
      const std::size_t newest = 3 - left;
      unsigned int tick = static_cast<unsigned int>(10 + c);
      if (c <= newest) tick = static_cast<unsigned int>(10 + kRingClusters + c);
      if (c > newest && c <= 3) tick = static_cast<unsigned int>(kBeforeWrap + c);
      return ClusterImage(tick, PacketAt(tick, 262));
    });
    files_.CopyContent(kFile1, kFile2);
  }
};

TEST_P(AfterALap, OneClusterOfOldTicksIsEnoughToResumeBehindIt) {
  PutLapped(GetParam());
  Open();
  ExpectResumed(3, kBeforeWrap + 3);
}
INSTANTIATE_TEST_SUITE_P(TickWrap, AfterALap, ::testing::Values(1, 2, 3));

TEST_F(AfterALap, WithoutOldTicksTheNewestClusterIsFoundAgain) {
  PutLapped(0);
  Open();
  ExpectResumed(3, 10 + kRingClusters + 3);
}

// ---- The ticks that a cluster cannot begin with ---------------------------------------

// 0xFFFFFFFD is what the search takes for a cluster that cannot be read.
TEST_F(TickWrap, AClusterThatBeginsThreeTicksBeforeTheWrapCostsTheHistory) {
  PutRing(From(kBeforeWrap, 3) + Ticks{0xFFFFFFFD} + From(10, 3));
  Open();
  EXPECT_TRUE(Logged(2, "Unable to find last position in both Metadata files. Recreating files"));
  ExpectResumed(0, 0);
  EXPECT_THAT(Listed(), ElementsAre());
  EXPECT_TRUE(files_.Exists("/m/r_1.mtd.CORRUPT"));
}

TEST_F(TickWrap, AClusterThatBeginsWithTheLastTickOfAllReadsAsNeverWritten) {
  PutRing(From(kBeforeWrap, 3));
  Open();
  Record({0xFFFFFFF0});
  PutInBoth(3, ClusterImage(0xFFFFFFFF, PacketAt(0xFFFFFFFF, 262)));
  Restart();
  ExpectResumed(2, 0xFFFFFFF0);
}

// ---- Events around the wrap ----------------------------------------------------------

class EventsAroundTheWrap : public StoreTest {};

// The timer at 0xFFFFFFF0, and nothing waits. Then an event behind the wrap: the
// store takes it for one of long ago, and the ticks back for 0xE6 of them.
TEST_F(EventsAroundTheWrap, AnEventBeforeTheFirstTimerTickAfterTheWrapGetsAnAdjustment) {
  TickAt(0xFFFFFFF0);
  store.ReportBookmark(10);
  EXPECT_EQ(Items(), B("21 E6 56"));
}

TEST_F(EventsAroundTheWrap, AnEventAfterThatTimerTickGetsNone) {
  TickAt(0xFFFFFFF0);
  TickAt(9);
  store.ReportBookmark(10);
  EXPECT_EQ(Items(), B("56"));
}

TEST_F(EventsAroundTheWrap, TheFirstPacketAfterItCarriesTheWholeTick) {
  TickAt(0xFFFFFFF0);
  store.ReportBookmark(0xFFFFFFF1);
  TickAt(0xFFFFFFF1);
  store.ReportBookmark(2);
  store.packets.clear();
  TickAt(2);
  ASSERT_EQ(store.packets.size(), 1u);
  EXPECT_EQ(store.packets[0].bytes[0], 0x80);
}

// ---- Ticks that begin again at every power-up ------------------------------------------

TEST_F(TickWrap, ARunThatCountsFromOneAgainHidesWhatWasBefore) {
  PutRing(From(5000, 4));
  Open();
  Record(From(1, 60));  // the first 14 into cluster 3
  EXPECT_EQ(Listed(), From(5000, 4) + From(1, 60));
  Restart();
  ExpectResumed(3, 14);
  // The last packet stands in one file alone, and nobody knows in which.
  EXPECT_EQ(Listed(), From(15, 45));
}

TEST_F(TickWrap, TheRunAfterItIsWrittenOverIt) {
  PutRing(From(5000, 4));
  Open();
  Record(From(1, 60));
  Restart();
  Record(From(1, 16));
  Restart();
  ExpectResumed(3, 14);
  const Ticks listed = Listed();
  ASSERT_GE(listed.size(), 15u);
  EXPECT_EQ(Ticks(listed.begin(), listed.begin() + 15), From(1, 15)) << "in place of 15 to 29";
}

}  // namespace
}  // namespace vmr
