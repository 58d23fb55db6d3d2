#include "host/wall_clock.h"

#include <time.h>

namespace vmr {
namespace {

class SystemClock final : public WallClock {
 public:
  std::time_t Now() override { return time(nullptr); }
};

WallClock* SystemClockInstance() {
  static SystemClock system_clock;
  return &system_clock;
}

WallClock*& InUse() {
  static WallClock* in_use = SystemClockInstance();
  return in_use;
}

}  // namespace

WallClock& WallClock::Current() { return *InUse(); }

WallClock* WallClock::Use(WallClock* clock) {
  WallClock* const before = InUse();
  InUse() = clock == nullptr ? SystemClockInstance() : clock;
  return before;
}

bool LocalTime(std::time_t seconds, std::tm* result) {
  static const bool kZoneKnown = (tzset(), true);
  return kZoneKnown && localtime_r(&seconds, result) != nullptr;
}

}  // namespace vmr
