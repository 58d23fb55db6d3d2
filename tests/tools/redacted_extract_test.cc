// What `vmr extract --redact` writes, searched for what was taken out.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <sstream>

#include "tests/tools/sensitive_drive.h"
#include "tests/tools/unpacked_page.h"
#include "tools/common/sha256.h"
#include "tools/evidence/position_grid.h"

namespace vmr::test {
namespace {

using testing::AllOf;
using testing::Each;
using testing::HasSubstr;
using testing::Not;

class RedactedExtract : public RingImageTest {
 protected:
  Finished Cut(const Arguments& more) const {
    Arguments arguments = {"extract", "s", "cut", "--from", "55", "--to", "760", "--force"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return Run(arguments);
  }
  // All that programs make of the file, and the file itself.
  std::string Everything() const {
    std::string all = ReadFile(Path("cut"));
    for (const Arguments& command :
         {Arguments{"export", "cut"}, Arguments{"export", "cut", "--format", "gpx"},
          Arguments{"export", "cut", "--format", "geojson"},
          Arguments{"export", "cut", "--format", "vtt", "--video-start", "2033-05-18T03:34:00Z"},
          Arguments{"view", "cut"}, Arguments{"view", "--listing", "--expanded", "cut"},
          Arguments{"info", "--full", "cut"}, Arguments{"state", "cut", "--at", "700"}}) {
      const Finished made = Run(command);
      EXPECT_TRUE(made.exit_code == 0 || made.exit_code == 3)
          << testing::PrintToString(command) << made.err;
      all += made.out + made.err;
    }
    const Finished report = Run({"report", "cut", "-o", "page.html", "--force"});
    EXPECT_TRUE(report.exit_code == 0 || report.exit_code == 3) << report.err;
    return all + DataOf(ReadFile(Path("page.html"))).dump();
  }
  // As many bytes as there are items of positions in the listing.
  std::vector<std::string> ListedPositions() const {
    std::vector<std::string> found;
    for (const std::string& item : ItemsOf(Run({"view", "--listing", "cut"}).out))
      if (item.find("Tag=GpsAbs") != item.npos || item.find("Tag=GpsRel") != item.npos)
        found.push_back(item);
    return found;
  }
};

TEST_F(RedactedExtract, HoldsNoNameNorAddressNorDoesWhatIsMadeOfIt) {
  MakeRing(8, SensitiveDrive);
  ASSERT_EQ(Cut({}).exit_code, 0);
  ASSERT_THAT(Everything(), AllOf(HasSubstr(kDriver), HasSubstr("00:1b:21:ab:cd:ef")));
  const Finished cut = Cut({"--redact", "identity"});
  EXPECT_EQ(cut.exit_code, 0);
  EXPECT_EQ(cut.err, "");
  EXPECT_THAT(cut.out, HasSubstr("\nwithout: identity,text; items taken out: identity "));
  const std::string all = Everything();
  for (const std::string& gone : WritingsOfIdentity())
    EXPECT_THAT(all, Not(HasSubstr(gone))) << gone;
  EXPECT_THAT(all, HasSubstr("siren"));
}

TEST_F(RedactedExtract, HoldsNoPositionInAnyWriting) {
  MakeRing(8, SensitiveDrive);
  ASSERT_EQ(Cut({}).exit_code, 0);
  EXPECT_THAT(Everything(), AllOf(HasSubstr("20.10"), HasSubstr("100.05"), HasSubstr("Tokyo"),
                                  HasSubstr("14 06 39 05"), HasSubstr("\x39\x30\xC7\xCF")));
  for (const char* list : {"gps", "gps=100km"}) {
    EXPECT_EQ(Cut({"--redact", list}).exit_code, 0);
    const std::string all = Everything();
    for (const std::string& value : WritingsOfPlaces())
      EXPECT_THAT(all, Not(HasSubstr(value))) << list;
    // Speeds, of which a way can be reckoned.
    EXPECT_THAT(Run({"export", "cut", "--kind", "speed"}).out, testing::IsEmpty());
  }
  EXPECT_EQ(ListedPositions().size(), 1U) << "one cell of 100 km";
}

// Degrees, minutes and whole seconds, as the listing has them.
std::string ListedAxis(std::int32_t tts) {
  const std::int32_t all = std::abs(tts);
  char text[32];
  std::snprintf(text, sizeof text, "%02d:%02d.%02d", all / 600000, all / 10000 % 60,
                all % 10000 * 60 / 10000);
  return text;
}

// As the library reads it, which every unit does.
TEST_F(RedactedExtract, OnAGridIsReadByUnitsAsWholePositionsAlone) {
  MakeRing(8, SensitiveDrive);
  const Finished cut = Cut({"--redact", "gps=1km"});
  EXPECT_EQ(cut.exit_code, 0);
  const std::vector<std::string> positions = ListedPositions();
  EXPECT_GE(positions.size(), 3U);
  EXPECT_THAT(positions, Each(AllOf(HasSubstr("Tag=GpsAbs"), HasSubstr("Quad=2-SE"))));
  std::istringstream lines(Run({"export", "cut", "--kind", "position"}).out);
  std::vector<std::string> middles;
  for (std::string line; std::getline(lines, line);) {
    const auto tts = [&line](const char* axis) {
      return static_cast<std::int32_t>(
          std::lround(std::stod(line.substr(line.find(axis) + std::strlen(axis))) * 600000));
    };
    const records::Position at{tts("\"latitude\":"), tts("\"longitude\":"),
                               records::PositionQuality::kKnown};
    const records::Position middle = tool::PositionGrid(1000).MiddleOf(at);
    EXPECT_EQ(middle.latitude_tts, at.latitude_tts);
    EXPECT_EQ(middle.longitude_tts, at.longitude_tts);
    middles.push_back(ListedAxis(at.latitude_tts) + " " + ListedAxis(at.longitude_tts));
  }
  std::vector<std::string> listed;
  for (const std::string& item : positions) {
    // Behind the hemisphere's byte.
    const std::size_t lat = item.find("Lat=") + 5, lon = item.find("Lon=") + 5;
    listed.push_back(item.substr(lat, item.find(',', lat) - lat) + " " +
                     item.substr(lon, item.find(']', lon) - lon));
  }
  EXPECT_EQ(listed, middles);
  EXPECT_THAT(cut.out,
              HasSubstr("positions told: " + std::to_string(positions.size()) + "\nsha256:"));
  EXPECT_EQ(Run({"check", "cut"}).exit_code, 0);
}

TEST_F(RedactedExtract, SaysOfWhatAndAtItsStart) {
  MakeRing(8, SensitiveDrive);
  EXPECT_EQ(Cut({"--redact", "text,gps=1000m,identity"}).exit_code, 0);
  const std::string lines = Run({"export", "cut", "--kind", "log"}).out;
  EXPECT_THAT(lines, HasSubstr("\"text\":\"Range 55 to 760\""));
  EXPECT_THAT(lines, HasSubstr("\"text\":\"State completed by vmr, then redacted\""));
  EXPECT_THAT(lines, HasSubstr("\"text\":\"vmr: redacted: identity,gps=1km,text; positions are "
                               "the middles of cells, told every 200 ticks at most\""));
  EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 3);
}

TEST_F(RedactedExtract, OfADamagedStoreLeavesOutWhatIsDamagedAndSaysSo) {
  MakeRing(8, DamagedSensitiveDrive);
  const Finished cut = Cut({"--redact", "identity"});
  EXPECT_EQ(cut.exit_code, 3);
  EXPECT_THAT(cut.err, HasSubstr("lost clusters\n"));
  EXPECT_THAT(cut.err, HasSubstr("wrong packet CRC\n"));
  EXPECT_THAT(Everything(), Not(HasSubstr("Quist")));
  const std::string lines = Run({"export", "cut"}).out;
  EXPECT_THAT(lines, HasSubstr(": lost clusters\""));
  EXPECT_THAT(lines, HasSubstr("vmr: gap, ticks 510 to 550: wrong packet CRC"));
}

TEST_F(RedactedExtract, HasTheDigestThatIsPrinted) {
  MakeRing(8, SensitiveDrive);
  const Finished cut = Cut({"--redact", "identity", "--digest"});
  EXPECT_THAT(cut.out, HasSubstr("\n" + tool::Sha256Of(ReadFile(Path("cut"))) + "  cut\n"));
  EXPECT_THAT(cut.out, HasSubstr("\n# without: identity,text; "));
}

TEST_F(RedactedExtract, LeavesNothingElseInTheFolder) {
  MakeRing(8, SensitiveDrive);
  EXPECT_EQ(Cut({"--redact", "identity"}).exit_code, 0);
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    const std::string name = entry.path().filename().string();
    EXPECT_TRUE(name[0] != '.') << name;
  }
}

TEST_F(RedactedExtract, RefusesAListThatItDoesNotUnderstandAndAUnitsState) {
  MakeRing(1, SensitiveDrive);
  const Finished unknown = Cut({"--redact", "identity,names"});
  EXPECT_EQ(unknown.exit_code, 2);
  EXPECT_THAT(unknown.err,
              HasSubstr("vmr: --redact: \"names\" cannot be taken out; there are identity, gps "
                        "(or gps=1km, gps=100m), text (or text=keep), radar, speed, audio, "));
  EXPECT_THAT(Cut({"--redact", "gps=1mile"}).err, HasSubstr("--redact: gps=1mile: no grid; "));
  const Finished both = Cut({"--redact", "gps", "--as-unit"});
  EXPECT_EQ(both.exit_code, 2);
  EXPECT_THAT(both.err, HasSubstr("--as-unit and --redact do not go together"));
  EXPECT_FALSE(std::filesystem::exists(Path("cut")));
}

}  // namespace
}  // namespace vmr::test
