#include "store/gps.h"

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

// Deliberate: symmetric, so that -128 and -32768 are never written.
constexpr std::int64_t kMaxDelta8 = 127;
constexpr std::int64_t kMaxDelta16 = 32767;

// All of it is kept modulo 2^32, which is what cutting an exact result to 32 bits gives.
std::int32_t TTsOf(std::int32_t degrees, std::uint16_t minutes, std::int32_t fraction,
                   bool negative) {
  const auto signed_minutes = static_cast<std::int16_t>(minutes);
  const std::uint32_t whole_minutes = static_cast<std::uint32_t>(degrees) * kMinutesPerDegree +
                                      static_cast<std::uint32_t>(signed_minutes);
  const std::uint32_t tts = whole_minutes * kTTsPerMinute + static_cast<std::uint32_t>(fraction);
  return static_cast<std::int32_t>(negative ? 0 - tts : tts);
}

// As of the position that Hold makes of it.
AxesTTs TTsOf(const GpsStatusItem& item) {
  return {TTsOf(item.latitude_degrees, item.latitude_minutes, item.latitude_fraction,
                item.latitude_is_north != 1),
          TTsOf(item.longitude_degrees, item.longitude_minutes, item.longitude_fraction,
                item.longitude_is_east == 1)};
}

void Hold(GpsMirror& gps, const GpsStatusItem& item, const AxesTTs& tts) {
  gps.gpsLat = {item.latitude_is_north == 1 ? 'N' : 'S', item.latitude_degrees,
                item.latitude_minutes, item.latitude_fraction};
  gps.gpsLon = {item.longitude_is_east == 1 ? 'E' : 'W', item.longitude_degrees,
                item.longitude_minutes, item.longitude_fraction};
  gps.gpsDrift.MoveTo(tts);
  gps.gpsLocationSet = true;
}

// Deliberate: degrees and hemisphere are not compared.
bool IsSameWithinDegree(const GpsStatusItem& item, const GpsMirror& gps) {
  return item.latitude_minutes == gps.gpsLat.minutes &&
         item.latitude_fraction == gps.gpsLat.fraction &&
         item.longitude_minutes == gps.gpsLon.minutes &&
         item.longitude_fraction == gps.gpsLon.fraction;
}

bool Within(std::int64_t limit, std::int64_t a, std::int64_t b) {
  return a >= -limit && a <= limit && b >= -limit && b <= limit;
}

// To the position that is held now.
void WriteMove(DataStore& store, const AxesTTs& from, const AxesTTs& to, unsigned int systemTick) {
  const std::int64_t d_lat = static_cast<std::int64_t>(to.lat) - from.lat;
  const std::int64_t d_lon = static_cast<std::int64_t>(to.lon) - from.lon;
  if (Within(kMaxDelta8, d_lat, d_lon))
    store.WriteDeltaGps8(static_cast<signed char>(d_lat), static_cast<signed char>(d_lon),
                         systemTick);
  else if (Within(kMaxDelta16, d_lat, d_lon))
    store.WriteDeltaGps16(static_cast<short>(d_lat), static_cast<short>(d_lon), systemTick);
  else
    store.WriteLongGps(store.Mirror().gps.gpsLat, store.Mirror().gps.gpsLon, systemTick);
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

// Deliberate: no absolute value is taken. A negative `tts` leaves negative
// degrees, minutes and fraction beside 'S' or 'E', so that turning the result
// back into TTs gives the positive magnitude. Printed positions of existing
// recordings depend on it.
template <typename Number>
void SetLocation(Location_t& location, Number tts, bool is_latitude) {
  const Number whole_minutes = tts / kTTsPerMinute;
  if (is_latitude)
    location.hemisphere = tts >= 0 ? 'N' : 'S';
  else
    location.hemisphere = tts >= 0 ? 'W' : 'E';
  location.fraction = static_cast<std::int32_t>(tts % kTTsPerMinute);
  location.minutes = static_cast<std::uint16_t>(whole_minutes % kMinutesPerDegree);
  location.degrees = static_cast<std::int32_t>(whole_minutes / kMinutesPerDegree);
}

// A damaged position may be near the end of the number range; 32 bits of the sum
// are kept, as on the unit.
std::int32_t Moved(const Location_t& from, std::int32_t delta) {
  return static_cast<std::int32_t>(static_cast<std::int64_t>(DataStore::LocToTTs(from)) + delta);
}

void StoreDelta(const DataStore& store, GpsMirror& gps, e_Tag kind, const AxesTTs& delta, e_Tag tag,
                bool log_if_unset) {
  if (!gps.gpsLocationSet) {
    if (log_if_unset) VMR_LOG(kLogError, "Requested to Store GPS but location not set");
    if (store.Viewing()) PrintText("Tag ", ItemName(kind), " received but Gps Location NOT set\n");
    return;
  }
  SetLocation(gps.gpsLat, Moved(gps.gpsLat, delta.lat), true);
  SetLocation(gps.gpsLon, Moved(gps.gpsLon, delta.lon), false);
  gps.gpsDrift.Forget();
  if (!store.Viewing()) return;
  PrintItemHead(kind, tag);
  PrintText(", DeltaLat=", delta.lat, ", DeltaLon=", delta.lon);
  PrintPosition(gps);
}

}  // namespace

std::int32_t DataStore::LocToTTs(const Location_t& location) {
  const bool negative = location.hemisphere == 'S' || location.hemisphere == 'E';
  return TTsOf(location.degrees, location.minutes, location.fraction, negative);
}

void DataStore::TTsToLoc(Location_t& location, long tts, bool isLatitude) {
  SetLocation(location, tts, isLatitude);
}

// Of most fixes it is plain that the vehicle rests. They leave nothing to do, and no call
// is in their way.
void DataStore::ReportGps(const GpsStatusItem& item, unsigned int systemTick, bool write) {
  const GpsMirror& gps = mirror_.gps;
  const AxesTTs to = TTsOf(item);
  // For whoever may want the distance logged it is computed.
  const DriftArea::Verdict verdict = LogClient::Instance()->MayWant(kLogInfo)
                                         ? DriftArea::Verdict::kUnclear
                                         : gps.gpsDrift.Judge(to);
  // Deliberate: the mirror keeps the last written position, so slow drift adds up
  // until it counts.
  if (verdict == DriftArea::Verdict::kRests && gps.gpsLocationSet && write) return;
  TakeFix(item, to, verdict, systemTick, write);
}

void DataStore::TakeFix(const GpsStatusItem& item, AxesTTs tts, DriftArea::Verdict move,
                        unsigned int systemTick, bool write) {
  GpsMirror& gps = mirror_.gps;
  if (!gps.gpsLocationSet || !write) {
    const bool first = !gps.gpsLocationSet;
    Hold(gps, item, tts);
    if (first && write) WriteLongGps(gps.gpsLat, gps.gpsLon, systemTick);
    return;
  }
  if (IsSameWithinDegree(item, gps)) return;
  const bool plain = move == DriftArea::Verdict::kMoves;
  const AxesTTs from =
      plain ? gps.gpsDrift.Centre() : AxesTTs{LocToTTs(gps.gpsLat), LocToTTs(gps.gpsLon)};
  if (!plain && !IsMovement(from, tts)) return;
  Hold(gps, item, tts);
  WriteMove(*this, from, tts, systemTick);
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
  gps.gpsDrift.Forget();
  if (!Viewing()) return;
  const char* const quadrant_name = QuadrantName(item->quadrant);
  PrintItemHead(TAG_GPS_ABS, tag);
  PrintText(", Quad=", item->quadrant, '-', quadrant_name);
  PrintPosition(gps);
}

void DataStore::StoreGpsData(const BIN_GPS_REL8_T* item, e_Tag tag, bool logIfUnset) {
  if (RefuseNull(item, "StoreGpsData")) return;
  StoreDelta(*this, mirror_.gps, TAG_GPS_REL8, {item->latitude_delta, item->longitude_delta}, tag,
             logIfUnset);
}

void DataStore::StoreGpsData(const BIN_GPS_REL16_T* item, e_Tag tag, bool logIfUnset) {
  if (RefuseNull(item, "StoreGpsData")) return;
  const AxesTTs delta{static_cast<std::int16_t>(GetLe16(item->latitude_delta)),
                      static_cast<std::int16_t>(GetLe16(item->longitude_delta))};
  StoreDelta(*this, mirror_.gps, TAG_GPS_REL16, delta, tag, logIfUnset);
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
