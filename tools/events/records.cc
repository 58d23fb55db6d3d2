#include "tools/events/records.h"

#include <optional>
#include <utility>

namespace vmr::tool {
namespace {

// A field of a record and its name in JSON.
template <typename Record, typename Item>
struct Row {
  const char* name;
  Item Record::*field;
};

using S = SystemInfo;
using V = VideoRecordingSettings;

constexpr Row<SystemInfo, BoolItem> kSystemFlags[] = {
    {"allow_power_off_when_vehicle_on", &S::allow_power_off_when_vehicle_on},
    {"auto_power_off", &S::auto_power_off},
    {"auto_power_on", &S::auto_power_on},
    {"force_cabin_mic_on", &S::force_cabin_mic_on},
    {"charge_wireless_mic_when_off", &S::charge_wireless_mic_when_off},
    {"allow_wireless_mic_1_off", &S::allow_wireless_mic_1_off},
    {"allow_cabin_mic_off", &S::allow_cabin_mic_off},
    {"activate_wireless_mic_on_record", &S::activate_wireless_mic_on_record},
    {"activate_cabin_mic_on_record", &S::activate_cabin_mic_on_record},
    {"activate_aux_mic_on_record", &S::activate_aux_mic_on_record},
    {"force_aux_mic_on", &S::force_aux_mic_on},
    {"allow_wireless_mic_2_off", &S::allow_wireless_mic_2_off},
    {"allow_aux_mic_off", &S::allow_aux_mic_off},
    {"start_on_aux_input", &S::start_on_aux_input},
    {"start_on_emergency_lights", &S::start_on_emergency_lights},
    {"start_on_excessive_speed", &S::start_on_excessive_speed},
    {"start_on_siren", &S::start_on_siren},
    {"start_on_crash", &S::start_on_crash},
    {"start_on_wireless_mic", &S::start_on_wireless_mic},
    {"policy_70", &S::policy_70},
    {"policy_71", &S::policy_71},
    {"display_disc_usage", &S::display_disc_usage},
    {"display_fast_lock_speeds", &S::display_fast_lock_speeds},
    {"display_patrol_speeds", &S::display_patrol_speeds},
    {"display_target_speeds", &S::display_target_speeds},
    {"record_patrol_speed", &S::record_patrol_speed},
    {"record_department_name", &S::record_department_name},
    {"record_brake", &S::record_brake},
    {"record_aux_input", &S::record_aux_input},
    {"record_officer_name", &S::record_officer_name},
    {"record_wireless_mic", &S::record_wireless_mic},
    {"record_vehicle_id", &S::record_vehicle_id},
    {"record_radar_speeds", &S::record_radar_speeds},
    {"record_gps", &S::record_gps},
    {"record_time_and_date", &S::record_time_and_date},
    {"record_crash", &S::record_crash},
    {"record_emergency_lights", &S::record_emergency_lights},
    {"record_siren", &S::record_siren},
    {"record_speed_in_metadata", &S::record_speed_in_metadata},
};
constexpr Row<SystemInfo, UIntItem> kSystemNumbers[] = {
    {"pre_event_time", &S::pre_event_time},
    {"post_event_time", &S::post_event_time},
    {"auto_stop_record_time", &S::auto_stop_record_time},
};
constexpr Row<VideoRecordingSettings, BoolItem> kRecordingFlags[] = {
    {"split_screen_mode", &V::split_screen_mode},
    {"critical_event_rules", &V::critical_event_rules},
    {"split_large_events", &V::split_large_events},
};
constexpr Row<VideoRecordingSettings, UIntItem> kRecordingNumbers[] = {
    {"maximum_recording_size_gb", &V::maximum_recording_size_gb},
};

void Set(BoolItem& item, const JsonFields& fields, const char* name) {
  item.value = fields.Bool(name);
}

void Set(UIntItem& item, const JsonFields& fields, const char* name) {
  item.value = fields.Number<unsigned int>(name);
}

// Collects what is to be set, because the fields are gone when it is.
template <typename Record>
class Changes {
 public:
  explicit Changes(const JsonFields& fields) : fields_(fields) {}

  template <typename Item, std::size_t N>
  void AddGiven(const Row<Record, Item> (&rows)[N]) {
    for (const auto& row : rows) {
      if (!fields_.Has(row.name)) continue;
      Item item;
      Set(item, fields_, row.name);
      Add([field = row.field, item](Record& record) { record.*field = item; });
    }
  }
  void Add(std::function<void(Record&)> change) { changes_.push_back(std::move(change)); }

  std::function<void(Record&)> All() {
    return [changes = std::move(changes_)](Record& record) {
      for (const auto& change : changes) change(record);
    };
  }

 private:
  const JsonFields& fields_;
  std::vector<std::function<void(Record&)>> changes_;
};

std::function<void(VideoRecordingSettings&)> CameraChange(const JsonFields& fields) {
  const auto camera = fields.Number<std::size_t>("camera");
  std::optional<bool> enabled;
  std::optional<unsigned int> quality;
  if (fields.Has("enabled")) enabled = fields.Bool("enabled");
  if (fields.Has("quality")) quality = fields.Number<unsigned int>("quality");
  return [=](VideoRecordingSettings& settings) {
    CameraRecordingSettings& held = settings.cameras[camera];
    held.enabled.value = enabled.value_or(held.enabled.value);
    held.quality.value = quality.value_or(held.quality.value);
  };
}

}  // namespace

Officer OfficerOf(const JsonFields& fields) {
  Officer officer;
  officer.name.value = fields.Text("name");
  officer.badge_id.value = fields.Text("badge_id");
  return officer;
}

VehicleInfo VehicleOf(const JsonFields& fields) {
  VehicleInfo vehicle;
  vehicle.vehicle_id.value = fields.Text("vehicle_id");
  return vehicle;
}

DepartmentInfo DepartmentOf(const JsonFields& fields) {
  DepartmentInfo department;
  department.department_name.value = fields.Text("department_name");
  return department;
}

ComponentVersion VersionOf(const JsonFields& fields) {
  return {fields.Number<e_COMPONENT>("component"), fields.Text("text")};
}

VideoMgrStreamQualityItem StreamQualityOf(const std::vector<JsonFields>& streams) {
  VideoMgrStreamQualityItem item;
  auto* stream = item.streams;
  for (const JsonFields& fields : streams) {
    stream->format = fields.Number<unsigned int>("format");
    stream->camera_port = fields.Number<unsigned int>("camera_port");
    stream->split = fields.Bool("split");
    ++stream;
  }
  return item;
}

std::function<void(SystemInfo&)> SystemInfoChanges(const JsonFields& fields) {
  Changes<SystemInfo> changes(fields);
  changes.AddGiven(kSystemFlags);
  changes.AddGiven(kSystemNumbers);
  if (fields.Has("radar_type"))
    changes.Add([type = fields.Number<std::uint16_t>("radar_type")](SystemInfo& info) {
      info.radar_type = type;
    });
  if (fields.Has("time_zone_index"))
    changes.Add([index = fields.Number<std::int32_t>("time_zone_index")](SystemInfo& info) {
      info.time_zone_index = index;
    });
  if (fields.Has("time_zone_name"))
    changes.Add([name = fields.Text("time_zone_name")](SystemInfo& info) {
      info.time_zone_name.value = name;
    });
  return changes.All();
}

std::function<void(VideoRecordingSettings&)> RecordingSettingsChanges(const JsonFields& fields) {
  Changes<VideoRecordingSettings> changes(fields);
  changes.AddGiven(kRecordingFlags);
  changes.AddGiven(kRecordingNumbers);
  if (fields.Has("cameras"))
    for (const JsonFields& camera : fields.List("cameras")) changes.Add(CameraChange(camera));
  return changes.All();
}

}  // namespace vmr::tool
