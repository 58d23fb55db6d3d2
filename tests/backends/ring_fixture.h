// Rings as bytes, made and read back without the code under test.
#ifndef VMR_TESTS_BACKENDS_RING_FIXTURE_H_
#define VMR_TESTS_BACKENDS_RING_FIXTURE_H_

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "backends/data_store_normal.h"
#include "tests/support/bytes.h"
#include "tests/support/captured_log.h"
#include "tests/support/cluster_image.h"
#include "tests/support/reference_crc.h"
#include "tests/support/simulated_files.h"

namespace vmr::test {

inline constexpr std::size_t kRingClusters = 32768;
inline constexpr long kRingBytes = 134217728;

// Over bytes `from` to `to` - 1.
inline unsigned char ReferenceCrc(const Bytes& bytes, std::size_t from, std::size_t to) {
  return ReferenceCrc8(bytes.data() + from, to - from);
}

inline Bytes Le32(std::uint32_t value) {
  return {static_cast<unsigned char>(value), static_cast<unsigned char>(value >> 8),
          static_cast<unsigned char>(value >> 16), static_cast<unsigned char>(value >> 24)};
}

inline Bytes Repeat(unsigned char byte, std::size_t count) { return Bytes(count, byte); }

// The ticks of HEADER_1 packets back to back. Stops at anything else, with a
// failed test.
inline std::vector<unsigned int> TicksOf(const Bytes& stream) {
  std::vector<unsigned int> ticks;
  std::size_t at = 0;
  while (at + 7 <= stream.size() && stream[at] == 0x80 &&
         at + stream[at + 5] + 7 <= stream.size()) {
    ticks.push_back(stream[at + 1] | static_cast<unsigned int>(stream[at + 2]) << 8 |
                    static_cast<unsigned int>(stream[at + 3]) << 16 |
                    static_cast<unsigned int>(stream[at + 4]) << 24);
    at += stream[at + 5] + 7U;
  }
  EXPECT_EQ(at, stream.size()) << "no whole packet at byte " << at;
  return ticks;
}

// Everything a store has from `position` on.
inline Bytes ReadStream(DataStore& store, long position) {
  Bytes stream;
  Bytes buffer(4096);
  int bytes_read = 1;
  while (bytes_read > 0) {
    const bool ok =
        store.ReadDataIntoBuffer(position, buffer.data(), 4096, bytes_read, position) != 0;
    EXPECT_TRUE(ok) << "at position " << position;
    if (!ok) break;
    stream.insert(stream.end(), buffer.begin(), buffer.begin() + bytes_read);
  }
  return stream;
}

// The pair of files of a ring store on simulated files, and what was logged.
class RingTest : public ::testing::Test {
 protected:
  RingTest() { files_.MakeDirectory("/m"); }
  ~RingTest() override { EXPECT_EQ(files_.Misuse(), ""); }

  void PutEmptyRing(const std::string& path) {
    files_.PutFile(path, {});
    files_.FillBlocks(path, 0, kRingClusters, NeverWritten());
  }
  void PutEmptyPair() {
    PutEmptyRing(kFile1);
    files_.CopyContent(kFile1, kFile2);
  }
  void PutCluster(const std::string& path, std::size_t cluster, const Bytes& image) {
    files_.PutBlock(path, cluster, image);
  }
  void PutInBoth(std::size_t cluster, const Bytes& image) {
    PutCluster(kFile1, cluster, image);
    PutCluster(kFile2, cluster, image);
  }
  // A pair whose clusters 0 .. `count` - 1 hold one packet each, cluster c that
  // of tick 1000 + c.
  void PutPairWith(std::size_t count) {
    PutEmptyRing(kFile1);
    files_.PutBlocks(kFile1, 0, count, [](std::size_t c) { return OnePacket(c); });
    files_.CopyContent(kFile1, kFile2);
  }
  static Bytes OnePacket(std::size_t cluster) {
    const auto tick = static_cast<std::uint32_t>(1000 + cluster);
    return ClusterImage(tick, PacketAt(tick));
  }

  // Writes one packet.
  static int Write(DataStoreNormal& store, const Bytes& packet, unsigned int tick) {
    return store.WriteData(packet.data(), static_cast<int>(packet.size()), tick);
  }
  static int WriteTick(DataStoreNormal& store, unsigned int tick, std::size_t length = 100) {
    return Write(store, PacketAt(tick, length), tick);
  }

  bool Logged(unsigned int level, const std::string& text) const {
    return log_.Has(level, "DataStoreNormal.cc", text);
  }
  bool FileLogged(unsigned int level, const std::string& text) const {
    return log_.Has(level, "FileStore.cc", text);
  }

  static constexpr char kBase[] = "/m/r";
  static constexpr char kFile1[] = "/m/r_1.mtd";
  static constexpr char kFile2[] = "/m/r_2.mtd";

  SimulatedFiles files_;
  CapturedLog log_;
};

}  // namespace vmr::test

#endif  // VMR_TESTS_BACKENDS_RING_FIXTURE_H_
