// Saving what can still be read of a store.
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "backends/data_store_normal.h"
#include "host/default/host_control.h"
#include "tests/tools/ring_images.h"

namespace vmr::test {
namespace {

namespace fs = std::filesystem;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

// What comes in the place of what is lost: a mark, and a packet without items that tells the
// tick of what follows.
Bytes LossBefore(std::uint32_t tick) {
  return ClusterOf(tick, B("82 00 FF") + FullPacket(tick, {}));
}

class RecoverTest : public RingImageTest {
 protected:
  RecoverTest() { host::SetLogLevel(1); }

  Finished Recover(const Arguments& more = {}) const {
    Arguments arguments = {"recover", "s", "new"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return Run(arguments);
  }
  // The new store is sound, a recorder finds its end there, and both files are
  // the same.
  void ExpectSound(int newest_cluster, unsigned int last_tick) const {
    const Finished checked = Run({"check", "new"});
    EXPECT_EQ(checked.exit_code, 0) << checked.out;
    EXPECT_THAT(checked.out, Not(HasSubstr("normal:")));
    DataStoreNormal store(Path("new"));
    ASSERT_EQ(store.Open(), 1);
    EXPECT_EQ(store.CurrentCluster(), newest_cluster);
    EXPECT_EQ(store.GetCurrentSystemTick(), last_tick);
    store.Close();
    struct stat status {};
    EXPECT_EQ(stat(Path("new_2.mtd").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode, S_IFREG | 0660U);
  }
  std::vector<std::string> ViewNew() const {
    return ItemsOf(Run({"view", "--listing", "new"}).out);
  }
  bool Written() const { return fs::exists(Path("new_1.mtd")) || fs::exists(Path("new_2.mtd")); }
  bool LeftNothingBehind() const {
    for (const auto& entry : fs::directory_iterator(folder))
      if (entry.path().filename().string().rfind(".vmr-", 0) == 0) return false;
    return true;
  }
};

TEST_F(RecoverTest, ARecordingComesOutAsItWas) {
  Replay(
      "{\"event\":\"bookmark\",\"tick\":9,\"time\":\"2024-05-01T10:00:00Z\"}\n"
      "{\"event\":\"bookmark\",\"tick\":99}\n{\"event\":\"bookmark\",\"tick\":199}\n");
  const Finished recovered = Recover();
  EXPECT_EQ(recovered.exit_code, 0) << recovered.out;
  EXPECT_EQ(recovered.err, "");
  EXPECT_THAT(recovered.out, StartsWith("new: 6 packets in 1 clusters, ticks 9 to "));
  EXPECT_THAT(recovered.out, HasSubstr("kind                       recovered        lost\n"
                                       "Bookmark                           3           0\n"));
  EXPECT_EQ(Run({"view", "--listing", "new"}).out, Run({"view", "--listing", "s"}).out);
  EXPECT_EQ(Run({"check", "new"}).exit_code, 0);
  EXPECT_TRUE(LeftNothingBehind());
}

TEST_F(RecoverTest, AnEmptyRingGivesAnEmptyRing) {
  MakeRingOfBookmarks(0);
  const Finished recovered = Recover();
  EXPECT_EQ(recovered.exit_code, 0);
  EXPECT_EQ(recovered.out, "new: 0 packets in 0 clusters\n");
  EXPECT_EQ(Get(1, 0, "new"), UnwrittenCluster());
  EXPECT_TRUE(SameContent("new_1.mtd", "s_1.mtd"));
  EXPECT_TRUE(SameContent("new_2.mtd", "s_1.mtd"));
}

TEST_F(RecoverTest, EachClusterComesFromWhicheverFileHasIt) {
  MakeRingOfBookmarks(10);
  fs::copy_file(Path("s_1.mtd"), Path("whole"));
  for (const int cluster : {0, 2, 9}) Damage(1, cluster);
  for (const int cluster : {1, 5, 16383}) Damage(2, cluster);
  const Finished recovered = Recover();
  EXPECT_EQ(recovered.exit_code, 4);
  EXPECT_THAT(recovered.out, StartsWith("new: 20 packets in 10 clusters, ticks 10 to 960\n"
                                        "damaged: s_1.mtd cluster 0: wrong CRC; "));
  EXPECT_THAT(recovered.out, HasSubstr("\ndamaged: s_2.mtd cluster 1: wrong CRC; "));
  EXPECT_THAT(recovered.out, EndsWith("\nBookmark                          20           0\n"));
  EXPECT_TRUE(SameContent("new_1.mtd", "whole"));
  EXPECT_TRUE(SameContent("new_2.mtd", "whole"));
  ExpectSound(9, 960);
}

TEST_F(RecoverTest, TheCopyWithMorePacketsCounts) {
  MakeRingOfBookmarks(10);
  Put(1, 9, ClusterOf(910, FullPacket(910, B("56"))));
  Put(2, 4, ClusterOf(410, FullPacket(410, B("56"))));
  EXPECT_EQ(Recover().exit_code, 4);
  EXPECT_EQ(Get(1, 9, "new"), TwoBookmarks(9));
  EXPECT_EQ(Get(1, 4, "new"), TwoBookmarks(4));
  ExpectSound(9, 960);
}

TEST_F(RecoverTest, WhatIsLostIsCountedAndMarked) {
  MakeRingOfBookmarks(1000);
  Damage(1, 4);
  Damage(2, 4);
  const Finished recovered = Recover();
  EXPECT_EQ(recovered.exit_code, 3);
  EXPECT_THAT(recovered.out, StartsWith("new: 1998 packets in 999 clusters, ticks 10 to 99960\n"
                                        "lost: cluster 4: no file has a good copy; "
                                        "between ticks 360 and 510; "));
  EXPECT_THAT(recovered.out,
              EndsWith("\nBookmark                        1998           2\n"
                       "lost: at least these, which the damaged clusters still show\n"));
  EXPECT_EQ(Get(2, 3, "new"), TwoBookmarks(3));
  EXPECT_EQ(Get(2, 4, "new"), LossBefore(510));
  EXPECT_EQ(Get(2, 5, "new"), TwoBookmarks(5));
  ExpectSound(999, 99960);
  // Who reads the new store is told, and knows nothing behind it that was told before.
  EXPECT_THAT(
      Run({"export", "new"}).out,
      HasSubstr("{\"kind\":\"gap\",\"reason\":\"lost before it was copied\",\"from_tick\":360,"
                "\"to_tick\":510,"));
  EXPECT_EQ(Run({"export", "new"}).exit_code, 3);
  EXPECT_EQ(ViewNew().size(), 1998U);
}

TEST_F(RecoverTest, AWrappedRingIsPutInOrderFromCluster0On) {
  MakeRing(kRingClusters, [](int cluster) {
    return TwoBookmarks(cluster < 100 ? cluster + kRingClusters : cluster);
  });
  Damage(1, 0);
  PutInBoth(20000, Bytes(kImageBytes, 0));
  PutInBoth(98, Bytes(kImageBytes, 0));
  const Finished recovered = Recover();
  EXPECT_EQ(recovered.exit_code, 3);
  EXPECT_EQ(Get(1, 0, "new"), TwoBookmarks(100));
  EXPECT_EQ(Get(1, kRingClusters - 1, "new"), TwoBookmarks(99 + kRingClusters));
  ExpectSound(kRingClusters - 1, 100 * (99 + kRingClusters) + 60);
}

TEST_F(RecoverTest, AFullRingStaysFull) {
  MakeRing(kRingClusters, [](int cluster) {
    return TwoBookmarks(cluster < 100 ? cluster + kRingClusters : cluster);
  });
  // One file has one cluster of the lap before, for which there is no room.
  Put(2, 99, TwoBookmarks(99));
  const Finished recovered = Recover();
  EXPECT_EQ(recovered.exit_code, 4) << recovered.out;
  EXPECT_THAT(recovered.out, HasSubstr("\nthe oldest 1 clusters did not fit\n"));
  EXPECT_EQ(Get(1, 0, "new"), TwoBookmarks(100));
  ExpectSound(kRingClusters - 1, 100 * (99 + kRingClusters) + 60);
}

TEST_F(RecoverTest, AStoreThatARecorderWouldSetAsideIsSaved) {
  MakeRingOfBookmarks(10);
  Damage(1, 0);
  PutInBoth(16383, Bytes(kImageBytes, 0));
  EXPECT_EQ(Recover().exit_code, 4);
  ExpectSound(9, 960);
}

TEST_F(RecoverTest, OneFileIsEnough) {
  MakeRingOfBookmarks(10);
  fs::remove(Path("s_1.mtd"));
  EXPECT_EQ(Recover().exit_code, 4);
  ExpectSound(9, 960);
  fs::resize_file(Path("s_2.mtd"), 5 * kImageBytes);
  EXPECT_EQ(Recover({"--force"}).exit_code, 3);
  ExpectSound(4, 460);
}

TEST_F(RecoverTest, UnsoundPacketsAreLeftOut) {
  MakeRingOfBookmarks(10);
  Bytes wrong = FullPacket(420, B("56"));
  wrong.back() = static_cast<unsigned char>(wrong.back() + 1);
  const Bytes sound = FullPacket(410, B("56"));
  PutInBoth(4, ClusterOf(410, sound + wrong + B("7F") + ShortPacket(450, B("36"))));
  PutInBoth(5, ClusterOf(510, wrong));
  const Finished recovered = Recover();
  EXPECT_EQ(recovered.exit_code, 3);
  EXPECT_THAT(recovered.out, HasSubstr("\nlost: clusters 4 to 5: unsound packets in every good "));
  EXPECT_EQ(Get(1, 4, "new"), ClusterOf(410, sound + B("82 00 FF") + ShortPacket(450, B("36"))));
  EXPECT_EQ(Get(1, 5, "new"), LossBefore(510));
  EXPECT_EQ(Get(1, 6, "new"), TwoBookmarks(6));
  ExpectSound(9, 960);
}

// Cluster n begins at tick 64 n; where the upper bits of the tick change, with
// the full tick.
Bytes MostlyShortPackets(int cluster) {
  const auto tick = static_cast<std::uint32_t>(64 * cluster);
  const Bytes first = tick % 256 == 0 ? FullPacket(tick, B("56")) : ShortPacket(tick, B("56"));
  return ClusterOf(tick, first + ShortPacket(tick + 63, B("36")));
}

TEST_F(RecoverTest, PacketsBehindAGapKeepTheirTicks) {
  MakeRing(10, MostlyShortPackets);
  EXPECT_EQ(Recover().exit_code, 0);
  EXPECT_TRUE(SameContent("new_1.mtd", "s_1.mtd"));
  // What is lost held the full tick that the short packets behind it refer to. In
  // its place comes a packet without items that tells it.
  PutInBoth(4, Bytes(kImageBytes, 0));
  EXPECT_EQ(Recover({"--force"}).exit_code, 3);
  EXPECT_EQ(Get(1, 4, "new"), ClusterOf(320, B("82 00 FF") + WithCrc(B("80 40 01 00 00 00"))));
  EXPECT_EQ(Get(1, 5, "new"), MostlyShortPackets(5));
  const std::string listing = Run({"view", "--listing", "new"}).out;
  EXPECT_THAT(listing, HasSubstr("(hdr2)   320 ("));
  EXPECT_THAT(listing, HasSubstr("(hdr2)   383 ("));
  ExpectSound(9, 639);
}

TEST_F(RecoverTest, AContinuationBehindAGapIsNotJoinedToWhatWasBefore) {
  MakeRingOfBookmarks(10);
  PutInBoth(5, ClusterOf(560, Continuation(B("36")) + FullPacket(560, B("56"))));
  EXPECT_EQ(Recover().exit_code, 0);
  EXPECT_EQ(Get(1, 5, "new"), Get(1, 5)) << "what it continues is there";
  PutInBoth(4, Bytes(kImageBytes, 0));
  EXPECT_EQ(Recover({"--force"}).exit_code, 3);
  EXPECT_EQ(Get(1, 4, "new"), LossBefore(560));
  ExpectSound(9, 960);
}

TEST_F(RecoverTest, AClusterWithoutAFirstTickGetsOne) {
  MakeRingOfBookmarks(10);
  PutInBoth(10, ClusterOf(0xFFFFFFFE, Continuation(B("36"))));
  EXPECT_EQ(Recover().exit_code, 0);
  EXPECT_EQ(Get(1, 10, "new"), ClusterOf(960, Continuation(B("36"))));
  ExpectSound(10, 960);
}

// A wrong first tick is set right, but not to 0xFFFFFFFD, which a recorder's search
// takes for a cluster that cannot be read.
TEST_F(RecoverTest, AClusterWhosePacketsHaveATickThatNoSearchTakesIsSaved) {
  const Bytes packet = FullPacket(0xFFFFFFFD, B("56"));
  MakeRing(3, [&packet](int cluster) {
    return cluster < 2 ? TwoBookmarks(cluster) : ClusterOf(500, packet);
  });
  const Finished recovered = Recover();
  EXPECT_EQ(recovered.exit_code, 4) << recovered.out << recovered.err;
  EXPECT_THAT(recovered.out, StartsWith("new: 5 packets in 3 clusters, ticks 10 to 4294967293\n"));
  EXPECT_EQ(ViewNew().size(), 5U);
  EXPECT_EQ(Get(1, 2, "new"), ClusterOf(0xFFFFFFFC, packet));
  DataStoreNormal store(Path("new"));
  ASSERT_EQ(store.Open(), 1);
  EXPECT_EQ(store.CurrentCluster(), 2);
  EXPECT_EQ(store.GetCurrentSystemTick(), 0xFFFFFFFD);
  store.Close();
}

TEST_F(RecoverTest, AFileSetAsideIsReadWhenItIsGiven) {
  MakeRingOfBookmarks(10);
  fs::copy_file(Path("s_1.mtd"), Path("s_1.mtd.CORRUPT"));
  PutInBoth(4, Bytes(kImageBytes, 0));
  const Finished without = Recover();
  EXPECT_EQ(without.exit_code, 3);
  EXPECT_EQ(without.err,
            "vmr: s_1.mtd.CORRUPT: was set aside by a recorder; --corrupt s_1.mtd.CORRUPT adds "
            "what it holds\n");
  const Finished with = Recover({"--force", "--corrupt", "s_1.mtd.CORRUPT"});
  EXPECT_EQ(with.exit_code, 4);
  EXPECT_EQ(with.err, "");
  EXPECT_THAT(with.out, HasSubstr("\ns_1.mtd.CORRUPT: 1 clusters taken, 9 that the store has\n"
                                  "regained: cluster 4\n"));
  ExpectSound(9, 960);
  EXPECT_EQ(Get(1, 4, "new"), TwoBookmarks(4));
}

TEST_F(RecoverTest, AnOlderRecordingSetAsideComesBeforeTheStore) {
  MakeRing(5, [](int cluster) { return TwoBookmarks(cluster); });
  fs::rename(Path("s_1.mtd"), Path("s_1.mtd.CORRUPT"));
  MakeRing(5, [](int cluster) { return TwoBookmarks(cluster + 100); });
  WriteFile(Path("more"), "");
  EXPECT_EQ(Recover({"--corrupt", "s_1.mtd.CORRUPT"}).exit_code, 0);
  EXPECT_EQ(Get(1, 4, "new"), TwoBookmarks(4));
  // Nothing tells what was between the two.
  EXPECT_EQ(Get(1, 5, "new"), LossBefore(10010));
  EXPECT_EQ(Get(1, 6, "new"), TwoBookmarks(100));
  ExpectSound(10, 100 * 104 + 60);
}

TEST_F(RecoverTest, TicksThatTheStoreHasOtherPacketsOfAreLeftOut) {
  // A recording that was begun anew at tick 0.
  MakeRing(8, [](int cluster) { return TwoBookmarks(cluster); });
  fs::rename(Path("s_1.mtd"), Path("s_1.mtd.CORRUPT"));
  MakeRing(5, [](int cluster) {
    const auto tick = static_cast<std::uint32_t>(100 * cluster + 20);
    return ClusterOf(tick, FullPacket(tick, B("36")) + FullPacket(tick + 50, B("36")));
  });
  const Finished recovered = Recover({"--corrupt", "s_1.mtd.CORRUPT"});
  EXPECT_EQ(recovered.exit_code, 3);
  EXPECT_THAT(recovered.out,
              HasSubstr("\ns_1.mtd.CORRUPT: 3 clusters taken, 0 that the store has, 5 left out, "
                        "since the store has other packets of their ticks\n"));
  ExpectSound(7, 760);
}

TEST_F(RecoverTest, RecordingGoesOnInTheNewStore) {
  Replay("{\"event\":\"bookmark\",\"tick\":9}\n{\"event\":\"bookmark\",\"tick\":99}\n");
  Damage(1, 0);
  EXPECT_EQ(Recover().exit_code, 4);
  WriteFile(Path("input"),
            "{\"event\":\"button\",\"button\":\"record\",\"action\":\"pressed\",\"tick\":500}\n");
  EXPECT_EQ(Run({"record", "new", "--replay", "--input", "input"}).exit_code, 0);
  EXPECT_THAT(ViewNew(), testing::Contains("[Tag=Bookmark, TagNo=0x56]"));
  EXPECT_THAT(ViewNew(),
              testing::Contains("[Tag=Button, TagNo=0xC0, Button=RECORD, Action=PRESSED]"));
}

TEST_F(RecoverTest, AnExistingStoreIsReplacedOnlyWhenAsked) {
  MakeRingOfBookmarks(2);
  for (const char* name : {"new_1.mtd", "new_2.mtd"}) {
    WriteFile(Path(name), "precious");
    const Finished refused = Recover();
    EXPECT_EQ(refused.exit_code, 1);
    EXPECT_EQ(refused.err, std::string("vmr: ") + name + ": exists; --force replaces it\n");
    EXPECT_EQ(refused.out, "");
    EXPECT_EQ(ReadFile(Path(name)), "precious");
    fs::remove(Path(name));
    EXPECT_FALSE(Written());
    EXPECT_TRUE(LeftNothingBehind());
  }
  for (const char* name : {"new_1.mtd", "new_2.mtd"}) WriteFile(Path(name), "precious");
  EXPECT_EQ(Recover({"--force"}).exit_code, 0);
  ExpectSound(1, 160);
}

TEST_F(RecoverTest, NothingThatIsReadIsEverWritten) {
  MakeRingOfBookmarks(1);
  const auto refused = [&](const Arguments& arguments, const std::string& why) {
    const Finished finished = Run(arguments);
    EXPECT_EQ(finished.exit_code, 1);
    EXPECT_EQ(finished.err, "vmr: " + why + "; give another OUT\n");
  };
  refused({"recover", "s", "s", "--force"}, "s_1.mtd: belongs to the store s");
  refused({"recover", "s_2.mtd", "./s", "--force"}, "./s_1.mtd: belongs to the store s");
  fs::create_symlink("s_1.mtd", Path("linked_2.mtd"));
  refused({"recover", "s", "linked", "--force"}, "linked_2.mtd: belongs to the store s");
  fs::copy_file(Path("s_1.mtd"), Path("aside_1.mtd"));
  refused({"recover", "s", "aside", "--force", "--corrupt", "aside_1.mtd"},
          "aside_1.mtd: is read itself");
}

TEST_F(RecoverTest, ReasonsForFailureAreNamedAndLeaveNothing) {
  const auto fails = [&](const Arguments& arguments, const std::string& why) {
    const Finished failed = Run(arguments);
    EXPECT_EQ(failed.exit_code, 1);
    EXPECT_EQ(failed.err, "vmr: " + why + "\n");
    EXPECT_EQ(failed.out, "");
  };
  fails({"recover", "s", "new"}, "s: neither a file nor the base of a ring (s_1.mtd and s_2.mtd)");
  MakeRingOfBookmarks(1);
  fails({"recover", "s", "no/new"}, "no: No such file or directory");
  fails({"recover", "s", "new", "--corrupt", "none"}, "none: No such file or directory");
  fails({"recover", "s", "new", "--corrupt", "."}, ".: no regular file");
  for (const char* name : {"s_1.mtd", "s_2.mtd"}) WriteFile(Path(name), "garbage");
  fails({"recover", "s", "new"}, "s: nothing in it can be read");
  EXPECT_FALSE(Written());
  EXPECT_TRUE(LeftNothingBehind());
}

TEST_F(RecoverTest, ASignalLeavesBothFilesOrNone) {
  MakeRingOfBookmarks(100);
  // At ever later moments, until it has ended before the signal came.
  bool ended = false;
  for (int delay_us = 0; !ended; delay_us = delay_us * 3 / 2 + 2000) {
    RunningProgram program(folder, {"recover", "s", "new"});
    usleep(static_cast<useconds_t>(delay_us));
    program.Signal(SIGTERM);
    ended = program.Finish().exit_code == 0;
    EXPECT_TRUE(LeftNothingBehind());
    if (fs::exists(Path("new_1.mtd"))) {
      EXPECT_EQ(ViewNew().size(), 200U) << "a file that is there is whole";
    } else {
      EXPECT_FALSE(fs::exists(Path("new_2.mtd")));
    }
    if (!ended)
      for (const char* name : {"new_1.mtd", "new_2.mtd"}) fs::remove(Path(name));
  }
  ExpectSound(99, 9960);
}

TEST_F(RecoverTest, WrongUsageIsExplained) {
  for (const Arguments& arguments :
       {Arguments{"recover"}, Arguments{"recover", "s"}, Arguments{"recover", "", "new"},
        Arguments{"recover", "s", ""}, Arguments{"recover", "s", "new_1.mtd"},
        Arguments{"recover", "s", "--", "-new"}, Arguments{"recover", "s", "new", "--corrupt"},
        Arguments{"recover", "s", "new", "t"}}) {
    const Finished wrong = Run(arguments);
    EXPECT_EQ(wrong.exit_code, 2);
    EXPECT_THAT(wrong.err, EndsWith("vmr: try: vmr recover --help\n"));
  }
}

}  // namespace
}  // namespace vmr::test
