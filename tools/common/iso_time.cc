#include "tools/common/iso_time.h"

namespace vmr::tool {
namespace {

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// Takes the text apart from the left; the first thing that does not fit fails
// it, and everything after that.
class Cursor {
 public:
  explicit Cursor(std::string_view text) : rest_(text) {}

  int Digits(int count) {
    int value = 0;
    for (; count > 0; --count) {
      if (rest_.empty() || !IsDigit(rest_.front())) return Fail();
      value = value * 10 + (rest_.front() - '0');
      rest_.remove_prefix(1);
    }
    return value;
  }
  int DigitsUpTo(int count, int highest) {
    const int value = Digits(count);
    return value <= highest ? value : Fail();
  }
  // One of `accepted`; the character found, NUL when there is none of them.
  char Accept(std::string_view accepted) {
    if (rest_.empty() || accepted.find(rest_.front()) == accepted.npos) return '\0';
    const char found = rest_.front();
    rest_.remove_prefix(1);
    return found;
  }
  char Need(std::string_view accepted) {
    const char found = Accept(accepted);
    if (found == '\0') Fail();
    return found;
  }
  bool AtDigit() const { return !rest_.empty() && IsDigit(rest_.front()); }
  bool ReadAll() const { return !failed_ && rest_.empty(); }
  int Fail() {
    failed_ = true;
    return 0;
  }

 private:
  std::string_view rest_;
  bool failed_ = false;
};

int DaysInMonth(int year, int month) {
  static constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
  return month == 2 && leap ? 29 : kDays[month - 1];
}

// Days since 1970-01-01. The year is counted from March, so that the leap day
// is its last.
std::int64_t DaysSinceEpoch(int year, int month, int day) {
  const int march_year = month <= 2 ? year - 1 : year;
  const int month_from_march = month <= 2 ? month + 9 : month - 3;
  const int day_of_year = (153 * month_from_march + 2) / 5 + day - 1;
  // Floored, not truncated, before year 0 of the March count.
  const int leap_days = march_year < 0 ? -1 : march_year / 4 - march_year / 100 + march_year / 400;
  constexpr std::int64_t kDaysToEpoch = 719468;
  return std::int64_t{365} * march_year + leap_days + day_of_year - kDaysToEpoch;
}

std::int64_t ReadDate(Cursor& cursor) {
  const int year = cursor.Digits(4);
  cursor.Need("-");
  const int month = cursor.DigitsUpTo(2, 12);
  cursor.Need("-");
  const int day = cursor.DigitsUpTo(2, 31);
  if (month < 1 || day < 1 || day > DaysInMonth(year, month)) return cursor.Fail();
  return DaysSinceEpoch(year, month, day);
}

std::int64_t ReadMinuteOfDay(Cursor& cursor) {
  const int hour = cursor.DigitsUpTo(2, 23);
  cursor.Need(":");
  return hour * 60 + cursor.DigitsUpTo(2, 59);
}

// Second 60 is a leap second; it counts as the second after it.
int ReadSecond(Cursor& cursor) { return cursor.DigitsUpTo(2, 60); }

std::int64_t ReadFraction_us(Cursor& cursor) {
  if (cursor.Accept(".,") == '\0') return 0;
  if (!cursor.AtDigit()) return cursor.Fail();
  std::int64_t fraction = 0;
  for (std::int64_t unit = kMicrosecondsPerSecond / 10; cursor.AtDigit(); unit /= 10)
    fraction += cursor.Digits(1) * unit;
  return fraction;
}

// Seconds that local time is ahead of UTC.
std::int64_t ReadZone(Cursor& cursor) {
  const char sign = cursor.Need("Zz+-");
  if (sign != '+' && sign != '-') return 0;
  const int hours = cursor.DigitsUpTo(2, 23);
  int minutes = 0;
  if (cursor.Accept(":") != '\0' || cursor.AtDigit()) minutes = cursor.DigitsUpTo(2, 59);
  const int ahead = (hours * 60 + minutes) * 60;
  return sign == '-' ? -ahead : ahead;
}

// Seconds since 1970 of what stands before the seconds, as if it were UTC.
std::int64_t ReadDateAndMinute(Cursor& cursor) {
  constexpr std::int64_t kSecondsPerDay = 86400;
  const std::int64_t days = ReadDate(cursor);
  cursor.Need("Tt ");
  return days * kSecondsPerDay + ReadMinuteOfDay(cursor) * 60;
}

}  // namespace

std::optional<std::int64_t> ParseIsoTime(std::string_view text) {
  Cursor cursor(text);
  std::int64_t seconds = ReadDateAndMinute(cursor);
  cursor.Need(":");
  seconds += ReadSecond(cursor);
  const std::int64_t fraction_us = ReadFraction_us(cursor);
  seconds -= ReadZone(cursor);
  if (!cursor.ReadAll()) return std::nullopt;
  return seconds * kMicrosecondsPerSecond + fraction_us;
}

std::optional<std::int64_t> ParseCivilTime(std::string_view text) {
  Cursor cursor(text);
  std::int64_t seconds = ReadDateAndMinute(cursor);
  std::int64_t fraction_us = 0;
  if (cursor.Accept(":") != '\0') {
    seconds += ReadSecond(cursor);
    fraction_us = ReadFraction_us(cursor);
  }
  if (!cursor.ReadAll()) return std::nullopt;
  return seconds * kMicrosecondsPerSecond + fraction_us;
}

}  // namespace vmr::tool
