// The program where there is no room.
#include "tests/support/scarce_room.h"

#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <set>

#include "tests/tools/ring_images.h"

namespace vmr::test {
namespace {

namespace fs = std::filesystem;
using testing::EndsWith;
using testing::HasSubstr;

constexpr unsigned long long kLimitBytes = 64 << 20;  // half of a ring's file

class ScarceRoomTest : public RingImageTest {
 protected:
  Finished RunLimited(const Arguments& arguments) const {
    const FileSizeLimit limit(kLimitBytes);
    return Run(arguments);
  }
  bool LeftNothingOf(const std::string& beginning) const {
    for (const auto& entry : fs::directory_iterator(folder))
      if (entry.path().filename().string().rfind(beginning, 0) == 0) return false;
    return true;
  }
};

// A small file system with a store in it, and a folder beside it for the rest.
class FullFileSystemTest : public RingImageTest {
 protected:
  void SetUp() override {
    if (!small_.WhyNot().empty())
      GTEST_SKIP() << "no tmpfs may be mounted here (" << small_.WhyNot()
                   << "); all but the extract runs under a limit on the size of files";
  }
  // The store of a replay, moved there.
  void MoveStore() const {
    Replay("{\"event\":\"bookmark\",\"tick\":10}\n{\"event\":\"bookmark\",\"tick\":20}\n");
    for (const int file : {1, 2}) {
      fs::copy(Path(FileName(file)), small_.Path(FileName(file)));
      fs::remove(Path(FileName(file)));
    }
  }
  std::string Store() const { return small_.Path("s"); }
  bool HoldsOnly(const std::set<std::string>& names) const {
    std::set<std::string> found;
    for (const auto& entry : fs::directory_iterator(small_.Path("")))
      found.insert(entry.path().filename());
    EXPECT_EQ(found, names);
    return found == names;
  }

  const SmallFileSystem small_{300};
};

TEST_F(FullFileSystemTest, NoNewStoreIsMade) {
  small_.Fill();
  const Arguments record = {"record", Store(), "--replay", "--input", "-"};
  const Finished refused = Run(record);
  EXPECT_EQ(refused.exit_code, 1);
  EXPECT_THAT(refused.err, HasSubstr("No space left on device\n"));
  EXPECT_THAT(refused.err, EndsWith("vmr: " + Store() + ": the store could not be opened\n"));
  small_.MakeRoom();
  EXPECT_EQ(Run(record).exit_code, 0);
  HoldsOnly({"s_1.mtd", "s_2.mtd"});
}

// A store has all its room from the beginning.
TEST_F(FullFileSystemTest, AStoreThatIsThereGoesOn) {
  MoveStore();
  small_.Fill();
  WriteFile(Path("input"), "{\"event\":\"bookmark\",\"tick\":100}\n");
  const Finished finished = Run({"record", Store(), "--replay", "--input", "input"});
  EXPECT_EQ(finished.exit_code, 0) << finished.err;
  EXPECT_THAT(Run({"view", "--listing", Store()}).out, HasSubstr("   100 "));
  EXPECT_EQ(Run({"check", Store()}).exit_code, 0);
}

TEST_F(FullFileSystemTest, AnExtractThatDoesNotFitIsNotThere) {
  MoveStore();
  small_.Fill();
  const Finished cut = Run({"extract", Store(), small_.Path("cut"), "--from", "10", "--to", "20"});
  EXPECT_EQ(cut.exit_code, 1);
  EXPECT_THAT(cut.err, EndsWith("vmr: " + small_.Path("cut") +
                                ": cannot be written whole; is there room for it?\n"));
  HoldsOnly({"filler", "s_1.mtd", "s_2.mtd"});
  EXPECT_EQ(Run({"check", Store()}).exit_code, 0);
}

TEST_F(FullFileSystemTest, ARecoveredStoreThatDoesNotFitIsNotThere) {
  MoveStore();
  const Finished recovered = Run({"recover", Store(), small_.Path("new")});
  EXPECT_EQ(recovered.exit_code, 1);
  EXPECT_EQ(recovered.err, "vmr: " + small_.Path("new") + ": No space left on device\n");
  HoldsOnly({"s_1.mtd", "s_2.mtd"});
  EXPECT_EQ(Run({"check", Store()}).exit_code, 0);
}

TEST_F(FullFileSystemTest, AScrubThatCannotMakeTheMissingFileLeavesTheOther) {
  MoveStore();
  fs::remove(small_.Path("s_2.mtd"));
  small_.Fill();
  const Finished refused = Run({"scrub", Store()});
  EXPECT_EQ(refused.exit_code, 1);
  EXPECT_THAT(refused.err, EndsWith(": No space left on device\n"));
  HoldsOnly({"filler", "s_1.mtd"});
  small_.MakeRoom();
  EXPECT_EQ(Run({"scrub", Store()}).exit_code, 0);
  EXPECT_EQ(Run({"check", Store()}).exit_code, 0);
}

// ---- A limit on the size of files ---------------------------------------------------

TEST_F(ScarceRoomTest, ALimitMakesNoNewStore) {
  const Finished refused = RunLimited({"record", "s", "--replay", "--input", "-"});
  EXPECT_EQ(refused.exit_code, 1);
  EXPECT_THAT(refused.err, HasSubstr("File too large\n"));
  EXPECT_THAT(refused.err, EndsWith("vmr: s: the store could not be opened\n"));
}

// What stands behind the limit cannot be written; the recorder goes on to the end of
// its input, and says so.
TEST_F(ScarceRoomTest, ALimitDoesNotEndARecording) {
  MakeRing(20000, [](int cluster) { return TwoBookmarks(cluster); });
  WriteFile(Path("input"), "{\"event\":\"bookmark\",\"tick\":3000000}\n");
  const Finished finished = RunLimited({"record", "s", "--replay", "--input", "input"});
  EXPECT_EQ(finished.exit_code, 1);
  EXPECT_THAT(finished.err, HasSubstr("Could not write metadata file at cluster 19999 (81915904) "
                                      "- 27: File too large\n"));
  EXPECT_THAT(finished.err, HasSubstr("vmr: s: 1 lines, 0 fixes, 0 losses of fix, 1 events"));
}

TEST_F(ScarceRoomTest, ALimitLeavesNothingOfARecoveredStore) {
  MakeRingOfBookmarks(10);
  const Finished recovered = RunLimited({"recover", "s", "new"});
  EXPECT_EQ(recovered.exit_code, 1);
  EXPECT_EQ(recovered.err, "vmr: new: File too large\n");
  EXPECT_TRUE(LeftNothingOf("new"));
  EXPECT_TRUE(LeftNothingOf(".vmr-recover-"));
}

TEST_F(ScarceRoomTest, ALimitLeavesWhatAScrubCannotMend) {
  MakeRingOfBookmarks(10);
  fs::remove(Path("s_2.mtd"));
  const Finished refused = RunLimited({"scrub", "s"});
  EXPECT_EQ(refused.exit_code, 1);
  EXPECT_THAT(refused.err, EndsWith(": File too large\n"));
  EXPECT_FALSE(fs::exists(Path("s_2.mtd")));
  EXPECT_EQ(Run({"scrub", "s"}).exit_code, 0);
}

// ---- A device that is always full -----------------------------------------------------

// The program's answer does not get out.
TEST_F(ScarceRoomTest, AFullStandardOutputIsAFailureOfEveryCommand) {
  Replay("{\"event\":\"bookmark\",\"tick\":10}\n{\"event\":\"bookmark\",\"tick\":20}\n");
  for (const std::string arguments :
       {"view s", "check s", "check s --format json", "scrub s", "recover s new",
        "extract s cut --from 10 --to 20", "--help", "--version", "record --help"}) {
    SCOPED_TRACE(arguments);
    const std::string command =
        "cd " + folder + " && VMR_LOG=0 " VMR_PROGRAM " " + arguments + " > /dev/full 2> err";
    EXPECT_EQ(WEXITSTATUS(std::system(command.c_str())), 1);
    EXPECT_THAT(ReadFile(Path("err")), HasSubstr("vmr: standard output: "));
  }
}

TEST_F(ScarceRoomTest, AnExtractIsNotWrittenIntoADevice) {
  Replay("{\"event\":\"bookmark\",\"tick\":10}\n");
  const Finished cut = Run({"extract", "s", "/dev/full", "--from", "10", "--to", "20", "--force"});
  EXPECT_EQ(cut.exit_code, 1);
  EXPECT_EQ(cut.err, "vmr: /dev/full: not a regular file\n");
}

}  // namespace
}  // namespace vmr::test
