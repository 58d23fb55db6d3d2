#include "tools/common/text_output.h"

#include <errno.h>
#include <fmt/format.h>
#include <signal.h>
#include <unistd.h>

#include "backends/file_io.h"
#include "tools/common/console.h"

namespace vmr::tool {

TextOutput::~TextOutput() = default;

bool TextOutput::Open(const std::string& path, bool replace, const std::string& shown) {
  path_ = shown.empty() ? path : shown;
  if (path.empty() || path == "-") {
    path_.clear();
    signal(SIGPIPE, SIG_IGN);  // the write that fails tells
    fd_ = STDOUT_FILENO;
    return true;
  }
  file_ = std::make_unique<OutputFile>(path, replace, "out", shown);
  if (!file_->Open()) return false;
  fd_ = file_->Descriptor();
  return true;
}

void TextOutput::OpenAt(int fd, const std::string& shown) {
  path_ = shown;
  fd_ = fd;
}

bool TextOutput::Fail(int error) {
  // Whoever reads has seen enough.
  if (error == EPIPE && file_ == nullptr) _exit(kExitSuccess);
  failed_ = true;
  Say(fmt::format("{}: {}", path_.empty() ? "standard output" : path_, TextOfErrno(error)));
  return false;
}

bool TextOutput::Flush() {
  if (failed_) return false;
  wrote_any_ |= !buffer_.empty();
  const bool written = WriteWhole(fd_, buffer_.data(), buffer_.size());
  const int error = errno;
  buffer_.clear();
  return written || Fail(error);
}

bool TextOutput::Settle() {
  if (settled_) return true;
  settled_ = Flush() && (file_ == nullptr || (file_->TakeUsualMode() && file_->Settle()));
  return settled_;
}

int TextOutput::Finish(int exit_code) {
  if (!settled_ && !Flush()) return kExitFailure;
  const bool failed = exit_code == kExitFailure || exit_code == kExitUsage;
  if (file_ == nullptr || (failed && !wrote_any_)) return exit_code;
  return Settle() && file_->Publish() ? exit_code : kExitFailure;
}

}  // namespace vmr::tool
