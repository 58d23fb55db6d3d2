// The ticks of a recording, half a second each, as numbers and as times.
#ifndef VMR_TOOLS_COMMON_TICKS_H_
#define VMR_TOOLS_COMMON_TICKS_H_

#include <cstdint>

#include "records/record.h"
#include "store/stream_format.h"
#include "tools/common/iso_time.h"

namespace vmr::tool {

// The last tick that can be recorded: the two above stand for a continuation
// packet and for no tick.
inline constexpr unsigned int kLastTick = kContinuationTick - 1;
inline constexpr std::int64_t kMicrosecondsPerTick = records::kTick_us;

// Rounded down, not towards 0. `by` is more than 0.
inline std::int64_t FloorDivide(std::int64_t value, std::int64_t by) {
  return value / by - (value % by < 0 ? 1 : 0);
}

}  // namespace vmr::tool

#endif  // VMR_TOOLS_COMMON_TICKS_H_
