// Reads what is in force at a tick or time that somebody asks for.
#ifndef VMR_TOOLS_READ_STATE_AT_H_
#define VMR_TOOLS_READ_STATE_AT_H_

#include <optional>
#include <string>

#include "records/source.h"
#include "tools/common/time_point.h"
#include "tools/read/state_table.h"
#include "tools/read/time_axis.h"

namespace vmr::tool {

struct AskedTime {
  std::optional<TimePoint> point;  // none: the end
  // The end counts when the recording ends before the point: it was "now".
  bool is_now = false;
  std::optional<int> run;
  std::string text;  // as it was typed
};

struct StateAt {
  explicit StateAt(const Instant& until) : table(until) {}

  Presence presence = Presence::kNoTicks;
  std::optional<Instant> at;  // none: there is no such tick in the recording
  records::Time time;
  // What is in force; empty unless the instant is there.
  StateTable table;
  // Of an instant that is not there: why, and what is there instead.
  std::string why_not;

  bool IsComplete() const { return presence == Presence::kThere && table.IsComplete(); }
};

// Reads all of `source`, of which nothing was handed out yet, twice. Nothing, and in
// `question` what to ask for instead, when the recording shows the time or tick more than
// once. Local times are those of the zone in use.
std::optional<StateAt> ReadStateAt(records::Source& source, const AskedTime& asked,
                                   std::string& question);

// "tick 150 of run 1, 2024-05-01 10:01:10+00:00"
std::string InstantText(const Instant& at, const records::Time& time, bool has_runs);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_READ_STATE_AT_H_
