// The state that an extract begins with, and what was lost inside it.
#include <algorithm>
#include <sstream>

#include "tests/tools/ring_images.h"

namespace vmr::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

// 20 degrees of latitude and 100 of longitude; south and east.
const char* const kSouthEast = "91 02 14 00 00 00 64 00 00 00";
const char* const kTime = "03 00 94 35 77";  // 2033-05-18T03:33:20Z

class CompletedExtract : public RingImageTest {
 protected:
  Finished Cut(const std::string& from, const std::string& to) const {
    return Run({"extract", "s", "cut", "--from", from, "--to", to, "--force"});
  }
  // Lines of an export without where they stand; neither gaps nor what the cut has added.
  std::vector<std::string> Records(const Arguments& arguments) const {
    Arguments all = {"export"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    std::istringstream lines(Run(all).out);
    std::vector<std::string> records;
    for (std::string line; std::getline(lines, line);) {
      if (line.find("\"kind\":\"gap\"") != line.npos) continue;
      if (line.find("\"repeats\":true") != line.npos) continue;
      if (line.find("\"text\":\"Range ") != line.npos) continue;
      if (line.find("\"text\":\"State completed by vmr") != line.npos) continue;
      if (line.find("\"text\":\"vmr: gap, ") != line.npos) continue;
      records.push_back(line.substr(0, std::min(line.find(",\"file\""), line.find(",\"offset\""))));
    }
    return records;
  }
  std::vector<std::string> StateOfCut() const {
    std::istringstream lines(Run({"export", "cut"}).out);
    std::vector<std::string> state;
    for (std::string line; std::getline(lines, line);)
      if (line.find("\"repeats\":true") != line.npos)
        state.push_back(line.substr(0, line.find(",\"offset\"")));
    return state;
  }
  // Cluster n begins at tick 100 n + 10, with the position told whole in every other one.
  static Bytes Drive(int cluster) {
    const auto tick = static_cast<std::uint32_t>(100 * cluster + 10);
    const std::string start = cluster % 2 == 0 ? std::string(kSouthEast) : "71 20";
    return ClusterOf(tick, FullPacket(tick, B(cluster == 0 ? kTime : "56") + B(start)) +
                               FullPacket(tick + 40, B("92 7F 81")) +
                               ShortPacket(tick + 41, B("92 01 01 71 22")) +
                               FullPacket(tick + 50, B("36")));
  }
  static Bytes Broken() { return Bytes(kImageBytes, 0xEE); }
};

TEST_F(CompletedExtract, TellsWhereTheVehicleWasInTheSouthEast) {
  MakeRing(4, Drive);
  EXPECT_EQ(Cut("55", "360").exit_code, 0);
  EXPECT_THAT(StateOfCut(),
              Contains(HasSubstr("\"latitude\":-19.9997867,\"longitude\":100.00021")));
  EXPECT_THAT(StateOfCut(), Not(Contains(HasSubstr("unverified"))));
  EXPECT_EQ(Records({"cut"}), Records({"s", "--from", "55", "--to", "380"}));
}

TEST_F(CompletedExtract, LeavesOutWhatAUnitMakesUp) {
  MakeRing(4, Drive);
  EXPECT_EQ(Run({"extract", "s", "cut", "--from", "55", "--to", "360", "--as-unit"}).exit_code, 0);
  EXPECT_THAT(StateOfCut(), Contains(HasSubstr("\"mac\":\"00:00:00:00:00:00\"")));
  EXPECT_THAT(Run({"export", "cut"}).out, Not(HasSubstr("State completed")));
  EXPECT_EQ(Cut("55", "360").exit_code, 0);
  EXPECT_THAT(StateOfCut(), Not(Contains(HasSubstr("\"mac\""))));
}

TEST_F(CompletedExtract, HoldsNothingThatNobodyRecorded) {
  MakeRing(1, [](int) { return ClusterOf(10, FullPacket(10, B("36")) + FullPacket(20, B("56"))); });
  EXPECT_EQ(Cut("15", "20").exit_code, 0);
  EXPECT_THAT(StateOfCut(), ElementsAre(HasSubstr("\"kind\":\"configuration_end\""),
                                        HasSubstr("\"input\":\"siren\",\"on\":true")));
}

TEST_F(CompletedExtract, KeepsTheTimeZonesNameBehindAllElse) {
  MakeRing(1, [](int) {
    return ClusterOf(10,
                     FullPacket(10, B("04 03 43 44 54 05 03 4A 6F 65")) + FullPacket(20, B("56")));
  });
  EXPECT_EQ(Cut("15", "20").exit_code, 0);
  const std::vector<std::string> state = StateOfCut();
  EXPECT_THAT(state, Contains(HasSubstr("\"kind\":\"officer\"")));
  EXPECT_THAT(state.back(), HasSubstr("\"kind\":\"time_zone_name\""));
  // What hid behind it from the unit's reader is there to be seen.
  EXPECT_THAT(Run({"view", "--listing", "cut"}).out, HasSubstr("officer='Joe'"));
}

// A radar's whole reading, then its target alone.
TEST_F(CompletedExtract, KeepsALockWhenOnlyTheTargetWasReportedSince) {
  MakeRing(1, [](int) {
    return ClusterOf(10, FullPacket(10, B("61 00 32 3C 28")) + FullPacket(12, B("68 2A")) +
                             FullPacket(20, B("56")));
  });
  EXPECT_EQ(Cut("15", "20").exit_code, 0);
  EXPECT_THAT(StateOfCut(),
              testing::IsSupersetOf({HasSubstr("\"target\":40,\"lock\":50,\"fastest\":60"),
                                     HasSubstr("\"target\":42,\"lock\":null")}));
}

TEST_F(CompletedExtract, SaysAtItsStartHowMuchOfTheStateWasCorrected) {
  MakeRing(4, Drive);
  const Finished cut = Cut("55", "360");
  const std::string log = "State completed by vmr: ";
  const std::string lines = Run({"export", "cut", "--kind", "log"}).out;
  EXPECT_THAT(lines, HasSubstr(log));
  EXPECT_THAT(cut.out, HasSubstr("state:   as recorded up to there: "));
}

TEST_F(CompletedExtract, GoesOnBehindALostClusterAndShowsTheGap) {
  MakeRing(5, [](int cluster) { return cluster == 2 ? Broken() : Drive(cluster); });
  const Finished cut = Cut("120", "460");
  EXPECT_EQ(cut.exit_code, 3);
  EXPECT_EQ(cut.err, "vmr: s: something is lost between ticks 160 and 310: lost clusters\n");
  EXPECT_EQ(Records({"cut"}), Records({"s", "--from", "120", "--to", "480"}));
  const std::string lines = Run({"export", "cut"}).out;
  EXPECT_THAT(
      lines,
      HasSubstr("{\"kind\":\"gap\",\"reason\":\"lost before it was copied\",\"from_tick\":160,"
                "\"to_tick\":310,"));
  EXPECT_THAT(lines, HasSubstr("vmr: gap, ticks 160 to 310: lost clusters"));
  // Behind it a way leads nowhere until the position is told whole.
  EXPECT_THAT(lines, HasSubstr("\"tick\":350,\"time\":\"2033-05-18T03:36:10.000Z\","
                               "\"time_quality\":\"estimated\",\"repeats\":false,"
                               "\"latitude\":null,\"longitude\":null"));
  EXPECT_THAT(Run({"view", "--listing", "cut"}).out, HasSubstr("(hdr1)   410 ("));
}

TEST_F(CompletedExtract, ThatBeginsInAGapKnowsNothing) {
  MakeRing(5, [](int cluster) { return cluster == 2 ? Broken() : Drive(cluster); });
  const Finished cut = Cut("250", "460");
  EXPECT_EQ(cut.exit_code, 3);
  EXPECT_EQ(cut.err, "vmr: s: something is lost between ticks 160 and 310: lost clusters\n");
  // But the time, reckoned across the gap as everywhere behind it.
  EXPECT_THAT(StateOfCut(),
              testing::IsSupersetOf({HasSubstr("\"kind\":\"configuration_end\""),
                                     HasSubstr("\"clock\":\"2033-05-18T03:35:20.000Z\"")}));
  EXPECT_THAT(StateOfCut(), Not(Contains(HasSubstr("\"time_quality\":\"exact\""))));
  EXPECT_THAT(Run({"export", "cut"}).out, HasSubstr("\"kind\":\"gap\""));
  EXPECT_EQ(Records({"cut"}), Records({"s", "--from", "250", "--to", "480"}));
}

TEST_F(CompletedExtract, BehindAGapSaysThatItsStateIsNotAll) {
  MakeRing(5, [](int cluster) { return cluster == 2 ? Broken() : Drive(cluster); });
  const Finished cut = Cut("340", "460");
  EXPECT_EQ(cut.exit_code, 3);
  EXPECT_EQ(cut.err,
            "vmr: s: something is lost in front of the range, up to tick 310: the state holds only "
            "what was told behind that\n");
  EXPECT_EQ(Records({"cut"}), Records({"s", "--from", "340", "--to", "480"}));
  EXPECT_THAT(Run({"export", "cut", "--kind", "bookmark"}).out,
              HasSubstr("\"time\":\"2033-05-18T03:36:40.000Z\",\"time_quality\":\"estimated\""));
}

TEST_F(CompletedExtract, OfAPacketWithAWrongCrcKeepsItAsItIs) {
  MakeRing(1, [](int) {
    Bytes flipped = FullPacket(20, B("36"));
    flipped[6] = 0x38;
    return ClusterOf(10, FullPacket(10, B(kTime)) + flipped + FullPacket(30, B("56")));
  });
  const Finished cut = Cut("15", "30");
  EXPECT_EQ(cut.exit_code, 3);
  EXPECT_EQ(cut.err, "vmr: s: something is lost between ticks 10 and 30: wrong packet CRC\n");
  EXPECT_THAT(Run({"export", "cut"}).out, HasSubstr("\"packet_crc\":\"wrong\""));
}

// Short headers behind a lost cluster: the cluster's own tick tells theirs.
TEST_F(CompletedExtract, TellsTicksThatOnlyTheStoreTold) {
  MakeRing(5, [](int cluster) {
    const auto tick = static_cast<std::uint32_t>(0x100 * cluster + 10);
    if (cluster == 2) return Broken();
    if (cluster != 3) return ClusterOf(tick, FullPacket(tick, B(kTime)));
    return ClusterOf(tick, ShortPacket(tick, B("56")) + ShortPacket(tick + 9, B("36")));
  });
  EXPECT_EQ(Cut("10", "1034").exit_code, 3);
  EXPECT_EQ(Records({"cut"}), Records({"s", "--from", "10", "--to", "1054"}));
  EXPECT_THAT(Run({"export", "cut"}).out, HasSubstr("\"kind\":\"input\",\"tick\":787,"));
}

TEST_F(CompletedExtract, TellsHalfSecondsExactly) {
  MakeRing(1, [](int) {
    return ClusterOf(10,
                     FullPacket(10, B(kTime)) + FullPacket(13, B("36")) + FullPacket(20, B("56")));
  });
  EXPECT_EQ(Cut("15", "20").exit_code, 0);
  EXPECT_THAT(Run({"export", "cut", "--kind", "bookmark"}).out,
              HasSubstr("\"time\":\"2033-05-18T03:33:25.000Z\",\"time_quality\":\"exact\""));
}

TEST_F(CompletedExtract, IsRefusedWhereTicksBeginAnew) {
  MakeRing(1, [](int) {
    return ClusterOf(
        10, FullPacket(900000, B("56")) + FullPacket(20, B("56")) + FullPacket(30, B("56")));
  });
  const Finished cut = Cut("15", "900001");
  EXPECT_EQ(cut.exit_code, 1);
  EXPECT_THAT(cut.err, HasSubstr("s: its ticks begin anew"));
  EXPECT_EQ(ReadFile(Path("cut")), "");
}

// The range is over before they do, but comes up again.
TEST_F(CompletedExtract, IsRefusedWhereTicksBeginAnewBehindTheRangeAndComeAcrossIt) {
  MakeRing(1, [](int) {
    return ClusterOf(10, FullPacket(10, B("56")) + FullPacket(900000, B("56")) +
                             FullPacket(60, B("56")) + FullPacket(70, B("56")));
  });
  const Finished cut = Cut("8", "65");
  EXPECT_EQ(cut.exit_code, 1);
  EXPECT_THAT(cut.err, HasSubstr("s: its ticks begin anew"));
  EXPECT_EQ(ReadFile(Path("cut")), "");
  EXPECT_EQ(Cut("10", "15").exit_code, 0) << "nothing but the first run is there";
}

// 32 bits of ticks run out.
TEST_F(CompletedExtract, IsRefusedWhereTicksGoOnFromZero) {
  MakeRing(1, [](int) {
    return ClusterOf(0xFFFFFF00, FullPacket(0xFFFFFF00, B("56")) + FullPacket(3, B("56")));
  });
  const Finished cut = Cut("1", "9");
  EXPECT_EQ(cut.exit_code, 1);
  EXPECT_THAT(cut.err, HasSubstr("s: its ticks begin anew"));
}

}  // namespace
}  // namespace vmr::test
