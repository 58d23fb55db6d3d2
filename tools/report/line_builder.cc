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
  const auto at = Behind(x);
  const LinePoint* const in_force = InForceBefore(at);
  const bool is_known = in_force != nullptr && in_force->IsKnown();
  if (is_known && (told_by_full_state || in_force->value == value)) return;
  const unsigned char flags = told_by_full_state ? LinePoint::kSinceUnknown : 0;
  line_.insert(at, {x, value, flags});
}

void LineBuilder::Doubt(AxisX x, std::int64_t value) {
  line_.insert(Behind(x), {x, value, LinePoint::kWrongCrc});
}

void LineBuilder::Lose(AxisX x) {
  const auto at = Behind(x);
  const LinePoint* const in_force = InForceBefore(at);
  if (in_force == nullptr || !in_force->IsKnown()) return;
  line_.insert(at, {x, 0, LinePoint::kUnknown});
}

}  // namespace vmr::tool
