// Lets the library write a file that is open already where it would make one by name.
#ifndef VMR_TOOLS_COMMON_REDIRECTED_FILE_H_
#define VMR_TOOLS_COMMON_REDIRECTED_FILE_H_

#include <string>

#include "host/file_ops.h"

namespace vmr::tool {

// As long as it lives, the file operations of the process open `fd` in the place of `path`,
// and remove nothing there. All else is done as before.
//
// Owns     nothing; `fd` stays the caller's.
class RedirectedFile final : public FileOps {
 public:
  RedirectedFile(std::string path, int fd);
  ~RedirectedFile() override;
  RedirectedFile(const RedirectedFile&) = delete;
  RedirectedFile& operator=(const RedirectedFile&) = delete;

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
  int RenameNew(const char* from, const char* to) override;
  int ChmodNoFollow(const char* path, mode_t mode) override;

 private:
  const std::string path_;
  const int fd_;
  FileOps* const before_;
  FileOps& others_;
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_COMMON_REDIRECTED_FILE_H_
