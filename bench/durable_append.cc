// One packet after another, each durable before the next: our ring, the bare system
// calls, and the stores that might be taken instead, in turns (bench/interleaved.h).
//
//   durable_append --dir DIR [--rounds N] [--packets N] [--spaced-ms N]
//                  [--device-stat FILE] [--only NAME] [--list]
//
// --spaced-ms   a pause in front of each packet, in which a disk comes to rest
// --device-stat the counters of the device below DIR, if nobody else writes to it
// --only        one turn of this variant and nothing else, to be watched by strace
//
// Prints JSON. The variant "raw" is there twice, the second time as "raw_again": what
// the ratio of the two differs from 1 is what the figures of this run are worth.
#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <thread>

#include "backends/data_store_null.h"
#include "bench/appenders/appender.h"
#include "bench/drive.h"
#include "bench/interleaved.h"
#include "host/default/host_control.h"

namespace vmr::bench {
namespace {

struct Kind {
  const char* name;
  MakeAppender* make;
};
constexpr Kind kKinds[] = {
    {"ring", MakeRing},
    {"raw", MakeRaw},
    {"raw_again", MakeRaw},
    {"appended_file", MakeAppendedFile},
#ifdef VMR_BENCH_SQLITE
    {"sqlite_wal", MakeSqliteWal},
    {"sqlite_rollback", MakeSqliteRollback},
#endif
#ifdef VMR_BENCH_LEVELDB
    {"leveldb", MakeLevelDb},
#endif
#ifdef VMR_BENCH_ROCKSDB
    {"rocksdb", MakeRocksDb},
#endif
#ifdef VMR_BENCH_LMDB
    {"lmdb", MakeLmdb},
#endif
};

struct Options {
  std::string dir;
  std::string only;
  std::string device_stat;
  int rounds = 10;
  int packets = 100;
  int spaced_ms = 0;
  bool list = false;
};

// What the ring makes of a busy drive, for those that are handed packets.
class Packets : public DataStoreNull {
 public:
  Packets() {
    if (Open() == 0) throw Failure("no memory");
    InitCurrentSystemTick(1);
    Drive::Equip(*this);
    Drive drive(Drive::Kind::kBusy);
    for (unsigned int tick = 2; packets_.size() < kCount; ++tick) drive.Tick(*this, tick);
  }
  int WriteData(const unsigned char* data, int length, unsigned int /*tick*/) override {
    packets_.emplace_back(data, data + length);
    return 1;
  }
  const std::vector<unsigned char>& Next() { return packets_[next_++ % packets_.size()]; }
  std::size_t MedianBytes() const {
    std::vector<std::size_t> sizes;
    for (const auto& packet : packets_) sizes.push_back(packet.size());
    std::nth_element(sizes.begin(), sizes.begin() + kCount / 2, sizes.end());
    return sizes[kCount / 2];
  }

 private:
  static constexpr std::size_t kCount = 256;
  std::vector<std::vector<unsigned char>> packets_;
  std::size_t next_ = 0;
};

// Brings what others have left to write to the device, so that it is not counted.
class FileSystem {
 public:
  explicit FileSystem(const std::string& dir) : fd_(open(dir.c_str(), O_RDONLY | O_CLOEXEC)) {}
  ~FileSystem() { close(fd_); }
  FileSystem(const FileSystem&) = delete;
  FileSystem& operator=(const FileSystem&) = delete;
  void Sync() const {
    if (syncfs(fd_) != 0) throw Failure("the file system is not synced");
  }

 private:
  int fd_;
};

Turn AppendPackets(Appender& to, Packets& packets, const Options& options) {
  const FileSystem files(options.dir);
  const WrittenBytes written(options.device_stat);
  if (written.OfDevice()) files.Sync();
  const long long before = written.Now();
  std::vector<double> took;
  took.reserve(static_cast<std::size_t>(options.packets));
  Turn turn;
  for (int n = 0; n < options.packets; ++n) {
    if (options.spaced_ms > 0)
      std::this_thread::sleep_for(std::chrono::milliseconds(options.spaced_ms));
    const std::vector<unsigned char>& packet = packets.Next();
    const double start = Now_s();
    if (!to.Append(packet.data(), packet.size())) throw Failure("a packet was not taken");
    took.push_back(Now_s() - start);
    turn.seconds += took.back();
  }
  if (written.OfDevice()) files.Sync();
  turn.bytes = written.Now() - before;
  std::sort(took.begin(), took.end());
  turn.median_us = took.empty() ? 0 : took[took.size() / 2] * 1e6;
  return turn;
}

// A folder in `dir` that goes with all that is in it.
class Folder {
 public:
  explicit Folder(const std::string& dir) : path_(dir + "/durable_append_XXXXXX") {
    if (mkdtemp(path_.data()) == nullptr) throw Failure("no folder can be made in " + dir);
  }
  ~Folder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
  std::string Make(const std::string& name) const {
    std::filesystem::create_directory(path_ + "/" + name);
    return path_ + "/" + name;
  }

 private:
  std::string path_;
};

void Run(const Options& options) {
  const Folder folder(options.dir);
  Packets packets;
  std::vector<std::unique_ptr<Appender>> appenders;
  std::vector<Variant> variants;
  for (const Kind& kind : kKinds) {
    if (!options.only.empty() && options.only != kind.name) continue;
    appenders.push_back(kind.make(folder.Make(kind.name)));
    Appender& appender = *appenders.back();
    variants.push_back({kind.name, [&] { return AppendPackets(appender, packets, options); }});
  }
  if (variants.empty()) throw Failure("nothing is called " + options.only);
  if (!options.only.empty()) {
    variants[0].run();
    return;
  }
  const WrittenBytes written(options.device_stat);
  std::printf("{\"packets\": %d, \"packet_bytes\": %zu, \"spaced_ms\": %d, \"bytes_of\": \"%s\",\n",
              options.packets, packets.MedianBytes(), options.spaced_ms,
              written.OfDevice() ? "device" : "process");
  RunInterleaved(variants, options.rounds, stdout);
  std::puts("}");
}

bool Parse(int argc, char** argv, Options& options) {
  for (int n = 1; n < argc; ++n) {
    const std::string name = argv[n];
    if (name == "--list") {
      options.list = true;
      continue;
    }
    if (++n == argc) return false;
    const std::string value = argv[n];
    if (name == "--dir")
      options.dir = value;
    else if (name == "--only")
      options.only = value;
    else if (name == "--device-stat")
      options.device_stat = value;
    else if (name == "--rounds")
      options.rounds = std::atoi(value.c_str());
    else if (name == "--packets")
      options.packets = std::atoi(value.c_str());
    else if (name == "--spaced-ms")
      options.spaced_ms = std::atoi(value.c_str());
    else
      return false;
  }
  return options.list || !options.dir.empty();
}

}  // namespace
}  // namespace vmr::bench

int main(int argc, char** argv) {
  vmr::bench::Options options;
  if (!vmr::bench::Parse(argc, argv, options)) {
    std::fputs(
        "usage: durable_append --dir DIR [--rounds N] [--packets N] [--spaced-ms N]\n"
        "                      [--device-stat FILE] [--only NAME] [--list]\n",
        stderr);
    return 2;
  }
  if (options.list) {
    for (const vmr::bench::Kind& kind : vmr::bench::kKinds) std::puts(kind.name);
    return 0;
  }
  vmr::host::SetLogLevel(3);
  try {
    vmr::bench::Run(options);
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "durable_append: %s\n", failure.what());
    return 1;
  }
  return 0;
}
