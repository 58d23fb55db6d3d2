// The title that a page has when nobody gave it one.
#include <gtest/gtest.h>

#include "tools/report/case_zone.h"
#include "tools/report/page.h"

namespace vmr::tool {
namespace {

constexpr std::int64_t kNoon_us = 1560945600000000;  // 2019-06-19T12:00:00 UTC
constexpr AxisX kDay = 2 * 86400;

CaseRecording Recording(const std::string& name, AxisX first, AxisX last) {
  CaseRecording recording;
  recording.name = name;
  CaseStretch stretch;
  stretch.first = first;
  stretch.last = last;
  stretch.time = {kNoon_us + first * records::kTick_us, records::TimeQuality::kExact};
  recording.stretches = {stretch};
  return recording;
}

std::string TitleOfThese(std::vector<CaseRecording> recordings) {
  CaseFile file;
  file.axis_us = kNoon_us;
  file.has_time = true;
  file.recordings = std::move(recordings);
  SetZone("UTC", true, file);
  return TitleOf(file, {});
}

TEST(PageTitle, NamesTheDayOrTheFirstAndTheLast) {
  EXPECT_EQ(TitleOfThese({Recording("r", 0, 100)}), "r, 2019-06-19");
  EXPECT_EQ(TitleOfThese({Recording("r", 0, 5 * kDay)}), "r, 2019-06-19 to 2019-06-24");
}

TEST(PageTitle, HasTheDaysOfAllRecordings) {
  EXPECT_EQ(TitleOfThese({Recording("a", 2 * kDay, 2 * kDay + 9), Recording("b", 0, 9)}),
            "a and b, 2019-06-19 to 2019-06-21");
}

}  // namespace
}  // namespace vmr::tool
