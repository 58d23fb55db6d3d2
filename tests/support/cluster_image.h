// Clusters as bytes, made without the code under test. Compiled with the optimisation of the
// build, which tests are not: a ring is 32,768 of them.
#ifndef VMR_TESTS_SUPPORT_CLUSTER_IMAGE_H_
#define VMR_TESTS_SUPPORT_CLUSTER_IMAGE_H_

#include <cstddef>
#include <cstdint>

#include "tests/support/bytes.h"

namespace vmr::test {

// A whole cluster that holds `payload`: CRC, first tick, size, and zeros behind.
Bytes ClusterImage(std::uint32_t st, const Bytes& payload);

inline Bytes NeverWritten() { return ClusterImage(0xFFFFFFFF, {}); }

// A HEADER_1 packet of `length` bytes in all (7..262), its items the tick's last byte.
Bytes PacketAt(std::uint32_t tick, std::size_t length = 100);

}  // namespace vmr::test

#endif  // VMR_TESTS_SUPPORT_CLUSTER_IMAGE_H_
