// Any bytes as one packet: nothing outside them may be looked at.
#include "backends/data_store_null.h"
#include "fuzz/fuzz_setup.h"
#include "reader/metadata_reader.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using vmr::fuzz::Require;
  vmr::fuzz::StartInput(data, size);
  vmr::DataStoreNull out;
  vmr::MetadataReader reader;
  const auto length = static_cast<int>(size);
  for (const unsigned int view_mode : {0U, vmr::kViewItems, vmr::kViewItems | vmr::kViewDumps}) {
    out.SetViewMode(view_mode);
    const int result = reader.ParsePacket(out, data, length);
    Require(result == 0 || (data[0] >= vmr::HEADER_1 && data[0] <= vmr::HEADER_DICTIONARY),
            "only packets are parsed");
    out.WriteBuffers();
  }
  return 0;
}
