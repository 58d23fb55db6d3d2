// The command line of `vmr extract`.
#ifndef VMR_TOOLS_COMMANDS_EXTRACT_OPTIONS_H_
#define VMR_TOOLS_COMMANDS_EXTRACT_OPTIONS_H_

#include <CLI/CLI.hpp>
#include <string>

#include "tools/commands/extract.h"

namespace vmr::tool {

// What is typed, before times are looked at: their zone may come behind them.
struct ExtractArguments {
  ExtractOptions options;
  std::string from;
  std::string to;
  std::string margin;
};

// Adds the command; when it is parsed, `arguments.options` is complete. Wrong
// usage throws CLI::ValidationError, as the parser does.
CLI::App* AddExtract(CLI::App& app, ExtractArguments& arguments);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_COMMANDS_EXTRACT_OPTIONS_H_
