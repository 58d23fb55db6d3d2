#include "tools/lake/row_files.h"

#include <fcntl.h>
#include <fmt/format.h>

#include "backends/file_io.h"
#include "tools/common/console.h"
#include "tools/lake/names.h"
#include "tools/read/columns.h"
#include "tools/read/json_line.h"
#include "tools/read/row_cells.h"

namespace vmr::tool {
namespace {

using records::FieldType;
using records::TimeQuality;

constexpr std::size_t kMostHeld = 8 * 1024 * 1024;

std::string AddTo(const std::string& path, std::string_view text, int flag) {
  constexpr mode_t kOwnersOnly = 0600;
  const int fd = OpenFile(path, O_WRONLY | O_CREAT | flag, kOwnersOnly);
  bool written = fd >= 0 && WriteWhole(fd, text.data(), text.size());
  int error = errno;
  if (fd >= 0 && CloseFile(fd) != 0 && written) {
    error = errno;
    written = false;
  }
  if (written) return {};
  std::string why = fmt::format("{}: {}", path, TextOfErrno(error));
  Say(why);
  return why;
}

}  // namespace

// ---- Cells -----------------------------------------------------------------------

void TypedRow::Text(std::string_view text) {
  Null();
  line_.push_back('"');
  for (const char c : text) {
    if (c == '"') line_.push_back('"');
    line_.push_back(c);
  }
  line_.push_back('"');
}

void TypedRow::Flag(bool flag) {
  Null();
  Append(flag ? "true" : "false", line_);
}

void TypedRow::Time(const records::Time& time) {
  time.quality == TimeQuality::kUnknown ? Null() : Number(time.us);
}

void TypedRow::Place(const records::Place& place) {
  if (place.cluster >= 0) {
    Number(place.file);
    Number(place.cluster);
  } else {
    Null();
    Null();
  }
  Number(place.offset);
}

void TypedRow::Value(const records::Value& value) {
  if (value.field->type == FieldType::kReading) return Reading(value);
  if (value.present) return Present(value);
  Null();
  const bool is_degrees =
      value.field->type == FieldType::kLatitude || value.field->type == FieldType::kLongitude;
  if (SecondColumn(value.field->type) != nullptr || is_degrees) Null();
}

void TypedRow::Reading(const records::Value& value) {
  const bool is_word = value.present && value.word != nullptr;
  value.present && !is_word ? Number(value.number) : Null();
  is_word ? Text(value.word) : Null();
}

void TypedRow::Present(const records::Value& value) {
  LineBuffer text;
  switch (value.field->type) {
    case FieldType::kFlag:
      return Flag(value.number != 0);
    case FieldType::kWord:
      if (value.word != nullptr) return Text(value.word);
      return Text(fmt::format_int(value.number).c_str());
    case FieldType::kText:
      return Recorded(value.text);
    case FieldType::kMac:
      AppendHex(value.text, ':', text);
      return Text({text.data(), text.size()});
    case FieldType::kAddress:
      AppendAddress(value.number, text);
      return Text({text.data(), text.size()});
    case FieldType::kTime:
      return Number(value.number * records::kSecond_us);
    case FieldType::kLatitude:
    case FieldType::kLongitude:
      return Degrees(value.number);
    default:
      return Number(value.number);
  }
}

void TypedRow::Recorded(std::string_view text) {
  const std::string shown = VisibleText(text);
  Text(shown);
  if (shown == text) return Null();
  LineBuffer bytes;
  AppendHex(text, 0, bytes);
  Text({bytes.data(), bytes.size()});
}

void TypedRow::Degrees(std::int64_t tts) {
  Null();
  AppendDegrees(tts, line_);
  Number(tts);
}

// ---- Rows ------------------------------------------------------------------------

void RowFiles::OnRecord(const records::Record& record) {
  TypedRow row(line_);
  PutCells(record, row);
  const bool has_time = record.time.quality != TimeQuality::kUnknown;
  Put(record.kind->name, has_time ? DayOf(record.time.us) : kNoDay);
}

void RowFiles::OnGap(const records::Gap& gap) {
  TypedRow row(line_);
  PutCells(gap, row);
  Put(kGapsTable, kNoDay);
}

void RowFiles::OnClockStep(const records::ClockStep& step) {
  TypedRow row(line_);
  PutCells(step, row);
  Put(kClockStepKind, DayOf(step.told_us));
}

// ---- Files -----------------------------------------------------------------------

void RowFiles::Put(const std::string& table, std::int64_t day) {
  Rows& rows = files_[{table, day}];
  if (rows.file.empty()) rows.file = fmt::format("{}.rows", files_.size());
  ++rows.count;
  rows.held.append(line_.data(), line_.size());
  held_bytes_ += line_.size();
  if (held_bytes_ >= kMostHeld) Flush();
}

bool RowFiles::Flush() {
  for (auto& [key, rows] : files_)
    if (!rows.held.empty() && error_.empty()) error_ = Write(rows);
  held_bytes_ = 0;
  return error_.empty();
}

std::string RowFiles::Write(Rows& rows) {
  std::string error = AddTo(folder_ + "/" + rows.file, rows.held, O_APPEND);
  std::string().swap(rows.held);
  return error;
}

std::string WriteRows(const std::string& path, std::string_view text) {
  return AddTo(path, text, O_TRUNC);
}

}  // namespace vmr::tool
