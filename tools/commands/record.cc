// `vmr record`: a host program around the library.
#include <errno.h>
#include <fmt/format.h>
#include <poll.h>
#include <sys/stat.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "backends/file_io.h"
#include "tools/commands/command.h"
#include "tools/common/console.h"
#include "tools/common/store_path.h"
#include "tools/record/gpsd_client.h"
#include "tools/record/held_syncs.h"
#include "tools/record/input.h"
#include "tools/record/input_progress.h"
#include "tools/record/libgps.h"
#include "tools/record/live_session.h"
#include "tools/record/recorder.h"
#include "tools/record/replay_session.h"
#include "tools/record/stop_signal.h"
#include "tools/record/unit_configuration.h"

namespace vmr::tool {
namespace {

constexpr const char* kHelp = "Records GPS positions and events into STORE";

constexpr const char* kFooter =
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

Every packet is on the device before the next one is recorded. With --no-sync a
replay does not wait for that: the files are synced once, when they are complete,
and the exit code says whether that went well. A power cut or a crash of the
system before may cost all that the replay recorded, and the oldest of what the
store held, which it records over; what it leaves may be damaged in any place. To
end the program alone costs nothing.

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

struct RecordOptions {
  std::string store;                // base path of the ring
  std::vector<std::string> inputs;  // files, "-" being standard input
  std::optional<GpsdAddress> gpsd;
  std::string config;        // the configuration file; empty: none
  bool replay = false;       // the input's stamps are the clock
  bool allow_jumps = false;  // across more than 400 days at once
  bool no_sync = false;      // until the end
  bool begin_anew = false;   // even if what the store holds is given up
};

// ---- What is recorded -------------------------------------------------------------

bool OpenInputs(const RecordOptions& options, LineCounts& counts, Inputs& inputs) {
  for (const std::string& path : options.inputs)
    if (!OpenInput(path, counts, inputs)) return false;
  return true;
}

bool IsRegularFile(const Input& input) {
  struct stat status {};
  return fstat(input.Fd(), &status) == 0 && S_ISREG(status.st_mode);
}

// Until each of the inputs has a line to look at, or has ended, or a signal comes.
void WaitForFirstLines(const Inputs& inputs, const StopSignal& stop) {
  for (bool waiting = true; waiting && !stop.Requested();) {
    std::vector<pollfd> waits = {{stop.Fd(), POLLIN, 0}};
    for (const auto& input : inputs)
      waits.push_back({input->HasBegun() ? -1 : input->Fd(), POLLIN, 0});
    waiting =
        std::any_of(waits.begin() + 1, waits.end(), [](const pollfd& w) { return w.fd >= 0; });
    if (!waiting || poll(waits.data(), waits.size(), -1) <= 0) continue;
    for (std::size_t i = 0; i < inputs.size(); ++i)
      if (waits[i + 1].revents != 0) inputs[i]->Read();
  }
}

// Looks at what the inputs begin with, before anything is created for them. Live
// nothing is waited for, so that is files alone.
bool BeginInputs(const RecordOptions& options, const Inputs& inputs, const StopSignal& stop) {
  if (options.replay) WaitForFirstLines(inputs, stop);
  bool usable = true;
  for (const auto& input : inputs) {
    if (!options.replay && IsRegularFile(*input)) input->Read();
    usable = MayHoldLines(*input) && usable;
  }
  return usable;
}

std::optional<Libgps> FindLibgps() {
  std::string error;
  auto libgps = LoadLibgps(error);
  if (!libgps) Say(error);
  return libgps;
}

// Adds the gpsd as one more input; null when it could not be started.
const Input* AddGpsd(const GpsdClient& client, const GpsdAddress& address, LineCounts& counts,
                     Inputs& inputs) {
  const std::string name = "gpsd " + address.Text();
  if (client.ReadEnd() < 0) {
    Say(fmt::format("{}: {}", name, TextOfErrno()));
    return nullptr;
  }
  inputs.push_back(std::make_unique<Input>(client.ReadEnd(), name, counts, LineSource::kGpsd));
  return inputs.back().get();
}

void PrintSummary(const RecordOptions& options, const Recorder& recorder,
                  const LineCounts& counts) {
  Say(fmt::format("{}: recorded ticks {} to {}", options.store, recorder.FirstTick(),
                  recorder.LastTick()));
  Say(fmt::format("{}: {} lines, {} fixes, {} losses of fix, {} events, {} lines skipped",
                  options.store, counts.lines, recorder.Fixes(), recorder.Losses(),
                  recorder.Events(), counts.skipped));
}

void CloseAll(Inputs& inputs) {
  for (const auto& input : inputs) input->Conclude();
  inputs.clear();
}

// `libgps` is there when options.gpsd is.
bool RunLive(const RecordOptions& options, const std::optional<Libgps>& libgps, Recorder& recorder,
             Inputs& inputs, LineCounts& counts, const StopSignal& stop) {
  std::optional<GpsdClient> client;
  const Input* gpsd = nullptr;
  if (options.gpsd && libgps) {
    client.emplace(*options.gpsd, *libgps);
    gpsd = AddGpsd(*client, *options.gpsd, counts, inputs);
    if (gpsd == nullptr) return false;
  }
  InputProgress progress(inputs, counts);
  const bool ran = LiveSession(recorder, inputs, gpsd, stop, progress).Run();
  CloseAll(inputs);  // the client's thread sees its pipe closed
  return ran;
}

bool RunReplay(const RecordOptions& options, Recorder& recorder, Inputs& inputs,
               const LineCounts& counts, const StopSignal& stop) {
  InputProgress progress(inputs, counts);
  std::optional<HeldSyncs> held;
  if (options.no_sync) held.emplace();
  ReplaySession(recorder, inputs, stop, progress, options.allow_jumps).Run();
  CloseAll(inputs);
  if (!held || !held->Failed()) return true;
  Say(fmt::format("{}: what was recorded may not be on the device: {}", options.store,
                  TextOfErrno(held->Error())));
  return false;
}

// Until the inputs end or a signal comes.
int Record(const RecordOptions& options) {
  const std::optional<UnitConfiguration> configuration =
      options.config.empty() ? UnitConfiguration() : LoadConfiguration(options.config);
  if (!configuration) return kExitFailure;
  std::optional<Libgps> libgps;
  if (options.gpsd && !(libgps = FindLibgps())) return kExitFailure;
  LineCounts counts;
  Inputs inputs;
  if (!OpenInputs(options, counts, inputs)) return kExitFailure;
  const StopSignal stop;
  if (!BeginInputs(options, inputs, stop)) return kExitFailure;
  if (stop.Requested()) {
    Say(fmt::format("{}: ended by a signal before there was anything to record", options.store));
    return kExitSuccess;
  }
  Recorder recorder(options.store, *configuration);
  if (!recorder.Open(options.begin_anew)) return kExitFailure;
  const bool ran = options.replay ? RunReplay(options, recorder, inputs, counts, stop)
                                  : RunLive(options, libgps, recorder, inputs, counts, stop);
  PrintSummary(options, recorder, counts);
  const bool stored = recorder.Conclude();
  const bool used = !counts.read_error && !counts.useless_input;
  return ran && stored && used ? kExitSuccess : kExitFailure;
}

// ---- The command line ---------------------------------------------------------------

// The value of --gpsd[=HOST:PORT]; the parser gives a flag without a value the text
// "true".
void SetGpsd(const std::string& text, RecordOptions& options) {
  if (text.empty()) return;
  options.gpsd = ParseGpsdAddress(text == "true" ? "" : text);
  if (!options.gpsd) RefuseUsage("--gpsd=" + text + " is no HOST:PORT");
}

void CheckStore(const std::string& store) {
  if (store.empty()) RefuseUsage("STORE is empty");
  if (store.front() == '-') RefuseUsage("STORE must not begin with \"-\"; write ./" + store);
  if (const auto base = RingBaseOf(store))
    RefuseUsage(store + " is a file of a store; STORE would be " + *base);
}

void CheckUsage(const RecordOptions& options) {
  CheckStore(options.store);
  if (options.inputs.empty() && !options.gpsd)
    RefuseUsage("nothing to record: give --input or --gpsd");
  if (options.replay && options.gpsd)
    RefuseUsage("--replay cannot be combined with --gpsd: a live gpsd is not saved");
  if (options.allow_jumps && !options.replay)
    RefuseUsage("--allow-jumps is for --replay: live, this machine is the clock");
  if (options.no_sync && !options.replay)
    RefuseUsage(
        "--no-sync is for --replay: a live recording is there once, and must outlive a "
        "power cut");
  if (std::count(options.inputs.begin(), options.inputs.end(), "-") > 1)
    RefuseUsage("--input - was given twice");
}

std::string WhyNoConfig(const std::string& path) { return path.empty() ? "--config is empty" : ""; }

std::function<int()> AddOptions(CLI::App& parser) {
  const auto options = std::make_shared<RecordOptions>();
  const auto gpsd = std::make_shared<std::string>();
  parser.add_option("STORE", options->store, "Base path of the recording")
      ->required()
      ->type_name("");
  parser.add_option("--input", options->inputs, "Lines of JSON, - for standard input; repeatable")
      ->type_name("FILE")
      ->allow_extra_args(false);
  parser.add_option("--config", options->config, "The unit's configuration, as JSON")
      ->type_name("FILE")
      ->check(WhyNoConfig);
  parser.add_flag("--gpsd", *gpsd, "Read a live gpsd, by default at 127.0.0.1:2947")
      ->option_text("[=HOST:PORT]");
  parser.add_flag("--replay", options->replay,
                  "Ticks and times of the input are the clock, not this machine's");
  parser.add_flag("--allow-jumps", options->allow_jumps,
                  "Follow the input of --replay across more than 400 days at once");
  parser.add_flag("--no-sync", options->no_sync,
                  "Sync what --replay records once, at its end; a power cut until then may cost "
                  "all of it");
  parser.add_flag("--begin-anew", options->begin_anew,
                  "Record even if what the store holds is set aside or removed for it");
  parser.final_callback([options, gpsd] {
    SetGpsd(*gpsd, *options);
    CheckUsage(*options);
  });
  return [options] { return Record(*options); };
}

}  // namespace

constexpr Command kRecordCommand = {"record", kHelp, kFooter, AddOptions};

}  // namespace vmr::tool
