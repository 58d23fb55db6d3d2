// Fewer points of a line, and which of them stay.
#include "tools/report/thinning.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace vmr::tool {
namespace {

bool Has(const Line& line, AxisX x) {
  return std::any_of(line.begin(), line.end(),
                     [x](const LinePoint& point) { return point.x == x; });
}

TEST(Thinning, EndsPeaksAndWhatIsUnknownStay) {
  Line line;
  for (AxisX x = 0; x < 10000; ++x) line.push_back({x, x == 4321 ? 900 : 0, 0});
  line[7000] = {7000, 0, LinePoint::kUnknown};
  line[7500] = {7500, 0, LinePoint::kWrongCrc};
  EXPECT_TRUE(ThinLine(line, 1000));
  EXPECT_LE(line.size(), 1010U);
  EXPECT_GE(line.size(), 900U);
  for (const AxisX x : {0, 4321, 7000, 7500, 9999}) EXPECT_TRUE(Has(line, x)) << x;
  EXPECT_TRUE(std::is_sorted(line.begin(), line.end(),
                             [](const LinePoint& a, const LinePoint& b) { return a.x < b.x; }));
}

TEST(Thinning, ALineOfNoMorePointsThanThatStaysAsItIs) {
  Line line(1000);
  EXPECT_FALSE(ThinLine(line, 1000));
  EXPECT_EQ(line.size(), 1000U);
}

}  // namespace
}  // namespace vmr::tool
