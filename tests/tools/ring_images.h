// Stores made of bytes, without the code under test.
#ifndef VMR_TESTS_TOOLS_RING_IMAGES_H_
#define VMR_TESTS_TOOLS_RING_IMAGES_H_

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

#include "tests/support/bytes.h"
#include "tests/support/cluster_image.h"
#include "tests/support/reference_crc.h"
#include "tests/tools/program.h"

namespace vmr::test {

inline constexpr int kRingClusters = 32768;
inline constexpr std::size_t kImageBytes = 4096;

inline Bytes Le32Bytes(std::uint32_t value) {
  return {static_cast<unsigned char>(value), static_cast<unsigned char>(value >> 8),
          static_cast<unsigned char>(value >> 16), static_cast<unsigned char>(value >> 24)};
}

// Packets of each kind around their items.
inline Bytes FullPacket(std::uint32_t tick, const Bytes& items) {
  return WithCrc(B("80") + Le32Bytes(tick) + Bytes{static_cast<unsigned char>(items.size())} +
                 items);
}
inline Bytes ShortPacket(std::uint32_t tick, const Bytes& items) {
  return WithCrc(
      Bytes{0x81, static_cast<unsigned char>(tick), static_cast<unsigned char>(items.size())} +
      items);
}
// Its CRC covers as many bytes as there are item bytes, counted from its start.
inline Bytes Continuation(const Bytes& items) {
  Bytes packet = Bytes{0x82, static_cast<unsigned char>(items.size())} + items;
  packet.push_back(ReferenceCrc8(packet.data(), items.size()));
  return packet;
}

// A whole cluster around its packets.
inline Bytes ClusterOf(std::uint32_t st, const Bytes& packets) { return ClusterImage(st, packets); }
inline Bytes UnwrittenCluster() { return ClusterOf(0xFFFFFFFF, {}); }

// A store "s" of a test, written and read cluster by cluster.
class RingImageTest : public ProgramTest {
 protected:
  static std::string FileName(int file, const std::string& store = "s") {
    return store + "_" + std::to_string(file) + ".mtd";
  }
  // Of `count` clusters, each as `image` makes it; the rest was never written.
  template <typename ImageOf>
  void MakeRing(int count, ImageOf image, const std::string& store = "s") const {
    constexpr int kAtOnce = 256;
    const Bytes one = UnwrittenCluster();
    std::string unwritten;
    for (int n = 0; n < kAtOnce; ++n)
      unwritten.append(reinterpret_cast<const char*>(one.data()), one.size());
    std::ofstream files[] = {std::ofstream(Path(FileName(1, store)), std::ios::binary),
                             std::ofstream(Path(FileName(2, store)), std::ios::binary)};
    for (int first = 0; first < kRingClusters; first += kAtOnce) {
      std::string content;
      for (int cluster = first; cluster < std::min(count, first + kAtOnce); ++cluster) {
        const Bytes bytes = image(cluster);
        content.append(reinterpret_cast<const char*>(bytes.data()), bytes.size());
      }
      content.append(unwritten, content.size());
      for (std::ofstream& file : files) file << content;
    }
  }
  // Cluster n holds a bookmark at tick 100 n + 10 and one at 100 n + 60.
  static Bytes TwoBookmarks(int cluster) {
    const auto tick = static_cast<std::uint32_t>(100 * cluster + 10);
    return ClusterOf(tick, FullPacket(tick, B("56")) + FullPacket(tick + 50, B("56")));
  }
  void MakeRingOfBookmarks(int count) const { MakeRing(count, TwoBookmarks); }

  void Put(int file, int cluster, const Bytes& bytes, std::size_t offset = 0,
           const std::string& store = "s") const {
    std::fstream stream(Path(FileName(file, store)),
                        std::ios::in | std::ios::out | std::ios::binary);
    stream.seekp(static_cast<std::streamoff>(kImageBytes) * cluster +
                 static_cast<std::streamoff>(offset));
    stream.write(reinterpret_cast<const char*>(bytes.data()),
                 static_cast<std::streamsize>(bytes.size()));
    EXPECT_TRUE(stream.good());
  }
  void PutInBoth(int cluster, const Bytes& bytes) const {
    for (const int file : {1, 2}) Put(file, cluster, bytes);
  }
  Bytes Get(int file, int cluster, const std::string& store = "s") const {
    Bytes image(kImageBytes);
    std::ifstream stream(Path(FileName(file, store)), std::ios::binary);
    stream.seekg(static_cast<std::streamoff>(kImageBytes) * cluster);
    stream.read(reinterpret_cast<char*>(image.data()), static_cast<std::streamsize>(kImageBytes));
    return image;
  }
  bool SameContent(const std::string& a, const std::string& b) const {
    std::ifstream files[] = {std::ifstream(Path(a), std::ios::binary),
                             std::ifstream(Path(b), std::ios::binary)};
    std::string parts[] = {std::string(1 << 20, '\0'), std::string(1 << 20, '\0')};
    while (files[0] && files[1]) {
      for (const int i : {0, 1}) files[i].read(parts[i].data(), 1 << 20);
      if (files[0].gcount() != files[1].gcount() || parts[0] != parts[1]) return false;
    }
    return files[0].eof() && files[1].eof();
  }
  // Its CRC no longer fits.
  void Damage(int file, int cluster, const std::string& store = "s") const {
    Bytes byte = Get(file, cluster, store);
    Put(file, cluster, {static_cast<unsigned char>(byte[1] ^ 0x40)}, 1, store);
  }
};

}  // namespace vmr::test

#endif  // VMR_TESTS_TOOLS_RING_IMAGES_H_
