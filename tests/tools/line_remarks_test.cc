#include "tools/record/line_remarks.h"

#include <gtest/gtest.h>

namespace vmr::tool {
namespace {

using Kind = LineRemarks::Kind;
using std::chrono::seconds;

class LineRemarksTest : public testing::Test {
 protected:
  // Takes so many lines, and gives what was said of them.
  std::string SaidOf(int lines, int at_s, Kind kind = Kind::kUnusable) {
    testing::internal::CaptureStderr();
    for (int line = 0; line < lines; ++line) remarks.Tell(kind, 7, "wrong", start + seconds(at_s));
    return testing::internal::GetCapturedStderr();
  }
  std::string SaidBy(int at_s) {
    testing::internal::CaptureStderr();
    remarks.Update(start + seconds(at_s));
    return testing::internal::GetCapturedStderr();
  }
  static std::string Lines(int count) {
    std::string text;
    for (int i = 0; i < count; ++i) text += "vmr: drive:7: wrong\n";
    return text;
  }

  const LineRemarks::Clock::time_point start = LineRemarks::Clock::now();
  LineRemarks remarks{"drive"};
};

TEST_F(LineRemarksTest, TenAMinuteAreToldAndTheOthersCounted) {
  EXPECT_EQ(SaidOf(10, 0), Lines(10));
  EXPECT_FALSE(remarks.Withholds());
  EXPECT_EQ(SaidOf(5, 59), "");
  EXPECT_TRUE(remarks.Withholds());
  EXPECT_EQ(SaidBy(59), "");
  EXPECT_EQ(SaidBy(60), "vmr: drive: 5 more lines could not be used\n");
  EXPECT_EQ(SaidBy(600), "");
}

TEST_F(LineRemarksTest, TheNextMinuteBeginsWithItsFirstLine) {
  SaidOf(12, 0);
  EXPECT_EQ(SaidOf(1, 100), "vmr: drive: 2 more lines could not be used\n" + Lines(1));
  EXPECT_EQ(SaidOf(10, 159), Lines(9));
  EXPECT_EQ(SaidOf(1, 160), "vmr: drive: 1 more lines could not be used\n" + Lines(1));
}

TEST_F(LineRemarksTest, KindsDoNotHideEachOther) {
  SaidOf(11, 0);
  EXPECT_EQ(SaidOf(12, 1, Kind::kJump), Lines(10));
  EXPECT_EQ(SaidOf(11, 1, Kind::kUsedInPart), Lines(10));
  EXPECT_EQ(SaidBy(60),
            "vmr: drive: 1 more lines could not be used\n"
            "vmr: drive: 1 more lines were used in part\n"
            "vmr: drive: 2 more lines jumped forward\n");
}

TEST_F(LineRemarksTest, WhatALineHoldsDoesNotReachTheTerminalAsItIs) {
  testing::internal::CaptureStderr();
  remarks.Tell(Kind::kUnusable, 1,
               "\"mode\" is \"\x1B[2J\xC2\x9B"
               "2J \xC3\xA9\"",
               start);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "vmr: drive:1: \"mode\" is \"\\x1B[2J\\x9B2J \xC3\xA9\"\n");
}

TEST_F(LineRemarksTest, AtTheEndTheCountIsNotWaitedFor) {
  SaidOf(11, 0);
  testing::internal::CaptureStderr();
  remarks.Conclude();
  remarks.Conclude();
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "vmr: drive: 1 more lines could not be used\n");
}

}  // namespace
}  // namespace vmr::tool
