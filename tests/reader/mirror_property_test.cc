// Thousands of random reports of every family go through a store's files and the
// reader into a second store. The two mirrors must then agree in every field but
// those for which there is a reason (mirror_comparison.h).
//
// VMR_PROPERTY_SEED=n runs with that seed instead of a new one; a failure prints
// the seed.
#include <stdlib.h>

#include <random>
#include <string>

#include "backends/data_store_flat.h"
#include "backends/data_store_normal.h"
#include "tests/reader/mirror_comparison.h"
#include "tests/reader/random_host.h"
#include "tests/reader/reader_fixture.h"
#include "tests/support/temp_dir.h"

namespace vmr::test {
namespace {

class MirrorProperty : public testing::Test {
 protected:
  ~MirrorProperty() override { host::StartSystemTickAt(1); }

  static std::uint32_t Seed() {
    static const std::uint32_t kSeed = [] {
      const char* const wanted = getenv("VMR_PROPERTY_SEED");
      return wanted != nullptr ? static_cast<std::uint32_t>(strtoul(wanted, nullptr, 10))
                               : std::random_device{}();
    }();
    return kSeed;
  }

  // Reports `events` random events, then reads the file back and compares.
  template <typename Writer, typename Reader>
  void Run(const std::string& path, const Course& course, int events, std::uint32_t seed) {
    SCOPED_TRACE("VMR_PROPERTY_SEED=" + std::to_string(Seed()) + ", run seed " +
                 std::to_string(seed));
    WithoutTimeZoneName<Writer> store(path);
    testing::internal::CaptureStdout();  // flat readers name the kind of file
    ASSERT_EQ(store.Open(), 1);
    RandomHost host(store, course, seed);
    host.Start();
    host.Report(events);
    const bool end_with_dump = course.dumps && seed % 2 == 0;
    if (end_with_dump) host.Dump();
    host.Finish();
    CloseAndCompare<Reader>(store, path, host.Past(), end_with_dump);
  }

  template <typename Reader, typename Writer>
  void CloseAndCompare(WithoutTimeZoneName<Writer>& store, const std::string& path, History past,
                       bool just_dumped) {
    const unsigned int last_tick = store.GetCurrentSystemTick();
    past.described_behind_reading = store.described_behind_reading;
    store.Close();

    RecordingStore read_back;
    ASSERT_EQ(read_back.Open(), 1);
    ReadAll<Reader>(path, read_back);
    EXPECT_EQ(read_back.GetCurrentSystemTick(), last_tick_written);
    const std::string printed = testing::internal::GetCapturedStdout();
    EXPECT_TRUE(past.described_behind_reading || printed.find("ERROR") == std::string::npos)
        << printed;

    MirrorComparison mirrors(comparison, store.Mirror(), read_back.Mirror(), past, last_tick);
    mirrors.just_dumped = just_dumped;
    mirrors.All();
    EXPECT_EQ(comparison.Unexplained(), "");
    comparison.Forget();
  }

  template <typename Reader>
  void ReadAll(const std::string& path, DataStore& into) {
    Reader source(path);
    ASSERT_NE(source.Open(), 0);
    MetadataReader reader;
    reader.StartAt(source.InitialReadLocation());
    packets = 0;
    for (int count; (count = reader.ReadNextSystemTick(source, into)) > 0; packets += count)
      ASSERT_EQ(reader.ParseReadSystemTick(into), 1);
    last_tick_written = reader.ReadSysTick();
    source.Close();
  }

  // A dump in which a radar's description is too large for the packet that its
  // state still fits.
  void RunWithDescriptionBehindReading() {
    const std::string path = folder.Path("behind");
    WithoutTimeZoneName<DataStoreFlatWrite> store(path);
    testing::internal::CaptureStdout();
    ASSERT_EQ(store.Open(), 1);
    store.InitCurrentSystemTick(100);
    store.InitializeRadarId(1, RADAR_SRC_GENERIC, SPEED_UNITS_MPH, std::string(245, 'd').c_str(),
                            true);
    store.WriteBuffers();
    store.ReportRadarState(1, true, true);
    store.WriteBuffers();
    store.WriteFullState(false);
    store.WriteBuffers();
    EXPECT_TRUE(store.described_behind_reading);
    History past;
    past.dumped = true;
    CloseAndCompare<DataStoreFlatRead>(store, path, past, true);
  }

  // So many runs of as many events, flat.
  void RunFlat(const Course& course, int runs, int events) {
    for (int n = 0; n < runs && !HasFailure(); ++n) {
      const std::string path = folder.Path("flat" + std::to_string(n));
      Run<DataStoreFlatWrite, DataStoreFlatRead>(
          path, course, events, Seed() + seed_offset + static_cast<std::uint32_t>(n));
      std::filesystem::remove(path);
    }
  }

  int Seen(Difference reason) const { return comparison.Seen(reason); }

  CapturedLog quiet{0};
  TempDir folder{TempDir::RoomForRings()};
  Comparison comparison;
  std::uint32_t seed_offset = 0;
  int packets = 0;  // of the last run
  unsigned int last_tick_written = 0;
};

TEST_F(MirrorProperty, EveryReasonIsToldOnce) {
  for (std::size_t n = 0; n < std::size(kReasons); ++n)
    EXPECT_EQ(static_cast<std::size_t>(kReasons[n].difference), n + 1) << kReasons[n].field;
}

TEST_F(MirrorProperty, ReportsOfAllFamiliesSurviveAFlatFile) {
  RunFlat({}, 40, 500);
  EXPECT_GT(packets, 100);
  EXPECT_EQ(Seen(Difference::kTemperature8Bit) + Seen(Difference::kFourBits) +
                Seen(Difference::kLowByte) + Seen(Difference::kTenBits) +
                Seen(Difference::kSouthOrEast) + Seen(Difference::kOverlongText) +
                Seen(Difference::kUntaggedDevice) + Seen(Difference::kNotRecordedSpeed),
            0)
      << "values that items carry whole come back whole";
}

TEST_F(MirrorProperty, SoDoTheyWithFullDumpsInBetween) {
  Course course;
  course.dumps = true;
  RunFlat(course, 40, 500);
}

TEST_F(MirrorProperty, ValuesThatItemsCannotCarryDifferAsTheTableSays) {
  Course course;
  course.odd_values = course.four_hemispheres = course.speeds_switched = true;
  RunFlat(course, 40, 500);
  course.dumps = true;
  RunFlat(course, 40, 500);
}

// A reason that no run needs would be an excuse for nothing.
TEST_F(MirrorProperty, EveryReasonOfTheTableIsNeeded) {
  const auto missing = [this] {
    std::string fields;
    for (const Reason& reason : kReasons)
      if (Seen(reason.difference) == 0)
        fields += std::string(reason.field) + ": " + reason.why + "\n";
    return fields;
  };
  RunWithDescriptionBehindReading();
  constexpr int kMostRounds = 100;
  for (int round = 0; round < kMostRounds && !missing().empty() && !HasFailure(); ++round) {
    seed_offset = static_cast<std::uint32_t>(1000 * round);
    const bool odd = round % 2 == 1;
    RunFlat({round % 4 >= 2, odd, odd, odd && round % 8 < 4}, 20, 300);
  }
  EXPECT_EQ(missing(), "") << "VMR_PROPERTY_SEED=" << Seed();
}

TEST_F(MirrorProperty, ReportsOfAllFamiliesSurviveTheRing) {
  Course course;
  course.dumps = true;
  Run<DataStoreNormal, DataStoreNormal>(folder.Path("ring"), course, 3000, Seed());
  EXPECT_GT(packets, 500);
}

}  // namespace
}  // namespace vmr::test
