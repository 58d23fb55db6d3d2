// The unit's helpers for positions.
#ifndef VMR_HOST_GPS_UTIL_H_
#define VMR_HOST_GPS_UTIL_H_

namespace vmr {

class GpsUtil {
 public:
  static GpsUtil* Instance();

  // Whole seconds of arc, 0..59, of a fraction of a minute given in
  // ten-thousandths (0..9999): fraction * 60 / 10000, truncated.
  int CalcGpsSeconds(int fraction) const;
};

}  // namespace vmr

#endif  // VMR_HOST_GPS_UTIL_H_
