#include "tools/commands/reading_options.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <limits>

#include "tools/commands/command.h"
#include "tools/common/numbers.h"

namespace vmr::tool {
namespace {

TypedTime TimeOf(const char* name, const std::string& text) {
  const auto typed = ParseTime(text, Now_us());
  if (!typed) RefuseUsage(fmt::format("{} {}: none of {}", name, text, kTimeForms));
  return *typed;
}

// The kind whose records are of something called `word`; null: none.
const records::KindRow* KindOfOne(const std::string& word) {
  constexpr std::int64_t kMostWords = 256;
  for (const records::KindRow& kind : records::Kinds())
    for (std::int64_t n = 0; kind.fields[0].word != nullptr && n < kMostWords; ++n)
      if (const char* const known = kind.fields[0].word(n); known != nullptr && word == known)
        return &kind;
  return nullptr;
}

}  // namespace

records::KindId KindNamed(const std::string& name) {
  const records::KindRow* const row = records::FindKind(name.c_str());
  if (row != nullptr) return row->id;
  if (const records::KindRow* const kind = KindOfOne(name)) {
    const bool has_vowel = std::strchr("aeiou", kind->name[0]) != nullptr;
    RefuseUsage(fmt::format("--kind {0}: no kind of record; {0} is {1} {2}: --kind {2}", name,
                            has_vowel ? "an" : "a", kind->name));
  }
  std::string known;
  for (const records::KindRow& kind : records::Kinds()) known += std::string(" ") + kind.name;
  RefuseUsage(fmt::format("--kind {}: no kind of record; there are:{}", name, known));
}

void AddPaths(CLI::App& parser, ReadingOptions& options) {
  parser.add_option("PATH", options.paths, "The recordings")->required()->type_name("...");
}

CLI::Option* AddTime(CLI::App& parser, const char* name, std::optional<TypedTime>& time,
                     const char* help) {
  return parser
      .add_option_function<std::string>(
          name, [name, &time](const std::string& text) { time = TimeOf(name, text); }, help)
      ->type_name("T");
}

void AddRange(CLI::App& parser, ReadingOptions& options) {
  AddTime(parser, "--from", options.from, "Where to begin; else, or 0, at the beginning");
  AddTime(parser, "--to", options.to, "Where to end; else, or 4294967295, at the end");
}

void AddTimeZone(CLI::App& parser, std::string& time_zone) {
  parser.add_option("--time-zone", time_zone, "Whose local times: recorded (the default)")
      ->type_name("ZONE");
}

void AddRun(CLI::App& parser, std::optional<int>& run, const char* help) {
  constexpr unsigned int kHighest = std::numeric_limits<int>::max();
  parser
      .add_option_function<std::string>(
          "--run",
          [&run](const std::string& text) {
            const auto number = ParseNumber(text, kHighest);
            if (!number)
              RefuseUsage(fmt::format("--run {}: no number of a run; 0 is the first one", text));
            run = static_cast<int>(*number);
          },
          help)
      ->type_name("N");
}

void AddKinds(CLI::App& parser, ReadingOptions& options) {
  parser
      .add_option_function<std::vector<std::string>>(
          "--kind",
          [&options](const std::vector<std::string>& names) {
            for (const std::string& name : names) options.kinds.insert(KindNamed(name));
          },
          "Only records of these kinds")
      ->delimiter(',')
      ->allow_extra_args(false)  // what follows is a PATH
      ->type_name("KIND,...");
}

void AddOutput(CLI::App& parser, ReadingOptions& options) {
  parser
      .add_option_function<std::string>(
          "-o,--output",
          [&options](const std::string& file) {
            if (file.empty()) RefuseUsage("-o is empty: name a FILE, or - for standard output");
            options.out = file;
          },
          "Write to FILE, which appears when complete")
      ->type_name("FILE");
  parser.add_flag("--force", options.force, "Replace FILE if it exists");
}

void AddFormat(CLI::App& parser, const std::vector<std::string>& formats, std::string& format) {
  format = formats.front();
  std::string help;
  for (const std::string& name : formats) help += (help.empty() ? "" : ", ") + name;
  parser
      .add_option_function<std::string>(
          "--format",
          [formats, help, &format](const std::string& name) {
            if (std::find(formats.begin(), formats.end(), name) == formats.end())
              RefuseUsage(fmt::format("--format {}: none of {}", name, help));
            format = name;
          },
          help + "; the first is the default")
      ->type_name("FORMAT");
}

void CheckTimeZone(const std::string& time_zone) {
  if (time_zone.empty()) RefuseUsage("--time-zone is empty");
  if (time_zone != kRecordedZone && !UseTimeZone(time_zone))
    RefuseUsage(
        fmt::format("--time-zone {}: not known here; recorded, local, UTC, or a name such as "
                    "America/Chicago (package tzdata)",
                    time_zone));
}

void CheckOrder(const std::optional<TypedTime>& from, const std::optional<TypedTime>& to) {
  if (!from || !to || from->kind != to->kind) return;
  const bool is_tick = from->kind == TypedTime::Kind::kTick;
  if (is_tick ? from->tick > to->tick : from->us > to->us)
    RefuseUsage(fmt::format("--from {} is after --to {}", from->text, to->text));
}

void CheckReadingUsage(ReadingOptions& options) {
  for (const std::string& path : options.paths)
    if (path.empty()) RefuseUsage("PATH is empty");
  if (options.force && (options.out.empty() || options.out == "-"))
    RefuseUsage("--force replaces a file: give -o FILE");
  CheckTimeZone(options.time_zone);
  DropOpenEnds(options);
  CheckOrder(options.from, options.to);
}

}  // namespace vmr::tool
