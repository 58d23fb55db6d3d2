// Wall-clock time, temperatures and supply voltage.
#include <gtest/gtest.h>
#include <time.h>

#include <limits>

#include "tests/support/store_fixture.h"

// Local time in this program is UTC whatever the machine's zone, and can be
// made to fail: the C library never does for the times that a recording holds.
namespace {
bool local_time_fails = false;
}

extern "C" struct tm* localtime_r(const time_t* seconds, struct tm* result) noexcept {
  return local_time_fails ? nullptr : gmtime_r(seconds, result);
}

namespace vmr::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// ---- Time --------------------------------------------------------------------

class Time : public StoreTest {
 protected:
  ~Time() override { local_time_fails = false; }
};

TEST_F(Time, ItemIsWrittenLeastSignificantByteFirstWithSlackOne) {
  store.WriteTime(0x499602D2);
  EXPECT_THAT(Added(), ElementsAre("Add to Current packet size (5), newSlack (1)"));
  EXPECT_EQ(Items(), B("03 D2 02 96 49"));
}

TEST_F(Time, NegativeAndOverlongTimesAreWrittenByTheirLow32Bits) {
  store.WriteTime(-2);
  EXPECT_EQ(Items(), B("03 FE FF FF FF"));
  store.WriteTime(static_cast<long>(0x89ABCDEFu));
  EXPECT_EQ(Items(), B("03 EF CD AB 89"));
}

TEST_F(Time, ItemIsReadMostSignificantByteFirstAndSwapped) {
  // What a reader makes of the bytes D2 02 96 49, and what the store does.
  store.StoreTime(static_cast<int>(0xD2029649u), TAG_TIME);
  EXPECT_EQ(store.Mirror().time.base_time, 0x499602D2);
}

TEST_F(Time, DecodingAnchorsTheTimeAtThePacketsTick) {
  store.InitCurrentSystemTick(5000);
  Decode(B("03 D2 02 96 49"));
  EXPECT_EQ(store.Mirror().time.base_time, 1234567890);
  EXPECT_EQ(store.Mirror().time.base_tick, 5000u);
  EXPECT_EQ(store.Mirror().time.time_check_tick, 5000u);
  store.InitCurrentSystemTick(5020);
  EXPECT_EQ(store.GetAdjustedTime(), 1234567900);
  EXPECT_THAT(Items(), IsEmpty());
}

TEST_F(Time, IsShownAsLocalTime) {
  EXPECT_EQ(View(B("03 D2 02 96 49")),
            "[Tag=time, TagNo=0x03, time 1234567890 (02/13/2009 23:31:30)]");
  EXPECT_EQ(View(B("03 00 00 00 00")), "[Tag=time, TagNo=0x03, time 0 (01/01/1970 00:00:00)]");
  EXPECT_EQ(View(B("03 FF FF FF 7F")),
            "[Tag=time, TagNo=0x03, time 2147483647 (01/19/2038 03:14:07)]");
}

TEST_F(Time, ShowsTheTagThatItWasGiven) {
  store.SetViewMode(kViewItems);
  EXPECT_EQ(Printed([&] { store.StoreTime(0, static_cast<e_Tag>(0x0A)); }),
            "[Tag=time, TagNo=0x0A, time 0 (01/01/1970 00:00:00)]");
}

TEST_F(Time, WithoutALocalTimeTheViewerSaysSo) {
  local_time_fails = true;
  EXPECT_EQ(View(B("03 D2 02 96 49")),
            "[Tag=time, TagNo=0x03, time 1234567890 (locatime returned NULL)]");
  EXPECT_EQ(store.Mirror().time.base_time, 1234567890) << "kept all the same";
}

TEST_F(Time, ATimeWithTheSignBitSetIsRejected) {
  store.InitCurrentSystemTick(5000);
  Decode(B("03 D2 02 96 49"));
  store.InitCurrentSystemTick(6000);
  EXPECT_EQ(View(B("03 00 00 00 80")), "");
  EXPECT_EQ(View(B("03 FF FF FF FF")), "");
  EXPECT_THAT(log.Texts(kLogError), ElementsAre("Invalid Time - -2147483648", "Invalid Time - -1"));
  EXPECT_EQ(store.Mirror().time.base_time, 1234567890);
  EXPECT_EQ(store.Mirror().time.base_tick, 5000u);
}

TEST_F(Time, IsNotPrintedOutsideTheViewer) {
  EXPECT_EQ(Printed([&] { Decode(B("03 D2 02 96 49")); }), "");
}

// ---- Temperature -------------------------------------------------------------

class Temperature : public StoreTest {
 protected:
  void Report(int degrees, e_TempSensors id = TEMP_SENSOR_INLET, bool write = true) {
    store.ReportTemp(id, static_cast<short>(degrees), write, 0);
  }
  int Held(int id = 0) const { return store.Mirror().temperature.sensors[id].temperature; }
};

constexpr auto kNoSensor = static_cast<e_TempSensors>(4);

TEST_F(Temperature, ItemsOfAllSensorsAreWrittenToTheLastByte) {
  Report(20, TEMP_SENSOR_INLET);
  Report(21, TEMP_SENSOR_OUTLET);
  Report(-40, TEMP_SENSOR_POWER);
  Report(127, TEMP_SENSOR_CPU);
  EXPECT_EQ(Items(), B("E1 14 E2 15 E3 D8 E4 7F"));
}

TEST_F(Temperature, ItemsCarryTheTickAndSlackFour) {
  store.ReportTemp(TEMP_SENSOR_CPU, 60, true, 99);
  EXPECT_TRUE(Logged(kLogEachItem, "AddToCurrPacket, newTick 99 lastSlackSt = 0"));
  EXPECT_THAT(Added(), ElementsAre("Add to Current packet size (2), newSlack (4)"));
}

TEST_F(Temperature, TheFirstTemperatureIsAlwaysWritten) {
  Report(0);
  EXPECT_EQ(Items(), B("E1 00"));
  EXPECT_TRUE(store.Mirror().temperature.sensors[0].valid);
}

TEST_F(Temperature, AChangeOfTwoDegreesIsNotWrittenAChangeOfThreeIs) {
  Report(20);
  Items();
  for (const int degrees : {20, 21, 22, 19, 18}) {
    Report(degrees);
    EXPECT_THAT(Items(), IsEmpty()) << degrees;
  }
  Report(23);
  EXPECT_EQ(Items(), B("E1 17"));
  Report(20);
  EXPECT_EQ(Items(), B("E1 14"));
}

TEST_F(Temperature, SlowDriftIsWrittenOnceItReachesThreeDegrees) {
  Report(20);
  Items();
  Report(21);
  Report(22);
  EXPECT_EQ(Held(), 20) << "the stored value stays where it was";
  EXPECT_THAT(Items(), IsEmpty());
  Report(23);
  EXPECT_EQ(Items(), B("E1 17"));
}

TEST_F(Temperature, SensorsAreComparedEachWithItself) {
  Report(20, TEMP_SENSOR_INLET);
  Report(20, TEMP_SENSOR_OUTLET);
  EXPECT_EQ(Items(), B("E1 14 E2 14"));
}

TEST_F(Temperature, TheWidestChangeIsAChange) {
  Report(std::numeric_limits<short>::min());
  Report(std::numeric_limits<short>::max());
  EXPECT_EQ(Items(), B("E1 00 E1 FF"));
}

TEST_F(Temperature, TwoHundredIsWrittenAsItsByteAndDecodedAsMinus56) {
  Report(200);
  const Bytes item = Items();
  EXPECT_EQ(item, B("E1 C8"));
  EXPECT_EQ(Held(), 200);
  EXPECT_EQ(View(item), "[Tag=Temp, TagNo=0xE1, Id=0, temp=-56]");
  EXPECT_EQ(Held(), -56);
}

TEST_F(Temperature, WithoutWriteOnlyTheMirrorMoves) {
  Report(20, TEMP_SENSOR_POWER, false);
  EXPECT_EQ(Held(2), 20);
  EXPECT_THAT(Items(), IsEmpty());
}

TEST_F(Temperature, SensorsBeyondTheFourthAreLoggedAndIgnored) {
  store.ReportTemp(kNoSensor, 20, true, 0);
  store.ReportTemp(static_cast<e_TempSensors>(255), 20, true, 0);
  EXPECT_THAT(log.Entries(),
              ElementsAre(LogEntry{kLogError, "DataStore.cc", "Invalid sensor 4"},
                          LogEntry{kLogError, "DataStore.cc", "Invalid sensor 255"}));
  EXPECT_THAT(Items(), IsEmpty());
}

TEST_F(Temperature, AnItemOfASensorBeyondTheFourthIsNotWritten) {
  store.WriteTemp(kNoSensor, TempInfo_t{}, 4, 0);
  EXPECT_THAT(Items(), IsEmpty()) << "its tag would be no temperature's";
  EXPECT_TRUE(Logged(kLogError, "Invalid sensor 4"));
}

TEST_F(Temperature, WriteTempUsesTheSlackItIsGiven) {
  store.WriteTemp(TEMP_SENSOR_CPU, TempInfo_t{"", true, 5}, 1, 0);
  EXPECT_THAT(Added(), ElementsAre("Add to Current packet size (2), newSlack (1)"));
  EXPECT_EQ(Items(), B("E4 05"));
}

TEST_F(Temperature, DecodedTemperaturesAreHeldAndShown) {
  EXPECT_EQ(View(B("E1 14")), "[Tag=Temp, TagNo=0xE1, Id=0, temp=20]");
  EXPECT_EQ(View(B("E2 00")), "[Tag=Temp, TagNo=0xE2, Id=1, temp=0]");
  EXPECT_EQ(View(B("E3 80")), "[Tag=Temp, TagNo=0xE3, Id=2, temp=-128]");
  EXPECT_EQ(View(B("E4 FF")), "[Tag=Temp, TagNo=0xE4, Id=3, temp=-1]");
  EXPECT_EQ(Held(2), -128);
  EXPECT_TRUE(store.Mirror().temperature.sensors[3].valid);
  EXPECT_THAT(Items(), IsEmpty());
}

TEST_F(Temperature, StoringUnderTag0xE5LogsTheInvalidIdAndChangesNothing) {
  store.SetViewMode(kViewItems);
  EXPECT_EQ(Printed([&] { store.StoreTemp(20, static_cast<e_Tag>(0xE5)); }), "");
  EXPECT_THAT(log.Entries(), ElementsAre(LogEntry{kLogError, "DataStore.cc",
                                                  "StoreTempInvalid Id of 4 : tag=229"}));
  for (const TempInfo_t& sensor : store.Mirror().temperature.sensors) EXPECT_FALSE(sensor.valid);
}

TEST_F(Temperature, StoringUnderASmallerTagLogsANegativeId) {
  store.StoreTemp(20, TAG_TEMP_DESC);
  EXPECT_TRUE(Logged(kLogError, "StoreTempInvalid Id of -1 : tag=224"));
}

TEST_F(Temperature, NothingIsPrintedOutsideTheViewer) {
  EXPECT_EQ(Printed([&] {
              Decode(B("E1 14"));
              Decode(B("E0 01 01 78"));
              Decode(B("D1 64"));
            }),
            "");
}

// ---- Descriptions ------------------------------------------------------------

TEST_F(Temperature, DescriptionItemIsWrittenToTheLastByteWithSlackFour) {
  store.InitializeTempSensor(TEMP_SENSOR_POWER, "ab", true);
  EXPECT_THAT(Added(), ElementsAre("Add to Current packet size (5), newSlack (4)"));
  EXPECT_EQ(Items(), B("E0 02 02 61 62"));
  EXPECT_EQ(store.Mirror().temperature.sensors[2].desc, "ab");
}

TEST_F(Temperature, SensorsAreDescribedFromTheCpuOn) {
  store.InitTempSensors(true);
  EXPECT_EQ(Items(), B("E0 03 03 63 70 75 "
                       "E0 00 05 69 6E 6C 65 74 "
                       "E0 01 06 6F 75 74 6C 65 74 "
                       "E0 02 05 70 6F 77 65 72"));
}

TEST_F(Temperature, DescribingWithoutWriteOnlyMovesTheMirror) {
  store.InitTempSensors(false);
  EXPECT_THAT(Items(), IsEmpty());
  const auto& sensors = store.Mirror().temperature.sensors;
  EXPECT_EQ(sensors[0].desc, "inlet");
  EXPECT_EQ(sensors[1].desc, "outlet");
  EXPECT_EQ(sensors[2].desc, "power");
  EXPECT_EQ(sensors[3].desc, "cpu");
  EXPECT_FALSE(sensors[3].valid) << "no temperature is held yet";
}

TEST_F(Temperature, DescriptionsOfUnknownSensorsAreLoggedAndIgnored) {
  store.InitializeTempSensor(kNoSensor, "x", true);
  EXPECT_THAT(log.Entries(),
              ElementsAre(LogEntry{kLogError, "DataStore.cc", "Invalid Temp Sensor 4"}));
  EXPECT_THAT(Items(), IsEmpty());
}

TEST_F(Temperature, ANullDescriptionCountsAsEmpty) {
  store.InitializeTempSensor(TEMP_SENSOR_INLET, nullptr, true);
  EXPECT_EQ(Items(), B("E0 00 00"));
  EXPECT_EQ(store.Mirror().temperature.sensors[0].desc, "");
}

TEST_F(Temperature, TheLongestDescriptionThatFitsAPacketHas252Characters) {
  store.InitializeTempSensor(TEMP_SENSOR_INLET, std::string(252, 'd').c_str(), true);
  EXPECT_EQ(Items(), B("E0 00 FC") + Bytes(252, 'd'));
  store.InitializeTempSensor(TEMP_SENSOR_INLET, std::string(300, 'd').c_str(), true);
  EXPECT_THAT(Items(), IsEmpty());
  EXPECT_TRUE(Logged(kLogError, "***************** Dropped 258 data bytes ********************"));
}

TEST_F(Temperature, DecodedDescriptionsAreHeldAndShown) {
  EXPECT_EQ(View(B("E0 03 03 63 70 75")), "[Tag=TempDesc, TagNo=0xE0, Id=3, desc='cpu']");
  EXPECT_EQ(store.Mirror().temperature.sensors[3].desc, "cpu");
  EXPECT_EQ(View(B("E0 00 00")), "[Tag=TempDesc, TagNo=0xE0, Id=0, desc='']");
  EXPECT_THAT(Items(), IsEmpty());
}

TEST_F(Temperature, ADecodedDescriptionEndsAtANul) {
  EXPECT_EQ(View(B("E0 01 04 41 00 42 43")), "[Tag=TempDesc, TagNo=0xE0, Id=1, desc='A']");
  EXPECT_EQ(store.Mirror().temperature.sensors[1].desc, "A");
}

TEST_F(Temperature, ADecodedDescriptionOfAnUnknownSensorIsLoggedAndIgnored) {
  EXPECT_EQ(View(B("E0 C8 01 78")), "");
  EXPECT_TRUE(Logged(kLogError, "Invalid Temp Sensor 200"));
}

// ---- Supply voltage ----------------------------------------------------------

class SupplyVoltage : public StoreTest {};

TEST_F(SupplyVoltage, IsShownWithoutATagNumber) {
  EXPECT_EQ(View(B("D1 64")), "[Tag=VoltPercent, VoltPercent=100]");
  EXPECT_EQ(View(B("D1 FF")), "[Tag=VoltPercent, VoltPercent=255]");
  EXPECT_THAT(Items(), IsEmpty());
}

}  // namespace
}  // namespace vmr::test
