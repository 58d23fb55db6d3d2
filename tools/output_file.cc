#include "tools/output_file.h"

#include <errno.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <iterator>

#include "tools/console.h"

namespace vmr::tool {
namespace {

constexpr int kEndingSignals[] = {SIGINT, SIGTERM, SIGHUP};

// What a signal's handler removes; null where there is nothing to remove.
const char* volatile files_in_the_making[OutputFile::kMostAtOnce] = {};

void RemoveAndEnd(int signal_number) {
  for (const char* const path : files_in_the_making)
    if (path != nullptr) unlink(path);
  signal(signal_number, SIG_DFL);
  raise(signal_number);
}

void Exchange(const char* listed, const char* by) {
  for (const char* volatile& path : files_in_the_making)
    if (path == listed) {
      path = by;
      return;
    }
}

bool AnyInTheMaking() {
  return std::any_of(std::begin(files_in_the_making), std::end(files_in_the_making),
                     [](const char* path) { return path != nullptr; });
}

void HandleEndingSignals() {
  struct sigaction action {};
  action.sa_handler = AnyInTheMaking() ? RemoveAndEnd : SIG_DFL;
  for (const int number : kEndingSignals) {
    struct sigaction before {};
    const bool ignored = sigaction(number, nullptr, &before) == 0 && before.sa_handler == SIG_IGN;
    if (!ignored) sigaction(number, &action, nullptr);
  }
}

void RemoveOnSignal(const std::string& path) {
  Exchange(nullptr, path.c_str());
  HandleEndingSignals();
}

void KeepOnSignal(const std::string& path) {
  Exchange(path.c_str(), nullptr);
  HandleEndingSignals();
}

// Holds the ending signals back while it lives.
class HeldSignals {
 public:
  HeldSignals() {
    sigset_t ending;
    sigemptyset(&ending);
    for (const int number : kEndingSignals) sigaddset(&ending, number);
    sigprocmask(SIG_BLOCK, &ending, &before_);
  }
  ~HeldSignals() { sigprocmask(SIG_SETMASK, &before_, nullptr); }
  HeldSignals(const HeldSignals&) = delete;
  HeldSignals& operator=(const HeldSignals&) = delete;

 private:
  sigset_t before_;
};

std::string FolderOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == path.npos ? "" : path.substr(0, slash + 1);
}

bool SyncPath(const std::string& path, int flags) {
  const int fd = open(path.c_str(), flags | O_CLOEXEC);
  if (fd < 0) return false;
  const bool synced = fsync(fd) == 0;
  return close(fd) == 0 && synced;
}

}  // namespace

OutputFile::~OutputFile() {
  if (temporary_.empty()) return;
  KeepOnSignal(temporary_);
  unlink(temporary_.c_str());
}

bool OutputFile::Fail(const std::string& what) const {
  Say(fmt::format("{}: {}", path_, what));
  return false;
}

bool OutputFile::MayBeWritten() const {
  struct stat status {};
  if (stat(path_.c_str(), &status) != 0) return errno == ENOENT || Fail(strerror(errno));
  if (S_ISDIR(status.st_mode)) return Fail(strerror(EISDIR));
  if (!S_ISREG(status.st_mode)) return Fail("not a regular file");
  return replace_ || Fail("exists; --force replaces it");
}

bool OutputFile::Open() {
  if (!MayBeWritten()) return false;
  std::string pattern = fmt::format("{}.vmr-{}-XXXXXX", FolderOf(path_), purpose_);
  const HeldSignals held;  // none may come between making the file and noting its name
  const int fd = mkostemp(pattern.data(), O_CLOEXEC);
  if (fd < 0) return Fail(fmt::format("cannot create a file beside it: {}", strerror(errno)));
  close(fd);  // only the name is wanted
  temporary_ = pattern;
  RemoveOnSignal(temporary_);
  return true;
}

bool OutputFile::Publish() {
  if (!SyncPath(temporary_, O_RDONLY)) return Fail(strerror(errno));
  if (!Rename()) return Fail(errno == EEXIST ? "exists; --force replaces it" : strerror(errno));
  KeepOnSignal(temporary_);
  temporary_.clear();
  const std::string folder = FolderOf(path_);
  // The content is safe; without this only its name could get lost in a power cut.
  static_cast<void>(SyncPath(folder.empty() ? "." : folder, O_RDONLY | O_DIRECTORY));
  return true;
}

// A file that somebody else made at the path meanwhile is not replaced either,
// where the file system can tell.
bool OutputFile::Rename() const {
  if (!replace_) {
    if (renameat2(AT_FDCWD, temporary_.c_str(), AT_FDCWD, path_.c_str(), RENAME_NOREPLACE) == 0)
      return true;
    if (errno != EINVAL && errno != ENOSYS) return false;
  }
  return rename(temporary_.c_str(), path_.c_str()) == 0;
}

}  // namespace vmr::tool
