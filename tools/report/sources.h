// The files that a recording was read from, and their digests.
#ifndef VMR_TOOLS_REPORT_SOURCES_H_
#define VMR_TOOLS_REPORT_SOURCES_H_

#include <string>
#include <vector>

#include "tools/read/opened_recording.h"
#include "tools/read/overview.h"
#include "tools/report/case_file.h"

namespace vmr::tool {

// Made before the files are read. A digest of a file that somebody has changed since then is
// none of what was read: it is left out, and why is said.
class SourceFiles {
 public:
  explicit SourceFiles(const std::vector<std::string>& paths);

  // Reads each to its end.
  std::vector<CaseSource> Digest() const;
  // Says of each what of it cannot be used, as the comparison of a store's files or the decoding
  // of another file has found it. `recording` was decoded to its end. False: not all of what was
  // recorded is surely there, because a file of the store is missing or the two contradict each
  // other.
  [[nodiscard]] static bool PutDamage(const OpenedRecording& opened, CaseRecording& recording);

 private:
  static bool PutContradiction(const std::vector<FileHealth>& health, CaseRecording& recording);
  static bool PutMissing(CaseRecording& recording);

  struct Look {
    std::string path;
    bool is_there = false;
    std::int64_t bytes = 0;
    std::int64_t changed_ns = 0;  // when its content was changed last
    std::string problem;
    bool operator==(const Look& other) const {
      return is_there == other.is_there && bytes == other.bytes && changed_ns == other.changed_ns;
    }
  };
  static Look LookAt(const std::string& path);

  std::vector<Look> looks_;
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_REPORT_SOURCES_H_
