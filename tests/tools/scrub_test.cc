// Mending a store in place.
#include "tools/ring/scrub.h"

#include <sys/stat.h>

#include <filesystem>

#include "backends/data_store_normal.h"
#include "host/default/host_control.h"
#include "tests/support/sanitized.h"
#include "tests/support/simulated_files.h"
#include "tests/tools/ring_images.h"
#include "tools/ring/findings.h"

namespace vmr::test {
namespace {

namespace fs = std::filesystem;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

class ScrubTest : public RingImageTest {
 protected:
  Finished Scrub() const { return Run({"scrub", "s"}); }
  bool FilesAreAlike() const { return SameContent("s_1.mtd", "s_2.mtd"); }
  // Cluster 4 is sound in both files and not the same; the one of file 2.
  Bytes MakeRingWithAConflict() const {
    MakeRingOfBookmarks(10);
    const Bytes other = ClusterOf(410, FullPacket(410, B("36")) + FullPacket(460, B("56")));
    Put(2, 4, other);
    return other;
  }
  // What is done in the end is done already.
  void ExpectNothingIsLeft() const {
    const Finished again = Scrub();
    EXPECT_THAT(again.out, StartsWith("nothing to mend\n"));
    EXPECT_THAT(again.out, EndsWith("\nsound\n"));
    EXPECT_EQ(again.exit_code, 0);
  }
};

TEST_F(ScrubTest, ASoundStoreStaysAsItIs) {
  MakeRingOfBookmarks(10);
  const auto before = fs::last_write_time(Path("s_1.mtd"));
  ExpectNothingIsLeft();
  EXPECT_EQ(fs::last_write_time(Path("s_1.mtd")), before);
}

TEST_F(ScrubTest, EveryBadCopyIsRewrittenFromItsTwin) {
  MakeRingOfBookmarks(1000);
  for (const int cluster : {0, 3, 4, 999, 1000, 32767}) Damage(1, cluster);
  Put(1, 5, Bytes(kImageBytes, 0));
  for (const int cluster : {1, 500, 998, 16383}) Damage(2, cluster);
  const Finished scrubbed = Scrub();
  EXPECT_EQ(scrubbed.exit_code, 0) << scrubbed.out << scrubbed.err;
  EXPECT_EQ(scrubbed.err, "");
  EXPECT_THAT(scrubbed.out, StartsWith("s_1.mtd cluster 0: mended from s_2.mtd\n"
                                       "s_1.mtd clusters 3 to 5: mended from s_2.mtd\n"
                                       "s_1.mtd clusters 999 to 1000: mended from s_2.mtd\n"
                                       "s_1.mtd cluster 32767: mended from s_2.mtd\n"
                                       "s_2.mtd cluster 1: mended from s_1.mtd\n"
                                       "s_2.mtd cluster 500: mended from s_1.mtd\n"
                                       "s_2.mtd cluster 998: mended from s_1.mtd\n"
                                       "s_2.mtd cluster 16383: mended from s_1.mtd\n"
                                       "s: 2000 packets with 2000 items in 1000 clusters, "));
  EXPECT_EQ(Get(1, 4), TwoBookmarks(4));
  EXPECT_EQ(Get(2, 16383), UnwrittenCluster());
  EXPECT_TRUE(FilesAreAlike());
  ExpectNothingIsLeft();
}

TEST_F(ScrubTest, WhatHasNoGoodCopyStaysAsItIs) {
  MakeRingOfBookmarks(1000);
  Damage(1, 4);
  Put(2, 4, B("11"));
  Damage(2, 6);
  const Bytes before[] = {Get(1, 4), Get(2, 4)};
  const Finished scrubbed = Scrub();
  EXPECT_EQ(scrubbed.exit_code, 3);
  EXPECT_THAT(scrubbed.out, StartsWith("s_2.mtd cluster 6: mended from s_1.mtd\n"));
  EXPECT_THAT(scrubbed.out, HasSubstr("\nlost: cluster 4: "));
  EXPECT_EQ(Get(1, 4), before[0]);
  EXPECT_EQ(Get(2, 4), before[1]);
  EXPECT_EQ(Get(2, 6), TwoBookmarks(6));
  EXPECT_EQ(Scrub().exit_code, 3);
}

TEST_F(ScrubTest, AConflictStaysAsItIs) {
  const Bytes other = MakeRingWithAConflict();
  const Finished scrubbed = Scrub();
  EXPECT_EQ(scrubbed.exit_code, 3);
  EXPECT_THAT(scrubbed.out, StartsWith("nothing to mend\n"));
  EXPECT_EQ(Get(1, 4), TwoBookmarks(4));
  EXPECT_EQ(Get(2, 4), other);
}

TEST_F(ScrubTest, AConflictStaysAsItIsInAFileThatIsBuiltAnew) {
  const Bytes other = MakeRingWithAConflict();
  fs::resize_file(Path("s_2.mtd"), fs::file_size(Path("s_2.mtd")) + 1);
  const Finished scrubbed = Scrub();
  EXPECT_EQ(scrubbed.exit_code, 3);
  EXPECT_THAT(scrubbed.out, StartsWith("s_2.mtd: built anew, from s_1.mtd\n"));
  EXPECT_EQ(Get(1, 4), TwoBookmarks(4));
  EXPECT_EQ(Get(2, 4), other);
}

TEST_F(ScrubTest, WhatOneFileLacksIsBroughtUpToDate) {
  MakeRingOfBookmarks(10);
  Put(1, 9, UnwrittenCluster());
  Put(1, 8, ClusterOf(810, FullPacket(810, B("56"))));
  Put(2, 2, ClusterOf(210, FullPacket(210, B("56"))));
  const Finished scrubbed = Scrub();
  EXPECT_EQ(scrubbed.exit_code, 0);
  EXPECT_THAT(scrubbed.out, StartsWith("s_1.mtd clusters 8 to 9: brought up to date from s_2.mtd\n"
                                       "s_2.mtd cluster 2: brought up to date from s_1.mtd\n"));
  EXPECT_TRUE(FilesAreAlike());
  EXPECT_EQ(Get(1, 9), TwoBookmarks(9));
  ExpectNothingIsLeft();
}

TEST_F(ScrubTest, TheOnlySearchableFileIsNotBroughtUpToDate) {
  MakeRingOfBookmarks(10);
  Put(2, 9, ClusterOf(910, FullPacket(910, B("56"))));
  // No search passes this one, and nothing can mend it.
  PutInBoth(15, TwoBookmarks(7));
  for (const int file : {1, 2}) Damage(file, 15);
  const Finished scrubbed = Scrub();
  EXPECT_EQ(scrubbed.exit_code, 4);
  EXPECT_THAT(scrubbed.out, StartsWith("nothing to mend\n"));
}

TEST_F(ScrubTest, AMissingFileIsBuiltAnew) {
  for (const int file : {1, 2}) {
    MakeRingOfBookmarks(10);
    fs::remove(Path(FileName(file)));
    const Finished scrubbed = Scrub();
    EXPECT_EQ(scrubbed.exit_code, 0) << scrubbed.out << scrubbed.err;
    EXPECT_THAT(scrubbed.out,
                StartsWith(FileName(file) + ": built anew, from " + FileName(3 - file) + "\n"));
    EXPECT_TRUE(FilesAreAlike());
    struct stat status {};
    EXPECT_EQ(stat(Path(FileName(file)).c_str(), &status), 0);
    EXPECT_EQ(status.st_mode, S_IFREG | 0660U);
  }
}

TEST_F(ScrubTest, AFileOfTheWrongSizeIsBuiltAnewFromTheGoodOfBoth) {
  MakeRingOfBookmarks(10);
  fs::copy_file(Path("s_1.mtd"), Path("whole"));
  for (const std::size_t bytes :
       {std::size_t{0}, 5 * kImageBytes + 9, kRingClusters * kImageBytes + 1}) {
    fs::resize_file(Path("s_2.mtd"), bytes);
    if (bytes > 0) Damage(1, 3);
    const Finished scrubbed = Scrub();
    EXPECT_EQ(scrubbed.exit_code, 0) << scrubbed.out << scrubbed.err;
    EXPECT_THAT(scrubbed.out, StartsWith("s_2.mtd: built anew, from s_1.mtd\n"));
    EXPECT_TRUE(SameContent("s_1.mtd", "whole"));
    EXPECT_TRUE(SameContent("s_2.mtd", "whole"));
  }
  for (const auto& entry : fs::directory_iterator(folder))
    EXPECT_NE(entry.path().filename().string().rfind(".vmr-scrub-", 0), 0U);
}

TEST_F(ScrubTest, AFileOfGarbageIsRewritten) {
  MakeRingOfBookmarks(10);
  WriteFile(Path("s_1.mtd"), std::string(kImageBytes * kRingClusters, '\x55'));
  EXPECT_THAT(Scrub().out, StartsWith("s_1.mtd clusters 0 to 32767: mended from s_2.mtd\n"));
  EXPECT_TRUE(FilesAreAlike());
}

TEST_F(ScrubTest, AStoreThatNoRecorderCouldReadIsRecordedIntoAgain) {
  Replay("{\"event\":\"bookmark\",\"tick\":9}\n{\"event\":\"bookmark\",\"tick\":99}\n");
  Damage(1, 0);
  Damage(2, 16383);
  EXPECT_EQ(Scrub().exit_code, 0);
  Replay("{\"event\":\"button\",\"button\":\"record\",\"action\":\"pressed\",\"tick\":500}\n");
  EXPECT_FALSE(fs::exists(Path("s_1.mtd.CORRUPT")));
  EXPECT_THAT(View(), HasSubstr("[Tag=Bookmark, TagNo=0x56]"));
  EXPECT_THAT(View(), HasSubstr("Button=RECORD"));
}

TEST_F(ScrubTest, ARecorderKeepsItOut) {
  RunningProgram recorder(folder, {"record", "s", "--input", "-"});
  recorder.Write("{\"event\":\"bookmark\"}\nx\n");
  ASSERT_TRUE(recorder.WaitForMessage("standard input:2:"));
  const Finished refused = Scrub();
  EXPECT_EQ(refused.exit_code, 1);
  EXPECT_EQ(refused.err, "vmr: s: is in use by another process; end it first\n");
  EXPECT_EQ(refused.out, "");
  EXPECT_EQ(recorder.Finish().exit_code, 0);
  EXPECT_EQ(Scrub().exit_code, 0);
}

TEST_F(ScrubTest, WhatCannotBeWrittenIsSaid) {
  MakeRingOfBookmarks(10);
  fs::remove(Path("s_2.mtd"));
  fs::create_directory(Path("s_2.mtd"));
  const Finished scrubbed = Scrub();
  EXPECT_EQ(scrubbed.exit_code, 4);
  EXPECT_THAT(scrubbed.out, HasSubstr("damaged: s_2.mtd is no regular file"));
  EXPECT_EQ(Run({"scrub", "none"}).exit_code, 1);
}

TEST_F(ScrubTest, WrongUsageIsExplained) {
  for (const Arguments& arguments :
       {Arguments{"scrub"}, Arguments{"scrub", ""}, Arguments{"scrub", "s", "t"}}) {
    const Finished wrong = Run(arguments);
    EXPECT_EQ(wrong.exit_code, 2);
    EXPECT_THAT(wrong.err, EndsWith("vmr: try: vmr scrub --help\n"));
  }
}

// A header that changed under a right CRC. The packets tell, or the cluster before.
TEST_F(ScrubTest, AFirstTickThatIsNotItsPacketsGivesWayToTheOthers) {
  const auto short_packets = [](int cluster) {
    const auto tick = static_cast<std::uint32_t>(2 * cluster + 10);
    return ClusterOf(tick, ShortPacket(tick, B("56")) + ShortPacket(tick + 1, B("56")));
  };
  const auto with_tick = [](Bytes image, std::uint32_t tick) {
    const Bytes packets(image.begin() + 7, image.begin() + 7 + (image[5] - 7));
    return ClusterOf(tick, packets);
  };
  // With sanitizers half of them: the file that is wrong is told by the same code in both.
  const std::vector<int> files = kSanitized ? std::vector<int>{1} : std::vector<int>{1, 2};
  for (const bool is_short : {false, true}) {
    MakeRing(10, [&](int n) { return is_short ? short_packets(n) : TwoBookmarks(n); });
    for (const int cluster : {1, 4, 9})
      for (const std::uint32_t tick : {11U, 0x10000U + 10 + 2 * static_cast<unsigned>(cluster)})
        for (const int file : files) {
          SCOPED_TRACE(testing::Message() << is_short << cluster << " " << tick << " " << file);
          const Bytes right = Get(file, cluster);
          Put(file, cluster, with_tick(right, tick));
          EXPECT_EQ(Run({"check", "s"}).exit_code, 4);
          EXPECT_EQ(Scrub().exit_code, 0);
          EXPECT_EQ(Get(file, cluster), right);
          EXPECT_TRUE(FilesAreAlike());
          if (HasFailure()) return;  // the ring is not what the next one begins with
        }
  }
}

TEST_F(ScrubTest, WhatWasNeverRecordedAndIsBadInBothIsCleared) {
  MakeRingOfBookmarks(10);
  PutInBoth(20, Bytes(kImageBytes, 0));
  PutInBoth(32767, Bytes(kImageBytes, 0x55));
  Damage(1, 4);
  const Finished scrubbed = Scrub();
  EXPECT_EQ(scrubbed.exit_code, 0) << scrubbed.out;
  EXPECT_THAT(scrubbed.out, HasSubstr("s_2.mtd cluster 20: cleared, nothing was ever recorded "
                                      "there\n"));
  EXPECT_THAT(scrubbed.out, HasSubstr("s_1.mtd cluster 4: mended from s_2.mtd\n"));
  for (const int file : {1, 2})
    for (const int cluster : {20, 32767}) EXPECT_EQ(Get(file, cluster), UnwrittenCluster());
  ExpectNothingIsLeft();
}

// The one behind the newest may have been the newest.
TEST_F(ScrubTest, WhatMayHaveHeldSomethingIsNotCleared) {
  MakeRingOfBookmarks(10);
  PutInBoth(10, Bytes(kImageBytes, 0));
  EXPECT_EQ(Scrub().exit_code, 3);
  EXPECT_EQ(Get(1, 10), Bytes(kImageBytes, 0));
}

// ---- Ended halfway ------------------------------------------------------------------

class ScrubPowerCut : public testing::Test {
 protected:
  ScrubPowerCut() {
    host::SetLogLevel(0);
    files.MakeDirectory("/m");
    const Bytes unwritten = UnwrittenCluster();
    files.PutFile(kFile1, {});
    files.FillBlocks(kFile1, 0, kRingClusters, unwritten);
    files.PutBlocks(kFile1, 0, 6, [](std::size_t cluster) { return Packet(cluster); });
    files.CopyContent(kFile1, kFile2);
  }

  static Bytes Packet(std::size_t cluster) {
    const auto tick = static_cast<std::uint32_t>(100 * cluster);
    return ClusterOf(tick, FullPacket(tick, B("56")) + FullPacket(tick + 1, B("56")));
  }
  void Spoil(const char* path, long cluster) { files.FlipByte(path, cluster * 4096 + 1); }
  bool Scrub() const {
    const std::string base = "/m/r";
    tool::RingSurvey survey(kFile1, kFile2);
    survey.Read();
    return tool::RingScrub(base, survey).Run();
  }
  static tool::Severity Gravest() {
    tool::RingSurvey survey(kFile1, kFile2);
    survey.Read();
    return tool::Gravest(tool::FindAll(survey));
  }

  static constexpr char kFile1[] = "/m/r_1.mtd";
  static constexpr char kFile2[] = "/m/r_2.mtd";

  SimulatedFiles files;
};

TEST_F(ScrubPowerCut, NothingIsLostAtAnyMoment) {
  // Neither can be searched; one lacks the newest packet and a closed one.
  Spoil(kFile1, 0);
  Spoil(kFile2, 16383);
  Spoil(kFile2, 2);
  files.PutBlock(kFile1, 5, ClusterOf(500, FullPacket(500, B("56"))));
  files.PutBlock(kFile2, 3, ClusterOf(300, FullPacket(300, B("56"))));
  const SimulatedFiles::Image before = files.Snapshot();
  // Reading is the most of it: only where something changes is the power cut.
  ASSERT_TRUE(Scrub());
  std::vector<int> moments;
  const auto& operations = files.Operations();
  for (std::size_t i = 0; i < operations.size(); ++i)
    if (operations[i].op == FileOp::kWrite || operations[i].op == FileOp::kFsync)
      moments.push_back(static_cast<int>(i) + 1);
  ASSERT_EQ(moments.size(), 5U + 4U);
  for (const int moment : moments)
    for (unsigned int seed = 0; seed < 3; ++seed) {
      SCOPED_TRACE(testing::Message() << "operation " << moment << " seed " << seed);
      files.Restore(before);
      files.CutPowerAt(moment);
      EXPECT_FALSE(Scrub());
      files.PowerUp(Unsynced::kTorn, seed);
      EXPECT_LE(Gravest(), tool::Severity::kDamaged);
      EXPECT_TRUE(Scrub());
      EXPECT_EQ(Gravest(), tool::Severity::kNormal);
      EXPECT_EQ(files.ReadBlock(kFile1, 5), Packet(5));
      EXPECT_TRUE(files.SameContent(kFile1, kFile2));
    }
}

TEST_F(ScrubPowerCut, ARecorderFindsItsPlaceAtAnyMoment) {
  // File 2 cannot be searched, file 1 lacks the newest packet.
  Spoil(kFile2, 16383);
  files.PutBlock(kFile1, 5, ClusterOf(500, FullPacket(500, B("56"))));
  const SimulatedFiles::Image before = files.Snapshot();
  ASSERT_TRUE(Scrub());
  const std::vector<Operation> operations = files.Operations();
  for (std::size_t i = 0; i < operations.size(); ++i) {
    if (operations[i].op != FileOp::kWrite && operations[i].op != FileOp::kFsync) continue;
    for (unsigned int seed = 0; seed < 3; ++seed) {
      files.Restore(before);
      files.CutPowerAt(static_cast<int>(i) + 1);
      EXPECT_FALSE(Scrub());
      files.PowerUp(Unsynced::kTorn, seed);
      DataStoreNormal store("/m/r");
      ASSERT_EQ(store.Open(), 1);
      EXPECT_EQ(store.CurrentCluster(), 5) << "begun anew";
      store.Close();
      EXPECT_FALSE(files.Exists("/m/r_1.mtd.CORRUPT"));
    }
  }
}

TEST_F(ScrubPowerCut, AWriteThatFailsIsReported) {
  Spoil(kFile1, 3);
  files.FailOnce(FileOp::kWrite, kFile1, ENOSPC);
  EXPECT_FALSE(Scrub());
  files.FailOnce(FileOp::kFsync, kFile1, EIO);
  EXPECT_FALSE(Scrub());
  EXPECT_TRUE(Scrub());
  EXPECT_EQ(Gravest(), tool::Severity::kNormal);
}

TEST_F(ScrubPowerCut, AReadErrorInOnePlaceIsOneBadCopy) {
  files.FailFromNowOn(FileOp::kRead, kFile1, EIO);
  tool::RingSurvey survey(kFile1, kFile2);
  survey.Read();
  EXPECT_EQ(survey.At(3).Copy(1).state, tool::CopyState::kUnreadable);
  EXPECT_EQ(survey.At(3).best, 2);
  const auto findings = tool::FindAll(survey);
  ASSERT_FALSE(findings.empty());
  EXPECT_TRUE(findings[0].Is(tool::finding_kind::kUnreadable));
  EXPECT_EQ(tool::Gravest(findings), tool::Severity::kDamaged);
}

}  // namespace
}  // namespace vmr::test
