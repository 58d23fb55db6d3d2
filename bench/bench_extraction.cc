// Extracting a range of a full ring: how many clusters a search reads wherever
// the tick is, how the cost grows with the range and not with its place, and how
// many file operations a copied packet costs. Counters beside the times:
//
//   clusters  read by one opening, one search
//   writes    writes and seeks in the extracted file for each copied packet
//   calls     file operations in all for each copied packet
//
// Compare: 72,000 packets with 7,200, the range at 5 % with the one at 95 %.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "backends/data_store_normal.h"
#include "host/default/host_control.h"
#include "host/file_ops.h"
#include "reader/metadata_reader.h"
#include "tests/support/full_ring.h"
#include "tests/support/temp_dir.h"

namespace {

using vmr::test::FullRing;

constexpr unsigned int kWidening = 20;  // ticks that are copied behind the end

// Counts the operations on their way to the files.
class CountingFiles : public vmr::FileOps {
 public:
  CountingFiles() : files_(*Use(nullptr)) { Use(this); }
  ~CountingFiles() override { Use(nullptr); }

  int Open(const char* path, int flags, mode_t mode) override {
    return ++calls, files_.Open(path, flags, mode);
  }
  ssize_t Read(int fd, void* buffer, std::size_t count) override {
    return ++calls, ++reads, files_.Read(fd, buffer, count);
  }
  ssize_t Write(int fd, const void* data, std::size_t count) override {
    return ++calls, ++writes, files_.Write(fd, data, count);
  }
  off_t Lseek(int fd, off_t offset, int whence) override {
    seeks_to_end += whence == SEEK_END ? 1 : 0;
    return ++calls, files_.Lseek(fd, offset, whence);
  }
  int Fsync(int fd) override { return ++calls, files_.Fsync(fd); }
  int Close(int fd) override { return ++calls, files_.Close(fd); }
  int Stat(const char* path, struct stat* status) override {
    return ++calls, files_.Stat(path, status);
  }
  int Chmod(const char* path, mode_t mode) override { return ++calls, files_.Chmod(path, mode); }
  int Rename(const char* from, const char* to) override { return ++calls, files_.Rename(from, to); }
  int Unlink(const char* path) override { return ++calls, files_.Unlink(path); }
  int Remove(const char* path) override { return ++calls, files_.Remove(path); }
  int System(const char* command) override { return ++calls, files_.System(command); }
  int Usleep(unsigned int microseconds) override { return ++calls, files_.Usleep(microseconds); }

  long calls = 0;
  long reads = 0;
  long writes = 0;
  long seeks_to_end = 0;  // only a file that is written does that

 private:
  vmr::FileOps& files_;
};

// A ring with one packet of a few items at every tick, so that an hour of ticks,
// from dump to dump, is 7,200 packets.
class Ring {
 public:
  static Ring& Get() {
    static Ring ring;
    return ring;
  }

  std::string Path() const { return folder_.Path("ring"); }
  std::string Out() const { return folder_.Path("out"); }
  // The tick at `percent` of the ring, half an hour behind a dump that stands whole
  // in its cluster and so is found: in all places as much is replayed.
  unsigned int TickAt(int percent) const {
    std::size_t n = dumps_.size() * static_cast<std::size_t>(percent) / 100;
    for (; n + 1 < dumps_.size(); ++n) {
      const unsigned int tick = dumps_[n] + FullRing::kTicksBetweenDumps / 2;
      vmr::MetadataReader reader(vmr::RingAccess::kReadOnly);
      if (reader.ReadToNewFile(Path(), Out(), tick, tick, nullptr) &&
          reader.LastExtraction().dump_tick == dumps_[n])
        return tick;
    }
    return dumps_.back();
  }
  // The end of a range of so many packets behind `start`.
  unsigned int EndOf(unsigned int start, std::size_t packets) const {
    const auto first = std::upper_bound(packets_.begin(), packets_.end(), start);
    return *(first + static_cast<std::ptrdiff_t>(packets) - 1) - kWidening;
  }

 private:
  Ring() {
    vmr::host::SetLogLevel(0);
    constexpr vmr::test::FullRingCourse kDrive{1, 3, true, false};
    const FullRing ring(1, 20000, kDrive);
    dumps_ = ring.DumpTicks();
    packets_ = ring.PacketTicks();
    for (const char* const file : {"ring_1.mtd", "ring_2.mtd"}) {
      std::ofstream stream(folder_.Path(file), std::ios::binary);
      stream.write(reinterpret_cast<const char*>(ring.Image().data()),
                   static_cast<std::streamsize>(ring.Image().size()));
      if (!stream.flush()) std::perror("bench_extraction: no room for a ring");
    }
  }

  vmr::test::TempDir folder_{vmr::test::TempDir::RoomForRings()};
  std::vector<unsigned int> dumps_;
  std::vector<unsigned int> packets_;
};

void SearchForTick(benchmark::State& state) {
  vmr::DataStoreNormal ring(Ring::Get().Path());
  CountingFiles files;
  if (ring.OpenReadOnly() == 0) state.SkipWithError("the ring could not be opened");
  const unsigned int first = Ring::Get().TickAt(static_cast<int>(state.range(0)));
  unsigned int tick = first;
  long most = 0;
  for (auto _ : state) {
    const long before = files.reads;
    benchmark::DoNotOptimize(ring.FindSystemTick(tick));
    most = std::max(most, files.reads - before);
    tick = first + (tick - first + 17) % 20000;
  }
  state.counters["clusters"] = static_cast<double>(most);
  ring.Close();
}

// As a recorder opens it, everything sound.
void OpenRing(benchmark::State& state) {
  const std::string path = Ring::Get().Path();
  long most = 0;
  for (auto _ : state) {
    CountingFiles files;
    vmr::DataStoreNormal ring(path);
    if (ring.Open() == 0) state.SkipWithError("the ring could not be opened");
    ring.Close();
    most = std::max(most, files.reads);
  }
  state.counters["clusters"] = static_cast<double>(most);
}

// `packets` of them, from `percent` of the ring on.
void Extract(benchmark::State& state) {
  const unsigned int start = Ring::Get().TickAt(static_cast<int>(state.range(1)));
  const unsigned int end = Ring::Get().EndOf(start, static_cast<std::size_t>(state.range(0)));
  CountingFiles files;
  vmr::MetadataReader reader(vmr::RingAccess::kReadOnly);
  for (auto _ : state)
    if (!reader.ReadToNewFile(Ring::Get().Path(), Ring::Get().Out(), start, end, nullptr))
      state.SkipWithError("the range was not extracted");
  const auto copied = static_cast<double>(reader.LastExtraction().packets) *
                      static_cast<double>(state.iterations());
  state.counters["packets"] = static_cast<double>(reader.LastExtraction().packets);
  state.counters["writes"] = static_cast<double>(files.writes + files.seeks_to_end) / copied;
  state.counters["calls"] = static_cast<double>(files.calls) / copied;
}

BENCHMARK(OpenRing)->Name("open a ring");
BENCHMARK(SearchForTick)->Name("search for a tick at percent")->Arg(5)->Arg(50)->Arg(95);
BENCHMARK(Extract)
    ->Name("extract packets at percent")
    ->Args({7200, 50})
    ->Args({72000, 50})
    ->Args({7200, 5})
    ->Args({7200, 95})
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace
