#include "tools/report/fact_book.h"

#include <algorithm>
#include <iterator>

#include "tools/read/phrase.h"

namespace vmr::tool {

using records::KindId;
using records::Record;

namespace {

// Who and what, in the order in which a reader asks for it.
constexpr KindId kFacts[] = {KindId::kOfficer,    KindId::kBadge,        KindId::kVehicle,
                             KindId::kDepartment, KindId::kSerialNumber, KindId::kMac,
                             KindId::kTimeZone,   KindId::kTimeZoneName, KindId::kGpsReceiver};

bool IsFact(KindId kind) {
  return std::find(std::begin(kFacts), std::end(kFacts), kind) != std::end(kFacts);
}

std::string FactText(const Record& record) {
  const std::string_view text = ValueOf(record, 0).text;
  return record.kind->id == KindId::kMac ? MacText(text) : EscapedText(text);
}

}  // namespace

void FactBook::Take(const Record& record, const Spot& spot) {
  if (!record.crc_right || !IsFact(record.kind->id)) return;
  std::vector<Told>& told = told_[record.kind->id];
  const std::string text = FactText(record);
  if (!told.empty() && told.back().is_known && told.back().text == text) return;
  told.push_back({spot.holds_from.value_or(spot.x), text, record.tick, true});
}

void FactBook::LoseAll(AxisX x) {
  for (auto& [kind, told] : told_)
    if (told.back().is_known) told.push_back({x, "", kNoTick, false});
}

std::vector<CaseFact> FactBook::Finish(const Inside& inside, AxisX begin) const {
  std::vector<CaseFact> facts;
  for (const KindId kind : kFacts) {
    CaseFact fact{records::KindOf(kind).name, {}};
    const auto told = told_.find(kind);
    for (std::size_t i = 0; told != told_.end() && i < told->second.size(); ++i)
      if (IsInForce(told->second, i, inside, begin)) Add(told->second[i], fact);
    facts.push_back(std::move(fact));
  }
  return facts;
}

bool FactBook::IsInForce(const std::vector<Told>& told, std::size_t i, const Inside& inside,
                         AxisX begin) {
  if (!told[i].is_known) return false;
  if (inside.Has(told[i].x)) return true;
  return told[i].x <= begin && (i + 1 == told.size() || told[i + 1].x > begin);
}

void FactBook::Add(const Told& told, CaseFact& fact) {
  const bool is_new = std::none_of(fact.values.begin(), fact.values.end(),
                                   [&](const CaseText& text) { return text.text == told.text; });
  if (is_new) fact.values.push_back({told.text, told.x, told.tick});
}

}  // namespace vmr::tool
