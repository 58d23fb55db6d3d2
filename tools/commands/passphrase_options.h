// The options of commands that use a private key.
#ifndef VMR_TOOLS_COMMANDS_PASSPHRASE_OPTIONS_H_
#define VMR_TOOLS_COMMANDS_PASSPHRASE_OPTIONS_H_

#include <fmt/format.h>

#include "tools/commands/command.h"
#include "tools/common/numbers.h"
#include "tools/evidence/key_file.h"

namespace vmr::tool {

// `options` must outlive `parser`.
inline void AddPassphrase(CLI::App& parser, PassphraseOptions& options) {
  constexpr unsigned int kHighestDescriptor = 65535;
  CLI::Option* const file =
      parser.add_option("--passphrase-file", options.file, "Its first line is the passphrase")
          ->type_name("FILE");
  parser
      .add_option_function<std::string>(
          "--passphrase-fd",
          [&options](const std::string& text) {
            const auto number = ParseNumber(text, kHighestDescriptor);
            if (!number) RefuseUsage(fmt::format("--passphrase-fd {}: no descriptor", text));
            options.descriptor = static_cast<int>(*number);
          },
          "The same, of an open descriptor")
      ->type_name("N")
      ->excludes(file);
}

}  // namespace vmr::tool

#endif  // VMR_TOOLS_COMMANDS_PASSPHRASE_OPTIONS_H_
