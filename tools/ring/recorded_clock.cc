#include "tools/ring/recorded_clock.h"

#include <algorithm>

#include "tools/common/ticks.h"

namespace vmr::tool {
namespace {

unsigned int AsTick(std::int64_t tick) {
  return static_cast<unsigned int>(std::clamp<std::int64_t>(tick, 0, kLastTick));
}

}  // namespace

void RecordedClock::Add(unsigned int tick, std::int64_t time_s) {
  readings_.push_back({tick, time_s * kMicrosecondsPerSecond});
}

std::int64_t RecordedClock::LastTickOf(std::size_t reading) const {
  const bool last = reading + 1 == readings_.size();
  return last ? std::int64_t{kLastTick} : std::int64_t{readings_[reading + 1].tick} - 1;
}

unsigned int RecordedClock::FirstTickFrom(std::int64_t time_us) const {
  for (std::size_t i = 0; i < readings_.size(); ++i) {
    const Reading& reading = readings_[i];
    const std::int64_t ticks = -FloorDivide(reading.time_us - time_us, kMicrosecondsPerTick);
    // Only before the first reading does time reach back.
    const std::int64_t tick = reading.tick + (i == 0 ? ticks : std::max<std::int64_t>(ticks, 0));
    if (tick <= LastTickOf(i)) return AsTick(tick);
  }
  return kLastTick;
}

unsigned int RecordedClock::LastTickUpTo(std::int64_t time_us) const {
  for (std::size_t i = readings_.size(); i-- > 0;) {
    const Reading& reading = readings_[i];
    const std::int64_t ticks = FloorDivide(time_us - reading.time_us, kMicrosecondsPerTick);
    if (ticks >= 0 || i == 0) return AsTick(std::min(reading.tick + ticks, LastTickOf(i)));
  }
  return 0;
}

std::optional<std::int64_t> RecordedClock::TimeAt(unsigned int tick) const {
  const Reading* known = nullptr;
  for (const Reading& reading : readings_)
    if (known == nullptr || reading.tick <= tick) known = &reading;
  if (known == nullptr) return std::nullopt;
  return known->time_us + (std::int64_t{tick} - known->tick) * kMicrosecondsPerTick;
}

}  // namespace vmr::tool
