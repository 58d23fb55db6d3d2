// What a power cut may leave, of sessions of a few calls.
#include "tests/crash/disk.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <set>
#include <vector>

#include "tests/crash/recording.h"

namespace vmr::crash {
namespace {

const Bytes kOnes(kPageBytes, 0x11);
const Bytes kTwos(kPageBytes, 0x22);

class DiskTest : public ::testing::Test {
 protected:
  int Create(int name) { return files_.Open(PathOf(name), O_WRONLY | O_CREAT | O_CLOEXEC, 0660); }
  void Write(int fd, const Bytes& page) {
    ASSERT_EQ(files_.Write(fd, page.data(), page.size()), kPageBytes);
  }
  void SyncDirectory() {
    const int fd = files_.Open("/m", O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0);
    files_.Fsync(fd);
    files_.Close(fd);
  }
  // The disk after what `act` does, the files as they were before it.
  template <typename Act>
  Disk After(const Act& act) {
    Disk disk(files_);
    const CowFiles::Mark mark = files_.Set();
    files_.ForgetCalls();
    act();
    const std::vector<Done> calls = files_.Calls();
    files_.Undo(mark, true);
    for (const Done& call : calls) disk.Follow(call);
    return disk;
  }
  int FirstByte(int name, int page) const {
    unsigned char bytes[kPageBytes] = {};
    return files_.ReadRaw(name, page, bytes) ? bytes[0] : -1;
  }
  std::string NamesThere() const {
    std::string there;
    for (int name = 0; name < kNames; ++name)
      if (files_.Exists(name)) there += std::to_string(name);
    return there;
  }

  CowFiles files_;
};

TEST_F(DiskTest, NewNamesReachTheDiskInAnySelection) {
  files_.MakeRing(kFile1);
  const Disk disk = After([this] {
    files_.Rename(PathOf(kFile1), PathOf(kCorrupt1));
    Create(kFile1);
  });
  ASSERT_EQ(disk.UnsyncedNames(), 2U);
  const std::string there[] = {"0", "4", "0", "04"};
  const long sizes[] = {long{kPages} * kPageBytes, 0, 0, 0};
  for (unsigned int kept = 0; kept < 4; ++kept) {
    const CowFiles::Mark mark = files_.Set();
    disk.PutInto(files_, kept, Reached::kAll);
    EXPECT_EQ(NamesThere(), there[kept]) << kept;
    if (files_.Exists(kFile1)) {
      EXPECT_EQ(files_.Size(kFile1), sizes[kept]) << kept;
    }
    files_.Undo(mark);
  }
  EXPECT_EQ(NamesThere(), "0");
}

TEST_F(DiskTest, WhatIsSyncedStays) {
  const Disk disk = After([this] {
    const int fd = Create(kFile2);
    Write(fd, kOnes);
    files_.Fsync(fd);
    SyncDirectory();
  });
  EXPECT_EQ(disk.UnsyncedNames(), 0U);
  for (int n = 0; n < static_cast<int>(Reached::kCount); ++n) {
    const CowFiles::Mark mark = files_.Set();
    disk.PutInto(files_, 0, static_cast<Reached>(n));
    EXPECT_EQ(FirstByte(kFile2, 0), 0x11);
    files_.Undo(mark);
  }
}

TEST_F(DiskTest, UnsyncedWritesAreKeptLostTornOrZeros) {
  const Disk disk = After([this] {
    const int fd = Create(kFile1);
    SyncDirectory();
    Write(fd, kOnes);
    Write(fd, kTwos);
  });
  const std::vector<std::pair<Reached, long>> sizes = {
      {Reached::kAll, 8192},        {Reached::kNone, 0},          {Reached::kFirst, 4096},
      {Reached::kHalf, 4096},       {Reached::kAllButLast, 4096}, {Reached::kTorn1, 4097},
      {Reached::kTorn512, 4608},    {Reached::kTorn4095, 8191},   {Reached::kSizeAlone, 8192},
      {Reached::kEverySecond, 8192}};
  std::set<std::string> states;
  for (const auto& [reached, size] : sizes) {
    const CowFiles::Mark mark = files_.Set();
    disk.PutInto(files_, 0, reached);
    EXPECT_EQ(files_.Size(kFile1), size) << NameOf(reached);
    if (reached == Reached::kSizeAlone) {
      EXPECT_EQ(FirstByte(kFile1, 1), 0);
    }
    if (reached == Reached::kEverySecond) {
      EXPECT_EQ(FirstByte(kFile1, 0), 0);
      EXPECT_EQ(FirstByte(kFile1, 1), 0x22);
    }
    states.insert(disk.Describe(0, reached));
    files_.Undo(mark);
  }
  EXPECT_EQ(states.size(), sizes.size() - 2);  // three of them are the first write alone
}

TEST_F(DiskTest, ACopyReplacesTheOldContentAsAWholeOrStopsHalfway) {
  MakeEmptyRing(files_, kFile1);
  files_.MakeRing(kFile2);
  files_.SetPage(kFile2, 7, files_.MakePage(kOnes.data(), kPageBytes));
  const Disk disk = After([this] { files_.System("cp /m/r_2.mtd /m/r_1.mtd"); });
  struct Left {
    Reached reached;
    long size;
    int byte;  // the first of page 7
  };
  constexpr long kWhole = long{kPages} * kPageBytes;
  const int old_byte = FirstByte(kFile1, 7);
  for (const Left& left :
       {Left{Reached::kNone, kWhole, old_byte}, Left{Reached::kFirst, 0, -1},
        Left{Reached::kHalf, kWhole / 2 - kPageBytes, 0x11},
        Left{Reached::kTorn4095, kWhole - 1, 0x11}, Left{Reached::kAll, kWhole, 0x11}}) {
    const CowFiles::Mark mark = files_.Set();
    disk.PutInto(files_, 0, left.reached);
    EXPECT_EQ(files_.Size(kFile1), left.size) << NameOf(left.reached);
    EXPECT_EQ(FirstByte(kFile1, 7), left.byte) << NameOf(left.reached);
    EXPECT_EQ(FirstByte(kFile2, 7), 0x11);
    files_.Undo(mark);
  }
}

}  // namespace
}  // namespace vmr::crash
