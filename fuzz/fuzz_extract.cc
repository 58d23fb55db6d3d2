// A range of ticks cut out of two ring images; what comes out is read back.
#include "backends/data_store_flat.h"
#include "backends/data_store_null.h"
#include "fuzz/flat_walk.h"
#include "fuzz/fuzz_setup.h"
#include "fuzz/ring_input.h"
#include "reader/metadata_reader.h"

namespace {

using vmr::ExtractionReport;
using vmr::MetadataReader;
using vmr::crash::CowFiles;
using vmr::crash::kFlat;
using vmr::fuzz::Require;
using vmr::fuzz::RingInput;

const char* const kOut = vmr::crash::PathOf(kFlat);

// A turn of the extraction's loop, which a host's watchdog sees.
class Turns final : public vmr::Watchdog {
 public:
  void PetWatchdog() override { ++count_; }
  long Count() const { return count_; }

 private:
  long count_ = 0;
};

// The library's own reader meets the same packets.
void ReadBack(std::size_t packets) {
  vmr::DataStoreFlatRead source(kOut);
  vmr::DataStoreNull out;
  Require(source.Open() == 1 && out.Open() == 1, "what was extracted opens");
  MetadataReader reader;
  reader.StartAt(0);
  std::size_t read = 0;
  for (int count = reader.ReadNextSystemTick(source, out); count > 0;
       count = reader.ReadNextSystemTick(source, out)) {
    read += static_cast<std::size_t>(count);
    Require(reader.ParseReadSystemTick(out) == 1, "what was extracted parses");
    out.WriteBuffers();
  }
  constexpr std::size_t kDictionary = 1;
  Require(read == packets + kDictionary, "every extracted packet is read back");
  source.Close();
}

void CheckReport(const ExtractionReport& report, const RingInput& input, std::size_t packets) {
  Require(report.widened_end >= input.tick_b, "the end is widened");
  Require(report.packets <= packets, "what was copied is in the file");
  Require(report.bytes <= static_cast<unsigned long long>(input.payload_bytes),
          "nothing is copied twice");
  if (report.first_tick == vmr::kNoTick) return;
  Require(report.packets > 0, "only what was copied has a tick");
  Require(report.first_tick <= report.widened_end && report.last_tick <= report.widened_end,
          "what is copied comes before the end");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  vmr::fuzz::StartInput(data, size);
  static CowFiles files;
  vmr::fuzz::InputBytes bytes(data, size);
  const RingInput input = vmr::fuzz::MakeRing(bytes, files);
  MetadataReader reader(input.read_only ? vmr::RingAccess::kReadOnly : vmr::RingAccess::kRepair);
  Turns turns;
  const bool extracted =
      reader.ReadToNewFile(vmr::crash::kBase, kOut, input.tick_a, input.tick_b, &turns);
  Require(3 * turns.Count() <= input.payload_bytes + 60, "no tick is met twice");
  Require(files.OpenDescriptors() == 0, "every file is closed");
  if (input.read_only) Require(files.ChangesBeside(kFlat) == 0, "the ring is only read");
  const ExtractionReport& report = reader.LastExtraction();
  if (!files.Exists(kFlat)) {
    Require(!extracted, "an extraction makes a file");
  } else if (report.wrote_everything) {
    const std::size_t packets = vmr::fuzz::WalkFlatFile(files.ReadAll(kFlat)).packets;
    CheckReport(report, input, packets);
    ReadBack(packets);
  }
  return 0;
}
