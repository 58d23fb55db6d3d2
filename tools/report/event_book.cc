#include "tools/report/event_book.h"

#include <fmt/format.h>

#include <algorithm>

#include "tools/read/json_line.h"

namespace vmr::tool {

using records::KindId;
using records::KindUse;
using records::Order;
using records::Record;
using records::TimeQuality;

namespace {

bool IsDrawnAsLine(KindId kind) {
  return kind == KindId::kPosition || kind == KindId::kSpeed || kind == KindId::kRadar ||
         kind == KindId::kTemperature || kind == KindId::kVoltage;
}

// They are listed by themselves.
bool IsSetting(KindId kind) { return kind == KindId::kPolicy || kind == KindId::kVersion; }

unsigned char FlagsOf(const Record& record, const Spot& spot) {
  unsigned char flags = 0;
  if (!record.crc_right) flags |= CaseEvent::kWrongCrc;
  if (record.repeats) flags |= CaseEvent::kFullState;
  if (!spot.has_tick) flags |= CaseEvent::kNoTick;
  if (record.time.quality == TimeQuality::kEstimated) flags |= CaseEvent::kEstimated;
  return flags;
}

std::int64_t TickOf(unsigned int tick) { return tick == kNoTick ? -1 : std::int64_t{tick}; }

// What a change of it is a change of: its bytes, but of a radar the lock alone, empty when
// nothing is locked. Nothing when the record does not tell that.
std::optional<std::string> MeaningOf(const Record& record) {
  if (record.kind->id != KindId::kRadar)
    return std::string(reinterpret_cast<const char*>(record.item), record.item_bytes);
  constexpr std::size_t kLock = 2;
  if (record.shape->fields[kLock].order == Order::kAbsent) return std::nullopt;
  const records::Value lock = ValueOf(record, kLock);
  const bool is_locked = lock.present && lock.word == nullptr && lock.number != 0;
  return is_locked ? fmt::format("{}", lock.number) : "";
}

}  // namespace

EventBook::News EventBook::NewsOf(const Record& record) {
  const auto meaning = MeaningOf(record);
  if (!meaning) return News::kSame;
  const auto [told, is_first] = told_.try_emplace(StateTable::KeyOf(record), *meaning);
  if (is_first) return News::kFirst;
  if (told->second == *meaning) return News::kSame;
  told->second = *meaning;
  return record.repeats ? News::kSame : News::kOther;
}

bool EventBook::IsEvent(const Record& record) {
  const KindId kind = record.kind->id;
  if (record.kind->use == KindUse::kFraming) return kind == KindId::kEndOfStream;
  if (!record.crc_right || record.kind->use == KindUse::kEvent) return true;
  if (IsDrawnAsLine(kind) && kind != KindId::kRadar) return false;
  const News news = NewsOf(record);
  if (news != News::kFirst) return news == News::kOther;
  // That nothing is locked is no news.
  if (kind == KindId::kRadar) return !MeaningOf(record)->empty();
  return !IsSetting(kind) && (!record.repeats || IsWorthNaming(record));
}

void EventBook::Take(const Record& record, const Spot& spot, const Phrases& phrases) {
  passed_.push_back({record.place.offset, events_.all.size()});
  if (passed_.size() > UnitStartBytes().size()) passed_.pop_front();
  if (!IsEvent(record)) return;
  std::string text = phrases.Of(record);
  if (record.adjusted_by != 0)
    text += fmt::format(" (reported {} later)", Counted(record.adjusted_by, "tick"));
  Put(record.kind->name, text,
      {spot.x, 0, 0, TickOf(record.tick), record.run, FlagsOf(record, spot)});
}

void EventBook::TakeStart(const Record& last, const Spot& spot) {
  const std::int64_t begin = last.place.offset + static_cast<std::int64_t>(last.item_bytes) -
                             static_cast<std::int64_t>(UnitStartBytes().size());
  const auto first = std::find_if(passed_.begin(), passed_.end(),
                                  [begin](const Passed& passed) { return passed.offset == begin; });
  if (first != passed_.end()) events_.all.resize(first->events);
  Put("start", "the unit started: video streams, microphones and cameras off",
      {spot.x, 0, 0, TickOf(last.tick), last.run, FlagsOf(last, spot)});
}

void EventBook::Take(const records::Gap& gap, const std::string& words, const GapSpot& spot,
                     int run) {
  CaseEvent event{spot.from.value_or(spot.lost_from), 0, 0, TickOf(gap.from_tick), run, 0};
  if (!spot.from) event.flags |= CaseEvent::kNoTick;
  if (gap.from.quality == TimeQuality::kEstimated) event.flags |= CaseEvent::kEstimated;
  Put(kGapKind, words, event);
}

void EventBook::Take(const records::ClockStep& step, const std::string& words, AxisX x, int run) {
  Put(kClockStepKind, words, {x, 0, 0, TickOf(step.tick), run, 0});
}

void EventBook::TakeNewRun(const std::string& words, unsigned int tick, AxisX x, int run) {
  Put("new_run", words, {x, 0, 0, TickOf(tick), run, 0});
}

int EventBook::IndexOf(const std::string& text, std::unordered_map<std::string, int>& indexes,
                       std::vector<std::string>& texts) {
  const auto [known, is_new] = indexes.try_emplace(text, static_cast<int>(texts.size()));
  if (is_new) texts.push_back(text);
  return known->second;
}

void EventBook::Put(const std::string& kind, const std::string& text, CaseEvent event) {
  event.kind = IndexOf(kind, kind_indexes_, events_.kinds);
  event.text = IndexOf(text, text_indexes_, events_.texts);
  events_.all.push_back(event);
}

}  // namespace vmr::tool
