#include "tools/evidence/redact.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <optional>
#include <vector>

#include "records/decoder.h"
#include "store/packet_format.h"
#include "store/tag_catalogue.h"
#include "tools/common/flat_file.h"
#include "tools/common/numbers.h"
#include "tools/evidence/position_grid.h"
#include "tools/read/items_in_force.h"
#include "tools/read/made_packets.h"

namespace vmr::tool {

using records::Gap;
using records::GapReason;
using records::KindId;
using records::PacketFound;
using records::Position;
using records::PositionQuality;
using records::Record;
using records::Sensitivity;

namespace {

bool BeginsWith(std::string_view text, std::string_view beginning) {
  return text.substr(0, beginning.size()) == beginning;
}

bool EndsWith(std::string_view text, std::string_view ending) {
  return text.size() >= ending.size() && text.substr(text.size() - ending.size()) == ending;
}

bool IsSamePlace(const Position& a, const Position& b) {
  return a.latitude_tts == b.latitude_tts && a.longitude_tts == b.longitude_tts;
}

// "Range 1000 to 2000", made of two ticks; nothing else gets by.
std::optional<std::string> RangeLabel(std::string_view text) {
  constexpr std::string_view kBefore = "Range ", kBetween = " to ";
  const std::size_t between = text.find(kBetween);
  if (!BeginsWith(text, kBefore) || between == text.npos || between < kBefore.size())
    return std::nullopt;
  const auto first = ParseTick(text.substr(kBefore.size(), between - kBefore.size()));
  const auto last = ParseTick(text.substr(between + kBetween.size()));
  if (!first || !last) return std::nullopt;
  return fmt::format("{}{}{}{}", kBefore, *first, kBetween, *last);
}

// How much of the state a unit would have written otherwise is no longer so.
std::optional<std::string> CompletedLabel(std::string_view text) {
  if (!BeginsWith(text, records::kCompletedLabel)) return std::nullopt;
  return fmt::format("{}, then redacted{}", records::kCompletedLabel,
                     EndsWith(text, records::kEstimatedClock) ? records::kEstimatedClock : "");
}

std::string RedactedLabel(const Redaction& redaction) {
  std::string text = fmt::format("{}{}", kRedactedLabel, redaction.Text());
  if (redaction.CellMetres() > 0)
    text += fmt::format("; positions are the middles of cells, told every {} ticks at most",
                        PositionGrid(redaction.CellMetres()).TellsEveryTicks());
  return text;
}

// Of an extract that was redacted before.
std::optional<std::string> RedactedLabel(std::string_view text) {
  if (!BeginsWith(text, kRedactedLabel)) return std::nullopt;
  text.remove_prefix(kRedactedLabel.size());
  std::string error;
  const auto redaction = Redaction::Of(text.substr(0, text.find(';')), error);
  if (!redaction) return std::nullopt;
  return RedactedLabel(*redaction);
}

std::string ItemOf(const Record& record) {
  return {reinterpret_cast<const char*>(record.item), record.item_bytes};
}

// The last byte of the head counts what follows.
std::string WithoutText(const Record& record) {
  std::string item = ItemOf(record);
  for (const records::FieldPlace& place : record.shape->fields) {
    if (place.order != records::Order::kText) continue;
    item.resize(place.offset);
    item.back() = 0;
  }
  return item;
}

constexpr int kLabelRank = -1;

// Readers need what tells of a device in front of what it reads.
int RankOf(const records::KindRow& kind) {
  for (const KindId device :
       {KindId::kGpsReceiver, KindId::kSpeedDevice, KindId::kRadarDevice, KindId::kMicrophoneName,
        KindId::kCameraName, KindId::kTemperatureSensor})
    if (kind.id == device) return 0;
  return 1 + static_cast<int>(kind.id);
}

class Redactor final : public records::Sink {
 public:
  Redactor(const Redaction& redaction, const std::function<void(std::string_view)>& write)
      : redaction_(redaction), write_(write) {
    if (redaction.CellMetres() > 0) grid_.emplace(redaction.CellMetres());
  }

  RedactionFacts Run(records::Source& source, const std::function<void()>& step) {
    Put({reinterpret_cast<const char*>(kFlatFileMagic), sizeof(kFlatFileMagic)});
    const std::vector<unsigned char> dictionary = OwnDictionary();
    Put({reinterpret_cast<const char*>(dictionary.data()), dictionary.size()});
    records::Decoder decoder(source, *this);
    while (decoder.Step()) step();
    EndStretch();
    if (!is_labelled_) PutLabelAlone();
    return facts_;
  }

  void OnPacket(const PacketFound& packet) override;
  void OnRecord(const Record& record) override;
  void OnGap(const Gap& gap) override;
  void OnNewRun(int run, unsigned int tick) override;

 private:
  // A position that waits for its tick.
  struct Waiting {
    Position middle;
    unsigned int tick;
  };
  using Items = std::vector<std::string>;
  // In which order it is written: units write their state in an order that follows from the
  // lengths of texts, also of those that were taken out.
  struct Kept {
    int rank;
    std::string item;
  };

  bool TakeLabel(const Record& record);
  bool TakeGapText(const Record& record);
  void TakePosition(const Record& record);
  void Keep(const Record& record, const std::string& item);
  void Add(const records::KindRow& kind, std::string item);
  Items TakeItems();

  void EndGroup();
  void EndStretch();
  void TellPosition(unsigned int tick, bool at_the_tick);
  void WriteGroup(unsigned int tick, Items items, const Items& names);
  void PutLabelAlone();
  void PutGapMark();
  void Put(std::string_view bytes) {
    mark_is_last_ = false;
    facts_.bytes += bytes.size();
    write_(bytes);
  }

  const Redaction& redaction_;
  const std::function<void(std::string_view)>& write_;
  std::optional<PositionGrid> grid_;
  RedactionFacts facts_;

  // Of the packets at hand: those of one header.
  unsigned int tick_ = kNoTick;
  int headers_ = 0;
  bool may_hold_labels_ = false;  // the first packet, as far as it holds nothing else
  std::vector<Kept> items_;
  int rank_ = 0;             // of the first that may come next: times stay where they are
  Items names_;              // of the time zone; no unit's reader goes on behind one
  std::size_t labels_ = 0;   // of the items, the first ones
  bool is_extract_ = false;  // it began with a label
  unsigned int last_tick_ = kNoTick;

  // Of what is written.
  bool is_labelled_ = false;
  bool has_written_header_ = false;
  bool reader_knows_tick_ = false;
  unsigned int last_written_tick_ = kNoTick;
  std::optional<GapReason> gap_;  // to be told with the next tick
  bool awaits_gap_text_ = false;  // of the extract that is read
  bool mark_is_last_ = false;     // a mark behind a mark would count what was between them
  std::optional<Position> told_;
  std::optional<unsigned int> start_tick_;  // of the position in an extract's state
  std::optional<Waiting> waiting_;
};

// ---- Reading ---------------------------------------------------------------------

void Redactor::OnPacket(const PacketFound& packet) {
  const bool has_header = packet.bytes[0] == HEADER_1 || packet.bytes[0] == HEADER_2;
  if (has_header || packet.tick != tick_) EndGroup();
  headers_ += has_header ? 1 : 0;
  may_hold_labels_ = has_header && headers_ == 1 && packet.crc_right;
  facts_.unsound += packet.crc_right ? 0 : 1;
  if (!packet.crc_right) return;
  tick_ = packet.tick;
  if (tick_ == kNoTick) return;
  TellPosition(tick_, false);
  last_tick_ = tick_;
}

void Redactor::OnRecord(const Record& record) {
  if (!record.crc_right) return;
  if (may_hold_labels_ && TakeLabel(record)) return;
  may_hold_labels_ = false;
  if (awaits_gap_text_ && TakeGapText(record)) return;
  // It is told again with what it belongs to, if that stays.
  if (record.kind->id == KindId::kTickAdjust) return;
  const Sensitivity sensitivity = redaction_.TakenOutFor(*record.kind);
  if (sensitivity == Sensitivity::kNone) {
    ++facts_.kept;
    return Keep(record, ItemOf(record));
  }
  ++facts_.taken_out[static_cast<std::size_t>(sensitivity)];
  if (redaction_.TakesOnlyTextOf(*record.kind)) return Keep(record, WithoutText(record));
  if (record.kind->id == KindId::kPosition && grid_) TakePosition(record);
}

// In front of an extract's state. No recorded text can stand there: a state holds none.
bool Redactor::TakeLabel(const Record& record) {
  if (record.kind->id != KindId::kLog) return false;
  const std::string_view text = ValueOf(record, 0).text;
  const auto label = labels_ == 0   ? RangeLabel(text)
                     : labels_ == 1 ? CompletedLabel(text)
                                    : RedactedLabel(text);
  if (!label) return false;
  is_extract_ = true;
  ++labels_;
  items_.push_back({kLabelRank, LogItem(*label)});
  return true;
}

// Of what it tells only the reason is told again, and that is one of a few.
bool Redactor::TakeGapText(const Record& record) {
  if (tick_ == kNoTick) return false;
  awaits_gap_text_ = false;
  if (record.kind->id != KindId::kLog || !gap_) return false;
  const auto reason = ReasonOfGapText(ValueOf(record, 0).text);
  if (reason) gap_ = reason;
  return reason.has_value();
}

// In an extract's state at once: the tick of that was chosen by who asked for it.
void Redactor::TakePosition(const Record& record) {
  if (record.position.quality != PositionQuality::kKnown) {
    waiting_.reset();
    return;
  }
  if (record.packet_tick == kNoTick) return;
  const Position middle = grid_->MiddleOf(record.position);
  if (is_extract_ && headers_ == 1) {
    Add(*record.kind, PositionItem(middle));
    ++facts_.positions;
    told_ = middle;
    start_tick_ = tick_;
  } else if (told_ && IsSamePlace(*told_, middle)) {
    waiting_.reset();
  } else if (waiting_) {
    waiting_->middle = middle;
  } else {
    const std::uint32_t every = grid_->TellsEveryTicks();
    // As far behind the state's as any other is behind the one before.
    const bool is_soon = start_tick_ && tick_ - *start_tick_ < every;
    const std::uint32_t from = is_soon ? *start_tick_ + every : tick_;
    waiting_ = Waiting{middle, from + (every - from % every) % every};
  }
}

void Redactor::Keep(const Record& record, const std::string& item) {
  std::string bytes;
  if (record.adjusted_by != 0)
    bytes = {static_cast<char>(TAG_TICK_ADJUST), static_cast<char>(record.adjusted_by)};
  bytes += item;
  if (record.kind->id == KindId::kTimeZoneName)
    names_.push_back(std::move(bytes));
  else
    Add(*record.kind, std::move(bytes));
}

void Redactor::Add(const records::KindRow& kind, std::string item) {
  constexpr int kRanks = static_cast<int>(records::kKindCount) + 1;
  // What stands behind these is read in another way than what stands in front.
  const bool divides = kind.use == records::KindUse::kFraming || kind.id == KindId::kTime;
  if (divides) rank_ += kRanks;
  items_.push_back({rank_ + (divides ? 0 : RankOf(kind)), std::move(item)});
  if (divides) rank_ += kRanks;
}

// Labels first; of one kind as they were recorded.
Redactor::Items Redactor::TakeItems() {
  std::stable_sort(items_.begin(), items_.end(),
                   [](const Kept& a, const Kept& b) { return a.rank < b.rank; });
  Items items;
  for (Kept& kept : items_) items.push_back(std::move(kept.item));
  items_.clear();
  rank_ = 0;
  return items;
}

void Redactor::OnGap(const Gap& gap) {
  EndStretch();
  ++facts_.gaps;
  PutGapMark();
  gap_ = gap.reason;
  awaits_gap_text_ = gap.reason == GapReason::kMarked;
}

// Without the packets that are left out a reader might not find that ticks begin anew.
void Redactor::OnNewRun(int /*run*/, unsigned int /*tick*/) {
  EndStretch();
  PutGapMark();
  last_written_tick_ = kNoTick;
}

// ---- Writing ---------------------------------------------------------------------

void Redactor::EndGroup() {
  if (!items_.empty() || !names_.empty()) WriteGroup(tick_, TakeItems(), names_);
  names_.clear();
}

// What was known of positions does not hold behind it.
void Redactor::EndStretch() {
  EndGroup();
  if (last_tick_ != kNoTick) TellPosition(last_tick_, true);
  waiting_.reset();
  told_.reset();
  last_tick_ = kNoTick;
  tick_ = kNoTick;
}

// The one that waits, if its tick is over.
void Redactor::TellPosition(unsigned int tick, bool at_the_tick) {
  if (!waiting_) return;
  const auto since = static_cast<std::int32_t>(tick - waiting_->tick);
  if (since < 0 || (since == 0 && !at_the_tick)) return;
  WriteGroup(waiting_->tick, {PositionItem(waiting_->middle)}, {});
  ++facts_.positions;
  told_ = waiting_->middle;
  waiting_.reset();
}

void Redactor::WriteGroup(unsigned int tick, Items items, const Items& names) {
  std::optional<unsigned int> header;
  if (tick != kNoTick) header = tick;
  // Also where it stands alone already: else a recorded text might come to stand where labels do.
  if (header ? !has_written_header_ : !is_labelled_)
    items.insert(items.begin() + static_cast<std::ptrdiff_t>(labels_),
                 LogItem(RedactedLabel(redaction_)));
  is_labelled_ = true;
  if (!header && reader_knows_tick_) PutGapMark();
  if (header && gap_) {
    Put(PacketOf(header, LogItem(GapText(last_written_tick_, tick, *gap_))));
    gap_.reset();
  }
  if (header || !items.empty()) Put(PacketsOf(header, items));
  for (const std::string& name : names) Put(PacketOf(std::nullopt, name));
  if (!header) return;
  has_written_header_ = true;
  reader_knows_tick_ = true;
  last_written_tick_ = tick;
}

void Redactor::PutLabelAlone() {
  Put(PacketOf(std::nullopt, LogItem(RedactedLabel(redaction_))));
  is_labelled_ = true;
}

void Redactor::PutGapMark() {
  if (!is_labelled_) PutLabelAlone();
  if (mark_is_last_) return;
  Put({reinterpret_cast<const char*>(records::kGapMark.data()), records::kGapMark.size()});
  mark_is_last_ = true;
  reader_knows_tick_ = false;
}

}  // namespace

RedactionFacts Redact(records::Source& source, const Redaction& redaction,
                      const std::function<void(std::string_view)>& write,
                      const std::function<void()>& step) {
  return Redactor(redaction, write).Run(source, step);
}

std::string TakenOutText(const RedactionFacts& facts) {
  std::string text;
  for (const records::SensitivityRow& row : records::Sensitivities()) {
    const unsigned long count = facts.taken_out[static_cast<std::size_t>(row.id)];
    if (count > 0) text += fmt::format("{}{} {}", text.empty() ? "" : ", ", row.name, count);
  }
  return text.empty() ? "nothing" : text;
}

}  // namespace vmr::tool
