// A store's life: construction, the work buffer, what the base class answers.
#include "store/data_store.h"

#include <gtest/gtest.h>

#include <type_traits>

#include "tests/support/store_fixture.h"

namespace vmr::test {
namespace {

using testing::ElementsAre;

class DataStoreLife : public StoreTest {};

static_assert(!std::is_copy_constructible_v<RecordingStore>);
static_assert(!std::is_copy_assignable_v<RecordingStore>);

TEST_F(DataStoreLife, KindsAreNumberedAsHostsKnowThem) {
  EXPECT_EQ(DATA_STORE_NORMAL, 0);
  EXPECT_EQ(DATA_STORE_FLAT_READ, 1);
  EXPECT_EQ(DATA_STORE_FLAT_MESSAGE, 2);
  EXPECT_EQ(DATA_STORE_NULL, 3);
  EXPECT_EQ(DATA_STORE_FLAT_WRITE, 4);
  EXPECT_EQ(RecordingStore(DATA_STORE_FLAT_WRITE).Type(), DATA_STORE_FLAT_WRITE);
}

TEST_F(DataStoreLife, StartsWithEverythingClear) {
  EXPECT_EQ(store.GetCurrentSystemTick(), 0xFFFFFFFFu);
  EXPECT_EQ(store.ViewMode(), 0u);
  EXPECT_FALSE(store.Viewing());
  EXPECT_FALSE(store.HasPendingItems());
  EXPECT_EQ(store.WorkBuffer(), nullptr);
  const StateMirror& mirror = store.Mirror();
  EXPECT_EQ(mirror.time.base_time, 0);
  EXPECT_EQ(mirror.time.base_tick, 0u);
  EXPECT_EQ(mirror.time.time_check_tick, 0u);
  EXPECT_FALSE(mirror.gps.gpsConfigured || mirror.gps.gpsLocationSet || mirror.gps.gpsAvailable);
  EXPECT_EQ(mirror.gps.gpsDesc.desc, "");
  for (const TempInfo_t& sensor : mirror.temperature.sensors) EXPECT_FALSE(sensor.valid);
  for (const bool on : mirror.inputs.on) EXPECT_FALSE(on);
}

TEST_F(DataStoreLife, OpenAllocatesTheWorkBufferAndCloseFreesIt) {
  EXPECT_EQ(store.Open(), 1);
  ASSERT_NE(store.WorkBuffer(), nullptr);
  EXPECT_EQ(store.WorkBufferSize(), 8192);
  std::fill_n(store.WorkBuffer(), store.WorkBufferSize(), static_cast<unsigned char>(0xAA));
  EXPECT_EQ(store.Close(), 1);
  EXPECT_EQ(store.WorkBuffer(), nullptr);
}

TEST_F(DataStoreLife, CloseSaysSoInOneWord) {
  ASSERT_EQ(store.Open(), 1);
  log.Clear();
  store.Close();
  EXPECT_THAT(log.Entries(), ElementsAre(LogEntry{kLogEachItem, "DataStore.cc", "Closedone"}));
}

TEST_F(DataStoreLife, OpeningTwiceIsRefusedAndHarmless) {
  ASSERT_EQ(store.Open(), 1);
  unsigned char* const buffer = store.WorkBuffer();
  EXPECT_EQ(store.Open(), 0);
  EXPECT_TRUE(Logged(kLogError, "Open called on a store that is open"));
  EXPECT_EQ(store.WorkBuffer(), buffer);
}

TEST_F(DataStoreLife, ClosingTwiceOrUnopenedIsHarmless) {
  EXPECT_EQ(store.Close(), 1);
  EXPECT_EQ(store.Open(), 1);
  EXPECT_EQ(store.Close(), 1);
  EXPECT_EQ(store.Close(), 1);
  EXPECT_EQ(store.Open(), 1) << "and it can be opened again";
}

TEST_F(DataStoreLife, ReadingFromAStoreThatCannotBeReadFails) {
  unsigned char buffer[8] = {};
  int bytes_read = 77;
  long next = 99;
  EXPECT_EQ(store.ReadDataIntoBuffer(0, buffer, sizeof(buffer), bytes_read, next), 0);
  EXPECT_EQ(bytes_read, 0);
  EXPECT_THAT(log.Entries(),
              ElementsAre(LogEntry{kLogError, "DataStore.cc", "Error calling ReadDataIntoBuffer"}));
}

TEST_F(DataStoreLife, ReadersBeginAtZero) { EXPECT_EQ(store.InitialReadLocation(), 0); }

TEST_F(DataStoreLife, ViewModeIsAWordOfFlags) {
  EXPECT_EQ(kViewItems, 1u);
  EXPECT_EQ(kViewDumps, 2u);
  store.SetViewMode(kViewDumps);
  EXPECT_FALSE(store.Viewing());
  store.SetViewMode(kViewItems | kViewDumps);
  EXPECT_TRUE(store.Viewing());
  EXPECT_EQ(store.ViewMode(), 3u);
}

TEST_F(DataStoreLife, NothingIsLoggedAtLevelsThatAreOff) {
  const CapturedLog errors_only(kLogError);
  ASSERT_EQ(store.Open(), 1);
  store.AddToCurrPacket(B("56").data(), 1, static_cast<unsigned short>(1));
  store.WriteBuffers();
  store.Close();
  EXPECT_THAT(errors_only.Entries(), testing::IsEmpty());
}

}  // namespace
}  // namespace vmr::test
