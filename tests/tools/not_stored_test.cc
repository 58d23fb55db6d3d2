// What `vmr record` says when what it records does not reach the disk.
#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>

#include <chrono>
#include <filesystem>
#include <map>
#include <optional>
#include <thread>

#include "tests/support/file_hook.h"
#include "tests/support/scarce_room.h"
#include "tests/tools/ring_images.h"
#include "tools/record/recorder.h"

namespace vmr::test {
namespace {

namespace fs = std::filesystem;
using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

constexpr char kBookmark[] = "{\"event\":\"bookmark\"}\n";
constexpr char kWarning[] = "WARNING";
constexpr unsigned long long kLimitBytes = 64 << 20;  // half of a ring's file

std::size_t CountOf(const std::string& text, const std::string& part) {
  std::size_t count = 0;
  for (std::size_t at = 0; (at = text.find(part, at)) != text.npos; at += part.size()) ++count;
  return count;
}

// ---- Writes that fail ----------------------------------------------------------

using NotStored = RingImageTest;

// What stands behind the limit cannot be written to either file.
TEST_F(NotStored, IsToldOnceAndCountedAndAFailure) {
  MakeRing(20000, [](int cluster) { return TwoBookmarks(cluster); });
  std::string lines;
  for (int tick = 3000000; tick < 3000100; tick += 10)
    lines += "{\"event\":\"bookmark\",\"tick\":" + std::to_string(tick) + "}\n";
  WriteFile(Path("input"), lines);
  const FileSizeLimit limit(kLimitBytes);
  const Finished finished = Run({"record", "s", "--replay", "--input", "input"});
  EXPECT_EQ(finished.exit_code, 1);
  EXPECT_THAT(finished.err, HasSubstr("vmr: s: WARNING: what was recorded at tick 1999960 is in no "
                                      "file: the one whose turn it was did not take it\n"));
  EXPECT_THAT(finished.err, HasSubstr("vmr: s: WARNING: NOTHING IS STORED since tick 1999960: "
                                      "neither file takes what is recorded\n"));
  EXPECT_EQ(CountOf(finished.err, kWarning), 2U);
  EXPECT_THAT(finished.err, Not(HasSubstr("again")));
  EXPECT_THAT(finished.err, MatchesRegex(".*vmr: s: 10 lines[^\n]*\nvmr: s: not stored: 1[0-9] "
                                         "packets\n"));
}

TEST_F(NotStored, IsToldWhenItIsOver) {
  MakeRing(20000, [](int cluster) { return TwoBookmarks(cluster); });
  std::optional<FileSizeLimit> limit(kLimitBytes);
  RunningProgram program(folder, {"record", "s", "--input", "-"});
  limit.reset();
  program.Write(kBookmark);
  ASSERT_TRUE(program.WaitForMessage("NOTHING IS STORED"));
  rlimit none{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &none), 0);
  ASSERT_EQ(prlimit(program.Process(), RLIMIT_FSIZE, &none, nullptr), 0);
  for (int i = 0; i < 3; ++i) {
    program.Write(kBookmark);
    std::this_thread::sleep_for(std::chrono::seconds(1));
  }
  EXPECT_TRUE(
      program.WaitForMessage("vmr: s: both files take what is recorded again; nothing is lost\n"));
  const Finished finished = program.Finish();
  EXPECT_EQ(finished.exit_code, 0);
  EXPECT_THAT(finished.err, Not(HasSubstr("not stored")));
  EXPECT_EQ(CountOf(View(), "[Tag=Bookmark"), 20000U * 2 + 4);
}

// Every write to one of the two files fails.
class FullFile final : public PassingOn {
 public:
  explicit FullFile(std::string path) : path_(std::move(path)) {}
  int Open(const char* path, int flags, mode_t mode) override {
    const int fd = PassingOn::Open(path, flags, mode);
    full_[fd] = path == path_;
    return fd;
  }
  ssize_t Write(int fd, const void* data, std::size_t count) override {
    if (!full_[fd]) return PassingOn::Write(fd, data, count);
    errno = ENOSPC;
    return -1;
  }

 private:
  std::string path_;
  std::map<int, bool> full_;
};

// Records some bookmarks, and gives what was said meanwhile.
std::string RecordSome(const std::string& base, bool& stored) {
  const tool::UnitConfiguration configuration;
  testing::internal::CaptureStderr();
  tool::Recorder recorder(base, configuration);
  EXPECT_TRUE(recorder.Open(false));
  unsigned int tick = recorder.FirstTick();
  recorder.Begin(tick);
  for (int i = 0; i < 10; ++i, tick += 10) {
    recorder.TimerTick(tick);
    recorder.Record(std::get<tool::Report>(tool::ParseLine(kBookmark)), tick);
  }
  recorder.Close();
  stored = recorder.Conclude();
  return testing::internal::GetCapturedStderr();
}

// The last packet goes to one file: where that one fails, the packet is lost.
TEST_F(NotStored, OneFileThatFailsIsToldOnceAndLosesNothingButPerhapsTheEnd) {
  int not_stored = 0;
  for (const int file : {1, 2}) {
    MakeRingOfBookmarks(2);
    const std::string path = Path(FileName(file));
    const FullFile full(path);
    bool stored = false;
    const std::string said = RecordSome(Path("s"), stored);
    EXPECT_EQ(CountOf(said, kWarning), 1U) << said;
    EXPECT_THAT(said, Not(HasSubstr("again")));
    if (stored) {
      EXPECT_THAT(said, HasSubstr(path + ": "));
      EXPECT_THAT(said, EndsWith(" writes failed; what it lacks is in " + Path(FileName(3 - file)) +
                                 ", `vmr scrub " + Path("s") + "` completes it\n"));
    } else {
      EXPECT_THAT(said, EndsWith("vmr: " + Path("s") + ": not stored: 1 packets\n"));
      ++not_stored;
    }
  }
  EXPECT_EQ(not_stored, 1);
}

TEST_F(NotStored, NothingIsSaidWhereAllIsWell) {
  bool stored = false;
  MakeRingOfBookmarks(2);
  EXPECT_EQ(RecordSome(Path("s"), stored), "");
  EXPECT_TRUE(stored);
}

// ---- Files that are taken away -----------------------------------------------------

class FileTakenAway : public RingImageTest {
 protected:
  // Records two bookmarks, and between them does something to the files.
  template <typename Action>
  Finished RecordAround(const Action& action) const {
    RunningProgram program(folder, {"record", "s", "--replay", "--input", "-"});
    program.Write(
        "{\"event\":\"bookmark\",\"tick\":3000}\n{\"event\":\"bookmark\",\"tick\":3010}\nx\n");
    EXPECT_TRUE(program.WaitForMessage("standard input:3:"));
    action();
    program.Write("{\"event\":\"bookmark\",\"tick\":3020}\n");
    return program.Finish();
  }
  void Remove(int file) const { fs::remove(Path(FileName(file))); }
};

TEST_F(FileTakenAway, TheOtherOneHasEverythingOrTheExitCodeSaysNo) {
  std::string outcomes;
  for (const int file : {1, 2}) {
    MakeRingOfBookmarks(2);
    const std::string gone = FileName(file);
    const std::string left = FileName(3 - file);
    const Finished finished = RecordAround([&] { Remove(file); });
    EXPECT_THAT(finished.err, HasSubstr("vmr: " + gone +
                                        ": WARNING: was deleted or replaced; what "
                                        "is recorded into it is gone when the recorder ends\n"));
    const bool whole = finished.exit_code == 0;
    EXPECT_THAT(finished.err,
                EndsWith("vmr: " + left +
                         (whole ? ": has every packet\n"
                                : ": lacks packets that " + gone + " alone had\n") +
                         "vmr: s: do not record into it again before `vmr scrub s` has built " +
                         gone + " anew\n"));
    outcomes += whole ? "whole " : "lacking ";
    EXPECT_EQ(Run({"scrub", "s"}).exit_code, 0);
    const std::size_t bookmarks = CountOf(View(), "[Tag=Bookmark");
    EXPECT_EQ(bookmarks, whole ? 7U : 6U);
  }
  EXPECT_TRUE(outcomes == "whole lacking " || outcomes == "lacking whole ") << outcomes;
}

TEST_F(FileTakenAway, WithBothAllIsGone) {
  MakeRingOfBookmarks(2);
  const Finished finished = RecordAround([&] {
    Remove(1);
    Remove(2);
  });
  EXPECT_EQ(finished.exit_code, 1);
  EXPECT_THAT(finished.err,
              EndsWith("vmr: s: both files are gone, and with them all that was recorded\n"));
}

TEST_F(FileTakenAway, AReplacedOneIsGoneToo) {
  MakeRingOfBookmarks(2);
  fs::copy_file(Path("s_2.mtd"), Path("other"));
  const Finished finished = RecordAround([&] { fs::rename(Path("other"), Path("s_2.mtd")); });
  EXPECT_THAT(finished.err, HasSubstr("vmr: s_2.mtd: WARNING: was deleted or replaced"));
}

TEST_F(FileTakenAway, AMovedOneKeepsWhatGoesIntoIt) {
  MakeRingOfBookmarks(2);
  const Finished finished = RecordAround([&] { fs::rename(Path("s_1.mtd"), Path("elsewhere")); });
  EXPECT_EQ(finished.exit_code, 0);
  EXPECT_THAT(finished.err,
              EndsWith("vmr: s_1.mtd: WARNING: was moved away; recording into it goes "
                       "on where it is now\n"));
  fs::rename(Path("elsewhere"), Path("s_1.mtd"));
  EXPECT_EQ(Run({"check", "s"}).exit_code, 0);
}

TEST_F(FileTakenAway, IsToldWhileTheRecorderRuns) {
  MakeRingOfBookmarks(2);
  RunningProgram program(folder, {"record", "s", "--input", "-"});
  program.Write("{\"event\":\"bookmark\"}\nx\n");
  ASSERT_TRUE(program.WaitForMessage("standard input:2:"));
  fs::rename(Path("s_1.mtd"), Path("elsewhere"));
  EXPECT_TRUE(program.WaitForMessage("s_1.mtd: WARNING: was moved away"));
  fs::rename(Path("elsewhere"), Path("s_1.mtd"));
  EXPECT_TRUE(program.WaitForMessage("vmr: s_1.mtd: is back\n"));
  Remove(2);
  EXPECT_TRUE(program.WaitForMessage("s_2.mtd: WARNING: was deleted or replaced"));
  program.Signal(SIGTERM);
  EXPECT_EQ(CountOf(program.Finish().err, kWarning), 2U);
}

}  // namespace
}  // namespace vmr::test
