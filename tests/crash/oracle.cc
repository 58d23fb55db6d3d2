#include "tests/crash/oracle.h"

namespace vmr::crash {
namespace {

constexpr std::uint32_t kEmpty = 0xFFFFFFFF;
constexpr std::uint32_t kContinued = 0xFFFFFFFE;
constexpr std::uint32_t kBad = 0xFFFFFFFD;
constexpr int kLast = 32767;

struct CrcTable {
  unsigned char of[256];
  CrcTable() : of() {
    for (unsigned int n = 0; n < 256; ++n) {
      unsigned int r = n;
      for (int bit = 0; bit < 8; ++bit) r = (r & 0x80) != 0 ? (r << 1 ^ 0x07) & 0xFF : r << 1;
      of[n] = static_cast<unsigned char>(r);
    }
  }
};

std::uint32_t Tick(const unsigned char* p) {
  return p[0] + p[1] * 0x100U + p[2] * 0x10000U + p[3] * 0x1000000U;
}

struct Head {
  std::uint32_t st = kBad;
  int size = -1;
};

// A file's cluster headers, each read once.
class Heads {
 public:
  explicit Heads(const ReadImage& file) : file_(file) {}
  std::uint32_t St(int cluster) { return Of(cluster).st; }
  int Size(int cluster) { return Of(cluster).size; }

 private:
  Head Of(int cluster) {
    for (int i = 0; i < known_; ++i)
      if (cluster_[i] == cluster) return head_[i];
    unsigned char bytes[4096];
    Head head;
    if (file_(cluster, bytes) && IsWholeCluster(bytes)) head = {Tick(bytes + 1), UsedBytes(bytes)};
    cluster_[known_] = cluster;
    head_[known_] = head;
    ++known_;
    return head;
  }

  const ReadImage& file_;
  int known_ = 0;
  int cluster_[24] = {};  // a search looks at 18
  Head head_[24];
};

std::uint32_t WalkTicks(const unsigned char* cluster) {
  std::uint32_t tick = Tick(cluster + 1);
  const int end = UsedBytes(cluster);
  for (int at = 7; at < end;) {
    const auto byte = [&](int n) { return at + n < end ? cluster[at + n] : 0U; };
    const unsigned int kind = byte(0);
    if (kind == 0x80 && at + 6 <= end) tick = Tick(cluster + at + 1);
    if (kind == 0x81 && at + 3 <= end) tick = tick / 256 * 256 + byte(1);
    unsigned int length = 1;
    if (kind == 0x80) length = byte(5) + 7;
    if (kind == 0x81) length = byte(2) + 4;
    if (kind == 0x82) length = byte(1) + 3;
    if (kind == 0x83) length = byte(1) * 2 + 3;
    at += static_cast<int>(length);
  }
  return tick == kContinued || tick == kEmpty ? 0 : tick;
}

bool ReadWhole(const ReadImage& file, int cluster, unsigned char* to) {
  return file(cluster, to) && IsWholeCluster(to);
}

// A file's rank: unusable, without data, with data.
int Rank(const Position& p) {
  if (!p.found) return 0;
  return p.newest_st == kEmpty && p.size <= 7 ? 1 : 2;
}

}  // namespace

bool operator==(const Position& a, const Position& b) {
  if (!a.found || !b.found) return a.found == b.found;
  return a.newest == b.newest && a.newest_st == b.newest_st && a.oldest == b.oldest &&
         a.oldest_st == b.oldest_st && a.size == b.size;
}

int UsedBytes(const unsigned char* cluster) { return cluster[5] + cluster[6] * 256; }

std::uint32_t FirstTick(const unsigned char* cluster) { return Tick(cluster + 1); }

bool IsWholeCluster(const unsigned char* cluster) {
  static const CrcTable kTable;
  const int size = UsedBytes(cluster);
  if (size < 7 || size > 4096) return false;
  unsigned char crc = 0xFF;
  for (int i = 1; i < size; ++i) crc = kTable.of[crc ^ cluster[i]];
  return crc == cluster[0];
}

Position Search(const ReadImage& file) {
  Heads heads(file);
  const std::uint32_t first = heads.St(0);
  const std::uint32_t last = heads.St(kLast);
  if (first == kEmpty && last == kEmpty) return {true, 0, kEmpty, kLast, kEmpty, heads.Size(0)};
  if (first == kContinued) return {true, kLast, last, 1, heads.St(1), heads.Size(kLast)};
  if (last < kBad && first < last) return {true, kLast, last, 0, first, heads.Size(kLast)};
  int lo = 0;
  int hi = kLast;
  while (hi - lo > 1) {
    const int mid = (lo + hi) / 2;
    const std::uint32_t st = heads.St(mid);
    if (st == kBad || heads.St(lo) == kBad || heads.St(hi) == kBad) return {};
    (st == kEmpty || st < heads.St(lo) ? hi : lo) = mid;
  }
  return {true, lo, heads.St(lo), hi, heads.St(hi), heads.Size(lo)};
}

Prediction Predict(const ReadImage& file1, const ReadImage& file2) {
  Prediction p;
  p.file = {Search(file1), Search(file2)};
  const Position& a = p.file[0];
  const Position& b = p.file[1];
  if (!a.found && !b.found) {
    p.outcome = Outcome::kRecreates;
    p.previous = kLast;
    return p;
  }
  const bool same_rank = Rank(a) == Rank(b);
  const bool same_cluster = same_rank && a.newest == b.newest;
  bool second = Rank(a) < Rank(b);
  if (same_rank) second = same_cluster ? a.size < b.size : a.newest_st < b.newest_st;
  const std::size_t writer = second ? 1 : 0;
  p.last_writer = second ? 1 : 0;
  p.curr_stale[1 - writer] = true;
  p.prev_stale[1 - writer] = !same_cluster;
  p.current = p.file[writer].newest;
  const bool first_cluster_only = p.current == 0 && p.file[writer].oldest_st == kEmpty;
  p.fills_empty = Rank(a) + Rank(b) == 3 && !first_cluster_only;
  p.previous = p.current == 0 ? kLast : p.current - 1;

  const ReadImage& mine = second ? file2 : file1;
  const ReadImage& other = p.fills_empty ? mine : (second ? file1 : file2);
  unsigned char previous[4096], current[4096];
  const auto load = [&](int n, unsigned char* to) {
    return ReadWhole(mine, n, to) || ReadWhole(other, n, to);
  };
  if (!load(p.current, current) || !load(p.previous, previous)) {
    p.outcome = Outcome::kFails;
    return p;
  }
  p.size = UsedBytes(current);
  p.last_tick = WalkTicks(FirstTick(current) == kContinued ? previous : current);
  return p;
}

}  // namespace vmr::crash
