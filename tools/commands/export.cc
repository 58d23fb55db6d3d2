// `vmr export`: writes out what a recording says, for other programs.
#include <memory>
#include <string>

#include "tools/commands/command.h"
#include "tools/commands/reading_options.h"
#include "tools/common/console.h"
#include "tools/common/text_output.h"
#include "tools/read/json_line.h"

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

class JsonLines final : public records::Sink {
 public:
  explicit JsonLines(TextOutput& out) : out_(out) {}

  void OnRecord(const records::Record& record) override { Put(record); }
  void OnGap(const records::Gap& gap) override { Put(gap); }
  void OnClockStep(const records::ClockStep& step) override { Put(step); }

 private:
  template <typename Found>
  void Put(const Found& found) {
    line_.clear();
    AppendJsonLine(found, line_);
    out_.Write({line_.data(), line_.size()});
  }

  TextOutput& out_;
  LineBuffer line_;
};

int Export(const ReadingOptions& options) {
  TextOutput out;
  if (!out.Open(options.out, options.force)) return kExitFailure;
  const int exit_code = ForEachReading(options, [&](Reading& reading) {
    JsonLines lines(out);
    return ReadRange(reading, options.kinds, lines).complete ? kExitSuccess : kExitPartial;
  });
  return out.Finish(exit_code);
}

std::function<int()> AddOptions(CLI::App& parser) {
  const auto options = std::make_shared<ReadingOptions>();
  AddPaths(parser, *options);
  AddRange(parser, *options);
  AddTimeZone(parser, options->time_zone);
  AddKinds(parser, *options);
  AddOutput(parser, *options);
  parser.final_callback([options] { CheckReadingUsage(*options); });
  return [options] { return Export(*options); };
}

}  // namespace

constexpr Command kExportCommand = {"export", kHelp, kFooter, AddOptions};

}  // namespace vmr::tool
