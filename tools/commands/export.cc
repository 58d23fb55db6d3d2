// `vmr export`: writes out what a recording says, for other programs.
#include <fmt/format.h>

#include <memory>
#include <string>

#include "tools/commands/command.h"
#include "tools/commands/reading_options.h"
#include "tools/common/console.h"
#include "tools/lake/lake_export.h"
#include "tools/read/exporter.h"
#include "tools/read/json_line.h"

namespace vmr::tool {
namespace {

constexpr const char* kHelp = "Writes out what recordings say, for other programs";

constexpr const char* kLakeFooter =
    R"(--layout lake makes of each recording its part of a lake: typed tables as Parquet files
for DuckDB, Spark, Trino and pandas, in folders that those take for partitions:
  DIR/kind=KIND/date=YYYY-MM-DD/UNIT-RECORDING.parquet  records, by the UTC date
  DIR/gaps/UNIT-RECORDING.parquet                       what is lost
  DIR/recordings/UNIT-RECORDING.parquet                 one row for each recording
Files appear whole, and the row in recordings last: what has one there is complete.
The same recording again changes nothing; one that has grown replaces its own files
alone. Each recording is answered by a line of JSON: its name, status, findings and
numbers. --paths-from - reads a path, converts, answers, and then reads the next.
Needs Node; `scripts/setup --lake` installs what else it needs.

)";

constexpr const char* kFormatsFooter =
    R"(FORMAT:
  jsonl    a line of JSON for each record: its tick, its time in UTC and how well
           that is known, its fields by name, and where it stands
  csv      the same as tables, one for each kind of record, into the folder of -o
           as KIND.csv; a single one, named by --kind, to standard output or FILE
  gpx      the way (GPX 1.1), a new segment at each gap, clock jump and new run;
           speeds in metres per second as gpxtpx:speed
  geojson  the way in the same pieces, and inputs, buttons, bookmarks and logs
           where the vehicle was last known to be, with that position's age
  vtt, srt subtitles of a video that begins at --video-start: each second's local
           time, speed, inputs and what changed. From there on the video's time
           goes on as ticks do

What was lost is of kind "gap", a clock that was set of kind "clock_step". Records
of a packet whose CRC is wrong are marked so; what a full state only repeats has
"repeats". Positions are signed: north and east are positive. With several
recordings each line or row tells which it is of. Recorded texts that a
spreadsheet would take for a formula have an apostrophe in front in tables.
docs/schema/ describes lines and tables.

)";

constexpr const char* kExamplesFooter = R"(

Examples:
  vmr export trips/car7 > car7.jsonl
  vmr export trips/car7 --kind position,speed --from 1000 --to 2000
  vmr export trips/car7 --format csv -o car7-tables
  vmr export stop.vmd --kind input | jq -r 'select(.on) | .time + " " + .input'
  vmr export trips/car7 --format gpx -o car7.gpx
  vmr export --layout lake --root lake trips
  vmr export trips/car7 --format vtt --video-start 2026-11-21T04:48:24Z -o car7.vtt

Exit codes: 0 success, 1 a PATH could not be read or the output not be written,
2 wrong usage, 3 something of it is lost, unknown or outside the recording.)";

enum class Use : unsigned char { kRecords, kMap, kVideo };

struct Format {
  const char* name;
  std::unique_ptr<Exporter> (*make)(const ExportOptions& options);
  Use use;
};

constexpr Format kFormats[] = {
    {"jsonl", MakeJsonExporter, Use::kRecords}, {"csv", MakeCsvExporter, Use::kRecords},
    {"gpx", MakeGpxExporter, Use::kMap},        {"geojson", MakeGeoJsonExporter, Use::kMap},
    {"vtt", MakeVttExporter, Use::kVideo},      {"srt", MakeSrtExporter, Use::kVideo},
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
  bool has_offset = false;
  std::string layout;
  LakeOptions lake;
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

void AddVideo(CLI::App& parser, Asked& asked) {
  AddTime(parser, "--video-start", asked.options.video_start,
          "Of vtt and srt: when the video begins");
  parser
      .add_option_function<int>(
          "--offset",
          [&asked](int offset_ms) {
            asked.options.offset_ms = offset_ms;
            asked.has_offset = true;
          },
          "Show subtitles so many milliseconds later; earlier if negative")
      ->type_name("MS");
}

void CheckVideoUsage(const Asked& asked, const Format& format) {
  const bool is_video = format.use == Use::kVideo;
  if (is_video && !asked.options.video_start)
    RefuseUsage(
        fmt::format("--format {} needs --video-start T: when the video begins", format.name));
  if (is_video && asked.options.reading.from)
    RefuseUsage("--from: subtitles begin at --video-start");
  if (!is_video && (asked.options.video_start || asked.has_offset))
    RefuseUsage(
        fmt::format("--video-start and --offset go with vtt and srt, not with {}", format.name));
}

// Options of one of the two ways to write say nothing of the other.
void CheckLakeUsage(const CLI::App& parser, Asked& asked) {
  for (const char* const name : {"--format", "--kind", "--from", "--to", "--output", "--force",
                                 "--time-zone", "--video-start", "--offset"})
    if (parser.count(name) > 0)
      RefuseUsage(
          fmt::format("{} does not go with --layout lake, which writes all there is", name));
  if (asked.lake.root.empty()) RefuseUsage("--layout lake needs --root DIR: the lake's folder");
  if (asked.options.reading.paths.empty() == asked.lake.paths_from.empty())
    RefuseUsage("--layout lake takes PATHs or --paths-from, one of the two");
  for (const std::string& path : asked.options.reading.paths)
    if (path.empty()) RefuseUsage("PATH is empty");
  asked.lake.paths = asked.options.reading.paths;
}

void CheckUsage(const CLI::App& parser, Asked& asked) {
  if (!asked.layout.empty()) return CheckLakeUsage(parser, asked);
  for (const char* const name : {"--root", "--paths-from", "--digest"})
    if (parser.count(name) > 0) RefuseUsage(fmt::format("{} goes with --layout lake", name));
  if (asked.options.reading.paths.empty()) RefuseUsage("PATH is required");
  ExportOptions& options = asked.options;
  const Format& format = FormatNamed(asked.format);
  CheckReadingUsage(options.reading);
  CheckVideoUsage(asked, format);
  if (format.use != Use::kRecords && !options.tables.empty())
    RefuseUsage(fmt::format("--kind goes with jsonl and csv, not with {}", format.name));
  if (asked.format == "csv" && options.tables.size() != 1 && options.reading.out.empty())
    RefuseUsage(
        "--format csv makes a table for each kind: give a folder with -o DIR, or one kind with "
        "--kind KIND");
}

int Export(const Asked& asked) {
  if (!asked.layout.empty()) return ExportToLake(asked.lake);
  const ReadingOptions& reading_options = asked.options.reading;
  const std::unique_ptr<Exporter> exporter = FormatNamed(asked.format).make(asked.options);
  if (!exporter->Open()) return kExitFailure;
  return exporter->Finish(ForEachReading(
      reading_options, [&exporter](Reading& reading) { return exporter->Read(reading); }));
}

void AddLake(CLI::App& parser, Asked& asked) {
  parser
      .add_option_function<std::string>(
          "--layout",
          [&asked](const std::string& layout) {
            if (layout != "lake") RefuseUsage(fmt::format("--layout {}: there is lake", layout));
            asked.layout = layout;
          },
          "lake: Parquet files of many recordings, see below")
      ->type_name("LAYOUT");
  parser.add_option("--root", asked.lake.root, "Of a lake: its folder, made if need be")
      ->type_name("DIR");
  parser
      .add_option(
          "--paths-from", asked.lake.paths_from,
          "Of a lake: convert the recordings that FILE names, one a line, instead of PATHs; "
          "- is standard input")
      ->type_name("FILE");
  parser.add_flag("--digest", asked.lake.digests_files,
                  "Of a lake: tell the SHA-256 of each recording's files");
}

std::function<int()> AddOptions(CLI::App& parser) {
  const auto asked = std::make_shared<Asked>();
  ReadingOptions& reading = asked->options.reading;
  parser.footer(std::string(kFormatsFooter) + kLakeFooter + kReadingFooter + kExamplesFooter);
  AddPaths(parser, reading);
  parser.get_option("PATH")->required(false);
  AddFormat(parser, FormatNames(), asked->format);
  AddRange(parser, reading);
  AddTimeZone(parser, reading.time_zone);
  AddTables(parser, asked->options);
  AddVideo(parser, *asked);
  AddOutput(parser, reading);
  AddLake(parser, *asked);
  parser.final_callback([asked, &parser] { CheckUsage(parser, *asked); });
  return [asked] { return Export(*asked); };
}

}  // namespace

constexpr Command kExportCommand = {"export", kHelp, "", AddOptions};

}  // namespace vmr::tool
