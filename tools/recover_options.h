// The command line of `vmr recover`.
#ifndef VMR_TOOLS_RECOVER_OPTIONS_H_
#define VMR_TOOLS_RECOVER_OPTIONS_H_

#include <CLI/CLI.hpp>

#include "tools/recover_command.h"

namespace vmr::tool {

CLI::App* AddRecover(CLI::App& app, RecoverOptions& options);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_RECOVER_OPTIONS_H_
