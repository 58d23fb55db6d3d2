// Collecting the packets of one tick, and passing them on unchanged.
#include <ostream>

#include "tests/reader/reader_fixture.h"

namespace vmr::test {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::Ge;
using testing::IsEmpty;
using testing::SizeIs;

// Siren on at ticks 100 and 102 (0x64, 0x66); the second tick has more.
const Bytes kTick100 = WithCrc(B("80 64 00 00 00 01 36"));
const Bytes kTick102 = WithCrc(B("81 66 01 37"));
const Bytes kMoreOf102 = WithContCrc(B("82 03 C0 01 02"));
const Bytes kDictionary = B("83 02 02 08 11 82 00");

class Collecting : public ReaderTest {};

// ---- Where a tick ends -------------------------------------------------------

TEST_F(Collecting, AHeaderEndsTheTickBeforeIt) {
  MemorySource source(kTick100 + kTick102 + kMoreOf102);
  EXPECT_THAT(NextTick(source), ElementsAre(kTick100));
  EXPECT_EQ(reader.ReadSysTick(), 100u);
  EXPECT_THAT(NextTick(source), ElementsAre(kTick102, kMoreOf102));
  EXPECT_EQ(reader.ReadSysTick(), 102u);
  EXPECT_EQ(ReadNext(source), 0);
}

TEST_F(Collecting, Header1TickIsReadLeastSignificantByteFirst) {
  MemorySource source(WithCrc(B("80 04 03 02 01 02 21 07")));
  EXPECT_THAT(NextTick(source), SizeIs(1));
  EXPECT_EQ(reader.ReadSysTick(), 0x01020304u);
  EXPECT_TRUE(Logged(64, "ReadNextSystemTick: Found HEADER_1 @ last read system tick 16909060"));
}

TEST_F(Collecting, Header2ReplacesTheLowEightBitsOfTheTick) {
  MemorySource source(WithCrc(B("80 04 03 02 01 00")) + WithCrc(B("81 FF 00")));
  NextTick(source);
  NextTick(source);
  EXPECT_EQ(reader.ReadSysTick(), 0x010203FFu);
  EXPECT_TRUE(Logged(64, "ReadNextSystemTick: Found HEADER_2 @ last read system tick 16909311"));
}

TEST_F(Collecting, Header2MetBeforeAnyHeader1IsCollectedWithAnUndefinedTick) {
  MemorySource source(kTick102 + kMoreOf102 + kTick100);
  // Deliberate: "ignoring" speaks of the tick; the packet itself is collected.
  EXPECT_THAT(NextTick(source), ElementsAre(kTick102, kMoreOf102));
  EXPECT_EQ(reader.ReadSysTick(), 0xFFFFFFFFu);
  EXPECT_TRUE(Logged(4,
                     "ReadNextSystemTick: Found HEADER_2 packet when last read system tick was "
                     "undefined, ignoring..."));
  EXPECT_TRUE(
      Logged(64, "ReadNextSystemTick: Found HEADER_CONT @ last read system tick 4294967295"));
  EXPECT_THAT(NextTick(source), ElementsAre(kTick100));
  EXPECT_EQ(reader.ReadSysTick(), 100u);
}

TEST_F(Collecting, AContinuationIsLoggedWithTheTickItBelongsTo) {
  MemorySource source(kTick100 + kMoreOf102);
  EXPECT_THAT(NextTick(source), ElementsAre(kTick100, kMoreOf102));
  EXPECT_TRUE(Logged(64, "ReadNextSystemTick: Found HEADER_CONT @ last read system tick 100"));
  EXPECT_THAT(log.Texts(4), IsEmpty());
}

TEST_F(Collecting, AStreamThatBeginsWithAContinuationYieldsATickOfThatContinuationAlone) {
  MemorySource source(kMoreOf102 + kTick100);
  EXPECT_THAT(NextTick(source), ElementsAre(kMoreOf102));
  EXPECT_THAT(log.Texts(4),
              ElementsAre("ReadNextSystemTick: Possible out of sequence read of a CONTINUATION "
                          "packet in source @ last read system tick 4294967295"));
  EXPECT_THAT(NextTick(source), ElementsAre(kTick100));
}

TEST_F(Collecting, AContinuationThatBeginsALaterTickIsOutOfSequenceAtTheLastTick) {
  Bytes many;
  for (int i = 0; i < 17; ++i) many = many + kMoreOf102;
  MemorySource source(kTick100 + many);
  EXPECT_THAT(NextTick(source), SizeIs(17));
  EXPECT_THAT(NextTick(source), ElementsAre(kMoreOf102));
  EXPECT_TRUE(Logged(4,
                     "ReadNextSystemTick: Possible out of sequence read of a CONTINUATION packet "
                     "in source @ last read system tick 100"));
}

TEST_F(Collecting, SeventeenContinuationsInARowEndTheCollectionAfterTheSeventeenth) {
  Bytes many;
  for (int i = 0; i < 20; ++i) many = many + kMoreOf102;
  MemorySource source(many);
  EXPECT_THAT(NextTick(source), SizeIs(17));
  EXPECT_THAT(NextTick(source), SizeIs(3));
  EXPECT_EQ(ReadNext(source), 0);
}

TEST_F(Collecting, SeventeenPacketsDoNotAskTheSourceForMore) {
  Bytes many;
  for (int i = 0; i < 17; ++i) many = many + kMoreOf102;
  MemorySource source(many);
  EXPECT_EQ(ReadNext(source), 17);
  EXPECT_THAT(source.rooms, SizeIs(1));
}

// ---- Dictionaries ------------------------------------------------------------

TEST_F(Collecting, ADictionaryIsCollectedWithTheTickThatFollowsIt) {
  MemorySource source(kDictionary + kTick100 + kTick102);
  EXPECT_THAT(NextTick(source), ElementsAre(kDictionary, kTick100));
  EXPECT_TRUE(Logged(64, "ReadNextSystemTick: Found HEADER_DICTIONARY"));
  EXPECT_THAT(NextTick(source), ElementsAre(kTick102));
}

TEST_F(Collecting, ADictionaryWithinATickDoesNotEndIt) {
  MemorySource source(kTick100 + kDictionary + kMoreOf102 + kTick102);
  EXPECT_THAT(NextTick(source), ElementsAre(kTick100, kDictionary, kMoreOf102));
  EXPECT_THAT(NextTick(source), ElementsAre(kTick102));
}

TEST_F(Collecting, SeveralDictionariesGoWithTheTickBehindThem) {
  MemorySource source(kDictionary + kDictionary + kTick102);
  EXPECT_THAT(NextTick(source), ElementsAre(kDictionary, kDictionary, kTick102));
}

TEST_F(Collecting, ADictionaryOccupiesOneOfTheSeventeenEntries) {
  Bytes many = kDictionary + kTick100;
  for (int i = 0; i < 16; ++i) many = many + kMoreOf102;
  MemorySource source(many);
  EXPECT_THAT(NextTick(source), SizeIs(17));
  EXPECT_THAT(NextTick(source), ElementsAre(kMoreOf102));
}

TEST_F(Collecting, ADictionaryAtTheEndOfTheDataIsStillReturned) {
  MemorySource source(kDictionary);
  EXPECT_THAT(NextTick(source), ElementsAre(kDictionary));
  EXPECT_EQ(ReadNext(source), 0);
}

TEST_F(Collecting, TheLargestDictionaryIsCollectedWhole) {
  const Bytes largest = B("83 FF") + Filled(510, 0x80) + B("00");
  MemorySource source(largest + kTick100, 100);
  EXPECT_THAT(NextTick(source), ElementsAre(largest, kTick100));
}

// ---- Damage ------------------------------------------------------------------

TEST_F(Collecting, ANullHeaderIsSkippedAsOneByte) {
  MemorySource source(B("84 84") + kTick100 + B("84"));
  EXPECT_THAT(NextTick(source), ElementsAre(kTick100));
  EXPECT_EQ(TimesLogged(128, "ReadNextSystemTick: Found HEADER_NULL"), 3);
}

TEST_F(Collecting, DamagedDataIsSkippedByteByByte) {
  MemorySource source(B("00 36 7F 85 FF") + kTick100 + B("00 01") + kMoreOf102);
  EXPECT_THAT(NextTick(source), ElementsAre(kTick100, kMoreOf102));
  EXPECT_EQ(TimesLogged(128, "ReadNextSystemTick: Found OTHER"), 7);
}

TEST_F(Collecting, EveryByteThatIsNoHeaderIsSkipped) {
  for (int byte = 0; byte < 256; ++byte) {
    if (byte >= 0x80 && byte <= 0x83) continue;
    SCOPED_TRACE(byte);
    MemorySource source(Filled(3, static_cast<unsigned char>(byte)) + kTick100);
    reader.StartAt(0);
    log.Clear();
    EXPECT_THAT(NextTick(source), ElementsAre(kTick100));
    EXPECT_EQ(TimesLogged(128, byte == 0x84 ? "ReadNextSystemTick: Found HEADER_NULL"
                                            : "ReadNextSystemTick: Found OTHER"),
              3);
  }
}

TEST_F(Collecting, NoPacketCrcIsChecked) {
  const Bytes wrong = B("80 64 00 00 00 01 36 00");
  ASSERT_NE(wrong, kTick100);
  MemorySource source(wrong);
  EXPECT_THAT(NextTick(source), ElementsAre(wrong));
}

TEST_F(Collecting, AnEmptySourceIsTheEndOfTheData) {
  MemorySource source({});
  EXPECT_EQ(ReadNext(source), 0);
  EXPECT_EQ(ReadNext(source), 0);
}

// ---- Packets and reads -------------------------------------------------------

TEST_F(Collecting, APacketCutByTheEndOfTheBufferCausesOneMoreReadBeforeItIsExaminedAgain) {
  MemorySource source(WithCrc(B("80 64 00 00 00 03 C0 01 02")), 8);
  EXPECT_EQ(ReadNext(source), 1);
  EXPECT_EQ(TimesLogged(64, "ReadNextSystemTick: bytesleft 8 looking for 10"), 1);
  EXPECT_EQ(TimesLogged(64, "ReadNextSystemTick: Found HEADER_1 @ last read system tick 100"), 1);
  EXPECT_THAT(source.rooms, SizeIs(3));  // the third finds the end of the data
}

// One byte less than a packet, of each kind, and how much it then waits for.
struct Cut {
  const char* bytes;
  const char* text;
};
void PrintTo(const Cut& cut, std::ostream* os) { *os << cut.bytes; }

class CuttingPackets : public Collecting, public testing::WithParamInterface<Cut> {};

TEST_P(CuttingPackets, AnIncompletePacketIsNotCollected) {
  MemorySource source(B(GetParam().bytes));
  EXPECT_EQ(ReadNext(source), 0);
  EXPECT_TRUE(Logged(64, GetParam().text));
  EXPECT_EQ(reader.ReadSysTick(), 0xFFFFFFFFu);
}

INSTANTIATE_TEST_SUITE_P(
    EveryKind, CuttingPackets,
    testing::Values(
        // Without its length byte a packet counts as one without items.
        Cut{"80", "ReadNextSystemTick: bytesleft 1 looking for 7"},
        Cut{"80 64 00 00 00", "ReadNextSystemTick: bytesleft 5 looking for 7"},
        Cut{"80 64 00 00 00 00", "ReadNextSystemTick: bytesleft 6 looking for 7"},
        Cut{"80 64 00 00 00 FF 36 37", "ReadNextSystemTick: bytesleft 8 looking for 262"},
        Cut{"81 64", "ReadNextSystemTick: bytesleft 2 looking for 4"},
        Cut{"81 64 00", "ReadNextSystemTick: bytesleft 3 looking for 4"},
        Cut{"81 64 02 36 37", "ReadNextSystemTick: bytesleft 5 looking for 6"},
        Cut{"82", "ReadNextSystemTick: bytesleft 1 looking for 3"},
        Cut{"82 00", "ReadNextSystemTick: bytesleft 2 looking for 3"},
        Cut{"82 02 36 37", "ReadNextSystemTick: bytesleft 4 looking for 5"},
        Cut{"83", "ReadNextSystemTick: bytesleft 1 looking for 3"},
        Cut{"83 00", "ReadNextSystemTick: bytesleft 2 looking for 3"},
        Cut{"83 02 02 08 11 82", "ReadNextSystemTick: bytesleft 6 looking for 7"}));

TEST_F(Collecting, PacketsWithoutItemsAreCollected) {
  const Bytes header1 = WithCrc(B("80 64 00 00 00 00"));
  const Bytes cont = B("82 00 FF");
  MemorySource source(B("83 00 00") + header1 + cont);
  EXPECT_THAT(NextTick(source), ElementsAre(B("83 00 00"), header1, cont));
}

TEST_F(Collecting, TheSamePacketsComeOutHoweverTheSourceCutsThem) {
  const Bytes stream =
      B("00") + kDictionary + kTick100 + FullCont(1) + B("84") + kTick102 + kMoreOf102 + kTick100;
  for (int chunk = 1; chunk <= static_cast<int>(stream.size()); ++chunk) {
    SCOPED_TRACE(chunk);
    MemorySource source(stream, chunk);
    reader.StartAt(0);
    EXPECT_THAT(AllTicks(source),
                ElementsAre(ElementsAre(kDictionary, kTick100, FullCont(1)),
                            ElementsAre(kTick102, kMoreOf102), ElementsAre(kTick100)));
  }
}

TEST_F(Collecting, AnUnfinishedPacketAtTheEndIsNotPartOfTheTick) {
  MemorySource source(kTick100 + B("82 05 36"));
  EXPECT_THAT(NextTick(source), ElementsAre(kTick100));
  EXPECT_EQ(ReadNext(source), 0);
}

TEST_F(Collecting, ALongStreamPassesThroughTheBufferUnchanged) {
  Bytes stream;
  for (int i = 0; i < 500; ++i)
    stream = stream + kTick102 + FullCont(static_cast<unsigned char>(i));
  MemorySource source(stream);
  source.needed_room = 4096;
  const auto ticks = AllTicks(source);
  ASSERT_EQ(ticks.size(), 500u);
  for (std::size_t i = 0; i < ticks.size(); ++i)
    EXPECT_THAT(ticks[i], ElementsAre(kTick102, FullCont(static_cast<unsigned char>(i))));
}

// ---- Sources that fail, buffers that are full --------------------------------

TEST_F(Collecting, AFailedReadEndsWithMinusOne) {
  MemorySource source(kTick100);
  source.failing_read = 1;
  EXPECT_EQ(ReadNext(source), -1);
}

TEST_F(Collecting, AFailedReadBehindCollectedPacketsEndsWithMinusOne) {
  MemorySource source(kTick100 + kMoreOf102, static_cast<int>(kTick100.size()));
  source.failing_read = 2;
  EXPECT_EQ(ReadNext(source), -1);
}

TEST_F(Collecting, AStoreThatCannotBeReadEndsWithMinusOne) {
  RecordingStore source;
  source.Open();
  EXPECT_EQ(ReadNext(source), -1);
  EXPECT_TRUE(log.Has(2, "DataStore.cc", "Error calling ReadDataIntoBuffer"));
}

TEST_F(Collecting, AClosedOutputStoreHasNoBufferAndEndsWithMinusOne) {
  MemorySource source(kTick100);
  out.Close();
  EXPECT_EQ(ReadNext(source), -1);
  EXPECT_THAT(source.rooms, IsEmpty());
}

// 4000 bytes of an earlier tick, then a tick of seventeen packets of 258 bytes:
// behind the sixteenth, 4192 bytes are kept and no room is left for a cluster.
Bytes TickThatOutgrowsTheBuffer() {
  Bytes stream;
  for (unsigned char i = 0; i < 15; ++i) stream = stream + FullCont(i);
  stream = stream + WithContCrc(B("82 7F") + Filled(127, 0x36));
  EXPECT_EQ(stream.size(), 4000u);
  stream = stream + WithCrc(B("81 66 FE") + Filled(254, 0x37));
  for (unsigned char i = 1; i < 17; ++i) stream = stream + FullCont(i);
  return stream;
}

TEST_F(Collecting, PacketsCollectedAreReturnedWhenTheSourceWouldRefuseForWantOfRoom) {
  MemorySource source(TickThatOutgrowsTheBuffer());
  source.needed_room = 4096;
  EXPECT_THAT(NextTick(source), SizeIs(16));
  const auto packets = NextTick(source);
  ASSERT_THAT(packets, SizeIs(16));
  EXPECT_EQ(packets[15], FullCont(15));
  EXPECT_THAT(NextTick(source), ElementsAre(FullCont(16)));
  EXPECT_EQ(ReadNext(source), 0);
  EXPECT_THAT(source.rooms, Each(Ge(4096)));
}

// A store whose work buffer cannot hold the packet.
class TinyStore : public DataStore {
 public:
  TinyStore() : DataStore(DATA_STORE_NULL, 16) {}
  int Open() override { return OpenInit(); }
  int WriteData(const unsigned char* /*data*/, int /*length*/, unsigned int /*sysTick*/) override {
    return 1;
  }
};

TEST_F(Collecting, AnOutputStoreWhoseBufferIsTooSmallIsRefusedBeforeTheSourceIsAsked) {
  TinyStore tiny;
  ASSERT_EQ(tiny.Open(), 1);
  MemorySource source(FullCont(1));
  EXPECT_EQ(reader.ReadNextSystemTick(source, tiny), -1);
  EXPECT_THAT(source.rooms, testing::IsEmpty());
}

TEST_F(Collecting, ASourceIsNotReadIntoItself) {
  MemorySource source(FullCont(1));
  ASSERT_EQ(source.Open(), 1);
  EXPECT_EQ(reader.ReadNextSystemTick(source, source), -1);
}

// ---- Several passes ----------------------------------------------------------

TEST_F(Collecting, AReaderStartedAgainForgetsTheFirstSource) {
  MemorySource first(kTick100 + kTick102 + kMoreOf102);
  NextTick(first);  // the second tick is buffered
  MemorySource second(WithCrc(B("81 05 00")));
  reader.StartAt(0);
  EXPECT_EQ(reader.ReadSysTick(), 0xFFFFFFFFu);
  EXPECT_THAT(NextTick(second), ElementsAre(WithCrc(B("81 05 00"))));
  EXPECT_EQ(reader.ReadSysTick(), 0xFFFFFFFFu);
}

TEST_F(Collecting, AReaderBeginsAtThePositionItWasGiven) {
  MemorySource source(kTick100 + kTick102);
  reader.StartAt(static_cast<long>(kTick100.size()));
  EXPECT_THAT(NextTick(source), ElementsAre(kTick102));
}

TEST_F(Collecting, DataAppendedBehindAnUnfinishedPacketIsFoundByTheNextCall) {
  MemorySource source(kTick100 + kTick102, static_cast<int>(kTick100.size()) + 2);
  EXPECT_THAT(NextTick(source), ElementsAre(kTick100));
  EXPECT_THAT(NextTick(source), ElementsAre(kTick102));
}

// ---- Passing on --------------------------------------------------------------

TEST_F(Collecting, PacketsArePassedOnUnchangedAndWithoutTheirTick) {
  MemorySource source(kTick100 + kMoreOf102);
  ASSERT_EQ(ReadNext(source), 2);
  EXPECT_EQ(reader.WriteReadSystemTick(out), 1);
  ASSERT_EQ(out.packets.size(), 2u);
  EXPECT_EQ(out.packets[0].bytes, kTick100);
  EXPECT_EQ(out.packets[1].bytes, kMoreOf102);
  // Deliberate: always undefined, whatever the packet.
  EXPECT_EQ(out.packets[0].tick, 0xFFFFFFFFu);
  EXPECT_EQ(out.packets[1].tick, 0xFFFFFFFFu);
}

TEST_F(Collecting, PassingOnStopsAtTheFirstPacketThatIsRefused) {
  MemorySource source(kTick100 + kMoreOf102);
  ASSERT_EQ(ReadNext(source), 2);
  out.accept = false;
  EXPECT_EQ(reader.WriteReadSystemTick(out), 0);
  EXPECT_EQ(out.packets.size(), 1u);
  EXPECT_THAT(log.Texts(2), ElementsAre("Failed to WriteReadSystemTick"));
  EXPECT_TRUE(Logged(2, "Failed to WriteReadSystemTick"));
}

TEST_F(Collecting, NothingCollectedIsNothingToPassOn) {
  EXPECT_EQ(reader.WriteReadSystemTick(out), 1);
  EXPECT_EQ(reader.ParseReadSystemTick(out), 1);
  EXPECT_THAT(out.packets, IsEmpty());
}

}  // namespace
}  // namespace vmr::test
