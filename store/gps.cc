#include "store/gps.h"

#include <cmath>
#include <limits>

#include "host/gps_util.h"
#include "store/bytes.h"
#include "store/data_store.h"
#include "store/decoders.h"
#include "store/items.h"
#include "store/log_source.h"
#include "store/view_text.h"

namespace vmr {
namespace {

constexpr const char* kLogSource = kDataStoreLogSource;

constexpr unsigned short kPositionSlack = 1;
constexpr unsigned short kStateSlack = 1;
constexpr unsigned short kDescSlack = 4;

constexpr long double kPi = 3.14159265358979323846264338327950288L;
constexpr long double kEarthRadius_ft = 20905231.0L;
constexpr long double kDriftLimit_ft = 20.0L;
// More than the law of cosines is wrong at the limit: 0.000003 feet with 64 bits.
constexpr long double kRounding_ft = 0.0001L;

// Deliberate: symmetric, so that -128 and -32768 are never written.
constexpr std::int64_t kMaxDelta8 = 127;
constexpr std::int64_t kMaxDelta16 = 32767;

constexpr int kMinutesPerDegree = 60;

struct Position {
  Location_t lat;
  Location_t lon;
};

Position PositionOf(const GpsStatusItem& item) {
  Position at;
  at.lat.hemisphere = item.latitude_is_north == 1 ? 'N' : 'S';
  at.lat.degrees = item.latitude_degrees;
  at.lat.minutes = item.latitude_minutes;
  at.lat.fraction = item.latitude_fraction;
  at.lon.hemisphere = item.longitude_is_east == 1 ? 'E' : 'W';
  at.lon.degrees = item.longitude_degrees;
  at.lon.minutes = item.longitude_minutes;
  at.lon.fraction = item.longitude_fraction;
  return at;
}

// Deliberate: degrees and hemisphere are not compared.
bool SameWithinDegree(const Location_t& a, const Location_t& b) {
  return a.minutes == b.minutes && a.fraction == b.fraction;
}

// A full circle is 216,000,000 TTs = 2 pi.
long double Angle_rad(std::int64_t tts) {
  const auto t = static_cast<long double>(tts);
  return (t + t) * kPi / static_cast<long double>(kTTsPerCircle);
}

struct Angles {
  long double lat;
  long double lon;
};

// Spherical law of cosines (haversine's older sister: Sinnott, "Virtues of the
// Haversine", Sky & Telescope 68, 1984, gives both). Extended precision carries
// it over distances of a few feet, where double would not. No number for
// identical positions that rounding has carried beyond acos's domain, which is
// not asked then: a unit may trap invalid operations.
long double Distance_ft(const Angles& from, const Angles& to) {
  const long double cosine =
      sinl(from.lat) * sinl(to.lat) + cosl(from.lat) * cosl(to.lat) * cosl(to.lon - from.lon);
  if (fabsl(cosine) > 1.0L) return std::numeric_limits<long double>::quiet_NaN();
  return kEarthRadius_ft * acosl(cosine);
}

struct AxesTTs {
  std::int32_t lat;
  std::int32_t lon;
};

long double HalfSineSquared(std::int32_t from_tts, std::int32_t to_tts) {
  const long double sine = sinl(Angle_rad(static_cast<std::int64_t>(to_tts) - from_tts) / 2);
  return sine * sine;
}

// Whether more than 20 feet lie between two positions, for those that rounding
// keeps the law of cosines from telling apart: by the haversine, which is exact
// there. A long double has 64 bits on a PC and 106 on the unit; without this,
// their recordings of such a move would differ.
bool IsBeyondDriftLimit(const AxesTTs& from, const AxesTTs& to) {
  const long double limit = sinl(kDriftLimit_ft / kEarthRadius_ft / 2);
  return HalfSineSquared(from.lat, to.lat) + cosl(Angle_rad(from.lat)) * cosl(Angle_rad(to.lat)) *
                                                 HalfSineSquared(from.lon, to.lon) >
         limit * limit;
}

// Whether the vehicle has moved more than 20 feet. A distance that is no number
// is no movement.
bool IsMovement(const AxesTTs& from_tts, const AxesTTs& to_tts) {
  const Angles from{Angle_rad(from_tts.lat), Angle_rad(from_tts.lon)};
  const Angles to{Angle_rad(to_tts.lat), Angle_rad(to_tts.lon)};
  const long double distance_ft = Distance_ft(from, to);
  VMR_LOG(kLogInfo, "distance from " << from.lat << "," << from.lon << " to " << to.lat << ","
                                     << to.lon << " is " << distance_ft);
  if (fabsl(distance_ft - kDriftLimit_ft) < kRounding_ft)
    return IsBeyondDriftLimit(from_tts, to_tts);
  return distance_ft > kDriftLimit_ft;
}

bool Within(std::int64_t limit, std::int64_t a, std::int64_t b) {
  return a >= -limit && a <= limit && b >= -limit && b <= limit;
}

unsigned char QuadrantOf(const Location_t& lat, const Location_t& lon) {
  return static_cast<unsigned char>((lat.hemisphere == 'N' ? 0 : 2) +
                                    (lon.hemisphere == 'W' ? 1 : 0));
}

const char* QuadrantName(unsigned char quadrant) {
  static constexpr const char* kNames[] = {"NE", "NW", "SE", "SW"};
  if (quadrant < 4) return kNames[quadrant];
  PrintText("Invalid quad ", quadrant, '\n');
  return "INVALID";
}

void PrintAxis(const char* name, const Location_t& at) {
  // Minutes of a decoded southern or eastern position are negative.
  PrintText(", ", name, '=', at.hemisphere, Dec2{at.degrees}, ':',
            Dec2{static_cast<std::int16_t>(at.minutes)}, '.',
            Dec2{GpsUtil::Instance()->CalcGpsSeconds(at.fraction)});
}

// The end that all three position lines have in common.
void PrintPosition(const GpsMirror& gps) {
  PrintAxis("Lat", gps.gpsLat);
  PrintAxis("Lon", gps.gpsLon);
  PrintText(']');
}

// A damaged position may be near the end of the number range; 32 bits of the sum
// are kept, as on the unit.
std::int32_t Moved(const Location_t& from, std::int32_t delta) {
  return static_cast<std::int32_t>(static_cast<std::int64_t>(DataStore::LocToTTs(from)) + delta);
}

void StoreDelta(const DataStore& store, GpsMirror& gps, const char* name, const AxesTTs& delta,
                e_Tag tag, bool log_if_unset) {
  if (!gps.gpsLocationSet) {
    if (log_if_unset) VMR_LOG(kLogError, "Requested to Store GPS but location not set");
    if (store.Viewing()) PrintText("Tag ", name, " received but Gps Location NOT set\n");
    return;
  }
  DataStore::TTsToLoc(gps.gpsLat, Moved(gps.gpsLat, delta.lat), true);
  DataStore::TTsToLoc(gps.gpsLon, Moved(gps.gpsLon, delta.lon), false);
  if (!store.Viewing()) return;
  PrintText("[Tag=", name, ", TagNo=0x", Hex2{tag}, ", DeltaLat=", delta.lat,
            ", DeltaLon=", delta.lon);
  PrintPosition(gps);
}

}  // namespace

std::int32_t DataStore::LocToTTs(const Location_t& location) {
  const auto minutes = static_cast<std::int16_t>(location.minutes);
  const std::int64_t tts =
      (minutes + static_cast<std::int64_t>(location.degrees) * kMinutesPerDegree) * kTTsPerMinute +
      location.fraction;
  const bool negative = location.hemisphere == 'S' || location.hemisphere == 'E';
  return static_cast<std::int32_t>(negative ? -tts : tts);
}

// Deliberate: no absolute value is taken. A negative `tts` leaves negative
// degrees, minutes and fraction beside 'S' or 'E', so that turning the result
// back into TTs gives the positive magnitude. Printed positions of existing
// recordings depend on it.
void DataStore::TTsToLoc(Location_t& location, long tts, bool isLatitude) {
  const long whole_minutes = tts / kTTsPerMinute;
  if (isLatitude)
    location.hemisphere = tts >= 0 ? 'N' : 'S';
  else
    location.hemisphere = tts >= 0 ? 'W' : 'E';
  location.fraction = static_cast<std::int32_t>(tts % kTTsPerMinute);
  location.minutes = static_cast<std::uint16_t>(whole_minutes % kMinutesPerDegree);
  location.degrees = static_cast<std::int32_t>(whole_minutes / kMinutesPerDegree);
}

void DataStore::ReportGps(const GpsStatusItem& item, unsigned int systemTick, bool write) {
  GpsMirror& gps = mirror_.gps;
  const Position now = PositionOf(item);
  const auto hold = [&] {
    gps.gpsLat = now.lat;
    gps.gpsLon = now.lon;
  };
  if (!gps.gpsLocationSet) {
    hold();
    gps.gpsLocationSet = true;
    if (write) WriteLongGps(gps.gpsLat, gps.gpsLon, systemTick);
    return;
  }
  if (!write) {
    hold();
    return;
  }
  if (SameWithinDegree(now.lat, gps.gpsLat) && SameWithinDegree(now.lon, gps.gpsLon)) return;

  const AxesTTs from{LocToTTs(gps.gpsLat), LocToTTs(gps.gpsLon)};
  const AxesTTs to{LocToTTs(now.lat), LocToTTs(now.lon)};
  // Deliberate: the mirror keeps the last written position, so slow drift adds up
  // until it counts.
  if (!IsMovement(from, to)) return;
  const std::int64_t d_lat = static_cast<std::int64_t>(to.lat) - from.lat;
  const std::int64_t d_lon = static_cast<std::int64_t>(to.lon) - from.lon;
  if (Within(kMaxDelta8, d_lat, d_lon))
    WriteDeltaGps8(static_cast<signed char>(d_lat), static_cast<signed char>(d_lon), systemTick);
  else if (Within(kMaxDelta16, d_lat, d_lon))
    WriteDeltaGps16(static_cast<short>(d_lat), static_cast<short>(d_lon), systemTick);
  else
    WriteLongGps(now.lat, now.lon, systemTick);
  hold();
}

void DataStore::ReportGpsState(bool available, bool write) {
  GpsMirror& gps = mirror_.gps;
  if (available != gps.gpsAvailable) {
    gps.gpsAvailable = available;
    if (write) WriteGpsState(available);
    // The next fix may be anywhere: it is written as an absolute position.
    if (!available) gps.gpsLocationSet = false;
  }
  if (!Viewing()) return;
  PrintItemHead(TAG_GPS_STATE);
  PrintText(", State=", available, '-', available ? "available" : "unavailable", ']');
}

void DataStore::CheckGpsConfig(bool write) {
  if (mirror_.gps.gpsConfigured) return;
  mirror_.gps.gpsConfigured = true;
  mirror_.gps.gpsAvailable = true;
  InitializeGpsInt("InternalGps", write);
}

void DataStore::InitializeGpsInt(const char* desc, bool write) {
  const char* const text = desc == nullptr ? "" : desc;
  VMR_LOG(kLogInfo, "InitializeGpsInt desc=" << text);
  mirror_.gps.gpsDesc.desc = text;
  if (!write) return;
  WriteGpsDesc(mirror_.gps.gpsDesc);
  WriteGpsState(mirror_.gps.gpsAvailable);
}

void DataStore::WriteGpsDesc(const GPS_DESC_T& desc) {
  // Deliberate: byte 1 is always 1.
  const unsigned char head[kGpsDescHeadBytes] = {TAG_GPS_DESC, 1};
  AddTextItem(*this, head, sizeof(head), desc.desc.c_str(), kDescSlack);
}

void DataStore::WriteGpsState(bool available) {
  const unsigned char item[kGpsStateBytes] = {TAG_GPS_STATE,
                                              static_cast<unsigned char>(available ? 1 : 0)};
  AddToCurrPacket(item, sizeof(item), kStateSlack);
}

void DataStore::WriteLongGps(const Location_t& lat, const Location_t& lon,
                             unsigned int systemTick) {
  // Deliberate: the low 8 and 16 bits of what is reported, unchecked.
  unsigned char item[kGpsAbsBytes] = {TAG_GPS_ABS, QuadrantOf(lat, lon)};
  item[2] = static_cast<unsigned char>(lat.degrees);
  item[3] = static_cast<unsigned char>(lat.minutes);
  PutLe16(item + 4, static_cast<std::uint16_t>(lat.fraction));
  item[6] = static_cast<unsigned char>(lon.degrees);
  item[7] = static_cast<unsigned char>(lon.minutes);
  PutLe16(item + 8, static_cast<std::uint16_t>(lon.fraction));
  AddToCurrPacket(item, sizeof(item), systemTick, kPositionSlack);
}

void DataStore::WriteDeltaGps8(signed char dLat, signed char dLon, unsigned int systemTick) {
  const unsigned char item[kGpsRel8Bytes] = {TAG_GPS_REL8, static_cast<unsigned char>(dLat),
                                             static_cast<unsigned char>(dLon)};
  AddToCurrPacket(item, sizeof(item), systemTick, kPositionSlack);
}

void DataStore::WriteDeltaGps16(short dLat, short dLon, unsigned int systemTick) {
  unsigned char item[kGpsRel16Bytes] = {TAG_GPS_REL16};
  PutLe16(item + 1, static_cast<std::uint16_t>(dLat));
  PutLe16(item + 3, static_cast<std::uint16_t>(dLon));
  AddToCurrPacket(item, sizeof(item), systemTick, kPositionSlack);
}

void DataStore::StoreGpsDesc(const BIN_GPS_DESC_T* item) {
  if (RefuseNull(item, "StoreGpsDesc")) return;
  GpsMirror& gps = mirror_.gps;
  gps.gpsConfigured = true;
  gps.gpsDesc.desc.assign(item->text, strnlen(item->text, item->length));
  // Behind a NUL in the text there are NULs up to the length that it claims.
  gps.gpsDesc.desc.resize(item->length);
  if (!Viewing()) return;
  PrintItemHead(TAG_GPS_DESC);
  PrintText(", Desc='", std::string_view(gps.gpsDesc.desc), "']");
}

void DataStore::StoreGpsData(const BIN_GPS_ABS_T* item, e_Tag tag) {
  if (RefuseNull(item, "StoreGpsData")) return;
  GpsMirror& gps = mirror_.gps;
  // Deliberate: the masked quadrant, not a letter. A decoded absolute position
  // therefore counts as positive in LocToTTs. A quadrant above 3 is stored too.
  constexpr unsigned char kLatitudeMask = 0x53;
  constexpr unsigned char kLongitudeMask = 0x57;
  gps.gpsLat.hemisphere = static_cast<char>(item->quadrant & kLatitudeMask);
  gps.gpsLat.degrees = item->latitude_degrees;
  gps.gpsLat.minutes = item->latitude_minutes;
  gps.gpsLat.fraction = GetLe16(item->latitude_fraction);
  gps.gpsLon.hemisphere = static_cast<char>(item->quadrant & kLongitudeMask);
  gps.gpsLon.degrees = item->longitude_degrees;
  gps.gpsLon.minutes = item->longitude_minutes;
  gps.gpsLon.fraction = GetLe16(item->longitude_fraction);
  gps.gpsLocationSet = true;
  if (!Viewing()) return;
  const char* const quadrant_name = QuadrantName(item->quadrant);
  PrintItemHead(TAG_GPS_ABS, tag);
  PrintText(", Quad=", item->quadrant, '-', quadrant_name);
  PrintPosition(gps);
}

void DataStore::StoreGpsData(const BIN_GPS_REL8_T* item, e_Tag tag, bool logIfUnset) {
  if (RefuseNull(item, "StoreGpsData")) return;
  StoreDelta(*this, mirror_.gps, ItemName(TAG_GPS_REL8),
             {item->latitude_delta, item->longitude_delta}, tag, logIfUnset);
}

void DataStore::StoreGpsData(const BIN_GPS_REL16_T* item, e_Tag tag, bool logIfUnset) {
  if (RefuseNull(item, "StoreGpsData")) return;
  const AxesTTs delta{static_cast<std::int16_t>(GetLe16(item->latitude_delta)),
                      static_cast<std::int16_t>(GetLe16(item->longitude_delta))};
  StoreDelta(*this, mirror_.gps, ItemName(TAG_GPS_REL16), delta, tag, logIfUnset);
}

void DecodeGpsDesc(DataStore& out, const unsigned char* item, DecodeResult& /*result*/) {
  const auto desc = AsRecord<BIN_GPS_DESC_T>(item, kGpsDescHeadBytes + item[2]);
  out.StoreGpsDesc(&desc);
}

void DecodeGpsAbs(DataStore& out, const unsigned char* item, DecodeResult& /*result*/) {
  const auto position = AsRecord<BIN_GPS_ABS_T>(item);
  out.StoreGpsData(&position, TAG_GPS_ABS);
}

void DecodeGpsRel8(DataStore& out, const unsigned char* item, DecodeResult& result) {
  const auto delta = AsRecord<BIN_GPS_REL8_T>(item);
  out.StoreGpsData(&delta, TAG_GPS_REL8, result.policy_end_seen);
}

void DecodeGpsRel16(DataStore& out, const unsigned char* item, DecodeResult& result) {
  const auto delta = AsRecord<BIN_GPS_REL16_T>(item);
  out.StoreGpsData(&delta, TAG_GPS_REL16, result.policy_end_seen);
}

// A receiver that is gone has no speed of the vehicle either.
void DecodeGpsState(DataStore& out, const unsigned char* item, DecodeResult& /*result*/) {
  const bool available = item[1] == 1;
  out.ReportGpsState(available, false);
  if (!available) out.ReportValidSpeed(kGpsSpeedId, false);
}

}  // namespace vmr
