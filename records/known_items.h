// The last item of each thing that can be known, to tell a repetition from a change.
#ifndef VMR_RECORDS_KNOWN_ITEMS_H_
#define VMR_RECORDS_KNOWN_ITEMS_H_

#include <array>
#include <cstdint>
#include <memory>

#include "records/record.h"

namespace vmr::records {

class KnownItems {
 public:
  // True unless the record says something else than is known of the same thing.
  bool Agrees(const Record& record) const;
  void Remember(const Record& record);
  void ForgetAll() { ++generation_; }

 private:
  static constexpr std::size_t kKeys = 256;  // of a kind
  static constexpr std::size_t kHeadBytes = 12;
  struct Slot {
    std::uint32_t generation = 0;
    std::uint64_t hash = 0;  // of an item that is longer than the head
    unsigned char size = 0;
    unsigned char head[kHeadBytes] = {};
  };
  static bool SameItem(const Slot& slot, const Record& record);
  static std::size_t KeyOf(const Record& record);

  // By kind; null: nothing was ever remembered of it.
  std::array<std::unique_ptr<Slot[]>, kKindCount> slots_;
  std::uint32_t generation_ = 1;
};

}  // namespace vmr::records

#endif  // VMR_RECORDS_KNOWN_ITEMS_H_
