#include "tools/record/held_syncs.h"

#include <errno.h>

namespace vmr::tool {

int HeldSyncs::Fsync(int fd) {
  held_.insert(fd);
  return 0;
}

int HeldSyncs::Close(int fd) {
  const bool synced = SyncHeld(fd);
  const int closed = PassedFiles::Close(fd);
  if (synced) return closed;
  errno = error_;
  return -1;
}

bool HeldSyncs::SyncHeld(int fd) {
  if (held_.erase(fd) == 0) return true;
  int result = 0;
  do {
    result = PassedFiles::Fsync(fd);
  } while (result < 0 && errno == EINTR);
  if (result == 0) return true;
  if (error_ == 0) error_ = errno;
  return false;
}

}  // namespace vmr::tool
