#include "tools/lake/lake_export.h"

#include <errno.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <optional>
#include <string_view>

#include "backends/cluster_format.h"
#include "backends/file_io.h"
#include "tools/common/console.h"
#include "tools/common/folder.h"
#include "tools/lake/conversion.h"
#include "tools/lake/ending.h"
#include "tools/read/reading.h"

namespace vmr::tool {
namespace {

// Byte by byte: what stands behind a line may be another process's to read.
class Lines {
 public:
  explicit Lines(int fd) : fd_(fd) {}

  std::optional<std::string> Next() {
    std::string line;
    for (char c; ReadOne(c);) {
      if (c == '\n') return line;
      line += c;
    }
    if (line.empty()) return std::nullopt;
    return line;
  }
  bool HasFailed() const { return error_ != 0; }
  int Error() const { return error_; }

 private:
  bool ReadOne(char& c) {
    ssize_t count;
    do count = read(fd_, &c, 1);
    while (count < 0 && errno == EINTR && !PutOffEnding::IsDue());
    if (count < 0) error_ = errno;
    return count == 1;
  }

  const int fd_;
  int error_ = 0;
};

// A file, a folder, or a store by its base path.
bool IsThere(const std::string& path) {
  struct stat found {};
  for (const std::string& name : {path, RingFileName(path, 1), RingFileName(path, 2)})
    if (lstat(name.c_str(), &found) == 0) return true;
  return false;
}

std::string WithoutReturn(const std::string& line) {
  const bool has_one = !line.empty() && line.back() == '\r';
  return has_one && !IsThere(line) ? line.substr(0, line.size() - 1) : line;
}

// Other systems' editors end lines with CR LF, and begin the first one with a mark of UTF-8.
// Neither is part of a name, unless there is one with it. vmr-fleet reads lists by this rule.
std::string PathInLine(const std::string& line, bool is_first) {
  constexpr std::string_view kMark = "\xEF\xBB\xBF";
  const std::string path = WithoutReturn(line);
  const bool is_marked = is_first && path.compare(0, kMark.size(), kMark) == 0;
  return is_marked && !IsThere(path) ? WithoutReturn(line.substr(kMark.size())) : path;
}

// Its answer, and the gravest exit code until now. False: nothing more is to be done.
bool ConvertOne(const std::string& path, const ConversionTools& tools, int& exit_code) {
  const Converted converted = Convert(path, tools);
  if (PutOffEnding::IsDue()) return false;
  const std::string line = LineOf(converted);
  exit_code = Gravest(exit_code, converted.exit_code);
  if (WriteWhole(STDOUT_FILENO, line.data(), line.size())) return true;
  // Whoever reads has seen enough, and what has been told is in place.
  if (errno == EPIPE) return false;
  if (!PutOffEnding::IsDue()) Say(fmt::format("standard output: {}", TextOfErrno()));
  exit_code = kExitFailure;
  return false;
}

int ConvertPaths(const std::vector<std::string>& paths, const ConversionTools& tools) {
  int exit_code = kExitSuccess;
  for (const std::string& path : paths) {
    std::error_code error;
    if (!std::filesystem::is_directory(path, error)) {
      if (!ConvertOne(path, tools, exit_code)) return exit_code;
      continue;
    }
    const Folder found = LookInto(path);
    if (!found.error.empty()) {
      Say(found.error);
      exit_code = kExitFailure;
    }
    for (const std::string& recording : found.recordings)
      if (!ConvertOne(recording, tools, exit_code)) return exit_code;
  }
  return exit_code;
}

int ConvertListed(const std::string& list, const ConversionTools& tools) {
  const int fd = list == "-" ? STDIN_FILENO : OpenFile(list, O_RDONLY);
  if (fd < 0) {
    Say(fmt::format("{}: {}", list, TextOfErrno()));
    return kExitFailure;
  }
  int exit_code = kExitSuccess;
  Lines lines(fd);
  for (bool is_first = true; const auto line = lines.Next(); is_first = false)
    if (!ConvertOne(PathInLine(*line, is_first), tools, exit_code)) break;
  if (lines.HasFailed() && !PutOffEnding::IsDue()) {
    Say(fmt::format("{}: {}", list == "-" ? "standard input" : list, TextOfErrno(lines.Error())));
    exit_code = kExitFailure;
  }
  if (fd != STDIN_FILENO) static_cast<void>(CloseFile(fd));  // nothing was written
  return exit_code;
}

}  // namespace

int ExportToLake(const LakeOptions& options) {
  const PutOffEnding ending;  // outlives the scratch folder
  LakeScratch scratch;
  if (!scratch.Open(options.root)) return kExitFailure;
  Lake lake(options.root);
  ParquetWriter writer(scratch.Folder());
  const ConversionTools tools{lake, scratch, writer, options.digests_files};
  return options.paths_from.empty() ? ConvertPaths(options.paths, tools)
                                    : ConvertListed(options.paths_from, tools);
}

}  // namespace vmr::tool
