// Records that the unit's services hand to the library.
#ifndef VMR_HOST_RECORDS_H_
#define VMR_HOST_RECORDS_H_

#include <cstdint>
#include <string>

namespace vmr {

// One GPS fix as the receiver's service gives it.
struct GpsStatusItem {
  std::uint16_t latitude_degrees = 0;   // 0..90
  std::uint16_t latitude_minutes = 0;   // 0..59
  std::int32_t latitude_fraction = 0;   // ten-thousandths of a minute, 0..9999
  std::int32_t latitude_is_north = 0;   // 1 north, anything else south
  std::uint16_t longitude_degrees = 0;  // 0..180
  std::uint16_t longitude_minutes = 0;  // 0..59
  std::int32_t longitude_fraction = 0;  // ten-thousandths of a minute, 0..9999
  std::int32_t longitude_is_east = 0;   // 1 east, anything else west
};

// Values that the unit's configuration holds and compares.
struct BoolItem {
  bool value = false;
};
struct UIntItem {
  unsigned int value = 0;  // recordings carry the low byte
};
struct StringItem {
  std::string value;
};

// Who drives. Both texts may be up to 253 bytes to be recorded whole.
struct Officer {
  StringItem name;
  StringItem badge_id;
};

struct VehicleInfo {
  StringItem vehicle_id;
};

struct DepartmentInfo {
  StringItem department_name;
};

// What the officer may change at the unit.
struct Permissions {
  BoolItem set_time;
};

// The unit's configuration. The numbers in brackets are the policy identifiers
// under which recordings carry the values.
struct SystemInfo {
  // Power.
  BoolItem allow_power_off_when_vehicle_on;  // [2]
  BoolItem auto_power_off;                   // [4] when the vehicle goes off
  BoolItem auto_power_on;                    // [5] when the vehicle goes on

  // Microphones.
  BoolItem force_cabin_mic_on;               // [8]
  BoolItem charge_wireless_mic_when_off;     // [80]
  BoolItem allow_wireless_mic_1_off;         // [81] while recording
  BoolItem allow_cabin_mic_off;              // [82] while recording
  BoolItem activate_wireless_mic_on_record;  // [83]
  BoolItem activate_cabin_mic_on_record;     // [84]
  BoolItem activate_aux_mic_on_record;       // [85]
  BoolItem force_aux_mic_on;                 // [86]
  BoolItem allow_wireless_mic_2_off;         // [96] while recording
  BoolItem allow_aux_mic_off;                // [97] while recording

  // What starts a recording, and what ends it.
  BoolItem start_on_aux_input;         // [20]
  BoolItem start_on_emergency_lights;  // [21]
  BoolItem start_on_excessive_speed;   // [22]
  BoolItem start_on_siren;             // [24]
  BoolItem start_on_crash;             // [25]
  BoolItem start_on_wireless_mic;      // [26]
  UIntItem pre_event_time;             // [66] seconds
  UIntItem post_event_time;            // [67] seconds
  UIntItem auto_stop_record_time;      // [69] minutes
  BoolItem policy_70;                  // [70] known by number only
  BoolItem policy_71;                  // [71] known by number only

  // What is displayed.
  BoolItem display_disc_usage;        // [28]
  BoolItem display_fast_lock_speeds;  // [41]
  BoolItem display_patrol_speeds;     // [48]
  BoolItem display_target_speeds;     // [49]

  // What is recorded.
  BoolItem record_patrol_speed;       // [29]
  BoolItem record_department_name;    // [30]
  BoolItem record_brake;              // [31]
  BoolItem record_aux_input;          // [32]
  BoolItem record_officer_name;       // [34]
  BoolItem record_wireless_mic;       // [35]
  BoolItem record_vehicle_id;         // [36]
  BoolItem record_radar_speeds;       // [37]
  BoolItem record_gps;                // [38]
  BoolItem record_time_and_date;      // [39]
  BoolItem record_crash;              // [40]
  BoolItem record_emergency_lights;   // [50]
  BoolItem record_siren;              // [51]
  BoolItem record_speed_in_metadata;  // [98] off: no speed item is written

  std::uint16_t radar_type = 0;      // EnumToString::RadarTypeToStr; 0 none
  std::int32_t time_zone_index = 0;  // EnumToString::TimeZoneToStr, 0..49
  StringItem time_zone_name;
};

// How one camera is recorded.
struct CameraRecordingSettings {
  BoolItem enabled;
  UIntItem quality;
};

struct VideoRecordingSettings {
  static constexpr int kCameraCount = 9;

  BoolItem split_screen_mode;          // [99]
  BoolItem critical_event_rules;       // [100]
  BoolItem split_large_events;         // [101]
  UIntItem maximum_recording_size_gb;  // [102]
  CameraRecordingSettings cameras[kCameraCount];
};

// Where each of the four recorded streams comes from.
struct VideoMgrStreamQualityItem {
  static constexpr int kStreamCount = 4;

  struct Stream {
    unsigned int format = 0;       // EnumToString::VideoFormatToStr, 0..15
    unsigned int camera_port = 0;  // 0..9
    bool split = false;            // several cameras in one picture
  };
  Stream streams[kStreamCount];
};

}  // namespace vmr

#endif  // VMR_HOST_RECORDS_H_
