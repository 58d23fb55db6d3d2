#include "tools/read/csv_table.h"

#include <utility>

#include "tools/read/columns.h"
#include "tools/read/json_line.h"
#include "tools/read/row_cells.h"

namespace vmr::tool {
namespace {

using records::FieldType;
using records::kSecond_us;
using records::Record;
using records::TimeQuality;
using records::Value;

// ---- Cells -----------------------------------------------------------------------

// What begins so is a formula to a spreadsheet.
bool LooksLikeFormula(std::string_view text) {
  return !text.empty() && std::string_view("=+-@\t\r\n").find(text[0]) != std::string_view::npos;
}

std::string ShownText(std::string_view text) {
  return (LooksLikeFormula(text) ? "'" : "") + VisibleText(text);
}

void AppendQuoted(std::string_view text, LineBuffer& line) {
  if (text.find_first_of(",\"") == std::string_view::npos) return Append(text, line);
  line.push_back('"');
  for (const char c : text) {
    if (c == '"') line.push_back('"');
    line.push_back(c);
  }
  line.push_back('"');
}

class Row {
 public:
  Row(std::string_view recording, LineBuffer& line) : line_(line) {
    if (!recording.empty()) Text(ShownText(recording));
  }

  void Empty() { Next(); }
  void Text(std::string_view text) {
    Next();
    AppendQuoted(text, line_);
  }
  void Plain(std::string_view text) {
    Next();
    Append(text, line_);
  }
  void TextOrNull(std::string_view text) { Text(text); }
  void Flag(bool flag) { Plain(flag ? "true" : "false"); }
  void Value(const records::Value& value);
  template <typename Integer>
  void Number(Integer number) {
    Next();
    AppendNumber(number, line_);
  }
  void Tick(unsigned int tick) { tick == kNoTick ? Empty() : Number(tick); }
  void Utc(std::int64_t us) {
    Next();
    AppendUtc(us, line_);
  }
  void Time(const records::Time& time) {
    time.quality == TimeQuality::kUnknown ? Empty() : Utc(time.us);
  }
  void Hex(std::string_view bytes, char between) {
    Next();
    AppendHex(bytes, between, line_);
  }
  void Degrees(std::int64_t tts) {
    Next();
    AppendDegrees(tts, line_);
  }
  void Address(std::int64_t address) {
    Next();
    AppendAddress(address, line_);
  }
  void Recorded(std::string_view text) {
    const std::string shown = ShownText(text);
    Text(shown);
    shown == text ? Empty() : Hex(text, 0);
  }
  void Place(const records::Place& place) {
    if (place.cluster >= 0) {
      Number(place.file);
      Number(place.cluster);
    } else {
      Empty();
      Empty();
    }
    Number(place.offset);
  }
  void End() { Append("\r\n", line_); }

 private:
  void Next() {
    if (has_cells_) line_.push_back(',');
    has_cells_ = true;
  }

  LineBuffer& line_;
  bool has_cells_ = false;
};

void AddReading(const Value& value, Row& row) {
  if (value.present && value.word == nullptr)
    row.Number(value.number);
  else
    row.Empty();
  row.Plain(value.present && value.word != nullptr ? value.word : "");
}

void AddPresent(const Value& value, Row& row) {
  switch (value.field->type) {
    case FieldType::kFlag:
      return row.Plain(value.number != 0 ? "true" : "false");
    case FieldType::kWord:
      return value.word != nullptr ? row.Text(value.word) : row.Number(value.number);
    case FieldType::kText:
      return row.Recorded(value.text);
    case FieldType::kMac:
      return row.Hex(value.text, ':');
    case FieldType::kAddress:
      return row.Address(value.number);
    case FieldType::kTime:
      return row.Utc(value.number * kSecond_us);
    case FieldType::kLatitude:
    case FieldType::kLongitude:
      return row.Degrees(value.number);
    default:
      return row.Number(value.number);
  }
}

void AddValue(const Value& value, Row& row) {
  if (value.field->type == FieldType::kReading) return AddReading(value, row);
  if (value.present) return AddPresent(value, row);
  row.Empty();
  if (SecondColumn(value.field->type) != nullptr) row.Empty();
}

void Row::Value(const records::Value& value) { AddValue(value, *this); }

}  // namespace

std::vector<std::string> CsvTables() {
  std::vector<std::string> tables;
  for (const records::KindRow& kind : records::Kinds()) tables.emplace_back(kind.name);
  tables.emplace_back(kGapKind);
  tables.emplace_back(kClockStepKind);
  return tables;
}

std::vector<std::string> CsvColumns(std::string_view table) {
  std::vector<std::string> names;
  for (Column& column : ExportColumns(table)) names.push_back(std::move(column.name));
  return names;
}

void AppendCsvHeader(std::string_view table, bool has_recording, LineBuffer& line) {
  if (has_recording) Append("recording,", line);
  const std::vector<std::string> columns = CsvColumns(table);
  for (std::size_t i = 0; i < columns.size(); ++i) {
    if (i > 0) line.push_back(',');
    Append(columns[i], line);
  }
  Append("\r\n", line);
}

void AppendCsvRow(const Record& record, std::string_view recording, LineBuffer& line) {
  Row row(recording, line);
  PutCells(record, row);
}

void AppendCsvRow(const records::Gap& gap, std::string_view recording, LineBuffer& line) {
  Row row(recording, line);
  PutCells(gap, row);
}

void AppendCsvRow(const records::ClockStep& step, std::string_view recording, LineBuffer& line) {
  Row row(recording, line);
  PutCells(step, row);
}

}  // namespace vmr::tool
