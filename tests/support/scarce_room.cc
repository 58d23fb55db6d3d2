#include "tests/support/scarce_room.h"

#include <errno.h>
#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <stdexcept>
#include <vector>

namespace vmr::test {
namespace {

constexpr char kFiller[] = "filler";
constexpr std::size_t kMebibyte = 1 << 20;
constexpr std::size_t kBlock = 4096;

void WriteText(const char* path, const std::string& text) { std::ofstream(path) << text; }

// Mounts of its own for this process. Users who may not do that get a user
// namespace too, in which they are who they were.
bool OwnMounts() {
  static bool own = false;
  if (own) return true;
  if (unshare(CLONE_NEWNS) != 0) {
    const std::string user = std::to_string(getuid()), group = std::to_string(getgid());
    if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) return false;
    WriteText("/proc/self/setgroups", "deny");
    WriteText("/proc/self/uid_map", user + " " + user + " 1");
    WriteText("/proc/self/gid_map", group + " " + group + " 1");
  }
  own = mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
  return own;
}

void Require(bool succeeded, const std::string& what) {
  if (!succeeded) throw std::runtime_error(what + ": " + std::strerror(errno));
}

// How many of the bytes fit.
std::size_t Append(int fd, const std::vector<char>& bytes, std::size_t count) {
  const ssize_t written = write(fd, bytes.data(), count);
  Require(written >= 0 || errno == ENOSPC, kFiller);
  return written < 0 ? 0 : static_cast<std::size_t>(written);
}

}  // namespace

SmallFileSystem::SmallFileSystem(int mebibytes) {
  const std::string size = "size=" + std::to_string(mebibytes) + "m";
  if (!OwnMounts() || mount("tmpfs", folder_.Path("").c_str(), "tmpfs", 0, size.c_str()) != 0)
    why_not_ = std::strerror(errno);
}

SmallFileSystem::~SmallFileSystem() {
  if (why_not_.empty()) static_cast<void>(umount2(folder_.Path("").c_str(), MNT_DETACH));
}

void SmallFileSystem::Fill(int mebibytes_left) const {
  const std::string path = Path(kFiller);
  const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  Require(fd >= 0, path);
  const std::vector<char> bytes(kMebibyte);
  std::size_t filled = 0;
  for (const std::size_t piece : {kMebibyte, kBlock})
    while (const std::size_t written = Append(fd, bytes, piece)) filled += written;
  const std::size_t left = static_cast<std::size_t>(mebibytes_left) * kMebibyte;
  if (left > 0) Require(ftruncate(fd, static_cast<off_t>(filled - left)) == 0, path);
  Require(close(fd) == 0, path);
}

void SmallFileSystem::MakeRoom() const { Require(unlink(Path(kFiller).c_str()) == 0, kFiller); }

FileSizeLimit::FileSizeLimit(unsigned long long bytes) {
  Require(getrlimit(RLIMIT_FSIZE, &before_) == 0, "getrlimit");
  rlimit limit = before_;
  limit.rlim_cur = bytes;
  Require(setrlimit(RLIMIT_FSIZE, &limit) == 0, "setrlimit");
}

FileSizeLimit::~FileSizeLimit() { static_cast<void>(setrlimit(RLIMIT_FSIZE, &before_)); }

}  // namespace vmr::test
