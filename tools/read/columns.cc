#include "tools/read/columns.h"

#include <iterator>

#include "tools/read/json_line.h"

namespace vmr::tool {
namespace {

using records::FieldRow;
using records::FieldType;
using records::KindRow;
using Columns = std::vector<Column>;

// As a list has it. Each is a fact of the recording, so "nullable" means that it may be untold.
struct Row {
  const char* name;
  ColumnType type;
  bool nullable;
  const char* unit;
  const char* what;
};

constexpr Row kNameColumns[] = {
    {"unit", ColumnType::kWord, false, "", "serial number, else MAC, else unknown; fit for names"},
    {"recording", ColumnType::kWord, false, "", "which one of the unit"},
};
constexpr Row kHeadColumns[] = {
    {"tick", ColumnType::kLongInteger, true, "1/2 s", "nothing tells it where null"},
    {"time", ColumnType::kTimestamp, true, "", "UTC; nothing tells it where null"},
    {"time_quality", ColumnType::kWord, false, "", "how well the time is known"},
    {"repeats", ColumnType::kBoolean, false, "", "part of a full state that says nothing new"},
};
constexpr Row kPositionColumns[] = {
    {"position", ColumnType::kWord, true, "", "unverified: its hemisphere is not known for sure"},
};
constexpr Row kMarkColumns[] = {
    {"packet_crc", ColumnType::kWord, true, "", "wrong: the packet is damaged"},
    {"adjusted_by", ColumnType::kInteger, false, "1/2 s", "ticks taken off the packet's"},
    {"run", ColumnType::kInteger, false, "", "ticks began anew so many times before"},
};
constexpr Row kPlaceColumns[] = {
    {"file", ColumnType::kInteger, true, "", "of the store's two"},
    {"cluster", ColumnType::kInteger, true, "", "of a store"},
    {"offset", ColumnType::kLongInteger, false, "byte", "from the file's beginning"},
};
constexpr Row kGapColumns[] = {
    {"reason", ColumnType::kWord, false, "", "why it is lost"},
    {"from_tick", ColumnType::kLongInteger, true, "1/2 s", "the last one told in front of it"},
    {"to_tick", ColumnType::kLongInteger, true, "1/2 s", "the first one told behind it"},
    {"from_time", ColumnType::kTimestamp, true, "", "UTC, at from_tick"},
    {"to_time", ColumnType::kTimestamp, true, "", "UTC, at to_tick"},
    {"clusters", ColumnType::kInteger, false, "", "of a store, that are lost"},
    {"bytes", ColumnType::kLongInteger, false, "byte",
     "of packets that cannot be used; 0: nobody knows"},
};
constexpr Row kStepColumns[] = {
    {"tick", ColumnType::kLongInteger, true, "1/2 s", "where the clock was found to be set"},
    {"expected", ColumnType::kTimestamp, false, "", "UTC, from the time told before"},
    {"told", ColumnType::kTimestamp, false, "", "UTC, by the clock from now on"},
    {"step_ms", ColumnType::kLongInteger, false, "ms", "so much further it is"},
};
constexpr Row kRecordingColumns[] = {
    {"source", ColumnType::kText, false, "", "name of the store or file, without folders"},
    {"serial_number", ColumnType::kText, true, "", "the first one told"},
    {"mac", ColumnType::kText, true, "", "the first one told"},
    {"status", ColumnType::kWord, false, "", "ok, damaged, empty, mixed or unreadable"},
    {"findings", ColumnType::kText, true, "", "what is wrong with it; null: nothing was found"},
    {"first_tick", ColumnType::kLongInteger, true, "1/2 s", "of records"},
    {"last_tick", ColumnType::kLongInteger, true, "1/2 s", "of records"},
    {"first_time", ColumnType::kTimestamp, true, "", "UTC, the first one known"},
    {"last_time", ColumnType::kTimestamp, true, "", "UTC, the last one known"},
    {"time_quality", ColumnType::kWord, false, "", "how well first_time is known"},
    {"records", ColumnType::kLongInteger, false, "", "in all tables of kinds"},
    {"packets_bytes", ColumnType::kLongInteger, false, "byte", "of all packets"},
    {"wrong_crc", ColumnType::kLongInteger, false, "", "packets whose CRC is wrong"},
    {"gaps", ColumnType::kLongInteger, false, "", "rows of it in the table of gaps"},
    {"clock_steps", ColumnType::kLongInteger, false, "", "times that the clock was set"},
    {"runs", ColumnType::kLongInteger, false, "", "of ticks"},
    {"overwritten", ColumnType::kBoolean, false, "",
     "newer packets stand in place of its beginning"},
    {"clusters", ColumnType::kLongInteger, true, "", "of a store, that hold the recording"},
    {"file_1", ColumnType::kText, true, "", "health of the first file of a store"},
    {"file_2", ColumnType::kText, true, "", "health of the second file of a store"},
    {"packets_sha256", ColumnType::kText, true, "", "of all packets as they were read, in order"},
    {"file_1_sha256", ColumnType::kText, true, "", "of the first or only file, with --digest"},
    {"file_2_sha256", ColumnType::kText, true, "", "of the second file, with --digest"},
    {"tool_version", ColumnType::kWord, false, "", "of the vmr that made the row"},
    {"schema_version", ColumnType::kInteger, false, "", "of the columns"},
};

template <std::size_t N>
void Add(const Row (&rows)[N], Columns& columns) {
  for (const Row& row : rows)
    columns.push_back({row.name, row.type, row.nullable, row.unit, row.what});
}

ColumnType TypeOf(FieldType type) {
  switch (type) {
    case FieldType::kFlag:
      return ColumnType::kBoolean;
    case FieldType::kWord:
      return ColumnType::kWord;
    case FieldType::kText:
    case FieldType::kMac:
    case FieldType::kAddress:
      return ColumnType::kText;
    case FieldType::kTime:
      return ColumnType::kTimestamp;
    case FieldType::kLatitude:
    case FieldType::kLongitude:
      return ColumnType::kDegrees;
    default:
      return ColumnType::kLongInteger;
  }
}

Column SecondOf(const FieldRow& field) {
  const std::string name = std::string(field.name) + SecondColumn(field.type);
  if (field.type == FieldType::kReading)
    return {name, ColumnType::kWord, true, "", "what the radar showed instead of a speed"};
  return {name, ColumnType::kText, true, "",
          "the bytes in hexadecimal, where the text is not them"};
}

// `has_tts`: degrees are there as recorded, too.
void AddField(const KindRow& kind, std::size_t index, bool has_tts, Columns& columns) {
  const FieldRow& field = kind.fields[index];
  const bool nullable = field.type == FieldType::kReading || MayBeAbsent(kind, index);
  const ColumnType type = TypeOf(field.type);
  columns.push_back({field.name, type, nullable, field.unit, field.what});
  if (SecondColumn(field.type) != nullptr) columns.push_back(SecondOf(field));
  if (has_tts && type == ColumnType::kDegrees)
    columns.push_back({std::string(field.name) + "_tts", ColumnType::kInteger, nullable,
                       "1/600000 degree", "as recorded"});
}

void AddKind(const KindRow& kind, bool has_tts, Columns& columns) {
  Add(kHeadColumns, columns);
  for (std::size_t i = 0; i < kind.field_count; ++i) AddField(kind, i, has_tts, columns);
  if (kind.id == records::KindId::kPosition) Add(kPositionColumns, columns);
  Add(kMarkColumns, columns);
}

void AddTable(std::string_view table, bool has_tts, Columns& columns) {
  if (table == kGapKind || table == kGapsTable)
    Add(kGapColumns, columns);
  else if (table == kClockStepKind)
    Add(kStepColumns, columns);
  else
    AddKind(*records::FindKind(std::string(table).c_str()), has_tts, columns);
  Add(kPlaceColumns, columns);
}

}  // namespace

std::vector<std::string> LakeTables() {
  std::vector<std::string> tables;
  for (const KindRow& kind : records::Kinds()) tables.emplace_back(kind.name);
  tables.insert(tables.end(), {kClockStepKind, kGapsTable, kRecordingsTable});
  return tables;
}

bool IsPartitioned(std::string_view lake_table) {
  return lake_table != kRecordingsTable && lake_table != kGapsTable && lake_table != kGapKind;
}

std::string WhatOf(std::string_view lake_table) {
  if (lake_table == kRecordingsTable) return "one row for each recording";
  if (lake_table == kGapsTable || lake_table == kGapKind) return "parts that are lost or damaged";
  if (lake_table == kClockStepKind) return "the unit's clock was set";
  return records::FindKind(std::string(lake_table).c_str())->what;
}

std::vector<Column> LakeColumns(std::string_view lake_table) {
  Columns columns;
  Add(kNameColumns, columns);
  if (lake_table == kRecordingsTable)
    Add(kRecordingColumns, columns);
  else
    AddTable(lake_table, true, columns);
  return columns;
}

std::vector<Column> ExportColumns(std::string_view table) {
  Columns columns;
  AddTable(table, false, columns);
  return columns;
}

const char* SecondColumn(FieldType type) {
  if (type == FieldType::kReading) return "_status";
  if (type == FieldType::kText) return "_bytes";
  return nullptr;
}

bool MayBeAbsent(const KindRow& kind, std::size_t field) {
  const bool is_flag = kind.fields[field].type == FieldType::kFlag;
  for (const records::Shape& shape : records::Shapes()) {
    if (shape.kind != kind.id) continue;
    const records::FieldPlace& place = shape.fields[field];
    if (place.order == records::Order::kAbsent || place.absent >= 0 ||
        (place.order == records::Order::kComputed && !is_flag))
      return true;
  }
  return false;
}

}  // namespace vmr::tool
