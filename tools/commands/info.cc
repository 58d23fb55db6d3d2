// `vmr info`: what a recording is of, at a glance.
#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>
#include <numeric>
#include <string>

#include "backends/cluster_format.h"
#include "tools/commands/command.h"
#include "tools/commands/overview_text.h"
#include "tools/commands/reading_options.h"
#include "tools/common/console.h"
#include "tools/common/text_output.h"
#include "tools/common/ticks.h"
#include "tools/read/json_line.h"
#include "tools/read/overview.h"
#include "tools/read/phrase.h"

namespace vmr::tool {
namespace {

using records::GapReason;
using records::KindId;
using Json = nlohmann::ordered_json;

constexpr const char* kHelp = "Tells which unit, from when to when, how much, and in which health";

constexpr const char* kFooter =
    R"(Of a large store the beginning, the end and 512 clusters in between are looked at, in
less than half a second: what follows from them is said to be "about", and what
does not is said to be not looked at; of a kind of record that is too rare there for
an estimate it says "few" (null in JSON). --full looks at everything. Recorded texts
stand in quotes.

The settings' digest is the SHA-256 of a line "NUMBER=VALUE" for each setting, in
the order of their numbers (docs/format.md), as they are at the end: two units with
the same digest are set alike.

--format json prints an object a line for each PATH.

Examples:
  vmr info trips/car7
  vmr info trips                       every recording in a folder
  vmr info trips/car7 --full --format json | jq .gaps)";

constexpr const char* kFooterEnd =
    R"(Nothing on disk is changed, and a recorder may go on meanwhile.

Exit codes: 0 success, 1 PATH could not be read, 2 wrong usage, 3 something of it
is known to be lost, or a store's two files contradict each other, 4 neither is so,
but one of the two files is not sound: `vmr check` says more.)";

struct InfoOptions {
  ReadingOptions reading;
  std::string format;
  bool full = false;
};

// ---- What follows from what was looked at ----------------------------------------

// A gap that is not the ring's way to go on.
bool IsLoss(const records::Gap& gap) { return gap.reason != GapReason::kOverwritten; }

std::uint64_t Losses(const Overview& overview) {
  const std::vector<records::Gap>& gaps = overview.tally.gaps;
  const auto found = static_cast<std::uint64_t>(std::count_if(gaps.begin(), gaps.end(), IsLoss));
  return found > 0 ? found : overview.lost;
}

bool IsAnyFileUnsound(const Overview& overview) {
  return std::any_of(overview.files.begin(), overview.files.end(),
                     [](const FileHealth& file) { return !file.IsSound(); });
}

bool DoFilesContradict(const Overview& overview) {
  return std::any_of(overview.files.begin(), overview.files.end(),
                     [](const FileHealth& file) { return file.contradicted > 0; });
}

int ExitCodeOf(const Overview& overview) {
  if (Losses(overview) > 0 || overview.tally.wrong_crc > 0 || DoFilesContradict(overview))
    return kExitPartial;
  return IsAnyFileUnsound(overview) ? kExitDamaged : kExitSuccess;
}

// How long the unit was on, by its ticks; nothing when they begin anew, or might.
std::optional<std::int64_t> RecordedMicroseconds(const Overview& overview) {
  if (overview.complete)
    return static_cast<std::int64_t>(overview.tally.ticks) * kMicrosecondsPerTick;
  if (overview.first.tick == kNoTick || overview.last.tick == kNoTick ||
      overview.last.tick < overview.first.tick)
    return std::nullopt;
  return std::int64_t{overview.last.tick - overview.first.tick} * kMicrosecondsPerTick;
}

// Two digits: more would promise too much of an estimate.
std::uint64_t Rounded(std::uint64_t count) {
  std::uint64_t unit = 1;
  while (count / unit >= 100) unit *= 10;
  return (count + unit / 2) / unit * unit;
}

// Of the whole recording, what the clusters chosen at equal distances make likely.
std::uint64_t Likely(const Overview& overview, std::uint64_t sampled) {
  return Rounded(sampled * static_cast<std::uint64_t>(overview.clusters) /
                 static_cast<std::uint64_t>(std::max(overview.clusters_sampled, 1)));
}

// Of a kind that was met, in the whole recording. Nothing where not all was looked at and the
// chosen clusters have too few of it for an estimate.
std::optional<std::uint64_t> CountOf(const Overview& overview, std::size_t kind) {
  constexpr std::uint64_t kFewestSampled = 20;
  if (overview.complete) return overview.tally.counts[kind];
  if (overview.sampled[kind] < kFewestSampled) return std::nullopt;
  return Likely(overview, overview.sampled[kind]);
}

std::uint64_t CountOfAll(const Overview& overview) {
  const Tally::Counts& counts = overview.complete ? overview.tally.counts : overview.sampled;
  const std::uint64_t all = std::accumulate(counts.begin(), counts.end(), std::uint64_t{0});
  return overview.complete ? all : Likely(overview, all);
}

// ---- Text ------------------------------------------------------------------------

std::string SpanRows(const Reading& reading, const Overview& overview) {
  std::string text =
      Row("From", MomentText(overview.first) +
                      (overview.overwritten ? "; what came before was overwritten" : ""));
  text += Row("To", MomentText(overview.last));
  const auto recorded_us = RecordedMicroseconds(overview);
  text += Row("Recorded", recorded_us ? DurationText(*recorded_us) + " by the unit's ticks"
                                      : "unknown: ticks begin anew");
  return text + Row("Time zone", ZoneText(reading));
}

std::string CourseRows(const Overview& overview) {
  const Tally& tally = overview.tally;
  if (!overview.complete)
    return Row("Unit's starts", "not looked at; --full counts them") +
           Row("Clock", "not looked at whether it was set; --full does");
  std::string text =
      Row("Unit's starts", tally.starts == 0 ? "none recorded" : fmt::format("{}", tally.starts));
  if (tally.runs > 1)
    text += Row("Ticks", fmt::format("begin anew {}", Counted(tally.runs - 1, "time")));
  if (tally.steps.empty()) return text + Row("Clock", "was never set by more than a second");
  const auto largest =
      std::max_element(tally.steps.begin(), tally.steps.end(), [](const auto& a, const auto& b) {
        return std::llabs(a.Microseconds()) < std::llabs(b.Microseconds());
      });
  return text +
         Row("Clock",
             fmt::format("was set {}, by {} {} at most, at tick {}",
                         Counted(tally.steps.size(), "time"), DurationText(largest->Microseconds()),
                         largest->Microseconds() < 0 ? "back" : "forward", largest->tick));
}

std::string GapRows(const Overview& overview) {
  const std::uint64_t losses = Losses(overview);
  std::string text = losses == 0 ? "none" : fmt::format("{}; `vmr view` shows them", losses);
  if (!overview.complete)
    text = fmt::format("{} in the {} of {} clusters read; --full reads all",
                       losses == 0 ? "none" : fmt::format("{}", losses), overview.clusters_looked,
                       overview.clusters);
  return Row("Gaps", text);
}

std::string HealthText(const FileHealth& file, const Overview& overview) {
  std::string text = HealthWords(file);
  if (overview.complete || !file.problem.empty()) return text;
  return fmt::format("{} in the {} of {} clusters compared; --full compares all", text,
                     overview.files_looked, overview.clusters);
}

std::string StoreRows(const Overview& overview) {
  if (overview.files.empty()) return Row("Kind", "flat file");
  std::string text =
      Row("Kind", fmt::format("store, {} of {} clusters in use", overview.clusters, kClusterCount));
  for (std::size_t i = 0; i < overview.files.size(); ++i)
    text += Row(i == 0 ? (overview.files.size() == 1 ? "File" : "Files") : "",
                fmt::format("{}: {}", EscapedText(overview.files[i].path),
                            HealthText(overview.files[i], overview)));
  return text;
}

std::string VersionText(std::int64_t component, const std::string& version) {
  const auto word = records::KindOf(KindId::kVersion).fields[0].word;
  const char* const name = word(component);
  return fmt::format("{} {}", name != nullptr ? name : fmt::format("component {}", component),
                     QuotedText(version));
}

// Without a whole configuration what is told may be a part of it.
bool KnowsSettings(const Overview& overview) {
  return overview.tally.saw_settings && !overview.tally.policies.empty();
}

std::string NoneTold(const Overview& overview) {
  if (!overview.complete) return "none told at the end; --full looks further back";
  const bool has_gaps = Losses(overview) > 0, has_runs = overview.tally.runs > 1;
  return has_gaps && has_runs ? "none told at the end"
         : has_gaps           ? "none told behind the last gap"
         : has_runs           ? "none told since ticks began anew"
                              : "none told";
}

std::string SettingRows(const Overview& overview) {
  const Tally& tally = overview.tally;
  std::string versions;
  for (const auto& [component, version] : tally.versions)
    versions += (versions.empty() ? "" : ", ") + VersionText(component, version);
  std::string text = Row("Versions", versions.empty() ? NoneTold(overview) : versions);
  if (tally.policies.empty()) return text + Row("Settings", NoneTold(overview));
  if (!KnowsSettings(overview))
    return text +
           Row("Settings", fmt::format("{} told, not all: no digest", tally.policies.size()));
  const auto digest = PolicyDigest(tally.policies);
  return text + Row("Settings", fmt::format("{}, SHA-256 {}", tally.policies.size(),
                                            digest.value_or("cannot be reckoned here")));
}

std::string CountRows(const Overview& overview) {
  const auto recorded_us = RecordedMicroseconds(overview);
  const std::string_view about = overview.complete ? "" : "about ";
  constexpr std::uint64_t kFewest = 10;  // for a rate
  std::string rows;
  for (const records::KindRow& kind : records::Kinds()) {
    const auto index = static_cast<std::size_t>(kind.id);
    if (overview.tally.counts[index] == 0) continue;
    const auto count = CountOf(overview, index);
    const double hours =
        static_cast<double>(recorded_us.value_or(0)) / (3600.0 * kMicrosecondsPerSecond);
    const std::string rate =
        hours > 0 && count && *count >= kFewest
            ? fmt::format("{:>12.1f} an hour", static_cast<double>(*count) / hours)
            : "";
    rows += fmt::format("  {:<20}{:>12}{}\n", kind.name,
                        count ? fmt::format("{}{}", overview.complete ? "" : "~", *count) : "few",
                        rate);
  }
  std::string text = Row("Records", fmt::format("{}{}", about, CountOfAll(overview)));
  if (overview.tally.wrong_crc > 0)
    text += Row("", fmt::format("and {} in packets with a wrong CRC", overview.tally.wrong_crc));
  return text + rows;
}

std::string InfoText(const Reading& reading, const Overview& overview) {
  std::string text = reading.index > 0 ? "\n" : "";
  text += Row("Recording", EscapedText(reading.recording.name)) + StoreRows(overview);
  if (overview.first.tick == kNoTick && overview.tally.records == 0 && Losses(overview) == 0)
    return text + Row("Records", "none: nothing was recorded");
  return text + IdentityRows(overview.tally, overview.complete ? Told::kAll : Told::kMet) +
         SpanRows(reading, overview) + CourseRows(overview) + GapRows(overview) +
         SettingRows(overview) + CountRows(overview);
}

// ---- JSON ------------------------------------------------------------------------

// Bytes that are no UTF-8 as in `vmr export`: taken for ISO 8859-1.
std::string JsonText(std::string_view text) {
  LineBuffer line;
  AppendJsonText(text, line);
  return Json::parse(line.data(), line.data() + line.size()).get<std::string>();
}

Json TickJson(unsigned int tick) { return tick == kNoTick ? Json() : Json(tick); }

Json TimeJson(const records::Time& time) {
  if (time.quality == records::TimeQuality::kUnknown) return {};
  LineBuffer text;
  AppendUtc(time.us, text);
  return std::string(text.data(), text.size());
}

Json MomentJson(const Met& moment) {
  return {{"tick", TickJson(moment.tick)},
          {"time", TimeJson(moment.time)},
          {"time_quality", TextOf(moment.time.quality)}};
}

Json TextsJson(const Tally& tally) {
  Json all = Json::object();
  for (const auto& [kind, told] : tally.texts) {
    Json& list = all[records::KindOf(kind).name] = Json::array();
    for (const ToldText& text : told)
      list.push_back({{"text", kind == KindId::kMac ? MacText(text.text) : JsonText(text.text)},
                      {"from", MomentJson(text.at)}});
  }
  return all;
}

Json GapsJson(const Tally& tally) {
  Json all = Json::array();
  for (const records::Gap& gap : tally.gaps)
    if (IsLoss(gap))
      all.push_back({{"reason", TextOf(gap.reason)},
                     {"from_tick", TickJson(gap.from_tick)},
                     {"to_tick", TickJson(gap.to_tick)},
                     {"from_time", TimeJson(gap.from)},
                     {"to_time", TimeJson(gap.to)},
                     {"clusters", gap.clusters},
                     {"bytes", gap.bytes}});
  return all;
}

Json StepsJson(const Tally& tally) {
  Json all = Json::array();
  for (const records::ClockStep& step : tally.steps)
    all.push_back({{"tick", step.tick}, {"step_ms", step.Microseconds() / 1000}});
  return all;
}

Json FilesJson(const Overview& overview) {
  Json all = Json::array();
  for (const FileHealth& file : overview.files)
    all.push_back({{"path", JsonText(file.path)},
                   {"sound", file.IsSound()},
                   {"problem", file.problem.empty() ? Json() : Json(file.problem)},
                   {"bad_clusters", file.bad},
                   {"lacking_clusters", file.lacking},
                   {"contradicted_clusters", file.contradicted},
                   {"wrong_size", file.has_wrong_size}});
  return all;
}

Json VersionsJson(const Overview& overview) {
  Json all = Json::object();
  const auto word = records::KindOf(KindId::kVersion).fields[0].word;
  for (const auto& [component, version] : overview.tally.versions) {
    const char* const name = word(component);
    all[name != nullptr ? name : fmt::format("{}", component)] = JsonText(version);
  }
  return all;
}

Json SettingsJson(const Overview& overview) {
  if (!KnowsSettings(overview)) return {};
  const auto digest = PolicyDigest(overview.tally.policies);
  Json values = Json::object();
  for (const auto& [number, value] : overview.tally.policies)
    values[fmt::format("{}", number)] = value;
  return {{"count", overview.tally.policies.size()},
          {"sha256", digest ? Json(*digest) : Json()},
          {"values", values}};
}

Json CountsJson(const Overview& overview) {
  Json all = Json::object();
  for (const records::KindRow& kind : records::Kinds()) {
    const auto index = static_cast<std::size_t>(kind.id);
    if (overview.tally.counts[index] == 0) continue;
    const auto count = CountOf(overview, index);
    all[kind.name] = count ? Json(*count) : Json();
  }
  return all;
}

// What was not looked at is null, and so is the count of what is too rare for an estimate.
std::string InfoJson(const Reading& reading, const Overview& overview) {
  const Tally& tally = overview.tally;
  const auto recorded_us = RecordedMicroseconds(overview);
  const auto if_complete = [&](auto value) { return overview.complete ? Json(value) : Json(); };
  const Json object = {
      {"recording", JsonText(reading.recording.name)},
      {"kind", overview.files.empty() ? "flat file" : "store"},
      {"complete", overview.complete},
      {"clusters", overview.files.empty() ? Json() : Json(overview.clusters)},
      {"clusters_looked_at", overview.files.empty() ? Json() : Json(overview.clusters_looked)},
      {"overwritten", overview.overwritten},
      {"files", FilesJson(overview)},
      {"told", TextsJson(tally)},
      {"first", MomentJson(overview.first)},
      {"last", MomentJson(overview.last)},
      {"recorded_s",
       recorded_us ? Json(static_cast<double>(*recorded_us) / kMicrosecondsPerSecond) : Json()},
      {"time_zone", reading.zone.empty() ? Json() : Json(JsonText(reading.zone))},
      {"runs", if_complete(tally.runs)},
      {"starts", if_complete(tally.starts)},
      {"clock_steps", StepsJson(tally)},
      {"gap_count", Losses(overview)},
      {"gaps", GapsJson(tally)},
      {"wrong_crc_records", tally.wrong_crc},
      {"versions", VersionsJson(overview)},
      {"settings", SettingsJson(overview)},
      {"counts_are_estimated", !overview.complete},
      {"counts", CountsJson(overview)},
  };
  return object.dump() + "\n";
}

// ---- The command line ------------------------------------------------------------

int Info(const InfoOptions& options) {
  TextOutput out;
  if (!out.Open(options.reading.out, options.reading.force)) return kExitFailure;
  const int exit_code = ForEachReading(options.reading, [&](Reading& reading) {
    const Overview overview = LookOver(reading.recording, options.full);
    out.Write(options.format == "json" ? InfoJson(reading, overview) : InfoText(reading, overview));
    return ExitCodeOf(overview);
  });
  return out.Finish(exit_code);
}

std::function<int()> AddOptions(CLI::App& parser) {
  const auto options = std::make_shared<InfoOptions>();
  parser.footer(fmt::format("{}\n\n{}", kFooter, kFooterEnd));
  AddPaths(parser, options->reading);
  parser.add_flag("--full", options->full, "Look at everything");
  AddFormat(parser, {"text", "json"}, options->format);
  AddTimeZone(parser, options->reading.time_zone);
  AddOutput(parser, options->reading);
  parser.final_callback([options] { CheckReadingUsage(options->reading); });
  return [options] { return Info(*options); };
}

}  // namespace

constexpr Command kInfoCommand = {"info", kHelp, kFooter, AddOptions};

}  // namespace vmr::tool
