// `vmr extract`: cuts a range of ticks out of a store.
#ifndef VMR_TOOLS_COMMANDS_EXTRACT_H_
#define VMR_TOOLS_COMMANDS_EXTRACT_H_

#include <string>

#include "tools/common/time_point.h"

namespace vmr::tool {

struct ExtractOptions {
  std::string store;
  std::string out;
  TimePoint from;
  TimePoint to;
  unsigned int margin_s = 0;
  std::string time_zone;  // empty: this machine's
  bool force = false;     // replace `out`
};

// Writes `out` or leaves what was there. Says on standard output what it did.
// Returns the program's exit code: kExitPartial when the file was written but
// part of the range is not in it.
int Extract(const ExtractOptions& options);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_COMMANDS_EXTRACT_H_
