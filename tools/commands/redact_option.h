// What is to be taken out, on the command line.
#ifndef VMR_TOOLS_COMMANDS_REDACT_OPTION_H_
#define VMR_TOOLS_COMMANDS_REDACT_OPTION_H_

#include <fmt/format.h>

#include <optional>
#include <string>

#include "tools/commands/command.h"
#include "tools/evidence/redaction.h"

namespace vmr::tool {

inline void AddRedact(CLI::App& parser, std::optional<Redaction>& redaction, const char* help) {
  const auto take = [&redaction](const std::string& list) {
    std::string error;
    redaction = Redaction::Of(list, error);
    if (!redaction) RefuseUsage(fmt::format("--redact: {}", error));
  };
  parser.add_option_function<std::string>("--redact", take, help)->type_name("LIST");
}

}  // namespace vmr::tool

#endif  // VMR_TOOLS_COMMANDS_REDACT_OPTION_H_
