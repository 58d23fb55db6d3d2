// A store to which everything was reported, for tests of the full dump.
#ifndef VMR_TESTS_SUPPORT_EVERYTHING_H_
#define VMR_TESTS_SUPPORT_EVERYTHING_H_

#include <iterator>

#include "store/data_store.h"

namespace vmr::test {

inline SystemInfo SystemInfoOfEverything() {
  SystemInfo info;
  BoolItem* const switches[] = {&info.allow_power_off_when_vehicle_on,
                                &info.auto_power_off,
                                &info.auto_power_on,
                                &info.force_cabin_mic_on,
                                &info.charge_wireless_mic_when_off,
                                &info.allow_wireless_mic_1_off,
                                &info.allow_cabin_mic_off,
                                &info.activate_wireless_mic_on_record,
                                &info.activate_cabin_mic_on_record,
                                &info.activate_aux_mic_on_record,
                                &info.force_aux_mic_on,
                                &info.allow_wireless_mic_2_off,
                                &info.allow_aux_mic_off,
                                &info.start_on_aux_input,
                                &info.start_on_emergency_lights,
                                &info.start_on_excessive_speed,
                                &info.start_on_siren,
                                &info.start_on_crash,
                                &info.start_on_wireless_mic,
                                &info.policy_70,
                                &info.policy_71,
                                &info.display_disc_usage,
                                &info.display_fast_lock_speeds,
                                &info.display_patrol_speeds,
                                &info.display_target_speeds,
                                &info.record_patrol_speed,
                                &info.record_department_name,
                                &info.record_brake,
                                &info.record_aux_input,
                                &info.record_officer_name,
                                &info.record_wireless_mic,
                                &info.record_vehicle_id,
                                &info.record_radar_speeds,
                                &info.record_gps,
                                &info.record_time_and_date,
                                &info.record_crash,
                                &info.record_emergency_lights,
                                &info.record_siren,
                                &info.record_speed_in_metadata};
  for (BoolItem* const item : switches) item->value = true;
  info.auto_stop_record_time.value = 30;
  info.pre_event_time.value = 45;
  info.post_event_time.value = 60;
  info.radar_type = 3;
  info.time_zone_index = 2;
  info.time_zone_name.value = "CST";
  return info;
}

inline void ReportConfigurationOfEverything(DataStore& store) {
  const unsigned char mac[6] = {0x00, 0x1B, 0x21, 0xAB, 0xCD, 0xEF};
  store.ReportMac(mac, false);
  store.ReportSystemSerialNum("SN-0042");
  store.ReportVehicleInfo({{"Car 7"}}, false);
  store.ReportDepartmentInfo({{"Springfield PD"}}, false);
  store.ReportOfficerInfo({{"A. Smith"}, {"4711"}}, false);
  store.ReportSystemInfo(SystemInfoOfEverything(), false);
  VideoRecordingSettings recording;
  recording.split_screen_mode.value = recording.split_large_events.value = true;
  recording.maximum_recording_size_gb.value = 32;
  store.ReportVideoRecordingSettings(recording, false);
  VideoMgrStreamQualityItem quality;
  quality.streams[0] = {4, 0, false};
  quality.streams[1] = {2, 1, false};
  quality.streams[2] = {5, 0, true};
  quality.streams[3] = {1, 9, false};
  store.ReportStreamQualityItem(quality, false);
  store.ReportVersion(COMPONENT_MAINBOARD, "1.0");
  store.ReportVersion(COMPONENT_SYSTEM_SOFTWARE, "7.3.1");
  store.ReportConfiguration(false);
}

inline void ReportDevicesOfEverything(DataStore& store) {
  constexpr auto kNoTag = static_cast<e_Tag>(0);
  store.ReportRadar(1, 0x141, 70, 68, RADAR_DIRECTION_1, false, 0, kNoTag);
  store.InitializeRadarId(6, RADAR_SRC_DISCONNECTED, SPEED_UNITS_MPH, "rear", false);
  store.InitializeSpeedId(7, SPEED_SRC_GPS, SPEED_UNITS_KMH, "wheel", false);
  store.ReportSpeed(2, 41, false, 0, kNoTag);
  store.ReportSpeed(1, 200, false, 0, kNoTag);
  store.ReportTemp(TEMP_SENSOR_INLET, 25, false, 0);
  store.ReportTemp(TEMP_SENSOR_OUTLET, -5, false, 0);
  store.ReportTemp(TEMP_SENSOR_CPU, 61, false, 0);
  GpsStatusItem fix;
  fix.latitude_degrees = 42, fix.latitude_minutes = 30, fix.latitude_fraction = 2500;
  fix.longitude_degrees = 83, fix.longitude_minutes = 10, fix.longitude_fraction = 7500;
  fix.latitude_is_north = 1;
  store.ReportGps(fix, 0, false);
}

inline void ReportInputsOfEverything(DataStore& store) {
  for (const e_Tag tag : {TAG_EMERGENCY_LIGHTS_ON, TAG_SIREN_ON, TAG_DOOR_ON, TAG_COVERT_ON})
    store.ReportStateData(tag, false, 0);
  store.ReportMicPresent(MIC_POSITION_0, true, false, 0);
  store.ReportMicPresent(MIC_POSITION_2, true, false, 0);
  store.ReportMicState(MIC_POSITION_2, true, false, 0);
  store.ReportVideoStreamState(static_cast<e_VideoStream>(0), STREAM_STATE_ON, false, 0);
  store.ReportVideoStreamState(static_cast<e_VideoStream>(1), STREAM_STATE_BACKGROUND, false, 0);
  store.ReportCameraState(static_cast<e_CameraPort>(0), CAMERA_STATE_ON, false, 0);
  store.ReportCameraState(static_cast<e_CameraPort>(2), CAMERA_STATE_BACKGROUND, false, 0);
  store.ReportCameraState(static_cast<e_CameraPort>(3), CAMERA_STATE_ON, false, 0);
  store.ReportCameraState(static_cast<e_CameraPort>(8), CAMERA_STATE_ON, false, 0);
  // A live stream takes one of its five values per report.
  constexpr int kFields = 5;
  for (int n = 0; n < kFields; ++n) {
    store.ReportLvsState(static_cast<e_VideoStream>(0), 2, true, true, 0xC0A80114, 8080, false, 0);
    store.ReportLvsState(static_cast<e_VideoStream>(5), 1, false, true, 0x0A000001, 554, false, 0);
  }
}

// Nothing of it is written; the store has only its state.
inline void ReportEverything(DataStore& store) {
  ReportConfigurationOfEverything(store);
  ReportDevicesOfEverything(store);
  ReportInputsOfEverything(store);
}

}  // namespace vmr::test

#endif  // VMR_TESTS_SUPPORT_EVERYTHING_H_
