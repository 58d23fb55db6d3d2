#include "store/policy.h"

#include <cstdio>
#include <cstring>

#include "host/enum_to_string.h"
#include "store/data_store.h"
#include "store/decoders.h"
#include "store/log_source.h"

namespace vmr {
namespace {

constexpr const char* kLogSource = kDataStoreLogSource;

constexpr unsigned short kPolicySlack = 2;
constexpr unsigned short kMacSlack = 2;
constexpr unsigned short kTimeZoneSlack = 4;
constexpr unsigned short kStringSlack = 2;

constexpr e_CONFIG_LIST kEndOfList = 0xFF;

constexpr PolicyRow Bool(e_CONFIG_LIST id, const char* name, BoolItem SystemInfo::*field) {
  PolicyRow row{id, PolicyType::kBool, name};
  row.system_bool = field;
  return row;
}
constexpr PolicyRow Number(e_CONFIG_LIST id, PolicyType type, const char* name,
                           UIntItem SystemInfo::*field) {
  PolicyRow row{id, type, name};
  row.system_uint = field;
  return row;
}
constexpr PolicyRow Permission(e_CONFIG_LIST id, const char* name, BoolItem Permissions::*field) {
  PolicyRow row{id, PolicyType::kBool, name};
  row.permission_bool = field;
  return row;
}
constexpr PolicyRow RecordingBool(e_CONFIG_LIST id, const char* name,
                                  BoolItem VideoRecordingSettings::*field) {
  PolicyRow row{id, PolicyType::kBool, name};
  row.recording_bool = field;
  return row;
}
constexpr PolicyRow RecordingNumber(e_CONFIG_LIST id, const char* name,
                                    UIntItem VideoRecordingSettings::*field) {
  PolicyRow row{id, PolicyType::kUInt8, name};
  row.recording_uint = field;
  return row;
}
// A policy of older units: named, but held nowhere.
constexpr PolicyRow NameOnly(e_CONFIG_LIST id, PolicyType type, const char* name) {
  return PolicyRow{id, type, name};
}

using S = SystemInfo;
using V = VideoRecordingSettings;

// Deliberate: not in the order of the identifiers, and with the names as they
// have always been printed ("stio", "data" for date). Behind the end row stand
// the policies that have a field and no name.
constexpr PolicyRow kPolicies[] = {
    NameOnly(1, PolicyType::kUInt8, "number dvd archives"),
    Bool(2, "allow power off when vehicle on", &S::allow_power_off_when_vehicle_on),
    NameOnly(3, PolicyType::kBool, "always record when vehicle on"),
    Bool(4, "auto power off when vehicle off", &S::auto_power_off),
    Bool(5, "auto power on when vehicle on", &S::auto_power_on),
    NameOnly(6, PolicyType::kBool, "allow turn mic off when recording"),
    NameOnly(7, PolicyType::kBool, "always act. both mics on record"),
    Bool(8, "force cabin mic on", &S::force_cabin_mic_on),
    Bool(80, "charge wireless mic when system off", &S::charge_wireless_mic_when_off),
    Permission(14, "permit set time", &Permissions::set_time),
    NameOnly(9, PolicyType::kBool, "permit add/del officer"),
    NameOnly(10, PolicyType::kBool, "permit enter dep. name"),
    NameOnly(11, PolicyType::kBool, "permit enter vehicle id"),
    NameOnly(12, PolicyType::kBool, "permit mng rec start/stop"),
    NameOnly(13, PolicyType::kBool, "permit set cam. auto zoom"),
    NameOnly(15, PolicyType::kBool, "permit set pre/post event times"),
    NameOnly(16, PolicyType::kBool, "permit set text fields"),
    NameOnly(17, PolicyType::kBool, "permit set video qual"),
    NameOnly(18, PolicyType::kBool, "permit set up input dev"),
    NameOnly(19, PolicyType::kBool, "permit disc reuse"),
    Bool(20, "start on aux input", &S::start_on_aux_input),
    Bool(21, "start on emerg lights", &S::start_on_emergency_lights),
    Bool(22, "start excessive patrol speed", &S::start_on_excessive_speed),
    NameOnly(23, PolicyType::kBool, "stio trigger conf"),
    Bool(24, "start on siren", &S::start_on_siren),
    Bool(25, "start on crash", &S::start_on_crash),
    Bool(26, "start on wireless mic activate", &S::start_on_wireless_mic),
    Bool(28, "display disc usage", &S::display_disc_usage),
    Bool(29, "record patrol car speed", &S::record_patrol_speed),
    Bool(30, "record department name", &S::record_department_name),
    Bool(31, "record brake status", &S::record_brake),
    Bool(32, "record aux status", &S::record_aux_input),
    NameOnly(33, PolicyType::kBool, "record lights and siren status"),
    Bool(34, "record officer name", &S::record_officer_name),
    Bool(35, "record wireless mic status", &S::record_wireless_mic),
    Bool(36, "record patrol vehicle id", &S::record_vehicle_id),
    Bool(37, "record radar speeds", &S::record_radar_speeds),
    Bool(38, "record gps coords", &S::record_gps),
    Bool(39, "record time and data", &S::record_time_and_date),
    Bool(40, "record crash status", &S::record_crash),
    Bool(41, "display fast lock speeds", &S::display_fast_lock_speeds),
    Bool(48, "display patrol speeds", &S::display_patrol_speeds),
    Bool(49, "display target speeds", &S::display_target_speeds),
    Bool(50, "record lights status", &S::record_emergency_lights),
    Bool(51, "record siren status", &S::record_siren),
    NameOnly(64, PolicyType::kUInt8, "video bit rate high quality channel"),
    NameOnly(65, PolicyType::kUInt8, "video bit rate low quality channel"),
    NameOnly(68, PolicyType::kUInt8, "start on patrol speed"),
    Number(69, PolicyType::kUInt8, "auto stop record time", &S::auto_stop_record_time),
    Number(66, PolicyType::kUInt16, "pre event time", &S::pre_event_time),
    Number(67, PolicyType::kUInt16, "post event time", &S::post_event_time),
    Bool(81, "allow turn wireless mic 1 off when recording", &S::allow_wireless_mic_1_off),
    Bool(82, "allow turn cabin mic off when recording", &S::allow_cabin_mic_off),
    Bool(83, "always act. wireless mic on record", &S::activate_wireless_mic_on_record),
    Bool(84, "always act. cabin mic on record", &S::activate_cabin_mic_on_record),
    Bool(96, "allow turn wireless mic 2 off when recording", &S::allow_wireless_mic_2_off),
    Bool(97, "allow turn wireless aux off when recording", &S::allow_aux_mic_off),
    Bool(85, "always act. aux on record", &S::activate_aux_mic_on_record),
    Bool(86, "force aux Mic on", &S::force_aux_mic_on),
    Bool(98, "record speed in metadata", &S::record_speed_in_metadata),
    RecordingBool(99, "split screen mode", &V::split_screen_mode),
    RecordingBool(100, "critical event rules", &V::critical_event_rules),
    RecordingBool(101, "split large events", &V::split_large_events),
    RecordingNumber(102, "maximum recording size in GB", &V::maximum_recording_size_gb),
    NameOnly(kEndOfList, PolicyType::kBool, "(unknown)"),
    Bool(70, "(unknown)", &S::policy_70),
    Bool(71, "(unknown)", &S::policy_71),
};

// The order in which the whole configuration is written.
constexpr e_CONFIG_LIST kDumpOrder[] = {83, 84, 8,  80, 82, 81, 96, 97, 85, 86, 28, 29, 30, 31,
                                        32, 50, 51, 34, 35, 36, 37, 38, 39, 40, 20, 21, 22, 24,
                                        25, 26, 69, 70, 71, 4,  5,  2,  41, 48, 49, 66, 67, 98};
// Deliberate: the order in which changes are written is another one; existing
// recordings show both. So is that 70 and 71 stand among the numbers, here and in
// the dump, while they are held as truth values. Between the two halves the GPS and the radar are
// checked.
constexpr e_CONFIG_LIST kChangeOrder[] = {82, 81, 96, 97, 83, 85, 84, 8,  86, 80, 28, 29,
                                          39, 34, 35, 36, 30, 50, 51, 37, 38, 31, 32, 40,
                                          20, 21, 22, 24, 25, 26, 69, 70, 71, 4,  5,  2};
constexpr e_CONFIG_LIST kChangeOrderAfterChecks[] = {41, 48, 49, 66, 67, 98};
constexpr e_CONFIG_LIST kRecordingOrder[] = {99, 100, 101, 102};

}  // namespace

PolicyList Policies() { return {kPolicies, sizeof(kPolicies) / sizeof(kPolicies[0])}; }

const PolicyRow* FindPolicy(e_CONFIG_LIST id) {
  for (const PolicyRow& row : kPolicies)
    if (row.id == id && row.HasField()) return &row;
  return nullptr;
}

const char* PolicyName(e_CONFIG_LIST id) {
  const PolicyRow* row = kPolicies;
  while (row->id != id && row->id != kEndOfList) ++row;
  return row->name;
}

BoolItem* PolicyRow::Bool(PolicyMirror& policy) const {
  if (system_bool != nullptr) return &(policy.system.*system_bool);
  if (permission_bool != nullptr) return &(policy.permissions.*permission_bool);
  return recording_bool != nullptr ? &(policy.recording.*recording_bool) : nullptr;
}

UIntItem* PolicyRow::Number(PolicyMirror& policy) const {
  if (system_uint != nullptr) return &(policy.system.*system_uint);
  return recording_uint != nullptr ? &(policy.recording.*recording_uint) : nullptr;
}

// ---- Writing -------------------------------------------------------------------

void DataStore::WriteConfigBool(e_CONFIG_LIST id, bool value) {
  WriteConfigInt8(id, value ? 1 : 0);
}

void DataStore::WriteConfigInt8(e_CONFIG_LIST id, unsigned char value) {
  const unsigned char item[kPolicy8Bytes] = {TAG_POLICY_8, id, value};
  AddToCurrPacket(item, sizeof(item), kPolicySlack);
}

void DataStore::WriteDiffBool(e_CONFIG_LIST id, BoolItem& mirror, const BoolItem& current) {
  if (mirror.value == current.value) return;
  mirror = current;
  WriteConfigBool(id, mirror.value);
}

// Deliberate: the whole numbers are compared and the low byte is written, so the
// same byte can be written twice in a row.
void DataStore::WriteDiffUInt8(e_CONFIG_LIST id, UIntItem& mirror, const UIntItem& current) {
  if (mirror.value == current.value) return;
  mirror = current;
  WriteConfigInt8(id, static_cast<unsigned char>(mirror.value));
}

// One held policy as it stands.
void DataStore::WritePolicy(e_CONFIG_LIST id) {
  const PolicyRow* const row = FindPolicy(id);
  if (const UIntItem* const number = row->Number(mirror_.policy))
    WriteConfigInt8(id, static_cast<unsigned char>(number->value));
  else
    WriteConfigBool(id, row->Bool(mirror_.policy)->value);
}

// One policy of `now`, written when it differs from the held one.
void DataStore::WriteSystemChange(e_CONFIG_LIST id, const SystemInfo& now) {
  const PolicyRow* const row = FindPolicy(id);
  if (row->system_uint != nullptr)
    WriteDiffUInt8(id, mirror_.policy.system.*row->system_uint, now.*row->system_uint);
  else
    WriteDiffBool(id, mirror_.policy.system.*row->system_bool, now.*row->system_bool);
}

void DataStore::WriteRecordingChange(e_CONFIG_LIST id, const VideoRecordingSettings& now) {
  const PolicyRow* const row = FindPolicy(id);
  if (row->recording_uint != nullptr)
    WriteDiffUInt8(id, mirror_.policy.recording.*row->recording_uint, now.*row->recording_uint);
  else
    WriteDiffBool(id, mirror_.policy.recording.*row->recording_bool, now.*row->recording_bool);
}

void DataStore::WriteRecordingSettings() {
  for (const e_CONFIG_LIST id : kRecordingOrder) WritePolicy(id);
}

void DataStore::WriteSystemInfo() {
  for (const e_CONFIG_LIST id : kDumpOrder) WritePolicy(id);
  const SystemInfo& system = mirror_.policy.system;
  WriteStringData(TAG_TIME_ZONE, EnumToString::TimeZoneToStr(system.time_zone_index),
                  kTimeZoneSlack);
  // Deliberate: no reader accepts this tag. Existing recordings carry the item.
  WriteStringData(TAG_TIME_ZONE_NAME, system.time_zone_name.value, kTimeZoneSlack);
  constexpr unsigned int kDescribedCameras = 4;
  for (unsigned int port = 0; port < kDescribedCameras; ++port)
    WriteCameraDesc(static_cast<e_CameraPort>(port));
  for (unsigned int mic = 0; mic < kMicCount; ++mic)
    WriteMicDesc(static_cast<e_MicrophonePosition>(mic));
}

void DataStore::WriteAllConfig() {
  WriteMac(mirror_.identity.mac, kMacSlack);
  if (mirror_.policy.configuration_valid) {
    WriteSystemSerialNum();
    WriteVehicleInfo();
    WriteSystemInfo();
    WriteDepartmentInfo();
    WriteOfficer();
    WriteRecordingSettings();
    WriteStreamSettings();
  }
  WriteGpsDesc(mirror_.gps.gpsDesc);
  for (const RADAR_DESC_T& radar : mirror_.radar.radars)
    if (radar.id != kFreeDeviceId) WriteRadarDesc(radar);
  for (const SPEED_DESC_T& device : mirror_.speed.devices)
    if (device.id != kFreeDeviceId) WriteSpeedDesc(device);
  for (unsigned int sensor = 0; sensor < kTempSensorCount; ++sensor)
    WriteTempDesc(static_cast<e_TempSensors>(sensor), mirror_.temperature.sensors[sensor]);
  // Exactly one ends every section: full dumps are found by it.
  WriteStateData(TAG_POLICY_END, kPolicySlack, 0);
}

// ---- Reporting -----------------------------------------------------------------

void DataStore::ReportConfiguration(bool write) {
  CheckRadarConfig(write);
  CheckGpsConfig(write);
  CheckSpeedConfig(write);
  InitTempSensors(write);
  mirror_.policy.configuration_valid = true;
  if (write) WriteAllConfig();
}

void DataStore::ReportSystemInfo(const SystemInfo& info, bool write) {
  if (mirror_.policy.configuration_valid && write)
    WriteSystemInfoChanges(info);
  else
    mirror_.policy.system = info;
}

void DataStore::WriteSystemInfoChanges(const SystemInfo& info) {
  SystemInfo& held = mirror_.policy.system;
  for (const e_CONFIG_LIST id : kChangeOrder) WriteSystemChange(id, info);
  held.radar_type = info.radar_type;  // what the checks configure for
  CheckGpsConfig(true);
  CheckRadarConfig(true);
  for (const e_CONFIG_LIST id : kChangeOrderAfterChecks) WriteSystemChange(id, info);
  CheckSpeedConfig(true);

  const char* const zone_now = EnumToString::TimeZoneToStr(info.time_zone_index);
  if (strcmp(EnumToString::TimeZoneToStr(held.time_zone_index), zone_now) != 0)
    WriteStringData(TAG_TIME_ZONE, zone_now, kStringSlack);
  held.time_zone_index = info.time_zone_index;
  WriteDiffString(TAG_TIME_ZONE_NAME, held.time_zone_name, info.time_zone_name);
}

void DataStore::ReportVideoRecordingSettings(const VideoRecordingSettings& settings, bool write) {
  VideoRecordingSettings& held = mirror_.policy.recording;
  if (mirror_.policy.configuration_valid && write) {
    VMR_LOG(kLogTrace, "Recording Settings Changed");
    for (const e_CONFIG_LIST id : kRecordingOrder) WriteRecordingChange(id, settings);
  } else {
    VMR_LOG(kLogTrace, "Setting the Recording Settings data");
  }
  held = settings;
}

// ---- Decoding ------------------------------------------------------------------

int DataStore::StoreConfigItem8(const BIN_POLICY_8_T* item) {
  if (item == nullptr) return 0;
  unsigned char value = item->value;
  const PolicyRow* const row = FindPolicy(item->id);
  if (row == nullptr) {
    VMR_LOG(kLogError, "Invalid config " << std::hex << static_cast<unsigned int>(item->id));
    value = 0;  // Deliberate: a rejected policy is printed as 0, whatever it carried
  } else if (UIntItem* const number = row->Number(mirror_.policy)) {
    number->value = value;
  } else {
    row->Bool(mirror_.policy)->value = value != 0;
  }
  if (Viewing())
    std::printf("[Tag=Policy8, TagNo=0x18, PolicyId=0x%02X, %s=%d]", item->id, PolicyName(item->id),
                value);
  return static_cast<int>(kPolicy8Bytes);
}

void DataStore::StoreConfigSettingsValid(bool valid, e_Tag tag) {
  mirror_.policy.configuration_valid = valid;
  if (Viewing()) std::printf("[Tag=end, TagNo=0x%02X, end policy]", tag);
}

void DecodePolicy8(DataStore& out, const unsigned char* item, DecodeResult& /*result*/) {
  const BIN_POLICY_8_T policy{item[1], item[2]};
  out.StoreConfigItem8(&policy);
}

void DecodePolicy16(DataStore& /*out*/, const unsigned char* /*item*/, DecodeResult& /*result*/) {
  // Deliberate: "POLOICY", as log watchers know it.
  // The reader's own message: no operation of a store is called for the item.
  if (LogLine::Wanted(kLogError))
    LogLine(kLogError, "MetadataReader.cc", __LINE__).Stream() << "Unexpected TAG_POLOICY16 tag";
}

void DecodePolicyEnd(DataStore& out, const unsigned char* /*item*/, DecodeResult& result) {
  result.policy_end_seen = true;
  out.StoreConfigSettingsValid(true, TAG_POLICY_END);
}

}  // namespace vmr
