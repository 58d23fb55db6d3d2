// The unit's tick counter.
#ifndef VMR_HOST_SYSTICK_H_
#define VMR_HOST_SYSTICK_H_

namespace vmr {

// Counts half seconds (ticks). A recording is searched by tick, so the counter
// must go on increasing across restarts of the unit.
//
// Units    ticks, two a second; 0xFFFFFFFF is never a tick.
class Systick {
 public:
  // The tick now.
  unsigned int SystemTick() const;
  // The tick at which the unit was last shut down; 0 when it is not known.
  unsigned int PriorShutdownTick() const;
};

}  // namespace vmr

#endif  // VMR_HOST_SYSTICK_H_
