// Turns one line of input into a report to the store, or into the reason why
// it is none. docs/events.schema.json describes the lines.
#ifndef VMR_TOOLS_EVENTS_EVENT_PARSER_H_
#define VMR_TOOLS_EVENTS_EVENT_PARSER_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "tools/events/event.h"
#include "tools/events/gpsd_report.h"

namespace vmr::tool {

// The last tick that a line may name: behind it a recording needs some to write what
// waits, and a store that begins there has no packet that tells a whole tick.
inline constexpr unsigned int kLastInputTick = 0xFFFFFF00;

// When a report happened, as far as its line tells.
struct Stamp {
  std::optional<unsigned int> tick;
  std::optional<std::int64_t> time_us;  // microseconds since 1970-01-01 UTC

  bool Empty() const { return !tick && !time_us; }
};

struct Report {
  Stamp stamp;
  std::variant<GpsReport, Event> content;
  std::string remark;  // not empty: what of the line was left out, and why
};
struct BlankLine {};
struct IgnoredLine {};  // a report of gpsd that is not about the position
struct UnusableLine {
  std::string reason;
};
using ParsedLine = std::variant<BlankLine, IgnoredLine, UnusableLine, Report>;

// A live gpsd reports positions. Events are the unit's own business: from gpsd,
// which whoever reaches its port may be, they are no lines that can be used.
enum class LineSource { kInput, kGpsd };

ParsedLine ParseLine(std::string_view text, LineSource source = LineSource::kInput);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_EVENTS_EVENT_PARSER_H_
