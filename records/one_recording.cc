#include "records/one_recording.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <set>

#include "backends/cluster_copies.h"
#include "backends/last_position.h"
#include "records/cluster_reader.h"
#include "store/packet_format.h"
#include "store/tag_catalogue.h"

namespace vmr::records {
namespace {

constexpr int kLastCluster = kClusterCount - 1;
// A device that puts one write in a wrong place, or loses it, does so with few.
constexpr std::size_t kSeveral = 3;

std::size_t PayloadBytes(const unsigned char* image) {
  return static_cast<std::size_t>(ClusterSize(image) - kClusterHeaderBytes);
}

// A recorder writes no cluster that does not begin with a packet; of random bytes one image
// in 256 has a right CRC all the same.
bool BeginsWithAPacket(const unsigned char* image) {
  const std::size_t bytes = WholePacketBytes(image + kClusterHeaderBytes, PayloadBytes(image));
  return bytes != 0 && PacketEndIsRight(image + kClusterHeaderBytes, bytes);
}

bool IsOfARecorder(const unsigned char* image) {
  return image != nullptr && HoldsPackets(image) && BeginsWithAPacket(image);
}

bool BeginAlike(const unsigned char* a, const unsigned char* b) {
  return std::memcmp(a + kClusterHeaderBytes, b + kClusterHeaderBytes,
                     std::min(PayloadBytes(a), PayloadBytes(b))) == 0;
}

// Bits that changed in one place, under CRCs that happen to fit: packets of the same
// lengths, of which one at most is another, or else the first tick.
bool DifferInOnePlace(const unsigned char* a, const unsigned char* b) {
  const std::size_t end = std::min(PayloadBytes(a), PayloadBytes(b)) + kClusterHeaderBytes;
  int places = ClusterSt(a) != ClusterSt(b) ? 1 : 0;
  for (std::size_t at = kClusterHeaderBytes; at < end && places <= 1;) {
    const std::size_t bytes = WholePacketBytes(a + at, end - at);
    if (bytes == 0 || a[at] != b[at] || bytes != WholePacketBytes(b + at, end - at)) return false;
    if (std::memcmp(a + at, b + at, bytes) != 0) ++places;
    at += bytes;
  }
  return places <= 1;
}

bool EndsBefore(const unsigned char* a, const unsigned char* b) {
  return TellsTick(ClusterSt(a)) && TellsTick(ClusterSt(b)) && LastToldTick(a) < ClusterSt(b);
}

using Readers = std::array<ClusterReader, 2>;

bool HoldsPacketsIn(ClusterReader& file, int cluster) {
  const unsigned char* const image = file.Read(cluster);
  return image != nullptr && HoldsPackets(image);
}

// ---- What stands in a wrong place --------------------------------------------------

struct Suspect {
  int cluster;
  std::array<std::vector<unsigned char>, 2> copies;
  bool stands_elsewhere = false;
};

bool IsSameCluster(const std::vector<unsigned char>& copy, const unsigned char* image) {
  return !copy.empty() && ClusterSt(copy.data()) == ClusterSt(image) &&
         BeginAlike(copy.data(), image);
}

void LookFor(std::vector<Suspect>& suspects, ClusterReader& file) {
  for (int cluster = 0; cluster < kClusterCount; ++cluster) {
    const unsigned char* const image = file.ReadInTurn(cluster);
    if (image == nullptr || !HoldsPackets(image)) continue;
    for (Suspect& suspect : suspects)
      if (suspect.cluster != cluster)
        for (const auto& copy : suspect.copies)
          suspect.stands_elsewhere |= IsSameCluster(copy, image);
  }
}

// How many of the clusters hold nothing that stands somewhere else in the files.
std::size_t CountAtHome(const std::vector<int>& clusters, Readers& files) {
  std::vector<Suspect> suspects;
  for (const int cluster : clusters) {
    Suspect suspect{cluster, {}};
    for (std::size_t i = 0; i < files.size(); ++i)
      if (const unsigned char* const image = files[i].Read(cluster))
        suspect.copies[i].assign(image, image + kClusterBytes);
    suspects.push_back(suspect);
  }
  for (ClusterReader& file : files) LookFor(suspects, file);
  return static_cast<std::size_t>(
      std::count_if(suspects.begin(), suspects.end(),
                    [](const Suspect& suspect) { return !suspect.stands_elsewhere; }));
}

// ---- Whose recording it is ---------------------------------------------------------

using Names = std::set<std::vector<unsigned char>>;  // items
struct Unit {
  Names addresses;
  Names serial_numbers;
};

bool SaysSomething(const unsigned char* item, std::size_t bytes) {
  constexpr std::size_t kHeadBytes = 1 + 1;
  return std::any_of(item + std::min(kHeadBytes, bytes), item + bytes,
                     [](unsigned char byte) { return byte != 0; });
}

void TakeItems(const unsigned char* item, std::size_t available, Unit& unit) {
  while (available > 0) {
    const std::size_t bytes = ItemLength(FindTag(item[0]), item, available);
    if (bytes == 0) return;
    if (item[0] == TAG_MAC && SaysSomething(item, bytes))
      unit.addresses.insert({item, item + bytes});
    if (item[0] == TAG_SERIAL_NUM && SaysSomething(item, bytes))
      unit.serial_numbers.insert({item, item + bytes});
    item += bytes;
    available -= bytes;
  }
}

void TakePackets(const unsigned char* image, Unit& unit) {
  const unsigned char* const payload = image + kClusterHeaderBytes;
  const std::size_t size = PayloadBytes(image);
  for (std::size_t at = 0; at < size;) {
    const unsigned char* const packet = payload + at;
    const std::size_t bytes = WholePacketBytes(packet, size - at);
    const PacketShape* const shape = FindPacketShape(packet[0]);
    if (bytes != 0 && shape->has_items && PacketEndIsRight(packet, bytes))
      TakeItems(packet + shape->head_bytes, PacketItemBytes(*shape, bytes), unit);
    at += std::max<std::size_t>(bytes, 1);
  }
}

Unit UnitOf(ClusterReader& file) {
  Unit unit;
  for (int cluster = 0; cluster < kClusterCount; ++cluster)
    if (const unsigned char* const image = file.ReadInTurn(cluster)) TakePackets(image, unit);
  return unit;
}

bool ShareOne(const Names& a, const Names& b) {
  return std::any_of(a.begin(), a.end(), [&b](const auto& name) { return b.count(name) > 0; });
}

enum class SameUnit { kNo, kYes, kUnknown };

// A unit may have been given other names in the course of a recording.
SameUnit CompareUnits(const Unit& a, const Unit& b) {
  if (ShareOne(a.addresses, b.addresses) || ShareOne(a.serial_numbers, b.serial_numbers))
    return SameUnit::kYes;
  const bool told = (!a.addresses.empty() && !b.addresses.empty()) ||
                    (!a.serial_numbers.empty() && !b.serial_numbers.empty());
  return told ? SameUnit::kNo : SameUnit::kUnknown;
}

// ---- The judgement -----------------------------------------------------------------

struct Verdicts {
  std::size_t agreeing = 0;
  std::size_t older = 0;  // by a lap, as far as ticks tell
  std::size_t damaged = 0;
  std::vector<int> unlike;
  std::vector<int> longest_run;  // of those, without another between them
};

bool IsUnlike(Likeness likeness, const std::array<bool, 2>& came_round) {
  if (likeness == Likeness::kFirstIsOlder) return !came_round[1];
  if (likeness == Likeness::kSecondIsOlder) return !came_round[0];
  return likeness == Likeness::kUnlike;
}

Verdicts AddUp(const std::vector<std::pair<int, Likeness>>& seen,
               const std::array<bool, 2>& came_round) {
  Verdicts verdicts;
  std::vector<int> run;
  for (const auto& [cluster, likeness] : seen) {
    if (IsUnlike(likeness, came_round)) {
      verdicts.unlike.push_back(cluster);
      run.push_back(cluster);
      if (run.size() > verdicts.longest_run.size()) verdicts.longest_run = run;
      continue;
    }
    run.clear();
    verdicts.agreeing += likeness == Likeness::kAgree ? 1 : 0;
    verdicts.damaged += likeness == Likeness::kDamaged ? 1 : 0;
    verdicts.older +=
        likeness == Likeness::kFirstIsOlder || likeness == Likeness::kSecondIsOlder ? 1 : 0;
  }
  return verdicts;
}

std::vector<int> FirstFew(std::vector<int> clusters) {
  clusters.resize(std::min(clusters.size(), kSeveral));
  return clusters;
}

bool AreTwoByWhatIsUnlike(const Verdicts& verdicts, Readers& files) {
  if (verdicts.agreeing == 0)
    return !verdicts.unlike.empty() && CountAtHome(FirstFew(verdicts.unlike), files) > 0;
  return verdicts.longest_run.size() >= kSeveral &&
         CountAtHome(FirstFew(verdicts.longest_run), files) == kSeveral;
}

}  // namespace

Likeness LikenessOf(const unsigned char* image1, const unsigned char* image2) {
  if (!IsOfARecorder(image1) || !IsOfARecorder(image2)) return Likeness::kNothing;
  const bool lacks_no_tick = ClusterSt(image1) == ClusterSt(image2) ||
                             !TellsTick(ClusterSt(image1)) || !TellsTick(ClusterSt(image2));
  if (lacks_no_tick && BeginAlike(image1, image2)) return Likeness::kAgree;
  const bool sound1 = PacketsAreSound(image1), sound2 = PacketsAreSound(image2);
  if (sound1 != sound2 || DifferInOnePlace(image1, image2)) return Likeness::kDamaged;
  if (sound1 && EndsBefore(image1, image2)) return Likeness::kFirstIsOlder;
  if (sound2 && EndsBefore(image2, image1)) return Likeness::kSecondIsOlder;
  return Likeness::kUnlike;
}

void OneRecording::Add(int cluster, Likeness likeness) {
  if (likeness != Likeness::kNothing) seen_.emplace_back(cluster, likeness);
}

bool OneRecording::AreTwo(const std::string& path1, const std::string& path2) const {
  const auto agrees = [](const auto& seen) { return seen.second == Likeness::kAgree; };
  if (std::all_of(seen_.begin(), seen_.end(), agrees)) return false;
  Readers files;
  if (!files[0].Open(path1) || !files[1].Open(path2)) return false;
  const Verdicts verdicts = AddUp(
      seen_, {HoldsPacketsIn(files[0], kLastCluster), HoldsPacketsIn(files[1], kLastCluster)});
  if (AreTwoByWhatIsUnlike(verdicts, files)) return true;
  const bool all_agree = verdicts.agreeing > 0 && verdicts.damaged == 0 && verdicts.unlike.empty();
  if (all_agree) return false;
  const SameUnit same = CompareUnits(UnitOf(files[0]), UnitOf(files[1]));
  return same == SameUnit::kNo ||
         (same == SameUnit::kUnknown && verdicts.agreeing == 0 && verdicts.older > 0);
}

// ---- By a few clusters -------------------------------------------------------------

namespace {

class FirstTicksOf final : public FirstTicks {
 public:
  explicit FirstTicksOf(ClusterReader& file) : file_(file) {}
  unsigned int At(int cluster) override {
    const unsigned char* const image = file_.Read(cluster);
    return image == nullptr ? kUnreadableSt : ClusterSt(image);
  }

 private:
  ClusterReader& file_;
};

// Where the file's recording ends, and behind which cluster it holds nothing to compare.
struct Reach {
  int newest;
  int last;
};

Reach ReachOf(ClusterReader& file) {
  FirstTicksOf ticks(file);
  const LastPosition found = SearchLastPosition(ticks, kClusterCount);
  if (!found.Found()) return {kLastCluster, kLastCluster};
  return {found.newest, HoldsPacketsIn(file, kLastCluster) ? kLastCluster : found.newest};
}

std::set<int> SomeClusters(const Reach& reach1, const Reach& reach2) {
  constexpr int kSteps = 32, kAtEitherEnd = 4;
  const int last = std::min(reach1.last, reach2.last);
  std::set<int> clusters;
  for (int i = 0; i <= kSteps; ++i)
    clusters.insert(static_cast<int>(static_cast<std::int64_t>(last) * i / kSteps));
  for (int i = 0; i < kAtEitherEnd; ++i)
    for (const int cluster : {i, last - i, reach1.newest - i, reach2.newest - i})
      clusters.insert(std::clamp(cluster, 0, kLastCluster));
  return clusters;
}

}  // namespace

bool AreOfTwoRecordings(const std::string& path1, const std::string& path2) {
  ClusterReader file1, file2;
  if (path1.empty() || path2.empty() || !file1.Open(path1) || !file2.Open(path2)) return false;
  OneRecording compared;
  for (const int cluster : SomeClusters(ReachOf(file1), ReachOf(file2)))
    compared.Add(cluster, LikenessOf(file1.Read(cluster), file2.Read(cluster)));
  return compared.AreTwo(path1, path2);
}

}  // namespace vmr::records
