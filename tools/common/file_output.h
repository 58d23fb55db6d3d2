// Writing with all that may come between, and what to say when it fails.
#ifndef VMR_TOOLS_COMMON_FILE_OUTPUT_H_
#define VMR_TOOLS_COMMON_FILE_OUTPUT_H_

#include <errno.h>

#include <cstddef>
#include <string>

namespace vmr::tool {

// Writes all of it, whatever the system takes at once. False, and errno.
[[nodiscard]] bool WriteWhole(int fd, const void* data, std::size_t size);

// Closes the descriptor in any case. False, and errno of what failed first.
[[nodiscard]] bool SyncAndClose(int fd);

// "No such file or directory"
std::string TextOfErrno(int error = errno);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_COMMON_FILE_OUTPUT_H_
