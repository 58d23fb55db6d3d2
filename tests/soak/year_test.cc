// A year of driving by simulated time: every family of events, a dump of
// everything each hour, 400 power cycles, steps of the wall clock, the end of
// 32 bits of ticks, and the ring several times round. A model that knows nothing
// of the ring says what must be in it.
//
// By itself it skips the ticks at which nothing happens. With VMR_LONG=1 in the
// environment it takes every one of the 63 million. VMR_SOAK_HOURS makes it
// shorter; what then cannot be checked is said.
#include <dirent.h>
#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>

#include "backends/data_store_normal.h"
#include "backends/data_store_null.h"
#include "host/default/host_control.h"
#include "reader/metadata_reader.h"
#include "tests/soak/counted_files.h"
#include "tests/soak/ring_model.h"
#include "tests/soak/vehicle.h"
#include "tests/support/temp_dir.h"
#include "tests/support/test_clock.h"

namespace vmr::test {
namespace {

// A year is too long for a sanitizer, and for the unit when it is emulated.
#if defined(__SANITIZE_ADDRESS__) || defined(__powerpc__)
constexpr unsigned int kUsualHours = 300;
#else
constexpr unsigned int kUsualHours = 8766;
#endif
#if defined(__SANITIZE_ADDRESS__)
constexpr bool kHeapIsTheLibrarys = false;  // the sanitizer keeps what was freed
#else
constexpr bool kHeapIsTheLibrarys = true;
#endif

constexpr unsigned int kYear_h = 8766;
constexpr unsigned int kTicksPerHour = 7200;
constexpr unsigned int kTicksPerDump = 7201;
constexpr std::time_t kNewYear = 1767225600;  // 2026-01-01 00:00 UTC

unsigned int HoursToRun() {
  const char* const hours = std::getenv("VMR_SOAK_HOURS");
  return hours == nullptr ? kUsualHours : static_cast<unsigned int>(std::atoi(hours));
}

bool EveryTick() {
  const char* const wanted = std::getenv("VMR_LONG");
  return wanted != nullptr && *wanted == '1';
}

std::string Hex(const std::vector<std::string>& items) {
  std::string text;
  for (const std::string& item : items) {
    for (const char byte : item) {
      char digits[8];
      std::snprintf(digits, sizeof(digits), "%02X", byte & 0xFF);
      text += digits;
    }
    text += ' ';
  }
  return text;
}

int OpenDescriptors() {
  DIR* const directory = opendir("/proc/self/fd");
  int count = 0;
  while (readdir(directory) != nullptr) ++count;
  closedir(directory);
  return count;
}

std::size_t HeapBytes() {
  const auto info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

// Hands every packet to two watchers before the ring has it.
class WatchedRing : public DataStoreNormal {
 public:
  WatchedRing(const std::string& base, RingModel& model, std::vector<std::string>& items)
      : DataStoreNormal(base), model_(model), items_(items) {}

  int WriteData(const unsigned char* data, int length, unsigned int tick) override {
    model_.Take(data, length, tick);
    for (std::string& item : ItemsOf(data, length)) items_.push_back(std::move(item));
    return DataStoreNormal::WriteData(data, length, tick);
  }

 private:
  RingModel& model_;
  std::vector<std::string>& items_;
};

// Compares what a reader meets with the model, cluster by cluster.
class ReadBack : public DataStore {
 public:
  explicit ReadBack(const RingModel& model)
      : DataStore(DATA_STORE_NULL, kSimpleStoreBufferBytes), window_(model.Window()) {
    for (const RingModel::Cluster& cluster : window_) expected_ += cluster.packets;
  }

  int Open() override { return OpenInit(); }
  int WriteData(const unsigned char* data, int length, unsigned int /*tick*/) override {
    ++packets_;
    if (at_ >= window_.size()) return 1;
    checksum_ = RingModel::Continued(checksum_, data, length);
    if (++in_cluster_ < window_[at_].packets) return 1;
    if (checksum_ != window_[at_].checksum && wrong_ == 0) wrong_ = at_ + 1;
    ++at_;
    in_cluster_ = 0;
    checksum_ = 0;
    return 1;
  }

  // The first tick of the cluster whose first packet comes next, if one begins.
  std::optional<unsigned int> TickDue() const {
    if (in_cluster_ != 0 || at_ >= window_.size()) return std::nullopt;
    const unsigned int tick = window_[at_].first_tick;
    return tick < RingModel::kNoTick ? std::optional(tick) : std::nullopt;
  }
  std::uint64_t Packets() const { return packets_; }
  std::uint64_t Expected() const { return expected_; }
  // Counted from 1; 0 when all were right.
  std::size_t FirstWrongCluster() const { return wrong_; }
  std::size_t Clusters() const { return window_.size(); }
  bool Complete() const { return at_ == window_.size() && packets_ == expected_; }

 private:
  std::vector<RingModel::Cluster> window_;
  std::uint64_t expected_ = 0;
  std::uint64_t packets_ = 0;
  std::size_t at_ = 0;
  std::uint32_t in_cluster_ = 0;
  std::uint64_t checksum_ = 0;
  std::size_t wrong_ = 0;
};

// The library logs no error in all the year, but for one: a reader that begins in
// the middle meets ways from a position that it does not know.
struct NoErrors {
  NoErrors() {
    host::SetLogLevel(kLogFatal | kLogError);
    host::SetLogSink([this](unsigned int, std::string_view text) {
      if (text.find("Requested to Store GPS but location not set") != text.npos) return;
      if (++count <= 5) ADD_FAILURE() << "logged: " << text;
    });
  }
  ~NoErrors() {
    host::SetLogSink({});
    host::SetLogLevel(kLogFatal | kLogError | kLogWarning);
  }
  int count = 0;
};

class Year : public testing::Test {
 protected:
  Year() : folder_(TempDir::RoomForRings()), hours_(HoursToRun()) {
    dumps_.reserve(4 * kYear_h);
    // The counter wraps after a third of the time.
    tick_ = 0U - hours_ / 3 * kTicksPerHour - 1000;
    Open();
  }
  ~Year() override { host::SetPriorShutdownTick(0); }

  struct Dump {
    std::uint64_t packet;  // its first one
    unsigned int tick;
    std::time_t time;
    VehicleState state;
  };

  // ---- The host -----------------------------------------------------------------

  void SetClocks() {
    host::HoldSystemTick(tick_);
    clock_.Set(kNewYear + static_cast<std::time_t>(lived_ / 2) + step_s_);
  }

  void Open() {
    SetClocks();
    store_ = std::make_unique<WatchedRing>(folder_.Path("drive"), model_, written_);
    ASSERT_EQ(store_->Open(), 1);
    ASSERT_EQ(store_->GetCurrentSystemTick(), model_.LastTick());
    ASSERT_EQ(store_->CurrentCluster(), model_.NewestNumber());
    vehicle_.StartIn(*store_);
    last_dump_ = 0;
    if (model_.Packets() > 0) {
      host::SetPriorShutdownTick(model_.LastTick());
      vehicle_.ReportStartup();
      ExpectFlushed();
    }
    store_->InitCurrentSystemTick(tick_);
    vehicle_.ReportConfiguration();
    store_->WriteBuffers();
    ExpectFlushed();
    Tick();
  }

  void PowerCycle(bool orderly) {
    if (orderly) {
      vehicle_.ReportShutdown();
      store_->Close();
      ExpectFlushed();
    } else {
      vehicle_.Act(tick_);  // waits when the power goes, and is lost
    }
    store_.reset();
    Pass(1 + cycles_ % 500);
    ++cycles_;
    Open();
  }

  // Half seconds that go by. The last three numbers are no ticks: a host steps
  // over them.
  void Pass(unsigned int ticks) {
    tick_ += ticks;
    if (tick_ >= 0xFFFFFFFD) tick_ += 3;
    lived_ += ticks;
  }

  // The timer, and what must have come of the reports before it.
  void Tick() {
    SetClocks();
    const std::uint64_t first = model_.Packets();
    const bool dump_due = tick_ - last_dump_ > kTicksPerDump;
    store_->TimerTick(tick_);
    ++timer_ticks_;
    if (dump_due) last_dump_ = tick_;
    if (!written_.empty()) {
      late_ = 0;
      waiting_since_ = tick_;
      ExpectFlushed(dump_due);
      if (dump_due) dumps_.push_back({first, tick_, clock_.Now(), vehicle_.State()});
    } else if (vehicle_.Expected().empty()) {
      waiting_since_ = tick_;
      ASSERT_FALSE(dump_due) << "no dump at tick " << tick_;
    } else {
      ASSERT_LT(++late_, 4) << "nothing flushed at tick " << tick_;
    }
  }

  // Every expected item was written, and nothing else but times and, where it
  // may be, a section of configuration.
  void ExpectFlushed(bool configuration = true) {
    std::vector<std::string> expected = vehicle_.Expected();
    std::sort(expected.begin(), expected.end());
    std::sort(written_.begin(), written_.end());
    std::vector<std::string> others;
    std::set_difference(written_.begin(), written_.end(), expected.begin(), expected.end(),
                        std::back_inserter(others));
    if (others.size() + expected.size() != written_.size()) {
      std::vector<std::string> missing;
      std::set_difference(expected.begin(), expected.end(), written_.begin(), written_.end(),
                          std::back_inserter(missing));
      FAIL() << "at tick " << tick_ << " without " << Hex(missing) << "but with " << Hex(others);
    }
    long ends = 0;
    for (const std::string& item : others) {
      if (item[0] == 0x03) ++times_;
      if (item[0] == 0x1A) ++ends;
      ASSERT_TRUE(configuration || item[0] == 0x03)
          << "unexpected item of tag " << static_cast<int>(item[0]) << " at tick " << tick_;
    }
    ASSERT_LE(ends, 1);
    items_ += written_.size();
    written_.clear();
    vehicle_.Forget();
  }

  // ---- What happens in an hour ------------------------------------------------------

  void Hour(unsigned int hour) {
    if (hour % 40 == 7) step_s_ += (hour / 40 % 2 == 0 ? 1 : -1) * static_cast<long>(2 + hour);
    constexpr unsigned int kScenes = 60;
    for (unsigned int scene = 0; scene < kScenes && !HasFatalFailure(); ++scene) {
      Scene();
      Rest(kTicksPerHour / kScenes - kSceneTicks);
    }
  }

  static constexpr unsigned int kSceneTicks = 8;

  // Some things happen in quick succession; the ticks behind them flush.
  void Scene() {
    for (unsigned int n = 0; n < kSceneTicks && !HasFatalFailure(); ++n) {
      Pass(1);
      SetClocks();
      if (n == 0)
        for (int talk = 0; talk < 3; ++talk) vehicle_.Talk();
      if (n < 4)
        for (int event = 0; event < 2; ++event) vehicle_.Act(tick_);
      if (n == 2 && waiting_since_ + 1 == tick_ && tick_ > 300)
        vehicle_.ActLate(waiting_since_, 90);
      Tick();
    }
  }

  void Rest(unsigned int ticks) {
    if (!every_tick_) {
      Pass(ticks);
      Tick();
      return;
    }
    for (unsigned int n = 0; n < ticks && !HasFatalFailure(); ++n) {
      Pass(1);
      SetClocks();
      if (n % 2 == 0 && lived_ % (24 * kTicksPerHour) < 8 * kTicksPerHour) vehicle_.Act(tick_);
      Tick();
    }
  }

  // ---- What a reader finds -------------------------------------------------------------

  void ExpectReadable(const char* when) {
    SCOPED_TRACE(when);
    ReadBack expected(model_);
    DataStoreNull out;
    ASSERT_EQ(expected.Open(), 1);
    ASSERT_EQ(out.Open(), 1);
    const std::uint64_t first = model_.Packets() - expected.Expected();
    auto dump = std::find_if(dumps_.begin(), dumps_.end(),
                             [&](const Dump& d) { return d.packet >= first; });
    int decoded = 0;
    MetadataReader reader;
    reader.StartAt(store_->InitialReadLocation());
    while (reader.ReadNextSystemTick(*store_, out) > 0) {
      const auto tick = expected.TickDue();
      if (tick && reader.ReadSysTick() != kNoTick) {
        ASSERT_EQ(reader.ReadSysTick(), *tick);
      }
      ASSERT_EQ(reader.WriteReadSystemTick(expected), 1);
      ASSERT_EQ(reader.ParseReadSystemTick(out), 1);
      out.WriteBuffers();  // reading "covert on" records it again
      if (dump == dumps_.end() || first + expected.Packets() <= dump->packet) continue;
      // Before the first whole tick the reader does not know where it is.
      if (reader.ReadSysTick() != kNoTick) {
        ASSERT_EQ(reader.ReadSysTick(), dump->tick);
      }
      ASSERT_EQ(Differences(out.Mirror(), dump->state), "") << "dump at tick " << dump->tick;
      ASSERT_NEAR(static_cast<double>(out.GetAdjustedTime()), static_cast<double>(dump->time), 1);
      ++dump;
      ++decoded;
    }
    EXPECT_EQ(expected.FirstWrongCluster(), 0u) << "of " << expected.Clusters();
    EXPECT_TRUE(expected.Complete())
        << expected.Packets() << " packets read, not " << expected.Expected();
    EXPECT_EQ(dump, dumps_.end());
    std::printf("  %-32s %8llu packets in %5zu clusters, %5d dumps decoded\n", when,
                static_cast<unsigned long long>(expected.Packets()), expected.Clusters(), decoded);
  }

  TempDir folder_;
  CountedFiles files_;
  TestClock clock_{kNewYear};
  const NoErrors no_errors_;
  const unsigned int hours_;
  const bool every_tick_ = EveryTick();

  RingModel model_;
  std::vector<std::string> written_;  // items that the ring was given
  Vehicle vehicle_;
  std::unique_ptr<WatchedRing> store_;
  std::vector<Dump> dumps_;

  unsigned int tick_ = 0;
  std::uint64_t lived_ = 0;  // half seconds since the beginning
  long step_s_ = 0;          // of the wall clock
  unsigned int last_dump_ = 0;
  unsigned int waiting_since_ = 0;
  int late_ = 0;
  unsigned int cycles_ = 0;
  std::uint64_t timer_ticks_ = 0;
  std::uint64_t items_ = 0;
  int times_ = 0;
};

TEST_F(Year, NothingIsLostAndNothingGrows) {
  const bool whole_year = hours_ >= kYear_h;
  std::uint64_t wrapped_at = 0;  // clusters begun when the ticks wrapped
  bool wrapped = false;
  std::uint64_t laps = 0;
  bool near_end_read = false;
  int descriptors = 0;
  std::size_t heap = 0;
  for (unsigned int hour = 0; hour < hours_ && !HasFatalFailure(); ++hour) {
    const unsigned int before = tick_;
    Hour(hour);
    if (HasFatalFailure()) break;
    if (tick_ < before) {
      wrapped = true;
      wrapped_at = model_.Begun();
      ExpectReadable("after the ticks wrapped");
    }
    // Near the ring's end and just behind it.
    if (model_.NewestNumber() > 32768 - 40 && !near_end_read) {
      near_end_read = true;
      ExpectReadable("before the ring comes round");
    }
    if (model_.Laps() > laps) {
      laps = model_.Laps();
      near_end_read = false;
      ExpectReadable("after the ring came round");
    }
    // Between the wrap of the ticks and a lap behind it a restart would go back;
    // see tick_wrap_test.cc.
    const bool healed = wrapped && model_.Begun() > wrapped_at + RingModel::kClusters;
    if (hour % 14 == 5 && (!wrapped || healed)) PowerCycle(hour / 14 % 2 == 0);
    if (hour == hours_ / 4) {
      descriptors = OpenDescriptors();
      heap = HeapBytes();
    }
  }
  ExpectReadable("at the end");
  if (HasFatalFailure()) return;

  const std::size_t heap_at_end = HeapBytes();
  std::printf(
      "  %u hours, %llu timer ticks, %llu items, %llu packets, %llu laps of the ring, %u power "
      "cycles, "
      "%d times, %lld writes; heap %+lld bytes, descriptors %+d\n",
      hours_, static_cast<unsigned long long>(timer_ticks_),
      static_cast<unsigned long long>(items_), static_cast<unsigned long long>(model_.Packets()),
      static_cast<unsigned long long>(model_.Laps()), cycles_, times_, files_.Count().writes,
      static_cast<long long>(heap_at_end - heap), OpenDescriptors() - descriptors);
  EXPECT_EQ(OpenDescriptors(), descriptors);
  EXPECT_TRUE(wrapped);
  if (kHeapIsTheLibrarys) {
    EXPECT_LE(heap_at_end, heap + 65536);
  }
  if (!whole_year) {
    std::printf("  not a year: laps of the ring and power cycles are not looked at\n");
    return;
  }
  EXPECT_GE(model_.Laps(), 2u);
  EXPECT_GE(cycles_, 400u);
  EXPECT_GE(static_cast<unsigned int>(times_), hours_ / 40);
}

}  // namespace
}  // namespace vmr::test
