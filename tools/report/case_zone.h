// The local times of a case.
#ifndef VMR_TOOLS_REPORT_CASE_ZONE_H_
#define VMR_TOOLS_REPORT_CASE_ZONE_H_

#include <string>

#include "tools/report/case_file.h"

namespace vmr::tool {

// The offsets of the zone in use for all times that the stretches of `file` tell.
std::vector<CaseZone::Offset> OffsetsOf(const CaseFile& file);

// From now on local times are those of `zone`, and `file` says so. Empty: UTC, because no recording
// tells one. `recorded`: it is the recordings' own.
void SetZone(const std::string& zone, bool recorded, CaseFile& file);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_REPORT_CASE_ZONE_H_
