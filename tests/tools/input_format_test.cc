// Inputs that are no lines of JSON: recognised, and refused before a store is made.
#include "tools/record/input_format.h"

#include <signal.h>

#include <chrono>
#include <filesystem>
#include <thread>

#include "tests/tools/program.h"

namespace vmr::test {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using tool::FormatOf;
using tool::InputFormat;

constexpr char kBookmark[] = "{\"event\":\"bookmark\"}\n";
constexpr char kSentence[] = "$GPRMC,120000.00,A,4900.0000,N,01200.0000,E,0.0,0.0,010524,,*1A\r\n";
constexpr char kRows[] = "time,lat,lon\r\n2024-05-01T12:00:00Z,49.0,12.0\r\n";

InputFormat Format(const std::string& text) { return FormatOf(text, true); }

// ---- What an input looks like ------------------------------------------------------

TEST(InputFormat, OneJsonObjectMakesItLinesOfJson) {
  EXPECT_EQ(Format(kBookmark), InputFormat::kJson);
  EXPECT_EQ(Format(std::string("# a comment, or two, or three\n") + kRows + kSentence + kBookmark),
            InputFormat::kJson);
  EXPECT_EQ(Format("  {}"), InputFormat::kJson);
  EXPECT_EQ(Format(std::string(100, '\0') + "\n" + kBookmark), InputFormat::kJson);
}

TEST(InputFormat, SentencesMayStandBehindOtherText) {
  EXPECT_EQ(Format(kSentence), InputFormat::kNmea);
  EXPECT_EQ(Format(std::string("# Name: x, y, z\n\n*** startup ***\n") + kSentence),
            InputFormat::kNmea);
  EXPECT_EQ(Format(std::string("\x01\x02\0\xFF\n", 5) + kSentence), InputFormat::kNmea);
  EXPECT_EQ(Format("!AIVDM,1,1,,A,x,0*2D\n"), InputFormat::kNmea);
}

TEST(InputFormat, WhatOnlyBeginsWithADollarIsNoSentence) {
  for (const char* const text : {"$\n", "$GPRMC\n", "$,\n", "$5,5\n", "$home/x,y\n", "!!,\n"})
    EXPECT_EQ(Format(text), InputFormat::kUnknown) << text;
}

TEST(InputFormat, RowsHaveSeparators) {
  for (const char* const text :
       {kRows, "a;b;c\n1;2;3\n", "a\tb\tc\n1\t2\t3\n", "# header\na,b,c\n1,2,3\n",
        "6$GVGYRO,0,-12.9,0\r\n14$GVVEHSP;1;49.7\r\n", "\"time\",\"lat\",\"lon\"\n1,2,3"})
    EXPECT_EQ(Format(text), InputFormat::kRows) << text;
}

TEST(InputFormat, BrokenJsonIsNotTakenForRows) {
  for (const char* const text :
       {"{\"event\":\"input\",\"name\":\"siren\",\n{\"event\":\"input\",\"name\":\"siren\",\n",
        "\"event\":\"input\",\"name\":\"siren\",\"on\":true\n", "[1,2,3]\n[4,5,6]\n", "garbage\n",
        "one, two\nwords\n", "a,b,c\nwords\n", ""})
    EXPECT_EQ(Format(text), InputFormat::kUnknown) << text;
}

TEST(InputFormat, ATextHasNoNulAndFewControlCharacters) {
  EXPECT_EQ(Format(std::string("f]S1\x80\x05\0\0\0\x01\x56\0", 12)), InputFormat::kBinary);
  EXPECT_EQ(Format("\x01\x02\x03\x04 text"), InputFormat::kBinary);
  EXPECT_EQ(Format(std::string("{\0\"\0", 4)), InputFormat::kBinary);  // UTF-16
  EXPECT_EQ(Format("\x1B[1mbold\x1B[0m words that are longer than the two controls\n"),
            InputFormat::kUnknown);
  EXPECT_EQ(Format("caf\xE9\n"), InputFormat::kUnknown);
}

TEST(InputFormat, ALineThatIsNotWholeSaysNothing) {
  EXPECT_EQ(FormatOf("$GPRMC,1200", false), InputFormat::kUnknown);
  EXPECT_EQ(FormatOf("a,b,c\n1,2,", false), InputFormat::kUnknown);
  EXPECT_EQ(FormatOf("a,b,c\n1,2,3\n", false), InputFormat::kRows);
}

TEST(InputFormat, OnlyTheBeginningIsLookedAt) {
  EXPECT_EQ(FormatOf(std::string(65536, '\n') + kSentence, true), InputFormat::kUnknown);
  EXPECT_EQ(FormatOf(std::string(60000, '\n') + kSentence, true), InputFormat::kNmea);
}

// ---- What the program does ---------------------------------------------------------

class UselessInput : public ProgramTest {
 protected:
  void ExpectRefused(const Finished& refused, const std::string& message) const {
    EXPECT_EQ(refused.exit_code, 1);
    EXPECT_THAT(refused.err, testing::StartsWith(message));
    EXPECT_FALSE(std::filesystem::exists(Path("s_1.mtd")));
  }
  // Until the process has a handler for the signal.
  static bool WaitUntilCaught(pid_t process, int signal) {
    const std::string status = "/proc/" + std::to_string(process) + "/status";
    for (int attempt = 0; attempt < 12000; ++attempt) {
      const std::string text = ReadFile(status);
      const std::size_t at = text.find("SigCgt:");
      if (at == text.npos) return false;
      if ((std::stoull(text.substr(at + 7), nullptr, 16) >> (signal - 1) & 1) != 0) return true;
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
  }
  Finished Record(const std::string& text, const Arguments& more = {"--replay"}) const {
    WriteFile(Path("input"), text);
    Arguments arguments = {"record", "s", "--input", "input"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return Run(arguments);
  }
};

TEST_F(UselessInput, IsRefusedWithAdviceBeforeAStoreIsMade) {
  for (const Arguments& more : {Arguments{"--replay"}, Arguments{}}) {
    ExpectRefused(Record(kSentence, more),
                  "vmr: input: holds NMEA sentences, not lines of JSON; `gpsdecode -j < input` "
                  "makes such lines of them\n");
    ExpectRefused(Record(kRows, more),
                  "vmr: input: holds rows of values, not lines of JSON; make each row an object, "
                  "for instance {\"class\":\"TPV\",\"mode\":3,");
    ExpectRefused(Record(std::string(100, '\0'), more),
                  "vmr: input: holds binary data, not lines of JSON; if it is the log of a GPS "
                  "receiver, `gpsdecode -j < input` makes such lines of it\n");
  }
}

TEST_F(UselessInput, TheExampleInTheAdviceIsALineThatCanBeUsed) {
  const std::string advice = Record(kRows).err;
  const std::size_t begin = advice.find('{');
  const std::string line = advice.substr(begin, advice.find('}') + 1 - begin);
  EXPECT_THAT(Replay(line).err, HasSubstr(" 1 fixes, 0 losses of fix, 0 events, 0 lines skipped"));
}

TEST_F(UselessInput, EachIsNamed) {
  WriteFile(Path("a"), kSentence);
  WriteFile(Path("b"), kBookmark);
  WriteFile(Path("c"), kRows);
  const Finished refused =
      Run({"record", "s", "--replay", "--input", "a", "--input", "b", "--input", "c"});
  ExpectRefused(refused, "vmr: a: holds NMEA");
  EXPECT_THAT(refused.err, HasSubstr("\nvmr: c: holds rows"));
}

TEST_F(UselessInput, OfAPipeIsRefusedByAReplay) {
  RunningProgram program(folder, {"record", "s", "--replay", "--input", "-"});
  program.Write(kSentence);
  ASSERT_TRUE(program.WaitForMessage("`gpsdecode -j < FILE`"));
  ExpectRefused(program.Finish(), "vmr: standard input: holds NMEA");
}

// Live nothing is waited for.
TEST_F(UselessInput, OfALivePipeIsKnownInTheEnd) {
  const Finished live = Run({"record", "s", "--input", "-"}, kSentence);
  EXPECT_EQ(live.exit_code, 1);
  EXPECT_THAT(live.err,
              HasSubstr("vmr: standard input: none of its 1 lines could be used\n"
                        "vmr: standard input: holds NMEA sentences, not lines of JSON; "));
}

TEST_F(UselessInput, ThatWasNotRecognisedIsAFailureInTheEnd) {
  const Finished useless = Record("garbage\n\n{}\n");
  EXPECT_EQ(useless.exit_code, 1);
  EXPECT_THAT(useless.err, HasSubstr("vmr: input: none of its 2 lines could be used\n"));
  EXPECT_THAT(useless.err, EndsWith("vmr: s: 3 lines, 0 fixes, 0 losses of fix, 0 events, 2 lines "
                                    "skipped\n"));
}

TEST_F(UselessInput, BesideAGoodOneIsAFailureToo) {
  WriteFile(Path("a"), "garbage\n");
  WriteFile(Path("b"), kBookmark);
  const Finished finished = Run({"record", "s", "--replay", "--input", "a", "--input", "b"});
  EXPECT_EQ(finished.exit_code, 1);
  EXPECT_THAT(finished.err, HasSubstr("vmr: a: none of its 1 lines could be used\n"));
  EXPECT_THAT(Items(), testing::ElementsAre("[Tag=Bookmark, TagNo=0x56]"));
}

// A line that is understood and of no interest is no failure.
TEST_F(UselessInput, IsNotOneOfOtherReports) {
  const Finished finished = Record("{\"class\":\"SKY\"}\n");
  EXPECT_EQ(finished.exit_code, 0);
  EXPECT_THAT(finished.err, testing::Not(HasSubstr("none of")));
}

TEST_F(UselessInput, IsNotAnEmptyOne) {
  for (const char* const text : {"", "\n \n"}) {
    const Finished finished = Record(text);
    EXPECT_EQ(finished.exit_code, 0);
    EXPECT_THAT(finished.err, testing::StartsWith("vmr: input: no lines\n"));
  }
}

// It is not read to its end in search of one.
TEST_F(UselessInput, MayHaveNoLineEndAtAll) {
  RunningProgram program(folder, {"record", "s", "--replay", "--input", "-"});
  program.Write(std::string(100000, '\0'));
  ASSERT_TRUE(program.WaitForMessage("holds binary data"));
  ExpectRefused(program.Finish(), "vmr: standard input: holds binary data");
}

TEST_F(UselessInput, ASignalBeforeTheFirstLineEndsAReplayWithoutAStore) {
  WriteFile(Path("input"), kBookmark);
  RunningProgram program(folder, {"record", "s", "--replay", "--input", "-", "--input", "input"});
  ASSERT_TRUE(WaitUntilCaught(program.Process(), SIGTERM));
  program.Signal(SIGTERM);
  EXPECT_TRUE(program.WaitForMessage("vmr: "));
  const Finished ended = program.Finish();
  EXPECT_EQ(ended.exit_code, 0);
  EXPECT_EQ(ended.err, "vmr: s: ended by a signal before there was anything to record\n");
  EXPECT_FALSE(std::filesystem::exists(Path("s_1.mtd")));
}

}  // namespace
}  // namespace vmr::test
