// The file name under which every operation of DataStore logs, whichever source
// file holds it: log watchers in the field look for this one.
#ifndef VMR_STORE_LOG_SOURCE_H_
#define VMR_STORE_LOG_SOURCE_H_

#include "host/log.h"

namespace vmr {

inline constexpr char kDataStoreLogSource[] = "DataStore.cc";

}  // namespace vmr

#endif  // VMR_STORE_LOG_SOURCE_H_
