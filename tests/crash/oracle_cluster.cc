#include "tests/crash/oracle_cluster.h"

#include <array>

namespace vmr::crash {
namespace {

// CRC-8 with the polynomial 0x07: what each byte becomes.
const std::array<unsigned char, 256> kCrcOf = [] {
  std::array<unsigned char, 256> of{};
  for (unsigned int n = 0; n < 256; ++n) {
    unsigned int r = n;
    for (int bit = 0; bit < 8; ++bit) r = (r << 1) ^ (r >> 7) * 0x107;
    of[n] = static_cast<unsigned char>(r);
  }
  return of;
}();

unsigned char Crc(const unsigned char* bytes, int count) {
  unsigned char crc = 0xFF;
  for (int i = 0; i < count; ++i) crc = kCrcOf[crc ^ bytes[i]];
  return crc;
}

std::uint32_t Tick(const unsigned char* p) {
  return p[0] + p[1] * 0x100U + p[2] * 0x10000U + p[3] * 0x1000000U;
}

// Of the packets 0x80 to 0x83: where the byte with the length stands, by what it
// is multiplied, and what comes on top.
constexpr int kLengths[4][3] = {{5, 1, 7}, {2, 1, 4}, {1, 1, 3}, {1, 2, 3}};

}  // namespace

int UsedBytes(const unsigned char* cluster) { return cluster[5] + cluster[6] * 256; }

std::uint32_t FirstTick(const unsigned char* cluster) { return Tick(cluster + 1); }

bool IsWholeCluster(const unsigned char* cluster) {
  const int size = UsedBytes(cluster);
  return size >= 7 && size <= 4096 && Crc(cluster + 1, size - 1) == cluster[0];
}

std::uint32_t WalkTicks(const unsigned char* cluster) {
  std::uint32_t tick = FirstTick(cluster);
  const int end = UsedBytes(cluster);
  for (int at = 7; at < end;) {
    const auto byte = [&](int n) { return at + n < end ? cluster[at + n] : 0; };
    const int kind = byte(0) - 0x80;
    if (kind == 0 && at + 6 <= end) tick = Tick(cluster + at + 1);
    if (kind == 1 && at + 3 <= end) tick = tick / 256 * 256 + cluster[at + 1];
    const bool known = kind >= 0 && kind < 4;
    at += known ? byte(kLengths[kind][0]) * kLengths[kind][1] + kLengths[kind][2] : 1;
  }
  return tick >= 0xFFFFFFFE ? 0 : tick;
}

bool HasSoundPackets(const unsigned char* cluster) {
  const int end = UsedBytes(cluster);
  for (int at = 7; at < end;) {
    const unsigned char* const packet = cluster + at;
    const int kind = packet[0] - 0x80;
    if (kind < 0 || kind > 3 || at + kLengths[kind][0] >= end) return false;
    const int counted = packet[kLengths[kind][0]];
    const int bytes = counted * kLengths[kind][1] + kLengths[kind][2];
    if (at + bytes > end) return false;
    // The dictionary has no CRC but a zero; a continuation's leaves its end out.
    const int covered = kind == 2 ? counted : bytes - 1;
    if (packet[bytes - 1] != (kind == 3 ? 0 : Crc(packet, covered))) return false;
    at += bytes;
  }
  return true;
}

}  // namespace vmr::crash
