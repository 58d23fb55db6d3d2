// What is true of every ring file and every cluster, in bytes.
#include "backends/cluster_format.h"

#include <gtest/gtest.h>

#include "tests/support/bytes.h"

namespace vmr::test {
namespace {

Bytes Head(const Bytes& cluster) { return Bytes(cluster.begin(), cluster.begin() + 7); }

// Of 16 bytes, full of something.
Bytes Old() { return Bytes(16, 0xEE); }

TEST(ClusterFormat, ANeverWrittenClusterIsItsHeaderAndZeros) {
  Bytes cluster = Old();
  FillNeverWritten(cluster.data(), 16);
  EXPECT_EQ(cluster, B("A8 FF FF FF FF 07 00 00 00 00 00 00 00 00 00 00"));
}

TEST(ClusterFormat, SealingSetsSizeAndCrcAndLeavesTheRest) {
  Bytes cluster = B("00 04 03 02 01 00 00 82 01 36 FF EE EE EE EE EE");
  SealCluster(cluster.data(), 11);
  EXPECT_EQ(cluster, B("CE 04 03 02 01 0B 00 82 01 36 FF EE EE EE EE EE"));
}

TEST(ClusterFormat, ACrcEndsAtTheSize) {
  Bytes cluster = B("00 04 03 02 01 00 00 82 01 36 FF EE EE EE EE EE");
  SealCluster(cluster.data(), 11);
  const unsigned char crc = cluster[0];
  cluster[11] = 0x00;
  EXPECT_EQ(ClusterCrc(cluster.data()), crc);
  cluster[10] = 0x00;
  EXPECT_NE(ClusterCrc(cluster.data()), crc);
}

TEST(ClusterFormat, FieldsAreLeastSignificantByteFirst) {
  Bytes cluster(4096, 0x00);
  SetClusterSt(cluster.data(), 0x01020304);
  SealCluster(cluster.data(), 4096);
  EXPECT_EQ(Head(cluster), B("03 04 03 02 01 00 10"));
  EXPECT_EQ(ClusterSt(cluster.data()), 0x01020304U);
  EXPECT_EQ(ClusterSize(cluster.data()), 4096);
}

TEST(ClusterFormat, TheHighestThreeFirstTicksAreNone) {
  for (const unsigned int st : {0U, 1U, 0xFFFFFFFCU}) EXPECT_TRUE(TellsTick(st)) << st;
  for (const unsigned int st : {0xFFFFFFFDU, 0xFFFFFFFEU, 0xFFFFFFFFU})
    EXPECT_FALSE(TellsTick(st)) << st;
}

TEST(ClusterFormat, NeighboursGoRoundTheRing) {
  EXPECT_EQ(NextCluster(0), 1);
  EXPECT_EQ(NextCluster(32766), 32767);
  EXPECT_EQ(NextCluster(32767), 0);
  EXPECT_EQ(PreviousCluster(1), 0);
  EXPECT_EQ(PreviousCluster(0), 32767);
  EXPECT_EQ(PreviousCluster(32767), 32766);
}

TEST(ClusterFormat, FilesAreNamedAfterTheBaseAndTheirNumber) {
  EXPECT_EQ(RingFileName("/data/meta", 1), "/data/meta_1.mtd");
  EXPECT_EQ(RingFileName("car7", 2), "car7_2.mtd");
}

TEST(ClusterFormat, FilesAreForTheirOwnerAndGroup) { EXPECT_EQ(kRingFileMode, mode_t{0660}); }

}  // namespace
}  // namespace vmr::test
