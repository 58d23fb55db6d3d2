// Reads a recording as what it says: no state is made up, nothing is carried over a gap.
#ifndef VMR_RECORDS_DECODER_H_
#define VMR_RECORDS_DECODER_H_

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "records/known_items.h"
#include "records/record.h"
#include "records/source.h"

namespace vmr::records {

// An extract whose state the program has checked and completed says so in a log item that
// begins so and stands with the state. No recorded text can: a state holds none.
inline constexpr std::string_view kCompletedLabel = "State completed by vmr";
// The same log item ends so where the state's time is reckoned across a gap, or backwards.
inline constexpr std::string_view kEstimatedClock = "; its time is an estimate";

// In the place of what was lost before an extract was made, or a store recovered: a
// continuation without items, which no recorder writes. A unit's reader finds nothing in it.
// Its CRC is that of no bytes.
inline constexpr std::array<unsigned char, 3> kGapMark = {0x82, 0x00, 0xFF};

// Hands each record of a source to a sink, and each gap, clock step and new run, in the
// order in which they were recorded.
//
//   Ticks      of a HEADER_2 from the packet before, or the cluster; unknown behind damage
//              until either tells them again.
//   Positions  signed; ways are added up from the last whole position, and lead nowhere
//              without one.
//   Times      from the last time item on; before the first one, and behind a gap, backwards
//              from the next one.
//
// Owns     neither source nor sink; both must outlive it.
// Threads  none.
// Cost     nothing is allocated per record.
class Decoder {
 public:
  Decoder(Source& source, Sink& sink) : source_(source), sink_(sink) {}

  // Decodes one stretch; false when there was none left.
  bool Step();
  // Decodes all that is left, or up to Stop.
  void Run() {
    while (!stopped_ && Step()) continue;
  }
  // May be called by the sink: what is left of the stretch at hand is not handed out.
  void Stop() { stopped_ = true; }

 private:
  struct Packet {
    const unsigned char* bytes;
    std::size_t size;
    Place place;
    bool crc_right;
  };
  // A packet with a tick, and its continuations.
  struct Group {
    static constexpr std::size_t kMaxPackets = 64;
    std::array<Packet, kMaxPackets> packets;
    std::size_t count = 0;
    std::size_t at = 0;  // the one that is handed out
    unsigned int tick = kNoTick;
    bool is_full_state = false;
  };
  struct Anchor {
    unsigned int tick = 0;
    std::int64_t us = 0;
  };
  // What of the packets so far tells how those behind them are read.
  struct Framing {
    unsigned int tick = kNoTick;       // of the packet at hand
    unsigned int last_tick = kNoTick;  // the last one told
    bool has_upper_bits = false;       // `tick` tells those of the next HEADER_2
    bool needs_header = true;          // continuations have lost their packet
    bool in_damage = false;            // that goes on
    int run = 0;
  };
  class TimeFinder;

  // Framing.
  std::size_t Walk(const Stretch& stretch);
  std::size_t TakePacket(const Stretch& stretch, std::size_t at);
  std::size_t TakeDamage(const Stretch& stretch, std::size_t at);
  void EndDamage();
  std::size_t TakeGapMark();
  Framing FramingNow() const;
  void GoOnFrom(const Framing& framing);
  void Add(const Packet& packet);
  void SetTick(const Packet& packet);
  void DoubtTick(const Packet& packet);
  void BeginRun();
  void LoseTick();
  void KeepGroup();

  // Records.
  void Flush();
  bool IsFullState() const;
  std::string_view LogText(std::size_t number) const;
  void EmitItems(const Packet& packet);
  void Emit(Record& record);
  bool Repeats(const Record& record, const Position& before) const;
  void FollowPosition(Record& record);
  void TakeAbsolute(const unsigned char* item);
  void TakeWay(std::int32_t north_tts, std::int32_t west_tts);
  void TakeLabel();

  // Time.
  Time TimeAt(unsigned int tick);
  void TakeTime(Record& record);
  void LookForNextTime();
  std::optional<Anchor> TimeOfGroup() const;

  // Gaps.
  void BeginGap(const Gap& gap);
  void EndGap();
  void Forget();

  Source& source_;
  Sink& sink_;
  bool stopped_ = false;
  bool looks_for_time_ = false;  // works for another decoder
  std::size_t unused_ = 0;       // bytes of the last stretch that are not done with

  Group group_;
  std::vector<unsigned char> kept_;  // bytes of a group that goes on in the next stretch
  std::vector<unsigned char> kept_before_;

  unsigned int tick_ = kNoTick;  // for these see Framing
  unsigned int last_tick_ = kNoTick;
  bool has_upper_bits_ = false;
  bool needs_header_ = true;
  int run_ = 0;
  Framing at_stretch_;  // in front of the stretch at hand
  Place here_;          // of the packet at hand

  std::optional<Anchor> anchor_;  // the last time told
  bool anchor_is_sure_ = false;   // nothing is missing behind it
  bool is_anchor_lost_ = false;   // something is
  std::optional<Anchor> next_;    // the next one, looked ahead for
  bool has_looked_ = false;       // next_ stands for all up to it, or to the run's end

  Position position_;
  bool has_met_header_ = false;
  bool first_group_ = true;
  bool is_labelled_ = false;         // the group at hand is the state that an extract begins with
  bool is_clock_estimated_ = false;  // ... and the time that it tells is an estimate
  bool is_replayed_state_ = false;   // it is as a unit made it

  KnownItems known_;
  std::optional<Gap> gap_;
  std::optional<Gap> damage_;  // that goes on
};

}  // namespace vmr::records

#endif  // VMR_RECORDS_DECODER_H_
