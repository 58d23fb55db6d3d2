#include "backends/metadata_hdr_cache.h"

#include <algorithm>
#include <new>
#include <utility>

#include "host/log.h"

namespace vmr {
namespace {
constexpr char kLogSource[] = "MetadataHdrCache.cc";
constexpr unsigned int kFirstRoom = 32;
}  // namespace

const CLUSTER_HEADER_T* MetadataHdrCache::Find(int cluster) const {
  const Entry* const found = EntryOf(cluster);
  if (found == nullptr) return nullptr;
  VMR_LOG(kLogEachItem, "Found item in cache");
  return &found->hdr;
}

void MetadataHdrCache::Add(int cluster, const CLUSTER_HEADER_T& hdr) {
  if (Size() >= max_size_) {
    // Deliberate: only a trace. The search goes on, reading once more.
    VMR_LOG(kLogTrace, "Cannot add to cache, already at max size");
    return;
  }
  if (EntryOf(cluster) == nullptr && HasRoomForOneMore()) entries_[size_++] = {cluster, hdr};
}

// From first to last: all 1024 are looked through in less time than one cluster is read.
const MetadataHdrCache::Entry* MetadataHdrCache::EntryOf(int cluster) const {
  for (unsigned int n = 0; n < size_; ++n)
    if (entries_[n].cluster == cluster) return &entries_[n];
  return nullptr;
}

bool MetadataHdrCache::HasRoomForOneMore() {
  if (size_ < room_) return true;
  const unsigned int wanted = std::min(max_size_, std::max(kFirstRoom, 2 * room_));
  std::unique_ptr<Entry[]> more(new (std::nothrow) Entry[wanted]);
  if (more == nullptr) return false;
  std::copy_n(entries_.get(), size_, more.get());
  entries_ = std::move(more);
  room_ = wanted;
  return true;
}

}  // namespace vmr
