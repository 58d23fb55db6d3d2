// What a day of recording writes to the flash, for three kinds of day. The
// table in docs/integrating.md is what comes out of it.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <string>

#include "backends/data_store_normal.h"
#include "host/default/host_control.h"
#include "tests/soak/counted_files.h"
#include "tests/support/everything.h"
#include "tests/support/temp_dir.h"
#include "tests/support/test_clock.h"

namespace vmr::test {
namespace {

constexpr unsigned int kTicksPerHour = 2 * 3600;
constexpr unsigned int kTicksPerDay = 24 * kTicksPerHour;
constexpr std::time_t kMidnight = 1767225600;  // 2026-01-01 00:00 UTC

// Once every so many ticks.
bool Every(unsigned int ticks, unsigned int tick) { return tick % ticks == 0; }

// A day in the life of a unit, one half second after the other.
class Day {
 public:
  struct Outcome {
    CountedFiles::Counts files;
    int clusters;
  };

  Day() : folder_(TempDir::RoomForRings()), store_(folder_.Path("drive")) {}

  template <typename Drive>
  Outcome Run(Drive drive) {
    EXPECT_EQ(store_.Open(), 1);
    ReportConfigurationOfEverything(store_);
    store_.ReportConfiguration(true);
    files_.StartCounting();
    for (unsigned int tick = 1; tick <= kTicksPerDay; ++tick) {
      host::HoldSystemTick(tick);
      clock_.Set(kMidnight + static_cast<std::time_t>(tick / 2));
      drive(*this, tick);
      store_.TimerTick(tick);
    }
    const Outcome outcome{files_.Count(), store_.CurrentCluster()};
    store_.Close();
    return outcome;
  }

  // A fix every second that wanders by some feet, as of a receiver at rest.
  void Stand(unsigned int tick) {
    if (Every(2, tick)) Fix(static_cast<int>(tick / 2 * 7 % 11), tick);
    if (Every(120, tick)) Temperature(tick, 40 + static_cast<short>(tick / 120 % 2));
  }

  // 73 feet a second, 50 miles an hour, north and back; the speed changes every
  // third second, the brake twice a minute.
  void Roll(unsigned int tick) {
    constexpr unsigned int kTurn_s = 3000;
    const unsigned int second = tick / 2 % (2 * kTurn_s);
    const unsigned int way = second < kTurn_s ? second : 2 * kTurn_s - second;
    if (Every(2, tick)) Fix(static_cast<int>(way) * 120, tick);
    if (Every(6, tick))
      store_.ReportSpeed(1, static_cast<unsigned short>(48 + tick / 6 % 5), true, tick,
                         TAG_SPEED_8);
    if (Every(60, tick)) Input(Every(120, tick) ? TAG_BRAKE_ON : TAG_BRAKE_OFF, tick);
    if (Every(240, tick)) Temperature(tick, 60 + static_cast<short>(tick / 240 % 3) * 3);
  }

  // A stop of five minutes: lights, siren, recording, a microphone.
  void Stop(unsigned int tick_of_stop, unsigned int tick) {
    if (tick_of_stop == 0) {
      Input(TAG_EMERGENCY_LIGHTS_ON, tick);
      store_.ReportButton(BUTTON_RECORD, BUTTON_PRESSED, true);
      Recording(STREAM_STATE_ON, tick);
    }
    if (tick_of_stop == 4) Input(TAG_SIREN_ON, tick);
    if (tick_of_stop == 60) Input(TAG_SIREN_OFF, tick);
    if (tick_of_stop == 80) store_.ReportMicState(MIC_POSITION_0, true, true, tick);
    if (tick_of_stop == 600) {
      Input(TAG_EMERGENCY_LIGHTS_OFF, tick);
      store_.ReportMicState(MIC_POSITION_0, false, true, tick);
      Recording(STREAM_STATE_OFF, tick);
    }
  }

  void Radar(unsigned int tick) {
    store_.ReportRadar(1, 0, 70, static_cast<unsigned short>(40 + tick % 30), RADAR_DIRECTION_1,
                       true, tick, static_cast<e_Tag>(0));
  }

 private:
  void Fix(int ten_thousandths, unsigned int tick) {
    GpsStatusItem fix;
    fix.latitude_degrees = 41;
    fix.latitude_minutes = static_cast<std::uint16_t>(20 + ten_thousandths / 10000);
    fix.latitude_fraction = ten_thousandths % 10000;
    fix.latitude_is_north = 1;
    fix.longitude_degrees = 93;
    store_.ReportGps(fix, tick, true);
  }
  void Temperature(unsigned int tick, int degrees) {
    store_.ReportTemp(TEMP_SENSOR_CPU, static_cast<short>(degrees), true, tick);
  }
  void Input(e_Tag tag, unsigned int tick) { store_.ReportStateData(tag, true, tick); }
  void Recording(e_StreamState state, unsigned int tick) {
    Input(state == STREAM_STATE_ON ? TAG_RECORDING_ON : TAG_RECORDING_OFF, tick);
    store_.ReportVideoStreamState(VIDEO_STREAM_FIRST, state, true, tick);
  }

  TempDir folder_;
  CountedFiles files_;
  TestClock clock_{kMidnight};
  DataStoreNormal store_;
};

void Parked(Day& day, unsigned int tick) { day.Stand(tick); }

// Eight hours on the road, a stop in each of them.
void Patrol(Day& day, unsigned int tick) {
  if (tick >= 8 * kTicksPerHour) return day.Stand(tick);
  const unsigned int tick_of_hour = tick % kTicksPerHour;
  if (tick_of_hour < 3000 || tick_of_hour > 3600) day.Roll(tick);
  if (tick_of_hour >= 3000) day.Stop(tick_of_hour - 3000, tick);
  if (Every(20, tick)) day.Radar(tick);
}

// Never at rest, and a radar that has something new every half second.
void Busy(Day& day, unsigned int tick) {
  day.Roll(tick);
  day.Radar(tick);
  day.Stop(tick % 1200, tick);
}

// Megabytes with two decimals, numbers with blanks between thousands.
std::string Megabytes(long long bytes) {
  char text[32];
  std::snprintf(text, sizeof(text), "%.2f", static_cast<double>(bytes) / 1e6);
  return text;
}

std::string Row(const char* name, const Day::Outcome& day) {
  char text[200];
  std::snprintf(text, sizeof(text), "| %s | %lld | %s | %d | %.0f |", name, day.files.writes,
                Megabytes(day.files.written_bytes).c_str(), day.clusters,
                32768.0 / (day.clusters == 0 ? 1 : day.clusters));
  return text;
}

bool GuideHas(const std::string& row) {
  std::ifstream guide(VMR_SOURCE_DIR "/docs/integrating.md");
  for (std::string line; std::getline(guide, line);)
    if (line == row) return true;
  return false;
}

template <typename Drive>
void ExpectInGuide(const char* name, Drive drive) {
  const Day::Outcome day = Day().Run(drive);
  const std::string row = Row(name, day);
  std::printf("%s\n", row.c_str());
  EXPECT_EQ(day.files.written_bytes, day.files.writes * 4096);
  EXPECT_EQ(day.files.syncs, day.files.writes);
  EXPECT_TRUE(GuideHas(row)) << "docs/integrating.md has no such row: " << row;
}

TEST(FlashWear, OfAParkedDayIsThatOfTheGuide) { ExpectInGuide("parked all day", Parked); }
TEST(FlashWear, OfADayOnPatrolIsThatOfTheGuide) { ExpectInGuide("eight hours of patrol", Patrol); }
TEST(FlashWear, OfABusyDayIsThatOfTheGuide) {
  ExpectInGuide("driving and measuring all day", Busy);
}

}  // namespace
}  // namespace vmr::test
