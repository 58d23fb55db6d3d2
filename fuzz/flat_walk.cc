#include "fuzz/flat_walk.h"

#include "fuzz/fuzz_setup.h"

namespace vmr::fuzz {
namespace {

// Bytes of the packet, 0 when it does not end within `left`.
std::size_t PacketBytes(const unsigned char* packet, std::size_t left) {
  struct Shape {
    unsigned int head, per_count, tail;
  };
  static constexpr Shape kShapes[] = {{6, 1, 1}, {3, 1, 1}, {2, 1, 1}, {2, 2, 1}};
  if (packet[0] < 0x80 || packet[0] > 0x83) return 0;
  const Shape& shape = kShapes[packet[0] - 0x80];
  if (left < shape.head) return 0;
  const std::size_t bytes = shape.head + packet[shape.head - 1] * shape.per_count + shape.tail;
  return bytes <= left ? bytes : 0;
}

}  // namespace

FlatContent WalkFlatFile(const std::vector<unsigned char>& bytes) {
  constexpr unsigned char kMagic[] = {0x66, 0x5D, 0x53, 0x31};
  Require(bytes.size() > sizeof(kMagic), "a flat file holds more than its magic");
  for (std::size_t i = 0; i < sizeof(kMagic); ++i)
    Require(bytes[i] == kMagic[i], "a flat file begins with its magic");
  FlatContent content;
  for (std::size_t at = sizeof(kMagic); at < bytes.size();) {
    const unsigned char* const packet = bytes.data() + at;
    const std::size_t whole = PacketBytes(packet, bytes.size() - at);
    Require(whole > 0, "a flat file is whole packets to its end");
    Require(at > sizeof(kMagic) || packet[0] == 0x83, "the first of them is the dictionary");
    if (at > sizeof(kMagic)) ++content.packets;
    if (packet[0] == 0x80)
      content.ticks.push_back(packet[1] + packet[2] * 0x100U + packet[3] * 0x10000U +
                              packet[4] * 0x1000000U);
    at += whole;
  }
  return content;
}

}  // namespace vmr::fuzz
