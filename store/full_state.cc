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

// The unit's counter may not have gone back with the host's ticks. Counted from
// it, every tick would be hours away, and due.
void CountDumpsFrom(DumpSchedule& dumps, unsigned int tick) {
  dumps.full_state_tick = tick;
  dumps.highest_tick = tick;
  dumps.lowest_tick_since = kNoTick;
}

void WriteVersions(DataStore& store, const IdentityMirror& identity) {
  ForEach<e_COMPONENT>(kComponentCount, [&](e_COMPONENT component) {
    const std::string& text = identity.versions[component];
    if (!text.empty()) store.WriteVerDesc(component, text.c_str());
  });
}

void WriteInputs(DataStore& store, const InputMirror& inputs) {
  for (const DiscreteInput& input : kDiscreteInputs) {
    const bool on = inputs.on[input.index];
    store.WriteStateData(on ? input.on_tag : input.off_tag, kDumpSlack, kNow);
  }
}

void WriteMicrophones(DataStore& store, const MicrophoneMirror& microphone) {
  ForEach<e_MicrophonePosition>(kMicCount, [&](e_MicrophonePosition mic) {
    store.WriteMicState(mic, MIC_DATA_PRESENT, microphone.present[mic], kNow);
    store.WriteMicState(mic, MIC_DATA_STATE, microphone.on[mic], kNow);
  });
}

void WriteRadars(DataStore& store, const RadarMirror& mirror) {
  for (const RADAR_DESC_T& radar : mirror.radars) {
    if (radar.id == kFreeDeviceId) continue;
    store.WriteRadarState(radar, kDumpSlack);
    if (radar.dataValid && radar.connected) store.WriteRadarDataLong(radar, kDumpSlack, kNow);
  }
}

void WriteTemperatures(DataStore& store, const TemperatureMirror& temperature) {
  ForEach<e_TempSensors>(kTempSensorCount, [&](e_TempSensors sensor) {
    const TempInfo_t& info = temperature.sensors[sensor];
    if (info.valid) store.WriteTemp(sensor, info, kDumpSlack, kNow);
  });
}

void WriteGps(DataStore& store, const GpsMirror& gps) {
  store.WriteGpsState(gps.gpsAvailable);
  if (gps.gpsLocationSet && gps.gpsAvailable) store.WriteLongGps(gps.gpsLat, gps.gpsLon, kNow);
}

void WriteSpeeds(DataStore& store, const SpeedMirror& speed) {
  for (const SPEED_DESC_T& device : speed.devices)
    if (device.id < kFreeDeviceId && device.valid) store.WriteSpeed(device, kDumpSlack, kNow);
}

void WriteCamerasAndStreams(DataStore& store, const CameraMirror& camera) {
  ForEach<e_VideoStream>(kVideoStreamCount, [&](e_VideoStream stream) {
    store.WriteVideoStreamState(stream, camera.streams[stream], kNow);
  });
  ForEach<e_CameraPort>(kDumpedCameras, [&](e_CameraPort port) {
    store.WriteCameraState(port, camera.cameras[port], kNow);
  });
  ForEach<e_VideoStream>(kLiveStreamCount, [&](e_VideoStream stream) {
    const LiveStream& live = camera.live_streams[stream];
    store.WriteLvsState(stream, live.camera, live.quality, live.state, live.address, live.port,
                        kNow);
  });
}

}  // namespace

// On disk: the order may never change. A new family's step goes behind those there are.
void DataStore::WriteFullState(bool live) {
  dumps_.full_state_tick = live ? systick_.SystemTick() : current_tick_;
  if (dumps_.ticks_went_back) CountDumpsFrom(dumps_, current_tick_);
  WriteTime(live ? static_cast<long>(WallClock::Current().Now())
                 : static_cast<long>(GetAdjustedTime()));
  WriteAllConfig();
  WriteVersions(*this, mirror_.identity);
  WriteInputs(*this, mirror_.inputs);
  WriteMicrophones(*this, mirror_.microphone);
  WriteRadars(*this, mirror_.radar);
  WriteTemperatures(*this, mirror_.temperature);
  WriteGps(*this, mirror_.gps);
  WriteSpeeds(*this, mirror_.speed);
  WriteCamerasAndStreams(*this, mirror_.camera);
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
