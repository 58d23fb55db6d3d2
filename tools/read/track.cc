#include "tools/read/track.h"

#include "store/speed.h"

namespace vmr::tool {

using records::KindId;
using records::PositionQuality;
using records::Record;
using records::TimeQuality;
using records::ValueOf;

namespace {

// Every store's GPS receiver counts so; it is told again with each configuration.
constexpr std::int64_t kUsualUnits = SPEED_UNITS_MPH;

TrackPoint PointOf(const Record& record) {
  TrackPoint point;
  point.latitude_tts = record.position.latitude_tts;
  point.longitude_tts = record.position.longitude_tts;
  point.tick = record.tick;
  point.time = record.time;
  point.verified = record.position.quality == PositionQuality::kKnown;
  point.crc_right = record.crc_right;
  return point;
}

// A position at the tick of one that a full state repeats from before.
bool IsBetter(const Record& record, const TrackPoint& repeated) {
  return record.kind->id == KindId::kPosition && record.tick == repeated.tick && !record.repeats &&
         record.crc_right && record.position.quality != PositionQuality::kUnknown;
}

}  // namespace

std::optional<std::int64_t> MillimetresPerSecond(std::optional<std::int64_t> speed,
                                                 std::int64_t units) {
  if (!speed) return std::nullopt;
  if (units == SPEED_UNITS_MPH) return (*speed * 44704 + 50) / 100;
  if (units == SPEED_UNITS_KMH) return (*speed * 10000 + 18) / 36;
  return std::nullopt;
}

void Track::OnRecord(const Record& record) {
  const KindId kind = record.kind->id;
  if (waiting_ && waiting_repeats_ && IsBetter(record, *waiting_))
    waiting_.reset();
  else if (waiting_ && (record.tick != waiting_->tick || kind == KindId::kPosition))
    PutWaiting();
  if (kind == KindId::kPosition) return TakePosition(record);
  if (!record.crc_right) return;
  if (kind == KindId::kSpeed) return TakeSpeed(record);
  if (kind == KindId::kSpeedDevice) return TakeUnits(record);
  if (kind == KindId::kGpsState && ValueOf(record, 0).number == 0) EndPiece();
}

void Track::TakePosition(const Record& record) {
  const bool is_inside = SideOf(range_, record.tick, record.time) == Side::kInside;
  const TrackPoint point = PointOf(record);
  if (record.position.quality == PositionQuality::kUnknown) {
    if (is_inside) ++without_position_;
    last_.reset();
    return EndPiece();
  }
  if (record.crc_right) last_ = point;
  if (!is_inside) return EndPiece();
  if (needs_time_ && record.time.quality == TimeQuality::kUnknown) {
    ++without_time_;
    return EndPiece();
  }
  if (!record.crc_right) return TakeWrong(point);
  if (!record.repeats || !in_piece_) {
    waiting_ = point;
    waiting_repeats_ = record.repeats;
  }
  in_piece_ = true;
}

// Nothing tells whether it lies on the way.
void Track::TakeWrong(const TrackPoint& point) {
  EndPiece();
  sink_.OnPoint(point);
  sink_.OnPieceEnd();
}

void Track::TakeSpeed(const Record& record) {
  if (ValueOf(record, 0).number != kGpsSpeedId) return;
  const records::Value speed = ValueOf(record, 1);
  speed_.reset();
  if (speed.present && speed.word == nullptr) speed_ = speed.number;
}

void Track::TakeUnits(const Record& record) {
  if (ValueOf(record, 0).number != kGpsSpeedId) return;
  units_ = ValueOf(record, 1).number;
  are_units_told_ = true;
}

void Track::PutWaiting() {
  if (!waiting_) return;
  waiting_->speed_mm_per_s = MillimetresPerSecond(speed_, units_);
  if (!are_units_told_) waiting_->speed_of_untold_unit = speed_;
  sink_.OnPoint(*waiting_);
  waiting_.reset();
}

void Track::EndPiece() {
  PutWaiting();
  if (in_piece_) sink_.OnPieceEnd();
  in_piece_ = false;
}

void Track::Forget() {
  EndPiece();
  last_.reset();
  speed_.reset();
  units_ = kUsualUnits;
  are_units_told_ = false;
}

void Track::OnGap(const records::Gap& /*gap*/) { Forget(); }
void Track::OnClockStep(const records::ClockStep& /*step*/) { EndPiece(); }
void Track::OnNewRun(int /*run*/, unsigned int /*tick*/) { Forget(); }

Track::Track(const Range& range, bool needs_time, TrackSink& sink)
    : range_(range), needs_time_(needs_time), sink_(sink), units_(kUsualUnits) {}

}  // namespace vmr::tool
