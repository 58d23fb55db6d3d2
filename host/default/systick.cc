#include "host/systick.h"

#include <time.h>

#include <atomic>
#include <cstdint>

#include "host/default/host_control.h"

namespace vmr {
namespace {

struct TickState {
  std::atomic<std::uint32_t> offset{0};  // added to the boot time; the tick itself while held
  std::atomic<bool> held{false};
  std::atomic<std::uint32_t> prior_shutdown{0};
};

TickState& State() {
  static TickState state;
  return state;
}

// CLOCK_BOOTTIME goes on while the machine sleeps, as a unit's counter does.
std::uint32_t HalfSecondsSinceBoot() {
  timespec now{};
  clock_gettime(CLOCK_BOOTTIME, &now);
  constexpr long kNanosecondsPerTick = 500000000;
  return static_cast<std::uint32_t>(static_cast<std::uint64_t>(now.tv_sec) * 2 +
                                    static_cast<std::uint64_t>(now.tv_nsec / kNanosecondsPerTick));
}

}  // namespace

unsigned int Systick::SystemTick() const {
  const TickState& state = State();
  return state.held ? state.offset.load() : HalfSecondsSinceBoot() + state.offset.load();
}

unsigned int Systick::PriorShutdownTick() const { return State().prior_shutdown; }

namespace host {

void StartSystemTickAt(unsigned int tick) {
  State().offset = tick - HalfSecondsSinceBoot();
  State().held = false;
}

void HoldSystemTick(unsigned int tick) {
  State().offset = tick;
  State().held = true;
}

void SetPriorShutdownTick(unsigned int tick) { State().prior_shutdown = tick; }

}  // namespace host
}  // namespace vmr
