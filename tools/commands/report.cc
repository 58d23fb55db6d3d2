// `vmr report`: a page of its own that shows what recordings say.
#include <errno.h>
#include <fmt/format.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "tools/commands/command.h"
#include "tools/commands/reading_options.h"
#include "tools/common/console.h"
#include "tools/common/numbers.h"
#include "tools/common/text_output.h"
#include "tools/read/phrase.h"
#include "tools/report/case_axis.h"
#include "tools/report/case_zone.h"
#include "tools/report/gather.h"
#include "tools/report/page.h"
#include "tools/report/sources.h"

namespace vmr::tool {
namespace {

constexpr const char* kHelp = "Makes a page for a browser that shows what recordings say";

constexpr const char* kFooter =
    R"(FILE becomes one HTML file that holds everything and asks no network for anything:
the way with lights and siren on it, speeds, radar, temperatures, each input,
microphone, camera and stream over time, a table of what happened, who and which
unit, its settings, and the digests of what was read. Recordings that are given
together lie on one axis of time.

It states nothing that is not recorded. What was lost is shown where it is
missing, and behind it everything is unknown until it is told again; a clock that
was set, positions that nobody has verified and packets whose CRC is wrong are
marked where they are, and listed in words.

--video keeps the name of a video file in the page, which asks for that file; it
is not read here and not part of FILE. With SOURCE_DATE_EPOCH set, seconds since
1970 that stand for the time of making, equal recordings make equal files.

)";

constexpr const char* kFooterEnd = R"(

Examples:
  vmr report trips/car7 -o case.html
  vmr report trips/car7 -o stop.html --from 2019-06-19T16:50 --to 2019-06-19T17:10
  vmr report trips/car7 trips/car8 -o pursuit.html --title "Pursuit of 19 June" --open

Exit codes: 0 success, 1 a PATH could not be read, the output not be written, or a
browser not be started, 2 wrong usage, 3 something of it is lost, unknown or
outside the recording.)";

struct ReportOptions {
  ReadingOptions reading;
  std::string title;
  std::string video;
  bool open = false;
};

// Of making; nothing after saying what is wrong with the one that is asked for.
std::optional<std::int64_t> MadeTime_us() {
  const char* const epoch = std::getenv("SOURCE_DATE_EPOCH");
  if (epoch == nullptr || *epoch == '\0') return Now_us();
  const auto seconds = ParseNumber(epoch, 0xFFFFFFFF);
  if (seconds) return std::int64_t{*seconds} * records::kSecond_us;
  Say(fmt::format("SOURCE_DATE_EPOCH {}: no number of seconds since 1970", Printable(epoch)));
  return std::nullopt;
}

// ---- The case --------------------------------------------------------------------

// What is gathered of the recordings, one after the other.
class Case {
 public:
  explicit Case(const ReportOptions& options) : options_(options) {}

  int Read(Reading& reading) {
    UseZoneOf(reading);
    const SourceFiles files(reading.recording.files);
    ReadOutcome outcome;
    recordings_.push_back(GatherRecording(reading, outcome));
    CaseRecording& recording = recordings_.back();
    recording.sources = files.Digest();
    const bool is_whole = SourceFiles::PutDamage(reading.recording, recording);
    if (!is_whole)
      Say(fmt::format("{}: not all that was recorded is surely there; the page says why",
                      reading.recording.name));
    if (!reading.recording.remark.empty())
      recording.findings.push_back({"note", EscapedText(reading.recording.remark), std::nullopt});
    for (const CaseSource& source : recording.sources)
      if (!source.problem.empty() && source.is_there)
        recording.findings.push_back(
            {"note", fmt::format("{}: {}", source.path, source.problem), std::nullopt});
    return outcome.complete && is_whole ? kExitSuccess : kExitPartial;
  }
  bool IsEmpty() const { return recordings_.empty(); }

  CaseFile Finish() {
    CaseFile file = PutOnOneAxis(std::move(recordings_));
    SetZone(zone_, options_.reading.time_zone == kRecordedZone, file);
    return file;
  }

 private:
  // All local times of a page are of one zone, the first that is told.
  void UseZoneOf(const Reading& reading) {
    if (zone_.empty()) zone_ = reading.zone;
    if (!zone_.empty() && zone_ != reading.zone) UseTimeZone(zone_);
  }

  const ReportOptions& options_;
  std::string zone_;
  std::vector<CaseRecording> recordings_;
};

std::optional<std::string> AsTyped(const std::optional<TypedTime>& time) {
  if (!time) return std::nullopt;
  return EscapedText(time->text);
}

PageHeading HeadingOf(const ReportOptions& options, std::int64_t made_us) {
  PageHeading heading;
  heading.title = options.title;
  heading.from = AsTyped(options.reading.from);
  heading.to = AsTyped(options.reading.to);
  heading.video = EscapedText(std::filesystem::path(options.video).filename().string());
  heading.made_us = made_us;
  return heading;
}

// ---- The browser -----------------------------------------------------------------

// False after saying why not.
bool OpenInBrowser(const std::string& path) {
  std::error_code error;
  const std::string whole = std::filesystem::absolute(path, error).string();
  std::string program = "xdg-open", file = error ? path : whole;
  char* const arguments[] = {program.data(), file.data(), nullptr};
  pid_t child = 0;
  const int problem = posix_spawnp(&child, "xdg-open", nullptr, nullptr, arguments, environ);
  if (problem != 0) {
    Say(fmt::format("--open: xdg-open cannot be run ({}): open {} in a browser",
                    std::strerror(problem), path));
    return false;
  }
  int status = 0;
  while (waitpid(child, &status, 0) < 0)
    if (errno != EINTR) return true;  // it is somebody else's to wait for
  if (WIFEXITED(status) && WEXITSTATUS(status) == 0) return true;
  Say(fmt::format("--open: xdg-open found no way to show it: open {} in a browser", path));
  return false;
}

// ---- The command line ------------------------------------------------------------

int Report(const ReportOptions& options) {
  const auto made_us = MadeTime_us();
  if (!made_us) return kExitUsage;
  TextOutput out;
  if (!out.Open(options.reading.out, options.reading.force)) return kExitFailure;
  Case gathered(options);
  const int exit_code = ForEachReading(
      options.reading, [&gathered](Reading& reading) { return gathered.Read(reading); });
  if (gathered.IsEmpty()) return out.Finish(exit_code);
  const auto page = PageOf(gathered.Finish(), HeadingOf(options, *made_us));
  if (!page) {
    Say("the page does not fit into memory");
    return kExitFailure;
  }
  out.Write(*page);
  const int finished = out.Finish(exit_code);
  const bool is_written = finished == exit_code;
  if (!options.open || !is_written) return finished;
  return OpenInBrowser(options.reading.out) ? finished : kExitFailure;
}

bool GoesToFile(const std::string& out) { return !out.empty() && out != "-"; }

void CheckUsage(ReportOptions& options) {
  CheckReadingUsage(options.reading);
  const std::string& out = options.reading.out;
  if (options.open && !GoesToFile(out)) RefuseUsage("--open needs a file: give -o FILE");
  if (!GoesToFile(out) && isatty(STDOUT_FILENO) == 1)
    RefuseUsage("a page is nothing for a terminal: give -o FILE");
}

std::function<int()> AddOptions(CLI::App& parser) {
  const auto options = std::make_shared<ReportOptions>();
  parser.footer(std::string(kFooter) + kReadingFooter + kFooterEnd);
  AddPaths(parser, options->reading);
  AddRange(parser, options->reading);
  AddTimeZone(parser, options->reading.time_zone);
  parser.add_option("--title", options->title, "What the page is called; else it names itself")
      ->type_name("TEXT");
  parser.add_option("--video", options->video, "The video that the page is to ask for")
      ->type_name("FILE");
  AddOutput(parser, options->reading);
  parser.add_flag("--open", options->open, "Show the page in the desktop's browser (xdg-open)");
  parser.final_callback([options] { CheckUsage(*options); });
  return [options] { return Report(*options); };
}

}  // namespace

constexpr Command kReportCommand = {"report", kHelp, "", AddOptions};

}  // namespace vmr::tool
