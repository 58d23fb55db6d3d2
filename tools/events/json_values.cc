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

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
}

}  // namespace

std::string Shown(const json& value) {
  std::string text = value.dump(-1, ' ', true, json::error_handler_t::replace);
  if (text.size() > kShownValueBytes) text = text.substr(0, kShownValueBytes) + "...";
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

std::optional<std::array<unsigned char, 6>> ParseMac(std::string_view text) {
  std::array<unsigned char, 6> mac{};
  constexpr std::size_t kTextBytes = 6 * 2 + 5;
  if (text.size() != kTextBytes) return std::nullopt;
  for (std::size_t i = 0; i < mac.size(); ++i) {
    const int high = HexDigit(text[3 * i]);
    const int low = HexDigit(text[3 * i + 1]);
    const char after = i + 1 < mac.size() ? text[3 * i + 2] : ':';
    if (high < 0 || low < 0 || (after != ':' && after != '-')) return std::nullopt;
    mac[i] = static_cast<unsigned char>(high * 16 + low);
  }
  return mac;
}

}  // namespace vmr::tool
