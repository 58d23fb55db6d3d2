#include "tests/interchange/course.h"

#include <cstdint>

#include "host/crc8.h"
#include "host/default/host_control.h"
#include "store/bytes.h"
#include "store/tag_catalogue.h"
#include "tests/support/everything.h"

namespace vmr::test {
namespace {

constexpr auto kNoTag = static_cast<e_Tag>(0);

std::string EveryByteFrom(int first, int count) {
  std::string text;
  for (int byte = first; byte < first + count; ++byte)
    if (byte % 256 != 0) text += static_cast<char>(static_cast<unsigned char>(byte));
  return text;
}

}  // namespace

void Course::Tick() {
  ++tick_;
  clock_.Set(clock_offset_s_ + static_cast<std::time_t>(tick_ / 2));
  host::HoldSystemTick(tick_);
  store_.TimerTick(tick_);
}

void Course::Settle() {
  do Tick();
  while (store_.HasPendingItems());
}

void Course::Run() {
  static constexpr Part kParts[] = {
      &Course::Devices,   &Course::CamerasAndMicrophones, &Course::Identity,      &Course::Policies,
      &Course::Positions, &Course::ValuesOfOneSignedByte, &Course::IdsBeyondAscii};
  host::SetPriorShutdownTick(tick_);
  store_.ReportShutdownDataAtStartup();
  ReportEverything(store_);
  store_.WriteFullState(true);
  Settle();
  constexpr unsigned int kRounds = 20;
  for (number_ = 0; number_ < kRounds; ++number_)
    for (const Part part : kParts) {
      (this->*part)();
      Settle();
    }
  MovesAroundTheLimit();
  TextsOfEveryByte();
  Clocks();
  store_.WriteFullState(false);
  store_.ReportShutdownData();
  store_.WriteBuffers();
}

void Course::Devices() {
  const auto reading = static_cast<unsigned short>(number_ * 4099);
  store_.InitializeSpeedId(7, SPEED_SRC_GPS, SPEED_UNITS_KMH, "wheel", true);
  store_.ReportSpeed(1, static_cast<unsigned short>(number_ * 37), true, tick_ - 3, kNoTag);
  store_.ReportSpeed(7, reading, true, tick_, kNoTag);
  store_.InitializeRadarId(2, RADAR_SRC_GENERIC, SPEED_UNITS_MPH, "rear", true);
  store_.ReportRadar(1, reading, static_cast<unsigned short>(reading / 3), 70,
                     number_ % 2 == 0 ? RADAR_DIRECTION_0 : RADAR_DIRECTION_1, true, tick_, kNoTag);
  store_.ReportRadarState(2, number_ % 3 == 0, true);
}

void Course::CamerasAndMicrophones() {
  constexpr unsigned int kPorts = 9, kStreams = 4, kMics = 4;
  for (unsigned int n = 0; n < kPorts; ++n)
    store_.ReportCameraState(static_cast<e_CameraPort>(n),
                             static_cast<e_CameraState>((n + number_) % 4), true, tick_);
  for (unsigned int n = 0; n < kStreams; ++n) {
    const auto stream = static_cast<e_VideoStream>(n);
    store_.ReportVideoStreamState(stream, static_cast<e_StreamState>((n + number_) % 4), true,
                                  tick_ - 50);
    store_.ReportLvsState(stream, static_cast<unsigned char>(n), number_ % 2 == 0, number_ % 3 == 0,
                          0xC0A801F0 + number_, static_cast<unsigned short>(65530 + number_), true,
                          tick_);
  }
  for (unsigned int n = 0; n < kMics; ++n) {
    const auto mic = static_cast<e_MicrophonePosition>(n);
    store_.ReportMicPresent(mic, number_ % 2 == 0, true, tick_);
    store_.ReportMicState(mic, (number_ + n) % 2 == 0, true, tick_);
  }
  VideoMgrStreamQualityItem quality;
  for (auto& stream : quality.streams) stream = {number_ * 11, number_ % 11, number_ % 2 == 1};
  store_.ReportStreamQualityItem(quality, true);
}

void Course::Identity() {
  const unsigned char mac[6] = {0xFF, 0x80, 0x7F, 0, 5, static_cast<unsigned char>(number_ * 13)};
  const std::string name(number_ * 7, static_cast<char>('a' + number_));
  store_.ReportMac(mac, true);
  store_.ReportStringData(TAG_LOG, name.c_str());
  store_.ReportVehicleInfo({{name + "v"}}, true);
  store_.ReportDepartmentInfo({{name + "d"}}, true);
  store_.ReportOfficerInfo({{name + "o"}, {name}}, true);
  store_.ReportSystemSerialNum(name);
  store_.ReportVersion(static_cast<e_COMPONENT>(number_ % 10), name.c_str());
}

void Course::Policies() {
  SystemInfo system = SystemInfoOfEverything();
  system.policy_70.value = number_ % 2 == 0;
  system.pre_event_time.value = number_ * 30;
  system.radar_type = static_cast<std::uint16_t>(number_ % 5);
  system.time_zone_index = static_cast<std::int32_t>(number_);
  system.record_speed_in_metadata.value = number_ % 5 != 0;
  store_.ReportSystemInfo(system, true);
  VideoRecordingSettings recording;
  recording.split_screen_mode.value = number_ % 2 == 0;
  recording.maximum_recording_size_gb.value = number_ * 50;
  store_.ReportVideoRecordingSettings(recording, true);
  if (number_ % 7 == 0) store_.ReportConfiguration(true);
  store_.ReportStateData(number_ % 2 == 0 ? TAG_SIREN_ON : TAG_SIREN_OFF, true, tick_);
  store_.ReportStateData(number_ % 3 == 0 ? TAG_COVERT_ON : TAG_COVERT_OFF, true, tick_ - 5);
  store_.ReportButton(static_cast<e_button_list>(number_ % 4),
                      static_cast<e_button_action_list>(number_ % 5), true);
  store_.ReportBookmark(tick_ - number_);
}

void Course::Fix(int lat_tts, int lon_tts, bool north, bool east) {
  GpsStatusItem fix;
  fix.latitude_degrees = static_cast<std::uint16_t>(lat_tts / 600000);
  fix.latitude_minutes = static_cast<std::uint16_t>(lat_tts / 10000 % 60);
  fix.latitude_fraction = lat_tts % 10000;
  fix.latitude_is_north = north ? 1 : 0;
  fix.longitude_degrees = static_cast<std::uint16_t>(lon_tts / 600000);
  fix.longitude_minutes = static_cast<std::uint16_t>(lon_tts / 10000 % 60);
  fix.longitude_fraction = lon_tts % 10000;
  fix.longitude_is_east = east ? 1 : 0;
  store_.ReportGps(fix, tick_, true);
}

// In all four quadrants, near and far.
void Course::Positions() {
  constexpr int kSteps[] = {0, 33, 100, 127, 128, 129, 5000, 32767, 32768, 40000};
  const bool north = number_ % 2 == 0, east = number_ % 4 < 2;
  store_.ReportGpsState(number_ % 3 != 2, true);
  store_.CheckGpsConfig(true);
  for (const int step : kSteps) {
    Fix(25502500 + step, 49907500 - step / 2, north, east);
    Settle();
  }
}

// Steps that are 20 feet but for some 0.000001: the rounding of a long double of
// 64 bits gets some of them wrong by the law of cosines.
void Course::MovesAroundTheLimit() {
  constexpr int kFirst = 46016860, kCount = 24, kLon = 49907500;
  for (int lat = kFirst; lat < kFirst + kCount; ++lat) {
    store_.ReportGpsState(false, true);
    Fix(lat, kLon, true, false);
    Fix(lat - 32, kLon + 33, true, false);
    Settle();
  }
}

void Course::ValuesOfOneSignedByte() {
  constexpr short kDegrees[] = {0, 127, -128, -1, 60, -60, 128, 255, -129, 200};
  constexpr unsigned int kSensors = 4;
  for (unsigned int n = 0; n < kSensors; ++n)
    store_.ReportTemp(static_cast<e_TempSensors>(n), kDegrees[(number_ + n) % 10], true, tick_);
}

// Unknown numbers, which messages show as a raw character.
void Course::IdsBeyondAscii() {
  constexpr unsigned char kIds[] = {3, 127, 128, 200, 254};
  for (const unsigned char id : kIds) {
    store_.ReportSpeed(id, 5, true, tick_, kNoTag);
    store_.ReportValidSpeed(id, false);
    store_.ReportRadar(id, 1, 2, 3, RADAR_DIRECTION_0, true, tick_, kNoTag);
    store_.ReportRadarState(id, true, true);
    store_.ReportTemp(static_cast<e_TempSensors>(id), 5, true, tick_);
    store_.ReportCameraState(static_cast<e_CameraPort>(id), CAMERA_STATE_ON, true, tick_);
    store_.ReportMicState(static_cast<e_MicrophonePosition>(id), true, true, tick_);
  }
}

void Course::TextsOfEveryByte() {
  for (const int first : {1, 101, 201}) {
    const std::string text = EveryByteFrom(first, 100);
    store_.ReportStringData(TAG_LOG, text.c_str());
    store_.ReportVehicleInfo({{text}}, true);
    Settle();
    store_.InitializeGpsInt(text.c_str(), true);
    store_.ReportOfficerInfo({{text}, {text.substr(0, 50)}}, true);
    Settle();
    store_.InitializeRadarId(2, RADAR_SRC_GENERIC, SPEED_UNITS_KMH, text.c_str(), true);
    Settle();
    store_.InitializeSpeedId(7, SPEED_SRC_GPS, SPEED_UNITS_KMH, text.c_str(), true);
    store_.ReportVersion(COMPONENT_IOP, text.c_str());
    Settle();
  }
}

// Before 1970, and around and behind the end of 32 signed bits.
void Course::Clocks() {
  constexpr std::int64_t kTimes[] = {-2147483648LL, -1, 0, 2147483640, 2147483647, 4000000000};
  constexpr int kTicks = 12;
  for (const std::int64_t time : kTimes) {
    clock_offset_s_ = static_cast<std::time_t>(time - tick_ / 2);
    store_.WriteTime(static_cast<long>(static_cast<std::int32_t>(time)));
    for (int n = 0; n < kTicks; ++n) Tick();
    Settle();
  }
}

std::string FlatFileOfGarbage() {
  constexpr int kVariants = 60;
  std::string file(reinterpret_cast<const char*>(kFlatFileMagic), sizeof(kFlatFileMagic));
  std::uint32_t state = 1;
  std::uint32_t tick = 100;
  for (const TagRow& row : Tags())
    for (int variant = 0; variant < kVariants; ++variant) {
      unsigned char packet[kMaxPacketBytes];
      unsigned char* const item = packet + kHeader1Bytes;
      for (std::size_t n = 0; n < kMaxPacketItemBytes; ++n) {
        state = state * 1664525 + 1013904223;
        item[n] = static_cast<unsigned char>(state >> 24);
      }
      item[0] = row.tag;
      const std::size_t length = ItemLength(&row, item, kMaxPacketItemBytes);
      if (length == 0) continue;
      packet[0] = HEADER_1;
      PutLe32(packet + 1, ++tick);
      packet[5] = static_cast<unsigned char>(length);
      const auto covered = static_cast<unsigned int>(kHeader1Bytes + length);
      packet[covered] = Crc8(packet, covered, kCrcInitial);
      file.append(reinterpret_cast<const char*>(packet), covered + 1);
    }
  return file;
}

}  // namespace vmr::test
