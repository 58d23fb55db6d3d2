// The columns of every table that says what recordings hold: one list, from which tables of
// `vmr export --format csv`, the tables of a lake, their DDL and the schemas follow.
#ifndef VMR_TOOLS_READ_COLUMNS_H_
#define VMR_TOOLS_READ_COLUMNS_H_

#include <string>
#include <string_view>
#include <vector>

#include "records/kinds.h"

namespace vmr::tool {

// Of lines and tables; docs/schema/README.md says what each version brought.
inline constexpr int kSchemaVersion = 2;

// The tables of a lake that are of no kind. What is lost stands in lines and CSV tables under
// the name kGapKind, one gap each.
inline constexpr const char* kRecordingsTable = "recordings";
inline constexpr const char* kGapsTable = "gaps";

enum class ColumnType : unsigned char {
  kBoolean,
  kInteger,      // 32 bits, signed
  kLongInteger,  // 64 bits, signed
  kDegrees,      // DECIMAL(10,7)
  kText,         // UTF-8
  kWord,         // the same, of few different ones
  kTimestamp,    // UTC, in microseconds, without a zone
};

// Digits of a kDegrees, and those behind the point: an inch. They tell each 1/600000 degree
// from the next.
inline constexpr int kDegreesPrecision = 10;
inline constexpr int kDegreesScale = 7;

struct Column {
  std::string name;
  ColumnType type;
  bool nullable;
  std::string unit;  // "" without one
  std::string what;  // one line for people, may be ""
};

// The tables of a lake: kinds and clock_step, which are partitioned by `kind` and `date`, then
// gaps and recordings, which are not.
std::vector<std::string> LakeTables();
bool IsPartitioned(std::string_view lake_table);
// One line for people.
std::string WhatOf(std::string_view lake_table);
// In the order of its files; without the partitions' `kind` and `date`, which readers take from
// the names of folders. `lake_table`: one of LakeTables(), or kGapKind for kGapsTable.
std::vector<Column> LakeColumns(std::string_view lake_table);

// Of a table of `vmr export --format csv`, without "recording". `table`: one of CsvTables().
std::vector<Column> ExportColumns(std::string_view table);

// What a field's second column is called behind its name, "_status" or "_bytes"; null: it has
// one only.
const char* SecondColumn(records::FieldType type);

// A record of the kind need not tell the field.
bool MayBeAbsent(const records::KindRow& kind, std::size_t field);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_READ_COLUMNS_H_
