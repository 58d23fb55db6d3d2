// Items of every family through the reader: how many bytes each takes, what it
// does to the store, and the line that viewing prints.
#include "store/tag_catalogue.h"
#include "tests/reader/reader_fixture.h"
#include "tests/support/golden.h"

namespace vmr::test {
namespace {

using namespace std::string_literals;
using testing::EndsWith;
using testing::IsEmpty;

class Families : public ReaderTest {
 protected:
  const StateMirror& Mirror() const { return out.Mirror(); }
  // The item is parsed whole, without viewing.
  void ParseItem(const Bytes& item) {
    EXPECT_EQ(reader.ParseItem(out, item.data()), static_cast<int>(item.size()));
  }
};

// ---- Identity ------------------------------------------------------------------

TEST_F(Families, MacAddressIsItsSixBytesFromTheSecondOn) {
  EXPECT_EQ(ViewItem(B("02 00 00 1B 21 AB CD EF")), "[Tag=mac, TagNo=0x02, mac 00:1B:21:AB:CD:EF]");
  EXPECT_EQ(Bytes(Mirror().identity.mac, Mirror().identity.mac + 6), B("00 1B 21 AB CD EF"));
  EXPECT_FALSE(out.HasPendingItems());
}

TEST_F(Families, TextsAreAsLongAsTheyClaim) {
  EXPECT_EQ(ViewItem(B("05 03 41 6E 6E")), "[Tag=String, TagNo=0x05, officer='Ann']");
  EXPECT_EQ(ViewItem(B("06 02 50 44")), "[Tag=String, TagNo=0x06, department='PD']");
  EXPECT_EQ(ViewItem(B("07 01 37")), "[Tag=String, TagNo=0x07, vehicle='7']");
  EXPECT_EQ(ViewItem(B("08 02 37 37")), "[Tag=String, TagNo=0x08, badgeId='77']");
  EXPECT_EQ(ViewItem(B("10 01 53")), "[Tag=String, TagNo=0x10, system serial num='S']");
  EXPECT_EQ(ViewItem(B("11 03 55 54 43")), "[Tag=String, TagNo=0x11, time zone='UTC']");
  EXPECT_EQ(ViewItem(B("20 02 68 69")), "[Tag=String, TagNo=0x20, log='hi']");
  EXPECT_EQ(ViewItem(B("F1 00")), "[Tag=String, TagNo=0xF1, test='']");
  EXPECT_EQ(Mirror().identity.officer.name.value, "Ann");
  EXPECT_EQ(Mirror().identity.serial_number, "S");
  EXPECT_FALSE(out.HasPendingItems());
}

TEST_F(Families, ALongestTextIsParsedWhole) {
  const std::string longest(255, 'x');
  EXPECT_EQ(ViewItem(B("05 FF") + Chars(longest)),
            "[Tag=String, TagNo=0x05, officer='" + longest + "']");
}

TEST_F(Families, VersionTextIsTerminatedAtItsLength) {
  EXPECT_EQ(ViewItem(B("09 02 03 37 2E 33")), "[Tag=version, TagNo=0x09, System Software: 7.3]");
  EXPECT_EQ(ViewItem(B("09 00 00")), "[Tag=version, TagNo=0x09, Invalid: ]");
  EXPECT_EQ(Mirror().identity.versions[2], "7.3");
}

TEST_F(Families, AVersionOfNoComponentIsSkipped) {
  EXPECT_EQ(ViewItem(B("09 0A 01 41")), "");
  EXPECT_TRUE(log.Has(2, "DataStore.cc", "Invalid component 10"));
}

TEST_F(Families, TheTimeZoneNamesTagIsIllegalAndHidesTheRestOfItsPacket) {
  out.InitCurrentSystemTick(0);
  EXPECT_EQ(View(WithContCrc(B("82 07 36 04 03 43 53 54 38"))),
            "(hdrCONT)     0 (01/01/1970 00:00:00) (07) "
            "[Tag=siren, TagNo=0x36, State=on][Illegal payload tag 0x04] \n");
  // Deliberate: though the full dump writes it.
  EXPECT_EQ(reader.ParseItem(out, B("04 03 43 53 54").data()), -1);
  EXPECT_EQ(Mirror().policy.system.time_zone_name.value, "");
  EXPECT_FALSE(Mirror().inputs.on[2]);
}

// ---- Policies ------------------------------------------------------------------

TEST_F(Families, PolicyIsThreeBytesLong) {
  EXPECT_EQ(ViewItem(B("18 52 01")),
            "[Tag=Policy8, TagNo=0x18, PolicyId=0x52, allow turn cabin mic off when recording=1]");
  EXPECT_TRUE(Mirror().policy.system.allow_cabin_mic_off.value);
  EXPECT_EQ(ViewItem(B("18 01 09")),
            "[Tag=Policy8, TagNo=0x18, PolicyId=0x01, number dvd archives=0]");
  EXPECT_TRUE(log.Has(2, "DataStore.cc", "Invalid config 1"));
}

TEST_F(Families, A16BitPolicyIsLoggedByTheReaderAndSkipped) {
  EXPECT_EQ(ViewItem(B("19 42 00 05")), "");
  EXPECT_EQ(TimesLogged(2, "Unexpected TAG_POLOICY16 tag"), 1);
  EXPECT_EQ(Mirror().policy.system.pre_event_time.value, 0u);
  Parse(WithContCrc(B("82 05 19 FF FF FF 36")));
  EXPECT_TRUE(Mirror().inputs.on[1]) << "the item behind it is parsed";
}

TEST_F(Families, TheEndOfPoliciesMakesTheConfigurationValid) {
  EXPECT_EQ(ViewItem(B("1A")), "[Tag=end, TagNo=0x1A, end policy]");
  EXPECT_TRUE(Mirror().policy.configuration_valid);
}

TEST_F(Families, OnlyBehindTheEndOfPoliciesIsADeltaWithoutAPositionLogged) {
  ParseItem(B("92 01 01"));
  ParseItem(B("93 01 00 01 00"));
  EXPECT_THAT(log.Texts(2), IsEmpty());
  ParseItem(B("1A"));
  ParseItem(B("92 01 01"));
  ParseItem(B("93 01 00 01 00"));
  EXPECT_EQ(log.Count(2, "DataStore.cc", "Requested to Store GPS but location not set"), 2);
  reader.StartAt(0);
  log.Clear();
  ParseItem(B("92 01 01"));
  EXPECT_THAT(log.Texts(2), IsEmpty()) << "a new pass has seen no end";
}

// ---- Cameras and streams -------------------------------------------------------

TEST_F(Families, CameraDescriptionIsPrintedAndNotKept) {
  EXPECT_EQ(ViewItem(B("50 00 05") + Chars("Front")),
            "[Tag=CameraDesc, TagNo=0x50, port=0, name='Front']");
  EXPECT_EQ(ViewItem(B("50 09 00")), "[Tag=CameraDesc, TagNo=0x50, port=9, name='']");
}

TEST_F(Families, CameraStateIsThePortAboveTheState) {
  EXPECT_EQ(ViewItem(B("51 12")), "[Tag=CameraState, TagNo=0x51, Port=1-rear State=2-bg]");
  EXPECT_EQ(Mirror().camera.cameras[1], CAMERA_STATE_BACKGROUND);
  EXPECT_EQ(ViewItem(B("51 F1")), "");
  EXPECT_TRUE(log.Has(2, "DataStore.cc", "Invalid camera 15"));
  EXPECT_FALSE(out.HasPendingItems());
}

TEST_F(Families, StreamFormatAndStateAreTheStreamAboveTheRest) {
  EXPECT_EQ(ViewItem(B("54 21 40")),
            "[Tag=VideoStreamFormat, TagNo=0x54, Stream=2 Format=1-D1 Camera=4-Split]");
  EXPECT_EQ(Mirror().camera.formats[2].camera, STREAM_CAMERA_SPLIT);
  EXPECT_EQ(ViewItem(B("55 31")), "[Tag=VideoStreamState, TagNo=0x55, Stream=3 State=1-on]");
  EXPECT_EQ(Mirror().camera.streams[3], STREAM_STATE_ON);
  EXPECT_EQ(ViewItem(B("55 41")), "");
  EXPECT_TRUE(log.Has(2, "DataStore.cc", "Invalid stream 4"));
  EXPECT_FALSE(out.HasPendingItems());
}

TEST_F(Families, LiveStreamTakesOneDifferenceAnItem) {
  const Bytes item = B("B0 55 1F 90 C0 A8 01 14 02");
  EXPECT_EQ(ViewItem(item),
            "[Tag=LvsState, TagNo=0xb0, Stream=5, Camera=2, Quality=1-High, State=1-Enabled, "
            "ip(addr=192.168.1.20, port=8080)]");
  EXPECT_EQ(Mirror().camera.live_streams[5].camera, 2);
  EXPECT_EQ(Mirror().camera.live_streams[5].address, 0u);
  EXPECT_EQ(ViewItem(B("B0 60 00 00 00 00 00 00 00")), "");
  EXPECT_TRUE(log.Has(2, "DataStore.cc", "Invalid stream 6"));
  EXPECT_FALSE(out.HasPendingItems());
}

// ---- Microphones ---------------------------------------------------------------

TEST_F(Families, MicrophoneDescriptionReachesToItsFifthByteAndItsName) {
  EXPECT_EQ(ViewItem(B("58 00 01 02 03") + Chars("$$x")),
            "[Tag=MicDesc, TagNo=0x58, KeltMicId=0, MicId=2, Type=wireless 1, Port=1, "
            "Name='Cabin']");
}

TEST_F(Families, MicrophoneDataIsByKind) {
  EXPECT_EQ(ViewItem(B("59 01 01 01")),
            "[Tag=MicData, TagNo=0x59, KELTMicId=1, MicId=0 Present=1-yes]");
  EXPECT_EQ(ViewItem(B("59 00 02 05")),
            "[Tag=MicData, TagNo=0x59, KELTMicId=0, MicId=2 State=1-on]");
  EXPECT_EQ(ViewItem(B("59 00 03 01")), "[Invalid Mic State = 3] ");
  EXPECT_TRUE(Mirror().microphone.present[0]);
  EXPECT_TRUE(Mirror().microphone.on[2]);
  EXPECT_FALSE(out.HasPendingItems());
}

// ---- Radar ---------------------------------------------------------------------

TEST_F(Families, RadarDescriptionShowsItsIdAsARawCharacter) {
  EXPECT_EQ(ViewItem(B("60 01 61 05") + Chars("lidar")),
            "[Tag=RadarDesc, TagNo=0x60, RadarNo=\x01, Units=as set on radar, Type=generic, "
            "Desc='lidar']");
  EXPECT_EQ(Mirror().radar.radars[0].desc, "lidar");
}

TEST_F(Families, ALongestDescriptionIsParsedWhole) {
  const std::string longest(255, 'x');
  EXPECT_THAT(ViewItem(B("60 01 61 FF") + Chars(longest)), EndsWith(", Desc='" + longest + "']"));
  EXPECT_THAT(ViewItem(B("70 01 41 FF") + Chars(longest)), EndsWith(", Desc='" + longest + "']"));
  EXPECT_THAT(ViewItem(B("09 01 FF") + Chars(longest)), EndsWith(": " + longest + "]"));
  EXPECT_THAT(ViewItem(B("50 01 FF") + Chars(longest)), EndsWith(", name='" + longest + "']"));
}

class DeviceItems : public Families, public testing::WithParamInterface<unsigned char> {
 protected:
  unsigned char Id() const { return GetParam(); }
  Bytes Tagged(int base, const Bytes& payload) const {
    return Filled(1, static_cast<unsigned char>(base + Id())) + payload;
  }
  std::string Line(const char* name, int base, const char* device, const char* rest) const {
    char text[160];
    snprintf(text, sizeof(text), "[Tag=%s, TagNo=0x%02X, %s=%d, %s]", name,
             static_cast<unsigned int>(base + Id()), device, Id(), rest);
    return text;
  }
};

TEST_P(DeviceItems, RadarReadingsAreThoseOfTheIdInTheTag) {
  ParseItem(B("60") + Filled(1, Id()) + B("41 00"));
  EXPECT_EQ(ViewItem(Tagged(0x60, B("80 0A 14 1E"))),
            Line("RadarData", 0x60, "RadarNo", "TargetSpeed=30, FastestSpeed=20, LockSpeed=10"));
  EXPECT_EQ(Mirror().radar.radars[0].lock, 10);
  EXPECT_EQ(Mirror().radar.radars[0].direction, RADAR_DIRECTION_1);
  EXPECT_EQ(ViewItem(Tagged(0x67, B("FA"))),
            Line("RadarTarget", 0x67, "RadarNo", "TargetSpeed=250"));
  EXPECT_EQ(Mirror().radar.radars[0].target, 250);
  EXPECT_EQ(Mirror().radar.radars[0].lock, 32767);
  EXPECT_TRUE(Mirror().radar.radars[0].connected);
  EXPECT_FALSE(out.HasPendingItems());
}

TEST_P(DeviceItems, SpeedsAreThoseOfTheIdInTheTag) {
  ParseItem(B("70") + Filled(1, Id()) + B("41 00"));
  EXPECT_EQ(ViewItem(Tagged(0x70, B("37"))), Line("speed", 0x70, "DeviceNo", "PatrolSpeed=55"));
  EXPECT_EQ(ViewItem(Tagged(0x77, B("34 12"))),
            Line("speed", 0x77, "DeviceNo", "PatrolSpeed=4660"));
  EXPECT_EQ(ViewItem(Tagged(0x70, B("FF"))), Line("speed", 0x70, "DeviceNo", "PatrolSpeed=65535"))
      << "one byte is signed";
  EXPECT_FALSE(out.HasPendingItems());
}

TEST_P(DeviceItems, ReadingsOfUnknownDevicesAreSkipped) {
  for (const Bytes& item : {Tagged(0x60, B("80 0A 14 1E")), Tagged(0x67, B("FA")),
                            Tagged(0x70, B("37")), Tagged(0x77, B("34 12"))})
    EXPECT_EQ(ViewItem(item), "");
  EXPECT_THAT(log.Texts(2), IsEmpty()) << "this store is no ring";
}

INSTANTIATE_TEST_SUITE_P(EveryId, DeviceItems, testing::Values(1, 2, 3, 4, 5, 6, 7));

TEST_F(Families, RadarStateIsConnectedForTheValueOneAlone) {
  ParseItem(B("60 01 61 00"));
  EXPECT_EQ(ViewItem(B("6F 21")), "[Tag=RadarState, TagNo=0x6f, RadarNo=1, State=1-available]");
  EXPECT_TRUE(Mirror().radar.radars[0].connected);
  EXPECT_EQ(ViewItem(B("6F 41")), "[Tag=RadarState, TagNo=0x6f, RadarNo=1, State=0-unavailable]");
  EXPECT_FALSE(Mirror().radar.radars[0].connected);
  EXPECT_FALSE(out.HasPendingItems());
}

TEST_F(Families, ARadarThatIsGoneMakesTheSpeedOfDeviceTwoInvalid) {
  ParseItem(B("60 01 61 00"));
  ParseItem(B("70 02 62 00"));
  ParseItem(B("70 01 41 00"));
  ParseItem(B("71 37"));
  ParseItem(B("72 38"));
  ParseItem(B("6F 21"));
  EXPECT_TRUE(Mirror().speed.devices[0].valid);
  ParseItem(B("6F 01"));
  EXPECT_FALSE(Mirror().speed.devices[0].valid);
  EXPECT_TRUE(Mirror().speed.devices[1].valid);
}

TEST_F(Families, AGpsThatIsGoneMakesTheSpeedOfDeviceOneInvalid) {
  ParseItem(B("70 02 62 00"));
  ParseItem(B("70 01 41 00"));
  ParseItem(B("71 37"));
  ParseItem(B("72 38"));
  ParseItem(B("94 01"));
  EXPECT_TRUE(Mirror().speed.devices[1].valid);
  ParseItem(B("94 00"));
  EXPECT_FALSE(Mirror().speed.devices[1].valid);
  EXPECT_TRUE(Mirror().speed.devices[0].valid);
}

TEST_F(Families, TheStateOfAnUnknownRadarIsAnErrorOnStandardOutputEvenWithoutViewing) {
  EXPECT_EQ(Printed([&] { ParseItem(B("6F 23")); }),
            "ERROR: Non-existant Radar Id [Tag=RadarState, TagNo=0x6f, RadarNo=3, "
            "State=1-available]");
}

// ---- Speed ---------------------------------------------------------------------

TEST_F(Families, SpeedDescriptionIsPrintedAndKept) {
  EXPECT_EQ(ViewItem(B("70 01 41 0C") + Chars("Internal Gps")),
            "[Tag=SpeedDesc, TagNo=0x70, DeviceNo=1, Type=gps, Units=mph, Desc='Internal Gps']");
  EXPECT_EQ(Mirror().speed.devices[0].desc, "Internal Gps");
  EXPECT_EQ(Mirror().speed.devices[0].type, SPEED_SRC_GPS);
}

// ---- Packets -------------------------------------------------------------------

TEST_F(Families, AnItemThatClaimsToReachPastItsPacketEndsItLikeAnIllegalTag) {
  for (const char* const items : {"02 00 01 02 03 04 05",
                                  "05 02 41",
                                  "06",
                                  "07 FF",
                                  "08 01",
                                  "09 01 02 41",
                                  "10 01",
                                  "11 05 55",
                                  "18 52",
                                  "19 00 00",
                                  "20 01",
                                  "50 00 01",
                                  "51",
                                  "54 00",
                                  "55",
                                  "58 01 01 01 01",
                                  "59 01 01",
                                  "60 01 41 01",
                                  "61 00 00 00",
                                  "67 00",
                                  "68",
                                  "6E",
                                  "6F",
                                  "70 01 41 01",
                                  "71",
                                  "77",
                                  "78 00",
                                  "7E 00",
                                  "B0 00 00 00 00 00 00 00",
                                  "F1 01"}) {
    SCOPED_TRACE(items);
    const Bytes item = B(items);
    char illegal[40];
    snprintf(illegal, sizeof(illegal), "[Illegal payload tag 0x%02X] \n", item[0]);
    EXPECT_THAT(View(B("82") + Filled(1, static_cast<unsigned char>(item.size())) + item),
                EndsWith(illegal));
  }
  EXPECT_EQ(Mirror().identity.officer.name.value, "");
  EXPECT_EQ(Mirror().radar.radars[0].id, 255);
}

TEST_F(Families, WithoutViewingNothingIsPrinted) {
  EXPECT_EQ(Printed([&] {
              Parse(
                  WithContCrc(B("82 2D 02 00 01 02 03 04 05 06 05 01 41 09 01 01 41 18 52 01 "
                                "1A 50 00 00 51 01 54 01 00 55 01 58 01 01 01 00 59 01 02 01 "
                                "60 01 41 00")));
            }),
            "");
  EXPECT_EQ(Mirror().radar.radars[0].id, 1);
}

// ---- A full dump read back -----------------------------------------------------

TEST_F(Families, TheDumpOfAStoreDecodedFromARecordingIsWrittenToTheLastByte) {
  for (const Bytes& packet : ReadGolden("full_state_everything.txt").packets)
    EXPECT_EQ(Parse(packet), 1);
  EXPECT_EQ(out.FlushedItems(1), B("3A")) << "covert on, recorded again while it is read";
  out.InitCurrentSystemTick(0x01020304);
  out.WriteFullState(false);
  out.packets.clear();
  out.WriteBuffers();
  std::vector<Bytes> packets;
  for (const WrittenPacket& packet : out.packets) packets.push_back(packet.bytes);
  EXPECT_EQ(packets, ReadGolden("full_state_decoded.txt").packets);
}

TEST_F(Families, TheDecodedStoresDumpIsShownAsItsGoldenFileHasIt) {
  for (const GoldenItem& item : ReadGolden("full_state_decoded.txt").items)
    EXPECT_EQ(ViewItem(item.bytes), item.line);
}

}  // namespace
}  // namespace vmr::test
