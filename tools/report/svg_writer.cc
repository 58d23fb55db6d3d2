#include "tools/report/svg_writer.h"

#include <fmt/format.h>

#include <cmath>

#include "tools/read/value_text.h"

namespace vmr::tool {
namespace {

// In parts of the font's size.
double WidthOf(char32_t code) {
  constexpr std::string_view kNarrow = "iljftrI.,:;'|!()[] ", kWide = "mwMW@%";
  constexpr char32_t kFirstIdeograph = 0x2E80;
  if (code >= kFirstIdeograph) return 1;
  if (code > 0x7F) return 0.66;
  const char c = static_cast<char>(code);
  if (kNarrow.find(c) != kNarrow.npos) return 0.36;
  if (kWide.find(c) != kWide.npos) return 0.94;
  return c >= 'A' && c <= 'Z' ? 0.7 : 0.6;
}

}  // namespace

std::string Px(double px) {
  constexpr long long kParts = 100;
  const long long parts = std::llround(px * kParts);
  const long long magnitude = std::llabs(parts);
  std::string text = fmt::format("{}{}", parts < 0 ? "-" : "", magnitude / kParts);
  const long long fraction = magnitude % kParts;
  if (fraction == 0) return text;
  text += fmt::format(".{:02}", fraction);
  if (text.back() == '0') text.pop_back();
  return text;
}

double TextWidth(std::string_view utf8, double font_px) {
  double width = 0;
  while (!utf8.empty()) {
    const Character character = FirstCharacter(utf8);
    width += WidthOf(character.code) * font_px;
    utf8.remove_prefix(character.bytes.size());
  }
  return width;
}

std::string Fitting(const std::string& utf8, double font_px, double width) {
  constexpr const char* kEllipsis = "\u2026";
  if (TextWidth(utf8, font_px) <= width) return utf8;
  double left = width - TextWidth(kEllipsis, font_px);
  std::string_view rest = utf8;
  std::string text;
  while (!rest.empty()) {
    const Character character = FirstCharacter(rest);
    left -= WidthOf(character.code) * font_px;
    if (left < 0) break;
    text += character.bytes;
    rest.remove_prefix(character.bytes.size());
  }
  return text + kEllipsis;
}

void SvgWriter::Begin(const char* element, SvgAttributes attributes) {
  svg_.append(2 * open_.size(), ' ');
  svg_ += '<';
  svg_ += element;
  for (const SvgAttribute& attribute : attributes)
    svg_ += fmt::format(" {}=\"{}\"", attribute.name, attribute.value);
}

void SvgWriter::Leaf(const char* element, SvgAttributes attributes) {
  Begin(element, attributes);
  svg_ += "/>\n";
}

void SvgWriter::Text(const char* element, SvgAttributes attributes, std::string_view text) {
  Begin(element, attributes);
  svg_ += '>';
  LineBuffer escaped;
  AppendXml(text, escaped);
  svg_.append(escaped.data(), escaped.size());
  svg_ += fmt::format("</{}>\n", element);
}

void SvgWriter::Open(const char* element, SvgAttributes attributes) {
  Begin(element, attributes);
  svg_ += ">\n";
  open_.push_back(element);
}

void SvgWriter::Close() {
  const char* const element = open_.back();
  open_.pop_back();
  svg_.append(2 * open_.size(), ' ');
  svg_ += fmt::format("</{}>\n", element);
}

}  // namespace vmr::tool
