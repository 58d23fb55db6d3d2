// One run of the crash tests: which states it visits, what it counted, what
// failed.
#ifndef VMR_TESTS_CRASH_RUN_H_
#define VMR_TESTS_CRASH_RUN_H_

#include <chrono>
#include <string>

#include "tests/crash/cow_files.h"
#include "tests/crash/state_check.h"

namespace vmr::crash {

struct Options {
  std::string kind;     // "single", "double", ...
  std::string replay;   // the only state to visit; empty: all
  std::string counts;   // file that gets the line of counts appended
  std::string program;  // for the command of a replay
  long states = 0;      // end of the last round that reaches so many
  long every = 1;       // visit every so-many-th state only
  long seconds = 0;     // or so much time instead, if above 0
};

class StruckSites;

// A state's id names how to make it: "single/second-1/r0/t1/w12/s5/random".
class Run {
 public:
  explicit Run(const Options& options);

  // False when the state is not to be visited in this run.
  bool Wants(const std::string& id);
  // False when no state whose id begins so is.
  bool WantsSome(const std::string& prefix) const;
  // Prints the failure with the command that repeats it.
  void Fail(const std::string& id, const std::string& wrong);
  // Enough states, or enough time, or too many failures. Asked between rounds;
  // `within` a round only the time and the failures count.
  bool Enough(bool within) const;
  // The round that the replayed state belongs to, else 0.
  unsigned int ReplayedRound() const;
  bool Replaying() const { return !options_.replay.empty(); }
  // Some states are left out, and with them perhaps what the others would show.
  bool Sampling() const { return options_.every > 1; }
  long Visited() const { return visited_; }
  // Every so-many-th state is read back in full.
  bool IsSample() const { return Replaying() || visited_ % 4096 == 1; }

  // Prints and appends the line of counts. The exit code.
  int Finish();

  Counts counts;

 private:
  static constexpr int kMaxFailures = 10;

  void JudgeCoincidences();
  void JudgeAmount();

  Options options_;
  long visited_ = 0;
  long offered_ = 0;
  int failures_ = 0;
  std::chrono::steady_clock::time_point start_;
};

// The enumerations. Each goes on with further rounds, which differ in their
// packets, until the run has enough.
void EnumerateSingleCuts(Run& run);
void EnumerateDoubleCuts(Run& run);
void EnumerateDamage(Run& run);
void EnumerateFailingCalls(Run& run);
// The part of it that is about flat files.
void EnumerateFlatCalls(Run& run, StruckSites& sites);
void EnumerateFileFaults(Run& run);

}  // namespace vmr::crash

#endif  // VMR_TESTS_CRASH_RUN_H_
