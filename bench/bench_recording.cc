// What recording costs on top of the disk: one packet through the ring store,
// against the bare system calls that it cannot do without (pwrite of 4096 bytes,
// fsync), on the same file system; and one item through packet assembly,
// against copying its bytes.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "backends/data_store_normal.h"
#include "backends/data_store_null.h"

namespace {

constexpr std::size_t kClusterBytes = 4096;

// A folder of its own in the current directory, removed with its files.
class Folder {
 public:
  Folder() {
    char name[] = "bench_recording_XXXXXX";
    path_ = mkdtemp(name);
  }
  ~Folder() {
    for (const char* file : {"/raw", "/ring_1.mtd", "/ring_2.mtd"}) unlink((path_ + file).c_str());
    rmdir(path_.c_str());
  }
  std::string Path(const char* name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

void RawWriteAndSync(benchmark::State& state) {
  const Folder folder;
  const int fd = open(folder.Path("raw").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  unsigned char cluster[kClusterBytes] = {};
  for (auto _ : state) {
    ++cluster[0];
    if (pwrite(fd, cluster, kClusterBytes, 0) != kClusterBytes || fsync(fd) != 0)
      state.SkipWithError("the file system failed");
  }
  close(fd);
}

void RingPacket(benchmark::State& state) {
  const Folder folder;
  vmr::DataStoreNormal store(folder.Path("ring"));
  if (store.Open() == 0) state.SkipWithError("the ring could not be opened");
  unsigned char packet[40] = {vmr::HEADER_1};
  unsigned int tick = 1;
  for (auto _ : state) benchmark::DoNotOptimize(store.WriteData(packet, sizeof(packet), ++tick));
  store.Close();
}

void CopyItem(benchmark::State& state) {
  unsigned char area[256];
  const unsigned char item[10] = {0x91};
  std::size_t used = 0;
  for (auto _ : state) {
    memcpy(area + used, item, sizeof(item));
    benchmark::DoNotOptimize(area);
    used = used + 2 * sizeof(item) > sizeof(area) ? 0 : used + sizeof(item);
  }
}

void AssembleItem(benchmark::State& state) {
  vmr::DataStoreNull store;
  if (store.Open() == 0) return state.SkipWithError("the store does not open");
  store.InitCurrentSystemTick(1);
  const unsigned char item[10] = {0x91};
  int items = 0;
  for (auto _ : state) {
    store.AddToCurrPacket(item, sizeof(item), 1U, 1);
    if (++items % 25 == 0) store.WriteBuffers();
  }
}

BENCHMARK(RawWriteAndSync)->Name("pwrite 4096 + fsync (peer)")->UseRealTime();
BENCHMARK(RingPacket)->Name("one packet into the ring")->UseRealTime();
BENCHMARK(CopyItem)->Name("memcpy of an item (peer)");
BENCHMARK(AssembleItem)->Name("one item through packet assembly");

}  // namespace
