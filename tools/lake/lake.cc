#include "tools/lake/lake.h"

#include <errno.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <set>
#include <vector>

#include "backends/file_io.h"
#include "tools/common/console.h"
#include "tools/common/sha256.h"
#include "tools/lake/contents.h"

namespace vmr::tool {
namespace {

namespace fs = std::filesystem;

bool HoldSame(int a, int b) {
  constexpr std::size_t kChunk = 64 * 1024;
  std::vector<char> of_a(kChunk), of_b(kChunk);
  for (;;) {
    const ssize_t count = ReadFile(a, of_a.data(), kChunk);
    if (count < 0 || count != ReadFile(b, of_b.data(), kChunk)) return false;
    if (count == 0) return true;
    if (!std::equal(of_a.begin(), of_a.begin() + count, of_b.begin())) return false;
  }
}

// Both are there, whole, and the same.
bool SameBytes(const std::string& a, const std::string& b) {
  const int fd_a = OpenFile(a, O_RDONLY), fd_b = OpenFile(b, O_RDONLY);
  struct stat of_a {};
  struct stat of_b {};
  const bool same = fd_a >= 0 && fd_b >= 0 && fstat(fd_a, &of_a) == 0 && fstat(fd_b, &of_b) == 0 &&
                    of_a.st_size == of_b.st_size && HoldSame(fd_a, fd_b);
  for (const int fd : {fd_a, fd_b})
    if (fd >= 0) static_cast<void>(CloseFile(fd));  // nothing was written
  return same;
}

bool Sync(const std::string& path) {
  const int fd = OpenFile(path, O_RDONLY);
  return fd >= 0 && SyncAndClose(fd);
}

// What a new folder is called stands in the one above it.
bool MakeFolder(const fs::path& folder) {
  std::error_code error;
  if (fs::is_directory(folder, error)) return true;
  if (folder.has_relative_path() && !MakeFolder(folder.parent_path())) return false;
  fs::create_directory(folder, error);
  if (!error) return SyncDirectoryOf(folder.string());
  errno = error.value();
  return false;
}

// The device begins to write, and nobody waits: what is made durable behind it one by one has
// little left to wait for.
void BeginToSync(const std::string& path) {
  const int fd = OpenFile(path, O_RDONLY);
  if (fd < 0) return;
  static_cast<void>(sync_file_range(fd, 0, 0, SYNC_FILE_RANGE_WRITE));  // a hint
  static_cast<void>(CloseFile(fd));                                     // nothing was written
}

}  // namespace

// The steps of replacing one recording's files.
class Lake::Replacing {
 public:
  Replacing(const std::string& root, const Made& made) : root_(root), made_(made) {}

  Outcome Run() {
    const auto there = ReadContents(root_, made_.name);
    if (there) before_ = *there;
    // Without its contents the files themselves tell what there is.
    if (!there) before_.files = FindFiles(root_, made_.name);
    if (there && !GoTogether(before_.packets, made_.packets)) return Stays(Placing::kIsAnother);
    if (there && before_.complete && before_.packets.bytes > made_.packets.bytes)
      return Stays(Placing::kHasMore);
    outcome_.placing = Place() ? Placing::kDone : Placing::kFailed;
    if (outcome_.placing == Placing::kFailed) outcome_.error = error_;
    return outcome_;
  }

 private:
  Outcome Stays(Placing placing) {
    outcome_.placing = placing;
    outcome_.unchanged = before_.files.size();
    return outcome_;
  }

  bool Place() {
    Compare();
    Contents contents = {false, made_.packets, now_};
    if (!changed_.empty() || !gone_.empty()) {
      contents.files.insert(before_.files.begin(), before_.files.end());
      if (!SettleAll() || !Note(contents) || !HideRow() || !PutAll() || !RemoveGone()) return false;
    }
    if (row_changed_ && !Put(Lake::RowFile(made_.name), made_.row)) return false;
    contents = {true, made_.packets, now_};
    return Note(contents);
  }

  // What is to be done.
  void Compare() {
    for (const auto& [name, file] : made_.files) {
      now_.insert(name);
      if (SameBytes(root_ + "/" + name, file))
        ++outcome_.unchanged;
      else
        changed_.emplace_back(name, file);
    }
    const std::string row = Lake::RowFile(made_.name);
    now_.insert(row);
    std::set_difference(before_.files.begin(), before_.files.end(), now_.begin(), now_.end(),
                        std::back_inserter(gone_));
    row_changed_ = !changed_.empty() || !gone_.empty() || !SameBytes(root_ + "/" + row, made_.row);
    if (!row_changed_) ++outcome_.unchanged;
  }

  bool Note(const Contents& contents) {
    return WriteContents(root_, made_.name, contents, made_.scratch) || Fail(ContentsFolder(root_));
  }

  // What has a name in the lake is whole after a power cut, too.
  bool SettleAll() {
    for (const auto& [name, file] : changed_) BeginToSync(file);
    for (const auto& [name, file] : changed_)
      if (!Sync(file)) return Fail(file);
    return true;
  }

  // From here on it is not complete.
  bool HideRow() {
    const std::string path = root_ + "/" + Lake::RowFile(made_.name);
    if (unlink(path.c_str()) == 0) return SyncDirectoryOf(path) || Fail(path);
    return errno == ENOENT || Fail(path);
  }

  bool PutAll() {
    std::set<std::string> folders;
    for (const auto& [name, file] : changed_) {
      if (!Move(name, file)) return false;
      folders.insert(fs::path(name).parent_path().string());
    }
    for (const std::string& folder : folders)
      if (!SyncDirectoryOf(root_ + "/" + folder + "/x")) return Fail(root_ + "/" + folder);
    return true;
  }

  bool Put(const std::string& name, const std::string& file) {
    return (Sync(file) || Fail(file)) && Move(name, file) &&
           (SyncDirectoryOf(root_ + "/" + name) || Fail(root_ + "/" + name));
  }

  bool Move(const std::string& name, const std::string& file) {
    const fs::path path = fs::path(root_) / name;
    if (!MakeFolder(path.parent_path())) return Fail(path.parent_path().string());
    if (std::rename(file.c_str(), path.c_str()) != 0) return Fail(path.string());
    ++outcome_.written;
    return true;
  }

  bool RemoveGone() {
    for (const std::string& name : gone_) {
      const fs::path path = fs::path(root_) / name;
      if (unlink(path.c_str()) == 0)
        ++outcome_.removed;
      else if (errno != ENOENT)
        return Fail(path.string());
    }
    return true;
  }

  bool Fail(const std::string& path) {
    error_ = fmt::format("{}: {}", path, TextOfErrno());
    Say(error_);
    return false;
  }

  const std::string& root_;
  const Made& made_;
  Contents before_;
  std::set<std::string> now_;
  std::vector<std::pair<std::string, std::string>> changed_;
  std::vector<std::string> gone_;
  bool row_changed_ = false;
  Outcome outcome_;
  std::string error_;
};

std::string Lake::RowFile(const std::string& name) { return "recordings/" + name + ".parquet"; }

// A lock stands for many recordings, so that there are few files of locks.
FileLock Lake::LockOf(const std::string& name) const {
  return FileLock(LockFolder(root_) + "/" + Sha256Of(name).substr(0, 2));
}

Lake::Outcome Lake::Place(const Made& made) {
  const FileLock lock = LockOf(made.name);
  if (lock.IsHeld()) return Replacing(root_, made).Run();
  Outcome outcome;
  outcome.error = fmt::format("{}: {}", LockFolder(root_), TextOfErrno());
  Say(outcome.error);
  return outcome;
}

void Lake::Forget(const std::string& name) {
  const auto exists = [](const std::string& path) { return access(path.c_str(), F_OK) == 0; };
  if (!exists(root_ + "/" + RowFile(name))) return;
  const FileLock lock = LockOf(name);
  for (const std::string& file : FindFiles(root_, name)) RemoveIfThere(root_ + "/" + file);
  RemoveContents(root_, name);
}

}  // namespace vmr::tool
