// The items as docs/format.md lists them, for tests that check a recording apart
// from the library's own table.
#ifndef VMR_TESTS_SUPPORT_DOCUMENTED_ITEMS_H_
#define VMR_TESTS_SUPPORT_DOCUMENTED_ITEMS_H_

#include <array>
#include <cstddef>
#include <fstream>
#include <regex>
#include <stdexcept>
#include <string>

namespace vmr::test {

struct DocumentedItem {
  std::size_t size = 0;  // of the fixed head, when a text follows; 0: no such item
  bool text = false;     // then the head's last byte counts it
};

// By tag. The rows look like "| 0x09 | version | 3 + b2 | ...", and the tags of one
// like 0x09, "0x34, 0x35" or "0x61 .. 0x67".
inline std::array<DocumentedItem, 256> DocumentedItems() {
  std::ifstream document(VMR_SOURCE_DIR "/docs/format.md");
  const std::regex row(R"(\| 0x(..)(?:( \.\.|,) 0x(..))?[^|]*\|[^|]*\| (\d+)( \+ b\d+)? \|.*)");
  std::array<DocumentedItem, 256> items;
  bool found = false;
  std::smatch cells;
  for (std::string line; std::getline(document, line);) {
    if (!std::regex_match(line, cells, row)) continue;
    found = true;
    const std::size_t first = std::stoul(cells[1], nullptr, 16);
    const std::size_t last = cells[3].matched ? std::stoul(cells[3], nullptr, 16) : first;
    items[first] = items[last] = {std::stoul(cells[4]), cells[5].matched};
    if (cells[2] == " ..")
      for (std::size_t tag = first; tag < last; ++tag) items[tag] = items[last];
  }
  if (!found) throw std::runtime_error("no items in docs/format.md");
  return items;
}

}  // namespace vmr::test

#endif  // VMR_TESTS_SUPPORT_DOCUMENTED_ITEMS_H_
