// The full dump, the rule that triggers it, and the two records of a shutdown.
#include <gtest/gtest.h>

#include <algorithm>

#include "host/default/host_control.h"
#include "tests/support/everything.h"
#include "tests/support/golden.h"
#include "tests/support/reference_crc.h"
#include "tests/support/store_fixture.h"

namespace vmr::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class FullState : public StoreTest {
 protected:
  ~FullState() override {
    host::SetPriorShutdownTick(0);
    host::StartSystemTickAt(1);
  }

  std::vector<Bytes> Packets() {
    store.packets.clear();
    store.WriteBuffers();
    std::vector<Bytes> packets;
    for (const WrittenPacket& packet : store.packets) packets.push_back(packet.bytes);
    return packets;
  }

  // The dump's packets at tick 0x01020304.
  std::vector<Bytes> Dump(bool live) {
    store.InitCurrentSystemTick(0x01020304);
    store.WriteFullState(live);
    return Packets();
  }

  // Every item is decoded from its bytes and shown as the file has it.
  static void ExpectLinesOf(const GoldenPackets& golden) {
    RecordingStore viewer;
    viewer.SetViewMode(kViewItems);
    for (const GoldenItem& item : golden.items) {
      DecodeResult decoded;
      const TagRow* const row = FindTag(item.bytes[0]);
      ASSERT_NE(row, nullptr);
      EXPECT_EQ(Printed([&] { row->decoder(viewer, item.bytes.data(), decoded); }), item.line);
    }
  }

  int TimesDumped() const {
    return log.Count(kLogEachItem, "DataStore.cc",
                     "It's been an hour since last full state write - writing");
  }
};

// ---- The dump's bytes ----------------------------------------------------------

TEST_F(FullState, OfAFreshStoreIsWrittenToTheLastByte) {
  clock.Set(1700000000);
  const GoldenPackets golden = ReadGolden("full_state_fresh.txt");
  EXPECT_EQ(Dump(true), golden.packets);
  EXPECT_THAT(log.Texts(kLogError), IsEmpty());
}

TEST_F(FullState, OfAStoreWithEverythingSetIsWrittenToTheLastByte) {
  store.InitCurrentSystemTick(0x01020300);
  Decode(B("03 00 F1 53 65"));  // 1700000000
  ReportEverything(store);
  const GoldenPackets golden = ReadGolden("full_state_everything.txt");
  EXPECT_EQ(Dump(false), golden.packets);
  EXPECT_THAT(log.Texts(kLogError), IsEmpty());
}

TEST_F(FullState, ItemsAreShownAsTheGoldenFilesHaveThem) {
  ASSERT_NO_FATAL_FAILURE(ExpectLinesOf(ReadGolden("full_state_fresh.txt")));
  ASSERT_NO_FATAL_FAILURE(ExpectLinesOf(ReadGolden("full_state_everything.txt")));
}

TEST_F(FullState, OfAStoreWithoutDescriptorsStillHasItsConfigurationInputsMicrophonesAndStreams) {
  // The configuration is valid, yet neither radar, speed nor GPS was set up.
  store.StoreConfigSettingsValid(true, TAG_POLICY_END);
  store.InitCurrentSystemTick(0x01020304);
  store.WriteFullState(true);
  // What a fresh store's dump has, and serial number and vehicle, 42 policies, two
  // zones, four cameras, four microphones, department, officer with badge, four
  // recording settings and four formats.
  const std::size_t fresh = ReadGolden("full_state_fresh.txt").items.size();
  EXPECT_EQ(Added().size(), fresh + 2 + 42 + 2 + 4 + 4 + 1 + 2 + 4 + 4);
}

TEST_F(FullState, EventItemsHaveSlackOneAndTickZeroSoTheNextTimerTickFlushes) {
  TickAt(100);
  ReportEverything(store);
  log.Clear();
  store.WriteFullState(false);
  EXPECT_FALSE(Logged(kLogEachItem, "AddToCurrPacket, newTick 100 lastSlackSt = 100"));
  EXPECT_TRUE(Logged(kLogEachItem, "AddToCurrPacket, newTick 0 lastSlackSt = 100"));
  EXPECT_THAT(store.packets, IsEmpty()) << "the dump itself does not flush";
  TickAt(101);
  EXPECT_EQ(store.packets.size(), 3u);
  for (const WrittenPacket& packet : store.packets) EXPECT_NE(packet.bytes[0], HEADER_2);
}

// ---- What is in it and what is not ---------------------------------------------

class DumpedItems : public FullState {
 protected:
  // The items of a fresh store's dump from the end of the policies on.
  Bytes BehindThePolicies() {
    const std::vector<Bytes> packets = Dump(true);
    if (packets.size() != 1) return {};
    const auto end = std::find(packets[0].begin() + 6, packets[0].end(), TAG_POLICY_END);
    return Bytes(end + 1, packets[0].end() - 1);
  }
  static bool Holds(const Bytes& items, const Bytes& part) {
    return std::search(items.begin(), items.end(), part.begin(), part.end()) != items.end();
  }
  const Bytes all_inputs_off = B("35 37 39 3D 3F 41 43 45 47 3B 4B");
};

TEST_F(DumpedItems, VersionsWithoutATextAreLeftOut) {
  store.ReportVersion(COMPONENT_POWER_BOARD_HARDWARE, "9");
  store.ReportVersion(COMPONENT_INVALID, "0");
  store.ReportVersion(COMPONENT_IOP, "");
  EXPECT_TRUE(Holds(BehindThePolicies(), B("09 00 01 30 09 09 01 39") + all_inputs_off));
}

TEST_F(DumpedItems, InputsStandInTheOrderOfTheirTable) {
  for (const e_Tag tag : {TAG_COVERT_ON, TAG_EMERGENCY_LIGHTS_ON, TAG_DOCKED_ON})
    store.ReportStateData(tag, false, 0);
  EXPECT_TRUE(Holds(BehindThePolicies(), B("34 37 39 3D 3F 41 43 45 47 3A 4A")));
}

TEST_F(DumpedItems, ARadarsReadingIsThereOnlyWhenItIsHeldAndTheRadarConnected) {
  store.InitializeRadarId(2, RADAR_SRC_GENERIC, SPEED_UNITS_MPH, "", false);
  EXPECT_TRUE(Holds(BehindThePolicies(), B("6F 02 94 00"))) << "not connected";
  store.ReportRadarState(2, true, false);
  EXPECT_TRUE(Holds(BehindThePolicies(), B("6F 22 94 00"))) << "no reading yet";
  store.ReportRadar(2, 1, 2, 3, RADAR_DIRECTION_0, false, 0, TAG_EOS);
  EXPECT_TRUE(Holds(BehindThePolicies(), B("6F 22 62 00 01 02 03 94 00")));
  store.ReportRadarState(2, false, false);
  EXPECT_TRUE(Holds(BehindThePolicies(), B("6F 02 94 00"))) << "disconnected again";
}

TEST_F(DumpedItems, OnlyTemperaturesThatAreHeldAreThere) {
  store.ReportTemp(TEMP_SENSOR_POWER, -1, false, 0);
  EXPECT_TRUE(Holds(BehindThePolicies(), B("59 03 02 00 E3 FF 94 00")));
}

TEST_F(DumpedItems, APositionIsThereOnlyWhileGpsIsAvailable) {
  store.ReportGps(GpsStatusItem{}, 0, false);
  EXPECT_TRUE(Holds(BehindThePolicies(), B("94 00 55 00"))) << "held, yet not available";
  store.ReportGpsState(true, false);
  EXPECT_TRUE(Holds(BehindThePolicies(), B("94 01 91 03 00 00 00 00 00 00 00 00 55 00")));
  store.ReportGpsState(false, false);
  EXPECT_TRUE(Holds(BehindThePolicies(), B("94 00 55 00")));
}

TEST_F(DumpedItems, OnlyValidSpeedsAreThereAndOnlyWhileTheyAreRecorded) {
  store.InitializeSpeedId(3, SPEED_SRC_GPS, SPEED_UNITS_MPH, "", false);
  store.ReportSpeed(3, 50, false, 0, TAG_EOS);
  EXPECT_TRUE(Holds(BehindThePolicies(), B("94 00 55 00"))) << "switched off";
  SystemInfo info;
  info.record_speed_in_metadata.value = true;
  store.ReportSystemInfo(info, false);
  EXPECT_TRUE(Holds(BehindThePolicies(), B("94 00 73 32 55 00")));
  store.ReportValidSpeed(3, false);
  EXPECT_TRUE(Holds(BehindThePolicies(), B("94 00 55 00"))) << "invalid";
}

TEST_F(DumpedItems, OnlyCamerasZeroToThreeAreThere) {
  for (unsigned int port = 0; port < 9; ++port)
    store.ReportCameraState(static_cast<e_CameraPort>(port), CAMERA_STATE_ON, false, 0);
  EXPECT_TRUE(Holds(BehindThePolicies(), B("51 01 51 11 51 21 51 31 B0 00")));
}

TEST_F(DumpedItems, ThereIsExactlyOneEndOfPolicies) {
  ReportEverything(store);
  store.InitCurrentSystemTick(5);
  store.WriteFullState(false);
  log.Clear();
  int ends = 0;
  for (const Bytes& packet : Packets()) {
    const std::size_t head = packet[0] == HEADER_1 ? 6 : 2;
    for (std::size_t at = head; at + 1 < packet.size();) {
      ends += packet[at] == TAG_POLICY_END ? 1 : 0;
      const std::size_t length = packet[at] == TAG_TIME_ZONE_NAME
                                     ? std::size_t{2} + packet[at + 1]
                                     : ItemLength(FindTag(packet[at]), &packet[at], 255);
      ASSERT_GT(length, 0u);
      at += length;
    }
  }
  EXPECT_EQ(ends, 1);
}

// ---- When it is written --------------------------------------------------------

// A report moves one field of a live stream, so dumps lag behind what was reported
// once: here the stream is on, and dumped as off until it is reported again.
TEST_F(FullState, TellsOneMoreFieldOfALiveStreamAfterEachReportOfIt) {
  for (const char* const item :
       {"B0 30 00 00 00 00 00 00 02", "B0 31 00 00 00 00 00 00 02", "B0 35 00 00 00 00 00 00 02",
        "B0 35 00 00 C0 A8 01 14 02", "B0 35 1F 90 C0 A8 01 14 02"}) {
    store.ReportLvsState(static_cast<e_VideoStream>(3), 2, true, true, 0xC0A80114, 0x1F90, true, 0);
    Packets();
    Bytes dump;
    for (const Bytes& packet : Dump(true)) dump = dump + packet;
    const Bytes live = B(item);
    EXPECT_NE(std::search(dump.begin(), dump.end(), live.begin(), live.end()), dump.end()) << item;
  }
}

TEST_F(FullState, ALiveDumpIsStampedByTheUnitsClocks) {
  host::HoldSystemTick(50000);
  clock.Set(0x499602D2);
  store.InitCurrentSystemTick(10);
  store.StoreConfigSettingsValid(true, TAG_POLICY_END);
  store.WriteFullState(true);
  const Bytes items = Packets().at(0);
  EXPECT_EQ(Bytes(items.begin() + 6, items.begin() + 11), B("03 D2 02 96 49"));
  clock.Set(28600);
  store.TimerTick(57201);
  EXPECT_EQ(TimesDumped(), 0) << "7201 ticks after the unit's tick";
  store.TimerTick(57202);
  EXPECT_EQ(TimesDumped(), 1);
}

TEST_F(FullState, ADumpThatIsNotLiveIsStampedByTheCurrentTick) {
  store.InitCurrentSystemTick(1000);
  Decode(B("03 00 F1 53 65"));
  store.StoreConfigSettingsValid(true, TAG_POLICY_END);
  store.InitCurrentSystemTick(1021);
  store.WriteFullState(false);
  const Bytes packet = Packets().at(0);
  EXPECT_EQ(Bytes(packet.begin() + 6, packet.begin() + 11), B("03 0A F1 53 65"));
  store.TimerTick(1021 + 7201);
  EXPECT_EQ(TimesDumped(), 0);
  store.TimerTick(1021 + 7202);
  EXPECT_EQ(TimesDumped(), 1);
}

TEST_F(FullState, NoDumpIsWrittenWhileTheConfigurationIsNotValidHoweverLongTheStoreRuns) {
  for (unsigned int tick = 0; tick < 100000; tick += 1000) TickAt(tick);
  EXPECT_EQ(TimesDumped(), 0);
  store.ReportConfiguration(false);
  TickAt(100001);
  EXPECT_EQ(TimesDumped(), 1);
}

TEST_F(FullState, TheTimerDumpsMoreThan7201TicksAfterTickZeroAndThenAfterEveryDump) {
  store.ReportConfiguration(false);
  for (unsigned int tick = 0; tick <= 30000; ++tick) {
    host::HoldSystemTick(tick);
    TickAt(tick);
    EXPECT_EQ(TimesDumped(), static_cast<int>(tick / 7202)) << tick;
    if (HasFailure()) return;
  }
}

TEST_F(FullState, TheHourSurvivesAWrapOfTheTick) {
  store.ReportConfiguration(false);
  store.InitCurrentSystemTick(0xFFFFFF00);
  store.WriteFullState(false);
  store.TimerTick(0xFFFFFF00u + 7201u);
  EXPECT_EQ(TimesDumped(), 0);
  store.TimerTick(0xFFFFFF00u + 7202u);
  EXPECT_EQ(TimesDumped(), 1);
}

// ---- Ticks that go back ----------------------------------------------------------

class TicksGoBack : public FullState {
 protected:
  TicksGoBack() { store.ReportConfiguration(false); }

  // A timer tick of a unit whose own counter stands there too.
  void UnitTickAt(unsigned int tick) {
    host::HoldSystemTick(tick);
    TickAt(tick);
  }
  void DumpAt(unsigned int tick) {
    UnitTickAt(tick);
    ASSERT_EQ(TimesDumped(), 1);
    log.Clear();
  }
  // The ticks from `first` to `last` at which there was a dump.
  template <typename Tick>
  std::vector<unsigned int> DumpsFrom(unsigned int first, unsigned int last, Tick tick_at) {
    std::vector<unsigned int> dumps;
    for (unsigned int tick = first; tick != last + 1; ++tick) {
      log.Clear();
      tick_at(tick);
      if (TimesDumped() > 0) dumps.push_back(tick);
    }
    return dumps;
  }
  std::vector<unsigned int> UnitDumpsFrom(unsigned int first, unsigned int last) {
    return DumpsFrom(first, last, [this](unsigned int tick) { UnitTickAt(tick); });
  }
};

TEST_F(TicksGoBack, ATickBelowTheOneBeforeItDoesNotDumpAgain) {
  ASSERT_NO_FATAL_FAILURE(DumpAt(100000));
  store.packets.clear();
  for (int n = 0; n < 50; ++n) {
    TickAt(99999);
    TickAt(100000);
  }
  EXPECT_EQ(TimesDumped(), 0);
  EXPECT_THAT(store.packets, IsEmpty());
}

TEST_F(TicksGoBack, NeitherDoTicksOfTwoCountersInTurn) {
  ASSERT_NO_FATAL_FAILURE(DumpAt(100000));
  for (unsigned int n = 1; n < 50; ++n) {
    UnitTickAt(100000 + n);
    UnitTickAt(n);
  }
  EXPECT_EQ(TimesDumped(), 0);
}

TEST_F(TicksGoBack, NorDoTicksThatGoBackOnAndOn) {
  ASSERT_NO_FATAL_FAILURE(DumpAt(100000));
  for (unsigned int n = 1; n < 100; ++n) UnitTickAt(100000 - n * 1000);
  EXPECT_EQ(TimesDumped(), 0);
}

TEST_F(TicksGoBack, TheHourThenCountsFromTheLowestOfTheNewTicks) {
  ASSERT_NO_FATAL_FAILURE(DumpAt(100000));
  UnitTickAt(5000);
  EXPECT_THAT(UnitDumpsFrom(50, 15000), ElementsAre(50 + 7202, 50 + 2 * 7202));
}

TEST_F(TicksGoBack, SoItDoesWhenTheUnitsOwnCounterStaysWhereItWas) {
  ASSERT_NO_FATAL_FAILURE(DumpAt(100000));
  EXPECT_THAT(DumpsFrom(50, 25000, [this](unsigned int tick) { TickAt(tick); }),
              ElementsAre(50 + 7202, 50 + 2 * 7202, 50 + 3 * 7202));
}

TEST_F(TicksGoBack, AndFromADumpThatTheHostAsksFor) {
  ASSERT_NO_FATAL_FAILURE(DumpAt(100000));
  EXPECT_THAT(DumpsFrom(50, 7000, [this](unsigned int tick) { TickAt(tick); }), IsEmpty());
  store.WriteFullState(true);
  EXPECT_THAT(DumpsFrom(7001, 15000, [this](unsigned int tick) { TickAt(tick); }),
              ElementsAre(7000 + 7202));
}

TEST_F(TicksGoBack, TicksThatAreBackWhereTheyWereGoOnWithTheirHour) {
  ASSERT_NO_FATAL_FAILURE(DumpAt(100000));
  EXPECT_THAT(UnitDumpsFrom(50, 7000), IsEmpty());
  EXPECT_THAT(UnitDumpsFrom(100001, 107202), ElementsAre(100000 + 7202));
}

TEST_F(TicksGoBack, AWrapIsNoneOfThat) {
  ASSERT_NO_FATAL_FAILURE(DumpAt(0xFFFFFF00));
  EXPECT_THAT(UnitDumpsFrom(0xFFFFFF01, 15000),
              ElementsAre(0xFFFFFF00 + 7202, 0xFFFFFF00 + 2 * 7202));
}

TEST_F(TicksGoBack, ADumpThatIsDueAtTheVeryWrapIsWritten) {
  ASSERT_NO_FATAL_FAILURE(DumpAt(0U - 7202));
  EXPECT_THAT(UnitDumpsFrom(0U - 7201, 0), ElementsAre(0));
}

TEST_F(TicksGoBack, AStepOfUpToADayOverTheWrapIsOneForward) {
  ASSERT_NO_FATAL_FAILURE(DumpAt(0xFFFFFFFF));
  UnitTickAt(172800 - 1);
  EXPECT_EQ(TimesDumped(), 1);
}

TEST_F(TicksGoBack, ALongerOneIsACounterThatBeganAnew) {
  ASSERT_NO_FATAL_FAILURE(DumpAt(0xFFFFFFFF));
  EXPECT_THAT(UnitDumpsFrom(172800, 172800 + 7202), ElementsAre(172800 + 7202));
}

TEST_F(TicksGoBack, TheFirstTickOfAllIsCountedFromZeroHoweverLargeItIs) {
  ASSERT_NO_FATAL_FAILURE(DumpAt(4000000000));
  UnitTickAt(100);
  EXPECT_EQ(TimesDumped(), 0);
}

TEST_F(TicksGoBack, NoStepForwardIsTooLarge) {
  EXPECT_THAT(UnitDumpsFrom(0, 7201), IsEmpty());
  UnitTickAt(4000000000);
  EXPECT_EQ(TimesDumped(), 1);
}

// ---- Shutdown ------------------------------------------------------------------

TEST_F(FullState, ShutdownReportsWhatIsOnAsOffInItsOwnOrder) {
  for (unsigned int n = 0; n < 4; ++n) {
    store.ReportVideoStreamState(static_cast<e_VideoStream>(n), STREAM_STATE_ON, false, 0);
    store.ReportMicPresent(static_cast<e_MicrophonePosition>(n), true, false, 0);
    store.ReportMicState(static_cast<e_MicrophonePosition>(n), true, false, 0);
  }
  for (unsigned int port = 0; port < 9; ++port)
    store.ReportCameraState(static_cast<e_CameraPort>(port), CAMERA_STATE_ON, false, 0);
  for (const DiscreteInput& input : kDiscreteInputs) store.ReportStateData(input.on_tag, false, 0);
  store.ReportShutdownData();
  EXPECT_THAT(store.packets, IsEmpty()) << "it does not flush";
  EXPECT_EQ(Items(), B("55 00 55 10 55 20 55 30 "
                       "59 01 01 00 59 01 02 00 59 02 01 00 59 02 02 00 "
                       "59 00 01 00 59 00 02 00 59 03 01 00 59 03 02 00 "
                       "51 00 51 10 51 20 51 30 "
                       // lights, brake, siren, auxillary input, system power
                       "35 39 37 3D 41"));
  EXPECT_TRUE(store.Mirror().inputs.on[4]) << "the door is not part of it";
  EXPECT_EQ(store.Mirror().camera.cameras[4], CAMERA_STATE_ON);
}

TEST_F(FullState, ShutdownOfAStoreInWhichNothingIsOnRecordsNothing) {
  store.ReportShutdownData();
  EXPECT_THAT(Items(), IsEmpty());
}

TEST_F(FullState, OnlyWhatIsOnProducesItemsAtShutdown) {
  store.ReportMicState(MIC_POSITION_3, true, false, 0);
  store.ReportStateData(TAG_BRAKE_ON, false, 0);
  store.ReportShutdownData();
  EXPECT_TRUE(Logged(kLogEachItem, "AddToCurrPacket, newTick 0 lastSlackSt = 0"));
  EXPECT_EQ(Items(), B("59 03 02 00 39"));
}

const Bytes kStartupItems =
    B("55 00 55 10 55 20 55 30 "
      "59 01 01 00 59 01 02 00 59 02 01 00 59 02 02 00 "
      "59 00 01 00 59 00 02 00 59 03 01 00 59 03 02 00 "
      "51 00 51 10 51 20 51 30");

TEST_F(FullState, TheStartupRecordIsAPacketAtThePriorShutdownsTick) {
  host::SetPriorShutdownTick(0x01020304);
  store.ReportShutdownDataAtStartup();
  ASSERT_EQ(store.packets.size(), 1u);
  EXPECT_EQ(store.packets[0].bytes, WithCrc(B("80 04 03 02 01 30") + kStartupItems));
  EXPECT_EQ(store.packets[0].tick, 0x01020304u);
  EXPECT_EQ(store.GetCurrentSystemTick(), 0x01020304u);
  EXPECT_FALSE(store.HasPendingItems());
}

TEST_F(FullState, APriorShutdownTickOfZeroYieldsAStartupPacketStampedWithTickOne) {
  host::SetPriorShutdownTick(0);
  store.ReportShutdownDataAtStartup();
  ASSERT_EQ(store.packets.size(), 1u);
  EXPECT_EQ(store.packets[0].bytes, WithCrc(B("80 01 00 00 00 30") + kStartupItems));
}

TEST_F(FullState, TheStartupRecordIsTracedAtBothEnds) {
  host::SetPriorShutdownTick(77);
  store.ReportShutdownDataAtStartup();
  const std::vector<std::string> texts = log.Texts(kLogEachItem);
  EXPECT_EQ(texts.front(), "ReportShutdownDataAtStartup77");
  EXPECT_EQ(texts.back(), "ReportShutdownDataAtStartup - END");
}

TEST_F(FullState, ItemsOfTheStartupRecordHaveItsTickWhichIsWhereTheSlackStarts) {
  host::SetPriorShutdownTick(77);
  store.ReportShutdownDataAtStartup();
  EXPECT_TRUE(Logged(kLogEachItem, "AddToCurrPacket, newTick 77 lastSlackSt = 77"));
  EXPECT_FALSE(Logged(kLogEachItem, "AddToCurrPacket, Writing Tick adjustment of 77"));
}

TEST_F(FullState, TheStartupRecordWritesTheOffStateWhateverIsHeldAndLeavesTheMirror) {
  store.ReportMicState(MIC_POSITION_3, true, false, 0);
  store.ReportShutdownDataAtStartup();
  EXPECT_EQ(store.packets.at(0).bytes, WithCrc(B("80 01 00 00 00 30") + kStartupItems));
  EXPECT_TRUE(store.Mirror().microphone.on[3]);
}

}  // namespace
}  // namespace vmr::test
