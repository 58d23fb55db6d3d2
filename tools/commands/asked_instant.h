// What is asked of one instant.
#ifndef VMR_TOOLS_COMMANDS_ASKED_INSTANT_H_
#define VMR_TOOLS_COMMANDS_ASKED_INSTANT_H_

#include <fmt/format.h>

#include <optional>

#include "tools/commands/command.h"
#include "tools/common/time_point.h"

namespace vmr::tool {

// A date is a whole day: which of its instants is meant is not guessed, but refused as wrong
// usage.
inline void CheckInstant(const char* option, const std::optional<TypedTime>& at) {
  if (at && at->is_date)
    RefuseUsage(
        fmt::format("{0} {1}: a date is a whole day, and one instant is asked for; say "
                    "{0} {1}T00:00 for its beginning, or another time of it",
                    option, at->text));
}

}  // namespace vmr::tool

#endif  // VMR_TOOLS_COMMANDS_ASKED_INSTANT_H_
