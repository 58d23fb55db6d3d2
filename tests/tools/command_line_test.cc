// The command line itself: help, wrong usage, what PATH may be.
#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "tests/tools/program.h"

namespace vmr::test {
namespace {

using testing::HasSubstr;
using CommandLine = ProgramTest;

TEST_F(CommandLine, HelpOnEveryLevelGoesToStandardOutputAndSucceeds) {
  for (const Arguments& arguments :
       {Arguments{"--help"}, Arguments{"record", "--help"}, Arguments{"view", "--help"},
        Arguments{"check", "--help"}, Arguments{"scrub", "--help"},
        Arguments{"recover", "--help"}}) {
    const Finished help = Run(arguments);
    EXPECT_EQ(help.exit_code, 0);
    EXPECT_EQ(help.err, "");
    EXPECT_THAT(help.out, HasSubstr("Usage: vmr"));
    EXPECT_THAT(help.out, HasSubstr("Examples:\n  vmr "));
    EXPECT_THAT(help.out, HasSubstr("Exit codes: 0 success, 1 "));
    EXPECT_THAT(help.out, HasSubstr("VMR_LOG"));
  }
}

TEST_F(CommandLine, TheVersionIsPrinted) {
  const Finished version = Run({"--version"});
  EXPECT_EQ(version.exit_code, 0);
  EXPECT_THAT(version.out, testing::MatchesRegex("vmr [0-9]+\\.[0-9]+\\.[0-9]+\n"));
}

TEST_F(CommandLine, WrongUsageExitsWithTwoAndSaysWhereHelpIs) {
  const Arguments wrong[] = {{},
                             {"bogus"},
                             {"--bogus"},
                             {"record"},
                             {"record", "s"},
                             {"record", "s", "extra", "--input", "-"},
                             {"record", "s", "--bogus"},
                             {"record", "s", "--input"},
                             {"record", "", "--input", "-"},
                             {"record", "s_1.mtd", "--input", "-"},
                             {"record", "--input", "-", "--", "-s"},
                             {"record", "s", "--input", "-", "--input", "-"},
                             {"record", "s", "--gpsd=host:port"},
                             {"record", "s", "--gpsd", "--replay"},
                             {"record", "s", "--input", "-", "--allow-jumps"},
                             {"record", "s", "--input", "-", "--no-sync"},
                             {"view"},
                             {"view", "--listing", ""},
                             {"view", "--listing", "s", "--from", "x"},
                             {"view", "--listing", "s", "--from=-1"},
                             {"view", "--listing", "s", "--to", "4294967296"},
                             {"view", "--listing", "s", "--from", "5", "--to", "4"},
                             {"view", "--listing", "s", "--ring", "--flat"},
                             {"view", "--listing", "s", "t"},
                             {"view", "--listing", "s", "--kind", "input"},
                             {"view", "--listing", "s", "--format", "text"},
                             {"view", "--listing", "s", "--time-zone", "UTC"},
                             {"view", "--listing", "s", "--from", "2019-06-19"},
                             {"view", "s", "--expanded"},
                             {"view", "s", "--kind", "inputs"},
                             {"view", "s", "--format", "csv"},
                             {"view", "s", "--time-zone", "Nowhere/Town"},
                             {"info"},
                             {"info", ""},
                             {"info", "s", "--format", "text,json"},
                             {"info", "s", "--from", "5"}};
  for (const Arguments& arguments : wrong) {
    const Finished refused = Run(arguments);
    SCOPED_TRACE(testing::PrintToString(arguments) + refused.err);
    EXPECT_EQ(refused.exit_code, 2);
    EXPECT_EQ(refused.out, "");
    EXPECT_THAT(refused.err, testing::StartsWith("vmr: "));
    EXPECT_THAT(refused.err, HasSubstr("\nvmr: try: vmr"));
    EXPECT_FALSE(std::filesystem::exists(Path("s_1.mtd")));
  }
}

TEST_F(CommandLine, AnInputThatCannotBeOpenedLeavesTheStoreAlone) {
  const Finished missing = Run({"record", "s", "--replay", "--input", "nowhere"});
  EXPECT_EQ(missing.exit_code, 1);
  EXPECT_EQ(missing.err, "vmr: nowhere: No such file or directory\n");
  const Finished directory = Run({"record", "s", "--replay", "--input", "."});
  EXPECT_EQ(directory.exit_code, 1);
  EXPECT_EQ(directory.err, "vmr: .: Is a directory\n");
  EXPECT_FALSE(std::filesystem::exists(Path("s_1.mtd")));
}

TEST_F(CommandLine, AStoreInAFolderThatDoesNotExistFails) {
  const Finished failed = Run({"record", "no/s", "--replay", "--input", "-"});
  EXPECT_EQ(failed.exit_code, 1);
  EXPECT_EQ(failed.err, "vmr: no: No such file or directory\n");
}

TEST_F(CommandLine, ThereMustBeSomethingToView) {
  const Finished nothing = Run({"view", "--listing", "s"});
  EXPECT_EQ(nothing.exit_code, 1);
  EXPECT_EQ(nothing.out, "");
  EXPECT_EQ(nothing.err, "vmr: s: neither a file nor the base of a ring (s_1.mtd and s_2.mtd)\n");
  EXPECT_EQ(Run({"view", "--listing", "--ring", "s"}).exit_code, 1);
  EXPECT_EQ(Run({"view", "--listing", "--flat", "s"}).err, "vmr: s: No such file or directory\n");
  EXPECT_EQ(Run({"view", "--listing", "."}).err, "vmr: .: Is a directory\n");
  EXPECT_FALSE(std::filesystem::exists(Path("s_1.mtd")));
}

TEST_F(CommandLine, AFlatFileIsViewedAsOne) {
  // Magic, then a HEADER_1 packet at tick 5 with one bookmark.
  WriteFile(Path("flat"), std::string("f]S1\x80\x05\0\0\0\x01\x56\0", 12));
  for (const Arguments& arguments :
       {Arguments{"view", "--listing", "flat"}, Arguments{"view", "--listing", "--flat", "flat"}}) {
    const Finished view = Run(arguments);
    EXPECT_EQ(view.exit_code, 0);
    EXPECT_EQ(view.err, "");
    EXPECT_THAT(view.out, testing::StartsWith("Expanded view = 0\n"));
    EXPECT_THAT(ItemsOf(view.out), testing::ElementsAre("[Tag=Bookmark, TagNo=0x56]"));
  }
  EXPECT_EQ(Run({"view", "--listing", "--ring", "flat"}).exit_code, 1);
}

TEST_F(CommandLine, ARingIsFoundByItsBaseAndEitherFile) {
  Replay("{\"event\":\"bookmark\"}\n");
  const std::string listing = View();
  EXPECT_THAT(ItemsOf(listing), testing::Contains("[Tag=Bookmark, TagNo=0x56]"));
  for (const char* path : {"s", "s_1.mtd", "s_2.mtd", "./s"}) {
    EXPECT_EQ(Run({"view", "--listing", path}).out, listing) << path;
    EXPECT_EQ(Run({"view", "--listing", "--ring", path}).out, listing) << path;
  }
  // The first packet of a new ring goes to file 2.
  EXPECT_THAT(ItemsOf(Run({"view", "--listing", "--flat", "s_2.mtd"}).out),
              testing::Contains("[Tag=Bookmark, TagNo=0x56]"));
}

TEST_F(CommandLine, ARingWithAFileMissingIsReadFromTheOther) {
  Replay("{\"event\":\"bookmark\"}\n");
  const std::string listing = View();
  for (const std::string missing : {"1", "2"}) {
    const std::string other = missing == "1" ? "2" : "1";
    std::filesystem::rename(Path("s_" + missing + ".mtd"), Path("aside"));
    for (const std::string path : {"s", "s_1.mtd", "s_2.mtd"}) {
      const Finished view = Run({"view", "--listing", path});
      EXPECT_EQ(view.exit_code, 0);
      // The other file may lack the packet that was written last.
      EXPECT_THAT(listing, testing::StartsWith(view.out));
      EXPECT_THAT(view.out, testing::HasSubstr("Tag=RadarDesc"));
      EXPECT_THAT(view.err,
                  testing::StartsWith("vmr: s_" + missing + ".mtd: missing; reading s_" + other +
                                      ".mtd alone, and the newest packet may stand in "
                                      "the missing file alone\n"));
    }
    EXPECT_FALSE(std::filesystem::exists(Path("s_" + missing + ".mtd")));
    std::filesystem::rename(Path("aside"), Path("s_" + missing + ".mtd"));
  }
}

// Makes a cluster's CRC wrong.
void DamageCluster(const std::string& path, int cluster) {
  std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
  const std::streamoff at = static_cast<std::streamoff>(cluster) * 4096;
  file.seekg(at);
  const int crc = file.get();
  file.seekp(at);
  file.put(static_cast<char>(crc ^ 0xFF));
}

TEST_F(CommandLine, ViewingADamagedRingChangesNothingOnDisk) {
  Replay("{\"event\":\"bookmark\",\"tick\":9}\n{\"event\":\"bookmark\",\"tick\":99}\n");
  DamageCluster(Path("s_1.mtd"), 0);
  const std::string file1 = ReadFile(Path("s_1.mtd"));
  const std::string file2 = ReadFile(Path("s_2.mtd"));
  std::filesystem::permissions(Path("s_1.mtd"), std::filesystem::perms(0440));
  const Finished view = Run({"view", "--listing", "s"});
  EXPECT_EQ(view.exit_code, 0);
  EXPECT_THAT(ItemsOf(view.out), testing::Contains("[Tag=Bookmark, TagNo=0x56]"));
  EXPECT_TRUE(ReadFile(Path("s_1.mtd")) == file1);
  EXPECT_TRUE(ReadFile(Path("s_2.mtd")) == file2);
  EXPECT_EQ(std::filesystem::status(Path("s_1.mtd")).permissions(), std::filesystem::perms(0440));
}

TEST_F(CommandLine, ViewingARingThatCannotBeSearchedKeepsBothFiles) {
  Replay("{\"event\":\"bookmark\",\"tick\":9}\n{\"event\":\"bookmark\",\"tick\":99}\n");
  // The cluster that every search looks at first.
  for (const char* name : {"s_1.mtd", "s_2.mtd"}) DamageCluster(Path(name), 16383);
  const Finished view = Run({"view", "--listing", "s"});
  EXPECT_EQ(view.exit_code, 1);
  EXPECT_THAT(view.err,
              testing::HasSubstr("vmr: s: not readable as a ring; `vmr view --listing --flat "
                                 "s_1.mtd` prints what one file holds\n"));
  EXPECT_EQ(std::filesystem::file_size(Path("s_1.mtd")), 134217728u);
  EXPECT_EQ(std::filesystem::file_size(Path("s_2.mtd")), 134217728u);
  EXPECT_FALSE(std::filesystem::exists(Path("s_1.mtd.CORRUPT")));
}

TEST_F(CommandLine, RangeAndExpandedReachTheViewer) {
  Replay(
      "{\"event\":\"bookmark\",\"tick\":10}\n{\"event\":\"input\",\"name\":\"siren\",\"on\":true,"
      "\"tick\":20}\n{\"event\":\"bookmark\",\"tick\":30}\n");
  const std::string range = View({"--from", "15", "--to", "22"});
  EXPECT_THAT(range, testing::StartsWith(
                         "Expanded view = 0\nStart System Tick (15) End System Tick (22)\n"));
  // The first tick past the end is printed too.
  EXPECT_THAT(ItemsOf(range), testing::ElementsAre("[Tag=siren, TagNo=0x36, State=on]",
                                                   "[Tag=Bookmark, TagNo=0x56]"));
  EXPECT_THAT(View({"--expanded"}), testing::StartsWith("Expanded view = 1\n"));
}

TEST_F(CommandLine, AFullDiskBehindStandardOutputIsAFailure) {
  WriteFile(Path("flat"), std::string("f]S1\x80\x05\0\0\0\x01\x56\0", 12));
  const std::string command =
      "cd " + folder + " && " VMR_PROGRAM " view --listing flat > /dev/full 2> err";
  EXPECT_EQ(WEXITSTATUS(std::system(command.c_str())), 1);
  EXPECT_THAT(ReadFile(Path("err")), testing::StartsWith("vmr: standard output: "));
}

TEST_F(CommandLine, AClosedPipeIsNoError) {
  std::string packets("f]S1", 4);
  for (int i = 0; i < 5000; ++i) packets += std::string("\x80\x05\0\0\0\x01\x56\0", 8);
  WriteFile(Path("flat"), packets);
  const std::string command =
      "cd " + folder + " && { " VMR_PROGRAM " view --listing flat 2> err; echo $? > code; } | true";
  ASSERT_EQ(std::system(command.c_str()), 0);
  EXPECT_EQ(ReadFile(Path("code")), "0\n");
  EXPECT_EQ(ReadFile(Path("err")), "");
}

}  // namespace
}  // namespace vmr::test
