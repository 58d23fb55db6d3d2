#include "tools/read/value_text.h"

#include <fmt/compile.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "tools/common/iso_time.h"

namespace vmr::tool {

namespace {

constexpr std::int64_t kMillisecond_us = 1000;
constexpr std::int64_t kDay_s = 24 * 60 * 60;

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

void AppendSecond(std::int64_t seconds, LineBuffer& line) {
  std::int64_t days = seconds / kDay_s;
  std::int64_t of_day = seconds % kDay_s;
  if (of_day < 0) of_day += kDay_s, --days;
  const Date date = DateOf(days);
  fmt::format_to(std::back_inserter(line), FMT_COMPILE("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}"),
                 date.year, date.month, date.day, of_day / 3600, of_day / 60 % 60, of_day % 60);
}

// The records of a tick, and of the next one, are of the same second.
struct SecondText {
  std::int64_t seconds = -1;
  LineBuffer text;
};

std::string_view TextOfSecond(std::int64_t seconds) {
  thread_local SecondText last;
  if (last.seconds != seconds || last.text.size() == 0) {
    last.text.clear();
    AppendSecond(seconds, last.text);
    last.seconds = seconds;
  }
  return {last.text.data(), last.text.size()};
}

unsigned char ByteOf(std::string_view text, std::size_t i) {
  return static_cast<unsigned char>(text[i]);
}

// How many bytes of UTF-8 the text begins with, of one character; 0 when it begins with
// none.
std::size_t Utf8Bytes(std::string_view text) {
  const unsigned char first = ByteOf(text, 0);
  if (first < 0x80) return 1;
  const std::size_t bytes = first >= 0xC2 && first < 0xE0   ? 2
                            : first >= 0xE0 && first < 0xF0 ? 3
                            : first >= 0xF0 && first < 0xF5 ? 4
                                                            : 0;
  if (bytes == 0 || text.size() < bytes) return 0;
  for (std::size_t i = 1; i < bytes; ++i)
    if ((ByteOf(text, i) & 0xC0) != 0x80) return 0;
  // Longer than need be, a surrogate, or past the last character.
  if (first == 0xE0 && ByteOf(text, 1) < 0xA0) return 0;
  if (first == 0xED && ByteOf(text, 1) > 0x9F) return 0;
  if (first == 0xF0 && ByteOf(text, 1) < 0x90) return 0;
  if (first == 0xF4 && ByteOf(text, 1) > 0x8F) return 0;
  return bytes;
}

char32_t CodeOf(std::string_view utf8) {
  constexpr unsigned char kHeadMask[] = {0, 0x7F, 0x1F, 0x0F, 0x07};
  char32_t code = ByteOf(utf8, 0) & kHeadMask[utf8.size()];
  for (std::size_t i = 1; i < utf8.size(); ++i) code = code << 6 | (ByteOf(utf8, i) & 0x3F);
  return code;
}

}  // namespace

void AppendUtc(std::int64_t time_us, LineBuffer& line) {
  constexpr std::int64_t kSecond_us = kMicrosecondsPerSecond;
  std::int64_t seconds = time_us / kSecond_us;
  std::int64_t us = time_us % kSecond_us;
  if (us < 0) us += kSecond_us, --seconds;
  Append(TextOfSecond(seconds), line);
  const auto ms = static_cast<unsigned int>(us / kMillisecond_us);
  const char fraction[] = {'.', static_cast<char>('0' + ms / 100),
                           static_cast<char>('0' + ms / 10 % 10), static_cast<char>('0' + ms % 10),
                           'Z'};
  line.append(std::begin(fraction), std::end(fraction));
}

void AppendDegrees(std::int64_t tts, LineBuffer& line) {
  constexpr std::int64_t kTTsPerDegree = 600000, kDigits = 10000000;
  const std::int64_t magnitude = std::llabs(tts);
  const std::int64_t fraction =
      (magnitude % kTTsPerDegree * kDigits + kTTsPerDegree / 2) / kTTsPerDegree;
  if (tts < 0) line.push_back('-');
  AppendNumber(magnitude / kTTsPerDegree, line);
  // The digit in front keeps the zeros behind the point.
  const fmt::format_int digits(kDigits + fraction);
  line.push_back('.');
  line.append(digits.data() + 1, digits.data() + digits.size());
}

void AppendHex(std::string_view bytes, char between, LineBuffer& line) {
  constexpr char kDigits[] = "0123456789abcdef";
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (i > 0 && between != 0) line.push_back(between);
    line.push_back(kDigits[ByteOf(bytes, i) >> 4]);
    line.push_back(kDigits[ByteOf(bytes, i) & 15]);
  }
}

void AppendAddress(std::int64_t address, LineBuffer& line) {
  fmt::format_to(std::back_inserter(line), FMT_COMPILE("{}.{}.{}.{}"), address >> 24 & 0xFF,
                 address >> 16 & 0xFF, address >> 8 & 0xFF, address & 0xFF);
}

Character FirstCharacter(std::string_view text) {
  const std::size_t bytes = Utf8Bytes(text);
  if (bytes == 0) return {text.substr(0, 1), ByteOf(text, 0), false};
  return {text.substr(0, bytes), CodeOf(text.substr(0, bytes)), true};
}

bool IsHidden(char32_t code) {
  struct Range {
    char32_t first, last;
  };
  // Controls, ends of lines, what turns text around, what is not seen, no characters.
  static constexpr Range kHidden[] = {
      {0x00, 0x1F},     {0x7F, 0x9F},       {0xAD, 0xAD},       {0x61C, 0x61C},   {0x180E, 0x180E},
      {0x200B, 0x200F}, {0x2028, 0x202E},   {0x2060, 0x206F},   {0xFEFF, 0xFEFF}, {0xFFF9, 0xFFFB},
      {0xFFFE, 0xFFFF}, {0x1D173, 0x1D17A}, {0xE0000, 0xE0FFF},
  };
  if (code >= 0x20 && code < 0x7F) return false;
  return std::any_of(std::begin(kHidden), std::end(kHidden), [code](const Range& range) {
    return code >= range.first && code <= range.last;
  });
}

// Beyond 16 bits as JSON has it, by two.
void AppendHidden(char32_t code, LineBuffer& line) {
  const auto append = [&line](char32_t unit) {
    fmt::format_to(std::back_inserter(line), FMT_COMPILE("\\u{:04x}"),
                   static_cast<std::uint32_t>(unit));
  };
  if (code < 0x10000) return append(code);
  append(0xD800 + ((code - 0x10000) >> 10));
  append(0xDC00 + (code & 0x3FF));
}

void AppendUtf8(const Character& character, LineBuffer& line) {
  if (character.is_utf8) return Append(character.bytes, line);
  line.push_back(static_cast<char>(0xC0 | character.code >> 6));
  line.push_back(static_cast<char>(0x80 | (character.code & 0x3F)));
}

std::string VisibleText(std::string_view text) {
  LineBuffer visible;
  while (!text.empty()) {
    const Character character = FirstCharacter(text);
    if (IsHidden(character.code))
      AppendHidden(character.code, visible);
    else
      AppendUtf8(character, visible);
    text.remove_prefix(character.bytes.size());
  }
  return fmt::to_string(visible);
}

void AppendXml(std::string_view text, LineBuffer& line) {
  for (const char c : VisibleText(text)) {
    if (c == '&')
      Append("&amp;", line);
    else if (c == '<')
      Append("&lt;", line);
    else if (c == '>')
      Append("&gt;", line);
    else
      line.push_back(c);
  }
}

}  // namespace vmr::tool
