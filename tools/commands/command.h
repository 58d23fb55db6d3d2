// What the program is made of: a table of commands.
#ifndef VMR_TOOLS_COMMANDS_COMMAND_H_
#define VMR_TOOLS_COMMANDS_COMMAND_H_

#include <CLI/CLI.hpp>
#include <functional>
#include <string>

namespace vmr::tool {

// One command; the source file of its name has all of it.
struct Command {
  const char* name;
  const char* help;    // a line in the list of commands
  const char* footer;  // what its --help says behind the options
  // Adds its options to `parser`, which throws CLI::ValidationError for values that
  // do not go together. What is returned does the work, by then with the options as
  // they were given, and returns the program's exit code.
  std::function<int()> (*add_options)(CLI::App& parser);
};

extern const Command kRecordCommand;
extern const Command kViewCommand;
extern const Command kInfoCommand;
extern const Command kExportCommand;
extern const Command kPlotCommand;
extern const Command kStateCommand;
extern const Command kDiffCommand;
extern const Command kReportCommand;
extern const Command kFollowCommand;
extern const Command kExtractCommand;
extern const Command kPackageCommand;
extern const Command kVerifyCommand;
extern const Command kKeyCommand;
extern const Command kCheckCommand;
extern const Command kScrubCommand;
extern const Command kRecoverCommand;

// Wrong usage, told as the parser tells its own.
[[noreturn]] inline void RefuseUsage(const std::string& what) { throw CLI::ValidationError(what); }

}  // namespace vmr::tool

#endif  // VMR_TOOLS_COMMANDS_COMMAND_H_
