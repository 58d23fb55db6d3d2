// What of a bag holds.
#ifndef VMR_TOOLS_EVIDENCE_BAG_VERDICT_H_
#define VMR_TOOLS_EVIDENCE_BAG_VERDICT_H_

#include <optional>
#include <string>
#include <vector>

#include "tools/evidence/bag_source.h"
#include "tools/evidence/signature.h"

namespace vmr::tool {

struct BagVerdict {
  enum class Kind : unsigned char {
    kHolds,
    kNote,  // neither good nor bad, and worth knowing
    kFails,
  };
  struct Line {
    Kind kind;
    std::string text;
  };

  std::vector<Line> lines;
  std::string error;            // not empty: nothing can be said, and why
  bool is_packed_anew = false;  // an archive that holds and is not as it was made

  bool Holds() const;
  // The program's.
  int ExitCode() const;
};

// Reads all of the bag. `key`: the one that it should be signed by, if any.
BagVerdict LookAtBag(const BagSource& bag, const std::optional<PublicKey>& key);
// The same of an archive, and whether it is as it was made.
BagVerdict LookAtBagArchive(ZipBytes& bytes, const std::optional<PublicKey>& key);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_EVIDENCE_BAG_VERDICT_H_
