// A folder of Parquet files that many programs read while some write.
#ifndef VMR_TOOLS_LAKE_LAKE_H_
#define VMR_TOOLS_LAKE_LAKE_H_

#include <cstdint>
#include <map>
#include <string>

#include "tools/lake/packets_digest.h"
#include "tools/lake/scratch.h"

namespace vmr::tool {

// Puts the files of one recording in the place of what was there of it.
//
//   Readers  see whole files only. Of a recording that is being replaced they see some files
//            of before and some of now, and meanwhile no row in `recordings`: who takes what
//            has a row there takes each recording whole.
//   Writers  of one recording wait for each other; the last one counts.
//   Killed   anywhere, the next run of the recording makes up for it.
//
// Errors   said on standard error.
class Lake {
 public:
  explicit Lake(std::string root) : root_(std::move(root)) {}

  struct Made {
    std::string name;                          // of the unit and the recording
    std::map<std::string, std::string> files;  // made ones, by their name in the lake
    std::string row;                           // that of `recordings`, made
    PacketsDigest packets;
    std::string scratch;  // a folder
  };
  enum class Placing : unsigned char {
    kDone,
    kFailed,
    kHasMore,    // the lake has a recording that begins with this one: nothing was changed
    kIsAnother,  // the name is that of a recording that is no beginning of this one: the same
  };
  struct Outcome {
    Placing placing = Placing::kFailed;
    std::uint64_t written = 0, unchanged = 0, removed = 0;
    std::string error;
  };
  Outcome Place(const Made& made);

  // Removes the row of a recording that nobody could read when it was last looked at.
  void Forget(const std::string& name);
  const std::string& Root() const { return root_; }

  static std::string RowFile(const std::string& name);

 private:
  class Replacing;
  FileLock LockOf(const std::string& name) const;

  const std::string root_;
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_LAKE_LAKE_H_
