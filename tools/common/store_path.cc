#include "tools/common/store_path.h"

#include <errno.h>
#include <fmt/format.h>
#include <sys/stat.h>

#include <filesystem>

#include "backends/cluster_format.h"
#include "backends/file_io.h"

namespace vmr::tool {
namespace {

bool Exists(const std::string& path) {
  std::error_code error;
  return std::filesystem::exists(path, error);
}

bool LeadToOne(const std::string& a, const std::string& b) {
  struct stat first {};
  struct stat second {};
  return stat(a.c_str(), &first) == 0 && stat(b.c_str(), &second) == 0 &&
         first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

std::string FolderOf(const std::filesystem::path& path) {
  return path.has_parent_path() ? path.parent_path().string() : ".";
}

Recording Unusable(const std::string& reason) { return {false, {}, reason, {}}; }

Recording FindFlat(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return Unusable(fmt::format("{}: {}", path, TextOfErrno()));
  if (S_ISDIR(status.st_mode)) return Unusable(fmt::format("{}: {}", path, TextOfErrno(EISDIR)));
  if (!S_ISREG(status.st_mode)) return Unusable(fmt::format("{}: not a regular file", path));
  return {false, path, {}, {}};
}

// The ring with this base, if there is one or a part of one.
std::optional<Recording> FindRing(const std::string& base) {
  const bool first = Exists(RingFileName(base, 1));
  const bool second = Exists(RingFileName(base, 2));
  if (!first && !second) return std::nullopt;
  Recording recording{true, base, {}, {}};
  if (!first || !second)
    recording.remark = fmt::format(
        "{}: missing; reading {} alone, and the newest packet may stand in the missing "
        "file alone",
        RingFileName(base, first ? 2 : 1), RingFileName(base, first ? 1 : 2));
  return recording;
}

}  // namespace

std::optional<std::string> RingBaseOf(const std::string& path) {
  for (int number = 1; number <= 2; ++number) {
    const std::string ending = RingFileName("", number);
    if (path.size() > ending.size() &&
        path.compare(path.size() - ending.size(), ending.size(), ending) == 0)
      return path.substr(0, path.size() - ending.size());
  }
  return std::nullopt;
}

bool SameFile(const std::string& a, const std::string& b) {
  if (a == b || LeadToOne(a, b)) return true;
  // Of a file that is not there yet: the same name in the same folder, however that is spelt.
  const std::filesystem::path one(a), other(b);
  return one.has_filename() && one.filename() == other.filename() &&
         LeadToOne(FolderOf(one), FolderOf(other));
}

bool BelongsToRing(const std::string& path, const std::string& base) {
  for (int number = 1; number <= 2; ++number)
    for (const char* const ending : {"", ".tmp", kSetAsideEnding})
      if (SameFile(path, RingFileName(base, number) + ending)) return true;
  return false;
}

Recording FindRecording(const std::string& path, PathKind kind) {
  if (kind == PathKind::kFlat) return FindFlat(path);
  if (const auto ring = FindRing(path)) return *ring;
  if (const auto base = RingBaseOf(path))
    if (const auto ring = FindRing(*base)) return *ring;
  if (kind == PathKind::kDetect && Exists(path)) return FindFlat(path);
  if (kind == PathKind::kDetect)
    return Unusable(fmt::format("{}: neither a file nor the base of a ring ({} and {})", path,
                                RingFileName(path, 1), RingFileName(path, 2)));
  return Unusable(fmt::format("{}: no such ring, {} and {} are missing", path,
                              RingFileName(path, 1), RingFileName(path, 2)));
}

}  // namespace vmr::tool
