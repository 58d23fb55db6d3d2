// Compares the mirror of a store that recorded with that of the store into which
// the recording was read. They must agree in every field but those for which the
// table below has a reason.
#ifndef VMR_TESTS_READER_MIRROR_COMPARISON_H_
#define VMR_TESTS_READER_MIRROR_COMPARISON_H_

#include <gtest/gtest.h>

#include <cstdlib>
#include <sstream>
#include <string>
#include <utility>

#include "store/data_store.h"
#include "tests/support/bytes.h"

namespace vmr::test {

enum class Difference {
  kNone,
  kTimeBase,
  kGpsConfigured,
  kHemisphere,
  kSouthOrEast,
  kTemperature8Bit,
  kValidSpeed,
  kRadarTypeOfDevice,
  kUnitsAndTypeBits,
  kSwallowedBehindADump,
  kInvalidAtADump,
  kUntaggedDevice,
  kNotRecordedSpeed,
  kTenBits,
  kTargetItem,
  kReadingNotDumped,
  kDataValid,
  kDirectionBit,
  kDescriptionBehindReading,
  kFourBits,
  kOverlongText,
  kDumpOnly,
  kEmptyVersion,
  kLowByte,
  kRadarType,
  kTimeZoneName,
  kCameraSettings,
  kConfigurationValid,
  kCount
};

struct Reason {
  Difference difference;
  const char* field;
  const char* why;
};

inline constexpr Reason kReasons[] = {
    {Difference::kTimeBase, "time.base_time, base_tick, time_check_tick",
     "a time item anchors at its packet's tick, and every dump carries one; the clock that follows "
     "from them agrees within two seconds"},
    {Difference::kGpsConfigured, "gps.gpsConfigured",
     "every dump describes the GPS, which a reader takes for configured"},
    {Difference::kHemisphere, "gps.gpsLat, gpsLon: hemisphere",
     "a decoded absolute position holds the masked quadrant instead of letters"},
    {Difference::kSouthOrEast, "gps.gpsLat, gpsLon: numbers of a southern or eastern position",
     "without its letter it counts as positive, so deltas move it the other way"},
    {Difference::kTemperature8Bit, "temperature.sensors: temperature",
     "an item carries the low 8 bits, read as signed"},
    {Difference::kValidSpeed, "speed.devices: valid",
     "a swallowed speed and a ReportValidSpeed leave no item, and a lost GPS or radar clears it "
     "only when it is read"},
    {Difference::kRadarTypeOfDevice, "speed.devices, radar.radars: radarType",
     "no item carries the radar type"},
    {Difference::kUnitsAndTypeBits, "speed.devices, radar.radars: units, type",
     "an item carries three and five bits"},
    {Difference::kSwallowedBehindADump, "speed.devices: speed of 1 or 2",
     "the description in a dump sets 0, from where 1 and 2 are drift"},
    {Difference::kInvalidAtADump, "speed.devices: speed of an invalid device",
     "a dump describes the device, which sets 0, and leaves out the invalid speed"},
    {Difference::kUntaggedDevice, "speed.devices, radar.radars: readings of ids outside 1 to 7",
     "they have no tags"},
    {Difference::kNotRecordedSpeed, "speed.devices: speed, while policy 98 is off",
     "speeds are then not written"},
    {Difference::kTenBits, "radar.radars: lock, fastest, target above 1023",
     "an item carries ten bits"},
    {Difference::kTargetItem, "radar.radars: lock, fastest, direction",
     "a target item is read as lock and fastest not present, direction 0"},
    {Difference::kReadingNotDumped, "radar.radars: the reading",
     "a dump describes the radar, which clears it, and carries a reading only when one is held "
     "and the radar connected"},
    {Difference::kDataValid, "radar.radars: dataValid",
     "a target item is read as a whole reading, and a reading that looks like the held one as "
     "none"},
    {Difference::kDirectionBit, "radar.radars: direction", "an item carries the lowest bit"},
    {Difference::kDescriptionBehindReading, "speed.devices, radar.radars after a dump",
     "a small reading may fill up a packet in front of its larger description, which then clears "
     "it"},
    {Difference::kFourBits, "camera: states and formats",
     "an item carries four bits, and state 3 as 0"},
    {Difference::kOverlongText, "texts of more than 253 characters",
     "the item, of a device its whole description, does not fit a packet and is dropped; from 256 "
     "on "
     "its length is taken modulo 256"},
    {Difference::kDumpOnly, "identity.serial_number, versions", "only dumps carry them"},
    {Difference::kEmptyVersion, "identity.versions", "a dump leaves out an empty one"},
    {Difference::kLowByte, "policy: numbers", "an item carries the low byte"},
    {Difference::kRadarType, "policy.system.radar_type", "no item carries it"},
    {Difference::kTimeZoneName, "policy.system.time_zone_name",
     "no reader accepts its tag; and what stands behind it in its packet is lost, so these runs "
     "take the item out before it is stored"},
    {Difference::kCameraSettings, "policy.recording.cameras", "no item carries them"},
    {Difference::kConfigurationValid, "policy.configuration_valid",
     "only the end item of a configuration section tells it, and every dump has one, valid or "
     "not"},
};
static_assert(std::size(kReasons) == static_cast<std::size_t>(Difference::kCount) - 1);

// Collects every field that differs without a reason, and which reasons were
// needed.
class Comparison {
 public:
  template <typename T>
  void Equal(const std::string& field, const T& written, const T& read) {
    ++fields_;
    if (written == read) return;
    std::ostringstream text;
    text << field << ": " << testing::PrintToString(written) << " read back as "
         << testing::PrintToString(read) << "\n";
    unexplained_ += text.str();
  }
  // Equal, or for this reason as `explained` says.
  template <typename T>
  void Allow(Difference reason, const std::string& field, const T& written, const T& read,
             bool explained) {
    if (written != read && explained) {
      ++seen_[static_cast<std::size_t>(reason)];
      ++fields_;
      return;
    }
    Equal(field, written, read);
  }

  const std::string& Unexplained() const { return unexplained_; }
  int Fields() const { return fields_; }
  int Seen(Difference reason) const { return seen_[static_cast<std::size_t>(reason)]; }
  void Forget() { unexplained_.clear(); }

 private:
  std::string unexplained_;
  int fields_ = 0;
  int seen_[static_cast<std::size_t>(Difference::kCount)] = {};
};

// What happened that a mirror does not tell.
struct History {
  bool dumped = false;
  bool described_behind_reading = false;  // in some flush of this recording
  bool speeds_were_off = false;
};

class MirrorComparison {
 public:
  MirrorComparison(Comparison& to, const StateMirror& written, const StateMirror& read,
                   const History& past, unsigned int tick)
      : to_(to), written_(written), read_(read), past_(past), tick_(tick) {}

  void All() {
    Time();
    Gps();
    Temperatures();
    for (int n = 0; n < kSpeedDeviceCount; ++n) Speed(n);
    for (int n = 0; n < kRadarCount; ++n) Radar(n);
    Cameras();
    Microphones();
    Identity();
    System();
    Recording();
    for (unsigned int n = 0; n < kDiscreteInputCount; ++n)
      to_.Equal(Name("inputs.on", n), written_.inputs.on[n], read_.inputs.on[n]);
  }

 private:
  template <typename Number>
  static std::string Name(const char* field, Number n) {
    return std::string(field) + "[" + std::to_string(n) + "]";
  }

  static long long ClockAt(const TimeMirror& time, unsigned int tick) {
    return time.base_time + static_cast<long long>((tick - time.base_tick) / 2);
  }
  void Time() {
    const long long written = ClockAt(written_.time, tick_), read = ClockAt(read_.time, tick_);
    to_.Allow(Difference::kTimeBase, "time: the clock at the last tick", written, read,
              std::llabs(written - read) <= 2);
    const auto base = [&](const char* field, long long w, long long r) {
      to_.Allow(Difference::kTimeBase, field, w, r, true);
    };
    base("time.base_time", written_.time.base_time, read_.time.base_time);
    base("time.base_tick", written_.time.base_tick, read_.time.base_tick);
    base("time.time_check_tick", written_.time.time_check_tick, read_.time.time_check_tick);
  }

  void Gps() {
    const GpsMirror &w = written_.gps, &r = read_.gps;
    to_.Equal("gps.gpsDesc", w.gpsDesc.desc, r.gpsDesc.desc);
    to_.Allow(Difference::kGpsConfigured, "gps.gpsConfigured", w.gpsConfigured, r.gpsConfigured,
              past_.dumped && r.gpsConfigured);
    to_.Equal("gps.gpsLocationSet", w.gpsLocationSet, r.gpsLocationSet);
    to_.Equal("gps.gpsAvailable", w.gpsAvailable, r.gpsAvailable);
    const bool letters_count = w.gpsLat.hemisphere != 'N' || w.gpsLon.hemisphere != 'W';
    Axis("gps.gpsLat", w.gpsLat, r.gpsLat, w.gpsLat.hemisphere != 'N' && letters_count);
    Axis("gps.gpsLon", w.gpsLon, r.gpsLon, w.gpsLon.hemisphere != 'W' && letters_count);
  }
  void Axis(const std::string& field, const Location_t& w, const Location_t& r, bool negative) {
    const bool quadrant = static_cast<unsigned char>(r.hemisphere) <= 3;
    to_.Allow(Difference::kHemisphere, field + ".hemisphere", w.hemisphere, r.hemisphere,
              quadrant || negative);
    const auto number = [&](const char* part, int written, int read) {
      to_.Allow(Difference::kSouthOrEast, field + part, written, read, negative);
    };
    number(".degrees", w.degrees, r.degrees);
    number(".minutes", w.minutes, r.minutes);
    number(".fraction", w.fraction, r.fraction);
  }

  void Temperatures() {
    for (unsigned int n = 0; n < kTempSensorCount; ++n) {
      const TempInfo_t &w = written_.temperature.sensors[n], &r = read_.temperature.sensors[n];
      to_.Equal(Name("temperature.desc", n), w.desc, r.desc);
      to_.Equal(Name("temperature.valid", n), w.valid, r.valid);
      to_.Allow(Difference::kTemperature8Bit, Name("temperature.temperature", n), w.temperature,
                r.temperature, static_cast<std::int8_t>(w.temperature) == r.temperature);
    }
  }

  static bool Tagged(unsigned char id) { return id >= 1 && id <= 7; }

  template <typename Desc>
  void Description(const std::string& device, const Desc& w, const Desc& r) {
    to_.Equal(device + ".id", int{w.id}, int{r.id});
    const bool overlong = w.desc.size() > kLongestDescription;
    const auto bits = [&](const char* part, std::uint32_t written, std::uint32_t read,
                          std::uint32_t mask) {
      to_.Allow(overlong ? Difference::kOverlongText : Difference::kUnitsAndTypeBits, device + part,
                written, read, overlong || (written & mask) == read);
    };
    bits(".units", w.units, r.units, 0x07);
    bits(".type", w.type, r.type, 0x1F);
    Text(device + ".desc", w.desc, r.desc, kLongestDescription);
    to_.Allow(Difference::kRadarTypeOfDevice, device + ".radarType", std::uint32_t{w.radarType},
              std::uint32_t{r.radarType}, true);
  }

  void Speed(int n) {
    const SPEED_DESC_T &w = written_.speed.devices[n], &r = read_.speed.devices[n];
    const std::string device = Name("speed.devices", n);
    Description(device, w, r);
    to_.Allow(Difference::kValidSpeed, device + ".valid", w.valid, r.valid, true);
    // One reason is enough; the narrower come first.
    const std::pair<Difference, bool> reasons[] = {
        {Difference::kUntaggedDevice, !Tagged(w.id)},
        {Difference::kOverlongText, w.desc.size() > kLongestDescription},
        {Difference::kNotRecordedSpeed, past_.speeds_were_off},
        {Difference::kSwallowedBehindADump, past_.dumped && r.speed == 0 && w.speed < 3},
        {Difference::kInvalidAtADump, past_.dumped && r.speed == 0 && !w.valid},
        {Difference::kDescriptionBehindReading, past_.described_behind_reading && r.speed == 0}};
    AllowFirst(device + ".speed", w.speed, r.speed, reasons);
  }

  template <typename T, std::size_t N>
  void AllowFirst(const std::string& field, const T& w, const T& r,
                  const std::pair<Difference, bool> (&reasons)[N]) {
    for (const auto& [reason, holds] : reasons)
      if (holds) return to_.Allow(reason, field, w, r, true);
    to_.Equal(field, w, r);
  }

  void Radar(int n) {
    const RADAR_DESC_T &w = written_.radar.radars[n], &r = read_.radar.radars[n];
    const std::string radar = Name("radar.radars", n);
    Description(radar, w, r);
    to_.Allow(Difference::kDescriptionBehindReading, radar + ".connected", w.connected, r.connected,
              past_.described_behind_reading);
    to_.Allow(Difference::kDataValid, radar + ".dataValid", w.dataValid, r.dataValid, true);
    Reading(radar + ".lock", w, w.lock, r.lock);
    Reading(radar + ".fastest", w, w.fastest, r.fastest);
    Reading(radar + ".target", w, w.target, r.target);
    const std::uint32_t direction = w.direction;
    const std::pair<Difference, bool> reasons[] = {
        {Difference::kUntaggedDevice, !Tagged(w.id)},
        {Difference::kDirectionBit, (direction & 1) == r.direction},
        {Difference::kTargetItem, r.lock == kSpeedNotPresent && r.direction == 0},
        {Difference::kReadingNotDumped, past_.dumped && r.direction == 0}};
    AllowFirst(radar + ".direction", direction, std::uint32_t{r.direction}, reasons);
  }
  void Reading(const std::string& field, const RADAR_DESC_T& radar, std::uint16_t w,
               std::uint16_t r) {
    const std::pair<Difference, bool> reasons[] = {
        {Difference::kUntaggedDevice, !Tagged(radar.id)},
        {Difference::kTenBits, (w & 1023) == r},
        {Difference::kTargetItem, r == kSpeedNotPresent},
        {Difference::kReadingNotDumped, past_.dumped && r == 0}};
    AllowFirst(field, w, r, reasons);
  }

  void Cameras() {
    const CameraMirror &w = written_.camera, &r = read_.camera;
    for (unsigned int n = 0; n < kCameraPortCount; ++n)
      State(Name("camera.cameras", n), w.cameras[n], r.cameras[n]);
    for (unsigned int n = 0; n < kVideoStreamCount; ++n) {
      State(Name("camera.streams", n), w.streams[n], r.streams[n]);
      to_.Allow(Difference::kFourBits, Name("camera.formats.format", n),
                std::uint32_t{w.formats[n].format}, std::uint32_t{r.formats[n].format},
                (w.formats[n].format & 0xFU) == r.formats[n].format);
      to_.Equal(Name("camera.formats.camera", n), std::uint32_t{w.formats[n].camera},
                std::uint32_t{r.formats[n].camera});
    }
    for (unsigned int n = 0; n < kLiveStreamCount; ++n) {
      const LiveStream &live = w.live_streams[n], &live_read = r.live_streams[n];
      to_.Equal(Name("camera.live.camera", n), live.camera, live_read.camera);
      to_.Equal(Name("camera.live.quality", n), live.quality, live_read.quality);
      to_.Equal(Name("camera.live.state", n), live.state, live_read.state);
      to_.Equal(Name("camera.live.address", n), live.address, live_read.address);
      to_.Equal(Name("camera.live.port", n), live.port, live_read.port);
    }
  }
  void State(const std::string& field, int w, int r) {
    to_.Allow(Difference::kFourBits, field, w, r, (w == 3 ? 0 : w & 0xF) == r);
  }

  void Microphones() {
    for (unsigned int n = 0; n < kMicCount; ++n) {
      to_.Equal(Name("microphone.present", n), written_.microphone.present[n],
                read_.microphone.present[n]);
      to_.Equal(Name("microphone.on", n), written_.microphone.on[n], read_.microphone.on[n]);
    }
  }

  static constexpr std::size_t kLongestText = 253;
  static constexpr std::size_t kLongestDescription = 251;
  void Text(const std::string& field, const std::string& w, const std::string& r,
            std::size_t longest = kLongestText) {
    to_.Allow(Difference::kOverlongText, field, w, r, w.size() > longest);
  }
  void Identity() {
    const IdentityMirror &w = written_.identity, &r = read_.identity;
    Text("identity.officer.name", w.officer.name.value, r.officer.name.value);
    Text("identity.officer.badge_id", w.officer.badge_id.value, r.officer.badge_id.value);
    Text("identity.vehicle", w.vehicle.vehicle_id.value, r.vehicle.vehicle_id.value);
    Text("identity.department", w.department.department_name.value,
         r.department.department_name.value);
    to_.Equal("identity.mac", Bytes(w.mac, w.mac + kMacBytes), Bytes(r.mac, r.mac + kMacBytes));
    to_.Allow(Difference::kDumpOnly, "identity.serial_number", w.serial_number, r.serial_number,
              !just_dumped || w.serial_number.size() > kLongestText);
    for (unsigned int n = 0; n < kComponentCount; ++n) {
      const std::string &text = w.versions[n], &text_read = r.versions[n];
      const std::pair<Difference, bool> reasons[] = {
          {Difference::kDumpOnly, !just_dumped},
          {Difference::kEmptyVersion, text.empty()},
          {Difference::kOverlongText, text.size() > kLongestText - 1}};
      AllowFirst(Name("identity.versions", n), text, text_read, reasons);
    }
  }

  void System() {
    const PolicyMirror &w = written_.policy, &r = read_.policy;
    for (const PolicyRow& row : Policies()) {
      const std::string field = Name("policy.system", int{row.id});
      if (row.system_bool != nullptr)
        to_.Equal(field, (w.system.*row.system_bool).value, (r.system.*row.system_bool).value);
      if (row.system_uint != nullptr)
        LowByte(field, (w.system.*row.system_uint).value, (r.system.*row.system_uint).value);
    }
    to_.Equal("policy.system.time_zone_index", w.system.time_zone_index, r.system.time_zone_index);
    to_.Allow(Difference::kRadarType, "policy.system.radar_type", w.system.radar_type,
              r.system.radar_type, r.system.radar_type == 0);
    to_.Allow(Difference::kTimeZoneName, "policy.system.time_zone_name",
              w.system.time_zone_name.value, r.system.time_zone_name.value,
              r.system.time_zone_name.value.empty());
    to_.Equal("policy.permissions.set_time", w.permissions.set_time.value,
              r.permissions.set_time.value);
    to_.Allow(Difference::kConfigurationValid, "policy.configuration_valid", w.configuration_valid,
              r.configuration_valid, past_.dumped == r.configuration_valid);
  }
  void LowByte(const std::string& field, unsigned int w, unsigned int r) {
    to_.Allow(Difference::kLowByte, field, w, r, (w & 0xFF) == r);
  }

  void Recording() {
    const VideoRecordingSettings &w = written_.policy.recording, &r = read_.policy.recording;
    to_.Equal("policy.recording[99]", w.split_screen_mode.value, r.split_screen_mode.value);
    to_.Equal("policy.recording[100]", w.critical_event_rules.value, r.critical_event_rules.value);
    to_.Equal("policy.recording[101]", w.split_large_events.value, r.split_large_events.value);
    LowByte("policy.recording[102]", w.maximum_recording_size_gb.value,
            r.maximum_recording_size_gb.value);
    for (int n = 0; n < VideoRecordingSettings::kCameraCount; ++n) {
      to_.Equal(Name("policy.recording.cameras.enabled", n), w.cameras[n].enabled.value,
                r.cameras[n].enabled.value);
      to_.Allow(Difference::kCameraSettings, Name("policy.recording.cameras.quality", n),
                w.cameras[n].quality.value, r.cameras[n].quality.value,
                r.cameras[n].quality.value == 0);
    }
  }

  Comparison& to_;
  const StateMirror& written_;
  const StateMirror& read_;
  const History past_;
  const unsigned int tick_;

 public:
  bool just_dumped = false;  // nothing was reported since the last dump
};

}  // namespace vmr::test

#endif  // VMR_TESTS_READER_MIRROR_COMPARISON_H_
