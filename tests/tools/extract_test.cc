// Cutting a range out of a store.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "tests/support/sanitized.h"
#include "tests/tools/program.h"
#include "tools/evidence/extract_summary.h"

namespace vmr::test {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::StartsWith;

// The program's output goes to a file "out" as well, in the folder it runs in:
// its own file must have another name.
class ExtractTest : public ProgramTest {
 protected:
  // A bookmark at every tenth tick from 10 to 1000, the first one at
  // 2024-05-01T10:00:05Z.
  void RecordBookmarks() const {
    std::string lines = "{\"event\":\"bookmark\",\"tick\":10,\"time\":\"2024-05-01T10:00:05Z\"}\n";
    for (int tick = 20; tick <= 1000; tick += 10)
      lines += "{\"event\":\"bookmark\",\"tick\":" + std::to_string(tick) + "}\n";
    Replay(lines);
  }
  Finished Cut(const Arguments& more) const {
    Arguments arguments = {"extract", "s", "cut"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return Run(arguments);
  }
  Finished Cut(const std::string& from, const std::string& to) const {
    return Cut(Arguments{"--from", from, "--to", to});
  }
  // As another program has it.
  std::string Digest(const std::string& name) const {
    const std::string command = "cd " + folder + " && sha256sum " + name + " > digest";
    EXPECT_EQ(std::system(command.c_str()), 0);
    return ReadFile(Path("digest")).substr(0, 64);
  }
  bool Written() const { return std::filesystem::exists(Path("cut")); }
  std::vector<std::string> Bookmarks() const {
    std::vector<std::string> found;
    for (const std::string& item : ItemsOf(Run({"view", "--listing", "cut"}).out))
      if (item == "[Tag=Bookmark, TagNo=0x56]") found.push_back(item);
    return found;
  }
  bool LeftNothingBehind() const {
    for (const auto& entry : std::filesystem::directory_iterator(folder))
      if (entry.path().filename().string().rfind(".vmr-extract-", 0) == 0) return false;
    return true;
  }
};

TEST_F(ExtractTest, SaysWhatItDidAndTheFileIsViewedByItself) {
  RecordBookmarks();
  const Finished cut = Cut("102", "120");
  EXPECT_EQ(cut.exit_code, 0);
  EXPECT_EQ(cut.err, "");
  EXPECT_THAT(cut.out,
              testing::MatchesRegex(
                  "asked:   ticks 102 to 120\n"
                  "widened: ticks 102 to 140\n"
                  "state:   as recorded up to there: [0-9]+ values; a unit would have written "
                  "[0-9]+ more that nothing recorded tells\n"
                  "copied:  3 packets, 15 bytes, ticks 111 to 131\n"
                  "sha256:  " +
                  Digest("cut") + "\n"));
  const std::string listing = Run({"view", "--listing", "cut"}).out;
  EXPECT_THAT(ItemsOf(listing), Contains("[Tag=String, TagNo=0x20, log='Range 102 to 120']"));
  EXPECT_EQ(Bookmarks().size(), 3U);
  EXPECT_TRUE(LeftNothingBehind());
}

TEST_F(ExtractTest, AMarginWidensBothEnds) {
  RecordBookmarks();
  const Finished cut = Cut({"--from", "102", "--to", "120", "--margin", "10"});
  EXPECT_EQ(cut.exit_code, 0);
  EXPECT_THAT(cut.out, StartsWith("asked:   ticks 102 to 120\nwidened: ticks 82 to 160\n"));
  const Finished all = Cut({"--from", "102", "--to", "120", "--margin", "2147483647", "--force"});
  EXPECT_THAT(all.out, HasSubstr("widened: ticks 0 to 4294967295\n"));
}

TEST_F(ExtractTest, EventsAtTheStartTickAreCopied) {
  RecordBookmarks();
  // The packet that holds the bookmark of tick 100 is flushed a tick later.
  for (const char* from : {"102", "111", "110"}) {
    const Finished cut = Cut({"--from", from, "--to", "120", "--force"});
    EXPECT_EQ(cut.exit_code, 0);
    EXPECT_EQ(cut.err, "");
    EXPECT_EQ(Bookmarks().size(), 3U) << from;
  }
}

TEST_F(ExtractTest, AUnitLeavesTheEventsAtTheStartTickOutAndIsWarnedAbout) {
  RecordBookmarks();
  const Finished folded = Cut({"--from", "111", "--to", "120", "--as-unit"});
  EXPECT_EQ(folded.exit_code, 0);
  EXPECT_EQ(folded.err,
            "vmr: s: tick 111 itself holds events; they are in the full state, not copied; a "
            "start one tick earlier copies them\n");
  EXPECT_THAT(folded.out, HasSubstr("state:   from the state dump at tick 10 in cluster 0\n"));
  EXPECT_EQ(Bookmarks().size(), 2U);
  EXPECT_EQ(Cut({"--from", "110", "--to", "120", "--as-unit", "--force"}).err, "");
  EXPECT_EQ(Bookmarks().size(), 3U);
}

TEST_F(ExtractTest, TimesAreTranslatedByTheRecording) {
  RecordBookmarks();
  const Finished zoned = Cut("2024-05-01T10:01:00Z", "2024-05-01T12:02:00+02:00");
  EXPECT_EQ(zoned.exit_code, 0);
  EXPECT_THAT(zoned.out, HasSubstr("2024-05-01 10:01:00+00:00) to "));
  const std::string zoned_bytes = ReadFile(Path("cut"));
  // The same range in local time, and by its ticks.
  const Finished local = Cut({"--from", "2024-05-01T05:01", "--to", "2024-05-01T05:02",
                              "--time-zone", "America/Chicago", "--force"});
  EXPECT_EQ(local.exit_code, 0);
  EXPECT_THAT(local.out, HasSubstr("2024-05-01 05:01:00-05:00) to "));
  EXPECT_EQ(ReadFile(Path("cut")), zoned_bytes);
  const std::size_t first = zoned.out.find("ticks ") + 6;
  const unsigned long tick = std::stoul(zoned.out.substr(first));
  EXPECT_EQ(Cut({"--from", std::to_string(tick), "--to", std::to_string(tick + 120), "--force"})
                .exit_code,
            0);
  EXPECT_EQ(ReadFile(Path("cut")), zoned_bytes);
}

TEST_F(ExtractTest, ARangeWithoutPacketsIsPartial) {
  RecordBookmarks();
  const Finished after = Cut("5000", "6000");
  EXPECT_EQ(after.exit_code, 3);
  EXPECT_EQ(after.err,
            "vmr: s: no packet lies in the range; the extract holds only its label and the full "
            "state at tick 5000\n");
  EXPECT_THAT(after.out, HasSubstr("copied:  0 packets, 0 bytes\n"));
  EXPECT_TRUE(Written());
}

TEST_F(ExtractTest, ARecordingThatEndsInsideTheRangeIsPartial) {
  RecordBookmarks();
  const Finished cut = Cut("901", "2000");
  EXPECT_EQ(cut.exit_code, 3);
  EXPECT_THAT(cut.err, HasSubstr("vmr: s: the recording ends at tick "));
  EXPECT_THAT(cut.err, HasSubstr(", inside the range\n"));
  EXPECT_EQ(Cut({"--from", "901", "--to", "4294967295", "--force"}).exit_code, 0)
      << "to the end, whenever that is";
}

TEST_F(ExtractTest, AGapInsideTheRangeIsPartial) {
  RecordBookmarks();
  // The next run begins much later: the unit was off.
  Replay("{\"event\":\"bookmark\",\"tick\":90000}\n{\"event\":\"bookmark\",\"tick\":90100}\n");
  const Finished cut = Cut("901", "90050");
  EXPECT_EQ(cut.exit_code, 3);
  EXPECT_THAT(cut.err, HasSubstr("vmr: s: nothing is recorded between ticks 100"));
  EXPECT_THAT(cut.err, HasSubstr(" and 90000 (12:2"));
  const Finished before = Cut({"--from", "901", "--to", "50000", "--force"});
  EXPECT_EQ(before.exit_code, 3);
  EXPECT_THAT(before.err, HasSubstr(" and 50000 ("));
}

// Packets of an unknown tick alone behind the state at tick 100.
tool::ExtractionFacts WithoutTicks(unsigned int next_tick) {
  tool::ExtractionFacts facts{{100, 50000}, {100, 50000}, {}, nullptr};
  facts.report.packets = 2;
  facts.report.bytes = 16;
  facts.report.next_tick = next_tick;
  return facts;
}

TEST(ExtractSummary, PacketsOfUnknownTicksAreCountedWithoutATick) {
  EXPECT_THAT(tool::DescribeExtraction(WithoutTicks(60000)),
              testing::EndsWith("copied:  2 packets, 16 bytes\n"));
}

TEST(ExtractSummary, TheyFillNoGapAndEndNoRecording) {
  EXPECT_THAT(
      tool::WhatIsMissing(WithoutTicks(60000)),
      testing::ElementsAre("nothing is recorded between ticks 100 and 50000 (6:55:50 hours)"));
  EXPECT_THAT(tool::WhatIsMissing(WithoutTicks(0xFFFFFFFF)),
              testing::ElementsAre("the recording ends at tick 100, inside the range"));
  EXPECT_THAT(tool::WhatIsMissing(WithoutTicks(101)), testing::IsEmpty());
}

TEST_F(ExtractTest, DamageInsideTheRangeIsPartial) {
  RecordBookmarks();
  // A byte that begins no packet, in both files, with the cluster's CRC right:
  // what a recorder of another making might have left.
  std::fstream first(Path("s_1.mtd"), std::ios::in | std::ios::out | std::ios::binary);
  std::string cluster(4096, '\0');
  first.read(cluster.data(), 4096);
  const std::size_t size = static_cast<unsigned char>(cluster[5]) |
                           static_cast<std::size_t>(static_cast<unsigned char>(cluster[6])) << 8;
  // The last bookmark but a few: its packet's header.
  const std::size_t at = cluster.rfind(std::string("\x81", 1), size - 200);
  ASSERT_NE(at, std::string::npos);
  cluster[at] = '\x7F';
  unsigned char crc = 0xFF;
  for (std::size_t i = 1; i < size; ++i) {
    crc ^= static_cast<unsigned char>(cluster[i]);
    for (int bit = 0; bit < 8; ++bit)
      crc = static_cast<unsigned char>((crc & 0x80) != 0 ? crc << 1 ^ 0x07 : crc << 1);
  }
  cluster[0] = static_cast<char>(crc);
  std::fstream second(Path("s_2.mtd"), std::ios::in | std::ios::out | std::ios::binary);
  for (std::fstream* const file : {&first, &second}) file->seekp(0).write(cluster.data(), 4096);
  first.close();
  second.close();
  const Finished cut = Cut("101", "990");
  EXPECT_EQ(cut.exit_code, 3);
  EXPECT_THAT(cut.err, HasSubstr("vmr: s: something is lost between ticks "));
  EXPECT_THAT(cut.err, HasSubstr(": no packets\n"));
}

TEST_F(ExtractTest, AnExistingFileIsReplacedOnlyWhenAsked) {
  RecordBookmarks();
  WriteFile(Path("cut"), "precious");
  const Finished refused = Cut("102", "120");
  EXPECT_EQ(refused.exit_code, 1);
  EXPECT_EQ(refused.err, "vmr: cut: exists; --force replaces it\n");
  EXPECT_EQ(ReadFile(Path("cut")), "precious");
  EXPECT_EQ(Cut({"--from", "102", "--to", "120", "--force"}).exit_code, 0);
  EXPECT_THAT(ReadFile(Path("cut")), StartsWith("f]S1"));
  EXPECT_TRUE(LeftNothingBehind());
}

TEST_F(ExtractTest, TheStoresOwnFilesAreNeverWritten) {
  RecordBookmarks();
  std::filesystem::create_hard_link(Path("s_1.mtd"), Path("linked"));
  std::filesystem::create_symlink("s_2.mtd", Path("symbolic"));
  for (const char* name : {"s_1.mtd", "s_2.mtd", "./s_1.mtd", "linked", "symbolic",
                           "s_1.mtd.CORRUPT", "s_2.mtd.tmp"}) {
    const Finished refused = Run({"extract", "s", name, "--from", "1", "--to", "9", "--force"});
    EXPECT_EQ(refused.exit_code, 1);
    EXPECT_EQ(refused.err,
              std::string("vmr: ") + name + ": belongs to the store s; give another file\n");
  }
}

TEST_F(ExtractTest, ReasonsForFailureAreNamedAndLeaveNothing) {
  RecordBookmarks();
  const auto fails = [&](const Arguments& arguments, const std::string& why) {
    const Finished failed = Run(arguments);
    EXPECT_EQ(failed.exit_code, 1);
    EXPECT_THAT(failed.err, HasSubstr(why));
    EXPECT_EQ(failed.out, "");
  };
  fails({"extract", "none", "cut", "--from", "1", "--to", "9"},
        "vmr: none: neither a file nor the base of a ring (none_1.mtd and none_2.mtd)\n");
  fails({"extract", "s", "no/cut", "--from", "1", "--to", "9"},
        "vmr: no/cut: cannot create a file beside it: No such file or directory\n");
  fails({"extract", "s", ".", "--from", "1", "--to", "9", "--force"}, "vmr: .: Is a directory\n");
  fails({"extract", "s", "/dev/null", "--from", "1", "--to", "9", "--force"},
        "vmr: /dev/null: not a regular file\n");
  WriteFile(Path("flat"), std::string("f]S1\x80\x05\0\0\0\x01\x56\0", 12));
  fails({"extract", "flat", "cut", "--from", "1", "--to", "9"},
        "vmr: flat: is a flat file; a range is extracted from a store\n");
  EXPECT_FALSE(Written());
  EXPECT_TRUE(LeftNothingBehind());
}

TEST_F(ExtractTest, AFileThatFindsNoRoomIsNotThere) {
  RecordBookmarks();
  // No room for the state, with packets in the range and without.
  for (const char* range : {"--from 102 --to 120", "--from 5000 --to 6000"}) {
    const std::string command = "cd " + folder +
                                " && ulimit -f 1 && VMR_LOG=1 " VMR_PROGRAM " extract s cut " +
                                range + " 2> err";
    EXPECT_EQ(WEXITSTATUS(std::system(command.c_str())), 1);
    EXPECT_EQ(ReadFile(Path("err")), "vmr: cut: cannot be written whole; is there room for it?\n");
    EXPECT_FALSE(Written());
    EXPECT_TRUE(LeftNothingBehind());
  }
}

TEST_F(ExtractTest, ALocalTimeThatComesTwiceIsAskedAbout) {
  RecordBookmarks();
  const Finished cut = Cut(
      {"--from", "2024-11-03T01:30", "--to", "2024-11-03T03:00", "--time-zone", "America/Chicago"});
  EXPECT_EQ(cut.exit_code, 2);
  EXPECT_EQ(cut.err,
            "vmr: 2024-11-03T01:30 comes twice in America/Chicago; say 2024-11-03T01:30-05:00 or "
            "2024-11-03T01:30-06:00\n");
  EXPECT_FALSE(Written());
}

TEST_F(ExtractTest, ARangeThatBeginsBeforeTheRecordingIsPartial) {
  RecordBookmarks();
  const Finished cut = Cut("5", "120");
  EXPECT_EQ(cut.exit_code, 3);
  EXPECT_EQ(cut.err, "vmr: s: the recording begins at tick 10, inside the range or behind it\n");
  EXPECT_EQ(Cut({"--from", "0", "--to", "120", "--force"}).exit_code, 0) << "from the beginning";
}

TEST_F(ExtractTest, TimesNeedARecordingThatHasSome) {
  WriteFile(Path("input"), "");
  EXPECT_EQ(Run({"record", "s", "--replay", "--input", "input"}).exit_code, 0);
  const Finished cut = Cut("2024-05-01T10:00:00Z", "2024-05-01T11:00:00Z");
  EXPECT_EQ(cut.exit_code, 1);
  EXPECT_EQ(cut.err, "vmr: s: holds no times; give --from and --to as ticks\n");
}

TEST_F(ExtractTest, WrongUsageIsExplained) {
  const auto refused = [&](const Arguments& arguments, const std::string& why) {
    const Finished wrong = Cut(arguments);
    EXPECT_EQ(wrong.exit_code, 2);
    EXPECT_EQ(wrong.err, "vmr: " + why + "\nvmr: try: vmr extract --help\n");
  };
  refused({"--to", "9"}, "--from is required");
  refused({"--from", "9"}, "--to is required");
  refused({"--from", "9", "--to", "8"}, "--from 9 is after --to 8");
  refused({"--from", "soon", "--to", "8"},
          "--from soon: none of a tick (0 to 4294967295), 2019-06-19T16:33:57-05:00, "
          "2019-06-19T16:33 or 2019-06-19 in the time zone, @1560979977 (seconds since 1970), now "
          "or -15min");
  refused({"--from", "1", "--to", "8", "--margin", "1h"}, "--margin 1h: not a number of seconds");
  refused({"--from", "1", "--to", "8", "--time-zone", "Mars"},
          "--time-zone Mars: not known here; recorded, local, UTC, or a name such as "
          "America/Chicago (package tzdata)");
  EXPECT_EQ(Run({"extract", "--help"}).exit_code, 0);
}

TEST_F(ExtractTest, ASignalLeavesNoFileBehind) {
  RecordBookmarks();
  // At ever later moments, until it has ended before the signal came; with sanitizers it
  // takes so much longer that steps ten times as long are as many.
  constexpr int kStep_us = kSanitized ? 5000 : 500;
  bool ended = false;
  for (int delay_us = 0; !ended; delay_us += kStep_us) {
    RunningProgram program(folder, {"extract", "s", "cut", "--from", "10", "--to", "900"});
    usleep(static_cast<useconds_t>(delay_us));
    program.Signal(SIGTERM);
    ended = program.Finish().exit_code == 0;
    EXPECT_TRUE(LeftNothingBehind());
    if (Written()) {
      EXPECT_EQ(Bookmarks().size(), 91U) << "a file that is there is whole";
    }
    if (!ended) std::filesystem::remove(Path("cut"));
  }
  EXPECT_TRUE(Written());
}

}  // namespace
}  // namespace vmr::test
