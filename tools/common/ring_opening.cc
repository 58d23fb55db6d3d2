#include "tools/common/ring_opening.h"

#include <errno.h>
#include <fmt/format.h>

#include <algorithm>

#include "backends/cluster_format.h"
#include "backends/file_store.h"
#include "host/file_ops.h"
#include "records/one_recording.h"
#include "tools/common/console.h"
#include "tools/common/quiet_log.h"

namespace vmr::tool {
namespace {

FileSearch SearchFile(const std::string& base, int number) {
  struct stat status {};
  if (FileOps::Current().Stat(RingFileName(base, number).c_str(), &status) != 0)
    return errno == ENOENT ? FileSearch::kMissing : FileSearch::kUnusable;
  FileStore file(static_cast<short>(number));
  if (file.StartFileReadOnly(base, kClusterCount, kClusterBytes, number) == 0)
    return FileSearch::kUnusable;
  unsigned char buffer[kClusterBytes];
  const bool found = file.FindLastPosition(kClusterCount, kClusterBytes, buffer) != 0;
  return found ? FileSearch::kFinds : FileSearch::kFails;
}

}  // namespace

bool BeginsAnew(const std::array<FileSearch, 2>& files) {
  const auto any = [&files](FileSearch search) {
    return std::find(files.begin(), files.end(), search) != files.end();
  };
  return any(FileSearch::kFails) && !any(FileSearch::kFinds) && !any(FileSearch::kUnusable);
}

// Quietly: the opening that may follow logs the same. A read that failed may succeed
// a moment later, and the opening waits for it too.
bool WouldBeginAnew(const std::string& base) {
  constexpr int kLooks = 4;
  constexpr unsigned int kPause_us = 100000;
  const QuietLog quiet;
  for (int look = 1; BeginsAnew({SearchFile(base, 1), SearchFile(base, 2)}); ++look) {
    if (look == kLooks) return true;
    static_cast<void>(FileOps::Current().Usleep(kPause_us));  // a shorter one does no harm
  }
  return false;
}

bool IsOfTwoRecordings(const std::string& base) {
  return records::AreOfTwoRecordings(RingFileName(base, 1), RingFileName(base, 2));
}

void SayTwoRecordings(const std::string& name, const std::string& path1, const std::string& path2) {
  Say(
      fmt::format("{0}: {1} and {2} are of two recordings; take the one away that does not belong "
                  "here, and `vmr scrub {0}` builds it anew from the other",
                  name, path1, path2));
}

bool WouldResumeAtTheBeginning(const std::string& base) {
  const QuietLog quiet;
  if (SearchFile(base, 1) != FileSearch::kMissing) return false;
  FileStore file(2);
  unsigned char buffer[kClusterBytes];
  return file.StartFileReadOnly(base, kClusterCount, kClusterBytes, 2) != 0 &&
         file.FindLastPosition(kClusterCount, kClusterBytes, buffer) != 0 &&
         file.NewestSt() != kNeverWrittenSt;
}

}  // namespace vmr::tool
