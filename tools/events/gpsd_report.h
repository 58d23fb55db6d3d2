// Turns gpsd's position reports into the host's fix record and a speed.
#ifndef VMR_TOOLS_EVENTS_GPSD_REPORT_H_
#define VMR_TOOLS_EVENTS_GPSD_REPORT_H_

#include <optional>
#include <string>

#include "host/records.h"
#include "tools/events/json_fields.h"

namespace vmr::tool {

// What one TPV report says about the receiver.
struct GpsReport {
  bool has_fix = false;                     // mode 2 or 3
  std::optional<GpsStatusItem> position;    // only with a fix, and only if both axes were given
  std::optional<unsigned short> speed_mph;  // only with a fix
};

// The values of a TPV report, as far as they are given and of use.
struct TpvFields {
  int mode = 0;
  std::optional<double> latitude;   // degrees
  std::optional<double> longitude;  // degrees
  std::optional<double> speed;      // metres a second
};
GpsReport MakeGpsReport(const TpvFields& tpv);

// Position and speed are known in this mode.
bool HasFix(int mode);

// A speed that is of no use counts as not given.
GpsReport ParseTpv(const JsonFields& fields);
// Why the report's speed is of no use; empty when it is, or there is none.
std::string WhyNoSpeed(const JsonFields& fields);

// Degrees as degrees, minutes and ten-thousandths of a minute, to the nearest:
// 49.99999999 is 50 degrees. `latitude` -90..90, `longitude` -180..180.
GpsStatusItem FixAt(double latitude, double longitude);

// Metres a second as whole miles an hour, to the nearest.
unsigned short MilesPerHour(double metres_per_second);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_EVENTS_GPSD_REPORT_H_
