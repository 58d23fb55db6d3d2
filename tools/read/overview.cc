#include "tools/read/overview.h"

#include <errno.h>
#include <fmt/format.h>

#include <algorithm>
#include <filesystem>

#include "backends/cluster_copies.h"
#include "backends/file_io.h"
#include "records/cluster_reader.h"
#include "records/decoder.h"
#include "records/ring_source.h"
#include "tools/common/progress.h"
#include "tools/common/sha256.h"
#include "tools/read/phrase.h"

namespace vmr::tool {
namespace {

using records::ClusterReader;
using records::Decoder;
using records::KindId;
using records::Record;
using records::RingSource;
using records::Source;
using records::Stretch;

// A store with fewer clusters is read whole: that takes no longer than a blink.
constexpr int kFewClusters = 2048;
// Of a larger one: clusters from the beginning on, and chosen ones at equal distances.
constexpr int kBeginning = 32;
constexpr int kSamples = 512;
// From the end backwards until settings and a time are told, so many at first and at most.
constexpr int kFewestOfEnd = 32;
constexpr int kMostOfEnd = 4096;

bool IsTextOfUnit(KindId kind) {
  constexpr KindId kKinds[] = {KindId::kTimeZone, KindId::kTimeZoneName, KindId::kMac,
                               KindId::kOfficer,  KindId::kBadge,        KindId::kDepartment,
                               KindId::kVehicle,  KindId::kSerialNumber, KindId::kGpsReceiver};
  return std::find(std::begin(kKinds), std::end(kKinds), kind) != std::end(kKinds);
}

// One cluster and nothing behind it.
class OneCluster final : public Source {
 public:
  OneCluster(const unsigned char* image, int file, int cluster)
      : image_(image), file_(file), cluster_(cluster) {}

  bool Next(std::size_t /*unused*/, Stretch& stretch) override {
    stretch = {};
    if (image_ == nullptr) return false;
    stretch.bytes = image_ + kClusterHeaderBytes;
    stretch.size = static_cast<std::size_t>(ClusterSize(image_) - kClusterHeaderBytes);
    stretch.place = {file_, cluster_, std::int64_t{cluster_} * kClusterBytes + kClusterHeaderBytes};
    stretch.first_tick = TellsTick(ClusterSt(image_)) ? ClusterSt(image_) : kNoTick;
    image_ = nullptr;
    return true;
  }
  // Nothing behind it tells a time.
  std::unique_ptr<Source> Fork() const override { return nullptr; }
  bool IsFlat() const override { return false; }
  double Progress() const override { return 1; }

 private:
  const unsigned char* image_;
  int file_;
  int cluster_;
};

bool HasWrongSize(const std::string& path) {
  std::error_code error;
  const std::uintmax_t bytes = std::filesystem::file_size(path, error);
  return !error && bytes != std::uintmax_t{records::kRingFileBytes};
}

// Looks at both files of a store, a cluster at a time.
class Files {
 public:
  explicit Files(std::vector<std::string> paths) : readers_(paths.size()) {
    for (std::size_t i = 0; i < paths.size(); ++i) {
      FileHealth file;
      file.path = paths[i];
      if (!readers_[i].Open(paths[i]))
        file.problem = TextOfErrno();
      else
        file.has_wrong_size = HasWrongSize(paths[i]);
      health.push_back(file);
    }
  }

  // Of a cluster within the recording: compares its copies, and hands the better one to
  // `sink`, if there is one. `may_lag`: one file may lack the latest packets. False when no
  // copy can be used.
  bool LookAt(int cluster, bool may_lag, records::Sink* sink) {
    const unsigned char* best = nullptr;
    std::size_t best_file = 0;
    std::vector<const unsigned char*> images;
    for (std::size_t i = 0; i < readers_.size(); ++i) {
      images.push_back(readers_[i].IsOpen() ? readers_[i].Read(cluster) : nullptr);
      const unsigned char* const image = images.back();
      if (image == nullptr) {
        if (readers_[i].IsOpen()) ++health[i].bad;
      } else if (best == nullptr || IsBetter(image, best)) {
        best = image;
        best_file = i;
      }
    }
    if (best == nullptr || ClusterSize(best) <= kClusterHeaderBytes) return false;
    const bool contradict = images.size() == 2 && images[0] != nullptr && images[1] != nullptr &&
                            Contradict(images[0], images[1]);
    for (std::size_t i = 0; i < images.size(); ++i) {
      if (contradict)
        ++health[i].contradicted;
      else if (images[i] != nullptr && !may_lag && !HoldSame(images[i], best))
        ++health[i].lacking;
    }
    if (sink != nullptr) {
      OneCluster source(best, static_cast<int>(best_file) + 1, cluster);
      Decoder(source, *sink).Run();
    }
    return true;
  }

  std::vector<FileHealth> health;

 private:
  static bool IsBetter(const unsigned char* image, const unsigned char* than) {
    if (ClusterSize(image) <= kClusterHeaderBytes) return false;
    if (ClusterSize(than) <= kClusterHeaderBytes || IsBetterCopy(image, than)) return true;
    if (IsBetterCopy(than, image)) return false;
    const unsigned int st = ClusterSt(image), than_st = ClusterSt(than);
    return TellsTick(st) && (!TellsTick(than_st) || st > than_st);
  }
  // Both are whole, neither is the other's beginning, and neither is of an earlier time.
  static bool Contradict(const unsigned char* a, const unsigned char* b) {
    const auto holds_packets = [](const unsigned char* image) {
      return ClusterSize(image) > kClusterHeaderBytes;
    };
    const auto is_older = [](const unsigned char* image, const unsigned char* than) {
      const unsigned int st = ClusterSt(image), than_st = ClusterSt(than);
      return TellsTick(st) != TellsTick(than_st) || std::max(st, LastToldTick(image)) < than_st;
    };
    return holds_packets(a) && holds_packets(b) && !HoldSame(a, b) &&
           PacketsAreSound(a) == PacketsAreSound(b) && !IsBetterCopy(a, b) && !IsBetterCopy(b, a) &&
           !is_older(a, b) && !is_older(b, a);
  }
  // A copy may lack the tick in its header, which continuations get later.
  static bool HoldSame(const unsigned char* a, const unsigned char* b) {
    return ClusterSize(a) == ClusterSize(b) &&
           std::equal(a + kClusterHeaderBytes, a + ClusterSize(a), b + kClusterHeaderBytes);
  }

  std::vector<ClusterReader> readers_;
};

// The clusters of a store's recording, in their order.
class Clusters {
 public:
  explicit Clusters(const records::RingSpan& span)
      : span_(span),
        count_(span.newest < 0 ? 0
                               : (span.newest - span.oldest + kClusterCount) % kClusterCount + 1) {}
  int Count() const { return count_; }
  int At(int index) const { return (span_.oldest + index) % kClusterCount; }
  // Its last packets may be in one file only, and in the other file those in front of it.
  bool MayLag(int index) const { return index >= count_ - 2; }

 private:
  records::RingSpan span_;
  int count_;
};

std::unique_ptr<RingSource> ForkRing(const Source& source) {
  std::unique_ptr<Source> fork = source.Fork();
  if (dynamic_cast<RingSource*>(fork.get()) == nullptr) return nullptr;
  return std::unique_ptr<RingSource>(static_cast<RingSource*>(fork.release()));
}

void DecodeBeginning(const Source& source, Tally& tally) {
  const std::unique_ptr<Source> fork = source.Fork();
  if (fork == nullptr) return;
  Decoder decoder(*fork, tally);
  for (int i = 0; i < kBeginning && decoder.Step(); ++i) continue;
}

// Goes back until the end of the recording has a time, and its settings are known. Returns
// the number of clusters read.
int DecodeEnd(const Source& source, const Clusters& clusters, Tally& tally) {
  for (int count = kFewestOfEnd;; count *= 4) {
    count = std::min(count, clusters.Count());
    tally = {};
    const std::unique_ptr<RingSource> fork = ForkRing(source);
    if (fork == nullptr) return 0;
    fork->StartAt(clusters.At(clusters.Count() - count));
    Decoder(*fork, tally).Run();
    const bool told = tally.saw_settings && tally.saw_full_state && tally.last.tick != kNoTick &&
                      tally.last.time.quality != records::TimeQuality::kUnknown;
    if (told || count == clusters.Count() || count >= kMostOfEnd) return count;
  }
}

void MergeTexts(const Tally& later, Tally& tally) {
  for (const auto& [kind, texts] : later.texts) {
    std::vector<ToldText>& known = tally.texts[kind];
    for (const ToldText& told : texts) {
      const bool is_new = std::none_of(known.begin(), known.end(), [&told](const ToldText& other) {
        return other.text == told.text;
      });
      if (is_new && known.size() < Tally::kMostTexts) known.push_back(told);
    }
  }
}

// What the end alone tells for sure.
void TakeEnd(const Tally& end, Overview& overview) {
  overview.last = end.last;
  overview.tally.versions = end.versions;
  overview.tally.policies = end.policies;
  overview.tally.saw_settings = end.saw_settings;
  overview.tally.saw_full_state = end.saw_full_state;
}

void TakeWhole(Overview& overview) {
  overview.first = overview.tally.first;
  overview.last = overview.tally.last;
}

bool IsOutside(const records::Place& place, const Clusters& clusters, int from, int to) {
  for (int i = from; i < to; ++i)
    if (clusters.At(i) == place.cluster) return false;
  return true;
}

void SampleStore(const Source& source, const Clusters& clusters, Files& files, Overview& overview) {
  DecodeBeginning(source, overview.tally);
  overview.first = overview.tally.first;
  Tally end;
  const int of_end = DecodeEnd(source, clusters, end);
  const int end_begins = clusters.Count() - of_end;
  Tally spread;
  for (int i = 0; i < kSamples; ++i) {
    const int index = static_cast<int>(std::int64_t{clusters.Count() - 1} * i / (kSamples - 1));
    const bool in_ends = index < kBeginning || index >= end_begins;
    if (!files.LookAt(clusters.At(index), clusters.MayLag(index), &spread)) ++overview.lost;
    overview.clusters_looked += in_ends ? 0 : 1;
  }
  overview.clusters_looked += kBeginning + of_end;
  overview.sampled = spread.counts;
  overview.clusters_sampled = kSamples;
  overview.files_looked = kSamples;
  overview.complete = false;
  MergeTexts(spread, overview.tally);
  MergeTexts(end, overview.tally);
  std::vector<records::Gap>& gaps = overview.tally.gaps;
  for (const records::Gap& gap : spread.gaps)
    if (IsOutside(gap.place, clusters, 0, kBeginning) &&
        IsOutside(gap.place, clusters, end_begins, clusters.Count()))
      gaps.push_back(gap);
  gaps.insert(gaps.end(), end.gaps.begin(), end.gaps.end());
  std::vector<records::ClockStep>& steps = overview.tally.steps;
  steps.insert(steps.end(), end.steps.begin(), end.steps.end());
  for (std::size_t kind = 0; kind < records::kKindCount; ++kind)
    overview.tally.counts[kind] += spread.counts[kind] + end.counts[kind];
  overview.tally.wrong_crc += spread.wrong_crc + end.wrong_crc;
  TakeEnd(end, overview);
}

void ReadWhole(OpenedRecording& recording, Overview& overview) {
  Source& source = *recording.source;
  Decoder decoder(source, overview.tally);
  ProgressLine progress([&](unsigned long) {
    return fmt::format("{}: {:.0f} %", recording.name, source.Progress() * 100);
  });
  while (decoder.Step()) progress.Step();
  TakeWhole(overview);
}

}  // namespace

// ---- Tally -----------------------------------------------------------------------

void Tally::OnRecord(const Record& record) {
  if (!record.crc_right) {
    ++wrong_crc;
    return;
  }
  ++records;
  ++counts[static_cast<std::size_t>(record.kind->id)];
  if (runs == 0) runs = 1;
  if (record.tick != kNoTick) {
    if (first.tick == kNoTick) first = {record.tick, record.time};
    // One that was reported late is not the last.
    const unsigned int on = record.tick - last.tick;
    if (last.tick == kNoTick || on < 0x80000000) {
      if (last.tick != kNoTick) ticks += on;
      last = {record.tick, record.time};
    }
  }
  if (IsTextOfUnit(record.kind->id)) NoteText(record);
  if (record.kind->id == KindId::kVersion)
    versions[ValueOf(record, 0).number] = ValueOf(record, 1).text;
  saw_full_state |= record.repeats;
  NotePolicy(record);
  NoteStart(record);
}

void Tally::NoteText(const Record& record) {
  const std::string_view text = ValueOf(record, 0).text;
  std::vector<ToldText>& known = texts[record.kind->id];
  const bool is_new = std::none_of(known.begin(), known.end(),
                                   [text](const ToldText& told) { return told.text == text; });
  if (is_new && known.size() < kMostTexts)
    known.push_back({std::string(text), {record.tick, record.time}});
}

// A configuration tells all settings, in one tick; what it does not tell is of another unit's
// making or of an older one.
void Tally::NotePolicy(const Record& record) {
  if (record.kind->id == KindId::kPolicy) {
    const std::int64_t number = ValueOf(record, 0).number;
    policies[number] = ValueOf(record, 1).number;
    policy_ticks_[number] = record.packet_tick;
  }
  if (record.kind->id != KindId::kConfigurationEnd) return;
  saw_settings = true;
  for (const auto& [number, tick] : policy_ticks_)
    if (tick != record.packet_tick) policies.erase(number);
}

void Tally::ForgetSettings() {
  saw_settings = saw_full_state = false;
  versions.clear();
  policies.clear();
  policy_ticks_.clear();
}

void Tally::NoteStart(const Record& record) {
  const std::string& start = UnitStartBytes();
  const std::string_view item(reinterpret_cast<const char*>(record.item), record.item_bytes);
  const std::int64_t offset = record.place.offset;
  if (start_bytes_ > 0 && offset != start_offset_ + static_cast<std::int64_t>(start_bytes_))
    start_bytes_ = 0;
  if (std::string_view(start).substr(start_bytes_, item.size()) != item) start_bytes_ = 0;
  if (std::string_view(start).substr(start_bytes_, item.size()) != item) return;
  if (start_bytes_ == 0) start_offset_ = offset;
  start_bytes_ += item.size();
  if (start_bytes_ < start.size()) return;
  ++starts;
  start_bytes_ = 0;
}

void Tally::OnGap(const records::Gap& gap) {
  gaps.push_back(gap);
  ForgetSettings();
}

void Tally::OnClockStep(const records::ClockStep& step) { steps.push_back(step); }

void Tally::OnNewRun(int /*run*/, unsigned int /*tick*/) {
  runs = std::max<std::uint64_t>(runs, 1) + 1;
  last.tick = kNoTick;
  ForgetSettings();
}

std::optional<std::string> PolicyDigest(const std::map<std::int64_t, std::int64_t>& policies) {
  if (policies.empty()) return std::nullopt;
  std::string lines;
  for (const auto& [number, value] : policies) lines += fmt::format("{}={}\n", number, value);
  return Sha256Of(lines);
}

// ---- Looking ---------------------------------------------------------------------

Overview LookAtEnds(const Source& source) {
  Overview overview;
  overview.complete = false;
  const auto* const ring = dynamic_cast<const RingSource*>(&source);
  if (ring == nullptr) {
    const std::unique_ptr<Source> fork = source.Fork();
    if (fork != nullptr) Decoder(*fork, overview.tally).Run();
    TakeWhole(overview);
    return overview;
  }
  const Clusters clusters(ring->Span());
  overview.clusters = clusters.Count();
  overview.overwritten = ring->Span().has_wrapped;
  if (clusters.Count() == 0) return overview;
  DecodeBeginning(source, overview.tally);
  overview.first = overview.tally.first;
  Tally end;
  DecodeEnd(source, clusters, end);
  TakeEnd(end, overview);
  return overview;
}

std::vector<FileHealth> CompareFiles(const OpenedRecording& recording) {
  const auto* const ring = dynamic_cast<const RingSource*>(recording.source.get());
  if (ring == nullptr) return {};
  const Clusters clusters(ring->Span());
  Files files(recording.files);
  for (int i = 0; i < clusters.Count(); ++i)
    static_cast<void>(files.LookAt(clusters.At(i), clusters.MayLag(i), nullptr));  // it counts
  return files.health;
}

std::string HealthWords(const FileHealth& file) {
  if (!file.problem.empty()) return "cannot be read: " + file.problem;
  std::string text;
  const auto add = [&text](const std::string& what) { text += (text.empty() ? "" : ", ") + what; };
  if (file.has_wrong_size) add("of a wrong size, no recorder opens it");
  if (file.bad > 0) add(Counted(file.bad, "cluster") + " bad");
  if (file.lacking > 0)
    add(Counted(file.lacking, "cluster") + " older or shorter than in the other file");
  if (file.contradicted > 0)
    add(fmt::format("{} of which {}", Counted(file.contradicted, "cluster"), kConflictWords));
  return text.empty() ? "sound" : text;
}

Overview LookOver(OpenedRecording& recording, bool all) {
  Overview overview;
  const auto* const ring = dynamic_cast<const RingSource*>(recording.source.get());
  if (ring == nullptr) {
    ReadWhole(recording, overview);
    return overview;
  }
  const Clusters clusters(ring->Span());
  overview.clusters = clusters.Count();
  overview.overwritten = ring->Span().has_wrapped;
  Files files(recording.files);
  if (all || clusters.Count() <= kFewClusters) {
    ReadWhole(recording, overview);
    for (int i = 0; i < clusters.Count(); ++i)
      if (!files.LookAt(clusters.At(i), clusters.MayLag(i), nullptr)) ++overview.lost;
    overview.clusters_looked = overview.files_looked = clusters.Count();
  } else {
    SampleStore(*recording.source, clusters, files, overview);
  }
  overview.files = files.health;
  return overview;
}

}  // namespace vmr::tool
