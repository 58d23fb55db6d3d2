// Which ticks a recording has, what its clock showed at them, and what of it is missing.
#ifndef VMR_TOOLS_READ_TIME_AXIS_H_
#define VMR_TOOLS_READ_TIME_AXIS_H_

#include <cstdint>
#include <optional>
#include <vector>

#include "records/record.h"
#include "tools/common/time_point.h"
#include "tools/read/instant.h"

namespace vmr::tool {

// What a tick or time that is asked for is to a recording.
enum class Presence : unsigned char {
  kThere,
  kInGap,        // between two ticks that it has, and what was between them is lost
  kBefore,       // its first tick
  kBehind,       // its last one
  kSkipped,      // the unit's clock went from an earlier time to a later one, or the unit was off
  kBetweenRuns,  // of the unit
  kNoTicks,      // nothing tells ticks, or times if a time is asked for
};

struct Moment {
  Presence presence = Presence::kNoTicks;
  Instant at;                     // of kThere
  std::optional<Instant> before;  // the last tick in front of what is not there
  std::optional<Instant> behind;  // the first one behind it
  // Then. Where the clock was set, `before` and `behind` may be one tick.
  records::Time before_time;
  records::Time behind_time;
};

// Takes a whole recording; then it can be asked.
class TimeAxis final : public records::Sink {
 public:
  void OnRecord(const records::Record& record) override;
  void OnGap(const records::Gap& gap) override;

  // Where the point is, or everywhere: a tick is in several runs, a time comes again when the
  // clock is set back. Of a point that is nowhere one answer says why. `run`: only there.
  std::vector<Moment> Find(const TimePoint& point, std::optional<int> run = std::nullopt) const;
  // The last tick; kBehind without any.
  Moment End() const;
  records::Time TimeOf(const Instant& at) const;
  bool IsEmpty() const { return pieces_.empty(); }
  bool HasRuns() const { return !pieces_.empty() && pieces_.back().last.run > 0; }

  // Ticks that go on by one reckoning of time, without a gap; in recorded order.
  struct Stretch {
    Instant first;
    std::uint64_t ticks = 0;  // of it; of two that begin at one tick the first has none
    records::Time time;       // at `first`
  };
  std::vector<Stretch> Stretches() const;

 private:
  // Ticks that go on without a gap, by one reckoning of time.
  struct Piece {
    Instant first;
    Instant last;  // told by a packet
    records::Time at_first;
    bool behind_gap;
  };
  bool GoesOn(const Piece& piece, const Instant& at, const records::Time& time) const;
  // The first tick behind it that is not its own.
  Instant EndOf(std::size_t piece) const;
  bool IsGapBetween(std::size_t piece, std::size_t next) const;
  static records::Time TimeAt(const Piece& piece, const Instant& at);
  static void SetBefore(Moment& moment, const Piece& piece);
  static void SetBehind(Moment& moment, const Piece& piece);
  static std::int64_t TimeIn(const Piece& piece, const Instant& at);
  std::vector<Moment> FindTick(unsigned int tick, std::optional<int> run) const;
  std::vector<Moment> FindTime(std::int64_t us, std::optional<int> run) const;
  Moment WhyNoTick(unsigned int tick, std::optional<int> run) const;
  Moment WhyNoTime(std::int64_t us, std::optional<int> run) const;

  TickLine line_;
  std::vector<Piece> pieces_;
  bool is_behind_gap_ = false;
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_READ_TIME_AXIS_H_
