// The log client: which messages are built, and what is sent.
#include "host/log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <syslog.h>

#include <map>
#include <string>

#include "host/default/host_control.h"
#include "tests/support/captured_log.h"
#include "tests/support/fresh_process.h"

namespace vmr::test {
namespace {

using namespace std::string_literals;
using testing::ElementsAre;

constexpr const char* kLogSource = "SomeFile.cc";

// ---- Settings of a new process -----------------------------------------------

constexpr const char* kUnset = nullptr;

// The mask is read from the environment once in the life of a process.
class NewProcess : public testing::Environment {
 public:
  void SetUp() override {
    for (const char* setting : {"0", "2", "255", "0x82", "4294967295", "", "nonsense", "12abc"})
      levels_[setting] = LevelWith(setting);
    level_when_unset_ = LevelWith(kUnset);
    name_ = InFreshProcess([] { return std::string(LogClient::Instance()->ProcessName()); });
  }

  std::string Level(const char* setting) const { return levels_.at(setting); }
  std::string LevelWhenUnset() const { return level_when_unset_; }
  std::string Name() const { return name_; }

 private:
  static std::string LevelWith(const char* setting) {
    return InFreshProcess([setting] {
      if (setting == kUnset)
        unsetenv("VMR_LOG");
      else
        setenv("VMR_LOG", setting, 1);
      return std::to_string(LogClient::Instance()->Level());
    });
  }

  std::map<std::string, std::string> levels_;
  std::string level_when_unset_;
  std::string name_;
};

const NewProcess* const new_process =
    static_cast<NewProcess*>(testing::AddGlobalTestEnvironment(new NewProcess));

TEST(LogClient, MaskIsTheNumberInTheEnvironment) {
  EXPECT_EQ(new_process->Level("0"), "0");
  EXPECT_EQ(new_process->Level("2"), "2");
  EXPECT_EQ(new_process->Level("255"), "255");
  EXPECT_EQ(new_process->Level("0x82"), "130");
  EXPECT_EQ(new_process->Level("4294967295"), "4294967295");
}

TEST(LogClient, MaskIsSevenWithoutASetting) {
  EXPECT_EQ(new_process->LevelWhenUnset(), "7");
  EXPECT_EQ(new_process->Level(""), "7");
}

TEST(LogClient, MaskIsSevenWhenTheSettingIsNoNumber) {
  EXPECT_EQ(new_process->Level("nonsense"), "7");
  EXPECT_EQ(new_process->Level("12abc"), "7");
}

TEST(LogClient, ProcessNameIsTheProgramsUnlessSet) {
  EXPECT_EQ(new_process->Name(), program_invocation_short_name);
  host::SetProcessName("recorder");
  EXPECT_STREQ(LogClient::Instance()->ProcessName(), "recorder");
  host::SetProcessName(program_invocation_short_name);
}

TEST(LogClient, ThereIsOneOfIt) { EXPECT_EQ(LogClient::Instance(), LogClient::Instance()); }

TEST(LogLevels, AreTheBitsThatHostsKnow) {
  EXPECT_EQ(kLogFatal, 1u);
  EXPECT_EQ(kLogError, 2u);
  EXPECT_EQ(kLogWarning, 4u);
  EXPECT_EQ(kLogSearch, 16u);
  EXPECT_EQ(kLogInfo, 32u);
  EXPECT_EQ(kLogTrace, 64u);
  EXPECT_EQ(kLogEachItem, 128u);
}

// ---- Messages ----------------------------------------------------------------

class Log : public testing::Test {
 protected:
  Log() : level_before_(LogClient::Instance()->Level()) { host::SetProcessName("recorder"); }
  ~Log() override {
    host::SetLogLevel(level_before_);
    host::SetProcessName(program_invocation_short_name);
  }

  template <typename Action>
  static std::string SentToStandardError(Action action) {
    testing::internal::CaptureStderr();
    action();
    return testing::internal::GetCapturedStderr();
  }

 private:
  unsigned int level_before_;
};

TEST_F(Log, MessagesGoToStandardErrorAsProcessFileLineText) {
  host::SetLogLevel(kLogError);
  int line = 0;
  const std::string sent = SentToStandardError([&line] {
    line = __LINE__ + 1;
    VMR_LOG(kLogError, "Invalid sensor " << 4);
  });
  EXPECT_EQ(sent, "recorder: SomeFile.cc:" + std::to_string(line) + " Invalid sensor 4\n");
}

TEST_F(Log, NothingIsSentAtALevelThatIsOff) {
  host::SetLogLevel(0xFF & ~kLogInfo);
  EXPECT_EQ(SentToStandardError([] { VMR_LOG(kLogInfo, "quiet"); }), "");
}

TEST_F(Log, ATextIsBuiltOnlyWhenItsLevelBitIsSet) {
  int built = 0;
  const auto text = [&built] { return ++built; };
  for (unsigned int mask = 0; mask < 256; ++mask) {
    const CapturedLog log(mask);
    built = 0;
    VMR_LOG(kLogWarning, text());
    const int wanted = (mask & 4) != 0 ? 1 : 0;
    ASSERT_EQ(built, wanted) << mask;
    ASSERT_EQ(log.Entries().size(), static_cast<std::size_t>(wanted));
  }
}

TEST_F(Log, AMessageIsOneStatementEvenAfterAnIf) {
  const CapturedLog log;
  bool otherwise = false;
  for (const bool wanted : {false, true})
    if (wanted)
      VMR_LOG(kLogError, "once");
    else
      otherwise = true;
  EXPECT_TRUE(otherwise);
  EXPECT_THAT(log.Entries(), ElementsAre(LogEntry{kLogError, "SomeFile.cc", "once"}));
}

TEST_F(Log, MessagesMayHoldAnyByte) {
  host::SetLogLevel(kLogError);
  int line = 0;
  const std::string sent = SentToStandardError([&line] {
    line = __LINE__ + 1;
    VMR_LOG(kLogError, "crc " << '\0' << ' ' << '\xFF');
  });
  EXPECT_EQ(sent, "recorder: SomeFile.cc:" + std::to_string(line) + " crc \0 \xFF\n"s);
}

TEST_F(Log, MessagesOfAnyLengthArriveWhole) {
  const CapturedLog log;
  for (const int length : {0, 1, 490, 497, 498, 499, 500, 512, 1024, 5000}) {
    const std::string text(static_cast<std::size_t>(length), 'x');
    VMR_LOG(kLogError, text << "|" << text);
    ASSERT_EQ(log.Entries().back().text, text + "|" + text) << length;
  }
}

TEST_F(Log, NumbersAreDecimal) {
  const CapturedLog log;
  VMR_LOG(kLogError, 255u << " " << -1 << " " << 1.5L);
  EXPECT_EQ(log.Entries().at(0).text, "255 -1 1.5");
}

TEST_F(Log, OneMessageDoesNotColourTheNext) {
  const CapturedLog log;
  VMR_LOG(kLogError, std::hex << 255);
  VMR_LOG(kLogError, 255);
  EXPECT_THAT(log.Texts(kLogError), ElementsAre("ff", "255"));
}

TEST_F(Log, ASinkTakesThePlaceOfStandardErrorUntilItIsRemoved) {
  host::SetLogLevel(kLogError);
  const std::string sent = SentToStandardError([] {
    {
      const CapturedLog log;
      VMR_LOG(kLogError, "to the sink");
      EXPECT_TRUE(log.Has(kLogError, "SomeFile.cc", "to the sink"));
    }
    VMR_LOG(kLogError, "to standard error");
  });
  EXPECT_THAT(sent, testing::MatchesRegex("recorder: SomeFile.cc:[0-9]+ to standard error\n"));
}

TEST_F(Log, LogMsgSendsWhatItIsGiven) {
  EXPECT_EQ(SentToStandardError([] { LogMsg::Log(0, "as it is"); }), "recorder: as it is\n");
}

TEST_F(Log, TheSystemsLogTakesMessagesAndTheirText) {
  // With LOG_PERROR the C library repeats on standard error what it sends.
  openlog("unit", LOG_PERROR, LOG_USER);
  const std::string sent = SentToStandardError([] {
    for (const unsigned int level : {1u, 2u, 4u, 16u, 32u, 64u, 128u})
      SysLogMsg::Log(level, "100% of level " + std::to_string(level));
  });
  closelog();
  openlog(nullptr, 0, LOG_USER);
  closelog();
  EXPECT_EQ(sent,
            "unit: 100% of level 1\nunit: 100% of level 2\nunit: 100% of level 4\n"
            "unit: 100% of level 16\nunit: 100% of level 32\nunit: 100% of level 64\n"
            "unit: 100% of level 128\n");
}

}  // namespace
}  // namespace vmr::test
