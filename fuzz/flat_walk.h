// A flat file that a store made, taken apart by rules of its own.
#ifndef VMR_FUZZ_FLAT_WALK_H_
#define VMR_FUZZ_FLAT_WALK_H_

#include <cstddef>
#include <cstdint>
#include <vector>

namespace vmr::fuzz {

struct FlatContent {
  std::size_t packets = 0;           // behind the dictionary
  std::vector<std::uint32_t> ticks;  // of the packets that tell all of them, in order
};

// The magic, a dictionary, then packets from end to end; anything else ends the
// process.
FlatContent WalkFlatFile(const std::vector<unsigned char>& bytes);

}  // namespace vmr::fuzz

#endif  // VMR_FUZZ_FLAT_WALK_H_
