// Items of a recording that is put together byte by byte, as hexadecimal text.
#ifndef VMR_TESTS_TOOLS_ITEM_BYTES_H_
#define VMR_TESTS_TOOLS_ITEM_BYTES_H_

#include <string>

#include "tests/support/bytes.h"

namespace vmr::test {

// 2023-11-14T22:13:20Z, and an hour and two seconds later.
inline constexpr const char* kTime = "03 00 F1 53 65 ";
inline constexpr const char* kAnHourLater = "03 12 FF 53 65 ";

// 37 degrees 50 minutes south, 145 degrees east.
inline constexpr const char* kMelbourne = "91 02 25 32 00 00 91 00 00 00 ";

inline std::string TextItem(const std::string& tag, const std::string& text) {
  std::string hex = tag + " ";
  const auto add = [&hex](unsigned char byte) {
    constexpr char kDigits[] = "0123456789ABCDEF";
    hex += {kDigits[byte >> 4], kDigits[byte & 15], ' '};
  };
  add(static_cast<unsigned char>(text.size()));
  for (const char c : text) add(static_cast<unsigned char>(c));
  return hex;
}
inline std::string Officer(const std::string& name) { return TextItem("05", name); }
inline std::string Log(const std::string& text) { return TextItem("20", text); }

inline Bytes WithWrongCrc(Bytes packet) {
  packet.back() ^= 1;
  return packet;
}

}  // namespace vmr::test

#endif  // VMR_TESTS_TOOLS_ITEM_BYTES_H_
