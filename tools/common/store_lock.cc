#include "tools/common/store_lock.h"

#include <errno.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "backends/cluster_format.h"
#include "backends/file_io.h"
#include "tools/common/console.h"
#include "tools/common/store_path.h"

namespace vmr::tool {
namespace {

std::string FolderOf(const std::string& path) {
  const auto folder = std::filesystem::path(path).parent_path();
  return folder.empty() ? "." : folder;
}

int LockNow(int fd, int operation) {
  int result;
  do {
    result = flock(fd, operation);
  } while (result != 0 && errno == EINTR);
  return result;
}

bool SameFile(int a, int b) {
  struct stat first {};
  struct stat second {};
  return fstat(a, &first) == 0 && fstat(b, &second) == 0 && first.st_dev == second.st_dev &&
         first.st_ino == second.st_ino;
}

}  // namespace

StoreLock::~StoreLock() {
  UnlockFolder();
  for (const int fd : files_) static_cast<void>(close(fd));  // read-only, nothing to lose
}

StoreLock::Outcome StoreLock::LockFile(const std::string& base) {
  const int fd = open(RingFileName(base, 1).c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0 && errno == ENOENT) return Outcome::kMissing;
  if (fd < 0) return Outcome::kLocked;  // opening the store will say what is wrong
  for (const int held : files_)
    if (SameFile(held, fd)) return close(fd), Outcome::kLocked;
  files_.push_back(fd);
  if (LockNow(fd, LOCK_EX | LOCK_NB) == 0) return Outcome::kLocked;
  // A file system without locks must not prevent recording.
  if (errno != EWOULDBLOCK) return Outcome::kLocked;
  Say(fmt::format("{}: is in use by another process; {}", base, advice_));
  return Outcome::kRefused;
}

bool StoreLock::LockFolder(const std::string& base) {
  folder_ = open(FolderOf(base).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (folder_ < 0) {
    Say(fmt::format("{}: {}", FolderOf(base), TextOfErrno()));
    return false;
  }
  // Waits: another process that creates a store here is done in a moment.
  static_cast<void>(LockNow(folder_, LOCK_EX));
  return true;
}

void StoreLock::UnlockFolder() {
  if (folder_ >= 0) static_cast<void>(close(folder_));
  folder_ = -1;
}

bool StoreLock::Before(const std::string& base) {
  Outcome outcome = LockFile(base);
  if (outcome == Outcome::kMissing) {
    if (!LockFolder(base)) return false;
    outcome = LockFile(base);
  }
  return outcome != Outcome::kRefused;
}

bool StoreLock::After(const std::string& base) {
  const Outcome outcome = LockFile(base);
  UnlockFolder();
  return outcome != Outcome::kRefused;
}

}  // namespace vmr::tool
