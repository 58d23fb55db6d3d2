// Writing and closing files, where a device refuses, stalls or takes a part.
#include "backends/file_io.h"

#include <errno.h>
#include <fcntl.h>
#include <unistd.h>

#include <sstream>

#include "host/file_ops.h"
#include "tests/backends/ring_fixture.h"

namespace vmr {
namespace {

using namespace test;

class FileIo : public RingTest {
 protected:
  FileIo() : fd_(OpenFile(kPath, O_RDWR | O_CREAT, 0660)) { files_.ClearOperations(); }

  bool Write(const Bytes& bytes) const { return WriteWhole(fd_, bytes.data(), bytes.size()); }
  ssize_t WriteAt(const Bytes& bytes, off_t offset) const {
    return WriteWholeAt(fd_, bytes.data(), bytes.size(), offset);
  }
  Bytes Content() const { return files_.Content(kPath); }

  static constexpr char kPath[] = "/m/file";
  int fd_;
};

TEST_F(FileIo, AWriteThatIsShortIsGoneOnWith) {
  files_.LimitTo(3, FileOp::kWrite, kPath, 2);
  EXPECT_TRUE(Write(B("01 02 03 04 05 06 07 08")));
  EXPECT_EQ(Content(), B("01 02 03 04 05 06 07 08"));
  EXPECT_EQ(files_.Count(FileOp::kWrite, kPath), 3);
}

TEST_F(FileIo, ARefusedWriteFailsWithItsError) {
  files_.FailOnce(FileOp::kWrite, kPath, ENOSPC);
  EXPECT_FALSE(Write(B("01 02")));
  EXPECT_EQ(errno, ENOSPC);
}

TEST_F(FileIo, FiftyWritesOfNothingAreRepeatedAndNoMore) {
  files_.LimitTo(0, FileOp::kWrite, kPath, 50);
  EXPECT_TRUE(Write(B("01")));
  files_.LimitTo(0, FileOp::kWrite, kPath, 51);
  EXPECT_FALSE(Write(B("02")));
  EXPECT_EQ(errno, EIO);
}

TEST_F(FileIo, NothingToWriteIsWrittenWithoutACall) {
  EXPECT_TRUE(Write({}));
  EXPECT_EQ(files_.Count(FileOp::kWrite, kPath), 0);
}

TEST_F(FileIo, AWriteAtAPositionThatIsShortIsGoneOnWithBehindWhatIsWritten) {
  ASSERT_TRUE(Write(Bytes(6)));
  files_.LimitTo(3, FileOp::kWrite, kPath, 2);
  EXPECT_EQ(WriteAt(B("01 02 03 04 05 06 07 08"), 2), 8);
  EXPECT_EQ(Content(), B("00 00 01 02 03 04 05 06 07 08"));
}

TEST_F(FileIo, AnInterruptedWriteAtAPositionIsRepeatedThere) {
  files_.FailOnce(FileOp::kLseek, kPath, EINTR);
  files_.FailOnce(FileOp::kWrite, kPath, EINTR);
  EXPECT_EQ(WriteAt(B("01 02"), 1), 2);
  EXPECT_EQ(Content(), B("00 01 02"));
}

TEST_F(FileIo, AFailedWriteAtAPositionTellsWhetherItWasForThePosition) {
  files_.FailOnce(FileOp::kWrite, kPath, ENOSPC);
  EXPECT_EQ(WriteAt(B("01 02"), 1), -1);
  EXPECT_EQ(errno, ENOSPC);
  files_.FailOnce(FileOp::kLseek, kPath, EIO);
  EXPECT_EQ(WriteAt(B("01 02"), 1), FileOps::kNoPosition);
  EXPECT_EQ(errno, EIO);
}

TEST_F(FileIo, FiftyWritesOfNothingAtAPositionAreRepeatedAndNoMore) {
  files_.LimitTo(0, FileOp::kWrite, kPath, 50);
  EXPECT_EQ(WriteAt(B("01"), 0), 1);
  files_.LimitTo(0, FileOp::kWrite, kPath, 51);
  EXPECT_EQ(WriteAt(B("02"), 0), -1);
  EXPECT_EQ(errno, EIO);
}

TEST_F(FileIo, OfNothingToWriteThePositionIsTried) {
  EXPECT_EQ(WriteAt({}, 1), 0);
  EXPECT_EQ(Content(), Bytes());
  EXPECT_EQ(WriteAt({}, -1), FileOps::kNoPosition);
  EXPECT_EQ(errno, EINVAL);
}

TEST_F(FileIo, WhatIsSyncedAndClosedIsOnTheDevice) {
  EXPECT_TRUE(SyncAndClose(fd_));
  EXPECT_EQ(files_.Count(FileOp::kFsync, kPath), 1);
  EXPECT_EQ(files_.OpenDescriptors(), 0);
}

TEST_F(FileIo, AFailedSyncClosesAllTheSameAndTellsItsError) {
  files_.FailOnce(FileOp::kFsync, kPath, EIO);
  files_.FailOnce(FileOp::kClose, kPath, ENOSPC);
  EXPECT_FALSE(SyncAndClose(fd_));
  EXPECT_EQ(errno, EIO);
}

TEST_F(FileIo, AFailedCloseFails) {
  files_.FailOnce(FileOp::kClose, kPath, ENOSPC);
  EXPECT_FALSE(SyncAndClose(fd_));
  EXPECT_EQ(errno, ENOSPC);
}

TEST_F(FileIo, NoCallIsMadeToSeekWhereNothingIsOpen) {
  for (const int fd : {-1, 0}) {
    errno = 0;
    EXPECT_EQ(SeekFile(fd, 0, SEEK_SET), -1);
    EXPECT_EQ(errno, EBADF);
    errno = 0;
    EXPECT_EQ(WriteFileAt(fd, "a", 1, 0), FileOps::kNoPosition);
    EXPECT_EQ(errno, EBADF);
  }
  EXPECT_TRUE(files_.Operations().empty());
}

TEST_F(FileIo, AnErrorIsToldByItsTextAndByNumberAndText) {
  errno = EACCES;
  EXPECT_STREQ(TextOfErrno(), "Permission denied");
  EXPECT_STREQ(TextOfErrno(EIO), "Input/output error");
  std::ostringstream text;
  text << Reason{};
  EXPECT_EQ(text.str(), "13: Permission denied");
}

}  // namespace
}  // namespace vmr
