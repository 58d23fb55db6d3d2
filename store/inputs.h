// Buttons, discrete inputs and bookmarks family.
#ifndef VMR_STORE_INPUTS_H_
#define VMR_STORE_INPUTS_H_

#include <cstddef>

#include "store/stream_format.h"

namespace vmr {

// One input of the vehicle or unit that is on or off. Its item is the one byte
// of the tag. Tick-stamped; slack 1 when it goes on, 2 when it goes off.
struct DiscreteInput {
  unsigned int index;  // into InputMirror
  e_Tag on_tag;
  e_Tag off_tag;
};

inline constexpr unsigned int kDiscreteInputCount = 11;
// In the order in which a full dump writes them.
extern const DiscreteInput kDiscreteInputs[kDiscreteInputCount];

// The input that a tag belongs to, null for a tag of no input.
[[nodiscard]] const DiscreteInput* FindDiscreteInput(e_Tag tag);

struct InputMirror {
  bool on[kDiscreteInputCount] = {};
};

// Front-panel buttons. Both are on disk: these values may never change.
enum e_button_list : int { BUTTON_POWER = 0, BUTTON_RECORD = 1, BUTTON_BACKLIGHT = 2 };
enum e_button_action_list : int {
  BUTTON_PRESSED = 0,
  BUTTON_LONG_PRESSED = 1,
  BUTTON_RELEASED = 2
};

// Button item: a button was used. At the current tick, slack 1.
//
//    offset  0      1        2
//           +------+--------+--------+
//           | 0xC0 | button | action |
//           +------+--------+--------+
inline constexpr std::size_t kButtonBytes = 1 + 1 + 1;

}  // namespace vmr

#endif  // VMR_STORE_INPUTS_H_
