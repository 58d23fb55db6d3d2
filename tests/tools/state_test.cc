// `vmr state`, compared with what was reported to the recorder.
#include <nlohmann/json.hpp>
#include <random>
#include <set>
#include <sstream>

#include "tests/support/sanitized.h"
#include "tests/tools/ring_images.h"

namespace vmr::test {
namespace {

using nlohmann::json;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

std::string Event(unsigned int tick, const std::string& members) {
  return "{\"event\":" + members + ",\"tick\":" + std::to_string(tick) + "}\n";
}

class StateTest : public RingImageTest {
 protected:
  Finished State(const std::string& at, const Arguments& more = {}) const {
    Arguments arguments = {"state", "s", "--at", at};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return Run(arguments);
  }
  // A siren from tick 100 to 200, and an officer, from 2024-05-01T10:00:00Z on.
  void RecordSiren() const {
    Replay("{\"event\":\"bookmark\",\"tick\":10,\"time\":\"2024-05-01T10:00:05Z\"}\n" +
           Event(100, R"("input","name":"siren","on":true)") +
           Event(150, R"("officer","name":"J\u001b[2J\u202e","badge_id":"7")") +
           Event(200, R"("input","name":"siren","on":false)") + Event(1000, R"("bookmark")"));
  }
};

TEST_F(StateTest, SaysTheValueItsAgeAndWhereItStands) {
  RecordSiren();
  const Finished state = State("120", {"--kind", "input,log"});
  EXPECT_EQ(state.exit_code, 0);
  EXPECT_EQ(state.err, "");
  EXPECT_THAT(state.out, testing::MatchesRegex(
                             "s: tick 120, 2024-05-01 10:01:0[0-9]\\+00:00\n\nin force:\n"
                             "  input siren  on  [89](\\.5)? s  since tick 10[0-4], 2024-05-01 "
                             "10:00:5[0-9]\\+00:00; file [12] cluster 0 offset [0-9]+\n\n"
                             "unknown:\n  input: emergency lights, brake, covert, auxiliary "
                             "input, door, system power,\n      accident detect, ignition, "
                             "recording, docked\n"));
}

TEST_F(StateTest, ATimeIsTakenInTheZoneAskedFor) {
  RecordSiren();
  for (const char* const at :
       {"2024-05-01T10:01:00Z", "@1714557660", "2024-05-01T10:01", "2024-05-01T12:01+02:00"})
    EXPECT_THAT(State(at, {"--kind", "input"}).out, HasSubstr("input siren  on")) << at;
  const Finished local = State("2024-05-01T05:01", {"--time-zone", "America/Chicago"});
  EXPECT_EQ(local.exit_code, 0);
  EXPECT_THAT(local.out, HasSubstr("2024-05-01 05:01:00-05:00"));
}

TEST_F(StateTest, RecordedTextCannotForgeALine) {
  RecordSiren();
  const std::string text = State("180", {"--kind", "officer"}).out;
  EXPECT_THAT(text, HasSubstr(R"(officer  "J\x1B[2J\u202E"  )"));
  EXPECT_THAT(text, Not(HasSubstr("\x1b")));
  const json state = json::parse(State("180", {"--kind", "officer", "--format", "json"}).out);
  EXPECT_EQ(state["state"][0]["text"], "J\x1b[2J\xE2\x80\xAE");
}

TEST_F(StateTest, WhatIsTooLongForItsColumnHasTheRestBelowIt) {
  const std::string name = "J\xC3\xB8rgen " + std::string(60, 'x');
  Replay(Event(100, R"("officer","name":")" + name + R"(","badge_id":"J\u00f8")") +
         Event(200, R"("vehicle","vehicle_id":"Car 7")") + Event(1000, R"("bookmark")"));
  std::istringstream lines(State("300", {"--kind", "officer,badge,vehicle"}).out);
  std::vector<std::string> rows;
  for (std::string line; std::getline(lines, line);) rows.push_back(line);
  ASSERT_EQ(rows.size(), 7U);
  EXPECT_EQ(rows[3], "  officer  \"" + name + "\"");
  const std::size_t since = rows[4].find("since tick");
  EXPECT_EQ(rows[4].find_first_not_of(' '), std::string("  officer  ").size() + 40 + 2);
  EXPECT_EQ(rows[5].find("since tick"), since + 1) << "a letter of two bytes";
  EXPECT_EQ(rows[6].find("since tick"), since);
}

TEST_F(StateTest, TheListOfWhatIsUnknownStaysShort) {
  MakeRing(1, TwoBookmarks);
  const std::string all = State("10").out;
  EXPECT_THAT(all, testing::ContainsRegex("\n  policy: [0-9]+ in all; --kind policy names them\n"));
  std::istringstream lines(all);
  for (std::string line; std::getline(lines, line);) EXPECT_LE(line.size(), 90U) << line;
  EXPECT_THAT(State("10", {"--kind", "policy"}).out, HasSubstr("start on siren,"));
}

TEST_F(StateTest, ASkippedTimeLiesBetweenWhatTheClockShowedBeforeAndBehindTheStep) {
  Replay(
      "{\"event\":\"bookmark\",\"tick\":10,\"time\":\"2024-05-01T09:30:00Z\"}\n"
      "{\"event\":\"bookmark\",\"tick\":100,\"time\":\"2024-05-01T09:40:00Z\"}\n" +
      Event(300, R"("bookmark")"));
  EXPECT_THAT(State("2024-05-01T09:35").err,
              testing::ContainsRegex("between tick 10[0-9], 2024-05-01 09:30:4[0-9].00:00 and "
                                     "tick 10[0-9], 2024-05-01 09:40:0"));
}

TEST_F(StateTest, OutsideOfTheRecordingItSaysWhereThatIs) {
  RecordSiren();
  const Finished before = State("2");
  EXPECT_EQ(before.exit_code, 3);
  EXPECT_THAT(before.err, StartsWith("vmr: s: 2: the recording begins later, at tick 10, "));
  EXPECT_THAT(before.out, AllOf(HasSubstr("unknown:\n"), Not(HasSubstr("in force"))));
  EXPECT_EQ(State("0").exit_code, 3);
  const Finished behind = State("2030-01-01T00:00");
  EXPECT_EQ(behind.exit_code, 3);
  EXPECT_THAT(behind.err,
              StartsWith("vmr: s: 2030-01-01T00:00: the recording ends before, at tick 100"));
  EXPECT_EQ(State("now").exit_code, 0);
  EXPECT_EQ(State("4294967295").exit_code, 0);
  EXPECT_THAT(State("now", {"--kind", "input"}).out, HasSubstr("input siren  off"));
}

TEST_F(StateTest, WrongUsageIsTold) {
  EXPECT_EQ(Run({"state", "s"}).exit_code, 2);
  EXPECT_EQ(State("yesterday").exit_code, 2);
  const Finished date = State("2019-06-19");
  EXPECT_EQ(date.exit_code, 2);
  EXPECT_THAT(date.err, HasSubstr("say --at 2019-06-19T00:00 for its beginning"));
  EXPECT_EQ(State("5", {"--kind", "sirens"}).exit_code, 2);
  EXPECT_EQ(State("5", {"--run", "-1"}).exit_code, 2);
  EXPECT_EQ(State("5", {"--format", "xml"}).exit_code, 2);
  EXPECT_EQ(State("5").exit_code, 1) << "there is no store";
}

TEST_F(StateTest, AnEmptyStoreHoldsNothing) {
  MakeRing(0, TwoBookmarks);
  const Finished state = State("now");
  EXPECT_EQ(state.exit_code, 3);
  EXPECT_EQ(state.err, "vmr: s: now: the recording tells no tick\n");
}

TEST_F(StateTest, AClockThatWasSetBackIsAskedAbout) {
  Replay(
      "{\"event\":\"bookmark\",\"time\":\"2024-05-01T10:00:00Z\"}\n"
      "{\"event\":\"bookmark\",\"time\":\"2024-05-01T10:10:00Z\"}\n"
      "{\"event\":\"bookmark\",\"time\":\"2024-05-01T10:05:00Z\"}\n"
      "{\"event\":\"bookmark\",\"time\":\"2024-05-01T10:15:00Z\"}\n");
  const Finished state = State("2024-05-01T10:07");
  EXPECT_EQ(state.exit_code, 2);
  EXPECT_THAT(state.err,
              StartsWith("vmr: s: 2024-05-01T10:07 was shown more than once by the unit's clock; "
                         "say 84"));
  EXPECT_EQ(state.out, "");
}

// ---- As reported -----------------------------------------------------------------

// What was told of each thing, tick by tick, kept apart from the program: a change that a
// recorder writes, and in a full state everything.
class Model {
 public:
  struct Change {
    unsigned int tick;
    json value;
  };

  void Change(unsigned int tick, const std::string& key, const json& value) {
    changes_[key].push_back({tick, value});
  }
  // What the key may be said to be at `tick`: a change may be recorded so many ticks late.
  // Empty: nothing is told.
  std::vector<json> At(const std::string& key, unsigned int tick) const {
    std::vector<json> values;
    const auto found = changes_.find(key);
    if (found == changes_.end()) return values;
    for (const auto& change : found->second) {
      if (change.tick > tick) break;
      if (change.tick + kLatestTicks <= tick) values.clear();
      values.push_back(change.value);
    }
    return values;
  }
  bool ChangedWithin(const std::string& key, unsigned int from, unsigned int to) const {
    const auto found = changes_.find(key);
    if (found == changes_.end()) return false;
    for (const auto& change : found->second)
      if (change.tick > from && change.tick + kLatestTicks <= to) return true;
    return false;
  }
  // Whether nothing but what holds since before may be said of it.
  bool IsSettled(const std::string& key, unsigned int tick) const {
    return At(key, tick).size() <= 1 && !ChangedWithin(key, tick - kLatestTicks, tick) &&
           At(key, tick - std::min(tick, kLatestTicks)) == At(key, tick);
  }
  std::vector<std::string> Keys() const {
    std::vector<std::string> keys;
    for (const auto& [key, changes] : changes_) keys.push_back(key);
    return keys;
  }

  static constexpr unsigned int kLatestTicks = 6;

 private:
  std::map<std::string, std::vector<struct Change>> changes_;
};

class StateAsReported : public StateTest {
 protected:
  static constexpr unsigned int kLastTick = 40000;

  std::uint32_t Below(std::uint32_t n) { return static_cast<std::uint32_t>(random_() % n); }

  // Reports at random, every few ticks, and notes what a recorder makes of it: an input, a
  // camera and a stream are off at first, and only changes are written.
  void Record() {
    std::string lines = "{\"event\":\"bookmark\",\"tick\":1,\"time\":\"2024-05-01T10:00:00Z\"}\n";
    for (unsigned int tick = 10; tick < kLastTick; tick += 1 + Below(12))
      lines += (this->*kReports[Below(std::size(kReports))])(tick);
    Replay(lines + Event(kLastTick, "\"bookmark\""));
  }

  std::string ReportInput(unsigned int tick) {
    static constexpr const char* kNames[] = {
        "emergency lights", "siren",    "brake",     "auxiliary input", "door",  "system power",
        "accident detect",  "ignition", "recording", "covert",          "docked"};
    const std::string name = kNames[Below(std::size(kNames))];
    const bool on = Below(2) == 1;
    Note(tick, "input " + name, on, false);
    return Event(tick, "\"input\",\"name\":\"" + name + "\",\"on\":" + (on ? "true" : "false"));
  }
  std::string ReportTemperature(unsigned int tick) {
    static constexpr const char* kSensors[] = {"inlet", "outlet", "power", "cpu"};
    const std::string sensor = kSensors[Below(4)];
    const int degrees = static_cast<int>(Below(30)) * 5 - 50;
    Note(tick, "temperature " + sensor, degrees, nullptr);
    return Event(tick, "\"temperature\",\"sensor\":\"" + sensor +
                           "\",\"degrees\":" + std::to_string(degrees));
  }
  std::string ReportStream(unsigned int tick) {
    const std::string stream = std::to_string(Below(4));
    const bool on = Below(2) == 1;
    Note(tick, "stream " + stream, on ? "on" : "off", "off");
    return Event(tick,
                 "\"stream\",\"stream\":" + stream + R"(,"state":")" + (on ? "on" : "off") + "\"");
  }
  std::string ReportOfficer(unsigned int tick) {
    const std::string name = "O" + std::to_string(Below(1000));
    Note(tick, "officer", name, nullptr);
    return Event(tick, R"("officer","name":")" + name + R"(","badge_id":"1")");
  }
  // Far enough from the last one to be written, and of other minutes; in all quadrants.
  std::string ReportPosition(unsigned int tick) {
    const int latitude = static_cast<int>(Below(160000)) - 80000;
    const int longitude = static_cast<int>(Below(340000)) - 170000;
    Note(tick, "position", json::array({latitude, longitude}), nullptr);
    // A report is of the tick in front of it.
    return Event(tick, "\"bookmark\"") + R"({"class":"TPV","mode":3,"lat":)" +
           std::to_string(latitude / 1000.0) + R"(,"lon":)" + std::to_string(longitude / 1000.0) +
           "}\n";
  }

  void Note(unsigned int tick, const std::string& key, const json& value, const json& at_first) {
    const auto held = held_.find(key);
    const json before = held == held_.end() ? at_first : held->second;
    if (before == value) return;
    held_[key] = value;
    model_.Change(tick, key, value);
  }

  // What the program says, by the model's keys.
  struct Said {
    json answer;
    std::map<std::string, json> values;
    std::set<std::string> since_unknown;
  };
  Said Ask(unsigned int tick) const {
    const Finished state = State(std::to_string(tick), {"--format", "json"});
    EXPECT_TRUE(state.exit_code == 0 || state.exit_code == 3) << state.err;
    Said said{json::parse(state.out), {}, {}};
    EXPECT_EQ(said.answer["complete"], state.exit_code == 0);
    for (const json& entry : said.answer["state"]) {
      const std::string kind = entry["kind"];
      if (entry["since"] == "unknown") said.since_unknown.insert(kind);
      if (kind == "input") said.values["input " + entry["input"].get<std::string>()] = entry["on"];
      if (kind == "temperature")
        said.values["temperature " + entry["sensor"].get<std::string>()] = entry["temperature"];
      if (kind == "stream")
        said.values["stream " + std::to_string(entry["stream"].get<int>())] = entry["state"];
      if (kind == "officer") said.values["officer"] = entry["text"];
      if (kind == "position")
        said.values["position"] =
            json::array({static_cast<int>(std::lround(entry["latitude"].get<double>() * 1000)),
                         static_cast<int>(std::lround(entry["longitude"].get<double>() * 1000))});
      EXPECT_LE(entry["tick"].get<unsigned int>(), tick);
    }
    return said;
  }
  static std::string KindOf(const std::string& key) { return key.substr(0, key.find(' ')); }
  bool ChangedSince(unsigned int from, unsigned int tick, const std::string& key) const {
    return model_.ChangedWithin(key, from - std::min(from, 2 * Model::kLatestTicks),
                                tick + Model::kLatestTicks);
  }
  static bool IsAmong(const std::vector<json>& values, const json& value) {
    return std::find(values.begin(), values.end(), value) != values.end();
  }
  std::vector<unsigned int> FullStates() const {
    std::vector<unsigned int> ticks;
    std::istringstream lines(Run({"export", "s", "--kind", "configuration_end"}).out);
    for (std::string line; std::getline(lines, line);) {
      const json record = json::parse(line);
      if (record.value("repeats", false)) ticks.push_back(record["tick"]);
    }
    return ticks;
  }

  using Report = std::string (StateAsReported::*)(unsigned int tick);
  static constexpr Report kReports[] = {
      &StateAsReported::ReportInput, &StateAsReported::ReportTemperature,
      &StateAsReported::ReportStream, &StateAsReported::ReportOfficer,
      &StateAsReported::ReportPosition};

  std::mt19937 random_{12};
  std::map<std::string, json> held_;
  Model model_;
};

// Each starts the program anew, which takes ten times as long with sanitizers.
constexpr int kInstants = kSanitized ? 50 : 500, kFewestUnknown = kSanitized ? 10 : 200;

TEST_F(StateAsReported, AtHundredsOfRandomInstantsItIsWhatWasReported) {
  Record();
  int compared = 0;
  for (int n = 0; n < kInstants; ++n) {
    const unsigned int tick = 10 + Below(kLastTick - 10);
    SCOPED_TRACE(tick);
    const Said said = Ask(tick);
    EXPECT_EQ(said.answer["presence"], "there");
    for (const std::string& key : model_.Keys()) {
      const std::vector<json> expected = model_.At(key, tick);
      const auto value = said.values.find(key);
      if (value == said.values.end()) {
        EXPECT_TRUE(expected.empty() || !model_.IsSettled(key, tick)) << key << " is missing";
        continue;
      }
      compared += expected.empty() ? 0 : 1;
      EXPECT_TRUE(expected.empty() || IsAmong(expected, value->second)) << key << value->second;
    }
    if (HasFailure()) break;
  }
  EXPECT_GT(compared, 10 * kInstants);
}

TEST_F(StateAsReported, AroundGapsNothingIsSaidThatWasNotToldAgain) {
  Record();
  for (const int cluster : {1, 3, 4}) {
    Damage(1, cluster);
    Damage(2, cluster);
  }
  struct Lost {
    unsigned int from, to;
  };
  std::vector<Lost> gaps;
  std::istringstream lines(Run({"export", "s", "--kind", "test"}).out);
  for (std::string line; std::getline(lines, line);) {
    const json gap = json::parse(line);
    if (gap["kind"] == "gap") gaps.push_back({gap["from_tick"], gap["to_tick"]});
  }
  ASSERT_EQ(gaps.size(), 2U);
  const std::vector<unsigned int> full_states = FullStates();
  int in_gaps = 0, known = 0, unknown = 0;
  for (int n = 0; n < kInstants; ++n) {
    const unsigned int tick = 10 + Below(kLastTick - 10);
    SCOPED_TRACE(tick);
    const Said said = Ask(tick);
    const Lost* last = nullptr;
    for (const Lost& gap : gaps)
      if (tick > gap.from) last = &gap;
    if (last != nullptr && tick < last->to) {
      ++in_gaps;
      EXPECT_EQ(said.answer["presence"], "in a gap");
      EXPECT_TRUE(said.values.empty());
      EXPECT_FALSE(said.answer["complete"]);
      continue;
    }
    EXPECT_EQ(said.answer["presence"], "there");
    const bool full_state =
        last != nullptr && std::any_of(full_states.begin(), full_states.end(),
                                       [&](unsigned int t) { return t >= last->to && t <= tick; });
    for (const std::string& key : model_.Keys()) {
      const auto value = said.values.find(key);
      const std::vector<json> expected = model_.At(key, tick);
      if (value != said.values.end()) {
        known += expected.empty() ? 0 : 1;
        EXPECT_TRUE(expected.empty() || IsAmong(expected, value->second)) << key << value->second;
        // By a full state alone.
        EXPECT_TRUE(!full_state || ChangedSince(last->to, tick, key) ||
                    said.since_unknown.count(KindOf(key)) == 1)
            << key;
        // Told in front of the gap only.
        EXPECT_TRUE(last == nullptr || full_state ||
                    model_.ChangedWithin(key, last->to - 2 * Model::kLatestTicks,
                                         tick + Model::kLatestTicks))
            << key;
        continue;
      }
      ++unknown;
      const bool must_be_known =
          !expected.empty() && model_.IsSettled(key, tick) &&
          (last == nullptr || full_state || model_.ChangedWithin(key, last->to, tick));
      EXPECT_FALSE(must_be_known) << key;
    }
    if (HasFailure()) break;
  }
  EXPECT_GT(in_gaps, kInstants / 25);
  EXPECT_GT(known, 6 * kInstants);
  EXPECT_GT(unknown, kFewestUnknown);
}

}  // namespace
}  // namespace vmr::test
