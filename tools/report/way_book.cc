#include "tools/report/way_book.h"

#include <algorithm>

namespace vmr::tool {

using records::KindId;
using records::Record;

// A point is handed on when its tick is over; that of a wrong CRC at once.
void WayBook::Take(const Record& record, const Spot& spot) {
  now_ = record.crc_right ? spot.holds_from.value_or(spot.x) : spot.x;
  track_.OnRecord(record);
  if (record.kind->id == KindId::kPosition && record.crc_right) position_x_ = now_;
}

void WayBook::Take(const records::Gap& gap, AxisX lost_from) {
  now_ = lost_from;
  track_.OnGap(gap);
}

void WayBook::Take(const records::ClockStep& step, AxisX x) {
  now_ = x;
  track_.OnClockStep(step);
}

void WayBook::TakeNewRun(int run, unsigned int tick, AxisX lost_from) {
  now_ = lost_from;
  track_.OnNewRun(run, tick);
}

void WayBook::Finish(const std::optional<std::int64_t>& units) {
  track_.Finish();
  for (const UntoldSpeed& told : untold_) {
    const auto speed = units ? MillimetresPerSecond(told.speed, *units) : std::nullopt;
    way[told.point].speed_mm_per_s = speed.value_or(-1);
  }
}

void WayBook::OnPoint(const TrackPoint& point) {
  WayPoint placed;
  placed.x = point.crc_right ? position_x_ : now_;
  placed.latitude_tts = point.latitude_tts;
  placed.longitude_tts = point.longitude_tts;
  placed.speed_mm_per_s = point.speed_mm_per_s.value_or(-1);
  if (begins_) placed.flags |= WayPoint::kBegins;
  if (!point.verified) placed.flags |= WayPoint::kUnverified;
  if (!point.crc_right) placed.flags |= WayPoint::kWrongCrc;
  if (point.speed_of_untold_unit) untold_.push_back({way.size(), *point.speed_of_untold_unit});
  way.push_back(placed);
  begins_ = false;
}

void WayBook::OnPieceEnd() {
  begins_ = true;
  ends.push_back(std::max(now_, ends.empty() ? now_ : ends.back()));
}

}  // namespace vmr::tool
