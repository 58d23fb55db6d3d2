#include "tests/crash/recording.h"

#include <algorithm>
#include <cstring>

#include "tests/support/reference_crc.h"

namespace vmr::crash {
namespace {

constexpr std::uint32_t kOldLapTick = 1000;
constexpr std::uint32_t kNewLapTick = 200000;
constexpr std::uint32_t kTicksPerCluster = 2;
constexpr int kWindowClusters = 2;   // in front of the current one
constexpr int kFullOldClusters = 5;  // behind it, in the second lap
constexpr int kHeaderBytes = 7;
constexpr int kRoomLeft = 700;

void PutTick(Bytes* to, std::uint32_t tick) {
  for (int shift = 0; shift < 32; shift += 8)
    to->push_back(static_cast<unsigned char>(tick >> shift));
}

}  // namespace

void Stream::Add(const Packet& packet) {
  bytes.insert(bytes.end(), packet.bytes.begin(), packet.bytes.end());
  ends.push_back(bytes.size());
  continuation.push_back(packet.tick == kContinuation);
}

int Stream::PacketsIn(const Bytes& found) const {
  if (found.empty()) return 0;
  if (found.size() > bytes.size() || memcmp(found.data(), bytes.data(), found.size()) != 0)
    return -1;
  const auto end = std::lower_bound(ends.begin(), ends.end(), found.size());
  if (end == ends.end() || *end != found.size()) return -1;
  return static_cast<int>(end - ends.begin()) + 1;
}

void Stream::CutTo(int packets) {
  const auto count = static_cast<std::size_t>(packets);
  ends.resize(count);
  continuation.resize(count);
  bytes.resize(packets == 0 ? 0 : ends.back());
}

const std::vector<Scenario>& Scenarios() {
  static const std::vector<Scenario> kScenarios = {
      {"empty", 0, false, true, Pattern::kMixed},
      {"first-1000", 1000, false, false, Pattern::kMixed},
      {"first-16383", 16383, false, false, Pattern::kMixed},
      {"first-32766", 32766, false, false, Pattern::kMixed},
      {"second-1", 1, true, false, Pattern::kMixed},
      {"second-20000", 20000, true, false, Pattern::kMixed},
      {"second-32766", 32766, true, false, Pattern::kMixed},
      {"continued-first-1000", 1000, false, false, Pattern::kContinuations},
      {"continued-second-20000", 20000, true, false, Pattern::kContinuations},
      {"continued-second-32767", 32767, true, false, Pattern::kContinuations},
      {"exact-first-1000", 1000, false, false, Pattern::kExactFills},
      {"exact-second-32766", 32766, true, false, Pattern::kExactFills},
      {"equal-first-1000", 1000, false, false, Pattern::kEqualTicks},
      {"equal-second-32766", 32766, true, false, Pattern::kEqualTicks},
  };
  return kScenarios;
}

// ---- Packets ---------------------------------------------------------------------

PacketMaker::PacketMaker(Pattern pattern, unsigned int seed, std::uint32_t tick)
    : pattern_(pattern),
      profile_(pattern == Pattern::kContinuations ? seed % 2 : seed % 4),
      random_(seed),
      tick_(tick) {}

int PacketMaker::Draw(int below) {
  return static_cast<int>(random_() % static_cast<unsigned int>(below));
}

int PacketMaker::DrawLength() {
  switch (profile_) {
    case 0:
      return 20 + Draw(243);
    case 1:
      return Draw(10) == 0 ? 262 : 8 + Draw(52);
    case 2:
      return 262 + Draw(500);  // several packets handed over as one
    default:
      return Draw(8) == 0 ? 1000 + Draw(3000) : 30 + Draw(200);
  }
}

// Fills the cluster to its last byte as soon as one packet can do it, or misses
// that by one byte.
int PacketMaker::ExactLength(int room) {
  const int length = DrawLength();
  if (room < 8 || room > 700) return length;
  return Draw(4) == 0 ? room + 1 : room;
}

Packet PacketMaker::Next(int& used) {
  const int room = kPageBytes - used;
  const int length = pattern_ == Pattern::kExactFills ? ExactLength(room) : DrawLength();
  // No recorder begins a recording with a continuation.
  const bool begins = used == kHeaderBytes && pattern_ != Pattern::kContinuations;
  const bool opens = begins || length > room;
  used = (opens ? kHeaderBytes : used) + length;
  if (pattern_ != Pattern::kEqualTicks) tick_ += 1U + static_cast<std::uint32_t>(Draw(3));
  return Make(length, opens);
}

Packet PacketMaker::Smallest(int& used) {
  used += kSmallestBytes;
  return Header1(kSmallestBytes);
}

Packet PacketMaker::Make(int length, bool opens) {
  const bool one_packet = length <= 257;
  const int kind = Draw(8);
  Packet packet{{}, tick_};
  if (one_packet && (pattern_ == Pattern::kContinuations ? opens : !opens && kind == 0)) {
    packet.bytes = {0x82, static_cast<unsigned char>(length - 3)};
    FillAndSeal(packet.bytes, 0, length);
    packet.tick = kContinuation;
  } else if (one_packet && !opens && kind == 1 && length % 2 == 1) {
    packet.bytes = {0x83, static_cast<unsigned char>((length - 3) / 2)};
    FillAndSeal(packet.bytes, 0, length);
  } else if (one_packet && !opens && kind < 4 && (tick_ & 0xFF) > 3) {
    packet.bytes = {0x81, static_cast<unsigned char>(tick_),
                    static_cast<unsigned char>(length - 4)};
    FillAndSeal(packet.bytes, 0, length);
  } else {
    packet = Header1(length);
  }
  return packet;
}

// Full headers of the same tick, as many as the length takes.
Packet PacketMaker::Header1(int length) {
  Packet packet{{}, tick_};
  while (length > 0) {
    int one = std::min(length, 262);
    if (length - one > 0 && length - one < 7) one -= 7;
    const std::size_t from = packet.bytes.size();
    packet.bytes.push_back(0x80);
    PutTick(&packet.bytes, tick_);
    packet.bytes.push_back(static_cast<unsigned char>(one - 7));
    FillAndSeal(packet.bytes, from, one);
    length -= one;
  }
  return packet;
}

// Items up to the packet's length, and the CRC, which leaves out the last two item bytes
// of a continuation. A dictionary ends with a zero.
void PacketMaker::FillAndSeal(Bytes& packet, std::size_t from, int length) {
  const std::size_t end = from + static_cast<std::size_t>(length);
  while (packet.size() + 1 < end) packet.push_back(static_cast<unsigned char>(random_()));
  const bool continues = packet[from] == 0x82;
  const std::size_t covered = from + (continues ? packet[from + 1] : packet.size() - from);
  const Bytes spanned(packet.begin() + static_cast<long>(from),
                      packet.begin() + static_cast<long>(covered));
  packet.push_back(packet[from] == 0x83 ? 0 : test::ReferenceCrc8(spanned));
}

// ---- Rings -----------------------------------------------------------------------

Bytes ClusterOf(std::uint32_t first_tick, const Bytes& payload) {
  const std::size_t size = kHeaderBytes + payload.size();
  Bytes cluster{0};
  PutTick(&cluster, first_tick);
  cluster.push_back(static_cast<unsigned char>(size));
  cluster.push_back(static_cast<unsigned char>(size >> 8));
  cluster.insert(cluster.end(), payload.begin(), payload.end());
  cluster[0] = test::ReferenceCrc8(Bytes(cluster.begin() + 1, cluster.end()));
  return cluster;
}

Bytes SmallCluster(std::uint32_t tick) {
  Bytes packet{0x80};
  PutTick(&packet, tick);
  packet.push_back(0);
  packet.push_back(test::ReferenceCrc8(packet));
  return ClusterOf(tick, packet);
}

namespace {

void Put(CowFiles& files, int cluster, const Bytes& content) {
  const Page page = files.MakePage(content.data(), static_cast<int>(content.size()));
  for (const int name : {kFile1, kFile2}) files.SetPage(name, cluster, page);
}

// Packets up to about `limit` used bytes. False when the stream is not to know.
int PutFilled(CowFiles& files, PacketMaker& maker, int cluster, int limit, Stream* stream) {
  Bytes payload;
  int used = kHeaderBytes;
  std::uint32_t first_tick = 0;
  while (used < limit) {
    const int before = used;
    const Packet packet = maker.Next(used);
    if (used < before + static_cast<int>(packet.bytes.size()) || packet.tick == kContinuation) {
      used = before;  // it would open the next cluster
      if (before > limit - kRoomLeft) break;
      continue;
    }
    if (payload.empty()) first_tick = packet.tick;
    payload.insert(payload.end(), packet.bytes.begin(), packet.bytes.end());
    if (stream != nullptr) stream->Add(packet);
  }
  Put(files, cluster, ClusterOf(first_tick, payload));
  return used;
}

void PutSmall(CowFiles& files, int from, int to, std::uint32_t tick) {
  for (int cluster = from; cluster < to; ++cluster)
    Put(files, cluster,
        SmallCluster(tick + static_cast<std::uint32_t>(cluster) * kTicksPerCluster));
}

}  // namespace

void MakeEmptyRing(CowFiles& files, int name) {
  const Bytes never_written = ClusterOf(0xFFFFFFFF, {});
  const Page empty = files.MakePage(never_written.data(), kHeaderBytes);
  files.MakeRing(name);
  for (int cluster = 0; cluster < kPages; ++cluster) files.SetPage(name, cluster, empty);
}

void MakeFiles(const Scenario& scenario, PacketMaker& maker, CowFiles& files, Stream* stream,
               int* used) {
  files.Clear();
  MakeEmptyRing(files, kFile1);
  MakeEmptyRing(files, kFile2);
  *used = kHeaderBytes;
  if (scenario.empty) return;

  const int current = scenario.cluster;
  PutSmall(files, 0, current, scenario.second_lap ? kNewLapTick : kOldLapTick);
  if (scenario.second_lap) PutSmall(files, current + 1, kPages, kOldLapTick);
  const auto put_full = [&](int cluster, Stream* to) {
    const bool new_lap = scenario.second_lap && cluster < current;
    const std::uint32_t tick = (new_lap ? kNewLapTick : kOldLapTick) +
                               static_cast<std::uint32_t>(cluster) * kTicksPerCluster;
    PacketMaker full(Pattern::kEqualTicks, static_cast<unsigned int>(cluster) * 4, tick);
    PutFilled(files, full, cluster, kPageBytes - 40, to);
  };
  for (int n = 1; n <= kFullOldClusters; ++n) {
    const int cluster = (current + n) % kPages;
    if (scenario.second_lap || cluster < current) put_full(cluster, nullptr);
  }
  stream->from_cluster = (current - kWindowClusters + kPages) % kPages;
  for (int n = kWindowClusters; n > 0; --n) put_full((current - n + kPages) % kPages, stream);
  *used = PutFilled(files, maker, current, kPageBytes - kRoomLeft - maker.Draw(200), stream);
}

}  // namespace vmr::crash
