// The paths that a unit goes along all day, for counting their instructions: see
// counts_test.py. Each goes on for a count of steps and then for twice as many, with a
// call of VmrCountHere() before, between and behind, so that what the second stretch
// has more is what the steps themselves took.
//
// usage: vmr_paths [PATH...]: prints a line for each, "append 2000 steps", in the order
// in which they went. Fails when a path did not do what it is counted for.
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "backends/cluster_format.h"
#include "backends/data_store_normal.h"
#include "backends/data_store_null.h"
#include "host/default/host_control.h"
#include "reader/metadata_reader.h"
#include "tests/support/file_hook.h"
#include "tests/support/test_clock.h"

// Where the counter is read off.
extern "C" __attribute__((noinline)) void VmrCountHere() { __asm__ volatile(""); }

namespace vmr::test {
namespace {

constexpr auto kNoTag = static_cast<e_Tag>(0);

// Two files that are always empty when they are read, on a device that takes no time.
class NoDevice : public PassingOn {
 public:
  int Open(const char* /*path*/, int /*flags*/, mode_t /*mode*/) override { return 3; }
  ssize_t Read(int /*fd*/, void* buffer, std::size_t count) override {
    FillNeverWritten(static_cast<unsigned char*>(buffer), static_cast<int>(count));
    return static_cast<ssize_t>(count);
  }
  ssize_t Write(int /*fd*/, const void* data, std::size_t count) override {
    last_cluster = static_cast<const unsigned char*>(data);
    ++writes;
    return static_cast<ssize_t>(count);
  }
  ssize_t WriteAt(int fd, const void* data, std::size_t count, off_t /*offset*/) override {
    return Write(fd, data, count);
  }
  off_t Lseek(int /*fd*/, off_t offset, int /*whence*/) override { return offset; }
  int Fsync(int /*fd*/) override { return 0; }
  int Close(int /*fd*/) override { return 0; }
  int Stat(const char* /*path*/, struct stat* status) override {
    *status = {};
    status->st_mode = S_IFREG | kRingFileMode;
    status->st_size = static_cast<off_t>(kClusterCount) * kClusterBytes;
    return 0;
  }

  const unsigned char* last_cluster = nullptr;
  long writes = 0;
};

// Keeps the packets in memory, as many as there is room for, and then begins anew.
class MemoryStore : public DataStoreNull {
 public:
  int WriteData(const unsigned char* data, int length, unsigned int /*sysTick*/) override {
    const auto bytes = static_cast<std::size_t>(length);
    if (used_ + bytes > sizeof(memory_)) used_ = 0;
    memcpy(memory_ + used_, data, bytes);
    used_ += bytes;
    item_bytes += length;
    ++packets;
    return 1;
  }

  long packets = 0;
  long item_bytes = 0;

 private:
  unsigned char memory_[1 << 16] = {};
  std::size_t used_ = 0;
};

// A recording in memory, as a source that hands it out cluster by cluster.
class MemorySource : public DataStoreNull {
 public:
  int WriteData(const unsigned char* data, int length, unsigned int /*sysTick*/) override {
    bytes_.insert(bytes_.end(), data, data + length);
    return 1;
  }
  int ReadDataIntoBuffer(long position, unsigned char* buffer, int bufferSize, int& bytesRead,
                         long& nextPosition) override {
    const long left = static_cast<long>(bytes_.size()) - position;
    const long most = std::min<long>(bufferSize, kMaxClusterPayload);
    bytesRead = static_cast<int>(std::min(left, most));
    memcpy(buffer, bytes_.data() + position, static_cast<std::size_t>(bytesRead));
    nextPosition = position + bytesRead;
    return 1;
  }

 private:
  std::vector<unsigned char> bytes_;
};

// A store to which a unit's configuration was reported, and what it reports.
class Unit {
 public:
  explicit Unit(DataStore& store) : store_(store) {
    SystemInfo system;
    system.radar_type = 1;
    system.record_speed_in_metadata.value = true;
    store.ReportSystemInfo(system, false);
    store.ReportConfiguration(false);
    store.DiscardPendingItems();
    Tick();
    Tick();
    store.WriteBuffers();
    fix_.latitude_degrees = 41;
    fix_.latitude_minutes = 30;
    fix_.latitude_is_north = 1;
    fix_.longitude_degrees = 93;
  }

  // A second of a drive in four items: the car has gone on by 50 feet, an input and a
  // temperature have changed, a button was pressed.
  static constexpr int kItemsInSecond = 4;
  void DriveOn() {
    ++second_;
    const bool even = second_ % 2 == 0;
    GoOn();
    store_.ReportStateData(even ? TAG_SIREN_ON : TAG_SIREN_OFF, true, tick_);
    store_.ReportTemp(TEMP_SENSOR_CPU, static_cast<short>(even ? 40 : 50), true, tick_);
    store_.ReportButton(BUTTON_RECORD, BUTTON_PRESSED, true);
    Tick();
    Tick();
  }
  // The same with a single item: a packet for each.
  void DriveOnQuietly() {
    ++second_;
    GoOn();
    Tick();
    Tick();
  }

  void GoOn() {
    fix_.longitude_fraction = second_ * 80 % 10000;
    fix_.longitude_minutes = static_cast<std::uint16_t>(second_ / 125 % 60);
    store_.ReportGps(fix_, tick_, true);
  }
  void ReportTarget(unsigned short target) {
    store_.ReportRadar(1, 0, 0, target, RADAR_DIRECTION_0, true, tick_, kNoTag);
  }
  void ReportWithin20Feet() {
    ++second_;
    fix_.latitude_fraction = second_ % 2 == 0 ? 9 : 20;
    fix_.longitude_fraction = second_ % 2 == 0 ? 20 : 9;
    store_.ReportGps(fix_, tick_, true);
  }
  // The wall clock goes with the ticks, so that no time item comes of it.
  void Tick() {
    clock_.Set(static_cast<std::time_t>(++tick_ / 2));
    store_.TimerTick(tick_);
  }

  DataStore& Store() { return store_; }
  const GpsStatusItem& Fix() const { return fix_; }
  unsigned int LastTick() const { return tick_; }

 private:
  DataStore& store_;
  TestClock clock_{0};
  GpsStatusItem fix_;
  int second_ = 0;
  unsigned int tick_ = 1000;
};

// ---- The paths -------------------------------------------------------------------

// `go` takes a count of steps.
template <typename Go>
void Count(int steps, Go go) {
  VmrCountHere();
  go(steps);
  VmrCountHere();
  go(2 * steps);
  VmrCountHere();
}

// One packet of 61 bytes into the ring.
bool Append(int steps) {
  NoDevice device;
  DataStoreNormal ring("/ring");
  if (ring.Open() == 0) return false;
  unsigned char packet[61] = {HEADER_2};
  unsigned int tick = 1;
  const long writes_before = device.writes;
  Count(steps, [&](int count) {
    for (int n = 0; n < count; ++n) {
      packet[10] = static_cast<unsigned char>(n);
      static_cast<void>(ring.WriteData(packet, sizeof(packet), ++tick));
    }
  });
  return device.writes - writes_before >= 3L * steps && IsSoundCluster(device.last_cluster);
}

// One item from its report to its packet in memory.
bool Items(int steps) {
  MemoryStore store;
  Unit unit(store);
  if (store.Open() == 0) return false;
  unit.DriveOn();
  const long packets_before = store.packets;
  Count(steps, [&](int count) {
    for (int n = 0; n < count; n += Unit::kItemsInSecond) unit.DriveOn();
  });
  return store.packets - packets_before == 3L * steps / Unit::kItemsInSecond;
}

bool LonelyItems(int steps) {
  MemoryStore store;
  Unit unit(store);
  if (store.Open() == 0) return false;
  unit.DriveOnQuietly();
  const long packets_before = store.packets;
  Count(steps, [&](int count) {
    for (int n = 0; n < count; ++n) unit.DriveOnQuietly();
  });
  return store.packets - packets_before == 3L * steps;
}

// One report that changes nothing. `report(unit)`; it has been called once before.
template <typename Report>
bool Unchanged(int steps, Report report) {
  MemoryStore store;
  Unit unit(store);
  if (store.Open() == 0) return false;
  unit.GoOn();
  report(unit);
  store.WriteBuffers();
  const long packets_before = store.packets;
  Count(steps, [&](int count) {
    for (int n = 0; n < count; ++n) report(unit);
  });
  store.WriteBuffers();
  return packets_before > 0 && store.packets == packets_before;
}

bool GpsEqual(int steps) {
  return Unchanged(steps, [](Unit& unit) { unit.Store().ReportGps(unit.Fix(), 1000, true); });
}
bool GpsWithin20Feet(int steps) {
  return Unchanged(steps, [](Unit& unit) { unit.ReportWithin20Feet(); });
}
bool GpsState(int steps) {
  return Unchanged(steps, [](Unit& unit) { unit.Store().ReportGpsState(true, true); });
}
bool Speed(int steps) {
  return Unchanged(steps, [](Unit& unit) { unit.Store().ReportSpeed(1, 55, true, 1000, kNoTag); });
}
bool Radar(int steps) {
  return Unchanged(steps, [](Unit& unit) { unit.ReportTarget(60); });
}
bool RadarState(int steps) {
  return Unchanged(steps, [](Unit& unit) { unit.Store().ReportRadarState(1, false, true); });
}
bool Input(int steps) {
  return Unchanged(steps,
                   [](Unit& unit) { unit.Store().ReportStateData(TAG_DOCKED_OFF, true, 1000); });
}
bool Temperature(int steps) {
  return Unchanged(steps,
                   [](Unit& unit) { unit.Store().ReportTemp(TEMP_SENSOR_CPU, 61, true, 1000); });
}
bool Camera(int steps) {
  return Unchanged(steps, [](Unit& unit) {
    unit.Store().ReportCameraState(static_cast<e_CameraPort>(3), CAMERA_STATE_ON, true, 1000);
  });
}
bool VideoStream(int steps) {
  return Unchanged(steps, [](Unit& unit) {
    unit.Store().ReportVideoStreamState(static_cast<e_VideoStream>(3), STREAM_STATE_ON, true, 1000);
  });
}
bool LiveStream(int steps) {
  return Unchanged(steps, [](Unit& unit) {
    unit.Store().ReportLvsState(static_cast<e_VideoStream>(3), 0, false, false, 0, 0, true, 1000);
  });
}
bool Microphone(int steps) {
  return Unchanged(steps, [](Unit& unit) {
    unit.Store().ReportMicState(static_cast<e_MicrophonePosition>(3), true, true, 1000);
  });
}

// One item of a recording into the state of a store.
template <typename Drive>
bool Parse(int steps, int items_in_second, Drive drive) {
  MemorySource source;
  Unit unit(source);
  if (source.Open() == 0) return false;
  for (int n = 0; n < 2 * steps; n += items_in_second) drive(unit);
  DataStoreNull out;
  Unit configured(out);
  if (out.Open() == 0) return false;
  MetadataReader reader;
  const auto parse = [&](int count) {
    reader.StartAt(0);
    for (int n = 0; n < count; n += items_in_second)
      if (reader.ReadNextSystemTick(source, out) != 1 || reader.ParseReadSystemTick(out) == 0)
        return;
  };
  Count(steps, parse);
  return out.Mirror().gps.gpsLocationSet && DataStore::LocToTTs(out.Mirror().gps.gpsLon) ==
                                                DataStore::LocToTTs(source.Mirror().gps.gpsLon);
}
bool ParseDense(int steps) {
  return Parse(steps, Unit::kItemsInSecond, [](Unit& unit) { unit.DriveOn(); });
}
bool ParseSparse(int steps) {
  return Parse(steps, 1, [](Unit& unit) { unit.DriveOnQuietly(); });
}

struct Path {
  const char* name;
  bool (*go)(int steps);
};
constexpr Path kPaths[] = {
    {"append", Append},
    {"item", Items},
    {"item alone in its packet", LonelyItems},
    {"unchanged GPS fix", GpsEqual},
    {"GPS fix within 20 feet", GpsWithin20Feet},
    {"unchanged GPS state", GpsState},
    {"unchanged speed", Speed},
    {"unchanged radar reading", Radar},
    {"unchanged radar state", RadarState},
    {"unchanged input", Input},
    {"unchanged temperature", Temperature},
    {"unchanged camera", Camera},
    {"unchanged video stream", VideoStream},
    {"unchanged live stream", LiveStream},
    {"unchanged microphone", Microphone},
    {"parsed item, four in a packet", ParseDense},
    {"parsed item, one in a packet", ParseSparse},
};

}  // namespace
}  // namespace vmr::test

int main(int argc, char** argv) {
  constexpr int kSteps = 996;
  vmr::host::SetLogLevel(vmr::kLogFatal | vmr::kLogError | vmr::kLogWarning);
  int failed = 0;
  for (const auto& path : vmr::test::kPaths) {
    if (argc > 1 && std::string(path.name) != argv[1]) continue;
    const bool did_it = path.go(kSteps);
    std::printf("%d %s\n", kSteps, path.name);
    if (!did_it) std::fprintf(stderr, "vmr_paths: %s: did not do what is counted\n", path.name);
    failed += did_it ? 0 : 1;
  }
  return failed == 0 ? 0 : 1;
}
