#include "tests/support/cluster_image.h"

#include <cstring>

#include "tests/support/reference_crc.h"

namespace vmr::test {
namespace {

constexpr std::size_t kHeaderBytes = 1 + 4 + 2;
constexpr std::size_t kImageBytes = 4096;

void PutLe(unsigned char* at, std::uint32_t value, int bytes) {
  for (int n = 0; n < bytes; ++n) at[n] = static_cast<unsigned char>(value >> 8 * n);
}

}  // namespace

Bytes ClusterImage(std::uint32_t st, const Bytes& payload) {
  const std::size_t size = kHeaderBytes + payload.size();
  Bytes image(size > kImageBytes ? size : kImageBytes);
  PutLe(&image[1], st, 4);
  PutLe(&image[5], static_cast<std::uint32_t>(size), 2);
  if (!payload.empty()) memcpy(&image[kHeaderBytes], payload.data(), payload.size());
  image[0] = ReferenceCrc8(&image[1], size - 1);
  image.resize(kImageBytes);
  return image;
}

Bytes PacketAt(std::uint32_t tick, std::size_t length) {
  Bytes packet(length, static_cast<unsigned char>(tick));
  packet[0] = 0x80;
  PutLe(&packet[1], tick, 4);
  packet[5] = static_cast<unsigned char>(length - 7);
  packet[length - 1] = ReferenceCrc8(packet.data(), length - 1);
  return packet;
}

}  // namespace vmr::test
