// Reads recordings into the model of a case.
#ifndef VMR_TOOLS_REPORT_GATHER_H_
#define VMR_TOOLS_REPORT_GATHER_H_

#include "tools/read/reading.h"
#include "tools/report/case_file.h"

namespace vmr::tool {

// Decodes all of a recording and keeps what of it lies in the range asked for, and what is in
// force where that begins. `outcome` says, as for the other readers, whether all of it is there.
// Local times in words are of the zone in use. Its axis is its own until PutOnOneAxis.
CaseRecording GatherRecording(Reading& reading, ReadOutcome& outcome);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_REPORT_GATHER_H_
