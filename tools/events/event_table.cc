#include "tools/events/families.h"

namespace vmr::tool {
namespace {

// The third column: the items' sizes of store/*.h, and 2 for the tick
// adjustment that may stand before an item with a tick.
constexpr EventKind kEventKinds[] = {
    {"input", ParseInput, 1 + 2},
    {"button", ParseButton, 3},
    {"bookmark", ParseBookmark, 1 + 2},
    {"temperature", ParseTemperature, 2 + 2},
    {"speed", ParseSpeed, 3 + 2},
    {"speed_valid", ParseSpeedValid, 0},
    {"radar", ParseRadar, 2 + 5 + 2},
    {"radar_state", ParseRadarState, 2},
    {"gps_state", ParseGpsState, 2},
    {"camera", ParseCamera, 2 + 2},
    {"stream", ParseStream, 2 + 2},
    {"live_stream", ParseLiveStream, 9 + 2},
    {"stream_quality", ParseStreamQuality, 4 * 3},
    {"microphone", ParseMicrophone, 2 * (4 + 2)},
    {"officer", ParseOfficer, 255 + 66},
    {"vehicle", ParseVehicle, 66},
    {"department", ParseDepartment, 255},
    {"serial_number", ParseSerialNumber, 0},
    {"mac", ParseMac, 8},
    {"version", ParseVersion, 0},
    // 42 policies, the radar's three descriptions and two time zone texts.
    {"system_info", ParseSystemInfo, 42 * 3 + 50 + 2 * 66, true},
    {"recording_settings", ParseRecordingSettings, 4 * 3},
    {"configuration", ParseConfiguration, kMostConfigurationBytes, true},
    {"log", ParseLog, 255},
    {"test", ParseTest, 255},
    {"shutdown", ParseShutdown, 4 * 2 + 8 * 4 + 4 * 2 + 5},
};

}  // namespace

const EventKind* FindEventKind(std::string_view name) {
  for (const EventKind& kind : kEventKinds)
    if (kind.name == name) return &kind;
  return nullptr;
}

}  // namespace vmr::tool
