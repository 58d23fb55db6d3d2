// Microphones: the two numberings, presence and state, descriptions.
#include <gtest/gtest.h>

#include "host/mic_client.h"
#include "tests/support/store_fixture.h"

namespace vmr::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr e_MicrophonePosition Position(unsigned int n) {
  return static_cast<e_MicrophonePosition>(n);
}

class Microphones : public StoreTest {
 protected:
  const MicrophoneMirror& Mirror() const { return store.Mirror().microphone; }
};

// ---- The two numberings --------------------------------------------------------

TEST_F(Microphones, PositionsHaveTheirStreamNumbers) {
  const unsigned char expected[] = {1, 2, 0, 3};
  for (unsigned int n = 0; n < 4; ++n)
    EXPECT_EQ(DataStore::ConvertOrvaneMicToKELTMicValue(Position(n)), expected[n]);
  EXPECT_THAT(log.Entries(), IsEmpty());
}

TEST_F(Microphones, PositionFourIsItselfAndLogged) {
  EXPECT_EQ(DataStore::ConvertOrvaneMicToKELTMicValue(Position(4)), 4);
  EXPECT_THAT(log.Entries(),
              ElementsAre(LogEntry{kLogError, "DataStore.cc",
                                   "ConvertOrvaneMicToKELTMicValue Invalid Mic value passed in of "
                                   "4"}));
}

TEST_F(Microphones, AnyOtherPositionIsSilentlyZero) {
  for (const unsigned int n : {5u, 255u, 0xFFFFFFFFu})
    EXPECT_EQ(DataStore::ConvertOrvaneMicToKELTMicValue(Position(n)), 0) << n;
  EXPECT_THAT(log.Entries(), IsEmpty());
}

TEST_F(Microphones, StreamNumbersHaveTheirPositions) {
  const unsigned int expected[] = {2, 0, 1, 3};
  for (unsigned char n = 0; n < 4; ++n)
    EXPECT_EQ(DataStore::ConvertKeltMicToOrvaneMicValue(n), expected[n]);
  EXPECT_THAT(log.Entries(), IsEmpty());
}

TEST_F(Microphones, AStreamNumberOfFourOrMoreReadsBackAsPositionTwoAfterAMessageWithARawCharacter) {
  EXPECT_EQ(DataStore::ConvertKeltMicToOrvaneMicValue(0x41), 2u);
  EXPECT_EQ(DataStore::ConvertKeltMicToOrvaneMicValue(4), 2u);
  EXPECT_THAT(log.Entries(),
              ElementsAre(LogEntry{kLogError, "DataStore.cc",
                                   "ConvertKeltMicToOrvaneMicValue Invalid KELT value passed in of "
                                   "A"},
                          LogEntry{kLogError, "DataStore.cc",
                                   "ConvertKeltMicToOrvaneMicValue Invalid KELT value passed in of "
                                   "\x04"}));
}

// ---- Presence and state --------------------------------------------------------

TEST_F(Microphones, DataItemsAreWrittenToTheLastByteWithSlackOne) {
  store.ReportMicPresent(MIC_POSITION_0, true, true, 99);
  EXPECT_TRUE(Logged(kLogEachItem, "AddToCurrPacket, newTick 99 lastSlackSt = 0"));
  EXPECT_THAT(Added(), ElementsAre("Add to Current packet size (4), newSlack (1)"));
  store.ReportMicState(MIC_POSITION_3, true, true, 0);
  store.ReportMicState(MIC_POSITION_3, false, true, 0);
  store.ReportMicPresent(MIC_POSITION_0, false, true, 0);
  EXPECT_EQ(Items(), B("59 01 01 01 59 03 02 01 59 03 02 00 59 01 01 00"));
}

TEST_F(Microphones, PositionTwoIsRecordedAsStreamNumberZeroAndReadBackAsPositionTwo) {
  store.ReportMicState(MIC_POSITION_2, true, true, 0);
  const Bytes item = Items();
  EXPECT_EQ(item, B("59 00 02 01"));
  RecordingStore read_back;
  DecodeResult result_of_reading;
  FindTag(0x59)->decoder(read_back, item.data(), result_of_reading);
  EXPECT_TRUE(read_back.Mirror().microphone.on[2]);
  EXPECT_THAT(log.Texts(kLogError), IsEmpty());
}

TEST_F(Microphones, ReportingTheSameValueTwiceRecordsOneItem) {
  for (int n = 0; n < 2; ++n) store.ReportMicPresent(MIC_POSITION_1, true, true, 0);
  EXPECT_EQ(Items(), B("59 02 01 01"));
  for (int n = 0; n < 2; ++n) store.ReportMicState(MIC_POSITION_1, true, true, 0);
  EXPECT_EQ(Items(), B("59 02 02 01"));
}

TEST_F(Microphones, WhatIsOffAtFirstIsNotRecordedAsOff) {
  store.ReportMicPresent(MIC_POSITION_1, false, true, 0);
  store.ReportMicState(MIC_POSITION_1, false, true, 0);
  EXPECT_THAT(Items(), IsEmpty());
}

TEST_F(Microphones, AReportWithoutWriteChangesTheMirrorSoALaterReportRecordsNothing) {
  store.ReportMicPresent(MIC_POSITION_1, true, false, 0);
  store.ReportMicState(MIC_POSITION_1, true, false, 0);
  EXPECT_TRUE(Mirror().present[1]);
  EXPECT_TRUE(Mirror().on[1]);
  store.ReportMicPresent(MIC_POSITION_1, true, true, 0);
  store.ReportMicState(MIC_POSITION_1, true, true, 0);
  EXPECT_THAT(Items(), IsEmpty());
}

TEST_F(Microphones, PositionsAboveThreeAreLoggedAndIgnored) {
  store.ReportMicPresent(MIC_POSITION_INVALID, true, true, 0);
  store.ReportMicState(Position(0xFFFFFFFF), true, true, 0);
  EXPECT_THAT(log.Entries(),
              ElementsAre(LogEntry{kLogError, "DataStore.cc", "Invalid mic 4"},
                          LogEntry{kLogError, "DataStore.cc", "Invalid mic 4294967295"}));
  EXPECT_THAT(Items(), IsEmpty());
}

TEST_F(Microphones, ReportsPrintNothing) {
  store.SetViewMode(kViewItems);
  EXPECT_EQ(Printed([&] {
              store.ReportMicPresent(MIC_POSITION_1, true, true, 0);
              store.ReportMicState(MIC_POSITION_1, true, true, 0);
            }),
            "");
}

TEST_F(Microphones, DecodedDataIsHeldAndShownWhetherItChangedOrNot) {
  for (int n = 0; n < 2; ++n)
    EXPECT_EQ(View(B("59 01 01 01")),
              "[Tag=MicData, TagNo=0x59, KELTMicId=1, MicId=0 Present=1-yes]");
  EXPECT_EQ(View(B("59 00 01 00")), "[Tag=MicData, TagNo=0x59, KELTMicId=0, MicId=2 Present=0-no]");
  EXPECT_EQ(View(B("59 03 02 FF")), "[Tag=MicData, TagNo=0x59, KELTMicId=3, MicId=3 State=1-on]");
  EXPECT_EQ(View(B("59 02 02 00")), "[Tag=MicData, TagNo=0x59, KELTMicId=2, MicId=1 State=0-off]");
  EXPECT_TRUE(Mirror().present[0]);
  EXPECT_TRUE(Mirror().on[3]);
  EXPECT_THAT(Items(), IsEmpty());
}

TEST_F(Microphones, DecodedDataOfAnInvalidStreamNumberIsPositionTwos) {
  EXPECT_EQ(View(B("59 41 02 01")), "[Tag=MicData, TagNo=0x59, KELTMicId=65, MicId=2 State=1-on]");
  EXPECT_TRUE(Mirror().on[2]);
  EXPECT_TRUE(
      Logged(kLogError, "ConvertKeltMicToOrvaneMicValue Invalid KELT value passed in of A"));
}

TEST_F(Microphones, AKindThatIsNeitherOfTheTwoChangesNothing) {
  EXPECT_EQ(View(B("59 01 00 01")), "[Invalid Mic State = 0] ");
  EXPECT_EQ(View(B("59 01 03 01")), "[Invalid Mic State = 3] ");
  EXPECT_EQ(View(B("59 01 FF 01")), "[Invalid Mic State = 255] ");
  for (int n = 0; n < 4; ++n) EXPECT_FALSE(Mirror().present[n] || Mirror().on[n]);
}

// ---- Descriptions --------------------------------------------------------------

TEST_F(Microphones, DescriptionIsWrittenToTheLastByteWithSlackFour) {
  store.WriteMicDesc(MIC_POSITION_2);
  EXPECT_THAT(Added(), ElementsAre("Add to Current packet size (12), newSlack (4)"));
  EXPECT_EQ(Items(), B("58 00 00 00 07 24 24 43 61 62 69 6E"));
}

TEST_F(Microphones, TheDescriptionOfEveryPositionCarriesANameBeginningWithTwoDollarSigns) {
  const unsigned char numbers[] = {1, 2, 0, 3};
  for (unsigned int n = 0; n < 4; ++n) {
    store.WriteMicDesc(Position(n));
    const std::string name = std::string("$$") + MicClient::names[n];
    EXPECT_EQ(Items(), (Bytes{0x58, numbers[n], numbers[n], numbers[n],
                              static_cast<unsigned char>(name.size())}) +
                           Chars(name));
  }
}

TEST_F(Microphones, ADescriptionOfAnInvalidPositionConvertsItThreeTimes) {
  store.WriteMicDesc(MIC_POSITION_INVALID);
  EXPECT_EQ(Items(), B("58 04 04 04 02 24 24"));
  EXPECT_EQ(log.Count(kLogError, "DataStore.cc",
                      "ConvertOrvaneMicToKELTMicValue Invalid Mic value passed in of 4"),
            3);
}

TEST_F(Microphones, EachByteOfADecodedDescriptionIsConvertedByItself) {
  EXPECT_EQ(View(B("58 01 02 03 02 24 24")),
            "[Tag=MicDesc, TagNo=0x58, KeltMicId=1, MicId=0, Type=wireless 2, Port=3, "
            "Name='Wireless 1']");
  EXPECT_EQ(View(B("58 00 00 00 00")),
            "[Tag=MicDesc, TagNo=0x58, KeltMicId=0, MicId=2, Type=cabin, Port=2, Name='Cabin']");
}

TEST_F(Microphones, TheNameInTheItemIsNotShownTheUnitsNameIs) {
  EXPECT_EQ(View(B("58 03 03 03 05") + Chars("$$Eve")),
            "[Tag=MicDesc, TagNo=0x58, KeltMicId=3, MicId=3, Type=auxiliary, Port=3, "
            "Name='Auxiliary']");
}

TEST_F(Microphones, ADecodedDescriptionOfInvalidNumbersIsPositionTwos) {
  EXPECT_EQ(View(B("58 09 09 09 00")),
            "[Tag=MicDesc, TagNo=0x58, KeltMicId=9, MicId=2, Type=cabin, Port=2, Name='Cabin']");
  EXPECT_EQ(log.Count(kLogError, "DataStore.cc",
                      "ConvertKeltMicToOrvaneMicValue Invalid KELT value passed in of \t"),
            3);
}

TEST_F(Microphones, NothingIsPrintedOutsideTheViewer) {
  EXPECT_EQ(Printed([&] {
              Decode(B("58 01 01 01 02 24 24"));
              Decode(B("59 01 01 01"));
              Decode(B("59 01 02 01"));
              Decode(B("59 01 09 01"));
            }),
            "");
  EXPECT_TRUE(Mirror().on[0]);
}

}  // namespace
}  // namespace vmr::test
