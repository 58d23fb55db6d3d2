// What every fuzz target needs around the code it feeds.
#ifndef VMR_FUZZ_FUZZ_SETUP_H_
#define VMR_FUZZ_FUZZ_SETUP_H_

#include <cstddef>
#include <cstdint>

namespace vmr::fuzz {

// Every target begins an input with this. What viewers and the program print goes
// nowhere, the time zone is UTC, and of one input in sixteen, told by its bytes,
// every log message is built, and dropped.
void StartInput(const std::uint8_t* data, std::size_t size);

// True for one input in `many`, told by its bytes in a way that cannot be aimed at:
// for what takes too long to be done with each.
bool IsOneIn(unsigned int many);

// Ends the process with a message when something that must hold does not.
void Require(bool holds, const char* what);

}  // namespace vmr::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

#endif  // VMR_FUZZ_FUZZ_SETUP_H_
