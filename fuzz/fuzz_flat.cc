// Any bytes as a flat file, read tick by tick, viewed and passed on.
#include "backends/data_store_flat.h"
#include "backends/data_store_null.h"
#include "fuzz/fuzz_setup.h"
#include "fuzz/memory_files.h"
#include "reader/metadata_reader.h"

namespace {

using vmr::fuzz::Require;

constexpr char kPath[] = "/m/flat";

void ReadToEnd(vmr::DataStore& source, vmr::DataStore& out, std::size_t size) {
  vmr::MetadataReader reader;
  reader.StartAt(source.InitialReadLocation());
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
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  vmr::fuzz::StartInput(data, size);
  static vmr::fuzz::MemoryFiles files;
  files.Clear();
  files.MakeFile(kPath, data, size);

  vmr::DataStoreFlatRead source(kPath);
  vmr::DataStoreNull out;
  Require(source.Open() == 1 && out.Open() == 1, "the stores open");
  if (vmr::fuzz::IsOneIn(4)) out.SetViewMode(vmr::kViewItems);
  ReadToEnd(source, out, size);
  // Each block is asked for once; its first also for the magic.
  const int blocks = static_cast<int>(size) / vmr::fuzz::MemoryFiles::kPageBytes + 1;
  Require(files.Reads() <= 4 * blocks + 8, "no block is read over and over");
  Require(source.Close() == 0, "the file is closed");
  Require(files.OpenDescriptors() == 0 && files.Changes() == 0, "reading changes nothing");
  return 0;
}
