#include "tools/report/series_book.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <set>
#include <string>

#include "tools/read/phrase.h"
#include "tools/read/state_words.h"

namespace vmr::tool {

using records::KindId;
using records::Order;
using records::Record;

namespace {

// A field that is drawn as a line.
struct DrawnField {
  KindId kind;
  std::size_t field;
  const char* family;
  const char* words;  // behind the device's name
};
constexpr DrawnField kDrawn[] = {
    {KindId::kSpeed, 1, "speed", "speed"},        {KindId::kRadar, 1, "radar", "target"},
    {KindId::kRadar, 2, "radar", "locked"},       {KindId::kRadar, 3, "radar", "fastest"},
    {KindId::kTemperature, 1, "temperature", ""}, {KindId::kVoltage, 0, "voltage", ""},
};

const DrawnField& DrawnAs(KindId kind, std::size_t field) {
  return *std::find_if(std::begin(kDrawn), std::end(kDrawn), [&](const DrawnField& drawn) {
    return drawn.kind == kind && drawn.field == field;
  });
}

// The kind of the readings whose units the record tells.
std::optional<KindId> ReadingsOf(KindId kind) {
  if (kind == KindId::kSpeedDevice) return KindId::kSpeed;
  if (kind == KindId::kRadarDevice) return KindId::kRadar;
  return std::nullopt;
}

std::int64_t DeviceOf(const Record& record) {
  return record.kind->key_fields > 0 ? ValueOf(record, 0).number : 0;
}

std::string NameOf(const DrawnField& drawn, std::int64_t device) {
  switch (drawn.kind) {
    case KindId::kSpeed:
      return fmt::format("{} {}", SpeedDeviceName(device), drawn.words);
    case KindId::kRadar:
      return fmt::format("radar {} {}", device, drawn.words);
    case KindId::kTemperature:
      return SubjectWords(StateTable::Key{drawn.kind, {device}});
    default:
      return "supply voltage";
  }
}

std::string IdOf(const DrawnField& drawn, std::int64_t device) {
  switch (drawn.kind) {
    case KindId::kRadar:
      return fmt::format("radar/{}/{}", device, drawn.words);
    case KindId::kVoltage:
      return drawn.family;
    default:
      return fmt::format("{}/{}", drawn.family, device);
  }
}

constexpr std::int64_t kUnitsUntold = -1;

std::int64_t UnitsAt(const Line& units, AxisX x) {
  const auto behind = std::upper_bound(
      units.begin(), units.end(), x, [](AxisX at, const LinePoint& point) { return at < point.x; });
  if (behind == units.begin() || !(behind - 1)->IsKnown()) return kUnitsUntold;
  return (behind - 1)->value;
}

// The values of one unit, unknown where another one counts. Words have none.
Line OfUnits(const Line& line, const Line& units, std::int64_t wanted) {
  LineBuilder part;
  for (const LinePoint& point : line) {
    if (point.IsKnown() && UnitsAt(units, point.x) == wanted) {
      if (point.Holds())
        part.Tell(point.x, point.value, (point.flags & LinePoint::kSinceUnknown) != 0);
      else
        part.Doubt(point.x, point.value);
    } else if (point.IsWord()) {
      part.TellWord(point.x, point.value, (point.flags & LinePoint::kSinceUnknown) != 0);
    } else if (point.Holds()) {
      part.Lose(point.x);
    }
  }
  return part.Take();
}

bool TellsNothing(const Line& line) {
  return std::none_of(line.begin(), line.end(),
                      [](const LinePoint& point) { return point.IsKnown() || point.IsWord(); });
}

std::string DeviceName(KindId kind, std::int64_t device) {
  if (kind == KindId::kRadar) return fmt::format("radar {}", device);
  return NameOf(DrawnAs(kind, 1), device);
}

}  // namespace

void SeriesBook::Take(const Record& record, const Spot& spot) {
  const KindId kind = record.kind->id;
  if (const auto readings = ReadingsOf(kind)) {
    if (!record.crc_right || !spot.holds_from) return;
    units_[{*readings, DeviceOf(record)}].Tell(*spot.holds_from, ValueOf(record, 1).number,
                                               record.repeats);
    return;
  }
  for (const DrawnField& drawn : kDrawn)
    if (drawn.kind == kind && record.shape->fields[drawn.field].order != Order::kAbsent)
      TakeReading(record, drawn.field, spot);
}

void SeriesBook::TakeReading(const Record& record, std::size_t field, const Spot& spot) {
  const records::Value value = ValueOf(record, field);
  const bool is_number = value.present && value.word == nullptr;
  const Key key{record.kind->id, DeviceOf(record), field};
  if (!record.crc_right) {
    if (is_number) lines_[key].Doubt(spot.x, value.number);
    return;
  }
  if (!spot.holds_from) return;
  if (is_number) {
    lines_[key].Tell(*spot.holds_from, value.number, record.repeats);
    return;
  }
  words_.try_emplace(value.number, ReadingWords(value));
  lines_[key].TellWord(*spot.holds_from, value.number, record.repeats);
}

void SeriesBook::LoseAll(AxisX x) {
  for (auto& [key, line] : lines_) line.Lose(x);
  for (auto& [device, units] : units_) units.Lose(x);
}

std::vector<Line> SeriesBook::Lines() const {
  std::vector<Line> all;
  for (const auto& [key, line] : lines_) all.push_back(line.Points());
  return all;
}

std::vector<CaseSeries> SeriesBook::Finish(const Inside* part, std::vector<CaseFinding>& findings) {
  std::vector<CaseSeries> all;
  for (auto& [key, line] : lines_) {
    const auto& [kind, device, field] = key;
    const DrawnField& drawn = DrawnAs(kind, field);
    Line points = line.Take();
    if (part != nullptr) part->Clip(points);
    if (kind == KindId::kSpeed || kind == KindId::kRadar) {
      PutByUnits(key, std::move(points), all);
      continue;
    }
    CaseSeries series{
        IdOf(drawn, device), drawn.family, NameOf(drawn, device), "", {}, false, false, {}};
    series.unit = records::KindOf(kind).fields[field].unit;
    series.line = std::move(points);
    Put(std::move(series), all);
  }
  PutAssumedUnits(findings);
  return all;
}

void SeriesBook::PutAssumedUnits(std::vector<CaseFinding>& findings) const {
  for (const auto& [device, unit] : assumed_)
    findings.push_back({"note",
                        fmt::format("where the unit of {} is not told it is shown as {}, the only "
                                    "one that the recording tells",
                                    DeviceName(device.first, device.second), unit),
                        std::nullopt});
}

std::optional<std::int64_t> SeriesBook::SoleUnits(KindId kind, std::int64_t device) const {
  const auto units = units_.find({kind, device});
  if (units == units_.end()) return std::nullopt;
  std::optional<std::int64_t> sole;
  for (const LinePoint& point : units->second.Points()) {
    if (!point.IsKnown()) continue;
    if (sole && *sole != point.value) return std::nullopt;
    sole = point.value;
  }
  return sole;
}

void SeriesBook::Put(CaseSeries series, std::vector<CaseSeries>& all) const {
  if (TellsNothing(series.line)) return;
  std::set<std::int64_t> told;
  for (const LinePoint& point : series.line)
    if (point.IsWord()) told.insert(point.value);
  for (const std::int64_t number : told) series.words.push_back({number, words_.at(number)});
  all.push_back(std::move(series));
}

void SeriesBook::PutByUnits(const Key& key, Line line, std::vector<CaseSeries>& all) {
  const auto& [kind, device, field] = key;
  const DrawnField& drawn = DrawnAs(kind, field);
  const Line& units = units_[{kind, device}].Points();
  std::set<std::int64_t> told;
  for (const LinePoint& point : units)
    if (point.IsKnown()) told.insert(point.value);
  const bool any_untold = std::any_of(line.begin(), line.end(), [&](const LinePoint& point) {
    return point.IsKnown() && UnitsAt(units, point.x) == kUnitsUntold;
  });
  CaseSeries series{
      IdOf(drawn, device), drawn.family, NameOf(drawn, device), "", {}, false, false, {}};
  // Words have no unit.
  const bool any_value =
      std::any_of(line.begin(), line.end(), [](const LinePoint& point) { return point.IsKnown(); });
  if (told.size() <= 1 || !any_value) {
    if (told.size() == 1) series.unit = SpeedUnitsText(*told.begin());
    series.unit_assumed = any_untold && !series.unit.empty();
    if (series.unit_assumed) assumed_[{kind, device}] = series.unit;
    series.line = std::move(line);
    Put(std::move(series), all);
    return;
  }
  if (any_untold) told.insert(kUnitsUntold);
  for (const std::int64_t unit : told) {
    CaseSeries part = series;
    part.id += fmt::format("/{}", unit);
    part.unit = SpeedUnitsText(unit);
    part.line = OfUnits(line, units, unit);
    if (std::none_of(part.line.begin(), part.line.end(),
                     [](const LinePoint& point) { return point.IsKnown(); }))
      continue;
    Put(std::move(part), all);
  }
}

}  // namespace vmr::tool
