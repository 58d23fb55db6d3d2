#include "tests/processes/real_ring.h"

#include <fcntl.h>
#include <unistd.h>

#include "tests/crash/recording.h"
#include "tests/processes/numbered_packets.h"

namespace vmr::processes {
namespace {

constexpr int kClustersAtOnce = 256;

Bytes LaidImage(const RingStart& start, int cluster) {
  const std::uint32_t number = LaidNumber(start, cluster);
  Bytes image = number == 0 ? crash::ClusterOf(0xFFFFFFFF, {})
                            : crash::ClusterOf(number, NumberedPacket(number));
  image.resize(kImageBytes);
  return image;
}

bool WriteAll(int fd, const Bytes& bytes) {
  for (std::size_t done = 0; done < bytes.size();) {
    const ssize_t result = write(fd, bytes.data() + done, bytes.size() - done);
    if (result <= 0) return false;
    done += static_cast<std::size_t>(result);
  }
  return true;
}

}  // namespace

std::string RingPath(const std::string& base, int file) {
  return base + "_" + std::to_string(file) + ".mtd";
}

std::uint32_t LaidNumber(const RingStart& start, int cluster) {
  if (!start.second_lap) return cluster > start.current ? 0 : static_cast<unsigned>(cluster) + 1;
  const int behind_oldest = (cluster - start.current - 1 + kRingClusters) % kRingClusters;
  return static_cast<std::uint32_t>(behind_oldest) + 1;
}

std::uint32_t LastLaidNumber(const RingStart& start) {
  return start.current < 0 ? 0 : LaidNumber(start, start.current);
}

bool LayRing(const std::string& base, const RingStart& start) {
  int fds[2];
  for (int i = 0; i < 2; ++i)
    fds[i] = open(RingPath(base, i + 1).c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0660);
  bool written = fds[0] >= 0 && fds[1] >= 0;
  for (int cluster = 0; written && cluster < kRingClusters; cluster += kClustersAtOnce) {
    Bytes images;
    for (int n = 0; n < kClustersAtOnce; ++n) {
      const Bytes image = LaidImage(start, cluster + n);
      images.insert(images.end(), image.begin(), image.end());
    }
    for (const int fd : fds) written = written && WriteAll(fd, images);
  }
  for (const int fd : fds)
    if (fd >= 0) written = close(fd) == 0 && written;
  return written;
}

void RemoveRing(const std::string& base) {
  for (const int file : {1, 2})
    for (const char* const ending : {"", ".tmp", ".CORRUPT"})
      static_cast<void>(unlink((RingPath(base, file) + ending).c_str()));
}

}  // namespace vmr::processes
