// `vmr record`: a host program around the library.
#ifndef VMR_TOOLS_COMMANDS_RECORD_H_
#define VMR_TOOLS_COMMANDS_RECORD_H_

#include <optional>
#include <string>
#include <vector>

#include "tools/record/gpsd_client.h"

namespace vmr::tool {

struct RecordOptions {
  std::string store;                // base path of the ring
  std::vector<std::string> inputs;  // files, "-" being standard input
  std::optional<GpsdAddress> gpsd;
  std::string config;        // the configuration file; empty: none
  bool replay = false;       // the input's stamps are the clock
  bool allow_jumps = false;  // across more than 400 days at once
  bool begin_anew = false;   // even if what the store holds is given up
};

// Records until the inputs end or a signal comes, and prints a summary to
// standard error. Returns the program's exit code.
int Record(const RecordOptions& options);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_COMMANDS_RECORD_H_
