// `vmr view`: prints a recording as text.
#include <errno.h>
#include <fmt/format.h>
#include <signal.h>
#include <unistd.h>

#include <memory>
#include <string>

#include "backends/file_io.h"
#include "reader/metadata_reader.h"
#include "tools/commands/command.h"
#include "tools/common/console.h"
#include "tools/common/numbers.h"
#include "tools/common/store_path.h"

namespace vmr::tool {
namespace {

constexpr const char* kHelp = "Prints the recording at PATH as text";

constexpr const char* kFooter =
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

struct ViewOptions {
  std::string path;
  PathKind kind = PathKind::kDetect;
  unsigned int from = 0;
  unsigned int to = 0xFFFFFFFF;  // the end of the recording
  bool expanded = false;
};

// Whoever reads the listing has seen enough; nothing is being recorded.
void EndOnClosedPipe() {
  struct sigaction action {};
  action.sa_handler = [](int) { _exit(kExitSuccess); };
  sigaction(SIGPIPE, &action, nullptr);
}

bool WroteAll() {
  if (FlushOutput()) return true;
  Say(fmt::format("standard output: {}", errno == 0 ? "write error" : TextOfErrno()));
  return false;
}

// Prints exactly what the library's viewer prints. A closed pipe ends the process
// with success.
int View(const ViewOptions& options) {
  EndOnClosedPipe();
  const Recording recording = FindRecording(options.path, options.kind);
  if (!recording.error.empty()) {
    Say(recording.error);
    return kExitFailure;
  }
  if (!recording.remark.empty()) Say(recording.remark);
  MetadataReader reader(RingAccess::kReadOnly);
  const bool opened =
      reader.ViewFile(recording.path, recording.ring, options.from, options.to, options.expanded);
  if (!opened && recording.ring)
    Say(
        fmt::format("{0}: not readable as a ring; `vmr view --flat {0}_1.mtd` prints what one file "
                    "holds",
                    recording.path));
  return WroteAll() && opened ? kExitSuccess : kExitFailure;
}

// ---- The command line ---------------------------------------------------------------

unsigned int TickOf(const std::string& text) {
  const auto tick = ParseTick(text);
  if (!tick) RefuseUsage(text + " is no tick (0 to 4294967295)");
  return *tick;
}

void AddTick(CLI::App& parser, const char* name, unsigned int& tick, const char* help) {
  parser
      .add_option_function<std::string>(
          name, [&tick](const std::string& text) { tick = TickOf(text); }, help)
      ->type_name("TICK");
}

// The two options that force what PATH is.
struct KindChoice {
  bool ring = false;
  bool flat = false;
};

PathKind KindOf(const KindChoice& choice) {
  if (choice.ring && choice.flat) RefuseUsage("--ring and --flat exclude each other");
  if (choice.ring) return PathKind::kRing;
  return choice.flat ? PathKind::kFlat : PathKind::kDetect;
}

void CheckUsage(const ViewOptions& options) {
  if (options.path.empty()) RefuseUsage("PATH is empty");
  if (options.from > options.to)
    RefuseUsage(fmt::format("--from {} is after --to {}", options.from, options.to));
}

std::function<int()> AddOptions(CLI::App& parser) {
  const auto options = std::make_shared<ViewOptions>();
  const auto choice = std::make_shared<KindChoice>();
  parser.add_option("PATH", options->path, "The recording")->required()->type_name("");
  AddTick(parser, "--from", options->from, "First tick to print");
  AddTick(parser, "--to", options->to, "Last tick to print; the first past it is printed too");
  parser.add_flag("--expanded", options->expanded, "Print the bytes of each packet as well");
  parser.add_flag("--ring", choice->ring, "PATH is a store, whatever it looks like");
  parser.add_flag("--flat", choice->flat, "PATH is a flat file, whatever it looks like");
  parser.final_callback([options, choice] {
    options->kind = KindOf(*choice);
    CheckUsage(*options);
  });
  return [options] { return View(*options); };
}

}  // namespace

constexpr Command kViewCommand = {"view", kHelp, kFooter, AddOptions};

}  // namespace vmr::tool
