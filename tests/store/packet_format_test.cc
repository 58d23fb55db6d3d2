// The framing of packets: how long each is, what its CRC covers, which tick it tells.
#include "store/packet_format.h"

#include <gtest/gtest.h>

#include "tests/support/bytes.h"

namespace vmr::test {
namespace {

// Packets written out, each with the CRC that it has on disk.
Bytes Full() { return B("80 04 03 02 01 02 21 07 C0"); }    // tick 0x01020304, two item bytes
Bytes Short() { return B("81 2A 01 36 A5"); }               // low tick bits 0x2A, one
Bytes Continuation() { return B("82 04 36 37 38 39 65"); }  // four, of which two are covered
Bytes Dictionary() { return B("83 02 02 08 03 05 00"); }    // two entries
std::vector<Bytes> AllKinds() { return {Full(), Short(), Continuation(), Dictionary()}; }

std::size_t Whole(const Bytes& packet) { return WholePacketBytes(packet.data(), packet.size()); }
std::size_t Claimed(const Bytes& bytes) {
  return PacketBytes(*FindPacketShape(bytes[0]), bytes.data(), bytes.size());
}
bool EndIsRight(const Bytes& packet) { return PacketEndIsRight(packet.data(), packet.size()); }

TEST(PacketFormat, FourFirstBytesBeginPackets) {
  for (int byte = 0; byte < 256; ++byte)
    EXPECT_EQ(FindPacketShape(static_cast<unsigned char>(byte)) != nullptr,
              byte >= 0x80 && byte <= 0x83)
        << byte;
}

TEST(PacketFormat, AllButTheDictionaryHoldItems) {
  for (const unsigned char header : B("80 81 82")) EXPECT_TRUE(FindPacketShape(header)->has_items);
  EXPECT_FALSE(FindPacketShape(0x83)->has_items);
}

TEST(PacketFormat, AHeadEndsWithTheCount) {
  EXPECT_EQ(FindPacketShape(0x80)->head_bytes, 6U);
  EXPECT_EQ(FindPacketShape(0x81)->head_bytes, 3U);
  EXPECT_EQ(FindPacketShape(0x82)->head_bytes, 2U);
  EXPECT_EQ(FindPacketShape(0x83)->head_bytes, 2U);
}

// ---- Lengths -------------------------------------------------------------------

TEST(PacketFormat, APacketIsItsHeadWhatItCountsAndOneByte) {
  for (const Bytes& packet : AllKinds()) {
    SCOPED_TRACE(int{packet[0]});
    EXPECT_EQ(Whole(packet), packet.size());
    EXPECT_EQ(Whole(packet + B("80 00")), packet.size());
    EXPECT_EQ(Claimed(packet), packet.size());
  }
}

TEST(PacketFormat, TheLongestPacketsAreOf255) {
  EXPECT_EQ(Claimed(B("80 00 00 00 00 FF")), 262U);
  EXPECT_EQ(Claimed(B("81 00 FF")), 259U);
  EXPECT_EQ(Claimed(B("82 FF")), 258U);
  EXPECT_EQ(Claimed(B("83 FF")), 513U);
}

TEST(PacketFormat, TheShortestPacketsHoldNothing) {
  for (const Bytes& packet :
       {B("80 00 00 00 00 00 43"), B("81 00 00 4B"), B("82 00 FF"), B("83 00 00")}) {
    EXPECT_EQ(Whole(packet), packet.size()) << int{packet[0]};
    EXPECT_TRUE(EndIsRight(packet)) << int{packet[0]};
  }
}

TEST(PacketFormat, APacketThatIsCutIsNotWhole) {
  for (const Bytes& packet : AllKinds())
    for (std::size_t bytes = 0; bytes < packet.size(); ++bytes) {
      SCOPED_TRACE(int{packet[0]});
      // A copy of exactly what may be looked at, so that a sanitizer sees more.
      const Bytes cut(packet.data(), packet.data() + bytes);
      EXPECT_EQ(WholePacketBytes(cut.data(), bytes), 0U) << bytes;
    }
}

TEST(PacketFormat, AHeadThatIsCutCountsNothing) {
  EXPECT_EQ(Claimed(B("80 FF FF FF FF")), 7U);
  EXPECT_EQ(Claimed(B("81 FF")), 4U);
  EXPECT_EQ(Claimed(B("82")), 3U);
  EXPECT_EQ(Claimed(B("83")), 3U);
}

TEST(PacketFormat, WhatBeginsNoPacketHasNoLength) {
  EXPECT_EQ(Whole(B("84 00 00 00 00 00 00")), 0U);
  EXPECT_EQ(Whole(B("7F 00 00 00 00 00 00")), 0U);
}

TEST(PacketFormat, BetweenHeadAndLastByteLieTheItems) {
  EXPECT_EQ(PacketItemBytes(*FindPacketShape(0x80), Full().size()), 2U);
  EXPECT_EQ(PacketItemBytes(*FindPacketShape(0x81), Short().size()), 1U);
  EXPECT_EQ(PacketItemBytes(*FindPacketShape(0x82), Continuation().size()), 4U);
}

// ---- CRCs ----------------------------------------------------------------------

TEST(PacketFormat, TheCrcCoversAllBeforeItButOfAContinuationOnlyItsCount) {
  EXPECT_EQ(PacketCrcSpan(Full().data(), Full().size()), 8U);
  EXPECT_EQ(PacketCrcSpan(Short().data(), Short().size()), 4U);
  EXPECT_EQ(PacketCrcSpan(Continuation().data(), Continuation().size()), 4U);
}

TEST(PacketFormat, EveryKindEndsAsItMust) {
  for (const Bytes& packet : AllKinds()) EXPECT_TRUE(EndIsRight(packet)) << int{packet[0]};
}

TEST(PacketFormat, AChangedItemByteThatIsCoveredShows) {
  for (const Bytes& packet : {Full(), Short(), Continuation()})
    for (std::size_t at = FindPacketShape(packet[0])->head_bytes;
         at < PacketCrcSpan(packet.data(), packet.size()); ++at) {
      Bytes changed = packet;
      changed[at] ^= 0x40;
      EXPECT_FALSE(EndIsRight(changed)) << int{packet[0]} << " " << at;
    }
}

TEST(PacketFormat, TheLastTwoItemBytesOfAContinuationAreNotCovered) {
  Bytes changed = Continuation();
  changed[4] ^= 0xFF;
  changed[5] ^= 0xFF;
  EXPECT_TRUE(EndIsRight(changed));
  changed[3] ^= 0x01;
  EXPECT_FALSE(EndIsRight(changed));
}

TEST(PacketFormat, ADictionaryEndsWithZero) {
  Bytes dictionary = Dictionary();
  dictionary.back() = 0x01;
  EXPECT_FALSE(EndIsRight(dictionary));
}

// ---- Ticks ---------------------------------------------------------------------

TEST(PacketFormat, AFullHeaderTellsItsTick) {
  EXPECT_EQ(PacketTick(Full().data(), 7), 0x01020304U);
  EXPECT_EQ(PacketTickIfKnown(Full().data(), kNoTick), 0x01020304U);
}

TEST(PacketFormat, AShortHeaderTellsTheLowBitsAndCarriesNothing) {
  EXPECT_EQ(PacketTick(Short().data(), 0x010203FF), 0x0102032AU);
  EXPECT_EQ(PacketTickIfKnown(Short().data(), 0x010203FF), 0x0102032AU);
}

TEST(PacketFormat, LowBitsAloneTellNoTick) {
  EXPECT_EQ(PacketTickIfKnown(Short().data(), kNoTick), kNoTick);
  // Deliberate: who does not ask whether one is known takes the bits of none.
  EXPECT_EQ(PacketTick(Short().data(), kNoTick), 0xFFFFFF2AU);
}

TEST(PacketFormat, ContinuationsAndDictionariesHaveTheTickBefore) {
  for (const Bytes& packet : {Continuation(), Dictionary()}) {
    EXPECT_EQ(PacketTick(packet.data(), 99), 99U);
    EXPECT_EQ(PacketTickIfKnown(packet.data(), 99), 99U);
    EXPECT_EQ(PacketTickIfKnown(packet.data(), kNoTick), kNoTick);
  }
}

}  // namespace
}  // namespace vmr::test
