#include "host/wall_clock.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <string>

#include "tests/support/fresh_process.h"
#include "tests/support/test_clock.h"

namespace vmr::test {
namespace {

std::string LocalTimeText(std::time_t seconds) {
  std::tm local{};
  if (!LocalTime(seconds, &local)) return "none";
  char text[40];
  return std::string(text, strftime(text, sizeof(text), "%Y-%m-%d %H:%M:%S", &local));
}

// The time zone is looked up once in the life of a process.
class NewProcess : public testing::Environment {
 public:
  void SetUp() override {
    new_york_ = InFreshProcess([] {
      setenv("TZ", "EST5EDT,M3.2.0,M11.1.0", 1);
      return LocalTimeText(1234567890) + " " + LocalTimeText(1246406400);
    });
    changed_later_ = InFreshProcess([] {
      setenv("TZ", "UTC0", 1);
      const std::string before = LocalTimeText(1234567890);
      setenv("TZ", "EST5", 1);
      return before == LocalTimeText(1234567890) ? "kept" : "changed";
    });
  }
  std::string NewYork() const { return new_york_; }
  std::string ChangedLater() const { return changed_later_; }

 private:
  std::string new_york_;
  std::string changed_later_;
};

const NewProcess* const new_process =
    static_cast<NewProcess*>(testing::AddGlobalTestEnvironment(new NewProcess));

TEST(LocalTime, IsTheTimeInTheZoneOfTheProcess) {
  EXPECT_EQ(new_process->NewYork(), "2009-02-13 18:31:30 2009-06-30 20:00:00");
}

TEST(LocalTime, KeepsTheZoneThatTheProcessBeganWith) {
  EXPECT_EQ(new_process->ChangedLater(), "kept");
}

TEST(WallClock, IsTheMachinesUnlessReplaced) {
  const std::time_t before = std::time(nullptr);
  const std::time_t now = WallClock::Current().Now();
  EXPECT_GE(now, before);
  EXPECT_LE(now, std::time(nullptr));
}

TEST(WallClock, CanBeReplacedAndPutBack) {
  {
    TestClock clock(1000);
    EXPECT_EQ(WallClock::Current().Now(), 1000);
    clock.Set(2000);
    EXPECT_EQ(WallClock::Current().Now(), 2000);
    EXPECT_EQ(WallClock::Use(nullptr), &clock) << "null is the machine's own";
    EXPECT_GT(WallClock::Current().Now(), 1000000000);
  }
  EXPECT_GT(WallClock::Current().Now(), 1000000000);
}

}  // namespace
}  // namespace vmr::test
