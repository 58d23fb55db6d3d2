#include "tools/read/state_table.h"

#include <utility>

namespace vmr::tool {

using records::KindId;
using records::KindUse;
using records::Order;
using records::PositionQuality;
using records::Record;

namespace {

bool IsLacking(const Record& record) {
  for (std::size_t i = record.kind->key_fields; i < record.kind->field_count; ++i)
    if (record.shape->fields[i].order == Order::kAbsent) return true;
  return false;
}

bool SamePlace(const records::Position& a, const records::Position& b) {
  return a.quality == b.quality && a.latitude_tts == b.latitude_tts &&
         a.longitude_tts == b.longitude_tts;
}

bool SaysTheSame(const KeptRecord& held, const Record& record) {
  if (record.kind->id == KindId::kPosition) return SamePlace(held.Get().position, record.position);
  return held.Item() == std::vector<unsigned char>(record.item, record.item + record.item_bytes);
}

}  // namespace

// ---- Entries ---------------------------------------------------------------------

records::Value StateEntry::ValueOf(std::size_t field) const {
  const Record record = said.Get();
  if (rest && record.shape->fields[field].order == Order::kAbsent)
    return records::ValueOf(rest->Get(), field);
  return records::ValueOf(record, field);
}

bool StateEntry::IsUnknown() const {
  const Record record = said.Get();
  return record.kind->id == KindId::kPosition &&
         record.position.quality == PositionQuality::kUnknown;
}

StateTable::Key StateTable::KeyOf(const Record& record) {
  Key key{record.kind->id, {}};
  for (std::size_t i = 0; i < record.kind->key_fields; ++i)
    key.second.push_back(records::ValueOf(record, i).number);
  return key;
}

// ---- Taking ----------------------------------------------------------------------

void StateTable::OnRecord(const Record& record) {
  if (!record.crc_right) return TakeDoubtful(record);
  if (record.packet_tick != kNoTick) {
    const Instant at = line_.At(record.run, record.packet_tick);
    if (!is_past_ && until_ < at) Pass();
    if (is_past_) return TakeLate(record, at);
    TakePending();
    gap_is_open_ = false;
    last_ = at;
  }
  if (is_past_) return;
  if (record.kind->id == KindId::kConfigurationEnd && record.repeats) has_full_state_ = true;
  if (record.kind->use != KindUse::kState) return;
  if (record.packet_tick == kNoTick)
    pending_.emplace_back(record);
  else
    Take(record);
}

// The instant was reached.
void StateTable::Pass() {
  is_past_ = true;
  is_in_gap_ = gap_is_open_;
  DropPending();
}

bool StateTable::Precedes(const Record& record) const {
  return record.packet_tick == kNoTick || record.run < until_.run ||
         record.packet_tick <= until_.Tick();
}

void StateTable::TakeDoubtful(const Record& record) {
  if (is_past_ || record.kind->use != KindUse::kState || !Precedes(record)) return;
  doubtful_in_gap_.insert_or_assign(KeyOf(record), StateEntry(record));
}

void StateTable::TakeLate(const Record& record, const Instant& at) {
  constexpr unsigned int kLatestTicks = 255;
  if (at.run != until_.run || at.line_tick - until_.line_tick > kLatestTicks) takes_late_ = false;
  if (!takes_late_ || is_in_gap_ || record.kind->use != KindUse::kState) return;
  if (record.adjusted_by == 0 || at.line_tick - record.adjusted_by > until_.line_tick) return;
  const auto held = entries_.find(KeyOf(record));
  const bool is_older = held != entries_.end() && held->second.said.Get().tick > record.tick;
  if (!is_older) Take(record);
}

void StateTable::TakePending() {
  for (const KeptRecord& record : std::exchange(pending_, {})) Take(record.Get());
}

// Whether they came before the instant is unknown, and with that what was in force.
void StateTable::DropPending() {
  for (const KeptRecord& record : std::exchange(pending_, {})) {
    const Key key = KeyOf(record.Get());
    entries_.erase(key);
    lost_.insert(key);
  }
}

void StateTable::Take(const Record& record) {
  const Key key = KeyOf(record);
  const auto held = entries_.find(key);
  const bool is_held = held != entries_.end() && !held->second.IsUnknown();
  // What a full state repeats was said before; that it may be said less exactly does not make
  // it newer.
  if (is_held && (record.repeats || SaysTheSame(held->second.said, record))) {
    held->second.again = StateEntry::Again{record.tick, record.time, record.place};
    return;
  }
  StateEntry entry(record);
  entry.since_unknown = record.repeats;
  if (is_held && IsLacking(record))
    entry.rest = IsLacking(held->second.said.Get()) ? held->second.rest : held->second.said;
  entries_.insert_or_assign(key, std::move(entry));
  doubtful_.erase(key);
  lost_.erase(key);
}

// ---- Gaps ------------------------------------------------------------------------

void StateTable::OnGap(const records::Gap& gap) {
  if (!is_past_ && last_ && *last_ == until_) Pass();
  takes_late_ = takes_late_ && !is_past_;
  if (is_past_) return;
  for (const auto& [key, entry] : std::exchange(entries_, {})) lost_.insert(key);
  doubtful_ = std::exchange(doubtful_in_gap_, {});
  pending_.clear();
  last_gap_ = gap;
  gap_is_open_ = true;
  has_full_state_ = false;
}

void StateTable::OnNewRun(int run, unsigned int /*tick*/) {
  if (!is_past_ && until_.run < run) Pass();
  if (is_past_) return;
  entries_.clear();
  doubtful_.clear();
  doubtful_in_gap_.clear();
  lost_.clear();
  pending_.clear();
  last_gap_.reset();
  gap_is_open_ = has_full_state_ = false;
}

void StateTable::Finish() {
  if (is_past_) return;
  if (until_.IsEnd()) return TakePending();
  Pass();
}

}  // namespace vmr::tool
