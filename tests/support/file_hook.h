// Lets a test act between two operations on files, as another process might.
#ifndef VMR_TESTS_SUPPORT_FILE_HOOK_H_
#define VMR_TESTS_SUPPORT_FILE_HOOK_H_

#include <functional>
#include <utility>

#include "host/file_ops.h"

namespace vmr::test {

// Passes every operation on to those that were in use, and calls `before_read`
// with the number of each read, from 1, before it is passed on. In use while the
// object lives.
class ReadHook final : public FileOps {
 public:
  explicit ReadHook(std::function<void(int)> before_read)
      : before_read_(std::move(before_read)), files_(*FileOps::Use(this)) {}
  ~ReadHook() override { FileOps::Use(&files_); }
  ReadHook(const ReadHook&) = delete;
  ReadHook& operator=(const ReadHook&) = delete;

  int Reads() const { return reads_; }

  int Open(const char* path, int flags, mode_t mode) override {
    return files_.Open(path, flags, mode);
  }
  ssize_t Read(int fd, void* buffer, std::size_t count) override {
    before_read_(++reads_);
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
  std::function<void(int)> before_read_;
  FileOps& files_;
  int reads_ = 0;
};

}  // namespace vmr::test

#endif  // VMR_TESTS_SUPPORT_FILE_HOOK_H_
