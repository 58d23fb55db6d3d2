#include "tests/crash/oracle.h"

namespace vmr::crash {
namespace {

constexpr std::uint32_t kEmpty = 0xFFFFFFFF;
constexpr std::uint32_t kContinued = 0xFFFFFFFE;
constexpr std::uint32_t kBad = 0xFFFFFFFD;
constexpr int kLast = 32767;

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

std::uint32_t Tick(const unsigned char* p) {
  return p[0] + p[1] * 0x100U + p[2] * 0x10000U + p[3] * 0x1000000U;
}

bool ReadWhole(const ReadImage& file, int cluster, unsigned char* to) {
  return file(cluster, to) && IsWholeCluster(to);
}

struct Head {
  std::uint32_t st = kBad;
  int size = -1;
};

Head HeadOf(const ReadImage& file, int cluster) {
  unsigned char bytes[4096];
  return ReadWhole(file, cluster, bytes) ? Head{FirstTick(bytes), UsedBytes(bytes)} : Head{};
}

// Of the packets 0x80 to 0x83: where the byte with the length stands, by what it
// is multiplied, and what comes on top.
constexpr int kLengths[4][3] = {{5, 1, 7}, {2, 1, 4}, {1, 1, 3}, {1, 2, 3}};

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
  return tick == kContinued || tick == kEmpty ? 0 : tick;
}

// Unusable, without data, with data.
int Rank(const Position& p) { return !p.found ? 0 : p.newest_st == kEmpty && p.size <= 7 ? 1 : 2; }

}  // namespace

int UsedBytes(const unsigned char* cluster) { return cluster[5] + cluster[6] * 256; }

std::uint32_t FirstTick(const unsigned char* cluster) { return Tick(cluster + 1); }

bool IsWholeCluster(const unsigned char* cluster) {
  const int size = UsedBytes(cluster);
  if (size < 7 || size > 4096) return false;
  unsigned char crc = 0xFF;
  for (int i = 1; i < size; ++i) crc = kCrcOf[crc ^ cluster[i]];
  return crc == cluster[0];
}

Position Search(const ReadImage& file) {
  const auto end = [](int newest, const Head& n, int oldest, const Head& o) {
    return Position{true, newest, n.st, oldest, o.st, n.size};
  };
  Head low = HeadOf(file, 0);
  Head high = HeadOf(file, kLast);
  if (low.st == kEmpty && high.st == kEmpty) return end(0, low, kLast, high);
  if (low.st == kContinued) return end(kLast, high, 1, HeadOf(file, 1));
  if (high.st < kBad && low.st < high.st) return end(kLast, high, 0, low);
  int from = 0, to = kLast;
  while (to - from > 1) {
    const int middle = (from + to) / 2;
    const Head head = HeadOf(file, middle);
    if (head.st == kBad || low.st == kBad || high.st == kBad) return {};
    const bool behind = head.st == kEmpty || head.st < low.st;
    (behind ? to : from) = middle;
    (behind ? high : low) = head;
  }
  return end(from, low, to, high);
}

Prediction Predict(const ReadImage& file1, const ReadImage& file2) {
  Prediction p;
  p.file = {Search(file1), Search(file2)};
  const Position& a = p.file[0];
  const Position& b = p.file[1];
  if (!a.found && !b.found) return p;
  const bool same_cluster = Rank(a) == Rank(b) && a.newest == b.newest;
  const bool less = same_cluster ? a.size < b.size : a.newest_st < b.newest_st;
  const bool second = Rank(a) == Rank(b) ? less : Rank(a) < Rank(b);
  const Position& writer = second ? b : a;
  p.last_writer = second ? 1 : 0;
  p.curr_stale = {second, !second};
  p.prev_stale = {second && !same_cluster, !second && !same_cluster};
  p.current = writer.newest;
  p.previous = (p.current + kLast) % (kLast + 1);
  p.fills_empty = Rank(a) + Rank(b) == 3 && (p.current != 0 || writer.oldest_st != kEmpty);

  const ReadImage& mine = second ? file2 : file1;
  const ReadImage& other = p.fills_empty ? mine : second ? file1 : file2;
  unsigned char current[4096], previous[4096];
  const auto load = [&](int n, unsigned char* to) {
    return ReadWhole(mine, n, to) || ReadWhole(other, n, to);
  };
  p.outcome = Outcome::kFails;
  if (!load(p.current, current) || !load(p.previous, previous)) return p;
  p.outcome = Outcome::kOpens;
  p.size = UsedBytes(current);
  p.last_tick = WalkTicks(FirstTick(current) == kContinued ? previous : current);
  return p;
}

}  // namespace vmr::crash
