// The default names of a Linux machine's stand-in for the unit.
#include <cstddef>

#include "host/enum_to_string.h"
#include "host/mic_client.h"

namespace vmr {
namespace {

constexpr const char* kSpeedUnits[] = {"none", "km/h", "mph", "as set on radar"};

constexpr const char* kRadarTypes[] = {"none", "single antenna", "dual antenna", "lidar"};

constexpr const char* kMicPositions[] = {"wireless 1", "wireless 2", "cabin", "auxiliary"};

constexpr const char* kCameraPorts[] = {"front", "rear",  "left",  "right",    "cabin",
                                        "cargo", "aux 1", "aux 2", "side rear"};

constexpr const char* kVideoFormats[] = {"none", "D1", "CIF", "QCIF", "720p", "1080p"};

constexpr const char* kTimeZones[] = {
    "UTC",
    "America/New_York",
    "America/Chicago",
    "America/Denver",
    "America/Phoenix",
    "America/Los_Angeles",
    "America/Anchorage",
    "America/Adak",
    "Pacific/Honolulu",
    "America/Puerto_Rico",
    "America/Halifax",
    "America/St_Johns",
    "America/Regina",
    "America/Mexico_City",
    "America/Bogota",
    "America/Lima",
    "America/Caracas",
    "America/Santiago",
    "America/Argentina/Buenos_Aires",
    "America/Sao_Paulo",
    "Atlantic/Azores",
    "Europe/London",
    "Europe/Dublin",
    "Europe/Lisbon",
    "Europe/Paris",
    "Europe/Berlin",
    "Europe/Madrid",
    "Europe/Rome",
    "Europe/Stockholm",
    "Europe/Warsaw",
    "Europe/Athens",
    "Europe/Helsinki",
    "Europe/Kyiv",
    "Europe/Istanbul",
    "Europe/Moscow",
    "Africa/Cairo",
    "Africa/Johannesburg",
    "Africa/Lagos",
    "Asia/Dubai",
    "Asia/Karachi",
    "Asia/Kolkata",
    "Asia/Dhaka",
    "Asia/Bangkok",
    "Asia/Singapore",
    "Asia/Shanghai",
    "Asia/Tokyo",
    "Asia/Seoul",
    "Australia/Perth",
    "Australia/Sydney",
    "Pacific/Auckland",
};
static_assert(sizeof(kTimeZones) / sizeof(kTimeZones[0]) == EnumToString::kTimeZoneCount);

template <std::size_t N>
const char* NameOr(const char* const (&names)[N], int index, const char* otherwise) {
  return index >= 0 && static_cast<std::size_t>(index) < N ? names[index] : otherwise;
}

}  // namespace

const char* EnumToString::SpeedUnitsToStr(int units) {
  return NameOr(kSpeedUnits, units, "unknown");
}
const char* EnumToString::RadarTypeToStr(int type) { return NameOr(kRadarTypes, type, "unknown"); }
const char* EnumToString::MicPositionToStr(int position) {
  return NameOr(kMicPositions, position, "unknown");
}
const char* EnumToString::TimeZoneToStr(int index) { return NameOr(kTimeZones, index, ""); }
const char* EnumToString::CameraPortToStr(int port) {
  return NameOr(kCameraPorts, port, "unknown");
}
const char* EnumToString::VideoFormatToStr(int format) {
  return NameOr(kVideoFormats, format, "unknown");
}

const char* const MicClient::names[MicClient::kMicCount] = {"Wireless 1", "Wireless 2", "Cabin",
                                                            "Auxiliary"};

}  // namespace vmr
