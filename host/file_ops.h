// Every operation on a recording's files goes through this interface, so that
// tests can inject faults and cut the power between any two of them.
#ifndef VMR_HOST_FILE_OPS_H_
#define VMR_HOST_FILE_OPS_H_

#include <errno.h>
#include <stdio.h>
#include <sys/stat.h>
#include <sys/types.h>

#include <cstddef>

namespace vmr {

// Each operation is the POSIX call of its name: -1 and errno on failure.
//
// Threads  the default holds no state; a replacement is used by one thread.
class FileOps {
 public:
  virtual ~FileOps() = default;

  [[nodiscard]] virtual int Open(const char* path, int flags, mode_t mode) = 0;
  [[nodiscard]] virtual ssize_t Read(int fd, void* buffer, std::size_t count) = 0;
  [[nodiscard]] virtual ssize_t Write(int fd, const void* data, std::size_t count) = 0;
  [[nodiscard]] virtual off_t Lseek(int fd, off_t offset, int whence) = 0;
  [[nodiscard]] virtual int Fsync(int fd) = 0;
  [[nodiscard]] virtual int Close(int fd) = 0;
  [[nodiscard]] virtual int Stat(const char* path, struct stat* status) = 0;
  [[nodiscard]] virtual int Chmod(const char* path, mode_t mode) = 0;
  [[nodiscard]] virtual int Rename(const char* from, const char* to) = 0;
  [[nodiscard]] virtual int Unlink(const char* path) = 0;
  [[nodiscard]] virtual int Remove(const char* path) = 0;
  // Runs a "cp SOURCE DEST" command line in a shell, as system() does: 0 when
  // it succeeded.
  [[nodiscard]] virtual int System(const char* command) = 0;
  virtual int Usleep(unsigned int microseconds) = 0;
  // Rename that fails with EEXIST where it would replace something. A host whose
  // system can look and rename in one step does better.
  [[nodiscard]] virtual int RenameNew(const char* from, const char* to) {
    struct stat status {};
    const bool there = Stat(to, &status) == 0;
    if (there) errno = EEXIST;
    return there || errno != ENOENT ? -1 : Rename(from, to);
  }

  // Chmod that fails, with ELOOP, on a name that is a symbolic link. Only a host
  // whose system has such links need do more.
  [[nodiscard]] virtual int ChmodNoFollow(const char* path, mode_t mode) {
    return Chmod(path, mode);
  }

  // Write that begins `offset` bytes into the file, as pwrite() does. Where Lseek and Read
  // then go on from is open. kNoPosition and errno: it failed because `fd` cannot be at
  // `offset`; -1 and errno: at that place nothing could be written. A host whose system
  // has one call for it spares a call for each packet.
  static constexpr ssize_t kNoPosition = -2;
  [[nodiscard]] virtual ssize_t WriteAt(int fd, const void* data, std::size_t count, off_t offset) {
    return Lseek(fd, offset, SEEK_SET) < 0 ? kNoPosition : Write(fd, data, count);
  }

  // The operations in use; POSIX unless replaced.
  static FileOps& Current();
  // Puts `ops` in use, null for the default, and returns the one before. `ops`
  // stays the caller's and must outlive its use.
  static FileOps* Use(FileOps* ops);
};

}  // namespace vmr

#endif  // VMR_HOST_FILE_OPS_H_
