// Speed sources: the table of devices, what is recorded of a speed, and what the
// viewer prints.
#include <gtest/gtest.h>

#include "tests/support/fresh_process.h"
#include "tests/support/store_fixture.h"

namespace vmr::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr auto kNoTag = static_cast<e_Tag>(0);

class Speed : public StoreTest {
 protected:
  Speed() { SwitchRecording(store, true); }

  static void SwitchRecording(DataStore& of, bool on, std::uint16_t radar_type = 0) {
    SystemInfo info;
    info.record_speed_in_metadata.value = on;
    info.radar_type = radar_type;
    of.ReportSystemInfo(info, false);
  }

  int Device(unsigned char id, e_SPEED_SRC_TYPE type = SPEED_SRC_GPS, bool write = false) {
    return store.InitializeSpeedId(id, type, SPEED_UNITS_MPH, "x", write);
  }
  void Report(unsigned char id, unsigned int speed, bool write = true) {
    store.ReportSpeed(id, static_cast<unsigned short>(speed), write, 0, kNoTag);
  }
  // What is recorded for a speed of a fresh device.
  Bytes Recorded(unsigned char id, unsigned int speed) {
    RecordingStore fresh;
    SwitchRecording(fresh, true);
    fresh.InitializeSpeedId(id, SPEED_SRC_GPS, SPEED_UNITS_MPH, "", false);
    fresh.ReportSpeed(id, static_cast<unsigned short>(speed), true, 0, kNoTag);
    return fresh.FlushedItems();
  }
  // The line that the viewer prints for a speed of device 1.
  std::string Shown(unsigned int speed, e_Tag tag = TAG_SPEED_16) {
    Device(1);
    store.SetViewMode(kViewItems);
    std::string text =
        Printed([&] { store.ReportSpeed(1, static_cast<unsigned short>(speed), false, 0, tag); });
    store.SetViewMode(0);
    return text;
  }

  const SPEED_DESC_T& Entry(int n) const { return store.Mirror().speed.devices[n]; }
};

// ---- The table of devices ------------------------------------------------------

TEST_F(Speed, EveryEntryIsFreeAtFirst) {
  for (int n = 0; n < 3; ++n) EXPECT_EQ(Entry(n).id, 255) << n;
}

TEST_F(Speed, ADeviceTakesTheFirstFreeEntryAndKeepsIt) {
  EXPECT_EQ(Device(7), 7);
  EXPECT_EQ(Device(2), 2);
  EXPECT_EQ(Device(7), 7);
  EXPECT_EQ(Entry(0).id, 7);
  EXPECT_EQ(Entry(1).id, 2);
  EXPECT_EQ(Entry(2).id, 255);
}

TEST_F(Speed, AFourthInitializeSpeedIdWithANewIdReturnsMinusOne) {
  for (const unsigned char id : B("01 02 03")) EXPECT_EQ(Device(id), id);
  EXPECT_EQ(Device(4, SPEED_SRC_GPS, true), -1);
  EXPECT_EQ(Device(255), -1) << "neither is there an entry to allocate";
  EXPECT_EQ(Device(2), 2) << "a known id still has its entry";
  EXPECT_THAT(log.Texts(kLogError), IsEmpty());
  EXPECT_THAT(Items(), IsEmpty());
}

TEST_F(Speed, AllocationChoosesTheLowestIdThatNoEntryHolds) {
  EXPECT_EQ(Device(1), 1);
  EXPECT_EQ(Device(255), 0);
  EXPECT_EQ(Device(255), 2);
}

TEST_F(Speed, ReinitialisingClearsTheReadingAndTheRadarType) {
  SwitchRecording(store, true, 2);
  store.CheckSpeedConfig(false);
  Report(2, 50, false);
  EXPECT_EQ(Entry(0).radarType, 2);
  EXPECT_EQ(store.InitializeSpeedId(2, SPEED_SRC_GPS, SPEED_UNITS_KMH, "new", false), 2);
  EXPECT_EQ(Entry(0).radarType, 0);
  EXPECT_EQ(Entry(0).speed, 0u);
  EXPECT_FALSE(Entry(0).valid);
  EXPECT_EQ(Entry(0).units, SPEED_UNITS_KMH);
  EXPECT_EQ(Entry(0).type, SPEED_SRC_GPS);
  EXPECT_EQ(Entry(0).desc, "new");
}

TEST_F(Speed, FindsTheFirstEntryWithAnId) {
  SPEED_DESC_T table[3];
  EXPECT_EQ(DataStore::FindSpeedDesc(table, 255), &table[0]);
  EXPECT_EQ(DataStore::FindSpeedDesc(table, 2), nullptr);
  table[1].id = table[2].id = 2;
  EXPECT_EQ(DataStore::FindSpeedDesc(table, 2), &table[1]);
}

TEST_F(Speed, NothingIsFoundInANullTableWhichIsLogged) {
  EXPECT_EQ(DataStore::FindSpeedDesc(nullptr, 255), nullptr);
  EXPECT_THAT(log.Entries(), ElementsAre(LogEntry{kLogError, "DataStore.cc",
                                                  "Null value passed to FindSpeedDesc"}));
}

// ---- Descriptions --------------------------------------------------------------

TEST_F(Speed, DescriptionIsWrittenToTheLastByteWithSlackFour) {
  store.InitializeSpeedId(5, SPEED_SRC_RADAR, SPEED_UNITS_AS_ON_RADAR, "ab", true);
  EXPECT_THAT(Added(), ElementsAre("Add to Current packet size (6), newSlack (4)"));
  EXPECT_EQ(Items(), B("70 05 62 02 61 62"));
}

TEST_F(Speed, DescriptionsOfAnyIdAreWritten) {
  store.InitializeSpeedId(200, SPEED_SRC_GPS, SPEED_UNITS_KMH, "", true);
  EXPECT_EQ(Items(), B("70 C8 21 00"));
}

TEST_F(Speed, UnitsAndTypeShareAByteThreeBitsAndFive) {
  store.InitializeSpeedId(1, static_cast<e_SPEED_SRC_TYPE>(0x3F), static_cast<e_SpeedUnits>(7), "",
                          true);
  EXPECT_EQ(Items(), B("70 01 FF 00"));
}

TEST_F(Speed, ANullDescriptionCountsAsEmpty) {
  store.InitializeSpeedId(1, SPEED_SRC_GPS, SPEED_UNITS_MPH, nullptr, true);
  EXPECT_EQ(Items(), B("70 01 41 00"));
}

TEST_F(Speed, TheLongestDescriptionThatFitsAPacketHas251Characters) {
  store.InitializeSpeedId(1, SPEED_SRC_GPS, SPEED_UNITS_MPH, std::string(251, 'd').c_str(), true);
  EXPECT_EQ(Items(), B("70 01 41 FB") + Bytes(251, 'd'));
  store.InitializeSpeedId(1, SPEED_SRC_GPS, SPEED_UNITS_MPH, std::string(300, 'd').c_str(), true);
  EXPECT_THAT(Items(), IsEmpty());
  EXPECT_TRUE(Logged(kLogError, "***************** Dropped 259 data bytes ********************"));
}

TEST_F(Speed, DecodedDescriptionIsHeldAndShown) {
  EXPECT_EQ(View(B("70 01 41 0C") + Chars("Internal Gps")),
            "[Tag=SpeedDesc, TagNo=0x70, DeviceNo=1, Type=gps, Units=mph, Desc='Internal Gps']");
  EXPECT_EQ(View(B("70 02 62 05") + Chars("lidar")),
            "[Tag=SpeedDesc, TagNo=0x70, DeviceNo=2, Type=radar, Units=as set on radar, "
            "Desc='lidar']");
  EXPECT_EQ(View(B("70 02 00 00")),
            "[Tag=SpeedDesc, TagNo=0x70, DeviceNo=2, Type=disconnected, Units=none, Desc='']");
  EXPECT_EQ(View(B("70 03 3F 01 41")),
            "[Tag=SpeedDesc, TagNo=0x70, DeviceNo=3, Type=Invalid, Units=km/h, Desc='A']");
  EXPECT_EQ(Entry(0).desc, "Internal Gps");
  EXPECT_EQ(Entry(1).units, SPEED_UNITS_NONE);
  EXPECT_THAT(Items(), IsEmpty());
}

TEST_F(Speed, ADecodedDescriptionEndsAtANul) {
  EXPECT_EQ(View(B("70 01 41 03 41 00 42")),
            "[Tag=SpeedDesc, TagNo=0x70, DeviceNo=1, Type=gps, Units=mph, Desc='A']");
}

TEST_F(Speed, ADecodedDescriptionOfAFourthDeviceIsSkipped) {
  for (const unsigned char id : B("01 02 03")) Device(id);
  EXPECT_EQ(View(B("70 04 41 00")), "");
}

// ---- Configured devices --------------------------------------------------------

TEST_F(Speed, ConfigurationDescribesTheRadarThenTheGps) {
  SwitchRecording(store, true, 1);
  store.CheckSpeedConfig(true);
  EXPECT_THAT(log.Texts(kLogEachItem),
              testing::IsSupersetOf({"Configuring Radar for Speed, type = %d1",
                                     "Configuring Gps for Speed, type = 1"}));
  EXPECT_EQ(Items(), B("70 02 62 0E") + Chars("single antenna") +  //
                         B("70 01 41 0C") + Chars("Internal Gps"));
}

TEST_F(Speed, WithoutARadarDeviceTwoIsDisconnected) {
  store.CheckSpeedConfig(true);
  EXPECT_EQ(Items(), B("70 02 60 04") + Chars("none") + B("70 01 41 0C") + Chars("Internal Gps"));
  EXPECT_EQ(Entry(0).type, SPEED_SRC_DISCONNECTED);
}

TEST_F(Speed, CheckingAgainWritesOnlyWhatChanged) {
  store.CheckSpeedConfig(true);
  Items();
  store.CheckSpeedConfig(true);
  EXPECT_THAT(Items(), IsEmpty());
  SwitchRecording(store, true, 3);
  log.Clear();
  store.CheckSpeedConfig(true);
  EXPECT_TRUE(Logged(kLogEachItem, "Configuring Radar for Speed, type = %d3"));
  EXPECT_FALSE(Logged(kLogEachItem, "Configuring Gps for Speed, type = 1"));
  EXPECT_EQ(Items(), B("70 02 62 05") + Chars("lidar"));
}

TEST_F(Speed, WithoutWriteConfigurationOnlyMovesTheMirror) {
  store.CheckSpeedConfig(false);
  EXPECT_THAT(Items(), IsEmpty());
  EXPECT_EQ(Entry(0).id, 2);
  EXPECT_EQ(Entry(1).id, 1);
  EXPECT_EQ(Entry(1).desc, "Internal Gps");
}

TEST_F(Speed, ATableWithoutRoomForTheRadarIsAnInternalErrorThatEndsTheCheck) {
  for (const unsigned char id : B("05 06 07")) Device(id);
  store.CheckSpeedConfig(true);
  EXPECT_EQ(log.Texts(kLogError), std::vector<std::string>{"Internal error configuring speed"});
  EXPECT_FALSE(Logged(kLogEachItem, "Configuring Gps for Speed, type = 1"));
}

TEST_F(Speed, ATableWithoutRoomForTheGpsIsAnInternalErrorToo) {
  for (const unsigned char id : B("05 06")) Device(id);
  store.CheckSpeedConfig(false);
  EXPECT_EQ(Entry(2).id, 2);
  EXPECT_EQ(log.Texts(kLogError), std::vector<std::string>{"Internal error configuring speed"});
  EXPECT_TRUE(Logged(kLogEachItem, "Configuring Gps for Speed, type = 1"));
}

// ---- What is recorded ----------------------------------------------------------

TEST_F(Speed, ReportingZeroThenOneOrTwoWritesNothingAndLogsTheDriftThreeIsWritten) {
  Device(1);
  for (const unsigned int speed : {0u, 1u, 2u}) Report(1, speed);
  EXPECT_THAT(Items(), IsEmpty());
  EXPECT_THAT(log.Texts(kLogInfo),
              ElementsAre("Speed drift from 0 ignoring - 0", "Speed drift from 0 ignoring - 1",
                          "Speed drift from 0 ignoring - 2"));
  EXPECT_EQ(Entry(0).speed, 0u);
  EXPECT_TRUE(Entry(0).valid);
  Report(1, 3);
  EXPECT_EQ(Items(), B("71 03"));
}

TEST_F(Speed, OneAndTwoAreWrittenWhenTheVehicleComesToRest) {
  Device(1);
  Report(1, 50);
  Report(1, 2);
  Report(1, 1);
  Report(1, 0);
  EXPECT_EQ(Items(), B("71 32 71 02 71 01 71 00"));
  Report(1, 1);
  EXPECT_THAT(Items(), IsEmpty());
}

TEST_F(Speed, ASpeedOf127IsWrittenInTwoBytes128InThree) {
  EXPECT_EQ(Recorded(1, 127), B("71 7F"));
  EXPECT_EQ(Recorded(1, 128), B("78 80 00"));
  EXPECT_EQ(Recorded(1, 255), B("78 FF 00"));
}

TEST_F(Speed, LargerSpeedsAreLeastSignificantByteFirst) {
  EXPECT_EQ(Recorded(2, 0x1234), B("79 34 12"));
  EXPECT_EQ(Recorded(7, 0xFFFF), B("7E FF FF"));
}

TEST_F(Speed, EveryIdFromOneToSevenHasItsTags) {
  for (unsigned char id = 1; id <= 7; ++id) {
    EXPECT_EQ(Recorded(id, 9), (Bytes{static_cast<unsigned char>(0x70 + id), 9}));
    EXPECT_EQ(Recorded(id, 200), (Bytes{static_cast<unsigned char>(0x77 + id), 200, 0}));
  }
}

TEST_F(Speed, IdsOutsideOneToSevenWriteNothingAndSaySo) {
  for (const unsigned char id : B("00 08 FE")) {
    log.Clear();
    EXPECT_THAT(Recorded(id, 9), IsEmpty());
    EXPECT_THAT(Recorded(id, 200), IsEmpty());
    EXPECT_EQ(log.Count(kLogError, "DataStore.cc",
                        "No item for device id " + std::to_string(id) + ", ids are 1 to 7"),
              2);
  }
}

TEST_F(Speed, AnIdThatIsNotWrittenIsStillHeld) {
  Device(0);
  Report(0, 9);
  EXPECT_EQ(Entry(0).speed, 9u);
}

TEST_F(Speed, ItemsCarryTheTickAndSlackOne) {
  Device(1);
  store.ReportSpeed(1, 40, true, 99, kNoTag);
  EXPECT_TRUE(Logged(kLogEachItem, "AddToCurrPacket, newTick 99 lastSlackSt = 0"));
  EXPECT_THAT(Added(), ElementsAre("Add to Current packet size (2), newSlack (1)"));
}

TEST_F(Speed, WriteSpeedUsesTheSlackItIsGiven) {
  SPEED_DESC_T desc;
  desc.id = 3;
  desc.speed = 300;
  store.WriteSpeed(desc, 2, 0);
  EXPECT_THAT(Added(), ElementsAre("Add to Current packet size (3), newSlack (2)"));
  EXPECT_EQ(Items(), B("7A 2C 01"));
}

TEST_F(Speed, ReportingTheSameSpeedTwiceWritesOnceAfterReportValidSpeedFalseAgain) {
  Device(1);
  Report(1, 30);
  Report(1, 30);
  EXPECT_EQ(Items(), B("71 1E"));
  store.ReportValidSpeed(1, false);
  Report(1, 30);
  EXPECT_EQ(Items(), B("71 1E"));
}

TEST_F(Speed, ZeroAfterReportValidSpeedFalseIsDriftAndNotWritten) {
  Device(1);
  Report(1, 0);
  store.ReportValidSpeed(1, false);
  log.Clear();
  Report(1, 0);
  EXPECT_THAT(Items(), IsEmpty());
  EXPECT_TRUE(Logged(kLogInfo, "Speed drift from 0 ignoring - 0"));
  EXPECT_TRUE(Entry(0).valid);
}

TEST_F(Speed, ReportValidSpeedOfAnUnknownIdIsIgnored) {
  Device(1);
  store.ReportValidSpeed(2, true);
  EXPECT_FALSE(Entry(0).valid);
  store.ReportValidSpeed(1, true);
  EXPECT_TRUE(Entry(0).valid);
}

TEST_F(Speed, ReportingASpeedForADeviceOfTypeZeroWritesNothing) {
  Device(0x41, SPEED_SRC_DISCONNECTED);
  Report(0x41, 30);
  EXPECT_THAT(Items(), IsEmpty());
  EXPECT_THAT(log.Texts(kLogWarning), ElementsAre("Speed reported for device A but disconnected"));
  EXPECT_FALSE(Entry(0).valid);
  EXPECT_EQ(Entry(0).speed, 0u);
}

TEST_F(Speed, WithoutWriteOnlyTheMirrorMoves) {
  Device(1);
  Report(1, 30, false);
  EXPECT_EQ(Entry(0).speed, 30u);
  EXPECT_THAT(Items(), IsEmpty());
}

// ---- Unknown devices -----------------------------------------------------------

TEST_F(Speed, AnUnknownDeviceIsLoggedByARingStoreWithItsIdAsARawCharacter) {
  RecordingStore ring(DATA_STORE_NORMAL);
  log.Clear();
  ring.ReportSpeed(0x41, 30, true, 0, kNoTag);
  ring.ReportSpeed(0x07, 30, true, 0, kNoTag);
  EXPECT_THAT(log.Entries(),
              ElementsAre(LogEntry{kLogError, "DataStore.cc",
                                   "Attempt to report a speed to non-existant id-A"},
                          LogEntry{kLogError, "DataStore.cc",
                                   "Attempt to report a speed to non-existant id-\x07"}));
  EXPECT_THAT(ring.FlushedItems(), IsEmpty());
}

TEST_F(Speed, EveryOtherKindOfStoreIsSilentAboutUnknownDevices) {
  for (const DATA_STORE_TYPE_T type :
       {DATA_STORE_FLAT_READ, DATA_STORE_FLAT_MESSAGE, DATA_STORE_NULL, DATA_STORE_FLAT_WRITE}) {
    RecordingStore other(type);
    log.Clear();
    other.ReportSpeed(1, 30, true, 0, kNoTag);
    EXPECT_THAT(log.Entries(), IsEmpty()) << type;
  }
}

TEST_F(Speed, AnIdOf255FindsAFreeEntryWhichIsADisconnectedDevice) {
  Device(1);
  for (const DATA_STORE_TYPE_T type : {DATA_STORE_NORMAL, DATA_STORE_NULL}) {
    RecordingStore other(type);
    log.Clear();
    other.ReportSpeed(255, 30, true, 0, kNoTag);
    EXPECT_THAT(log.Entries(),
                ElementsAre(LogEntry{kLogWarning, "DataStore.cc",
                                     "Speed reported for device \xFF but disconnected"}));
    EXPECT_EQ(other.Mirror().speed.devices[0].speed, 0u);
    EXPECT_FALSE(other.Mirror().speed.devices[0].valid);
    EXPECT_THAT(other.FlushedItems(), IsEmpty());
  }
}

TEST_F(Speed, ValidityOfAnIdOf255IsThatOfTheFirstFreeEntryUntilADeviceTakesIt) {
  Device(1);
  store.ReportValidSpeed(255, true);
  EXPECT_FALSE(Entry(0).valid);
  EXPECT_TRUE(Entry(1).valid);
  EXPECT_EQ(Entry(1).id, 255) << "it stays free";
  EXPECT_FALSE(Entry(2).valid);
  Device(2);
  EXPECT_FALSE(Entry(1).valid);
}

TEST_F(Speed, WithoutAFreeEntryAnIdOf255IsUnknown) {
  RecordingStore ring(DATA_STORE_NORMAL);
  for (const unsigned char id : B("01 02 03"))
    ring.InitializeSpeedId(id, SPEED_SRC_GPS, SPEED_UNITS_MPH, "", false);
  log.Clear();
  ring.ReportSpeed(255, 30, true, 0, kNoTag);
  ring.ReportValidSpeed(255, true);
  EXPECT_THAT(log.Entries(),
              ElementsAre(LogEntry{kLogError, "DataStore.cc",
                                   "Attempt to report a speed to non-existant id-\xFF"}));
  for (const SPEED_DESC_T& device : ring.Mirror().speed.devices) EXPECT_FALSE(device.valid);
}

// ---- The switch ----------------------------------------------------------------

// The line about the switch comes once in a process, so it has to be looked at
// in a copy made before any test has run.
class SwitchedOffOnce : public testing::Environment {
 public:
  void SetUp() override { texts_ = InFreshProcess(Texts); }
  static const std::string& Lines() { return texts_; }

 private:
  static std::string Texts() {
    const CapturedLog log;
    std::string texts;
    for (int n = 0; n < 2; ++n) {
      RecordingStore store;
      SPEED_DESC_T desc;
      desc.id = 1;
      store.WriteSpeed(desc, 1, 0);
      store.WriteSpeed(desc, 1, 0);
      if (store.HasPendingItems()) texts += "recorded;";
    }
    for (const LogEntry& entry : log.Entries())
      texts += std::to_string(entry.level) + " " + entry.file + " " + entry.text + ";";
    return texts;
  }
  static inline std::string texts_;
};
const testing::Environment* const kSwitchedOffOnce =
    testing::AddGlobalTestEnvironment(new SwitchedOffOnce);

TEST_F(Speed, SwitchedOffNothingIsWrittenAndOneLineInTheProcessSaysSo) {
  EXPECT_EQ(SwitchedOffOnce::Lines(), "4 DataStore.cc Speed in Metadata turned off;");
}

TEST_F(Speed, SwitchedOffTheMirrorStillMoves) {
  SwitchRecording(store, false);
  Device(1);
  Report(1, 30);
  EXPECT_EQ(Entry(0).speed, 30u);
  EXPECT_THAT(Items(), IsEmpty());
}

TEST_F(Speed, SwitchedOffNoIdIsComplainedAbout) {
  SwitchRecording(store, false);
  Device(0);
  log.Clear();
  Report(0, 30);
  EXPECT_THAT(log.Texts(kLogError), IsEmpty());
}

// ---- The viewer ----------------------------------------------------------------

TEST_F(Speed, SpeedsAreShownWithTagAndDevice) {
  Device(1);
  EXPECT_EQ(View(B("71 37")), "[Tag=speed, TagNo=0x71, DeviceNo=1, PatrolSpeed=55]");
  EXPECT_EQ(View(B("78 2C 01")), "[Tag=speed, TagNo=0x78, DeviceNo=1, PatrolSpeed=300]");
  EXPECT_EQ(View(B("71 05")), "[Tag=speed, TagNo=0x71, DeviceNo=1, PatrolSpeed=05]");
  EXPECT_EQ(View(B("71 00")), "[Tag=speed, TagNo=0x71, DeviceNo=1, PatrolSpeed=00]");
  EXPECT_THAT(Items(), IsEmpty());
}

TEST_F(Speed, StatusWordsAreShownForTheirCodes) {
  EXPECT_EQ(Shown(251), "[Tag=speed, TagNo=0x78, DeviceNo=1, PatrolSpeed=251]");
  EXPECT_EQ(Shown(252), "[Tag=speed, TagNo=0x78, DeviceNo=1, PatrolSpeed=TST (252)]");
  EXPECT_EQ(Shown(253), "[Tag=speed, TagNo=0x78, DeviceNo=1, PatrolSpeed=ERR (253)]");
  EXPECT_EQ(Shown(254), "[Tag=speed, TagNo=0x78, DeviceNo=1, PatrolSpeed=BLANK (254)]");
  EXPECT_EQ(Shown(255), "[Tag=speed, TagNo=0x78, DeviceNo=1, PatrolSpeed=BAD (255)]");
  EXPECT_EQ(Shown(256), "[Tag=speed, TagNo=0x78, DeviceNo=1, PatrolSpeed=256]");
}

TEST_F(Speed, The508To511OfTheMaskPrintAsTheSameStatusWords) {
  EXPECT_EQ(Shown(507), "[Tag=speed, TagNo=0x78, DeviceNo=1, PatrolSpeed=507]");
  EXPECT_EQ(Shown(508), "[Tag=speed, TagNo=0x78, DeviceNo=1, PatrolSpeed=TST (508)]");
  EXPECT_EQ(Shown(509), "[Tag=speed, TagNo=0x78, DeviceNo=1, PatrolSpeed=ERR (509)]");
  EXPECT_EQ(Shown(510), "[Tag=speed, TagNo=0x78, DeviceNo=1, PatrolSpeed=BLANK (510)]");
  EXPECT_EQ(Shown(511), "[Tag=speed, TagNo=0x78, DeviceNo=1, PatrolSpeed=BAD (511)]");
  EXPECT_EQ(Shown(764), "[Tag=speed, TagNo=0x78, DeviceNo=1, PatrolSpeed=764]");
}

TEST_F(Speed, AnUnchangedOrSwallowedSpeedIsNotShown) {
  Device(1);
  EXPECT_EQ(View(B("71 02")), "");
  View(B("71 37"));
  EXPECT_EQ(View(B("71 37")), "");
}

TEST_F(Speed, TheOneByteSpeedIsDecodedSigned) {
  Device(1);
  EXPECT_EQ(View(B("71 80")), "[Tag=speed, TagNo=0x71, DeviceNo=1, PatrolSpeed=65408]");
  EXPECT_EQ(Entry(0).speed, 65408u);
}

TEST_F(Speed, NothingIsPrintedOutsideTheViewer) {
  EXPECT_EQ(Printed([&] {
              Decode(B("70 01 41 01 41"));
              Decode(B("71 37"));
              Decode(B("78 2C 01"));
            }),
            "");
  EXPECT_EQ(Entry(0).speed, 300u);
}

TEST_F(Speed, ALostGpsOrRadarMakesItsDevicesSpeedInvalid) {
  SwitchRecording(store, true, 1);
  store.ReportConfiguration(false);  // radar in the first entry, GPS in the second
  Report(1, 30, false);
  Report(2, 40, false);
  Decode(B("94 00"));
  EXPECT_FALSE(Entry(1).valid);
  EXPECT_TRUE(Entry(0).valid);
  Decode(B("6F 01"));
  EXPECT_FALSE(Entry(0).valid);
}

}  // namespace
}  // namespace vmr::test
