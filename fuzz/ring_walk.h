// What any ring must do for a reader, whatever its files hold.
#ifndef VMR_FUZZ_RING_WALK_H_
#define VMR_FUZZ_RING_WALK_H_

#include "backends/data_store_normal.h"
#include "fuzz/ring_input.h"

namespace vmr::fuzz {

// Reads the open ring from its beginning to its end and parses everything.
void ReadEverything(DataStoreNormal& ring, const RingInput& input);

// Looks for ticks in the open ring.
void SearchTicks(DataStoreNormal& ring, const RingInput& input, const CowFiles& files);

}  // namespace vmr::fuzz

#endif  // VMR_FUZZ_RING_WALK_H_
