// Small tables of devices that a host or a recording describes: speed sources,
// radars. An entry belongs to one id from its first description on.
#ifndef VMR_STORE_DEVICE_TABLE_H_
#define VMR_STORE_DEVICE_TABLE_H_

#include "store/log_source.h"

namespace vmr {

// A free table entry; as an argument: choose an id.
inline constexpr unsigned char kFreeDeviceId = 255;

namespace device_table {

inline constexpr const char* kLogSource = kDataStoreLogSource;

// The first of `count` entries with the id, null when there is none.
// Deliberate: a report for id 255 therefore is one for the first free entry,
// which stays free. Describing a device in it clears the reading.
template <typename Desc>
[[nodiscard]] Desc* Find(Desc* table, int count, unsigned char id) {
  for (int i = 0; i < count; ++i)
    if (table[i].id == id) return &table[i];
  return nullptr;
}

// Gives a free entry the lowest id of 0 .. count - 1 that no entry has.
template <typename Desc>
[[nodiscard]] Desc* TakeLowestId(Desc* free_entry, Desc* table, int count) {
  for (int candidate = 0; candidate < count; ++candidate) {
    const auto id = static_cast<unsigned char>(candidate);
    if (Find(table, count, id) != nullptr) continue;
    free_entry->id = id;
    return free_entry;
  }
  VMR_LOG(kLogError, "Could not find a unique ID");
  return nullptr;
}

// The entry of an id, or a free one that becomes it; null when there is neither.
template <typename Desc>
[[nodiscard]] Desc* EntryFor(Desc* table, int count, unsigned char id) {
  Desc* const free_entry = Find(table, count, kFreeDeviceId);
  if (id == kFreeDeviceId)
    return free_entry == nullptr ? nullptr : TakeLowestId(free_entry, table, count);
  if (Desc* const known = Find(table, count, id)) return known;
  if (free_entry != nullptr) free_entry->id = id;
  return free_entry;
}

}  // namespace device_table
}  // namespace vmr

#endif  // VMR_STORE_DEVICE_TABLE_H_
