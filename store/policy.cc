#include "store/policy.h"

#include <cstring>

#include "host/enum_to_string.h"
#include "store/data_store.h"
#include "store/decoders.h"
#include "store/log_source.h"
#include "store/view_text.h"

namespace vmr {
namespace {

constexpr const char* kLogSource = kDataStoreLogSource;

constexpr unsigned short kPolicySlack = 2;
constexpr unsigned short kMacSlack = 2;
constexpr unsigned short kTimeZoneSlack = 4;
constexpr unsigned short kStringSlack = 2;

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
    NameOnly(CONFIG_NUMBER_DVD_ARCHIVES, PolicyType::kUInt8, "number dvd archives"),
    Bool(CONFIG_ALLOW_POWER_OFF_WHEN_VEHICLE_ON, "allow power off when vehicle on",
         &S::allow_power_off_when_vehicle_on),
    NameOnly(CONFIG_ALWAYS_RECORD_WHEN_VEHICLE_ON, PolicyType::kBool,
             "always record when vehicle on"),
    Bool(CONFIG_AUTO_POWER_OFF, "auto power off when vehicle off", &S::auto_power_off),
    Bool(CONFIG_AUTO_POWER_ON, "auto power on when vehicle on", &S::auto_power_on),
    NameOnly(CONFIG_ALLOW_MIC_OFF, PolicyType::kBool, "allow turn mic off when recording"),
    NameOnly(CONFIG_ACTIVATE_BOTH_MICS_ON_RECORD, PolicyType::kBool,
             "always act. both mics on record"),
    Bool(CONFIG_FORCE_CABIN_MIC_ON, "force cabin mic on", &S::force_cabin_mic_on),
    Bool(CONFIG_CHARGE_WIRELESS_MIC_WHEN_OFF, "charge wireless mic when system off",
         &S::charge_wireless_mic_when_off),
    Permission(CONFIG_PERMIT_SET_TIME, "permit set time", &Permissions::set_time),
    NameOnly(CONFIG_PERMIT_OFFICER, PolicyType::kBool, "permit add/del officer"),
    NameOnly(CONFIG_PERMIT_DEPARTMENT_NAME, PolicyType::kBool, "permit enter dep. name"),
    NameOnly(CONFIG_PERMIT_VEHICLE_ID, PolicyType::kBool, "permit enter vehicle id"),
    NameOnly(CONFIG_PERMIT_RECORD_START_STOP, PolicyType::kBool, "permit mng rec start/stop"),
    NameOnly(CONFIG_PERMIT_CAMERA_AUTO_ZOOM, PolicyType::kBool, "permit set cam. auto zoom"),
    NameOnly(CONFIG_PERMIT_EVENT_TIMES, PolicyType::kBool, "permit set pre/post event times"),
    NameOnly(CONFIG_PERMIT_TEXT_FIELDS, PolicyType::kBool, "permit set text fields"),
    NameOnly(CONFIG_PERMIT_VIDEO_QUALITY, PolicyType::kBool, "permit set video qual"),
    NameOnly(CONFIG_PERMIT_INPUT_DEVICES, PolicyType::kBool, "permit set up input dev"),
    NameOnly(CONFIG_PERMIT_DISC_REUSE, PolicyType::kBool, "permit disc reuse"),
    Bool(CONFIG_START_ON_AUX_INPUT, "start on aux input", &S::start_on_aux_input),
    Bool(CONFIG_START_ON_EMERGENCY_LIGHTS, "start on emerg lights", &S::start_on_emergency_lights),
    Bool(CONFIG_START_ON_EXCESSIVE_SPEED, "start excessive patrol speed",
         &S::start_on_excessive_speed),
    NameOnly(CONFIG_TRIGGER_CONFIGURATION, PolicyType::kBool, "stio trigger conf"),
    Bool(CONFIG_START_ON_SIREN, "start on siren", &S::start_on_siren),
    Bool(CONFIG_START_ON_CRASH, "start on crash", &S::start_on_crash),
    Bool(CONFIG_START_ON_WIRELESS_MIC, "start on wireless mic activate", &S::start_on_wireless_mic),
    Bool(CONFIG_DISPLAY_DISC_USAGE, "display disc usage", &S::display_disc_usage),
    Bool(CONFIG_RECORD_PATROL_SPEED, "record patrol car speed", &S::record_patrol_speed),
    Bool(CONFIG_RECORD_DEPARTMENT_NAME, "record department name", &S::record_department_name),
    Bool(CONFIG_RECORD_BRAKE, "record brake status", &S::record_brake),
    Bool(CONFIG_RECORD_AUX_INPUT, "record aux status", &S::record_aux_input),
    NameOnly(CONFIG_RECORD_LIGHTS_AND_SIREN, PolicyType::kBool, "record lights and siren status"),
    Bool(CONFIG_RECORD_OFFICER_NAME, "record officer name", &S::record_officer_name),
    Bool(CONFIG_RECORD_WIRELESS_MIC, "record wireless mic status", &S::record_wireless_mic),
    Bool(CONFIG_RECORD_VEHICLE_ID, "record patrol vehicle id", &S::record_vehicle_id),
    Bool(CONFIG_RECORD_RADAR_SPEEDS, "record radar speeds", &S::record_radar_speeds),
    Bool(CONFIG_RECORD_GPS, "record gps coords", &S::record_gps),
    Bool(CONFIG_RECORD_TIME_AND_DATE, "record time and data", &S::record_time_and_date),
    Bool(CONFIG_RECORD_CRASH, "record crash status", &S::record_crash),
    Bool(CONFIG_DISPLAY_FAST_LOCK_SPEEDS, "display fast lock speeds", &S::display_fast_lock_speeds),
    Bool(CONFIG_DISPLAY_PATROL_SPEEDS, "display patrol speeds", &S::display_patrol_speeds),
    Bool(CONFIG_DISPLAY_TARGET_SPEEDS, "display target speeds", &S::display_target_speeds),
    Bool(CONFIG_RECORD_EMERGENCY_LIGHTS, "record lights status", &S::record_emergency_lights),
    Bool(CONFIG_RECORD_SIREN, "record siren status", &S::record_siren),
    NameOnly(CONFIG_VIDEO_BIT_RATE_HIGH, PolicyType::kUInt8, "video bit rate high quality channel"),
    NameOnly(CONFIG_VIDEO_BIT_RATE_LOW, PolicyType::kUInt8, "video bit rate low quality channel"),
    NameOnly(CONFIG_START_ON_PATROL_SPEED, PolicyType::kUInt8, "start on patrol speed"),
    Number(CONFIG_AUTO_STOP_RECORD_TIME, PolicyType::kUInt8, "auto stop record time",
           &S::auto_stop_record_time),
    Number(CONFIG_PRE_EVENT_TIME, PolicyType::kUInt16, "pre event time", &S::pre_event_time),
    Number(CONFIG_POST_EVENT_TIME, PolicyType::kUInt16, "post event time", &S::post_event_time),
    Bool(CONFIG_ALLOW_WIRELESS_MIC_1_OFF, "allow turn wireless mic 1 off when recording",
         &S::allow_wireless_mic_1_off),
    Bool(CONFIG_ALLOW_CABIN_MIC_OFF, "allow turn cabin mic off when recording",
         &S::allow_cabin_mic_off),
    Bool(CONFIG_ACTIVATE_WIRELESS_MIC_ON_RECORD, "always act. wireless mic on record",
         &S::activate_wireless_mic_on_record),
    Bool(CONFIG_ACTIVATE_CABIN_MIC_ON_RECORD, "always act. cabin mic on record",
         &S::activate_cabin_mic_on_record),
    Bool(CONFIG_ALLOW_WIRELESS_MIC_2_OFF, "allow turn wireless mic 2 off when recording",
         &S::allow_wireless_mic_2_off),
    Bool(CONFIG_ALLOW_AUX_MIC_OFF, "allow turn wireless aux off when recording",
         &S::allow_aux_mic_off),
    Bool(CONFIG_ACTIVATE_AUX_MIC_ON_RECORD, "always act. aux on record",
         &S::activate_aux_mic_on_record),
    Bool(CONFIG_FORCE_AUX_MIC_ON, "force aux Mic on", &S::force_aux_mic_on),
    Bool(CONFIG_RECORD_SPEED_IN_METADATA, "record speed in metadata", &S::record_speed_in_metadata),
    RecordingBool(CONFIG_SPLIT_SCREEN_MODE, "split screen mode", &V::split_screen_mode),
    RecordingBool(CONFIG_CRITICAL_EVENT_RULES, "critical event rules", &V::critical_event_rules),
    RecordingBool(CONFIG_SPLIT_LARGE_EVENTS, "split large events", &V::split_large_events),
    RecordingNumber(CONFIG_MAXIMUM_RECORDING_SIZE_GB, "maximum recording size in GB",
                    &V::maximum_recording_size_gb),
    NameOnly(CONFIG_LIST_END, PolicyType::kBool, "(unknown)"),
    Bool(CONFIG_POLICY_70, "(unknown)", &S::policy_70),
    Bool(CONFIG_POLICY_71, "(unknown)", &S::policy_71),
};

// The order in which the whole configuration is written.
constexpr e_CONFIG_LIST kDumpOrder[] = {
    CONFIG_ACTIVATE_WIRELESS_MIC_ON_RECORD,
    CONFIG_ACTIVATE_CABIN_MIC_ON_RECORD,
    CONFIG_FORCE_CABIN_MIC_ON,
    CONFIG_CHARGE_WIRELESS_MIC_WHEN_OFF,
    CONFIG_ALLOW_CABIN_MIC_OFF,
    CONFIG_ALLOW_WIRELESS_MIC_1_OFF,
    CONFIG_ALLOW_WIRELESS_MIC_2_OFF,
    CONFIG_ALLOW_AUX_MIC_OFF,
    CONFIG_ACTIVATE_AUX_MIC_ON_RECORD,
    CONFIG_FORCE_AUX_MIC_ON,
    CONFIG_DISPLAY_DISC_USAGE,
    CONFIG_RECORD_PATROL_SPEED,
    CONFIG_RECORD_DEPARTMENT_NAME,
    CONFIG_RECORD_BRAKE,
    CONFIG_RECORD_AUX_INPUT,
    CONFIG_RECORD_EMERGENCY_LIGHTS,
    CONFIG_RECORD_SIREN,
    CONFIG_RECORD_OFFICER_NAME,
    CONFIG_RECORD_WIRELESS_MIC,
    CONFIG_RECORD_VEHICLE_ID,
    CONFIG_RECORD_RADAR_SPEEDS,
    CONFIG_RECORD_GPS,
    CONFIG_RECORD_TIME_AND_DATE,
    CONFIG_RECORD_CRASH,
    CONFIG_START_ON_AUX_INPUT,
    CONFIG_START_ON_EMERGENCY_LIGHTS,
    CONFIG_START_ON_EXCESSIVE_SPEED,
    CONFIG_START_ON_SIREN,
    CONFIG_START_ON_CRASH,
    CONFIG_START_ON_WIRELESS_MIC,
    CONFIG_AUTO_STOP_RECORD_TIME,
    CONFIG_POLICY_70,
    CONFIG_POLICY_71,
    CONFIG_AUTO_POWER_OFF,
    CONFIG_AUTO_POWER_ON,
    CONFIG_ALLOW_POWER_OFF_WHEN_VEHICLE_ON,
    CONFIG_DISPLAY_FAST_LOCK_SPEEDS,
    CONFIG_DISPLAY_PATROL_SPEEDS,
    CONFIG_DISPLAY_TARGET_SPEEDS,
    CONFIG_PRE_EVENT_TIME,
    CONFIG_POST_EVENT_TIME,
    CONFIG_RECORD_SPEED_IN_METADATA,
};
// Deliberate: the order in which changes are written is another one; existing
// recordings show both. So is that 70 and 71 stand among the numbers, here and in
// the dump, while they are held as truth values. Between the two halves the GPS and the radar are
// checked.
constexpr e_CONFIG_LIST kChangeOrder[] = {
    CONFIG_ALLOW_CABIN_MIC_OFF,
    CONFIG_ALLOW_WIRELESS_MIC_1_OFF,
    CONFIG_ALLOW_WIRELESS_MIC_2_OFF,
    CONFIG_ALLOW_AUX_MIC_OFF,
    CONFIG_ACTIVATE_WIRELESS_MIC_ON_RECORD,
    CONFIG_ACTIVATE_AUX_MIC_ON_RECORD,
    CONFIG_ACTIVATE_CABIN_MIC_ON_RECORD,
    CONFIG_FORCE_CABIN_MIC_ON,
    CONFIG_FORCE_AUX_MIC_ON,
    CONFIG_CHARGE_WIRELESS_MIC_WHEN_OFF,
    CONFIG_DISPLAY_DISC_USAGE,
    CONFIG_RECORD_PATROL_SPEED,
    CONFIG_RECORD_TIME_AND_DATE,
    CONFIG_RECORD_OFFICER_NAME,
    CONFIG_RECORD_WIRELESS_MIC,
    CONFIG_RECORD_VEHICLE_ID,
    CONFIG_RECORD_DEPARTMENT_NAME,
    CONFIG_RECORD_EMERGENCY_LIGHTS,
    CONFIG_RECORD_SIREN,
    CONFIG_RECORD_RADAR_SPEEDS,
    CONFIG_RECORD_GPS,
    CONFIG_RECORD_BRAKE,
    CONFIG_RECORD_AUX_INPUT,
    CONFIG_RECORD_CRASH,
    CONFIG_START_ON_AUX_INPUT,
    CONFIG_START_ON_EMERGENCY_LIGHTS,
    CONFIG_START_ON_EXCESSIVE_SPEED,
    CONFIG_START_ON_SIREN,
    CONFIG_START_ON_CRASH,
    CONFIG_START_ON_WIRELESS_MIC,
    CONFIG_AUTO_STOP_RECORD_TIME,
    CONFIG_POLICY_70,
    CONFIG_POLICY_71,
    CONFIG_AUTO_POWER_OFF,
    CONFIG_AUTO_POWER_ON,
    CONFIG_ALLOW_POWER_OFF_WHEN_VEHICLE_ON,
};
constexpr e_CONFIG_LIST kChangeOrderAfterChecks[] = {
    CONFIG_DISPLAY_FAST_LOCK_SPEEDS, CONFIG_DISPLAY_PATROL_SPEEDS, CONFIG_DISPLAY_TARGET_SPEEDS,
    CONFIG_PRE_EVENT_TIME,           CONFIG_POST_EVENT_TIME,       CONFIG_RECORD_SPEED_IN_METADATA};
constexpr e_CONFIG_LIST kRecordingOrder[] = {CONFIG_SPLIT_SCREEN_MODE, CONFIG_CRITICAL_EVENT_RULES,
                                             CONFIG_SPLIT_LARGE_EVENTS,
                                             CONFIG_MAXIMUM_RECORDING_SIZE_GB};

}  // namespace

PolicyList Policies() { return {kPolicies, sizeof(kPolicies) / sizeof(kPolicies[0])}; }

const PolicyRow* FindPolicy(e_CONFIG_LIST id) {
  for (const PolicyRow& row : kPolicies)
    if (row.id == id && row.HasField()) return &row;
  return nullptr;
}

const char* PolicyName(e_CONFIG_LIST id) {
  const PolicyRow* row = kPolicies;
  while (row->id != id && row->id != CONFIG_LIST_END) ++row;
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

namespace {

// One held policy as it stands.
void WritePolicy(DataStore& store, PolicyMirror& held, e_CONFIG_LIST id) {
  const PolicyRow* const row = FindPolicy(id);
  if (const UIntItem* const number = row->Number(held))
    store.WriteConfigInt8(id, static_cast<unsigned char>(number->value));
  else
    store.WriteConfigBool(id, row->Bool(held)->value);
}

// One policy of `now`, written when it differs from the held one.
void WriteSystemChange(DataStore& store, SystemInfo& held, e_CONFIG_LIST id,
                       const SystemInfo& now) {
  const PolicyRow* const row = FindPolicy(id);
  if (row->system_uint != nullptr)
    store.WriteDiffUInt8(id, held.*row->system_uint, now.*row->system_uint);
  else
    store.WriteDiffBool(id, held.*row->system_bool, now.*row->system_bool);
}

void WriteRecordingChange(DataStore& store, VideoRecordingSettings& held, e_CONFIG_LIST id,
                          const VideoRecordingSettings& now) {
  const PolicyRow* const row = FindPolicy(id);
  if (row->recording_uint != nullptr)
    store.WriteDiffUInt8(id, held.*row->recording_uint, now.*row->recording_uint);
  else
    store.WriteDiffBool(id, held.*row->recording_bool, now.*row->recording_bool);
}

void WriteSystemChanges(DataStore& store, SystemInfo& held, const SystemInfo& now) {
  for (const e_CONFIG_LIST id : kChangeOrder) WriteSystemChange(store, held, id, now);
  held.radar_type = now.radar_type;  // what the checks configure for
  store.CheckGpsConfig(true);
  store.CheckRadarConfig(true);
  for (const e_CONFIG_LIST id : kChangeOrderAfterChecks) WriteSystemChange(store, held, id, now);
  store.CheckSpeedConfig(true);

  const char* const zone_now = EnumToString::TimeZoneToStr(now.time_zone_index);
  if (strcmp(EnumToString::TimeZoneToStr(held.time_zone_index), zone_now) != 0)
    store.WriteStringData(TAG_TIME_ZONE, zone_now, kStringSlack);
  held.time_zone_index = now.time_zone_index;
  store.WriteDiffString(TAG_TIME_ZONE_NAME, held.time_zone_name, now.time_zone_name);
}

}  // namespace

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

void DataStore::WriteRecordingSettings() {
  for (const e_CONFIG_LIST id : kRecordingOrder) WritePolicy(*this, mirror_.policy, id);
}

void DataStore::WriteSystemInfo() {
  for (const e_CONFIG_LIST id : kDumpOrder) WritePolicy(*this, mirror_.policy, id);
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
    WriteSystemChanges(*this, mirror_.policy.system, info);
  else
    mirror_.policy.system = info;
}

void DataStore::ReportVideoRecordingSettings(const VideoRecordingSettings& settings, bool write) {
  VideoRecordingSettings& held = mirror_.policy.recording;
  if (mirror_.policy.configuration_valid && write) {
    VMR_LOG(kLogTrace, "Recording Settings Changed");
    for (const e_CONFIG_LIST id : kRecordingOrder) WriteRecordingChange(*this, held, id, settings);
  } else {
    VMR_LOG(kLogTrace, "Setting the Recording Settings data");
  }
  held = settings;
}

// ---- Decoding ------------------------------------------------------------------

int DataStore::StoreConfigItem8(const BIN_POLICY_8_T* item) {
  if (item == nullptr) return 0;
  const auto id = static_cast<e_CONFIG_LIST>(item->id);
  unsigned char value = item->value;
  const PolicyRow* const row = FindPolicy(id);
  if (row == nullptr) {
    VMR_LOG(kLogError, "Invalid config " << std::hex << static_cast<unsigned int>(id));
    value = 0;  // Deliberate: a rejected policy is printed as 0, whatever it carried
  } else if (UIntItem* const number = row->Number(mirror_.policy)) {
    number->value = value;
  } else {
    row->Bool(mirror_.policy)->value = value != 0;
  }
  if (Viewing()) {
    PrintItemHead(TAG_POLICY_8);
    PrintText(", PolicyId=0x", Hex2{id}, ", ", PolicyName(id), '=', value, ']');
  }
  return static_cast<int>(kPolicy8Bytes);
}

void DataStore::StoreConfigSettingsValid(bool valid, e_Tag tag) {
  mirror_.policy.configuration_valid = valid;
  if (!Viewing()) return;
  PrintItemHead(TAG_POLICY_END, tag);
  PrintText(", end policy]");
}

void DecodePolicy8(DataStore& out, const unsigned char* item, DecodeResult& /*result*/) {
  const auto policy = AsRecord<BIN_POLICY_8_T>(item);
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
