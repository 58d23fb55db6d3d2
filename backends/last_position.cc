#include "backends/last_position.h"

#include "backends/cluster_format.h"

namespace vmr {
namespace {

// A cluster and its first tick.
struct Tick {
  int cluster;
  unsigned int st;
};

class Search {
 public:
  Search(FirstTicks& ticks, int count) : ticks_(ticks), last_(count - 1) {}

  LastPosition Run();

 private:
  LastPosition Bisect(unsigned int first_st, unsigned int last_st);
  bool TakeMiddle(int middle);
  void TakeContinued(int middle);
  Tick NextTold(int from, int to, int step) const;
  bool IsBehind(unsigned int st) const { return st < low_.st || st == kNeverWrittenSt; }
  void MoveUp(const Tick& to);

  FirstTicks& ticks_;
  int last_;
  Tick low_{};   // of the lap that is being written
  Tick high_{};  // of the lap before it, or never written
};

LastPosition Search::Run() {
  const unsigned int first_st = ticks_.At(0);
  const unsigned int last_st = ticks_.At(last_);
  ticks_.Ends(first_st, last_st);
  if (first_st == kNeverWrittenSt && last_st == kNeverWrittenSt)
    return {LastPositionKind::kEmpty, 0, kNeverWrittenSt, last_, kNeverWrittenSt};
  unsigned int lap_st = first_st;
  if (first_st == kPartialWrapSt) {
    // What follows a cluster 0 that is being written is a lap older than the last
    // cluster, or never written as the last one is.
    const Tick behind = NextTold(1, last_, 1);
    const unsigned int end_st = last_st == kPartialWrapSt ? NextTold(last_ - 1, 0, -1).st : last_st;
    const bool was_closed = TellsTick(behind.st) && (end_st == kNeverWrittenSt ||
                                                     (TellsTick(end_st) && behind.st > end_st));
    const unsigned int second_st = behind.cluster == 1 ? behind.st : ticks_.At(1);
    if (!was_closed) return {LastPositionKind::kPartialWrap, last_, last_st, 1, second_st};
    lap_st = behind.st;
  }
  if (TellsTick(last_st) && lap_st < last_st)
    return {LastPositionKind::kReadyToWrap, last_, last_st, 0, first_st};
  return Bisect(lap_st, last_st);
}

LastPosition Search::Bisect(unsigned int first_st, unsigned int last_st) {
  if (last_ < 1) return {LastPositionKind::kTooFew};
  low_ = {0, first_st};
  high_ = {last_, last_st};
  while (high_.cluster - low_.cluster > 1)
    if (!TakeMiddle((low_.cluster + high_.cluster) / 2)) return {LastPositionKind::kUnreadable};
  return {LastPositionKind::kFound, low_.cluster, low_.st, high_.cluster, high_.st};
}

// False when one of the three cannot be read.
bool Search::TakeMiddle(int middle) {
  const unsigned int st = ticks_.At(middle);
  if (ticks_.At(low_.cluster) == kUnreadableSt || high_.st == kUnreadableSt || st == kUnreadableSt)
    return false;
  if (st == kPartialWrapSt)
    TakeContinued(middle);
  else if (IsBehind(st))
    high_ = {middle, st};
  else
    MoveUp({middle, st});
  return true;
}

// Where nothing newer is behind the cluster it is the newest one itself, unless what
// is in front of it is of the lap before.
void Search::TakeContinued(int middle) {
  const Tick behind = NextTold(middle + 1, high_.cluster, 1);
  if (TellsTick(behind.st) && !IsBehind(behind.st)) return MoveUp(behind);
  const Tick before = NextTold(middle - 1, low_.cluster, -1);
  if (before.cluster != low_.cluster && IsBehind(before.st))
    high_ = {middle, kPartialWrapSt};
  else
    MoveUp({middle, kPartialWrapSt});
}

// The first cluster from `from` on that says where it belongs, or `to` when there is
// none before it. One that cannot be read says nothing.
Tick Search::NextTold(int from, int to, int step) const {
  constexpr int kMostSteps = 32;  // they come one at a time; the rest is damage
  for (int cluster = from, n = 0; (to - cluster) * step > 0 && n < kMostSteps;
       cluster += step, ++n) {
    const unsigned int st = ticks_.At(cluster);
    if (TellsTick(st) || st == kNeverWrittenSt) return {cluster, st};
  }
  return {to, ticks_.At(to)};
}

void Search::MoveUp(const Tick& to) {
  low_ = to;
  ticks_.Narrowed(low_.cluster, low_.st, high_.cluster, high_.st);
}

}  // namespace

LastPosition SearchLastPosition(FirstTicks& ticks, int cluster_count) {
  return Search(ticks, cluster_count).Run();
}

}  // namespace vmr
