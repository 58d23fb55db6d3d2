// Configuration policies: their items, the orders in which they are written, and
// where each is held.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>
#include <type_traits>

#include "host/enum_to_string.h"
#include "tests/support/store_fixture.h"

namespace vmr::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct Named {
  e_CONFIG_LIST constant;
  int id;    // on disk
  int type;  // 0 truth value, 1 and 2 number
  const char* name;
};

// The policy list, written out apart from the library's table.
constexpr Named kList[] = {
    {CONFIG_NUMBER_DVD_ARCHIVES, 1, 1, "number dvd archives"},
    {CONFIG_ALLOW_POWER_OFF_WHEN_VEHICLE_ON, 2, 0, "allow power off when vehicle on"},
    {CONFIG_ALWAYS_RECORD_WHEN_VEHICLE_ON, 3, 0, "always record when vehicle on"},
    {CONFIG_AUTO_POWER_OFF, 4, 0, "auto power off when vehicle off"},
    {CONFIG_AUTO_POWER_ON, 5, 0, "auto power on when vehicle on"},
    {CONFIG_ALLOW_MIC_OFF, 6, 0, "allow turn mic off when recording"},
    {CONFIG_ACTIVATE_BOTH_MICS_ON_RECORD, 7, 0, "always act. both mics on record"},
    {CONFIG_FORCE_CABIN_MIC_ON, 8, 0, "force cabin mic on"},
    {CONFIG_CHARGE_WIRELESS_MIC_WHEN_OFF, 80, 0, "charge wireless mic when system off"},
    {CONFIG_PERMIT_SET_TIME, 14, 0, "permit set time"},
    {CONFIG_PERMIT_OFFICER, 9, 0, "permit add/del officer"},
    {CONFIG_PERMIT_DEPARTMENT_NAME, 10, 0, "permit enter dep. name"},
    {CONFIG_PERMIT_VEHICLE_ID, 11, 0, "permit enter vehicle id"},
    {CONFIG_PERMIT_RECORD_START_STOP, 12, 0, "permit mng rec start/stop"},
    {CONFIG_PERMIT_CAMERA_AUTO_ZOOM, 13, 0, "permit set cam. auto zoom"},
    {CONFIG_PERMIT_EVENT_TIMES, 15, 0, "permit set pre/post event times"},
    {CONFIG_PERMIT_TEXT_FIELDS, 16, 0, "permit set text fields"},
    {CONFIG_PERMIT_VIDEO_QUALITY, 17, 0, "permit set video qual"},
    {CONFIG_PERMIT_INPUT_DEVICES, 18, 0, "permit set up input dev"},
    {CONFIG_PERMIT_DISC_REUSE, 19, 0, "permit disc reuse"},
    {CONFIG_START_ON_AUX_INPUT, 20, 0, "start on aux input"},
    {CONFIG_START_ON_EMERGENCY_LIGHTS, 21, 0, "start on emerg lights"},
    {CONFIG_START_ON_EXCESSIVE_SPEED, 22, 0, "start excessive patrol speed"},
    {CONFIG_TRIGGER_CONFIGURATION, 23, 0, "stio trigger conf"},
    {CONFIG_START_ON_SIREN, 24, 0, "start on siren"},
    {CONFIG_START_ON_CRASH, 25, 0, "start on crash"},
    {CONFIG_START_ON_WIRELESS_MIC, 26, 0, "start on wireless mic activate"},
    {CONFIG_DISPLAY_DISC_USAGE, 28, 0, "display disc usage"},
    {CONFIG_RECORD_PATROL_SPEED, 29, 0, "record patrol car speed"},
    {CONFIG_RECORD_DEPARTMENT_NAME, 30, 0, "record department name"},
    {CONFIG_RECORD_BRAKE, 31, 0, "record brake status"},
    {CONFIG_RECORD_AUX_INPUT, 32, 0, "record aux status"},
    {CONFIG_RECORD_LIGHTS_AND_SIREN, 33, 0, "record lights and siren status"},
    {CONFIG_RECORD_OFFICER_NAME, 34, 0, "record officer name"},
    {CONFIG_RECORD_WIRELESS_MIC, 35, 0, "record wireless mic status"},
    {CONFIG_RECORD_VEHICLE_ID, 36, 0, "record patrol vehicle id"},
    {CONFIG_RECORD_RADAR_SPEEDS, 37, 0, "record radar speeds"},
    {CONFIG_RECORD_GPS, 38, 0, "record gps coords"},
    {CONFIG_RECORD_TIME_AND_DATE, 39, 0, "record time and data"},
    {CONFIG_RECORD_CRASH, 40, 0, "record crash status"},
    {CONFIG_DISPLAY_FAST_LOCK_SPEEDS, 41, 0, "display fast lock speeds"},
    {CONFIG_DISPLAY_PATROL_SPEEDS, 48, 0, "display patrol speeds"},
    {CONFIG_DISPLAY_TARGET_SPEEDS, 49, 0, "display target speeds"},
    {CONFIG_RECORD_EMERGENCY_LIGHTS, 50, 0, "record lights status"},
    {CONFIG_RECORD_SIREN, 51, 0, "record siren status"},
    {CONFIG_VIDEO_BIT_RATE_HIGH, 64, 1, "video bit rate high quality channel"},
    {CONFIG_VIDEO_BIT_RATE_LOW, 65, 1, "video bit rate low quality channel"},
    {CONFIG_START_ON_PATROL_SPEED, 68, 1, "start on patrol speed"},
    {CONFIG_AUTO_STOP_RECORD_TIME, 69, 1, "auto stop record time"},
    {CONFIG_PRE_EVENT_TIME, 66, 2, "pre event time"},
    {CONFIG_POST_EVENT_TIME, 67, 2, "post event time"},
    {CONFIG_ALLOW_WIRELESS_MIC_1_OFF, 81, 0, "allow turn wireless mic 1 off when recording"},
    {CONFIG_ALLOW_CABIN_MIC_OFF, 82, 0, "allow turn cabin mic off when recording"},
    {CONFIG_ACTIVATE_WIRELESS_MIC_ON_RECORD, 83, 0, "always act. wireless mic on record"},
    {CONFIG_ACTIVATE_CABIN_MIC_ON_RECORD, 84, 0, "always act. cabin mic on record"},
    {CONFIG_ALLOW_WIRELESS_MIC_2_OFF, 96, 0, "allow turn wireless mic 2 off when recording"},
    {CONFIG_ALLOW_AUX_MIC_OFF, 97, 0, "allow turn wireless aux off when recording"},
    {CONFIG_ACTIVATE_AUX_MIC_ON_RECORD, 85, 0, "always act. aux on record"},
    {CONFIG_FORCE_AUX_MIC_ON, 86, 0, "force aux Mic on"},
    {CONFIG_RECORD_SPEED_IN_METADATA, 98, 0, "record speed in metadata"},
    {CONFIG_SPLIT_SCREEN_MODE, 99, 0, "split screen mode"},
    {CONFIG_CRITICAL_EVENT_RULES, 100, 0, "critical event rules"},
    {CONFIG_SPLIT_LARGE_EVENTS, 101, 0, "split large events"},
    {CONFIG_MAXIMUM_RECORDING_SIZE_GB, 102, 1, "maximum recording size in GB"},
};

// Where each truth value of the unit's configuration is held.
const std::map<int, BoolItem SystemInfo::*> kSwitches = {
    {2, &SystemInfo::allow_power_off_when_vehicle_on},
    {4, &SystemInfo::auto_power_off},
    {5, &SystemInfo::auto_power_on},
    {8, &SystemInfo::force_cabin_mic_on},
    {20, &SystemInfo::start_on_aux_input},
    {21, &SystemInfo::start_on_emergency_lights},
    {22, &SystemInfo::start_on_excessive_speed},
    {24, &SystemInfo::start_on_siren},
    {25, &SystemInfo::start_on_crash},
    {26, &SystemInfo::start_on_wireless_mic},
    {28, &SystemInfo::display_disc_usage},
    {29, &SystemInfo::record_patrol_speed},
    {30, &SystemInfo::record_department_name},
    {31, &SystemInfo::record_brake},
    {32, &SystemInfo::record_aux_input},
    {34, &SystemInfo::record_officer_name},
    {35, &SystemInfo::record_wireless_mic},
    {36, &SystemInfo::record_vehicle_id},
    {37, &SystemInfo::record_radar_speeds},
    {38, &SystemInfo::record_gps},
    {39, &SystemInfo::record_time_and_date},
    {40, &SystemInfo::record_crash},
    {41, &SystemInfo::display_fast_lock_speeds},
    {48, &SystemInfo::display_patrol_speeds},
    {49, &SystemInfo::display_target_speeds},
    {50, &SystemInfo::record_emergency_lights},
    {51, &SystemInfo::record_siren},
    {70, &SystemInfo::policy_70},
    {71, &SystemInfo::policy_71},
    {80, &SystemInfo::charge_wireless_mic_when_off},
    {81, &SystemInfo::allow_wireless_mic_1_off},
    {82, &SystemInfo::allow_cabin_mic_off},
    {83, &SystemInfo::activate_wireless_mic_on_record},
    {84, &SystemInfo::activate_cabin_mic_on_record},
    {85, &SystemInfo::activate_aux_mic_on_record},
    {86, &SystemInfo::force_aux_mic_on},
    {96, &SystemInfo::allow_wireless_mic_2_off},
    {97, &SystemInfo::allow_aux_mic_off},
    {98, &SystemInfo::record_speed_in_metadata},
};

Bytes Item(int id, int value) {
  return {0x18, static_cast<unsigned char>(id), static_cast<unsigned char>(value)};
}

// A configuration with everything on and other numbers than at first.
SystemInfo EverythingOn() {
  SystemInfo info;
  for (const auto& [id, field] : kSwitches) (info.*field).value = true;
  info.auto_stop_record_time.value = 0x169;
  info.pre_event_time.value = 0x266;
  info.post_event_time.value = 0x367;
  return info;
}

class Policy : public StoreTest {
 protected:
  void MakeConfigurationValid() {
    store.ReportConfiguration(false);
    log.Clear();
  }

  // Everything pending, over as many packets as it takes.
  Bytes AllItems() {
    store.InitCurrentSystemTick(0x01020304);
    store.packets.clear();
    store.WriteBuffers();
    Bytes items;
    for (const WrittenPacket& packet : store.packets) {
      const int head = packet.bytes[0] == HEADER_1 ? 6 : packet.bytes[0] == HEADER_2 ? 3 : 2;
      items = items + Bytes(packet.bytes.begin() + head, packet.bytes.end() - 1);
    }
    return items;
  }

  const PolicyMirror& Mirror() const { return store.Mirror().policy; }
};

// ---- Items ---------------------------------------------------------------------

TEST_F(Policy, ItemIsWrittenToTheLastByteWithSlackTwo) {
  store.WriteConfigBool(CONFIG_ALLOW_CABIN_MIC_OFF, true);
  EXPECT_THAT(Added(), ElementsAre("Add to Current packet size (3), newSlack (2)"));
  store.WriteConfigBool(CONFIG_ACTIVATE_WIRELESS_MIC_ON_RECORD, false);
  store.WriteConfigInt8(CONFIG_AUTO_STOP_RECORD_TIME, 200);
  EXPECT_EQ(Items(), B("18 52 01 18 53 00 18 45 C8"));
}

TEST_F(Policy, ATruthValueIsTakenAndWrittenWhenItDiffers) {
  BoolItem held;
  store.WriteDiffBool(CONFIG_ALLOW_CABIN_MIC_OFF, held, BoolItem{false});
  EXPECT_THAT(Items(), IsEmpty());
  store.WriteDiffBool(CONFIG_ALLOW_CABIN_MIC_OFF, held, BoolItem{true});
  EXPECT_TRUE(held.value);
  store.WriteDiffBool(CONFIG_ALLOW_CABIN_MIC_OFF, held, BoolItem{true});
  EXPECT_EQ(Items(), B("18 52 01"));
}

TEST_F(Policy, WriteDiffUInt8OnNumbersThatDifferOnlyAboveTheLowByteStillWritesAnItem) {
  UIntItem held{0x105};
  store.WriteDiffUInt8(CONFIG_MAXIMUM_RECORDING_SIZE_GB, held, UIntItem{0x205});
  EXPECT_EQ(held.value, 0x205u);
  store.WriteDiffUInt8(CONFIG_MAXIMUM_RECORDING_SIZE_GB, held, UIntItem{0x205});
  EXPECT_EQ(Items(), B("18 66 05"));
}

// ---- The policy list -----------------------------------------------------------

static_assert(std::is_enum_v<e_CONFIG_LIST> && std::is_convertible_v<e_CONFIG_LIST, int>);
static_assert(sizeof(e_CONFIG_LIST) == 1, "an item has one byte for it");

TEST_F(Policy, IdentifiersAreTheNumbersOnDisk) {
  for (const Named& row : kList) EXPECT_EQ(row.constant, row.id) << row.name;
  EXPECT_EQ(CONFIG_POLICY_70, 70);
  EXPECT_EQ(CONFIG_POLICY_71, 71);
  EXPECT_EQ(CONFIG_LIST_END, 255);
}

TEST_F(Policy, EveryIdentifierHasItsNameAndAnyOtherIsUnknown) {
  std::map<int, std::string> names;
  for (const Named& row : kList) names[row.id] = row.name;
  EXPECT_EQ(names.size(), std::size(kList));
  for (int id = 0; id < 256; ++id) {
    const auto name = names.find(id);
    EXPECT_STREQ(PolicyName(static_cast<e_CONFIG_LIST>(id)),
                 name == names.end() ? "(unknown)" : name->second.c_str())
        << id;
  }
}

TEST_F(Policy, TheRowsStandInTheirOrderAndEndWithTheUnknownOne) {
  std::size_t n = 0;
  for (const PolicyRow& row : Policies()) {
    if (n == std::size(kList)) {
      EXPECT_EQ(row.id, 255);
      EXPECT_STREQ(row.name, "(unknown)");
      return;
    }
    EXPECT_EQ(row.id, kList[n].id);
    EXPECT_STREQ(row.name, kList[n].name);
    ++n;
  }
  FAIL() << "no end row";
}

TEST_F(Policy, RowsWithAFieldHaveTheirType) {
  for (const Named& row : kList) {
    const PolicyRow* const found = FindPolicy(static_cast<e_CONFIG_LIST>(row.id));
    if (found == nullptr) continue;
    EXPECT_EQ(static_cast<int>(found->type), row.type) << row.id;
  }
}

TEST_F(Policy, EveryIdentifierIsStoredInTheFieldThatItsWriterReads) {
  for (const auto& [id, field] : kSwitches) {
    SCOPED_TRACE(id);
    for (const int byte : {1, 0, 255}) {
      Decode(Item(id, byte));
      EXPECT_EQ((Mirror().system.*field).value, byte != 0);
    }
  }
  Decode(Item(66, 0xFE));
  Decode(Item(67, 0xFD));
  Decode(Item(69, 0xFC));
  EXPECT_EQ(Mirror().system.pre_event_time.value, 0xFEu);
  EXPECT_EQ(Mirror().system.post_event_time.value, 0xFDu);
  EXPECT_EQ(Mirror().system.auto_stop_record_time.value, 0xFCu);
  EXPECT_THAT(log.Texts(kLogError), IsEmpty());
}

TEST_F(Policy, PermissionsAndRecordingSettingsAreStoredToo) {
  for (const int id : {14, 99, 100, 101}) Decode(Item(id, 2));
  Decode(Item(102, 200));
  EXPECT_TRUE(Mirror().permissions.set_time.value);
  EXPECT_TRUE(Mirror().recording.split_screen_mode.value);
  EXPECT_TRUE(Mirror().recording.critical_event_rules.value);
  EXPECT_TRUE(Mirror().recording.split_large_events.value);
  EXPECT_EQ(Mirror().recording.maximum_recording_size_gb.value, 200u);
  EXPECT_THAT(log.Texts(kLogError), IsEmpty());
}

TEST_F(Policy, EveryOtherIdentifierIsRejectedInHexadecimal) {
  std::set<int> held = {66, 67, 69, 102, 14, 99, 100, 101};
  for (const auto& [id, field] : kSwitches) held.insert(id);
  for (int id = 0; id < 256; ++id) {
    log.Clear();
    Decode(Item(id, 1));
    char text[40];
    std::snprintf(text, sizeof(text), "Invalid config %x", static_cast<unsigned int>(id));
    EXPECT_EQ(Logged(kLogError, text), held.count(id) == 0) << id;
  }
}

TEST_F(Policy, DecodingReturnsTheItemsLength) {
  const BIN_POLICY_8_T known{TAG_POLICY_8, 82, 1}, rejected{TAG_POLICY_8, 1, 1};
  EXPECT_EQ(store.StoreConfigItem8(&known), 3);
  EXPECT_EQ(store.StoreConfigItem8(&rejected), 3);
  EXPECT_EQ(store.StoreConfigItem8(nullptr), 0);
}

// ---- The viewer ----------------------------------------------------------------

TEST_F(Policy, AnItemIsShownWithItsNameAndItsByte) {
  EXPECT_EQ(View(B("18 52 01")),
            "[Tag=Policy8, TagNo=0x18, PolicyId=0x52, allow turn cabin mic off when recording=1]");
  EXPECT_EQ(View(B("18 08 07")), "[Tag=Policy8, TagNo=0x18, PolicyId=0x08, force cabin mic on=7]");
  EXPECT_TRUE(Mirror().system.force_cabin_mic_on.value);
  EXPECT_EQ(View(B("18 45 FF")),
            "[Tag=Policy8, TagNo=0x18, PolicyId=0x45, auto stop record time=255]");
  EXPECT_THAT(Items(), IsEmpty());
}

TEST_F(Policy, IdentifierOneIsPrintedWithItsNameButRejectedAndPrintedAsZero) {
  EXPECT_EQ(View(B("18 01 07")), "[Tag=Policy8, TagNo=0x18, PolicyId=0x01, number dvd archives=0]");
  EXPECT_TRUE(Logged(kLogError, "Invalid config 1"));
}

TEST_F(Policy, RejectedIdentifiersArePrintedWithTheirNamesAndZero) {
  EXPECT_EQ(View(B("18 17 01")), "[Tag=Policy8, TagNo=0x18, PolicyId=0x17, stio trigger conf=0]");
  EXPECT_EQ(View(B("18 FF 01")), "[Tag=Policy8, TagNo=0x18, PolicyId=0xFF, (unknown)=0]");
  EXPECT_EQ(View(B("18 1B 01")), "[Tag=Policy8, TagNo=0x18, PolicyId=0x1B, (unknown)=0]");
  EXPECT_TRUE(Logged(kLogError, "Invalid config 17"));
  EXPECT_TRUE(Logged(kLogError, "Invalid config ff"));
  EXPECT_TRUE(Logged(kLogError, "Invalid config 1b"));
}

TEST_F(Policy, Identifiers70And71AreHeldWithoutAName) {
  EXPECT_EQ(View(B("18 46 05")), "[Tag=Policy8, TagNo=0x18, PolicyId=0x46, (unknown)=5]");
  EXPECT_EQ(View(B("18 47 01")), "[Tag=Policy8, TagNo=0x18, PolicyId=0x47, (unknown)=1]");
  EXPECT_TRUE(Mirror().system.policy_70.value);
  EXPECT_TRUE(Mirror().system.policy_71.value);
}

TEST_F(Policy, TheEndItemMakesTheConfigurationValidAndIsShown) {
  EXPECT_FALSE(Mirror().configuration_valid);
  EXPECT_EQ(View(B("1A")), "[Tag=end, TagNo=0x1A, end policy]");
  EXPECT_TRUE(Mirror().configuration_valid);
  EXPECT_TRUE(result.policy_end_seen);
  store.StoreConfigSettingsValid(false, TAG_POLICY_END);
  EXPECT_FALSE(Mirror().configuration_valid);
}

TEST_F(Policy, NothingIsPrintedOutsideTheViewer) {
  EXPECT_EQ(Printed([&] {
              Decode(B("18 52 01"));
              Decode(B("18 01 01"));
              Decode(B("1A"));
              Decode(B("19 00 00 00"));
            }),
            "");
}

// ---- Writing the held configuration --------------------------------------------

Bytes PolicyItems(const std::vector<int>& ids, const std::map<int, int>& numbers, int truth) {
  Bytes items;
  for (const int id : ids) {
    const auto number = numbers.find(id);
    items = items + Item(id, number == numbers.end() ? truth : number->second);
  }
  return items;
}

const std::map<int, int> kNumbersOfEverythingOn = {{69, 0x69}, {66, 0x66}, {67, 0x67}};

TEST_F(Policy, SystemInfoIsWrittenInItsOwnOrder) {
  SystemInfo info = EverythingOn();
  info.time_zone_index = 2;
  info.time_zone_name.value = "CST";
  store.ReportSystemInfo(info, false);
  store.WriteSystemInfo();
  const std::vector<int> order = {83, 84, 8,  80, 82, 81, 96, 97, 85, 86, 28, 29, 30, 31,
                                  32, 50, 51, 34, 35, 36, 37, 38, 39, 40, 20, 21, 22, 24,
                                  25, 26, 69, 70, 71, 4,  5,  2,  41, 48, 49, 66, 67, 98};
  EXPECT_EQ(AllItems(), PolicyItems(order, kNumbersOfEverythingOn, 1) + B("11 0F") +
                            Chars("America/Chicago") + B("04 03") + Chars("CST") + B("50 00 05") +
                            Chars("Front") + B("50 01 09") + Chars("Secondary") + B("50 02 04") +
                            Chars("Aux3") + B("50 03 09") + Chars("Secondary") +
                            B("58 01 01 01 0C") + Chars("$$Wireless 1") +  //
                            B("58 02 02 02 0C") + Chars("$$Wireless 2") +  //
                            B("58 00 00 00 07") + Chars("$$Cabin") +       //
                            B("58 03 03 03 0B") + Chars("$$Auxiliary"));
}

TEST_F(Policy, TheZonesOfSystemInfoHaveSlackFour) {
  store.WriteSystemInfo();
  const std::vector<std::string> added = Added();
  ASSERT_GT(added.size(), 44u);
  EXPECT_EQ(added[41], "Add to Current packet size (3), newSlack (2)");
  EXPECT_EQ(added[42], "Add to Current packet size (5), newSlack (4)");
  EXPECT_EQ(added[43], "Add to Current packet size (2), newSlack (4)");
}

TEST_F(Policy, RecordingSettingsAreWrittenInTheirOrder) {
  VideoRecordingSettings settings;
  settings.critical_event_rules.value = true;
  settings.maximum_recording_size_gb.value = 0x140;
  store.ReportVideoRecordingSettings(settings, false);
  store.WriteRecordingSettings();
  EXPECT_EQ(Items(), B("18 63 00 18 64 01 18 65 00 18 66 40"));
}

// ---- Reporting the system info -------------------------------------------------

TEST_F(Policy, ChangesOfTheSystemInfoAreWrittenInAnotherOrder) {
  MakeConfigurationValid();
  store.ReportSystemInfo(EverythingOn(), true);
  const std::vector<int> order = {82, 81, 96, 97, 83, 85, 84, 8,  86, 80, 28, 29, 39, 34,
                                  35, 36, 30, 50, 51, 37, 38, 31, 32, 40, 20, 21, 22, 24,
                                  25, 26, 69, 70, 71, 4,  5,  2,  41, 48, 49, 66, 67, 98};
  EXPECT_EQ(AllItems(), PolicyItems(order, kNumbersOfEverythingOn, 1));
  store.ReportSystemInfo(EverythingOn(), true);
  EXPECT_THAT(Items(), IsEmpty()) << "nothing changed since";
}

TEST_F(Policy, EachChangeIsWrittenAlone) {
  MakeConfigurationValid();
  SystemInfo info;
  for (const auto& [id, field] : kSwitches) {
    (info.*field).value = true;
    store.ReportSystemInfo(info, true);
    EXPECT_EQ(Items(), Item(id, 1)) << id;
    (info.*field).value = false;
    store.ReportSystemInfo(info, true);
    EXPECT_EQ(Items(), Item(id, 0)) << id;
  }
}

TEST_F(Policy, NumbersAreComparedWholeAndHeldWhole) {
  MakeConfigurationValid();
  SystemInfo info;
  info.pre_event_time.value = 0x100;
  info.post_event_time.value = 0x205;
  info.auto_stop_record_time.value = 0x300;
  store.ReportSystemInfo(info, true);
  EXPECT_EQ(Items(), B("18 45 00 18 42 00 18 43 05"));
  EXPECT_EQ(Mirror().system.pre_event_time.value, 0x100u);
  EXPECT_EQ(Mirror().system.post_event_time.value, 0x205u);
  EXPECT_EQ(Mirror().system.auto_stop_record_time.value, 0x300u);
}

TEST_F(Policy, ANewRadarTypeIsTakenBeforeTheRadarIsChecked) {
  MakeConfigurationValid();
  SystemInfo info;
  info.radar_type = 3;
  info.allow_power_off_when_vehicle_on.value = true;
  info.display_fast_lock_speeds.value = true;
  info.record_speed_in_metadata.value = true;
  store.ReportSystemInfo(info, true);
  EXPECT_EQ(Items(), B("18 02 01") +                                       //
                         B("60 01 61 05") + Chars("lidar") + B("6F 01") +  //
                         B("18 29 01 18 62 01") +                          //
                         B("70 02 62 05") + Chars("lidar"));
  EXPECT_EQ(Mirror().system.radar_type, 3);
}

TEST_F(Policy, GpsAndSpeedAreCheckedToo) {
  store.StoreConfigSettingsValid(true, TAG_POLICY_END);  // valid, yet nothing configured
  store.ReportSystemInfo(SystemInfo{}, true);
  EXPECT_EQ(Items(), B("90 01 0B") + Chars("InternalGps") + B("94 01") +  //
                         B("60 01 60 04") + Chars("none") + B("6F 01") +  //
                         B("70 02 60 04") + Chars("none") +               //
                         B("70 01 41 0C") + Chars("Internal Gps"));
}

TEST_F(Policy, AChangedTimeZoneIsWrittenByNameWithSlackTwoAndItsIndexHeld) {
  MakeConfigurationValid();
  SystemInfo info;
  info.time_zone_index = 2;
  store.ReportSystemInfo(info, true);
  EXPECT_THAT(Added(), ElementsAre("Add to Current packet size (17), newSlack (2)"));
  EXPECT_EQ(Items(), B("11 0F") + Chars("America/Chicago"));
  EXPECT_EQ(Mirror().system.time_zone_index, 2);
  store.ReportSystemInfo(info, true);
  EXPECT_THAT(Items(), IsEmpty());
}

TEST_F(Policy, TimeZonesAreComparedByNameAndTheIndexReplacedAllTheSame) {
  MakeConfigurationValid();
  SystemInfo info;
  info.time_zone_index = 50;
  store.ReportSystemInfo(info, true);
  EXPECT_EQ(Items(), B("11 00"));
  info.time_zone_index = -7;  // another number without a name
  store.ReportSystemInfo(info, true);
  EXPECT_THAT(Items(), IsEmpty());
  EXPECT_EQ(Mirror().system.time_zone_index, -7);
}

TEST_F(Policy, AChangedTimeZoneNameIsWrittenUnderTheTagThatNoReaderAccepts) {
  MakeConfigurationValid();
  SystemInfo info;
  info.time_zone_name.value = "CST";
  store.ReportSystemInfo(info, true);
  EXPECT_THAT(Added(), ElementsAre("Add to Current packet size (5), newSlack (2)"));
  EXPECT_EQ(Items(), B("04 03 43 53 54"));
  EXPECT_EQ(FindTag(0x04)->decoder, nullptr);
  store.ReportSystemInfo(info, true);
  EXPECT_THAT(Items(), IsEmpty());
}

TEST_F(Policy, WithoutWriteEveryFieldIsTakenNothingWrittenAndNoCheckRuns) {
  MakeConfigurationValid();
  SystemInfo info = EverythingOn();
  info.radar_type = 2;
  info.time_zone_index = 5;
  info.time_zone_name.value = "PST";
  store.ReportSystemInfo(info, false);
  EXPECT_THAT(AllItems(), IsEmpty());
  EXPECT_EQ(store.Mirror().radar.radars[0].radarType, 0u);
  for (const auto& [id, field] : kSwitches) EXPECT_TRUE((Mirror().system.*field).value) << id;
  EXPECT_EQ(Mirror().system.pre_event_time.value, 0x266u);
  EXPECT_EQ(Mirror().system.radar_type, 2);
  EXPECT_EQ(Mirror().system.time_zone_index, 5);
  EXPECT_EQ(Mirror().system.time_zone_name.value, "PST");
}

TEST_F(Policy, BeforeTheConfigurationIsValidTheSystemInfoIsOnlyTaken) {
  SystemInfo info = EverythingOn();
  info.radar_type = 2;
  store.ReportSystemInfo(info, true);
  EXPECT_THAT(AllItems(), IsEmpty());
  EXPECT_EQ(store.Mirror().radar.radars[0].id, 255);
  EXPECT_TRUE(Mirror().system.policy_71.value);
}

// ---- Reporting the recording settings ------------------------------------------

class RecordingSettings : public Policy {
 protected:
  static VideoRecordingSettings Settings() {
    VideoRecordingSettings settings;
    settings.split_screen_mode.value = true;
    settings.split_large_events.value = true;
    settings.maximum_recording_size_gb.value = 0x120;
    settings.cameras[8].quality.value = 7;
    return settings;
  }
};

TEST_F(RecordingSettings, ChangesAreWrittenInTheirOrder) {
  MakeConfigurationValid();
  store.ReportVideoRecordingSettings(Settings(), true);
  EXPECT_TRUE(Logged(kLogTrace, "Recording Settings Changed"));
  EXPECT_EQ(Items(), B("18 63 01 18 65 01 18 66 20"));
  store.ReportVideoRecordingSettings(Settings(), true);
  EXPECT_THAT(Items(), IsEmpty());
  EXPECT_EQ(Mirror().recording.cameras[8].quality.value, 7u);
  EXPECT_EQ(Mirror().recording.maximum_recording_size_gb.value, 0x120u);
}

TEST_F(RecordingSettings, WithoutWriteAllOfThemAreTaken) {
  MakeConfigurationValid();
  store.ReportVideoRecordingSettings(Settings(), false);
  EXPECT_TRUE(Logged(kLogTrace, "Setting the Recording Settings data"));
  EXPECT_THAT(Items(), IsEmpty());
  EXPECT_TRUE(Mirror().recording.split_screen_mode.value);
  EXPECT_FALSE(Mirror().recording.critical_event_rules.value);
  EXPECT_TRUE(Mirror().recording.split_large_events.value);
  EXPECT_EQ(Mirror().recording.maximum_recording_size_gb.value, 0x120u);
  EXPECT_EQ(Mirror().recording.cameras[8].quality.value, 7u);
}

TEST_F(RecordingSettings, BeforeTheConfigurationIsValidTheyAreOnlyTaken) {
  store.ReportVideoRecordingSettings(Settings(), true);
  EXPECT_TRUE(Logged(kLogTrace, "Setting the Recording Settings data"));
  EXPECT_THAT(Items(), IsEmpty());
  EXPECT_TRUE(Mirror().recording.split_screen_mode.value);
}

// ---- The configuration section -------------------------------------------------

TEST_F(Policy, InAStoreWhoseConfigurationWasNeverReportedTheSectionHoldsOnlyDescriptionsAndTheEnd) {
  store.InitializeRadarId(6, RADAR_SRC_GENERIC, SPEED_UNITS_MPH, "R", false);
  store.InitializeSpeedId(7, SPEED_SRC_GPS, SPEED_UNITS_MPH, "S", false);
  store.WriteAllConfig();
  EXPECT_EQ(Items(), B("02 00 00 00 00 00 00 00 "  // MAC address
                       "90 01 00 "                 // GPS description
                       "60 06 41 01 52 "           // radar 6
                       "70 07 41 01 53 "           // speed device 7
                       "E0 00 00 E0 01 00 E0 02 00 E0 03 00 "
                       "1A"));
}

TEST_F(Policy, ASectionEndsWithOneEndItemOfSlackTwo) {
  store.WriteAllConfig();
  EXPECT_EQ(Added().back(), "Add to Current packet size (1), newSlack (2)");
  MakeConfigurationValid();
  store.WriteAllConfig();
  const std::vector<std::string> added = Added();
  EXPECT_EQ(added.back(), "Add to Current packet size (1), newSlack (2)");
  EXPECT_EQ(std::count(added.begin(), added.end(), added.back()), 1);
  EXPECT_EQ(added.front(), "Add to Current packet size (8), newSlack (2)") << "the MAC address";
}

TEST_F(Policy, ReadingAnEndItemMakesTheOutputsOwnDumpContainTheWholeSection) {
  store.WriteAllConfig();
  EXPECT_THAT(AllItems(), testing::SizeIs(8 + 3 + 4 * 3 + 1));
  Decode(B("1A"));
  store.WriteAllConfig();
  const Bytes items = AllItems();
  // Serial number, vehicle and the first policy behind the MAC address.
  const Bytes section = B("10 00 07 00 18 53 00");
  EXPECT_NE(std::search(items.begin(), items.end(), section.begin(), section.end()), items.end());
}

TEST_F(Policy, ReportConfigurationChecksEverythingThenWritesTheSection) {
  store.ReportConfiguration(true);
  EXPECT_TRUE(Mirror().configuration_valid);
  const Bytes items = AllItems();
  const Bytes checks = B("60 01 60 04") + Chars("none") + B("6F 01") +      //
                       B("90 01 0B") + Chars("InternalGps") + B("94 01") +  //
                       B("70 02 60 04") + Chars("none") +                   //
                       B("70 01 41 0C") + Chars("Internal Gps") +           //
                       B("E0 03 03") + Chars("cpu") + B("E0 00 05") + Chars("inlet") +
                       B("E0 01 06") + Chars("outlet") + B("E0 02 05") + Chars("power") +
                       B("02 00 00 00 00 00 00 00 10 00 07 00 18 53 00");
  ASSERT_GT(items.size(), checks.size());
  EXPECT_EQ(Bytes(items.begin(), items.begin() + static_cast<long>(checks.size())), checks);
}

TEST_F(Policy, ReportConfigurationWithoutWriteMakesItValidAndWritesNothing) {
  store.ReportConfiguration(false);
  EXPECT_TRUE(Mirror().configuration_valid);
  EXPECT_THAT(AllItems(), IsEmpty());
  EXPECT_EQ(store.Mirror().gps.gpsDesc.desc, "InternalGps");
  EXPECT_EQ(store.Mirror().radar.radars[0].id, 1);
  EXPECT_EQ(store.Mirror().speed.devices[0].id, 2);
  EXPECT_EQ(store.Mirror().temperature.sensors[3].desc, "cpu");
}

}  // namespace
}  // namespace vmr::test
