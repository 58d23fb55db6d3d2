// The search for the cluster written last.
#include <errno.h>

#include <algorithm>

#include "backends/file_store.h"
#include "tests/backends/ring_fixture.h"

namespace vmr {
namespace {

using namespace test;

constexpr unsigned int kNever = 0xFFFFFFFF;
constexpr unsigned int kNoTickYet = 0xFFFFFFFE;

// The first ticks of a ring's clusters.
using Ring = std::vector<unsigned int>;

Ring EmptyOf(std::size_t count) { return Ring(count, kNever); }

// Clusters 0 to `newest` written, the others never.
Ring Unwrapped(std::size_t count, std::size_t newest) {
  Ring ring = EmptyOf(count);
  for (std::size_t c = 0; c <= newest; ++c) ring[c] = static_cast<unsigned int>(1000 + 2 * c);
  return ring;
}

// All written, `newest` last.
Ring Wrapped(std::size_t count, std::size_t newest) {
  Ring ring(count);
  for (std::size_t c = 0; c < count; ++c)
    ring[c] = static_cast<unsigned int>(1000 + 2 * (c <= newest ? c + count : c));
  return ring;
}

// Reads the whole ring from its first cluster on, until the ticks drop or end.
std::size_t NewestByLinearScan(const Ring& ring) {
  std::size_t newest = 0;
  while (newest + 1 < ring.size() && ring[newest + 1] != kNever && ring[newest + 1] >= ring[newest])
    ++newest;
  return newest;
}

class LastPosition : public RingTest {
 protected:
  LastPosition() : buffer_(4096) {}

  // Puts the ring on file, one byte of payload per cluster, and opens it.
  void Start(const Ring& ring, int cluster_size = 64) {
    cluster_size_ = cluster_size;
    count_ = static_cast<int>(ring.size());
    if (cluster_size == 4096) {
      files_.PutFile(kFile1, {});
      files_.PutBlocks(kFile1, 0, ring.size(), [&](std::size_t c) { return Image(ring[c]); });
    } else {
      files_.PutFile(kFile1, Packed(ring));
    }
    file_.Close();
    ASSERT_EQ(file_.StartFile(kBase, buffer_.data(), count_, cluster_size, 1), 1);
    files_.ClearOperations();
    log_.Clear();
  }
  void StartFullSize(const Ring& ring) { Start(ring, 4096); }
  int Find() { return file_.FindLastPosition(count_, cluster_size_, buffer_.data()); }

  void ExpectFound(int newest, unsigned int newest_st, int oldest, unsigned int oldest_st) {
    EXPECT_EQ(file_.NewestCluster(), newest);
    EXPECT_EQ(file_.NewestSt(), newest_st);
    EXPECT_EQ(file_.OldestCluster(), oldest);
    EXPECT_EQ(file_.OldestSt(), oldest_st);
    EXPECT_EQ(file_.NewestSize(), newest_st == kNever ? 7 : 8);
  }
  void ExpectLinearResult(const Ring& ring) {
    ASSERT_EQ(Find(), 1);
    const std::size_t newest = NewestByLinearScan(ring);
    const std::size_t oldest = (newest + 1) % ring.size();
    ExpectFound(static_cast<int>(newest), ring[newest], static_cast<int>(oldest), ring[oldest]);
  }
  void ExpectNothingFoundYet() { ExpectFields(-1, 0, -1, 0, 0); }
  void ExpectFields(int newest, unsigned int newest_st, int oldest, unsigned int oldest_st,
                    int size) {
    EXPECT_EQ(file_.NewestCluster(), newest);
    EXPECT_EQ(file_.NewestSt(), newest_st);
    EXPECT_EQ(file_.OldestCluster(), oldest);
    EXPECT_EQ(file_.OldestSt(), oldest_st);
    EXPECT_EQ(file_.NewestSize(), size);
  }

  static Bytes Image(unsigned int st) {
    return st == kNever ? NeverWritten() : ClusterImage(st, B("84"));
  }
  Bytes Packed(const Ring& ring) const {
    Bytes bytes;
    for (const unsigned int st : ring) {
      const Bytes image = Image(st);
      bytes.insert(bytes.end(), image.begin(), image.begin() + cluster_size_);
    }
    return bytes;
  }

  FileStore file_{1};
  Bytes buffer_;
  int count_ = 0;
  int cluster_size_ = 0;
};

TEST_F(LastPosition, IsUnknownInANewObject) { ExpectNothingFoundYet(); }

TEST_F(LastPosition, OfAnEmptyFileIsClusterZero) {
  Start(EmptyOf(8));
  ASSERT_EQ(Find(), 1);
  ExpectFound(0, kNever, 7, kNever);
  EXPECT_TRUE(FileLogged(32, "Empty file store; cache depth 2"));
  EXPECT_TRUE(
      FileLogged(128, "file (/m/r_1.mtd) first 0 fistST 4294967295, last 7 lastST 4294967295"));
}

TEST_F(LastPosition, OfAPartlyCompletedWrapIsTheLastCluster) {
  Ring ring = Wrapped(8, 7);
  ring[0] = kNoTickYet;
  Start(ring);
  ASSERT_EQ(Find(), 1);
  ExpectFound(7, ring[7], 1, ring[1]);
  EXPECT_TRUE(FileLogged(32, "File store partial wrap; cache depth 3"));
}

TEST_F(LastPosition, OfAFullRingAboutToWrapIsTheLastCluster) {
  Start(Wrapped(8, 7));
  ASSERT_EQ(Find(), 1);
  ExpectFound(7, 1000 + 2 * 15, 0, 1000 + 2 * 8);
  EXPECT_TRUE(FileLogged(32, "File store ready to wrap; cache depth 2"));
  EXPECT_TRUE(FileLogged(128, "file (/m/r_1.mtd) first 0 fistST 1016, last 7 lastST 1030"));
}

TEST_F(LastPosition, OfAWrappedRingIsWhereTheTicksDrop) {
  Start(Wrapped(8, 3));
  ASSERT_EQ(Find(), 1);
  ExpectFound(3, 1022, 4, 1008);
  EXPECT_TRUE(FileLogged(32, "cache depth 5: first 3 firstST 1022 last 4 lastST 1008"));
}

TEST_F(LastPosition, OfARingNotYetWrappedIsWhereTheWrittenPartEnds) {
  Start(Unwrapped(8, 4));
  ASSERT_EQ(Find(), 1);
  ExpectFound(4, 1008, 5, kNever);
  EXPECT_TRUE(FileLogged(32, "cache depth 5: first 4 firstST 1008 last 5 lastST 4294967295"));
}

TEST_F(LastPosition, EveryStepUpIsTraced) {
  Start(Unwrapped(8, 4));
  ASSERT_EQ(Find(), 1);
  EXPECT_TRUE(FileLogged(128,
                         "Search: first: cluster(3), sysTick(1006) - last: cluster(7), "
                         "sysTick(4294967295)"));
  EXPECT_TRUE(FileLogged(128,
                         "Search: first: cluster(4), sysTick(1008) - last: cluster(5), "
                         "sysTick(4294967295)"));
}

TEST_F(LastPosition, OfOneWrittenClusterIsThatCluster) {
  Start(Unwrapped(8, 0));
  ASSERT_EQ(Find(), 1);
  ExpectFound(0, 1000, 1, kNever);
}

TEST_F(LastPosition, OfAFileOfOneWrittenClusterIsAnError) {
  Start(Unwrapped(1, 0));
  EXPECT_EQ(Find(), 0);
  EXPECT_TRUE(FileLogged(2, "Error in searching first and last clusters"));
  ExpectNothingFoundYet();
}

TEST_F(LastPosition, OfAFileOfOneNeverWrittenClusterIsThatCluster) {
  Start(EmptyOf(1));
  ASSERT_EQ(Find(), 1);
  ExpectFound(0, kNever, 0, kNever);
}

TEST_F(LastPosition, AgreesWithALinearScanForEveryUnwrappedRing) {
  for (std::size_t count = 2; count <= 24; ++count)
    for (std::size_t newest = 0; newest + 1 < count; ++newest) {
      SCOPED_TRACE(testing::Message() << count << " clusters, newest " << newest);
      const Ring ring = Unwrapped(count, newest);
      Start(ring);
      ExpectLinearResult(ring);
    }
}

TEST_F(LastPosition, AgreesWithALinearScanForEveryWrappedRing) {
  for (std::size_t count = 2; count <= 24; ++count)
    for (std::size_t newest = 0; newest < count; ++newest) {
      SCOPED_TRACE(testing::Message() << count << " clusters, newest " << newest);
      const Ring ring = Wrapped(count, newest);
      Start(ring);
      ExpectLinearResult(ring);
    }
}

TEST_F(LastPosition, AgreesWithALinearScanWhereNeighboursShareATick) {
  for (std::size_t count = 3; count <= 12; ++count)
    for (std::size_t newest = 0; newest < count; ++newest) {
      SCOPED_TRACE(testing::Message() << count << " clusters, newest " << newest);
      Ring ring = Wrapped(count, newest);
      for (unsigned int& st : ring) st = st / 4 * 4;
      if (ring[newest] == ring[(newest + 1) % count]) continue;  // no drop to be found
      Start(ring);
      ExpectLinearResult(ring);
    }
}

TEST_F(LastPosition, TicksAreComparedUnsigned) {
  Ring ring = Unwrapped(8, 4);
  for (std::size_t c = 0; c <= 4; ++c) ring[c] = 0x7FFFFFFE + static_cast<unsigned int>(c);
  Start(ring);
  ASSERT_EQ(Find(), 1);
  ExpectFound(4, 0x80000002, 5, kNever);
}

TEST_F(LastPosition, ANewestClusterWithoutATickYetIsFound) {
  Ring ring = Wrapped(16, 9);
  ring[9] = kNoTickYet;
  Start(ring);
  ASSERT_EQ(Find(), 1);
  ExpectFound(9, kNoTickYet, 10, ring[10]);
}

TEST_F(LastPosition, ALastTickAtTheLimitStillCountsAsReadyToWrap) {
  Ring ring = Wrapped(8, 7);
  ring[7] = 0xFFFFFFFC;
  Start(ring);
  ASSERT_EQ(Find(), 1);
  ExpectFound(7, 0xFFFFFFFC, 0, ring[0]);
}

TEST_F(LastPosition, AnUnreadableFirstOrLastClusterEndsTheSearch) {
  for (const long cluster : {0L, 7L}) {
    Start(Wrapped(8, 3));
    files_.FlipByte(kFile1, cluster * 64);
    EXPECT_EQ(Find(), 0);
    EXPECT_TRUE(FileLogged(2,
                           "Invalid Cluster found during searching file (/m/r_1.mtd). Quitting "
                           "search."));
    ExpectNothingFoundYet();
  }
}

TEST_F(LastPosition, AnUnreadableProbeEndsTheSearch) {
  Start(Wrapped(8, 5));
  files_.FlipByte(kFile1, 3 * 64);  // the first one in the middle
  EXPECT_EQ(Find(), 0);
  EXPECT_TRUE(FileLogged(2,
                         "Invalid Cluster found during searching file (/m/r_1.mtd). Quitting "
                         "search."));
  ExpectNothingFoundYet();
}

TEST_F(LastPosition, AnUnreadableClusterThatIsNotProbedDoesNotMatter) {
  const Ring ring = Wrapped(8, 5);
  Start(ring);
  files_.FlipByte(kFile1, 2 * 64);
  ExpectLinearResult(ring);
}

TEST_F(LastPosition, AFailedSearchKeepsWhatAnEarlierOneFound) {
  Start(Wrapped(8, 5));
  ASSERT_EQ(Find(), 1);
  files_.FailFromNowOn(FileOp::kRead, kFile1, EIO);
  EXPECT_EQ(Find(), 0);
  ExpectFields(5, 1026, 6, 1012, 8);
}

TEST_F(LastPosition, TheSearchReadsAfreshWhatEarlierSearchesCached) {
  Start(Unwrapped(8, 2));
  ASSERT_EQ(Find(), 1);
  const Bytes image = Image(1006);
  Bytes cluster(image.begin(), image.begin() + 64);
  ASSERT_EQ(file_.WriteCluster(64, cluster.data(), 3), 1);
  ASSERT_EQ(Find(), 1);
  EXPECT_EQ(file_.NewestCluster(), 3);
}

// ---- The ring as it is used --------------------------------------------------------

TEST_F(LastPosition, OfARealRingTakesAboutFifteenReads) {
  const std::vector<Ring> rings = {Unwrapped(kRingClusters, 0), Unwrapped(kRingClusters, 12345),
                                   Wrapped(kRingClusters, 0), Wrapped(kRingClusters, 20000)};
  for (const Ring& ring : rings) {
    StartFullSize(ring);
    ExpectLinearResult(ring);
    EXPECT_GE(files_.Count(FileOp::kRead), 15);
    EXPECT_LE(files_.Count(FileOp::kRead), 2 + 15);  // both ends, then the halving
  }
}

TEST_F(LastPosition, OfARingWhoseClusterZeroWasOverwrittenAfterAWrapIsClusterZero) {
  StartFullSize(Wrapped(kRingClusters, 0));
  ASSERT_EQ(Find(), 1);
  ExpectFound(0, 1000 + 2 * 32768, 1, 1002);
  EXPECT_LE(files_.Count(FileOp::kRead), 17);
}

TEST_F(LastPosition, NeedsNoSearchInAnEmptyOrFullRealRing) {
  for (const Ring& ring : {EmptyOf(kRingClusters), Wrapped(kRingClusters, 32767)}) {
    StartFullSize(ring);
    ASSERT_EQ(Find(), 1);
    EXPECT_EQ(files_.Count(FileOp::kRead), 2);
  }
}

TEST_F(LastPosition, RereadingTheLowerBoundIsServedFromTheCache) {
  StartFullSize(Unwrapped(kRingClusters, 12345));
  ASSERT_EQ(Find(), 1);
  std::vector<long> offsets;
  for (const Operation& operation : files_.Operations())
    if (operation.op == FileOp::kRead) offsets.push_back(operation.offset);
  std::sort(offsets.begin(), offsets.end());
  EXPECT_EQ(std::adjacent_find(offsets.begin(), offsets.end()), offsets.end());
  EXPECT_TRUE(FileLogged(128, "Found cluster (0) in cache"));
}

}  // namespace
}  // namespace vmr
