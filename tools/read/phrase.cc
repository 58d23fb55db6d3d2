#include "tools/read/phrase.h"

#include <fmt/format.h>

#include <array>
#include <cstdlib>
#include <iterator>

#include "store/speed.h"
#include "tools/common/time_point.h"
#include "tools/read/value_text.h"

namespace vmr::tool {
namespace {

using records::KindId;
using records::kSecond_us;
using records::Order;
using records::Position;
using records::PositionQuality;
using records::Record;
using records::Value;

// ---- Texts -----------------------------------------------------------------------

std::string Escaped(std::string_view text, bool also_quotes) {
  std::string escaped;
  while (!text.empty()) {
    const Character character = FirstCharacter(text);
    const auto code = static_cast<std::uint32_t>(character.code);
    const bool hidden = IsHidden(character.code);
    if (!character.is_utf8 || (hidden && code < 0x80))
      escaped += fmt::format("\\x{:02X}", code);
    else if (hidden)
      escaped += fmt::format(code <= 0xFFFF ? "\\u{:04X}" : "\\U{:08X}", code);
    else if (code == '\\' || (also_quotes && code == '"'))
      escaped += '\\', escaped += character.bytes;
    else
      escaped += character.bytes;
    text.remove_prefix(character.bytes.size());
  }
  return escaped;
}

// Every microphone's name is recorded with this in front of it.
constexpr std::string_view kMicrophoneMark = "$$";

std::string AsName(std::string_view text) {
  if (text.substr(0, kMicrophoneMark.size()) == kMicrophoneMark)
    text.remove_prefix(kMicrophoneMark.size());
  if (text.empty()) return {};
  return fmt::format(" ({})", QuotedText(text));
}

// ---- Fields ----------------------------------------------------------------------

Value Field(const Record& record, std::size_t index) { return ValueOf(record, index); }

std::string Text(const Record& record, std::size_t index) {
  return QuotedText(ValueOf(record, index).text);
}

// "siren", or the number when there is no word for it.
std::string WordOr(const Value& value, const char* thing) {
  return value.word != nullptr ? value.word : fmt::format("{} {}", thing, value.number);
}

const char* OnOff(const Value& flag) { return flag.number != 0 ? "on" : "off"; }

// What a radar shows in place of a speed.
struct Status {
  std::string_view word;
  const char* meaning;
};
constexpr Status kStatuses[] = {
    {"TST", "self-test"}, {"ERR", "error"}, {"BLANK", "blank"}, {"BAD", "bad reading"}};

bool IsCarried(const Record& record, std::size_t index) {
  return record.shape->fields[index].order != Order::kAbsent;
}

// ---- Kinds -----------------------------------------------------------------------

std::string TimePhrase(const Phrases&, const Record& record) {
  return "the unit's clock shows " + LocalTimeText(Field(record, 0).number * kSecond_us);
}

std::string MacPhrase(const Phrases&, const Record& record) {
  return "MAC address " + MacText(Field(record, 0).text);
}

std::string VersionPhrase(const Phrases&, const Record& record) {
  return fmt::format("version of {} {}", WordOr(Field(record, 0), "component"), Text(record, 1));
}

std::string PolicyPhrase(const Phrases&, const Record& record) {
  const Value policy = Field(record, 0);
  const std::string name = policy.word != nullptr ? policy.word : fmt::format("{}", policy.number);
  return fmt::format("setting {} = {}", name, Field(record, 1).number);
}

std::string InputPhrase(const Phrases&, const Record& record) {
  return fmt::format("{} {}", WordOr(Field(record, 0), "input"), OnOff(Field(record, 1)));
}

std::string ButtonPhrase(const Phrases&, const Record& record) {
  const Value button = Field(record, 0);
  return fmt::format("{} {}",
                     button.word != nullptr ? fmt::format("{} button", button.word)
                                            : fmt::format("button {}", button.number),
                     WordOr(Field(record, 1), "action"));
}

std::string PositionPhrase(const Phrases&, const Record& record) {
  switch (record.position.quality) {
    case PositionQuality::kKnown:
      return "position " + PositionText(record.position);
    case PositionQuality::kUnverified:
      return fmt::format("position {} (unverified)", PositionText(record.position));
    default:
      return Field(record, 2).number != 0 ? "position that is none on earth"
                                          : "moved, from where is unknown";
  }
}

std::string GpsStatePhrase(const Phrases&, const Record& record) {
  return Field(record, 0).number != 0 ? "GPS available" : "GPS not available";
}

std::string SpeedPhrase(const Phrases& phrases, const Record& record) {
  const std::int64_t device = Field(record, 0).number;
  const Value speed = Field(record, 1);
  const std::string units =
      speed.word == nullptr ? phrases.UnitsOf(KindId::kSpeedDevice, device) : "";
  return fmt::format("{} speed {}{}", SpeedDeviceName(device), ReadingWords(speed), units);
}

std::string DevicePhrase(const char* thing, const Record& record) {
  return fmt::format("{} {} is {}, {}, units {}", thing, Field(record, 0).number, Text(record, 3),
                     WordOr(Field(record, 2), "type"), WordOr(Field(record, 1), "number"));
}
std::string SpeedDevicePhrase(const Phrases&, const Record& record) {
  return DevicePhrase("speed device", record);
}
std::string RadarDevicePhrase(const Phrases&, const Record& record) {
  return DevicePhrase("radar", record);
}

std::string RadarPhrase(const Phrases& phrases, const Record& record) {
  const std::int64_t radar = Field(record, 0).number;
  std::string text = fmt::format("radar {}: target {}", radar, ReadingWords(Field(record, 1)));
  bool any_speed = Field(record, 1).present && Field(record, 1).word == nullptr;
  constexpr std::pair<std::size_t, const char*> kMore[] = {{2, "locked"}, {3, "fastest"}};
  for (const auto& [index, name] : kMore) {
    if (!IsCarried(record, index)) continue;
    const Value speed = Field(record, index);
    text += fmt::format(", {} {}", name, ReadingWords(speed));
    any_speed |= speed.present && speed.word == nullptr;
  }
  if (any_speed) text += phrases.UnitsOf(KindId::kRadarDevice, radar);
  if (IsCarried(record, 4)) text += fmt::format(", direction bit {}", Field(record, 4).number);
  return text;
}

std::string RadarStatePhrase(const Phrases&, const Record& record) {
  return fmt::format("radar {} {}", Field(record, 0).number,
                     Field(record, 1).number != 0 ? "connected" : "not connected");
}

// Units and people count them by where they sit.
std::string Microphone(const Record& record) {
  const Value position = Field(record, 1);
  return position.present ? fmt::format("microphone {}", position.number)
                          : fmt::format("microphone of stream {}", Field(record, 0).number);
}

std::string MicrophonePhrase(const Phrases& phrases, const Record& record) {
  const Value what = Field(record, 2), value = Field(record, 3);
  const std::string name =
      Microphone(record) + phrases.NameOf(KindId::kMicrophoneName, Field(record, 0).number);
  if (what.word == nullptr)
    return fmt::format("{}: unknown report {}, {}", name, what.number, value.number);
  if (std::string_view(what.word) == "present")
    return name + (value.number != 0 ? " present" : " not present");
  return fmt::format("{} {}", name, OnOff(value));
}

std::string MicrophoneNamePhrase(const Phrases&, const Record& record) {
  return fmt::format("{} is called {}", Microphone(record), Text(record, 2));
}

std::string CameraPhrase(const Phrases& phrases, const Record& record) {
  const std::int64_t port = Field(record, 0).number;
  return fmt::format("camera {}{} {}", port, phrases.NameOf(KindId::kCameraName, port),
                     WordOr(Field(record, 1), "state"));
}

std::string CameraNamePhrase(const Phrases&, const Record& record) {
  return fmt::format("camera {} is called {}", Field(record, 0).number, Text(record, 1));
}

std::string StreamPhrase(const Phrases&, const Record& record) {
  return fmt::format("video stream {} {}", Field(record, 0).number,
                     WordOr(Field(record, 1), "state"));
}

std::string StreamFormatPhrase(const Phrases&, const Record& record) {
  return fmt::format("video stream {} has format {}, shows {}", Field(record, 0).number,
                     WordOr(Field(record, 1), "number"), WordOr(Field(record, 2), "source"));
}

std::string LiveStreamPhrase(const Phrases& phrases, const Record& record) {
  const std::int64_t stream = Field(record, 0).number;
  if (Field(record, 2).number == 0) return fmt::format("live stream {} off", stream);
  const std::int64_t camera = Field(record, 1).number, to = Field(record, 4).number;
  return fmt::format("live stream {} on: camera {}{}, {} quality, to {}.{}.{}.{} port {}", stream,
                     camera, phrases.NameOf(KindId::kCameraName, camera),
                     WordOr(Field(record, 3), "number"), to >> 24 & 0xFF, to >> 16 & 0xFF,
                     to >> 8 & 0xFF, to & 0xFF, Field(record, 5).number);
}

std::string TemperaturePhrase(const Phrases&, const Record& record) {
  return fmt::format("temperature {} {} degrees", WordOr(Field(record, 0), "sensor"),
                     Field(record, 1).number);
}

std::string TemperatureSensorPhrase(const Phrases&, const Record& record) {
  return fmt::format("temperature sensor {} is called {}", WordOr(Field(record, 0), "number"),
                     Text(record, 1));
}

std::string VoltagePhrase(const Phrases&, const Record& record) {
  return fmt::format("supply voltage {} %", Field(record, 0).number);
}

std::string TickAdjustPhrase(const Phrases&, const Record& record) {
  return fmt::format("what comes next happened {} ticks earlier", Field(record, 0).number);
}

// A text alone, a few words alone, or a function of the record.
struct Wording {
  KindId kind;
  const char* words;
  std::string (*phrase)(const Phrases&, const Record&);
};

// In the order of KindId.
constexpr Wording kWordings[] = {
    {KindId::kTime, nullptr, TimePhrase},
    {KindId::kTimeZone, "time zone", nullptr},
    {KindId::kTimeZoneName, "time zone shown as", nullptr},
    {KindId::kMac, nullptr, MacPhrase},
    {KindId::kOfficer, "officer", nullptr},
    {KindId::kBadge, "badge", nullptr},
    {KindId::kDepartment, "department", nullptr},
    {KindId::kVehicle, "vehicle", nullptr},
    {KindId::kSerialNumber, "serial number", nullptr},
    {KindId::kVersion, nullptr, VersionPhrase},
    {KindId::kPolicy, nullptr, PolicyPhrase},
    {KindId::kConfigurationEnd, "end of the settings", nullptr},
    {KindId::kInput, nullptr, InputPhrase},
    {KindId::kButton, nullptr, ButtonPhrase},
    {KindId::kBookmark, "bookmark", nullptr},
    {KindId::kPosition, nullptr, PositionPhrase},
    {KindId::kGpsReceiver, "GPS receiver", nullptr},
    {KindId::kGpsState, nullptr, GpsStatePhrase},
    {KindId::kSpeed, nullptr, SpeedPhrase},
    {KindId::kSpeedDevice, nullptr, SpeedDevicePhrase},
    {KindId::kRadar, nullptr, RadarPhrase},
    {KindId::kRadarDevice, nullptr, RadarDevicePhrase},
    {KindId::kRadarState, nullptr, RadarStatePhrase},
    {KindId::kMicrophone, nullptr, MicrophonePhrase},
    {KindId::kMicrophoneName, nullptr, MicrophoneNamePhrase},
    {KindId::kCamera, nullptr, CameraPhrase},
    {KindId::kCameraName, nullptr, CameraNamePhrase},
    {KindId::kStream, nullptr, StreamPhrase},
    {KindId::kStreamFormat, nullptr, StreamFormatPhrase},
    {KindId::kLiveStream, nullptr, LiveStreamPhrase},
    {KindId::kTemperature, nullptr, TemperaturePhrase},
    {KindId::kTemperatureSensor, nullptr, TemperatureSensorPhrase},
    {KindId::kVoltage, nullptr, VoltagePhrase},
    {KindId::kLog, "log", nullptr},
    {KindId::kTest, "test", nullptr},
    {KindId::kTickAdjust, nullptr, TickAdjustPhrase},
    {KindId::kEndOfStream, "end of the stream", nullptr},
};
static_assert(std::size(kWordings) == records::kKindCount);

constexpr bool IsInOrder() {
  for (std::size_t i = 0; i < std::size(kWordings); ++i)
    if (static_cast<std::size_t>(kWordings[i].kind) != i) return false;
  return true;
}
static_assert(IsInOrder());

std::string StartBytes() {
  std::string bytes;
  const auto add = [&bytes](std::initializer_list<int> item) {
    for (const int byte : item) bytes += static_cast<char>(byte);
  };
  for (const int stream : {0, 1, 2, 3}) add({TAG_VIDEO_STREAM_STATE, stream << 4});
  for (const int microphone : {1, 2, 0, 3}) {
    add({TAG_MIC_DATA, microphone, 1, 0});
    add({TAG_MIC_DATA, microphone, 2, 0});
  }
  for (const int camera : {0, 1, 2, 3}) add({TAG_CAMERA_STATE, camera << 4});
  return bytes;
}

std::string AxisText(std::int32_t tts, char positive, char negative) {
  return fmt::format("{:.5f} {}", std::abs(records::DegreesOf(tts)), tts < 0 ? negative : positive);
}

}  // namespace

std::string ReadingWords(const Value& value) {
  if (!value.present) return "not present";
  if (value.word == nullptr) return fmt::format("{}", value.number);
  for (const Status& status : kStatuses)
    if (status.word == value.word) return status.meaning;
  return value.word;
}

std::string EscapedText(std::string_view text) { return Escaped(text, false); }

std::string QuotedText(std::string_view text) { return '"' + Escaped(text, true) + '"'; }

std::string Counted(std::uint64_t count, std::string_view thing) {
  return fmt::format("{} {}{}", count, thing, count == 1 ? "" : "s");
}

std::string DurationText(std::int64_t us) {
  us = std::llabs(us);
  if (us < kSecond_us)
    return us == 0 ? "0 s" : fmt::format("{:.1f} s", static_cast<double>(us) / 1e6);
  const std::int64_t seconds = us / kSecond_us;
  const std::int64_t days = seconds / 86400;
  const bool half = seconds < 60 && us % kSecond_us != 0;
  std::string text = days > 0 ? Counted(static_cast<std::uint64_t>(days), "day") : "";
  const std::pair<std::int64_t, const char*> parts[] = {
      {seconds / 3600 % 24, "h"}, {seconds / 60 % 60, "min"}, {days > 0 ? 0 : seconds % 60, "s"}};
  for (const auto& [count, unit] : parts)
    if (count > 0)
      text += fmt::format("{}{}{} {}", text.empty() ? "" : " ", count,
                          half && *unit == 's' ? ".5" : "", unit);
  return text;
}

std::string ExactDurationText(std::int64_t us) {
  us = std::llabs(us);
  const std::int64_t seconds = us / kSecond_us;
  const std::int64_t minutes = seconds / 60;
  const bool half = us % kSecond_us != 0;
  if (minutes == 0) return DurationText(us);
  std::string text = DurationText(minutes * 60 * kSecond_us);
  if (half)
    text += fmt::format(" {:.1f} s", static_cast<double>(us % (60 * kSecond_us)) / 1e6);
  else if (seconds % 60 > 0)
    text += fmt::format(" {} s", seconds % 60);
  return text;
}

std::string PositionText(const Position& position) {
  return AxisText(position.latitude_tts, 'N', 'S') + ' ' +
         AxisText(position.longitude_tts, 'E', 'W');
}

std::string MacText(std::string_view bytes) {
  std::string text;
  for (const char byte : bytes)
    text += fmt::format("{}{:02X}", text.empty() ? "" : ":", static_cast<unsigned char>(byte));
  return text;
}

std::string SpeedDeviceName(std::int64_t device) {
  switch (device) {
    case kGpsSpeedId:
      return "GPS";
    case kRadarSpeedId:
      return "radar patrol";
    default:
      return fmt::format("device {}", device);
  }
}

std::string SpeedUnitsText(std::int64_t units) {
  switch (units) {
    case SPEED_UNITS_KMH:
      return "km/h";
    case SPEED_UNITS_MPH:
      return "mph";
    case SPEED_UNITS_AS_ON_RADAR:
      return "unit as set on the radar";
    default:
      return {};
  }
}

void Phrases::Learn(const Record& record) {
  if (!record.crc_right) return;
  const KindId kind = record.kind->id;
  const auto key = [&] { return std::make_pair(kind, Field(record, 0).number); };
  if (kind == KindId::kCameraName) names_[key()] = Field(record, 1).text;
  if (kind == KindId::kMicrophoneName) names_[key()] = Field(record, 2).text;
  if (kind == KindId::kSpeedDevice || kind == KindId::kRadarDevice)
    units_[key()] = Field(record, 1).number;
}

void Phrases::Forget() {
  names_.clear();
  units_.clear();
}

std::string Phrases::NameOf(KindId kind, std::int64_t number) const {
  const auto told = names_.find({kind, number});
  return told == names_.end() ? "" : AsName(told->second);
}

std::string Phrases::UnitsOf(KindId kind, std::int64_t device) const {
  const auto told = units_.find({kind, device});
  if (told == units_.end()) return {};
  const std::string text = SpeedUnitsText(told->second);
  if (text.empty()) return {};
  return told->second == SPEED_UNITS_AS_ON_RADAR ? fmt::format(" ({})", text) : " " + text;
}

std::string Phrases::Of(const Record& record) const {
  const Wording& wording = kWordings[static_cast<std::size_t>(record.kind->id)];
  if (wording.phrase != nullptr) return wording.phrase(*this, record);
  if (record.kind->field_count == 0) return wording.words;
  return fmt::format("{} {}", wording.words, Text(record, 0));
}

const std::string& UnitStartBytes() {
  static const std::string kBytes = StartBytes();
  return kBytes;
}

bool IsWorthNaming(const Record& record) {
  switch (record.kind->id) {
    case KindId::kInput:
      return Field(record, 1).number != 0;
    case KindId::kMicrophone:
      return Field(record, 3).number != 0;
    case KindId::kCamera:
    case KindId::kStream:
    case KindId::kRadarState:
      return Field(record, 1).number != 0;
    case KindId::kLiveStream:
      return Field(record, 2).number != 0;
    case KindId::kOfficer:
    case KindId::kBadge:
    case KindId::kDepartment:
    case KindId::kVehicle:
      return !Field(record, 0).text.empty();
    case KindId::kPosition:
    case KindId::kGpsState:
    case KindId::kSpeed:
    case KindId::kRadar:
    case KindId::kTemperature:
    case KindId::kVoltage:
      return true;
    default:
      return record.kind->use == records::KindUse::kEvent;
  }
}

}  // namespace vmr::tool
