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

void CheckUsage(Asked& asked) {
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
  const ReadingOptions& reading_options = asked.options.reading;
  const std::unique_ptr<Exporter> exporter = FormatNamed(asked.format).make(asked.options);
  if (!exporter->Open()) return kExitFailure;
  return exporter->Finish(ForEachReading(
      reading_options, [&exporter](Reading& reading) { return exporter->Read(reading); }));
}

std::function<int()> AddOptions(CLI::App& parser) {
  const auto asked = std::make_shared<Asked>();
  ReadingOptions& reading = asked->options.reading;
  parser.footer(std::string(kFormatsFooter) + kReadingFooter + kExamplesFooter);
  AddPaths(parser, reading);
  AddFormat(parser, FormatNames(), asked->format);
  AddRange(parser, reading);
  AddTimeZone(parser, reading.time_zone);
  AddTables(parser, asked->options);
  AddVideo(parser, *asked);
  AddOutput(parser, reading);
  parser.final_callback([asked] { CheckUsage(*asked); });
  return [asked] { return Export(*asked); };
}

}  // namespace

constexpr Command kExportCommand = {"export", kHelp, "", AddOptions};

}  // namespace vmr::tool
