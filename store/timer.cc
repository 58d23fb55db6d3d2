// The periodic side of a store: clock changes, hourly dumps and due flushes.
#include <algorithm>

#include "host/wall_clock.h"
#include "store/data_store.h"
#include "store/log_source.h"

namespace vmr {
namespace {

constexpr const char* kLogSource = kDataStoreLogSource;

// Deliberate: all three are exceeded, not reached, before something happens.
constexpr unsigned int kTicksBetweenClockChecks = 3;
constexpr unsigned int kTicksBetweenDumps = 7201;  // just over an hour
constexpr long long kToleratedClockError_s = 1;

constexpr unsigned int kTicksADay = 24 * 60 * 60 * 2;

// Wall-clock seconds at `tick` when they were `base_time` at `base_tick`.
// Wraps as a signed 32-bit number.
std::int32_t TimeAtTick(const TimeMirror& base, unsigned int tick) {
  const std::uint32_t elapsed_s = (tick - base.base_tick) >> 1;
  return static_cast<std::int32_t>(elapsed_s + static_cast<std::uint32_t>(base.base_time));
}

// Whether `tick` comes before `highest` in the host's count. A lower number that
// is at most a day ahead of it does not: 32 bits of ticks have run out.
bool IsBefore(unsigned int tick, unsigned int highest) {
  return tick < highest && tick - highest > kTicksADay;
}

}  // namespace

std::int32_t DataStore::GetAdjustedTime() const { return TimeAtTick(mirror_.time, current_tick_); }

void DataStore::TimerTick(unsigned int sysTick) {
  const auto wall_clock = static_cast<std::int32_t>(WallClock::Current().Now());
  current_tick_ = sysTick;
  CheckWallClock(sysTick, wall_clock);
  DumpWhenDue(sysTick);
  FlushWhenDue(sysTick, wall_clock);
}

void DataStore::CheckWallClock(unsigned int sysTick, std::int32_t wall_clock) {
  TimeMirror& time = mirror_.time;
  if (sysTick - time.time_check_tick <= kTicksBetweenClockChecks) return;
  const std::int32_t estimate = TimeAtTick(time, sysTick);
  if (std::llabs(static_cast<long long>(estimate) - wall_clock) > kToleratedClockError_s) {
    VMR_LOG(kLogEachItem, "caught time change " << wall_clock << " est time " << estimate
                                                << " baseTime=" << time.base_time << " systick="
                                                << sysTick << " baseTimeTs=" << time.base_tick);
    time.base_tick = sysTick;
    time.base_time = wall_clock;
    WriteTime(wall_clock);
  }
  time.time_check_tick = sysTick;
}

void DataStore::DumpWhenDue(unsigned int sysTick) {
  if (!IsDumpDue(sysTick) || !mirror_.policy.configuration_valid) return;
  VMR_LOG(kLogEachItem, "It's been an hour since last full state write - writing");
  WriteFullState(true);
}

// A tick that went back is not an hour past the last dump, though the unsigned
// difference says so: every such tick would write the whole state again. The hour
// counts from the lowest of them, until they are back where they were.
bool DataStore::IsDumpDue(unsigned int sysTick) {
  if (!IsBefore(sysTick, highest_tick_)) {
    highest_tick_ = sysTick;
    lowest_tick_since_ = kNoTick;
    return sysTick - full_state_tick_ > kTicksBetweenDumps;
  }
  ticks_went_back_ = true;
  lowest_tick_since_ = std::min(lowest_tick_since_, sysTick);
  return sysTick - lowest_tick_since_ > kTicksBetweenDumps;
}

void DataStore::FlushWhenDue(unsigned int sysTick, std::int32_t wall_clock) {
  if (packet_slack_ == 0) {
    slack_start_tick_ = sysTick;
    return;
  }
  VMR_LOG(kLogEachItem, "sysTick_ (" << sysTick << "), lastSlackSt (" << slack_start_tick_
                                     << "), slack (" << packet_slack_ << "), currTime ("
                                     << wall_clock << ")");
  if (sysTick - slack_start_tick_ < packet_slack_) return;
  WriteBuffers();
  packet_slack_ = 0;
  slack_start_tick_ = sysTick;
}

}  // namespace vmr
