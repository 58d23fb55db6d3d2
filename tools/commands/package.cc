// `vmr package`: a bag of evidence that can be checked without this program.
#include "tools/evidence/package.h"

#include <fmt/format.h>

#include <memory>
#include <string>

#include "tools/commands/asked_instant.h"
#include "tools/commands/command.h"
#include "tools/commands/passphrase_options.h"
#include "tools/commands/reading_options.h"
#include "tools/commands/redact_option.h"
#include "tools/common/console.h"
#include "tools/common/numbers.h"
#include "tools/evidence/bag_format.h"

namespace vmr::tool {
namespace {

constexpr const char* kHelp = "Packs a range of a store as evidence, with digests and signature";

constexpr const char* kFooter =
    R"(OUT becomes a ZIP archive with one folder, a BagIt bag: the extract of the range,
completed and as the unit makes it, its records as lines of JSON, tables and a
way, the page of `vmr report`, the findings of `vmr check`, the digests of the
store's files, and a statement of what was packaged, by which version on which
machine, and how far the unit's clock can be trusted. Manifests hold a SHA-256 of
each file; README.txt says how to check them with sha256sum and OpenSSL alone.
`vmr verify OUT` checks all of it. The store must not be recorded into meanwhile.

--sign signs the tag manifest, and by that everything, with a key of `vmr key`. Of a
key behind a passphrase that is asked for at the terminal.
--redact takes out what the classes of LIST name, such as identity,gps=1km; see `vmr
extract --help`. All in the bag is then made of what is left, the unit's own extract
is not in it, and it says what was taken out, in the name of --by. It carries the
digest of the bag that the same words without --redact, with its Packaging-Time for
--at, make.

--tsa-query writes what a time-stamping authority (RFC 3161) is to be asked; how it
gets there and back is yours. With its reply, or later for a query:
  vmr package OUT --tsa-reply FILE     puts the reply into the bag
  vmr package OUT --tsa-query FILE     writes the query for a bag that is there

T is a tick (half seconds, counted on over all runs of a store) or a time, in the
recorded time zone unless --time-zone names another; `vmr extract --help` has the
forms. The same store, range, key and --at make the same bytes. SOURCE_DATE_EPOCH,
seconds since 1970, stands for --at.

Examples:
  vmr package trips/car7 case-17.zip --from 2019-06-19T16:51 --to 2019-06-19T16:53 \
      --case 17 --by "Jane Doe" --reason "Stop on I-80" --sign jane
  vmr package trips/car7 public.zip --from 2082 --to 2250 --by "Jane Doe" --sign jane \
      --redact identity,gps=1km
  curl -H 'Content-Type: application/timestamp-query' --data-binary @q.tsq URL > r.tsr

Exit codes: 0 success, 1 failure, OUT is as it was unless only this summary could
not be printed, 2 wrong usage, 3 OUT was written but not all of the range is
recorded.)";

struct Typed {
  PackageOptions options;
  std::string store;  // the only path: a bag that is there
  std::string tsa_reply;
  std::optional<TypedTime> at;
};

int Run(const Typed& typed) {
  const PackageOptions& options = typed.options;
  if (!typed.tsa_reply.empty())
    return AddTimeStampReply(typed.store, typed.tsa_reply, options.force);
  if (options.out.empty())
    return WriteTimeStampQuery(typed.store, options.tsa_query, options.force);
  return Package(options);
}

void CheckText(const char* option, const std::string& text) {
  if (text.empty()) return;
  const std::string why = WhyNoTagValue(text);
  if (!why.empty()) RefuseUsage(fmt::format("{} {}", option, why));
}

// Of a bag that is there only what goes with it.
void CheckOfBag(const Typed& typed) {
  const PackageOptions& options = typed.options;
  const bool has_query = !options.tsa_query.empty(), has_reply = !typed.tsa_reply.empty();
  if (!has_query && !has_reply) RefuseUsage("OUT is required");
  if (has_query && has_reply) RefuseUsage("--tsa-query and --tsa-reply are two steps");
  if (options.asked.from || options.asked.to || typed.at || !options.sign.empty() ||
      options.redaction || !options.reason.empty() || !options.case_id.empty() ||
      !options.by.empty())
    RefuseUsage("a bag that is there is not made anew: only --tsa-query or --tsa-reply go with it");
}

void CheckOfStore(Typed& typed) {
  PackageOptions& options = typed.options;
  options.asked.store = typed.store;
  if (!options.asked.from) RefuseUsage("--from is required");
  if (!options.asked.to) RefuseUsage("--to is required");
  if (!typed.tsa_reply.empty())
    RefuseUsage("--tsa-reply goes with a bag that is there: vmr package OUT --tsa-reply FILE");
  CheckTimeZone(options.asked.time_zone);
  CheckOrder(options.asked.from, options.asked.to);
  CheckText("--reason", options.reason);
  CheckText("--case", options.case_id);
  CheckText("--by", options.by);
  CheckInstant("--at", typed.at);
  if (typed.at && typed.at->kind != TypedTime::Kind::kInstant)
    RefuseUsage(fmt::format("--at {}: say a time with its offset, such as 2026-11-22T18:00:00Z",
                            typed.at->text));
  if (typed.at) options.at_us = typed.at->us;
  if (options.redaction && options.by.empty())
    RefuseUsage("--redact needs --by: the bag says in whose name something was taken out");
  if (options.passphrase.IsGiven() && options.sign.empty())
    RefuseUsage("a passphrase goes with --sign");
}

std::function<int()> AddOptions(CLI::App& parser) {
  const auto typed = std::make_shared<Typed>();
  PackageOptions& options = typed->options;
  parser.add_option("STORE", typed->store, "The recording")->required()->type_name("");
  parser.add_option("OUT", options.out, "The bag to write")->type_name("");
  AddTime(parser, "--from", options.asked.from, "Where the range begins");
  AddTime(parser, "--to", options.asked.to, "Where it ends");
  AddTimeZone(parser, options.asked.time_zone);
  parser.add_option("--reason", options.reason, "Why it is packaged")->type_name("TEXT");
  parser.add_option("--case", options.case_id, "For which case")->type_name("ID");
  parser.add_option("--by", options.by, "By whom")->type_name("NAME");
  parser.add_option("--sign", options.sign, "Sign it with this private key")->type_name("KEY");
  AddPassphrase(parser, options.passphrase);
  AddRedact(parser, options.redaction, "Take out what LIST names");
  AddTime(parser, "--at", typed->at, "When it is packaged; else now");
  parser.add_option("--tsa-query", options.tsa_query, "Write the query for a time stamp")
      ->type_name("FILE");
  parser.add_option("--tsa-reply", typed->tsa_reply, "Put the reply into a bag that is there")
      ->type_name("FILE");
  parser.add_flag("--force", options.force, "Replace OUT, the query, a reply in the bag");
  parser.final_callback([typed] {
    if (typed->store.empty()) RefuseUsage("STORE is empty");
    if (typed->options.out.empty())
      CheckOfBag(*typed);
    else
      CheckOfStore(*typed);
  });
  return [typed] { return Run(*typed); };
}

}  // namespace

constexpr Command kPackageCommand = {"package", kHelp, kFooter, AddOptions};

}  // namespace vmr::tool
