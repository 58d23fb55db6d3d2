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
  if (!told.empty() && told.back().lost == Loss::kNone && told.back().text == text) return;
  told.push_back({spot.holds_from.value_or(spot.x), text, record.tick, Loss::kNone});
}

void FactBook::LoseAll(AxisX x, Loss why) {
  for (auto& [kind, told] : told_)
    if (told.back().lost == Loss::kNone) told.push_back({x, "", kNoTick, why});
}

std::vector<CaseFact> FactBook::Finish(const Inside* part) const {
  const std::vector<Told> none;
  std::vector<CaseFact> facts;
  for (const KindId kind : kFacts) {
    CaseFact fact{records::KindOf(kind).name, {}, "", 0};
    const auto found = told_.find(kind);
    const std::vector<Told>& told = found == told_.end() ? none : found->second;
    for (std::size_t i = 0; i < told.size(); ++i)
      if (told[i].lost == Loss::kNone && (part == nullptr || IsInForce(told, i, *part)))
        Add(told[i], fact);
    if (fact.values.empty()) fact.untold = WhyUntold(told, part);
    facts.push_back(std::move(fact));
  }
  return facts;
}

bool FactBook::IsInForce(const std::vector<Told>& told, std::size_t i, const Inside& part) {
  if (part.Has(told[i].x)) return true;
  const std::vector<AxisX> begins = part.Begins();
  return std::any_of(begins.begin(), begins.end(), [&](AxisX begin) {
    return told[i].x <= begin && (i + 1 == told.size() || told[i + 1].x > begin);
  });
}

const FactBook::Told* FactBook::LastAt(const std::vector<Told>& told, AxisX x) {
  const auto behind = std::upper_bound(told.begin(), told.end(), x,
                                       [](AxisX at, const Told& one) { return at < one.x; });
  return behind == told.begin() ? nullptr : &*(behind - 1);
}

std::string FactBook::WhyUntold(const std::vector<Told>& told, const Inside* part) {
  if (told.empty() || part == nullptr) return "not recorded";
  const std::vector<AxisX> begins = part->Begins();
  if (begins.empty()) return "unknown";
  const Told* const last = LastAt(told, begins.front());
  switch (last == nullptr ? Loss::kNone : last->lost) {
    case Loss::kBehindGap:
      return "unknown behind the gap";
    case Loss::kInNewRun:
      return "unknown in this run of the unit";
    case Loss::kNone:
      break;
  }
  return "not told up to here";
}

bool FactBook::AreLostAt(AxisX x) const {
  return std::any_of(told_.begin(), told_.end(), [x](const auto& told) {
    const Told* const last = LastAt(told.second, x);
    return last != nullptr && last->lost == Loss::kBehindGap;
  });
}

void FactBook::Add(const Told& told, CaseFact& fact) {
  if (!fact.values.empty() && fact.values.back().text == told.text) return;
  // The last place is the last change's.
  if (fact.values.size() == kMostChanges) {
    fact.values.pop_back();
    ++fact.left_out;
  }
  fact.values.push_back({told.text, told.x, told.tick});
}

}  // namespace vmr::tool
