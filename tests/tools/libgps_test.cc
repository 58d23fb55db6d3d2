#include "tools/record/libgps.h"

#include "tests/tools/program.h"

namespace vmr::tool {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::MatchesRegex;

TEST(Libgps, IsLoadedWithAllOfItsFunctions) {
  std::string error;
  const std::optional<Libgps> gps = LoadLibgps(error);
  ASSERT_TRUE(gps) << error;
  EXPECT_EQ(error, "");
  for (const bool found : {gps->open != nullptr, gps->stream != nullptr, gps->waiting != nullptr,
                           gps->read != nullptr, gps->close != nullptr, gps->errstr != nullptr})
    EXPECT_TRUE(found);
}

TEST(Libgps, ThatIsNotThereIsNamedWithItsPackage) {
  std::string error;
  EXPECT_FALSE(LoadLibgps(error, "libgps.so.none"));
  EXPECT_THAT(error,
              MatchesRegex("--gpsd needs libgps\\.so\\.none, which cannot be loaded "
                           "\\(libgps\\.so\\.none: .*No such file.*\\); install it, with Debian "
                           "by `apt install libgps[0-9a-z]+`, and try again"));
}

TEST(Libgps, ThatLacksAFunctionIsNotUsed) {
  std::string error;
  EXPECT_FALSE(LoadLibgps(error, "libc.so.6"));
  EXPECT_THAT(error, AllOf(HasSubstr("needs libc.so.6, "), HasSubstr("gps_open")));
}

class WithoutLibgps : public test::ProgramTest {
 protected:
  // An empty file stands before the system's.
  void SetUp() override {
    test::WriteFile(Path(kLibgpsFile), "");
    setenv("LD_LIBRARY_PATH", folder.c_str(), 1);
  }
  void TearDown() override { unsetenv("LD_LIBRARY_PATH"); }
};

TEST_F(WithoutLibgps, ALiveGpsdIsRefusedBeforeAnythingIsMadeForIt) {
  const test::Finished live = Run({"record", "s", "--gpsd"});
  EXPECT_EQ(live.exit_code, 1);
  EXPECT_THAT(live.err, MatchesRegex(std::string("vmr: --gpsd needs ") + kLibgpsFile +
                                     ", which cannot be loaded \\(.*file too short\\); .*\n"));
  EXPECT_EQ(test::ReadFile(Path("s_1.mtd")), "");
}

TEST_F(WithoutLibgps, EverythingElseWorks) {
  EXPECT_EQ(Run({"--help"}).exit_code, 0);
  EXPECT_EQ(
      Run({"record", "s", "--replay", "--input", "-"}, "{\"event\":\"bookmark\"}\n").exit_code, 0);
  EXPECT_EQ(Run({"view", "s"}).exit_code, 0);
}

}  // namespace
}  // namespace vmr::tool
