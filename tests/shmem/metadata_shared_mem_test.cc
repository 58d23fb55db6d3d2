// The link to the metadata manager's area, on a real area of this machine.
#include "shmem/metadata_shared_mem.h"

#include <gmock/gmock.h>
#include <string.h>
#include <sys/stat.h>

#include "tests/support/bytes.h"
#include "tests/support/captured_log.h"
#include "tests/support/shared_memory_area.h"

namespace vmr::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kFile[] = "MetadataSharedMem.cc";
constexpr char kNotAttached[] = "MetadataSharedMem::ShmemAttach - Shared Memory attachment failure";
constexpr char kNotConnected[] = "MetadataSharedMem::MetadadataItems - MetadataMgr not connected";

// While it lives, a directory has the area's name, and no area can be attached.
class NoArea {
 public:
  NoArea() {
    shm_unlink("/vmr.M");
    EXPECT_EQ(mkdir(kPath, 0700), 0);
  }
  ~NoArea() { rmdir(kPath); }
  NoArea(const NoArea&) = delete;
  NoArea& operator=(const NoArea&) = delete;

  static constexpr char kPath[] = "/dev/shm/vmr.M";
};

class MetadataSharedMemory : public MetadataManagersArea {
 protected:
  // What a test that was killed may have left is no hindrance.
  MetadataSharedMemory() { rmdir(NoArea::kPath); }

  // The area as the metadata manager has it.
  unsigned char* ManagersArea() {
    void* const area = manager_.Attach(88, 'M');
    EXPECT_NE(area, nullptr);
    return static_cast<unsigned char*>(area);
  }
  static LogEntry AttachmentFailure() { return {1, kFile, kNotAttached}; }
  static LogEntry NotConnected() { return {4, kFile, kNotConnected}; }

  CapturedLog log_;
  MetadataSharedMem link_;

 private:
  SharedMemory manager_;
};

// ---- Attaching -------------------------------------------------------------------

TEST_F(MetadataSharedMemory, IsAttachedWhenFirstAskedForAndNotBefore) {
  EXPECT_EQ(Mappings(), 0);
  EXPECT_NE(link_.MetadataItems(false), nullptr);
  EXPECT_EQ(Mappings(), 1);
}

TEST_F(MetadataSharedMemory, EveryOperationAttaches) {
  MetadataSharedMem a, b, c;
  EXPECT_EQ(a.ShmemAttach(), 1);
  EXPECT_EQ(b.Init(false), 1);
  EXPECT_NE(c.MetadataItems(false), nullptr);
  EXPECT_EQ(Mappings(), 3);
}

TEST_F(MetadataSharedMemory, IsThe88BytesOfTheIdentifierM) {
  EXPECT_EQ(link_.ShmemAttach(), 1);
  const int fd = shm_open("/vmr.M", O_RDONLY, 0);
  ASSERT_GE(fd, 0);
  struct stat status {};
  EXPECT_EQ(fstat(fd, &status), 0);
  EXPECT_EQ(status.st_size, 88);
  close(fd);
}

TEST_F(MetadataSharedMemory, IsSharedWithTheManagerToItsLastByte) {
  unsigned char* const items = link_.MetadataItems(false);
  ASSERT_NE(items, nullptr);
  unsigned char* const managers = ManagersArea();
  memset(managers, 0x5A, 88);
  EXPECT_EQ(memcmp(items, Bytes(88, 0x5A).data(), 88), 0);
  items[87] = 7;
  EXPECT_EQ(managers[87], 7);
}

TEST_F(MetadataSharedMemory, IsAttachedOnce) {
  EXPECT_EQ(link_.ShmemAttach(), 1);
  unsigned char* const items = link_.MetadataItems(false);
  const NoArea no_area;  // a second attachment would fail
  EXPECT_EQ(link_.ShmemAttach(), 1);
  EXPECT_EQ(link_.Init(false), 1);
  EXPECT_EQ(link_.MetadataItems(false), items);
  EXPECT_THAT(log_.Entries(), IsEmpty());
}

TEST_F(MetadataSharedMemory, IsGivenUpWithTheLink) {
  {
    MetadataSharedMem link;
    ASSERT_EQ(link.ShmemAttach(), 1);
  }
  EXPECT_EQ(Mappings(), 0);
}

TEST_F(MetadataSharedMemory, ThatCannotBeAttachedIsLoggedAndNull) {
  const NoArea no_area;
  EXPECT_EQ(link_.ShmemAttach(), 0);
  EXPECT_THAT(log_.Entries(), ElementsAre(AttachmentFailure()));
  EXPECT_EQ(link_.Init(true), 0);
  EXPECT_EQ(link_.MetadataItems(true), nullptr);
  EXPECT_EQ(link_.MetadataItems(false), nullptr);
  EXPECT_THAT(log_.Entries(), ElementsAre(AttachmentFailure(), AttachmentFailure(),
                                          AttachmentFailure(), AttachmentFailure()))
      << "tried again by every call, and no word of a manager";
}

TEST_F(MetadataSharedMemory, IsTriedAgainAfterAFailure) {
  {
    const NoArea no_area;
    EXPECT_EQ(link_.MetadataItems(false), nullptr);
  }
  log_.Clear();
  EXPECT_NE(link_.MetadataItems(false), nullptr);
  EXPECT_EQ(link_.ShmemAttach(), 1);
  EXPECT_THAT(log_.Entries(), IsEmpty());
}

// ---- The manager -----------------------------------------------------------------

TEST_F(MetadataSharedMemory, OfAManagerThatHasNotConnectedIsAWarningAndNeverNull) {
  EXPECT_NE(link_.MetadataItems(true), nullptr);
  EXPECT_THAT(log_.Entries(), ElementsAre(NotConnected()));
  EXPECT_EQ(link_.Init(true), 1);
  EXPECT_THAT(log_.Entries(), ElementsAre(NotConnected(), NotConnected()));
}

TEST_F(MetadataSharedMemory, TheManagerIsNotAskedAfterWithoutAWish) {
  EXPECT_EQ(link_.Init(false), 1);
  EXPECT_NE(link_.MetadataItems(false), nullptr);
  EXPECT_THAT(log_.Entries(), IsEmpty());
}

TEST_F(MetadataSharedMemory, TheManagerHasConnectedWhenEitherOfTheFirstTwoBytesIsNotZero) {
  unsigned char* const managers = ManagersArea();
  const unsigned char firsts[][2] = {{1, 0}, {0, 1}, {1, 1}, {0x80, 0}, {0, 0xFF}};
  for (const auto& first : firsts) {
    memcpy(managers, first, 2);
    EXPECT_NE(link_.MetadataItems(true), nullptr);
  }
  EXPECT_THAT(log_.Entries(), IsEmpty());
}

TEST_F(MetadataSharedMemory, TheOtherBytesDoNotTellWhetherTheManagerHasConnected) {
  unsigned char* const managers = ManagersArea();
  memset(managers + 2, 0xFF, 86);
  EXPECT_EQ(link_.Init(true), 1);
  EXPECT_THAT(log_.Entries(), ElementsAre(NotConnected()));
}

TEST_F(MetadataSharedMemory, AManagerThatConnectsLaterIsSeen) {
  unsigned char* const items = link_.MetadataItems(true);
  ASSERT_NE(items, nullptr);
  log_.Clear();
  ManagersArea()[0] = 1;
  EXPECT_EQ(link_.MetadataItems(true), items);
  EXPECT_THAT(log_.Entries(), IsEmpty());
}

}  // namespace
}  // namespace vmr::test
