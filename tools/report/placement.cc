#include "tools/report/placement.h"

#include <algorithm>

namespace vmr::tool {

using records::Gap;
using records::Record;

namespace {

// Behind the last place of a run one is left, from which on what it told is unknown.
constexpr AxisX kBetweenRuns = 2;
// Of packets that tell no sound tick there may be any number.
constexpr std::size_t kMostHeld = 65536;

}  // namespace

// ---- Placing ---------------------------------------------------------------------

AxisX Placement::XOf(const Instant& at) const {
  const Run& run = runs_[static_cast<std::size_t>(at.run)];
  return run.begin + static_cast<AxisX>(at.line_tick - run.line_tick);
}

void Placement::BeginRun(int run, unsigned int tick) {
  if (!runs_.empty()) begin_ = (last_ ? last_->x : begin_) + kBetweenRuns;
  last_.reset();
  behind_gap_.reset();
  runs_.resize(static_cast<std::size_t>(run) + 1, {begin_, line_.At(run, tick).line_tick});
}

void Placement::OnRecord(const Record& record) {
  if (!record.crc_right || record.packet_tick == kNoTick) {
    held_.emplace_back(KeptRecord(record));
    if (held_.size() >= kMostHeld) Release(nullptr);
    return;
  }
  if (runs_.empty()) BeginRun(record.run, record.packet_tick);
  axis_.OnRecord(record);
  const SoundTick now{XOf(line_.At(record.run, record.packet_tick)), record.packet_tick};
  if (!held_.empty()) Release(&now);
  if (step_) sink_.OnClockStep(*step_, now.x);
  step_.reset();
  // What is told of before the run's first tick lies there.
  const AxisX x = std::max(now.x - record.adjusted_by, begin_);
  sink_.OnRecord(record, {x, true, std::max(x, behind_gap_.value_or(x))});
  last_ = now;
}

void Placement::OnGap(const Gap& gap) {
  axis_.OnGap(gap);
  held_.emplace_back(gap);
  if (held_.size() >= kMostHeld) Release(nullptr);
}

void Placement::OnNewRun(int run, unsigned int tick) {
  Release(nullptr);
  if (runs_.empty()) BeginRun(0, tick);
  const AxisX lost_from = (last_ ? last_->x : begin_) + 1;
  BeginRun(run, tick);
  sink_.OnNewRun(run, tick, lost_from, begin_);
}

// ---- What is held back -----------------------------------------------------------

void Placement::Release(const SoundTick* next) {
  std::vector<Held> held;
  held.swap(held_);
  auto gaps = std::count_if(held.begin(), held.end(),
                            [](const Held& one) { return std::holds_alternative<Gap>(one); });
  for (const Held& one : held) {
    if (const auto* const gap = std::get_if<Gap>(&one)) {
      Release(*gap, next);
      --gaps;
      continue;
    }
    // What a gap follows does not hold up to the next sound tick.
    Release(std::get<KeptRecord>(one).Get(), next, gaps == 0);
  }
}

std::optional<AxisX> Placement::Believed(unsigned int tick, const SoundTick* next) const {
  if (tick == kNoTick || next == nullptr || !last_) return std::nullopt;
  const AxisX x = last_->XOf(tick);
  if (x < last_->x || x > next->x) return std::nullopt;
  return x;
}

void Placement::Release(const Record& record, const SoundTick* next, bool holds) {
  Spot spot;
  const auto x = Believed(record.packet_tick, next);
  spot.has_tick = x.has_value();
  spot.x = last_ ? last_->x : begin_;
  if (x) spot.x = std::max(*x - record.adjusted_by, begin_);
  if (next != nullptr && holds) spot.holds_from = next->x;
  sink_.OnRecord(record, spot);
}

void Placement::Release(const Gap& gap, const SoundTick* next) {
  GapSpot spot;
  if (last_ && gap.from_tick != kNoTick) {
    const AxisX from = last_->XOf(gap.from_tick);
    if (from >= last_->x) spot.from = from;
  }
  if (next != nullptr && gap.to_tick == next->tick)
    spot.to = next->x;
  else
    spot.to = Believed(gap.to_tick, next);
  spot.lost_from = spot.from ? *spot.from + 1 : last_ ? last_->x + 1 : begin_;
  if (next != nullptr) {
    spot.lost_from = std::min(spot.lost_from, next->x);
    behind_gap_ = next->x;
  }
  sink_.OnGap(gap, spot);
}

// ---- Stretches -------------------------------------------------------------------

std::vector<CaseStretch> Placement::Stretches() const {
  std::vector<CaseStretch> stretches;
  for (const TimeAxis::Stretch& found : axis_.Stretches()) {
    CaseStretch stretch;
    stretch.first = XOf(found.first);
    stretch.last = stretch.first + static_cast<AxisX>(found.ticks) - 1;
    stretch.time = found.time;
    stretch.run = found.first.run;
    stretch.tick = found.first.Tick();
    if (stretch.last < stretch.first) continue;
    // Something of a tick may be lost, and the rest of it stand behind the gap.
    if (!stretches.empty() && stretches.back().last >= stretch.first)
      stretches.back().last = stretch.first - 1;
    if (!stretches.empty() && stretches.back().last < stretches.back().first) stretches.pop_back();
    stretches.push_back(stretch);
  }
  return stretches;
}

}  // namespace vmr::tool
