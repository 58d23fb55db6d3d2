#include "tools/read/state_at.h"

#include <fmt/format.h>

#include "records/decoder.h"
#include "tools/common/progress.h"

namespace vmr::tool {

using records::TimeQuality;

namespace {

class Describer {
 public:
  explicit Describer(const TimeAxis& line) : line_(line) {}

  // What is there instead of the moment.
  std::string WhyNot(const Moment& moment) const {
    switch (moment.presence) {
      case Presence::kBefore:
        return "the recording begins later, at " + Behind(moment);
      case Presence::kBehind:
        return "the recording ends before, at " + Before(moment);
      case Presence::kInGap:
        return Between("lies in a gap", moment);
      case Presence::kSkipped:
        return Between("was skipped: the unit was off, or its clock was set, ", moment, "");
      case Presence::kBetweenRuns:
        return Between("is in no run of the unit, but", moment);
      default:
        return line_.IsEmpty() ? "the recording tells no tick" : "the recording tells no such time";
    }
  }

  std::string Question(const AskedTime& asked, const std::vector<Moment>& moments) const {
    const bool is_tick = asked.point->tick.has_value();
    std::string text = fmt::format("{} {}", is_tick ? "tick " + asked.text : asked.text,
                                   is_tick ? "came in several runs; say"
                                           : "was shown more than once by the unit's clock; say");
    for (std::size_t i = 0; i < moments.size(); ++i)
      text += (i > 0 ? " or" : "") + Choice(moments[i].at, !is_tick);
    return text;
  }

 private:
  std::string Between(const char* what, const Moment& moment, const char* between = " ") const {
    return fmt::format("it {}{}between {} and {}", what, between, Before(moment), Behind(moment));
  }
  std::string Before(const Moment& moment) const { return Of(moment.before, moment.before_time); }
  std::string Behind(const Moment& moment) const { return Of(moment.behind, moment.behind_time); }
  std::string Of(const std::optional<Instant>& at, const records::Time& time) const {
    return at ? InstantText(*at, time, line_.HasRuns()) : "?";
  }
  std::string Choice(const Instant& at, bool name_tick) const {
    std::string text = name_tick ? fmt::format(" {}", at.Tick()) : "";
    if (line_.HasRuns()) text += fmt::format(" --run {}", at.run);
    const records::Time time = line_.TimeOf(at);
    if (time.quality != TimeQuality::kUnknown) text += fmt::format(" ({})", LocalTimeText(time.us));
    return text;
  }

  const TimeAxis& line_;
};

void Read(records::Source& source, StateTable& table) {
  records::Decoder decoder(source, table);
  ProgressLine progress([&source](unsigned long) {
    return fmt::format("reading: {:.0f} %", source.Progress() * 100);
  });
  while (!table.IsDone() && decoder.Step()) progress.Step();
  table.Finish();
}

bool ReadTimeAxis(const records::Source& source, TimeAxis& line) {
  const std::unique_ptr<records::Source> fork = source.Fork();
  if (fork == nullptr) return false;
  records::Decoder decoder(*fork, line);
  ProgressLine progress([&fork](unsigned long) {
    return fmt::format("looking for the time: {:.0f} %", fork->Progress() * 100);
  });
  while (decoder.Step()) progress.Step();
  return true;
}

bool IsTheEnd(const AskedTime& asked, const std::vector<Moment>& moments) {
  return !asked.point || (asked.is_now && moments.front().presence == Presence::kBehind);
}

}  // namespace

std::string InstantText(const Instant& at, const records::Time& time, bool has_runs) {
  std::string text = fmt::format("tick {}", at.Tick());
  if (has_runs) text += fmt::format(" of run {}", at.run);
  if (time.quality != TimeQuality::kUnknown) text += ", " + LocalTimeText(time.us);
  return text;
}

std::optional<StateAt> ReadStateAt(records::Source& source, const AskedTime& asked,
                                   std::string& question) {
  TimeAxis line;
  const Describer describe(line);
  if (!ReadTimeAxis(source, line)) {
    StateAt state(Instant{});
    state.why_not = "the recording cannot be read a second time";
    return state;
  }
  std::vector<Moment> moments;
  if (asked.point) moments = line.Find(*asked.point, asked.run);
  const bool is_end = IsTheEnd(asked, moments);
  if (is_end) moments = {line.End()};
  if (moments.size() > 1) {
    question = describe.Question(asked, moments);
    return std::nullopt;
  }
  const Moment& moment = moments.front();
  const bool is_there = moment.presence == Presence::kThere;
  StateAt state(is_end ? Instant::End() : moment.at);
  state.presence = moment.presence;
  if (!is_there && !is_end) {
    state.why_not = describe.WhyNot(moment);
    return state;
  }
  if (is_there) state.at = moment.at;
  state.time = line.TimeOf(moment.at);
  Read(source, state.table);
  if (!state.table.IsInGap()) return state;
  state.presence = Presence::kInGap;
  const records::Gap& gap = *state.table.LastGap();
  const auto end = [&](unsigned int tick, const records::Time& time) {
    return tick == kNoTick ? std::string("an unknown tick")
                           : InstantText({moment.at.run, tick}, time, line.HasRuns());
  };
  state.why_not = fmt::format("it lies in a gap ({}) between {} and {}", TextOf(gap.reason),
                              end(gap.from_tick, gap.from), end(gap.to_tick, gap.to));
  return state;
}

}  // namespace vmr::tool
