#include "tools/commands/scrub.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>

#include "tools/commands/check.h"
#include "tools/common/console.h"
#include "tools/common/store_lock.h"
#include "tools/common/store_path.h"
#include "tools/ring/report.h"
#include "tools/ring/scrub.h"

namespace vmr::tool {
namespace {

// Neither recording is to be written over the other.
bool IsOneRecording(const std::string& base, const RingSurvey& survey) {
  if (!survey.IsOfTwoRecordings()) return true;
  Say(
      fmt::format("{} and {} hold the same packets nowhere; take the one away that does not belong "
                  "here, and scrub builds it anew from the other",
                  RingFile(base, 1), RingFile(base, 2)));
  return false;
}

// The account of the work, whether it was finished or not.
bool Mend(const std::string& base, RingSurvey& survey) {
  RingScrub scrub(base, survey);
  const bool done = scrub.Run();
  fmt::print("{}", scrub.Account().empty() && done ? "nothing to mend\n" : scrub.Account());
  return done;
}

// Nothing can be written where there is no good copy.
void SayIfNoRecorderMayStart(const std::string& base, const std::vector<Finding>& findings) {
  const auto stops = [](const Finding& finding) {
    return finding.kind == FindingKind::kBeginsAnew || finding.kind == FindingKind::kCannotStart;
  };
  if (std::any_of(findings.begin(), findings.end(), stops))
    Say(fmt::format("{}: start no recorder on it; vmr recover makes a store of what is good",
                    base));
}

}  // namespace

int Scrub(const std::string& store) {
  const auto base = RingToSurvey(store);
  if (!base) return kExitFailure;
  StoreLock lock("end it first");
  if (!lock.Before(*base)) return kExitFailure;
  RingSurvey survey(RingFile(*base, 1), RingFile(*base, 2));
  survey.Read();
  if (!CouldBeRead(survey) || !IsOneRecording(*base, survey)) return kExitFailure;
  if (!Mend(*base, survey) || !lock.After(*base)) return kExitFailure;
  survey.Read();
  const std::vector<Finding> findings = FindAll(survey);
  const RingReport report(*base, survey, findings);
  fmt::print("{}", report.Text());
  SayIfNoRecorderMayStart(*base, findings);
  if (std::fflush(stdout) == 0) return report.ExitCode();
  Say("standard output: write error");
  return kExitFailure;
}

}  // namespace vmr::tool
