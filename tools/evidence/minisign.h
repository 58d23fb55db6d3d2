// A bag's signature as minisign reads it: the same 64 bytes in another form.
//
//   untrusted comment: signature of tagmanifest-sha256.txt
//   base64 of  "Ed" | key ID (8 bytes) | signature (64 bytes)
//   trusted comment: tagmanifest-sha256.txt
//   base64 of  Ed25519 over signature | trusted comment (64 bytes)
//
// "Ed" says that the message itself was signed and not a digest of it. The key ID is the key's
// first 8 bytes.
#ifndef VMR_TOOLS_EVIDENCE_MINISIGN_H_
#define VMR_TOOLS_EVIDENCE_MINISIGN_H_

#include <string>
#include <string_view>

#include "tools/evidence/signature.h"

namespace vmr::tool {

// "RW...", as `minisign -P` takes it.
std::string MinisignKey(const PublicKey& key);
// The file that `minisign -p` takes.
std::string MinisignKeyFile(const PublicKey& key);

// `signature` is key's own, of the tag manifest. Empty when the comment cannot be signed.
std::string MinisignSignature(const PrivateKey& key, const std::string& signature);
// Whether `file` is what the holder of `key` makes of that signature; nothing else in it may
// differ.
bool IsMinisignSignature(std::string_view file, const PublicKey& key, const std::string& signature);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_EVIDENCE_MINISIGN_H_
