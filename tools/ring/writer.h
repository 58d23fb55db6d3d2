// Makes the two files of a new ring, both or none as far as that goes.
#ifndef VMR_TOOLS_RING_WRITER_H_
#define VMR_TOOLS_RING_WRITER_H_

#include <string>
#include <vector>

#include "tools/common/output_file.h"

namespace vmr::tool {

// The same clusters go to both files, from cluster 0 on; the rest was never
// written. The files have temporary names until Publish.
//
// Owns     the temporary files.
// Errors   false after saying what is wrong.
class RingWriter {
 public:
  RingWriter(const std::string& base, bool replace);
  ~RingWriter();
  RingWriter(const RingWriter&) = delete;
  RingWriter& operator=(const RingWriter&) = delete;

  bool Open();
  // 4096 bytes.
  bool Add(const unsigned char* image);
  // Fills the ring up.
  bool Fill();
  // Makes what was written so far durable. Another thread may do so while clusters are added;
  // once it has failed nobody can tell what is durable.
  bool SyncSoFar() const;
  // Fills the ring up and makes the content durable.
  bool Complete();
  bool Publish();

  int Clusters() const { return clusters_; }
  const std::string& TemporaryPath(int file) const { return files_[file - 1].TemporaryPath(); }

 private:
  bool Flush();
  bool Fail() const;

  std::string base_;
  bool replace_;
  OutputFile files_[2];
  int fds_[2] = {-1, -1};
  int clusters_ = 0;
  std::vector<unsigned char> pending_;
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_RING_WRITER_H_
