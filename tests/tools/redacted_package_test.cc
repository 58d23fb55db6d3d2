// What `vmr package --redact` hands on, searched for what was taken out.
#include <algorithm>
#include <filesystem>
#include <map>
#include <sstream>

#include "tests/tools/sensitive_drive.h"
#include "tests/tools/unpacked_page.h"
#include "tools/common/sha256.h"

namespace vmr::test {
namespace {

namespace fs = std::filesystem;

using testing::AllOf;
using testing::Contains;
using testing::HasSubstr;
using testing::Key;
using testing::Not;

class RedactedPackage : public RingImageTest {
 protected:
  RedactedPackage() { Run({"key", "new", "key"}); }

  Finished Package(const std::string& out, const Arguments& more) const {
    Arguments arguments = {"package", "s",      out,
                           "--from",  "55",     "--to",
                           "760",     "--at",   "2034-01-02T03:04:05Z",
                           "--by",    "Jo Doe", "--force"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return Run(arguments);
  }
  // Every file of it by its name below the bag's folder; the page's data unpacked as well.
  std::map<std::string, std::string> FilesOf(const std::string& bag) const {
    const std::string command = "cd " + folder + " && rm -rf unpacked && python3 -m zipfile -e " +
                                bag + " unpacked > /dev/null";
    EXPECT_EQ(std::system(command.c_str()), 0);
    std::map<std::string, std::string> files;
    const fs::path base = Path("unpacked/evidence");
    for (const auto& entry : fs::recursive_directory_iterator(base))
      if (entry.is_regular_file()) files[fs::relative(entry.path(), base)] = ReadFile(entry.path());
    files["data of the page"] = DataOf(files["data/report.html"]).dump();
    return files;
  }
  // In each of them, and in what the archive says besides.
  void ExpectNowhere(const std::string& bag, const std::vector<std::string>& writings) const {
    for (const auto& [name, content] : FilesOf(bag))
      for (const std::string& writing : writings)
        EXPECT_TRUE(content.find(writing) == content.npos) << writing << " is in " << name;
    const std::string archive = ReadFile(Path(bag));
    for (const std::string& writing : writings)
      EXPECT_TRUE(archive.find(writing) == archive.npos) << writing;
  }
};

TEST_F(RedactedPackage, HoldsNoNameNorAddressInAnyFile) {
  MakeRing(8, SensitiveDrive);
  ASSERT_EQ(Package("full.zip", {}).exit_code, 0);
  EXPECT_THAT(FilesOf("full.zip")["data/export.jsonl"],
              AllOf(HasSubstr(kDriver), HasSubstr("00:1b:21:ab:cd:ef")));
  const Finished made = Package("bag.zip", {"--redact", "identity", "--sign", "key"});
  EXPECT_EQ(made.exit_code, 0) << made.err;
  EXPECT_EQ(made.err, "");
  EXPECT_THAT(made.out, HasSubstr("\nwithout: identity,text\n"));
  ExpectNowhere("bag.zip", WritingsOfIdentity());
  EXPECT_THAT(FilesOf("bag.zip")["data/export.jsonl"], HasSubstr("siren"));
}

TEST_F(RedactedPackage, HoldsNoPlaceNorLocalTimeInAnyFile) {
  MakeRing(8, SensitiveDrive);
  for (const char* list : {"gps", "gps=100km"}) {
    // Tokyo is nine hours ahead.
    const Finished made = Package("bag.zip", {"--redact", list, "--sign", "key"});
    EXPECT_EQ(made.exit_code, 0) << made.err;
    std::vector<std::string> gone = WritingsOfPlaces();
    gone.insert(gone.end(), {"+09", "Asia"});
    ExpectNowhere("bag.zip", gone);
    EXPECT_THAT(FilesOf("bag.zip")["data/statement.txt"],
                HasSubstr("\nLocal times: UTC; the time zone was taken out\n"));
  }
  Package("full.zip", {});
  EXPECT_THAT(FilesOf("full.zip")["data/statement.txt"], HasSubstr("Asia/Tokyo"));
}

TEST_F(RedactedPackage, TheUnredactedOneSaysThatNoTimeZoneIsRecorded) {
  MakeRing(1, [](int) { return ClusterOf(60, FullPacket(60, B(kDriveTime) + B("56"))); });
  const Finished made = Package("full.zip", {});
  EXPECT_EQ(made.exit_code, 3) << "it ends before tick 760";
  EXPECT_THAT(FilesOf("full.zip")["data/statement.txt"],
              HasSubstr("\nLocal times: UTC; no time zone is recorded that is known here\n"));
}

// What a range is asked for by is local time, too.
TEST_F(RedactedPackage, TellsTheRangeInTicksAndUtc) {
  MakeRing(8, SensitiveDrive);
  const Finished made =
      Run({"package", "s", "bag.zip", "--from", "2033-05-18T12:34:00", "--to",
           "2033-05-18T12:35:00", "--by", "Jo Doe", "--redact", "gps", "--sign", "key"});
  EXPECT_EQ(made.exit_code, 0) << made.err;
  ExpectNowhere("bag.zip", {"12:34", "12:35", "+09", "Tokyo"});
  EXPECT_THAT(FilesOf("bag.zip")["data/statement.txt"],
              HasSubstr("\nRange: from tick 90 (2033-05-18 03:34:00+00:00) to tick 210 "
                        "(2033-05-18 03:35:00+00:00)\n"));
}

TEST_F(RedactedPackage, IsMadeOfTheRedactedExtractAlone) {
  MakeRing(8, SensitiveDrive);
  Package("bag.zip", {"--redact", "gps=1km,identity", "--sign", "key"});
  auto files = FilesOf("bag.zip");
  EXPECT_THAT(files, Not(Contains(Key("data/extract-as-unit.vmd"))));
  EXPECT_THAT(files, Not(Contains(Key("data/check.json"))));
  Run({"extract", "s", "cut", "--from", "55", "--to", "760", "--redact", "gps=1km,identity"});
  EXPECT_EQ(files["data/extract.vmd"], ReadFile(Path("cut")));
  EXPECT_EQ(files["data/export.jsonl"], Run({"export", "cut"}).out);
  EXPECT_EQ(files["data/csv/position.csv"],
            Run({"export", "cut", "--format", "csv", "--kind", "position"}).out);
  // A car that was followed would give more points than there are cells.
  const std::string way = files["data/way.gpx"];
  std::size_t points = 0;
  for (std::size_t at = way.find("<trkpt"); at != way.npos; at = way.find("<trkpt", at + 1))
    ++points;
  const std::string rows = files["data/csv/position.csv"];
  EXPECT_EQ(points, static_cast<std::size_t>(std::count(rows.begin(), rows.end(), '\n')) - 1);
  EXPECT_GE(points, 3U);
}

TEST_F(RedactedPackage, SaysWhatWasTakenOutAndInWhoseName) {
  MakeRing(8, SensitiveDrive);
  Package("bag.zip", {"--redact", "text,gps=1000m,identity", "--sign", "key"});
  auto files = FilesOf("bag.zip");
  EXPECT_THAT(files["bag-info.txt"],
              HasSubstr("Redaction: identity,gps=1km,text\nRedacted-By: Jo Doe\n"));
  EXPECT_THAT(files["data/statement.txt"],
              HasSubstr("\nTaken out\n"
                        "  identity,gps=1km,text, by Jo Doe\n"
                        "  identity: who it was, and in which vehicle with which unit\n"
                        "  gps: where the vehicle was, and what its way can be reckoned from\n"
                        "  text: free texts\n"));
  EXPECT_THAT(files["README.txt"], HasSubstr("\nIt is redacted\n"));
  EXPECT_THAT(Run({"verify", "bag.zip"}).out,
              HasSubstr("note   redacted: without identity,gps=1km,text, taken out by Jo Doe\n"));
  const Finished nameless =
      Run({"package", "s", "b.zip", "--from", "55", "--to", "760", "--redact", "gps"});
  EXPECT_EQ(nameless.exit_code, 2);
  EXPECT_THAT(nameless.err, HasSubstr("vmr: --redact needs --by: "));
}

// Of which nobody can tell what he should type, had it another word in it.
TEST_F(RedactedPackage, SaysWhenItWasMadeSoThatTheUnredactedOneCanBe) {
  MakeRing(8, SensitiveDrive);
  const Arguments range = {"package", "s",    "bag.zip", "--from", "55", "--to",
                           "760",     "--by", "Jo Doe",  "--sign", "key"};
  Arguments redacted = range, whole = range;
  redacted.insert(redacted.end(), {"--redact", "gps"});
  EXPECT_EQ(Run(redacted).exit_code, 0);
  const std::string info = FilesOf("bag.zip")["bag-info.txt"];
  const std::string tag = "Packaging-Time: ";
  whole[2] = "full.zip";
  whole.insert(whole.end(), {"--at", info.substr(info.find(tag) + tag.size(), 20)});
  EXPECT_EQ(Run(whole).exit_code, 0);
  EXPECT_THAT(info, HasSubstr(tool::Sha256Of(FilesOf("full.zip")["tagmanifest-sha256.txt.sig"])));
}

TEST_F(RedactedPackage, CarriesTheDigestOfTheUnredactedOne) {
  MakeRing(8, SensitiveDrive);
  Package("full.zip", {"--sign", "key", "--reason", "A stop"});
  auto full = FilesOf("full.zip");
  Package("bag.zip", {"--sign", "key", "--reason", "A stop", "--redact", "identity"});
  EXPECT_THAT(FilesOf("bag.zip")["bag-info.txt"],
              HasSubstr("\nUnredacted-Signature-SHA256: " +
                        tool::Sha256Of(full["tagmanifest-sha256.txt.sig"]) + "\n"));
  Package("full.zip", {});
  full = FilesOf("full.zip");
  const Finished made = Package("bag.zip", {"--redact", "identity"});
  EXPECT_EQ(made.exit_code, 0);
  EXPECT_THAT(made.err, HasSubstr("vmr: without --sign, whoever guesses all that was taken out"));
  EXPECT_THAT(FilesOf("bag.zip")["bag-info.txt"],
              HasSubstr("\nUnredacted-Tag-Manifest-SHA256: " +
                        tool::Sha256Of(full["tagmanifest-sha256.txt"]) + "\n"));
}

TEST_F(RedactedPackage, IsTheSameBytesEachTime) {
  MakeRing(8, SensitiveDrive);
  const Arguments how = {"--redact", "gps=1km", "--sign", "key"};
  Package("bag.zip", how);
  Package("again.zip", how);
  EXPECT_TRUE(ReadFile(Path("bag.zip")) == ReadFile(Path("again.zip")));
}

// The vehicle's name is often that of its store.
TEST_F(RedactedPackage, DoesNotNameTheStore) {
  MakeRing(8, SensitiveDrive);
  for (const char* number : {"1", "2"})
    fs::rename(Path(std::string("s_") + number + ".mtd"),
               Path(std::string("quistmobile_") + number + ".mtd"));
  const Finished made = Run({"package", "quistmobile", "bag.zip", "--from", "55", "--to", "760",
                             "--by", "Jo Doe", "--redact", "identity", "--sign", "key"});
  EXPECT_EQ(made.exit_code, 0) << made.err;
  ExpectNowhere("bag.zip", {"quistmobile"});
  const std::string digest = tool::Sha256Of(ReadFile(Path("quistmobile_1.mtd")));
  EXPECT_THAT(FilesOf("bag.zip")["data/source-sha256.txt"], HasSubstr(digest + "  store_1.mtd\n"));
}

TEST_F(RedactedPackage, OfADamagedStoreTellsOfItsFilesAndNotOfWhatTheyHold) {
  MakeRing(8, DamagedSensitiveDrive);
  const Finished made = Package("bag.zip", {"--redact", "identity", "--sign", "key"});
  EXPECT_EQ(made.exit_code, 3);
  EXPECT_THAT(made.err, HasSubstr("the store is damaged"));
  ExpectNowhere("bag.zip", WritingsOfIdentity());
  auto files = FilesOf("bag.zip");
  EXPECT_EQ(files["data/check.txt"],
            "file 1: 1 damaged cluster\nfile 2: 1 damaged cluster\nsomething is lost\n");
  EXPECT_THAT(files["data/statement.txt"], AllOf(HasSubstr("  Not all of the range is recorded. "),
                                                 HasSubstr("something of it is lost")));
  EXPECT_EQ(Run({"verify", "bag.zip"}).exit_code, 0);
}

TEST_F(RedactedPackage, LeavesNothingElseInTheFolder) {
  MakeRing(8, SensitiveDrive);
  Package("bag.zip", {"--redact", "identity", "--sign", "key"});
  for (const auto& entry : fs::directory_iterator(folder)) {
    const std::string name = entry.path().filename();
    EXPECT_TRUE(name[0] != '.') << name;
  }
}

}  // namespace
}  // namespace vmr::test
