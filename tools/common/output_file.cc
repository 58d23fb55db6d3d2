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
#include <utility>

#include "backends/file_io.h"
#include "host/file_ops.h"
#include "tools/common/console.h"

namespace vmr::tool {
namespace {

constexpr int kEndingSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGPIPE};

// What a signal's handler removes; null where there is nothing to remove.
const char* volatile files_in_the_making[OutputFile::kMostAtOnce] = {};

void RemoveAndEnd(int signal_number) {
  for (const char* const path : files_in_the_making)
    if (path != nullptr) unlink(path);
  for (const char* const path : files_in_the_making)
    if (path != nullptr) rmdir(path);  // of a file it fails
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

// What `make` makes under a name of `prefix` and six characters that is free; its result is
// negative, with errno, when nothing can be made.
template <typename Make>
int MakeUnderFreeName(const std::string& prefix, std::string& path, Make make) {
  constexpr char kCharacters[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
  constexpr int kAttempts = 100;
  std::random_device random;
  int made = -1;
  for (int attempt = 0; attempt < kAttempts && made < 0; ++attempt) {
    path = prefix;
    for (int n = 0; n < 6; ++n) path += kCharacters[random() % (sizeof(kCharacters) - 1)];
    made = make(path.c_str());
    if (made < 0 && errno != EEXIST) return -1;
  }
  return made;
}

int MakeFile(const char* path) {
  constexpr mode_t kOwnersOnly = 0600;
  return OpenFile(path, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW, kOwnersOnly);
}

int MakeFolder(const char* path) {
  constexpr mode_t kUsual = 0777;
  return mkdir(path, kUsual);
}

}  // namespace

OutputFile::~OutputFile() {
  if (fd_ >= 0) static_cast<void>(CloseFile(fd_));  // what it holds goes
  if (temporary_.empty()) return;
  KeepOnSignal(temporary_);
  static_cast<void>(FileOps::Current().Unlink(temporary_.c_str()));  // nobody is left to tell
}

bool OutputFile::Fail(const std::string& what) const {
  Say(fmt::format("{}: {}", shown_.empty() ? path_ : shown_, what));
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
  fd_ = MakeUnderFreeName(prefix, made, MakeFile);
  if (fd_ < 0) return Fail(fmt::format("cannot create a file beside it: {}", TextOfErrno()));
  temporary_ = made;
  RemoveOnSignal(temporary_);
  return true;
}

bool OutputFile::Settle() {
  const bool synced = SyncAndClose(std::exchange(fd_, -1));
  return synced || Fail(TextOfErrno());
}

bool OutputFile::Publish() {
  if (fd_ >= 0 && !Settle()) return false;
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

// ---- Folders ---------------------------------------------------------------------

namespace {

namespace fs = std::filesystem;

// "d" of "d/", too.
fs::path WithoutSlash(const fs::path& path) {
  return path.has_filename() ? path : path.parent_path();
}

fs::path NearestFolder(fs::path path) {
  std::error_code error;
  while (!path.empty() && !fs::exists(path, error)) path = path.parent_path();
  return path;
}

}  // namespace

OutputFolder::OutputFolder(const std::string& path) : path_(WithoutSlash(path)) {}

OutputFolder::~OutputFolder() {
  if (temporary_.empty()) return;
  KeepOnSignal(temporary_);
  std::error_code ignored;  // nobody is left to tell
  fs::remove_all(temporary_, ignored);
}

bool OutputFolder::Fail(const std::string& what) const {
  Say(fmt::format("{}: {}", path_, what));
  return false;
}

bool OutputFolder::Open() {
  const HeldSignals held;
  std::string made;
  const fs::path beside = NearestFolder(fs::path(path_).parent_path());
  if (MakeUnderFreeName((beside / ".vmr-out-").string(), made, MakeFolder) < 0)
    return Fail(TextOfErrno());
  temporary_ = made;
  RemoveOnSignal(temporary_);
  return true;
}

bool OutputFolder::Publish() {
  const HeldSignals held;
  std::error_code error;
  const fs::path above = fs::path(path_).parent_path();
  if (!above.empty()) fs::create_directories(above, error);
  if (error) return Fail(error.message());
  if (FileOps::Current().RenameNew(temporary_.c_str(), path_.c_str()) != 0)
    return Fail(TextOfErrno());
  KeepOnSignal(temporary_);
  temporary_.clear();
  // Without this only the name could get lost in a power cut.
  static_cast<void>(SyncDirectoryOf(path_));
  return true;
}

HeldSignals::HeldSignals() {
  sigset_t ending;
  sigemptyset(&ending);
  for (const int number : kEndingSignals) sigaddset(&ending, number);
  sigprocmask(SIG_BLOCK, &ending, &before_);
}

HeldSignals::~HeldSignals() { sigprocmask(SIG_SETMASK, &before_, nullptr); }

}  // namespace vmr::tool
