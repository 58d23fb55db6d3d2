// The simulated files themselves: what the tests that cut the power rely on.
#include "tests/support/simulated_files.h"

#include <errno.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

namespace vmr::test {
namespace {

using ::testing::ElementsAre;

constexpr int kCreate = O_RDWR | O_CREAT | O_CLOEXEC;

class SimulatedFilesTest : public ::testing::Test {
 protected:
  int Create(const char* path) { return files_.Open(path, kCreate, 0660); }
  void SyncDirectory() {
    const int fd = files_.Open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0);
    ASSERT_EQ(files_.Fsync(fd), 0);
    files_.Close(fd);
  }
  void WriteAt(int fd, long offset, const Bytes& bytes) {
    files_.Lseek(fd, offset, SEEK_SET);
    ASSERT_EQ(files_.Write(fd, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
  }

  SimulatedFiles files_;
};

TEST_F(SimulatedFilesTest, AreInUseWhileTheObjectLives) {
  EXPECT_EQ(&FileOps::Current(), &files_);
  {
    SimulatedFiles inner;
    EXPECT_EQ(&FileOps::Current(), &inner);
  }
  EXPECT_EQ(&FileOps::Current(), &files_);
}

TEST_F(SimulatedFilesTest, BytesAreReadBackAcrossBlocks) {
  const int fd = Create("f");
  WriteAt(fd, 4090, B("01 02 03 04 05 06 07 08 09 0A"));
  EXPECT_EQ(files_.Size("f"), 4100);
  Bytes back(20);
  files_.Lseek(fd, 4088, SEEK_SET);
  EXPECT_EQ(files_.Read(fd, back.data(), 20), 12);
  EXPECT_EQ(back, B("00 00 01 02 03 04 05 06 07 08 09 0A 00 00 00 00 00 00 00 00"));
}

TEST_F(SimulatedFilesTest, AWriteOfNothingLeavesTheSize) {
  const int fd = Create("f");
  WriteAt(fd, 10, {});
  EXPECT_EQ(files_.Size("f"), 0);
}

TEST_F(SimulatedFilesTest, FollowPosixWhereTheStoresLook) {
  errno = 0;
  EXPECT_EQ(files_.Open("none", O_RDONLY | O_CLOEXEC, 0), -1);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(files_.Open("nowhere/f", kCreate, 0660), -1);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(files_.Open(".", O_RDWR | O_CLOEXEC, 0), -1);
  EXPECT_EQ(errno, EISDIR);
  EXPECT_EQ(Create("f"), 3);
  EXPECT_EQ(files_.Lseek(3, -1, SEEK_SET), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(files_.Misuse(), "");
}

TEST_F(SimulatedFilesTest, UnsyncedBytesAreKeptOrDropped) {
  for (const Unsynced unsynced : {Unsynced::kKeep, Unsynced::kDrop}) {
    files_.PutFile("f", B("AA AA AA"));
    const int fd = files_.Open("f", O_RDWR | O_CLOEXEC, 0);
    WriteAt(fd, 0, B("11"));
    files_.Fsync(fd);
    WriteAt(fd, 1, B("22"));
    EXPECT_FALSE(files_.IsSynced("f"));
    files_.PowerUp(unsynced);
    EXPECT_EQ(files_.Content("f"), unsynced == Unsynced::kKeep ? B("11 22 AA") : B("11 AA AA"));
  }
}

TEST_F(SimulatedFilesTest, ChangesOfADirectoryReachTheDiskInAnySelection) {
  for (unsigned int kept = 0; kept < 4; ++kept) {
    files_.PutFile("f", B("11"));
    files_.PutFile("g", B("22"));
    files_.Delete("h");
    files_.Unlink("f");
    files_.Rename("g", "h");
    EXPECT_EQ(files_.UnsyncedNames(), 2U);
    files_.PowerUpWith(kept, Unsynced::kDrop);
    EXPECT_EQ(files_.Exists("f"), (kept & 1) == 0);
    EXPECT_EQ(files_.Exists("g"), (kept & 2) == 0);
    EXPECT_EQ(files_.Exists("h"), (kept & 2) != 0);
    EXPECT_EQ(files_.UnsyncedNames(), 0U);
  }
}

// One that looks and renames in two steps, as a host may have it.
TEST_F(SimulatedFilesTest, RenamingToANewNameReplacesNothing) {
  files_.PutFile("f", B("11"));
  EXPECT_EQ(files_.RenameNew("f", "g"), 0);
  files_.PutFile("f", B("22"));
  EXPECT_EQ(files_.RenameNew("f", "g"), -1);
  EXPECT_EQ(errno, EEXIST);
  EXPECT_EQ(files_.Content("g"), B("11"));
  files_.FailOnce(FileOp::kStat, "h", EIO);
  EXPECT_EQ(files_.RenameNew("f", "h"), -1);
  EXPECT_EQ(errno, EIO);
  EXPECT_EQ(files_.Content("f"), B("22"));
}

TEST_F(SimulatedFilesTest, ATornBlockIsNewUpToSomeByteAndOldBehindIt) {
  bool torn = false, whole = false, dropped = false;
  for (unsigned int seed = 0; seed < 60; ++seed) {
    files_.PutFile("f", Bytes(4096, 0xAA));
    const int fd = files_.Open("f", O_RDWR | O_CLOEXEC, 0);
    WriteAt(fd, 0, Bytes(4096, 0x55));
    files_.PowerUp(Unsynced::kTorn, seed);
    const Bytes after = files_.Content("f");
    const auto edge = std::find(after.begin(), after.end(), 0xAA);
    EXPECT_EQ(std::count(edge, after.end(), 0xAA), after.end() - edge);
    torn = torn || (edge != after.begin() && edge != after.end());
    whole = whole || edge == after.end();
    dropped = dropped || edge == after.begin();
  }
  EXPECT_TRUE(torn && whole && dropped);
}

TEST_F(SimulatedFilesTest, ANameIsDurableOnlyOnceItsDirectoryIsSynced) {
  files_.PutFile("old", B("01"));
  files_.Rename("old", "new");
  EXPECT_FALSE(files_.IsNameSynced("new"));
  files_.PowerUp(Unsynced::kDrop);
  EXPECT_THAT(files_.Paths(), ElementsAre("old"));
  files_.Rename("old", "new");
  SyncDirectory();
  files_.PowerUp(Unsynced::kDrop);
  EXPECT_THAT(files_.Paths(), ElementsAre("new"));
}

TEST_F(SimulatedFilesTest, TheOperationInWhichThePowerGoesAndAllLaterOnesFail) {
  const int fd = Create("f");
  SyncDirectory();
  files_.CutPowerAt(2);
  files_.Lseek(fd, 0, SEEK_SET);
  EXPECT_FALSE(files_.PowerWasCut());
  EXPECT_EQ(files_.Write(fd, "x", 1), -1);
  EXPECT_TRUE(files_.PowerWasCut());
  errno = 0;
  EXPECT_EQ(files_.Fsync(fd), -1);
  EXPECT_EQ(errno, EIO);
  files_.PowerUp(Unsynced::kKeep);
  EXPECT_FALSE(files_.PowerWasCut());
  EXPECT_EQ(files_.OpenDescriptors(), 0);
  EXPECT_EQ(files_.Content("f"), B("78"));  // it was under way
}

TEST_F(SimulatedFilesTest, ASyncDuringWhichThePowerGoesMakesNothingDurable) {
  files_.PutFile("f", B("AA"));
  const int fd = files_.Open("f", O_RDWR | O_CLOEXEC, 0);
  WriteAt(fd, 0, B("11"));
  files_.CutPowerAt(1);
  EXPECT_EQ(files_.Fsync(fd), -1);
  files_.PowerUp(Unsynced::kDrop);
  EXPECT_EQ(files_.Content("f"), B("AA"));
}

TEST_F(SimulatedFilesTest, FaultsStrikeTheCallTheyWereMadeFor) {
  const int fd = Create("f");
  files_.FailOnce(FileOp::kWrite, "f", ENOSPC, 2);
  EXPECT_EQ(files_.Write(fd, "x", 1), 1);
  EXPECT_EQ(files_.Write(fd, "x", 1), -1);
  EXPECT_EQ(errno, ENOSPC);
  EXPECT_EQ(files_.Write(fd, "x", 1), 1);
  files_.FailFromNowOn(FileOp::kWrite, "", EIO);
  EXPECT_EQ(files_.Write(fd, "x", 1), -1);
  EXPECT_EQ(files_.Write(fd, "x", 1), -1);
  files_.ClearFaults();
  files_.LimitTo(1, FileOp::kWrite, "f", 1);
  EXPECT_EQ(files_.Write(fd, "xyz", 3), 1);
  EXPECT_EQ(files_.Write(fd, "xyz", 3), 3);
}

TEST_F(SimulatedFilesTest, CpUnderstandsQuotedNames) {
  files_.PutFile("it's a $file", B("01 02"));
  EXPECT_EQ(files_.System("cp 'it'\\''s a $file' copy"), 0);
  EXPECT_EQ(files_.Content("copy"), B("01 02"));
  EXPECT_FALSE(files_.IsSynced("copy"));
  EXPECT_EQ(files_.Misuse(), "");
  EXPECT_NE(files_.System("cp none copy"), 0);
}

TEST_F(SimulatedFilesTest, MisuseIsNoticed) {
  EXPECT_EQ(files_.Write(0, "x", 1), -1);
  EXPECT_EQ(errno, EBADF);
  EXPECT_EQ(files_.Misuse(), "bad descriptor: write ? 1@0 (descriptor 0)\n");
  files_.Close(-1);
  files_.Open("f", O_RDWR | O_CREAT, 0660);
  files_.System("cp a b; rm c");
  EXPECT_NE(files_.Misuse().find("bad descriptor: close"), std::string::npos);
  EXPECT_NE(files_.Misuse().find("not close-on-exec: open f"), std::string::npos);
  EXPECT_NE(files_.Misuse().find("not a plain cp: system cp a b; rm c"), std::string::npos);
}

}  // namespace
}  // namespace vmr::test
