// The oracle against rings made by hand.
#include "tests/crash/oracle.h"

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <map>
#include <string>

#include "tests/crash/recording.h"

namespace vmr::crash {
namespace {

// Never written but for some clusters.
class HandMade {
 public:
  void Put(int cluster, const Bytes& bytes) { clusters_[cluster] = bytes; }
  ReadImage Image() const {
    return [this](int cluster, unsigned char* to) {
      const auto found = clusters_.find(cluster);
      const Bytes bytes = found == clusters_.end() ? ClusterOf(0xFFFFFFFF, {}) : found->second;
      std::memset(to, 0, 4096);
      std::memcpy(to, bytes.data(), bytes.size());
      return true;
    };
  }

 private:
  std::map<int, Bytes> clusters_;
};

Bytes TwoPackets(std::uint32_t tick) {
  const Bytes one = SmallCluster(tick);
  Bytes payload(one.begin() + 7, one.end());
  payload.insert(payload.end(), one.begin() + 7, one.end());
  return ClusterOf(tick, payload);
}

TEST(Oracle, KnowsTheBytesOfANeverWrittenCluster) {
  const Bytes cluster = ClusterOf(0xFFFFFFFF, {});
  ASSERT_EQ(cluster.size(), 7U);
  EXPECT_EQ(Bytes(cluster.begin() + 1, cluster.end()), (Bytes{0xFF, 0xFF, 0xFF, 0xFF, 7, 0}));
  Bytes whole = cluster;
  whole.resize(4096);
  EXPECT_TRUE(IsWholeCluster(whole.data()));
  whole[3] ^= 1;
  EXPECT_FALSE(IsWholeCluster(whole.data()));
}

TEST(Oracle, FindsAnEmptyPairAtClusterZero) {
  const HandMade file;
  const Prediction p = Predict(file.Image(), file.Image());
  EXPECT_EQ(p.outcome, Outcome::kOpens);
  EXPECT_EQ(p.current, 0);
  EXPECT_EQ(p.previous, 32767);
  EXPECT_EQ(p.last_tick, 0U);
}

TEST(Oracle, TakesTheFileWithMoreInTheSameClusterForTheLastWriter) {
  HandMade one, two;
  one.Put(0, SmallCluster(500));
  two.Put(0, TwoPackets(500));
  const Prediction p = Predict(one.Image(), two.Image());
  EXPECT_EQ(p.last_writer, 1);
  EXPECT_TRUE(p.curr_stale[0]);
  EXPECT_FALSE(p.prev_stale[0]);
  EXPECT_EQ(p.last_tick, 500U);
}

TEST(Oracle, MarksAFileThatIsAClusterBehindStaleInBothWays) {
  HandMade one, two;
  for (int n = 0; n < 3; ++n) {
    one.Put(n, SmallCluster(500U + static_cast<unsigned int>(n)));
    if (n < 2) two.Put(n, SmallCluster(500U + static_cast<unsigned int>(n)));
  }
  const Prediction p = Predict(one.Image(), two.Image());
  EXPECT_EQ(p.last_writer, 0);
  EXPECT_EQ(p.current, 2);
  EXPECT_TRUE(p.curr_stale[1]);
  EXPECT_TRUE(p.prev_stale[1]);
}

// The last writer's own is torn, under a CRC that happens to fit.
TEST(Oracle, TakesASoundCopyOfThePreviousClusterUnlessItIsOfALapBefore) {
  HandMade one, two;
  for (int n = 0; n < 6; ++n) {
    one.Put(n, SmallCluster(500U + static_cast<unsigned int>(n)));
    two.Put(n, SmallCluster(500U + static_cast<unsigned int>(n)));
  }
  one.Put(4, ClusterOf(504, {0x41, 0x41}));
  EXPECT_TRUE(Predict(one.Image(), two.Image()).prev_stale[0]) << "of the same first tick";
  two.Put(4, SmallCluster(503));
  EXPECT_TRUE(Predict(one.Image(), two.Image()).prev_stale[0]) << "not before the one in front";
  two.Put(4, SmallCluster(100));
  EXPECT_FALSE(Predict(one.Image(), two.Image()).prev_stale[0]) << "of the lap before";
}

TEST(Oracle, FillsAFileWithoutDataOnlyWhereTheOtherCanBeCopied) {
  HandMade one, two;
  for (int n = 0; n < 2; ++n) one.Put(n, SmallCluster(500U + static_cast<unsigned int>(n)));
  two.Put(1, SmallCluster(501));  // its search ends in front of it
  for (const bool works : {true, false}) {
    one.Put(1, ClusterOf(501, {0x41, 0x41}));
    const Prediction p = Predict(one.Image(), two.Image(), {works, true});
    EXPECT_TRUE(p.fills_empty);
    EXPECT_EQ(p.last_writer, works ? 0 : 1) << "which has the better copy";
  }
}

TEST(Oracle, SeesARingGivenUpWhenNeitherFileCanBeSearched) {
  HandMade one, two;
  one.Put(0, Bytes(4096, 0));
  two.Put(32767, Bytes(4096, 0));
  two.Put(0, SmallCluster(500));
  EXPECT_EQ(Predict(one.Image(), two.Image()).outcome, Outcome::kRecreates);
}

int LinesOfLogic(const std::string& name) {
  std::ifstream source(VMR_SOURCE_DIR "/tests/crash/" + name);
  int lines = 0;
  for (std::string line; std::getline(source, line);) {
    const std::size_t first = line.find_first_not_of(' ');
    const bool says_something = first != std::string::npos && line.compare(first, 2, "//") != 0;
    if (says_something && line[0] != '#' && line.find("namespace") == std::string::npos) ++lines;
  }
  return lines;
}

// Short enough to be read against the format's document in one sitting.
TEST(Oracle, IsShort) {
  EXPECT_GT(LinesOfLogic("oracle.cc"), 50);
  EXPECT_LE(LinesOfLogic("oracle.cc"), 165) << "what Open decides";
  EXPECT_GT(LinesOfLogic("oracle_cluster.cc"), 30);
  EXPECT_LE(LinesOfLogic("oracle_cluster.cc"), 60) << "what a cluster's bytes say";
}

}  // namespace
}  // namespace vmr::crash
