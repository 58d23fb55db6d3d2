// Fewer points where there are more than anybody can see.
#ifndef VMR_TOOLS_REPORT_THINNING_H_
#define VMR_TOOLS_REPORT_THINNING_H_

#include <cstddef>
#include <vector>

#include "tools/report/case_file.h"

namespace vmr::tool {

// A line of more points is thinned to about as many.
inline constexpr std::size_t kMostPoints = 500000;

// Of neighbouring points the one that makes the largest triangle with those before and behind
// stays. What becomes unknown, is of a wrong CRC, or begins a piece, stays in any case. False:
// nothing was left out.
bool ThinLine(Line& line, std::size_t most = kMostPoints);
bool ThinWay(std::vector<WayPoint>& way, std::size_t most = kMostPoints);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_REPORT_THINNING_H_
