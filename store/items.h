// What the families' sources share for their items.
#ifndef VMR_STORE_ITEMS_H_
#define VMR_STORE_ITEMS_H_

#include <cstddef>

namespace vmr {

class DataStore;

// Adds an item of a head, whose last byte becomes the count, and a text of at
// most 255 characters.
void AddTextItem(DataStore& store, const unsigned char* head, std::size_t head_bytes,
                 const char* text, unsigned short slack);

// Whether a device's id has speed and radar tags of its own; if not, that is
// logged. The sum of tag and id would otherwise be another item's tag.
[[nodiscard]] bool HasTag(unsigned char id);

void LogNull(const char* operation);

// Whether an argument is null; the operation then logs that and does nothing.
[[nodiscard]] inline bool RefuseNull(const void* argument, const char* operation) {
  if (argument != nullptr) return false;
  LogNull(operation);
  return true;
}

}  // namespace vmr

#endif  // VMR_STORE_ITEMS_H_
