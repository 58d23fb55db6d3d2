// Packets and items that the program makes itself, for extracts.
#ifndef VMR_TOOLS_READ_MADE_PACKETS_H_
#define VMR_TOOLS_READ_MADE_PACKETS_H_

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "records/record.h"

namespace vmr::tool {

// A whole packet: of a tick, or a continuation, with these items.
std::string PacketOf(std::optional<unsigned int> tick, std::string_view items);
// Items one after the other, in as few packets as they fit in: one of the tick, if there is one,
// and continuations.
std::string PacketsOf(std::optional<unsigned int> tick, const std::vector<std::string>& items);

std::string LogItem(std::string_view text);

// "vmr: gap, ticks 2116 to 3064: lost clusters", as an extract tells of what is lost in it.
std::string GapText(unsigned int from_tick, unsigned int to_tick, records::GapReason reason);
// What such a text gives for the reason; nothing for any other text.
std::optional<records::GapReason> ReasonOfGapText(std::string_view text);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_READ_MADE_PACKETS_H_
