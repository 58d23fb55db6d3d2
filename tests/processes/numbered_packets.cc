#include "tests/processes/numbered_packets.h"

#include <algorithm>
#include <cstddef>

#include "tests/support/reference_crc.h"

namespace vmr::processes {
namespace {

constexpr std::size_t kHeader1Bytes = 1 + 4 + 1;
constexpr int kMostItemBytes = 255;

std::uint32_t Mixed(std::uint32_t value) {
  value = (value ^ (value >> 16)) * 0x45D9F3BU;
  value = (value ^ (value >> 16)) * 0x45D9F3BU;
  return value ^ (value >> 16);
}

Bytes OnePacket(std::uint32_t tick, int item_bytes, std::uint32_t seed) {
  Bytes packet{0x80};
  for (int shift = 0; shift < 32; shift += 8)
    packet.push_back(static_cast<unsigned char>(tick >> shift));
  packet.push_back(static_cast<unsigned char>(item_bytes));
  for (int i = 0; i < item_bytes; ++i) {
    seed = seed * 1664525U + 1013904223U;
    packet.push_back(static_cast<unsigned char>(seed >> 24));
  }
  return test::WithCrc(packet);
}

}  // namespace

Bytes NumberedPacket(std::uint32_t number) {
  const std::uint32_t draw = Mixed(number);
  if (draw % 8 != 0) return OnePacket(number, static_cast<int>(draw / 8 % 200), draw);
  Bytes train;
  for (std::uint32_t left = 2 + draw / 8 % 13; left > 0; --left) {
    const Bytes packet = OnePacket(number, kMostItemBytes, draw + left);
    train.insert(train.end(), packet.begin(), packet.end());
  }
  return train;
}

Numbers ReadNumbers(const Bytes& stream) {
  Numbers numbers;
  for (std::size_t at = 0; at < stream.size();) {
    const std::string place = "byte " + std::to_string(at) + " of what is read back";
    if (stream.size() - at < kHeader1Bytes || stream[at] != 0x80) {
      numbers.wrong = place + " begins no packet";
      return numbers;
    }
    std::uint32_t number = 0;
    for (int i = 3; i >= 0; --i)
      number = number << 8 | stream[at + 1 + static_cast<std::size_t>(i)];
    if (numbers.last != 0 && number != numbers.last + 1) {
      numbers.wrong = "packet " + std::to_string(numbers.last) + " is followed by " +
                      std::to_string(number) + ", " + place;
      return numbers;
    }
    const Bytes right = NumberedPacket(number);
    if (stream.size() - at < right.size() ||
        !std::equal(right.begin(), right.end(), stream.begin() + static_cast<std::ptrdiff_t>(at))) {
      numbers.wrong = "packet " + std::to_string(number) + " is not what was written, " + place;
      return numbers;
    }
    if (numbers.first == 0) numbers.first = number;
    numbers.last = number;
    at += right.size();
  }
  return numbers;
}

}  // namespace vmr::processes
