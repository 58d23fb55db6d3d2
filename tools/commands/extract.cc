// `vmr extract`: cuts a range of ticks out of a store.
#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <string>

#include "host/watchdog.h"
#include "reader/metadata_reader.h"
#include "store/stream_format.h"
#include "tools/commands/command.h"
#include "tools/commands/extract_summary.h"
#include "tools/common/console.h"
#include "tools/common/numbers.h"
#include "tools/common/output_file.h"
#include "tools/common/progress.h"
#include "tools/common/store_path.h"
#include "tools/common/time_point.h"
#include "tools/ring/recorded_clock.h"

namespace vmr::tool {
namespace {

constexpr const char* kHelp = "Cuts a range of ticks out of STORE into the file OUT";

constexpr const char* kFooter =
    R"(STORE is the base path of a store, or either of its two files. OUT becomes a flat
metadata file that can be decoded on its own: a label, the full state as it was
at the start, and every packet after the start up to the end and 10 seconds past
it. It appears when it is complete; `vmr view OUT` prints it.

T is a tick (half seconds, counted on over all runs of a store) or a time such as
2019-06-19T16:33:57-05:00, 2019-06-19T21:33:57Z or, in the local time of this
machine or of --time-zone, 2019-06-19T16:33. Times are good to about a second;
of a time that the recorded clock shows twice, the wider range is taken.
--to 4294967295 is the end of the recording, whenever that is.

Examples:
  vmr extract trips/car7 stop.vmd --from 2082 --to 2250
  vmr extract trips/car7 stop.vmd --from 2019-06-19T21:51:20Z --to 2019-06-19T21:52:45Z
  vmr extract trips/car7 stop.vmd --time-zone America/Chicago \
      --from 2019-06-19T16:51 --to 2019-06-19T16:53 --margin 30

The store is not changed, and may be recorded into meanwhile.

Exit codes: 0 the packets of the range were copied, 1 failure, OUT is as it was,
2 wrong usage, 3 OUT was written but not all of the range is in it: the recording
ends or has gaps inside the range, or holds nothing of it.
Environment: VMR_LOG, what is logged; see vmr --help.)";

struct ExtractOptions {
  std::string store;
  std::string out;
  TimePoint from;
  TimePoint to;
  unsigned int margin_s = 0;
  std::string time_zone;  // empty: this machine's
  bool force = false;     // replace `out`
};

// The library pets a watchdog while it works; each time is a step.
class PettedProgress final : public Watchdog {
 public:
  explicit PettedProgress(Progress& progress) : progress_(progress) {}
  void PetWatchdog() override { progress_.Step(); }

 private:
  Progress& progress_;
};

// Decoders print about devices that they do not know yet, which is usual while
// the state is being looked for. Standard output is for the summary alone.
class SilencedOutput {
 public:
  SilencedOutput() : kept_(dup(STDOUT_FILENO)), nowhere_(open("/dev/null", O_WRONLY | O_CLOEXEC)) {
    std::fflush(stdout);
    if (kept_ >= 0 && nowhere_ >= 0) dup2(nowhere_, STDOUT_FILENO);
  }
  ~SilencedOutput() {
    std::fflush(stdout);
    if (kept_ >= 0 && nowhere_ >= 0) dup2(kept_, STDOUT_FILENO);
    for (const int fd : {kept_, nowhere_})
      if (fd >= 0) close(fd);
  }
  SilencedOutput(const SilencedOutput&) = delete;
  SilencedOutput& operator=(const SilencedOutput&) = delete;

 private:
  int kept_;
  int nowhere_;
};

int Fail(const std::string& text) {
  Say(text);
  return kExitFailure;
}

// Reads the times of the recording, if the range needs them. False after saying
// why they cannot be had.
bool ReadClock(const std::string& base, RecordedClock& clock) {
  DataStoreNormal ring(base);
  ProgressLine progress(
      [](unsigned long ticks) { return fmt::format("reading times: {} ticks", ticks); });
  if (ring.OpenReadOnly() == 0) {
    Say(fmt::format("{}: cannot be opened", base));
    return false;
  }
  if (!clock.Read(ring, progress))
    Say(fmt::format("{}: cannot be read to its end; times behind that are reckoned", base));
  ring.Close();
  if (!clock.Empty()) return true;
  Say(fmt::format("{}: holds no times; give --from and --to as ticks", base));
  return false;
}

TickRange Widen(const TickRange& range, unsigned int margin_s) {
  const std::uint64_t margin = std::uint64_t{margin_s} * 2;
  return {static_cast<unsigned int>(range.first - std::min<std::uint64_t>(range.first, margin)),
          static_cast<unsigned int>(std::min<std::uint64_t>(range.last + margin, 0xFFFFFFFF))};
}

std::string WhyNoExtract(const std::string& base, const ExtractOptions& options,
                         const ExtractionFacts& facts) {
  const ExtractionReport& report = facts.report;
  if (report.state_cluster >= 0 && !report.wrote_everything)
    return fmt::format("{}: cannot be written whole; is there room for it?", options.out);
  if (report.state_cluster >= 0)
    return fmt::format("{}: the extraction failed at tick {}", base, report.last_tick);
  const std::string hint =
      report.later_dump_tick == kNoTick
          ? ""
          : fmt::format("; the earliest that is left stands at tick {}", report.later_dump_tick);
  return fmt::format("{}: no full state is found at or before tick {}{}", base,
                     facts.extracted.first, hint);
}

// The end of a successful extraction: the file gets its name, and it is said what
// is in it.
int Conclude(const std::string& base, OutputFile& out, const ExtractionFacts& facts) {
  if (!out.Publish()) return kExitFailure;
  if (const auto folded = FoldedStart(facts)) Say(fmt::format("{}: {}", base, *folded));
  const std::vector<std::string> missing = WhatIsMissing(facts);
  for (const std::string& reason : missing) Say(fmt::format("{}: {}", base, reason));
  fmt::print("{}", DescribeExtraction(facts));
  return FinishOutput(missing.empty() ? kExitSuccess : kExitPartial);
}

int ExtractRange(const std::string& base, const ExtractOptions& options, ExtractionFacts& facts) {
  OutputFile out(options.out, options.force);
  if (!out.Open()) return kExitFailure;
  MetadataReader reader(RingAccess::kReadOnly);
  bool extracted = false;
  {
    const SilencedOutput silenced;
    ProgressLine line([&reader](unsigned long) {
      return fmt::format("extracting: tick {}, {} packets", reader.ReadSysTick(),
                         reader.LastExtraction().packets);
    });
    PettedProgress progress(line);
    extracted = reader.ReadToNewFile(base, out.TemporaryPath(), facts.extracted.first,
                                     facts.extracted.last, &progress);
  }
  facts.report = reader.LastExtraction();
  // The library calls an extraction a success even if its state found no room.
  return extracted && facts.report.wrote_everything ? Conclude(base, out, facts)
                                                    : Fail(WhyNoExtract(base, options, facts));
}

// Writes `out` or leaves what was there. Says on standard output what it did.
// kExitPartial when the file was written but part of the range is not in it.
int Extract(const ExtractOptions& options) {
  const Recording recording = FindRecording(options.store, PathKind::kDetect);
  if (!recording.error.empty()) return Fail(recording.error);
  if (!recording.ring)
    return Fail(
        fmt::format("{}: is a flat file; a range is extracted from a store", options.store));
  const std::string& base = recording.path;
  if (BelongsToRing(options.out, base))
    return Fail(fmt::format("{}: belongs to the store {}; give another file", options.out, base));
  if (!recording.remark.empty()) Say(recording.remark);

  RecordedClock clock;
  const bool by_time = !options.from.tick || !options.to.tick;
  if (by_time && !ReadClock(base, clock)) return kExitFailure;
  ExtractionFacts facts;
  facts.clock = by_time ? &clock : nullptr;
  facts.asked.first = options.from.tick ? *options.from.tick : clock.FirstTickFrom(options.from.us);
  facts.asked.last = options.to.tick ? *options.to.tick : clock.LastTickUpTo(options.to.us);
  if (facts.asked.first > facts.asked.last)
    return Fail(
        fmt::format("{}: nothing is recorded from --from up to --to: tick {} comes after "
                    "tick {}",
                    base, facts.asked.first, facts.asked.last));
  facts.extracted = Widen(facts.asked, options.margin_s);
  return ExtractRange(base, options, facts);
}

// ---- The command line ---------------------------------------------------------------

constexpr unsigned int kLongestMargin_s = 0x7FFFFFFF;

// What is typed, before times are looked at: their zone may come behind them.
struct TypedRange {
  std::string from;
  std::string to;
  std::string margin;
};

TimePoint TypedPoint(const char* option, const std::string& text, DayEnd end) {
  const auto typed = ParseTime(text, Now_us());
  if (!typed) RefuseUsage(fmt::format("{} {}: none of {}", option, text, kTimeForms));
  std::string error;
  const auto point = PointOf(*typed, end, error);
  if (!point) RefuseUsage(error);
  return *point;
}

unsigned int MarginOf(const std::string& text) {
  const auto seconds = ParseNumber(text, kLongestMargin_s);
  if (!seconds) RefuseUsage(fmt::format("--margin {}: not a number of seconds", text));
  return *seconds;
}

void CheckOrder(const TypedRange& typed, const TimePoint& from, const TimePoint& to) {
  const bool comparable = from.tick.has_value() == to.tick.has_value();
  const bool backwards = from.tick && to.tick ? *from.tick > *to.tick : from.us > to.us;
  if (comparable && backwards)
    RefuseUsage(fmt::format("--from {} is after --to {}", typed.from, typed.to));
}

void Complete(ExtractOptions& options, const TypedRange& typed) {
  if (options.store.empty()) RefuseUsage("STORE is empty");
  if (options.out.empty()) RefuseUsage("OUT is empty");
  if (!options.time_zone.empty() && !UseTimeZone(options.time_zone))
    RefuseUsage(
        fmt::format("--time-zone {}: not known here; a name such as America/Chicago (package "
                    "tzdata)",
                    options.time_zone));
  options.from = TypedPoint("--from", typed.from, DayEnd::kFirst);
  options.to = TypedPoint("--to", typed.to, DayEnd::kLast);
  if (!typed.margin.empty()) options.margin_s = MarginOf(typed.margin);
  CheckOrder(typed, options.from, options.to);
}

std::function<int()> AddOptions(CLI::App& parser) {
  const auto options = std::make_shared<ExtractOptions>();
  const auto typed = std::make_shared<TypedRange>();
  parser.add_option("STORE", options->store, "The recording")->required()->type_name("");
  parser.add_option("OUT", options->out, "The file to write")->required()->type_name("");
  parser.add_option("--from", typed->from, "Where the range begins")->required()->type_name("T");
  parser.add_option("--to", typed->to, "Where it ends")->required()->type_name("T");
  parser.add_option("--margin", typed->margin, "Widens the range at both ends")
      ->type_name("SECONDS");
  parser.add_option("--time-zone", options->time_zone, "Whose local time T is, and is printed in")
      ->type_name("ZONE");
  parser.add_flag("--force", options->force, "Replace OUT if it exists");
  parser.final_callback([options, typed] { Complete(*options, *typed); });
  return [options] { return Extract(*options); };
}

}  // namespace

constexpr Command kExtractCommand = {"extract", kHelp, kFooter, AddOptions};

}  // namespace vmr::tool
