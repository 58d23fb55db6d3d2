// What the crash tests record: packets, the stream they must read back as, and
// the rings that recording starts from.
#ifndef VMR_TESTS_CRASH_RECORDING_H_
#define VMR_TESTS_CRASH_RECORDING_H_

#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

#include "tests/crash/cow_files.h"

namespace vmr::crash {

using Bytes = std::vector<unsigned char>;

inline constexpr int kSmallestBytes = 7;  // of a packet with a full header
inline constexpr std::uint32_t kContinuation = 0xFFFFFFFE;

// One unit of WriteData: acknowledged as a whole.
struct Packet {
  Bytes bytes;
  std::uint32_t tick;
};

// The packets of a ring from the start of one cluster on, as one stream.
struct Stream {
  int from_cluster = 0;
  Bytes bytes;
  std::vector<std::size_t> ends;  // byte behind each packet
  std::vector<bool> continuation;

  void Add(const Packet& packet);
  int Count() const { return static_cast<int>(ends.size()); }
  // How many packets `found` is, byte by byte; -1 when it is anything else.
  int PacketsIn(const Bytes& found) const;
  void CutTo(int packets);
};

enum class Pattern { kMixed, kContinuations, kExactFills, kEqualTicks };

struct Scenario {
  const char* name;
  int cluster;  // the current one when recording starts
  bool second_lap;
  bool empty;  // nothing was ever recorded
  Pattern pattern;
};
const std::vector<Scenario>& Scenarios();

// Makes packets that follow one another in one recording. The same seed makes
// the same ones.
class PacketMaker {
 public:
  PacketMaker(Pattern pattern, unsigned int seed, std::uint32_t tick);
  // The next one, for a cluster of which `used` bytes are in use; adds its
  // length to `used` or opens the next cluster.
  Packet Next(int& used);
  // The smallest one, which shifts the turns of the two files and little else.
  Packet Smallest(int& used);
  int Draw(int below);

 private:
  int DrawLength();
  int ExactLength(int room);
  Packet Header1(int length);
  Packet Make(int length, bool opens);
  void FillAndSeal(Bytes& packet, std::size_t from, int length);

  Pattern pattern_;
  unsigned int profile_;
  std::mt19937 random_;
  std::uint32_t tick_;
};

// A cluster of one small packet at `tick`.
Bytes SmallCluster(std::uint32_t tick);
// A whole cluster around a payload.
Bytes ClusterOf(std::uint32_t first_tick, const Bytes& payload);

// A file of never-written clusters.
void MakeEmptyRing(CowFiles& files, int name);

// Puts the scenario's two equal files in place. `stream` gets what stands in the
// last clusters before the current one, and `used` the current one's used bytes.
void MakeFiles(const Scenario& scenario, PacketMaker& maker, CowFiles& files, Stream* stream,
               int* used);

}  // namespace vmr::crash

#endif  // VMR_TESTS_CRASH_RECORDING_H_
