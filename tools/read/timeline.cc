#include "tools/read/timeline.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

#include "tools/common/ticks.h"
#include "tools/common/time_point.h"
#include "tools/read/break_words.h"

namespace vmr::tool {
namespace {

using records::ClockStep;
using records::Gap;
using records::GapReason;
using records::KindId;
using records::KindUse;
using records::PositionQuality;
using records::Record;
using records::Time;
using records::TimeQuality;

constexpr std::string_view kReset = "\033[0m";
constexpr std::string_view kBold = "\033[1m";
constexpr std::string_view kDim = "\033[2m";
constexpr std::string_view kRed = "\033[1;31m";
constexpr std::string_view kYellow = "\033[1;33m";

std::string DateText(const LocalTime& local) {
  return fmt::format("{:04}-{:02}-{:02}", local.year, local.month, local.day);
}

std::string WeekdayText(std::int64_t time_us, int offset_minutes) {
  constexpr const char* kDays[] = {"Thursday", "Friday",  "Saturday", "Sunday",
                                   "Monday",   "Tuesday", "Wednesday"};
  constexpr std::int64_t kDay_us = 86400 * kMicrosecondsPerSecond;
  const std::int64_t local_us = time_us + offset_minutes * 60 * kMicrosecondsPerSecond;
  return kDays[((FloorDivide(local_us, kDay_us) % 7) + 7) % 7];
}

std::vector<std::int64_t> KeyOf(const Record& record) {
  std::vector<std::int64_t> key{static_cast<std::int64_t>(record.kind->id)};
  for (std::size_t i = 0; i < record.kind->key_fields; ++i)
    key.push_back(ValueOf(record, i).number);
  return key;
}

std::string BytesOf(const Record& record) {
  return {reinterpret_cast<const char*>(record.item), record.item_bytes};
}

}  // namespace

// ---- What is known ---------------------------------------------------------------

Timeline::TellTale::News Timeline::TellTale::NewsOf(const Record& record) const {
  const auto told = told_.find(KeyOf(record));
  if (told == told_.end()) return News::kFirst;
  return told->second == BytesOf(record) ? News::kSame : News::kOther;
}

void Timeline::TellTale::OnRecord(const Record& record) {
  if (!record.crc_right) return;
  phrases.Learn(record);
  if (record.kind->use == KindUse::kState) told_[KeyOf(record)] = BytesOf(record);
}

void Timeline::TellTale::OnGap(const Gap& /*gap*/) {
  phrases.Forget();
  told_.clear();
}

void Timeline::TellTale::OnNewRun(int /*run*/, unsigned int /*tick*/) {
  phrases.Forget();
  told_.clear();
}

// ---- Records ---------------------------------------------------------------------

void Timeline::OnRecord(const Record& record) {
  using News = TellTale::News;
  // Of packets whose tick is unknown there may be any number.
  constexpr std::size_t kMostEntries = 4096;
  if (record.packet_tick != packet_tick_ || entries_.size() == kMostEntries) Flush();
  packet_tick_ = record.packet_tick;
  const KindId kind = record.kind->id;
  has_dump_ |= record.repeats;
  has_setup_ |= kind == KindId::kConfigurationEnd;
  if (record.position.quality == PositionQuality::kUnverified && !told_unverified_) {
    Flush();
    PutBreak(kUnverifiedWords, kYellow);
    told_unverified_ = true;
  }
  // What it moves says so itself.
  if (kind == KindId::kTickAdjust && !options_.chosen_kinds) return;

  Entry entry;
  entry.tick = record.tick;
  entry.time = record.time;
  entry.crc_right = record.crc_right;
  entry.phrase = watcher_.phrases.Of(record);
  if (record.adjusted_by != 0)
    entry.phrase += fmt::format(" (reported {} later)",
                                Counted(static_cast<std::uint64_t>(record.adjusted_by), "tick"));
  entry.news = record.kind->use == KindUse::kEvent ? News::kOther : watcher_.NewsOf(record);
  if (record.repeats && entry.news == News::kOther) entry.news = News::kSame;
  if (kind == KindId::kTime || kind == KindId::kConfigurationEnd) entry.news = News::kSame;
  entry.foldable = record.crc_right && record.adjusted_by == 0;
  entry.worth_naming = IsWorthNaming(record);
  if (entry.foldable) entry.bytes = BytesOf(record);
  entries_.push_back(std::move(entry));
}

// Of an earlier tick first, what was reported late; the order of what is of one tick stays.
void Timeline::Flush() {
  std::stable_sort(entries_.begin(), entries_.end(), [](const Entry& a, const Entry& b) {
    return static_cast<std::int32_t>(a.tick - b.tick) < 0;
  });
  for (std::size_t from = 0, to; from < entries_.size(); from = to) {
    for (to = from + 1; to < entries_.size() && entries_[to].tick == entries_[from].tick &&
                        entries_[to].crc_right == entries_[from].crc_right;)
      ++to;
    PutEntries(from, to);
  }
  entries_.clear();
  has_dump_ = has_setup_ = false;
}

void Timeline::PutEntries(std::size_t from, std::size_t to) {
  const bool shortens = !options_.unfolds_dumps && !options_.chosen_kinds;
  if ((has_dump_ || has_setup_) && shortens && entries_[from].foldable)
    return PutTick(entries_[from], Folded(from, to));
  std::string text;
  for (std::size_t i = from; i < to;) {
    const std::size_t start = shortens ? StartItems(i, to) : 0;
    text += i == from ? "" : "; ";
    text += start > 0 ? "the unit started: video streams, microphones and cameras off"
                      : entries_[i].phrase;
    i += std::max<std::size_t>(start, 1);
  }
  if (!entries_[from].crc_right) text += " [wrong CRC]";
  PutTick(entries_[from], text);
}

// How many entries from `at` on are what a start writes; 0: they are something else.
std::size_t Timeline::StartItems(std::size_t at, std::size_t to) const {
  std::string_view left = UnitStartBytes();
  for (std::size_t i = at; i < to && !entries_[i].bytes.empty(); ++i) {
    const std::string& bytes = entries_[i].bytes;
    if (left.substr(0, bytes.size()) != bytes) return 0;
    left.remove_prefix(bytes.size());
    if (left.empty()) return i + 1 - at;
  }
  return 0;
}

// "full state repeated, 61 items; changed: siren on"
std::string Timeline::Folded(std::size_t from, std::size_t to) const {
  using News = TellTale::News;
  std::string changed, in_force;
  std::size_t first = 0, same = 0;
  const auto add = [](std::string& list, const std::string& phrase) {
    list += (list.empty() ? "" : "; ") + phrase;
  };
  for (std::size_t i = from; i < to; ++i) {
    const Entry& entry = entries_[i];
    first += entry.news == News::kFirst ? 1 : 0;
    same += entry.news == News::kSame ? 1 : 0;
    if (entry.news == News::kOther) add(changed, entry.phrase);
    if (entry.news == News::kFirst && entry.worth_naming) add(in_force, entry.phrase);
  }
  const bool is_new = first > same;
  std::string text = fmt::format("{} {}, {}", has_dump_ ? "full state" : "settings",
                                 is_new ? "told" : "repeated", Counted(to - from, "item"));
  if (!changed.empty()) text += fmt::format("{}: {}", is_new ? "; also" : "; changed", changed);
  if (!in_force.empty()) text += fmt::format("{}: {}", is_new ? "; among them" : "; new", in_force);
  return text;
}

// ---- Lines -----------------------------------------------------------------------

std::string Timeline::TickAndTime(unsigned int tick, const Time& time) {
  const bool estimated = time.quality == TimeQuality::kEstimated;
  return fmt::format("{:>10} {}{}", tick == kNoTick ? "-" : fmt::format("{}", tick),
                     estimated ? '~' : ' ', ClockText(time));
}

void Timeline::PutTick(const Entry& entry, std::string_view text) {
  PutDay(entry.time);
  const bool colours = options_.colours;
  const std::string_view mark = entry.crc_right ? "" : colours ? kRed : "";
  out_.Write(
      fmt::format("{}{}{}{}{}  {}{}\n", mark, entry.crc_right ? ' ' : '!',
                  colours && entry.crc_right ? kDim : "", TickAndTime(entry.tick, entry.time),
                  colours && entry.crc_right ? kReset : "", text, mark.empty() ? "" : kReset));
}

void Timeline::PutBreak(std::string_view text, std::string_view colour) {
  if (!options_.colours) colour = {};
  out_.Write(fmt::format("{}---- {} ----{}\n", colour, text, colour.empty() ? "" : kReset));
}

// A line where the day begins, or the clocks change.
void Timeline::PutDay(const Time& time) {
  if (!has_header_) out_.Write(fmt::format("{:>11}  {}\n", "tick", "time"));
  has_header_ = true;
  if (time.quality == TimeQuality::kUnknown) return;
  const LocalTime local = LocalTimeOf(time.us);
  const std::string day = DateText(local);
  if (day == day_ && local.offset_minutes == offset_minutes_) return;
  const std::string zone =
      options_.zone.empty() || options_.zone == "UTC"
          ? "UTC"
          : fmt::format("UTC{} ({})", OffsetText(local.offset_minutes), EscapedText(options_.zone));
  PutBreak(fmt::format("{} {}, {}", WeekdayText(time.us, local.offset_minutes), day, zone), kBold);
  day_ = day;
  offset_minutes_ = local.offset_minutes;
}

void Timeline::OnGap(const Gap& gap) {
  Flush();
  if (gap.reason == GapReason::kOverwritten) return PutBreak(GapWords(gap), kYellow);
  PutDay(gap.from);
  PutBreak(GapWords(gap), kRed);
}

void Timeline::OnClockStep(const ClockStep& step) {
  Flush();
  PutBreak(ClockStepWords(step), kYellow);
}

void Timeline::OnNewRun(int /*run*/, unsigned int tick) {
  Flush();
  day_.clear();
  PutBreak(NewRunWords(tick), kYellow);
}

void Timeline::End() { Flush(); }

}  // namespace vmr::tool
