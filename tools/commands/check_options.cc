#include "tools/commands/check_options.h"

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

void Refuse(const std::string& what) { throw CLI::ValidationError(what); }

}  // namespace

CLI::App* AddCheck(CLI::App& app, CheckOptions& options) {
  CLI::App* const check = app.add_subcommand("check", kHelp);
  check->footer(kFooter);
  check->add_option("STORE", options.store, "The recording")->required()->type_name("");
  check
      ->add_option_function<std::string>(
          "--format",
          [&options](const std::string& format) {
            if (format != "text" && format != "json")
              Refuse("--format " + format + ": neither text nor json");
            options.json = format == "json";
          },
          "text (the default) or json")
      ->type_name("FORMAT");
  check->final_callback([&options] {
    if (options.store.empty()) Refuse("STORE is empty");
  });
  return check;
}

}  // namespace vmr::tool
