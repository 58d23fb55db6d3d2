#include "tools/read/cue_text.h"

#include <fmt/format.h>

#include <cstring>
#include <iterator>

#include "store/speed.h"
#include "tools/read/value_text.h"

namespace vmr::tool {

using records::KindId;
using records::Record;
using records::Value;
using records::ValueOf;

namespace {

std::string WordOrNumber(const Value& value) {
  return value.word != nullptr ? value.word : std::to_string(value.number);
}

// "on" and "off" of these are both worth telling; of the others only "on".
bool IsAlwaysShown(const char* input) {
  static constexpr const char* kShown[] = {"emergency lights", "siren", "brake"};
  for (const char* const shown : kShown)
    if (input != nullptr && std::strcmp(input, shown) == 0) return true;
  return false;
}

const char* UnitsShown(const Value& units) {
  if (units.number == SPEED_UNITS_MPH) return "mph";
  if (units.number == SPEED_UNITS_KMH) return "km/h";
  return nullptr;
}

// Nothing: not worth a line.
std::optional<std::string> ChangeOf(const Record& record) {
  switch (record.kind->id) {
    case KindId::kInput:
      return fmt::format("{} {}", InputName(ValueOf(record, 0)),
                         ValueOf(record, 1).number != 0 ? "on" : "off");
    case KindId::kButton:
      return fmt::format("button {} {}", WordOrNumber(ValueOf(record, 0)),
                         WordOrNumber(ValueOf(record, 1)));
    case KindId::kBookmark:
      return "bookmark";
    case KindId::kLog:
      return "log: " + VisibleText(ValueOf(record, 0).text);
    case KindId::kOfficer:
    case KindId::kBadge:
    case KindId::kVehicle:
    case KindId::kDepartment:
      if (ValueOf(record, 0).text.empty()) return std::nullopt;
      return fmt::format("{}: {}", record.kind->name, VisibleText(ValueOf(record, 0).text));
    case KindId::kGpsState:
      return ValueOf(record, 0).number != 0 ? "GPS available" : "GPS not available";
    default:
      return std::nullopt;
  }
}

}  // namespace

std::string InputName(const Value& input) {
  return input.word != nullptr ? input.word : fmt::format("input {}", input.number);
}

void CueText::Take(const Record& record) {
  TakeChange(record);
  if (!record.crc_right) return;
  const KindId kind = record.kind->id;
  if (kind == KindId::kInput)
    inputs_[ValueOf(record, 0).number] = ValueOf(record, 1).number != 0;
  else if (kind == KindId::kSpeedDevice)
    units_[ValueOf(record, 0).number] = UnitsShown(ValueOf(record, 1));
  else if (kind == KindId::kSpeed)
    TakeSpeed(record);
  else if (kind == KindId::kRadar && ValueOf(record, 0).number == 1 && ValueOf(record, 1).present)
    target_ = WordOrNumber(ValueOf(record, 1));
  else if (kind == KindId::kRadarState && ValueOf(record, 1).number == 0)
    target_.reset();
}

void CueText::TakeSpeed(const Record& record) {
  const std::int64_t device = ValueOf(record, 0).number;
  const Value speed = ValueOf(record, 1);
  const auto units = units_.find(device);
  // Every store's GPS receiver counts so; it is told again with each configuration.
  const char* const shown = units != units_.end()   ? units->second
                            : device == kGpsSpeedId ? "mph"
                                                    : nullptr;
  if (speed.word != nullptr)
    speeds_[device] = std::string("speed ") + speed.word;
  else
    speeds_[device] = fmt::format("{} {}", speed.number, shown != nullptr ? shown : "(no units)");
}

void CueText::TakeChange(const Record& record) {
  if (record.repeats) return;
  const std::optional<std::string> change = ChangeOf(record);
  if (change) changes_.push_back(*change + (record.crc_right ? "" : " (packet CRC wrong)"));
}

void CueText::Forget() {
  speeds_.clear();
  units_.clear();
  target_.reset();
  inputs_.clear();
}

std::string CueText::SpeedLine() const {
  std::string line;
  const auto add = [&line](const std::string& text) { line += (line.empty() ? "" : ", ") + text; };
  for (const auto& [device, speed] : speeds_)
    add(device == kGpsSpeedId ? speed : fmt::format("device {}: {}", device, speed));
  if (target_) add("radar target " + *target_);
  return line;
}

std::string CueText::InputLine() const {
  const records::FieldRow& field = records::KindOf(KindId::kInput).fields[0];
  std::string line;
  for (const auto& [input, is_on] : inputs_) {
    Value value;
    value.number = input;
    value.word = field.word(input);
    if (is_on || IsAlwaysShown(value.word))
      line += (line.empty() ? "" : ", ") + InputName(value) + (is_on ? " on" : " off");
  }
  return line;
}

std::vector<std::string> CueText::TakeLines() {
  std::vector<std::string> lines;
  for (const std::string& line : {SpeedLine(), InputLine()})
    if (!line.empty()) lines.push_back(line);
  for (const std::string& change : changes_) lines.push_back("* " + change);
  changes_.clear();
  return lines;
}

}  // namespace vmr::tool
