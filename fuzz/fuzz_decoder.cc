// Packets for the program's decoder: a byte of flags, then a flat file, or clusters of
// which each begins with two bytes of length and four of its first tick.
#include <cstdint>
#include <vector>

#include "fuzz/fuzz_setup.h"
#include "fuzz/input_bytes.h"
#include "fuzz/memory_source.h"
#include "records/decoder.h"

namespace {

using vmr::fuzz::ClusterSource;
using vmr::fuzz::Crcs;
using vmr::fuzz::InputBytes;
using vmr::fuzz::Part;
using vmr::fuzz::PartsOf;
using vmr::fuzz::Require;
using vmr::fuzz::WindowSource;
using namespace vmr::records;  // what is tested

enum Flag : unsigned int { kRepairCrcs = 1, kClusters = 2 };

enum class What { kRecord, kGap, kStep, kRun };

// A digest of what was found, to be compared; and what must hold of each record.
class Found final : public Sink {
 public:
  void OnPacket(const PacketFound& packet) override {
    packet_ = packet;
    Require(packet.size > 0, "a packet has bytes");
  }
  void OnRecord(const Record& record) override {
    Require(record.item >= packet_.bytes &&
                record.item + record.item_bytes <= packet_.bytes + packet_.size,
            "an item lies in its packet");
    Require(record.crc_right == packet_.crc_right, "a record's CRC is its packet's");
    for (std::size_t i = 0; i < record.kind->field_count; ++i) {
      const Value value = ValueOf(record, i);
      Require(value.field == &record.kind->fields[i], "a value is of its field");
      if (value.word != nullptr) Require(*value.word != '\0', "a word is not empty");
    }
    if (record.position.quality != PositionQuality::kUnknown)
      Require(record.position.latitude_tts >= -54000000 &&
                  record.position.latitude_tts <= 54000000 &&
                  record.position.longitude_tts >= -108000000 &&
                  record.position.longitude_tts <= 108000000,
              "a position is on Earth");
    Add(What::kRecord, record.tick, record.time.us, record.time.quality, record.place.offset,
        record.repeats, record.position.quality);
  }
  void OnGap(const Gap& gap) override {
    Add(What::kGap, gap.from_tick, gap.to_tick, gap.reason, gap.place.offset, gap.bytes,
        gap.clusters);
  }
  void OnClockStep(const ClockStep& step) override { Add(What::kStep, step.tick, step.told_us); }
  void OnNewRun(int run, unsigned int tick) override { Add(What::kRun, run, tick); }

  std::uint64_t Digest() const { return digest_; }

 private:
  template <typename... Numbers>
  void Add(What what, Numbers... numbers) {
    Mix(static_cast<std::uint64_t>(what));
    (Mix(static_cast<std::uint64_t>(numbers)), ...);
  }
  void Mix(std::uint64_t number) {
    digest_ = (digest_ ^ number) * 0x9E3779B97F4A7C15U;
    digest_ ^= digest_ >> 29;
  }

  PacketFound packet_{};
  std::uint64_t digest_ = 0;
};

std::uint64_t Decode(Source& source) {
  Found found;
  Decoder(source, found).Run();
  return found.Digest();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  vmr::fuzz::StartInput(data, size);
  InputBytes input(data, size);
  const unsigned int flags = input.Byte();
  const bool repair = (flags & kRepairCrcs) != 0;
  if ((flags & kClusters) != 0) {
    const std::vector<Part> parts = PartsOf(input, repair ? Crcs::kRepaired : Crcs::kAsTheyAre);
    ClusterSource source(parts);
    Decode(source);
    return 0;
  }
  const InputBytes::Span rest = input.Rest();
  std::vector<unsigned char> bytes(rest.data, rest.data + rest.size);
  if (repair) vmr::fuzz::RepairCrcs(bytes);
  WindowSource whole(bytes.data(), bytes.size(), bytes.size());
  // A window is longer than the longest packet, as the real one is by far.
  constexpr std::size_t kWindow = 700;
  WindowSource windows(bytes.data(), bytes.size(), kWindow);
  Require(Decode(whole) == Decode(windows), "it makes no difference where a window ends");
  return 0;
}
