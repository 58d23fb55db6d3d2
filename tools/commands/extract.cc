// `vmr extract`: cuts a range of ticks out of a store.
#include <fmt/format.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/commands/command.h"
#include "tools/commands/reading_options.h"
#include "tools/commands/redact_option.h"
#include "tools/common/console.h"
#include "tools/common/file_digest.h"
#include "tools/common/numbers.h"
#include "tools/common/output_file.h"
#include "tools/common/sha256.h"
#include "tools/evidence/extract_summary.h"
#include "tools/evidence/extraction.h"

namespace vmr::tool {
namespace {

constexpr const char* kHelp = "Cuts a range of ticks out of STORE into the file OUT";

constexpr const char* kFooter =
    R"(STORE is the base path of a store, or either of its two files. OUT becomes a flat
metadata file that can be decoded on its own: a label, the full state as it was
at the start, and every packet from the start up to the end and 10 seconds past
it. It appears when it is complete; `vmr view OUT` prints it.

The state is what the recording tells, value by value: what a unit would write
there is compared with it, corrected and completed, and what nothing recorded
tells is left out. A log item at the start says how much of it that was; it is
printed, too. --as-unit keeps the state as the unit makes it. What was lost inside
the range is marked in OUT, where it is missing.

T is a tick (half seconds, counted on over all runs of a store) or a time:
2019-06-19T21:33:57Z, 2019-06-19T16:33-05:00, @1560979977 (seconds since 1970),
now, -15min (s, min, h, d: so long ago), or in the time zone 2019-06-19T16:33 and
2019-06-19, the whole day. The time zone is the recorded one unless --time-zone
names another (America/Chicago, UTC, local: this machine's), and UTC where none is
recorded. Times are good to about a second. --from 0 is the beginning of the
recording and --to 4294967295 its end, whenever they are.

Examples:
  vmr extract trips/car7 stop.vmd --from 2082 --to 2250
  vmr extract trips/car7 stop.vmd --from 2019-06-19T21:51:20Z --to 2019-06-19T21:52:45Z
  vmr extract trips/car7 stop.vmd --time-zone America/Chicago \
      --from 2019-06-19T16:51 --to 2019-06-19T16:53 --margin 30
  vmr extract trips/car7 public.vmd --from 2082 --to 2250 --redact identity,gps=1km

--redact takes out of OUT what the classes of LIST name, as if it had never been
recorded, and free texts with it, which may repeat anything (text=keep: they stay):
identity (officer, vehicle, department, numbers, addresses, names of devices),
gps (positions, speeds, receiver, time zone; gps=1km and gps=100m: positions are
moved to the middles of such cells), text, radar, speed, audio (microphones),
cameras, streams, inputs (lights, siren, buttons, bookmarks, the supply),
temperature. docs/redaction.md says what that does not protect.

The last line printed is the SHA-256 digest of OUT. With --digest all that is
printed can be given to `sha256sum -c`: the digests of OUT and of the store's two
files, the rest behind #. The store is not changed, and may be recorded into
meanwhile; of its files' digests that is said then.

Exit codes: 0 the packets of the range were copied, 1 failure, OUT is as it was,
2 wrong usage, 3 OUT was written but not all of the range is in it: the recording
begins, ends or has gaps inside the range, or holds nothing of it.
Environment: VMR_LOG, what is logged; see vmr --help.)";

struct ExtractOptions {
  AskedExtract asked;
  std::string out;
  bool as_unit = false;
  std::optional<Redaction> redaction;
  bool digest = false;
  bool force = false;  // replace `out`
};

// All on standard output is for `sha256sum -c`.
std::string WithDigests(const std::string& summary, const std::string& sha256,
                        const OpenedRecording& recording, const ExtractOptions& options) {
  FileDigest of_out;
  of_out.path = options.out;
  of_out.sha256 = sha256;
  std::string text = AsRemarks(summary) + DigestText(of_out);
  for (const FileDigest& digest : DigestsOf(recording.files)) text += DigestText(digest);
  return text;
}

// The end of a successful extraction: the file gets its name, and it is said what
// is in it.
int Conclude(const StoreRange& range, const ExtractOptions& options, OutputFile& out) {
  const std::string& base = range.Recording().name;
  const ExtractionFacts& facts = range.Facts();
  const std::optional<std::string> digest = Sha256OfFile(out.Descriptor());
  if (!digest) {
    Say(fmt::format("{}: its digest cannot be reckoned", base));
    return kExitFailure;
  }
  if (!out.TakeUsualMode() || !out.Publish()) return kExitFailure;
  if (!facts.cut)
    if (const auto folded = FoldedStart(facts)) Say(fmt::format("{}: {}", base, *folded));
  const std::vector<std::string> missing = WhatIsMissing(facts);
  for (const std::string& reason : missing) Say(fmt::format("{}: {}", base, reason));
  const std::string summary = DescribeExtraction(facts);
  if (options.digest)
    fmt::print("{}", WithDigests(summary, *digest, range.Recording(), options));
  else
    fmt::print("{}sha256:  {}\n", summary, *digest);
  return FinishOutput(missing.empty() ? kExitSuccess : kExitPartial);
}

bool ExtractInto(const ExtractFile& file, const ExtractOptions& options, StoreRange& range) {
  if (options.as_unit) return range.ExtractAsUnitInto(file);
  return options.redaction ? range.CutRedactedInto(file, options.out, *options.redaction)
                           : range.CutInto(file, options.out);
}

// Writes `out` or leaves what was there. Says on standard output what it did.
// kExitPartial when the file was written but part of the range is not in it.
int Extract(const ExtractOptions& options) {
  StoreRange range;
  const int opened = range.Open(options.asked, options.out);
  if (opened != kExitSuccess) return opened;
  OutputFile out(options.out, options.force);
  if (!out.Open()) return kExitFailure;
  const ExtractFile file = {out.Descriptor(), out.TemporaryPath(), options.out};
  return ExtractInto(file, options, range) ? Conclude(range, options, out) : kExitFailure;
}

// ---- The command line ---------------------------------------------------------------

constexpr unsigned int kLongestMargin_s = 0x7FFFFFFF;

unsigned int MarginOf(const std::string& text) {
  const auto seconds = ParseNumber(text, kLongestMargin_s);
  if (!seconds) RefuseUsage(fmt::format("--margin {}: not a number of seconds", text));
  return *seconds;
}

std::function<int()> AddOptions(CLI::App& parser) {
  const auto options = std::make_shared<ExtractOptions>();
  parser.add_option("STORE", options->asked.store, "The recording")->required()->type_name("");
  parser.add_option("OUT", options->out, "The file to write")->required()->type_name("");
  AddTime(parser, "--from", options->asked.from, "Where the range begins")->required();
  AddTime(parser, "--to", options->asked.to, "Where it ends")->required();
  parser
      .add_option_function<std::string>(
          "--margin",
          [options](const std::string& text) { options->asked.margin_s = MarginOf(text); },
          "Widens the range at both ends")
      ->type_name("SECONDS");
  AddTimeZone(parser, options->asked.time_zone);
  parser.add_flag("--as-unit", options->as_unit, "Keep the state as a unit makes it");
  AddRedact(parser, options->redaction, "Take out of OUT what LIST names");
  parser.add_flag("--digest", options->digest, "Print digests that sha256sum -c reads");
  parser.add_flag("--force", options->force, "Replace OUT if it exists");
  parser.final_callback([options] {
    if (options->as_unit && options->redaction)
      RefuseUsage(
          "--as-unit and --redact do not go together: what a unit says of its state is not "
          "verified, so nobody can tell what would have to be taken out");
    if (options->asked.store.empty()) RefuseUsage("STORE is empty");
    if (options->out.empty()) RefuseUsage("OUT is empty");
    CheckTimeZone(options->asked.time_zone);
    CheckOrder(options->asked.from, options->asked.to);
  });
  return [options] { return Extract(*options); };
}

}  // namespace

constexpr Command kExtractCommand = {"extract", kHelp, kFooter, AddOptions};

}  // namespace vmr::tool
