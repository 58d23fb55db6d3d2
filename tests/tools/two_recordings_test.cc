// Stores whose files are of two recordings: refused by every command. And what looks
// like that and is damage, or a file that has missed something.
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "tests/tools/ring_images.h"

namespace vmr::test {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class TwoRecordings : public RingImageTest {
 protected:
  struct Drive {
    double latitude, longitude;  // where it begins
    int north, east;             // which way it goes
    const char* day;
    int minutes;
  };
  static constexpr Drive kIowa = {41.6588, -93.4994, 1, -1, "2019-06-19", 42};
  static constexpr Drive kMelbourne = {-37.8136, 144.9631, -1, 1, "2021-03-04", 9};

  // A fix a second, fast enough for each to be written.
  static std::string LinesOf(const Drive& drive) {
    std::string lines;
    for (int second = 0; second < 60 * drive.minutes; ++second) {
      const auto digits = [](int number) {
        return std::string(number < 10 ? "0" : "") + std::to_string(number);
      };
      const double way = 0.00031 * second + 0.00001 * (second % 7);
      lines += R"({"class":"TPV","mode":3,"time":")" + std::string(drive.day) +
               "T10:" + digits(second / 60) + ":" + digits(second % 60) +
               ".000Z\",\"lat\":" + std::to_string(drive.latitude + drive.north * way) +
               ",\"lon\":" + std::to_string(drive.longitude + drive.east * way / 2) +
               ",\"speed\":" + std::to_string(20 + second % 11) + "}\n";
    }
    return lines;
  }
  void RecordDrive(const std::string& store, const Drive& drive) const {
    WriteFile(Path("drive"), LinesOf(drive));
    const Finished recorded = Run({"record", store, "--replay", "--input", "drive"});
    ASSERT_EQ(recorded.exit_code, 0) << recorded.err;
  }
  // File 1 of one, file 2 of the other.
  void Mix(const std::string& one, const std::string& two) const {
    const auto overwrite = fs::copy_options::overwrite_existing;
    fs::copy_file(Path(one + "_1.mtd"), Path("s_1.mtd"), overwrite);
    fs::copy_file(Path(two + "_2.mtd"), Path("s_2.mtd"), overwrite);
  }
  int Clusters(const std::string& store) const {
    const Finished checked = Run({"check", store, "--format", "json"});
    return json::parse(checked.out, nullptr, false)["recording"]["clusters"];
  }

  static std::string Refusal() {
    return "vmr: s: s_1.mtd and s_2.mtd are of two recordings; take the one away that does not "
           "belong here, and `vmr scrub s` builds it anew from the other\n";
  }
  void ExpectRefused() const {
    const auto overwrite = fs::copy_options::overwrite_existing;
    for (const int file : {1, 2})
      fs::copy_file(Path(FileName(file)), Path(FileName(file, "kept")), overwrite);
    WriteFile(Path("input"), "{\"event\":\"bookmark\",\"tick\":900000}\n");
    for (const Arguments& arguments :
         {Arguments{"scrub", "s"}, Arguments{"recover", "s", "out"},
          Arguments{"record", "s", "--replay", "--input", "input"},
          Arguments{"record", "s", "--replay", "--begin-anew", "--input", "input"}}) {
      const Finished refused = Run(arguments);
      EXPECT_EQ(refused.exit_code, 1) << arguments[0];
      EXPECT_EQ(refused.err, Refusal());
      EXPECT_EQ(refused.out, "");
    }
    const Finished checked = Run({"check", "s"});
    EXPECT_EQ(checked.exit_code, 3);
    EXPECT_THAT(checked.out, HasSubstr("\nlost: s_1.mtd and s_2.mtd are of two recordings; "));
    EXPECT_THAT(checked.out, testing::EndsWith("\ntwo recordings\n"));
    for (const int file : {1, 2})
      EXPECT_TRUE(SameContent(FileName(file), FileName(file, "kept"))) << file;
    EXPECT_FALSE(fs::exists(Path("out_1.mtd")));
  }
  // Of damage, not of another vehicle.
  void ExpectOneRecording(int exit_code) const {
    const Finished checked = Run({"check", "s"});
    EXPECT_EQ(checked.exit_code, exit_code) << checked.out;
    EXPECT_THAT(checked.out, Not(HasSubstr("two recordings")));
  }

  // "02 00" and six bytes: a MAC address.
  static Bytes Mac(unsigned char last) { return B("02 00 02 00 5E 10 00") + Bytes{last}; }
  static Bytes OfUnit(std::uint32_t tick, unsigned char unit) {
    return ClusterOf(tick, FullPacket(tick, Mac(unit)) + FullPacket(tick + 50, B("56")));
  }
  // File 1 has come round twice, file 2 once.
  void MakeOlderByALap(unsigned char unit1, unsigned char unit2) const {
    const auto tick = [](int cluster) { return static_cast<std::uint32_t>(100 * cluster + 10); };
    MakeRing(kRingClusters, [&](int cluster) { return OfUnit(tick(cluster), unit2); });
    fs::rename(Path("s_2.mtd"), Path("kept_2.mtd"));
    MakeRing(kRingClusters,
             [&](int cluster) { return OfUnit(tick(cluster + kRingClusters), unit1); });
    fs::rename(Path("kept_2.mtd"), Path("s_2.mtd"));
  }
};

TEST_F(TwoRecordings, ADriveInIowaBesideOneInMelbourneIsRefused) {
  RecordDrive("iowa", kIowa);
  RecordDrive("melbourne", kMelbourne);
  ASSERT_GE(Clusters("iowa"), 5);
  ASSERT_EQ(Clusters("melbourne"), 2);
  Mix("iowa", "melbourne");
  ExpectRefused();
  Mix("melbourne", "iowa");
  ExpectRefused();
}

TEST_F(TwoRecordings, DrivesOfOneClusterAreRefused) {
  RecordDrive("iowa", {41.6588, -93.4994, 1, -1, "2019-06-19", 2});
  RecordDrive("melbourne", {-37.8136, 144.9631, -1, 1, "2021-03-04", 1});
  ASSERT_EQ(Clusters("iowa"), 1);
  Mix("iowa", "melbourne");
  ExpectRefused();
}

TEST_F(TwoRecordings, WhatEachFileHoldsIsToldOfEach) {
  MakeRingOfBookmarks(10);
  for (int cluster = 0; cluster < 2; ++cluster) {
    const std::uint32_t tick = 5000 + 100 * static_cast<std::uint32_t>(cluster);
    Put(2, cluster, ClusterOf(tick, FullPacket(tick, B("34")) + FullPacket(tick + 70, B("35"))));
  }
  for (int cluster = 2; cluster < 10; ++cluster) Put(2, cluster, UnwrittenCluster());
  EXPECT_THAT(Run({"check", "s"}).out,
              StartsWith("s_1.mtd: 20 packets with 20 items in 10 clusters, ticks 10 to 960\n"
                         "s_2.mtd: 4 packets with 4 items in 2 clusters, ticks 5000 to 5170\n"));
  const json checked = json::parse(Run({"check", "s", "--format", "json"}).out, nullptr, false);
  EXPECT_EQ(checked["verdict"], "two_recordings");
  EXPECT_EQ(checked["recording"], nullptr);
  ASSERT_EQ(checked["findings"].size(), 1U);
  EXPECT_EQ(checked["findings"][0]["kind"], "two_recordings");
  EXPECT_EQ(checked["findings"][0]["severity"], "lost");
}

TEST_F(TwoRecordings, TheOneThatBelongsHereIsMendedWhenTheOtherIsTakenAway) {
  RecordDrive("iowa", kIowa);
  RecordDrive("melbourne", kMelbourne);
  Mix("iowa", "melbourne");
  fs::remove(Path("s_2.mtd"));
  EXPECT_EQ(Run({"scrub", "s"}).exit_code, 0);
  EXPECT_TRUE(SameContent("s_1.mtd", "iowa_1.mtd"));
  EXPECT_TRUE(SameContent("s_1.mtd", "s_2.mtd"));
}

// A copy of a store into which another recorder went on.
TEST_F(TwoRecordings, ABeginningInCommonDoesNotMakeThemOne) {
  MakeRingOfBookmarks(10);
  for (int cluster = 4; cluster < 10; ++cluster) {
    const auto tick = static_cast<std::uint32_t>(100 * cluster + 20);
    Put(2, cluster, ClusterOf(tick, FullPacket(tick, B("34")) + FullPacket(tick + 30, B("35"))));
  }
  ExpectRefused();
}

TEST_F(TwoRecordings, TwoUnitsThatRecordTheSameAreTwo) {
  WriteFile(Path("drive"), LinesOf(kIowa));
  for (const std::string unit : {"1", "2"}) {
    WriteFile(Path("unit"), R"({"mac": "02:00:5E:10:00:0)" + unit + R"("})");
    ASSERT_EQ(Run({"record", "unit" + unit, "--config", "unit", "--replay", "--input", "drive"})
                  .exit_code,
              0);
  }
  EXPECT_EQ(Get(1, 3, "unit1"), Get(2, 3, "unit2"));
  Mix("unit1", "unit2");
  ExpectRefused();
}

TEST_F(TwoRecordings, AFileOlderByALapIsTheSameUnits) {
  MakeOlderByALap(1, 1);
  ExpectOneRecording(4);
  EXPECT_EQ(Run({"scrub", "s"}).exit_code, 0);
  EXPECT_TRUE(SameContent("s_1.mtd", "s_2.mtd"));
}

TEST_F(TwoRecordings, AFileOlderByALapOfAnotherUnitIsAnothers) {
  MakeOlderByALap(1, 2);
  ExpectRefused();
}

TEST_F(TwoRecordings, AUnitThatIsGivenAnotherNameMidwayIsOne) {
  MakeRing(10, [](int cluster) {
    const auto tick = static_cast<std::uint32_t>(100 * cluster + 10);
    return OfUnit(tick, cluster < 5 ? 1 : 2);
  });
  ExpectOneRecording(0);
  for (int cluster = 5; cluster < 10; ++cluster) Put(2, cluster, UnwrittenCluster());
  ExpectOneRecording(4);
  EXPECT_EQ(Run({"scrub", "s"}).exit_code, 0);
  EXPECT_TRUE(SameContent("s_1.mtd", "s_2.mtd"));
}

// The only cluster that both files hold is not the same in them: the device has put a
// write of the second in its place.
TEST_F(TwoRecordings, AWriteInAWrongPlaceOfAYoungStoreIsDamage) {
  MakeRingOfBookmarks(2);
  Put(2, 0, TwoBookmarks(1));
  Put(2, 1, UnwrittenCluster());
  ExpectOneRecording(4);
  EXPECT_EQ(Run({"scrub", "s"}).exit_code, 0);
  EXPECT_EQ(Get(1, 0), TwoBookmarks(0));
  EXPECT_EQ(Get(2, 0), TwoBookmarks(0));
  EXPECT_EQ(Get(2, 1), TwoBookmarks(1));
}

TEST_F(TwoRecordings, AFlippedBitThatTheCrcsPassIsDamage) {
  MakeRingOfBookmarks(1);
  const Bytes flipped = ClusterOf(10, FullPacket(10, B("36")) + FullPacket(60, B("56")));
  Put(2, 0, flipped);
  ExpectOneRecording(3);
  EXPECT_EQ(Run({"scrub", "s"}).exit_code, 3);
  EXPECT_EQ(Get(1, 0), TwoBookmarks(0));
  EXPECT_EQ(Get(2, 0), flipped);
}

TEST_F(TwoRecordings, AFileThatHasFallenBehindIsNoOther) {
  MakeRingOfBookmarks(1);
  Put(2, 0, ClusterOf(10, FullPacket(10, B("56"))));
  ExpectOneRecording(0);
  Put(2, 0, UnwrittenCluster());
  ExpectOneRecording(4);
}

}  // namespace
}  // namespace vmr::test
