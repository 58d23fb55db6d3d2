// `vmr follow` beside a recorder, and killed.
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <random>
#include <thread>

#include "records/decoder.h"
#include "tests/records/decoded.h"
#include "tests/tools/ring_images.h"
#include "tools/read/follow_source.h"

namespace vmr::test {
namespace {

using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using tool::FollowSource;

void Sleep_ms(int ms) { std::this_thread::sleep_for(std::chrono::milliseconds(ms)); }

// `vmr follow` under way, whose lines are appended to a file.
class Following {
 public:
  Following(const std::string& folder, Arguments arguments) {
    arguments.insert(arguments.begin(), {"vmr", "follow"});
    std::vector<char*> argv;
    for (std::string& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    process_ = fork();
    if (process_ != 0) return;
    setenv("TZ", "UTC", 1);
    if (chdir(folder.c_str()) == 0 && dup2(OpenToAppend("lines"), 1) == 1 &&
        dup2(OpenToAppend("messages"), 2) == 2)
      execv(VMR_PROGRAM, argv.data());
    _exit(127);
  }
  ~Following() {
    if (process_ > 0) End(SIGKILL);
  }
  Following(const Following&) = delete;
  Following& operator=(const Following&) = delete;

  // Its exit code, or -1.
  int End(int signal) {
    kill(process_, signal);
    return Wait();
  }
  int Wait() {
    int status = 0;
    waitpid(std::exchange(process_, -1), &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

 private:
  static int OpenToAppend(const char* name) {
    return open(name, O_WRONLY | O_CREAT | O_APPEND, 0600);
  }
  pid_t process_;
};

class FollowTest : public RingImageTest {
 protected:
  // What a line of JSON is about: what it says of time, and of which copy, depends on when.
  static std::vector<std::string> Places(const std::string& lines) {
    std::vector<std::string> places;
    std::istringstream stream(lines);
    for (std::string line; std::getline(stream, line);) {
      const json record = json::parse(line, nullptr, false);
      places.push_back(record.is_discarded()
                           ? "torn: " + line
                           : record["kind"].get<std::string>() + " " + record["cluster"].dump() +
                                 " " + record["offset"].dump());
    }
    return places;
  }
  std::vector<std::string> Recorded() const { return Places(Run({"export", "s"}).out); }
  std::vector<std::string> Followed() const { return Places(ReadFile(Path("lines"))); }
  std::string Messages() const { return ReadFile(Path("messages")); }

  // Waits until as many lines were printed; a busy machine gets time.
  bool WaitForLines(std::size_t count) const {
    for (int n = 0; n < 600 && CountLines() < count; ++n) Sleep_ms(50);
    return CountLines() >= count;
  }
  std::size_t CountLines() const {
    const std::string lines = ReadFile(Path("lines"));
    return static_cast<std::size_t>(std::count(lines.begin(), lines.end(), '\n'));
  }
  bool WaitForFile(const std::string& name) const {
    for (int n = 0; n < 600 && !std::filesystem::exists(Path(name)); ++n) Sleep_ms(50);
    return std::filesystem::exists(Path(name));
  }
  bool HasLine(const std::string& end) const {
    return ReadFile(Path("lines")).find(end + "\n") != std::string::npos;
  }
  static std::string Log(int n) {
    return "{\"event\":\"log\",\"text\":\"n" + std::to_string(n) + "\"}\n";
  }
  Arguments WithCursor() const { return {"s", "--format", "jsonl", "--cursor-file", "cursor"}; }
  void FollowUntil(std::size_t lines, int signal = SIGTERM) const {
    Arguments arguments = WithCursor();
    arguments.emplace_back("--from-start");
    Following following(folder, arguments);
    ASSERT_TRUE(WaitForLines(lines));
    Sleep_ms(700);
    EXPECT_EQ(following.End(signal), signal == SIGKILL ? -1 : 0) << Messages();
  }
};

TEST_F(FollowTest, PrintsWhatIsRecordedFromNowOn) {
  Replay(Log(1));
  Following following(folder, {"s", "--cursor-file", "cursor"});
  ASSERT_TRUE(WaitForFile("cursor"));
  Replay(Log(2) + Log(3));
  for (int n = 0; n < 600 && !HasLine("log: \"n3\""); ++n) Sleep_ms(50);
  EXPECT_EQ(following.End(SIGINT), 0);
  const std::string lines = ReadFile(Path("lines"));
  EXPECT_THAT(lines, HasSubstr("  log: \"n2\"\n"));
  EXPECT_THAT(lines, HasSubstr("  log: \"n3\"\n"));
  EXPECT_THAT(lines, testing::Not(HasSubstr("n1")));
  EXPECT_EQ(Messages(), "");
}

TEST_F(FollowTest, TimesAreLocalFromTheFirstLineOn) {
  WriteFile(Path("unit.json"), R"({"system_info":{"time_zone_index":"America/Chicago"}})");
  WriteFile(Path("input"), R"({"event":"bookmark","time":"2024-05-01T10:00:00Z"})"
                           "\n"
                           R"({"event":"bookmark","time":"2024-05-01T10:01:00Z"})");
  ASSERT_EQ(Run({"record", "s", "--replay", "--config", "unit.json", "--input", "input"}).exit_code,
            0);
  Following following(folder, {"s", "--from-start"});
  for (int n = 0; n < 600 && !HasLine("bookmark"); ++n) Sleep_ms(50);
  EXPECT_EQ(following.End(SIGTERM), 0);
  EXPECT_THAT(ReadFile(Path("lines")),
              testing::AllOf(testing::ContainsRegex("^ +1 ~2024-05-01 0[45]:[0-9:]+-05:00  "),
                             testing::Not(HasSubstr("+00:00"))));
}

TEST_F(FollowTest, ItEndsThoughNobodyReadsItsLines) {
  MakeRingOfBookmarks(2000);
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  const pid_t process = fork();
  if (process == 0) {
    dup2(ends[1], 1);
    execl(VMR_PROGRAM, "vmr", "follow", Path("s").c_str(), "--from-start", nullptr);
    _exit(127);
  }
  Sleep_ms(1000);  // by now the pipe is full
  kill(process, SIGTERM);
  int status = -1;
  for (int n = 0; n < 600 && waitpid(process, &status, WNOHANG) == 0; ++n) Sleep_ms(50);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
  if (status == -1) kill(process, SIGKILL);
  close(ends[0]);
  close(ends[1]);
}

TEST_F(FollowTest, AClosedPipeIsNoError) {
  MakeRingOfBookmarks(2000);
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  const pid_t process = fork();
  if (process == 0) {
    dup2(ends[1], 1);
    close(ends[0]);
    execl(VMR_PROGRAM, "vmr", "follow", Path("s").c_str(), "--from-start", nullptr);
    _exit(127);
  }
  close(ends[1]);
  close(ends[0]);
  int status = -1;
  for (int n = 0; n < 600 && waitpid(process, &status, WNOHANG) == 0; ++n) Sleep_ms(50);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
}

TEST_F(FollowTest, AStoreMayYetHaveToCome) {
  Following following(folder, {"s", "--format", "jsonl"});
  Sleep_ms(700);
  EXPECT_EQ(Messages(), "vmr: s: is not there yet; waiting for it\n");
  Replay(Log(1));
  const std::vector<std::string> recorded = Recorded();
  ASSERT_TRUE(WaitForLines(recorded.size()));
  EXPECT_EQ(following.End(SIGTERM), 0);
  EXPECT_EQ(Followed(), recorded);
}

TEST_F(FollowTest, AStoreThatARecorderWouldBeginAnewIsFollowedWithARemark) {
  MakeRingOfBookmarks(20);
  Damage(1, 0);
  Damage(2, 0);
  Following following(folder, {"s", "--from-start", "--format", "jsonl"});
  ASSERT_TRUE(WaitForLines(38));
  EXPECT_EQ(following.End(SIGTERM), 3) << "a cluster is lost";
  EXPECT_THAT(Messages(), testing::StartsWith("vmr: s: a cluster that recorders look for its end "
                                              "in is bad in both files; record no more into it"));
  EXPECT_THAT(Run({"view", "s"}).err, testing::StartsWith(Messages()));
}

TEST_F(FollowTest, KilledAgainAndAgainItPrintsEveryRecordOnce) {
  RunningProgram recorder(folder, {"record", "s", "--input", "-"});
  ASSERT_TRUE(WaitForFile("s_2.mtd"));
  std::atomic<bool> done{false};
  std::thread feeding([&] {
    for (int n = 0; n < 400; ++n) {
      // Long enough for some clusters.
      recorder.Write(R"({"event":"log","text":")" + std::string(150, 'x') + "\"}\n");
      Sleep_ms(20);
    }
    done = true;
  });
  std::mt19937 random(7);
  int kills = 0;
  Arguments arguments = WithCursor();
  arguments.emplace_back("--from-start");
  while (!done) {
    Following following(folder, arguments);
    Sleep_ms(100 + static_cast<int>(random() % 900));
    EXPECT_EQ(following.End(SIGKILL), -1);
    ++kills;
  }
  feeding.join();
  EXPECT_EQ(recorder.Finish().exit_code, 0);
  const std::vector<std::string> recorded = Recorded();
  FollowUntil(recorded.size());
  EXPECT_GE(recorded.size(), 450U);
  EXPECT_GE(kills, 8);
  EXPECT_EQ(Followed(), recorded);
}

TEST_F(FollowTest, WhatWasPrintedBeforeTheCursorWasSavedIsNotPrintedAgain) {
  Replay(Log(1));
  FollowUntil(Recorded().size());
  const std::string early = ReadFile(Path("cursor"));
  Replay(Log(2) + Log(3) + Log(4));
  const std::vector<std::string> recorded = Recorded();
  FollowUntil(recorded.size());
  const std::string all = ReadFile(Path("lines"));
  // As if it had been killed within a line, before the cursor was saved.
  WriteFile(Path("cursor"), early);
  std::filesystem::resize_file(Path("lines"), all.size() - 20);
  FollowUntil(recorded.size());
  EXPECT_EQ(ReadFile(Path("lines")), all);
  EXPECT_EQ(Followed(), recorded);
}

TEST_F(FollowTest, ForeignLinesBehindTheCursorStayAsTheyAre) {
  Replay(Log(1));
  FollowUntil(Recorded().size());
  std::ofstream(Path("lines"), std::ios::app) << "a note";
  Replay(Log(2));
  const std::vector<std::string> recorded = Recorded();
  FollowUntil(recorded.size() + 1);
  std::vector<std::string> followed = Followed();
  EXPECT_EQ(followed.size(), recorded.size() + 1);
  followed.erase(std::remove(followed.begin(), followed.end(), "torn: a note"), followed.end());
  EXPECT_EQ(followed, recorded);
}

TEST_F(FollowTest, ACursorOfAnotherRecordingIsRefused) {
  Replay(Log(1));
  FollowUntil(Recorded().size());
  const std::string cursor = ReadFile(Path("cursor"));
  for (const int file : {1, 2}) std::filesystem::remove(Path(FileName(file)));
  Replay(Log(2));
  const Finished refused = Run({"follow", "s", "--cursor-file", "cursor"});
  EXPECT_EQ(refused.exit_code, 1);
  EXPECT_EQ(refused.err,
            "vmr: cursor: is of another recording than s; remove it to begin anew, or name "
            "another\n");
  EXPECT_EQ(ReadFile(Path("cursor")), cursor);
}

TEST_F(FollowTest, AFileThatIsNoCursorIsLeftAsItIs) {
  Replay(Log(1));
  for (const char* const text : {"", "{}", "precious", "{\"vmr_cursor\":1,\"cluster\":-5}"}) {
    WriteFile(Path("cursor"), text);
    const Finished refused = Run({"follow", "s", "--cursor-file", "cursor"});
    EXPECT_EQ(refused.exit_code, 1);
    EXPECT_EQ(refused.err, "vmr: cursor: is no cursor of vmr follow; it is left as it is\n");
    EXPECT_EQ(ReadFile(Path("cursor")), text);
  }
  EXPECT_EQ(Run({"follow", "s", "--cursor-file", "s_1.mtd"}).exit_code, 1);
  EXPECT_EQ(Run({"follow", "cursor"}).err, "vmr: cursor: is no store; only those grow\n");
}

// ---- Overtaken -------------------------------------------------------------------

class OvertakenTest : public FollowTest {
 protected:
  // A full ring of one bookmark a cluster, the oldest of which is in cluster 100.
  void MakeFullRing(unsigned int first_tick) const {
    MakeRing(kRingClusters, [first_tick](int cluster) {
      const int age = (cluster + kRingClusters - 100) % kRingClusters;
      const auto tick = first_tick + static_cast<unsigned int>(age);
      return ClusterOf(tick, FullPacket(tick, B("56")));
    });
  }
};

TEST_F(OvertakenTest, WhatWasWrittenOverMeanwhileIsAGap) {
  MakeFullRing(1000);
  FollowUntil(kRingClusters + 1);
  std::filesystem::remove(Path("lines"));
  MakeFullRing(500000);
  Following following(folder, WithCursor());
  ASSERT_TRUE(WaitForLines(kRingClusters + 1));
  EXPECT_EQ(following.End(SIGTERM), 3);
  const std::string lines = ReadFile(Path("lines"));
  const json gap = json::parse(lines.substr(0, lines.find('\n')));
  EXPECT_EQ(gap["kind"], "gap");
  EXPECT_EQ(gap["reason"], "overtaken");
  EXPECT_EQ(gap["from_tick"], 1000 + kRingClusters - 1);
  EXPECT_EQ(gap["to_tick"], 500000);
  EXPECT_EQ(Messages(),
            "vmr: s: was overtaken: something was written over before it could be printed\n");
}

TEST_F(OvertakenTest, ARecorderThatGoesAroundIsNoticed) {
  MakeFullRing(1000);
  FollowSource source(Path(FileName(1)), Path(FileName(2)));
  EXPECT_EQ(source.LookAgain(), FollowSource::Look::kGoesOn);
  Lines lines;
  records::Decoder decoder(source, lines);
  decoder.Run();
  MakeFullRing(500000);
  EXPECT_EQ(source.LookAgain(), FollowSource::Look::kOvertaken);
  source.BeginBehindGap();
  EXPECT_EQ(source.LookAgain(), FollowSource::Look::kGoesOn);
  lines.lines.clear();
  decoder.Run();
  EXPECT_THAT(lines.lines, SizeIs(kRingClusters)) << "the newest is held back";
  EXPECT_EQ(lines.lines[0], "gap 33766..500000 overtaken");
}

// ---- Looks -----------------------------------------------------------------------

class FollowSourceTest : public FollowTest {
 protected:
  std::vector<std::string> Look() {
    look_ = source_.LookAgain();
    lines_.lines.clear();
    decoder_.Run();
    return lines_.lines;
  }
  FollowSource source_{Path(FileName(1)), Path(FileName(2))};
  Lines lines_;
  records::Decoder decoder_{source_, lines_};
  FollowSource::Look look_{};
};

TEST_F(FollowSourceTest, APacketIsHeldBackUntilItsContinuationsMayHaveCome) {
  MakeRing(1, [](int) { return ClusterOf(10, FullPacket(10, B("56"))); });
  EXPECT_THAT(Look(), IsEmpty());
  const Bytes packets = FullPacket(10, B("56")) + Continuation(B("36"));
  PutInBoth(0, ClusterOf(10, packets));
  EXPECT_THAT(Look(), IsEmpty());
  EXPECT_THAT(Look(), ElementsAre("10 bookmark", "10 input input='siren' on=1"));
  PutInBoth(0, ClusterOf(10, packets + ShortPacket(12, B("37")) + ShortPacket(13, B("56"))));
  EXPECT_THAT(Look(), ElementsAre("12 input input='siren' on=0"));
  EXPECT_THAT(Look(), ElementsAre("13 bookmark"));
  EXPECT_THAT(Look(), IsEmpty());
}

TEST_F(FollowSourceTest, ClustersThatCameAndOneThatIsLostAreHandedOutInOrder) {
  MakeRingOfBookmarks(1);
  Look(), Look();
  for (const int cluster : {1, 2, 3, 4}) PutInBoth(cluster, TwoBookmarks(cluster));
  Damage(1, 2);
  Damage(2, 2);
  EXPECT_THAT(Look(), ElementsAre("110 bookmark", "160 bookmark", "gap 160..310 lost clusters",
                                  "310 bookmark", "360 bookmark", "410 bookmark"));
  EXPECT_THAT(Look(), ElementsAre("460 bookmark"));
}

TEST_F(FollowSourceTest, AStoreThatIsBegunAnewIsNoticed) {
  MakeRingOfBookmarks(3);
  Look(), Look();
  MakeRing(3, [](int cluster) { return TwoBookmarks(cluster + 7); });
  Look();
  EXPECT_EQ(look_, FollowSource::Look::kOther);
}

TEST_F(FollowSourceTest, ACopyThatIsOnePacketBehindIsNoOtherRecording) {
  MakeRingOfBookmarks(2);
  Look(), Look();
  const Bytes behind = ClusterOf(110, FullPacket(110, B("56")));
  PutInBoth(1, behind);
  EXPECT_THAT(Look(), IsEmpty());
  EXPECT_EQ(look_, FollowSource::Look::kGoesOn);
  PutInBoth(1, TwoBookmarks(1));
  EXPECT_THAT(Look(), IsEmpty());
}

}  // namespace
}  // namespace vmr::test
