// Opening the ring store: what it makes of the files it finds.
#include <errno.h>
#include <stdlib.h>

#include <new>

#include "backends/data_store_flat.h"
#include "tests/backends/ring_fixture.h"

namespace {

// Which nothrow allocation fails from now on, counted from 1; 0 for none.
int g_fail_allocation = 0;

}  // namespace

// The stores allocate their buffers with this form only.
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  if (g_fail_allocation > 0 && --g_fail_allocation == 0) return nullptr;
  try {
    return ::operator new[](size);
  } catch (...) {
    return nullptr;
  }
}

namespace vmr {
namespace {

using namespace test;
using ::testing::ElementsAre;

class RingRecovery : public RingTest {
 protected:
  int Open() { return store_.Open(); }
  std::vector<unsigned int> AllTicks() {
    return TicksOf(ReadStream(store_, store_.InitialReadLocation()));
  }
  // Which file the next packet goes to.
  std::string NextFile() {
    files_.ClearOperations();
    WriteTick(store_, 900000);
    const auto writes = files_.Trace({FileOp::kWrite});
    return writes.size() == 1 ? writes[0] : "several";
  }
  std::vector<std::string> WritesOf(unsigned int tick) {
    files_.ClearOperations();
    WriteTick(store_, tick);
    return files_.Trace({FileOp::kWrite});
  }
  void ExpectOpenedAt(int current, int previous, unsigned int tick) {
    EXPECT_EQ(store_.CurrentCluster(), current);
    EXPECT_EQ(store_.PreviousCluster(), previous);
    EXPECT_EQ(store_.GetCurrentSystemTick(), tick);
  }
  void ExpectClosedAfterFailure() {
    EXPECT_EQ(files_.OpenDescriptors(), 0);
    EXPECT_EQ(store_.WorkBuffer(), nullptr);
    EXPECT_EQ(WriteTick(store_, 1), 0);
  }

  DataStoreNormal store_{kBase};
};

// ---- New stores ------------------------------------------------------------------

TEST_F(RingRecovery, AFirstStartWithoutFilesCreatesTwoEmptyOnes) {
  ASSERT_EQ(Open(), 1);
  EXPECT_EQ(files_.Size(kFile1), kRingBytes);
  EXPECT_EQ(files_.Size(kFile2), kRingBytes);
  EXPECT_TRUE(files_.SameContent(kFile1, kFile2));
  EXPECT_TRUE(Logged(4, "Completely new store for metadata created."));
  ExpectOpenedAt(0, 32767, 0);
  EXPECT_EQ(NextFile(), "write /m/r_2.mtd 4096@0");
}

TEST_F(RingRecovery, AFirstStartLogsItsDecisions) {
  ASSERT_EQ(Open(), 1);
  for (const std::string text :
       {"Last wrote to file #1. Will initialize from file #1",
        "Curr cluster is 0, prev Cluster is 32767",
        "Last wrote to file #1. Setting next write file to be #2",
        "Data Store Initialized: currCluster(0), prevCluster(32767), lastSysTick(0)"})
    EXPECT_TRUE(Logged(32, text)) << text;
  EXPECT_TRUE(Logged(128, "Searching for last system tick at last position"));
  EXPECT_TRUE(Logged(128, "currFile->2 otherFile->1"));
}

TEST_F(RingRecovery, OpeningANewStoreTakesLittleTime) {
  ASSERT_EQ(Open(), 1);
  EXPECT_EQ(files_.Count(FileOp::kWrite), 2 * 32768);
}

TEST_F(RingRecovery, AnEmptyPairIsOpenedAgainAtClusterZero) {
  PutEmptyPair();
  ASSERT_EQ(Open(), 1);
  ExpectOpenedAt(0, 32767, 0);
  EXPECT_FALSE(Logged(4, "Completely new store for metadata created."));
  EXPECT_EQ(NextFile(), "write /m/r_2.mtd 4096@0");
}

// ---- One file missing ------------------------------------------------------------

TEST_F(RingRecovery, AMissingFile2IsRecreatedAndFilledFromFile1) {
  PutPairWith(5);
  files_.Delete(kFile2);
  ASSERT_EQ(Open(), 1);
  EXPECT_TRUE(Logged(4, "File /m/r_2.mtd was created, copying in contents from /m/r_1.mtd"));
  EXPECT_TRUE(Logged(
      32, "File 1: newest: cluster(4), sysTick(1004) - oldest: cluster(5), sysTick(4294967295)"));
  EXPECT_THAT(files_.Trace({FileOp::kSystem}), ElementsAre("system cp /m/r_1.mtd /m/r_2.mtd.tmp"));
  EXPECT_TRUE(files_.SameContent(kFile1, kFile2));
  EXPECT_TRUE(files_.IsSynced(kFile2));
  ExpectOpenedAt(4, 3, 1004);
  EXPECT_EQ(NextFile(), "write /m/r_2.mtd 4096@16384");
}

TEST_F(RingRecovery, AMissingFile1IsRecreatedFromFile2AndRecordingResumesAtClusterZero) {
  PutPairWith(5);
  files_.Delete(kFile1);
  ASSERT_EQ(Open(), 1);
  EXPECT_TRUE(Logged(4, "File /m/r_1.mtd was created, copying in contents from /m/r_2.mtd"));
  EXPECT_TRUE(Logged(
      32, "File 2: newest: cluster(4), sysTick(1004) - oldest: cluster(5), sysTick(4294967295)"));
  EXPECT_TRUE(files_.SameContent(kFile1, kFile2));
  EXPECT_TRUE(Logged(32, "Last wrote to file #1. Will initialize from file #1"));
  ExpectOpenedAt(0, 32767, 1000);
  EXPECT_EQ(NextFile(), "write /m/r_2.mtd 4096@0");
}

TEST_F(RingRecovery, AFailedCopyDeletesTheNewFileAndFailsTheOpen) {
  PutPairWith(5);
  files_.Delete(kFile2);
  files_.FailOnce(FileOp::kSystem, "", EIO);
  EXPECT_EQ(Open(), 0);
  EXPECT_TRUE(FileLogged(2, " cp /m/r_1.mtd /m/r_2.mtd.tmp failed. errno 5 Input/output error"));
  EXPECT_TRUE(Logged(2, "Error copying to file /m/r_2.mtd"));
  EXPECT_THAT(files_.Paths(), ElementsAre(kFile1));
  ExpectClosedAfterFailure();
  EXPECT_EQ(Open(), 1);
}

TEST_F(RingRecovery, AFailedCopyToFile1DeletesIt) {
  PutPairWith(5);
  files_.Delete(kFile1);
  files_.FailOnce(FileOp::kSystem, "", EIO);
  EXPECT_EQ(Open(), 0);
  EXPECT_TRUE(Logged(2, "Error copying to file /m/r_1.mtd"));
  EXPECT_THAT(files_.Paths(), ElementsAre(kFile2));
}

TEST_F(RingRecovery, OneNewFileBesideOneThatCannotBeSearchedCountsAsBothFailed) {
  PutPairWith(5);
  files_.Delete(kFile2);
  files_.FlipByte(kFile1, 0);
  ASSERT_EQ(Open(), 1);
  EXPECT_TRUE(Logged(2, "Unable to find last position in both Metadata files. Recreating files"));
  EXPECT_THAT(files_.Paths(), ElementsAre(kFile1, "/m/r_1.mtd.CORRUPT", kFile2));
  EXPECT_EQ(files_.Count(FileOp::kSystem), 0);
  ExpectOpenedAt(0, 32767, 0);
}

TEST_F(RingRecovery, AReadErrorInANewFileDoesNotThrowTheOtherFilesRecordingAway) {
  for (const std::string missing : {kFile1, kFile2}) {
    SCOPED_TRACE(missing);
    const std::string kept = missing == kFile1 ? kFile2 : kFile1;
    PutPairWith(5);
    const Bytes newest = files_.ReadBlock(kept, 4);
    files_.Delete(missing);
    files_.FailOnce(FileOp::kRead, missing, EIO, 1);  // its first cluster
    files_.FailOnce(FileOp::kRead, missing, EIO, 4);  // and when it is asked for again
    Open();
    store_.Close();
    ASSERT_TRUE(files_.Exists(kept));
    EXPECT_EQ(files_.ReadBlock(kept, 4), newest);
  }
}

// ---- Both files there ------------------------------------------------------------

TEST_F(RingRecovery, BothPositionsAreTraced) {
  PutPairWith(5);
  ASSERT_EQ(Open(), 1);
  EXPECT_TRUE(Logged(128, "Found last position"));
  EXPECT_TRUE(Logged(
      128, "File 1: newest: cluster(4), sysTick(1004) - oldest: cluster(5), sysTick(4294967295)"));
  EXPECT_TRUE(Logged(
      128, "File 2: newest: cluster(4), sysTick(1004) - oldest: cluster(5), sysTick(4294967295)"));
}

TEST_F(RingRecovery, OfTwoEqualFilesFile1IsTheLastWriter) {
  PutPairWith(5);
  ASSERT_EQ(Open(), 1);
  EXPECT_TRUE(Logged(32, "Last wrote to file #1. Setting next write file to be #2"));
  EXPECT_EQ(NextFile(), "write /m/r_2.mtd 4096@16384");
}

TEST_F(RingRecovery, TheBiggerOfTwoCopiesOfTheNewestClusterIsTheLastWriters) {
  PutPairWith(5);
  PutCluster(kFile2, 4, ClusterImage(1004, PacketAt(1004) + PacketAt(1005)));
  ASSERT_EQ(Open(), 1);
  EXPECT_TRUE(Logged(32, "Last wrote to file #2. Will initialize from file #2"));
  EXPECT_TRUE(Logged(32, "Last wrote to file #2. Setting next write file to be #1"));
  EXPECT_TRUE(Logged(128, "currFile->1 otherFile->2"));
  EXPECT_TRUE(
      Logged(32, "Data Store Initialized: currCluster(4), prevCluster(3), lastSysTick(1005)"));
  EXPECT_THAT(WritesOf(1006), ElementsAre("write /m/r_1.mtd 4096@16384"));
  EXPECT_EQ(AllTicks(), (std::vector<unsigned int>{1000, 1001, 1002, 1003, 1004, 1005, 1006}));
}

TEST_F(RingRecovery, TheSmallerCopyIsStaleInItsCurrentClusterOnly) {
  PutPairWith(5);
  PutCluster(kFile1, 4, ClusterImage(1004, PacketAt(1004) + PacketAt(1005)));
  ASSERT_EQ(Open(), 1);
  // The next packet does not fit: file #2 must get the end of cluster 4 first.
  WriteTick(store_, 1006, 200);
  files_.ClearOperations();
  const Bytes large = Repeat(0x84, 4000);
  Write(store_, large, 1007);
  EXPECT_THAT(files_.Trace({FileOp::kWrite}),
              ElementsAre("write /m/r_1.mtd 4096@16384", "write /m/r_1.mtd 4096@20480"));
}

TEST_F(RingRecovery, AFileThatIsBehindByAClusterGetsTheEndOfThePreviousOneToo) {
  PutPairWith(4);
  const Bytes last = ClusterImage(1003, PacketAt(1003) + PacketAt(1004));
  PutCluster(kFile2, 3, last);
  PutCluster(kFile2, 4, ClusterImage(1005, PacketAt(1005)));
  ASSERT_EQ(Open(), 1);
  EXPECT_TRUE(Logged(32, "Last wrote to file #2. Will initialize from file #2"));
  EXPECT_THAT(WritesOf(1006),
              ElementsAre("write /m/r_1.mtd 4096@12288", "write /m/r_1.mtd 4096@16384"));
  EXPECT_EQ(files_.ReadBlock(kFile1, 3), last);
}

TEST_F(RingRecovery, OfDifferentNewestClustersTheOneThatStartedLaterWins) {
  PutPairWith(4);
  PutCluster(kFile1, 4, ClusterImage(1004, PacketAt(1004)));
  ASSERT_EQ(Open(), 1);
  EXPECT_TRUE(Logged(32, "Last wrote to file #1. Will initialize from file #1"));
  ExpectOpenedAt(4, 3, 1004);
  EXPECT_THAT(WritesOf(1005),
              ElementsAre("write /m/r_2.mtd 4096@12288", "write /m/r_2.mtd 4096@16384"));
}

TEST_F(RingRecovery, TicksOfNewestClustersAreComparedUnsigned) {
  PutEmptyPair();
  PutInBoth(0, ClusterImage(0x7FFFFFFF, PacketAt(0x7FFFFFFF)));
  PutCluster(kFile2, 1, ClusterImage(0x80000000, PacketAt(0x80000000)));
  ASSERT_EQ(Open(), 1);
  ExpectOpenedAt(1, 0, 0x80000000);
}

TEST_F(RingRecovery, TheNewestClusterMayLieBehindTheWrap) {
  PutPairWith(kRingClusters);
  PutInBoth(0, ClusterImage(50000, PacketAt(50000)));
  ASSERT_EQ(Open(), 1);
  ExpectOpenedAt(0, 32767, 50000);
  EXPECT_EQ(store_.InitialReadLocation(), 4096);
}

TEST_F(RingRecovery, StaleFlagsOfAnEarlierOpenAreForgotten) {
  PutPairWith(4);
  PutCluster(kFile2, 4, ClusterImage(1004, PacketAt(1004)));
  ASSERT_EQ(Open(), 1);  // file #1 is stale in both clusters
  store_.Close();
  PutPairWith(5);
  ASSERT_EQ(Open(), 1);
  EXPECT_THAT(WritesOf(1005), ElementsAre("write /m/r_2.mtd 4096@16384"));
  EXPECT_THAT(WritesOf(1006), ElementsAre("write /m/r_1.mtd 4096@16384"));
}

TEST_F(RingRecovery, AnEmptyFileBesideOneWithDataNeverWins) {
  for (const std::string empty : {kFile1, kFile2}) {
    SCOPED_TRACE(empty);
    PutPairWith(1);  // the newest cluster is 0 in both, as in an empty file
    PutEmptyRing(empty);
    ASSERT_EQ(Open(), 1);
    ExpectOpenedAt(0, 32767, 1000);
    EXPECT_THAT(WritesOf(1001),
                ElementsAre("write " + empty + " 4096@134213632", "write " + empty + " 4096@0"));
    store_.Close();
  }
}

TEST_F(RingRecovery, AnEmptyFileBesideOneWithDataIsFilledSoThatTheRecordingIsReadInFull) {
  PutPairWith(5);
  PutEmptyRing(kFile2);  // what a power cut between creating and filling it leaves
  ASSERT_EQ(Open(), 1);
  EXPECT_TRUE(Logged(4, "File /m/r_2.mtd is empty, copying in contents from /m/r_1.mtd"));
  EXPECT_THAT(TicksOf(ReadStream(store_, store_.InitialReadLocation())),
              ElementsAre(1000, 1001, 1002, 1003, 1004));
  EXPECT_EQ(files_.ReadBlock(kFile2, 2), OnePacket(2));
}

// A new store whose very first packet was its last: there is nothing to copy that
// the next turn does not write, and damage in the one file must not reach the other.
TEST_F(RingRecovery, AnEmptyFileBesideOneInItsFirstClusterIsNotFilledWithItsDamage) {
  PutPairWith(1);
  PutEmptyRing(kFile1);
  files_.FlipByte(kFile2, 2 * 4096 + 1);
  ASSERT_EQ(Open(), 1);
  ExpectOpenedAt(0, 32767, 1000);
  EXPECT_EQ(files_.Count(FileOp::kSystem), 0);
  EXPECT_EQ(files_.ReadBlock(kFile1, 2), NeverWritten());
  WritesOf(1001);
  EXPECT_EQ(TicksOf(ReadStream(store_, 0)), (std::vector<unsigned int>{1000, 1001}));
}

// It has no first tick, as a never-written cluster has none, but it is not empty.
TEST_F(RingRecovery, AFirstClusterThatOnlyAContinuationHasReachedHoldsData) {
  const Bytes continuation = B("82 02 36 38 00");
  for (const std::string behind : {kFile1, kFile2}) {
    SCOPED_TRACE(behind);
    PutEmptyPair();
    PutInBoth(0, ClusterImage(0xFFFFFFFF, continuation));
    PutEmptyRing(behind);
    ASSERT_EQ(Open(), 1);
    ExpectOpenedAt(0, 32767, 0);
    EXPECT_EQ(ReadStream(store_, 0), continuation);
    WritesOf(1);
    EXPECT_EQ(files_.ReadBlock(behind, 0), ClusterImage(1, continuation + PacketAt(1)));
    store_.Close();
  }
}

TEST_F(RingRecovery, AnEmptyFileThatCannotBeFilledIsGoneOnWith) {
  PutPairWith(5);
  PutEmptyRing(kFile2);
  files_.FailOnce(FileOp::kSystem, "", EROFS);
  ASSERT_EQ(Open(), 1);
  ExpectOpenedAt(4, 3, 1004);
  EXPECT_THAT(WritesOf(1005),
              ElementsAre("write /m/r_2.mtd 4096@12288", "write /m/r_2.mtd 4096@16384"));
}

TEST_F(RingRecovery, AnEmptyFileLostWhileItIsFilledFailsTheOpen) {
  PutPairWith(5);
  PutEmptyRing(kFile2);
  files_.FailOnce(FileOp::kSystem, "", EIO);
  files_.FailOnce(FileOp::kOpen, kFile2, EIO, 2);
  EXPECT_EQ(Open(), 0);
  EXPECT_TRUE(Logged(2, "Error copying to file /m/r_2.mtd"));
  ExpectClosedAfterFailure();
  EXPECT_EQ(files_.ReadBlock(kFile1, 4), OnePacket(4));
}

// ---- Files that cannot be searched -----------------------------------------------

TEST_F(RingRecovery, ABadProbedClusterInFile1LeavesFile2TheLastWriter) {
  PutPairWith(5);
  files_.FlipByte(kFile1, 32767L * 4096);
  ASSERT_EQ(Open(), 1);
  EXPECT_TRUE(FileLogged(2,
                         "Invalid Cluster found during searching file (/m/r_1.mtd). Quitting "
                         "search."));
  EXPECT_TRUE(Logged(32, "Last wrote to file #2. Will initialize from file #2"));
  ExpectOpenedAt(4, 3, 1004);
  EXPECT_THAT(WritesOf(1005),
              ElementsAre("write /m/r_1.mtd 4096@12288", "write /m/r_1.mtd 4096@16384"));
}

TEST_F(RingRecovery, AFileWhoseSearchFailedNeverWinsWhateverAnEarlierOpenFound) {
  PutPairWith(6);
  ASSERT_EQ(Open(), 1);
  store_.Close();
  PutPairWith(5);
  files_.FlipByte(kFile1, 0);
  ASSERT_EQ(Open(), 1);
  EXPECT_TRUE(Logged(32, "Last wrote to file #2. Will initialize from file #2"));
  ExpectOpenedAt(4, 3, 1004);
}

TEST_F(RingRecovery, AFileWhoseSearchFailedLosesToAnEmptyOne) {
  PutPairWith(5);
  files_.FlipByte(kFile1, 32767L * 4096);
  PutEmptyRing(kFile2);
  ASSERT_EQ(Open(), 1);
  ExpectOpenedAt(0, 32767, 0);
}

TEST_F(RingRecovery, TwoFilesThatCannotBeSearchedAreReplacedByNewOnes) {
  PutPairWith(5);
  files_.FlipByte(kFile1, 0);
  files_.FlipByte(kFile2, 0);
  const Bytes damaged = files_.ReadBlock(kFile1, 0);
  ASSERT_EQ(Open(), 1);
  EXPECT_TRUE(Logged(2, "Unable to find last position in both Metadata files. Recreating files"));
  EXPECT_TRUE(Logged(4, "Completely new store for metadata created."));
  EXPECT_THAT(files_.Paths(), ElementsAre(kFile1, "/m/r_1.mtd.CORRUPT", kFile2));
  EXPECT_EQ(files_.ReadBlock("/m/r_1.mtd.CORRUPT", 0), damaged);
  ExpectOpenedAt(0, 32767, 0);
  EXPECT_EQ(NextFile(), "write /m/r_2.mtd 4096@0");
}

TEST_F(RingRecovery, BothSearchesRunAgainOnTheNewFiles) {
  PutPairWith(5);
  files_.FlipByte(kFile1, 0);
  files_.FlipByte(kFile2, 0);
  ASSERT_EQ(Open(), 1);
  EXPECT_EQ(log_.Count(32, "FileStore.cc", "Empty file store; cache depth 2"), 2);
}

TEST_F(RingRecovery, FilesAreClosedBeforeTheyAreSetAside) {
  PutPairWith(5);
  files_.FlipByte(kFile1, 0);
  files_.FlipByte(kFile2, 0);
  ASSERT_EQ(Open(), 1);
  EXPECT_THAT(
      files_.Trace({FileOp::kClose, FileOp::kRename, FileOp::kUnlink}),
      ElementsAre("close /m/r_1.mtd", "close /m/r_2.mtd", "rename /m/r_1.mtd /m/r_1.mtd.CORRUPT",
                  "unlink /m/r_2.mtd", "close /m", "unlink /m/r_1.mtd.tmp", "close /m/r_1.mtd.tmp",
                  "rename /m/r_1.mtd.tmp /m/r_1.mtd", "close /m", "unlink /m/r_2.mtd.tmp",
                  "close /m/r_2.mtd.tmp", "rename /m/r_2.mtd.tmp /m/r_2.mtd", "close /m"));
  EXPECT_EQ(files_.OpenDescriptors(), 2);
}

TEST_F(RingRecovery, WhatIsSetAsideIsDurableBeforeNewFilesGetTheirNames) {
  PutPairWith(5);
  files_.FlipByte(kFile1, 0);
  files_.FlipByte(kFile2, 0);
  ASSERT_EQ(Open(), 1);
  EXPECT_THAT(files_.Trace({FileOp::kRename, FileOp::kFsync}),
              ElementsAre("fsync /m/r_1.mtd", "fsync /m/r_2.mtd",
                          "rename /m/r_1.mtd /m/r_1.mtd.CORRUPT", "fsync /m",
                          "fsync /m/r_1.mtd.tmp", "rename /m/r_1.mtd.tmp /m/r_1.mtd", "fsync /m",
                          "fsync /m/r_2.mtd.tmp", "rename /m/r_2.mtd.tmp /m/r_2.mtd", "fsync /m"));
}

TEST_F(RingRecovery, ADirectoryThatCannotBeSyncedDoesNotKeepNewFilesFromBeingMade) {
  PutPairWith(5);
  files_.FlipByte(kFile1, 0);
  files_.FlipByte(kFile2, 0);
  files_.FailOnce(FileOp::kFsync, "/m", EIO);
  ASSERT_EQ(Open(), 1);
  EXPECT_TRUE(Logged(4, "Could not sync the directory of file /m/r_1.mtd, 5: Input/output error"));
  EXPECT_THAT(files_.Paths(), ElementsAre(kFile1, "/m/r_1.mtd.CORRUPT", kFile2));
}

// A power loss came between setting file #1 aside and removing file #2.
TEST_F(RingRecovery, AFileSetAsideDoesNotGiveWayToAnEmptyOne) {
  PutPairWith(5);
  files_.FlipByte(kFile1, 0);
  files_.FlipByte(kFile2, 0);
  const Bytes damaged = files_.ReadBlock(kFile1, 0);
  const Bytes newest = files_.ReadBlock(kFile1, 4);
  files_.CopyContent(kFile1, "/m/r_1.mtd.CORRUPT");
  files_.Delete(kFile1);
  ASSERT_EQ(Open(), 1);
  EXPECT_EQ(files_.ReadBlock("/m/r_1.mtd.CORRUPT", 0), damaged);
  EXPECT_EQ(files_.ReadBlock("/m/r_1.mtd.CORRUPT", 4), newest);
  EXPECT_THAT(files_.Paths(),
              ElementsAre(kFile1, "/m/r_1.mtd.CORRUPT", kFile2, "/m/r_2.mtd.CORRUPT"));
  ExpectOpenedAt(0, 32767, 0);
}

TEST_F(RingRecovery, AStoreThatCannotBeRecreatedFailsTheOpen) {
  PutPairWith(5);
  files_.FlipByte(kFile1, 0);
  files_.FlipByte(kFile2, 0);
  files_.FailOnce(FileOp::kOpen, "/m/r_2.mtd.tmp", ENOSPC);
  EXPECT_EQ(Open(), 0);
  ExpectClosedAfterFailure();
}

// ---- Files that cannot be opened -------------------------------------------------

TEST_F(RingRecovery, AFileOfTheWrongSizeFailsTheOpenAndStaysWhereItIs) {
  PutPairWith(5);
  files_.SetSize(kFile1, 4096);
  EXPECT_EQ(Open(), 0);
  EXPECT_TRUE(FileLogged(2, "File /m/r_1.mtd is incorrectly sized at 4096, should be 134217728"));
  EXPECT_EQ(files_.Size(kFile1), 4096);
  ExpectClosedAfterFailure();
}

TEST_F(RingRecovery, BothFilesAreStartedEvenIfTheFirstFails) {
  PutPairWith(5);
  files_.SetSize(kFile1, 4096);
  files_.SetSize(kFile2, 4096);
  EXPECT_EQ(Open(), 0);
  EXPECT_TRUE(FileLogged(2, "File /m/r_1.mtd is incorrectly sized at 4096, should be 134217728"));
  EXPECT_TRUE(FileLogged(2, "File /m/r_2.mtd is incorrectly sized at 4096, should be 134217728"));
}

TEST_F(RingRecovery, AFailedOpenMayBeTriedAgain) {
  PutPairWith(5);
  files_.FailOnce(FileOp::kOpen, kFile2, EMFILE);
  EXPECT_EQ(Open(), 0);
  EXPECT_EQ(store_.Close(), 1);
  EXPECT_EQ(Open(), 1);
  ExpectOpenedAt(4, 3, 1004);
}

TEST_F(RingRecovery, ABasePathThatBeginsWithADashIsRefused) {
  DataStoreNormal dashed("-r");
  EXPECT_EQ(dashed.Open(), 0);
  EXPECT_EQ(log_.Texts(2).size(), 1U);
  EXPECT_TRUE(files_.Operations().empty());
  EXPECT_EQ(dashed.Close(), 1);
}

TEST_F(RingRecovery, ADashFurtherBackIsNoHindrance) {
  files_.MakeDirectory("/m/-d");
  DataStoreNormal store("/m/-d/-r");
  EXPECT_EQ(store.Open(), 1);
}

TEST_F(RingRecovery, WithoutABasePathTheFilesHaveTheirNumbersForNames) {
  DataStoreNormal store("");
  EXPECT_EQ(store.Open(), 1);
  EXPECT_THAT(files_.Paths(), ElementsAre("_1.mtd", "_2.mtd"));
}

// ---- Loading ---------------------------------------------------------------------

// In a full ring about to wrap the search reads the two ends only.
TEST_F(RingRecovery, ABadCopyOfThePreviousClusterIsRepairedFromTheOtherFile) {
  PutPairWith(kRingClusters);
  files_.FlipByte(kFile1, 32766L * 4096 + 20);
  ASSERT_EQ(Open(), 1);
  EXPECT_TRUE(Logged(4, "Failed to read cluster #32766 from current file will try other file"));
  EXPECT_TRUE(Logged(4, "Rewrote Cluster #32766 to file-/m/r_1.mtd"));
  EXPECT_TRUE(files_.SameContent(kFile1, kFile2));
  ExpectOpenedAt(32767, 32766, 1000 + 32767);
}

TEST_F(RingRecovery, APreviousClusterUnreadableInBothFilesFailsTheOpen) {
  PutPairWith(kRingClusters);
  files_.FlipByte(kFile1, 32766L * 4096);
  files_.FlipByte(kFile2, 32766L * 4096);
  EXPECT_EQ(Open(), 0);
  EXPECT_TRUE(Logged(2, "Failed to read previous cluster 32766"));
  ExpectClosedAfterFailure();
}

TEST_F(RingRecovery, ACurrentClusterUnreadableInBothFilesFailsTheOpen) {
  PutPairWith(kRingClusters);
  // The search reads it once; from then on it cannot be read.
  files_.FailFromNowOn(FileOp::kRead, kFile1, EIO, 3);
  files_.FailFromNowOn(FileOp::kRead, kFile2, EIO, 3);
  EXPECT_EQ(Open(), 0);
  EXPECT_TRUE(Logged(2, "Failed to read current cluster 32767"));
  ExpectClosedAfterFailure();
  EXPECT_EQ(files_.Size(kFile1), kRingBytes);
}

TEST_F(RingRecovery, ATornNextClusterIsHealedFromItsMirror) {
  PutPairWith(kRingClusters);
  PutInBoth(0, ClusterImage(50000, PacketAt(50000)));
  const Bytes old_lap = files_.ReadBlock(kFile1, 1);
  files_.FlipByte(kFile2, 1 * 4096 + 20);
  // File #2's search meets cluster 1; file #1 is the last writer.
  ASSERT_EQ(Open(), 1);
  EXPECT_TRUE(Logged(4, "Rewrote Cluster #1 to file-/m/r_2.mtd"));
  EXPECT_EQ(files_.ReadBlock(kFile2, 1), old_lap);
  EXPECT_TRUE(files_.IsSynced(kFile2));
}

TEST_F(RingRecovery, TheNextClusterIsReadOnceAfterOpenHasSucceeded) {
  PutPairWith(5);
  ASSERT_EQ(Open(), 1);
  const auto reads = files_.Trace({FileOp::kRead});
  EXPECT_EQ(reads.back(), "read /m/r_2.mtd 4096@20480");
}

TEST_F(RingRecovery, ANextClusterUnreadableInBothFilesDoesNotFailTheOpen) {
  PutPairWith(kRingClusters);
  PutInBoth(0, ClusterImage(50000, PacketAt(50000)));
  files_.FailOnce(FileOp::kRead, kFile2, EIO, 16 + 1 + 1);
  files_.FailOnce(FileOp::kRead, kFile2, EIO, 16 + 1 + 2);
  files_.FailOnce(FileOp::kRead, kFile1, EIO, 16 + 2 + 1);
  ASSERT_EQ(Open(), 1);
  EXPECT_TRUE(Logged(64, "Failed to read cluster #1 from metadata files"));
  EXPECT_EQ(WriteTick(store_, 50001), 1);
}

// ---- Without messages ------------------------------------------------------------

TEST_F(RingRecovery, FailsAlikeWithEveryMessageSwitchedOff) {
  const CapturedLog quiet(0);
  DataStoreNormal dashed("-r");
  EXPECT_EQ(dashed.Open(), 0);
  EXPECT_EQ(store_.OpenReadOnly(), 0);  // there are no files
  PutPairWith(kRingClusters);
  files_.FlipByte(kFile1, 32766L * 4096);
  files_.FlipByte(kFile2, 32766L * 4096);
  EXPECT_EQ(Open(), 0);
  ExpectClosedAfterFailure();
  EXPECT_TRUE(quiet.Entries().empty());
}

// ---- The last tick ---------------------------------------------------------------

class LastTick : public RingRecovery {
 protected:
  // The tick found in a store whose only cluster holds `payload`.
  unsigned int TickOf(unsigned int st, const Bytes& payload) {
    store_.Close();
    PutEmptyPair();
    PutInBoth(0, ClusterImage(st, payload));
    log_.Clear();
    EXPECT_EQ(Open(), 1);
    return store_.GetCurrentSystemTick();
  }
};

TEST_F(LastTick, OfAClusterWithoutPacketsIsTheClustersFirst) { EXPECT_EQ(TickOf(77, {}), 77U); }

TEST_F(LastTick, OfAFullHeaderIsItsLittleEndianTick) {
  EXPECT_EQ(TickOf(77, B("80 04 03 02 01 01 36 00")), 0x01020304U);
  EXPECT_TRUE(Logged(128, "HDR1: sysTick(16909060)"));
}

TEST_F(LastTick, OfAShortHeaderReplacesTheLow8Bits) {
  EXPECT_EQ(TickOf(0x01020304, B("81 FE 01 36 00")), 0x010203FEU);
  EXPECT_TRUE(Logged(128, "HDR2: sysTick(16909310)"));
}

TEST_F(LastTick, PacketsAreWalkedByTheirLengths) {
  // Each packet's items hold bytes that would be read as a full header.
  const Bytes bait = B("80 99 99 99 99 00 00");
  EXPECT_EQ(TickOf(1, B("80 10 00 00 00 07") + bait + B("00") +  // full, 7 + 7
                          B("82 07") + bait + B("00") +          // continuation, 7 + 3
                          B("83 02 80 99 99 99 00") +            // dictionary, 2 * 2 + 3
                          B("81 20 07") + bait + B("00")),       // short, 7 + 4
            0x20U);
  EXPECT_THAT(log_.Texts(128), testing::Contains("CONT:"));
  EXPECT_TRUE(Logged(128, "CONT:"));
  EXPECT_TRUE(Logged(128, "DICT"));
  EXPECT_FALSE(Logged(128, "INVALID"));
}

TEST_F(LastTick, UnknownBytesAreSkippedOneByOne) {
  EXPECT_EQ(TickOf(1, B("84 00 FF 80 04 03 02 01 00 00")), 0x01020304U);
  EXPECT_EQ(log_.Count(128, "DataStoreNormal.cc", "INVALID"), 3);
}

TEST_F(LastTick, ThatIsNoTickBecomesZero) {
  EXPECT_EQ(TickOf(1, B("80 FF FF FF FF 00 00")), 0U);
  EXPECT_EQ(TickOf(1, B("80 FE FF FF FF 00 00")), 0U);
  EXPECT_EQ(TickOf(1, B("80 FD FF FF FF 00 00")), 0xFFFFFFFDU);
}

TEST_F(LastTick, OfAClusterWithoutATickYetIsThePreviousClusters) {
  PutPairWith(3);
  PutInBoth(3, ClusterImage(0xFFFFFFFE, B("82 01 36 00")));
  ASSERT_EQ(Open(), 1);
  ExpectOpenedAt(3, 2, 1002);
}

TEST_F(LastTick, TheWalkEndsWithTheClustersUsedBytes) {
  PutEmptyPair();
  Bytes image = ClusterImage(77, B("84"));
  const Bytes behind = B("80 04 03 02 01 00 00");  // left behind the used bytes
  std::copy(behind.begin(), behind.end(), image.begin() + 8);
  PutInBoth(0, image);
  ASSERT_EQ(Open(), 1);
  EXPECT_EQ(store_.GetCurrentSystemTick(), 77U);
}

TEST_F(LastTick, APacketCutOffByTheClustersEndIsNotRead) {
  for (const char* const cut : {"80", "80 04", "80 04 03 02", "80 04 03 02 01", "81", "82", "83"})
    EXPECT_EQ(TickOf(0x01020377, B(cut)) & 0xFFFFFF00U, 0x01020300U) << cut;
}

TEST_F(LastTick, AFullClusterIsWalkedToItsLastByte) {
  Bytes payload = Repeat(0x84, 4089 - 7) + B("80 04 03 02 01 00 00");
  EXPECT_EQ(TickOf(77, payload), 0x01020304U);
  payload = Repeat(0x84, 4088) + B("81");
  EXPECT_EQ(TickOf(77, payload), 77U);
}

// ---- Memory ----------------------------------------------------------------------

class NoMemory : public RingRecovery {
 protected:
  ~NoMemory() override { g_fail_allocation = 0; }
  int OpenWithFailedAllocation(int n) {
    g_fail_allocation = n;
    const int result = Open();
    EXPECT_EQ(g_fail_allocation, 0) << "fewer allocations than thought";
    g_fail_allocation = 0;
    return result;
  }
};

TEST_F(NoMemory, ForAClusterImageFailsTheOpenBeforeAnyFileIsTouched) {
  for (const int n : {2, 3, 4}) {
    log_.Clear();
    EXPECT_EQ(OpenWithFailedAllocation(n), 0);
    EXPECT_TRUE(Logged(1, "NewDataStore: Could not allocate memory"));
    EXPECT_TRUE(files_.Operations().empty());
    EXPECT_EQ(store_.WorkBuffer(), nullptr);
  }
  EXPECT_EQ(Open(), 1);
}

TEST_F(NoMemory, ForAnyBufferFailsAnOpeningForReadingBeforeAnyFileIsTouched) {
  for (const int n : {1, 2, 3, 4}) {
    g_fail_allocation = n;
    EXPECT_EQ(store_.OpenReadOnly(), 0);
    EXPECT_EQ(g_fail_allocation, 0) << "fewer allocations than thought";
    EXPECT_EQ(store_.WorkBuffer(), nullptr);
  }
  EXPECT_EQ(log_.Count(1, "DataStoreNormal.cc", "NewDataStore: Could not allocate memory"), 3);
  EXPECT_TRUE(files_.Operations().empty());
}

TEST_F(NoMemory, ForTheWorkBufferFailsTheOpenOfEveryStore) {
  EXPECT_EQ(OpenWithFailedAllocation(1), 0);
  unsigned char byte = 0xEE;
  DataStoreFlatRead flat_read("/m/f");
  DataStoreFlatWrite flat_write("/m/f");
  DataStoreFlatMessage message(&byte, 1, true);
  for (DataStore* const store :
       std::initializer_list<DataStore*>{&flat_read, &flat_write, &message}) {
    g_fail_allocation = 1;
    EXPECT_EQ(store->Open(), 0);
  }
  EXPECT_TRUE(files_.Operations().empty());
  EXPECT_EQ(byte, 0xEE);
}

TEST_F(NoMemory, FailsTheOpenWithEveryMessageSwitchedOffToo) {
  const CapturedLog quiet(0);
  EXPECT_EQ(OpenWithFailedAllocation(2), 0);
  ExpectClosedAfterFailure();
}

}  // namespace
}  // namespace vmr
