// What `vmr view` and `vmr info` say of a recording as a whole.
#ifndef VMR_TOOLS_COMMANDS_OVERVIEW_TEXT_H_
#define VMR_TOOLS_COMMANDS_OVERVIEW_TEXT_H_

#include <string>
#include <string_view>

#include "tools/read/overview.h"
#include "tools/read/reading.h"

namespace vmr::tool {

// "Vehicle       Car 7", with a line feed.
std::string Row(std::string_view label, std::string_view value);
// "2019-06-19 16:33:57-05:00, tick 3", "about" where the time is estimated.
std::string MomentText(const Met& moment);
enum class Told : unsigned char {
  kFirst,  // the first text of each kind
  kAll,    // every text and where it was told first
  kMet,    // the same, of a part of the recording: there may be more
};
// Which unit, vehicle, officer and so on, a row each.
std::string IdentityRows(const Tally& tally, Told which);
// The zone of the local times.
std::string ZoneText(const Reading& reading);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_COMMANDS_OVERVIEW_TEXT_H_
