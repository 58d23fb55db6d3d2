// Copying one cluster file over another and setting a damaged one aside.
#include <errno.h>

#include <cstring>
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

int FileStore::CopyFile(int clusterCount, int clusterSize, FileStore& source) {
  if (IsOpenDescriptor(fd_)) {
    static_cast<void>(CloseFile(fd_));  // its contents are about to be replaced
    fd_ = 0;
  }
  const std::string command = "cp " + ShellWord(source.Path()) + " " + ShellWord(path_);
  if (FileOps::Current().System(command.c_str()) != 0) {
    const int error = errno;
    // Deliberate: the text begins with a blank.
    VMR_LOG(kLogError, " " << command << " failed. errno " << error << " " << std::strerror(error));
    return 0;
  }
  if (ValidateAndOpenFile(clusterCount, clusterSize) == 0) return 0;
  // The copy must not be lost with the next power cut: from now on it counts.
  if (SyncFile(fd_) == 0) return 1;
  const int error = errno;
  VMR_LOG(kLogError,
          "Could not sync file " << path_ << ", " << error << ": " << std::strerror(error));
  Close();
  return 0;
}

void FileStore::Remove() {
  if (FileOps::Current().Unlink(path_.c_str()) == 0) return;
  const int error = errno;
  VMR_LOG(kLogError, "FileStore::Remove of file " << path_ << " failed with err-" << error
                                                  << std::strerror(error));
}

void FileStore::HandleCorrupt() {
  const std::string aside = path_ + ".CORRUPT";
  if (FileOps::Current().Rename(path_.c_str(), aside.c_str()) == 0) return;
  const int error = errno;
  VMR_LOG(kLogError,
          "Failed to rename " << path_ << " errno " << error << " - " << std::strerror(error));
  Remove();
}

}  // namespace vmr
