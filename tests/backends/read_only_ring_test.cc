// Opening a ring for reading alone: what is found, and that nothing is changed.
#include <errno.h>
#include <fcntl.h>

#include <functional>
#include <map>

#include "host/default/host_control.h"
#include "tests/backends/ring_fixture.h"
#include "tests/support/file_hook.h"

namespace vmr {
namespace {

using namespace test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::StartsWith;

Bytes Damaged() { return Repeat(0x55, 4096); }

// Opens of files, reads and looks at their status.
bool IsReading(const Operation& done) {
  switch (done.op) {
    case FileOp::kOpen:
      return (done.flags & ~O_CLOEXEC) == O_RDONLY;
    case FileOp::kRead:
    case FileOp::kLseek:
    case FileOp::kStat:
    case FileOp::kClose:
    case FileOp::kUsleep:
      return true;
    default:
      return false;
  }
}

class RingAsItIs : public RingTest {
 protected:
  int OpenReadOnly() {
    before_ = files_.Snapshot();
    files_.ClearOperations();
    return store_.OpenReadOnly();
  }
  std::vector<unsigned int> AllTicks() {
    return TicksOf(ReadStream(store_, store_.InitialReadLocation()));
  }
  void ExpectOpenedAt(int current, int previous, unsigned int tick) {
    EXPECT_EQ(store_.CurrentCluster(), current);
    EXPECT_EQ(store_.PreviousCluster(), previous);
    EXPECT_EQ(store_.GetCurrentSystemTick(), tick);
  }
  void ExpectClosedAfterFailure() {
    EXPECT_EQ(files_.OpenDescriptors(), 0);
    EXPECT_EQ(store_.WorkBuffer(), nullptr);
  }
  void ExpectNothingButReading() {
    for (const Operation& done : files_.Operations())
      EXPECT_TRUE(IsReading(done)) << Describe(done) << ", flags " << done.flags;
  }
  void ExpectTheSameFiles() {
    const SimulatedFiles::Image after = files_.Snapshot();
    ASSERT_EQ(after.size(), before_.size());
    for (const auto& [path, entry] : before_) {
      ASSERT_EQ(after.count(path), 1U) << path;
      EXPECT_EQ(after.at(path).mode, entry.mode) << path;
      EXPECT_EQ(after.at(path).size, entry.size) << path;
      EXPECT_THAT(after.at(path).blocks.Differences(entry.blocks), IsEmpty()) << path;
    }
  }

  DataStoreNormal store_{kBase};
  SimulatedFiles::Image before_;
};

// Checked behind every test of these.
class ReadOnlyRing : public RingAsItIs {
 protected:
  void TearDown() override {
    store_.Close();
    ExpectNothingButReading();
    ExpectTheSameFiles();
  }
};

// ---- The same as Open ------------------------------------------------------------

// What there is to find, as a recorder or a power loss leaves it.
class ReadOnlyRingAndOpen : public RingAsItIs {
 protected:
  struct Found {
    int current;
    int previous;
    unsigned int tick;
    Bytes stream;
  };

  ReadOnlyRingAndOpen() { host::SetLogLevel(2); }

  using Situations = std::map<std::string, std::function<void()>>;

  Situations AllSituations() {
    Situations puts = BothSearchable();
    puts.merge(OneOfLittleUse());
    puts.merge(Damage());
    return puts;
  }
  Situations BothSearchable() {
    const Bytes longer = ClusterImage(1004, PacketAt(1004) + PacketAt(1005));
    return {
        {"NothingRecorded", [=] { PutEmptyPair(); }},
        {"FewClusters", [=] { PutPairWith(5); }},
        {"File1Longer", [=] { PutPairWith(5), PutCluster(kFile1, 4, longer); }},
        {"File2Longer", [=] { PutPairWith(5), PutCluster(kFile2, 4, longer); }},
        {"File1AClusterAhead", [=] { PutPairWith(4), PutCluster(kFile1, 4, longer); }},
        {"File2AClusterAhead", [=] { PutPairWith(4), PutCluster(kFile2, 4, longer); }},
        {"TicksAbove31Bits",
         [=] {
           PutEmptyPair();
           PutInBoth(0, ClusterImage(0x7FFFFFFF, PacketAt(0x7FFFFFFF)));
           PutCluster(kFile2, 1, ClusterImage(0x80000000, PacketAt(0x80000000)));
         }},
        {"AboutToWrap", [=] { PutPairWith(kRingClusters); }},
        {"Wrapped",
         [=] {
           PutPairWith(kRingClusters);
           PutInBoth(0, ClusterImage(50000, PacketAt(50000)));
         }},
        {"WrappedAndFile2AClusterAhead",
         [=] {
           PutPairWith(kRingClusters);
           PutInBoth(0, ClusterImage(50000, PacketAt(50000)));
           PutCluster(kFile2, 1, ClusterImage(50001, PacketAt(50001)));
         }},
        {"NoTickYetInTheCurrentCluster",
         [=] { PutPairWith(3), PutInBoth(3, ClusterImage(0xFFFFFFFE, {})); }},
    };
  }
  Situations OneOfLittleUse() {
    return {
        {"File2Missing", [=] { PutPairWith(5), files_.Delete(kFile2); }},
        {"File1EmptyBesideOneCluster", [=] { PutPairWith(1), PutEmptyRing(kFile1); }},
        {"File2EmptyBesideOneCluster", [=] { PutPairWith(1), PutEmptyRing(kFile2); }},
        {"File1EmptyBesideFive", [=] { PutPairWith(5), PutEmptyRing(kFile1); }},
        {"File2EmptyBesideFive", [=] { PutPairWith(5), PutEmptyRing(kFile2); }},
        {"File1Unsearchable", [=] { PutPairWith(5), PutCluster(kFile1, 32767, Damaged()); }},
        {"File2Unsearchable", [=] { PutPairWith(5), PutCluster(kFile2, 32767, Damaged()); }},
        {"File1UnsearchableFile2Empty",
         [=] {
           PutPairWith(5);
           PutCluster(kFile1, 32767, Damaged());
           PutEmptyRing(kFile2);
         }},
        {"File1EmptyFile2Unsearchable",
         [=] {
           PutPairWith(5);
           PutCluster(kFile2, 32767, Damaged());
           PutEmptyRing(kFile1);
         }},
    };
  }
  Situations Damage() {
    return {
        {"OldClustersDamagedInOneFile",
         [=] {
           PutPairWith(9);
           PutCluster(kFile1, 2, Damaged());
           PutCluster(kFile2, 3, Damaged());
         }},
        {"PreviousClusterDamagedInFile1",
         [=] { PutPairWith(kRingClusters), PutCluster(kFile1, 32766, Damaged()); }},
        {"NextClusterTornInFile2",
         [=] {
           PutPairWith(kRingClusters);
           PutInBoth(0, ClusterImage(50000, PacketAt(50000)));
           PutCluster(kFile2, 1, Damaged());
         }},
    };
  }

  Found Look() {
    return {store_.CurrentCluster(), store_.PreviousCluster(), store_.GetCurrentSystemTick(),
            ReadStream(store_, store_.InitialReadLocation())};
  }
};

TEST_F(ReadOnlyRingAndOpen, FindTheSame) {
  for (const auto& [name, put] : AllSituations()) {
    SCOPED_TRACE(name);
    put();
    ASSERT_EQ(OpenReadOnly(), 1);
    const Found as_it_is = Look();
    store_.Close();
    ExpectNothingButReading();
    ExpectTheSameFiles();

    ASSERT_EQ(store_.Open(), 1);
    const Found opened = Look();
    store_.Close();
    EXPECT_EQ(as_it_is.current, opened.current);
    EXPECT_EQ(as_it_is.previous, opened.previous);
    EXPECT_EQ(as_it_is.tick, opened.tick);
    EXPECT_TRUE(as_it_is.stream == opened.stream);
  }
}

TEST_F(ReadOnlyRing, SaysWhichFileItReads) {
  PutPairWith(5);
  PutCluster(kFile2, 4, ClusterImage(1004, PacketAt(1004) + PacketAt(1005)));
  ASSERT_EQ(OpenReadOnly(), 1);
  EXPECT_TRUE(Logged(
      128, "File 1: newest: cluster(4), sysTick(1004) - oldest: cluster(5), sysTick(4294967295)"));
  EXPECT_TRUE(Logged(32, "Last wrote to file #2. Will initialize from file #2"));
  EXPECT_TRUE(Logged(32, "Curr cluster is 4, prev Cluster is 3"));
}

// ---- One file is enough ----------------------------------------------------------

class OneFile : public ReadOnlyRing {
 protected:
  void ExpectReadFromTheOther() {
    ASSERT_EQ(OpenReadOnly(), 1);
    ExpectOpenedAt(4, 3, 1004);
    EXPECT_THAT(AllTicks(), ElementsAre(1000, 1001, 1002, 1003, 1004));
    store_.Close();
    ExpectNothingButReading();
    ExpectTheSameFiles();
  }
};

// A recorder resumes at cluster 0 when file #1 was missing. A reader fills no
// file and has no reason to.
TEST_F(OneFile, MayBeMissing) {
  for (const std::string missing : {kFile1, kFile2}) {
    SCOPED_TRACE(missing);
    PutPairWith(5);
    files_.Delete(missing);
    log_.Clear();
    ExpectReadFromTheOther();
    EXPECT_TRUE(FileLogged(
        2, "Unexpected stat error on file " + missing + ", 2: No such file or directory"));
  }
}

TEST_F(OneFile, MayBeOfTheWrongSize) {
  for (const std::string cut : {kFile1, kFile2}) {
    SCOPED_TRACE(cut);
    PutPairWith(5);
    files_.SetSize(cut, 5 * 4096);
    log_.Clear();
    ExpectReadFromTheOther();
    EXPECT_TRUE(
        FileLogged(2, "File " + cut + " is incorrectly sized at 20480, should be 134217728"));
  }
}

TEST_F(OneFile, MayBeSomethingElse) {
  for (const std::string path : {kFile1, kFile2}) {
    SCOPED_TRACE(path);
    PutPairWith(5);
    files_.Delete(path);
    files_.MakeDirectory(path);
    ExpectReadFromTheOther();
    EXPECT_TRUE(FileLogged(2, "Invalid file type of file  " + path));
  }
}

TEST_F(OneFile, MayBeOneThatCannotBeOpened) {
  for (const std::string path : {kFile1, kFile2}) {
    SCOPED_TRACE(path);
    PutPairWith(5);
    files_.ClearFaults();
    files_.FailFromNowOn(FileOp::kOpen, path, EACCES);
    ExpectReadFromTheOther();
    EXPECT_TRUE(FileLogged(2, "Could not open file " + path + ", 13: Permission denied"));
  }
}

TEST_F(OneFile, MayBeUnreadable) {
  for (const std::string path : {kFile1, kFile2}) {
    SCOPED_TRACE(path);
    PutPairWith(5);
    files_.ClearFaults();
    files_.FailFromNowOn(FileOp::kRead, path, EIO);
    ExpectReadFromTheOther();
    EXPECT_TRUE(FileLogged(
        2, "Invalid Cluster found during searching file (" + path + "). Quitting search."));
  }
}

TEST_F(OneFile, MayBeGarbage) {
  for (const std::string path : {kFile1, kFile2}) {
    SCOPED_TRACE(path);
    PutPairWith(5);
    files_.FillBlocks(path, 0, kRingClusters, Damaged());
    ExpectReadFromTheOther();
  }
}

// Never-written clusters would pass for the end of the recording.
TEST_F(OneFile, ThatIsEmptyDoesNotStandInForADamagedCluster) {
  for (const std::string empty : {kFile1, kFile2}) {
    SCOPED_TRACE(empty);
    PutPairWith(9);
    PutCluster(empty == kFile1 ? kFile2 : kFile1, 2, Damaged());
    PutEmptyRing(empty);
    ASSERT_EQ(OpenReadOnly(), 1);
    ExpectOpenedAt(8, 7, 1008);
    Bytes buffer(4096);
    int bytes_read = 0;
    long next = 0;
    EXPECT_EQ(store_.ReadDataIntoBuffer(2 * 4096, buffer.data(), 4096, bytes_read, next), 0);
    EXPECT_EQ(TicksOf(ReadStream(store_, 3 * 4096)).size(), 6U);
    store_.Close();
  }
}

// ---- No file of use --------------------------------------------------------------

class TwoFilesOfNoUse : public ReadOnlyRing {
 protected:
  void ExpectRefused() {
    EXPECT_EQ(OpenReadOnly(), 0);
    EXPECT_TRUE(
        Logged(2, "Unable to find last position in both Metadata files. Nothing is changed"));
    ExpectClosedAfterFailure();
  }
};

TEST_F(TwoFilesOfNoUse, AreNotCreatedWhenMissing) {
  ExpectRefused();
  EXPECT_THAT(files_.Paths(), IsEmpty());
}

TEST_F(TwoFilesOfNoUse, StayWhereTheyAreWhenNeitherCanBeSearched) {
  PutPairWith(5);
  PutInBoth(0, Damaged());
  ExpectRefused();
  EXPECT_THAT(files_.Paths(), ElementsAre(kFile1, kFile2));
}

TEST_F(TwoFilesOfNoUse, StayAsTheyAreWhenTheyAreGarbage) {
  PutPairWith(5);
  for (const std::string path : {kFile1, kFile2})
    files_.FillBlocks(path, 0, kRingClusters, Damaged());
  ExpectRefused();
}

TEST_F(TwoFilesOfNoUse, StayAsTheyAreWhenOneIsMissingAndTheOtherDamaged) {
  PutPairWith(5);
  files_.Delete(kFile2);
  PutCluster(kFile1, 0, Damaged());
  ExpectRefused();
  EXPECT_THAT(files_.Paths(), ElementsAre(kFile1));
}

TEST_F(TwoFilesOfNoUse, StayAsTheyAreWhenTheirSizesAreWrong) {
  PutPairWith(5);
  files_.SetSize(kFile1, 4096);
  files_.SetSize(kFile2, 4096);
  ExpectRefused();
  EXPECT_TRUE(FileLogged(2, "File /m/r_1.mtd is incorrectly sized at 4096, should be 134217728"));
  EXPECT_TRUE(FileLogged(2, "File /m/r_2.mtd is incorrectly sized at 4096, should be 134217728"));
}

TEST_F(ReadOnlyRing, APreviousClusterUnreadableInBothFilesFailsTheOpening) {
  PutPairWith(kRingClusters);
  PutInBoth(32766, Damaged());
  EXPECT_EQ(OpenReadOnly(), 0);
  EXPECT_TRUE(Logged(2, "Failed to read previous cluster 32766"));
  ExpectClosedAfterFailure();
}

TEST_F(ReadOnlyRing, ACurrentClusterUnreadableInBothFilesFailsTheOpening) {
  PutPairWith(kRingClusters);
  files_.FailFromNowOn(FileOp::kRead, kFile1, EIO, 3);  // behind its search
  files_.FailFromNowOn(FileOp::kRead, kFile2, EIO, 3);
  EXPECT_EQ(OpenReadOnly(), 0);
  EXPECT_TRUE(Logged(2, "Failed to read current cluster 32767"));
  ExpectClosedAfterFailure();
}

TEST_F(ReadOnlyRing, AFailedOpeningMayBeTriedAgain) {
  PutPairWith(5);
  files_.FailOnce(FileOp::kOpen, kFile1, EMFILE);
  files_.FailOnce(FileOp::kOpen, kFile2, EMFILE);
  EXPECT_EQ(OpenReadOnly(), 0);
  EXPECT_EQ(OpenReadOnly(), 1);
  ExpectOpenedAt(4, 3, 1004);
}

// ---- Damage ----------------------------------------------------------------------

TEST_F(ReadOnlyRing, ADamagedClusterIsReadFromTheOtherFileAndNotMended) {
  PutPairWith(9);
  PutCluster(kFile1, 2, Damaged());
  ASSERT_EQ(OpenReadOnly(), 1);
  log_.Clear();
  EXPECT_THAT(TicksOf(ReadStream(store_, 5 * 4096)), ElementsAre(1005, 1006, 1007, 1008));
  EXPECT_THAT(log_.Texts(4), IsEmpty());
  EXPECT_EQ(TicksOf(ReadStream(store_, 2 * 4096)).front(), 1002U);
  EXPECT_THAT(log_.Texts(4),
              ElementsAre("Failed to read cluster #2 from current file will try other file"));
}

TEST_F(ReadOnlyRing, ADamagedPreviousClusterIsLoadedFromTheOtherFileAndNotMended) {
  PutPairWith(kRingClusters);
  PutCluster(kFile1, 32766, Damaged());
  ASSERT_EQ(OpenReadOnly(), 1);
  EXPECT_THAT(log_.Texts(4),
              ElementsAre("Failed to read cluster #32766 from current file will try other file"));
  ExpectOpenedAt(32767, 32766, 1000 + 32767);
}

TEST_F(ReadOnlyRing, ATornNextClusterIsNotLookedAt) {
  PutPairWith(5);
  PutCluster(kFile1, 5, Damaged());
  PutCluster(kFile2, 4, ClusterImage(1004, PacketAt(1004) + PacketAt(1005)));
  ASSERT_EQ(OpenReadOnly(), 1);
  ExpectOpenedAt(4, 3, 1005);
  EXPECT_THAT(log_.Texts(4), IsEmpty());
}

TEST_F(ReadOnlyRing, ATickIsFoundAroundDamagedClusters) {
  PutPairWith(9);
  PutCluster(kFile1, 2, Damaged());
  ASSERT_EQ(OpenReadOnly(), 1);
  EXPECT_EQ(store_.FindSystemTick(1002), 2);
}

TEST_F(ReadOnlyRing, AClusterDamagedInBothFilesIsAFailedReadOnly) {
  PutPairWith(9);
  PutInBoth(2, Damaged());
  ASSERT_EQ(OpenReadOnly(), 1);
  Bytes buffer(4096);
  EXPECT_EQ(store_.ReadCluster(buffer.data(), 2), 0);
  EXPECT_TRUE(Logged(64, "Failed to read cluster #2 from metadata files"));
}

// ---- Modes -----------------------------------------------------------------------

TEST_F(ReadOnlyRing, TheFilesMayHaveAnyMode) {
  PutPairWith(5);
  for (const mode_t mode : {0444U, 0400U, 0666U, 0600U, 04660U}) {
    files_.SetMode(kFile1, mode);
    files_.SetMode(kFile2, mode);
    ASSERT_EQ(OpenReadOnly(), 1);
    EXPECT_EQ(AllTicks().size(), 5U);
    store_.Close();
    EXPECT_EQ(files_.Mode(kFile1), mode);
    ExpectTheSameFiles();
  }
  EXPECT_THAT(log_.Texts(2), IsEmpty());
}

// ---- Nothing is written ----------------------------------------------------------

TEST_F(ReadOnlyRing, WriteDataRefuses) {
  PutPairWith(5);
  ASSERT_EQ(OpenReadOnly(), 1);
  EXPECT_EQ(WriteTick(store_, 1005), 0);
  EXPECT_TRUE(Logged(2, "Refusing to write 100 bytes: the store is open for reading"));
  EXPECT_EQ(AllTicks().size(), 5U);
}

TEST_F(ReadOnlyRing, CloseFlushesNothing) {
  PutPairWith(5);
  ASSERT_EQ(OpenReadOnly(), 1);
  store_.ReportStringData(TAG_LOG, "pending");
  EXPECT_EQ(store_.Close(), 1);
  EXPECT_THAT(log_.Texts(2), IsEmpty()) << "not even tried";
  EXPECT_EQ(files_.OpenDescriptors(), 0);
}

TEST_F(ReadOnlyRing, NorDoesATimerTick) {
  PutPairWith(5);
  ASSERT_EQ(OpenReadOnly(), 1);
  store_.ReportStringData(TAG_LOG, "pending");
  store_.TimerTick(2000);
  store_.TimerTick(2010);
  store_.WriteBuffers();
  EXPECT_THAT(log_.Texts(2), testing::Contains(StartsWith("Refusing to write ")));
}

TEST_F(ReadOnlyRing, DestructionClosesTheFilesWithoutASync) {
  PutPairWith(5);
  {
    DataStoreNormal store(kBase);
    before_ = files_.Snapshot();
    ASSERT_EQ(store.OpenReadOnly(), 1);
  }
  EXPECT_EQ(files_.OpenDescriptors(), 0);
}

TEST_F(ReadOnlyRing, AFileStoreOpenedSoCannotWriteEither) {
  PutPairWith(5);
  before_ = files_.Snapshot();
  {
    FileStore file(1);
    ASSERT_EQ(file.StartFileReadOnly(kBase, 32768, 4096, 1), 1);
    EXPECT_EQ(file.WriteCluster(4096, OnePacket(7).data(), 7), 0);
    EXPECT_THAT(log_.Texts(2),
                ElementsAre("Could not write metadata file at cluster 7 (28672) - 9: Bad file "
                            "descriptor"));
  }
  files_.ClearOperations();  // the attempt
}

TEST_F(ReadOnlyRing, TwoStoresMayReadTheSameFiles) {
  PutPairWith(5);
  ASSERT_EQ(OpenReadOnly(), 1);
  DataStoreNormal second(kBase);
  ASSERT_EQ(second.OpenReadOnly(), 1);
  EXPECT_EQ(ReadStream(second, 0), ReadStream(store_, 0));
}

// ---- Reading and recording in turns ----------------------------------------------

class ReadingAndRecording : public RingAsItIs {};

TEST_F(ReadingAndRecording, AStoreOpenedForReadingAndClosedRecordsAgainAfterOpen) {
  PutPairWith(5);
  ASSERT_EQ(OpenReadOnly(), 1);
  store_.Close();
  files_.SetMode(kFile1, 0640);
  ASSERT_EQ(store_.Open(), 1);
  EXPECT_EQ(files_.Mode(kFile1), 0660U);
  EXPECT_EQ(WriteTick(store_, 1005), 1);
  EXPECT_EQ(WriteTick(store_, 1006), 1);
  files_.ClearOperations();
  store_.Close();
  EXPECT_EQ(files_.Count(FileOp::kFsync), 2);
  ASSERT_EQ(OpenReadOnly(), 1);
  EXPECT_EQ(AllTicks(), (std::vector<unsigned int>{1000, 1001, 1002, 1003, 1004, 1005, 1006}));
  EXPECT_EQ(WriteTick(store_, 1007), 0);
}

TEST_F(ReadingAndRecording, RecordingGoesOnInTheFileThatIsBehind) {
  PutPairWith(5);
  PutCluster(kFile1, 4, ClusterImage(1004, PacketAt(1004) + PacketAt(1005)));
  ASSERT_EQ(OpenReadOnly(), 1);
  store_.Close();
  ASSERT_EQ(store_.Open(), 1);
  files_.ClearOperations();
  WriteTick(store_, 1006);
  EXPECT_THAT(files_.Trace({FileOp::kWrite}), ElementsAre("write /m/r_2.mtd 4096@16384"));
}

TEST_F(ReadingAndRecording, AFailedOpeningForReadingIsNoHindranceToRecording) {
  EXPECT_EQ(OpenReadOnly(), 0);
  ASSERT_EQ(store_.Open(), 1);
  EXPECT_EQ(WriteTick(store_, 7), 1);
}

TEST_F(ReadingAndRecording, AStoreThatRecordsIsNotOpenedForReading) {
  PutPairWith(5);
  ASSERT_EQ(store_.Open(), 1);
  EXPECT_EQ(OpenReadOnly(), 0);
  EXPECT_TRUE(log_.Has(2, "DataStore.cc", "Open called on a store that is open"));
  EXPECT_EQ(WriteTick(store_, 1005), 1);
}

TEST_F(ReadingAndRecording, AStoreOpenForReadingIsNotOpenedForRecording) {
  PutPairWith(5);
  ASSERT_EQ(OpenReadOnly(), 1);
  EXPECT_EQ(store_.Open(), 0);
  EXPECT_EQ(WriteTick(store_, 1005), 0);
  EXPECT_EQ(AllTicks().size(), 5U);
  store_.Close();
  ExpectNothingButReading();
}

// ---- Beside a recorder -----------------------------------------------------------

// A recorder has just begun cluster 4 in file #1; in file #2 it is still as it
// was a lap ago, or never written.
class BesideARecorder : public RingAsItIs {
 protected:
  void TearDown() override { ExpectNothingButReading(); }

  void PutYoung() {
    PutPairWith(4);
    PutCluster(kFile1, 4, Begun());
    CountReads();
  }
  void PutWrapped() {
    PutPairWith(kRingClusters);
    for (std::uint32_t c = 0; c < 4; ++c)
      PutInBoth(c, ClusterImage(50000 + c, PacketAt(50000 + c)));
    PutCluster(kFile1, 4, Begun());
    CountReads();
  }
  static Bytes Begun() { return ClusterImage(50004, PacketAt(50004)); }
  static Bytes Continued() { return ClusterImage(50004, PacketAt(50004) + PacketAt(50005)); }

  void CountReads() {
    ReadHook hook([](int) {});
    ASSERT_EQ(store_.OpenReadOnly(), 1);
    ExpectOpenedAt(4, 3, 50004);
    reads_ = hook.Reads();
    store_.Close();
    log_.Clear();
  }
  // Behind it the one before is loaded, from both files.
  int LoadOfNewest() const { return reads_ - 2; }

  int reads_ = 0;
};

TEST_F(BesideARecorder, APacketWrittenBetweenTheSearchAndTheLoadingIsThere) {
  PutWrapped();
  ReadHook hook([&](int n) {
    if (n == LoadOfNewest()) PutCluster(kFile1, 4, Continued());
  });
  ASSERT_EQ(OpenReadOnly(), 1);
  ExpectOpenedAt(4, 3, 50005);
  EXPECT_EQ(hook.Reads(), reads_);
}

TEST_F(BesideARecorder, AClusterBeingWrittenIsReadOnceMore) {
  for (const bool young : {false, true}) {
    if (young)
      PutYoung();
    else
      PutWrapped();
    ReadHook hook([&](int n) {
      if (n == LoadOfNewest()) PutCluster(kFile1, 4, Damaged());
      if (n == LoadOfNewest() + 1) PutCluster(kFile1, 4, Continued());
    });
    ASSERT_EQ(OpenReadOnly(), 1);
    ExpectOpenedAt(4, 3, 50005);
    EXPECT_THAT(log_.Texts(4), IsEmpty());
    store_.Close();
  }
}

// The other file's copy is of the lap before, or was never written.
TEST_F(BesideARecorder, ANewestClusterTornForGoodLeavesTheOneBefore) {
  for (const bool young : {false, true}) {
    if (young)
      PutYoung();
    else
      PutWrapped();
    ReadHook hook([&](int n) {
      if (n == LoadOfNewest()) PutCluster(kFile1, 4, Damaged());
    });
    ASSERT_EQ(OpenReadOnly(), 1);
    ExpectOpenedAt(3, 2, young ? 1003 : 50003);
    EXPECT_THAT(log_.Texts(4),
                ElementsAre("Failed to read cluster #4 from current file will try other file",
                            "Cluster 4 of file #1 is of no use, going on from the other file"));
    store_.Close();
  }
}

// What is read is the recording up to the opening.
TEST_F(BesideARecorder, ARingReadWhileTheRecorderGoesOnEndsWhereItDidAtTheOpening) {
  PutPairWith(4);
  ASSERT_EQ(OpenReadOnly(), 1);
  DataStoreNormal recorder(kBase);
  ASSERT_EQ(recorder.Open(), 1);
  for (unsigned int tick = 2000; tick < 2200; ++tick) WriteTick(recorder, tick, 250);
  ASSERT_GT(recorder.CurrentCluster(), 10);
  recorder.Close();
  files_.ClearOperations();
  EXPECT_THAT(AllTicks(), ElementsAre(1000, 1001, 1002, 1003));
  EXPECT_EQ(store_.FindSystemTick(1001), 1);
}

}  // namespace
}  // namespace vmr
