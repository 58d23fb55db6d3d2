// The unit's watchdog.
#ifndef VMR_HOST_WATCHDOG_H_
#define VMR_HOST_WATCHDOG_H_

namespace vmr {

// Long operations pet it between their expensive steps, so that the unit does
// not take them for hung.
class Watchdog {
 public:
  virtual ~Watchdog() = default;
  virtual void PetWatchdog();
};

}  // namespace vmr

#endif  // VMR_HOST_WATCHDOG_H_
