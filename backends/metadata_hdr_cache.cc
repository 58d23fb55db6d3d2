#include "backends/metadata_hdr_cache.h"

#include "host/log.h"

namespace vmr {
namespace {
constexpr char kLogSource[] = "MetadataHdrCache.cc";
}

const CLUSTER_HEADER_T* MetadataHdrCache::Find(int cluster) const {
  const auto found = headers_.find(cluster);
  if (found == headers_.end()) return nullptr;
  VMR_LOG(kLogEachItem, "Found item in cache");
  return &found->second;
}

void MetadataHdrCache::Add(int cluster, const CLUSTER_HEADER_T& hdr) {
  if (Size() >= max_size_) {
    // Deliberate: only a trace. The search goes on, reading once more.
    VMR_LOG(kLogTrace, "Cannot add to cache, already at max size");
    return;
  }
  headers_.emplace(cluster, hdr);
}

}  // namespace vmr
