#include "tools/record/unit_configuration.h"

#include <errno.h>
#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "backends/file_io.h"
#include "tools/common/console.h"

namespace vmr::tool {
namespace {

using nlohmann::json;

const Schema& FileSchema() { return InputSchema().Definition("configuration"); }

// The text of a file; nothing, after saying why, when it cannot be read.
std::optional<std::string> ReadAll(const std::string& path) {
  constexpr std::size_t kStepBytes = 4096;
  std::string text;
  std::FILE* const file = std::fopen(path.c_str(), "rbe");
  bool good = file != nullptr;
  for (std::size_t count = kStepBytes; good && count == kStepBytes;) {
    text.resize(text.size() + kStepBytes);
    count = std::fread(&text[text.size() - kStepBytes], 1, kStepBytes, file);
    text.resize(text.size() - kStepBytes + count);
    good = std::ferror(file) == 0;
  }
  if (!good) Say(fmt::format("{}: {}", path, TextOfErrno()));
  if (file != nullptr) static_cast<void>(std::fclose(file));  // was only read
  return good ? std::optional(text) : std::nullopt;
}

std::string WhyNoJson(const std::string& text, std::size_t byte) {
  const auto end = text.begin() + static_cast<std::ptrdiff_t>(std::min(byte, text.size()));
  return fmt::format("not valid JSON at line {}", 1 + std::count(text.begin(), end, '\n'));
}

// The file's values, or why there are none.
std::string Parse(const std::string& text, json& values) {
  try {
    values = json::parse(text);
  } catch (const json::parse_error& error) {
    return WhyNoJson(text, error.byte);
  } catch (const json::exception&) {
    return "not valid JSON: a number is out of range";
  }
  return values.is_object() ? FileSchema().WhyNot(values) : "not a JSON object";
}

void ApplyVersions(const JsonFields& fields, UnitConfiguration& configuration) {
  configuration.versions.clear();
  for (const JsonFields& version : fields.List("versions"))
    configuration.versions.push_back(VersionOf(version));
}

void Apply(const JsonFields& fields, UnitConfiguration& configuration) {
  UnitConfiguration& c = configuration;
  if (fields.Has("officer")) c.officer = OfficerOf(fields.Object("officer"));
  if (fields.Has("vehicle")) c.vehicle = VehicleOf(fields.Object("vehicle"));
  if (fields.Has("department")) c.department = DepartmentOf(fields.Object("department"));
  if (fields.Has("serial_number")) c.serial_number = fields.Text("serial_number");
  if (fields.Has("mac")) c.mac = fields.Mac("mac");
  if (fields.Has("versions")) ApplyVersions(fields, c);
  if (fields.Has("system_info")) SystemInfoChanges(fields.Object("system_info"))(c.system);
  if (fields.Has("recording_settings"))
    RecordingSettingsChanges(fields.Object("recording_settings"))(c.recording);
  if (fields.Has("streams")) c.streams = StreamQualityOf(fields.List("streams"));
}

constexpr unsigned int kFullHd = 5;  // EnumToString::VideoFormatToStr

void RecordEverything(SystemInfo& system) {
  for (BoolItem* item :
       {&system.record_patrol_speed, &system.record_department_name, &system.record_brake,
        &system.record_aux_input, &system.record_officer_name, &system.record_wireless_mic,
        &system.record_vehicle_id, &system.record_radar_speeds, &system.record_gps,
        &system.record_time_and_date, &system.record_crash, &system.record_emergency_lights,
        &system.record_siren, &system.record_speed_in_metadata})
    item->value = true;
}

}  // namespace

UnitConfiguration::UnitConfiguration() : versions{{COMPONENT_SYSTEM_SOFTWARE, "vmr " VMR_VERSION}} {
  RecordEverything(system);
  unsigned int port = 0;
  for (auto& stream : streams.streams) stream = {kFullHd, port++, false};
}

std::optional<UnitConfiguration> LoadConfiguration(const std::string& path) {
  const std::optional<std::string> text = ReadAll(path);
  if (!text) return std::nullopt;
  json values;
  if (const std::string why = Parse(*text, values); !why.empty()) {
    Say(fmt::format("{}: {}", path, why));
    return std::nullopt;
  }
  UnitConfiguration configuration;
  Apply(JsonFields(values, FileSchema()), configuration);
  return configuration;
}

void ReportAll(const UnitConfiguration& configuration, DataStore& store) {
  const UnitConfiguration& c = configuration;
  // Only held so far: it is written as one section at the end.
  store.ReportOfficerInfo(c.officer, false);
  store.ReportVehicleInfo(c.vehicle, false);
  store.ReportDepartmentInfo(c.department, false);
  store.ReportSystemSerialNum(c.serial_number);
  store.ReportMac(c.mac.data(), false);
  for (const ComponentVersion& version : c.versions)
    store.ReportVersion(version.component, version.text.c_str());
  store.ReportSystemInfo(c.system, false);
  store.ReportVideoRecordingSettings(c.recording, false);
  store.ReportStreamQualityItem(c.streams, false);
  store.ReportConfiguration(true);
}

}  // namespace vmr::tool
