#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "host/gps_util.h"
#include "host/string_utilities.h"

namespace vmr::test {
namespace {

// What SafeStrCpyCnt leaves in a buffer of eight '#'.
struct Copied {
  unsigned int count;
  std::string buffer;
};

Copied CopyOf(const char* source, unsigned int size) {
  char buffer[8];
  for (char& c : buffer) c = '#';
  const unsigned int count = StringUtilities::SafeStrCpyCnt(buffer, source, size);
  return {count, std::string(buffer, sizeof(buffer))};
}

void ExpectCopied(const Copied& copied, unsigned int count, const std::string& buffer) {
  EXPECT_EQ(copied.count, count);
  EXPECT_EQ(copied.buffer, buffer);
}

using namespace std::string_literals;

TEST(SafeStrCpyCnt, CopiesTerminatesAndCountsWithoutTheTerminator) {
  ExpectCopied(CopyOf("abc", 8), 3, "abc\0####"s);
}

TEST(SafeStrCpyCnt, CopiesAtMostOneLessThanTheSize) {
  ExpectCopied(CopyOf("abcdefghij", 8), 7, "abcdefg\0"s);
  ExpectCopied(CopyOf("abcd", 5), 4, "abcd\0###"s);
  ExpectCopied(CopyOf("abcd", 4), 3, "abc\0####"s);
}

TEST(SafeStrCpyCnt, ASizeOfOneLeavesRoomForTheTerminatorOnly) {
  ExpectCopied(CopyOf("abc", 1), 0, "\0#######"s);
}

TEST(SafeStrCpyCnt, ASizeOfZeroCopiesNothing) { ExpectCopied(CopyOf("abc", 0), 0, "########"); }

TEST(SafeStrCpyCnt, AnEmptyOrNullSourceCountsAsEmpty) {
  ExpectCopied(CopyOf("", 8), 0, "\0#######"s);
  ExpectCopied(CopyOf(nullptr, 8), 0, "\0#######"s);
}

TEST(CalcGpsSeconds, IsSixtyTenThousandthsTruncated) {
  const GpsUtil* const util = GpsUtil::Instance();
  EXPECT_EQ(util->CalcGpsSeconds(0), 0);
  EXPECT_EQ(util->CalcGpsSeconds(166), 0);
  EXPECT_EQ(util->CalcGpsSeconds(167), 1);
  EXPECT_EQ(util->CalcGpsSeconds(2500), 15);
  EXPECT_EQ(util->CalcGpsSeconds(9999), 59);
}

TEST(CalcGpsSeconds, NegativeFractionsAreTruncatedTowardsZero) {
  EXPECT_EQ(GpsUtil::Instance()->CalcGpsSeconds(-166), 0);
  EXPECT_EQ(GpsUtil::Instance()->CalcGpsSeconds(-2767), -16);
}

TEST(CalcGpsSeconds, TakesAnyNumber) {
  EXPECT_EQ(GpsUtil::Instance()->CalcGpsSeconds(std::numeric_limits<int>::max()), 12884901);
  EXPECT_EQ(GpsUtil::Instance()->CalcGpsSeconds(std::numeric_limits<int>::min()), -12884901);
}

}  // namespace
}  // namespace vmr::test
