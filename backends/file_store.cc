#include "backends/file_store.h"

#include <errno.h>
#include <fcntl.h>

#include <algorithm>
#include <cstring>

#include "backends/file_io.h"
#include "backends/last_position.h"
#include "host/file_ops.h"
#include "host/log.h"
#include "host/wall_clock.h"

namespace vmr {
namespace {

constexpr char kLogSource[] = "FileStore.cc";

constexpr mode_t kModeBits = 07777;

bool RefuseNull(const void* pointer, const char* operation) {
  if (pointer != nullptr) return false;
  VMR_LOG(kLogError, "Null value passed to " << operation);
  return true;
}

// A cluster holds at least its header, and its size field can count no more.
bool RefuseSize(int clusterSize) {
  if (clusterSize >= kClusterHeaderBytes && clusterSize <= 0xFFFF) return false;
  VMR_LOG(kLogError, "Clusters cannot be of size " << clusterSize);
  return true;
}

void LogCreationTime(const char* moment) {
  std::tm local{};
  char text[64];
  if (!LocalTime(WallClock::Current().Now(), &local)) return;
  if (std::strftime(text, sizeof(text), "%a %b %d %T %Y", &local) == 0) return;
  VMR_LOG(kLogInfo, moment << " time = " << text);
}

off_t ClusterOffset(int clusterSize, int cluster) {
  return static_cast<off_t>(cluster) * clusterSize;
}

// A size that lies about the cluster counts as a wrong CRC, before anything is
// read with it.
bool CrcIsRight(const unsigned char* cluster, int clusterSize, unsigned char& computed) {
  const int size = ClusterSize(cluster);
  const bool plausible = size >= kClusterHeaderBytes && size <= clusterSize;
  computed = plausible ? ClusterCrc(cluster) : kCrcInitial;
  return plausible && computed == cluster[0];
}

}  // namespace

FileStore::FileStore(short fileNumber) : file_number_(fileNumber) {}

FileStore::~FileStore() { Close(); }

int FileStore::StartFile(const std::string& base, unsigned char* buf, int clusterCount,
                         int clusterSize, int fileNumber) {
  file_created_ = false;
  failed_writes_ = 0;
  if (buf == nullptr) {
    // Deliberate: no blank here, unlike in the other operations.
    VMR_LOG(kLogError, "Null value passed to"
                           << "StartFile");
    return 0;
  }
  path_ = RingFileName(base, fileNumber);
  struct stat status {};
  if (FileOps::Current().Stat(path_.c_str(), &status) == 0)
    return ValidateAndOpenFile(clusterCount, clusterSize);
  if (errno == ENOENT) {
    VMR_LOG(kLogInfo, "Creating Metadata file " << path_);
    if (CreateFile(buf, clusterCount, clusterSize) == 0) return 0;
    if (FileOps::Current().Stat(path_.c_str(), &status) == 0) {
      file_created_ = true;
      return ValidateAndOpenFile(clusterCount, clusterSize);
    }
  }
  const Reason reason;
  VMR_LOG(kLogError, "Unexpected stat error on file " << path_ << ", " << reason);
  return 0;
}

// A crash or a failure on the way leaves only the temporary file. Deliberate: it
// stays, and the next creation removes it first; but not on a full disk, where others
// need its room.
int FileStore::CreateFile(unsigned char* buf, int clusterCount, int clusterSize) {
  if (RefuseNull(buf, "CreateFile") || RefuseSize(clusterSize)) return 0;
  LogCreationTime("createFile start");
  const std::string tmp_name = path_ + ".tmp";
  RemoveIfThere(tmp_name);
  VMR_LOG(kLogInfo, "Creating metadata file " << path_ << " with " << clusterCount
                                              << " clusters of size " << clusterSize);
  const int fd =
      OpenFile(tmp_name, O_WRONLY | O_CREAT | O_TRUNC | O_EXCL | O_NOFOLLOW, kRingFileMode);
  if (fd < 0) {
    const Reason reason;
    VMR_LOG(kLogError, "Could not create file " << tmp_name << " , " << reason);
    return 0;
  }
  FillNeverWritten(buf, clusterSize);
  errno = 0;
  int created = WriteInitialClusters(fd, tmp_name, buf, clusterCount, clusterSize);
  const bool disk_is_full = created == 0 && errno == ENOSPC;
  static_cast<void>(CloseFile(fd));  // what it wrote is synced; nothing is left that could fail
  if (disk_is_full) RemoveIfThere(tmp_name);
  if (created != 0 && FileOps::Current().Rename(tmp_name.c_str(), path_.c_str()) != 0) {
    const Reason reason;
    VMR_LOG(kLogError, "Failed to rename file " << tmp_name << " to " << path_ << ", " << reason);
    created = 0;
  }
  if (created != 0 && !SyncDirectoryOf(path_)) {
    // The file is complete and usable; after a power loss now it may be missing
    // and is then created again.
    const Reason reason;
    VMR_LOG(kLogWarning, "Could not sync the directory of file " << path_ << ", " << reason);
  }
  LogCreationTime("createFile end");
  return created;
}

int FileStore::WriteInitialClusters(int fd, const std::string& tmp_name,
                                    const unsigned char* cluster, int clusterCount,
                                    int clusterSize) {
  const auto bytes = static_cast<std::size_t>(clusterSize);
  bool written = true;
  for (int n = 0; n < clusterCount && written; ++n) {
    errno = 0;
    written = WriteFile(fd, cluster, bytes) == clusterSize;
  }
  if (written && SyncFile(fd) == 0) return 1;
  const int error = errno;
  // Deliberate: ": %s" stays in the text, as it always has.
  VMR_LOG(kLogError, "Failed to write to file " << tmp_name << " during initialization, " << error
                                                << ": %s" << TextOfErrno(error));
  errno = error;
  return 0;
}

int FileStore::ValidateAndOpenFile(int clusterCount, int clusterSize) {
  Close();
  struct stat status {};
  // What is no file of ours is not touched, its mode included.
  if (!StatFile(status) || !CheckSize(path_, status.st_size, clusterCount, clusterSize) ||
      !ResetMode(status.st_mode))
    return 0;
  return OpenChecked(O_RDWR);
}

int FileStore::StartFileReadOnly(const std::string& base, int clusterCount, int clusterSize,
                                 int fileNumber) {
  Close();
  file_created_ = false;
  failed_writes_ = 0;
  path_ = RingFileName(base, fileNumber);
  struct stat status {};
  if (!StatFile(status) || !CheckSize(path_, status.st_size, clusterCount, clusterSize)) return 0;
  return OpenChecked(O_RDONLY);
}

bool FileStore::StatFile(struct stat& status) const {
  if (FileOps::Current().Stat(path_.c_str(), &status) != 0) {
    const Reason reason;
    VMR_LOG(kLogError, "Unexpected stat error on file " << path_ << ", " << reason);
    return false;
  }
  if (S_ISREG(status.st_mode)) return true;
  // Deliberate: two blanks.
  VMR_LOG(kLogError, "Invalid file type of file  " << path_);
  return false;
}

// Deliberate: a mode that somebody changed is set right rather than refused. Not
// that of a file elsewhere, to which the name is a link.
bool FileStore::ResetMode(mode_t mode) const {
  if ((mode & kModeBits) == kRingFileMode) return true;
  if (FileOps::Current().ChmodNoFollow(path_.c_str(), kRingFileMode) != 0) {
    const int error = errno;
    VMR_LOG(kLogError, "Could not reset the mode of file " << path_ << ", " << error << " : "
                                                           << TextOfErrno(error));
    return false;
  }
  VMR_LOG(kLogInfo, "Reset the mode of file " << path_);
  return true;
}

bool FileStore::CheckSize(const std::string& path, off_t actual_bytes, int clusterCount,
                          int clusterSize) {
  const off_t expected_bytes = ClusterOffset(clusterSize, clusterCount);
  if (actual_bytes == expected_bytes) return true;
  VMR_LOG(kLogError, "File " << path << " is incorrectly sized at "
                             << static_cast<long long>(actual_bytes) << ", should be "
                             << static_cast<long long>(expected_bytes));
  return false;
}

int FileStore::OpenChecked(int flags) {
  fd_ = OpenFile(path_, flags);
  read_only_ = flags == O_RDONLY;
  if (IsOpenDescriptor(fd_)) return 1;
  const Reason reason;
  VMR_LOG(kLogError, "Could not open file " << path_ << ", " << reason);
  return 0;
}

int FileStore::WriteCluster(int clusterSize, const unsigned char* buf, int cluster) {
  if (RefuseNull(buf, "WriteCluster")) return 0;
  if (WriteAndSync(clusterSize, buf, cluster)) return 1;
  ++failed_writes_;
  return 0;
}

bool FileStore::WriteAndSync(int clusterSize, const unsigned char* buf, int cluster) {
  const off_t offset = ClusterOffset(clusterSize, cluster);
  const auto bytes = static_cast<std::size_t>(std::max(clusterSize, 0));
  const ssize_t written = WriteWholeAt(fd_, buf, bytes, offset);
  // Data that did not reach the device is not written.
  if (written >= 0 && SyncFile(fd_) == 0) return true;
  const Reason reason;
  if (written == FileOps::kNoPosition) {
    // Deliberate: the one message that does not name its file.
    VMR_LOG(kLogError, "Could not set file position in metadata file " << reason);
    return false;
  }
  VMR_LOG(kLogError, "Could not write metadata file at cluster "
                         << cluster << " (" << static_cast<long long>(offset) << ") - " << reason);
  return false;
}

int FileStore::ReadCluster(int clusterSize, unsigned char* buf, int cluster) {
  if (RefuseNull(buf, "ReadCluster") || RefuseSize(clusterSize)) return 0;
  const off_t offset = ClusterOffset(clusterSize, cluster);
  if (SeekFile(fd_, offset, SEEK_SET) < 0) {  // or the file is closed
    const Reason reason;
    // Deliberate: the parenthesis is not closed.
    VMR_LOG(kLogError, "Could not set file position in metadata file ("
                           << path_ << ") at cluster " << cluster << " ("
                           << static_cast<long long>(offset) << " " << reason);
    return FailRead(buf);
  }
  int read_bytes = 0;
  ssize_t result = 1;
  for (int idle_calls = 0; read_bytes < clusterSize && result >= 0;) {
    result = ReadFile(fd_, buf + read_bytes, static_cast<std::size_t>(clusterSize - read_bytes));
    if (result > 0) read_bytes += static_cast<int>(result);
    // Nothing read is tried again as long as the file should have it.
    if (result == 0 && (++idle_calls > kMaxIdleCalls || !HoldsWholeCluster(clusterSize, cluster))) {
      errno = EIO;
      result = -1;
    }
  }
  if (result < 0) {
    const Reason reason;
    VMR_LOG(kLogError, "Could not read metadata file (" << path_ << ") - error " << reason);
    return FailRead(buf);
  }
  unsigned char computed = 0;
  if (CrcIsRight(buf, clusterSize, computed)) return 1;
  // Deliberate: both values appear as raw characters.
  VMR_LOG(kLogError, "Cluster (" << cluster << ") in file (" << path_
                                 << ") contains invalid Crc. Expected ("
                                 << static_cast<char>(buf[0]) << ") found ("
                                 << static_cast<char>(computed) << ")");
  return 0;
}

int FileStore::ReadClusterTwice(int clusterSize, unsigned char* buf, int cluster) {
  const int read = ReadCluster(clusterSize, buf, cluster);
  return read != 0 ? read : ReadCluster(clusterSize, buf, cluster);
}

// What stands in the buffer is no copy of the cluster, not even a damaged one.
bool FileStore::FailRead(unsigned char* buf) {
  call_failed_ = true;
  memset(buf, 0, kClusterHeaderBytes);
  return false;
}

bool FileStore::HoldsWholeCluster(int clusterSize, int cluster) const {
  struct stat status {};
  return FileOps::Current().Stat(path_.c_str(), &status) == 0 &&
         status.st_size >= ClusterOffset(clusterSize, cluster) + clusterSize;
}

int FileStore::GetHdr(int clusterSize, unsigned char* buf, CLUSTER_HEADER_T* hdr, int cluster) {
  if (RefuseNull(buf, "GetHdr") || RefuseNull(hdr, "GetHdr")) return 0;
  if (const CLUSTER_HEADER_T* const cached = hdr_cache_.Find(cluster)) {
    VMR_LOG(kLogEachItem, "Found cluster (" << cluster << ") in cache");
    *hdr = *cached;
    return 1;
  }
  if (ReadCluster(clusterSize, buf, cluster) == 0) {
    VMR_LOG(kLogError, "Error Reading Cluster " << cluster);
    return 0;
  }
  memcpy(hdr, buf, kClusterHeaderBytes);
  hdr_cache_.Add(cluster, *hdr);
  return 1;
}

unsigned int FileStore::GetSt(int clusterSize, unsigned char* buf, int cluster) {
  CLUSTER_HEADER_T hdr{};
  if (RefuseNull(buf, "GetSt")) return kUnreadableSt;
  return GetHdr(clusterSize, buf, &hdr, cluster) == 0 ? kUnreadableSt : hdr.FirstTick();
}

int FileStore::GetSize(int clusterSize, unsigned char* buf, int cluster) {
  CLUSTER_HEADER_T hdr{};
  if (RefuseNull(buf, "GetSize")) return -1;
  if (GetHdr(clusterSize, buf, &hdr, cluster) == 0) return -1;
  return static_cast<std::int16_t>(hdr.UsedBytes());
}

// ---- The position of the newest cluster ----------------------------------------

int FileStore::FindLastPosition(int clusterCount, int clusterSize, unsigned char* buf) {
  class TicksOfFile : public FirstTicks {
   public:
    TicksOfFile(FileStore& file, int clusterCount, int clusterSize, unsigned char* buf)
        : file_(file), last_(clusterCount - 1), cluster_size_(clusterSize), buf_(buf) {}
    unsigned int At(int cluster) override { return file_.GetSt(cluster_size_, buf_, cluster); }
    void Ends(unsigned int first_st, unsigned int last_st) override {
      // Deliberate: "fistST".
      VMR_LOG(kLogEachItem, "file (" << file_.path_ << ") first " << 0 << " fistST " << first_st
                                     << ", last " << last_ << " lastST " << last_st);
    }
    void Narrowed(int low, unsigned int low_st, int high, unsigned int high_st) override {
      VMR_LOG(kLogEachItem, "Search: first: cluster(" << low << "), sysTick(" << low_st
                                                      << ") - last: cluster(" << high
                                                      << "), sysTick(" << high_st << ")");
    }

   private:
    FileStore& file_;
    int last_;
    int cluster_size_;
    unsigned char* buf_;
  };

  hdr_cache_.Clear();  // cluster writes do not update it
  call_failed_ = false;
  TicksOfFile ticks(*this, clusterCount, clusterSize, buf);
  const LastPosition position = SearchLastPosition(ticks, clusterCount);
  if (position.Found()) {
    newest_cluster_ = position.newest;
    newest_st_ = position.newest_st;
    oldest_cluster_ = position.oldest;
    oldest_st_ = position.oldest_st;
    newest_size_ = static_cast<std::int16_t>(GetSize(clusterSize, buf, position.newest));
  }
  LogFound(position);
  return position.Found() ? 1 : 0;
}

void FileStore::LogFound(const LastPosition& position) const {
  switch (position.kind) {
    case LastPositionKind::kEmpty:
      VMR_LOG(kLogInfo, "Empty file store; cache depth " << hdr_cache_.Size());
      return;
    case LastPositionKind::kPartialWrap:
      VMR_LOG(kLogInfo, "File store partial wrap; cache depth " << hdr_cache_.Size());
      return;
    case LastPositionKind::kReadyToWrap:
      VMR_LOG(kLogInfo, "File store ready to wrap; cache depth " << hdr_cache_.Size());
      return;
    case LastPositionKind::kFound:
      VMR_LOG(kLogInfo, "cache depth " << hdr_cache_.Size() << ": first " << position.newest
                                       << " firstST " << position.newest_st << " last "
                                       << position.oldest << " lastST " << position.oldest_st);
      return;
    case LastPositionKind::kUnreadable:
      VMR_LOG(kLogError,
              "Invalid Cluster found during searching file (" << path_ << "). Quitting search.");
      return;
    case LastPositionKind::kTooFew:
      VMR_LOG(kLogError, "Error in searching first and last clusters");
      return;
  }
}

void FileStore::TakeNewest(int clusterCount, int clusterSize, unsigned char* buf, int cluster) {
  newest_cluster_ = cluster;
  newest_st_ = GetSt(clusterSize, buf, cluster);
  newest_size_ = static_cast<std::int16_t>(GetSize(clusterSize, buf, cluster));
  oldest_cluster_ = cluster + 1 < clusterCount ? cluster + 1 : 0;
  oldest_st_ = GetSt(clusterSize, buf, oldest_cluster_);
}

void FileStore::TakeNothingWritten(int clusterCount) {
  newest_cluster_ = 0;
  newest_st_ = oldest_st_ = kNeverWrittenSt;
  oldest_cluster_ = clusterCount - 1;
  newest_size_ = kClusterHeaderBytes;
}

void FileStore::Close() {
  if (!IsOpenDescriptor(fd_)) return;
  // Every cluster was synced when it was written; what fails here cost nothing.
  if (!read_only_) static_cast<void>(SyncFile(fd_));
  static_cast<void>(CloseFile(fd_));
  fd_ = 0;
}

}  // namespace vmr
