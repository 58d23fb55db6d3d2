// The unit's settings, and the beginning and end of its work.
#include "tools/events/families.h"
#include "tools/events/records.h"

namespace vmr::tool {

// What is not given is as the store holds it when the event happens.
EventAction ParseSystemInfo(const JsonFields& fields) {
  return [change = SystemInfoChanges(fields)](DataStore& store, unsigned int) {
    SystemInfo info = store.Mirror().policy.system;
    change(info);
    store.ReportSystemInfo(info, true);
  };
}

EventAction ParseRecordingSettings(const JsonFields& fields) {
  return [change = RecordingSettingsChanges(fields)](DataStore& store, unsigned int) {
    VideoRecordingSettings settings = store.Mirror().policy.recording;
    change(settings);
    store.ReportVideoRecordingSettings(settings, true);
  };
}

EventAction ParseConfiguration(const JsonFields&) {
  return [](DataStore& store, unsigned int) { store.ReportConfiguration(true); };
}

EventAction ParseShutdown(const JsonFields&) {
  return [](DataStore& store, unsigned int) { store.ReportShutdownData(); };
}

}  // namespace vmr::tool
