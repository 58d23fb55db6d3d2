// Where recordings lie on the axis of a case.
#ifndef VMR_TOOLS_REPORT_CASE_AXIS_H_
#define VMR_TOOLS_REPORT_CASE_AXIS_H_

#include <vector>

#include "tools/report/axis_layout.h"
#include "tools/report/case_file.h"

namespace vmr::tool {

// Moves everything in a recording to where its stretches belong. Where that takes two apart that
// their ticks join, what was in force is unknown between them, and told anew behind.
void LayOut(const AxisLayout& layout, CaseRecording& recording);

// Gives recordings one axis: where their clocks tell the time, x is the same UTC in each. One
// that tells no time begins where the axis does. Their names become short ones, of which no
// two are the same.
CaseFile PutOnOneAxis(std::vector<CaseRecording> recordings);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_REPORT_CASE_AXIS_H_
