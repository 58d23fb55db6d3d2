#include "records/decoder.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <utility>

#include "store/bytes.h"
#include "store/packet_format.h"
#include "store/tag_catalogue.h"

namespace vmr::records {
namespace {

// Whole seconds are recorded, and a clock one second off counts as right.
constexpr std::int64_t kToleratedStep_us = kSecond_us;

constexpr std::int32_t kTTsPerMinute = 10000;
constexpr std::int32_t kMinutesPerDegree = 60;
constexpr std::int32_t kHalfCircleTTs = 180 * kMinutesPerDegree * kTTsPerMinute;

bool BeginsNewRun(unsigned int tick, unsigned int last_tick) {
  return last_tick != kNoTick && TicksWentBack(tick, last_tick);
}

// The packet at `packet`, when a header of items stands there, it ends within `available`
// bytes, and its CRC is right. Of a dictionary only a zero could be asked for.
bool IsSoundPacket(const unsigned char* packet, std::size_t available) {
  if (packet[0] == HEADER_DICTIONARY) return false;
  const std::size_t bytes = WholePacketBytes(packet, available);
  return bytes != 0 && PacketEndIsRight(packet, bytes);
}

// A packet of items may stand there, of which only the next stretch shows the end.
bool IsCutOff(const unsigned char* packet, const Stretch& stretch) {
  if (stretch.is_whole || packet[0] == HEADER_DICTIONARY) return false;
  const auto available = static_cast<std::size_t>(stretch.bytes + stretch.size - packet);
  return FindPacketShape(packet[0]) != nullptr && WholePacketBytes(packet, available) == 0;
}

bool IsGapMark(const unsigned char* packet, std::size_t bytes) {
  return bytes == kGapMark.size() && std::equal(kGapMark.begin(), kGapMark.end(), packet);
}

// How much a gap of the reason loses: an item, a packet, packets that nobody has counted,
// clusters.
int Loss(GapReason reason) {
  switch (reason) {
    case GapReason::kUnknownItems:
      return 0;
    case GapReason::kWrongCrc:
      return 1;
    case GapReason::kNoPackets:
    case GapReason::kCutShort:
    case GapReason::kMarked:
      return 2;
    case GapReason::kLostClusters:
    case GapReason::kOvertaken:
    case GapReason::kOverwritten:
      return 3;
  }
  return 0;
}

bool BeginsPacket(unsigned char byte) { return byte >= HEADER_1 && byte <= HEADER_NULL; }

std::size_t HeadBytes(const unsigned char* packet) {
  return FindPacketShape(packet[0])->head_bytes;
}

// Calls `visit` with each item of a packet and its length until that returns false, or an
// item is of no known kind; then the bytes that are left.
template <typename Visit>
std::size_t ForEachItem(const unsigned char* packet, std::size_t packet_bytes, Visit visit) {
  const unsigned char* item = packet + HeadBytes(packet);
  const unsigned char* const end = packet + packet_bytes - kPacketCrcBytes;
  while (item < end) {
    const auto left = static_cast<std::size_t>(end - item);
    const std::size_t bytes = ItemLength(FindTag(item[0]), item, left);
    if (bytes == 0 || !visit(item, bytes)) break;
    item += bytes;
  }
  return static_cast<std::size_t>(end - item);
}

Place Moved(Place place, std::size_t bytes) {
  place.offset += static_cast<std::int64_t>(bytes);
  return place;
}

bool IsBefore(const Place& a, const Place& b) {
  return a.cluster != b.cluster ? a.cluster < b.cluster : a.offset < b.offset;
}

bool EndsWith(std::string_view text, std::string_view ending) {
  return text.size() >= ending.size() && text.substr(text.size() - ending.size()) == ending;
}

// "Range 1000 to 2000", the label of an extract.
bool IsRangeLabel(std::string_view text) {
  constexpr std::string_view kBefore = "Range ", kBetween = " to ";
  const auto digits = [&text] {
    const std::size_t count = std::min(text.find_first_not_of("0123456789"), text.size());
    text.remove_prefix(count);
    return count > 0;
  };
  const auto word = [&text](std::string_view expected) {
    const bool there = text.substr(0, expected.size()) == expected;
    if (there) text.remove_prefix(expected.size());
    return there;
  };
  return word(kBefore) && digits() && word(kBetween) && digits() && text.empty();
}

}  // namespace

// ---- Framing ---------------------------------------------------------------------

bool Decoder::Step() {
  Stretch stretch;
  const bool more = source_.Next(unused_, stretch);
  if (more) at_stretch_ = stretch.gap ? Framing{kNoTick, last_tick_} : FramingNow();
  at_stretch_.run = run_;
  if (stretch.gap) {
    Flush();
    BeginGap(*stretch.gap);
    LoseTick();
  }
  if (!more) {
    if (damage_) EndDamage();
    Flush();
    EndGap();
    return false;
  }
  unused_ = stretch.size - Walk(stretch);
  KeepGroup();
  return true;
}

Decoder::Framing Decoder::FramingNow() const {
  return {tick_, last_tick_, has_upper_bits_, needs_header_, damage_.has_value(), run_};
}

void Decoder::GoOnFrom(const Framing& framing) {
  tick_ = framing.tick;
  last_tick_ = framing.last_tick;
  has_upper_bits_ = framing.has_upper_bits;
  needs_header_ = framing.needs_header;
  run_ = framing.run;
  if (framing.in_damage) damage_ = Gap(GapReason::kNoPackets);
}

// What comes next has nothing in front of it that it goes on from.
void Decoder::LoseTick() {
  has_upper_bits_ = false;
  needs_header_ = true;
}

// Returns how many bytes are done with.
std::size_t Decoder::Walk(const Stretch& stretch) {
  if (!has_upper_bits_ && stretch.first_tick != kNoTick) {
    tick_ = stretch.first_tick;
    has_upper_bits_ = true;
  }
  std::size_t at = 0;
  while (at < stretch.size && !stopped_) {
    const std::size_t bytes = TakePacket(stretch, at);
    if (bytes == 0) break;
    at += bytes;
  }
  return stopped_ ? stretch.size : at;
}

// Returns the bytes taken; 0 when the packet goes on in the next stretch.
std::size_t Decoder::TakePacket(const Stretch& stretch, std::size_t at) {
  const unsigned char* const bytes = stretch.bytes + at;
  const std::size_t available = stretch.size - at;
  here_ = Moved(stretch.place, at);
  if (damage_ && IsCutOff(bytes, stretch)) return 0;
  if (damage_ && !IsSoundPacket(bytes, available)) return TakeDamage(stretch, at);
  if (damage_) {
    damage_->reason = GapReason::kNoPackets;
    EndDamage();
  }
  if (bytes[0] == HEADER_NULL) return 1;
  const std::size_t size = WholePacketBytes(bytes, available);
  if (size == 0 && FindPacketShape(bytes[0]) != nullptr && !stretch.is_whole) return 0;
  if (size == 0) return TakeDamage(stretch, at);
  if (IsGapMark(bytes, size)) return TakeGapMark();
  const bool right = PacketEndIsRight(bytes, size);
  if (!right && size == available && !stretch.is_whole) return 0;
  // A wrong CRC is a flipped bit where the packets go on behind it; else no packet stands
  // here at all, as where a dictionary ends wrong: it has no CRC, and may have swallowed many.
  const bool goes_on = size == available || BeginsPacket(bytes[size]);
  if (!right && (bytes[0] == HEADER_DICTIONARY || !goes_on)) return TakeDamage(stretch, at);
  Add({bytes, size, here_, right});
  return size;
}

// Up to the next sound packet, which may stand in a stretch that is still to come.
std::size_t Decoder::TakeDamage(const Stretch& stretch, std::size_t at) {
  if (!damage_) {
    Flush();
    damage_ = Gap(BeginsPacket(stretch.bytes[at]) ? GapReason::kCutShort : GapReason::kNoPackets);
    damage_->place = here_;
  }
  const auto may_end_at = [&stretch](std::size_t end) {
    const unsigned char* const bytes = stretch.bytes + end;
    return IsSoundPacket(bytes, stretch.size - end) || IsCutOff(bytes, stretch);
  };
  std::size_t end = at + 1;
  while (end < stretch.size && !may_end_at(end)) ++end;
  damage_->bytes += static_cast<std::int64_t>(end - at);
  if (end == stretch.size && stretch.is_whole) EndDamage();
  return end - at;
}

void Decoder::EndDamage() {
  BeginGap(*damage_);
  damage_.reset();
  LoseTick();
}

std::size_t Decoder::TakeGapMark() {
  Flush();
  Gap gap{GapReason::kMarked};
  gap.place = here_;
  BeginGap(gap);
  LoseTick();
  return kGapMark.size();
}

void Decoder::Add(const Packet& packet) {
  if (packet.bytes[0] == HEADER_DICTIONARY) return Flush();
  if (packet.bytes[0] == HEADER_1 || packet.bytes[0] == HEADER_2) {
    Flush();
    first_group_ = !has_met_header_;
    has_met_header_ = true;
    SetTick(packet);
    needs_header_ = false;
  } else if (group_.count == Group::kMaxPackets) {
    Flush();
  }
  if (group_.count == 0) group_.tick = needs_header_ ? kNoTick : tick_;
  group_.packets[group_.count++] = packet;
  if (packet.crc_right) return;
  Flush();
  Gap gap{GapReason::kWrongCrc};
  gap.place = packet.place;
  gap.bytes = static_cast<std::int64_t>(packet.size);
  BeginGap(gap);
  DoubtTick(packet);
}

// What a packet with a wrong CRC has told of ticks holds for its own records at most. Where
// its items do not end with it, its length may be what is wrong, and it may have swallowed a
// header.
void Decoder::DoubtTick(const Packet& packet) {
  const auto any = [](const unsigned char*, std::size_t) { return true; };
  if (ForEachItem(packet.bytes, packet.size, any) != 0) return LoseTick();
  if (packet.bytes[0] == HEADER_1) has_upper_bits_ = false;
  if (packet.bytes[0] == HEADER_1 || packet.bytes[0] == HEADER_2) needs_header_ = true;
}

void Decoder::SetTick(const Packet& packet) {
  if (packet.bytes[0] == HEADER_1) {
    tick_ = PacketTick(packet.bytes, tick_);
    has_upper_bits_ = packet.crc_right;
  } else if (has_upper_bits_) {
    tick_ = PacketTick(packet.bytes, tick_);
  } else {
    tick_ = kNoTick;
  }
  if (tick_ == kNoTick || !packet.crc_right) return;
  if (BeginsNewRun(tick_, last_tick_)) BeginRun();
  last_tick_ = tick_;
}

void Decoder::BeginRun() {
  EndGap();
  ++run_;
  anchor_.reset();
  next_.reset();
  has_looked_ = false;
  Forget();
  sink_.OnNewRun(run_, tick_);
}

// The bytes of a group that may go on in the next stretch are kept.
void Decoder::KeepGroup() {
  if (group_.count == 0) return;
  std::size_t bytes = 0;
  for (std::size_t i = 0; i < group_.count; ++i) bytes += group_.packets[i].size;
  kept_before_.resize(bytes);
  std::size_t at = 0;
  for (std::size_t i = 0; i < group_.count; ++i) {
    Packet& packet = group_.packets[i];
    std::memcpy(kept_before_.data() + at, packet.bytes, packet.size);
    packet.bytes = kept_before_.data() + at;
    at += packet.size;
  }
  kept_.swap(kept_before_);
}

// ---- Records ---------------------------------------------------------------------

void Decoder::Flush() {
  if (group_.count == 0) return;
  EndGap();
  if (first_group_ && source_.IsFlat()) TakeLabel();
  group_.is_full_state = is_labelled_ || IsFullState();
  for (; group_.at < group_.count && !stopped_; ++group_.at) EmitItems(group_.packets[group_.at]);
  is_labelled_ = false;
  group_.at = group_.count = 0;
}

// The end of a configuration, and every input: nothing else writes them together.
bool Decoder::IsFullState() const {
  constexpr std::size_t kFewestBytes = 100;
  std::size_t bytes = 0;
  for (std::size_t i = 0; i < group_.count; ++i) bytes += group_.packets[i].size;
  if (bytes < kFewestBytes) return false;
  bool ends_configuration = false;
  std::uint32_t inputs = 0;
  for (std::size_t i = 0; i < group_.count; ++i) {
    const Packet& packet = group_.packets[i];
    ForEachItem(packet.bytes, packet.size, [&](const unsigned char* item, std::size_t) {
      const Shape* const shape = FindShape(item[0]);
      ends_configuration |= item[0] == TAG_POLICY_END;
      if (shape != nullptr && shape->kind == KindId::kInput)
        inputs |= 1U << ((item[0] - TAG_EMERGENCY_LIGHTS_ON) / 2);
      return true;
    });
  }
  constexpr std::uint32_t kAllInputs =
      0x3FF | 1U << ((TAG_DOCKED_ON - TAG_EMERGENCY_LIGHTS_ON) / 2);
  return ends_configuration && (inputs & kAllInputs) == kAllInputs;
}

void Decoder::EmitItems(const Packet& packet) {
  sink_.OnPacket({packet.bytes, packet.size, packet.place, group_.tick, packet.crc_right});
  unsigned char adjust = 0;
  std::size_t at = HeadBytes(packet.bytes);
  Record record{};  // one for all: clearing it takes longer than decoding an item
  record.packet_tick = group_.tick;
  record.crc_right = packet.crc_right;
  const std::size_t rest = ForEachItem(
      packet.bytes, packet.size, [&](const unsigned char* item, std::size_t item_bytes) {
        const Shape* const shape = FindShape(item[0]);
        if (shape == nullptr) return false;
        record.kind = &KindOf(shape->kind);
        record.shape = shape;
        record.item = item;
        record.item_bytes = item_bytes;
        record.adjusted_by =
            shape->kind == KindId::kTickAdjust ? static_cast<unsigned char>(0) : adjust;
        record.place = Moved(packet.place, at);
        record.time = {};
        record.position = {};
        Emit(record);
        adjust = shape->kind == KindId::kTickAdjust ? item[1] : static_cast<unsigned char>(0);
        at += item_bytes;
        return !stopped_;
      });
  if (rest == 0 || stopped_) return;
  Gap gap{GapReason::kUnknownItems};
  gap.place = Moved(packet.place, at);
  gap.bytes = static_cast<std::int64_t>(rest);
  BeginGap(gap);
}

void Decoder::Emit(Record& record) {
  record.tick = record.packet_tick == kNoTick ? kNoTick : record.packet_tick - record.adjusted_by;
  record.run = run_;
  const KindId kind = record.kind->id;
  if (kind == KindId::kTime) TakeTime(record);
  record.time = kind == KindId::kTime && record.time.quality == TimeQuality::kStepped
                    ? record.time
                    : TimeAt(record.tick);
  // A flipped bit may have been the tick's.
  if (!record.crc_right && record.time.quality == TimeQuality::kExact)
    record.time.quality = TimeQuality::kEstimated;
  const Position before = position_;
  if (kind == KindId::kPosition) FollowPosition(record);
  record.repeats = Repeats(record, before);
  const bool is_followed =
      record.kind->use == KindUse::kState && kind != KindId::kPosition && !looks_for_time_;
  if (is_followed && (!record.repeats || kind != KindId::kLiveStream)) known_.Remember(record);
  sink_.OnRecord(record);
}

bool Decoder::Repeats(const Record& record, const Position& before) const {
  if (!group_.is_full_state) return false;
  const KindId kind = record.kind->id;
  if (record.kind->use == KindUse::kEvent) return false;
  if (is_labelled_ || record.kind->use == KindUse::kFraming) return true;
  if (kind == KindId::kPosition)
    return before.quality == PositionQuality::kUnknown ||
           (before.latitude_tts == position_.latitude_tts &&
            before.longitude_tts == position_.longitude_tts);
  // Of live streams a full state says what one field of each report has made of it.
  return kind == KindId::kLiveStream || known_.Agrees(record);
}

void Decoder::FollowPosition(Record& record) {
  const unsigned char* const item = record.item;
  switch (item[0]) {
    case TAG_GPS_ABS:
      TakeAbsolute(item);
      break;
    case TAG_GPS_REL8:
      TakeWay(static_cast<std::int8_t>(item[1]), static_cast<std::int8_t>(item[2]));
      break;
    default:
      TakeWay(static_cast<std::int16_t>(GetLe16(item + 1)),
              static_cast<std::int16_t>(GetLe16(item + 3)));
  }
  record.position = position_;
}

void Decoder::TakeAbsolute(const unsigned char* item) {
  // Bit 0: west. Bit 1: south.
  const unsigned int quadrant = item[1];
  const auto tts = [](const unsigned char* axis) {
    return (axis[0] * kMinutesPerDegree + axis[1]) * kTTsPerMinute + GetLe16(axis + 2);
  };
  const auto in_range = [](const unsigned char* axis) {
    return axis[1] < kMinutesPerDegree && GetLe16(axis + 2) < kTTsPerMinute;
  };
  const unsigned char* const latitude = item + 2;
  const unsigned char* const longitude = item + 6;
  position_.latitude_tts = (quadrant & 2) != 0 ? -tts(latitude) : tts(latitude);
  position_.longitude_tts = (quadrant & 1) != 0 ? -tts(longitude) : tts(longitude);
  const bool is_place = quadrant <= 3 && in_range(latitude) && in_range(longitude) &&
                        std::abs(position_.latitude_tts) <= kHalfCircleTTs / 2 &&
                        std::abs(position_.longitude_tts) <= kHalfCircleTTs;
  const bool is_replayed = first_group_ && is_replayed_state_;
  position_.quality = !is_place     ? PositionQuality::kUnknown
                      : is_replayed ? PositionQuality::kUnverified
                                    : PositionQuality::kKnown;
}

void Decoder::TakeWay(std::int32_t north_tts, std::int32_t west_tts) {
  if (position_.quality == PositionQuality::kUnknown) return;
  position_.latitude_tts += north_tts;
  position_.longitude_tts -= west_tts;
  // Once around the date line.
  if (position_.longitude_tts > kHalfCircleTTs) position_.longitude_tts -= 2 * kHalfCircleTTs;
  if (position_.longitude_tts < -kHalfCircleTTs) position_.longitude_tts += 2 * kHalfCircleTTs;
  if (std::abs(position_.latitude_tts) > kHalfCircleTTs / 2)
    position_.quality = PositionQuality::kUnknown;
}

// The state at the beginning of a unit's extract is what a lossy replay came to, until
// the program has seen to it. Every extract is labelled by its first item.
void Decoder::TakeLabel() {
  const Packet& packet = group_.packets[0];
  if (!packet.crc_right) is_replayed_state_ = true;  // for all that anybody can tell
  if (!packet.crc_right || packet.bytes[0] == HEADER_CONT) return;
  is_labelled_ = IsRangeLabel(LogText(0));
  const std::string_view completed = LogText(1);
  const bool is_completed = completed.substr(0, kCompletedLabel.size()) == kCompletedLabel;
  is_replayed_state_ = is_labelled_ && !is_completed;
  is_clock_estimated_ = is_labelled_ && is_completed && EndsWith(completed, kEstimatedClock);
}

// Of the group's item `number`; empty when that is no log.
std::string_view Decoder::LogText(std::size_t number) const {
  std::string_view text;
  const Packet& packet = group_.packets[0];
  ForEachItem(packet.bytes, packet.size, [&](const unsigned char* item, std::size_t bytes) {
    if (number-- > 0) return true;
    constexpr std::size_t kHead = 1 + 1;
    if (item[0] == TAG_LOG) text = {reinterpret_cast<const char*>(item) + kHead, bytes - kHead};
    return false;
  });
  return text;
}

// ---- Time ------------------------------------------------------------------------

// Looks for the next time that is told, from the stretch at hand on.
class Decoder::TimeFinder final : public Sink {
 public:
  TimeFinder(Place from, int run) : from_(from), run_(run) {}

  void OnRecord(const Record& record) override {
    if (record.kind->id != KindId::kTime || record.tick == kNoTick || !record.crc_right) return;
    if (record.run != run_) return;
    if (record.place.cluster == from_.cluster && IsBefore(record.place, from_)) return;
    const std::int64_t time_s = ValueOf(record, 0).number;
    if (time_s < 0) return;
    found = Anchor{record.tick, time_s * kSecond_us};
    decoder->Stop();
  }
  void OnNewRun(int run, unsigned int /*tick*/) override {
    if (run > run_) decoder->Stop();
  }

  Decoder* decoder = nullptr;
  std::optional<Anchor> found;

 private:
  const Place from_;
  const int run_;
};

void Decoder::LookForNextTime() {
  has_looked_ = true;
  next_ = TimeOfGroup();
  if (next_) return;
  const std::unique_ptr<Source> source = source_.Fork();
  if (source == nullptr) return;
  TimeFinder finder(group_.count > 0 ? group_.packets[group_.at].place : here_, run_);
  Decoder decoder(*source, finder);
  finder.decoder = &decoder;
  decoder.looks_for_time_ = true;
  decoder.GoOnFrom(at_stretch_);
  decoder.Run();
  next_ = finder.found;
}

// Part of the group may stand in front of what the source can give again. A time behind a
// tick adjust is that of the tick which it is adjusted to, here as everywhere.
std::optional<Decoder::Anchor> Decoder::TimeOfGroup() const {
  std::optional<Anchor> found;
  for (std::size_t i = group_.at; i < group_.count && group_.tick != kNoTick && !found; ++i) {
    const Packet& packet = group_.packets[i];
    if (!packet.crc_right) continue;
    unsigned char adjust = 0;
    ForEachItem(packet.bytes, packet.size, [&](const unsigned char* item, std::size_t) {
      const unsigned int tick = group_.tick - adjust;
      adjust = item[0] == TAG_TICK_ADJUST ? item[1] : static_cast<unsigned char>(0);
      if (item[0] != TAG_TIME || tick == kNoTick) return true;
      const auto time_s = static_cast<std::int32_t>(GetLe32(item + 1));
      if (time_s < 0) return true;
      found = Anchor{tick, time_s * kSecond_us};
      return false;
    });
  }
  return found;
}

Time Decoder::TimeAt(unsigned int tick) {
  if (tick == kNoTick || looks_for_time_) return {};
  const auto from = [tick](const Anchor& anchor) {
    return anchor.us + static_cast<std::int32_t>(tick - anchor.tick) * kTick_us;
  };
  if (anchor_ && anchor_is_sure_) return {from(*anchor_), TimeQuality::kExact};
  if (!has_looked_) LookForNextTime();
  if (next_) return {from(*next_), TimeQuality::kEstimated};
  if (anchor_) return {from(*anchor_), TimeQuality::kEstimated};
  return {};
}

void Decoder::TakeTime(Record& record) {
  const std::int64_t told_us = ValueOf(record, 0).number * kSecond_us;
  if (record.tick == kNoTick || told_us < 0 || !record.crc_right) return;
  if (anchor_) {
    const std::int64_t expected_us =
        anchor_->us + static_cast<std::int32_t>(record.tick - anchor_->tick) * kTick_us;
    if (std::llabs(told_us - expected_us) > kToleratedStep_us) {
      record.time = {told_us, TimeQuality::kStepped};
      sink_.OnClockStep({record.tick, expected_us, told_us, record.place, is_anchor_lost_});
    }
  }
  anchor_ = Anchor{record.tick, told_us};
  is_anchor_lost_ = false;
  anchor_is_sure_ = !is_labelled_ || !is_clock_estimated_;
  next_.reset();
  has_looked_ = false;
}

// ---- Gaps ------------------------------------------------------------------------

void Decoder::BeginGap(const Gap& gap) {
  Forget();
  const bool joins_another = gap_.has_value();
  if (!joins_another) {
    gap_ = gap;
    gap_->from_tick = last_tick_;
    if (last_tick_ != kNoTick) gap_->from = TimeAt(last_tick_);
  }
  // A continuation behind the one that it joins may have told a time.
  anchor_is_sure_ = false;
  is_anchor_lost_ = true;
  if (!joins_another) return;
  // One after the other without a tick between them are one; what most is lost by names it.
  if (Loss(gap.reason) > Loss(gap_->reason)) gap_->reason = gap.reason;
  gap_->bytes += gap.bytes;
  gap_->clusters += gap.clusters;
}

// The group at hand, if there is one, is what comes behind it.
void Decoder::EndGap() {
  if (!gap_) return;
  Gap gap = *gap_;
  gap_.reset();
  gap.to_tick = group_.count > 0 ? group_.tick : kNoTick;
  gap.to = TimeAt(gap.to_tick);
  sink_.OnGap(gap);
}

void Decoder::Forget() {
  known_.ForgetAll();
  position_.quality = PositionQuality::kUnknown;
}

}  // namespace vmr::records
