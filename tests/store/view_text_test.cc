// Printing a listing's texts: as printf does, in the order in which they were printed.
#include "store/view_text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <cstdio>
#include <string>

namespace vmr {
namespace {

template <typename... Arguments>
std::string Formatted(const char* format, Arguments... arguments) {
  char text[64];
  const int length = std::snprintf(text, sizeof(text), format, arguments...);
  return std::string(text, static_cast<std::size_t>(length));
}

template <typename... Pieces>
std::string Printed(const Pieces&... pieces) {
  testing::internal::CaptureStdout();
  PrintText(pieces...);
  return testing::internal::GetCapturedStdout();
}

template <typename... Pieces>
std::string PrintedInBatch(const Pieces&... pieces) {
  testing::internal::CaptureStdout();
  {
    const ViewBatch batch;
    PrintText(pieces...);
  }
  return testing::internal::GetCapturedStdout();
}

// Around every number of digits, both signs, both ends.
constexpr int kNumbers[] = {
    0,       1,       9,        10,       11,        99,          100,        101,     105,
    999,     1000,    1005,     9999,     10000,     10050,       99999,      100000,  999999,
    1000000, 9999999, 10000000, 99999999, 100000000, 999999999,   1000000000, INT_MAX, -1,
    -9,      -10,     -99,      -100,     -12345,    INT_MIN + 1, INT_MIN};

TEST(ViewText, NumbersArePrintedAsPrintfDoes) {
  for (const int value : kNumbers) {
    const auto bits = static_cast<unsigned int>(value);
    EXPECT_EQ(Printed(value), Formatted("%d", value));
    EXPECT_EQ(Printed(bits), Formatted("%u", bits));
    EXPECT_EQ(Printed(Dec2{value}), Formatted("%02d", value));
    EXPECT_EQ(Printed(Wide5{bits}), Formatted("%5u", bits));
    EXPECT_EQ(Printed(Hex2{bits}), Formatted("%02X", bits));
    EXPECT_EQ(Printed(LowerHex2{bits}), Formatted("%02x", bits));
    EXPECT_EQ(PrintedInBatch(value, Dec2{value}, Wide5{bits}, Hex2{bits}),
              Formatted("%d%02d%5u%02X", value, value, bits, bits));
  }
}

TEST(ViewText, EveryHexNumberHasAsManyDigitsAsPrintfGivesIt) {
  for (unsigned int value = 1; value != 0; value <<= 1) {
    EXPECT_EQ(Printed(Hex2{value}), Formatted("%02X", value));
    EXPECT_EQ(Printed(Hex2{value - 1}), Formatted("%02X", value - 1));
  }
}

TEST(ViewText, NarrowNumbersAreNumbersAndCharactersAreCharacters) {
  const unsigned char byte = 65;
  const short negative = -3;
  const bool yes = true;
  EXPECT_EQ(PrintedInBatch(byte, ' ', negative, ' ', yes, ' ', 'A'), "65 -3 1 A");
}

TEST(ViewText, ATextEndsAtItsNulAndAViewDoesNot) {
  const std::string with_nul("ab\0c", 4);
  EXPECT_EQ(PrintedInBatch(with_nul.c_str()), "ab");
  EXPECT_EQ(PrintedInBatch(std::string_view(with_nul)), with_nul);
  EXPECT_EQ(PrintedInBatch('\0', "x"), std::string("\0x", 2));
  EXPECT_EQ(PrintedInBatch(std::string_view(), ""), "");
}

TEST(ViewText, WithoutABatchATextIsStdiosAtOnce) {
  testing::internal::CaptureStdout();
  PrintText("a", 1);
  std::fputs("-", stdout);
  PrintText(std::string_view("b"), Hex2{10});
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "a1-b0A");
}

TEST(ViewText, ABatchKeepsItsTextUntilItEnds) {
  testing::internal::CaptureStdout();
  {
    const ViewBatch batch;
    PrintText("a");
    {
      const ViewBatch inner;
      PrintText("b");
    }
    std::fputs("-", stdout);
    PrintText("c");
  }
  std::fputs("+", stdout);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "-abc+");
}

TEST(ViewText, WhatDoesNotFitIsPrintedInItsPlace) {
  const std::string large(100000, 'x');
  std::string expected;
  testing::internal::CaptureStdout();
  {
    const ViewBatch batch;
    for (int n = 0; n < 3000; ++n) {
      PrintText("line ", n, ' ', std::string_view(large.data(), static_cast<std::size_t>(n % 70)),
                '\n');
      expected += "line " + std::to_string(n) + ' ' +
                  large.substr(0, static_cast<std::size_t>(n % 70)) + '\n';
      if (n % 500 != 499) continue;
      PrintText('[', large.c_str(), ']', n);
      expected += '[' + large + ']' + std::to_string(n);
    }
  }
  EXPECT_EQ(testing::internal::GetCapturedStdout(), expected);
}

}  // namespace
}  // namespace vmr
