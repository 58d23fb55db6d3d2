// Everything that is in force at one instant, and where it was said.
#ifndef VMR_TOOLS_READ_STATE_TABLE_H_
#define VMR_TOOLS_READ_STATE_TABLE_H_

#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "records/record.h"

namespace vmr::tool {

// One thing's last value: a copy of the record that said it.
struct StateEntry {
  records::Record record;  // its item is in `item`
  std::vector<unsigned char> item;
  // Only a full state has said it since the last gap: when it came to be so is unknown.
  bool since_unknown = false;
};

// Follows records; after a gap nothing is known until it is told again.
class StateTable final : public records::Sink {
 public:
  using Key = std::pair<records::KindId, std::vector<std::int64_t>>;

  // Records behind this tick do not count.
  explicit StateTable(unsigned int until) : until_(until) {}

  void OnRecord(const records::Record& record) override;
  void OnGap(const records::Gap& gap) override;
  void OnNewRun(int run, unsigned int tick) override;

  const std::map<Key, StateEntry>& Entries() const { return entries_; }
  // The last gap in front of the instant.
  const std::optional<records::Gap>& LastGap() const { return last_gap_; }
  unsigned int LastTick() const { return last_tick_; }
  // A record behind the instant was met.
  bool IsPast() const { return is_past_; }
  // The instant lies in a gap.
  bool IsInGap() const { return is_in_gap_; }

 private:
  unsigned int until_;
  std::map<Key, StateEntry> entries_;
  std::optional<records::Gap> last_gap_;
  unsigned int last_tick_ = kNoTick;
  bool is_past_ = false;
  bool is_in_gap_ = false;
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_READ_STATE_TABLE_H_
