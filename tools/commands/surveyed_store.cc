#include "tools/commands/surveyed_store.h"

#include <fmt/format.h>

#include <algorithm>

#include "backends/cluster_format.h"
#include "host/file_ops.h"
#include "tools/common/console.h"
#include "tools/common/store_path.h"

namespace vmr::tool {

std::optional<std::string> RingToSurvey(const std::string& store) {
  const Recording recording = FindRecording(store, PathKind::kDetect);
  if (recording.error.empty() && recording.ring) return recording.path;
  Say(recording.error.empty() ? fmt::format("{}: is a flat file, not a store", store)
                              : recording.error);
  return std::nullopt;
}

bool CouldBeRead(const RingSurvey& survey) {
  bool any = false;
  for (const int file : kFileNumbers) {
    const ClusterFile& looked_at = survey.File(file);
    any = any || looked_at.IsOpen();
    if (looked_at.Problem() != FileProblem::kNotOpened) continue;
    Say(fmt::format("{}: {}", looked_at.Path(), looked_at.Reason()));
    return false;
  }
  if (!any) Say(fmt::format("{}: no regular file", survey.File(1).Path()));
  return any;
}

void SayWhatWasSetAside(const std::string& base, const std::vector<std::string>& given,
                        const char* command) {
  for (const int number : kFileNumbers) {
    const std::string path = RingFileName(base, number) + ".CORRUPT";
    struct stat status {};
    const auto same = [&path](const std::string& file) { return SameFile(path, file); };
    if (FileOps::Current().Stat(path.c_str(), &status) != 0 ||
        std::any_of(given.begin(), given.end(), same))
      continue;
    Say(fmt::format("{}: was set aside by a recorder; {}--corrupt {} adds what it holds", path,
                    command, path));
  }
}

}  // namespace vmr::tool
