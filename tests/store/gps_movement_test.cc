// The 20-foot rule without trigonometry decides as it does with it.
#include "store/gps_movement.h"

#include <gtest/gtest.h>

#include "host/log.h"
#include "tests/support/captured_log.h"
#include "tests/support/movement_pairs.h"

namespace vmr::test {
namespace {

using Verdict = DriftArea::Verdict;

constexpr AxesTTs kHome = {42 * kTTsPerDegree + 302500, 83 * kTTsPerDegree + 107500};

Verdict Judge(const AxesTTs& from, std::int32_t north, std::int32_t west) {
  DriftArea area;
  area.MoveTo(from);
  return area.Judge({from.lat + north, from.lon + west});
}

class GpsMovement : public testing::Test {
 protected:
  CapturedLog log{kLogError};
};

TEST_F(GpsMovement, WhatIsPlainIsWhatTheDistanceTells) {
  constexpr long kPairs = 100000;  // vmr_movement_pairs compares ten million
  MovementPairs pairs(1);
  EXPECT_TRUE(pairs.Compare(kPairs)) << pairs.Difference();
  EXPECT_GT(pairs.Rests(), kPairs / 10);
  EXPECT_GT(pairs.Moves(), kPairs / 10);
}

TEST_F(GpsMovement, AroundNothingAllIsUnclear) {
  DriftArea area;
  EXPECT_EQ(area.Judge({0, 0}), Verdict::kUnclear);
  area.MoveTo(kHome);
  EXPECT_EQ(area.Judge(kHome), Verdict::kRests);
  area.Forget();
  EXPECT_EQ(area.Judge(kHome), Verdict::kUnclear);
}

TEST_F(GpsMovement, AWayNorthIsPlainToTheLastTenThousandthOfAMinute) {
  for (const std::int32_t lat : {-kHome.lat, 0, kHome.lat, 89 * kTTsPerDegree})
    for (const int sign : {-1, 1}) {
      EXPECT_EQ(Judge({lat, kHome.lon}, sign * 32, 0), Verdict::kRests) << lat;
      EXPECT_EQ(Judge({lat, kHome.lon}, sign * 33, 0), Verdict::kMoves) << lat;
    }
}

TEST_F(GpsMovement, UpTo60DegreesLessThanOneFootInThirtyIsUnclear) {
  for (int degrees = -60; degrees < 60; ++degrees) {
    const AxesTTs from = {degrees * kTTsPerDegree + 1000, 0};
    int unclear = 0, limit = 0;
    for (int west = 0; west < 200; ++west) {
      if (Judge(from, 0, west) == Verdict::kUnclear) ++unclear;
      if (!IsMovement(from, {from.lat, west})) limit = west;
    }
    EXPECT_LE(unclear, 1 + limit / 30) << degrees;
  }
}

// Far away, across the date line, where no place is: trigonometry decides.
TEST_F(GpsMovement, WhatIsNotNearIsUnclear) {
  EXPECT_EQ(Judge(kHome, 32767, 0), Verdict::kMoves);
  EXPECT_EQ(Judge(kHome, 32768, 0), Verdict::kUnclear);
  EXPECT_EQ(Judge(kHome, 0, -32768), Verdict::kMoves);
  EXPECT_EQ(Judge(kHome, 0, -32769), Verdict::kUnclear);
  EXPECT_EQ(Judge({0, 180 * kTTsPerDegree}, 0, -kTTsPerCircle), Verdict::kUnclear);
  EXPECT_EQ(Judge({1 << 30, 0}, 0, 0), Verdict::kUnclear);
  EXPECT_EQ(Judge({0, -(1 << 30) - 1}, 0, 0), Verdict::kUnclear);
  EXPECT_EQ(Judge({(1 << 30) - 1, -(1 << 30)}, 0, 0), Verdict::kRests);
}

// A circle of latitude has no length there, so that a way west tells nothing.
TEST_F(GpsMovement, NearThePolesOnlyAWayNorthOrSouthIsPlain) {
  for (const std::int32_t lat : {-90 * kTTsPerDegree, 90 * kTTsPerDegree - 100}) {
    EXPECT_EQ(Judge({lat, 0}, 0, 30000), Verdict::kUnclear);
    EXPECT_EQ(Judge({lat, 0}, lat < 0 ? 33 : -33, 30000), Verdict::kMoves);
    EXPECT_EQ(Judge({lat, 0}, lat < 0 ? 32 : -32, 100), Verdict::kRests);
  }
}

}  // namespace
}  // namespace vmr::test
