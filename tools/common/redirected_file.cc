#include "tools/common/redirected_file.h"

#include <fcntl.h>

#include <utility>

namespace vmr::tool {

RedirectedFile::RedirectedFile(std::string path, int fd)
    : path_(std::move(path)), fd_(fd), before_(FileOps::Use(nullptr)), others_(FileOps::Current()) {
  FileOps::Use(this);
}

RedirectedFile::~RedirectedFile() { FileOps::Use(before_); }

int RedirectedFile::Open(const char* path, int flags, mode_t mode) {
  if (path != path_) return others_.Open(path, flags, mode);
  return fcntl(fd_, F_DUPFD_CLOEXEC, 1);
}
int RedirectedFile::Remove(const char* path) { return path == path_ ? 0 : others_.Remove(path); }

ssize_t RedirectedFile::Read(int fd, void* buffer, std::size_t count) {
  return others_.Read(fd, buffer, count);
}
ssize_t RedirectedFile::Write(int fd, const void* data, std::size_t count) {
  return others_.Write(fd, data, count);
}
off_t RedirectedFile::Lseek(int fd, off_t offset, int whence) {
  return others_.Lseek(fd, offset, whence);
}
int RedirectedFile::Fsync(int fd) { return others_.Fsync(fd); }
int RedirectedFile::Close(int fd) { return others_.Close(fd); }
int RedirectedFile::Stat(const char* path, struct stat* status) {
  return others_.Stat(path, status);
}
int RedirectedFile::Chmod(const char* path, mode_t mode) { return others_.Chmod(path, mode); }
int RedirectedFile::Rename(const char* from, const char* to) { return others_.Rename(from, to); }
int RedirectedFile::Unlink(const char* path) { return others_.Unlink(path); }
int RedirectedFile::System(const char* command) { return others_.System(command); }
int RedirectedFile::Usleep(unsigned int microseconds) { return others_.Usleep(microseconds); }
int RedirectedFile::RenameNew(const char* from, const char* to) {
  return others_.RenameNew(from, to);
}
int RedirectedFile::ChmodNoFollow(const char* path, mode_t mode) {
  return others_.ChmodNoFollow(path, mode);
}

}  // namespace vmr::tool
