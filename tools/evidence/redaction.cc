#include "tools/evidence/redaction.h"

#include <fmt/format.h>

#include <algorithm>

#include "tools/common/numbers.h"
#include "tools/evidence/position_grid.h"

namespace vmr::tool {

using records::Sensitivity;

namespace {

constexpr unsigned int kMetresPerKilometre = 1000;
constexpr std::string_view kKeep = "keep";

const records::SensitivityRow* FindSensitivity(std::string_view name) {
  for (const records::SensitivityRow& row : records::Sensitivities())
    if (name == row.name) return &row;
  return nullptr;
}

// "1km" and "100m".
std::optional<unsigned int> MetresOf(std::string_view text) {
  const std::size_t digits = text.find_first_not_of("0123456789");
  if (digits == text.npos) return std::nullopt;
  const std::string_view unit = text.substr(digits);
  if (unit != "m" && unit != "km") return std::nullopt;
  const unsigned int factor = unit == "km" ? kMetresPerKilometre : 1;
  const auto number = ParseNumber(text.substr(0, digits), kLargestCellMetres / factor);
  if (!number || *number * factor < kSmallestCellMetres) return std::nullopt;
  return *number * factor;
}

std::string CellText(unsigned int metres) {
  return metres % kMetresPerKilometre == 0 ? fmt::format("{}km", metres / kMetresPerKilometre)
                                           : fmt::format("{}m", metres);
}

// What stands in front of the first `mark`, which goes with it; all where there is none.
std::string_view TakeUpTo(char mark, std::string_view& text) {
  const std::size_t at = std::min(text.find(mark), text.size());
  const std::string_view before = text.substr(0, at);
  text.remove_prefix(std::min(at + 1, text.size()));
  return before;
}

}  // namespace

std::string Redaction::WhatThereIs() {
  std::string names;
  for (const records::SensitivityRow& row : records::Sensitivities()) {
    names += fmt::format("{}{}", names.empty() ? "" : ", ", row.name);
    if (row.id == Sensitivity::kGps) names += " (or gps=1km, gps=100m)";
    if (row.id == Sensitivity::kText) names += " (or text=keep)";
  }
  return names;
}

std::optional<Redaction> Redaction::Of(std::string_view list, std::string& error) {
  Redaction redaction;
  bool more = true;
  while (more) {
    more = list.find(',') != list.npos;
    std::string_view rest = TakeUpTo(',', list);
    const bool has_value = rest.find('=') != rest.npos;
    const std::string_view name = TakeUpTo('=', rest);
    if (!redaction.Take(name, has_value ? std::optional(rest) : std::nullopt, error))
      return std::nullopt;
  }
  bool takes_any = false;
  for (const bool taken : redaction.taken_) takes_any = takes_any || taken;
  if (!takes_any) {
    error = fmt::format("text=keep: nothing else is taken out; there are {}", WhatThereIs());
    return std::nullopt;
  }
  redaction.taken_[static_cast<std::size_t>(Sensitivity::kText)] = !redaction.keeps_text_;
  return redaction;
}

bool Redaction::Take(std::string_view name, std::optional<std::string_view> value,
                     std::string& error) {
  const records::SensitivityRow* const row = FindSensitivity(name);
  if (row == nullptr) {
    error = fmt::format("\"{}\" cannot be taken out; there are {}", name, WhatThereIs());
    return false;
  }
  bool& taken = taken_[static_cast<std::size_t>(row->id)];
  if (taken || (row->id == Sensitivity::kText && keeps_text_)) {
    error = fmt::format("{}: stands twice", name);
    return false;
  }
  if (row->id == Sensitivity::kText && value == kKeep) return keeps_text_ = true;
  taken = true;
  if (!value) return true;
  const auto metres = row->id == Sensitivity::kGps ? MetresOf(*value) : std::nullopt;
  if (metres) cell_m_ = *metres;
  if (!metres && row->id == Sensitivity::kGps)
    error = fmt::format("gps={}: no grid; whole numbers of m or km from {} to {}, as in gps=1km",
                        *value, CellText(kSmallestCellMetres), CellText(kLargestCellMetres));
  else if (!metres)
    error = fmt::format("{}={}: {}", name, *value,
                        row->id == Sensitivity::kText ? "text, or text=keep"
                                                      : fmt::format("{} takes no value", name));
  return metres.has_value();
}

Sensitivity Redaction::TakenOutFor(const records::KindRow& kind) const {
  if (TakesOut(kind.sensitivity)) return kind.sensitivity;
  for (std::size_t i = 0; i < kind.field_count; ++i)
    if (TakesOut(kind.fields[i].sensitivity)) return kind.fields[i].sensitivity;
  return Sensitivity::kNone;
}

bool Redaction::TakesOnlyTextOf(const records::KindRow& kind) const {
  if (TakesOut(kind.sensitivity)) return false;
  bool takes_text = false;
  for (std::size_t i = 0; i < kind.field_count; ++i) {
    if (!TakesOut(kind.fields[i].sensitivity)) continue;
    if (kind.fields[i].type != records::FieldType::kText) return false;
    takes_text = true;
  }
  return takes_text;
}

std::string Redaction::Text() const {
  std::string text;
  for (const records::SensitivityRow& row : records::Sensitivities()) {
    const bool is_kept_text = row.id == Sensitivity::kText && keeps_text_;
    if (!TakesOut(row.id) && !is_kept_text) continue;
    text += fmt::format("{}{}", text.empty() ? "" : ",", row.name);
    if (is_kept_text) text += fmt::format("={}", kKeep);
    if (row.id == Sensitivity::kGps && cell_m_ > 0) text += "=" + CellText(cell_m_);
  }
  return text;
}

}  // namespace vmr::tool
