// `vmr view`: prints a recording as text.
#ifndef VMR_TOOLS_COMMANDS_VIEW_H_
#define VMR_TOOLS_COMMANDS_VIEW_H_

#include <string>

#include "tools/common/store_path.h"

namespace vmr::tool {

struct ViewOptions {
  std::string path;
  PathKind kind = PathKind::kDetect;
  unsigned int from = 0;
  unsigned int to = 0xFFFFFFFF;  // the end of the recording
  bool expanded = false;
};

// Prints exactly what the library's viewer prints. Returns the program's exit
// code; a closed pipe ends the process with success.
int View(const ViewOptions& options);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_COMMANDS_VIEW_H_
