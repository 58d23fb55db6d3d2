// `vmr check`: looks stores and flat files over, and changes nothing.
#ifndef VMR_TOOLS_COMMANDS_CHECK_H_
#define VMR_TOOLS_COMMANDS_CHECK_H_

#include <string>
#include <vector>

#include "tools/read/reading.h"

namespace vmr::tool {

struct CheckOptions {
  std::vector<std::string> paths;  // stores, files, folders of them
  bool json = false;
  bool digest = false;  // of the files, as lines that sha256sum -c reads
  std::string time_zone = kRecordedZone;
};

// Prints the reports on standard output. Returns the program's exit code, of several
// the gravest.
int Check(const CheckOptions& options);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_COMMANDS_CHECK_H_
