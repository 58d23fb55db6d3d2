// `vmr diff`: two recordings, or two times of one.
#include <nlohmann/json.hpp>

#include "tests/tools/ring_images.h"

namespace vmr::test {
namespace {

using nlohmann::json;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr const char* kFirst = R"({"event":"vehicle","vehicle_id":"Car 7","tick":100}
{"event":"officer","name":"J. Larsen","badge_id":"4711","tick":200}
{"event":"system_info","start_on_siren":true,"pre_event_time":30,"tick":300}
{"event":"bookmark","tick":1000}
)";
constexpr const char* kSecond = R"({"event":"vehicle","vehicle_id":"Car 8","tick":100}
{"event":"officer","name":"J. Larsen","badge_id":"4711","tick":200}
{"event":"input","name":"siren","on":true,"tick":300}
{"event":"bookmark","tick":1000}
)";

class DiffTest : public RingImageTest {
 protected:
  void Record(const std::string& store, const std::string& lines) const {
    WriteFile(Path("input"), lines);
    EXPECT_EQ(Run({"record", store, "--replay", "--input", "input"}).exit_code, 0);
  }
  void RecordBoth() const {
    Record("a", kFirst);
    Record("b", kSecond);
  }
};

TEST_F(DiffTest, TwoRecordingsAreComparedAtTheirEnds) {
  RecordBoth();
  const Finished diff = Run({"diff", "a", "b"});
  EXPECT_EQ(diff.exit_code, 0);
  EXPECT_EQ(diff.err, "");
  EXPECT_THAT(diff.out, StartsWith("--- a: tick 100"));
  EXPECT_THAT(diff.out,
              AllOf(HasSubstr("\n+++ b: tick 100"),
                    HasSubstr("\n- vehicle: \"Car 7\"\n+ vehicle: \"Car 8\"\n"),
                    HasSubstr("\n- policy start on siren: yes\n+ policy start on siren: no\n"),
                    HasSubstr("\n- policy pre event time: 30\n+ policy pre event time: 0\n"),
                    Not(HasSubstr("officer")), Not(HasSubstr("input"))));
  EXPECT_EQ(Run({"diff", "a", "b", "--exit-code"}).exit_code, 5);
}

TEST_F(DiffTest, TheSameSettingsAreNoDifference) {
  RecordBoth();
  const Finished same = Run({"diff", "a", "a_2.mtd", "--exit-code"});
  EXPECT_EQ(same.exit_code, 0);
  EXPECT_THAT(same.out, testing::EndsWith("\nno difference\n"));
  EXPECT_EQ(Run({"diff", "a", "b", "--kind", "officer", "--exit-code"}).exit_code, 0);
}

TEST_F(DiffTest, TwoTimesOfOneRecordingAreCompared) {
  RecordBoth();
  const Finished diff = Run({"diff", "a", "--at", "150", "--and", "250"});
  EXPECT_EQ(diff.exit_code, 0);
  EXPECT_THAT(diff.out,
              AllOf(HasSubstr("\n- officer: \"\"\n+ officer: \"J. Larsen\"\n"),
                    HasSubstr("\n- badge: \"\"\n+ badge: \"4711\"\n"), Not(HasSubstr("vehicle"))));
  const Finished at = Run({"diff", "a", "b", "--at", "150", "--kind", "vehicle,policy"});
  EXPECT_THAT(at.out, AllOf(HasSubstr("Car 8"), Not(HasSubstr("siren"))));
}

TEST_F(DiffTest, WhatIsUnknownOnOneSideIsNoDifferenceForSure) {
  RecordBoth();
  const Finished diff = Run({"diff", "a", "b", "--kind", "input", "--exit-code"});
  EXPECT_EQ(diff.exit_code, 3);
  EXPECT_THAT(diff.out, HasSubstr("\n- input siren: (unknown)\n+ input siren: "));
  const Finished outside = Run({"diff", "a", "--at", "150", "--and", "5000000"});
  EXPECT_EQ(outside.exit_code, 3);
  EXPECT_THAT(outside.err, StartsWith("vmr: a: the recording ends before, at tick 100"));
  EXPECT_THAT(outside.out, HasSubstr("\n- vehicle: \"Car 7\"\n+ vehicle: (unknown)\n"));
}

TEST_F(DiffTest, JsonHasBothRecords) {
  RecordBoth();
  const json diff =
      json::parse(Run({"diff", "a", "b", "--format", "json", "--kind", "vehicle,input"}).out);
  EXPECT_EQ(diff["a"]["recording"], "a");
  EXPECT_EQ(diff["b"]["complete"], true);
  ASSERT_EQ(diff["differences"].size(), 2U);
  EXPECT_EQ(diff["differences"][0]["kind"], "vehicle");
  EXPECT_EQ(diff["differences"][0]["old"]["text"], "Car 7");
  EXPECT_EQ(diff["differences"][0]["new"]["text"], "Car 8");
  EXPECT_EQ(diff["differences"][1]["input"], "siren");
  EXPECT_EQ(diff["differences"][1]["old"], nullptr);
}

TEST_F(DiffTest, ARecordedTextCannotSayThatSomethingIsUnknown) {
  Record("a", R"in({"event":"vehicle","vehicle_id":"(unknown)","tick":100}
{"event":"officer","name":"\\x1B","badge_id":"\u001b","tick":200}
)in");
  Record("b", kSecond);
  const Finished diff = Run({"diff", "a", "b", "--kind", "vehicle,officer,badge"});
  EXPECT_THAT(diff.out, HasSubstr("\n- vehicle: \"(unknown)\"\n+ vehicle: \"Car 8\"\n"));
  EXPECT_THAT(diff.out, HasSubstr(R"(- officer: "\\x1B")"));
  EXPECT_THAT(diff.out, HasSubstr(R"(- badge: "\x1B")"));
}

TEST_F(DiffTest, WrongUsageIsTold) {
  RecordBoth();
  EXPECT_EQ(Run({"diff", "a"}).exit_code, 2);
  EXPECT_EQ(Run({"diff", "a", "--at", "5"}).exit_code, 2);
  const Finished date = Run({"diff", "a", "--at", "5", "--and", "2024-05-01"});
  EXPECT_EQ(date.exit_code, 2);
  EXPECT_THAT(date.err, HasSubstr("say --and 2024-05-01T00:00 for its beginning"));
  EXPECT_EQ(Run({"diff", "a", "b", "--and", "5"}).exit_code, 2);
  EXPECT_EQ(Run({"diff", "a", "b", "a"}).exit_code, 2);
  EXPECT_EQ(Run({"diff", "a", "nothing"}).exit_code, 1);
  EXPECT_EQ(Run({"diff", ".", "a"}).exit_code, 2) << "two recordings in the folder";
}

}  // namespace
}  // namespace vmr::test
