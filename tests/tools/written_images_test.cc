// What recover has written, read back.
#include "tools/ring/written_images.h"

#include "host/default/host_control.h"
#include "tests/support/simulated_files.h"
#include "tests/tools/ring_images.h"

namespace vmr::test {
namespace {

constexpr char kFile1[] = "/m/r_1.mtd";
constexpr char kFile2[] = "/m/r_2.mtd";
constexpr std::size_t kClusters = 6;
constexpr int kOne = 2;  // of them
constexpr std::uint16_t kMadeUp = 77;

class WrittenImages : public testing::Test {
 protected:
  WrittenImages() {
    host::SetLogLevel(0);
    files.MakeDirectory("/m");
    files.PutFile(kFile1, {});
    files.FillBlocks(kFile1, 0, kRingClusters, UnwrittenCluster());
    files.PutBlocks(kFile1, 0, kClusters, [](std::size_t n) {
      const auto tick = static_cast<std::uint32_t>(100 * n);
      return ClusterOf(tick, FullPacket(tick, B("56")) + FullPacket(tick + 1, B("56")));
    });
    files.CopyContent(kFile1, kFile2);
    facts.state = tool::CopyState::kGood;
    facts.used_bytes = 23;            // a header of 7, two packets of 8
    facts.content.packets = kMadeUp;  // no cluster holds so many: it tells what was taken
    for (std::size_t n = 0; n < kClusters; ++n)
      written.Add(files.ReadBlock(kFile1, n).data(), n == kOne ? &facts : nullptr);
  }

  tool::ClusterFacts Look(int cluster) const {
    tool::RingSurvey survey(kFile1, kFile2);
    survey.Read(&written);
    return survey.At(cluster);
  }

  SimulatedFiles files;
  tool::CopyFacts facts;
  tool::WrittenImages written;
};

TEST_F(WrittenImages, AreWhatIsKnownOfThem) {
  const tool::ClusterFacts found = Look(kOne);
  EXPECT_EQ(found.relation, tool::Relation::kEqual);
  EXPECT_EQ(found.Copy(1).content.packets, kMadeUp);
  EXPECT_EQ(found.Copy(2).content.packets, kMadeUp);
}

TEST_F(WrittenImages, OfWhichNothingIsKnownAreLookedAt) {
  for (const int cluster : {0, kOne - 1, kOne + 1, static_cast<int>(kClusters) - 1})
    EXPECT_EQ(Look(cluster).Copy(1).content.packets, 2) << cluster;
  EXPECT_EQ(Look(kClusters).Copy(1).state, tool::CopyState::kNeverWritten);
}

TEST_F(WrittenImages, ThatReadBackOtherwiseAreLookedAt) {
  for (const char* const path : {kFile1, kFile2}) {
    SCOPED_TRACE(path);
    const int other = path == kFile1 ? 2 : 1;
    files.FlipByte(path, kOne * static_cast<long>(kImageBytes) + 12);
    const tool::ClusterFacts found = Look(kOne);
    EXPECT_EQ(found.relation, tool::Relation::kOneSound);
    EXPECT_EQ(found.best, other);
    EXPECT_EQ(found.Copy(3 - other).state, tool::CopyState::kBadCrc);
    files.FlipByte(path, kOne * static_cast<long>(kImageBytes) + 12);
  }
  EXPECT_EQ(Look(kOne).relation, tool::Relation::kEqual);
}

// A cluster's CRC does not cover what lies behind its packets.
TEST_F(WrittenImages, AreComparedToTheirLastByte) {
  for (const char* const path : {kFile1, kFile2})
    files.FlipByte(path, (kOne + 1) * static_cast<long>(kImageBytes) - 1);
  EXPECT_EQ(Look(kOne).Copy(1).content.packets, 2);
}

}  // namespace
}  // namespace vmr::test
