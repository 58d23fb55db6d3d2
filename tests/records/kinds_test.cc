// The tables of kinds and shapes, and each field where it lies in its item.
#include "records/kinds.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "store/tag_catalogue.h"
#include "tests/records/decoded.h"

namespace vmr::records {
namespace {

using test::DecodedLines;
using test::Hdr1;
using ::testing::ElementsAre;

TEST(Kinds, StandInTheOrderOfTheirNumbers) {
  std::size_t n = 0;
  for (const KindRow& kind : Kinds()) EXPECT_EQ(static_cast<std::size_t>(kind.id), n++);
  EXPECT_EQ(n, kKindCount);
}

TEST(Kinds, HaveNamesOfTheirOwn) {
  std::set<std::string> names;
  for (const KindRow& kind : Kinds()) {
    EXPECT_TRUE(names.insert(kind.name).second) << kind.name;
    EXPECT_EQ(FindKind(kind.name), &kind);
    EXPECT_LE(kind.key_fields, kind.field_count);
    std::set<std::string> fields;
    for (std::size_t i = 0; i < kind.field_count; ++i)
      EXPECT_TRUE(fields.insert(kind.fields[i].name).second) << kind.name;
  }
  EXPECT_EQ(FindKind("no such kind"), nullptr);
}

TEST(Kinds, GiveAwayWhatTheirFieldsDo) {
  EXPECT_TRUE(GivesAway(KindOf(KindId::kOfficer), Sensitivity::kIdentity));
  EXPECT_FALSE(GivesAway(KindOf(KindId::kOfficer), Sensitivity::kGps));
  // A way can be reckoned from speeds.
  EXPECT_TRUE(GivesAway(KindOf(KindId::kSpeed), Sensitivity::kSpeed));
  EXPECT_TRUE(GivesAway(KindOf(KindId::kSpeed), Sensitivity::kGps));
  EXPECT_FALSE(GivesAway(KindOf(KindId::kSpeedDevice), Sensitivity::kGps));
}

// What people have written into a recording is never without a class.
TEST(Kinds, OfTextsAllGiveSomethingAway) {
  for (const KindRow& kind : Kinds()) {
    for (std::size_t i = 0; i < kind.field_count; ++i) {
      const FieldType type = kind.fields[i].type;
      if (type != FieldType::kText && type != FieldType::kMac && type != FieldType::kAddress)
        continue;
      EXPECT_TRUE(kind.sensitivity != Sensitivity::kNone ||
                  kind.fields[i].sensitivity != Sensitivity::kNone)
          << kind.name;
    }
  }
}

TEST(Sensitivities, StandInTheirOrderAndHaveNamesOfTheirOwn) {
  std::size_t n = 1;  // behind kNone
  std::set<std::string> names;
  for (const SensitivityRow& row : Sensitivities()) {
    EXPECT_EQ(static_cast<std::size_t>(row.id), n++);
    EXPECT_TRUE(names.insert(row.name).second) << row.name;
    EXPECT_STREQ(NameOf(row.id), row.name);
  }
  EXPECT_EQ(n, kSensitivityCount);
  EXPECT_STREQ(NameOf(Sensitivity::kNone), "");
}

TEST(Shapes, AreThereForEveryTagThatTheStoreKnows) {
  for (const TagRow& row : Tags()) EXPECT_NE(FindShape(row.tag), nullptr) << row.name;
}

TEST(Shapes, AreThereForNoOtherTag) {
  for (unsigned int tag = 0; tag < 256; ++tag) {
    const auto byte = static_cast<unsigned char>(tag);
    EXPECT_TRUE(FindShape(byte) == nullptr || FindTag(byte) != nullptr) << tag;
  }
}

TEST(Shapes, LookAtNoByteBehindTheirItem) {
  constexpr std::size_t kBytesOf[] = {0, 1, 2, 4, 2, 4, 1, 0, 6, 1};
  for (const TagRow& row : Tags()) {
    const Shape& shape = *FindShape(row.tag);
    for (std::size_t i = 0; i < KindOf(shape.kind).field_count; ++i) {
      const FieldPlace& place = shape.fields[i];
      const std::size_t bytes = kBytesOf[static_cast<std::size_t>(place.order)];
      EXPECT_LE(place.offset + bytes, row.size) << row.name;
      EXPECT_TRUE(place.order != Order::kText || place.offset == row.size) << row.name;
    }
  }
}

struct OneItem {
  const char* bytes;
  const char* line;
};

class Items : public ::testing::TestWithParam<OneItem> {};

TEST_P(Items, SayTheirFields) {
  EXPECT_THAT(DecodedLines(Hdr1(7, GetParam().bytes)),
              ElementsAre(std::string("7 ") + GetParam().line));
}

INSTANTIATE_TEST_SUITE_P(
    Each, Items,
    ::testing::Values(
        OneItem{"02 00 00 11 22 AA BB CC", "mac mac=001122aabbcc"},
        OneItem{"03 00 00 00 80", "time clock=-2147483648"},
        OneItem{"04 03 43 53 54", "time_zone_name text='CST'"},
        OneItem{"05 02 4A 6F", "officer text='Jo'"}, OneItem{"06 00", "department text=''"},
        OneItem{"07 02 43 37", "vehicle text='C7'"}, OneItem{"08 01 39", "badge text='9'"},
        OneItem{"09 01 02 31 2E", "version component='Mainboard' text='1.'"},
        OneItem{"09 0A 00", "version component=10 text=''"},
        OneItem{"10 01 53", "serial_number text='S'"},
        OneItem{"11 03 55 54 43", "time_zone text='UTC'"},
        OneItem{"18 26 01", "policy policy='record gps coords' value=1"},
        OneItem{"18 46 2C", "policy policy=70 value=44"},
        OneItem{"19 42 2C 01", "policy policy='pre event time' value=300"},
        OneItem{"1A", "configuration_end"}, OneItem{"20 01 78", "log text='x'"},
        OneItem{"34", "input input='emergency lights' on=1"},
        OneItem{"37", "input input='siren' on=0"},
        OneItem{"3C", "input input='auxiliary input' on=1"},
        OneItem{"47", "input input='recording' on=0"}, OneItem{"4A", "input input='docked' on=1"},
        OneItem{"4B", "input input='docked' on=0"},
        OneItem{"50 01 04 52 65 61 72", "camera_name port=1 text='Rear'"},
        OneItem{"51 82", "camera port=8 state='background'"},
        OneItem{"51 13", "camera port=1 state=3"},
        OneItem{"54 24 40", "stream_format stream=2 format='720p' camera='split screen'"},
        OneItem{"55 31", "stream stream=3 state='on'"}, OneItem{"56", "bookmark"},
        OneItem{"58 00 00 00 03 24 24 43", "microphone_name stream_number=0 position=2 text='$$C'"},
        OneItem{"59 01 01 01", "microphone stream_number=1 position=0 what='present' value=1"},
        OneItem{"59 04 02 00", "microphone stream_number=4 position=? what='on' value=0"},
        OneItem{"59 02 03 00", "microphone stream_number=2 position=1 what=3 value=0"},
        OneItem{"60 01 61 02 47 31",
                "radar_device radar=1 units='as set on radar' type='generic' text='G1'"}));

INSTANTIATE_TEST_SUITE_P(
    More, Items,
    ::testing::Values(
        OneItem{"61 00 3D 40 3E", "radar radar=1 target=62 lock=61 fastest=64 direction=0"},
        OneItem{"67 FE FF FF FF", "radar radar=7 target=? lock=? fastest=? direction=1"},
        OneItem{"61 2A 01 02 03", "radar radar=1 target=259 lock=257 fastest=258 direction=0"},
        OneItem{"62 00 FE FC 05", "radar radar=2 target=5 lock='BLANK' fastest='TST' direction=0"},
        OneItem{"68 3D", "radar radar=1 target=61 lock=? fastest=? direction=?"},
        OneItem{"6F 21", "radar_state radar=1 connected=1"},
        OneItem{"6F 41", "radar_state radar=1 connected=0"},
        OneItem{"70 01 41 00", "speed_device device=1 units='mph' type='gps' text=''"},
        OneItem{"70 02 80 00", "speed_device device=2 units=4 type='disconnected' text=''"},
        OneItem{"71 7F", "speed device=1 speed=127"},
        OneItem{"78 80 00", "speed device=1 speed=128"},
        OneItem{"7E FF FF", "speed device=7 speed=65535"},
        OneItem{"79 FC 01", "speed device=2 speed=508"},
        OneItem{"79 FF 00", "speed device=2 speed='BAD'"},
        OneItem{"90 01 02 47 50", "gps_receiver text='GP'"},
        OneItem{"94 01", "gps_state available=1"}, OneItem{"94 02", "gps_state available=0"},
        OneItem{"B0 15 1F 90 C0 A8 00 01 03",
                "live_stream stream=1 camera=3 enabled=1 quality='high' address=3232235521 "
                "port=8080"},
        OneItem{"C0 01 02", "button button='record' action='released'"},
        OneItem{"C0 03 03", "button button=3 action=3"}, OneItem{"D1 64", "voltage percent=100"},
        OneItem{"E0 03 03 63 70 75", "temperature_sensor sensor='cpu' text='cpu'"},
        OneItem{"E1 FF", "temperature sensor='inlet' temperature=-1"},
        OneItem{"E4 80", "temperature sensor='cpu' temperature=-128"},
        OneItem{"F0", "end_of_stream"}, OneItem{"F1 01 74", "test text='t'"}));

}  // namespace
}  // namespace vmr::records
