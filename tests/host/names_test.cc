// The names of numbers that recordings carry.
#include <gtest/gtest.h>

#include <fstream>
#include <limits>
#include <set>
#include <string>

#include "host/enum_to_string.h"
#include "host/mic_client.h"

namespace vmr::test {
namespace {

using NameOf = const char* (*)(int);

constexpr int kAnyNumbers[] = {std::numeric_limits<int>::min(), -1, 0, 1, 4, 9, 50, 255, 256, 65535,
                               std::numeric_limits<int>::max()};

void ExpectDistinctNames(NameOf name_of, int count) {
  std::set<std::string> names;
  for (int number = 0; number < count; ++number) {
    EXPECT_STRNE(name_of(number), "") << number;
    EXPECT_TRUE(names.insert(name_of(number)).second) << name_of(number);
  }
}

TEST(EnumToString, SpeedUnits) {
  EXPECT_STREQ(EnumToString::SpeedUnitsToStr(0), "none");
  EXPECT_STREQ(EnumToString::SpeedUnitsToStr(1), "km/h");
  EXPECT_STREQ(EnumToString::SpeedUnitsToStr(2), "mph");
  EXPECT_STREQ(EnumToString::SpeedUnitsToStr(3), "as set on radar");
}

TEST(EnumToString, RadarTypeZeroIsNone) {
  EXPECT_STREQ(EnumToString::RadarTypeToStr(0), "none");
  ExpectDistinctNames(EnumToString::RadarTypeToStr, 2);
}

TEST(EnumToString, PlacesAndFormatsHaveDistinctNames) {
  ExpectDistinctNames(EnumToString::MicPositionToStr, 4);
  ExpectDistinctNames(EnumToString::CameraPortToStr, 9);
  ExpectDistinctNames(EnumToString::VideoFormatToStr, 2);
}

TEST(EnumToString, AnyNumberHasAText) {
  for (const NameOf name_of :
       {EnumToString::SpeedUnitsToStr, EnumToString::RadarTypeToStr, EnumToString::MicPositionToStr,
        EnumToString::TimeZoneToStr, EnumToString::CameraPortToStr, EnumToString::VideoFormatToStr})
    for (const int number : kAnyNumbers) EXPECT_NE(name_of(number), nullptr) << number;
}

TEST(EnumToString, FiftyTimeZonesWithDistinctNames) {
  EXPECT_EQ(EnumToString::kTimeZoneCount, 50);
  ExpectDistinctNames(EnumToString::TimeZoneToStr, 50);
}

TEST(EnumToString, NoTimeZoneOutsideTheTable) {
  EXPECT_STREQ(EnumToString::TimeZoneToStr(-1), "");
  EXPECT_STREQ(EnumToString::TimeZoneToStr(50), "");
}

// Needs the machine's time zone database (package tzdata).
TEST(EnumToString, EveryTimeZoneIsInTheIanaDatabase) {
  for (int index = 0; index < EnumToString::kTimeZoneCount; ++index) {
    const std::string path =
        std::string("/usr/share/zoneinfo/") + EnumToString::TimeZoneToStr(index);
    std::ifstream zone(path, std::ios::binary);
    char magic[4] = {};
    zone.read(magic, sizeof(magic));
    EXPECT_EQ(std::string(magic, sizeof(magic)), "TZif") << path;
  }
}

TEST(MicClient, EveryPositionHasAName) {
  std::set<std::string> names;
  for (const char* const name : MicClient::names) {
    EXPECT_STRNE(name, "");
    EXPECT_TRUE(names.insert(name).second) << name;
  }
  EXPECT_EQ(names.size(), 4u);
}

}  // namespace
}  // namespace vmr::test
