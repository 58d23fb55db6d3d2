// Reads gpsd's reports as fast as they can be read: a saved drive is hardly anything else.
#ifndef VMR_TOOLS_EVENTS_GPSD_LINE_H_
#define VMR_TOOLS_EVENTS_GPSD_LINE_H_

#include <memory>
#include <optional>
#include <string_view>

#include "tools/events/event_parser.h"

namespace vmr::tool {

// Takes the reports that gpsd writes, checking all of the line, and leaves to ParseLine
// whatever is unusual about one: that is the one place that knows what to say of a line.
//
//   taken   an object of printable ASCII without "\", at most kMostBytes long, whose fields
//           are none of them given twice (those that matter here) and fit the schema
//   left    everything else: invalid JSON, events, a report with a tick, a value out of
//           range, a speed that is of no use
//
// What is taken comes out as ParseLine has it.
//
// Owns     its room, 250 KB, which it takes at the first line.
// Threads  none; a parser for each.
// Errors   none: a line that cannot be read is one that is left.
class GpsdLineParser {
 public:
  static constexpr std::size_t kMostBytes = 16UL * 1024;

  GpsdLineParser();
  ~GpsdLineParser();
  GpsdLineParser(const GpsdLineParser&) = delete;
  GpsdLineParser& operator=(const GpsdLineParser&) = delete;

  // A report or an IgnoredLine; nothing for a line that is left.
  std::optional<ParsedLine> Parse(std::string_view text);

 private:
  struct Room;
  std::unique_ptr<Room> room_;
};

// ParseLine, by a GpsdLineParser where that takes the line.
class LineParser {
 public:
  ParsedLine Parse(std::string_view text, LineSource source);

 private:
  GpsdLineParser gpsd_;
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_EVENTS_GPSD_LINE_H_
