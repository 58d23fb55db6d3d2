// The kinds of event that each family's source file parses.
#ifndef VMR_TOOLS_EVENTS_FAMILIES_H_
#define VMR_TOOLS_EVENTS_FAMILIES_H_

#include "tools/events/event.h"

namespace vmr::tool {

// inputs.cc
EventAction ParseInput(const JsonFields& fields);
EventAction ParseButton(const JsonFields& fields);
EventAction ParseBookmark(const JsonFields& fields);

// measurements.cc
EventAction ParseTemperature(const JsonFields& fields);
EventAction ParseGpsState(const JsonFields& fields);
EventAction ParseSpeed(const JsonFields& fields);
EventAction ParseSpeedValid(const JsonFields& fields);
EventAction ParseRadar(const JsonFields& fields);
EventAction ParseRadarState(const JsonFields& fields);

// pictures.cc
EventAction ParseCamera(const JsonFields& fields);
EventAction ParseStream(const JsonFields& fields);
EventAction ParseLiveStream(const JsonFields& fields);
EventAction ParseStreamQuality(const JsonFields& fields);
EventAction ParseMicrophone(const JsonFields& fields);

// identity.cc
EventAction ParseOfficer(const JsonFields& fields);
EventAction ParseVehicle(const JsonFields& fields);
EventAction ParseDepartment(const JsonFields& fields);
EventAction ParseSerialNumber(const JsonFields& fields);
EventAction ParseMac(const JsonFields& fields);
EventAction ParseVersion(const JsonFields& fields);
EventAction ParseLog(const JsonFields& fields);
EventAction ParseTest(const JsonFields& fields);

// configuration.cc
EventAction ParseSystemInfo(const JsonFields& fields);
EventAction ParseRecordingSettings(const JsonFields& fields);
EventAction ParseConfiguration(const JsonFields& fields);
EventAction ParseShutdown(const JsonFields& fields);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_EVENTS_FAMILIES_H_
