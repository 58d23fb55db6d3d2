// The tag dictionary as it is written, and the catalogue that it comes from.
#include <gtest/gtest.h>

#include <map>
#include <set>

#include "tests/support/store_fixture.h"

namespace vmr::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// ---- The dictionary packet ---------------------------------------------------

class WithDictionary : public RecordingStore {
 public:
  Bytes Packet() const { return Bytes(DictionaryBytes(), DictionaryBytes() + DictionaryLength()); }
};

const Bytes kDictionaryPacket =
    B("83 46 "
      // mac, time, time zone
      "02 08 03 05 11 82 "
      // officer, department, vehicle, badgeId, version, serial number
      "05 82 06 82 07 82 08 82 09 83 10 82 "
      // Policy8, end of policy list, log, TICK ADJUST
      "18 03 1A 01 20 82 21 02 "
      // inputs 0x34 .. 0x3F, then 0x44 .. 0x47 in front of 0x40 .. 0x43
      "34 01 35 01 36 01 37 01 38 01 39 01 3A 01 3B 01 3C 01 3D 01 3E 01 3F 01 "
      "44 01 45 01 46 01 47 01 40 01 41 01 42 01 43 01 "
      // MicDesc, MicData, VideoStreamFormat, VideoStreamState
      "58 85 59 04 54 03 55 02 "
      // RadarDesc, RadarData, RadarTarget, RadarState
      "60 84 61 05 68 02 6F 02 "
      // SpeedDesc and the speeds
      "70 84 71 02 72 02 73 02 74 02 75 02 76 02 "
      "78 03 79 03 7A 03 7B 03 7C 03 7D 03 "
      // GpsDesc, GpsAbs, GpsRel8, GpsRel16, GpsState
      "90 83 91 0A 92 03 93 05 94 02 "
      // TempDesc and the temperatures
      "E0 83 E1 02 E2 02 E3 02 E4 02 "
      // EOS, CameraDesc, CameraState, test, Bookmark, LvsState
      "F0 01 50 83 51 02 F1 82 56 01 B0 09 "
      // closing byte
      "00");

TEST(Dictionary, PacketIsWrittenToTheLastByte) {
  WithDictionary store;
  store.PrepareDictionary();
  EXPECT_EQ(store.Packet(), kDictionaryPacket);
}

TEST(Dictionary, PacketIs143BytesLongAndBeginsAndEndsAsReadersKnowIt) {
  WithDictionary store;
  store.PrepareDictionary();
  const Bytes packet = store.Packet();
  ASSERT_EQ(packet.size(), 143u);
  EXPECT_EQ(Bytes(packet.begin(), packet.begin() + 8), B("83 46 02 08 03 05 11 82"));
  EXPECT_EQ(Bytes(packet.end() - 3, packet.end()), B("B0 09 00"));
}

TEST(Dictionary, PreparingTwiceGivesTheSamePacket) {
  WithDictionary store;
  store.PrepareDictionary();
  store.PrepareDictionary();
  EXPECT_EQ(store.Packet(), kDictionaryPacket);
}

TEST(Dictionary, IsEmptyInAStoreThatWritesNoHeader) {
  const WithDictionary store;
  EXPECT_THAT(store.Packet(), IsEmpty());
}

TEST(Dictionary, TheGapsOfTheFormatStayOpen) {
  std::set<int> listed;
  for (std::size_t i = 2; i + 1 < kDictionaryPacket.size(); i += 2)
    listed.insert(kDictionaryPacket[i]);
  EXPECT_EQ(listed.size(), 70u);
  const Bytes gaps = B("4A 4B 62 63 64 65 66 67 69 6A 6B 6C 6D 6E 77 7E C0 D1 19 04");
  for (const unsigned char tag : gaps) {
    EXPECT_EQ(listed.count(tag), 0u) << int{tag};
    const TagRow* const row = FindTag(tag);
    EXPECT_FALSE(row != nullptr && row->listed) << int{tag};
  }
}

// ---- AddTag ------------------------------------------------------------------

TEST(AddTag, AppendsTheTagAndItsDescriptor) {
  DICTIONARY_T dictionary;
  DataStore::AddTag(dictionary, TAG_MAC, false, 8);
  DataStore::AddTag(dictionary, TAG_MIC_DESC, true, 5);
  EXPECT_EQ(dictionary.header, 0x83);
  EXPECT_EQ(dictionary.count, 2);
  EXPECT_EQ(Bytes(dictionary.entries, dictionary.entries + 5), B("02 08 58 85 00"));
}

TEST(AddTag, KeepsTheLowSixBitsOfTheSize) {
  DICTIONARY_T dictionary;
  DataStore::AddTag(dictionary, TAG_MAC, false, 63);
  DataStore::AddTag(dictionary, TAG_MAC, false, 64);
  DataStore::AddTag(dictionary, TAG_MAC, true, 0xFFFFFFFF);
  EXPECT_EQ(Bytes(dictionary.entries, dictionary.entries + 6), B("02 3F 02 00 02 BF"));
}

TEST(AddTag, A256thCallLeavesTheDictionaryUnchanged) {
  CapturedLog log;
  DICTIONARY_T dictionary;
  for (int i = 0; i < 255; ++i) DataStore::AddTag(dictionary, TAG_EOS, false, 1);
  EXPECT_EQ(dictionary.count, 255);
  EXPECT_THAT(log.Entries(), IsEmpty());
  const DICTIONARY_T full = dictionary;
  DataStore::AddTag(dictionary, TAG_MAC, true, 8);
  EXPECT_EQ(memcmp(&dictionary, &full, sizeof(full)), 0);
  EXPECT_THAT(log.Entries(), ElementsAre(LogEntry{kLogError, "DataStore.cc",
                                                  "Adding more tags than allocated for - \xFF"}));
}

// ---- The catalogue -----------------------------------------------------------

struct Kind {
  const char* name;
  std::size_t size;  // of the fixed head when text follows
  bool text = false;
};

// Every tag of the format, written out apart from the library's table.
std::map<int, Kind> WholeFormat() {
  std::map<int, Kind> kinds = {
      {0x02, {"mac", 8}},
      {0x03, {"time", 5}},
      {0x04, {"time zone name", 2, true}},
      {0x05, {"officer", 2, true}},
      {0x06, {"department", 2, true}},
      {0x07, {"vehicle", 2, true}},
      {0x08, {"badgeId", 2, true}},
      {0x09, {"version", 3, true}},
      {0x10, {"system serial num", 2, true}},
      {0x11, {"time zone", 2, true}},
      {0x18, {"Policy8", 3}},
      {0x19, {"TAG_POLOICY16", 4}},
      {0x1A, {"end", 1}},
      {0x20, {"log", 2, true}},
      {0x21, {"TICK ADJUST", 2}},
      {0x34, {"emergency lights", 1}},
      {0x35, {"emergency lights", 1}},
      {0x36, {"siren", 1}},
      {0x37, {"siren", 1}},
      {0x38, {"brake", 1}},
      {0x39, {"brake", 1}},
      {0x3A, {"covert", 1}},
      {0x3B, {"covert", 1}},
      {0x3C, {"auxillary input", 1}},
      {0x3D, {"auxillary input", 1}},
      {0x3E, {"door", 1}},
      {0x3F, {"door", 1}},
      {0x40, {"system power", 1}},
      {0x41, {"system power", 1}},
      {0x42, {"accident detect", 1}},
      {0x43, {"accident detect", 1}},
      {0x44, {"ignition", 1}},
      {0x45, {"ignition", 1}},
      {0x46, {"recording", 1}},
      {0x47, {"recording", 1}},
      {0x4A, {"docked", 1}},
      {0x4B, {"docked", 1}},
      {0x50, {"CameraDesc", 3, true}},
      {0x51, {"CameraState", 2}},
      {0x54, {"VideoStreamFormat", 3}},
      {0x55, {"VideoStreamState", 2}},
      {0x56, {"Bookmark", 1}},
      {0x58, {"MicDesc", 5, true}},
      {0x59, {"MicData", 4}},
      {0x60, {"RadarDesc", 4, true}},
      {0x6F, {"RadarState", 2}},
      {0x70, {"SpeedDesc", 4, true}},
      {0x90, {"GpsDesc", 3, true}},
      {0x91, {"GpsAbs", 10}},
      {0x92, {"GpsRel8", 3}},
      {0x93, {"GpsRel16", 5}},
      {0x94, {"GpsState", 2}},
      {0xB0, {"LvsState", 9}},
      {0xC0, {"Button", 3}},
      {0xD1, {"VoltPercent", 2}},
      {0xE0, {"TempDesc", 3, true}},
      {0xE1, {"Temp", 2}},
      {0xE2, {"Temp", 2}},
      {0xE3, {"Temp", 2}},
      {0xE4, {"Temp", 2}},
      {0xF0, {"EOS", 1}},
      {0xF1, {"test", 2, true}},
  };
  for (int id = 1; id <= 7; ++id) {
    kinds[0x60 + id] = {"RadarData", 5};
    kinds[0x67 + id] = {"RadarTarget", 2};
    kinds[0x70 + id] = {"speed", 2};
    kinds[0x77 + id] = {"speed", 3};
  }
  return kinds;
}

struct TagRange {
  int first;
  int last;
};
constexpr TagRange kIllegalTags[] = {
    {0x00, 0x01}, {0x0A, 0x0F}, {0x12, 0x17}, {0x1B, 0x1F}, {0x22, 0x33}, {0x48, 0x49},
    {0x4C, 0x4F}, {0x52, 0x53}, {0x57, 0x57}, {0x5A, 0x5F}, {0x7F, 0x8F}, {0x95, 0xAF},
    {0xB1, 0xBF}, {0xC1, 0xD0}, {0xD2, 0xDF}, {0xE5, 0xEF}, {0xF2, 0xFF}};

TEST(TagCatalogue, TheFormatAndTheIllegalTagsTogetherAreAllNumbers) {
  std::set<int> numbers;
  for (const auto& [tag, kind] : WholeFormat()) numbers.insert(tag);
  EXPECT_EQ(numbers.size(), 90u);
  for (const TagRange& range : kIllegalTags)
    for (int tag = range.first; tag <= range.last; ++tag)
      EXPECT_TRUE(numbers.insert(tag).second) << tag;
  EXPECT_EQ(numbers.size(), 256u);
}

TEST(TagCatalogue, TagsAreUnique) {
  std::set<int> seen;
  for (const TagRow& row : Tags()) EXPECT_TRUE(seen.insert(row.tag).second) << int{row.tag};
}

TEST(TagCatalogue, EveryRowIsTheFormats) {
  const std::map<int, Kind> format = WholeFormat();
  for (const TagRow& row : Tags()) {
    SCOPED_TRACE(int{row.tag});
    const auto kind = format.find(row.tag);
    ASSERT_NE(kind, format.end());
    EXPECT_STREQ(row.name, kind->second.name);
    EXPECT_EQ(row.size, kind->second.size);
    EXPECT_EQ(row.variable, kind->second.text);
  }
}

TEST(TagCatalogue, EveryDictionaryEntryIsARowAndEveryListedRowAnEntry) {
  std::map<int, int> descriptors;
  for (std::size_t i = 2; i + 1 < kDictionaryPacket.size(); i += 2)
    descriptors[kDictionaryPacket[i]] = kDictionaryPacket[i + 1];
  std::size_t listed = 0;
  for (const TagRow& row : Tags()) {
    SCOPED_TRACE(int{row.tag});
    EXPECT_EQ(row.listed, descriptors.count(row.tag) == 1);
    if (!row.listed) continue;
    ++listed;
    EXPECT_EQ(descriptors[row.tag], (row.variable ? 0x80 : 0x00) | row.size);
  }
  EXPECT_EQ(listed, descriptors.size());
}

TEST(TagCatalogue, EveryIllegalTagIsIllegal) {
  for (const TagRange& range : kIllegalTags)
    for (int tag = range.first; tag <= range.last; ++tag)
      EXPECT_EQ(FindTag(static_cast<unsigned char>(tag)), nullptr) << tag;
  const Bytes item(300, 0);
  EXPECT_EQ(ItemLength(nullptr, item.data(), item.size()), 0u);
}

TEST(TagCatalogue, OneTagIsWrittenAndDecodedByNobody) {
  EXPECT_EQ(TAG_TIME_ZONE_NAME, 0x04);
  for (const TagRow& row : Tags()) EXPECT_EQ(row.decoder == nullptr, row.tag == 0x04) << row.name;
}

TEST(TagCatalogue, LooksUpEveryRowByItsTag) {
  for (const TagRow& row : Tags()) EXPECT_EQ(FindTag(row.tag), &row);
}

TEST(TagCatalogue, EveryTagOfTheFormatHasARow) {
  for (const auto& [tag, kind] : WholeFormat())
    EXPECT_NE(FindTag(static_cast<unsigned char>(tag)), nullptr) << tag;
}

TEST(TagCatalogue, ReadingsOfDevicesThatTheDictionaryDoesNotListAreDecoded) {
  for (const unsigned char tag : B("62 63 64 65 66 67 69 6A 6B 6C 6D 6E 77 7E 19")) {
    SCOPED_TRACE(int{tag});
    const TagRow* const row = FindTag(tag);
    ASSERT_NE(row, nullptr);
    EXPECT_FALSE(row->listed);
    EXPECT_NE(row->decoder, nullptr);
  }
}

// ---- Item lengths ------------------------------------------------------------

Bytes ItemOf(const TagRow& row, unsigned char text_length) {
  Bytes item(row.size, 0x00);
  item[0] = row.tag;
  if (!row.variable) return item;
  item[row.size - 1u] = text_length;
  return item + Bytes(text_length, 'x');
}

TEST(ItemLength, IsTheHeadAndTheTextItCounts) {
  for (const TagRow& row : Tags())
    for (const unsigned char text_length : B("00 01 07 FF")) {
      SCOPED_TRACE(int{row.tag});
      const Bytes item = ItemOf(row, text_length);
      EXPECT_EQ(ItemLength(&row, item.data(), item.size()), item.size());
      EXPECT_EQ(ItemLength(&row, item.data(), item.size() + 1), item.size());
    }
}

TEST(ItemLength, AnItemThatDoesNotEndWithinReachHasNone) {
  for (const TagRow& row : Tags()) {
    SCOPED_TRACE(int{row.tag});
    const Bytes whole = ItemOf(row, 9);
    for (std::size_t available = 1; available < whole.size(); ++available) {
      // A copy of exactly what may be looked at, so that a sanitizer sees more.
      const Bytes cut(whole.begin(), whole.begin() + static_cast<long>(available));
      EXPECT_EQ(ItemLength(&row, cut.data(), cut.size()), 0u) << available;
    }
  }
}

// ---- The items of the stream itself ------------------------------------------

class StreamItems : public StoreTest {};

TEST_F(StreamItems, TickAdjustIsShownAndLeavesTheTickAlone) {
  store.InitCurrentSystemTick(500);
  EXPECT_EQ(View(B("21 C8")), "[Tag=TICK ADJUST, TagNo=0x21-200]");
  EXPECT_EQ(store.GetCurrentSystemTick(), 500u);
}

TEST_F(StreamItems, EndOfStreamIsShownAndRemembered) {
  EXPECT_FALSE(result.end_of_stream_seen);
  EXPECT_EQ(View(B("F0")), "[Tag=EOS, TagNo=0xF0]");
  EXPECT_TRUE(result.end_of_stream_seen);
}

TEST_F(StreamItems, NothingIsPrintedOutsideTheViewer) {
  for (const unsigned int mode : {0u, kViewDumps}) {
    store.SetViewMode(mode);
    EXPECT_EQ(Printed([&] {
                Decode(B("21 C8"));
                Decode(B("F0"));
              }),
              "");
  }
  EXPECT_TRUE(result.end_of_stream_seen);
}

TEST_F(StreamItems, TagNumbersNeverChange) {
  EXPECT_EQ((Bytes{HEADER_1, HEADER_2, HEADER_CONT, HEADER_DICTIONARY, HEADER_NULL}),
            B("80 81 82 83 84"));
  EXPECT_EQ(Bytes(kFlatFileMagic, kFlatFileMagic + 4), B("66 5D 53 31"));
}

}  // namespace
}  // namespace vmr::test
