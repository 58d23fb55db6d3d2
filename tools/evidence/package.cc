#include "tools/evidence/package.h"

#include <fcntl.h>
#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "backends/file_io.h"
#include "tools/common/console.h"
#include "tools/common/iso_time.h"
#include "tools/common/made_time.h"
#include "tools/common/output_file.h"
#include "tools/common/sha256.h"
#include "tools/common/store_path.h"
#include "tools/evidence/bag.h"
#include "tools/evidence/bag_source.h"
#include "tools/evidence/bag_verdict.h"
#include "tools/evidence/payload.h"
#include "tools/evidence/statement.h"
#include "tools/evidence/time_stamp.h"
#include "tools/ring/report.h"

namespace vmr::tool {
namespace {

constexpr std::size_t kMostReplyBytes = std::size_t{1} << 20;

int Fail(const std::string& what, const std::string& why) {
  Say(fmt::format("{}: {}", what, why));
  return kExitFailure;
}

// Full seconds: what is written of it has no more.
std::optional<std::int64_t> TimeOfMaking_us(const PackageOptions& options) {
  const auto us = options.at_us ? options.at_us : MadeTime_us();
  if (!us) return std::nullopt;
  return *us / kMicrosecondsPerSecond * kMicrosecondsPerSecond;
}

BagInfo InfoOf(const PackageOptions& options, std::int64_t made_us) {
  const std::string time = UtcText(made_us);
  BagInfo info;
  const auto add = [&info](const char* tag, const std::string& value) {
    if (!value.empty()) info.emplace_back(tag, value);
  };
  add("Bag-Software-Agent", "vmr " VMR_VERSION);
  add("Bagging-Date", time.substr(0, 10));
  add(kPackagingTimeTag, time);
  add("External-Identifier", options.case_id);
  add("External-Description", options.reason);
  add("Contact-Name", options.by);
  return info;
}

std::string ReadmeOf(const PackageOptions& options, const std::optional<PrivateKey>& key) {
  ReadmeFacts facts;
  facts.signer = key ? key->Public().Fingerprint() : "";
  facts.is_redacted = options.redaction.has_value();
  return ReadmeText(facts);
}

bool WriteQueryInto(OutputFile& file, const std::string& path, const std::string& tag_manifest) {
  std::string error;
  const std::string query = TimeStampQuery(Sha256Of(tag_manifest), error);
  if (query.empty()) return Say(fmt::format("{}: {}", path, error)), false;
  if (!WriteWhole(file.Descriptor(), query.data(), query.size()))
    return Say(fmt::format("{}: {}", path, TextOfErrno())), false;
  return file.TakeUsualMode() && file.Settle();
}

// ---- Making ----------------------------------------------------------------------

// The files that a packaging leaves: the bag and, if asked for, the query.
class Outputs {
 public:
  explicit Outputs(const PackageOptions& options)
      : options_(options),
        bag_(options.out, options.force, "package"),
        query_(options.tsa_query, options.force, "query") {}

  bool Open() { return bag_.Open() && (!HasQuery() || query_.Open()); }

  // False after saying why not; nothing is there then.
  bool Write(const Bag& bag, std::int64_t made_us) {
    FileBytes target(bag_.Descriptor());
    std::string error;
    if (!bag.Write(made_us / kMicrosecondsPerSecond, target, error))
      return Say(fmt::format("{}: cannot be written whole: {}", options_.out, error)), false;
    digest_ = Sha256OfFile(bag_.Descriptor()).value_or("");
    if (HasQuery() && !WriteQueryInto(query_, options_.tsa_query, bag.TagManifest())) return false;
    const HeldSignals held;
    return bag_.TakeUsualMode() && bag_.Settle() && bag_.Publish() &&
           (!HasQuery() || query_.Publish());
  }
  const std::string& Digest() const { return digest_; }

 private:
  bool HasQuery() const { return !options_.tsa_query.empty(); }

  const PackageOptions& options_;
  OutputFile bag_;
  OutputFile query_;
  std::string digest_;
};

void Describe(const PackageOptions& options, const Bag& bag, const std::optional<PrivateKey>& key,
              const std::string& digest) {
  fmt::print("bag:     {}\n", options.out);
  fmt::print("sealed:  {}\n", Sha256Of(bag.TagManifest()));
  fmt::print("signed:  {}\n", key ? "by key " + key->Public().Fingerprint() : "no");
  if (options.redaction) fmt::print("without: {}\n", options.redaction->Text());
  if (!options.tsa_query.empty()) fmt::print("query:   {}\n", options.tsa_query);
  fmt::print("sha256:  {}\n", digest);
}

bool IsMade(int exit_code) { return exit_code == kExitSuccess || exit_code == kExitPartial; }

// Whether a file that is read for the bag, or the other one that is made, is to be written over.
bool OutputsAreFree(const PackageOptions& options) {
  const auto refuse = [](const std::string& path, const char* what) {
    Say(fmt::format("{}: is {}; give another file", path, what));
    return false;
  };
  for (const std::string& path : {options.out, options.tsa_query}) {
    if (path.empty()) continue;
    if (!options.sign.empty() && SameFile(path, options.sign)) return refuse(path, "the key");
    if (!options.passphrase.file.empty() && SameFile(path, options.passphrase.file))
      return refuse(path, "the file of the passphrase");
  }
  const std::string& query = options.tsa_query;
  if (query.empty()) return true;
  const tool::Recording store = FindRecording(options.asked.store, PathKind::kDetect);
  if (store.error.empty() && BelongsToRing(query, store.path))
    return refuse(query, "a file of the store");
  return !SameFile(query, options.out) || refuse(query, "what the bag is to be called");
}

// What a packaging has at hand all along.
struct Packaging {
  const PackageOptions& options;
  const std::optional<PrivateKey>& key;
  std::int64_t made_us;
  HeardMessages heard;
};

// Sealed, unless the exit code says that there is none.
int MakeBag(Packaging& packaging, const PackageOptions& options, BagInfo more, Bag& bag) {
  const PayloadRequest request = {options.asked,     options.out,
                                  packaging.made_us, options.at_us.has_value() || MadeTimeIsGiven(),
                                  options.redaction, options.by};
  const int exit_code = MakePayload(request, packaging.heard, bag);
  if (!IsMade(exit_code)) return exit_code;
  BagInfo info = InfoOf(options, packaging.made_us);
  info.insert(info.end(), more.begin(), more.end());
  std::string error;
  if (!bag.Seal(info, ReadmeOf(options, packaging.key), packaging.key, error))
    return Fail(options.out, error);
  return exit_code;
}

// The bag that is made without redaction is made for its digest, and nobody gets it.
int MakeRedactedBag(Packaging& packaging, Bag& bag) {
  PackageOptions unredacted = packaging.options;
  unredacted.redaction.reset();
  unredacted.at_us = packaging.made_us;  // as whoever makes it again has to say
  Bag whole;
  const int exit_code = MakeBag(packaging, unredacted, {}, whole);
  if (!IsMade(exit_code)) return exit_code;
  const bool is_signed = packaging.key.has_value();
  BagInfo info = {{kRedactionTag, packaging.options.redaction->Text()},
                  {kRedactedByTag, packaging.options.by},
                  {is_signed ? kUnredactedSignatureTag : kUnredactedManifestTag,
                   Sha256Of(is_signed ? whole.SignatureBytes() : whole.TagManifest())}};
  if (!is_signed)
    Say("without --sign, whoever guesses all that was taken out can try it on the unredacted "
        "bag's digest");
  return Gravest(exit_code, MakeBag(packaging, packaging.options, std::move(info), bag));
}

}  // namespace

int Package(const PackageOptions& options) {
  const auto made_us = TimeOfMaking_us(options);
  if (!made_us) return kExitUsage;
  std::string error;
  if (LoadLibzip(error) == nullptr) return Fail("package", error);
  if (!OutputsAreFree(options)) return kExitFailure;
  std::optional<PrivateKey> key;
  if (!options.sign.empty()) {
    key = ReadPrivateKey(options.sign, options.passphrase);
    if (!key) return kExitFailure;
  }
  Outputs outputs(options);
  if (!outputs.Open()) return kExitFailure;
  Bag bag;
  Packaging packaging = {options, key, *made_us, {}};
  const int exit_code =
      options.redaction ? MakeRedactedBag(packaging, bag) : MakeBag(packaging, options, {}, bag);
  if (!IsMade(exit_code)) return exit_code;
  if (!outputs.Write(bag, *made_us)) return kExitFailure;
  Describe(options, bag, key, outputs.Digest());
  return FinishOutput(exit_code);
}

// ---- Time stamps -----------------------------------------------------------------

namespace {

// A bag that is there, opened to be added to.
class OpenedBag {
 public:
  ~OpenedBag() {
    if (IsOpenDescriptor(fd_)) static_cast<void>(CloseFile(fd_));  // nothing was written
  }
  // False after saying why not.
  bool Open(const std::string& path) {
    fd_ = OpenFile(path, O_RDONLY);
    if (!IsOpenDescriptor(fd_)) return Fail(path, TextOfErrno()) == kExitSuccess;
    bytes_ = std::make_unique<FileBytes>(fd_);
    std::string error;
    source_ = ZipBag::Open(*bytes_, error);
    if (source_ == nullptr) return Fail(path, error) == kExitSuccess;
    const BagVerdict verdict = LookAtBagArchive(*bytes_, std::nullopt);
    if (!verdict.Holds() || verdict.is_packed_anew)
      return Fail(path, fmt::format("is {}, and is not to be stamped; `vmr verify` says what of it "
                                    "holds",
                                    verdict.Holds() ? "packed anew" : "no bag that holds")) ==
             kExitSuccess;
    for (const BagSource::File& file : source_->Files()) {
      is_stamped_ = is_stamped_ || file.name == kStampFile;
      if (file.name != kTagManifestFile && file.name != kBagInfoFile) continue;
      std::string& content = file.name == kBagInfoFile ? info_ : tag_manifest_;
      if (source_->ReadSmall(file, content, error) != ReadResult::kRead)
        return Fail(path, file.name + ": " + error) == kExitSuccess;
    }
    if (tag_manifest_.empty())
      return Fail(path, "has no tag manifest that could be stamped") == kExitSuccess;
    return true;
  }
  const ZipBag& Source() const { return *source_; }
  const std::string& TagManifest() const { return tag_manifest_; }
  bool IsStamped() const { return is_stamped_; }
  // Nothing when the bag does not tell when it was made.
  std::optional<std::int64_t> MadeAt() const {
    const auto told = ValueIn(ParseBagInfo(info_), kPackagingTimeTag);
    return told ? ParseIsoTime(*told) : std::nullopt;
  }

 private:
  int fd_ = -1;
  std::unique_ptr<FileBytes> bytes_;
  std::unique_ptr<ZipBag> source_;
  std::string tag_manifest_, info_;
  bool is_stamped_ = false;
};

// The same files, and the reply in its place.
bool WriteWithReply(const OpenedBag& bag, const std::string& reply, ZipBytes& target,
                    std::string& error) {
  MemoryBytes stamp(reply);
  std::vector<std::unique_ptr<ZipBytes>> contents;
  std::vector<ZipPiece> pieces;
  const std::string base = bag.Source().Base();
  for (const BagSource::File& file : bag.Source().Files()) {
    if (file.name == kStampFile) continue;
    contents.push_back(bag.Source().ContentOf(file));
    pieces.push_back({base + file.name, contents.back().get()});
  }
  pieces.push_back({base + kStampFile, &stamp});
  std::sort(pieces.begin(), pieces.end(), [&base](const ZipPiece& a, const ZipPiece& b) {
    return StandsBefore(a.name.substr(base.size()), b.name.substr(base.size()));
  });
  return WriteZip(pieces, bag.MadeAt().value_or(0) / kMicrosecondsPerSecond, target, error);
}

}  // namespace

int WriteTimeStampQuery(const std::string& path, const std::string& query, bool force) {
  OpenedBag bag;
  if (SameFile(path, query)) return Fail(query, "is the bag; give another file");
  if (!bag.Open(path)) return kExitFailure;
  OutputFile file(query, force, "query");
  return file.Open() && WriteQueryInto(file, query, bag.TagManifest()) && file.Publish()
             ? kExitSuccess
             : kExitFailure;
}

int AddTimeStampReply(const std::string& path, const std::string& reply_path, bool force) {
  OpenedBag bag;
  if (!bag.Open(path)) return kExitFailure;
  if (bag.IsStamped() && !force) return Fail(path, "has a time stamp; --force replaces it");
  const auto reply = ReadSmallFile(reply_path, kMostReplyBytes);
  if (!reply) return Fail(reply_path, TextOfErrno());
  std::string error;
  const auto stamp = ReadTimeStampReply(*reply, error);
  if (!stamp) return Fail(reply_path, error);
  if (stamp->sha256 != Sha256Of(bag.TagManifest()))
    return Fail(reply_path, fmt::format("is a time stamp of something else than {}", path));
  OutputFile out(path, true, "package");
  if (!out.Open()) return kExitFailure;
  FileBytes target(out.Descriptor());
  if (!WriteWithReply(bag, *reply, target, error)) return Fail(path, error);
  if (!out.TakeUsualMode() || !out.Publish()) return kExitFailure;
  fmt::print("stamped: {}, as the reply says; who made it is not looked at\n", stamp->time);
  return FinishOutput(kExitSuccess);
}

}  // namespace vmr::tool
