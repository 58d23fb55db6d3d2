#include "tools/report/axis_layout.h"

#include <algorithm>
#include <cstdlib>

namespace vmr::tool {

using records::TimeQuality;

namespace {

// Times are good to a second.
constexpr AxisX kNear = 2;
// So a clock that is set back by a bit more than that moves nothing out of place.
constexpr AxisX kInPlace = 2 * kNear;
// With a place between them that is part of neither.
constexpr AxisX kApart = 2;
// 2000-01-01 00:00 UTC.
constexpr std::int64_t kClockIsSet_us = 946684800 * records::kSecond_us;

bool IsUnset(const CaseStretch& stretch) {
  return stretch.time.quality != TimeQuality::kUnknown && stretch.time.us < kClockIsSet_us;
}

std::optional<AxisX> OwnPlaceOf(const CaseStretch& stretch) {
  if (stretch.time.quality == TimeQuality::kUnknown || IsUnset(stretch)) return std::nullopt;
  return stretch.time.us / records::kTick_us;
}

// The greatest of what was put at a place or before it.
class GreatestBefore {
 public:
  struct Sum {
    AxisX ticks = 0;
    std::optional<std::size_t> last;  // element of the sum
  };
  explicit GreatestBefore(std::size_t places) : sums_(places + 1) {}

  void Put(std::size_t place, const Sum& sum) {
    for (std::size_t i = place + 1; i < sums_.size(); i += LowestBit(i))
      if (sum.ticks > sums_[i].ticks) sums_[i] = sum;
  }
  // Of the first `places`.
  Sum Get(std::size_t places) const {
    Sum greatest;
    for (std::size_t i = places; i > 0; i -= LowestBit(i))
      if (sums_[i].ticks > greatest.ticks) greatest = sums_[i];
    return greatest;
  }

 private:
  static std::size_t LowestBit(std::size_t number) { return number & (~number + 1); }
  std::vector<Sum> sums_;  // a binary indexed tree
};

}  // namespace

std::vector<AxisLayout::Group> AxisLayout::GroupsOf(const std::vector<CaseStretch>& stretches) {
  std::vector<Group> groups;
  for (std::size_t i = 0; i < stretches.size(); ++i) {
    const CaseStretch& stretch = stretches[i];
    const auto own = OwnPlaceOf(stretch);
    const AxisX ticks = stretch.last - stretch.first + 1;
    const bool same_run = !groups.empty() && groups.back().run == stretch.run;
    if (same_run && own && groups.back().own &&
        std::llabs(*own - *groups.back().own - (stretch.first - groups.back().first)) <= kNear) {
      groups.back().last = stretch.last;
      groups.back().ticks += ticks;
      continue;
    }
    Group group;
    group.part = i;
    group.first = stretch.first;
    group.last = stretch.last;
    group.run = stretch.run;
    group.ticks = ticks;
    group.own = own;
    group.unset = IsUnset(stretch);
    if (!groups.empty())
      group.between = same_run && stretch.first == groups.back().last + 1 ? 1 : kApart;
    groups.push_back(group);
  }
  return groups;
}

// Two can stay where they say if what is between them has room there: if, less all that was
// recorded in front, the later one does not begin before the earlier one. So those that stay are
// an ascending chain of that; the one of the most ticks is found by what each can be the end of.
void AxisLayout::ChooseThoseThatStay(std::vector<Group>& groups) {
  std::vector<AxisX> slack(groups.size()), sorted;
  AxisX in_front = 0;
  for (std::size_t i = 0; i < groups.size(); ++i) {
    in_front += groups[i].between;
    if (groups[i].own) sorted.push_back(slack[i] = *groups[i].own - in_front);
    in_front += groups[i].Length();
  }
  std::sort(sorted.begin(), sorted.end());
  const auto place = [&sorted](AxisX of) {
    return static_cast<std::size_t>(std::lower_bound(sorted.begin(), sorted.end(), of) -
                                    sorted.begin());
  };
  GreatestBefore chains(sorted.size());
  std::vector<std::optional<std::size_t>> before(groups.size());
  for (std::size_t i = 0; i < groups.size(); ++i) {
    if (!groups[i].own) continue;
    GreatestBefore::Sum chain = chains.Get(place(slack[i] + kNear + 1));
    before[i] = chain.last;
    chain.ticks += groups[i].ticks;
    chain.last = i;
    chains.Put(place(slack[i]), chain);
  }
  for (auto last = chains.Get(sorted.size()).last; last; last = before[*last])
    groups[*last].stays = true;
}

void AxisLayout::Place(std::vector<Group>& groups) {
  const auto first_staying = static_cast<std::size_t>(
      std::find_if(groups.begin(), groups.end(), [](const Group& group) { return group.stays; }) -
      groups.begin());
  const bool any_stays = first_staying < groups.size();
  const auto by_ticks = [&groups](std::size_t i) {
    return groups[i].run == groups[i - 1].run ? groups[i].first - groups[i - 1].last
                                              : groups[i].between;
  };
  // What must fit in front of the next one that stays, from the one before on.
  std::vector<std::optional<AxisX>> at_most(groups.size());
  for (std::size_t i = groups.size(); i-- > 0;) {
    if (groups[i].stays)
      at_most[i] = groups[i].own;
    else if (i + 1 < groups.size() && at_most[i + 1])
      at_most[i] = *at_most[i + 1] - groups[i + 1].between - groups[i].Length();
  }
  // Where it would be if it ended where the next one begins, up to one that stays.
  std::vector<std::optional<AxisX>> in_front_of_next(groups.size());
  for (std::size_t i = groups.size(); i-- > 0;) {
    if (groups[i].stays)
      in_front_of_next[i] = groups[i].own;
    else if (groups[i].unset && i + 1 < groups.size() && in_front_of_next[i + 1])
      in_front_of_next[i] = *in_front_of_next[i + 1] - by_ticks(i + 1) - groups[i].Length();
  }
  if (any_stays) groups[first_staying].moved = *groups[first_staying].own;
  if (any_stays)
    for (std::size_t i = first_staying; i-- > 0;)
      groups[i].moved = groups[i + 1].moved - by_ticks(i + 1) - groups[i].Length();
  for (std::size_t i = any_stays ? first_staying + 1 : 1; i < groups.size(); ++i) {
    Group& group = groups[i];
    const AxisX behind = groups[i - 1].MovedLast();
    const AxisX wanted = in_front_of_next[i].value_or(behind + by_ticks(i));
    group.moved = std::max(std::min(wanted, at_most[i].value_or(wanted)), behind + group.between);
  }
}

AxisLayout::AxisLayout(const std::vector<CaseStretch>& stretches) {
  std::vector<Group> groups = GroupsOf(stretches);
  ChooseThoseThatStay(groups);
  Place(groups);
  auto group = groups.begin();
  for (std::size_t i = 0; i < stretches.size(); ++i) {
    if (group + 1 != groups.end() && (group + 1)->part == i) ++group;
    const CaseStretch& stretch = stretches[i];
    Part part;
    part.first = stretch.first;
    part.last = stretch.last;
    part.moved = group->moved + (stretch.first - group->first);
    const auto own = OwnPlaceOf(stretch);
    part.displaced = !own || std::llabs(part.moved - *own) > kInPlace;
    has_time_ |= group->stays;
    parts_.push_back(part);
  }
}

AxisX AxisLayout::Moved(AxisX x) const {
  if (parts_.empty()) return x;
  const auto next = std::upper_bound(parts_.begin(), parts_.end(), x,
                                     [](AxisX at, const Part& one) { return at < one.first; });
  const Part& part = next == parts_.begin() ? *next : *(next - 1);
  const AxisX moved = part.moved + (x - part.first);
  if (x <= part.last || next == parts_.end()) return moved;
  return std::min(moved, next->moved - 1);
}

bool AxisLayout::IsDisplaced(AxisX x) const {
  const auto next = std::upper_bound(parts_.begin(), parts_.end(), x,
                                     [](AxisX at, const Part& one) { return at < one.first; });
  return next != parts_.begin() && (next - 1)->displaced;
}

}  // namespace vmr::tool
