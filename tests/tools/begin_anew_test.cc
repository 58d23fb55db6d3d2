// Stores that a recorder would give up to begin anew: only when told to.
#include <filesystem>
#include <set>

#include "backends/data_store_normal.h"
#include "host/default/host_control.h"
#include "tests/support/file_hook.h"
#include "tests/support/simulated_files.h"
#include "tests/tools/ring_images.h"
#include "tools/common/ring_opening.h"

namespace vmr::test {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::StartsWith;

constexpr int kFirstProbe = 16383;  // every search that begins in the middle reads it

class BeginAnew : public RingImageTest {
 protected:
  Finished Record(const Arguments& more = {}) const {
    WriteFile(Path("input"), "{\"event\":\"bookmark\",\"tick\":5000}\n");
    Arguments arguments = {"record", "s", "--replay", "--input", "input"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return Run(arguments);
  }
  void MakeUnsearchable() const {
    MakeRingOfBookmarks(10);
    for (const int file : {1, 2}) Damage(file, kFirstProbe);
  }
  static std::string Refusal() {
    return "vmr: s: the recording's end is found in no file that is there; recording would set "
           "what they hold aside, or remove it, and begin anew\n"
           "vmr: s: mend it with `vmr scrub s`, or save what can be read with `vmr recover s OUT`; "
           "--begin-anew records all the same\n";
  }
  void ExpectRefused() const {
    const Finished refused = Record();
    EXPECT_EQ(refused.exit_code, 1);
    EXPECT_EQ(refused.err, Refusal());
  }
  std::set<std::string> FilesOfStore() const {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder)) {
      const std::string name = entry.path().filename();
      if (name.rfind("s_", 0) == 0) names.insert(name);
    }
    return names;
  }
};

TEST_F(BeginAnew, AStoreThatCannotBeSearchedIsLeftAsItIs) {
  MakeUnsearchable();
  for (const int file : {1, 2})
    fs::copy_file(Path(FileName(file)), Path("kept" + std::to_string(file)));
  ExpectRefused();
  EXPECT_EQ(FilesOfStore(), (std::set<std::string>{"s_1.mtd", "s_2.mtd"}));
  EXPECT_TRUE(SameContent("s_1.mtd", "kept1"));
  EXPECT_TRUE(SameContent("s_2.mtd", "kept2"));
}

TEST_F(BeginAnew, ASingleFileThatCannotBeSearchedIsLeftAsItIs) {
  for (const int file : {1, 2}) {
    SCOPED_TRACE(file);
    MakeUnsearchable();
    fs::remove(Path(FileName(3 - file)));
    ExpectRefused();
    EXPECT_EQ(FilesOfStore(), std::set<std::string>{FileName(file)});
  }
}

TEST_F(BeginAnew, ItIsDoneWhenAsked) {
  MakeUnsearchable();
  fs::copy_file(Path("s_1.mtd"), Path("kept"));
  const Finished recorded = Record({"--begin-anew"});
  EXPECT_EQ(recorded.exit_code, 0) << recorded.err;
  EXPECT_THAT(recorded.err,
              HasSubstr("vmr: s: begins anew; `vmr check s` names what was set aside\n"
                        "vmr: s: recorded ticks 5000 to "));
  EXPECT_THAT(Run({"check", "s"}).err, StartsWith("vmr: s_1.mtd.CORRUPT: was set aside"));
  EXPECT_TRUE(SameContent("s_1.mtd.CORRUPT", "kept"));
}

TEST_F(BeginAnew, AFileSetAsideBeforeIsNamedAsItWouldBeReplaced) {
  MakeUnsearchable();
  WriteFile(Path("s_1.mtd.CORRUPT"), "of the time before");
  EXPECT_THAT(
      Record().err,
      HasSubstr(
          "vmr: s_1.mtd.CORRUPT: is of an earlier time, and would be replaced\nvmr: s: mend"));
  EXPECT_EQ(ReadFile(Path("s_1.mtd.CORRUPT")), "of the time before");
}

TEST_F(BeginAnew, ScrubMakesRecordingPossible) {
  MakeRingOfBookmarks(10);
  Damage(1, kFirstProbe);
  Damage(2, 8191);
  ExpectRefused();
  EXPECT_EQ(Run({"scrub", "s"}).exit_code, 0);
  EXPECT_EQ(Record().exit_code, 0);
  EXPECT_THAT(Run({"check", "s"}).out, StartsWith("s: 25 packets with "));
}

TEST_F(BeginAnew, ScrubClearsWhatHeldNothingAndStoodInTheWay) {
  MakeUnsearchable();
  const Finished scrubbed = Run({"scrub", "s"});
  EXPECT_EQ(scrubbed.exit_code, 0);
  EXPECT_THAT(scrubbed.out,
              StartsWith("s_1.mtd cluster 16383: cleared, nothing was ever recorded there\n"
                         "s_2.mtd cluster 16383: cleared, nothing was ever recorded there\n"));
  EXPECT_EQ(Get(1, kFirstProbe), UnwrittenCluster());
  EXPECT_EQ(Record().exit_code, 0);
}

TEST_F(BeginAnew, AStoreWhoseFirstFileIsMissingIsNotRecordedOver) {
  MakeRingOfBookmarks(10);
  fs::remove(Path("s_1.mtd"));
  fs::copy_file(Path("s_2.mtd"), Path("kept"));
  const Finished refused = Record();
  EXPECT_EQ(refused.exit_code, 1);
  EXPECT_EQ(
      refused.err,
      "vmr: s: s_1.mtd is missing; recording would go on at the beginning of s_2.mtd, over "
      "what it holds; `vmr scrub s` builds s_1.mtd anew, --begin-anew records all the same\n");
  EXPECT_EQ(FilesOfStore(), std::set<std::string>{"s_2.mtd"});
  EXPECT_TRUE(SameContent("s_2.mtd", "kept"));
  EXPECT_EQ(Run({"scrub", "s"}).exit_code, 0);
  EXPECT_EQ(Record().exit_code, 0);
  EXPECT_THAT(Run({"check", "s"}).out, StartsWith("s: 25 packets with "));
}

TEST_F(BeginAnew, AMissingFirstFileOfAnEmptyStoreIsMade) {
  MakeRingOfBookmarks(0);
  fs::remove(Path("s_1.mtd"));
  EXPECT_EQ(Record().exit_code, 0);
  fs::remove(Path("s_1.mtd"));
  EXPECT_EQ(Record({"--begin-anew"}).exit_code, 0);
}

TEST_F(BeginAnew, RecoverSavesWhatScrubCannotMend) {
  MakeRingOfBookmarks(10);
  PutInBoth(kFirstProbe, TwoBookmarks(7));  // what looks like a packet is not cleared
  for (const int file : {1, 2}) Damage(file, kFirstProbe);
  EXPECT_EQ(Run({"scrub", "s"}).exit_code, 4);
  ExpectRefused();
  EXPECT_THAT(Run({"recover", "s", "new"}).out, HasSubstr("new: 20 packets in 10 clusters"));
  fs::rename(Path("new_1.mtd"), Path("s_1.mtd"));
  fs::rename(Path("new_2.mtd"), Path("s_2.mtd"));
  EXPECT_EQ(Record().exit_code, 0);
}

TEST_F(BeginAnew, OneFileThatCanBeSearchedIsEnough) {
  for (const int file : {1, 2}) {
    MakeRingOfBookmarks(10);
    Damage(file, kFirstProbe);
    EXPECT_EQ(Record().exit_code, 0) << file;
  }
}

TEST_F(BeginAnew, TheOrderIsHarmlessWhereNothingIsGivenUp) {
  for (int run = 0; run < 2; ++run) {  // the first one makes it
    const Finished recorded = Record({"--begin-anew"});
    EXPECT_EQ(recorded.exit_code, 0);
    EXPECT_THAT(recorded.err, StartsWith("vmr: s: recorded ticks"));
  }
  const std::string bookmark = "[Tag=Bookmark, TagNo=0x56]";
  EXPECT_THAT(Items(), testing::IsSupersetOf({bookmark, bookmark}));
  EXPECT_EQ(FilesOfStore(), (std::set<std::string>{"s_1.mtd", "s_2.mtd"}));
}

// Its opening says so, and changes nothing.
TEST_F(BeginAnew, AFileOfAWrongSizeIsTheOpeningsBusiness) {
  MakeUnsearchable();
  fs::resize_file(Path("s_2.mtd"), 50000);
  const Finished refused = Record();
  EXPECT_EQ(refused.exit_code, 1);
  EXPECT_THAT(refused.err, HasSubstr("s_2.mtd is incorrectly sized at 50000"));
  EXPECT_THAT(refused.err, testing::EndsWith("vmr: s: the store could not be opened\n"));
  EXPECT_EQ(FilesOfStore(), (std::set<std::string>{"s_1.mtd", "s_2.mtd"}));
}

TEST_F(BeginAnew, ToLookIsCheap) {
  MakeRingOfBookmarks(10);
  ReadHook reads([](int) {});
  EXPECT_FALSE(tool::WouldBeginAnew(Path("s")));
  EXPECT_GE(reads.Reads(), 30);
  EXPECT_LE(reads.Reads(), 40);
}

// Reads fail until so many have.
class FailsAtFirst final : public PassingOn {
 public:
  explicit FailsAtFirst(int times) : left_(times) {}
  ssize_t Read(int fd, void* buffer, std::size_t count) override {
    if (left_-- <= 0) return PassingOn::Read(fd, buffer, count);
    errno = EIO;
    return -1;
  }

 private:
  int left_;
};

TEST_F(BeginAnew, AReadThatFailsForAMomentIsWaitedFor) {
  MakeRingOfBookmarks(10);
  const FailsAtFirst trouble(20);
  EXPECT_FALSE(tool::WouldBeginAnew(Path("s")));
}

TEST_F(BeginAnew, OneThatGoesOnFailingIsNot) {
  MakeRingOfBookmarks(10);
  const FailsAtFirst trouble(1000000);
  EXPECT_TRUE(tool::WouldBeginAnew(Path("s")));
}

// ---- What is said beforehand and what an opening does ------------------------------

enum class State { kMissing, kEmpty, kData, kUnsearchable, kShort };

class OpeningTest : public testing::Test {
 protected:
  OpeningTest() {
    host::SetLogLevel(0);
    files.MakeDirectory("/m");
  }

  void Put(const std::string& path, State state) {
    if (state == State::kMissing) return;
    const Bytes unwritten = UnwrittenCluster();
    files.PutFile(path, {});
    files.FillBlocks(path, 0, kRingClusters, unwritten);
    if (state == State::kEmpty) return;
    files.PutBlocks(path, 0, 1, [](std::size_t) { return Data(); });
    if (state == State::kUnsearchable) files.FlipByte(path, kFirstProbe * 4096L);
    if (state == State::kShort) files.SetSize(path, 9000);
  }
  static Bytes Data() { return ClusterOf(100, FullPacket(100, B("56"))); }
  bool HasData(const std::string& path) const {
    return files.Exists(path) && files.Size(path) >= 4096 && files.ReadBlock(path, 0) == Data();
  }

  SimulatedFiles files;
};

TEST_F(OpeningTest, GivesUpWhatItIsSaidToGiveUpAndNothingElse) {
  const State states[] = {State::kMissing, State::kEmpty, State::kData, State::kUnsearchable,
                          State::kShort};
  const auto before = files.Snapshot();
  int given_up = 0;
  for (const State first : states)
    for (const State second : states) {
      SCOPED_TRACE(testing::Message() << int(first) << " " << int(second));
      files.Restore(before);
      Put("/m/r_1.mtd", first);
      Put("/m/r_2.mtd", second);
      const bool had_data = HasData("/m/r_1.mtd") || HasData("/m/r_2.mtd");
      const bool said = tool::WouldBeginAnew("/m/r");
      static_cast<void>(DataStoreNormal("/m/r").Open());  // the files tell what it did
      EXPECT_EQ(said, had_data && !HasData("/m/r_1.mtd") && !HasData("/m/r_2.mtd"));
      given_up += said ? 1 : 0;
    }
  EXPECT_EQ(given_up, 3);  // both unsearchable, and either alone
}

}  // namespace
}  // namespace vmr::test
