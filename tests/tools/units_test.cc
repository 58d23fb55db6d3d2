#include <gtest/gtest.h>

#include "tools/common/store_path.h"
#include "tools/record/gpsd_client.h"
#include "tools/record/input_progress.h"

namespace vmr::tool {
namespace {

std::string AddressOf(const std::string& text) {
  const auto address = ParseGpsdAddress(text);
  return address ? address->host + " " + address->port : "none";
}

TEST(GpsdAddress, HostAndPortEachHaveADefault) {
  EXPECT_EQ(AddressOf(""), "127.0.0.1 2947");
  EXPECT_EQ(AddressOf("car"), "car 2947");
  EXPECT_EQ(AddressOf(":5000"), "127.0.0.1 5000");
  EXPECT_EQ(AddressOf("10.0.0.5:5000"), "10.0.0.5 5000");
  EXPECT_EQ(AddressOf("[::1]:5000"), "::1 5000");
  EXPECT_EQ(AddressOf("[::1]"), "::1 2947");
}

TEST(GpsdAddress, APortIsANumberFrom1To65535) {
  for (const char* text : {"car:", "car:0", "car:65536", "car:99999999999", "car:x", "car:-1",
                           "::1", "a b:5000", "[::1:5000"})
    EXPECT_EQ(AddressOf(text), "none") << text;
}

TEST(ProgressBar, FillsWithTheBytesRead) {
  EXPECT_EQ(ProgressBar(0, 200, 10), "[..........]   0%");
  EXPECT_EQ(ProgressBar(100, 200, 10), "[#####.....]  50%");
  EXPECT_EQ(ProgressBar(200, 200, 10), "[##########] 100%");
  EXPECT_EQ(ProgressBar(300, 200, 10), "[##########] 100%");
}

TEST(RingBaseOf, TakesOffTheEndingOfEitherFile) {
  EXPECT_EQ(RingBaseOf("a/b_1.mtd"), "a/b");
  EXPECT_EQ(RingBaseOf("a/b_2.mtd"), "a/b");
  EXPECT_EQ(RingBaseOf("a/b_3.mtd"), std::nullopt);
  EXPECT_EQ(RingBaseOf("_1.mtd"), std::nullopt);
  EXPECT_EQ(RingBaseOf("a/b"), std::nullopt);
}

}  // namespace
}  // namespace vmr::tool
