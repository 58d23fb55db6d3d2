// Crc8 on a cluster's 4096 bytes, against the loop over one 256-byte table that
// one would write first.
#include <benchmark/benchmark.h>

#include <array>
#include <cstddef>
#include <vector>

#include "host/crc8.h"

namespace {

constexpr std::size_t kClusterBytes = 4096;
constexpr unsigned char kInitial = 0xFF;

std::array<unsigned char, 256> MakeTable() {
  std::array<unsigned char, 256> table{};
  for (unsigned int b = 0; b < 256; ++b) {
    unsigned int crc = b;
    for (int bit = 0; bit < 8; ++bit) crc = (crc & 0x80) != 0 ? (crc << 1) ^ 0x07 : crc << 1;
    table[b] = static_cast<unsigned char>(crc);
  }
  return table;
}

unsigned char ByteTableCrc8(const unsigned char* data, unsigned int length, unsigned char crc) {
  static const std::array<unsigned char, 256> kTable = MakeTable();
  for (; length > 0; --length, ++data) crc = kTable[crc ^ *data];
  return crc;
}

std::vector<unsigned char> Cluster() {
  std::vector<unsigned char> bytes(kClusterBytes);
  unsigned int state = 1;
  for (unsigned char& byte : bytes) {
    state = state * 1103515245U + 12345U;
    byte = static_cast<unsigned char>(state >> 16);
  }
  return bytes;
}

template <unsigned char (*kCrc)(const unsigned char*, unsigned int, unsigned char)>
void CrcOfCluster(benchmark::State& state) {
  const std::vector<unsigned char> bytes = Cluster();
  if (kCrc(bytes.data(), kClusterBytes, kInitial) !=
      ByteTableCrc8(bytes.data(), kClusterBytes, kInitial))
    state.SkipWithError("the two disagree");
  for (auto _ : state) benchmark::DoNotOptimize(kCrc(bytes.data(), kClusterBytes, kInitial));
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                          static_cast<std::int64_t>(kClusterBytes));
}

BENCHMARK(CrcOfCluster<ByteTableCrc8>)->Name("byte table loop (peer)");
BENCHMARK(CrcOfCluster<vmr::Crc8>)->Name("vmr::Crc8");

}  // namespace
