#include "tools/evidence/bag_verdict.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <set>

#include "tools/common/console.h"
#include "tools/common/iso_time.h"
#include "tools/common/sha256.h"
#include "tools/evidence/bag_format.h"
#include "tools/evidence/minisign.h"
#include "tools/evidence/time_stamp.h"

namespace vmr::tool {
namespace {

using Kind = BagVerdict::Kind;

// What a file of the bag was found to hold.
struct Looked {
  std::uint64_t bytes = 0;
  std::string sha256;
  std::string damage;  // not empty: it cannot be read to its end, and why
  std::string text;    // of a file that IsLookedInto
};

// What is looked into, and not only at its digest.
bool IsLookedInto(std::string_view name) {
  return name == kBagitFile || name == kBagInfoFile || name == kManifestFile ||
         name == kSignerFile || IsBehindTagManifest(name);
}

const char* Plural(std::size_t count) { return count == 1 ? "" : "s"; }

class Look {
 public:
  Look(const BagSource& bag, const std::optional<PublicKey>& key) : bag_(bag), key_(key) {}

  BagVerdict Take() {
    if (!ReadAll()) return std::move(verdict_);
    for (const std::string& name : bag_.Beside())
      Fails(fmt::format("{}: stands beside the bag and is no part of it", name));
    CheckBagit();
    CheckManifest(kTagManifestFile, false);
    CheckManifest(kManifestFile, true);
    CheckOxum();
    TellRedaction();
    CheckSignature();
    CheckStamp();
    return std::move(verdict_);
  }

 private:
  void Add(Kind kind, const std::string& text) {
    verdict_.lines.push_back({kind, Printable(text)});
  }
  void Holds(const std::string& text) { Add(Kind::kHolds, text); }
  void Note(const std::string& text) { Add(Kind::kNote, text); }
  void Fails(const std::string& text) { Add(Kind::kFails, text); }

  const Looked* Find(const std::string& name) const {
    const auto found = files_.find(name);
    return found == files_.end() ? nullptr : &found->second;
  }

  // Each once. False when one cannot be read at all.
  bool ReadAll() {
    for (const BagSource::File& file : bag_.Files()) {
      const bool keeps = IsLookedInto(file.name);
      if (keeps && file.bytes > BagSource::kMostSmallBytes) {
        verdict_.error = file.name + " is longer than any file of its kind";
        return false;
      }
      Looked looked;
      Sha256 sha;
      const auto take = [&](std::string_view piece) {
        sha.Add(piece);
        looked.bytes += piece.size();
        if (keeps) looked.text += piece;
      };
      std::string error;
      const ReadResult result = bag_.Read(file, take, error);
      if (result == ReadResult::kUnreadable) {
        verdict_.error = fmt::format("{}: {}", file.name, error);
        return false;
      }
      if (result == ReadResult::kDamaged) looked.damage = error;
      looked.sha256 = sha.Digest();
      files_.emplace(file.name, std::move(looked));
    }
    return true;
  }

  void CheckBagit() {
    const Looked* const bagit = Find(kBagitFile);
    if (bagit == nullptr) return Fails("bagit.txt: is missing");
    if (bagit->text.rfind("BagIt-Version: 1.0", 0) != 0)
      Fails("bagit.txt: tells another version of BagIt than 1.0");
    if (Find("fetch.txt") != nullptr)
      Fails("fetch.txt: tells of files that are elsewhere; nothing can be said of those");
  }

  // ---- Manifests -----------------------------------------------------------------

  // What is wrong of the files that a manifest is about.
  struct Differences {
    std::vector<ManifestLine> missing;
    std::vector<std::string> changed;
    std::vector<std::string> added;
  };

  static bool IsListedBy(const std::string& name, bool payload) {
    return IsPayload(name) == payload && (payload || !IsBehindTagManifest(name));
  }

  void CheckManifest(const char* manifest, bool payload) {
    const Looked* const file = Find(manifest);
    if (file == nullptr) return Fails(fmt::format("{}: is missing", manifest));
    std::string error = file->damage;
    const auto lines = error.empty() ? ParseManifest(file->text, error) : std::nullopt;
    if (!lines) return Fails(fmt::format("{}: {}", manifest, error));
    const std::size_t failed_before = verdict_.lines.size();
    const Differences differences = Compare(manifest, *lines, payload);
    Tell(manifest, differences);
    if (verdict_.lines.size() == failed_before)
      Holds(fmt::format("{}: {} file{}, none changed, missing or added", manifest, lines->size(),
                        Plural(lines->size())));
  }

  Differences Compare(const char* manifest, const std::vector<ManifestLine>& lines, bool payload) {
    Differences differences;
    std::set<std::string> listed;
    for (const ManifestLine& line : lines) {
      if (!listed.insert(line.name).second)
        Fails(fmt::format("{}: lists {} twice", manifest, line.name));
      if (!IsListedBy(line.name, payload))
        Fails(fmt::format("{}: lists {}, which it is not about", manifest, line.name));
      const Looked* const file = Find(line.name);
      if (file == nullptr)
        differences.missing.push_back(line);
      else if (!file->damage.empty())
        Fails(fmt::format("{}: is damaged ({})", line.name, file->damage));
      else if (file->sha256 != line.sha256)
        differences.changed.push_back(line.name);
    }
    for (const auto& [name, file] : files_)
      if (IsListedBy(name, payload) && listed.count(name) == 0) differences.added.push_back(name);
    return differences;
  }

  void Tell(const char* manifest, const Differences& differences) {
    std::vector<std::string> added = differences.added;
    for (const std::string& name : differences.changed)
      Fails(fmt::format("{}: is not what {} says; its SHA-256 is {}", name, manifest,
                        Find(name)->sha256));
    for (const ManifestLine& line : differences.missing) {
      const auto same = std::find_if(added.begin(), added.end(), [&](const std::string& name) {
        return Find(name)->sha256 == line.sha256;
      });
      if (same == added.end()) {
        Fails(fmt::format("{}: is missing", line.name));
        continue;
      }
      Fails(fmt::format("{}: was renamed, it is there as {}", line.name, *same));
      added.erase(same);
    }
    for (const std::string& name : added)
      Fails(fmt::format("{}: was added, {} does not list it", name, manifest));
  }

  void CheckOxum() {
    const auto told = Info(kPayloadOxumTag);
    if (!told) return;
    std::uint64_t bytes = 0;
    std::size_t count = 0;
    for (const auto& [name, file] : files_)
      if (IsPayload(name)) bytes += file.bytes, ++count;
    const std::string found = fmt::format("{}.{}", bytes, count);
    if (found != *told)
      Fails(fmt::format("bag-info.txt: tells of {} bytes and files, there are {}", *told, found));
  }

  std::optional<std::string> Info(const char* tag) const {
    const Looked* const info = Find(kBagInfoFile);
    return info == nullptr ? std::nullopt : ValueIn(ParseBagInfo(info->text), tag);
  }

  // Nothing to check: the bag says so itself.
  void TellRedaction() {
    if (const auto list = Info(kRedactionTag))
      Note(fmt::format("redacted: without {}, taken out by {}", *list,
                       Info(kRedactedByTag).value_or("nobody who is named")));
  }

  // ---- Signature -----------------------------------------------------------------

  void CheckSignature() {
    const Looked* const signature = Find(kSignatureFile);
    const Looked* const tag_manifest = Find(kTagManifestFile);
    if (signature == nullptr) return CheckUnsigned();
    if (tag_manifest == nullptr)
      return Fails("signature: what it is of, the tag manifest, is missing");
    const std::optional<PublicKey> own = OwnKey();
    if (!own && !key_)
      return Fails("signature: the bag has no public key to check it by; give it with --key");
    const auto holds_by = [&](const std::optional<PublicKey>& key) {
      return key && key->Verifies(tag_manifest->text, signature->text);
    };
    const std::string own_text = own ? own->Fingerprint() : "";
    if (!key_ && holds_by(own)) {
      Holds(fmt::format("signature: by key {}", own_text));
      CheckMinisign(*own, signature->text);
      Note("whose key that is, the bag cannot tell: compare it, or give the signer's with --key");
    } else if (holds_by(key_)) {
      Holds(fmt::format("signature: by the key that was given, {}", key_->Fingerprint()));
      CheckMinisign(*key_, signature->text);
    } else if (key_ && holds_by(own)) {
      Fails(fmt::format("signature: by another key than was given, {}", own_text));
    } else {
      Fails("signature: is not of this tag manifest");
    }
  }

  // Of a signature that holds.
  void CheckMinisign(const PublicKey& key, const std::string& signature) {
    const Looked* const file = Find(kMinisignFile);
    if (file == nullptr)
      Fails(fmt::format("{}: is missing", kMinisignFile));
    else if (!IsMinisignSignature(file->text, key, signature))
      Fails(fmt::format("{}: is not this signature", kMinisignFile));
  }

  void CheckUnsigned() {
    if (Find(kMinisignFile) != nullptr || Find(kSignerFile) != nullptr || Info(kSignerTag))
      Fails("signature: is missing, and the bag tells of a signer");
    else if (key_)
      Fails("signature: there is none");
    else
      Note("signature: there is none; nothing keeps a bag like this from being made anew");
  }

  // Nothing when there is none that can be read, which is said.
  std::optional<PublicKey> OwnKey() {
    const Looked* const file = Find(kSignerFile);
    if (file == nullptr) return std::nullopt;
    std::string error;
    auto key = PublicKey::FromPem(file->text, error);
    if (!key) Fails(fmt::format("{}: {}", kSignerFile, error));
    return key;
  }

  // ---- Time stamp ----------------------------------------------------------------

  void CheckStamp() {
    const Looked* const reply = Find(kStampFile);
    const Looked* const tag_manifest = Find(kTagManifestFile);
    if (reply == nullptr || tag_manifest == nullptr) return;
    std::string error;
    const auto stamp = ReadTimeStampReply(reply->text, error);
    if (!stamp) return Fails(fmt::format("time stamp: {}", error));
    if (stamp->sha256 != tag_manifest->sha256)
      return Fails("time stamp: is of something else than this tag manifest");
    Note(
        fmt::format("time stamp: is of this tag manifest and says {}; whether an authority made it "
                    "is not looked at here, `openssl ts -verify` does",
                    stamp->time));
  }

  const BagSource& bag_;
  const std::optional<PublicKey>& key_;
  std::map<std::string, Looked> files_;
  BagVerdict verdict_;
};

// Of a bag that holds.
BagVerdict::Line FormOf(const ZipBag& bag, ZipBytes& bytes, bool& is_packed_anew) {
  std::string text, error;
  for (const BagSource::File& file : bag.Files())
    if (file.name == kBagInfoFile) static_cast<void>(bag.ReadSmall(file, text, error));
  const BagInfo info = ParseBagInfo(text);
  const auto made = ValueIn(info, kPackagingTimeTag);
  const auto made_us = made ? ParseIsoTime(*made) : std::nullopt;
  if (made_us && bag.IsAsWritten(bytes, *made_us / kMicrosecondsPerSecond))
    return {Kind::kHolds, "archive: byte for byte as it was made"};
  const auto writer = ValueIn(info, kArchiveWriterTag);
  if (made_us && writer && *writer != ZipWriterName())
    return {Kind::kNote,
            Printable(fmt::format("archive: written by {}, here is {}: whether it was packed anew "
                                  "cannot be told",
                                  *writer, ZipWriterName()))};
  is_packed_anew = true;
  return {Kind::kNote, fmt::format("archive: packed anew, or changed outside of the files in it{}",
                                   bag.IsInOrder() ? "" : "; they stand in another order")};
}

}  // namespace

bool BagVerdict::Holds() const {
  return error.empty() && std::none_of(lines.begin(), lines.end(),
                                       [](const Line& line) { return line.kind == Kind::kFails; });
}

int BagVerdict::ExitCode() const {
  if (!error.empty()) return kExitFailure;
  return Holds() ? kExitSuccess : kExitPartial;
}

BagVerdict LookAtBag(const BagSource& bag, const std::optional<PublicKey>& key) {
  return Look(bag, key).Take();
}

BagVerdict LookAtBagArchive(ZipBytes& bytes, const std::optional<PublicKey>& key) {
  BagVerdict verdict;
  const auto bag = ZipBag::Open(bytes, verdict.error);
  if (bag == nullptr) return verdict;
  verdict = LookAtBag(*bag, key);
  if (verdict.Holds()) verdict.lines.push_back(FormOf(*bag, bytes, verdict.is_packed_anew));
  return verdict;
}

}  // namespace vmr::tool
