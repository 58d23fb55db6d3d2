// The way of an item from its report to its packet takes no memory from the
// heap, nor does its way into a cluster and back from it.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <string_view>

#include "backends/data_store_normal.h"
#include "backends/metadata_hdr_cache.h"
#include "host/default/host_control.h"
#include "host/log.h"
#include "reader/metadata_reader.h"
#include "store/data_store.h"
#include "tests/memory/counting.h"
#include "tests/support/captured_log.h"
#include "tests/support/everything.h"
#include "tests/support/temp_dir.h"
#include "tests/support/test_clock.h"

namespace vmr::test {
namespace {

// Counts what it is handed and keeps nothing.
class CountingStore : public DataStore {
 public:
  CountingStore() : DataStore(DATA_STORE_NULL, kSimpleStoreBufferBytes) {}
  int Open() override { return OpenInit(); }
  int WriteData(const unsigned char* data, int length, unsigned int /*sysTick*/) override {
    ++packets;
    bytes += length;
    last_byte = data[length - 1];
    return 1;
  }

  int packets = 0;
  int bytes = 0;
  unsigned char last_byte = 0;
};

class NoAllocation : public testing::Test {
 protected:
  // Everything that a host does with a store while it records, one tick long.
  void RecordOneTick() {
    ++tick;
    clock.Set(static_cast<std::time_t>(tick / 2) + (tick % 50 == 0 ? 1000 : 0));
    const bool even = tick % 2 == 0;
    fix.latitude_fraction = static_cast<std::int32_t>(tick * 37 % 10000);
    fix.longitude_minutes = static_cast<std::uint16_t>(tick / 7 % 60);
    store.ReportGps(fix, tick, true);
    store.ReportGpsState(tick % 11 != 0, true);
    store.ReportTemp(TEMP_SENSOR_CPU, static_cast<short>(tick % 2 * 10), true, tick - 20);
    store.ReportStateData(even ? TAG_SIREN_ON : TAG_SIREN_OFF, true, tick);
    store.ReportButton(BUTTON_RECORD, BUTTON_PRESSED, true);
    store.ReportBookmark(tick);
    ReportDevices(even);
    ReportCamerasAndMicrophones(even);
    ReportIdentityAndPolicies(even);
    store.AddToCurrPacket(big_item, sizeof(big_item), static_cast<unsigned short>(1));
    store.AddToCurrPacket(big_item, sizeof(big_item), tick, 1);
    store.TimerTick(tick);
    if (tick % 100 == 0) {
      store.ReportConfiguration(true);
      store.WriteFullState(even);
      store.ReportShutdownData();
      store.ReportShutdownDataAtStartup();
    }
    store.WriteTime(static_cast<long>(tick));
    store.WriteBuffers();
  }

  void ReportDevices(bool even) {
    constexpr auto kNoTag = static_cast<e_Tag>(0);
    const auto reading = static_cast<unsigned short>(tick * 37 % 1024);
    store.InitializeSpeedId(7, SPEED_SRC_GPS, SPEED_UNITS_MPH, even ? kShort : kLonger, true);
    store.ReportSpeed(1, reading, true, tick, kNoTag);
    store.ReportSpeed(7, static_cast<unsigned short>(reading + 1), true, tick, kNoTag);
    store.ReportValidSpeed(1, false);
    store.InitializeRadarId(2, RADAR_SRC_GENERIC, SPEED_UNITS_MPH, even ? kShort : kLonger, true);
    store.ReportRadar(1, reading, reading, reading, RADAR_DIRECTION_1, true, tick, kNoTag);
    store.ReportRadar(1, reading, reading, 5, RADAR_DIRECTION_1, true, tick, kNoTag);
    store.ReportRadarState(1, even, true);
    store.CheckRadarConfig(true);
    store.CheckSpeedConfig(true);
    store.InitTempSensors(true);
  }

  void ReportCamerasAndMicrophones(bool even) {
    for (unsigned int n = 0; n < 4; ++n) {
      store.ReportCameraState(static_cast<e_CameraPort>(n), even ? CAMERA_STATE_ON : CAMERA_STATE_3,
                              true, tick);
      store.ReportVideoStreamState(static_cast<e_VideoStream>(n),
                                   even ? STREAM_STATE_ON : STREAM_STATE_OFF, true, tick);
      store.ReportLvsState(static_cast<e_VideoStream>(n), 1, even, even, tick, 80, true, tick);
      store.ReportMicPresent(static_cast<e_MicrophonePosition>(n), even, true, tick);
      store.ReportMicState(static_cast<e_MicrophonePosition>(n), even, true, tick);
    }
    quality.streams[1].format = tick % 16;
    quality.streams[2].split = even;
    store.ReportStreamQualityItem(quality, true);
  }

  void ReportIdentityAndPolicies(bool even) {
    const unsigned char mac[6] = {1, 2, 3, 4, 5, static_cast<unsigned char>(tick)};
    store.ReportMac(mac, true);
    store.ReportStringData(TAG_LOG, kLonger);
    store.ReportVersion(COMPONENT_IOP, even ? kShort : kLonger);
    store.ReportSystemSerialNum(even ? texts[0] : texts[1]);
    store.ReportVehicleInfo(vehicles[even ? 0 : 1], true);
    store.ReportDepartmentInfo(departments[even ? 0 : 1], true);
    store.ReportOfficerInfo(officers[even ? 0 : 1], true);
    store.ReportSystemInfo(systems[even ? 0 : 1], true);
    store.ReportVideoRecordingSettings(recordings[even ? 0 : 1], true);
    // Without write too: taken into the mirror whole.
    store.ReportOfficerInfo(officers[even ? 1 : 0], false);
    store.ReportSystemInfo(systems[even ? 1 : 0], false);
    store.ReportVideoRecordingSettings(recordings[even ? 1 : 0], false);
  }

  void SetUp() override {
    systems[0].record_speed_in_metadata.value = systems[1].record_speed_in_metadata.value = true;
    systems[1].start_on_siren.value = systems[1].policy_70.value = true;
    systems[1].pre_event_time.value = 300;
    systems[1].radar_type = 1;
    systems[1].time_zone_index = 18;
    systems[1].time_zone_name.value = kLonger;
    recordings[1].split_screen_mode.value = true;
    recordings[1].maximum_recording_size_gb.value = 7;
    store.ReportSystemInfo(systems[0], false);
    store.ReportConfiguration(false);
  }

  void Record(int ticks) {
    for (int i = 0; i < ticks; ++i) RecordOneTick();
  }

  TestClock clock{0};
  CountingStore store;
  GpsStatusItem fix;
  VideoMgrStreamQualityItem quality;
  // Longer than a string holds in itself: what the mirror holds of them grows
  // once, which is the one thing on this way that takes memory.
  static constexpr const char* kShort = "short";
  static constexpr const char* kLonger = "a text of more than a string's own room";
  const std::string texts[2] = {kShort, kLonger};
  const VehicleInfo vehicles[2] = {{{kShort}}, {{kLonger}}};
  const DepartmentInfo departments[2] = {{{kShort}}, {{kLonger}}};
  const Officer officers[2] = {{{kShort}, {kShort}}, {{kLonger}, {kLonger}}};
  SystemInfo systems[2];
  VideoRecordingSettings recordings[2];
  unsigned int tick = 1000;
  const unsigned char big_item[200] = {};
};

TEST_F(NoAllocation, AreCounted) {
  // Volatile, or the compiler may leave out what is never looked at.
  EXPECT_EQ(AllocationsDuring([] {
              int* volatile number = new int(1);
              delete number;
            }),
            1u);
  EXPECT_EQ(AllocationsDuring([] {
              unsigned char* volatile bytes = new (std::nothrow) unsigned char[8];
              delete[] bytes;
            }),
            1u);
  EXPECT_GE(AllocationsDuring([] {
              std::string volatile* volatile text = new std::string(1000, 'x');
              delete text;
            }),
            2u);
}

TEST_F(NoAllocation, IsCountedInTheCLibraryToo) {
  EXPECT_EQ(AllocationsDuring([] {
              void* volatile memory = std::malloc(10);
              std::free(memory);
            }),
            1u);
  EXPECT_EQ(AllocationsDuring([] {
              char* volatile copy = strdup("copied by the C library");
              std::free(copy);
            }),
            1u);
  const std::size_t before = HeapBytes();
  const std::string text(5000, 'x');
  EXPECT_GE(HeapBytes() - before, 5000u);
}

// Into both files, across clusters, and back from all of them.
TEST_F(NoAllocation, ThereIsNoneInWritingClustersReadingThemAndParsingTheirItems) {
  constexpr int kTicks = 3000;
  const TempDir folder(TempDir::RoomForRings());
  DataStoreNormal ring(folder.Path("r"));
  ASSERT_EQ(ring.Open(), 1);
  ReportEverything(ring);
  const auto record = [&](int ticks) {
    for (int n = 0; n < ticks; ++n) {
      fix.latitude_fraction = static_cast<std::int32_t>(++tick * 37 % 10000);
      ring.ReportGps(fix, tick, true);
      ring.ReportStateData(tick % 2 == 0 ? TAG_SIREN_ON : TAG_SIREN_OFF, true, tick);
      if (n % 100 == 0) ring.WriteFullState(true);
      ring.TimerTick(tick);
    }
  };
  record(101);
  const int first_cluster = ring.CurrentCluster();
  EXPECT_EQ(AllocationsDuring([&] { record(kTicks); }), 0u);
  EXPECT_GT(ring.CurrentCluster(), first_cluster + 5) << "the control: clusters were written";

  CountingStore out;
  ASSERT_EQ(out.Open(), 1);
  MetadataReader reader;
  int ticks_read = 0;
  const long oldest = ring.InitialReadLocation();  // a search, which may remember what it met
  const auto read_all = [&] {
    reader.StartAt(oldest);
    for (; reader.ReadNextSystemTick(ring, out) > 0; ++ticks_read) reader.ParseReadSystemTick(out);
  };
  read_all();  // the texts of the mirror take their room once
  ticks_read = 0;
  EXPECT_EQ(AllocationsDuring(read_all), 0u);
  EXPECT_GT(ticks_read, kTicks) << "the control: items were parsed";
}

TEST_F(NoAllocation, ThereAreNoneFromTheReportToThePacket) {
  ASSERT_EQ(store.Open(), 1);
  Record(3);
  const int packets_before = store.packets;
  EXPECT_EQ(AllocationsDuring([this] { Record(500); }), 0u);
  EXPECT_GT(store.packets, packets_before + 1000) << "the control: something was recorded";
}

// The exception: a text that outgrows what the mirror has room for.
TEST_F(NoAllocation, ALongerTextThanEverBeforeTakesMemoryOnce) {
  const VehicleInfo longest{{std::string(200, 'x')}};
  Record(3);
  EXPECT_GT(AllocationsDuring([&] { store.ReportVehicleInfo(longest, true); }), 0u);
  store.ReportVehicleInfo(vehicles[0], true);
  EXPECT_EQ(AllocationsDuring([&] { store.ReportVehicleInfo(longest, true); }), 0u);
}

TEST_F(NoAllocation, ThereAreNoneEvenIfEveryMessageIsWanted) {
  const CapturedLog capture;
  static int lines = 0;
  host::SetLogSink([](unsigned int, std::string_view) { ++lines; });
  Record(3);
  EXPECT_EQ(AllocationsDuring([this] { Record(100); }), 0u);
  EXPECT_GT(lines, 1000) << "the control: messages were built";
}

TEST_F(NoAllocation, ThereAreNoneWhenItemsAreDropped) {
  const CapturedLog capture;
  host::SetLogSink([](unsigned int, std::string_view) {});
  const auto overflow = [this] {
    for (int i = 0; i < 100; ++i)
      store.AddToCurrPacket(big_item, sizeof(big_item), static_cast<unsigned short>(1));
  };
  overflow();
  EXPECT_EQ(AllocationsDuring(overflow), 0u);
}

TEST_F(NoAllocation, WithoutMemoryForTheWorkBufferOpenFailsAndSaysSo) {
  const CapturedLog capture;
  static unsigned int level = 0;
  static bool text_matches = false;
  host::SetLogSink([](unsigned int at, std::string_view text) {
    level = at;
    constexpr std::string_view kEnd = " OpenInit: Could not allocate memory";
    text_matches = text.size() > kEnd.size() && text.substr(text.size() - kEnd.size()) == kEnd &&
                   text.substr(0, 13) == "DataStore.cc:";
  });
  RefuseMemory(true);
  const int opened = store.Open();
  RefuseMemory(false);
  EXPECT_EQ(opened, 0);
  EXPECT_EQ(level, kLogFatal);
  EXPECT_TRUE(text_matches);
  EXPECT_EQ(store.WorkBuffer(), nullptr);
  EXPECT_EQ(store.Open(), 1) << "and can be opened once there is memory";
}

TEST_F(NoAllocation, WithoutMemoryAHeaderOfAClusterIsNotKept) {
  MetadataHdrCache cache(MetadataHdrCache::kDefaultCapacity);
  const CLUSTER_HEADER_T header{};
  RefuseMemory(true);
  cache.Add(7, header);
  RefuseMemory(false);
  EXPECT_EQ(cache.Find(7), nullptr);
  EXPECT_EQ(cache.Size(), 0u);
  cache.Add(7, header);
  EXPECT_NE(cache.Find(7), nullptr) << "and is once there is memory";
}

TEST_F(NoAllocation, TheHeadersOfASearchTakeMemoryOnce) {
  MetadataHdrCache cache(MetadataHdrCache::kDefaultCapacity);
  const auto search = [&] {
    cache.Clear();
    for (int cluster = 0; cluster < 32; ++cluster) cache.Add(cluster * 1000, {});
  };
  EXPECT_EQ(AllocationsDuring(search), 1u);
  EXPECT_EQ(AllocationsDuring(search), 0u);
  EXPECT_EQ(cache.Size(), 32u);
}

}  // namespace
}  // namespace vmr::test
