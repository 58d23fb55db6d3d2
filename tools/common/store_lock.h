// Keeps two processes from recording into one ring at the same time.
#ifndef VMR_TOOLS_COMMON_STORE_LOCK_H_
#define VMR_TOOLS_COMMON_STORE_LOCK_H_

#include <string>
#include <vector>

namespace vmr::tool {

// An advisory lock on a ring's file 1. It binds only programs that ask for it.
//
// Owns     the locks, until it is destroyed; the process's end frees them too.
class StoreLock {
 public:
  // `advice`: what to do when the ring is in use.
  explicit StoreLock(std::string advice = "wait until it has ended, or record to another store")
      : advice_(std::move(advice)) {}
  ~StoreLock();
  StoreLock(const StoreLock&) = delete;
  StoreLock& operator=(const StoreLock&) = delete;

  // Locks the ring before it is opened. While it does not exist yet the lock is
  // on its folder, so that two processes do not create it at once.
  bool Before(const std::string& base);
  // Locks the ring's file 1 as it is now: opening may have created or replaced
  // it. Gives the folder free.
  bool After(const std::string& base);

 private:
  enum class Outcome { kLocked, kMissing, kRefused };

  Outcome LockFile(const std::string& base);
  bool LockFolder(const std::string& base);
  void UnlockFolder();

  std::string advice_;
  int folder_ = -1;
  std::vector<int> files_;
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_COMMON_STORE_LOCK_H_
