// The store that discards.
#ifndef VMR_BACKENDS_DATA_STORE_NULL_H_
#define VMR_BACKENDS_DATA_STORE_NULL_H_

#include "store/data_store.h"

namespace vmr {

// Accepts and discards every packet. Its mirror and work buffer serve readers
// that want no output.
class DataStoreNull : public DataStore {
 public:
  DataStoreNull() : DataStore(DATA_STORE_NULL, kSimpleStoreBufferBytes) {}

  [[nodiscard]] int Open() override { return OpenInit(); }
  int Close() override { return DataStore::Close(); }
  int WriteData(const unsigned char* /*data*/, int /*length*/, unsigned int /*sysTick*/) override {
    return 1;
  }
};

}  // namespace vmr

#endif  // VMR_BACKENDS_DATA_STORE_NULL_H_
