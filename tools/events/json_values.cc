#include "tools/events/json_values.h"

#include <arpa/inet.h>

#include <algorithm>

namespace vmr::tool {
namespace {

using nlohmann::json;

constexpr std::size_t kShownValueBytes = 40;

char Plain(char c) {
  if (c == '_' || c == '-') return ' ';
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

}  // namespace

std::string Shown(const json& value) {
  std::string text = value.dump(-1, ' ', true, json::error_handler_t::replace);
  if (text.size() > kShownValueBytes) text.replace(kShownValueBytes, std::string::npos, "...");
  return text;
}

bool SameWord(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](char x, char y) { return Plain(x) == Plain(y); });
}

std::optional<std::int64_t> WholeNumber(const json& value) {
  constexpr double kLimit = 9007199254740992.0;  // 2^53, exact in a double
  if (value.is_number_unsigned())
    return static_cast<std::int64_t>(
        std::min<std::uint64_t>(value.get<std::uint64_t>(), 1ULL << 62));
  if (value.is_number_integer()) return value.get<std::int64_t>();
  if (!value.is_number_float()) return std::nullopt;
  const double real = value.get<double>();
  if (!(real >= -kLimit && real <= kLimit)) return std::nullopt;
  const auto number = static_cast<std::int64_t>(real);
  if (static_cast<double>(number) < real || static_cast<double>(number) > real) return std::nullopt;
  return number;
}

std::optional<std::uint32_t> ParseIpv4(const std::string& text) {
  in_addr address{};
  if (inet_pton(AF_INET, text.c_str(), &address) != 1) return std::nullopt;
  return ntohl(address.s_addr);
}

}  // namespace vmr::tool
