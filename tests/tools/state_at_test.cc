// What is in force at an instant: runs, gaps, steps of the clock, wrong CRCs.
#include "tools/read/state_at.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/records/decoded.h"
#include "tools/read/phrase.h"
#include "tools/read/state_words.h"

namespace vmr::tool {
namespace {

using namespace test;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr const char* kSirenOn = " 36 ";
constexpr const char* kSirenOff = " 37 ";
constexpr std::int64_t kSecond_us = 1000000;

// "03" and the seconds, little endian, of a time item.
std::string TimeItem(std::uint32_t seconds) {
  std::string item = "03";
  for (const unsigned char byte : TickBytes(seconds)) {
    constexpr char kDigits[] = "0123456789abcdef";
    item += ' ';
    item += kDigits[byte >> 4];
    item += kDigits[byte & 15];
  }
  return item;
}

class StateAtTest : public testing::Test {
 protected:
  StateAtTest() { UseTimeZone("UTC"); }

  static AskedTime Tick(unsigned int tick, std::optional<int> run = std::nullopt) {
    return {TimePoint{tick}, false, run, std::to_string(tick)};
  }
  static AskedTime Second(std::int64_t second) {
    return {TimePoint{std::nullopt, second * kSecond_us}, false, std::nullopt,
            "@" + std::to_string(second)};
  }
  static AskedTime Now() { return {TimePoint{0xFFFFFFF0}, true, std::nullopt, "now"}; }

  std::optional<StateAt> Ask(const AskedTime& asked) {
    Pieces source(pieces_);
    question_.clear();
    return ReadStateAt(source, asked, question_);
  }
  // "input siren: on since 100", "? since 100" where a full state alone says so.
  std::vector<std::string> InForce(const AskedTime& asked) {
    std::vector<std::string> lines;
    const auto state = Ask(asked);
    if (!state) return {"asks: " + question_};
    presence_ = state->presence;
    complete_ = state->IsComplete();
    why_not_ = state->why_not;
    for (const auto& [key, entry] : state->table.All())
      lines.push_back(SubjectWords(entry.said.Get()) + ": " + ValueWords(entry) +
                      (entry.since_unknown ? " ? since " : " since ") +
                      std::to_string(entry.said.Get().tick));
    return lines;
  }

  std::vector<Pieces::Piece> pieces_;
  std::string question_, why_not_;
  Presence presence_{};
  bool complete_ = false;
};

TEST_F(StateAtTest, AValueHoldsFromItsTickToTheNext) {
  pieces_ = {{Hdr1(100, kSirenOn) + Hdr1(200, kSirenOff) + Hdr1(300, "56")}};
  EXPECT_THAT(InForce(Tick(100)), ElementsAre("input siren: on since 100"));
  EXPECT_THAT(InForce(Tick(199)), ElementsAre("input siren: on since 100"));
  EXPECT_THAT(InForce(Tick(200)), ElementsAre("input siren: off since 200"));
  EXPECT_TRUE(complete_);
}

TEST_F(StateAtTest, WhatIsSaidAgainHoldsSinceItWasSaidFirst) {
  pieces_ = {{Hdr1(100, kSirenOn) + Hdr1(200, kSirenOn) + Hdr1(300, "56")}};
  const auto state = Ask(Tick(300));
  const StateEntry& siren = state->table.All().begin()->second;
  EXPECT_EQ(siren.said.Get().tick, 100U);
  ASSERT_TRUE(siren.again);
  EXPECT_EQ(siren.again->tick, 200U);
}

TEST_F(StateAtTest, OutsideOfTheRecordingNothingIsInForce) {
  pieces_ = {{Hdr1(100, kSirenOn) + Hdr1(300, "56")}};
  EXPECT_THAT(InForce(Tick(99)), IsEmpty());
  EXPECT_EQ(presence_, Presence::kBefore);
  EXPECT_EQ(why_not_, "the recording begins later, at tick 100");
  EXPECT_THAT(InForce(Tick(301)), IsEmpty());
  EXPECT_EQ(presence_, Presence::kBehind);
  EXPECT_EQ(why_not_, "the recording ends before, at tick 300");
  EXPECT_FALSE(complete_);
}

TEST_F(StateAtTest, NowIsTheEndOfARecordingThatEndsBefore) {
  pieces_ = {{Hdr1(100, kSirenOn) + Hdr1(300, "56")}};
  EXPECT_THAT(InForce(Now()), ElementsAre("input siren: on since 100"));
  EXPECT_THAT(InForce(AskedTime{}), ElementsAre("input siren: on since 100"));
  EXPECT_TRUE(complete_);
}

TEST_F(StateAtTest, InAGapAndBehindItNothingIsKnownUntilItIsTold) {
  pieces_ = {{Hdr1(100, std::string(kSirenOn) + "38") + Hdr1(200, "56")},
             {Hdr1(300, "56") + Hdr1(310, kSirenOff) + Hdr1(320, "56"), 300, true}};
  EXPECT_THAT(InForce(Tick(200)),
              ElementsAre("input siren: on since 100", "input brake: on since 100"));
  EXPECT_TRUE(complete_);
  EXPECT_THAT(InForce(Tick(201)), IsEmpty());
  EXPECT_EQ(presence_, Presence::kInGap);
  EXPECT_EQ(why_not_, "it lies in a gap (lost clusters) between tick 200 and tick 300");
  EXPECT_THAT(InForce(Tick(299)), IsEmpty());
  EXPECT_THAT(InForce(Tick(300)), IsEmpty());
  EXPECT_EQ(presence_, Presence::kThere);
  EXPECT_THAT(InForce(Tick(320)), ElementsAre("input siren: off since 310"));
  EXPECT_FALSE(complete_) << "the brake is unknown";
}

TEST_F(StateAtTest, AGapWhoseEndTellsNoTickReachesToTheNextTick) {
  pieces_ = {{Hdr1(100, kSirenOn)},
             {Hdr2(0x90, kSirenOff) + Hdr1(300, "38") + Hdr1(301, "56"), kNoTick, true}};
  EXPECT_THAT(InForce(Tick(250)), IsEmpty());
  EXPECT_EQ(presence_, Presence::kInGap);
  EXPECT_THAT(InForce(Tick(300)),
              ElementsAre("input siren: off since 4294967295", "input brake: on since 300"));
}

TEST_F(StateAtTest, ATimeInAGapSaysSo) {
  pieces_ = {{Hdr1(100, TimeItem(1000) + kSirenOn) + Hdr1(110, "56")},
             {Hdr1(300, TimeItem(1100)) + Hdr1(310, "56"), 300, true}};
  EXPECT_THAT(InForce(Second(1002)), ElementsAre("input siren: on since 100"));
  EXPECT_THAT(InForce(Second(1050)), IsEmpty());
  EXPECT_EQ(presence_, Presence::kInGap);
  EXPECT_THAT(why_not_, HasSubstr("it lies in a gap between tick 110, 1970-01-01 00:16:45+00:00 "
                                  "and tick 300, 1970-01-01 00:18:20+00:00"));
}

TEST_F(StateAtTest, APacketWithAWrongCrcSaysNothingAndIsAGap) {
  Bytes wrong = Hdr1(200, kSirenOff);
  wrong.back() = static_cast<unsigned char>(wrong.back() ^ 1);
  pieces_ = {{Hdr1(100, kSirenOn) + wrong + Hdr1(300, "56")}};
  EXPECT_THAT(InForce(Tick(150)), IsEmpty()) << "whether it is of tick 200 is not known";
  const auto state = Ask(Tick(300));
  EXPECT_THAT(state->table.All(), IsEmpty());
  ASSERT_EQ(state->table.Doubtful().size(), 1U);
  EXPECT_EQ(ValueWords(state->table.Doubtful().begin()->second), "off");
  EXPECT_FALSE(state->IsComplete());
}

TEST_F(StateAtTest, ATickOfSeveralRunsIsAskedAbout) {
  pieces_ = {{Hdr1(400000, kSirenOn) + Hdr1(400100, "56") + Hdr1(50, "38") + Hdr1(400050, "56")}};
  EXPECT_THAT(InForce(Tick(400050)),
              ElementsAre("asks: tick 400050 came in several runs; say --run 0 or --run 1"));
  EXPECT_THAT(InForce(Tick(400050, 0)), ElementsAre("input siren: on since 400000"));
  EXPECT_THAT(InForce(Tick(400050, 1)), ElementsAre("input brake: on since 50"));
  EXPECT_THAT(InForce(Tick(60)), ElementsAre("input brake: on since 50"));
  EXPECT_TRUE(complete_) << "what another run said is not lost";
  EXPECT_THAT(InForce(Tick(60, 0)), IsEmpty());
}

TEST_F(StateAtTest, ATimeThatTheClockShowsTwiceIsAskedAbout) {
  pieces_ = {{Hdr1(100, TimeItem(1000) + kSirenOn) + Hdr1(200, kSirenOff) +
              Hdr1(300, TimeItem(1000)) + Hdr1(400, "56")}};
  EXPECT_THAT(InForce(Second(1030)),
              ElementsAre("asks: @1030 was shown more than once by the unit's clock; say 160 "
                          "(1970-01-01 00:17:10+00:00) or 360 (1970-01-01 00:17:10+00:00)"));
  EXPECT_THAT(InForce(Second(1080)), ElementsAre("input siren: off since 200"));
}

TEST_F(StateAtTest, ATimeThatTheClockSkipsSaysSo) {
  pieces_ = {{Hdr1(100, TimeItem(1000) + kSirenOn) + Hdr1(200, "56") + Hdr1(300, TimeItem(90000)) +
              Hdr1(400, "56")}};
  EXPECT_THAT(InForce(Second(50000)), IsEmpty());
  EXPECT_EQ(presence_, Presence::kSkipped);
  EXPECT_EQ(why_not_,
            "it was skipped: the unit was off, or its clock was set, between tick 200, "
            "1970-01-01 00:17:30+00:00 and tick 300, 1970-01-02 01:00:00+00:00");
}

TEST_F(StateAtTest, TimesAreGoodToASecond) {
  pieces_ = {{Hdr1(100, TimeItem(1000) + kSirenOn) + Hdr1(200, "56")}};
  EXPECT_THAT(InForce(Second(999)), ElementsAre("input siren: on since 100"));
  EXPECT_THAT(InForce(Second(1051)), ElementsAre("input siren: on since 100"));
  EXPECT_THAT(InForce(Second(998)), IsEmpty());
  EXPECT_EQ(presence_, Presence::kBefore);
  EXPECT_THAT(InForce(Second(1052)), IsEmpty());
  EXPECT_EQ(presence_, Presence::kBehind);
}

TEST_F(StateAtTest, WhatIsToldLateHoldsSinceItHappened) {
  // The siren went on 50 ticks before its packet.
  pieces_ = {{Hdr1(100, "56") + Hdr1(200, std::string("21 32") + kSirenOn) + Hdr1(300, "56")}};
  EXPECT_THAT(InForce(Tick(149)), IsEmpty());
  EXPECT_THAT(InForce(Tick(150)), ElementsAre("input siren: on since 150"));
  EXPECT_THAT(InForce(Tick(250)), ElementsAre("input siren: on since 150"));
}

TEST_F(StateAtTest, AnExtractCanLeaveOutWhatIsToldLate) {
  Pieces source({{Hdr1(100, "56") + Hdr1(200, std::string("21 32") + kSirenOn)}});
  StateTable table(Instant{0, 160}, StateTable::ToldLate::kLeaveOut);
  records::Decoder(source, table).Run();
  table.Finish();
  EXPECT_THAT(table.All(), IsEmpty());
  EXPECT_TRUE(table.IsDone());
}

TEST_F(StateAtTest, ARadarsTargetAloneLeavesTheRestInForce) {
  pieces_ = {{Hdr1(100, "61 80 32 3C 3D") + Hdr1(200, "68 46") + Hdr1(300, "68 47")}};
  EXPECT_THAT(InForce(Tick(250)),
              ElementsAre("radar 1: target 70, lock 50, fastest 60, direction 1 since 200"));
  EXPECT_THAT(InForce(Tick(300)),
              ElementsAre("radar 1: target 71, lock 50, fastest 60, direction 1 since 300"));
}

TEST_F(StateAtTest, AWayFromNowhereIsNoPosition) {
  pieces_ = {{Hdr1(100, "92 01 01") + Hdr1(200, "56")}};
  const auto state = Ask(Tick(200));
  EXPECT_TRUE(state->table.All().begin()->second.IsUnknown());
}

TEST_F(StateAtTest, TicksThatRunOutGoOn) {
  pieces_ = {{Hdr1(0xFFFFFFF0, kSirenOn) + Hdr1(16, kSirenOff) + Hdr1(32, "56")}};
  EXPECT_THAT(InForce(Tick(0xFFFFFFF8)), ElementsAre("input siren: on since 4294967280"));
  EXPECT_THAT(InForce(Tick(8)), ElementsAre("input siren: on since 4294967280"));
  EXPECT_THAT(InForce(Tick(20)), ElementsAre("input siren: off since 16"));
}

TEST_F(StateAtTest, ARecordingWithoutTicksSaysSo) {
  pieces_ = {{Hdr2(0xFF, kSirenOn)}};
  EXPECT_THAT(InForce(Tick(5)), IsEmpty());
  EXPECT_EQ(why_not_, "the recording tells no tick");
  EXPECT_THAT(InForce(AskedTime{}), ElementsAre("input siren: on since 4294967295"));
  EXPECT_FALSE(complete_);
}

TEST(EscapedText, NothingMovesACursorOrTurnsTheTextOrHides) {
  EXPECT_EQ(EscapedText("a\x1b[2J\n\x7f"), "a\\x1B[2J\\x0A\\x7F");
  EXPECT_EQ(EscapedText("\\x1B"), "\\\\x1B");
  EXPECT_EQ(EscapedText("J\xC3\xB8rgen \xC2\x9B"), "J\xC3\xB8rgen \\u009B");
  EXPECT_EQ(EscapedText("\xE2\x80\xAEx\xE2\x80\xA8"), "\\u202Ex\\u2028");
  EXPECT_EQ(EscapedText("\xF3\xA0\x81\x81"), "\\U000E0041");
  EXPECT_EQ(EscapedText("\xFF\xC0\x80\xED\xA0\x80"), "\\xFF\\xC0\\x80\\xED\\xA0\\x80");
}

}  // namespace
}  // namespace vmr::tool
