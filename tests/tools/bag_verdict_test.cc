// What of a bag holds, of bags in memory.
#include "tools/evidence/bag_verdict.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "tests/support/sanitized.h"
#include "tools/evidence/bag.h"
#include "tools/evidence/time_stamp.h"

namespace vmr::tool {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

constexpr std::int64_t kMade_s = 1795370400;  // 2026-11-22T18:00:00Z

class WrittenBytes final : public ZipBytes {
 public:
  std::uint64_t Size() const override { return bytes.size(); }
  std::int64_t ReadAt(std::uint64_t offset, void* to, std::size_t count) override {
    return MemoryBytes(bytes).ReadAt(offset, to, count);
  }
  bool WriteAt(std::uint64_t offset, const void* from, std::size_t count) override {
    bytes.resize(std::max<std::size_t>(bytes.size(), offset + count));
    bytes.replace(offset, count, static_cast<const char*>(from), count);
    return true;
  }
  std::string bytes;
};

std::string MakeBag(const std::optional<PrivateKey>& key) {
  Bag bag;
  bag.AddPayload("way.gpx", "<gpx/>\n");
  bag.AddPayload("extract.vmd", std::string("f]S1\0\1\2", 7));
  std::string error;
  EXPECT_TRUE(bag.Seal({{kPackagingTimeTag, "2026-11-22T18:00:00Z"}}, "Read me.\n", key, error))
      << error;
  WrittenBytes target;
  EXPECT_TRUE(bag.Write(kMade_s, target, error)) << error;
  return target.bytes;
}

PrivateKey NewKey() {
  std::string error;
  auto key = PrivateKey::Make(error);
  EXPECT_TRUE(key) << error;
  return *key;
}

BagVerdict LookAt(const std::string& bytes, const std::optional<PublicKey>& key = std::nullopt) {
  MemoryBytes archive(bytes);
  return LookAtBagArchive(archive, key);
}

std::vector<std::string> TextsOf(const BagVerdict& verdict) {
  std::vector<std::string> texts;
  for (const BagVerdict::Line& line : verdict.lines) texts.push_back(line.text);
  return texts;
}

constexpr const char* kAsMade = "archive: byte for byte as it was made";

TEST(BagVerdict, ASoundBagHoldsAndIsAsItWasMade) {
  const PrivateKey key = NewKey();
  const BagVerdict verdict = LookAt(MakeBag(key), key.Public());
  EXPECT_EQ(verdict.ExitCode(), 0);
  EXPECT_THAT(TextsOf(verdict),
              testing::ElementsAre(
                  "tagmanifest-sha256.txt: 6 files, none changed, missing or added",
                  "manifest-sha256.txt: 2 files, none changed, missing or added",
                  "signature: by the key that was given, " + key.Public().Fingerprint(), kAsMade));
}

TEST(BagVerdict, TheSameFilesKeyAndTimeMakeTheSameBytes) {
  const PrivateKey key = NewKey();
  EXPECT_EQ(MakeBag(key), MakeBag(key));
  EXPECT_NE(MakeBag(key), MakeBag(NewKey()));
}

class TurnedBit : public testing::TestWithParam<int> {};

// Either something fails, or the archive cannot be read, or it is told to be another than was
// made: no bit of it can be turned unseen.
TEST_P(TurnedBit, IsSeenInEachByte) {
  const PrivateKey key = NewKey();
  const std::string sound = MakeBag(key);
  std::set<int> exit_codes;
  // With sanitizers every fourth byte, each of them in two of the eight tests.
  constexpr std::size_t kStep = test::kSanitized ? 4 : 1;
  for (std::size_t at = static_cast<std::size_t>(GetParam()) % kStep; at < sound.size();
       at += kStep) {
    SCOPED_TRACE(at);
    std::string turned = sound;
    turned[at] = static_cast<char>(turned[at] ^ 1 << GetParam());
    const BagVerdict verdict = LookAt(turned, key.Public());
    exit_codes.insert(verdict.ExitCode());
    EXPECT_THAT(TextsOf(verdict), Not(Contains(kAsMade)));
    if (verdict.ExitCode() != 0) continue;
    EXPECT_THAT(TextsOf(verdict), Contains(HasSubstr("archive: packed anew")));
  }
  EXPECT_EQ(exit_codes, (std::set<int>{0, 1, 3})) << "each way of telling was met";
}

INSTANTIATE_TEST_SUITE_P(BagVerdict, TurnedBit, testing::Range(0, 8));

TEST(BagVerdict, NoByteIsCutOffOrAddedUnseen) {
  const std::string sound = MakeBag(std::nullopt);
  for (std::size_t size = 0; size < sound.size(); ++size)
    EXPECT_EQ(LookAt(sound.substr(0, size)).ExitCode(), 1) << size;
  EXPECT_THAT(TextsOf(LookAt(sound + "x")), Not(Contains(kAsMade)));
  EXPECT_THAT(TextsOf(LookAt("x" + sound)), Not(Contains(kAsMade)));
  EXPECT_EQ(LookAt(sound).ExitCode(), 0);
}

TEST(BagVerdict, AKeyOpensByItsPassphraseAlone) {
  const PrivateKey key = NewKey();
  const std::string pem = key.Pem("open sesame");
  EXPECT_THAT(pem, HasSubstr("BEGIN ENCRYPTED PRIVATE KEY"));
  const auto opened_by = [&pem](const std::optional<std::string>& passphrase, std::string& error) {
    return PrivateKey::FromPem(
        pem, [&passphrase] { return passphrase; }, error);
  };
  std::string error;
  const auto opened = opened_by("open sesame", error);
  ASSERT_TRUE(opened) << error;
  EXPECT_EQ(opened->Public().Fingerprint(), key.Public().Fingerprint());
  EXPECT_FALSE(opened_by("open barley", error));
  EXPECT_EQ(error, "cannot be opened by this passphrase");
  error.clear();
  EXPECT_FALSE(opened_by(std::nullopt, error));
  EXPECT_THAT(error, IsEmpty()) << "whoever asked has said why";
}

TEST(BagVerdict, APassphraseIsAskedForOnce) {
  const std::string pem = NewKey().Pem("open sesame");
  int asked = 0;
  std::string error;
  EXPECT_FALSE(PrivateKey::FromPem(
      pem, [&asked] { return ++asked, std::optional<std::string>("wrong"); }, error));
  EXPECT_EQ(asked, 1);
}

TEST(BagFormat, NoValueOfATagMakesAnotherTag) {
  for (const char* text : {"a\nContact-Name: x", "a\rb", "a\tb", "a\x7F", "", " a", "a ", "\xFF",
                           "a\xC2\x85"
                           "b",
                           "a\xE2\x80\xA8"
                           "b"})
    EXPECT_THAT(WhyNoTagValue(text), Not(IsEmpty())) << text;
  for (const char* text : {"17", "Stop on I-80: speed", "Zoë Ångström", "\xF0\x9F\x9A\x93"})
    EXPECT_THAT(WhyNoTagValue(text), IsEmpty()) << text;
}

TEST(BagFormat, AManifestIsDigestsAndNamesAndNothingElse) {
  const std::string digest(64, 'a');
  std::string error;
  const auto lines = ParseManifest(digest + "  data/a\n" + digest + "  data/b c\n", error);
  ASSERT_TRUE(lines);
  EXPECT_EQ(ManifestText(*lines), digest + "  data/a\n" + digest + "  data/b c\n");
  for (const std::string& text :
       {digest + "\n", digest + " data/a\n", digest + "   data/a\n", std::string("\n"),
        std::string(64, 'A') + "  data/a\n", std::string(63, 'a') + "  data/a\n",
        digest + "  data/a \n", digest + "  data/a\n\n"})
    EXPECT_FALSE(ParseManifest(text, error)) << text;
}

TEST(TimeStamp, WhatIsNoReplyIsRefused) {
  std::string error;
  EXPECT_FALSE(ReadTimeStampReply("", error));
  EXPECT_FALSE(ReadTimeStampReply("0", error));
  // A status of 2 alone: rejected.
  EXPECT_FALSE(ReadTimeStampReply({"\x30\x05\x30\x03\x02\x01\x02", 7}, error));
  EXPECT_EQ(error, "is a reply that grants no time stamp (status 2)");
}

}  // namespace
}  // namespace vmr::tool
