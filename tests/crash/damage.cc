// Damage: bits flipped and sectors gone in one cluster of one file, in one cluster
// of each, and in the same cluster of both.
#include <set>
#include <string>

#include "tests/crash/rounds.h"
#include "tests/crash/run.h"
#include "tests/crash/sessions.h"

namespace vmr::crash {
namespace {

constexpr int kHeaderBits = 7 * 8;
constexpr int kFirstPayloadBits = 16 * 8;
constexpr int kRandomBits = 40;

enum class Wound { kZero, kOnes, kRandom, kUnreadable, kCount };
const char* const kWoundNames[] = {"zero", "ones", "random", "eio"};

class Damage {
 public:
  explicit Damage(Run& run) : run_(run), check_(files_, run.counts) {}

  void Enumerate(const Scenario& scenario, unsigned int round, int turn);

 private:
  void Begin(const Scenario& scenario, unsigned int round, int turn);
  std::vector<int> InterestingClusters(PacketMaker& maker);
  bool IsWorthDamaging(int cluster1, int cluster2) const;
  void DamageOne(const std::string& prefix, int name, int cluster, PacketMaker& maker);
  void FlipBit(const std::string& prefix, int name, int cluster, int bit);
  void WoundSectors(const std::string& prefix, int name, int cluster, int from, int to,
                    Wound wound);
  void DamageBoth(const std::string& prefix, int cluster1, int cluster2);
  void Visit(const char* count, const std::string& id, int name, int cluster, const Page& damaged);
  Page Copy(int name, int cluster, unsigned char** bytes);
  Expected Undamaged() const;

  Run& run_;
  CowFiles files_;
  StateCheck check_;
  Start start_;
  std::set<int> paths_[2];  // the clusters that each file's search looks at
  Prediction before_;       // as the undamaged files are
};

// Half of the rounds begin as a session left the files that went on into the
// next cluster.
void Damage::Begin(const Scenario& scenario, unsigned int round, int turn) {
  PacketMaker maker(scenario.pattern, round, 400000);
  start_ = MakeStart(scenario, maker, turn, files_);
  if (round % 2 == 1) {
    const std::vector<Packet> packets = MakePackets(maker, start_.used, 1, 2);
    Record(files_, packets);
    for (const Packet& packet : packets) start_.stream.Add(packet);
  }
  before_ = Predict(ImageOf(files_, kFile1), ImageOf(files_, kFile2));
}

Expected Damage::Undamaged() const {
  Expected expected;
  expected.stream = &start_.stream;
  expected.at_least = expected.at_most = start_.stream.Count();
  expected.mirrors_equal = false;  // nobody may have read the damaged cluster
  expected.damage_stays = true;
  return expected;
}

// Where the searches look, around the current cluster, and anywhere.
std::vector<int> Damage::InterestingClusters(PacketMaker& maker) {
  std::set<int> clusters;
  for (const int name : {kFile1, kFile2}) {
    std::set<int>& path = paths_[static_cast<std::size_t>(name)];
    path.clear();
    Search([&](int cluster, unsigned char* to) {
      path.insert(cluster);
      return files_.ReadRaw(name, cluster, to);
    });
    clusters.insert(path.begin(), path.end());
  }
  for (int n = -2; n <= 2; ++n) clusters.insert((before_.current + n + kPages) % kPages);
  for (int n = 0; n < 2; ++n) clusters.insert(maker.Draw(kPages));
  return {clusters.begin(), clusters.end()};
}

// Two new files take as long as a hundred other states: of the pairs that make
// both files unsearchable a few will do. What is bad in both files ends what is
// read back, so it is not taken from there.
bool Damage::IsWorthDamaging(int cluster1, int cluster2) const {
  const bool recreates = paths_[0].count(cluster1) != 0 && paths_[1].count(cluster2) != 0;
  if (recreates) return (cluster1 + cluster2) % 16 == 0;
  const int behind_start = (cluster1 - start_.stream.from_cluster + kPages) % kPages;
  const int window = (before_.previous - start_.stream.from_cluster + kPages) % kPages;
  return cluster1 != cluster2 || behind_start >= window;
}

void Damage::Enumerate(const Scenario& scenario, unsigned int round, int turn) {
  const std::string where =
      std::string(scenario.name) + "/r" + std::to_string(round) + "/t" + std::to_string(turn);
  if (!run_.WantsSome("damage/" + where + "/")) return;
  Begin(scenario, round, turn);
  PacketMaker maker(Pattern::kMixed, round + static_cast<unsigned int>(turn), 1);
  const std::vector<int> clusters = InterestingClusters(maker);
  for (const int cluster : clusters) {
    if (run_.Enough(true)) return;
    for (const int name : {kFile1, kFile2})
      DamageOne("damage/" + where + "/f" + std::to_string(name + 1) + "/c" +
                    std::to_string(cluster) + "/",
                name, cluster, maker);
    for (const int other : clusters)
      if (IsWorthDamaging(cluster, other)) DamageBoth("damage/" + where + "/both/", cluster, other);
  }
}

void Damage::DamageOne(const std::string& prefix, int name, int cluster, PacketMaker& maker) {
  for (int bit = 0; bit < kHeaderBits + kFirstPayloadBits; ++bit)
    FlipBit(prefix, name, cluster, bit);
  for (int n = 0; n < kRandomBits; ++n) FlipBit(prefix, name, cluster, maker.Draw(kPageBytes * 8));
  for (int n = 0; n < static_cast<int>(Wound::kCount); ++n) {
    const auto wound = static_cast<Wound>(n);
    WoundSectors(prefix, name, cluster, 0, kSectors, wound);
    for (int sector = 0; sector < kSectors; ++sector)
      WoundSectors(prefix, name, cluster, sector, sector + 1, wound);
  }
}

Page Damage::Copy(int name, int cluster, unsigned char** bytes) {
  *bytes = files_.Allocate(kPageBytes);
  files_.ReadRaw(name, cluster, *bytes);
  return {*bytes, kPageBytes, 0};
}

void Damage::FlipBit(const std::string& prefix, int name, int cluster, int bit) {
  const CowFiles::Mark mark = files_.Set();
  unsigned char* bytes = nullptr;
  const Page damaged = Copy(name, cluster, &bytes);
  bytes[bit / 8] ^= static_cast<unsigned char>(1U << bit % 8);
  Visit("flipped_bits", prefix + "bit" + std::to_string(bit), name, cluster, damaged);
  files_.Undo(mark);
}

void Damage::WoundSectors(const std::string& prefix, int name, int cluster, int from, int to,
                          Wound wound) {
  const CowFiles::Mark mark = files_.Set();
  unsigned char* bytes = nullptr;
  Page damaged = Copy(name, cluster, &bytes);
  std::uint32_t random = static_cast<std::uint32_t>(cluster * kSectors + from);
  for (int n = from * kSectorBytes; n < to * kSectorBytes; ++n) {
    random = random * 1664525U + 1013904223U;
    if (wound == Wound::kZero) bytes[n] = 0;
    if (wound == Wound::kOnes) bytes[n] = 0xFF;
    if (wound == Wound::kRandom) bytes[n] = static_cast<unsigned char>(random >> 24);
  }
  for (int sector = from; sector < to && wound == Wound::kUnreadable; ++sector)
    damaged.bad_sectors |= static_cast<std::uint8_t>(1U << sector);
  Visit("damaged_sectors",
        prefix + kWoundNames[static_cast<int>(wound)] + std::to_string(from) + "-" +
            std::to_string(to),
        name, cluster, damaged);
  files_.Undo(mark);
}

void Damage::Visit(const char* count, const std::string& id, int name, int cluster,
                   const Page& damaged) {
  if (!run_.Wants(id)) return;
  ++run_.counts[count];
  const Page& sound = files_.PageAt(name, cluster);
  const bool escaped = EscapesCrc(damaged, sound, sound);
  run_.counts["crc_coincidences"] += escaped ? 1 : 0;
  Expected expected = Undamaged();
  expected.everything = run_.IsSample();
  expected.damaged[0] = {name, cluster};
  // Only the file with the last packet has something that the other lacks.
  if (name == before_.last_writer) expected.holder = name;
  files_.SetPage(name, cluster, damaged);
  const std::string wrong = check_.Visit(expected);
  if (wrong.empty()) return;
  if (escaped) {
    ++run_.counts["losses_by_crc_coincidence"];
  } else {
    run_.Fail(id, wrong);
  }
}

// One cluster unreadable in file #1 and one in file #2.
void Damage::DamageBoth(const std::string& prefix, int cluster1, int cluster2) {
  const std::string id = prefix + "c" + std::to_string(cluster1) + "/c" + std::to_string(cluster2);
  if (!run_.Wants(id)) return;
  const CowFiles::Mark mark = files_.Set();
  Page damaged = files_.PageAt(kFile1, cluster1);
  damaged.bad_sectors = 1;
  files_.SetPage(kFile1, cluster1, damaged);
  damaged = files_.PageAt(kFile2, cluster2);
  damaged.bad_sectors = 1;
  files_.SetPage(kFile2, cluster2, damaged);

  Expected expected = Undamaged();
  expected.holder = before_.last_writer;
  expected.may_recreate = true;
  expected.may_fail = cluster1 == cluster2;
  if (cluster1 == cluster2) {
    expected.lost_cluster = cluster1;
  } else {
    expected.damaged = {{{kFile1, cluster1}, {kFile2, cluster2}}};
  }
  ++run_.counts["damaged_in_both"];
  const std::string wrong = check_.Visit(expected);
  if (!wrong.empty()) run_.Fail(id, wrong);
  files_.Undo(mark);
}

}  // namespace

void EnumerateDamage(Run& run) {
  Damage damage(run);
  ForEachRound(run, [&](const Scenario& scenario, unsigned int round, int turn) {
    damage.Enumerate(scenario, round, turn);
  });
}

}  // namespace vmr::crash
