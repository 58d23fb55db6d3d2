#include "tools/report/placement.h"

#include <algorithm>

namespace vmr::tool {

using records::Gap;
using records::Record;
using records::TimeQuality;

namespace {

// Behind the last place of a run one is left, from which on what it told is unknown.
constexpr AxisX kBetweenRuns = 2;
// Of packets that tell no sound tick there may be any number.
constexpr std::size_t kMostHeld = 65536;
// 2000-01-01 00:00 UTC.
constexpr std::int64_t kClockIsSet_us = 946684800 * records::kSecond_us;

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

std::vector<AxisX> Placement::RunBegins() const {
  std::vector<AxisX> begins;
  begins.reserve(runs_.size());
  for (const Run& run : runs_) begins.push_back(run.begin);
  return begins;
}

// ---- Runs ------------------------------------------------------------------------

RunLayout::RunLayout(const std::vector<AxisX>& run_begins,
                     const std::vector<CaseStretch>& stretches) {
  for (const AxisX begin : run_begins) runs_.push_back({begin, begin, std::nullopt, 0});
  std::vector<AxisX> longest(runs_.size());  // of the stretches whose time counts
  for (const CaseStretch& stretch : stretches) {
    Run& run = runs_[static_cast<std::size_t>(stretch.run)];
    AxisX& longest_of_run = longest[static_cast<std::size_t>(stretch.run)];
    run.last = stretch.last;
    const AxisX length = stretch.last - stretch.first + 1;
    const bool counts =
        stretch.time.quality != TimeQuality::kUnknown && stretch.time.us >= kClockIsSet_us;
    if (!counts || length <= longest_of_run) continue;
    longest_of_run = length;
    run.utc = stretch.time.us / records::kTick_us - (stretch.first - run.begin);
    has_time_ = true;
  }
  const auto first_told =
      std::find_if(runs_.begin(), runs_.end(), [](const Run& run) { return run.utc.has_value(); });
  AxisX next = 0;
  if (first_told != runs_.end()) {
    next = *first_told->utc;
    for (auto before = runs_.begin(); before != first_told; ++before)
      next -= before->Length() + kBetweenRuns;
  }
  for (Run& run : runs_) {
    run.moved = std::max(next, run.utc.value_or(next));
    next = run.moved + run.Length() + kBetweenRuns;
  }
}

AxisX RunLayout::Moved(AxisX x) const {
  if (runs_.empty()) return x;
  auto run = std::upper_bound(runs_.begin(), runs_.end(), x,
                              [](AxisX at, const Run& one) { return at < one.begin; });
  if (run != runs_.begin()) --run;
  return run->moved + (x - run->begin);
}

}  // namespace vmr::tool
