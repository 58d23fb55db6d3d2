// Values of records as text, for outputs of any format.
#ifndef VMR_TOOLS_READ_VALUE_TEXT_H_
#define VMR_TOOLS_READ_VALUE_TEXT_H_

#include <fmt/format.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace vmr::tool {

// Lines are put together here; nothing is allocated once it has grown.
using LineBuffer = fmt::memory_buffer;

inline void Append(std::string_view text, LineBuffer& line) {
  line.append(text.data(), text.data() + text.size());
}

template <typename Number>
void AppendNumber(Number number, LineBuffer& line) {
  const fmt::format_int digits(number);
  line.append(digits.data(), digits.data() + digits.size());
}

// "2026-11-21T04:48:24.500Z"
void AppendUtc(std::int64_t time_us, LineBuffer& line);
// "-93.4993968": seven digits are an inch.
void AppendDegrees(std::int64_t tts, LineBuffer& line);
// "0a1b2c", or with `between` "0a:1b:2c"; 0: nothing between.
void AppendHex(std::string_view bytes, char between, LineBuffer& line);
// "192.168.0.10"
void AppendAddress(std::int64_t address, LineBuffer& line);

// The first character of a recorded text. Texts are in no known encoding: a byte that begins
// no UTF-8 is taken for ISO 8859-1.
struct Character {
  std::string_view bytes;  // as recorded
  char32_t code = 0;
  bool is_utf8 = true;
};
Character FirstCharacter(std::string_view text);

// It would move a cursor, begin a line, turn text around, or is no character at all: such
// ones are shown as \u001b, whatever the format.
bool IsHidden(char32_t code);
void AppendHidden(char32_t code, LineBuffer& line);
// Of what is not hidden.
void AppendUtf8(const Character& character, LineBuffer& line);

// The text as UTF-8 without hidden characters.
std::string VisibleText(std::string_view text);

// The same in XML.
void AppendXml(std::string_view text, LineBuffer& line);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_READ_VALUE_TEXT_H_
