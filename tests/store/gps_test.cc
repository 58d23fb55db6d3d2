// Positions as they are written: the 20-foot rule and the five items.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <limits>

#include "tests/support/reference_crc.h"
#include "tests/support/store_fixture.h"

namespace vmr::test {
namespace {

using namespace std::string_literals;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;

// A position in TTs: north and west positive.
struct Spot {
  int lat;
  int lon;
};

// 42 degrees 30.2500 minutes north, 83 degrees 10.7500 minutes west.
constexpr Spot kHome = {(42 * 60 + 30) * 10000 + 2500, (83 * 60 + 10) * 10000 + 7500};

GpsStatusItem FixAt(Spot at) {
  GpsStatusItem fix;
  const int lat = std::abs(at.lat);
  const int lon = std::abs(at.lon);
  fix.latitude_degrees = static_cast<std::uint16_t>(lat / 600000);
  fix.latitude_minutes = static_cast<std::uint16_t>(lat / 10000 % 60);
  fix.latitude_fraction = lat % 10000;
  fix.latitude_is_north = at.lat >= 0 ? 1 : 0;
  fix.longitude_degrees = static_cast<std::uint16_t>(lon / 600000);
  fix.longitude_minutes = static_cast<std::uint16_t>(lon / 10000 % 60);
  fix.longitude_fraction = lon % 10000;
  fix.longitude_is_east = at.lon >= 0 ? 0 : 1;
  return fix;
}

// Worked out apart from the library and by another formula: the haversine is
// exact where the law of cosines loses its digits. In long double also because
// QEMU 7 refuses an instruction in the double functions of the unit's libm.
long double HaversineFeet(Spot from, Spot to) {
  const long double radians_per_tt = 3.14159265358979323846264338327950288L / 108000000;
  const long double sine_lat = std::sin((to.lat - from.lat) * radians_per_tt / 2);
  const long double sine_lon = std::sin((to.lon - from.lon) * radians_per_tt / 2);
  const long double h = sine_lat * sine_lat + std::cos(from.lat * radians_per_tt) *
                                                  std::cos(to.lat * radians_per_tt) * sine_lon *
                                                  sine_lon;
  return 2 * 20905231.0L * std::asin(std::sqrt(h));
}

class Gps : public StoreTest {
 protected:
  void Report(Spot at, unsigned int tick = 0, bool write = true) {
    store.ReportGps(FixAt(at), tick, write);
  }

  // What is written for `to` when `from` was the last written position.
  Bytes WrittenForMove(Spot from, Spot to) {
    RecordingStore fresh;
    fresh.ReportGps(FixAt(from), 0, true);
    fresh.WriteBuffers();
    fresh.ReportGps(FixAt(to), 0, true);
    return fresh.FlushedItems();
  }

  void HoldPosition(Spot at) {
    Report(at);
    Items();
    log.Clear();
  }

  Spot Held() const {
    const GpsMirror& gps = store.Mirror().gps;
    return {DataStore::LocToTTs(gps.gpsLat), DataStore::LocToTTs(gps.gpsLon)};
  }
};

void ExpectLocation(const Location_t& at, char hemisphere, int degrees, int minutes, int fraction) {
  EXPECT_EQ(at.hemisphere, hemisphere);
  EXPECT_EQ(at.degrees, degrees);
  EXPECT_EQ(static_cast<std::int16_t>(at.minutes), minutes);
  EXPECT_EQ(at.fraction, fraction);
}

bool operator==(Spot a, Spot b) { return a.lat == b.lat && a.lon == b.lon; }
void PrintTo(Spot at, std::ostream* os) { *os << at.lat << "," << at.lon; }

// ---- Absolute positions ------------------------------------------------------

TEST_F(Gps, FirstFixIsATenByteAbsoluteItemEvenIfTheVehicleHasNotMoved) {
  Report({0, 0});
  EXPECT_EQ(Items(), B("91 01 00 00 00 00 00 00 00 00"));
}

TEST_F(Gps, AbsoluteItemIsWrittenToTheLastByte) {
  Report(kHome);
  EXPECT_EQ(Items(), B("91 01 2A 1E C4 09 53 0A 4C 1D"));
  ExpectLocation(store.Mirror().gps.gpsLat, 'N', 42, 30, 2500);
  ExpectLocation(store.Mirror().gps.gpsLon, 'W', 83, 10, 7500);
}

TEST_F(Gps, QuadrantsTellHemispheresApart) {
  const Spot quadrants[] = {
      {kHome.lat, -kHome.lon}, kHome, {-kHome.lat, -kHome.lon}, {-kHome.lat, kHome.lon}};
  for (unsigned char quadrant = 0; quadrant < 4; ++quadrant) {
    RecordingStore fresh;
    fresh.ReportGps(FixAt(quadrants[quadrant]), 0, true);
    EXPECT_EQ(fresh.FlushedItems(), B("91") + Bytes{quadrant} + B("2A 1E C4 09 53 0A 4C 1D"));
  }
}

TEST_F(Gps, AnythingButOneIsSouthOrWest) {
  GpsStatusItem fix = FixAt(kHome);
  fix.latitude_is_north = 2;
  fix.longitude_is_east = -1;
  store.ReportGps(fix, 0, true);
  EXPECT_EQ(store.Mirror().gps.gpsLat.hemisphere, 'S');
  EXPECT_EQ(store.Mirror().gps.gpsLon.hemisphere, 'W');
  EXPECT_EQ(Items()[1], 3);
}

TEST_F(Gps, OtherHemisphereBytesCountAsNotNorthAndNotWest) {
  Location_t at;
  store.WriteLongGps(at, at, 0);
  EXPECT_EQ(Items(), B("91 02 00 00 00 00 00 00 00 00"));
}

TEST_F(Gps, NumbersBeyondTheirFieldsKeepTheirLowBits) {
  GpsStatusItem fix;
  fix.latitude_degrees = 0x12C;
  fix.latitude_minutes = 0x1FE;
  fix.latitude_fraction = 0x11170;
  fix.longitude_degrees = 0xFFB4;
  fix.longitude_minutes = 0x13B;
  fix.longitude_fraction = -1;
  store.ReportGps(fix, 0, true);
  EXPECT_EQ(Items(), B("91 03 2C FE 70 11 B4 3B FF FF"));
}

// ---- Deltas ------------------------------------------------------------------

TEST_F(Gps, Delta8ItemIsWrittenToTheLastByte) {
  store.WriteDeltaGps8(-2, 127, 0);
  EXPECT_EQ(Items(), B("92 FE 7F"));
}

TEST_F(Gps, Delta16ItemIsWrittenToTheLastByte) {
  store.WriteDeltaGps16(-2, 0x1234, 0);
  EXPECT_EQ(Items(), B("93 FE FF 34 12"));
}

TEST_F(Gps, NorthAndWestMovesArePositive) {
  EXPECT_EQ(WrittenForMove(kHome, {kHome.lat + 100, kHome.lon + 90}), B("92 64 5A"));
  EXPECT_EQ(WrittenForMove(kHome, {kHome.lat - 100, kHome.lon - 90}), B("92 9C A6"));
  const Spot munich = {(48 * 60 + 8) * 10000, -(11 * 60 + 34) * 10000};
  EXPECT_EQ(WrittenForMove(munich, {munich.lat, munich.lon - 100}), B("92 00 9C"))
      << "east longitudes are negative";
}

TEST_F(Gps, DeltasOf127AndMinus127AreRel8) {
  EXPECT_EQ(WrittenForMove(kHome, {kHome.lat + 127, kHome.lon - 127}), B("92 7F 81"));
  EXPECT_EQ(WrittenForMove(kHome, {kHome.lat - 127, kHome.lon + 127}), B("92 81 7F"));
}

TEST_F(Gps, DeltasOf128AndMinus128AreRel16) {
  EXPECT_EQ(WrittenForMove(kHome, {kHome.lat + 128, kHome.lon}), B("93 80 00 00 00"));
  EXPECT_EQ(WrittenForMove(kHome, {kHome.lat, kHome.lon + 128}), B("93 00 00 80 00"));
  EXPECT_EQ(WrittenForMove(kHome, {kHome.lat - 128, kHome.lon}), B("93 80 FF 00 00"));
  EXPECT_EQ(WrittenForMove(kHome, {kHome.lat, kHome.lon - 128}), B("93 00 00 80 FF"));
}

TEST_F(Gps, DeltasOf32767AndMinus32767AreTheLastRel16) {
  EXPECT_EQ(WrittenForMove(kHome, {kHome.lat + 32767, kHome.lon - 32767}), B("93 FF 7F 01 80"));
  EXPECT_EQ(WrittenForMove(kHome, {kHome.lat - 32767, kHome.lon + 32767}), B("93 01 80 FF 7F"));
}

TEST_F(Gps, Minus32768AndBeyondAreAbsolute) {
  for (const Spot step : {Spot{-32768, 0}, {0, -32768}, {32768, 0}, {0, 32768}, {99999, 99999}})
    EXPECT_EQ(WrittenForMove(kHome, {kHome.lat + step.lat, kHome.lon + step.lon})[0], 0x91);
  EXPECT_EQ(WrittenForMove({600000, 0}, {600000 - 32768, 0}), B("91 01 00 38 40 1C 00 00 00 00"));
}

TEST_F(Gps, ACrossingOfTheEquatorIsADeltaLikeAnyOther) {
  EXPECT_EQ(WrittenForMove({60, 60}, {-61, -62}), B("92 87 86"));
}

// ---- The 20-foot rule --------------------------------------------------------

TEST_F(Gps, TheSameFixTwiceWritesNothingAndComputesNothing) {
  HoldPosition(kHome);
  Report(kHome);
  EXPECT_THAT(Items(), IsEmpty());
  EXPECT_THAT(log.Texts(kLogInfo), IsEmpty());
}

TEST_F(Gps, AFixThatDiffersOnlyInDegreesWritesNothing) {
  HoldPosition(kHome);
  Report({kHome.lat + 600000, kHome.lon - 1200000});
  EXPECT_THAT(Items(), IsEmpty());
  EXPECT_EQ(Held(), kHome);
}

TEST_F(Gps, AFixThatDiffersOnlyInHemisphereWritesNothing) {
  HoldPosition(kHome);
  Report({-kHome.lat, -kHome.lon});
  EXPECT_THAT(Items(), IsEmpty());
  EXPECT_EQ(Held(), kHome);
}

TEST_F(Gps, AMoveJustUnderTwentyFeetWritesNothingAndKeepsTheOldPosition) {
  const Spot moved = {kHome.lat + 32, kHome.lon};
  ASSERT_LT(HaversineFeet(kHome, moved), 20.0L);
  HoldPosition(kHome);
  Report(moved);
  EXPECT_THAT(Items(), IsEmpty());
  EXPECT_EQ(Held(), kHome);
}

TEST_F(Gps, AMoveJustOverTwentyFeetIsWritten) {
  const Spot moved = {kHome.lat + 33, kHome.lon};
  ASSERT_GT(HaversineFeet(kHome, moved), 20.0L);
  HoldPosition(kHome);
  Report(moved);
  EXPECT_EQ(Items(), B("92 21 00"));
  EXPECT_EQ(Held(), moved);
}

TEST_F(Gps, TheLimitHoldsInEveryDirectionAndAtEveryLatitude) {
  for (const int lat : {-500000, 0, 12000000, kHome.lat, 36000000, 45000000})
    for (int step = 1; step < 200; ++step)
      for (const Spot way : {Spot{step, 0}, {-step, 0}, {0, step}, {0, -step}, {step, -step}}) {
        const Spot from = {lat, kHome.lon};
        const Spot to = {from.lat + way.lat, from.lon + way.lon};
        const bool far_enough = HaversineFeet(from, to) > 20.0L;
        ASSERT_EQ(!WrittenForMove(from, to).empty(), far_enough)
            << lat << " " << way.lat << "," << way.lon;
      }
}

// Of a move whose distance nobody wants logged it may be plain without computing it.
TEST_F(Gps, TheLimitIsTheSameWhenTheDistanceIsNotLogged) {
  const CapturedLog errors_only(kLogError);
  for (const int lat : {-53500000, -500000, 0, 12000000, kHome.lat, 36000000, 45000000})
    for (int step = 1; step < 120; ++step)
      for (const Spot way : {Spot{step, 0}, {-step, 0}, {0, step}, {0, -step}, {-step, step}}) {
        const Spot from = {lat, kHome.lon};
        const Spot to = {from.lat + way.lat, from.lon + way.lon};
        const bool far_enough = HaversineFeet(from, to) > 20.0L;
        ASSERT_EQ(!WrittenForMove(from, to).empty(), far_enough)
            << lat << " " << way.lat << "," << way.lon;
      }
}

TEST_F(Gps, SlowDriftFromEachWrittenPositionCountsWhenTheDistanceIsNotLogged) {
  const CapturedLog errors_only(kLogError);
  HoldPosition(kHome);
  int written = 0;
  for (int drift = 1; drift <= 330; ++drift) {
    Report({kHome.lat + drift, kHome.lon});
    if (!Items().empty()) ++written;
  }
  EXPECT_EQ(written, 10) << "every 33 ten-thousandths of a minute";
  EXPECT_EQ(Held(), (Spot{kHome.lat + 330, kHome.lon}));
}

// The position that was decoded counts, not the one that was written before.
TEST_F(Gps, ADecodedPositionIsTheOneThatTheNextFixMovesFrom) {
  const CapturedLog errors_only(kLogError);
  HoldPosition(kHome);
  Decode(B("91 01 2A 1E 28 0A 53 0A 4C 1D"));  // 100 ten-thousandths north of it
  Report(kHome);
  EXPECT_EQ(Items(), B("92 9C 00"));
  Decode(B("92 64 00"));
  Report({kHome.lat + 100, kHome.lon + 5});
  EXPECT_THAT(Items(), IsEmpty());
}

// The northernmost latitude from which `move` is more than 20 feet.
int LastLatitudeOver20Feet(Spot move) {
  int over = 0, under = 89 * 600000;
  while (under - over > 1) {
    const int middle = (over + under) / 2;
    const bool is_over = HaversineFeet({middle, 0}, {middle + move.lat, move.lon}) > 20.0L;
    (is_over ? over : under) = middle;
  }
  return over;
}

// No pair of recordable positions is 20 feet apart to the last bit. This walks
// to where a move changes from more than 20 feet to less, less than 0.0000007
// feet at a time, and looks at the steps on either side. The law of cosines
// alone gets one in twenty of them wrong with a long double of 64 bits.
TEST_F(Gps, TheLimitIsTwentyFeetToTheNextRecordablePosition) {
  constexpr int kSteps = 6;
  for (int lat = -30; lat <= 30; lat += 5)
    for (int lon = 40; lon <= 600; lon += 80) {
      const int over = LastLatitudeOver20Feet({lat, lon});
      ASSERT_NEAR(static_cast<double>(HaversineFeet({over, 0}, {over + lat, lon})), 20.0, 1e-5);
      for (int from = over - kSteps; from <= over + 1 + kSteps; ++from)
        ASSERT_EQ(!WrittenForMove({from, 0}, {from + lat, lon}).empty(), from <= over)
            << "from " << from << " by " << lat << "," << lon;
    }
}

TEST_F(Gps, SlowDriftAccumulatesUntilItExceedsTwentyFeet) {
  HoldPosition(kHome);
  for (const int drift : {10, 20, 30}) {
    Report({kHome.lat + drift, kHome.lon});
    EXPECT_THAT(Items(), IsEmpty()) << drift;
  }
  Report({kHome.lat + 40, kHome.lon});
  EXPECT_EQ(Items(), B("92 28 00"));
}

TEST_F(Gps, TheDistanceIsLoggedAtLevel32) {
  HoldPosition({0, 0});
  Report({10000, -10000});
  EXPECT_THAT(log.Texts(kLogInfo),
              ElementsAre("distance from 0,0 to 0.000290888,-0.000290888 is 8599.95"));
}

// This text is the one place where the length of the machine's long double
// shows: of a short way the law of cosines has the last of six digits wrong with
// 64 bits, as on a PC, and right (6.081085...) with 106, as on the unit.
TEST_F(Gps, TheDistanceIsLoggedForAMoveThatIsNotWritten) {
  HoldPosition({0, 0});
  Report({10, 0});
  const std::string distance_ft =
      std::numeric_limits<long double>::digits > 64 ? "6.08109" : "6.08108";
  EXPECT_THAT(log.Texts(kLogInfo),
              ElementsAre("distance from 0,0 to 2.90888e-07,0 is " + distance_ft));
}

TEST_F(Gps, TheDistanceTextIsNotBuiltWithItsLevelOff) {
  HoldPosition({0, 0});
  const CapturedLog without_information(0xFF & ~kLogInfo);
  Report({10000, 0});
  EXPECT_THAT(without_information.Texts(kLogInfo), IsEmpty());
}

// The same place told as ...5.10000 and ...6.0000 minutes: the fields differ,
// the angles do not, and rounding can carry the cosine above 1.
TEST_F(Gps, ADistanceThatIsNotANumberWritesNothing) {
  const auto cosine_beyond_one = [](int lat) {
    const auto t = static_cast<long double>(lat);
    const long double a = (t + t) * 3.14159265358979323846264338327950288L / 216000000.0L;
    return std::sin(a) * std::sin(a) + std::cos(a) * std::cos(a) * std::cos(0.0L) > 1.0L;
  };
  int found = 0;
  for (int lat = 10000; lat < 54000000 && found < 5; lat += 10000) {
    if (!cosine_beyond_one(lat)) continue;
    ++found;
    GpsStatusItem same_place = FixAt({lat - 10000, 0});
    same_place.latitude_fraction = 10000;
    RecordingStore fresh;
    fresh.ReportGps(FixAt({lat, 0}), 0, true);
    fresh.WriteBuffers();
    log.Clear();
    fresh.ReportGps(same_place, 0, true);
    EXPECT_THAT(fresh.FlushedItems(), IsEmpty());
    ASSERT_EQ(log.Texts(kLogInfo).size(), 1u);
    EXPECT_THAT(log.Texts(kLogInfo)[0], EndsWith("nan"));
    EXPECT_EQ(fresh.Mirror().gps.gpsLat.fraction, 0) << "the mirror keeps the old spelling";
  }
  EXPECT_EQ(found, 5) << "too few positions round that way here";
}

TEST_F(Gps, PositionItemsCarryTheTickAndSlackOne) {
  Report(kHome, 77);
  EXPECT_TRUE(Logged(kLogEachItem, "AddToCurrPacket, newTick 77 lastSlackSt = 0"));
  EXPECT_THAT(Added(), ElementsAre("Add to Current packet size (10), newSlack (1)"));
  Report({kHome.lat + 100, kHome.lon}, 78);
  EXPECT_TRUE(Logged(kLogEachItem, "AddToCurrPacket, newTick 78 lastSlackSt = 0"));
  EXPECT_THAT(Added(), ElementsAre("Add to Current packet size (3), newSlack (1)"));
  Report({kHome.lat + 1000, kHome.lon}, 79);
  EXPECT_TRUE(Logged(kLogEachItem, "AddToCurrPacket, newTick 79 lastSlackSt = 0"));
  EXPECT_THAT(Added(), ElementsAre("Add to Current packet size (5), newSlack (1)"));
}

TEST_F(Gps, WithoutWriteTheMirrorMovesAndNothingIsWritten) {
  Report(kHome, 0, false);
  EXPECT_TRUE(store.Mirror().gps.gpsLocationSet);
  EXPECT_EQ(Held(), kHome);
  const Spot next = {kHome.lat + 1, kHome.lon};
  Report(next, 0, false);
  EXPECT_EQ(Held(), next) << "even by less than 20 feet";
  EXPECT_THAT(Items(), IsEmpty());
}

// ---- State and description ---------------------------------------------------

TEST_F(Gps, StateItemIsWrittenToTheLastByteWithSlackOne) {
  store.WriteGpsState(true);
  store.WriteGpsState(false);
  EXPECT_THAT(Added(), testing::Each("Add to Current packet size (2), newSlack (1)"));
  EXPECT_EQ(Items(), B("94 01 94 00"));
}

TEST_F(Gps, OnlyChangesOfTheStateAreWritten) {
  store.ReportGpsState(false, true);
  EXPECT_THAT(Items(), IsEmpty()) << "unavailable is where it starts";
  store.ReportGpsState(true, true);
  store.ReportGpsState(true, true);
  EXPECT_EQ(Items(), B("94 01"));
  store.ReportGpsState(false, true);
  EXPECT_EQ(Items(), B("94 00"));
}

TEST_F(Gps, WithoutWriteTheStateOnlyMovesTheMirror) {
  store.ReportGpsState(true, false);
  EXPECT_TRUE(store.Mirror().gps.gpsAvailable);
  EXPECT_THAT(Items(), IsEmpty());
}

TEST_F(Gps, LossOfGpsAfterAFixMakesTheNextFixAbsolute) {
  store.ReportGpsState(true, true);
  HoldPosition(kHome);
  store.ReportGpsState(false, true);
  EXPECT_FALSE(store.Mirror().gps.gpsLocationSet);
  Items();
  Report({kHome.lat + 100, kHome.lon});
  EXPECT_EQ(Items()[0], 0x91);
}

TEST_F(Gps, ALossThatIsNoChangeKeepsThePosition) {
  HoldPosition(kHome);
  store.ReportGpsState(false, true);
  EXPECT_TRUE(store.Mirror().gps.gpsLocationSet);
  Report({kHome.lat + 100, kHome.lon});
  EXPECT_EQ(Items(), B("92 64 00"));
}

TEST_F(Gps, StateIsShownWhetherItChangedOrNot) {
  EXPECT_EQ(View(B("94 00")), "[Tag=GpsState, TagNo=0x94, State=0-unavailable]");
  EXPECT_EQ(View(B("94 01")), "[Tag=GpsState, TagNo=0x94, State=1-available]");
  EXPECT_EQ(View(B("94 01")), "[Tag=GpsState, TagNo=0x94, State=1-available]");
  EXPECT_EQ(View(B("94 02")), "[Tag=GpsState, TagNo=0x94, State=0-unavailable]");
  EXPECT_THAT(Items(), IsEmpty()) << "decoding records nothing";
}

TEST_F(Gps, StateIsNotPrintedOutsideTheViewer) {
  EXPECT_EQ(Printed([&] {
              Decode(B("94 01"));
              Decode(B("94 01"));
            }),
            "");
  EXPECT_TRUE(store.Mirror().gps.gpsAvailable);
}

TEST_F(Gps, TheInternalReceiverIsConfiguredOnce) {
  store.CheckGpsConfig(true);
  EXPECT_THAT(log.Texts(kLogInfo), ElementsAre("InitializeGpsInt desc=InternalGps"));
  EXPECT_THAT(Added(), ElementsAre("Add to Current packet size (14), newSlack (4)",
                                   "Add to Current packet size (2), newSlack (1)"));
  EXPECT_EQ(Items(), B("90 01 0B 49 6E 74 65 72 6E 61 6C 47 70 73 94 01"));
  store.CheckGpsConfig(true);
  EXPECT_THAT(Items(), IsEmpty());
}

TEST_F(Gps, ConfigurationWithoutWriteOnlyMovesTheMirror) {
  store.CheckGpsConfig(false);
  EXPECT_TRUE(store.Mirror().gps.gpsConfigured);
  EXPECT_TRUE(store.Mirror().gps.gpsAvailable);
  EXPECT_EQ(store.Mirror().gps.gpsDesc.desc, "InternalGps");
  EXPECT_THAT(Items(), IsEmpty());
}

TEST_F(Gps, ADescriptionIsFollowedByTheStateAsItIs) {
  store.InitializeGpsInt("x", true);
  EXPECT_EQ(Items(), B("90 01 01 78 94 00"));
}

TEST_F(Gps, ANullDescriptionCountsAsEmpty) {
  store.InitializeGpsInt(nullptr, true);
  EXPECT_EQ(Items(), B("90 01 00 94 00"));
  EXPECT_EQ(store.Mirror().gps.gpsDesc.desc, "");
  EXPECT_THAT(log.Texts(kLogInfo), ElementsAre("InitializeGpsInt desc="));
}

TEST_F(Gps, TheLongestDescriptionThatFitsAPacketHas252Characters) {
  store.WriteGpsDesc({std::string(252, 'd')});
  EXPECT_EQ(Items(), B("90 01 FC") + Bytes(252, 'd'));
  store.WriteGpsDesc({std::string(253, 'd')});
  EXPECT_THAT(Items(), IsEmpty());
  EXPECT_TRUE(Logged(kLogError, "***************** Dropped 256 data bytes ********************"));
}

TEST_F(Gps, AnOverlongDescriptionIsCutAt255CharactersAndDropped) {
  store.WriteGpsDesc({std::string(1000, 'd')});
  EXPECT_THAT(Items(), IsEmpty());
  EXPECT_TRUE(Logged(kLogError, "***************** Dropped 258 data bytes ********************"));
}

TEST_F(Gps, ADecodedDescriptionConfiguresTheReceiver) {
  EXPECT_EQ(View(B("90 01 03 61 62 63")), "[Tag=GpsDesc, TagNo=0x90, Desc='abc']");
  EXPECT_TRUE(store.Mirror().gps.gpsConfigured);
  EXPECT_EQ(store.Mirror().gps.gpsDesc.desc, "abc");
  store.CheckGpsConfig(true);
  EXPECT_THAT(Items(), IsEmpty());
}

TEST_F(Gps, ADecodedDescriptionEndsAtANulAndIsFilledUpWithNuls) {
  EXPECT_EQ(View(B("90 01 04 41 00 42 43")), "[Tag=GpsDesc, TagNo=0x90, Desc='A\0\0\0']"s);
  EXPECT_EQ(store.Mirror().gps.gpsDesc.desc, "A\0\0\0"s);
}

TEST_F(Gps, AnEmptyDescriptionIsDecoded) {
  EXPECT_EQ(View(B("90 01 00")), "[Tag=GpsDesc, TagNo=0x90, Desc='']");
}

}  // namespace
}  // namespace vmr::test
