// Power cuts inside the steps of scrub and recover that make, replace and remove
// whole files: at every call, with what was not synced kept, lost or torn, and the
// directory's changes on the disk in every selection.
#include <fcntl.h>

#include <set>

#include "backends/data_store_normal.h"
#include "host/default/host_control.h"
#include "tests/support/sanitized.h"
#include "tests/support/simulated_files.h"
#include "tests/tools/ring_images.h"
#include "tools/ring/findings.h"
#include "tools/ring/salvage.h"
#include "tools/ring/scrub.h"
#include "tools/ring/writer.h"

namespace vmr::test {
namespace {

constexpr char kFile1[] = "/m/r_1.mtd";
constexpr char kFile2[] = "/m/r_2.mtd";
constexpr char kNew1[] = "/m/new_1.mtd";
constexpr char kNew2[] = "/m/new_2.mtd";
constexpr long kRingBytes = 4096L * kRingClusters;
constexpr int kClusters = 6;
constexpr Unsynced kPolicies[] = {Unsynced::kKeep, Unsynced::kDrop, Unsynced::kTorn};

Bytes TwoPackets(std::uint32_t tick) {
  return ClusterOf(tick, FullPacket(tick, B("56")) + FullPacket(tick + 1, B("56")));
}
Bytes Cluster(std::size_t n) { return TwoPackets(static_cast<std::uint32_t>(100 * n)); }

class WholeFileCuts : public testing::Test {
 protected:
  WholeFileCuts() {
    host::SetLogLevel(0);
    files.MakeDirectory("/m");
    PutRing(kFile1, kClusters, 0);
    files.CopyContent(kFile1, kFile2);
  }

  void PutRing(const char* path, std::size_t clusters, std::uint32_t first_tick) {
    const Bytes unwritten = UnwrittenCluster();
    files.PutFile(path, {});
    files.FillBlocks(path, 0, kRingClusters, unwritten);
    files.PutBlocks(path, 0, clusters, [&](std::size_t n) {
      return TwoPackets(first_tick + static_cast<std::uint32_t>(100 * n));
    });
  }

  bool Scrub() const {
    tool::RingSurvey survey(kFile1, kFile2);
    survey.Read();
    return tool::RingScrub("/m/r", survey).Run();
  }

  // What the command writes, from its survey on.
  bool Recover(bool replace) const {
    tool::RingSurvey survey(kFile1, kFile2);
    survey.Read();
    tool::RingSalvage salvage(survey);
    salvage.Arrange();
    tool::RingWriter out("/m/new", replace);
    if (!out.Open()) return false;
    tool::TagCounts counts{};
    unsigned long packets = 0;
    for (const tool::SalvagedCluster& cluster : salvage.Clusters()) {
      unsigned char image[kImageBytes];
      const tool::CopyFacts* same = nullptr;
      if (tool::RingSalvage::MakeImage(cluster, image, counts, packets, same) && !out.Add(image))
        return false;
    }
    return out.Complete() && out.Publish();
  }

  // The calls at which a cut may leave something new. Of the many writes to a file
  // the first, one in the middle and the last.
  std::vector<int> Moments() const {
    static const std::set<FileOp> kChanging = {FileOp::kOpen,  FileOp::kWrite,  FileOp::kFsync,
                                               FileOp::kChmod, FileOp::kRename, FileOp::kUnlink,
                                               FileOp::kRemove};
    const auto& operations = files.Operations();
    std::vector<int> moments;
    for (std::size_t i = 0; i < operations.size(); ++i) {
      const Operation& done = operations[i];
      if (kChanging.count(done.op) == 0) continue;
      const bool opened_only = done.op == FileOp::kOpen && (done.flags & O_CREAT) == 0;
      const auto end = done.offset + static_cast<long>(done.count);
      const bool dull = done.op == FileOp::kWrite && done.offset != 0 && end != kRingBytes &&
                        done.offset != kRingBytes / 2;
      if (!opened_only && !dull) moments.push_back(static_cast<int>(i) + 1);
    }
    return moments;
  }

  template <typename Work, typename Check>
  void ForEachCut(const Work& work, const Check& check) {
    const SimulatedFiles::Image before = files.Snapshot();
    ASSERT_TRUE(work());
    const std::vector<int> moments = Moments();
    files.Restore(before);
    for (const int moment : moments)
      for (const Unsynced unsynced : kPolicies)
        for (unsigned int kept = 0, choices = 1; kept < choices && !HasFailure(); ++kept) {
          // With sanitizers, where it takes ten times as long, one of three.
          if (kSanitized && unsynced != Unsynced::kTorn) break;
          files.CutPowerAt(moment);
          static_cast<void>(work());  // what a sync of a directory returns is nobody's business
          EXPECT_TRUE(files.PowerWasCut());
          choices = 1U << files.UnsyncedNames();
          files.PowerUpWith(kept, unsynced, static_cast<unsigned int>(moment));
          SCOPED_TRACE(testing::Message() << "call " << moment << ", data " << int(unsynced)
                                          << ", directory changes " << kept);
          ++cuts;
          check();
          files.Restore(before);
        }
  }

  // The files but for temporary ones, by name and size.
  std::string Shape() const {
    std::string shape;
    for (const std::string& path : files.Paths())
      if (path.find("/.vmr-") == std::string::npos)
        shape += path + " " + std::to_string(files.Size(path)) + " ";
    return shape;
  }
  bool IsWhole(const char* path) const {
    return files.Exists(path) && files.Size(path) == kRingBytes;
  }
  bool HasCluster(const char* path, std::size_t n) const {
    return files.Exists(path) && files.Size(path) >= static_cast<long>((n + 1) * kImageBytes) &&
           files.ReadBlock(path, n) == Cluster(n);
  }

  SimulatedFiles files;
  std::set<std::string> seen;
  int cuts = 0;
};

// ---- scrub ---------------------------------------------------------------------------

class ScrubCuts : public WholeFileCuts {
 protected:
  // Nothing that one of the files had is lost; mending once more completes it, and a
  // recorder goes on. The latter once for each shape of the folder.
  void ExpectNothingLost() {
    for (std::size_t n = 0; n < kClusters; ++n)
      EXPECT_TRUE(HasCluster(kFile1, n) || HasCluster(kFile2, n)) << "cluster " << n;
    if (HasFailure() || !seen.insert(Shape()).second) return;
    ASSERT_TRUE(Scrub());
    EXPECT_TRUE(files.SameContent(kFile1, kFile2));
    for (std::size_t n = 0; n < kClusters; ++n) EXPECT_TRUE(HasCluster(kFile1, n));
    DataStoreNormal store("/m/r");
    ASSERT_EQ(store.Open(), 1);
    EXPECT_EQ(store.CurrentCluster(), kClusters - 1);
  }
};

TEST_F(ScrubCuts, AMissingFileIsBuiltWithoutHarmToTheOther) {
  files.Delete(kFile1);
  ForEachCut([this] { return Scrub(); },
             [this] {
               ExpectNothingLost();
               EXPECT_TRUE(!files.Exists(kFile1) || IsWhole(kFile1));
             });
  EXPECT_GE(seen.size(), 2U);
  EXPECT_GE(cuts, 10);
}

TEST_F(ScrubCuts, AFileCutShortStaysUntilAllOfItIsInAnother) {
  files.SetSize(kFile2, 4 * 4096 + 9);
  files.FlipByte(kFile1, 2 * 4096 + 1);  // of which the short one has the only good copy
  ForEachCut([this] { return Scrub(); },
             [this] {
               ExpectNothingLost();
               EXPECT_TRUE(IsWhole(kFile1));
               EXPECT_TRUE(IsWhole(kFile2) || files.Size(kFile2) == 4 * 4096 + 9);
             });
  EXPECT_GE(seen.size(), 2U);
  EXPECT_GE(cuts, 10);
}

// ---- recover -------------------------------------------------------------------------

class RecoverCuts : public WholeFileCuts {
 protected:
  RecoverCuts() {
    files.FlipByte(kFile1, 0);
    files.FlipByte(kFile2, 16383L * 4096);
    source = files.Snapshot();
  }

  void ExpectSourcesUntouched() const {
    for (const char* const path : {kFile1, kFile2}) {
      EXPECT_EQ(files.Size(path), kRingBytes);
      for (const std::size_t block : source.at(path).blocks.Differences(
               const_cast<SimulatedFiles&>(files).Snapshot().at(path).blocks))
        ADD_FAILURE() << path << " differs in cluster " << block;
    }
  }
  // Both files of one ring, or file 1 alone: a recorder and a reader find all of it.
  void ExpectOneRing() {
    for (const char* const path : {kNew1, kNew2})
      EXPECT_TRUE(!files.Exists(path) || IsWhole(path)) << path;
    if (!files.Exists(kNew1)) {
      EXPECT_FALSE(files.Exists(kNew2)) << "file 2 without file 1";
      return;
    }
    if (files.Exists(kNew2)) {
      EXPECT_TRUE(files.SameContent(kNew1, kNew2)) << "files of two rings";
    }
    if (HasFailure() || !seen.insert(Shape() + (HasCluster(kNew1, 0) ? "new" : "old")).second)
      return;
    DataStoreNormal store("/m/new");
    ASSERT_EQ(store.Open(), 1);
    EXPECT_EQ(store.CurrentCluster(), HasCluster(kNew1, 0) ? kClusters - 1 : 8);
    store.Close();
    EXPECT_TRUE(files.SameContent(kNew1, kNew2));
  }

  SimulatedFiles::Image source;
};

TEST_F(RecoverCuts, ANewStoreAppearsWholeOrNotAtAll) {
  ForEachCut([this] { return Recover(false); },
             [this] {
               ExpectSourcesUntouched();
               ExpectOneRing();
             });
  EXPECT_EQ(seen.size(), 2U);  // one file, both
  EXPECT_GE(cuts, 15);
}

TEST_F(RecoverCuts, AReplacedStoreIsNeverMixedWithTheNewOne) {
  PutRing(kNew1, 9, 70000);
  files.CopyContent(kNew1, kNew2);
  ForEachCut([this] { return Recover(true); },
             [this] {
               ExpectSourcesUntouched();
               ExpectOneRing();
             });
  EXPECT_EQ(seen.size(), 4U);  // both old ones, old file 1, new file 1, both new ones
  EXPECT_GE(cuts, 15);
}

}  // namespace
}  // namespace vmr::test
