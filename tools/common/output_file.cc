#include "tools/common/output_file.h"

#include <errno.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <random>

#include "backends/file_io.h"
#include "host/file_ops.h"
#include "tools/common/console.h"

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

// Makes an empty file named `prefix` and six characters that are free there; -1 and
// errno when none can be made.
int MakeFile(const std::string& prefix, std::string& path) {
  constexpr char kCharacters[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
  constexpr int kAttempts = 100;
  constexpr mode_t kOwnersOnly = 0600;
  std::random_device random;
  int fd = -1;
  for (int attempt = 0; attempt < kAttempts && fd < 0; ++attempt) {
    path = prefix;
    for (int n = 0; n < 6; ++n) path += kCharacters[random() % (sizeof(kCharacters) - 1)];
    fd = OpenFile(path, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW, kOwnersOnly);
    if (fd < 0 && errno != EEXIST) return -1;
  }
  return fd;
}

}  // namespace

OutputFile::~OutputFile() {
  if (fd_ >= 0) static_cast<void>(CloseFile(fd_));  // what it holds goes
  if (temporary_.empty()) return;
  KeepOnSignal(temporary_);
  static_cast<void>(FileOps::Current().Unlink(temporary_.c_str()));  // nobody is left to tell
}

bool OutputFile::Fail(const std::string& what) const {
  Say(fmt::format("{}: {}", path_, what));
  return false;
}

bool OutputFile::MayBeWritten() const {
  struct stat status {};
  if (FileOps::Current().Stat(path_.c_str(), &status) != 0)
    return errno == ENOENT || Fail(TextOfErrno());
  if (S_ISDIR(status.st_mode)) return Fail(TextOfErrno(EISDIR));
  if (!S_ISREG(status.st_mode)) return Fail("not a regular file");
  return replace_ || Fail("exists; --force replaces it");
}

bool OutputFile::Open() {
  if (!MayBeWritten()) return false;
  const HeldSignals held;  // none may come between making the file and noting its name
  const auto folder = std::filesystem::path(path_).parent_path();
  const std::string prefix = folder / fmt::format(".vmr-{}-", purpose_);
  std::string made;
  fd_ = MakeFile(prefix, made);
  if (fd_ < 0) return Fail(fmt::format("cannot create a file beside it: {}", TextOfErrno()));
  temporary_ = made;
  RemoveOnSignal(temporary_);
  return true;
}

bool OutputFile::Publish() {
  const bool synced = SyncAndClose(fd_);
  fd_ = -1;
  if (!synced) return Fail(TextOfErrno());
  if (!Rename()) return Fail(errno == EEXIST ? "exists; --force replaces it" : TextOfErrno());
  KeepOnSignal(temporary_);
  temporary_.clear();
  // The content is safe; without this only its name could get lost in a power cut.
  static_cast<void>(SyncDirectoryOf(path_));
  return true;
}

bool OutputFile::TakeUsualMode() const {
  constexpr mode_t kUsual = 0666;
  const mode_t mask = umask(0);
  umask(mask);
  return fchmod(fd_, kUsual & ~mask) == 0 || Fail(TextOfErrno());
}

// A file that somebody else made at the path meanwhile is not replaced either,
// where the file system can tell.
bool OutputFile::Rename() const {
  FileOps& files = FileOps::Current();
  return (replace_ ? files.Rename(temporary_.c_str(), path_.c_str())
                   : files.RenameNew(temporary_.c_str(), path_.c_str())) == 0;
}

}  // namespace vmr::tool
