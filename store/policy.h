// Configuration policy family: the unit's configuration as small numbered items.
#ifndef VMR_STORE_POLICY_H_
#define VMR_STORE_POLICY_H_

#include <cstddef>

#include "host/records.h"

namespace vmr {

// A policy identifier. On disk: these values may never change. A recording may
// hold any other byte too.
enum e_CONFIG_LIST : unsigned char {
  CONFIG_NUMBER_DVD_ARCHIVES = 1,
  CONFIG_ALLOW_POWER_OFF_WHEN_VEHICLE_ON = 2,
  CONFIG_ALWAYS_RECORD_WHEN_VEHICLE_ON = 3,
  CONFIG_AUTO_POWER_OFF = 4,
  CONFIG_AUTO_POWER_ON = 5,
  CONFIG_ALLOW_MIC_OFF = 6,
  CONFIG_ACTIVATE_BOTH_MICS_ON_RECORD = 7,
  CONFIG_FORCE_CABIN_MIC_ON = 8,
  CONFIG_PERMIT_OFFICER = 9,
  CONFIG_PERMIT_DEPARTMENT_NAME = 10,
  CONFIG_PERMIT_VEHICLE_ID = 11,
  CONFIG_PERMIT_RECORD_START_STOP = 12,
  CONFIG_PERMIT_CAMERA_AUTO_ZOOM = 13,
  CONFIG_PERMIT_SET_TIME = 14,
  CONFIG_PERMIT_EVENT_TIMES = 15,
  CONFIG_PERMIT_TEXT_FIELDS = 16,
  CONFIG_PERMIT_VIDEO_QUALITY = 17,
  CONFIG_PERMIT_INPUT_DEVICES = 18,
  CONFIG_PERMIT_DISC_REUSE = 19,
  CONFIG_START_ON_AUX_INPUT = 20,
  CONFIG_START_ON_EMERGENCY_LIGHTS = 21,
  CONFIG_START_ON_EXCESSIVE_SPEED = 22,
  CONFIG_TRIGGER_CONFIGURATION = 23,
  CONFIG_START_ON_SIREN = 24,
  CONFIG_START_ON_CRASH = 25,
  CONFIG_START_ON_WIRELESS_MIC = 26,
  CONFIG_DISPLAY_DISC_USAGE = 28,
  CONFIG_RECORD_PATROL_SPEED = 29,
  CONFIG_RECORD_DEPARTMENT_NAME = 30,
  CONFIG_RECORD_BRAKE = 31,
  CONFIG_RECORD_AUX_INPUT = 32,
  CONFIG_RECORD_LIGHTS_AND_SIREN = 33,
  CONFIG_RECORD_OFFICER_NAME = 34,
  CONFIG_RECORD_WIRELESS_MIC = 35,
  CONFIG_RECORD_VEHICLE_ID = 36,
  CONFIG_RECORD_RADAR_SPEEDS = 37,
  CONFIG_RECORD_GPS = 38,
  CONFIG_RECORD_TIME_AND_DATE = 39,
  CONFIG_RECORD_CRASH = 40,
  CONFIG_DISPLAY_FAST_LOCK_SPEEDS = 41,
  CONFIG_DISPLAY_PATROL_SPEEDS = 48,
  CONFIG_DISPLAY_TARGET_SPEEDS = 49,
  CONFIG_RECORD_EMERGENCY_LIGHTS = 50,
  CONFIG_RECORD_SIREN = 51,
  CONFIG_VIDEO_BIT_RATE_HIGH = 64,
  CONFIG_VIDEO_BIT_RATE_LOW = 65,
  CONFIG_PRE_EVENT_TIME = 66,
  CONFIG_POST_EVENT_TIME = 67,
  CONFIG_START_ON_PATROL_SPEED = 68,
  CONFIG_AUTO_STOP_RECORD_TIME = 69,
  CONFIG_POLICY_70 = 70,  // held, known by number only
  CONFIG_POLICY_71 = 71,  // likewise
  CONFIG_CHARGE_WIRELESS_MIC_WHEN_OFF = 80,
  CONFIG_ALLOW_WIRELESS_MIC_1_OFF = 81,
  CONFIG_ALLOW_CABIN_MIC_OFF = 82,
  CONFIG_ACTIVATE_WIRELESS_MIC_ON_RECORD = 83,
  CONFIG_ACTIVATE_CABIN_MIC_ON_RECORD = 84,
  CONFIG_ACTIVATE_AUX_MIC_ON_RECORD = 85,
  CONFIG_FORCE_AUX_MIC_ON = 86,
  CONFIG_ALLOW_WIRELESS_MIC_2_OFF = 96,
  CONFIG_ALLOW_AUX_MIC_OFF = 97,
  CONFIG_RECORD_SPEED_IN_METADATA = 98,
  CONFIG_SPLIT_SCREEN_MODE = 99,
  CONFIG_CRITICAL_EVENT_RULES = 100,
  CONFIG_SPLIT_LARGE_EVENTS = 101,
  CONFIG_MAXIMUM_RECORDING_SIZE_GB = 102,
  CONFIG_LIST_END = 255,  // ends the list of names; no policy
};

// The host records that hold policies, and whether they were ever reported.
struct PolicyMirror {
  SystemInfo system;
  Permissions permissions;
  VideoRecordingSettings recording;
  bool configuration_valid = false;
};

enum class PolicyType : unsigned char { kBool = 0, kUInt8 = 1, kUInt16 = 2 };

// One policy: its identifier, its type, the name that the viewer prints and the
// field that holds it. The writers and the decoder share the row, so they cannot
// disagree on the field. At most one field is set; with none the decoder rejects
// the identifier.
struct PolicyRow {
  e_CONFIG_LIST id;
  PolicyType type;
  const char* name;
  BoolItem SystemInfo::*system_bool = nullptr;
  UIntItem SystemInfo::*system_uint = nullptr;
  BoolItem Permissions::*permission_bool = nullptr;
  BoolItem VideoRecordingSettings::*recording_bool = nullptr;
  UIntItem VideoRecordingSettings::*recording_uint = nullptr;

  constexpr bool HasField() const {
    return system_bool != nullptr || system_uint != nullptr || permission_bool != nullptr ||
           recording_bool != nullptr || recording_uint != nullptr;
  }
  // The field in `policy`, null when the row's field is not of that kind.
  BoolItem* Bool(PolicyMirror& policy) const;
  UIntItem* Number(PolicyMirror& policy) const;
};
// Every row in the order of the list; behind its end row (identifier 255) stand
// the policies that have a field and no name.
struct PolicyList {
  const PolicyRow* rows;
  std::size_t count;

  const PolicyRow* begin() const { return rows; }
  const PolicyRow* end() const { return rows + count; }
};
PolicyList Policies();
// The row of an identifier, null when it holds nothing.
[[nodiscard]] const PolicyRow* FindPolicy(e_CONFIG_LIST id);
// The display name of an identifier, "(unknown)" for one outside the list.
const char* PolicyName(e_CONFIG_LIST id);

// Policy8 item: one policy's value. Untimed, slack 2.
//
//    offset  0      1            2
//           +------+------------+---------------------------------+
//           | 0x18 | identifier | 0 or 1, or the number's low byte |
//           +------+------------+---------------------------------+
inline constexpr std::size_t kPolicy8Bytes = 1 + 1 + 1;
struct BIN_POLICY_8_T {
  unsigned char tag;
  unsigned char id;  // e_CONFIG_LIST
  unsigned char value;
};
static_assert(sizeof(BIN_POLICY_8_T) == kPolicy8Bytes);

// Tag 0x19 is reserved for a 16-bit policy item. Nothing writes it; a reader
// skips four bytes.
inline constexpr std::size_t kPolicy16Bytes = 4;

// The end item, tag 0x1A, one byte: closes every configuration section, and by
// that marks every full dump.
inline constexpr std::size_t kPolicyEndBytes = 1;

}  // namespace vmr

#endif  // VMR_STORE_POLICY_H_
