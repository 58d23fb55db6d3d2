// `vmr state`: everything that is in force at one instant.
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <memory>
#include <string>

#include "tools/commands/asked_instant.h"
#include "tools/commands/command.h"
#include "tools/commands/reading_options.h"
#include "tools/common/console.h"
#include "tools/common/text_output.h"
#include "tools/read/json_line.h"
#include "tools/read/phrase.h"
#include "tools/read/state_at.h"
#include "tools/read/state_json.h"
#include "tools/read/state_words.h"

namespace vmr::tool {
namespace {

using records::KindId;
using records::Record;
using records::TimeQuality;

constexpr const char* kHelp = "Prints everything that is in force at one instant";

constexpr const char* kBeforeReading =
    R"(Of each thing that PATH tells of it prints the value in force at T, for how long it
has been so, and where that is said. What nothing tells is listed as unknown. Behind
a gap everything is unknown until it is told again. What only a full state says,
which a unit writes once an hour, holds since an unknown time, at least since then.
A unit may take two seconds to record a change. What happens at a moment and is over
(bookmarks, buttons, logs) is not in force, and not shown. Recorded texts stand in
quotes. T is an instant: a date alone is none.
  full state    all that a unit knows, written at once; a unit does so every hour
  run           as far as ticks go on. Where they begin anew, another run begins: a
                tick may be in several, and --run N says in which

)";
constexpr const char* kBehindReading = R"(

T of 4294967295, or "now", is the end of a recording that ends before.

Examples:
  vmr state trips/car7 --at 2019-06-19T16:51
  vmr state trips/car7 --at 2082 --kind input,position
  vmr state stop.vmd --at 2082 --format json | jq '.state[] | select(.kind == "input")'

Exit codes: 0 success, 1 PATH could not be read, 2 wrong usage, or T came more than
once (the message says what to type), 3 T is outside of the recording or in a gap, or
something that was known got lost in a gap in front of it.)";

struct StateOptions {
  ReadingOptions reading;
  std::optional<TypedTime> at;
  std::optional<int> run;
  std::string format;
};

// One recording's state and what was asked.
struct Answer {
  const StateOptions& options;
  const Reading& reading;
  const StateAt& state;

  bool Wants(KindId kind) const {
    const auto& kinds = options.reading.kinds;
    return kinds.empty() || kinds.count(kind) > 0;
  }
  // Everything that nothing tells, of the kinds asked for.
  std::vector<StateTable::Key> Unknown() const {
    std::vector<StateTable::Key> unknown;
    const auto& all = state.table.All();
    const auto add = [&](const StateTable::Key& key) {
      const auto held = all.find(key);
      const bool is_known = held != all.end() && !held->second.IsUnknown();
      if (!is_known && std::find(unknown.begin(), unknown.end(), key) == unknown.end())
        unknown.push_back(key);
    };
    for (const records::KindRow& kind : records::Kinds()) {
      if (!Wants(kind.id)) continue;
      for (const StateTable::Key& key : KnownKeys(kind)) add(key);
      for (const StateTable::Key& key : state.table.Lost())
        if (key.first == kind.id) add(key);
      for (const auto& [key, entry] : all)
        if (key.first == kind.id) add(key);
    }
    return unknown;
  }
  // In microseconds, by ticks, which do not jump.
  std::optional<std::int64_t> AgeOf(const Record& record) const {
    if (!state.at || record.tick == kNoTick) return std::nullopt;
    return static_cast<std::int64_t>(state.at->Tick() - record.tick) * records::kTick_us;
  }
  // The same by the unit's clock, where that says something else.
  std::optional<std::int64_t> AgeByClock(const Record& record) const {
    const auto age = AgeOf(record);
    if (!age || record.time.quality == TimeQuality::kUnknown ||
        state.time.quality == TimeQuality::kUnknown)
      return std::nullopt;
    const std::int64_t by_clock = state.time.us - record.time.us;
    if (std::llabs(by_clock - *age) <= 4 * records::kTick_us) return std::nullopt;
    return by_clock;
  }
};

// ---- Text ------------------------------------------------------------------------

// On a terminal, where a letter is not a byte; no more than 1000.
std::size_t WidthOf(const std::string& text) {
  return 1000 + text.size() - fmt::formatted_size("{:<1000}", text);
}

class StateText {
 public:
  StateText(const Answer& answer, TextOutput& out) : answer_(answer), out_(out) {}

  void Print() {
    Heading();
    InForce();
    Doubtful();
    Unknown();
  }

 private:
  enum Column : std::size_t { kSubject, kValue, kAge, kWhere, kColumns };
  using Row = std::array<std::string, kColumns>;

  void Heading() {
    const StateAt& state = answer_.state;
    std::string line = EscapedText(answer_.reading.recording.name) + ": ";
    if (state.at) {
      line += InstantText(*state.at, state.time, state.at->run > 0);
      if (state.time.quality == TimeQuality::kEstimated) line += " (estimated)";
      if (state.time.quality == TimeQuality::kUnknown) line += ", at an unknown time";
    } else {
      line += answer_.options.at->text;
    }
    if (!state.why_not.empty()) line += ": " + state.why_not;
    out_.Write(line + "\n");
    const auto& gap = state.table.LastGap();
    if (!gap || state.presence != Presence::kThere) return;
    const std::string to =
        gap->to_tick == kNoTick ? "" : fmt::format(" up to tick {}", gap->to_tick);
    out_.Write(fmt::format("gap in front of it: {}{}; only what was told since then is known\n",
                           TextOf(gap->reason), to));
  }

  void InForce() {
    std::vector<Row> rows;
    for (const auto& [key, entry] : answer_.state.table.All())
      if (answer_.Wants(key.first) && !entry.IsUnknown()) rows.push_back(RowOf(entry));
    Table("in force:", rows);
  }

  void Doubtful() {
    std::vector<Row> rows;
    for (const auto& [key, entry] : answer_.state.table.Doubtful()) {
      if (!answer_.Wants(key.first)) continue;
      rows.push_back(RowOf(entry));
      rows.back()[kAge].clear();
    }
    Table("doubtful, from a packet whose CRC is wrong:", rows);
  }

  Row RowOf(const StateEntry& entry) const {
    const Record record = entry.said.Get();
    return {SubjectWords(record), ValueWords(entry), AgeText(entry, record),
            WhereText(entry, record)};
  }

  std::string AgeText(const StateEntry& entry, const Record& record) const {
    const auto age = answer_.AgeOf(record);
    if (!age) return "age unknown";
    std::string text = (entry.since_unknown ? "at least " : "") + DurationText(*age);
    if (const auto by_clock = answer_.AgeByClock(record))
      text +=
          fmt::format(" ({}{} by the clock)", *by_clock < 0 ? "-" : "", DurationText(*by_clock));
    return text;
  }

  static std::string WhereText(const StateEntry& entry, const Record& record) {
    std::string text = record.tick == kNoTick ? "at an unknown tick"
                       : entry.since_unknown
                           ? fmt::format("since unknown, at least since tick {}", record.tick)
                           : fmt::format("since tick {}", record.tick);
    if (record.time.quality != TimeQuality::kUnknown)
      text += ", " + LocalTimeText(record.time.us) +
              (record.time.quality == TimeQuality::kEstimated ? " (estimated)" : "");
    text += "; " + PlaceWords(record.place);
    if (entry.again && entry.again->tick != kNoTick)
      text += fmt::format("; last said again at tick {}", entry.again->tick);
    return text;
  }

  void Table(const char* heading, const std::vector<Row>& rows) {
    if (rows.empty()) return;
    out_.Write(fmt::format("\n{}\n", heading));
    std::array<std::size_t, kWhere> widths{};
    for (const Row& row : rows)
      for (std::size_t i = 0; i < widths.size(); ++i)
        widths[i] = std::max(widths[i], std::min(WidthOf(row[i]), kWidest[i]));
    for (const Row& row : rows) out_.Write(InColumns(row, widths));
  }

  // What is wider than its column has the rest of the row below it.
  template <typename Widths>
  static std::string InColumns(const Row& row, const Widths& widths) {
    std::string text;
    std::size_t column = kIndent, written = 0;
    for (std::size_t i = 0; i < row.size(); ++i) {
      if (written + kIndent > column) text += '\n', written = 0;
      text.append(column - written, ' ');
      text += row[i];
      written = column + WidthOf(row[i]);
      if (i < widths.size()) column += widths[i] + kIndent;
    }
    return text + '\n';
  }

  // Each kind begins a line.
  void Unknown() {
    const std::vector<StateTable::Key> unknown = answer_.Unknown();
    if (unknown.empty()) return;
    out_.Write("\nunknown:\n");
    for (std::size_t i = 0; i < unknown.size();) {
      const KindId kind = unknown[i].first;
      std::vector<std::string> names;
      for (; i < unknown.size() && unknown[i].first == kind; ++i)
        if (const std::string words = KeyWords(unknown[i]); !words.empty()) names.push_back(words);
      out_.Write(UnknownText(kind, names));
    }
  }

  // Of very many, which would hide what else is unknown, their number, unless just they are
  // asked for.
  std::string UnknownText(KindId kind, const std::vector<std::string>& names) const {
    const std::string name = KindWords(records::KindOf(kind));
    if (names.empty()) return fmt::format("  {}\n", name);
    if (names.size() > kMostNames && answer_.options.reading.kinds.empty())
      return fmt::format("  {}: {} in all; --kind {} names them\n", name, names.size(),
                         records::KindOf(kind).name);
    std::string text, line = fmt::format("  {}:", name);
    for (std::size_t i = 0; i < names.size(); ++i) {
      const std::string more = names[i] + (i + 1 < names.size() ? "," : "");
      if (line.size() + 1 + more.size() > kWidestLine) {
        text += line + '\n';
        line = "     ";
      }
      line += ' ' + more;
    }
    return text + line + '\n';
  }

  static constexpr std::size_t kIndent = 2;  // and so much between columns
  // Recorded texts may be of any length.
  static constexpr std::size_t kWidest[kWhere] = {60, 40, 60};
  static constexpr std::size_t kWidestLine = 90;
  static constexpr std::size_t kMostNames = 20;

  const Answer& answer_;
  TextOutput& out_;
};

// ---- JSON ------------------------------------------------------------------------

class StateJson {
 public:
  StateJson(const Answer& answer, TextOutput& out) : answer_(answer), out_(out) {}

  void Print() {
    const StateAt& state = answer_.state;
    Put("{");
    AppendStateHead(answer_.reading.recording.name, answer_.options.at->text, state, line_);
    Put(",\"gap\":");
    state.table.LastGap() ? PutObject(*state.table.LastGap(), "") : Put("null");
    Entries(",\"state\":[", state.table.All());
    Entries(",\"doubtful\":[", state.table.Doubtful());
    Unknown();
    Put("}\n");
    out_.Write({line_.data(), line_.size()});
  }

 private:
  void Put(std::string_view text) { line_.append(text.data(), text.data() + text.size()); }
  template <typename Found>
  void PutObject(const Found& found, const std::string& more) {
    AppendJsonObject(found, more, line_);
  }

  void Entries(const char* name, const StateTable::Entries& entries) {
    Put(name);
    bool is_first = true;
    for (const auto& [key, entry] : entries) {
      if (!answer_.Wants(key.first) || entry.IsUnknown()) continue;
      if (!std::exchange(is_first, false)) Put(",");
      PutObject(entry.said.Get(), MoreOf(entry));
    }
    Put("]");
  }

  std::string MoreOf(const StateEntry& entry) const {
    const Record record = entry.said.Get();
    const auto seconds = [](std::optional<std::int64_t> us) {
      return us ? fmt::format("{:.1f}", static_cast<double>(*us) / 1e6) : "null";
    };
    std::string more =
        fmt::format(",\"since\":\"{}\",\"age_s\":{}", entry.since_unknown ? "unknown" : "told",
                    seconds(answer_.AgeOf(record)));
    if (const auto by_clock = answer_.AgeByClock(record))
      more += ",\"age_by_clock_s\":" + seconds(by_clock);
    if (entry.again && entry.again->tick != kNoTick)
      more += fmt::format(",\"again_tick\":{}", entry.again->tick);
    if (!entry.rest) return more;
    LineBuffer rest;
    AppendJsonLine(entry.rest->Get(), rest);
    return more + ",\"rest\":" + std::string(rest.data(), rest.size() - 1);
  }

  void Unknown() {
    Put(",\"unknown\":[");
    bool is_first = true;
    for (const StateTable::Key& key : answer_.Unknown()) {
      const records::KindRow& kind = records::KindOf(key.first);
      Put(fmt::format("{}{{\"kind\":\"{}\"", std::exchange(is_first, false) ? "" : ",", kind.name));
      Put(KeyMembers(key));
      Put(fmt::format(",\"lost\":{}}}", answer_.state.table.Lost().count(key) > 0));
    }
    Put("]");
  }

  const Answer& answer_;
  TextOutput& out_;
  LineBuffer line_;
};

// ---- The command -----------------------------------------------------------------

// Why the exit code is 3.
void SayWhyPartial(const Reading& reading, const StateAt& state, const std::string& asked) {
  const std::string why =
      !state.why_not.empty() ? asked + ": " + state.why_not
      : state.table.Lost().empty()
          ? "not all is known: no full state was recorded since the gap in front of it"
          : "something that was known got lost in a gap, and was not told again";
  Say(fmt::format("{}: {}", reading.recording.name, why));
}

int PrintState(const StateOptions& options, Reading& reading, TextOutput& out) {
  AskedTime asked{reading.range.from, options.at->is_now, options.run, options.at->text};
  if (asked.point && asked.point->tick == 0xFFFFFFFF) asked.point.reset();
  std::string question;
  const auto state = ReadStateAt(*reading.recording.source, asked, question);
  if (!state) {
    Say(fmt::format("{}: {}", reading.recording.name, question));
    return kExitUsage;
  }
  const Answer answer{options, reading, *state};
  if (options.format == "json")
    StateJson(answer, out).Print();
  else
    StateText(answer, out).Print();
  if (state->IsComplete()) return kExitSuccess;
  SayWhyPartial(reading, *state, asked.text);
  return kExitPartial;
}

int State(const StateOptions& options) {
  TextOutput out;
  if (!out.Open(options.reading.out, options.reading.force)) return kExitFailure;
  const int exit_code = ForEachReading(options.reading, [&](Reading& reading) {
    if (reading.index > 0 && options.format != "json") out.Write("\n");
    return PrintState(options, reading, out);
  });
  return out.Finish(exit_code);
}

std::function<int()> AddOptions(CLI::App& parser) {
  const std::string footer = std::string(kBeforeReading) + kReadingFooter + kBehindReading;
  const auto options = std::make_shared<StateOptions>();
  AddPaths(parser, options->reading);
  AddTime(parser, "--at", options->at, "The instant");
  AddRun(parser, options->run, "Of a tick or time that several runs have: which, from 0");
  AddTimeZone(parser, options->reading.time_zone);
  AddKinds(parser, options->reading);
  AddFormat(parser, {"text", "json"}, options->format);
  AddOutput(parser, options->reading);
  parser.footer(footer);
  parser.final_callback([options] {
    if (!options->at) RefuseUsage("--at is required");
    CheckInstant("--at", options->at);
    CheckReadingUsage(options->reading);
    options->reading.from = options->at;
  });
  return [options] { return State(*options); };
}

}  // namespace

constexpr Command kStateCommand = {"state", kHelp, kBeforeReading, AddOptions};

}  // namespace vmr::tool
