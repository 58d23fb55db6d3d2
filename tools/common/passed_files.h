// File operations that pass everything on, for those that change one or two.
#ifndef VMR_TOOLS_COMMON_PASSED_FILES_H_
#define VMR_TOOLS_COMMON_PASSED_FILES_H_

#include "host/file_ops.h"

namespace vmr::tool {

// In use as long as it lives: the operations of the process go through it to those that
// were in use before.
//
// Owns     nothing; those before must outlive it.
// Threads  none.
class PassedFiles : public FileOps {
 public:
  PassedFiles() : others_(FileOps::Current()), before_(FileOps::Use(this)) {}
  ~PassedFiles() override { FileOps::Use(before_); }
  PassedFiles(const PassedFiles&) = delete;
  PassedFiles& operator=(const PassedFiles&) = delete;

  int Open(const char* path, int flags, mode_t mode) override {
    return others_.Open(path, flags, mode);
  }
  ssize_t Read(int fd, void* buffer, std::size_t count) override {
    return others_.Read(fd, buffer, count);
  }
  ssize_t Write(int fd, const void* data, std::size_t count) override {
    return others_.Write(fd, data, count);
  }
  ssize_t WriteAt(int fd, const void* data, std::size_t count, off_t offset) override {
    return others_.WriteAt(fd, data, count, offset);
  }
  off_t Lseek(int fd, off_t offset, int whence) override {
    return others_.Lseek(fd, offset, whence);
  }
  int Fsync(int fd) override { return others_.Fsync(fd); }
  int Close(int fd) override { return others_.Close(fd); }
  int Stat(const char* path, struct stat* status) override { return others_.Stat(path, status); }
  int Chmod(const char* path, mode_t mode) override { return others_.Chmod(path, mode); }
  int Rename(const char* from, const char* to) override { return others_.Rename(from, to); }
  int Unlink(const char* path) override { return others_.Unlink(path); }
  int Remove(const char* path) override { return others_.Remove(path); }
  int System(const char* command) override { return others_.System(command); }
  int Usleep(unsigned int microseconds) override { return others_.Usleep(microseconds); }
  int RenameNew(const char* from, const char* to) override { return others_.RenameNew(from, to); }
  int ChmodNoFollow(const char* path, mode_t mode) override {
    return others_.ChmodNoFollow(path, mode);
  }

 protected:
  FileOps& Others() { return others_; }

 private:
  FileOps& others_;
  FileOps* const before_;
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_COMMON_PASSED_FILES_H_
