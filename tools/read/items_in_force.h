// The items that say what holds at one place of a recording.
#ifndef VMR_TOOLS_READ_ITEMS_IN_FORCE_H_
#define VMR_TOOLS_READ_ITEMS_IN_FORCE_H_

#include <array>
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
  void ForgetAll();

  // What holds now, made of the kept items.
  std::map<Key, Items> All() const;

 private:
  // What is needed of a record to tell it again; without a shape there is none.
  struct Kept {
    const records::Shape* shape = nullptr;
    std::string bytes;
    records::Position position;
    void Keep(const records::Record& record);
    Item Told(const records::KindRow& kind) const;
  };
  struct Slot {
    Kept whole;
    Kept partial;  // said behind it
    bool IsEmpty() const { return whole.shape == nullptr && partial.shape == nullptr; }
  };

  // Slots by the bytes of an item that tell its key, so that a key is seldom made. A copy
  // has none: they would lead into the slots of the original.
  class Shortcuts {
   public:
    Shortcuts() = default;
    Shortcuts(const Shortcuts& /*other*/) {}
    Shortcuts& operator=(const Shortcuts& /*other*/) { return Clear(), *this; }
    ~Shortcuts() = default;
    void Clear() { ways_.fill({}); }
    // Of the slot it leads to, or is to.
    Slot*& To(std::uint32_t code);

   private:
    static constexpr int kBits = 10;
    struct Way {
      std::uint32_t code = 0;
      Slot* slot = nullptr;
    };
    std::array<Way, 1U << kBits> ways_{};
  };

  Slot& SlotOf(const records::Record& record);

  std::map<Key, Slot> slots_;
  Shortcuts shortcuts_;
};

// The item of a whole position.
std::string PositionItem(const records::Position& position);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_READ_ITEMS_IN_FORCE_H_
