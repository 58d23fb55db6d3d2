#include "tests/crash/oracle.h"

#include <algorithm>

namespace vmr::crash {
namespace {

constexpr std::uint32_t kEmpty = 0xFFFFFFFF, kContinued = 0xFFFFFFFE, kBad = 0xFFFFFFFD;
constexpr int kLast = 32767;

int Next(int cluster) { return (cluster + 1) % (kLast + 1); }

// A copy of a cluster; not whole where it cannot be read.
struct Copy {
  Copy(const ReadImage& file, int cluster) : whole(file(cluster, bytes) && IsWholeCluster(bytes)) {}
  std::uint32_t St() const { return whole ? FirstTick(bytes) : kBad; }
  int Size() const { return whole ? UsedBytes(bytes) : -1; }
  bool Sound() const { return HasSoundPackets(bytes); }
  bool BeginsAs(const Copy& other) const {
    return whole && other.whole &&
           std::equal(bytes + 7, bytes + std::min(Size(), other.Size()), other.bytes + 7);
  }
  bool Is(const Copy& other) const {
    return St() == other.St() && Size() == other.Size() && BeginsAs(other);
  }
  // Sound where the other is not, or with the other for its beginning.
  bool Beats(const Copy& other) const {
    if (Size() == 7 || !Sound()) return false;
    const bool lacks_tick = other.St() == kContinued && St() < kBad;
    const bool more = Size() > other.Size() || (Size() == other.Size() && lacks_tick);
    return !other.Sound() || (other.Size() > 7 && more && BeginsAs(other));
  }
  unsigned char bytes[4096] = {};
  bool whole;
};

// Unusable, without data, with data.
int Rank(const Position& p) { return !p.found ? 0 : p.newest_st == kEmpty && p.size <= 7 ? 1 : 2; }

Position At(const ReadImage& file, int newest) {
  const Copy copy(file, newest);
  return {true, newest, copy.St(), Next(newest), Copy(file, Next(newest)).St(), copy.Size()};
}

// What the search of one file cannot see of a newest cluster without a tick.
Position Settle(const ReadImage& file, const ReadImage& twin, Position p) {
  const Copy next(file, Next(p.newest));
  const bool searched_on =
      p.newest_st == kContinued || Rank(p) == 0 || (p.newest == 0 && p.newest_st == kEmpty);
  if (!searched_on && next.St() == kContinued && next.Size() > 7) p = At(file, Next(p.newest));
  if (p.newest_st != kContinued || p.size <= 4096 - 262 || p.oldest_st == kEmpty) return p;
  const Copy copy(file, p.newest);
  return copy.whole && copy.Is({twin, p.newest}) ? At(file, (p.newest + kLast) % (kLast + 1)) : p;
}

}  // namespace

Position Search(const ReadImage& file) {
  const auto st = [&](int n) { return Copy(file, n).St(); };
  // The next one that says where it belongs.
  const auto told = [&](int n, int to, int step) {
    int left = 32;
    while (n != to && left > 0 && (st(n) == kContinued || st(n) == kBad)) n += step, --left;
    return left > 0 ? n : to;
  };
  int from = 0, to = kLast;
  std::uint32_t low = st(0), high = st(kLast);
  if (low == kEmpty && high == kEmpty) return {true, 0, low, kLast, high, Copy(file, 0).Size()};
  if (low == kContinued) {
    const std::uint32_t lap = st(told(1, kLast, 1));
    const std::uint32_t end = high == kContinued ? st(told(kLast - 1, 0, -1)) : high;
    if (lap >= kBad || (end != kEmpty && (end >= kBad || lap <= end)))
      return {true, kLast, high, 1, st(1), Copy(file, kLast).Size()};
    low = lap;
  }
  if (high < kBad && low < high) return {true, kLast, high, 0, st(0), Copy(file, kLast).Size()};
  while (to - from > 1) {
    int at = (from + to) / 2;
    std::uint32_t middle = st(at);
    const auto behind = [&](std::uint32_t tick) { return tick == kEmpty || tick < low; };
    if (middle == kBad || low == kBad || high == kBad) return {};
    bool old = behind(middle);
    if (middle == kContinued) {
      const int next = told(at + 1, to, 1), before = told(at - 1, from, -1);
      const bool goes_on = st(next) < kBad && !behind(st(next));
      old = !goes_on && before != from && behind(st(before));
      if (goes_on) middle = st(at = next);
    }
    (old ? to : from) = at;
    (old ? high : low) = middle;
  }
  return {true, from, low, to, high, Copy(file, from).Size()};
}

namespace {

// The tick that a cluster tells, -1 if none.
std::int64_t Told(const ReadImage& file, int cluster) {
  const std::uint32_t st = Copy(file, cluster).St();
  return st < kBad ? std::int64_t{st} : -1;
}

// Of a copy with a first tick that the other one has not: it is of no lap before.
bool Belongs(const std::array<ReadImage, 2>& image, int cluster, std::uint32_t st) {
  const auto told = [&](int n) { return std::max(Told(image[0], n), Told(image[1], n)); };
  const std::int64_t before = told((cluster + kLast) % (kLast + 1));
  if (st == kEmpty) return before < 0 && (Next(cluster) == 0 || told(Next(cluster)) < 0);
  return st == kContinued || before <= st;
}

// The two images as they are loaded with `writer` for the last writer. False when the
// other file turns out to be the one to go on from.
bool Load(const std::array<ReadImage, 2>& image, const std::array<Position, 2>& ends,
          std::size_t writer, bool last_try, Prediction* p) {
  p->current = ends[writer].newest;
  p->previous = (p->current + kLast) % (kLast + 1);
  p->prev_stale = {};
  p->prev_stale[1 - writer] = Rank(ends[0]) != Rank(ends[1]) || ends[0].newest != ends[1].newest;
  Copy mine(image[writer], p->current);
  if (!mine.whole) return true;  // never so: the search has read it
  const Copy theirs(image[1 - writer], p->current);
  const Position& twin = ends[1 - writer];
  const bool sure = !last_try && twin.found && mine.Sound();
  if (!sure && theirs.whole) {
    const bool twins = theirs.St() == mine.St() || mine.St() == kContinued ||
                       (twin.found && twin.newest == p->current);
    const bool torn = !twins && !mine.Sound() && theirs.Sound() && twin.newest == p->previous &&
                      twin.newest_st != kEmpty;
    if (torn && twin.found && !last_try) return false;
    if (twins && !mine.Is(theirs) && theirs.Beats(mine)) {
      p->prev_stale = {};
      mine = theirs;
      writer = 1 - writer;
    }
  }
  Copy previous(image[writer], p->previous);
  const Copy other(image[1 - writer], p->previous);
  if (!previous.whole && !other.whole) return true;
  if (previous.whole && other.whole && !previous.Is(other)) {
    const bool newer = other.Sound() && other.St() < kBad && other.St() <= mine.St() &&
                       (previous.St() == kEmpty || previous.St() < other.St());
    const bool of_its_lap = other.St() == previous.St() || Belongs(image, p->previous, other.St());
    const bool better = other.Beats(previous) ? of_its_lap : newer;
    if (better || previous.Sound()) p->prev_stale[better ? writer : 1 - writer] = true;
    if (better) p->prev_stale[1 - writer] = false;
    if (better) previous = other;
    const Position& behind = ends[1 - writer];
    if (better && !last_try && behind.found && behind.newest == p->previous && mine.St() < kBad &&
        WalkTicks(previous.bytes) > mine.St())
      return false;
  }
  p->outcome = Outcome::kOpens;
  p->last_writer = static_cast<int>(writer);
  p->curr_stale = {writer == 1, writer == 0};
  p->size = mine.Size();
  p->untold = mine.St() == kContinued;
  p->last_tick = WalkTicks(p->untold ? (previous.whole ? previous : other).bytes : mine.bytes);
  return true;
}

}  // namespace

Prediction Predict(const ReadImage& file1, const ReadImage& file2,
                   std::array<bool, 2> can_be_copied) {
  Prediction p;
  p.file = {Search(file1), Search(file2)};
  if (!p.file[0].found && !p.file[1].found) return p;
  std::array<ReadImage, 2> image = {file1, file2};
  const std::array<Position, 2> ends = {Settle(file1, file2, p.file[0]),
                                        Settle(file2, file1, p.file[1])};
  const Position &a = ends[0], &b = ends[1];
  const bool untold = a.newest_st == kContinued || b.newest_st == kContinued;
  const bool anew = a.newest_st != b.newest_st && a.newest_st < kBad && b.newest_st < kBad;
  const int ahead = (b.newest - a.newest + kLast + 1) % (kLast + 1);
  const auto tick = [&](std::size_t n) {
    const int before = (ends[n].newest + kLast) % (kLast + 1);
    return ends[n].newest_st == kContinued ? Copy(image[n], before).St() : ends[n].newest_st;
  };
  const bool less = ahead == 0 && !anew                        ? a.size < b.size
                    : ahead == 0                               ? a.newest_st < b.newest_st
                    : a.newest_st == b.newest_st               ? ahead < 16384
                    : untold && (ahead == 1 || ahead == kLast) ? ahead == 1
                                                               : tick(0) < tick(1);
  const std::size_t writer = (Rank(a) == Rank(b) ? less : Rank(a) < Rank(b)) ? 1 : 0;
  p.fills_empty =
      Rank(a) + Rank(b) == 3 && (ends[writer].newest != 0 || ends[writer].oldest_st != kEmpty);
  if (p.fills_empty && can_be_copied[writer]) image[1 - writer] = image[writer];
  p.outcome = Outcome::kFails;
  if (!Load(image, ends, writer, false, &p)) Load(image, ends, 1 - writer, true, &p);
  return p;
}

}  // namespace vmr::crash
