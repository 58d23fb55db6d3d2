// Looking flat files over, and several things at once.
#include <filesystem>
#include <nlohmann/json.hpp>

#include "tests/support/sanitized.h"
#include "tests/tools/ring_images.h"

namespace vmr::test {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

class CheckFlat : public RingImageTest {
 protected:
  static constexpr std::size_t kFirstPacket = 147;

  // Of three bookmarks and a log, behind the magic and the dictionary.
  void MakeFlat(const std::string& name = "cut") const {
    Replay(
        "{\"event\":\"bookmark\",\"tick\":9,\"time\":\"2024-05-01T10:00:00Z\"}\n"
        "{\"event\":\"bookmark\",\"tick\":99}\n{\"event\":\"bookmark\",\"tick\":199}\n");
    const Finished cut = Run({"extract", "s", name, "--from", "20", "--to", "199", "--force"});
    ASSERT_LE(cut.exit_code, 4) << cut.err;
    ASSERT_TRUE(fs::exists(Path(name)));
  }
  std::string Extract() const { return ReadFile(Path("cut")); }
  static std::string Text(const Bytes& bytes) { return {bytes.begin(), bytes.end()}; }
  Finished CheckCut() const { return Run({"check", "cut"}); }
  json CheckJson() const {
    return json::parse(Run({"check", "cut", "--format", "json"}).out, nullptr, false);
  }
  std::vector<std::string> Findings() const {
    std::vector<std::string> found;
    const json checked = CheckJson();
    for (const json& finding : checked["findings"])
      found.push_back(finding["kind"].get<std::string>() + " " + finding["offset"].dump());
    return found;
  }
  // Magic, dictionary and these packets.
  void PutFlat(const Bytes& packets) const {
    WriteFile(Path("cut"), Extract().substr(0, kFirstPacket) + Text(packets));
  }
};

TEST_F(CheckFlat, AnExtractIsSound) {
  MakeFlat();
  const Finished checked = CheckCut();
  EXPECT_EQ(checked.exit_code, 0) << checked.out;
  EXPECT_EQ(checked.err, "");
  EXPECT_THAT(checked.out, StartsWith("cut: " + std::to_string(Extract().size()) + " bytes, "));
  EXPECT_THAT(checked.out, HasSubstr("\ncut: extracted as ticks 20 to 199\n"));
  EXPECT_THAT(checked.out, EndsWith("\nsound\n"));
  const json report = CheckJson();
  EXPECT_EQ(report["file"], "cut");
  EXPECT_EQ(report["verdict"], "sound");
  EXPECT_EQ(report["recording"]["extracted_from"], 20);
  EXPECT_EQ(report["findings"], json::array());
}

// Of a continuation the last two item bytes have no CRC; this extract has none whose
// items could be other ones.
TEST_F(CheckFlat, AFlippedBitIsNoticedWhereverACrcCoversIt) {
  MakeFlat();
  const std::string whole = Extract();
  std::vector<bool> covered(whole.size(), true);
  for (std::size_t at = kFirstPacket; at < whole.size();) {
    const auto byte = [&whole](std::size_t i) { return static_cast<unsigned char>(whole[i]); };
    const std::size_t head = byte(at) == 0x80 ? 6 : byte(at) == 0x81 ? 3 : 2;
    const std::size_t length = byte(at + head - 1);
    if (byte(at) == 0x82)
      for (std::size_t i = 0; i < std::min<std::size_t>(length, 2); ++i)
        covered[at + head + length - 1 - i] = false;
    at += head + length + 1;
  }
  // With sanitizers, where each starts a program that takes ten times as long, every eleventh;
  // as that is odd, each bit still has its turn.
  constexpr std::size_t kStep = kSanitized ? 11 : 1;
  for (std::size_t at = 0; at < whole.size(); at += kStep) {
    if (!covered[at]) continue;
    std::string changed = whole;
    changed[at] = static_cast<char>(changed[at] ^ (1 << at % 8));
    WriteFile(Path("cut"), changed);
    const Finished checked = CheckCut();
    EXPECT_TRUE(checked.exit_code == 3 || (checked.exit_code == 4 && at < kFirstPacket))
        << at << ": " << checked.out;
  }
}

TEST_F(CheckFlat, DamageIsNamedWithItsOffset) {
  MakeFlat();
  const Bytes first = FullPacket(1000, B("56"));  // 8 bytes
  Bytes wrong = FullPacket(1001, B("56"));
  wrong[6] = 0x36;
  PutFlat(first + wrong + FullPacket(1002, B("56")));
  EXPECT_THAT(Findings(), ElementsAre("wrong_crc 155"));
  const Finished checked = CheckCut();
  EXPECT_EQ(checked.exit_code, 3);
  EXPECT_THAT(checked.out,
              HasSubstr("\nlost: cut offset 155: a packet with a wrong CRC, 8 bytes; "));
  EXPECT_THAT(checked.out, EndsWith("\nsomething is lost\n"));
  PutFlat(first + B("01 02 03") + FullPacket(1002, B("56")));
  EXPECT_THAT(Findings(), ElementsAre("no_packets 155"));
  EXPECT_EQ(CheckJson()["findings"][0]["bytes"], 3);
  EXPECT_EQ(CheckJson()["findings"][0]["first_tick"], 1000);
  EXPECT_EQ(CheckJson()["findings"][0]["last_tick"], 1002);
  PutFlat(first + B("80 01 02"));
  EXPECT_THAT(Findings(), ElementsAre("cut_short 155"));
  PutFlat(FullPacket(1000, B("56 01")));
  EXPECT_THAT(Findings(), ElementsAre("undecodable_items 154"));
}

TEST_F(CheckFlat, TicksThatGoBackAndPacketsBehindTheEndAreFound) {
  MakeFlat();
  PutFlat(FullPacket(1000, B("56")) + FullPacket(500, B("56")));
  EXPECT_THAT(Findings(), ElementsAre(StartsWith("ticks_go_back ")));
  EXPECT_EQ(CheckCut().exit_code, 4);
  PutFlat(FullPacket(1000, B("F0")) + FullPacket(1001, B("56")));
  EXPECT_THAT(Findings(), ElementsAre(StartsWith("behind_the_end ")));
}

TEST_F(CheckFlat, AnotherBeginningIsFound) {
  MakeFlat();
  std::string changed = Extract();
  changed[5] = static_cast<char>(changed[5] - 1);
  changed = changed.substr(0, 4) + changed.substr(kFirstPacket);
  WriteFile(Path("cut"), changed);
  EXPECT_THAT(Findings(), ElementsAre("no_dictionary 4"));
  WriteFile(Path("cut"), "f]S1");
  EXPECT_THAT(Findings(), ElementsAre("no_dictionary 4"));
  EXPECT_EQ(CheckCut().exit_code, 4);
  MakeFlat();
  changed = Extract();
  changed[1] = 'x';
  WriteFile(Path("cut"), changed);
  EXPECT_THAT(Findings(), ElementsAre("no_magic 0"));
  EXPECT_EQ(CheckCut().exit_code, 3);
}

// ---- Several ----------------------------------------------------------------------------

TEST_F(CheckFlat, SeveralAreToldOneAfterTheOther) {
  MakeFlat();
  const Finished checked = Run({"check", "s_1.mtd", "cut", "s_2.mtd"});
  EXPECT_EQ(checked.exit_code, 0);
  EXPECT_THAT(checked.out, StartsWith("s: "));
  EXPECT_THAT(checked.out, HasSubstr("\nsound\n\ncut: "));
  const json all = json::parse(Run({"check", "s_1.mtd", "cut", "s_2.mtd", "--format", "json"}).out,
                               nullptr, false);
  ASSERT_EQ(all.size(), 2U) << "the store is looked at once";
  EXPECT_EQ(all[0]["store"], "s");
  EXPECT_EQ(all[1]["file"], "cut");
}

TEST_F(CheckFlat, TheGravestOfSeveralDecides) {
  MakeFlat();
  WriteFile(Path("bad"), Extract() + "\x80");
  EXPECT_EQ(Run({"check", "bad", "cut"}).exit_code, 3);
  Damage(1, 20000);
  EXPECT_EQ(Run({"check", "cut", "s"}).exit_code, 4);
  EXPECT_EQ(Run({"check", "bad", "s"}).exit_code, 3);
  const Finished checked = Run({"check", "nothing", "bad", "s"});
  EXPECT_EQ(checked.exit_code, 1);
  EXPECT_THAT(checked.err, StartsWith("vmr: nothing: neither a file nor the base of a ring"));
  EXPECT_THAT(checked.out, HasSubstr("\nsomething is lost\n"));
}

TEST_F(CheckFlat, AFolderIsWhatIsInIt) {
  MakeFlat();
  fs::create_directory(Path("all"));
  for (const char* name : {"s_1.mtd", "s_2.mtd", "cut"})
    fs::rename(Path(name), Path(std::string("all/") + name));
  WriteFile(Path("all/notes.txt"), "nothing of ours");
  const json all = json::parse(Run({"check", "all", "--format", "json"}).out, nullptr, false);
  ASSERT_EQ(all.size(), 2U);
  EXPECT_EQ(all[0]["file"], "all/cut");
  EXPECT_EQ(all[1]["store"], "all/s");
  fs::create_directory(Path("none"));
  const Finished none = Run({"check", "none"});
  EXPECT_EQ(none.exit_code, 1);
  EXPECT_EQ(none.err, "vmr: none: neither stores nor flat files in it\n");
}

// ---- Set aside --------------------------------------------------------------------------

TEST_F(CheckFlat, AFileThatWasSetAsideIsCheckedAndRecovered) {
  MakeRingOfBookmarks(10);
  fs::rename(Path("s_1.mtd"), Path("s_1.mtd.CORRUPT"));
  fs::rename(Path("s_2.mtd"), Path("s_2.mtd.CORRUPT"));
  const Finished both = Run({"check", "s"});
  EXPECT_EQ(both.exit_code, 0) << both.out << both.err;
  EXPECT_THAT(both.out, HasSubstr("\ns_2.mtd.CORRUPT: 10 clusters good, "));
  EXPECT_THAT(Run({"recover", "s", "new"}).out, StartsWith("new: 20 packets in 10 clusters"));
  fs::remove(Path("s_2.mtd.CORRUPT"));
  for (const char* name : {"s", "s_1.mtd.CORRUPT"}) {
    const Finished one = Run({"check", name});
    EXPECT_EQ(one.exit_code, 0) << one.out << one.err;
    EXPECT_THAT(one.out, HasSubstr("s_1.mtd.CORRUPT: 10 clusters good, "));
    EXPECT_EQ(Run({"recover", name, "new", "--force"}).exit_code, 0);
  }
  const Finished scrubbed = Run({"scrub", "s"});
  EXPECT_EQ(scrubbed.exit_code, 1);
  EXPECT_EQ(scrubbed.err,
            "vmr: s: no store that is recorded into; `vmr recover s OUT` makes one of what is good "
            "in it\n");
}

}  // namespace
}  // namespace vmr::test
