// Recording where there is no room: on a full file system, under a limit on the
// size of files, and into a device that is always full.
#include "tests/support/scarce_room.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>

#include "backends/data_store_flat.h"
#include "backends/data_store_normal.h"
#include "host/log.h"
#include "tests/crash/state_check.h"
#include "tests/processes/numbered_packets.h"
#include "tests/processes/real_ring.h"
#include "tests/support/captured_log.h"

namespace vmr::processes {
namespace {

namespace fs = std::filesystem;
using test::CapturedLog;
using test::FileSizeLimit;
using test::SmallFileSystem;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr RingStart kFirstLap = {1000, false};
constexpr int kRoomMebibytes = 300;  // two files of 128, and some

// How room is taken away, and given back.
enum class Scarcity { kFullTmpfs, kFileSizeLimit };

class ScarceRoomTest : public testing::TestWithParam<Scarcity> {
 protected:
  void SetUp() override {
    signal(SIGXFSZ, SIG_IGN);  // a write beyond the limit is to fail, not to kill
    if (GetParam() == Scarcity::kFileSizeLimit) {
      folder_.emplace();
      base_ = folder_->Path("ring");
      return;
    }
    small_ = std::make_unique<SmallFileSystem>(kRoomMebibytes);
    if (!small_->WhyNot().empty())
      GTEST_SKIP() << "no tmpfs may be mounted here (" << small_->WhyNot()
                   << "); the same runs under a limit on the size of files";
    base_ = small_->Path("ring");
  }

  // From now on files do not grow, nor do files with holes fill at cluster `from`.
  void TakeRoom(int from) {
    if (small_)
      small_->Fill();
    else
      limit_.emplace(static_cast<unsigned long long>(from) * kImageBytes);
  }
  void GiveRoom() {
    if (small_)
      small_->MakeRoom();
    else
      limit_.reset();
  }
  std::string Reason() const {
    return small_ ? "28: No space left on device" : "27: File too large";
  }
  std::string File(int number) const { return RingPath(base_, number); }

  std::optional<test::TempDir> folder_;
  std::unique_ptr<SmallFileSystem> small_;
  std::optional<FileSizeLimit> limit_;
  std::string base_;
};

std::size_t HashOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  const std::string content(std::istreambuf_iterator<char>(file), {});
  return std::hash<std::string_view>()(content);
}

// The packets that are read back from a window of clusters on.
Numbers ReadBack(DataStoreNormal& store, int from) {
  crash::Bytes stream;
  EXPECT_TRUE(crash::ReadStream(store, from, &stream));
  return ReadNumbers(stream);
}

int Write(DataStoreNormal& store, std::uint32_t number) {
  const Bytes packet = NumberedPacket(number);
  return store.WriteData(packet.data(), static_cast<int>(packet.size()), number);
}

TEST_P(ScarceRoomTest, ARingThatHasNoRoomIsMadeWhenThereIs) {
  const CapturedLog log(kLogError | kLogFatal);
  TakeRoom(10);
  {
    DataStoreNormal store(base_);
    EXPECT_EQ(store.Open(), 0);
  }
  EXPECT_THAT(log.Texts(kLogError),
              Contains("Failed to write to file " + File(1) + ".tmp during initialization, " +
                       std::string(Reason()).insert(4, "%s")));
  EXPECT_FALSE(fs::exists(File(1)));
  GiveRoom();
  DataStoreNormal store(base_);
  EXPECT_EQ(store.Open(), 1);
  EXPECT_EQ(Write(store, 1), 1);
  EXPECT_FALSE(fs::exists(File(1) + ".tmp"));
  EXPECT_EQ(ReadBack(store, 0).last, 1U);
}

TEST_P(ScarceRoomTest, AMissingFileThatHasNoRoomCostsNothingOfTheOther) {
  ASSERT_TRUE(LayRing(base_, kFirstLap));
  fs::remove(File(2));
  const std::size_t before = HashOf(File(1));
  const CapturedLog log(kLogError | kLogFatal);
  TakeRoom(10);
  {
    DataStoreNormal store(base_);
    EXPECT_EQ(store.Open(), 0);
    EXPECT_EQ(Write(store, 1002), 0);  // refused: it is closed
    EXPECT_EQ(store.OpenReadOnly(), 1);
    EXPECT_EQ(ReadBack(store, 0).last, 1001U);
  }
  EXPECT_THAT(log.Texts(kLogError), Contains(HasSubstr("Failed to write to file " + File(2))));
  EXPECT_EQ(HashOf(File(1)), before);
  GiveRoom();
  {
    DataStoreNormal store(base_);
    EXPECT_EQ(store.Open(), 1);
    EXPECT_EQ(Write(store, 1002), 1);
  }
  DataStoreNormal store(base_);
  EXPECT_EQ(store.Open(), 1);
  const Numbers numbers = ReadBack(store, 0);
  EXPECT_EQ(numbers.first, 1U);
  EXPECT_EQ(numbers.last, 1002U);
  EXPECT_EQ(numbers.wrong, "");
}

// A device gives room to a cluster only when it is written: here, where the files
// have a hole since the ring was opened.
void PunchHole(const std::string& path, int cluster) {
  const int fd = open(path.c_str(), O_WRONLY | O_CLOEXEC);
  EXPECT_EQ(fallocate(fd, FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE,
                      static_cast<off_t>(cluster) * kImageBytes, kImageBytes),
            0);
  close(fd);
}

// What is refused stays in memory, and is written when there is room again.
TEST_P(ScarceRoomTest, PacketsThatFoundNoRoomAreWrittenWhenThereIs) {
  constexpr int kNext = kFirstLap.current + 1;
  ASSERT_TRUE(LayRing(base_, kFirstLap));
  std::uint32_t number = LastLaidNumber(kFirstLap);
  {
    DataStoreNormal store(base_);
    ASSERT_EQ(store.Open(), 1);
    if (small_)
      for (const int file : {1, 2}) PunchHole(File(file), kNext);
    TakeRoom(kNext);
    const CapturedLog log(kLogError | kLogFatal);
    while (store.CurrentCluster() < kNext) EXPECT_EQ(Write(store, ++number), 1);
    EXPECT_EQ(Write(store, ++number), 1);
    const std::string refused = "Could not write metadata file at cluster 1001 (4100096) - ";
    EXPECT_THAT(log.Texts(kLogError), ElementsAre(refused + Reason(), refused + Reason()));
    GiveRoom();
    EXPECT_EQ(Write(store, ++number), 1);
    EXPECT_EQ(Write(store, ++number), 1);
    EXPECT_EQ(store.CurrentCluster(), kNext);
    EXPECT_EQ(log.Entries().size(), 2U);
  }
  for (const bool without_file1 : {false, true}) {
    if (without_file1) fs::remove(File(1));
    DataStoreNormal store(base_);
    ASSERT_EQ(store.OpenReadOnly(), 1);
    const Numbers numbers = ReadBack(store, 0);
    EXPECT_EQ(numbers.wrong, "");
    EXPECT_EQ(numbers.first, 1U);
    // Each file was written in its turn: alone, #2 may lack the packet of #1.
    EXPECT_GE(numbers.last, without_file1 ? number - 1 : number);
  }
}

std::string NameOf(const testing::TestParamInfo<Scarcity>& scarcity) {
  return scarcity.param == Scarcity::kFullTmpfs ? "OnAFullTmpfs" : "UnderAFileSizeLimit";
}
INSTANTIATE_TEST_SUITE_P(Room, ScarceRoomTest,
                         testing::Values(Scarcity::kFullTmpfs, Scarcity::kFileSizeLimit), NameOf);

// The first file has room, the second has not.
TEST(ScarceRoom, ARingOfOneFileIsNoRing) {
  const SmallFileSystem small(kRoomMebibytes);
  if (!small.WhyNot().empty()) GTEST_SKIP() << "no tmpfs may be mounted here: " << small.WhyNot();
  const CapturedLog log(kLogError | kLogFatal);
  small.Fill(200);
  const std::string base = small.Path("ring");
  {
    DataStoreNormal store(base);
    EXPECT_EQ(store.Open(), 0);
  }
  EXPECT_TRUE(fs::exists(RingPath(base, 1)));
  EXPECT_FALSE(fs::exists(RingPath(base, 2)));
  small.MakeRoom();
  DataStoreNormal store(base);
  EXPECT_EQ(store.Open(), 1);
  EXPECT_EQ(Write(store, 1), 1);
}

TEST(FullDevice, AFlatFileRefusesEveryPacketAndSaysWhy) {
  const CapturedLog log(kLogError | kLogFatal);
  DataStoreFlatWrite store("/dev/full");
  EXPECT_EQ(store.Open(), 1);  // magic and dictionary are refused, too
  const Bytes packet = NumberedPacket(1);
  for (int n = 0; n < 3; ++n)
    EXPECT_EQ(store.WriteData(packet.data(), static_cast<int>(packet.size()), 1), 0);
  EXPECT_FALSE(store.WroteEverything());
  EXPECT_EQ(store.Close(), 1);
  const std::string refused = "Error writing to file (/dev/full) 28No space left on device";
  EXPECT_THAT(log.Texts(kLogError), ElementsAre(refused, refused, refused, refused, refused));
}

TEST(FullDevice, NoRingIsMadeOfIt) {
  const test::TempDir folder;
  const std::string base = folder.Path("ring");
  for (const int file : {1, 2}) fs::create_symlink("/dev/full", RingPath(base, file));
  const CapturedLog log(kLogError | kLogFatal);
  DataStoreNormal store(base);
  EXPECT_EQ(store.Open(), 0);
  EXPECT_THAT(log.Texts(kLogError), ElementsAre("Invalid file type of file  " + RingPath(base, 1),
                                                "Invalid file type of file  " + RingPath(base, 2)));
}

}  // namespace
}  // namespace vmr::processes
