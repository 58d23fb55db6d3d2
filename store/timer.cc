// The periodic side of a store: clock changes, hourly dumps and due flushes.
#include <algorithm>

#include "host/wall_clock.h"
#include "store/data_store.h"
#include "store/log_source.h"
#include "store/stream_format.h"

namespace vmr {
namespace {

constexpr const char* kLogSource = kDataStoreLogSource;

// Deliberate: all three are exceeded, not reached, before something happens.
constexpr unsigned int kTicksBetweenClockChecks = 3;
constexpr unsigned int kTicksBetweenDumps = 7201;  // just over an hour
constexpr long long kToleratedClockError_s = 1;

// Wall-clock seconds at `tick` when they were `base_time` at `base_tick`.
// Wraps as a signed 32-bit number.
std::int32_t TimeAtTick(const TimeMirror& base, unsigned int tick) {
  const std::uint32_t elapsed_s = (tick - base.base_tick) >> 1;
  return static_cast<std::int32_t>(elapsed_s + static_cast<std::uint32_t>(base.base_time));
}

void CheckWallClock(DataStore& store, TimeMirror& time, unsigned int sysTick,
                    std::int32_t wall_clock) {
  if (sysTick - time.time_check_tick <= kTicksBetweenClockChecks) return;
  const std::int32_t estimate = TimeAtTick(time, sysTick);
  if (std::llabs(static_cast<long long>(estimate) - wall_clock) > kToleratedClockError_s) {
    VMR_LOG(kLogEachItem, "caught time change " << wall_clock << " est time " << estimate
                                                << " baseTime=" << time.base_time << " systick="
                                                << sysTick << " baseTimeTs=" << time.base_tick);
    time.base_tick = sysTick;
    time.base_time = wall_clock;
    store.WriteTime(wall_clock);
  }
  time.time_check_tick = sysTick;
}

// A tick that went back is not an hour past the last dump, though the unsigned
// difference says so: every such tick would write the whole state again. The hour
// counts from the lowest of them, until they are back where they were.
bool IsDumpDue(DumpSchedule& dumps, unsigned int sysTick) {
  if (!TicksWentBack(sysTick, dumps.highest_tick)) {
    dumps.highest_tick = sysTick;
    dumps.lowest_tick_since = kNoTick;
    return sysTick - dumps.full_state_tick > kTicksBetweenDumps;
  }
  dumps.ticks_went_back = true;
  dumps.lowest_tick_since = std::min(dumps.lowest_tick_since, sysTick);
  return sysTick - dumps.lowest_tick_since > kTicksBetweenDumps;
}

}  // namespace

std::int32_t DataStore::GetAdjustedTime() const { return TimeAtTick(mirror_.time, current_tick_); }

void DataStore::TimerTick(unsigned int sysTick) {
  const auto wall_clock = static_cast<std::int32_t>(WallClock::Current().Now());
  current_tick_ = sysTick;
  CheckWallClock(*this, mirror_.time, sysTick, wall_clock);
  if (IsDumpDue(dumps_, sysTick) && mirror_.policy.configuration_valid) {
    VMR_LOG(kLogEachItem, "It's been an hour since last full state write - writing");
    WriteFullState(true);
  }
  if (packet_slack_ != 0) {
    VMR_LOG(kLogEachItem, "sysTick_ (" << sysTick << "), lastSlackSt (" << slack_start_tick_
                                       << "), slack (" << packet_slack_ << "), currTime ("
                                       << wall_clock << ")");
    if (sysTick - slack_start_tick_ < packet_slack_) return;
    WriteBuffers();
    packet_slack_ = 0;
  }
  slack_start_tick_ = sysTick;
}

}  // namespace vmr
