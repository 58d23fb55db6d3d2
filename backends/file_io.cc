#include "backends/file_io.h"

#include <errno.h>
#include <fcntl.h>

#include "host/file_ops.h"

namespace vmr {
namespace {

template <typename Call>
auto RetryInterrupted(Call call) {
  auto result = call();
  while (result < 0 && errno == EINTR) result = call();
  return result;
}

}  // namespace

int OpenFile(const std::string& path, int flags, mode_t mode) {
  const auto open_once = [&] {
    return FileOps::Current().Open(path.c_str(), flags | O_CLOEXEC, mode);
  };
  const int fd = RetryInterrupted(open_once);
  if (fd != 0) return fd;
  // Standard input was closed and its number handed out. Take another while 0
  // is still occupied.
  const int moved_up = RetryInterrupted(open_once);
  const int open_errno = errno;
  static_cast<void>(CloseFile(fd));  // nothing was written through it
  errno = open_errno;
  return moved_up;
}

ssize_t ReadFile(int fd, void* buffer, std::size_t count) {
  return RetryInterrupted([&] { return FileOps::Current().Read(fd, buffer, count); });
}

ssize_t WriteFile(int fd, const void* data, std::size_t count) {
  return RetryInterrupted([&] { return FileOps::Current().Write(fd, data, count); });
}

ssize_t WriteFileAt(int fd, const void* data, std::size_t count, off_t offset) {
  if (!IsOpenDescriptor(fd)) {
    errno = EBADF;
    return FileOps::kNoPosition;
  }
  return RetryInterrupted([&] { return FileOps::Current().WriteAt(fd, data, count, offset); });
}

off_t SeekFile(int fd, off_t offset, int whence) {
  if (!IsOpenDescriptor(fd)) {
    errno = EBADF;
    return -1;
  }
  return RetryInterrupted([&] { return FileOps::Current().Lseek(fd, offset, whence); });
}

int SyncFile(int fd) {
  return RetryInterrupted([&] { return FileOps::Current().Fsync(fd); });
}

int CloseFile(int fd) {
  const int result = FileOps::Current().Close(fd);
  return result < 0 && errno == EINTR ? 0 : result;
}

ssize_t WriteWholeAt(int fd, const void* data, std::size_t count, off_t offset) {
  const auto* const bytes = static_cast<const unsigned char*>(data);
  return WriteAll(count, [&](std::size_t written) {
    return WriteFileAt(fd, bytes + written, count - written, offset + static_cast<off_t>(written));
  });
}

void RemoveIfThere(const std::string& path) {
  static_cast<void>(FileOps::Current().Unlink(path.c_str()));
}

bool SyncDirectoryOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  std::string directory = slash == std::string::npos ? "." : path.substr(0, slash);
  if (directory.empty()) directory = "/";
  const int fd = OpenFile(directory, O_RDONLY | O_DIRECTORY);
  if (fd < 0) return false;
  const bool synced = SyncFile(fd) == 0;
  const int sync_errno = errno;
  static_cast<void>(CloseFile(fd));  // the sync has told
  errno = sync_errno;
  return synced;
}

}  // namespace vmr
