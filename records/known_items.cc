#include "records/known_items.h"

#include <algorithm>
#include <cstring>

namespace vmr::records {
namespace {

// Eight bytes at a time; the last ones overlap. Of nothing but this process's own memory.
std::uint64_t HashOf(const unsigned char* bytes, std::size_t size) {
  constexpr std::uint64_t kMultiplier = 0x9E3779B97F4A7C15;
  std::uint64_t hash = size;
  const auto mix = [&](std::size_t at) {
    std::uint64_t eight;
    std::memcpy(&eight, bytes + at, sizeof(eight));
    hash = (hash ^ eight) * kMultiplier;
    hash ^= hash >> 29;
  };
  for (std::size_t at = 0; at + 8 < size; at += 8) mix(at);
  mix(size - 8);
  return hash;
}

}  // namespace

// Keys are small numbers: ports, positions, sensors, settings. Those of a microphone's
// stream number and of what is told of it share a byte.
std::size_t KnownItems::KeyOf(const Record& record) {
  std::size_t key = 0;
  for (std::size_t i = 0; i < record.kind->key_fields; ++i) {
    if (record.shape->fields[i].order == Order::kComputed) continue;
    key = key * 8 + static_cast<std::size_t>(NumberOf(record, i));
  }
  return key % kKeys;
}

bool KnownItems::Agrees(const Record& record) const {
  const auto& slots = slots_[static_cast<std::size_t>(record.kind->id)];
  if (slots == nullptr) return true;
  const Slot& slot = slots[KeyOf(record)];
  if (slot.generation != generation_) return true;
  if (slot.size == record.item_bytes) return SameItem(slot, record);
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

// What does not fit the head has a hash beside it.
bool KnownItems::SameItem(const Slot& slot, const Record& record) {
  return std::memcmp(slot.head, record.item, std::min(record.item_bytes, kHeadBytes)) == 0 &&
         (record.item_bytes <= kHeadBytes || slot.hash == HashOf(record.item, record.item_bytes));
}

void KnownItems::Remember(const Record& record) {
  auto& slots = slots_[static_cast<std::size_t>(record.kind->id)];
  if (slots == nullptr) slots = std::make_unique<Slot[]>(kKeys);
  Slot& slot = slots[KeyOf(record)];
  slot.generation = generation_;
  slot.size = static_cast<unsigned char>(record.item_bytes);
  if (record.item_bytes > kHeadBytes) slot.hash = HashOf(record.item, record.item_bytes);
  std::memcpy(slot.head, record.item, std::min(record.item_bytes, kHeadBytes));
}

}  // namespace vmr::records
