// A stream of packets in memory that a reader reads as it reads a flat file.
#ifndef VMR_FUZZ_MEMORY_SOURCE_H_
#define VMR_FUZZ_MEMORY_SOURCE_H_

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "backends/cluster_format.h"
#include "store/data_store.h"

namespace vmr::fuzz {

// Owns     not the bytes, which must outlive it.
// Units    positions are offsets.
class MemorySource : public DataStore {
 public:
  MemorySource(const std::uint8_t* data, std::size_t size)
      : DataStore(DATA_STORE_FLAT_READ, kSimpleStoreBufferBytes), data_(data), size_(size) {}

  int Open() override { return 1; }
  int WriteData(const unsigned char* /*data*/, int /*length*/, unsigned int /*sysTick*/) override {
    return 0;
  }
  // Up to the end of the position's block; refused when a whole block would not
  // fit.
  int ReadDataIntoBuffer(long position, unsigned char* buffer, int bufferSize, int& bytesRead,
                         long& nextPosition) override {
    bytesRead = 0;
    if (bufferSize < kClusterBytes) return 0;
    const auto at = static_cast<std::size_t>(position);
    const std::size_t block_left = kClusterBytes - at % kClusterBytes;
    const std::size_t count = at >= size_ ? 0 : std::min(size_ - at, block_left);
    if (count > 0) std::memcpy(buffer, data_ + at, count);
    bytesRead = static_cast<int>(count);
    nextPosition = position + bytesRead;
    return 1;
  }

 private:
  const std::uint8_t* data_;
  std::size_t size_;
};

}  // namespace vmr::fuzz

#endif  // VMR_FUZZ_MEMORY_SOURCE_H_
