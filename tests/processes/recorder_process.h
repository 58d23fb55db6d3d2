// A process that records numbered packets until it is killed.
#ifndef VMR_TESTS_PROCESSES_RECORDER_PROCESS_H_
#define VMR_TESTS_PROCESSES_RECORDER_PROCESS_H_

#include <cstdint>
#include <string>

namespace vmr::processes {

// When the process gets its SIGKILL. At an operation it sends it itself, so that
// a replay kills at the same place; the others are races with it.
enum class KillAt { kBeforeOperation, kAfterOperation, kAcknowledgements, kMicroseconds };

struct KillPlan {
  KillAt when;
  long count;  // of file operations, of acknowledgements or of microseconds
};
std::string Describe(const KillPlan& plan);

struct Killed {
  bool opened = false;             // the store was open when the kill came
  std::uint32_t acknowledged = 0;  // the last packet whose WriteData had returned
  std::string wrong;               // it ended otherwise; "" when it was killed
};

// Starts a process that opens the ring and hands packets over as fast as it can,
// from number `next` on. After every WriteData it puts the packet's number into a
// pipe. Returns when it and all that it started are dead.
Killed RecordUntilKilled(const std::string& base, std::uint32_t next, const KillPlan& plan);

}  // namespace vmr::processes

#endif  // VMR_TESTS_PROCESSES_RECORDER_PROCESS_H_
