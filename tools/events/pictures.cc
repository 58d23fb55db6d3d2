// Picture and sound: cameras, recorded and live streams, microphones.
#include <optional>

#include "tools/events/families.h"
#include "tools/events/records.h"

namespace vmr::tool {

EventAction ParseCamera(const JsonFields& fields) {
  const auto camera = fields.Number<e_CameraPort>("camera");
  const auto state = fields.Number<e_CameraState>("state");
  return [=](DataStore& store, unsigned int tick) {
    store.ReportCameraState(camera, state, true, tick);
  };
}

EventAction ParseStream(const JsonFields& fields) {
  const auto stream = fields.Number<e_VideoStream>("stream");
  const auto state = fields.Number<e_StreamState>("state");
  return [=](DataStore& store, unsigned int tick) {
    store.ReportVideoStreamState(stream, state, true, tick);
  };
}

EventAction ParseLiveStream(const JsonFields& fields) {
  const auto stream = fields.Number<e_VideoStream>("stream");
  const auto camera = fields.Number<unsigned char>("camera");
  const bool high_quality = fields.Number<int>("quality") != 0;
  const bool enabled = fields.Bool("enabled");
  const std::uint32_t address = fields.Address("address");
  const auto port = fields.Number<unsigned short>("port");
  return [=](DataStore& store, unsigned int tick) {
    store.ReportLvsState(stream, camera, high_quality, enabled, address, port, true, tick);
  };
}

EventAction ParseStreamQuality(const JsonFields& fields) {
  const VideoMgrStreamQualityItem streams = StreamQualityOf(fields.List("streams"));
  return [=](DataStore& store, unsigned int) { store.ReportStreamQualityItem(streams, true); };
}

EventAction ParseMicrophone(const JsonFields& fields) {
  const auto microphone = fields.Number<e_MicrophonePosition>("microphone");
  std::optional<bool> present, on;
  if (fields.Has("present")) present = fields.Bool("present");
  if (fields.Has("on")) on = fields.Bool("on");
  return [=](DataStore& store, unsigned int tick) {
    if (present) store.ReportMicPresent(microphone, *present, true, tick);
    if (on) store.ReportMicState(microphone, *on, true, tick);
  };
}

}  // namespace vmr::tool
