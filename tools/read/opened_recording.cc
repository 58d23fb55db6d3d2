#include "tools/read/opened_recording.h"

#include <errno.h>
#include <fcntl.h>
#include <fmt/format.h>

#include <filesystem>
#include <utility>

#include "backends/cluster_format.h"
#include "backends/file_io.h"
#include "records/flat_source.h"
#include "records/ring_source.h"
#include "tools/common/flat_file.h"

namespace vmr::tool {
namespace {

using records::FlatProblem;
using records::FlatSource;
using records::RingProblem;
using records::RingSource;

// Of the files that are there; else that there are none.
int WhyNotOpened(const std::string& path1, const std::string& path2) {
  for (const std::string& path : {path1, path2}) {
    const int fd = OpenFile(path, O_RDONLY | O_NONBLOCK);
    if (!IsOpenDescriptor(fd) && errno != ENOENT) return errno;
    if (IsOpenDescriptor(fd)) static_cast<void>(CloseFile(fd));  // nothing was written
  }
  return ENOENT;
}

std::string WhyNoRing(const std::string& base, const std::string& path1, const std::string& path2,
                      RingProblem problem) {
  switch (problem) {
    case RingProblem::kNoFile:
      return fmt::format("{}: neither file of the store can be opened: {}", base,
                         TextOfErrno(WhyNotOpened(path1, path2)));
    case RingProblem::kNoEnd:
      return fmt::format(
          "{0}: no cluster of it can be read in either file; `vmr recover {0} OUT` saves single "
          "packets, if there are any",
          base);
    default:
      return fmt::format(
          "{}: its files are of two recordings; move {} or {} elsewhere and look at each by itself",
          base, RingFileName(base, 1), RingFileName(base, 2));
  }
}

OpenProblem ProblemOf(RingProblem problem) {
  if (problem == RingProblem::kNoFile) return OpenProblem::kUnreadable;
  return problem == RingProblem::kNoEnd ? OpenProblem::kDamaged : OpenProblem::kMixed;
}

void AddRemark(const std::string& remark, OpenedRecording& opened) {
  opened.remark += (opened.remark.empty() ? "" : "; ") + remark;
}

void OpenRing(const std::string& path1, const std::string& path2, OpenedRecording& opened) {
  RingProblem problem{};
  auto ring = RingSource::Open(path1, path2, problem);
  opened.is_store = true;
  opened.files = {path1};
  if (!path2.empty()) opened.files.push_back(path2);
  if (ring == nullptr) {
    opened.error = WhyNoRing(opened.name, path1, path2, problem);
    opened.problem = ProblemOf(problem);
    return;
  }
  if (ring->SearchedAll()) AddRemark(RemarkOnSearchedAll(opened.name), opened);
  opened.source = std::move(ring);
}

// A store that a recorder has set aside, or what is left of it.
bool OpenSetAside(const std::string& base, OpenedRecording& opened) {
  const std::string path1 = RingFileName(base, 1) + kSetAsideEnding;
  const std::string path2 = RingFileName(base, 2) + kSetAsideEnding;
  std::error_code error;
  if (!std::filesystem::exists(path1, error) && !std::filesystem::exists(path2, error))
    return false;
  opened.error.clear();
  opened.problem = OpenProblem::kNone;
  opened.remark = fmt::format("{}: reading the files that a recorder has set aside", base);
  OpenRing(path1, path2, opened);
  return true;
}

void OpenFlat(const std::string& path, OpenedRecording& opened) {
  FlatProblem problem{};
  opened.source = FlatSource::Open(path, problem);
  opened.files = {path};
  if (opened.source != nullptr) return;
  if (problem == FlatProblem::kNotOpened) {
    opened.error = fmt::format("{}: {}", path, TextOfErrno());
    opened.problem = OpenProblem::kUnreadable;
    return;
  }
  // Without the magic it can only be one file of a ring.
  OpenRing(path, "", opened);
  const bool is_damaged = LookWhetherFlat(path) == FlatLook::kDamaged;
  opened.problem = opened.source != nullptr ? OpenProblem::kNone
                   : is_damaged             ? OpenProblem::kDamaged
                                            : OpenProblem::kUnreadable;
  if (opened.source == nullptr && is_damaged)
    opened.error = fmt::format(
        "{0}: a flat file whose first bytes are damaged, so that no reader opens it", path);
  else if (opened.source == nullptr)
    opened.error = fmt::format("{}: is neither a flat metadata file nor a file of a store", path);
}

}  // namespace

std::string RemarkOnSearchedAll(const std::string& store) {
  return fmt::format(
      "{0}: a cluster that recorders look for its end in is bad in both files; record no more into "
      "it, `vmr recover {0} OUT` makes a sound store of what is good",
      store);
}

OpenedRecording OpenRecording(const std::string& path, PathKind kind) {
  OpenedRecording opened;
  const Recording recording = FindRecording(path, kind);
  opened.name = recording.error.empty() ? recording.path : path;
  opened.error = recording.error;
  opened.remark = recording.remark;
  if (!opened.error.empty()) {
    std::error_code error;
    const bool is_there = std::filesystem::exists(path, error) || bool{error};
    opened.problem = is_there ? OpenProblem::kUnreadable : OpenProblem::kMissing;
    if (kind != PathKind::kFlat) OpenSetAside(path, opened);
    return opened;
  }
  if (recording.ring)
    OpenRing(RingFileName(recording.path, 1), RingFileName(recording.path, 2), opened);
  else
    OpenFlat(recording.path, opened);
  return opened;
}

}  // namespace vmr::tool
