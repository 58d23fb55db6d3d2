// Lets a recording wait for the device once instead of at every packet.
#ifndef VMR_TOOLS_RECORD_HELD_SYNCS_H_
#define VMR_TOOLS_RECORD_HELD_SYNCS_H_

#include <set>

#include "tools/common/passed_files.h"

namespace vmr::tool {

// As long as it lives, a file of the process that is synced is synced when it is closed:
// until then the system hands the device what it likes when it likes, many packets at
// once. What a power cut leaves of files written so is anything between before and after;
// no order holds.
//
// Owns     nothing.
// Threads  none.
// Errors   a sync that fails makes Close fail with its errno, and Failed true.
class HeldSyncs final : public PassedFiles {
 public:
  int Fsync(int fd) override;
  int Close(int fd) override;

  // Something written is, or may be, not on the device.
  bool Failed() const { return error_ != 0; }
  // Of the first sync that failed.
  int Error() const { return error_; }

 private:
  bool SyncHeld(int fd);

  std::set<int> held_;  // descriptors
  int error_ = 0;
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_RECORD_HELD_SYNCS_H_
