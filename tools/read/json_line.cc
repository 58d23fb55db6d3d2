#include "tools/read/json_line.h"

#include <fmt/compile.h>

#include <algorithm>
#include <cstdlib>
#include <iterator>

namespace vmr::tool {
namespace {

using records::FieldType;
using records::Record;
using records::TimeQuality;
using records::Value;

constexpr std::int64_t kMillisecond_us = 1000;
constexpr std::int64_t kSecond_us = 1000 * kMillisecond_us;
constexpr std::int64_t kDay_s = 24 * 60 * 60;

void Append(std::string_view text, LineBuffer& line) {
  line.append(text.data(), text.data() + text.size());
}

template <typename Number>
void AppendNumber(Number number, LineBuffer& line) {
  fmt::format_to(std::back_inserter(line), FMT_COMPILE("{}"), number);
}

void AppendName(std::string_view name, LineBuffer& line) {
  Append(",\"", line);
  Append(name, line);
  Append("\":", line);
}

// The date of a day counted from 1970-01-01, in the Gregorian calendar. The year is counted
// from March, so that the day to insert is its last one; an era has 400 years.
struct Date {
  std::int64_t year;
  unsigned int month, day;
};
Date DateOf(std::int64_t days) {
  constexpr std::int64_t kEraDays = 146097;
  constexpr std::int64_t kFromYear0March = 719468;
  days += kFromYear0March;
  const std::int64_t era = (days >= 0 ? days : days - kEraDays + 1) / kEraDays;
  const auto day_of_era = static_cast<unsigned int>(days - era * kEraDays);
  const unsigned int year_of_era =
      (day_of_era - day_of_era / 1460 + day_of_era / 36524 - day_of_era / 146096) / 365;
  const unsigned int day_of_year =
      day_of_era - (365 * year_of_era + year_of_era / 4 - year_of_era / 100);
  const unsigned int month_from_march = (5 * day_of_year + 2) / 153;
  const unsigned int month = month_from_march < 10 ? month_from_march + 3 : month_from_march - 9;
  const unsigned int day = day_of_year - (153 * month_from_march + 2) / 5 + 1;
  return {era * 400 + year_of_era + (month <= 2 ? 1 : 0), month, day};
}

bool NeedsEscape(unsigned char byte) {
  return byte < 0x20 || byte == '"' || byte == '\\' || byte == 0x7F;
}

void AppendEscaped(unsigned char byte, LineBuffer& line) {
  if (byte == '"' || byte == '\\') {
    line.push_back('\\');
    line.push_back(static_cast<char>(byte));
  } else {
    fmt::format_to(std::back_inserter(line), FMT_COMPILE("\\u{:04x}"), byte);
  }
}

void AppendHex(std::string_view bytes, char between, LineBuffer& line) {
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (i > 0 && between != 0) line.push_back(between);
    fmt::format_to(std::back_inserter(line), FMT_COMPILE("{:02x}"),
                   static_cast<unsigned char>(bytes[i]));
  }
}

// Seven digits are an inch; a whole degree has 600,000 TTs.
void AppendDegrees(std::int64_t tts, LineBuffer& line) {
  constexpr std::int64_t kTTsPerDegree = 600000, kDigits = 10000000;
  const std::int64_t magnitude = std::llabs(tts);
  const std::int64_t fraction =
      (magnitude % kTTsPerDegree * kDigits + kTTsPerDegree / 2) / kTTsPerDegree;
  fmt::format_to(std::back_inserter(line), FMT_COMPILE("{}{}.{:07}"), tts < 0 ? "-" : "",
                 magnitude / kTTsPerDegree, fraction);
}

void AppendAddress(std::int64_t address, LineBuffer& line) {
  fmt::format_to(std::back_inserter(line), FMT_COMPILE("\"{}.{}.{}.{}\""), address >> 24 & 0xFF,
                 address >> 16 & 0xFF, address >> 8 & 0xFF, address & 0xFF);
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
      return AppendAddress(value.number, line);
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
    const std::size_t bytes = Utf8Bytes(text);
    const auto first = static_cast<unsigned char>(text[0]);
    if (bytes == 0) {
      is_utf8 = false;
      fmt::format_to(std::back_inserter(line), FMT_COMPILE("\\u{:04x}"), first);
    } else if (bytes == 1 && NeedsEscape(first)) {
      AppendEscaped(first, line);
    } else {
      Append(text.substr(0, bytes), line);
    }
    text.remove_prefix(std::max<std::size_t>(bytes, 1));
  }
  line.push_back('"');
  return !is_utf8;
}

void AppendUtc(std::int64_t time_us, LineBuffer& line) {
  std::int64_t seconds = time_us / kSecond_us;
  std::int64_t us = time_us % kSecond_us;
  if (us < 0) us += kSecond_us, --seconds;
  std::int64_t days = seconds / kDay_s;
  std::int64_t of_day = seconds % kDay_s;
  if (of_day < 0) of_day += kDay_s, --days;
  const Date date = DateOf(days);
  fmt::format_to(std::back_inserter(line),
                 FMT_COMPILE("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}.{:03}Z"), date.year, date.month,
                 date.day, of_day / 3600, of_day / 60 % 60, of_day % 60, us / kMillisecond_us);
}

void AppendJsonLine(const Record& record, LineBuffer& line) {
  Append("{\"kind\":\"", line);
  Append(record.kind->name, line);
  Append("\",\"tick\":", line);
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

void AppendJsonLine(const records::Gap& gap, LineBuffer& line) {
  Append("{\"kind\":\"gap\",\"reason\":\"", line);
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

void AppendJsonLine(const records::ClockStep& step, LineBuffer& line) {
  Append("{\"kind\":\"clock_step\",\"tick\":", line);
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
