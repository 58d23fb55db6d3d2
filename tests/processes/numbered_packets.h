// Packets that tell their number: what a recording of them must read back as
// follows from the numbers alone.
#ifndef VMR_TESTS_PROCESSES_NUMBERED_PACKETS_H_
#define VMR_TESTS_PROCESSES_NUMBERED_PACKETS_H_

#include <cstdint>
#include <string>

#include "tests/support/bytes.h"

namespace vmr::processes {

using test::Bytes;

// What is handed to the store as packet number `number`, from 1 on: one packet
// or, now and then, a train of them. Its tick is its number; length and items
// follow from the number too. Made without the library.
Bytes NumberedPacket(std::uint32_t number);

// The numbers first to last that a stream holds, without gaps and byte for byte.
struct Numbers {
  std::uint32_t first = 0;  // 0: the stream is empty
  std::uint32_t last = 0;
  std::string wrong;  // where it is anything else; "" when it is not
};
Numbers ReadNumbers(const Bytes& stream);

}  // namespace vmr::processes

#endif  // VMR_TESTS_PROCESSES_NUMBERED_PACKETS_H_
