// Where a run of the program puts what is not yet part of a lake.
#ifndef VMR_TOOLS_LAKE_SCRATCH_H_
#define VMR_TOOLS_LAKE_SCRATCH_H_

#include <string>

namespace vmr::tool {

// A locked file. The lock goes with the process, however that ends.
//
// Owns     its descriptor.
// Errors   IsHeld() is false, and errno, when it cannot be locked.
class FileLock {
 public:
  // Waits for whoever has it, unless `waits` is false. The file is made if need be.
  explicit FileLock(const std::string& path, bool waits = true);
  ~FileLock();
  FileLock(const FileLock&) = delete;
  FileLock& operator=(const FileLock&) = delete;
  bool IsHeld() const { return fd_ >= 0; }

 private:
  int fd_ = -1;
};

// A folder of its own under ROOT/_vmr/tmp, which goes with the object. What processes that were
// killed have left there goes when the next one begins.
//
// Errors   Open says what is wrong on standard error.
class LakeScratch {
 public:
  LakeScratch() = default;
  ~LakeScratch();
  LakeScratch(const LakeScratch&) = delete;
  LakeScratch& operator=(const LakeScratch&) = delete;

  bool Open(const std::string& root);
  const std::string& Folder() const { return folder_; }
  // Removes all files that were made in it.
  void Clear() const;

 private:
  std::string folder_;
  int lock_fd_ = -1;
};

// The lake's own folders under `root`.
std::string TmpFolder(const std::string& root);
std::string LockFolder(const std::string& root);
std::string ContentsFolder(const std::string& root);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_LAKE_SCRATCH_H_
