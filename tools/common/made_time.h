// When what the program makes was made.
#ifndef VMR_TOOLS_COMMON_MADE_TIME_H_
#define VMR_TOOLS_COMMON_MADE_TIME_H_

#include <cstdint>
#include <optional>

namespace vmr::tool {

// Microseconds since 1970: what SOURCE_DATE_EPOCH says, so that the same can be made again
// byte for byte, else now. Nothing after saying what is wrong with SOURCE_DATE_EPOCH.
std::optional<std::int64_t> MadeTime_us();
// SOURCE_DATE_EPOCH says it.
bool MadeTimeIsGiven();

}  // namespace vmr::tool

#endif  // VMR_TOOLS_COMMON_MADE_TIME_H_
