#include "tools/read/time_axis.h"

#include <algorithm>

namespace vmr::tool {

using records::kTick_us;
using records::Record;
using records::Time;
using records::TimeQuality;

namespace {

// Times are good to a second: what is no farther away is the same.
constexpr std::uint64_t kNearTicks = 2;
constexpr std::int64_t kNear_us = kNearTicks * kTick_us;

bool IsKnown(const Time& time) { return time.quality != TimeQuality::kUnknown; }

bool IsIn(const Instant& at, std::optional<int> run) { return !run || at.run == *run; }

// Of one place found twice, where two reckonings of time meet, the first is enough.
void AddMoment(const Instant& at, std::vector<Moment>& found) {
  const bool is_known = std::any_of(found.begin(), found.end(), [&at](const Moment& moment) {
    return moment.at.run == at.run && moment.at.line_tick + kNearTicks >= at.line_tick &&
           at.line_tick + kNearTicks >= moment.at.line_tick;
  });
  if (!is_known) found.push_back({Presence::kThere, at, std::nullopt, std::nullopt, {}, {}});
}

}  // namespace

// ---- Taking ----------------------------------------------------------------------

void TimeAxis::OnRecord(const Record& record) {
  if (!record.crc_right || record.packet_tick == kNoTick) return;
  const Instant at = line_.At(record.run, record.packet_tick);
  Time time = record.time;
  time.us += record.adjusted_by * kTick_us;
  if (time.quality == TimeQuality::kStepped) time.quality = TimeQuality::kExact;
  if (!pieces_.empty() && !is_behind_gap_ && GoesOn(pieces_.back(), at, time)) {
    pieces_.back().last = std::max(pieces_.back().last, at);
    return;
  }
  pieces_.push_back({at, at, time, is_behind_gap_});
  is_behind_gap_ = false;
}

void TimeAxis::OnGap(const records::Gap& /*gap*/) { is_behind_gap_ = true; }

std::int64_t TimeAxis::TimeIn(const Piece& piece, const Instant& at) {
  return piece.at_first.us +
         static_cast<std::int64_t>(at.line_tick - piece.first.line_tick) * kTick_us;
}

Time TimeAxis::TimeAt(const Piece& piece, const Instant& at) {
  if (!IsKnown(piece.at_first)) return {};
  return {TimeIn(piece, at), piece.at_first.quality};
}

void TimeAxis::SetBefore(Moment& moment, const Piece& piece) {
  moment.before = piece.last;
  moment.before_time = TimeAt(piece, piece.last);
}

void TimeAxis::SetBehind(Moment& moment, const Piece& piece) {
  moment.behind = piece.first;
  moment.behind_time = TimeAt(piece, piece.first);
}

bool TimeAxis::GoesOn(const Piece& piece, const Instant& at, const Time& time) const {
  if (at.run != piece.first.run || time.quality != piece.at_first.quality) return false;
  return !IsKnown(time) || time.us == TimeIn(piece, at);
}

// ---- Asking ----------------------------------------------------------------------

bool TimeAxis::IsGapBetween(std::size_t piece, std::size_t next) const {
  return next < pieces_.size() && pieces_[next].behind_gap &&
         pieces_[next].first.run == pieces_[piece].last.run;
}

Instant TimeAxis::EndOf(std::size_t piece) const {
  const Instant behind_last{pieces_[piece].last.run, pieces_[piece].last.line_tick + 1};
  if (piece + 1 >= pieces_.size() || IsGapBetween(piece, piece + 1)) return behind_last;
  const Instant& next = pieces_[piece + 1].first;
  return next.run == behind_last.run ? next : behind_last;
}

std::vector<TimeAxis::Stretch> TimeAxis::Stretches() const {
  std::vector<Stretch> stretches;
  for (std::size_t i = 0; i < pieces_.size(); ++i) {
    const Instant end = EndOf(i);
    const Instant& first = pieces_[i].first;
    stretches.push_back({first,
                         end.line_tick > first.line_tick ? end.line_tick - first.line_tick : 0,
                         pieces_[i].at_first});
  }
  return stretches;
}

Time TimeAxis::TimeOf(const Instant& at) const {
  for (std::size_t i = pieces_.size(); i-- > 0;) {
    if (at < pieces_[i].first) continue;
    return at < EndOf(i) ? TimeAt(pieces_[i], at) : Time{};
  }
  return {};
}

Moment TimeAxis::End() const {
  if (pieces_.empty()) return {};
  return {Presence::kThere, pieces_.back().last, std::nullopt, std::nullopt, {}, {}};
}

std::vector<Moment> TimeAxis::Find(const TimePoint& point, std::optional<int> run) const {
  return point.tick ? FindTick(*point.tick, run) : FindTime(point.us, run);
}

std::vector<Moment> TimeAxis::FindTick(unsigned int tick, std::optional<int> run) const {
  std::vector<Moment> found;
  for (std::size_t first = 0, behind = 0; first < pieces_.size(); first = behind) {
    while (behind < pieces_.size() && pieces_[behind].first.run == pieces_[first].first.run)
      ++behind;
    if (!IsIn(pieces_[first].first, run)) continue;
    const Instant begin = pieces_[first].first, end = pieces_[behind - 1].last;
    for (std::uint64_t lap = begin.line_tick >> 32; lap <= end.line_tick >> 32; ++lap) {
      const Instant at{begin.run, lap << 32 | tick};
      if (!(at < begin) && !(end < at))
        found.push_back({Presence::kThere, at, std::nullopt, std::nullopt, {}, {}});
    }
  }
  if (found.empty()) found.push_back(WhyNoTick(tick, run));
  return found;
}

Moment TimeAxis::WhyNoTick(unsigned int tick, std::optional<int> run) const {
  Moment moment;
  for (const Piece& piece : pieces_) {
    if (!IsIn(piece.first, run)) continue;
    if (piece.last.Tick() < tick) SetBefore(moment, piece);
    if (piece.first.Tick() > tick && !moment.behind) SetBehind(moment, piece);
  }
  moment.presence = moment.before && moment.behind ? Presence::kBetweenRuns
                    : moment.before                ? Presence::kBehind
                    : moment.behind                ? Presence::kBefore
                                                   : Presence::kNoTicks;
  return moment;
}

std::vector<Moment> TimeAxis::FindTime(std::int64_t us, std::optional<int> run) const {
  std::vector<Moment> found;
  for (std::size_t i = 0; i < pieces_.size(); ++i) {
    const Piece& piece = pieces_[i];
    if (!IsKnown(piece.at_first) || !IsIn(piece.first, run) || us < piece.at_first.us ||
        us >= TimeIn(piece, EndOf(i)))
      continue;
    const auto ticks = static_cast<std::uint64_t>((us - piece.at_first.us) / kTick_us);
    AddMoment({piece.first.run, piece.first.line_tick + ticks}, found);
  }
  // Ends closer than a second to it are at it.
  for (std::size_t i = 0; i < pieces_.size() && found.empty(); ++i) {
    const Piece& piece = pieces_[i];
    if (!IsKnown(piece.at_first) || !IsIn(piece.first, run)) continue;
    if (us < piece.at_first.us && us + kNear_us >= piece.at_first.us)
      AddMoment(piece.first, found);
    else if (us >= TimeIn(piece, EndOf(i)) && us - kNear_us < TimeIn(piece, EndOf(i)))
      AddMoment(std::max(piece.first, Instant{piece.first.run, EndOf(i).line_tick - 1}), found);
  }
  if (found.empty()) found.push_back(WhyNoTime(us, run));
  return found;
}

// It lies between two pieces, or outside of all.
Moment TimeAxis::WhyNoTime(std::int64_t us, std::optional<int> run) const {
  Moment moment;
  std::optional<std::size_t> last;  // of the pieces whose time is known
  for (std::size_t i = 0; i < pieces_.size(); ++i) {
    const Piece& piece = pieces_[i];
    if (!IsKnown(piece.at_first) || !IsIn(piece.first, run)) continue;
    if (last && us >= TimeIn(pieces_[*last], EndOf(*last)) && us < piece.at_first.us) {
      const bool in_gap = std::any_of(pieces_.begin() + static_cast<std::ptrdiff_t>(*last) + 1,
                                      pieces_.begin() + static_cast<std::ptrdiff_t>(i) + 1,
                                      [](const Piece& between) { return between.behind_gap; });
      const bool new_run = piece.first.run != pieces_[*last].last.run;
      moment.presence = in_gap    ? Presence::kInGap
                        : new_run ? Presence::kBetweenRuns
                                  : Presence::kSkipped;
      SetBefore(moment, pieces_[*last]);
      SetBehind(moment, piece);
      return moment;
    }
    last = i;
    if (us < piece.at_first.us && !moment.behind) SetBehind(moment, piece);
    if (us >= piece.at_first.us) SetBefore(moment, piece);
  }
  if (!last) return {};
  moment.presence = moment.before ? Presence::kBehind : Presence::kBefore;
  (moment.before ? moment.behind : moment.before).reset();
  return moment;
}

}  // namespace vmr::tool
