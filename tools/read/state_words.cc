#include "tools/read/state_words.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstdlib>

#include "store/policy.h"

namespace vmr::tool {

using records::FieldRow;
using records::FieldType;
using records::KindId;
using records::KindRow;
using records::KindUse;
using records::Record;
using records::Value;

namespace {

constexpr std::int64_t kSecond_us = 1000000;

// ---- Texts -----------------------------------------------------------------------

// A character of UTF-8 at the beginning of `text`, and how many bytes it has; none: 0.
struct Character {
  char32_t code = 0;
  std::size_t bytes = 0;
};
Character CharacterAt(std::string_view text) {
  const auto byte = [&text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char first = byte(0);
  if (first < 0x80) return {first, 1};
  const std::size_t bytes = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : first >= 0xC2 ? 2 : 0;
  if (bytes == 0 || first > 0xF4 || text.size() < bytes) return {};
  char32_t code = first & (0xFFU >> (bytes + 1));
  for (std::size_t i = 1; i < bytes; ++i) {
    if ((byte(i) & 0xC0) != 0x80) return {};
    code = code << 6 | (byte(i) & 0x3FU);
  }
  constexpr std::array<char32_t, 5> kLeast = {0, 0, 0x80, 0x800, 0x10000};
  const bool is_surrogate = code >= 0xD800 && code < 0xE000;
  return code < kLeast[bytes] || is_surrogate || code > 0x10FFFF ? Character{}
                                                                 : Character{code, bytes};
}

// Moves a cursor, ends a line, or turns the direction of what follows.
bool IsControl(char32_t code) {
  struct Span {
    char32_t first, last;
  };
  constexpr Span kControls[] = {{0, 0x1F},        {0x7F, 0x9F},     {0x61C, 0x61C},
                                {0x200E, 0x200F}, {0x2028, 0x202E}, {0x2066, 0x2069},
                                {0xFEFF, 0xFEFF}};
  return std::any_of(std::begin(kControls), std::end(kControls),
                     [code](const Span& span) { return code >= span.first && code <= span.last; });
}

std::string Plain(std::string_view name) {
  std::string words(name);
  std::replace(words.begin(), words.end(), '_', ' ');
  return words;
}

// ---- Values ----------------------------------------------------------------------

std::string MacWords(std::string_view bytes) {
  std::string words;
  for (const char byte : bytes)
    words += fmt::format("{}{:02x}", words.empty() ? "" : ":", static_cast<unsigned char>(byte));
  return words;
}

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
      return value.text.empty() ? "(empty)" : EscapedWords(value.text);
    case FieldType::kMac:
      return MacWords(value.text);
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

std::string EscapedWords(std::string_view text) {
  std::string escaped;
  while (!text.empty()) {
    const Character character = CharacterAt(text);
    const std::size_t bytes = std::max<std::size_t>(character.bytes, 1);
    if (character.bytes > 0 && !IsControl(character.code)) {
      escaped += text.substr(0, bytes);
    } else {
      for (std::size_t i = 0; i < bytes; ++i)
        escaped += fmt::format("\\x{:02X}", static_cast<unsigned char>(text[i]));
    }
    text.remove_prefix(bytes);
  }
  return escaped;
}

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

std::string DurationWords(std::int64_t us) {
  const std::int64_t seconds = us / kSecond_us;
  if (seconds < 60) return fmt::format("{}.{} s", seconds, us / (kSecond_us / 10) % 10);
  if (seconds < 3600) return fmt::format("{} min {:02} s", seconds / 60, seconds % 60);
  const std::int64_t hours = seconds / 3600;
  if (hours < 24) return fmt::format("{} h {:02} min", hours, seconds / 60 % 60);
  return fmt::format("{} d {:02} h", hours / 24, hours % 24);
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
