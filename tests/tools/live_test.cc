// Recording by the machine's clock.
#include <chrono>
#include <thread>

#include "tests/tools/fake_gpsd.h"
#include "tests/tools/program.h"

namespace vmr::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::MatchesRegex;
using LiveTest = ProgramTest;

constexpr const char* kBookmark = "[Tag=Bookmark, TagNo=0x56]";

TEST_F(LiveTest, TheEndOfAllInputsEndsTheRecording) {
  const Finished live =
      Run({"record", "s", "--input", "-"}, "{\"event\":\"bookmark\",\"tick\":4000000000}\nx\n");
  EXPECT_EQ(live.exit_code, 0);
  // One tick, and on a busy machine a few more.
  EXPECT_THAT(live.err,
              testing::MatchesRegex("vmr: standard input:2: not valid JSON at column 1\n"
                                    "vmr: s: recorded ticks 1 to [0-9]+\n"
                                    "vmr: s: 2 lines, 0 fixes, 0 losses of fix, 1 events, 1 lines "
                                    "skipped\n"));
  EXPECT_THAT(Items(), ElementsAre(kBookmark));
}

TEST_F(LiveTest, SigtermAndSigintKeepWhatWasReported) {
  for (const int signal : {SIGTERM, SIGINT}) {
    RunningProgram program(folder, {"record", "s", "--input", "-"});
    program.Write("{\"event\":\"bookmark\"}\nx\n");
    ASSERT_TRUE(program.WaitForMessage("standard input:2:"));
    program.Signal(signal);
    EXPECT_EQ(program.Finish().exit_code, 0);
  }
  EXPECT_THAT(ItemsOf(View()), testing::IsSupersetOf({kBookmark, kBookmark}));
}

TEST_F(LiveTest, ATimerTicksEveryHalfSecond) {
  // Three ticks are enough; a machine that is busy with other things gets more.
  std::vector<std::string> items;
  for (const int seconds : {3, 10, 30}) {
    RunningProgram program(folder, {"record", "s", "--input", "-"});
    program.Write("{\"event\":\"bookmark\"}\nx\n");
    ASSERT_TRUE(program.WaitForMessage("standard input:2:"));
    std::this_thread::sleep_for(std::chrono::seconds(seconds));
    // The bookmark is on disk although nothing else came: power is cut.
    program.Signal(SIGKILL);
    EXPECT_EQ(program.Finish().exit_code, -1);
    items = Items();
    if (!items.empty()) break;
  }
  EXPECT_THAT(items, testing::Contains(kBookmark));
}

TEST_F(LiveTest, AStoreInUseIsViewedButNotRecordedTo) {
  RunningProgram program(folder, {"record", "s", "--input", "-"});
  program.Write("{\"event\":\"bookmark\"}\nx\n");
  ASSERT_TRUE(program.WaitForMessage("standard input:2:"));
  RunningProgram other(folder, {"view", "--listing", "s"});
  const Finished view = other.Finish();
  EXPECT_EQ(view.exit_code, 0);
  EXPECT_EQ(view.err, "");
  const Finished record = Run({"record", "s", "--replay", "--input", "-"});
  EXPECT_EQ(record.exit_code, 1);
  EXPECT_EQ(record.err,
            "vmr: s: is in use by another process; wait until it has ended, or record to another "
            "store\n");
  EXPECT_EQ(program.Finish().exit_code, 0);
  EXPECT_EQ(Run({"view", "--listing", "s"}).exit_code, 0);
}

std::string Fix(const std::string& latitude) {
  return R"({"class":"TPV","mode":3,"lat":)" + latitude + R"(,"lon":12.05})";
}

// Sends a report that cannot be used, so that what came before it is known to
// have been read.
bool SendAndSee(const FakeGpsd& gpsd, const RunningProgram& program, const std::string& mark) {
  return gpsd.Send(R"({"class":"TPV","mode":")" + mark + "\"}") && program.WaitForMessage(mark);
}

TEST_F(LiveTest, AGpsdIsReadAndReadAgainAfterItsConnectionEnded) {
  FakeGpsd gpsd;
  RunningProgram program(folder, {"record", "s", "--gpsd=" + gpsd.Address()});
  ASSERT_TRUE(gpsd.Accept());
  EXPECT_TRUE(gpsd.Send(Fix("49.0")));
  ASSERT_TRUE(SendAndSee(gpsd, program, "first"));
  gpsd.Drop();
  EXPECT_TRUE(program.WaitForMessage("vmr: gpsd " + gpsd.Address() +
                                     ": the connection ended; trying again in 0.5 s\n"));
  ASSERT_TRUE(gpsd.Accept());
  EXPECT_TRUE(gpsd.Send(Fix("49.5")));
  ASSERT_TRUE(SendAndSee(gpsd, program, "second"));
  program.Signal(SIGTERM);
  const Finished live = program.Finish();
  EXPECT_EQ(live.exit_code, 0);
  EXPECT_THAT(live.err, HasSubstr(" 2 fixes, 0 losses of fix, 0 events, 2 lines skipped\n"));
  EXPECT_THAT(Items(), ElementsAre(HasSubstr("Tag=GpsAbs"), HasSubstr("Tag=GpsAbs")));
}

TEST_F(LiveTest, AServerThatHangsUpIsTriedAgainWithGrowingDelays) {
  for (const bool greets : {false, true}) {
    FakeGpsd gpsd;
    RunningProgram program(folder, {"record", "s", "--gpsd=" + gpsd.Address()});
    for (const char* const delay : {"0.5", "1.0", "2.0"}) {
      ASSERT_TRUE(gpsd.TurnAway(greets));
      EXPECT_TRUE(program.WaitForMessage(std::string("trying again in ") + delay + " s\n"));
    }
    // A report makes it well again.
    ASSERT_TRUE(gpsd.Accept());
    EXPECT_TRUE(gpsd.Send(Fix("49.0")));
    ASSERT_TRUE(SendAndSee(gpsd, program, "first"));
    gpsd.Drop();
    ASSERT_TRUE(gpsd.Accept());
    program.Signal(SIGTERM);
    const Finished live = program.Finish();
    EXPECT_THAT(live.err, MatchesRegex(".*in 2.0 s\n.*first.*in 0.5 s\n.*"));
    EXPECT_EQ(live.exit_code, 0);
  }
}

TEST_F(LiveTest, TheReleaseOfAGpsdIsToldAtEachConnection) {
  FakeGpsd gpsd;
  RunningProgram program(folder, {"record", "s", "--gpsd=" + gpsd.Address()});
  const std::string connected = "vmr: gpsd " + gpsd.Address() + ": connected to gpsd ";
  ASSERT_TRUE(gpsd.Accept("3.22"));
  EXPECT_TRUE(program.WaitForMessage(connected + "3.22\n"));
  gpsd.Drop();
  ASSERT_TRUE(gpsd.Accept("4\\u001b[2J\\u009bx\\n"));
  EXPECT_TRUE(program.WaitForMessage(connected + "4\\x1B[2J\\x9Bx\\x0A\n"));
  program.Signal(SIGTERM);
  EXPECT_EQ(program.Finish().exit_code, 0);
}

TEST_F(LiveTest, AReportMayComeInPiecesAndWithOthers) {
  FakeGpsd gpsd;
  RunningProgram program(folder, {"record", "s", "--gpsd=" + gpsd.Address()});
  ASSERT_TRUE(gpsd.Accept());
  const std::string fix = Fix("49.0");
  EXPECT_TRUE(gpsd.SendBytes(fix.substr(0, 20)));
  std::this_thread::sleep_for(std::chrono::milliseconds(600));
  EXPECT_TRUE(gpsd.SendBytes(fix.substr(20) + "\r\n\r\n" + Fix("49.5") + "\r\n"));
  ASSERT_TRUE(SendAndSee(gpsd, program, "first"));
  program.Signal(SIGTERM);
  const Finished live = program.Finish();
  EXPECT_EQ(live.exit_code, 0);
  EXPECT_THAT(live.err, HasSubstr(" 2 fixes, 0 losses of fix, 0 events, 1 lines skipped\n"));
}

TEST_F(LiveTest, OfHalfAReportAtTheEndOfAConnectionNothingIsTaken) {
  FakeGpsd gpsd;
  RunningProgram program(folder, {"record", "s", "--gpsd=" + gpsd.Address()});
  ASSERT_TRUE(gpsd.Accept());
  EXPECT_TRUE(gpsd.SendBytes(Fix("49.0").substr(0, 20)));
  gpsd.Drop();
  EXPECT_TRUE(program.WaitForMessage(": the connection ended; trying again in 0.5 s\n"));
  ASSERT_TRUE(gpsd.Accept());
  EXPECT_TRUE(gpsd.Send(Fix("49.5")));
  ASSERT_TRUE(SendAndSee(gpsd, program, "first"));
  program.Signal(SIGTERM);
  const Finished live = program.Finish();
  EXPECT_EQ(live.exit_code, 0);
  EXPECT_THAT(live.err, HasSubstr(" 1 fixes, 0 losses of fix, 0 events, 1 lines skipped\n"));
}

// Where the name stands for ::1, too, nobody answers there.
TEST_F(LiveTest, AHostIsTriedAtEachOfItsAddresses) {
  FakeGpsd gpsd;
  RunningProgram program(folder, {"record", "s", "--gpsd=localhost:" + gpsd.Port()});
  ASSERT_TRUE(gpsd.Accept());
  EXPECT_TRUE(program.WaitForMessage(": connected to gpsd 3.22\n"));
  program.Signal(SIGTERM);
  EXPECT_EQ(program.Finish().exit_code, 0);
}

TEST_F(LiveTest, EventsAreNotTakenFromAGpsd) {
  FakeGpsd gpsd;
  RunningProgram program(folder, {"record", "s", "--gpsd=" + gpsd.Address(), "--input", "-"});
  ASSERT_TRUE(gpsd.Accept());
  EXPECT_TRUE(gpsd.Send(R"({"event":"shutdown"})"));
  EXPECT_TRUE(gpsd.Send(R"({"event":"bookmark"})"));
  EXPECT_TRUE(gpsd.Send(Fix("49.0")));
  ASSERT_TRUE(SendAndSee(gpsd, program, "first"));
  program.Signal(SIGTERM);
  const Finished live = program.Finish();
  EXPECT_EQ(live.exit_code, 0);
  EXPECT_THAT(live.err, HasSubstr("vmr: gpsd " + gpsd.Address() +
                                  ":3: \"class\" is missing, as it is in no report of gpsd\n"));
  EXPECT_THAT(live.err, HasSubstr(" 1 fixes, 0 losses of fix, 0 events, 3 lines skipped\n"));
  EXPECT_THAT(Items(), ElementsAre(HasSubstr("Tag=GpsAbs")));
}

TEST_F(LiveTest, FiveSecondsWithoutAReportMakeGpsUnavailable) {
  FakeGpsd gpsd;
  RunningProgram program(folder, {"record", "s", "--gpsd=" + gpsd.Address()});
  ASSERT_TRUE(gpsd.Accept());
  EXPECT_TRUE(gpsd.Send(Fix("49.0")));
  ASSERT_TRUE(SendAndSee(gpsd, program, "first"));
  std::this_thread::sleep_for(std::chrono::milliseconds(3000));
  EXPECT_TRUE(gpsd.Send(Fix("49.0")));
  std::this_thread::sleep_for(std::chrono::milliseconds(8000));
  EXPECT_TRUE(gpsd.Send(Fix("49.0")));
  ASSERT_TRUE(SendAndSee(gpsd, program, "second"));
  program.Signal(SIGTERM);
  EXPECT_EQ(program.Finish().exit_code, 0);
  EXPECT_THAT(
      Items(),
      ElementsAre(HasSubstr("Tag=GpsAbs"), "[Tag=GpsState, TagNo=0x94, State=0-unavailable]",
                  "[Tag=GpsState, TagNo=0x94, State=1-available]", HasSubstr("Tag=GpsAbs")));
}

TEST_F(LiveTest, AGpsdThatIsNotThereIsTriedAgainWithGrowingDelays) {
  std::string address;
  {
    FakeGpsd gone;
    address = gone.Address();
  }
  RunningProgram program(folder, {"record", "s", "--gpsd=" + address});
  EXPECT_TRUE(program.WaitForMessage("trying again in 0.5 s\n"));
  EXPECT_TRUE(program.WaitForMessage("trying again in 1.0 s\n"));
  program.Signal(SIGINT);
  const Finished live = program.Finish();
  EXPECT_EQ(live.exit_code, 0);
  EXPECT_THAT(live.err, HasSubstr("vmr: gpsd " + address + ": cannot connect ("));
}

TEST_F(LiveTest, AHostThatNobodyKnowsIsToldAndTriedAgain) {
  RunningProgram program(folder, {"record", "s", "--gpsd=nobody.invalid"});
  EXPECT_TRUE(program.WaitForMessage("vmr: gpsd nobody.invalid:2947: cannot connect ("));
  EXPECT_TRUE(program.WaitForMessage("); trying again in 1.0 s\n"));
  program.Signal(SIGTERM);
  EXPECT_EQ(program.Finish().exit_code, 0);
}

}  // namespace
}  // namespace vmr::test
