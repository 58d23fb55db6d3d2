// What the values of a JSON line stand for.
#ifndef VMR_TOOLS_EVENTS_JSON_VALUES_H_
#define VMR_TOOLS_EVENTS_JSON_VALUES_H_

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>

namespace vmr::tool {

// The integer that a JSON number is; 3.0 is one, 3.5 is not.
std::optional<std::int64_t> WholeNumber(const nlohmann::json& value);
// Alike but for case, and for blanks, underscores and hyphens.
bool SameWord(std::string_view a, std::string_view b);
// "192.168.0.10", the most significant byte first in the number.
std::optional<std::uint32_t> ParseIpv4(const std::string& text);
// The value as it stood in the text, cut when it is long.
std::string Shown(const nlohmann::json& value);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_EVENTS_JSON_VALUES_H_
