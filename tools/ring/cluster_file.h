// One file of a ring as it is on disk, good or bad.
#ifndef VMR_TOOLS_RING_CLUSTER_FILE_H_
#define VMR_TOOLS_RING_CLUSTER_FILE_H_

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

#include "backends/cluster_format.h"

namespace vmr::tool {

// What a cluster's copy in one file is. The last two are sound.
enum class CopyState : unsigned char {
  kAbsent,  // the file is missing, or ends before it
  kUnreadable,
  kBadSize,  // its size field is not 7 to 4096
  kBadCrc,
  kNeverWritten,
  kGood,
};
inline bool IsSound(CopyState state) { return state >= CopyState::kNeverWritten; }

// What is wrong with a file as a whole.
enum class FileProblem { kNone, kMissing, kNotRegular, kShort, kLong, kNotOpened };

// Reads clusters of one file, whatever its size and content. Never writes.
//
// Owns     its descriptor.
// Errors   Problem() after Open, the state of each cluster read.
class ClusterFile {
 public:
  explicit ClusterFile(std::string path) : path_(std::move(path)) {}
  ~ClusterFile() { Close(); }
  ClusterFile(const ClusterFile&) = delete;
  ClusterFile& operator=(const ClusterFile&) = delete;

  // A file that is not there, or none at all, has only absent clusters.
  void Open();
  void Close();

  const std::string& Path() const { return path_; }
  FileProblem Problem() const { return problem_; }
  // Why it could not be opened or looked at; errno's text.
  const std::string& Reason() const { return reason_; }
  off_t Bytes() const { return bytes_; }
  bool IsOpen() const { return fd_ > 0; }

  // Reads a cluster into `image`, 4096 bytes. A copy that is not sound is read
  // again until two readings agree: a recorder may be writing it. After an
  // absent or unreadable one the image is zeros.
  CopyState Read(int cluster, unsigned char* image) const;
  // What is known already of an image; any state that is not sound: nothing.
  using Known = std::function<CopyState(const unsigned char* image)>;
  // The same for one cluster after the other, many of which are read at once: a
  // sound one may be a moment old. What is known to be sound is not judged again.
  CopyState ReadInTurn(int cluster, unsigned char* image, const Known& known = nullptr);

 private:
  static constexpr int kClustersAtOnce = 64;

  CopyState ReadOnce(int cluster, unsigned char* image) const;
  bool ReadBytes(off_t offset, unsigned char* to, std::size_t count) const;
  bool ReadAhead(int cluster);

  std::string path_;
  int fd_ = -1;
  off_t bytes_ = 0;
  std::vector<unsigned char> ahead_;  // clusters from `first_ahead_` on
  int first_ahead_ = -1;
  FileProblem problem_ = FileProblem::kMissing;
  std::string reason_;
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_RING_CLUSTER_FILE_H_
