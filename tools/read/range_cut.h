// Cuts a range of ticks out of a recording by what the program's own decoder knows of it.
#ifndef VMR_TOOLS_READ_RANGE_CUT_H_
#define VMR_TOOLS_READ_RANGE_CUT_H_

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "records/decoder.h"
#include "records/record.h"
#include "tools/read/items_in_force.h"

namespace vmr::tool {

// What an extract, as a unit makes it, says at its start.
struct UnitExtract {
  std::string head;  // the file's bytes in front of its first packet
  struct Said {
    ItemsInForce::Key key;
    ItemsInForce::Item item;
    bool is_state;  // else a mark such as the configuration's end
    bool is_position;
  };
  std::vector<Said> state;  // in its order; neither label nor time
};
// Of the extract in the file that is open at `fd`. Nothing when it begins otherwise.
std::optional<UnitExtract> ReadUnitExtract(int fd);

struct CutRange {
  unsigned int label_first = 0;  // as the extract's label names them
  unsigned int label_last = 0;
  unsigned int first = 0;  // the first tick whose packets are copied
  unsigned int last = 0;   // the last one
};

struct CutFacts {
  // Of the values in the unit's state.
  unsigned int kept = 0;
  unsigned int corrected = 0;
  unsigned int added = 0;    // that it lacked
  unsigned int removed = 0;  // that nothing recorded tells

  unsigned long packets = 0;  // copied
  unsigned long long bytes = 0;
  unsigned int first_tick = kNoTick;  // of them
  unsigned int last_tick = kNoTick;
  unsigned int widest_gap = 0;              // ticks from one of them to the next
  unsigned int gap_tick = kNoTick;          // the one before it
  unsigned int next_tick = kNoTick;         // the first one behind the range
  unsigned int recording_begins = kNoTick;  // the first tick of all
  std::vector<records::Gap> gaps;           // in the range
  // The last one in front of the range; what was told before it is not in the state.
  std::optional<records::Gap> gap_before;
  // So that the range is no one place, and what was written is of no use.
  bool ticks_begin_anew = false;
};

// Takes a recording's records and writes the extract: head, label, a full state of nothing
// but what is known in front of the first tick, and the packets of the range as they were
// recorded. What was lost between them is marked (see kGapMark) and told by a log item; a tick that
// only the store told is told by a packet of its own.
//
// Owns     nothing; `write` takes the file's bytes in order.
class RangeCut final : public records::Sink {
 public:
  using Write = std::function<void(std::string_view)>;

  RangeCut(const CutRange& range, const UnitExtract& unit, Write write)
      : range_(range), unit_(unit), write_(std::move(write)) {}

  // Reads the recording from its beginning to its end, or until a tick is no one place.
  void Run(records::Source& source, const std::function<void()>& step);
  const CutFacts& Facts() const { return facts_; }

  void OnPacket(const records::PacketFound& packet) override;
  void OnRecord(const records::Record& record) override;
  void OnGap(const records::Gap& gap) override;
  void OnNewRun(int run, unsigned int tick) override;

 private:
  // What a reader of the extract has been told of ticks.
  struct ToldTick {
    unsigned int tick = 0;
    bool is_whole = false;
    void Take(const unsigned char* packet, bool crc_right);
    // The tick that a right header would tell it.
    unsigned int After(const unsigned char* packet) const;
  };
  struct Held {
    std::string bytes;
    bool crc_right;
  };

  bool IsBehindRange(const records::PacketFound& packet) const;
  void Hold(const records::PacketFound& packet);
  void RefuseTicks();
  void Begin();
  void WriteState();
  std::vector<std::string> StateItems();
  void AddKnown(const UnitExtract::Said& said, std::vector<std::string>& items);
  std::vector<std::string> TimeItems() const;
  std::string CompletedText() const;
  void CopyPacket(const unsigned char* bytes, std::size_t size, unsigned int tick, bool crc_right);
  void Count(std::size_t bytes, unsigned int tick);
  void MarkGap(const records::Gap& gap);
  // So that what no tick is told of is given none by what is in front of it.
  void PutGapMark();
  void TellTick(unsigned int tick);
  void Put(std::string_view bytes) { write_(bytes); }

  const CutRange range_;
  const UnitExtract& unit_;
  const Write write_;
  records::Decoder* decoder_ = nullptr;
  CutFacts facts_;
  bool has_begun_ = false;
  bool has_ended_ = false;
  unsigned int highest_tick_ = kNoTick;  // up to the range's end

  ItemsInForce known_;
  std::map<ItemsInForce::Key, ItemsInForce::Items> state_;  // of it, once the range begins
  records::Time time_;                                      // at `time_tick_`
  unsigned int time_tick_ = kNoTick;
  bool time_is_sure_ = false;

  // In front of the range, behind the last packet of a known tick: they may belong to it.
  std::vector<Held> held_;
  std::optional<ItemsInForce> known_before_held_;
  std::optional<records::Gap> gap_before_;

  std::map<ItemsInForce::Key, bool> said_;  // by the state so far
  ToldTick told_;
  std::string gap_text_;  // to be told with the next tick
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_READ_RANGE_CUT_H_
