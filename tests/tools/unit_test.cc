// What a recorder does as a unit does it: configuration, startup and shutdown
// records, the hourly dump.
#include <signal.h>

#include <filesystem>
#include <string>
#include <utility>

#include "tests/tools/program.h"

namespace vmr::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsSupersetOf;

constexpr const char* kEnd = "[Tag=end, TagNo=0x1A, end policy]";
constexpr const char* kBookmark = "[Tag=Bookmark, TagNo=0x56]";

class Unit : public ProgramTest {
 protected:
  // Records nothing with a configuration file; returns how that ended.
  Finished Configured(const std::string& configuration) const {
    WriteFile(Path("unit.json"), configuration);
    WriteFile(Path("input"), "");
    return Run({"record", "s", "--replay", "--input", "input", "--config", "unit.json"});
  }
  std::string WhyNot(const std::string& configuration) const {
    const Finished refused = Configured(configuration);
    EXPECT_EQ(refused.exit_code, 1);
    EXPECT_FALSE(std::filesystem::exists(Path("s_1.mtd")));
    EXPECT_THAT(refused.err, testing::StartsWith("vmr: unit.json: "));
    return refused.err.substr(std::string("vmr: unit.json: ").size());
  }
};

TEST_F(Unit, ARecordingBeginsWithTheWholeConfiguration) {
  EXPECT_EQ(Configured("{}").exit_code, 0);
  const std::vector<std::string> items = ItemsOf(View());
  EXPECT_THAT(items, IsSupersetOf({HasSubstr("[Tag=RadarDesc"), HasSubstr("[Tag=RadarState"),
                                   HasSubstr("Desc='InternalGps'"), HasSubstr("State=1-available"),
                                   HasSubstr("Desc='Internal Gps'"), HasSubstr("desc='cpu'"),
                                   HasSubstr("record speed in metadata=1"),
                                   HasSubstr("Stream=3 Format=5-1080p Camera=3-Port 4")}));
  EXPECT_EQ(items.back(), kEnd);
}

// The texts are long: a short one may be put behind the time zone's name in the
// first packet, where readers do not see it.
TEST_F(Unit, TheConfigurationFileSaysWhoTheUnitIs) {
  EXPECT_THAT(Configured(R"({"officer":{"name":"Ana","badge_id":"4711 of the third watch"},
    "vehicle":{"vehicle_id":"Car 7"}, "department":{"department_name":"Story County Sheriff's Office"},
    "serial_number":"123", "mac":"02:00:5E:10:00:01",
    "system_info":{"radar_type":"lidar","pre_event_time":30},
    "recording_settings":{"maximum_recording_size_gb":4},
    "streams":[{"format":1,"camera_port":0,"split":false},{"format":2,"camera_port":0,"split":true},
               {"format":0,"camera_port":9,"split":false},{"format":0,"camera_port":9,"split":false}]
    })")
                  .err,
              HasSubstr("recorded ticks"));
  EXPECT_THAT(
      ItemsOf(View()),
      IsSupersetOf({HasSubstr("officer='Ana'"), HasSubstr("badgeId='4711 of the third watch'"),
                    HasSubstr("vehicle='Car 7'"),
                    HasSubstr("department='Story County Sheriff's Office'"),
                    HasSubstr("system serial num='123'"), HasSubstr("mac 02:00:5E:10:00:01"),
                    HasSubstr("Desc='lidar'"), HasSubstr("pre event time=30"),
                    HasSubstr("maximum recording size in GB=4"),
                    HasSubstr("Stream=1 Format=2-CIF Camera=4-Split")}));
}

TEST_F(Unit, AConfigurationThatCannotBeUsedIsNamedBeforeTheStoreIsTouched) {
  EXPECT_EQ(WhyNot("{\n\"officer\": {,}\n}"), "not valid JSON at line 2\n");
  EXPECT_EQ(WhyNot(""), "not valid JSON at line 1\n");
  EXPECT_EQ(WhyNot("[]"), "not a JSON object\n");
  EXPECT_EQ(WhyNot(R"({"officers":{}})"),
            "\"officers\" is unknown, expected \"officer\", \"vehicle\", \"department\", "
            "\"serial_number\", \"mac\", \"versions\", \"system_info\", \"recording_settings\", "
            "\"streams\"\n");
  EXPECT_EQ(WhyNot(R"({"officer":{"name":5,"badge_id":""}})"),
            "\"officer.name\" is 5, expected a text of at most 253 bytes\n");
  EXPECT_EQ(WhyNot(R"({"officer":{"name":"Ana"}})"),
            "\"officer.badge_id\" is missing, expected a text of at most 64 bytes\n");
  EXPECT_EQ(WhyNot(R"({"system_info":{"pre_event_time":300}})"),
            "\"system_info.pre_event_time\" is 300, expected a whole number from 0 to 255\n");
  EXPECT_EQ(WhyNot(R"({"system_info":{"pre_event_times":30}})"),
            "\"system_info.pre_event_times\" is unknown, expected a setting of the unit\n");
  EXPECT_EQ(WhyNot(R"({"mac":"02:00"})"),
            "\"mac\" is \"02:00\", expected six bytes in hexadecimal such as "
            "\"02:00:5E:10:00:01\"\n");
  EXPECT_EQ(WhyNot(R"({"versions":[{"component":"IOP","text":"1"},{"component":"CPU"}]})"),
            "\"versions[1].text\" is missing, expected a text of at most 64 bytes\n");
  EXPECT_EQ(Run({"record", "s", "--input", "-", "--config", "nowhere"}).err,
            "vmr: nowhere: No such file or directory\n");
  EXPECT_EQ(Run({"record", "s", "--input", "-", "--config", "."}).err, "vmr: .: Is a directory\n");
}

TEST_F(Unit, ANewStoreGetsNoStartupRecord) {
  Replay("");
  EXPECT_THAT(ItemsOf(View()), testing::Not(Contains(HasSubstr("[Tag=CameraState"))));
}

// The prior run may have been cut off with everything on.
TEST_F(Unit, AStoreThatHeldSomethingIsReportedOffAsOfItsLastTick) {
  EXPECT_THAT(Replay("{\"event\":\"bookmark\",\"tick\":100}\n").err,
              HasSubstr("recorded ticks 100 to 101\n"));
  Replay("{\"event\":\"bookmark\",\"tick\":300}\n");
  const std::string before_the_new_run = View({"--from", "101", "--to", "299"});
  std::vector<std::string> off;
  for (const std::string& item : ItemsOf(before_the_new_run)) {
    const bool of_interest = item.find("=0-off]") != item.npos || item.find("=0-no]") != item.npos;
    if (of_interest) off.push_back(item);
  }
  EXPECT_EQ(off.size(), 4U + 8U + 4U);
  EXPECT_EQ(off.front(), "[Tag=VideoStreamState, TagNo=0x55, Stream=0 State=0-off]");
  EXPECT_EQ(off.back(), "[Tag=CameraState, TagNo=0x51, Port=3-right State=0-off]");
}

TEST_F(Unit, TheEndOfTheInputIsAShutdown) {
  Replay(
      "{\"event\":\"camera\",\"camera\":\"front\",\"state\":\"on\"}\n"
      "{\"event\":\"input\",\"name\":\"siren\",\"on\":true}\n");
  EXPECT_THAT(Items(), ElementsAre("[Tag=CameraState, TagNo=0x51, Port=0-front State=1-on]",
                                   "[Tag=siren, TagNo=0x36, State=on]",
                                   "[Tag=CameraState, TagNo=0x51, Port=0-front State=0-off]",
                                   "[Tag=siren, TagNo=0x37, State=off]"));
}

TEST_F(Unit, SigtermIsAShutdown) {
  RunningProgram program(folder, {"record", "s", "--input", "-"});
  program.Write("{\"event\":\"microphone\",\"microphone\":\"cabin\",\"on\":true}\nx\n");
  ASSERT_TRUE(program.WaitForMessage("standard input:2:"));
  program.Signal(SIGTERM);
  EXPECT_EQ(program.Finish().exit_code, 0);
  EXPECT_THAT(Items(), ElementsAre("[Tag=MicData, TagNo=0x59, KELTMicId=0, MicId=2 State=1-on]",
                                   "[Tag=MicData, TagNo=0x59, KELTMicId=0, MicId=2 State=0-off]"));
}

// The ticks of the whole-state dumps in a listing, which all begin with the MAC
// address, as does the configuration at the start. (Their end mark is no help:
// it may stand behind the time zone's name, where readers do not see it.) A
// packet's line shows the tick before it, the line after it its own.
std::vector<unsigned long> DumpTicks(const std::string& listing) {
  std::vector<unsigned long> ticks;
  bool wanted = false;
  for (std::size_t at = 0; (at = listing.find("\n(hdr", at)) != listing.npos; ++at) {
    const std::string line = listing.substr(at + 1, listing.find('\n', at + 1) - at - 1);
    if (std::exchange(wanted, line.find("[Tag=mac,") != line.npos))
      ticks.push_back(std::stoul(line.substr(line.find(')') + 1)));
  }
  if (!ticks.empty()) ticks.erase(ticks.begin());
  return ticks;
}

TEST_F(Unit, AReplayDumpsTheWholeStateEveryHourOfItsOwnTime) {
  Replay(
      "{\"event\":\"officer\",\"name\":\"Ana Maria Vespasiana de Oliveira\",\"badge_id\":\"47\","
      "\"tick\":1}\n"
      "{\"event\":\"bookmark\",\"tick\":20000}\n");
  const std::string listing = View();
  EXPECT_THAT(DumpTicks(listing), ElementsAre(7202U, 14404U));
  EXPECT_THAT(ItemsOf(View({"--from", "7202", "--to", "7202"})),
              Contains("[Tag=String, TagNo=0x05, officer='Ana Maria Vespasiana de Oliveira']"));
}

// The time zone's name is an item that readers stop at.
TEST_F(Unit, WhatFollowsAChangeOfTheTimeZoneIsReadBack) {
  Replay("{\"event\":\"system_info\",\"time_zone_name\":\"Central\"}\n{\"event\":\"bookmark\"}\n");
  EXPECT_THAT(Items(), Contains(kBookmark));
}

TEST_F(Unit, LongTextsInOneTickAreAllRecorded) {
  std::string lines;
  for (int i = 0; i < 100; ++i)
    lines += "{\"event\":\"log\",\"text\":\"" + std::string(253, 'x') + "\"}\n";
  Replay(lines);
  EXPECT_EQ(Items().size(), 100U);
}

// No dump may be cut short: the longest texts everywhere, and a full tick before.
TEST_F(Unit, ADumpFitsATickWhateverTheTexts) {
  const std::string name(253, 'n');
  const std::string id(64, 'i');
  std::string lines = "{\"event\":\"officer\",\"name\":\"" + name + "\",\"badge_id\":\"" + id +
                      "\",\"tick\":7000}\n{\"event\":\"department\",\"department_name\":\"" + name +
                      "\"}\n{\"event\":\"vehicle\",\"vehicle_id\":\"" + id +
                      "\"}\n{\"event\":\"serial_number\",\"serial_number\":\"" + id + "\"}\n";
  for (int i = 0; i < 10; ++i)
    lines +=
        "{\"event\":\"version\",\"component\":" + std::to_string(i) + ",\"text\":\"" + id + "\"}\n";
  lines += "{\"event\":\"system_info\",\"time_zone_name\":\"" + id + "\"}\n";
  lines += "{\"event\":\"bookmark\",\"tick\":7201}\n";
  for (int i = 0; i < 3; ++i) lines += "{\"event\":\"log\",\"text\":\"" + name + "\"}\n";
  for (int i = 0; i < 500; ++i) lines += "{\"event\":\"bookmark\"}\n";
  const Finished replay = Replay(lines + "{\"event\":\"bookmark\",\"tick\":7300}\n");
  EXPECT_THAT(replay.err, testing::Not(HasSubstr("Dropped")));
  EXPECT_THAT(DumpTicks(View()), ElementsAre(7202U));
}

}  // namespace
}  // namespace vmr::test
