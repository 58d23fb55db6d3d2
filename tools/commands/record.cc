#include "tools/commands/record.h"

#include <errno.h>
#include <fmt/format.h>
#include <poll.h>
#include <string.h>
#include <sys/stat.h>

#include <algorithm>

#include "tools/common/console.h"
#include "tools/record/input.h"
#include "tools/record/live_session.h"
#include "tools/record/progress.h"
#include "tools/record/recorder.h"
#include "tools/record/replay_session.h"
#include "tools/record/stop_signal.h"
#include "tools/record/unit_configuration.h"

namespace vmr::tool {
namespace {

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

// Adds the gpsd as one more input; null when it could not be started.
const Input* AddGpsd(const GpsdClient& client, const GpsdAddress& address, LineCounts& counts,
                     Inputs& inputs) {
  const std::string name = "gpsd " + address.Text();
  if (client.ReadEnd() < 0) {
    Say(fmt::format("{}: {}", name, strerror(errno)));
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

bool RunLive(const RecordOptions& options, Recorder& recorder, Inputs& inputs, LineCounts& counts,
             const StopSignal& stop) {
  std::optional<GpsdClient> client;
  const Input* gpsd = nullptr;
  if (options.gpsd) {
    client.emplace(*options.gpsd);
    gpsd = AddGpsd(*client, *options.gpsd, counts, inputs);
    if (gpsd == nullptr) return false;
  }
  Progress progress(inputs, counts);
  const bool ran = LiveSession(recorder, inputs, gpsd, stop, progress).Run();
  CloseAll(inputs);  // the client's thread sees its pipe closed
  return ran;
}

bool RunReplay(const RecordOptions& options, Recorder& recorder, Inputs& inputs,
               const LineCounts& counts, const StopSignal& stop) {
  Progress progress(inputs, counts);
  ReplaySession(recorder, inputs, stop, progress, options.allow_jumps).Run();
  CloseAll(inputs);
  return true;
}

}  // namespace

int Record(const RecordOptions& options) {
  const std::optional<UnitConfiguration> configuration =
      options.config.empty() ? UnitConfiguration() : LoadConfiguration(options.config);
  if (!configuration) return kExitFailure;
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
                                  : RunLive(options, recorder, inputs, counts, stop);
  PrintSummary(options, recorder, counts);
  const bool stored = recorder.Conclude();
  const bool used = !counts.read_error && !counts.useless_input;
  return ran && stored && used ? kExitSuccess : kExitFailure;
}

}  // namespace vmr::tool
