#include "tools/common/sha256.h"

#include <errno.h>
#include <fmt/format.h>
#include <nettle/sha2.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <vector>

namespace vmr::tool {

struct Sha256::Context {
  sha256_ctx state;
};

Sha256::Sha256() : context_(std::make_unique<Context>()) { sha256_init(&context_->state); }

Sha256::~Sha256() = default;

void Sha256::Add(std::string_view bytes) {
  sha256_update(&context_->state, bytes.size(),
                reinterpret_cast<const std::uint8_t*>(bytes.data()));
}

std::string Sha256::Digest() {
  std::array<std::uint8_t, SHA256_DIGEST_SIZE> bytes{};
  sha256_digest(&context_->state, bytes.size(), bytes.data());
  std::string digits;
  for (const std::uint8_t byte : bytes) digits += fmt::format("{:02x}", byte);
  return digits;
}

std::string Sha256Of(std::string_view bytes) {
  Sha256 sha;
  sha.Add(bytes);
  return sha.Digest();
}

std::optional<std::string> Sha256OfFile(int fd) {
  constexpr std::size_t kPieceBytes = 256UL * 1024;
  Sha256 sha;
  std::vector<char> piece(kPieceBytes);
  for (off_t at = 0;;) {
    errno = 0;
    const ssize_t got = pread(fd, piece.data(), piece.size(), at);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return std::nullopt;
    if (got == 0) return sha.Digest();
    sha.Add({piece.data(), static_cast<std::size_t>(got)});
    at += got;
  }
}

}  // namespace vmr::tool
