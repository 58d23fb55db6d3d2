// A record as a line of JSON.
#ifndef VMR_TOOLS_READ_JSON_LINE_H_
#define VMR_TOOLS_READ_JSON_LINE_H_

#include <string_view>

#include "records/record.h"
#include "tools/read/value_text.h"

namespace vmr::tool {

// What is no record, but has lines and tables like one.
inline constexpr const char* kGapKind = "gap";
inline constexpr const char* kClockStepKind = "clock_step";

// One object and a line feed:
//
//   {"kind":"input","tick":1000,"time":"2026-11-21T04:48:24.500Z","time_quality":"exact",
//    "repeats":false,"input":"siren","on":true,"file":1,"cluster":3,"offset":12345}
//
// "tick" and "time" are null when nothing tells them, a field when the record does not say
// it. Present only where they hold: "recording" (its name in quotes, unless that is empty),
// "adjusted_by" (ticks), "run", "packet_crc":"wrong", "position":"unverified". A number without a
// word stands as a number where words are usual; of a radar's reading "target" is null where
// "target_status" has a word.
void AppendJsonLine(const records::Record& record, LineBuffer& line,
                    std::string_view recording = {});
void AppendJsonLine(const records::Gap& gap, LineBuffer& line, std::string_view recording = {});
void AppendJsonLine(const records::ClockStep& step, LineBuffer& line,
                    std::string_view recording = {});

// The text in quotes. Hidden characters are escaped; bytes that are no UTF-8 are taken for
// ISO 8859-1. True when there were such.
bool AppendJsonText(std::string_view text, LineBuffer& line);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_READ_JSON_LINE_H_
