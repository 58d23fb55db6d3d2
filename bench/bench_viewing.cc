// Reading a recording back: packets parsed into a store, against copying the
// same bytes; and listings, against one fprintf for each item. Counters beside
// the times, of processor time:
//
//   times_peer  how many times as fast the listing is; peer and listing take turns
//   item_ns     of the listing, for each item with its share of the header line
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "backends/data_store_flat.h"
#include "backends/data_store_null.h"
#include "reader/metadata_reader.h"
#include "store/stream_format.h"
#include "tests/support/temp_dir.h"

namespace {

constexpr int kRecordingBytes = 1 << 20;

// A drive: a fix every two ticks.
std::vector<unsigned char> Recording() {
  std::vector<unsigned char> bytes(kRecordingBytes);
  vmr::DataStoreFlatMessage store(bytes.data(), kRecordingBytes, true);
  if (store.Open() == 0) return {};
  vmr::GpsStatusItem fix;
  fix.latitude_degrees = 41;
  fix.latitude_is_north = 1;
  fix.longitude_degrees = 93;
  for (unsigned int tick = 2; store.BytesWritten() + 300 < kRecordingBytes; tick += 2) {
    fix.latitude_fraction = static_cast<std::int32_t>(tick * 50 % 10000);
    fix.latitude_minutes = static_cast<std::uint16_t>(tick * 50 / 10000 % 60);
    store.InitCurrentSystemTick(tick);
    store.ReportGps(fix, tick, true);
    store.WriteBuffers();
  }
  bytes.resize(static_cast<std::size_t>(store.BytesWritten()));
  store.Close();
  return bytes;
}

class MemorySource : public vmr::DataStoreNull {
 public:
  explicit MemorySource(const std::vector<unsigned char>& bytes) : bytes_(bytes) {}
  int ReadDataIntoBuffer(long position, unsigned char* buffer, int bufferSize, int& bytesRead,
                         long& nextPosition) override {
    const long left = static_cast<long>(bytes_.size()) - position;
    bytesRead = static_cast<int>(left < bufferSize ? left : bufferSize);
    memcpy(buffer, bytes_.data() + position, static_cast<std::size_t>(bytesRead));
    nextPosition = position + bytesRead;
    return 1;
  }

 private:
  const std::vector<unsigned char>& bytes_;
};

void CopyBytes(benchmark::State& state) {
  const std::vector<unsigned char> bytes = Recording();
  std::vector<unsigned char> copy(bytes.size());
  for (auto _ : state) benchmark::DoNotOptimize(memcpy(copy.data(), bytes.data(), bytes.size()));
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                          static_cast<std::int64_t>(bytes.size()));
}

void ParseRecording(benchmark::State& state) {
  const std::vector<unsigned char> bytes = Recording();
  for (auto _ : state) {
    MemorySource source(bytes);
    vmr::DataStoreNull out;
    if (out.Open() == 0) return state.SkipWithError("the store does not open");
    vmr::MetadataReader reader;
    reader.StartAt(4);
    int ticks = 0;
    while (reader.ReadNextSystemTick(source, out) > 0) ticks += reader.ParseReadSystemTick(out);
    if (ticks < 1000) state.SkipWithError("the recording was not read");
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                          static_cast<std::int64_t>(bytes.size()));
}

// ---- Listings --------------------------------------------------------------------

constexpr int kListedItems = 400000;

// A position that moves on with every item.
struct Move {
  signed char lat;
  signed char lon;
};
Move MoveOf(int n) {
  return {static_cast<signed char>(n * 37 % 101), static_cast<signed char>(n * 11 % 97)};
}

// A flat file of packets of `items` positions each.
std::string ListedFile(const vmr::test::TempDir& folder, unsigned int items) {
  std::string path = folder.Path("listed");
  vmr::DataStoreFlatWrite store(path);
  if (store.Open() == 0) return "";
  const unsigned char start[] = {vmr::TAG_GPS_ABS, 1, 41, 30, 0, 0, 93, 20, 0, 0};
  bool written = store.WritePacket1(1, start, sizeof(start)) != 0;
  std::vector<unsigned char> packet;
  unsigned int tick = 1;
  for (int n = 0; n < kListedItems; ++n) {
    const Move move = MoveOf(n);
    packet.insert(packet.end(), {vmr::TAG_GPS_REL8, static_cast<unsigned char>(move.lat),
                                 static_cast<unsigned char>(move.lon)});
    if (packet.size() < 3 * items) continue;
    const auto bytes = static_cast<unsigned int>(packet.size());
    ++tick;
    written = written && (tick % 256 == 0 ? store.WritePacket1(tick, packet.data(), bytes)
                                          : store.WritePacket2(tick, packet.data(), bytes)) != 0;
    packet.clear();
  }
  store.Close();
  return written ? path : "";
}

// Standard output goes nowhere while it lives.
class NoOutput {
 public:
  NoOutput() {
    std::fflush(stdout);
    const int nowhere = open("/dev/null", O_WRONLY);
    dup2(nowhere, STDOUT_FILENO);
    close(nowhere);
  }
  ~NoOutput() {
    std::fflush(stdout);
    dup2(before_, STDOUT_FILENO);
    close(before_);
  }
  NoOutput(const NoOutput&) = delete;
  NoOutput& operator=(const NoOutput&) = delete;

 private:
  const int before_ = dup(STDOUT_FILENO);
};

double ProcessorSeconds() {
  timespec now{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

// The items' texts alone, from values at hand: no header lines, nothing is decoded.
void PrintEachItem() {
  for (int n = 0; n < kListedItems; ++n) {
    const Move move = MoveOf(n);
    std::fprintf(stdout,
                 "[Tag=%s, TagNo=0x%02X, DeltaLat=%d, DeltaLon=%d, Lat=%c%02d:%02d.%02d, "
                 "Lon=%c%02d:%02d.%02d]",
                 "GpsRel8", vmr::TAG_GPS_REL8, move.lat, move.lon, 'N', 41, n / 60 % 60, n % 60,
                 'W', 93, n / 60 % 60, n % 60);
  }
}

double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

void ListItems(benchmark::State& state) {
  const vmr::test::TempDir folder;
  const std::string path = ListedFile(folder, static_cast<unsigned int>(state.range(0)));
  vmr::MetadataReader reader;
  std::vector<double> ratios, seconds;
  for (auto _ : state) {
    const NoOutput no_output;
    const double before = ProcessorSeconds();
    PrintEachItem();
    const double between = ProcessorSeconds();
    if (!reader.ViewFile(path, false, 0, vmr::kNoTick, false))
      return state.SkipWithError("the recording was not listed");
    seconds.push_back(ProcessorSeconds() - between);
    ratios.push_back((between - before) / seconds.back());
  }
  state.counters["times_peer"] = Median(ratios);
  state.counters["item_ns"] = Median(seconds) * 1e9 / kListedItems;
}

BENCHMARK(CopyBytes)->Name("memcpy of the bytes (peer)");
BENCHMARK(ParseRecording)->Name("collect and parse every packet");
BENCHMARK(ListItems)
    ->Name("listing, against an fprintf an item (peer); items a packet")
    ->Arg(1)
    ->Arg(40)
    ->Unit(benchmark::kMillisecond);

}  // namespace
