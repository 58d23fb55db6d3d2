#include "store/tag_catalogue.h"

#include <array>
#include <iterator>

#include "store/data_store.h"
#include "store/decoders.h"
#include "store/view_text.h"

namespace vmr {
namespace {

constexpr unsigned char kOnOffBytes = 1;

constexpr TagRow Fixed(e_Tag tag, const char* name, std::size_t size, ItemDecoder decoder) {
  return {tag, name, static_cast<unsigned char>(size), false, true, decoder};
}

constexpr TagRow Text(e_Tag tag, const char* name, std::size_t head, ItemDecoder decoder) {
  return {tag, name, static_cast<unsigned char>(head), true, true, decoder};
}

constexpr TagRow OnOff(e_Tag tag, const char* name) {
  return Fixed(tag, name, kOnOffBytes, DecodeDiscreteInput);
}

// Deliberate: the dictionary has gaps. Readers in the field know it as it is.
constexpr TagRow Unlisted(TagRow row) {
  row.listed = false;
  return row;
}

constexpr e_Tag Nth(e_Tag first, unsigned int n) { return static_cast<e_Tag>(first + n); }

constexpr TagRow Speed8(unsigned int n) {
  return Fixed(Nth(TAG_SPEED_8, n), "speed", kSpeed8Bytes, DecodeSpeed8);
}
constexpr TagRow Speed16(unsigned int n) {
  return Fixed(Nth(TAG_SPEED_16, n), "speed", kSpeed16Bytes, DecodeSpeed16);
}
constexpr TagRow RadarData(unsigned int n) {
  return Fixed(Nth(TAG_RADAR_DATA, n), "RadarData", kRadarDataBytes, DecodeRadarData);
}
constexpr TagRow RadarTarget(unsigned int n) {
  return Fixed(Nth(TAG_RADAR_TARGET, n), "RadarTarget", kRadarTargetBytes, DecodeRadarTarget);
}

constexpr TagRow kRows[] = {
    Fixed(TAG_MAC, "mac", kMacItemBytes, DecodeMac),
    Fixed(TAG_TIME, "time", kTimeBytes, DecodeTime),
    Text(TAG_TIME_ZONE, "time zone", kStringHeadBytes, DecodeString),
    Text(TAG_OFFICER, "officer", kStringHeadBytes, DecodeString),
    Text(TAG_DEPARTMENT, "department", kStringHeadBytes, DecodeString),
    Text(TAG_VEHICLE, "vehicle", kStringHeadBytes, DecodeString),
    Text(TAG_BADGE_ID, "badgeId", kStringHeadBytes, DecodeString),
    Text(TAG_VERSION, "version", kVersionHeadBytes, DecodeVersion),
    Text(TAG_SERIAL_NUM, "system serial num", kStringHeadBytes, DecodeString),
    Fixed(TAG_POLICY_8, "Policy8", kPolicy8Bytes, DecodePolicy8),
    Fixed(TAG_POLICY_END, "end", kPolicyEndBytes, DecodePolicyEnd),
    Text(TAG_LOG, "log", kStringHeadBytes, DecodeString),
    Fixed(TAG_TICK_ADJUST, "TICK ADJUST", 2, DecodeTickAdjust),
    OnOff(TAG_EMERGENCY_LIGHTS_ON, "emergency lights"),
    OnOff(TAG_EMERGENCY_LIGHTS_OFF, "emergency lights"),
    OnOff(TAG_SIREN_ON, "siren"),
    OnOff(TAG_SIREN_OFF, "siren"),
    OnOff(TAG_BRAKE_ON, "brake"),
    OnOff(TAG_BRAKE_OFF, "brake"),
    Fixed(TAG_COVERT_ON, "covert", kOnOffBytes, DecodeCovertOn),
    OnOff(TAG_COVERT_OFF, "covert"),
    // Deliberate: "auxillary", as recordings have always been printed.
    OnOff(TAG_AUX_INPUT_ON, "auxillary input"),
    OnOff(TAG_AUX_INPUT_OFF, "auxillary input"),
    OnOff(TAG_DOOR_ON, "door"),
    OnOff(TAG_DOOR_OFF, "door"),
    OnOff(TAG_IGNITION_ON, "ignition"),
    OnOff(TAG_IGNITION_OFF, "ignition"),
    OnOff(TAG_RECORDING_ON, "recording"),
    OnOff(TAG_RECORDING_OFF, "recording"),
    OnOff(TAG_SYSTEM_POWER_ON, "system power"),
    OnOff(TAG_SYSTEM_POWER_OFF, "system power"),
    OnOff(TAG_ACCIDENT_DETECT_ON, "accident detect"),
    OnOff(TAG_ACCIDENT_DETECT_OFF, "accident detect"),
    Text(TAG_MIC_DESC, "MicDesc", kMicDescHeadBytes, DecodeMicDesc),
    Fixed(TAG_MIC_DATA, "MicData", kMicDataBytes, DecodeMicData),
    Fixed(TAG_VIDEO_STREAM_FORMAT, "VideoStreamFormat", kVideoStreamFormatBytes,
          DecodeVideoStreamFormat),
    Fixed(TAG_VIDEO_STREAM_STATE, "VideoStreamState", kCameraStateBytes, DecodeVideoStreamState),
    Text(TAG_RADAR_DESC, "RadarDesc", kRadarDescHeadBytes, DecodeRadarDesc),
    RadarData(0),
    RadarTarget(0),
    Fixed(TAG_RADAR_STATE, "RadarState", kRadarStateBytes, DecodeRadarState),
    Text(TAG_SPEED_DESC, "SpeedDesc", kSpeedDescHeadBytes, DecodeSpeedDesc),
    Speed8(0),
    Speed8(1),
    Speed8(2),
    Speed8(3),
    Speed8(4),
    Speed8(5),
    Speed16(0),
    Speed16(1),
    Speed16(2),
    Speed16(3),
    Speed16(4),
    Speed16(5),
    Text(TAG_GPS_DESC, "GpsDesc", kGpsDescHeadBytes, DecodeGpsDesc),
    Fixed(TAG_GPS_ABS, "GpsAbs", kGpsAbsBytes, DecodeGpsAbs),
    Fixed(TAG_GPS_REL8, "GpsRel8", kGpsRel8Bytes, DecodeGpsRel8),
    Fixed(TAG_GPS_REL16, "GpsRel16", kGpsRel16Bytes, DecodeGpsRel16),
    Fixed(TAG_GPS_STATE, "GpsState", kGpsStateBytes, DecodeGpsState),
    Text(TAG_TEMP_DESC, "TempDesc", kTempDescHeadBytes, DecodeTempDesc),
    Fixed(Nth(TAG_TEMP, 0), "Temp", kTempBytes, DecodeTemp),
    Fixed(Nth(TAG_TEMP, 1), "Temp", kTempBytes, DecodeTemp),
    Fixed(Nth(TAG_TEMP, 2), "Temp", kTempBytes, DecodeTemp),
    Fixed(Nth(TAG_TEMP, 3), "Temp", kTempBytes, DecodeTemp),
    Fixed(TAG_EOS, "EOS", 1, DecodeEndOfStream),
    Text(TAG_CAMERA_DESC, "CameraDesc", kCameraDescHeadBytes, DecodeCameraDesc),
    Fixed(TAG_CAMERA_STATE, "CameraState", kCameraStateBytes, DecodeCameraState),
    Text(TAG_TEST, "test", kStringHeadBytes, DecodeString),
    Fixed(TAG_BOOKMARK, "Bookmark", 1, DecodeBookmark),
    Fixed(TAG_LVS_STATE, "LvsState", kLvsStateBytes, DecodeLvsState),
    // What the dictionary does not list.
    Unlisted(OnOff(TAG_DOCKED_ON, "docked")),
    Unlisted(OnOff(TAG_DOCKED_OFF, "docked")),
    Unlisted(Fixed(TAG_BUTTON, "Button", kButtonBytes, DecodeButton)),
    Unlisted(Fixed(TAG_VOLT_PERCENT, "VoltPercent", kVoltPercentBytes, DecodeVoltPercent)),
    Unlisted(RadarData(1)),
    Unlisted(RadarData(2)),
    Unlisted(RadarData(3)),
    Unlisted(RadarData(4)),
    Unlisted(RadarData(5)),
    Unlisted(RadarData(6)),
    Unlisted(RadarTarget(1)),
    Unlisted(RadarTarget(2)),
    Unlisted(RadarTarget(3)),
    Unlisted(RadarTarget(4)),
    Unlisted(RadarTarget(5)),
    Unlisted(RadarTarget(6)),
    Unlisted(Speed8(6)),
    Unlisted(Speed16(6)),
    // Deliberate: "POLOICY".
    Unlisted(Fixed(TAG_POLICY_16, "TAG_POLOICY16", kPolicy16Bytes, DecodePolicy16)),
    // Deliberate: no decoder. It is written with the configuration, and a reader gives
    // up the packet at it; readers in the field do.
    Unlisted(Text(TAG_TIME_ZONE_NAME, "time zone name", kStringHeadBytes, nullptr)),
};

constexpr unsigned char kNoRow = TagCatalogue::kNoRow;
static_assert(std::size(kRows) < kNoRow);

constexpr std::array<unsigned char, 256> IndexByTag() {
  std::array<unsigned char, 256> index{};
  for (auto& entry : index) entry = kNoRow;
  for (std::size_t i = 0; i < std::size(kRows); ++i)
    index[kRows[i].tag] = static_cast<unsigned char>(i);
  return index;
}

constexpr std::array<unsigned char, 256> kIndexByTag = IndexByTag();

constexpr TagCatalogue kCatalogue{kRows, std::size(kRows), kIndexByTag.data()};

}  // namespace

const TagCatalogue& Tags() { return kCatalogue; }

const TagRow* FindTag(unsigned char tag) { return kCatalogue.Find(tag); }

const char* ItemName(e_Tag tag) { return FindTag(tag)->name; }

void PrintItemHead(e_Tag tag) { PrintItemHead(tag, tag); }

void PrintItemHead(e_Tag named, e_Tag number) {
  PrintText("[Tag=", ItemName(named), ", TagNo=0x", Hex2{number});
}

// Deliberate: a reader reports the adjustment and leaves the packet's tick alone.
void DecodeTickAdjust(DataStore& out, const unsigned char* item, DecodeResult& /*result*/) {
  if (!out.Viewing()) return;
  PrintItemHead(TAG_TICK_ADJUST);
  PrintText('-', item[1], ']');
}

// No store of this version writes the item; other writers may. Deliberate: it
// only raises a flag, and the rest of its tick is still parsed.
void DecodeEndOfStream(DataStore& out, const unsigned char* /*item*/, DecodeResult& result) {
  result.end_of_stream_seen = true;
  if (!out.Viewing()) return;
  PrintItemHead(TAG_EOS);
  PrintText(']');
}

}  // namespace vmr
