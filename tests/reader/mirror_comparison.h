// Compares the mirror of a store that recorded with that of the store into which
// the recording was read. They must agree in every field but those for which
// mirror_reasons.h has a reason.
#ifndef VMR_TESTS_READER_MIRROR_COMPARISON_H_
#define VMR_TESTS_READER_MIRROR_COMPARISON_H_

#include <cstddef>
#include <cstdlib>
#include <iterator>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>

#include "store/data_store.h"
#include "tests/reader/mirror_reasons.h"

namespace vmr::test {

// ---- The fields ----------------------------------------------------------------
//
// Of every part of the mirror. A new field does not compile: FieldsOf has no name
// for it, and then EachField no comparison.

inline auto FieldsOf(const StateMirror& mirror) {
  const auto& [time, temperature, gps, speed, radar, camera, microphone, identity, policy, inputs] =
      mirror;
  return std::tie(time, temperature, gps, speed, radar, camera, microphone, identity, policy,
                  inputs);
}

inline auto FieldsOf(const TimeMirror& time) {
  const auto& [base_time, base_tick, time_check_tick] = time;
  return std::tie(base_time, base_tick, time_check_tick);
}

inline auto FieldsOf(const TemperatureMirror& temperature) {
  const auto& [sensors] = temperature;
  return std::tie(sensors);
}
inline auto FieldsOf(const TempInfo_t& sensor) {
  const auto& [desc, valid, temperature] = sensor;
  return std::tie(desc, valid, temperature);
}

inline auto FieldsOf(const GpsMirror& gps) {
  // How far away a move is plain follows from the position.
  [[maybe_unused]] const auto& [desc, configured, location_set, available, lat, lon, drift] = gps;
  return std::tie(desc, configured, location_set, available, lat, lon);
}
inline auto FieldsOf(const GPS_DESC_T& gps) {
  const auto& [desc] = gps;
  return std::tie(desc);
}
inline auto FieldsOf(const Location_t& axis) {
  const auto& [hemisphere, degrees, minutes, fraction] = axis;
  return std::tie(hemisphere, degrees, minutes, fraction);
}

inline auto FieldsOf(const SpeedMirror& speed) {
  const auto& [devices] = speed;
  return std::tie(devices);
}
inline auto FieldsOf(const SPEED_DESC_T& device) {
  const auto& [id, units, type, desc, radar_type, valid, speed] = device;
  return std::tie(id, units, type, desc, radar_type, valid, speed);
}

inline auto FieldsOf(const RadarMirror& radar) {
  const auto& [radars] = radar;
  return std::tie(radars);
}
inline auto FieldsOf(const RADAR_DESC_T& radar) {
  const auto& [id, units, type, radar_type, desc, data_valid, target, lock, fastest, direction,
               connected] = radar;
  return std::tie(id, units, type, radar_type, desc, data_valid, target, lock, fastest, direction,
                  connected);
}

inline auto FieldsOf(const CameraMirror& camera) {
  const auto& [cameras, streams, formats, live_streams] = camera;
  return std::tie(cameras, streams, formats, live_streams);
}
inline auto FieldsOf(const VideoStreamFormat_t& stream) {
  const auto& [format, camera] = stream;
  return std::tie(format, camera);
}
inline auto FieldsOf(const LiveStream& stream) {
  const auto& [camera, quality, state, address, port] = stream;
  return std::tie(camera, quality, state, address, port);
}

inline auto FieldsOf(const MicrophoneMirror& microphone) {
  const auto& [present, on] = microphone;
  return std::tie(present, on);
}

inline auto FieldsOf(const IdentityMirror& identity) {
  const auto& [officer, vehicle, department, serial_number, mac, versions] = identity;
  return std::tie(officer, vehicle, department, serial_number, mac, versions);
}
inline auto FieldsOf(const Officer& officer) {
  const auto& [name, badge_id] = officer;
  return std::tie(name, badge_id);
}
inline auto FieldsOf(const VehicleInfo& vehicle) {
  const auto& [vehicle_id] = vehicle;
  return std::tie(vehicle_id);
}
inline auto FieldsOf(const DepartmentInfo& department) {
  const auto& [department_name] = department;
  return std::tie(department_name);
}

inline auto FieldsOf(const PolicyMirror& policy) {
  const auto& [system, permissions, recording, configuration_valid] = policy;
  return std::tie(system, permissions, recording, configuration_valid);
}
inline auto FieldsOf(const Permissions& permissions) {
  const auto& [set_time] = permissions;
  return std::tie(set_time);
}
inline auto FieldsOf(const VideoRecordingSettings& settings) {
  const auto& [split_screen_mode, critical_event_rules, split_large_events,
               maximum_recording_size_gb, cameras] = settings;
  return std::tie(split_screen_mode, critical_event_rules, split_large_events,
                  maximum_recording_size_gb, cameras);
}
inline auto FieldsOf(const CameraRecordingSettings& camera) {
  const auto& [enabled, quality] = camera;
  return std::tie(enabled, quality);
}

inline auto FieldsOf(const InputMirror& inputs) {
  const auto& [on] = inputs;
  return std::tie(on);
}

// Calls each of `compare` with the fields of its place, written and read.
template <typename Part, typename... Compare>
void EachField(const Part& written, const Part& read, const Compare&... compare) {
  const auto each = [&](const auto&... written_fields) {
    static_assert(sizeof...(written_fields) == sizeof...(Compare),
                  "each field needs a comparison of its own");
    std::apply([&](const auto&... read_fields) { (compare(written_fields, read_fields), ...); },
               FieldsOf(read));
  };
  std::apply(each, FieldsOf(written));
}

// How many fields a record without arrays has, for one of which a table has a row
// each. Counted by what its braces take.
struct AnyField {
  template <typename Field>
  operator Field() const;
};
template <typename Record, typename Numbers, typename = void>
struct Takes : std::false_type {};
template <typename Record, std::size_t... N>
struct Takes<Record, std::index_sequence<N...>,
             std::void_t<decltype(Record{(static_cast<void>(N), AnyField{})...})>>
    : std::true_type {};
template <typename Record, std::size_t kCount = 0>
constexpr std::size_t FieldCount() {
  if constexpr (Takes<Record, std::make_index_sequence<kCount + 1>>::value)
    return FieldCount<Record, kCount + 1>();
  else
    return kCount;
}

// ---- Their comparison ----------------------------------------------------------

class MirrorComparison {
 public:
  MirrorComparison(Comparison& to, const StateMirror& written, const StateMirror& read,
                   const History& past, unsigned int tick)
      : to_(to), written_(written), read_(read), past_(past), tick_(tick) {}

 private:
  // ---- Comparisons of one field, for EachField ---------------------------------

  template <typename Part>
  auto By(void (MirrorComparison::*compare)(const Part&, const Part&)) {
    return [this, compare](const Part& w, const Part& r) { (this->*compare)(w, r); };
  }
  template <typename Part>
  auto EachBy(const std::string& field,
              void (MirrorComparison::*compare)(const std::string&, const Part&, const Part&)) {
    return [this, field, compare](const auto& w, const auto& r) {
      for (std::size_t n = 0; n < std::size(w); ++n) (this->*compare)(Name(field, n), w[n], r[n]);
    };
  }
  auto Same(const std::string& field) {
    return [this, field](const auto& w, const auto& r) { to_.Equal(field, w, r); };
  }
  auto EachSame(const std::string& field) {
    return [this, field](const auto& w, const auto& r) {
      for (std::size_t n = 0; n < std::size(w); ++n) to_.Equal(Name(field, n), w[n], r[n]);
    };
  }
  auto SameValue(const std::string& field) {
    return [this, field](const auto& w, const auto& r) { to_.Equal(field, w.value, r.value); };
  }
  auto Allowed(Difference reason, const std::string& field, bool explained = true) {
    return [this, reason, field, explained](const auto& w, const auto& r) {
      to_.Allow(reason, field, w, r, explained);
    };
  }
  auto LowByte(const std::string& field) {
    return [this, field](const UIntItem& w, const UIntItem& r) {
      to_.Allow(Difference::kLowByte, field, w.value, r.value, (w.value & 0xFF) == r.value);
    };
  }
  // A text of a description or an identity.
  auto Text(const std::string& field, std::size_t longest = kLongestText) {
    return [this, field, longest](const std::string& w, const std::string& r) {
      to_.Allow(Difference::kOverlongText, field, w, r, w.size() > longest);
    };
  }
  auto TextItem(const std::string& field) {
    return [compare = Text(field)](const StringItem& w, const StringItem& r) {
      compare(w.value, r.value);
    };
  }

  static constexpr std::size_t kLongestText = 253;
  static constexpr std::size_t kLongestDescription = 251;

  template <typename Number>
  static std::string Name(const std::string& field, Number n) {
    return field + "[" + std::to_string(n) + "]";
  }

  // ---- The families ------------------------------------------------------------

  static long long ClockAt(const TimeMirror& time, unsigned int tick) {
    return time.base_time + static_cast<long long>((tick - time.base_tick) / 2);
  }
  void Time(const TimeMirror& w, const TimeMirror& r) {
    const long long written = ClockAt(w, tick_), read = ClockAt(r, tick_);
    to_.Allow(Difference::kTimeBase, "time: the clock at the last tick", written, read,
              std::llabs(written - read) <= 2);
    EachField(w, r, Allowed(Difference::kTimeBase, "time.base_time"),
              Allowed(Difference::kTimeBase, "time.base_tick"),
              Allowed(Difference::kTimeBase, "time.time_check_tick"));
  }

  void Gps(const GpsMirror& w, const GpsMirror& r) {
    const bool letters_count = w.gpsLat.hemisphere != 'N' || w.gpsLon.hemisphere != 'W';
    const auto description = [&](const GPS_DESC_T& written, const GPS_DESC_T& read) {
      EachField(written, read, Same("gps.gpsDesc"));
    };
    const auto axis = [&](const std::string& field, char positive) {
      return [this, field, positive, letters_count](const Location_t& written,
                                                    const Location_t& read) {
        Axis(field, written, read, written.hemisphere != positive && letters_count);
      };
    };
    EachField(
        w, r, description,
        Allowed(Difference::kGpsConfigured, "gps.gpsConfigured", past_.dumped && r.gpsConfigured),
        Same("gps.gpsLocationSet"), Same("gps.gpsAvailable"), axis("gps.gpsLat", 'N'),
        axis("gps.gpsLon", 'W'));
  }
  void Axis(const std::string& field, const Location_t& w, const Location_t& r, bool negative) {
    const bool quadrant = static_cast<unsigned char>(r.hemisphere) <= 3;
    EachField(w, r, Allowed(Difference::kHemisphere, field + ".hemisphere", quadrant || negative),
              Allowed(Difference::kSouthOrEast, field + ".degrees", negative),
              Allowed(Difference::kSouthOrEast, field + ".minutes", negative),
              Allowed(Difference::kSouthOrEast, field + ".fraction", negative));
  }

  void Temperatures(const TemperatureMirror& w, const TemperatureMirror& r) {
    EachField(w, r, EachBy("temperature.sensors", &MirrorComparison::Temperature));
  }
  void Temperature(const std::string& sensor, const TempInfo_t& w, const TempInfo_t& r) {
    EachField(w, r, Same(sensor + ".desc"), Same(sensor + ".valid"),
              Allowed(Difference::kTemperature8Bit, sensor + ".temperature",
                      static_cast<std::int8_t>(w.temperature) == r.temperature));
  }

  static bool Tagged(unsigned char id) { return id >= 1 && id <= 7; }

  // Units and type of a device: of an item, the bits of `mask`.
  auto Bits(const std::string& field, std::uint32_t mask, bool overlong) {
    return [this, field, mask, overlong](std::uint32_t w, std::uint32_t r) {
      to_.Allow(overlong ? Difference::kOverlongText : Difference::kUnitsAndTypeBits, field, w, r,
                overlong || (w & mask) == r);
    };
  }

  void Speeds(const SpeedMirror& w, const SpeedMirror& r) {
    EachField(w, r, EachBy("speed.devices", &MirrorComparison::Speed));
  }
  void Speed(const std::string& device, const SPEED_DESC_T& w, const SPEED_DESC_T& r) {
    const bool overlong = w.desc.size() > kLongestDescription;
    const auto speed = [&](std::uint32_t written, std::uint32_t read) {
      // One reason is enough; the narrower come first.
      const std::pair<Difference, bool> reasons[] = {
          {Difference::kUntaggedDevice, !Tagged(w.id)},
          {Difference::kOverlongText, overlong},
          {Difference::kNotRecordedSpeed, past_.speeds_were_off},
          {Difference::kSwallowedBehindADump, past_.dumped && read == 0 && written < 3},
          {Difference::kInvalidAtADump, past_.dumped && read == 0 && !w.valid},
          {Difference::kDescriptionBehindReading, past_.described_behind_reading && read == 0}};
      AllowFirst(device + ".speed", written, read, reasons);
    };
    EachField(w, r, Same(device + ".id"), Bits(device + ".units", 0x07, overlong),
              Bits(device + ".type", 0x1F, overlong), Text(device + ".desc", kLongestDescription),
              Allowed(Difference::kRadarTypeOfDevice, device + ".radarType"),
              Allowed(Difference::kValidSpeed, device + ".valid"), speed);
  }

  template <typename T, std::size_t N>
  void AllowFirst(const std::string& field, const T& w, const T& r,
                  const std::pair<Difference, bool> (&reasons)[N]) {
    for (const auto& [reason, holds] : reasons)
      if (holds) return to_.Allow(reason, field, w, r, true);
    to_.Equal(field, w, r);
  }

  void Radars(const RadarMirror& w, const RadarMirror& r) {
    EachField(w, r, EachBy("radar.radars", &MirrorComparison::Radar));
  }
  void Radar(const std::string& radar, const RADAR_DESC_T& w, const RADAR_DESC_T& r) {
    const bool overlong = w.desc.size() > kLongestDescription;
    const auto reading = [&](const char* part) {
      return [this, field = radar + part, id = w.id](std::uint16_t written, std::uint16_t read) {
        Reading(field, id, written, read);
      };
    };
    const auto direction = [&](std::uint32_t written, std::uint32_t read) {
      const std::pair<Difference, bool> reasons[] = {
          {Difference::kUntaggedDevice, !Tagged(w.id)},
          {Difference::kDirectionBit, (written & 1) == read},
          {Difference::kTargetItem, r.lock == kSpeedNotPresent && read == 0},
          {Difference::kReadingNotDumped, past_.dumped && read == 0}};
      AllowFirst(radar + ".direction", written, read, reasons);
    };
    EachField(w, r, Same(radar + ".id"), Bits(radar + ".units", 0x07, overlong),
              Bits(radar + ".type", 0x1F, overlong),
              Allowed(Difference::kRadarTypeOfDevice, radar + ".radarType"),
              Text(radar + ".desc", kLongestDescription),
              Allowed(Difference::kDataValid, radar + ".dataValid"), reading(".target"),
              reading(".lock"), reading(".fastest"), direction,
              Allowed(Difference::kDescriptionBehindReading, radar + ".connected",
                      past_.described_behind_reading));
  }
  void Reading(const std::string& field, unsigned char id, std::uint16_t w, std::uint16_t r) {
    const std::pair<Difference, bool> reasons[] = {
        {Difference::kUntaggedDevice, !Tagged(id)},
        {Difference::kTenBits, (w & 1023) == r},
        {Difference::kTargetItem, r == kSpeedNotPresent},
        {Difference::kReadingNotDumped, past_.dumped && r == 0}};
    AllowFirst(field, w, r, reasons);
  }

  void Cameras(const CameraMirror& w, const CameraMirror& r) {
    EachField(w, r, EachBy("camera.cameras", &MirrorComparison::State<e_CameraState>),
              EachBy("camera.streams", &MirrorComparison::State<e_StreamState>),
              EachBy("camera.formats", &MirrorComparison::Format),
              EachBy("camera.live", &MirrorComparison::Live));
  }
  template <typename CameraOrStreamState>
  void State(const std::string& field, const CameraOrStreamState& w, const CameraOrStreamState& r) {
    const int written = w, read = r;
    to_.Allow(Difference::kFourBits, field, written, read,
              (written == 3 ? 0 : written & 0xF) == read);
  }
  void Format(const std::string& stream, const VideoStreamFormat_t& w,
              const VideoStreamFormat_t& r) {
    EachField(w, r,
              Allowed(Difference::kFourBits, stream + ".format", (w.format & 0xFU) == r.format),
              Same(stream + ".camera"));
  }
  void Live(const std::string& stream, const LiveStream& w, const LiveStream& r) {
    EachField(w, r, Same(stream + ".camera"), Same(stream + ".quality"), Same(stream + ".state"),
              Same(stream + ".address"), Same(stream + ".port"));
  }

  void Microphones(const MicrophoneMirror& w, const MicrophoneMirror& r) {
    EachField(w, r, EachSame("microphone.present"), EachSame("microphone.on"));
  }

  void Identity(const IdentityMirror& w, const IdentityMirror& r) {
    const auto officer = [&](const Officer& written, const Officer& read) {
      EachField(written, read, TextItem("identity.officer.name"),
                TextItem("identity.officer.badge_id"));
    };
    const auto vehicle = [&](const VehicleInfo& written, const VehicleInfo& read) {
      EachField(written, read, TextItem("identity.vehicle"));
    };
    const auto department = [&](const DepartmentInfo& written, const DepartmentInfo& read) {
      EachField(written, read, TextItem("identity.department"));
    };
    EachField(w, r, officer, vehicle, department,
              Allowed(Difference::kDumpOnly, "identity.serial_number",
                      !just_dumped || w.serial_number.size() > kLongestText),
              EachSame("identity.mac"), EachBy("identity.versions", &MirrorComparison::Version));
  }
  void Version(const std::string& field, const std::string& w, const std::string& r) {
    const std::pair<Difference, bool> reasons[] = {
        {Difference::kDumpOnly, !just_dumped},
        {Difference::kEmptyVersion, w.empty()},
        {Difference::kOverlongText, w.size() > kLongestText - 1}};
    AllowFirst(field, w, r, reasons);
  }

  void Policy(const PolicyMirror& w, const PolicyMirror& r) {
    const auto permissions = [&](const Permissions& written, const Permissions& read) {
      EachField(written, read, SameValue("policy.permissions.set_time"));
    };
    EachField(w, r, By(&MirrorComparison::System), permissions, By(&MirrorComparison::Recording),
              Allowed(Difference::kConfigurationValid, "policy.configuration_valid",
                      past_.dumped == r.configuration_valid));
  }
  // Its fields are compared by the rows of the policies, and three by name.
  void System(const SystemInfo& w, const SystemInfo& r) {
    constexpr std::size_t kFieldsWithARow = 42;
    static_assert(FieldCount<SystemInfo>() == kFieldsWithARow + 3,
                  "a field of SystemInfo has neither a policy's row nor a line below");
    std::size_t rows = 0;
    for (const PolicyRow& row : Policies()) {
      const std::string field = Name("policy.system", int{row.id});
      if (row.system_bool != nullptr) SameValue(field)(w.*row.system_bool, r.*row.system_bool);
      if (row.system_uint != nullptr) LowByte(field)(w.*row.system_uint, r.*row.system_uint);
      rows += row.system_bool != nullptr || row.system_uint != nullptr ? 1 : 0;
    }
    to_.Equal("policies with a field of SystemInfo", kFieldsWithARow, rows);
    to_.Equal("policy.system.time_zone_index", w.time_zone_index, r.time_zone_index);
    to_.Allow(Difference::kRadarType, "policy.system.radar_type", w.radar_type, r.radar_type,
              r.radar_type == 0);
    to_.Allow(Difference::kTimeZoneName, "policy.system.time_zone_name", w.time_zone_name.value,
              r.time_zone_name.value, r.time_zone_name.value.empty());
  }

  void Recording(const VideoRecordingSettings& w, const VideoRecordingSettings& r) {
    EachField(w, r, SameValue("policy.recording[99]"), SameValue("policy.recording[100]"),
              SameValue("policy.recording[101]"), LowByte("policy.recording[102]"),
              EachBy("policy.recording.cameras", &MirrorComparison::CameraSettings));
  }
  void CameraSettings(const std::string& camera, const CameraRecordingSettings& w,
                      const CameraRecordingSettings& r) {
    const auto quality = [&](const UIntItem& written, const UIntItem& read) {
      to_.Allow(Difference::kCameraSettings, camera + ".quality", written.value, read.value,
                read.value == 0);
    };
    EachField(w, r, SameValue(camera + ".enabled"), quality);
  }

  void Inputs(const InputMirror& w, const InputMirror& r) {
    EachField(w, r, EachSame("inputs.on"));
  }

  Comparison& to_;
  const StateMirror& written_;
  const StateMirror& read_;
  const History past_;
  const unsigned int tick_;

 public:
  void All() {
    using M = MirrorComparison;
    EachField(written_, read_, By(&M::Time), By(&M::Temperatures), By(&M::Gps), By(&M::Speeds),
              By(&M::Radars), By(&M::Cameras), By(&M::Microphones), By(&M::Identity),
              By(&M::Policy), By(&M::Inputs));
  }

  bool just_dumped = false;  // nothing was reported since the last dump
};

}  // namespace vmr::test

#endif  // VMR_TESTS_READER_MIRROR_COMPARISON_H_
