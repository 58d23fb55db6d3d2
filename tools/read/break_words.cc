#include "tools/read/break_words.h"

#include <fmt/format.h>

#include <string_view>

#include "store/stream_format.h"
#include "tools/common/ticks.h"
#include "tools/common/time_point.h"
#include "tools/read/phrase.h"

namespace vmr::tool {
namespace {

using records::ClockStep;
using records::Gap;
using records::GapReason;
using records::Time;
using records::TimeQuality;

constexpr const char* kNoTime = "--:--:--";

std::string TickText(unsigned int tick) {
  return tick == kNoTick ? "an unknown tick" : fmt::format("{}", tick);
}

// What is missing, in words.
std::string WhatIsMissing(const Gap& gap) {
  const auto bytes = [&gap](std::string_view what) {
    return gap.bytes == 0 ? std::string(what)
                          : fmt::format("{} ({})", what,
                                        Counted(static_cast<std::uint64_t>(gap.bytes), "byte"));
  };
  const auto clusters = [&gap](std::string_view what) {
    return gap.clusters == 0
               ? std::string(what)
               : fmt::format("{} {}", Counted(static_cast<std::uint64_t>(gap.clusters), "cluster"),
                             what);
  };
  switch (gap.reason) {
    case GapReason::kOverwritten:
      return "what came before was overwritten by newer packets";
    case GapReason::kLostClusters:
      return clusters("lost");
    case GapReason::kOvertaken:
      return clusters("written over while being read");
    case GapReason::kWrongCrc:
      return bytes("a damaged packet, its CRC is wrong");
    case GapReason::kNoPackets:
      return bytes("damage where packets should be");
    case GapReason::kUnknownItems:
      return bytes("the rest of a packet, of an unknown kind");
    case GapReason::kCutShort:
      return bytes("the file ends within a packet");
    default:
      return "something was lost before this was copied out";
  }
}

// "tick 2110 to 2510, 16:51:31 to 16:54:51, 3 min 20 s"
std::string ExtentText(const Gap& gap) {
  if (gap.from_tick == kNoTick && gap.to_tick == kNoTick) return "at unknown ticks";
  if (gap.from_tick == kNoTick) return "before tick " + TickText(gap.to_tick);
  if (gap.to_tick == kNoTick) return "behind tick " + TickText(gap.from_tick);
  std::string text = fmt::format("tick {} to {}", gap.from_tick, gap.to_tick);
  if (gap.from.quality != TimeQuality::kUnknown && gap.to.quality != TimeQuality::kUnknown)
    text += fmt::format(", {} to {}", ClockText(gap.from), ClockText(gap.to));
  const std::int64_t ticks = std::int64_t{gap.to_tick} - gap.from_tick;
  return text + ", " + DurationText(ticks * kMicrosecondsPerTick);
}

}  // namespace

std::string ClockText(const Time& time) {
  if (time.quality == TimeQuality::kUnknown) return kNoTime;
  const LocalTime local = LocalTimeOf(time.us);
  return fmt::format("{:02}:{:02}:{:02}", local.hour, local.minute, local.second);
}

std::string GapWords(const Gap& gap) {
  if (gap.reason == GapReason::kOverwritten) return WhatIsMissing(gap);
  return fmt::format("gap: {}; {}", WhatIsMissing(gap), ExtentText(gap));
}

std::string ClockStepWords(const ClockStep& step) {
  const std::int64_t by_us = step.Microseconds();
  // Ticks go on where they were when a unit that was off starts again.
  const std::string what =
      by_us < 0
          ? "the unit's clock was set back by " + DurationText(by_us)
          : fmt::format("the unit was off, or its clock was set, {} forward", DurationText(by_us));
  return fmt::format(
      "{} at tick {}: {} {} and now {}", what, step.tick,
      step.over_gap ? "by what was told before the gap it would have been" : "it showed",
      LocalTimeText(step.expected_us), LocalTimeText(step.told_us));
}

std::string NewRunWords(unsigned int tick) {
  return fmt::format(
      "ticks begin anew at {}: what follows is another run of the unit, and how long it was off is "
      "unknown",
      tick);
}

}  // namespace vmr::tool
