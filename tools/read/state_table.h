// Everything that is in force at one instant, and where it was said.
#ifndef VMR_TOOLS_READ_STATE_TABLE_H_
#define VMR_TOOLS_READ_STATE_TABLE_H_

#include <map>
#include <optional>
#include <set>
#include <utility>
#include <vector>

#include "records/record.h"
#include "tools/read/instant.h"
#include "tools/read/kept_record.h"

namespace vmr::tool {

// One thing's last value.
struct StateEntry {
  explicit StateEntry(const records::Record& record) : said(record) {}

  // The field's value, of a field behind those of the key: a record that does not carry it
  // leaves what was said before in force.
  records::Value ValueOf(std::size_t field) const;
  // A position that nothing tells: a way from an unknown one.
  bool IsUnknown() const;

  KeptRecord said;  // what said so first, since when it is so
  // For the fields that `said` does not carry: a radar's target alone changes nothing else.
  std::optional<KeptRecord> rest;
  // A full state was the first to say it behind the last gap, or at all: since when it is so
  // is unknown.
  bool since_unknown = false;
  struct Again {
    unsigned int tick;
    records::Time time;
    records::Place place;
  };
  std::optional<Again> again;  // the last time that the same was said
};

// Follows the records of a recording up to an instant. Behind a gap, and in another run,
// nothing is known until it is told again. A record of a packet whose CRC is wrong says
// nothing.
class StateTable final : public records::Sink {
 public:
  // A kind, and the numbers of its key fields.
  using Key = std::pair<records::KindId, std::vector<std::int64_t>>;
  using Entries = std::map<Key, StateEntry>;
  static Key KeyOf(const records::Record& record);

  // An event may be told up to 255 ticks late, by a record whose `adjusted_by` says so.
  enum class ToldLate : unsigned char {
    kCounts,    // when it happened: the truth at the instant
    kLeaveOut,  // what packets up to the instant say and no more
  };

  explicit StateTable(const Instant& until, ToldLate late = ToldLate::kCounts)
      : until_(until), takes_late_(late == ToldLate::kCounts) {}
  // A tick of the first run.
  explicit StateTable(unsigned int until) : StateTable(Instant{0, until}) {}

  void OnRecord(const records::Record& record) override;
  void OnGap(const records::Gap& gap) override;
  void OnNewRun(int run, unsigned int tick) override;
  // To be called behind the recording's last record.
  void Finish();
  // No record to come changes anything.
  bool IsDone() const { return is_past_ && !takes_late_; }

  const Entries& All() const { return entries_; }
  // What only records of packets with a wrong CRC say since it was last known.
  const Entries& Doubtful() const { return doubtful_; }
  // What was known in front of the last gap, and was not told again.
  const std::set<Key>& Lost() const { return lost_; }
  // The last gap in front of the instant, of the same run.
  const std::optional<records::Gap>& LastGap() const { return last_gap_; }
  // The instant lies in that gap.
  bool IsInGap() const { return is_in_gap_; }
  // Whatever the unit told until the instant is known: there was no gap, or a full state
  // stands behind it and nothing is Lost.
  bool IsComplete() const {
    return !is_in_gap_ && lost_.empty() && (!last_gap_ || has_full_state_);
  }

 private:
  void Pass();
  bool Precedes(const records::Record& record) const;
  void TakeDoubtful(const records::Record& record);
  void TakeLate(const records::Record& record, const Instant& at);
  void TakePending();
  void DropPending();
  void Take(const records::Record& record);

  const Instant until_;
  bool takes_late_;
  TickLine line_;
  std::optional<Instant> last_;
  Entries entries_;
  Entries doubtful_;
  Entries doubtful_in_gap_;  // the gap is yet to come
  std::set<Key> lost_;
  std::vector<KeptRecord> pending_;  // without a tick: whether in front of the instant is open
  std::optional<records::Gap> last_gap_;
  bool gap_is_open_ = false;  // no tick was told behind it
  bool has_full_state_ = false;
  bool is_past_ = false;
  bool is_in_gap_ = false;
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_READ_STATE_TABLE_H_
