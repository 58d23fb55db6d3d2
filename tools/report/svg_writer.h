// The elements of a drawing in SVG 1.1, as text.
#ifndef VMR_TOOLS_REPORT_SVG_WRITER_H_
#define VMR_TOOLS_REPORT_SVG_WRITER_H_

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace vmr::tool {

// To a hundredth, without zeros behind: "12.5". The same text on every machine.
std::string Px(double px);

// As text is set in a usual sans-serif font; rather too wide than too narrow.
double TextWidth(std::string_view utf8, double font_px);
// The text, or its beginning and an ellipsis, no wider than that.
std::string Fitting(const std::string& utf8, double font_px, double width);

// Values are the program's own: none is escaped.
struct SvgAttribute {
  SvgAttribute(const char* attribute, std::string text) : name(attribute), value(std::move(text)) {}
  SvgAttribute(const char* attribute, const char* text) : name(attribute), value(text) {}
  SvgAttribute(const char* attribute, double px) : name(attribute), value(Px(px)) {}

  const char* name;
  std::string value;
};
using SvgAttributes = std::initializer_list<SvgAttribute>;

// Each element on a line of its own. Text is escaped, recorded text may be handed over as it is.
class SvgWriter {
 public:
  void Leaf(const char* element, SvgAttributes attributes);
  void Text(const char* element, SvgAttributes attributes, std::string_view text);
  void Open(const char* element, SvgAttributes attributes);
  void Close();
  // What was written with another one.
  void Add(const SvgWriter& other) { svg_ += other.svg_; }

  const std::string& Get() const { return svg_; }

 private:
  void Begin(const char* element, SvgAttributes attributes);

  std::string svg_;
  std::vector<const char*> open_;
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_REPORT_SVG_WRITER_H_
