// What a call does that fails.
#ifndef VMR_TESTS_CRASH_FAULT_KINDS_H_
#define VMR_TESTS_CRASH_FAULT_KINDS_H_

#include <errno.h>

#include <string>

#include "tests/crash/cow_files.h"

namespace vmr::crash {

struct FaultKind {
  const char* name;
  int error;
  int short_by;
  bool lost;
  int times = 1;
};
inline constexpr FaultKind kErrors[] = {{"EIO", EIO, 0, false},
                                        {"ENOSPC", ENOSPC, 0, false},
                                        {"EACCES", EACCES, 0, false},
                                        {"EINTR", EINTR, 0, false},
                                        {"EINTR3", EINTR, 0, false, 3}};
inline constexpr FaultKind kShort[] = {{"short1", 0, 1, false},
                                       {"short512", 0, 512, false},
                                       {"short4095", 0, 4095, false},
                                       {"nothing", 0, 4096, false}};
inline constexpr FaultKind kNothingNextFails = {"nothing-next", 0, 4096, false};
inline constexpr FaultKind kErrorNextFails = {"EIO-next", EIO, 0, false};
inline constexpr FaultKind kLost = {"lost", 0, 0, true};

// `fault` with what the kind says, at the k-th of the calls it is for.
inline Fault Make(Fault fault, const FaultKind& kind, int k, bool forever) {
  fault.skip = k;
  fault.forever = forever;
  fault.times = kind.times;
  fault.error = kind.error;
  fault.short_by = kind.short_by;
  fault.lost = kind.lost;
  return fault;
}

// "EIO/once/k3".
inline std::string Describe(const FaultKind& kind, int k, bool forever) {
  return std::string(kind.name) + (forever ? "/forever" : "/once") + "/k" + std::to_string(k);
}

}  // namespace vmr::crash

#endif  // VMR_TESTS_CRASH_FAULT_KINDS_H_
