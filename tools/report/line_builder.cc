#include "tools/report/line_builder.h"

namespace vmr::tool {

// From the end: nothing is told late by much.
Line::iterator LineBuilder::Behind(AxisX x) {
  auto at = line_.end();
  while (at != line_.begin() && (at - 1)->x > x) --at;
  return at;
}

const LinePoint* LineBuilder::InForceBefore(Line::const_iterator at) const {
  while (at != line_.begin()) {
    --at;
    if (at->Holds()) return &*at;
  }
  return nullptr;
}

void LineBuilder::Tell(AxisX x, std::int64_t value, bool told_by_full_state) {
  Put({x, value, 0}, told_by_full_state);
}

void LineBuilder::TellWord(AxisX x, std::int64_t number, bool told_by_full_state) {
  Put({x, number, LinePoint::kUnknown | LinePoint::kWord}, told_by_full_state);
}

void LineBuilder::Put(const LinePoint& point, bool told_by_full_state) {
  const auto at = Behind(point.x);
  const LinePoint* const in_force = InForceBefore(at);
  const bool is_told = in_force != nullptr && (in_force->IsKnown() || in_force->IsWord());
  const bool is_same =
      is_told && in_force->value == point.value && in_force->IsWord() == point.IsWord();
  if (is_same || (is_told && told_by_full_state)) return;
  const auto put = line_.insert(at, point);
  if (told_by_full_state) put->flags |= LinePoint::kSinceUnknown;
}

void LineBuilder::Doubt(AxisX x, std::int64_t value) {
  line_.insert(Behind(x), {x, value, LinePoint::kWrongCrc});
}

void LineBuilder::Lose(AxisX x) {
  const auto at = Behind(x);
  const LinePoint* const in_force = InForceBefore(at);
  if (in_force == nullptr || !(in_force->IsKnown() || in_force->IsWord())) return;
  line_.insert(at, {x, 0, LinePoint::kUnknown});
}

}  // namespace vmr::tool
