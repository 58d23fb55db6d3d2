// vmr_crash_states KIND [--only ID] [--states N] [--every N] [--seconds N] [--counts FILE]
// vmr_crash_states --replay ID
//
// Visits states that faults leave of a recording, with --only those whose id begins
// so, and checks each. Prints one line of counts as JSON; exit code 1 when a check
// failed, with the command that repeats it alone.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "host/default/host_control.h"
#include "tests/crash/run.h"

namespace {

using vmr::crash::Options;
using vmr::crash::Run;

struct Kind {
  const char* name;
  void (*enumerate)(Run& run);
};
constexpr Kind kKinds[] = {
    {"single", vmr::crash::EnumerateSingleCuts}, {"double", vmr::crash::EnumerateDoubleCuts},
    {"damage", vmr::crash::EnumerateDamage},     {"calls", vmr::crash::EnumerateFailingCalls},
    {"files", vmr::crash::EnumerateFileFaults},
};

int Usage() {
  std::fprintf(stderr,
               "usage: vmr_crash_states KIND [--only ID] [--states N] [--every N] [--seconds N]\n"
               "                             [--counts FILE]\n"
               "       vmr_crash_states --replay ID\n");
  return 2;
}

bool Parse(int argc, char** argv, Options* options) {
  options->program = argv[0];
  options->states = 1;
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    const char* const value = i + 1 < argc ? argv[i + 1] : nullptr;
    if (argument.compare(0, 2, "--") != 0) {
      options->kind = argument;
      continue;
    }
    if (value == nullptr) return false;
    ++i;
    if (argument == "--states") options->states = std::strtol(value, nullptr, 10);
    if (argument == "--every") options->every = std::max(1L, std::strtol(value, nullptr, 10));
    if (argument == "--seconds") options->seconds = std::strtol(value, nullptr, 10);
    if (argument == "--counts") options->counts = value;
    if (argument == "--only") options->only = value;
    if (argument == "--replay") options->replay = value;
  }
  if (!options->replay.empty())
    options->kind = options->replay.substr(0, options->replay.find('/'));
  // For as long as wanted, by whoever starts the tests.
  if (const char* const longer = std::getenv("VMR_LONG"))
    options->seconds = std::strtol(longer, nullptr, 10);
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  if (!Parse(argc, argv, &options)) return Usage();
  // A state is replayed with VMR_LOG in the environment to see what the store says.
  if (std::getenv("VMR_LOG") == nullptr) vmr::host::SetLogLevel(0);
  for (const Kind& kind : kKinds) {
    if (options.kind != kind.name) continue;
    Run run(options);
    kind.enumerate(run);
    return run.Finish();
  }
  return Usage();
}
