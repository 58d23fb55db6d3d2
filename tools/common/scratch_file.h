// A file without a name, for what is needed while a command works.
#ifndef VMR_TOOLS_COMMON_SCRATCH_FILE_H_
#define VMR_TOOLS_COMMON_SCRATCH_FILE_H_

#include <string>

namespace vmr::tool {

// Goes when it is closed, however the process ends.
//
// Owns     its descriptor.
class ScratchFile {
 public:
  ScratchFile() = default;
  ~ScratchFile();
  ScratchFile(ScratchFile&& other) noexcept;
  ScratchFile& operator=(ScratchFile&& other) = delete;
  ScratchFile(const ScratchFile&) = delete;
  ScratchFile& operator=(const ScratchFile&) = delete;

  // On the file system of `beside`, in the same folder. False after saying why not.
  bool Open(const std::string& beside);
  // Open for reading and writing, empty at first.
  int Descriptor() const { return fd_; }

 private:
  int fd_ = -1;
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_COMMON_SCRATCH_FILE_H_
