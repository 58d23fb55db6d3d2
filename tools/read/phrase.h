// A record in words, for people.
#ifndef VMR_TOOLS_READ_PHRASE_H_
#define VMR_TOOLS_READ_PHRASE_H_

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "records/record.h"

namespace vmr::tool {

// What somebody has recorded, fit for a terminal and for a line of its own: control
// characters, also those of Unicode that change the direction of writing, end a line or are
// not to be seen, and bytes that are no UTF-8 become "\x1B", "\u202E", "\U000E0041" or the
// like, and a backslash two.
std::string EscapedText(std::string_view text);
// The same between double quotes, and one in the text escaped: the text cannot seem to end.
// Whatever is recorded is printed so, and nothing else stands in double quotes: what somebody
// recorded cannot be taken for what the program says.
std::string QuotedText(std::string_view text);

// "3 min 20 s", "1 day 2 h 5 min", "0.5 s"; of the magnitude.
std::string DurationText(std::int64_t us);
// The same with nothing left out, for what is to add up: "1 day 2 h 5 min 3 s", "1 min 0.5 s".
std::string ExactDurationText(std::int64_t us);
// "41.65889 N 93.49940 W", to about a metre.
std::string PositionText(const records::Position& position);
// "02:00:5E:10:00:01"
std::string MacText(std::string_view bytes);
// "1 gap", "2 gaps"
std::string Counted(std::uint64_t count, std::string_view thing);

// "GPS", "radar patrol", "device 3"
std::string SpeedDeviceName(std::int64_t device);
// Of a device for speeds or a radar, as recorded: "mph"; empty for a number without a meaning.
std::string SpeedUnitsText(std::int64_t units);

// Of a speed, or of what a device shows in its place: "74", "blank", "not present".
std::string ReadingWords(const records::Value& value);

// Turns records into words with the names and units that the recording tells by itself:
//
//   siren on
//   microphone 2 ("Cabin") on
//   GPS speed 34 mph
//   radar 1: target 74, locked 74, fastest not present
//   position 41.65889 N 93.49940 W
//
// What nothing has told yet has its number alone. A number that has no word stands as it is.
class Phrases {
 public:
  // Notes a name or a unit. To be handed every record, in recorded order.
  void Learn(const records::Record& record);
  // Behind a gap, and in another run, names are unknown until they are told again.
  void Forget();

  // Never empty.
  std::string Of(const records::Record& record) const;

  // " ("Cabin")"; empty when nothing tells the name, or it is empty.
  std::string NameOf(records::KindId kind, std::int64_t number) const;
  // " mph"; empty when the device's units are not told.
  std::string UnitsOf(records::KindId kind, std::int64_t device) const;

 private:
  std::map<std::pair<records::KindId, std::int64_t>, std::string> names_;
  std::map<std::pair<records::KindId, std::int64_t>, std::int64_t> units_;
};

// The record tells of something that is on, there, or has a value: of a full state that which
// is worth a line.
bool IsWorthNaming(const records::Record& record);

// The items that a unit's start writes, in a packet of their own: streams, microphones and
// cameras are off, whatever they were.
const std::string& UnitStartBytes();

}  // namespace vmr::tool

#endif  // VMR_TOOLS_READ_PHRASE_H_
