#include "tools/read/range.h"

namespace vmr::tool {

using records::Gap;
using records::GapReason;
using records::Record;
using records::Time;
using records::TimeQuality;

namespace {

// Negative: before the point. Nothing when the two cannot be compared.
std::optional<int> Compare(unsigned int tick, const Time& time, const TimePoint& point) {
  const auto sign = [](auto a, auto b) { return a < b ? -1 : a > b ? 1 : 0; };
  if (point.tick) {
    if (tick == kNoTick) return std::nullopt;
    return sign(tick, *point.tick);
  }
  if (time.quality == TimeQuality::kUnknown) return std::nullopt;
  return sign(time.us, point.us);
}

// Times are good to a second; ends closer than that to a record are at it.
bool IsAt(unsigned int tick, const Time& time, const TimePoint& point) {
  constexpr std::int64_t kNear_us = 2 * records::kTick_us;
  if (point.tick) return tick == *point.tick;
  return time.quality != TimeQuality::kUnknown && time.us - point.us <= kNear_us &&
         point.us - time.us <= kNear_us;
}

}  // namespace

Side SideOf(const Range& range, unsigned int tick, const Time& time) {
  if (range.from) {
    const auto at = Compare(tick, time, *range.from);
    if (!at) return Side::kUnknown;
    if (*at < 0) return Side::kBefore;
  }
  if (range.to) {
    const auto at = Compare(tick, time, *range.to);
    if (!at) return Side::kUnknown;
    if (*at > 0) return Side::kBehind;
  }
  return Side::kInside;
}

void RangeFilter::Note(Side side, unsigned int tick, const Time& time) {
  saw_inside_ |= side == Side::kInside;
  saw_unknown_ |= side == Side::kUnknown;
  saw_before_ |= side == Side::kBefore;
  saw_behind_ |= side == Side::kBehind;
  if (range_.from) saw_at_from_ = saw_at_from_ || IsAt(tick, time, *range_.from);
  if (range_.to) saw_at_to_ = saw_at_to_ || IsAt(tick, time, *range_.to);
}

void RangeFilter::NoteEnds(unsigned int tick, const Time& time) {
  if (tick == kNoTick) return;
  last_ = {tick, time};
  if (first_.tick == kNoTick) first_ = last_;
}

void RangeFilter::OnRecord(const Record& record) {
  const Side side = SideOf(range_, record.tick, record.time);
  if (record.crc_right) {
    Note(side, record.tick, record.time);
    NoteEnds(record.tick, record.time);
  }
  if (!kinds_.empty() && kinds_.count(record.kind->id) == 0) return;
  if (side == Side::kUnknown) ++unplaced_;
  if (side != Side::kInside) return;
  ++records_;
  if (!record.crc_right) ++wrong_crc_;
  sink_.OnRecord(record);
}

void RangeFilter::OnGap(const Gap& gap) {
  // Of an end that nothing tells the gap may reach into the range.
  if (SideOf(range_, gap.from_tick, gap.from) == Side::kBehind) return;
  if (SideOf(range_, gap.to_tick, gap.to) == Side::kBefore) return;
  if (gap.reason == GapReason::kOverwritten)
    overwritten_ = true;
  else
    ++gaps_;
  sink_.OnGap(gap);
}

void RangeFilter::OnClockStep(const records::ClockStep& step) {
  const Time time{step.told_us, TimeQuality::kStepped};
  if (SideOf(range_, step.tick, time) == Side::kInside) sink_.OnClockStep(step);
}

}  // namespace vmr::tool
