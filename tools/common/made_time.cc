#include "tools/common/made_time.h"

#include <fmt/format.h>

#include <cstdlib>

#include "tools/common/console.h"
#include "tools/common/iso_time.h"
#include "tools/common/numbers.h"
#include "tools/common/time_point.h"

namespace vmr::tool {
namespace {

constexpr const char* kVariable = "SOURCE_DATE_EPOCH";

}  // namespace

bool MadeTimeIsGiven() {
  const char* const epoch = std::getenv(kVariable);
  return epoch != nullptr && *epoch != '\0';
}

std::optional<std::int64_t> MadeTime_us() {
  if (!MadeTimeIsGiven()) return Now_us();
  const char* const epoch = std::getenv(kVariable);
  const auto seconds = ParseNumber(epoch, 0xFFFFFFFF);
  if (seconds) return std::int64_t{*seconds} * kMicrosecondsPerSecond;
  Say(fmt::format("{} {}: no number of seconds since 1970", kVariable, Printable(epoch)));
  return std::nullopt;
}

}  // namespace vmr::tool
