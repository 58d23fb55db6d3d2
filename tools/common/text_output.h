// Where a command's text goes: standard output, or a file that appears whole or not at all.
#ifndef VMR_TOOLS_COMMON_TEXT_OUTPUT_H_
#define VMR_TOOLS_COMMON_TEXT_OUTPUT_H_

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "tools/common/output_file.h"

namespace vmr::tool {

// Whoever reads standard output may close it: that ends the process with success.
//
// Owns     the file that it writes.
// Errors   said on standard error, once; what comes behind one is not written.
class TextOutput {
 public:
  TextOutput() = default;
  ~TextOutput();
  TextOutput(const TextOutput&) = delete;
  TextOutput& operator=(const TextOutput&) = delete;

  // An empty path and "-" stand for standard output. `replace`: see OutputFile. False after
  // saying why not. `shown` is what messages call it, where that is another name.
  bool Open(const std::string& path, bool replace, const std::string& shown = "");
  // Into a file that is open already and stays the caller's; nothing of it is published.
  void OpenAt(int fd, const std::string& shown);
  void Write(std::string_view text) {
    buffer_.append(text);
    if (buffer_.size() >= kEnough) Flush();
  }
  // Hands on what was written until now.
  bool Flush();
  // The same, and makes a file's content durable; nothing is written from then on.
  bool Settle();
  // The command's end: publishes the file, unless the command has failed before it wrote
  // anything. `exit_code`, or kExitFailure after saying that
  // not all could be written.
  int Finish(int exit_code);

 private:
  static constexpr std::size_t kEnough = 64 * 1024;

  bool Fail(int error);

  std::string path_;  // as messages call it
  std::unique_ptr<OutputFile> file_;
  int fd_ = -1;
  std::string buffer_;
  bool wrote_any_ = false;
  bool failed_ = false;
  bool settled_ = false;
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_COMMON_TEXT_OUTPUT_H_
