// A wall clock that tests set, in use while the object lives.
#ifndef VMR_TESTS_SUPPORT_TEST_CLOCK_H_
#define VMR_TESTS_SUPPORT_TEST_CLOCK_H_

#include "host/wall_clock.h"

namespace vmr::test {

class TestClock : public WallClock {
 public:
  explicit TestClock(std::time_t now) : now_(now), before_(WallClock::Use(this)) {}
  ~TestClock() override { WallClock::Use(before_); }

  std::time_t Now() override { return now_; }
  void Set(std::time_t now) { now_ = now; }

 private:
  std::time_t now_;
  WallClock* before_;
};

}  // namespace vmr::test

#endif  // VMR_TESTS_SUPPORT_TEST_CLOCK_H_
