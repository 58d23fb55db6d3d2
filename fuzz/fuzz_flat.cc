// Any bytes as a flat file, read tick by tick, viewed and passed on.
#include <sys/stat.h>

#include <algorithm>

#include "backends/data_store_flat.h"
#include "backends/data_store_null.h"
#include "fuzz/fuzz_setup.h"
#include "reader/metadata_reader.h"
#include "tests/crash/cow_files.h"

namespace {

using vmr::crash::CowFiles;
using vmr::crash::kFlat;
using vmr::crash::kPageBytes;
using vmr::fuzz::Require;

void MakeFlatFile(CowFiles& files, const std::uint8_t* data, std::size_t size) {
  files.Clear();
  files.MakeFile(kFlat, static_cast<long>(size), S_IFREG | 0660);
  for (std::size_t at = 0; at < size; at += kPageBytes) {
    const auto used = static_cast<int>(std::min<std::size_t>(kPageBytes, size - at));
    files.SetPage(kFlat, static_cast<int>(at / kPageBytes), files.MakePage(data + at, used));
  }
}

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
  static CowFiles files;
  MakeFlatFile(files, data, size);

  vmr::DataStoreFlatRead source(vmr::crash::PathOf(kFlat));
  vmr::DataStoreNull out;
  Require(source.Open() == 1 && out.Open() == 1, "the stores open");
  if (vmr::fuzz::IsOneIn(4)) out.SetViewMode(vmr::kViewItems);
  ReadToEnd(source, out, size);
  // Each block is asked for once; its first also for the magic.
  const int blocks = static_cast<int>(size) / kPageBytes + 1;
  Require(files.Count(vmr::crash::Call::kRead) <= 4 * blocks + 8, "no block is read over and over");
  Require(source.Close() == 0, "the file is closed");
  Require(files.OpenDescriptors() == 0 && files.ChangesBeside(vmr::crash::kAnyName) == 0,
          "reading changes nothing");
  return 0;
}
