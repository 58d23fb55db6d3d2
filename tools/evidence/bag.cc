#include "tools/evidence/bag.h"

#include <fmt/format.h>

#include <algorithm>

#include "backends/file_io.h"
#include "tools/common/sha256.h"
#include "tools/evidence/minisign.h"

namespace vmr::tool {

std::unique_ptr<ZipBytes> Bag::File::Content() const {
  if (scratch) return std::make_unique<FileBytes>(scratch->Descriptor());
  return std::make_unique<MemoryBytes>(text);
}

std::string Bag::File::Digest() const {
  return scratch ? Sha256OfFile(scratch->Descriptor()).value_or("") : Sha256Of(text);
}

void Bag::AddPayload(const std::string& name, std::string text) {
  files_.push_back({kPayloadFolder + name, std::move(text), std::nullopt});
}

void Bag::AddPayload(const std::string& name, ScratchFile file) {
  files_.push_back({kPayloadFolder + name, "", std::move(file)});
}

void Bag::AddTag(const char* name, std::string text) {
  files_.push_back({name, std::move(text), std::nullopt});
}

bool Bag::ListFiles(bool payload, std::string& manifest, std::string& error) const {
  std::vector<ManifestLine> lines;
  for (const File& file : files_) {
    if (IsPayload(file.name) != payload) continue;
    lines.push_back({file.Digest(), file.name});
    if (lines.back().sha256.empty())
      return error = fmt::format("{} cannot be read again: {}", file.name, TextOfErrno()), false;
  }
  std::sort(lines.begin(), lines.end(),
            [](const auto& a, const auto& b) { return StandsBefore(a.name, b.name); });
  manifest = ManifestText(lines);
  return true;
}

std::string Bag::Oxum() const {
  std::uint64_t bytes = 0;
  for (const File& file : files_) bytes += file.Content()->Size();
  return fmt::format("{}.{}", bytes, files_.size());
}

bool Bag::Seal(BagInfo info, const std::string& readme, const std::optional<PrivateKey>& key,
               std::string& error) {
  std::string manifest;
  if (!ListFiles(true, manifest, error)) return false;
  info.emplace_back(kPayloadOxumTag, Oxum());
  info.emplace_back(kArchiveWriterTag, ZipWriterName());
  if (key) info.emplace_back(kSignerTag, key->Public().Fingerprint());
  AddTag(kBagitFile, kBagitText);
  AddTag(kBagInfoFile, BagInfoText(info));
  AddTag(kReadmeFile, readme);
  AddTag(kManifestFile, manifest);
  if (key) {
    AddTag(kSignerFile, key->Public().Pem());
    AddTag(kMinisignKeyFile, MinisignKeyFile(key->Public()));
  }
  if (!ListFiles(false, tag_manifest_, error)) return false;
  AddTag(kTagManifestFile, tag_manifest_);
  if (!key) return true;
  signature_ = key->Sign(tag_manifest_);
  const std::string minisig = MinisignSignature(*key, signature_);
  if (signature_.empty() || minisig.empty()) return error = "the signature cannot be made", false;
  AddTag(kSignatureFile, signature_);
  AddTag(kMinisignFile, minisig);
  return true;
}

void Bag::AddStamp(std::string reply) { AddTag(kStampFile, std::move(reply)); }

bool Bag::Write(std::int64_t time_s, ZipBytes& target, std::string& error) const {
  std::vector<const File*> files;
  for (const File& file : files_) files.push_back(&file);
  std::sort(files.begin(), files.end(),
            [](const File* a, const File* b) { return StandsBefore(a->name, b->name); });
  std::vector<std::unique_ptr<ZipBytes>> contents;
  std::vector<ZipPiece> pieces;
  for (const File* const file : files) {
    contents.push_back(file->Content());
    pieces.push_back({kBagFolder + file->name, contents.back().get()});
  }
  return WriteZip(pieces, time_s, target, error);
}

}  // namespace vmr::tool
