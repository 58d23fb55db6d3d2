// Stores of which one file holds what no recorder wrote.
#include <filesystem>

#include "tests/tools/ring_images.h"

namespace vmr::test {
namespace {

namespace fs = std::filesystem;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

class ForeignFileTest : public RingImageTest {
 protected:
  Finished Check() const { return Run({"check", "s"}); }
  Finished Scrub() const { return Run({"scrub", "s"}); }
  // Bytes that are no packets, with a right CRC around them: one of 4096 images of
  // random bytes is so.
  static Bytes GarbageWithRightCrc(std::uint32_t first_tick) {
    return ClusterOf(first_tick, B("5A 80 12 34 56 78 99 3C 00 C3 81 FE 82"));
  }
  void KeepAsWhole() const { fs::copy_file(Path("s_1.mtd"), Path("whole")); }
};

TEST_F(ForeignFileTest, GarbageWithARightCrcNeverReplacesAClusterThatWasNeverWritten) {
  MakeRingOfBookmarks(10);
  KeepAsWhole();
  Put(2, 20, GarbageWithRightCrc(5));
  Put(2, 30000, GarbageWithRightCrc(2000000000));
  const Finished checked = Check();
  EXPECT_EQ(checked.exit_code, 4);
  EXPECT_THAT(checked.out, StartsWith("s: 20 packets with 20 items in 10 clusters, ticks 10 to "));
  EXPECT_THAT(checked.out,
              HasSubstr("\ndamaged: s_2.mtd cluster 20: unsound packets; s_1.mtd has a good copy"));
  EXPECT_THAT(checked.out, EndsWith("\ndamaged, nothing is lost\n"));
  EXPECT_EQ(Scrub().exit_code, 0);
  EXPECT_TRUE(SameContent("s_1.mtd", "whole"));
  EXPECT_TRUE(SameContent("s_2.mtd", "whole"));
}

TEST_F(ForeignFileTest, GarbageWithARightCrcNeverReplacesAGoodCopyOfEarlierTicks) {
  MakeRingOfBookmarks(10);
  KeepAsWhole();
  Put(2, 4, GarbageWithRightCrc(2000000000));
  EXPECT_EQ(Check().exit_code, 4);
  const Finished scrubbed = Scrub();
  EXPECT_EQ(scrubbed.exit_code, 0);
  EXPECT_THAT(scrubbed.out, StartsWith("s_2.mtd cluster 4: brought up to date from s_1.mtd\n"));
  EXPECT_TRUE(SameContent("s_1.mtd", "whole"));
  EXPECT_TRUE(SameContent("s_2.mtd", "whole"));
}

}  // namespace
}  // namespace vmr::test
