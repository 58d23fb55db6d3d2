#include "tools/events/gpsd_report.h"

#include <cmath>

namespace vmr::tool {
namespace {

constexpr int kFractionsPerMinute = 10000;
constexpr int kFractionsPerDegree = 60 * kFractionsPerMinute;
constexpr int kFirstModeWithFix = 2;  // 0 unknown, 1 no fix, 2 two axes, 3 with altitude

struct Axis {
  std::uint16_t degrees;
  std::uint16_t minutes;
  std::int32_t fraction;
};

// Rounded once, on the smallest unit, so that a minute that rounds up to 60
// carries into the degrees.
Axis Split(double degrees) {
  const auto total =
      static_cast<std::int32_t>(std::llround(std::fabs(degrees) * kFractionsPerDegree));
  return {static_cast<std::uint16_t>(total / kFractionsPerDegree),
          static_cast<std::uint16_t>(total / kFractionsPerMinute % 60),
          total % kFractionsPerMinute};
}

}  // namespace

GpsStatusItem FixAt(double latitude, double longitude) {
  const Axis lat = Split(latitude);
  const Axis lon = Split(longitude);
  GpsStatusItem item;
  item.latitude_degrees = lat.degrees;
  item.latitude_minutes = lat.minutes;
  item.latitude_fraction = lat.fraction;
  item.latitude_is_north = latitude >= 0 ? 1 : 0;
  item.longitude_degrees = lon.degrees;
  item.longitude_minutes = lon.minutes;
  item.longitude_fraction = lon.fraction;
  item.longitude_is_east = longitude >= 0 ? 1 : 0;
  return item;
}

unsigned short MilesPerHour(double metres_per_second) {
  constexpr double kMetresPerSecond = 0.44704;  // in one mile an hour
  return static_cast<unsigned short>(std::lround(metres_per_second / kMetresPerSecond));
}

std::string WhyNoSpeed(const JsonFields& fields) {
  static const Schema& schema = InputSchema().Definition("gpsSpeed");
  return fields.Has("speed") ? schema.WhyNot(fields.Value("speed"), "speed") : std::string();
}

bool HasFix(int mode) { return mode >= kFirstModeWithFix; }

GpsReport MakeGpsReport(const TpvFields& tpv) {
  GpsReport report;
  report.has_fix = HasFix(tpv.mode);
  if (!report.has_fix) return report;
  if (tpv.latitude && tpv.longitude) report.position = FixAt(*tpv.latitude, *tpv.longitude);
  if (tpv.speed) report.speed_mph = MilesPerHour(*tpv.speed);
  return report;
}

GpsReport ParseTpv(const JsonFields& fields) {
  TpvFields tpv;
  tpv.mode = fields.Number<int>("mode");
  if (!HasFix(tpv.mode)) return MakeGpsReport(tpv);
  if (fields.Has("lat")) tpv.latitude = fields.Real("lat");
  if (fields.Has("lon")) tpv.longitude = fields.Real("lon");
  if (fields.Has("speed") && WhyNoSpeed(fields).empty()) tpv.speed = fields.Real("speed");
  return MakeGpsReport(tpv);
}

}  // namespace vmr::tool
