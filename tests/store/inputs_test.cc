// Buttons, discrete inputs and bookmarks.
#include <gtest/gtest.h>

#include "tests/support/store_fixture.h"

namespace vmr::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct Input {
  unsigned char on_tag;
  unsigned char off_tag;
  const char* name;
};

// In the order of a full dump, written out apart from the library's table.
constexpr Input kInputs[] = {
    {0x34, 0x35, "emergency lights"}, {0x36, 0x37, "siren"},    {0x38, 0x39, "brake"},
    {0x3C, 0x3D, "auxillary input"},  {0x3E, 0x3F, "door"},     {0x40, 0x41, "system power"},
    {0x42, 0x43, "accident detect"},  {0x44, 0x45, "ignition"}, {0x46, 0x47, "recording"},
    {0x3A, 0x3B, "covert"},           {0x4A, 0x4B, "docked"},
};

class Inputs : public StoreTest {
 protected:
  void Report(int tag, bool write = true) {
    store.ReportStateData(static_cast<e_Tag>(tag), write, 0);
  }

  void ExpectSlack(unsigned short slack) {
    const std::string text =
        "Add to Current packet size (1), newSlack (" + std::to_string(slack) + ")";
    EXPECT_THAT(Added(), ElementsAre(text));
  }
};

std::string Line(const char* name, int tag, const char* state) {
  char text[100];
  std::snprintf(text, sizeof(text), "[Tag=%s, TagNo=0x%02X, State=%s]", name,
                static_cast<unsigned int>(tag), state);
  return text;
}

// ---- Discrete inputs ---------------------------------------------------------

TEST_F(Inputs, TableHoldsTheElevenInputsInDumpOrder) {
  ASSERT_EQ(std::size(kInputs), kDiscreteInputCount);
  for (unsigned int i = 0; i < kDiscreteInputCount; ++i) {
    SCOPED_TRACE(kInputs[i].name);
    EXPECT_EQ(kDiscreteInputs[i].index, i);
    EXPECT_EQ(kDiscreteInputs[i].on_tag, kInputs[i].on_tag);
    EXPECT_EQ(kDiscreteInputs[i].off_tag, kInputs[i].off_tag);
  }
}

TEST_F(Inputs, EachIsWrittenAsItsOneByteTag) {
  for (const Input& input : kInputs) {
    Report(input.on_tag);
    EXPECT_EQ(Items(), Bytes{input.on_tag});
    Report(input.off_tag);
    EXPECT_EQ(Items(), Bytes{input.off_tag});
  }
}

TEST_F(Inputs, SirenOnTwiceThenOffRecordsOneItemEach) {
  Report(0x36);
  Report(0x36);
  EXPECT_EQ(Items(), B("36"));
  Report(0x37);
  Report(0x37);
  EXPECT_EQ(Items(), B("37"));
}

TEST_F(Inputs, AnInputReportedOffThatWasNeverOnRecordsNothing) {
  for (const Input& input : kInputs) Report(input.off_tag);
  EXPECT_THAT(Items(), IsEmpty());
}

TEST_F(Inputs, EachKeepsItsOwnState) {
  for (std::size_t i = 0; i < std::size(kInputs); ++i) {
    Report(kInputs[i].on_tag);
    for (std::size_t j = 0; j < std::size(kInputs); ++j)
      EXPECT_EQ(store.Mirror().inputs.on[j], j == i) << kInputs[j].name;
    Report(kInputs[i].off_tag);
  }
}

TEST_F(Inputs, OnMayWaitOneTickAndOffTwo) {
  Report(0x3E);
  ExpectSlack(1);
  Report(0x3F);
  ExpectSlack(2);
}

TEST_F(Inputs, ItemsCarryTheTickOfTheEvent) {
  store.ReportStateData(TAG_BRAKE_ON, true, 4711);
  EXPECT_TRUE(Logged(kLogEachItem, "AddToCurrPacket, newTick 4711 lastSlackSt = 0"));
}

TEST_F(Inputs, WithoutWriteOnlyTheMirrorMoves) {
  Report(0x3E, false);
  EXPECT_TRUE(store.Mirror().inputs.on[4]);
  Report(0x3E);
  EXPECT_THAT(Items(), IsEmpty()) << "on already";
  Report(0x3F, false);
  EXPECT_FALSE(store.Mirror().inputs.on[4]);
}

TEST_F(Inputs, ATagOfNoInputIsLoggedAndIgnored) {
  store.SetViewMode(kViewItems);
  const auto report_all = [&] {
    for (const int tag : {0x00, 0x33, 0x48, 0x49, 0x4C, 0x56, 0xFF}) Report(tag);
  };
  EXPECT_EQ(Printed(report_all), "");
  EXPECT_EQ(log.Count(kLogError, "DataStore.cc", "internal error, invalid tag"), 7);
  EXPECT_THAT(Items(), IsEmpty());
}

TEST_F(Inputs, EachIsShownByItsNameWhetherItChangedOrNot) {
  for (const Input& input : kInputs) {
    EXPECT_EQ(View({input.off_tag}), Line(input.name, input.off_tag, "off"));
    EXPECT_EQ(View({input.on_tag}), Line(input.name, input.on_tag, "on"));
    EXPECT_EQ(View({input.on_tag}), Line(input.name, input.on_tag, "on"));
    EXPECT_EQ(View({input.off_tag}), Line(input.name, input.off_tag, "off"));
  }
}

TEST_F(Inputs, ViewerLinesReadAsTheyAlwaysHave) {
  EXPECT_EQ(View(B("34")), "[Tag=emergency lights, TagNo=0x34, State=on]");
  EXPECT_EQ(View(B("3D")), "[Tag=auxillary input, TagNo=0x3D, State=off]");
  EXPECT_EQ(View(B("4A")), "[Tag=docked, TagNo=0x4A, State=on]");
}

TEST_F(Inputs, DecodingRecordsNothingExceptCovertOn) {
  for (const Input& input : kInputs) {
    Decode({input.on_tag});
    EXPECT_EQ(Items(), input.on_tag == 0x3A ? B("3A") : Bytes{}) << input.name;
    Decode({input.off_tag});
    EXPECT_THAT(Items(), IsEmpty()) << input.name;
  }
}

TEST_F(Inputs, ReadingACovertOnItemWritesACovertOnItemIntoTheOutputStore) {
  Decode(B("3A"));
  EXPECT_TRUE(Logged(kLogEachItem, "AddToCurrPacket, newTick 0 lastSlackSt = 0"));
  ExpectSlack(1);
  EXPECT_EQ(Items(), B("3A"));
  Decode(B("3A"));
  EXPECT_THAT(Items(), IsEmpty()) << "once, until it went off";
  EXPECT_EQ(View(B("3A")), "[Tag=covert, TagNo=0x3A, State=on]");
}

TEST_F(Inputs, AnyOneByteItemCanBeWrittenWithItsOwnSlack) {
  store.WriteStateData(TAG_POLICY_END, 2, 12);
  EXPECT_TRUE(Logged(kLogEachItem, "AddToCurrPacket, newTick 12 lastSlackSt = 0"));
  ExpectSlack(2);
  EXPECT_EQ(Items(), B("1A"));
}

TEST_F(Inputs, NothingIsPrintedOutsideTheViewer) {
  EXPECT_EQ(Printed([&] {
              Decode(B("34"));
              Decode(B("3A"));
              Decode(B("56"));
              Decode(B("C0 00 00"));
            }),
            "");
}

// ---- Bookmarks ---------------------------------------------------------------

class Bookmarks : public Inputs {};

TEST_F(Bookmarks, EveryOneIsRecordedWithSlackOne) {
  store.ReportBookmark(33);
  EXPECT_TRUE(Logged(kLogEachItem, "AddToCurrPacket, newTick 33 lastSlackSt = 0"));
  ExpectSlack(1);
  store.ReportBookmark(33);
  EXPECT_EQ(Items(), B("56 56"));
}

TEST_F(Bookmarks, AreShown) {
  EXPECT_EQ(View(B("56")), "[Tag=Bookmark, TagNo=0x56]");
  EXPECT_THAT(Items(), IsEmpty());
}

// ---- Buttons -----------------------------------------------------------------

class Buttons : public StoreTest {
 protected:
  void Report(int button, int action, bool write = true) {
    store.ReportButton(static_cast<e_button_list>(button),
                       static_cast<e_button_action_list>(action), write);
  }
};

TEST_F(Buttons, ItemIsWrittenToTheLastByteWithSlackOne) {
  Report(BUTTON_BACKLIGHT, BUTTON_LONG_PRESSED);
  EXPECT_THAT(log.Texts(kLogEachItem), ElementsAre("Add to Current packet size (3), newSlack (1)"))
      << "the form without a tick";
  EXPECT_EQ(Items(), B("C0 02 01"));
}

TEST_F(Buttons, TheSameActionReportedTwiceIsRecordedTwice) {
  Report(BUTTON_RECORD, BUTTON_PRESSED);
  Report(BUTTON_RECORD, BUTTON_PRESSED);
  EXPECT_EQ(Items(), B("C0 01 00 C0 01 00"));
}

TEST_F(Buttons, AreShownByTheirNames) {
  EXPECT_EQ(View(B("C0 00 00")), "[Tag=Button, TagNo=0xC0, Button=POWER, Action=PRESSED]");
  EXPECT_EQ(View(B("C0 01 01")), "[Tag=Button, TagNo=0xC0, Button=RECORD, Action=LONG PRESSED]");
  EXPECT_EQ(View(B("C0 02 02")), "[Tag=Button, TagNo=0xC0, Button=BACKLIGHT, Action=RELEASED]");
  EXPECT_THAT(Items(), IsEmpty()) << "decoding records nothing";
}

TEST_F(Buttons, ButtonsAboveTwoAreLoggedAndIgnored) {
  Report(3, 0);
  EXPECT_EQ(View(B("C0 FF 00")), "");
  EXPECT_THAT(log.Entries(),
              ElementsAre(LogEntry{kLogError, "DataStore.cc", "Invalid button 3"},
                          LogEntry{kLogError, "DataStore.cc", "Invalid button 255"}));
  EXPECT_THAT(Items(), IsEmpty());
}

TEST_F(Buttons, ActionsAboveTwoAreLoggedWithoutABlankAndIgnored) {
  Report(0, 3);
  EXPECT_EQ(View(B("C0 00 80")), "");
  EXPECT_THAT(log.Entries(),
              ElementsAre(LogEntry{kLogError, "DataStore.cc", "Invalid button action3"},
                          LogEntry{kLogError, "DataStore.cc", "Invalid button action128"}));
  EXPECT_THAT(Items(), IsEmpty());
}

TEST_F(Buttons, AnInvalidButtonIsNamedBeforeAnInvalidAction) {
  Report(9, 9);
  EXPECT_THAT(log.Texts(kLogError), ElementsAre("Invalid button 9"));
}

TEST_F(Buttons, NegativeNumbersPassAndAreShownAsInvalid) {
  store.SetViewMode(kViewItems);
  EXPECT_EQ(Printed([&] { Report(-1, -2); }),
            "[Tag=Button, TagNo=0xC0, Button=Invalid, Action=Invalid]");
  EXPECT_EQ(Items(), B("C0 FF FE"));
  EXPECT_THAT(log.Texts(kLogError), IsEmpty());
}

TEST_F(Buttons, WithoutWriteNothingIsRecorded) {
  Report(0, 0, false);
  EXPECT_THAT(Items(), IsEmpty());
}

TEST_F(Buttons, NumbersOnDiskNeverChange) {
  EXPECT_EQ(BUTTON_POWER, 0);
  EXPECT_EQ(BUTTON_RECORD, 1);
  EXPECT_EQ(BUTTON_BACKLIGHT, 2);
  EXPECT_EQ(BUTTON_PRESSED, 0);
  EXPECT_EQ(BUTTON_LONG_PRESSED, 1);
  EXPECT_EQ(BUTTON_RELEASED, 2);
}

}  // namespace
}  // namespace vmr::test
