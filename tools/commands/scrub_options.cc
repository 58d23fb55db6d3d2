#include "tools/commands/scrub_options.h"

namespace vmr::tool {
namespace {

constexpr const char* kHelp = "Mends STORE: rewrites each bad copy from its good twin";

constexpr const char* kFooter =
    R"(STORE is the base path of a store, or either of its two files. A cluster that is
bad in one file is rewritten from the other file, and what one file merely lacks
is brought up to date. A file that is missing or of the wrong size is built anew
from what is good. A cluster with no good copy stays as it is. Two files that
hold the same packets nowhere are refused. What was done is printed, and then
what `vmr check` finds.

Examples:
  vmr scrub trips/car7          mend a store
  vmr scrub trips/car7_2.mtd    the same store

Nothing may record into STORE meanwhile: scrub refuses while a recorder runs, and
a recorder while scrub does. It may be ended at any moment and run again.

Exit codes: 0 success, 1 failure, some of it may be done, 2 wrong usage, 3
something is lost, 4 damage is left but nothing is lost. Success means that the
store is sound now.
Environment: VMR_LOG, what is logged; see vmr --help.)";

}  // namespace

CLI::App* AddScrub(CLI::App& app, std::string& store) {
  CLI::App* const scrub = app.add_subcommand("scrub", kHelp);
  scrub->footer(kFooter);
  scrub->add_option("STORE", store, "The recording")->required()->type_name("");
  scrub->final_callback([&store] {
    if (store.empty()) throw CLI::ValidationError("STORE is empty");
  });
  return scrub;
}

}  // namespace vmr::tool
