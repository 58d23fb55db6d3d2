// Packets for the program's decoder: a byte of flags, then a flat file, or clusters of
// which each begins with two bytes of length and four of its first tick.
#include <string>
#include <vector>

#include "fuzz/fuzz_setup.h"
#include "fuzz/input_bytes.h"
#include "fuzz/memory_source.h"
#include "records/decoder.h"

namespace {

using vmr::fuzz::ClusterSource;
using vmr::fuzz::InputBytes;
using vmr::fuzz::Part;
using vmr::fuzz::Require;
using vmr::fuzz::WindowSource;
using namespace vmr::records;  // what is tested

enum Flag : unsigned int { kRepairCrcs = 1, kClusters = 2 };

// What was found, to be compared; and what must hold of each record.
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
    Add("record", record.tick, static_cast<std::uint64_t>(record.time.us),
        static_cast<std::uint64_t>(record.time.quality), record.place.offset,
        record.repeats ? 1U : 0U, static_cast<std::uint64_t>(record.position.quality));
  }
  void OnGap(const Gap& gap) override {
    Add("gap", gap.from_tick, gap.to_tick, static_cast<std::uint64_t>(gap.reason), gap.place.offset,
        gap.bytes, gap.clusters);
  }
  void OnClockStep(const ClockStep& step) override { Add("step", step.tick, step.told_us); }
  void OnNewRun(int run, unsigned int tick) override { Add("run", run, tick); }

  const std::string& Text() const { return text_; }

 private:
  template <typename... Numbers>
  void Add(const char* what, Numbers... numbers) {
    text_ += what;
    ((text_ += ' ', text_ += std::to_string(numbers)), ...);
    text_ += '\n';
  }

  PacketFound packet_{};
  std::string text_;
};

std::string Decode(Source& source) {
  Found found;
  Decoder(source, found).Run();
  return found.Text();
}

std::vector<Part> PartsOf(InputBytes& input, bool repair) {
  constexpr std::size_t kMostParts = 16;
  std::vector<Part> parts;
  while (!input.AtEnd() && parts.size() < kMostParts) {
    const std::uint16_t length = input.Le16();
    Part part;
    part.is_lost = (length & 0x8000) != 0;
    part.first_tick = input.Le32();
    const InputBytes::Span bytes = input.Take(length & 0xFFF);
    part.bytes.assign(bytes.data, bytes.data + bytes.size);
    if (repair) vmr::fuzz::RepairCrcs(part.bytes);
    parts.push_back(std::move(part));
  }
  return parts;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  vmr::fuzz::StartInput(data, size);
  InputBytes input(data, size);
  const unsigned int flags = input.Byte();
  const bool repair = (flags & kRepairCrcs) != 0;
  if ((flags & kClusters) != 0) {
    const std::vector<Part> parts = PartsOf(input, repair);
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
