#include "tools/common/file_output.h"

#include <cstring>

#include "backends/file_io.h"

namespace vmr::tool {

bool WriteWhole(int fd, const void* data, std::size_t size) {
  const char* const bytes = static_cast<const char*>(data);
  int idle_calls = 0;
  for (std::size_t done = 0; done < size;) {
    const ssize_t result = WriteFile(fd, bytes + done, size - done);
    if (result < 0) return false;
    if (result == 0 && ++idle_calls > kMaxIdleCalls) return errno = EIO, false;
    done += static_cast<std::size_t>(result);
  }
  return true;
}

bool SyncAndClose(int fd) {
  const bool synced = SyncFile(fd) == 0;
  const int error = errno;
  const bool closed = CloseFile(fd) == 0;
  if (!synced) errno = error;
  return synced && closed;
}

std::string TextOfErrno(int error) { return std::strerror(error); }

}  // namespace vmr::tool
