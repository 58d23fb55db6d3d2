#include "tools/report/plot_words.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>

#include "tools/common/time_point.h"
#include "tools/read/break_words.h"
#include "tools/read/phrase.h"

namespace vmr::tool {

using records::kTick_us;
using records::TimeQuality;

namespace {

// What of the facts says which unit it is, and how that is called.
struct IdentityRow {
  const char* fact;
  const char* words;
};
constexpr IdentityRow kIdentity[] = {{"serial_number", "serial number"},
                                     {"mac", "MAC address"},
                                     {"vehicle", "vehicle"},
                                     {"department", "department"}};

void Join(std::string& text, const char* between, const std::string& more) {
  if (!more.empty()) text += (text.empty() ? "" : between) + more;
}

// The text cannot seem to end, nor another to begin.
std::string InQuotes(const std::string& text) {
  std::string quoted = "\"";
  for (const char c : text) {
    if (c == '"') quoted += '\\';
    quoted += c;
  }
  return quoted + '"';
}

std::string PlaceText(const CaseFile& file, AxisX x) {
  if (file.has_time) return LocalTimeText(file.axis_us + x * kTick_us);
  if (const auto ahead = TicksAhead(file)) return fmt::format("tick {}", x + *ahead);
  return fmt::format("{} of the axis", LengthText(x));
}

const CaseStretch* StretchAt(const CaseRecording& recording, AxisX x) {
  const auto behind =
      std::upper_bound(recording.stretches.begin(), recording.stretches.end(), x,
                       [](AxisX at, const CaseStretch& stretch) { return at < stretch.first; });
  if (behind == recording.stretches.begin() || x > (behind - 1)->last) return nullptr;
  return &*(behind - 1);
}

// What the recording's clock showed there.
std::string MomentText(const CaseFile& file, const CaseRecording& recording, AxisX x) {
  const CaseStretch* const stretch = StretchAt(recording, x);
  if (!file.has_time || stretch == nullptr) return PlaceText(file, x);
  if (stretch->time.quality == TimeQuality::kUnknown) return "an unknown time";
  return LocalTimeText(stretch->UtcAt(x));
}

// An end of what is shown: by a clock that is right there, if there is one.
std::string EndText(const CaseFile& file, AxisX x) {
  const CaseRecording* there = nullptr;
  for (const CaseRecording& recording : file.recordings) {
    const CaseStretch* const stretch = StretchAt(recording, x);
    if (stretch == nullptr) continue;
    if (!stretch->displaced) return MomentText(file, recording, x);
    if (there == nullptr) there = &recording;
  }
  return there == nullptr ? PlaceText(file, x) : MomentText(file, *there, x);
}

bool IsStep(const CaseRecording& recording, const CaseStretch& stretch) {
  return std::any_of(recording.steps.begin(), recording.steps.end(),
                     [&](const CaseClockStep& step) { return step.x == stretch.first; });
}

// What is known of the clock that showed a displaced stretch: whether it was set at its end, or at
// its beginning.
const char* DisplacedWords(const CaseRecording& recording, std::size_t at) {
  const std::vector<CaseStretch>& all = recording.stretches;
  if (all[at].time.quality == TimeQuality::kUnknown) return "without a time";
  for (std::size_t i = at + 1; i < all.size() && all[i].run == all[at].run; ++i) {
    if (IsStep(recording, all[i])) return "by the clock before it was set";
    if (!all[i].displaced) break;
  }
  for (std::size_t i = at;; --i) {
    if (IsStep(recording, all[i])) return "by the clock after it was set";
    if (i == 0 || all[i - 1].run != all[at].run) return "by a clock that contradicts the rest";
  }
}

// Of recordings that tell the time somewhere: what of them does not lie where a clock said.
std::string DisplacedText(const CaseFile& file) {
  std::vector<std::pair<std::string, AxisX>> lengths;
  for (const CaseRecording& recording : file.recordings)
    for (std::size_t i = 0; i < recording.stretches.size(); ++i) {
      const CaseStretch& stretch = recording.stretches[i];
      if (!recording.on_utc || !stretch.displaced) continue;
      const std::string words = DisplacedWords(recording, i);
      if (lengths.empty() || lengths.back().first != words) lengths.emplace_back(words, 0);
      lengths.back().second += stretch.last - stretch.first + 1;
    }
  std::string text;
  for (const auto& [words, halves] : lengths)
    text += fmt::format(", {} of it {}", LengthText(halves), words);
  return text;
}

std::string IdentityText(const CaseRecording& recording) {
  std::string text;
  for (const IdentityRow& row : kIdentity)
    for (const CaseFact& fact : recording.facts) {
      if (fact.name != row.fact || fact.values.empty()) continue;
      if (fact.values.size() == 1 && fact.values.front().text.empty()) continue;
      std::string words = fmt::format("{} {}", row.words, InQuotes(fact.values.front().text));
      const std::uint64_t changes =
          fact.values.size() - 1 + static_cast<std::uint64_t>(fact.left_out);
      if (changes > 0) words += fmt::format(", then {}", Counted(changes, "change"));
      Join(text, ", ", words);
    }
  return text.empty() ? "which unit it is of is not told" : text;
}

std::string LostText(const CaseTotals& totals, std::size_t gaps) {
  if (gaps == 0) return totals.overwritten ? "the beginning was written over" : "no gap";
  std::string text = Counted(gaps, "gap");
  if (totals.lost_halves > 0)
    text += fmt::format(" ({}{})", totals.lost_unknown > 0 ? "at least " : "",
                        LengthText(totals.lost_halves));
  else if (totals.lost_unknown > 0)
    text += " of unknown length";
  if (totals.overwritten) text += ", the beginning was written over";
  return text;
}

// "UTC-05:00", or "UTC-05:00, then UTC-06:00" where clocks are set in what is shown. A unit whose
// clock was wrong may have told times of other years.
std::string OffsetsText(const CaseFile& file, const AxisSpan& shown) {
  const std::vector<CaseZone::Offset>& offsets = file.zone.offsets;
  const std::int64_t first_us = file.axis_us + shown.from * kTick_us;
  const std::int64_t last_us = file.axis_us + (shown.to - 1) * kTick_us;
  std::string text, last;
  for (std::size_t i = 0; i < offsets.size(); ++i) {
    const bool ends_before = i + 1 < offsets.size() && offsets[i + 1].from_us <= first_us;
    const bool begins_behind = i > 0 && offsets[i].from_us > last_us;
    const std::string ahead = "UTC" + OffsetText(offsets[i].minutes);
    if (ends_before || begins_behind || ahead == last) continue;
    Join(text, ", then ", ahead);
    last = ahead;
  }
  return text;
}

AxisX LengthOf(const std::vector<AxisSpan>& spans) {
  AxisX halves = 0;
  for (const AxisSpan& span : spans) halves += span.Length();
  return halves;
}

// Where the greatest value is first, and the least one.
struct Extremes {
  std::optional<LineStep> least, greatest;
};
Extremes ExtremesOf(const LineParts& parts) {
  Extremes found;
  for (const LinePiece& piece : parts.pieces)
    for (const LineStep& step : piece.steps) {
      if (!found.least || step.value < found.least->value) found.least = step;
      if (!found.greatest || step.value > found.greatest->value) found.greatest = step;
    }
  return found;
}

}  // namespace

AxisSpan ExtentOf(const CaseFile& file) {
  std::optional<AxisSpan> extent;
  for (const CaseRecording& recording : file.recordings)
    for (const CaseStretch& stretch : recording.stretches) {
      if (!extent) extent = AxisSpan{stretch.first, stretch.last + 1};
      extent->from = std::min(extent->from, stretch.first);
      extent->to = std::max(extent->to, stretch.last + 1);
    }
  // What was asked for may begin and end in a gap.
  for (const CaseRecording& recording : file.recordings) {
    if (!recording.part) continue;
    if (!extent) extent = AxisSpan{recording.part->from, recording.part->to + 1};
    extent->from = std::min(extent->from, recording.part->from);
    extent->to = std::max(extent->to, recording.part->to + 1);
  }
  return extent.value_or(AxisSpan{0, 1});
}

std::optional<AxisX> TicksAhead(const CaseFile& file) {
  if (file.recordings.size() != 1 || file.recordings.front().stretches.empty()) return std::nullopt;
  const std::vector<CaseStretch>& stretches = file.recordings.front().stretches;
  const auto ahead = [](const CaseStretch& stretch) { return stretch.tick - stretch.first; };
  const AxisX first = ahead(stretches.front());
  const bool is_one =
      std::all_of(stretches.begin(), stretches.end(), [&](const CaseStretch& stretch) {
        return stretch.run == stretches.front().run && ahead(stretch) == first;
      });
  if (!is_one) return std::nullopt;
  return first;
}

std::string LengthText(AxisX halves) { return ExactDurationText(halves * kTick_us); }

std::string Listed(const std::vector<std::string>& families) {
  std::string text;
  for (std::size_t i = 0; i < families.size(); ++i)
    text += (i == 0 ? "" : i + 1 < families.size() ? ", " : " and ") + families[i];
  return text;
}

std::string Capital(std::string text) {
  if (!text.empty() && text[0] >= 'a' && text[0] <= 'z')
    text[0] = static_cast<char>(text[0] - 'a' + 'A');
  return text;
}

std::string DefaultTitle(const CaseFile& file, const std::vector<std::string>& families) {
  const std::string of = file.recordings.size() == 1 ? file.recordings.front().name
                                                     : Counted(file.recordings.size(), "recording");
  return fmt::format("{} of {}", Capital(Listed(families)), of);
}

std::string SpanText(const CaseFile& file, const AxisSpan& shown) {
  const AxisX last = shown.to - 1;
  std::string text = fmt::format("{} to {} ({})", EndText(file, shown.from), EndText(file, last),
                                 LengthText(last - shown.from));
  if (file.has_time) text += DisplacedText(file);
  return text;
}

std::vector<AxisMark> ShownMarks(const CaseFile& file, std::vector<AxisMark> marks) {
  const auto is_not_shown = [&file](const AxisMark& mark) {
    bool displaced = false;
    for (const CaseRecording& recording : file.recordings) {
      const CaseStretch* const stretch = StretchAt(recording, mark.x);
      if (stretch != nullptr && !stretch->displaced) return false;
      displaced |= stretch != nullptr;
    }
    return displaced;
  };
  std::string date;
  std::vector<AxisMark> shown;
  for (AxisMark& mark : marks) {
    if (!mark.date.empty()) date = mark.date;
    if (is_not_shown(mark)) continue;
    if (mark.date.empty()) mark.date = date;
    date.clear();
    shown.push_back(std::move(mark));
  }
  return shown;
}

std::string AxisTitle(const CaseFile& file, const AxisSpan& shown) {
  if (!file.has_time)
    return TicksAhead(file) ? "Tick (half seconds; no time is recorded)"
                            : "Half seconds since the recordings begin (no time is recorded)";
  std::string estimated;
  for (const CaseRecording& recording : file.recordings)
    for (const CaseStretch& stretch : recording.stretches)
      if (stretch.time.quality == TimeQuality::kEstimated) estimated = ", partly estimated";
  if (file.zone.name == "UTC") return "Time, UTC" + estimated;
  return fmt::format("Local time, {}, {}{}", file.zone.name, OffsetsText(file, shown), estimated);
}

std::string Caption(const CaseFile& file, const CaseRecording& recording,
                    const std::vector<std::string>& families) {
  const CaseTotals& totals = recording.totals;
  std::string text = file.recordings.size() > 1 ? recording.name + ": " + IdentityText(recording)
                                                : Capital(IdentityText(recording));
  Join(text, "; ", LengthText(totals.recorded_halves) + " recorded");
  // What the ring has overwritten was not lost.
  const auto gaps = std::count_if(
      recording.gaps.begin(), recording.gaps.end(),
      [](const CaseGap& gap) { return gap.reason != records::GapReason::kOverwritten; });
  Join(text, ", ", LostText(totals, static_cast<std::size_t>(gaps)));
  if (recording.begins_unknown) Join(text, ", ", "behind a gap that leaves values unknown");
  if (totals.wrong_crc > 0)
    Join(text, ", ",
         Counted(static_cast<std::uint64_t>(totals.wrong_crc), "record") +
             " of packets whose CRC is wrong");
  for (const CaseSeries& series : recording.series)
    if (series.unit_assumed &&
        std::find(families.begin(), families.end(), series.family) != families.end())
      Join(text, "; ",
           fmt::format("where the unit of {} is not told it is shown as {}, the only one that the "
                       "recording tells",
                       series.name, series.unit));
  if (file.has_time && !recording.HasTime())
    Join(text, ", ", "tells no time: begins with the axis");
  return text;
}

std::string StepText(const CaseClockStep& step) {
  const std::int64_t by_us = step.told_us - step.expected_us;
  return (by_us < 0 ? "clock set -" : "off, or clock set +") + DurationText(by_us);
}

std::string BreaksText(const CaseFile& file, const CaseRecording& recording) {
  constexpr std::size_t kMost = 20;
  struct Break {
    AxisX x;
    std::string words;
  };
  std::vector<Break> breaks;
  for (const CaseClockStep& step : recording.steps) breaks.push_back({step.x, step.words});
  for (const CaseNewRun& run : recording.new_runs) breaks.push_back({run.x, NewRunWords(run.tick)});
  std::stable_sort(breaks.begin(), breaks.end(),
                   [](const Break& a, const Break& b) { return a.x < b.x; });
  std::string text;
  for (std::size_t i = 0; i < std::min(breaks.size(), kMost); ++i)
    text += (file.recordings.size() > 1 ? recording.name + ": " + breaks[i].words
                                        : Capital(breaks[i].words)) +
            ". ";
  if (breaks.size() > kMost)
    text += fmt::format("And {} like these. ", Counted(breaks.size() - kMost, "break"));
  return text;
}

std::string NameOf(const CaseFile& file, const DescribedSeries& described) {
  const std::string& name = described.series->name;
  return file.recordings.size() > 1 ? described.recording->name + ": " + name : name;
}

std::string WordText(const std::vector<CaseWord>& words, std::int64_t number) {
  for (const CaseWord& word : words)
    if (word.number == number) return word.text;
  return fmt::format("number {}", number);
}

std::string Described(const CaseFile& file, const DescribedSeries& described) {
  const Extremes extremes = ExtremesOf(*described.parts);
  const std::string& unit = described.series->unit;
  std::string text = NameOf(file, described) + ": ";
  if (!extremes.least) {
    text += "known nowhere";
  } else {
    text += fmt::format("{} to {}{}, the greatest first at {}", extremes.least->value,
                        extremes.greatest->value, unit.empty() ? "" : " " + unit,
                        MomentText(file, *described.recording, extremes.greatest->x));
    if (const AxisX unknown = LengthOf(described.parts->unknown); unknown > 0)
      text += fmt::format("; unknown for {}", LengthText(unknown));
  }
  for (const CaseWord& word : described.series->words) {
    AxisX halves = 0;
    for (const WordSpan& told : described.parts->words)
      if (told.number == word.number) halves += told.span.Length();
    if (halves > 0) text += fmt::format("; {} for {}", InQuotes(word.text), LengthText(halves));
  }
  if (const std::size_t wrong = described.parts->wrong.size(); wrong > 0)
    text += fmt::format("; {} of packets whose CRC is wrong", Counted(wrong, "value"));
  if (described.series->thinned) text += "; points were left out";
  return text + ".";
}

}  // namespace vmr::tool
