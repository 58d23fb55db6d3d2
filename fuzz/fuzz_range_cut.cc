// A range cut out of clusters: a byte of flags, the first tick and a length in ticks, then
// clusters as for the decoder.
#include <cstring>
#include <string>
#include <vector>

#include "fuzz/fuzz_setup.h"
#include "fuzz/input_bytes.h"
#include "fuzz/memory_source.h"
#include "records/decoder.h"
#include "tools/read/range_cut.h"

namespace {

using vmr::fuzz::ClusterSource;
using vmr::fuzz::Crcs;
using vmr::fuzz::InputBytes;
using vmr::fuzz::Part;
using vmr::fuzz::PartsOf;
using vmr::fuzz::Require;
using vmr::fuzz::WindowSource;
using namespace vmr::records;
using vmr::tool::CutRange;
using vmr::tool::RangeCut;
using vmr::tool::UnitExtract;

// The records of sound packets of a known tick in the range, with their true places; of an
// extract without the state that it begins with.
class InRange final : public Sink {
 public:
  InRange(const CutRange& range, int headers_before)
      : range_(range), headers_before_(headers_before) {}

  void OnPacket(const PacketFound& packet) override {
    headers_ += packet.bytes[0] == vmr::HEADER_1 || packet.bytes[0] == vmr::HEADER_2 ? 1 : 0;
  }
  void OnRecord(const Record& record) override {
    if (headers_ <= headers_before_ || !record.crc_right || record.packet_tick == vmr::kNoTick ||
        record.packet_tick < range_.first || record.packet_tick > range_.last)
      return;
    if (record.kind->id == KindId::kLog && ValueOf(record, 0).text.substr(0, 4) == "vmr:") return;
    text_ += std::to_string(record.packet_tick) + " ";
    text_.append(reinterpret_cast<const char*>(record.item), record.item_bytes);
    const Position& position = record.position;
    if (record.kind->id == KindId::kPosition && position.quality == PositionQuality::kKnown)
      text_ += " at " + std::to_string(position.latitude_tts) + " " +
               std::to_string(position.longitude_tts);
    text_ += '\n';
  }

  const std::string& Text() const { return text_; }

 private:
  const CutRange& range_;
  const int headers_before_;
  int headers_ = 0;
  std::string text_;
};

void Compare(const std::vector<Part>& parts, const CutRange& range, const std::string& cut) {
  ClusterSource source(parts);
  InRange recorded(range, 0);
  Decoder(source, recorded).Run();
  WindowSource flat(reinterpret_cast<const unsigned char*>(cut.data()), cut.size(), cut.size());
  InRange extracted(range, 1);
  Decoder(flat, extracted).Run();
  Require(recorded.Text() == extracted.Text(), "an extract says what the recording says");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  vmr::fuzz::StartInput(data, size);
  InputBytes input(data, size);
  CutRange range;
  range.first = range.label_first = input.Le32();
  range.last = range.label_last = range.first + input.Le16();
  if (range.last < range.first || range.last > 0xFFFFFFF0) return 0;
  const std::vector<Part> parts = PartsOf(input, Crcs::kAsFlagged);
  ClusterSource source(parts);
  const UnitExtract unit;
  std::string cut;
  RangeCut maker(range, unit, [&cut](std::string_view bytes) { cut.append(bytes); });
  maker.Run(source, [] {});
  if (!maker.Facts().ticks_begin_anew) Compare(parts, range, cut);
  return 0;
}
