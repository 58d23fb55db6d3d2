// What the commands that look a whole store over begin with.
#ifndef VMR_TOOLS_COMMANDS_SURVEYED_STORE_H_
#define VMR_TOOLS_COMMANDS_SURVEYED_STORE_H_

#include <optional>
#include <string>
#include <vector>

#include "tools/ring/survey.h"

namespace vmr::tool {

// The base of the ring that `store` names; nothing after saying why there is none.
std::optional<std::string> RingToSurvey(const std::string& store);
// Whether both files could be looked at, as far as they are files; says why not.
bool CouldBeRead(const RingSurvey& survey);
// Files that a recorder set aside beside `base`, but for those `given`. `command`
// is what stands in front of the option that reads them.
void SayWhatWasSetAside(const std::string& base, const std::vector<std::string>& given,
                        const char* command);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_COMMANDS_SURVEYED_STORE_H_
