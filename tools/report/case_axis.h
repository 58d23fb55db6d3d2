// Where recordings lie on the axis of a case.
#ifndef VMR_TOOLS_REPORT_CASE_AXIS_H_
#define VMR_TOOLS_REPORT_CASE_AXIS_H_

#include <vector>

#include "tools/report/case_file.h"
#include "tools/report/placement.h"

namespace vmr::tool {

// Moves everything in a recording to where its runs belong.
void LayOut(const RunLayout& layout, CaseRecording& recording);

// Gives recordings one axis: where their clocks tell the time, x is the same UTC in each. One
// that tells no time begins where the axis does. Their names become short ones, of which no
// two are the same.
CaseFile PutOnOneAxis(std::vector<CaseRecording> recordings);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_REPORT_CASE_AXIS_H_
