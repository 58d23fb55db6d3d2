#include "tools/read/range_cut.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>

#include "records/flat_source.h"
#include "store/bytes.h"
#include "store/packet_format.h"
#include "tools/common/iso_time.h"
#include "tools/common/ticks.h"
#include "tools/read/made_packets.h"

namespace vmr::tool {

using records::Gap;
using records::GapReason;
using records::KindId;
using records::KindUse;
using records::PacketFound;
using records::Record;
using records::TimeQuality;

namespace {

bool TellsTick(unsigned char header) { return header == HEADER_1 || header == HEADER_2; }

// The state that an extract begins with.
class StateReader final : public records::Sink {
 public:
  explicit StateReader(UnitExtract& unit) : unit_(unit) {}

  void OnPacket(const PacketFound& packet) override {
    if (headers == 0) first_packet = packet.place.offset;
    headers += TellsTick(packet.bytes[0]) ? 1 : 0;
    if (headers > 1) decoder->Stop();
  }
  void OnRecord(const Record& record) override {
    const KindId kind = record.kind->id;
    if (headers != 1 || kind == KindId::kLog || kind == KindId::kTime) return;
    unit_.state.push_back({ItemsInForce::KeyOf(record), ItemsInForce::ItemOf(record),
                           record.kind->use == KindUse::kState, kind == KindId::kPosition});
  }

  records::Decoder* decoder = nullptr;
  int headers = 0;
  std::int64_t first_packet = 0;

 private:
  UnitExtract& unit_;
};

unsigned char TagOf(const std::string& item) { return static_cast<unsigned char>(item[0]); }

}  // namespace

std::optional<UnitExtract> ReadUnitExtract(int fd) {
  records::FlatProblem problem{};
  const auto source = records::FlatSource::Open(fmt::format("/proc/self/fd/{}", fd), problem);
  if (source == nullptr) return std::nullopt;
  UnitExtract unit;
  StateReader reader(unit);
  records::Decoder decoder(*source, reader);
  reader.decoder = &decoder;
  decoder.Run();
  if (reader.headers == 0) return std::nullopt;
  unit.head.resize(static_cast<std::size_t>(reader.first_packet));
  const ssize_t read = pread(fd, unit.head.data(), unit.head.size(), 0);
  if (read != static_cast<ssize_t>(unit.head.size())) return std::nullopt;
  return unit;
}

// ---- Reading ---------------------------------------------------------------------

void RangeCut::Run(records::Source& source, const std::function<void()>& step) {
  records::Decoder decoder(source, *this);
  decoder_ = &decoder;
  while (!facts_.ticks_begin_anew && decoder.Step()) step();
  if (!has_begun_ && !facts_.ticks_begin_anew) Begin();
}

bool RangeCut::IsBehindRange(const PacketFound& packet) const {
  return packet.crc_right && packet.tick != kNoTick && packet.tick > range_.last;
}

// Ticks also begin anew where 32 bits of them have run out. What has begun behind the range
// makes it ambiguous where it comes across it again.
void RangeCut::OnPacket(const PacketFound& packet) {
  const bool knows_tick = packet.crc_right && packet.tick != kNoTick;
  if (has_ended_) {
    if (knows_tick && packet.tick >= range_.first && packet.tick <= range_.last) RefuseTicks();
    return;
  }
  if (knows_tick && highest_tick_ != kNoTick && packet.tick < highest_tick_) return RefuseTicks();
  if (knows_tick) highest_tick_ = packet.tick;
  if (knows_tick && facts_.recording_begins == kNoTick) facts_.recording_begins = packet.tick;
  if (!has_begun_) {
    if (!knows_tick) return Hold(packet);
    if (packet.tick < range_.first) {
      held_.clear();
      known_before_held_.reset();
      gap_before_.reset();
      return;
    }
    Begin();
  }
  if (IsBehindRange(packet)) {
    facts_.next_tick = packet.tick;
    has_ended_ = true;
    return;
  }
  CopyPacket(packet.bytes, packet.size, packet.tick, packet.crc_right);
}

void RangeCut::Hold(const PacketFound& packet) {
  if (!known_before_held_) known_before_held_ = known_;
  held_.push_back(
      {std::string(reinterpret_cast<const char*>(packet.bytes), packet.size), packet.crc_right});
}

void RangeCut::OnRecord(const Record& record) {
  if (has_begun_ || has_ended_) return;
  known_.Take(record);
  if (record.kind->id == KindId::kConfigurationEnd && record.repeats) facts_.gap_before.reset();
  const TimeQuality quality = record.time.quality;
  if (record.tick == kNoTick || quality == TimeQuality::kUnknown) return;
  time_is_sure_ = quality != TimeQuality::kEstimated;
  time_ = record.time;
  time_tick_ = record.tick;
}

void RangeCut::OnGap(const Gap& gap) {
  if (has_ended_) return;
  if (has_begun_) return MarkGap(gap);
  if (!gap_before_) gap_before_ = gap;
  known_.ForgetAll();
  known_before_held_.reset();
  if (gap.reason == GapReason::kWrongCrc)
    known_before_held_ = known_;  // the packet is held, and may be of the range
  else
    held_.clear();
  time_is_sure_ = false;
  if (gap.reason != GapReason::kOverwritten) facts_.gap_before = gap;
}

void RangeCut::OnNewRun(int /*run*/, unsigned int /*tick*/) {
  if (!has_ended_) RefuseTicks();
}

void RangeCut::RefuseTicks() {
  facts_.ticks_begin_anew = true;
  has_ended_ = true;
  decoder_->Stop();
}

// ---- Writing ---------------------------------------------------------------------

void RangeCut::Begin() {
  has_begun_ = true;
  state_ = (known_before_held_ ? *known_before_held_ : known_).All();
  Put(unit_.head);
  WriteState();
  if (gap_before_) MarkGap(*gap_before_);
  for (const Held& held : held_)
    CopyPacket(reinterpret_cast<const unsigned char*>(held.bytes.data()), held.bytes.size(),
               kNoTick, held.crc_right);
}

// The clock at the start. Only whole seconds can be told.
std::vector<std::string> RangeCut::TimeItems() const {
  if (time_tick_ == kNoTick) return {};
  const unsigned int start = range_.label_first;
  std::int64_t us = time_.us + static_cast<std::int32_t>(start - time_tick_) * records::kTick_us;
  std::vector<std::string> items;
  if (us % kMicrosecondsPerSecond != 0) {
    if (start == 0) return {};
    us -= records::kTick_us;
    items.push_back({static_cast<char>(TAG_TICK_ADJUST), 1});
  }
  unsigned char item[1 + 4] = {TAG_TIME};
  PutLe32(item + 1, static_cast<std::uint32_t>(us / kMicrosecondsPerSecond));
  items.emplace_back(reinterpret_cast<const char*>(item), sizeof(item));
  return items;
}

std::string RangeCut::CompletedText() const {
  return fmt::format("{}: {} kept, {} corrected, {} added, {} not recorded and left out{}",
                     records::kCompletedLabel, facts_.kept, facts_.corrected, facts_.added,
                     facts_.removed, time_is_sure_ ? "" : records::kEstimatedClock);
}

// What is recorded of what the unit's state says.
void RangeCut::AddKnown(const UnitExtract::Said& said, std::vector<std::string>& items) {
  if (!said.is_state) return items.push_back(said.item.bytes);
  const auto found = state_.find(said.key);
  if (found == state_.end() || found->second.empty()) {
    ++facts_.removed;
    return;
  }
  const ItemsInForce::Items& known = found->second;
  const bool agrees = std::any_of(known.begin(), known.end(), [&](const ItemsInForce::Item& item) {
    return item.meaning == said.item.meaning;
  });
  ++(agrees ? facts_.kept : facts_.corrected);
  if (std::exchange(said_[said.key], true)) return;
  for (const ItemsInForce::Item& item : known) items.push_back(item.bytes);
}

std::vector<std::string> RangeCut::StateItems() {
  std::vector<std::string> items;
  for (const UnitExtract::Said& said : unit_.state) AddKnown(said, items);
  for (const auto& [key, known] : state_) {
    if (known.empty() || said_.count(key) != 0) continue;
    ++facts_.added;
    for (const ItemsInForce::Item& item : known) items.push_back(item.bytes);
  }
  return items;
}

// No unit's reader goes on behind the name of the time zone: it stands alone, at the end.
void RangeCut::WriteState() {
  std::vector<std::string> state = StateItems();
  const auto names = std::stable_partition(state.begin(), state.end(), [](const auto& item) {
    return TagOf(item) != TAG_TIME_ZONE_NAME;
  });
  std::vector<std::string> items = {
      LogItem(fmt::format("Range {} to {}", range_.label_first, range_.label_last)),
      LogItem(CompletedText())};
  for (std::string& item : TimeItems()) items.push_back(std::move(item));
  items.insert(items.end(), std::make_move_iterator(state.begin()), std::make_move_iterator(names));
  Put(PacketsOf(range_.label_first, items));
  std::for_each(names, state.end(),
                [this](const std::string& item) { Put(PacketOf(std::nullopt, item)); });
  told_ = {range_.label_first, true};
}

void RangeCut::CopyPacket(const unsigned char* bytes, std::size_t size, unsigned int tick,
                          bool crc_right) {
  const bool is_known = crc_right && tick != kNoTick && TellsTick(bytes[0]);
  if (is_known && (!gap_text_.empty() || told_.After(bytes) != tick)) TellTick(tick);
  if (tick == kNoTick && told_.After(bytes) != kNoTick) PutGapMark();
  Put({reinterpret_cast<const char*>(bytes), size});
  told_.Take(bytes, crc_right);
  Count(size, crc_right ? tick : kNoTick);
}

void RangeCut::Count(std::size_t bytes, unsigned int tick) {
  ++facts_.packets;
  facts_.bytes += bytes;
  if (tick == kNoTick) return;
  if (facts_.first_tick == kNoTick) facts_.first_tick = tick;
  const unsigned int before = std::exchange(facts_.last_tick, tick);
  if (before == kNoTick || tick < before || tick - before <= facts_.widest_gap) return;
  facts_.widest_gap = tick - before;
  facts_.gap_tick = before;
}

// A packet with a wrong CRC, or with an item of no known kind, shows by itself that
// something is lost.
void RangeCut::MarkGap(const Gap& gap) {
  if (gap.reason == GapReason::kOverwritten && facts_.recording_begins <= range_.first) return;
  facts_.gaps.push_back(gap);
  const bool shows_itself = facts_.packets > 0 && (gap.reason == GapReason::kWrongCrc ||
                                                   gap.reason == GapReason::kUnknownItems);
  if (gap.reason == GapReason::kWrongCrc) told_ = {};  // a reader may doubt the tick, too
  if (shows_itself) return;
  PutGapMark();
  gap_text_ = GapText(gap.from_tick, gap.to_tick, gap.reason);
}

void RangeCut::PutGapMark() {
  Put({reinterpret_cast<const char*>(records::kGapMark.data()), records::kGapMark.size()});
  told_ = {};
}

void RangeCut::TellTick(unsigned int tick) {
  Put(PacketOf(tick, gap_text_.empty() ? "" : LogItem(gap_text_)));
  gap_text_.clear();
  told_ = {tick, true};
}

void RangeCut::ToldTick::Take(const unsigned char* packet, bool crc_right) {
  if (!TellsTick(packet[0])) return;
  if (packet[0] == HEADER_1) is_whole = crc_right;
  tick = PacketTick(packet, tick);
}

unsigned int RangeCut::ToldTick::After(const unsigned char* packet) const {
  if (packet[0] == HEADER_1) return GetLe32(packet + 1);
  return is_whole ? PacketTick(packet, tick) : kNoTick;
}

}  // namespace vmr::tool
