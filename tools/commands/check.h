// `vmr check`: looks a store over, and changes nothing.
#ifndef VMR_TOOLS_COMMANDS_CHECK_H_
#define VMR_TOOLS_COMMANDS_CHECK_H_

#include <string>

namespace vmr::tool {

struct CheckOptions {
  std::string store;
  bool json = false;
};

// Prints the report on standard output. Returns the program's exit code.
int Check(const CheckOptions& options);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_COMMANDS_CHECK_H_
