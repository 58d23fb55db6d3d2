#include "records/kinds.h"

#include <array>
#include <cstring>
#include <iterator>

#include "host/enum_to_string.h"
#include "store/identity.h"
#include "store/inputs.h"
#include "store/policy.h"
#include "store/radar.h"
#include "store/stream_format.h"
#include "store/tag_catalogue.h"

namespace vmr::records {
namespace {

// ---- Words -----------------------------------------------------------------------

template <std::size_t N>
const char* Nth(const char* const (&words)[N], std::int64_t number) {
  return number >= 0 && number < static_cast<std::int64_t>(N) ? words[number] : nullptr;
}

// By half its two tags: "on" is the even one, "off" one more.
const char* InputWord(std::int64_t half_tag) {
  for (const DiscreteInput& input : kDiscreteInputs)
    if (input.on_tag / 2 == half_tag)
      // The listing's "auxillary" is kept there for who reads listings by program.
      return input.on_tag == TAG_AUX_INPUT_ON ? "auxiliary input" : FindTag(input.on_tag)->name;
  return nullptr;
}

const char* PolicyWord(std::int64_t id) {
  const char* const name = PolicyName(static_cast<e_CONFIG_LIST>(id));
  return std::strcmp(name, "(unknown)") == 0 ? nullptr : name;
}

const char* ComponentWord(std::int64_t component) {
  return component >= 0 && component < kComponentCount
             ? ComponentName(static_cast<e_COMPONENT>(component))
             : nullptr;
}

const char* ButtonWord(std::int64_t button) {
  static constexpr const char* kWords[] = {"power", "record", "backlight"};
  return Nth(kWords, button);
}

const char* ActionWord(std::int64_t action) {
  static constexpr const char* kWords[] = {"pressed", "long pressed", "released"};
  return Nth(kWords, action);
}

const char* StateWord(std::int64_t state) {
  static constexpr const char* kWords[] = {"off", "on", "background"};
  return Nth(kWords, state);
}

const char* QualityWord(std::int64_t quality) {
  static constexpr const char* kWords[] = {"low", "high", "high", "high"};
  return Nth(kWords, quality);
}

// What a radar shows instead of a speed.
const char* StatusWord(std::int64_t reading) {
  static constexpr const char* kWords[] = {"TST", "ERR", "BLANK", "BAD"};
  return Nth(kWords, reading - 252);
}

const char* SpeedTypeWord(std::int64_t type) {
  static constexpr const char* kWords[] = {"disconnected", "gps", "radar"};
  return Nth(kWords, type);
}

const char* RadarTypeWord(std::int64_t type) {
  static constexpr const char* kWords[] = {"disconnected", "generic"};
  return Nth(kWords, type);
}

const char* UnitsWord(std::int64_t units) {
  return units >= SPEED_UNITS_NONE && units <= SPEED_UNITS_AS_ON_RADAR
             ? EnumToString::SpeedUnitsToStr(static_cast<int>(units))
             : nullptr;
}

const char* SensorWord(std::int64_t sensor) {
  static constexpr const char* kWords[] = {"inlet", "outlet", "power", "cpu"};
  return Nth(kWords, sensor);
}

const char* FormatWord(std::int64_t format) {
  static constexpr const char* kWords[] = {"none", "D1", "CIF", "QCIF", "720p", "1080p"};
  return Nth(kWords, format);
}

const char* SplitWord(std::int64_t camera) {
  static constexpr const char* kWords[] = {"port 0", "port 1",       "port 2",
                                           "port 3", "split screen", "none"};
  return Nth(kWords, camera);
}

const char* MicWord(std::int64_t what) {
  static constexpr const char* kWords[] = {nullptr, "present", "on"};
  return Nth(kWords, what);
}

// ---- What is given away ----------------------------------------------------------

constexpr SensitivityRow kSensitivities[] = {
    {Sensitivity::kIdentity, "identity", "who it was, and in which vehicle with which unit"},
    {Sensitivity::kGps, "gps", "where the vehicle was, and what its way can be reckoned from"},
    {Sensitivity::kText, "text", "free texts"},
    {Sensitivity::kRadar, "radar", "what radars showed"},
    {Sensitivity::kSpeed, "speed", "how fast the vehicle was"},
    {Sensitivity::kAudio, "audio", "which microphones were on"},
    {Sensitivity::kCameras, "cameras", "which cameras were on, and where they looked"},
    {Sensitivity::kStreams, "streams", "which video was recorded or sent"},
    {Sensitivity::kInputs, "inputs", "what was switched, pressed or marked, and the supply"},
    {Sensitivity::kTemperature, "temperature", "temperatures in the unit"},
};
static_assert(std::size(kSensitivities) == kSensitivityCount - 1);

// ---- Kinds -----------------------------------------------------------------------

using F = FieldType;
using U = KindUse;
using K = KindId;
using S = Sensitivity;

constexpr FieldRow kTextField{"text", F::kText, "", "the text as recorded"};

// A device's: people give such names.
constexpr FieldRow kNameField{"text", F::kText, "", "the text as recorded", nullptr, S::kIdentity};

constexpr KindRow Text(KindId id, Sensitivity sensitivity, const char* name, const char* what,
                       KindUse use = U::kState) {
  return {id, name, what, use, sensitivity, 0, 1, {kTextField}};
}

// In the order of KindId.
constexpr KindRow kKinds[] = {
    {K::kTime,
     "time",
     "what the unit's clock showed",
     U::kFraming,
     S::kNone,
     0,
     1,
     {{"clock", F::kTime, "", "the unit's clock, UTC"}}},
    Text(K::kTimeZone, S::kGps, "time_zone", "time zone, a name such as America/Chicago"),
    Text(K::kTimeZoneName, S::kGps, "time_zone_name", "time zone as the unit shows it"),
    {K::kMac,
     "mac",
     "the unit's network address",
     U::kState,
     S::kIdentity,
     0,
     1,
     {{"mac", F::kMac, "", "MAC address"}}},
    Text(K::kOfficer, S::kIdentity, "officer", "officer's name"),
    Text(K::kBadge, S::kIdentity, "badge", "officer's badge"),
    Text(K::kDepartment, S::kIdentity, "department", "department"),
    Text(K::kVehicle, S::kIdentity, "vehicle", "vehicle"),
    Text(K::kSerialNumber, S::kIdentity, "serial_number", "the unit's serial number"),
    {K::kVersion,
     "version",
     "version of a component of the unit",
     U::kState,
     S::kIdentity,
     1,
     2,
     {{"component", F::kWord, "", "which component", ComponentWord}, kTextField}},
    {K::kPolicy,
     "policy",
     "a setting of the unit",
     U::kState,
     S::kNone,
     1,
     2,
     {{"policy", F::kWord, "", "which setting", PolicyWord},
      {"value", F::kNumber, "", "0 no, 1 yes, or the number's low byte"}}},
    {K::kConfigurationEnd,
     "configuration_end",
     "end of the unit's settings",
     U::kFraming,
     S::kNone,
     0,
     0,
     {}},
    {K::kInput,
     "input",
     "an input went on or off",
     U::kState,
     S::kInputs,
     1,
     2,
     {{"input", F::kWord, "", "which input", InputWord}, {"on", F::kFlag, "", "it is on"}}},
    {K::kButton,
     "button",
     "a button was used",
     U::kEvent,
     S::kInputs,
     0,
     2,
     {{"button", F::kWord, "", "which button", ButtonWord},
      {"action", F::kWord, "", "what was done", ActionWord}}},
    {K::kBookmark, "bookmark", "a moment was marked", U::kEvent, S::kInputs, 0, 0, {}},
    {K::kPosition,
     "position",
     "where the vehicle is",
     U::kState,
     S::kGps,
     0,
     3,
     {{"latitude", F::kLatitude, "degrees", "north positive"},
      {"longitude", F::kLongitude, "degrees", "east positive"},
      {"absolute", F::kFlag, "", "recorded whole, not as a way from the last position"}}},
    {K::kGpsReceiver,
     "gps_receiver",
     "the receiver's name",
     U::kState,
     S::kGps,
     0,
     1,
     {kNameField}},
    {K::kGpsState,
     "gps_state",
     "whether the receiver delivers positions",
     U::kState,
     S::kGps,
     0,
     1,
     {{"available", F::kFlag, "", "it does"}}},
    {K::kSpeed,
     "speed",
     "a speed",
     U::kState,
     S::kSpeed,
     1,
     2,
     {{"device", F::kNumber, "", "1 GPS, 2 radar; see speed_device"},
      {"speed", F::kReading, "", "in the device's units", StatusWord, S::kGps}}},
    {K::kSpeedDevice,
     "speed_device",
     "what a device for speeds is",
     U::kState,
     S::kSpeed,
     1,
     4,
     {{"device", F::kNumber, "", "its number"},
      {"units", F::kWord, "", "units of its speeds", UnitsWord},
      {"type", F::kWord, "", "what it is", SpeedTypeWord},
      kNameField}},
    {K::kRadar,
     "radar",
     "a radar's reading",
     U::kState,
     S::kRadar,
     1,
     5,
     {{"radar", F::kNumber, "", "its number"},
      {"target", F::kReading, "", "target's speed, in the radar's units", StatusWord},
      {"lock", F::kReading, "", "locked speed", StatusWord},
      {"fastest", F::kReading, "", "fastest speed", StatusWord},
      {"direction", F::kNumber, "", "the direction's lowest bit"}}},
    {K::kRadarDevice,
     "radar_device",
     "what a radar is",
     U::kState,
     S::kRadar,
     1,
     4,
     {{"radar", F::kNumber, "", "its number"},
      {"units", F::kWord, "", "units of its speeds", UnitsWord},
      {"type", F::kWord, "", "what it is", RadarTypeWord},
      kNameField}},
    {K::kRadarState,
     "radar_state",
     "whether a radar is connected",
     U::kState,
     S::kRadar,
     1,
     2,
     {{"radar", F::kNumber, "", "its number"}, {"connected", F::kFlag, "", "it is connected"}}},
    {K::kMicrophone,
     "microphone",
     "a microphone came, went, or was switched",
     U::kState,
     S::kAudio,
     3,
     4,
     {{"stream_number", F::kNumber, "", "the microphone as recordings number it"},
      {"position", F::kNumber, "", "the microphone as units number it"},
      {"what", F::kWord, "", "what is told of it", MicWord},
      {"value", F::kFlag, "", "whether it is so"}}},
    {K::kMicrophoneName,
     "microphone_name",
     "a microphone's name",
     U::kState,
     S::kAudio,
     2,
     3,
     {{"stream_number", F::kNumber, "", "the microphone as recordings number it"},
      {"position", F::kNumber, "", "the microphone as units number it"},
      kNameField}},
    {K::kCamera,
     "camera",
     "a camera was switched",
     U::kState,
     S::kCameras,
     1,
     2,
     {{"port", F::kNumber, "", "camera port, from 0"}, {"state", F::kWord, "", "", StateWord}}},
    {K::kCameraName,
     "camera_name",
     "where a camera looks",
     U::kState,
     S::kCameras,
     1,
     2,
     {{"port", F::kNumber, "", "camera port, from 0"}, kNameField}},
    {K::kStream,
     "stream",
     "recording of a video stream was switched",
     U::kState,
     S::kStreams,
     1,
     2,
     {{"stream", F::kNumber, "", "from 0"}, {"state", F::kWord, "", "", StateWord}}},
    {K::kStreamFormat,
     "stream_format",
     "format of a video stream",
     U::kState,
     S::kStreams,
     1,
     3,
     {{"stream", F::kNumber, "", "from 0"},
      {"format", F::kWord, "", "", FormatWord},
      {"camera", F::kWord, "", "what it shows", SplitWord, S::kCameras}}},
    {K::kLiveStream,
     "live_stream",
     "a stream over the network was switched",
     U::kState,
     S::kStreams,
     1,
     6,
     {{"stream", F::kNumber, "", "from 0"},
      {"camera", F::kNumber, "", "camera port", nullptr, S::kCameras},
      {"enabled", F::kFlag, "", "it runs"},
      {"quality", F::kWord, "", "", QualityWord},
      {"address", F::kAddress, "", "where it goes, IPv4", nullptr, S::kIdentity},
      {"port", F::kNumber, "", "where it goes", nullptr, S::kIdentity}}},
    {K::kTemperature,
     "temperature",
     "a temperature in the unit",
     U::kState,
     S::kTemperature,
     1,
     2,
     {{"sensor", F::kWord, "", "where", SensorWord},
      {"temperature", F::kNumber, "degrees", "as the sensor counts them"}}},
    {K::kTemperatureSensor,
     "temperature_sensor",
     "name of a sensor",
     U::kState,
     S::kTemperature,
     1,
     2,
     {{"sensor", F::kWord, "", "where", SensorWord}, kNameField}},
    {K::kVoltage,
     "voltage",
     "the supply's voltage",
     U::kState,
     S::kInputs,
     0,
     1,
     {{"percent", F::kNumber, "%", "of what it should be"}}},
    Text(K::kLog, S::kText, "log", "a free text", U::kEvent),
    Text(K::kTest, S::kText, "test", "a free text, of a test", U::kEvent),
    {K::kTickAdjust,
     "tick_adjust",
     "the next record is of an earlier tick",
     U::kFraming,
     S::kNone,
     0,
     1,
     {{"ticks", F::kNumber, "ticks", "so much earlier, modulo 256"}}},
    {K::kEndOfStream, "end_of_stream", "the recording ends here", U::kFraming, S::kNone, 0, 0, {}},
};
static_assert(std::size(kKinds) == kKindCount);

// ---- Shapes ----------------------------------------------------------------------

constexpr FieldPlace Byte(unsigned char offset) { return {Order::kByte, offset}; }
constexpr FieldPlace Bits(unsigned char offset, unsigned char shift, unsigned char bits) {
  return {Order::kByte, offset, shift, bits};
}
// What the tag itself says: how far it lies above `base`.
constexpr FieldPlace Above(unsigned char base) {
  return {Order::kByte, 0, 0, 0, false, static_cast<std::int16_t>(-base)};
}
constexpr FieldPlace Tail(unsigned char head_bytes) { return {Order::kText, head_bytes}; }
constexpr FieldPlace Computed(unsigned char offset = 0) { return {Order::kComputed, offset}; }
constexpr FieldPlace kAbsent{};

// Ten bits of a radar's speed. 1023 is what a speed that is not there is recorded as.
constexpr FieldPlace Speed10(unsigned char offset, unsigned char shift) {
  FieldPlace place{Order::kSplit10, offset, shift};
  place.absent = kSpeedNotPresent & 0x3FF;
  return place;
}
constexpr FieldPlace Signed8(unsigned char offset) { return {Order::kByte, offset, 0, 0, true}; }
constexpr FieldPlace kHalfTag{Order::kByte, 0, 1, 7};
constexpr FieldPlace OnFlag() {
  FieldPlace place = Bits(0, 0, 1);
  place.inverted = true;
  return place;
}
constexpr FieldPlace OneFlag(FieldPlace place) {
  place.only_one = true;
  return place;
}

constexpr Shape TextShape(unsigned char tag, KindId kind) { return {tag, tag, kind, {Tail(2)}}; }
constexpr Shape One(unsigned char tag, KindId kind) { return {tag, tag, kind, {}}; }

constexpr unsigned char Last(unsigned char first, unsigned char count) {
  return static_cast<unsigned char>(first + count - 1);
}

constexpr Shape kShapes[] = {
    {TAG_MAC, TAG_MAC, K::kMac, {{Order::kSixBytes, 2}}},
    {TAG_TIME, TAG_TIME, K::kTime, {{Order::kLe32, 1, 0, 0, true}}},
    TextShape(TAG_TIME_ZONE_NAME, K::kTimeZoneName),
    TextShape(TAG_OFFICER, K::kOfficer),
    TextShape(TAG_DEPARTMENT, K::kDepartment),
    TextShape(TAG_VEHICLE, K::kVehicle),
    TextShape(TAG_BADGE_ID, K::kBadge),
    {TAG_VERSION, TAG_VERSION, K::kVersion, {Byte(1), Tail(3)}},
    TextShape(TAG_SERIAL_NUM, K::kSerialNumber),
    TextShape(TAG_TIME_ZONE, K::kTimeZone),
    {TAG_POLICY_8, TAG_POLICY_8, K::kPolicy, {Byte(1), Byte(2)}},
    {TAG_POLICY_16, TAG_POLICY_16, K::kPolicy, {Byte(1), {Order::kLe16, 2}}},
    One(TAG_POLICY_END, K::kConfigurationEnd),
    TextShape(TAG_LOG, K::kLog),
    {TAG_TICK_ADJUST, TAG_TICK_ADJUST, K::kTickAdjust, {Byte(1)}},
    {TAG_EMERGENCY_LIGHTS_ON, TAG_RECORDING_OFF, K::kInput, {kHalfTag, OnFlag()}},
    {TAG_DOCKED_ON, TAG_DOCKED_OFF, K::kInput, {kHalfTag, OnFlag()}},
    {TAG_CAMERA_DESC, TAG_CAMERA_DESC, K::kCameraName, {Byte(1), Tail(3)}},
    {TAG_CAMERA_STATE, TAG_CAMERA_STATE, K::kCamera, {Bits(1, 4, 4), Bits(1, 0, 4)}},
    {TAG_VIDEO_STREAM_FORMAT,
     TAG_VIDEO_STREAM_FORMAT,
     K::kStreamFormat,
     {Bits(1, 4, 4), Bits(1, 0, 4), Bits(2, 4, 4)}},
    {TAG_VIDEO_STREAM_STATE, TAG_VIDEO_STREAM_STATE, K::kStream, {Bits(1, 4, 4), Bits(1, 0, 4)}},
    One(TAG_BOOKMARK, K::kBookmark),
    {TAG_MIC_DESC, TAG_MIC_DESC, K::kMicrophoneName, {Byte(1), Computed(1), Tail(5)}},
    {TAG_MIC_DATA, TAG_MIC_DATA, K::kMicrophone, {Byte(1), Computed(1), Byte(2), Byte(3)}},
    {TAG_RADAR_DESC,
     TAG_RADAR_DESC,
     K::kRadarDevice,
     {Byte(1), Bits(2, 5, 3), Bits(2, 0, 5), Tail(4)}},
    {TAG_RADAR_DATA,
     Last(TAG_RADAR_DATA, 7),
     K::kRadar,
     {Above(TAG_RADAR_DATA - 1), Speed10(4, 1), Speed10(2, 5), Speed10(3, 3), Bits(1, 7, 1)}},
    {TAG_RADAR_TARGET,
     Last(TAG_RADAR_TARGET, 7),
     K::kRadar,
     {Above(TAG_RADAR_TARGET - 1), Byte(1), kAbsent, kAbsent, kAbsent}},
    {TAG_RADAR_STATE, TAG_RADAR_STATE, K::kRadarState, {Bits(1, 0, 5), OneFlag(Bits(1, 5, 3))}},
    {TAG_SPEED_DESC,
     TAG_SPEED_DESC,
     K::kSpeedDevice,
     {Byte(1), Bits(2, 5, 3), Bits(2, 0, 5), Tail(4)}},
    {TAG_SPEED_8, Last(TAG_SPEED_8, 7), K::kSpeed, {Above(TAG_SPEED_8 - 1), Byte(1)}},
    {TAG_SPEED_16, Last(TAG_SPEED_16, 7), K::kSpeed, {Above(TAG_SPEED_16 - 1), {Order::kLe16, 1}}},
    {TAG_GPS_DESC, TAG_GPS_DESC, K::kGpsReceiver, {Tail(3)}},
    {TAG_GPS_ABS, TAG_GPS_REL16, K::kPosition, {Computed(), Computed(), Computed()}},
    {TAG_GPS_STATE, TAG_GPS_STATE, K::kGpsState, {OneFlag(Byte(1))}},
    {TAG_LVS_STATE,
     TAG_LVS_STATE,
     K::kLiveStream,
     {Bits(1, 4, 4), Byte(8), Bits(1, 0, 2), Bits(1, 2, 2), {Order::kBe32, 4}, {Order::kBe16, 2}}},
    {TAG_BUTTON, TAG_BUTTON, K::kButton, {Byte(1), Byte(2)}},
    {TAG_VOLT_PERCENT, TAG_VOLT_PERCENT, K::kVoltage, {Byte(1)}},
    {TAG_TEMP_DESC, TAG_TEMP_DESC, K::kTemperatureSensor, {Byte(1), Tail(3)}},
    {TAG_TEMP, Last(TAG_TEMP, 4), K::kTemperature, {Above(TAG_TEMP), Signed8(1)}},
    One(TAG_EOS, K::kEndOfStream),
    TextShape(TAG_TEST, K::kTest),
};

constexpr std::array<const Shape*, 256> ShapesByTag() {
  std::array<const Shape*, 256> by_tag{};
  for (const Shape& shape : kShapes)
    for (unsigned int tag = shape.first_tag; tag <= shape.last_tag; ++tag) by_tag[tag] = &shape;
  return by_tag;
}
constexpr std::array<const Shape*, 256> kShapesByTag = ShapesByTag();

}  // namespace

const KindRow* const kKindRows = kKinds;
const Shape* const* const kShapeOfTag = kShapesByTag.data();

const KindTable& Kinds() {
  static constexpr KindTable kTable{kKinds, std::size(kKinds)};
  return kTable;
}

const SensitivityTable& Sensitivities() {
  static constexpr SensitivityTable kTable{kSensitivities, std::size(kSensitivities)};
  return kTable;
}

const char* NameOf(Sensitivity sensitivity) {
  for (const SensitivityRow& row : kSensitivities)
    if (row.id == sensitivity) return row.name;
  return "";
}

bool GivesAway(const KindRow& kind, Sensitivity sensitivity) {
  if (kind.sensitivity == sensitivity) return true;
  for (std::size_t i = 0; i < kind.field_count; ++i)
    if (kind.fields[i].sensitivity == sensitivity) return true;
  return false;
}

const KindRow* FindKind(const char* name) {
  for (const KindRow& kind : kKinds)
    if (std::strcmp(kind.name, name) == 0) return &kind;
  return nullptr;
}

const ShapeTable& Shapes() {
  static constexpr ShapeTable kTable{kShapes, std::size(kShapes)};
  return kTable;
}

}  // namespace vmr::records
