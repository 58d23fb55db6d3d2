// The list that says what is to be taken out, and the grid that positions are moved to.
#include "tools/evidence/redaction.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <iterator>
#include <random>
#include <string>

#include "tools/evidence/position_grid.h"

namespace vmr::tool {
namespace {

using records::Position;
using records::PositionQuality;
using records::Sensitivity;
using testing::AllOf;
using testing::HasSubstr;

std::string TextOf(const std::string& list) {
  std::string error;
  const auto redaction = Redaction::Of(list, error);
  return redaction ? redaction->Text() : "error: " + error;
}

TEST(RedactionList, IsToldInOneFormHoweverItIsWritten) {
  EXPECT_EQ(TextOf("text,gps=1000m,identity"), "identity,gps=1km,text");
  EXPECT_EQ(TextOf("identity,gps=1km,text"), "identity,gps=1km,text");
  EXPECT_EQ(TextOf("gps=100m"), "gps=100m,text");
  EXPECT_EQ(TextOf("gps=1500m"), "gps=1500m,text");
  EXPECT_EQ(TextOf("gps=10m"), "gps=10m,text");
  EXPECT_EQ(TextOf("gps=100km"), "gps=100km,text");
  EXPECT_EQ(TextOf("text"), "text");
  EXPECT_EQ(TextOf("temperature,inputs,streams,cameras,audio,speed,radar,text,gps,identity"),
            "identity,gps,text,radar,speed,audio,cameras,streams,inputs,temperature");
}

TEST(RedactionList, TakesFreeTextsAlongUnlessTheyAreToStay) {
  EXPECT_EQ(TextOf("radar"), "text,radar");
  EXPECT_EQ(TextOf("radar,text=keep"), "text=keep,radar");
  EXPECT_EQ(TextOf(TextOf("text=keep,radar")), "text=keep,radar");
  EXPECT_THAT(TextOf("text=keep"), HasSubstr("text=keep: nothing else is taken out"));
}

TEST(RedactionList, ThatNamesWhatIsNotThereIsToldWhatIs) {
  for (const char* list : {"", ",", "identity,", ",gps", "name", "Identity", "gps ,text", "=1km"})
    EXPECT_THAT(TextOf(list), AllOf(HasSubstr("cannot be taken out; there are identity, gps (or "),
                                    HasSubstr("text (or text=keep), radar, speed, audio, "),
                                    HasSubstr("cameras, streams, inputs, temperature")))
        << list;
}

TEST(RedactionList, TakesNoGridThatIsNone) {
  for (const char* grid : {"", "0m", "9m", "101km", "100001m", "1", "1mile", "-1km", "1.5km", "km",
                           "1 km", "99999999999999999999m", "1km=2km"})
    EXPECT_EQ(TextOf(std::string("gps=") + grid),
              std::string("error: gps=") + grid +
                  ": no grid; whole numbers of m or km from 10m to 100km, as in gps=1km");
}

TEST(RedactionList, SaysEverythingOnceAndGivesValuesToNoOther) {
  EXPECT_EQ(TextOf("gps,gps=1km"), "error: gps: stands twice");
  EXPECT_EQ(TextOf("text=keep,text"), "error: text: stands twice");
  EXPECT_EQ(TextOf("radar,radar"), "error: radar: stands twice");
  EXPECT_EQ(TextOf("radar=1km"), "error: radar=1km: radar takes no value");
  EXPECT_EQ(TextOf("text=drop"), "error: text=drop: text, or text=keep");
}

TEST(RedactionList, TakesAKindOutForItselfOrForOneOfItsFields) {
  std::string error;
  const auto gps = Redaction::Of("gps,text=keep", error);
  ASSERT_TRUE(gps);
  EXPECT_EQ(gps->TakenOutFor(KindOf(records::KindId::kPosition)), Sensitivity::kGps);
  EXPECT_EQ(gps->TakenOutFor(KindOf(records::KindId::kSpeed)), Sensitivity::kGps);
  EXPECT_EQ(gps->TakenOutFor(KindOf(records::KindId::kLog)), Sensitivity::kNone);
  EXPECT_EQ(gps->TakenOutFor(KindOf(records::KindId::kPolicy)), Sensitivity::kNone);
  EXPECT_FALSE(gps->TakesOnlyTextOf(KindOf(records::KindId::kSpeed)));
  EXPECT_FALSE(gps->TakesOnlyTextOf(KindOf(records::KindId::kPolicy)));
  const auto identity = Redaction::Of("identity", error);
  ASSERT_TRUE(identity);
  EXPECT_TRUE(identity->TakesOnlyTextOf(KindOf(records::KindId::kCameraName)));
  EXPECT_FALSE(identity->TakesOnlyTextOf(KindOf(records::KindId::kOfficer)));
  EXPECT_FALSE(identity->TakesOnlyTextOf(KindOf(records::KindId::kLiveStream)));
}

// docs/redaction.md has a row for each class, made of the same table.
TEST(RedactionManual, HasEveryClassWithItsKinds) {
  std::ifstream file(VMR_SOURCE_DIR "/docs/redaction.md");
  const std::string manual((std::istreambuf_iterator<char>(file)),
                           std::istreambuf_iterator<char>());
  std::string rows;
  for (const records::SensitivityRow& row : records::Sensitivities()) {
    std::string kinds;
    for (const records::KindRow& kind : records::Kinds())
      if (GivesAway(kind, row.id))
        kinds += std::string(kinds.empty() ? "" : ", ") + "`" + kind.name + "`";
    rows += std::string("| `") + row.name + "` | " + row.what + " | " + kinds + " |\n";
  }
  EXPECT_THAT(manual, HasSubstr("| --- | --- | --- |\n" + rows + "\n"));
}

// ---- The grid ----------------------------------------------------------------------

constexpr std::int32_t kDegree = 600000;

Position At(std::int32_t latitude_tts, std::int32_t longitude_tts) {
  return {latitude_tts, longitude_tts, PositionQuality::kKnown};
}
bool IsSame(const Position& a, const Position& b) {
  return a.latitude_tts == b.latitude_tts && a.longitude_tts == b.longitude_tts;
}

class RandomPlaces {
 public:
  Position Next() {
    // Poles, equator and date line come often.
    const auto corner = [this](std::int32_t most) {
      const std::int32_t at[] = {-most, 0, most};
      const std::int32_t tts = at[random_() % 3] + static_cast<std::int32_t>(random_() % 41) - 20;
      return std::max(-most, std::min(most, tts));
    };
    const auto any = [this](std::int32_t most) {
      return std::uniform_int_distribution<std::int32_t>(-most, most)(random_);
    };
    const bool at_corner = random_() % 4 == 0;
    return at_corner ? At(corner(90 * kDegree), corner(180 * kDegree))
                     : At(any(90 * kDegree), any(180 * kDegree));
  }

 private:
  std::mt19937 random_{7};
};

constexpr unsigned int kCellMetres[] = {10, 100, 250, 1000, 7777, 100000};

TEST(PositionGrid, HasMiddlesOnEarthThatAreTheirOwn) {
  RandomPlaces places;
  for (const unsigned int cell_m : kCellMetres) {
    const PositionGrid grid(cell_m);
    for (int n = 0; n < 2000; ++n) {
      const Position middle = grid.MiddleOf(places.Next());
      EXPECT_TRUE(IsSame(grid.MiddleOf(middle), middle)) << cell_m;
      EXPECT_LE(std::abs(middle.latitude_tts), 90 * kDegree);
      EXPECT_LE(std::abs(middle.longitude_tts), 180 * kDegree);
      EXPECT_EQ(middle.quality, PositionQuality::kKnown);
    }
  }
}

// How far it goes from a middle until the cell is another one, in TTs.
template <typename Move>
std::int32_t ToBorder(const PositionGrid& grid, const Position& middle, std::int32_t most,
                      Move move) {
  std::int32_t inside = 0, outside = most;
  while (outside - inside > 1) {
    const std::int32_t between = inside + (outside - inside) / 2;
    (IsSame(grid.MiddleOf(move(between)), middle) ? inside : outside) = between;
  }
  return outside;
}

TEST(PositionGrid, HasNoCellThatIsSmallerThanAskedForNorMuchTaller) {
  RandomPlaces places;
  constexpr double kMetresPerTT = 0.18429;  // of latitude, at the equator
  for (const unsigned int cell_m : kCellMetres) {
    const PositionGrid grid(cell_m);
    for (int n = 0; n < 300; ++n) {
      const Position middle = grid.MiddleOf(places.Next());
      const std::int32_t north = ToBorder(
          grid, middle, 90 * kDegree - middle.latitude_tts + 1,
          [&](std::int32_t tts) { return At(middle.latitude_tts + tts, middle.longitude_tts); });
      const double height_m = 2 * north * kMetresPerTT;
      // A TT at each of both borders may belong to either cell.
      EXPECT_GE(height_m, cell_m - 4 * kMetresPerTT);
      EXPECT_LE(height_m, cell_m * 1.02 + 4 * kMetresPerTT);
      const double narrowest =
          std::cos((std::abs(middle.latitude_tts) + north) / (180.0 * kDegree) * std::acos(-1.0));
      const std::int32_t east = ToBorder(
          grid, middle, 180 * kDegree - middle.longitude_tts,
          [&](std::int32_t tts) { return At(middle.latitude_tts, middle.longitude_tts + tts); });
      const bool is_whole_row = middle.longitude_tts == 0 && east >= 180 * kDegree - 1;
      EXPECT_TRUE(is_whole_row || 2 * east * kMetresPerTT * narrowest >= cell_m - 4 * kMetresPerTT)
          << cell_m << " " << middle.latitude_tts << " " << middle.longitude_tts;
    }
  }
}

TEST(PositionGrid, CallsBothSidesOfTheDateLineByOneNameAtTheLineItself) {
  for (const unsigned int cell_m : kCellMetres) {
    const PositionGrid grid(cell_m);
    EXPECT_TRUE(IsSame(grid.MiddleOf(At(7 * kDegree, 180 * kDegree)),
                       grid.MiddleOf(At(7 * kDegree, -180 * kDegree))));
  }
}

TEST(PositionGrid, TellsAtEvenTicksApartAsFarAsACellTakes) {
  EXPECT_EQ(PositionGrid(1000).TellsEveryTicks(), 200U);  // 100 s at 10 m/s
  EXPECT_EQ(PositionGrid(100).TellsEveryTicks(), 20U);
  EXPECT_EQ(PositionGrid(10).TellsEveryTicks(), 2U);
  EXPECT_EQ(PositionGrid(11).TellsEveryTicks(), 4U);
}

}  // namespace
}  // namespace vmr::tool
