// Looking a store over for damage.
#include "tools/commands/check.h"

#include <sys/stat.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <set>

#include "backends/data_store_normal.h"
#include "tests/support/file_hook.h"
#include "tests/tools/ring_images.h"

namespace vmr::test {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

class CheckTest : public RingImageTest {
 protected:
  Finished Check() const { return Run({"check", "s"}); }
  json CheckJson() const {
    const Finished checked = Run({"check", "s", "--format", "json"});
    return json::parse(checked.out, nullptr, false);
  }
  // "kind file first-last" of each finding.
  std::vector<std::string> Findings() const { return FindingsOf(CheckJson()); }
  static std::vector<std::string> FindingsOf(const json& checked) {
    std::vector<std::string> found;
    for (const json& finding : checked["findings"]) {
      const std::string file = finding["file"].is_null() ? "-" : finding["file"].get<std::string>();
      found.push_back(finding["kind"].get<std::string>() + " " + file + " " +
                      finding["first_cluster"].dump() + "-" + finding["last_cluster"].dump());
    }
    return found;
  }
  void ExpectFindings(int exit_code, const std::vector<std::string>& expected) const {
    const Finished checked = Run({"check", "s", "--format", "json"});
    EXPECT_EQ(checked.exit_code, exit_code);
    EXPECT_EQ(FindingsOf(json::parse(checked.out, nullptr, false)), expected);
  }
  void ExpectVerdict(int exit_code, const std::string& verdict) const {
    const Finished checked = Check();
    EXPECT_EQ(checked.exit_code, exit_code) << checked.out;
    EXPECT_THAT(checked.out, testing::EndsWith("\n" + verdict + "\n"));
    EXPECT_EQ(checked.err, "");
  }
  // Where the library itself takes the recording to end.
  int NewestOfARecorder() const {
    DataStoreNormal store(Path("s"));
    EXPECT_EQ(store.OpenReadOnly(), 1);
    const int newest = store.CurrentCluster();
    store.Close();
    return newest;
  }
};

TEST_F(CheckTest, ARecordingIsSound) {
  Replay(
      "{\"event\":\"bookmark\",\"tick\":9,\"time\":\"2024-05-01T10:00:00Z\"}\n"
      "{\"event\":\"bookmark\",\"tick\":99}\n{\"event\":\"bookmark\",\"tick\":199}\n");
  const Finished checked = Check();
  EXPECT_EQ(checked.exit_code, 0);
  EXPECT_EQ(checked.err, "");
  EXPECT_THAT(checked.out, StartsWith("s: 6 packets with "));
  EXPECT_THAT(checked.out,
              HasSubstr(" items in 1 clusters, ticks 9 (2024-05-01 10:00:00+00:00) to "));
  EXPECT_THAT(checked.out, HasSubstr("s_1.mtd: 1 clusters good, 32767 never written, 0 damaged\n"));
  EXPECT_THAT(checked.out, HasSubstr("\nnormal: s_"));
  EXPECT_THAT(checked.out, HasSubstr(": lacks the latest packets, as it may between two turns"));
  EXPECT_THAT(checked.out, testing::EndsWith("\nsound\n"));
}

TEST_F(CheckTest, AnEmptyRingIsSound) {
  MakeRingOfBookmarks(0);
  const Finished checked = Check();
  EXPECT_EQ(checked.exit_code, 0);
  EXPECT_EQ(checked.out,
            "s: nothing is recorded\n"
            "s_1.mtd: 0 clusters good, 32768 never written, 0 damaged\n"
            "s_2.mtd: 0 clusters good, 32768 never written, 0 damaged\n"
            "sound\n");
}

TEST_F(CheckTest, AWrappedRingIsSound) {
  // Clusters 0 to 99 are of the second lap.
  MakeRing(kRingClusters, [](int cluster) {
    return TwoBookmarks(cluster < 100 ? cluster + kRingClusters : cluster);
  });
  EXPECT_EQ(Findings(), std::vector<std::string>{});
  const json recording = CheckJson()["recording"];
  EXPECT_EQ(recording["oldest_cluster"], 100);
  EXPECT_EQ(recording["newest_cluster"], 99);
  EXPECT_EQ(recording["first_tick"], 100 * 100 + 10);
  EXPECT_EQ(recording["last_tick"], 100 * (99 + kRingClusters) + 60);
  ExpectVerdict(0, "sound");
}

TEST_F(CheckTest, DamageOfEveryKindIsNamedWithItsFileAndSpan) {
  MakeRingOfBookmarks(10);
  const struct {
    const char* kind;
    const char* phrase;
    Bytes bytes;
    std::size_t offset;
  } damages[] = {{"wrong_crc", "wrong CRC", B("99"), 0},
                 {"wrong_crc", "wrong CRC", B("99"), 2},
                 {"wrong_crc", "wrong CRC", B("99"), 20},
                 {"impossible_size", "impossible size", B("00 00"), 5},
                 {"impossible_size", "impossible size", B("06 00"), 5},
                 {"impossible_size", "impossible size", B("01 10"), 5},
                 {"wrong_crc", "wrong CRC", B("00 10"), 5},
                 {"impossible_size", "impossible size", Bytes(kImageBytes, 0), 0},
                 {"impossible_size", "impossible size", Bytes(kImageBytes, 0xFF), 0}};
  for (const auto& damage : damages)
    for (const int file : {1, 2}) {
      SCOPED_TRACE(damage.phrase + FileName(file));
      Put(file, 4, damage.bytes, damage.offset);
      const json checked = CheckJson();
      EXPECT_EQ(checked["verdict"], "damaged");
      EXPECT_THAT(FindingsOf(checked), ElementsAre(damage.kind + (" " + FileName(file)) + " 4-4"));
      EXPECT_EQ(checked["findings"][0]["text"], FileName(file) + " cluster 4: " + damage.phrase +
                                                    "; ticks 410 to 460: Bookmark; " +
                                                    FileName(3 - file) + " has a good copy");
      Put(file, 4, TwoBookmarks(4));
    }
  ExpectVerdict(0, "sound");
}

TEST_F(CheckTest, DamageInEveryPlaceIsFound) {
  // The first, the oldest of all, the newest, the next, and those a search reads.
  MakeRingOfBookmarks(1000);
  for (const int cluster : {0, 1, 500, 998, 999, 1000, 1001, 16383, 32766, 32767}) {
    SCOPED_TRACE(cluster);
    for (const int file : {1, 2}) {
      const Bytes before = Get(file, cluster);
      Damage(file, cluster);
      const json finding = CheckJson()["findings"][0];
      EXPECT_EQ(finding["kind"], "wrong_crc");
      EXPECT_EQ(finding["severity"], "damaged");
      EXPECT_EQ(finding["file"], FileName(file));
      EXPECT_EQ(finding["first_cluster"], cluster);
      EXPECT_EQ(finding["good_copy"], FileName(3 - file));
      EXPECT_EQ(finding["last_packet_open"], cluster == 999 || cluster == 1000);
      Put(file, cluster, before);
    }
  }
}

TEST_F(CheckTest, WhatBehindTheUsedBytesIsNoDamage) {
  MakeRingOfBookmarks(3);
  Put(1, 1, B("99 99"), 4000);
  ExpectVerdict(0, "sound");
}

TEST_F(CheckTest, ADamagedClusterOnTheSearchPathIsADanger) {
  MakeRingOfBookmarks(10);
  Damage(2, 16383);
  EXPECT_THAT(Findings(),
              ElementsAre("wrong_crc s_2.mtd 16383-16383", "not_searchable s_2.mtd 16383-16383"));
  EXPECT_EQ(CheckJson()["findings"][0]["search_path"], json::parse("[16383]"));
  EXPECT_EQ(CheckJson()["files"][0]["searchable"], true);
  EXPECT_EQ(CheckJson()["files"][1]["searchable"], false);
  ExpectVerdict(4, "damaged, nothing is lost");
  // Both unsearchable at different places: nothing is lost yet.
  Damage(1, 9);
  EXPECT_THAT(Check().out,
              HasSubstr("\ndamaged: a recorder that starts now sets the recording aside and begins "
                        "anew, because of cluster "));
  ExpectVerdict(4, "damaged, nothing is lost but perhaps the latest packet");
}

TEST_F(CheckTest, ADamagedClusterOffTheSearchPathIsNone) {
  MakeRingOfBookmarks(1000);
  Damage(1, 3);
  EXPECT_EQ(CheckJson()["findings"][0]["search_path"], json::array());
  EXPECT_EQ(CheckJson()["files"][0]["searchable"], true);
}

TEST_F(CheckTest, TheSameClusterDamagedInBothIsLost) {
  MakeRingOfBookmarks(1000);
  Damage(1, 4);
  Damage(2, 4);
  Damage(2, 5);
  const Finished checked = Check();
  EXPECT_EQ(checked.exit_code, 3);
  EXPECT_THAT(checked.out,
              HasSubstr("\nlost: cluster 4: no file has a good copy; between ticks 360 "
                        "and 510; still legible there: Bookmark\n"));
  EXPECT_THAT(checked.out, testing::EndsWith("\nsomething is lost\n"));
  EXPECT_THAT(Findings(), ElementsAre("lost - 4-4", "wrong_crc s_2.mtd 5-5"));
}

TEST_F(CheckTest, DamageInBothOfWhatWasNeverWrittenLosesNothing) {
  MakeRingOfBookmarks(10);
  PutInBoth(20000, Bytes(kImageBytes, 0));
  ExpectFindings(4, {"held_nothing - 20000-20000"});
  // The cluster after the newest may have been the newest.
  PutInBoth(10, Bytes(kImageBytes, 0));
  EXPECT_THAT(Findings(), testing::IsSupersetOf({"lost - 10-10", "held_nothing - 20000-20000"}));
  ExpectVerdict(3, "something is lost");
}

TEST_F(CheckTest, ALostClusterThatNoRecorderStartsWithoutIsSaid) {
  MakeRingOfBookmarks(1000);
  PutInBoth(998, Bytes(kImageBytes, 0));
  EXPECT_THAT(Check().out, HasSubstr("\ndamaged: no recorder can start, because of cluster 998\n"));
}

TEST_F(CheckTest, AMissingFileIsDamage) {
  for (const int file : {1, 2}) {
    MakeRingOfBookmarks(10);
    fs::remove(Path(FileName(file)));
    EXPECT_THAT(Findings(), ElementsAre("missing_file " + FileName(file) + " 0-32767"));
    const Finished checked = Check();
    EXPECT_EQ(checked.exit_code, 4);
    EXPECT_THAT(checked.out, HasSubstr("\ndamaged: " + FileName(file) +
                                       " is missing; clusters 0 to 32767; ticks "
                                       "10 to 960; " +
                                       FileName(3 - file) + " has the recording"));
    EXPECT_EQ(checked.out.find("goes on at cluster 0") != std::string::npos, file == 1);
  }
  Damage(1, 3);
  EXPECT_EQ(Check().exit_code, 3) << "the only file";
}

TEST_F(CheckTest, AFileOfTheWrongSizeOrKindIsDamage) {
  MakeRingOfBookmarks(10);
  fs::resize_file(Path("s_2.mtd"), 5 * kImageBytes + 9);
  ExpectFindings(4, {"short_file s_2.mtd 5-32767"});
  fs::resize_file(Path("s_2.mtd"), 0);
  EXPECT_THAT(Findings(), ElementsAre("short_file s_2.mtd 0-32767"));
  fs::copy_file(Path("s_1.mtd"), Path("s_2.mtd"), fs::copy_options::overwrite_existing);
  WriteFile(Path("more"), "x");
  fs::resize_file(Path("s_2.mtd"), kImageBytes * kRingClusters + 1);
  EXPECT_EQ(CheckJson()["findings"][0]["kind"], "long_file");
  ExpectVerdict(4, "damaged, nothing is lost");
  fs::remove(Path("s_2.mtd"));
  fs::create_directory(Path("s_2.mtd"));
  ExpectFindings(4, {"not_a_file s_2.mtd 0-32767"});
}

TEST_F(CheckTest, AFileOfGarbageIsDamageInEveryCluster) {
  MakeRingOfBookmarks(10);
  WriteFile(Path("s_1.mtd"), std::string(kImageBytes * kRingClusters, '\x55'));
  ExpectFindings(4, {"impossible_size s_1.mtd 0-8", "impossible_size s_1.mtd 9-10",
                     "impossible_size s_1.mtd 11-32767", "not_searchable s_1.mtd 0-0"});
}

// In this process: no file system here has bad blocks to look at.
class CheckOfABadDeviceTest : public CheckTest {
 protected:
  CheckOfABadDeviceTest() { fs::current_path(folder); }
  ~CheckOfABadDeviceTest() override { fs::current_path(before_); }

  Finished CheckWith(const std::set<off_t>& bad_in_1, const std::set<off_t>& bad_in_2,
                     bool as_json) const {
    const BadBlocks device({{"s_1.mtd", bad_in_1}, {"s_2.mtd", bad_in_2}});
    testing::internal::CaptureStdout();
    const int exit_code = tool::Check({{"s"}, as_json});
    return {exit_code, testing::internal::GetCapturedStdout(), ""};
  }

 private:
  fs::path before_ = fs::current_path();
};

TEST_F(CheckOfABadDeviceTest, AClusterUnreadableInOneFileIsDamage) {
  MakeRingOfBookmarks(1000);
  const Finished checked = CheckWith({4, 63, 64}, {5, 16383}, true);
  EXPECT_EQ(checked.exit_code, 4);
  const json found = json::parse(checked.out, nullptr, false);
  EXPECT_THAT(
      FindingsOf(found),
      ElementsAre("unreadable s_1.mtd 4-4", "unreadable s_2.mtd 5-5", "unreadable s_1.mtd 63-64",
                  "unreadable s_2.mtd 16383-16383", "not_searchable s_2.mtd 16383-16383"));
  EXPECT_EQ(found["findings"][0]["text"],
            "s_1.mtd cluster 4: cannot be read; ticks 410 to 460: Bookmark; s_2.mtd has a good "
            "copy");
  EXPECT_EQ(found["files"][0]["good_clusters"], 997);
  EXPECT_EQ(found["files"][0]["damaged_clusters"], 3);
  EXPECT_EQ(found["recording"]["packets"], 2000);
}

TEST_F(CheckOfABadDeviceTest, AClusterUnreadableInBothIsLost) {
  MakeRingOfBookmarks(1000);
  const Finished checked = CheckWith({5}, {5}, false);
  EXPECT_EQ(checked.exit_code, 3);
  EXPECT_THAT(checked.out, HasSubstr("\nlost: cluster 5: no file has a good copy; between ticks "
                                     "460 and 610\n"));
  EXPECT_THAT(checked.out, testing::EndsWith("\nsomething is lost\n"));
}

// One cannot be read, the other is damaged: what is still legible comes from that.
TEST_F(CheckOfABadDeviceTest, AClusterUnreadableInOneAndDamagedInTheOtherIsLost) {
  MakeRingOfBookmarks(1000);
  Damage(2, 5);
  const Finished checked = CheckWith({5}, {}, false);
  EXPECT_EQ(checked.exit_code, 3);
  EXPECT_THAT(checked.out, HasSubstr("\nlost: cluster 5: no file has a good copy; between ticks "
                                     "460 and 610; still legible there: Bookmark\n"));
}

TEST_F(CheckTest, WhatOneFileLacksBetweenTwoTurnsIsNormal) {
  MakeRingOfBookmarks(10);
  const std::uint32_t tick = 910;
  const Bytes one_packet = ClusterOf(tick, FullPacket(tick, B("56")));
  Put(2, 9, one_packet);
  EXPECT_THAT(Findings(), ElementsAre("behind s_2.mtd 9-9"));
  EXPECT_THAT(Check().out, HasSubstr("\nnormal: s_2.mtd cluster 9: lacks the latest packets, as it "
                                     "may between two turns; ticks 910 to 960; s_1.mtd has"));
  Put(2, 8, ClusterOf(810, FullPacket(810, B("56"))));
  ExpectFindings(0, {"behind s_2.mtd 8-9"});
  // With every packet the files take turns: no more than one is lacking.
  Put(2, 9, UnwrittenCluster());
  ExpectFindings(4, {"behind s_2.mtd 8-8", "outdated s_2.mtd 9-9"});
  PutInBoth(9, one_packet);
  Put(2, 9, UnwrittenCluster());
  ExpectFindings(0, {"behind s_2.mtd 8-9"});
  // Of a cluster closed long ago both files have all.
  Put(2, 7, ClusterOf(710, FullPacket(710, B("56"))));
  ExpectFindings(4, {"outdated s_2.mtd 7-7", "behind s_2.mtd 8-9"});
}

TEST_F(CheckTest, AnOldCopyOfTheLapBeforeIsNormalInTheNewestClusterAlone) {
  MakeRing(kRingClusters, [](int cluster) {
    return TwoBookmarks(cluster < 100 ? cluster + kRingClusters : cluster);
  });
  const std::uint32_t tick = 100 * (99 + kRingClusters) + 10;
  Put(2, 99, ClusterOf(tick, FullPacket(tick, B("56"))));
  Put(1, 99, TwoBookmarks(99));
  EXPECT_THAT(Findings(), ElementsAre("behind s_1.mtd 99-99"));
  Put(1, 98, TwoBookmarks(98));
  EXPECT_THAT(Findings(), ElementsAre("outdated s_1.mtd 98-98", "behind s_1.mtd 99-99"));
}

TEST_F(CheckTest, CopiesThatBothFitTheirCrcsButDifferAreAConflict) {
  MakeRingOfBookmarks(10);
  Put(2, 4, ClusterOf(410, FullPacket(410, B("36")) + FullPacket(460, B("56"))));
  ExpectFindings(3, {"conflict - 4-4"});
}

TEST_F(CheckTest, APacketCrcTellsWhichCopyIsGood) {
  MakeRingOfBookmarks(10);
  Bytes wrong = FullPacket(410, B("36"));
  wrong[6] = 0x56;  // the CRC is still that of 0x36
  Put(2, 4, ClusterOf(410, wrong + FullPacket(460, B("56"))));
  EXPECT_THAT(Findings(), ElementsAre("wrong_packets s_2.mtd 4-4"));
  EXPECT_EQ(CheckJson()["findings"][0]["good_copy"], "s_1.mtd");
  ExpectVerdict(4, "damaged, nothing is lost");
}

TEST_F(CheckTest, UnsoundPacketsInBothCopiesAreLost) {
  MakeRingOfBookmarks(10);
  const Bytes sound = FullPacket(410, B("56"));
  Bytes wrong_crc = FullPacket(420, B("56"));
  wrong_crc.back() = static_cast<unsigned char>(wrong_crc.back() + 1);
  const Bytes junk = B("7F");
  const Bytes cut = B("81 20 09 56");
  for (const Bytes& unsound : {wrong_crc, junk, cut}) {
    PutInBoth(4, ClusterOf(410, sound + unsound));
    ExpectFindings(3, {"unsound_packets - 4-4"});
  }
  PutInBoth(4, ClusterOf(410, sound + B("84 84") + sound));
  ExpectVerdict(0, "sound");
}

TEST_F(CheckTest, AContinuationsCrcCoversItsFirstBytesAlone) {
  MakeRingOfBookmarks(10);
  for (const char* items : {"56", "56 56", "56 56 56", ""}) {
    PutInBoth(4, ClusterOf(410, FullPacket(410, B("56")) + Continuation(B(items))));
    ExpectVerdict(0, "sound");
  }
  Bytes changed = Continuation(B("56 56 56"));
  changed[4] = 0x36;  // of the last two item bytes none is covered
  PutInBoth(4, ClusterOf(410, FullPacket(410, B("56")) + changed));
  ExpectVerdict(0, "sound");
  changed[2] = 0x36;
  PutInBoth(4, ClusterOf(410, FullPacket(410, B("56")) + changed));
  ExpectVerdict(3, "something is lost");
}

TEST_F(CheckTest, ItemsAreWalkedByTheCatalogue) {
  MakeRingOfBookmarks(10);
  // The time zone's name is stepped over; what is behind it counts.
  PutInBoth(4, ClusterOf(410, FullPacket(410, B("04 03 41 42 43 36 05 01 42"))));
  ExpectVerdict(0, "sound");
  Damage(1, 4);
  EXPECT_EQ(CheckJson()["findings"][0]["item_kinds"],
            json::parse("[\"officer\", \"siren\", \"time zone name\"]"));
  for (const char* items : {"56 01", "56 05 02 41", "04 05 41"}) {
    PutInBoth(4, ClusterOf(410, FullPacket(410, B(items))));
    ExpectFindings(4, {"undecodable_items - 4-4"});
  }
}

TEST_F(CheckTest, ShortHeadersTakeTheirTickFromTheClustersFirst) {
  MakeRingOfBookmarks(10);
  PutInBoth(4, ClusterOf(0x1A0, ShortPacket(0x1A0, B("56")) + ShortPacket(0x1B0, B("56"))));
  ExpectVerdict(0, "sound");
  Damage(1, 4);
  EXPECT_EQ(CheckJson()["findings"][0]["first_tick"], 0x1A0);
  EXPECT_EQ(CheckJson()["findings"][0]["last_tick"], 0x1B0);
}

TEST_F(CheckTest, TicksThatGoBackAreFound) {
  MakeRingOfBookmarks(10);
  PutInBoth(4, ClusterOf(410, FullPacket(410, B("56")) + FullPacket(409, B("56"))));
  EXPECT_THAT(Findings(), ElementsAre("ticks_go_back - 4-4"));
  PutInBoth(4, ClusterOf(410, FullPacket(410, B("56")) + FullPacket(520, B("56"))));
  EXPECT_THAT(Findings(), ElementsAre("ticks_go_back - 4-5"));
  EXPECT_THAT(
      Check().out,
      HasSubstr("damaged: clusters 4 to 5: ticks go back; from tick 520 to 510: Bookmark\n"));
  PutInBoth(4, ClusterOf(411, FullPacket(410, B("56"))));
  ExpectFindings(4, {"wrong_first_tick - 4-4"});
}

TEST_F(CheckTest, ARecordingInTwoRunsIsSaid) {
  // As after the loss of file 1: begun again at cluster 0, over an older run.
  MakeRing(10, [](int cluster) { return TwoBookmarks(cluster < 4 ? cluster + 200 : cluster); });
  EXPECT_THAT(Findings(), testing::Contains("second_run - 9-9"));
  ExpectVerdict(4, "damaged, nothing is lost");
  // Something never written in the middle.
  MakeRing(10,
           [](int cluster) { return cluster == 5 ? UnwrittenCluster() : TwoBookmarks(cluster); });
  EXPECT_THAT(Findings(), testing::Contains("second_run - 4-4"));
}

// Of the packets cluster 9 is the newest, and nothing of them is lost.
TEST_F(CheckTest, ASearchThatEndsBeforeTheNewestClusterIsADanger) {
  MakeRingOfBookmarks(10);
  const Bytes packets = FullPacket(710, B("56")) + FullPacket(760, B("56"));
  PutInBoth(7, ClusterOf(0xFFFFFFFF, packets));  // reads as never written
  EXPECT_THAT(Findings(), ElementsAre("wrong_first_tick - 7-7", "wrong_newest - 6-6"));
  EXPECT_THAT(Check().out,
              HasSubstr("\ndamaged: a recorder's search ends at the wrong place, in cluster 6\n"));
  ExpectVerdict(4, "damaged, nothing is lost");
  EXPECT_EQ(NewestOfARecorder(), 6);
}

// It used to be read as that of a ring about to come round.
TEST_F(CheckTest, AFirstClusterWithoutATickDoesNotMisleadTheSearch) {
  MakeRingOfBookmarks(10);
  PutInBoth(0, ClusterOf(0xFFFFFFFE, FullPacket(10, B("56"))));
  EXPECT_THAT(Findings(), ElementsAre("wrong_first_tick - 0-0"));
  ExpectVerdict(4, "damaged, nothing is lost");
  EXPECT_EQ(NewestOfARecorder(), 9);
}

TEST_F(CheckTest, ContinuationsThatBeginTheFirstOrTheLastClusterAreSound) {
  const Bytes continuation = B("82 01 56 74");
  for (const int begun : {0, 32767}) {
    MakeRingOfBookmarks(begun == 0 ? 32768 : 32767);
    PutInBoth(begun, ClusterOf(0xFFFFFFFE, continuation));
    EXPECT_THAT(Findings(), ElementsAre()) << begun;
    ExpectVerdict(0, "sound");
    EXPECT_EQ(NewestOfARecorder(), begun);
  }
}

TEST_F(CheckTest, TimesAreOfTheRecordedZoneOrTheOneAskedFor) {
  WriteFile(Path("config"), R"({"system_info":{"time_zone_index":"America/Chicago"}})");
  WriteFile(Path("input"),
            "{\"event\":\"bookmark\",\"tick\":9,\"time\":\"2024-05-01T10:00:00Z\"}\n"
            "{\"event\":\"bookmark\",\"tick\":99}\n");
  ASSERT_EQ(Run({"record", "s", "--replay", "--config", "config", "--input", "input"}).exit_code,
            0);
  ASSERT_EQ(Run({"extract", "s", "cut", "--from", "20", "--to", "99"}).exit_code, 0);
  const Finished both = Run({"check", "s", "cut"});
  EXPECT_EQ(both.err, "");
  EXPECT_THAT(both.out, HasSubstr("ticks 9 (2024-05-01 05:00:00-05:00) to "));
  EXPECT_THAT(both.out, HasSubstr("ticks 20 (2024-05-01 05:00:0"));
  EXPECT_THAT(Run({"check", "s", "--time-zone", "Europe/Berlin"}).out,
              HasSubstr("ticks 9 (2024-05-01 12:00:00+02:00) to "));
  EXPECT_EQ(Run({"check", "s", "--time-zone", "Nowhere"}).exit_code, 2);
}

TEST_F(CheckTest, TimesAreGivenWhereTheRecordingTellsThem) {
  MakeRingOfBookmarks(10);
  // 1714557600 is 2024-05-01T10:00:00Z, at tick 410.
  PutInBoth(4, ClusterOf(410, FullPacket(410, B("03 A0 12 32 66"))));
  Damage(1, 5);
  EXPECT_THAT(Check().out, HasSubstr("; ticks 510 (2024-05-01 10:00:50+00:00) to 560 "));
  const json finding = CheckJson()["findings"][0];
  EXPECT_EQ(finding["first_time"], "2024-05-01T10:00:50Z");
  EXPECT_EQ(finding["last_time"], "2024-05-01T10:01:15Z");
}

TEST_F(CheckTest, TheJsonHasTheFieldsThatAreDocumented) {
  MakeRingOfBookmarks(10);
  Damage(2, 9);
  const json checked = CheckJson();
  const auto keys = [](const json& object) {
    std::vector<std::string> names;
    for (const auto& [name, value] : object.items()) names.push_back(name);
    return names;
  };
  EXPECT_THAT(keys(checked), ElementsAre("files", "findings", "recording", "store", "verdict"));
  EXPECT_EQ(checked["store"], "s");
  EXPECT_EQ(checked["verdict"], "damaged");
  EXPECT_THAT(keys(checked["recording"]),
              ElementsAre("clusters", "first_tick", "first_time", "item_kinds", "items",
                          "last_tick", "last_time", "newest_cluster", "oldest_cluster", "packets"));
  EXPECT_EQ(checked["recording"]["first_time"], nullptr);
  ASSERT_EQ(checked["files"].size(), 2U);
  EXPECT_EQ(checked["files"][1], json::parse(R"({"path": "s_2.mtd", "bytes": 134217728,
      "good_clusters": 9, "never_written_clusters": 32758, "damaged_clusters": 1,
      "searchable": false})"));
  json finding = checked["findings"][0];
  const std::string text = finding["text"];
  EXPECT_THAT(text, StartsWith("s_2.mtd cluster 9: wrong CRC; ticks 910 to 960: Bookmark; "));
  finding.erase("text");
  EXPECT_EQ(finding, json::parse(R"({"kind": "wrong_crc", "severity": "damaged",
      "file": "s_2.mtd", "first_cluster": 9, "last_cluster": 9, "first_tick": 910,
      "last_tick": 960, "first_time": null, "last_time": null, "item_kinds": ["Bookmark"],
      "good_copy": "s_1.mtd", "search_path": [9], "last_packet_open": true})"));
}

TEST_F(CheckTest, ARecorderBesideItIsNoDamage) {
  RunningProgram recorder(folder, {"record", "s", "--replay", "--input", "-"});
  recorder.Write("x\n");
  ASSERT_TRUE(recorder.WaitForMessage("standard input:1:"));
  int tick = 0;
  for (int round = 0; round < 10; ++round) {
    std::string lines;
    for (int line = 0; line < 500; ++line)
      lines += "{\"event\":\"bookmark\",\"tick\":" + std::to_string(tick += 10) + "}\n";
    recorder.Write(lines);
    const Finished checked = Check();
    EXPECT_EQ(checked.exit_code, 0) << checked.out << checked.err;
  }
  EXPECT_EQ(recorder.Finish().exit_code, 0);
  EXPECT_EQ(Check().exit_code, 0);
  EXPECT_GE(CheckJson()["recording"]["packets"], 5000);
}

TEST_F(CheckTest, ReasonsForFailureAreNamed) {
  const auto fails = [&](const Arguments& arguments, const std::string& why) {
    const Finished failed = Run(arguments);
    EXPECT_EQ(failed.exit_code, 1);
    EXPECT_EQ(failed.err, "vmr: " + why + "\n");
    EXPECT_EQ(failed.out, "");
  };
  fails({"check", "s"}, "s: neither a file nor the base of a ring (s_1.mtd and s_2.mtd)");
  WriteFile(Path("text"), "something else");
  fails({"check", "text"}, "text: is neither a flat metadata file nor a file of a store");
  fs::create_directory(Path("s_1.mtd"));
  fails({"check", "s"}, "s_1.mtd: no regular file");
}

TEST_F(CheckTest, AFileThatMayNotBeReadIsDamageAndTheOtherIsLookedAt) {
  MakeRingOfBookmarks(10);
  for (const int file : {1, 2}) {
    ASSERT_EQ(chmod(Path(FileName(file)).c_str(), 0), 0);
    const Finished checked = RunUnprivileged({"check", "s"});
    EXPECT_EQ(checked.exit_code, 4);
    EXPECT_THAT(checked.out, StartsWith("s: 20 packets with 20 items in 10 clusters, "));
    EXPECT_THAT(checked.out,
                HasSubstr("\ndamaged: " + FileName(file) +
                          " cannot be opened: Permission denied; clusters 0 to 32767"));
    EXPECT_EQ(checked.err, "");
    ASSERT_EQ(chmod(Path(FileName(file)).c_str(), 0440), 0);
  }
  EXPECT_EQ(RunUnprivileged({"check", "s"}).exit_code, 0);
  for (const int file : {1, 2}) ASSERT_EQ(chmod(Path(FileName(file)).c_str(), 0), 0);
  const Finished failed = RunUnprivileged({"check", "s"});
  EXPECT_EQ(failed.exit_code, 1);
  EXPECT_EQ(failed.err, "vmr: s_1.mtd: Permission denied\n");
}

TEST_F(CheckTest, EitherFileNamesTheStore) {
  MakeRingOfBookmarks(1);
  EXPECT_EQ(Run({"check", "s_2.mtd"}).out, Check().out);
}

TEST_F(CheckTest, WrongUsageIsExplained) {
  for (const Arguments& arguments :
       {Arguments{"check"}, Arguments{"check", ""}, Arguments{"check", "s", "--format", "xml"},
        Arguments{"check", "s", ""}}) {
    const Finished wrong = Run(arguments);
    EXPECT_EQ(wrong.exit_code, 2);
    EXPECT_THAT(wrong.err, testing::EndsWith("vmr: try: vmr check --help\n"));
    EXPECT_EQ(wrong.out, "");
  }
}

}  // namespace
}  // namespace vmr::test
