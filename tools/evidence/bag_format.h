// What the files of a bag are called and how its own ones read (BagIt 1.0, RFC 8493).
//
//   evidence/bagit.txt                    which kind of folder this is
//   evidence/bag-info.txt                 when, why, for what and by whom
//   evidence/README.txt                   how to check it without this program
//   evidence/manifest-sha256.txt          a digest of each file below data/
//   evidence/signer-public-key.pem        the key that the signature is checked by
//   evidence/signer-public-key.minisign   the same for minisign
//   evidence/tagmanifest-sha256.txt       a digest of each of the above
//   evidence/tagmanifest-sha256.txt.sig   Ed25519 over the file tagmanifest-sha256.txt
//   evidence/tagmanifest-sha256.txt.minisig   the same for minisign
//   evidence/tagmanifest-sha256.txt.tsr   RFC 3161 reply for that file
//   evidence/data/...                     what is handed on
#ifndef VMR_TOOLS_EVIDENCE_BAG_FORMAT_H_
#define VMR_TOOLS_EVIDENCE_BAG_FORMAT_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vmr::tool {

inline constexpr const char* kBagFolder = "evidence/";
inline constexpr const char* kPayloadFolder = "data/";

inline constexpr const char* kBagitFile = "bagit.txt";
inline constexpr const char* kBagInfoFile = "bag-info.txt";
inline constexpr const char* kReadmeFile = "README.txt";
inline constexpr const char* kManifestFile = "manifest-sha256.txt";
inline constexpr const char* kSignerFile = "signer-public-key.pem";
inline constexpr const char* kMinisignKeyFile = "signer-public-key.minisign";
inline constexpr const char* kTagManifestFile = "tagmanifest-sha256.txt";
inline constexpr const char* kSignatureFile = "tagmanifest-sha256.txt.sig";
inline constexpr const char* kMinisignFile = "tagmanifest-sha256.txt.minisig";
inline constexpr const char* kStampFile = "tagmanifest-sha256.txt.tsr";

inline constexpr const char* kBagitText =
    "BagIt-Version: 1.0\nTag-File-Character-Encoding: UTF-8\n";

inline bool IsPayload(std::string_view name) { return name.rfind(kPayloadFolder, 0) == 0; }
// Of the files that are no payload, those that no manifest can list: they come behind it.
bool IsBehindTagManifest(std::string_view name);

// Whether `a` stands before `b` in an archive as it is written.
bool StandsBefore(std::string_view a, std::string_view b);

// ---- Manifests -------------------------------------------------------------------

struct ManifestLine {
  std::string sha256;  // 64 digits, lower case
  std::string name;
};
std::string ManifestText(const std::vector<ManifestLine>& lines);
// Nothing, and `error` with the line's number, for a text that is no manifest.
std::optional<std::vector<ManifestLine>> ParseManifest(std::string_view text, std::string& error);

// ---- bag-info.txt ----------------------------------------------------------------

using BagInfo = std::vector<std::pair<std::string, std::string>>;

inline constexpr const char* kPackagingTimeTag = "Packaging-Time";
inline constexpr const char* kArchiveWriterTag = "Archive-Writer";
inline constexpr const char* kPayloadOxumTag = "Payload-Oxum";
inline constexpr const char* kSignerTag = "Signer-Key-SHA256";
inline constexpr const char* kRedactionTag = "Redaction";
inline constexpr const char* kRedactedByTag = "Redacted-By";
// Of the bag that is made of the same without redaction: its signature's digest, which nobody
// reckons who only guesses what was taken out, or without a key its tag manifest's.
inline constexpr const char* kUnredactedSignatureTag = "Unredacted-Signature-SHA256";
inline constexpr const char* kUnredactedManifestTag = "Unredacted-Tag-Manifest-SHA256";

// Why `text` may not be a value: with a line break somebody could write a tag of his own.
// Empty: it may.
std::string WhyNoTagValue(std::string_view text);
std::string BagInfoText(const BagInfo& info);
// Lines that are none are left out.
BagInfo ParseBagInfo(std::string_view text);
// The first value of that tag; nothing: there is none.
std::optional<std::string> ValueIn(const BagInfo& info, std::string_view tag);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_EVIDENCE_BAG_FORMAT_H_
