// The machine's own files, without waiting for a device: what the library does
// to them is counted. A year of recording takes minutes this way.
#ifndef VMR_TESTS_SOAK_COUNTED_FILES_H_
#define VMR_TESTS_SOAK_COUNTED_FILES_H_

#include "host/file_ops.h"

namespace vmr::test {

// In use while the object lives. Descriptors and file contents are real; only
// fsync does nothing.
class CountedFiles : public FileOps {
 public:
  CountedFiles() : files_(*Use(this)) {}
  ~CountedFiles() override { Use(&files_); }

  struct Counts {
    long long writes = 0;
    long long written_bytes = 0;
    long long syncs = 0;
  };
  const Counts& Count() const { return counts_; }
  void StartCounting() { counts_ = {}; }

  int Open(const char* path, int flags, mode_t mode) override {
    return files_.Open(path, flags, mode);
  }
  ssize_t Read(int fd, void* buffer, std::size_t count) override {
    return files_.Read(fd, buffer, count);
  }
  ssize_t Write(int fd, const void* data, std::size_t count) override {
    const ssize_t written = files_.Write(fd, data, count);
    ++counts_.writes;
    if (written > 0) counts_.written_bytes += written;
    return written;
  }
  off_t Lseek(int fd, off_t offset, int whence) override {
    return files_.Lseek(fd, offset, whence);
  }
  int Fsync(int /*fd*/) override {
    ++counts_.syncs;
    return 0;
  }
  int Close(int fd) override { return files_.Close(fd); }
  int Stat(const char* path, struct stat* status) override { return files_.Stat(path, status); }
  int Chmod(const char* path, mode_t mode) override { return files_.Chmod(path, mode); }
  int Rename(const char* from, const char* to) override { return files_.Rename(from, to); }
  int Unlink(const char* path) override { return files_.Unlink(path); }
  int Remove(const char* path) override { return files_.Remove(path); }
  int System(const char* command) override { return files_.System(command); }
  int Usleep(unsigned int /*microseconds*/) override { return 0; }

 private:
  FileOps& files_;  // the ones before
  Counts counts_;
};

}  // namespace vmr::test

#endif  // VMR_TESTS_SOAK_COUNTED_FILES_H_
