// Digests of extracts and of what is checked, as sha256sum reads them.
#include <cstdlib>
#include <filesystem>

#include "tests/tools/ring_images.h"

namespace vmr::test {
namespace {

using testing::HasSubstr;
using testing::Not;

class Digests : public RingImageTest {
 protected:
  Finished Cut(const Arguments& more) const {
    Arguments arguments = {"extract", "s", "cut", "--from", "55", "--to", "700", "--force"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return Run(arguments);
  }
  int RunIn(const std::string& command) const {
    return WEXITSTATUS(std::system(("cd " + folder + " && " + command).c_str()));
  }
};

TEST_F(Digests, OfAnExtractAndItsStoreAreReadBySha256sum) {
  MakeRingOfBookmarks(8);
  for (const Arguments& more : {Arguments{"--digest"}, Arguments{"--digest", "--as-unit"}}) {
    const Finished cut = Cut(more);
    EXPECT_EQ(cut.exit_code, 0);
    EXPECT_THAT(cut.out, HasSubstr("# copied:  "));
    EXPECT_THAT(cut.out, Not(HasSubstr("being written")));
    WriteFile(Path("sums"), cut.out);
    EXPECT_EQ(RunIn("sha256sum -c --strict sums > checked"), 0);
    EXPECT_EQ(ReadFile(Path("checked")), "cut: OK\ns_1.mtd: OK\ns_2.mtd: OK\n");
  }
  WriteFile(Path("cut"), "other");
  EXPECT_NE(RunIn("sha256sum -c --strict sums > checked 2> none"), 0);
}

TEST_F(Digests, OfWhatIsCheckedAreReadBySha256sum) {
  MakeRingOfBookmarks(2);
  WriteFile(Path("a\\b\nc"), std::string("f]S1\x80\x05\0\0\0\x01\x56\x21", 12));
  const Finished check = Run({"check", "--digest", "s", "a\\b\nc"});
  EXPECT_THAT(check.out, HasSubstr("# s: "));
  WriteFile(Path("sums"), check.out);
  EXPECT_EQ(RunIn("sha256sum -c --strict sums > checked"), 0);
  EXPECT_EQ(ReadFile(Path("checked")).substr(0, 26), "s_1.mtd: OK\ns_2.mtd: OK\n\\a");
  EXPECT_THAT(Run({"check", "s"}).out, Not(HasSubstr("#")));
}

TEST_F(Digests, StandInTheReportForPrograms) {
  MakeRingOfBookmarks(2);
  const std::string json = Run({"check", "--digest", "--format", "json", "s"}).out;
  ASSERT_EQ(RunIn("sha256sum s_1.mtd > sum"), 0);
  EXPECT_THAT(json, HasSubstr("\"digests\": ["));
  EXPECT_THAT(json, HasSubstr("\"file\": \"s_1.mtd\",\n      \"sha256\": \"" +
                              ReadFile(Path("sum")).substr(0, 64) + "\"\n"));
  EXPECT_THAT(Run({"check", "--format", "json", "s"}).out, Not(HasSubstr("digests")));
}

TEST_F(Digests, OfAStoreOfWhichAFileIsGoneAreThoseOfTheOther) {
  MakeRingOfBookmarks(2);
  std::filesystem::remove(Path("s_2.mtd"));
  const Finished check = Run({"check", "--digest", "s"});
  EXPECT_THAT(check.out, HasSubstr("# s_2.mtd: No such file or directory\n"));
  EXPECT_THAT(check.out, HasSubstr("  s_1.mtd\n"));
}

TEST_F(Digests, SayThatARecorderWrites) {
  RunningProgram recorder(folder, {"record", "s", "--input", "-"});
  recorder.Write("{\"event\":\"bookmark\"}\n");
  for (int n = 0; n < 600 && !std::filesystem::exists(Path("s_2.mtd")); ++n)
    ASSERT_EQ(RunIn("sleep 0.1"), 0);
  const std::string moving = Run({"check", "--digest", "s"}).out;
  EXPECT_THAT(moving, HasSubstr("# s_1.mtd: is being written; the digest is that of a moment"));
  EXPECT_THAT(moving, HasSubstr("# s_2.mtd: is being written; the digest is that of a moment"));
  EXPECT_THAT(Run({"check", "--digest", "--format", "json", "s"}).out,
              HasSubstr("\"moving\": true"));
  EXPECT_EQ(recorder.Finish().exit_code, 0);
  EXPECT_THAT(Run({"check", "--digest", "s"}).out, Not(HasSubstr("is being written")));
}

}  // namespace
}  // namespace vmr::test
