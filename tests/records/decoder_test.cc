// Ticks, positions, times and gaps, as a recording tells them.
#include "records/decoder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/records/decoded.h"

namespace vmr::records {
namespace {

using namespace test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

// ---- Ticks -----------------------------------------------------------------------

TEST(Ticks, OfAShortHeaderHaveTheUpperBitsOfThePacketBefore) {
  EXPECT_THAT(DecodedLines(Hdr1(0x1FE, "34") + Hdr2(0xFF, "35")),
              ElementsAre("510 input input='emergency lights' on=1",
                          "511 input input='emergency lights' on=0"));
}

TEST(Ticks, OfContinuationsAreThePacketsTheyGoOnFrom) {
  EXPECT_THAT(DecodedLines(Hdr1(5, "56") + Cont("56 56 56")),
              ElementsAre("5 bookmark", "5 bookmark", "5 bookmark", "5 bookmark"));
}

TEST(Ticks, AreNotMadeUpWhereNothingTellsThem) {
  EXPECT_THAT(DecodedLines(Hdr2(0xFF, "56") + Hdr1(9, "56")),
              ElementsAre("- bookmark", "9 bookmark"));
  EXPECT_THAT(DecodedLines(Cont("56 56 56") + Hdr1(9, "56")),
              ElementsAre("- bookmark", "- bookmark", "- bookmark", "9 bookmark"));
}

TEST(Ticks, OfAClustersFirstPacketsAreTheClusters) {
  EXPECT_THAT(Decode({{Hdr2(0x02, "56"), 0x1202}}).lines, ElementsAre("4610 bookmark"));
}

// The cluster's tick is that of the first packet with a header, not theirs.
TEST(Ticks, OfContinuationsThatHaveLostTheirPacketAreUnknown) {
  EXPECT_THAT(Decode({{Cont("56 56") + Hdr2(0x03, "56"), 0x1203}}).lines,
              ElementsAre("- bookmark", "- bookmark", "4611 bookmark"));
}

TEST(Ticks, OfAnAdjustedRecordLieSoMuchEarlier) {
  EXPECT_THAT(DecodedLines(Hdr1(100, "21 0A 34 36")),
              ElementsAre("100 tick_adjust ticks=10", "90 input input='emergency lights' on=1",
                          "100 input input='siren' on=1"));
}

TEST(Ticks, ThatFallBeginANewRun) {
  EXPECT_THAT(DecodedLines(Hdr1(500000, "56") + Hdr1(7, "56")),
              ElementsAre("500000 bookmark", "run 1 from 7", "7 bookmark"));
}

TEST(Ticks, GoOnThroughTheEndOf32Bits) {
  EXPECT_THAT(DecodedLines(Hdr1(0xFFFFFFF0, "56") + Hdr1(7, "56")),
              ElementsAre("4294967280 bookmark", "7 bookmark"));
}

// ---- Positions -------------------------------------------------------------------

TEST(Positions, HaveTheSignsOfTheirQuadrant) {
  const char* const tail = " 29 27 96 00 5D 1D A6 25";
  const auto line = [&](const char* quadrant) {
    return DecodedLines(Hdr1(1, std::string("91 ") + quadrant + tail));
  };
  EXPECT_THAT(line("00"),
              ElementsAre("1 position latitude=24990150 longitude=56099638 absolute=1"));
  EXPECT_THAT(line("01"),
              ElementsAre("1 position latitude=24990150 longitude=-56099638 absolute=1"));
  EXPECT_THAT(line("02"),
              ElementsAre("1 position latitude=-24990150 longitude=56099638 absolute=1"));
  EXPECT_THAT(line("03"),
              ElementsAre("1 position latitude=-24990150 longitude=-56099638 absolute=1"));
}

// A way counts north and west as positive, whatever the hemisphere.
TEST(Positions, AddWaysToTheSignedPosition) {
  EXPECT_THAT(DecodedLines(Hdr1(1, "91 02 25 00 00 00 90 00 00 00") + Hdr2(2, "92 7F 81") +
                           Hdr2(3, "93 01 80 FF 7F")),
              ElementsAre("1 position latitude=-22200000 longitude=86400000 absolute=1",
                          "2 position latitude=-22199873 longitude=86400127 absolute=0",
                          "3 position latitude=-22232640 longitude=86367360 absolute=0"));
}

TEST(Positions, CrossTheEquatorAndTheMeridiansByWays) {
  EXPECT_THAT(DecodedLines(Hdr1(1, "91 00 00 00 05 00 00 00 05 00") + Hdr2(2, "92 F6 0A")),
              ElementsAre("1 position latitude=5 longitude=5 absolute=1",
                          "2 position latitude=-5 longitude=-5 absolute=0"));
  EXPECT_THAT(DecodedLines(Hdr1(1, "91 00 00 00 00 00 B3 3B 0B 27") + Hdr2(2, "92 00 F6")),
              ElementsAre("1 position latitude=0 longitude=107999995 absolute=1",
                          "2 position latitude=0 longitude=-107999995 absolute=0"));
}

TEST(Positions, AreUnknownWithoutAWholeOne) {
  EXPECT_THAT(DecodedLines(Hdr1(1, "92 01 01")),
              ElementsAre("1 position latitude=? longitude=? absolute=0"));
}

TEST(Positions, ThatAreNoPlaceOnEarthAreUnknown) {
  for (const char* const item : {"91 04 29 27 96 00 5D 1D A6 25", "91 00 5B 00 00 00 00 00 00 00",
                                 "91 00 00 3C 00 00 00 00 00 00", "91 00 00 00 10 27 00 00 00 00",
                                 "91 00 00 00 00 00 B4 00 01 00"})
    EXPECT_THAT(DecodedLines(Hdr1(1, item)),
                ElementsAre("1 position latitude=? longitude=? absolute=1"))
        << item;
}

TEST(Positions, AreUnknownBehindAGapUntilToldWhole) {
  EXPECT_THAT(Decode({{Hdr1(1, "91 00 01 00 00 00 01 00 00 00"), 1},
                      {Hdr1(9, "92 01 01") + Hdr1(10, "91 00 01 00 00 00 01 00 00 00"), 9, true}})
                  .lines,
              ElementsAre("1 position latitude=600000 longitude=600000 absolute=1",
                          "gap 1..9 lost clusters", "9 position latitude=? longitude=? absolute=0",
                          "10 position latitude=600000 longitude=600000 absolute=1"));
}

TEST(Positions, OfTheStateInAUnitsExtractAreUnverifiedUntilOneIsCopied) {
  const Bytes extract = Hdr1(8,
                             "20 0C 52 61 6E 67 65 20 38 20 74 6F 20 39"
                             " 91 00 01 00 00 00 01 00 00 00") +
                        Hdr2(9, "92 01 00") + Hdr2(10, "91 01 01 00 00 00 01 00 00 00");
  EXPECT_THAT(Decode({{extract}}, true).lines,
              ElementsAre("8 log text='Range 8 to 9'",
                          "8 position latitude=600000 longitude=600000 absolute=1 (unverified) "
                          "(repeats)",
                          "9 position latitude=600001 longitude=600000 absolute=0 (unverified)",
                          "10 position latitude=600000 longitude=-600000 absolute=1"));
}

TEST(Positions, BehindALogThatOnlyLooksLikeALabelAreKnown) {
  const Bytes file = Hdr1(8, "20 07 52 61 6E 67 65 20 38 91 00 01 00 00 00 01 00 00 00");
  EXPECT_THAT(Decode({{file}}, true).lines,
              ElementsAre("8 log text='Range 8'",
                          "8 position latitude=600000 longitude=600000 absolute=1"));
}

// "20 .. State completed by vmr" beside the label of an extract.
const char* const kCompletedItem =
    " 20 16 53 74 61 74 65 20 63 6F 6D 70 6C 65 74 65 64 20 62 79 20 76 6D 72";
const char* const kLabelItem = "20 0C 52 61 6E 67 65 20 38 20 74 6F 20 39";

TEST(Positions, OfACompletedStateAreKnown) {
  const Bytes extract =
      Hdr1(8, std::string(kLabelItem) + kCompletedItem + " 91 00 01 00 00 00 01 00 00 00") +
      Hdr2(9, "92 01 00");
  EXPECT_THAT(Decode({{extract}}, true).lines,
              ElementsAre("8 log text='Range 8 to 9'", "8 log text='State completed by vmr'",
                          "8 position latitude=600000 longitude=600000 absolute=1 (repeats)",
                          "9 position latitude=600001 longitude=600000 absolute=0"));
}

// Recorded texts come behind the state.
TEST(Positions, ARecordedLogCannotClaimThatAStateWasCompleted) {
  const Bytes extract = Hdr1(8, std::string(kLabelItem) + " 91 00 01 00 00 00 01 00 00 00") +
                        Hdr2(9, std::string(kCompletedItem) + " 92 01 00");
  EXPECT_THAT(
      Decode({{extract}}, true).lines,
      testing::Contains("9 position latitude=600001 longitude=600000 absolute=0 (unverified)"));
}

TEST(Positions, OfAStateWhoseLabelHasAWrongCrcAreUnverified) {
  Bytes label = Hdr1(8, std::string(kLabelItem));
  label.back() ^= 1;
  EXPECT_THAT(
      Decode({{label + Cont("91 00 01 00 00 00 01 00 00 00") + Hdr2(9, "56")}}, true).lines,
      testing::Contains("- position latitude=600000 longitude=600000 absolute=1 (unverified)"));
}

// ---- Marks of an extract ----------------------------------------------------------

TEST(GapMarks, AreGapsInAFlatFile) {
  EXPECT_THAT(
      Decode({{Hdr1(10, "56") + B("82 00 FF") + Hdr2(20, "56") + Hdr1(300, "56")}}, true).lines,
      ElementsAre("10 bookmark", "gap 10..- lost before it was copied", "- bookmark",
                  "300 bookmark"));
}

TEST(GapMarks, AreGapsInAStore) {
  EXPECT_THAT(DecodedLines(Hdr1(10, "56") + B("82 00 FF") + Hdr2(20, "56")),
              ElementsAre("10 bookmark", "gap 10..- lost before it was copied", "- bookmark"));
}

TEST(GapMarks, WithAWrongCrcArePacketsLikeOthers) {
  EXPECT_THAT(DecodedLines(Hdr1(10, "56") + B("82 00 00") + Hdr2(20, "56")),
              ElementsAre("10 bookmark", "gap 10..20 wrong packet CRC", "20 bookmark"));
}

// ---- Times -----------------------------------------------------------------------

TEST(Times, OfAPacketWithAWrongCrcAreEstimates) {
  Bytes flipped = Hdr2(14, "56");
  flipped.back() ^= 1;
  const Lines lines = Decode({{Hdr1(10, "03 64 00 00 00") + flipped + Hdr2(15, "56")}});
  EXPECT_EQ(lines.times.at(1).quality, TimeQuality::kEstimated);
}

TEST(Ticks, OfAHeaderWithAWrongCrcDoNotHoldForItsContinuations) {
  Bytes flipped = Hdr2(14, "56");
  flipped.back() ^= 1;
  EXPECT_THAT(DecodedLines(Hdr1(10, "56") + flipped + Cont("10 04 61 62 63 64") + Hdr2(15, "56")),
              ElementsAre("10 bookmark", "14 bookmark (wrong CRC)", "gap 10..- wrong packet CRC",
                          "- serial_number text='abcd'", "15 bookmark"));
}

// A flipped length: the packet swallows the one behind it, which told the tick's upper bits.
TEST(Ticks, BehindAPacketThatMayHaveSwallowedAHeaderAreUnknown) {
  EXPECT_THAT(DecodedLines(Hdr1(7824, "56") + B("81 94 09 56 44 80 6A 1F 00 00 01 56 2C") +
                           Hdr2(0x6C, "56") + Hdr1(8050, "56")),
              ElementsAre("7824 bookmark", "7828 bookmark (wrong CRC)",
                          "7828 input input='ignition' on=1 (wrong CRC)",
                          "gap 7824..- wrong packet CRC", "- bookmark", "8050 bookmark"));
}

TEST(Ticks, BehindAFullHeaderWithAWrongCrcAreUnknownUntilTheNextOne) {
  Bytes flipped = Hdr1(300, "56");
  flipped.back() ^= 1;
  EXPECT_THAT(DecodedLines(Hdr1(10, "56") + flipped + Hdr2(50, "56") + Hdr1(310, "56")),
              ElementsAre("10 bookmark", "300 bookmark (wrong CRC)", "gap 10..- wrong packet CRC",
                          "- bookmark", "310 bookmark"));
}

std::vector<std::string> TimesOf(const Lines& lines) {
  std::vector<std::string> texts;
  for (const Time& time : lines.times)
    texts.push_back(time.quality == TimeQuality::kUnknown
                        ? "unknown"
                        : std::to_string(time.us / 100000) + " " + TextOf(time.quality));
  return texts;
}

TEST(Times, GoOnFromTheLastOneTold) {
  EXPECT_THAT(TimesOf(Decode({{Hdr1(10, "03 64 00 00 00") + Hdr2(13, "56")}})),
              ElementsAre("1000 exact", "1015 exact"));
}

TEST(Times, BeforeTheFirstOneAreReckonedBackwards) {
  EXPECT_THAT(TimesOf(Decode({{Hdr1(4, "56")}, {Hdr1(10, "56 03 64 00 00 00")}})),
              ElementsAre("970 estimated", "1000 estimated", "1000 exact"));
}

// A time item behind a tick adjust tells the time of the tick that it was adjusted to. All of
// these are of one clock, on which tick 0 is at 93 s: forwards and backwards come to the same.
TEST(Times, BeforeAnAdjustedOneAreReckonedFromItsOwnTick) {
  const Bytes told = Hdr1(12, "36 21 04 03 61 00 00 00 36");  // 97 s at tick 8
  const auto expected =
      ElementsAre("950 estimated", "990 estimated", "990 estimated", "970 exact", "990 exact");
  EXPECT_THAT(TimesOf(Decode({{Hdr1(4, "56") + told}})), expected);
  EXPECT_THAT(TimesOf(Decode({{Hdr1(4, "56")}, {told}})), expected);
}

TEST(Times, OfAGroupThatBeginsWithAnAdjustedOneAreReckonedFromItsOwnTick) {
  EXPECT_THAT(TimesOf(Decode({{Hdr1(12, "56 21 04 03 61 00 00 00")}})),
              ElementsAre("990 estimated", "990 estimated", "970 exact"));
  // The tick adjust holds for the item behind it alone.
  EXPECT_THAT(TimesOf(Decode({{Hdr1(12, "21 04 56 03 63 00 00 00")}})),
              ElementsAre("990 estimated", "970 estimated", "990 exact"));
}

TEST(Times, BehindAGapComeFromTheOwnTickOfAnAdjustedOne) {
  EXPECT_THAT(TimesOf(Decode({{Hdr1(10, "03 62 00 00 00"), 10},
                              {Hdr1(30, "56") + Hdr1(40, "21 0A 03 6C 00 00 00"), 30, true}})),
              ElementsAre("980 exact", "1080 estimated", "1130 estimated", "1080 exact"));
}

// A time that has been told is not the next one, though it stands in the packets of the tick.
TEST(Times, BehindAGapAmongTheContinuationsOfATickComeFromTheNextOneTold) {
  const Bytes tick = Hdr1(10, "03 64 00 00 00") + Cont("56 FF") + Cont("56 56");
  EXPECT_THAT(TimesOf(Decode({{tick + Hdr1(30, "56") + Hdr1(40, "03 C8 00 00 00")}})),
              ElementsAre("1000 exact", "1000 exact", "1850 estimated", "1850 estimated",
                          "1950 estimated", "2000 stepped"));
}

// The gap that is to be told behind the continuation and the lost cluster are one; the time
// between them is sure for neither.
TEST(Times, BehindAGapThatJoinsOneOfTheTickBeforeAreEstimates) {
  const Bytes tick = Hdr1(10, "56 FF") + Cont("03 64 00 00 00");
  const Lines lines = Decode({{tick, 10}, {Hdr1(30, "56"), 30, true}});
  EXPECT_THAT(TimesOf(lines), ElementsAre("1000 estimated", "1000 exact", "1100 estimated"));
  EXPECT_THAT(lines.lines, ElementsAre("10 bookmark", "10 time clock=100",
                                       "gap 10..30 lost clusters", "30 bookmark"));
}

// Tick 0 less one is 0xFFFFFFFF, which is no tick: nothing is reckoned from there.
TEST(Times, AreNotReckonedFromATimeThatIsAdjustedToNoTick) {
  EXPECT_THAT(TimesOf(Decode({{Hdr1(0, "56 21 01 03 50 00 00 00") + Hdr2(6, "03 67 00 00 00")}})),
              ElementsAre("1000 estimated", "1000 estimated", "unknown", "1030 exact"));
}

TEST(Times, AreUnknownWhereNoneIsTold) {
  EXPECT_THAT(TimesOf(Decode({{Hdr1(4, "56")}})), ElementsAre("unknown"));
  EXPECT_THAT(TimesOf(Decode({{Hdr1(4, "03 FF FF FF FF")}})), ElementsAre("unknown"));
}

TEST(Times, ThatJumpAreAnEventWithItsSize) {
  const Lines lines = Decode({{Hdr1(10, "03 64 00 00 00") + Hdr2(20, "03 C8 00 00 00")}});
  EXPECT_THAT(lines.lines,
              ElementsAre("10 time clock=100", "step 20 by 95000000", "20 time clock=200"));
  EXPECT_THAT(TimesOf(lines), ElementsAre("1000 exact", "2000 stepped"));
}

TEST(Times, WithinASecondAreNoJump) {
  EXPECT_THAT(Decode({{Hdr1(10, "03 64 00 00 00") + Hdr2(20, "03 6A 00 00 00")}}).lines,
              ElementsAre("10 time clock=100", "20 time clock=106"));
}

TEST(Times, BehindAGapComeFromTheNextOneTold) {
  EXPECT_THAT(TimesOf(Decode({{Hdr1(10, "03 64 00 00 00"), 10},
                              {Hdr1(30, "56") + Hdr1(40, "03 E8 03 00 00"), 30, true}})),
              ElementsAre("1000 exact", "9950 estimated", "10000 stepped"));
}

TEST(Times, BehindAGapWithoutANextOneAreEstimated) {
  EXPECT_THAT(TimesOf(Decode({{Hdr1(10, "03 64 00 00 00"), 10}, {Hdr1(30, "56"), 30, true}})),
              ElementsAre("1000 exact", "1100 estimated"));
}

// The stretch at hand is looked through from its beginning.
TEST(Times, OfASecondRunInOneStretchComeFromTheNextOneToldInIt) {
  EXPECT_THAT(TimesOf(Decode({{Hdr1(500000, "56") + Hdr1(4, "56") + Hdr1(14, "03 64 00 00 00")}})),
              ElementsAre("unknown", "950 estimated", "1000 exact"));
}

// The one in front of the damage is the last one told, not the next.
TEST(Times, BehindDamageComeFromTheNextOneToldInTheSameStretch) {
  Bytes flipped = Hdr1(14, "56");
  flipped.back() ^= 1;
  EXPECT_THAT(TimesOf(Decode({{Hdr1(10, "03 64 00 00 00") + flipped + Hdr1(20, "56") +
                               Hdr1(30, "03 C8 00 00 00")}})),
              ElementsAre("1000 exact", "1020 estimated", "1950 estimated", "2000 stepped"));
}

// Short headers behind a lost cluster have the upper bits of its own first tick.
TEST(Times, BehindALostClusterAreReckonedByItsOwnTicks) {
  EXPECT_THAT(TimesOf(Decode({{Hdr1(10, "56"), 10}, {Hdr2(20, "03 64 00 00 00"), 0x114, true}})),
              ElementsAre("-330 estimated", "1000 exact"));
}

TEST(Times, OfAnotherRunTellNothingOfThisOne) {
  EXPECT_THAT(TimesOf(Decode({{Hdr1(500000, "56") + Hdr1(4, "03 64 00 00 00")}})),
              ElementsAre("unknown", "1000 exact"));
}

// ---- Damage ----------------------------------------------------------------------

TEST(Damage, WrongPacketCrcMarksItsRecordsAndIsAGap) {
  Bytes bad = Hdr1(5, "34 36");
  bad.back() = static_cast<unsigned char>(bad.back() ^ 1);
  EXPECT_THAT(DecodedLines(Hdr1(4, "56") + bad + Hdr1(6, "56")),
              ElementsAre("4 bookmark", "5 input input='emergency lights' on=1 (wrong CRC)",
                          "5 input input='siren' on=1 (wrong CRC)", "gap 4..6 wrong packet CRC",
                          "6 bookmark"));
}

TEST(Damage, BytesThatBeginNoPacketAreAGap) {
  EXPECT_THAT(DecodedLines(Hdr1(4, "56") + B("00 11 22") + Hdr1(6, "56")),
              ElementsAre("4 bookmark", "gap 4..6 no packets", "6 bookmark"));
}

TEST(Damage, ShortHeaderBehindItHasNoTick) {
  EXPECT_THAT(DecodedLines(Hdr1(4, "56") + B("00") + Hdr2(6, "56")),
              ElementsAre("4 bookmark", "gap 4..- no packets", "- bookmark"));
}

TEST(Damage, PacketCutShortIsAGap) {
  Bytes cut = Hdr1(6, "34 36 38");
  cut.resize(cut.size() - 2);
  EXPECT_THAT(DecodedLines(Hdr1(4, "56") + cut),
              ElementsAre("4 bookmark", "gap 4..- cut short at the end"));
}

TEST(Damage, ItemOfNoKnownKindHidesTheRestOfItsPacketOnly) {
  EXPECT_THAT(DecodedLines(Hdr1(4, "56 FF 34") + Hdr2(5, "56")),
              ElementsAre("4 bookmark", "gap 4..5 unknown item", "5 bookmark"));
}

TEST(Damage, ItemThatReachesPastItsPacketHidesTheRest) {
  const Lines lines = Decode({{Hdr1(4, "56 05 09 41")}});
  EXPECT_THAT(lines.lines, ElementsAre("4 bookmark", "gap 4..- unknown item"));
  EXPECT_EQ(lines.gaps[0].bytes, 3);
}

TEST(Damage, OfNothingButBytesFindsNothing) {
  EXPECT_THAT(DecodedLines(Bytes(500, 0x7F)), ElementsAre("gap -..- no packets"));
  EXPECT_THAT(DecodedLines({}), IsEmpty());
}

TEST(Damage, DictionariesAndNullHeadersAreNone) {
  EXPECT_THAT(DecodedLines(B("83 01 56 01 00 84 84") + Hdr1(4, "56")), ElementsAre("4 bookmark"));
}

// A dictionary has no CRC: what ends wrong may have swallowed packets, and with them a tick.
TEST(Damage, DictionaryThatEndsWrongHidesNoPacketThatStandsInIt) {
  EXPECT_THAT(DecodedLines(Hdr1(4, "56") + B("83 05") + Hdr1(6, "34") + Hdr2(7, "56")),
              ElementsAre("4 bookmark", "gap 4..6 no packets",
                          "6 input input='emergency lights' on=1", "7 bookmark"));
  EXPECT_THAT(DecodedLines(Hdr1(4, "56") + B("83 00 93") + Hdr2(7, "56")),
              ElementsAre("4 bookmark", "gap 4..- no packets", "- bookmark"));
}

// ---- Full states -----------------------------------------------------------------

// The end of a configuration and every input, filled up to a size that only a full state has.
std::string FullStateItems(const std::string& more) {
  std::string fill;
  for (int i = 0; i < 30; ++i) fill += "18 26 01 ";
  return fill + "1A 35 37 39 3D 3F 41 43 45 47 3B 4B " + more;
}

std::vector<std::string> LinesOf(const Bytes& stream, const std::string& part) {
  std::vector<std::string> found;
  for (const std::string& line : DecodedLines(stream))
    if (line.find(part) != std::string::npos) found.push_back(line);
  return found;
}

TEST(FullStates, RepeatWhatIsKnownAndWhatNothingHasTold) {
  const Bytes stream = Hdr1(4, "71 20") + Hdr1(5, FullStateItems("71 20 E1 05"));
  EXPECT_THAT(LinesOf(stream, "speed"),
              ElementsAre("4 speed device=1 speed=32", "5 speed device=1 speed=32 (repeats)"));
  EXPECT_THAT(LinesOf(stream, "temperature"),
              ElementsAre("5 temperature sensor='inlet' temperature=5 (repeats)"));
}

TEST(FullStates, HoldChangesThatWereWaitingWhenTheyWereWritten) {
  EXPECT_THAT(LinesOf(Hdr1(4, "34") + Hdr1(5, FullStateItems("")), "lights"),
              ElementsAre("4 input input='emergency lights' on=1",
                          "5 input input='emergency lights' on=0"));
}

TEST(FullStates, AreToldFromConfigurationsByTheInputs) {
  std::string configuration;
  for (int i = 0; i < 40; ++i) configuration += "18 26 01 ";
  for (const std::string& line : DecodedLines(Hdr1(5, configuration + "1A")))
    EXPECT_EQ(line.find("(repeats)"), std::string::npos) << line;
}

// It tells what one field of each report has made of a live stream.
TEST(FullStates, DoNotChangeALiveStream) {
  EXPECT_THAT(LinesOf(Hdr1(4, "B0 05 00 00 00 00 00 00 01") +
                          Hdr1(5, FullStateItems("B0 00 00 00 00 00 00 00 01")),
                      "5 live"),
              ElementsAre("5 live_stream stream=0 camera=1 enabled=0 quality='low' address=0 "
                          "port=0 (repeats)"));
}

TEST(FullStates, ThatGoOnInTheNextClusterAreWhole) {
  const std::string first = FullStateItems("").substr(0, 90);
  const std::string rest = FullStateItems("E1 05").substr(90);
  const auto lines = Decode({{Hdr1(5, first)}, {Cont(rest), 5}}).lines;
  EXPECT_EQ(lines.back(), "5 temperature sensor='inlet' temperature=5 (repeats)");
}

}  // namespace
}  // namespace vmr::records
