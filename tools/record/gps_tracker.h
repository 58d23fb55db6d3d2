// Decides which of the receiver's reports are fixes and losses of fix.
#ifndef VMR_TOOLS_RECORD_GPS_TRACKER_H_
#define VMR_TOOLS_RECORD_GPS_TRACKER_H_

#include <cstdint>
#include <optional>

#include "store/data_store.h"
#include "tools/events/event_parser.h"

namespace vmr::tool {

// Follows one receiver. gpsd repeats a fix while more about it becomes known;
// reports of one time are one fix, and the first speed among them is its speed.
// Whether GPS is available the store knows, which events may tell too.
class GpsTracker {
 public:
  // Reports to `store` what `report` brings that is new.
  void Follow(DataStore& store, const GpsReport& report, const Stamp& stamp, unsigned int tick);
  // The receiver gives nothing any more.
  void Lose(DataStore& store);

  unsigned long Fixes() const { return fixes_; }
  unsigned long Losses() const { return losses_; }

 private:
  bool IsRepeated(const Stamp& stamp) const;
  void ReportFix(DataStore& store, const GpsStatusItem& position, const Stamp& stamp,
                 unsigned int tick);

  std::optional<std::int64_t> last_fix_time_us_;
  bool speed_taken_ = false;  // of the last fix
  unsigned long fixes_ = 0;
  unsigned long losses_ = 0;
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_RECORD_GPS_TRACKER_H_
