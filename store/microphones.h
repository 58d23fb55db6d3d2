// Microphone family. The unit numbers microphones by position; recordings number
// them in an older scheme, "stream numbers" here.
#ifndef VMR_STORE_MICROPHONES_H_
#define VMR_STORE_MICROPHONES_H_

#include <cstddef>
#include <cstdint>

#include "store/stream_format.h"

namespace vmr {

enum e_MicrophonePosition : std::uint32_t {
  MIC_POSITION_0 = 0,
  MIC_POSITION_1 = 1,
  MIC_POSITION_2 = 2,
  MIC_POSITION_3 = 3,
  MIC_POSITION_INVALID = 4
};
inline constexpr unsigned int kMicCount = 4;

// What a microphone data item tells. On disk: these values may never change.
enum e_MIC_DATA_STATE : std::uint32_t { MIC_DATA_PRESENT = 1, MIC_DATA_STATE = 2 };

// The position of stream number 0 to 3.
inline constexpr e_MicrophonePosition kMicPositionOfStream[kMicCount] = {
    MIC_POSITION_2, MIC_POSITION_0, MIC_POSITION_1, MIC_POSITION_3};

struct MicrophoneMirror {
  bool present[kMicCount] = {};
  bool on[kMicCount] = {};
};

// MicDesc item. Untimed, slack 4. Deliberate: the writer repeats the stream
// number as type and port, and readers convert each of the three by itself.
//
//    offset  0      1            2      3      4     5
//           +------+------------+------+------+-----+--  ...  --+
//           | 0x58 | stream no. | type | port |  N  | N chars   |
//           +------+------------+------+------+-----+--  ...  --+
inline constexpr std::size_t kMicDescHeadBytes = 1 + 1 + 1 + 1 + 1;
struct BIN_MIC_DESC_T {
  unsigned char tag;
  unsigned char stream_number;
  unsigned char type;
  unsigned char port;
  unsigned char length;  // of the name
  char name[kMaxItemTextBytes];
};
static_assert(sizeof(BIN_MIC_DESC_T) == kMicDescHeadBytes + kMaxItemTextBytes);

// MicData item. Tick-stamped, slack 1.
//
//    offset  0      1            2                        3
//           +------+------------+------------------------+-------+
//           | 0x59 | stream no. | 1 present, 2 on or off | value |
//           +------+------------+------------------------+-------+
inline constexpr std::size_t kMicDataBytes = 1 + 1 + 1 + 1;

}  // namespace vmr

#endif  // VMR_STORE_MICROPHONES_H_
