// The records BIN_..._T: items as they lie in a packet, which a host hands to the
// operations that store them.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <type_traits>

#include "tests/support/store_fixture.h"

namespace vmr::test {
namespace {

// The bytes of a packet from an item's tag on, as the item's record.
template <typename Record>
Record As(const Bytes& item) {
  static_assert(std::is_trivially_copyable_v<Record> && std::is_standard_layout_v<Record>);
  static_assert(alignof(Record) == 1, "it may stand anywhere in a packet");
  static_assert(offsetof(Record, tag) == 0);
  Record record;
  memset(&record, 0xEE, sizeof(record));
  memcpy(&record, item.data(), std::min(item.size(), sizeof(record)));
  return record;
}

class Records : public StoreTest {
 protected:
  // What the viewer prints when `action` is done to the store.
  template <typename Action>
  std::string Shown(Action action) {
    store.SetViewMode(kViewItems);
    std::string text = Printed(action);
    store.SetViewMode(0);
    return text;
  }
};

// ---- Layout --------------------------------------------------------------------

TEST_F(Records, OfPositionsHaveTheirFieldsWhereTheItemHasThem) {
  EXPECT_EQ(sizeof(BIN_GPS_ABS_T), 10U);
  EXPECT_EQ(offsetof(BIN_GPS_ABS_T, quadrant), 1U);
  EXPECT_EQ(offsetof(BIN_GPS_ABS_T, latitude_degrees), 2U);
  EXPECT_EQ(offsetof(BIN_GPS_ABS_T, latitude_minutes), 3U);
  EXPECT_EQ(offsetof(BIN_GPS_ABS_T, latitude_fraction), 4U);
  EXPECT_EQ(offsetof(BIN_GPS_ABS_T, longitude_degrees), 6U);
  EXPECT_EQ(offsetof(BIN_GPS_ABS_T, longitude_minutes), 7U);
  EXPECT_EQ(offsetof(BIN_GPS_ABS_T, longitude_fraction), 8U);
  EXPECT_EQ(sizeof(BIN_GPS_REL8_T), 3U);
  EXPECT_EQ(offsetof(BIN_GPS_REL8_T, latitude_delta), 1U);
  EXPECT_EQ(offsetof(BIN_GPS_REL8_T, longitude_delta), 2U);
  EXPECT_EQ(sizeof(BIN_GPS_REL16_T), 5U);
  EXPECT_EQ(offsetof(BIN_GPS_REL16_T, latitude_delta), 1U);
  EXPECT_EQ(offsetof(BIN_GPS_REL16_T, longitude_delta), 3U);
}

TEST_F(Records, OfReadingsFormatsAndPoliciesHaveTheirFieldsWhereTheItemHasThem) {
  EXPECT_EQ(sizeof(BIN_RADAR_DATA_T), 5U);
  EXPECT_EQ(offsetof(BIN_RADAR_DATA_T, packed), 1U);
  EXPECT_EQ(offsetof(BIN_RADAR_DATA_T, lock), 2U);
  EXPECT_EQ(offsetof(BIN_RADAR_DATA_T, fastest), 3U);
  EXPECT_EQ(offsetof(BIN_RADAR_DATA_T, target), 4U);
  EXPECT_EQ(sizeof(BIN_VIDEO_STREAM_FORMAT_T), 3U);
  EXPECT_EQ(offsetof(BIN_VIDEO_STREAM_FORMAT_T, stream_and_format), 1U);
  EXPECT_EQ(offsetof(BIN_VIDEO_STREAM_FORMAT_T, camera), 2U);
  EXPECT_EQ(sizeof(BIN_POLICY_8_T), 3U);
  EXPECT_EQ(offsetof(BIN_POLICY_8_T, id), 1U);
  EXPECT_EQ(offsetof(BIN_POLICY_8_T, value), 2U);
}

TEST_F(Records, OfDescriptionsHaveRoomForTheLongestTextBehindTheirHead) {
  EXPECT_EQ(sizeof(BIN_GPS_DESC_T), 3U + 255);
  EXPECT_EQ(offsetof(BIN_GPS_DESC_T, always_1), 1U);
  EXPECT_EQ(offsetof(BIN_GPS_DESC_T, length), 2U);
  EXPECT_EQ(offsetof(BIN_GPS_DESC_T, text), 3U);
  EXPECT_EQ(sizeof(BIN_CAMERA_DESC_T), 3U + 255);
  EXPECT_EQ(offsetof(BIN_CAMERA_DESC_T, port), 1U);
  EXPECT_EQ(offsetof(BIN_CAMERA_DESC_T, length), 2U);
  EXPECT_EQ(offsetof(BIN_CAMERA_DESC_T, name), 3U);
  EXPECT_EQ(sizeof(BIN_MIC_DESC_T), 5U + 255);
  EXPECT_EQ(offsetof(BIN_MIC_DESC_T, stream_number), 1U);
  EXPECT_EQ(offsetof(BIN_MIC_DESC_T, type), 2U);
  EXPECT_EQ(offsetof(BIN_MIC_DESC_T, port), 3U);
  EXPECT_EQ(offsetof(BIN_MIC_DESC_T, length), 4U);
  EXPECT_EQ(offsetof(BIN_MIC_DESC_T, name), 5U);
}

// ---- What is stored of them ------------------------------------------------------

TEST_F(Records, ARawPositionAndRawDeltasMoveTheMirror) {
  const auto position = As<BIN_GPS_ABS_T>(B("91 01 2A 1E C4 09 53 0A 4C 1D"));
  store.StoreGpsData(&position, TAG_GPS_ABS);
  EXPECT_EQ(store.Mirror().gps.gpsLat.degrees, 42);
  EXPECT_EQ(store.Mirror().gps.gpsLat.minutes, 30);
  EXPECT_EQ(store.Mirror().gps.gpsLat.fraction, 2500);
  EXPECT_EQ(store.Mirror().gps.gpsLon.degrees, 83);
  EXPECT_EQ(store.Mirror().gps.gpsLon.minutes, 10);
  EXPECT_EQ(store.Mirror().gps.gpsLon.fraction, 7500);
  const auto by_8 = As<BIN_GPS_REL8_T>(B("92 FF 02"));
  store.StoreGpsData(&by_8, TAG_GPS_REL8, false);
  const auto by_16 = As<BIN_GPS_REL16_T>(B("93 00 01 FE FF"));
  EXPECT_EQ(Shown([&] { store.StoreGpsData(&by_16, TAG_GPS_REL16, false); }),
            "[Tag=GpsRel16, TagNo=0x93, DeltaLat=256, DeltaLon=-2, Lat=N42:30.16, Lon=W83:10.45]");
  EXPECT_EQ(store.Mirror().gps.gpsLat.fraction, 2500 - 1 + 256);
  EXPECT_EQ(store.Mirror().gps.gpsLon.fraction, 7500 + 2 - 2);
}

TEST_F(Records, ARawReadingIsReported) {
  store.InitializeRadarId(3, RADAR_SRC_GENERIC, SPEED_UNITS_MPH, "", false);
  const auto reading = As<BIN_RADAR_DATA_T>(B("63 B6 55 AA FF"));
  store.StoreRadarData(&reading, static_cast<e_Tag>(0x63));
  const RADAR_DESC_T& radar = store.Mirror().radar.radars[0];
  EXPECT_EQ(radar.lock, 0x155);
  EXPECT_EQ(radar.fastest, 0x2AA);
  EXPECT_EQ(radar.target, 0x3FF);
  EXPECT_EQ(radar.direction, RADAR_DIRECTION_1);
}

TEST_F(Records, ARawPolicyIsStoredUnderItsIdentifier) {
  const auto policy = As<BIN_POLICY_8_T>(B("18 45 C8"));
  EXPECT_EQ(Shown([&] { EXPECT_EQ(store.StoreConfigItem8(&policy), 3); }),
            "[Tag=Policy8, TagNo=0x18, PolicyId=0x45, auto stop record time=200]");
  EXPECT_EQ(store.Mirror().policy.system.auto_stop_record_time.value, 200U);
}

TEST_F(Records, ARawStreamFormatIsStoredForItsStream) {
  const auto format = As<BIN_VIDEO_STREAM_FORMAT_T>(B("54 21 4F"));
  store.StoreVideoFormatData(&format);
  EXPECT_EQ(store.Mirror().camera.formats[2].format, 1U);
  EXPECT_EQ(store.Mirror().camera.formats[2].camera, STREAM_CAMERA_SPLIT);
}

TEST_F(Records, OfARawDescriptionTheCountedTextAloneIsTaken) {
  const auto gps = As<BIN_GPS_DESC_T>(B("90 01 03 61 62 63"));
  store.StoreGpsDesc(&gps);
  EXPECT_EQ(store.Mirror().gps.gpsDesc.desc, "abc");
  const auto camera = As<BIN_CAMERA_DESC_T>(B("50 02 04 41 75 78 33"));
  EXPECT_EQ(Shown([&] { store.PrintCameraDesc(&camera); }),
            "[Tag=CameraDesc, TagNo=0x50, port=2, name='Aux3']");
  const auto mic = As<BIN_MIC_DESC_T>(B("58 01 02 03 02 24 24"));
  EXPECT_THAT(Shown([&] { store.StoreMicDesc(&mic); }),
              testing::StartsWith("[Tag=MicDesc, TagNo=0x58, KeltMicId=1, MicId=0, Type="));
}

TEST_F(Records, TheLongestTextsAreTakenWhole) {
  const Bytes longest(255, 'x');
  const auto gps = As<BIN_GPS_DESC_T>(B("90 01 FF") + longest);
  store.StoreGpsDesc(&gps);
  EXPECT_EQ(store.Mirror().gps.gpsDesc.desc, std::string(255, 'x'));
  const auto camera = As<BIN_CAMERA_DESC_T>(B("50 02 FF") + longest);
  EXPECT_EQ(Shown([&] { store.PrintCameraDesc(&camera); }),
            "[Tag=CameraDesc, TagNo=0x50, port=2, name='" + std::string(255, 'x') + "']");
}

// ---- No record -------------------------------------------------------------------

class NoRecord : public Records {
 protected:
  // What is logged and printed when `action` is done to a viewing store, whose
  // state and waiting items it must leave alone.
  template <typename Action>
  void ExpectRefused(Action action, const std::string& text) {
    log.Clear();
    EXPECT_EQ(Shown(action), "");
    EXPECT_THAT(log.Entries(), testing::ElementsAre(LogEntry{kLogError, "DataStore.cc", text}));
    EXPECT_FALSE(store.HasPendingItems());
  }
};

TEST_F(NoRecord, ANullGpsDescriptionIsRefusedAndConfiguresNothing) {
  ExpectRefused([&] { store.StoreGpsDesc(nullptr); }, "Null value passed to StoreGpsDesc");
  EXPECT_FALSE(store.Mirror().gps.gpsConfigured);
}

TEST_F(NoRecord, ANullPositionIsRefusedAndSetsNone) {
  const BIN_GPS_ABS_T* const position = nullptr;
  ExpectRefused([&] { store.StoreGpsData(position, TAG_GPS_ABS); },
                "Null value passed to StoreGpsData");
  EXPECT_FALSE(store.Mirror().gps.gpsLocationSet);
}

TEST_F(NoRecord, ANullDeltaIsRefusedWhetherOrNotAPositionIsSet) {
  const BIN_GPS_REL8_T* const by_8 = nullptr;
  const BIN_GPS_REL16_T* const by_16 = nullptr;
  for (const bool location_set : {false, true}) {
    SCOPED_TRACE(location_set);
    if (location_set) Decode(B("91 01 2A 1E C4 09 53 0A 4C 1D"));
    ExpectRefused([&] { store.StoreGpsData(by_8, TAG_GPS_REL8, true); },
                  "Null value passed to StoreGpsData");
    ExpectRefused([&] { store.StoreGpsData(by_16, TAG_GPS_REL16, true); },
                  "Null value passed to StoreGpsData");
  }
  EXPECT_EQ(store.Mirror().gps.gpsLat.fraction, 2500);
}

TEST_F(NoRecord, ANullRadarReadingIsRefusedAndConnectsNothing) {
  store.InitializeRadarId(1, RADAR_SRC_GENERIC, SPEED_UNITS_MPH, "", false);
  ExpectRefused([&] { store.StoreRadarData(nullptr, TAG_RADAR_DATA); },
                "Null value passed to StoreRadarData");
  EXPECT_FALSE(store.Mirror().radar.radars[0].connected);
}

}  // namespace
}  // namespace vmr::test
