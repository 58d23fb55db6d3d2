// `vmr export`: writes out what a recording says, for other programs.
#include <fmt/format.h>
#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "records/decoder.h"
#include "tools/commands/command.h"
#include "tools/common/console.h"
#include "tools/common/numbers.h"
#include "tools/read/json_line.h"
#include "tools/read/opened_recording.h"

namespace vmr::tool {
namespace {

constexpr const char* kHelp = "Writes out what PATH says, for other programs";

constexpr const char* kFooter =
    R"(PATH is the base path of a store, either of its two files, a flat metadata file,
or a single file of a store.

The output is JSON, a line for each record, with its tick, its time in UTC and
how well that is known, its fields by name, and where it stands. What was lost is
a line of kind "gap", a clock that was set one of kind "clock_step". Records of a
packet whose CRC is wrong are marked "packet_crc":"wrong"; what a full state only
repeats has "repeats":true. Positions are signed: north and east are positive.

Examples:
  vmr export trips/car7 > car7.jsonl
  vmr export trips/car7 --kind position,speed --from 1000 --to 2000
  vmr export stop.vmd --kind input | jq -r 'select(.on) | .time + " " + .input'

Exit codes: 0 success, 1 PATH could not be read, 2 wrong usage, 3 something of it
is lost: there are gaps.)";

struct ExportOptions {
  std::string path;
  unsigned int from = 0;
  unsigned int to = 0xFFFFFFFF;
  std::vector<std::string> kinds;  // none: all
};

class JsonLines final : public records::Sink {
 public:
  JsonLines(const ExportOptions& options, std::set<records::KindId> kinds)
      : options_(options), kinds_(std::move(kinds)) {}
  ~JsonLines() override { Write(); }

  void OnRecord(const records::Record& record) override {
    if (!IsAsked(record.tick)) return;
    if (!kinds_.empty() && kinds_.count(record.kind->id) == 0) return;
    AppendJsonLine(record, line_);
    WriteWhenFull();
  }
  void OnGap(const records::Gap& gap) override {
    if (gap.to_tick != kNoTick && gap.to_tick < options_.from) return;
    if (gap.from_tick != kNoTick && gap.from_tick > options_.to) return;
    if (gap.reason != records::GapReason::kOverwritten) has_gaps_ = true;
    AppendJsonLine(gap, line_);
  }
  void OnClockStep(const records::ClockStep& step) override {
    if (IsAsked(step.tick)) AppendJsonLine(step, line_);
  }

  void Write() {
    std::fwrite(line_.data(), 1, line_.size(), stdout);
    line_.clear();
  }
  bool HasGaps() const { return has_gaps_; }

 private:
  // Records without a tick count where everything is asked for.
  bool IsAsked(unsigned int tick) const {
    if (tick == kNoTick) return options_.from == 0;
    return tick >= options_.from && tick <= options_.to;
  }
  void WriteWhenFull() {
    constexpr std::size_t kEnough = 64 * 1024;
    if (line_.size() >= kEnough) Write();
  }

  const ExportOptions& options_;
  const std::set<records::KindId> kinds_;
  LineBuffer line_;
  bool has_gaps_ = false;
};

int Export(const ExportOptions& options, const std::set<records::KindId>& kinds) {
  signal(SIGPIPE, SIG_DFL);
  const OpenedRecording opened = OpenRecording(options.path, PathKind::kDetect);
  if (opened.source == nullptr) {
    Say(opened.error);
    return kExitFailure;
  }
  if (!opened.remark.empty()) Say(opened.remark);
  JsonLines lines(options, kinds);
  records::Decoder(*opened.source, lines).Run();
  lines.Write();
  return FinishOutput(lines.HasGaps() ? kExitPartial : kExitSuccess);
}

// ---- The command line ---------------------------------------------------------------

std::set<records::KindId> KindsOf(const std::vector<std::string>& names) {
  std::set<records::KindId> kinds;
  for (const std::string& name : names) {
    const records::KindRow* const row = records::FindKind(name.c_str());
    if (row == nullptr) {
      std::string known;
      for (const records::KindRow& kind : records::Kinds()) known += std::string(" ") + kind.name;
      RefuseUsage(fmt::format("{} is no kind of record; there are:{}", name, known));
    }
    kinds.insert(row->id);
  }
  return kinds;
}

void AddTick(CLI::App& parser, const char* name, unsigned int& tick, const char* help) {
  parser
      .add_option_function<std::string>(
          name,
          [&tick](const std::string& text) {
            const auto parsed = ParseTick(text);
            if (!parsed) RefuseUsage(text + " is no tick (0 to 4294967295)");
            tick = *parsed;
          },
          help)
      ->type_name("TICK");
}

std::function<int()> AddOptions(CLI::App& parser) {
  const auto options = std::make_shared<ExportOptions>();
  const auto kinds = std::make_shared<std::set<records::KindId>>();
  parser.add_option("PATH", options->path, "The recording")->required()->type_name("");
  AddTick(parser, "--from", options->from, "First tick");
  AddTick(parser, "--to", options->to, "Last tick");
  parser.add_option("--kind", options->kinds, "Only records of these kinds")
      ->delimiter(',')
      ->type_name("KIND,...");
  parser.final_callback([options, kinds] {
    if (options->from > options->to)
      RefuseUsage(fmt::format("--from {} is after --to {}", options->from, options->to));
    *kinds = KindsOf(options->kinds);
  });
  return [options, kinds] { return Export(*options, *kinds); };
}

}  // namespace

constexpr Command kExportCommand = {"export", kHelp, kFooter, AddOptions};

}  // namespace vmr::tool
