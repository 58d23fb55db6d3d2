#include "tools/common/redirected_file.h"

#include <fcntl.h>

namespace vmr::tool {

int RedirectedFile::Open(const char* path, int flags, mode_t mode) {
  if (path != path_) return PassedFiles::Open(path, flags, mode);
  return fcntl(fd_, F_DUPFD_CLOEXEC, 1);
}

int RedirectedFile::Remove(const char* path) {
  return path == path_ ? 0 : PassedFiles::Remove(path);
}

}  // namespace vmr::tool
