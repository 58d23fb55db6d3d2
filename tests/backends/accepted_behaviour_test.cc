// What stores do that somebody might want to mend, and that stays as it is: hosts
// and recordings in the field know it so.
#include "backends/data_store_flat.h"
#include "tests/backends/ring_fixture.h"

namespace vmr::test {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;

constexpr unsigned char kSirenOn[] = {TAG_SIREN_ON};

class AcceptedBehaviour : public RingTest {
 protected:
  static void Add(DataStore& store) { store.AddToCurrPacket(kSirenOn, sizeof(kSirenOn), 2); }
  static Bytes WithItsCrc(Bytes packet) {
    packet.push_back(ReferenceCrc(packet, 0, packet.size()));
    return packet;
  }
  // What is behind the magic and the dictionary.
  Bytes FlatPackets() const {
    const Bytes file = files_.Content(kFlat);
    EXPECT_GE(file.size(), 147U);
    return Bytes(file.begin() + 147, file.end());
  }

  static constexpr char kFlat[] = "/m/f";
};

// ---- An empty file beside data -----------------------------------------------------

// Of a ring that has come round, cluster 0 alone would not do.
TEST_F(AcceptedBehaviour, AnEmptyFileBesideAWrappedRingWhoseNewestClusterIsZeroIsFilled) {
  for (const std::string empty : {kFile1, kFile2}) {
    SCOPED_TRACE(empty);
    PutPairWith(kRingClusters);
    PutInBoth(0, ClusterImage(50000, PacketAt(50000)));
    PutEmptyRing(empty);
    log_.Clear();
    DataStoreNormal store(kBase);
    ASSERT_EQ(store.Open(), 1);
    EXPECT_EQ(store.CurrentCluster(), 0);
    EXPECT_EQ(log_.Count(4, "DataStoreNormal.cc",
                         "File " + empty + " is empty, copying in contents from " +
                             (empty == kFile1 ? kFile2 : kFile1)),
              1);
    EXPECT_TRUE(files_.SameContent(kFile1, kFile2));
    EXPECT_EQ(files_.ReadBlock(empty, 20000), OnePacket(20000));
  }
}

// ---- Closing what is not open ------------------------------------------------------

TEST_F(AcceptedBehaviour, ARingThatIsClosedWithoutBeingOpenKeepsWhatWaits) {
  PutEmptyPair();
  DataStoreNormal store(kBase);
  Add(store);
  EXPECT_EQ(store.Close(), 1);
  EXPECT_TRUE(store.HasPendingItems());
  ASSERT_EQ(store.Open(), 1);
  store.InitCurrentSystemTick(5);
  store.WriteBuffers();
  EXPECT_EQ(ReadStream(store, 0), WithItsCrc(B("80 05 00 00 00 01 36")));
  store.Close();
  Add(store);
  EXPECT_EQ(store.Close(), 1);
  EXPECT_TRUE(store.HasPendingItems());
}

TEST_F(AcceptedBehaviour, AFlatFileThatIsClosedWithoutBeingOpenKeepsWhatWaits) {
  DataStoreFlatWrite store(kFlat);
  Add(store);
  EXPECT_EQ(store.Close(), 1);
  EXPECT_TRUE(store.HasPendingItems());
  ASSERT_EQ(store.Open(), 1);
  store.InitCurrentSystemTick(5);
  EXPECT_EQ(store.Close(), 1);
  EXPECT_EQ(FlatPackets(), WithItsCrc(B("80 05 00 00 00 01 36")));
  Add(store);
  EXPECT_EQ(store.Close(), 1);
  EXPECT_TRUE(store.HasPendingItems());
}

// ---- Failed writes -----------------------------------------------------------------

TEST_F(AcceptedBehaviour, AFailedClusterWriteLeavesNoTrace) {
  PutEmptyPair();
  DataStoreNormal store(kBase);
  ASSERT_EQ(store.Open(), 1);
  WriteTick(store, 1);
  files_.FailFromNowOn(FileOp::kWrite, "", EIO);
  log_.Clear();
  WriteTick(store, 2);
  EXPECT_EQ(log_.Texts(2),
            std::vector<std::string>{"Could not write metadata file at cluster 0 (0) - 5: "
                                     "Input/output error"});
  for (const std::string& text : log_.Texts(128))
    EXPECT_EQ(text.find("wrote"), std::string::npos) << text;
}

// ---- A flat store that has no tick yet ---------------------------------------------

// The upper 24 bits are those of "no tick", which the last written tick is too.
TEST_F(AcceptedBehaviour, AFlatStoreFlushedBeforeAnyTimerTickBeginsWithAShortHeader) {
  DataStoreFlatWrite store(kFlat);
  ASSERT_EQ(store.Open(), 1);
  Add(store);
  store.WriteBuffers();
  EXPECT_EQ(FlatPackets(), WithItsCrc(B("81 FF 01 36")));
  EXPECT_THAT(log_.Texts(2), ElementsAre());  // it is not told

  store.TimerTick(7);  // the whole tick from here on
  const Bytes all = FlatPackets();
  ASSERT_GT(all.size(), 10U);
  EXPECT_EQ(Bytes(all.begin() + 5, all.begin() + 10), B("80 07 00 00 00"));
}

// Behind other packets a reader takes that header's 0xFF into their tick.
TEST_F(AcceptedBehaviour, AppendedToAFileItStaysAShortHeader) {
  for (const unsigned int tick : {0x1234U, kNoTick}) {
    DataStoreFlatWrite store(kFlat);
    ASSERT_EQ(store.Open(), 1);
    store.InitCurrentSystemTick(tick);
    Add(store);
    store.Close();
  }
  EXPECT_EQ(FlatPackets(), WithItsCrc(B("80 34 12 00 00 01 36")) + WithItsCrc(B("81 FF 01 36")));
}

TEST_F(AcceptedBehaviour, ATickOfNoneBehindOtherTicksIsToldAndWrittenWhole) {
  DataStoreFlatWrite store(kFlat);
  ASSERT_EQ(store.Open(), 1);
  for (const unsigned int tick : {5U, kNoTick}) {
    store.InitCurrentSystemTick(tick);
    Add(store);
    store.WriteBuffers();
  }
  EXPECT_EQ(FlatPackets(),
            WithItsCrc(B("80 05 00 00 00 01 36")) + WithItsCrc(B("80 FF FF FF FF 01 36")));
  EXPECT_THAT(log_.Texts(2), Contains("trying to write SysTick of (-1)"));
}

}  // namespace
}  // namespace vmr::test
