// Times as people and recordings write them: a text, and behind a NUL the readings
// of a recording's clock, eight bytes each.
#include <string>

#include "fuzz/fuzz_setup.h"
#include "fuzz/input_bytes.h"
#include "tools/common/iso_time.h"
#include "tools/common/ticks.h"
#include "tools/common/time_point.h"
#include "tools/record/gpsd_client.h"
#include "tools/ring/recorded_clock.h"

namespace {

using vmr::fuzz::InputBytes;
using vmr::fuzz::Require;
using namespace vmr::tool;  // what is tested

std::string TakeText(InputBytes& input) {
  std::string text;
  while (!input.AtEnd()) {
    const char c = static_cast<char>(input.Byte());
    if (c == '\0') break;
    text += c;
  }
  return text;
}

// As any reading may follow any other, only that a time is told.
void Ask(const RecordedClock& clock, std::int64_t time_us) {
  Require(clock.FirstTickFrom(time_us) <= kLastTick, "a time is a tick that can be recorded");
  Require(clock.LastTickUpTo(time_us) <= kLastTick, "a time is a tick that can be recorded");
}

void Ask(const RecordedClock& clock, const TimePoint& point) {
  if (!point.tick) return Ask(clock, point.us);
  const auto time_us = clock.TimeAt(*point.tick);
  Require(time_us.has_value() == !clock.Empty(), "a tick has a time once there is one");
  if (time_us) Require(!LocalTimeText(*time_us).empty(), "a time can be shown");
}

// What was typed is a place, or it is said what to type instead.
void Ask(const RecordedClock& clock, const TypedTime& typed) {
  for (const DayEnd end : {DayEnd::kFirst, DayEnd::kLast}) {
    std::string error;
    const auto point = PointOf(typed, end, error);
    Require(point.has_value() == error.empty(), "a time is a place, or says why it is none");
    if (point) Ask(clock, *point);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  vmr::fuzz::StartInput(data, size);
  InputBytes input(data, size);
  const std::string text = TakeText(input);
  RecordedClock clock;
  while (!input.AtEnd()) {
    const std::uint32_t tick = input.Le32();
    clock.Add(tick, static_cast<std::int32_t>(input.Le32()));
  }
  constexpr std::int64_t kNow_us = 1700000000000000;
  const auto typed = ParseTime(text, kNow_us);
  for (const char* const zone : {"UTC", "America/Chicago", "Australia/Lord_Howe"})
    if (typed && UseTimeZone(zone)) Ask(clock, *typed);
  static_cast<void>(ParseIsoTime(text));
  static_cast<void>(ParseCivilTime(text));
  static_cast<void>(ParseGpsdAddress(text));
  return 0;
}
