#include "host/shared_memory.h"

#include <gtest/gtest.h>
#include <string.h>

#include "tests/support/bytes.h"
#include "tests/support/fresh_process.h"
#include "tests/support/shared_memory_area.h"

namespace vmr::test {
namespace {

TEST_F(MetadataManagersArea, Has88ZeroedBytesSharedByItsAttachments) {
  SharedMemory first, second;
  void* const a = first.Attach(88, 'M');
  ASSERT_NE(a, nullptr);
  EXPECT_EQ(memcmp(a, Bytes(88, 0).data(), 88), 0);
  void* const b = second.Attach(88, 'M');
  ASSERT_NE(b, nullptr);
  EXPECT_NE(a, b) << "two attachments, one area";
  memset(a, 0x5A, 88);
  EXPECT_EQ(memcmp(b, Bytes(88, 0x5A).data(), 88), 0);
  static_cast<char*>(b)[87] = 1;
  EXPECT_EQ(static_cast<char*>(a)[87], 1);
}

TEST_F(SharedMemoryArea, IsSharedWithOtherProcesses) {
  SharedMemory mine;
  char* const area = static_cast<char*>(mine.Attach(88, 'T'));
  ASSERT_NE(area, nullptr);
  area[3] = 'x';
  EXPECT_EQ(InFreshProcess([] {
              SharedMemory theirs;
              char* const same = static_cast<char*>(theirs.Attach(88, 'T'));
              if (same == nullptr || same[3] != 'x') return "not shared";
              same[4] = 'y';
              return "shared";
            }),
            "shared");
  EXPECT_EQ(area[4], 'y');
}

TEST_F(SharedMemoryArea, KeepsItsBytesWhenNobodyIsAttached) {
  {
    SharedMemory first;
    memset(first.Attach(88, 'T'), 0x77, 88);
  }
  EXPECT_EQ(Mappings(), 0);
  SharedMemory second;
  EXPECT_EQ(memcmp(second.Attach(88, 'T'), Bytes(88, 0x77).data(), 88), 0);
}

TEST_F(SharedMemoryArea, ASecondAttachGivesUpTheFirstAttachment) {
  SharedMemory memory;
  ASSERT_NE(memory.Attach(88, 'T'), nullptr);
  EXPECT_EQ(Mappings(), 1);
  ASSERT_NE(memory.Attach(88, 'T'), nullptr);
  EXPECT_EQ(Mappings(), 1);
}

TEST_F(SharedMemoryArea, CannotBeAttachedByAnImpossibleNameOrSize) {
  SharedMemory memory;
  EXPECT_EQ(memory.Attach(88, '/'), nullptr);
  EXPECT_EQ(memory.Attach(0, 'T'), nullptr);
  EXPECT_NE(memory.Attach(88, 'T'), nullptr) << "a failure leaves it usable";
}

}  // namespace
}  // namespace vmr::test
