// `vmr view`: prints a recording for people to read.
#include <fmt/format.h>
#include <unistd.h>

#include <memory>
#include <string>

#include "tools/commands/command.h"
#include "tools/commands/listing.h"
#include "tools/commands/overview_text.h"
#include "tools/commands/reading_options.h"
#include "tools/common/console.h"
#include "tools/common/pager.h"
#include "tools/common/text_output.h"
#include "tools/read/exporter.h"
#include "tools/read/timeline.h"

namespace vmr::tool {
namespace {

constexpr const char* kHelp = "Prints what PATH says, for people to read";

constexpr const char* kFooter =
    R"(A line for each tick: the tick, the local time, and what was recorded, in words.
  ~          in front of a time: reckoned, no time was recorded so early
  --:--:--   the time is not known
  !          the packet's CRC is wrong: what the line says may not be true
  ----       a gap, a clock that was set, another day, another run of the unit:
             its ticks begin anew
A full state, all that a unit knows and repeats every hour, is one line. Behind a
gap nothing is known until it is recorded again. Recorded texts stand in quotes,
and what could move a cursor or hide something is escaped: \x1B, \u202E.

--listing prints the library's own text instead, packet by packet, of one PATH and
a range of ticks, behind which it prints one tick more.

Examples:
  vmr view trips/car7                             all of a store
  vmr view trips/car7 --from 2019-06-19T16:50 --to 2019-06-19T16:55
  vmr view trips/car7 --kind input,button         lights, siren, doors ...
  vmr view stop.vmd --dumps -o stop.txt           an extract, everything
  vmr view --listing trips/car7_2.mtd --flat      one surviving file by itself)";

constexpr const char* kFooterEnd =
    R"(Viewing changes nothing on disk, one file of a store is enough, and a recorder may
go on meanwhile: what it writes later is not shown.

Exit codes: 0 success, 1 PATH could not be read, 2 wrong usage, 3 something of what
was asked for is lost or outside the recording.
Environment: PAGER shows the pages on a terminal, else less does; NO_COLOR leaves
colours out; VMR_LOG is what --listing logs, see vmr --help.)";

struct ViewOptions {
  ReadingOptions reading;
  std::string format;
  bool dumps = false;
  bool no_pager = false;
  bool listing = false;
  bool expanded = false;
  bool ring = false;
  bool flat = false;
};

// ---- For people ------------------------------------------------------------------

std::string RangeText(const Range& range) {
  const auto text = [](const std::optional<TimePoint>& point, const char* open) {
    if (!point) return std::string(open);
    return point->tick ? fmt::format("tick {}", *point->tick) : LocalTimeText(point->us);
  };
  return fmt::format("{} to {}", text(range.from, "the beginning"), text(range.to, "the end"));
}

std::string Heading(const Reading& reading) {
  const Overview overview = LookAtEnds(*reading.recording.source);
  std::string text = reading.index > 0 ? "\n" : "";
  text += Row("Recording", EscapedText(reading.recording.name));
  if (overview.first.tick == kNoTick && overview.clusters == 0)
    return text + Row("", "Nothing is recorded in it.");
  text += IdentityRows(overview.tally, Told::kFirst);
  text += Row("From", MomentText(overview.first) +
                          (overview.overwritten ? "; what came before was overwritten" : ""));
  text += Row("To", MomentText(overview.last));
  text += Row("Time zone", ZoneText(reading));
  if (reading.range.from || reading.range.to) text += Row("Shown", RangeText(reading.range));
  return text + "\n";
}

int ViewAsText(const ViewOptions& options, Reading& reading, bool colours, TextOutput& out) {
  out.Write(Heading(reading));
  TimelineOptions look;
  look.unfolds_dumps = options.dumps;
  look.chosen_kinds = !options.reading.kinds.empty();
  look.colours = colours;
  look.zone = reading.zone;
  Timeline timeline(look, out);
  const bool to_terminal = options.reading.out.empty() && isatty(STDOUT_FILENO) == 1;
  const ReadOutcome outcome = ReadRange(reading, options.reading.kinds, timeline,
                                        &timeline.Watcher(), !to_terminal && !colours);
  timeline.End();
  const Range& range = reading.range;
  if (outcome.records == 0 && (range.from || range.to || look.chosen_kinds))
    out.Write("Nothing of what was asked for is recorded.\n");
  return outcome.complete ? kExitSuccess : kExitPartial;
}

// ---- For programs ----------------------------------------------------------------

int ViewAsJson(const ViewOptions& options) {
  const ExportOptions asked{options.reading, {}, std::nullopt, 0};
  const std::unique_ptr<Exporter> exporter = MakeJsonExporter(asked);
  if (!exporter->Open()) return kExitFailure;
  return exporter->Finish(ForEachReading(
      asked.reading, [&exporter](Reading& reading) { return exporter->Read(reading); }));
}

int View(const ViewOptions& options) {
  if (options.format != "text") return ViewAsJson(options);
  const bool to_terminal = options.reading.out.empty() || options.reading.out == "-";
  const bool colours = to_terminal && WantsColours();
  const Pager pager(to_terminal && !options.no_pager);
  TextOutput out;
  if (!out.Open(options.reading.out, options.reading.force)) return kExitFailure;
  const int exit_code = ForEachReading(options.reading, [&](Reading& reading) {
    return ViewAsText(options, reading, colours, out);
  });
  return out.Finish(exit_code);
}

// ---- The library's listing -------------------------------------------------------

unsigned int TickOf(const std::optional<TypedTime>& typed, const char* option, unsigned int open) {
  if (!typed) return open;
  if (typed->kind != TypedTime::Kind::kTick)
    RefuseUsage(fmt::format("{} {}: --listing takes ticks only", option, typed->text));
  return typed->tick;
}

ListingOptions ListingOf(const ViewOptions& options) {
  const ReadingOptions& reading = options.reading;
  ListingOptions listing;
  listing.path = reading.paths.front();
  listing.kind = reading.path_kind;
  listing.from = TickOf(reading.from, "--from", listing.from);
  listing.to = TickOf(reading.to, "--to", listing.to);
  listing.expanded = options.expanded;
  return listing;
}

// ---- The command line ------------------------------------------------------------

// What the listing knows nothing of.
constexpr const char* kNotOfListing[] = {"--kind",  "--time-zone", "--format",  "--output",
                                         "--force", "--dumps",     "--no-pager"};

void CheckListingUsage(const CLI::App& parser, const ViewOptions& options) {
  if (options.expanded && !options.listing) RefuseUsage("--expanded needs --listing");
  if (!options.listing) return;
  for (const char* const option : kNotOfListing)
    if (parser.get_option(option)->count() > 0)
      RefuseUsage(fmt::format("{} does not go with --listing", option));
  if (options.reading.paths.size() != 1) RefuseUsage("--listing takes one PATH");
  ListingOf(options);
}

void CheckUsage(const CLI::App& parser, ViewOptions& options) {
  if (options.ring && options.flat) RefuseUsage("--ring and --flat exclude each other");
  if (options.ring) options.reading.path_kind = PathKind::kRing;
  if (options.flat) options.reading.path_kind = PathKind::kFlat;
  CheckReadingUsage(options.reading);
  CheckListingUsage(parser, options);
}

std::function<int()> AddOptions(CLI::App& parser) {
  const auto options = std::make_shared<ViewOptions>();
  parser.footer(fmt::format("{}\n\n{}\n\n{}", kFooter, kReadingFooter, kFooterEnd));
  AddPaths(parser, options->reading);
  AddRange(parser, options->reading);
  AddTimeZone(parser, options->reading.time_zone);
  AddKinds(parser, options->reading);
  parser.add_flag("--dumps", options->dumps, "Show all that a full state or settings repeat");
  AddFormat(parser, {"text", "jsonl"}, options->format);
  AddOutput(parser, options->reading);
  parser.add_flag("--no-pager", options->no_pager, "On a terminal: do not stop at each page");
  parser.add_flag("--listing", options->listing, "Print the library's listing of one PATH");
  parser.add_flag("--expanded", options->expanded,
                  "Of a listing: the bytes of each packet as well");
  parser.add_flag("--ring", options->ring, "PATH is a store, whatever it looks like");
  parser.add_flag("--flat", options->flat, "PATH is a flat file, whatever it looks like");
  parser.final_callback([options, &parser] { CheckUsage(parser, *options); });
  return
      [options] { return options->listing ? PrintListing(ListingOf(*options)) : View(*options); };
}

}  // namespace

constexpr Command kViewCommand = {"view", kHelp, kFooter, AddOptions};

}  // namespace vmr::tool
