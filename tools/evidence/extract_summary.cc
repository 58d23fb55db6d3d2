#include "tools/evidence/extract_summary.h"

#include <fmt/format.h>

#include <algorithm>

#include "tools/common/time_point.h"

namespace vmr::tool {
namespace {

// A unit that runs writes its whole state every 7202 ticks at the latest; the
// rest is for what waits to be written.
constexpr unsigned int kLongestQuiet = 7202 + 20;

// Asked for as the last tick, it is what there is to the end.
constexpr unsigned int kEndOfRecording = 0xFFFFFFFF;

std::string TimeNote(const ExtractionFacts& facts, unsigned int tick) {
  const auto time_us = facts.clock != nullptr ? facts.clock->TimeAt(tick) : std::nullopt;
  return time_us ? fmt::format(" ({})", LocalTimeText(*time_us)) : "";
}

std::string RangeText(const ExtractionFacts& facts, const TickRange& range) {
  return fmt::format("ticks {}{} to {}{}", range.first, TimeNote(facts, range.first), range.last,
                     TimeNote(facts, range.last));
}

// Whatever a unit makes of them, they are what the recording tells.
std::string CutStateText(const CutFacts& cut) {
  std::vector<std::string> unlike;
  const auto add = [&unlike](std::uint64_t count, const char* what) {
    if (count > 0) unlike.push_back(fmt::format(what, count));
  };
  add(cut.corrected, "written {} of them otherwise");
  add(cut.removed, "written {} more that nothing recorded tells");
  add(cut.added, "left {} of them out");
  std::string unit = unlike.empty() ? "written the same" : unlike.front();
  for (std::size_t i = 1; i < unlike.size(); ++i)
    unit += (i + 1 < unlike.size() ? ", " : " and ") + unlike[i];
  return fmt::format("as recorded up to there: {} values; a unit would have {}",
                     cut.kept + cut.corrected + cut.added, unit);
}

std::string StateText(const ExtractionFacts& facts) {
  if (facts.cut) return CutStateText(*facts.cut);
  const ExtractionReport& report = facts.report;
  if (report.dump_found)
    return fmt::format("from the state dump at tick {} in cluster {}", report.dump_tick,
                       report.state_cluster);
  return "from the recording's first packet on, as no state dump comes before it";
}

// What is lost in the range, a line each.
void AddLost(std::vector<std::string>& missing, const ExtractionFacts& facts) {
  const auto text = [&](unsigned int tick, const char* unknown) {
    return tick == kNoTick ? unknown : fmt::format("{}{}", tick, TimeNote(facts, tick));
  };
  for (const records::Gap& gap : facts.cut->gaps)
    missing.push_back(fmt::format("something is lost between ticks {} and {}: {}",
                                  text(gap.from_tick, "unknown"), text(gap.to_tick, "unknown"),
                                  TextOf(gap.reason)));
}

// A gap that ends inside the range is told as one of its own.
void AddGapBefore(std::vector<std::string>& missing, const ExtractionFacts& facts) {
  const auto& gap = facts.cut->gap_before;
  if (!gap || !facts.cut->gaps.empty() || gap->to_tick == kNoTick) return;
  missing.push_back(fmt::format(
      "something is lost in front of the range, up to tick {}{}: the state holds only what was "
      "told behind that",
      gap->to_tick, TimeNote(facts, gap->to_tick)));
}

void AddBeginning(std::vector<std::string>& missing, const ExtractionFacts& facts) {
  const unsigned int begins = facts.cut->recording_begins;
  if (begins == kNoTick || facts.begins_at_first || begins <= facts.asked.first) return;
  missing.push_back(fmt::format("the recording begins at tick {}{}, inside the range or behind it",
                                begins, TimeNote(facts, begins)));
}

std::string NothingBetween(unsigned int first, unsigned int last) {
  const unsigned int seconds = (last - first) / 2;
  return fmt::format("nothing is recorded between ticks {} and {} ({}:{:02}:{:02} hours)", first,
                     last, seconds / 3600, seconds / 60 % 60, seconds % 60);
}

// Adds the time between two ticks without packets, if that is a gap.
void AddGap(std::vector<std::string>& missing, unsigned int first, unsigned int last) {
  if (last > first && last - first > kLongestQuiet) missing.push_back(NothingBetween(first, last));
}

// The last one of which the extract tells: that of its state, when no packet behind
// it tells one.
unsigned int LastTick(const ExtractionFacts& facts) {
  const unsigned int copied = facts.report.last_tick;
  return copied != kNoTick ? copied : facts.extracted.first;
}

void AddEnd(std::vector<std::string>& missing, const ExtractionFacts& facts) {
  const ExtractionReport& report = facts.report;
  const bool ended = report.next_tick == kNoTick;
  const unsigned int last_tick = LastTick(facts);
  if (ended && report.read_failed)
    missing.push_back(
        fmt::format("a unit stops at a cluster after tick {} that it cannot read; what follows is "
                    "not in the extract",
                    last_tick));
  else if (ended && facts.asked.last != kEndOfRecording && last_tick < facts.asked.last)
    missing.push_back(fmt::format("the recording ends at tick {}, inside the range", last_tick));
  if (!ended) AddGap(missing, last_tick, std::min(report.next_tick, facts.asked.last));
}

}  // namespace

std::string DescribeExtraction(const ExtractionFacts& facts) {
  const ExtractionReport& report = facts.report;
  std::string text = fmt::format("asked:   {}\n", RangeText(facts, facts.asked));
  text +=
      fmt::format("widened: {}\n", RangeText(facts, {facts.extracted.first, report.widened_end}));
  text += fmt::format("state:   {}\n", StateText(facts));
  text += fmt::format("copied:  {} packets, {} bytes", report.packets, report.bytes);
  if (report.first_tick != kNoTick)
    text += ", " + RangeText(facts, {report.first_tick, report.last_tick});
  text += "\n";
  if (facts.redacted) text += fmt::format("without: {}\n", *facts.redacted);
  return text;
}

std::vector<std::string> WhatIsMissing(const ExtractionFacts& facts) {
  const ExtractionReport& report = facts.report;
  std::vector<std::string> missing;
  if (facts.cut) {
    AddLost(missing, facts);
    AddGapBefore(missing, facts);
    AddBeginning(missing, facts);
  }
  if (report.packets == 0) {
    missing.push_back(
        fmt::format("no packet lies in the range; the extract holds only its label and the "
                    "full state at tick {}",
                    facts.extracted.first));
    return missing;
  }
  if (report.first_tick != kNoTick) AddGap(missing, facts.asked.first, report.first_tick);
  if (report.widest_gap > 0) AddGap(missing, report.gap_tick, report.gap_tick + report.widest_gap);
  if (report.ticks_went_back)
    missing.push_back("ticks go back inside the range; the recording was begun anew there");
  if (report.skipped_bytes > 0)
    missing.push_back(fmt::format("{} bytes inside the range are damaged and were passed over",
                                  report.skipped_bytes));
  AddEnd(missing, facts);
  return missing;
}

std::optional<std::string> FoldedStart(const ExtractionFacts& facts) {
  if (!facts.report.start_tick_folded) return std::nullopt;
  return fmt::format(
      "tick {} itself holds events; they are in the full state, not copied; a start "
      "one tick earlier copies them",
      facts.extracted.first);
}

}  // namespace vmr::tool
