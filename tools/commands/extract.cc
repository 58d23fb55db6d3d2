// `vmr extract`: cuts a range of ticks out of a store.
#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "backends/data_store_flat.h"
#include "backends/file_io.h"
#include "host/file_ops.h"
#include "host/watchdog.h"
#include "reader/metadata_reader.h"
#include "records/decoder.h"
#include "records/flat_source.h"
#include "store/stream_format.h"
#include "tools/commands/command.h"
#include "tools/commands/extract_summary.h"
#include "tools/commands/reading_options.h"
#include "tools/common/console.h"
#include "tools/common/file_digest.h"
#include "tools/common/numbers.h"
#include "tools/common/output_file.h"
#include "tools/common/progress.h"
#include "tools/common/quiet_log.h"
#include "tools/common/redirected_file.h"
#include "tools/common/sha256.h"
#include "tools/common/store_path.h"
#include "tools/evidence/redact.h"
#include "tools/read/range_cut.h"
#include "tools/ring/recorded_clock.h"

namespace vmr::tool {
namespace {

constexpr const char* kHelp = "Cuts a range of ticks out of STORE into the file OUT";

constexpr const char* kFooter =
    R"(STORE is the base path of a store, or either of its two files. OUT becomes a flat
metadata file that can be decoded on its own: a label, the full state as it was
at the start, and every packet from the start up to the end and 10 seconds past
it. It appears when it is complete; `vmr view OUT` prints it.

The state is what the recording tells, value by value: what a unit would write
there is compared with it, corrected and completed, and what nothing recorded
tells is left out. A log item at the start says how much of it that was; it is
printed, too. --as-unit keeps the state as the unit makes it. What was lost inside
the range is marked in OUT, where it is missing.

T is a tick (half seconds, counted on over all runs of a store) or a time:
2019-06-19T21:33:57Z, 2019-06-19T16:33-05:00, @1560979977 (seconds since 1970),
now, -15min (s, min, h, d: so long ago), or in the time zone 2019-06-19T16:33 and
2019-06-19, the whole day. The time zone is the recorded one unless --time-zone
names another (America/Chicago, UTC, local: this machine's), and UTC where none is
recorded. Times are good to about a second. --from 0 is the beginning of the
recording and --to 4294967295 its end, whenever they are.

Examples:
  vmr extract trips/car7 stop.vmd --from 2082 --to 2250
  vmr extract trips/car7 stop.vmd --from 2019-06-19T21:51:20Z --to 2019-06-19T21:52:45Z
  vmr extract trips/car7 stop.vmd --time-zone America/Chicago \
      --from 2019-06-19T16:51 --to 2019-06-19T16:53 --margin 30
  vmr extract trips/car7 public.vmd --from 2082 --to 2250 --redact identity,gps=1km

--redact takes out of OUT what the classes of LIST name, as if it had never been
recorded, and free texts with it, which may repeat anything (text=keep: they stay):
identity (officer, vehicle, department, numbers, addresses, names of devices),
gps (positions, speeds, receiver, time zone; gps=1km and gps=100m: positions are
moved to the middles of such cells), text, radar, speed, audio (microphones),
cameras, streams, inputs (lights, siren, buttons, bookmarks, the supply),
temperature. docs/redaction.md says what that does not protect.

The last line printed is the SHA-256 digest of OUT. With --digest all that is
printed can be given to `sha256sum -c`: the digests of OUT and of the store's two
files, the rest behind #. The store is not changed, and may be recorded into
meanwhile; of its files' digests that is said then.

Exit codes: 0 the packets of the range were copied, 1 failure, OUT is as it was,
2 wrong usage, 3 OUT was written but not all of the range is in it: the recording
begins, ends or has gaps inside the range, or holds nothing of it.
Environment: VMR_LOG, what is logged; see vmr --help.)";

struct ExtractOptions {
  std::string store;
  std::string out;
  std::optional<TypedTime> from;
  std::optional<TypedTime> to;
  unsigned int margin_s = 0;
  std::string time_zone = kRecordedZone;
  bool as_unit = false;
  std::optional<Redaction> redaction;
  bool digest = false;
  bool force = false;  // replace `out`
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

// Every time that the recording tells.
class Times final : public records::Sink {
 public:
  explicit Times(RecordedClock& clock) : clock_(clock) {}
  void OnRecord(const records::Record& record) override {
    if (record.kind->id != records::KindId::kTime || record.tick == kNoTick || !record.crc_right)
      return;
    clock_.Add(record.tick, ValueOf(record, 0).number);
  }

 private:
  RecordedClock& clock_;
};

// False after saying that there are no times.
bool ReadClock(const OpenedRecording& recording, RecordedClock& clock) {
  const std::unique_ptr<records::Source> source = recording.source->Fork();
  Times times(clock);
  if (source != nullptr) {
    ProgressLine progress([&source](unsigned long) {
      return fmt::format("reading times: {:.0f} %", source->Progress() * 100);
    });
    records::Decoder decoder(*source, times);
    while (decoder.Step()) progress.Step();
  }
  if (!clock.Empty()) return true;
  Say(fmt::format("{}: holds no times; give --from and --to as ticks", recording.name));
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

// All on standard output is for `sha256sum -c`.
std::string WithDigests(const std::string& summary, const std::string& sha256,
                        const OpenedRecording& recording, const ExtractOptions& options) {
  FileDigest of_out;
  of_out.path = options.out;
  of_out.sha256 = sha256;
  std::string text = AsRemarks(summary) + DigestText(of_out);
  for (const FileDigest& digest : DigestsOf(recording.files)) text += DigestText(digest);
  return text;
}

// The end of a successful extraction: the file gets its name, and it is said what
// is in it.
int Conclude(const OpenedRecording& recording, const ExtractOptions& options, OutputFile& out,
             const ExtractionFacts& facts) {
  const std::string& base = recording.name;
  const std::optional<std::string> digest = Sha256OfFile(out.Descriptor());
  if (!digest) return Fail(fmt::format("{}: its digest cannot be reckoned", base));
  if (!out.TakeUsualMode() || !out.Publish()) return kExitFailure;
  if (!facts.cut)
    if (const auto folded = FoldedStart(facts)) Say(fmt::format("{}: {}", base, *folded));
  const std::vector<std::string> missing = WhatIsMissing(facts);
  for (const std::string& reason : missing) Say(fmt::format("{}: {}", base, reason));
  const std::string summary = DescribeExtraction(facts);
  if (options.digest)
    fmt::print("{}", WithDigests(summary, *digest, recording, options));
  else
    fmt::print("{}sha256:  {}\n", summary, *digest);
  return FinishOutput(missing.empty() ? kExitSuccess : kExitPartial);
}

// The library's extraction, into a file that is open already.
bool ExtractAsUnit(const std::string& base, const TickRange& range, const OutputFile& out,
                   ExtractionReport& report) {
  const SilencedOutput silenced;
  const RedirectedFile redirected(out.TemporaryPath(), out.Descriptor());
  MetadataReader reader(RingAccess::kReadOnly);
  ProgressLine line([&reader](unsigned long) {
    return fmt::format("extracting: tick {}, {} packets", reader.ReadSysTick(),
                       reader.LastExtraction().packets);
  });
  PettedProgress progress(line);
  const bool extracted =
      reader.ReadToNewFile(base, out.TemporaryPath(), range.first, range.last, &progress);
  report = reader.LastExtraction();
  // The library calls an extraction a success even if its state found no room.
  return extracted && report.wrote_everything;
}

int KeepUnitsExtract(const OpenedRecording& recording, const ExtractOptions& options,
                     ExtractionFacts& facts) {
  const std::string& base = recording.name;
  OutputFile out(options.out, options.force);
  if (!out.Open()) return kExitFailure;
  const QuietUnlessAsked quiet;
  return ExtractAsUnit(base, facts.extracted, out, facts.report)
             ? Conclude(recording, options, out, facts)
             : Fail(WhyNoExtract(base, options, facts));
}

// What the summary says of the packets, whoever copied them.
ExtractionReport ReportOf(const CutFacts& cut, unsigned int widened_end) {
  ExtractionReport report;
  report.widened_end = widened_end;
  report.packets = cut.packets;
  report.bytes = cut.bytes;
  report.first_tick = cut.first_tick;
  report.last_tick = cut.last_tick;
  report.widest_gap = cut.widest_gap;
  report.gap_tick = cut.gap_tick;
  report.next_tick = cut.next_tick;
  report.wrote_everything = true;
  return report;
}

// Writes through a buffer. False, and errno, once something could not be written.
class BufferedFile {
 public:
  explicit BufferedFile(int fd) : fd_(fd) {}
  void Add(std::string_view bytes) {
    buffer_.append(bytes);
    if (buffer_.size() >= kEnough) Flush();
  }
  bool Flush() {
    good_ = good_ && WriteWhole(fd_, buffer_.data(), buffer_.size());
    buffer_.clear();
    return good_;
  }

 private:
  static constexpr std::size_t kEnough = 64 * 1024;
  int fd_;
  std::string buffer_;
  bool good_ = true;
};

// A flat file's beginning, as the library writes it.
std::string FlatFileHead() {
  constexpr int kRoom = 1024;
  std::vector<unsigned char> bytes(kRoom);
  DataStoreFlatMessage store(bytes.data(), kRoom, true);
  if (store.Open() == 0) return {};
  const auto size = static_cast<std::size_t>(store.BytesWritten());
  store.Close();
  return {reinterpret_cast<const char*>(bytes.data()), size};
}

// A file that no end of the program leaves behind: what is in it may not be for everybody.
bool OpenWithoutName(OutputFile& file) {
  if (!file.Open()) return false;
  if (FileOps::Current().Unlink(file.TemporaryPath().c_str()) == 0) return true;
  Say(fmt::format("{}: {}", file.TemporaryPath(), TextOfErrno()));
  return false;
}

// What a unit would write at the start. It is not told of the start's own events, which are
// copied behind it. Nothing counts as recorded of what a unit writes without a full state to
// begin with; and where it can read nothing at all, it writes none.
std::optional<UnitExtract> UnitsState(const ExtractOptions& options, const std::string& base,
                                      const TickRange& range) {
  OutputFile unit(options.out, true);
  if (!OpenWithoutName(unit)) return std::nullopt;
  const unsigned int before = range.first - (range.first > 0 ? 1 : 0);
  const QuietLog quiet;  // nobody has asked for this file
  ExtractionReport report;
  static_cast<void>(ExtractAsUnit(base, {before, before}, unit, report));
  if (auto state = ReadUnitExtract(unit.Descriptor())) return state;
  return UnitExtract{FlatFileHead(), {}};
}

int CannotBeWritten(const ExtractOptions& options) {
  return Fail(fmt::format("{}: cannot be written whole; is there room for it?", options.out));
}

// The completed extract, into a file that is open already. kExitSuccess, or what the program
// ends with after saying why.
int CutInto(int fd, const OpenedRecording& recording, const ExtractOptions& options,
            ExtractionFacts& facts) {
  const std::string& base = recording.name;
  const std::optional<UnitExtract> unit = UnitsState(options, base, facts.extracted);
  if (!unit) return kExitFailure;
  const unsigned int end = EndOfExtract(facts.extracted.last);
  BufferedFile file(fd);
  RangeCut cut({facts.extracted.first, facts.extracted.last, facts.extracted.first, end}, *unit,
               [&file](std::string_view bytes) { file.Add(bytes); });
  {
    ProgressLine progress([&cut](unsigned long) {
      return fmt::format("extracting: tick {}, {} packets", cut.Facts().last_tick,
                         cut.Facts().packets);
    });
    cut.Run(*recording.source, [&progress] { progress.Step(); });
  }
  if (!file.Flush()) return CannotBeWritten(options);
  if (cut.Facts().ticks_begin_anew)
    return Fail(
        fmt::format("{}: its ticks begin anew, so that a tick is no one place; --as-unit extracts "
                    "what a unit would",
                    base));
  facts.report = ReportOf(cut.Facts(), end);
  facts.cut = cut.Facts();
  return kExitSuccess;
}

// Of the completed extract that is open at `whole`.
int RedactInto(int fd, int whole, const ExtractOptions& options, ExtractionFacts& facts) {
  records::FlatProblem problem{};
  const auto source = records::FlatSource::Open(fmt::format("/proc/self/fd/{}", whole), problem);
  if (source == nullptr) return Fail(fmt::format("{}: {}", options.out, TextOfErrno()));
  BufferedFile file(fd);
  ProgressLine progress([&source](unsigned long) {
    return fmt::format("redacting: {:.0f} %", source->Progress() * 100);
  });
  const RedactionFacts redacted = Redact(
      *source, *options.redaction, [&file](std::string_view bytes) { file.Add(bytes); },
      [&progress] { progress.Step(); });
  if (!file.Flush()) return CannotBeWritten(options);
  facts.redacted =
      fmt::format("{}; items taken out: {}", options.redaction->Text(), TakenOutText(redacted));
  if (options.redaction->CellMetres() > 0)
    *facts.redacted += fmt::format("; positions told: {}", redacted.positions);
  return kExitSuccess;
}

int CutAndRedact(int fd, const OpenedRecording& recording, const ExtractOptions& options,
                 ExtractionFacts& facts) {
  OutputFile whole(options.out, true);
  if (!OpenWithoutName(whole)) return kExitFailure;
  const int cut = CutInto(whole.Descriptor(), recording, options, facts);
  return cut == kExitSuccess ? RedactInto(fd, whole.Descriptor(), options, facts) : cut;
}

int CutRangeOut(const OpenedRecording& recording, const ExtractOptions& options,
                ExtractionFacts& facts) {
  OutputFile out(options.out, options.force);
  if (!out.Open()) return kExitFailure;
  const int made = options.redaction ? CutAndRedact(out.Descriptor(), recording, options, facts)
                                     : CutInto(out.Descriptor(), recording, options, facts);
  return made == kExitSuccess ? Conclude(recording, options, out, facts) : made;
}

// kExitSuccess, or what the program ends with after saying why.
int ResolveRange(const OpenedRecording& recording, const ExtractOptions& options,
                 RecordedClock& clock, ExtractionFacts& facts) {
  std::string error;
  const auto from = PointOf(*options.from, DayEnd::kFirst, error);
  const auto to = from ? PointOf(*options.to, DayEnd::kLast, error) : std::nullopt;
  if (!to) return Say(error), kExitUsage;
  const bool by_time = !from->tick || !to->tick;
  if (by_time && !ReadClock(recording, clock)) return kExitFailure;
  facts.clock = by_time ? &clock : nullptr;
  facts.begins_at_first = from->is_loose || from->tick == 0U;
  facts.asked.first = from->tick ? *from->tick : clock.FirstTickFrom(from->us);
  facts.asked.last = to->tick ? *to->tick : clock.LastTickUpTo(to->us);
  if (facts.asked.first > facts.asked.last)
    Say(fmt::format("{}: nothing is recorded from --from up to --to: tick {} comes after tick {}",
                    recording.name, facts.asked.first, facts.asked.last));
  return facts.asked.first <= facts.asked.last ? kExitSuccess : kExitFailure;
}

// Writes `out` or leaves what was there. Says on standard output what it did.
// kExitPartial when the file was written but part of the range is not in it.
int Extract(const ExtractOptions& options) {
  const Recording found = FindRecording(options.store, PathKind::kDetect);
  if (!found.error.empty()) return Fail(found.error);
  if (!found.ring)
    return Fail(
        fmt::format("{}: is a flat file; a range is extracted from a store", options.store));
  if (BelongsToRing(options.out, found.path))
    return Fail(
        fmt::format("{}: belongs to the store {}; give another file", options.out, found.path));
  const OpenedRecording recording = OpenRecording(options.store, PathKind::kRing);
  if (recording.source == nullptr) return Fail(recording.error);
  if (!recording.remark.empty()) Say(recording.remark);
  UseZone(options.time_zone, recording);

  RecordedClock clock;
  ExtractionFacts facts;
  const int resolved = ResolveRange(recording, options, clock, facts);
  if (resolved != kExitSuccess) return resolved;
  facts.extracted = Widen(facts.asked, options.margin_s);
  return options.as_unit ? KeepUnitsExtract(recording, options, facts)
                         : CutRangeOut(recording, options, facts);
}

// ---- The command line ---------------------------------------------------------------

constexpr unsigned int kLongestMargin_s = 0x7FFFFFFF;

unsigned int MarginOf(const std::string& text) {
  const auto seconds = ParseNumber(text, kLongestMargin_s);
  if (!seconds) RefuseUsage(fmt::format("--margin {}: not a number of seconds", text));
  return *seconds;
}

Redaction RedactionOf(const std::string& list) {
  std::string error;
  const auto redaction = Redaction::Of(list, error);
  if (!redaction) RefuseUsage(fmt::format("--redact: {}", error));
  return *redaction;
}

std::function<int()> AddOptions(CLI::App& parser) {
  const auto options = std::make_shared<ExtractOptions>();
  parser.add_option("STORE", options->store, "The recording")->required()->type_name("");
  parser.add_option("OUT", options->out, "The file to write")->required()->type_name("");
  AddTime(parser, "--from", options->from, "Where the range begins")->required();
  AddTime(parser, "--to", options->to, "Where it ends")->required();
  parser
      .add_option_function<std::string>(
          "--margin", [options](const std::string& text) { options->margin_s = MarginOf(text); },
          "Widens the range at both ends")
      ->type_name("SECONDS");
  AddTimeZone(parser, options->time_zone);
  parser.add_flag("--as-unit", options->as_unit, "Keep the state as a unit makes it");
  parser
      .add_option_function<std::string>(
          "--redact",
          [options](const std::string& list) { options->redaction = RedactionOf(list); },
          "Take out of OUT what LIST names")
      ->type_name("LIST");
  parser.add_flag("--digest", options->digest, "Print digests that sha256sum -c reads");
  parser.add_flag("--force", options->force, "Replace OUT if it exists");
  parser.final_callback([options] {
    if (options->as_unit && options->redaction)
      RefuseUsage(
          "--as-unit and --redact do not go together: what a unit says of its state is not "
          "verified, so nobody can tell what would have to be taken out");
    if (options->store.empty()) RefuseUsage("STORE is empty");
    if (options->out.empty()) RefuseUsage("OUT is empty");
    CheckTimeZone(options->time_zone);
    CheckOrder(options->from, options->to);
  });
  return [options] { return Extract(*options); };
}

}  // namespace

constexpr Command kExtractCommand = {"extract", kHelp, kFooter, AddOptions};

}  // namespace vmr::tool
