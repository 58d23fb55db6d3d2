// What is taken out of an extract, and that what is left does not give it back.
#include "tools/evidence/redact.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "backends/data_store_flat.h"
#include "store/packet_format.h"
#include "tests/reader/random_host.h"
#include "tests/records/decoded.h"
#include "tools/common/quiet_log.h"
#include "tools/evidence/position_grid.h"
#include "tools/read/items_in_force.h"
#include "tools/read/made_packets.h"

namespace vmr::test {
namespace {

using records::KindId;
using records::PositionQuality;
using records::Record;
using records::Sensitivity;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;
using tool::PositionGrid;
using tool::Redaction;
using tool::RedactionFacts;

Redaction Of(const std::string& list) {
  std::string error;
  const auto redaction = Redaction::Of(list, error);
  EXPECT_TRUE(redaction) << error;
  return *redaction;
}

struct Redacted {
  std::string bytes;
  RedactionFacts facts;
  // As the program's decoder reads it; `lines` without the label that says what was taken out.
  std::vector<std::string> lines;
  std::vector<std::string> labels;
};

constexpr std::size_t kMagicBytes = 4;

Lines Decoded(const std::string& file) {
  return Decode({{Bytes(file.begin() + kMagicBytes, file.end())}}, true);
}

Redacted RedactPieces(std::vector<Pieces::Piece> pieces, const std::string& list,
                      bool flat = true) {
  Pieces source(std::move(pieces), flat);
  Redacted redacted;
  redacted.facts = tool::Redact(
      source, Of(list), [&redacted](std::string_view bytes) { redacted.bytes.append(bytes); });
  EXPECT_EQ(redacted.facts.bytes, redacted.bytes.size());
  for (const std::string& line : Decoded(redacted.bytes).lines)
    (line.find("log text='vmr: redacted: ") != line.npos ? redacted.labels : redacted.lines)
        .push_back(line);
  return redacted;
}
Redacted RedactBytes(const Bytes& stream, const std::string& list) {
  return RedactPieces({{stream}}, list);
}

std::string TextItem(const std::string& tag, const std::string& text) {
  Bytes item = B(tag);
  item.push_back(static_cast<unsigned char>(text.size()));
  std::string hex;
  for (const unsigned char byte : item + Bytes(text.begin(), text.end())) {
    constexpr char kDigits[] = "0123456789ABCDEF";
    hex += {kDigits[byte >> 4], kDigits[byte & 15], ' '};
  }
  return hex;
}
std::string Log(const std::string& text) { return TextItem("20", text); }

bool HasBytes(const std::string& bytes, const std::string& hex) {
  const Bytes wanted = B(hex);
  return bytes.find(std::string(wanted.begin(), wanted.end())) != bytes.npos;
}

// One item of every kind that can be redacted or kept.
const std::map<KindId, const char*>& OneOfEach() {
  static const std::map<KindId, const char*> kItems = {
      {KindId::kTime, "03 00 94 35 77"},
      {KindId::kTimeZone, "11 03 55 54 43"},
      {KindId::kTimeZoneName, "04 03 43 53 54"},
      {KindId::kMac, "02 00 00 11 22 AA BB CC"},
      {KindId::kOfficer, "05 02 4A 6F"},
      {KindId::kBadge, "08 01 39"},
      {KindId::kDepartment, "06 02 50 44"},
      {KindId::kVehicle, "07 02 43 37"},
      {KindId::kSerialNumber, "10 01 53"},
      {KindId::kVersion, "09 01 02 31 2E"},
      {KindId::kPolicy, "18 26 01"},
      {KindId::kConfigurationEnd, "1A"},
      {KindId::kInput, "36"},
      {KindId::kButton, "C0 01 02"},
      {KindId::kBookmark, "56"},
      {KindId::kPosition, "91 02 14 00 00 00 64 00 00 00"},
      {KindId::kGpsReceiver, "90 01 02 47 50"},
      {KindId::kGpsState, "94 01"},
      {KindId::kSpeed, "71 7F"},
      {KindId::kSpeedDevice, "70 01 41 00"},
      {KindId::kRadar, "61 00 3D 40 3E"},
      {KindId::kRadarDevice, "60 01 61 02 47 31"},
      {KindId::kRadarState, "6F 21"},
      {KindId::kMicrophone, "59 01 01 01"},
      {KindId::kMicrophoneName, "58 00 00 00 03 24 24 43"},
      {KindId::kCamera, "51 82"},
      {KindId::kCameraName, "50 01 04 52 65 61 72"},
      {KindId::kStream, "55 31"},
      {KindId::kStreamFormat, "54 24 40"},
      {KindId::kLiveStream, "B0 15 1F 90 C0 A8 00 01 03"},
      {KindId::kTemperature, "E1 FF"},
      {KindId::kTemperatureSensor, "E0 03 03 63 70 75"},
      {KindId::kVoltage, "D1 64"},
      {KindId::kLog, "20 01 78"},
      {KindId::kTest, "F1 01 74"},
      {KindId::kEndOfStream, "F0"},
  };
  return kItems;
}

Bytes EverythingRecorded() {
  Bytes stream;
  unsigned int tick = 100;
  for (const auto& [kind, item] : OneOfEach()) stream = stream + Hdr1(tick++, item);
  return stream;
}

// A device, of which only its name gives away who it was.
bool IsOfNameAlone(KindId kind, Sensitivity sensitivity) {
  static const std::set<KindId> kDevices = {KindId::kGpsReceiver, KindId::kSpeedDevice,
                                            KindId::kRadarDevice, KindId::kMicrophoneName,
                                            KindId::kCameraName,  KindId::kTemperatureSensor};
  return sensitivity == Sensitivity::kIdentity && kDevices.count(kind) != 0;
}

// ---- What goes -----------------------------------------------------------------------

TEST(Redact, TakesOutOfEachClassItsKindsAndNoOther) {
  ASSERT_EQ(OneOfEach().size() + 1, records::kKindCount) << "tick adjust is of what follows it";
  const std::vector<std::string> recorded = DecodedLines(EverythingRecorded());
  for (const records::SensitivityRow& row : records::Sensitivities()) {
    const std::string keep = row.id == Sensitivity::kText ? "" : ",text=keep";
    const Redacted redacted = RedactBytes(EverythingRecorded(), row.name + keep);
    std::vector<std::string> expected;
    unsigned long taken_out = 0;
    std::size_t n = 0;
    unsigned long emptied = 0;
    for (const auto& [kind, item] : OneOfEach()) {
      std::string line = recorded[n++];
      const bool goes = GivesAway(KindOf(kind), row.id);
      taken_out += goes ? 1 : 0;
      if (goes && !IsOfNameAlone(kind, row.id)) continue;
      if (goes) line = line.substr(0, line.find(" text=")) + " text=''";
      emptied += goes ? 1 : 0;
      expected.push_back(line);
    }
    EXPECT_EQ(emptied, row.id == Sensitivity::kIdentity ? 6U : 0U);
    EXPECT_GT(taken_out, 0U) << row.name;
    EXPECT_EQ(redacted.lines, expected) << row.name;
    EXPECT_EQ(redacted.facts.kept, expected.size() - emptied);
    EXPECT_EQ(redacted.facts.taken_out[static_cast<std::size_t>(row.id)], taken_out) << row.name;
    EXPECT_EQ(tool::TakenOutText(redacted.facts), row.name + (" " + std::to_string(taken_out)));
  }
}

TEST(Redact, OfEverythingLeavesNothingThatGivesAnythingAway) {
  const Redacted redacted =
      RedactBytes(EverythingRecorded(),
                  "identity,gps,text,radar,speed,audio,cameras,streams,inputs,temperature");
  EXPECT_THAT(redacted.lines,
              ElementsAre(HasSubstr(" time "), HasSubstr(" policy "),
                          HasSubstr(" configuration_end"), HasSubstr(" end_of_stream")));
  EXPECT_THAT(redacted.labels,
              ElementsAre("100 log text='vmr: redacted: "
                          "identity,gps,text,radar,speed,audio,cameras,streams,inputs,temperature"
                          "'"));
}

TEST(Redact, LeavesNoByteOfATextOrAnAddress) {
  const std::string who = "J. Smith, Springfield";
  const Bytes stream =
      Hdr1(5, TextItem("05", who) + TextItem("06", who) + "36 " + TextItem("07", who)) +
      Cont(TextItem("10", who) + "02 00 00 1B 21 AB CD EF " + TextItem("08", who)) +
      Hdr1(6, Log("seen: " + who) + "B0 15 1F 90 C0 A8 00 01 03");
  const Redacted redacted = RedactBytes(stream, "identity");
  for (std::size_t begin = 0; begin + 4 <= who.size(); ++begin)
    EXPECT_EQ(redacted.bytes.find(who.substr(begin, 4)), std::string::npos);
  for (const char* hex : {"00 1B 21 AB CD EF", "EF CD AB 21 1B 00", "C0 A8 00 01", "1F 90"})
    EXPECT_FALSE(HasBytes(redacted.bytes, hex)) << hex;
  EXPECT_THAT(redacted.lines, ElementsAre("5 input input='siren' on=1"));
}

// Else nobody could tell what its speeds are.
TEST(Redact, OfADeviceTakesTheNameAndLeavesItsUnits) {
  const Redacted redacted = RedactBytes(Hdr1(5, "70 02 41 04 51 75 69 73 72 48"), "identity");
  EXPECT_EQ(redacted.bytes.find("Qui"), std::string::npos);
  EXPECT_THAT(redacted.lines, ElementsAre("5 speed_device device=2 units='mph' type='gps' text=''",
                                          "5 speed device=2 speed=72"));
}

// Even that something was recorded then would tell how fast it went.
TEST(Redact, LeavesNoPacketOfWhatHasGone) {
  const Redacted redacted = RedactBytes(Hdr1(10, "36") + Hdr1(11, "91 00 14 00 00 00 64 00 00 00") +
                                            Hdr2(12, "92 01 01") + Hdr2(13, "37"),
                                        "gps");
  const Bytes last = Hdr1(13, "37");
  EXPECT_THAT(redacted.bytes, testing::EndsWith(std::string(last.begin(), last.end())));
  EXPECT_FALSE(HasBytes(redacted.bytes, "80 0B 00 00 00"));
  EXPECT_FALSE(HasBytes(redacted.bytes, "80 0C 00 00 00"));
  EXPECT_THAT(redacted.lines,
              ElementsAre("10 input input='siren' on=1", "13 input input='siren' on=0"));
}

TEST(Redact, MakesPacketsThatTellNothingOfTheLengthOfWhatHasGone) {
  const std::string longest(240, 'x');
  const Redacted one =
      RedactBytes(Hdr1(10, TextItem("05", longest)) + Cont("36 1A") + Cont("51 01"), "identity");
  const Redacted other = RedactBytes(Hdr1(10, TextItem("05", "y") + "36 1A 51 01"), "identity");
  EXPECT_EQ(one.bytes, other.bytes);
}

TEST(Redact, KeepsAnAdjustedTickWithWhatItIsOfAndWithNothingElse) {
  const Redacted redacted = RedactBytes(Hdr1(50, "21 07 05 02 4A 6F 21 09 36 37"), "identity");
  EXPECT_THAT(redacted.lines, ElementsAre("50 tick_adjust ticks=9", "41 input input='siren' on=1",
                                          "50 input input='siren' on=0"));
}

TEST(Redact, PutsTheTimeZonesNameBehindAllElseOfItsTick) {
  const Redacted redacted = RedactBytes(Hdr1(50, "36 04 03 43 53 54 37"), "identity");
  EXPECT_THAT(redacted.lines,
              ElementsAre("50 input input='siren' on=1", "50 input input='siren' on=0",
                          "50 time_zone_name text='CST'"));
}

// ---- Damage --------------------------------------------------------------------------

TEST(Redact, LeavesDamageOutAndMarksIt) {
  Bytes flipped = Hdr1(20, "37 " + TextItem("05", "Wrong"));
  flipped.back() ^= 1;
  const Bytes streams[] = {
      Hdr1(10, "36") + flipped + Hdr1(30, "37"),
      Hdr1(10, "36") + B("57 72 6F 6E 67 00") + Hdr1(30, "37"),
      Hdr1(10, "36") + Hdr1(20, "57 57 72 6F 6E 67 37") + Hdr1(30, "37"),
  };
  const char* const reasons[] = {"wrong packet CRC", "no packets", "unknown item"};
  for (int n = 0; n < 3; ++n) {
    const Redacted redacted = RedactBytes(streams[n], "radar,text=keep");
    EXPECT_EQ(redacted.bytes.find("Wrong"), std::string::npos);
    EXPECT_THAT(
        redacted.lines,
        ElementsAre("10 input input='siren' on=1", "gap 10..30 lost before it was copied",
                    std::string("30 log text='vmr: gap, ticks 10 to 30: ") + reasons[n] + "'",
                    "30 input input='siren' on=0"));
    EXPECT_EQ(redacted.facts.gaps, 1U);
    EXPECT_EQ(redacted.facts.unsound, n == 0 ? 1U : 0U);
  }
}

TEST(Redact, LeavesAnEndThatIsCutShortOut) {
  Bytes cut = Hdr1(20, TextItem("05", "Wrong"));
  cut.resize(cut.size() - 3);
  const Redacted redacted = RedactBytes(Hdr1(10, "36") + cut, "identity");
  EXPECT_EQ(redacted.bytes.find("Wro"), std::string::npos);
  EXPECT_THAT(redacted.lines,
              ElementsAre("10 input input='siren' on=1", "gap 10..- lost before it was copied"));
}

// The ticks of a gap are those of what is written: others would be those of what has gone.
TEST(Redact, TellsOfAGapNoTickOfWhatHasGone) {
  const Redacted redacted = RedactBytes(
      Hdr1(10, "36") + Hdr1(0x1234, "71 20") + B("EE") + Hdr1(0x2345, "71 21") + Hdr1(0x3000, "37"),
      "gps");
  EXPECT_THAT(redacted.lines, Contains("12288 log text='vmr: gap, ticks 10 to 12288: no packets'"));
  EXPECT_FALSE(HasBytes(redacted.bytes, "34 12 00 00"));
  EXPECT_FALSE(HasBytes(redacted.bytes, "45 23 00 00"));
}

TEST(Redact, KeepsWhatHasNoTickWithoutOne) {
  const Redacted redacted = RedactBytes(
      Cont("36") + Hdr1(10, "37") + B("EE") + Hdr2(12, "34") + Hdr1(20, "35"), "identity");
  EXPECT_THAT(redacted.lines, Contains("- input input='siren' on=1"));
  EXPECT_THAT(redacted.lines, Contains("- input input='emergency lights' on=1"));
  EXPECT_THAT(redacted.lines, Contains("20 input input='emergency lights' on=0"));
}

TEST(Redact, GoesOnWhereTicksBeginAnew) {
  // Behind what has gone the lower tick alone would not show it.
  const Redacted redacted = RedactBytes(
      Hdr1(10, "91 00 14 00 00 00 64 00 00 00 36") + Hdr1(5000, "71 20") + Hdr1(400, "92 01 01 37"),
      "gps=1km");
  EXPECT_THAT(redacted.lines,
              ElementsAre("10 input input='siren' on=1", StartsWith("200 position "),
                          StartsWith("gap 200..400"), "400 input input='siren' on=0"));
}

TEST(Redact, ReadsStoresWhoseClustersAreLost) {
  const Redacted redacted = RedactPieces(
      {{Hdr1(10, "36 05 02 4A 6F"), 10}, {Hdr1(300, "37"), 300, true}}, "identity", false);
  EXPECT_THAT(redacted.lines, ElementsAre("10 input input='siren' on=1", StartsWith("gap 10..300"),
                                          "300 log text='vmr: gap, ticks 10 to 300: lost clusters'",
                                          "300 input input='siren' on=0"));
}

// ---- Labels --------------------------------------------------------------------------

Bytes Extract(const std::string& completed, const std::string& state, const Bytes& range) {
  return Hdr1(100, Log("Range 100 to 900") + Log(completed) + state) + range;
}
constexpr const char* kCompleted =
    "State completed by vmr: 84 kept, 8 corrected, 1 added, 24 not recorded and left out";

TEST(Redact, OfAnExtractKeepsItsLabelsTrue) {
  const Redacted redacted =
      RedactBytes(Extract(kCompleted, "05 02 4A 6F 36", Hdr1(110, "37")), "identity");
  EXPECT_THAT(
      Decoded(redacted.bytes).lines,
      ElementsAre("100 log text='Range 100 to 900'",
                  "100 log text='State completed by vmr, then redacted'",
                  "100 log text='vmr: redacted: identity,text'",
                  "100 input input='siren' on=1 (repeats)", "110 input input='siren' on=0"));
}

TEST(Redact, OfAnExtractKeepsThatItsTimeIsAnEstimate) {
  const Redacted redacted =
      RedactBytes(Extract(std::string(kCompleted) + "; its time is an estimate", "03 00 94 35 77",
                          Hdr1(110, "37")),
                  "gps");
  const Lines lines = Decoded(redacted.bytes);
  EXPECT_THAT(lines.lines,
              Contains("100 log text='State completed by vmr, then redacted; its time is an "
                       "estimate'"));
  EXPECT_EQ(lines.times.back().quality, records::TimeQuality::kEstimated);
}

TEST(Redact, KeepsWhyAnExtractHasAGap) {
  const Bytes gap = B("82 00 FF") + Hdr1(300, Log("vmr: gap, ticks 160 to 300: lost clusters"));
  const Redacted redacted =
      RedactBytes(Extract(kCompleted, "36", Hdr1(160, "56") + gap + Hdr1(310, "37")), "identity");
  EXPECT_THAT(redacted.lines, Contains("310 log text='vmr: gap, ticks 160 to 310: lost clusters'"));
}

// Recorded texts that look like those of the program are recorded texts.
TEST(Redact, BelievesNoRecordedText) {
  const std::string hostile[] = {"vmr: gap, ticks 10 to 20: J. Smith",
                                 "vmr: gap, ticks 7 to 8: lost clusters",
                                 "vmr: redacted: identity,gps",
                                 "State completed by vmr: J. Smith",
                                 "Range 1 to 2",
                                 std::string("\x80\x05\0\0\0\x01\x36", 7),
                                 std::string("\x82\0\xFF", 3),
                                 "vmr: J. Smith"};
  Bytes range;
  unsigned int tick = 110;
  for (const std::string& text : hostile) range = range + Hdr1(tick++, "36 " + Log(text));
  const Redacted redacted = RedactBytes(Extract(kCompleted, "36", range), "identity");
  EXPECT_EQ(redacted.bytes.find("Smith"), std::string::npos);
  EXPECT_EQ(redacted.bytes.find("Range 1 to 2"), std::string::npos);
  EXPECT_EQ(redacted.bytes.find("lost clusters"), std::string::npos);
  EXPECT_THAT(redacted.lines, Not(Contains(HasSubstr("gap"))));
  EXPECT_EQ(redacted.labels.size(), 1U);
  EXPECT_EQ(redacted.facts.taken_out[static_cast<std::size_t>(Sensitivity::kText)],
            std::size(hostile));
}

// Behind what was left out a recorded text may come to stand first.
TEST(Redact, LetsNoRecordedTextTakeALabelsPlace) {
  Bytes wrong = Hdr1(90, "36");
  wrong.back() ^= 1;
  const Redacted redacted =
      RedactBytes(wrong + Hdr1(100, Log("Range 1 to 2") + Log("State completed by vmr") + "36"),
                  "radar,text=keep");
  EXPECT_THAT(redacted.lines, Contains("100 input input='siren' on=1")) << "no state";
  EXPECT_THAT(redacted.labels, ElementsAre(StartsWith("- log"), StartsWith("100 log")));
}

TEST(Redact, OfALabelTakesNothingThatIsNoRange) {
  for (const char* label : {"Range 100 to 900 J. Smith", "Range J. Smith to 900",
                            "Range 100 to 99999999999", "Range to 1 to 2"}) {
    const Redacted redacted = RedactBytes(Hdr1(100, Log(label) + "36"), "identity");
    EXPECT_EQ(redacted.bytes.find(label), std::string::npos);
    EXPECT_THAT(redacted.lines, ElementsAre("100 input input='siren' on=1"));
  }
}

TEST(Redact, OfWhatWasRedactedBeforeKeepsThatItWas) {
  const Redacted once =
      RedactBytes(Extract(kCompleted, "05 02 4A 6F 36 E1 10", Hdr1(110, "37")), "identity");
  const Bytes packets(once.bytes.begin() + kMagicBytes, once.bytes.end());
  const Redacted twice = RedactBytes(packets, "temperature");
  EXPECT_THAT(twice.labels, ElementsAre("100 log text='vmr: redacted: identity,text'",
                                        "100 log text='vmr: redacted: text,temperature'"));
  EXPECT_THAT(Decoded(twice.bytes).lines,
              Contains("100 log text='State completed by vmr, then redacted'"));
}

TEST(Redact, OfNothingSaysThatItWasRedacted) {
  const Redacted redacted = RedactBytes({}, "identity");
  EXPECT_THAT(redacted.lines, IsEmpty());
  EXPECT_THAT(redacted.labels, ElementsAre("- log text='vmr: redacted: identity,text'"));
}

// ---- Places --------------------------------------------------------------------------

constexpr std::int32_t kDegree = 600000;

struct Told {
  unsigned int tick;
  std::int32_t latitude_tts;
  std::int32_t longitude_tts;
};

// The positions of a file by the program's decoder, and by adding up its items by hand.
class Positions final : public records::Sink {
 public:
  void OnRecord(const Record& record) override {
    if (record.kind->id != KindId::kPosition) return;
    EXPECT_EQ(record.position.quality, PositionQuality::kKnown);
    EXPECT_EQ(record.item[0], TAG_GPS_ABS) << "a way";
    told.push_back(
        {record.packet_tick, record.position.latitude_tts, record.position.longitude_tts});
  }
  std::vector<Told> told;
};

std::vector<Told> PositionsOf(const std::string& file) {
  Pieces source({{Bytes(file.begin() + kMagicBytes, file.end())}}, true);
  Positions positions;
  records::Decoder(source, positions).Run();
  return positions.told;
}

std::string HexOf(const std::string& bytes) {
  std::string hex;
  for (const char c : bytes) {
    constexpr char kDigits[] = "0123456789ABCDEF";
    const auto byte = static_cast<unsigned char>(c);
    hex += {kDigits[byte >> 4], kDigits[byte & 15], ' '};
  }
  return hex;
}
std::string Whole(std::int32_t latitude_tts, std::int32_t longitude_tts) {
  return HexOf(tool::PositionItem({latitude_tts, longitude_tts, PositionQuality::kKnown}));
}

// 500 ways of one tick each, from a place on.
Bytes Drive(std::int32_t latitude_tts, std::int32_t longitude_tts, int north, int east) {
  Bytes stream = Hdr1(1000, Whole(latitude_tts, longitude_tts) + "71 20");
  for (unsigned int n = 1; n <= 500; ++n) {
    const auto hex16 = [](int tts) {
      return HexOf({static_cast<char>(tts & 0xFF), static_cast<char>(tts >> 8 & 0xFF)});
    };
    stream =
        stream + Hdr1(1000 + n, "93 " + hex16(north) + hex16(-east) + (n % 50 == 0 ? "36" : ""));
  }
  return stream;
}

// Into all four quarters, across the equator, the zero meridian and the date line, near a pole.
TEST(Redact, OnAGridTellsMiddlesAloneWhereverOnEarth) {
  const struct {
    std::int32_t latitude, longitude;
    int north, east;
  } drives[] = {
      {42 * kDegree, -83 * kDegree, 40, -60},
      {-34 * kDegree, 151 * kDegree, -75, 20},
      {-23 * kDegree, -46 * kDegree, 60, 60},
      {48 * kDegree, 11 * kDegree, -60, 75},
      {5000, 5000, -60, -60},
      {-5000, -5000, 75, 75},
      {10 * kDegree, 180 * kDegree - 9000, 20, 75},
      {10 * kDegree, -180 * kDegree + 9000, 20, -75},
      {89 * kDegree + 560000, 0, 75, 2000},
  };
  for (const auto& drive : drives) {
    const Bytes stream = Drive(drive.latitude, drive.longitude, drive.north, drive.east);
    for (const char* const size : {"100m", "1km"}) {
      const PositionGrid grid(Of(std::string("gps=") + size).CellMetres());
      const Redacted redacted = RedactBytes(stream, std::string("gps=") + size);
      const std::vector<Told> told = PositionsOf(redacted.bytes);
      EXPECT_EQ(told.size(), redacted.facts.positions);
      EXPECT_GE(told.size(), 2U);
      for (std::size_t n = 0; n < told.size(); ++n) {
        const records::Position at{told[n].latitude_tts, told[n].longitude_tts,
                                   PositionQuality::kKnown};
        const records::Position middle = grid.MiddleOf(at);
        EXPECT_EQ(middle.latitude_tts, at.latitude_tts);
        EXPECT_EQ(middle.longitude_tts, at.longitude_tts);
        EXPECT_EQ(told[n].tick % grid.TellsEveryTicks(), 0U);
        // It is the cell in which the vehicle was at that tick.
        const int ways = static_cast<int>(told[n].tick) - 1000;
        std::int32_t east = drive.longitude + ways * drive.east;
        if (east > 180 * kDegree) east -= 360 * kDegree;
        if (east < -180 * kDegree) east += 360 * kDegree;
        const records::Position there =
            grid.MiddleOf({drive.latitude + ways * drive.north, east, PositionQuality::kKnown});
        if (std::abs(drive.latitude + ways * drive.north) > 90 * kDegree) continue;
        EXPECT_EQ(there.latitude_tts, at.latitude_tts);
        EXPECT_EQ(there.longitude_tts, at.longitude_tts);
        EXPECT_TRUE(n == 0 || told[n - 1].latitude_tts != at.latitude_tts ||
                    told[n - 1].longitude_tts != at.longitude_tts);
      }
      EXPECT_THAT(redacted.lines, Not(Contains(HasSubstr(" speed "))));
      EXPECT_THAT(redacted.lines, Contains(HasSubstr(" input ")));
    }
  }
}

// The same drive with each position elsewhere in its cell: nobody can tell which one it was.
TEST(Redact, OnAGridMakesTheSameFileOfEveryDriveThroughTheSameCells) {
  const PositionGrid grid(1000);
  std::mt19937 random(3);
  Bytes one, other;
  for (unsigned int n = 0; n < 400; ++n) {
    const auto drifted = [&] {
      return records::Position{-34 * kDegree + static_cast<int>(n * 60 + random() % 400),
                               -71 * kDegree - static_cast<int>(n * 60 + random() % 400),
                               PositionQuality::kKnown};
    };
    const records::Position here = drifted();
    records::Position there = drifted();
    const records::Position middle = grid.MiddleOf(here);
    while (grid.MiddleOf(there).latitude_tts != middle.latitude_tts ||
           grid.MiddleOf(there).longitude_tts != middle.longitude_tts)
      there = drifted();
    const auto packet = [n](const records::Position& at) {
      return Hdr1(1000 + n * 3, Whole(at.latitude_tts, at.longitude_tts) + "56");
    };
    one = one + packet(here);
    other = other + packet(there);
  }
  ASSERT_NE(one, other);
  const Redacted redacted = RedactBytes(one, "gps=1km");
  EXPECT_EQ(redacted.bytes, RedactBytes(other, "gps=1km").bytes);
  EXPECT_GT(redacted.facts.positions, 2U);
}

TEST(Redact, OnAGridTellsTheStateOfAnExtractAtOnceAndTheRestAtItsTicks) {
  const std::int32_t latitude = -34 * kDegree + 123, longitude = 151 * kDegree + 4567;
  const Bytes stream =
      Extract(kCompleted, Whole(latitude, longitude),
              Hdr1(110, "92 10 F0") + Hdr1(115, Whole(latitude + 9000, longitude)) +
                  Hdr1(190, "56") + Hdr1(310, "56") + Hdr1(410, "56"));
  const std::vector<Told> told = PositionsOf(RedactBytes(stream, "gps=1km").bytes);
  ASSERT_EQ(told.size(), 2U);
  EXPECT_EQ(told[0].tick, 100U);
  EXPECT_EQ(told[1].tick, 400U) << "200 is too soon behind the start to hide when it crossed";
  const records::Position middle =
      PositionGrid(1000).MiddleOf({latitude, longitude, PositionQuality::kKnown});
  EXPECT_EQ(told[0].latitude_tts, middle.latitude_tts);
  EXPECT_EQ(told[0].longitude_tts, middle.longitude_tts);
}

// A unit writes its state in an order that follows from the lengths of texts.
TEST(Redact, ItemsOfATickAreInAnOrderThatTellsNothing) {
  const Bytes one = Hdr1(100, "36 3A 56 05 03 41 42 43");
  const Bytes other = Hdr1(100, "56 36 05 02 41 42 3A");
  EXPECT_EQ(RedactBytes(one, "identity").bytes, RedactBytes(other, "identity").bytes);
  // What happened one after the other stays so, and so does what the clock was set between.
  const Bytes on_off = Hdr1(100, "35 36"), off_on = Hdr1(100, "36 35");
  EXPECT_NE(RedactBytes(on_off, "identity").bytes, RedactBytes(off_on, "identity").bytes);
  const Bytes before = Hdr1(100, "56 03 00 94 35 77"), behind = Hdr1(100, "03 00 94 35 77 56");
  EXPECT_NE(RedactBytes(before, "identity").bytes, RedactBytes(behind, "identity").bytes);
}

TEST(Redact, DamagedPlacesBetweenWhatIsTakenOutAreOneGap) {
  const auto wrong = [](unsigned int tick) {
    Bytes packet = Hdr1(tick, "56");
    packet.back() ^= 1;
    return packet;
  };
  const std::string name = "05 03 41 42 43";
  const Bytes one = Hdr1(100, "36") + wrong(110) + Hdr1(150, "3A");
  const Bytes three = Hdr1(100, "36") + wrong(110) + Hdr1(115, name) + wrong(120) +
                      Hdr1(125, name) + wrong(130) + Hdr1(150, "3A");
  EXPECT_EQ(RedactBytes(one, "identity").bytes, RedactBytes(three, "identity").bytes);
}

// A unit's own extract: whether its positions are true nobody knows.
TEST(Redact, OnAGridTellsNoPositionThatIsNotVerified) {
  const Bytes stream = Hdr1(100, Log("Range 100 to 900") + Whole(25200123, -49800456)) +
                       Hdr1(110, "92 10 10") + Hdr1(500, "56");
  const Redacted redacted = RedactBytes(stream, "gps=1km");
  EXPECT_THAT(PositionsOf(redacted.bytes), IsEmpty());
  EXPECT_THAT(redacted.lines, Not(Contains(HasSubstr("position"))));
}

TEST(Redact, OnAGridTellsNoWayWhoseBeginningIsLost) {
  const Redacted redacted = RedactBytes(
      Hdr1(10, Whole(5 * kDegree, 5 * kDegree)) + B("EE") + Hdr1(20, "92 10 10") + Hdr1(900, "56"),
      "gps=100m");
  const std::vector<Told> told = PositionsOf(redacted.bytes);
  EXPECT_TRUE(told.empty());
  EXPECT_FALSE(HasBytes(redacted.bytes, "92 10 10"));
}

TEST(Redact, WithoutAGridLeavesNoPositionAtAll) {
  const Redacted redacted = RedactBytes(Drive(-34 * kDegree, 151 * kDegree, 75, 75), "gps");
  EXPECT_THAT(PositionsOf(redacted.bytes), IsEmpty());
  EXPECT_THAT(redacted.lines, Each(HasSubstr("input='siren'")));
  EXPECT_EQ(redacted.facts.taken_out[static_cast<std::size_t>(Sensitivity::kGps)], 502U);
}

// ---- Random sessions -------------------------------------------------------------------

// What a random host records of every family, as a stream of packets.
Bytes RandomSession(std::uint32_t seed) {
  constexpr int kRoom = 1 << 20;
  const tool::QuietLog quiet;  // random hosts report what no unit does
  std::vector<unsigned char> bytes(kRoom);
  DataStoreFlatMessage store(bytes.data(), kRoom, true);
  EXPECT_NE(store.Open(), 0);
  RandomHost host(store, {true, seed % 2 == 0, true, true}, seed);
  host.Start();
  host.Report(150);
  host.Finish();
  bytes.resize(static_cast<std::size_t>(store.BytesWritten()));
  store.Close();
  host::StartSystemTickAt(1);
  return {bytes.begin() + kMagicBytes, bytes.end()};
}

// The same recording, but for what is to be taken out: that is said otherwise or not at all, and
// positions on a grid are others in their cells.
class OtherRecording final : public records::Sink {
 public:
  OtherRecording(const Redaction& redaction, std::uint32_t seed)
      : redaction_(redaction), random_(seed) {}

  void OnPacket(const records::PacketFound& packet) override {
    if (packet.bytes[0] == HEADER_CONT) return;
    End();
    tick_ = packet.tick;
  }
  void OnRecord(const Record& record) override {
    if (record.kind->id == KindId::kTickAdjust) return;
    std::string item(reinterpret_cast<const char*>(record.item), record.item_bytes);
    if (redaction_.TakenOutFor(*record.kind) != Sensitivity::kNone) item = Other(record, item);
    if (item.empty()) return;
    if (record.adjusted_by != 0)
      item = std::string{TAG_TICK_ADJUST, static_cast<char>(record.adjusted_by)} + item;
    items_.push_back(item);
  }
  void OnNewRun(int /*run*/, unsigned int /*tick*/) override { ADD_FAILURE() << "a new run"; }
  Bytes Done() {
    End();
    return {bytes_.begin(), bytes_.end()};
  }

 private:
  void End() {
    if (tick_ != kNoTick) bytes_ += tool::PacketsOf(tick_, items_);
    items_.clear();
  }
  std::string Other(const Record& record, std::string item) {
    if (record.kind->id == KindId::kPosition && redaction_.CellMetres() > 0)
      return record.position.quality == PositionQuality::kKnown ? Elsewhere(record.position) : "";
    if (!redaction_.TakesOnlyTextOf(*record.kind) && random_() % 3 == 0) return "";
    const records::FieldPlace* text = nullptr;
    for (const records::FieldPlace& place : record.shape->fields)
      if (place.order == records::Order::kText) text = &place;
    const std::size_t head = text != nullptr ? text->offset : 1;
    if (text != nullptr) {
      item.resize(head + random_() % 60);
      item[head - 1] = static_cast<char>(item.size() - head);
    }
    const std::size_t from = text != nullptr ? head : record.kind->id == KindId::kPosition ? 10 : 1;
    for (std::size_t n = from; n < item.size(); ++n) item[n] = static_cast<char>(random_());
    return item;
  }
  std::string Elsewhere(const records::Position& position) {
    const PositionGrid grid(redaction_.CellMetres());
    const records::Position middle = grid.MiddleOf(position);
    records::Position other = position;
    do {
      other.latitude_tts = middle.latitude_tts + static_cast<int>(random_() % 6000) - 3000;
      other.longitude_tts = middle.longitude_tts + static_cast<int>(random_() % 6000) - 3000;
    } while (grid.MiddleOf(other).latitude_tts != middle.latitude_tts ||
             grid.MiddleOf(other).longitude_tts != middle.longitude_tts);
    return tool::PositionItem(other);
  }

  const Redaction& redaction_;
  std::mt19937 random_;
  unsigned int tick_ = kNoTick;
  std::vector<std::string> items_;
  std::string bytes_;
};

std::set<std::string> KindsIn(const std::string& file) {
  class Kinds final : public records::Sink {
   public:
    void OnRecord(const Record& record) override { kinds.insert(record.kind->name); }
    std::set<std::string> kinds;
  } found;
  Pieces source({{Bytes(file.begin() + kMagicBytes, file.end())}}, true);
  records::Decoder(source, found).Run();
  return found.kinds;
}

// The strongest that can be said of a redaction: what was taken out makes no difference to it.
TEST(Redact, OfTwoRecordingsThatDifferInWhatIsTakenOutMakesTheSameFile) {
  const std::string lists[] = {
      "identity",
      "gps=1km",
      "gps=100m,identity",
      "gps",
      "radar,text=keep",
      "speed,audio",
      "inputs",
      "temperature",
      "streams",
      "cameras,text=keep",
      "identity,gps=1km,radar,speed,audio,cameras,streams,inputs,temperature"};
  for (std::uint32_t seed = 1; seed <= 6; ++seed) {
    const Bytes session = RandomSession(seed);
    for (const std::string& list : lists) {
      SCOPED_TRACE(list + ", seed " + std::to_string(seed));
      const Redaction redaction = Of(list);
      Pieces source({{session}}, true);
      OtherRecording other(redaction, seed);
      records::Decoder(source, other).Run();
      const Bytes other_session = other.Done();
      ASSERT_NE(session, other_session);
      const Redacted redacted = RedactBytes(session, list);
      EXPECT_TRUE(redacted.bytes == RedactBytes(other_session, list).bytes);
      for (const std::string& name : KindsIn(redacted.bytes)) {
        const records::KindRow& kind = *records::FindKind(name.c_str());
        const bool is_own =
            kind.id == KindId::kLog || (kind.id == KindId::kPosition && redaction.CellMetres() > 0);
        EXPECT_TRUE(is_own || redaction.TakesOnlyTextOf(kind) ||
                    redaction.TakenOutFor(kind) == Sensitivity::kNone)
            << name;
      }
    }
  }
}

}  // namespace
}  // namespace vmr::test
