// Where the parts of a recording lie on the axis of a case.
#include "tools/report/axis_layout.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/report/case_axis.h"

namespace vmr::tool {
namespace {

using testing::ElementsAre;

// 2023-11-14T22:13:20Z as a place; the clock of a Stretch is told in half seconds from there.
constexpr AxisX kTen = 1700000000LL * 2;
constexpr AxisX kHour = 7200;

// The stretches of a recording, one behind the other as ticks go on.
class Recorded {
 public:
  Recorded& Goes(AxisX ticks, AxisX clock) {
    return Add(ticks, {(kTen + clock) * records::kTick_us, records::TimeQuality::kExact});
  }
  Recorded& WithoutTime(AxisX ticks) { return Add(ticks, {}); }
  Recorded& In1970(AxisX ticks) {
    return Add(ticks, {60 * records::kSecond_us, records::TimeQuality::kExact});
  }
  Recorded& Lost(AxisX ticks) {
    next_ += ticks;
    return *this;
  }
  Recorded& NewRun() {
    ++run_;
    ++next_;
    return *this;
  }
  const std::vector<CaseStretch>& Stretches() const { return stretches_; }

 private:
  Recorded& Add(AxisX ticks, const records::Time& time) {
    CaseStretch stretch;
    stretch.first = next_;
    stretch.last = next_ + ticks - 1;
    stretch.time = time;
    stretch.run = run_;
    stretches_.push_back(stretch);
    next_ += ticks;
    return *this;
  }
  std::vector<CaseStretch> stretches_;
  AxisX next_ = 0;
  int run_ = 0;
};

// "0..99" in half seconds from kTen; "!" displaced.
std::vector<std::string> Placed(const Recorded& recorded, AxisX zero = kTen) {
  const AxisLayout layout(recorded.Stretches());
  std::vector<std::string> places;
  for (const CaseStretch& stretch : recorded.Stretches())
    places.push_back(std::to_string(layout.Moved(stretch.first) - zero) + ".." +
                     std::to_string(layout.Moved(stretch.last) - zero) +
                     (layout.IsDisplaced(stretch.first) ? "!" : ""));
  return places;
}

TEST(AxisLayout, DrivesOfOneStoreLieAtTheirOwnTimes) {
  // The second one is the longer.
  const auto drives = Recorded().Goes(100, 0).Goes(200, 2 * kHour);
  EXPECT_THAT(Placed(drives), ElementsAre("0..99", "14400..14599"));
}

TEST(AxisLayout, ThreeNightsLieBetweenThreeDays) {
  const auto days = Recorded().Goes(500, 0).Goes(700, 24 * kHour).Goes(600, 41 * kHour);
  EXPECT_THAT(Placed(days), ElementsAre("0..499", "172800..173499", "295200..295799"));
}

TEST(AxisLayout, AClockThatIsWrongForAWhileMovesNothingElse) {
  const auto wrong = Recorded().Goes(1000, 0).Goes(600, 13 * kHour).Goes(1000, 1600);
  EXPECT_THAT(Placed(wrong), ElementsAre("0..999", "1000..1599!", "1600..2599"));
}

TEST(AxisLayout, AClockThatIsSetBackForGoodKeepsTheLongerPart) {
  const auto back = Recorded().Goes(1000, kHour).Goes(5000, 0);
  EXPECT_THAT(Placed(back), ElementsAre("-1000..-1!", "0..4999"));
  const auto front = Recorded().Goes(5000, kHour).Goes(1000, 0);
  EXPECT_THAT(Placed(front), ElementsAre("7200..12199", "12200..13199!"));
}

TEST(AxisLayout, ManyShortOnesThatAgreeOutweighALongOne) {
  const auto agree =
      Recorded().Goes(400, 0).Goes(700, 50 * kHour).Goes(400, kHour).Goes(400, 2 * kHour);
  EXPECT_THAT(Placed(agree), ElementsAre("0..399", "400..1099!", "7200..7599", "14400..14799"));
}

TEST(AxisLayout, WhatHasNoRoomBetweenTwoIsPartOfTheChoice) {
  // The first and the last agree, but 500 ticks do not fit into the 100 between them.
  const auto no_room = Recorded().Goes(300, 0).WithoutTime(500).Goes(400, 400);
  EXPECT_THAT(Placed(no_room), ElementsAre("-400..-101!", "-100..399!", "400..799"));
}

TEST(AxisLayout, AClockOf1970IsNoTime) {
  const auto set_late = Recorded().In1970(50).Goes(100, 0);
  EXPECT_THAT(Placed(set_late), ElementsAre("-50..-1!", "0..99"));
  const auto set_later = Recorded().Goes(100, 0).In1970(50).Goes(20, kHour);
  EXPECT_THAT(Placed(set_later), ElementsAre("0..99", "7150..7199!", "7200..7219"));
  const auto never_set = Recorded().Goes(100, 0).In1970(50);
  EXPECT_THAT(Placed(never_set), ElementsAre("0..99", "100..149!"));
}

TEST(AxisLayout, WhatWasRecordedBeforeTheClockWasSetIsPartOfTheDriveThatFollows) {
  const auto lost = Recorded().Goes(100, 0).In1970(50).In1970(30).Lost(4).Goes(20, kHour);
  EXPECT_THAT(Placed(lost), ElementsAre("0..99", "7116..7165!", "7166..7195!", "7200..7219"));
  const auto tight = Recorded().Goes(100, 0).In1970(50).Lost(400).Goes(20, 160);
  EXPECT_THAT(Placed(tight), ElementsAre("0..99", "100..149!", "160..179"));
  const auto anew = Recorded().Goes(100, 0).NewRun().In1970(50).Goes(20, kHour);
  EXPECT_THAT(Placed(anew), ElementsAre("0..99", "7150..7199!", "7200..7219"));
}

TEST(AxisLayout, WithoutATimeTicksGoOn) {
  const auto timeless = Recorded().WithoutTime(50).Lost(30).WithoutTime(20);
  EXPECT_FALSE(AxisLayout(timeless.Stretches()).HasTime());
  EXPECT_THAT(Placed(timeless, 0), ElementsAre("0..49!", "80..99!"));
  EXPECT_FALSE(AxisLayout(Recorded().In1970(50).Stretches()).HasTime());
  EXPECT_FALSE(AxisLayout({}).HasTime());
}

TEST(AxisLayout, ARunAnewLiesWhereItsClockSays) {
  EXPECT_THAT(Placed(Recorded().Goes(100, 0).NewRun().Goes(100, kHour)),
              ElementsAre("0..99", "7200..7299"));
}

TEST(AxisLayout, ARunWithoutATimeIsApartFromItsNeighbours) {
  EXPECT_THAT(Placed(Recorded().Goes(100, 0).NewRun().WithoutTime(10).NewRun().Goes(10, kHour)),
              ElementsAre("0..99", "101..110!", "7200..7209"));
  EXPECT_THAT(Placed(Recorded().WithoutTime(10).NewRun().Goes(100, 0)),
              ElementsAre("-11..-2!", "0..99"));
}

TEST(AxisLayout, AGapOfUnknownTimeIsAsLongAsTicksSayIfThereIsRoom) {
  EXPECT_THAT(Placed(Recorded().Goes(100, 0).Lost(40).WithoutTime(10).Goes(10, kHour)),
              ElementsAre("0..99", "140..149!", "7200..7209"));
  EXPECT_THAT(Placed(Recorded().Goes(100, 0).Lost(40).WithoutTime(10).Goes(10, 120)),
              ElementsAre("0..99", "110..119!", "120..129"));
}

TEST(AxisLayout, WhatGoesOnWithinASecondIsLeftAsTicksAre) {
  const auto jitter = Recorded().Goes(100, 0).Goes(100, 101).Goes(100, 199).Goes(100, 302);
  EXPECT_THAT(Placed(jitter), ElementsAre("0..99", "100..199", "200..299", "300..399"));
}

TEST(AxisLayout, AClockThatIsSetBackABitDisplacesNothing) {
  const auto drifting = Recorded().Goes(1000, 0).Goes(1000, 997).Goes(1000, kHour);
  EXPECT_THAT(Placed(drifting), ElementsAre("0..999", "1000..1999", "7200..8199"));
}

TEST(AxisLayout, NothingGoesBackOrOverlapsWhateverClocksSay) {
  unsigned int seed = 1;
  const auto draw = [&seed](unsigned int below) {
    seed = seed * 1103515245 + 12345;
    return static_cast<AxisX>((seed >> 8) % below);
  };
  for (int round = 0; round < 2000; ++round) {
    SCOPED_TRACE(round);
    Recorded recorded;
    const AxisX stretches = 1 + draw(12);
    for (AxisX i = 0; i < stretches; ++i) {
      const AxisX what = draw(8);
      if (what == 0) recorded.NewRun();
      if (what == 1) recorded.Lost(1 + draw(50));
      if (what == 2)
        recorded.WithoutTime(1 + draw(50));
      else
        recorded.Goes(1 + draw(50), draw(600));
    }
    const AxisLayout layout(recorded.Stretches());
    const CaseStretch* before = nullptr;
    for (const CaseStretch& stretch : recorded.Stretches()) {
      const AxisX moved = layout.Moved(stretch.first);
      ASSERT_EQ(layout.Moved(stretch.last) - moved, stretch.last - stretch.first);
      if (before != nullptr) {
        const bool joined = before->run == stretch.run && before->last + 1 == stretch.first;
        ASSERT_GE(moved, layout.Moved(before->last) + (joined ? 1 : 2));
      }
      if (!layout.IsDisplaced(stretch.first)) {
        ASSERT_LE(std::abs(moved - stretch.time.us / records::kTick_us), 4);
      }
      before = &stretch;
    }
    for (AxisX x = -5; x < recorded.Stretches().back().last + 5; ++x)
      ASSERT_LE(layout.Moved(x), layout.Moved(x + 1));
  }
}

// ---- What lies on it -------------------------------------------------------------

CaseRecording WithLine(const Recorded& recorded, Line line) {
  CaseRecording recording;
  recording.stretches = recorded.Stretches();
  CaseSeries series;
  series.line = std::move(line);
  recording.series = {series};
  return recording;
}

std::string LineText(const Line& line, AxisX zero) {
  std::string text;
  for (const LinePoint& point : line)
    text += (text.empty() ? "" : " ") + std::to_string(point.x - zero) + "=" +
            (point.IsKnown() ? std::to_string(point.value) : "?");
  return text;
}

TEST(LayOut, AValueHoldsOverAPauseButIsUnknownInIt) {
  const auto drives = Recorded().Goes(100, 0).Goes(100, kHour);
  CaseRecording recording = WithLine(drives, {{0, 5, 0}, {150, 6, 0}});
  LayOut(AxisLayout(drives.Stretches()), recording);
  EXPECT_EQ(LineText(recording.series[0].line, kTen), "0=5 100=? 7200=5 7250=6");
  EXPECT_TRUE(recording.on_utc);
}

TEST(LayOut, WhatIsToldAsAPauseEndsIsNotToldTwice) {
  const auto drives = Recorded().Goes(100, 0).Goes(100, kHour);
  CaseRecording recording = WithLine(drives, {{0, 5, 0}, {100, 6, 0}});
  LayOut(AxisLayout(drives.Stretches()), recording);
  EXPECT_EQ(LineText(recording.series[0].line, kTen), "0=5 100=? 7200=6");
}

TEST(LayOut, AValueHoldsWhereAClockIsSetBack) {
  const auto back = Recorded().Goes(100, 0).Goes(50, -kHour);
  CaseRecording recording = WithLine(back, {{0, 5, 0}, {120, 6, 0}});
  LayOut(AxisLayout(back.Stretches()), recording);
  EXPECT_EQ(LineText(recording.series[0].line, kTen), "0=5 120=6");
  EXPECT_FALSE(recording.stretches[0].displaced);
  EXPECT_TRUE(recording.stretches[1].displaced);
}

TEST(LayOut, NoWayLeadsOverAPause) {
  const auto drives = Recorded().Goes(100, 0).Goes(100, kHour);
  CaseRecording recording = WithLine(drives, {});
  for (const AxisX x : {0, 90, 110, 120}) {
    WayPoint point;
    point.x = x;
    recording.way.push_back(point);
  }
  LayOut(AxisLayout(drives.Stretches()), recording);
  std::vector<int> flags;
  for (const WayPoint& point : recording.way) flags.push_back(point.flags);
  EXPECT_THAT(flags, ElementsAre(0, 0, WayPoint::kBegins, 0));
  EXPECT_EQ(recording.way[2].x, kTen + kHour + 10);
}

TEST(PutOnOneAxis, OneMomentOfTwoRecordingsIsOnePlace) {
  const auto two_drives = Recorded().Goes(100, 0).Goes(300, 2 * kHour);
  const auto one_drive = Recorded().Goes(100, 2 * kHour + 20);
  std::vector<CaseRecording> recordings;
  for (const Recorded& recorded : {two_drives, one_drive}) {
    recordings.push_back(WithLine(recorded, {}));
    LayOut(AxisLayout(recorded.Stretches()), recordings.back());
  }
  const CaseFile file = PutOnOneAxis(std::move(recordings));
  EXPECT_EQ(file.axis_us, kTen * records::kTick_us);
  EXPECT_EQ(file.recordings[0].stretches[1].first, 2 * kHour);
  EXPECT_EQ(file.recordings[1].stretches[0].first, 2 * kHour + 20);
}

}  // namespace
}  // namespace vmr::tool
