#include "tools/report/case_zone.h"

#include <algorithm>
#include <utility>

#include "tools/common/time_point.h"
#include "tools/read/phrase.h"

namespace vmr::tool {
namespace {

using records::kSecond_us;

CaseZone::Offset OffsetAt(std::int64_t us) {
  return {us, LocalTimeOf(us).offset_minutes, ZoneAbbreviation(us)};
}

bool IsSame(const CaseZone::Offset& a, const CaseZone::Offset& b) {
  return a.minutes == b.minutes && a.abbreviation == b.abbreviation;
}

// The second at which the offset at `behind` begins, which is not yet that of `before`.
std::int64_t ChangeBetween(std::int64_t before, std::int64_t behind) {
  const CaseZone::Offset old = OffsetAt(before);
  while (behind - before > kSecond_us) {
    const std::int64_t middle = before + (behind - before) / kSecond_us / 2 * kSecond_us;
    (IsSame(OffsetAt(middle), old) ? before : behind) = middle;
  }
  return behind;
}

}  // namespace

std::vector<CaseZone::Offset> OffsetsOf(const CaseFile& file) {
  // No zone changes twice within that.
  constexpr std::int64_t kStep_us = 86400 * kSecond_us;
  std::vector<std::pair<std::int64_t, std::int64_t>> spans;
  for (const CaseRecording& recording : file.recordings)
    for (const CaseStretch& stretch : recording.stretches)
      if (stretch.time.quality != records::TimeQuality::kUnknown)
        spans.emplace_back(stretch.time.us, stretch.UtcAt(stretch.last));
  if (spans.empty()) return {{0, 0, "UTC"}};
  const std::int64_t first = std::min_element(spans.begin(), spans.end())->first;
  std::int64_t last = first;
  for (const auto& [begin, end] : spans) last = std::max(last, end);
  // Whole seconds: zones change at no other times.
  const std::int64_t begin = first - first % kSecond_us;
  std::vector<CaseZone::Offset> offsets{OffsetAt(begin)};
  for (std::int64_t at = begin; at < last; at += kStep_us) {
    const std::int64_t next = at + kStep_us;
    if (IsSame(OffsetAt(next), offsets.back())) continue;
    const std::int64_t change = ChangeBetween(at, next);
    if (change <= last) offsets.push_back(OffsetAt(change));
  }
  return offsets;
}

void SetZone(const std::string& zone, bool recorded, CaseFile& file) {
  UseTimeZone(zone.empty() ? "UTC" : zone);
  file.zone.name = zone.empty() ? "UTC" : EscapedText(zone);
  file.zone.recorded = !zone.empty() && recorded;
  file.zone.asked = !recorded;
  for (const CaseRecording& recording : file.recordings)
    if (zone.empty() && file.zone.unknown.empty()) file.zone.unknown = recording.recorded_zone;
  file.zone.offsets = OffsetsOf(file);
}

}  // namespace vmr::tool
