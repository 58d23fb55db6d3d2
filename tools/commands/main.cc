// The command line of `vmr`.
#include <fmt/format.h>
#include <signal.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "tools/commands/command.h"
#include "tools/common/console.h"

namespace vmr::tool {
namespace {

constexpr const Command* kCommands[] = {
    &kRecordCommand, &kViewCommand,    &kInfoCommand,    &kStateCommand,
    &kExportCommand, &kReportCommand,  &kPlotCommand,    &kFollowCommand,
    &kDiffCommand,   &kExtractCommand, &kPackageCommand, &kVerifyCommand,
    &kKeyCommand,    &kCheckCommand,   &kScrubCommand,   &kRecoverCommand};

constexpr const char* kProgramHelp = R"(Records what happens in a vehicle and prints it back.

A recording is a ring of 32768 clusters, kept twice: in STORE_1.mtd and
STORE_2.mtd, 128 MiB each. It survives power cuts; the newest data overwrites
the oldest.
)";

constexpr const char* kProgramFooter = R"(Examples:
  vmr record trips/car7 --input drive.gpsd.json --replay   record a saved drive
  vmr view trips/car7                                      read what was recorded
  vmr info trips/car7                                      which unit, from when to when
  vmr extract trips/car7 stop.vmd --from 2082 --to 2250    cut a minute out
  vmr package trips/car7 case.zip --from 2082 --to 2250    the same as evidence
  vmr verify case.zip                                      is it as it was made?
  vmr check trips/car7                                     look it over for damage
  vmr scrub trips/car7                                     mend what can be mended
  vmr recover trips/car7 saved/car7                        save what can be read
  vmr record --help                                        how to record live

Exit codes: 0 success, 1 failure, 2 wrong usage, 3 not all of what was asked for
is there, 4 a store is damaged but nothing of it is lost, 5 two recordings differ
(diff --exit-code).

Environment: VMR_LOG is the sum of the levels logged to standard error:
  1 fatal, 2 errors, 4 warnings, 16 and 32 information, 64 trace,
  128 every item, flush and tick. Default 7.)";

// "record, view or check"
std::string CommandNames() {
  const std::size_t count = std::size(kCommands);
  std::string names;
  for (std::size_t i = 0; i < count; ++i) {
    if (i > 0) names += i + 1 < count ? ", " : " or ";
    names += kCommands[i]->name;
  }
  return names;
}

// A command that may be typed, and what does its work.
struct Runnable {
  const CLI::App* parser;
  std::function<int()> run;
};

// Options are given to the commands among `arguments` alone: those of all take longer to
// make than the rest of the start.
std::vector<Runnable> AddCommands(CLI::App& program, const std::vector<std::string>& arguments) {
  std::vector<Runnable> commands;
  for (const Command* const command : kCommands) {
    CLI::App* const parser = program.add_subcommand(command->name, command->help);
    if (std::find(arguments.begin(), arguments.end(), command->name) == arguments.end()) continue;
    parser->footer(command->footer);
    commands.push_back({parser, command->add_options(*parser)});
  }
  return commands;
}

// Wrong usage: what is wrong, and where help is.
int ExplainUsage(const CLI::App& program, const std::string& what) {
  std::string command = "vmr";
  for (const CLI::App* typed : program.get_subcommands()) command += " " + typed->get_name();
  Say(what);
  Say(fmt::format("try: {} --help", command));
  return kExitUsage;
}

// What was asked for by --help or --version.
int Explain(const CLI::App& program, const CLI::ParseError& error) {
  program.exit(error);
  return FinishOutput(kExitSuccess);
}

int Run(int argc, char** argv) {
  CLI::App program(kProgramHelp, "vmr");
  program.footer(kProgramFooter);
  program.set_version_flag("--version", "vmr " VMR_VERSION, "Print the version and exit");
  program.require_subcommand(0, 1);
  const std::vector<Runnable> commands =
      AddCommands(program, {argv + std::min(argc, 1), argv + argc});
  try {
    program.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return error.get_exit_code() == 0 ? Explain(program, error)
                                      : ExplainUsage(program, error.what());
  }
  for (const Runnable& command : commands)
    if (command.parser->parsed()) return command.run();
  return ExplainUsage(program, "a command is needed: " + CommandNames());
}

}  // namespace
}  // namespace vmr::tool

int main(int argc, char** argv) {
  signal(SIGXFSZ, SIG_IGN);  // a limit on file sizes is a full disk like any other
  return vmr::tool::Run(argc, argv);
}
