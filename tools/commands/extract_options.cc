#include "tools/commands/extract_options.h"

#include <fmt/format.h>

namespace vmr::tool {
namespace {

constexpr const char* kHelp = "Cuts a range of ticks out of STORE into the file OUT";

constexpr const char* kFooter =
    R"(STORE is the base path of a store, or either of its two files. OUT becomes a flat
metadata file that can be decoded on its own: a label, the full state as it was
at the start, and every packet after the start up to the end and 10 seconds past
it. It appears when it is complete; `vmr view OUT` prints it.

T is a tick (half seconds, counted on over all runs of a store) or a time such as
2019-06-19T16:33:57-05:00, 2019-06-19T21:33:57Z or, in the local time of this
machine or of --time-zone, 2019-06-19T16:33. Times are good to about a second;
of a time that the recorded clock shows twice, the wider range is taken.
--to 4294967295 is the end of the recording, whenever that is.

Examples:
  vmr extract trips/car7 stop.vmd --from 2082 --to 2250
  vmr extract trips/car7 stop.vmd --from 2019-06-19T21:51:20Z --to 2019-06-19T21:52:45Z
  vmr extract trips/car7 stop.vmd --time-zone America/Chicago \
      --from 2019-06-19T16:51 --to 2019-06-19T16:53 --margin 30

The store is not changed, and may be recorded into meanwhile.

Exit codes: 0 the packets of the range were copied, 1 failure, OUT is as it was,
2 wrong usage, 3 OUT was written but not all of the range is in it: the recording
ends or has gaps inside the range, or holds nothing of it.
Environment: VMR_LOG, what is logged; see vmr --help.)";

constexpr unsigned int kLongestMargin_s = 0x7FFFFFFF;

void Refuse(const std::string& what) { throw CLI::ValidationError(what); }

TimePoint TakePoint(const char* option, const std::string& text) {
  const auto point = ParseTimePoint(text);
  if (!point)
    Refuse(
        fmt::format("{} {}: neither a tick (0 to 4294967295) nor a time such as "
                    "2019-06-19T21:33:57Z",
                    option, text));
  return *point;
}

void TakeMargin(const std::string& text, ExtractOptions& options) {
  const auto seconds = ParseTimePoint(text);
  if (!seconds || !seconds->tick || *seconds->tick > kLongestMargin_s)
    Refuse(fmt::format("--margin {}: not a number of seconds", text));
  options.margin_s = *seconds->tick;
}

void CheckOrder(const ExtractArguments& arguments) {
  const TimePoint& from = arguments.options.from;
  const TimePoint& to = arguments.options.to;
  const bool comparable = from.tick.has_value() == to.tick.has_value();
  const bool backwards =
      from.tick && to.tick ? *from.tick > *to.tick : from.earliest_us > to.latest_us;
  if (comparable && backwards)
    Refuse(fmt::format("--from {} is after --to {}", arguments.from, arguments.to));
}

void Complete(ExtractArguments& arguments) {
  ExtractOptions& options = arguments.options;
  if (options.store.empty()) Refuse("STORE is empty");
  if (options.out.empty()) Refuse("OUT is empty");
  if (!options.time_zone.empty() && !UseTimeZone(options.time_zone))
    Refuse(
        fmt::format("--time-zone {}: not known here; a name such as America/Chicago (package "
                    "tzdata)",
                    options.time_zone));
  options.from = TakePoint("--from", arguments.from);
  options.to = TakePoint("--to", arguments.to);
  if (!arguments.margin.empty()) TakeMargin(arguments.margin, options);
  CheckOrder(arguments);
}

}  // namespace

CLI::App* AddExtract(CLI::App& app, ExtractArguments& arguments) {
  CLI::App* const extract = app.add_subcommand("extract", kHelp);
  ExtractOptions& options = arguments.options;
  extract->footer(kFooter);
  extract->add_option("STORE", options.store, "The recording")->required()->type_name("");
  extract->add_option("OUT", options.out, "The file to write")->required()->type_name("");
  extract->add_option("--from", arguments.from, "Where the range begins")
      ->required()
      ->type_name("T");
  extract->add_option("--to", arguments.to, "Where it ends")->required()->type_name("T");
  extract->add_option("--margin", arguments.margin, "Widens the range at both ends")
      ->type_name("SECONDS");
  extract->add_option("--time-zone", options.time_zone, "Whose local time T is, and is printed in")
      ->type_name("ZONE");
  extract->add_flag("--force", options.force, "Replace OUT if it exists");
  extract->final_callback([&arguments] { Complete(arguments); });
  return extract;
}

}  // namespace vmr::tool
