// Lets a test act between two operations on files, as another process might, or
// as a device does that cannot read some of its blocks.
#ifndef VMR_TESTS_SUPPORT_FILE_HOOK_H_
#define VMR_TESTS_SUPPORT_FILE_HOOK_H_

#include <errno.h>
#include <unistd.h>

#include <algorithm>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <utility>

#include "host/file_ops.h"

namespace vmr::test {

// Passes every operation on to those that were in use. In use while the object
// lives.
class PassingOn : public FileOps {
 public:
  PassingOn() : files_(*FileOps::Use(this)) {}
  ~PassingOn() override { FileOps::Use(&files_); }
  PassingOn(const PassingOn&) = delete;
  PassingOn& operator=(const PassingOn&) = delete;

  int Open(const char* path, int flags, mode_t mode) override {
    return files_.Open(path, flags, mode);
  }
  ssize_t Read(int fd, void* buffer, std::size_t count) override {
    return files_.Read(fd, buffer, count);
  }
  ssize_t Write(int fd, const void* data, std::size_t count) override {
    return files_.Write(fd, data, count);
  }
  off_t Lseek(int fd, off_t offset, int whence) override {
    return files_.Lseek(fd, offset, whence);
  }
  int Fsync(int fd) override { return files_.Fsync(fd); }
  int Close(int fd) override { return files_.Close(fd); }
  int Stat(const char* path, struct stat* status) override { return files_.Stat(path, status); }
  int Chmod(const char* path, mode_t mode) override { return files_.Chmod(path, mode); }
  int Rename(const char* from, const char* to) override { return files_.Rename(from, to); }
  int Unlink(const char* path) override { return files_.Unlink(path); }
  int Remove(const char* path) override { return files_.Remove(path); }
  int System(const char* command) override { return files_.System(command); }
  int Usleep(unsigned int microseconds) override { return files_.Usleep(microseconds); }

 private:
  FileOps& files_;
};

// Calls `before_read` with the number of each read, from 1, before it is passed on.
class ReadHook final : public PassingOn {
 public:
  explicit ReadHook(std::function<void(int)> before_read) : before_read_(std::move(before_read)) {}

  int Reads() const { return reads_; }

  ssize_t Read(int fd, void* buffer, std::size_t count) override {
    before_read_(++reads_);
    return PassingOn::Read(fd, buffer, count);
  }

 private:
  std::function<void(int)> before_read_;
  int reads_ = 0;
};

// Blocks of 4096 bytes that cannot be read, by path and number. A read that
// reaches one ends before it; one that begins there fails with EIO.
class BadBlocks final : public PassingOn {
 public:
  explicit BadBlocks(std::map<std::string, std::set<off_t>> blocks) : blocks_(std::move(blocks)) {}

  int Open(const char* path, int flags, mode_t mode) override {
    const int fd = PassingOn::Open(path, flags, mode);
    if (fd >= 0) paths_[fd] = path;
    return fd;
  }
  ssize_t Read(int fd, void* buffer, std::size_t count) override {
    constexpr off_t kBlockBytes = 4096;
    const off_t at = PassingOn::Lseek(fd, 0, SEEK_CUR);
    const std::set<off_t>& bad = blocks_[paths_[fd]];
    const auto next_bad = bad.lower_bound(at / kBlockBytes);
    if (next_bad == bad.end()) return PassingOn::Read(fd, buffer, count);
    const off_t readable = *next_bad * kBlockBytes - at;
    if (readable > 0)
      return PassingOn::Read(fd, buffer, std::min(count, static_cast<std::size_t>(readable)));
    errno = EIO;
    return -1;
  }

 private:
  std::map<std::string, std::set<off_t>> blocks_;
  std::map<int, std::string> paths_;
};

}  // namespace vmr::test

#endif  // VMR_TESTS_SUPPORT_FILE_HOOK_H_
