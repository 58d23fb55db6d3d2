// Records inputs whose own stamps are the clock.
#ifndef VMR_TOOLS_RECORD_REPLAY_SESSION_H_
#define VMR_TOOLS_RECORD_REPLAY_SESSION_H_

#include <optional>
#include <string>
#include <vector>

#include "tools/record/input.h"
#include "tools/record/input_progress.h"
#include "tools/record/recorder.h"
#include "tools/record/replay_clock.h"
#include "tools/record/stop_signal.h"

namespace vmr::tool {

// Merges the inputs by stamp; an event without one follows the event before it
// in its input. Lines are used as soon as they arrive: only to decide between
// inputs does one wait for another.
//
// The first TimerTick waits for the first stamp, so that the recording starts
// with the time of the input.
//
// A line a day ahead or more is reached in one step and said to be: the days between
// hold nothing but dumps of an unchanged state. One more than 400 days ahead is taken
// for wrong, as receivers' times are when their week number rolls over, unless
// `allow_jumps`.
//
// Owns     nothing; all references outlive it. Its clock is the process's wall
//          clock while Run goes on.
class ReplaySession {
 public:
  ReplaySession(Recorder& recorder, Inputs& inputs, const StopSignal& stop, InputProgress& progress,
                bool allow_jumps);

  // Until all inputs have ended and nothing is pending, or a signal.
  void Run();

 private:
  struct Source {
    Input* input;
    std::optional<NumberedReport> next;
  };

  bool AllEnded() const;
  void Refill();
  void WaitForInput();
  Source* ChooseSource();
  std::int64_t EarliestTime() const;
  void RecordNext(Source& source);
  bool SaysWhereToStart(const Stamp& stamp) const;
  bool IsJump(unsigned int tick) const;
  std::string WhyTooFar(const Stamp& stamp, unsigned int tick) const;
  void RemarkJump(const Source& source, unsigned long line, const Stamp& stamp,
                  unsigned int tick) const;
  bool RunTo(const Stamp& stamp, unsigned int tick);
  bool RunUpTo(unsigned int tick);
  bool RunTick(unsigned int tick);
  void RunOut();

  Recorder& recorder_;
  const StopSignal& stop_;
  InputProgress& progress_;
  std::vector<Source> sources_;
  ReplayClock clock_;
  const bool allow_jumps_;
  bool started_ = false;   // the first TimerTick was done
  bool reported_ = false;  // something was reported
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_RECORD_REPLAY_SESSION_H_
