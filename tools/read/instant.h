// Where on the line of all its ticks a recording is: ticks begin anew in another run, and 32
// bits of them can run out.
#ifndef VMR_TOOLS_READ_INSTANT_H_
#define VMR_TOOLS_READ_INSTANT_H_

#include <cstdint>
#include <limits>
#include <tuple>

#include "store/stream_format.h"

namespace vmr::tool {

struct Instant {
  int run = 0;
  std::uint64_t line_tick = 0;  // above its 32 bits: how often they have run out in the run

  unsigned int Tick() const { return static_cast<unsigned int>(line_tick); }
  // Behind everything.
  static constexpr Instant End() { return {std::numeric_limits<int>::max(), 0}; }
  bool IsEnd() const { return run == End().run; }
};
inline bool operator<(const Instant& a, const Instant& b) {
  return std::tie(a.run, a.line_tick) < std::tie(b.run, b.line_tick);
}
inline bool operator==(const Instant& a, const Instant& b) {
  return a.run == b.run && a.line_tick == b.line_tick;
}

// Turns the ticks of packets, told in recorded order, into instants. Only what a packet with a
// right CRC tells may be asked for, and never kNoTick.
class TickLine {
 public:
  Instant At(int run, unsigned int tick) {
    constexpr unsigned int kHalf = 1U << 31;
    if (run != run_) *this = TickLine(run);
    if (has_last_ && tick < last_ && last_ - tick > kHalf) ++laps_;
    has_last_ = true;
    last_ = tick;
    return {run, laps_ << 32 | tick};
  }

  TickLine() = default;

 private:
  explicit TickLine(int run) : run_(run) {}

  int run_ = 0;
  std::uint64_t laps_ = 0;
  unsigned int last_ = 0;
  bool has_last_ = false;
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_READ_INSTANT_H_
