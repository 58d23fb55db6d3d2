// Numbers as they are typed: decimal digits and nothing else, no sign, no blank.
#ifndef VMR_TOOLS_COMMON_NUMBERS_H_
#define VMR_TOOLS_COMMON_NUMBERS_H_

#include <array>
#include <optional>
#include <string_view>

namespace vmr::tool {

// 0 to `highest`, with no more digits than that has; nothing for any other text.
std::optional<unsigned int> ParseNumber(std::string_view text, unsigned int highest);

// 0 to 4294967295.
std::optional<unsigned int> ParseTick(std::string_view text);
// Of TCP: 1 to 65535.
std::optional<unsigned int> ParsePort(std::string_view text);
// "02:00:5E:10:00:01" or with hyphens.
std::optional<std::array<unsigned char, 6>> ParseMac(std::string_view text);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_COMMON_NUMBERS_H_
