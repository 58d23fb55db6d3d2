#include "records/ring_source.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "backends/cluster_copies.h"
#include "backends/last_position.h"
#include "records/one_recording.h"
#include "store/packet_format.h"

namespace vmr::records {
namespace {

// `part` holds packets with which `whole` begins, too.
bool IsBeginningOf(const unsigned char* part, const unsigned char* whole) {
  return ClusterSize(part) <= ClusterSize(whole) &&
         std::memcmp(part + kClusterHeaderBytes, whole + kClusterHeaderBytes,
                     static_cast<std::size_t>(ClusterSize(part) - kClusterHeaderBytes)) == 0;
}

bool BelongTogether(const unsigned char* a, const unsigned char* b) {
  return IsBeginningOf(a, b) || IsBeginningOf(b, a);
}

// As far as its first packet tells.
bool HasRightFirstTick(const unsigned char* image) {
  const unsigned int st = ClusterSt(image);
  return TellsTick(st) && PacketTick(image + kClusterHeaderBytes, st) == st;
}

class FirstTicksOfBest final : public FirstTicks {
 public:
  explicit FirstTicksOfBest(RingSource& ring) : ring_(ring) {}
  unsigned int At(int cluster) override { return ring_.FirstTick(cluster); }

 private:
  RingSource& ring_;
};

}  // namespace

// ---- Opening ---------------------------------------------------------------------

RingSource::RingSource(std::string path1, std::string path2)
    : paths_{std::move(path1), std::move(path2)} {}

std::unique_ptr<RingSource> RingSource::Open(const std::string& path1, const std::string& path2,
                                             RingProblem& problem) {
  std::unique_ptr<RingSource> source(new RingSource(path1, path2));
  problem = !source->OpenFiles()               ? RingProblem::kNoFile
            : AreOfTwoRecordings(path1, path2) ? RingProblem::kTwoRecordings
            : !source->FindSpan()              ? RingProblem::kNoEnd
                                               : RingProblem::kNone;
  if (problem != RingProblem::kNone) source.reset();
  return source;
}

bool RingSource::OpenFiles() {
  for (std::size_t i = 0; i < files_.size(); ++i)
    if (!paths_[i].empty()) files_[i].Open(paths_[i]);
  return files_[0].IsOpen() || files_[1].IsOpen();
}

bool RingSource::FindSpan() {
  FirstTicksOfBest ticks(*this);
  const LastPosition found = SearchLastPosition(ticks, kClusterCount);
  if (!found.Found()) return FindSpanInAll();
  const unsigned int first_st = FirstTick(0), last_st = FirstTick(kClusterCount - 1);
  one_lap_ = last_st == kNeverWrittenSt;
  if (first_st == kNeverWrittenSt && one_lap_) return true;  // empty
  span_.newest = found.newest;
  // Continuations alone have filled what no tick tells yet.
  for (int i = 0; i < kClusterCount && FirstTick(NextCluster(span_.newest)) == kPartialWrapSt; ++i)
    span_.newest = NextCluster(span_.newest);
  SetSpan(!one_lap_ && FirstTick(NextCluster(span_.newest)) != kNeverWrittenSt);
  return true;
}

// A cluster that the search needs is bad in both files. All the others tell where the
// recording ends: in front of what was never written, or, where something stands behind
// that, too, where ticks drop most. A ring is filled to its end before it wraps, so a drop
// in its first lap is a recorder whose ticks began anew.
bool RingSource::FindSpanInAll() {
  unsigned int before = kNeverWrittenSt, widest_drop = 0;
  int last_told = -1, drop = -1, end = -1;
  for (int cluster = 0; cluster < kClusterCount; ++cluster) {
    const Best best = BestInTurn(cluster);
    if (best.image == nullptr) continue;
    const unsigned int st = ClusterSt(best.image);
    if (st == kNeverWrittenSt && end < 0) end = last_told;
    if (!TellsTick(st) || !PacketsAreSound(best.image)) continue;
    if (last_told >= 0 && st < before && before - st > widest_drop) {
      widest_drop = before - st;
      drop = last_told;
    }
    before = st;
    last_told = cluster;
  }
  if (last_told < 0) return false;
  if (end == last_told) drop = -1;
  one_lap_ = end >= 0 && drop < 0;
  span_.newest = drop >= 0 ? drop : end >= 0 ? end : last_told;
  searched_all_ = true;
  // What is bad behind it may have been recorded.
  while (drop < 0 && span_.newest + 1 < kClusterCount && BestAt(span_.newest + 1).image == nullptr)
    ++span_.newest;
  SetSpan(drop >= 0);
  return true;
}

void RingSource::SetSpan(bool has_wrapped) {
  span_.has_wrapped = has_wrapped;
  span_.oldest = has_wrapped ? NextCluster(span_.newest) : 0;
  newest_st_ = FirstTick(span_.newest);
  behind_newest_st_ = FirstTick(NextCluster(span_.newest));
  StartAt(span_.oldest);
}

void RingSource::StartAt(int cluster) {
  next_ = cluster;
  left_ = span_.newest < 0 ? 0 : (span_.newest - cluster + kClusterCount) % kClusterCount + 1;
}

// ---- Copies ----------------------------------------------------------------------

// Of two sound copies the one that is of a later lap, or the one that the other begins.
RingSource::Best RingSource::BestOf(const unsigned char* image1,
                                    const unsigned char* image2) const {
  if (image1 == nullptr && image2 == nullptr) return {};
  if (image2 == nullptr) return {image1, 0};
  if (image1 == nullptr) return {image2, 1};
  if (!HoldsPackets(image2)) return {image1, 0};
  if (!HoldsPackets(image1)) return {image2, 1};
  const unsigned int st1 = ClusterSt(image1), st2 = ClusterSt(image2);
  if (BelongTogether(image1, image2)) {
    // Continuations get their tick when the next packet arrives.
    const bool second = ClusterSize(image2) > ClusterSize(image1) ||
                        (ClusterSize(image2) == ClusterSize(image1) && !HasRightFirstTick(image1) &&
                         HasRightFirstTick(image2));
    return second ? Best{image2, 1} : Best{image1, 0};
  }
  const bool sound1 = PacketsAreSound(image1), sound2 = PacketsAreSound(image2);
  const bool same_lap = one_lap_ || st1 == st2;
  if (sound1 != sound2) return sound2 ? Best{image2, 1} : Best{image1, 0};
  Best best = TellsTick(st2) && (!TellsTick(st1) || st2 > st1) ? Best{image2, 1} : Best{image1, 0};
  best.conflict = same_lap && sound1;
  return best;
}

RingSource::Best RingSource::BestAt(int cluster) {
  return BestOf(files_[0].Read(cluster), files_[1].Read(cluster));
}

RingSource::Best RingSource::BestInTurn(int cluster) {
  return BestOf(files_[0].ReadInTurn(cluster), files_[1].ReadInTurn(cluster));
}

unsigned int RingSource::FirstTick(int cluster) {
  ++looks_;
  const Best best = BestAt(cluster);
  return best.image == nullptr ? kUnreadableSt : ClusterSt(best.image);
}

// ---- Handing out -----------------------------------------------------------------

bool RingSource::HasData(const Best& best) const {
  return best.image != nullptr && HoldsPackets(best.image);
}

void RingSource::AddToGap(GapReason reason, int cluster) {
  if (!gap_) {
    gap_ = Gap{reason};
    gap_->place.cluster = cluster;
    gap_->place.offset = static_cast<std::int64_t>(cluster) * kClusterBytes;
  }
  if (reason != GapReason::kOverwritten) ++gap_->clusters;
}

// Both files have missed the cluster, and hold what was recorded a lap before: its tick is
// below that of the cluster in front of it, and the clusters behind it go on from that one.
bool RingSource::IsOfLapBefore(int cluster, unsigned int st) {
  constexpr int kFarthestLook = 8;
  if (!span_.has_wrapped) return false;
  if (!TellsTick(st) || !TellsTick(last_st_) || st >= last_st_) return false;
  for (int i = 0; i < kFarthestLook && cluster != span_.newest; ++i) {
    cluster = NextCluster(cluster);
    const unsigned int behind = FirstTick(cluster);
    if (TellsTick(behind)) return behind >= last_st_;
  }
  return false;
}

// A recorder that has gone on since the ring was opened writes the oldest clusters anew. The
// first of them tells whether it has.
bool RingSource::WasOvertaken(int cluster, unsigned int st) {
  if (cluster == span_.newest || !TellsTick(st) || !TellsTick(newest_st_) || st < newest_st_)
    return false;
  return FirstTick(NextCluster(span_.newest)) != behind_newest_st_;
}

bool RingSource::IsLost(int cluster, const Best& best, GapReason& reason) {
  reason = GapReason::kLostClusters;
  if (!HasData(best)) return true;
  const unsigned int st = ClusterSt(best.image);
  if (has_begun_ && IsOfLapBefore(cluster, st)) return true;
  reason = GapReason::kOvertaken;
  return WasOvertaken(cluster, st);
}

bool RingSource::Next(std::size_t /*unused*/, Stretch& stretch) {
  stretch = {};
  if (!has_begun_ && span_.has_wrapped && next_ == span_.oldest)
    AddToGap(GapReason::kOverwritten, span_.oldest);
  for (; left_ > 0; --left_, next_ = NextCluster(next_)) {
    const int looks = looks_;
    Best best = BestInTurn(next_);
    GapReason reason{};
    if (IsLost(next_, best, reason)) {
      AddToGap(reason, next_);
      continue;
    }
    if (looks_ != looks) best = BestInTurn(next_);  // other clusters have taken its buffer
    if (!HasData(best)) continue;
    HandOut(best, stretch);
    return true;
  }
  stretch.gap = std::exchange(gap_, std::nullopt);
  return false;
}

void RingSource::HandOut(const Best& best, Stretch& stretch) {
  const unsigned int st = ClusterSt(best.image);
  stretch.bytes = best.image + kClusterHeaderBytes;
  stretch.size = static_cast<std::size_t>(ClusterSize(best.image) - kClusterHeaderBytes);
  stretch.place.file = best.file + 1;
  stretch.place.cluster = next_;
  stretch.place.offset = static_cast<std::int64_t>(next_) * kClusterBytes + kClusterHeaderBytes;
  stretch.first_tick = TellsTick(st) ? st : kNoTick;
  stretch.gap = std::exchange(gap_, std::nullopt);
  if (TellsTick(st)) last_st_ = st;
  conflicts_ += best.conflict ? 1 : 0;
  has_begun_ = true;
  handed_out_ = next_;
  next_ = NextCluster(next_);
  --left_;
}

std::unique_ptr<Source> RingSource::Fork() const {
  std::unique_ptr<RingSource> fork(new RingSource(paths_[0], paths_[1]));
  if (!fork->OpenFiles()) return nullptr;
  fork->span_ = span_;
  fork->behind_newest_st_ = behind_newest_st_;
  fork->newest_st_ = newest_st_;
  fork->one_lap_ = one_lap_;
  fork->StartAt(has_begun_ ? handed_out_ : span_.oldest);
  fork->has_begun_ = true;
  return fork;
}

double RingSource::Progress() const {
  const int all =
      span_.newest < 0 ? 0 : (span_.newest - span_.oldest + kClusterCount) % kClusterCount + 1;
  return all == 0 ? 1 : static_cast<double>(all - left_) / all;
}

}  // namespace vmr::records
