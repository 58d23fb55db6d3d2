#include "tools/report/range_clip.h"

#include <algorithm>
#include <optional>

#include "tools/common/ticks.h"

namespace vmr::tool {

using records::kTick_us;
using records::TimeQuality;

namespace {

// Of a stretch the first place at the point or behind it; nothing: the two cannot be compared.
std::optional<AxisX> PlaceOf(const CaseStretch& stretch, const TimePoint& point) {
  if (point.tick) return stretch.first + (std::int64_t{*point.tick} - std::int64_t{stretch.tick});
  if (stretch.time.quality == TimeQuality::kUnknown) return std::nullopt;
  return stretch.first - FloorDivide(stretch.time.us - point.us, kTick_us);
}

// The last place at the point or in front of it.
std::optional<AxisX> LastPlaceOf(const CaseStretch& stretch, const TimePoint& point) {
  if (point.tick) return PlaceOf(stretch, point);
  if (stretch.time.quality == TimeQuality::kUnknown) return std::nullopt;
  return stretch.first + FloorDivide(point.us - stretch.time.us, kTick_us);
}

}  // namespace

Inside::Inside(const std::vector<CaseStretch>& stretches, const Range& range) {
  bool goes_on = false;  // the stretch before is inside up to its end
  for (std::size_t i = 0; i < stretches.size(); ++i) {
    CaseStretch stretch = stretches[i];
    const auto from = range.from ? PlaceOf(stretch, *range.from) : stretch.first;
    const auto to = range.to ? LastPlaceOf(stretch, *range.to) : stretch.last;
    // What lies behind it up to the next one of its run is told by its own reckoning; what lies in
    // front of it, too, where the range ends no earlier.
    const bool leads_on = i + 1 < stretches.size() && stretches[i + 1].run == stretch.run;
    const bool led_here = i > 0 && stretches[i - 1].run == stretch.run;
    if (from && to) {
      const AxisX least = led_here ? stretches[i - 1].last + 1 : stretch.first;
      const AxisX most = leads_on ? stretches[i + 1].first - 1 : stretch.last;
      const AxisX begin = range.from ? std::max(*from, least) : stretch.first;
      const AxisX end = range.to ? std::min(*to, most) : stretch.last;
      if (begin <= end) Ask(begin, end);
    }
    const bool begins_before = from && *from <= stretch.first;
    const bool ends_behind = to && *to >= stretch.last;
    const AxisX first = std::max(stretch.first, from.value_or(stretch.first));
    stretch.last = std::min(stretch.last, to.value_or(stretch.last));
    if (!from || !to || stretch.last < first) {
      goes_on = false;
      continue;
    }
    stretch.time.us += (first - stretch.first) * kTick_us;
    stretch.tick += static_cast<unsigned int>(first - stretch.first);
    stretch.first = first;
    stretches_.push_back(stretch);
    if (goes_on && begins_before)
      parts_.back().last = stretch.last;
    else
      parts_.push_back({stretch.first, stretch.last});
    goes_on = ends_behind;
  }
}

void Inside::Ask(AxisX from, AxisX to) {
  if (!asked_.empty() && from <= asked_.back().to + 1) {
    asked_.back().to = std::max(asked_.back().to, to);
    return;
  }
  asked_.push_back({from, to});
}

std::optional<CasePart> Inside::Asked() const {
  if (asked_.empty()) return std::nullopt;
  return CasePart{asked_.front().from, asked_.back().to};
}

bool Inside::Clip(AxisX& from, AxisX& to) const {
  std::optional<AxisX> first, last;
  for (const CasePart& part : asked_) {
    if (part.to < from || part.from > to) continue;
    if (!first) first = std::max(part.from, from);
    last = std::min(part.to, to);
  }
  if (!first || (*first == from && *last == to)) return false;
  from = *first;
  to = *last;
  return true;
}

bool Inside::Has(AxisX x) const {
  const auto part = std::upper_bound(parts_.begin(), parts_.end(), x,
                                     [](AxisX at, const Part& one) { return at < one.first; });
  return part != parts_.begin() && x <= (part - 1)->last;
}

std::vector<AxisX> Inside::Begins() const {
  std::vector<AxisX> begins;
  for (const Part& part : parts_) begins.push_back(part.first);
  return begins;
}

void Inside::Clip(Line& line) const {
  Line clipped;
  auto next = line.begin();
  std::optional<LinePoint> in_force;
  const auto take = [&in_force](const LinePoint& point) {
    if (point.Holds()) in_force = point;
  };
  for (std::size_t i = 0; i < parts_.size(); ++i) {
    // What holds up to the end of a part is not to be seen to hold up to the next one.
    if (i > 0) clipped.push_back({parts_[i - 1].last + 1, 0, LinePoint::kUnknown});
    for (; next != line.end() && next->x < parts_[i].first; ++next) take(*next);
    if (in_force) clipped.push_back({parts_[i].first, in_force->value, in_force->flags});
    for (; next != line.end() && next->x <= parts_[i].last; ++next) {
      take(*next);
      clipped.push_back(*next);
    }
  }
  line = std::move(clipped);
}

void Inside::Clip(CaseEvents& events) const {
  const auto is_outside = [this](const CaseEvent& event) { return !Has(event.x); };
  events.all.erase(std::remove_if(events.all.begin(), events.all.end(), is_outside),
                   events.all.end());
}

void Inside::Clip(std::vector<WayPoint>& way, const std::vector<AxisX>& ends) const {
  std::vector<WayPoint> clipped;
  auto next = way.begin();
  std::optional<WayPoint> in_force;
  const auto take = [&in_force](const WayPoint& point) {
    if ((point.flags & WayPoint::kWrongCrc) == 0) in_force = point;
  };
  for (const Part& part : parts_) {
    for (; next != way.end() && next->x < part.first; ++next) take(*next);
    if (in_force) {
      const auto end = std::lower_bound(ends.begin(), ends.end(), in_force->x);
      if (end != ends.end() && *end <= part.first) in_force.reset();
    }
    bool begins = true;
    if (in_force && (next == way.end() || next->x > part.first)) {
      in_force->x = part.first;
      in_force->flags |= WayPoint::kBegins;
      clipped.push_back(*in_force);
      begins = false;
    }
    for (; next != way.end() && next->x <= part.last; ++next) {
      take(*next);
      clipped.push_back(*next);
      if (begins) clipped.back().flags |= WayPoint::kBegins;
      begins = false;
    }
  }
  way = std::move(clipped);
}

}  // namespace vmr::tool
