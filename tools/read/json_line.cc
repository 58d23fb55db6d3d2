#include "tools/read/json_line.h"

namespace vmr::tool {
namespace {

using records::FieldType;
using records::kSecond_us;
using records::Record;
using records::TimeQuality;
using records::Value;

constexpr std::int64_t kMillisecond_us = 1000;

void AppendName(std::string_view name, LineBuffer& line) {
  Append(",\"", line);
  Append(name, line);
  Append("\":", line);
}

void AppendQuoted(std::string_view plain, LineBuffer& line) {
  line.push_back('"');
  Append(plain, line);
  line.push_back('"');
}

// A recorded text, and its bytes where it is not what it seems.
void AppendRecordedText(const Value& value, LineBuffer& line) {
  if (!AppendJsonText(value.text, line)) return;
  Append(",\"", line);
  Append(value.field->name, line);
  Append("_bytes\":\"", line);
  AppendHex(value.text, 0, line);
  line.push_back('"');
}

void AppendReading(const Value& value, LineBuffer& line) {
  if (value.word == nullptr) return AppendNumber(value.number, line);
  Append("null,\"", line);
  Append(value.field->name, line);
  Append("_status\":\"", line);
  Append(value.word, line);
  line.push_back('"');
}

void AppendValue(const Value& value, LineBuffer& line) {
  if (!value.present) return Append("null", line);
  switch (value.field->type) {
    case FieldType::kFlag:
      return Append(value.number != 0 ? "true" : "false", line);
    case FieldType::kWord:
      if (value.word == nullptr) return AppendNumber(value.number, line);
      return AppendQuoted(value.word, line);
    case FieldType::kReading:
      return AppendReading(value, line);
    case FieldType::kText:
      return AppendRecordedText(value, line);
    case FieldType::kMac:
      line.push_back('"');
      AppendHex(value.text, ':', line);
      return line.push_back('"');
    case FieldType::kAddress:
      line.push_back('"');
      AppendAddress(value.number, line);
      return line.push_back('"');
    case FieldType::kTime:
      line.push_back('"');
      AppendUtc(value.number * kSecond_us, line);
      return line.push_back('"');
    case FieldType::kLatitude:
    case FieldType::kLongitude:
      return AppendDegrees(value.number, line);
    default:
      return AppendNumber(value.number, line);
  }
}

void AppendTick(unsigned int tick, LineBuffer& line) {
  if (tick == kNoTick) return Append("null", line);
  AppendNumber(tick, line);
}

void AppendTime(const records::Time& time, LineBuffer& line) {
  if (time.quality == TimeQuality::kUnknown) return Append("null", line);
  line.push_back('"');
  AppendUtc(time.us, line);
  line.push_back('"');
}

void AppendPlace(const records::Place& place, LineBuffer& line) {
  if (place.cluster >= 0) {
    AppendName("file", line);
    AppendNumber(place.file, line);
    AppendName("cluster", line);
    AppendNumber(place.cluster, line);
  }
  AppendName("offset", line);
  AppendNumber(place.offset, line);
}

void BeginLine(std::string_view kind, std::string_view recording, LineBuffer& line) {
  Append("{\"kind\":\"", line);
  Append(kind, line);
  line.push_back('"');
  if (recording.empty()) return;
  AppendName("recording", line);
  Append(recording, line);
}

void End(LineBuffer& line) { Append("}\n", line); }

}  // namespace

std::size_t Utf8Bytes(std::string_view text) {
  const auto byte = [text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char first = byte(0);
  if (first < 0x80) return 1;
  const std::size_t bytes = first >= 0xC2 && first < 0xE0   ? 2
                            : first >= 0xE0 && first < 0xF0 ? 3
                            : first >= 0xF0 && first < 0xF5 ? 4
                                                            : 0;
  if (bytes == 0 || text.size() < bytes) return 0;
  for (std::size_t i = 1; i < bytes; ++i)
    if ((byte(i) & 0xC0) != 0x80) return 0;
  // Longer than need be, a surrogate, or past the last character.
  if (first == 0xE0 && byte(1) < 0xA0) return 0;
  if (first == 0xED && byte(1) > 0x9F) return 0;
  if (first == 0xF0 && byte(1) < 0x90) return 0;
  if (first == 0xF4 && byte(1) > 0x8F) return 0;
  return bytes;
}

bool AppendJsonText(std::string_view text, LineBuffer& line) {
  bool is_utf8 = true;
  line.push_back('"');
  while (!text.empty()) {
    const Character character = FirstCharacter(text);
    is_utf8 &= character.is_utf8;
    if (IsHidden(character.code)) {
      AppendHidden(character.code, line);
    } else {
      if (character.code == '"' || character.code == '\\') line.push_back('\\');
      AppendUtf8(character, line);
    }
    text.remove_prefix(character.bytes.size());
  }
  line.push_back('"');
  return !is_utf8;
}

void AppendJsonLine(const Record& record, LineBuffer& line, std::string_view recording) {
  BeginLine(record.kind->name, recording, line);
  AppendName("tick", line);
  AppendTick(record.tick, line);
  AppendName("time", line);
  AppendTime(record.time, line);
  Append(",\"time_quality\":\"", line);
  Append(TextOf(record.time.quality), line);
  Append(record.repeats ? "\",\"repeats\":true" : "\",\"repeats\":false", line);
  for (std::size_t i = 0; i < record.kind->field_count; ++i) {
    const Value value = ValueOf(record, i);
    AppendName(value.field->name, line);
    AppendValue(value, line);
  }
  if (record.position.quality == records::PositionQuality::kUnverified)
    Append(",\"position\":\"unverified\"", line);
  if (!record.crc_right) Append(",\"packet_crc\":\"wrong\"", line);
  if (record.adjusted_by != 0) {
    AppendName("adjusted_by", line);
    AppendNumber(static_cast<unsigned int>(record.adjusted_by), line);
  }
  if (record.run != 0) {
    AppendName("run", line);
    AppendNumber(record.run, line);
  }
  AppendPlace(record.place, line);
  End(line);
}

void AppendJsonLine(const records::Gap& gap, LineBuffer& line, std::string_view recording) {
  BeginLine(kGapKind, recording, line);
  Append(",\"reason\":\"", line);
  Append(TextOf(gap.reason), line);
  Append("\",\"from_tick\":", line);
  AppendTick(gap.from_tick, line);
  AppendName("to_tick", line);
  AppendTick(gap.to_tick, line);
  AppendName("from_time", line);
  AppendTime(gap.from, line);
  AppendName("to_time", line);
  AppendTime(gap.to, line);
  AppendName("clusters", line);
  AppendNumber(gap.clusters, line);
  AppendName("bytes", line);
  AppendNumber(gap.bytes, line);
  AppendPlace(gap.place, line);
  End(line);
}

void AppendJsonLine(const records::ClockStep& step, LineBuffer& line, std::string_view recording) {
  BeginLine(kClockStepKind, recording, line);
  AppendName("tick", line);
  AppendTick(step.tick, line);
  Append(",\"expected\":\"", line);
  AppendUtc(step.expected_us, line);
  Append("\",\"told\":\"", line);
  AppendUtc(step.told_us, line);
  Append("\",\"step_ms\":", line);
  AppendNumber(step.Microseconds() / kMillisecond_us, line);
  AppendPlace(step.place, line);
  End(line);
}

}  // namespace vmr::tool
