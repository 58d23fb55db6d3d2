// Storage that is full, and has room again.
#ifndef VMR_TESTS_SUPPORT_SCARCE_ROOM_H_
#define VMR_TESTS_SUPPORT_SCARCE_ROOM_H_

#include <sys/resource.h>

#include <string>

#include "tests/support/temp_dir.h"

namespace vmr::test {

// A small file system in memory, mounted for this process and those it starts
// alone. Needs the right to mount, as root or in a user namespace of its own.
class SmallFileSystem {
 public:
  explicit SmallFileSystem(int mebibytes);
  ~SmallFileSystem();
  SmallFileSystem(const SmallFileSystem&) = delete;
  SmallFileSystem& operator=(const SmallFileSystem&) = delete;

  // Why there is none; "" when it is mounted.
  const std::string& WhyNot() const { return why_not_; }
  std::string Path(const std::string& name) const { return folder_.Path(name); }

  // Fills it with a file, up to the last block but so much.
  void Fill(int mebibytes_left = 0) const;
  // Removes that file.
  void MakeRoom() const;

 private:
  TempDir folder_;
  std::string why_not_;
};

// While it lives, no file of this process and of those it starts grows beyond so
// many bytes: whoever writes further gets EFBIG, or SIGXFSZ where that is not
// ignored.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(unsigned long long bytes);
  ~FileSizeLimit();
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;

 private:
  rlimit before_{};
};

}  // namespace vmr::test

#endif  // VMR_TESTS_SUPPORT_SCARCE_ROOM_H_
