#include "tools/ring/salvage.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>

#include "backends/cluster_format.h"
#include "records/decoder.h"
#include "store/bytes.h"
#include "store/packet_format.h"
#include "tools/common/console.h"
#include "tools/ring/image_digest.h"

namespace vmr::tool {
namespace {

const CopyFacts& FactsOf(const SalvagedCluster& from) {
  return from.source->At(from.cluster).Copy(from.file);
}

// A cluster that continuations opened may have no first tick: it follows on what
// comes before it.
unsigned int FirstTickOf(RingSurvey& source, int cluster, const CopyFacts& copy) {
  if (copy.content.wrong_st) return copy.content.first_tick;
  if (TellsTick(copy.first_tick)) return copy.first_tick;
  const ClusterFacts& before = source.At(PreviousCluster(cluster));
  if (before.HoldsData() && TellsTick(before.LastTick())) return before.LastTick();
  return TellsTick(copy.content.first_tick) ? copy.content.first_tick : 0;
}

// A recorder's search takes the highest first ticks for none; one such cluster would
// make all of the new ring unsearchable. Its packets keep their ticks.
SalvagedCluster Salvaged(RingSurvey& source, int cluster, int file) {
  constexpr unsigned int kHighestSearchable = kUnreadableSt - 1;
  const CopyFacts& copy = source.At(cluster).Copy(file);
  const unsigned int first = std::min(FirstTickOf(source, cluster, copy), kHighestSearchable);
  const bool ends_known = copy.content.last_tick < kContinuationTick;
  const unsigned int last = ends_known ? copy.content.last_tick : first;
  return {&source, false, file, cluster, first, std::max(first, last)};
}

bool ComesBefore(const SalvagedCluster& a, const SalvagedCluster& b) {
  return a.first_tick != b.first_tick ? a.first_tick < b.first_tick : a.last_tick < b.last_tick;
}

// Takes the sound packets of a cluster, one behind the other.
class PacketCollector final : public ContentSink {
 public:
  // Of the packets from `begin` to `end`.
  PacketCollector(const unsigned char* begin, const unsigned char* end, unsigned char* image,
                  TagCounts& counts)
      : behind_(begin), end_(end), image_(image), counts_(counts) {}
  int Size() const { return size_; }
  void OnPacket(const unsigned char* packet, std::size_t bytes, unsigned int /*tick*/) override {
    MarkLoss(packet);
    Append(packet, bytes);
    behind_ = packet + bytes;
  }
  // What stood in front of `next`, behind the last packet, is left out: a mark says so. There
  // is room for it unless almost nothing is.
  void MarkLoss(const unsigned char* next) {
    const bool fits =
        size_ + (end_ - next) + static_cast<long>(records::kGapMark.size()) <= kClusterBytes;
    if (next != behind_ && fits) Append(records::kGapMark.data(), records::kGapMark.size());
  }
  void OnItem(const unsigned char* item, unsigned int /*tick*/) override { ++counts_[item[0]]; }

 private:
  void Append(const unsigned char* bytes, std::size_t count) {
    std::memcpy(image_ + size_, bytes, count);
    size_ += static_cast<int>(count);
  }

  const unsigned char* behind_;  // the last packet
  const unsigned char* end_;
  unsigned char* image_;
  TagCounts& counts_;
  int size_ = kClusterHeaderBytes;
};

void Finish(unsigned char* image, unsigned int st, int size) {
  SetClusterSt(image, st);
  SealCluster(image, size);
}

// What was collected is all that the original holds, which has a right CRC.
bool IsAsItWas(const unsigned char* image, int size, unsigned int st,
               const unsigned char* original) {
  return ClusterSize(original) == size && ClusterSt(original) == st &&
         std::memcmp(image + kClusterHeaderBytes, original + kClusterHeaderBytes,
                     static_cast<std::size_t>(size - kClusterHeaderBytes)) == 0;
}

// A packet without items: all it says is its tick. In front of it the mark of a loss, if
// there is one.
void MakeBearing(unsigned int tick, bool marks_loss, unsigned char* image) {
  unsigned char* packet = image + kClusterHeaderBytes;
  if (marks_loss) packet = std::copy(records::kGapMark.begin(), records::kGapMark.end(), packet);
  packet[0] = HEADER_1;
  PutLe32(packet + 1, tick);
  packet[kHeader1Bytes - 1] = 0;
  constexpr std::size_t kBytes = kHeader1Bytes + kPacketCrcBytes;
  const auto covered = static_cast<unsigned int>(PacketCrcSpan(packet, kBytes));
  packet[kHeader1Bytes] = Crc8(packet, covered, kCrcInitial);
  Finish(image, tick, static_cast<int>(packet + kBytes - image));
}

}  // namespace

RingSalvage::RingSalvage(RingSurvey& store) : store_(store) {
  AddStore();
  AddOlderCopies();
}

// In ring order, so that clusters of equal ticks stay in it.
void RingSalvage::AddStore() {
  if (store_.Empty()) return;
  int cluster = store_.Newest();
  do {
    cluster = NextCluster(cluster);
    const ClusterFacts& facts = store_.At(cluster);
    if (facts.HoldsData()) clusters_.push_back(Salvaged(store_, cluster, facts.best));
  } while (cluster != store_.Newest());
  std::stable_sort(clusters_.begin(), clusters_.end(),
                   [](const SalvagedCluster& a, const SalvagedCluster& b) {
                     return a.first_tick < b.first_tick;
                   });
}

// What one file holds of the lap before, where the other was written over it, or of
// another place in the ring.
void RingSalvage::AddOlderCopies() {
  std::vector<SalvagedCluster> older;
  for (int cluster = 0; cluster < kClusterCount; ++cluster) {
    const ClusterFacts& facts = store_.At(cluster);
    const bool of_another_time = facts.relation == Relation::kOlder ||
                                 facts.relation == Relation::kMisplaced ||
                                 facts.relation == Relation::kNoneSound;
    if (!of_another_time) continue;
    for (const int file : kFileNumbers)
      if (file != facts.best && facts.Copy(file).state == CopyState::kGood)
        older.push_back(Salvaged(store_, cluster, file));
  }
  SourceAccount account;  // of the store's own files: nothing to tell
  Merge(older, account);
}

bool RingSalvage::AddFile(const std::string& path) {
  auto survey = std::make_unique<RingSurvey>(path, "");
  survey->Read();
  const ClusterFile& file = survey->File(1);
  if (!file.IsOpen()) {
    Say(fmt::format("{}: {}", path, file.Reason().empty() ? "no regular file" : file.Reason()));
    return false;
  }
  std::vector<SalvagedCluster> added;
  for (int cluster = 0; cluster < kClusterCount; ++cluster)
    if (survey->At(cluster).HoldsData()) added.push_back(Salvaged(*survey, cluster, 1));
  aside_.push_back(std::move(survey));
  accounts_.push_back({path});
  Merge(added, accounts_.back());
  return true;
}

void RingSalvage::Merge(const std::vector<SalvagedCluster>& added, SourceAccount& account) {
  std::vector<unsigned int> latest;  // last tick of the clusters so far, in their order
  for (const SalvagedCluster& cluster : clusters_)
    latest.push_back(std::max(latest.empty() ? 0 : latest.back(), cluster.last_tick));
  std::vector<SalvagedCluster> taken;
  for (const SalvagedCluster& cluster : added) {
    if (IsDuplicate(cluster))
      ++account.duplicates;
    else if (Overlaps(cluster, latest))
      ++account.overlapping;
    else
      taken.push_back(cluster);
  }
  account.taken = static_cast<int>(taken.size());
  clusters_.insert(clusters_.end(), taken.begin(), taken.end());
  std::stable_sort(clusters_.begin(), clusters_.end(), ComesBefore);
}

// One of two copies of a cluster is the beginning of the other, or the same. The
// longer one counts.
bool RingSalvage::IsDuplicate(const SalvagedCluster& added) {
  const auto less = [](const SalvagedCluster& a, const SalvagedCluster& b) {
    return a.first_tick < b.first_tick;
  };
  const auto [first, last] = std::equal_range(clusters_.begin(), clusters_.end(), added, less);
  unsigned char image[kClusterBytes];
  added.source->File(added.file).Read(added.cluster, image);
  for (auto kept = first; kept != last; ++kept) {
    unsigned char other[kClusterBytes];
    kept->source->File(kept->file).Read(kept->cluster, other);
    const int common = std::min(FactsOf(added).used_bytes, FactsOf(*kept).used_bytes);
    if (std::memcmp(image + kClusterHeaderBytes, other + kClusterHeaderBytes,
                    static_cast<std::size_t>(common - kClusterHeaderBytes)) != 0)
      continue;
    if (FactsOf(added).used_bytes > FactsOf(*kept).used_bytes) *kept = added;
    return true;
  }
  return false;
}

bool RingSalvage::Overlaps(const SalvagedCluster& added,
                           const std::vector<unsigned int>& latest) const {
  // Of all that begin before its end, does one end after its beginning?
  const auto behind = std::lower_bound(
      clusters_.begin(), clusters_.end(), added.last_tick,
      [](const SalvagedCluster& cluster, unsigned int tick) { return cluster.first_tick < tick; });
  const auto before = static_cast<std::size_t>(behind - clusters_.begin());
  return before > 0 && latest[before - 1] > added.first_tick;
}

void RingSalvage::Arrange() {
  AddBearings();
  const auto room = static_cast<std::size_t>(kClusterCount);
  if (clusters_.size() <= room) return;
  too_old_ = static_cast<int>(clusters_.size() - room);
  clusters_.erase(clusters_.begin(), clusters_.begin() + too_old_);
}

// Where something is lost, or a gap makes packets take a wrong tick from those before it, a
// packet that tells the right one goes between.
void RingSalvage::AddBearings() {
  std::vector<SalvagedCluster> with_bearings;
  int place = -1;  // of the cluster in the ring that it was saved from; -1: of the first one
  for (std::size_t i = 0; i < clusters_.size(); ++i) {
    const SalvagedCluster& cluster = clusters_[i];
    const bool is_lost = place >= 0 && !Fills(i, place);
    if (is_lost || (place >= 0 && NeedsBearing(with_bearings.back(), cluster)))
      with_bearings.push_back({nullptr, is_lost, 0, 0, cluster.first_tick, cluster.first_tick});
    with_bearings.push_back(cluster);
    place = NextCluster(place < 0 || is_lost ? cluster.cluster : place);
  }
  clusters_ = std::move(with_bearings);
}

// It is from there, or as many as are missing there come from elsewhere.
bool RingSalvage::Fills(std::size_t index, int place) const {
  constexpr std::size_t kMostFromElsewhere = 64;
  for (std::size_t n = 0; n < kMostFromElsewhere && index + n < clusters_.size(); ++n) {
    if (clusters_[index + n].cluster == place) return true;
    place = NextCluster(place);
  }
  return false;
}

// In the ring that both are of.
bool RingSalvage::Follows(const SalvagedCluster& before, const SalvagedCluster& cluster) {
  return NextCluster(before.cluster) == cluster.cluster;
}

bool RingSalvage::NeedsBearing(const SalvagedCluster& before, const SalvagedCluster& cluster) {
  const unsigned char kind = FactsOf(cluster).content.first_kind;
  if (kind == HEADER_2) return NeedsWholeTick(cluster.first_tick, before.last_tick);
  const bool follows = before.source == cluster.source && Follows(before, cluster);
  return kind == HEADER_CONT && !follows;
}

int RingSalvage::Regained(unsigned int after_tick, unsigned int before_tick) const {
  return static_cast<int>(
      std::count_if(clusters_.begin(), clusters_.end(), [&](const SalvagedCluster& cluster) {
        return cluster.source != nullptr && cluster.source != &store_ &&
               cluster.first_tick >= after_tick && cluster.last_tick <= before_tick;
      }));
}

bool RingSalvage::MakeImage(const SalvagedCluster& from, unsigned char* image, TagCounts& counts,
                            unsigned long& packets, const CopyFacts*& same) {
  std::memset(image, 0, kClusterBytes);
  same = nullptr;
  if (from.source == nullptr) {
    MakeBearing(from.first_tick, from.is_behind_loss, image);
    return true;
  }
  const CopyFacts& facts = FactsOf(from);
  unsigned char original[kClusterBytes];
  bool is_as_surveyed = false;
  const CopyState state = from.source->File(from.file).ReadInTurn(
      from.cluster, original, [&](const unsigned char* read) {
        is_as_surveyed = facts.state == CopyState::kGood && ImageDigest(read) == facts.digest;
        return is_as_surveyed ? facts.state : CopyState::kAbsent;
      });
  if (is_as_surveyed && facts.content.IsPure() && facts.first_tick == from.first_tick) {
    std::memcpy(image, original, facts.used_bytes);
    CountItems(image, facts.used_bytes, counts);
    packets += facts.content.packets;
    same = &facts;
    return true;
  }
  if (state != facts.state || ClusterSize(original) < facts.used_bytes ||
      ClusterSt(original) != facts.first_tick) {
    MakeBearing(from.first_tick, true, image);
    return false;
  }
  const unsigned char* const end = original + facts.used_bytes;
  PacketCollector collector(original + kClusterHeaderBytes, end, image, counts);
  const ClusterContent content = WalkCluster(original, facts.used_bytes, &collector);
  collector.MarkLoss(end);
  packets += content.packets;
  if (content.packets == 0)
    MakeBearing(from.first_tick, true, image);
  else if (IsAsItWas(image, collector.Size(), from.first_tick, original))
    std::memcpy(image, original, kClusterHeaderBytes);
  else
    Finish(image, from.first_tick, collector.Size());
  return content.packets > 0;
}

}  // namespace vmr::tool
