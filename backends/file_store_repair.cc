// Copying one cluster file over another and setting a damaged one aside.
#include <errno.h>
#include <fcntl.h>

#include <string>

#include "backends/file_io.h"
#include "backends/file_store.h"
#include "host/file_ops.h"
#include "host/log.h"

namespace vmr {
namespace {

constexpr char kLogSource[] = "FileStore.cc";

// `path` as one word of a shell command. Plain paths stay as they are.
std::string ShellWord(const std::string& path) {
  static constexpr char kPlain[] =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_./+,:=@%-";
  // A path that looks like an option is made one that does not.
  if (!path.empty() && path[0] == '-') return ShellWord("./" + path);
  if (!path.empty() && path.find_first_not_of(kPlain) == std::string::npos) return path;
  std::string word = "'";
  for (const char c : path) {
    if (c == '\'')
      word += "'\\''";
    else
      word += c;
  }
  return word + "'";
}

}  // namespace

// The copy gets the file's name only when it is complete and on the device: cut short
// under that name it would be refused at every opening.
int FileStore::CopyFile(int clusterCount, int clusterSize, FileStore& source) {
  if (IsOpen()) {
    static_cast<void>(CloseFile(fd_));  // its contents are about to be replaced
    fd_ = 0;
  }
  // Without a path there is nothing to make: the command fails.
  const std::string tmp_name = path_.empty() ? "" : path_ + ".tmp";
  // A file that was made a moment ago gives its room to the copy: there may be none for
  // a third one. It must have lost its name for good before it is written over.
  const bool gives_room = file_created_ &&
                          FileOps::Current().Rename(path_.c_str(), tmp_name.c_str()) == 0 &&
                          SyncDirectoryOf(path_);
  if (!gives_room) RemoveIfThere(tmp_name);
  const std::string command = "cp " + ShellWord(source.Path()) + " " + ShellWord(tmp_name);
  if (FileOps::Current().System(command.c_str()) != 0) {
    const int error = errno;
    // Deliberate: the text begins with a blank.
    VMR_LOG(kLogError, " " << command << " failed. errno " << error << " " << TextOfErrno(error));
  } else if (IsCompleteAndSynced(tmp_name, clusterCount, clusterSize) && TakeNameOf(tmp_name)) {
    return ValidateAndOpenFile(clusterCount, clusterSize);
  }
  RemoveIfThere(tmp_name);
  if (file_created_) RemoveIfThere(path_);
  return 0;
}

bool FileStore::IsCompleteAndSynced(const std::string& tmp_name, int clusterCount,
                                    int clusterSize) {
  struct stat status {};
  const int fd = OpenFile(tmp_name, O_RDWR | O_NOFOLLOW);
  bool synced = fd >= 0 && FileOps::Current().Stat(tmp_name.c_str(), &status) == 0;
  const bool complete = synced && CheckSize(tmp_name, status.st_size, clusterCount, clusterSize);
  if (complete) synced = SyncFile(fd) == 0;
  if (!synced) {
    const Reason reason;
    VMR_LOG(kLogError, "Could not sync file " << tmp_name << ", " << reason);
  }
  if (fd >= 0) static_cast<void>(CloseFile(fd));  // the sync has told
  return complete && synced;
}

// Where the name does not reach the device the file is the empty one again after a
// power loss, and is filled again.
bool FileStore::TakeNameOf(const std::string& tmp_name) const {
  const bool renamed = FileOps::Current().Rename(tmp_name.c_str(), path_.c_str()) == 0;
  if (renamed && SyncDirectoryOf(path_)) return true;
  const Reason reason;
  if (renamed)
    VMR_LOG(kLogWarning, "Could not sync the directory of file " << path_ << ", " << reason);
  else
    VMR_LOG(kLogError, "Failed to rename file " << tmp_name << " to " << path_ << ", " << reason);
  return renamed;
}

void FileStore::Remove() {
  if (FileOps::Current().Unlink(path_.c_str()) == 0) return;
  const int error = errno;
  VMR_LOG(kLogError, "FileStore::Remove of file " << path_ << " failed with err-" << error
                                                  << TextOfErrno(error));
}

void FileStore::HandleCorrupt() {
  const std::string aside = path_ + ".CORRUPT";
  if (FileOps::Current().Rename(path_.c_str(), aside.c_str()) == 0) return;
  const int error = errno;
  VMR_LOG(kLogError,
          "Failed to rename " << path_ << " errno " << error << " - " << TextOfErrno(error));
  Remove();
}

int FileStore::SetAside() {
  constexpr int kNames = 1000;
  for (int n = 0; n < kNames; ++n) {
    const std::string aside = path_ + ".CORRUPT" + (n == 0 ? "" : "." + std::to_string(n));
    if (FileOps::Current().RenameNew(path_.c_str(), aside.c_str()) == 0) return 1;
    if (errno != EEXIST) break;
  }
  const int error = errno;
  VMR_LOG(kLogError,
          "Failed to rename " << path_ << " errno " << error << " - " << TextOfErrno(error));
  return 0;
}

}  // namespace vmr
