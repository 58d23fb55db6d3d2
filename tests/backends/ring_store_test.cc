// Writing to and reading from the ring store.
#include <errno.h>

#include <limits>

#include "tests/backends/ring_fixture.h"

namespace vmr {
namespace {

using namespace test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class RingStore : public RingTest {
 protected:
  void Open() {
    ASSERT_EQ(store_.Open(), 1);
    files_.ClearOperations();
    log_.Clear();
  }
  void OpenEmpty() {
    PutEmptyPair();
    Open();
  }
  int Write(unsigned int tick, std::size_t length = 100) { return WriteTick(store_, tick, length); }
  // A packet of any length: only the ring's bookkeeping looks at it.
  int WriteRaw(std::size_t length, unsigned int tick) {
    return RingTest::Write(store_, Repeat(0x84, length), tick);
  }
  int Read(long position, int room = 4096) {
    buffer_.assign(4096, 0xEE);
    return store_.ReadDataIntoBuffer(position, buffer_.data(), room, bytes_read_, next_);
  }
  Bytes ReadBytes() const { return Bytes(buffer_.begin(), buffer_.begin() + bytes_read_); }
  std::vector<std::string> Writes() const { return files_.Trace({FileOp::kWrite, FileOp::kFsync}); }

  DataStoreNormal store_{kBase};
  Bytes buffer_;
  int bytes_read_ = -5;
  long next_ = -5;
};

// ---- Cluster numbers -------------------------------------------------------------

TEST_F(RingStore, GetPrevClusterOfZeroIs32767AndGetNextClusterOf32767IsZero) {
  EXPECT_EQ(DataStoreNormal::GetPrevCluster(0), 32767);
  EXPECT_EQ(DataStoreNormal::GetNextCluster(32767), 0);
  EXPECT_EQ(DataStoreNormal::GetPrevCluster(32767), 32766);
  EXPECT_EQ(DataStoreNormal::GetNextCluster(0), 1);
}

TEST_F(RingStore, AdjustClusterNumberFoldsAsymmetrically) {
  EXPECT_EQ(DataStoreNormal::AdjustClusterNumber(32768), -1);
  EXPECT_EQ(DataStoreNormal::AdjustClusterNumber(32769), 0);
  EXPECT_EQ(DataStoreNormal::AdjustClusterNumber(-1), 32767);
  EXPECT_THAT(log_.Texts(2), ElementsAre("Adjusting cluster (32768) to be in range",
                                         "Adjusting cluster (32769) to be in range",
                                         "Adjusting cluster (-1) to be in range"));
  EXPECT_TRUE(Logged(2, "Adjusting cluster (-1) to be in range"));
  log_.Clear();
  EXPECT_EQ(DataStoreNormal::AdjustClusterNumber(0), 0);
  EXPECT_EQ(DataStoreNormal::AdjustClusterNumber(32767), 32767);
  EXPECT_TRUE(log_.Entries().empty());
}

// ---- Writing ---------------------------------------------------------------------

TEST_F(RingStore, PacketsOf1000BytesInAFreshStoreFillClustersInTurn) {
  OpenEmpty();
  for (unsigned int n = 1; n <= 4; ++n) ASSERT_EQ(WriteRaw(1000, 50 + n), 1);
  EXPECT_EQ(store_.CurrentCluster(), 0);
  EXPECT_EQ(files_.ReadBlock(kFile1, 0), ClusterImage(51, Repeat(0x84, 4000)));
  ASSERT_EQ(WriteRaw(1000, 55), 1);
  EXPECT_EQ(store_.CurrentCluster(), 1);
  // The new store's first write goes to file #2, so it takes writes 1, 3 and 5,
  // and with the fifth the final form of cluster 0.
  EXPECT_THAT(files_.Trace({FileOp::kWrite}),
              ElementsAre("write /m/r_2.mtd 4096@0", "write /m/r_1.mtd 4096@0",
                          "write /m/r_2.mtd 4096@0", "write /m/r_1.mtd 4096@0",
                          "write /m/r_2.mtd 4096@0", "write /m/r_2.mtd 4096@4096"));
  EXPECT_EQ(files_.ReadBlock(kFile2, 0), ClusterImage(51, Repeat(0x84, 4000)));
  EXPECT_EQ(files_.ReadBlock(kFile2, 1), ClusterImage(55, Repeat(0x84, 1000)));
  EXPECT_EQ(files_.ReadBlock(kFile1, 1), NeverWritten());
}

TEST_F(RingStore, TheFirstPacketIsOnDiskByteForByte) {
  OpenEmpty();
  const Bytes packet = B("80 04 03 02 01 02 35 36 00");
  ASSERT_EQ(RingTest::Write(store_, packet, 0x01020304), 1);
  Bytes image = B("00 04 03 02 01 10 00 80 04 03 02 01 02 35 36 00");
  image[0] = ReferenceCrc(image, 1, 16);
  image.resize(4096);
  EXPECT_EQ(files_.ReadBlock(kFile2, 0), image);
}

TEST_F(RingStore, EveryPacketCostsOneWriteAndOneSyncInAlternatingFiles) {
  OpenEmpty();
  for (unsigned int tick = 1; tick <= 3; ++tick) ASSERT_EQ(Write(tick), 1);
  EXPECT_THAT(Writes(),
              ElementsAre("write /m/r_2.mtd 4096@0", "fsync /m/r_2.mtd", "write /m/r_1.mtd 4096@0",
                          "fsync /m/r_1.mtd", "write /m/r_2.mtd 4096@0", "fsync /m/r_2.mtd"));
}

// Lengths of all kinds, clusters that begin with continuations and get their tick later,
// and a store that is closed and opened amid a cluster.
TEST_F(RingStore, EveryClusterIsWrittenWithTheCrcOfItsBytes) {
  OpenEmpty();
  for (unsigned int n = 1; n <= 400; ++n) {
    const std::size_t length = n % 7 == 0 ? 4089 - n : 8 + n * 31 % 254;
    const unsigned int tick = n % 5 < 3 ? 0xFFFFFFFE : n;
    ASSERT_EQ(WriteRaw(length, tick), 1);
    const auto cluster = static_cast<std::size_t>(store_.CurrentCluster());
    const std::string last_write = files_.Trace({FileOp::kWrite}).back();
    const bool to_file1 = last_write.find(kFile1) != std::string::npos;
    const Bytes image = files_.ReadBlock(to_file1 ? kFile1 : kFile2, cluster);
    const std::size_t size = image[5] | static_cast<std::size_t>(image[6]) << 8;
    ASSERT_GE(size, 7 + length);
    ASSERT_EQ(image[0], ReferenceCrc(image, 1, size)) << "packet " << n;
    if (n % 90 == 0) {
      store_.Close();
      Open();
    }
  }
  EXPECT_GT(store_.CurrentCluster(), 50);
}

TEST_F(RingStore, AClosedClusterIsCaughtUpByTheFileThatMissedItsEnd) {
  OpenEmpty();
  ASSERT_EQ(WriteRaw(4000, 1), 1);  // file #2
  ASSERT_EQ(WriteRaw(4000, 2), 1);  // file #1 lacks cluster 0
  EXPECT_THAT(Writes(),
              ElementsAre("write /m/r_2.mtd 4096@0", "fsync /m/r_2.mtd", "write /m/r_1.mtd 4096@0",
                          "fsync /m/r_1.mtd", "write /m/r_1.mtd 4096@4096", "fsync /m/r_1.mtd"));
  EXPECT_TRUE(Logged(128, "wrote prevBuffer to file #1 cluster #0"));
}

TEST_F(RingStore, ALongRecordingCostsOneWritePerPacketAndOneMorePerClosedCluster) {
  OpenEmpty();
  std::vector<std::string> expected;
  std::string file = kFile2;
  for (unsigned int tick = 1; tick <= 200; ++tick) {
    const int before = store_.CurrentCluster();
    ASSERT_EQ(Write(tick, 200), 1);
    const auto written = [&](int cluster) {
      expected.push_back("write " + file + " 4096@" + std::to_string(cluster * 4096));
      expected.push_back("fsync " + file);
    };
    if (store_.CurrentCluster() != before) written(before);
    written(store_.CurrentCluster());
    file = file == kFile1 ? kFile2 : kFile1;
  }
  EXPECT_EQ(store_.CurrentCluster(), 9);
  EXPECT_EQ(Writes(), expected);
  for (std::size_t cluster = 0; cluster < 9; ++cluster)
    EXPECT_EQ(files_.ReadBlock(kFile1, cluster), files_.ReadBlock(kFile2, cluster));
}

TEST_F(RingStore, APacketThatFillsAClusterExactlyStaysInThatCluster) {
  OpenEmpty();
  ASSERT_EQ(WriteRaw(4000, 1), 1);
  ASSERT_EQ(WriteRaw(89, 2), 1);
  EXPECT_EQ(store_.CurrentCluster(), 0);
  EXPECT_EQ(files_.ReadBlock(kFile1, 0), ClusterImage(1, Repeat(0x84, 4089)));
}

TEST_F(RingStore, OneByteMoreThanFitsOpensTheNextCluster) {
  OpenEmpty();
  ASSERT_EQ(WriteRaw(4000, 1), 1);
  ASSERT_EQ(WriteRaw(90, 2), 1);
  EXPECT_EQ(store_.CurrentCluster(), 1);
  EXPECT_EQ(store_.PreviousCluster(), 0);
  EXPECT_EQ(files_.ReadBlock(kFile1, 1), ClusterImage(2, Repeat(0x84, 90)));
}

TEST_F(RingStore, AfterCluster32767TheNextClusterIsZero) {
  PutPairWith(kRingClusters);
  Open();
  EXPECT_EQ(store_.CurrentCluster(), 32767);
  ASSERT_EQ(WriteRaw(4089, 99999), 1);
  EXPECT_EQ(store_.CurrentCluster(), 0);
  EXPECT_EQ(store_.PreviousCluster(), 32767);
  EXPECT_EQ(files_.ReadBlock(kFile2, 0), ClusterImage(99999, Repeat(0x84, 4089)));
  EXPECT_TRUE(Logged(32, "Moving to new cluster from cluster 32767"));
}

TEST_F(RingStore, EveryStepOfAWriteIsTraced) {
  OpenEmpty();
  ASSERT_EQ(WriteRaw(3000, 71), 1);
  EXPECT_THAT(log_.Texts(128),
              ElementsAre("writing into data store 3000 bytes at sysTick 71", "current size 7",
                          "add in 3000 to get 3007 into cluster 0",
                          "wrote currBuffer to file #2 cluster #0"));
  log_.Clear();
  ASSERT_EQ(WriteRaw(3000, 72), 1);
  EXPECT_THAT(log_.Texts(128),
              ElementsAre("writing into data store 3000 bytes at sysTick 72", "current size 7",
                          "add in 3000 to get 3007 into cluster 1",
                          "wrote prevBuffer to file #1 cluster #0",
                          "wrote currBuffer to file #1 cluster #1"));
  EXPECT_THAT(log_.Texts(32), ElementsAre("Moving to new cluster from cluster 0"));
  EXPECT_TRUE(Logged(128, "current size 7"));
}

TEST_F(RingStore, AClusterOpenedByAContinuationTakesItsTickFromTheNextPacket) {
  OpenEmpty();
  ASSERT_EQ(WriteRaw(4000, 1), 1);
  ASSERT_EQ(WriteRaw(200, 0xFFFFFFFE), 1);
  EXPECT_EQ(files_.ReadBlock(kFile1, 1), ClusterImage(0xFFFFFFFE, Repeat(0x84, 200)));
  ASSERT_EQ(WriteRaw(100, 5), 1);
  EXPECT_EQ(files_.ReadBlock(kFile2, 1), ClusterImage(5, Repeat(0x84, 300)));
  ASSERT_EQ(WriteRaw(100, 6), 1);
  EXPECT_EQ(files_.ReadBlock(kFile1, 1), ClusterImage(5, Repeat(0x84, 400)));
}

TEST_F(RingStore, ANullPacketIsRefused) {
  OpenEmpty();
  EXPECT_EQ(store_.WriteData(nullptr, 5, 1), 0);
  EXPECT_TRUE(Logged(1, "Null value passed to WriteData"));
  EXPECT_TRUE(files_.Operations().empty());
}

TEST_F(RingStore, LengthsBelow1OrAbove4089AreRefused) {
  OpenEmpty();
  const Bytes data = Repeat(0x84, 5000);
  for (const int length : {0, -1, 4090, 5000, -2147483647 - 1, 2147483647}) {
    log_.Clear();
    EXPECT_EQ(store_.WriteData(data.data(), length, 1), 0) << length;
    EXPECT_EQ(log_.Texts(2).size(), 1U) << length;
  }
  EXPECT_TRUE(files_.Operations().empty());
  EXPECT_EQ(store_.CurrentCluster(), 0);
}

TEST_F(RingStore, LengthsOf1And4089AreTaken) {
  OpenEmpty();
  EXPECT_EQ(WriteRaw(4089, 1), 1);
  EXPECT_EQ(files_.ReadBlock(kFile2, 0), ClusterImage(1, Repeat(0x84, 4089)));
  EXPECT_EQ(WriteRaw(1, 2), 1);
  EXPECT_EQ(files_.ReadBlock(kFile1, 1), ClusterImage(2, B("84")));
}

// ---- Writes that fail ------------------------------------------------------------

TEST_F(RingStore, AFailedClusterWriteIsStillASuccess) {
  OpenEmpty();
  files_.FailOnce(FileOp::kWrite, kFile2, EIO);
  EXPECT_EQ(Write(1), 1);
  EXPECT_TRUE(FileLogged(2,
                         "Could not write metadata file at cluster 0 (0) - 5: Input/output "
                         "error"));
  EXPECT_FALSE(Logged(128, "wrote currBuffer to file #2 cluster #0"));
}

// ---- What a host may acknowledge ---------------------------------------------------

TEST_F(RingStore, APacketIsStoredOnceOneFileHasItSynced) {
  OpenEmpty();
  EXPECT_FALSE(store_.LastPacketStored()) << "nothing written yet";
  Write(1);
  EXPECT_TRUE(store_.LastPacketStored());
  files_.FailOnce(FileOp::kWrite, kFile1, EIO);
  Write(2);
  EXPECT_FALSE(store_.LastPacketStored());
  EXPECT_EQ(store_.PacketsNotStored(), 1U);
  files_.FailOnce(FileOp::kFsync, kFile2, EIO);
  Write(3);
  EXPECT_FALSE(store_.LastPacketStored());
  EXPECT_EQ(store_.PacketsNotStored(), 2U);
  EXPECT_EQ(store_.FailedWrites(1), 1U);
  EXPECT_EQ(store_.FailedWrites(2), 1U);
  EXPECT_EQ(store_.FailedWrites(3), 0U);
  Write(4);  // file #1 takes the whole cluster
  EXPECT_TRUE(store_.LastPacketStored());
  EXPECT_EQ(store_.PacketsNotStored(), 0U);
}

TEST_F(RingStore, ARefusedPacketIsNotStored) {
  OpenEmpty();
  Write(1);
  EXPECT_EQ(WriteRaw(4090, 2), 0);
  EXPECT_FALSE(store_.LastPacketStored());
  EXPECT_EQ(store_.PacketsNotStored(), 0U) << "it was never taken";
}

TEST_F(RingStore, PacketsThatNoFileTookBeforeTheirClusterLeftMemoryAreCountedToTheEnd) {
  OpenEmpty();
  files_.FailFromNowOn(FileOp::kWrite, "", ENOSPC);
  for (unsigned int tick = 1; tick <= 3; ++tick) WriteRaw(3000, tick);
  EXPECT_EQ(store_.PacketsNotStored(), 3U);
  EXPECT_FALSE(store_.LastPacketStored());
  files_.ClearFaults();
  WriteRaw(3000, 4);  // closes cluster 2; the flush saves cluster 1, cluster 0 is gone
  EXPECT_TRUE(store_.LastPacketStored());
  store_.Close();
  const unsigned long left = store_.PacketsNotStored();
  EXPECT_EQ(left, 1U);
  ASSERT_EQ(store_.Open(), 1);
  EXPECT_EQ(store_.PacketsNotStored(), 0U) << "counted since Open";
  EXPECT_EQ(store_.FailedWrites(1), 0U);
}

TEST_F(RingStore, DataThatAFileCouldNotTakeIsWrittenWithTheNextPacket) {
  OpenEmpty();
  files_.FailOnce(FileOp::kWrite, kFile2, EIO);
  Write(1);
  Write(2);
  EXPECT_EQ(files_.ReadBlock(kFile1, 0), ClusterImage(1, PacketAt(1) + PacketAt(2)));
  Write(3);
  EXPECT_EQ(files_.ReadBlock(kFile2, 0), ClusterImage(1, PacketAt(1) + PacketAt(2) + PacketAt(3)));
}

TEST_F(RingStore, AFailedLastWriteOfAClusterIsRewrittenOnThatFilesNextTurn) {
  OpenEmpty();
  ASSERT_EQ(WriteRaw(1000, 1), 1);  // file #2
  files_.FailOnce(FileOp::kWrite, kFile1, EIO);
  ASSERT_EQ(WriteRaw(3000, 2), 1);  // file #1 fails; nobody has the second packet
  ASSERT_EQ(WriteRaw(1000, 3), 1);  // file #2 catches up and opens cluster 1
  const Bytes final_form = ClusterImage(1, Repeat(0x84, 4000));
  EXPECT_EQ(files_.ReadBlock(kFile2, 0), final_form);
  EXPECT_EQ(files_.ReadBlock(kFile1, 0), NeverWritten());
  ASSERT_EQ(WriteRaw(1000, 4), 1);  // file #1's turn again
  EXPECT_EQ(files_.ReadBlock(kFile1, 0), final_form);
  EXPECT_EQ(files_.ReadBlock(kFile1, 1), ClusterImage(3, Repeat(0x84, 2000)));
}

// With a newer cluster, and without the end of the one before, it would be taken for
// the last writer at the next start.
TEST_F(RingStore, AFileThatFailedToCatchUpDoesNotGetTheNewerCluster) {
  OpenEmpty();
  ASSERT_EQ(WriteRaw(4000, 1), 1);  // file #2
  files_.FailOnce(FileOp::kWrite, kFile1, EIO);
  ASSERT_EQ(WriteRaw(1000, 2), 1);  // file #1 fails to catch up; file #2 takes the packet
  EXPECT_TRUE(store_.LastPacketStored());
  EXPECT_EQ(files_.ReadBlock(kFile1, 0), NeverWritten());
  EXPECT_EQ(files_.ReadBlock(kFile1, 1), NeverWritten());
  EXPECT_EQ(files_.ReadBlock(kFile2, 1), ClusterImage(2, Repeat(0x84, 1000)));
  ASSERT_EQ(WriteRaw(1000, 3), 1);  // still file #1's turn
  EXPECT_EQ(files_.ReadBlock(kFile1, 0), ClusterImage(1, Repeat(0x84, 4000)));
  EXPECT_EQ(files_.ReadBlock(kFile1, 1), ClusterImage(2, Repeat(0x84, 2000)));
  EXPECT_EQ(log_.Count(128, "DataStoreNormal.cc", "wrote prevBuffer to file #1 cluster #0"), 1);
  ASSERT_EQ(WriteRaw(1000, 4), 1);
  EXPECT_EQ(files_.ReadBlock(kFile2, 1), ClusterImage(2, Repeat(0x84, 3000)));
}

TEST_F(RingStore, AFileThatStaysBrokenLeavesEveryPacketToTheOther) {
  OpenEmpty();
  ASSERT_EQ(WriteRaw(4000, 1), 1);  // file #2
  files_.FailFromNowOn(FileOp::kWrite, kFile1, EIO);
  for (unsigned int tick = 2; tick < 6; ++tick) {
    ASSERT_EQ(WriteRaw(900, tick), 1);
    EXPECT_TRUE(store_.LastPacketStored()) << tick;
  }
  EXPECT_EQ(files_.ReadBlock(kFile2, 1), ClusterImage(2, Repeat(0x84, 3600)));
  EXPECT_EQ(store_.FailedWrites(1), 4U);
}

// Both lack a cluster that was closed without a tick, until they get it with one.
TEST_F(RingStore, FilesStillLackingThePreviousClusterGetItBeforeItIsForgotten) {
  OpenEmpty();
  ASSERT_EQ(WriteRaw(4000, 1), 1);           // file #2
  ASSERT_EQ(WriteRaw(4000, 0xFFFFFFFE), 1);  // file #1
  files_.FailFromNowOn(FileOp::kWrite, "", EIO);
  ASSERT_EQ(WriteRaw(4000, 5), 1);
  files_.ClearFaults();
  log_.Clear();
  ASSERT_EQ(WriteRaw(4000, 6), 1);  // file #1's turn; file #2 is the other one
  EXPECT_TRUE(Logged(128, "wrote prevBuffer to file #1 cluster #1"));
  EXPECT_TRUE(Logged(128, "wrote prevBuffer to file #2cluster #1"));
  for (const char* const file : {kFile1, kFile2})
    EXPECT_EQ(files_.ReadBlock(file, 1), ClusterImage(5, Repeat(0x84, 4000)));
}

// A search that met it would take what lies behind it for a drop of the ticks.
TEST_F(RingStore, AClusterFilledByContinuationsAloneGetsTheTickOfThePacketBehindIt) {
  OpenEmpty();
  ASSERT_EQ(WriteRaw(4000, 7), 1);
  for (int n = 0; n < 15; ++n) ASSERT_EQ(WriteRaw(258, 0xFFFFFFFE), 1);
  EXPECT_EQ(files_.ReadBlock(kFile1, 1), ClusterImage(0xFFFFFFFE, Repeat(0x84, 15 * 258)));
  ASSERT_EQ(WriteRaw(262, 9), 1);
  ASSERT_EQ(WriteRaw(10, 10), 1);
  for (const char* const file : {kFile1, kFile2})
    EXPECT_EQ(files_.ReadBlock(file, 1), ClusterImage(9, Repeat(0x84, 15 * 258))) << file;
}

TEST_F(RingStore, TheFileWhoseTurnItIsGetsThePreviousClusterFirstToo) {
  OpenEmpty();
  ASSERT_EQ(WriteRaw(1000, 1), 1);  // file #2
  ASSERT_EQ(WriteRaw(3000, 2), 1);  // file #1: cluster 0 is complete
  files_.FailFromNowOn(FileOp::kWrite, kFile2, EIO);
  ASSERT_EQ(WriteRaw(2000, 3), 1);  // file #2 misses cluster 0's end and cluster 1
  ASSERT_EQ(WriteRaw(2000, 4), 1);  // file #1
  files_.ClearFaults();
  log_.Clear();
  ASSERT_EQ(WriteRaw(4000, 5), 1);  // file #2 opens cluster 2
  EXPECT_TRUE(Logged(128, "wrote prevBuffer to file #2 cluster #0"));
  EXPECT_TRUE(Logged(128, "wrote prevBuffer to file #2 cluster #1"));
  EXPECT_EQ(files_.ReadBlock(kFile2, 0), files_.ReadBlock(kFile1, 0));
  EXPECT_EQ(files_.ReadBlock(kFile2, 1), files_.ReadBlock(kFile1, 1));
}

TEST_F(RingStore, AFileThatLosesTheEndOfAClusterForGoodIsNamed) {
  OpenEmpty();
  files_.FailFromNowOn(FileOp::kWrite, kFile1, EIO);
  ASSERT_EQ(WriteRaw(4000, 1), 1);  // file #2
  ASSERT_EQ(WriteRaw(4000, 2), 1);  // file #1 takes neither cluster 0 nor 1
  EXPECT_FALSE(Logged(2, "File #1 lacks the end of cluster 0, only the other file has it"));
  ASSERT_EQ(WriteRaw(4000, 3), 1);  // cluster 0 leaves the memory
  EXPECT_TRUE(Logged(2, "File #1 lacks the end of cluster 0, only the other file has it"));
}

// ---- Reading one cluster ---------------------------------------------------------

TEST_F(RingStore, AClusterIsReadFromTheFileWhoseTurnItIs) {
  PutPairWith(5);
  Open();
  buffer_.resize(4096);
  EXPECT_EQ(store_.ReadCluster(buffer_.data(), 1), 1);
  EXPECT_EQ(buffer_, OnePacket(1));
  EXPECT_THAT(files_.Trace({FileOp::kRead}), ElementsAre("read /m/r_2.mtd 4096@4096"));
  EXPECT_TRUE(Logged(128, "Reading Cluster #1"));
}

TEST_F(RingStore, AViewingStorePrintsWhichClusterItReads) {
  PutPairWith(5);
  Open();
  buffer_.resize(4096);
  store_.SetViewMode(1);
  testing::internal::CaptureStdout();
  EXPECT_EQ(store_.ReadCluster(buffer_.data(), 3), 1);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "     ****Reading Cluster 3****\n");
  store_.SetViewMode(2);
  testing::internal::CaptureStdout();
  EXPECT_EQ(store_.ReadCluster(buffer_.data(), 3), 1);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

// The example of a CRC error in file #1 needs file #1 to be the one that is read
// first, which it is after one write.
TEST_F(RingStore, ACrcErrorInFile1sCopyOfAClosedClusterIsRepairedFromFile2) {
  PutPairWith(5);
  Open();
  Write(2000);
  files_.FlipByte(kFile1, 1 * 4096 + 10);
  files_.ClearOperations();
  EXPECT_EQ(Read(1 * 4096), 1);
  EXPECT_EQ(ReadBytes(), PacketAt(1001));
  EXPECT_TRUE(Logged(4, "Failed to read cluster #1 from current file will try other file"));
  EXPECT_TRUE(Logged(4, "Rewrote Cluster #1 to file-/m/r_1.mtd"));
  EXPECT_EQ(files_.ReadBlock(kFile1, 1), OnePacket(1));
  EXPECT_TRUE(files_.IsSynced(kFile1));
}

TEST_F(RingStore, AnUnreadableClusterIsRepairedAfterAnInputError) {
  PutPairWith(5);
  Open();
  files_.FailOnce(FileOp::kRead, kFile2, EIO);
  EXPECT_EQ(Read(0), 1);
  EXPECT_EQ(ReadBytes(), PacketAt(1000));
  EXPECT_TRUE(Logged(4, "Rewrote Cluster #0 to file-/m/r_2.mtd"));
}

TEST_F(RingStore, ARepairThatFailsDoesNotFailTheRead) {
  PutPairWith(5);
  Open();
  files_.FlipByte(kFile2, 4096);
  files_.FailOnce(FileOp::kWrite, kFile2, EIO);
  EXPECT_EQ(Read(1 * 4096), 1);
  EXPECT_EQ(ReadBytes(), PacketAt(1001));
}

TEST_F(RingStore, AClusterUnreadableInBothFilesFailsThatReadOnly) {
  PutPairWith(5);
  Open();
  files_.FlipByte(kFile1, 1 * 4096);
  files_.FlipByte(kFile2, 1 * 4096);
  EXPECT_EQ(Read(1 * 4096), 0);
  EXPECT_EQ(bytes_read_, 0);
  EXPECT_TRUE(Logged(64, "Failed to read cluster #1 from metadata files"));
  EXPECT_TRUE(Logged(2, "Failed to read cluster"));
  EXPECT_EQ(Read(2 * 4096), 1);
  EXPECT_EQ(ReadBytes(), PacketAt(1002));
}

// ---- Reading by position ---------------------------------------------------------

TEST_F(RingStore, ReadingAClusterWholeLeadsToTheNextOne) {
  PutPairWith(5);
  Open();
  EXPECT_EQ(Read(1 * 4096), 1);
  EXPECT_EQ(bytes_read_, 100);
  EXPECT_EQ(next_, 2 * 4096);
  EXPECT_TRUE(Logged(128, "read request at pos 4096 cluster 1 offset 7"));
  EXPECT_TRUE(Logged(128, "data found in cluster read from file"));
}

TEST_F(RingStore, ABufferTooSmallForTheClusterLeadsIntoTheCluster) {
  PutPairWith(5);
  Open();
  EXPECT_EQ(Read(1 * 4096, 40), 1);
  EXPECT_EQ(bytes_read_, 40);
  EXPECT_EQ(next_, 1 * 4096 + 40);
}

TEST_F(RingStore, ABufferOfExactlyTheClustersBytesLeadsToTheNextOne) {
  PutPairWith(5);
  Open();
  EXPECT_EQ(Read(1 * 4096, 100), 1);
  EXPECT_EQ(next_, 2 * 4096);
}

TEST_F(RingStore, TheNextPositionCountsFromTheClustersStartWhereverTheReadBegan) {
  PutPairWith(5);
  Open();
  EXPECT_EQ(Read(1 * 4096 + 10, 40), 1);
  EXPECT_EQ(ReadBytes(), [] {
    const Bytes packet = PacketAt(1001);
    return Bytes(packet.begin() + 10, packet.begin() + 50);
  }());
  EXPECT_EQ(next_, 1 * 4096 + 40);
}

TEST_F(RingStore, APositionBehindAClustersBytesContinuesWithTheNextCluster) {
  PutPairWith(5);
  Open();
  EXPECT_EQ(Read(1 * 4096 + 100), 1);
  EXPECT_EQ(ReadBytes(), PacketAt(1002));
  EXPECT_EQ(next_, 3 * 4096);
  EXPECT_TRUE(Logged(128, "read request at pos 4196 cluster 2 offset 7"));
}

TEST_F(RingStore, ThePreviousClusterIsServedFromMemory) {
  PutPairWith(5);
  Open();
  EXPECT_EQ(Read(3 * 4096), 1);
  EXPECT_EQ(ReadBytes(), PacketAt(1003));
  EXPECT_EQ(next_, 4 * 4096);
  EXPECT_TRUE(Logged(128, "data found in prevBuffer"));
  EXPECT_THAT(files_.Operations(), IsEmpty());
}

TEST_F(RingStore, APositionBehindThePreviousClusterContinuesInTheCurrentOne) {
  PutPairWith(5);
  Open();
  EXPECT_EQ(Read(3 * 4096 + 100), 1);
  EXPECT_EQ(ReadBytes(), PacketAt(1004));
  EXPECT_TRUE(Logged(128, "data found in currBuffer"));
}

TEST_F(RingStore, TheCurrentClusterIsServedFromMemoryAndLeadsNowhereElse) {
  PutPairWith(5);
  Open();
  EXPECT_EQ(Read(4 * 4096), 1);
  EXPECT_EQ(ReadBytes(), PacketAt(1004));
  EXPECT_EQ(next_, 4 * 4096 + 100);
  EXPECT_THAT(files_.Operations(), IsEmpty());
  EXPECT_EQ(Read(4 * 4096, 30), 1);
  EXPECT_EQ(bytes_read_, 30);
  EXPECT_EQ(next_, 4 * 4096 + 30);
}

TEST_F(RingStore, TheEndOfTheCurrentClusterGivesNothingAndItsSize) {
  PutPairWith(5);
  Open();
  EXPECT_EQ(Read(4 * 4096 + 100), 1);
  EXPECT_EQ(bytes_read_, 0);
  EXPECT_EQ(next_, 4 * 4096 + 107);
  EXPECT_TRUE(Logged(128, "data found in currBuffer"));
}

TEST_F(RingStore, AReaderAtTheEndOfAFullCurrentClusterStaysInIt) {
  OpenEmpty();
  ASSERT_EQ(WriteRaw(4089, 1), 1);
  EXPECT_EQ(Read(0), 1);
  EXPECT_EQ(bytes_read_, 4089);
  EXPECT_EQ(next_, 4089);
  EXPECT_EQ(Read(next_), 1);
  EXPECT_EQ(bytes_read_, 0);
  EXPECT_EQ(next_, 4095);
  EXPECT_EQ(Read(next_), 1);
  EXPECT_EQ(bytes_read_, 0);
  EXPECT_EQ(next_, 4095);
}

TEST_F(RingStore, ReadingANeverWrittenClusterGivesNothingAndTheNextClustersStart) {
  PutPairWith(5);
  Open();
  EXPECT_EQ(Read(10 * 4096), 1);
  EXPECT_EQ(bytes_read_, 0);
  EXPECT_EQ(next_, 11 * 4096);
  EXPECT_EQ(Read(32767L * 4096), 1);
  EXPECT_EQ(bytes_read_, 0);
  EXPECT_EQ(next_, 0);
}

TEST_F(RingStore, AnEmptyButUsedClusterIsPassedOver) {
  PutPairWith(5);
  PutInBoth(1, ClusterImage(1001, {}));
  Open();
  EXPECT_EQ(Read(1 * 4096), 1);
  EXPECT_EQ(ReadBytes(), PacketAt(1002));
}

TEST_F(RingStore, ANewStoreHasNothingToRead) {
  OpenEmpty();
  EXPECT_EQ(store_.InitialReadLocation(), 0);
  EXPECT_EQ(Read(0), 1);
  EXPECT_EQ(bytes_read_, 0);
}

TEST_F(RingStore, ReadingRefusesANullBuffer) {
  PutPairWith(5);
  Open();
  EXPECT_EQ(store_.ReadDataIntoBuffer(0, nullptr, 4096, bytes_read_, next_), 0);
  EXPECT_TRUE(Logged(2, "Null value passed to ReadDataIntoBuffer"));
}

TEST_F(RingStore, PositionsOutsideTheRingAreFolded) {
  PutPairWith(5);
  Open();
  EXPECT_EQ(Read(32769L * 4096), 1);  // cluster 0
  EXPECT_EQ(ReadBytes(), PacketAt(1000));
  EXPECT_TRUE(Logged(2, "Adjusting cluster (32769) to be in range"));
  EXPECT_EQ(Read(32768L * 4096), 0);  // cluster -1: none
  EXPECT_EQ(Read(-1), 0);
}

TEST_F(RingStore, PositionsFarOutsideTheRingAreNotCutDownToOnesInIt) {
  PutPairWith(5);
  Open();
  for (const long position : {std::numeric_limits<long>::max(), std::numeric_limits<long>::min()}) {
    EXPECT_EQ(Read(position), 0) << position;
    EXPECT_EQ(bytes_read_, 0);
  }
}

TEST_F(RingStore, ABufferWithoutRoomReadsNothing) {
  PutPairWith(5);
  Open();
  for (const int room : {0, -1}) {
    EXPECT_EQ(Read(0, room), 0);
    EXPECT_EQ(buffer_[0], 0xEE);
  }
}

TEST_F(RingStore, EverythingWrittenIsReadBackInOrder) {
  OpenEmpty();
  std::vector<unsigned int> ticks;
  for (unsigned int tick = 1; tick <= 100; ++tick) {
    ASSERT_EQ(Write(tick, 7 + tick * 2), 1);
    ticks.push_back(tick);
  }
  EXPECT_EQ(store_.CurrentCluster(), 2);
  EXPECT_EQ(TicksOf(ReadStream(store_, store_.InitialReadLocation())), ticks);
}

TEST_F(RingStore, AWrappedRingIsReadFromItsOldestClusterToItsNewest) {
  PutPairWith(kRingClusters);
  Open();
  ASSERT_EQ(WriteRaw(4089, 40000), 1);  // cluster 0
  ASSERT_EQ(Write(40001), 1);           // cluster 1
  EXPECT_EQ(store_.InitialReadLocation(), 2 * 4096);
  std::vector<unsigned int> ticks;
  for (unsigned int cluster = 2; cluster < kRingClusters; ++cluster)
    ticks.push_back(1000 + cluster);
  Bytes stream = ReadStream(store_, store_.InitialReadLocation());
  const Bytes newest = Repeat(0x84, 4089) + PacketAt(40001);
  ASSERT_GT(stream.size(), newest.size());
  const auto split = stream.end() - static_cast<long>(newest.size());
  EXPECT_EQ(Bytes(split, stream.end()), newest);
  stream.erase(split, stream.end());
  EXPECT_EQ(TicksOf(stream), ticks);
}

TEST_F(RingStore, ARingThatIsAboutToWrapIsReadFromClusterZero) {
  PutPairWith(kRingClusters);
  Open();
  EXPECT_EQ(store_.InitialReadLocation(), 0);
}

TEST_F(RingStore, ARingThatHasNotWrappedIsReadFromClusterZero) {
  PutPairWith(5);
  Open();
  EXPECT_EQ(store_.InitialReadLocation(), 0);
}

TEST_F(RingStore, ARingWhoseOldestClustersAreLostIsReadFromTheFirstThatIsNot) {
  PutPairWith(kRingClusters);
  PutInBoth(0, ClusterImage(50000, PacketAt(50000)));
  Open();
  for (const long lost : {1L, 2L}) {
    files_.FlipByte(kFile1, lost * 4096);
    files_.FlipByte(kFile2, lost * 4096);
  }
  EXPECT_EQ(store_.InitialReadLocation(), 3 * 4096);
}

TEST_F(RingStore, ARingOfWhichNothingCanBeReadAnyMoreIsReadFromWhatIsInMemory) {
  PutPairWith(5);
  Open();
  const CapturedLog quiet(0);
  files_.FailFromNowOn(FileOp::kRead, "", EIO);
  EXPECT_EQ(store_.InitialReadLocation(), 4 * 4096);
  EXPECT_EQ(TicksOf(ReadStream(store_, 4 * 4096)), (std::vector<unsigned int>{1004}));
}

// ---- Without messages ------------------------------------------------------------

TEST_F(RingStore, RefusesAlikeWithEveryMessageSwitchedOff) {
  PutPairWith(5);
  Open();
  const CapturedLog quiet(0);
  EXPECT_EQ(store_.WriteData(nullptr, 5, 1), 0);
  EXPECT_EQ(WriteRaw(4090, 1), 0);
  EXPECT_EQ(store_.ReadDataIntoBuffer(0, nullptr, 4096, bytes_read_, next_), 0);
  EXPECT_EQ(Read(-1), 0);
  EXPECT_EQ(Read(32769L * 4096), 1);
  EXPECT_EQ(ReadBytes(), PacketAt(1000));
  EXPECT_TRUE(quiet.Entries().empty());
}

// ---- Lifecycle -------------------------------------------------------------------

TEST_F(RingStore, ClosingFlushesWhatIsPending) {
  OpenEmpty();
  store_.InitCurrentSystemTick(0x01020304);
  const unsigned char item[] = {0x36};
  store_.AddToCurrPacket(item, 1, 2);
  EXPECT_EQ(store_.Close(), 1);
  Bytes packet = B("80 04 03 02 01 01 36");
  packet.push_back(ReferenceCrc(packet, 0, 7));
  EXPECT_EQ(files_.ReadBlock(kFile2, 0), ClusterImage(0x01020304, packet));
  EXPECT_EQ(files_.OpenDescriptors(), 0);
}

TEST_F(RingStore, ClosingSyncsAndClosesBothFiles) {
  OpenEmpty();
  store_.Close();
  EXPECT_THAT(
      files_.Trace({FileOp::kFsync, FileOp::kClose}),
      ElementsAre("fsync /m/r_1.mtd", "close /m/r_1.mtd", "fsync /m/r_2.mtd", "close /m/r_2.mtd"));
  EXPECT_TRUE(log_.Has(128, "DataStore.cc", "Closedone"));
}

TEST_F(RingStore, AClosedStoreTakesAndGivesNothing) {
  PutPairWith(5);
  Open();
  store_.Close();
  files_.ClearOperations();
  EXPECT_EQ(Write(1), 0);
  EXPECT_EQ(Read(0), 0);
  EXPECT_EQ(store_.InitialReadLocation(), 0);
  EXPECT_TRUE(files_.Operations().empty());
}

TEST_F(RingStore, AFreshObjectTakesAndGivesNothing) {
  EXPECT_EQ(Write(1), 0);
  EXPECT_EQ(Read(0), 0);
  EXPECT_EQ(store_.InitialReadLocation(), 0);
  store_.WriteBuffers();
  EXPECT_EQ(store_.Close(), 1);
  EXPECT_EQ(store_.Close(), 1);
  EXPECT_TRUE(files_.Operations().empty());
}

TEST_F(RingStore, ASecondOpenIsRefusedAndTheFirstOneGoesOn) {
  PutPairWith(5);
  Open();
  EXPECT_EQ(store_.Open(), 0);
  EXPECT_TRUE(files_.Operations().empty());
  EXPECT_EQ(Write(2000), 1);
  EXPECT_EQ(TicksOf(ReadStream(store_, 0)),
            (std::vector<unsigned int>{1000, 1001, 1002, 1003, 1004, 2000}));
}

TEST_F(RingStore, ASecondCloseIsHarmless) {
  OpenEmpty();
  EXPECT_EQ(store_.Close(), 1);
  files_.ClearOperations();
  EXPECT_EQ(store_.Close(), 1);
  EXPECT_TRUE(files_.Operations().empty());
}

TEST_F(RingStore, AStoreMayBeOpenedAgain) {
  OpenEmpty();
  Write(1);
  store_.Close();
  Open();
  Write(2);
  EXPECT_EQ(TicksOf(ReadStream(store_, 0)), (std::vector<unsigned int>{1, 2}));
}

TEST_F(RingStore, TheFirstPacketAfterEveryOpenCarriesTheWholeTick) {
  OpenEmpty();
  const unsigned char item[] = {0x36};
  for (const unsigned int tick : {0x100U, 0x101U}) {
    store_.InitCurrentSystemTick(tick);
    store_.AddToCurrPacket(item, 1, 2);
    store_.Close();
    Open();
  }
  EXPECT_EQ(TicksOf(ReadStream(store_, 0)), (std::vector<unsigned int>{0x100, 0x101}));
}

TEST_F(RingStore, DestroyingAnOpenStoreClosesItsFilesWithoutFlushing) {
  PutEmptyPair();
  {
    DataStoreNormal scoped(kBase);
    ASSERT_EQ(scoped.Open(), 1);
    const unsigned char item[] = {0x36};
    scoped.AddToCurrPacket(item, 1, 2);
    EXPECT_EQ(files_.OpenDescriptors(), 2);
  }
  EXPECT_EQ(files_.OpenDescriptors(), 0);
  EXPECT_EQ(files_.Count(FileOp::kWrite), 0);
}

static_assert(!std::is_copy_constructible_v<DataStoreNormal>);
static_assert(!std::is_copy_assignable_v<DataStoreNormal>);

}  // namespace
}  // namespace vmr
