#include "tools/common/file_digest.h"

#include <errno.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <fstream>
#include <sstream>

#include "backends/file_io.h"
#include "tools/common/sha256.h"

namespace vmr::tool {
namespace {

// "1: FLOCK  ADVISORY  WRITE 4626 fe:00:10978152 0 EOF" in the kernel's list. Devices are
// numbered otherwise there than in file systems laid over others, so the file's number must do.
bool IsLocked(const struct stat& file) {
  std::ifstream locks("/proc/locks");
  for (std::string line; std::getline(locks, line);) {
    std::istringstream words(line);
    std::string number, kind, advisory, access, process, place;
    words >> number >> kind >> advisory >> access >> process >> place;
    const std::size_t colon = place.rfind(':');
    if (kind == "FLOCK" && colon != place.npos &&
        place.substr(colon + 1) == std::to_string(file.st_ino))
      return true;
  }
  return false;
}

bool IsUnchanged(const struct stat& before, const struct stat& after) {
  return before.st_size == after.st_size && before.st_mtim.tv_sec == after.st_mtim.tv_sec &&
         before.st_mtim.tv_nsec == after.st_mtim.tv_nsec;
}

FileDigest DigestOf(const std::string& path) {
  FileDigest digest;
  digest.path = path;
  const int fd = OpenFile(path, O_RDONLY | O_NONBLOCK);
  struct stat before {};
  struct stat after {};
  if (!IsOpenDescriptor(fd) || fstat(fd, &before) != 0) {
    digest.error = TextOfErrno();
  } else {
    digest.is_moving = IsLocked(before);
    const auto sha256 = Sha256OfFile(fd);
    if (!sha256) digest.error = TextOfErrno();
    digest.sha256 = sha256.value_or("");
    const bool can_tell = fstat(fd, &after) == 0;
    digest.is_moving = digest.is_moving || !can_tell || !IsUnchanged(before, after);
    digest.is_moving = digest.is_moving || IsLocked(after);
  }
  if (IsOpenDescriptor(fd)) static_cast<void>(CloseFile(fd));  // nothing was written
  return digest;
}

// As sha256sum does, so that a name is one line.
std::string EscapedName(std::string_view path) {
  std::string escaped;
  for (const char c : path) {
    if (c == '\\') escaped += "\\\\";
    if (c == '\n') escaped += "\\n";
    if (c == '\r') escaped += "\\r";
    if (c != '\\' && c != '\n' && c != '\r') escaped += c;
  }
  return escaped;
}

}  // namespace

std::vector<FileDigest> DigestsOf(const std::vector<std::string>& paths) {
  std::vector<FileDigest> digests;
  digests.reserve(paths.size());
  for (const std::string& path : paths) digests.push_back(DigestOf(path));
  const bool any_moves = std::any_of(digests.begin(), digests.end(),
                                     [](const FileDigest& digest) { return digest.is_moving; });
  for (FileDigest& digest : digests) digest.is_moving = any_moves && !digest.sha256.empty();
  return digests;
}

std::string DigestLine(std::string_view sha256, std::string_view name) {
  const std::string escaped = EscapedName(name);
  return fmt::format("{}{}  {}\n", escaped != name ? "\\" : "", sha256, escaped);
}

std::string DigestText(const FileDigest& digest) {
  const std::string name = EscapedName(digest.path);
  if (digest.sha256.empty()) return fmt::format("# {}: {}\n", name, digest.error);
  const std::string remark =
      digest.is_moving
          ? fmt::format("# {}: is being written; the digest is that of a moment that is over\n",
                        name)
          : "";
  return remark + DigestLine(digest.sha256, digest.path);
}

std::string AsRemarks(std::string_view lines) {
  std::string remarks;
  while (!lines.empty()) {
    const std::size_t end = std::min(lines.find('\n'), lines.size());
    remarks += fmt::format("# {}\n", lines.substr(0, end));
    lines.remove_prefix(std::min(end + 1, lines.size()));
  }
  return remarks;
}

}  // namespace vmr::tool
