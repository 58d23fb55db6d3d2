// The unit's ticks: half seconds that never go back, across power cuts too.
//
// The system's own counter begins at 0 with every power-up, so an offset is
// added to it. A small file holds a ceiling: a tick that no run has reached yet.
// It is moved up in steps of ten minutes, which costs the flash 144 writes a
// day. After a power cut counting goes on at the ceiling; an orderly stop leaves
// the exact tick there.
//
// Threads  one.
// Errors   false: the file could not be written. Counting goes on, and after a
//          power cut it is the last recorded tick that keeps it from going back.
// Units    ticks, two a second.
#ifndef VMR_EXAMPLES_HOST_TICKS_H_
#define VMR_EXAMPLES_HOST_TICKS_H_

#include <string>

namespace unit {

// Counts on behind the ceiling in `file` and behind `last_recorded`, the last
// tick of the recording (0 when it is new), whichever is further.
bool StartTicks(const std::string& file, unsigned int last_recorded);
// At every timer tick: moves the ceiling up when it is near.
bool KeepTicks();
// Before the power goes: leaves the tick now as the ceiling.
bool StopTicks();

unsigned int TickNow();

}  // namespace unit

#endif  // VMR_EXAMPLES_HOST_TICKS_H_
