#include "tools/read/state_table.h"

namespace vmr::tool {

using records::KindId;
using records::KindUse;
using records::Record;

namespace {

StateTable::Key KeyOf(const Record& record) {
  StateTable::Key key{record.kind->id, {}};
  for (std::size_t i = 0; i < record.kind->key_fields; ++i)
    key.second.push_back(ValueOf(record, i).number);
  return key;
}

}  // namespace

void StateTable::OnRecord(const Record& record) {
  if (record.tick != kNoTick && record.tick > until_) is_past_ = true;
  if (is_past_ || !record.crc_right) return;
  if (record.tick != kNoTick) last_tick_ = record.tick;
  if (record.kind->use != KindUse::kState) return;
  const Key key = KeyOf(record);
  const auto held = entries_.find(key);
  // What a full state repeats was said before; that it may have been said less exactly
  // does not make it newer.
  if (record.repeats && held != entries_.end()) return;
  StateEntry& entry = entries_[key];
  entry.record = record;
  entry.item.assign(record.item, record.item + record.item_bytes);
  entry.record.item = entry.item.data();
  entry.since_unknown = record.repeats;
}

void StateTable::OnGap(const records::Gap& gap) {
  if (is_past_) return;
  if (gap.from_tick != kNoTick && gap.from_tick > until_) return;
  if (gap.to_tick != kNoTick && gap.to_tick > until_ && gap.from_tick != kNoTick) is_in_gap_ = true;
  last_gap_ = gap;
  entries_.clear();
}

void StateTable::OnNewRun(int /*run*/, unsigned int /*tick*/) {
  if (!is_past_) entries_.clear();
}

}  // namespace vmr::tool
