// Rings as sources: whole, torn, lost, overtaken, mixed.
#include "records/ring_source.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/backends/ring_fixture.h"
#include "tests/records/decoded.h"
#include "tests/support/file_hook.h"

namespace vmr::records {
namespace {

using namespace test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class RingSourceTest : public test::RingTest {
 protected:
  std::unique_ptr<RingSource> Open() { return RingSource::Open(kFile1, kFile2, problem_); }
  // Of everything in the ring.
  Lines ReadAll() {
    Lines lines;
    const std::unique_ptr<RingSource> source = Open();
    EXPECT_NE(source, nullptr) << static_cast<int>(problem_);
    if (source == nullptr) return lines;
    Decoder(*source, lines).Run();
    conflicts_ = source->Conflicts();
    return lines;
  }
  // A bookmark at `tick`, and `more` items.
  static Bytes Marked(unsigned int tick, const std::string& more = "") {
    return ClusterImage(tick, Hdr1(tick, "56 " + more));
  }
  static Bytes Spoilt(Bytes image) {
    image[9] = static_cast<unsigned char>(image[9] ^ 0x10);
    return image;
  }
  // A wrapped ring whose newest cluster is `newest`: that of cluster c behind the oldest
  // is of tick 1000 + c.
  void PutWrapped(std::size_t newest) {
    const auto image = [newest](std::size_t c) {
      const std::size_t age = (c + test::kRingClusters - newest - 1) % test::kRingClusters;
      return Marked(static_cast<unsigned int>(1000 + age));
    };
    PutEmptyPair();
    files_.PutBlocks(kFile1, 0, test::kRingClusters, image);
    files_.CopyContent(kFile1, kFile2);
  }

  RingProblem problem_{};
  int conflicts_ = 0;
};

TEST_F(RingSourceTest, YoungRingIsReadFromItsFirstCluster) {
  PutEmptyPair();
  PutInBoth(0, Marked(5));
  PutInBoth(1, Marked(9));
  const Lines lines = ReadAll();
  EXPECT_THAT(lines.lines, ElementsAre("5 bookmark", "9 bookmark"));
  EXPECT_EQ(lines.places[1].cluster, 1);
  EXPECT_EQ(lines.places[1].offset, 4096 + 7 + 6);
}

TEST_F(RingSourceTest, EmptyRingHoldsNothing) {
  PutEmptyPair();
  EXPECT_THAT(ReadAll().lines, IsEmpty());
}

TEST_F(RingSourceTest, WrappedRingBeginsBehindItsNewestClusterWithAGap) {
  PutWrapped(99);
  const Lines lines = ReadAll();
  ASSERT_THAT(lines.lines, SizeIs(1 + test::kRingClusters));
  EXPECT_EQ(lines.lines[0], "gap -..1000 overwritten");
  EXPECT_EQ(lines.lines[1], "1000 bookmark");
  EXPECT_EQ(lines.places[0].cluster, 100);
  EXPECT_EQ(lines.lines.back(), "33767 bookmark");
}

TEST_F(RingSourceTest, OneFileIsEnough) {
  PutEmptyRing(kFile2);
  PutCluster(kFile2, 0, Marked(5));
  EXPECT_THAT(ReadAll().lines, ElementsAre("5 bookmark"));
}

TEST_F(RingSourceTest, WithoutFilesThereIsNone) {
  EXPECT_EQ(Open(), nullptr);
  EXPECT_EQ(problem_, RingProblem::kNoFile);
}

TEST_F(RingSourceTest, LongerCopyCounts) {
  PutEmptyPair();
  PutCluster(kFile1, 0, Marked(5));
  PutCluster(kFile2, 0, ClusterImage(5, Hdr1(5, "56") + Hdr2(6, "34")));
  const Lines lines = ReadAll();
  EXPECT_THAT(lines.lines, ElementsAre("5 bookmark", "6 input input='emergency lights' on=1"));
  EXPECT_EQ(lines.places[0].file, 2);
  EXPECT_EQ(conflicts_, 0);
}

TEST_F(RingSourceTest, CopyWithATickCountsWhereContinuationsHadNone) {
  PutEmptyPair();
  PutInBoth(0, Marked(5));
  PutCluster(kFile1, 1, ClusterImage(0xFFFFFFFE, Cont("56 56")));
  PutCluster(kFile2, 1, ClusterImage(9, Cont("56 56") + Hdr2(9, "56")));
  EXPECT_THAT(ReadAll().lines, ElementsAre("5 bookmark", "5 bookmark", "5 bookmark", "9 bookmark"));
}

TEST_F(RingSourceTest, NewestClustersOfContinuationsAloneAreRead) {
  PutEmptyPair();
  PutInBoth(0, Marked(5));
  PutInBoth(1, ClusterImage(0xFFFFFFFE, Cont("34 36")));
  EXPECT_THAT(ReadAll().lines, ElementsAre("5 bookmark", "5 input input='emergency lights' on=1",
                                           "5 input input='siren' on=1"));
}

TEST_F(RingSourceTest, ClusterBadInOneFileIsReadFromTheOther) {
  PutEmptyPair();
  PutInBoth(0, Marked(5));
  PutCluster(kFile1, 0, Spoilt(Marked(5)));
  EXPECT_THAT(ReadAll().lines, ElementsAre("5 bookmark"));
}

TEST_F(RingSourceTest, ClusterBadInBothIsAGapAndWhatIsBehindItIsRead) {
  PutEmptyPair();
  for (std::size_t c = 0; c < 4; ++c) PutInBoth(c, Marked(static_cast<unsigned int>(10 + c)));
  PutInBoth(1, Spoilt(Marked(11)));
  PutInBoth(2, Spoilt(Marked(12)));
  const Lines lines = ReadAll();
  EXPECT_THAT(lines.lines, ElementsAre("10 bookmark", "gap 10..13 lost clusters", "13 bookmark"));
  EXPECT_EQ(lines.gaps[0].clusters, 2);
  EXPECT_EQ(lines.gaps[0].place.cluster, 1);
}

TEST_F(RingSourceTest, ClusterThatBothFilesHaveMissedIsAGap) {
  PutWrapped(99);
  PutInBoth(50, Marked(77));  // of the lap before
  const Lines lines = ReadAll();
  EXPECT_THAT(lines.gaps, SizeIs(2));
  for (const std::string& line : lines.lines) EXPECT_NE(line, "77 bookmark");
}

// There was no lap before: ticks began anew.
TEST_F(RingSourceTest, ClusterOfANewRunIsReadInARingThatHasNotWrapped) {
  PutEmptyPair();
  PutInBoth(0, Marked(1));
  PutInBoth(1, Marked(50));
  PutInBoth(2, Marked(7));
  PutInBoth(3, Marked(60));
  EXPECT_THAT(ReadAll().lines, ElementsAre("1 bookmark", "50 bookmark", "run 1 from 7",
                                           "7 bookmark", "60 bookmark"));
}

TEST_F(RingSourceTest, TornCopyWithARightCrcGivesWayToASoundOne) {
  PutEmptyPair();
  PutInBoth(0, Marked(5, "34"));
  PutCluster(kFile1, 0, ClusterImage(5, B("80 05 00 00 00 09 56 36")));
  EXPECT_THAT(ReadAll().lines, ElementsAre("5 bookmark", "5 input input='emergency lights' on=1"));
  EXPECT_EQ(conflicts_, 0);
}

TEST_F(RingSourceTest, FilesOfTwoRecordingsAreRefused) {
  PutEmptyPair();
  for (std::size_t c = 0; c < 6; ++c)
    PutCluster(kFile1, c, Marked(static_cast<unsigned int>(10 + 100 * c)));
  for (std::size_t c = 0; c < 2; ++c)
    PutCluster(kFile2, c, Marked(static_cast<unsigned int>(30 + 100 * c), "34"));
  EXPECT_EQ(Open(), nullptr);
  EXPECT_EQ(problem_, RingProblem::kTwoRecordings);
}

TEST_F(RingSourceTest, OneClusterOfAnotherRecordingIsEnoughToRefuse) {
  PutEmptyPair();
  PutInBoth(0, Marked(10));
  PutCluster(kFile2, 0, ClusterImage(30, Hdr1(30, "34") + Hdr1(31, "35")));
  EXPECT_EQ(Open(), nullptr);
  EXPECT_EQ(problem_, RingProblem::kTwoRecordings);
}

// Among many that agree one that does not is damage, and is counted.
TEST_F(RingSourceTest, OneConflictAmongManyIsNoOtherRecording) {
  PutEmptyPair();
  for (std::size_t c = 0; c < 6; ++c) PutInBoth(c, Marked(static_cast<unsigned int>(10 + 100 * c)));
  PutCluster(kFile2, 3, ClusterImage(312, Hdr1(312, "34") + Hdr1(313, "35")));
  ReadAll();
  EXPECT_EQ(conflicts_, 1);
}

TEST_F(RingSourceTest, CopyWhoseFirstTickIsItsPacketsCounts) {
  PutEmptyPair();
  PutInBoth(0, ClusterImage(5, Hdr2(5, "56")));
  PutCluster(kFile1, 0, ClusterImage(9, Hdr2(5, "56")));
  const Lines lines = ReadAll();
  EXPECT_EQ(lines.places.at(0).file, 2);
}

// The other file has come round since, and nothing in common is left: the unit's name
// tells whether it is its own.
TEST_F(RingSourceTest, FileOlderByALapIsOfOneRecordingIfTheUnitIsTheSame) {
  for (const char* unit : {"01", "02"}) {
    PutWrapped(99);
    for (const char* path : {kFile1, kFile2}) {
      const bool newer = std::string(path) == kFile1;
      const std::string mac = std::string("02 00 11 22 33 44 55 ") + (newer ? "01" : unit);
      files_.PutBlocks(path, 0, test::kRingClusters, [&](std::size_t c) {
        return Marked(static_cast<unsigned int>(1000 + c + (newer ? test::kRingClusters : 0)), mac);
      });
    }
    const bool same = std::string(unit) == "01";
    EXPECT_EQ(Open() != nullptr, same);
    EXPECT_EQ(problem_, same ? RingProblem::kNone : RingProblem::kTwoRecordings);
  }
}

TEST_F(RingSourceTest, RingWhoseEndCannotBeFoundIsRefused) {
  PutEmptyPair();
  PutInBoth(0, Spoilt(Marked(5)));
  EXPECT_EQ(Open(), nullptr);
  EXPECT_EQ(problem_, RingProblem::kNoEnd);
}

// A recorder's search reads the first cluster, the last one, and some between them.
TEST_F(RingSourceTest, ClusterOfTheSearchThatIsBadInBothIsAGapLikeAnyOther) {
  for (int bad = 0; bad < 5; ++bad) {
    PutEmptyPair();
    std::vector<std::string> expected;
    for (int c = 0; c < 5; ++c) {
      const Bytes image = Marked(static_cast<unsigned int>(10 * c));
      PutInBoth(static_cast<std::size_t>(c), c == bad ? Spoilt(image) : image);
    }
    const Lines lines = ReadAll();
    EXPECT_THAT(lines.lines, testing::Contains(testing::EndsWith("lost clusters")).Times(1)) << bad;
    int bookmarks = 0;
    for (const std::string& line : lines.lines) bookmarks += line.find("bookmark") != line.npos;
    EXPECT_EQ(bookmarks, 4) << bad;
  }
}

TEST_F(RingSourceTest, EndOfAWrappedRingIsFoundThoughTheSearchCannotRead) {
  PutWrapped(99);
  for (const std::size_t bad : {std::size_t{0}, test::kRingClusters - 1, test::kRingClusters / 2})
    PutInBoth(bad, Spoilt(Marked(5)));
  const std::unique_ptr<RingSource> source = Open();
  ASSERT_NE(source, nullptr);
  EXPECT_TRUE(source->SearchedAll());
  EXPECT_EQ(source->Span().newest, 99);
  EXPECT_TRUE(source->Span().has_wrapped);
  const Lines lines = ReadAll();
  EXPECT_EQ(lines.lines.front(), "gap -..1000 overwritten");
  EXPECT_EQ(lines.lines.back(), "33767 bookmark");
  // The last cluster and the first one stand beside each other.
  EXPECT_THAT(lines.gaps, SizeIs(3));
}

// Neither is a lap: the second run began again at a low tick.
TEST_F(RingSourceTest, DropOfTicksInTheFirstLapIsNoWrapThoughTheSearchCannotRead) {
  PutEmptyPair();
  int cluster = 0;
  for (const unsigned int tick : {1U, 50U, 7U, 60U})
    PutInBoth(static_cast<std::size_t>(cluster++), Marked(tick));
  PutInBoth(test::kRingClusters / 2 - 1, Spoilt(Marked(5)));
  const std::unique_ptr<RingSource> source = Open();
  ASSERT_NE(source, nullptr);
  EXPECT_TRUE(source->SearchedAll());
  EXPECT_FALSE(source->Span().has_wrapped);
  EXPECT_THAT(ReadAll().lines, ElementsAre("1 bookmark", "50 bookmark", "run 1 from 7",
                                           "7 bookmark", "60 bookmark"));
}

TEST_F(RingSourceTest, WhatARecorderWritesOverMeanwhileIsAGap) {
  PutWrapped(99);
  const std::unique_ptr<RingSource> source = Open();
  ASSERT_NE(source, nullptr);
  for (std::size_t c = 100; c < 103; ++c)
    PutInBoth(c, Marked(static_cast<unsigned int>(40000 + c)));
  Lines lines;
  Decoder(*source, lines).Run();
  EXPECT_EQ(lines.lines[0], "gap -..1003 overwritten");
  EXPECT_EQ(lines.lines[1], "1003 bookmark");
  EXPECT_EQ(lines.lines.back(), "33767 bookmark");
  EXPECT_EQ(lines.gaps[0].clusters, 3);
}

TEST_F(RingSourceTest, FilesAreNeverWritten) {
  PutWrapped(3);
  PutCluster(kFile1, 7, Spoilt(Marked(1)));
  files_.ClearOperations();
  ReadAll();
  EXPECT_THAT(files_.Trace({test::FileOp::kWrite}), IsEmpty());
}

TEST_F(RingSourceTest, TimesAreLookedForFromTheClusterAtHandOn) {
  PutEmptyPair();
  PutInBoth(0, Marked(10));
  PutInBoth(1, Marked(20));
  PutInBoth(2, Marked(30, "03 64 00 00 00"));
  const Lines lines = ReadAll();
  EXPECT_EQ(lines.times[0].us, 90000000);
  EXPECT_EQ(lines.times[0].quality, TimeQuality::kEstimated);
  EXPECT_EQ(lines.times[1].us, 95000000);
}

}  // namespace
}  // namespace vmr::records
