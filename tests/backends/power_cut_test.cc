// What a power loss leaves of a recording, at every step of the work.
#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "host/default/host_control.h"
#include "store/bytes.h"
#include "tests/backends/ring_fixture.h"

namespace vmr {
namespace {

using namespace test;
using Ticks = std::vector<unsigned int>;

constexpr int kWorkloadPackets = 40;
constexpr int kEveryPolicy = 4;

// What power-up makes of unsynced data in the n-th of kEveryPolicy tries.
Unsynced PolicyOf(unsigned int n) {
  if (n % kEveryPolicy == 0) return Unsynced::kKeep;
  return n % kEveryPolicy == 1 ? Unsynced::kDrop : Unsynced::kTorn;
}

// 0 to `below` - 1.
unsigned int Draw(std::mt19937& random, unsigned int below) {
  return static_cast<unsigned int>(random() % below);
}

// 1 to `last`.
int DrawStep(std::mt19937& random, unsigned int last) {
  return static_cast<int>(1 + Draw(random, last));
}

class PowerCut : public RingTest {
 protected:
  // A store to start from, where to read it from, and what that must give.
  struct Situation {
    std::string name;
    SimulatedFiles::Image image;
    long read_from;
    Ticks recorded;
  };

  PowerCut() { host::SetLogLevel(2); }

  Situation FewClusters() {
    PutPairWith(5);
    return {"few clusters", files_.Snapshot(), 0, {1000, 1001, 1002, 1003, 1004}};
  }
  // The workload takes the ring from cluster 32766 over 32767 to 0.
  Situation AboutToWrap() {
    PutPairWith(32767);
    return {"about to wrap", files_.Snapshot(), 32765L * 4096, {33765, 33766}};
  }
  // File #2 took the last write, and file #1 lacks the cluster it began.
  Situation OneBehind() {
    PutPairWith(5);
    PutCluster(kFile2, 4, ClusterImage(1004, PacketAt(1004) + PacketAt(1005)));
    PutCluster(kFile2, 5, ClusterImage(1006, PacketAt(1006)));
    return {"one behind", files_.Snapshot(), 0, {1000, 1001, 1002, 1003, 1004, 1005, 1006}};
  }
  // A ring in its second round: every cluster ahead holds old data.
  Situation SecondRound() {
    PutPairWith(kRingClusters);
    for (std::size_t c = 0; c < 3; ++c) {
      const auto tick = static_cast<unsigned int>(50000 + c);
      PutInBoth(c, ClusterImage(tick, PacketAt(tick)));
    }
    return {"second round", files_.Snapshot(), 0, {50000, 50001, 50002}};
  }

  // Packets of 222 to 262 bytes. One after a cut is short enough to fit where the
  // packet that was cut off did not.
  static constexpr unsigned int kShortPacketTick = 80000;
  static std::size_t LengthAt(unsigned int tick) {
    return tick == kShortPacketTick ? 20 : 222 + tick % 41;
  }

  // Opens the store and writes until the power goes. Notes what was written and
  // what of it had returned before.
  void Record(unsigned int first_tick, int packets) {
    DataStoreNormal store(kBase);
    if (store.Open() == 0) return;
    for (int n = 0; n < packets && !files_.PowerWasCut(); ++n) {
      const unsigned int tick = first_tick + static_cast<unsigned int>(n);
      attempted_.push_back(tick);
      if (WriteTick(store, tick, LengthAt(tick)) != 0 && !files_.PowerWasCut())
        returned_.push_back(tick);
    }
    if (!files_.PowerWasCut()) store.Close();
  }

  void Begin(const Situation& situation) {
    files_.Restore(situation.image);
    read_from_ = situation.read_from;
    returned_ = attempted_ = situation.recorded;
    powered_up_.clear();
    log_.Clear();
  }

  // One recording that loses power at its `step`-th operation. False when it
  // ended before.
  bool RecordUntil(int step, unsigned int first_tick, int packets, Unsynced policy,
                   unsigned int seed) {
    files_.CutPowerAt(step);
    Record(first_tick, packets);
    const bool was_cut = files_.PowerWasCut();
    files_.PowerUp(policy, seed);
    log_.Clear();  // what was logged without power reached nobody
    powered_up_.push_back(files_.Snapshot());
    return was_cut;
  }

  // Opens the store again and tells what is wrong, if anything: everything that
  // had returned must be there, in order, and recording must go on.
  std::string WhatIsWrong() {
    DataStoreNormal store(kBase);
    if (store.Open() == 0) return "the store cannot be opened";
    std::string wrong = WhatIsMissing(store);
    for (unsigned int tick = 900001; tick <= 900003; ++tick) {
      if (WriteTick(store, tick, LengthAt(tick)) == 0) wrong += "a packet was refused ";
      returned_.push_back(tick);
      attempted_.push_back(tick);
    }
    store.Close();
    if (store.Open() == 0) return wrong + "the store cannot be opened again";
    wrong += WhatIsMissing(store);
    if (Logged(2, "Unable to find last position in both Metadata files. Recreating files"))
      wrong += "both files were given up ";
    return wrong;
  }
  std::string WhatIsMissing(DataStoreNormal& store) {
    const Bytes stream = ReadStream(store, read_from_);
    Ticks found;
    if (!SplitPackets(stream, &found)) return "the stream holds what nobody wrote ";
    if (!std::is_sorted(found.begin(), found.end())) return "packets are out of order ";
    if (!std::includes(found.begin(), found.end(), returned_.begin(), returned_.end()))
      return testing::PrintToString(found) + " lacks some of " + testing::PrintToString(returned_);
    if (!std::includes(attempted_.begin(), attempted_.end(), found.begin(), found.end()))
      return "there are packets that nobody wrote ";
    return "";
  }
  // False when there is anything but whole packets with a right CRC.
  static bool SplitPackets(const Bytes& stream, Ticks* ticks) {
    for (std::size_t at = 0; at < stream.size();) {
      if (at + 7 > stream.size() || stream[at] != 0x80) return false;
      const std::size_t end = at + stream[at + 5] + 7U;
      if (end > stream.size()) return false;
      const Bytes packet(stream.begin() + static_cast<long>(at),
                         stream.begin() + static_cast<long>(end));
      if (packet.back() != ReferenceCrc(packet, 0, packet.size() - 1)) return false;
      ticks->push_back(GetLe32(packet.data() + 1));
      at = end;
    }
    return true;
  }

  // Eight bits of CRC let one torn write in 256 pass for a whole one. What such
  // a cluster costs is no mistake of the store; it is counted, and must be rare.
  void ExpectNothingLost() {
    ++tries_;
    const std::string wrong = WhatIsWrong();
    if (wrong.empty()) return;
    const bool escaped =
        std::any_of(powered_up_.begin(), powered_up_.end(), &PowerCut::TornWriteEscapedTheCrc);
    if (escaped) {
      ++escaped_;
    } else {
      ADD_FAILURE() << wrong;
    }
  }
  static bool TornWriteEscapedTheCrc(const SimulatedFiles::Image& image) {
    for (const char* const path : {kFile1, kFile2}) {
      const auto file = image.find(path);
      if (file == image.end()) continue;
      for (const std::size_t cluster :
           {0U, 1U, 2U, 3U, 4U, 5U, 6U, 7U, 8U, 9U, 10U, 32766U, 32767U})
        if (HoldsDamageUnderARightCrc(file->second.blocks, cluster)) return true;
    }
    return false;
  }
  static bool HoldsDamageUnderARightCrc(const BlockMap& blocks, std::size_t cluster) {
    Bytes image(4096);
    blocks.Read(cluster, image.data());
    const std::size_t size = GetLe16(image.data() + 5);
    if (size < 7 || size > 4096 || ReferenceCrc(image, 1, size) != image[0]) return false;
    Ticks ticks;
    return !SplitPackets(Bytes(image.begin() + 7, image.begin() + static_cast<long>(size)), &ticks);
  }
  void ExpectFewEscapes() const {
    EXPECT_GT(tries_, 0);
    EXPECT_LE(escaped_, tries_ / 100);
    RecordProperty("tries", tries_);
    RecordProperty("escaped", escaped_);
  }

  int CutEverywhere(const Situation& situation) {
    int step = 1;
    for (bool was_cut = true; was_cut && !HasFailure(); ++step) {
      for (unsigned int n = 0; n < kEveryPolicy && !HasFailure(); ++n) {
        const unsigned int seed = static_cast<unsigned int>(step) * kEveryPolicy + n;
        SCOPED_TRACE(testing::Message()
                     << situation.name << ", step " << step << ", seed " << seed);
        Begin(situation);
        was_cut = RecordUntil(step, 60000, kWorkloadPackets, PolicyOf(n), seed);
        ExpectNothingLost();
      }
    }
    return step - 2;
  }

  Ticks attempted_;  // both rising
  Ticks returned_;
  long read_from_ = 0;
  std::vector<SimulatedFiles::Image> powered_up_;  // the files after every cut
  int tries_ = 0;
  int escaped_ = 0;
};

TEST_F(PowerCut, AtAnyStepKeepsEveryPacketThatHadReturned) {
  for (const Situation& situation : {FewClusters(), OneBehind()}) {
    const int steps = CutEverywhere(situation);
    EXPECT_GT(steps, 3 * kWorkloadPackets + 70);
  }
  ExpectFewEscapes();
}

TEST_F(PowerCut, AtAnyStepAroundTheWrapKeepsEveryPacketThatHadReturned) {
  for (const Situation& situation : {AboutToWrap(), SecondRound()}) {
    const int steps = CutEverywhere(situation);
    EXPECT_GT(steps, 3 * kWorkloadPackets + 70);
  }
  ExpectFewEscapes();
}

TEST_F(PowerCut, WithoutACutTheWorkloadWraps) {
  Begin(AboutToWrap());
  Record(60000, kWorkloadPackets);
  DataStoreNormal store(kBase);
  ASSERT_EQ(store.Open(), 1);
  EXPECT_EQ(store.CurrentCluster(), 0);
  EXPECT_EQ(store.InitialReadLocation(), 1 * 4096);
  EXPECT_EQ(TicksOf(ReadStream(store, read_from_)), returned_);
}

// The second cut falls into the recovery from the first one or into the writes
// after it.
TEST_F(PowerCut, TwiceInARowNeverMakesBothFilesUnsearchable) {
  constexpr unsigned int kTries = 2500;
  for (const Situation& situation : {FewClusters(), AboutToWrap(), SecondRound()}) {
    for (unsigned int seed = 1; seed <= kTries && !HasFailure(); ++seed) {
      std::mt19937 random(seed);
      const int first = DrawStep(random, 230);
      const int second = DrawStep(random, 160);
      SCOPED_TRACE(testing::Message() << situation.name << ", seed " << seed << ", steps " << first
                                      << " and " << second);
      Begin(situation);
      RecordUntil(first, 60000, kWorkloadPackets, PolicyOf(Draw(random, kEveryPolicy)), seed);
      RecordUntil(second, 70000, kWorkloadPackets, PolicyOf(Draw(random, kEveryPolicy)), seed + 1);
      ExpectNothingLost();
    }
  }
  ExpectFewEscapes();
}

// The dangerous place is the first write of a cluster: torn in one file, and
// then, when a short packet has turned the files around, torn in the other.
TEST_F(PowerCut, TwiceInTheFirstWriteOfAClusterLosesNothing) {
  const Situation situation = SecondRound();
  int first_write = 0;
  Begin(situation);
  Record(60000, kWorkloadPackets);
  const auto& done = files_.Operations();
  for (std::size_t i = 0; i < done.size() && first_write == 0; ++i)
    if (done[i].op == FileOp::kWrite && done[i].offset == 3 * 4096)
      first_write = static_cast<int>(i) + 1;
  ASSERT_GT(first_write, 0);

  for (unsigned int seed = 1; seed <= 1500 && !HasFailure(); ++seed) {
    std::mt19937 random(seed);
    const int second = 60 + DrawStep(random, 40);  // shortly after the recovery
    SCOPED_TRACE(testing::Message()
                 << "seed " << seed << ", steps " << first_write << " and " << second);
    Begin(situation);
    ASSERT_TRUE(RecordUntil(first_write, 60000, kWorkloadPackets, Unsynced::kTorn, seed));
    RecordUntil(second, kShortPacketTick, kWorkloadPackets, Unsynced::kTorn, seed + 1);
    ExpectNothingLost();
  }
  ExpectFewEscapes();
}

// Power comes and goes; every time a little is recorded.
TEST_F(PowerCut, OverAndOverAgainLosesNothing) {
  for (const Situation& situation : {FewClusters(), AboutToWrap()}) {
    for (unsigned int seed = 1; seed <= 40 && !HasFailure(); ++seed) {
      SCOPED_TRACE(testing::Message() << situation.name << ", seed " << seed);
      std::mt19937 random(seed);
      Begin(situation);
      for (unsigned int round = 0; round < 20; ++round)
        RecordUntil(DrawStep(random, 160), 60000 + 100 * round, kWorkloadPackets,
                    PolicyOf(Draw(random, kEveryPolicy)), Draw(random, 100000));
      ExpectNothingLost();
    }
  }
  ExpectFewEscapes();
}

// ---- Creating and copying --------------------------------------------------------

// The numbers of the operations that are not one of many writes in a row.
std::vector<int> InterestingSteps(const std::vector<Operation>& operations) {
  std::vector<int> steps;
  for (std::size_t i = 1; i + 1 < operations.size(); ++i) {
    const bool dull = operations[i - 1].op == FileOp::kWrite &&
                      operations[i].op == FileOp::kWrite && operations[i + 1].op == FileOp::kWrite;
    if (!dull) steps.push_back(static_cast<int>(i) + 1);
  }
  return steps;
}

TEST_F(PowerCut, WhileANewStoreIsCreatedLeavesOneThatCanBeUsed) {
  const Situation nothing{"nothing", files_.Snapshot(), 0, {}};
  Begin(nothing);
  Record(60000, 1);
  std::vector<int> steps = InterestingSteps(files_.Operations());
  steps.push_back(10000);
  steps.push_back(50000);
  for (std::size_t i = 0; i < steps.size() && !HasFailure(); ++i) {
    const auto seed = static_cast<unsigned int>(i);
    SCOPED_TRACE(testing::Message() << "step " << steps[i] << ", seed " << seed);
    Begin(nothing);
    ASSERT_TRUE(RecordUntil(steps[i], 60000, 1, PolicyOf(seed), seed));
    ExpectNothingLost();
  }
  ExpectFewEscapes();
}

// The copy itself may end up empty or cut off, and a file of the wrong size is
// refused. What it was copied from stays whole.
TEST_F(PowerCut, WhileAMissingFileIsCopiedNeverHarmsTheFileThatIsThere) {
  Situation situation = FewClusters();
  files_.Delete(kFile2);
  situation.image = files_.Snapshot();
  Begin(situation);
  Record(60000, 1);
  const std::vector<int> steps = InterestingSteps(files_.Operations());
  for (std::size_t i = 0; i < steps.size() && !HasFailure(); ++i) {
    for (unsigned int n = 0; n < kEveryPolicy; ++n) {
      const unsigned int seed = static_cast<unsigned int>(i) * kEveryPolicy + n;
      SCOPED_TRACE(testing::Message() << "step " << steps[i] << ", seed " << seed);
      Begin(situation);
      RecordUntil(steps[i], 60000, 1, PolicyOf(n), seed);
      const bool copying = returned_ == situation.recorded;
      if (copying) files_.Delete(kFile2);
      ExpectNothingLost();
    }
  }
  ExpectFewEscapes();
}

}  // namespace
}  // namespace vmr
