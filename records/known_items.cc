#include "records/known_items.h"

#include <algorithm>
#include <cstring>

namespace vmr::records {
namespace {

// FNV-1a.
std::uint32_t HashOf(const unsigned char* bytes, std::size_t size) {
  std::uint32_t hash = 2166136261U;
  for (std::size_t i = 0; i < size; ++i) hash = (hash ^ bytes[i]) * 16777619U;
  return hash;
}

}  // namespace

KnownItems::KnownItems() : slots_(std::make_unique<Slot[]>(kKindCount * kKeys)) {}

// Keys are small numbers: ports, positions, sensors, settings. Those of a microphone's
// stream number and of what is told of it share a byte.
std::size_t KnownItems::SlotIndex(const Record& record) {
  std::size_t key = 0;
  for (std::size_t i = 0; i < record.kind->key_fields; ++i) {
    if (record.shape->fields[i].order == Order::kComputed) continue;
    key = key * 8 + static_cast<std::size_t>(ValueOf(record, i).number);
  }
  return static_cast<std::size_t>(record.kind->id) * kKeys + key % kKeys;
}

bool KnownItems::Agrees(const Record& record) const {
  const Slot& slot = slots_[SlotIndex(record)];
  if (slot.generation != generation_) return true;
  if (slot.size == record.item_bytes) return slot.hash == HashOf(record.item, record.item_bytes);
  // Items of two shapes, such as a radar's target alone and its whole reading: whatever
  // both say must be the same.
  Record before = record;
  before.shape = FindShape(slot.head[0]);
  before.item = slot.head;
  before.item_bytes = slot.size;
  if (before.shape == record.shape || slot.size > kHeadBytes) return false;
  for (std::size_t i = record.kind->key_fields; i < record.kind->field_count; ++i) {
    const Value now = ValueOf(record, i), then = ValueOf(before, i);
    if (now.present && then.present && now.number != then.number) return false;
  }
  return true;
}

void KnownItems::Remember(const Record& record) {
  Slot& slot = slots_[SlotIndex(record)];
  slot.generation = generation_;
  slot.size = static_cast<unsigned char>(record.item_bytes);
  slot.hash = HashOf(record.item, record.item_bytes);
  std::memcpy(slot.head, record.item, std::min(record.item_bytes, kHeadBytes));
}

}  // namespace vmr::records
