// The unit's records as JSON objects, in events and in the configuration file.
#ifndef VMR_TOOLS_EVENTS_RECORDS_H_
#define VMR_TOOLS_EVENTS_RECORDS_H_

#include <functional>
#include <string>
#include <vector>

#include "host/records.h"
#include "store/identity.h"
#include "tools/events/json_fields.h"

namespace vmr::tool {

struct ComponentVersion {
  e_COMPONENT component = COMPONENT_INVALID;
  std::string text;
};

Officer OfficerOf(const JsonFields& fields);
VehicleInfo VehicleOf(const JsonFields& fields);
DepartmentInfo DepartmentOf(const JsonFields& fields);
ComponentVersion VersionOf(const JsonFields& fields);
// `streams`: one for each of the unit's.
VideoMgrStreamQualityItem StreamQualityOf(const std::vector<JsonFields>& streams);

// What the fields that are there set; the others stay as they are. The fields
// are named as those of the records.
std::function<void(SystemInfo&)> SystemInfoChanges(const JsonFields& fields);
std::function<void(VideoRecordingSettings&)> RecordingSettingsChanges(const JsonFields& fields);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_EVENTS_RECORDS_H_
