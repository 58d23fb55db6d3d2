// The clock of a replay: what the stamps of the input say, not the machine.
#ifndef VMR_TOOLS_RECORD_REPLAY_CLOCK_H_
#define VMR_TOOLS_RECORD_REPLAY_CLOCK_H_

#include <cstdint>
#include <optional>
#include <string>

#include "host/wall_clock.h"
#include "tools/events/event_parser.h"

namespace vmr::tool {

// Maps stamps to ticks and ticks to the wall clock.
//
// The wall clock at a tick is the last given time plus half a second per tick
// since. Ticks of later times are counted from a fixed reference, not from the
// event before, so that inputs of many events a second lose no fractions. A
// time that belongs to a tick already past turns the wall clock back, leaves
// the tick where it is and is the new reference, as a clock set back on a unit.
//
// Units    ticks; microseconds since 1970-01-01 UTC.
class ReplayClock final : public WallClock {
 public:
  // Starts at `first_tick`. Until a time is given, the wall clock was
  // `machine_time` at that tick.
  ReplayClock(unsigned int first_tick, std::time_t machine_time);

  // Where a stamp puts its event: never before the present tick.
  struct Placement {
    unsigned int tick = 0;
    std::string error;  // not empty: nowhere, and why
  };
  Placement Place(const Stamp& stamp) const;

  // The tick now.
  unsigned int Tick() const { return tick_; }
  void SetTick(unsigned int tick) { tick_ = tick; }
  // Makes the time of a stamp placed at the present tick the last given one.
  void SetTime(const Stamp& stamp);

  std::time_t Now() override;

  // Orders the next events of several inputs: the position of a stamp in
  // microseconds of the tick count. As long as no time was given, times are
  // taken from `first_time_us` on.
  std::int64_t Order(const Stamp& stamp, std::int64_t first_time_us) const;

 private:
  struct Anchor {
    unsigned int tick;
    std::int64_t time_us;
  };

  std::int64_t TickOf(std::int64_t time_us) const;

  unsigned int tick_;
  Anchor last_given_;
  std::optional<Anchor> reference_;  // where counting ticks from times starts
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_RECORD_REPLAY_CLOCK_H_
