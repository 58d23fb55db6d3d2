// Viewing files: what it returns and what goes to the two standard streams.
#ifndef VMR_TESTS_READER_VIEWING_FIXTURE_H_
#define VMR_TESTS_READER_VIEWING_FIXTURE_H_

#include <string>
#include <utility>

#include "tests/reader/reader_fixture.h"

namespace vmr::test {

// What one viewing printed and returned.
struct Viewed {
  bool opened;
  std::string out;
  std::string err;
};

struct ViewOptions {
  bool ring = false;
  unsigned int start = 0;
  unsigned int end = 0xFFFFFFFF;
  bool expanded = false;
};

class ViewingTest : public ReaderTest {
 protected:
  Viewed ViewFile(const std::string& path, const ViewOptions& options = {}) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const bool opened =
        reader.ViewFile(path, options.ring, options.start, options.end, options.expanded);
    std::string printed = testing::internal::GetCapturedStdout();
    return {opened, std::move(printed), testing::internal::GetCapturedStderr()};
  }

  static int CountOf(const std::string& text, const std::string& what) {
    int count = 0;
    for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1))
      ++count;
    return count;
  }
};

}  // namespace vmr::test

#endif  // VMR_TESTS_READER_VIEWING_FIXTURE_H_
