// `vmr plot`: measured values of recordings over time, as one picture for a document.
#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "tools/commands/command.h"
#include "tools/commands/reading_options.h"
#include "tools/common/console.h"
#include "tools/common/text_output.h"
#include "tools/report/case_axis.h"
#include "tools/report/case_zone.h"
#include "tools/report/gather.h"
#include "tools/report/svg_plot.h"

namespace vmr::tool {
namespace {

constexpr const char* kHelp = "Draws speeds, radar and temperatures over time, for a document";

constexpr const char* kPictureFooter =
    R"(The picture is SVG, 1000 px wide, for light paper: a panel for each KIND, all under
one axis of local time, or of ticks where no time is recorded.
  KIND     speed, radar, temperature or voltage; without --kind all that are recorded
  lines    a value holds until the next one; where it is unknown the line breaks
  crossed  hatching: not recorded
  stripes  below a panel: recorded, but the value is unknown
  dashed   upright: the unit was off, or its clock was set; dotted: ticks begin anew
  x        of a packet whose CRC is wrong: it may not be true
Several recordings share the axis and differ in their dashes; a row for each shows
when it was recorded. Long lines keep their least and greatest values. The picture
tells the same in words for those who cannot see it (title and desc).

)";

constexpr const char* kExamplesFooter = R"(

Examples:
  vmr plot trips/car7 -o car7.svg
  vmr plot trips/car7 --kind speed --from 2019-06-19T16:50 --to 2019-06-19T16:55 -o stop.svg
  vmr plot trips/car7 trips/car9 --kind speed,radar --title "Two cars" > two.svg

Exit codes: 0 success, 1 a PATH could not be read, nothing is there to be drawn, or
the output could not be written, 2 wrong usage, 3 something of it is lost, unknown or
outside the recording.)";

struct Asked {
  ReadingOptions reading;
  PlotRequest plot;
};

std::string FamilyNames() {
  std::string names;
  for (const char* const family : kPlotFamilies) names += std::string(" ") + family;
  return names;
}

void TakeFamily(const std::string& name, std::vector<std::string>& families) {
  if (std::find(std::begin(kPlotFamilies), std::end(kPlotFamilies), name) ==
      std::end(kPlotFamilies))
    RefuseUsage(fmt::format("--kind {}: no kind of line; there are:{}", name, FamilyNames()));
  if (std::find(families.begin(), families.end(), name) == families.end()) families.push_back(name);
}

void AddFamilies(CLI::App& parser, std::vector<std::string>& families) {
  parser
      .add_option_function<std::vector<std::string>>(
          "--kind",
          [&families](const std::vector<std::string>& names) {
            for (const std::string& name : names) TakeFamily(name, families);
          },
          "What to draw, a panel each: speed, radar, temperature, voltage")
      ->delimiter(',')
      ->allow_extra_args(false)  // what follows is a PATH
      ->type_name("KIND,...");
}

// All local times are of one zone, the first that is told.
std::string ZoneOf(const CaseFile& file) {
  const auto told =
      std::find_if(file.recordings.begin(), file.recordings.end(),
                   [](const CaseRecording& recording) { return !recording.zone.empty(); });
  return told == file.recordings.end() ? "" : told->zone;
}

bool TellsValues(const CaseFile& file, const std::string& family) {
  const auto is_drawn = [&family](const CaseSeries& series) {
    return series.family == family && !series.IsWordsAlone();
  };
  return std::any_of(
      file.recordings.begin(), file.recordings.end(), [&is_drawn](const CaseRecording& recording) {
        return std::any_of(recording.series.begin(), recording.series.end(), is_drawn);
      });
}

// Says which of those asked for are not told. False after saying that none is.
bool ChooseFamilies(const CaseFile& file, std::vector<std::string>& families) {
  const std::string of = file.recordings.size() == 1
                             ? file.recordings.front().name
                             : fmt::format("all {} recordings", file.recordings.size());
  std::vector<std::string> told;
  for (const char* const family : kPlotFamilies)
    if (Tells(file, family)) told.emplace_back(family);
  if (families.empty()) families = told;
  bool tells_any = false;
  for (const std::string& family : families) {
    const bool tells = Tells(file, family);
    if (!tells)
      Say(fmt::format("{}: {} is not recorded", of, family));
    else if (!TellsValues(file, family))
      Say(fmt::format("{}: of {} no value is recorded, words alone", of, family));
    tells_any |= TellsValues(file, family);
  }
  if (!tells_any) Say(fmt::format("{}: there is nothing to draw", of));
  return tells_any;
}

int Plot(Asked& asked) {
  TextOutput out;
  if (!out.Open(asked.reading.out, asked.reading.force)) return kExitFailure;
  std::vector<CaseRecording> recordings;
  const int exit_code = ForEachReading(asked.reading, [&recordings](Reading& reading) {
    ReadOutcome outcome;
    recordings.push_back(GatherRecording(reading, outcome));
    return outcome.complete ? kExitSuccess : kExitPartial;
  });
  if (recordings.empty()) return out.Finish(exit_code);
  CaseFile file = PutOnOneAxis(std::move(recordings));
  if (!ChooseFamilies(file, asked.plot.families)) return out.Finish(kExitFailure);
  SetZone(ZoneOf(file), asked.reading.time_zone == kRecordedZone, file);
  out.Write(SvgPlot(file, asked.plot));
  return out.Finish(exit_code);
}

std::function<int()> AddOptions(CLI::App& parser) {
  const auto asked = std::make_shared<Asked>();
  ReadingOptions& reading = asked->reading;
  parser.footer(std::string(kPictureFooter) + kReadingFooter + kExamplesFooter);
  AddPaths(parser, reading);
  AddFamilies(parser, asked->plot.families);
  AddRange(parser, reading);
  AddTimeZone(parser, reading.time_zone);
  parser.add_option("--title", asked->plot.title, "Above the picture; else what it shows")
      ->type_name("TEXT");
  AddOutput(parser, reading);
  parser.final_callback([asked] { CheckReadingUsage(asked->reading); });
  return [asked] { return Plot(*asked); };
}

}  // namespace

constexpr Command kPlotCommand = {"plot", kHelp, "", AddOptions};

}  // namespace vmr::tool
