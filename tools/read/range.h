// The part of a recording that is asked for, from a tick or time to another.
#ifndef VMR_TOOLS_READ_RANGE_H_
#define VMR_TOOLS_READ_RANGE_H_

#include <optional>
#include <set>

#include "records/record.h"
#include "tools/common/time_point.h"

namespace vmr::tool {

// An end that is not there is the recording's.
struct Range {
  std::optional<TimePoint> from;
  std::optional<TimePoint> to;  // still inside
};

// Where something lies. A tick cannot be compared with a range of times where the recording
// tells no time, nor anything without a tick with a range of ticks.
enum class Side : unsigned char { kBefore, kInside, kBehind, kUnknown };
Side SideOf(const Range& range, unsigned int tick, const records::Time& time);

// Hands on what lies in the range: records of the kinds asked for, gaps that reach into it,
// clock steps and runs. Notes what of the range is not there.
class RangeFilter final : public records::Sink {
 public:
  // No kinds: all. `range` and `sink` must outlive it.
  RangeFilter(const Range& range, std::set<records::KindId> kinds, records::Sink& sink)
      : range_(range), kinds_(std::move(kinds)), sink_(sink) {}

  void OnRecord(const records::Record& record) override;
  void OnGap(const records::Gap& gap) override;
  void OnClockStep(const records::ClockStep& step) override;
  void OnNewRun(int run, unsigned int tick) override { sink_.OnNewRun(run, tick); }

  unsigned long Records() const { return records_; }  // handed on
  unsigned long Gaps() const { return gaps_; }        // the same; an overwritten beginning not
  unsigned long WrongCrc() const { return wrong_crc_; }
  // Left out, because whether they lie in the range is unknown.
  unsigned long Unplaced() const { return unplaced_; }
  // The range begins before the first record, or ends behind the last one. False for an end
  // that was not asked for.
  bool BeginsBefore() const {
    return range_.from && !range_.from->is_loose && !saw_before_ && !saw_at_from_;
  }
  bool EndsBehind() const {
    return range_.to && !range_.to->is_loose && !saw_behind_ && !saw_at_to_;
  }
  // The range reaches back into what was written over.
  bool ReachesOverwritten() const { return overwritten_ && BeginsBefore(); }
  // All of the range lies before the first record or behind the last one, loose ends or not.
  bool IsOutside() const {
    return (range_.from || range_.to) && !saw_inside_ && !saw_unknown_ && !saw_at_from_ &&
           !saw_at_to_ && !(saw_before_ && saw_behind_);
  }
  // The same, and what was recorded then was written over.
  bool IsOverwritten() const { return IsOutside() && overwritten_ && saw_behind_; }
  // The recording's ends, as far as a record with a right CRC tells them.
  struct End {
    unsigned int tick = kNoTick;
    records::Time time;
  };
  const End& First() const { return first_; }
  const End& Last() const { return last_; }

 private:
  void Note(Side side, unsigned int tick, const records::Time& time);
  void NoteEnds(unsigned int tick, const records::Time& time);

  const Range& range_;
  std::set<records::KindId> kinds_;
  records::Sink& sink_;
  unsigned long records_ = 0;
  unsigned long gaps_ = 0;
  unsigned long wrong_crc_ = 0;
  unsigned long unplaced_ = 0;
  End first_;
  End last_;
  bool saw_inside_ = false;
  bool saw_unknown_ = false;
  bool saw_before_ = false;
  bool saw_behind_ = false;
  bool saw_at_from_ = false;
  bool saw_at_to_ = false;
  bool overwritten_ = false;
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_READ_RANGE_H_
