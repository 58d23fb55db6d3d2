#include "tools/lake/scratch.h"

#include <errno.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <stdlib.h>
#include <sys/file.h>
#include <unistd.h>

#include <filesystem>

#include "backends/file_io.h"
#include "tools/common/console.h"

namespace vmr::tool {
namespace {

namespace fs = std::filesystem;

constexpr const char* kLockName = "lock";  // in each folder of a run, held while it lives

int Lock(const std::string& path, int operation) {
  constexpr mode_t kUsual = 0666;
  const int fd = OpenFile(path, O_RDWR | O_CREAT, kUsual);
  if (fd < 0) return -1;
  int result;
  do result = flock(fd, operation);
  while (result != 0 && errno == EINTR);
  if (result == 0) return fd;
  const int error = errno;
  static_cast<void>(CloseFile(fd));  // nothing was written
  errno = error;
  return -1;
}

// Whoever made it and lives holds its lock.
void RemoveLeftOver(const std::string& tmp) {
  std::error_code error;
  for (const fs::directory_entry& entry : fs::directory_iterator(tmp, error)) {
    const FileLock left(entry.path() / kLockName, false);
    if (left.IsHeld() || errno == ENOENT || errno == ENOTDIR) fs::remove_all(entry.path(), error);
  }
}

}  // namespace

FileLock::FileLock(const std::string& path, bool waits)
    : fd_(Lock(path, waits ? LOCK_EX : LOCK_EX | LOCK_NB)) {}

FileLock::~FileLock() {
  if (fd_ >= 0) static_cast<void>(CloseFile(fd_));  // nothing was written
}

LakeScratch::~LakeScratch() {
  if (folder_.empty()) return;
  std::error_code ignored;  // the next run removes what stays
  fs::remove_all(folder_, ignored);
  static_cast<void>(CloseFile(lock_fd_));  // nothing was written
}

bool LakeScratch::Open(const std::string& root) {
  std::error_code error;
  for (const std::string& folder : {TmpFolder(root), LockFolder(root), ContentsFolder(root)}) {
    fs::create_directories(folder, error);
    if (!error) continue;
    Say(fmt::format("{}: {}", folder, error.message()));
    return false;
  }
  // Nobody takes a folder that is not locked yet for one that was left.
  const FileLock making(LockFolder(root) + "/tmp");
  if (making.IsHeld()) RemoveLeftOver(TmpFolder(root));
  std::string made = fmt::format("{}/{}-XXXXXX", TmpFolder(root), getpid());
  if (making.IsHeld() && mkdtemp(made.data()) != nullptr) {
    folder_ = fs::absolute(made, error).string();
    lock_fd_ = Lock(folder_ + "/" + kLockName, LOCK_EX | LOCK_NB);
  }
  if (lock_fd_ >= 0) return true;
  Say(fmt::format("{}: {}", TmpFolder(root), TextOfErrno()));
  return false;
}

void LakeScratch::Clear() const {
  std::error_code ignored;  // it goes with the folder
  for (const fs::directory_entry& entry : fs::directory_iterator(folder_, ignored))
    if (entry.path().filename() != kLockName) fs::remove_all(entry.path(), ignored);
}

std::string TmpFolder(const std::string& root) { return root + "/_vmr/tmp"; }
std::string LockFolder(const std::string& root) { return root + "/_vmr/lock"; }
std::string ContentsFolder(const std::string& root) { return root + "/_vmr/contents"; }

}  // namespace vmr::tool
