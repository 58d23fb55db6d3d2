// Any bytes as the clusters of a ring store's file: reading each, and the search
// for the one written last.
#include <errno.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "backends/cluster_format.h"
#include "backends/file_store.h"
#include "fuzz/fuzz_setup.h"
#include "host/file_ops.h"

namespace {

using vmr::fuzz::Require;

// The one file that there is, in memory, for reading.
class OneFile : public vmr::FileOps {
 public:
  explicit OneFile(std::vector<unsigned char> bytes)
      : bytes_(std::move(bytes)), before_(Use(this)) {}
  ~OneFile() override { Use(before_); }
  OneFile(const OneFile&) = delete;
  OneFile& operator=(const OneFile&) = delete;

  int Open(const char* /*path*/, int /*flags*/, mode_t /*mode*/) override { return kDescriptor; }
  ssize_t Read(int fd, void* buffer, std::size_t count) override {
    Require(fd == kDescriptor, "only the open file is read");
    const std::size_t copied = std::min(count, bytes_.size() - std::min(at_, bytes_.size()));
    if (copied > 0) std::memcpy(buffer, bytes_.data() + at_, copied);
    at_ += copied;
    return static_cast<ssize_t>(copied);
  }
  off_t Lseek(int fd, off_t offset, int whence) override {
    Require(fd == kDescriptor && whence == SEEK_SET && offset >= 0, "seeks are within the file");
    at_ = static_cast<std::size_t>(offset);
    return offset;
  }
  int Stat(const char* /*path*/, struct stat* status) override {
    *status = {};
    status->st_mode = S_IFREG | 0660;
    status->st_size = static_cast<off_t>(bytes_.size());
    return 0;
  }
  int Fsync(int /*fd*/) override { return 0; }
  int Close(int /*fd*/) override { return 0; }
  ssize_t Write(int /*fd*/, const void* /*data*/, std::size_t /*count*/) override {
    return Refuse();
  }
  int Chmod(const char* /*path*/, mode_t /*mode*/) override { return Refuse(); }
  int Rename(const char* /*from*/, const char* /*to*/) override { return Refuse(); }
  int Unlink(const char* /*path*/) override { return Refuse(); }
  int Remove(const char* /*path*/) override { return Refuse(); }
  int System(const char* /*command*/) override { return Refuse(); }
  int Usleep(unsigned int /*microseconds*/) override { return Refuse(); }

 private:
  static constexpr int kDescriptor = 3;

  static int Refuse() {
    Require(false, "reading changes nothing");
    return -1;
  }

  std::vector<unsigned char> bytes_;
  std::size_t at_ = 0;
  vmr::FileOps* before_;
};

// Small clusters, so that few input bytes make many of them.
constexpr int kSmallClusterBytes = 16;
constexpr int kMaxClusters = 64;

// Makes right the CRC of every cluster whose size allows it: what lies behind
// the check is rarely reached otherwise.
void MakeCrcsRight(std::vector<unsigned char>& bytes) {
  for (std::size_t at = 0; at < bytes.size(); at += kSmallClusterBytes) {
    const int used = vmr::ClusterSize(&bytes[at]);
    if (used >= vmr::kClusterHeaderBytes && used <= kSmallClusterBytes)
      bytes[at] = vmr::ClusterCrc(&bytes[at]);
  }
}

}  // namespace

// The first byte: lowest bit, whether CRCs are made right; the others, how many
// clusters the bytes behind are spread over.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  vmr::fuzz::StartInput(data, size);
  if (size < 1) return 0;
  const int cluster_count = 2 + (data[0] >> 1) % (kMaxClusters - 1);
  std::vector<unsigned char> bytes(static_cast<std::size_t>(cluster_count * kSmallClusterBytes));
  std::copy_n(data + 1, std::min(size - 1, bytes.size()), bytes.begin());
  if ((data[0] & 1) != 0) MakeCrcsRight(bytes);

  OneFile file(bytes);
  std::vector<unsigned char> buffer(kSmallClusterBytes);
  vmr::FileStore store(1);
  Require(store.StartFile("/ring", buffer.data(), cluster_count, kSmallClusterBytes, 1) == 1,
          "the file is opened");
  for (int cluster = 0; cluster < cluster_count; ++cluster) {
    if (store.ReadCluster(kSmallClusterBytes, buffer.data(), cluster) == 0) continue;
    const int used = vmr::ClusterSize(buffer.data());
    Require(used >= vmr::kClusterHeaderBytes && used <= kSmallClusterBytes, "the size is possible");
  }
  if (store.FindLastPosition(cluster_count, kSmallClusterBytes, buffer.data()) == 1) {
    Require(store.NewestCluster() >= 0 && store.NewestCluster() < cluster_count,
            "the newest cluster is in the file");
    Require(store.OldestCluster() >= 0 && store.OldestCluster() < cluster_count,
            "the oldest cluster is in the file");
  }
  return 0;
}
