// Lets the library write a file that is open already where it would make one by name.
#ifndef VMR_TOOLS_COMMON_REDIRECTED_FILE_H_
#define VMR_TOOLS_COMMON_REDIRECTED_FILE_H_

#include <string>
#include <utility>

#include "tools/common/passed_files.h"

namespace vmr::tool {

// As long as it lives, the file operations of the process open `fd` in the place of `path`,
// and remove nothing there. All else is done as before.
//
// Owns     nothing; `fd` stays the caller's.
class RedirectedFile final : public PassedFiles {
 public:
  RedirectedFile(std::string path, int fd) : path_(std::move(path)), fd_(fd) {}

  int Open(const char* path, int flags, mode_t mode) override;
  int Remove(const char* path) override;

 private:
  const std::string path_;
  const int fd_;
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_COMMON_REDIRECTED_FILE_H_
