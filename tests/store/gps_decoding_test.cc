// Positions as they are read back: TTs, the decoded items, and what the viewer
// prints.
#include <gtest/gtest.h>

#include "tests/support/store_fixture.h"

namespace vmr::test {
namespace {

using namespace std::string_literals;
using testing::HasSubstr;
using testing::IsEmpty;

// A position in TTs: north and west positive.
struct Spot {
  int lat;
  int lon;
};
bool operator==(Spot a, Spot b) { return a.lat == b.lat && a.lon == b.lon; }
void PrintTo(Spot at, std::ostream* os) { *os << at.lat << "," << at.lon; }

// 42 degrees 30.2500 minutes north, 83 degrees 10.7500 minutes west.
constexpr Spot kHome = {(42 * 60 + 30) * 10000 + 2500, (83 * 60 + 10) * 10000 + 7500};

class GpsDecoding : public StoreTest {
 protected:
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

// ---- TTs ---------------------------------------------------------------------

TEST_F(GpsDecoding, LocationsBecomeTTs) {
  EXPECT_EQ(DataStore::LocToTTs({'N', 42, 30, 2500}), 25502500);
  EXPECT_EQ(DataStore::LocToTTs({'W', 83, 10, 7500}), 49907500);
  EXPECT_EQ(DataStore::LocToTTs({'S', 42, 30, 2500}), -25502500);
  EXPECT_EQ(DataStore::LocToTTs({'E', 11, 34, 1}), -6940001);
  EXPECT_EQ(DataStore::LocToTTs({'W', 180, 0, 0}), 108000000);
}

TEST_F(GpsDecoding, OtherHemisphereBytesCountAsPositive) {
  for (const char hemisphere : {'\0', '\1', '\2', '\3', 'n', 's', 'e', '\xFF'})
    EXPECT_EQ(DataStore::LocToTTs({hemisphere, 1, 0, 0}), 600000);
}

TEST_F(GpsDecoding, MinutesOfALocationCountAsSigned) {
  EXPECT_EQ(DataStore::LocToTTs({'N', 0, 0xFFFF, 0}), -10000);
  EXPECT_EQ(DataStore::LocToTTs({'N', 0, 0x8000, 0}), -327680000);
  EXPECT_EQ(DataStore::LocToTTs({'N', 0, 0x7FFF, 0}), 327670000);
}

TEST_F(GpsDecoding, TTsAreCutTo32BitsAtTheEnd) {
  EXPECT_EQ(DataStore::LocToTTs({'N', 0x7FFFFFFF, 0, 0}), -600000);
  EXPECT_EQ(DataStore::LocToTTs({'S', 0x7FFFFFFF, 0, 0}), 600000);
  EXPECT_EQ(DataStore::LocToTTs({'N', 0, 0, 0x7FFFFFFF}), 0x7FFFFFFF);
  EXPECT_EQ(DataStore::LocToTTs({'N', 0, 1, 0x7FFFFFFF}),
            static_cast<std::int32_t>(0x7FFFFFFFu + 10000u));
}

TEST_F(GpsDecoding, TTsBecomeLocations) {
  Location_t at;
  DataStore::TTsToLoc(at, 25502500, true);
  ExpectLocation(at, 'N', 42, 30, 2500);
  DataStore::TTsToLoc(at, 49907500, false);
  ExpectLocation(at, 'W', 83, 10, 7500);
  DataStore::TTsToLoc(at, 0, true);
  ExpectLocation(at, 'N', 0, 0, 0);
  DataStore::TTsToLoc(at, 0, false);
  ExpectLocation(at, 'W', 0, 0, 0);
}

TEST_F(GpsDecoding, NegativeTTsBecomeNegativeNumbersBesideSouthAndEast) {
  Location_t at;
  DataStore::TTsToLoc(at, -25502500, true);
  ExpectLocation(at, 'S', -42, -30, -2500);
  DataStore::TTsToLoc(at, -1, false);
  ExpectLocation(at, 'E', 0, 0, -1);
}

TEST_F(GpsDecoding, ANegativeLocationTurnsPositiveWhenCountedAgain) {
  Location_t at;
  DataStore::TTsToLoc(at, -25502500, true);
  EXPECT_EQ(DataStore::LocToTTs(at), 25502500);
}

// ---- Decoding positions ------------------------------------------------------

// The rest of an absolute item at 42 30.2500, 83 10.7500.
const Bytes kHomeFields = B("2A 1E C4 09 53 0A 4C 1D");

std::string AbsoluteLine(const std::string& quadrant, char lat, char lon) {
  return "[Tag=GpsAbs, TagNo=0x91, Quad=" + quadrant + ", Lat=" + lat + "42:30.15, Lon=" + lon +
         "83:10.45]";
}

TEST_F(GpsDecoding, AbsoluteItemsOfEveryQuadrantAreShownWithTheRawMaskedHemispheres) {
  EXPECT_EQ(View(B("91 00") + kHomeFields), AbsoluteLine("0-NE", '\0', '\0'));
  EXPECT_EQ(View(B("91 01") + kHomeFields), AbsoluteLine("1-NW", '\1', '\1'));
  EXPECT_EQ(View(B("91 02") + kHomeFields), AbsoluteLine("2-SE", '\2', '\2'));
  EXPECT_EQ(View(B("91 03") + kHomeFields), AbsoluteLine("3-SW", '\3', '\3'));
}

TEST_F(GpsDecoding, AQuadrantAboveThreeIsNamedInvalidAndStillStored) {
  EXPECT_EQ(View(B("91 04") + kHomeFields),
            "Invalid quad 4\n" + AbsoluteLine("4-INVALID", '\0', '\4'));
  EXPECT_EQ(View(B("91 FF") + kHomeFields),
            "Invalid quad 255\n" + AbsoluteLine("255-INVALID", 'S', 'W'));
  EXPECT_TRUE(store.Mirror().gps.gpsLocationSet);
  ExpectLocation(store.Mirror().gps.gpsLat, 'S', 42, 30, 2500);
  ExpectLocation(store.Mirror().gps.gpsLon, 'W', 83, 10, 7500);
}

TEST_F(GpsDecoding, ADecodedAbsolutePositionCountsAsPositiveWhateverItsQuadrant) {
  for (const unsigned char quadrant : B("00 01 02 03")) {
    Decode(Bytes{0x91, quadrant} + kHomeFields);
    EXPECT_EQ(Held(), kHome) << int{quadrant};
    ExpectLocation(store.Mirror().gps.gpsLat, static_cast<char>(quadrant), 42, 30, 2500);
    ExpectLocation(store.Mirror().gps.gpsLon, static_cast<char>(quadrant), 83, 10, 7500);
  }
}

TEST_F(GpsDecoding, LargestAbsoluteFieldsAreShown) {
  EXPECT_EQ(View(B("91 01 FF FF FF FF FF FF FF FF")),
            "[Tag=GpsAbs, TagNo=0x91, Quad=1-NW, Lat=\1"s + "255:255.393, Lon=\1" + "255:255.393]");
}

TEST_F(GpsDecoding, SmallFieldsAreShownWithTwoDigits) {
  EXPECT_EQ(View(B("91 01 01 02 00 02 03 04 80 02")),
            "[Tag=GpsAbs, TagNo=0x91, Quad=1-NW, Lat=\1"s + "01:02.03, Lon=\1" + "03:04.03]");
}

TEST_F(GpsDecoding, Rel8MovesThePosition) {
  Decode(B("91 01") + kHomeFields);
  EXPECT_EQ(View(B("92 7F 81")),
            "[Tag=GpsRel8, TagNo=0x92, DeltaLat=127, DeltaLon=-127, Lat=N42:30.15, "
            "Lon=W83:10.44]");
  EXPECT_EQ(Held(), (Spot{kHome.lat + 127, kHome.lon - 127}));
  ExpectLocation(store.Mirror().gps.gpsLat, 'N', 42, 30, 2627);
  ExpectLocation(store.Mirror().gps.gpsLon, 'W', 83, 10, 7373);
}

TEST_F(GpsDecoding, Rel16MovesThePosition) {
  Decode(B("91 01") + kHomeFields);
  EXPECT_EQ(View(B("93 FF 7F 01 80")),
            "[Tag=GpsRel16, TagNo=0x93, DeltaLat=32767, DeltaLon=-32767, Lat=N42:33.31, "
            "Lon=W83:07.28]");
  EXPECT_EQ(Held(), (Spot{kHome.lat + 32767, kHome.lon - 32767}));
}

TEST_F(GpsDecoding, DeltasNeverWrittenAreDecodedAllTheSame) {
  Decode(B("91 01") + kHomeFields);
  Decode(B("92 80 80"));
  EXPECT_EQ(Held(), (Spot{kHome.lat - 128, kHome.lon - 128}));
  Decode(B("93 00 80 00 80"));
  EXPECT_EQ(Held(), (Spot{kHome.lat - 128 - 32768, kHome.lon - 128 - 32768}));
}

TEST_F(GpsDecoding, SouthernAndEasternPositionsAreShownWithNegativeNumbers) {
  Decode(B("91 01 00 00 00 00 00 00 00 00"));
  EXPECT_EQ(View(B("93 01 80 C0 63")),
            "[Tag=GpsRel16, TagNo=0x93, DeltaLat=-32767, DeltaLon=25536, Lat=S00:-3.-16, "
            "Lon=W00:02.33]");
  ExpectLocation(store.Mirror().gps.gpsLat, 'S', 0, -3, -2767);
}

TEST_F(GpsDecoding, DegreesOfADecodedSouthernOrEasternPositionAreNegative) {
  // Only damaged quadrants leave the letters 'S' and 'E'.
  Decode(B("91 FF") + kHomeFields);
  EXPECT_THAT(View(B("92 01 00")), HasSubstr("Lat=S-42:-30.-14, Lon=W83:10.45]"));
  Decode(B("91 45") + kHomeFields);
  EXPECT_THAT(View(B("92 00 01")), HasSubstr("Lat=N42:30.15, Lon=E-83:-10.-44]"));
}

TEST_F(GpsDecoding, ASouthernPositionTurnsNorthernWithTheNextDelta) {
  Decode(B("91 01 00 00 00 00 00 00 00 00"));
  EXPECT_THAT(View(B("92 9C 00")), HasSubstr("Lat=S00:00.00,"));
  EXPECT_EQ(Held().lat, 100);
  Decode(B("92 32 00"));
  ExpectLocation(store.Mirror().gps.gpsLat, 'N', 0, 0, 150);
}

TEST_F(GpsDecoding, ADeltaBeforeAnyPositionIsReportedAndDropped) {
  EXPECT_EQ(View(B("92 01 01")), "Tag GpsRel8 received but Gps Location NOT set\n");
  EXPECT_EQ(View(B("93 01 00 01 00")), "Tag GpsRel16 received but Gps Location NOT set\n");
  EXPECT_FALSE(store.Mirror().gps.gpsLocationSet);
  ExpectLocation(store.Mirror().gps.gpsLat, '\0', 0, 0, 0);
  ExpectLocation(store.Mirror().gps.gpsLon, '\0', 0, 0, 0);
  EXPECT_THAT(log.Entries(), IsEmpty()) << "not logged unless asked for";
}

TEST_F(GpsDecoding, ADeltaBeforeAnyPositionIsLoggedWhenAskedFor) {
  const BIN_GPS_REL8_T rel8{TAG_GPS_REL8, 1, 1};
  const BIN_GPS_REL16_T rel16{TAG_GPS_REL16, {1, 0}, {1, 0}};
  EXPECT_EQ(Printed([&] {
              store.StoreGpsData(&rel8, TAG_GPS_REL8, true);
              store.StoreGpsData(&rel16, TAG_GPS_REL16, true);
            }),
            "");
  EXPECT_EQ(log.Count(kLogError, "DataStore.cc", "Requested to Store GPS but location not set"), 2);
}

TEST_F(GpsDecoding, PositionsAreNotPrintedOutsideTheViewer) {
  EXPECT_EQ(Printed([&] {
              Decode(B("92 01 01"));
              Decode(B("90 01 01 78"));
              Decode(B("91 09") + kHomeFields);
              Decode(B("92 01 01"));
              Decode(B("93 01 00 01 00"));
            }),
            "");
  EXPECT_THAT(Items(), IsEmpty());
}

TEST_F(GpsDecoding, APositionAtTheEndOfTheNumberRangeWrapsWithoutHarm) {
  GpsStatusItem far;
  far.latitude_degrees = 3579;
  far.latitude_minutes = 8;
  far.latitude_fraction = 3647;
  far.latitude_is_north = 1;
  store.ReportGps(far, 0, false);
  ASSERT_EQ(Held().lat, 0x7FFFFFFF);
  Decode(B("92 01 00"));
  EXPECT_EQ(store.Mirror().gps.gpsLat.hemisphere, 'S');
  EXPECT_EQ(store.Mirror().gps.gpsLat.degrees, -3579);
}

TEST_F(GpsDecoding, AFullCircleIsTwoHundredAndSixteenMillionTTs) {
  EXPECT_EQ(kTTsPerCircle, 216000000);
}

}  // namespace
}  // namespace vmr::test
