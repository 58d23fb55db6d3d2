#include "tools/common/scratch_file.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <utility>

#include "backends/file_io.h"
#include "tools/common/console.h"
#include "tools/common/output_file.h"

namespace vmr::tool {
namespace {

int OpenNameless(const std::string& folder) {
  constexpr mode_t kOwnersOnly = 0600;
  const int fd = open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, kOwnersOnly);
  if (fd >= 0) return fd;
  // Not every file system has files without a name.
  const HeldSignals held;  // none may come between making it and taking its name away
  std::string path = folder + "/.vmr-scratch-XXXXXX";
  const int named = mkostemp(path.data(), O_CLOEXEC);
  if (named >= 0) static_cast<void>(unlink(path.c_str()));  // it stays, and can be used
  return named;
}

}  // namespace

ScratchFile::~ScratchFile() {
  if (fd_ >= 0) static_cast<void>(close(fd_));  // what it holds goes
}

ScratchFile::ScratchFile(ScratchFile&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}

bool ScratchFile::Open(const std::string& beside) {
  const std::string folder = std::filesystem::path(beside).parent_path().string();
  fd_ = OpenNameless(folder.empty() ? "." : folder);
  if (fd_ < 0) Say(fmt::format("{}: cannot create a file beside it: {}", beside, TextOfErrno()));
  return fd_ >= 0;
}

}  // namespace vmr::tool
