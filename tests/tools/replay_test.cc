// Recording with --replay, viewed back.
#include <signal.h>

#include <filesystem>

#include "tests/tools/program.h"

namespace vmr::test {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using ReplayTest = ProgramTest;

constexpr const char* kBookmark = "[Tag=Bookmark, TagNo=0x56]";

std::string BookmarkAt(unsigned int tick) {
  return "{\"event\":\"bookmark\",\"tick\":" + std::to_string(tick) + "}\n";
}

std::string Repeated(const std::string& text, int times) {
  std::string all;
  for (int i = 0; i < times; ++i) all += text;
  return all;
}

TEST_F(ReplayTest, EveryKindOfEventIsViewedBack) {
  Replay(R"({"event":"input","name":"siren","on":true,"time":"2024-05-01T10:00:00Z"}
{"event":"input","name":"auxiliary input","on":true,"time":"2024-05-01T10:00:02Z"}
{"event":"input","name":"siren","on":false,"time":"2024-05-01T10:00:05Z"}
{"event":"button","button":"record","action":"long pressed","time":"2024-05-01T10:00:10Z"}
{"event":"bookmark","time":"2024-05-01T10:00:20Z"}
{"event":"temperature","sensor":"cpu","degrees":41,"time":"2024-05-01T10:00:30Z"}
{"class":"TPV","mode":3,"time":"2024-05-01T10:00:40Z","lat":49.0166666667,"lon":12.05}
{"class":"TPV","mode":1,"time":"2024-05-01T10:00:50Z"}
)");
  EXPECT_THAT(Items(),
              ElementsAre("[Tag=siren, TagNo=0x36, State=on]",
                          "[Tag=auxillary input, TagNo=0x3C, State=on]",
                          "[Tag=siren, TagNo=0x37, State=off]",
                          "[Tag=Button, TagNo=0xC0, Button=RECORD, Action=LONG PRESSED]", kBookmark,
                          "[Tag=Temp, TagNo=0xE4, Id=3, temp=41]", HasSubstr("Tag=GpsAbs"),
                          "[Tag=GpsState, TagNo=0x94, State=0-unavailable]",
                          // The end of the input: what is on goes off.
                          "[Tag=auxillary input, TagNo=0x3D, State=off]"));
}

// That it is synced once is held_syncs_test.cc's to show.
TEST_F(ReplayTest, WithoutSyncsTheSameIsRecorded) {
  const std::string lines =
      "{\"event\":\"bookmark\",\"time\":\"2024-05-01T10:00:00Z\"}\n"
      "{\"event\":\"bookmark\",\"time\":\"2024-05-01T10:02:00Z\"}\n";
  for (const char* store : {"s", "t"}) {
    Arguments arguments = {"record", store, "--replay", "--input", "-"};
    if (store[0] == 't') arguments.emplace_back("--no-sync");
    EXPECT_EQ(Run(arguments, lines).exit_code, 0);
  }
  for (const char* file : {"_1.mtd", "_2.mtd"})
    EXPECT_TRUE(ReadFile(Path(std::string("s") + file)) == ReadFile(Path(std::string("t") + file)))
        << file;
}

TEST_F(ReplayTest, OnlyAReplayMayGoWithoutSyncs) {
  const Finished live = Run({"record", "s", "--input", "-", "--no-sync"}, BookmarkAt(10));
  EXPECT_EQ(live.exit_code, 2);
  EXPECT_EQ(live.err,
            "vmr: --no-sync is for --replay: a live recording is there once, and must outlive a "
            "power cut\n"
            "vmr: try: vmr record --help\n");
  EXPECT_FALSE(std::filesystem::exists(Path("s_1.mtd")));
}

TEST_F(ReplayTest, LinesThatCannotBeUsedAreReportedCountedAndSkipped) {
  const std::string too_long(1024 * 1024 + 1, ' ');
  const Finished replay =
      Replay("garbage\n\n{\"event\":\"bookmark\"}\n{\"class\":\"SKY\"}\n[]\n" + too_long +
             "\n{\"event\":\"bookmark\",\"tick\":-1}\n"
             "{\"event\":\"bookmark\",\"time\":\"2040-01-01T00:00:00Z\"}\n"
             "{\"event\":\"bookmark\"}");
  EXPECT_EQ(replay.out, "");
  EXPECT_EQ(replay.err,
            "vmr: input:1: not valid JSON at column 1\n"
            "vmr: input:5: not a JSON object\n"
            "vmr: input:6: longer than 1048576 bytes\n"
            "vmr: input:7: \"tick\" is -1, expected a whole number from 0 to 4294967040\n"
            "vmr: input:8: \"time\" is outside 1970-01-01 to 2038-01-19, which a recording can "
            "hold\n"
            "vmr: s: recorded ticks 1 to 1\n"
            "vmr: s: 9 lines, 0 fixes, 0 losses of fix, 2 events, 5 lines skipped\n");
  EXPECT_THAT(Items(), ElementsAre(kBookmark, kBookmark));
}

TEST_F(ReplayTest, OfManyLinesThatCannotBeUsedTenAreReportedAndAllAreCounted) {
  WriteFile(Path("a"), "{\"event\":\"bookmark\"}\n" + Repeated("x\n", 25));
  WriteFile(Path("b"), Repeated("{}\n", 11) + "{\"event\":\"bookmark\"}\n");
  const Finished replay = Run({"record", "s", "--replay", "--input", "a", "--input", "b"});
  EXPECT_EQ(replay.exit_code, 0);
  EXPECT_THAT(replay.err, HasSubstr("vmr: a:11: not valid JSON at column 1\n"));
  EXPECT_THAT(replay.err, Not(HasSubstr("vmr: a:12:")));
  EXPECT_THAT(replay.err, HasSubstr("vmr: a: 15 more lines could not be used\n"
                                    "vmr: b: 1 more lines could not be used\n"));
  EXPECT_THAT(replay.err,
              HasSubstr("vmr: s: 38 lines, 0 fixes, 0 losses of fix, 2 events, 36 lines "
                        "skipped\n"));
}

TEST_F(ReplayTest, TicksGoOnFromOneRunToTheNext) {
  EXPECT_THAT(Replay("{\"event\":\"bookmark\",\"tick\":100}\n").err,
              HasSubstr("vmr: s: recorded ticks 100 to 101\n"));
  EXPECT_THAT(Replay("{\"event\":\"bookmark\"}\n").err,
              HasSubstr("vmr: s: recorded ticks 102 to 102\n"));
  EXPECT_THAT(Replay("{\"event\":\"bookmark\",\"tick\":50}\n").err,
              HasSubstr("vmr: s: recorded ticks 103 to 104\n"));
}

TEST_F(ReplayTest, TimesDriveTheTicks) {
  EXPECT_THAT(Replay("{\"event\":\"bookmark\",\"time\":\"2024-05-01T10:00:00Z\"}\n"
                     "{\"event\":\"bookmark\",\"time\":\"2024-05-01T11:00:00.6Z\"}\n")
                  .err,
              HasSubstr("vmr: s: recorded ticks 1 to 7203\n"));
}

TEST_F(ReplayTest, ATimeThatGoesBackTurnsTheWallClockBack) {
  const Finished replay = Replay(
      "{\"event\":\"bookmark\",\"time\":\"2024-05-01T10:00:00Z\"}\n"
      "{\"event\":\"bookmark\",\"time\":\"2024-05-01T10:00:10Z\"}\n"
      "{\"event\":\"bookmark\",\"time\":\"2024-05-01T09:00:00Z\"}\n"
      "{\"event\":\"bookmark\",\"time\":\"2024-05-01T09:00:10Z\"}\n");
  EXPECT_THAT(replay.err, HasSubstr("vmr: s: recorded ticks 1 to 42\n"));
  std::vector<std::string> times;
  for (const std::string& item : ItemsOf(View()))
    if (item.rfind("[Tag=time", 0) == 0) times.push_back(item);
  // The clock is looked at every fourth tick: at tick 4 and at tick 24.
  EXPECT_THAT(times, ElementsAre("[Tag=time, TagNo=0x03, time 1714557601 (05/01/2024 10:00:01)]",
                                 "[Tag=time, TagNo=0x03, time 1714554001 (05/01/2024 09:00:01)]"));
}

TEST_F(ReplayTest, InputsAreMergedByTheirStamps) {
  WriteFile(Path("a"),
            "{\"event\":\"button\",\"button\":0,\"action\":0,\"time\":\"2024-05-01T10:00:00Z\"}\n"
            "{\"event\":\"bookmark\"}\n"
            "{\"event\":\"button\",\"button\":0,\"action\":2,\"time\":\"2024-05-01T10:00:20Z\"}\n");
  WriteFile(Path("b"),
            "{\"event\":\"button\",\"button\":1,\"action\":0,\"time\":\"2024-05-01T09:59:50Z\"}\n"
            "{\"event\":\"button\",\"button\":1,\"action\":2,\"time\":\"2024-05-01T10:00:10Z\"}\n");
  const Finished merged = Run({"record", "s", "--replay", "--input", "a", "--input", "b"});
  EXPECT_EQ(merged.exit_code, 0);
  EXPECT_THAT(merged.err, HasSubstr("vmr: s: recorded ticks 1 to 62\n"));
  EXPECT_THAT(Items(),
              ElementsAre("[Tag=Button, TagNo=0xC0, Button=RECORD, Action=PRESSED]",
                          "[Tag=Button, TagNo=0xC0, Button=POWER, Action=PRESSED]", kBookmark,
                          "[Tag=Button, TagNo=0xC0, Button=RECORD, Action=RELEASED]",
                          "[Tag=Button, TagNo=0xC0, Button=POWER, Action=RELEASED]"));
}

TEST_F(ReplayTest, MoreEventsInOneTickThanAStoreHoldsAreAllRecorded) {
  std::string lines;
  for (int i = 0; i < 5000; ++i) lines += "{\"event\":\"button\",\"button\":0,\"action\":0}\n";
  Replay(lines);
  EXPECT_EQ(Items().size(), 5000U);
}

TEST_F(ReplayTest, StandardInputIsAnInput) {
  const Finished replay =
      Run({"record", "s", "--replay", "--input", "-"}, "{\"event\":\"bookmark\"}\nx\n");
  EXPECT_EQ(replay.exit_code, 0);
  EXPECT_THAT(replay.err, HasSubstr("vmr: standard input:2: not valid JSON at column 1\n"));
  EXPECT_THAT(Items(), ElementsAre(kBookmark));
}

TEST_F(ReplayTest, ASignalEndsItInOrder) {
  RunningProgram program(folder, {"record", "s", "--replay", "--input", "-"});
  program.Write(BookmarkAt(1) + BookmarkAt(2) + "x\n");
  ASSERT_TRUE(program.WaitForMessage("standard input:3:"));
  program.Signal(SIGINT);
  const Finished stopped = program.Finish();
  EXPECT_EQ(stopped.exit_code, 0);
  EXPECT_THAT(Items(), ElementsAre(kBookmark, kBookmark));
}

// ---- Jumps ---------------------------------------------------------------------

constexpr unsigned int kDay = 2 * 24 * 60 * 60;

class ReplayJump : public ProgramTest {
 protected:
  Finished Record(const std::string& lines, const Arguments& more = {}) const {
    WriteFile(Path("input"), lines);
    Arguments arguments = {"record", "s", "--replay", "--input", "input"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return Run(arguments);
  }
  // Of the whole state, after the one that every run begins with.
  std::size_t Dumps() const {
    const std::string listing = View();
    std::size_t count = 0;
    for (std::size_t at = 0; (at = listing.find("[Tag=mac,", at)) != listing.npos; ++at) ++count;
    return count - 1;
  }
};

TEST_F(ReplayJump, ADayIsRunThroughWithItsDumps) {
  const Finished replay = Record(BookmarkAt(100) + BookmarkAt(100 + kDay));
  EXPECT_EQ(replay.exit_code, 0);
  EXPECT_THAT(replay.err, Not(HasSubstr("days ahead")));
  EXPECT_EQ(Dumps(), (100 + kDay) / 7202);
}

TEST_F(ReplayJump, MoreThanADayIsOneStepWithOneDump) {
  const Finished replay = Record(BookmarkAt(100) + "\n" + BookmarkAt(101 + kDay));
  EXPECT_EQ(replay.exit_code, 0);
  EXPECT_THAT(replay.err, HasSubstr("vmr: input:3: 1.0 days ahead, from tick 100 to 172901 in one "
                                    "step\n"));
  EXPECT_THAT(replay.err, HasSubstr(" 2 events, 0 lines skipped\n"));
  EXPECT_EQ(Dumps(), 1U);
  // The dump begins with the time, and the bookmark comes with it.
  const std::vector<std::string> items = ItemsOf(View({"--from", "172000"}));
  ASSERT_FALSE(items.empty());
  EXPECT_THAT(items[0], HasSubstr("[Tag=time, TagNo=0x03, "));
  EXPECT_THAT(items, testing::Contains(kBookmark));
}

TEST_F(ReplayJump, WhatWaitsBeforeItKeepsItsTick) {
  const std::string temperature =
      "{\"event\":\"temperature\",\"sensor\":\"cpu\",\"degrees\":41,\"tick\":100,"
      "\"time\":\"2024-05-01T10:00:00Z\"}\n";
  const auto listing = [&](unsigned int ahead) {
    Record(temperature + BookmarkAt(100 + ahead));
    const std::string text = View({"--from", "101", "--to", "200"});
    for (const int file : {1, 2})
      std::filesystem::remove(Path("s_" + std::to_string(file) + ".mtd"));
    return text.substr(0, text.find("\n(hdr1"));  // what comes before the first dump
  };
  const std::string run_through = listing(kDay);
  EXPECT_THAT(run_through, HasSubstr("[Tag=Temp, TagNo=0xE4, Id=3, temp=41]"));
  EXPECT_EQ(listing(1 + kDay), run_through);
}

TEST_F(ReplayJump, MoreThan400DaysAreNotFollowed) {
  const unsigned int last = 100 + 400 * kDay;
  const Finished replay = Record(BookmarkAt(100) + BookmarkAt(last + 1) + BookmarkAt(last));
  EXPECT_EQ(replay.exit_code, 0);
  EXPECT_THAT(replay.err, HasSubstr("vmr: input:2: 400.0 days ahead, at tick 69120101; more than "
                                    "400 only with --allow-jumps\n"
                                    "vmr: input:3: 400.0 days ahead, from tick 100 to 69120100 in "
                                    "one step\n"));
  EXPECT_THAT(replay.err, HasSubstr(" 2 events, 1 lines skipped\n"));
}

TEST_F(ReplayJump, UnlessTheyAreAllowed) {
  const std::string lines =
      "{\"event\":\"bookmark\",\"time\":\"2010-04-11T16:57:44Z\"}\n"
      "{\"event\":\"bookmark\",\"time\":\"2029-11-25T16:57:44Z\"}\n";  // 1024 weeks
  EXPECT_THAT(Record(lines).err,
              HasSubstr("vmr: input:2: 7168.0 days ahead, at tick 1238630401; more than 400 only "
                        "with --allow-jumps\n"));
  const Finished replay = Record(lines, {"--allow-jumps"});
  EXPECT_EQ(replay.exit_code, 0);
  EXPECT_THAT(replay.err, HasSubstr("7168.0 days ahead, from tick "));
  EXPECT_THAT(replay.err, HasSubstr(" 2 events, 0 lines skipped\n"));
  EXPECT_THAT(View(), HasSubstr("(11/25/2029 16:57:44)"));
}

TEST_F(ReplayJump, OnlyANewStoreBeginsAnywhere) {
  EXPECT_THAT(Record(BookmarkAt(100000000)).err, HasSubstr("recorded ticks 100000000 to "));
  EXPECT_THAT(Record(BookmarkAt(100000000 + 399 * kDay)).err,
              AllOf(HasSubstr("recorded ticks 168947200 to "), Not(HasSubstr("days ahead"))));
  EXPECT_THAT(Record(BookmarkAt(1000000000)).err,
              HasSubstr("days ahead, at tick 1000000000; more"));
}

TEST_F(ReplayJump, ATickThatIsTooHighIsNoTick) {
  const Finished replay = Record(BookmarkAt(4294967040) + BookmarkAt(4294967041));
  EXPECT_EQ(replay.exit_code, 0);
  EXPECT_THAT(replay.err, HasSubstr("vmr: input:2: \"tick\" is 4294967041, expected a whole number "
                                    "from 0 to 4294967040\n"));
  EXPECT_THAT(Items(), testing::Contains(kBookmark));
  const Finished after = Record(BookmarkAt(1));
  EXPECT_EQ(after.exit_code, 1);
  EXPECT_THAT(after.err, testing::MatchesRegex("vmr: s: its last tick is 42949670[0-9]*, there are "
                                               "none after 4294967040\n"));
}

}  // namespace
}  // namespace vmr::test
