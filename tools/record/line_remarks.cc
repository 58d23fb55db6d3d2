#include "tools/record/line_remarks.h"

#include <fmt/format.h>

#include <algorithm>

#include "tools/common/console.h"

namespace vmr::tool {
namespace {

constexpr unsigned long kMostAMinute = 10;

// In the order of Kind.
constexpr const char* kWithheldTexts[] = {"could not be used", "were used in part",
                                          "jumped forward"};

}  // namespace

void LineRemarks::Tell(Kind kind, unsigned long line, const std::string& text,
                       Clock::time_point now) {
  if (now >= minute_end_) {
    Conclude();
    minute_end_ = now + std::chrono::minutes(1);
  }
  Tally& tally = tallies_[static_cast<std::size_t>(kind)];
  if (tally.told == kMostAMinute) {
    ++tally.withheld;
    return;
  }
  ++tally.told;
  Say(fmt::format("{}:{}: {}", input_, line, Printable(text)));
}

bool LineRemarks::Withholds() const {
  return std::any_of(tallies_.begin(), tallies_.end(),
                     [](const Tally& tally) { return tally.withheld > 0; });
}

void LineRemarks::Update(Clock::time_point now) {
  if (Withholds() && now >= minute_end_) Conclude();
}

void LineRemarks::Conclude() {
  for (std::size_t kind = 0; kind < kKinds; ++kind) {
    if (tallies_[kind].withheld > 0)
      Say(fmt::format("{}: {} more lines {}", input_, tallies_[kind].withheld,
                      kWithheldTexts[kind]));
    tallies_[kind] = Tally();
  }
}

}  // namespace vmr::tool
