// `vmr info`: what a recording is of, and that it never says what was not looked at.
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "tests/support/bytes.h"
#include "tests/tools/program.h"
#include "tests/tools/ring_images.h"

namespace vmr::test {
namespace {

using testing::HasSubstr;

std::string Text(const Bytes& bytes) { return {bytes.begin(), bytes.end()}; }

class Info : public RingImageTest {
 protected:
  nlohmann::json Json(const Arguments& more, int exit_code = 0) const {
    Arguments arguments = {"info", "--format", "json"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    const Finished info = Run(arguments);
    EXPECT_EQ(info.exit_code, exit_code) << info.err;
    return nlohmann::json::parse(info.out, nullptr, false);
  }
  // Long texts, one a second.
  void RecordLongStore() const {
    std::string lines;
    for (int i = 0; i < 300; ++i)
      lines += R"({"event":"log","text":")" + std::string(200, 'x') + R"(","tick":)" +
               std::to_string(10 + 2 * i) + "}\n";
    Replay(lines);
  }
};

TEST_F(Info, SaysWhichUnitFromWhenToWhenAndHowMuch) {
  WriteFile(Path("config"), R"({"officer":{"name":"J. Larsen","badge_id":"4711"},
"serial_number":"VMR-000123","system_info":{"time_zone_index":"America/Chicago"}})");
  WriteFile(Path("input"), R"({"event":"bookmark","time":"2019-06-19T21:34:00Z"}
{"event":"officer","name":"M. Okafor","badge_id":"2210","time":"2019-06-19T21:35:00Z"}
{"event":"bookmark","time":"2019-06-19T21:44:00Z"}
)");
  ASSERT_EQ(Run({"record", "s", "--replay", "--config", "config", "--input", "input"}).exit_code,
            0);
  const Finished info = Run({"info", "s"});
  EXPECT_EQ(info.exit_code, 0);
  EXPECT_EQ(info.err, "");
  EXPECT_THAT(info.out, HasSubstr("Serial number \"VMR-000123\"\n"));
  EXPECT_THAT(info.out, HasSubstr("Officer       \"J. Larsen\" (first told about 2019-06-19 16:3"));
  EXPECT_THAT(info.out, HasSubstr("\n              \"M. Okafor\" (first told 2019-06-19 16:35:0"));
  EXPECT_THAT(info.out, HasSubstr("\nRecorded      10 min"));
  EXPECT_THAT(info.out, HasSubstr("\nTime zone     America/Chicago\n"));
  EXPECT_THAT(info.out, HasSubstr("\nGaps          none\n"));
  EXPECT_THAT(info.out, HasSubstr("\n  bookmark                       2\n"));
}

TEST_F(Info, CountsWhatExportWrites) {
  RecordLongStore();
  const nlohmann::json info = Json({"s"});
  EXPECT_EQ(info["counts"]["log"], 300);
  EXPECT_EQ(info["complete"], true);
  EXPECT_EQ(info["files"][0]["sound"], true);
  EXPECT_EQ(info["files"][1]["sound"], true);
}

TEST_F(Info, TheSettingsDigestIsThatOfALineForEach) {
  // Two settings and the end of a configuration: 24 is 1, 8 is 0.
  WriteFile(Path("flat"), "f]S1" + Text(FullPacket(5, B("18 18 01 18 08 00 1A"))));
  // printf '8=0\n24=1\n' | sha256sum
  EXPECT_EQ(Json({"flat"})["settings"]["sha256"],
            "1fe19d0f72d9d692483f31a0de94a389310a2727241e33fa9d417c3a2e2b2087");
}

TEST_F(Info, ChangesOfSettingsChangeTheDigestAndASecondConfigurationReplacesTheFirst) {
  const Bytes first = FullPacket(5, B("18 18 01 18 08 00 1A"));
  WriteFile(Path("a"), "f]S1" + Text(first + ShortPacket(6, B("18 08 01"))));
  WriteFile(Path("b"), "f]S1" + Text(FullPacket(5, B("18 18 00 18 09 01 1A")) +
                                     ShortPacket(7, B("18 18 01 18 08 01 1A"))));
  EXPECT_EQ(Json({"a"})["settings"], Json({"b"})["settings"]);
}

TEST_F(Info, SettingsThatMayBeAPartHaveNoDigest) {
  WriteFile(Path("flat"), "f]S1" + Text(FullPacket(5, B("18 18 01"))));
  EXPECT_TRUE(Json({"flat"})["settings"].is_null());
  EXPECT_THAT(Run({"info", "flat"}).out, HasSubstr("Settings      1 told, not all: no digest\n"));
}

TEST_F(Info, AClusterBadInOneFileIsDamageAndInBothALoss) {
  RecordLongStore();
  Put(1, 5, B("55 55 55"), 100);
  const nlohmann::json damaged = Json({"s"}, 4);
  EXPECT_EQ(damaged["files"][0]["bad_clusters"], 1);
  EXPECT_EQ(damaged["files"][1]["sound"], true);
  EXPECT_EQ(damaged["gap_count"], 0);
  Put(2, 5, B("55 55 55"), 100);
  const nlohmann::json lost = Json({"s"}, 3);
  EXPECT_EQ(lost["gap_count"], 1);
  EXPECT_EQ(lost["gaps"][0]["clusters"], 1);
}

TEST_F(Info, AFileThatIsMissingIsSaid) {
  RecordLongStore();
  std::filesystem::remove(Path("s_1.mtd"));
  const Finished info = Run({"info", "s"});
  EXPECT_EQ(info.exit_code, 4);
  EXPECT_THAT(info.out, HasSubstr("s_1.mtd: cannot be read: No such file or directory\n"));
}

TEST_F(Info, AFullRingIsSampledAndSaysWhatWasNotLookedAt) {
  MakeRingOfBookmarks(kRingClusters);
  const Finished info = Run({"info", "s"});
  EXPECT_EQ(info.exit_code, 0) << info.err;
  EXPECT_THAT(info.out, HasSubstr("store, 32768 of 32768 clusters in use\n"));
  EXPECT_THAT(
      info.out,
      HasSubstr("s_1.mtd: sound in the 512 of 32768 clusters compared; --full compares all\n"));
  EXPECT_THAT(info.out, HasSubstr("Unit's starts not looked at; --full counts them\n"));
  EXPECT_THAT(info.out, HasSubstr("of 32768 clusters read; --full reads all\n"));
  EXPECT_THAT(info.out, HasSubstr("~66000"));
  const nlohmann::json sampled = Json({"s"});
  EXPECT_EQ(sampled["complete"], false);
  EXPECT_TRUE(sampled["runs"].is_null());
  EXPECT_EQ(sampled["counts_are_estimated"], true);
  EXPECT_EQ(sampled["first"]["tick"], 10);
  EXPECT_EQ(sampled["last"]["tick"], 100 * 32767 + 60);
  const nlohmann::json full = Json({"s", "--full"});
  EXPECT_EQ(full["complete"], true);
  EXPECT_EQ(full["counts"]["bookmark"], 2 * 32768);
}

TEST_F(Info, OfWhatIsRareInAFullRingItSaysFew) {
  MakeRing(kRingClusters, [](int cluster) {
    const auto tick = static_cast<unsigned int>(10 + 100 * cluster);
    const bool has_vehicle = cluster == 0 || cluster == kRingClusters / 2;
    return ClusterOf(tick, FullPacket(tick, has_vehicle ? B("07 02 43 37") : B("56")));
  });
  EXPECT_THAT(Run({"info", "s"}).out, testing::ContainsRegex("\n  vehicle  +few\n"));
  const nlohmann::json sampled = Json({"s"});
  EXPECT_TRUE(sampled["counts"].contains("vehicle"));
  EXPECT_TRUE(sampled["counts"]["vehicle"].is_null());
  EXPECT_FALSE(sampled["counts"].contains("officer"));
  EXPECT_THAT(Run({"info", "s", "--full"}).out, testing::ContainsRegex("\n  vehicle  +2\n"));
}

TEST_F(Info, WhatWasOverwrittenIsNoGapThatSettingsWouldBeToldBehind) {
  MakeRingOfBookmarks(kRingClusters);
  constexpr unsigned int kNext = 100 * kRingClusters + 10;
  PutInBoth(0, ClusterOf(kNext, FullPacket(kNext, B("56"))));
  const std::string text = Run({"info", "s", "--full"}).out;
  EXPECT_THAT(text, HasSubstr("; what came before was overwritten\n"));
  EXPECT_THAT(text, HasSubstr("\nGaps          none\n"));
  EXPECT_THAT(text, HasSubstr("\nSettings      none told\n"));
}

TEST_F(Info, DamageBetweenTheSamplesIsFoundByFull) {
  MakeRingOfBookmarks(kRingClusters);
  for (const int file : {1, 2}) Put(file, 10001, B("55"), 9);
  EXPECT_EQ(Run({"info", "s"}).exit_code, 0);
  const nlohmann::json full = Json({"s", "--full"}, 3);
  EXPECT_EQ(full["gap_count"], 1);
}

TEST_F(Info, WhatCannotBeReadIsAFailureAndTheRestIsReadAllTheSame) {
  Replay("{\"event\":\"bookmark\"}\n");
  const Finished info = Run({"info", "nowhere", "s"});
  EXPECT_EQ(info.exit_code, 1);
  EXPECT_THAT(info.err, HasSubstr("vmr: nowhere: "));
  EXPECT_THAT(info.out, HasSubstr("Recording     s\n"));
}

TEST_F(Info, RecordedTextsCannotBeTakenForWhatItSaysItself) {
  Replay(R"in({"event":"vehicle","vehicle_id":"not told","tick":10}
{"event":"officer","name":"Kim (first told 2019-01-01, tick 1)","badge_id":"\\x1B","tick":20}
)in");
  const std::string info = Run({"info", "s"}).out;
  EXPECT_THAT(info, HasSubstr("\"not told\" (first told "));
  EXPECT_THAT(info, HasSubstr("\"Kim (first told 2019-01-01, tick 1)\" (first told "));
  EXPECT_THAT(info, HasSubstr(R"("\\x1B" (first told )"));
  EXPECT_THAT(info, HasSubstr("Department    \"\"\n"));
  EXPECT_THAT(Run({"view", "s"}).out, HasSubstr("Department    \"\"\n"));
}

TEST_F(Info, RecordedTextsAreEscaped) {
  Replay(R"({"event":"officer","name":"A\nGaps none\u001b[2J","badge_id":"1","tick":20})"
         "\n");
  EXPECT_THAT(Run({"info", "s"}).out, HasSubstr(R"(A\x0AGaps none\x1B[2J)"));
}

}  // namespace
}  // namespace vmr::test
