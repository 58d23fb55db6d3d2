#include "tools/common/sha256.h"

#include <errno.h>
#include <fmt/format.h>
#include <openssl/evp.h>
#include <unistd.h>

#include <array>
#include <vector>

namespace vmr::tool {

struct Sha256::Context {
  EVP_MD_CTX* evp = EVP_MD_CTX_new();

  Context() = default;
  ~Context() { EVP_MD_CTX_free(evp); }
  Context(const Context&) = delete;
  Context& operator=(const Context&) = delete;
};

Sha256::Sha256() : context_(std::make_unique<Context>()) {
  failed_ =
      context_->evp == nullptr || EVP_DigestInit_ex(context_->evp, EVP_sha256(), nullptr) != 1;
}

Sha256::~Sha256() = default;

void Sha256::Add(std::string_view bytes) {
  if (!failed_) failed_ = EVP_DigestUpdate(context_->evp, bytes.data(), bytes.size()) != 1;
}

std::optional<std::string> Sha256::Digest() {
  std::array<unsigned char, EVP_MAX_MD_SIZE> bytes{};
  unsigned int count = 0;
  if (failed_ || EVP_DigestFinal_ex(context_->evp, bytes.data(), &count) != 1) return std::nullopt;
  failed_ = true;
  std::string digits;
  for (unsigned int i = 0; i < count; ++i) digits += fmt::format("{:02x}", bytes[i]);
  return digits;
}

std::optional<std::string> Sha256Of(std::string_view bytes) {
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
