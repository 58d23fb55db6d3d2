// Round numbers and round times for the axes of a plot.
#ifndef VMR_TOOLS_REPORT_PLOT_AXIS_H_
#define VMR_TOOLS_REPORT_PLOT_AXIS_H_

#include <cstdint>
#include <string>
#include <vector>

#include "tools/report/case_file.h"

namespace vmr::tool {

// Half-open: what lies at `to` is no part of it.
struct AxisSpan {
  AxisX from = 0;
  AxisX to = 0;
  AxisX Length() const { return to - from; }
};

// From `low` to `high`, both multiples of `step`, which is 1, 2 or 5 times a power of 10.
struct ValueScale {
  std::int64_t low = 0;
  std::int64_t high = 1;
  std::int64_t step = 1;
};
// Holds both values in at most `most_steps` steps, or in those that the numbers at its ends add.
// Readings have at most 32 bits: nothing overflows.
ValueScale ScaleFor(std::int64_t least, std::int64_t most, int most_steps);

struct AxisMark {
  AxisX x = 0;
  std::string label;
  std::string date;  // below the first label, and where a day begins; else empty
};
// At round local times of the zone in use, at most `most` of them.
std::vector<AxisMark> TimeMarks(std::int64_t axis_us, const AxisSpan& shown, int most);
// At round numbers; x has the number x + `shift`.
std::vector<AxisMark> NumberMarks(AxisX shift, const AxisSpan& shown, int most);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_REPORT_PLOT_AXIS_H_
