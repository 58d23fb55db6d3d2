// SHA-256 as sha256sum prints it.
#include "tools/common/sha256.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

namespace vmr::tool {
namespace {

// Published test vectors of the algorithm.
constexpr const char* kOfNothing =
    "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";
constexpr const char* kOfAbc = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";
constexpr const char* kOfAMillionTimesA =
    "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0";

TEST(Sha256, IsThatOfThePublishedExamples) {
  EXPECT_EQ(Sha256Of(""), kOfNothing);
  EXPECT_EQ(Sha256Of("abc"), kOfAbc);
  EXPECT_EQ(Sha256Of(std::string(1000000, 'a')), kOfAMillionTimesA);
}

TEST(Sha256, PiecesCountAsOneText) {
  Sha256 sha;
  for (const char* piece : {"a", "", "bc"}) sha.Add(piece);
  EXPECT_EQ(sha.Digest(), kOfAbc);
}

TEST(Sha256, OfAFileIsThatOfAllItsBytesWhereverItStands) {
  std::FILE* const file = std::tmpfile();
  ASSERT_NE(file, nullptr);
  const std::string text(1000000, 'a');
  ASSERT_EQ(std::fwrite(text.data(), 1, text.size(), file), text.size());
  std::fflush(file);  // and the descriptor stands at the end
  EXPECT_EQ(Sha256OfFile(fileno(file)), kOfAMillionTimesA);
  std::fclose(file);
}

TEST(Sha256, OfWhatCannotBeReadThereIsNone) { EXPECT_EQ(Sha256OfFile(-1), std::nullopt); }

}  // namespace
}  // namespace vmr::tool
