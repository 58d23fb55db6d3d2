// `vmr scrub`: mends a store in place.
#include "tools/ring/scrub.h"

#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "backends/cluster_format.h"
#include "tools/commands/command.h"
#include "tools/common/console.h"
#include "tools/common/store_lock.h"
#include "tools/ring/report.h"
#include "tools/ring/surveyed_store.h"

namespace vmr::tool {
namespace {

constexpr const char* kHelp = "Mends STORE: rewrites each bad copy from its good twin";

constexpr const char* kFooter =
    R"(STORE is the base path of a store, or either of its two files. A cluster that is
bad in one file is rewritten from the other file, and what one file merely lacks
is brought up to date. A file that is missing or of the wrong size is built anew
from what is good. A cluster with no good copy stays as it is. Files of two
recordings are refused. What was done is printed, and then what `vmr check`
finds.

Examples:
  vmr scrub trips/car7          mend a store
  vmr scrub trips/car7_2.mtd    the same store

Nothing may record into STORE meanwhile: scrub refuses while a recorder runs, and
a recorder while scrub does. It may be ended at any moment and run again.

Exit codes: 0 success, 1 failure, some of it may be done, 2 wrong usage, 3
something is lost, 4 damage is left but nothing is lost. Success means that the
store is sound now.
Environment: VMR_LOG, what is logged; see vmr --help.)";

// Tells of the work, whether it was finished or not.
bool Mend(RingScrub& scrub) {
  const bool done = scrub.Run();
  fmt::print("{}", scrub.Account().empty() && done ? "nothing to mend\n" : scrub.Account());
  return done;
}

// Nothing can be written where there is no good copy.
void SayIfNoRecorderMayStart(const std::string& base, const std::vector<Finding>& findings) {
  const auto stops = [](const Finding& finding) {
    return finding.Is(finding_kind::kBeginsAnew) || finding.Is(finding_kind::kCannotStart);
  };
  if (std::any_of(findings.begin(), findings.end(), stops))
    Say(fmt::format("{}: start no recorder on it; vmr recover makes a store of what is good",
                    base));
}

int Scrub(const std::string& store) {
  const auto base = RingToSurvey(store);
  if (!base) return kExitFailure;
  StoreLock lock("end it first");
  if (!lock.Before(*base)) return kExitFailure;
  RingSurvey survey(RingFileName(*base, 1), RingFileName(*base, 2));
  survey.Read();
  // Neither recording is to be written over the other.
  if (!BothCouldBeRead(survey) || !IsOneRecording(survey, *base)) return kExitFailure;
  RingScrub scrub(*base, survey);
  if (!Mend(scrub) || !lock.After(*base)) return kExitFailure;
  // What was found holds for files to which nobody has written since.
  if (!scrub.Account().empty() || survey.IsBeingRecorded()) survey.Read();
  const std::vector<Finding> findings = FindAll(survey);
  const RingReport report(*base, survey, findings);
  fmt::print("{}", report.Text());
  SayIfNoRecorderMayStart(*base, findings);
  return FinishOutput(report.ExitCode());
}

std::function<int()> AddOptions(CLI::App& parser) {
  const auto store = std::make_shared<std::string>();
  parser.add_option("STORE", *store, "The recording")->required()->type_name("");
  parser.final_callback([store] {
    if (store->empty()) RefuseUsage("STORE is empty");
  });
  return [store] { return Scrub(*store); };
}

}  // namespace

constexpr Command kScrubCommand = {"scrub", kHelp, kFooter, AddOptions};

}  // namespace vmr::tool
