// The way of a vehicle: its positions in pieces that hang together.
#ifndef VMR_TOOLS_READ_TRACK_H_
#define VMR_TOOLS_READ_TRACK_H_

#include <cstdint>
#include <optional>

#include "records/record.h"
#include "tools/read/range.h"

namespace vmr::tool {

struct TrackPoint {
  std::int32_t latitude_tts = 0;
  std::int32_t longitude_tts = 0;
  unsigned int tick = kNoTick;
  records::Time time;
  bool verified = true;   // the hemisphere is known
  bool crc_right = true;  // else it is a piece of its own
  // By the GPS receiver. Nothing when it is unknown, no number, or in no known unit.
  std::optional<std::int64_t> speed_mm_per_s;
  // The speed as it was told, where its unit was not since the last gap; `speed_mm_per_s` takes
  // it for miles an hour.
  std::optional<std::int64_t> speed_of_untold_unit;
};

// Nothing when it is in no known unit.
std::optional<std::int64_t> MillimetresPerSecond(std::optional<std::int64_t> speed,
                                                 std::int64_t units);

class TrackSink {
 public:
  virtual ~TrackSink() = default;
  virtual void OnPoint(const TrackPoint& point) = 0;
  // Behind the last point of a piece.
  virtual void OnPieceEnd() = 0;
};

// Follows all of a recording and hands on the points that lie in the range. A piece ends at a
// gap, a clock jump and a new run, and where the receiver delivers no position or its way
// leads from nowhere. A position that a full state only repeats is a point where a piece
// begins and no other follows at its tick, else not.
class Track final : public records::Sink {
 public:
  // Points without a time are left out when `needs_time`. `range` and `sink` must outlive it.
  Track(const Range& range, bool needs_time, TrackSink& sink);

  void OnRecord(const records::Record& record) override;
  void OnGap(const records::Gap& gap) override;
  void OnClockStep(const records::ClockStep& step) override;
  void OnNewRun(int run, unsigned int tick) override;
  // The recording's end.
  void Finish() { EndPiece(); }

  // Where the vehicle was last known to be; nothing behind a gap until it is told again.
  const std::optional<TrackPoint>& Last() const { return last_; }
  // In the range, and no points.
  unsigned long WithoutPosition() const { return without_position_; }
  unsigned long WithoutTime() const { return without_time_; }

 private:
  void TakePosition(const records::Record& record);
  void TakeSpeed(const records::Record& record);
  void TakeUnits(const records::Record& record);
  void TakeWrong(const TrackPoint& point);
  void PutWaiting();
  void EndPiece();
  void Forget();

  const Range& range_;
  const bool needs_time_;
  TrackSink& sink_;
  // The speed of a tick may stand behind its position.
  std::optional<TrackPoint> waiting_;
  bool waiting_repeats_ = false;  // told by a full state alone
  std::optional<TrackPoint> last_;
  bool in_piece_ = false;
  std::optional<std::int64_t> speed_;  // of the GPS receiver, in its units
  std::int64_t units_;
  bool are_units_told_ = false;
  unsigned long without_position_ = 0;
  unsigned long without_time_ = 0;
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_READ_TRACK_H_
