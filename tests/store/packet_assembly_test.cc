// How items become packets: areas, slack, tick adjustments and the layout of
// the three item packets.
#include <gtest/gtest.h>

#include "tests/support/reference_crc.h"
#include "tests/support/store_fixture.h"

namespace vmr::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

Bytes Filled(std::size_t count, unsigned char value) { return Bytes(count, value); }

class PacketAssembly : public StoreTest {
 protected:
  void Add(const Bytes& item, unsigned short slack = 4) {
    store.AddToCurrPacket(item.data(), static_cast<unsigned int>(item.size()), slack);
  }

  void AddAt(const Bytes& item, unsigned int event_tick, unsigned short slack) {
    store.AddToCurrPacket(item.data(), static_cast<unsigned int>(item.size()), event_tick, slack);
  }

  void FlushAt(unsigned int tick) {
    store.InitCurrentSystemTick(tick);
    store.WriteBuffers();
  }

  // The kinds of the packets written so far.
  Bytes Kinds() const {
    Bytes kinds;
    for (const WrittenPacket& packet : store.packets) kinds.push_back(packet.bytes.at(0));
    return kinds;
  }

  void FillAllAreas(unsigned short slack) {
    for (unsigned char area = 0; area < 16; ++area) Add(Filled(255, area), slack);
  }

  // The slack is counted from tick 100, and an item may wait 10 ticks.
  void WaitTenTicksFromTick100() {
    TickAt(100);
    Add(B("F0"), 10);
    log.Clear();
  }
};

// ---- Packet layouts ----------------------------------------------------------

TEST_F(PacketAssembly, Header1WithOneTwoByteItemIsNineBytesLong) {
  Add(B("21 07"));
  FlushAt(0x01020304);
  ASSERT_EQ(store.packets.size(), 1u);
  EXPECT_EQ(store.packets[0].bytes, WithCrc(B("80 04 03 02 01 02 21 07")));
  EXPECT_EQ(store.packets[0].bytes.size(), 9u);
  EXPECT_EQ(store.packets[0].tick, 0x01020304u);
}

TEST_F(PacketAssembly, Header1IsWrittenToTheLastByte) {
  // The CRC was worked out outside this program.
  EXPECT_EQ(store.WritePacket1(0xAABBCCDD, B("56").data(), 1), 1);
  EXPECT_EQ(store.packets[0].bytes, B("80 DD CC BB AA 01 56 AC"));
}

TEST_F(PacketAssembly, Header2CarriesTheLowTickByteOnly) {
  EXPECT_EQ(store.WritePacket2(0x01020304, B("56 F0").data(), 2), 1);
  EXPECT_EQ(store.packets[0].bytes, WithCrc(B("81 04 02 56 F0")));
  EXPECT_EQ(store.packets[0].bytes.size(), 6u);
  EXPECT_EQ(store.packets[0].tick, 0x01020304u) << "the whole tick goes along";
}

TEST_F(PacketAssembly, ContinuationCarriesNoTick) {
  EXPECT_EQ(store.WritePacketCont(B("34 36 38").data(), 3), 1);
  EXPECT_EQ(store.packets[0].bytes, B("82 03 34 36 38") + Bytes{ReferenceCrc8(B("82 03 34"))});
  EXPECT_EQ(store.packets[0].tick, 0xFFFFFFFEu);
}

TEST_F(PacketAssembly, ContinuationOfOneByteHasItsCrcOverTheHeaderByteAlone) {
  ASSERT_EQ(store.WritePacketCont(B("56").data(), 1), 1);
  EXPECT_EQ(store.packets[0].bytes, B("82 01 56") + Bytes{ReferenceCrc8(B("82"))});
}

TEST_F(PacketAssembly, ContinuationOfNoBytesHasTheInitialValueAsCrc) {
  ASSERT_EQ(store.WritePacketCont(B("56").data(), 0), 1);
  EXPECT_EQ(store.packets[0].bytes, B("82 00 FF"));
}

TEST_F(PacketAssembly, ContinuationCrcLeavesOutTheLastTwoItemBytes) {
  ASSERT_EQ(store.WritePacketCont(B("34 36 38 3C").data(), 4), 1);
  ASSERT_EQ(store.WritePacketCont(B("34 36 39 3D").data(), 4), 1);
  ASSERT_EQ(store.WritePacketCont(B("34 37 38 3C").data(), 4), 1);
  const unsigned char crc = store.packets[0].bytes.back();
  EXPECT_EQ(store.packets[1].bytes.back(), crc);
  EXPECT_NE(store.packets[2].bytes.back(), crc);
}

TEST_F(PacketAssembly, EmptyPacketsHaveLengthZero) {
  ASSERT_EQ(store.WritePacket1(0x01020304, B("56").data(), 0), 1);
  ASSERT_EQ(store.WritePacket2(0x01020304, B("56").data(), 0), 1);
  EXPECT_EQ(store.packets[0].bytes, WithCrc(B("80 04 03 02 01 00")));
  EXPECT_EQ(store.packets[1].bytes, WithCrc(B("81 04 00")));
}

TEST_F(PacketAssembly, LongestPacketsHoldTwoHundredAndFiftyFiveItemBytes) {
  const Bytes items = Filled(255, 0x56);
  EXPECT_EQ(store.WritePacket1(1, items.data(), 255), 1);
  EXPECT_EQ(store.WritePacket2(1, items.data(), 255), 1);
  EXPECT_EQ(store.WritePacketCont(items.data(), 255), 1);
  EXPECT_EQ(store.packets[0].bytes, WithCrc(B("80 01 00 00 00 FF") + items));
  EXPECT_EQ(store.packets[1].bytes, WithCrc(B("81 01 FF") + items));
  const Bytes covered = B("82 FF") + Filled(253, 0x56);
  EXPECT_EQ(store.packets[2].bytes, B("82 FF") + items + Bytes{ReferenceCrc8(covered)});
  EXPECT_EQ(store.packets[0].bytes.size(), 262u);
  EXPECT_EQ(store.packets[1].bytes.size(), 259u);
  EXPECT_EQ(store.packets[2].bytes.size(), 258u);
}

TEST_F(PacketAssembly, PacketWritersRefuseLengthsAbove255) {
  const Bytes items = Filled(300, 0x56);
  EXPECT_EQ(store.WritePacket1(1, items.data(), 256), 0);
  EXPECT_EQ(store.WritePacket2(1, items.data(), 256), 0);
  EXPECT_EQ(store.WritePacketCont(items.data(), 300), 0);
  EXPECT_EQ(store.WritePacketCont(items.data(), 0xFFFFFFFF), 0);
  EXPECT_THAT(store.packets, IsEmpty());
  EXPECT_EQ(log.Count(kLogError, "DataStore.cc", "Refusing to write a packet of 256 item bytes"),
            2);
  EXPECT_TRUE(Logged(kLogError, "Refusing to write a packet of 300 item bytes"));
}

TEST_F(PacketAssembly, PacketWritersRefuseNullAndLogNothingElse) {
  EXPECT_EQ(store.WritePacket1(kNoTick, nullptr, 0), 0);
  EXPECT_EQ(store.WritePacket2(1, nullptr, 1), 0);
  EXPECT_EQ(store.WritePacketCont(nullptr, 300), 0);
  EXPECT_THAT(store.packets, IsEmpty());
  EXPECT_THAT(
      log.Entries(),
      ElementsAre(LogEntry{kLogError, "DataStore.cc", "Null value passed to WritePacket1"},
                  LogEntry{kLogError, "DataStore.cc", "Null value passed to WritePacket2"},
                  LogEntry{kLogError, "DataStore.cc", "Null value passed to WritePacketCont"}));
}

TEST_F(PacketAssembly, PacketWritersReturnWhatTheStoreReturned) {
  store.accept = false;
  EXPECT_EQ(store.WritePacket1(1, B("56").data(), 1), 0);
  EXPECT_EQ(store.WritePacket2(1, B("56").data(), 1), 0);
  EXPECT_EQ(store.WritePacketCont(B("56").data(), 1), 0);
  EXPECT_EQ(store.packets.size(), 3u);
}

TEST_F(PacketAssembly, TickMinusOneIsLoggedAndWrittenAllTheSame) {
  EXPECT_EQ(store.WritePacket1(0xFFFFFFFF, B("56").data(), 1), 1);
  EXPECT_EQ(store.packets[0].bytes, WithCrc(B("80 FF FF FF FF 01 56")));
  EXPECT_THAT(log.Entries(),
              ElementsAre(LogEntry{kLogError, "DataStore.cc", "trying to write SysTick of (-1)"}));
}

TEST_F(PacketAssembly, OrdinaryTicksAndShortHeadersAreNotLogged) {
  ASSERT_EQ(store.WritePacket1(0xFFFFFFFE, B("56").data(), 1), 1);
  ASSERT_EQ(store.WritePacket2(0xFFFFFFFF, B("56").data(), 1), 1);
  EXPECT_THAT(log.Entries(), IsEmpty());
}

// ---- Which header a flush writes ---------------------------------------------

TEST_F(PacketAssembly, FirstFlushAfterConstructionIsAHeader1) {
  Add(B("56"));
  FlushAt(0);
  EXPECT_EQ(store.packets[0].bytes, WithCrc(B("80 00 00 00 00 01 56")));
}

TEST_F(PacketAssembly, FirstFlushJustBelowTheLast256TicksIsAHeader1) {
  Add(B("56"));
  FlushAt(0xFFFFFEFF);
  EXPECT_EQ(Kinds(), B("80"));
}

TEST_F(PacketAssembly, FirstFlushWithinTheLast256TicksIsAHeader2) {
  for (const unsigned int tick : {0xFFFFFF00u, 0xFFFFFF80u, 0xFFFFFFFFu}) {
    SCOPED_TRACE(tick);
    RecordingStore fresh;
    fresh.InitCurrentSystemTick(tick);
    fresh.AddToCurrPacket(B("56").data(), 1, 1);
    fresh.WriteBuffers();
    const auto low = static_cast<unsigned char>(tick);
    EXPECT_EQ(fresh.packets.at(0).bytes, WithCrc(Bytes{0x81, low, 0x01, 0x56}));
  }
}

TEST_F(PacketAssembly, AStoreWithoutATickYetWritesTheLowByteOfNoTick) {
  Add(B("56"));
  store.WriteBuffers();
  EXPECT_EQ(store.packets[0].bytes, WithCrc(B("81 FF 01 56")));
  EXPECT_EQ(store.packets[0].tick, 0xFFFFFFFFu);
  EXPECT_FALSE(Logged(kLogError, "trying to write SysTick of (-1)"));
}

TEST_F(PacketAssembly, FlushesAt0x100And0x1FFAnd0x200AreHeader1Header2Header1) {
  for (const unsigned int tick : {0x100u, 0x1FFu, 0x200u}) {
    Add(B("56"));
    FlushAt(tick);
  }
  EXPECT_EQ(Kinds(), B("80 81 80"));
  EXPECT_EQ(store.packets[1].bytes, WithCrc(B("81 FF 01 56")));
}

TEST_F(PacketAssembly, ATickThatGoesBackWithinItsUpperBitsIsAHeader2) {
  for (const unsigned int tick : {0x1F0u, 0x110u, 0x0FFu}) {
    Add(B("56"));
    FlushAt(tick);
  }
  EXPECT_EQ(Kinds(), B("80 81 80"));
}

TEST_F(PacketAssembly, FirstFlushAfterAnOpenIsAHeader1) {
  Add(B("56"));
  FlushAt(0x1000);
  ASSERT_EQ(store.Open(), 1);
  Add(B("56"));
  FlushAt(0x1001);
  EXPECT_EQ(Kinds(), B("80 80"));
}

// ---- Flushing ----------------------------------------------------------------

TEST_F(PacketAssembly, FurtherAreasFollowAsContinuations) {
  Add(Filled(200, 0x34));
  Add(Filled(200, 0x36));
  Add(Filled(200, 0x38));
  FlushAt(0x01020304);
  EXPECT_EQ(Kinds(), B("80 82 82"));
  EXPECT_EQ(store.packets[0].tick, 0x01020304u);
  EXPECT_EQ(store.packets[1].tick, 0xFFFFFFFEu);
  EXPECT_EQ(store.packets[2].tick, 0xFFFFFFFEu);
  EXPECT_EQ(store.packets[1].bytes[1], 200);
  EXPECT_EQ(store.packets[2].bytes[2], 0x38);
}

TEST_F(PacketAssembly, AFlushEmptiesTheAreas) {
  FillAllAreas(4);
  EXPECT_TRUE(store.HasPendingItems());
  FlushAt(1);
  EXPECT_FALSE(store.HasPendingItems());
  store.packets.clear();
  store.WriteBuffers();
  EXPECT_THAT(store.packets, IsEmpty());
  Add(B("56"));
  FlushAt(2);
  EXPECT_EQ(store.packets.at(0).bytes, WithCrc(B("81 02 01 56")));
}

TEST_F(PacketAssembly, AFlushOfNothingWritesNothingAndKeepsTheLastWrittenTick) {
  Add(B("56"));
  FlushAt(0x100);
  FlushAt(0x5000);
  EXPECT_EQ(store.packets.size(), 1u);
  Add(B("56"));
  FlushAt(0x1FF);
  EXPECT_EQ(Kinds(), B("80 81")) << "still compared with 0x100";
}

TEST_F(PacketAssembly, AreasAreEmptiedEvenIfTheStoreRefusesThePackets) {
  store.accept = false;
  FillAllAreas(4);
  FlushAt(0x100);
  EXPECT_EQ(store.packets.size(), 16u) << "the rest is offered after a refusal";
  store.accept = true;
  store.packets.clear();
  FlushAt(0x100);
  EXPECT_THAT(store.packets, IsEmpty());
  Add(B("56"));
  FlushAt(0x101);
  EXPECT_EQ(Kinds(), B("81")) << "the refused tick counts as written";
}

// A store that asks for another flush while it is handed a continuation, when
// the first area is empty again and the second still full.
class FlushingWhileWritten : public RecordingStore {
 public:
  int WriteData(const unsigned char* data, int length, unsigned int sysTick) override {
    const int taken = RecordingStore::WriteData(data, length, sysTick);
    if (data[0] == HEADER_CONT) WriteBuffers();
    return taken;
  }
};

TEST_F(PacketAssembly, WriteBuffersWithAreaZeroEmptyWritesNothingEvenIfLaterAreasHoldData) {
  FlushingWhileWritten nested;
  const Bytes full = Filled(255, 0x34);
  nested.AddToCurrPacket(full.data(), 255, 1);
  nested.AddToCurrPacket(full.data(), 255, 1);
  nested.InitCurrentSystemTick(1);
  nested.WriteBuffers();
  EXPECT_EQ(nested.packets.size(), 2u);
}

// ---- Areas -------------------------------------------------------------------

TEST_F(PacketAssembly, SixteenFullAreasDropAndLogTheNextItem) {
  FillAllAreas(4);
  Add(B("56"));
  EXPECT_TRUE(Logged(kLogError, "***************** Dropped 1 data bytes ********************"));
  Add(Filled(255, 0x77));
  EXPECT_TRUE(Logged(kLogError, "***************** Dropped 255 data bytes ********************"));
  FlushAt(1);
  ASSERT_EQ(store.packets.size(), 16u);
  EXPECT_EQ(store.packets[0].bytes, WithCrc(B("80 01 00 00 00 FF") + Filled(255, 0)));
  for (unsigned char area = 1; area < 16; ++area) {
    const Bytes& packet = store.packets[area].bytes;
    EXPECT_EQ(Bytes(packet.begin(), packet.end() - 1), B("82 FF") + Filled(255, area));
  }
}

TEST_F(PacketAssembly, AnItemOf255BytesFitsAnEmptyArea) {
  Add(Filled(255, 0x56));
  EXPECT_EQ(Items(), Filled(255, 0x56));
  EXPECT_THAT(log.Texts(kLogError), IsEmpty());
}

TEST_F(PacketAssembly, AnItemOf256BytesNeverFitsAndIsDropped) {
  Add(Filled(256, 0x56));
  EXPECT_THAT(Items(), IsEmpty());
  EXPECT_THAT(log.Texts(kLogError),
              ElementsAre("***************** Dropped 256 data bytes ********************"));
}

TEST_F(PacketAssembly, AnAbsurdSizeIsDroppedLikeAnyOther) {
  store.AddToCurrPacket(B("56").data(), 0xFFFFFFFF, static_cast<unsigned short>(1));
  EXPECT_THAT(log.Texts(kLogError),
              ElementsAre("***************** Dropped 4294967295 data bytes ********************"));
  EXPECT_FALSE(store.HasPendingItems());
}

TEST_F(PacketAssembly, AnItemThatFillsAnAreaExactlyStaysInIt) {
  Add(Filled(254, 0x34));
  Add(B("56"));
  EXPECT_EQ(Items(), Filled(254, 0x34) + B("56"));
}

TEST_F(PacketAssembly, ASmallItemMayOvertakeALargeOne) {
  Add(Filled(250, 0x34));
  Add(Filled(100, 0x36));
  Add(B("56 F0"));
  FlushAt(0x01020304);
  ASSERT_EQ(store.packets.size(), 2u);
  EXPECT_EQ(store.packets[0].bytes,
            WithCrc(B("80 04 03 02 01 FC") + Filled(250, 0x34) + B("56 F0")));
  EXPECT_EQ(store.packets[1].bytes[1], 100);
}

TEST_F(PacketAssembly, AnItemOfNoBytesAddsNothing) {
  store.AddToCurrPacket(nullptr, 0, static_cast<unsigned short>(1));
  EXPECT_THAT(Items(), IsEmpty());
}

// ---- Slack -------------------------------------------------------------------

TEST_F(PacketAssembly, TheSmallestSlackDecidesWhenToFlush) {
  TickAt(100);
  Add(B("34"), 10);
  Add(B("36"), 3);
  Add(B("38"), 7);
  TickAt(102);
  EXPECT_THAT(store.packets, IsEmpty());
  TickAt(103);
  ASSERT_EQ(store.packets.size(), 1u);
  EXPECT_EQ(store.packets[0].bytes, WithCrc(B("80 67 00 00 00 03 34 36 38")));
}

TEST_F(PacketAssembly, ADroppedItemStillShortensTheSlack) {
  TickAt(100);
  FillAllAreas(10);
  TickAt(101);
  EXPECT_THAT(store.packets, IsEmpty());
  Add(B("56"), 2);
  EXPECT_TRUE(Logged(kLogError, "***************** Dropped 1 data bytes ********************"));
  TickAt(102);
  EXPECT_EQ(store.packets.size(), 16u);
}

TEST_F(PacketAssembly, AnEventShortensTheSlackLikeAnyItem) {
  TickAt(100);
  AddAt(B("34"), 100, 10);
  AddAt(B("36"), 100, 2);
  TickAt(101);
  EXPECT_THAT(store.packets, IsEmpty());
  TickAt(102);
  EXPECT_EQ(store.packets.size(), 1u);
}

TEST_F(PacketAssembly, AnEventAt95WithSlackStart100AndPacketSlack10HasSlackFive) {
  WaitTenTicksFromTick100();
  AddAt(B("56"), 95, 20);
  EXPECT_THAT(Added(), ElementsAre("Add to Current packet size (1), newSlack (5)"));
  EXPECT_EQ(Items(), B("F0 56"));
}

TEST_F(PacketAssembly, AnEventAt80WithSlackStart100AndPacketSlack10IsPrecededByAnAdjustment) {
  WaitTenTicksFromTick100();
  AddAt(B("56"), 80, 20);
  EXPECT_TRUE(Logged(kLogEachItem, "AddToCurrPacket, Writing Tick adjustment of 20"));
  EXPECT_THAT(Added(), ElementsAre("Add to Current packet size (2), newSlack (4)",
                                   "Add to Current packet size (1), newSlack (1)"));
  EXPECT_EQ(Items(), B("F0 21 14 56"));
}

TEST_F(PacketAssembly, AnEventExactlyAsOldAsTheSlackIsPrecededByAnAdjustment) {
  WaitTenTicksFromTick100();
  AddAt(B("56"), 91, 20);
  AddAt(B("57"), 90, 20);
  EXPECT_EQ(Items(), B("F0 56 21 0A 57"));
}

TEST_F(PacketAssembly, TheEventsOwnSlackCountsWhenItIsTheSmaller) {
  WaitTenTicksFromTick100();
  AddAt(B("56"), 98, 3);
  EXPECT_THAT(Added(), ElementsAre("Add to Current packet size (1), newSlack (1)"));
  EXPECT_EQ(Items(), B("F0 56"));
}

TEST_F(PacketAssembly, AShortenedSlackLeavesLessForTheNextEvent) {
  WaitTenTicksFromTick100();
  AddAt(B("56"), 95, 10);  // five ticks are left
  AddAt(B("57"), 96, 10);  // one
  AddAt(B("58"), 99, 10);  // none
  EXPECT_EQ(Items(), B("F0 56 57 21 01 58"));
}

TEST_F(PacketAssembly, TickAdjustmentsCountModulo256) {
  TickAt(1000);
  AddAt(B("56"), 700, 1);
  EXPECT_TRUE(Logged(kLogEachItem, "AddToCurrPacket, Writing Tick adjustment of 300"));
  EXPECT_EQ(Items(), B("21 2C 56"));
}

TEST_F(PacketAssembly, EventsNowLaterOrWithoutATickKeepTheirSlack) {
  WaitTenTicksFromTick100();
  for (const unsigned int tick : {0u, 100u, 101u, 0xFFFFFFFFu}) AddAt(B("56"), tick, 7);
  EXPECT_THAT(Added(), testing::Each("Add to Current packet size (1), newSlack (7)"));
  EXPECT_EQ(Items(), B("F0 56 56 56 56"));
}

TEST_F(PacketAssembly, AnEventFromBeforeTheCounterWrappedCountsAsNew) {
  TickAt(5);
  log.Clear();
  AddAt(B("56"), 0xFFFFFFFE, 1);
  EXPECT_THAT(Added(), ElementsAre("Add to Current packet size (1), newSlack (1)"));
}

TEST_F(PacketAssembly, TickAdjustItemIsTwoBytesWithSlackFour) {
  store.WriteTickAdjust(0xC8);
  EXPECT_THAT(Added(), ElementsAre("Add to Current packet size (2), newSlack (4)"));
  EXPECT_EQ(Items(), B("21 C8"));
}

// ---- Trace -------------------------------------------------------------------

TEST_F(PacketAssembly, EveryStepIsTracedAtLevel128) {
  TickAt(100);
  log.Clear();
  AddAt(B("56"), 77, 30);
  store.WriteBuffers();
  EXPECT_THAT(
      log.Entries(),
      ElementsAre(LogEntry{128, "DataStore.cc", "AddToCurrPacket, newTick 77 lastSlackSt = 100"},
                  LogEntry{128, "DataStore.cc", "Add to Current packet size (1), newSlack (7)"},
                  LogEntry{128, "DataStore.cc", "WriteBuffers"}));
}

}  // namespace
}  // namespace vmr::test
