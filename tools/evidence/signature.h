// Ed25519 keys and signatures, as any OpenSSL reads and checks them.
#ifndef VMR_TOOLS_EVIDENCE_SIGNATURE_H_
#define VMR_TOOLS_EVIDENCE_SIGNATURE_H_

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

struct evp_pkey_st;

namespace vmr::tool {

inline constexpr std::size_t kSignatureBytes = 64;

class PublicKey {
 public:
  // A PEM of SubjectPublicKeyInfo. Nothing, and `error`, for anything else.
  static std::optional<PublicKey> FromPem(std::string_view pem, std::string& error);

  std::string Pem() const;
  // SHA-256 of the SubjectPublicKeyInfo, hexadecimal.
  std::string Fingerprint() const;
  // The 32 bytes of the key itself.
  std::string Raw() const;
  bool Verifies(std::string_view message, std::string_view signature) const;

 private:
  friend class PrivateKey;
  explicit PublicKey(std::shared_ptr<evp_pkey_st> key) : key_(std::move(key)) {}

  // The SubjectPublicKeyInfo; empty when it could not be written.
  std::string Der() const;

  std::shared_ptr<evp_pkey_st> key_;
};

class PrivateKey {
 public:
  // Asked when the key turns out to be behind one; nothing: none is given.
  using AskPassphrase = std::function<std::optional<std::string>()>;

  // Nothing, and `error`, when there is no library for it.
  static std::optional<PrivateKey> Make(std::string& error);
  // A PEM of PKCS#8, be it encrypted. `error` stays empty when `ask` gave nothing.
  static std::optional<PrivateKey> FromPem(std::string_view pem, const AskPassphrase& ask,
                                           std::string& error);

  // Encrypted when there is a passphrase. Empty when it could not be written.
  std::string Pem(const std::optional<std::string>& passphrase) const;
  PublicKey Public() const { return PublicKey(key_); }
  // kSignatureBytes; empty when it could not be made. Always the same for the same message.
  std::string Sign(std::string_view message) const;

 private:
  explicit PrivateKey(std::shared_ptr<evp_pkey_st> key) : key_(std::move(key)) {}

  std::shared_ptr<evp_pkey_st> key_;
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_EVIDENCE_SIGNATURE_H_
