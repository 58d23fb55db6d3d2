#include "tools/read_only_files.h"

#include <errno.h>
#include <fcntl.h>

namespace vmr::tool {
namespace {

int Refuse() {
  errno = EROFS;
  return -1;
}

}  // namespace

ReadOnlyFiles::ReadOnlyFiles() : files_(FileOps::Current()) { FileOps::Use(this); }
ReadOnlyFiles::~ReadOnlyFiles() { FileOps::Use(&files_); }

// A ring's files are asked for to read and write; to read is enough here.
int ReadOnlyFiles::Open(const char* path, int flags, mode_t mode) {
  if ((flags & (O_CREAT | O_TRUNC)) != 0) return Refuse();
  return files_.Open(path, (flags & ~O_ACCMODE) | O_RDONLY, mode);
}

// A mode that is not a ring's own does not hinder reading: it counts as set.
int ReadOnlyFiles::Chmod(const char* /*path*/, mode_t /*mode*/) { return 0; }
// Nothing was written.
int ReadOnlyFiles::Fsync(int /*fd*/) { return 0; }

ssize_t ReadOnlyFiles::Write(int /*fd*/, const void* /*data*/, std::size_t /*count*/) {
  return Refuse();
}
int ReadOnlyFiles::Rename(const char* /*from*/, const char* /*to*/) { return Refuse(); }
int ReadOnlyFiles::Unlink(const char* /*path*/) { return Refuse(); }
int ReadOnlyFiles::Remove(const char* /*path*/) { return Refuse(); }
int ReadOnlyFiles::System(const char* /*command*/) { return Refuse(); }

ssize_t ReadOnlyFiles::Read(int fd, void* buffer, std::size_t count) {
  return files_.Read(fd, buffer, count);
}
off_t ReadOnlyFiles::Lseek(int fd, off_t offset, int whence) {
  return files_.Lseek(fd, offset, whence);
}
int ReadOnlyFiles::Close(int fd) { return files_.Close(fd); }
int ReadOnlyFiles::Stat(const char* path, struct stat* status) { return files_.Stat(path, status); }
int ReadOnlyFiles::Usleep(unsigned int microseconds) { return files_.Usleep(microseconds); }

}  // namespace vmr::tool
