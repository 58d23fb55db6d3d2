// A unit's recorder service: keeps a ring in a folder, takes events from
// standard input, one a line, and ends in order on SIGTERM or SIGINT. The line
// "save" makes the last minute a file of its own.
//
//   recorder FOLDER      FOLDER/drive_1.mtd, FOLDER/drive_2.mtd, FOLDER/ticks,
//                        FOLDER/saved
#include <poll.h>
#include <signal.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>
#include <sys/signalfd.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <algorithm>
#include <string>

#include "backends/data_store_normal.h"
#include "host/log.h"
#include "host/watchdog.h"
#include "reader/metadata_reader.h"
#include "ticks.h"

namespace {

void Say(const std::string& text) { vmr::LogMsg::Log(vmr::kLogInfo, text); }

// ---- What the unit is ----------------------------------------------------------

// Only held until ReportConfiguration, which writes all of it as one section.
// From then on the recording is dumped whole every hour.
void ReportConfiguration(vmr::DataStore& store) {
  vmr::SystemInfo system;
  system.record_gps.value = true;
  system.record_speed_in_metadata.value = true;  // off: no speed is written
  system.start_on_siren.value = true;
  system.pre_event_time.value = 30;
  system.time_zone_name.value = "Central";
  const unsigned char mac[6] = {0x02, 0x00, 0x5E, 0x10, 0x00, 0x01};

  store.ReportOfficerInfo({{"J. Larsen"}, {"4711"}}, false);
  store.ReportVehicleInfo({{"Car 7"}}, false);
  store.ReportSystemSerialNum("VMR-000123");
  store.ReportMac(mac, false);
  store.ReportVersion(vmr::COMPONENT_MAINBOARD, "rev C");
  store.ReportSystemInfo(system, false);
  store.ReportConfiguration(true);
}

// ---- Events --------------------------------------------------------------------

struct InputLine {
  const char* line;
  vmr::e_Tag tag;
};
constexpr InputLine kInputLines[] = {
    {"lights on", vmr::TAG_EMERGENCY_LIGHTS_ON},
    {"lights off", vmr::TAG_EMERGENCY_LIGHTS_OFF},
    {"siren on", vmr::TAG_SIREN_ON},
    {"siren off", vmr::TAG_SIREN_OFF},
    {"door open", vmr::TAG_DOOR_ON},
    {"door shut", vmr::TAG_DOOR_OFF},
};

// "fix N 41 39.0150 W 93 29.9638": degrees, minutes with four decimals.
bool ParseFix(const char* line, vmr::GpsStatusItem& fix) {
  char north = 0;
  char east = 0;
  const int fields =
      sscanf(line, "fix %c %hu %hu.%4d %c %hu %hu.%4d", &north, &fix.latitude_degrees,
             &fix.latitude_minutes, &fix.latitude_fraction, &east, &fix.longitude_degrees,
             &fix.longitude_minutes, &fix.longitude_fraction);
  fix.latitude_is_north = north == 'N' ? 1 : 0;
  fix.longitude_is_east = east == 'E' ? 1 : 0;
  return fields == 8;
}

// False for a line that is no event.
bool ReportLine(vmr::DataStore& store, const char* line) {
  const unsigned int tick = unit::TickNow();
  vmr::GpsStatusItem fix;
  if (ParseFix(line, fix)) return store.ReportGps(fix, tick, true), true;
  if (strcmp(line, "bookmark") == 0) return store.ReportBookmark(tick), true;
  for (const InputLine& input : kInputLines)
    if (strcmp(line, input.line) == 0) return store.ReportStateData(input.tag, true, tick), true;
  return false;
}

// ---- The service ---------------------------------------------------------------

class Recorder {
 public:
  explicit Recorder(const std::string& folder)
      : ticks_file_(folder + "/ticks"),
        saved_file_(folder + "/saved"),
        ring_(folder + "/drive"),
        store_(ring_) {}

  // The first start writes 256 MiB: two rings of never-written clusters.
  bool Start() {
    if (store_.Open() == 0) return false;  // the log says why
    const unsigned int last = store_.GetCurrentSystemTick();
    if (!unit::StartTicks(ticks_file_, last)) Say("cannot keep ticks in " + ticks_file_);
    // What was on when the power went is off now. First of all, because it is
    // written at the last tick of the run before.
    if (last != 0) store_.ReportShutdownDataAtStartup();
    const unsigned int first = unit::TickNow();
    store_.InitCurrentSystemTick(first);
    ReportConfiguration(store_);
    store_.TimerTick(first);
    Say("recording from tick " + std::to_string(first));
    return true;
  }

  // Whatever number of half seconds went by: the tick now counts.
  void Tick() {
    store_.TimerTick(unit::TickNow());
    reports_ = 0;
    if (!unit::KeepTicks()) Say("cannot keep ticks in " + ticks_file_);
    watchdog_.PetWatchdog();  // the device took what was due
  }

  // Between two timer ticks a store holds 4080 bytes of items and drops what
  // comes on top; a dump of everything may want 2100 of them.
  void Take(const char* line) {
    constexpr int kMostReports = 50;  // of at most 20 bytes
    if (strcmp(line, "save") == 0) return SaveLastMinute();
    if (!ReportLine(store_, line)) return Say(std::string("no event: ") + line);
    if (++reports_ < kMostReports) return;
    store_.WriteBuffers();
    reports_ = 0;
  }

  // The last tick first, so that what is switched off here is stamped with it.
  void Stop() {
    store_.TimerTick(unit::TickNow());
    store_.ReportShutdownData();
    store_.Close();
    if (!unit::StopTicks()) Say("cannot keep ticks in " + ticks_file_);
    Say("stopped at tick " + std::to_string(store_.GetCurrentSystemTick()));
  }

 private:
  // What still waits is in no file. Read-only, because the ring is being recorded
  // into: a reader that repairs would write beside the recorder.
  void SaveLastMinute() {
    constexpr unsigned int kMinute_ticks = 120;
    store_.WriteBuffers();
    const unsigned int now = store_.GetCurrentSystemTick();
    const unsigned int start = now - std::min(now, kMinute_ticks);
    vmr::MetadataReader reader(vmr::RingAccess::kReadOnly);
    const bool saved = reader.ReadToNewFile(ring_, saved_file_, start, now, &watchdog_);
    Say((saved ? "saved the minute before tick " : "could not save the minute before tick ") +
        std::to_string(now));
  }

  std::string ticks_file_;
  std::string saved_file_;
  std::string ring_;
  vmr::DataStoreNormal store_;
  vmr::Watchdog watchdog_;
  int reports_ = 0;
};

// Takes whole lines out of what is read; a line of more than 255 bytes is none.
class Lines {
 public:
  // False at the end of the input.
  bool ReadInto(Recorder& recorder) {
    char bytes[4096];
    const ssize_t count = read(STDIN_FILENO, bytes, sizeof(bytes));
    for (ssize_t i = 0; i < count; ++i) Add(bytes[i], recorder);
    return count > 0;
  }

 private:
  void Add(char byte, Recorder& recorder) {
    if (byte == '\n') {
      line_[length_] = '\0';
      recorder.Take(line_);
      length_ = 0;
    } else if (length_ < sizeof(line_) - 1) {
      line_[length_++] = byte;
    }
  }

  char line_[256];
  size_t length_ = 0;
};

int HalfSecondTimer() {
  constexpr long kHalfSecond_ns = 500000000;
  const int timer = timerfd_create(CLOCK_BOOTTIME, TFD_CLOEXEC);
  const itimerspec period = {{0, kHalfSecond_ns}, {0, kHalfSecond_ns}};
  return timer >= 0 && timerfd_settime(timer, 0, &period, nullptr) == 0 ? timer : -1;
}

int StopSignals() {
  sigset_t stop;
  sigemptyset(&stop);
  sigaddset(&stop, SIGTERM);
  sigaddset(&stop, SIGINT);
  return sigprocmask(SIG_BLOCK, &stop, nullptr) == 0 ? signalfd(-1, &stop, SFD_CLOEXEC) : -1;
}

// Until a signal says to stop; what was sent before it is taken first.
void Run(Recorder& recorder, int timer, int stop) {
  Lines lines;
  pollfd waits[] = {{timer, POLLIN, 0}, {STDIN_FILENO, POLLIN, 0}, {stop, POLLIN, 0}};
  while (waits[2].revents == 0) {
    if (poll(waits, 3, -1) < 0) continue;
    uint64_t half_seconds = 0;
    if (waits[0].revents != 0 && read(timer, &half_seconds, sizeof(half_seconds)) > 0)
      recorder.Tick();
    if (waits[1].revents != 0 && !lines.ReadInto(recorder)) waits[1].fd = -1;
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return fputs("usage: recorder FOLDER\n", stderr), 2;
  const int stop = StopSignals();
  Recorder recorder(argv[1]);
  if (stop < 0 || !recorder.Start()) return 1;
  const int timer = HalfSecondTimer();
  if (timer >= 0) Run(recorder, timer, stop);
  recorder.Stop();
  return timer >= 0 ? 0 : 1;
}
