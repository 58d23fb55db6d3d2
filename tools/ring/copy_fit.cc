#include "tools/ring/copy_fit.h"

namespace vmr::tool {
namespace {

bool HoldsData(const CopyFacts& copy) { return copy.state == CopyState::kGood; }

bool FitsBehind(const ClusterFacts& before, const CopyFacts& copy, int cluster) {
  if (!before.Known() || (before.HoldsData() && !HoldsData(copy))) return true;
  if (!before.HoldsData()) return !HoldsData(copy) || cluster == 0;
  const unsigned int first = copy.FirstTick();
  return first == kNoTick || before.LastTick() == kNoTick || first >= before.LastTick();
}

bool FitsBefore(const CopyFacts& copy, const ClusterFacts& behind, int cluster) {
  if (!behind.Known() || !behind.HoldsData()) return true;
  if (!HoldsData(copy)) return cluster == kClusterCount - 1;
  const unsigned int last = copy.LastTick();
  return last == kNoTick || behind.FirstTick() == kNoTick || last <= behind.FirstTick();
}

}  // namespace

int FitOf(const CopyFacts& copy, int cluster, const ClusterFacts& before,
          const ClusterFacts& behind) {
  if (!IsSound(copy.state)) return -1;
  return (FitsBehind(before, copy, cluster) ? 1 : 0) + (FitsBefore(copy, behind, cluster) ? 1 : 0);
}

bool FollowOnEachOther(const ClusterFacts& before, const ClusterFacts& behind) {
  if (!before.Known() || !behind.Known() || before.HoldsData() != behind.HoldsData()) return false;
  return !before.HoldsData() || before.LastTick() <= behind.FirstTick();
}

}  // namespace vmr::tool
