// Listings that begin late in a full ring: the text of the plain way, which replays
// everything in front of the start, and no more read than is needed for it.
#include <algorithm>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "backends/data_store_null.h"
#include "host/log.h"
#include "store/packet_format.h"
#include "tests/reader/reader_fixture.h"
#include "tests/support/captured_log.h"
#include "tests/support/file_hook.h"
#include "tests/support/full_ring.h"
#include "tests/support/reference_crc.h"
#include "tests/support/simulated_files.h"

namespace vmr::test {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::Not;

constexpr char kFile1[] = "/m/r_1.mtd";
constexpr char kFile2[] = "/m/r_2.mtd";
// Of the 65,536 reads of all clusters, twice.
constexpr int kFewReads = 6000;

struct Range {
  unsigned int start;
  unsigned int end;
};

std::string Head(const Range& range) {
  return "Expanded view = 0\nStart System Tick (" + std::to_string(range.start) +
         ") End System Tick (" + std::to_string(range.end) + ")\n";
}

// As the listing is defined, tick by tick from the oldest on.
std::string PlainText(const Range& range) {
  return Head(range) + Printed([&range] {
           DataStoreNormal source("/m/r");
           DataStoreNull out;
           ASSERT_EQ(source.OpenReadOnly(), 1);
           ASSERT_EQ(out.Open(), 1);
           MetadataReader reader;
           reader.StartAt(source.InitialReadLocation());
           bool ended = false;
           while (!ended && reader.ReadNextSystemTick(source, out) >= 1) {
             const bool was_started = out.Viewing();
             const unsigned int tick = reader.ReadSysTick();
             if (tick != kNoTick && tick >= range.start) out.SetViewMode(kViewItems);
             if (was_started) out.SetViewMode(kViewItems);
             reader.ParseReadSystemTick(out);
             out.WriteBuffers();
             ended = was_started && tick != kNoTick && tick > range.end;
           }
         });
}

class LateListing : public testing::Test {
 protected:
  // A ring holds millions of items; nobody looks at their log.
  LateListing() : log_level(LogClient::Instance()->Level()) {
    setenv("TZ", "UTC", 1);
    LogClient::Instance()->SetLevel(0);
  }
  ~LateListing() override { LogClient::Instance()->SetLevel(log_level); }

  void Make(const FullRingCourse& course, std::uint32_t seed, std::size_t newest) {
    ring.emplace(seed, newest, course);
    files.MakeDirectory("/m");
    files.PutFile(kFile1, {});
    files.PutBlocks(kFile1, 0, FullRing::kClusters, [this](std::size_t cluster) {
      return Bytes(ring->Cluster(cluster), ring->Cluster(cluster) + kClusterBytes);
    });
    files.CopyContent(kFile1, kFile2);
  }

  // The cluster so many behind the oldest.
  std::size_t At(std::size_t distance) const {
    return (ring->Oldest() + distance) % FullRing::kClusters;
  }
  unsigned int FirstTick(std::size_t distance) const {
    return ClusterSt(ring->Cluster(At(distance)));
  }
  void Change(std::size_t distance, const std::vector<const char*>& in, const Bytes& packet) {
    Bytes cluster(kClusterBytes);
    std::copy_n(ring->Cluster(At(distance)), kClusterBytes, cluster.begin());
    std::copy(packet.begin(), packet.end(), cluster.end() - 400);
    SetClusterSize(cluster.data(), static_cast<int>(kClusterBytes - 400 + packet.size()));
    cluster[0] = ClusterCrc(cluster.data());
    for (const char* const file : in) files.PutBlock(file, At(distance), cluster);
  }
  // Its first packet goes behind one that goes on from the cluster in front.
  void BeginWithContinuation(std::size_t distance) {
    const unsigned char* const old = ring->Cluster(At(distance));
    Bytes cluster(old, old + kClusterHeaderBytes);
    const Bytes continuation = B("82 02 56 56") + Bytes{ReferenceCrc8(B("82 02"))};
    cluster.insert(cluster.end(), continuation.begin(), continuation.end());
    const auto used = static_cast<std::size_t>(ClusterSize(old));
    for (std::size_t at = kClusterHeaderBytes, bytes = 0; at < used; at += bytes) {
      bytes = WholePacketBytes(old + at, used - at);
      if (bytes == 0 || cluster.size() + bytes > kClusterBytes) break;
      cluster.insert(cluster.end(), old + at, old + at + bytes);
    }
    const std::size_t size = cluster.size();
    cluster.resize(kClusterBytes);
    SetClusterSize(cluster.data(), static_cast<int>(size));
    cluster[0] = ClusterCrc(cluster.data());
    for (const char* const file : {kFile1, kFile2}) files.PutBlock(file, At(distance), cluster);
  }
  void Damage(std::size_t distance, const std::vector<const char*>& in) {
    for (const char* const file : in)
      files.FlipByte(file, static_cast<long>(At(distance)) * kClusterBytes + 100);
  }

  // How many reads the listing took.
  int ExpectPlainText(const Range& range) {
    ReadHook hook([](int) {});
    MetadataReader viewer(RingAccess::kReadOnly);
    const std::string listing =
        Printed([&] { EXPECT_TRUE(viewer.ViewFile("/m/r", true, range.start, range.end, false)); });
    const int reads = hook.Reads();
    EXPECT_TRUE(listing == PlainText(range)) << "from " << range.start << " to " << range.end;
    return reads;
  }

  const unsigned int log_level;
  std::optional<FullRing> ring;
  SimulatedFiles files;
};

constexpr FullRingCourse kSparse{5, 8, false, false};
constexpr FullRingCourse kDense{1, 3, true, false};
constexpr std::size_t kNewest = FullRing::kClusters - 1;

TEST_F(LateListing, BeginsAtAndAroundStateDumpsAlike) {
  Make(kDense, 2, 40);
  const std::vector<unsigned int>& dumps = ring->DumpTicks();
  for (const int off : {-1, 0, 1})
    EXPECT_LT(ExpectPlainText({dumps[dumps.size() / 2] + static_cast<unsigned int>(off),
                               dumps[dumps.size() / 2] + 100}),
              kFewReads);
}

TEST_F(LateListing, ReadsDamagedCopiesFromTheOtherFile) {
  Make(kSparse, 5, kNewest);
  for (std::size_t distance = 0; distance < FullRing::kClusters; distance += 3)
    Damage(distance, {distance % 2 == 0 ? kFile1 : kFile2});
  EXPECT_LT(ExpectPlainText({FirstTick(30000), FirstTick(30002)}), 2 * kFewReads);
}

// A full ring each, which takes minutes where everything takes several times as long.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__powerpc__)

TEST_F(LateListing, BeginsWithTheSameTextWhereverItsStartLies) {
  Make(kSparse, 1, 20000);
  std::mt19937 random(1);
  int quick = 0;
  for (int n = 0; n < 8; ++n) {
    const unsigned int start =
        FirstTick(3000 + random() % (kNewest - 3000)) + static_cast<unsigned int>(random() % 3) - 1;
    if (ExpectPlainText({start, start + 500}) < kFewReads) ++quick;
  }
  EXPECT_EQ(quick, 8);
}

TEST_F(LateListing, BeginsWithTheSameTextAtBothEndsOfTheRing) {
  Make(kDense, 3, kNewest);
  EXPECT_LT(ExpectPlainText({ring->PacketTicks().back(), kNoTick}), kFewReads);
  EXPECT_LT(ExpectPlainText({ring->PacketTicks().back() + 1, kNoTick}), kFewReads);
  EXPECT_LT(ExpectPlainText({FirstTick(20000), FirstTick(20000)}), kFewReads);
  for (const std::size_t distance : {std::size_t{0}, std::size_t{1}, std::size_t{70}})
    ExpectPlainText({FirstTick(distance), FirstTick(distance + 1)});
}

TEST_F(LateListing, PassesNothingOverWhereARecorderWouldNotWriteWhatIsThere) {
  Make({}, 4, 12345);  // continuations, unknown ticks, illegal items, unknown radars
  for (const std::size_t distance : {std::size_t{5000}, std::size_t{31000}})
    EXPECT_GT(ExpectPlainText({FirstTick(distance), FirstTick(distance + 2)}),
              static_cast<int>(distance));
}

// What stands in front of it was read, as far as anybody is told.
TEST_F(LateListing, WarnsOfNoPacketWhoseBeginningIsPassedOver) {
  Make(kSparse, 9, kNewest);
  for (std::size_t distance = 29000; distance < 30000; distance += 2)
    BeginWithContinuation(distance);
  const CapturedLog log(kLogError | kLogWarning);
  for (const std::size_t distance : {29500U, 29601U, 29703U, 29804U, 29906U, 29999U}) {
    MetadataReader viewer(RingAccess::kReadOnly);
    static_cast<void>(Printed([&] {
      EXPECT_TRUE(viewer.ViewFile("/m/r", true, FirstTick(distance), FirstTick(distance), false));
    }));
  }
  EXPECT_THAT(log.Texts(kLogWarning), Not(Contains(HasSubstr("CONTINUATION"))));
}

TEST_F(LateListing, EndsWhereAClusterThatIsReplayedIsLost) {
  Make(kSparse, 6, kNewest);
  for (const std::size_t distance : {std::size_t{1}, std::size_t{29999}}) {
    Damage(distance, {kFile1, kFile2});
    EXPECT_EQ(PlainText({FirstTick(30000), kNoTick}), Head({FirstTick(30000), kNoTick}));
    ExpectPlainText({FirstTick(30000), kNoTick});
    Damage(distance, {kFile1, kFile2});  // undone
  }
}

TEST_F(LateListing, BeginsEarlierWhereTicksWereHigherBefore) {
  Make(kSparse, 7, kNewest);
  const unsigned int start = FirstTick(30000);
  for (std::size_t distance = 8000; distance < 8100; ++distance)
    Change(distance, {kFile1, kFile2}, WithCrc(B("80 FF FF FF 7F 01 56")));
  EXPECT_GT(ExpectPlainText({start, start + 10}), kFewReads);
}

// What is passed over is not missed: the plain way would print nothing.
TEST_F(LateListing, DoesNotMissAClusterThatItPassesOver) {
  Make(kSparse, 8, kNewest);
  const Range range{FirstTick(30000), FirstTick(30001)};
  const std::string sound = PlainText(range);
  Damage(15003, {kFile1, kFile2});
  MetadataReader viewer(RingAccess::kReadOnly);
  EXPECT_TRUE(Printed([&] {
                EXPECT_TRUE(viewer.ViewFile("/m/r", true, range.start, range.end, false));
              }) == sound);
}

#endif

}  // namespace
}  // namespace vmr::test
