// A bag in the making: files, their digests, a signature, an archive.
#ifndef VMR_TOOLS_EVIDENCE_BAG_H_
#define VMR_TOOLS_EVIDENCE_BAG_H_

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/common/scratch_file.h"
#include "tools/evidence/bag_format.h"
#include "tools/evidence/signature.h"
#include "tools/evidence/zip_file.h"

namespace vmr::tool {

// Files are added, then it is sealed, then it is written.
//
// Owns     what is in it.
class Bag {
 public:
  // `name` without kPayloadFolder.
  void AddPayload(const std::string& name, std::string text);
  void AddPayload(const std::string& name, ScratchFile file);
  // Adds what is added behind it: manifests, and with a key a signature. `info` without what
  // follows from the bag itself. False, and `error`, when a file cannot be read.
  bool Seal(BagInfo info, const std::string& readme, const std::optional<PrivateKey>& key,
            std::string& error);
  // Sealed; what was signed.
  const std::string& TagManifest() const { return tag_manifest_; }
  // Sealed; 64 bytes, empty without a key.
  const std::string& SignatureBytes() const { return signature_; }
  void AddStamp(std::string reply);
  bool Write(std::int64_t time_s, ZipBytes& target, std::string& error) const;

 private:
  struct File {
    std::string name;
    std::string text;
    std::optional<ScratchFile> scratch;  // else it is the text

    std::unique_ptr<ZipBytes> Content() const;
    // Empty when it cannot be read.
    std::string Digest() const;
  };

  void AddTag(const char* name, std::string text);
  // A line for each that is payload, or each that is none.
  bool ListFiles(bool payload, std::string& manifest, std::string& error) const;
  std::string Oxum() const;

  std::vector<File> files_;
  std::string tag_manifest_;
  std::string signature_;
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_EVIDENCE_BAG_H_
