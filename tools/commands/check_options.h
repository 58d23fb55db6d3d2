// The command line of `vmr check`.
#ifndef VMR_TOOLS_COMMANDS_CHECK_OPTIONS_H_
#define VMR_TOOLS_COMMANDS_CHECK_OPTIONS_H_

#include <CLI/CLI.hpp>

#include "tools/commands/check.h"

namespace vmr::tool {

CLI::App* AddCheck(CLI::App& app, CheckOptions& options);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_COMMANDS_CHECK_OPTIONS_H_
