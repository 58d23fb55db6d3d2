// What reading does that somebody might want to mend, and that stays as it is.
#include "backends/data_store_flat.h"
#include "tests/reader/extraction_fixture.h"

namespace vmr::test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

class AcceptedReading : public ExtractionTest {
 protected:
  AcceptedReading() {
    setenv("TZ", "UTC", 1);
    EXPECT_EQ(out_.Open(), 1);
  }
  // How many packets each call collects, up to the end of the data.
  std::vector<int> PartsOf(DataStore& source) {
    std::vector<int> parts;
    reader.StartAt(source.InitialReadLocation());
    for (int n = reader.ReadNextSystemTick(source, out_); n > 0;
         n = reader.ReadNextSystemTick(source, out_))
      parts.push_back(n);
    return parts;
  }
  std::string View(const std::string& path) {
    return Printed([&] { EXPECT_TRUE(reader.ViewFile(path, false, 0, 0xFFFFFFFF, false)); });
  }
  void PutFlat(const Bytes& packets) { files_.PutFile(kFlat, B("66 5D 53 31") + packets); }

  static constexpr char kFlat[] = "/m/flat";
  RecordingStore out_;
};

// ---- A tick that fills more than the buffer takes ----------------------------------

// With 4132 bytes kept, no whole cluster fits any more; the ring is not asked for a
// part of one, and the tick is handed over without its last packet.
TEST_F(AcceptedReading, MoreThan4096BufferedBytesOfATickOfARingComeInTwoParts) {
  Bytes fourteen;
  for (unsigned char n = 0; n < 14; ++n) fourteen = fourteen + FullCont(n);
  Record({{100, H1(100, Filled(255, 0x36)) + FullCont(0x36)},
          {100, fourteen},
          {100, FullCont(0x36) + Mark(200)}});
  DataStoreNormal ring(kBase);
  ASSERT_EQ(ring.Open(), 1);
  EXPECT_THAT(PartsOf(ring), ElementsAre(16, 1, 1));
  EXPECT_TRUE(ReaderLogged(4,
                           "ReadNextSystemTick: Possible out of sequence read of a CONTINUATION "
                           "packet in source @ last read system tick 100"));
}

TEST_F(AcceptedReading, UpTo4096BytesComeInOne) {
  Bytes thirteen;
  for (unsigned char n = 0; n < 13; ++n) thirteen = thirteen + FullCont(n);
  Record({{100, H1(100, Filled(255, 0x36)) + FullCont(0x36)},  // with these 3874
          {100, thirteen},
          {100, FullCont(0x36) + Mark(200)}});
  DataStoreNormal ring(kBase);
  ASSERT_EQ(ring.Open(), 1);
  EXPECT_THAT(PartsOf(ring), ElementsAre(16, 1));
}

// ---- What reading records again ----------------------------------------------------

TEST_F(AcceptedReading, TheViewerFlushesItsNullOutputEachTick) {
  PutFlat(H1(100, B("3A")) + H2(101, B("3B")) + H2(102, B("3A")) + H2(103, B("3B 3A")));
  View(kFlat);
  // One for each tick in which the input went on, however little that is.
  EXPECT_EQ(log_.Count(128, "DataStore.cc", "WriteBuffers"), 3);
}

// As soon as it fills more than four areas: 1021 of them here, in the last of these
// ticks, behind whose packets they stand.
TEST_F(AcceptedReading, CovertOnRecordedAgainMayStandBetweenCopiedPackets) {
  Bytes blinks;
  for (unsigned int n = 0; n < 10; ++n) blinks = blinks + H2(110 + n, Times(100, B("3A 3B")));
  blinks = blinks + H2(120, Times(21, B("3A 3B")));
  Record({{90, H1(90, B("1A"))}, {100, H1(100, B("56"))}, {110, blinks + H2(130, B("56"))}});
  ASSERT_TRUE(Extract(100, 140));
  const Bytes area = Times(255, B("3A"));
  const Bytes state = StartOf(
      100, 140, [](DataStore& unit) { unit.StoreConfigSettingsValid(true, TAG_POLICY_END); });
  EXPECT_EQ(Out(), state + blinks +                                            //
                       H2(120, area) + Cont(area) + Cont(area) + Cont(area) +  //
                       Cont(B("3A")) + H2(130, B("56")));
}

// ---- A flat store flushed before its first tick ------------------------------------

TEST_F(AcceptedReading, APacketWithoutATickIsListedIn2038) {
  PutFlat(WithCrc(B("81 FF 01 36")) + H1(7, B("56")));
  EXPECT_THAT(View(kFlat), HasSubstr("(hdr2) 4294967295 (01/19/2038 03:14:07) (01) [Tag=siren, "
                                     "TagNo=0x36, State=on]\n"
                                     "(hdr1) 4294967295 (01/01/1970 00:00:03) (01) [Tag=Bookmark"));
  EXPECT_TRUE(ReaderLogged(4,
                           "ReadNextSystemTick: Found HEADER_2 packet when last read system tick "
                           "was undefined, ignoring..."));
}

TEST_F(AcceptedReading, BehindOtherPacketsItCountsToTheLastOfTheir256Ticks) {
  PutFlat(H1(0x1234, B("56")) + WithCrc(B("81 FF 01 36")) + H1(0x1300, B("56")));
  EXPECT_THAT(View(kFlat), HasSubstr("(hdr1)  4863 "));  // 0x12FF
}

}  // namespace
}  // namespace vmr::test
