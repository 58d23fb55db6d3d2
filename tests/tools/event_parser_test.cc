#include "tools/events/event_parser.h"

#include <gtest/gtest.h>

#include "store/tag_catalogue.h"
#include "tests/support/recording_store.h"

namespace vmr::tool {
namespace {

using test::B;

// The item bytes that an event makes in a fresh store.
test::Bytes ItemsOf(const std::string& line) {
  test::RecordingStore store;
  ParsedLine parsed = ParseLine(line);
  if (const auto* report = std::get_if<Report>(&parsed))
    std::get<Event>(report->content).action(store, 7);
  return store.FlushedItems();
}

std::string WhyNot(const std::string& line) {
  const ParsedLine parsed = ParseLine(line);
  const auto* unusable = std::get_if<UnusableLine>(&parsed);
  return unusable == nullptr ? "usable" : unusable->reason;
}

Stamp StampOf(const std::string& line) {
  const ParsedLine parsed = ParseLine(line);
  const auto* report = std::get_if<Report>(&parsed);
  return report == nullptr ? Stamp{} : report->stamp;
}

bool Ignored(const std::string& line) {
  const ParsedLine parsed = ParseLine(line);
  return std::holds_alternative<BlankLine>(parsed) || std::holds_alternative<IgnoredLine>(parsed);
}

TEST(ParseLine, EveryInputIsKnownByItsNameAndItsNumber) {
  for (const DiscreteInput& input : kDiscreteInputs) {
    const std::string name = "\"" + std::string(FindTag(input.on_tag)->name) + "\"";
    for (const std::string& id : {name, std::to_string(input.index)})
      EXPECT_EQ(ItemsOf(R"({"event":"input","on":true,"name":)" + id + "}"),
                test::Bytes{input.on_tag})
          << id;
  }
}

TEST(ParseLine, TheAuxiliaryInputMayBeSpeltCorrectly) {
  EXPECT_EQ(ItemsOf(R"({"event":"input","name":"auxiliary input","on":true})"), B("3C"));
}

TEST(ParseLine, AnInputThatWasNeverOnMakesNoItemWhenItGoesOff) {
  EXPECT_EQ(ItemsOf(R"({"event":"input","name":"siren","on":false})"), B(""));
}

TEST(ParseLine, ButtonsAndActionsAreWordsOrNumbers) {
  EXPECT_EQ(ItemsOf(R"({"event":"button","button":"power","action":"pressed"})"), B("C0 00 00"));
  EXPECT_EQ(ItemsOf(R"({"event":"button","button":"record","action":"long pressed"})"),
            B("C0 01 01"));
  EXPECT_EQ(ItemsOf(R"({"event":"button","button":"BACKLIGHT","action":"Released"})"),
            B("C0 02 02"));
  EXPECT_EQ(ItemsOf(R"({"event":"button","button":1,"action":"LONG_PRESSED"})"), B("C0 01 01"));
}

TEST(ParseLine, ABookmarkNeedsNothingElse) {
  EXPECT_EQ(ItemsOf(R"({"event":"bookmark"})"), B("56"));
}

TEST(ParseLine, TemperaturesAreRoundedToWholeDegrees) {
  EXPECT_EQ(ItemsOf(R"({"event":"temperature","sensor":"inlet","degrees":-5})"), B("E1 FB"));
  EXPECT_EQ(ItemsOf(R"({"event":"temperature","sensor":"outlet","degrees":20.4})"), B("E2 14"));
  EXPECT_EQ(ItemsOf(R"({"event":"temperature","sensor":"power","degrees":20.5})"), B("E3 15"));
  EXPECT_EQ(ItemsOf(R"({"event":"temperature","sensor":3,"degrees":41})"), B("E4 29"));
}

TEST(ParseLine, FromAGpsdOnlyItsOwnReportsAreTaken) {
  const auto reason = [](const char* line) {
    const ParsedLine parsed = ParseLine(line, LineSource::kGpsd);
    const auto* unusable = std::get_if<UnusableLine>(&parsed);
    return unusable == nullptr ? "usable" : unusable->reason;
  };
  const std::string missing = "\"class\" is missing, as it is in no report of gpsd";
  EXPECT_EQ(reason(R"({"event":"bookmark"})"), missing);
  EXPECT_EQ(reason("{}"), missing);
  EXPECT_EQ(reason(R"({"class":"TPV","mode":1})"), "usable");
  EXPECT_EQ(reason(R"({"class":"SKY","event":"bookmark"})"), "usable");
  EXPECT_TRUE(std::holds_alternative<IgnoredLine>(
      ParseLine(R"({"class":"SKY","event":"bookmark"})", LineSource::kGpsd)));
}

TEST(ParseLine, UnknownFieldsAreIgnored) {
  EXPECT_EQ(ItemsOf(R"({"event":"bookmark","who":"driver","on":[{}]})"), B("56"));
}

TEST(ParseLine, BlankLinesAndOtherClassesAreIgnored) {
  for (const char* line : {"", "  \t\r", R"({"class":"SKY","time":7})", R"({"class":"VERSION"})"})
    EXPECT_TRUE(Ignored(line)) << line;
}

TEST(ParseLine, StampsAreTicksOrTimes) {
  EXPECT_TRUE(StampOf(R"({"event":"bookmark"})").Empty());
  EXPECT_EQ(StampOf(R"({"event":"bookmark","tick":4294967040})").tick, 4294967040U);
  EXPECT_EQ(StampOf(R"({"event":"bookmark","time":"1970-01-01T00:00:01.5Z"})").time_us, 1500000);
  EXPECT_EQ(StampOf(R"({"class":"TPV","mode":1,"time":"1970-01-01T00:00:01Z"})").time_us, 1000000);
}

TEST(ParseLine, TextThatIsNotJsonNamesTheColumn) {
  EXPECT_EQ(WhyNot("garbage"), "not valid JSON at column 1");
  EXPECT_EQ(WhyNot(R"({"event":"bookmark")"), "not valid JSON at column 20");
  EXPECT_EQ(WhyNot(R"({"event":"bookmark"} x)"), "not valid JSON at column 22");
  EXPECT_EQ(WhyNot("{\"event\":\"\xFF\"}"), "not valid JSON at column 11");
  EXPECT_EQ(WhyNot(R"({"event":"temperature","sensor":0,"degrees":1e999})"),
            "not valid JSON: a number is out of range");
  EXPECT_EQ(WhyNot(std::string("{}\0", 3)), "not valid JSON at column 3");
}

TEST(ParseLine, DeepNestingIsRefusedWithoutHarm) {
  EXPECT_EQ(WhyNot(std::string(500000, '[')), "not valid JSON at column 500001");
  EXPECT_EQ(WhyNot(std::string(500000, '[') + std::string(500000, ']')), "not a JSON object");
}

TEST(ParseLine, ObjectsOfNoKnownKindAreRefused) {
  EXPECT_EQ(WhyNot("[1]"), "not a JSON object");
  EXPECT_EQ(WhyNot("{}"), "neither \"event\" nor \"class\" is there");
  EXPECT_EQ(WhyNot(R"({"class":5})"), "\"class\" is 5, expected a text");
  EXPECT_EQ(WhyNot(R"({"event":"horn"})"),
            "\"event\" is \"horn\", expected one of \"input\", \"button\", \"bookmark\", "
            "\"temperature\", \"speed\", \"speed_valid\", \"radar\", \"radar_state\", "
            "\"gps_state\", \"camera\", \"stream\", \"live_stream\", \"stream_quality\", "
            "\"microphone\", \"officer\", \"vehicle\", \"department\", \"serial_number\", \"mac\", "
            "\"version\", \"system_info\", \"recording_settings\", \"configuration\", \"log\", "
            "\"test\", \"shutdown\"");
}

TEST(ParseLine, AMissingOrMistypedFieldIsNamedWithWhatWasExpected) {
  EXPECT_EQ(WhyNot(R"({"event":"input","name":"siren"})"),
            "\"on\" is missing, expected true or false");
  EXPECT_EQ(WhyNot(R"({"event":"input","name":"siren","on":1})"),
            "\"on\" is 1, expected true or false");
  EXPECT_EQ(WhyNot(R"({"event":"button","button":3,"action":0})"),
            "\"button\" is 3, expected \"power\", \"record\", \"backlight\", or its number");
  EXPECT_EQ(
      WhyNot(R"({"event":"button","button":0,"action":-1})"),
      "\"action\" is -1, expected \"pressed\", \"long pressed\", \"released\", or its number");
  EXPECT_EQ(WhyNot(R"({"event":"temperature","sensor":"cpu","degrees":40000})"),
            "\"degrees\" is 40000, expected a number from -32768 to 32767");
  EXPECT_EQ(WhyNot(R"({"event":"bookmark","tick":-1})"),
            "\"tick\" is -1, expected a whole number from 0 to 4294967040");
  EXPECT_EQ(WhyNot(R"({"event":"bookmark","tick":1.5})"),
            "\"tick\" is 1.5, expected a whole number from 0 to 4294967040");
  EXPECT_EQ(WhyNot(R"({"event":"bookmark","tick":4294967041})"),
            "\"tick\" is 4294967041, expected a whole number from 0 to 4294967040");
  EXPECT_EQ(WhyNot(R"({"event":"bookmark","time":"noon"})"),
            "\"time\" is \"noon\", expected an ISO 8601 time such as \"2019-06-19T21:33:57.500Z\"");
}

TEST(ParseLine, AFieldOfAListIsNamedWithItsPlace) {
  EXPECT_EQ(
      WhyNot(R"({"event":"recording_settings","cameras":[{"camera":0},{"camera":9}]})"),
      "\"cameras[1].camera\" is 9, expected \"front\", \"rear\", \"left\", \"right\", \"cabin\", "
      "\"cargo\", \"aux 1\", \"aux 2\", \"side rear\", or its number");
  EXPECT_EQ(
      WhyNot(R"({"event":"stream_quality","streams":[{"format":1,"camera_port":0}]})"),
      "\"streams\" is [{\"camera_port\":0,\"format\":1}], expected a list of the unit's 4 streams");
}

TEST(ParseLine, AMisspeltSettingIsRefused) {
  EXPECT_EQ(WhyNot(R"({"event":"system_info","start_on_sirn":true})"),
            "\"start_on_sirn\" is unknown, expected a setting of the unit");
  EXPECT_EQ(
      WhyNot(R"({"event":"recording_settings","split_screen":true})"),
      "\"split_screen\" is unknown, expected \"split_screen_mode\", \"critical_event_rules\", "
      "\"split_large_events\", \"maximum_recording_size_gb\", \"cameras\", \"event\", \"tick\", "
      "\"time\"");
}

TEST(ParseLine, AMicrophoneIsPresentOrOnOrBoth) {
  EXPECT_EQ(WhyNot(R"({"event":"microphone","microphone":0})"),
            "\"present\" is missing, expected true or false here or in \"on\"");
}

TEST(ParseLine, TextsAreLimitedInBytes) {
  const auto log = [](const std::string& text) {
    return WhyNot(R"({"event":"log","text":")" + text + "\"}");
  };
  EXPECT_EQ(log(std::string(253, 'x')), "usable");
  EXPECT_EQ(log(std::string(254, 'x')),
            "\"text\" is \"" + std::string(39, 'x') + "..., expected a text of at most 253 bytes");
  std::string umlauts;
  for (int i = 0; i < 127; ++i) umlauts += "ü";  // two bytes each
  EXPECT_NE(log(umlauts), "usable");
  EXPECT_EQ(log("a\\u0000b"), "\"text\" is \"a\\u0000b\", expected a text of at most 253 bytes");
}

TEST(ParseLine, PositionsThatCannotBeAreRefused) {
  EXPECT_EQ(WhyNot(R"({"class":"TPV","lat":1,"lon":1})"),
            "\"mode\" is missing, expected a whole number from 0 to 255");
  EXPECT_EQ(WhyNot(R"({"class":"TPV","mode":3,"lat":90.1,"lon":1})"),
            "\"lat\" is 90.1, expected a number from -90 to 90");
  EXPECT_EQ(WhyNot(R"({"class":"TPV","mode":3,"lat":1,"lon":"x"})"),
            "\"lon\" is \"x\", expected a number from -180 to 180");
}

TEST(ParseLine, ALongValueIsShownCut) {
  const std::string reason = WhyNot(R"({"event":")" + std::string(10000, 'x') + "\"}");
  EXPECT_EQ(reason.substr(0, 60), "\"event\" is \"" + std::string(39, 'x') + "..., expe");
}

}  // namespace
}  // namespace vmr::tool
