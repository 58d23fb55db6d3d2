// `vmr plot` as a user runs it.
#include <filesystem>

#include "tests/records/decoded.h"
#include "tests/tools/ring_images.h"

namespace vmr::test {
namespace {

using testing::AllOf;
using testing::ContainsRegex;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

// 2023-11-14T22:13:20Z
constexpr const char* kTime = "03 00 F1 53 65 ";
// Device 1 is a GPS receiver that counts in mph.
constexpr const char* kMph = "70 01 41 00 ";

class PlotTest : public RingImageTest {
 protected:
  // A flat file.
  void Record(const std::string& name, const std::vector<Bytes>& packets) const {
    Bytes bytes = B("66 5D 53 31");
    for (const Bytes& packet : packets) bytes = bytes + packet;
    WriteFile(Path(name), std::string(bytes.begin(), bytes.end()));
  }
  void RecordSpeeds() const {
    Record("r", {Hdr1(100, std::string(kTime) + kMph + "71 20"), Hdr1(150, "71 40"),
                 Hdr1(200, "71 10")});
  }
  Finished Plot(const Arguments& more = {}) const {
    Arguments arguments = {"plot", "r"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return Run(arguments);
  }
  bool IsWellFormed(const std::string& svg) const {
    WriteFile(Path("p.svg"), svg);
    return std::system(("xmllint --noout '" + Path("p.svg") + "'").c_str()) == 0;
  }
};

TEST_F(PlotTest, ADriveIsAPictureOfAllThatItTells) {
  const std::string examples = std::string(VMR_SOURCE_DIR) + "/examples/";
  ASSERT_EQ(Run({"record", "s", "--replay", "--no-sync", "--config", examples + "unit.config.json",
                 "--input", examples + "drive_long_iowa.gpsd.json", "--input",
                 examples + "drive_long_iowa.events.jsonl"})
                .exit_code,
            0);
  const Finished plot = Run({"plot", "s"});
  EXPECT_EQ(plot.exit_code, 0);
  EXPECT_EQ(plot.err, "");
  EXPECT_TRUE(IsWellFormed(plot.out));
  EXPECT_THAT(plot.out, AllOf(HasSubstr(">Speed, radar and temperature of s</text>"),
                              HasSubstr("GPS speed: 0 to 78 mph, the greatest first at "
                                        "2019-06-19 17:01:22-05:00"),
                              HasSubstr(">Local time, America/Chicago, UTC-05:00"),
                              HasSubstr("vehicle \"Car 7\""), Not(HasSubstr("Voltage"))));
  EXPECT_EQ(Run({"plot", "s"}).out, plot.out);

  const Finished part = Run({"plot", "s", "--kind", "speed", "--from", "2019-06-19T22:00", "--to",
                             "2019-06-19T22:05", "--time-zone", "UTC", "--title", "A <part>"});
  EXPECT_EQ(part.exit_code, 0);
  EXPECT_THAT(part.out, AllOf(HasSubstr(">A &lt;part&gt;</text>"), HasSubstr(">Time, UTC</text>"),
                              HasSubstr("2019-06-19 22:00:00+00:00 to 2019-06-19 22:0"),
                              Not(HasSubstr("Radar"))));
}

TEST_F(PlotTest, EachOfTwoDrivesIsFoundAtItsOwnTime) {
  // 50 seconds, and an hour later, as ticks go on, 30 more.
  Record("r", {Hdr1(100, std::string(kTime) + kMph + "71 20"), Hdr1(160, "71 40"),
               Hdr1(200, "03 12 FF 53 65 71 10"), Hdr1(260, "71 30")});
  EXPECT_THAT(
      Plot().out,
      AllOf(
          HasSubstr(">2023-11-14 22:13:20+00:00 to 2023-11-14 23:13:52+00:00 (1 h 32 s)</text>"),
          HasSubstr("64 mph, the greatest first at 2023-11-14 22:13:50+00:00"),
          HasSubstr("1 min 20 s recorded, no gap"), HasSubstr(">not recorded, 59 min 12"),
          HasSubstr("The unit was off, or its clock was set, 59 min 12 s forward at tick 200: it "
                    "showed 2023-11-14 22:14:10+00:00 and now 2023-11-14 23:13:22+00:00.</desc>")));
  EXPECT_THAT(Plot({"--from", "2023-11-14T22:13:20", "--to", "2023-11-14T22:13:40"}).out,
              AllOf(HasSubstr(">2023-11-14 22:13:20+00:00 to 2023-11-14 22:13:40+00:00 (20 s)<"),
                    HasSubstr(">22:13:30</text>"), Not(HasSubstr(">23:13"))));
  EXPECT_THAT(Plot({"--from", "2023-11-14T23:13:30", "--to", "2023-11-14T23:13:40"}).out,
              AllOf(HasSubstr(">2023-11-14 23:13:30+00:00 to 2023-11-14 23:13:40+00:00 (10 s)<"),
                    HasSubstr(">23:13:34</text>"), Not(HasSubstr(">22:13"))));
}

TEST_F(PlotTest, ATimeThatNoClockShowedIsNoLabel) {
  // Right for 151 seconds, an hour ahead for nine, and right again.
  Record("r", {Hdr1(100, std::string(kTime) + kMph + "71 20"), Hdr1(402, "03 12 FF 53 65 71 40"),
               Hdr1(420, "03 A0 F1 53 65 "), Hdr1(800, "71 10")});
  const std::string all = Plot().out;
  EXPECT_THAT(all, AllOf(HasSubstr(">2023-11-14 22:13:20+00:00 to 2023-11-14 22:19:10+00:00 "
                                   "(5 min 50 s), 9 s of it by the clock before it was set<"),
                         HasSubstr("64 mph, the greatest first at 2023-11-14 23:13:22+00:00"),
                         HasSubstr(">22:15</text>"), HasSubstr(">22:17</text>")));
  const std::string part = Plot({"--from", "390", "--to", "430"}).out;
  EXPECT_THAT(part, AllOf(HasSubstr(">22:15:50</text>"), HasSubstr(">22:16:00</text>"),
                          Not(HasSubstr(">22:15:55</text>"))));
}

TEST_F(PlotTest, AUnitThatIsNotToldIsSaidToBeAssumed) {
  Record("r", {Hdr1(100, std::string(kTime) + "71 20 E1 F6"), Hdr1(110, kMph), Hdr1(150, "71 40")});
  const std::string words = "where the unit of GPS speed is not told it is shown as mph";
  const std::string plot = Plot().out;
  const std::size_t drawn = plot.find("</desc>");
  EXPECT_THAT(plot.substr(0, drawn), HasSubstr(words));
  EXPECT_THAT(plot.substr(drawn), HasSubstr(words));
  EXPECT_THAT(Plot({"--kind", "temperature"}).out, Not(HasSubstr("GPS speed")));
  RecordSpeeds();
  EXPECT_THAT(Plot().out, Not(HasSubstr("is not told it is shown")));
}

TEST_F(PlotTest, AKindThatIsNotRecordedIsSaid) {
  RecordSpeeds();
  const Finished plot = Plot({"--kind", "radar,speed"});
  EXPECT_EQ(plot.exit_code, 0);
  EXPECT_EQ(plot.err, "vmr: r: radar is not recorded\n");
  EXPECT_THAT(plot.out, AllOf(HasSubstr(">Radar</text>"), HasSubstr(">not recorded</text>"),
                              HasSubstr("GPS speed: 16 to 64 mph")));
}

TEST_F(PlotTest, WordsAloneAreNoPanelAndAreSaid) {
  Record("r", {Hdr1(100, std::string(kTime) + kMph + "71 20 79 FE 00"), Hdr1(150, "71 40")});
  const Finished plot = Plot();
  EXPECT_EQ(plot.exit_code, 0);
  EXPECT_THAT(plot.out.substr(0, plot.out.find("</desc>")),
              HasSubstr("radar patrol speed: no value, it told \"blank\" alone."));
  EXPECT_THAT(plot.out, AllOf(Not(HasSubstr("unknown throughout")), Not(HasSubstr("not told<"))));
  Record("r", {Hdr1(100, std::string(kTime) + "79 FE 00"), Hdr1(150, "56")});
  const Finished nothing = Plot();
  EXPECT_EQ(nothing.exit_code, 1);
  EXPECT_EQ(
      nothing.err,
      "vmr: r: of speed no value is recorded, words alone\nvmr: r: there is nothing to draw\n");
}

TEST_F(PlotTest, ARangeThatEndsInAGapEndsThere) {
  Record("r", {Hdr1(100, std::string(kTime) + kMph + "71 20"), Hdr1(110, "71 40"), B("00 00"),
               Hdr1(300, "71 10")});
  const Finished plot = Plot({"--to", "150"});
  EXPECT_EQ(plot.exit_code, 3);
  EXPECT_THAT(plot.out, AllOf(HasSubstr("22:13:20+00:00 to 2023-11-14 22:13:45+00:00 (25 s)"),
                              HasSubstr(">lost, 20 s</text>"), HasSubstr("1 gap (20 s)")));
}

TEST_F(PlotTest, OfNothingToDrawThereIsNoPicture) {
  Record("r", {Hdr1(100, "56")});
  const Finished plot = Plot({"-o", "o.svg"});
  EXPECT_EQ(plot.exit_code, 1);
  EXPECT_EQ(plot.err, "vmr: r: there is nothing to draw\n");
  EXPECT_FALSE(std::filesystem::exists(Path("o.svg")));
  const Finished asked = Plot({"--kind", "voltage"});
  EXPECT_EQ(asked.exit_code, 1);
  EXPECT_EQ(asked.out, "");
  EXPECT_EQ(asked.err, "vmr: r: voltage is not recorded\nvmr: r: there is nothing to draw\n");
}

TEST_F(PlotTest, AKindThatIsNoneIsWrongUsage) {
  RecordSpeeds();
  for (const char* const kind : {"position", "speeds"}) {
    const Finished plot = Plot({"--kind", std::string("speed,") + kind + ",radar"});
    EXPECT_EQ(plot.exit_code, 2) << kind;
    EXPECT_EQ(plot.out, "");
  }
  EXPECT_THAT(Plot({"--kind", "position"}).err,
              StartsWith("vmr: --kind position: no kind of line; there are: speed radar "
                         "temperature voltage\n"));
  EXPECT_EQ(Run({"plot"}).exit_code, 2);
  EXPECT_EQ(Plot({"--from", "9", "--to", "8"}).exit_code, 2);
  EXPECT_EQ(Plot({"--time-zone", "Nowhere"}).exit_code, 2);
}

TEST_F(PlotTest, AFileIsReplacedOnlyWhenForced) {
  RecordSpeeds();
  const std::string out = Plot().out;
  EXPECT_EQ(Plot({"-o", "o.svg"}).exit_code, 0);
  EXPECT_EQ(ReadFile(Path("o.svg")), out);
  WriteFile(Path("o.svg"), "mine");
  EXPECT_EQ(Plot({"-o", "o.svg"}).exit_code, 1);
  EXPECT_EQ(ReadFile(Path("o.svg")), "mine");
  EXPECT_EQ(Plot({"-o", "o.svg", "--force"}).exit_code, 0);
  EXPECT_EQ(ReadFile(Path("o.svg")), out);
  EXPECT_EQ(Plot({"-o", "r", "--force"}).exit_code, 1);  // it is the recording
}

TEST_F(PlotTest, WhatIsLostInAStoreIsHatchedAndShowsInTheExitCode) {
  MakeRing(6, [](int cluster) {
    const auto tick = static_cast<std::uint32_t>(100 * cluster + 10);
    return ClusterOf(tick,
                     FullPacket(tick, B(kMph) + B("71 20")) + FullPacket(tick + 50, B("71 30")));
  });
  EXPECT_EQ(Run({"plot", "s"}).exit_code, 0);
  EXPECT_THAT(Run({"plot", "s"}).out, Not(HasSubstr("<rect x=\"60\" y=\"444\"")));
  Damage(1, 3);
  Damage(2, 3);
  const Finished plot = Run({"plot", "s"});
  EXPECT_EQ(plot.exit_code, 3);
  EXPECT_THAT(plot.err, HasSubstr("1 gap: something of it is lost or damaged"));
  EXPECT_TRUE(IsWellFormed(plot.out));
  // From tick 260 to 410.
  EXPECT_THAT(plot.out, AllOf(HasSubstr(">lost, 1 min 15 s</text>"),
                              ContainsRegex("<rect [^>]* fill=\"url.#vmr-plot-hole.\"/>"),
                              HasSubstr("1 gap (1 min 15 s)")));
}

TEST_F(PlotTest, AWrongPacketsSpeedIsMarked) {
  Bytes wrong = Hdr1(150, "71 40");
  wrong.back() ^= 1;
  Record("r",
         {Hdr1(100, std::string(kMph) + "71 20"), wrong, Hdr1(200, std::string(kMph) + "71 10")});
  const Finished plot = Plot();
  EXPECT_EQ(plot.exit_code, 3);
  EXPECT_THAT(plot.out, AllOf(HasSubstr(">of a packet whose CRC is wrong</text>"),
                              HasSubstr("1 value of packets whose CRC is wrong"),
                              HasSubstr("GPS speed: 16 to 32 mph")));
}

TEST_F(PlotTest, TwoRecordingsShareAPictureThoughAThirdCannotBeRead) {
  RecordSpeeds();
  Record("q", {Hdr1(7, std::string(kTime) + kMph + "71 20"), Hdr1(57, "71 15")});
  const Finished plot = Run({"plot", "r", "nothing", "q"});
  EXPECT_EQ(plot.exit_code, 1);
  EXPECT_THAT(plot.out, AllOf(HasSubstr(">r: GPS speed</text>"), HasSubstr(">q: GPS speed</text>"),
                              EndsWith("</svg>\n")));
}

}  // namespace
}  // namespace vmr::test
