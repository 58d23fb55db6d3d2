// Who and what the unit is, and how it is set.
#ifndef VMR_TOOLS_RECORD_UNIT_CONFIGURATION_H_
#define VMR_TOOLS_RECORD_UNIT_CONFIGURATION_H_

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "host/records.h"
#include "store/data_store.h"
#include "tools/events/records.h"

namespace vmr::tool {

// What a recorder reports before anything else. What it holds at first applies
// where no configuration file says otherwise; docs/events.md lists it.
struct UnitConfiguration {
  UnitConfiguration();

  Officer officer;
  VehicleInfo vehicle;
  DepartmentInfo department;
  std::string serial_number;
  std::array<unsigned char, kMacBytes> mac{};
  std::vector<ComponentVersion> versions;
  SystemInfo system;
  VideoRecordingSettings recording;
  VideoMgrStreamQualityItem streams;
};

// Reads a configuration file; nothing, after saying what is wrong with it, when
// it cannot be used.
std::optional<UnitConfiguration> LoadConfiguration(const std::string& path);

// Hands all of it to the store, which then writes its configuration section.
void ReportAll(const UnitConfiguration& configuration, DataStore& store);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_RECORD_UNIT_CONFIGURATION_H_
