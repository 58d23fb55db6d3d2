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

TEST_F(CowFilesTest, PagesThatNobodyPutHoldTheBackground) {
  const Bytes background(kPageBytes, 0x5A);
  files_.MakeFile(kFile2, 4L * kPageBytes, S_IFREG | 0660);
  files_.SetBackground(kFile2, files_.MakePage(background.data(), kPageBytes));
  const CowFiles::Mark mark = files_.Set();
  files_.SetPage(kFile2, 2, {});
  Bytes all = files_.ReadAll(kFile2);
  ASSERT_EQ(all.size(), 4U * kPageBytes);
  EXPECT_EQ(all[kPageBytes], 0x5A);
  EXPECT_EQ(all[2U * kPageBytes], 0);
  EXPECT_EQ(all[3U * kPageBytes], 0x5A);
  files_.Undo(mark);
  EXPECT_EQ(files_.ReadAll(kFile2)[2U * kPageBytes], 0x5A);
}

TEST_F(CowFilesTest, WithoutRoomNothingIsWrittenAndACopyFails) {
  const int fd = OpenFile1();
  files_.SetRoom(kPageBytes);
  WritePage(fd, 0, 0x11);
  const Bytes more(1, 0x22);
  EXPECT_EQ(files_.Write(fd, more.data(), 1), -1);
  EXPECT_EQ(errno, ENOSPC);
  EXPECT_NE(files_.System("cp /m/r_1.mtd /m/r_2.mtd"), 0);
  EXPECT_EQ(files_.ChangesBeside(kAnyName), 2) << "one write, and half a copy";
}

TEST_F(CowFilesTest, WhatCannotBeReadCannotBeCopied) {
  files_.SetPage(kFile1, 3, {nullptr, 0, 0xFF});
  EXPECT_NE(files_.System("cp /m/r_1.mtd /m/r_2.mtd"), 0);
  EXPECT_LT(files_.Size(kFile2), files_.Size(kFile1));
}

}  // namespace
}  // namespace vmr::crash
