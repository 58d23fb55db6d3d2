#include "tools/record/replay_session.h"

#include <fmt/format.h>
#include <poll.h>

#include <algorithm>
#include <limits>

#include "host/default/host_control.h"
#include "tools/common/ticks.h"

namespace vmr::tool {
namespace {

// No item waits longer than this for others of its packet.
constexpr unsigned int kMaxTicksToFlush = 65535;

constexpr unsigned int kMostTicksRun = kTicksADay;
constexpr unsigned int kMostTicksAhead = 400 * kTicksADay;

double Days(unsigned int ticks) { return static_cast<double>(ticks) / kTicksADay; }

constexpr int kUpdate_ms = 1000;  // while an input still has something to say

// Puts a clock in use for as long as it lives.
class ClockInUse {
 public:
  explicit ClockInUse(WallClock& clock) : before_(WallClock::Use(&clock)) {}
  ~ClockInUse() { WallClock::Use(before_); }
  ClockInUse(const ClockInUse&) = delete;
  ClockInUse& operator=(const ClockInUse&) = delete;

 private:
  WallClock* before_;
};

}  // namespace

ReplaySession::ReplaySession(Recorder& recorder, Inputs& inputs, const StopSignal& stop,
                             InputProgress& progress, bool allow_jumps)
    : recorder_(recorder),
      stop_(stop),
      progress_(progress),
      clock_(recorder.FirstTick(), WallClock::Current().Now()),
      allow_jumps_(allow_jumps) {
  for (const auto& input : inputs) sources_.push_back({input.get(), std::nullopt});
}

void ReplaySession::Run() {
  const ClockInUse in_use(clock_);
  host::HoldSystemTick(clock_.Tick());
  recorder_.Begin(clock_.Tick());
  for (Refill(); !stop_.Requested() && !AllEnded(); Refill()) {
    if (Source* const source = ChooseSource())
      RecordNext(*source);
    else
      WaitForInput();
  }
  RunOut();
  recorder_.Close();
}

void ReplaySession::Refill() {
  for (Source& source : sources_) {
    if (!source.next) source.next = source.input->Next();
    source.input->Update();
  }
}

bool ReplaySession::AllEnded() const {
  for (const Source& source : sources_)
    if (source.next || !source.input->AtEnd()) return false;
  return true;
}

// Reads every input that has nothing to offer, as soon as it has.
void ReplaySession::WaitForInput() {
  std::vector<pollfd> waits = {{stop_.Fd(), POLLIN, 0}};
  int patience_ms = -1;
  for (const Source& source : sources_) {
    if (source.input->HasMoreToSay()) patience_ms = kUpdate_ms;
    const bool wanted = !source.next && !source.input->AtEnd();
    waits.push_back({wanted ? source.input->Fd() : -1, POLLIN, 0});
  }
  if (poll(waits.data(), waits.size(), patience_ms) <= 0) return;
  for (std::size_t i = 0; i < sources_.size(); ++i)
    if (waits[i + 1].revents != 0) sources_[i].input->Read();
}

// The source whose next event comes first; null when one that has none yet
// could still bring an earlier one.
ReplaySession::Source* ReplaySession::ChooseSource() {
  bool complete = true;
  Source* first = nullptr;
  std::int64_t first_order = 0;
  const std::int64_t earliest_us = EarliestTime();
  for (Source& source : sources_) {
    if (!source.next) {
      complete = complete && source.input->AtEnd();
      continue;
    }
    const Stamp& stamp = source.next->report.stamp;
    if (stamp.Empty()) return &source;
    const std::int64_t order = clock_.Order(stamp, earliest_us);
    if (first != nullptr && order >= first_order) continue;
    first = &source;
    first_order = order;
  }
  return complete ? first : nullptr;
}

std::int64_t ReplaySession::EarliestTime() const {
  std::int64_t earliest = std::numeric_limits<std::int64_t>::max();
  for (const Source& source : sources_)
    if (source.next && source.next->report.stamp.time_us)
      earliest = std::min(earliest, *source.next->report.stamp.time_us);
  return earliest;
}

void ReplaySession::RecordNext(Source& source) {
  const NumberedReport next = std::move(*source.next);
  source.next.reset();
  const Stamp& stamp = next.report.stamp;
  const ReplayClock::Placement place = clock_.Place(stamp);
  if (!place.error.empty()) return source.input->Skip(next.line, place.error);
  if (const std::string why = WhyTooFar(stamp, place.tick); !why.empty())
    return source.input->Skip(next.line, why);
  RemarkJump(source, next.line, stamp, place.tick);
  if (!stamp.Empty() && !RunTo(stamp, place.tick)) return;
  recorder_.Record(next.report, clock_.Tick());
  reported_ = true;
}

// The input says where ticks start.
bool ReplaySession::SaysWhereToStart(const Stamp& stamp) const {
  return !started_ && !reported_ && stamp.tick;
}

// Ticks of a new store may start anywhere.
std::string ReplaySession::WhyTooFar(const Stamp& stamp, unsigned int tick) const {
  const unsigned int ahead = tick - clock_.Tick();
  const bool new_store = recorder_.FirstTick() == 1;
  if (allow_jumps_ || ahead <= kMostTicksAhead || (new_store && SaysWhereToStart(stamp))) return {};
  return fmt::format("{:.1f} days ahead, at tick {}; more than 400 only with --allow-jumps",
                     Days(ahead), tick);
}

void ReplaySession::RemarkJump(const Source& source, unsigned long line, const Stamp& stamp,
                               unsigned int tick) const {
  if (!IsJump(tick) || SaysWhereToStart(stamp)) return;
  source.input->Remark(LineRemarks::Kind::kJump, line,
                       fmt::format("{:.1f} days ahead, from tick {} to {} in one step",
                                   Days(tick - clock_.Tick()), clock_.Tick(), tick));
}

bool ReplaySession::IsJump(unsigned int tick) const { return tick - clock_.Tick() > kMostTicksRun; }

// Runs the ticks up to `tick`, where the stamp's time comes into force. False
// when a signal came between.
bool ReplaySession::RunTo(const Stamp& stamp, unsigned int tick) {
  if (SaysWhereToStart(stamp)) {
    clock_.SetTick(tick);
    recorder_.StartAt(tick);
  }
  if (!RunUpTo(tick)) return false;
  const bool arrives = !started_ || clock_.Tick() != tick;
  clock_.SetTick(tick);
  clock_.SetTime(stamp);
  return !arrives || RunTick(tick);
}

// Before a jump only those ticks at which what waits is written, as it would be
// without. False when a signal came between.
bool ReplaySession::RunUpTo(unsigned int tick) {
  const bool jumps = IsJump(tick);
  for (unsigned int t = clock_.Tick() + (started_ ? 1 : 0); t < tick; ++t) {
    if (jumps && started_ && !recorder_.HasPendingItems()) break;
    if (!RunTick(t)) return false;
  }
  return true;
}

bool ReplaySession::RunTick(unsigned int tick) {
  clock_.SetTick(tick);
  host::HoldSystemTick(tick);
  recorder_.TimerTick(tick);
  started_ = true;
  progress_.Update(tick);
  return !stop_.Requested();
}

// Goes on until nothing waits any more. A signal cuts that short: closing the
// store flushes at the present tick.
void ReplaySession::RunOut() {
  if (!started_) RunTick(clock_.Tick());
  for (unsigned int i = 0; i < kMaxTicksToFlush && recorder_.HasPendingItems(); ++i)
    if (stop_.Requested() || clock_.Tick() == kLastTick || !RunTick(clock_.Tick() + 1)) return;
}

}  // namespace vmr::tool
