// The command line of `vmr recover`.
#ifndef VMR_TOOLS_COMMANDS_RECOVER_OPTIONS_H_
#define VMR_TOOLS_COMMANDS_RECOVER_OPTIONS_H_

#include <CLI/CLI.hpp>

#include "tools/commands/recover.h"

namespace vmr::tool {

CLI::App* AddRecover(CLI::App& app, RecoverOptions& options);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_COMMANDS_RECOVER_OPTIONS_H_
