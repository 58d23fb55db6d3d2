#include "tools/commands/overview_text.h"

#include <fmt/format.h>

#include "tools/common/time_point.h"
#include "tools/read/phrase.h"

namespace vmr::tool {
namespace {

using records::KindId;
using records::TimeQuality;

struct IdentityRow {
  const char* label;
  KindId kind;
  bool changes = false;  // from shift to shift
};
constexpr IdentityRow kIdentity[] = {{"Serial number", KindId::kSerialNumber},
                                     {"MAC address", KindId::kMac},
                                     {"Vehicle", KindId::kVehicle},
                                     {"Department", KindId::kDepartment},
                                     {"Officer", KindId::kOfficer, true},
                                     {"Badge", KindId::kBadge, true}};
// Of one thing, at most.
constexpr std::size_t kMostTold = 8;

std::string TextOfUnit(KindId kind, const std::string& text) {
  if (kind == KindId::kMac) return MacText(text);
  return QuotedText(text);
}

std::string AllTold(const IdentityRow& row, const std::vector<ToldText>& told, Told which) {
  std::string rows;
  for (std::size_t i = 0; i < told.size() && i < kMostTold; ++i)
    rows += Row(i == 0 ? row.label : "",
                fmt::format("{} ({} {})", TextOfUnit(row.kind, told[i].text),
                            which == Told::kMet ? "met" : "first told", MomentText(told[i].at)));
  if (told.size() > kMostTold)
    rows +=
        Row("", fmt::format("and {} more; `vmr view --kind` shows them", told.size() - kMostTold));
  return rows;
}

}  // namespace

std::string Row(std::string_view label, std::string_view value) {
  return fmt::format("{:<14}{}\n", label, value);
}

std::string MomentText(const Met& moment) {
  if (moment.tick == kNoTick) return "unknown";
  if (moment.time.quality == TimeQuality::kUnknown)
    return fmt::format("unknown time, tick {}", moment.tick);
  return fmt::format("{}{}, tick {}",
                     moment.time.quality == TimeQuality::kEstimated ? "about " : "",
                     LocalTimeText(moment.time.us), moment.tick);
}

std::string IdentityRows(const Tally& tally, Told which) {
  std::string rows;
  for (const IdentityRow& row : kIdentity) {
    const auto told = tally.texts.find(row.kind);
    if (told == tally.texts.end())
      rows += Row(row.label, which == Told::kMet ? "not told in what was looked at" : "not told");
    else if (which != Told::kFirst && told->second.size() > 1)
      rows += AllTold(row, told->second, which);
    else
      rows += Row(row.label, TextOfUnit(row.kind, told->second.front().text) +
                                 (which == Told::kFirst && row.changes ? " (as first told)" : ""));
  }
  if (which == Told::kMet)
    rows += Row("", "others may be told where it was not looked; --full looks");
  return rows;
}

std::string ZoneText(const Reading& reading) {
  return reading.zone.empty() ? "UTC, because no time zone is recorded" : EscapedText(reading.zone);
}

}  // namespace vmr::tool
