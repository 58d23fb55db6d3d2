// Records as rows of tables, one table for each kind (RFC 4180).
//
//   recording,tick,time,time_quality,repeats,FIELDS,packet_crc,adjusted_by,run,file,cluster,offset
//
// "recording" is there only when rows of several stand in one table. A reading has a column
// of its name and one NAME_status for what a radar shows instead of a speed. A text has its
// bytes in NAME_bytes, as hexadecimal digits, where the column NAME does not show them as they
// are: hidden characters stand as \u001b there, and a text that a spreadsheet would take for
// a formula has an apostrophe in front. What is unknown is empty. Positions have a column
// "position" behind their fields: "unverified" or empty.
//
// Columns are only ever added: programs go by their names.
#ifndef VMR_TOOLS_READ_CSV_TABLE_H_
#define VMR_TOOLS_READ_CSV_TABLE_H_

#include <string>
#include <string_view>
#include <vector>

#include "records/record.h"
#include "tools/read/value_text.h"

namespace vmr::tool {

// The names of all tables: kinds, and "gap" and "clock_step".
std::vector<std::string> CsvTables();
// In order, without "recording".
std::vector<std::string> CsvColumns(std::string_view table);

// With an empty `recording` the rows have no such column.
void AppendCsvHeader(std::string_view table, bool has_recording, LineBuffer& line);
void AppendCsvRow(const records::Record& record, std::string_view recording, LineBuffer& line);
void AppendCsvRow(const records::Gap& gap, std::string_view recording, LineBuffer& line);
void AppendCsvRow(const records::ClockStep& step, std::string_view recording, LineBuffer& line);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_READ_CSV_TABLE_H_
