#include "tools/commands/check.h"

#include <fmt/format.h>

#include <memory>

#include "backends/cluster_format.h"
#include "tools/commands/command.h"
#include "tools/commands/surveyed_store.h"
#include "tools/common/console.h"
#include "tools/ring/report.h"

namespace vmr::tool {
namespace {

constexpr const char* kHelp = "Looks STORE over for damage";

constexpr const char* kFooter =
    R"(STORE is the base path of a store, or either of its two files. Every cluster of
both files is read and compared with its twin, and so are the packets and items
in it and the order of ticks. Each finding is a line: which file, which clusters,
which ticks and times, which kinds of items, and whether the other file has a
good copy. "normal" lines are no damage.

Examples:
  vmr check trips/car7                  what there is to say, as text
  vmr check trips/car7 --format json    for programs; docs/check.md has the fields

The store is not changed, and may be recorded into meanwhile. `vmr scrub` mends
what has a good copy, `vmr recover` saves what is left of the rest.

Exit codes: 0 success, 1 STORE could not be checked, 2 wrong usage, 3 something
is lost, 4 damaged but nothing is lost. Success means that the store is sound.
Environment: VMR_LOG, what is logged; see vmr --help.)";

bool IsJson(const std::string& format) {
  if (format != "text" && format != "json")
    RefuseUsage("--format " + format + ": neither text nor json");
  return format == "json";
}

std::function<int()> AddOptions(CLI::App& parser) {
  const auto options = std::make_shared<CheckOptions>();
  parser.add_option("STORE", options->store, "The recording")->required()->type_name("");
  parser
      .add_option_function<std::string>(
          "--format", [options](const std::string& format) { options->json = IsJson(format); },
          "text (the default) or json")
      ->type_name("FORMAT");
  parser.final_callback([options] {
    if (options->store.empty()) RefuseUsage("STORE is empty");
  });
  return [options] { return Check(*options); };
}

}  // namespace

constexpr Command kCheckCommand = {"check", kHelp, kFooter, AddOptions};

int Check(const CheckOptions& options) {
  const auto base = RingToSurvey(options.store);
  if (!base) return kExitFailure;
  RingSurvey survey(RingFileName(*base, 1), RingFileName(*base, 2));
  survey.Read();
  if (!CouldBeRead(survey)) return kExitFailure;
  SayWhatWasSetAside(*base, {}, "vmr recover with ");
  const std::vector<Finding> findings = FindAll(survey);
  const RingReport report(*base, survey, findings);
  fmt::print("{}", options.json ? report.Json().dump(2) + "\n" : report.Text());
  return FinishOutput(report.ExitCode());
}

}  // namespace vmr::tool
