// Files of keys, and the passphrases that they are behind.
#ifndef VMR_TOOLS_EVIDENCE_KEY_FILE_H_
#define VMR_TOOLS_EVIDENCE_KEY_FILE_H_

#include <optional>
#include <string>

#include "tools/evidence/signature.h"

namespace vmr::tool {

// Where a passphrase is to come from. Never the command line: others see that.
struct PassphraseOptions {
  bool ask = false;               // for a new key, on the terminal
  std::string file;               // its first line
  std::optional<int> descriptor;  // the same

  bool IsGiven() const { return !file.empty() || descriptor.has_value(); }
};

// From where it is given, else from the terminal, which does not show it; `twice`: to be typed
// again. Nothing after saying why not. `key`: the file that it is for.
std::optional<std::string> ReadPassphrase(const PassphraseOptions& options, const std::string& key,
                                          bool twice);

// Nothing after saying why not. Says when others may read the file.
std::optional<PrivateKey> ReadPrivateKey(const std::string& path, const PassphraseOptions& options);
std::optional<PublicKey> ReadPublicKey(const std::string& path);
// Of a file of either: a private one is asked for its passphrase.
std::optional<PublicKey> ReadEitherKey(const std::string& path, const PassphraseOptions& options);

// Where a new key's public half goes.
std::string PublicKeyPath(const std::string& path);
// Makes a key: `path`, which its owner alone may read, and beside it the public half. Neither
// may be there. False after saying why not; nothing is left then.
std::optional<PublicKey> MakeKeyFiles(const std::string& path, const PassphraseOptions& options);

// All of a small file. Nothing, and errno, when it cannot be read; EFBIG: it is longer than
// `most_bytes`.
std::optional<std::string> ReadSmallFile(const std::string& path, std::size_t most_bytes);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_EVIDENCE_KEY_FILE_H_
