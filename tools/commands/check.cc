#include "tools/commands/check.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>

#include "host/file_ops.h"
#include "tools/common/console.h"
#include "tools/common/store_path.h"
#include "tools/ring/report.h"

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
  for (const int file : {0, 1}) {
    const ClusterFile& looked_at = survey.File(file);
    any = any || looked_at.IsOpen();
    if (looked_at.Problem() != FileProblem::kNotOpened) continue;
    Say(fmt::format("{}: {}", looked_at.Path(), looked_at.Reason()));
    return false;
  }
  if (!any) Say(fmt::format("{}: no regular file", survey.File(0).Path()));
  return any;
}

void SayWhatWasSetAside(const std::string& base, const std::vector<std::string>& given,
                        const char* command) {
  for (const int number : {1, 2}) {
    const std::string path = RingFile(base, number) + ".CORRUPT";
    struct stat status {};
    const auto same = [&path](const std::string& file) { return SameFile(path, file); };
    if (FileOps::Current().Stat(path.c_str(), &status) != 0 ||
        std::any_of(given.begin(), given.end(), same))
      continue;
    Say(fmt::format("{}: was set aside by a recorder; {}--corrupt {} adds what it holds", path,
                    command, path));
  }
}

int Check(const CheckOptions& options) {
  const auto base = RingToSurvey(options.store);
  if (!base) return kExitFailure;
  RingSurvey survey(RingFile(*base, 1), RingFile(*base, 2));
  survey.Read();
  if (!CouldBeRead(survey)) return kExitFailure;
  SayWhatWasSetAside(*base, {}, "vmr recover with ");
  const std::vector<Finding> findings = FindAll(survey);
  const RingReport report(*base, survey, findings);
  fmt::print("{}", options.json ? report.Json().dump(2) + "\n" : report.Text());
  if (std::fflush(stdout) != 0) {
    Say("standard output: write error");
    return kExitFailure;
  }
  return report.ExitCode();
}

}  // namespace vmr::tool
