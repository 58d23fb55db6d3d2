// What the file stores have in common on top of the file operations.
#ifndef VMR_BACKENDS_FILE_IO_H_
#define VMR_BACKENDS_FILE_IO_H_

#include <sys/types.h>

#include <cstddef>
#include <string>

namespace vmr {

#pragma GCC visibility push(hidden)  // internal: the shared library does not export these

// Calls that a signal interrupted are repeated. All return the POSIX result.
//
// Descriptors are close-on-exec and never 0: the stores use 0 as "closed".
[[nodiscard]] int OpenFile(const std::string& path, int flags, mode_t mode = 0);
[[nodiscard]] ssize_t ReadFile(int fd, void* buffer, std::size_t count);
[[nodiscard]] ssize_t WriteFile(int fd, const void* data, std::size_t count);
[[nodiscard]] off_t SeekFile(int fd, off_t offset, int whence);
[[nodiscard]] int SyncFile(int fd);
// An interrupted close has closed the descriptor; it counts as done.
[[nodiscard]] int CloseFile(int fd);

// Deletes a file that usually is not there. What stays all the same is met again by
// whoever wants its name.
void RemoveIfThere(const std::string& path);

// Makes a file's new name outlive a power loss. False, and errno, when the
// directory cannot be synced.
[[nodiscard]] bool SyncDirectoryOf(const std::string& path);

// A descriptor that a store may use.
inline bool IsOpenDescriptor(int fd) { return fd >= 1; }

// How often a call that reports success and moves nothing is repeated before it
// counts as failed.
inline constexpr int kMaxIdleCalls = 50;

#pragma GCC visibility pop

}  // namespace vmr

#endif  // VMR_BACKENDS_FILE_IO_H_
