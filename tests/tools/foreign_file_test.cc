// Stores of which one file is garbage, of another recording, or not there at all.
#include <filesystem>

#include "tests/tools/ring_images.h"

namespace vmr::test {
namespace {

namespace fs = std::filesystem;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class ForeignFileTest : public RingImageTest {
 protected:
  Finished Check() const { return Run({"check", "s"}); }
  Finished Scrub() const { return Run({"scrub", "s"}); }
  // Bytes that are no packets, with a right CRC around them: one of 4096 images of
  // random bytes is so.
  static Bytes GarbageWithRightCrc(std::uint32_t first_tick) {
    return ClusterOf(first_tick, B("5A 80 12 34 56 78 99 3C 00 C3 81 FE 82"));
  }
  // Another unit's drive: other events at ticks of its own.
  static Bytes TwoLights(int cluster, std::uint32_t from) {
    const std::uint32_t tick = from + 100 * static_cast<std::uint32_t>(cluster);
    return ClusterOf(tick, FullPacket(tick, B("34")) + FullPacket(tick + 70, B("35")));
  }
  void MakeTwoRecordings(int count, std::uint32_t from) const {
    MakeRingOfBookmarks(10);
    for (int cluster = 0; cluster < count; ++cluster) Put(2, cluster, TwoLights(cluster, from));
  }
  void KeepAsWhole() const { fs::copy_file(Path("s_1.mtd"), Path("whole")); }
};

TEST_F(ForeignFileTest, GarbageWithARightCrcNeverReplacesAClusterThatWasNeverWritten) {
  MakeRingOfBookmarks(10);
  KeepAsWhole();
  Put(2, 20, GarbageWithRightCrc(5));
  Put(2, 30000, GarbageWithRightCrc(2000000000));
  const Finished checked = Check();
  EXPECT_EQ(checked.exit_code, 4);
  EXPECT_THAT(checked.out, StartsWith("s: 20 packets with 20 items in 10 clusters, ticks 10 to "));
  EXPECT_THAT(checked.out,
              HasSubstr("\ndamaged: s_2.mtd cluster 20: unsound packets; s_1.mtd has a good copy"));
  EXPECT_THAT(checked.out, EndsWith("\ndamaged, nothing is lost\n"));
  EXPECT_EQ(Scrub().exit_code, 0);
  EXPECT_TRUE(SameContent("s_1.mtd", "whole"));
  EXPECT_TRUE(SameContent("s_2.mtd", "whole"));
}

TEST_F(ForeignFileTest, GarbageWithARightCrcNeverReplacesAGoodCopyOfEarlierTicks) {
  MakeRingOfBookmarks(10);
  KeepAsWhole();
  Put(2, 4, GarbageWithRightCrc(2000000000));
  EXPECT_EQ(Check().exit_code, 4);
  const Finished scrubbed = Scrub();
  EXPECT_EQ(scrubbed.exit_code, 0);
  EXPECT_THAT(scrubbed.out, StartsWith("s_2.mtd cluster 4: brought up to date from s_1.mtd\n"));
  EXPECT_TRUE(SameContent("s_1.mtd", "whole"));
  EXPECT_TRUE(SameContent("s_2.mtd", "whole"));
}

// A device put a write where it does not belong.
TEST_F(ForeignFileTest, AClusterInTheWrongPlaceReplacesNoCopyThatBelongsThere) {
  const struct {
    int place;  // where a copy of `cluster` stands in file 2
    int cluster;
  } cases[] = {{3, 7}, {7, 3}, {0, 5}, {9, 2}, {10, 9}, {20000, 4}, {32767, 8}};
  MakeRingOfBookmarks(10);
  fs::copy_file(Path("s_1.mtd"), Path("whole"));
  for (const auto& misplaced : cases) {
    SCOPED_TRACE(misplaced.place);
    Put(2, misplaced.place, TwoBookmarks(misplaced.cluster));
    const Finished checked = Check();
    EXPECT_EQ(checked.exit_code, 4);
    EXPECT_THAT(checked.out,
                StartsWith("s: 20 packets with 20 items in 10 clusters, ticks 10 to "));
    EXPECT_EQ(Scrub().exit_code, 0);
    // As the next one finds them.
    ASSERT_TRUE(SameContent("s_1.mtd", "whole"));
    ASSERT_TRUE(SameContent("s_2.mtd", "whole"));
  }
}

TEST_F(ForeignFileTest, AClusterInTheWrongPlaceIsNamed) {
  MakeRingOfBookmarks(10);
  Put(2, 3, TwoBookmarks(7));
  EXPECT_THAT(Check().out,
              HasSubstr("\ndamaged: s_2.mtd cluster 3: packets that belong elsewhere in the ring; "
                        "ticks 310 to 360: Bookmark; s_1.mtd has a good copy"));
}

TEST_F(ForeignFileTest, InAWrappedRingToo) {
  MakeRing(kRingClusters, [](int cluster) {
    return TwoBookmarks(cluster < 100 ? cluster + kRingClusters : cluster);
  });
  KeepAsWhole();
  Put(2, 100, TwoBookmarks(20));             // where the oldest is
  Put(2, 50, TwoBookmarks(20));              // among the newer ones
  Put(2, 500, TwoBookmarks(kRingClusters));  // among the older ones
  EXPECT_EQ(Scrub().exit_code, 0);
  EXPECT_TRUE(SameContent("s_1.mtd", "whole"));
  EXPECT_TRUE(SameContent("s_2.mtd", "whole"));
}

TEST_F(ForeignFileTest, AWriteOfTheLatestPacketThatWentElsewhereIsKept) {
  MakeRingOfBookmarks(10);
  const Bytes latest = ClusterOf(
      910, FullPacket(910, B("56")) + FullPacket(960, B("56")) + FullPacket(970, B("34")));
  Put(2, 3, latest);
  const Finished checked = Check();
  EXPECT_EQ(checked.exit_code, 4);
  EXPECT_THAT(checked.out, HasSubstr("; the latest packet stands there alone"));
  EXPECT_THAT(checked.out, EndsWith("\ndamaged, nothing is lost but perhaps the latest packet\n"));
  EXPECT_EQ(Scrub().exit_code, 4);
  EXPECT_EQ(Get(2, 3), latest);
  EXPECT_THAT(Run({"recover", "s", "new"}).out,
              StartsWith("new: 21 packets in 10 clusters, ticks 10 to 970\n"));
}

TEST_F(ForeignFileTest, AClusterThatOnlyBelongsElsewhereIsLostWhereItStands) {
  MakeRingOfBookmarks(10);
  Damage(1, 4);
  Put(2, 4, TwoBookmarks(7));
  const Finished checked = Check();
  EXPECT_EQ(checked.exit_code, 3);
  EXPECT_THAT(checked.out, HasSubstr("\nlost: cluster 4: no file has a good copy; between ticks "
                                     "360 and 510"));
  EXPECT_THAT(Run({"recover", "s", "new"}).out,
              StartsWith("new: 18 packets in 9 clusters, ticks 10 to 960\n"));
}

TEST_F(ForeignFileTest, BehindTheEndItIsNot) {
  MakeRingOfBookmarks(10);
  Damage(1, 70);
  Put(2, 70, TwoBookmarks(7));
  EXPECT_EQ(Check().exit_code, 4);
  EXPECT_THAT(Run({"recover", "s", "new"}).out,
              StartsWith("new: 20 packets in 10 clusters, ticks 10 to 960\n"));
}

TEST_F(ForeignFileTest, AClusterThatStandsOnlyInTheWrongPlaceIsRecovered) {
  MakeRingOfBookmarks(10);
  PutInBoth(4, Bytes(kImageBytes, 0));
  Put(2, 7, TwoBookmarks(4));
  const Finished recovered = Run({"recover", "s", "new"});
  EXPECT_THAT(recovered.out, StartsWith("new: 20 packets in 10 clusters, ticks 10 to 960\n"));
  EXPECT_EQ(Get(1, 4, "new"), TwoBookmarks(4));
}

TEST_F(ForeignFileTest, AStoreThatScrubbingCannotMakeSearchableIsNotToBeRecordedInto) {
  MakeRingOfBookmarks(10);
  // With what looks like a packet, so that it is not cleared.
  PutInBoth(16383, TwoBookmarks(7));
  for (const int file : {1, 2}) Damage(file, 16383);
  const Finished scrubbed = Scrub();
  EXPECT_EQ(scrubbed.exit_code, 4);
  EXPECT_EQ(scrubbed.err,
            "vmr: s: start no recorder on it; vmr recover makes a store of what is good\n");
}

TEST_F(ForeignFileTest, AFileOfManyDamagedPlacesIsToldInFewLines) {
  MakeRingOfBookmarks(10);
  for (int cluster = 100; cluster < 200; cluster += 2) Damage(2, cluster);
  const Finished checked = Check();
  EXPECT_THAT(checked.out, HasSubstr("\ndamaged: s_2.mtd cluster 138: wrong CRC; "));
  EXPECT_THAT(checked.out, Not(HasSubstr("cluster 140: ")));
  EXPECT_THAT(checked.out,
              HasSubstr("\ndamaged: s_2.mtd 30 more places, 30 clusters: wrong CRC\ndamaged, "));
  const std::string json = Run({"check", "s", "--format", "json"}).out;
  EXPECT_THAT(json, HasSubstr("s_2.mtd cluster 198: wrong CRC"));
}

TEST_F(ForeignFileTest, FilesOfTwoRecordingsAreNotWrittenOverEachOther) {
  for (const std::uint32_t from : {20U, 5000U}) {  // at the same ticks, and at later ones
    MakeTwoRecordings(10, from);
    fs::copy_file(Path("s_1.mtd"), Path("one"), fs::copy_options::overwrite_existing);
    fs::copy_file(Path("s_2.mtd"), Path("two"), fs::copy_options::overwrite_existing);
    EXPECT_THAT(Check().out,
                HasSubstr("\nlost: s_1.mtd and s_2.mtd are of two recordings; take the one away "
                          "that does not belong here, and `vmr scrub` builds it anew\n"));
    const Finished scrubbed = Scrub();
    EXPECT_EQ(scrubbed.exit_code, 1);
    EXPECT_EQ(scrubbed.out, "");
    EXPECT_EQ(scrubbed.err,
              "vmr: s: s_1.mtd and s_2.mtd are of two recordings; take the one away that does not "
              "belong here, and `vmr scrub s` builds it anew from the other\n");
    EXPECT_TRUE(SameContent("s_1.mtd", "one"));
    EXPECT_TRUE(SameContent("s_2.mtd", "two"));
  }
}

TEST_F(ForeignFileTest, AStoreThatIsAFewClustersBehindIsNoOtherRecording) {
  MakeRingOfBookmarks(10);
  for (int cluster = 3; cluster < 10; ++cluster) Put(2, cluster, UnwrittenCluster());
  EXPECT_THAT(Check().out, Not(HasSubstr("two recordings")));
  EXPECT_EQ(Scrub().exit_code, 0);
}

TEST_F(ForeignFileTest, CopiesInConflictAreAllTakenFromOneFile) {
  MakeRingOfBookmarks(10);
  for (const int cluster : {3, 4}) Put(2, cluster, TwoLights(cluster, 20));
  Put(1, 4, ClusterOf(410, FullPacket(410, B("56")) + FullPacket(440, B("56 56 56"))));
  const Finished recovered = Run({"recover", "s", "new"});
  EXPECT_EQ(recovered.exit_code, 3);
  EXPECT_THAT(recovered.out, HasSubstr("; a recorder goes on with s_1.mtd, and `vmr recover` takes "
                                       "its copies"));
  for (int cluster = 0; cluster < 10; ++cluster) {
    const Bytes taken = Get(1, cluster, "new");
    EXPECT_EQ(taken, Get(1, cluster)) << cluster;
  }
}

TEST_F(ForeignFileTest, WhatAMissingFileMayHaveHadAloneIsSaid) {
  for (const int file : {1, 2}) {
    MakeRingOfBookmarks(10);
    fs::remove(Path(FileName(file)));
    const Finished checked = Check();
    EXPECT_EQ(checked.exit_code, 4);
    EXPECT_THAT(checked.out, HasSubstr(" has the recording"));
    EXPECT_THAT(checked.out, HasSubstr("; the latest packet may have been in it alone"));
    EXPECT_THAT(checked.out,
                EndsWith("\ndamaged, nothing is lost but perhaps the latest packet\n"));
  }
  // One that ends far behind the recording has all of it.
  MakeRingOfBookmarks(10);
  fs::resize_file(Path("s_2.mtd"), 100 * kImageBytes);
  EXPECT_THAT(Check().out, Not(HasSubstr("the latest packet")));
}

TEST_F(ForeignFileTest, AFileThatWasSetAsideIsPointedOut) {
  MakeRingOfBookmarks(10);
  fs::copy_file(Path("s_1.mtd"), Path("s_1.mtd.CORRUPT"));
  const Finished checked = Check();
  EXPECT_EQ(checked.exit_code, 0);
  EXPECT_EQ(checked.err,
            "vmr: s_1.mtd.CORRUPT: was set aside by a recorder; vmr recover with --corrupt "
            "s_1.mtd.CORRUPT adds what it holds\n");
}

}  // namespace
}  // namespace vmr::test
