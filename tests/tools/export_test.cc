// What `vmr export` writes, byte by byte, of recordings that are put together here.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "tests/records/decoded.h"
#include "tests/tools/item_bytes.h"
#include "tests/tools/program.h"

namespace vmr::test {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

// 0.0010 minutes south, 179 degrees 59.9000 minutes east.
constexpr const char* kNearDateLine = "91 02 00 00 0A 00 B3 3B 28 23 ";

std::vector<std::string> LinesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

class ExportTest : public ProgramTest {
 protected:
  // A flat file.
  void Record(const std::string& name, const std::vector<Bytes>& packets) const {
    Bytes bytes = B("66 5D 53 31");
    for (const Bytes& packet : packets) bytes = bytes + packet;
    WriteFile(Path(name), std::string(bytes.begin(), bytes.end()));
  }
  void RecordOne(const std::string& items) const { Record("r", {Hdr1(100, items)}); }
  Finished Export(const Arguments& more = {}) const {
    Arguments arguments = {"export", "r"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return Run(arguments);
  }
  std::string Table(const std::string& kind) const {
    return Export({"--format", "csv", "--kind", kind}).out;
  }
  // The elements of the way.
  std::vector<std::string> Gpx(const Arguments& more = {}) const {
    Arguments arguments = {"--format", "gpx"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    std::vector<std::string> lines = LinesOf(Export(arguments).out);
    constexpr std::ptrdiff_t kHead = 4;  // up to the track's name
    if (lines.size() < kHead + 2) return {};
    return {lines.begin() + kHead, lines.end() - 2};
  }
  std::vector<std::string> Features() const {
    std::vector<std::string> lines = LinesOf(Export({"--format", "geojson"}).out);
    return lines.size() < 2 ? lines : std::vector<std::string>(lines.begin() + 1, lines.end() - 1);
  }
  std::vector<std::string> Cues(const Arguments& more) const {
    Arguments arguments = {"--format", "vtt"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    std::vector<std::string> lines = LinesOf(Export(arguments).out);
    lines.erase(std::remove(lines.begin(), lines.end(), ""), lines.end());
    return lines;
  }
  bool LeftNothingBehind() const {
    for (const auto& entry : std::filesystem::directory_iterator(folder))
      if (entry.path().filename().string().rfind(".vmr-", 0) == 0) return false;
    return true;
  }
};

// ---- Lines -----------------------------------------------------------------------

TEST_F(ExportTest, ALineSaysWhatWhenAndWhere) {
  RecordOne(std::string(kTime) + "36");
  const Finished exported = Export();
  EXPECT_EQ(exported.exit_code, 0);
  EXPECT_EQ(exported.err, "");
  EXPECT_EQ(exported.out,
            "{\"kind\":\"time\",\"tick\":100,\"time\":\"2023-11-14T22:13:20.000Z\","
            "\"time_quality\":\"exact\",\"repeats\":false,\"clock\":\"2023-11-14T22:13:20.000Z\","
            "\"offset\":10}\n"
            "{\"kind\":\"input\",\"tick\":100,\"time\":\"2023-11-14T22:13:20.000Z\","
            "\"time_quality\":\"exact\",\"repeats\":false,\"input\":\"siren\",\"on\":true,"
            "\"offset\":15}\n");
}

TEST_F(ExportTest, OfSeveralRecordingsEachLineTellsWhichByItsEscapedName) {
  Record("a\n\"b", {Hdr1(1, "56")});
  Record("c", {Hdr1(2, "56")});
  EXPECT_THAT(LinesOf(Run({"export", "a\n\"b", "c"}).out),
              ElementsAre(StartsWith(R"({"kind":"bookmark","recording":"a\u000a\"b","tick":1,)"),
                          StartsWith(R"({"kind":"bookmark","recording":"c","tick":2,)")));
}

TEST_F(ExportTest, AnOfficersNameForgesNoLineAndMovesNoCursor) {
  RecordOne(Officer("\n{}\x1b[2J\x7f\xC2\x85\xC2\x9B") + Officer("\u200F\u202E\u2066\u061C\u2028") +
            Officer("Jos\u00E9 \U0001F600"));
  const std::string out = Export().out;
  EXPECT_THAT(LinesOf(out),
              ElementsAre(HasSubstr(R"("text":"\u000a{}\u001b[2J\u007f\u0085\u009b")"),
                          HasSubstr(R"("text":"\u200f\u202e\u2066\u061c\u2028")"),
                          HasSubstr("\"text\":\"Jos\u00E9 \U0001F600\"")));
}

TEST_F(ExportTest, BytesThatAreNoUtf8StandBesideWhatTheyMayMean) {
  RecordOne(Officer("caf\xE9") + Officer("\x9B") + Officer("\xED\xA0\x80"));
  EXPECT_THAT(LinesOf(Export().out),
              ElementsAre(HasSubstr("\"text\":\"caf\u00E9\",\"text_bytes\":\"636166e9\""),
                          HasSubstr(R"("text":"\u009b","text_bytes":"9b")"),
                          HasSubstr("\"text\":\"\u00ED\u00A0\\u0080\",\"text_bytes\":\"eda080\"")));
}

TEST_F(ExportTest, AWrongPacketIsMarkedAndFollowedByAGap) {
  Record("r", {Hdr1(100, "36"), WithWrongCrc(Hdr1(101, "37")), Hdr1(102, "56")});
  const Finished exported = Export();
  EXPECT_EQ(exported.exit_code, 3);
  EXPECT_EQ(exported.err, "vmr: r: 1 gap: something of it is lost or damaged\n");
  EXPECT_THAT(LinesOf(exported.out),
              ElementsAre(Not(HasSubstr("packet_crc")), HasSubstr("\"packet_crc\":\"wrong\""),
                          StartsWith(R"({"kind":"gap","reason":"wrong packet CRC",)"
                                     R"("from_tick":100,"to_tick":102,)"),
                          Not(HasSubstr("packet_crc"))));
}

TEST_F(ExportTest, GapsComeWithAnyKindAndAloneWhenNamed) {
  Record("r", {Hdr1(100, "36 56"), B("00 00"), Hdr1(102, "56")});
  EXPECT_THAT(LinesOf(Export({"--kind", "bookmark"}).out),
              ElementsAre(HasSubstr("bookmark"), HasSubstr("\"gap\""), HasSubstr("bookmark")));
  EXPECT_THAT(LinesOf(Export({"--kind", "gap"}).out), ElementsAre(HasSubstr("\"gap\"")));
}

// ---- Tables ----------------------------------------------------------------------

TEST_F(ExportTest, ATableHasItsKindsColumns) {
  RecordOne(std::string(kTime) + kMelbourne + "92 01 FF");
  EXPECT_EQ(
      Table("position"),
      "tick,time,time_quality,repeats,latitude,longitude,absolute,position,packet_crc,"
      "adjusted_by,run,file,cluster,offset\r\n"
      "100,2023-11-14T22:13:20.000Z,exact,false,-37.8333333,145.0000000,true,,,0,0,,,15\r\n"
      "100,2023-11-14T22:13:20.000Z,exact,false,-37.8333317,145.0000017,false,,,0,0,,,25\r\n");
}

TEST_F(ExportTest, AReadingHasAColumnForWhatStandsInItsPlace) {
  RecordOne("71 3D 72 FE 21 05 71 3E");
  EXPECT_EQ(Table("speed"),
            "tick,time,time_quality,repeats,device,speed,speed_status,packet_crc,adjusted_by,run,"
            "file,cluster,offset\r\n"
            "100,,unknown,false,1,61,,,0,0,,,10\r\n"
            "100,,unknown,false,2,,BLANK,,0,0,,,12\r\n"
            "95,,unknown,false,1,62,,,5,0,,,16\r\n");
}

TEST_F(ExportTest, ATextIsNoFormulaInATable) {
  RecordOne(Officer("=1+1") + Officer("+1") + Officer("-1") + Officer("@A1") + Officer("\t=1") +
            Officer("\r=1") + Officer("a=1") + Officer("'a"));
  const std::string head = "100,,unknown,false,";
  EXPECT_THAT(
      LinesOf(Table("officer")),
      ElementsAre(StartsWith("tick,"), StartsWith(head + "'=1+1,3d312b31,"),
                  StartsWith(head + "'+1,2b31,"), StartsWith(head + "'-1,2d31,"),
                  StartsWith(head + "'@A1,404131,"), StartsWith(head + R"('\u0009=1,093d31,)"),
                  StartsWith(head + R"('\u000d=1,0d3d31,)"), StartsWith(head + "a=1,,"),
                  StartsWith(head + "'a,,")));
}

TEST_F(ExportTest, ATextStaysOneCellOfOneRow) {
  RecordOne(Officer("Doe, \"Jo\"\n"));
  EXPECT_THAT(Table("officer"), EndsWith("\r\n100,,unknown,false,\"Doe, \"\"Jo\"\"\\u000a\","
                                         "446f652c20224a6f220a,,0,0,,,10\r\n"));
}

TEST_F(ExportTest, GapsAndClockStepsAreTablesToo) {
  Record("r", {Hdr1(100, kTime), B("00 00"), Hdr1(104, "03 02 F1 53 65"), Hdr1(108, kAnHourLater)});
  EXPECT_EQ(Table("gap"),
            "reason,from_tick,to_tick,from_time,to_time,clusters,bytes,file,cluster,offset\r\n"
            "no packets,100,104,2023-11-14T22:13:20.000Z,2023-11-14T22:13:22.000Z,0,2,,,16\r\n");
  EXPECT_EQ(Table("clock_step"),
            "tick,expected,told,step_ms,file,cluster,offset\r\n"
            "108,2023-11-14T22:13:24.000Z,2023-11-14T23:13:22.000Z,3598000,,,36\r\n");
}

TEST_F(ExportTest, ManyTablesNeedAFolder) {
  RecordOne("56");
  for (const Arguments& kinds : {Arguments{}, Arguments{"--kind", "bookmark,gap"}}) {
    Arguments arguments = {"--format", "csv"};
    arguments.insert(arguments.end(), kinds.begin(), kinds.end());
    const Finished refused = Export(arguments);
    EXPECT_EQ(refused.exit_code, 2);
    EXPECT_THAT(refused.err,
                StartsWith("vmr: --format csv makes a table for each kind: give a folder with "
                           "-o DIR, or one kind with --kind KIND\n"));
    EXPECT_EQ(refused.out, "");
  }
}

TEST_F(ExportTest, AFolderGetsATableForEachKind) {
  RecordOne("56 36");
  EXPECT_EQ(Export({"--format", "csv", "-o", "d/e"}).exit_code, 0);
  EXPECT_THAT(LinesOf(ReadFile(Path("d/e/bookmark.csv"))),
              ElementsAre(StartsWith("tick,"), StartsWith("100,")));
  EXPECT_THAT(LinesOf(ReadFile(Path("d/e/speed.csv"))), ElementsAre(StartsWith("tick,")));
  const auto all = std::filesystem::directory_iterator(Path("d/e"));
  EXPECT_EQ(std::distance(begin(all), end(all)),
            static_cast<std::ptrdiff_t>(records::kKindCount) + 2);
}

TEST_F(ExportTest, OneTableGoesToAFileOrIntoAFolder) {
  RecordOne("56");
  EXPECT_EQ(Export({"--format", "csv", "--kind", "bookmark", "-o", "t.csv"}).exit_code, 0);
  EXPECT_THAT(ReadFile(Path("t.csv")), StartsWith("tick,"));
  EXPECT_EQ(Export({"--format", "csv", "--kind", "bookmark", "-o", "d/"}).exit_code, 0);
  EXPECT_EQ(ReadFile(Path("d/bookmark.csv")), ReadFile(Path("t.csv")));
}

TEST_F(ExportTest, AFolderWithOneTableThatIsThereIsLeftAsItWas) {
  RecordOne("56");
  std::filesystem::create_directory(Path("d"));
  WriteFile(Path("d/speed.csv"), "mine");
  const Finished refused = Export({"--format", "csv", "-o", "d"});
  EXPECT_EQ(refused.exit_code, 1);
  EXPECT_EQ(refused.err, "vmr: d/speed.csv: exists; --force replaces it\n");
  EXPECT_EQ(ReadFile(Path("d/speed.csv")), "mine");
  EXPECT_FALSE(std::filesystem::exists(Path("d/bookmark.csv")));
  EXPECT_EQ(Export({"--format", "csv", "-o", "d", "--force"}).exit_code, 0);
  EXPECT_THAT(ReadFile(Path("d/speed.csv")), StartsWith("tick,"));
  EXPECT_TRUE(LeftNothingBehind());
}

TEST_F(ExportTest, AFolderAppearsWithAllTablesOrNotAtAll) {
  RecordOne("56");
  const auto left = [this] {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
      names.push_back(entry.path().filename().string());
    return names;
  };
  EXPECT_EQ(Run({"export", "nothing", "--format", "csv", "-o", "d/e"}).exit_code, 1);
  EXPECT_THAT(left(), testing::Not(testing::Contains("d")));
  // No table may become longer than 32 KiB.
  std::vector<Bytes> packets;
  for (unsigned int tick = 1; tick < 5000; ++tick) packets.push_back(Hdr1(tick, "56 56 56"));
  Record("r", packets);
  const std::string command = "cd '" + folder + "' && ulimit -f 32 && trap '' XFSZ && '" +
                              VMR_PROGRAM + "' export r --format csv -o d/e 2> err";
  EXPECT_EQ(WEXITSTATUS(std::system(command.c_str())), 1);
  EXPECT_EQ(ReadFile(Path("err")), "vmr: d/e/bookmark.csv: File too large\n");
  EXPECT_THAT(left(), testing::Not(testing::Contains("d")));
  EXPECT_TRUE(LeftNothingBehind());
  EXPECT_EQ(Export({"--format", "csv", "-o", "d/e/"}).exit_code, 0);
  EXPECT_TRUE(LeftNothingBehind());
}

TEST_F(ExportTest, AFolderThatIsThereGetsAllTablesOrNone) {
  std::filesystem::create_directory(Path("d"));
  std::vector<Bytes> packets;
  for (unsigned int tick = 1; tick < 5000; ++tick) packets.push_back(Hdr1(tick, "36"));
  Record("r", packets);
  const std::string command = "cd '" + folder + "' && ulimit -f 32 && trap '' XFSZ && '" +
                              VMR_PROGRAM + "' export r --format csv -o d 2> err";
  EXPECT_EQ(WEXITSTATUS(std::system(command.c_str())), 1);
  EXPECT_TRUE(std::filesystem::is_empty(Path("d")));
}

TEST_F(ExportTest, ASignalLeavesNoFolderBehind) {
  // Eight hundred thousand records take a while.
  std::string hundred;
  for (int n = 0; n < 100; ++n) hundred += "56 ";
  Record("r", std::vector<Bytes>(8000, Hdr1(1, hundred)));
  RunningProgram program(folder, {"export", "r", "--format", "csv", "-o", "d"});
  for (int n = 0; n < 60000 && LeftNothingBehind(); ++n) usleep(1000);
  ASSERT_FALSE(LeftNothingBehind());
  program.Signal(SIGTERM);
  EXPECT_EQ(program.Finish().exit_code, -1);
  EXPECT_FALSE(std::filesystem::exists(Path("d")));
  EXPECT_TRUE(LeftNothingBehind());
}

// ---- GPX -------------------------------------------------------------------------

TEST_F(ExportTest, AWayHasPlacesTimesAndSpeedsInMetresPerSecond) {
  // The speed of a tick stands behind its position, or in front.
  Record("r", {Hdr1(100, std::string(kTime) + kMelbourne + "71 1B"), Hdr1(102, "93 9C FF 9C FF"),
               Hdr1(104, "71 00 92 01 01")});
  EXPECT_THAT(
      Gpx(),
      ElementsAre(
          "<trkseg>",
          "<trkpt lat=\"-37.8333333\" lon=\"145.0000000\"><time>2023-11-14T22:13:20.000Z</time>"
          "<extensions><gpxtpx:TrackPointExtension><gpxtpx:speed>12.070</gpxtpx:speed>"
          "</gpxtpx:TrackPointExtension></extensions></trkpt>",
          StartsWith("<trkpt lat=\"-37.8335000\" lon=\"145.0001667\">"
                     "<time>2023-11-14T22:13:21.000Z</time><extensions>"),
          AllOf(StartsWith("<trkpt lat=\"-37.8334983\" lon=\"145.0001650\">"),
                HasSubstr("<gpxtpx:speed>0.000<")),
          "</trkseg>"));
}

TEST_F(ExportTest, ASpeedIsInTheUnitsThatItsDeviceTells) {
  Record("r", {Hdr1(100, std::string(kTime) + "70 01 21 00 71 24 " + kMelbourne),
               Hdr1(102, "71 FF 92 10 10"), Hdr1(104, "70 01 61 00 71 24 92 10 10")});
  const std::vector<std::string> way = Gpx();
  ASSERT_EQ(way.size(), 5U);
  EXPECT_THAT(way[1], HasSubstr("<gpxtpx:speed>10.000<"));  // 36 km/h
  EXPECT_THAT(way[2], Not(HasSubstr("speed")));             // BAD
  EXPECT_THAT(way[3], Not(HasSubstr("speed")));             // as set on the radar
}

TEST_F(ExportTest, ASegmentBeginsWhereTheWayIsBroken) {
  const std::string place = kMelbourne;
  Record("r", {Hdr1(100, kTime + place), B("00 00"),             // a gap
               Hdr1(102, kTime + place),                         //
               Hdr1(104, "94 00"), Hdr1(106, "94 01 " + place),  // no fix
               Hdr1(108, kAnHourLater + place),                  // the clock is set
               Hdr1(7, kTime + place)});                         // ticks begin anew
  std::vector<std::string> way = Gpx();
  for (std::string& element : way) element.resize(element.find_first_of(" >"));
  EXPECT_THAT(way, ElementsAre("<trkseg", "<trkpt", "</trkseg", "<trkseg", "<trkpt", "</trkseg",
                               "<trkseg", "<trkpt", "</trkseg", "<trkseg", "<trkpt", "</trkseg",
                               "<trkseg", "<trkpt", "</trkseg"));
}

TEST_F(ExportTest, NoSegmentLeadsFromUnverifiedPositionsToVerifiedOnes) {
  Record("r", {Hdr1(100, Log("Range 100 to 200") + kTime + kMelbourne), Hdr1(102, "92 10 10"),
               Hdr1(104, kMelbourne), Hdr1(106, "92 10 10")});
  const std::vector<std::string> way = Gpx();
  EXPECT_THAT(
      way, ElementsAre("<trkseg>", HasSubstr("<cmt>unverified</cmt>"),
                       HasSubstr("<cmt>unverified</cmt>"), "</trkseg>",  //
                       "<trkseg>", Not(HasSubstr("<cmt>")), Not(HasSubstr("<cmt>")), "</trkseg>"));
}

TEST_F(ExportTest, PositionsWithoutPlaceOrTimeAreCountedAndLeftOut) {
  Record("r", {Hdr1(100, "92 01 01"), Hdr1(102, kMelbourne)});
  const Finished exported = Export({"--format", "gpx"});
  EXPECT_EQ(exported.exit_code, 3);
  EXPECT_EQ(exported.err,
            "vmr: r: 1 position was left out: where they lie is unknown\n"
            "vmr: r: 1 position was left out: their time is unknown\n");
  EXPECT_THAT(exported.out, Not(HasSubstr("trkpt")));
}

TEST_F(ExportTest, PositionsThatAreNotSureSaySo) {
  Record("r", {Hdr1(100, Log("Range 100 to 200") + kMelbourne), Hdr1(102, kTime),
               WithWrongCrc(Hdr1(103, kMelbourne)), Hdr1(104, kTime)});
  const std::vector<std::string> way = Gpx();
  ASSERT_EQ(way.size(), 6U);
  EXPECT_THAT(way[1], HasSubstr("<cmt>unverified, time estimated</cmt>"));
  EXPECT_THAT(way[4], HasSubstr("<cmt>packet CRC wrong, time estimated</cmt>"));
}

TEST_F(ExportTest, ARepeatedPositionIsNoPointWhereAnotherFollowsAtItsTick) {
  // The state that an extract begins with, and what was copied of the same tick.
  const std::string state = Log("Range 100 to 200") + kTime + "91 02 25 31 00 00 91 00 00 00 1A";
  Record("r", {Hdr1(100, state), Hdr1(100, kMelbourne), Hdr1(102, "92 10 10")});
  const std::vector<std::string> way = Gpx();
  ASSERT_EQ(way.size(), 4U);
  EXPECT_THAT(way[1], AllOf(HasSubstr("lat=\"-37.8333333\""), HasSubstr("22:13:20.000Z")));
  EXPECT_THAT(way[2], HasSubstr("22:13:21.000Z"));
  Record("r", {Hdr1(100, state), Hdr1(102, kMelbourne)});
  EXPECT_EQ(Gpx().size(), 6U) << "alone it is one, in a segment of its own: it is unverified";
}

TEST_F(ExportTest, AHundredAndEightyDegreesEastAreWestInGpx) {
  Record("r", {Hdr1(100, std::string(kTime) + "91 00 00 00 00 00 B4 00 00 00")});
  EXPECT_THAT(Gpx(), ElementsAre("<trkseg>", HasSubstr("lon=\"-180.0000000\""), "</trkseg>"));
}

TEST_F(ExportTest, TheWaysNameIsXml) {
  Record("<&>\n", {Hdr1(100, std::string(kTime) + kMelbourne)});
  EXPECT_THAT(Run({"export", "<&>\n", "--format", "gpx"}).out,
              HasSubstr("<trk><name>&lt;&amp;&gt;\\u000a</name>"));
}

TEST_F(ExportTest, ARangeKnowsTheSpeedThatWasToldBefore) {
  Record("r", {Hdr1(100, std::string(kTime) + kMelbourne + "71 0A"), Hdr1(110, "92 10 10"),
               Hdr1(120, "92 10 10")});
  EXPECT_THAT(
      Gpx({"--from", "105", "--to", "115"}),
      ElementsAre("<trkseg>", AllOf(HasSubstr("22:13:25.000Z"), HasSubstr("<gpxtpx:speed>4.470<")),
                  "</trkseg>"));
}

// ---- GeoJSON ---------------------------------------------------------------------

TEST_F(ExportTest, ALineIsCutAtTheDateLine) {
  // 0.2 minutes east, 0.0020 north: halfway it is 180 degrees.
  Record("r", {Hdr1(100, std::string(kTime) + kNearDateLine), Hdr1(102, "93 14 00 30 F8")});
  EXPECT_THAT(
      Features(),
      ElementsAre(
          R"({"type":"Feature","properties":{"kind":"track","recording":"r","from_tick":100,)"
          R"("to_tick":102,"from_time":"2023-11-14T22:13:20.000Z",)"
          R"("to_time":"2023-11-14T22:13:21.000Z",)"
          R"("coordTimes":[["2023-11-14T22:13:20.000Z",null],[null,"2023-11-14T22:13:21.000Z"]],)"
          R"("ticks":[[100,null],[null,102]],"speeds_m_per_s":[[null,null],[null,null]]},)"
          R"("geometry":{"type":"MultiLineString","coordinates":)"
          R"([[[179.9983333,-0.0000167],[180.0000000,0.0000000]],)"
          R"([[-180.0000000,0.0000000],[-179.9983333,0.0000167]]]}})"));
}

TEST_F(ExportTest, EachOfSeveralRecordingsIsATrackOfItsOwn) {
  Record("a", {Hdr1(100, std::string(kTime) + kMelbourne)});
  Record("b", {Hdr1(100, std::string(kTime) + kNearDateLine)});
  const Finished gpx = Run({"export", "a", "b", "--format", "gpx"});
  EXPECT_THAT(gpx.out, HasSubstr("<metadata><name>2 recordings</name>"));
  EXPECT_THAT(gpx.out, HasSubstr("<trk><name>a</name>\n<trkseg>\n"));
  EXPECT_THAT(gpx.out, HasSubstr("</trkseg>\n</trk>\n<trk><name>b</name>\n"));
  const Finished features = Run({"export", "a", "b", "--format", "geojson"});
  EXPECT_THAT(LinesOf(features.out), ElementsAre(testing::_, HasSubstr("\"recording\":\"a\""),
                                                 HasSubstr("\"recording\":\"b\""), "]}"));
}

TEST_F(ExportTest, AWayAcrossGreenwichAndTheEquatorIsNotCut) {
  Record("r", {Hdr1(100, std::string(kTime) + "91 03 00 00 0A 00 00 00 0A 00"),
               Hdr1(102, "93 14 00 EC FF")});
  EXPECT_THAT(Features(),
              ElementsAre(HasSubstr(R"("geometry":{"type":"LineString","coordinates":)"
                                    R"([[-0.0000167,-0.0000167],[0.0000167,0.0000167]]})")));
}

TEST_F(ExportTest, AnEventIsWhereTheVehicleWasLastKnownToBe) {
  Record("r", {Hdr1(99, "36"), Hdr1(100, std::string(kTime) + kMelbourne), Hdr1(107, Log("\x1b")),
               B("00 00"), Hdr1(109, "56")});
  EXPECT_THAT(
      Features(),
      ElementsAre(
          AllOf(HasSubstr(R"("input":"siren","on":true)"), EndsWith(R"("geometry":null},)")),
          AllOf(
              HasSubstr(R"("text":"\u001b")"), HasSubstr(R"("position_age_s":3.5)"),
              EndsWith(R"("geometry":{"type":"Point","coordinates":[145.0000000,-37.8333333]}},)")),
          HasSubstr(R"("kind":"track")"),
          AllOf(HasSubstr(R"("kind":"bookmark")"), EndsWith(R"("geometry":null})"))));
}

// ---- Subtitles -------------------------------------------------------------------

TEST_F(ExportTest, ASecondsSubtitleTellsWhatHoldsAndWhatChanged) {
  Record("r", {Hdr1(90, std::string(kTime) + "71 1B 34 37"), Hdr1(101, "36"), Hdr1(104, "71 1C")});
  EXPECT_THAT(Cues({"--video-start", "2023-11-14T22:13:25Z", "--time-zone", "Asia/Tokyo"}),
              ElementsAre("WEBVTT", "00:00:00.000 --> 00:00:01.000", "2023-11-15 07:13:25+09:00",
                          "27 mph", "emergency lights on, siren on", "* siren on",
                          "00:00:01.000 --> 00:00:02.000", "2023-11-15 07:13:26+09:00", "27 mph",
                          "emergency lights on, siren on", "00:00:02.000 --> 00:00:03.000",
                          "2023-11-15 07:13:27+09:00", "28 mph", "emergency lights on, siren on"));
}

TEST_F(ExportTest, AGapIsASubtitleAndWhatItMadeUnknownIsNotShown) {
  Record("r", {Hdr1(100, std::string(kTime) + "36"), B("00 00"), Hdr1(106, "56"), Hdr1(108, "36")});
  EXPECT_THAT(Cues({"--video-start", "100"}),
              ElementsAre("WEBVTT", "00:00:00.000 --> 00:00:01.000", "2023-11-14 22:13:20+00:00",
                          "siren on", "* siren on", "00:00:01.000 --> 00:00:03.000",
                          "gap: no packets", "nothing is known of this time",
                          "00:00:03.000 --> 00:00:04.000", testing::_, "* bookmark",
                          "00:00:04.000 --> 00:00:05.000", testing::_, "siren on", "* siren on"));
}

TEST_F(ExportTest, BehindAGapASubtitleHasTheTimeThatIsReckonedBackwards) {
  Record("r", {Hdr1(100, std::string(kTime) + "36"), B("00 00"), Hdr1(106, "56"),
               Hdr1(110, "03 05 F1 53 65"), Hdr1(112, "56")});
  const std::vector<std::string> cues = Cues({"--video-start", "100"});
  EXPECT_THAT(cues, testing::Contains("~2023-11-14 22:13:23+00:00"));
  EXPECT_THAT(cues, testing::Contains("~2023-11-14 22:13:24+00:00"));
  EXPECT_THAT(cues, testing::Contains("2023-11-14 22:13:26+00:00"));
  EXPECT_THAT(cues, testing::Not(testing::Contains(StartsWith("tick "))));
}

TEST_F(ExportTest, WhoDrivesWhatIsAmongTheChanges) {
  Record("r",
         {Hdr1(100, kTime), Hdr1(101, Officer("Ana") + TextItem("08", "4711") +
                                          TextItem("07", "Car 7") + TextItem("06", "County"))});
  EXPECT_THAT(Cues({"--video-start", "100"}),
              testing::IsSupersetOf(
                  {"* officer: Ana", "* badge: 4711", "* vehicle: Car 7", "* department: County"}));
}

TEST_F(ExportTest, TicksThatLeapMakeOneSubtitleInsteadOfMillions) {
  Record("r", {Hdr1(100, "36"), Hdr1(4294960100U, "56")});
  EXPECT_THAT(Cues({"--video-start", "100"}),
              ElementsAre("WEBVTT", "00:00:00.000 --> 00:00:01.000", "tick 100", "siren on",
                          "* siren on", "00:00:01.000 --> 596522:13:20.000", "nothing is recorded",
                          "nothing is known of this time", "596522:13:20.000 --> 596522:13:21.000",
                          "tick 4294960100", "* bookmark"));
}

TEST_F(ExportTest, ARecordedTextEndsNoSubtitle) {
  RecordOne(Log("a --> b\n\n<i>&"));
  EXPECT_THAT(Cues({"--video-start", "100"}),
              ElementsAre("WEBVTT", "00:00:00.000 --> 00:00:01.000", "tick 100",
                          "* log: a --&gt; b\\u000a\\u000a&lt;i&gt;&amp;"));
}

TEST_F(ExportTest, AnOffsetMovesSubtitlesButNeverBeforeTheVideo) {
  Record("r", {Hdr1(100, "56"), Hdr1(104, "56")});
  EXPECT_EQ(Export({"--format", "srt", "--video-start", "100", "--offset", "-1250"}).out,
            "1\n00:00:00,000 --> 00:00:00,750\ntick 102\n\n"
            "2\n00:00:00,750 --> 00:00:01,750\ntick 104\n* bookmark\n\n");
}

TEST_F(ExportTest, AClockThatIsSetMovesNoSubtitle) {
  Record("r", {Hdr1(100, kTime), Hdr1(104, kAnHourLater)});
  EXPECT_THAT(Cues({"--video-start", "2023-11-14T22:13:20Z"}),
              ElementsAre("WEBVTT", "00:00:00.000 --> 00:00:01.000", "2023-11-14 22:13:20+00:00",
                          "00:00:01.000 --> 00:00:02.000", "2023-11-14 22:13:21+00:00",
                          "00:00:02.000 --> 00:00:03.000", "2023-11-14 23:13:22+00:00",
                          "* clock set by +3600.0 s"));
}

TEST_F(ExportTest, SubtitlesSayWhatTheVideoHasBeyondThem) {
  Record("r", {Hdr1(100, std::string(kTime) + "36"), Hdr1(101, "37"), Hdr1(7, "36")});
  const Finished anew = Export({"--format", "vtt", "--video-start", "100"});
  EXPECT_EQ(anew.exit_code, 3);
  EXPECT_THAT(anew.err, HasSubstr("its ticks begin anew while the video goes on"));
  const Finished late = Export({"--format", "vtt", "--video-start", "90"});
  EXPECT_EQ(late.exit_code, 3);
  const Finished early = Export({"--format", "vtt", "--video-start", "2030-01-01T00:00:00Z"});
  EXPECT_EQ(early.exit_code, 3);
  EXPECT_THAT(early.err, HasSubstr("vmr: r: ends before --video-start, or tells no time\n"));
  EXPECT_EQ(early.out, "WEBVTT\n\n");
}

TEST_F(ExportTest, AVideoThatBeginsLongBeforeTheRecordingIsSaidTo) {
  // The recording's clock leaps over the video's beginning, or newer packets stand there.
  Record("r", {Hdr1(100, kTime), Hdr1(104, kAnHourLater), Hdr1(108, "56")});
  const Finished leapt = Export({"--format", "vtt", "--video-start", "2023-11-14T22:14:00Z"});
  EXPECT_EQ(leapt.exit_code, 3);
  EXPECT_EQ(leapt.err, "vmr: r: begins 3562 s behind --video-start\n");
  EXPECT_THAT(leapt.out, Not(HasSubstr("00:00:00.000")));
  Record("r", {Hdr1(100, "56"), Hdr1(104, kTime)});
  EXPECT_EQ(Export({"--format", "vtt", "--video-start", "2023-11-14T11:13:20Z"}).exit_code, 3);
}

// ---- Ranges --------------------------------------------------------------------------

TEST_F(ExportTest, ARangeOutsideOfTheRecordingIsSaidTo) {
  Record("r", {Hdr1(100, kTime), Hdr1(104, kMelbourne), Hdr1(110, "56")});
  const std::string ends =
      ": it begins at tick 100 (2023-11-14 22:13:20+00:00) and ends at tick "
      "110 (2023-11-14 22:13:25+00:00)\n";
  for (const Arguments& range :
       {Arguments{"--from", "2019-06-20", "--to", "2019-06-21"}, Arguments{"--to", "2019-06-20"},
        Arguments{"--from", "2024-01-01"}, Arguments{"--from", "now"}, Arguments{"--from", "111"},
        Arguments{"--to", "99"}, Arguments{"--from", "200", "--to", "300"},
        Arguments{"--from", "200", "--format", "gpx"},
        Arguments{"--from", "200", "--format", "geojson"}}) {
    const Finished outside = Export(range);
    EXPECT_EQ(outside.exit_code, 3) << range[1];
    EXPECT_EQ(outside.err, "vmr: r: nothing of what was asked for is recorded in it" + ends);
  }
  for (const Arguments& range :
       {Arguments{"--from", "2023-11-14"}, Arguments{"--to", "now"}, Arguments{"--from", "110"},
        Arguments{"--from", "105", "--to", "106"}, Arguments{"--to", "2023-11-14"}}) {
    const Finished inside = Export(range);
    EXPECT_EQ(inside.exit_code, 0) << range[1];
    EXPECT_EQ(inside.err, "");
  }
}

TEST_F(ExportTest, NothingOfARangeIsInARecordingOfNothing) {
  Record("r", {});
  const Finished nothing = Export({"--from", "2019-06-20"});
  EXPECT_EQ(nothing.exit_code, 3);
  EXPECT_EQ(nothing.err, "vmr: r: nothing of what was asked for is recorded in it\n");
}

// ---- All -------------------------------------------------------------------------

TEST_F(ExportTest, OptionsThatDoNotGoTogetherAreWrongUsage) {
  RecordOne("56");
  for (const Arguments& arguments :
       {Arguments{"--format", "vtt"}, Arguments{"--format", "gpx", "--kind", "speed"},
        Arguments{"--video-start", "1"}, Arguments{"--offset", "1"}, Arguments{"--kind", "sped"},
        Arguments{"--format", "srt", "--video-start", "1", "--from", "1"},
        Arguments{"--format", "kml"}}) {
    const Finished refused = Export(arguments);
    EXPECT_EQ(refused.exit_code, 2) << refused.err;
    EXPECT_EQ(refused.out, "");
  }
  const Finished siren = Export({"--kind", "siren"});
  EXPECT_EQ(siren.exit_code, 2);
  EXPECT_THAT(siren.err, StartsWith("vmr: --kind siren: no kind of record; siren is an input: "
                                    "--kind input\n"));
  EXPECT_THAT(Export({"--time-zone", ""}).err, StartsWith("vmr: --time-zone is empty\n"));
  for (const char* const run : {"-1", "99999999999", "one"})
    EXPECT_THAT(Run({"state", "r", "--at", "1", "--run", run}).err,
                StartsWith("vmr: --run " + std::string(run) + ": no number of a run; 0 is"));
  const Finished two = Run({"export", "r", "r", "--format", "vtt", "--video-start", "1"});
  EXPECT_EQ(two.exit_code, 2);
  EXPECT_EQ(two.err, "vmr: 2 recordings: a video has subtitles of one; name it\n");
}

TEST_F(ExportTest, ARecordingIsNeverWrittenOver) {
  RecordOne("56");
  const std::string before = ReadFile(Path("r"));
  for (const char* const format : {"jsonl", "gpx", "geojson"}) {
    const Finished refused = Export({"--format", format, "-o", "./r", "--force"});
    EXPECT_EQ(refused.exit_code, 1);
    EXPECT_EQ(refused.err, "vmr: ./r: belongs to the recording r; give another file\n");
  }
  EXPECT_EQ(ReadFile(Path("r")), before);
}

TEST_F(ExportTest, AFileAppearsWholeAndReplacesNoneUnlessForced) {
  RecordOne("56");
  const std::string out = Export().out;
  EXPECT_EQ(Export({"-o", "o"}).exit_code, 0);
  EXPECT_EQ(ReadFile(Path("o")), out);
  const Finished refused = Export({"-o", "o", "--format", "gpx"});
  EXPECT_EQ(refused.exit_code, 1);
  EXPECT_EQ(refused.err, "vmr: o: exists; --force replaces it\n");
  EXPECT_EQ(Export({"-o", "o", "--format", "gpx", "--force"}).exit_code, 0);
  EXPECT_THAT(ReadFile(Path("o")), EndsWith("</gpx>\n"));
  EXPECT_TRUE(LeftNothingBehind());
}

TEST_F(ExportTest, WhatCannotBeReadLeavesNoFile) {
  for (const char* const format : {"jsonl", "gpx", "geojson"}) {
    EXPECT_EQ(Run({"export", "nothing", "--format", format, "-o", "o"}).exit_code, 1);
    EXPECT_FALSE(std::filesystem::exists(Path("o")));
  }
  RecordOne("56");
  EXPECT_EQ(Run({"export", "nothing", "r", "-o", "o"}).exit_code, 1);
  EXPECT_THAT(ReadFile(Path("o")), StartsWith("{\"kind\":\"bookmark\",\"recording\":\"r\""));
}

TEST_F(ExportTest, AWayOfMorePointsThanAreKeptInMemoryIsOneFeature) {
  constexpr unsigned int kPoints = 3000;
  std::vector<Bytes> packets = {Hdr1(100, std::string(kTime) + kNearDateLine)};
  while (packets.size() < kPoints)
    packets.push_back(Hdr1(100 + static_cast<unsigned int>(packets.size()), "93 01 00 01 00"));
  Record("r", packets);
  const std::vector<std::string> features = Features();
  ASSERT_EQ(features.size(), 1U);
  const auto way = nlohmann::json::parse(features[0]);
  EXPECT_EQ(way["geometry"]["type"], "LineString");
  EXPECT_EQ(way["geometry"]["coordinates"].size(), kPoints);
  EXPECT_EQ(way["properties"]["coordTimes"].size(), kPoints);
  EXPECT_EQ(way["properties"]["speeds_m_per_s"].size(), kPoints);
  ASSERT_EQ(way["properties"]["ticks"].size(), kPoints);
  for (unsigned int n = 0; n < kPoints; ++n) ASSERT_EQ(way["properties"]["ticks"][n], 100 + n);
}

TEST_F(ExportTest, ARecordingOfNothingIsAnEmptyFileOfEachFormat) {
  Record("r", {});
  EXPECT_EQ(Export().out, "");
  EXPECT_EQ(LinesOf(Export({"--format", "gpx"}).out).size(), 4U);
  EXPECT_EQ(Export({"--format", "geojson"}).out,
            "{\"type\":\"FeatureCollection\",\"features\":[\n\n]}\n");
}

TEST_F(ExportTest, AReaderThatHasSeenEnoughIsNoError) {
  std::vector<Bytes> packets;
  for (unsigned int tick = 1; tick < 5000; ++tick) packets.push_back(Hdr1(tick, "56 56 56"));
  Record("r", packets);
  const std::string command = "cd '" + folder + "' && { '" + VMR_PROGRAM +
                              "' export r; echo $? > code; } | head -n 1 > first";
  EXPECT_EQ(std::system(command.c_str()), 0);
  EXPECT_EQ(ReadFile(Path("code")), "0\n");
}

}  // namespace
}  // namespace vmr::test
