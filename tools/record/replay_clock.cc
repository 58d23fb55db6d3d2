#include "tools/record/replay_clock.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>

#include "tools/common/ticks.h"

namespace vmr::tool {
namespace {

// Recordings hold times as signed 32-bit seconds.
constexpr std::int64_t kTimeLimit_us =
    (std::int64_t{std::numeric_limits<std::int32_t>::max()} + 1) * kMicrosecondsPerSecond;

}  // namespace

ReplayClock::ReplayClock(unsigned int first_tick, std::time_t machine_time)
    : tick_(first_tick),
      last_given_{first_tick, std::int64_t{machine_time} * kMicrosecondsPerSecond} {}

// Without a reference the first time given belongs to the tick it finds.
std::int64_t ReplayClock::TickOf(std::int64_t time_us) const {
  if (!reference_) return tick_;
  return reference_->tick + FloorDivide(time_us - reference_->time_us, kMicrosecondsPerTick);
}

ReplayClock::Placement ReplayClock::Place(const Stamp& stamp) const {
  if (stamp.time_us && (*stamp.time_us < 0 || *stamp.time_us >= kTimeLimit_us))
    return {0, "\"time\" is outside 1970-01-01 to 2038-01-19, which a recording can hold"};
  std::int64_t tick = tick_;
  if (stamp.tick)
    tick = *stamp.tick;
  else if (stamp.time_us)
    tick = TickOf(*stamp.time_us);
  if (tick > kLastInputTick)
    return {
        0, fmt::format("\"time\" would be tick {}, but the last tick is {}", tick, kLastInputTick)};
  return {static_cast<unsigned int>(std::max<std::int64_t>(tick, tick_)), {}};
}

void ReplayClock::SetTime(const Stamp& stamp) {
  if (!stamp.time_us) return;
  last_given_ = {tick_, *stamp.time_us};
  const bool goes_on = reference_ && !stamp.tick && TickOf(*stamp.time_us) == tick_;
  if (!goes_on) reference_ = last_given_;
}

std::time_t ReplayClock::Now() {
  const std::int64_t elapsed_us = std::int64_t{tick_ - last_given_.tick} * kMicrosecondsPerTick;
  return static_cast<std::time_t>(
      FloorDivide(last_given_.time_us + elapsed_us, kMicrosecondsPerSecond));
}

std::int64_t ReplayClock::Order(const Stamp& stamp, std::int64_t first_time_us) const {
  if (stamp.tick) return *stamp.tick * kMicrosecondsPerTick;
  const Anchor anchor = reference_.value_or(Anchor{tick_, first_time_us});
  return anchor.tick * kMicrosecondsPerTick + stamp.time_us.value_or(0) - anchor.time_us;
}

}  // namespace vmr::tool
