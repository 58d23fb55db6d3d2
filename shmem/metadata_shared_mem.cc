#include "shmem/metadata_shared_mem.h"

#include "host/log.h"

namespace vmr {
namespace {
constexpr char kLogSource[] = "MetadataSharedMem.cc";
}  // namespace

int MetadataSharedMem::ShmemAttach() {
  if (attached_ != 0) return attached_;
  area_ = static_cast<unsigned char*>(memory_.Attach(kAreaBytes, kAreaId));
  if (area_ == nullptr) {
    VMR_LOG(kLogFatal, "MetadataSharedMem::ShmemAttach - Shared Memory attachment failure");
    return 0;
  }
  attached_ = 1;
  return attached_;
}

int MetadataSharedMem::Init(bool checkConnected) {
  if (ShmemAttach() == 0) return 0;
  // Deliberate: "Metadadata", as log watchers know it.
  if (checkConnected && area_[0] == 0 && area_[1] == 0)
    VMR_LOG(kLogWarning, "MetadataSharedMem::MetadadataItems - MetadataMgr not connected");
  return 1;
}

unsigned char* MetadataSharedMem::MetadataItems(bool checkConnected) {
  return Init(checkConnected) != 0 ? area_ : nullptr;
}

}  // namespace vmr
