#include "tools/common/numbers.h"

#include <charconv>
#include <limits>
#include <string>

namespace vmr::tool {
namespace {

// All of `text`, in `base`.
template <typename Number>
std::optional<Number> ParseWhole(std::string_view text, int base) {
  Number number{};
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number, base);
  return error == std::errc() && stop == end ? std::optional(number) : std::nullopt;
}

}  // namespace

std::optional<unsigned int> ParseNumber(std::string_view text, unsigned int highest) {
  if (text.size() > std::to_string(highest).size()) return std::nullopt;
  const auto number = ParseWhole<unsigned int>(text, 10);
  return number && *number <= highest ? number : std::nullopt;
}

std::optional<unsigned int> ParseTick(std::string_view text) {
  return ParseNumber(text, std::numeric_limits<unsigned int>::max());
}

std::optional<unsigned int> ParsePort(std::string_view text) {
  constexpr unsigned int kHighestPort = 65535;
  const auto port = ParseNumber(text, kHighestPort);
  return port && *port > 0 ? port : std::nullopt;
}

std::optional<std::array<unsigned char, 6>> ParseMac(std::string_view text) {
  constexpr std::size_t kDigits = 2;
  constexpr std::size_t kStep = kDigits + 1;  // to the next byte, over the separator
  std::array<unsigned char, 6> mac{};
  if (text.size() != mac.size() * kStep - 1) return std::nullopt;
  for (std::size_t i = 0; i < mac.size(); ++i) {
    const auto byte = ParseWhole<unsigned char>(text.substr(i * kStep, kDigits), 16);
    const char after = i + 1 < mac.size() ? text[i * kStep + kDigits] : ':';
    if (!byte || (after != ':' && after != '-')) return std::nullopt;
    mac[i] = *byte;
  }
  return mac;
}

}  // namespace vmr::tool
