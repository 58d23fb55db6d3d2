// The full-state dump, from which a recording can be decoded without what came
// before, and the records of a shutdown.
#include "host/wall_clock.h"
#include "store/data_store.h"
#include "store/log_source.h"

namespace vmr {
namespace {

constexpr const char* kLogSource = kDataStoreLogSource;

constexpr unsigned short kDumpSlack = 1;
// No event tick: dumped items belong to the packet's tick.
constexpr unsigned int kNow = 0;

constexpr unsigned int kDumpedCameras = 4;

// Calls `report` with each number below `count`, as an enumeration.
template <typename Enum, typename Report>
void ForEach(unsigned int count, Report report) {
  for (unsigned int n = 0; n < count; ++n) report(static_cast<Enum>(n));
}

}  // namespace

void DataStore::WriteFullState(bool live) {
  full_state_tick_ = live ? systick_.SystemTick() : current_tick_;
  if (ticks_went_back_) CountDumpsFromHere();
  WriteTime(live ? static_cast<long>(WallClock::Current().Now())
                 : static_cast<long>(GetAdjustedTime()));
  WriteAllConfig();
  WriteVersions();
  WriteInputStates();
  WriteMicStates();
  WriteRadarStates();
  WriteTemperatures();
  WriteGpsPosition();
  WriteSpeeds();
  WriteCameraAndStreamStates();
}

// The unit's counter may not have gone back with the host's ticks. Counted from
// it, every tick would be hours away, and due.
void DataStore::CountDumpsFromHere() {
  full_state_tick_ = current_tick_;
  highest_tick_ = current_tick_;
  lowest_tick_since_ = kNoTick;
}

void DataStore::WriteVersions() {
  ForEach<e_COMPONENT>(kComponentCount, [this](e_COMPONENT component) {
    const std::string& text = mirror_.identity.versions[component];
    if (!text.empty()) WriteVerDesc(component, text.c_str());
  });
}

void DataStore::WriteInputStates() {
  for (const DiscreteInput& input : kDiscreteInputs) {
    const bool on = mirror_.inputs.on[input.index];
    WriteStateData(on ? input.on_tag : input.off_tag, kDumpSlack, kNow);
  }
}

void DataStore::WriteMicStates() {
  ForEach<e_MicrophonePosition>(kMicCount, [this](e_MicrophonePosition mic) {
    WriteMicState(mic, MIC_DATA_PRESENT, mirror_.microphone.present[mic], kNow);
    WriteMicState(mic, MIC_DATA_STATE, mirror_.microphone.on[mic], kNow);
  });
}

void DataStore::WriteRadarStates() {
  for (const RADAR_DESC_T& radar : mirror_.radar.radars) {
    if (radar.id == kFreeDeviceId) continue;
    WriteRadarState(radar, kDumpSlack);
    if (radar.dataValid && radar.connected) WriteRadarDataLong(radar, kDumpSlack, kNow);
  }
}

void DataStore::WriteTemperatures() {
  ForEach<e_TempSensors>(kTempSensorCount, [this](e_TempSensors sensor) {
    const TempInfo_t& info = mirror_.temperature.sensors[sensor];
    if (info.valid) WriteTemp(sensor, info, kDumpSlack, kNow);
  });
}

void DataStore::WriteGpsPosition() {
  const GpsMirror& gps = mirror_.gps;
  WriteGpsState(gps.gpsAvailable);
  if (gps.gpsLocationSet && gps.gpsAvailable) WriteLongGps(gps.gpsLat, gps.gpsLon, kNow);
}

void DataStore::WriteSpeeds() {
  for (const SPEED_DESC_T& device : mirror_.speed.devices)
    if (device.id < kFreeDeviceId && device.valid) WriteSpeed(device, kDumpSlack, kNow);
}

void DataStore::WriteCameraAndStreamStates() {
  const CameraMirror& camera = mirror_.camera;
  ForEach<e_VideoStream>(kVideoStreamCount, [&](e_VideoStream stream) {
    WriteVideoStreamState(stream, camera.streams[stream], kNow);
  });
  ForEach<e_CameraPort>(kDumpedCameras, [&](e_CameraPort port) {
    WriteCameraState(port, camera.cameras[port], kNow);
  });
  ForEach<e_VideoStream>(kLiveStreamCount, [&](e_VideoStream stream) {
    const LiveStream& live = camera.live_streams[stream];
    WriteLvsState(stream, live.camera, live.quality, live.state, live.address, live.port, kNow);
  });
}

void DataStore::ReportShutdownData() {
  ForEach<e_VideoStream>(kVideoStreamCount, [this](e_VideoStream stream) {
    ReportVideoStreamState(stream, STREAM_STATE_OFF, true, kNow);
  });
  ForEach<e_MicrophonePosition>(kMicCount, [this](e_MicrophonePosition mic) {
    ReportMicPresent(mic, false, true, kNow);
    ReportMicState(mic, false, true, kNow);
  });
  ForEach<e_CameraPort>(kDumpedCameras, [this](e_CameraPort port) {
    ReportCameraState(port, CAMERA_STATE_OFF, true, kNow);
  });
  // Deliberate: not in the order of the input table. Recordings have shown the
  // brake before the siren ever since.
  for (const e_Tag tag : {TAG_EMERGENCY_LIGHTS_OFF, TAG_BRAKE_OFF, TAG_SIREN_OFF, TAG_AUX_INPUT_OFF,
                          TAG_SYSTEM_POWER_OFF})
    ReportStateData(tag, true, kNow);
}

void DataStore::ReportShutdownDataAtStartup() {
  const unsigned int prior = systick_.PriorShutdownTick();
  const unsigned int tick = prior == 0 ? 1 : prior;  // Deliberate: 0 is no event tick
  current_tick_ = tick;
  slack_start_tick_ = tick;
  VMR_LOG(kLogEachItem, "ReportShutdownDataAtStartup" << tick);
  ForEach<e_VideoStream>(kVideoStreamCount, [&](e_VideoStream stream) {
    WriteVideoStreamState(stream, STREAM_STATE_OFF, tick);
  });
  ForEach<e_MicrophonePosition>(kMicCount, [&](e_MicrophonePosition mic) {
    WriteMicState(mic, MIC_DATA_PRESENT, false, tick);
    WriteMicState(mic, MIC_DATA_STATE, false, tick);
  });
  ForEach<e_CameraPort>(kDumpedCameras,
                        [&](e_CameraPort port) { WriteCameraState(port, CAMERA_STATE_OFF, tick); });
  WriteBuffers();
  VMR_LOG(kLogEachItem, "ReportShutdownDataAtStartup"
                            << " - END");
}

}  // namespace vmr
