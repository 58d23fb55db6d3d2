// What every kind of event makes of itself in a recording, byte by byte, and the
// words that it may use.
#include <gtest/gtest.h>

#include "host/enum_to_string.h"
#include "store/tag_catalogue.h"
#include "tests/support/recording_store.h"
#include "tools/events/event_parser.h"
#include "tools/events/records.h"
#include "tools/record/unit_configuration.h"

namespace vmr::tool {
namespace {

using test::B;
using test::Bytes;

// A store with the default configuration, and with whatever events came.
class EventItems : public testing::Test {
 protected:
  EventItems() {
    ReportAll(UnitConfiguration(), store);
    store.WriteBuffers();
  }

  Bytes After(const std::string& line) {
    const ParsedLine parsed = ParseLine(line);
    if (const auto* unusable = std::get_if<UnusableLine>(&parsed)) {
      ADD_FAILURE() << line << ": " << unusable->reason;
      return {};
    }
    std::get<Event>(std::get<Report>(parsed).content).action(store, 7);
    return store.FlushedItems();
  }

  test::RecordingStore store;
};

TEST_F(EventItems, Speeds) {
  EXPECT_EQ(After(R"({"event":"speed","device":"gps","speed":54})"), B("71 36"));
  EXPECT_EQ(After(R"({"event":"speed","device":1,"speed":54})"), B(""));
  EXPECT_EQ(After(R"({"event":"speed","device":"gps","speed":200})"), B("78 C8 00"));
  After(R"({"event":"speed_valid","device":"gps","valid":false})");
  EXPECT_EQ(After(R"({"event":"speed","device":"gps","speed":200})"), B("78 C8 00"));
}

TEST_F(EventItems, SpeedsOfARadarNeedOneInTheConfiguration) {
  EXPECT_EQ(After(R"({"event":"speed","device":"radar","speed":54})"), B(""));
  // Descriptions of radar 1 and of speed device 2, and the radar's state.
  EXPECT_EQ(After(R"({"event":"system_info","radar_type":"lidar"})"),
            B("60 01 61 05 6C 69 64 61 72 6F 01 70 02 62 05 6C 69 64 61 72"));
  EXPECT_EQ(After(R"({"event":"speed","device":"radar","speed":"BLANK"})"), B("79 FE 00"));
}

TEST_F(EventItems, RadarReadings) {
  EXPECT_EQ(After(R"({"event":"radar","target":61,"fastest":63,"lock":0,"direction":"receding"})"),
            B("6F 21 61 80 00 3F 3D"));
  EXPECT_EQ(After(R"({"event":"radar","target":60,"fastest":63,"lock":0,"direction":1})"),
            B("68 3C"));
  EXPECT_EQ(After(R"({"event":"radar","target":"err","fastest":1023,"lock":"TST","direction":0})"),
            B("61 18 FC FF FD"));
  EXPECT_EQ(After(R"({"event":"radar_state","connected":false})"), B("6F 01"));
}

TEST_F(EventItems, GpsState) {
  EXPECT_EQ(After(R"({"event":"gps_state","available":false})"), B("94 00"));
  EXPECT_EQ(After(R"({"event":"gps_state","available":true})"), B("94 01"));
}

TEST_F(EventItems, CamerasAndStreams) {
  EXPECT_EQ(After(R"({"event":"camera","camera":"rear","state":"on"})"), B("51 11"));
  EXPECT_EQ(After(R"({"event":"camera","camera":8,"state":"background"})"), B("51 82"));
  EXPECT_EQ(After(R"({"event":"stream","stream":3,"state":"bg"})"), B("55 32"));
  EXPECT_EQ(After(R"({"event":"stream","stream":3,"state":3})"), B("55 30"));
}

TEST_F(EventItems, LiveStreams) {
  const std::string head = R"({"event":"live_stream","stream":5,"camera":2,"quality":"high",)";
  const Bytes item = B("B0 55 13 8C C0 A8 00 0A 02");
  EXPECT_EQ(After(head + R"("enabled":true,"address":"192.168.0.10","port":5004})"), item);
  // The address as a number is the same one; the next difference is stored.
  EXPECT_EQ(After(head + R"("enabled":true,"address":3232235530,"port":5004})"), item);
}

TEST_F(EventItems, StreamQuality) {
  EXPECT_EQ(After(R"({"event":"stream_quality","streams":[)"
                  R"({"format":"1080p","camera_port":"front","split":false},)"
                  R"({"format":"D1","camera_port":"right","split":false},)"
                  R"({"format":15,"camera_port":0,"split":true},)"
                  R"({"format":"none","camera_port":"none","split":false}]})"),
            B("54 11 30 54 2F 40 54 30 50"));
}

TEST_F(EventItems, Microphones) {
  EXPECT_EQ(After(R"({"event":"microphone","microphone":"cabin","present":true,"on":true})"),
            B("59 00 01 01 59 00 02 01"));
  EXPECT_EQ(After(R"({"event":"microphone","microphone":0,"on":true})"), B("59 01 02 01"));
  EXPECT_EQ(After(R"({"event":"microphone","microphone":"cabin","present":false})"),
            B("59 00 01 00"));
}

TEST_F(EventItems, Identity) {
  EXPECT_EQ(After(R"({"event":"officer","name":"Ana","badge_id":"47"})"),
            B("05 03 41 6E 61 08 02 34 37"));
  EXPECT_EQ(After(R"({"event":"vehicle","vehicle_id":"7"})"), B("07 01 37"));
  EXPECT_EQ(After(R"({"event":"department","department_name":"SC"})"), B("06 02 53 43"));
  EXPECT_EQ(After(R"({"event":"mac","mac":"02-00-5e-10-00-01"})"), B("02 00 02 00 5E 10 00 01"));
  EXPECT_EQ(After(R"({"event":"log","text":"hi"})"), B("20 02 68 69"));
  EXPECT_EQ(After(R"({"event":"test","text":""})"), B("F1 00"));
}

TEST_F(EventItems, SerialNumberAndVersionsAreKeptForTheDump) {
  EXPECT_EQ(After(R"({"event":"serial_number","serial_number":"123"})"), B(""));
  EXPECT_EQ(After(R"({"event":"version","component":"IOP","text":"9"})"), B(""));
  EXPECT_EQ(store.Mirror().identity.serial_number, "123");
  EXPECT_EQ(store.Mirror().identity.versions[COMPONENT_IOP], "9");
}

TEST_F(EventItems, SettingsThatAreNotGivenStay) {
  EXPECT_EQ(After(R"({"event":"system_info","start_on_siren":true,"pre_event_time":30})"),
            B("18 18 01 18 42 1E"));
  EXPECT_EQ(After(R"({"event":"system_info","start_on_crash":true})"), B("18 19 01"));
  EXPECT_TRUE(store.Mirror().policy.system.start_on_siren.value);
  EXPECT_EQ(After(R"({"event":"system_info","time_zone_index":"europe/BERLIN"})"),
            B("11 0D 45 75 72 6F 70 65 2F 42 65 72 6C 69 6E"));
  EXPECT_EQ(After(R"({"event":"recording_settings","split_screen_mode":true})"), B("18 63 01"));
  EXPECT_EQ(After(R"({"event":"recording_settings","maximum_recording_size_gb":4})"),
            B("18 66 04"));
  EXPECT_TRUE(store.Mirror().policy.recording.split_screen_mode.value);
}

TEST_F(EventItems, RecordingSettingsOfCamerasAreOnlyKept) {
  EXPECT_EQ(After(R"({"event":"recording_settings","cameras":[{"camera":"rear","quality":3}]})"),
            B(""));
  const VideoRecordingSettings& held = store.Mirror().policy.recording;
  EXPECT_EQ(held.cameras[1].quality.value, 3U);
  EXPECT_FALSE(held.cameras[1].enabled.value);
}

TEST_F(EventItems, AShutdownReportsOffWhatIsOn) {
  After(R"({"event":"stream","stream":1,"state":"on"})");
  After(R"({"event":"microphone","microphone":3,"present":true,"on":true})");
  After(R"({"event":"camera","camera":0,"state":"on"})");
  After(R"({"event":"input","name":"siren","on":true})");
  EXPECT_EQ(After(R"({"event":"shutdown"})"), B("55 10 59 03 01 00 59 03 02 00 51 00 37"));
}

TEST_F(EventItems, AConfigurationEndsWithItsMark) {
  store.packets.clear();
  After(R"({"event":"configuration"})");
  std::size_t bytes = 0;
  for (const test::WrittenPacket& packet : store.packets) bytes += packet.bytes.size();
  ASSERT_GT(store.packets.size(), 1U);
  EXPECT_LT(bytes, kMostConfigurationBytes);
  const Bytes& last = store.packets.back().bytes;
  EXPECT_EQ(last[last.size() - 2], 0x1A);
}

// ---- Words ---------------------------------------------------------------------

// The number that the schema gives a word; the words of a unit are its host's.
std::int64_t NumberOf(const char* definition, const std::string& word) {
  const Schema& schema = InputSchema().Definition(definition);
  EXPECT_EQ(schema.WhyNot(word), "") << definition;
  return schema.NumberOf(word);
}

template <typename Name>
void ExpectWords(const char* definition, int count, Name name) {
  for (int i = 0; i < count; ++i) {
    EXPECT_EQ(NumberOf(definition, name(i)), i) << name(i);
    EXPECT_EQ(InputSchema().Definition(definition).WhyNot(i), "");
  }
}

TEST(EventWords, AreThoseThatTheViewerPrints) {
  ExpectWords("timeZone", EnumToString::kTimeZoneCount, EnumToString::TimeZoneToStr);
  ExpectWords("microphonePosition", kMicCount, EnumToString::MicPositionToStr);
  ExpectWords("cameraPort", kCameraPortCount, EnumToString::CameraPortToStr);
  ExpectWords("streamCamera", kCameraPortCount, EnumToString::CameraPortToStr);
  ExpectWords("videoFormat", 6, EnumToString::VideoFormatToStr);
  ExpectWords("radarType", 4, EnumToString::RadarTypeToStr);
  ExpectWords("inputName", kDiscreteInputCount,
              [](int i) { return FindTag(kDiscreteInputs[i].on_tag)->name; });
  EXPECT_STREQ(EnumToString::VideoFormatToStr(6), "unknown");
  EXPECT_STREQ(EnumToString::RadarTypeToStr(4), "unknown");
}

TEST(EventWords, EverySettingOfTheUnitHasAField) {
  const Schema& schema = InputSchema().Definition("systemInfo");
  nlohmann::json all;
  for (const std::string& name : schema.PropertyNames()) {
    if (schema.Property(name)->WhyNot(true).empty())
      all[name] = true;
    else if (name != "time_zone_name")
      all[name] = 1;
  }
  PolicyMirror policy;
  SystemInfoChanges(JsonFields(all, schema))(policy.system);
  for (const PolicyRow& row : Policies()) {
    if (row.system_bool != nullptr) {
      EXPECT_TRUE(row.Bool(policy)->value) << row.name;
    }
    if (row.system_uint != nullptr) {
      EXPECT_EQ(row.Number(policy)->value, 1U) << row.name;
    }
  }
  EXPECT_EQ(policy.system.radar_type, 1);
  EXPECT_EQ(policy.system.time_zone_index, 1);
}

}  // namespace
}  // namespace vmr::tool
