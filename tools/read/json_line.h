// A record as a line of JSON.
#ifndef VMR_TOOLS_READ_JSON_LINE_H_
#define VMR_TOOLS_READ_JSON_LINE_H_

#include <fmt/format.h>

#include <cstddef>
#include <string_view>

#include "records/record.h"

namespace vmr::tool {

// Lines are put together here; nothing is allocated once it has grown.
using LineBuffer = fmt::memory_buffer;

// One object and a line feed:
//
//   {"kind":"input","tick":1000,"time":"2026-11-21T04:48:24.500Z","time_quality":"exact",
//    "repeats":false,"input":"siren","on":true,"file":1,"cluster":3,"offset":12345}
//
// "tick" and "time" are null when nothing tells them, a field when the record does not say
// it. Present only where they hold: "adjusted_by" (ticks), "run", "packet_crc":"wrong",
// "position":"unverified". A number without a word stands as a number where words are
// usual; of a radar's reading "target" is null where "target_status" has a word.
void AppendJsonLine(const records::Record& record, LineBuffer& line);
void AppendJsonLine(const records::Gap& gap, LineBuffer& line);
void AppendJsonLine(const records::ClockStep& step, LineBuffer& line);

// How many bytes of UTF-8 the text, which is not empty, begins with, of one character; 0
// when it begins with none.
std::size_t Utf8Bytes(std::string_view text);

// The text in quotes. Control characters are escaped; bytes that are no UTF-8 are taken
// for ISO 8859-1. True when there were such.
bool AppendJsonText(std::string_view text, LineBuffer& line);

// "2026-11-21T04:48:24.500Z", without quotes.
void AppendUtc(std::int64_t time_us, LineBuffer& line);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_READ_JSON_LINE_H_
