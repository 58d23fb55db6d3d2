// Takes out of an extract what is not to be handed on with it.
#ifndef VMR_TOOLS_EVIDENCE_REDACT_H_
#define VMR_TOOLS_EVIDENCE_REDACT_H_

#include <array>
#include <functional>
#include <string>
#include <string_view>

#include "records/source.h"
#include "tools/evidence/redaction.h"

namespace vmr::tool {

// A log item at the start of what was redacted begins so.
inline constexpr std::string_view kRedactedLabel = "vmr: redacted: ";

struct RedactionFacts {
  // Items that were taken out or lost their text, by what for; of positions all that were read.
  std::array<unsigned long, records::kSensitivityCount> taken_out{};
  unsigned long kept = 0;       // items, as they were recorded
  unsigned long positions = 0;  // middles of cells that were written
  unsigned long unsound = 0;    // packets with a wrong CRC, which were left out
  unsigned long gaps = 0;       // marked: what they were left out for, and what was lost before
  unsigned long long bytes = 0;
};

// Reads a recording, such as a completed extract, to its end and writes it anew as a flat file
// without what `redaction` names. Nothing of it is copied but items of sound packets that the
// program's decoder understands and of which no field is to go, or a text alone, which is emptied:
//
//   Packets   are made anew around the items that stay; a tick of which none stays has no packet.
//   Positions are moved to the middle of their cell, and told whole, at fixed ticks and only
//             where the cell is another one (PositionGrid). No way, and no position of unknown
//             tick or quality, is written.
//   Damage    is left out and marked as a gap, whose ticks are those of what is written.
//   Labels    of an extract are made anew, and one says what was taken out. How much it was
//             stays out of the file: it would tell how far the vehicle went.
//
// Of two recordings that differ only in what is taken out the same bytes are made, as long as
// the same packets are sound and the same ticks are told.
//
// Owns     nothing; `write` takes the file's bytes in order, `step` is called now and then.
// Errors   none of its own.
RedactionFacts Redact(
    records::Source& source, const Redaction& redaction,
    const std::function<void(std::string_view)>& write, const std::function<void()>& step = [] {});

// "identity 12, gps 340, text 3": of what was taken out; "nothing" where nothing was there.
std::string TakenOutText(const RedactionFacts& facts);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_EVIDENCE_REDACT_H_
