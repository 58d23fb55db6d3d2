#include "host/crc8.h"

#include <gtest/gtest.h>

#include "tests/support/reference_crc.h"

namespace vmr::test {
namespace {

unsigned char Crc(const Bytes& bytes, unsigned char initial) {
  return Crc8(bytes.data(), static_cast<unsigned int>(bytes.size()), initial);
}

Bytes SomeBytes(std::size_t count) {
  Bytes bytes;
  unsigned int state = 12345;
  for (std::size_t i = 0; i < count; ++i) {
    state = state * 1103515245 + 12345;
    bytes.push_back(static_cast<unsigned char>(state >> 16));
  }
  return bytes;
}

const Bytes kDigits = B("31 32 33 34 35 36 37 38 39");

TEST(Crc8, CheckValueIsF4) { EXPECT_EQ(Crc(kDigits, 0x00), 0xF4); }

TEST(Crc8, ReferenceOfTheseTestsHasTheSameCheckValue) {
  EXPECT_EQ(ReferenceCrc8(kDigits, 0x00), 0xF4);
}

TEST(Crc8, OneBitIsThePolynomial) { EXPECT_EQ(Crc(B("01"), 0x00), 0x07); }

TEST(Crc8, NoBytesLeaveTheInitialValue) {
  EXPECT_EQ(Crc8(nullptr, 0, 0xFF), 0xFF);
  EXPECT_EQ(Crc8(nullptr, 0, 0x00), 0x00);
}

TEST(Crc8, AgreesWithTheReferenceForEveryLengthUpTo300) {
  const Bytes all = SomeBytes(300);
  for (std::size_t length = 0; length <= 300; ++length) {
    const Bytes bytes(all.begin(), all.begin() + static_cast<long>(length));
    for (const unsigned char initial : B("00 FF 5A"))
      ASSERT_EQ(Crc(bytes, initial), ReferenceCrc8(bytes, initial)) << length;
  }
}

TEST(Crc8, AgreesWithTheReferenceAtEveryAlignment) {
  const Bytes all = SomeBytes(300);
  for (std::size_t start = 0; start < 32; ++start) {
    const Bytes bytes(all.begin() + static_cast<long>(start), all.end());
    ASSERT_EQ(Crc8(all.data() + start, static_cast<unsigned int>(all.size() - start), 0xFF),
              ReferenceCrc8(bytes))
        << start;
  }
}

TEST(Crc8, AgreesWithTheReferenceForEveryByteAndInitialValue) {
  for (int byte = 0; byte < 256; ++byte)
    for (int initial = 0; initial < 256; ++initial) {
      const Bytes bytes = {static_cast<unsigned char>(byte)};
      const auto from = static_cast<unsigned char>(initial);
      ASSERT_EQ(Crc(bytes, from), ReferenceCrc8(bytes, from)) << byte << " " << initial;
    }
}

TEST(Crc8, AgreesWithTheReferenceForAWholeCluster) {
  const Bytes cluster = SomeBytes(4096);
  EXPECT_EQ(Crc(cluster, 0xFF), ReferenceCrc8(cluster));
}

TEST(Crc8, ContinuesFromAnEarlierResultWhereverItIsSplit) {
  const Bytes all = SomeBytes(300);
  const unsigned char whole = ReferenceCrc8(all);
  for (unsigned int split = 0; split <= all.size(); ++split) {
    const unsigned char first = Crc8(all.data(), split, 0xFF);
    const auto rest = static_cast<unsigned int>(all.size()) - split;
    ASSERT_EQ(Crc8(all.data() + split, rest, first), whole) << split;
  }
}

}  // namespace
}  // namespace vmr::test
