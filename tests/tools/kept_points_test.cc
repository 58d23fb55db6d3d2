// The points of a piece of the way, in memory and in a file without a name.
#include "tools/read/kept_points.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <vector>

#include "tests/support/file_hook.h"
#include "tests/support/temp_dir.h"

namespace vmr::tool {
namespace {

using test::PassingOn;
using test::TempDir;

constexpr std::size_t kMost = KeptPoints::kInMemory;

// Fails what the test says, and counts what is written.
class ScarceFiles final : public PassingOn {
 public:
  ssize_t Write(int fd, const void* data, std::size_t count) override {
    if (blocks >= blocks_with_room) {
      errno = ENOSPC;
      return -1;
    }
    ++blocks;
    return PassingOn::Write(fd, data, count);
  }
  ssize_t Read(int fd, void* buffer, std::size_t count) override {
    if (reads_fail) {
      errno = EIO;
      return -1;
    }
    return PassingOn::Read(fd, buffer, most_read == 0 ? count : std::min(count, most_read));
  }

  int blocks = 0;
  int blocks_with_room = 1 << 20;
  bool reads_fail = false;
  std::size_t most_read = 0;  // at once; 0: any
};

class KeptPointsTest : public testing::Test {
 protected:
  void SetUp() override { setenv("TMPDIR", folder.Path("").c_str(), 1); }
  void TearDown() override { unsetenv("TMPDIR"); }

  void Add(std::size_t count) {
    for (std::size_t n = 0; n < count; ++n) {
      TrackPoint point;
      point.tick = static_cast<unsigned int>(points.Count());
      if (n % 2 == 1) point.speed_mm_per_s = static_cast<std::int64_t>(n);
      points.Add(point);
    }
  }
  // Each once, in order, with all that it has.
  void ExpectAll(std::size_t count) {
    EXPECT_EQ(points.Count(), count);
    EXPECT_EQ(points.First().tick, 0U);
    EXPECT_EQ(points.Last().tick, count - 1);
    std::size_t next = 0;
    EXPECT_TRUE(points.ForEach([&](const TrackPoint& point) {
      ASSERT_EQ(point.tick, next);
      ASSERT_EQ(point.speed_mm_per_s.has_value(), next % 2 == 1);
      ++next;
    }));
    EXPECT_EQ(next, count);
  }

  TempDir folder;
  ScarceFiles files;
  KeptPoints points;
};

TEST_F(KeptPointsTest, AFewNeedNoFile) {
  Add(kMost);
  EXPECT_EQ(files.blocks, 0);
  ExpectAll(kMost);
}

TEST_F(KeptPointsTest, ManyStandInAFileWithoutAName) {
  for (const std::size_t count : {kMost + 1, 3 * kMost, 3 * kMost + 1}) {
    SCOPED_TRACE(count);
    points.Clear();
    Add(count);
    ExpectAll(count);
    ExpectAll(count);
  }
  EXPECT_EQ(files.blocks, 1 + 2 + 3);
  EXPECT_TRUE(std::filesystem::is_empty(folder.Path("")));
}

TEST_F(KeptPointsTest, MoreMayComeAfterTheyWereGoneThrough) {
  Add(2 * kMost);
  ExpectAll(2 * kMost);
  Add(2 * kMost);
  ExpectAll(4 * kMost);
}

TEST_F(KeptPointsTest, ShortReadsAreGoneOnBehind) {
  files.most_read = 1000;
  Add(2 * kMost + 1);
  ExpectAll(2 * kMost + 1);
}

TEST_F(KeptPointsTest, WhatTheFileHasNoRoomForStaysInMemory) {
  files.blocks_with_room = 1;
  Add(3 * kMost);
  ExpectAll(3 * kMost);
  EXPECT_EQ(files.blocks, 1);
  files.blocks_with_room = 1 << 20;
  points.Clear();
  Add(3 * kMost);
  ExpectAll(3 * kMost);
  EXPECT_EQ(files.blocks, 1 + 2);
}

TEST_F(KeptPointsTest, WithoutAFolderForTheFileAllStayInMemory) {
  setenv("TMPDIR", folder.Path("none").c_str(), 1);
  Add(3 * kMost);
  ExpectAll(3 * kMost);
  EXPECT_EQ(files.blocks, 0);
}

TEST_F(KeptPointsTest, APointThatCannotBeReadAgainIsTold) {
  Add(2 * kMost);
  files.reads_fail = true;
  EXPECT_FALSE(points.ForEach([](const TrackPoint& /*point*/) {}));
  EXPECT_EQ(errno, EIO);
}

}  // namespace
}  // namespace vmr::tool
