// Headers of clusters already read, so that searches do not read them again.
#ifndef VMR_BACKENDS_METADATA_HDR_CACHE_H_
#define VMR_BACKENDS_METADATA_HDR_CACHE_H_

#include <memory>

#include "backends/cluster_format.h"

namespace vmr {

// A bounded table from cluster number to header, without eviction: when it is
// full, further headers are not kept. Deliberate: an entry is never updated,
// cluster writes do not touch it, and whoever searches clears it first.
//
// Owns     its copies. The room of the first 32, more than a search meets, is taken
//          with the first and kept from then on; more grow it.
// Threads  none.
// Errors   without memory a header is not kept, and read again when it is wanted.
class MetadataHdrCache {
 public:
  // What every owner in this library asks for.
  static constexpr unsigned int kDefaultCapacity = 1024;

  explicit MetadataHdrCache(unsigned int maxSize) : max_size_(maxSize) {}
  virtual ~MetadataHdrCache() = default;

  unsigned int Size() const { return size_; }
  // The cached header, null when there is none. Valid until the next Add or Clear.
  const CLUSTER_HEADER_T* Find(int cluster) const;
  // Keeps a copy, unless the cluster is cached already or the cache is full.
  void Add(int cluster, const CLUSTER_HEADER_T& hdr);
  void Clear() { size_ = 0; }

 private:
  struct Entry {
    int cluster;
    CLUSTER_HEADER_T hdr;
  };

  const Entry* EntryOf(int cluster) const;
  bool HasRoomForOneMore();

  unsigned int max_size_;
  unsigned int size_ = 0;
  unsigned int room_ = 0;
  std::unique_ptr<Entry[]> entries_;  // in the order in which they came
};

}  // namespace vmr

#endif  // VMR_BACKENDS_METADATA_HDR_CACHE_H_
