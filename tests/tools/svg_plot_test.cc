// The picture of a case that is put together here, element by element.
#include "tools/report/svg_plot.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <random>

#include "tests/tools/program.h"
#include "tools/common/time_point.h"
#include "tools/report/case_zone.h"
#include "tools/report/svg_writer.h"

namespace vmr::tool {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

constexpr unsigned char kUnknown = LinePoint::kUnknown, kWrong = LinePoint::kWrongCrc;

// The time axis has 790 px, from 60 to 850: a recording of so many half seconds has one for each.
constexpr AxisX kHalves = 790;
constexpr double kLeft = 60;

CaseStretch Stretch(AxisX first, AxisX last, int run = 0) {
  CaseStretch stretch;
  stretch.first = first;
  stretch.last = last;
  stretch.run = run;
  stretch.tick = static_cast<unsigned int>(1000 + first);
  return stretch;
}

CaseSeries Speed(Line line) {
  CaseSeries series;
  series.id = "speed/1";
  series.family = "speed";
  series.name = "GPS speed";
  series.unit = "mph";
  series.line = std::move(line);
  return series;
}

CaseRecording Recording(const std::string& name, Line speed) {
  CaseRecording recording;
  recording.name = name;
  recording.stretches = {Stretch(0, kHalves - 1)};
  recording.totals.recorded_halves = kHalves;
  recording.series = {Speed(std::move(speed))};
  return recording;
}

CaseFile FileOf(std::vector<CaseRecording> recordings) {
  CaseFile file;
  file.recordings = std::move(recordings);
  return file;
}

// As if it began at 2019-06-19T16:33:56 in Chicago.
void GiveTime(CaseFile& file) {
  file.has_time = true;
  file.axis_us = 1560980036000000;
  for (CaseRecording& recording : file.recordings)
    for (CaseStretch& stretch : recording.stretches)
      stretch.time = {file.axis_us + stretch.first * records::kTick_us,
                      records::TimeQuality::kExact};
  SetZone("America/Chicago", true, file);
}

std::string Draw(const CaseFile& file, const std::vector<std::string>& families = {"speed"},
                 const std::string& title = "") {
  return SvgPlot(file, {families, title});
}

// What stands between the two, each time.
std::vector<std::string> All(const std::string& svg, const std::string& before,
                             const std::string& behind) {
  std::vector<std::string> found;
  for (std::size_t at = svg.find(before); at != svg.npos; at = svg.find(before, at)) {
    at += before.size();
    found.push_back(svg.substr(at, svg.find(behind, at) - at));
  }
  return found;
}

std::vector<std::string> PathsWith(char step, const std::string& svg) {
  std::vector<std::string> paths = All(svg, "<path d=\"", "\"");
  paths.erase(std::remove_if(paths.begin(), paths.end(),
                             [step](const std::string& path) {
                               // Of the hatches there are some, too.
                               return path.find(step) == path.npos ||
                                      path.find("L8 0") != path.npos;
                             }),
              paths.end());
  return paths;
}
// Of lines of values; crosses are of straight lines.
std::vector<std::string> Paths(const std::string& svg) { return PathsWith('H', svg); }
std::vector<std::string> Crosses(const std::string& svg) { return PathsWith('L', svg); }
std::vector<std::string> Texts(const std::string& svg) {
  std::vector<std::string> texts = All(svg, "<text ", "</text>");
  for (std::string& text : texts) text.erase(0, text.find('>') + 1);
  return texts;
}
std::vector<std::string> Holes(const std::string& svg) {
  std::vector<std::string> holes;
  for (const std::string& rect : All(svg, "<rect ", "/>"))
    if (rect.find("url(#vmr-plot-hole)") != rect.npos ||
        rect.find("url(#vmr-plot-off)") != rect.npos)
      holes.push_back(rect.substr(0, rect.find(" fill")));
  return holes;
}
std::string TitleOf(const std::string& svg) {
  return All(svg, "<title id=\"vmr-plot-title\">", "<").at(0);
}
std::string WordsOf(const std::string& svg) {
  return All(svg, "<desc id=\"vmr-plot-desc\">", "<").at(0);
}

struct Level {
  double from, to, y;
};
// The level parts of a path.
std::vector<Level> Levels(const std::string& path) {
  std::vector<Level> levels;
  double x = 0, y = 0;
  for (const char* at = path.c_str(); *at != '\0';) {
    char* end = nullptr;
    const double number = std::strtod(at + 1, &end);
    if (*at == 'M') {
      x = number;
      y = std::strtod(end, &end);
    } else if (*at == 'H') {
      levels.push_back({x, number, y});
      x = number;
    } else {
      EXPECT_EQ(*at, 'V');
      y = number;
    }
    at = end;
  }
  return levels;
}

class SvgPlotTest : public test::ProgramTest {
 protected:
  void ExpectWellFormed(const std::string& svg) const {
    test::WriteFile(Path("p.svg"), svg);
    EXPECT_EQ(std::system(("xmllint --noout '" + Path("p.svg") + "'").c_str()), 0);
  }
};

// ---- Lines -----------------------------------------------------------------------

TEST(SvgPlot, ALineGoesInStepsAndBreaksWhereItIsUnknown) {
  const std::string svg = Draw(FileOf(
      {Recording("r", {{0, 40, 0}, {100, 80, 0}, {200, 20, 0}, {300, 0, kUnknown}, {400, 0, 0}})}));
  // 0 to 80 mph from 392 up to 92.
  EXPECT_THAT(Paths(svg), ElementsAre("M60 242H160V92H260V317H360M460 392H850"));
  EXPECT_THAT(Texts(svg), testing::IsSupersetOf({"GPS speed", "Speed, mph", "0", "40", "80"}));
  EXPECT_THAT(svg, HasSubstr("<rect x=\"360\" y=\"398\" width=\"100\" height=\"5\" "
                             "fill=\"url(#vmr-plot-unknown)\"/>"));
}

TEST(SvgPlot, AGapIsHatchedAndNoLineCrossesIt) {
  CaseRecording recording = Recording("r", {{0, 40, 0}, {600, 60, 0}});
  recording.stretches = {Stretch(0, 199), Stretch(500, kHalves - 1)};
  CaseGap gap;
  gap.from = 199;
  gap.to = 500;
  recording.gaps = {gap};
  const std::string svg = Draw(FileOf({recording}));
  EXPECT_THAT(Paths(svg), ElementsAre("M60 192H260M660 92H850"));
  EXPECT_THAT(Holes(svg), ElementsAre("x=\"260\" y=\"92\" width=\"300\" height=\"300\"",
                                      testing::_));  // and in the key
  EXPECT_THAT(Texts(svg), testing::Contains("lost, 2 min 30.5 s"));
}

TEST(SvgPlot, WhyNothingIsThereIsSaid) {
  CaseRecording recording = Recording("r", {{0, 40, 0}});
  recording.stretches = {Stretch(0, 99), Stretch(300, 399), Stretch(600, kHalves - 1)};
  recording.stretches[0].displaced = true;
  recording.on_utc = true;
  CaseClockStep back;
  back.x = 300;
  back.expected_us = 2;
  back.told_us = 1;
  CaseClockStep forward;
  forward.x = 600;
  forward.expected_us = 1;
  forward.told_us = 2;
  recording.steps = {back, forward};
  CaseFile file = FileOf({recording});
  GiveTime(file);
  const std::string svg = Draw(file);
  EXPECT_THAT(Texts(svg), testing::IsSupersetOf({"clock set: no such time",  // in the key, too
                                                 "clock set: no such time",
                                                 "not recorded, 1 min 40.5 s", "not recorded"}));
  EXPECT_THAT(Texts(svg), Not(testing::Contains(HasSubstr("lost"))));
  EXPECT_THAT(svg, HasSubstr("fill=\"url(#vmr-plot-no-time)\""));
  EXPECT_THAT(WordsOf(svg), HasSubstr(", 50 s of it by the clock before it was set. "));
}

TEST(SvgPlot, ARunWithoutATimeIsSaidToHaveNone) {
  CaseRecording recording = Recording("r", {{0, 40, 0}});
  recording.stretches = {Stretch(0, 99), Stretch(100, kHalves - 1, 1)};
  recording.stretches[1].displaced = true;
  recording.on_utc = true;
  CaseFile file = FileOf({recording});
  GiveTime(file);
  file.recordings[0].stretches[1].time = {};
  EXPECT_THAT(WordsOf(Draw(file)), HasSubstr(", 5 min 45 s of it without a time. "));
}

TEST(SvgPlot, NoLineCrossesAnyOfManyHoles) {
  std::mt19937 random(7);
  CaseRecording recording = Recording("r", {});
  recording.stretches.clear();
  std::vector<std::pair<double, double>> holes;
  AxisX at = 0;
  Line line;
  while (at < 200000) {
    const AxisX first = at, last = first + static_cast<AxisX>(random() % 900);
    recording.stretches.push_back(Stretch(first, last));
    for (AxisX x = first; x <= last; x += 1 + random() % 40)
      line.push_back({x, static_cast<std::int64_t>(random() % 70),
                      random() % 9 == 0 ? kUnknown : static_cast<unsigned char>(0)});
    at = last + 2 + static_cast<AxisX>(random() % 1500);
    holes.emplace_back(last + 1, at);
  }
  holes.pop_back();
  const AxisX end = recording.stretches.back().last + 1;
  recording.series = {Speed(line)};
  const std::vector<std::string> paths = Paths(Draw(FileOf({recording})));
  ASSERT_THAT(paths, Not(IsEmpty()));
  const double per_half = 790.0 / static_cast<double>(end);
  constexpr double kRounding = 0.011;
  int crossed = 0, levels = 0;
  for (const std::string& path : paths)
    for (const Level& level : Levels(path)) {
      ++levels;
      for (const auto& [from, to] : holes)
        crossed += level.from < kLeft + to * per_half - kRounding &&
                   level.to > kLeft + from * per_half + kRounding;
    }
  EXPECT_GT(levels, 1000);
  EXPECT_EQ(crossed, 0);
}

TEST(SvgPlot, AHalfSecondsPeakInTwoDaysIsDrawn) {
  Line line;
  constexpr AxisX kTwoDays = 2 * 172800;
  for (AxisX x = 0; x < kTwoDays; ++x) line.push_back({x, 30 + x % 2, 0});
  line[100001].value = 80;
  line[200001].value = 0;
  CaseRecording recording = Recording("r", line);
  recording.stretches = {Stretch(0, kTwoDays - 1)};
  const std::string svg = Draw(FileOf({recording}));
  ASSERT_THAT(Paths(svg), SizeIs(1));
  const double per_half = 790.0 / kTwoDays;
  EXPECT_THAT(svg, HasSubstr("H" + Px(kLeft + 100001 * per_half) + "V92H"));
  EXPECT_THAT(svg, HasSubstr("H" + Px(kLeft + 200001 * per_half) + "V392H"));
  EXPECT_LT(svg.size(), 200000U);
}

TEST(SvgPlot, WhatLastsTooShortToBeSeenIsADot) {
  const std::string svg =
      Draw(FileOf({Recording("r", {{100, 40, 0}, {101, 0, kUnknown}, {200, 80, 0}})}));
  EXPECT_THAT(Paths(svg), ElementsAre("M260 92H850", "M160 242H161"));
  EXPECT_THAT(svg, HasSubstr("stroke-linecap=\"round\""));
}

TEST(SvgPlot, AValueOfAWrongPacketIsACrossAndMovesNoLine) {
  const std::string svg = Draw(FileOf({Recording("r", {{0, 40, 0}, {100, 80, kWrong}})}));
  EXPECT_THAT(Paths(svg), ElementsAre("M60 242H850"));
  EXPECT_THAT(Crosses(svg), ElementsAre("M156.5 88.5L163.5 95.5M156.5 95.5L163.5 88.5",
                                        testing::_));  // and in the key
  EXPECT_THAT(Texts(svg), testing::Contains("of a packet whose CRC is wrong"));
}

// ---- The axis --------------------------------------------------------------------

TEST(SvgPlot, WithoutATimeTheAxisHasTheUnitsTicks) {
  const std::string svg = Draw(FileOf({Recording("r", {{0, 40, 0}})}));
  EXPECT_THAT(Texts(svg), testing::IsSupersetOf({"1000", "1100", "1700",
                                                 "Tick (half seconds; no time is recorded)",
                                                 "tick 1000 to tick 1789 (6 min 34.5 s)"}));
}

TEST(SvgPlot, WhereTicksBeginAnewHalfSecondsAreCounted) {
  CaseRecording recording = Recording("r", {{0, 40, 0}});
  recording.stretches = {Stretch(0, 299), Stretch(302, kHalves - 1, 1)};
  recording.stretches[1].tick = 5;
  EXPECT_THAT(Texts(Draw(FileOf({recording}))),
              testing::IsSupersetOf(
                  {"0", "100", "Half seconds since the recordings begin (no time is recorded)"}));
}

TEST(SvgPlot, TimesAreLocalAndTheAxisSaysHowFarAheadOfUtc) {
  CaseFile file = FileOf({Recording("r", {{0, 40, 0}})});
  GiveTime(file);
  EXPECT_THAT(Texts(Draw(file)),
              testing::IsSupersetOf(
                  {"16:34", "2019-06-19", "16:40", "Local time, America/Chicago, UTC-05:00",
                   "2019-06-19 16:33:56-05:00 to 2019-06-19 16:40:30-05:00 (6 min 34.5 s)"}));
}

TEST(SvgPlot, OnlyOffsetsOfWhatIsShownAreTold) {
  CaseFile file = FileOf({Recording("r", {{0, 40, 0}})});
  GiveTime(file);
  const std::int64_t hour_us = 3600000000;
  file.zone.offsets = {{0, -360, "CST"},
                       {file.axis_us - hour_us, -300, "CDT"},
                       {file.axis_us + hour_us, -360, "CST"}};
  EXPECT_THAT(Texts(Draw(file)), testing::Contains("Local time, America/Chicago, UTC-05:00"));
  file.zone.offsets[2].from_us = file.axis_us + 60000000;
  EXPECT_THAT(Texts(Draw(file)),
              testing::Contains("Local time, America/Chicago, UTC-05:00, then UTC-06:00"));
}

TEST(SvgPlot, AClockThatWasSetAndANewRunAreUprightLines) {
  CaseRecording recording = Recording("r", {{0, 40, 0}});
  recording.steps = {{100, 1100, 0, -90000000, ""}};
  recording.new_runs = {{400, 1, 5}};
  const std::string svg = Draw(FileOf({recording}));
  // Their words stand above the plot, which begins lower.
  EXPECT_THAT(svg, AllOf(HasSubstr("x1=\"160\" y1=\"106\" x2=\"160\" y2=\"406\""),
                         HasSubstr("x1=\"460\" y1=\"106\" x2=\"460\" y2=\"406\"")));
  EXPECT_THAT(Texts(svg), testing::IsSupersetOf({"clock set -1 min 30 s", "new run"}));
}

TEST(SvgPlot, AWordInPlaceOfAValueIsALineWithItsText) {
  CaseRecording recording =
      Recording("r", {{0, 40, 0}, {200, 254, kUnknown | LinePoint::kWord}, {600, 60, 0}});
  recording.series[0].words = {{254, "blank"}};
  const std::string svg = Draw(FileOf({recording}));
  EXPECT_THAT(Texts(svg), testing::IsSupersetOf({"blank", "a word told in place of a value"}));
  EXPECT_THAT(svg, HasSubstr("<line x1=\"260\" y1=\"401\" x2=\"660\" y2=\"401\""));
  EXPECT_THAT(WordsOf(svg), HasSubstr(R"(; "blank" for 3 min 20 s.)"));
  EXPECT_THAT(Texts(Draw(FileOf({Recording("r", {{0, 40, 0}})}))),
              Not(testing::Contains(HasSubstr("word"))));
}

// ---- Panels ----------------------------------------------------------------------

TEST(SvgPlot, WhatNoRecordingTellsIsSaidInItsPanel) {
  const std::string svg = Draw(FileOf({Recording("r", {{0, 40, 0}})}), {"voltage", "speed"});
  const std::vector<std::string> texts = Texts(svg);
  EXPECT_THAT(texts, testing::IsSupersetOf({"Voltage", "not recorded", "Speed, mph"}));
  EXPECT_LT(std::find(texts.begin(), texts.end(), "Voltage"),
            std::find(texts.begin(), texts.end(), "Speed, mph"));
}

TEST(SvgPlot, SpeedsOfAnotherUnitHaveAScaleOfTheirOwn) {
  CaseRecording recording = Recording("r", {{0, 40, 0}});
  recording.series.push_back(Speed({{0, 64, 0}}));
  recording.series.back().unit = "km/h";
  recording.series.push_back(Speed({{0, 9, 0}}));
  recording.series.back().unit = "";
  EXPECT_THAT(Texts(Draw(FileOf({recording}))),
              testing::IsSupersetOf({"Speed, mph", "Speed, km/h", "Speed, unit not told"}));
}

TEST(SvgPlot, NamesBesideLinesDoNotCoverEachOther) {
  CaseRecording recording = Recording("r", {{0, 40, 0}});
  for (const char* const name : {"second", "third", "fourth"}) {
    recording.series.push_back(Speed({{0, 40, 0}}));
    recording.series.back().name = name;
  }
  const std::string svg = Draw(FileOf({recording}));
  const std::vector<std::string> rows = All(svg, "<text x=\"862\" y=\"", "\"");
  ASSERT_THAT(rows, SizeIs(4));
  for (std::size_t i = 1; i < rows.size(); ++i)
    EXPECT_GE(std::stod(rows[i]) - std::stod(rows[i - 1]), 12);
}

TEST(SvgPlot, RecordingsShareAnAxisAndDifferInTheirDashes) {
  CaseRecording second = Recording("car9", {{500, 60, 0}});
  second.stretches = {Stretch(500, 999)};
  CaseFile file = FileOf({Recording("car7", {{0, 40, 0}}), second});
  GiveTime(file);
  const std::string svg = Draw(file);
  EXPECT_THAT(Paths(svg), ElementsAre("M60 192H684.1", "M455 92H850"));
  EXPECT_THAT(All(svg, "stroke-linejoin=\"round\" stroke-dasharray=\"", "\""),
              ElementsAre("none", "6 3"));
  EXPECT_THAT(Texts(svg), testing::IsSupersetOf({"car7: GPS speed", "car9: GPS speed", "Recorded",
                                                 "car7", "car9", "Speed of 2 recordings"}));
}

TEST(SvgPlot, ARecordingThatTellsNoTimeIsSaidToBeginWithTheAxis) {
  CaseFile file = FileOf({Recording("car7", {{0, 40, 0}}), Recording("car9", {{0, 50, 0}})});
  GiveTime(file);
  for (CaseStretch& stretch : file.recordings[1].stretches) stretch.time = {};
  EXPECT_THAT(Texts(Draw(file)),
              testing::Contains(HasSubstr("no gap, tells no time: begins with the axis")));
}

// ---- Words -----------------------------------------------------------------------

TEST(SvgPlot, SaysInWordsWhatItShows) {
  CaseRecording recording =
      Recording("r", {{0, 40, 0}, {100, 80, 0}, {200, 3, 0}, {300, 0, kUnknown}});
  recording.facts = {{"vehicle", {{"Car 7", {}, 5}}, ""}, {"serial_number", {}, "not recorded"}};
  recording.totals.lost_unknown = 1;
  recording.gaps.emplace_back();
  CaseFile file = FileOf({recording});
  GiveTime(file);
  const std::string svg = Draw(file, {"speed", "radar"});
  EXPECT_EQ(TitleOf(svg), "Speed and radar of r");
  EXPECT_EQ(WordsOf(svg), ("2019-06-19 16:33:56-05:00 to 2019-06-19 16:40:30-05:00 (6 min 34.5 s). "
                           "Speed, mph: GPS speed: 3 to 80 mph, the greatest first at "
                           "2019-06-19 16:34:46-05:00; unknown for 4 min 5 s. "
                           "Radar: not recorded. "
                           "Vehicle \"Car 7\"; 6 min 35 s recorded, 1 gap of unknown length."));
  EXPECT_THAT(svg, HasSubstr("role=\"img\" aria-labelledby=\"vmr-plot-title vmr-plot-desc\""));
}

TEST_F(SvgPlotTest, NoNameEndsAnElementOrReachesOutside) {
  const std::string hostile =
      "</text><script>alert(1)</script>\"'&]]><image href=\"http://x/\"/>\x1b\xff\u202e" +
      std::string("\0", 1);
  CaseRecording recording = Recording(hostile, {{0, 40, 0}, {100, 70, kWrong}});
  recording.series[0].name = recording.series[0].unit = hostile;
  recording.series.push_back(recording.series[0]);
  recording.facts = {{"vehicle", {{hostile, {}, 5}}, ""}};
  recording.zone = hostile;
  CaseFile file = FileOf({recording, recording});
  GiveTime(file);
  file.zone.name = hostile;
  const std::string svg = Draw(file, {"speed"}, hostile);
  ExpectWellFormed(svg);
  EXPECT_THAT(svg, AllOf(Not(HasSubstr("<script")), Not(HasSubstr("<image")),
                         Not(HasSubstr("\x1b")), Not(HasSubstr("\u202e"))));
}

TEST_F(SvgPlotTest, AsksForNothingFromOutside) {
  CaseRecording recording = Recording("r", {{0, 40, 0}, {100, 70, kWrong}, {300, 0, kUnknown}});
  recording.stretches = {Stretch(0, 199), Stretch(300, kHalves - 1)};
  recording.steps = {{100, 1100, 0, 1000000, ""}};
  const std::string svg = Draw(FileOf({recording}), {"speed", "temperature"});
  ExpectWellFormed(svg);
  EXPECT_THAT(All(svg, "http", "\""), ElementsAre("://www.w3.org/2000/svg"));
  for (const std::string& place : All(svg, "url(", ")")) EXPECT_EQ(place[0], '#');
  for (const char* const outside : {"href", "@import", "<style", "<script"})
    EXPECT_THAT(svg, Not(HasSubstr(outside)));
  EXPECT_EQ(svg, Draw(FileOf({recording}), {"speed", "temperature"}));
}

TEST_F(SvgPlotTest, LongTextsStayInside) {
  CaseRecording recording = Recording(std::string(3000, 'w'), {{0, 40, 0}});
  recording.facts = {{"vehicle", {{std::string(3000, 'm'), {}, 5}}, ""}};
  recording.series[0].name = std::string(3000, 'W');
  recording.series[0].unit = std::string(3000, 'M');
  recording.series.push_back(recording.series[0]);
  CaseFile file = FileOf({recording});
  GiveTime(file);
  file.zone.name = std::string(3000, '@');
  const std::string svg = Draw(file);
  ExpectWellFormed(svg);
  for (const std::string& text : Texts(svg)) EXPECT_LT(TextWidth(text, 10), 1000) << text;
  EXPECT_THAT(WordsOf(svg), HasSubstr(std::string(3000, 'm')));
}

TEST_F(SvgPlotTest, OfNothingRecordedThereIsAPictureAllTheSame) {
  CaseRecording recording = Recording("r", {});
  recording.stretches.clear();
  recording.series.clear();
  ExpectWellFormed(Draw(FileOf({recording})));
}

// ---- Numbers and widths ----------------------------------------------------------

TEST(SvgPx, HasTwoPlacesAndNoZerosBehind) {
  EXPECT_EQ(Px(0), "0");
  EXPECT_EQ(Px(12), "12");
  EXPECT_EQ(Px(12.5), "12.5");
  EXPECT_EQ(Px(-0.25), "-0.25");
  EXPECT_EQ(Px(1.0 / 3), "0.33");
  EXPECT_EQ(Px(0.05), "0.05");
  EXPECT_EQ(Px(-0.001), "0");
}

TEST(SvgText, IsCutBetweenCharacters) {
  EXPECT_EQ(Fitting("abc", 10, 100), "abc");
  EXPECT_EQ(Fitting("\u00E9\u00E9\u00E9\u00E9", 10, 21), "\u00E9\u00E9\u2026");
}

}  // namespace
}  // namespace vmr::tool
