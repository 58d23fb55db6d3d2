#include "tools/read/opened_recording.h"

#include <errno.h>
#include <fmt/format.h>

#include "backends/cluster_format.h"
#include "backends/file_io.h"
#include "records/flat_source.h"
#include "records/ring_source.h"

namespace vmr::tool {
namespace {

using records::FlatProblem;
using records::FlatSource;
using records::RingProblem;
using records::RingSource;

std::string WhyNoRing(const std::string& base, RingProblem problem) {
  switch (problem) {
    case RingProblem::kNoFile:
      return fmt::format("{}: neither file of the store can be opened: {}", base, TextOfErrno());
    case RingProblem::kNoEnd:
      return fmt::format(
          "{0}: where the recording ends cannot be found; `vmr recover {0} OUT` saves what can be "
          "read",
          base);
    default:
      return fmt::format("{0}: its files are of two recordings; look at each by itself: {1}, {2}",
                         base, RingFileName(base, 1), RingFileName(base, 2));
  }
}

void OpenRing(const std::string& path1, const std::string& path2, OpenedRecording& opened) {
  RingProblem problem{};
  errno = 0;
  opened.source = RingSource::Open(path1, path2, problem);
  opened.is_store = true;
  if (opened.source == nullptr) opened.error = WhyNoRing(opened.name, problem);
}

void OpenFlat(const std::string& path, OpenedRecording& opened) {
  FlatProblem problem{};
  opened.source = FlatSource::Open(path, problem);
  if (opened.source != nullptr) return;
  if (problem == FlatProblem::kNotOpened) {
    opened.error = fmt::format("{}: {}", path, TextOfErrno());
    return;
  }
  // Without the magic it can only be one file of a ring.
  OpenRing(path, "", opened);
  if (opened.source == nullptr)
    opened.error = fmt::format("{}: is neither a flat metadata file nor a file of a store", path);
}

}  // namespace

OpenedRecording OpenRecording(const std::string& path, PathKind kind) {
  OpenedRecording opened;
  const Recording recording = FindRecording(path, kind);
  opened.name = recording.error.empty() ? recording.path : path;
  opened.error = recording.error;
  opened.remark = recording.remark;
  if (!opened.error.empty()) return opened;
  if (recording.ring)
    OpenRing(RingFileName(recording.path, 1), RingFileName(recording.path, 2), opened);
  else
    OpenFlat(recording.path, opened);
  return opened;
}

}  // namespace vmr::tool
