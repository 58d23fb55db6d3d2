// One of the ring store's two cluster files.
#ifndef VMR_BACKENDS_FILE_STORE_H_
#define VMR_BACKENDS_FILE_STORE_H_

#include <sys/stat.h>

#include <cstdint>
#include <string>

#include "backends/cluster_format.h"
#include "backends/metadata_hdr_cache.h"

namespace vmr {

struct LastPosition;

// Creates, checks, reads and writes one file of clusters, and finds out where
// its recording ends. Which of two files is newer is the ring store's business.
//
// Owns     its descriptor and header cache. Buffers stay the caller's and hold
//          at least one cluster.
// Threads  none.
// Errors   1 for success, 0 for failure, which is logged; nothing throws.
// Units    clusters are numbered from 0; sizes are bytes.
class FileStore {
 public:
  explicit FileStore(short fileNumber);
  ~FileStore();
  FileStore(const FileStore&) = delete;
  FileStore& operator=(const FileStore&) = delete;

  // Opens `<base>_<fileNumber>.mtd`, creating it when there is none. Destroys
  // what is in `buf`.
  [[nodiscard]] int StartFile(const std::string& base, unsigned char* buf, int clusterCount,
                              int clusterSize, int fileNumber);
  // Writes a new file of never-written clusters under a temporary name, makes
  // it durable and gives it its own name. Destroys what is in `buf`.
  [[nodiscard]] int CreateFile(unsigned char* buf, int clusterCount, int clusterSize);
  // Checks type, mode and size of the existing file and opens it. A mode other
  // than kRingFileMode is set right.
  [[nodiscard]] int ValidateAndOpenFile(int clusterCount, int clusterSize);
  // Opens the existing `<base>_<fileNumber>.mtd` for reading alone: it is neither
  // created nor changed, and its mode does not matter. WriteCluster then fails.
  [[nodiscard]] int StartFileReadOnly(const std::string& base, int clusterCount, int clusterSize,
                                      int fileNumber);

  // Writes one cluster and waits until the device has it.
  [[nodiscard]] int WriteCluster(int clusterSize, const unsigned char* buf, int cluster);
  // Reads one cluster and checks its CRC. A size field outside 7..clusterSize
  // counts as a wrong CRC. On failure `buf` holds what has a wrong CRC, or begins
  // with zeros when a call failed.
  [[nodiscard]] int ReadCluster(int clusterSize, unsigned char* buf, int cluster);
  // The same, tried a second time when it fails, which a device's error may not.
  int ReadClusterTwice(int clusterSize, unsigned char* buf, int cluster);

  // The cluster's header, from the cache or read through `buf`.
  [[nodiscard]] int GetHdr(int clusterSize, unsigned char* buf, CLUSTER_HEADER_T* hdr, int cluster);
  // Its first tick; kUnreadableSt when it cannot be had.
  unsigned int GetSt(int clusterSize, unsigned char* buf, int cluster);
  // Its used bytes, as a signed 16-bit number; -1 when it cannot be had.
  int GetSize(int clusterSize, unsigned char* buf, int cluster);

  // Finds the cluster written last, reading about fifteen. On success the five
  // values below are set; on failure they stay.
  [[nodiscard]] int FindLastPosition(int clusterCount, int clusterSize, unsigned char* buf);
  // A call on the file failed during the last search, which might find more, or
  // something else, when it is repeated.
  bool CallFailed() const { return call_failed_; }
  // Sets the five values to those of another newest cluster, which is read for it,
  // or of a file in which nothing was ever written.
  void TakeNewest(int clusterCount, int clusterSize, unsigned char* buf, int cluster);
  void TakeNothingWritten(int clusterCount);
  // Makes this file a durable copy of `source`'s and opens it. Until the copy is
  // complete the file stays as it is; one that StartFile has just made is gone meanwhile,
  // and for good when that fails.
  [[nodiscard]] int CopyFile(int clusterCount, int clusterSize, FileStore& source);
  // Deletes the closed file.
  void Remove();
  // Renames the closed file to "....CORRUPT", or deletes it if that fails.
  void HandleCorrupt();
  // Renames the closed file to "....CORRUPT" or, where that is taken, to the first of
  // "....CORRUPT.1", "....CORRUPT.2" and so on that is not. Nothing is ever replaced or
  // deleted.
  int SetAside();

  // Syncs, unless it was open for reading alone, and closes. Harmless when
  // closed.
  void Close();

  // Calls of WriteCluster that failed since the file was started.
  unsigned long FailedWrites() const { return failed_writes_; }

  bool IsOpen() const { return fd_ >= 1; }
  const std::string& Path() const { return path_; }
  short FileNumber() const { return file_number_; }
  // StartFile had to create the file.
  bool FileCreated() const { return file_created_; }

  // What FindLastPosition found. The oldest cluster is the one behind the
  // newest: the first never-written one while the ring has not wrapped.
  int NewestCluster() const { return newest_cluster_; }
  unsigned int NewestSt() const { return newest_st_; }
  int NewestSize() const { return newest_size_; }
  int OldestCluster() const { return oldest_cluster_; }
  unsigned int OldestSt() const { return oldest_st_; }

  // The ring store's notes: this file lacks the latest write of the current
  // cluster, or the final contents of the one before.
  bool currClusterStale = false;
  bool prevClusterStale = false;
  void MarkStale(bool curr, bool prev) {
    currClusterStale = curr;
    prevClusterStale = prev;
  }

 private:
  static bool CheckSize(const std::string& path, off_t actual_bytes, int clusterCount,
                        int clusterSize);
  bool StatFile(struct stat& status) const;
  bool ResetMode(mode_t mode) const;
  int OpenChecked(int flags);
  static bool IsCompleteAndSynced(const std::string& tmp_name, int clusterCount, int clusterSize);
  bool TakeNameOf(const std::string& tmp_name) const;
  bool WriteAndSync(int clusterSize, const unsigned char* buf, int cluster);
  bool HoldsWholeCluster(int clusterSize, int cluster) const;
  int WriteInitialClusters(int fd, const std::string& tmp_name, const unsigned char* cluster,
                           int clusterCount, int clusterSize);
  bool FailRead(unsigned char* buf);
  void LogFound(const LastPosition& position) const;

  std::string path_;
  int fd_ = -1;  // Deliberate: -1 when new, 0 after Close; below 1 is closed
  bool file_created_ = false;
  bool read_only_ = false;
  bool call_failed_ = false;  // of a read, since the last search began
  unsigned long failed_writes_ = 0;
  unsigned int newest_st_ = 0;
  unsigned int oldest_st_ = 0;
  int newest_cluster_ = -1;
  int oldest_cluster_ = -1;
  std::int16_t newest_size_ = 0;
  MetadataHdrCache hdr_cache_{MetadataHdrCache::kDefaultCapacity};
  short file_number_;
};

}  // namespace vmr

#endif  // VMR_BACKENDS_FILE_STORE_H_
