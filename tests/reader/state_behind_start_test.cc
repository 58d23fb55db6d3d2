// What a range's state takes from behind its start. The search for a dump parses
// the start's cluster to its end before it goes back, and what neither the dump nor
// the replay sets again stays.
#include <string>
#include <vector>

#include "tests/reader/extraction_fixture.h"
#include "tests/support/everything.h"

namespace vmr::test {
namespace {

// What stands behind the start, in the start's cluster.
struct Behind {
  const char* what;
  Bytes items;
};

Bytes Text(const std::string& head, const std::string& text) {
  return B(head) + Bytes{static_cast<unsigned char>(text.size())} + Chars(text);
}

const Bytes kLiveStream = B("B0 15 1F 90 C0 A8 01 14 03");  // five fields that are not 0

// What every dump says.
const std::vector<Behind> kStates = {
    {"an input", B("36")},
    {"a microphone", B("59 02 02 01")},
    {"a camera", B("51 11")},
    {"a stream", B("55 21")},
    {"one field of a live stream", B("B0 11 00 00 00 00 00 00 00")},
    {"the time", B("03 00 E1 F5 05")},
};
// What every dump of a configured unit and every configuration says.
const std::vector<Behind> kSettings = {
    {"the officer", Text("05", "X") + Text("08", "X")},
    {"the department", Text("06", "X")},
    {"the vehicle", Text("07", "X")},
    {"the serial number", Text("10", "X")},
    {"the time zone", Text("11", "America/New_York")},
    {"the MAC address", B("02 00 01 02 03 04 05 06")},
    {"policies", B("18 53 00 18 45 09 18 63 00 18 62 00")},
    {"a stream's format", B("54 03 20")},
    {"the receiver's name", Text("90 01", "Other")},
    {"a sensor's name", Text("E0 00", "x")},
};
// What they do not say, or not all of.
const std::vector<Behind> kNotDumped = {
    {"more fields of a live stream", Times(5, kLiveStream)},
    {"a temperature of a sensor that had none", B("E3 09")},
    {"a version of a component that had none", Text("09 05", "9")},
    {"a position where the receiver had none", B("91 01 01 01 01 00 01 01 01 00")},
    {"a speed source that was not set up", Text("70 05 21", "new")},
    {"a radar that was not set up", Text("60 03 21", "new")},
    {"that a radar has had a reading", Text("60 01 21", "new") + B("6F 21 61 00 10 11 12")},
};

class StateBehindStart : public ExtractionTest {
 protected:
  // A dump, or something less, at tick 90.
  template <typename Report>
  static Bytes At90(Report report) {
    RecordingStore unit;
    EXPECT_EQ(unit.Open(), 1);
    unit.InitCurrentSystemTick(90);
    report(unit);
    unit.WriteBuffers();
    return AllOf(unit);
  }
  static Bytes DumpOfAConfiguredUnit() {
    return At90([](DataStore& unit) {
      ReportConfigurationOfEverything(unit);
      unit.ReportRadarState(1, true, false);  // no reading yet
      unit.WriteFullState(false);
    });
  }
  static Bytes ConfigurationAlone() {
    return At90([](DataStore& unit) {
      ReportConfigurationOfEverything(unit);
      unit.ReportConfiguration(true);
    });
  }

  // The file of a range that begins at tick 101, in the second cluster.
  Bytes FileOf(const Bytes& first_cluster, const Bytes& behind) {
    Record({{90, first_cluster}, {100, Mark(100) + H1(200, behind)}});
    Printed([&] { EXPECT_TRUE(Extract(101, 104)); });  // decoders complain of unknown radars
    return Out();
  }
  void ExpectTaken(const Bytes& first_cluster, const std::vector<Behind>& rows, bool taken) {
    const Bytes without = FileOf(first_cluster, B("56"));
    for (const Behind& row : rows) {
      SCOPED_TRACE(row.what);
      EXPECT_EQ(FileOf(first_cluster, row.items) != without, taken);
    }
  }
};

TEST_F(StateBehindStart, IsNotTakenForWhatADumpSays) {
  ExpectTaken(DumpOfAConfiguredUnit(), kStates, false);
  ExpectTaken(DumpOfAConfiguredUnit(), kSettings, false);
}

TEST_F(StateBehindStart, IsTakenForWhatADumpDoesNotSay) {
  ExpectTaken(DumpOfAConfiguredUnit(), kNotDumped, true);
}

TEST_F(StateBehindStart, IsTakenForAllStatesWhereTheReplayBeginsAtAConfigurationAlone) {
  ExpectTaken(ConfigurationAlone(), kStates, true);
  ExpectTaken(ConfigurationAlone(), kSettings, false);
}

// Nothing is dumped and nothing set in front of the start, and so all of it stays.
TEST_F(StateBehindStart, IsTakenForEverythingWhereThereIsNoDump) {
  ExpectTaken(Mark(90), kStates, true);
  ExpectTaken(Mark(90), {{"a position", B("94 01 91 01 01 01 01 00 01 01 01 00")}}, true);
}

// Of a live stream's item a reader takes one difference: here the camera's number,
// and not that the stream is off.
TEST_F(StateBehindStart, OfALiveStreamIsAllButTheFirstField) {
  const Bytes file = FileOf(DumpOfAConfiguredUnit(), Times(5, kLiveStream));
  const Bytes mended = B("B0 15 1F 90 C0 A8 01 14 00");
  EXPECT_NE(std::search(file.begin(), file.end(), mended.begin(), mended.end()), file.end());
}

// Its two places are taken by what is set up behind the start.
TEST_F(StateBehindStart, DevicesMayTakeThePlacesOfThoseInTheDump) {
  const Bytes dump = At90([](DataStore& unit) {
    ReportEverything(unit);
    unit.WriteFullState(false);
  });
  const auto names_rear = [](const Bytes& file) {
    const Bytes rear = Chars("rear");  // radar 6 of the dump
    return std::search(file.begin(), file.end(), rear.begin(), rear.end()) != file.end();
  };
  EXPECT_TRUE(names_rear(FileOf(dump, B("56"))));
  EXPECT_FALSE(names_rear(FileOf(dump, Text("60 03 21", "new"))));
}

// A time that is not before the start makes the clock 2^31 seconds wrong, which
// readers reject.
TEST_F(StateBehindStart, OfTheClockIsATimeThatReadersReject) {
  const Bytes file = FileOf(Mark(90), B("03 00 E1 F5 05"));  // 100,000,000 at tick 200
  const Bytes rejected = B("03 CE E0 F5 85");
  EXPECT_NE(std::search(file.begin(), file.end(), rejected.begin(), rejected.end()), file.end());
}

// The replay does not read behind 0x04; the search, which does, ends at the mark.
TEST_F(StateBehindStart, IsTakenForWhatTheDumpSaysBehindAnUnreadableItem) {
  const Bytes officer = Text("05", "A. Smith");
  ExpectTaken(H1(90, B("1A")) + Cont(officer + Text("04", "CST")), {{"", Text("05", "X")}}, false);
  ExpectTaken(H1(90, B("1A")) + Cont(Text("04", "CST") + officer), {{"", Text("05", "X")}}, true);
}

// The search ends at the mark and has not met what comes behind it.
TEST_F(StateBehindStart, IsNotTakenWhereTheDumpStandsInTheStartsOwnCluster) {
  const auto file_of = [&](const Bytes& behind) {
    Record({{90, DumpOfAConfiguredUnit() + Mark(100) + H1(200, behind)}});
    EXPECT_TRUE(Extract(101, 104));
    return Out();
  };
  const Bytes without = file_of(B("56"));
  for (const Behind& row : kNotDumped) EXPECT_EQ(file_of(row.items), without) << row.what;
}

}  // namespace
}  // namespace vmr::test
