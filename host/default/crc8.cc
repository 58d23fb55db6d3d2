#include "host/crc8.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace vmr {
namespace {

constexpr unsigned int kPolynomial = 0x07;
constexpr unsigned int kSliceBytes = 16;

using ByteTable = std::array<std::uint8_t, 256>;
using SliceTables = std::array<ByteTable, kSliceBytes>;

constexpr std::uint8_t ShiftByteThrough(unsigned int crc) {
  for (int bit = 0; bit < 8; ++bit) crc = (crc & 0x80) ? (crc << 1) ^ kPolynomial : crc << 1;
  return static_cast<std::uint8_t>(crc);
}

// tables[n][b]: what byte b contributes to the register n bytes later. The
// bytes of one slice are then looked up independently of each other, where a
// single table would make each look-up wait for the one before.
constexpr SliceTables MakeTables() {
  SliceTables tables{};
  for (std::size_t b = 0; b < 256; ++b)
    tables[0][b] = ShiftByteThrough(static_cast<unsigned int>(b));
  for (std::size_t n = 1; n < kSliceBytes; ++n)
    for (std::size_t b = 0; b < 256; ++b) tables[n][b] = tables[0][tables[n - 1][b]];
  return tables;
}

constexpr SliceTables kTables = MakeTables();

// Takes in the next kBytes bytes at once.
template <std::size_t kBytes>
std::uint8_t TakeSlice(std::uint8_t crc, const unsigned char* data) {
  static_assert(kBytes <= kSliceBytes);
  std::uint8_t next = kTables[kBytes - 1][crc ^ data[0]];
  for (std::size_t i = 1; i < kBytes; ++i)
    next = static_cast<std::uint8_t>(next ^ kTables[kBytes - 1 - i][data[i]]);
  return next;
}

}  // namespace

// Most packets are shorter than a few slices: what is left of one is taken in halves.
unsigned char Crc8(const unsigned char* data, unsigned int length, unsigned char initial) {
  std::uint8_t crc = initial;
  for (; length >= kSliceBytes; length -= kSliceBytes, data += kSliceBytes)
    crc = TakeSlice<kSliceBytes>(crc, data);
  if ((length & 8) != 0) {
    crc = TakeSlice<8>(crc, data);
    data += 8;
  }
  if ((length & 4) != 0) {
    crc = TakeSlice<4>(crc, data);
    data += 4;
  }
  for (length &= 3; length > 0; --length, ++data) crc = kTables[0][crc ^ *data];
  return crc;
}

}  // namespace vmr
