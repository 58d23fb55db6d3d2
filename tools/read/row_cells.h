// Which cells a row has, and in which order: that of ExportColumns (columns.h). How a cell is
// written is the row's own business.
#ifndef VMR_TOOLS_READ_ROW_CELLS_H_
#define VMR_TOOLS_READ_ROW_CELLS_H_

#include "records/record.h"

namespace vmr::tool {

// A Row has Tick, Time, Utc, Text, TextOrNull, Flag, Number, Value, Place and End.

template <typename Row>
void PutCells(const records::Record& record, Row& row) {
  row.Tick(record.tick);
  row.Time(record.time);
  row.Text(TextOf(record.time.quality));
  row.Flag(record.repeats);
  for (std::size_t i = 0; i < record.kind->field_count; ++i) row.Value(ValueOf(record, i));
  if (record.kind->id == records::KindId::kPosition)
    row.TextOrNull(record.position.quality == records::PositionQuality::kUnverified ? "unverified"
                                                                                    : "");
  row.TextOrNull(record.crc_right ? "" : "wrong");
  row.Number(static_cast<unsigned int>(record.adjusted_by));
  row.Number(record.run);
  row.Place(record.place);
  row.End();
}

template <typename Row>
void PutCells(const records::Gap& gap, Row& row) {
  row.Text(TextOf(gap.reason));
  row.Tick(gap.from_tick);
  row.Tick(gap.to_tick);
  row.Time(gap.from);
  row.Time(gap.to);
  row.Number(gap.clusters);
  row.Number(gap.bytes);
  row.Place(gap.place);
  row.End();
}

template <typename Row>
void PutCells(const records::ClockStep& step, Row& row) {
  constexpr std::int64_t kMillisecond_us = 1000;
  row.Tick(step.tick);
  row.Utc(step.expected_us);
  row.Utc(step.told_us);
  row.Number(step.Microseconds() / kMillisecond_us);
  row.Place(step.place);
  row.End();
}

}  // namespace vmr::tool

#endif  // VMR_TOOLS_READ_ROW_CELLS_H_
