#include "tools/events/gpsd_line.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "tests/support/sanitized.h"
#include "tests/tools/parsed_lines.h"

namespace vmr::tool {
namespace {

using test::SameLine;

constexpr const char* kFix =
    R"({"class":"TPV","mode":3,"time":"2019-06-19T21:33:57.000Z","lat":41.65889,"lon":-93.4994,"speed":20.5})";

bool Takes(const std::string& line) { return GpsdLineParser().Parse(line).has_value(); }

std::vector<std::string> LinesOf(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  EXPECT_TRUE(file) << path;
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);) lines.push_back(line);
  return lines;
}

// The recorded drives, a day's events, and what fuzzing found worth keeping.
std::vector<std::string> RealLines() {
  const std::filesystem::path source(VMR_SOURCE_DIR);
  std::vector<std::filesystem::path> paths = {source / "examples/drive_long_iowa.gpsd.json",
                                              source / "examples/drive_long_iowa.events.jsonl",
                                              source / "tests/data/drive_short_munich.gpsd.json",
                                              source / "tests/data/fixloss_regensburg.gpsd.json"};
  for (const auto& entry : std::filesystem::directory_iterator(source / "fuzz/corpus/events"))
    paths.push_back(entry.path());
  std::vector<std::string> lines;
  for (const auto& path : paths)
    for (std::string& line : LinesOf(path)) lines.push_back(std::move(line));
  return lines;
}

// Both parsers on one line. What the fast one takes must be what ParseLine has; it is said
// how much it took.
class Comparison {
 public:
  void Look(const std::string& line) {
    ++lines_;
    const std::optional<ParsedLine> taken = parser_.Parse(line);
    if (!taken) return;
    ++taken_;
    EXPECT_TRUE(SameLine(*taken, ParseLine(line))) << line;
    EXPECT_TRUE(SameLine(*taken, ParseLine(line, LineSource::kGpsd))) << line;
  }
  double Share() const { return static_cast<double>(taken_) / static_cast<double>(lines_); }

 private:
  GpsdLineParser parser_;
  std::size_t lines_ = 0;
  std::size_t taken_ = 0;
};

// ---- What is taken, and what is left -------------------------------------------------

TEST(GpsdLineParser, TakesAReportAsParseLineHasIt) {
  const std::optional<ParsedLine> taken = GpsdLineParser().Parse(kFix);
  ASSERT_TRUE(taken);
  const Report& report = std::get<Report>(*taken);
  EXPECT_EQ(report.stamp.time_us, 1560980037000000);
  EXPECT_EQ(report.remark, "");
  const GpsReport& gps = std::get<GpsReport>(report.content);
  EXPECT_TRUE(gps.has_fix);
  EXPECT_EQ(gps.position->latitude_degrees, 41);
  EXPECT_EQ(gps.position->longitude_is_east, 0);
  EXPECT_EQ(gps.speed_mph, 46);
}

TEST(GpsdLineParser, TakesReportsOfOtherClassesAndIgnoresThem) {
  const std::optional<ParsedLine> taken =
      GpsdLineParser().Parse(R"({"class":"SKY","satellites":[{"PRN":1,"mode":"x"}]})");
  ASSERT_TRUE(taken);
  EXPECT_TRUE(std::holds_alternative<IgnoredLine>(*taken));
}

TEST(GpsdLineParser, TakesTheLineEndsThatGpsdWrites) {
  EXPECT_TRUE(Takes(std::string(kFix) + "\r"));
}

TEST(GpsdLineParser, LeavesWhatOnlyParseLineHasSomethingToSayOf) {
  for (const char* line : {"",
                           " ",
                           "[]",
                           "null",
                           "garbage",
                           R"({"class":"TPV","mode":3)",
                           R"({"class":"TPV"})",
                           R"({"class":"TPV","mode":3}x)",
                           R"({"class":"TPV","mode":3}{})",
                           R"({"class":"TPV","mode":256})",
                           R"({"class":"TPV","mode":-1})",
                           R"({"class":"TPV","mode":"3"})",
                           R"({"class":"TPV","mode":03})",
                           R"({"class":"TPV","mode":3,"lat":90.0001})",
                           R"({"class":"TPV","mode":3,"lon":-180.1})",
                           R"({"class":"TPV","mode":3,"lat":"41"})",
                           R"({"class":"TPV","mode":3,"lat":null})",
                           R"({"class":"TPV","mode":3,"speed":-1})",
                           R"({"class":"TPV","mode":1,"speed":29297})",
                           R"({"class":"TPV","mode":3,"alt":1e999})",
                           R"({"class":"TPV","mode":3,"alt":1.})",
                           R"({"class":"TPV","mode":3,"time":"2019-06-19"})",
                           R"({"class":"TPV","mode":3,"time":7})",
                           R"({"class":"TPV","mode":3,"tick":7})",
                           R"({"class":7})",
                           R"({"mode":3})",
                           R"({"event":"bookmark"})",
                           "{\"class\":\"TPV\",\"mode\":3,\"x\":\"\t\"}",
                           "{\"class\":\"TPV\",\"mode\":3,\"x\":\"\x7F\"}",
                           "{\"class\":\"TPV\",\"mode\":3,\"x\":\"\xC3\xA4\"}",
                           "\xEF\xBB\xBF{\"class\":\"SKY\"}",
                           R"({"class":"TPV","mode":3,"x":"\n"})",
                           R"({"cl\u0061ss":"TPV","mode":3})"}) {
    EXPECT_FALSE(Takes(line)) << line;
  }
}

// Of a field that is there twice the last counts.
TEST(GpsdLineParser, LeavesAFieldThatIsThereTwice) {
  EXPECT_FALSE(Takes(R"({"class":"TPV","mode":3,"mode":1})"));
  EXPECT_FALSE(Takes(R"({"class":"SKY","class":"TPV","mode":1})"));
  EXPECT_TRUE(Takes(R"({"class":"TPV","mode":3,"eph":3,"eph":1})"));
}

// Without a fix nothing is asked of the axes.
TEST(GpsdLineParser, TakesAReportWithoutFixWhateverItsAxesHold) {
  EXPECT_TRUE(Takes(R"({"class":"TPV","mode":1,"lat":"?","lon":999})"));
}

TEST(GpsdLineParser, TakesLinesUpToItsLimitAndLeavesLongerOnes) {
  const auto line_of = [](std::size_t bytes) {
    const std::string head = R"({"class":"SKY","x":")";
    return head + std::string(bytes - head.size() - 2, 'x') + "\"}";
  };
  for (const std::size_t bytes : {GpsdLineParser::kMostBytes - 1, GpsdLineParser::kMostBytes})
    EXPECT_TRUE(Takes(line_of(bytes))) << bytes;
  EXPECT_FALSE(Takes(line_of(GpsdLineParser::kMostBytes + 1)));
}

// A long line leaves bytes behind it in the room that the next one is read from.
TEST(GpsdLineParser, ALineIsReadToItsOwnEnd) {
  GpsdLineParser parser;
  EXPECT_TRUE(parser.Parse(kFix));
  EXPECT_FALSE(parser.Parse(R"({"class":"TPV","mode":3)"));
  EXPECT_FALSE(parser.Parse(std::string(kFix).substr(0, 40)));
  EXPECT_TRUE(parser.Parse(R"({"class":"TPV","mode":3})"));
}

TEST(GpsdLineParser, DeepNestingIsLeft) {
  const std::string deep =
      R"({"class":"SKY","x":)" + std::string(3000, '[') + "7" + std::string(3000, ']') + "}";
  EXPECT_FALSE(Takes(deep));
  EXPECT_TRUE(std::holds_alternative<IgnoredLine>(LineParser().Parse(deep, LineSource::kInput)));
}

// ---- Against ParseLine ---------------------------------------------------------------

TEST(GpsdLineParser, HasOfEveryRealLineWhatParseLineHas) {
  Comparison comparison;
  for (const std::string& line : RealLines()) comparison.Look(line);
  EXPECT_GT(comparison.Share(), 0.9);
}

// Pieces that decide what a line is, put where they do not belong.
constexpr const char* kPieces[] = {"\"class\":\"TPV\",",
                                   "\"mode\":3,",
                                   "\"mode\":1.0,",
                                   "\"mode\":2e0,",
                                   "\"mode\":-0,",
                                   "\"lat\":-0.0,",
                                   "\"lat\":90,",
                                   "\"lat\":90.00000000000001,",
                                   "\"lon\":-180.0,",
                                   "\"lon\":1e2,",
                                   "\"tick\":5,",
                                   "\"speed\":0,",
                                   "\"speed\":29296.000000000004,",
                                   "\"speed\":null,",
                                   "\"event\":\"bookmark\",",
                                   "\"time\":\"2019-06-19T21:33:57Z\",",
                                   "18446744073709551615",
                                   "18446744073709551616",
                                   "-9223372036854775809",
                                   "1e308",
                                   "1e309",
                                   "1e-400",
                                   "5e-324",
                                   "0.1e",
                                   "00",
                                   "-",
                                   "+1",
                                   "1.",
                                   ".5",
                                   "1E+2",
                                   "NaN",
                                   "Infinity",
                                   "true",
                                   "nul",
                                   "{",
                                   "}",
                                   "[",
                                   "]",
                                   ",",
                                   ":",
                                   "\"",
                                   "\\",
                                   "\\u0041",
                                   "\\ud800",
                                   "\t",
                                   "\r",
                                   " ",
                                   "\f",
                                   "\v",
                                   "\x1A",
                                   "\x7F",
                                   "\x80",
                                   "\xC3\xA4",
                                   "\xC0\x80",
                                   "\xED\xA0\x80",
                                   "\xF4\x90\x80\x80",
                                   "/**/",
                                   "//",
                                   "{}",
                                   "[]",
                                   "[[[[",
                                   "\"lat\"",
                                   "\"class\""};

class Mutator {
 public:
  explicit Mutator(const std::vector<std::string>& lines) : lines_(lines) {}

  std::string Next() {
    std::string line = lines_[Below(lines_.size())];
    for (std::size_t changes = 1 + Below(3); changes > 0; --changes) Change(line);
    return line;
  }

 private:
  std::size_t Below(std::size_t limit) { return random_() % std::max<std::size_t>(limit, 1); }

  void Change(std::string& line) {
    const std::size_t at = Below(line.size() + 1);
    const std::size_t length = Below(6);
    switch (Below(8)) {
      case 0:
        line.insert(at, 1, static_cast<char>(Below(256)));
        break;
      case 1:
        line.erase(at, length);
        break;
      case 2:
        line.replace(at, std::min<std::size_t>(1, line.size() - at), 1,
                     static_cast<char>(' ' + Below(95)));
        break;
      case 3:
        line.insert(at, line.substr(Below(line.size() + 1), 4 * length));
        break;
      case 4:
        line.insert(at, kPieces[Below(std::size(kPieces))]);
        break;
      case 5:
        ReplaceValue(line);
        break;
      case 6:  // where a field may stand
        line.insert(std::min<std::size_t>(line.size(), 1), kPieces[Below(16)]);
        break;
      default: {  // of one line and another
        const std::string& other = lines_[Below(lines_.size())];
        line.resize(at);
        line += other.substr(Below(other.size() + 1));
      }
    }
  }

  // What stands between a colon and the next comma.
  void ReplaceValue(std::string& line) {
    const std::size_t colon = line.find(':', Below(line.size()));
    if (colon == line.npos) return;
    const std::size_t end = std::min(line.find(',', colon), line.size() - 1);
    line.replace(colon + 1, end - colon - 1, kPieces[Below(std::size(kPieces))]);
  }

  const std::vector<std::string>& lines_;
  std::mt19937 random_{20190619};
};

TEST(GpsdLineParser, HasOfDamagedLinesWhatParseLineHas) {
  constexpr int kLines = test::kSanitized ? 50000 : 200000;
  const std::vector<std::string> lines = RealLines();
  Mutator mutator(lines);
  Comparison comparison;
  for (int i = 0; i < kLines; ++i) comparison.Look(mutator.Next());
  EXPECT_GT(comparison.Share(), 0.1);
  EXPECT_LT(comparison.Share(), 0.9);
}

}  // namespace
}  // namespace vmr::tool
