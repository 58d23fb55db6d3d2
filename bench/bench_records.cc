// Reading a recording by the program's own decoder, and writing it out as lines of JSON:
// items of a busy drive, from memory. Counters beside the times:
//
//   records  a second, to compare with those of the peer
//
// The peer takes the packets apart and counts their items, as any reader must.
#include <benchmark/benchmark.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "backends/cluster_format.h"
#include "records/decoder.h"
#include "store/packet_format.h"
#include "store/tag_catalogue.h"
#include "tests/support/full_ring.h"
#include "tools/read/json_line.h"

namespace {

using vmr::records::Decoder;
using vmr::records::Record;

constexpr std::size_t kClusters = 4096;

// Clusters of a ring that packets of all kinds fill, none of them odd.
const vmr::test::FullRing& Ring() {
  static const vmr::test::FullRing kRing(1, vmr::test::FullRing::kClusters - 1,
                                         {5, 8, true, false});
  return kRing;
}

class MemoryRing final : public vmr::records::Source {
 public:
  bool Next(std::size_t /*unused*/, vmr::records::Stretch& stretch) override {
    stretch = {};
    if (next_ == kClusters) return false;
    const unsigned char* const image = Ring().Cluster(next_);
    stretch.bytes = image + vmr::kClusterHeaderBytes;
    stretch.size = static_cast<std::size_t>(vmr::ClusterSize(image) - vmr::kClusterHeaderBytes);
    stretch.place.cluster = static_cast<int>(next_);
    stretch.first_tick = vmr::ClusterSt(image);
    ++next_;
    return true;
  }
  std::unique_ptr<Source> Fork() const override {
    auto fork = std::make_unique<MemoryRing>();
    fork->next_ = next_ == 0 ? 0 : next_ - 1;
    return fork;
  }
  bool IsFlat() const override { return false; }
  double Progress() const override { return 0; }

 private:
  std::size_t next_ = 0;
};

class Counter final : public vmr::records::Sink {
 public:
  void OnRecord(const Record& record) override {
    ++records;
    benchmark::DoNotOptimize(record.item);
  }
  std::int64_t records = 0;
};

class JsonLines final : public vmr::records::Sink {
 public:
  void OnRecord(const Record& record) override {
    ++records;
    if (line_.size() > kEnough) line_.clear();
    vmr::tool::AppendJsonLine(record, line_);
    benchmark::DoNotOptimize(line_.data());
  }
  std::int64_t records = 0;

 private:
  static constexpr std::size_t kEnough = 64 * 1024;
  vmr::tool::LineBuffer line_;
};

template <typename Sink>
void Decode(benchmark::State& state) {
  static_cast<void>(Ring());
  Sink sink;
  for (auto _ : state) {
    MemoryRing source;
    Decoder(source, sink).Run();
  }
  if (sink.records == 0) state.SkipWithError("nothing was decoded");
  state.counters["records"] =
      benchmark::Counter(static_cast<double>(sink.records), benchmark::Counter::kIsRate);
}

// What is the least that a reader does with a packet.
std::int64_t CountItems(const unsigned char* packet, std::size_t bytes) {
  const vmr::PacketShape& shape = *vmr::FindPacketShape(packet[0]);
  if (!shape.has_items || !vmr::PacketEndIsRight(packet, bytes)) return 0;
  std::int64_t items = 0;
  for (std::size_t at = shape.head_bytes; at + vmr::kPacketCrcBytes < bytes; ++items) {
    const std::size_t size = vmr::ItemLength(vmr::FindTag(packet[at]), packet + at, bytes - at);
    if (size == 0) break;
    at += size;
  }
  return items;
}

void CountAllItems(benchmark::State& state) {
  static_cast<void>(Ring());
  std::int64_t items = 0;
  for (auto _ : state) {
    for (std::size_t cluster = 0; cluster < kClusters; ++cluster) {
      const unsigned char* const image = Ring().Cluster(cluster);
      const auto used = static_cast<std::size_t>(vmr::ClusterSize(image));
      for (std::size_t at = vmr::kClusterHeaderBytes; at < used;) {
        const std::size_t bytes = vmr::WholePacketBytes(image + at, used - at);
        if (bytes == 0) break;
        items += CountItems(image + at, bytes);
        at += bytes;
      }
    }
  }
  state.counters["records"] =
      benchmark::Counter(static_cast<double>(items), benchmark::Counter::kIsRate);
}

BENCHMARK(CountAllItems)->Name("count the items, CRCs checked (peer)");
BENCHMARK(Decode<Counter>)->Name("decode into nothing");
BENCHMARK(Decode<JsonLines>)->Name("decode into lines of JSON");

}  // namespace
