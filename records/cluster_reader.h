// Reads the clusters of one file of a ring, good or bad.
#ifndef VMR_RECORDS_CLUSTER_READER_H_
#define VMR_RECORDS_CLUSTER_READER_H_

#include <cstdint>
#include <string>
#include <vector>

#include "backends/cluster_format.h"

namespace vmr::records {

// Of each of a ring's two files; a recorder opens none of another size.
inline constexpr std::int64_t kRingFileBytes = std::int64_t{kClusterCount} * kClusterBytes;

// Never writes.
//
// Owns     its descriptor.
// Errors   a cluster that cannot be had is not sound.
class ClusterReader {
 public:
  ClusterReader() = default;
  ~ClusterReader() { Close(); }
  ClusterReader(const ClusterReader&) = delete;
  ClusterReader& operator=(const ClusterReader&) = delete;

  // False, and errno, when it cannot be opened.
  bool Open(const std::string& path);
  void Close();
  bool IsOpen() const { return fd_ > 0; }

  // The cluster's image, valid until the next call; null when it cannot be read, its size
  // is none or its CRC is wrong. Such a one is read again: a recorder may have been at it.
  const unsigned char* Read(int cluster);
  // The same, of a reader that goes through the file and may be a moment late.
  const unsigned char* ReadInTurn(int cluster);

 private:
  static constexpr int kClustersAtOnce = 32;

  // Bytes read, from `cluster` on.
  std::size_t ReadBytes(int cluster, unsigned char* to, std::size_t bytes) const;

  int fd_ = -1;
  std::vector<unsigned char> ahead_;
  int first_ahead_ = -1;
  int clusters_ahead_ = 0;
  std::vector<unsigned char> one_;
};

}  // namespace vmr::records

#endif  // VMR_RECORDS_CLUSTER_READER_H_
