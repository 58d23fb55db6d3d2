// `vmr export`: writes out what a recording says, for other programs.
#include <fmt/format.h>

#include <memory>
#include <string>

#include "tools/commands/command.h"
#include "tools/commands/reading_options.h"
#include "tools/common/console.h"
#include "tools/read/exporter.h"
#include "tools/read/json_line.h"

namespace vmr::tool {
namespace {

constexpr const char* kHelp = "Writes out what recordings say, for other programs";

constexpr const char* kFooter =
    R"(FORMAT is jsonl, a line of JSON for each record, or csv, a table for each kind of
record. Both have each record's tick, its time in UTC and how well that is known,
its fields by name, and where it stands. docs/schema/ describes them. What was
lost is of kind "gap", a clock that was set of kind "clock_step". Records of a
packet whose CRC is wrong are marked so; what a full state only repeats has
"repeats". Positions are signed: north and east are positive. With several
recordings each line or row tells which it is of.

Tables go into the folder that -o names, as KIND.csv; a single one, named by
--kind, to standard output or the FILE of -o. Recorded texts that a spreadsheet
would take for a formula have an apostrophe in front.

PATH is the base path of a store, either of its two files, a flat metadata file,
a single file of a store, or a folder: all recordings in it.

Examples:
  vmr export trips/car7 > car7.jsonl
  vmr export trips/car7 --kind position,speed --from 1000 --to 2000
  vmr export trips/car7 --format csv -o car7-tables
  vmr export stop.vmd --kind input | jq -r 'select(.on) | .time + " " + .input'

Exit codes: 0 success, 1 a PATH could not be read or the output not be written,
2 wrong usage, 3 something of it is lost, unknown or outside the recording.)";

struct Format {
  const char* name;
  std::unique_ptr<Exporter> (*make)(const ExportOptions& options);
  bool has_tables;  // for --kind
};

constexpr Format kFormats[] = {
    {"jsonl", MakeJsonExporter, true},
    {"csv", MakeCsvExporter, true},
    {"gpx", MakeGpxExporter, false},
    {"geojson", MakeGeoJsonExporter, false},
};

const Format& FormatNamed(const std::string& name) {
  for (const Format& format : kFormats)
    if (format.name == name) return format;
  return kFormats[0];
}

std::vector<std::string> FormatNames() {
  std::vector<std::string> names;
  for (const Format& format : kFormats) names.emplace_back(format.name);
  return names;
}

struct Asked {
  std::string format;
  ExportOptions options;
};

void AddTables(CLI::App& parser, ExportOptions& options) {
  parser
      .add_option_function<std::vector<std::string>>(
          "--kind",
          [&options](const std::vector<std::string>& names) {
            for (const std::string& name : names) {
              if (name != kGapKind && name != kClockStepKind)
                options.reading.kinds.insert(KindNamed(name));
              options.tables.insert(name);
            }
          },
          "Only records of these kinds; gap and clock_step are two, too")
      ->delimiter(',')
      ->type_name("KIND,...");
}

void CheckUsage(Asked& asked) {
  ExportOptions& options = asked.options;
  const Format& format = FormatNamed(asked.format);
  CheckReadingUsage(options.reading);
  if (!format.has_tables && !options.tables.empty())
    RefuseUsage(fmt::format("--kind goes with jsonl and csv, not with {}", format.name));
  if (asked.format == "csv" && options.tables.size() != 1 && options.reading.out.empty())
    RefuseUsage(
        "--format csv makes a table for each kind: give a folder with -o DIR, or one kind with "
        "--kind KIND");
}

int Export(const Asked& asked) {
  const ReadingOptions& reading_options = asked.options.reading;
  if (const auto source = RecordingWith(reading_options, reading_options.out)) {
    Say(fmt::format("{}: belongs to the recording {}; give another file", reading_options.out,
                    *source));
    return kExitFailure;
  }
  const std::unique_ptr<Exporter> exporter = FormatNamed(asked.format).make(asked.options);
  if (!exporter->Open()) return kExitFailure;
  return exporter->Finish(ForEachReading(
      reading_options, [&exporter](Reading& reading) { return exporter->Read(reading); }));
}

std::function<int()> AddOptions(CLI::App& parser) {
  const auto asked = std::make_shared<Asked>();
  ReadingOptions& reading = asked->options.reading;
  AddPaths(parser, reading);
  AddFormat(parser, FormatNames(), asked->format);
  AddRange(parser, reading);
  AddTimeZone(parser, reading);
  AddTables(parser, asked->options);
  AddOutput(parser, reading);
  parser.final_callback([asked] { CheckUsage(*asked); });
  return [asked] { return Export(*asked); };
}

}  // namespace

constexpr Command kExportCommand = {"export", kHelp, kFooter, AddOptions};

}  // namespace vmr::tool
