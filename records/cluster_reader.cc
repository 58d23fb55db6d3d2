#include "records/cluster_reader.h"

#include <fcntl.h>
#include <unistd.h>

#include "backends/file_io.h"

namespace vmr::records {

bool ClusterReader::Open(const std::string& path) {
  Close();
  fd_ = OpenFile(path, O_RDONLY | O_NONBLOCK);  // a pipe in a file's place is not waited for
  return IsOpenDescriptor(fd_);
}

void ClusterReader::Close() {
  if (IsOpen()) static_cast<void>(CloseFile(fd_));  // nothing was written
  fd_ = -1;
  first_ahead_ = -1;
}

std::size_t ClusterReader::ReadBytes(int cluster, unsigned char* to, std::size_t bytes) const {
  const off_t offset = static_cast<off_t>(cluster) * kClusterBytes;
  if (!IsOpen() || SeekFile(fd_, offset, SEEK_SET) != offset) return 0;
  std::size_t done = 0;
  while (done < bytes) {
    const ssize_t count = ReadFile(fd_, to + done, bytes - done);
    if (count <= 0) break;
    done += static_cast<std::size_t>(count);
  }
  return done;
}

const unsigned char* ClusterReader::Read(int cluster) {
  constexpr int kTries = 3;
  one_.resize(kClusterBytes);
  for (int i = 0; i < kTries; ++i)
    if (ReadBytes(cluster, one_.data(), kClusterBytes) == kClusterBytes &&
        IsSoundCluster(one_.data()))
      return one_.data();
  return nullptr;
}

const unsigned char* ClusterReader::ReadInTurn(int cluster) {
  if (first_ahead_ < 0 || cluster < first_ahead_ || cluster >= first_ahead_ + clusters_ahead_) {
    ahead_.resize(static_cast<std::size_t>(kClustersAtOnce) * kClusterBytes);
    first_ahead_ = cluster;
    clusters_ahead_ =
        static_cast<int>(ReadBytes(cluster, ahead_.data(), ahead_.size()) / kClusterBytes);
  }
  if (cluster >= first_ahead_ + clusters_ahead_) return Read(cluster);
  const unsigned char* const image =
      ahead_.data() + static_cast<std::size_t>(cluster - first_ahead_) * kClusterBytes;
  return IsSoundCluster(image) ? image : Read(cluster);
}

}  // namespace vmr::records
