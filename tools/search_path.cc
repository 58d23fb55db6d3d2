#include "tools/search_path.h"

#include <errno.h>

#include <algorithm>
#include <cstring>

#include "backends/file_store.h"
#include "host/file_ops.h"
#include "host/log.h"

namespace vmr::tool {
namespace {

// One file of clusters that are nothing but a header with a first tick. Notes
// what is read.
class HeadersOnly final : public FileOps {
 public:
  explicit HeadersOnly(const std::vector<unsigned int>& first_ticks) : first_ticks_(first_ticks) {}

  const std::vector<int>& Path() const { return path_; }

  int Open(const char* /*path*/, int /*flags*/, mode_t /*mode*/) override { return kDescriptor; }
  ssize_t Read(int /*fd*/, void* buffer, std::size_t count) override {
    const int cluster = static_cast<int>(position_ / kClusterBytes);
    path_.push_back(cluster);
    const unsigned int st = first_ticks_.at(static_cast<std::size_t>(cluster));
    if (st == kUnreadableSt || count != kClusterBytes) return Fail(EIO);
    auto* const image = static_cast<unsigned char*>(buffer);
    std::memset(image, 0, kClusterBytes);
    SetClusterSt(image, st);
    SetClusterSize(image, kClusterHeaderBytes);
    image[0] = ClusterCrc(image);
    return kClusterBytes;
  }
  off_t Lseek(int /*fd*/, off_t offset, int /*whence*/) override { return position_ = offset; }
  int Stat(const char* /*path*/, struct stat* status) override {
    *status = {};
    status->st_mode = S_IFREG | 0660;
    status->st_size = off_t{kClusterCount} * kClusterBytes;
    return 0;
  }
  int Close(int /*fd*/) override { return 0; }

  // Nothing is written.
  ssize_t Write(int /*fd*/, const void* /*data*/, std::size_t /*count*/) override {
    return Fail(EROFS);
  }
  int Fsync(int /*fd*/) override { return Fail(EROFS); }
  int Chmod(const char* /*path*/, mode_t /*mode*/) override { return Fail(EROFS); }
  int Rename(const char* /*from*/, const char* /*to*/) override { return Fail(EROFS); }
  int Unlink(const char* /*path*/) override { return Fail(EROFS); }
  int Remove(const char* /*path*/) override { return Fail(EROFS); }
  int System(const char* /*command*/) override { return Fail(EROFS); }
  int Usleep(unsigned int /*microseconds*/) override { return 0; }

 private:
  static constexpr int kDescriptor = 1000;

  static int Fail(int error) {
    errno = error;
    return -1;
  }

  const std::vector<unsigned int>& first_ticks_;
  off_t position_ = 0;
  std::vector<int> path_;
};

// Puts file operations in use and keeps the library's log quiet meanwhile: what
// it would say of files that are none would mislead.
class InUse {
 public:
  explicit InUse(FileOps& ops)
      : ops_before_(FileOps::Use(&ops)), level_before_(LogClient::Instance()->Level()) {
    LogClient::Instance()->SetLevel(0);
  }
  ~InUse() {
    LogClient::Instance()->SetLevel(level_before_);
    FileOps::Use(ops_before_);
  }
  InUse(const InUse&) = delete;
  InUse& operator=(const InUse&) = delete;

 private:
  FileOps* ops_before_;
  unsigned int level_before_;
};

}  // namespace

SearchResult SearchLastPosition(const std::vector<unsigned int>& first_ticks) {
  HeadersOnly headers(first_ticks);
  SearchResult result;
  {
    const InUse in_use(headers);
    FileStore file(1);
    unsigned char buffer[kClusterBytes];
    result.found = file.StartFileReadOnly("", kClusterCount, kClusterBytes, 1) != 0 &&
                   file.FindLastPosition(kClusterCount, kClusterBytes, buffer) != 0;
    if (result.found) result.newest = file.NewestCluster();
    file.Close();
  }
  result.path = headers.Path();
  return result;
}

}  // namespace vmr::tool
