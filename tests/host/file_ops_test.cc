// The default file operations are the calls of the same names.
#include "host/file_ops.h"

#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/temp_dir.h"

namespace vmr::test {
namespace {

class PosixFiles : public testing::Test {
 protected:
  void Make(const std::string& path, const std::string& content) {
    const int fd = files.Open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    ASSERT_GE(fd, 0);
    EXPECT_EQ(files.Write(fd, content.data(), content.size()),
              static_cast<ssize_t>(content.size()));
    EXPECT_EQ(files.Fsync(fd), 0);
    EXPECT_EQ(files.Close(fd), 0);
  }

  std::string Content(const std::string& path) {
    const int fd = files.Open(path.c_str(), O_RDONLY, 0);
    if (fd < 0) return "no such file";
    char buffer[100];
    const ssize_t count = files.Read(fd, buffer, sizeof(buffer));
    EXPECT_EQ(files.Close(fd), 0);
    return count < 0 ? "read failed" : std::string(buffer, static_cast<std::size_t>(count));
  }

  bool Exists(const std::string& path) {
    struct stat status {};
    return files.Stat(path.c_str(), &status) == 0;
  }

  TempDir dir;
  std::string one = dir.Path("one"), two = dir.Path("two");
  FileOps& files = FileOps::Current();
};

TEST_F(PosixFiles, KeepWhatIsWritten) {
  Make(one, "abcdef");
  EXPECT_EQ(Content(one), "abcdef");
}

TEST_F(PosixFiles, AreRenamedToANewNameOnlyWhereThereIsNone) {
  Make(one, "abcdef");
  EXPECT_EQ(files.RenameNew(one.c_str(), two.c_str()), 0);
  EXPECT_EQ(Content(two), "abcdef");
  EXPECT_FALSE(Exists(one));
  Make(one, "other");
  errno = 0;
  EXPECT_EQ(files.RenameNew(one.c_str(), two.c_str()), -1);
  EXPECT_EQ(errno, EEXIST);
  EXPECT_EQ(Content(two), "abcdef");
  EXPECT_EQ(Content(one), "other");
}

TEST_F(PosixFiles, CanBeReadFromAnyPosition) {
  Make(one, "abcdef");
  const int fd = files.Open(one.c_str(), O_RDONLY, 0);
  EXPECT_EQ(files.Lseek(fd, 4, SEEK_SET), 4);
  char buffer[4] = {};
  EXPECT_EQ(files.Read(fd, buffer, sizeof(buffer)), 2);
  EXPECT_STREQ(buffer, "ef");
  EXPECT_EQ(files.Read(fd, buffer, sizeof(buffer)), 0);
  EXPECT_EQ(files.Close(fd), 0);
}

TEST_F(PosixFiles, SeekBeyondTwoGigabytes) {
  const int fd = files.Open(one.c_str(), O_RDWR | O_CREAT, 0600);
  constexpr off_t kFar = off_t{3} << 30;
  EXPECT_EQ(files.Lseek(fd, kFar, SEEK_SET), kFar);
  EXPECT_EQ(files.Close(fd), 0);
}

TEST_F(PosixFiles, AreWrittenAtAnyPositionWithoutGoingThere) {
  Make(one, "abcdef");
  const int fd = files.Open(one.c_str(), O_RDWR, 0);
  EXPECT_EQ(files.WriteAt(fd, "XY", 2, 3), 2);
  EXPECT_EQ(files.Lseek(fd, 0, SEEK_CUR), 0) << "a call was spent on seeking";
  EXPECT_EQ(Content(one), "abcXYf");
  constexpr off_t kFar = off_t{3} << 30;
  EXPECT_EQ(files.WriteAt(fd, "Z", 1, kFar), 1);
  EXPECT_EQ(files.Lseek(fd, 0, SEEK_END), kFar + 1);
  EXPECT_EQ(files.Close(fd), 0);
}

TEST_F(PosixFiles, TellAPositionThatCannotBeFromAWriteThatCannot) {
  const auto failure_of = [this](int fd, off_t offset) {
    errno = 0;
    const ssize_t result = files.WriteAt(fd, "a", 1, offset);
    return std::make_pair(result, errno);
  };
  const auto cannot_be_there = [](int error) {
    return std::make_pair(FileOps::kNoPosition, error);
  };
  const auto cannot_write = [](int error) { return std::make_pair(ssize_t{-1}, error); };
  Make(one, "abcdef");
  const int read_only = files.Open(one.c_str(), O_RDONLY, 0);
  const int writable = files.Open(one.c_str(), O_WRONLY, 0);
  const int full = files.Open("/dev/full", O_WRONLY, 0);
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  EXPECT_EQ(failure_of(-1, 0), cannot_be_there(EBADF));
  EXPECT_EQ(failure_of(read_only, 0), cannot_write(EBADF));
  EXPECT_EQ(failure_of(writable, -1), cannot_be_there(EINVAL));
  EXPECT_EQ(failure_of(full, 4096), cannot_write(ENOSPC));
  EXPECT_EQ(failure_of(ends[1], 0), cannot_be_there(ESPIPE));
  for (const int fd : {read_only, writable, full, ends[0], ends[1]}) EXPECT_EQ(files.Close(fd), 0);
  EXPECT_EQ(Content(one), "abcdef");
}

TEST_F(PosixFiles, TellSizeAndMode) {
  Make(one, "abcdef");
  EXPECT_EQ(files.Chmod(one.c_str(), 0640), 0);
  struct stat status {};
  ASSERT_EQ(files.Stat(one.c_str(), &status), 0);
  EXPECT_EQ(status.st_size, 6);
  EXPECT_EQ(status.st_mode & 07777u, 0640u);
}

TEST_F(PosixFiles, ChangeTheirModeThroughNoLink) {
  const auto mode_of = [this](const std::string& path) {
    struct stat status {};
    EXPECT_EQ(files.Stat(path.c_str(), &status), 0);
    return status.st_mode & 07777;
  };
  Make(one, "abcdef");
  EXPECT_EQ(files.ChmodNoFollow(one.c_str(), 0660), 0);
  EXPECT_EQ(mode_of(one), 0660U);
  ASSERT_EQ(symlink(one.c_str(), two.c_str()), 0);
  errno = 0;
  EXPECT_EQ(files.ChmodNoFollow(two.c_str(), 0600), -1);
  EXPECT_EQ(errno, ELOOP);
  EXPECT_EQ(mode_of(one), 0660U);
  errno = 0;
  EXPECT_EQ(files.ChmodNoFollow(dir.Path("none").c_str(), 0600), -1);
  EXPECT_EQ(errno, ENOENT);
}

TEST_F(PosixFiles, CanBeRenamedUnlinkedAndRemoved) {
  Make(one, "abcdef");
  EXPECT_EQ(files.Rename(one.c_str(), two.c_str()), 0);
  EXPECT_FALSE(Exists(one));
  EXPECT_EQ(Content(two), "abcdef");
  EXPECT_EQ(files.Unlink(two.c_str()), 0);
  EXPECT_FALSE(Exists(two));
  Make(one, "again");
  EXPECT_EQ(files.Remove(one.c_str()), 0);
  EXPECT_FALSE(Exists(one));
}

TEST_F(PosixFiles, AreCopiedByAShellCommand) {
  Make(one, "abcdef");
  EXPECT_EQ(files.System(("cp " + one + " " + two).c_str()), 0);
  EXPECT_EQ(Content(two), "abcdef");
  EXPECT_NE(files.System("exit 3"), 0);
}

TEST_F(PosixFiles, FailuresAreMinusOneAndErrno) {
  errno = 0;
  EXPECT_EQ(files.Open(one.c_str(), O_RDONLY, 0), -1);
  EXPECT_EQ(errno, ENOENT);
  char byte = 0;
  EXPECT_EQ(files.Read(-1, &byte, 1), -1);
  EXPECT_EQ(errno, EBADF);
  EXPECT_EQ(files.Write(-1, &byte, 1), -1);
  EXPECT_EQ(files.Lseek(-1, 0, SEEK_SET), -1);
  EXPECT_EQ(files.Fsync(-1), -1);
  EXPECT_EQ(files.Close(-1), -1);
  errno = 0;
  EXPECT_EQ(files.Chmod(one.c_str(), 0600), -1);
  EXPECT_EQ(files.Rename(one.c_str(), two.c_str()), -1);
  EXPECT_EQ(files.Unlink(one.c_str()), -1);
  EXPECT_EQ(files.Remove(one.c_str()), -1);
  EXPECT_EQ(errno, ENOENT);
}

TEST_F(PosixFiles, SleepAtLeastAsLongAsAsked) {
  const auto before = std::chrono::steady_clock::now();
  EXPECT_EQ(files.Usleep(20000), 0);
  EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(20));
}

class NoFiles : public FileOps {
 public:
  int Open(const char*, int, mode_t) override { return -1; }
  ssize_t Read(int, void*, std::size_t) override { return -1; }
  ssize_t Write(int, const void*, std::size_t) override { return -1; }
  off_t Lseek(int, off_t, int) override { return -1; }
  int Fsync(int) override { return -1; }
  int Close(int) override { return -1; }
  int Stat(const char*, struct stat*) override { return -1; }
  int Chmod(const char*, mode_t) override { return -1; }
  int Rename(const char*, const char*) override { return -1; }
  int Unlink(const char*) override { return -1; }
  int Remove(const char*) override { return -1; }
  int System(const char*) override { return -1; }
  int Usleep(unsigned int) override { return -1; }
};

// Of a host that has no positioned write.
class SeeksAndWrites : public NoFiles {
 public:
  off_t Lseek(int fd, off_t offset, int whence) override {
    EXPECT_EQ(whence, SEEK_SET);
    calls.push_back("lseek " + std::to_string(fd) + " " + std::to_string(offset));
    return position_can_be ? offset : -1;
  }
  ssize_t Write(int fd, const void* data, std::size_t count) override {
    calls.push_back("write " + std::to_string(fd) + " " +
                    std::string(static_cast<const char*>(data), count));
    return written;
  }

  bool position_can_be = true;
  ssize_t written = 3;
  std::vector<std::string> calls;
};

TEST(FileOps, WithoutAPositionedWriteSeekAndWrite) {
  SeeksAndWrites files;
  EXPECT_EQ(files.WriteAt(7, "abc", 3, 4096), 3);
  EXPECT_EQ(files.calls, (std::vector<std::string>{"lseek 7 4096", "write 7 abc"}));
  files.written = -1;
  EXPECT_EQ(files.WriteAt(7, "abc", 3, 4096), -1);
}

TEST(FileOps, WithoutAPositionedWriteWriteNothingWhereTheyCannotBe) {
  SeeksAndWrites files;
  files.position_can_be = false;
  EXPECT_EQ(files.WriteAt(7, "abc", 3, 4096), FileOps::kNoPosition);
  EXPECT_EQ(files.calls, std::vector<std::string>{"lseek 7 4096"});
}

TEST(FileOps, CanBeReplacedAndPutBack) {
  FileOps* const posix = &FileOps::Current();
  NoFiles none;
  EXPECT_EQ(FileOps::Use(&none), posix);
  EXPECT_EQ(&FileOps::Current(), &none);
  EXPECT_EQ(FileOps::Use(nullptr), &none) << "null is the default";
  EXPECT_EQ(&FileOps::Current(), posix);
}

}  // namespace
}  // namespace vmr::test
