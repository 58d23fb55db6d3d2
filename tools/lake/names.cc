#include "tools/lake/names.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>

#include "tools/common/sha256.h"
#include "tools/read/value_text.h"

namespace vmr::tool {
namespace {

constexpr std::int64_t kDay_us = std::int64_t{24} * 60 * 60 * records::kSecond_us;
constexpr std::size_t kLongestName = 64;  // of a unit
constexpr std::size_t kNameBeginning = 40;
constexpr std::size_t kDigestDigits = 16;

bool IsPlain(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

std::string UtcText(std::int64_t us) {
  LineBuffer text;
  AppendUtc(us, text);
  return fmt::to_string(text);
}

}  // namespace

std::string SafeName(std::string_view text) {
  std::string name;
  for (const char c : text) {
    const bool stays = IsPlain(c) || ((c == '.' || c == '_' || c == '-') && !name.empty());
    name += stays ? std::string(1, c) : fmt::format("~{:02X}", static_cast<unsigned char>(c));
  }
  if (name.size() <= kLongestName) return name;
  return name.substr(0, kNameBeginning) + "~~" + Sha256Of(text).substr(0, kDigestDigits);
}

std::string CompactTime(const records::Time& time) {
  if (time.quality == records::TimeQuality::kUnknown) return "notime";
  std::string text = UtcText(time.us);
  text.erase(text.find('.'));
  text.erase(std::remove(text.begin(), text.end(), ':'), text.end());
  text.erase(std::remove(text.begin() + 1, text.end(), '-'), text.end());
  return text + "Z";
}

std::string CompactTick(unsigned int tick) {
  return tick == kNoTick ? "notick" : fmt::format("{:010}", tick);
}

std::string NameByPath(const std::string& path) {
  std::error_code error;
  const auto absolute = std::filesystem::absolute(path, error).lexically_normal();
  return "none-" + Sha256Of(absolute.string()).substr(0, kDigestDigits);
}

std::int64_t DayOf(std::int64_t us) {
  return us >= 0 ? us / kDay_us : -((-us + kDay_us - 1) / kDay_us);
}

std::string DateFolder(std::int64_t day) {
  if (day == kNoDay) return "date=__HIVE_DEFAULT_PARTITION__";
  const std::string text = UtcText(day * kDay_us);
  return "date=" + text.substr(0, text.find('T'));
}

}  // namespace vmr::tool
