// `vmr verify`: whether a bag of evidence is as it was made.
#include <errno.h>
#include <fcntl.h>
#include <fmt/format.h>

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "backends/file_io.h"
#include "tools/commands/command.h"
#include "tools/common/console.h"
#include "tools/evidence/bag_source.h"
#include "tools/evidence/bag_verdict.h"
#include "tools/evidence/key_file.h"

namespace vmr::tool {
namespace {

constexpr const char* kHelp = "Checks that a bag of evidence is as it was made";

constexpr const char* kFooter =
    R"(BAG is an archive that `vmr package` made, or a folder that one was unpacked into.
Each line says of one thing that it holds or fails: the manifests, which tell of
every file that was changed, renamed, added or removed; the signature over them;
whose bag a time stamp is of, but not who made it; and whether the archive is, byte
for byte, the one that was made. An archive that was packed anew holds as a bag, and
is said to be packed anew.

--key is the signer's public key, as you have it from the signer. Without it the
signature is checked by the key in the bag, which tells that nothing was changed
since somebody signed it, and not who did.

Nothing is written, and an archive is not unpacked. Archives that could harm
whoever unpacks them are refused: names that lead elsewhere, links, two files of
one name, and the like. What a signature proves and what not: docs/evidence.md.
The same can be checked without this program: README.txt in the bag, or
examples/verify.py.

Examples:
  vmr verify case-17.zip --key jane.pub
  vmr verify unpacked/evidence

Exit codes: 0 all holds, 1 it cannot be told, as it is no bag or cannot be read,
2 wrong usage, 3 something does not hold.)";

struct VerifyOptions {
  std::string bag;
  std::string key;
};

BagVerdict LookAt(const std::string& path, const std::optional<PublicKey>& key) {
  BagVerdict verdict;
  std::error_code error;
  if (std::filesystem::is_directory(path, error)) {
    const auto bag = FolderBag::Open(path, verdict.error);
    return bag == nullptr ? verdict : LookAtBag(*bag, key);
  }
  const int fd = OpenFile(path, O_RDONLY | O_NONBLOCK);
  if (!IsOpenDescriptor(fd)) {
    verdict.error = TextOfErrno();
    return verdict;
  }
  FileBytes bytes(fd);
  verdict = LookAtBagArchive(bytes, key);
  static_cast<void>(CloseFile(fd));  // nothing was written
  return verdict;
}

const char* TextOf(BagVerdict::Kind kind) {
  switch (kind) {
    case BagVerdict::Kind::kHolds:
      return "holds";
    case BagVerdict::Kind::kNote:
      return "note ";
    case BagVerdict::Kind::kFails:
      return "FAILS";
  }
  return "";
}

int Verify(const VerifyOptions& options) {
  std::optional<PublicKey> key;
  if (!options.key.empty()) {
    key = ReadPublicKey(options.key);
    if (!key) return kExitFailure;
  }
  const BagVerdict verdict = LookAt(options.bag, key);
  for (const BagVerdict::Line& line : verdict.lines)
    fmt::print("{}  {}\n", TextOf(line.kind), line.text);
  if (!verdict.error.empty()) Say(fmt::format("{}: {}", options.bag, verdict.error));
  return FinishOutput(verdict.ExitCode());
}

std::function<int()> AddOptions(CLI::App& parser) {
  const auto options = std::make_shared<VerifyOptions>();
  parser.add_option("BAG", options->bag, "The archive or folder")->required()->type_name("");
  parser.add_option("--key", options->key, "The signer's public key")->type_name("FILE");
  parser.final_callback([options] {
    if (options->bag.empty()) RefuseUsage("BAG is empty");
  });
  return [options] { return Verify(*options); };
}

}  // namespace

constexpr Command kVerifyCommand = {"verify", kHelp, kFooter, AddOptions};

}  // namespace vmr::tool
