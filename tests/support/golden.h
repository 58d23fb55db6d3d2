// Files of packets written out: on each line the bytes of a header, an item or a
// CRC, then "# " and what they are (of an item, the line that the viewer prints).
// An empty line stands in front of every packet. \xNN in a comment is that byte.
#ifndef VMR_TESTS_SUPPORT_GOLDEN_H_
#define VMR_TESTS_SUPPORT_GOLDEN_H_

#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/bytes.h"

namespace vmr::test {

struct GoldenItem {
  Bytes bytes;
  std::string line;  // as the viewer prints it
};

struct GoldenPackets {
  std::vector<Bytes> packets;
  std::vector<GoldenItem> items;
};

inline std::string Unescaped(const std::string& text) {
  std::string plain;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const bool escape = text.compare(at, 2, "\\x") == 0;
    plain += escape ? static_cast<char>(std::stoi(text.substr(at + 2, 2), nullptr, 16)) : text[at];
    if (escape) at += 3;
  }
  return plain;
}

inline GoldenPackets ReadGolden(const std::string& name) {
  std::ifstream file(std::string(VMR_TEST_DATA_DIR) + "/" + name);
  if (!file) throw std::runtime_error("cannot open " + name);
  GoldenPackets golden;
  for (std::string line; std::getline(file, line);) {
    const std::size_t comment = line.find("# ");
    if (comment == 0) continue;
    if (line.empty()) {
      golden.packets.emplace_back();
      continue;
    }
    const Bytes bytes = B(line.substr(0, comment));
    golden.packets.back() = golden.packets.back() + bytes;
    const std::string text = line.substr(comment + 2);
    if (text[0] == '[') golden.items.push_back({bytes, Unescaped(text)});
  }
  return golden;
}

}  // namespace vmr::test

#endif  // VMR_TESTS_SUPPORT_GOLDEN_H_
