// `vmr view --listing`: the library's own text of a recording.
#ifndef VMR_TOOLS_COMMANDS_LISTING_H_
#define VMR_TOOLS_COMMANDS_LISTING_H_

#include <string>

#include "tools/common/store_path.h"

namespace vmr::tool {

struct ListingOptions {
  std::string path;
  PathKind kind = PathKind::kDetect;
  unsigned int from = 0;
  unsigned int to = 0xFFFFFFFF;  // the end of the recording
  bool expanded = false;         // the bytes of each packet as well
};

// Prints on standard output exactly what the library's viewer prints. A closed pipe ends the
// process with success. Returns the program's exit code.
int PrintListing(const ListingOptions& options);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_COMMANDS_LISTING_H_
