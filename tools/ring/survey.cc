#include "tools/ring/survey.h"

#include <algorithm>
#include <cstring>

#include "backends/cluster_format.h"
#include "store/bytes.h"
#include "store/packet_format.h"
#include "tools/ring/copy_fit.h"
#include "tools/ring/image_digest.h"

namespace vmr::tool {
namespace {

// Of both copies of a cluster.
struct Images {
  unsigned char bytes[2][kClusterBytes];
  unsigned char* Of(int file) { return bytes[file - 1]; }
  const unsigned char* Of(int file) const { return bytes[file - 1]; }
};

CopyFacts FactsOf(CopyState state, const unsigned char* image) {
  CopyFacts facts;
  facts.state = state;
  if (!IsSound(state) && state != CopyState::kBadCrc) return facts;
  facts.used_bytes = ClusterSize(image);
  if (IsSound(state)) facts.first_tick = ClusterSt(image);
  if (state != CopyState::kGood) return facts;
  facts.content = WalkCluster(image, facts.used_bytes);
  facts.digest = ImageDigest(image);
  return facts;
}

struct SoundCopy {
  const CopyFacts& facts;
  const unsigned char* image;
};

// The packets of `a` are the first ones of `b`. The headers may differ: a cluster
// that a continuation opened gets its first tick later.
bool IsBeginning(const SoundCopy& a, const SoundCopy& b) {
  if (a.facts.state != CopyState::kGood || b.facts.state != CopyState::kGood) return false;
  const auto compared = static_cast<std::size_t>(a.facts.used_bytes - kClusterHeaderBytes);
  const bool lacks_tick = !TellsTick(a.facts.first_tick) && TellsTick(b.facts.first_tick);
  const bool lacks_something = a.facts.used_bytes < b.facts.used_bytes ||
                               (a.facts.used_bytes == b.facts.used_bytes && lacks_tick);
  return lacks_something &&
         std::memcmp(a.image + kClusterHeaderBytes, b.image + kClusterHeaderBytes, compared) == 0;
}

bool HaveSamePackets(const SoundCopy& a, const SoundCopy& b) {
  return a.facts.state == CopyState::kGood && b.facts.state == CopyState::kGood &&
         a.facts.used_bytes == b.facts.used_bytes &&
         std::memcmp(a.image + kClusterHeaderBytes, b.image + kClusterHeaderBytes,
                     static_cast<std::size_t>(a.facts.used_bytes - kClusterHeaderBytes)) == 0;
}

// A header that changed under a right CRC; the packets tell which is theirs.
bool HasAnotherTick(const SoundCopy& a, const SoundCopy& b) {
  const auto is_wrong = [](const ClusterContent& content) {
    return content.wrong_st || content.ticks_fall;
  };
  return HaveSamePackets(a, b) && is_wrong(a.facts.content) && !is_wrong(b.facts.content);
}

bool IsBefore(const CopyFacts& a, const CopyFacts& b) {
  if (a.state == CopyState::kNeverWritten) return b.state == CopyState::kGood;
  if (b.state == CopyState::kNeverWritten) return false;
  // Without a first tick a cluster holds nothing but the packets just written.
  if (!TellsTick(b.first_tick)) return TellsTick(a.first_tick);
  if (!TellsTick(a.first_tick)) return false;
  return std::max(a.first_tick, a.content.last_tick == kNoTick ? 0 : a.content.last_tick) <
         b.first_tick;
}

// `a` is of a time before `b`.
bool IsOlder(const SoundCopy& a, const SoundCopy& b) { return IsBefore(a.facts, b.facts); }

// No recorder wrote a cluster that does not begin with a packet. Of random bytes
// one image in 256 has a right CRC all the same.
bool IsRightByChance(const CopyFacts& facts) {
  return facts.state == CopyState::kGood && !facts.content.begins_sound;
}

bool IsFaultyTwin(const SoundCopy& a, const SoundCopy& b) {
  if (IsRightByChance(a.facts) != IsRightByChance(b.facts)) return IsRightByChance(a.facts);
  return a.facts.first_tick == b.facts.first_tick && a.facts.content.Faulty() &&
         !b.facts.content.Faulty();
}

// What may be true of one copy beside the other, in the order of asking.
struct Comparison {
  Relation relation;
  bool (*holds)(const SoundCopy& a, const SoundCopy& b);
};
constexpr Comparison kComparisons[] = {{Relation::kFaulty, IsFaultyTwin},
                                       {Relation::kShorter, IsBeginning},
                                       {Relation::kWrongTick, HasAnotherTick},
                                       {Relation::kOlder, IsOlder}};

// The copies are complete. Sets what follows from both.
void Compare(ClusterFacts& facts, const Images& images, int conflicts_go_to) {
  const auto settle = [&facts](Relation relation, int best) {
    facts.relation = relation;
    facts.best = best;
  };
  const CopyFacts& first = facts.Copy(1);
  const CopyFacts& second = facts.Copy(2);
  const bool sound1 = IsSound(first.state);
  const bool sound2 = IsSound(second.state);
  if (!sound1 && !sound2) return settle(Relation::kNoneSound, 0);
  if (!sound1 || !sound2) return settle(Relation::kOneSound, sound1 ? 1 : 2);
  const auto used = static_cast<std::size_t>(first.used_bytes);
  if (first.used_bytes == second.used_bytes && std::memcmp(images.Of(1), images.Of(2), used) == 0)
    return settle(Relation::kEqual, 1);
  for (const Comparison& comparison : kComparisons)
    for (const int lesser : kFileNumbers) {
      const int better = OtherFile(lesser);
      if (comparison.holds({facts.Copy(lesser), images.Of(lesser)},
                           {facts.Copy(better), images.Of(better)}))
        return settle(comparison.relation, better);
    }
  settle(Relation::kConflict, conflicts_go_to);
}

bool SameCopy(const CopyFacts& a, const CopyFacts& b) {
  return a.state == b.state && a.used_bytes == b.used_bytes && a.first_tick == b.first_tick &&
         a.content.packets == b.content.packets && a.content.last_tick == b.content.last_tick;
}

}  // namespace

unsigned int CopyFacts::FirstTick() const {
  return TellsTick(first_tick) ? first_tick : content.first_tick;
}

unsigned int CopyFacts::LastTick() const {
  return content.last_tick != kNoTick ? content.last_tick : FirstTick();
}

class RingSurvey::TimeSink final : public ContentSink {
 public:
  TimeSink(int cluster, std::vector<TimeReading>& readings)
      : cluster_(cluster), readings_(readings) {}
  void OnItem(const unsigned char* item, unsigned int tick) override {
    if (item[0] == TAG_TIME && tick != kNoTick)
      readings_.push_back({cluster_, tick, static_cast<std::int32_t>(GetLe32(item + 1))});
  }

 private:
  int cluster_;
  std::vector<TimeReading>& readings_;
};

RingSurvey::RingSurvey(const std::string& path1, const std::string& path2)
    : files_{{ClusterFile(path1), ClusterFile(path2)}},
      clusters_(static_cast<std::size_t>(kClusterCount)) {}

void RingSurvey::Read(const MeantImages* meant) {
  for (ClusterFile& file : files_) file.Open();
  conflicts_go_to_ = 1;
  times_.clear();
  for (int cluster = 0; cluster < kClusterCount; ++cluster)
    ReadCluster(cluster, Pass::kFirst, meant);
  LookAgain();
  SearchFiles();
  CompareRecordings();
  SettleConflicts();
  SettleFirstTicks();
  SettleMisplaced();
  FindRunEnds();
  SearchBestCopies();
  ChooseNewest();
  BuildClock();
}

bool RingSurvey::ReadCluster(int cluster, Pass pass, const MeantImages* meant) {
  Images images;
  ClusterFacts facts;
  CopyState states[2];
  const CopyFacts* as_meant = nullptr;
  const auto is_like_first = [&images](const unsigned char* image) {
    return std::memcmp(images.Of(1), image, kClusterBytes) == 0;
  };
  if (pass == Pass::kFirst) {
    states[0] = File(1).ReadInTurn(cluster, images.Of(1), [&](const unsigned char* image) {
      as_meant = meant != nullptr ? meant->FactsOf(cluster, image) : nullptr;
      return as_meant != nullptr ? as_meant->state : CopyState::kAbsent;
    });
    states[1] = File(2).ReadInTurn(cluster, images.Of(2), [&](const unsigned char* image) {
      return is_like_first(image) ? states[0] : CopyState::kAbsent;
    });
  } else {
    for (const int file : kFileNumbers)
      states[file - 1] = File(file).Read(cluster, images.Of(file));
  }
  facts.Copy(1) = as_meant != nullptr ? *as_meant : FactsOf(states[0], images.Of(1));
  const bool same = states[0] == states[1] && is_like_first(images.Of(2));
  facts.Copy(2) = same ? facts.Copy(1) : FactsOf(states[1], images.Of(2));
  Compare(facts, images, conflicts_go_to_);
  const auto sound_image = [&](int file) {
    return IsSound(facts.Copy(file).state) ? images.Of(file) : nullptr;
  };
  facts.same_packets =
      HaveSamePackets({facts.Copy(1), images.Of(1)}, {facts.Copy(2), images.Of(2)});
  facts.likeness = records::LikenessOf(sound_image(1), sound_image(2));
  ClusterFacts& kept = clusters_[static_cast<std::size_t>(cluster)];
  const bool changed = !SameCopy(kept.Copy(1), facts.Copy(1)) ||
                       !SameCopy(kept.Copy(2), facts.Copy(2)) || kept.relation != facts.relation;
  kept = facts;
  ReadTimes(cluster, images.Of(std::max(facts.best, 1)));
  return changed;
}

// From the image of the best copy.
void RingSurvey::ReadTimes(int cluster, const unsigned char* image) {
  const auto before = [](const TimeReading& a, const TimeReading& b) {
    return a.cluster < b.cluster;
  };
  const auto [from, to] =
      std::equal_range(times_.begin(), times_.end(), TimeReading{cluster, 0, 0}, before);
  const auto place = times_.erase(from, to);
  const ClusterFacts& facts = At(cluster);
  if (!facts.HoldsData() || !facts.Best().content.tags.test(TAG_TIME)) return;
  std::vector<TimeReading> readings;
  TimeSink sink(cluster, readings);
  WalkCluster(image, facts.Best().used_bytes, &sink);
  times_.insert(place, readings.begin(), readings.end());
}

// A copy that the file is too short for will not appear by reading it again.
bool RingSurvey::NeedsSecondLook(int cluster) const {
  const ClusterFacts& facts = At(cluster);
  const auto doubtful = [](const CopyFacts& copy) {
    return !IsSound(copy.state) && copy.state != CopyState::kAbsent;
  };
  return doubtful(facts.Copy(1)) || doubtful(facts.Copy(2)) || facts.relation >= Relation::kShorter;
}

void RingSurvey::LookAgain() {
  constexpr int kMostRounds = 3;
  bool changed = true;
  for (int round = 0; round < kMostRounds && changed; ++round) {
    changed = false;
    for (int cluster = 0; cluster < kClusterCount; ++cluster)
      if (NeedsSecondLook(cluster) && ReadCluster(cluster, Pass::kAgain)) changed = true;
  }
  is_being_recorded_ = changed;
}

void RingSurvey::CompareRecordings() {
  records::OneRecording compared;
  for (int cluster = 0; cluster < kClusterCount; ++cluster)
    compared.Add(cluster, At(cluster).likeness);
  is_of_two_ = compared.AreTwo(File(1).Path(), File(2).Path());
}

// Clusters that cannot be read are stepped over.
void RingSurvey::FindRunEnds() {
  run_ends_.clear();
  int before = -1;  // the last cluster with known content, going round the ring
  for (int cluster = kClusterCount - 1; cluster >= 0 && before < 0; --cluster)
    if (At(cluster).Known()) before = cluster;
  for (int cluster = 0; cluster < kClusterCount && before >= 0; ++cluster) {
    if (!At(cluster).Known()) continue;
    if (IsContinuedWithin(before, cluster)) continue;
    const bool drops = !At(cluster).HoldsData() || before == cluster ||
                       (At(cluster).FirstTick() < At(before).FirstTick());
    if (At(before).HoldsData() && drops) run_ends_.push_back(before);
    before = cluster;
  }
  // All that is known holds data of one tick: a round without an end.
  if (run_ends_.empty() && before >= 0 && At(before).HoldsData()) run_ends_.push_back(before);
}

// A cluster that older recorders closed without a tick, as continuations alone had
// filled it, begins and ends no run: recording went on behind it, or it is of the lap
// before, as its equal copies tell.
bool RingSurvey::IsContinuedWithin(int before, int cluster) const {
  const ClusterFacts& facts = At(cluster);
  if (!facts.HoldsData() || facts.FirstTick() != kNoTick || !At(before).HoldsData()) return false;
  const ClusterFacts& behind = At(NextCluster(cluster));
  const bool goes_on = behind.HoldsData() && behind.FirstTick() != kNoTick &&
                       behind.FirstTick() >= At(before).FirstTick();
  return goes_on || IsOfLapBefore(cluster);
}

// A full cluster, the same in both files, and written ones behind it: a recorder takes
// it for one of the lap before by the same signs.
bool RingSurvey::IsOfLapBefore(int cluster) const {
  const ClusterFacts& facts = At(cluster);
  const bool full = kClusterBytes - facts.Best().used_bytes < static_cast<int>(kMaxPacketBytes);
  return full && facts.relation == Relation::kEqual && At(NextCluster(cluster)).HoldsData();
}

// Onto a cluster that only continuations have reached yet, which the search stops in
// front of at the first and the last cluster; or back from one of the lap before.
void RingSurvey::Settle(SearchResult& search) const {
  if (!search.found) return;
  const auto is_continued = [this](int cluster) {
    return At(cluster).HoldsData() && At(cluster).FirstTick() == kNoTick;
  };
  const int next = NextCluster(search.newest);
  if (is_continued(search.newest) && IsOfLapBefore(search.newest))
    search.newest = PreviousCluster(search.newest);
  else if (!is_continued(search.newest) && is_continued(next) && !IsOfLapBefore(next))
    search.newest = next;
}

// Where there are several runs, the recorder's own search decides.
void RingSurvey::ChooseNewest() {
  newest_ = -1;
  const auto ends_later = [this](int a, int b) { return At(a).LastTick() < At(b).LastTick(); };
  if (run_ends_.empty()) return;
  newest_ = *std::max_element(run_ends_.begin(), run_ends_.end(), ends_later);
  const SearchResult& search = SearchOfBest();
  if (search.found &&
      std::find(run_ends_.begin(), run_ends_.end(), search.newest) != run_ends_.end())
    newest_ = search.newest;
}

int RingSurvey::Oldest() const {
  int cluster = newest_;
  do cluster = NextCluster(cluster);
  while (cluster != newest_ && !At(cluster).HoldsData());
  return cluster;
}

bool RingSurvey::IsBeingWritten(int cluster) const {
  return std::any_of(run_ends_.begin(), run_ends_.end(), [cluster](int end) {
    return cluster == end || cluster == PreviousCluster(end);
  });
}

void RingSurvey::SearchFiles() {
  for (const int file : kFileNumbers) {
    std::vector<unsigned int> first_ticks;
    first_ticks.reserve(clusters_.size());
    for (const ClusterFacts& facts : clusters_)
      first_ticks.push_back(IsSound(facts.Copy(file).state) ? facts.Copy(file).first_tick
                                                            : kUnreadableSt);
    searches_[static_cast<std::size_t>(file - 1)] = SearchLastPosition(first_ticks);
  }
}

void RingSurvey::SearchBestCopies() {
  std::vector<unsigned int> first_ticks;
  first_ticks.reserve(clusters_.size());
  for (const ClusterFacts& facts : clusters_)
    first_ticks.push_back(facts.Known() ? facts.Best().first_tick : kUnreadableSt);
  searches_[2] = SearchLastPosition(first_ticks);
  Settle(searches_[2]);
}

int RingSurvey::LastWriter() const {
  const auto newest = [this](int file) -> const CopyFacts* {
    const SearchResult& search = SearchOf(file);
    if (!search.found) return nullptr;
    const CopyFacts& copy = At(search.newest).Copy(file);
    return copy.state == CopyState::kGood ? &copy : nullptr;
  };
  const CopyFacts* const first = newest(1);
  const CopyFacts* const second = newest(2);
  if (first == nullptr || second == nullptr) return first == nullptr && second != nullptr ? 2 : 1;
  if (SearchOf(1).newest == SearchOf(2).newest)
    return first->used_bytes < second->used_bytes ? 2 : 1;
  return first->first_tick < second->first_tick ? 2 : 1;
}

void RingSurvey::SettleConflicts() {
  conflicts_go_to_ = LastWriter();
  for (int cluster = 0; cluster < kClusterCount; ++cluster)
    if (At(cluster).relation == Relation::kConflict && At(cluster).best != conflicts_go_to_)
      ReadCluster(cluster, Pass::kAgain);
}

// A cluster whose first packet tells eight bits alone goes on from the tick in front of it.
void RingSurvey::SettleFirstTicks() {
  for (int cluster = 0; cluster < kClusterCount; ++cluster) {
    ClusterFacts& facts = clusters_[static_cast<std::size_t>(cluster)];
    const ClusterFacts& before = At(PreviousCluster(cluster));
    const bool in_question =
        facts.same_packets &&
        (facts.relation == Relation::kOlder || facts.relation == Relation::kConflict) &&
        facts.Copy(1).content.first_kind == HEADER_2;
    if (!in_question || !before.HoldsData() || before.LastTick() == kNoTick) continue;
    const auto goes_on = [&](int file) {
      return !NeedsWholeTick(facts.Copy(file).first_tick, before.LastTick());
    };
    if (goes_on(1) == goes_on(2)) continue;
    facts.relation = Relation::kWrongTick;
    facts.best = goes_on(1) ? 1 : 2;
    unsigned char image[kClusterBytes];
    File(facts.best).Read(cluster, image);
    ReadTimes(cluster, image);
  }
}

// A copy found to be misplaced changes how its neighbours are judged, so this is
// repeated as long as something changes.
void RingSurvey::SettleMisplaced() {
  constexpr int kMostRounds = 3;
  bool changed = true;
  for (int round = 0; round < kMostRounds && changed; ++round) {
    changed = false;
    for (int cluster = 0; cluster < kClusterCount; ++cluster)
      if (BelongsElsewhere(cluster)) changed = true;
  }
}

// Of two sound copies the one that fits better where it stands counts, be its ticks
// earlier; where the clusters around leave no room for either, none does. What is in
// conflict with its twin tells nothing about others.
bool RingSurvey::BelongsElsewhere(int cluster) {
  ClusterFacts& facts = clusters_[static_cast<std::size_t>(cluster)];
  const ClusterFacts& before = At(PreviousCluster(cluster));
  const ClusterFacts& behind = At(NextCluster(cluster));
  const bool in_question = facts.relation == Relation::kOneSound ||
                           facts.relation == Relation::kOlder ||
                           facts.relation == Relation::kConflict;
  if (!in_question || before.relation == Relation::kConflict ||
      behind.relation == Relation::kConflict)
    return false;
  const int fit1 = FitOf(facts.Copy(1), cluster, before, behind);
  const int fit2 = FitOf(facts.Copy(2), cluster, before, behind);
  const int better = fit1 > fit2 ? 1 : 2;
  const bool none = std::max(fit1, fit2) < kFits && FollowOnEachOther(before, behind);
  const bool settled = facts.relation == Relation::kOneSound || fit1 == fit2 ||
                       (facts.relation == Relation::kOlder && facts.best == better);
  if (!none && settled) return false;
  facts.relation = none ? Relation::kNoneSound : Relation::kMisplaced;
  facts.best = none ? 0 : better;
  unsigned char image[kClusterBytes];
  File(better).Read(cluster, image);
  ReadTimes(cluster, image);
  return true;
}

bool RingSurvey::HoldsLatest(const CopyFacts& copy) const {
  return copy.state == CopyState::kGood && !Empty() && copy.LastTick() != kNoTick &&
         copy.LastTick() > At(newest_).LastTick();
}

bool RingSurvey::OnSearchPath(int cluster) const {
  return std::any_of(searches_.begin(), searches_.end(), [cluster](const SearchResult& search) {
    return std::find(search.path.begin(), search.path.end(), cluster) != search.path.end();
  });
}

void RingSurvey::BuildClock() {
  clock_ = RecordedClock();
  if (Empty() || is_of_two_) return;
  const auto add = [this](const TimeReading& reading) { clock_.Add(reading.tick, reading.time_s); };
  const auto oldest = std::partition_point(
      times_.begin(), times_.end(),
      [this](const TimeReading& reading) { return reading.cluster <= newest_; });
  std::for_each(oldest, times_.end(), add);
  std::for_each(times_.begin(), oldest, add);
}

}  // namespace vmr::tool
