// Which tick of a recording was which time.
#ifndef VMR_TOOLS_RING_RECORDED_CLOCK_H_
#define VMR_TOOLS_RING_RECORDED_CLOCK_H_

#include <cstdint>
#include <optional>
#include <vector>

namespace vmr::tool {

// What the time items of a recording say: from each one on, time goes on by half
// a second a tick until the next. Items hold whole seconds, so a time is good to
// about a second.
class RecordedClock {
 public:
  // An item of its own, for what comes after those before it.
  void Add(unsigned int tick, std::int64_t time_s);

  bool Empty() const { return readings_.empty(); }
  // The first tick that is at or after a time, and the last that is not after it:
  // a clock that was set back shows some times twice, one set forward skips some.
  // Times before the first item and after the last are reckoned from those.
  unsigned int FirstTickFrom(std::int64_t time_us) const;
  unsigned int LastTickUpTo(std::int64_t time_us) const;
  // The time of a tick; nothing without items.
  std::optional<std::int64_t> TimeAt(unsigned int tick) const;

 private:
  struct Reading {
    unsigned int tick;
    std::int64_t time_us;
  };
  // The ticks that a reading is about: up to the next reading's.
  std::int64_t LastTickOf(std::size_t reading) const;

  std::vector<Reading> readings_;
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_RING_RECORDED_CLOCK_H_
