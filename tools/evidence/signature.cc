#include "tools/evidence/signature.h"

#include <algorithm>
#include <array>

#include "tools/common/sha256.h"
#include "tools/evidence/libcrypto.h"

namespace vmr::tool {
namespace {

constexpr const char* kAlgorithm = "ED25519";

// Keys are made by functions that have loaded it.
const Libcrypto& Crypto() {
  std::string error;
  return *LoadLibcrypto(error);
}

using Bio = std::unique_ptr<BIO, decltype(&::BIO_free)>;

Bio ReadingFrom(std::string_view text) {
  return {Crypto().BIO_new_mem_buf(text.data(), static_cast<int>(text.size())), Crypto().BIO_free};
}

Bio WritingToMemory() { return {Crypto().BIO_new(Crypto().BIO_s_mem()), Crypto().BIO_free}; }

std::string ContentOf(const Bio& bio) {
  std::string content;
  std::array<char, 4096> piece{};
  for (int got = 0; (got = Crypto().BIO_read(bio.get(), piece.data(), piece.size())) > 0;)
    content.append(piece.data(), static_cast<std::size_t>(got));
  return content;
}

const unsigned char* BytesOf(std::string_view text) {
  return reinterpret_cast<const unsigned char*>(text.data());
}

std::shared_ptr<EVP_PKEY> Owned(EVP_PKEY* key) { return {key, Crypto().EVP_PKEY_free}; }

// OpenSSL asks again for each form that the key may have; whoever types is asked once.
struct Asked {
  const PrivateKey::AskPassphrase& ask;
  bool was_asked = false;
  std::optional<std::string> given;
};

// Called by OpenSSL when a key is behind a passphrase.
int GivePassphrase(char* to, int room, int /*writing*/, void* user) {
  auto* const asked = static_cast<Asked*>(user);
  if (!asked->was_asked) asked->given = asked->ask();
  asked->was_asked = true;
  const std::optional<std::string>& passphrase = asked->given;
  if (!passphrase || passphrase->size() > static_cast<std::size_t>(room)) return -1;
  std::copy(passphrase->begin(), passphrase->end(), to);
  return static_cast<int>(passphrase->size());
}

// What is taken for a public key and is behind a passphrase is none: without this OpenSSL would
// ask at the terminal whoever looks at somebody else's bag.
int GiveNone(char* /*to*/, int /*room*/, int /*writing*/, void* /*user*/) { return -1; }

// A stolen file is to be tried slowly: many rounds more than OpenSSL's usual 2048.
constexpr int kPassphraseRounds = 600000;

bool WriteEncrypted(EVP_PKEY* key, const std::string& passphrase, const Bio& out) {
  const Libcrypto& crypto = Crypto();
  PKCS8_PRIV_KEY_INFO* const plain = crypto.EVP_PKEY2PKCS8(key);
  X509_ALGOR* const algorithm = crypto.PKCS5_pbe2_set_iv(
      crypto.EVP_aes_256_cbc(), kPassphraseRounds, nullptr, 0, nullptr, NID_hmacWithSHA256);
  X509_SIG* const sealed =
      plain == nullptr || algorithm == nullptr
          ? nullptr
          : crypto.PKCS8_set0_pbe(passphrase.data(), static_cast<int>(passphrase.size()), plain,
                                  algorithm);
  if (sealed == nullptr) crypto.X509_ALGOR_free(algorithm);  // else the key owns it
  const bool written = sealed != nullptr && crypto.PEM_write_bio_PKCS8(out.get(), sealed) == 1;
  crypto.X509_SIG_free(sealed);
  crypto.PKCS8_PRIV_KEY_INFO_free(plain);
  return written;
}

}  // namespace

std::optional<PublicKey> PublicKey::FromPem(std::string_view pem, std::string& error) {
  const Libcrypto* const crypto = LoadLibcrypto(error);
  if (crypto == nullptr) return std::nullopt;
  const Bio bio = ReadingFrom(pem);
  const auto key = Owned(crypto->PEM_read_bio_PUBKEY(bio.get(), nullptr, GiveNone, nullptr));
  crypto->ERR_clear_error();
  if (key == nullptr)
    error = "is no public key (PEM, \"BEGIN PUBLIC KEY\")";
  else if (crypto->EVP_PKEY_is_a(key.get(), kAlgorithm) != 1)
    error = "is a public key of another kind than Ed25519";
  return error.empty() ? std::optional(PublicKey(key)) : std::nullopt;
}

std::string PublicKey::Pem() const {
  const Bio bio = WritingToMemory();
  return Crypto().PEM_write_bio_PUBKEY(bio.get(), key_.get()) == 1 ? ContentOf(bio) : "";
}

std::string PublicKey::Der() const {
  const int size = Crypto().i2d_PUBKEY(key_.get(), nullptr);
  if (size <= 0) return {};
  std::string der(static_cast<std::size_t>(size), '\0');
  auto* to = reinterpret_cast<unsigned char*>(der.data());
  Crypto().i2d_PUBKEY(key_.get(), &to);
  return der;
}

std::string PublicKey::Fingerprint() const { return Sha256Of(Der()); }

// It stands at the end of what says that it is one.
std::string PublicKey::Raw() const {
  constexpr std::size_t kKeyBytes = 32;
  const std::string der = Der();
  return der.size() < kKeyBytes ? "" : der.substr(der.size() - kKeyBytes);
}

bool PublicKey::Verifies(std::string_view message, std::string_view signature) const {
  const Libcrypto& crypto = Crypto();
  const std::unique_ptr<EVP_MD_CTX, decltype(&::EVP_MD_CTX_free)> context(crypto.EVP_MD_CTX_new(),
                                                                          crypto.EVP_MD_CTX_free);
  const bool holds =
      crypto.EVP_DigestVerifyInit(context.get(), nullptr, nullptr, nullptr, key_.get()) == 1 &&
      crypto.EVP_DigestVerify(context.get(), BytesOf(signature), signature.size(), BytesOf(message),
                              message.size()) == 1;
  crypto.ERR_clear_error();
  return holds;
}

std::optional<PrivateKey> PrivateKey::Make(std::string& error) {
  const Libcrypto* const crypto = LoadLibcrypto(error);
  if (crypto == nullptr) return std::nullopt;
  const auto key = Owned(crypto->EVP_PKEY_Q_keygen(nullptr, nullptr, kAlgorithm));
  if (key == nullptr) error = "no key can be made";
  return key == nullptr ? std::nullopt : std::optional(PrivateKey(key));
}

std::optional<PrivateKey> PrivateKey::FromPem(std::string_view pem, const AskPassphrase& ask,
                                              std::string& error) {
  const Libcrypto* const crypto = LoadLibcrypto(error);
  if (crypto == nullptr) return std::nullopt;
  const Bio bio = ReadingFrom(pem);
  Asked asked{ask, false, std::nullopt};
  const auto key =
      Owned(crypto->PEM_read_bio_PrivateKey(bio.get(), nullptr, GivePassphrase, &asked));
  crypto->ERR_clear_error();
  if (key != nullptr && crypto->EVP_PKEY_is_a(key.get(), kAlgorithm) == 1) return PrivateKey(key);
  if (key != nullptr)
    error = "is a private key of another kind than Ed25519";
  else if (!asked.was_asked)
    error = "is no private key (PEM of PKCS#8)";
  else if (asked.given)
    error = "cannot be opened by this passphrase";
  return std::nullopt;
}

std::string PrivateKey::Pem(const std::optional<std::string>& passphrase) const {
  const Bio bio = WritingToMemory();
  const bool written = passphrase
                           ? WriteEncrypted(key_.get(), *passphrase, bio)
                           : Crypto().PEM_write_bio_PKCS8PrivateKey(
                                 bio.get(), key_.get(), nullptr, nullptr, 0, nullptr, nullptr) == 1;
  return written ? ContentOf(bio) : "";
}

std::string PrivateKey::Sign(std::string_view message) const {
  const Libcrypto& crypto = Crypto();
  const std::unique_ptr<EVP_MD_CTX, decltype(&::EVP_MD_CTX_free)> context(crypto.EVP_MD_CTX_new(),
                                                                          crypto.EVP_MD_CTX_free);
  std::string signature(kSignatureBytes, '\0');
  std::size_t size = signature.size();
  const bool made =
      crypto.EVP_DigestSignInit(context.get(), nullptr, nullptr, nullptr, key_.get()) == 1 &&
      crypto.EVP_DigestSign(context.get(), reinterpret_cast<unsigned char*>(signature.data()),
                            &size, BytesOf(message), message.size()) == 1;
  return made && size == kSignatureBytes ? signature : "";
}

}  // namespace vmr::tool
