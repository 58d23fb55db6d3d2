// The small area that the unit's metadata manager publishes.
#ifndef VMR_SHMEM_METADATA_SHARED_MEM_H_
#define VMR_SHMEM_METADATA_SHARED_MEM_H_

#include "host/shared_memory.h"

namespace vmr {

// Attaches the area when it is first asked for, and again after a failure. What
// is in it is the metadata manager's; only its first two bytes are looked at,
// which are both 0 until the manager has connected.
//
// Owns     the attachment, until the object is destroyed.
// Threads  none.
// Errors   logged; nothing throws.
class MetadataSharedMem {
 public:
  static constexpr unsigned int kAreaBytes = 88;
  static constexpr char kAreaId = 'M';

  // 1 when the area is attached, else 0; the next call tries again.
  [[nodiscard]] int ShmemAttach();
  // 1 when the area is attached, whether the manager is connected or not; with
  // `checkConnected` a manager that is not gets a warning. 0 otherwise.
  [[nodiscard]] int Init(bool checkConnected);
  // The area's 88 bytes, valid while this object lives; null when they cannot be
  // attached.
  [[nodiscard]] unsigned char* MetadataItems(bool checkConnected);

 private:
  int attached_ = 0;
  unsigned char* area_ = nullptr;
  SharedMemory memory_;
};

}  // namespace vmr

#endif  // VMR_SHMEM_METADATA_SHARED_MEM_H_
