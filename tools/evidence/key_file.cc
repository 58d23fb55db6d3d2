#include "tools/evidence/key_file.h"

#include <errno.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <array>

#include "backends/file_io.h"
#include "tools/common/console.h"
#include "tools/common/output_file.h"

namespace vmr::tool {
namespace {

constexpr std::size_t kMostKeyBytes = std::size_t{64} * 1024;
constexpr std::size_t kMostPassphraseBytes = 1023;

std::nullopt_t Refuse(const std::string& what, const std::string& why) {
  Say(fmt::format("{}: {}", what, why));
  return std::nullopt;
}

// ---- Passphrases -----------------------------------------------------------------

// Up to the first line feed, or `last`, which stays part of it; one byte at a time: what follows
// is somebody else's.
std::optional<std::string> ReadLine(int fd, char last = '\n') {
  std::string line;
  for (char c = 0; line.size() <= kMostPassphraseBytes;) {
    const ssize_t got = ReadFile(fd, &c, 1);
    if (got < 0) return std::nullopt;
    if (got == 0 || c == '\n') return line;
    line += c;
    if (c == last) return line;
  }
  errno = EFBIG;
  return std::nullopt;
}

std::optional<std::string> Checked(std::optional<std::string> line, const std::string& from) {
  if (!line) return Refuse(from, TextOfErrno());
  if (line->empty()) return Refuse(from, "holds no passphrase in its first line");
  return line;
}

std::optional<std::string> ReadFromFile(const std::string& path) {
  const int fd = OpenFile(path, O_RDONLY);
  if (!IsOpenDescriptor(fd)) return Refuse(path, TextOfErrno());
  auto line = ReadLine(fd);
  const int error = errno;
  static_cast<void>(CloseFile(fd));  // nothing was written
  errno = error;
  return Checked(std::move(line), path);
}

// The terminal, which shows nothing of what is typed while this lives. Signals that would end
// the process with the terminal left so wait; Ctrl-C is read as what it is.
class SilentTerminal {
 public:
  static constexpr char kInterrupt = 0x03;

  SilentTerminal() : fd_(open("/dev/tty", O_RDWR | O_CLOEXEC | O_NOCTTY)) {
    if (fd_ < 0 || tcgetattr(fd_, &before_) != 0) return;
    struct termios silent = before_;
    silent.c_lflag &= ~static_cast<tcflag_t>(ECHO | ISIG);
    silent.c_cc[VEOL] = kInterrupt;
    is_silent_ = tcsetattr(fd_, TCSAFLUSH, &silent) == 0;
  }
  ~SilentTerminal() {
    if (is_silent_) static_cast<void>(tcsetattr(fd_, TCSAFLUSH, &before_));
    if (fd_ >= 0) static_cast<void>(close(fd_));
  }
  SilentTerminal(const SilentTerminal&) = delete;
  SilentTerminal& operator=(const SilentTerminal&) = delete;

  bool IsSilent() const { return is_silent_; }
  // Nothing when whoever types gives up.
  std::optional<std::string> Ask(const std::string& prompt) const {
    Show(prompt);
    auto line = ReadLine(fd_, kInterrupt);
    Show("\n");
    if (line && line->find(kInterrupt) != std::string::npos) return std::nullopt;
    return line;
  }

 private:
  // Without its prompt a terminal that cannot be written can still be typed at.
  void Show(const std::string& text) const {
    static_cast<void>(WriteWhole(fd_, text.data(), text.size()));
  }

  const HeldSignals held_;
  int fd_;
  bool is_silent_ = false;
  struct termios before_ {};
};

std::optional<std::string> AskOnTerminal(const std::string& key, bool twice) {
  const SilentTerminal terminal;
  if (!terminal.IsSilent())
    return Refuse(key,
                  "is behind a passphrase, and there is no terminal to ask for it; give "
                  "--passphrase-file or --passphrase-fd");
  auto typed = terminal.Ask(fmt::format("Passphrase of {}: ", Printable(key)));
  if (!typed) return Refuse(key, "no passphrase was typed");
  if (typed->empty()) return Refuse(key, "an empty passphrase protects nothing");
  if (twice && terminal.Ask("The same again: ") != typed)
    return Refuse(key, "the two passphrases are not the same");
  return typed;
}

// ---- Files -----------------------------------------------------------------------

void WarnOfOtherReaders(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) == 0 && (status.st_mode & (S_IRWXG | S_IRWXO)) != 0)
    Say(fmt::format("{}: others may read this private key; `chmod 600 {}` keeps it to its owner",
                    path, path));
}

bool Put(OutputFile& file, const std::string& path, const std::string& text) {
  if (WriteWhole(file.Descriptor(), text.data(), text.size())) return true;
  Say(fmt::format("{}: {}", path, TextOfErrno()));
  return false;
}

}  // namespace

std::optional<std::string> ReadSmallFile(const std::string& path, std::size_t most_bytes) {
  const int fd = OpenFile(path, O_RDONLY | O_NONBLOCK);
  if (!IsOpenDescriptor(fd)) return std::nullopt;
  std::string content;
  std::array<char, 4096> piece{};
  ssize_t got = 0;
  while (content.size() <= most_bytes && (got = ReadFile(fd, piece.data(), piece.size())) > 0)
    content.append(piece.data(), static_cast<std::size_t>(got));
  const int error = content.size() > most_bytes ? EFBIG : errno;
  static_cast<void>(CloseFile(fd));  // nothing was written
  errno = error;
  if (got < 0 || content.size() > most_bytes) return std::nullopt;
  return content;
}

std::optional<std::string> ReadPassphrase(const PassphraseOptions& options, const std::string& key,
                                          bool twice) {
  if (!options.file.empty()) return ReadFromFile(options.file);
  if (options.descriptor)
    return Checked(ReadLine(*options.descriptor),
                   fmt::format("--passphrase-fd {}", *options.descriptor));
  return AskOnTerminal(key, twice);
}

std::optional<PrivateKey> ReadPrivateKey(const std::string& path,
                                         const PassphraseOptions& options) {
  const auto pem = ReadSmallFile(path, kMostKeyBytes);
  if (!pem) return Refuse(path, TextOfErrno());
  std::string error;
  auto key = PrivateKey::FromPem(
      *pem, [&] { return ReadPassphrase(options, path, false); }, error);
  if (key) WarnOfOtherReaders(path);
  if (!key && !error.empty()) Say(fmt::format("{}: {}", path, error));
  return key;
}

std::optional<PublicKey> ReadPublicKey(const std::string& path) {
  const auto pem = ReadSmallFile(path, kMostKeyBytes);
  if (!pem) return Refuse(path, TextOfErrno());
  std::string error;
  auto key = PublicKey::FromPem(*pem, error);
  if (!key) Say(fmt::format("{}: {}", path, error));
  return key;
}

std::optional<PublicKey> ReadEitherKey(const std::string& path, const PassphraseOptions& options) {
  const auto pem = ReadSmallFile(path, kMostKeyBytes);
  if (!pem) return Refuse(path, TextOfErrno());
  std::string error;
  if (auto key = PublicKey::FromPem(*pem, error)) return key;
  const auto key = ReadPrivateKey(path, options);
  return key ? std::optional(key->Public()) : std::nullopt;
}

std::string PublicKeyPath(const std::string& path) { return path + ".pub"; }

std::optional<PublicKey> MakeKeyFiles(const std::string& path, const PassphraseOptions& options) {
  std::optional<std::string> passphrase;
  const std::string public_path = PublicKeyPath(path);
  for (const std::string& made : {path, public_path})
    if (access(made.c_str(), F_OK) == 0)
      return Refuse(made, "exists, and a key is never replaced; give another name");
  if (options.ask || options.IsGiven()) {
    passphrase = ReadPassphrase(options, path, true);
    if (!passphrase) return std::nullopt;
  }
  std::string error;
  const auto key = PrivateKey::Make(error);
  if (!key) return Refuse(path, error);
  OutputFile secret(path, false, "key");
  OutputFile shown(public_path, false, "key");
  const std::string pem = key->Pem(passphrase);
  if (pem.empty()) return Refuse(path, "the key cannot be written as text");
  if (!secret.Open() || !shown.Open() || !Put(secret, path, pem) ||
      !Put(shown, public_path, key->Public().Pem()) || !shown.TakeUsualMode())
    return std::nullopt;
  // A public half without its key can be told by everybody and helps nobody.
  const HeldSignals held;
  if (!secret.Settle() || !shown.Settle() || !secret.Publish()) return std::nullopt;
  if (shown.Publish()) return key->Public();
  static_cast<void>(unlink(path.c_str()));  // what is said of the other one says enough
  return std::nullopt;
}

}  // namespace vmr::tool
