// A recording without what is to be taken out: a byte of flags, two of what is, then a flat file,
// or clusters, as for the decoder.
#include <cstdint>
#include <string>
#include <vector>

#include "fuzz/fuzz_setup.h"
#include "fuzz/input_bytes.h"
#include "fuzz/memory_source.h"
#include "records/decoder.h"
#include "tools/evidence/position_grid.h"
#include "tools/evidence/redact.h"

namespace {

using vmr::fuzz::ClusterSource;
using vmr::fuzz::Crcs;
using vmr::fuzz::InputBytes;
using vmr::fuzz::Part;
using vmr::fuzz::PartsOf;
using vmr::fuzz::Require;
using vmr::fuzz::WindowSource;
using namespace vmr::records;
using vmr::tool::PositionGrid;
using vmr::tool::Redaction;
using vmr::tool::RedactionFacts;

enum Flag : unsigned int { kRepairCrcs = 1, kClusters = 2, kKeepTexts = 4, kGrid = 8, kSmall = 16 };

Redaction RedactionOf(unsigned int flags, unsigned int classes) {
  std::string list;
  for (const SensitivityRow& row : Sensitivities()) {
    if ((classes >> static_cast<unsigned int>(row.id) & 1) == 0) continue;
    if (row.id == Sensitivity::kText) continue;
    list += std::string(row.name) + ",";
    if (row.id == Sensitivity::kGps && (flags & kGrid) != 0)
      list.insert(list.size() - 1, (flags & kSmall) != 0 ? "=10m" : "=1km");
  }
  list += list.empty() || (flags & kKeepTexts) == 0 ? "text" : "text=keep";
  std::string error;
  const auto redaction = Redaction::Of(list, error);
  Require(redaction.has_value(), "a list of what there is is understood");
  return *redaction;
}

// What must hold of all that is left.
class Left final : public Sink {
 public:
  explicit Left(const Redaction& redaction) : redaction_(redaction) {}

  void OnRecord(const Record& record) override {
    Require(record.crc_right, "packets are whole");
    const KindId kind = record.kind->id;
    positions += kind == KindId::kPosition ? 1 : 0;
    if (redaction_.TakenOutFor(*record.kind) == Sensitivity::kNone) return;
    if (kind == KindId::kPosition)
      CheckPosition(record);
    else if (kind == KindId::kLog)
      CheckLog(ValueOf(record, 0).text);
    else
      CheckText(record);
  }
  void OnGap(const Gap& gap) override {
    Require(gap.reason == GapReason::kMarked, "what is damaged is left out");
  }

  unsigned long positions = 0;

 private:
  void CheckPosition(const Record& record) const {
    Require(redaction_.CellMetres() > 0, "no position is left");
    Require(record.item[0] == vmr::TAG_GPS_ABS, "no way is left");
    const Position middle = PositionGrid(redaction_.CellMetres()).MiddleOf(record.position);
    Require(middle.latitude_tts == record.position.latitude_tts &&
                middle.longitude_tts == record.position.longitude_tts,
            "a position is the middle of its cell");
    Require(record.packet_tick != vmr::kNoTick, "a position has a tick");
  }
  // Texts of the program's own, which say nothing but ticks and a few words.
  void CheckLog(std::string_view text) const {
    for (const std::string_view own :
         {vmr::tool::kRedactedLabel, std::string_view("vmr: gap, ticks "),
          std::string_view("Range "), kCompletedLabel})
      if (text.substr(0, own.size()) == own) return;
    Require(false, "a text is left");
  }
  void CheckText(const Record& record) const {
    Require(redaction_.TakesOnlyTextOf(*record.kind), "what is taken out is not left");
    for (std::size_t i = 0; i < record.kind->field_count; ++i)
      Require(ValueOf(record, i).text.empty(), "a name is emptied");
  }

  const Redaction& redaction_;
};

void RedactAndCheck(Source& source, const Redaction& redaction) {
  std::string file;
  const RedactionFacts facts =
      vmr::tool::Redact(source, redaction, [&file](std::string_view bytes) { file.append(bytes); });
  Require(facts.bytes == file.size(), "every byte is counted");
  constexpr std::size_t kMagicBytes = 4;
  const auto* const bytes = reinterpret_cast<const unsigned char*>(file.data());
  WindowSource flat(bytes + kMagicBytes, file.size() - kMagicBytes, file.size());
  Left left(redaction);
  Decoder(flat, left).Run();
  Require(redaction.CellMetres() == 0 || left.positions == facts.positions,
          "every position is counted");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  vmr::fuzz::StartInput(data, size);
  InputBytes input(data, size);
  const unsigned int flags = input.Byte();
  const Redaction redaction = RedactionOf(flags, input.Le16());
  const bool repair = (flags & kRepairCrcs) != 0;
  if ((flags & kClusters) != 0) {
    const std::vector<Part> parts = PartsOf(input, repair ? Crcs::kRepaired : Crcs::kAsTheyAre);
    ClusterSource source(parts);
    RedactAndCheck(source, redaction);
    return 0;
  }
  const InputBytes::Span rest = input.Rest();
  std::vector<unsigned char> bytes(rest.data, rest.data + rest.size);
  if (repair) vmr::fuzz::RepairCrcs(bytes);
  WindowSource source(bytes.data(), bytes.size(), bytes.size());
  RedactAndCheck(source, redaction);
  return 0;
}
