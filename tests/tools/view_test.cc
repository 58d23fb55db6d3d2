// `vmr view` for people: what a line says, what it never says, and where nothing is known.
#include <stdlib.h>

#include <filesystem>
#include <fstream>

#include "tests/support/bytes.h"
#include "tests/tools/program.h"
#include "tests/tools/ring_images.h"

namespace vmr::test {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr const char* kConfig =
    R"({"officer":{"name":"J. Larsen","badge_id":"4711"},"vehicle":{"vehicle_id":"Car 7"},
"serial_number":"VMR-000123","mac":"02:00:5E:10:00:01",
"system_info":{"time_zone_index":"America/Chicago","record_speed_in_metadata":true}})";

std::string Fix(const std::string& latitude, const std::string& longitude, int second) {
  return R"({"class":"TPV","mode":3,"time":"2019-06-19T21:33:)" + std::to_string(second) +
         R"(.000Z","lat":)" + latitude + R"(,"lon":)" + longitude + R"(,"speed":20})" + "\n";
}

std::string Text(const Bytes& bytes) { return {bytes.begin(), bytes.end()}; }

class View : public RingImageTest {
 protected:
  void Record(const std::string& store, const std::string& lines) const {
    WriteFile(Path("config"), kConfig);
    WriteFile(Path("input"), lines);
    const Finished recorded =
        Run({"record", store, "--replay", "--config", "config", "--input", "input"});
    ASSERT_EQ(recorded.exit_code, 0) << recorded.err;
  }
  std::string ViewOf(const Arguments& more, int exit_code = 0) const {
    Arguments arguments = {"view"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    const Finished view = Run(arguments);
    EXPECT_EQ(view.exit_code, exit_code) << view.err;
    EXPECT_EQ(view.err.empty(), exit_code == 0) << view.err;
    return view.out;
  }
  // 40 clusters of log texts, one a second.
  void RecordLongStore() const {
    std::string lines = R"({"event":"input","name":"siren","on":true,"tick":2})"
                        "\n";
    for (int i = 0; i < 600; ++i)
      lines += R"({"event":"log","text":")" + std::string(200, 'x') + R"(","tick":)" +
               std::to_string(10 + 2 * i) + "}\n";
    lines += R"({"event":"camera","camera":"front","state":"on","tick":1300})"
             "\n";
    Record("s", lines);
  }
};

// The line that has `text`; empty without one.
std::string LineWith(const std::string& out, const std::string& text) {
  const std::size_t at = out.find(text);
  if (at == out.npos) return {};
  const std::size_t begin = out.rfind('\n', at) + 1;
  return out.substr(begin, out.find('\n', at) - begin);
}

TEST_F(View, PositionsAreWhereTheVehicleWasInAllFourQuadrants) {
  const struct {
    const char *latitude, *longitude, *text;
  } places[] = {{"41.65889", "-93.49940", "position 41.65889 N 93.49940 W"},
                {"-37.81361", "144.96306", "position 37.81361 S 144.96306 E"},
                {"48.13713", "11.57549", "position 48.13713 N 11.57549 E"},
                {"-34.60372", "-58.38159", "position 34.60372 S 58.38159 W"}};
  for (const auto& place : places) {
    std::filesystem::remove(Path("s_1.mtd"));
    std::filesystem::remove(Path("s_2.mtd"));
    Record("s", Fix(place.latitude, place.longitude, 10));
    EXPECT_THAT(ViewOf({"s"}), HasSubstr(place.text));
  }
}

TEST_F(View, AVehicleThatDrivesSouthGoesSouth) {
  Record("s", Fix("-37.81361", "144.96306", 10) + Fix("-37.81461", "144.96406", 12));
  EXPECT_THAT(ViewOf({"s"}), HasSubstr("position 37.81461 S 144.96406 E"));
}

TEST_F(View, TheHeadingSaysWhichUnitFromWhenToWhenInWhoseTime) {
  Record("s", Fix("41.65889", "-93.49940", 10) + Fix("41.65989", "-93.49940", 40));
  EXPECT_THAT(ViewOf({"s"}), StartsWith("Recording     s\n"
                                        "Serial number \"VMR-000123\"\n"
                                        "MAC address   02:00:5E:10:00:01\n"
                                        "Vehicle       \"Car 7\"\n"
                                        "Department    \"\"\n"
                                        "Officer       \"J. Larsen\" (as first told)\n"
                                        "Badge         \"4711\" (as first told)\n"
                                        "From          about 2019-06-19 16:33:"));
  EXPECT_THAT(ViewOf({"s"}),
              HasSubstr("\n---- Wednesday 2019-06-19, UTC-05:00 (America/Chicago) ----\n"));
}

TEST_F(View, LocalTimesAreThoseOfTheZoneAskedForWithItsOffset) {
  Record("s", Fix("41.65889", "-93.49940", 10) + Fix("41.65989", "-93.49940", 40));
  const std::string out = ViewOf({"s", "--time-zone", "Europe/Berlin"});
  EXPECT_THAT(out, HasSubstr("\nTime zone     Europe/Berlin\n"));
  EXPECT_THAT(out, HasSubstr("---- Wednesday 2019-06-19, UTC+02:00 (Europe/Berlin) ----\n"));
  EXPECT_THAT(LineWith(out, "position 41.65989"), HasSubstr(" 23:33:40  "));
}

TEST_F(View, ADayThatBeginsAndClocksThatChangeAreLines) {
  // 2019-11-03 05:59:59 UTC is 00:59:59 in Chicago; at 07:00 UTC its clocks go back.
  const auto fix = [](const char* time, const char* latitude) {
    return std::string(R"({"class":"TPV","mode":3,"lon":-93.5,"time":")") + time + R"(","lat":)" +
           latitude + "}\n";
  };
  Record("s", fix("2019-11-03T04:59:00.000Z", "41.1") + fix("2019-11-03T05:01:00.000Z", "41.2") +
                  fix("2019-11-03T07:01:00.000Z", "41.3"));
  const std::string out = ViewOf({"s"});
  EXPECT_THAT(out, HasSubstr("---- Saturday 2019-11-02, UTC-05:00 (America/Chicago) ----\n"));
  EXPECT_THAT(out, HasSubstr("---- Sunday 2019-11-03, UTC-05:00 (America/Chicago) ----\n"));
  EXPECT_THAT(out, HasSubstr("---- Sunday 2019-11-03, UTC-06:00 (America/Chicago) ----\n"));
}

TEST_F(View, NamesAndUnitsAreWhatTheRecordingTells) {
  Record("s", R"({"event":"microphone","microphone":"cabin","on":true,"tick":20}
{"event":"camera","camera":"front","state":"on","tick":30}
{"event":"input","name":"emergency lights","on":true,"tick":40}
{"event":"button","button":"record","action":"long pressed","tick":50}
{"event":"temperature","sensor":"inlet","degrees":31,"tick":60}
)");
  const std::string out = ViewOf({"s"});
  for (const char* phrase :
       {"  microphone 2 (\"Cabin\") on", "  camera 0 (\"Front\") on\n", "  emergency lights on\n",
        "  record button long pressed\n", "temperature inlet 31 degrees"})
    EXPECT_THAT(out, HasSubstr(phrase));
}

TEST_F(View, ASpeedHasTheUnitThatItsDeviceIsSaidToHave) {
  Record("s", Fix("41.65889", "-93.49940", 10) + Fix("41.65989", "-93.49940", 40));
  EXPECT_THAT(ViewOf({"s"}), HasSubstr("GPS speed 45 mph"));
}

TEST_F(View, ARadarSpeedThatIsNotThereIsNotPresent) {
  // Target 61; lock and fastest speed 1023. Then the target alone.
  WriteFile(Path("flat"),
            "f]S1" + Text(FullPacket(5, B("61 78 FF FF 3D")) + ShortPacket(6, B("68 FC"))));
  const std::string out = ViewOf({"flat"});
  EXPECT_THAT(out, HasSubstr("  radar 1: target 61, locked not present, fastest not present"));
  EXPECT_THAT(LineWith(out, "target blank"), Not(HasSubstr("locked")));
  EXPECT_THAT(out, Not(HasSubstr("1023")));
}

TEST_F(View, ARecordedTextForgesNoLineAndMovesNoCursor) {
  Record(
      "s",
      R"({"event":"officer","name":"A\n       99  siren on\u001b[2J\u202e\u2028\u009b","badge_id":"x\"; siren on","tick":20})"
      "\n");
  const std::string out = ViewOf({"s"});
  EXPECT_THAT(out, HasSubstr(R"(officer "A\x0A       99  siren on\x1B[2J\u202E\u2028\u009B")"));
  EXPECT_THAT(out, HasSubstr(R"(badge "x\"; siren on")"));
  for (const char* bad : {"\x1b", "\xe2\x80\xae", "\xe2\x80\xa8", "\xc2\x9b"})
    EXPECT_THAT(out, Not(HasSubstr(bad)));
}

TEST_F(View, BytesThatAreNoTextAreShownAsBytes) {
  WriteFile(Path("flat"), "f]S1" + Text(FullPacket(5, B("20 04 41 FF C3 28"))));
  EXPECT_THAT(ViewOf({"flat"}), HasSubstr("log \"A\\xFF\\xC3(\"\n"));
}

TEST_F(View, ANameCannotSeemToEndItsPhrase) {
  // Camera 0 is called "x) on; siren on (", and goes on.
  WriteFile(
      Path("flat"),
      "f]S1" + Text(FullPacket(5, B("50 00 11") + Bytes{'x', ')', ' ', 'o', 'n', ';', ' ', 's', 'i',
                                                        'r', 'e', 'n', ' ', 'o', 'n', ' ', '('}) +
                    ShortPacket(6, B("51 01"))));
  EXPECT_THAT(ViewOf({"flat"}), HasSubstr("  camera 0 (\"x) on; siren on (\") on\n"));
}

TEST_F(View, AnEmptyStoreSaysSo) {
  MakeRing(0, TwoBookmarks);
  EXPECT_EQ(ViewOf({"s"}), "Recording     s\n              Nothing is recorded in it.\n");
}

TEST_F(View, ALostClusterIsALineAndNothingIsKnownBehindIt) {
  RecordLongStore();
  for (const int file : {1, 2}) Put(file, 5, B("55 55 55"), 100);
  const Finished view = Run({"view", "s"});
  EXPECT_EQ(view.exit_code, 3);
  EXPECT_THAT(view.out, testing::ContainsRegex("\n---- gap: 1 cluster lost; tick [0-9]+ to [0-9]+, "
                                               "[0-9:]+ to [0-9:]+, [0-9.]+ s ----\n"));
  EXPECT_THAT(view.err, HasSubstr("vmr: s: 1 gap: something of it is lost or damaged\n"));
  // The camera's name was told in front of the gap only.
  EXPECT_THAT(view.out, HasSubstr("  camera 0 on"));
}

TEST_F(View, AClusterThatIsBadInOneFileIsNoGap) {
  RecordLongStore();
  const std::string sound = ViewOf({"s"});
  Put(1, 5, B("55 55 55"), 100);
  EXPECT_EQ(ViewOf({"s"}), sound);
}

TEST_F(View, OneFileIsEnough) {
  RecordLongStore();
  std::filesystem::remove(Path("s_2.mtd"));
  const Finished view = Run({"view", "s"});
  EXPECT_EQ(view.exit_code, 0);
  EXPECT_THAT(view.err,
              StartsWith("vmr: s_2.mtd: missing; reading s_1.mtd alone, and the newest packet may "
                         "stand in the missing file alone\n"));
  EXPECT_THAT(view.out, HasSubstr("siren on"));
}

TEST_F(View, ALostClusterOutsideOfTheRangeIsNone) {
  RecordLongStore();
  for (const int file : {1, 2}) Put(file, 5, B("55 55 55"), 100);
  EXPECT_THAT(ViewOf({"s", "--from", "10", "--to", "40"}), Not(HasSubstr("gap")));
  EXPECT_THAT(ViewOf({"s", "--from", "1200", "--to", "1300"}), Not(HasSubstr("gap")));
}

TEST_F(View, WhatADamagedPacketSaysIsMarked) {
  Bytes damaged = ShortPacket(6, B("36"));
  damaged.back() ^= 0xFF;
  WriteFile(Path("flat"),
            "f]S1" + Text(FullPacket(5, B("56")) + damaged + ShortPacket(7, B("56"))));
  const std::string out = ViewOf({"flat"}, 3);
  EXPECT_THAT(out, HasSubstr("\n!         6  --:--:--  siren on [wrong CRC]\n---- gap: a damaged "
                             "packet, its CRC is wrong (5 bytes); tick 5 to 7, 1 s ----\n"));
}

TEST_F(View, ATimeBeforeTheFirstOneToldIsMarkedAsReckoned) {
  // A bookmark at tick 5, the time 1000000000 at tick 9.
  WriteFile(Path("flat"),
            "f]S1" + Text(FullPacket(5, B("56")) + ShortPacket(9, B("03 00 CA 9A 3B")) +
                          ShortPacket(11, B("56"))));
  const std::string out = ViewOf({"flat"});
  EXPECT_THAT(out, HasSubstr("\n          5 ~01:46:38  bookmark\n"));
  EXPECT_THAT(out, HasSubstr("\n         11  01:46:41  bookmark\n"));
}

TEST_F(View, AClockThatWasSetIsALineWhereItWasSet) {
  // 1000000000, and two ticks later an hour more.
  WriteFile(Path("flat"), "f]S1" + Text(FullPacket(5, B("03 00 CA 9A 3B")) +
                                        ShortPacket(7, B("03 11 D8 9A 3B"))));
  EXPECT_THAT(
      ViewOf({"flat"}),
      HasSubstr("\n---- the unit was off, or its clock was set, 1 h forward at tick 7: it showed "
                "2001-09-09 01:46:41+00:00 and now 2001-09-09 02:46:41+00:00 ----\n"));
}

TEST_F(View, WhatTheClockShowedBehindAGapIsNoFact) {
  Bytes damaged = ShortPacket(7, B("56"));
  damaged.back() ^= 0xFF;
  WriteFile(Path("flat"), "f]S1" + Text(FullPacket(5, B("03 11 D8 9A 3B")) + damaged +
                                        ShortPacket(9, B("03 00 CA 9A 3B"))));
  EXPECT_THAT(ViewOf({"flat"}, 3),
              HasSubstr(" at tick 9: by what was told before the gap it would have been "
                        "2001-09-09 02:46:43+00:00 and now 2001-09-09 01:46:40+00:00 ----\n"));
}

TEST_F(View, TicksThatBeginAnewAreALine) {
  WriteFile(Path("flat"), "f]S1" + Text(FullPacket(500000, B("56")) + FullPacket(5, B("56"))));
  EXPECT_THAT(ViewOf({"flat"}), HasSubstr("\n---- ticks begin anew at 5: "));
}

TEST_F(View, WhatWasReportedLateStandsAtItsOwnTick) {
  // A bookmark, and a siren that went on 12 ticks earlier.
  WriteFile(Path("flat"), "f]S1" + Text(FullPacket(100, B("56 21 0C 36"))));
  EXPECT_THAT(ViewOf({"flat"}),
              EndsWith("         88  --:--:--  siren on (reported 12 ticks later)\n"
                       "        100  --:--:--  bookmark\n"));
}

TEST_F(View, AStartOfTheUnitIsSaidAsOne) {
  Record("s", "{\"event\":\"bookmark\",\"tick\":50}\n");
  Record("s", "{\"event\":\"bookmark\",\"tick\":70}\n");
  EXPECT_THAT(ViewOf({"s"}),
              HasSubstr("the unit started: video streams, microphones and cameras off\n"));
  EXPECT_THAT(Run({"info", "s"}).out, HasSubstr("\nUnit's starts 1\n"));
}

TEST_F(View, SettingsAreOneLineUnlessAskedFor) {
  Record("s", "{\"event\":\"bookmark\",\"tick\":50}\n");
  const std::string folded = ViewOf({"s"});
  EXPECT_THAT(
      LineWith(folded, "settings told"),
      HasSubstr("items; among them: GPS available; vehicle \"Car 7\"; officer \"J. Larsen\""));
  EXPECT_THAT(folded, Not(HasSubstr("start on siren")));
  EXPECT_THAT(ViewOf({"s", "--dumps"}), HasSubstr("setting start on siren = 0"));
  EXPECT_THAT(ViewOf({"s", "--kind", "policy"}), HasSubstr("setting start on siren = 0"));
}

TEST_F(View, AFullStateIsOneLineWithWhatHasChanged) {
  // Three hours: the store repeats its state in each.
  Record("s", R"({"event":"input","name":"siren","on":true,"tick":20}
{"event":"bookmark","tick":20000}
)");
  const std::string out = ViewOf({"s"});
  EXPECT_THAT(out, HasSubstr("  full state "));
  EXPECT_EQ(ViewOf({"s", "--dumps"}).find("full state"), std::string::npos);
  EXPECT_THAT(ViewOf({"s", "--from", "8000"}), Not(HasSubstr("siren on; siren on")));
}

TEST_F(View, AnExtractOfAUnitSaysThatItsPositionsAreUnverified) {
  Record("s", Fix("-37.81361", "144.96306", 10) + Fix("-37.81461", "144.96406", 20) +
                  Fix("-37.81561", "144.96506", 30));
  const Bytes label =
      B("20 0C") + Bytes{'R', 'a', 'n', 'g', 'e', ' ', '5', ' ', 't', 'o', ' ', '9'};
  WriteFile(Path("cut"), "f]S1" + Text(FullPacket(5, label + B("91 01 29 27 96 00 5D 1D A6 25")) +
                                       ShortPacket(6, B("92 10 10"))));
  const std::string out = ViewOf({"cut"});
  EXPECT_THAT(out, HasSubstr(" W (unverified)"));
  EXPECT_THAT(out, HasSubstr("---- positions are unverified: "));
}

TEST_F(View, SeveralRecordingsHaveAHeadingEach) {
  Record("s", "{\"event\":\"bookmark\",\"tick\":50}\n");
  Record("t", "{\"event\":\"bookmark\",\"tick\":70}\n");
  const std::string out = ViewOf({"t", "s"});
  EXPECT_THAT(out, StartsWith("Recording     t\n"));
  EXPECT_THAT(out, HasSubstr("\n\nRecording     s\n"));
  EXPECT_EQ(Run({"view", "t", "nowhere", "s"}).exit_code, 1);
}

TEST_F(View, WhatCannotBeReadInAFolderIsToldAndTheRestIsShown) {
  Record("s", "{\"event\":\"bookmark\",\"tick\":50}\n");
  Run({"extract", "s", "cut", "--from", "40", "--to", "60"});
  std::string bytes = ReadFile(Path("cut"));
  std::filesystem::create_directories(Path("all/deeper"));
  for (const char* const name : {"flat", "locked", "deeper/flat", ".hidden"})
    WriteFile(Path(std::string("all/") + name), bytes);
  bytes[0] = '?';
  WriteFile(Path("all/damaged"), bytes);
  WriteFile(Path("all/notes"), "nothing of ours");
  WriteFile(Path("all/t_1.mtd"), "");
  for (const char* const locked : {"all/locked", "all/t_1.mtd"})
    std::filesystem::permissions(Path(locked), std::filesystem::perms::none);
  for (const char* const command : {"view", "info", "export"}) {
    const Finished read = RunUnprivileged({command, "all"});
    EXPECT_EQ(read.exit_code, 1) << command;
    EXPECT_THAT(read.err, HasSubstr("vmr: all/damaged: a flat file whose first bytes are damaged"));
    EXPECT_THAT(read.err, HasSubstr("vmr: all/locked: Permission denied\n"));
    EXPECT_THAT(read.err, HasSubstr("vmr: all/t: neither file of the store can be opened: "
                                    "Permission denied\n"));
    EXPECT_EQ(std::count(read.err.begin(), read.err.end(), '\n'), 3) << read.err;
    EXPECT_THAT(read.out, HasSubstr("all/flat"));
    EXPECT_THAT(read.out, Not(HasSubstr("deeper")));
  }
  const Finished checked = RunUnprivileged({"check", "all"});
  EXPECT_EQ(checked.exit_code, 1);
  EXPECT_THAT(checked.err, HasSubstr("vmr: all/locked: Permission denied\n"));
}

TEST_F(View, AFolderWithoutRecordingsSaysSo) {
  std::filesystem::create_directories(Path("none/deeper"));
  WriteFile(Path("none/deeper/flat"), "f]S1");
  for (const char* const command : {"view", "info", "export", "report", "plot"}) {
    const Finished read = Run({command, "none"});
    EXPECT_EQ(read.exit_code, 1);
    EXPECT_EQ(read.err, "vmr: none: neither stores nor flat files in it\n");
    EXPECT_EQ(read.out, "");
  }
}

TEST_F(View, AStoreInAFolderThatWasSetAsideIsShown) {
  std::filesystem::create_directory(Path("all"));
  Record("all/s", "{\"event\":\"bookmark\",\"tick\":50}\n");
  std::filesystem::rename(Path("all/s_1.mtd"), Path("all/s_1.mtd.CORRUPT"));
  std::filesystem::rename(Path("all/s_2.mtd"), Path("all/s_2.mtd.CORRUPT"));
  EXPECT_THAT(Run({"view", "all"}).out, HasSubstr("bookmark"));
  EXPECT_THAT(Run({"check", "all"}).out, StartsWith("all/s: "));
}

TEST_F(View, ARangeInWhichNothingWasRecordedSaysSo) {
  Record("s", "{\"event\":\"bookmark\",\"tick\":50}\n");
  const Finished view = Run({"view", "s", "--from", "5000", "--to", "6000"});
  EXPECT_EQ(view.exit_code, 3);
  EXPECT_THAT(view.out, EndsWith("Nothing of what was asked for is recorded.\n"));
}

TEST_F(View, LinesOfJsonAreThoseOfExport) {
  Record("s", Fix("41.65889", "-93.49940", 10) + "{\"event\":\"bookmark\"}\n");
  EXPECT_EQ(ViewOf({"s", "--format", "jsonl", "--kind", "position"}),
            Run({"export", "s", "--kind", "position"}).out);
}

TEST_F(View, AFileHoldsTheTextWithoutColours) {
  Record("s", "{\"event\":\"bookmark\",\"tick\":50}\n");
  const std::string out = ViewOf({"s"});
  EXPECT_EQ(ViewOf({"s", "-o", "text"}), "");
  EXPECT_EQ(ReadFile(Path("text")), out);
  EXPECT_EQ(Run({"view", "s", "-o", "text"}).exit_code, 1);  // it exists
}

TEST_F(View, TheTextTakesNoRecordingsPlace) {
  Record("s", "{\"event\":\"bookmark\",\"tick\":50}\n");
  std::filesystem::remove(Path("s_1.mtd"));
  EXPECT_EQ(Run({"view", "s", "-o", "s_1.mtd"}).err,
            "vmr: s_1.mtd: belongs to the recording s; give another file\n");
  EXPECT_FALSE(std::filesystem::exists(Path("s_1.mtd")));
  const std::string flat = "f]S1" + Text(FullPacket(5, B("56")));
  WriteFile(Path("flat"), flat);
  EXPECT_EQ(Run({"view", "flat", "-o", "flat", "--force"}).exit_code, 1);
  EXPECT_EQ(ReadFile(Path("flat")), flat);
}

TEST_F(View, AClosedPipeIsNoError) {
  RecordLongStore();
  const std::string command =
      "cd " + folder + " && { " VMR_PROGRAM " view s s s s 2> err; echo $? > code; } | true";
  ASSERT_EQ(std::system(command.c_str()), 0);
  EXPECT_EQ(ReadFile(Path("code")), "0\n");
  EXPECT_EQ(ReadFile(Path("err")), "");
}

}  // namespace
}  // namespace vmr::test
