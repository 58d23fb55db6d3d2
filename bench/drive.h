// A drive as a host reports it, the same at every run: what the rings and packets that
// are measured are made of.
//
//   busy    a fix, a speed, a radar reading, and inputs, a button, streams, microphones and
//           a temperature that come and go at every tick: packets of 61 bytes, 13 items
//   sparse  a fix and a speed at every other tick: packets of about 12 bytes
//
// Owns     the wall clock and the tick counter, which follow its ticks while it lives.
#ifndef VMR_BENCH_DRIVE_H_
#define VMR_BENCH_DRIVE_H_

#include <ctime>

#include "host/default/host_control.h"
#include "host/records.h"
#include "host/wall_clock.h"
#include "store/data_store.h"

namespace vmr::bench {

class Drive {
 public:
  enum class Kind { kBusy, kSparse };

  explicit Drive(Kind kind) : kind_(kind) {}

  // What the unit has, for a store that is open and has recorded nothing.
  static void Equip(DataStore& store) {
    SystemInfo system;
    system.record_speed_in_metadata.value = true;
    store.ReportSystemInfo(system, false);
    store.InitializeSpeedId(1, SPEED_SRC_GPS, SPEED_UNITS_MPH, "", true);
    store.InitializeRadarId(kConfiguredRadarId, RADAR_SRC_GENERIC, SPEED_UNITS_MPH, "", true);
  }
  // That, and who it is; without this no full state is recorded every hour.
  static void Configure(DataStore& store) {
    store.ReportVehicleInfo({{"CAR 7"}}, false);
    store.ReportDepartmentInfo({{"County Sheriff"}}, false);
    store.ReportOfficerInfo({{"M. Okafor"}, {"4711"}}, false);
    store.ReportConfiguration(true);
    Equip(store);
  }

  // All that happens up to `tick`, and the timer's tick, at which it is written.
  void Tick(DataStore& store, unsigned int tick) {
    clock_.tick = tick;
    host::HoldSystemTick(tick);
    if (kind_ == Kind::kBusy)
      ReportBusyTick(store, tick);
    else if (tick % 2 == 0)
      ReportMove(store, tick);
    store.TimerTick(tick);
  }

 private:
  class Clock : public WallClock {
   public:
    Clock() : before_(WallClock::Use(this)) {}
    ~Clock() override { WallClock::Use(before_); }
    Clock(const Clock&) = delete;
    Clock& operator=(const Clock&) = delete;
    std::time_t Now() override { return kStart_s + static_cast<std::time_t>(tick / 2); }
    unsigned int tick = 0;

   private:
    static constexpr std::time_t kStart_s = 1560962036;  // 2019-06-19T16:33:56Z
    WallClock* before_;
  };

  static constexpr auto kNoTag = static_cast<e_Tag>(0);

  // 88 feet and more a second, mostly.
  static GpsStatusItem FixAt(unsigned int tick) {
    GpsStatusItem fix;
    fix.latitude_degrees = 41;
    fix.latitude_is_north = 1;
    fix.latitude_minutes = static_cast<std::uint16_t>(tick / 137 % 60);
    fix.latitude_fraction = static_cast<std::int32_t>(tick % 137 * 73);
    fix.longitude_degrees = 93;
    fix.longitude_minutes = 29;
    fix.longitude_fraction = 9638;
    return fix;
  }

  static void ReportMove(DataStore& store, unsigned int tick) {
    store.ReportGps(FixAt(tick), tick, true);
    store.ReportSpeed(1, static_cast<unsigned short>(40 + tick / 2 % 30), true, tick, kNoTag);
  }

  static void ReportBusyTick(DataStore& store, unsigned int tick) {
    const bool even = tick % 2 == 0;
    const auto speed = static_cast<unsigned short>(40 + tick % 30);
    ReportMove(store, tick);
    store.ReportRadar(kConfiguredRadarId, 0, static_cast<unsigned short>(speed + 9),
                      static_cast<unsigned short>(speed + 5), RADAR_DIRECTION_0, true, tick,
                      kNoTag);
    store.ReportTemp(TEMP_SENSOR_CPU, static_cast<short>(even ? 40 : 50), true, tick);
    store.ReportStateData(even ? TAG_SIREN_ON : TAG_SIREN_OFF, true, tick);
    store.ReportStateData(even ? TAG_BRAKE_ON : TAG_BRAKE_OFF, true, tick);
    store.ReportButton(BUTTON_RECORD, even ? BUTTON_PRESSED : BUTTON_RELEASED, true);
    store.ReportVideoStreamState(VIDEO_STREAM_FIRST, even ? STREAM_STATE_ON : STREAM_STATE_OFF,
                                 true, tick);
    store.ReportCameraState(CAMERA_PORT_FIRST, even ? CAMERA_STATE_ON : CAMERA_STATE_OFF, true,
                            tick);
    for (const unsigned int stream : {3U, 4U, 5U})
      store.ReportLvsState(static_cast<e_VideoStream>(stream), 1, true, even, 0x0A000005, 5004,
                           true, tick);
    for (const unsigned int position : {0U, 1U})
      store.ReportMicState(static_cast<e_MicrophonePosition>(position), even, true, tick);
  }

  const Kind kind_;
  Clock clock_;
};

}  // namespace vmr::bench

#endif  // VMR_BENCH_DRIVE_H_
