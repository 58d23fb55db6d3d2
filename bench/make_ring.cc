// Makes a ring as a recorder leaves it, without its disk: the packets of a drive, put
// into clusters as the ring store puts them, in both files.
//
//   make_ring busy|sparse CLUSTERS BASE
//
// Prints, as JSON, what the ring holds and the ticks at 5, 50 and 95 percent of it.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "backends/cluster_format.h"
#include "backends/data_store_null.h"
#include "bench/drive.h"
#include "store/packet_format.h"
#include "store/tag_catalogue.h"

namespace {

long ItemsOf(const unsigned char* packet, std::size_t bytes) {
  long items = 0;
  std::size_t at = vmr::FindPacketShape(packet[0])->head_bytes;
  while (at + vmr::kPacketCrcBytes < bytes) {
    at += vmr::ItemLength(vmr::FindTag(packet[at]), packet + at, bytes - at);
    ++items;
  }
  return items;
}

// Takes packets into the image of a ring file until it is full.
class ClusterStore : public vmr::DataStoreNull {
 public:
  explicit ClusterStore(std::size_t clusters) : clusters_(clusters) {
    image_.reserve(AllBytes());
    BeginCluster();
  }

  bool IsFull() const { return image_.size() == AllBytes(); }
  const std::vector<unsigned char>& Image() const { return image_; }
  long Packets() const { return packets_; }
  long Items() const { return items_; }
  // The first tick of a cluster.
  unsigned int TickOf(std::size_t cluster) const {
    return vmr::ClusterSt(&image_[cluster * vmr::kClusterBytes]);
  }

  int WriteData(const unsigned char* data, int length, unsigned int tick) override {
    if (IsFull()) return 1;
    if (used_ + length > vmr::kClusterBytes) CloseCluster();
    if (IsFull()) return 1;
    std::memcpy(cluster_ + used_, data, static_cast<std::size_t>(length));
    used_ += length;
    ++packets_;
    items_ += ItemsOf(data, static_cast<std::size_t>(length));
    if (!vmr::TellsTick(vmr::ClusterSt(cluster_))) vmr::SetClusterSt(cluster_, tick);
    return 1;
  }

 private:
  std::size_t AllBytes() const { return clusters_ * vmr::kClusterBytes; }
  void CloseCluster() {
    vmr::SealCluster(cluster_, used_);
    image_.insert(image_.end(), cluster_, cluster_ + vmr::kClusterBytes);
    BeginCluster();
  }
  void BeginCluster() {
    std::memset(cluster_, 0, sizeof(cluster_));
    vmr::SetClusterSt(cluster_, vmr::kNeverWrittenSt);
    used_ = vmr::kClusterHeaderBytes;
  }

  const std::size_t clusters_;
  std::vector<unsigned char> image_;
  unsigned char cluster_[vmr::kClusterBytes];
  int used_;
  long packets_ = 0;
  long items_ = 0;
};

bool WriteFile(const std::string& path, const std::vector<unsigned char>& image) {
  std::ofstream file(path, std::ios::binary);
  file.write(reinterpret_cast<const char*>(image.data()),
             static_cast<std::streamsize>(image.size()));
  unsigned char empty[vmr::kClusterBytes];
  vmr::FillNeverWritten(empty, vmr::kClusterBytes);
  for (std::size_t n = image.size() / vmr::kClusterBytes; n < vmr::kClusterCount; ++n)
    file.write(reinterpret_cast<const char*>(empty), sizeof(empty));
  return static_cast<bool>(file.flush());
}

}  // namespace

int main(int argc, char** argv) {
  const std::string kind = argc == 4 ? argv[1] : "";
  const long clusters = argc == 4 ? std::atol(argv[2]) : 0;
  if ((kind != "busy" && kind != "sparse") || clusters < 1 || clusters > vmr::kClusterCount) {
    std::fputs("usage: make_ring busy|sparse CLUSTERS BASE\n", stderr);
    return 2;
  }
  using vmr::bench::Drive;
  ClusterStore store(static_cast<std::size_t>(clusters));
  if (store.Open() == 0) return 1;
  Drive drive(kind == "busy" ? Drive::Kind::kBusy : Drive::Kind::kSparse);
  unsigned int tick = 1;
  store.InitCurrentSystemTick(tick);
  Drive::Configure(store);
  while (!store.IsFull()) drive.Tick(store, ++tick);
  for (const int number : {1, 2})
    if (!WriteFile(vmr::RingFileName(argv[3], number), store.Image())) {
      std::perror("make_ring: the files cannot be written");
      return 1;
    }
  const auto at = [&](long percent) {
    return store.TickOf(static_cast<std::size_t>(clusters * percent / 100));
  };
  std::printf(
      "{\"packets\": %ld, \"items\": %ld, \"last_tick\": %u, \"tick_at\": {\"5\": %u, \"50\": %u, "
      "\"95\": %u}}\n",
      store.Packets(), store.Items(), tick, at(5), at(50), at(95));
  return 0;
}
