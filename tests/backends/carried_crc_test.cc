// A cluster's CRC that is carried from append to append is the one that is computed.
#include "backends/carried_crc.h"

#include <gtest/gtest.h>

#include <random>

#include "backends/cluster_format.h"
#include "tests/support/reference_crc.h"
#include "tests/support/sanitized.h"

namespace vmr::test {
namespace {

using Service = CarriedCrc::Service;

// A CRC of eight bits, most significant bit first.
template <unsigned int kPolynomial>
unsigned char Straight(const unsigned char* data, unsigned int length, unsigned char initial) {
  unsigned int crc = initial;
  for (; length > 0; --length, ++data) {
    crc ^= *data;
    for (int bit = 0; bit < 8; ++bit)
      crc = (crc & 0x80) != 0 ? (crc << 1 ^ kPolynomial) & 0xFF : crc << 1;
  }
  return static_cast<unsigned char>(crc);
}

// Least significant bit first.
template <unsigned int kPolynomial>
unsigned char Reflected(const unsigned char* data, unsigned int length, unsigned char initial) {
  unsigned int crc = initial;
  for (; length > 0; --length, ++data) {
    crc ^= *data;
    for (int bit = 0; bit < 8; ++bit) crc = (crc & 1) != 0 ? crc >> 1 ^ kPolynomial : crc >> 1;
  }
  return static_cast<unsigned char>(crc);
}

// What a unit might have in the place of a CRC.
unsigned char Sum(const unsigned char* data, unsigned int length, unsigned char initial) {
  for (; length > 0; --length) initial = static_cast<unsigned char>(initial + *data++);
  return initial;
}
unsigned char Complemented(const unsigned char* data, unsigned int length, unsigned char initial) {
  return static_cast<unsigned char>(~Crc8(data, length, initial));
}
unsigned char ComplementedInside(const unsigned char* data, unsigned int length,
                                 unsigned char initial) {
  const auto inside = static_cast<unsigned char>(~initial);
  return static_cast<unsigned char>(~Crc8(data, length, inside));
}
unsigned char WithTheLength(const unsigned char* data, unsigned int length, unsigned char initial) {
  return static_cast<unsigned char>(Crc8(data, length, initial) ^ (length > 20 ? length : 0));
}
unsigned char Always0(const unsigned char* /*data*/, unsigned int length, unsigned char initial) {
  return length == 0 ? initial : 0;
}
unsigned char Counting(const unsigned char* data, unsigned int length, unsigned char initial) {
  for (; length > 0; --length) initial = static_cast<unsigned char>((initial ^ *data++) + 1);
  return initial;
}
unsigned char ForgettingOneBit(const unsigned char* data, unsigned int length,
                               unsigned char initial) {
  return Straight<0x06>(data, length, initial);
}

// A cluster that fills up.
class Cluster {
 public:
  explicit Cluster(Service service) : service_(service) { Begin(100); }

  void Begin(std::uint32_t st) {
    image_.assign(kClusterBytes, 0);
    SetClusterSize(image_.data(), kClusterHeaderBytes);
    SetClusterSt(image_.data(), st);
  }
  int Room() const { return kClusterBytes - Size(); }
  int Size() const { return ClusterSize(image_.data()); }
  void Append(int bytes) {
    for (int n = 0; n < bytes; ++n)
      image_[static_cast<std::size_t>(Size() + n)] = static_cast<unsigned char>(random_());
    SetClusterSize(image_.data(), Size() + bytes);
  }
  unsigned char ComputedCrc() const {
    return service_(&image_[1], static_cast<unsigned int>(Size() - 1), 0xFF);
  }
  unsigned char* Image() { return image_.data(); }

 private:
  Service service_;
  Bytes image_;
  std::mt19937 random_{7};
};

// Appends up to the last byte, and to a second cluster. False at the first CRC that is
// another than the computed one.
bool IsRightWhileTwoClustersFill(CarriedCrc& carried, Service service, int most_bytes) {
  std::mt19937 random(static_cast<unsigned int>(most_bytes));
  Cluster cluster(service);
  for (int n = 0; n < 2; ++n) {
    cluster.Begin(100);
    while (cluster.Room() > 0) {
      const int drawn = 1 + static_cast<int>(random() % static_cast<unsigned int>(most_bytes));
      const int before = cluster.Size();
      cluster.Append(std::min(drawn, cluster.Room()));
      cluster.Image()[0] = carried.OfAppended(cluster.Image(), before);
      if (cluster.Image()[0] != cluster.ComputedCrc()) return false;
    }
  }
  return true;
}

void ExpectCarried(Service service) {
  for (const int most_bytes : {1, 2, 61, 262, 1000, 4089}) {
    CarriedCrc carried;
    carried.Learn(service);
    EXPECT_TRUE(carried.CanCarry());
    EXPECT_TRUE(IsRightWhileTwoClustersFill(carried, service, most_bytes)) << most_bytes;
    EXPECT_TRUE(carried.CanCarry()) << "the first one proved right";
  }
}

void ExpectComputed(Service service) {
  CarriedCrc carried;
  carried.Learn(service);
  EXPECT_FALSE(carried.CanCarry());
  EXPECT_TRUE(IsRightWhileTwoClustersFill(carried, service, 61));
}

TEST(CarriedCrc, IsTheComputedOneForEveryAppend) { ExpectCarried(Crc8); }

TEST(CarriedCrc, IsTheComputedOneForOtherCrcsOfEightBits) {
  ExpectCarried(Straight<0x31>);
  ExpectCarried(Reflected<0x8C>);
  if (kSanitized) return;         // two of six: the others take the same ways through the code
  ExpectCarried(Straight<0x01>);  // moves bits round and nothing else
  ExpectCarried(Straight<0x9B>);
  ExpectCarried(Straight<0xD5>);
  ExpectCarried(Reflected<0xE0>);
}

TEST(CarriedCrc, WhatIsNoCrcOfEightBitsIsComputedEveryTime) {
  for (const Service service :
       {Sum, Complemented, ComplementedInside, WithTheLength, Always0, Counting, ForgettingOneBit})
    ExpectComputed(service);
}

TEST(CarriedCrc, NothingIsCarriedBeforeItWasLearned) {
  CarriedCrc carried;
  EXPECT_FALSE(carried.CanCarry());
  EXPECT_TRUE(IsRightWhileTwoClustersFill(carried, Crc8, 61));
}

// Byte 0 is wrong beforehand: only one that is computed comes out right.
TEST(CarriedCrc, TheFirstOneOfAClusterIsComputed) {
  CarriedCrc carried;
  carried.Learn();
  Cluster cluster(Crc8);
  for (int n = 0; n < 3; ++n) {
    cluster.Append(50);
    cluster.Image()[0] = carried.OfAppended(cluster.Image(), cluster.Size() - 50);
  }
  cluster.Begin(200);
  cluster.Append(20);
  cluster.Image()[0] = 0x5A;
  EXPECT_EQ(carried.OfAppended(cluster.Image(), 7), cluster.ComputedCrc());
}

TEST(CarriedCrc, AfterSomethingElseHasChangedItIsComputed) {
  CarriedCrc carried;
  carried.Learn();
  Cluster cluster(Crc8);
  for (std::uint32_t st = 300; st < 310; ++st) {
    cluster.Append(50);
    SetClusterSt(cluster.Image(), st);
    carried.Forget();
    cluster.Image()[0] = carried.OfAppended(cluster.Image(), cluster.Size() - 50);
    EXPECT_EQ(cluster.Image()[0], cluster.ComputedCrc()) << st;
  }
}

TEST(CarriedCrc, WhatWasFilledBeforeLearningIsComputed) {
  CarriedCrc carried;
  Cluster cluster(Crc8);
  for (int n = 0; n < 5; ++n) {
    cluster.Append(50);
    carried.Learn();
    cluster.Image()[0] = 0x5A;
    EXPECT_EQ(carried.OfAppended(cluster.Image(), cluster.Size() - 50), cluster.ComputedCrc());
  }
}

// Longer than what was learned from.
unsigned char OddAboveOneHundred(const unsigned char* data, unsigned int length,
                                 unsigned char initial) {
  return static_cast<unsigned char>(Crc8(data, length, initial) ^ (length > 100 ? 0x55 : 0));
}

TEST(CarriedCrc, AServiceThatProvesOtherAtItsFirstUseIsComputedFromThenOn) {
  CarriedCrc carried;
  carried.Learn(OddAboveOneHundred);
  EXPECT_TRUE(carried.CanCarry()) << "the control: learning did not tell";
  EXPECT_TRUE(IsRightWhileTwoClustersFill(carried, OddAboveOneHundred, 200));
  EXPECT_FALSE(carried.CanCarry());
}

#ifndef NDEBUG
// Right as long as a cluster is not half full.
unsigned char OddWhenHalfFull(const unsigned char* data, unsigned int length,
                              unsigned char initial) {
  return static_cast<unsigned char>(Crc8(data, length, initial) ^ (length > 2048 ? 0x55 : 0));
}

TEST(CarriedCrcDeathTest, BuildsWithAssertionsCompareEveryOne) {
  CarriedCrc carried;
  carried.Learn(OddWhenHalfFull);
  EXPECT_DEATH(static_cast<void>(IsRightWhileTwoClustersFill(carried, OddWhenHalfFull, 61)),
               "carried == computed");
}
#endif

}  // namespace
}  // namespace vmr::test
