#include "host/file_ops.h"

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <string>

namespace vmr {
namespace {

// system() cannot learn how its command ended in a process that ignores the end
// of its children; for the time of the call it does not.
int RunCommand(const char* command) {
  struct sigaction standard {};
  struct sigaction before {};
  standard.sa_handler = SIG_DFL;
  const bool changed = sigaction(SIGCHLD, &standard, &before) == 0;
  const int result = system(command);
  if (changed) sigaction(SIGCHLD, &before, nullptr);
  return result;
}

// A descriptor that only names the file is open whatever its mode; the link that the
// kernel shows for it leads to that very file. Without /proc it is done in two steps.
int ChmodUnlessLink(const char* path, mode_t mode) {
  const int fd = open(path, O_PATH | O_NOFOLLOW | O_CLOEXEC);
  if (fd < 0) return -1;
  struct stat status {};
  int result = fstat(fd, &status);
  if (result == 0 && S_ISLNK(status.st_mode)) {
    errno = ELOOP;
    result = -1;
  } else if (result == 0) {
    result = chmod(("/proc/self/fd/" + std::to_string(fd)).c_str(), mode);
    if (result != 0 && errno == ENOENT) result = chmod(path, mode);
  }
  const int error = errno;
  close(fd);
  errno = error;
  return result;
}

// One call; lseek is asked only when that failed, for it alone tells whether the position
// was at fault: of what pwrite fails with, EBADF and EINVAL stand for either.
ssize_t WriteAtOffset(int fd, const void* data, std::size_t count, off_t offset) {
  const ssize_t written = pwrite(fd, data, count, offset);
  if (written >= 0 || errno == EINTR) return written;
  const int error = errno;
  if (lseek(fd, offset, SEEK_SET) < 0) return FileOps::kNoPosition;
  errno = error;
  return written;
}

class PosixFileOps final : public FileOps {
 public:
  int Open(const char* path, int flags, mode_t mode) override { return open(path, flags, mode); }
  ssize_t Read(int fd, void* buffer, std::size_t count) override { return read(fd, buffer, count); }
  ssize_t Write(int fd, const void* data, std::size_t count) override {
    return write(fd, data, count);
  }
  ssize_t WriteAt(int fd, const void* data, std::size_t count, off_t offset) override {
    return WriteAtOffset(fd, data, count, offset);
  }
  off_t Lseek(int fd, off_t offset, int whence) override { return lseek(fd, offset, whence); }
  int Fsync(int fd) override { return fsync(fd); }
  int Close(int fd) override { return close(fd); }
  int Stat(const char* path, struct stat* status) override { return stat(path, status); }
  int Chmod(const char* path, mode_t mode) override { return chmod(path, mode); }
  int ChmodNoFollow(const char* path, mode_t mode) override { return ChmodUnlessLink(path, mode); }
  int Rename(const char* from, const char* to) override { return rename(from, to); }
  int Unlink(const char* path) override { return unlink(path); }
  int Remove(const char* path) override { return remove(path); }
  int System(const char* command) override { return RunCommand(command); }
  int Usleep(unsigned int microseconds) override { return usleep(microseconds); }
  int RenameNew(const char* from, const char* to) override {
#ifdef RENAME_NOREPLACE
    if (renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE) == 0) return 0;
    if (errno != EINVAL && errno != ENOSYS) return -1;  // not every file system can
#endif
    return FileOps::RenameNew(from, to);
  }
};

FileOps* PosixInstance() {
  static PosixFileOps posix;
  return &posix;
}

FileOps*& InUse() {
  static FileOps* in_use = PosixInstance();
  return in_use;
}

}  // namespace

FileOps& FileOps::Current() { return *InUse(); }

FileOps* FileOps::Use(FileOps* ops) {
  FileOps* const before = InUse();
  InUse() = ops == nullptr ? PosixInstance() : ops;
  return before;
}

}  // namespace vmr
