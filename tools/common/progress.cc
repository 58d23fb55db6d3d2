#include "tools/common/progress.h"

#include <utility>

#include "tools/common/console.h"

namespace vmr::tool {
namespace {

constexpr unsigned long kStepsBetweenLooks = 64;  // at the clock, which costs more than a step
constexpr auto kDrawInterval = std::chrono::milliseconds(100);

}  // namespace

ProgressLine::ProgressLine(Text text) : text_(std::move(text)), shown_(ShowsTransient()) {}

ProgressLine::~ProgressLine() { ShowTransient(""); }

void ProgressLine::Step() {
  if (!shown_ || ++steps_ % kStepsBetweenLooks != 0) return;
  const auto now = std::chrono::steady_clock::now();
  if (now < next_draw_) return;
  next_draw_ = now + kDrawInterval;
  ShowTransient(text_(steps_));
}

}  // namespace vmr::tool
