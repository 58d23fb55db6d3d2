// How the enumerations go through the scenarios.
#ifndef VMR_TESTS_CRASH_ROUNDS_H_
#define VMR_TESTS_CRASH_ROUNDS_H_

#include "tests/crash/recording.h"
#include "tests/crash/run.h"

namespace vmr::crash {

// Calls visit(scenario, round, turn) for every scenario and both turns, round
// after round until the run has enough, or wants nothing of a round. A replay goes
// to the round of its state.
template <typename Visit>
void ForEachRound(Run& run, const Visit& visit) {
  const unsigned int first = run.ReplayedRound();
  for (unsigned int round = first; round == first || !run.Enough(false); ++round) {
    const long visited_before = run.Visited();
    for (const Scenario& scenario : Scenarios())
      for (int turn = 0; turn < 2 && !run.Enough(true); ++turn) visit(scenario, round, turn);
    if (run.Replaying() || run.Visited() == visited_before) return;
  }
}

}  // namespace vmr::crash

#endif  // VMR_TESTS_CRASH_ROUNDS_H_
