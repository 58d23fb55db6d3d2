#include "backends/file_store.h"

#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <limits>

#include "tests/backends/ring_fixture.h"
#include "tests/support/file_hook.h"
#include "tests/support/temp_dir.h"
#include "tests/support/test_clock.h"

namespace vmr {
namespace {

using namespace test;
using ::testing::ElementsAre;

constexpr int kCount = 4;
constexpr int kSize = 4096;
constexpr std::time_t kNoonOfMay4 = 1746360000;  // 2025-05-04 12:00:00 UTC

// File #1 of four clusters.
class FileStoreTest : public RingTest {
 protected:
  FileStoreTest() : buffer_(kSize, 0xEE) {}

  int Start() { return file_.StartFile(kBase, buffer_.data(), kCount, kSize, 1); }
  // A started file that existed, with nothing logged yet.
  void StartExisting() {
    files_.PutFile(kFile1, {});
    files_.FillBlocks(kFile1, 0, kCount, NeverWritten());
    ASSERT_EQ(Start(), 1);
    files_.ClearOperations();
    log_.Clear();
  }
  int ReadInto(int cluster) { return file_.ReadCluster(kSize, buffer_.data(), cluster); }
  int WriteImage(const Bytes& image, int cluster) {
    return file_.WriteCluster(kSize, image.data(), cluster);
  }
  unsigned int St(int cluster) { return file_.GetSt(kSize, buffer_.data(), cluster); }
  int UsedSize(int cluster) { return file_.GetSize(kSize, buffer_.data(), cluster); }
  void ExpectOnlyError(const std::string& text) {
    EXPECT_THAT(log_.Texts(2), ElementsAre(text));
    EXPECT_TRUE(FileLogged(2, text));
  }

  FileStore file_{1};
  Bytes buffer_;
};

// ---- Starting --------------------------------------------------------------------

TEST_F(FileStoreTest, ANewFileConsistsOf32768IdenticalNeverWrittenClusters) {
  ASSERT_EQ(file_.StartFile(kBase, buffer_.data(), 32768, kSize, 1), 1);
  EXPECT_TRUE(file_.FileCreated());
  EXPECT_EQ(files_.Size(kFile1), kRingBytes);
  Bytes image = B("00 FF FF FF FF 07 00");
  image[0] = ReferenceCrc(image, 1, 7);
  EXPECT_EQ(image[0], 0xA8);
  image.resize(4096);
  for (std::size_t cluster = 0; cluster < kRingClusters; ++cluster)
    ASSERT_EQ(files_.ReadBlock(kFile1, cluster), image) << cluster;
  for (const int cluster : {0, 1, 16384, 32767}) {
    EXPECT_EQ(St(cluster), 0xFFFFFFFFU);
    EXPECT_EQ(UsedSize(cluster), 7);
  }
}

TEST_F(FileStoreTest, ANewFileIsWrittenOneClusterPerWriteWithMode0660) {
  ASSERT_EQ(Start(), 1);
  EXPECT_THAT(files_.Trace({FileOp::kWrite}),
              ElementsAre("write /m/r_1.mtd.tmp 4096@0", "write /m/r_1.mtd.tmp 4096@4096",
                          "write /m/r_1.mtd.tmp 4096@8192", "write /m/r_1.mtd.tmp 4096@12288"));
  EXPECT_EQ(files_.Mode(kFile1), 0660U);
}

TEST_F(FileStoreTest, ANewFileIsSyncedBeforeItsRenameAndTheDirectoryAfter) {
  ASSERT_EQ(Start(), 1);
  EXPECT_THAT(files_.Trace({FileOp::kUnlink, FileOp::kFsync, FileOp::kRename}),
              ElementsAre("unlink /m/r_1.mtd.tmp", "fsync /m/r_1.mtd.tmp",
                          "rename /m/r_1.mtd.tmp /m/r_1.mtd", "fsync /m"));
  EXPECT_TRUE(files_.IsSynced(kFile1));
  EXPECT_TRUE(files_.IsNameSynced(kFile1));
}

TEST_F(FileStoreTest, CreationIsLoggedWithItsTimes) {
  TestClock clock(kNoonOfMay4);
  ASSERT_EQ(Start(), 1);
  EXPECT_THAT(log_.Texts(32), ElementsAre("Creating Metadata file /m/r_1.mtd",
                                          "createFile start time = Sun May 04 12:00:00 2025",
                                          "Creating metadata file /m/r_1.mtd with 4 clusters of "
                                          "size 4096",
                                          "createFile end time = Sun May 04 12:00:00 2025"));
  EXPECT_TRUE(FileLogged(32, "createFile start time = Sun May 04 12:00:00 2025"));
}

TEST_F(FileStoreTest, ATimeThatCannotBeFormedIsNotLogged) {
  TestClock clock(std::numeric_limits<std::time_t>::max());
  ASSERT_EQ(Start(), 1);
  EXPECT_EQ(log_.Texts(32).size(), 2U);
}

TEST_F(FileStoreTest, AnExistingFileIsOpenedAndNotCreated) {
  StartExisting();
  EXPECT_FALSE(file_.FileCreated());
  EXPECT_EQ(file_.Path(), kFile1);
  EXPECT_EQ(file_.FileNumber(), 1);
}

TEST_F(FileStoreTest, FileCreatedIsForgottenByTheNextStart) {
  ASSERT_EQ(Start(), 1);
  ASSERT_TRUE(file_.FileCreated());
  file_.Close();
  ASSERT_EQ(Start(), 1);
  EXPECT_FALSE(file_.FileCreated());
}

TEST_F(FileStoreTest, TheFileNumberIsPartOfTheName) {
  FileStore second(2);
  ASSERT_EQ(second.StartFile(kBase, buffer_.data(), kCount, kSize, 2), 1);
  EXPECT_EQ(second.Path(), kFile2);
}

TEST_F(FileStoreTest, StartFileRefusesANullBuffer) {
  EXPECT_EQ(file_.StartFile(kBase, nullptr, kCount, kSize, 1), 0);
  ExpectOnlyError("Null value passed toStartFile");
  EXPECT_TRUE(files_.Operations().empty());
}

TEST_F(FileStoreTest, AnUnexpectedStatErrorFailsTheStart) {
  files_.FailOnce(FileOp::kStat, kFile1, EACCES);
  EXPECT_EQ(Start(), 0);
  ExpectOnlyError("Unexpected stat error on file /m/r_1.mtd, 13: Permission denied");
  EXPECT_FALSE(files_.Exists(kFile1));
}

TEST_F(FileStoreTest, AStatErrorAfterCreationFailsTheStart) {
  files_.FailOnce(FileOp::kStat, kFile1, EIO, 2);
  EXPECT_EQ(Start(), 0);
  ExpectOnlyError("Unexpected stat error on file /m/r_1.mtd, 5: Input/output error");
  EXPECT_FALSE(file_.FileCreated());
}

TEST_F(FileStoreTest, AStatErrorDuringValidationFailsTheStart) {
  files_.PutZeros(kFile1, kCount * kSize);
  files_.FailOnce(FileOp::kStat, kFile1, EIO, 2);
  EXPECT_EQ(Start(), 0);
  ExpectOnlyError("Unexpected stat error on file /m/r_1.mtd, 5: Input/output error");
}

// ---- Creating --------------------------------------------------------------------

TEST_F(FileStoreTest, CreateFileRefusesANullBuffer) {
  EXPECT_EQ(file_.CreateFile(nullptr, kCount, kSize), 0);
  ExpectOnlyError("Null value passed to CreateFile");
}

TEST_F(FileStoreTest, CreationRemovesATemporaryFileLeftBehind) {
  files_.PutFile("/m/r_1.mtd.tmp", Repeat(0xAA, 100000));
  ASSERT_EQ(Start(), 1);
  EXPECT_FALSE(files_.Exists("/m/r_1.mtd.tmp"));
  EXPECT_EQ(files_.Size(kFile1), kCount * kSize);
}

TEST_F(FileStoreTest, ATemporaryFileThatCannotBeCreatedIsLoggedWithoutAnEndTime) {
  TestClock clock(kNoonOfMay4);
  files_.FailOnce(FileOp::kOpen, "/m/r_1.mtd.tmp", ENOSPC);
  EXPECT_EQ(Start(), 0);
  ExpectOnlyError("Could not create file /m/r_1.mtd.tmp , 28: No space left on device");
  EXPECT_FALSE(FileLogged(32, "createFile end time = Sun May 04 12:00:00 2025"));
}

TEST_F(FileStoreTest, AFailedInitialWriteLeavesTheTemporaryFileBehind) {
  TestClock clock(kNoonOfMay4);
  files_.FailOnce(FileOp::kWrite, "/m/r_1.mtd.tmp", EIO, 3);
  EXPECT_EQ(Start(), 0);
  ExpectOnlyError(
      "Failed to write to file /m/r_1.mtd.tmp during initialization, 5: %sInput/output error");
  EXPECT_TRUE(FileLogged(32, "createFile end time = Sun May 04 12:00:00 2025"));
  EXPECT_THAT(files_.Paths(), ElementsAre("/m/r_1.mtd.tmp"));
  EXPECT_EQ(files_.OpenDescriptors(), 0);
}

TEST_F(FileStoreTest, AnInitialWriteThatFindsNoRoomLeavesNothingBehind) {
  TestClock clock(kNoonOfMay4);
  for (const FileOp failing : {FileOp::kWrite, FileOp::kFsync}) {
    log_.Clear();
    files_.FailOnce(failing, "/m/r_1.mtd.tmp", ENOSPC);
    EXPECT_EQ(Start(), 0);
    ExpectOnlyError(
        "Failed to write to file /m/r_1.mtd.tmp during initialization, 28: %sNo space left on "
        "device");
    EXPECT_TRUE(FileLogged(32, "createFile end time = Sun May 04 12:00:00 2025"));
    EXPECT_TRUE(files_.Paths().empty());
    EXPECT_EQ(files_.OpenDescriptors(), 0);
  }
}

TEST_F(FileStoreTest, TheTemporaryFileIsNeverOneThatIsThere) {
  ASSERT_EQ(Start(), 1);
  constexpr int kOnlyNew = O_EXCL | O_NOFOLLOW;
  for (const Operation& done : files_.Operations()) {
    const bool makes = done.op == FileOp::kOpen && done.path == "/m/r_1.mtd.tmp";
    EXPECT_EQ(makes ? done.flags & kOnlyNew : kOnlyNew, kOnlyNew) << Describe(done);
  }
  files_.Delete(kFile1);
  files_.PutZeros("/m/r_1.mtd.tmp", 10);
  files_.FailOnce(FileOp::kUnlink, "/m/r_1.mtd.tmp", EPERM);
  EXPECT_EQ(Start(), 0);
  EXPECT_TRUE(FileLogged(2, "Could not create file /m/r_1.mtd.tmp , 17: File exists"));
}

TEST_F(FileStoreTest, AShortInitialWriteIsAFailure) {
  files_.LimitTo(4095, FileOp::kWrite, "/m/r_1.mtd.tmp", 1, 2);
  EXPECT_EQ(Start(), 0);
  ExpectOnlyError("Failed to write to file /m/r_1.mtd.tmp during initialization, 0: %sSuccess");
}

TEST_F(FileStoreTest, AFailedSyncOfANewFileIsAFailedWrite) {
  files_.FailOnce(FileOp::kFsync, "/m/r_1.mtd.tmp", EIO);
  EXPECT_EQ(Start(), 0);
  ExpectOnlyError(
      "Failed to write to file /m/r_1.mtd.tmp during initialization, 5: %sInput/output error");
  EXPECT_FALSE(files_.Exists(kFile1));
}

TEST_F(FileStoreTest, AFailedRenameIsLoggedAndLeavesNoFile) {
  TestClock clock(kNoonOfMay4);
  files_.FailOnce(FileOp::kRename, "/m/r_1.mtd.tmp", EROFS);
  EXPECT_EQ(Start(), 0);
  ExpectOnlyError("Failed to rename file /m/r_1.mtd.tmp to /m/r_1.mtd, 30: Read-only file system");
  EXPECT_TRUE(FileLogged(32, "createFile end time = Sun May 04 12:00:00 2025"));
  EXPECT_FALSE(files_.Exists(kFile1));
}

TEST_F(FileStoreTest, ADirectoryThatCannotBeSyncedDoesNotStopTheStart) {
  files_.FailOnce(FileOp::kFsync, "/m", EIO);
  EXPECT_EQ(Start(), 1);
  EXPECT_TRUE(log_.Texts(2).empty());
}

TEST_F(FileStoreTest, ARelativePathSyncsTheCurrentDirectory) {
  ASSERT_EQ(file_.StartFile("r", buffer_.data(), kCount, kSize, 1), 1);
  EXPECT_TRUE(files_.Exists("r_1.mtd"));
  EXPECT_TRUE(files_.IsNameSynced("r_1.mtd"));
}

TEST_F(FileStoreTest, APathInTheRootDirectorySyncsIt) {
  ASSERT_EQ(file_.StartFile("/r", buffer_.data(), kCount, kSize, 1), 1);
  EXPECT_EQ(files_.Trace({FileOp::kFsync}).back(), "fsync /");
  EXPECT_TRUE(files_.IsNameSynced("/r_1.mtd"));
}

// ---- Validating ------------------------------------------------------------------

TEST_F(FileStoreTest, AFileOneByteShortFailsValidation) {
  files_.PutZeros(kFile1, 134217727);
  EXPECT_EQ(file_.StartFile(kBase, buffer_.data(), 32768, kSize, 1), 0);
  ExpectOnlyError("File /m/r_1.mtd is incorrectly sized at 134217727, should be 134217728");
  EXPECT_EQ(files_.OpenDescriptors(), 0);
}

TEST_F(FileStoreTest, AFileOneByteLongFailsValidation) {
  files_.PutZeros(kFile1, 134217729);
  EXPECT_EQ(file_.StartFile(kBase, buffer_.data(), 32768, kSize, 1), 0);
  ExpectOnlyError("File /m/r_1.mtd is incorrectly sized at 134217729, should be 134217728");
  EXPECT_EQ(files_.Size(kFile1), 134217729);
}

TEST_F(FileStoreTest, ADirectoryAtThePathFailsValidation) {
  files_.MakeDirectory(kFile1);
  EXPECT_EQ(Start(), 0);
  ExpectOnlyError("Invalid file type of file  /m/r_1.mtd");
}

TEST_F(FileStoreTest, AFileWithMode0644IsBroughtTo0660AndOpened) {
  files_.PutZeros(kFile1, kCount * kSize, 0644);
  EXPECT_EQ(Start(), 1);
  EXPECT_EQ(files_.Mode(kFile1), 0660U);
  EXPECT_TRUE(FileLogged(32, "Reset the mode of file /m/r_1.mtd"));
  EXPECT_TRUE(log_.Texts(2).empty());
}

TEST_F(FileStoreTest, ASetUserIdBitIsAnotherModeToo) {
  files_.PutZeros(kFile1, kCount * kSize, 04660);
  EXPECT_EQ(Start(), 1);
  EXPECT_EQ(files_.Mode(kFile1), 0660U);
}

TEST_F(FileStoreTest, TheRightModeIsLeftAlone) {
  StartExisting();
  EXPECT_EQ(files_.Count(FileOp::kChmod), 0);
}

TEST_F(FileStoreTest, AModeThatCannotBeResetFailsValidation) {
  files_.PutZeros(kFile1, kCount * kSize, 0600);
  files_.FailOnce(FileOp::kChmod, kFile1, EPERM);
  EXPECT_EQ(Start(), 0);
  ExpectOnlyError("Could not reset the mode of file /m/r_1.mtd, 1 : Operation not permitted");
}

TEST_F(FileStoreTest, AWronglySizedFileKeepsItsMode) {
  files_.PutZeros(kFile1, 5, 0644);
  EXPECT_EQ(Start(), 0);
  EXPECT_EQ(files_.Mode(kFile1), 0644U);
}

TEST_F(FileStoreTest, AFileThatCannotBeOpenedFailsValidation) {
  files_.PutZeros(kFile1, kCount * kSize);
  files_.FailOnce(FileOp::kOpen, kFile1, EACCES);
  EXPECT_EQ(Start(), 0);
  ExpectOnlyError("Could not open file /m/r_1.mtd, 13: Permission denied");
}

// ---- Descriptors -----------------------------------------------------------------

TEST_F(FileStoreTest, EveryOpenIsCloseOnExec) {
  ASSERT_EQ(Start(), 1);
  int opens = 0;
  for (const Operation& operation : files_.Operations()) {
    if (operation.op != FileOp::kOpen) continue;
    ++opens;
    EXPECT_NE(operation.flags & O_CLOEXEC, 0) << Describe(operation);
  }
  EXPECT_EQ(opens, 3);  // the temporary file, the directory, the file
}

TEST_F(FileStoreTest, ADescriptorOfZeroIsMovedUp) {
  files_.PutZeros(kFile1, kCount * kSize);
  files_.FreeDescriptor(0);
  ASSERT_EQ(Start(), 1);
  EXPECT_EQ(files_.OpenDescriptors(), 1);
  WriteImage(NeverWritten(), 2);
  EXPECT_EQ(files_.Operations().back().op, FileOp::kFsync);
  EXPECT_EQ(files_.Operations().back().fd, 3);
}

TEST_F(FileStoreTest, InterruptedCallsAreRepeated) {
  files_.PutZeros(kFile1, kCount * kSize);
  for (const FileOp op : {FileOp::kOpen, FileOp::kLseek, FileOp::kWrite, FileOp::kFsync,
                          FileOp::kRead, FileOp::kClose})
    files_.FailOnce(op, kFile1, EINTR);
  ASSERT_EQ(Start(), 1);
  EXPECT_EQ(WriteImage(NeverWritten(), 1), 1);
  EXPECT_EQ(ReadInto(1), 1);
  EXPECT_TRUE(files_.IsSynced(kFile1));
  file_.Close();
  EXPECT_EQ(files_.Count(FileOp::kClose), 1);
  EXPECT_TRUE(log_.Texts(2).empty());
}

TEST_F(FileStoreTest, AClosedFileRefusesReadsAndWritesWithoutSystemCalls) {
  StartExisting();
  file_.Close();
  files_.ClearOperations();
  EXPECT_EQ(WriteImage(NeverWritten(), 3), 0);
  EXPECT_EQ(ReadInto(3), 0);
  EXPECT_THAT(log_.Texts(2),
              ElementsAre("Could not set file position in metadata file 9: Bad file descriptor",
                          "Could not set file position in metadata file (/m/r_1.mtd) at cluster 3 "
                          "(12288 9: Bad file descriptor"));
  EXPECT_TRUE(files_.Operations().empty());
}

TEST_F(FileStoreTest, ANeverOpenedFileRefusesReadsAndWritesWithoutSystemCalls) {
  EXPECT_EQ(WriteImage(NeverWritten(), 0), 0);
  EXPECT_EQ(ReadInto(0), 0);
  EXPECT_EQ(St(0), 0xFFFFFFFDU);
  EXPECT_EQ(UsedSize(0), -1);
  EXPECT_TRUE(files_.Operations().empty());
}

TEST_F(FileStoreTest, CloseTwiceIsHarmless) {
  StartExisting();
  file_.Close();
  file_.Close();
  EXPECT_THAT(files_.Trace({FileOp::kFsync, FileOp::kClose}),
              ElementsAre("fsync /m/r_1.mtd", "close /m/r_1.mtd"));
}

TEST_F(FileStoreTest, CloseOnANeverOpenedObjectDoesNothing) {
  file_.Close();
  EXPECT_TRUE(files_.Operations().empty());
}

TEST_F(FileStoreTest, CloseAfterAFailedStartDoesNothing) {
  files_.FailOnce(FileOp::kStat, kFile1, EACCES);
  Start();
  files_.ClearOperations();
  file_.Close();
  EXPECT_TRUE(files_.Operations().empty());
}

TEST_F(FileStoreTest, TheDestructorCloses) {
  {
    FileStore scoped(2);
    ASSERT_EQ(scoped.StartFile(kBase, buffer_.data(), kCount, kSize, 2), 1);
    EXPECT_EQ(files_.OpenDescriptors(), 1);
  }
  EXPECT_EQ(files_.OpenDescriptors(), 0);
}

TEST_F(FileStoreTest, StartingAnOpenFileAgainLosesNoDescriptor) {
  StartExisting();
  EXPECT_EQ(Start(), 1);
  EXPECT_EQ(files_.OpenDescriptors(), 1);
}

// ---- Writing a cluster -----------------------------------------------------------

TEST_F(FileStoreTest, AClusterIsWrittenAtItsPlaceAndSynced) {
  StartExisting();
  const Bytes image = ClusterImage(0x01020304, B("80 04 03 02 01 00 4B"));
  EXPECT_EQ(WriteImage(image, 2), 1);
  EXPECT_THAT(files_.Trace({FileOp::kWrite, FileOp::kFsync}),
              ElementsAre("write /m/r_1.mtd 4096@8192", "fsync /m/r_1.mtd"));
  EXPECT_EQ(files_.ReadBlock(kFile1, 2), image);
  EXPECT_EQ(files_.ReadBlock(kFile1, 1), NeverWritten());
  EXPECT_EQ(files_.ReadBlock(kFile1, 3), NeverWritten());
}

TEST_F(FileStoreTest, AShortWriteIsContinued) {
  StartExisting();
  const Bytes image = ClusterImage(9, Repeat(0x5A, 4089));
  files_.LimitTo(1000, FileOp::kWrite, kFile1, 2);
  EXPECT_EQ(WriteImage(image, 1), 1);
  EXPECT_THAT(files_.Trace({FileOp::kWrite}),
              ElementsAre("write /m/r_1.mtd 1000@4096", "write /m/r_1.mtd 1000@5096",
                          "write /m/r_1.mtd 2096@6096"));
  EXPECT_EQ(files_.ReadBlock(kFile1, 1), image);
}

TEST_F(FileStoreTest, WriteClusterRefusesANullBuffer) {
  StartExisting();
  EXPECT_EQ(file_.WriteCluster(kSize, nullptr, 0), 0);
  ExpectOnlyError("Null value passed to WriteCluster");
}

TEST_F(FileStoreTest, AFailedSeekBeforeAWriteNamesNoFile) {
  StartExisting();
  files_.FailOnce(FileOp::kLseek, kFile1, EIO);
  EXPECT_EQ(WriteImage(NeverWritten(), 1), 0);
  ExpectOnlyError("Could not set file position in metadata file 5: Input/output error");
  EXPECT_EQ(files_.Count(FileOp::kWrite), 0);
}

TEST_F(FileStoreTest, AFailedWriteNamesClusterAndOffset) {
  StartExisting();
  files_.FailOnce(FileOp::kWrite, kFile1, ENOSPC);
  EXPECT_EQ(WriteImage(NeverWritten(), 3), 0);
  ExpectOnlyError(
      "Could not write metadata file at cluster 3 (12288) - 28: No space left on device");
}

TEST_F(FileStoreTest, AClusterThatCannotBeSyncedIsNotWritten) {
  StartExisting();
  files_.FailOnce(FileOp::kFsync, kFile1, EIO);
  EXPECT_EQ(WriteImage(NeverWritten(), 3), 0);
  ExpectOnlyError("Could not write metadata file at cluster 3 (12288) - 5: Input/output error");
}

TEST_F(FileStoreTest, OneWriteThatMovesNothingIsRepeated) {
  StartExisting();
  files_.LimitTo(0, FileOp::kWrite, kFile1, 1);
  EXPECT_EQ(WriteImage(NeverWritten(), 1), 1);
  EXPECT_EQ(files_.Count(FileOp::kWrite), 2);
}

TEST_F(FileStoreTest, WritesThatMoveNothingForEverEndInTheWriteFailure) {
  StartExisting();
  files_.LimitTo(0, FileOp::kWrite, kFile1, -1);
  EXPECT_EQ(WriteImage(NeverWritten(), 1), 0);
  ExpectOnlyError("Could not write metadata file at cluster 1 (4096) - 5: Input/output error");
}

// ---- Reading a cluster -----------------------------------------------------------

TEST_F(FileStoreTest, AClusterIsReadBackAsWritten) {
  StartExisting();
  const Bytes image = ClusterImage(77, PacketAt(77));
  ASSERT_EQ(WriteImage(image, 3), 1);
  EXPECT_EQ(ReadInto(3), 1);
  EXPECT_EQ(buffer_, image);
}

TEST_F(FileStoreTest, AShortReadIsContinued) {
  StartExisting();
  files_.LimitTo(1500, FileOp::kRead, kFile1, 2);
  EXPECT_EQ(ReadInto(1), 1);
  EXPECT_THAT(files_.Trace({FileOp::kRead}),
              ElementsAre("read /m/r_1.mtd 1500@4096", "read /m/r_1.mtd 1500@5596",
                          "read /m/r_1.mtd 1096@7096"));
  EXPECT_EQ(buffer_, NeverWritten());
}

TEST_F(FileStoreTest, AReadThatReturnsZeroBytesIsRepeated) {
  StartExisting();
  files_.LimitTo(0, FileOp::kRead, kFile1, 3);
  EXPECT_EQ(ReadInto(1), 1);
  EXPECT_EQ(files_.Count(FileOp::kRead), 4);
}

TEST_F(FileStoreTest, AFileShortenedAfterValidationEndsTheReadLoop) {
  StartExisting();
  files_.SetSize(kFile1, 3 * kSize + 4095);
  EXPECT_EQ(ReadInto(3), 0);
  ExpectOnlyError("Could not read metadata file (/m/r_1.mtd) - error 5: Input/output error");
  EXPECT_EQ(ReadInto(2), 1);
}

TEST_F(FileStoreTest, ReadsThatReturnZeroForEverEndInTheReadFailure) {
  StartExisting();
  files_.LimitTo(0, FileOp::kRead, kFile1, -1);
  EXPECT_EQ(ReadInto(1), 0);
  ExpectOnlyError("Could not read metadata file (/m/r_1.mtd) - error 5: Input/output error");
}

TEST_F(FileStoreTest, ReadClusterRefusesANullBuffer) {
  StartExisting();
  EXPECT_EQ(file_.ReadCluster(kSize, nullptr, 0), 0);
  ExpectOnlyError("Null value passed to ReadCluster");
}

TEST_F(FileStoreTest, AFailedSeekBeforeAReadLeavesTheParenthesisOpen) {
  StartExisting();
  files_.FailOnce(FileOp::kLseek, kFile1, EIO);
  EXPECT_EQ(ReadInto(2), 0);
  ExpectOnlyError(
      "Could not set file position in metadata file (/m/r_1.mtd) at cluster 2 (8192 5: "
      "Input/output error");
}

TEST_F(FileStoreTest, AFailedReadNamesTheFile) {
  StartExisting();
  files_.FailOnce(FileOp::kRead, kFile1, EIO);
  EXPECT_EQ(ReadInto(2), 0);
  ExpectOnlyError("Could not read metadata file (/m/r_1.mtd) - error 5: Input/output error");
}

TEST_F(FileStoreTest, AWrongCrcIsLoggedWithBothValuesAsRawCharacters) {
  StartExisting();
  Bytes image = ClusterImage(77, B("01 02 03"));
  const char right = static_cast<char>(image[0]);
  image[0] = 'A';
  files_.PutBlock(kFile1, 2, image);
  EXPECT_EQ(ReadInto(2), 0);
  ExpectOnlyError(
      std::string("Cluster (2) in file (/m/r_1.mtd) contains invalid Crc. Expected (A) found (") +
      right + ")");
}

TEST_F(FileStoreTest, FlippingAnyByteOfTheUsedPartMakesReadClusterFail) {
  StartExisting();
  const Bytes image = ClusterImage(0x00345678, PacketAt(0x00345678, 60));
  for (long offset = 0; offset < 67; ++offset) {
    files_.PutBlock(kFile1, 1, image);
    files_.FlipByte(kFile1, kSize + offset);
    EXPECT_EQ(ReadInto(1), 0) << offset;
  }
}

TEST_F(FileStoreTest, FlippingAByteBehindTheUsedPartDoesNotMatter) {
  StartExisting();
  files_.PutBlock(kFile1, 1, ClusterImage(5, PacketAt(5, 60)));
  for (const long offset : {67L, 68L, 2000L, 4095L}) {
    files_.FlipByte(kFile1, kSize + offset);
    EXPECT_EQ(ReadInto(1), 1) << offset;
  }
}

// A cluster whose size field says `size` and whose CRC would be right for it.
// Of a size above 4096 the CRC is right for whoever goes on into zeros behind it.
Bytes ImageOfSize(unsigned int size) {
  Bytes image = B("00 04 03 02 01") +
                Bytes{static_cast<unsigned char>(size), static_cast<unsigned char>(size >> 8)};
  image.resize(0x10000);
  if (size >= 1) image[0] = ReferenceCrc(image, 1, size);
  image.resize(4096);
  return image;
}

TEST_F(FileStoreTest, ASizeBelow7OrAbove4096CountsAsAWrongCrc) {
  StartExisting();
  Bytes with_zeros_behind(0x10000);
  for (const unsigned int size : {0U, 1U, 5U, 6U, 4097U, 0x7FFFU, 0x8000U, 0xFFFFU}) {
    files_.PutBlock(kFile1, 0, ImageOfSize(size));
    EXPECT_EQ(file_.ReadCluster(kSize, with_zeros_behind.data(), 0), 0) << size;
    EXPECT_EQ(log_.Texts(2).back().find("Cluster (0) in file (/m/r_1.mtd) contains invalid Crc."),
              0U);
  }
  for (const unsigned int size : {7U, 8U, 4095U, 4096U}) {
    files_.PutBlock(kFile1, 0, ImageOfSize(size));
    EXPECT_EQ(ReadInto(0), 1) << size;
  }
}

TEST_F(FileStoreTest, AnAllZeroOrAllOnesPageIsUnreadable) {
  StartExisting();
  for (const Bytes& page : {Repeat(0x00, 4096), Repeat(0xFF, 4096)}) {
    files_.PutBlock(kFile1, 0, page);
    EXPECT_EQ(ReadInto(0), 0);
    EXPECT_EQ(St(0), 0xFFFFFFFDU);
    EXPECT_EQ(UsedSize(0), -1);
  }
}

TEST_F(FileStoreTest, ASmallClusterSizeBoundsTheSizeField) {
  Bytes image = ClusterImage(1, {});
  image[5] = 65;  // one more than the cluster of 64 bytes
  files_.PutFile(kFile1, Bytes(image.begin(), image.begin() + 64) + Repeat(0, 64));
  ASSERT_EQ(file_.StartFile(kBase, buffer_.data(), 2, 64, 1), 1);
  EXPECT_EQ(file_.ReadCluster(64, buffer_.data(), 0), 0);
}

TEST_F(FileStoreTest, ClustersTooSmallForAHeaderOrTooLargeForTheSizeFieldAreRefused) {
  StartExisting();
  for (const int size : {6, 0, -1, 65536}) {
    log_.Clear();
    EXPECT_EQ(file_.ReadCluster(size, buffer_.data(), 0), 0);
    EXPECT_EQ(file_.CreateFile(buffer_.data(), kCount, size), 0);
    const std::string text = "Clusters cannot be of size " + std::to_string(size);
    EXPECT_THAT(log_.Texts(2), ElementsAre(text, text));
  }
  EXPECT_TRUE(files_.Operations().empty());
  EXPECT_EQ(buffer_, Repeat(0xEE, kSize));
}

TEST_F(FileStoreTest, ClustersOfTheSmallestAndTheLargestSizeAreCreatedAndRead) {
  for (const int size : {7, 65535}) {
    buffer_.assign(65535, 0xEE);
    ASSERT_EQ(file_.StartFile("/m/s" + std::to_string(size), buffer_.data(), 2, size, 1), 1);
    EXPECT_EQ(file_.ReadCluster(size, buffer_.data(), 1), 1);
    EXPECT_EQ(Bytes(buffer_.begin(), buffer_.begin() + 7), B("A8 FF FF FF FF 07 00"));
  }
}

// ---- Headers ---------------------------------------------------------------------

TEST_F(FileStoreTest, HeaderFieldsAreLeastSignificantByteFirst) {
  StartExisting();
  Bytes image = B("00 04 03 02 01 0A 01");  // tick 0x01020304, 0x010A bytes used
  image.resize(4096);
  image[0] = ReferenceCrc(image, 1, 0x010A);
  files_.PutBlock(kFile1, 2, image);
  EXPECT_EQ(St(2), 0x01020304U);
  EXPECT_EQ(UsedSize(2), 0x010A);
}

TEST_F(FileStoreTest, GetHdrCopiesTheBytesAsTheyStand) {
  StartExisting();
  CLUSTER_HEADER_T hdr{};
  ASSERT_EQ(file_.GetHdr(kSize, buffer_.data(), &hdr, 1), 1);
  const unsigned char* const bytes = &hdr.crc;
  EXPECT_EQ(Bytes(bytes, bytes + 7), B("A8 FF FF FF FF 07 00"));
}

TEST_F(FileStoreTest, GetHdrOfACachedClusterReturnsTheCachedHeaderEvenIfRewrittenSince) {
  StartExisting();
  EXPECT_EQ(St(1), 0xFFFFFFFFU);
  ASSERT_EQ(WriteImage(ClusterImage(55, PacketAt(55)), 1), 1);
  files_.ClearOperations();
  EXPECT_EQ(St(1), 0xFFFFFFFFU);
  EXPECT_EQ(UsedSize(1), 7);
  EXPECT_TRUE(files_.Operations().empty());
  EXPECT_EQ(log_.Count(128, "FileStore.cc", "Found cluster (1) in cache"), 2);
}

TEST_F(FileStoreTest, AnUnreadableHeaderIsLoggedAndNotCached) {
  StartExisting();
  files_.PutBlock(kFile1, 1, Repeat(0, 4096));
  EXPECT_EQ(St(1), 0xFFFFFFFDU);
  EXPECT_TRUE(FileLogged(2, "Error Reading Cluster 1"));
  files_.PutBlock(kFile1, 1, ClusterImage(55, {}));
  EXPECT_EQ(St(1), 55U);
}

TEST_F(FileStoreTest, HeaderOperationsRefuseNullBuffers) {
  StartExisting();
  CLUSTER_HEADER_T hdr{};
  EXPECT_EQ(file_.GetHdr(kSize, nullptr, &hdr, 0), 0);
  EXPECT_EQ(file_.GetHdr(kSize, buffer_.data(), nullptr, 0), 0);
  EXPECT_EQ(file_.GetSt(kSize, nullptr, 0), 0xFFFFFFFDU);
  EXPECT_EQ(file_.GetSize(kSize, nullptr, 0), -1);
  EXPECT_THAT(log_.Texts(2),
              ElementsAre("Null value passed to GetHdr", "Null value passed to GetHdr",
                          "Null value passed to GetSt", "Null value passed to GetSize"));
}

// ---- Copying and setting aside ---------------------------------------------------

// File #2 beside file #1, which holds a packet in cluster 0.
class FileStoreCopyTest : public FileStoreTest {
 protected:
  void StartBoth(bool just_made = false) {
    StartExisting();
    files_.PutBlock(kFile1, 0, ClusterImage(5, PacketAt(5)));
    ASSERT_EQ(copy_.StartFile(kBase, buffer_.data(), kCount, kSize, 2), 1);
    if (!just_made) {
      ASSERT_EQ(copy_.StartFile(kBase, buffer_.data(), kCount, kSize, 2), 1);
    }
    files_.ClearOperations();
    log_.Clear();
  }
  int Copy() { return copy_.CopyFile(kCount, kSize, file_); }
  // File #2 is closed, and what it was before.
  void ExpectUnfilled() {
    EXPECT_EQ(files_.ReadBlock(kFile2, 0), NeverWritten());
    EXPECT_FALSE(files_.Exists(kTmp2));
    EXPECT_EQ(files_.OpenDescriptors(), 1);
  }

  static constexpr char kTmp2[] = "/m/r_2.mtd.tmp";
  FileStore copy_{2};
};

TEST_F(FileStoreCopyTest, CopyFileRunsCpAndOpensTheSyncedCopy) {
  StartBoth();
  EXPECT_EQ(Copy(), 1);
  EXPECT_THAT(files_.Trace({FileOp::kSystem}), ElementsAre("system cp /m/r_1.mtd /m/r_2.mtd.tmp"));
  EXPECT_TRUE(files_.SameContent(kFile1, kFile2));
  EXPECT_TRUE(files_.IsSynced(kFile2));
  EXPECT_TRUE(files_.IsNameSynced(kFile2));
  EXPECT_FALSE(files_.Exists(kTmp2));
  EXPECT_EQ(copy_.ReadCluster(kSize, buffer_.data(), 0), 1);
  EXPECT_EQ(files_.OpenDescriptors(), 2);
}

TEST_F(FileStoreCopyTest, AClosedFileIsReplacedByTheCopyToo) {
  StartBoth();
  copy_.Close();
  EXPECT_EQ(Copy(), 1);
  EXPECT_TRUE(files_.SameContent(kFile1, kFile2));
  EXPECT_EQ(copy_.ReadCluster(kSize, buffer_.data(), 0), 1);
}

TEST_F(FileStoreCopyTest, AFailedCopyIsLoggedAndLeavesTheFileClosed) {
  StartBoth();
  files_.FailOnce(FileOp::kSystem, "", ENOMEM);
  EXPECT_EQ(Copy(), 0);
  ExpectOnlyError(" cp /m/r_1.mtd /m/r_2.mtd.tmp failed. errno 12 Cannot allocate memory");
  ExpectUnfilled();
}

TEST_F(FileStoreCopyTest, ACopyThatExitsWithAFailureIsAFailure) {
  StartBoth();
  files_.Delete(kFile1);
  EXPECT_EQ(Copy(), 0);
  ASSERT_EQ(log_.Texts(2).size(), 1U);
  EXPECT_EQ(log_.Texts(2)[0].find(" cp /m/r_1.mtd /m/r_2.mtd.tmp failed. errno "), 0U);
}

TEST_F(FileStoreCopyTest, ACopyOfTheWrongSizeDoesNotGetTheName) {
  StartBoth();
  files_.SetSize(kFile1, 5);
  EXPECT_EQ(Copy(), 0);
  ExpectOnlyError("File /m/r_2.mtd.tmp is incorrectly sized at 5, should be 16384");
  ExpectUnfilled();
}

TEST_F(FileStoreCopyTest, ACopyThatCannotBeLookedAtSyncedOrRenamedIsAFailure) {
  StartBoth();
  for (const FileOp failing : {FileOp::kOpen, FileOp::kStat, FileOp::kFsync}) {
    log_.Clear();
    files_.FailOnce(failing, kTmp2, EIO);
    EXPECT_EQ(Copy(), 0);
    ExpectOnlyError("Could not sync file /m/r_2.mtd.tmp, 5: Input/output error");
    ExpectUnfilled();
  }
  log_.Clear();
  files_.FailOnce(FileOp::kRename, kTmp2, EIO);
  EXPECT_EQ(Copy(), 0);
  ExpectOnlyError("Failed to rename file /m/r_2.mtd.tmp to /m/r_2.mtd, 5: Input/output error");
  ExpectUnfilled();
}

// The disk may have room for two files and not for three.
TEST_F(FileStoreCopyTest, AFileJustMadeGivesItsRoomToTheCopy) {
  StartBoth(true);
  EXPECT_EQ(Copy(), 1);
  EXPECT_THAT(files_.Trace({FileOp::kUnlink, FileOp::kSystem, FileOp::kFsync, FileOp::kRename}),
              ElementsAre("rename /m/r_2.mtd /m/r_2.mtd.tmp", "fsync /m",
                          "system cp /m/r_1.mtd /m/r_2.mtd.tmp", "fsync /m/r_2.mtd.tmp",
                          "rename /m/r_2.mtd.tmp /m/r_2.mtd", "fsync /m"));
  EXPECT_TRUE(files_.SameContent(kFile1, kFile2));
}

TEST_F(FileStoreCopyTest, AFileJustMadeIsGoneWhenItCannotBeFilled) {
  for (const bool keeps_its_name : {false, true}) {
    StartBoth(true);
    if (keeps_its_name) files_.FailOnce(FileOp::kRename, kFile2, EACCES);
    files_.FailOnce(FileOp::kSystem, "", EIO);
    EXPECT_EQ(Copy(), 0);
    EXPECT_THAT(files_.Paths(), ElementsAre(kFile1));
  }
}

TEST_F(FileStoreCopyTest, ACopyWhoseNameCannotBeSyncedIsUsed) {
  StartBoth();
  files_.FailOnce(FileOp::kFsync, "/m", EIO);
  EXPECT_EQ(Copy(), 1);
  EXPECT_TRUE(
      FileLogged(4, "Could not sync the directory of file /m/r_2.mtd, 5: Input/output error"));
  EXPECT_TRUE(files_.SameContent(kFile1, kFile2));
}

TEST_F(FileStoreCopyTest, TheCopyIsSyncedBeforeItGetsItsName) {
  StartBoth();
  files_.PutZeros(kTmp2, 3);  // of a copy that was cut short
  EXPECT_EQ(Copy(), 1);
  EXPECT_THAT(files_.Trace({FileOp::kUnlink, FileOp::kSystem, FileOp::kFsync, FileOp::kRename}),
              ElementsAre("unlink /m/r_2.mtd.tmp", "system cp /m/r_1.mtd /m/r_2.mtd.tmp",
                          "fsync /m/r_2.mtd.tmp", "rename /m/r_2.mtd.tmp /m/r_2.mtd", "fsync /m"));
}

// Neither command can do anything: no path stays as an argument of its own.
TEST_F(FileStoreCopyTest, WithoutAPathNothingIsCopied) {
  StartExisting();
  FileStore nameless(2);
  EXPECT_EQ(nameless.CopyFile(kCount, kSize, file_), 0);
  EXPECT_EQ(file_.CopyFile(kCount, kSize, nameless), 0);
  EXPECT_THAT(files_.Trace({FileOp::kSystem}),
              ElementsAre("system cp /m/r_1.mtd ''", "system cp '' /m/r_1.mtd.tmp"));
  EXPECT_EQ(files_.ReadBlock(kFile1, 0), NeverWritten());
}

TEST_F(FileStoreTest, RemoveDeletesTheFile) {
  StartExisting();
  file_.Close();
  file_.Remove();
  EXPECT_FALSE(files_.Exists(kFile1));
  EXPECT_TRUE(log_.Texts(2).empty());
}

TEST_F(FileStoreTest, AFailedRemoveIsLogged) {
  StartExisting();
  file_.Close();
  files_.FailOnce(FileOp::kUnlink, kFile1, EBUSY);
  file_.Remove();
  ExpectOnlyError("FileStore::Remove of file /m/r_1.mtd failed with err-16Device or resource busy");
}

TEST_F(FileStoreTest, SetAsideTakesTheFirstNameThatIsFree) {
  for (const std::string aside :
       {"/m/r_1.mtd.CORRUPT", "/m/r_1.mtd.CORRUPT.1", "/m/r_1.mtd.CORRUPT.2"}) {
    StartExisting();
    files_.PutBlock(kFile1, 0, ClusterImage(5, PacketAt(5)));
    file_.Close();
    EXPECT_EQ(file_.SetAside(), 1);
    EXPECT_FALSE(files_.Exists(kFile1));
    EXPECT_EQ(files_.ReadBlock(aside, 0), ClusterImage(5, PacketAt(5)));
    files_.PutBlock(aside, 0, NeverWritten());  // to be told from the next
  }
  EXPECT_EQ(files_.ReadBlock("/m/r_1.mtd.CORRUPT", 0), NeverWritten());
}

TEST_F(FileStoreTest, AFailedSetAsideDeletesNothing) {
  StartExisting();
  file_.Close();
  files_.FailOnce(FileOp::kRename, kFile1, EACCES);
  EXPECT_EQ(file_.SetAside(), 0);
  ExpectOnlyError("Failed to rename /m/r_1.mtd errno 13 - Permission denied");
  EXPECT_TRUE(files_.Exists(kFile1));
}

TEST_F(FileStoreTest, HandleCorruptReplacesAnOlderCorruptFile) {
  StartExisting();
  file_.Close();
  files_.PutFile("/m/r_1.mtd.CORRUPT", B("01"));
  file_.HandleCorrupt();
  EXPECT_THAT(files_.Paths(), ElementsAre("/m/r_1.mtd.CORRUPT"));
  EXPECT_EQ(files_.Size("/m/r_1.mtd.CORRUPT"), kCount * kSize);
}

TEST_F(FileStoreTest, ACorruptFileThatCannotBeRenamedIsDeleted) {
  StartExisting();
  file_.Close();
  files_.FailOnce(FileOp::kRename, kFile1, EACCES);
  file_.HandleCorrupt();
  ExpectOnlyError("Failed to rename /m/r_1.mtd errno 13 - Permission denied");
  EXPECT_TRUE(files_.Paths().empty());
}

// ---- Without messages ------------------------------------------------------------

TEST_F(FileStoreTest, FailsAlikeWithEveryMessageSwitchedOff) {
  const CapturedLog quiet(0);
  EXPECT_EQ(file_.StartFile(kBase, nullptr, kCount, kSize, 1), 0);
  files_.FailOnce(FileOp::kOpen, std::string(kFile1) + ".tmp", EACCES);
  EXPECT_EQ(Start(), 0);
  files_.FailOnce(FileOp::kRename, std::string(kFile1) + ".tmp", EROFS);
  EXPECT_EQ(Start(), 0);
  EXPECT_FALSE(files_.Exists(kFile1));
  files_.PutFile(kFile1, B("01"), 0644);
  EXPECT_EQ(Start(), 0);  // of the wrong size
  files_.PutFile(kFile1, B("01"), 0644);
  files_.FailOnce(FileOp::kChmod, kFile1, EPERM);
  EXPECT_EQ(Start(), 0);
  files_.FailOnce(FileOp::kUnlink, kFile1, EPERM);
  file_.Remove();
  EXPECT_TRUE(files_.Exists(kFile1));
  files_.Delete(kFile1);
  files_.MakeDirectory(kFile1);
  EXPECT_EQ(Start(), 0);
  EXPECT_EQ(file_.ReadCluster(kSize, nullptr, 0), 0);
  EXPECT_EQ(file_.ReadCluster(6, buffer_.data(), 0), 0);
  EXPECT_TRUE(quiet.Entries().empty());
}

// ---- The real shell --------------------------------------------------------------

// Everything here is done by the machine's own files and shell, in a directory
// of the test's own.
class FileStoreShellTest : public ::testing::TestWithParam<const char*> {
 protected:
  FileStoreShellTest() : buffer_(kSize) {
    EXPECT_NE(mkdtemp(directory_), nullptr);
    base_ = std::string(directory_) + "/" + GetParam();
  }
  ~FileStoreShellTest() override {
    unlink((base_ + "_1.mtd").c_str());
    unlink((base_ + "_2.mtd").c_str());
    EXPECT_EQ(rmdir(directory_), 0) << "something else was created in " << directory_;
  }

  char directory_[32] = "/tmp/vmr_file_storeXXXXXX";
  std::string base_;
  Bytes buffer_;
};

TEST_P(FileStoreShellTest, AnyPathIsCreatedAndCopied) {
  CapturedLog log(7);
  FileStore source(1), copy(2);
  ASSERT_EQ(source.StartFile(base_, buffer_.data(), kCount, kSize, 1), 1);
  const Bytes image = ClusterImage(5, PacketAt(5));
  ASSERT_EQ(source.WriteCluster(kSize, image.data(), 3), 1);
  ASSERT_EQ(copy.StartFile(base_, buffer_.data(), kCount, kSize, 2), 1);
  ASSERT_EQ(copy.CopyFile(kCount, kSize, source), 1);
  EXPECT_EQ(copy.ReadCluster(kSize, buffer_.data(), 3), 1);
  EXPECT_EQ(buffer_, image);
  EXPECT_TRUE(log.Entries().empty());
}

INSTANTIATE_TEST_SUITE_P(Names, FileStoreShellTest,
                         ::testing::Values("plain", "two  blanks", "it's", "\"quoted\"",
                                           "$HOME; exit 1 #", "`false`", "a\\b", "star*?[a]",
                                           "new\nline", "amp&pipe|", "caf\xC3\xA9", "~root"));

TEST(FileStoreLink, TheModeOfAFileElsewhereIsLeftAlone) {
  const TempDir directory;
  CapturedLog log(7);
  Bytes buffer(kSize);
  FileStore elsewhere(1), linked(1);
  ASSERT_EQ(elsewhere.StartFile(directory.Path("elsewhere"), buffer.data(), kCount, kSize, 1), 1);
  ASSERT_EQ(chmod(elsewhere.Path().c_str(), 0644), 0);
  const std::string link = directory.Path("r_1.mtd");
  ASSERT_EQ(symlink(elsewhere.Path().c_str(), link.c_str()), 0);
  EXPECT_EQ(linked.StartFile(directory.Path("r"), buffer.data(), kCount, kSize, 1), 0);
  struct stat status {};
  ASSERT_EQ(stat(elsewhere.Path().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0644U);
  EXPECT_THAT(log.Texts(2), ElementsAre("Could not reset the mode of file " + link +
                                        ", 40 : Too many levels of symbolic links"));
}

// What is logged of writes to real files: to a cluster that cannot be, through a file that
// was opened to be read, and to one that was closed.
std::vector<std::string> ToldOfFailedWrites() {
  const TempDir directory;
  CapturedLog log(7);
  const std::string base = directory.Path("r");
  const Bytes image = ClusterImage(5, PacketAt(5));
  Bytes buffer(kSize);
  FileStore file(1);
  EXPECT_EQ(file.StartFile(base, buffer.data(), kCount, kSize, 1), 1);
  EXPECT_EQ(file.WriteCluster(kSize, image.data(), 3), 1);
  EXPECT_EQ(file.ReadCluster(kSize, buffer.data(), 3), 1);
  EXPECT_EQ(buffer, image);
  EXPECT_TRUE(log.Entries().empty());
  EXPECT_EQ(file.WriteCluster(kSize, image.data(), -1), 0);
  file.Close();
  EXPECT_EQ(file.StartFileReadOnly(base, kCount, kSize, 1), 1);
  EXPECT_EQ(file.WriteCluster(kSize, image.data(), 2), 0);
  file.Close();
  EXPECT_EQ(file.WriteCluster(kSize, image.data(), 2), 0);
  return log.Texts(2);
}

TEST(FileStoreWrites, FailWithTheSameTextsWhetherOrNotTheHostWritesAtAPosition) {
  const auto expected =
      ElementsAre("Could not set file position in metadata file 22: Invalid argument",
                  "Could not write metadata file at cluster 2 (8192) - 9: Bad file descriptor",
                  "Could not set file position in metadata file 9: Bad file descriptor");
  EXPECT_THAT(ToldOfFailedWrites(), expected);
  const PassingOn seeks_and_writes;
  EXPECT_THAT(ToldOfFailedWrites(), expected);
}

// Relative to the directory that the test is in, as a host's own path may be.
TEST(FileStoreCopyCommand, APathThatBeginsWithADashIsNotTakenForAnOption) {
  const TempDir directory;
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(directory.Path(""));
  Bytes buffer(kSize);
  FileStore source(1), copy(2);
  const Bytes image = ClusterImage(5, PacketAt(5));
  EXPECT_EQ(source.StartFile("-r", buffer.data(), kCount, kSize, 1), 1);
  EXPECT_EQ(source.WriteCluster(kSize, image.data(), 3), 1);
  EXPECT_EQ(copy.StartFile("-r", buffer.data(), kCount, kSize, 2), 1);
  EXPECT_EQ(copy.CopyFile(kCount, kSize, source), 1);
  EXPECT_EQ(copy.ReadCluster(kSize, buffer.data(), 3), 1);
  EXPECT_EQ(buffer, image);
  std::filesystem::current_path(before);
}

// How the cp command names a base path.
std::string CopyCommandFor(const std::string& base) {
  SimulatedFiles files;
  CapturedLog quiet(0);
  files.MakeDirectory("/m");
  Bytes buffer(kSize);
  FileStore source(1), copy(2);
  EXPECT_EQ(source.StartFile(base, buffer.data(), kCount, kSize, 1), 1);
  EXPECT_EQ(copy.StartFile(base, buffer.data(), kCount, kSize, 2), 1);
  EXPECT_EQ(copy.CopyFile(kCount, kSize, source), 1);
  EXPECT_EQ(files.Misuse(), "");
  const auto commands = files.Trace({FileOp::kSystem});
  return commands.size() == 1 ? commands[0].substr(7) : "";
}

TEST(FileStoreCopyCommand, QuotesOnlyWhatNeedsIt) {
  EXPECT_EQ(CopyCommandFor("/m/r-1.x_y"), "cp /m/r-1.x_y_1.mtd /m/r-1.x_y_2.mtd.tmp");
  EXPECT_EQ(CopyCommandFor("/m/a b"), "cp '/m/a b_1.mtd' '/m/a b_2.mtd.tmp'");
  EXPECT_EQ(CopyCommandFor("/m/it's"), "cp '/m/it'\\''s_1.mtd' '/m/it'\\''s_2.mtd.tmp'");
  EXPECT_EQ(CopyCommandFor("/m/$x"), "cp '/m/$x_1.mtd' '/m/$x_2.mtd.tmp'");
}

}  // namespace
}  // namespace vmr
