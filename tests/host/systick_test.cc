#include "host/systick.h"

#include <gtest/gtest.h>
#include <time.h>
#include <unistd.h>

#include <cstdint>
#include <string>

#include "host/default/host_control.h"
#include "tests/support/fresh_process.h"

namespace vmr::test {
namespace {

std::int64_t HalfSecondsOfBootTime() {
  timespec now{};
  clock_gettime(CLOCK_BOOTTIME, &now);
  return static_cast<std::int64_t>(now.tv_sec) * 2 + (now.tv_nsec >= 500000000 ? 1 : 0);
}

// What a process sees that has set nothing.
class NewProcess : public testing::Environment {
 public:
  void SetUp() override {
    ticks_off_ = InFreshProcess([] {
      const auto before = static_cast<std::uint32_t>(HalfSecondsOfBootTime());
      const std::uint32_t tick = Systick().SystemTick();
      const auto after = static_cast<std::uint32_t>(HalfSecondsOfBootTime());
      return tick - before <= after - before ? std::string("none") : std::to_string(tick);
    });
    prior_ = InFreshProcess([] { return std::to_string(Systick().PriorShutdownTick()); });
  }
  std::string TicksOff() const { return ticks_off_; }
  std::string Prior() const { return prior_; }

 private:
  std::string ticks_off_;
  std::string prior_;
};

const NewProcess* const new_process =
    static_cast<NewProcess*>(testing::AddGlobalTestEnvironment(new NewProcess));

void SleepMilliseconds(unsigned int ms) { usleep(ms * 1000); }

TEST(Systick, CountsHalfSecondsOfBootTimeUnlessSet) { EXPECT_EQ(new_process->TicksOff(), "none"); }

TEST(Systick, HeldItStandsStill) {
  host::HoldSystemTick(4711);
  EXPECT_EQ(Systick().SystemTick(), 4711u);
  SleepMilliseconds(600);
  EXPECT_EQ(Systick().SystemTick(), 4711u);
  host::HoldSystemTick(0);
  EXPECT_EQ(Systick().SystemTick(), 0u);
}

TEST(Systick, StartedItRunsOnFromTheTickGiven) {
  host::HoldSystemTick(5);
  const std::int64_t before = HalfSecondsOfBootTime();
  host::StartSystemTickAt(1000);
  const std::int64_t started = HalfSecondsOfBootTime();
  EXPECT_LE(Systick().SystemTick(),
            1000u + static_cast<unsigned int>(HalfSecondsOfBootTime() - before));
  SleepMilliseconds(1100);
  const unsigned int tick = Systick().SystemTick();
  EXPECT_GE(tick, 1000u + static_cast<unsigned int>(HalfSecondsOfBootTime() - started) - 1);
  EXPECT_GE(tick, 1002u);
  EXPECT_LE(tick, 1000u + static_cast<unsigned int>(HalfSecondsOfBootTime() - before));
}

TEST(Systick, RunsThroughTheEndOfItsRange) {
  host::StartSystemTickAt(0xFFFFFFFF);
  SleepMilliseconds(600);
  EXPECT_LT(Systick().SystemTick(), 1000u);
}

TEST(Systick, EveryObjectShowsTheSameTick) {
  host::HoldSystemTick(12);
  const Systick a, b;
  EXPECT_EQ(a.SystemTick(), b.SystemTick());
}

TEST(Systick, PriorShutdownTickIsUnknownUntilSet) {
  EXPECT_EQ(new_process->Prior(), "0");
  host::SetPriorShutdownTick(123456);
  EXPECT_EQ(Systick().PriorShutdownTick(), 123456u);
  host::SetPriorShutdownTick(0);
}

}  // namespace
}  // namespace vmr::test
