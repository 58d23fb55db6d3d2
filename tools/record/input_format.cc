#include "tools/record/input_format.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <nlohmann/json.hpp>
#include <vector>

namespace vmr::tool {
namespace {

constexpr std::size_t kMostRows = 8;
constexpr std::string_view kBlanks = " \t\r";

using Lines = std::vector<std::string_view>;

// Without blank ones, and without their blanks at the beginning. The last one only
// when it is whole.
Lines LinesOf(std::string_view text, bool complete) {
  Lines lines;
  while (!text.empty()) {
    const std::size_t end = text.find('\n');
    if (end == text.npos && !complete) break;
    const std::string_view line = text.substr(0, end);
    const std::size_t first = line.find_first_not_of(kBlanks);
    if (first != line.npos) lines.push_back(line.substr(first));
    text.remove_prefix(end == text.npos ? text.size() : end + 1);
  }
  return lines;
}

bool IsJsonObject(std::string_view line) {
  return line.front() == '{' && nlohmann::json::accept(line);
}

// "$GPRMC,..." or "!AIVDM,...": five letters and digits at least, then a comma.
bool IsSentence(std::string_view line) {
  constexpr std::size_t kShortestAddress = 5;
  if (line.front() != '$' && line.front() != '!') return false;
  const std::string_view address = line.substr(1, line.find(',') - 1);
  return address.size() >= kShortestAddress && address.size() + 1 < line.size() &&
         std::all_of(address.begin(), address.end(),
                     [](unsigned char c) { return std::isupper(c) != 0 || std::isdigit(c) != 0; });
}

bool IsRow(std::string_view line) {
  constexpr long kFewestSeparators = 2;
  const auto is_separator = [](char c) { return c == ',' || c == ';' || c == '\t'; };
  const bool like_json =
      line.front() == '{' || line.front() == '[' || line.find("\":") != line.npos;
  return !like_json && std::count_if(line.begin(), line.end(), is_separator) >= kFewestSeparators;
}

// The first lines but for comments: two at least, or the only one.
bool AreRows(Lines lines, bool complete) {
  lines.erase(std::remove_if(lines.begin(), lines.end(),
                             [](std::string_view line) { return line.front() == '#'; }),
              lines.end());
  const std::size_t enough = complete ? 1 : 2;
  if (lines.size() < enough) return false;
  const auto end = lines.begin() + static_cast<long>(std::min(lines.size(), kMostRows));
  return std::all_of(lines.begin(), end, IsRow);
}

// A text has no NUL, and hardly any other control characters.
bool IsBinary(std::string_view text) {
  constexpr long kTextBytesToOne = 20;
  const auto is_control = [](unsigned char c) {
    return std::iscntrl(c) != 0 && std::isspace(c) == 0;
  };
  const long controls = std::count_if(text.begin(), text.end(), is_control);
  return text.find('\0') != text.npos ||
         controls * kTextBytesToOne > static_cast<long>(text.size());
}

}  // namespace

InputFormat FormatOf(std::string_view beginning, bool complete) {
  const bool whole = complete && beginning.size() <= kMostBytesOfBeginning;
  const std::string_view text = beginning.substr(0, kMostBytesOfBeginning);
  const Lines lines = LinesOf(text, whole);
  if (std::any_of(lines.begin(), lines.end(), IsJsonObject)) return InputFormat::kJson;
  if (std::any_of(lines.begin(), lines.end(), IsSentence)) return InputFormat::kNmea;
  if (IsBinary(text)) return InputFormat::kBinary;
  return AreRows(lines, whole) ? InputFormat::kRows : InputFormat::kUnknown;
}

std::string AdviceOn(InputFormat format, const std::string& file) {
  switch (format) {
    case InputFormat::kNmea:
      return fmt::format(
          "holds NMEA sentences, not lines of JSON; `gpsdecode -j < {}` makes such lines of them",
          file);
    case InputFormat::kRows:
      return R"(holds rows of values, not lines of JSON; make each row an object, for instance )"
             R"({"class":"TPV","mode":3,"time":"2019-06-19T21:33:57Z","lat":41.65,"lon":-93.5,)"
             R"("speed":24.2}; docs/events.md describes what there is)";
    case InputFormat::kBinary:
      return fmt::format(
          "holds binary data, not lines of JSON; if it is the log of a GPS receiver, `gpsdecode "
          "-j < {}` makes such lines of it",
          file);
    case InputFormat::kJson:
    case InputFormat::kUnknown:
      break;
  }
  return {};
}

}  // namespace vmr::tool
