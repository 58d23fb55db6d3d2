#include "tools/report/gather.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <map>
#include <string>
#include <utility>

#include "store/speed.h"
#include "store/stream_format.h"
#include "tools/common/console.h"
#include "tools/common/time_point.h"
#include "tools/read/break_words.h"
#include "tools/read/overview.h"
#include "tools/read/phrase.h"
#include "tools/read/state_words.h"
#include "tools/report/axis_layout.h"
#include "tools/report/case_axis.h"
#include "tools/report/event_book.h"
#include "tools/report/fact_book.h"
#include "tools/report/lane_book.h"
#include "tools/report/placement.h"
#include "tools/report/range_clip.h"
#include "tools/report/series_book.h"
#include "tools/report/thinning.h"
#include "tools/report/way_book.h"

namespace vmr::tool {
namespace {

using records::Gap;
using records::GapReason;
using records::KindId;
using records::Record;

// Of the file, wherever it lies in the recording.
bool IsDamage(GapReason reason) {
  return reason == GapReason::kWrongCrc || reason == GapReason::kNoPackets ||
         reason == GapReason::kCutShort;
}

// ---- Gathering -------------------------------------------------------------------

class Gatherer final : public PlacedSink {
 public:
  explicit Gatherer(const Range& range) : range_(range), upto_{std::nullopt, range.to} {}

  void OnRecord(const Record& record, const Spot& spot) override;
  void OnGap(const Gap& gap, const GapSpot& spot) override;
  void OnClockStep(const records::ClockStep& step, AxisX x) override;
  void OnNewRun(int run, unsigned int tick, AxisX lost_from, AxisX x) override;

  // All that was told, as far as it lies in the range.
  void Finish(const Placement& placement, CaseRecording& recording);

 private:
  // A gap, or another run's beginning, behind which no settings are known.
  struct SettingsLoss {
    Gap gap;
    const char* words;
  };
  // The last gap in front of the range.
  struct FrontGap {
    std::string words;
    std::vector<AxisX> lost_from;  // of it and of those before it in its run
  };

  void LoseAll(AxisX x, FactBook::Loss why);
  void TellTally();
  void FollowPosition(const Record& record, AxisX x);
  void PutPositionFindings();
  bool ReachesInto(const Gap& gap) const;
  bool IsLostInFront(const Line& line, AxisX begin) const;
  void PutFrontGap(AxisX begin, CaseRecording& recording);
  void PutPart(const Inside& inside, CaseRecording& recording);
  void PutSettings(CaseRecording& recording) const;
  void PutTotals(const Inside& inside, CaseRecording& recording) const;
  void PutWay(const Inside& inside, CaseRecording& recording);
  void PutFindings(const Inside& inside, CaseRecording& recording);
  bool HasRange() const { return range_.from || range_.to; }

  const Range& range_;
  const Range upto_;
  Phrases phrases_;
  Tally tally_;  // up to the range's end
  WayBook way_;
  SeriesBook series_;
  LaneBook lanes_;
  EventBook events_;
  FactBook facts_;
  std::map<std::int64_t, std::string> policy_words_;
  std::vector<CaseGap> gaps_;
  std::vector<CaseClockStep> steps_;
  std::vector<CaseNewRun> new_runs_;
  std::vector<CaseFinding> findings_;
  std::vector<AxisX> starts_;
  CaseTotals totals_;
  std::optional<SettingsLoss> untallied_;  // whether it is in front of the range's end is open
  const char* settings_lost_ = nullptr;    // why the tally has forgotten them
  std::optional<FrontGap> front_gap_;
  std::int64_t bad_places_ = 0;
  int run_ = 0;
  // Ticks between which ways were told, and no place they begin at was known.
  struct Pathless {
    struct Span {
      AxisX x;
      unsigned int first_tick, last_tick;
    };
    std::vector<Span> spans;
    bool is_open = false;  // the last one goes on
  };
  Pathless pathless_;
  std::uint64_t impossible_ = 0;  // positions that are none on earth
  AxisX impossible_x_ = 0;        // of the first one
};

// Behind it nothing is known of settings, as behind another run's beginning.
void Gatherer::TellTally() {
  if (!untallied_) return;
  tally_.OnGap(untallied_->gap);
  settings_lost_ = untallied_->words;
  untallied_.reset();
}

// Its beginning lies in front of the range's end: there nothing is known.
bool Gatherer::ReachesInto(const Gap& gap) const {
  if (!range_.to) return true;
  if (range_.to->tick) return gap.from_tick != kNoTick && gap.from_tick < *range_.to->tick;
  return gap.from.quality != records::TimeQuality::kUnknown &&
         gap.from.us + records::kTick_us <= range_.to->us;
}

void Gatherer::LoseAll(AxisX x, FactBook::Loss why) {
  phrases_.Forget();
  series_.LoseAll(x);
  lanes_.LoseAll(x);
  facts_.LoseAll(x, why);
  events_.Forget();
}

void Gatherer::OnRecord(const Record& record, const Spot& spot) {
  if (SideOf(range_, record.tick, record.time) == Side::kInside)
    ++(record.crc_right ? totals_.records : totals_.wrong_crc);
  events_.Take(record, spot, phrases_);
  phrases_.Learn(record);
  way_.Take(record, spot);
  series_.Take(record, spot);
  lanes_.Take(record, spot, phrases_);
  facts_.Take(record, spot);
  if (record.crc_right && SideOf(range_, record.tick, record.time) == Side::kInside)
    FollowPosition(record, spot.x);
  if (SideOf(upto_, record.tick, record.time) == Side::kBehind) return;
  TellTally();
  const std::uint64_t starts = tally_.starts;
  tally_.OnRecord(record);
  if (record.kind->id == KindId::kPolicy && record.crc_right)
    policy_words_[ValueOf(record, 0).number] = ValueWords(StateEntry(record));
  if (tally_.starts == starts) return;
  starts_.push_back(spot.x);
  events_.TakeStart(record, spot);
}

// Of ways that are told while nothing tells where they begin, and of places that are none.
void Gatherer::FollowPosition(const Record& record, AxisX x) {
  if (pathless_.is_open && record.tick != kNoTick) pathless_.spans.back().last_tick = record.tick;
  if (record.kind->id != KindId::kPosition) return;
  if (record.position.quality != records::PositionQuality::kUnknown) {
    pathless_.is_open = false;
    return;
  }
  if (record.item[0] == TAG_GPS_ABS) {
    if (impossible_ == 0) impossible_x_ = x;
    ++impossible_;
  }
  if (pathless_.is_open || record.tick == kNoTick) return;
  pathless_.spans.push_back({x, record.tick, record.tick});
  pathless_.is_open = true;
}

void Gatherer::PutPositionFindings() {
  constexpr std::uint64_t kLeastTicks = 2 * 60;
  for (const Pathless::Span& span : pathless_.spans) {
    const std::uint64_t ticks = span.last_tick - span.first_tick;
    if (ticks <= kLeastTicks) continue;
    findings_.push_back(
        {"position",
         fmt::format("no position is known from tick {} to {}, {}, although the recording goes on: "
                     "it tells ways, and not from where",
                     span.first_tick, span.last_tick,
                     ExactDurationText(static_cast<std::int64_t>(ticks) * records::kTick_us)),
         span.x});
  }
  if (impossible_ == 0) return;
  findings_.push_back(
      {"position",
       fmt::format("{} told that {} nowhere on earth; {} left out",
                   impossible_ == 1 ? std::string("a position was")
                                    : Counted(impossible_, "position") + " were",
                   impossible_ == 1 ? "is" : "are", impossible_ == 1 ? "it is" : "they are"),
       impossible_x_});
}

void Gatherer::OnGap(const Gap& gap, const GapSpot& spot) {
  way_.Take(gap, spot.lost_from);
  LoseAll(spot.lost_from, FactBook::Loss::kBehindGap);
  if (!untallied_ || ReachesInto(gap))
    untallied_ = {
        gap, gap.reason == GapReason::kOverwritten ? nullptr : "none told behind the last gap"};
  if (ReachesInto(gap)) TellTally();
  if (IsDamage(gap.reason)) ++bad_places_;
  const std::string words = GapWords(gap);
  if (gap.reason != GapReason::kOverwritten) events_.Take(gap, words, spot, run_);
  if (SideOf(range_, gap.from_tick, gap.from) == Side::kBehind) return;
  if (SideOf(range_, gap.to_tick, gap.to) == Side::kBefore) {
    if (!front_gap_) front_gap_.emplace();
    front_gap_->words = words;
    front_gap_->lost_from.push_back(spot.lost_from);
    return;
  }
  gaps_.push_back(
      {gap.reason, words, spot.from, spot.to, gap.from_tick, gap.to_tick, gap.clusters, gap.bytes});
  const char* const severity = gap.reason == GapReason::kOverwritten ? "note"
                               : gap.reason == GapReason::kWrongCrc  ? "crc"
                                                                     : "gap";
  findings_.push_back({severity, words, spot.from ? spot.from : spot.to});
}

void Gatherer::OnClockStep(const records::ClockStep& step, AxisX x) {
  way_.Take(step, x);
  const std::string words = ClockStepWords(step);
  events_.Take(step, words, x, run_);
  const records::Time time{step.told_us, records::TimeQuality::kStepped};
  if (SideOf(range_, step.tick, time) != Side::kInside) return;
  steps_.push_back({x, step.tick, step.expected_us, step.told_us, words});
  findings_.push_back({"clock", words, x});
}

void Gatherer::OnNewRun(int run, unsigned int tick, AxisX lost_from, AxisX x) {
  run_ = run;
  pathless_.is_open = false;
  way_.TakeNewRun(run, tick, lost_from);
  LoseAll(lost_from, FactBook::Loss::kInNewRun);
  front_gap_.reset();
  untallied_ = {Gap(GapReason::kMarked), "none told since ticks began anew"};
  const std::string words = NewRunWords(tick);
  events_.TakeNewRun(words, tick, x, run);
  new_runs_.push_back({x, run, tick});
}

// ---- What it comes to ------------------------------------------------------------

// Of settings that a later configuration does not tell nothing is known.
void Gatherer::PutSettings(CaseRecording& recording) const {
  if (recording.is_part && recording.stretches.empty()) {
    recording.no_policy = recording.nothing;
    return;
  }
  const auto component_word = records::KindOf(KindId::kVersion).fields[0].word;
  for (const auto& [component, text] : tally_.versions) {
    const char* const word = component_word(component);
    recording.versions.push_back(
        {word != nullptr ? word : fmt::format("component {}", component), EscapedText(text)});
  }
  for (const auto& [number, value] : tally_.policies) {
    const auto words = policy_words_.find(number);
    recording.policies.push_back(
        {number, KeyWords(StateTable::Key{KindId::kPolicy, {number}}),
         words == policy_words_.end() ? fmt::format("{}", value) : words->second});
  }
  if (recording.policies.empty())
    recording.no_policy = settings_lost_ != nullptr ? settings_lost_
                          : recording.is_part ? "none told up to the end of the part asked for"
                                              : "none told";
  recording.policies_complete = tally_.saw_settings && !tally_.policies.empty();
  if (recording.policies_complete) recording.policy_sha256 = PolicyDigest(tally_.policies);
}

void Gatherer::PutTotals(const Inside& inside, CaseRecording& recording) const {
  CaseTotals& totals = recording.totals = totals_;
  const CaseStretch* before = nullptr;
  for (const CaseStretch& stretch : recording.stretches) {
    const bool goes_on =
        before != nullptr && before->run == stretch.run && before->last + 1 == stretch.first;
    totals.recorded_halves += stretch.last - stretch.first + (goes_on ? 1 : 0);
    if (before == nullptr || before->run != stretch.run) ++totals.runs;
    before = &stretch;
  }
  for (const CaseGap& gap : recording.gaps) {
    if (gap.reason == GapReason::kWrongCrc) ++totals.wrong_crc_packets;
    if (gap.reason == GapReason::kOverwritten)
      totals.overwritten = true;
    else if (gap.from && gap.to)
      totals.lost_halves += *gap.to - *gap.from;
    else
      ++totals.lost_unknown;
  }
  for (const AxisX start : starts_)
    if (inside.Has(start)) ++totals.starts;
  for (const WayPoint& point : recording.way)
    if ((point.flags & WayPoint::kUnverified) != 0) ++totals.unverified;
}

void Gatherer::PutWay(const Inside& inside, CaseRecording& recording) {
  way_.Finish(series_.SoleUnits(KindId::kSpeed, kGpsSpeedId));
  recording.way = std::move(way_.way);
  if (HasRange()) inside.Clip(recording.way, way_.ends);
}

bool Gatherer::IsLostInFront(const Line& line, AxisX begin) const {
  const LinePoint* in_force = nullptr;
  for (const LinePoint& point : line)
    if (point.Holds() && point.x <= begin) in_force = &point;
  const std::vector<AxisX>& lost_from = front_gap_->lost_from;
  return in_force != nullptr && !in_force->IsKnown() && !in_force->IsWord() &&
         std::find(lost_from.begin(), lost_from.end(), in_force->x) != lost_from.end();
}

// Of a part that begins at `begin`; lanes are still whole.
void Gatherer::PutFrontGap(AxisX begin, CaseRecording& recording) {
  if (!front_gap_) return;
  const std::vector<Line> lines = series_.Lines();
  recording.begins_unknown =
      std::any_of(lines.begin(), lines.end(),
                  [&](const Line& line) { return IsLostInFront(line, begin); }) ||
      std::any_of(recording.lanes.begin(), recording.lanes.end(),
                  [&](const CaseLane& lane) { return IsLostInFront(lane.line, begin); }) ||
      facts_.AreLostAt(begin);
  if (!recording.begins_unknown) return;
  findings_.push_back({"gap",
                       fmt::format("in front of the part asked for there is a {}; what was known "
                                   "before it is unknown until it is told again",
                                   front_gap_->words),
                       std::nullopt});
}

// Of a gap that reaches beyond what was asked for no more than the part of it counts.
void Gatherer::PutPart(const Inside& inside, CaseRecording& recording) {
  recording.part = inside.Asked();
  for (CaseGap& gap : recording.gaps) {
    if (!gap.from || !gap.to || !recording.part) continue;
    const std::string words = gap.words;
    const std::optional<AxisX> place = gap.from;
    if (!inside.Clip(*gap.from, *gap.to)) continue;
    gap.words += *gap.from == *gap.to
                     ? "; it begins or ends where the part asked for does"
                     : fmt::format("; it reaches beyond the part asked for, of which {} are lost",
                                   ExactDurationText((*gap.to - *gap.from) * records::kTick_us));
    const auto finding =
        std::find_if(findings_.begin(), findings_.end(),
                     [&](const CaseFinding& one) { return one.x == place && one.words == words; });
    if (finding == findings_.end()) continue;
    finding->words = gap.words;
    finding->x = gap.from;
  }
}

// Empty: something is there.
std::string WhyNothing(const CaseRecording& recording) {
  if (!recording.stretches.empty()) return {};
  if (!recording.is_part) return "nothing of it is recorded";
  const bool is_lost =
      std::any_of(recording.gaps.begin(), recording.gaps.end(), [](const CaseGap& gap) {
        return gap.reason != GapReason::kOverwritten && gap.from && gap.to;
      });
  return is_lost ? "all that was recorded in the part asked for is lost"
                 : "nothing of the part asked for is recorded";
}

void Gatherer::PutFindings(const Inside& inside, CaseRecording& recording) {
  for (const CaseNewRun& run : recording.new_runs)
    findings_.push_back({"clock", NewRunWords(run.tick), run.x});
  const auto unverified = std::find_if(
      recording.way.begin(), recording.way.end(),
      [](const WayPoint& point) { return (point.flags & WayPoint::kUnverified) != 0; });
  if (unverified != recording.way.end())
    findings_.push_back({"position", kUnverifiedWords, unverified->x});
  PutPositionFindings();
  if (recording.stretches.empty())
    findings_.push_back(
        {"note", HasRange() ? recording.nothing : "nothing is recorded, or nothing tells when",
         std::nullopt});
  else if (!recording.HasTime())
    findings_.push_back({"note", "nothing tells the time of day", std::nullopt});
  if (recording.zone.empty())
    findings_.push_back(
        {"note",
         recording.recorded_zone.empty()
             ? "no time zone is recorded; times are UTC"
             : fmt::format(
                   "the recorded time zone \"{}\" is not known on this machine; times are UTC",
                   recording.recorded_zone),
         std::nullopt});
  // A place outside of the part is none of the page.
  for (CaseFinding& finding : findings_) {
    if (!recording.is_part || !finding.x || inside.Has(*finding.x)) continue;
    if (recording.part && *finding.x >= recording.part->from && *finding.x <= recording.part->to)
      continue;
    const auto gap = std::find_if(recording.gaps.begin(), recording.gaps.end(),
                                  [&finding](const CaseGap& one) { return one.from == finding.x; });
    const bool ends_inside = gap != recording.gaps.end() && gap->to && inside.Has(*gap->to);
    finding.x = ends_inside ? gap->to : std::nullopt;
  }
  // In the order of the axis; what has no place comes last.
  std::stable_sort(findings_.begin(), findings_.end(),
                   [](const CaseFinding& a, const CaseFinding& b) {
                     constexpr AxisX kLast = std::numeric_limits<AxisX>::max();
                     return a.x.value_or(kLast) < b.x.value_or(kLast);
                   });
  recording.findings = std::move(findings_);
}

// Texts and kinds that no event has are left out.
void DropUnused(CaseEvents& events) {
  const auto renumber = [&events](std::vector<std::string>& names, int CaseEvent::*index) {
    std::vector<int> numbers(names.size(), -1);
    std::vector<std::string> used;
    for (CaseEvent& event : events.all) {
      int& number = numbers[static_cast<std::size_t>(event.*index)];
      if (number < 0) {
        number = static_cast<int>(used.size());
        used.push_back(std::move(names[static_cast<std::size_t>(event.*index)]));
      }
      event.*index = number;
    }
    names = std::move(used);
  };
  renumber(events.kinds, &CaseEvent::kind);
  renumber(events.texts, &CaseEvent::text);
}

void Gatherer::Finish(const Placement& placement, CaseRecording& recording) {
  if (!range_.to) TellTally();
  const std::vector<CaseStretch> stretches = placement.Stretches();
  const Inside inside(stretches, range_);
  recording.is_part = HasRange();
  recording.bad_places = bad_places_;
  recording.stretches = inside.Stretches();
  recording.lanes = lanes_.Finish(stretches.empty() ? 0 : stretches.front().first);
  recording.events = events_.Finish();
  recording.facts = facts_.Finish(HasRange() ? &inside : nullptr);
  if (HasRange() && !recording.stretches.empty())
    PutFrontGap(recording.stretches.front().first, recording);
  recording.series = series_.Finish(HasRange() ? &inside : nullptr, findings_);
  recording.gaps = std::move(gaps_);
  if (HasRange()) PutPart(inside, recording);
  recording.nothing = WhyNothing(recording);
  recording.steps = std::move(steps_);
  recording.new_runs = std::move(new_runs_);
  PutWay(inside, recording);
  if (HasRange()) {
    for (CaseLane& lane : recording.lanes) inside.Clip(lane.line);
    inside.Clip(recording.events);
    recording.new_runs.erase(
        std::remove_if(recording.new_runs.begin(), recording.new_runs.end(),
                       [&inside](const CaseNewRun& run) { return !inside.Has(run.x); }),
        recording.new_runs.end());
  }
  DropUnused(recording.events);
  PutSettings(recording);
  PutTotals(inside, recording);
  PutFindings(inside, recording);
}

void Thin(CaseRecording& recording) {
  for (CaseSeries& series : recording.series) series.thinned = ThinLine(series.line);
  recording.way_thinned = ThinWay(recording.way);
}

}  // namespace

CaseRecording GatherRecording(Reading& reading, ReadOutcome& outcome) {
  CaseRecording recording;
  recording.name = EscapedText(reading.recording.name);
  recording.is_store = reading.recording.is_store;
  recording.zone = reading.zone;
  recording.recorded_zone = EscapedText(RecordedZone(*reading.recording.source));
  Gatherer gatherer(reading.range);
  Placement placement(gatherer);
  outcome = ReadThroughRange(reading, placement);
  placement.Finish();
  gatherer.Finish(placement, recording);
  if (recording.begins_unknown) {
    outcome.complete = false;
    Say(fmt::format("{}: something that was known got lost in a gap, and was not told again",
                    reading.recording.name));
  }
  LayOut(AxisLayout(placement.Stretches()), recording);
  Thin(recording);
  return recording;
}

}  // namespace vmr::tool
