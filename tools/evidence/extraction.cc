#include "tools/evidence/extraction.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <vector>

#include "backends/data_store_flat.h"
#include "backends/file_io.h"
#include "host/watchdog.h"
#include "reader/metadata_reader.h"
#include "records/decoder.h"
#include "records/flat_source.h"
#include "store/stream_format.h"
#include "tools/common/console.h"
#include "tools/common/progress.h"
#include "tools/common/quiet_log.h"
#include "tools/common/redirected_file.h"
#include "tools/common/scratch_file.h"
#include "tools/common/store_path.h"
#include "tools/evidence/redact.h"
#include "tools/read/range_cut.h"

namespace vmr::tool {
namespace {

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

bool Fail(const std::string& text) {
  Say(text);
  return false;
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

std::string WhyNoExtract(const std::string& base, const std::string& out,
                         const ExtractionFacts& facts) {
  const ExtractionReport& report = facts.report;
  if (report.state_cluster >= 0 && !report.wrote_everything)
    return fmt::format("{}: cannot be written whole; is there room for it?", out);
  if (report.state_cluster >= 0)
    return fmt::format("{}: the extraction failed at tick {}", base, report.last_tick);
  const std::string hint =
      report.later_dump_tick == kNoTick
          ? ""
          : fmt::format("; the earliest that is left stands at tick {}", report.later_dump_tick);
  return fmt::format("{}: no full state is found at or before tick {}{}", base,
                     facts.extracted.first, hint);
}

// The library's extraction, into a file that is open already.
bool ExtractAsUnit(const std::string& base, const TickRange& range, const ExtractFile& file,
                   ExtractionReport& report) {
  const SilencedOutput silenced;
  const RedirectedFile redirected(file.path, file.fd);
  MetadataReader reader(RingAccess::kReadOnly);
  ProgressLine line([&reader](unsigned long) {
    return fmt::format("extracting: tick {}, {} packets", reader.ReadSysTick(),
                       reader.LastExtraction().packets);
  });
  PettedProgress progress(line);
  const bool extracted = reader.ReadToNewFile(base, file.path, range.first, range.last, &progress);
  report = reader.LastExtraction();
  // The library calls an extraction a success even if its state found no room.
  return extracted && report.wrote_everything;
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

// What a unit would write at the start. It is not told of the start's own events, which are
// copied behind it. Nothing counts as recorded of what a unit writes without a full state to
// begin with; and where it can read nothing at all, it writes none.
std::optional<UnitExtract> UnitsState(const std::string& out, const std::string& base,
                                      const TickRange& range) {
  ScratchFile unit;
  if (!unit.Open(out)) return std::nullopt;
  const unsigned int before = range.first - (range.first > 0 ? 1 : 0);
  const QuietLog quiet;  // nobody has asked for this file
  ExtractionReport report;
  static_cast<void>(ExtractAsUnit(base, {before, before}, ScratchExtract(unit, out), report));
  if (auto state = ReadUnitExtract(unit.Descriptor())) return state;
  return UnitExtract{FlatFileHead(), {}};
}

bool CannotBeWritten(const std::string& out) {
  return Fail(fmt::format("{}: cannot be written whole; is there room for it?", out));
}

}  // namespace

ExtractFile ScratchExtract(const ScratchFile& file, const std::string& out) {
  return {file.Descriptor(), out + ".extract", out};
}

bool StoreRange::ExtractAsUnitInto(const ExtractFile& file) {
  const QuietUnlessAsked quiet;
  return ExtractAsUnit(recording_.name, facts_.extracted, file, facts_.report) ||
         Fail(WhyNoExtract(recording_.name, file.shown, facts_));
}

bool StoreRange::CutInto(const ExtractFile& file, const std::string& out) {
  const std::string& base = recording_.name;
  const std::optional<UnitExtract> unit = UnitsState(out, base, facts_.extracted);
  if (!unit) return false;
  const unsigned int end = EndOfExtract(facts_.extracted.last);
  BufferedFile buffered(file.fd);
  RangeCut cut({facts_.extracted.first, facts_.extracted.last, facts_.extracted.first, end}, *unit,
               [&buffered](std::string_view bytes) { buffered.Add(bytes); });
  {
    ProgressLine progress([&cut](unsigned long) {
      return fmt::format("extracting: tick {}, {} packets", cut.Facts().last_tick,
                         cut.Facts().packets);
    });
    cut.Run(*recording_.source, [&progress] { progress.Step(); });
  }
  if (!buffered.Flush()) return CannotBeWritten(file.shown);
  if (cut.Facts().ticks_begin_anew)
    return Fail(
        fmt::format("{}: its ticks begin anew, so that a tick is no one place; --as-unit extracts "
                    "what a unit would",
                    base));
  facts_.report = ReportOf(cut.Facts(), end);
  facts_.cut = cut.Facts();
  return true;
}

bool StoreRange::CutRedactedInto(const ExtractFile& file, const std::string& out,
                                 const Redaction& redaction) {
  ScratchFile whole;
  if (!whole.Open(out) || !CutInto(ScratchExtract(whole, out), out)) return false;
  records::FlatProblem problem{};
  const auto source =
      records::FlatSource::Open(fmt::format("/proc/self/fd/{}", whole.Descriptor()), problem);
  if (source == nullptr) return Fail(fmt::format("{}: {}", file.shown, TextOfErrno()));
  BufferedFile buffered(file.fd);
  ProgressLine progress([&source](unsigned long) {
    return fmt::format("redacting: {:.0f} %", source->Progress() * 100);
  });
  const RedactionFacts redacted = Redact(
      *source, redaction, [&buffered](std::string_view bytes) { buffered.Add(bytes); },
      [&progress] { progress.Step(); });
  if (!buffered.Flush()) return CannotBeWritten(file.shown);
  facts_.redacted =
      fmt::format("{}; items taken out: {}", redaction.Text(), TakenOutText(redacted));
  if (redaction.CellMetres() > 0)
    *facts_.redacted += fmt::format("; positions told: {}", redacted.positions);
  return true;
}

int StoreRange::Resolve(const AskedExtract& asked) {
  std::string error;
  const auto from = PointOf(*asked.from, DayEnd::kFirst, error);
  const auto to = from ? PointOf(*asked.to, DayEnd::kLast, error) : std::nullopt;
  if (!to) return Say(error), kExitUsage;
  const bool by_time = !from->tick || !to->tick;
  if (by_time && !ReadClock(recording_, clock_)) return kExitFailure;
  facts_.clock = by_time ? &clock_ : nullptr;
  facts_.begins_at_first = from->is_loose || from->tick == 0U;
  facts_.asked.first = from->tick ? *from->tick : clock_.FirstTickFrom(from->us);
  facts_.asked.last = to->tick ? *to->tick : clock_.LastTickUpTo(to->us);
  if (facts_.asked.first > facts_.asked.last)
    Say(fmt::format("{}: nothing is recorded from --from up to --to: tick {} comes after tick {}",
                    recording_.name, facts_.asked.first, facts_.asked.last));
  facts_.extracted = Widen(facts_.asked, asked.margin_s);
  return facts_.asked.first <= facts_.asked.last ? kExitSuccess : kExitFailure;
}

int StoreRange::Open(const AskedExtract& asked, const std::string& out) {
  const tool::Recording found = FindRecording(asked.store, PathKind::kDetect);
  if (!found.error.empty()) return Say(found.error), kExitFailure;
  if (!found.ring)
    return Say(fmt::format("{}: is a flat file; a range is extracted from a store", asked.store)),
           kExitFailure;
  if (BelongsToRing(out, found.path))
    return Say(fmt::format("{}: belongs to the store {}; give another file", out, found.path)),
           kExitFailure;
  recording_ = OpenRecording(asked.store, PathKind::kRing);
  if (recording_.source == nullptr) return Say(recording_.error), kExitFailure;
  if (!recording_.remark.empty()) Say(recording_.remark);
  zone_ = UseZone(asked.time_zone, recording_);
  return Resolve(asked);
}

}  // namespace vmr::tool
