#include "backends/metadata_hdr_cache.h"

#include <gtest/gtest.h>

#include "tests/support/captured_log.h"

namespace vmr {
namespace {

using test::CapturedLog;

CLUSTER_HEADER_T HeaderWithTick(unsigned char low_byte) {
  return {0xAB, {low_byte, 0x00, 0x00, 0x00}, {0x07, 0x00}};
}

void Fill(MetadataHdrCache& cache, int count) {
  for (int cluster = 0; cluster < count; ++cluster) cache.Add(cluster, HeaderWithTick(1));
}

TEST(MetadataHdrCache, StartsEmpty) {
  const MetadataHdrCache cache(1024);
  EXPECT_EQ(cache.Size(), 0U);
  EXPECT_EQ(cache.Find(0), nullptr);
}

TEST(MetadataHdrCache, KeepsTheBytesAsTheyStandOnDisk) {
  MetadataHdrCache cache(1024);
  cache.Add(5, {0xCD, {0x04, 0x03, 0x02, 0x01}, {0x0A, 0x01}});
  const CLUSTER_HEADER_T* const found = cache.Find(5);
  ASSERT_NE(found, nullptr);
  EXPECT_EQ(found->crc, 0xCD);
  EXPECT_EQ(found->st[0], 0x04);
  EXPECT_EQ(found->st[3], 0x01);
  EXPECT_EQ(found->FirstTick(), 0x01020304U);
  EXPECT_EQ(found->UsedBytes(), 0x010A);
}

TEST(MetadataHdrCache, AFullCacheKeepsNoFurtherClusterAndSaysSo) {
  MetadataHdrCache cache(1024);
  CapturedLog log;
  Fill(cache, 1024);
  EXPECT_EQ(cache.Size(), 1024U);
  EXPECT_TRUE(log.Entries().empty());

  cache.Add(1024, HeaderWithTick(1));
  EXPECT_EQ(cache.Size(), 1024U);
  EXPECT_EQ(cache.Find(1024), nullptr);
  EXPECT_TRUE(log.Has(64, "MetadataHdrCache.cc", "Cannot add to cache, already at max size"));
}

TEST(MetadataHdrCache, TheLastFreePlaceIsUsed) {
  MetadataHdrCache cache(1024);
  Fill(cache, 1023);
  cache.Add(9999, HeaderWithTick(1));
  EXPECT_NE(cache.Find(9999), nullptr);
  EXPECT_EQ(cache.Size(), 1024U);
  cache.Add(10000, HeaderWithTick(1));  // and none behind it, message or not
  EXPECT_EQ(cache.Find(10000), nullptr);
}

TEST(MetadataHdrCache, WhatIsKeptStaysKeptAsMoreIsAdded) {
  MetadataHdrCache cache(1024);
  for (int n = 0; n < 1024; ++n)
    cache.Add(32767 - n, HeaderWithTick(static_cast<unsigned char>(n)));
  for (int n = 0; n < 1024; ++n) {
    ASSERT_NE(cache.Find(32767 - n), nullptr) << n;
    EXPECT_EQ(cache.Find(32767 - n)->FirstTick(), static_cast<unsigned int>(n) % 256);
  }
}

TEST(MetadataHdrCache, ASmallOneIsFullAtItsCapacity) {
  MetadataHdrCache cache(3);
  Fill(cache, 4);
  EXPECT_EQ(cache.Size(), 3U);
  EXPECT_NE(cache.Find(2), nullptr);
  EXPECT_EQ(cache.Find(3), nullptr);
}

TEST(MetadataHdrCache, ASecondHeaderForAClusterKeepsTheFirst) {
  MetadataHdrCache cache(1024);
  cache.Add(7, HeaderWithTick(1));
  cache.Add(7, HeaderWithTick(2));
  EXPECT_EQ(cache.Find(7)->FirstTick(), 1U);
  EXPECT_EQ(cache.Size(), 1U);
}

TEST(MetadataHdrCache, FindAfterClearReturnsNull) {
  MetadataHdrCache cache(1024);
  cache.Add(7, HeaderWithTick(1));
  cache.Clear();
  EXPECT_EQ(cache.Find(7), nullptr);
  EXPECT_EQ(cache.Size(), 0U);
}

TEST(MetadataHdrCache, AHitIsTraced) {
  MetadataHdrCache cache(1024);
  cache.Add(7, HeaderWithTick(1));
  CapturedLog log;
  cache.Find(8);
  EXPECT_TRUE(log.Entries().empty());
  cache.Find(7);
  EXPECT_EQ(log.Count(128, "MetadataHdrCache.cc", "Found item in cache"), 1);
}

TEST(MetadataHdrCache, ACapacityOfZeroKeepsNothing) {
  MetadataHdrCache cache(0);
  CapturedLog log;
  cache.Add(0, HeaderWithTick(1));
  EXPECT_EQ(cache.Size(), 0U);
  EXPECT_EQ(log.Texts(64).size(), 1U);
}

}  // namespace
}  // namespace vmr
