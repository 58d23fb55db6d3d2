// Ranges of a full ring, extracted by the reader and by a second, plain
// implementation of the same rules: the files must be equal.
//
// VMR_PROPERTY_SEED=n runs with that seed instead of a new one; a failure prints
// the seed.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <random>
#include <string>

#include "reader/metadata_reader.h"
#include "tests/reader/reference_extraction.h"
#include "tests/support/captured_log.h"
#include "tests/support/full_ring.h"
#include "tests/support/sanitized.h"
#include "tests/support/simulated_files.h"

namespace vmr::test {
namespace {

struct Range {
  unsigned int start;
  unsigned int end;
};

// Of a ring; with sanitizers less than a third.
constexpr int kRanges = kSanitized ? 60 : 200;

class SecondExtraction : public testing::Test {
 protected:
  SecondExtraction() : SecondExtraction(Seed(), {}) {}
  SecondExtraction(std::uint32_t seed, const FullRingCourse& course)
      : random(seed), ring(seed, random() % FullRing::kClusters, course) {
    files.MakeDirectory("/m");
    files.PutFile("/m/r_1.mtd", {});
    files.PutBlocks("/m/r_1.mtd", 0, FullRing::kClusters, [this](std::size_t cluster) {
      return Bytes(ring.Cluster(cluster), ring.Cluster(cluster) + 4096);
    });
    files.CopyContent("/m/r_1.mtd", "/m/r_2.mtd");
  }

  static std::uint32_t Seed() {
    static const std::uint32_t kSeed = [] {
      const char* const wanted = getenv("VMR_PROPERTY_SEED");
      return wanted != nullptr ? static_cast<std::uint32_t>(strtoul(wanted, nullptr, 10))
                               : std::random_device{}();
    }();
    return kSeed;
  }
  std::size_t Below(std::size_t n) { return random() % n; }
  // One of the ticks, or the one before or after it.
  unsigned int Near(const std::vector<unsigned int>& ticks) {
    return ticks[Below(ticks.size())] + static_cast<unsigned int>(Below(3)) - 1;
  }
  unsigned int FirstTick(std::size_t cluster) const { return ClusterSt(ring.Cluster(cluster)); }

  // Where both sides find a dump within an hour of ticks.
  Range AnyRange() {
    const std::vector<unsigned int>& ticks = ring.PacketTicks();
    const unsigned int oldest_dump = ring.DumpTicks()[1];
    unsigned int start = 0;
    switch (Below(6)) {
      case 0:
        start = Near(ring.DumpTicks());
        break;
      case 1:  // across the file's end
        start =
            FirstTick(FullRing::kClusters - 1 - Below(3)) + static_cast<unsigned int>(Below(90));
        break;
      case 2:  // where clusters meet
        start = FirstTick(Below(FullRing::kClusters)) + static_cast<unsigned int>(Below(3)) - 1;
        break;
      default:
        start = Near(ticks);
    }
    start = std::max(start, oldest_dump);
    return {start,
            start + static_cast<unsigned int>(Below(8) == 0 ? Below(9000) : Below(900)) - 25};
  }
  Range RangeAtTheEnd() {
    const unsigned int newest = ring.PacketTicks().back();
    const unsigned int start = newest + 40 - static_cast<unsigned int>(Below(400));
    static const unsigned int kEnds[] = {0xFFFFFFFF, 0xFFFFFFF0, 0xFFFFFFEA};
    return {start, Below(2) == 0 ? kEnds[Below(3)] : start + static_cast<unsigned int>(Below(300))};
  }

  void ExpectEqual(const Range& range, RingAccess access) {
    SCOPED_TRACE("range " + std::to_string(range.start) + " to " + std::to_string(range.end));
    ReferenceExtraction reference([this](std::size_t n) { return ring.Cluster(n); }, ring.Oldest());
    testing::internal::CaptureStdout();  // states of radars that are not there are told
    const bool extracted = reference.Run(range.start, range.end);
    MetadataReader reader(access);
    EXPECT_EQ(reader.ReadToNewFile("/m/r", "/m/out", range.start, range.end, nullptr), extracted);
    testing::internal::GetCapturedStdout();
    const Bytes file = files.Content("/m/out");
    const auto differs =
        std::mismatch(file.begin(), file.end(), reference.File().begin(), reference.File().end());
    EXPECT_TRUE(file == reference.File())
        << "at byte " << differs.first - file.begin() << " of " << file.size() << ", expected "
        << reference.File().size();
    files.ClearOperations();
    packets += reader.LastExtraction().packets;
    found_by_first_tick += reference.FoundByFirstTick() ? 1 : 0;
    failed += extracted ? 0 : 1;
  }

  CapturedLog quiet{0};
  SimulatedFiles files;
  std::mt19937 random;
  FullRing ring;
  unsigned long packets = 0;
  int found_by_first_tick = 0;
  int failed = 0;
};

// A busy unit's, whose clusters hold so little time that few have a whole tick. In
// the oldest part of such a ring no dump has one before it in its cluster.
class SecondExtractionOfABusyRing : public SecondExtraction {
 protected:
  static constexpr std::uint32_t kSeed = 4;
  SecondExtractionOfABusyRing() : SecondExtraction(kSeed, {1, 12}) {}

  // At a dump, where clusters meet, or anywhere, within hours of the oldest tick.
  unsigned int OldStart() {
    constexpr std::size_t kOldDumps = 6, kOldClusters = 900;
    if (Below(3) == 0)
      return ring.DumpTicks()[Below(kOldDumps)] + static_cast<unsigned int>(Below(3)) - 1;
    const unsigned int cluster_tick =
        FirstTick((ring.Oldest() + Below(kOldClusters)) % FullRing::kClusters);
    return cluster_tick + static_cast<unsigned int>(Below(2) == 0 ? Below(3) - 1 : Below(40));
  }
};

TEST_F(SecondExtraction, RandomRangesOfAFullRingAreEqualByteForByte) {
  SCOPED_TRACE("VMR_PROPERTY_SEED=" + std::to_string(Seed()));
  ASSERT_GT(ring.DumpTicks().size(), 100U);
  const unsigned int oldest = ring.PacketTicks().front();
  // Before all dumps: these pass the whole ring.
  ExpectEqual({oldest - 50, oldest + 200}, RingAccess::kReadOnly);
  ExpectEqual({oldest + 60, oldest + 30}, RingAccess::kRepair);
  const unsigned int newest = ring.PacketTicks().back();
  ExpectEqual({newest, 0xFFFFFFFF}, RingAccess::kReadOnly);
  ExpectEqual({newest + 1, 0xFFFFFFFF}, RingAccess::kReadOnly);
  ExpectEqual({0xFFFFFFFF, 0xFFFFFFFF}, RingAccess::kReadOnly);
  for (int n = 5; n < kRanges && !HasFailure(); ++n)
    ExpectEqual(n % 10 == 0 ? RangeAtTheEnd() : AnyRange(),
                n % 2 == 0 ? RingAccess::kRepair : RingAccess::kReadOnly);
  EXPECT_GT(packets, 50U * kRanges);
  RecordProperty("packets", static_cast<int>(packets));
}

TEST_F(SecondExtractionOfABusyRing, RangesNearItsOldestEndAreEqualByteForByte) {
  for (int n = 0; n < 12 && !HasFailure(); ++n) {
    const unsigned int start = OldStart();
    ExpectEqual({start, start + static_cast<unsigned int>(Below(300))},
                n % 2 == 0 ? RingAccess::kRepair : RingAccess::kReadOnly);
  }
  EXPECT_GT(found_by_first_tick, 2);
  EXPECT_GT(failed, 0);
  RecordProperty("found_by_first_tick", found_by_first_tick);
  RecordProperty("failed", failed);
}

}  // namespace
}  // namespace vmr::test
