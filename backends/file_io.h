// What the file stores have in common on top of the file operations.
#ifndef VMR_BACKENDS_FILE_IO_H_
#define VMR_BACKENDS_FILE_IO_H_

#include <errno.h>
#include <sys/types.h>

#include <cstddef>
#include <cstring>
#include <ostream>
#include <string>

namespace vmr {

// Calls that a signal interrupted are repeated. All return the POSIX result.
//
// Descriptors are close-on-exec and never 0: the stores use 0 as "closed".
[[nodiscard]] int OpenFile(const std::string& path, int flags, mode_t mode = 0);
[[nodiscard]] ssize_t ReadFile(int fd, void* buffer, std::size_t count);
[[nodiscard]] ssize_t WriteFile(int fd, const void* data, std::size_t count);
// As FileOps::WriteAt; kNoPosition and EBADF, without a call, for what a store may not use.
[[nodiscard]] ssize_t WriteFileAt(int fd, const void* data, std::size_t count, off_t offset);
// -1 and EBADF, without a call, for what a store may not use.
[[nodiscard]] off_t SeekFile(int fd, off_t offset, int whence);
[[nodiscard]] int SyncFile(int fd);
// An interrupted close has closed the descriptor; it counts as done.
[[nodiscard]] int CloseFile(int fd);

// How often a call that reports success and moves nothing is repeated before it
// counts as failed.
inline constexpr int kMaxIdleCalls = 50;

// Until `count` bytes are written, and at least once. `write_from(written)` writes some of
// what is behind those that are. Negative, as its result was, and errno when it failed.
template <typename WriteFrom>
ssize_t WriteAll(std::size_t count, WriteFrom write_from) {
  int idle_calls = 0;
  std::size_t written = 0;
  do {
    const ssize_t result = write_from(written);
    if (result < 0) return result;
    written += static_cast<std::size_t>(result);
    if (result == 0 && count > 0 && ++idle_calls > kMaxIdleCalls) {
      errno = EIO;
      return -1;
    }
  } while (written < count);
  return static_cast<ssize_t>(written);
}

// Writes all of it, going on behind short writes. False, and errno, when it could not.
[[nodiscard]] inline bool WriteWhole(int fd, const void* data, std::size_t count) {
  const auto* const bytes = static_cast<const unsigned char*>(data);
  const auto write_from = [&](std::size_t written) {
    return WriteFile(fd, bytes + written, count - written);
  };
  return count == 0 || WriteAll(count, write_from) >= 0;
}

// The same from `offset` on. Negative, and errno, when it could not: as WriteFileAt failed,
// which tells whether it was for the position. Of nothing to write, the position is tried.
[[nodiscard]] ssize_t WriteWholeAt(int fd, const void* data, std::size_t count, off_t offset);

// Closes the descriptor whatever comes. False, and the errno of what failed first, when
// something written through it may not be on the device.
[[nodiscard]] inline bool SyncAndClose(int fd) {
  const bool synced = SyncFile(fd) == 0;
  const int sync_errno = errno;
  const bool closed = CloseFile(fd) == 0;
  if (!synced) errno = sync_errno;
  return synced && closed;
}

// Deletes a file that usually is not there. What stays all the same is met again by
// whoever wants its name.
void RemoveIfThere(const std::string& path);

// Makes a file's new name outlive a power loss. False, and errno, when the
// directory cannot be synced.
[[nodiscard]] bool SyncDirectoryOf(const std::string& path);

// A descriptor that a store may use.
inline bool IsOpenDescriptor(int fd) { return fd >= 1; }

// What the failed call before it says of itself: "Permission denied".
inline const char* TextOfErrno(int error = errno) { return std::strerror(error); }

// The same as most messages end, "13: Permission denied". To be taken before anything
// else is called.
struct Reason {
  int error = errno;
};
inline std::ostream& operator<<(std::ostream& out, const Reason& reason) {
  return out << reason.error << ": " << TextOfErrno(reason.error);
}

}  // namespace vmr

#endif  // VMR_BACKENDS_FILE_IO_H_
