// Looking at a recording must not change it.
#ifndef VMR_TOOLS_READ_ONLY_FILES_H_
#define VMR_TOOLS_READ_ONLY_FILES_H_

#include "host/file_ops.h"

namespace vmr::tool {

// File operations that read and never change anything, in use while the object
// lives. Opening a ring repairs it; for a viewer every such repair fails with
// EROFS, and the ring is shown as it is, from a write-protected medium too.
class ReadOnlyFiles final : public FileOps {
 public:
  ReadOnlyFiles();
  ~ReadOnlyFiles() override;
  ReadOnlyFiles(const ReadOnlyFiles&) = delete;
  ReadOnlyFiles& operator=(const ReadOnlyFiles&) = delete;

  int Open(const char* path, int flags, mode_t mode) override;
  ssize_t Read(int fd, void* buffer, std::size_t count) override;
  ssize_t Write(int fd, const void* data, std::size_t count) override;
  off_t Lseek(int fd, off_t offset, int whence) override;
  int Fsync(int fd) override;
  int Close(int fd) override;
  int Stat(const char* path, struct stat* status) override;
  int Chmod(const char* path, mode_t mode) override;
  int Rename(const char* from, const char* to) override;
  int Unlink(const char* path) override;
  int Remove(const char* path) override;
  int System(const char* command) override;
  int Usleep(unsigned int microseconds) override;

 private:
  FileOps& files_;
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_READ_ONLY_FILES_H_
