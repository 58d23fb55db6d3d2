// `vmr scrub`: mends a store in place.
#ifndef VMR_TOOLS_COMMANDS_SCRUB_H_
#define VMR_TOOLS_COMMANDS_SCRUB_H_

#include <string>

namespace vmr::tool {

// Prints what was done, and what a check then finds, on standard output. Returns
// the program's exit code: that of the check.
int Scrub(const std::string& store);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_COMMANDS_SCRUB_H_
