// Reading a recording back: packets parsed into a store, against copying the
// same bytes.
#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

#include "backends/data_store_flat.h"
#include "backends/data_store_null.h"
#include "reader/metadata_reader.h"

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

BENCHMARK(CopyBytes)->Name("memcpy of the bytes (peer)");
BENCHMARK(ParseRecording)->Name("collect and parse every packet");

}  // namespace
