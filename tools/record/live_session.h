// Records inputs as they arrive, by the machine's clock.
#ifndef VMR_TOOLS_RECORD_LIVE_SESSION_H_
#define VMR_TOOLS_RECORD_LIVE_SESSION_H_

#include <chrono>

#include "tools/record/input.h"
#include "tools/record/input_progress.h"
#include "tools/record/recorder.h"
#include "tools/record/stop_signal.h"

namespace vmr::tool {

// An event happens when it arrives, whatever its stamp says. A timer ticks
// every half second.
//
// Owns     nothing; all references outlive it. `gpsd`, null without one, is that
//          of the inputs whose silence means that GPS is unavailable.
class LiveSession {
 public:
  LiveSession(Recorder& recorder, Inputs& inputs, const Input* gpsd, const StopSignal& stop,
              InputProgress& progress)
      : recorder_(recorder), inputs_(inputs), gpsd_(gpsd), stop_(stop), progress_(progress) {}

  // Until all inputs have ended, or a signal. False when there is no timer.
  bool Run();

 private:
  using Clock = std::chrono::steady_clock;

  void Loop(int timer);
  bool AllEnded() const;
  void Tick(int timer);
  void RecordWhatArrived(Input& input);

  Recorder& recorder_;
  Inputs& inputs_;
  const Input* gpsd_;
  const StopSignal& stop_;
  InputProgress& progress_;
  Clock::time_point last_gps_report_{};
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_RECORD_LIVE_SESSION_H_
