#include "tests/crash/cow_files.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <cerrno>

#include "tests/crash/recording.h"

namespace vmr::crash {
namespace {

class CowFilesTest : public ::testing::Test {
 protected:
  CowFilesTest() { files_.MakeRing(kFile1); }

  int OpenFile1() { return files_.Open(PathOf(kFile1), O_RDWR | O_CLOEXEC, 0); }
  void WritePage(int fd, int page, unsigned char byte) {
    const Bytes bytes(kPageBytes, byte);
    files_.Lseek(fd, static_cast<off_t>(page) * kPageBytes, SEEK_SET);
    ASSERT_EQ(files_.Write(fd, bytes.data(), kPageBytes), kPageBytes);
  }
  unsigned char FirstByte(int page) {
    unsigned char bytes[kPageBytes];
    EXPECT_TRUE(files_.ReadRaw(kFile1, page, bytes));
    return bytes[0];
  }

  CowFiles files_;
};

TEST_F(CowFilesTest, UndoBringsBackEveryPageAndName) {
  WritePage(OpenFile1(), 7, 0x11);
  const CowFiles::Mark mark = files_.Set();
  WritePage(OpenFile1(), 7, 0x22);
  WritePage(OpenFile1(), 8, 0x22);
  files_.Rename(PathOf(kFile1), PathOf(kCorrupt1));
  files_.Undo(mark);
  EXPECT_EQ(FirstByte(7), 0x11);
  EXPECT_EQ(FirstByte(8), 0);
  EXPECT_FALSE(files_.Exists(kCorrupt1));
}

TEST_F(CowFilesTest, ABadSectorCannotBeReadUntilItIsWritten) {
  Page page = files_.PageAt(kFile1, 3);
  page.bad_sectors = 1 << 5;
  files_.SetPage(kFile1, 3, page);
  unsigned char bytes[kPageBytes];
  const int fd = OpenFile1();
  files_.Lseek(fd, 3L * kPageBytes, SEEK_SET);
  EXPECT_EQ(files_.Read(fd, bytes, kPageBytes), -1);
  EXPECT_EQ(errno, EIO);
  WritePage(fd, 3, 0x33);
  EXPECT_EQ(FirstByte(3), 0x33);
}

TEST_F(CowFilesTest, AFaultStrikesTheCallItIsSetFor) {
  const int fd = OpenFile1();
  Fault fault;
  fault.call = Call::kFsync;
  fault.skip = 1;
  fault.error = ENOSPC;
  files_.SetFault(fault);
  EXPECT_EQ(files_.Fsync(fd), 0);
  EXPECT_EQ(files_.Fsync(fd), -1);
  EXPECT_EQ(errno, ENOSPC);
  EXPECT_EQ(files_.Fsync(fd), 0);
  EXPECT_EQ(files_.Struck(), 1);
}

TEST_F(CowFilesTest, AFaultMayStrikeSeveralTimesInARow) {
  const int fd = OpenFile1();
  Fault fault;
  fault.call = Call::kFsync;
  fault.skip = 1;
  fault.times = 3;
  fault.error = EINTR;
  files_.SetFault(fault);
  EXPECT_EQ(files_.Fsync(fd), 0);
  for (int n = 0; n < 3; ++n) EXPECT_EQ(files_.Fsync(fd), -1);
  EXPECT_EQ(files_.Fsync(fd), 0);
  EXPECT_EQ(files_.Struck(), 3);
}

TEST_F(CowFilesTest, ALostWriteReportsSuccessAndStoresNothing) {
  Fault fault;
  fault.call = Call::kWrite;
  fault.lost = true;
  files_.SetFault(fault);
  WritePage(OpenFile1(), 2, 0x44);
  EXPECT_EQ(FirstByte(2), 0);
}

}  // namespace
}  // namespace vmr::crash
