// The command line of `vmr scrub`.
#ifndef VMR_TOOLS_COMMANDS_SCRUB_OPTIONS_H_
#define VMR_TOOLS_COMMANDS_SCRUB_OPTIONS_H_

#include <CLI/CLI.hpp>
#include <string>

namespace vmr::tool {

CLI::App* AddScrub(CLI::App& app, std::string& store);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_COMMANDS_SCRUB_OPTIONS_H_
