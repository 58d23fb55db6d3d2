// The page that `vmr report` makes, and the data in it, of recordings that are put together
// here.
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <random>
#include <sstream>

#include "tests/records/decoded.h"
#include "tests/tools/item_bytes.h"
#include "tests/tools/ring_images.h"
#include "tests/tools/unpacked_page.h"
#include "tools/read/phrase.h"

namespace vmr::test {
namespace {

using nlohmann::json;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

constexpr std::int64_t kTime_us = 1700000000000000;

// 41 degrees 30 minutes north, 93 degrees west.
constexpr const char* kIowa = "91 01 29 1E 00 00 5D 00 00 00 ";
constexpr const char* kSirenOn = "36 ";
constexpr const char* kSirenOff = "37 ";

// Of points, as the page's description has them.
constexpr int kUnknown = 1, kWrongCrc = 2, kSinceUnknown = 4, kWord = 8;
// Of events.
constexpr int kNoTick = 8, kEstimated = 16;

std::string Zone(const std::string& name) { return TextItem("11", name); }

// "100=2 110=1!": where a line's points are, their values, and a mark for each flag: ? unknown,
// ! wrong CRC, ~ since unknown, w a word in place of a value.
std::string LineText(const json& line, const char* value) {
  std::string text;
  for (std::size_t i = 0; i < line["x"].size(); ++i) {
    const int flags = line["flags"][i];
    text += (i == 0 ? "" : " ") + line["x"][i].dump() + "=" + line[value][i].dump();
    if ((flags & kUnknown) != 0) text += "?";
    if ((flags & kWrongCrc) != 0) text += "!";
    if ((flags & kSinceUnknown) != 0) text += "~";
    if ((flags & kWord) != 0) text += "w";
  }
  return text;
}

json WithId(const json& all, const std::string& id) {
  for (const json& one : all)
    if (one["id"] == id) return one;
  ADD_FAILURE() << "no " << id;
  return {};
}
std::string LaneOf(const json& recording, const std::string& id) {
  return LineText(WithId(recording["lanes"], id), "word");
}
std::string SeriesOf(const json& recording, const std::string& id) {
  return LineText(WithId(recording["series"], id), "value");
}

// "10 input: siren on", with the same marks behind it, - for no tick and ~ for an estimate.
std::vector<std::string> EventsOf(const json& recording) {
  const json& events = recording["events"];
  std::vector<std::string> lines;
  for (std::size_t i = 0; i < events["x"].size(); ++i) {
    const int flags = events["flags"][i];
    const std::string text = events["texts"][events["text"][i].get<std::size_t>()];
    const std::string kind = events["kinds"][events["kind"][i].get<std::size_t>()];
    lines.push_back(events["x"][i].dump() + " " + kind + ": " + text);
    if ((flags & kWrongCrc) != 0) lines.back() += " !";
    if ((flags & kNoTick) != 0) lines.back() += " -";
    if ((flags & kEstimated) != 0) lines.back() += " ~";
  }
  return lines;
}

// "0..10 at 0": in seconds behind kTime.
std::vector<std::string> StretchesOf(const json& recording) {
  std::vector<std::string> lines;
  for (const json& stretch : recording["stretches"]) {
    lines.push_back(stretch["x"].dump() + ".." + stretch["to"].dump() + " tick " +
                    stretch["tick"].dump());
    if (stretch["us"].is_null()) continue;
    const double seconds = static_cast<double>(stretch["us"].get<std::int64_t>() - kTime_us) / 1e6;
    std::ostringstream text;
    text << " at " << seconds << " " << stretch["quality"].get<std::string>();
    if (stretch["displaced"]) text << " displaced";
    lines.back() += text.str();
  }
  return lines;
}

std::vector<std::string> FindingsOf(const json& recording) {
  std::vector<std::string> lines;
  for (const json& finding : recording["findings"])
    lines.push_back(finding["severity"].get<std::string>() + ": " +
                    finding["words"].get<std::string>());
  return lines;
}

// "officer: A, B"
std::string FactOf(const json& recording, const std::string& name) {
  std::string text;
  for (const json& fact : recording["facts"])
    if (fact["name"] == name)
      for (const json& value : fact["values"])
        text += (text.empty() ? "" : ", ") + value["text"].get<std::string>();
  return text;
}

std::vector<std::string> LinesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

class ReportTest : public RingImageTest {
 protected:
  ReportTest() { setenv("SOURCE_DATE_EPOCH", "1700000000", 1); }
  ~ReportTest() override { unsetenv("SOURCE_DATE_EPOCH"); }

  // A flat file.
  void Record(const std::string& name, const std::vector<Bytes>& packets) const {
    Bytes bytes = B("66 5D 53 31");
    for (const Bytes& packet : packets) bytes = bytes + packet;
    WriteFile(Path(name), std::string(bytes.begin(), bytes.end()));
  }
  Finished Report(const Arguments& more = {"r"}) const {
    Arguments arguments = {"report"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return Run(arguments);
  }
  json CaseOf(const Arguments& more) const { return DataOf(Report(more).out); }
  json RecordingOf(const Arguments& more = {"r"}) const {
    const json all = CaseOf(more)["recordings"];
    EXPECT_EQ(all.size(), 1U);
    return all.empty() ? json() : all.front();
  }
};

// ---- What is in the page ---------------------------------------------------------

TEST_F(ReportTest, ThePageHoldsTitleSummaryAndDataAndTheHeaderSaysWhatOf) {
  Record("r", {Hdr1(100, kTime + Officer("Doe") + kSirenOn), Hdr1(110, kSirenOff)});
  const Finished made = Report({"r", "-o", "case.html"});
  EXPECT_EQ(made.exit_code, 0) << made.err;
  EXPECT_EQ(made.out, "");
  const std::string page = ReadFile(Path("case.html"));
  EXPECT_THAT(page, HasSubstr("<title>r, 2023-11-14, officer Doe</title>"));
  EXPECT_THAT(page, HasSubstr("<p>r. Officer: Doe, badge: not told, vehicle: not told, department: "
                              "not told, unit: not told. From 2023-11-14 22:13:20+00:00 to "
                              "2023-11-14 22:13:25+00:00.</p>"));
  EXPECT_THAT(page, Not(HasSubstr("<!--vmr:")));
  const json data = DataOf(page);
  EXPECT_EQ(data["format"], 1);
  EXPECT_THAT(data["tool"].get<std::string>(), testing::StartsWith("vmr "));
  EXPECT_EQ(data["made_us"], kTime_us);
  EXPECT_EQ(data["title"], "r, 2023-11-14, officer Doe");
  EXPECT_EQ(data["range"], json());
  EXPECT_EQ(data["axis_us"], kTime_us);
  EXPECT_EQ(data["has_time"], true);
  EXPECT_EQ(data["zone"]["name"], "UTC");
  EXPECT_EQ(data["zone"]["recorded"], false);
  const json& recording = data["recordings"][0];
  EXPECT_EQ(recording["name"], "r");
  EXPECT_EQ(recording["kind"], "file");
  EXPECT_THAT(StretchesOf(recording), ElementsAre("0..10 tick 100 at 0 exact"));
  EXPECT_EQ(recording["totals"]["recorded_halves"], 10);
  EXPECT_EQ(recording["totals"]["records"], 4);
  EXPECT_THAT(FindingsOf(recording), ElementsAre("note: no time zone is recorded; times are UTC"));
}

TEST_F(ReportTest, ASourceHasTheDigestThatSha256sumPrints) {
  WriteFile(Path("r"), "f]S1");  // a flat file of nothing
  const json source = RecordingOf()["sources"][0];
  EXPECT_EQ(source["path"], "r");
  EXPECT_EQ(source["bytes"], 4);
  EXPECT_EQ(source["problem"], "");
  EXPECT_EQ(source["sha256"], "f775a35abac94ea581bda8b10557ec1a9ce2af64c78f8124e979c962d4925e5c");
}

TEST_F(ReportTest, EqualRecordingsMakeEqualPagesWhenItIsSaidWhenTheyWereMade) {
  Record("r", {Hdr1(100, kTime + std::string(kMelbourne) + kSirenOn), Hdr1(110, kSirenOff)});
  const std::string page = Report().out;
  EXPECT_EQ(Report().out, page);
  setenv("SOURCE_DATE_EPOCH", "1700000001", 1);
  EXPECT_EQ(DataOf(Report().out)["made_us"], kTime_us + 1000000);
  setenv("SOURCE_DATE_EPOCH", "yesterday", 1);
  const Finished refused = Report();
  EXPECT_EQ(refused.exit_code, 2);
  EXPECT_EQ(refused.err, "vmr: SOURCE_DATE_EPOCH yesterday: no number of seconds since 1970\n");
}

TEST_F(ReportTest, WhatSomebodyHasRecordedEndsNeitherTitleNorData) {
  const std::string hostile = "</script></title><script>alert(1)</script>";
  Record("r", {Hdr1(100, kTime + Officer(hostile) + Log("<!--vmr:data-->"))});
  const std::string page = Report().out;
  EXPECT_THAT(page, Not(HasSubstr(hostile)));
  EXPECT_THAT(page, Not(HasSubstr("alert(1)</script>")));
  EXPECT_THAT(page,
              HasSubstr("&lt;/script&gt;&lt;/title&gt;&lt;script&gt;alert(1)&lt;/script&gt;"));
  const json recording = DataOf(page)["recordings"][0];
  EXPECT_EQ(FactOf(recording, "officer"), hostile);
  EXPECT_THAT(EventsOf(recording), testing::Contains("0 log: log \"<!--vmr:data-->\""));
}

TEST_F(ReportTest, TheTitleNamesEachOfficerOnceAndCountsMany) {
  Record("a", {Hdr1(100, kTime + Officer("A")), Hdr1(110, Officer("B"))});
  Record("b", {Hdr1(100, kTime + Officer("B"))});
  EXPECT_EQ(CaseOf({"a", "b"})["title"], "a and b, 2023-11-14, officer A and B");
  Record("r", {Hdr1(100, kTime + Officer("A")), Hdr1(110, Officer("B")), Hdr1(120, Officer("C")),
               Hdr1(130, Officer("D"))});
  EXPECT_EQ(CaseOf({"r"})["title"], "r, 2023-11-14, 4 officers");
}

TEST_F(ReportTest, ATitleMayNameAPlaceOfThePage) {
  Record("r", {Hdr1(100, kTime)});
  const std::string page = Report({"r", "--title", "<!--vmr:data--> & \x1B"}).out;
  EXPECT_THAT(page, HasSubstr("<title>&lt;!--vmr:data--&gt; &amp; \\x1B</title>"));
  EXPECT_EQ(DataOf(page)["title"], "<!--vmr:data--> & \\x1B");
}

TEST_F(ReportTest, BytesThatAreNoTextAreShownAsInAListing) {
  Record("r", {Hdr1(100, kTime + Officer("A\xFF\x1B[2J"))});
  EXPECT_EQ(FactOf(RecordingOf(), "officer"), "A\\xFF\\x1B[2J");
}

TEST_F(ReportTest, AVideoIsANameAlone) {
  Record("r", {Hdr1(100, kTime)});
  EXPECT_EQ(CaseOf({"r"})["video"], json());
  EXPECT_EQ(CaseOf({"r", "--video", "/somewhere/else/front.mp4"})["video"],
            json({{"name", "front.mp4"}}));
}

TEST_F(ReportTest, ADayOnWhichClocksChangeHasBothOffsets) {
  // 2019-03-10T07:59:50Z: ten seconds later Chicago's clocks go from two to three.
  Record("r", {Hdr1(100, "03 F6 C3 84 5C " + Zone("America/Chicago")), Hdr1(200, kSirenOn)});
  const json zone = CaseOf({"r"})["zone"];
  EXPECT_EQ(zone["name"], "America/Chicago");
  EXPECT_EQ(zone["recorded"], true);
  ASSERT_THAT(zone["offsets"], SizeIs(2));
  EXPECT_EQ(zone["offsets"][0]["minutes"], -360);
  EXPECT_EQ(zone["offsets"][0]["abbreviation"], "CST");
  EXPECT_EQ(zone["offsets"][1]["minutes"], -300);
  EXPECT_EQ(zone["offsets"][1]["abbreviation"], "CDT");
  EXPECT_EQ(zone["offsets"][1]["from_us"], 1552204800000000);
  EXPECT_EQ(CaseOf({"r", "--time-zone", "UTC"})["zone"]["recorded"], false);
}

// ---- Lines -----------------------------------------------------------------------

TEST_F(ReportTest, ALaneBeginsUnknownAndHasAPointForEachChange) {
  Record("r", {Hdr1(100, kTime), Hdr1(110, kSirenOn), Hdr1(114, kSirenOn), Hdr1(120, kSirenOff)});
  const json recording = RecordingOf();
  const json siren = WithId(recording["lanes"], "input/siren");
  EXPECT_EQ(siren["group"], "inputs");
  EXPECT_EQ(siren["role"], "siren");
  EXPECT_EQ(siren["words"], json({"unknown", "off", "on"}));
  EXPECT_EQ(siren["on"], json({2}));
  EXPECT_EQ(LineText(siren, "word"), "0=0? 10=2 20=1");
  EXPECT_EQ(LaneOf(recording, "input/emergency lights"), "0=0?");
  EXPECT_EQ(WithId(recording["lanes"], "input/emergency lights")["role"], "lights");
}

TEST_F(ReportTest, BehindAGapEveryStateIsUnknownUntilItIsToldAgain) {
  Record("r", {Hdr1(100, std::string(kTime) + kSirenOn + "71 1B 34"), B("00 00"), Hdr1(110, "56"),
               Hdr1(112, std::string(kTime) + kSirenOn), Hdr1(114, "71 1B")});
  const json recording = RecordingOf();
  EXPECT_EQ(LaneOf(recording, "input/siren"), "0=2 1=0? 12=2");
  EXPECT_EQ(LaneOf(recording, "input/emergency lights"), "0=2 1=0?");
  EXPECT_EQ(SeriesOf(recording, "speed/1"), "0=27 1=0? 14=27");
  ASSERT_THAT(recording["gaps"], SizeIs(1));
  const json& gap = recording["gaps"][0];
  EXPECT_EQ(gap["reason"], "no packets");
  EXPECT_EQ(gap["from"], 0);
  EXPECT_EQ(gap["to"], 10);
  EXPECT_EQ(gap["from_tick"], 100);
  EXPECT_EQ(gap["to_tick"], 110);
  EXPECT_EQ(gap["bytes"], 2);
  EXPECT_THAT(gap["words"].get<std::string>(),
              HasSubstr("gap: damage where packets should be (2 bytes); tick 100 to 110"));
  EXPECT_EQ(recording["totals"]["lost_halves"], 10);
  EXPECT_EQ(recording["totals"]["lost_unknown"], 0);
  EXPECT_THAT(StretchesOf(recording), testing::Contains(testing::StartsWith("0..0 tick 100")));
  EXPECT_THAT(FindingsOf(recording), testing::Contains("gap: " + gap["words"].get<std::string>()));
  EXPECT_EQ(Report().exit_code, 3);
}

TEST_F(ReportTest, WhatStandsBehindAGapWithoutATickIsKnownFromTheNextTickOn) {
  Record("r", {Hdr1(100, std::string(kTime) + kSirenOn), B("00 00"), Hdr2(105, kSirenOff),
               Hdr1(110, "56")});
  const json recording = RecordingOf();
  EXPECT_EQ(LaneOf(recording, "input/siren"), "0=2 1=0? 10=1");
  EXPECT_THAT(EventsOf(recording), testing::Contains("0 input: siren off -"));
}

TEST_F(ReportTest, WhatAGapFollowsIsNotKnownBehindIt) {
  Record("r", {Hdr1(100, std::string(kTime) + kSirenOn), B("00 00"), Hdr2(105, kSirenOff),
               B("00 00"), Hdr1(110, "56")});
  EXPECT_EQ(LaneOf(RecordingOf(), "input/siren"), "0=2 1=0?");
}

TEST_F(ReportTest, ALostEndHasNoLength) {
  Record("r", {Hdr1(100, std::string(kTime) + kSirenOn), B("80 10 00")});
  const json recording = RecordingOf();
  ASSERT_THAT(recording["gaps"], SizeIs(1));
  EXPECT_EQ(recording["gaps"][0]["to"], json());
  EXPECT_EQ(recording["totals"]["lost_unknown"], 1);
  EXPECT_EQ(recording["totals"]["lost_halves"], 0);
}

TEST_F(ReportTest, AWrongPacketIsMarkedAndHoldsForNothing) {
  Record("r",
         {Hdr1(100, std::string(kTime) + kSirenOn + kIowa + "71 0A"),
          WithWrongCrc(Hdr1(105, std::string(kSirenOff) + kMelbourne + "71 63")), Hdr1(110, "56")});
  const json recording = RecordingOf();
  EXPECT_EQ(LaneOf(recording, "input/siren"), "0=2 1=0? 5=1!");
  EXPECT_EQ(SeriesOf(recording, "speed/1"), "0=10 1=0? 5=99!");
  EXPECT_EQ(recording["track"]["x"], json({0, 5}));
  EXPECT_EQ(recording["track"]["flags"], json({1, 1 | 4}));
  EXPECT_EQ(recording["totals"]["wrong_crc"], 3);
  EXPECT_THAT(EventsOf(recording),
              testing::IsSupersetOf({"5 input: siren off ! ~", "5 speed: GPS speed 99 ! ~"}));
  EXPECT_THAT(FindingsOf(recording), testing::Contains(testing::StartsWith("crc: gap: ")));
}

TEST_F(ReportTest, WrongPacketsAreCountedAndSoAreTheirRecords) {
  Record("r", {Hdr1(100, kTime), WithWrongCrc(Hdr1(105, "56 56 56")), Hdr1(110, "56"),
               WithWrongCrc(Hdr1(115, "34 35")), Hdr1(120, "56")});
  const Finished made = Report();
  const json totals = DataOf(made.out)["recordings"][0]["totals"];
  EXPECT_EQ(totals["wrong_crc"], 5);
  EXPECT_EQ(totals["wrong_crc_packets"], 2);
  EXPECT_THAT(made.out, HasSubstr("5 records in 2 packets with a wrong CRC"));
}

TEST_F(ReportTest, WhoComesBackIsToldAgain) {
  Record("r", {Hdr1(100, kTime + Officer("A")), Hdr1(110, Officer("B")), Hdr1(120, Officer("B")),
               Hdr1(130, Officer("A"))});
  EXPECT_EQ(FactOf(RecordingOf(), "officer"), "A, B, A");
  EXPECT_EQ(CaseOf({"r"})["title"], "r, 2023-11-14, officer A and B");
}

TEST_F(ReportTest, OfManyChangesTheFirstOnesAndTheLastAreTold) {
  std::vector<Bytes> packets = {Hdr1(100, kTime)};
  for (unsigned int i = 0; i < 10; ++i)
    packets.push_back(Hdr1(110 + i, Officer(std::string(1, static_cast<char>('A' + i)))));
  Record("r", packets);
  const Finished made = Report();
  const json recording = DataOf(made.out)["recordings"][0];
  EXPECT_EQ(FactOf(recording, "officer"), "A, B, C, D, E, F, G, J");
  EXPECT_EQ(recording["facts"][0]["left_out"], 2);
  EXPECT_THAT(made.out, HasSubstr("G, then 2 more changes, last J"));
}

TEST_F(ReportTest, AZoneThatNobodyKnowsHereIsRecordedAllTheSame) {
  Record("r", {Hdr1(100, kTime + Zone("Mars/\x01Olympus"))});
  const json data = CaseOf({"r"});
  EXPECT_EQ(data["zone"]["unknown"], tool::EscapedText("Mars/\x01Olympus"));
  EXPECT_EQ(data["recordings"][0]["zone"], tool::EscapedText("Mars/\x01Olympus"));
  EXPECT_THAT(
      FindingsOf(data["recordings"][0]),
      ElementsAre("note: the recorded time zone \"" + tool::EscapedText("Mars/\x01Olympus") +
                  "\" is not known on this machine; times are UTC"));
}

TEST_F(ReportTest, AZoneThatWasToldInFrontOfAGapIsTheRecordings) {
  Record("r", {Hdr1(100, kTime + Zone("America/Chicago")), B("00 00"), Hdr1(110, "56"),
               Hdr1(130, "56")});
  const json data = CaseOf({"r", "--from", "120"});
  EXPECT_EQ(data["zone"]["name"], "America/Chicago");
  EXPECT_EQ(data["recordings"][0]["zone"], "America/Chicago");
  EXPECT_EQ(FactOf(data["recordings"][0], "time_zone"), "");
}

TEST_F(ReportTest, AWrongPacketsTickIsBelievedOnlyBetweenThoseAroundIt) {
  Record("r", {Hdr1(100, std::string(kTime) + kSirenOn), WithWrongCrc(Hdr1(90105, kSirenOff)),
               Hdr1(110, "56")});
  const json recording = RecordingOf();
  EXPECT_THAT(EventsOf(recording), testing::Contains("0 input: siren off ! - ~"));
  EXPECT_EQ(recording["stretches"].back()["to"], 10);
}

TEST_F(ReportTest, WhatIsReportedLateIsWhereItHappened) {
  Record("r", {Hdr1(100, std::string(kTime) + kSirenOff), Hdr1(110, "56"),
               Hdr1(120, std::string("21 0C ") + kSirenOn)});
  const json recording = RecordingOf();
  EXPECT_EQ(LaneOf(recording, "input/siren"), "0=1 8=2");
  EXPECT_THAT(EventsOf(recording),
              testing::Contains("8 input: siren on (reported 12 ticks later)"));
}

TEST_F(ReportTest, OfTwoUnitsASpeedHasTwoLines) {
  // Device 1, a GPS, in miles an hour (2) and then in kilometres an hour (1).
  Record("r",
         {Hdr1(100, std::string(kTime) + "70 01 41 00 71 1B"), Hdr1(110, "70 01 21 00 71 2B")});
  const json recording = RecordingOf();
  ASSERT_THAT(recording["series"], SizeIs(2));
  std::map<std::string, std::string> lines;
  for (const json& series : recording["series"]) lines[series["unit"]] = LineText(series, "value");
  EXPECT_EQ(lines["mph"], "0=27 10=0?");
  EXPECT_EQ(lines["km/h"], "10=43");
}

TEST_F(ReportTest, AUnitThatIsNotToldIsTheOnlyOneThatIsAndThatIsSaid) {
  Record("r", {Hdr1(100, std::string(kTime) + "71 1B"), Hdr1(110, "70 01 41 00")});
  const json recording = RecordingOf();
  EXPECT_EQ(WithId(recording["series"], "speed/1")["unit"], "mph");
  EXPECT_THAT(FindingsOf(recording),
              testing::Contains("note: where the unit of GPS speed is not told it is shown as mph, "
                                "the only one that the recording tells"));
  Record("r", {Hdr1(100, std::string(kTime) + "71 1B")});
  EXPECT_EQ(WithId(RecordingOf()["series"], "speed/1")["unit"], "");
}

// Device 2, the radar, shows BLANK, and then is lost sight of.
TEST_F(ReportTest, WhatARadarShowsInPlaceOfASpeedIsAWordAndNoValue) {
  Record("r", {Hdr1(100, std::string(kTime) + "72 1B"), Hdr1(110, "79 FE 00"),
               Hdr1(120, "79 FE 00"), Hdr1(130, "72 1C"), Hdr1(140, "79 FD 00"),
               WithWrongCrc(Hdr1(150, "56")), Hdr1(160, "79 FF 00")});
  const json recording = RecordingOf();
  EXPECT_EQ(SeriesOf(recording, "speed/2"), "0=27 10=254?w 30=28 40=253?w 41=0? 60=255?w");
  EXPECT_EQ(WithId(recording["series"], "speed/2")["words"],
            json::parse(R"([{"number":253,"text":"error"},{"number":254,"text":"blank"},
                            {"number":255,"text":"bad reading"}])"));
}

TEST_F(ReportTest, AWordIsOfTheSpeedInWhateverUnits) {
  // Device 2 in miles an hour (2), then in kilometres an hour (1).
  Record("r", {Hdr1(100, std::string(kTime) + "70 02 42 00 72 1B"), Hdr1(110, "79 FE 00"),
               Hdr1(120, "70 02 22 00 72 2B")});
  std::map<std::string, std::string> lines;
  const json recording = RecordingOf();
  for (const json& series : recording["series"]) lines[series["unit"]] = LineText(series, "value");
  EXPECT_EQ(lines["mph"], "0=27 10=254?w 20=0?");
  EXPECT_EQ(lines["km/h"], "10=254?w 20=43");
}

TEST_F(ReportTest, AReadingThatIsNeverANumberIsWordsAndKeepsItsSeries) {
  Record("r", {Hdr1(100, std::string(kTime) + "79 FE 00"), Hdr1(110, "79 FF 00")});
  const json recording = RecordingOf();
  EXPECT_EQ(SeriesOf(recording, "speed/2"), "0=254?w 10=255?w");
  EXPECT_EQ(WithId(recording["series"], "speed/2")["words"][0]["text"], "blank");
}

TEST_F(ReportTest, OfARadarWhoseUnitIsNotToldThereIsOneNote) {
  Record("r", {Hdr1(100, std::string(kTime) + "61 00 3D 40 3E"), Hdr1(110, "60 01 41 02 47 31")});
  const json recording = RecordingOf();
  EXPECT_THAT(recording["series"], SizeIs(3));
  std::vector<std::string> notes;
  for (const std::string& finding : FindingsOf(recording))
    if (finding.find("is not told it is shown") != std::string::npos) notes.push_back(finding);
  EXPECT_THAT(notes, ElementsAre(testing::StartsWith(
                         "note: where the unit of radar 1 is not told it is shown as ")));
}

TEST_F(ReportTest, ATemperatureMayBeBelowZero) {
  Record("r", {Hdr1(100, std::string(kTime) + "E1 F6"), Hdr1(110, "E1 05")});
  EXPECT_EQ(SeriesOf(RecordingOf(), "temperature/0"), "0=-10 10=5");
}

// ---- The way ---------------------------------------------------------------------

TEST_F(ReportTest, SouthAndWestAreNegative) {
  Record("r", {Hdr1(100, std::string(kTime) + kMelbourne + "70 01 41 00 71 0A")});
  json track = RecordingOf()["track"];
  EXPECT_EQ(track["latitude"], json({-(37 * 60 + 50) * 10000}));
  EXPECT_EQ(track["longitude"], json({145 * 600000}));
  EXPECT_EQ(track["speed"], json({4470}));
  Record("r", {Hdr1(100, std::string(kTime) + kIowa), Hdr1(102, "92 64 9C")});
  track = RecordingOf()["track"];
  // A way is so much north and west.
  EXPECT_EQ(track["latitude"], json({(41 * 60 + 30) * 10000, (41 * 60 + 30) * 10000 + 100}));
  EXPECT_EQ(track["longitude"], json({-93 * 600000, -93 * 600000 + 100}));
  EXPECT_EQ(track["speed"], json({-1, -1}));
}

TEST_F(ReportTest, AGapBeginsAnotherPieceOfTheWay) {
  Record("r", {Hdr1(100, std::string(kTime) + kIowa), Hdr1(102, "92 10 10"), B("00 00"),
               Hdr1(110, kIowa), Hdr1(112, "92 10 10")});
  const json track = RecordingOf()["track"];
  EXPECT_EQ(track["x"], json({0, 2, 10, 12}));
  EXPECT_EQ(track["flags"], json({1, 0, 1, 0}));
}

TEST_F(ReportTest, ASpeedWhoseUnitNobodyTellsIsNoneOfTheWay) {
  Record("r", {Hdr1(100, std::string(kTime) + kMelbourne + "71 0A")});
  EXPECT_EQ(RecordingOf()["track"]["speed"], json({-1}));
  // Told later on, in kilometres an hour (1): the only one, which is said.
  Record("r", {Hdr1(100, std::string(kTime) + kMelbourne + "71 0A"), Hdr1(110, "70 01 21 00")});
  EXPECT_EQ(RecordingOf()["track"]["speed"], json({2778}));
  // Of two nobody knows which it was.
  Record("r", {Hdr1(100, std::string(kTime) + kMelbourne + "71 0A"), Hdr1(110, "70 01 21 00"),
               Hdr1(120, "70 01 41 00")});
  EXPECT_EQ(RecordingOf()["track"]["speed"], json({-1}));
}

TEST_F(ReportTest, WaysFromNowhereAreSaidWhenTheyTakeLong) {
  const auto record = [this](unsigned int end) {
    Record("r", {Hdr1(100, std::string(kTime) + kIowa), B("00 00"), Hdr1(110, "92 10 10"),
                 Hdr1(end - 2, "92 10 10"), Hdr1(end, "56")});
  };
  record(230);
  EXPECT_THAT(FindingsOf(RecordingOf()), Not(testing::Contains(HasSubstr("no position"))));
  record(231);
  EXPECT_THAT(FindingsOf(RecordingOf()),
              testing::Contains("position: no position is known from tick 110 to 231, 1 min 0.5 s, "
                                "although the recording goes on: it tells ways, and not from "
                                "where"));
  EXPECT_THAT(FindingsOf(RecordingOf({"r", "--from", "200"})),
              Not(testing::Contains(HasSubstr("no position"))));
}

TEST_F(ReportTest, PlacesThatAreNoneOnEarthAreSaid) {
  // 99 degrees north, and one in a quadrant 7.
  Record("r", {Hdr1(100, std::string(kTime) + "91 01 63 00 00 00 5D 00 00 00"), Hdr1(110, kIowa)});
  EXPECT_THAT(
      FindingsOf(RecordingOf()),
      testing::Contains("position: a position was told that is nowhere on earth; it is left out"));
  Record("r", {Hdr1(100, std::string(kTime) + "91 01 63 00 00 00 5D 00 00 00"),
               Hdr1(105, "91 07 29 00 00 00 5D 00 00 00"), Hdr1(110, kIowa)});
  EXPECT_THAT(FindingsOf(RecordingOf()),
              testing::Contains(
                  "position: 2 positions were told that are nowhere on earth; they are left out"));
  EXPECT_EQ(RecordingOf()["track"]["x"], json::array({10}));
}

TEST_F(ReportTest, UnverifiedPositionsAreMarkedAndSaid) {
  Record("r", {Hdr1(100, Log("Range 100 to 200") + kTime + kMelbourne), Hdr1(102, "92 10 10")});
  const json recording = RecordingOf();
  EXPECT_EQ(recording["track"]["flags"], json({1 | 2, 2}));
  EXPECT_EQ(recording["totals"]["unverified"], 2);
  EXPECT_THAT(FindingsOf(recording),
              testing::Contains(testing::StartsWith("position: positions are unverified")));
}

// ---- The axis --------------------------------------------------------------------

TEST_F(ReportTest, TwoRecordingsLieOnOneAxis) {
  Record("a", {Hdr1(100, std::string(kTime) + kSirenOn), Hdr1(120, kSirenOff)});
  Record("b", {Hdr1(7000, std::string("03 05 F1 53 65 ") + kSirenOn)});  // five seconds later
  const json data = CaseOf({"a", "b"});
  EXPECT_EQ(data["axis_us"], kTime_us);
  ASSERT_THAT(data["recordings"], SizeIs(2));
  EXPECT_THAT(StretchesOf(data["recordings"][0]), ElementsAre("0..20 tick 100 at 0 exact"));
  EXPECT_THAT(StretchesOf(data["recordings"][1]), ElementsAre("10..10 tick 7000 at 5 exact"));
  EXPECT_EQ(LaneOf(data["recordings"][0], "input/siren"), "0=2 20=1");
  EXPECT_EQ(LaneOf(data["recordings"][1], "input/siren"), "10=2");
  EXPECT_EQ(data["title"], "a and b, 2023-11-14");
}

TEST_F(ReportTest, RecordingsOfOneNameAreToldApartByTheirPaths) {
  std::filesystem::create_directory(Path("one"));
  std::filesystem::create_directory(Path("two"));
  Record("one/r", {Hdr1(100, kTime)});
  Record("two/r", {Hdr1(100, kTime)});
  const json data = CaseOf({"one/r", "two/r"});
  EXPECT_EQ(data["recordings"][0]["name"], "one/r");
  EXPECT_EQ(data["recordings"][1]["name"], "two/r");
  EXPECT_EQ(CaseOf({"one/r"})["recordings"][0]["name"], "r");
}

TEST_F(ReportTest, WhereTicksGoOnAndTheClockIsAheadTheUnitWasOff) {
  Record("r",
         {Hdr1(100, std::string(kTime) + kSirenOn), Hdr1(104, kAnHourLater), Hdr1(110, kSirenOff)});
  const json recording = RecordingOf();
  EXPECT_THAT(StretchesOf(recording),
              ElementsAre("0..3 tick 100 at 0 exact", "7204..7210 tick 104 at 3602 exact"));
  EXPECT_EQ(LaneOf(recording, "input/siren"), "0=2 4=0? 7204=2 7210=1");
  ASSERT_THAT(recording["steps"], SizeIs(1));
  EXPECT_EQ(recording["steps"][0]["x"], 7204);
  EXPECT_EQ(recording["steps"][0]["expected_us"], kTime_us + 2000000);
  EXPECT_EQ(recording["steps"][0]["told_us"], kTime_us + 3602000000);
  EXPECT_THAT(recording["steps"][0]["words"].get<std::string>(),
              HasSubstr("the unit was off, or its clock was set, 1 h forward"));
  EXPECT_EQ(recording["totals"]["recorded_halves"], 10);
}

TEST_F(ReportTest, AClockThatWasWrongForAWhileMovesNothingElse) {
  // Right up to tick 199; an hour ahead for ten seconds.
  Record("r", {Hdr1(100, std::string(kTime) + kSirenOn), Hdr1(200, kAnHourLater),
               Hdr1(220, std::string("03 3C F1 53 65 ") + kSirenOff), Hdr1(400, "56")});
  const json recording = RecordingOf();
  EXPECT_THAT(StretchesOf(recording),
              ElementsAre("0..99 tick 100 at 0 exact", "100..119 tick 200 at 3602 exact displaced",
                          "120..300 tick 220 at 60 exact"));
  EXPECT_EQ(LaneOf(recording, "input/siren"), "0=2 120=1");
}

TEST_F(ReportTest, OneMomentOfTwoStoresIsOnePlaceOnTheirAxis) {
  // One has two drives, the other only the second.
  Record("both", {Hdr1(100, kTime), Hdr1(104, kAnHourLater), Hdr1(700, "56")});
  Record("one", {Hdr1(60, kAnHourLater), Hdr1(80, "56")});
  const json data = CaseOf({"both", "one"});
  EXPECT_EQ(data["axis_us"], kTime_us);
  EXPECT_THAT(StretchesOf(data["recordings"][0]),
              ElementsAre("0..3 tick 100 at 0 exact", "7204..7800 tick 104 at 3602 exact"));
  EXPECT_THAT(StretchesOf(data["recordings"][1]), ElementsAre("7204..7224 tick 60 at 3602 exact"));
}

TEST_F(ReportTest, TheLongestOfStretchesThatContradictEachOtherSaysWhereTheyLie) {
  // Ten seconds by a clock that is then set back by an hour and two seconds, and goes on.
  Record("r", {Hdr1(100, kAnHourLater), Hdr1(120, kTime), Hdr1(400, kSirenOn)});
  const json data = CaseOf({"r"});
  EXPECT_EQ(data["axis_us"], kTime_us - 10 * 1000000);
  EXPECT_THAT(StretchesOf(data["recordings"][0]),
              ElementsAre("0..19 tick 100 at 3602 exact displaced", "20..300 tick 120 at 0 exact"));
}

TEST_F(ReportTest, ARunLiesWhereItsClockSaysAndKnowsNothingOfTheOneBefore) {
  Record("r", {Hdr1(5000, std::string(kTime) + kSirenOn), Hdr1(5010, "56"), Hdr1(10, kAnHourLater),
               Hdr1(20, kSirenOff)});
  const json recording = RecordingOf();
  EXPECT_THAT(StretchesOf(recording),
              ElementsAre("0..10 tick 5000 at 0 exact", "7204..7214 tick 10 at 3602 exact"));
  EXPECT_EQ(LaneOf(recording, "input/siren"), "0=2 11=0? 7214=1");
  ASSERT_THAT(recording["new_runs"], SizeIs(1));
  EXPECT_EQ(recording["new_runs"][0], json({{"x", 7204}, {"run", 1}, {"tick", 10}}));
  EXPECT_EQ(recording["totals"]["runs"], 2);
  EXPECT_EQ(recording["totals"]["recorded_halves"], 20);
  EXPECT_THAT(FindingsOf(recording),
              testing::Contains(testing::StartsWith("clock: ticks begin anew at 10")));
}

TEST_F(ReportTest, ARunThatSeemsToBeginTooEarlyIsRightBehindTheOneBefore) {
  Record("r", {Hdr1(5000, kAnHourLater), Hdr1(5010, "56"), Hdr1(10, kTime), Hdr1(20, kSirenOff)});
  const json recording = RecordingOf();
  EXPECT_THAT(StretchesOf(recording),
              ElementsAre("0..10 tick 5000 at 3602 exact", "12..22 tick 10 at 0 exact displaced"));
}

TEST_F(ReportTest, ARunWithoutATimeIsBesideOneThatHasOne) {
  Record("r", {Hdr1(5000, kSirenOn), Hdr1(5010, "56"), Hdr1(10, kTime), Hdr1(20, kSirenOff)});
  const json data = CaseOf({"r"});
  EXPECT_EQ(data["axis_us"], kTime_us - 6 * 1000000);
  EXPECT_THAT(StretchesOf(data["recordings"][0]),
              ElementsAre("0..10 tick 5000", "12..22 tick 10 at 0 exact"));
}

TEST_F(ReportTest, ARecordingWithoutATimeIsToldByTicks) {
  Record("r", {Hdr1(100, kSirenOn), Hdr1(110, kSirenOff)});
  const json data = CaseOf({"r"});
  EXPECT_EQ(data["has_time"], false);
  EXPECT_EQ(data["axis_us"], 0);
  const json& recording = data["recordings"][0];
  EXPECT_THAT(StretchesOf(recording), ElementsAre("0..10 tick 100"));
  EXPECT_EQ(recording["stretches"][0]["quality"], "unknown");
  EXPECT_EQ(LaneOf(recording, "input/siren"), "0=2 10=1");
  EXPECT_THAT(FindingsOf(recording), testing::Contains("note: nothing tells the time of day"));
}

TEST_F(ReportTest, AClockThatNobodyHasSetIsNoTimeOnTheAxis) {
  Record("r", {Hdr1(100, std::string("03 10 00 00 00 ") + kSirenOn)});  // 1970
  EXPECT_EQ(CaseOf({"r"})["has_time"], false);
}

TEST_F(ReportTest, TimesInFrontOfTheFirstOneToldAreEstimates) {
  Record("r", {Hdr1(96, kSirenOn), Hdr1(100, kTime)});
  const json recording = RecordingOf();
  EXPECT_THAT(StretchesOf(recording),
              ElementsAre("0..3 tick 96 at -2 estimated", "4..4 tick 100 at 0 exact"));
  EXPECT_THAT(EventsOf(recording), ElementsAre("0 input: siren on ~"));
}

// ---- Ranges ----------------------------------------------------------------------

TEST_F(ReportTest, ARangeBeginsWithWhatIsInForceThere) {
  Record("r", {Hdr1(100, kTime + Officer("A") + kSirenOn + "71 0A " + kIowa),
               Hdr1(110, Officer("B")), Hdr1(130, "56 71 14"), Hdr1(150, kSirenOff)});
  const json data = CaseOf({"r", "--from", "120", "--to", "140"});
  EXPECT_EQ(data["range"], json({{"from", "120"}, {"to", "140"}}));
  EXPECT_EQ(data["axis_us"], kTime_us + 10 * 1000000);
  const json& recording = data["recordings"][0];
  EXPECT_THAT(StretchesOf(recording), ElementsAre("0..20 tick 120 at 10 exact"));
  EXPECT_EQ(LaneOf(recording, "input/siren"), "0=2");
  EXPECT_EQ(SeriesOf(recording, "speed/1"), "0=10 10=20");
  EXPECT_EQ(recording["track"]["x"], json::array({0}));
  EXPECT_EQ(recording["track"]["flags"], json::array({1}));
  EXPECT_THAT(EventsOf(recording), ElementsAre("10 bookmark: bookmark"));
  EXPECT_EQ(FactOf(recording, "officer"), "B");
  EXPECT_EQ(recording["totals"]["records"], 2);
}

TEST_F(ReportTest, ARangeOfTimesIsTheSame) {
  Record("r", {Hdr1(100, std::string(kTime) + kSirenOn), Hdr1(150, kSirenOff)});
  const json recording =
      RecordingOf({"r", "--from", "2023-11-14T22:13:30Z", "--to", "2023-11-14T22:13:40Z"});
  EXPECT_THAT(StretchesOf(recording), ElementsAre("0..20 tick 120 at 10 exact"));
  EXPECT_EQ(LaneOf(recording, "input/siren"), "0=2");
}

TEST_F(ReportTest, ARangeBehindAGapKnowsNothingOfWhatWasInFrontOfIt) {
  Record("r", {Hdr1(100, kTime + Officer("A") + kSirenOn + kIowa), B("00 00"), Hdr1(110, "56"),
               Hdr1(130, "56")});
  const json recording = RecordingOf({"r", "--from", "120"});
  EXPECT_EQ(LaneOf(recording, "input/siren"), "0=0?");
  EXPECT_EQ(FactOf(recording, "officer"), "");
  EXPECT_EQ(recording["track"]["x"], json::array());
  EXPECT_THAT(recording["gaps"], IsEmpty());
}

TEST_F(ReportTest, APartThatIsNotRecordedTellsNobodysName) {
  const std::string told = kTime + Officer("A") + kSirenOn + "64 09 00 00 00";
  Record("r", {Hdr1(100, told), B("00 00"), Hdr1(200, Officer("B")), Hdr1(300, "56")});
  const std::string lost = "all that was recorded in the part asked for is lost";
  const std::string none = "nothing of the part asked for is recorded";
  struct Asked {
    const char *from, *to;
    std::string words, capital;
  };
  for (const auto& [from, to, words, capital] :
       {Asked{"120", "150", lost, "All that was recorded in the part asked for is lost."},
        Asked{"5000", "6000", none, "Nothing of the part asked for is recorded."}}) {
    const Finished made = Report({"r", "--from", from, "--to", to});
    EXPECT_EQ(made.exit_code, 3);
    EXPECT_THAT(made.out, HasSubstr("<title>r</title>"));
    EXPECT_THAT(made.out, HasSubstr(capital));
    const json recording = DataOf(made.out)["recordings"][0];
    EXPECT_EQ(FactOf(recording, "officer"), "");
    EXPECT_EQ(recording["facts"][0]["untold"], "unknown");
    EXPECT_THAT(recording["policies"], IsEmpty());
    EXPECT_EQ(recording["no_policy"], words);
    EXPECT_EQ(recording["nothing"], words);
    EXPECT_THAT(FindingsOf(recording), testing::Contains("note: " + words));
    EXPECT_EQ(recording["part"].is_null(), words == none);
    for (const json& finding : recording["findings"])
      EXPECT_EQ(finding["x"].is_null(), finding["severity"] != "gap") << finding;
  }
  EXPECT_EQ(FactOf(RecordingOf({"r", "--to", "150"}), "officer"), "A");
  EXPECT_EQ(FactOf(RecordingOf({"r", "--from", "150"}), "officer"), "B");
}

TEST_F(ReportTest, WhyNothingIsKnownIsSaid) {
  Record("r", {Hdr1(100, kTime + Officer("A") + kSirenOn), B("00 00"), Hdr1(110, "56"),
               Hdr1(130, TextItem("07", "Car 7"))});
  const auto untold = [](const json& recording, const std::string& name) {
    for (const json& fact : recording["facts"])
      if (fact["name"] == name) return fact["untold"].get<std::string>();
    return std::string("no such fact");
  };
  const json behind = RecordingOf({"r", "--from", "112", "--to", "120"});
  EXPECT_EQ(untold(behind, "officer"), "unknown behind the gap");
  EXPECT_EQ(untold(behind, "badge"), "not recorded");
  EXPECT_EQ(behind["no_policy"], "none told behind the last gap");
  EXPECT_EQ(RecordingOf({"r", "--to", "100"})["no_policy"],
            "none told up to the end of the part asked for");
  EXPECT_EQ(RecordingOf()["no_policy"], "none told behind the last gap");
  EXPECT_EQ(untold(RecordingOf(), "officer"), "");
}

TEST_F(ReportTest, AGapInFrontOfThePartIsSaidWhereItLeavesSomethingUnknown) {
  Record("r", {Hdr1(100, kTime + Officer("A")), B("00 00"), Hdr1(110, "56"),
               Hdr1(130, Officer("A")), Hdr1(150, "56")});
  const Finished made = Report({"r", "--from", "112", "--to", "120"});
  EXPECT_EQ(made.exit_code, 3);
  EXPECT_THAT(made.err, HasSubstr("something that was known got lost in a gap"));
  EXPECT_THAT(FindingsOf(DataOf(made.out)["recordings"][0]),
              testing::Contains(testing::StartsWith(
                  "gap: in front of the part asked for there is a gap: damage")));
  const Finished told_again = Report({"r", "--from", "140"});
  EXPECT_EQ(told_again.exit_code, 0);
  EXPECT_THAT(FindingsOf(DataOf(told_again.out)["recordings"][0]),
              Not(testing::Contains(HasSubstr("in front of"))));
}

// Recorded from 100 to 110 and from 200 to 300.
TEST_F(ReportTest, OfAGapNoMoreCountsThanLiesInThePartAskedFor) {
  Record("r", {Hdr1(100, kTime), Hdr1(110, "56"), B("00 00"), Hdr1(200, "56"), Hdr1(300, "56")});
  struct Asked {
    const char *from, *to;
    int recorded, lost, gap_from, gap_to, part_to;
    const char* words;
  };
  for (const Asked& asked : {Asked{"120", "150", 0, 30, 0, 30, 30, "15 s"},
                             Asked{"104", "150", 6, 40, 6, 46, 46, "20 s"},
                             Asked{"150", "220", 20, 50, 0, 50, 70, "25 s"}}) {
    SCOPED_TRACE(asked.from);
    const Finished made = Report({"r", "--from", asked.from, "--to", asked.to});
    EXPECT_EQ(made.exit_code, 3);
    const json recording = DataOf(made.out)["recordings"][0];
    EXPECT_EQ(recording["totals"]["recorded_halves"], asked.recorded);
    EXPECT_EQ(recording["totals"]["lost_halves"], asked.lost);
    EXPECT_EQ(recording["part"], json({{"from", 0}, {"to", asked.part_to}}));
    ASSERT_THAT(recording["gaps"], SizeIs(1));
    EXPECT_EQ(recording["gaps"][0]["from"], asked.gap_from);
    EXPECT_EQ(recording["gaps"][0]["to"], asked.gap_to);
    EXPECT_THAT(FindingsOf(recording),
                testing::Contains(testing::AllOf(
                    testing::StartsWith("gap: gap: damage"), HasSubstr("tick 110 to 200"),
                    EndsWith(std::string("it reaches beyond the part asked for, of which ") +
                             asked.words + " are lost"))));
  }
  const json whole = RecordingOf({"r", "--from", "104", "--to", "220"});
  EXPECT_EQ(whole["totals"]["lost_halves"], 90);
  EXPECT_THAT(whole["gaps"][0]["words"].get<std::string>(), Not(HasSubstr("reaches beyond")));
  // The same in times.
  const json timed =
      RecordingOf({"r", "--from", "2023-11-14T22:13:45Z", "--to", "2023-11-14T22:14:20Z"});
  EXPECT_EQ(timed["totals"]["lost_halves"], 50);
  EXPECT_EQ(timed["stretches"][0]["x"], 50);
}

TEST_F(ReportTest, ARangeOfTicksIsInEachRun) {
  Record("r", {Hdr1(5000, std::string(kTime) + kSirenOn), Hdr1(5010, "56"), Hdr1(10, kAnHourLater),
               Hdr1(5005, "56")});
  const json recording = RecordingOf({"r", "--from", "5004", "--to", "5006"});
  EXPECT_THAT(StretchesOf(recording),
              ElementsAre("0..2 tick 5004 at 2 exact", "12194..12195 tick 5004 at 6099 exact"));
  EXPECT_EQ(LaneOf(recording, "input/siren"), "0=2 3=0? 12194=0?");
}

TEST_F(ReportTest, ARangeOutsideOfTheRecordingIsSaidToBe) {
  Record("r", {Hdr1(100, kTime)});
  const Finished made = Report({"r", "--from", "5000"});
  EXPECT_EQ(made.exit_code, 3);
  const json recording = DataOf(made.out)["recordings"][0];
  EXPECT_THAT(recording["stretches"], IsEmpty());
  EXPECT_THAT(FindingsOf(recording),
              testing::Contains("note: nothing of the part asked for is recorded"));
}

// ---- Against the other readers ---------------------------------------------------

// What the lines of an export say of inputs and of the GPS speed at a tick.
class Exported {
 public:
  explicit Exported(const std::string& lines) {
    for (const std::string& line : LinesOf(lines)) records_.push_back(json::parse(line));
  }
  // "on", "off" or "unknown"
  std::string InputAt(const std::string& input, unsigned int tick) const {
    std::string value = "unknown";
    ForEachUpTo(tick, [&](const json& record) {
      if (record["kind"] == "gap") value = "unknown";
      if (record["kind"] == "input" && record["input"] == input)
        value = record["on"] == true ? "on" : "off";
    });
    return value;
  }
  std::optional<std::int64_t> SpeedAt(unsigned int tick) const {
    std::optional<std::int64_t> value;
    ForEachUpTo(tick, [&](const json& record) {
      if (record["kind"] == "gap") value.reset();
      if (record["kind"] == "speed" && record["device"] == 1) value = record["speed"];
    });
    return value;
  }

 private:
  template <typename Take>
  void ForEachUpTo(unsigned int tick, const Take& take) const {
    for (const json& record : records_) {
      const bool is_gap = record["kind"] == "gap";
      const json& at = is_gap ? record["from_tick"] : record["tick"];
      if (!is_gap && at > tick) return;
      if (is_gap && at >= tick) return;
      take(record);
    }
  }
  std::vector<json> records_;
};

// The index of the point that counts at x; nothing in front of the first.
std::optional<std::size_t> PointAt(const json& line, std::int64_t x) {
  std::optional<std::size_t> point;
  for (std::size_t i = 0; i < line["x"].size() && line["x"][i] <= x; ++i)
    if ((line["flags"][i].get<int>() & kWrongCrc) == 0) point = i;
  return point;
}

TEST_F(ReportTest, LinesSayWhatAnExportSaysAtAnyMoment) {
  std::string lines;
  std::mt19937 random(5);
  const auto pick = [&random](unsigned int below) {
    return static_cast<unsigned int>(random() % below);
  };
  const char* const inputs[] = {"siren", "emergency lights", "brake"};
  for (int second = 0; second < 1800; ++second) {
    const std::string time =
        "\"time\":\"2024-05-01T10:" + std::string(second / 60 < 10 ? "0" : "") +
        std::to_string(second / 60) + ":" + (second % 60 < 10 ? "0" : "") +
        std::to_string(second % 60) + "Z\"";
    lines += R"({"class":"TPV","mode":3,)" + time + R"(,"lat":41.5,"lon":-93.5,"speed":)" +
             std::to_string(pick(40)) + "}\n";
    if (pick(4) == 0)
      lines += std::string(R"({"event":"input","name":")") + inputs[pick(3)] + R"(","on":)" +
               (pick(2) == 0 ? "true," : "false,") + time + "}\n";
  }
  Replay(lines);
  Damage(1, 1);
  Damage(2, 1);
  const Exported exported(Run({"export", "s"}).out);
  const json recording = RecordingOf({"s"});
  ASSERT_THAT(recording["gaps"], SizeIs(1)) << "one cluster is lost";
  const std::int64_t first_tick = recording["stretches"][0]["tick"];
  int known = 0, unknown = 0;
  for (int moment = 0; moment < 300; ++moment) {
    const unsigned int tick = 2 + pick(3590);
    SCOPED_TRACE(tick);
    const std::int64_t x = tick - first_tick;
    for (const char* const input : inputs) {
      const json lane = WithId(recording["lanes"], std::string("input/") + input);
      const auto point = PointAt(lane, x);
      ASSERT_TRUE(point);
      const std::string word = lane["words"][lane["word"][*point].get<std::size_t>()];
      ASSERT_EQ(word, exported.InputAt(input, tick)) << input;
      ++(word == "unknown" ? unknown : known);
    }
    const json speed = WithId(recording["series"], "speed/1");
    const auto point = PointAt(speed, x);
    const bool is_known = point && (speed["flags"][*point].get<int>() & kUnknown) == 0;
    const std::optional<std::int64_t> expected = exported.SpeedAt(tick);
    ASSERT_EQ(is_known, expected.has_value());
    if (is_known) {
      ASSERT_EQ(speed["value"][*point], *expected);
    }
  }
  EXPECT_GT(known, 100);
  EXPECT_GT(unknown, 10);
}

TEST_F(ReportTest, TheWayIsThatOfTheExportedMap) {
  WriteFile(Path("drive"), ReadFile(VMR_SOURCE_DIR "/examples/drive_long_iowa.gpsd.json"));
  ASSERT_EQ(Run({"record", "s", "--replay", "--no-sync", "--input", "drive"}).exit_code, 0);
  const json map = json::parse(Run({"export", "s", "--format", "geojson"}).out);
  const json track = RecordingOf({"s"})["track"];
  std::size_t point = 0;
  for (const json& feature : map["features"]) {
    if (feature["properties"]["kind"] != "track") continue;
    for (const json& place : feature["geometry"]["coordinates"]) {
      ASSERT_LT(point, track["x"].size());
      ASSERT_NEAR(place[0].get<double>(), track["longitude"][point].get<double>() / 600000, 1e-7);
      ASSERT_NEAR(place[1].get<double>(), track["latitude"][point].get<double>() / 600000, 1e-7);
      ++point;
    }
  }
  EXPECT_EQ(point, track["x"].size());
  EXPECT_GT(point, 1000U);
}

// ---- Stores ----------------------------------------------------------------------

TEST_F(ReportTest, AStoreHasTwoSourcesAndOneOfThemWillDo) {
  MakeRingOfBookmarks(3);
  json recording = RecordingOf({"s"});
  EXPECT_EQ(recording["kind"], "store");
  ASSERT_THAT(recording["sources"], SizeIs(2));
  EXPECT_EQ(recording["sources"][0]["sha256"], recording["sources"][1]["sha256"]);
  EXPECT_EQ(recording["events"]["x"].size(), 6U);
  std::filesystem::remove(Path("s_2.mtd"));
  const Finished made = Report({"s_1.mtd"});
  EXPECT_EQ(made.exit_code, 3) << "the newest packet may be in the other file";
  recording = DataOf(made.out)["recordings"][0];
  EXPECT_THAT(FindingsOf(recording),
              testing::Contains("gap: s_2.mtd: No such file or directory; the newest packets may "
                                "stand in this file alone"));
  EXPECT_EQ(recording["sources"][1]["sha256"], json());
  EXPECT_EQ(recording["sources"][1]["problem"], "No such file or directory");
  EXPECT_EQ(recording["events"]["x"].size(), 6U);
}

TEST_F(ReportTest, ADamagedSourceIsNotCalledSound) {
  MakeRingOfBookmarks(4);
  Damage(1, 1);
  const Finished made = Report({"s"});
  EXPECT_EQ(made.exit_code, 0) << "the other file has it";
  const json recording = DataOf(made.out)["recordings"][0];
  EXPECT_EQ(recording["sources"][0]["damage"], "1 cluster bad");
  EXPECT_EQ(recording["sources"][1]["damage"], "");
  EXPECT_THAT(FindingsOf(recording), testing::Contains("note: s_1.mtd: 1 cluster bad"));
  Record("r", {Hdr1(100, kTime), B("00 00"), Hdr1(110, "56")});
  EXPECT_EQ(RecordingOf({"r"})["sources"][0]["damage"], "1 damaged place");
  EXPECT_EQ(RecordingOf({"r", "--from", "110"})["sources"][0]["damage"], "1 damaged place");
  Record("r", {Hdr1(100, kTime), Hdr1(110, "56")});
  EXPECT_EQ(RecordingOf({"r"})["sources"][0]["damage"], "");
}

TEST_F(ReportTest, TwoSoundCopiesThatDifferAreAFindingAndNeitherIsOlder) {
  MakeRingOfBookmarks(5);
  Put(2, 1, ClusterOf(110, FullPacket(110, B("34")) + FullPacket(160, B("35"))));
  const std::string words = "the files hold different packets, and nothing tells which are right";
  EXPECT_THAT(Run({"check", "s"}).out, HasSubstr(words));
  const Finished made = Report({"s"});
  EXPECT_EQ(made.exit_code, 3);
  const json recording = DataOf(made.out)["recordings"][0];
  EXPECT_THAT(FindingsOf(recording),
              testing::Contains("gap: 1 cluster: " + words + "; those of one file are shown"));
  for (const json& source : recording["sources"])
    EXPECT_EQ(source["damage"], "1 cluster of which " + words);
  const Finished info = Run({"info", "s"});
  EXPECT_EQ(info.exit_code, 3);
  EXPECT_THAT(info.out, HasSubstr(words));
  EXPECT_THAT(made.out + info.out, Not(HasSubstr("older or shorter")));
  // A copy that is a beginning of the other contradicts nothing, nor does one of an earlier time.
  Put(2, 1, ClusterOf(110, FullPacket(110, B("56"))));
  Put(2, 2, ClusterOf(10, FullPacket(10, B("34")) + FullPacket(60, B("35"))));
  const Finished lags = Report({"s"});
  EXPECT_EQ(lags.exit_code, 0);
  EXPECT_EQ(DataOf(lags.out)["recordings"][0]["sources"][1]["damage"],
            "2 clusters older or shorter than in the other file");
}

TEST_F(ReportTest, ALostClusterIsAGapOfKnownLength) {
  MakeRingOfBookmarks(4);
  Damage(1, 1);
  Damage(2, 1);
  const Finished made = Report({"s"});
  EXPECT_EQ(made.exit_code, 3);
  const json recording = DataOf(made.out)["recordings"][0];
  ASSERT_THAT(recording["gaps"], SizeIs(1));
  EXPECT_EQ(recording["gaps"][0]["clusters"], 1);
  EXPECT_EQ(recording["gaps"][0]["reason"], "lost clusters");
  EXPECT_EQ(recording["totals"]["lost_halves"], 210 - 60);
  EXPECT_EQ(recording["totals"]["recorded_halves"], 50 + 150);
}

TEST_F(ReportTest, AnEmptyRecordingIsAReportOfNothing) {
  MakeRing(0, TwoBookmarks);
  Record("r", std::vector<Bytes>());
  for (const char* const name : {"s", "r"}) {
    const Finished made = Report({name});
    EXPECT_EQ(made.exit_code, 0) << made.err;
    const json data = DataOf(made.out);
    EXPECT_EQ(data["has_time"], false);
    const json& recording = data["recordings"][0];
    EXPECT_THAT(recording["stretches"], IsEmpty());
    EXPECT_EQ(LaneOf(recording, "input/siren"), "0=0?");
    EXPECT_THAT(FindingsOf(recording),
                testing::Contains("note: nothing is recorded, or nothing tells when"));
  }
}

TEST_F(ReportTest, TwoRecordingsInOneStoreAreRefused) {
  MakeRing(3, [](int cluster) {
    const auto tick = static_cast<std::uint32_t>(5000 + 100 * cluster);
    return ClusterOf(tick, FullPacket(tick, B("34")) + FullPacket(tick + 70, B("35")));
  });
  std::filesystem::rename(Path("s_2.mtd"), Path("kept_2.mtd"));
  MakeRingOfBookmarks(3);
  std::filesystem::rename(Path("kept_2.mtd"), Path("s_2.mtd"));
  const Finished refused = Report({"s", "-o", "case.html"});
  EXPECT_EQ(refused.exit_code, 1);
  EXPECT_THAT(refused.err, HasSubstr("vmr: s: its files are of two recordings; move s_1.mtd"));
  EXPECT_FALSE(std::filesystem::exists(Path("case.html")));
}

TEST_F(ReportTest, WhatCannotBeReadIsSaidAndTheOthersAreReported) {
  Record("a", {Hdr1(100, kTime)});
  const Finished made = Report({"nothing", "a", "-o", "case.html"});
  EXPECT_EQ(made.exit_code, 1);
  EXPECT_THAT(made.err, HasSubstr("vmr: nothing"));
  EXPECT_THAT(DataOf(ReadFile(Path("case.html")))["recordings"], SizeIs(1));
  const Finished nothing = Report({"nothing", "-o", "none.html"});
  EXPECT_EQ(nothing.exit_code, 1);
  EXPECT_FALSE(std::filesystem::exists(Path("none.html")));
}

TEST_F(ReportTest, AFileThatIsThereStaysUnlessItMayBeReplaced) {
  Record("r", {Hdr1(100, kTime)});
  WriteFile(Path("case.html"), "mine");
  EXPECT_EQ(Report({"r", "-o", "case.html"}).exit_code, 1);
  EXPECT_EQ(ReadFile(Path("case.html")), "mine");
  EXPECT_EQ(Report({"r", "-o", "case.html", "--force"}).exit_code, 0);
  EXPECT_THAT(ReadFile(Path("case.html")), HasSubstr("vmr-data"));
}

TEST_F(ReportTest, TheRecordingItselfIsNoPlaceForThePage) {
  Record("r", {Hdr1(100, kTime)});
  EXPECT_EQ(Report({"r", "-o", "r", "--force"}).exit_code, 1);
  EXPECT_EQ(ReadFile(Path("r")).substr(0, 3), "f]S");
}

TEST_F(ReportTest, AFileOfTheStoreIsNoneHoweverItIsSpeltAndIfItIsMissing) {
  Record("r", {Hdr1(100, kTime)});
  std::filesystem::create_directory(Path("d"));
  std::filesystem::create_directory_symlink(Path("d"), Path("link"));
  WriteFile(Path("d/s_1.mtd"), "");
  const std::string missing = Path("d/s_2.mtd");
  for (const std::string& out :
       {std::string("d/s_2.mtd"), std::string("./d/s_2.mtd"), missing, std::string("link/s_2.mtd"),
        std::string("d/../d/s_2.mtd"), std::string("./r")}) {
    const Finished made = Report({"d/s", "r", "-o", out, "--force"});
    EXPECT_EQ(made.exit_code, 1) << out;
    EXPECT_THAT(made.err, HasSubstr("belongs to the recording")) << out;
  }
  EXPECT_FALSE(std::filesystem::exists(missing));
}

TEST(ExactDuration, LeavesNothingOut) {
  constexpr std::int64_t kHalf_us = 500000, kMinute_us = 120 * kHalf_us,
                         kDay_us = 1440 * kMinute_us;
  EXPECT_EQ(tool::ExactDurationText(0), "0 s");
  EXPECT_EQ(tool::ExactDurationText(kHalf_us), "0.5 s");
  EXPECT_EQ(tool::ExactDurationText(kMinute_us - kHalf_us), "59.5 s");
  EXPECT_EQ(tool::ExactDurationText(kMinute_us), "1 min");
  EXPECT_EQ(tool::ExactDurationText(kMinute_us + kHalf_us), "1 min 0.5 s");
  EXPECT_EQ(tool::ExactDurationText(61 * kMinute_us + 6 * kHalf_us), "1 h 1 min 3 s");
  EXPECT_EQ(tool::ExactDurationText(2 * kDay_us + 125 * kMinute_us + 7 * kHalf_us),
            "2 days 2 h 5 min 3.5 s");
}

TEST_F(ReportTest, ForceWithoutAFileIsRefused) {
  Record("r", {Hdr1(100, kTime)});
  for (const char* const command : {"report", "plot", "view", "info"})
    for (const test::Arguments& where : {test::Arguments{}, test::Arguments{"-o", "-"}}) {
      test::Arguments arguments = {command, "r", "--force"};
      arguments.insert(arguments.end(), where.begin(), where.end());
      const Finished refused = Run(arguments);
      EXPECT_EQ(refused.exit_code, 2) << command;
      EXPECT_EQ(refused.out, "");
      EXPECT_THAT(refused.err, HasSubstr("--force replaces a file: give -o FILE")) << command;
    }
}

TEST_F(ReportTest, AnOutputWithoutANameIsRefused) {
  Record("r", {Hdr1(100, kTime)});
  const Finished made = Report({"r", "-o", ""});
  EXPECT_EQ(made.exit_code, 2);
  EXPECT_THAT(made.err, HasSubstr("-o is empty"));
  EXPECT_EQ(made.out, "");
}

// ---- The browser -----------------------------------------------------------------

class ReportOpened : public ReportTest {
 protected:
  ReportOpened() {
    std::filesystem::create_directory(Path("bin"));
    setenv("PATH", Path("bin").c_str(), 1);
  }
  ~ReportOpened() override { setenv("PATH", before_.c_str(), 1); }
  void MakeXdgOpen(const std::string& script) const {
    WriteFile(Path("bin/xdg-open"), "#!/bin/sh\n" + script + "\n");
    ASSERT_EQ(chmod(Path("bin/xdg-open").c_str(), 0755), 0);
  }

 private:
  const std::string before_ = std::getenv("PATH") == nullptr ? "" : std::getenv("PATH");
};

TEST_F(ReportOpened, TheDesktopIsHandedThePageWhenItIsComplete) {
  Record("r", {Hdr1(100, kTime)});
  MakeXdgOpen("echo \"$# $1\" > '" + Path("opened") + "'; read line < \"$1\"; echo \"$line\" >> '" +
              Path("opened") + "'");
  EXPECT_EQ(Report({"r", "-o", "-case.html", "--open"}).exit_code, 0);
  EXPECT_THAT(LinesOf(ReadFile(Path("opened"))),
              ElementsAre(testing::AllOf(testing::StartsWith("1 /"), EndsWith("/-case.html")),
                          testing::StrCaseEq("<!DOCTYPE html>")));
}

TEST_F(ReportOpened, WithoutADesktopThePageIsThereAllTheSame) {
  Record("r", {Hdr1(100, kTime)});
  const Finished made = Report({"r", "-o", "case.html", "--open"});
  EXPECT_EQ(made.exit_code, 1);
  EXPECT_EQ(made.err,
            "vmr: --open: xdg-open cannot be run (No such file or directory): open case.html in a "
            "browser\n");
  EXPECT_TRUE(std::filesystem::exists(Path("case.html")));
  MakeXdgOpen("exit 3");
  const Finished failed = Report({"r", "-o", "case.html", "--open", "--force"});
  EXPECT_EQ(failed.exit_code, 1);
  EXPECT_THAT(failed.err, HasSubstr("xdg-open found no way to show it"));
}

TEST_F(ReportOpened, OpeningNeedsAFile) {
  Record("r", {Hdr1(100, kTime)});
  EXPECT_EQ(Report({"r", "--open"}).exit_code, 2);
}

}  // namespace
}  // namespace vmr::test
