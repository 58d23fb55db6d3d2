// The command line of `vmr`.
#include <fmt/format.h>
#include <signal.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <string>

#include "tools/commands/check_options.h"
#include "tools/commands/extract_options.h"
#include "tools/commands/record.h"
#include "tools/commands/recover_options.h"
#include "tools/commands/scrub.h"
#include "tools/commands/scrub_options.h"
#include "tools/commands/view.h"
#include "tools/common/console.h"
#include "tools/common/store_path.h"
#include "tools/record/gpsd_client.h"

namespace {

using vmr::tool::kExitUsage;

constexpr const char* kProgramHelp = R"(Records what happens in a vehicle and prints it back.

A recording is a ring of 32768 clusters, kept twice: in STORE_1.mtd and
STORE_2.mtd, 128 MiB each. It survives power cuts; the newest data overwrites
the oldest.
)";

constexpr const char* kProgramFooter = R"(Examples:
  vmr record trips/car7 --input drive.gpsd.json --replay   record a saved drive
  vmr view trips/car7                                      print all of it
  vmr extract trips/car7 stop.vmd --from 2082 --to 2250    cut a minute out
  vmr check trips/car7                                     look it over for damage
  vmr scrub trips/car7                                     mend what can be mended
  vmr recover trips/car7 saved/car7                        save what can be read
  vmr record --help                                        how to record live

Exit codes: 0 success, 1 failure, 2 wrong usage, 3 not all of what was asked for
is there, 4 a store is damaged but nothing of it is lost.

Environment: VMR_LOG is the sum of the levels logged to standard error:
  1 fatal, 2 errors, 4 warnings, 16 and 32 information, 64 trace,
  128 every item, flush and tick. Default 7.)";

constexpr const char* kRecordHelp = "Records GPS positions and events into STORE";

constexpr const char* kRecordFooter =
    R"(STORE is the path of the recording without "_1.mtd" and "_2.mtd". A store that
does not exist is created; one that exists is continued after its last tick.

Input is one JSON object a line: what `gpspipe -w` or `gpsdecode -j` print, and
events such as
  {"event":"input","name":"siren","on":true}
  {"event":"button","button":"record","action":"pressed","tick":1200}
  {"event":"temperature","sensor":"cpu","degrees":41,"time":"2024-05-01T09:30:00Z"}
  {"event":"bookmark"}
docs/events.md describes all of them. A line that cannot be used is reported and
skipped; the summary counts them. NMEA and CSV are refused with what to do.

Examples:
  vmr record trips/car7 --gpsd                   the gpsd of this machine, live
  gpspipe -w | vmr record trips/car7 --input -   the same by a pipe
  car-events | vmr record trips/car7 --gpsd=10.0.0.5:2947 --input -
  vmr record trips/car7 --input drive.gpsd.json --replay
                                                 a saved drive, as fast as it goes
  gpsdecode -j < drive.nmea | vmr record trips/car7 --replay --input -
                                                 one saved as NMEA

The configuration says who and what the unit is and how it is set; what it
leaves out has defaults.

SIGINT and SIGTERM end a recording in order, as the end of its input does:
everything is reported off, all is written.

A store in which no recorder finds where the recording ends is refused: going on
would give up what it holds. vmr scrub or vmr recover comes first; --begin-anew
is the order to go on all the same.

When neither file of the store takes what is recorded, or somebody deletes one,
a line with WARNING says so at once; recording goes on, and the summary tells how
much was not stored.

Exit codes: 0 success, 1 a file or the store could not be used, an input had no
line that could, or not everything was stored, 2 wrong usage.
Environment: VMR_LOG, what is logged; see vmr --help.)";

constexpr const char* kViewHelp = "Prints the recording at PATH as text";

constexpr const char* kViewFooter =
    R"(PATH is the base path of a store, either of its two files, or a flat metadata
file. Ticks are half seconds, counted on over all runs of a store.

Examples:
  vmr view trips/car7                          all of a store
  vmr view trips/car7 --from 1000 --to 2000    of it, about eight minutes
  vmr view trips/car7_2.mtd --flat             one surviving file by itself
  vmr view trips/car7 | less

Viewing changes nothing on disk: damage is read around, not repaired, and one
file of the two is enough. A recorder may go on meanwhile: what it writes later
is not shown.

Exit codes: 0 success, 1 PATH could not be opened, 2 wrong usage.
Environment: VMR_LOG, what is logged; see vmr --help.)";

unsigned int ParseTick(const std::string& text) {
  constexpr unsigned long long kHighest = 0xFFFFFFFF;
  const bool digits = !text.empty() && text.find_first_not_of("0123456789") == text.npos;
  const unsigned long long tick = digits && text.size() <= 10 ? std::stoull(text) : kHighest + 1;
  if (tick > kHighest) throw CLI::ValidationError(text + " is no tick (0 to 4294967295)");
  return static_cast<unsigned int>(tick);
}

void AddTick(CLI::App& command, const char* name, unsigned int& tick, const char* help) {
  command
      .add_option_function<std::string>(
          name, [&tick](const std::string& text) { tick = ParseTick(text); }, help)
      ->type_name("TICK");
}

// Takes the address out of --gpsd[=HOST:PORT]; the parser gives a flag without
// a value the text "true".
void TakeGpsd(const std::string& text, vmr::tool::RecordOptions& options) {
  if (text.empty()) return;
  options.gpsd = vmr::tool::ParseGpsdAddress(text == "true" ? "" : text);
  if (!options.gpsd) throw CLI::ValidationError("--gpsd=" + text + " is no HOST:PORT");
}

void CheckRecord(const vmr::tool::RecordOptions& options) {
  if (options.store.empty()) throw CLI::ValidationError("STORE is empty");
  if (options.store.front() == '-')
    throw CLI::ValidationError("STORE must not begin with \"-\"; write ./" + options.store);
  if (const auto base = vmr::tool::RingBaseOf(options.store))
    throw CLI::ValidationError(options.store + " is a file of a store; STORE would be " + *base);
  if (options.inputs.empty() && !options.gpsd)
    throw CLI::ValidationError("nothing to record: give --input or --gpsd");
  if (options.replay && options.gpsd)
    throw CLI::ValidationError("--replay cannot be combined with --gpsd: a live gpsd is not saved");
  if (options.allow_jumps && !options.replay)
    throw CLI::ValidationError("--allow-jumps is for --replay: live, this machine is the clock");
  if (std::count(options.inputs.begin(), options.inputs.end(), "-") > 1)
    throw CLI::ValidationError("--input - was given twice");
}

// The two options that force what PATH is.
struct KindChoice {
  bool ring = false;
  bool flat = false;
};

void TakeKind(const KindChoice& choice, vmr::tool::ViewOptions& options) {
  using vmr::tool::PathKind;
  if (choice.ring && choice.flat)
    throw CLI::ValidationError("--ring and --flat exclude each other");
  if (choice.ring) options.kind = PathKind::kRing;
  if (choice.flat) options.kind = PathKind::kFlat;
}

void CheckView(const vmr::tool::ViewOptions& options) {
  if (options.path.empty()) throw CLI::ValidationError("PATH is empty");
  if (options.from > options.to)
    throw CLI::ValidationError(fmt::format("--from {} is after --to {}", options.from, options.to));
}

CLI::App* AddRecord(CLI::App& app, vmr::tool::RecordOptions& options, std::string& gpsd_text) {
  CLI::App* const record = app.add_subcommand("record", kRecordHelp);
  record->footer(kRecordFooter);
  record->add_option("STORE", options.store, "Base path of the recording")
      ->required()
      ->type_name("");
  record->add_option("--input", options.inputs, "Lines of JSON, - for standard input; repeatable")
      ->type_name("FILE")
      ->allow_extra_args(false);
  record->add_option("--config", options.config, "The unit's configuration, as JSON")
      ->type_name("FILE")
      ->check([](const std::string& path) {
        return path.empty() ? std::string("--config is empty") : std::string();
      });
  record->add_flag("--gpsd", gpsd_text, "Read a live gpsd, by default at 127.0.0.1:2947")
      ->option_text("[=HOST:PORT]");
  record->add_flag("--replay", options.replay,
                   "Ticks and times of the input are the clock, not this machine's");
  record->add_flag("--allow-jumps", options.allow_jumps,
                   "Follow the input of --replay across more than 400 days at once");
  record->add_flag("--begin-anew", options.begin_anew,
                   "Record even if what the store holds is set aside or removed for it");
  record->final_callback([&options, &gpsd_text] {
    TakeGpsd(gpsd_text, options);
    CheckRecord(options);
  });
  return record;
}

void AddView(CLI::App& app, vmr::tool::ViewOptions& options, KindChoice& choice) {
  CLI::App* const view = app.add_subcommand("view", kViewHelp);
  view->footer(kViewFooter);
  view->add_option("PATH", options.path, "The recording")->required()->type_name("");
  AddTick(*view, "--from", options.from, "First tick to print");
  AddTick(*view, "--to", options.to, "Last tick to print; the first past it is printed too");
  view->add_flag("--expanded", options.expanded, "Print the bytes of each packet as well");
  view->add_flag("--ring", choice.ring, "PATH is a store, whatever it looks like");
  view->add_flag("--flat", choice.flat, "PATH is a flat file, whatever it looks like");
  view->final_callback([&options, &choice] {
    TakeKind(choice, options);
    CheckView(options);
  });
}

// Wrong usage: what is wrong, and where help is.
int ExplainUsage(const CLI::App& app, const char* what) {
  std::string command = "vmr";
  for (const CLI::App* sub : app.get_subcommands()) command += " " + sub->get_name();
  vmr::tool::Say(what);
  vmr::tool::Say(fmt::format("try: {} --help", command));
  return kExitUsage;
}

// What was asked for by --help or --version.
int Explain(const CLI::App& app, const CLI::ParseError& error) {
  app.exit(error);
  if (std::cout.flush()) return vmr::tool::kExitSuccess;
  vmr::tool::Say("standard output: write error");
  return vmr::tool::kExitFailure;
}

}  // namespace

int main(int argc, char** argv) {
  signal(SIGXFSZ, SIG_IGN);  // a limit on file sizes is a full disk like any other
  vmr::tool::RecordOptions record_options;
  vmr::tool::ViewOptions view_options;
  vmr::tool::ExtractArguments extract_arguments;
  vmr::tool::CheckOptions check_options;
  std::string scrubbed_store;
  vmr::tool::RecoverOptions recover_options;
  std::string gpsd_text;
  KindChoice kind_choice;
  CLI::App app(kProgramHelp, "vmr");
  app.footer(kProgramFooter);
  app.set_version_flag("--version", "vmr " VMR_VERSION, "Print the version and exit");
  app.require_subcommand(0, 1);
  const CLI::App* const record = AddRecord(app, record_options, gpsd_text);
  AddView(app, view_options, kind_choice);
  const CLI::App* const extract = AddExtract(app, extract_arguments);
  const CLI::App* const check = AddCheck(app, check_options);
  const CLI::App* const scrub = vmr::tool::AddScrub(app, scrubbed_store);
  const CLI::App* const recover = AddRecover(app, recover_options);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return error.get_exit_code() == 0 ? Explain(app, error) : ExplainUsage(app, error.what());
  }
  if (app.get_subcommands().empty())
    return ExplainUsage(app, "a command is needed: record, view, extract, check, scrub or recover");
  if (recover->parsed()) return vmr::tool::Recover(recover_options);
  if (scrub->parsed()) return vmr::tool::Scrub(scrubbed_store);
  if (check->parsed()) return vmr::tool::Check(check_options);
  if (extract->parsed()) return vmr::tool::Extract(extract_arguments.options);
  return record->parsed() ? vmr::tool::Record(record_options) : vmr::tool::View(view_options);
}
