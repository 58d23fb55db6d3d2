// What every fuzz target needs around the code it feeds.
#ifndef VMR_FUZZ_FUZZ_SETUP_H_
#define VMR_FUZZ_FUZZ_SETUP_H_

#include <cstddef>
#include <cstdint>

namespace vmr::fuzz {

// Once in the life of the process: the viewer's text goes to /dev/null, log
// messages are built, but the per-byte trace is left out, and dropped; the time
// zone is UTC.
void SetUpOnce();

// Ends the process with a message when something that must hold does not.
void Require(bool holds, const char* what);

}  // namespace vmr::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

#endif  // VMR_FUZZ_FUZZ_SETUP_H_
