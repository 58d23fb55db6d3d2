#include "reader/date_text.h"

#include <cstdio>
#include <limits>

#include "host/wall_clock.h"

namespace vmr {
namespace {

constexpr int kSecondsPerMinute = 60;
constexpr int kSecondsPerHour = 60 * kSecondsPerMinute;

// Whether the local time of `second` is in the same hour of the same day as `local`, at
// these minutes and seconds. False beyond the 32 bits that a unit's clock counts.
bool IsInHour(std::int64_t second, const std::tm& local, int minute_and_second) {
  using Limits = std::numeric_limits<std::int32_t>;
  if (second < Limits::min() || second > Limits::max()) return false;
  std::tm there{};
  return LocalTime(static_cast<std::time_t>(second), &there) && there.tm_year == local.tm_year &&
         there.tm_yday == local.tm_yday && there.tm_hour == local.tm_hour &&
         there.tm_min * kSecondsPerMinute + there.tm_sec == minute_and_second;
}

void PutTwoDigits(char* at, int value) {
  at[0] = static_cast<char>('0' + value / 10);
  at[1] = static_cast<char>('0' + value % 10);
}

}  // namespace

std::string_view DateText::Of(std::int32_t second) {
  if (second < first_ || second > last_) Learn(second);
  if (!has_text_) return {};
  if (last_ > first_) {
    constexpr std::size_t kMinutesFromEnd = 5;  // "50:07"
    const auto of_hour = static_cast<int>(second - first_);
    char* const minutes = text_ + length_ - kMinutesFromEnd;
    PutTwoDigits(minutes, of_hour / kSecondsPerMinute);
    PutTwoDigits(minutes + 3, of_hour % kSecondsPerMinute);
  }
  return {text_, length_};
}

// Where both ends of the hour are where they belong, no clock was changed within it.
void DateText::Learn(std::int32_t second) {
  std::tm local{};
  first_ = second;
  last_ = second;
  has_text_ = LocalTime(second, &local);
  if (!has_text_) return;
  length_ = static_cast<std::size_t>(std::snprintf(
      text_, sizeof(text_), "%02d/%02d/%02d %02d:%02d:%02d", local.tm_mon + 1, local.tm_mday,
      local.tm_year + 1900, local.tm_hour, local.tm_min, local.tm_sec));
  if (local.tm_sec >= kSecondsPerMinute) return;  // a leap second, which no hour counts
  const int of_hour = local.tm_min * kSecondsPerMinute + local.tm_sec;
  const std::int64_t hour = static_cast<std::int64_t>(second) - of_hour;
  if (!IsInHour(hour, local, 0) ||
      !IsInHour(hour + kSecondsPerHour - 1, local, kSecondsPerHour - 1))
    return;
  first_ = hour;
  last_ = hour + kSecondsPerHour - 1;
}

}  // namespace vmr
