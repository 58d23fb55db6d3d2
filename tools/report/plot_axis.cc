#include "tools/report/plot_axis.h"

#include <fmt/format.h>

#include <algorithm>

#include "tools/common/ticks.h"
#include "tools/common/time_point.h"

namespace vmr::tool {

using records::kSecond_us;
using records::kTick_us;

namespace {

constexpr std::int64_t kMinute_s = 60, kHour_s = 60 * kMinute_s, kDay_s = 24 * kHour_s;
constexpr std::int64_t kRoundTimes_s[] = {
    1,           2,           5,           10,          15,           30,
    kMinute_s,   2 * 60,      5 * 60,      10 * 60,     15 * 60,      30 * 60,
    kHour_s,     2 * kHour_s, 3 * kHour_s, 6 * kHour_s, 12 * kHour_s, kDay_s,
    2 * kDay_s,  7 * kDay_s,  14 * kDay_s, 30 * kDay_s, 60 * kDay_s,  180 * kDay_s,
    365 * kDay_s};

std::int64_t CeilDivide(std::int64_t value, std::int64_t by) { return -FloorDivide(-value, by); }

std::int64_t OffsetAt_s(std::int64_t second) {
  return LocalTimeOf(second * kSecond_us).offset_minutes * kMinute_s;
}

// Round numbers, each more than twice the one before, or twice it: 1, 2, 5, 10, 20, 50 ...
std::int64_t NextRound(std::int64_t step) {
  std::int64_t power = 1;
  while (step / power >= 10) power *= 10;
  return step / power == 2 ? 5 * power : 2 * step;
}

std::string LabelOf(const LocalTime& time, std::int64_t step_s) {
  if (step_s < kMinute_s)
    return fmt::format("{:02}:{:02}:{:02}", time.hour, time.minute, time.second);
  return fmt::format("{:02}:{:02}", time.hour, time.minute);
}

std::string DateOf(const LocalTime& time) {
  return fmt::format("{:04}-{:02}-{:02}", time.year, time.month, time.day);
}

// An hour that clocks show twice is told apart by its offset, as are all others then.
void TellApart(std::int64_t axis_us, std::vector<AxisMark>& marks) {
  const auto offset = [axis_us](const AxisMark& mark) {
    return LocalTimeOf(axis_us + mark.x * kTick_us).offset_minutes;
  };
  const bool is_one = std::all_of(marks.begin(), marks.end(), [&](const AxisMark& mark) {
    return offset(mark) == offset(marks.front());
  });
  if (is_one) return;
  for (AxisMark& mark : marks) mark.label += OffsetText(offset(mark));
}

// The marks of one step.
class TimeMarker {
 public:
  TimeMarker(std::int64_t axis_us, const AxisSpan& shown, std::int64_t step_s)
      : axis_us_(axis_us), shown_(shown), step_s_(step_s) {}

  // Up to an hour a step keeps its pace when clocks are set, which is by an hour; longer ones
  // are of what clocks show.
  std::vector<AxisMark> Make() {
    const std::int64_t begin = CeilDivide(axis_us_ + shown_.from * kTick_us, kSecond_us);
    const std::int64_t offset = OffsetAt_s(begin);
    const std::int64_t first = CeilDivide(begin + offset, step_s_) * step_s_;
    for (std::int64_t shown = first;; shown += step_s_) {
      const std::int64_t second =
          shown - (step_s_ <= kHour_s ? offset : OffsetAt_s(shown - offset));
      const AxisX x = FloorDivide(second * kSecond_us - axis_us_, kTick_us);
      if (x >= shown_.to) return std::move(marks_);
      if (x >= shown_.from) Put(x, LocalTimeOf(second * kSecond_us));
    }
  }

 private:
  void Put(AxisX x, const LocalTime& time) {
    const bool day_begins = time.hour == 0 && time.minute == 0 && time.second == 0;
    if (step_s_ >= kDay_s)
      marks_.push_back({x, DateOf(time), ""});
    else
      marks_.push_back(
          {x, LabelOf(time, step_s_), marks_.empty() || day_begins ? DateOf(time) : std::string()});
  }

  const std::int64_t axis_us_;
  const AxisSpan& shown_;
  const std::int64_t step_s_;
  std::vector<AxisMark> marks_;
};

}  // namespace

ValueScale ScaleFor(std::int64_t least, std::int64_t most, int most_steps) {
  std::int64_t step = 1;
  while (most - least > step * most_steps) step = NextRound(step);
  ValueScale scale{FloorDivide(least, step) * step, CeilDivide(most, step) * step, step};
  if (scale.low == scale.high) scale.high += step;
  return scale;
}

std::vector<AxisMark> TimeMarks(std::int64_t axis_us, const AxisSpan& shown, int most) {
  const std::int64_t seconds = shown.Length() * kTick_us / kSecond_us;
  const auto* const fitting =
      std::find_if(std::begin(kRoundTimes_s), std::end(kRoundTimes_s),
                   [&](std::int64_t step_s) { return seconds / step_s < most; });
  const std::int64_t step_s =
      fitting == std::end(kRoundTimes_s) ? std::max<std::int64_t>(seconds, 1) : *fitting;
  std::vector<AxisMark> marks = TimeMarker(axis_us, shown, step_s).Make();
  if (step_s <= kHour_s) TellApart(axis_us, marks);
  return marks;
}

std::vector<AxisMark> NumberMarks(AxisX shift, const AxisSpan& shown, int most) {
  std::int64_t step = 1;
  while (shown.Length() / step >= most) step = NextRound(step);
  std::vector<AxisMark> marks;
  for (AxisX number = CeilDivide(shown.from + shift, step) * step; number < shown.to + shift;
       number += step)
    marks.push_back({number - shift, fmt::format("{}", number), ""});
  return marks;
}

}  // namespace vmr::tool
