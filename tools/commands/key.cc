// `vmr key`: the keys that bags of evidence are signed by.
#include <fmt/format.h>

#include <memory>
#include <string>

#include "tools/commands/command.h"
#include "tools/commands/passphrase_options.h"
#include "tools/common/console.h"
#include "tools/evidence/key_file.h"
#include "tools/evidence/minisign.h"

namespace vmr::tool {
namespace {

constexpr const char* kHelp = "Makes or shows a key that evidence is signed by";

constexpr const char* kFooter =
    R"(new makes a key: KEY, which its owner alone may read and which signs (vmr package
--sign KEY), and KEY.pub, which is for everybody who is to check a signature.
Neither may be there: a key is never replaced. show prints the public half of
either file and its fingerprint, which is best told on paper or by telephone.

A passphrase is typed at the terminal, which does not show it, or is the first
line of a file or of an open descriptor. It is never on the command line, where
others see it. With one, a stolen KEY is of little use; without, file modes alone
protect it.

Keys are Ed25519, in PEM, PKCS#8 and SubjectPublicKeyInfo: any OpenSSL reads them.
The line "minisign" is the public half as `minisign -P` takes it.

Examples:
  vmr key new jane --passphrase           makes jane and jane.pub
  vmr key show jane.pub
  openssl pkey -pubin -in jane.pub -outform DER | sha256sum    the fingerprint

Exit codes: 0 success, 1 failure, nothing is made, 2 wrong usage.)";

struct KeyOptions {
  std::string action;
  std::string key;
  PassphraseOptions passphrase;
};

int Key(const KeyOptions& options) {
  const bool is_new = options.action == "new";
  const auto key = is_new ? MakeKeyFiles(options.key, options.passphrase)
                          : ReadEitherKey(options.key, options.passphrase);
  if (!key) return kExitFailure;
  fmt::print("{}fingerprint: {}\nminisign:    {}\n", is_new ? "" : key->Pem(), key->Fingerprint(),
             MinisignKey(*key));
  return FinishOutput(kExitSuccess);
}

std::function<int()> AddOptions(CLI::App& parser) {
  const auto options = std::make_shared<KeyOptions>();
  parser.add_option("ACTION", options->action, "new or show")->required()->type_name("");
  parser.add_option("KEY", options->key, "The file")->required()->type_name("");
  parser.add_flag("--passphrase", options->passphrase.ask, "Ask for one, to put a new key behind");
  AddPassphrase(parser, options->passphrase);
  parser.final_callback([options] {
    if (options->action != "new" && options->action != "show")
      RefuseUsage(fmt::format("{}: neither new nor show", options->action));
    if (options->key.empty()) RefuseUsage("KEY is empty");
    if (options->passphrase.ask && options->passphrase.IsGiven())
      RefuseUsage("--passphrase asks for one; --passphrase-file and --passphrase-fd give one");
  });
  return [options] { return Key(*options); };
}

}  // namespace

constexpr Command kKeyCommand = {"key", kHelp, kFooter, AddOptions};

}  // namespace vmr::tool
