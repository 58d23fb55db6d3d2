// The unit's names for numbers that recordings carry. Every lookup accepts any
// number and never returns null; the texts live as long as the process.
#ifndef VMR_HOST_ENUM_TO_STRING_H_
#define VMR_HOST_ENUM_TO_STRING_H_

namespace vmr {

class EnumToString {
 public:
  // Units of a speed: 0 "none", 1 "km/h", 2 "mph", 3 "as set on radar".
  static const char* SpeedUnitsToStr(int units);
  // Make of a traffic radar; 0 is "none".
  static const char* RadarTypeToStr(int type);
  // Where a microphone sits, 0..3.
  static const char* MicPositionToStr(int position);
  // IANA name of a time zone index, 0..kTimeZoneCount - 1; "" outside. Tools
  // turn recorded times into local ones with it.
  static constexpr int kTimeZoneCount = 50;
  static const char* TimeZoneToStr(int index);
  // Where a camera port looks, 0..8.
  static const char* CameraPortToStr(int port);
  // Format of a recorded video stream.
  static const char* VideoFormatToStr(int format);
};

}  // namespace vmr

#endif  // VMR_HOST_ENUM_TO_STRING_H_
