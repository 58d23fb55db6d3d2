// Parsing packets and items into a store, and the text that viewing prints.
#include <time.h>

#include <ostream>

#include "store/tag_catalogue.h"
#include "tests/reader/reader_fixture.h"

// Local time in this program is UTC, and can be made to fail: the C library never
// does for the times that a recording holds.
namespace {
bool local_time_fails = false;
}

extern "C" struct tm* localtime_r(const time_t* seconds, struct tm* result) noexcept {
  return local_time_fails ? nullptr : gmtime_r(seconds, result);
}

namespace vmr::test {
namespace {

using testing::IsEmpty;

std::string IllegalTag(unsigned char tag) {
  char text[40];
  snprintf(text, sizeof(text), "[Illegal payload tag 0x%02X] ", tag);
  return text;
}

class Parsing : public ReaderTest {
 protected:
  // Time of the store: tick 0 is 2023-11-14 22:13:20.
  void SetClock() { ASSERT_EQ(Parse(WithCrc(B("80 00 00 00 00 05 03 00 F1 53 65"))), 1); }

  const StateMirror& Mirror() const { return out.Mirror(); }
};

// ---- Packet headers ----------------------------------------------------------

TEST_F(Parsing, Header1SetsTheTickLeastSignificantByteFirst) {
  EXPECT_EQ(Parse(WithCrc(B("80 04 03 02 01 00"))), 1);
  EXPECT_EQ(out.GetCurrentSystemTick(), 0x01020304u);
}

TEST_F(Parsing, Header2ReplacesTheLowEightBitsOfTheTick) {
  Parse(WithCrc(B("80 04 03 02 01 00")));
  EXPECT_EQ(Parse(WithCrc(B("81 FE 00"))), 1);
  EXPECT_EQ(out.GetCurrentSystemTick(), 0x010203FEu);
}

TEST_F(Parsing, Header2OfAnUndefinedTickKeepsItsUpperBits) {
  EXPECT_EQ(Parse(WithCrc(B("81 07 00"))), 1);
  EXPECT_EQ(out.GetCurrentSystemTick(), 0xFFFFFF07u);
}

TEST_F(Parsing, AContinuationLeavesTheTick) {
  Parse(WithCrc(B("80 04 03 02 01 00")));
  EXPECT_EQ(Parse(WithContCrc(B("82 01 36"))), 1);
  EXPECT_EQ(out.GetCurrentSystemTick(), 0x01020304u);
  EXPECT_TRUE(Mirror().inputs.on[1]);
}

TEST_F(Parsing, HeaderLineHasTheTickBeforeItWithTheTimeOfTheNewOne) {
  SetClock();
  // Deliberate: the tick is the previous packet's, date and time are the new
  // tick's.
  EXPECT_EQ(View(WithCrc(B("80 C8 00 00 00 00"))), "(hdr1)     0 (11/14/2023 22:15:00) (00) \n");
  EXPECT_EQ(View(WithCrc(B("81 CA 00"))), "(hdr2)   200 (11/14/2023 22:15:01) (00) \n");
  EXPECT_EQ(View(B("82 00 FF")), "(hdrCONT)   202 (11/14/2023 22:15:01) (00) \n");
}

TEST_F(Parsing, HeaderLineOfAFreshStoreHasTheUndefinedTick) {
  EXPECT_EQ(View(WithCrc(B("80 64 00 00 00 01 36"))),
            "(hdr1) 4294967295 (01/01/1970 00:00:50) (01) "
            "[Tag=siren, TagNo=0x36, State=on]\n");
}

TEST_F(Parsing, HeaderLineHasTheItemBytesInTwoDigitsAtLeast) {
  SetClock();
  EXPECT_EQ(View(WithContCrc(B("82 80") + Filled(128, 0x21))).substr(0, 44),
            "(hdrCONT)     0 (11/14/2023 22:13:20) (128) ");
}

TEST_F(Parsing, TimeOfAHeaderLineIsThatBeforeATimeItemInItsPacket) {
  EXPECT_EQ(View(WithCrc(B("80 02 00 00 00 05 03 00 F1 53 65"))),
            "(hdr1) 4294967295 (01/01/1970 00:00:01) (05) "
            "[Tag=time, TagNo=0x03, time 1700000000 (11/14/2023 22:13:20)]\n");
  EXPECT_EQ(View(WithCrc(B("81 04 00"))), "(hdr2)     2 (11/14/2023 22:13:21) (00) \n");
}

TEST_F(Parsing, TimeOfAHeaderLineWrapsAsASigned32BitNumber) {
  Parse(WithCrc(B("80 00 00 00 00 05 03 FF FF FF 7F")));  // the last second of 2038's range
  EXPECT_EQ(View(WithCrc(B("80 02 00 00 00 00"))), "(hdr1)     0 (12/13/1901 20:45:52) (00) \n");
}

// ---- Dictionary --------------------------------------------------------------

TEST_F(Parsing, HeaderLineSaysSoWhenTheTimeCannotBeFormed) {
  out.InitCurrentSystemTick(7);
  local_time_fails = true;
  std::string lines = View(WithCrc(B("80 C8 00 00 00 00")));
  lines += View(WithCrc(B("81 CA 00")));
  lines += View(B("82 00 FF"));
  local_time_fails = false;
  EXPECT_EQ(lines,
            "(hdr1)     7 (NULL localtime return) (00) \n"
            "(hdr2)   200 (NULL localtime return) (00) \n"
            "(hdrCONT)   202 (NULL localtime return) (00) \n");
}

TEST_F(Parsing, ADictionaryIsPrintedAsOneLine) {
  EXPECT_EQ(View(B("83 04 02 08 11 82 09 83 E1 02 00")),
            "hdrDICT (04) 0x02-8,0x11-2V,0x09-3V,0xE1-2\n\n");
}

TEST_F(Parsing, ADescriptorIsPrintedWithoutItsVariableBitAlone) {
  EXPECT_EQ(View(B("83 02 FF FF 00 7F 00")), "hdrDICT (02) 0xFF-127V,0x00-127\n\n");
}

TEST_F(Parsing, AnEmptyDictionaryIsPrintedWithoutEntries) {
  EXPECT_EQ(View(B("83 00 00")), "hdrDICT (00) \n\n");
}

TEST_F(Parsing, ADictionaryPrintsNothingWithoutViewing) {
  EXPECT_EQ(Printed([&] { EXPECT_EQ(Parse(B("83 01 02 08 00")), 1); }), "");
}

TEST_F(Parsing, ADictionaryShorterThanItClaimsIsPrintedAsFarAsItGoes) {
  EXPECT_EQ(View(B("83 05 02 08 11")), "hdrDICT (05) 0x02-8\n\n");
  EXPECT_EQ(View(B("83 FF")), "hdrDICT (255) \n\n");
}

TEST_F(Parsing, ADictionaryHasNoDump) {
  EXPECT_EQ(View(B("83 01 02 08 00"), kViewItems | kViewDumps), "hdrDICT (01) 0x02-8\n\n");
}

// ---- Packets that cannot be parsed -------------------------------------------

TEST_F(Parsing, ANullPacketIsRefusedWithTheReadPosition) {
  reader.StartAt(4711);
  EXPECT_EQ(Parse(B("84 36")), 0);
  EXPECT_TRUE(Logged(2, "Found NULL packet in processed data prior to 4711"));
}

TEST_F(Parsing, ABadHeaderIsRefusedInDecimalWithTheReadPosition) {
  reader.StartAt(4711);
  EXPECT_EQ(Parse(B("A7 36")), 0);
  EXPECT_TRUE(Logged(2, "Found bad header (167) header in processed data prior to 4711"));
}

TEST_F(Parsing, TheReadPositionIsTheOneBehindWhatWasRead) {
  MemorySource source(WithCrc(B("80 64 00 00 00 00")));
  ReadNext(source);
  Parse(B("84"));
  EXPECT_TRUE(Logged(2, "Found NULL packet in processed data prior to 7"));
}

TEST_F(Parsing, EveryByteAsAHeaderIsParsedOrRefused) {
  for (int byte = 0; byte < 256; ++byte) {
    SCOPED_TRACE(byte);
    log.Clear();
    const Bytes packet = Filled(7, static_cast<unsigned char>(byte));
    const bool is_packet = byte >= 0x80 && byte <= 0x83;
    EXPECT_EQ(Parse(packet), is_packet ? 1 : 0);
    EXPECT_EQ(log.Texts(2).size(), is_packet ? 0u : 1u);
    EXPECT_EQ(Logged(2, "Found bad header (" + std::to_string(byte) +
                            ") header in processed data prior to 0"),
              !is_packet && byte != 0x84);
  }
}

TEST_F(Parsing, APacketWithoutItsWholeHeadIsRefused) {
  for (const char* const packet : {"80 64 00 00 00", "80", "81 64", "81", "82", "83"}) {
    SCOPED_TRACE(packet);
    EXPECT_EQ(Parse(B(packet)), 0);
  }
  EXPECT_EQ(out.GetCurrentSystemTick(), 0xFFFFFFFFu);
  EXPECT_EQ(reader.ParsePacket(out, nullptr, 7), 0);
  EXPECT_EQ(Parse(B("80 64 00 00 00 00"), 0), 0);
}

TEST_F(Parsing, APacketShorterThanItClaimsIsParsedAsFarAsItGoes) {
  EXPECT_EQ(Parse(B("80 64 00 00 00 FF 36 38")), 1);
  EXPECT_TRUE(Mirror().inputs.on[1]);
  EXPECT_TRUE(Mirror().inputs.on[2]);
  EXPECT_EQ(View(B("81 64 09 90 01 03 41")),
            "(hdr2)   100 (01/01/1970 00:00:50) (09) [Illegal payload tag 0x90] \n");
}

TEST_F(Parsing, BytesBehindTheItemsAreNotParsed) {
  EXPECT_EQ(Parse(B("82 01 36 38 3E")), 1);
  EXPECT_TRUE(Mirror().inputs.on[1]);
  EXPECT_FALSE(Mirror().inputs.on[2]);
}

TEST_F(Parsing, ParsingATickEndsAtItsFirstBadPacketOnly) {
  MemorySource source(WithCrc(B("80 64 00 00 00 02 FF 36")) + WithContCrc(B("82 01 38")));
  ASSERT_EQ(ReadNext(source), 2);
  EXPECT_EQ(reader.ParseReadSystemTick(out), 1);
  EXPECT_FALSE(Mirror().inputs.on[1]);  // behind the illegal tag, in its packet
  EXPECT_TRUE(Mirror().inputs.on[2]);   // in the packet after it
}

// The packets are where the reader has put them, in the output's work buffer.
TEST_F(Parsing, ACollectedPacketThatWasOverwrittenEndsItsTick) {
  MemorySource source(WithCrc(B("80 64 00 00 00 01 36")) + WithContCrc(B("82 01 38")));
  ASSERT_EQ(ReadNext(source), 2);
  out.WorkBuffer()[0] = 0x84;
  EXPECT_EQ(reader.ParseReadSystemTick(out), 0);
  EXPECT_TRUE(Logged(2, "Found NULL packet in processed data prior to 12"));
  EXPECT_FALSE(Mirror().inputs.on[1]);
  EXPECT_FALSE(Mirror().inputs.on[2]);
}

TEST_F(Parsing, RefusesAlikeWithEveryMessageSwitchedOff) {
  const CapturedLog quiet(0);
  EXPECT_EQ(Parse(B("84 36")), 0);
  EXPECT_EQ(Parse(B("A7 36")), 0);
  MemorySource source(WithCrc(B("80 64 00 00 00 00")));
  ASSERT_EQ(ReadNext(source), 1);
  out.accept = false;
  EXPECT_EQ(reader.WriteReadSystemTick(out), 0);
  EXPECT_TRUE(quiet.Entries().empty());
}

// ---- Items that cannot be parsed ---------------------------------------------

TEST_F(Parsing, AnIllegalTagAbandonsTheRestOfItsPacketOnly) {
  out.InitCurrentSystemTick(0);
  EXPECT_EQ(View(WithContCrc(B("82 03 36 FF 38"))),
            "(hdrCONT)     0 (01/01/1970 00:00:00) (03) "
            "[Tag=siren, TagNo=0x36, State=on][Illegal payload tag 0xFF] \n");
  EXPECT_FALSE(Mirror().inputs.on[2]);
}

TEST_F(Parsing, AnIllegalTagPrintsNothingWithoutViewing) {
  EXPECT_EQ(Printed([&] { EXPECT_EQ(Parse(B("82 01 FF 00")), 1); }), "");
}

TEST_F(Parsing, AnItemThatClaimsToReachPastItsPacketEndsItLikeAnIllegalTag) {
  // The packet ends where its memory ends; the text would go on behind it.
  for (const char* const items :
       {"90 01 02 41", "90 01", "90", "91 00 01 02 03 04 05 06 07", "92 01", "93 00 00 00", "94",
        "03 00 F1 53", "E0 00 FF", "E1", "C0 00", "D1", "21"}) {
    SCOPED_TRACE(items);
    const Bytes item = B(items);
    EXPECT_THAT(View(B("82") + Filled(1, static_cast<unsigned char>(item.size())) + item),
                testing::EndsWith(IllegalTag(item[0]) + "\n"));
  }
  EXPECT_EQ(Mirror().gps.gpsDesc.desc, "");
  EXPECT_FALSE(Mirror().gps.gpsLocationSet);
}

TEST_F(Parsing, AnItemMayNotReachIntoThePacketsCrc) {
  // One percent byte short; the CRC behind would do for it.
  EXPECT_THAT(View(B("82 01 D1 32")), testing::EndsWith(") [Illegal payload tag 0xD1] \n"));
}

TEST_F(Parsing, NumbersThatAreNoTagsAreIllegal) {
  const auto legal = [](int tag) {
    const TagRow* const row = FindTag(static_cast<unsigned char>(tag));
    return row != nullptr && row->decoder != nullptr;
  };
  // Deliberate: 0x04, though it has a name, is no tag to any reader.
  for (const int tag : {0x00, 0x01, 0x04, 0x0A, 0x0F, 0x12, 0x17, 0x1B, 0x1F, 0x22, 0x33, 0x48,
                        0x49, 0x4C, 0x4F, 0x52, 0x53, 0x57, 0x5A, 0x5F, 0x7F, 0x8F, 0x95, 0xAF,
                        0xB1, 0xBF, 0xC1, 0xD0, 0xD2, 0xDF, 0xE5, 0xEF, 0xF2, 0xFF}) {
    SCOPED_TRACE(tag);
    EXPECT_FALSE(legal(tag));
    const Bytes item = Filled(1, static_cast<unsigned char>(tag)) + Filled(9, 0);
    EXPECT_EQ(reader.ParseItem(out, item.data()), -1);
  }
}

TEST_F(Parsing, ANullItemIsRefusedAndLoggedAndNotPrinted) {
  out.SetViewMode(kViewItems);
  EXPECT_EQ(Printed([&] { EXPECT_EQ(reader.ParseItem(out, nullptr), -1); }), "");
  EXPECT_THAT(log.Entries(), testing::ElementsAre(LogEntry{kLogError, "MetadataReader.cc",
                                                           "Null value passed to ParseItem"}));
}

TEST_F(Parsing, EveryByteAsATagIsDecodedInItsLengthOrIllegal) {
  for (int tag = 0; tag < 256; ++tag) {
    SCOPED_TRACE(tag);
    const Bytes item = Filled(1, static_cast<unsigned char>(tag)) + Filled(600, 0);
    const TagRow* const row = FindTag(item[0]);
    const bool legal = row != nullptr && row->decoder != nullptr;
    out.SetViewMode(kViewItems);
    const std::string text =
        Printed([&] { EXPECT_EQ(reader.ParseItem(out, item.data()), legal ? row->size : -1); });
    EXPECT_EQ(text == IllegalTag(item[0]), !legal) << text;
  }
}

TEST_F(Parsing, EveryByteAsATagEndsOrFillsAPacketWithoutReadingBehindIt) {
  for (int tag = 0; tag < 256; ++tag)
    for (std::size_t length = 1; length < 12; ++length) {
      const Bytes items = Filled(1, static_cast<unsigned char>(tag)) + Filled(length - 1, 0xFF);
      const Bytes head = B("82") + Filled(1, static_cast<unsigned char>(length));
      EXPECT_EQ(Parse(head + items), 1);
    }
}

// ---- The families' items -----------------------------------------------------

TEST_F(Parsing, TickAdjustIsPrintedAndLeavesTheTick) {
  out.InitCurrentSystemTick(500);
  EXPECT_EQ(ViewItem(B("21 0A")), "[Tag=TICK ADJUST, TagNo=0x21-10]");
  EXPECT_EQ(ViewItem(B("21 FF")), "[Tag=TICK ADJUST, TagNo=0x21-255]");
  // Deliberate: reported only.
  EXPECT_EQ(out.GetCurrentSystemTick(), 500u);
}

TEST_F(Parsing, EndOfStreamIsPrinted) { EXPECT_EQ(ViewItem(B("F0")), "[Tag=EOS, TagNo=0xF0]"); }

TEST_F(Parsing, BookmarkIsPrintedAndNotRecordedAgain) {
  EXPECT_EQ(ViewItem(B("56")), "[Tag=Bookmark, TagNo=0x56]");
  EXPECT_FALSE(out.HasPendingItems());
}

TEST_F(Parsing, TimeIsLeastSignificantByteFirstAndAnchorsTheTick) {
  out.InitCurrentSystemTick(77);
  EXPECT_EQ(ViewItem(B("03 00 F1 53 65")),
            "[Tag=time, TagNo=0x03, time 1700000000 (11/14/2023 22:13:20)]");
  EXPECT_EQ(Mirror().time.base_time, 1700000000);
  EXPECT_EQ(Mirror().time.base_tick, 77u);
}

TEST_F(Parsing, ATimeWithItsSignBitSetIsRejected) {
  EXPECT_EQ(ViewItem(B("03 FF FF FF FF")), "");
  EXPECT_TRUE(log.Has(2, "DataStore.cc", "Invalid Time - -1"));
  EXPECT_EQ(Mirror().time.base_time, 0);
}

TEST_F(Parsing, TemperaturesAreSignedBytesOfFourSensors) {
  EXPECT_EQ(ViewItem(B("E1 19")), "[Tag=Temp, TagNo=0xE1, Id=0, temp=25]");
  EXPECT_EQ(ViewItem(B("E2 C8")), "[Tag=Temp, TagNo=0xE2, Id=1, temp=-56]");
  EXPECT_EQ(ViewItem(B("E3 80")), "[Tag=Temp, TagNo=0xE3, Id=2, temp=-128]");
  EXPECT_EQ(ViewItem(B("E4 7F")), "[Tag=Temp, TagNo=0xE4, Id=3, temp=127]");
  EXPECT_EQ(Mirror().temperature.sensors[1].temperature, -56);
}

TEST_F(Parsing, TemperatureDescriptionIsTerminatedAtItsLength) {
  EXPECT_EQ(ViewItem(B("E0 03 03") + Chars("cpu")), "[Tag=TempDesc, TagNo=0xE0, Id=3, desc='cpu']");
  EXPECT_EQ(ViewItem(B("E0 00 00")), "[Tag=TempDesc, TagNo=0xE0, Id=0, desc='']");
  EXPECT_EQ(Mirror().temperature.sensors[3].desc, "cpu");
}

TEST_F(Parsing, ALongestDescriptionIsParsedWhole) {
  const std::string longest(255, 'x');
  EXPECT_EQ(ViewItem(B("E0 01 FF") + Chars(longest)),
            "[Tag=TempDesc, TagNo=0xE0, Id=1, desc='" + longest + "']");
}

TEST_F(Parsing, ADescriptionOfNoSensorIsSkipped) {
  EXPECT_EQ(ViewItem(B("E0 04 01 41")), "");
  EXPECT_TRUE(log.Has(2, "DataStore.cc", "Invalid Temp Sensor 4"));
}

TEST_F(Parsing, VoltPercentIsPrintedWithoutATagNumber) {
  EXPECT_EQ(ViewItem(B("D1 5A")), "[Tag=VoltPercent, VoltPercent=90]");
}

TEST_F(Parsing, ButtonsArePrintedAndNotRecordedAgain) {
  EXPECT_EQ(ViewItem(B("C0 00 00")), "[Tag=Button, TagNo=0xC0, Button=POWER, Action=PRESSED]");
  EXPECT_EQ(ViewItem(B("C0 01 01")),
            "[Tag=Button, TagNo=0xC0, Button=RECORD, Action=LONG PRESSED]");
  EXPECT_EQ(ViewItem(B("C0 02 02")), "[Tag=Button, TagNo=0xC0, Button=BACKLIGHT, Action=RELEASED]");
  EXPECT_FALSE(out.HasPendingItems());
}

TEST_F(Parsing, AnInvalidButtonIsSkipped) {
  EXPECT_EQ(ViewItem(B("C0 03 00")), "");
  EXPECT_TRUE(log.Has(2, "DataStore.cc", "Invalid button 3"));
  EXPECT_EQ(ViewItem(B("C0 00 FF")), "");
  EXPECT_TRUE(log.Has(2, "DataStore.cc", "Invalid button action255"));
}

struct InputTags {
  unsigned char on;
  unsigned char off;
  const char* name;
};
void PrintTo(const InputTags& tags, std::ostream* os) { *os << tags.name; }

class ParsingInputs : public Parsing, public testing::WithParamInterface<InputTags> {
 protected:
  static std::string Line(unsigned char tag, const char* state) {
    char text[80];
    snprintf(text, sizeof(text), "[Tag=%s, TagNo=0x%02X, State=%s]", GetParam().name, tag, state);
    return text;
  }
};

TEST_P(ParsingInputs, OnAndOffArePrintedWhetherTheStateChangedOrNot) {
  const auto [on, off, name] = GetParam();
  EXPECT_EQ(ViewItem(Filled(1, on)), Line(on, "on"));
  EXPECT_EQ(ViewItem(Filled(1, on)), Line(on, "on"));
  EXPECT_EQ(ViewItem(Filled(1, off)), Line(off, "off"));
  EXPECT_EQ(ViewItem(Filled(1, off)), Line(off, "off"));
}

TEST_P(ParsingInputs, OnlyCovertOnIsRecordedAgain) {
  reader.ParseItem(out, &GetParam().on);
  // Deliberate: extracted recordings carry a second covert-on item.
  EXPECT_EQ(out.HasPendingItems(), GetParam().on == 0x3A);
  reader.ParseItem(out, &GetParam().off);
  EXPECT_EQ(out.FlushedItems(), GetParam().on == 0x3A ? B("3A") : Bytes{});
}

INSTANTIATE_TEST_SUITE_P(
    EveryInput, ParsingInputs,
    testing::Values(InputTags{0x34, 0x35, "emergency lights"}, InputTags{0x36, 0x37, "siren"},
                    InputTags{0x38, 0x39, "brake"}, InputTags{0x3A, 0x3B, "covert"},
                    InputTags{0x3C, 0x3D, "auxillary input"}, InputTags{0x3E, 0x3F, "door"},
                    InputTags{0x40, 0x41, "system power"}, InputTags{0x42, 0x43, "accident detect"},
                    InputTags{0x44, 0x45, "ignition"}, InputTags{0x46, 0x47, "recording"},
                    InputTags{0x4A, 0x4B, "docked"}));

TEST_F(Parsing, GpsStateIsAvailableForTheValueOneAlone) {
  EXPECT_EQ(ViewItem(B("94 01")), "[Tag=GpsState, TagNo=0x94, State=1-available]");
  EXPECT_TRUE(Mirror().gps.gpsAvailable);
  EXPECT_EQ(ViewItem(B("94 02")), "[Tag=GpsState, TagNo=0x94, State=0-unavailable]");
  EXPECT_FALSE(Mirror().gps.gpsAvailable);
  EXPECT_EQ(ViewItem(B("94 00")), "[Tag=GpsState, TagNo=0x94, State=0-unavailable]");
}

TEST_F(Parsing, GpsDescriptionIsPrintedAndKept) {
  EXPECT_EQ(ViewItem(B("90 01 0B") + Chars("InternalGps")),
            "[Tag=GpsDesc, TagNo=0x90, Desc='InternalGps']");
  EXPECT_EQ(Mirror().gps.gpsDesc.desc, "InternalGps");
  EXPECT_TRUE(Mirror().gps.gpsConfigured);
}

// The text between the brackets holds hemisphere bytes that are no letters.
TEST_F(Parsing, AbsolutePositionPrintsItsMaskedQuadrantAsHemispheres) {
  using namespace std::string_literals;
  // 41 degrees 35.2500 minutes, 93 degrees 37.5000 minutes.
  EXPECT_EQ(ViewItem(B("91 01 29 23 C4 09 5D 25 88 13")),
            "[Tag=GpsAbs, TagNo=0x91, Quad=1-NW, Lat=\x01"s
            "41:35.15, Lon=\x01"s
            "93:37.30]"s);
  EXPECT_EQ(ViewItem(B("91 00 00 00 00 00 00 00 00 00")),
            "[Tag=GpsAbs, TagNo=0x91, Quad=0-NE, Lat=\0"s
            "00:00.00, Lon=\0"s
            "00:00.00]"s);
  EXPECT_EQ(ViewItem(B("91 02 01 02 0F 27 03 04 00 00")),
            "[Tag=GpsAbs, TagNo=0x91, Quad=2-SE, Lat=\x02"s
            "01:02.59, Lon=\x02"s
            "03:04.00]"s);
  EXPECT_EQ(ViewItem(B("91 03 01 02 00 00 03 04 00 00")),
            "[Tag=GpsAbs, TagNo=0x91, Quad=3-SW, Lat=\x03"s
            "01:02.00, Lon=\x03"s
            "03:04.00]"s);
}

TEST_F(Parsing, AbsolutePositionOfAnInvalidQuadrantIsStillStored) {
  EXPECT_EQ(ViewItem(B("91 57 01 02 00 00 03 04 00 00")),
            "Invalid quad 87\n"
            "[Tag=GpsAbs, TagNo=0x91, Quad=87-INVALID, Lat=S01:02.00, Lon=W03:04.00]");
  EXPECT_TRUE(Mirror().gps.gpsLocationSet);
}

TEST_F(Parsing, DeltasMoveThePosition) {
  reader.ParseItem(out, B("91 00 29 23 00 00 5D 25 00 00").data());
  EXPECT_EQ(ViewItem(B("92 7F 81")),
            "[Tag=GpsRel8, TagNo=0x92, DeltaLat=127, DeltaLon=-127, "
            "Lat=N41:35.00, Lon=W93:36.59]");
  EXPECT_EQ(ViewItem(B("93 10 27 00 80")),
            "[Tag=GpsRel16, TagNo=0x93, DeltaLat=10000, DeltaLon=-32768, "
            "Lat=N41:36.00, Lon=W93:33.42]");
}

TEST_F(Parsing, ADeltaBeforeAnyPositionIsDroppedWithItsMessage) {
  EXPECT_EQ(ViewItem(B("92 01 01")), "Tag GpsRel8 received but Gps Location NOT set\n");
  EXPECT_EQ(ViewItem(B("93 01 00 01 00")), "Tag GpsRel16 received but Gps Location NOT set\n");
  EXPECT_FALSE(Mirror().gps.gpsLocationSet);
  // Before the state dump has ended this is nothing to log.
  EXPECT_THAT(log.Texts(2), IsEmpty());
}

TEST_F(Parsing, ADeltaAfterTheGpsWasLostIsDropped) {
  Parse(WithContCrc(B("82 0C 91 00 29 23 00 00 5D 25 00 00 94 01")));
  Parse(WithContCrc(B("82 02 94 00")));
  EXPECT_EQ(ViewItem(B("92 01 01")), "Tag GpsRel8 received but Gps Location NOT set\n");
}

TEST_F(Parsing, WithoutViewingNothingIsPrinted) {
  EXPECT_EQ(Printed([&] {
              Parse(WithCrc(B("80 64 00 00 00 0F 36 56 F0 C0 00 00 D1 01 E1 01 94 01 21 01 FF")));
            }),
            "");
}

// ---- Dumps -------------------------------------------------------------------

TEST_F(Parsing, ExpandedViewDumpsHeaderAndItems) {
  EXPECT_EQ(View(WithCrc(B("80 C8 00 00 00 04 36 C0 01 01")), kViewItems | kViewDumps),
            "(hdr1) 4294967295 (01/01/1970 00:01:40) (04) \n"
            "       hex:80 C8 00 00 00 04\n"
            " printable:                 \n"
            "[Tag=siren, TagNo=0x36, State=on]\n"
            "       hex:36\n"
            " printable:6 \n"
            "[Tag=Button, TagNo=0xC0, Button=RECORD, Action=LONG PRESSED]\n"
            "       hex:C0 01 01\n"
            " printable:        \n"
            "\n");
}

TEST_F(Parsing, ExpandedViewDumpsTheThreeAndTwoHeaderBytesOfTheOtherKinds) {
  out.InitCurrentSystemTick(0);
  EXPECT_EQ(View(WithCrc(B("81 C8 00")), kViewItems | kViewDumps),
            "(hdr2)     0 (01/01/1970 00:01:40) (00) \n"
            "       hex:81 C8 00\n"
            " printable:        \n"
            "\n");
  EXPECT_EQ(View(WithContCrc(B("82 01 56")), kViewItems | kViewDumps),
            "(hdrCONT)   200 (01/01/1970 00:01:40) (01) \n"
            "       hex:82 01\n"
            " printable:     \n"
            "[Tag=Bookmark, TagNo=0x56]\n"
            "       hex:56\n"
            " printable:V \n"
            "\n");
}

TEST_F(Parsing, ExpandedViewDumpsNothingOfAnIllegalItem) {
  out.InitCurrentSystemTick(0);
  EXPECT_EQ(View(WithContCrc(B("82 02 FF 36")), kViewItems | kViewDumps),
            "(hdrCONT)     0 (01/01/1970 00:00:00) (02) \n"
            "       hex:82 02\n"
            " printable:     \n"
            "[Illegal payload tag 0xFF] \n"
            "       hex:\n"
            " printable:\n"
            "\n");
}

TEST_F(Parsing, DumpsAloneAreToldFromTheTextOfItems) {
  EXPECT_EQ(View(WithContCrc(B("82 01 56")), kViewDumps),
            "\n"
            "       hex:82 01\n"
            " printable:     \n"
            "\n"
            "       hex:56\n"
            " printable:V \n");
}

}  // namespace
}  // namespace vmr::test
