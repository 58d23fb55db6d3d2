#include "tools/evidence/clock_statement.h"

#include <fmt/format.h>

#include <cstdlib>

namespace vmr::tool {
namespace {

// "1 d 02:03:04.5"
std::string SpanText(std::int64_t us) {
  constexpr std::int64_t kDay_s = 86400;
  const std::int64_t tenths = std::llabs(us) / 100000;
  const std::int64_t s = tenths / 10;
  const std::string days = s < kDay_s ? "" : fmt::format("{} d ", s / kDay_s);
  return fmt::format("{}{:02}:{:02}:{:02}.{}", days, s % kDay_s / 3600, s / 60 % 60, s % 60,
                     tenths % 10);
}

}  // namespace

void ClockStatement::Inner::OnRecord(const records::Record& record) {
  ++by_quality[static_cast<std::size_t>(record.time.quality)];
}

void ClockStatement::Newest::OnRecord(const records::Record& record) {
  if (record.time.quality == records::TimeQuality::kUnknown || !record.crc_right) return;
  last = record.time;
  last_tick = record.tick;
  if (latest.quality != records::TimeQuality::kUnknown && latest.us >= last.us) return;
  latest = last;
  latest_tick = last_tick;
}

std::string ClockStatement::StepLines(const char* what) const {
  std::string lines =
      fmt::format("How often the unit's clock was set: {} inside the range, {} in all of {}.\n",
                  inside_.steps.size(), all_.steps, what);
  for (const records::ClockStep& step : inside_.steps)
    lines +=
        fmt::format("  tick {}: from {} to {}, {} {}{}\n", step.tick,
                    LocalTimeText(step.expected_us), LocalTimeText(step.told_us),
                    SpanText(step.Microseconds()), step.Microseconds() < 0 ? "back" : "forward",
                    step.over_gap ? "; something is lost before it, so when is not known" : "");
  return lines;
}

std::string ClockStatement::OffsetLines(std::int64_t clock_us, bool is_given,
                                        const char* what) const {
  std::string lines = fmt::format("Time of packaging, {}: {}\n",
                                  is_given ? "as it was given and not read off a clock"
                                           : "by the clock of the machine that packaged",
                                  LocalTimeText(clock_us));
  if (all_.latest.quality == records::TimeQuality::kUnknown)
    return lines + fmt::format("There is no time in {} to compare it with.\n", what);
  const std::int64_t offset = all_.latest.us - clock_us;
  lines += fmt::format("Newest time in {}: {} (tick {}), {} {} it.\n", what,
                       LocalTimeText(all_.latest.us), all_.latest_tick, SpanText(offset),
                       offset > 0 ? "after" : "before");
  if (all_.last.us < all_.latest.us)
    lines += fmt::format("Its last time is earlier, as the clock was set back: {} (tick {}).\n",
                         LocalTimeText(all_.last.us), all_.last_tick);
  lines +=
      offset > 0
          ? "A recording cannot be newer than its packaging: one of the two clocks is wrong by "
            "at least that.\n"
          : "That is how far the unit's clock was off only if it recorded up to the packaging; "
            "else part of it is the time in between.\n";
  return lines;
}

std::string ClockStatement::Text(std::int64_t clock_us, bool is_given, const char* what) const {
  const auto count = [this](records::TimeQuality quality) {
    return inside_.by_quality[static_cast<std::size_t>(quality)];
  };
  using records::TimeQuality;
  std::string text = "Times are those that the unit's clock showed, good to about a second.\n";
  text += fmt::format(
      "Records in the range: {} with a time told, {} where the clock was just set, {} with a time "
      "reckoned backwards, {} without any.\n",
      count(TimeQuality::kExact), count(TimeQuality::kStepped), count(TimeQuality::kEstimated),
      count(TimeQuality::kUnknown));
  return text + StepLines(what) + OffsetLines(clock_us, is_given, what);
}

}  // namespace vmr::tool
