#include "tools/record/held_syncs.h"

#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>

#include "backends/file_io.h"
#include "tests/support/file_hook.h"
#include "tests/support/temp_dir.h"

namespace vmr::tool {
namespace {

// Counts the syncs that reach the device; the n-th of them may fail.
class CountedSyncs final : public test::PassingOn {
 public:
  explicit CountedSyncs(int failing = 0) : failing_(failing) {}

  int Fsync(int fd) override {
    if (++syncs_ != failing_) return PassingOn::Fsync(fd);
    errno = EIO;
    return -1;
  }
  int Syncs() const { return syncs_; }

 private:
  const int failing_;
  int syncs_ = 0;
};

class HeldSyncsTest : public testing::Test {
 protected:
  int OpenNew(const std::string& name) const {
    return OpenFile(folder_.Path(name), O_WRONLY | O_CREAT, 0600);
  }

 private:
  test::TempDir folder_;
};

TEST_F(HeldSyncsTest, AFileIsSyncedOnceWhenItIsClosed) {
  const CountedSyncs device;
  HeldSyncs held;
  const int fd = OpenNew("a");
  for (int i = 0; i < 3; ++i) {
    EXPECT_TRUE(WriteWhole(fd, "packet", 6));
    EXPECT_EQ(SyncFile(fd), 0);
  }
  EXPECT_EQ(device.Syncs(), 0);
  EXPECT_EQ(CloseFile(fd), 0);
  EXPECT_EQ(device.Syncs(), 1);
  EXPECT_FALSE(held.Failed());
}

// Which a seek would.
TEST_F(HeldSyncsTest, AWriteAtAPositionMovesNothing) {
  const HeldSyncs held;
  const int fd = OpenNew("a");
  EXPECT_EQ(WriteWholeAt(fd, "packet", 6, 10), 6);
  EXPECT_EQ(SeekFile(fd, 0, SEEK_CUR), 0);
  EXPECT_EQ(SeekFile(fd, 0, SEEK_END), 16);
  EXPECT_EQ(CloseFile(fd), 0);
}

TEST_F(HeldSyncsTest, AFileThatWasNotToBeSyncedIsNot) {
  const CountedSyncs device;
  const HeldSyncs held;
  EXPECT_EQ(CloseFile(OpenNew("a")), 0);
  EXPECT_EQ(device.Syncs(), 0);
}

// A descriptor's number comes back.
TEST_F(HeldSyncsTest, AClosedFileIsForgotten) {
  const CountedSyncs device;
  const HeldSyncs held;
  const int first = OpenNew("a");
  EXPECT_TRUE(SyncAndClose(first));
  const int second = OpenNew("b");
  EXPECT_EQ(first, second);
  EXPECT_EQ(CloseFile(second), 0);
  EXPECT_EQ(device.Syncs(), 1);
}

TEST_F(HeldSyncsTest, ASyncThatFailsInTheEndIsToldByCloseAndStaysKnown) {
  const CountedSyncs device(1);
  HeldSyncs held;
  const int first = OpenNew("a");
  const int second = OpenNew("b");
  EXPECT_EQ(SyncFile(first), 0);
  EXPECT_EQ(SyncFile(second), 0);
  EXPECT_EQ(CloseFile(first), -1);
  EXPECT_EQ(errno, EIO);
  EXPECT_EQ(CloseFile(second), 0);
  EXPECT_TRUE(held.Failed());
  EXPECT_EQ(held.Error(), EIO);
}

TEST_F(HeldSyncsTest, AfterItSyncsAreDoneAtOnceAgain) {
  const CountedSyncs device;
  { const HeldSyncs held; }
  const int fd = OpenNew("a");
  EXPECT_EQ(SyncFile(fd), 0);
  EXPECT_EQ(device.Syncs(), 1);
  EXPECT_EQ(CloseFile(fd), 0);
}

}  // namespace
}  // namespace vmr::tool
