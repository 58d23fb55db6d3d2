// Opening a ring whose two files do not say the same, or cannot be read at once.
#include <errno.h>

#include <tuple>

#include "tests/backends/ring_fixture.h"

namespace vmr {
namespace {

using namespace test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;

using Ticks = std::vector<unsigned int>;

// A continuation of `length` bytes in all (5..258): its CRC leaves the last two
// item bytes out.
Bytes Continuation(std::size_t length, unsigned char filler = 0x11) {
  Bytes packet = Bytes{0x82, static_cast<unsigned char>(length - 3)} + Repeat(filler, length - 3);
  packet.push_back(ReferenceCrc(packet, 0, length - 3));
  return packet;
}

Bytes Continuations(int count, unsigned char filler = 0x11) {
  Bytes bytes;
  for (int n = 0; n < count; ++n) bytes = bytes + Continuation(258, filler);
  return bytes;
}

class RingOpening : public RingTest {
 protected:
  static constexpr char kAside2[] = "/m/r_2.mtd.CORRUPT";

  int Open() {
    files_.ClearOperations();
    log_.Clear();
    return store_.Open();
  }
  Ticks AllTicks() { return TicksOf(ReadStream(store_, store_.InitialReadLocation())); }
  // The payload of the clusters from one on.
  Bytes From(int cluster) { return ReadStream(store_, cluster * 4096L); }
  std::vector<std::string> Writes() const { return files_.Trace({FileOp::kWrite}); }
  void ExpectOpenedAt(int current, unsigned int tick) {
    EXPECT_EQ(store_.CurrentCluster(), current);
    EXPECT_EQ(store_.GetCurrentSystemTick(), tick);
  }
  const char* Twin(const std::string& file) { return file == kFile1 ? kFile2 : kFile1; }

  // A full ring, the clusters up to `newest` of a second lap.
  void PutSecondLap(std::size_t newest) {
    PutPairWith(kRingClusters);
    for (std::size_t c = 0; c <= newest; ++c) PutInBoth(c, OfSecondLap(c));
  }
  static Bytes OfSecondLap(std::size_t cluster) {
    const auto tick = static_cast<std::uint32_t>(50000 + cluster);
    return ClusterImage(tick, PacketAt(tick));
  }

  DataStoreNormal store_{kBase};
};

// ---- A newest cluster that one file alone has ----------------------------------------

// Which file has it, whether the ring has come round, what fails.
class SoleNewest : public RingOpening,
                   public ::testing::WithParamInterface<std::tuple<std::string, bool, FileOp>> {
 protected:
  // Cluster 5 is the newest, of tick 70000.
  void Put() {
    if (SecondLap())
      PutSecondLap(4);
    else
      PutPairWith(5);
    PutCluster(Holder(), 5, Newest());
    // How often the search and what comes before the loading do it.
    ASSERT_EQ(Open(), 1);
    ExpectOpenedAt(5, 70000);
    loading_ = SearchCalls() + 1;
    store_.Close();
  }
  int SearchCalls() const { return 17; }
  static Bytes Newest() { return ClusterImage(70000, PacketAt(70000)); }
  std::string Holder() const { return std::get<0>(GetParam()); }
  bool SecondLap() const { return std::get<1>(GetParam()); }
  FileOp Failing() const { return std::get<2>(GetParam()); }

  int loading_ = 0;  // the call that loads the newest cluster
};

TEST_P(SoleNewest, IsReadAgainWhenThatFailsOnce) {
  Put();
  files_.FailOnce(Failing(), Holder(), EIO, loading_);
  ASSERT_EQ(Open(), 1);
  ExpectOpenedAt(5, 70000);
  EXPECT_THAT(Writes(), IsEmpty());
  EXPECT_EQ(files_.ReadBlock(Holder(), 5), Newest());
}

TEST_P(SoleNewest, IsNeverReplacedByWhatTheOtherFileHasThere) {
  Put();
  const Bytes other = files_.ReadBlock(Twin(Holder()), 5);
  files_.FailFromNowOn(Failing(), Holder(), EIO, loading_);
  ASSERT_EQ(Open(), 1);
  ExpectOpenedAt(4, SecondLap() ? 50004 : 1004);
  EXPECT_EQ(files_.ReadBlock(Holder(), 5), Newest());
  EXPECT_EQ(files_.ReadBlock(Twin(Holder()), 5), other);
  EXPECT_TRUE(Logged(4, "Cluster 5 of file #" + Holder().substr(5, 1) +
                            " is of no use, going on from the other file"));
  store_.Close();
  files_.ClearFaults();
  ASSERT_EQ(Open(), 1);
  ExpectOpenedAt(5, 70000);
}

INSTANTIATE_TEST_SUITE_P(EitherFileAndLap, SoleNewest,
                         ::testing::Combine(::testing::Values("/m/r_1.mtd", "/m/r_2.mtd"),
                                            ::testing::Bool(),
                                            ::testing::Values(FileOp::kRead, FileOp::kLseek)));

// A write of the other file had failed.
TEST_F(RingOpening, ThePreviousClusterIsReadAgainWhenThatFailsOnce) {
  PutPairWith(5);
  const Bytes whole = ClusterImage(1003, PacketAt(1003) + PacketAt(1003, 50));
  PutCluster(kFile1, 3, whole);
  PutCluster(kFile1, 4, ClusterImage(1004, PacketAt(1004) + PacketAt(1005)));
  files_.FailOnce(FileOp::kRead, kFile1, EIO, 19);
  ASSERT_EQ(Open(), 1);
  EXPECT_EQ(AllTicks(), (Ticks{1000, 1001, 1002, 1003, 1003, 1004, 1005}));
  EXPECT_EQ(files_.ReadBlock(kFile1, 3), whole);
}

TEST_F(RingOpening, AShorterCopyMakesItsFileTheLastWriter) {
  PutPairWith(5);
  const Bytes longer = ClusterImage(1004, PacketAt(1004) + PacketAt(1005));
  PutCluster(kFile1, 4, longer);
  files_.FailFromNowOn(FileOp::kRead, kFile1, EIO, 18);
  ASSERT_EQ(Open(), 1);
  ExpectOpenedAt(4, 1004);
  EXPECT_TRUE(Logged(4, "Cluster 4 of file #1 is of no use, going on from the other file"));
  EXPECT_TRUE(Logged(32, "Last wrote to file #2. Setting next write file to be #1"));
  EXPECT_EQ(files_.ReadBlock(kFile1, 4), longer);
}

TEST_F(RingOpening, AClusterThatWasGivenUpIsNotTheOldestOne) {
  for (const bool second_lap : {false, true}) {
    if (second_lap)
      PutSecondLap(4);
    else
      PutPairWith(5);
    PutCluster(kFile1, 5, ClusterImage(70000, PacketAt(70000)));
    for (const int nth : {18, 19}) files_.FailOnce(FileOp::kRead, kFile1, EIO, nth);
    ASSERT_EQ(Open(), 1);
    ExpectOpenedAt(4, second_lap ? 50004 : 1004);
    EXPECT_EQ(store_.InitialReadLocation(), second_lap ? 6 * 4096 : 0);
    EXPECT_EQ(store_.FindSystemTick(0), second_lap ? 6 : 0);
    store_.Close();
    files_.ClearFaults();
  }
}

TEST_F(RingOpening, ANewestClusterThatBothFilesHaveIsLoadedFromTheOtherAndMended) {
  PutPairWith(5);
  files_.FailOnce(FileOp::kRead, kFile1, EIO, 18);
  files_.FailOnce(FileOp::kRead, kFile1, EIO, 19);
  ASSERT_EQ(Open(), 1);
  ExpectOpenedAt(4, 1004);
  EXPECT_TRUE(Logged(4, "Rewrote Cluster #4 to file-/m/r_1.mtd"));
  EXPECT_THAT(Writes(), ElementsAre("write /m/r_1.mtd 4096@16384"));
}

// What was recorded meanwhile is not lost when the cluster can be read again.
TEST_F(RingOpening, ARecordingThatWentOnWithoutTheNewestClusterIsGoneOnWith) {
  PutPairWith(5);
  PutCluster(kFile1, 5, ClusterImage(70000, PacketAt(70000)));
  files_.FailFromNowOn(FileOp::kRead, kFile1, EIO, 18);
  files_.FailFromNowOn(FileOp::kWrite, kFile1, EIO);
  ASSERT_EQ(Open(), 1);
  for (unsigned int tick = 70001; tick < 70005; ++tick) WriteTick(store_, tick);
  const Ticks recorded = {1000, 1001, 1002, 1003, 1004, 70001, 70002, 70003, 70004};
  EXPECT_EQ(AllTicks(), recorded);
  store_.Close();
  files_.ClearFaults();
  ASSERT_EQ(Open(), 1);
  EXPECT_EQ(AllTicks(), recorded);
}

TEST_F(RingOpening, AClusterBegunAnewMeanwhileWinsOverALargerOne) {
  PutPairWith(5);
  PutCluster(kFile1, 5, ClusterImage(70000, PacketAt(70000, 262)));
  PutCluster(kFile2, 5, ClusterImage(70001, PacketAt(70001, 50)));
  ASSERT_EQ(Open(), 1);
  ExpectOpenedAt(5, 70001);
}

TEST_F(RingOpening, BothCopiesUnreadableFailTheOpening) {
  PutPairWith(5);
  for (const char* const file : {kFile1, kFile2})
    files_.FailFromNowOn(FileOp::kRead, file, EIO, 18);
  EXPECT_EQ(Open(), 0);
  EXPECT_TRUE(Logged(2, "Failed to read current cluster 4"));
}

// Its writes failed for hours.
TEST_F(RingOpening, AFileThatIsFarBehindIsNotGoneOnFrom) {
  PutPairWith(5);
  for (std::size_t c = 5; c < 20; ++c) PutCluster(kFile1, c, OnePacket(c));
  files_.FailFromNowOn(FileOp::kRead, kFile1, EIO, 18);
  EXPECT_EQ(Open(), 0);
  EXPECT_TRUE(Logged(2, "Failed to read current cluster 19"));
  files_.ClearFaults();
  ASSERT_EQ(Open(), 1);
  ExpectOpenedAt(19, 1019);
}

TEST_F(RingOpening, SaysWhichClustersItLoads) {
  PutPairWith(5);
  ASSERT_EQ(Open(), 1);
  for (const char* const text : {"Reading Cluster #4", "Reading Cluster #3", "Reading Cluster #5"})
    EXPECT_EQ(log_.Count(128, "DataStoreNormal.cc", text), 1) << text;
}

// It could not be filled, and tells nothing of where the recording ends.
TEST_F(RingOpening, AnEmptyFileIsNeverGoneOnFrom) {
  PutPairWith(2);
  PutCluster(kFile1, 1, ClusterImage(1001, Repeat(0x41, 40)));
  PutEmptyRing(kFile2);
  files_.FailOnce(FileOp::kSystem, "", ENOSPC);
  ASSERT_EQ(Open(), 1);
  EXPECT_EQ(store_.CurrentCluster(), 1);
  store_.Close();
  files_.FailOnce(FileOp::kSystem, "", ENOSPC);
  files_.FailFromNowOn(FileOp::kRead, kFile1, EIO, 18);
  EXPECT_EQ(Open(), 0);
}

// ---- Repairs -------------------------------------------------------------------------

TEST_F(RingOpening, ACopyIsNotRepairedFromALapBeforeOrFromNothing) {
  for (const bool second_lap : {false, true}) {
    if (second_lap)
      PutSecondLap(8);
    else
      PutPairWith(9);
    // Where no search looks.
    const Bytes old = second_lap ? OnePacket(2) : NeverWritten();
    PutCluster(kFile1, 2, old);
    ASSERT_EQ(Open(), 1);  // file #2 is read first
    files_.FlipByte(kFile2, 2 * 4096 + 20);
    const Bytes damaged = files_.ReadBlock(kFile2, 2);
    Bytes buffer(4096);
    EXPECT_EQ(store_.ReadCluster(buffer.data(), 2), 1);
    EXPECT_EQ(files_.ReadBlock(kFile2, 2), damaged);
    EXPECT_TRUE(Logged(4, "Not rewriting Cluster #2, the other file's copy lacks something"));
    store_.Close();
  }
}

TEST_F(RingOpening, ACopyIsNotRepairedFromAShorterOne) {
  PutPairWith(7);
  ASSERT_EQ(Open(), 1);
  Bytes longer = ClusterImage(1003, PacketAt(1003) + PacketAt(1003));
  longer[30] ^= 1;
  PutCluster(kFile2, 3, longer);
  Bytes buffer(4096);
  EXPECT_EQ(store_.ReadCluster(buffer.data(), 3), 1);
  EXPECT_EQ(files_.ReadBlock(kFile2, 3), longer);
}

TEST_F(RingOpening, ALongerCopyThatCannotBeReadForAMomentStays) {
  PutPairWith(7);
  ASSERT_EQ(Open(), 1);
  const Bytes longer = ClusterImage(1003, PacketAt(1003) + PacketAt(1003));
  PutCluster(kFile2, 3, longer);
  files_.FailOnce(FileOp::kRead, kFile2, EIO);
  Bytes buffer(4096);
  EXPECT_EQ(store_.ReadCluster(buffer.data(), 3), 1);
  EXPECT_EQ(files_.ReadBlock(kFile2, 3), longer);
}

TEST_F(RingOpening, ADamagedSizeDoesNotKeepACopyFromBeingRepaired) {
  PutPairWith(7);
  ASSERT_EQ(Open(), 1);
  files_.FlipByte(kFile2, 3 * 4096 + 5);
  Bytes buffer(4096);
  EXPECT_EQ(store_.ReadCluster(buffer.data(), 3), 1);
  EXPECT_EQ(files_.ReadBlock(kFile2, 3), OnePacket(3));
}

TEST_F(RingOpening, TheClustersInMemoryAreNotRepairedFromACopyThatIsBehind) {
  PutPairWith(5);
  PutCluster(kFile1, 4, ClusterImage(1004, PacketAt(1004) + PacketAt(1005)));
  ASSERT_EQ(Open(), 1);
  WriteTick(store_, 1006);  // file #2 has three packets, file #1 two
  files_.ClearOperations();
  // File #1's turn. Its copy and then the other's: the longest is file #2's.
  Bytes buffer(4096);
  files_.FlipByte(kFile1, 4 * 4096 + 10);
  EXPECT_EQ(store_.ReadCluster(buffer.data(), 4), 1);
  EXPECT_THAT(Writes(), ElementsAre("write /m/r_1.mtd 4096@16384"));
  WriteTick(store_, 1007);  // file #1 has all four
  files_.ClearOperations();
  files_.FlipByte(kFile2, 4 * 4096 + 10);
  EXPECT_EQ(store_.ReadCluster(buffer.data(), 4), 1);
  EXPECT_THAT(Writes(), ElementsAre("write /m/r_2.mtd 4096@16384"));
  WriteTick(store_, 1008);
  WriteTick(store_, 1009);
  files_.ClearOperations();
  // Now the turn is file #2's, and the older copy is file #2's own: damage file #1's.
  PutCluster(kFile1, 4, ClusterImage(1004, PacketAt(1004)));
  files_.FlipByte(kFile2, 4 * 4096 + 10);
  EXPECT_EQ(store_.ReadCluster(buffer.data(), 4), 1);
  EXPECT_THAT(Writes(), IsEmpty());
}

// ---- Two copies that both pass their CRC ---------------------------------------------

// A cluster whose own CRC is right and whose last packet's is not.
Bytes Torn(std::uint32_t st, const Bytes& sound, Bytes torn) {
  torn.back() ^= 0x55;
  return ClusterImage(st, sound + torn);
}

TEST_F(RingOpening, OfTwoCopiesOfTheNewestClusterTheOneWithSoundPacketsIsTaken) {
  for (const std::string torn : {kFile1, kFile2}) {
    PutPairWith(5);
    PutCluster(torn, 4, Torn(1004, PacketAt(1004), PacketAt(1006, 200)));
    PutCluster(Twin(torn), 4, ClusterImage(1004, PacketAt(1004) + PacketAt(1005)));
    ASSERT_EQ(Open(), 1);
    ExpectOpenedAt(4, 1005);
    WriteTick(store_, 1007);
    // The file with the torn copy gets the next write.
    EXPECT_EQ(files_.ReadBlock(torn, 4),
              ClusterImage(1004, PacketAt(1004) + PacketAt(1005) + PacketAt(1007)));
    store_.Close();
  }
}

TEST_F(RingOpening, ATornFirstWriteOfAClusterLeavesTheOneBefore) {
  PutSecondLap(4);
  PutCluster(kFile1, 5, Torn(70000, {}, PacketAt(70000, 200)));
  ASSERT_EQ(Open(), 1);
  ExpectOpenedAt(4, 50004);
  EXPECT_EQ(files_.ReadBlock(kFile1, 5), OnePacket(5)) << "what is left of it misleads no more";
  WriteTick(store_, 70001);
  EXPECT_EQ(files_.ReadBlock(kFile1, 4), ClusterImage(50004, PacketAt(50004) + PacketAt(70001)));
}

TEST_F(RingOpening, ATornFirstWriteInAYoungRingLeavesTheOneBefore) {
  PutPairWith(5);
  PutCluster(kFile1, 5, Torn(70000, {}, PacketAt(70000, 200)));
  ASSERT_EQ(Open(), 1);
  ExpectOpenedAt(4, 1004);
  EXPECT_EQ(AllTicks(), (Ticks{1000, 1001, 1002, 1003, 1004}));
}

TEST_F(RingOpening, ReadingAloneLeavesATornFirstWriteWhereItIs) {
  PutSecondLap(4);
  const Bytes torn = Torn(70000, {}, PacketAt(70000, 200));
  PutCluster(kFile1, 5, torn);
  ASSERT_EQ(store_.OpenReadOnly(), 1);
  ExpectOpenedAt(4, 50004);
  EXPECT_EQ(files_.ReadBlock(kFile1, 5), torn);
  EXPECT_EQ(TicksOf(From(5)).front(), 1005U) << "the oldest, from the other file";
}

TEST_F(RingOpening, WhereNeitherCopyIsSoundTheBiggerOneIsTaken) {
  PutPairWith(5);
  PutCluster(kFile1, 4, Torn(1004, PacketAt(1004), PacketAt(1005)));
  PutCluster(kFile2, 4, Torn(1004, PacketAt(1004), PacketAt(1006, 200)));
  ASSERT_EQ(Open(), 1);
  EXPECT_TRUE(Logged(32, "Last wrote to file #2. Setting next write file to be #1"));
}

TEST_F(RingOpening, AFileThatCannotBeSearchedMayHaveTheBetterCopyOfTheNewestCluster) {
  PutPairWith(5);
  files_.FlipByte(kFile1, 16383L * 4096);
  PutCluster(kFile1, 4, ClusterImage(1004, PacketAt(1004) + PacketAt(1005)));
  ASSERT_EQ(Open(), 1);
  EXPECT_EQ(AllTicks(), (Ticks{1000, 1001, 1002, 1003, 1004, 1005}));
  EXPECT_TRUE(Logged(4, "File #1 has the better copy of cluster 4"));
  EXPECT_TRUE(Logged(32, "Last wrote to file #1. Setting next write file to be #2"));
}

// A device has reported a write that it never made.
TEST_F(RingOpening, TheEndOfThePreviousClusterThatOneFileLacksGoesToIt) {
  for (const std::string lacking : {kFile1, kFile2}) {
    PutPairWith(5);
    const Bytes whole = ClusterImage(1003, PacketAt(1003) + PacketAt(1003, 50));
    PutCluster(Twin(lacking), 3, whole);
    PutCluster(lacking, 4, ClusterImage(1004, PacketAt(1004) + PacketAt(1005)));
    ASSERT_EQ(Open(), 1);
    ExpectOpenedAt(4, 1005);
    EXPECT_EQ(AllTicks(), (Ticks{1000, 1001, 1002, 1003, 1003, 1004, 1005}));
    WriteTick(store_, 1006);
    WriteTick(store_, 1007);
    for (const char* const file : {kFile1, kFile2}) EXPECT_EQ(files_.ReadBlock(file, 3), whole);
    store_.Close();
  }
}

TEST_F(RingOpening, APreviousClusterOfTheLapBeforeGivesWay) {
  PutSecondLap(9);
  PutCluster(kFile1, 8, OnePacket(8));  // every write of this lap was lost; no search looks
  PutCluster(kFile1, 9, ClusterImage(50009, PacketAt(50009) + PacketAt(50010)));
  ASSERT_EQ(Open(), 1);
  EXPECT_EQ(TicksOf(From(8)), (Ticks{50008, 50009, 50010}));
  WriteTick(store_, 50011);
  WriteTick(store_, 50012);
  EXPECT_EQ(files_.ReadBlock(kFile1, 8), OfSecondLap(8));
  EXPECT_EQ(files_.ReadBlock(kFile2, 8), OfSecondLap(8));
}

// Ticks may have begun anew in front of it.
TEST_F(RingOpening, ASoundCopyOfThePreviousClusterIsTakenWhateverTheOneInFrontTells) {
  PutPairWith(4);
  PutInBoth(2, ClusterImage(5000, PacketAt(5000)));
  PutCluster(kFile1, 3, Torn(1003, PacketAt(1003), PacketAt(1900, 200)));
  PutCluster(kFile1, 4, ClusterImage(0xFFFFFFFE, Continuation(20)));
  ASSERT_EQ(Open(), 1);
  ExpectOpenedAt(4, 1003);
  EXPECT_TRUE(Logged(4, "File #2 has the better copy of cluster 3"));
  EXPECT_EQ(From(3), PacketAt(1003) + Continuation(20));
}

// A tick that is none is not behind the newest cluster's.
TEST_F(RingOpening, AHeaderWithoutATickInThePreviousClusterDoesNotGiveTheNewestOneUp) {
  for (const unsigned int none : {0xFFFFFFFEU, 0xFFFFFFFFU}) {
    PutPairWith(4);
    PutCluster(kFile1, 3, ClusterImage(1003, PacketAt(1003) + PacketAt(none)));
    PutCluster(kFile2, 4, OnePacket(4));
    ASSERT_EQ(Open(), 1);
    ExpectOpenedAt(4, 1004);
    EXPECT_EQ(AllTicks(), (Ticks{1000, 1001, 1002, 1003, none, 1004}));
    store_.Close();
  }
}

TEST_F(RingOpening, CopiesThatAgreeCostNoWriteMore) {
  PutPairWith(5);
  PutCluster(kFile1, 4, ClusterImage(1004, PacketAt(1004) + PacketAt(1005)));
  ASSERT_EQ(Open(), 1);
  files_.ClearOperations();
  WriteTick(store_, 1006);
  WriteTick(store_, 1007);
  EXPECT_THAT(Writes(), ElementsAre("write /m/r_2.mtd 4096@16384", "write /m/r_1.mtd 4096@16384"));
}

// ---- Clusters without a tick of their own ---------------------------------------------

TEST_F(RingOpening, ContinuationsThatBeginTheFirstOrTheLastClusterAreReadBack) {
  for (const int begun : {0, 32767}) {
    if (begun == 0)
      PutPairWith(kRingClusters);
    else
      PutPairWith(32767);
    const std::uint32_t tick = 90000;
    ASSERT_EQ(Open(), 1);
    const Bytes head = PacketAt(tick, 262);
    while (store_.CurrentCluster() != begun) {
      const Bytes& packet = Write(store_, head, tick) != 0 ? Continuation(258) : head;
      if (store_.CurrentCluster() != begun) Write(store_, packet, 0xFFFFFFFE);
    }
    const Bytes written = From((begun + 32767) % 32768);
    store_.Close();
    ASSERT_EQ(Open(), 1);
    EXPECT_EQ(store_.CurrentCluster(), begun);
    EXPECT_EQ(store_.GetCurrentSystemTick(), tick);
    EXPECT_EQ(From((begun + 32767) % 32768), written);
    store_.Close();
  }
}

TEST_F(RingOpening, AContinuationThatOnlyTheFileBehindLacksIsReadBack) {
  PutPairWith(kRingClusters);
  PutCluster(kFile2, 0, ClusterImage(0xFFFFFFFE, Continuations(2)));
  PutCluster(kFile1, 0, ClusterImage(0xFFFFFFFE, Continuations(1)));
  ASSERT_EQ(Open(), 1);
  ExpectOpenedAt(0, 33767);
  EXPECT_TRUE(Logged(32, "Last wrote to file #2. Setting next write file to be #1"));
  WriteTick(store_, 40000);
  EXPECT_EQ(files_.ReadBlock(kFile1, 0), ClusterImage(40000, Continuations(2) + PacketAt(40000)));
}

TEST_F(RingOpening, ContinuationsInTheFirstClusterAreReadBackWhenFile2WasLost) {
  PutPairWith(kRingClusters);
  PutCluster(kFile1, 0, ClusterImage(0xFFFFFFFE, Continuations(2)));
  files_.Delete(kFile2);
  ASSERT_EQ(Open(), 1);
  ExpectOpenedAt(0, 33767);
  WriteTick(store_, 40000);
  EXPECT_EQ(files_.ReadBlock(kFile2, 0), ClusterImage(40000, Continuations(2) + PacketAt(40000)));
}

TEST_F(RingOpening, TheTickOfAClosedClusterStays) {
  PutPairWith(5);
  const Bytes told = ClusterImage(2000, Continuations(15));
  PutCluster(kFile1, 5, ClusterImage(0xFFFFFFFE, Continuations(15)));
  PutCluster(kFile2, 5, told);
  PutCluster(kFile1, 6, ClusterImage(2000, PacketAt(2000) + PacketAt(2001)));
  ASSERT_EQ(Open(), 1);
  WriteTick(store_, 2002);
  WriteTick(store_, 2003);
  for (const char* const file : {kFile1, kFile2}) EXPECT_EQ(files_.ReadBlock(file, 5), told);
}

// Older recorders closed such clusters without a tick.
TEST_F(RingOpening, AFullClusterWithoutATickBehindTheNewestIsOfTheLapBefore) {
  const Bytes full = ClusterImage(0xFFFFFFFE, Continuations(15));
  for (const std::size_t newest : {32766U, 32767U, 16382U}) {
    PutSecondLap(newest);
    PutInBoth((newest + 1) % kRingClusters, full);
    ASSERT_EQ(Open(), 1);
    EXPECT_EQ(store_.CurrentCluster(), static_cast<int>(newest));
    store_.Close();
  }
}

// One of them lacks the last packet, as of a newest cluster it may.
TEST_F(RingOpening, AFullClusterWithoutATickWhoseCopiesDifferIsTheNewest) {
  PutPairWith(kRingClusters);
  PutCluster(kFile1, 0, ClusterImage(0xFFFFFFFE, Continuations(15)));
  PutCluster(kFile2, 0, ClusterImage(0xFFFFFFFE, Continuations(14)));
  ASSERT_EQ(Open(), 1);
  ExpectOpenedAt(0, 33767);
  EXPECT_EQ(From(0), Continuations(15));
}

TEST_F(RingOpening, AFileThatEndsInAClusterWithoutATickMayBeFarBehind) {
  PutPairWith(5);
  PutCluster(kFile1, 5, ClusterImage(0xFFFFFFFE, Continuations(2)));
  for (std::size_t c = 5; c < 9; ++c) PutCluster(kFile2, c, OnePacket(c));
  ASSERT_EQ(Open(), 1);
  ExpectOpenedAt(8, 1008);
}

TEST_F(RingOpening, InARingNotYetComeRoundItIsTheNewest) {
  PutPairWith(5);
  PutInBoth(5, ClusterImage(0xFFFFFFFE, Continuations(15)));
  ASSERT_EQ(Open(), 1);
  EXPECT_EQ(store_.CurrentCluster(), 5);
  EXPECT_EQ(store_.GetCurrentSystemTick(), 1004U);
}

// Wherever the searches look.
TEST_F(RingOpening, OlderClustersWithoutATickDoNotEndTheSearches) {
  const Bytes full = ClusterImage(0xFFFFFFFE, Continuations(15));
  for (const bool second_lap : {false, true}) {
    if (second_lap)
      PutSecondLap(20000);
    else
      PutPairWith(20001);
    for (const std::size_t c : {0U, 1023U, 8191U, 16383U, 18431U, 19455U, 24575U, 28671U, 32767U})
      if (second_lap || c < 20000) PutInBoth(c, full);
    ASSERT_EQ(Open(), 1);
    EXPECT_EQ(store_.CurrentCluster(), 20000) << second_lap;
    const unsigned int tick = second_lap ? 50000 : 1000;
    for (const unsigned int n : {2U, 1022U, 1024U, 8190U, 8192U, 16382U, 16384U, 19999U})
      EXPECT_EQ(store_.FindSystemTick(tick + n), static_cast<int>(n)) << n;
    store_.Close();
  }
}

// ---- Neighbours of one tick -----------------------------------------------------------

TEST_F(RingOpening, OfNeighboursOfOneTickTheLaterInRingOrderWins) {
  for (const std::size_t later : {5U, 0U}) {
    for (const std::string file : {kFile1, kFile2}) {
      PutPairWith(later == 0 ? kRingClusters : 5);
      const std::uint32_t tick = later == 0 ? 33767 : 1004;
      PutCluster(file, later, ClusterImage(tick, PacketAt(tick)));
      ASSERT_EQ(Open(), 1);
      EXPECT_EQ(store_.CurrentCluster(), static_cast<int>(later)) << file;
      store_.Close();
    }
  }
}

// A dump may fill a dozen clusters with one tick while one file fails.
TEST_F(RingOpening, OfClustersOfOneTickFurtherApartTheOneAheadWins) {
  for (const std::string file : {kFile1, kFile2}) {
    PutPairWith(5);
    for (const std::size_t c : {5U, 6U, 7U})
      PutCluster(file, c, ClusterImage(1004, PacketAt(1004)));
    ASSERT_EQ(Open(), 1);
    EXPECT_EQ(store_.CurrentCluster(), 7) << file;
    store_.Close();
  }
}

// ---- Files that are given up ----------------------------------------------------------

TEST_F(RingOpening, AFile2ThatHasAllThereIsAndCannotBeSearchedIsSetAside) {
  PutPairWith(5);
  files_.Delete(kFile1);
  files_.FlipByte(kFile2, 0);
  const Bytes newest = files_.ReadBlock(kFile2, 4);
  ASSERT_EQ(Open(), 1);
  EXPECT_THAT(files_.Paths(), ElementsAre(kFile1, kFile2, kAside2));
  EXPECT_EQ(files_.ReadBlock(kAside2, 4), newest);
  ExpectOpenedAt(0, 0);
}

TEST_F(RingOpening, WhatWasSetAsideBeforeStays) {
  PutPairWith(5);
  files_.CopyContent(kFile2, kAside2);
  files_.Delete(kFile1);
  files_.FlipByte(kFile2, 0);
  files_.PutBlock(kAside2, 7, OnePacket(7));
  ASSERT_EQ(Open(), 1);
  EXPECT_EQ(files_.ReadBlock(kAside2, 7), OnePacket(7));
  EXPECT_EQ(files_.ReadBlock("/m/r_2.mtd.CORRUPT.1", 4), OnePacket(4));
}

TEST_F(RingOpening, AFile2ThatCannotBeSetAsideIsNotReplaced) {
  PutPairWith(5);
  files_.Delete(kFile1);
  files_.FlipByte(kFile2, 0);
  files_.FailOnce(FileOp::kRename, kFile2, EACCES);
  EXPECT_EQ(Open(), 0);
  EXPECT_THAT(files_.Paths(), ElementsAre(kFile2));
  EXPECT_EQ(files_.ReadBlock(kFile2, 4), OnePacket(4));
}

TEST_F(RingOpening, ASearchInWhichACallFailedIsRepeatedThreeTimes) {
  for (const FileOp failing : {FileOp::kRead, FileOp::kLseek}) {
    for (int failures = 1; failures <= 3; ++failures) {
      PutPairWith(5);
      files_.Delete(kFile1);
      for (int n = 0; n < failures; ++n) files_.FailOnce(failing, kFile2, EIO, 1 + n);
      ASSERT_EQ(Open(), 1);
      EXPECT_FALSE(files_.Exists(kAside2));
      EXPECT_THAT(files_.Trace({FileOp::kUsleep}), Not(IsEmpty()));
      EXPECT_EQ(files_.ReadBlock(kFile1, 4), OnePacket(4));
      store_.Close();
      files_.ClearFaults();
    }
  }
}

TEST_F(RingOpening, ThePauseBetweenSearchesIsATenthOfASecond) {
  PutPairWith(5);
  files_.FailOnce(FileOp::kRead, kFile2, EIO, 1);
  ASSERT_EQ(Open(), 1);
  std::vector<std::size_t> pauses;
  for (const Operation& done : files_.Operations())
    if (done.op == FileOp::kUsleep) pauses.push_back(done.count);
  EXPECT_THAT(pauses, ElementsAre(100000));
}

TEST_F(RingOpening, WrongContentsAreNotSearchedTwice) {
  PutPairWith(5);
  files_.FlipByte(kFile1, 0);
  ASSERT_EQ(Open(), 1);
  EXPECT_EQ(files_.Count(FileOp::kUsleep), 0);
}

TEST_F(RingOpening, NewFilesThatCannotBeReadAreRecordedInto) {
  files_.FailFromNowOn(FileOp::kRead, "", EIO);
  ASSERT_EQ(Open(), 1);
  ExpectOpenedAt(0, 0);
  EXPECT_EQ(WriteTick(store_, 7), 1);
  EXPECT_TRUE(store_.LastPacketStored());
  EXPECT_EQ(files_.ReadBlock(kFile2, 0), ClusterImage(7, PacketAt(7)));
}

TEST_F(RingOpening, NewFilesThatCannotBeReadDoNotReplaceWhatWasSetAsideBefore) {
  PutPairWith(5);
  files_.CopyContent(kFile1, "/m/r_1.mtd.CORRUPT");
  files_.Delete(kFile1);
  files_.Delete(kFile2);
  files_.FailFromNowOn(FileOp::kRead, "", EIO);
  ASSERT_EQ(Open(), 1);
  EXPECT_THAT(files_.Paths(), ElementsAre(kFile1, "/m/r_1.mtd.CORRUPT", kFile2));
  EXPECT_EQ(files_.ReadBlock("/m/r_1.mtd.CORRUPT", 4), OnePacket(4));
}

TEST_F(RingOpening, FilesMadeAnewThatCannotBeReadAreRecordedInto) {
  PutPairWith(5);
  files_.FlipByte(kFile1, 0);
  files_.FlipByte(kFile2, 0);
  files_.FailFromNowOn(FileOp::kRead, kFile2, EIO, 20);
  ASSERT_EQ(Open(), 1);
  ExpectOpenedAt(0, 0);
  EXPECT_EQ(files_.ReadBlock("/m/r_1.mtd.CORRUPT", 4), OnePacket(4));
}

TEST_F(RingOpening, TheFilesOfAnOpenStoreAreNotStartedAgain) {
  PutPairWith(5);
  ASSERT_EQ(Open(), 1);
  files_.ClearOperations();
  EXPECT_EQ(store_.StartStoreFiles(kBase), 0);
  EXPECT_TRUE(files_.Operations().empty());
  EXPECT_EQ(WriteTick(store_, 2000), 1);
}

TEST_F(RingOpening, TheFilesOfAClosedStoreCannotBeStartedWithoutItsBuffer) {
  EXPECT_EQ(store_.StartStoreFiles(kBase), 0);
  EXPECT_THAT(log_.Texts(2),
              ElementsAre("Null value passed toStartFile", "Null value passed toStartFile"));
}

// ---- What an opening reads ------------------------------------------------------------

TEST_F(RingOpening, ReadsAtMost39Clusters) {
  PutPairWith(kRingClusters);
  std::size_t put = 0;  // of the second lap, in what the next one begins with
  for (const std::size_t newest : {0U, 1U, 16382U, 16383U, 20000U, 32766U, 32767U}) {
    files_.PutBlocks(kFile1, put, newest + 1 - put, OfSecondLap);
    files_.CopyContent(kFile1, kFile2);
    put = newest + 1;
    const SimulatedFiles::Image second_lap = files_.Snapshot();
    for (const bool alone : {false, true}) {
      if (alone)
        PutCluster(kFile1, (newest + 1) % kRingClusters, ClusterImage(99999, PacketAt(99999)));
      ASSERT_EQ(Open(), 1);
      EXPECT_LE(files_.Count(FileOp::kRead), 39) << newest << alone;
      store_.Close();
      files_.Restore(second_lap);
    }
  }
}

}  // namespace
}  // namespace vmr
