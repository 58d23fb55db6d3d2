#include "tools/record/gps_tracker.h"

#include "tools/events/availability.h"

namespace vmr::tool {

bool GpsTracker::IsRepeated(const Stamp& stamp) const {
  return stamp.time_us && stamp.time_us == last_fix_time_us_;
}

void GpsTracker::Follow(DataStore& store, const GpsReport& report, const Stamp& stamp,
                        unsigned int tick) {
  if (!report.has_fix) return Lose(store);
  if (!IsRepeated(stamp)) {
    if (!report.position) return;
    ReportFix(store, *report.position, stamp, tick);
  }
  if (!report.speed_mph || speed_taken_ || !store.Mirror().gps.gpsAvailable) return;
  speed_taken_ = true;
  store.ReportSpeed(kGpsSpeedId, *report.speed_mph, true, tick, TAG_SPEED_8);
}

void GpsTracker::ReportFix(DataStore& store, const GpsStatusItem& position, const Stamp& stamp,
                           unsigned int tick) {
  if (stamp.time_us) last_fix_time_us_ = stamp.time_us;
  speed_taken_ = false;
  if (!store.Mirror().gps.gpsAvailable) store.ReportGpsState(true, true);
  store.ReportGps(position, tick, true);
  ++fixes_;
}

void GpsTracker::Lose(DataStore& store) {
  if (!store.Mirror().gps.gpsAvailable) return;
  ++losses_;
  ReportGpsAvailable(store, false);
}

}  // namespace vmr::tool
