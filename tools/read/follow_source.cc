#include "tools/read/follow_source.h"

#include <algorithm>
#include <cstring>

#include "records/ring_source.h"
#include "store/packet_format.h"

namespace vmr::tool {

using records::Gap;
using records::GapReason;
using records::RingProblem;
using records::RingSource;
using records::Stretch;

namespace {

// FNV-1a.
constexpr std::uint64_t kEmptyHash = 14695981039346656037U;
std::uint64_t HashOn(std::uint64_t hash, const unsigned char* bytes, std::size_t size) {
  for (std::size_t i = 0; i < size; ++i) hash = (hash ^ bytes[i]) * 1099511628211U;
  return hash;
}

FollowSource::Look LookOf(RingProblem problem) {
  switch (problem) {
    case RingProblem::kNone:
      return FollowSource::Look::kGoesOn;
    case RingProblem::kNoFile:
      return FollowSource::Look::kNotThere;
    case RingProblem::kTwoRecordings:
      return FollowSource::Look::kTwoRecordings;
    default:
      return FollowSource::Look::kNoEnd;
  }
}

// Where the last packet with a tick begins; 0 where none does, or something else than packets
// stands there, which nothing continues.
std::size_t LastGroup(const Stretch& stretch) {
  std::size_t last = 0;
  for (std::size_t at = 0; at < stretch.size;) {
    const unsigned char* const packet = stretch.bytes + at;
    if (packet[0] == HEADER_1 || packet[0] == HEADER_2) last = at;
    const std::size_t bytes =
        packet[0] == HEADER_NULL ? 1 : WholePacketBytes(packet, stretch.size - at);
    if (bytes == 0) return stretch.size;
    at += bytes;
  }
  return last;
}

// Other first ticks are of other laps, or recordings.
bool MayBeTheSame(unsigned int a, unsigned int b) { return a == kNoTick || b == kNoTick || a == b; }
bool IsLater(unsigned int a, unsigned int b) { return a != kNoTick && b != kNoTick && a > b; }

}  // namespace

// ---- Looking ---------------------------------------------------------------------

FollowSource::Look FollowSource::LookAgain() {
  current_ = {};
  takes_all_ = false;
  end_before_ = std::exchange(end_, {-1, 0});
  RingProblem problem{};
  ring_.reset();
  std::unique_ptr<RingSource> ring = RingSource::Open(paths_.first, paths_.second, problem);
  if (ring == nullptr) return LookOf(problem);
  newest_ = ring->Span().newest;
  has_wrapped_ = ring->Span().has_wrapped;
  searched_all_ = ring->SearchedAll();
  if (reached_.cluster >= 0) {
    if (newest_ < 0 || (!has_wrapped_ && reached_.cluster > newest_)) return Look::kOther;
    ring->StartAt(reached_.cluster);
  }
  ring_ = std::move(ring);
  return reached_.cluster < 0 ? Look::kGoesOn : CompareReached();
}

// Fetches the cluster at which reading ended, and goes on in it.
FollowSource::Look FollowSource::CompareReached() {
  constexpr int kPatience = 10;  // looks: a recorder may be at that cluster right now
  if (!Fetch() || current_.place.cluster != reached_.cluster) {
    if (++looks_in_vain_ < kPatience) {
      ring_.reset();
      current_ = {};
    }
    return Look::kGoesOn;
  }
  looks_in_vain_ = 0;
  current_.gap.reset();  // what is in front of it was read
  const std::size_t both = std::min(seen_.size(), current_.size);
  if (MayBeTheSame(reached_.first_tick, current_.first_tick) &&
      std::memcmp(seen_.data(), current_.bytes, both) == 0) {
    if (current_.first_tick != kNoTick) reached_.first_tick = current_.first_tick;
    done_ = both;
    return Look::kGoesOn;
  }
  const bool overtaken = has_wrapped_ && IsLater(current_.first_tick, reached_.first_tick);
  ring_.reset();
  current_ = {};
  return overtaken ? Look::kOvertaken : Look::kOther;
}

FollowSource::Look FollowSource::Compare(const RingPlace& place) const {
  RingProblem problem{};
  const std::unique_ptr<RingSource> ring = RingSource::Open(paths_.first, paths_.second, problem);
  if (ring == nullptr) return LookOf(problem);
  if (place.cluster < 0) return Look::kGoesOn;
  const records::RingSpan& span = ring->Span();
  if (span.newest < 0 || (!span.has_wrapped && place.cluster > span.newest)) return Look::kOther;
  ring->StartAt(place.cluster);
  Stretch stretch;
  if (!ring->Next(0, stretch) || stretch.place.cluster != place.cluster) return Look::kOvertaken;
  const auto bytes = static_cast<std::size_t>(place.bytes);
  if (MayBeTheSame(place.first_tick, stretch.first_tick) && stretch.size >= bytes &&
      HashOn(kEmptyHash, stretch.bytes, bytes) == place.hash)
    return Look::kGoesOn;
  return span.has_wrapped && IsLater(stretch.first_tick, place.first_tick) ? Look::kOvertaken
                                                                           : Look::kOther;
}

void FollowSource::BeginBehindGap() {
  reached_ = {};
  seen_.clear();
  is_behind_gap_ = true;
  ring_.reset();
  current_ = {};
}

// ---- Handing out -----------------------------------------------------------------

// The next cluster. A gap behind the last one may be one of this moment only.
bool FollowSource::Fetch() {
  current_ = {};
  done_ = 0;
  if (ring_ == nullptr || !ring_->Next(0, current_)) {
    current_ = {};
    return false;
  }
  if (current_.place.cluster == newest_) end_ = {newest_, current_.size};
  if (!std::exchange(is_behind_gap_, false)) return true;
  if (!current_.gap) current_.gap = Gap(GapReason::kOvertaken);
  current_.gap->reason = GapReason::kOvertaken;
  return true;
}

// Up to where in the cluster at hand something may be handed out now.
std::size_t FollowSource::EndNow() const {
  if (stop_ && stop_->cluster == current_.place.cluster)
    return std::min(current_.size, static_cast<std::size_t>(stop_->bytes));
  const bool may_grow = current_.place.cluster == newest_ && !takes_all_ && end_ != end_before_;
  return may_grow ? std::max(done_, LastGroup(current_)) : current_.size;
}

bool FollowSource::Next(std::size_t /*unused*/, Stretch& stretch) {
  stretch = {};
  if (ring_ == nullptr) return false;
  for (;;) {
    if (stop_ && reached_.cluster == stop_->cluster && reached_.bytes >= stop_->bytes) return false;
    const std::size_t end = EndNow();
    if (end > done_) {
      HandOut(end, stretch);
      return true;
    }
    if (end < current_.size) return false;
    if (!Fetch()) return false;
  }
}

void FollowSource::HandOut(std::size_t end, Stretch& stretch) {
  stretch = current_;
  stretch.bytes = current_.bytes + done_;
  stretch.size = end - done_;
  stretch.place.offset += static_cast<std::int64_t>(done_);
  if (done_ > 0) stretch.first_tick = kNoTick;
  current_.gap.reset();
  if (reached_.cluster != current_.place.cluster || done_ == 0) {
    reached_ = {current_.place.cluster, 0, current_.first_tick, kEmptyHash};
    seen_.clear();
  }
  seen_.insert(seen_.end(), stretch.bytes, stretch.bytes + stretch.size);
  reached_.hash = HashOn(reached_.hash, stretch.bytes, stretch.size);
  reached_.bytes = static_cast<int>(end);
  begin_ = done_;
  done_ = end;
}

std::unique_ptr<records::Source> FollowSource::Fork() const {
  if (ring_ == nullptr) return nullptr;
  auto fork = std::make_unique<FollowSource>(paths_.first, paths_.second);
  fork->ring_ = ring_->Fork();
  if (fork->ring_ == nullptr) return nullptr;
  fork->newest_ = newest_;
  fork->takes_all_ = true;
  // It begins with the cluster that was handed out last, and with what was of it.
  if (fork->Fetch() && fork->current_.place.cluster == reached_.cluster)
    fork->done_ = std::min(begin_, fork->current_.size);
  return fork;
}

}  // namespace vmr::tool
