// One thing that a recording says, and where and when it says it.
#ifndef VMR_RECORDS_RECORD_H_
#define VMR_RECORDS_RECORD_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "records/kinds.h"
#include "store/stream_format.h"

namespace vmr::records {

// How well a time is known.
enum class TimeQuality : unsigned char {
  kUnknown,    // the recording tells no time here
  kEstimated,  // reckoned backwards from the next time that it tells, or across a gap, or of a
               // doubtful tick
  kExact,      // from the last time told; to about a second
  kStepped,    // the unit's clock was found to have jumped at this very record
};
const char* TextOf(TimeQuality quality);

// UTC, in microseconds since 1970-01-01 00:00; not to be looked at when kUnknown.
struct Time {
  std::int64_t us = 0;
  TimeQuality quality = TimeQuality::kUnknown;
};
inline constexpr std::int64_t kSecond_us = 1000000;
inline constexpr std::int64_t kTick_us = kSecond_us / 2;

// Where something stands. In a ring: a cluster of one of its two files, and the offset in
// the file. In a flat file: the offset alone.
struct Place {
  int file = 1;
  int cluster = -1;  // -1 in a flat file
  std::int64_t offset = 0;
};

// A position followed from record to record.
enum class PositionQuality : unsigned char {
  kUnknown,     // a way from a position that nothing tells, or no position at all
  kUnverified,  // from a state that a unit wrote into an extract, hemisphere untold
  kKnown,
};

// In ten-thousandths of a minute of arc (TTs), north and east positive.
struct Position {
  std::int32_t latitude_tts = 0;
  std::int32_t longitude_tts = 0;
  PositionQuality quality = PositionQuality::kUnknown;
};
inline constexpr double kTTsPerDegree = 600000;

struct Record {
  const KindRow* kind;
  const Shape* shape;
  const unsigned char* item;  // its bytes, valid during the call that hands the record out
  std::size_t item_bytes;

  unsigned int packet_tick;  // kNoTick: nothing tells it
  unsigned int tick;         // the same, less `adjusted_by`
  unsigned char adjusted_by;
  int run;  // 0; one more each time that ticks begin anew in the middle of a recording
  Time time;
  Place place;        // of the item
  bool crc_right;     // of its packet
  bool repeats;       // part of a full state, and nothing but what was known, or unknown, before
  Position position;  // of a kPosition
};

inline constexpr std::size_t kMacFieldBytes = 6;

// A field's value in one record.
struct Value {
  const FieldRow* field;
  bool present = false;        // else the record does not say it
  std::int64_t number = 0;     // of a flag 0 or 1; of a latitude or longitude TTs
  const char* word = nullptr;  // null: there is no word for the number
  std::string_view text;       // of a text or a MAC address: the bytes
};

// The value of the record's field `index`, below kind->field_count.
[[nodiscard]] Value ValueOf(const Record& record, std::size_t index);
// Its number alone, of a field that the item itself carries as one.
[[nodiscard]] std::int64_t NumberOf(const Record& record, std::size_t index);
inline double DegreesOf(std::int64_t tts) { return static_cast<double>(tts) / kTTsPerDegree; }

// Part of the recording is not there, or cannot be trusted. What was known before does not
// hold behind it until it is told again.
enum class GapReason : unsigned char {
  kOverwritten,   // the beginning: newer packets stand in its place
  kLostClusters,  // bad in both files
  kOvertaken,     // written over while it was being read
  kWrongCrc,      // a packet whose records are handed out, marked
  kNoPackets,     // bytes in a packet's place that begin none
  kUnknownItems,  // the rest of a packet, behind an item of no known kind
  kCutShort,      // the file ends within a packet
  kMarked,        // an extract or a recovered store says that something was lost before it was made
};
const char* TextOf(GapReason reason);

struct Gap {
  explicit Gap(GapReason why) : reason(why) {}

  GapReason reason;
  unsigned int from_tick = kNoTick;  // the last one told in front of it; kNoTick: none
  unsigned int to_tick = kNoTick;    // the first one told behind it
  Time from;
  Time to;
  Place place;             // where it begins
  std::int64_t bytes = 0;  // of packets that cannot be used; 0: nobody knows
  int clusters = 0;
};

// The unit's clock was set: time did not go on as ticks did.
struct ClockStep {
  unsigned int tick;
  std::int64_t expected_us;  // from the time told before
  std::int64_t told_us;
  Place place;
  // Something was lost since the time told before: what the clock showed there nobody knows.
  bool over_gap = false;
  std::int64_t Microseconds() const { return told_us - expected_us; }
};

// A packet, of which the records that follow are made.
struct PacketFound {
  const unsigned char* bytes;  // valid during the call
  std::size_t size;
  Place place;
  unsigned int tick;  // as in its records; kNoTick: nothing tells it
  bool crc_right;
};

// Takes what a decoder finds, in recorded order.
class Sink {
 public:
  virtual ~Sink() = default;
  virtual void OnPacket(const PacketFound& /*packet*/) {}
  virtual void OnRecord(const Record& record) = 0;
  virtual void OnGap(const Gap& /*gap*/) {}
  virtual void OnClockStep(const ClockStep& /*step*/) {}
  // Ticks begin anew: what follows belongs to another run of the unit.
  virtual void OnNewRun(int /*run*/, unsigned int /*tick*/) {}
};

}  // namespace vmr::records

#endif  // VMR_RECORDS_RECORD_H_
