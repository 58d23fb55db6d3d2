#include "tools/read/reading.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>

#include "records/decoder.h"
#include "records/two_sinks.h"
#include "tools/common/console.h"
#include "tools/common/folder.h"
#include "tools/common/progress.h"

namespace vmr::tool {
namespace {

// ---- Zones -----------------------------------------------------------------------

class ZoneFinder final : public records::Sink {
 public:
  void OnRecord(const records::Record& record) override {
    if (record.kind->id != records::KindId::kTimeZone || !record.crc_right) return;
    zone = ValueOf(record, 0).text;
    if (!zone.empty()) decoder->Stop();
  }
  records::Decoder* decoder = nullptr;
  std::string zone;
};

// False after saying what to type instead.
bool Resolve(const std::optional<TypedTime>& typed, DayEnd end, std::optional<TimePoint>& point) {
  if (!typed) return true;
  std::string error;
  point = PointOf(*typed, end, error);
  if (!point) Say(error);
  return point.has_value();
}

bool ResolveRange(const ReadingOptions& options, Range& range) {
  if (!Resolve(options.from, DayEnd::kFirst, range.from) ||
      !Resolve(options.to, DayEnd::kLast, range.to))
    return false;
  if (!range.from || !range.to || range.from->tick.has_value() != range.to->tick.has_value())
    return true;
  const bool backwards =
      range.from->tick ? *range.from->tick > *range.to->tick : range.from->us > range.to->us;
  if (backwards)
    Say(fmt::format("--from {} is after --to {}", options.from->text, options.to->text));
  return !backwards;
}

int ReadOne(const ReadingOptions& options, const std::string& path, Reading& reading,
            const std::function<int(Reading&)>& read) {
  reading.recording = OpenRecording(path, options.path_kind);
  if (!options.called.empty()) reading.recording.name = reading.recording.called = options.called;
  const OpenedRecording& recording = reading.recording;
  if (recording.source == nullptr) {
    Say(recording.error);
    return kExitFailure;
  }
  if (!recording.remark.empty()) Say(recording.remark);
  reading.zone = UseZone(options.time_zone, recording);
  if (!ResolveRange(options, reading.range)) return kExitUsage;
  return read(reading);
}

class Nowhere final : public records::Sink {
 public:
  void OnRecord(const records::Record& /*record*/) override {}
};

void DecodeAll(records::Source& source, records::Sink& sink, const std::string& name,
               bool shows_progress) {
  records::Decoder decoder(source, sink);
  if (!shows_progress) return decoder.Run();
  ProgressLine progress(
      [&](unsigned long) { return fmt::format("{}: {:.0f} %", name, source.Progress() * 100); });
  while (decoder.Step()) progress.Step();
}

// False after saying that the output would stand in the place of one of the recordings.
bool OutputIsElsewhere(const std::string& out, const std::vector<std::string>& paths,
                       PathKind kind) {
  for (const std::string& path : out.empty() ? std::vector<std::string>{} : paths) {
    const Recording recording = FindRecording(path, kind);
    if (recording.ring ? !BelongsToRing(out, recording.path) : !SameFile(out, recording.path))
      continue;
    Say(fmt::format("{}: belongs to the recording {}; give another file", out, path));
    return false;
  }
  return true;
}

struct Expanded {
  std::vector<std::string> paths;
  int exit_code = kExitSuccess;
};

// Every recording in the folders among `paths`, and the other paths as they are. Says in which
// there is none.
Expanded ExpandFolders(const std::vector<std::string>& paths) {
  Expanded expanded;
  for (const std::string& path : paths) {
    std::error_code error;
    if (!std::filesystem::is_directory(path, error)) {
      expanded.paths.push_back(path);
      continue;
    }
    const Folder found = LookInto(path);
    expanded.paths.insert(expanded.paths.end(), found.recordings.begin(), found.recordings.end());
    if (found.error.empty()) continue;
    Say(found.error);
    expanded.exit_code = kExitFailure;
  }
  return expanded;
}

std::string EndText(const RangeFilter::End& end) {
  if (end.time.quality == records::TimeQuality::kUnknown) return fmt::format("tick {}", end.tick);
  return fmt::format("tick {} ({}{})", end.tick,
                     end.time.quality == records::TimeQuality::kEstimated ? "about " : "",
                     LocalTimeText(end.time.us));
}

std::string WhyNothing(const RangeFilter& filter) {
  if (filter.First().tick == kNoTick) return "nothing of what was asked for is recorded in it";
  return fmt::format("{}: it begins at {} and ends at {}",
                     filter.IsOverwritten() ? "what was asked for was written over by newer packets"
                                            : "nothing of what was asked for is recorded in it",
                     EndText(filter.First()), EndText(filter.Last()));
}

// What is missing of what was asked for, a line each.
void SayWhatIsMissing(const std::string& name, const RangeFilter& filter) {
  const auto say = [&name](const std::string& what) { Say(fmt::format("{}: {}", name, what)); };
  if (filter.Gaps() > 0)
    say(fmt::format("{} gap{}: something of it is lost or damaged", filter.Gaps(),
                    filter.Gaps() == 1 ? "" : "s"));
  if (filter.IsOutside())
    say(WhyNothing(filter));
  else if (filter.ReachesOverwritten())
    say("what --from asks for was written over by newer packets");
  else if (filter.BeginsBefore())
    say("begins behind --from");
  if (filter.EndsBehind() && !filter.IsOutside()) say("ends before --to");
  if (filter.Unplaced() > 0)
    say(fmt::format("{} record{} left out: whether they lie in the range is unknown",
                    filter.Unplaced(), filter.Unplaced() == 1 ? " was" : "s were"));
}

}  // namespace

std::string RecordedZone(const records::Source& source) {
  constexpr int kMostStretches = 4096;
  const std::unique_ptr<records::Source> fork = source.Fork();
  if (fork == nullptr) return {};
  ZoneFinder finder;
  records::Decoder decoder(*fork, finder);
  finder.decoder = &decoder;
  for (int i = 0; i < kMostStretches && finder.zone.empty() && decoder.Step(); ++i) continue;
  return finder.zone;
}

std::string UseZone(const std::string& time_zone, const OpenedRecording& recording) {
  std::string zone = time_zone == kRecordedZone ? RecordedZone(*recording.source) : time_zone;
  if (!zone.empty() && UseTimeZone(zone)) return zone;
  if (!zone.empty())
    Say(fmt::format("{}: its time zone {} is not known on this machine; times are UTC",
                    recording.name, Printable(zone)));
  UseTimeZone("UTC");
  return {};
}

void DropOpenEnds(ReadingOptions& options) {
  // All that there is: asked for by its number.
  constexpr unsigned int kEndOfRecording = 0xFFFFFFFF;
  const auto is_tick = [](const std::optional<TypedTime>& time, unsigned int tick) {
    return time && time->kind == TypedTime::Kind::kTick && time->tick == tick;
  };
  if (is_tick(options.from, 0)) options.from.reset();
  if (is_tick(options.to, kEndOfRecording)) options.to.reset();
}

int Gravest(int a, int b) {
  // From the least to the gravest.
  constexpr int kOrder[] = {kExitSuccess, kExitDamaged, kExitPartial, kExitUsage, kExitFailure};
  const auto rank = [&kOrder](int code) {
    return std::find(std::begin(kOrder), std::end(kOrder), code) - std::begin(kOrder);
  };
  return rank(a) >= rank(b) ? a : b;
}

int ForEachReading(const ReadingOptions& options, const std::function<int(Reading&)>& read) {
  const auto [paths, folders_exit_code] = ExpandFolders(options.paths);
  if (!OutputIsElsewhere(options.out, paths, options.path_kind)) return kExitFailure;
  int exit_code = folders_exit_code;
  for (std::size_t i = 0; i < paths.size(); ++i) {
    Reading reading;
    reading.index = i;
    reading.count = paths.size();
    exit_code = Gravest(exit_code, ReadOne(options, paths[i], reading, read));
  }
  return exit_code;
}

ReadOutcome ReadRange(Reading& reading, const std::set<records::KindId>& kinds, records::Sink& sink,
                      records::Sink* watcher, bool shows_progress) {
  RangeFilter filter(reading.range, kinds, sink);
  records::Source& source = *reading.recording.source;
  const std::string& name = reading.recording.name;
  if (watcher == nullptr) {
    DecodeAll(source, filter, name, shows_progress);
  } else {
    records::TwoSinks both(filter, *watcher);
    DecodeAll(source, both, name, shows_progress);
  }
  SayWhatIsMissing(reading.recording.name, filter);
  const bool complete = filter.Gaps() == 0 && filter.WrongCrc() == 0 && filter.Unplaced() == 0 &&
                        !filter.IsOutside() && !filter.BeginsBefore() && !filter.EndsBehind();
  return {filter.Records(), complete, filter.IsOutside()};
}

ReadOutcome ReadThroughRange(Reading& reading, records::Sink& sink) {
  Nowhere nowhere;
  return ReadRange(reading, {}, nowhere, &sink);
}

}  // namespace vmr::tool
