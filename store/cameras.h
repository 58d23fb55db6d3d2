// Cameras and video streams family.
#ifndef VMR_STORE_CAMERAS_H_
#define VMR_STORE_CAMERAS_H_

#include <cstddef>
#include <cstdint>

#include "store/stream_format.h"

namespace vmr {

// A camera port, 0..8; 9 and 10 are known to be invalid.
enum e_CameraPort : std::uint32_t { CAMERA_PORT_FIRST = 0, CAMERA_PORT_LAST = 8 };
// On disk: these values may never change. Deliberate: 3 is recorded as 0.
enum e_CameraState : std::int32_t {
  CAMERA_STATE_OFF = 0,
  CAMERA_STATE_ON = 1,
  CAMERA_STATE_BACKGROUND = 2,
  CAMERA_STATE_3 = 3
};
// A recorded stream, 0..3, or a live stream, 0..5.
enum e_VideoStream : std::uint32_t { VIDEO_STREAM_FIRST = 0 };
// The same values as e_CameraState.
enum e_StreamState : std::int32_t {
  STREAM_STATE_OFF = 0,
  STREAM_STATE_ON = 1,
  STREAM_STATE_BACKGROUND = 2,
  STREAM_STATE_3 = 3
};
// EnumToString::VideoFormatToStr; the low four bits are recorded.
enum e_VideoFormat : std::uint32_t { VIDEO_FORMAT_NONE = 0 };
// On disk: these values may never change.
enum e_StreamCamera : std::uint32_t {
  STREAM_CAMERA_PORT_1 = 0,
  STREAM_CAMERA_PORT_2 = 1,
  STREAM_CAMERA_PORT_3 = 2,
  STREAM_CAMERA_PORT_4 = 3,
  STREAM_CAMERA_SPLIT = 4,
  STREAM_CAMERA_NONE = 5
};

inline constexpr unsigned int kCameraPortCount = 9;
inline constexpr unsigned int kVideoStreamCount = 4;
inline constexpr unsigned int kLiveStreamCount = 6;

struct VideoStreamFormat_t {
  e_VideoFormat format = VIDEO_FORMAT_NONE;
  e_StreamCamera camera = STREAM_CAMERA_PORT_1;
};

// One live stream as last reported.
struct LiveStream {
  unsigned char camera = 0;
  bool quality = false;       // true: high
  bool state = false;         // true: enabled
  std::uint32_t address = 0;  // IPv4, most significant byte first
  std::uint16_t port = 0;
};

struct CameraMirror {
  e_CameraState cameras[kCameraPortCount] = {};
  e_StreamState streams[kVideoStreamCount] = {};
  VideoStreamFormat_t formats[kVideoStreamCount];
  LiveStream live_streams[kLiveStreamCount];
};

// CameraDesc item. Untimed, slack 4.
//
//    offset  0      1      2     3
//           +------+------+-----+--  ...  --+
//           | 0x50 | port |  n  | n chars   |
//           +------+------+-----+--  ...  --+
inline constexpr std::size_t kCameraDescHeadBytes = 1 + 1 + 1;
struct BIN_CAMERA_DESC_T {
  unsigned char tag;
  unsigned char port;
  unsigned char length;  // of the name
  char name[kMaxItemTextBytes];
};
static_assert(sizeof(BIN_CAMERA_DESC_T) == kCameraDescHeadBytes + kMaxItemTextBytes);

// CameraState and VideoStreamState items. Tick-stamped, slack 1.
//
//    offset  0              1
//           +--------------+-----------------------------------+
//           | 0x51 or 0x55 | port or stream << 4 | state (3..0) |
//           +--------------+-----------------------------------+
inline constexpr std::size_t kCameraStateBytes = 1 + 1;

// VideoStreamFormat item. Untimed, slack 4. The last four bits carry nothing.
//
//    offset  0      1                           2
//           +------+---------------------------+-------------+
//           | 0x54 | stream << 4 | format (3..0) | camera << 4 |
//           +------+---------------------------+-------------+
inline constexpr std::size_t kVideoStreamFormatBytes = 1 + 1 + 1;
struct BIN_VIDEO_STREAM_FORMAT_T {
  unsigned char tag;
  unsigned char stream_and_format;
  unsigned char camera;  // bits 7..4
};
static_assert(sizeof(BIN_VIDEO_STREAM_FORMAT_T) == kVideoStreamFormatBytes);

// LvsState item: a live (network) stream. Tick-stamped, slack 1.
//
//    offset  0      1                                  2          4           8
//           +------+----------------------------------+----------+-----------+--------+
//           | 0xB0 | stream<<4 | quality<<2 | state   | port     | address   | camera |
//           |      |                                  | BE u16   | BE u32    |        |
//           +------+----------------------------------+----------+-----------+--------+
inline constexpr std::size_t kLvsStateBytes = 1 + 1 + 2 + 4 + 1;

}  // namespace vmr

#endif  // VMR_STORE_CAMERAS_H_
