// Any bytes as a stream of packets, collected tick by tick and viewed.
#include "backends/data_store_null.h"
#include "fuzz/fuzz_setup.h"
#include "fuzz/memory_source.h"
#include "reader/metadata_reader.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using vmr::fuzz::Require;
  vmr::fuzz::SetUpOnce();
  vmr::fuzz::MemorySource source(data, size);
  vmr::DataStoreNull out;
  Require(out.Open() != 0, "the output store opens");
  out.SetViewMode(vmr::kViewItems);

  vmr::MetadataReader reader;
  reader.StartAt(0);
  std::size_t packets = 0;
  for (int count = reader.ReadNextSystemTick(source, out); count > 0;
       count = reader.ReadNextSystemTick(source, out)) {
    Require(count <= 17, "a tick has at most 17 packets");
    packets += static_cast<std::size_t>(count);
    Require(3 * packets <= size, "no packet is collected twice");
    Require(reader.ParseReadSystemTick(out) == 1, "what was collected can be parsed");
    Require(reader.WriteReadSystemTick(out) == 1, "what was collected can be passed on");
    out.WriteBuffers();
  }
  return 0;
}
