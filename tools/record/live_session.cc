#include "tools/record/live_session.h"

#include <errno.h>
#include <fmt/format.h>
#include <poll.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <vector>

#include "backends/file_io.h"
#include "host/default/host_control.h"
#include "host/systick.h"
#include "tools/common/console.h"

namespace vmr::tool {
namespace {

constexpr long kTick_ns = 500000000;
constexpr auto kGpsSilence = std::chrono::seconds(5);

int StartTimer() {
  const int timer = timerfd_create(CLOCK_BOOTTIME, TFD_CLOEXEC | TFD_NONBLOCK);
  const itimerspec every_tick = {{0, kTick_ns}, {0, kTick_ns}};
  if (timer < 0 || timerfd_settime(timer, 0, &every_tick, nullptr) != 0)
    Say(fmt::format("timer: {}", TextOfErrno()));
  return timer;
}

unsigned int TickNow() { return Systick().SystemTick(); }

}  // namespace

bool LiveSession::Run() {
  host::StartSystemTickAt(recorder_.FirstTick());
  recorder_.Begin(recorder_.FirstTick());
  const int timer = StartTimer();
  if (timer >= 0) Loop(timer);
  // Ticks do not run ahead of the machine's: what waits is flushed by closing.
  recorder_.TimerTick(TickNow());
  recorder_.Close();
  if (timer >= 0) static_cast<void>(close(timer));
  return timer >= 0;
}

bool LiveSession::AllEnded() const {
  for (const auto& input : inputs_)
    if (!input->AtEnd()) return false;
  return true;
}

void LiveSession::Loop(int timer) {
  last_gps_report_ = Clock::now();
  recorder_.TimerTick(TickNow());
  std::vector<pollfd> waits(inputs_.size() + 2);
  while (!stop_.Requested() && !AllEnded()) {
    waits[0] = {stop_.Fd(), POLLIN, 0};
    waits[1] = {timer, POLLIN, 0};
    for (std::size_t i = 0; i < inputs_.size(); ++i)
      waits[i + 2] = {inputs_[i]->AtEnd() ? -1 : inputs_[i]->Fd(), POLLIN, 0};
    if (poll(waits.data(), waits.size(), -1) <= 0) continue;
    if (waits[1].revents != 0) Tick(timer);
    for (std::size_t i = 0; i < inputs_.size(); ++i)
      if (waits[i + 2].revents != 0) RecordWhatArrived(*inputs_[i]);
  }
}

void LiveSession::Tick(int timer) {
  std::uint64_t expirations = 0;
  // How many half seconds were missed does not matter: the tick now counts.
  if (read(timer, &expirations, sizeof(expirations)) <= 0) return;
  if (gpsd_ != nullptr && Clock::now() - last_gps_report_ >= kGpsSilence) recorder_.LoseGps();
  recorder_.TimerTick(TickNow());
  for (const auto& input : inputs_) input->Update();
  progress_.Update(TickNow());
}

void LiveSession::RecordWhatArrived(Input& input) {
  input.Read();
  while (const auto next = input.Next()) {
    recorder_.Record(next->report, TickNow());
    if (&input == gpsd_ && std::holds_alternative<GpsReport>(next->report.content))
      last_gps_report_ = Clock::now();
  }
}

}  // namespace vmr::tool
