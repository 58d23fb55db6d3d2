// `vmr diff`: what is set otherwise in two recordings, or at two times of one.
#include <fmt/format.h>

#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>

#include "tools/commands/asked_instant.h"
#include "tools/commands/command.h"
#include "tools/commands/reading_options.h"
#include "tools/common/console.h"
#include "tools/common/text_output.h"
#include "tools/read/phrase.h"
#include "tools/read/state_at.h"
#include "tools/read/state_json.h"
#include "tools/read/state_words.h"

namespace vmr::tool {
namespace {

using records::KindId;

constexpr const char* kHelp = "Compares the settings of two recordings, or at two times of one";

constexpr const char* kBeforeReading =
    R"(Compares what is in force in A and in B, both at T or else at their ends; or in one
recording at two times, --at and --and. Compared are policies, identity, versions, and
the names, formats and units of devices, or what --kind asks for. Prints "- old" and
"+ new", or "no difference"; what nothing tells on one side is unknown there. Recorded
texts stand in quotes. T is an instant: a date alone is none.

)";
constexpr const char* kBehindReading = R"(

Examples:
  vmr diff trips/car7 trips/car8
  vmr diff trips/car7 --at 2019-06-19T16:40 --and now --kind policy
  vmr diff before.vmd after.vmd --exit-code > /dev/null || echo changed

Exit codes: 0 compared, whether there are differences or not, 1 a recording could not
be read, 2 wrong usage, 3 something is unknown on one side only, or got lost, 5 there
are differences, and --exit-code was given.)";

constexpr int kExitDiffers = 5;

constexpr KindId kSettings[] = {
    KindId::kMac,          KindId::kSerialNumber,     KindId::kVehicle,
    KindId::kDepartment,   KindId::kOfficer,          KindId::kBadge,
    KindId::kTimeZone,     KindId::kTimeZoneName,     KindId::kVersion,
    KindId::kPolicy,       KindId::kGpsReceiver,      KindId::kSpeedDevice,
    KindId::kRadarDevice,  KindId::kCameraName,       KindId::kMicrophoneName,
    KindId::kStreamFormat, KindId::kTemperatureSensor};

struct DiffOptions {
  ReadingOptions reading;
  std::optional<TypedTime> at;
  std::optional<TypedTime> and_at;
  std::optional<int> run;
  std::string format;
  bool exit_code = false;
};

struct Side {
  std::string name;
  std::string asked;
  std::optional<StateAt> state;
  std::string where;  // "car7: tick 150, 2024-05-01 10:01:10+00:00"
};

struct Difference {
  StateTable::Key key;
  const StateEntry* a;  // null: unknown
  const StateEntry* b;
};

// ---- Reading ---------------------------------------------------------------------

std::string WhereOf(const Side& side) {
  const StateAt& state = *side.state;
  std::string where = EscapedText(side.name) + ": ";
  where += state.at ? InstantText(*state.at, state.time, state.at->run > 0) : side.asked;
  return state.why_not.empty() ? where : where + ": " + state.why_not;
}

// Of a second recording, which a folder may hold.
int RefuseSecond(const Reading& reading) {
  Say(fmt::format("{}: one recording is compared with one; this is another in the same folder",
                  reading.recording.name));
  return kExitUsage;
}

int ReadSide(const DiffOptions& options, const std::string& path,
             const std::optional<TypedTime>& at, Side& side) {
  ReadingOptions reading_options = options.reading;
  reading_options.paths = {path};
  reading_options.from = at;
  return ForEachReading(reading_options, [&](Reading& reading) {
    if (side.state) return RefuseSecond(reading);
    AskedTime asked{reading.range.from, at && at->is_now, options.run, at ? at->text : "the end"};
    if (asked.point && asked.point->tick == 0xFFFFFFFF) asked.point.reset();
    std::string question;
    auto state = ReadStateAt(*reading.recording.source, asked, question);
    if (!state) {
      Say(fmt::format("{}: {}", reading.recording.name, question));
      return kExitUsage;
    }
    side.name = reading.recording.name;
    side.asked = asked.text;
    side.state.emplace(std::move(*state));
    side.where = WhereOf(side);
    return kExitSuccess;
  });
}

// ---- Comparing -------------------------------------------------------------------

const StateEntry* Known(const Side& side, const StateTable::Key& key) {
  const auto found = side.state->table.All().find(key);
  const bool is_known = found != side.state->table.All().end() && !found->second.IsUnknown();
  return is_known ? &found->second : nullptr;
}

bool SameValue(const records::Value& a, const records::Value& b) {
  return a.present == b.present && (!a.present || (a.number == b.number && a.text == b.text));
}

bool SaysTheSame(const StateEntry& a, const StateEntry& b) {
  const records::KindRow& kind = *a.said.Get().kind;
  for (std::size_t i = kind.key_fields; i < kind.field_count; ++i)
    if (!SameValue(a.ValueOf(i), b.ValueOf(i))) return false;
  return true;
}

std::vector<Difference> Compare(const DiffOptions& options, const Side& a, const Side& b) {
  std::set<KindId> kinds = options.reading.kinds;
  if (kinds.empty()) kinds.insert(std::begin(kSettings), std::end(kSettings));
  std::set<StateTable::Key> keys;
  for (const Side* const side : {&a, &b})
    for (const auto& [key, entry] : side->state->table.All())
      if (kinds.count(key.first) > 0) keys.insert(key);
  std::vector<Difference> differences;
  for (const StateTable::Key& key : keys) {
    const Difference found{key, Known(a, key), Known(b, key)};
    const bool same = found.a == nullptr ? found.b == nullptr
                                         : found.b != nullptr && SaysTheSame(*found.a, *found.b);
    if (!same) differences.push_back(found);
  }
  return differences;
}

// ---- Printing --------------------------------------------------------------------

void PrintText(const Side& a, const Side& b, const std::vector<Difference>& differences,
               TextOutput& out) {
  out.Write(fmt::format("--- {}\n+++ {}\n", a.where, b.where));
  const auto put = [&out](char sign, const Difference& found, const StateEntry* entry) {
    const std::string value = entry == nullptr ? "(unknown)" : ValueWords(*entry);
    out.Write(fmt::format("{} {}: {}\n", sign, SubjectWords(found.key), value));
  };
  for (const Difference& found : differences) {
    put('-', found, found.a);
    put('+', found, found.b);
  }
  if (differences.empty()) out.Write("no difference\n");
}

class DiffJson {
 public:
  void Head(const char* name, const Side& side) {
    Put(name);
    AppendStateHead(side.name, side.asked, *side.state, line_);
    Put("}");
  }
  void Differences(const std::vector<Difference>& differences) {
    Put(",\"differences\":[");
    bool is_first = true;
    for (const Difference& found : differences) {
      Put(std::exchange(is_first, false) ? "{" : ",{");
      Put(fmt::format("\"kind\":\"{}\"", records::KindOf(found.key.first).name));
      Put(KeyMembers(found.key));
      PutEntry(",\"old\":", found.a);
      PutEntry(",\"new\":", found.b);
      Put("}");
    }
    Put("]}\n");
  }
  std::string_view Text() const { return {line_.data(), line_.size()}; }

 private:
  void Put(std::string_view text) { line_.append(text.data(), text.data() + text.size()); }
  void PutEntry(const char* name, const StateEntry* entry) {
    Put(name);
    entry == nullptr ? Put("null") : AppendJsonObject(entry->said.Get(), "", line_);
  }

  LineBuffer line_;
};

void PrintJson(const Side& a, const Side& b, const std::vector<Difference>& differences,
               TextOutput& out) {
  DiffJson json;
  json.Head("{\"a\":{", a);
  json.Head(",\"b\":{", b);
  json.Differences(differences);
  out.Write(json.Text());
}

// ---- The command -----------------------------------------------------------------

// A difference for sure says more than that something else is unknown.
int ExitCode(const DiffOptions& options, const Side& a, const Side& b,
             const std::vector<Difference>& differences) {
  bool differs = false, is_unknown = false;
  for (const Difference& found : differences)
    (found.a == nullptr || found.b == nullptr ? is_unknown : differs) = true;
  for (const Side* const side : {&a, &b})
    if (!side->state->IsComplete()) {
      is_unknown = true;
      const std::string& why = side->state->why_not;
      Say(fmt::format("{}: {}", side->name,
                      why.empty() ? "not all is known: something got lost in a gap" : why));
    }
  if (differs && options.exit_code) return kExitDiffers;
  return is_unknown ? kExitPartial : kExitSuccess;
}

int Diff(const DiffOptions& options) {
  TextOutput out;
  if (!out.Open(options.reading.out, options.reading.force)) return kExitFailure;
  Side a, b;
  const auto& paths = options.reading.paths;
  int exit_code = ReadSide(options, paths.front(), options.at, a);
  exit_code = Gravest(exit_code, ReadSide(options, paths.back(),
                                          paths.size() == 1 ? options.and_at : options.at, b));
  if (exit_code != kExitSuccess) return out.Finish(exit_code);
  const std::vector<Difference> differences = Compare(options, a, b);
  (options.format == "json" ? PrintJson : PrintText)(a, b, differences, out);
  return out.Finish(ExitCode(options, a, b, differences));
}

void CheckUsage(DiffOptions& options) {
  const std::size_t paths = options.reading.paths.size();
  if (paths > 2) RefuseUsage("two recordings at most are compared");
  if (paths == 1 && (!options.at || !options.and_at))
    RefuseUsage("of one recording two times are compared: --at and --and");
  if (paths == 2 && options.and_at) RefuseUsage("--and is for two times of one recording");
  CheckInstant("--at", options.at);
  CheckInstant("--and", options.and_at);
  CheckReadingUsage(options.reading);
}

std::function<int()> AddOptions(CLI::App& parser) {
  const std::string footer = std::string(kBeforeReading) + kReadingFooter + kBehindReading;
  const auto options = std::make_shared<DiffOptions>();
  AddPaths(parser, options->reading);
  AddTime(parser, "--at", options->at, "When; else at the end of each");
  AddTime(parser, "--and", options->and_at, "Of one recording: the other time");
  AddRun(parser, options->run, "Of ticks or times that several runs have: which, from 0");
  AddTimeZone(parser, options->reading.time_zone);
  AddKinds(parser, options->reading);
  AddFormat(parser, {"text", "json"}, options->format);
  AddOutput(parser, options->reading);
  parser.add_flag("--exit-code", options->exit_code, "End with 5 when there are differences");
  parser.footer(footer);
  parser.final_callback([options] { CheckUsage(*options); });
  return [options] { return Diff(*options); };
}

}  // namespace

constexpr Command kDiffCommand = {"diff", kHelp, kBeforeReading, AddOptions};

}  // namespace vmr::tool
