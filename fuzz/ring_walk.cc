#include "fuzz/ring_walk.h"

#include "backends/data_store_null.h"
#include "fuzz/fuzz_setup.h"
#include "reader/metadata_reader.h"

namespace vmr::fuzz {
namespace {

bool IsCluster(int cluster) { return cluster >= 0 && cluster < kClusterCount; }

}  // namespace

void ReadEverything(DataStoreNormal& ring, const RingInput& input) {
  DataStoreNull out;
  Require(out.Open() == 1, "the output store opens");
  if (IsOneIn(8)) out.SetViewMode(kViewItems);
  MetadataReader reader;
  reader.StartAt(ring.InitialReadLocation());
  long packets = 0;
  for (int count = reader.ReadNextSystemTick(ring, out); count > 0;
       count = reader.ReadNextSystemTick(ring, out)) {
    Require(count <= 17, "a tick has at most 17 packets");
    packets += count;
    Require(3 * packets <= input.payload_bytes, "no packet is collected twice");
    Require(reader.ParseReadSystemTick(out) == 1, "what was collected can be parsed");
    out.WriteBuffers();
  }
}

void SearchTicks(DataStoreNormal& ring, const RingInput& input, const CowFiles& files) {
  for (const std::uint32_t tick : {input.tick_a, input.tick_b, 0U, kNoTick}) {
    const std::size_t before = files.Calls().size();
    Require(IsCluster(ring.FindSystemTick(tick)), "a tick is found in a cluster of the ring");
    constexpr int kMostClustersRead = 17 + 15;
    Require(files.Count(crash::Call::kRead, before) <= 2 * kMostClustersRead, "a search is short");
  }
  for (const int cluster : input.clusters) static_cast<void>(ring.GetSystemTick(cluster));
  static_cast<void>(ring.InitialReadLocation());
}

}  // namespace vmr::fuzz
