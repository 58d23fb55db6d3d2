#include "tools/ring/cluster_file.h"

#include <errno.h>
#include <fcntl.h>

#include <cstring>

#include "backends/file_io.h"
#include "host/file_ops.h"
#include "records/cluster_reader.h"

namespace vmr::tool {
namespace {

// What the bytes of a whole image say of themselves.
CopyState Judge(const unsigned char* image) {
  if (!HasPlausibleSize(image)) return CopyState::kBadSize;
  if (!IsSoundCluster(image)) return CopyState::kBadCrc;
  const bool empty = !HoldsPackets(image) && ClusterSt(image) == kNeverWrittenSt;
  return empty ? CopyState::kNeverWritten : CopyState::kGood;
}

FileProblem JudgeSize(off_t bytes) {
  if (bytes == records::kRingFileBytes) return FileProblem::kNone;
  return bytes < records::kRingFileBytes ? FileProblem::kShort : FileProblem::kLong;
}

}  // namespace

void ClusterFile::Open() {
  Close();
  bytes_ = 0;
  first_ahead_ = -1;
  struct stat status {};
  if (FileOps::Current().Stat(path_.c_str(), &status) != 0) {
    problem_ = errno == ENOENT ? FileProblem::kMissing : FileProblem::kNotOpened;
    reason_ = TextOfErrno();
    return;
  }
  if (!S_ISREG(status.st_mode)) {
    problem_ = FileProblem::kNotRegular;
    return;
  }
  fd_ = OpenFile(path_, O_RDONLY);
  if (!IsOpenDescriptor(fd_)) {
    problem_ = FileProblem::kNotOpened;
    reason_ = TextOfErrno();
    return;
  }
  bytes_ = status.st_size;
  problem_ = JudgeSize(bytes_);
}

void ClusterFile::Close() {
  if (IsOpenDescriptor(fd_)) static_cast<void>(CloseFile(fd_));  // read-only, nothing to lose
  fd_ = -1;
}

CopyState ClusterFile::Read(int cluster, unsigned char* image) const {
  constexpr int kMostReadings = 8;
  constexpr unsigned int kPause_us = 1000;
  CopyState state = ReadOnce(cluster, image);
  for (int reading = 2; reading <= kMostReadings; ++reading) {
    if (IsSound(state) || state == CopyState::kAbsent) return state;
    unsigned char before[kClusterBytes];
    std::memcpy(before, image, kClusterBytes);
    const CopyState state_before = state;
    state = ReadOnce(cluster, image);
    if (state == state_before && std::memcmp(before, image, kClusterBytes) == 0) return state;
    FileOps::Current().Usleep(kPause_us);
  }
  return state;
}

CopyState ClusterFile::ReadInTurn(int cluster, unsigned char* image, const Known& known) {
  const int within = cluster % kClustersAtOnce;
  if (cluster - within != first_ahead_ && !ReadAhead(cluster - within)) return Read(cluster, image);
  std::memcpy(image, ahead_.data() + static_cast<std::size_t>(within) * kClusterBytes,
              kClusterBytes);
  CopyState state = known ? known(image) : CopyState::kAbsent;
  if (!IsSound(state)) state = Judge(image);
  return IsSound(state) ? state : Read(cluster, image);
}

// False when not all of them can be read: then each is read by itself.
bool ClusterFile::ReadAhead(int cluster) {
  constexpr std::size_t kAtOnceBytes = std::size_t{kClustersAtOnce} * kClusterBytes;
  ahead_.resize(kAtOnceBytes);
  const off_t offset = off_t{cluster} * kClusterBytes;
  const bool there = IsOpen() && offset + static_cast<off_t>(kAtOnceBytes) <= bytes_;
  first_ahead_ = there && ReadBytes(offset, ahead_.data(), kAtOnceBytes) ? cluster : -1;
  return first_ahead_ == cluster;
}

CopyState ClusterFile::ReadOnce(int cluster, unsigned char* image) const {
  std::memset(image, 0, kClusterBytes);
  const off_t offset = off_t{cluster} * kClusterBytes;
  if (!IsOpen() || offset + kClusterBytes > bytes_) return CopyState::kAbsent;
  if (ReadBytes(offset, image, kClusterBytes)) return Judge(image);
  std::memset(image, 0, kClusterBytes);
  return CopyState::kUnreadable;
}

bool ClusterFile::ReadBytes(off_t offset, unsigned char* to, std::size_t count) const {
  if (SeekFile(fd_, offset, SEEK_SET) != offset) return false;
  for (std::size_t done = 0; done < count;) {
    const ssize_t result = ReadFile(fd_, to + done, count - done);
    if (result <= 0) return false;  // 0: it has become shorter
    done += static_cast<std::size_t>(result);
  }
  return true;
}

}  // namespace vmr::tool
