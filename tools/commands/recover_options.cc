#include "tools/commands/recover_options.h"

#include "tools/common/store_path.h"

namespace vmr::tool {
namespace {

constexpr const char* kHelp = "Makes a sound store OUT of what can still be read of STORE";

constexpr const char* kFooter =
    R"(STORE is the base path of a store, or either of its two files; OUT is the base
path of the new one, which gets OUT_1.mtd and OUT_2.mtd. The newest good copy of
each cluster goes there, in the order of ticks, from whichever file has it. Both
files appear when they are complete.

A file that a recorder set aside, STORE_1.mtd.CORRUPT, is read only when it is
given with --corrupt: it may be of a recording whose ticks began anew.

Examples:
  vmr recover trips/car7 saved/car7
  vmr recover trips/car7 saved/car7 --corrupt trips/car7_1.mtd.CORRUPT
  vmr check saved/car7

What is read is not changed, and may be recorded into meanwhile. It is printed
how many items of each kind were recovered and, as far as can be known, lost.

Exit codes: 0 success, 1 failure, OUT is as it was, 2 wrong usage, 3 OUT was
written and something is lost, 4 OUT was written, STORE is damaged but nothing
is lost.
Environment: VMR_LOG, what is logged; see vmr --help.)";

void Refuse(const std::string& what) { throw CLI::ValidationError(what); }

void Complete(const RecoverOptions& options) {
  if (options.store.empty()) Refuse("STORE is empty");
  if (options.out.empty()) Refuse("OUT is empty");
  if (options.out.front() == '-') Refuse("OUT must not begin with \"-\"; write ./" + options.out);
  if (const auto base = RingBaseOf(options.out))
    Refuse(options.out + " is a file of a store; OUT would be " + *base);
}

}  // namespace

CLI::App* AddRecover(CLI::App& app, RecoverOptions& options) {
  CLI::App* const recover = app.add_subcommand("recover", kHelp);
  recover->footer(kFooter);
  recover->add_option("STORE", options.store, "The recording")->required()->type_name("");
  recover->add_option("OUT", options.out, "The store to make")->required()->type_name("");
  recover->add_option("--corrupt", options.corrupt, "A file set aside; repeatable")
      ->type_name("FILE")
      ->allow_extra_args(false);
  recover->add_flag("--force", options.force, "Replace OUT if it exists");
  recover->final_callback([&options] { Complete(options); });
  return recover;
}

}  // namespace vmr::tool
