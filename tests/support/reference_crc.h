// The CRC-8 of packets and clusters, one bit at a time: slow, obviously right,
// and sharing nothing with the service that it checks.
#ifndef VMR_TESTS_SUPPORT_REFERENCE_CRC_H_
#define VMR_TESTS_SUPPORT_REFERENCE_CRC_H_

#include <cstddef>

#include "tests/support/bytes.h"

namespace vmr::test {

// Static, so that who is compiled with optimisation does not get the copy of who is not.
static inline unsigned char ReferenceCrc8(const unsigned char* data, std::size_t length,
                                          unsigned char initial = 0xFF) {
  unsigned int crc = initial;
  for (const unsigned char* const end = data + length; data < end; ++data) {
    crc ^= *data;
    for (int bit = 0; bit < 8; ++bit) {
      const bool carry = (crc & 0x80) != 0;
      crc = (crc << 1) & 0xFF;
      if (carry) crc ^= 0x07;
    }
  }
  return static_cast<unsigned char>(crc);
}

static inline unsigned char ReferenceCrc8(const Bytes& bytes, unsigned char initial = 0xFF) {
  return ReferenceCrc8(bytes.data(), bytes.size(), initial);
}

// `bytes` with the CRC of all of them behind.
inline Bytes WithCrc(Bytes bytes) {
  bytes.push_back(ReferenceCrc8(bytes));
  return bytes;
}

}  // namespace vmr::test

#endif  // VMR_TESTS_SUPPORT_REFERENCE_CRC_H_
