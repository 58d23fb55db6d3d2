// What changed and what happened, in words, one row each.
#ifndef VMR_TOOLS_REPORT_EVENT_BOOK_H_
#define VMR_TOOLS_REPORT_EVENT_BOOK_H_

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "records/record.h"
#include "tools/read/phrase.h"
#include "tools/read/state_table.h"
#include "tools/report/case_file.h"
#include "tools/report/placement.h"

namespace vmr::tool {

// A state that is told again is no event. Of a full state, and of settings, what is first known
// is one where it is worth a line. Positions, speeds and other values that change all the time
// are lines instead; a radar's lock is both. A packet whose CRC is wrong is listed with all that
// it says.
class EventBook {
 public:
  void Take(const records::Record& record, const Spot& spot, const Phrases& phrases);
  // The record taken last was the last one of what a unit's start writes.
  void TakeStart(const records::Record& last, const Spot& spot);
  void Take(const records::Gap& gap, const std::string& words, const GapSpot& spot, int run);
  void Take(const records::ClockStep& step, const std::string& words, AxisX x, int run);
  void TakeNewRun(const std::string& words, unsigned int tick, AxisX x, int run);
  // Behind a gap and in another run.
  void Forget() { told_.clear(); }

  CaseEvents Finish() { return std::move(events_); }

 private:
  enum class News : unsigned char { kSame, kFirst, kOther };
  News NewsOf(const records::Record& record);
  bool IsEvent(const records::Record& record);
  void Put(const std::string& kind, const std::string& text, CaseEvent event);
  static int IndexOf(const std::string& text, std::unordered_map<std::string, int>& indexes,
                     std::vector<std::string>& texts);

  CaseEvents events_;
  std::unordered_map<std::string, int> kind_indexes_, text_indexes_;
  std::map<StateTable::Key, std::string> told_;  // what of it counts as a change
  // The last records: where they stand, and how many events there were in front of each.
  struct Passed {
    std::int64_t offset;
    std::size_t events;
  };
  std::deque<Passed> passed_;
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_REPORT_EVENT_BOOK_H_
