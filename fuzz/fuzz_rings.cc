// Two ring images: opening them with and without repair, looking for ticks, reading
// everything, and recording on.
#include <optional>

#include "backends/data_store_normal.h"
#include "fuzz/fuzz_setup.h"
#include "fuzz/ring_walk.h"
#include "tests/crash/oracle.h"

namespace {

using vmr::DataStoreNormal;
using vmr::crash::CowFiles;
using vmr::crash::kBase;
using vmr::crash::kFile1;
using vmr::crash::kFile2;
using vmr::crash::Outcome;
using vmr::crash::Prediction;
using vmr::fuzz::Require;
using vmr::fuzz::RingInput;

enum TargetFlag : unsigned int { kRecordOn = 32 };

// What an independent reference makes of the two images. Who only reads looks at an empty
// file no more than if it were filled.
Prediction PredictFor(const CowFiles& files, bool read_only) {
  const auto image_of = [&files](int name) {
    return [&files, name](int cluster, unsigned char* to) {
      return files.Exists(name) && files.ReadRaw(name, cluster, to);
    };
  };
  const auto can_fill = [&](int name) { return read_only || files.CanBeCopied(name); };
  return vmr::crash::Predict(image_of(kFile1), image_of(kFile2),
                             {can_fill(kFile1), can_fill(kFile2)});
}

// Whether a file that could not be filled is of any use where the rest is bad is left open.
bool Fails(const Prediction& right) {
  return right.outcome == Outcome::kFails && !right.fills_empty;
}

void RequirePlace(const DataStoreNormal& ring, const Prediction& right) {
  if (right.outcome == Outcome::kFails) return;
  Require(ring.CurrentCluster() == right.current, "the current cluster is the reference's");
  Require(ring.PreviousCluster() == right.previous, "the previous cluster is the reference's");
  Require(ring.GetCurrentSystemTick() == right.last_tick, "the last tick is the reference's");
}

void LookAt(DataStoreNormal& ring, const RingInput& input, const CowFiles& files) {
  vmr::fuzz::SearchTicks(ring, input, files);
  vmr::fuzz::ReadEverything(ring, input);
}

void OpenForReading(const RingInput& input, const CowFiles& files,
                    const std::optional<Prediction>& predicted) {
  DataStoreNormal ring(kBase);
  const bool opened = ring.OpenReadOnly() == 1;
  if (predicted && (predicted->outcome == Outcome::kRecreates || Fails(*predicted)))
    Require(!opened, "what a recorder cannot go on with is not opened for reading");
  if (opened) {
    if (predicted) RequirePlace(ring, *predicted);
    LookAt(ring, input, files);
    const unsigned char packet[] = {0x80, 1, 0, 0, 0, 0, 0xC6};
    Require(ring.WriteData(packet, sizeof(packet), 1) == 0, "a ring opened for reading refuses");
    ring.Close();
  }
  Require(files.ChangesBeside(vmr::crash::kAnyName) == 0, "reading changes nothing");
}

// Three packets and a close; the ring must open again.
void RecordOn(DataStoreNormal& ring) {
  static const unsigned char kLarge[vmr::kMaxClusterPayload] = {0x84};
  for (const int length : {1, vmr::kMaxClusterPayload, vmr::kMaxClusterPayload})
    Require(ring.WriteData(kLarge, length, ring.GetCurrentSystemTick()) == 1,
            "an open ring takes packets");
  ring.Close();
}

void OpenForRecording(const RingInput& input, const CowFiles& files,
                      const std::optional<Prediction>& predicted) {
  DataStoreNormal ring(kBase);
  const bool opened = ring.Open() == 1;
  const bool recreated = files.Exists(vmr::crash::kCorrupt1);
  if (predicted) {
    Require(recreated == (predicted->outcome == Outcome::kRecreates),
            "only what cannot be searched is set aside");
    if (Fails(*predicted)) Require(!opened, "a bad current cluster is told");
    if (predicted->outcome == Outcome::kOpens) Require(opened, "what can be searched is opened");
  }
  if (!opened) return;
  if (predicted) RequirePlace(ring, *predicted);
  LookAt(ring, input, files);
  if ((input.flags & kRecordOn) == 0) return static_cast<void>(ring.Close());
  RecordOn(ring);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  vmr::fuzz::StartInput(data, size);
  static CowFiles files;
  vmr::fuzz::InputBytes bytes(data, size);
  const RingInput input = vmr::fuzz::MakeRing(bytes, files);
  std::optional<Prediction> predicted;
  if (input.usual_files) predicted = PredictFor(files, input.read_only);
  if (input.read_only)
    OpenForReading(input, files, predicted);
  else
    OpenForRecording(input, files, predicted);
  Require(files.OpenDescriptors() == 0, "every file is closed");
  return 0;
}
