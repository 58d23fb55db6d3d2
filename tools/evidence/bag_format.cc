#include "tools/evidence/bag_format.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <iterator>

namespace vmr::tool {
namespace {

constexpr std::array<std::string_view, 10> kInOrder = {
    kBagitFile,       kBagInfoFile,     kReadmeFile,    kManifestFile, kSignerFile,
    kMinisignKeyFile, kTagManifestFile, kSignatureFile, kMinisignFile, kStampFile};

std::size_t RankOf(std::string_view name) {
  return static_cast<std::size_t>(
      std::distance(kInOrder.begin(), std::find(kInOrder.begin(), kInOrder.end(), name)));
}

// The next line of `text`, without its end, which goes from it.
std::string_view TakeLine(std::string_view& text) {
  const std::size_t end = std::min(text.find('\n'), text.size());
  std::string_view line = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
  return line;
}

bool IsLowerHex(std::string_view digits) {
  return digits.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

std::string_view Trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(" \t");
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(" \t") + 1 - first);
}

// Of UTF-8 as RFC 3629 has it: no surrogates, nothing longer than need be.
bool IsUtf8(std::string_view text) {
  const auto at = [&text](std::size_t i) {
    return i < text.size() ? static_cast<unsigned char>(text[i]) : 0U;
  };
  for (std::size_t i = 0; i < text.size();) {
    const unsigned int lead = at(i);
    const std::size_t size = lead < 0x80   ? 1
                             : lead < 0xC2 ? 0
                             : lead < 0xE0 ? 2
                             : lead < 0xF0 ? 3
                             : lead < 0xF5 ? 4
                                           : 0;
    if (size == 0) return false;
    for (std::size_t more = 1; more < size; ++more)
      if ((at(i + more) & 0xC0U) != 0x80U) return false;
    const unsigned int second = at(i + 1);
    if ((lead == 0xE0 && second < 0xA0) || (lead == 0xED && second >= 0xA0) ||
        (lead == 0xF0 && second < 0x90) || (lead == 0xF4 && second >= 0x90))
      return false;
    i += size;
  }
  return true;
}

}  // namespace

bool IsBehindTagManifest(std::string_view name) {
  return name == kTagManifestFile || name == kSignatureFile || name == kMinisignFile ||
         name == kStampFile;
}

bool StandsBefore(std::string_view a, std::string_view b) {
  return std::pair(RankOf(a), a) < std::pair(RankOf(b), b);
}

std::string ManifestText(const std::vector<ManifestLine>& lines) {
  std::string text;
  for (const ManifestLine& line : lines) text += line.sha256 + "  " + line.name + "\n";
  return text;
}

std::optional<std::vector<ManifestLine>> ParseManifest(std::string_view text, std::string& error) {
  constexpr std::size_t kDigits = 64;
  std::vector<ManifestLine> lines;
  for (int number = 1; !text.empty(); ++number) {
    const std::string_view line = TakeLine(text);
    const std::string_view name = line.size() > kDigits ? Trimmed(line.substr(kDigits)) : "";
    const bool is_line = !name.empty() && line.substr(kDigits, 2) == "  " &&
                         IsLowerHex(line.substr(0, kDigits)) && line.substr(kDigits + 2) == name;
    if (!is_line) {
      error = fmt::format("line {} is no digest and name", number);
      return std::nullopt;
    }
    lines.push_back({std::string(line.substr(0, kDigits)), std::string(name)});
  }
  return lines;
}

std::string WhyNoTagValue(std::string_view text) {
  constexpr std::size_t kLongest = 1000;
  if (Trimmed(text).size() != text.size() || text.empty())
    return "is empty, or begins or ends with a blank";
  if (text.size() > kLongest) return "is longer than 1000 bytes";
  for (const char c : text)
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F)
      return "holds a line break or another control character: it is one line of bag-info.txt";
  if (!IsUtf8(text)) return "is no UTF-8";
  // What a terminal or an editor may break a line at, or control characters of a second set.
  for (const std::string_view other : {"\u0085", "\u2028", "\u2029"})
    if (text.find(other) != std::string_view::npos)
      return "holds a line break or another control character: it is one line of bag-info.txt";
  return {};
}

std::string BagInfoText(const BagInfo& info) {
  std::string text;
  for (const auto& [tag, value] : info) text += fmt::format("{}: {}\n", tag, value);
  return text;
}

BagInfo ParseBagInfo(std::string_view text) {
  BagInfo info;
  while (!text.empty()) {
    const std::string_view line = TakeLine(text);
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos || colon == 0) continue;
    info.emplace_back(line.substr(0, colon), Trimmed(line.substr(colon + 1)));
  }
  return info;
}

std::optional<std::string> ValueIn(const BagInfo& info, std::string_view tag) {
  for (const auto& [name, value] : info)
    if (name == tag) return value;
  return std::nullopt;
}

}  // namespace vmr::tool
