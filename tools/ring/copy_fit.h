// Whether a copy of a cluster belongs where it stands.
#ifndef VMR_TOOLS_RING_COPY_FIT_H_
#define VMR_TOOLS_RING_COPY_FIT_H_

#include "tools/ring/survey.h"

namespace vmr::tool {

inline constexpr int kFits = 2;

// A write that a device put in the wrong place leaves a cluster whose CRC is
// right; only the clusters before and behind it tell. How many of the two a sound
// copy fits to: its ticks go on from those before and end before those behind, and
// what was never written stands behind the recording's end. Where nothing tells,
// it fits. -1 for a copy that is not sound.
int FitOf(const CopyFacts& copy, int cluster, const ClusterFacts& before,
          const ClusterFacts& behind);

// Both are known, and the one goes on where the other ends, with or without data.
bool FollowOnEachOther(const ClusterFacts& before, const ClusterFacts& behind);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_RING_COPY_FIT_H_
