// A fresh directory, removed with everything in it when the object goes.
#ifndef VMR_TESTS_SUPPORT_TEMP_DIR_H_
#define VMR_TESTS_SUPPORT_TEMP_DIR_H_

#include <stdlib.h>

#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>

namespace vmr::test {

class TempDir {
 public:
  explicit TempDir(const std::filesystem::path& parent = std::filesystem::temp_directory_path()) {
    std::string path = (parent / "vmr-test-XXXXXX").string();
    if (mkdtemp(path.data()) == nullptr) throw std::runtime_error("mkdtemp failed: " + path);
    path_ = path;
  }
  ~TempDir() {
    std::error_code ignored;  // a test's verdict does not depend on the cleaning up
    std::filesystem::remove_all(path_, ignored);
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  // Where two files of 128 MiB are written quickest: TMPDIR when it is set, else
  // memory when there is a file system in it.
  static std::filesystem::path RoomForRings() {
    if (getenv("TMPDIR") == nullptr && std::filesystem::is_directory("/dev/shm")) return "/dev/shm";
    return std::filesystem::temp_directory_path();
  }

  std::string Path(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

}  // namespace vmr::test

#endif  // VMR_TESTS_SUPPORT_TEMP_DIR_H_
