// A host that reports at random to every family of a store, and the store that
// records it.
#ifndef VMR_TESTS_READER_RANDOM_HOST_H_
#define VMR_TESTS_READER_RANDOM_HOST_H_

#include <algorithm>
#include <ctime>
#include <iterator>
#include <random>
#include <stdexcept>
#include <string>

#include "host/default/host_control.h"
#include "store/data_store.h"
#include "store/tag_catalogue.h"
#include "tests/reader/mirror_comparison.h"
#include "tests/support/bytes.h"
#include "tests/support/reference_crc.h"
#include "tests/support/test_clock.h"

namespace vmr::test {

struct Course {
  bool dumps = false;             // full dumps and configurations in between
  bool odd_values = false;        // more bits than items carry, overlong texts
  bool four_hemispheres = false;  // else north and west
  bool speeds_switched = false;   // policy 98 goes on and off
};

// A store that takes the time zone name out of its packets before they go on: no
// reader accepts the tag, and it would hide what stands behind it.
template <typename Store>
class WithoutTimeZoneName : public Store {
 public:
  using Store::Store;
  int WriteData(const unsigned char* data, int length, unsigned int sysTick) override {
    const int head = data[0] == HEADER_1 ? 6 : data[0] == HEADER_2 ? 3 : 2;
    if (data[0] < HEADER_1 || data[0] > HEADER_CONT) return Store::WriteData(data, length, sysTick);
    if (data[0] != HEADER_CONT) ForgetFlush();
    Bytes packet(data, data + head);
    for (int at = head; at + 1 < length;) {
      const bool zone_name = data[at] == TAG_TIME_ZONE_NAME;
      const int size = zone_name ? 2 + data[at + 1]
                                 : static_cast<int>(ItemLength(FindTag(data[at]), data + at, 255));
      if (size == 0) throw std::logic_error("an item without a length was written");
      if (!zone_name) packet.insert(packet.end(), data + at, data + at + size);
      Notice(data[at], data[at + 1]);
      at += size;
    }
    packet[static_cast<std::size_t>(head) - 1] =
        static_cast<unsigned char>(packet.size() - static_cast<std::size_t>(head));
    const std::size_t covered = data[0] == HEADER_CONT ? packet[1] : packet.size();
    packet.push_back(
        ReferenceCrc8(Bytes(packet.begin(), packet.begin() + static_cast<long>(covered))));
    return Store::WriteData(packet.data(), static_cast<int>(packet.size()), sysTick);
  }
  // Whether in one flush a device's description stood behind its state or reading.
  bool described_behind_reading = false;

 private:
  void ForgetFlush() { std::fill(std::begin(reading_seen_), std::end(reading_seen_), false); }
  void Notice(unsigned char tag, unsigned char next) {
    if (tag > TAG_RADAR_DESC && tag < TAG_RADAR_STATE)
      reading_seen_[tag < TAG_RADAR_TARGET ? tag - 0x60 : tag - 0x67] = true;
    if (tag == TAG_RADAR_STATE) reading_seen_[next & 0x1F] = true;
    if (tag > TAG_SPEED_DESC && tag <= 0x7E)
      reading_seen_[32 + (tag < TAG_SPEED_16 ? tag - 0x70 : tag - 0x77)] = true;
    if (tag == TAG_RADAR_DESC && reading_seen_[next & 0x1F]) described_behind_reading = true;
    if (tag == TAG_SPEED_DESC && reading_seen_[32 + (next & 0x1F)]) described_behind_reading = true;
  }
  bool reading_seen_[64] = {};
};

class RandomHost {
 public:
  RandomHost(DataStore& store, const Course& course, std::uint32_t seed)
      : store_(store), course_(course), random_(seed) {
    system_.record_speed_in_metadata.value = true;
  }

  // Everything is described, so that the reading side knows the devices, and the
  // configuration is valid.
  void Start() {
    Tick();
    store_.CheckRadarConfig(true);
    store_.CheckGpsConfig(true);
    store_.CheckSpeedConfig(true);
    Settle();
    store_.InitTempSensors(true);
    store_.InitializeRadarId(Odd() ? 12 : 5, RADAR_SRC_GENERIC, SPEED_UNITS_KMH, "rear", true);
    third_device_ = Odd() ? 9 : 7;
    store_.InitializeSpeedId(third_device_, SPEED_SRC_GPS, SPEED_UNITS_MPH, "wheel", true);
    Settle();
    store_.ReportConfiguration(false);
    ReportSystem();
  }

  void Report(int events) {
    for (int n = 0; n < events; ++n) {
      const auto& event = kEvents[Below(std::size(kEvents))];
      (this->*event)();
      // Few enough wait together for the items of one flush to stay in order.
      if (++waiting_ == 3) Settle();
      if (course_.dumps && Below(150) == 0) Dump();
    }
    Settle();
  }

  const History& Past() const { return history_; }
  void Dump() {
    Settle();
    // A configuration section alone describes the radars anew and leaves them
    // disconnected in the reader; units write one before anything else.
    if (Flip()) store_.ReportConfiguration(true);
    Settle();
    store_.WriteFullState(Flip());
    history_.dumped = true;
    Settle();
  }
  // Ticks on until the store has looked at the clock once more.
  void Finish() {
    clock_runs_true_ = true;
    constexpr int kTicksBetweenClockChecks = 4;
    for (int n = 0; n < kTicksBetweenClockChecks; ++n) Tick();
    Settle();
  }
  // Ticks until nothing waits.
  void Settle() {
    do Tick();
    while (store_.HasPendingItems());
    waiting_ = 0;
  }

 private:
  using Event = void (RandomHost::*)();
  static const Event kEvents[20];

  void Tick() {
    // While something waits, a unit's ticks come one by one.
    tick_ += 1 + (!store_.HasPendingItems() && Below(20) == 0 ? Below(300) : 0);
    if (!clock_runs_true_ && Below(200) == 0) clock_offset_s_ += 100;
    clock_.Set(1700000000 + clock_offset_s_ + static_cast<std::time_t>(tick_ / 2));
    host::HoldSystemTick(tick_);
    store_.TimerTick(tick_);
  }

  std::uint32_t Below(std::size_t n) {
    return std::uniform_int_distribution<std::uint32_t>(0,
                                                        static_cast<std::uint32_t>(n - 1))(random_);
  }
  bool Flip() { return Below(2) == 1; }
  bool Odd() { return course_.odd_values && Below(4) == 0; }
  // Now, a little while ago, or beyond what a packet absorbs.
  unsigned int EventTick() { return tick_ - (Flip() ? 0 : Below(40)); }
  std::string Text() {
    // Overlong ones fill packets of their own.
    if (Odd()) {
      Settle();
      waiting_ = 2;
      return std::string(200 + Below(110), static_cast<char>('a' + Below(26)));
    }
    std::string text(Below(20), ' ');
    for (char& c : text) c = static_cast<char>(' ' + 1 + Below(90));
    return text;
  }

  void ReportGps() {
    const int lat = kHomeLat + drift_lat_, lon = kHomeLon + drift_lon_;
    const int step = Below(10) == 0 ? 200000 : Flip() ? 3000 : 60;
    drift_lat_ = Clamp(drift_lat_ + Step(step));
    drift_lon_ = Clamp(drift_lon_ + Step(step));
    GpsStatusItem fix;
    fix.latitude_degrees = static_cast<std::uint16_t>(lat / 600000);
    fix.latitude_minutes = static_cast<std::uint16_t>(lat / 10000 % 60);
    fix.latitude_fraction = lat % 10000;
    fix.latitude_is_north = course_.four_hemispheres && Below(5) == 0 ? 0 : 1;
    fix.longitude_degrees = static_cast<std::uint16_t>(lon / 600000);
    fix.longitude_minutes = static_cast<std::uint16_t>(lon / 10000 % 60);
    fix.longitude_fraction = lon % 10000;
    fix.longitude_is_east = course_.four_hemispheres && Below(5) == 0 ? 1 : 0;
    store_.ReportGps(fix, EventTick(), true);
  }
  int Step(int most) {
    return static_cast<int>(Below(static_cast<std::size_t>(most) * 2 + 1)) - most;
  }
  static int Clamp(int drift) { return std::max(-4000000, std::min(4000000, drift)); }

  void ReportGpsState() { store_.ReportGpsState(Below(4) != 0, true); }
  void ReportSpeed() {
    const unsigned char id =
        Below(3) == 0 ? third_device_ : static_cast<unsigned char>(1 + Below(2));
    const std::uint32_t speed = Flip() ? Below(6) : Flip() ? Below(300) : Below(65536);
    store_.ReportSpeed(id, static_cast<unsigned short>(speed), true, EventTick(), kNoTag);
  }
  void ReportValidSpeed() {
    store_.ReportValidSpeed(static_cast<unsigned char>(1 + Below(2)), false);
  }
  void InitializeSpeed() {
    store_.InitializeSpeedId(third_device_, static_cast<e_SPEED_SRC_TYPE>(Odd() ? 33 : Below(3)),
                             static_cast<e_SpeedUnits>(Odd() ? 9 : Below(4)), Text().c_str(), true);
  }
  unsigned char RadarId() {
    return Flip() ? static_cast<unsigned char>(1) : store_.Mirror().radar.radars[1].id;
  }
  void ReportRadar() {
    const unsigned char id = RadarId();
    const RADAR_DESC_T& held = store_.Mirror().radar.radars[id == 1 ? 0 : 1];
    const auto speed = [&] {
      return static_cast<unsigned short>(Odd() ? Below(65536) : Flip() ? Below(260) : Below(1024));
    };
    const bool same = Below(3) != 0;
    store_.ReportRadar(
        id, same ? held.lock : speed(), same ? held.fastest : speed(), speed(),
        same ? held.direction : static_cast<e_RADAR_DIRECTION>(Odd() ? Below(5) : Below(2)), true,
        EventTick(), kNoTag);
  }
  void ReportRadarState() { store_.ReportRadarState(RadarId(), Below(3) != 0, true); }
  void ReportTemp() {
    const int degrees =
        Odd() ? static_cast<int>(Below(65536)) - 32768 : static_cast<int>(Below(256)) - 128;
    store_.ReportTemp(static_cast<e_TempSensors>(Below(5)), static_cast<short>(degrees), true,
                      EventTick());
  }
  void ReportInput() {
    const DiscreteInput& input = kDiscreteInputs[Below(kDiscreteInputCount)];
    store_.ReportStateData(Flip() ? input.on_tag : input.off_tag, true, EventTick());
  }
  void ReportButton() {
    store_.ReportButton(static_cast<e_button_list>(Below(4)),
                        static_cast<e_button_action_list>(Below(4)), true);
    if (Flip()) store_.ReportBookmark(EventTick());
  }
  void ReportCamera() {
    store_.ReportCameraState(static_cast<e_CameraPort>(Below(10)),
                             static_cast<e_CameraState>(Odd() ? Below(40) : Below(3)), true,
                             EventTick());
  }
  void ReportStream() {
    store_.ReportVideoStreamState(static_cast<e_VideoStream>(Below(5)),
                                  static_cast<e_StreamState>(Odd() ? Below(40) : Below(3)), true,
                                  EventTick());
  }
  void ReportQuality() {
    for (VideoMgrStreamQualityItem::Stream& stream : quality_.streams)
      if (Flip()) stream = {Odd() ? Below(40) : Below(16), Below(11), Flip()};
    store_.ReportStreamQualityItem(quality_, true);
  }
  void ReportLive() {
    store_.ReportLvsState(
        static_cast<e_VideoStream>(Below(7)), static_cast<unsigned char>(Below(3)), Flip(), Flip(),
        0xC0A80100 + Below(3), static_cast<unsigned short>(8080 + Below(3)), true, EventTick());
  }
  void ReportMic() {
    const auto position = static_cast<e_MicrophonePosition>(Below(5));
    if (Flip())
      store_.ReportMicPresent(position, Flip(), true, EventTick());
    else
      store_.ReportMicState(position, Flip(), true, EventTick());
  }
  void ReportWho() {
    const VehicleInfo vehicle{{Text()}};
    store_.ReportVehicleInfo(vehicle, true);
    const DepartmentInfo department{{Text()}};
    store_.ReportDepartmentInfo(department, true);
    const Officer officer{{Text()}, {Text()}};
    store_.ReportOfficerInfo(officer, true);
  }
  void ReportMac() {
    unsigned char mac[6];
    for (unsigned char& byte : mac) byte = static_cast<unsigned char>(Below(256));
    store_.ReportMac(mac, true);
  }
  void ReportVersionsAndSerial() {
    store_.ReportVersion(static_cast<e_COMPONENT>(Below(11)), Text().c_str());
    store_.ReportSystemSerialNum(Text());
    store_.ReportStringData(Flip() ? TAG_LOG : TAG_TEST, Text().c_str());
  }
  void ReportSystem() {
    Settle();
    for (const PolicyRow& row : Policies()) {
      if (row.system_bool != nullptr && Below(6) == 0) (system_.*row.system_bool).value = Flip();
      if (row.system_uint != nullptr && Below(6) == 0)
        (system_.*row.system_uint).value = Odd() ? Below(65536) : Below(256);
    }
    if (!course_.speeds_switched) system_.record_speed_in_metadata.value = true;
    if (!system_.record_speed_in_metadata.value) history_.speeds_were_off = true;
    if (Below(5) == 0) system_.radar_type = static_cast<std::uint16_t>(Below(5));
    system_.time_zone_index = static_cast<std::int32_t>(Below(50));
    system_.time_zone_name.value = Flip() ? "CST" : "EST";
    store_.ReportSystemInfo(system_, true);
    Settle();
  }
  void ReportRecordingSettings() {
    VideoRecordingSettings settings;
    settings.split_screen_mode.value = Flip();
    settings.critical_event_rules.value = Flip();
    settings.split_large_events.value = Flip();
    settings.maximum_recording_size_gb.value = Odd() ? Below(65536) : Below(256);
    settings.cameras[Below(9)].quality.value = Below(100);
    store_.ReportVideoRecordingSettings(settings, true);
  }

  static constexpr auto kNoTag = static_cast<e_Tag>(0);
  static constexpr int kHomeLat = (42 * 60 + 30) * 10000;
  static constexpr int kHomeLon = (83 * 60 + 10) * 10000;

  DataStore& store_;
  const Course course_;
  std::mt19937 random_;
  TestClock clock_{0};
  unsigned int tick_ = 1000;
  std::time_t clock_offset_s_ = 0;
  bool clock_runs_true_ = false;
  int waiting_ = 0;
  int drift_lat_ = 0;
  int drift_lon_ = 0;
  unsigned char third_device_ = 7;
  SystemInfo system_;
  VideoMgrStreamQualityItem quality_;
  History history_;
};

inline const RandomHost::Event RandomHost::kEvents[20] = {
    &RandomHost::ReportGps,        &RandomHost::ReportGpsState,
    &RandomHost::ReportSpeed,      &RandomHost::ReportValidSpeed,
    &RandomHost::InitializeSpeed,  &RandomHost::ReportRadar,
    &RandomHost::ReportRadarState, &RandomHost::ReportTemp,
    &RandomHost::ReportInput,      &RandomHost::ReportButton,
    &RandomHost::ReportCamera,     &RandomHost::ReportStream,
    &RandomHost::ReportQuality,    &RandomHost::ReportLive,
    &RandomHost::ReportMic,        &RandomHost::ReportWho,
    &RandomHost::ReportMac,        &RandomHost::ReportVersionsAndSerial,
    &RandomHost::ReportSystem,     &RandomHost::ReportRecordingSettings,
};

}  // namespace vmr::test

#endif  // VMR_TESTS_READER_RANDOM_HOST_H_
