#include "tools/ring/findings.h"

#include <algorithm>
#include <array>

#include "backends/cluster_format.h"
#include "tools/common/ring_opening.h"

namespace vmr::tool {
namespace {

const FindingKind& KindOfBadCopy(CopyState state) {
  if (state == CopyState::kBadCrc) return finding_kind::kWrongCrc;
  return state == CopyState::kBadSize ? finding_kind::kImpossibleSize : finding_kind::kUnreadable;
}

class Collector {
 public:
  explicit Collector(RingSurvey& survey)
      : survey_(survey),
        known_before_(NearestKnown(NextCluster)),
        known_after_(NearestKnown(PreviousCluster)) {}

  std::vector<Finding> Run() {
    for (const int file : kFileNumbers) AddFile(file);
    if (survey_.IsOfTwoRecordings()) return AddTwoRecordings(), std::move(findings_);
    for (int cluster = 0; cluster < kClusterCount; ++cluster) AddCluster(cluster);
    AddOrder();
    AddSearches();
    return std::move(findings_);
  }

 private:
  // What is known of the one cluster, ready to become a finding.
  Finding About(int cluster, const FindingKind& kind, int file) const {
    Finding finding;
    finding.kind = &kind;
    finding.file = file;
    finding.first_cluster = finding.last_cluster = cluster;
    const ClusterFacts& facts = survey_.At(cluster);
    if (facts.HoldsData()) {
      finding.first_tick = facts.FirstTick();
      finding.last_tick = facts.LastTick();
      finding.tags = facts.Best().content.tags;
    }
    if (survey_.OnSearchPath(cluster)) finding.search_path.push_back(cluster);
    return finding;
  }

  // Joins what is alike in neighbouring clusters.
  void Add(const Finding& added) {
    const auto joins = [&added](const Finding& kept) {
      return kept.kind == added.kind && kept.file == added.file &&
             kept.good_file == added.good_file && kept.last_cluster + 1 == added.first_cluster &&
             kept.last_packet_open == added.last_packet_open;
    };
    const auto kept = std::find_if(findings_.rbegin(), findings_.rend(), joins);
    if (kept == findings_.rend()) return findings_.push_back(added);
    kept->last_cluster = added.last_cluster;
    kept->first_tick = std::min(kept->first_tick, added.first_tick);
    const bool both_known = kept->last_tick != kNoTick && added.last_tick != kNoTick;
    kept->last_tick = both_known ? std::max(kept->last_tick, added.last_tick)
                                 : std::min(kept->last_tick, added.last_tick);
    kept->tags |= added.tags;
    kept->search_path.insert(kept->search_path.end(), added.search_path.begin(),
                             added.search_path.end());
  }

  // ---- Files ------------------------------------------------------------------

  void AddFile(int file) {
    static constexpr struct {
      FileProblem problem;
      const FindingKind& kind;
    } kProblems[] = {{FileProblem::kMissing, finding_kind::kMissingFile},
                     {FileProblem::kNotRegular, finding_kind::kNotAFile},
                     {FileProblem::kShort, finding_kind::kShortFile},
                     {FileProblem::kLong, finding_kind::kLongFile},
                     {FileProblem::kNotOpened, finding_kind::kNotOpened}};
    if (survey_.File(file).Path().empty()) return;  // there was never to be one
    for (const auto& row : kProblems)
      if (row.problem == survey_.File(file).Problem()) AddFileProblem(row.kind, file);
  }

  // With the clusters that the file does not have.
  void AddFileProblem(const FindingKind& kind, int file) {
    Finding whole;
    whole.kind = &kind;
    whole.file = file;
    whole.last_cluster = kClusterCount - 1;
    for (int cluster = kClusterCount - 1; cluster >= 0; --cluster) {
      if (Copy(cluster, file).state != CopyState::kAbsent) break;
      whole.first_cluster = cluster;
      const Finding one = About(cluster, kind, file);
      whole.tags |= one.tags;
      whole.first_tick = std::min(whole.first_tick, one.first_tick);
      if (one.last_tick != kNoTick)
        whole.last_tick =
            whole.last_tick == kNoTick ? one.last_tick : std::max(whole.last_tick, one.last_tick);
      if (Copy(cluster, OtherFile(file)).state != CopyState::kAbsent)
        whole.good_file = OtherFile(file);
      // The other file may not have had its turn since.
      whole.last_packet_open |= MayHoldLastPacket(cluster);
    }
    findings_.push_back(whole);
  }

  // Beside it there is nothing to say: what one file lacks the other does not have.
  void AddTwoRecordings() {
    Finding finding;
    finding.kind = &finding_kind::kTwoRecordings;
    finding.last_cluster = kClusterCount - 1;
    findings_.push_back(finding);
  }

  // ---- Clusters ---------------------------------------------------------------

  const CopyFacts& Copy(int cluster, int file) const { return survey_.At(cluster).Copy(file); }

  void AddCluster(int cluster) {
    const ClusterFacts& facts = survey_.At(cluster);
    switch (facts.relation) {
      case Relation::kNoneSound:
        return AddLost(cluster);
      case Relation::kOneSound:
        AddBadCopy(cluster, OtherFile(facts.best));
        break;
      case Relation::kEqual:
        break;
      case Relation::kConflict:
        AddConflict(cluster, facts.best);
        break;
      case Relation::kShorter:
      case Relation::kOlder:
      case Relation::kFaulty:
      case Relation::kWrongTick:
      case Relation::kMisplaced:
        AddLesserCopy(cluster, OtherFile(facts.best));
        break;
    }
    if (facts.HoldsData()) AddContent(cluster, facts.Best().content);
  }

  // Copies that the file is too short for are told once, with the file.
  void AddBadCopy(int cluster, int file) {
    const CopyFacts& copy = Copy(cluster, file);
    if (copy.state == CopyState::kAbsent) return;
    Finding finding = About(cluster, KindOfBadCopy(copy.state), file);
    finding.good_file = OtherFile(file);
    finding.last_packet_open = MayHoldLastPacket(cluster);
    Add(finding);
  }

  void AddConflict(int cluster, int preferred_file) {
    Finding finding = About(cluster, finding_kind::kConflict, 0);
    finding.preferred_file = preferred_file;
    Add(finding);
  }

  // A power cut may leave a torn copy of the newest cluster, or of the next one if that
  // was just begun.
  bool MayHoldLastPacket(int cluster) const {
    if (survey_.Empty()) return cluster == 0;
    return cluster == survey_.Newest() || cluster == NextCluster(survey_.Newest());
  }

  const FindingKind& KindOfLesserCopy(int cluster, Relation relation) const {
    if (relation == Relation::kFaulty) return finding_kind::kWrongPackets;
    if (relation == Relation::kWrongTick) return finding_kind::kWrongFirstTick;
    if (relation == Relation::kMisplaced) return finding_kind::kMisplaced;
    return IsUsualLag(cluster, relation) ? finding_kind::kBehind : finding_kind::kOutdated;
  }

  void AddLesserCopy(int cluster, int file) {
    Finding finding = About(cluster, KindOfLesserCopy(cluster, survey_.At(cluster).relation), file);
    finding.good_file = OtherFile(file);
    if (finding.Is(finding_kind::kWrongPackets))
      finding.last_packet_open = MayHoldLastPacket(cluster);
    if (finding.Is(finding_kind::kMisplaced))
      finding.last_packet_open = survey_.HoldsLatest(Copy(cluster, file));
    if (finding.Is(finding_kind::kBehind)) NarrowToLag(finding, Copy(cluster, file));
    Add(finding);
  }

  // To what the copy lacks. No search stumbles over it.
  static void NarrowToLag(Finding& finding, const CopyFacts& copy) {
    finding.search_path.clear();
    finding.tags.reset();
    const bool same_packets =
        copy.content.last_tick != kNoTick && copy.content.last_tick >= finding.first_tick;
    if (same_packets) finding.first_tick = copy.content.last_tick;
  }

  // The files take turns with every packet: the one that has not written last lacks the
  // latest, and may lack that of the cluster before. More only while a recorder goes on
  // between two looks.
  bool IsUsualLag(int cluster, Relation relation) const {
    if (!survey_.IsBeingRecorded() && PacketsBehind(cluster) > 1) return false;
    return IsRunEnd(cluster) || (relation == Relation::kShorter && survey_.IsBeingWritten(cluster));
  }

  unsigned int PacketsBehind(int cluster) const {
    const ClusterFacts& facts = survey_.At(cluster);
    const bool same_lap = facts.relation == Relation::kShorter;
    const CopyFacts& lesser = facts.Copy(OtherFile(facts.best));
    return facts.Best().content.packets - (same_lap ? lesser.content.packets : 0);
  }

  void AddLost(int cluster) {
    const int before = known_before_[static_cast<std::size_t>(cluster)];
    const int after = known_after_[static_cast<std::size_t>(cluster)];
    const bool behind_the_end = before >= 0 && before < cluster && !survey_.At(before).HoldsData();
    Finding finding =
        About(cluster, behind_the_end ? finding_kind::kHeldNothing : finding_kind::kLost, 0);
    if (!behind_the_end) {
      SetLostSpan(finding, before, after);
      finding.tags = Legible(cluster);
    }
    Add(finding);
  }

  // For each cluster the nearest other one with a sound copy, stepping from one to
  // the next; -1 when there is none.
  std::vector<int> NearestKnown(int (*step)(int)) const {
    std::vector<int> nearest(static_cast<std::size_t>(kClusterCount), -1);
    int known = -1;
    // Twice round: the first time finds what the second begins with.
    for (int i = 0, cluster = 0; i < 2 * kClusterCount; ++i, cluster = step(cluster)) {
      nearest[static_cast<std::size_t>(cluster)] = known;
      if (survey_.At(cluster).Known()) known = cluster;
    }
    return nearest;
  }

  // Between the last tick before and the first one after, where they are data of
  // one run.
  void SetLostSpan(Finding& finding, int before, int after) const {
    const bool has_before = before >= 0 && survey_.At(before).HoldsData();
    const bool has_after = after >= 0 && survey_.At(after).HoldsData();
    if (has_before) finding.first_tick = survey_.At(before).LastTick();
    if (has_after) finding.last_tick = survey_.At(after).FirstTick();
    if (has_before && has_after && finding.last_tick < finding.first_tick)
      finding.last_tick = kNoTick;
  }

  // What packets with a right CRC are left in the damaged copies.
  TagSet Legible(int cluster) {
    TagSet tags;
    unsigned char image[kClusterBytes];
    for (const int file : kFileNumbers) {
      const CopyState state = survey_.File(file).Read(cluster, image);
      const std::size_t end =
          state == CopyState::kBadCrc ? ClusterSize(image) : std::size_t{kClusterBytes};
      if (state == CopyState::kBadCrc || state == CopyState::kBadSize)
        tags |= WalkCluster(image, end).tags;
    }
    return tags;
  }

  void AddContent(int cluster, const ClusterContent& content) {
    if (content.Faulty()) Add(About(cluster, finding_kind::kUnsoundPackets, 0));
    if (content.undecodable > 0) Add(About(cluster, finding_kind::kUndecodableItems, 0));
    if (content.wrong_st) Add(About(cluster, finding_kind::kWrongFirstTick, 0));
    if (content.ticks_fall) Add(About(cluster, finding_kind::kTicksGoBack, 0));
  }

  // ---- The ring as a whole ------------------------------------------------------

  void AddOrder() {
    for (const int end : survey_.RunEnds()) {
      if (end != survey_.Newest()) findings_.push_back(About(end, finding_kind::kSecondRun, 0));
    }
    if (survey_.Empty()) return;
    for (int cluster = survey_.Oldest(); cluster != survey_.Newest();) {
      const int next = NextCluster(cluster);
      AddStepBack(cluster, next);
      cluster = next;
    }
  }

  // Where a run ends ticks go back too; that is told as a second run.
  void AddStepBack(int cluster, int next) {
    const ClusterFacts& here = survey_.At(cluster);
    const ClusterFacts& there = survey_.At(next);
    if (!here.HoldsData() || !there.HoldsData() || IsRunEnd(cluster)) return;
    if (there.FirstTick() >= here.LastTick() || here.LastTick() == kNoTick) return;
    Finding finding = About(cluster, finding_kind::kTicksGoBack, 0);
    finding.last_cluster = next;
    finding.first_tick = here.LastTick();
    finding.last_tick = there.FirstTick();
    finding.search_path.clear();
    findings_.push_back(finding);
  }

  bool IsRunEnd(int cluster) const {
    const std::vector<int>& ends = survey_.RunEnds();
    return std::find(ends.begin(), ends.end(), cluster) != ends.end();
  }

  void AddSearches() {
    for (const int file : kFileNumbers)
      if (SearchOf(file) == FileSearch::kFails) AddSearch(finding_kind::kNotSearchable, file);
    if (BeginsAnew({SearchOf(1), SearchOf(2)})) return AddBeginsAnew();
    const SearchResult& best = survey_.SearchOfBest();
    if (best.found && !survey_.Empty() && best.newest != survey_.Newest())
      AddSearch(finding_kind::kWrongNewest, 0);
    AddRefusal();
  }

  FileSearch SearchOf(int file) const {
    const FileProblem problem = survey_.File(file).Problem();
    if (problem == FileProblem::kMissing) return FileSearch::kMissing;
    if (problem != FileProblem::kNone) return FileSearch::kUnusable;
    return survey_.SearchOf(file).found ? FileSearch::kFinds : FileSearch::kFails;
  }

  // At the obstacle in the file that was looked at last.
  void AddBeginsAnew() {
    Finding finding = findings_.back();
    finding.kind = &finding_kind::kBeginsAnew;
    finding.file = 0;
    findings_.push_back(finding);
  }

  void AddSearch(const FindingKind& kind, int file) {
    const SearchResult& search = file > 0 ? survey_.SearchOf(file) : survey_.SearchOfBest();
    Finding finding;
    finding.kind = &kind;
    finding.file = file;
    const int at = &kind == &finding_kind::kWrongNewest ? search.newest : Obstacle(search, file);
    finding.first_cluster = finding.last_cluster = at;
    findings_.push_back(finding);
  }

  // The first cluster on the path that cannot be read, in one file or in both.
  int Obstacle(const SearchResult& search, int file) const {
    const auto blocks = [this, file](int cluster) {
      return file > 0 ? !IsSound(Copy(cluster, file).state) : !survey_.At(cluster).Known();
    };
    const auto found = std::find_if(search.path.begin(), search.path.end(), blocks);
    return found != search.path.end() ? *found : search.path.back();
  }

  // A recorder loads the newest cluster and the one before it, and does not start
  // without.
  void AddRefusal() {
    if (survey_.Empty()) return;
    const int previous = PreviousCluster(survey_.Newest());
    if (!survey_.At(previous).Known())
      findings_.push_back(About(previous, finding_kind::kCannotStart, 0));
  }

  RingSurvey& survey_;
  std::vector<int> known_before_;
  std::vector<int> known_after_;
  std::vector<Finding> findings_;
};

}  // namespace

int Finding::Clusters() const {
  return (last_cluster - first_cluster + kClusterCount) % kClusterCount + 1;
}

const char* SeverityText(Severity severity) {
  if (severity == Severity::kLost) return "lost";
  return severity == Severity::kDamaged ? "damaged" : "normal";
}

Severity Gravest(const std::vector<Finding>& findings) {
  Severity gravest = Severity::kNormal;
  for (const Finding& finding : findings) gravest = std::max(gravest, finding.Grade());
  return gravest;
}

std::vector<Finding> FindAll(RingSurvey& survey) { return Collector(survey).Run(); }

}  // namespace vmr::tool
