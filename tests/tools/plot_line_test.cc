// Axes and lines of a plot, before anything is drawn.
#include "tools/report/plot_line.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <ostream>
#include <random>

#include "tools/common/time_point.h"
#include "tools/report/plot_axis.h"

namespace vmr::tool {

bool operator==(const AxisSpan& a, const AxisSpan& b) { return a.from == b.from && a.to == b.to; }
bool operator==(const LineStep& a, const LineStep& b) { return a.x == b.x && a.value == b.value; }
bool operator==(const LinePiece& a, const LinePiece& b) {
  return a.to == b.to && a.steps == b.steps;
}
void PrintTo(const AxisSpan& span, std::ostream* out) {
  *out << '[' << span.from << ", " << span.to << ')';
}
void PrintTo(const LineStep& step, std::ostream* out) { *out << step.x << ": " << step.value; }
void PrintTo(const LinePiece& piece, std::ostream* out) {
  *out << testing::PrintToString(piece.steps) << " to " << piece.to;
}

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::int64_t kSecond_us = 1000000;
// 2019-06-19T21:33:56Z, 16:33:56 in Chicago.
constexpr std::int64_t kDrive_us = 1560980036 * kSecond_us;

CaseStretch Stretch(AxisX first, AxisX last, int run = 0) {
  CaseStretch stretch;
  stretch.first = first;
  stretch.last = last;
  stretch.run = run;
  return stretch;
}

std::vector<std::string> LabelsOf(const std::vector<AxisMark>& marks) {
  std::vector<std::string> labels;
  for (const AxisMark& mark : marks)
    labels.push_back(std::to_string(mark.x) + " " + mark.label +
                     (mark.date.empty() ? "" : " " + mark.date));
  return labels;
}

// ---- Numbers ---------------------------------------------------------------------

TEST(PlotScale, HasRoundStepsAndHoldsBothEnds) {
  struct Case {
    std::int64_t least, most;
    int most_steps;
    std::int64_t low, high, step;
  };
  for (const Case& one :
       {Case{0, 78, 5, 0, 80, 20}, Case{0, 80, 9, 0, 80, 10}, Case{28, 58, 5, 20, 60, 10},
        Case{-7, 3, 5, -8, 4, 2}, Case{41, 43, 9, 41, 43, 1}, Case{0, 65535, 4, 0, 80000, 20000}}) {
    SCOPED_TRACE(one.most);
    const ValueScale scale = ScaleFor(one.least, one.most, one.most_steps);
    EXPECT_EQ(scale.low, one.low);
    EXPECT_EQ(scale.high, one.high);
    EXPECT_EQ(scale.step, one.step);
  }
}

TEST(PlotScale, OfOneValueHasAStep) {
  const ValueScale scale = ScaleFor(20, 20, 5);
  EXPECT_EQ(scale.low, 20);
  EXPECT_EQ(scale.high, 21);
}

// ---- Times -----------------------------------------------------------------------

TEST(PlotTimes, AreRoundInTheZoneInUse) {
  ASSERT_TRUE(UseTimeZone("America/Chicago"));
  EXPECT_THAT(LabelsOf(TimeMarks(kDrive_us, {0, 5036}, 9)),
              ElementsAre("128 16:35 2019-06-19", "728 16:40", "1328 16:45", "1928 16:50",
                          "2528 16:55", "3128 17:00", "3728 17:05", "4328 17:10", "4928 17:15"));
  ASSERT_TRUE(UseTimeZone("Asia/Kolkata"));
  EXPECT_THAT(LabelsOf(TimeMarks(kDrive_us, {0, 7200}, 3)),
              ElementsAre("3128 03:30 2019-06-20", "6728 04:00"));
}

TEST(PlotTimes, TellTheDateWhereADayBegins) {
  ASSERT_TRUE(UseTimeZone("America/Chicago"));
  constexpr AxisX kHour = 7200;
  const auto marks = LabelsOf(TimeMarks(kDrive_us, {0, 24 * kHour}, 5));
  EXPECT_THAT(marks, ElementsAre("10328 18:00 2019-06-19", "53528 00:00 2019-06-20", "96728 06:00",
                                 "139928 12:00"));
}

TEST(PlotTimes, OfDaysAreDates) {
  ASSERT_TRUE(UseTimeZone("UTC"));
  constexpr AxisX kDay = 172800;
  EXPECT_THAT(LabelsOf(TimeMarks(0, {0, 5 * kDay}, 6)),
              ElementsAre("0 1970-01-01", "172800 1970-01-02", "345600 1970-01-03",
                          "518400 1970-01-04", "691200 1970-01-05"));
}

TEST(PlotTimes, OfHoursStayRoundWhenClocksAreSet) {
  ASSERT_TRUE(UseTimeZone("America/Chicago"));
  // 2019-11-02T20:00 there; at 2019-11-03T02:00 it is 01:00 again.
  const std::int64_t begin_us = 1572742800 * kSecond_us;
  constexpr AxisX kHour = 7200;
  EXPECT_THAT(LabelsOf(TimeMarks(begin_us, {0, 20 * kHour}, 4)),
              ElementsAre("28800 00:00 2019-11-03", "79200 06:00", "122400 12:00"));
}

TEST(PlotTimes, AnHourThatComesTwiceIsToldApartByItsOffset) {
  ASSERT_TRUE(UseTimeZone("America/Chicago"));
  // 2019-11-03T00:00 there.
  const std::int64_t begin_us = 1572757200 * kSecond_us;
  EXPECT_THAT(LabelsOf(TimeMarks(begin_us, {0, 4 * 7200}, 9)),
              ElementsAre("0 00:00-05:00 2019-11-03", "3600 00:30-05:00", "7200 01:00-05:00",
                          "10800 01:30-05:00", "14400 01:00-06:00", "18000 01:30-06:00",
                          "21600 02:00-06:00", "25200 02:30-06:00"));
}

TEST(PlotTimes, OfSecondsShowThem) {
  ASSERT_TRUE(UseTimeZone("UTC"));
  EXPECT_THAT(LabelsOf(TimeMarks(kDrive_us, {0, 8}, 5)),
              ElementsAre("0 21:33:56 2019-06-19", "2 21:33:57", "4 21:33:58", "6 21:33:59"));
}

TEST(PlotTicks, AreRoundNumbersOfTheUnit) {
  EXPECT_THAT(LabelsOf(NumberMarks(95, {0, 20}, 4)), ElementsAre("5 100", "15 110"));
}

// ---- What is recorded ------------------------------------------------------------

TEST(PlotSpans, AreWholeWhereTheClockWasSetAndBreakAtHolesAndRuns) {
  CaseRecording recording;
  recording.stretches = {Stretch(0, 9), Stretch(10, 19), Stretch(30, 39), Stretch(40, 49, 1)};
  EXPECT_THAT(RecordedSpans(recording),
              ElementsAre(AxisSpan{0, 20}, AxisSpan{30, 40}, AxisSpan{40, 50}));
  EXPECT_THAT(HolesOf(recording, HoleKind::kNotRecorded), ElementsAre(AxisSpan{20, 30}));
  EXPECT_THAT(HolesOf(recording, HoleKind::kLost), testing::IsEmpty());
}

TEST(PlotSpans, WhatGapsLeaveOfAHoleIsNotRecorded) {
  CaseRecording recording;
  recording.stretches = {Stretch(0, 9), Stretch(30, 39), Stretch(50, 59)};
  CaseGap gap;
  gap.from = 9;
  gap.to = 20;
  CaseGap open;
  open.from = 39;
  recording.gaps = {gap, open};
  EXPECT_THAT(HolesOf(recording, HoleKind::kLost), ElementsAre(AxisSpan{10, 20}, AxisSpan{40, 50}));
  EXPECT_THAT(HolesOf(recording, HoleKind::kNotRecorded), ElementsAre(AxisSpan{20, 30}));
}

TEST(PlotSpans, AGapWithoutAPlaceOfItsOwnIsAnEmptyHole) {
  CaseRecording recording;
  recording.stretches = {Stretch(0, 99)};
  CaseGap gap;
  gap.from = 40;
  gap.to = 41;
  CaseGap open;
  open.to = 0;
  recording.gaps = {open, gap};
  EXPECT_THAT(HolesOf(recording, HoleKind::kLost), ElementsAre(AxisSpan{41, 41}));
}

// ---- Pieces ----------------------------------------------------------------------

constexpr unsigned char kUnknown = LinePoint::kUnknown, kWrong = LinePoint::kWrongCrc;
constexpr unsigned char kWord = LinePoint::kUnknown | LinePoint::kWord;

TEST(PlotParts, HoldUpToTheNextPointAndBreakWhereNothingIsKnown) {
  const LineParts parts =
      PartsOf({{10, 5, 0}, {20, 7, 0}, {30, 0, kUnknown}, {40, 7, 0}}, {{0, 50}});
  EXPECT_THAT(parts.pieces,
              ElementsAre(LinePiece{{{10, 5}, {20, 7}}, 30}, LinePiece{{{40, 7}}, 50}));
  EXPECT_THAT(parts.unknown, ElementsAre(AxisSpan{0, 10}, AxisSpan{30, 40}));
}

TEST(PlotParts, AWordInPlaceOfAValueIsNeitherKnownNorUnknown) {
  const LineParts parts = PartsOf(
      {{0, 5, 0}, {10, 254, kWord}, {20, 0, kUnknown}, {30, 254, kWord}, {40, 7, 0}}, {{0, 50}});
  EXPECT_THAT(parts.pieces, ElementsAre(LinePiece{{{0, 5}}, 10}, LinePiece{{{40, 7}}, 50}));
  EXPECT_THAT(parts.unknown, ElementsAre(AxisSpan{20, 30}));
}

TEST(PlotParts, WhatIsToldBeforeAHoleDoesNotHoldBehindIt) {
  const LineParts parts = PartsOf({{0, 5, 0}, {35, 6, 0}}, {{0, 20}, {30, 40}});
  EXPECT_THAT(parts.pieces, ElementsAre(LinePiece{{{0, 5}}, 20}, LinePiece{{{35, 6}}, 40}));
  EXPECT_THAT(parts.unknown, ElementsAre(AxisSpan{30, 35}));
}

TEST(PlotParts, OfSeveralPointsAtOnePlaceTheLastCounts) {
  EXPECT_THAT(PartsOf({{0, 5, 0}, {10, 99, 0}, {10, 0, kUnknown}, {10, 6, 0}}, {{0, 20}}).pieces,
              ElementsAre(LinePiece{{{0, 5}, {10, 6}}, 20}));
}

TEST(PlotParts, AWrongPacketsValueStandsByItself) {
  const LineParts parts = PartsOf({{0, 5, 0}, {10, 200, kWrong}}, {{0, 20}});
  EXPECT_THAT(parts.pieces, ElementsAre(LinePiece{{{0, 5}}, 20}));
  EXPECT_THAT(parts.wrong, ElementsAre(LineStep{10, 200}));
}

// ---- Thinning --------------------------------------------------------------------

TEST(PlotThinning, KeepsLeastGreatestAndLastOfAColumnWhereTheyAre) {
  std::vector<LineStep> steps = {{0, 4}, {1, 9}, {2, 5}, {3, 1}, {4, 3}, {5, 4}, {10, 7}};
  Thin(steps, {0, 0.1});
  EXPECT_THAT(steps, ElementsAre(LineStep{1, 9}, LineStep{3, 1}, LineStep{5, 4}, LineStep{10, 7}));
}

TEST(PlotThinning, KeepsEveryColumnsExtremesOfAnyLine) {
  std::mt19937 random(20260101);
  for (int round = 0; round < 20; ++round) {
    SCOPED_TRACE(round);
    std::vector<LineStep> all;
    for (AxisX x = 0; x < 40000; x += 1 + random() % 7)
      all.push_back({x, static_cast<std::int64_t>(random() % 1000)});
    const Columns columns{0, 0.013};
    std::vector<LineStep> kept = all;
    Thin(kept, columns);
    std::map<std::int64_t, std::pair<std::int64_t, std::int64_t>> wanted, found;
    const auto note = [&columns](const std::vector<LineStep>& steps, auto& extremes) {
      for (const LineStep& step : steps) {
        auto& [least, most] =
            extremes.try_emplace(columns.Of(step.x), step.value, step.value).first->second;
        least = std::min(least, step.value);
        most = std::max(most, step.value);
      }
    };
    note(all, wanted);
    note(kept, found);
    EXPECT_EQ(found, wanted);
    EXPECT_LE(kept.size(), 3 * wanted.size());
    EXPECT_TRUE(std::is_sorted(kept.begin(), kept.end(),
                               [](const LineStep& a, const LineStep& b) { return a.x < b.x; }));
    for (const LineStep& step : kept) EXPECT_NE(std::find(all.begin(), all.end(), step), all.end());
  }
}

TEST(PlotThinning, LeavesAPieceItsBeginning) {
  std::vector<LinePiece> pieces = {{{{3, 5}, {4, 1}, {5, 9}, {6, 4}}, 30}};
  Thin(pieces, {0, 0.1});
  EXPECT_THAT(pieces, ElementsAre(LinePiece{{{3, 5}, {4, 1}, {5, 9}, {6, 4}}, 30}));
  pieces = {{{{3, 5}, {4, 6}, {5, 9}, {6, 1}, {7, 4}}, 30}};
  Thin(pieces, {0, 0.1});
  EXPECT_THAT(pieces, ElementsAre(LinePiece{{{3, 5}, {5, 9}, {6, 1}, {7, 4}}, 30}));
}

TEST(PlotThinning, OfPiecesWithinAColumnThoseWithTheExtremesStay) {
  std::vector<LinePiece> pieces;
  for (const std::int64_t value : {5, 9, 4, 1, 6})
    pieces.push_back({{{static_cast<AxisX>(2 * pieces.size()), value}},
                      static_cast<AxisX>(2 * pieces.size() + 1)});
  pieces.push_back({{{15, 3}}, 40});
  Thin(pieces, {0, 0.1});
  EXPECT_THAT(pieces, ElementsAre(LinePiece{{{2, 9}}, 3}, LinePiece{{{6, 1}}, 7},
                                  LinePiece{{{15, 3}}, 40}));
}

TEST(PlotThinning, JoinsSpansThatWouldTouch) {
  std::vector<AxisSpan> spans = {{0, 4}, {6, 8}, {25, 30}, {31, 32}, {90, 91}};
  Thin(spans, {0, 0.1});
  EXPECT_THAT(spans, ElementsAre(AxisSpan{0, 8}, AxisSpan{25, 32}, AxisSpan{90, 91}));
  spans.clear();
  Thin(spans, {0, 0.1});
  EXPECT_THAT(spans, IsEmpty());
}

}  // namespace
}  // namespace vmr::tool
