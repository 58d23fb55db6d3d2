#include "tools/evidence/minisign.h"

#include <fmt/format.h>
#include <nettle/base64.h>

#include "tools/evidence/bag_format.h"

namespace vmr::tool {
namespace {

constexpr std::string_view kOfMessage = "Ed";
constexpr std::string_view kComment = kTagManifestFile;

std::string Base64(std::string_view bytes) {
  std::string text(BASE64_ENCODE_RAW_LENGTH(bytes.size()), '\0');
  base64_encode_raw(text.data(), bytes.size(), reinterpret_cast<const std::uint8_t*>(bytes.data()));
  return text;
}

// Empty for what is no base64.
std::string FromBase64(std::string_view text) {
  struct base64_decode_ctx context {};
  base64_decode_init(&context);
  std::string bytes(BASE64_DECODE_LENGTH(text.size()), '\0');
  std::size_t size = bytes.size();
  const bool decoded =
      base64_decode_update(&context, &size, reinterpret_cast<std::uint8_t*>(bytes.data()),
                           text.size(), text.data()) == 1 &&
      base64_decode_final(&context) == 1;
  bytes.resize(decoded ? size : 0);
  return bytes;
}

std::string WithKeyId(const PublicKey& key, std::string_view bytes) {
  constexpr std::size_t kIdBytes = 8;
  return std::string(kOfMessage) + key.Raw().substr(0, kIdBytes) + std::string(bytes);
}

std::string FileOf(const PublicKey& key, const std::string& signature,
                   const std::string& comment_signature) {
  return fmt::format("untrusted comment: signature of {}\n{}\ntrusted comment: {}\n{}\n", kComment,
                     Base64(WithKeyId(key, signature)), kComment, Base64(comment_signature));
}

}  // namespace

std::string MinisignKey(const PublicKey& key) { return Base64(WithKeyId(key, key.Raw())); }

std::string MinisignKeyFile(const PublicKey& key) {
  return fmt::format("untrusted comment: the key of {}\n{}\n", kSignerFile, MinisignKey(key));
}

std::string MinisignSignature(const PrivateKey& key, const std::string& signature) {
  const std::string of_comment = key.Sign(signature + std::string(kComment));
  return of_comment.empty() ? "" : FileOf(key.Public(), signature, of_comment);
}

bool IsMinisignSignature(std::string_view file, const PublicKey& key,
                         const std::string& signature) {
  if (file.empty() || file.back() != '\n') return false;
  const std::string_view lines = file.substr(0, file.size() - 1);
  const std::string of_comment = FromBase64(lines.substr(lines.rfind('\n') + 1));
  return FileOf(key, signature, of_comment) == file &&
         key.Verifies(signature + std::string(kComment), of_comment);
}

}  // namespace vmr::tool
