#include "tools/read/state_words.h"

#include <fmt/format.h>

#include <algorithm>

#include "store/policy.h"
#include "tools/read/phrase.h"

namespace vmr::tool {

using records::FieldRow;
using records::FieldType;
using records::KindId;
using records::KindRow;
using records::KindUse;
using records::Record;
using records::Value;

namespace {

std::string Plain(std::string_view name) {
  std::string words(name);
  std::replace(words.begin(), words.end(), '_', ' ');
  return words;
}

// ---- Values ----------------------------------------------------------------------

// Seven digits are an inch.
std::string DegreesWords(std::int64_t tts) {
  return fmt::format("{:.7f}", records::DegreesOf(tts));
}

std::string AddressWords(std::int64_t address) {
  return fmt::format("{}.{}.{}.{}", address >> 24 & 0xFF, address >> 16 & 0xFF, address >> 8 & 0xFF,
                     address & 0xFF);
}

std::string NumberWords(const Value& value) {
  const char* const unit = value.field->unit;
  const bool shown = *unit != '\0' && std::string_view(unit) != "degrees";
  return fmt::format("{}{}{}", value.number, shown ? " " : "", shown ? unit : "");
}

std::string FieldWords(const Value& value) {
  if (!value.present) return "not present";
  switch (value.field->type) {
    case FieldType::kFlag:
      return value.number != 0 ? "yes" : "no";
    case FieldType::kText:
      return QuotedText(value.text);
    case FieldType::kMac:
      return MacText(value.text);
    case FieldType::kAddress:
      return AddressWords(value.number);
    case FieldType::kTime:
      return fmt::format("@{}", value.number);
    case FieldType::kLatitude:
    case FieldType::kLongitude:
      return DegreesWords(value.number);
    default:
      return value.word != nullptr ? value.word : NumberWords(value);
  }
}

std::string PositionWords(const Record& record) {
  if (record.position.quality == records::PositionQuality::kUnknown) return "unknown";
  return fmt::format("{}, {}{}", DegreesWords(record.position.latitude_tts),
                     DegreesWords(record.position.longitude_tts),
                     record.position.quality == records::PositionQuality::kUnverified
                         ? " (unverified: hemisphere not recorded)"
                         : "");
}

// A field among others is named, unless its words speak for themselves.
std::string ListWords(const KindRow& kind, const std::vector<Value>& values) {
  std::string words;
  for (std::size_t i = kind.key_fields; i < values.size(); ++i) {
    const FieldType type = values[i].field->type;
    const bool is_named = values.size() - kind.key_fields > 1 && type != FieldType::kText &&
                          (type != FieldType::kWord || values[i].word == nullptr);
    words += words.empty() ? "" : ", ";
    if (is_named) words += Plain(values[i].field->name) + " ";
    words += FieldWords(values[i]);
  }
  return words;
}

// "available", "not connected"
std::string NamedFlagWords(const Value& value) {
  return (value.number != 0 ? "" : "not ") + Plain(value.field->name);
}

std::string PolicyWords(const std::vector<Value>& values) {
  const PolicyRow* const row = FindPolicy(static_cast<e_CONFIG_LIST>(values[0].number));
  const bool is_flag = row != nullptr && row->type == PolicyType::kBool && values[1].number <= 1;
  if (!is_flag) return FieldWords(values[1]);
  return values[1].number != 0 ? "yes" : "no";
}

std::string ValuesWords(const Record& record, const std::vector<Value>& values) {
  switch (record.kind->id) {
    case KindId::kPosition:
      return PositionWords(record);
    case KindId::kInput:
      return values[1].number != 0 ? "on" : "off";
    case KindId::kPolicy:
      return PolicyWords(values);
    case KindId::kGpsState:
      return NamedFlagWords(values[0]);
    case KindId::kRadarState:
      return NamedFlagWords(values[1]);
    default:
      break;
  }
  return ListWords(*record.kind, values);
}

std::string KeyWordsOf(const KindRow& kind, const std::vector<Value>& values) {
  std::string words;
  for (std::size_t i = 0; i < kind.key_fields; ++i) {
    const Value& value = values[i];
    words += words.empty() ? "" : " ";
    words += value.word != nullptr
                 ? std::string(value.word)
                 : Plain(value.field->name) + " " +
                       (value.present ? std::to_string(value.number) : std::string("unknown"));
  }
  return words;
}

// "speed device 1", not "speed device device 1".
std::string Joined(const std::string& kind, const std::string& key) {
  const std::string last_word = kind.substr(kind.rfind(' ') + 1);
  if (key.compare(0, last_word.size() + 1, last_word + " ") == 0)
    return kind + key.substr(last_word.size());
  return kind + (key.empty() ? "" : " " + key);
}

// ---- Keys ------------------------------------------------------------------------

std::vector<StateTable::Key> Numbered(KindId id, std::int64_t first, std::int64_t last) {
  std::vector<StateTable::Key> keys;
  for (std::int64_t number = first; number <= last; ++number) keys.push_back({id, {number}});
  return keys;
}

// Recordings number microphones otherwise than units do.
struct Microphone {
  std::int64_t stream_number, position;
};
constexpr Microphone kMicrophones[] = {{1, 0}, {2, 1}, {0, 2}, {3, 3}};

std::vector<StateTable::Key> MicrophoneKeys(KindId id) {
  std::vector<StateTable::Key> keys;
  for (const Microphone& mic : kMicrophones) {
    if (id == KindId::kMicrophoneName) {
      keys.push_back({id, {mic.stream_number, mic.position}});
      continue;
    }
    constexpr std::int64_t kPresent = 1, kOn = 2;
    for (const std::int64_t what : {kPresent, kOn})
      keys.push_back({id, {mic.stream_number, mic.position, what}});
  }
  return keys;
}

// Of those that have a field: units tell no others.
std::vector<StateTable::Key> PolicyKeys() {
  std::vector<StateTable::Key> keys;
  for (const PolicyRow& row : Policies())
    if (row.HasField() && row.permission_bool == nullptr)
      keys.push_back({KindId::kPolicy, {row.id}});
  return keys;
}

// Everything that has a word.
std::vector<StateTable::Key> WordKeys(const KindRow& kind, std::int64_t first) {
  std::vector<StateTable::Key> keys;
  for (std::int64_t number = first; number < 256; ++number)
    if (kind.fields[0].word(number) != nullptr) keys.push_back({kind.id, {number}});
  return keys;
}

}  // namespace

// ---- Words -----------------------------------------------------------------------

std::string KindWords(const KindRow& kind) { return Plain(kind.name); }

std::string SubjectWords(const Record& record) {
  return Joined(KindWords(*record.kind), KeyWords(record));
}

std::string SubjectWords(const StateTable::Key& key) {
  return Joined(KindWords(records::KindOf(key.first)), KeyWords(key));
}

std::string KeyWords(const Record& record) {
  std::vector<Value> values;
  for (std::size_t i = 0; i < record.kind->key_fields; ++i)
    values.push_back(records::ValueOf(record, i));
  return KeyWordsOf(*record.kind, values);
}

std::string KeyWords(const StateTable::Key& key) {
  const KindRow& kind = records::KindOf(key.first);
  std::vector<Value> values;
  for (std::size_t i = 0; i < kind.key_fields; ++i) {
    const FieldRow& field = kind.fields[i];
    const std::int64_t number = key.second[i];
    values.push_back(
        {&field, true, number, field.word != nullptr ? field.word(number) : nullptr, {}});
  }
  return KeyWordsOf(kind, values);
}

std::string ValueWords(const StateEntry& entry) {
  const Record record = entry.said.Get();
  std::vector<Value> values;
  for (std::size_t i = 0; i < record.kind->field_count; ++i) values.push_back(entry.ValueOf(i));
  return ValuesWords(record, values);
}

std::string RecordWords(const Record& record) {
  std::vector<Value> values;
  for (std::size_t i = 0; i < record.kind->field_count; ++i)
    values.push_back(records::ValueOf(record, i));
  const std::string told = ValuesWords(record, values);
  return SubjectWords(record) + (told.empty() ? "" : ": " + told);
}

std::string PlaceWords(const records::Place& place) {
  if (place.cluster < 0) return fmt::format("offset {}", place.offset);
  return fmt::format("file {} cluster {} offset {}", place.file, place.cluster, place.offset);
}

std::vector<StateTable::Key> KnownKeys(const KindRow& kind) {
  if (kind.use != KindUse::kState) return {};
  switch (kind.id) {
    case KindId::kPolicy:
      return PolicyKeys();
    case KindId::kInput:
    case KindId::kTemperature:
    case KindId::kTemperatureSensor:
      return WordKeys(kind, 0);
    case KindId::kVersion:
      return WordKeys(kind, 1);  // component 0 is none
    case KindId::kMicrophone:
    case KindId::kMicrophoneName:
      return MicrophoneKeys(kind.id);
    case KindId::kSpeed:
    case KindId::kSpeedDevice:
      return Numbered(kind.id, 1, 2);
    case KindId::kRadar:
    case KindId::kRadarDevice:
    case KindId::kRadarState:
      return Numbered(kind.id, 1, 1);
    case KindId::kCamera:
    case KindId::kCameraName:
    case KindId::kStream:
    case KindId::kStreamFormat:
      return Numbered(kind.id, 0, 3);
    case KindId::kLiveStream:
      return Numbered(kind.id, 0, 5);
    default:
      return {{kind.id, {}}};
  }
}

}  // namespace vmr::tool
