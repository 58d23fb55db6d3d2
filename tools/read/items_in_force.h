// The items that say what holds at one place of a recording.
#ifndef VMR_TOOLS_READ_ITEMS_IN_FORCE_H_
#define VMR_TOOLS_READ_ITEMS_IN_FORCE_H_

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "records/record.h"

namespace vmr::tool {

// Follows the records of states. What is said again takes the place of what was said
// before; an item that carries but some of a kind's fields stands beside the last one that
// carries all. A position is held as a whole one, however it was recorded.
class ItemsInForce {
 public:
  // The kind, and the fields that say what the record is of.
  using Key = std::pair<records::KindId, std::vector<std::int64_t>>;
  struct Item {
    std::string bytes;
    // Two items of a key that say the same, however they are recorded, have the same.
    std::string meaning;
    bool is_partial = false;
  };
  using Items = std::vector<Item>;

  static Key KeyOf(const records::Record& record);
  static Item ItemOf(const records::Record& record);

  void Take(const records::Record& record);
  void ForgetAll() { items_.clear(); }

  const std::map<Key, Items>& All() const { return items_; }

 private:
  std::map<Key, Items> items_;
};

// The item of a whole position.
std::string PositionItem(const records::Position& position);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_READ_ITEMS_IN_FORCE_H_
