// Identity: texts, MAC address and versions.
#include <gtest/gtest.h>

#include "tests/support/store_fixture.h"

namespace vmr::test {
namespace {

using namespace std::string_literals;
using testing::ElementsAre;
using testing::IsEmpty;

VehicleInfo Vehicle(const std::string& id) { return {{id}}; }
DepartmentInfo Department(const std::string& name) { return {{name}}; }
Officer OfficerOf(const std::string& name, const std::string& badge) { return {{name}, {badge}}; }

constexpr unsigned char kMac[6] = {0x00, 0x1B, 0x21, 0xAB, 0xCD, 0xEF};

class Identity : public StoreTest {
 protected:
  void MakeConfigurationValid() { store.ReportConfiguration(false); }
  const IdentityMirror& Mirror() const { return store.Mirror().identity; }
  const SystemInfo& System() const { return store.Mirror().policy.system; }
};

// ---- String items --------------------------------------------------------------

TEST_F(Identity, StringItemIsWrittenToTheLastByteWithTheSlackGiven) {
  store.WriteStringData(TAG_OFFICER, "Ann", 3);
  EXPECT_THAT(Added(), ElementsAre("Add to Current packet size (5), newSlack (3)"));
  EXPECT_EQ(Items(), B("05 03 41 6E 6E"));
  store.WriteStringData(TAG_OFFICER, std::string("Ann"), 4);
  EXPECT_THAT(Added(), ElementsAre("Add to Current packet size (5), newSlack (4)"));
}

TEST_F(Identity, EmptyAndNullTextsAreItemsWithoutText) {
  store.WriteStringData(TAG_LOG, "", 2);
  store.WriteStringData(TAG_LOG, static_cast<const char*>(nullptr), 2);
  store.WriteStringData(TAG_LOG, std::string(), 2);
  EXPECT_EQ(Items(), B("20 00 20 00 20 00"));
}

TEST_F(Identity, AStringKeepsItsNuls) {
  store.WriteStringData(TAG_VEHICLE, "A\0B"s, 2);
  EXPECT_EQ(Items(), B("07 03 41 00 42"));
}

TEST_F(Identity, AStringOfExactly256CharactersIsRecordedWithLengthByteZeroAndNoText) {
  store.WriteStringData(TAG_LOG, std::string(256, 'x'), 2);
  store.WriteStringData(TAG_LOG, std::string(256, 'x').c_str(), 2);
  EXPECT_EQ(Items(), B("20 00 20 00"));
}

TEST_F(Identity, AStringOf300CharactersIsRecordedAsItsFirst44) {
  const std::string text = std::string(44, 'a') + std::string(256, 'b');
  store.WriteStringData(TAG_LOG, text, 2);
  EXPECT_EQ(Items(), B("20 2C") + Bytes(44, 'a'));
}

TEST_F(Identity, TheLongestStringThatFitsAPacketHas253Characters) {
  store.WriteStringData(TAG_LOG, std::string(253, 'x'), 2);
  EXPECT_EQ(Items(), B("20 FD") + Bytes(253, 'x'));
  store.WriteStringData(TAG_LOG, std::string(254, 'x'), 2);
  store.WriteStringData(TAG_LOG, std::string(255, 'x'), 2);
  EXPECT_THAT(Items(), IsEmpty());
  EXPECT_TRUE(Logged(kLogError, "***************** Dropped 256 data bytes ********************"));
  EXPECT_TRUE(Logged(kLogError, "***************** Dropped 257 data bytes ********************"));
}

TEST_F(Identity, FreeTextIsWrittenAtOnceWithSlackTwoAndNoComparison) {
  store.ReportStringData(TAG_LOG, "hi");
  EXPECT_THAT(Added(), ElementsAre("Add to Current packet size (4), newSlack (2)"));
  store.ReportStringData(TAG_LOG, "hi");
  store.ReportStringData(TAG_TEST, "ok");
  EXPECT_EQ(Items(), B("20 02 68 69 20 02 68 69 F1 02 6F 6B"));
}

TEST_F(Identity, DifferingTextsAreTakenAndWrittenWithSlackTwo) {
  std::string held = "old";
  store.WriteDiffString(TAG_VEHICLE, held, std::string("old"));
  EXPECT_THAT(Items(), IsEmpty());
  store.WriteDiffString(TAG_VEHICLE, held, std::string("new"));
  EXPECT_EQ(held, "new");
  EXPECT_THAT(Added(), ElementsAre("Add to Current packet size (5), newSlack (2)"));
  EXPECT_EQ(Items(), B("07 03 6E 65 77"));
}

TEST_F(Identity, TextsAreComparedByLengthAndBytes) {
  std::string held = "ab";
  store.WriteDiffString(TAG_VEHICLE, held, "ab\0"s);
  EXPECT_EQ(Items(), B("07 03 61 62 00"));
  store.WriteDiffString(TAG_VEHICLE, held, "ab"s);
  EXPECT_EQ(Items(), B("07 02 61 62"));
}

TEST_F(Identity, StringItemsAreComparedByTheirValueOnEitherSide) {
  std::string text = "a";
  StringItem item{"a"};
  store.WriteDiffString(TAG_VEHICLE, text, item);
  store.WriteDiffString(TAG_VEHICLE, item, text);
  store.WriteDiffString(TAG_VEHICLE, item, StringItem{"a"});
  EXPECT_THAT(Items(), IsEmpty());
  store.WriteDiffString(TAG_VEHICLE, text, StringItem{"b"});
  store.WriteDiffString(TAG_VEHICLE, item, std::string("c"));
  store.WriteDiffString(TAG_VEHICLE, item, StringItem{"d"});
  EXPECT_EQ(text, "b");
  EXPECT_EQ(item.value, "d");
  EXPECT_EQ(Items(), B("07 01 62 07 01 63 07 01 64"));
}

// ---- Who and what --------------------------------------------------------------

TEST_F(Identity,
       ReportVehicleInfoBeforeTheConfigurationIsValidRecordsNothingButTheNextDumpCarriesIt) {
  store.ReportVehicleInfo(Vehicle("Car 5"), true);
  EXPECT_THAT(Items(), IsEmpty());
  EXPECT_EQ(Mirror().vehicle.vehicle_id.value, "Car 5");
  store.ReportConfiguration(true);
  store.packets.clear();
  store.WriteBuffers();
  ASSERT_FALSE(store.packets.empty());
  const Bytes& packet = store.packets[0].bytes;
  const Bytes item = B("07 05") + Chars("Car 5");
  EXPECT_NE(std::search(packet.begin(), packet.end(), item.begin(), item.end()), packet.end());
}

TEST_F(Identity, AChangedVehicleIsRecordedOnce) {
  MakeConfigurationValid();
  store.ReportVehicleInfo(Vehicle("Car 5"), true);
  store.ReportVehicleInfo(Vehicle("Car 5"), true);
  EXPECT_EQ(Items(), B("07 05") + Chars("Car 5"));
  store.ReportVehicleInfo(Vehicle("Car 6"), false);
  EXPECT_EQ(Mirror().vehicle.vehicle_id.value, "Car 6");
  EXPECT_THAT(Items(), IsEmpty());
}

TEST_F(Identity, AChangedDepartmentIsRecordedOnce) {
  MakeConfigurationValid();
  store.ReportDepartmentInfo(Department("PD"), true);
  store.ReportDepartmentInfo(Department("PD"), true);
  EXPECT_EQ(Items(), B("06 02 50 44"));
  store.ReportDepartmentInfo(Department("SO"), false);
  EXPECT_EQ(Mirror().department.department_name.value, "SO");
  EXPECT_THAT(Items(), IsEmpty());
}

TEST_F(Identity, BeforeTheConfigurationIsValidTheDepartmentIsOnlyHeld) {
  store.ReportDepartmentInfo(Department("PD"), true);
  EXPECT_EQ(Mirror().department.department_name.value, "PD");
  EXPECT_THAT(Items(), IsEmpty());
}

TEST_F(Identity, AChangedOfficerIsRecordedAsNameThenBadge) {
  MakeConfigurationValid();
  store.ReportOfficerInfo(OfficerOf("Ann", "77"), true);
  EXPECT_EQ(Items(), B("05 03 41 6E 6E 08 02 37 37"));
  store.ReportOfficerInfo(OfficerOf("Ann", "78"), true);
  EXPECT_EQ(Items(), B("08 02 37 38"));
  store.ReportOfficerInfo(OfficerOf("Bob", "78"), true);
  EXPECT_EQ(Items(), B("05 03 42 6F 62"));
}

TEST_F(Identity, EveryOfficerReportIsLoggedAsAChangeChangedOrNot) {
  MakeConfigurationValid();
  store.ReportOfficerInfo(OfficerOf("Ann", "77"), true);
  store.ReportOfficerInfo(OfficerOf("Ann", "77"), true);
  EXPECT_EQ(log.Count(kLogTrace, "DataStore.cc", "Officer Changed, need to handle"), 2);
  EXPECT_FALSE(Logged(kLogTrace, "Setting the Officer data"));
}

TEST_F(Identity, AnOfficerIsOnlyHeldWithoutWriteOrBeforeTheConfigurationIsValid) {
  store.ReportOfficerInfo(OfficerOf("Ann", "77"), true);
  EXPECT_EQ(Mirror().officer.name.value, "Ann");
  MakeConfigurationValid();
  store.ReportOfficerInfo(OfficerOf("Bob", "78"), false);
  EXPECT_EQ(Mirror().officer.name.value, "Bob");
  EXPECT_EQ(Mirror().officer.badge_id.value, "78");
  EXPECT_EQ(log.Count(kLogTrace, "DataStore.cc", "Setting the Officer data"), 2);
  EXPECT_FALSE(Logged(kLogTrace, "Officer Changed, need to handle"));
  EXPECT_THAT(Items(), IsEmpty());
}

TEST_F(Identity, TheSerialNumberIsOnlyHeld) {
  MakeConfigurationValid();
  store.ReportSystemSerialNum("SN-1");
  EXPECT_THAT(Items(), IsEmpty());
  EXPECT_EQ(Mirror().serial_number, "SN-1");
}

TEST_F(Identity, HeldTextsAreWrittenWithSlackTwo) {
  store.ReportOfficerInfo(OfficerOf("A", "7"), false);
  store.ReportVehicleInfo(Vehicle("V"), false);
  store.ReportDepartmentInfo(Department("D"), false);
  store.ReportSystemSerialNum("S");
  log.Clear();
  store.WriteOfficer();
  store.WriteVehicleInfo();
  store.WriteDepartmentInfo();
  store.WriteSystemSerialNum();
  EXPECT_THAT(Added(),
              testing::AllOf(testing::SizeIs(5),
                             testing::Each("Add to Current packet size (3), newSlack (2)")));
  EXPECT_EQ(Items(), B("05 01 41 08 01 37 07 01 56 06 01 44 10 01 53"));
}

// ---- MAC address ---------------------------------------------------------------

TEST_F(Identity, MacItemIsWrittenToTheLastByteWithSlackOne) {
  store.ReportMac(kMac, true);
  EXPECT_THAT(Added(), ElementsAre("Add to Current packet size (8), newSlack (1)"));
  EXPECT_EQ(Items(), B("02 00 00 1B 21 AB CD EF"));
  store.WriteMac(kMac, 7);
  EXPECT_THAT(Added(), ElementsAre("Add to Current packet size (8), newSlack (7)"));
}

TEST_F(Identity, TwoReportMacCallsWithTheSameAddressProduceTwoItems) {
  store.ReportMac(kMac, true);
  store.ReportMac(kMac, true);
  EXPECT_EQ(Items(), B("02 00 00 1B 21 AB CD EF 02 00 00 1B 21 AB CD EF"));
}

TEST_F(Identity, WithoutWriteTheAddressIsOnlyHeld) {
  store.ReportMac(kMac, false);
  EXPECT_THAT(Items(), IsEmpty());
  EXPECT_EQ(Bytes(Mirror().mac, Mirror().mac + 6), B("00 1B 21 AB CD EF"));
}

TEST_F(Identity, DecodedAddressIsHeldAndShown) {
  EXPECT_EQ(View(B("02 00 00 1B 21 AB CD EF")), "[Tag=mac, TagNo=0x02, mac 00:1B:21:AB:CD:EF]");
  EXPECT_EQ(View(B("02 FF 01 02 03 04 05 06")), "[Tag=mac, TagNo=0x02, mac 01:02:03:04:05:06]");
  EXPECT_EQ(Bytes(Mirror().mac, Mirror().mac + 6), B("01 02 03 04 05 06"));
  EXPECT_THAT(Items(), IsEmpty());
}

// ---- Versions ------------------------------------------------------------------

constexpr e_COMPONENT Component(unsigned int n) { return static_cast<e_COMPONENT>(n); }

TEST_F(Identity, VersionItemIsWrittenToTheLastByteWithSlackFour) {
  store.WriteVerDesc(Component(3), "2.1");
  EXPECT_THAT(Added(), ElementsAre("Add to Current packet size (6), newSlack (4)"));
  EXPECT_EQ(Items(), B("09 03 03 32 2E 31"));
}

TEST_F(Identity, AVersionTextIsCutAt255CharactersAndFitsAPacketUpTo252) {
  store.WriteVerDesc(Component(1), std::string(252, 'v').c_str());
  EXPECT_EQ(Items(), B("09 01 FC") + Bytes(252, 'v'));
  store.WriteVerDesc(Component(1), std::string(300, 'v').c_str());
  EXPECT_THAT(Items(), IsEmpty());
  EXPECT_TRUE(Logged(kLogError, "***************** Dropped 258 data bytes ********************"));
}

TEST_F(Identity, ANullVersionTextCountsAsEmpty) {
  store.WriteVerDesc(Component(1), nullptr);
  EXPECT_EQ(Items(), B("09 01 00"));
  store.ReportVersion(Component(1), nullptr);
  EXPECT_EQ(Mirror().versions[1], "");
}

TEST_F(Identity, ReportingAVersionNeverWrites) {
  MakeConfigurationValid();
  store.ReportVersion(Component(9), "7");
  EXPECT_EQ(Mirror().versions[9], "7");
  EXPECT_THAT(Items(), IsEmpty());
}

TEST_F(Identity, ReportVersionOfComponentTenLogsAndChangesNothing) {
  store.SetViewMode(kViewItems);
  EXPECT_EQ(Printed([&] { store.ReportVersion(Component(10), "7"); }), "");
  store.ReportVersion(Component(0xFFFFFFFF), "7");
  EXPECT_THAT(log.Entries(),
              ElementsAre(LogEntry{kLogError, "DataStore.cc", "Invalid component 10"},
                          LogEntry{kLogError, "DataStore.cc", "Invalid component 4294967295"}));
  for (const std::string& version : Mirror().versions) EXPECT_EQ(version, "");
}

TEST_F(Identity, DecodedVersionsAreHeldAndShownWithTheirComponentsNames) {
  const char* const names[] = {"Invalid",
                               "Mainboard",
                               "System Software",
                               "IOP",
                               "System FPGA",
                               "Front Panel",
                               "Pendry",
                               "Split Screen FPGA",
                               "Power Board Software",
                               "Power Board Hardware"};
  for (unsigned char n = 0; n < 10; ++n) {
    EXPECT_EQ(View(Bytes{0x09, n, 3} + Chars("1.2")),
              std::string("[Tag=version, TagNo=0x09, ") + names[n] + ": 1.2]");
    EXPECT_EQ(Mirror().versions[n], "1.2");
  }
  EXPECT_EQ(View(B("09 02 03 41 00 42")), "[Tag=version, TagNo=0x09, System Software: A]");
  EXPECT_THAT(Items(), IsEmpty());
}

TEST_F(Identity, ADecodedVersionOfAnUnknownComponentIsSkipped) {
  EXPECT_EQ(View(B("09 0A 01 41")), "");
  EXPECT_TRUE(Logged(kLogError, "Invalid component 10"));
}

// ---- Decoding texts ------------------------------------------------------------

TEST_F(Identity, DecodedTextsAreHeldAndShownWithTheirNames) {
  EXPECT_EQ(View(B("05 01 41")), "[Tag=String, TagNo=0x05, officer='A']");
  EXPECT_EQ(View(B("06 01 42")), "[Tag=String, TagNo=0x06, department='B']");
  EXPECT_EQ(View(B("07 01 43")), "[Tag=String, TagNo=0x07, vehicle='C']");
  EXPECT_EQ(View(B("08 01 44")), "[Tag=String, TagNo=0x08, badgeId='D']");
  EXPECT_EQ(View(B("10 01 45")), "[Tag=String, TagNo=0x10, system serial num='E']");
  EXPECT_EQ(Mirror().officer.name.value, "A");
  EXPECT_EQ(Mirror().department.department_name.value, "B");
  EXPECT_EQ(Mirror().vehicle.vehicle_id.value, "C");
  EXPECT_EQ(Mirror().officer.badge_id.value, "D");
  EXPECT_EQ(Mirror().serial_number, "E");
  EXPECT_THAT(Items(), IsEmpty());
}

TEST_F(Identity, LogAndTestTextsAreOnlyShown) {
  EXPECT_EQ(View(B("20 02 68 69")), "[Tag=String, TagNo=0x20, log='hi']");
  EXPECT_EQ(View(B("F1 00")), "[Tag=String, TagNo=0xF1, test='']");
}

TEST_F(Identity, ATimeZoneIsHeldAsTheIndexOfItsName) {
  EXPECT_EQ(View(B("11 0F") + Chars("America/Chicago")),
            "[Tag=String, TagNo=0x11, time zone='America/Chicago']");
  EXPECT_EQ(System().time_zone_index, 2);
  Decode(B("11 10") + Chars("Pacific/Auckland"));
  EXPECT_EQ(System().time_zone_index, 49);
  Decode(B("11 03") + Chars("UTC"));
  EXPECT_EQ(System().time_zone_index, 0);
}

TEST_F(Identity, ATimeZoneThatMatchesNoneOfThe50NamesLeavesTheIndexAsItWas) {
  Decode(B("11 0F") + Chars("America/Chicago"));
  for (const std::string name : {"America/Chicag", "America/Chicago1", "utc", ""}) {
    Decode(Bytes{0x11, static_cast<unsigned char>(name.size())} + Chars(name));
    EXPECT_EQ(System().time_zone_index, 2) << name;
  }
}

TEST_F(Identity, TheTimeZoneNameIsStoredThoughNoReaderHandsItOn) {
  store.SetViewMode(kViewItems);
  EXPECT_EQ(Printed([&] { store.StoreStringData(TAG_TIME_ZONE_NAME, "CST", 3); }),
            "[Tag=String, TagNo=0x04, time zone name='CST']");
  EXPECT_EQ(System().time_zone_name.value, "CST");
}

TEST_F(Identity, ANullTextIsLogged) {
  store.StoreStringData(TAG_OFFICER, nullptr, 3);
  EXPECT_THAT(log.Entries(),
              ElementsAre(LogEntry{kLogError, "DataStore.cc", "StoreStringData, NULL String"}));
}

TEST_F(Identity, AnUnknownTextIsIgnoredSilently) {
  store.SetViewMode(kViewItems);
  EXPECT_EQ(Printed([&] { store.StoreStringData(TAG_MAC, "x", 1); }), "");
  EXPECT_THAT(log.Entries(), IsEmpty());
}

TEST_F(Identity, StringTableHasItsNineRows) {
  const Bytes tags = B("20 05 07 06 11 F1 08 10 04");
  for (int id = 0; id < 9; ++id) {
    const StringRow* const row = FindStringRow(static_cast<e_Tag>(tags[static_cast<unsigned>(id)]));
    ASSERT_NE(row, nullptr) << id;
    EXPECT_EQ(static_cast<int>(row->id), id);
  }
  EXPECT_EQ(FindStringRow(TAG_VERSION), nullptr);
}

TEST_F(Identity, NothingIsPrintedOutsideTheViewer) {
  EXPECT_EQ(Printed([&] {
              Decode(B("05 01 41"));
              Decode(B("20 01 41"));
              Decode(B("02 00 01 02 03 04 05 06"));
              Decode(B("09 01 01 41"));
              store.ReportMac(kMac, true);
            }),
            "");
  EXPECT_EQ(Mirror().versions[1], "A");
}

}  // namespace
}  // namespace vmr::test
