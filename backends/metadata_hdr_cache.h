// Headers of clusters already read, so that searches do not read them again.
#ifndef VMR_BACKENDS_METADATA_HDR_CACHE_H_
#define VMR_BACKENDS_METADATA_HDR_CACHE_H_

#include <map>

#include "backends/cluster_format.h"

namespace vmr {

// A bounded map from cluster number to header, without eviction: when it is
// full, further headers are not kept. Deliberate: an entry is never updated,
// cluster writes do not touch it, and whoever searches clears it first.
//
// Owns     its copies.
// Threads  none.
class MetadataHdrCache {
 public:
  // What every owner in this library asks for.
  static constexpr unsigned int kDefaultCapacity = 1024;

  explicit MetadataHdrCache(unsigned int maxSize) : max_size_(maxSize) {}
  virtual ~MetadataHdrCache() = default;

  unsigned int Size() const { return static_cast<unsigned int>(headers_.size()); }
  // The cached header, null when there is none. Valid until Clear.
  const CLUSTER_HEADER_T* Find(int cluster) const;
  // Keeps a copy, unless the cluster is cached already or the cache is full.
  void Add(int cluster, const CLUSTER_HEADER_T& hdr);
  void Clear() { headers_.clear(); }

 private:
  unsigned int max_size_;
  std::map<int, CLUSTER_HEADER_T> headers_;
};

}  // namespace vmr

#endif  // VMR_BACKENDS_METADATA_HDR_CACHE_H_
