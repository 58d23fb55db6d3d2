// Radar: connection, the two kinds of reading, and what the viewer prints.
#include <gtest/gtest.h>

#include "tests/support/store_fixture.h"

namespace vmr::test {
namespace {

using namespace std::string_literals;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr auto kNoTag = static_cast<e_Tag>(0);

struct Reading {
  unsigned int lock = 0;
  unsigned int fastest = 0;
  unsigned int target = 0;
  unsigned int direction = 0;
};

class Radar : public StoreTest {
 protected:
  int Init(unsigned char id, e_RADAR_SRC_TYPE type = RADAR_SRC_GENERIC, bool write = false) {
    return store.InitializeRadarId(id, type, SPEED_UNITS_MPH, "x", write);
  }
  static void Report(DataStore& to, unsigned char id, const Reading& reading, bool write,
                     unsigned int tick = 0, e_Tag tag = kNoTag) {
    to.ReportRadar(id, static_cast<unsigned short>(reading.lock),
                   static_cast<unsigned short>(reading.fastest),
                   static_cast<unsigned short>(reading.target),
                   static_cast<e_RADAR_DIRECTION>(reading.direction), write, tick, tag);
  }
  void Report(const Reading& reading, bool write = true) { Report(store, 1, reading, write); }

  // Radar 1 is connected and holds the reading.
  void Hold(const Reading& reading) {
    Init(1);
    store.ReportRadarState(1, true, false);
    Report(reading, false);
    log.Clear();
  }

  // What is recorded for the second of two readings.
  Bytes Recorded(const Reading& held, const Reading& now) {
    RecordingStore fresh;
    fresh.InitializeRadarId(1, RADAR_SRC_GENERIC, SPEED_UNITS_MPH, "", false);
    fresh.ReportRadarState(1, true, false);
    Report(fresh, 1, held, false);
    Report(fresh, 1, now, true);
    return fresh.FlushedItems();
  }

  void SetRadarType(std::uint16_t type) {
    SystemInfo info;
    info.radar_type = type;
    store.ReportSystemInfo(info, false);
  }

  const RADAR_DESC_T& Entry(int n = 0) const { return store.Mirror().radar.radars[n]; }
};

// ---- The table of radars -------------------------------------------------------

TEST_F(Radar, BothEntriesAreFreeAtFirst) {
  EXPECT_EQ(Entry(0).id, 255);
  EXPECT_EQ(Entry(1).id, 255);
}

TEST_F(Radar, AThirdRadarReturnsMinusOne) {
  EXPECT_EQ(Init(1), 1);
  EXPECT_EQ(Init(6), 6);
  EXPECT_EQ(Init(3, RADAR_SRC_GENERIC, true), -1);
  EXPECT_EQ(Init(255), -1);
  EXPECT_EQ(Init(6), 6);
  EXPECT_THAT(Items(), IsEmpty());
}

TEST_F(Radar, AllocationChoosesZeroThenOne) {
  EXPECT_EQ(Init(255), 0);
  EXPECT_EQ(Init(255), 1);
  RecordingStore other;
  other.InitializeRadarId(0, RADAR_SRC_GENERIC, SPEED_UNITS_MPH, "", false);
  EXPECT_EQ(other.InitializeRadarId(255, RADAR_SRC_GENERIC, SPEED_UNITS_MPH, "", false), 1);
}

TEST_F(Radar, ReinitialisingClearsTheReadingButNotThatOneIsHeld) {
  Hold({10, 20, 30, 1});
  EXPECT_TRUE(Entry().dataValid);
  EXPECT_EQ(store.InitializeRadarId(1, RADAR_SRC_DISCONNECTED, SPEED_UNITS_KMH, "new", false), 1);
  EXPECT_EQ(Entry().lock, 0);
  EXPECT_EQ(Entry().fastest, 0);
  EXPECT_EQ(Entry().target, 0);
  EXPECT_EQ(Entry().direction, RADAR_DIRECTION_0);
  EXPECT_EQ(Entry().radarType, 0u);
  EXPECT_FALSE(Entry().connected);
  EXPECT_EQ(Entry().type, RADAR_SRC_DISCONNECTED);
  EXPECT_EQ(Entry().units, SPEED_UNITS_KMH);
  EXPECT_EQ(Entry().desc, "new");
  EXPECT_TRUE(Entry().dataValid);
}

TEST_F(Radar, FindsTheFirstEntryWithAnId) {
  RADAR_DESC_T table[2];
  EXPECT_EQ(DataStore::FindRadarDesc(table, 255), &table[0]);
  EXPECT_EQ(DataStore::FindRadarDesc(table, 1), nullptr);
  table[1].id = 1;
  EXPECT_EQ(DataStore::FindRadarDesc(table, 1), &table[1]);
}

TEST_F(Radar, NothingIsFoundInANullTableWhichIsLogged) {
  EXPECT_EQ(DataStore::FindRadarDesc(nullptr, 255), nullptr);
  EXPECT_THAT(log.Entries(), ElementsAre(LogEntry{kLogError, "DataStore.cc",
                                                  "Null value passed to FindRadarDesc"}));
}

// ---- Descriptions and configuration --------------------------------------------

TEST_F(Radar, DescriptionIsWrittenToTheLastByteWithSlackFour) {
  store.InitializeRadarId(6, RADAR_SRC_GENERIC, SPEED_UNITS_AS_ON_RADAR, "ab", true);
  EXPECT_THAT(Added(), ElementsAre("Add to Current packet size (6), newSlack (4)"));
  EXPECT_EQ(Items(), B("60 06 61 02 61 62"));
}

TEST_F(Radar, UnitsAndTypeShareAByteThreeBitsAndFive) {
  store.InitializeRadarId(200, static_cast<e_RADAR_SRC_TYPE>(0x3F), static_cast<e_SpeedUnits>(7),
                          nullptr, true);
  EXPECT_EQ(Items(), B("60 C8 FF 00"));
}

TEST_F(Radar, TheLongestDescriptionThatFitsAPacketHas251Characters) {
  store.InitializeRadarId(1, RADAR_SRC_GENERIC, SPEED_UNITS_MPH, std::string(251, 'd').c_str(),
                          true);
  EXPECT_EQ(Items(), B("60 01 41 FB") + Bytes(251, 'd'));
  store.InitializeRadarId(1, RADAR_SRC_GENERIC, SPEED_UNITS_MPH, std::string(255, 'd').c_str(),
                          true);
  EXPECT_TRUE(Logged(kLogError, "***************** Dropped 259 data bytes ********************"));
}

TEST_F(Radar, DescriptionIsShownWithItsNumberAsARawCharacter) {
  EXPECT_EQ(View(B("60 01 61 05") + Chars("lidar")),
            "[Tag=RadarDesc, TagNo=0x60, RadarNo=\x01, Units=as set on radar, Type=generic, "
            "Desc='lidar']");
  EXPECT_EQ(View(B("60 41 20 04") + Chars("none")),
            "[Tag=RadarDesc, TagNo=0x60, RadarNo=A, Units=km/h, Type=disconnected, Desc='none']");
  EXPECT_EQ(Entry(0).desc, "lidar");
  EXPECT_EQ(Entry(1).id, 0x41);
  EXPECT_THAT(Items(), IsEmpty());
}

TEST_F(Radar, DescriptionOfAnUnknownTypeIsShownAsInvalid) {
  EXPECT_EQ(View(B("60 00 02 00")),
            "[Tag=RadarDesc, TagNo=0x60, RadarNo=\0, Units=none, Type=Invalid, Desc='']"s);
  EXPECT_EQ(View(B("60 00 5F 03 41 00 42")),
            "[Tag=RadarDesc, TagNo=0x60, RadarNo=\0, Units=mph, Type=Invalid, Desc='A']"s);
}

TEST_F(Radar, TheArgumentNotTheChosenIdIsShown) {
  store.SetViewMode(kViewItems);
  EXPECT_EQ(Printed([&] { Init(255); }),
            "[Tag=RadarDesc, TagNo=0x60, RadarNo=\xFF, Units=mph, Type=generic, Desc='x']");
}

TEST_F(Radar, ConfigurationDescribesRadarOneAndItsState) {
  SetRadarType(3);
  store.CheckRadarConfig(true);
  EXPECT_EQ(Items(), B("60 01 61 05") + Chars("lidar") + B("6F 01"));
  EXPECT_EQ(Entry().radarType, 3u);
  store.CheckRadarConfig(true);
  EXPECT_THAT(Items(), IsEmpty());
}

TEST_F(Radar, ConfigurationWithoutARadarIsADisconnectedOne) {
  store.CheckRadarConfig(true);
  EXPECT_EQ(Items(), B("60 01 60 04") + Chars("none") + B("6F 01"));
}

TEST_F(Radar, AChangedTypeConfiguresAgainAndDisconnects) {
  store.CheckRadarConfig(false);
  EXPECT_THAT(Items(), IsEmpty());
  store.ReportRadarState(1, true, false);
  SetRadarType(1);
  store.CheckRadarConfig(true);
  EXPECT_FALSE(Entry().connected);
  EXPECT_EQ(Items(), B("60 01 61 0E") + Chars("single antenna") + B("6F 01"));
}

TEST_F(Radar, ATableWithoutRoomForTheConfiguredRadarIsAnInternalError) {
  Init(5);
  Init(6);
  store.CheckRadarConfig(true);
  EXPECT_TRUE(Logged(kLogError, "Internal error configuring radar"));
  EXPECT_THAT(Items(), IsEmpty());
}

// ---- Connection ----------------------------------------------------------------

TEST_F(Radar, StateIsWrittenWithTheConnectionAboveTheIdAndSlackOne) {
  Init(1);
  Init(30);
  store.ReportRadarState(1, true, true);
  EXPECT_THAT(Added(), ElementsAre("Add to Current packet size (2), newSlack (1)"));
  store.ReportRadarState(30, true, true);
  store.ReportRadarState(1, false, true);
  EXPECT_EQ(Items(), B("6F 21 6F 3E 6F 01"));
}

TEST_F(Radar, AnUnchangedStateIsWrittenOnce) {
  Init(1);
  store.ReportRadarState(1, true, true);
  store.ReportRadarState(1, true, true);
  EXPECT_EQ(Items(), B("6F 21"));
  store.ReportRadarState(1, false, false);
  EXPECT_FALSE(Entry().connected);
  EXPECT_THAT(Items(), IsEmpty());
}

TEST_F(Radar, StatesOfIdsWithoutReadingsAreWrittenAsTheyAre) {
  Init(0xE9);
  store.ReportRadarState(0xE9, true, true);
  EXPECT_EQ(Items(), B("6F 29")) << "five bits of the id";
  EXPECT_THAT(log.Texts(kLogError), IsEmpty());
}

TEST_F(Radar, StateIsShownWhetherItChangedOrNotWithItsTagInLowerCase) {
  Init(1);
  for (int n = 0; n < 2; ++n)
    EXPECT_EQ(View(B("6F 21")), "[Tag=RadarState, TagNo=0x6f, RadarNo=1, State=1-available]");
  EXPECT_EQ(View(B("6F 01")), "[Tag=RadarState, TagNo=0x6f, RadarNo=1, State=0-unavailable]");
  EXPECT_THAT(Items(), IsEmpty());
}

TEST_F(Radar, OnlyTheValueOneIsConnected) {
  Init(1);
  for (const char* const item : {"6F 41", "6F 61", "6F E1"})
    EXPECT_EQ(View(B(item)), "[Tag=RadarState, TagNo=0x6f, RadarNo=1, State=0-unavailable]");
}

TEST_F(Radar, ReportRadarStateForAnUnknownIdPrintsItsErrorLineEvenOutsideViewingMode) {
  EXPECT_EQ(Printed([&] { store.ReportRadarState(9, true, true); }),
            "ERROR: Non-existant Radar Id [Tag=RadarState, TagNo=0x6f, RadarNo=9, "
            "State=1-available]");
  EXPECT_EQ(Printed([&] { Decode(B("6F 02")); }),
            "ERROR: Non-existant Radar Id [Tag=RadarState, TagNo=0x6f, RadarNo=2, "
            "State=0-unavailable]");
  EXPECT_THAT(log.Entries(), IsEmpty()) << "this store is no ring";
  EXPECT_THAT(Items(), IsEmpty());
}

TEST_F(Radar, UnknownIdsAreLoggedByARingStoreAsARawCharacter) {
  RecordingStore ring(DATA_STORE_NORMAL);
  Printed([&] { ring.ReportRadarState(0x41, true, true); });
  Report(ring, 0x42, {1, 2, 3}, true);
  EXPECT_THAT(
      log.Entries(),
      ElementsAre(
          LogEntry{kLogError, "DataStore.cc", "Attempt to report a radar to non-existant id-A"},
          LogEntry{kLogError, "DataStore.cc", "Attempt to report a radar to non-existant id-B"}));
}

TEST_F(Radar, EveryOtherKindOfStoreIsSilentAboutUnknownReadings) {
  for (const DATA_STORE_TYPE_T type :
       {DATA_STORE_FLAT_READ, DATA_STORE_FLAT_MESSAGE, DATA_STORE_NULL, DATA_STORE_FLAT_WRITE}) {
    RecordingStore other(type);
    Report(other, 1, {1, 2, 3}, true);
    EXPECT_THAT(log.Entries(), IsEmpty()) << type;
    EXPECT_THAT(other.FlushedItems(), IsEmpty());
    log.Clear();
  }
}

TEST_F(Radar, AReadingOfAnIdOf255IsHeldInAFreeEntryAndConnectsIt) {
  Report(store, 255, {1, 2, 3, 1}, true);
  EXPECT_TRUE(Entry().connected);
  EXPECT_TRUE(Entry().dataValid);
  EXPECT_EQ(Entry().lock, 1);
  EXPECT_EQ(Entry().fastest, 2);
  EXPECT_EQ(Entry().target, 3);
  EXPECT_EQ(Entry().direction, RADAR_DIRECTION_1);
  EXPECT_EQ(Entry().id, 255) << "it stays free";
  EXPECT_EQ(Items(), B("6F 3F")) << "five bits of the id; there is no tag for its readings";
  EXPECT_THAT(log.Texts(kLogError), ElementsAre("No item for device id 255, ids are 1 to 7"));
}

TEST_F(Radar, TheStateOfAnIdOf255IsThatOfTheFirstFreeEntry) {
  Init(1);
  store.SetViewMode(kViewItems);
  EXPECT_EQ(Printed([&] { store.ReportRadarState(255, true, true); }),
            "[Tag=RadarState, TagNo=0x6f, RadarNo=255, State=1-available]");
  store.SetViewMode(0);
  EXPECT_EQ(Printed([&] { store.ReportRadarState(255, true, true); }), "");
  EXPECT_EQ(Items(), B("6F 3F")) << "once";
  EXPECT_FALSE(Entry(0).connected);
  EXPECT_TRUE(Entry(1).connected);
  Init(2);
  EXPECT_FALSE(Entry(1).connected) << "a radar that takes the entry begins anew";
}

TEST_F(Radar, AFullDumpLeavesFreeEntriesOut) {
  Report(store, 255, {1, 2, 3}, false);
  store.WriteFullState(false);
  const Bytes items = Items();
  for (const unsigned char tag : B("60 6F"))
    EXPECT_EQ(std::count(items.begin(), items.end(), tag), 0) << int{tag};
}

TEST_F(Radar, WithoutAFreeEntryAnIdOf255IsUnknown) {
  RecordingStore ring(DATA_STORE_NORMAL);
  for (const unsigned char id : B("01 02"))
    ring.InitializeRadarId(id, RADAR_SRC_GENERIC, SPEED_UNITS_MPH, "", false);
  log.Clear();
  Report(ring, 255, {1, 2, 3}, true);
  EXPECT_EQ(Printed([&] { ring.ReportRadarState(255, false, true); }),
            "ERROR: Non-existant Radar Id [Tag=RadarState, TagNo=0x6f, RadarNo=255, "
            "State=0-unavailable]");
  const LogEntry unknown{kLogError, "DataStore.cc",
                         "Attempt to report a radar to non-existant id-\xFF"};
  EXPECT_THAT(log.Entries(), ElementsAre(unknown, unknown));
  EXPECT_THAT(ring.FlushedItems(), IsEmpty());
}

// ---- Readings ------------------------------------------------------------------

TEST_F(Radar, FirstReadingOfADisconnectedRadarWritesAStateThenTheFiveByteItem) {
  Init(1);
  Report({0x155, 0x2AA, 0x3FF, 1});
  EXPECT_EQ(Items(), B("6F 21 61 B6 55 AA FF"));
  EXPECT_TRUE(Entry().connected);
  EXPECT_TRUE(Entry().dataValid);
}

TEST_F(Radar, FirstReadingThatDiffersInItsTargetAloneWritesAStateAndATargetItem) {
  Init(1);
  Report({0, 0, 250, 0});
  EXPECT_EQ(Items(), B("6F 21 68 FA"));
  EXPECT_FALSE(Entry().dataValid) << "no whole reading is held";
}

TEST_F(Radar, FirstReadingOfNothingButZerosWritesTheStateAlone) {
  Init(1);
  Report({});
  EXPECT_EQ(Items(), B("6F 21"));
  EXPECT_FALSE(Entry().dataValid);
}

TEST_F(Radar, FirstReadingWithAStatusWordAsTargetIsTheFiveByteItem) {
  Init(1);
  Report({0, 0, 251, 0});
  EXPECT_EQ(Items(), B("6F 21 61 00 00 00 FB"));
}

TEST_F(Radar, EachFieldHasItsBitsInTheFiveByteItem) {
  const Reading held = {7, 7, 7, 0};
  EXPECT_EQ(Recorded(held, {0x300, 0, 0, 0}), B("61 60 00 00 00"));
  EXPECT_EQ(Recorded(held, {0, 0x300, 0, 0}), B("61 18 00 00 00"));
  EXPECT_EQ(Recorded(held, {0, 0, 0x300, 0}), B("61 06 00 00 00"));
  EXPECT_EQ(Recorded(held, {0, 0, 0, 1}), B("61 80 00 00 00"));
  EXPECT_EQ(Recorded(held, {0x21, 0x43, 0x65, 0}), B("61 00 21 43 65"));
}

TEST_F(Radar, OnlyTheLowestBitOfTheDirectionIsRecorded) {
  EXPECT_EQ(Recorded({}, {1, 2, 3, 2}), B("61 00 01 02 03"));
  EXPECT_EQ(Recorded({}, {1, 2, 3, 3}), B("61 80 01 02 03"));
}

TEST_F(Radar, ATargetOf250WithTheRestUnchangedYieldsATwoByteItem251TheFiveByteItem) {
  EXPECT_EQ(Recorded({10, 20, 30, 1}, {10, 20, 250, 1}), B("68 FA"));
  EXPECT_EQ(Recorded({10, 20, 30, 1}, {10, 20, 251, 1}), B("61 80 0A 14 FB"));
  EXPECT_EQ(Recorded({10, 20, 30, 1}, {10, 20, 256, 1}), B("61 82 0A 14 00"));
}

TEST_F(Radar, AnyOtherChangeYieldsTheFiveByteItem) {
  EXPECT_EQ(Recorded({10, 20, 30, 1}, {11, 20, 30, 1}), B("61 80 0B 14 1E"));
  EXPECT_EQ(Recorded({10, 20, 30, 1}, {10, 21, 30, 1}), B("61 80 0A 15 1E"));
  EXPECT_EQ(Recorded({10, 20, 30, 1}, {10, 20, 30, 0}), B("61 00 0A 14 1E"));
  EXPECT_EQ(Recorded({10, 20, 30, 1}, {11, 20, 30, 0}), B("61 00 0B 14 1E"));
}

TEST_F(Radar, AnUnchangedTargetOf251OrMoreWritesNothing) {
  EXPECT_THAT(Recorded({10, 20, 255, 1}, {10, 20, 255, 1}), IsEmpty());
  EXPECT_EQ(Recorded({10, 20, 255, 1}, {10, 20, 100, 1}), B("68 64"));
}

TEST_F(Radar, NotPresentIsComparedAndStoredLikeAnyValue) {
  EXPECT_EQ(Recorded({}, {32767, 32767, 5, 0}), B("61 78 FF FF 05"));
  EXPECT_EQ(Recorded({32767, 32767, 5, 0}, {32767, 32767, 6, 0}), B("68 06"));
  Hold({32767, 32767, 5, 0});
  EXPECT_EQ(Entry().lock, 32767);
  EXPECT_EQ(Entry().fastest, 32767);
}

TEST_F(Radar, SpeedsUpTo1023SurviveTheFiveByteItemHigherBitsAreLost) {
  Hold({});
  Decode(Recorded({}, {1023, 1022, 1021, 1}));
  EXPECT_EQ(Entry().lock, 1023);
  EXPECT_EQ(Entry().fastest, 1022);
  EXPECT_EQ(Entry().target, 1021);
  EXPECT_EQ(Entry().direction, RADAR_DIRECTION_1);
  Decode(Recorded({}, {1024 + 5, 2048 + 6, 0xFC00 + 7, 0}));
  EXPECT_EQ(Entry().lock, 5);
  EXPECT_EQ(Entry().fastest, 6);
  EXPECT_EQ(Entry().target, 7);
}

TEST_F(Radar, ReadingsCarryTheTickAndSlackOne) {
  Hold({});
  Report(store, 1, {1, 2, 3}, true, 98);
  EXPECT_TRUE(Logged(kLogEachItem, "AddToCurrPacket, newTick 98 lastSlackSt = 0"));
  EXPECT_THAT(Added(), ElementsAre("Add to Current packet size (5), newSlack (1)"));
  Report(store, 1, {1, 2, 4}, true, 99);
  EXPECT_TRUE(Logged(kLogEachItem, "AddToCurrPacket, newTick 99 lastSlackSt = 0"));
  EXPECT_THAT(Added(), ElementsAre("Add to Current packet size (2), newSlack (1)"));
}

TEST_F(Radar, EncodersUseTheSlackTheyAreGiven) {
  RADAR_DESC_T desc;
  desc.id = 2;
  store.WriteRadarState(desc, 5);
  store.WriteRadarDataLong(desc, 6, 0);
  store.WriteRadarDataTarget(desc, 7, 0);
  EXPECT_THAT(Added(), ElementsAre("Add to Current packet size (2), newSlack (5)",
                                   "Add to Current packet size (5), newSlack (6)",
                                   "Add to Current packet size (2), newSlack (7)"));
}

TEST_F(Radar, EveryIdFromOneToSevenHasItsTags) {
  for (unsigned char id = 1; id <= 7; ++id) {
    RADAR_DESC_T desc;
    desc.id = id;
    desc.target = 9;
    store.WriteRadarDataLong(desc, 1, 0);
    store.WriteRadarDataTarget(desc, 1, 0);
    EXPECT_EQ(Items(), (Bytes{static_cast<unsigned char>(0x60 + id), 0, 0, 0, 9,
                              static_cast<unsigned char>(0x67 + id), 9}));
  }
}

TEST_F(Radar, IdsOutsideOneToSevenWriteNoReadingAndSaySo) {
  for (const unsigned char id : B("00 08 1F FF")) {
    RADAR_DESC_T desc;
    desc.id = id;
    log.Clear();
    store.WriteRadarDataLong(desc, 1, 0);
    store.WriteRadarDataTarget(desc, 1, 0);
    EXPECT_THAT(Items(), IsEmpty());
    EXPECT_EQ(log.Count(kLogError, "DataStore.cc",
                        "No item for device id " + std::to_string(id) + ", ids are 1 to 7"),
              2);
  }
}

TEST_F(Radar, WithoutWriteOnlyTheMirrorMoves) {
  Init(1);
  Report({1, 2, 3, 1}, false);
  EXPECT_TRUE(Entry().connected);
  EXPECT_EQ(Entry().lock, 1);
  EXPECT_EQ(Entry().fastest, 2);
  EXPECT_EQ(Entry().target, 3);
  EXPECT_EQ(Entry().direction, RADAR_DIRECTION_1);
  EXPECT_THAT(Items(), IsEmpty());
}

// ---- The viewer ----------------------------------------------------------------

TEST_F(Radar, AReadingIsShownTargetFirst) {
  Hold({});
  EXPECT_EQ(View(B("61 80 37 42 4D")),
            "[Tag=RadarData, TagNo=0x61, RadarNo=1, TargetSpeed=77, FastestSpeed=66, "
            "LockSpeed=55]");
  EXPECT_EQ(View(B("61 00 01 02 03")),
            "[Tag=RadarData, TagNo=0x61, RadarNo=1, TargetSpeed=03, FastestSpeed=02, "
            "LockSpeed=01]");
}

TEST_F(Radar, AReadingEqualInEveryFieldWritesNothingButIsStillPrinted) {
  Hold({55, 66, 77, 1});
  store.SetViewMode(kViewItems);
  EXPECT_EQ(Printed([&] {
              Report(store, 1, {55, 66, 77, 1}, true, 0, TAG_RADAR_DATA);
            }),
            "[Tag=RadarData, TagNo=0x61, RadarNo=1, TargetSpeed=77, FastestSpeed=66, "
            "LockSpeed=55]");
  EXPECT_THAT(Items(), IsEmpty());
}

TEST_F(Radar, ATargetItemIsShownWithoutTheOtherTwo) {
  Hold({55, 66, 77, 1});
  EXPECT_EQ(View(B("68 FA")), "[Tag=RadarTarget, TagNo=0x68, RadarNo=1, TargetSpeed=250]");
  EXPECT_EQ(View(B("68 FF")), "[Tag=RadarTarget, TagNo=0x68, RadarNo=1, TargetSpeed=BAD (255)]");
}

TEST_F(Radar, ADecodedTargetHoldsTheOtherTwoAsNotPresent) {
  Hold({55, 66, 77, 1});
  Decode(B("68 32"));
  EXPECT_EQ(Entry().target, 50);
  EXPECT_EQ(Entry().lock, 32767);
  EXPECT_EQ(Entry().fastest, 32767);
  EXPECT_EQ(Entry().direction, RADAR_DIRECTION_0);
}

TEST_F(Radar, StatusWordsAreShownForTheirCodesAnd508To511) {
  Hold({});
  // Lock 252, fastest 253, target 254; then 511, 510, 508.
  EXPECT_EQ(View(B("61 00 FC FD FE")),
            "[Tag=RadarData, TagNo=0x61, RadarNo=1, TargetSpeed=BLANK (254), "
            "FastestSpeed=ERR (253), LockSpeed=TST (252)]");
  EXPECT_EQ(View(B("61 2A FF FE FC")),
            "[Tag=RadarData, TagNo=0x61, RadarNo=1, TargetSpeed=TST (508), "
            "FastestSpeed=BLANK (510), LockSpeed=BAD (511)]");
  EXPECT_EQ(View(B("61 54 FC FC FC")),
            "[Tag=RadarData, TagNo=0x61, RadarNo=1, TargetSpeed=764, "
            "FastestSpeed=764, LockSpeed=764]");
}

TEST_F(Radar, ATagOutsideTheReadingsIsShownAsATarget) {
  Hold({});
  store.SetViewMode(kViewItems);
  EXPECT_EQ(Printed([&] {
              Report(store, 1, {1, 2, 3}, false, 0, kNoTag);
            }),
            "[Tag=RadarTarget, TagNo=0x00, RadarNo=1, TargetSpeed=03, FastestSpeed=02, "
            "LockSpeed=01]");
}

TEST_F(Radar, EitherOfTheTwoIsLeftOutWhenNotPresent) {
  Hold({});
  store.SetViewMode(kViewItems);
  EXPECT_EQ(Printed([&] {
              Report(store, 1, {32767, 2, 3}, false, 0, TAG_RADAR_DATA);
            }),
            "[Tag=RadarData, TagNo=0x61, RadarNo=1, TargetSpeed=03, FastestSpeed=02]");
  EXPECT_EQ(Printed([&] {
              Report(store, 1, {1, 32767, 3}, false, 0, TAG_RADAR_DATA);
            }),
            "[Tag=RadarData, TagNo=0x61, RadarNo=1, TargetSpeed=03, LockSpeed=01]");
}

TEST_F(Radar, NothingIsPrintedOutsideTheViewer) {
  EXPECT_EQ(Printed([&] {
              Decode(B("60 01 61 01 41"));
              Decode(B("6F 21"));
              Decode(B("61 00 01 02 03"));
              Decode(B("68 04"));
            }),
            "");
  EXPECT_EQ(Entry().target, 4);
}

}  // namespace
}  // namespace vmr::test
