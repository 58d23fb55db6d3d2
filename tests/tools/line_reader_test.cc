#include "tools/record/line_reader.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <thread>
#include <vector>

namespace vmr::tool {
namespace {

// What a reader makes of a text that arrives through a pipe.
std::vector<std::string> LinesOf(const std::string& text) {
  int ends[2];
  if (pipe(ends) != 0) return {"no pipe"};
  std::thread writer([&] {
    for (std::size_t done = 0; done < text.size();) {
      const ssize_t count = write(ends[1], text.data() + done, text.size() - done);
      if (count <= 0) break;
      done += static_cast<std::size_t>(count);
    }
    close(ends[1]);
  });
  std::vector<std::string> lines;
  LineReader reader(ends[0]);
  for (;;) {
    std::string_view line;
    const LineReader::Result result = reader.Next(line);
    if (result == LineReader::Result::kNone && reader.AtEnd()) break;
    if (result == LineReader::Result::kNone)
      EXPECT_TRUE(reader.Read());
    else
      lines.push_back(result == LineReader::Result::kLine ? std::string(line) : "(too long)");
  }
  EXPECT_EQ(reader.LineNumber(), lines.size());
  EXPECT_EQ(reader.BytesRead(), text.size());
  writer.join();
  return lines;
}

using testing::ElementsAre;

TEST(LineReader, LinesEndAtLineEndsAndAtTheEnd) {
  EXPECT_THAT(LinesOf(""), ElementsAre());
  EXPECT_THAT(LinesOf("a\n"), ElementsAre("a"));
  EXPECT_THAT(LinesOf("a\n\nb"), ElementsAre("a", "", "b"));
}

TEST(LineReader, ALineMayCrossManyReads) {
  const std::string longest(kMaxLineBytes, 'x');
  EXPECT_THAT(LinesOf("a\n" + longest + "\nb\n"), ElementsAre("a", longest, "b"));
  EXPECT_THAT(LinesOf(longest), ElementsAre(longest));
}

TEST(LineReader, ALineOfMoreThanAMebibyteIsDroppedAndTheNextIsRead) {
  for (const std::size_t length : {kMaxLineBytes + 1, 5 * kMaxLineBytes}) {
    const std::string too_long(length, 'x');
    EXPECT_THAT(LinesOf("a\n" + too_long + "\nb\n"), ElementsAre("a", "(too long)", "b"));
    EXPECT_THAT(LinesOf("a\n" + too_long), ElementsAre("a", "(too long)"));
  }
}

}  // namespace
}  // namespace vmr::tool
