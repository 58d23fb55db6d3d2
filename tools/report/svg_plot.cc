#include "tools/report/svg_plot.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <set>

#include "tools/read/phrase.h"
#include "tools/report/palette.h"
#include "tools/report/plot_panels.h"
#include "tools/report/plot_words.h"
#include "tools/report/svg_writer.h"

namespace vmr::tool {
namespace {

// ---- Measures, in px -------------------------------------------------------------

constexpr double kWidth = 1000;
constexpr double kLeft = 60, kRight = 850;  // of the time axis
constexpr double kLabels = kRight + 12;     // names beside lines
constexpr double kEnd = kWidth - 16;        // of what stands there
constexpr double kPanelGap = 20;
constexpr double kRow = 16;                // of a line of text
constexpr double kText = 11, kSmall = 10;  // fonts
constexpr double kHeading = 12, kTitle = 17;
constexpr double kColumnsPerPx = 2;         // on paper
constexpr double kMarkColumnsPerPx = 0.25;  // of crosses
constexpr double kLeastHole = 2;
constexpr double kRugRow = 8, kRugHeight = 5;
constexpr double kCross = 3.5;
constexpr double kSample = 26;  // of a line in a legend
constexpr double kBarHeight = 6;
constexpr std::size_t kMostCaptions = 8;  // recordings

constexpr const char* kClockDash = "4 3";
constexpr const char* kRunDash = "1 3";
// Told apart without their colours.
struct HoleRow {
  HoleKind kind;
  const char* fill;
  const char* words;  // beside it, and in the key
  bool has_length;    // of which that of the axis says something
};
constexpr HoleRow kHoleRows[] = {
    {HoleKind::kLost, "url(#vmr-plot-hole)", "lost", true},
    {HoleKind::kNotRecorded, "url(#vmr-plot-off)", "not recorded", true},
    {HoleKind::kNoTime, "url(#vmr-plot-no-time)", "clock set: no such time", false}};
constexpr const char* kUnknownFill = "url(#vmr-plot-unknown)";

// One panel may fill the page; of several each is lower.
double PlotHeight(std::size_t panels) {
  constexpr double kHeights[] = {300, 300, 200, 160};
  return panels < std::size(kHeights) ? kHeights[panels] : 130;
}

// In lines no wider than that, broken at blanks.
std::vector<std::string> Wrapped(const std::string& text, double font_px, double width) {
  std::vector<std::string> lines{""};
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = std::min(text.find(' ', at), text.size());
    const std::string word = text.substr(at, end - at);
    std::string& line = lines.back();
    std::string longer = line;
    if (!longer.empty()) longer += ' ';
    longer += word;
    if (line.empty() || TextWidth(longer, font_px) <= width)
      line = longer;
    else
      lines.push_back(word);
    at = end + 1;
  }
  for (std::string& line : lines) line = Fitting(line, font_px, width);
  return lines;
}

// Moves centres that are to lie in [top, bottom], ascending, such that they are `apart`.
void Spread(std::vector<double>& centres, double apart, double top, double bottom) {
  double least = top;
  for (double& centre : centres) least = (centre = std::max(centre, least)) + apart;
  double most = bottom;
  for (auto centre = centres.rbegin(); centre != centres.rend(); ++centre)
    most = (*centre = std::min(*centre, most)) - apart;
}

// ---- Drawing ---------------------------------------------------------------------

// Draws from the top down; `y_` is where the next thing begins.
class Painter {
 public:
  Painter(const CaseFile& file, const PlotRequest& request)
      : file_(file),
        request_(request),
        shown_(ExtentOf(file)),
        per_half_((kRight - kLeft) / static_cast<double>(shown_.Length())) {}

  std::string Draw();

 private:
  // A plot's place, and what its rows of px stand for.
  struct Box {
    double top, height;
    ValueScale scale;
    double Bottom() const { return top + height; }
    double YOf(std::int64_t value) const {
      return Bottom() - height * static_cast<double>(value - scale.low) /
                            static_cast<double>(scale.high - scale.low);
    }
  };
  struct LegendEntry {
    double x;  // of its sample
    double y;  // of the middle of its row
  };

  bool IsAlone() const { return file_.recordings.size() == 1; }
  double XOf(AxisX x) const { return kLeft + static_cast<double>(x - shown_.from) * per_half_; }
  Columns ColumnsOf(double per_px) const { return {shown_.from, per_half_ * per_px}; }
  std::string TitleText() const;

  void Label(double x, double y, const std::string& text, double font, const char* colour,
             const char* anchor = "start", const char* weight = "normal");
  void Line(double x1, double y1, double x2, double y2, const char* colour, const char* dash = "",
            double width = 1);
  void Sample(double x, double y, double length, const LineStyle& style);
  void Cross(double x, double y);

  void DrawHead();
  void DrawPanel(const PlotPanel& panel, bool is_first);
  void DrawLegend(const PlotPanel& panel);
  void DrawNothing(const PlotPanel& panel);
  void DrawPlot(const PlotPanel& panel, bool is_first);
  void DrawGrid(const Box& box);
  void DrawTimeGrid(double top, double bottom);
  void DrawHoles(const CaseRecording& recording, double top, double height, bool with_labels);
  void DrawHole(const HoleRow& row, const AxisSpan& hole, double top, double height,
                bool with_label);
  void DrawJumpLabels(const CaseRecording& recording);
  void DrawJumps(const CaseRecording& recording, double top, double bottom);
  void DrawLine(const PlotLine& line, const Box& box);
  void DrawWrong(const PlotLine& line, const Box& box);
  void DrawNames(const PlotPanel& panel, const Box& box);
  void DrawUnknown(const PlotPanel& panel);
  void DrawWords(const PlotPanel& panel);
  void DrawRecorded();
  void DrawTimes();
  void DrawKey();
  void DrawCaptions();
  std::string Frame() const;
  std::string WholeText() const;

  const CaseFile& file_;
  const PlotRequest& request_;
  const AxisSpan shown_;
  const double per_half_;
  std::vector<PlotPanel> panels_;
  std::vector<AxisMark> marks_;
  double plot_height_ = 0;
  SvgWriter svg_;
  double y_ = 0;
  // What is to be explained.
  std::set<HoleKind> holes_;
  bool has_step_ = false, has_run_ = false, has_wrong_ = false, has_word_ = false;
};

void Painter::Label(double x, double y, const std::string& text, double font, const char* colour,
                    const char* anchor, const char* weight) {
  svg_.Text("text",
            {{"x", x},
             {"y", y},
             {"font-size", font},
             {"fill", colour},
             {"text-anchor", anchor},
             {"font-weight", weight}},
            text);
}

void Painter::Line(double x1, double y1, double x2, double y2, const char* colour, const char* dash,
                   double width) {
  svg_.Leaf("line", {{"x1", x1},
                     {"y1", y1},
                     {"x2", x2},
                     {"y2", y2},
                     {"stroke", colour},
                     {"stroke-width", width},
                     {"stroke-dasharray", *dash == '\0' ? "none" : dash}});
}

void Painter::Sample(double x, double y, double length, const LineStyle& style) {
  Line(x, y, x + length, y, style.colour, style.dash, style.width);
}

void Painter::Cross(double x, double y) {
  has_wrong_ = true;
  svg_.Leaf("path", {{"d", fmt::format("M{} {}L{} {}M{} {}L{} {}", Px(x - kCross), Px(y - kCross),
                                       Px(x + kCross), Px(y + kCross), Px(x - kCross),
                                       Px(y + kCross), Px(x + kCross), Px(y - kCross))},
                     {"stroke", palette::kCrc},
                     {"stroke-width", 1.5},
                     {"fill", "none"}});
}

// ---- Head ------------------------------------------------------------------------

std::string Painter::TitleText() const {
  return request_.title.empty() ? DefaultTitle(file_, request_.families) : request_.title;
}

void Painter::DrawHead() {
  constexpr double kBold = 1.1;  // wider
  Label(kLeft, 32, Fitting(TitleText(), kTitle * kBold, kEnd - kLeft), kTitle, palette::kText,
        "start", "bold");
  Label(kLeft, 52, SpanText(file_, shown_), kHeading, palette::kMuted);
  y_ = 70;
}

// ---- Panels ----------------------------------------------------------------------

void Painter::DrawPanel(const PlotPanel& panel, bool is_first) {
  DrawLegend(panel);
  if (is_first && IsAlone()) DrawJumpLabels(file_.recordings.front());
  if (panel.has_values)
    DrawPlot(panel, is_first);
  else
    DrawNothing(panel);
  y_ += kPanelGap;
}

// Its title, and behind it a sample of each line with its name.
void Painter::DrawLegend(const PlotPanel& panel) {
  constexpr double kBold = 1.1, kBetween = 20, kBeside = 6, kWidestName = 300;
  const std::string title = Fitting(panel.title, kHeading * kBold, (kRight - kLeft) / 2);
  Label(kLeft, y_ + 12, title, kHeading, palette::kText, "start", "bold");
  double x = kLeft + TextWidth(title, kHeading * kBold) + kBetween;
  for (const PlotLine& line : panel.lines) {
    const std::string name = Fitting(line.name, kText, kWidestName);
    const double width = kSample + kBeside + TextWidth(name, kText);
    if (x + width > kEnd) {
      x = kLeft;
      y_ += kRow;
    }
    Sample(x, y_ + 8, kSample, line.style);
    Label(x + kSample + kBeside, y_ + 12, name, kText, palette::kText);
    x += width + kBetween;
  }
  y_ += kRow + 6;
}

void Painter::DrawNothing(const PlotPanel& panel) {
  constexpr double kHeight = 40;
  svg_.Leaf("rect", {{"x", kLeft},
                     {"y", y_},
                     {"width", kRight - kLeft},
                     {"height", kHeight},
                     {"fill", palette::kPanel}});
  Label((kLeft + kRight) / 2, y_ + kHeight / 2 + 4,
        panel.lines.empty() ? "not recorded" : "unknown throughout", kText, palette::kMuted,
        "middle");
  y_ += kHeight;
}

void Painter::DrawPlot(const PlotPanel& panel, bool is_first) {
  const Box box{y_, plot_height_, panel.scale};
  DrawGrid(box);
  if (IsAlone()) {
    DrawHoles(file_.recordings.front(), box.top, box.height, is_first);
    DrawJumps(file_.recordings.front(), box.top, box.Bottom());
  }
  Line(kLeft, box.Bottom(), kRight, box.Bottom(), palette::kMuted);
  for (const PlotLine& line : panel.lines) DrawLine(line, box);
  for (const PlotLine& line : panel.lines) DrawWrong(line, box);
  DrawNames(panel, box);
  y_ += box.height;
  DrawUnknown(panel);
  DrawWords(panel);
}

void Painter::DrawTimeGrid(double top, double bottom) {
  for (const AxisMark& mark : marks_) Line(XOf(mark.x), top, XOf(mark.x), bottom, palette::kGrid);
}

void Painter::DrawGrid(const Box& box) {
  DrawTimeGrid(box.top, box.Bottom());
  for (std::int64_t value = box.scale.low; value <= box.scale.high; value += box.scale.step) {
    const double y = box.YOf(value);
    Line(kLeft, y, kRight, y, palette::kGrid);
    Label(kLeft - 8, y + 4, fmt::format("{}", value), kText, palette::kMuted, "end");
  }
}

void Painter::DrawHoles(const CaseRecording& recording, double top, double height,
                        bool with_labels) {
  for (const HoleRow& row : kHoleRows) {
    std::vector<AxisSpan> holes = HolesOf(recording, row.kind);
    Thin(holes, ColumnsOf(kColumnsPerPx));
    for (const AxisSpan& hole : holes)
      if (hole.to >= shown_.from && hole.from <= shown_.to)
        DrawHole(row, hole, top, height, with_labels);
  }
}

void Painter::DrawHole(const HoleRow& row, const AxisSpan& hole, double top, double height,
                       bool with_label) {
  constexpr double kAir = 6;
  holes_.insert(row.kind);
  const double right = XOf(std::min(hole.to, shown_.to));
  const double left = std::min(XOf(std::max(hole.from, shown_.from)), kRight - kLeastHole);
  const double width = std::max(right - left, kLeastHole);
  svg_.Leaf("rect",
            {{"x", left}, {"y", top}, {"width", width}, {"height", height}, {"fill", row.fill}});
  // From the last place that is known to the next one.
  std::string text = row.words;
  if (row.has_length) text += ", " + LengthText(hole.Length() + 1);
  const double text_width = TextWidth(text, kSmall) + 2 * kAir;
  if (!with_label || text_width > width) return;
  svg_.Leaf("rect", {{"x", left + (width - text_width) / 2},
                     {"y", top + kAir},
                     {"width", text_width},
                     {"height", kRow},
                     {"fill", palette::kBackground}});
  Label(left + width / 2, top + kAir + 12, text, kSmall, palette::kMuted, "middle");
}

// ---- Jumps -----------------------------------------------------------------------

// Above the first plot, as far as there is room.
void Painter::DrawJumpLabels(const CaseRecording& recording) {
  struct Jump {
    AxisX x;
    std::string text;
    const char* colour;
  };
  std::vector<Jump> jumps;
  for (const CaseClockStep& step : recording.steps)
    jumps.push_back({step.x, StepText(step), palette::kClock});
  for (const CaseNewRun& run : recording.new_runs)
    jumps.push_back({run.x, "new run", palette::kMuted});
  if (jumps.empty()) return;
  std::stable_sort(jumps.begin(), jumps.end(),
                   [](const Jump& a, const Jump& b) { return a.x < b.x; });
  constexpr double kBetween = 8, kHeight = 14;
  double free_from = kLeft - kBetween;
  for (const Jump& jump : jumps) {
    if (jump.x < shown_.from || jump.x > shown_.to) continue;
    // At its line, or to the right as long as it still begins there.
    const double half = TextWidth(jump.text, kSmall) / 2, line = XOf(jump.x);
    const double middle =
        std::min(std::max({line, kLeft + half, free_from + kBetween + half}), kEnd - half);
    if (middle - half < free_from + kBetween || middle - half > line) continue;
    Label(middle, y_ + 8, jump.text, kSmall, jump.colour, "middle");
    free_from = middle + half;
  }
  y_ += kHeight;
}

void Painter::DrawJumps(const CaseRecording& recording, double top, double bottom) {
  std::set<std::string> drawn;  // where one would cover another
  const auto draw = [&](AxisX at, const char* colour, const char* dash, bool& has) {
    if (at < shown_.from || at > shown_.to) return;
    has = true;
    const double x = XOf(at);
    if (drawn.insert(dash + Px(std::round(x))).second) Line(x, top, x, bottom, colour, dash, 1.2);
  };
  for (const CaseClockStep& step : recording.steps)
    draw(step.x, palette::kClock, kClockDash, has_step_);
  for (const CaseNewRun& run : recording.new_runs) draw(run.x, palette::kMuted, kRunDash, has_run_);
}

// ---- Lines -----------------------------------------------------------------------

void Painter::DrawLine(const PlotLine& line, const Box& box) {
  // A piece of which no dash would be seen is a dot.
  constexpr double kDot = 2;
  std::string pieces, dots;
  for (const LinePiece& piece : line.parts.pieces) {
    const bool is_dot = XOf(piece.to) - XOf(piece.From()) < kDot;
    std::string& path = is_dot ? dots : pieces;
    path += fmt::format("M{} {}", Px(XOf(piece.From())), Px(box.YOf(piece.steps[0].value)));
    for (std::size_t i = 1; i < piece.steps.size(); ++i)
      path += fmt::format("H{}V{}", Px(XOf(piece.steps[i].x)), Px(box.YOf(piece.steps[i].value)));
    path += fmt::format("H{}", Px(XOf(piece.to)));
  }
  if (!pieces.empty())
    svg_.Leaf("path", {{"d", pieces},
                       {"fill", "none"},
                       {"stroke", line.style.colour},
                       {"stroke-width", line.style.width},
                       {"stroke-linejoin", "round"},
                       {"stroke-dasharray", *line.style.dash == '\0' ? "none" : line.style.dash}});
  if (!dots.empty())
    svg_.Leaf("path", {{"d", dots},
                       {"fill", "none"},
                       {"stroke", line.style.colour},
                       {"stroke-width", line.style.width},
                       {"stroke-linecap", "round"}});
}

void Painter::DrawWrong(const PlotLine& line, const Box& box) {
  std::vector<LineStep> marks = line.parts.wrong;
  Thin(marks, ColumnsOf(kMarkColumnsPerPx));
  for (const LineStep& mark : marks)
    if (mark.x >= shown_.from && mark.x <= shown_.to) Cross(XOf(mark.x), box.YOf(mark.value));
}

// Beside the lines that reach the end, as far as they find room.
void Painter::DrawNames(const PlotPanel& panel, const Box& box) {
  constexpr double kReach = 4, kApart = 12, kFarthest = 40;
  if (panel.lines.size() < 2) return;
  struct Name {
    double y;
    const PlotLine* line;
  };
  std::vector<Name> names;
  for (const PlotLine& line : panel.lines) {
    if (line.parts.pieces.empty()) continue;
    const LinePiece& last = line.parts.pieces.back();
    if (kRight - XOf(last.to) <= kReach) names.push_back({box.YOf(last.steps.back().value), &line});
  }
  if (static_cast<double>(names.size()) * kApart > box.height) return;
  std::stable_sort(names.begin(), names.end(),
                   [](const Name& a, const Name& b) { return a.y < b.y; });
  std::vector<double> centres;
  centres.reserve(names.size());
  for (const Name& name : names) centres.push_back(name.y);
  Spread(centres, kApart, box.top, box.Bottom() - kApart / 2);
  for (std::size_t i = 0; i < names.size(); ++i) {
    const auto& [y, line] = names[i];
    if (std::abs(centres[i] - y) > kFarthest) continue;
    Line(kRight + 2, y, kLabels - 3, centres[i], line->style.colour, "", 0.7);
    Label(kLabels, centres[i] + 4, Fitting(line->short_name, kText, kEnd - kLabels), kText,
          line->style.colour);
  }
}

// A row below the plot for each line that is unknown somewhere, though recorded.
void Painter::DrawUnknown(const PlotPanel& panel) {
  constexpr double kLeast = 3;  // that is seen
  bool is_first = true;
  for (const PlotLine& line : panel.lines) {
    std::vector<AxisSpan> seen;
    for (const AxisSpan& span : line.parts.unknown)
      if (XOf(span.to) - XOf(span.from) >= kLeast) seen.push_back(span);
    if (seen.empty()) continue;
    if (is_first) y_ += 6;
    Sample(kLeft - kSample - 4, y_ + kRugHeight / 2, kSample, line.style);
    for (const AxisSpan& span : seen)
      svg_.Leaf("rect", {{"x", XOf(span.from)},
                         {"y", y_},
                         {"width", XOf(span.to) - XOf(span.from)},
                         {"height", kRugHeight},
                         {"fill", kUnknownFill}});
    if (is_first) Label(kLabels, y_ + 6, "unknown", kSmall, palette::kMuted);
    is_first = false;
    y_ += kRugRow;
  }
}

// The same for each line that has words in place of values: a thin line, with the word on it.
void Painter::DrawWords(const PlotPanel& panel) {
  constexpr double kLeast = 1, kAir = 3, kBetween = 9;
  for (const PlotLine& line : panel.lines) {
    if (line.parts.words.empty()) continue;
    has_word_ = true;
    y_ += kBetween;
    Sample(kLeft - kSample - 4, y_, kSample, line.style);
    for (const auto& [span, number] : line.parts.words) {
      const double left = XOf(span.from), width = std::max(XOf(span.to) - left, kLeast);
      Line(left, y_, left + width, y_, palette::kMuted, "", 1.2);
      const std::string text = WordText(line.told, number);
      if (TextWidth(text, kSmall) + 2 * kAir < width)
        Label(left + kAir, y_ - 2, text, kSmall, palette::kMuted);
    }
    y_ += kAir;
  }
}

// ---- Below the panels ------------------------------------------------------------

// Of several recordings: when each was, and what of it is not there.
void Painter::DrawRecorded() {
  constexpr double kRowHeight = 14;
  Label(kLeft, y_ + 12, "Recorded", kHeading, palette::kText, "start", "bold");
  y_ += kRow + 6;
  const double rows = kRowHeight * static_cast<double>(file_.recordings.size());
  DrawTimeGrid(y_, y_ + rows);
  for (std::size_t i = 0; i < file_.recordings.size(); ++i) {
    const CaseRecording& recording = file_.recordings[i];
    const double top = y_ + (kRowHeight - kBarHeight) / 2;
    Line(kLeft - kSample - 4, top + kBarHeight / 2, kLeft - 4, top + kBarHeight / 2, palette::kText,
         StyleOf({0, 0, i}, false).dash, 1.4);
    std::vector<AxisSpan> spans = RecordedSpans(recording);
    Thin(spans, ColumnsOf(kColumnsPerPx));
    for (const AxisSpan& span : spans)
      svg_.Leaf("rect", {{"x", XOf(span.from)},
                         {"y", top},
                         {"width", std::max(XOf(span.to) - XOf(span.from), 1.0)},
                         {"height", kBarHeight},
                         {"fill", palette::kTrack}});
    DrawHoles(recording, top, kBarHeight, false);
    DrawJumps(recording, top - 3, top + kBarHeight + 3);
    Label(kLabels, top + kBarHeight / 2 + 4, Fitting(recording.name, kText, kEnd - kLabels), kText,
          palette::kText);
    y_ += kRowHeight;
  }
  y_ += kPanelGap;
}

void Painter::DrawTimes() {
  y_ -= kPanelGap;
  Line(kLeft, y_, kRight, y_, palette::kMuted);
  bool has_dates = false;
  for (const AxisMark& mark : marks_) {
    const double x = XOf(mark.x);
    Line(x, y_, x, y_ + 5, palette::kMuted);
    Label(x, y_ + 18, mark.label, kText, palette::kText, "middle");
    if (!mark.date.empty()) Label(x, y_ + 32, mark.date, kText, palette::kMuted, "middle");
    has_dates |= !mark.date.empty();
  }
  y_ += has_dates ? 36 : 22;
  Label((kLeft + kRight) / 2, y_ + 14, Fitting(AxisTitle(file_, shown_), kText, kRight - kLeft),
        kText, palette::kMuted, "middle");
  y_ += 24;
}

// What the marks stand for, those that are there.
void Painter::DrawKey() {
  constexpr double kBox = 18, kBeside = 6, kBetween = 24;
  if (holes_.empty() && !has_step_ && !has_run_ && !has_wrong_ && !has_word_) return;
  double x = kLeft;
  const double middle = y_ + 8;
  const auto explain = [&](const char* text) {
    Label(x + kBox + kBeside, middle + 4, text, kSmall, palette::kMuted);
    x += kBox + kBeside + TextWidth(text, kSmall) + kBetween;
  };
  for (const HoleRow& row : kHoleRows) {
    if (holes_.count(row.kind) == 0) continue;
    svg_.Leaf("rect",
              {{"x", x}, {"y", middle - 6}, {"width", kBox}, {"height", 12}, {"fill", row.fill}});
    explain(row.words);
  }
  if (has_step_) {
    Line(x + kBox / 2, middle - 7, x + kBox / 2, middle + 7, palette::kClock, kClockDash, 1.2);
    explain("the unit was off, or its clock was set");
  }
  if (has_run_) {
    Line(x + kBox / 2, middle - 7, x + kBox / 2, middle + 7, palette::kMuted, kRunDash, 1.2);
    explain("new run of the unit");
  }
  if (has_word_) {
    Line(x, middle, x + kBox, middle, palette::kMuted, "", 1.2);
    explain("a word told in place of a value");
  }
  if (has_wrong_) {
    Cross(x + kBox / 2, middle);
    explain("of a packet whose CRC is wrong");
  }
  y_ += kRow + 6;
}

void Painter::DrawCaptions() {
  const std::string version = "vmr " VMR_VERSION;
  const double width = kEnd - kLeft - TextWidth(version, kSmall) - 16;
  y_ += 4;
  Line(kLeft, y_, kEnd, y_, palette::kLine);
  Label(kEnd, y_ + 15, version, kSmall, palette::kMuted, "end");
  std::vector<std::string> captions;
  for (const CaseRecording& recording : file_.recordings)
    if (captions.size() < kMostCaptions)
      captions.push_back(Caption(file_, recording, request_.families));
  if (file_.recordings.size() > kMostCaptions)
    captions.push_back("and " + Counted(file_.recordings.size() - kMostCaptions, "recording"));
  for (const std::string& caption : captions)
    for (const std::string& line : Wrapped(caption, kSmall, width)) {
      Label(kLeft, y_ + 15, line, kSmall, palette::kMuted);
      y_ += 14;
    }
  y_ += 14;
}

// ---- The whole -------------------------------------------------------------------

// For who cannot see it.
std::string Painter::WholeText() const {
  std::string text = SpanText(file_, shown_) + ". ";
  for (const PlotPanel& panel : panels_) {
    text += panel.title + ": ";
    if (panel.lines.empty()) text += "not recorded. ";
    for (const PlotLine& line : panel.lines) text += line.words + ' ';
  }
  for (const CaseRecording& recording : file_.recordings)
    text += Caption(file_, recording, request_.families) + ". " + BreaksText(file_, recording);
  text.pop_back();
  return text;
}

std::string Painter::Frame() const {
  SvgWriter whole;
  const std::string height = Px(y_);
  whole.Open("svg", {{"xmlns", "http://www.w3.org/2000/svg"},
                     {"width", kWidth},
                     {"height", height},
                     {"viewBox", fmt::format("0 0 {} {}", Px(kWidth), height)},
                     {"role", "img"},
                     {"aria-labelledby", "vmr-plot-title vmr-plot-desc"}});
  whole.Text("title", {{"id", "vmr-plot-title"}}, TitleText());
  whole.Text("desc", {{"id", "vmr-plot-desc"}}, WholeText());
  whole.Open("defs", {});
  const auto pattern = [&whole](const char* id, const char* path, const char* colour) {
    constexpr double kTile = 8;
    whole.Open(
        "pattern",
        {{"id", id}, {"width", kTile}, {"height", kTile}, {"patternUnits", "userSpaceOnUse"}});
    whole.Leaf("path", {{"d", path}, {"stroke", colour}, {"stroke-width", 0.8}});
    whole.Close();
  };
  // Crossed: lost. Dots: not recorded. Upright: times of no clock. Stripes: unknown.
  pattern("vmr-plot-hole", "M-1 1L1 -1M0 8L8 0M7 9L9 7M-1 7L1 9M0 0L8 8M7 -1L9 1", palette::kGap);
  pattern("vmr-plot-off", "M2 1.4V2.6M6 5.4V6.6", palette::kGap);
  pattern("vmr-plot-no-time", "M2 0V8M6 0V8", palette::kClock);
  pattern("vmr-plot-unknown", "M-1 1L1 -1M-1 5L5 -1M0 8L8 0M3 9L9 3M7 9L9 7", palette::kUnknown);
  whole.Close();
  whole.Leaf("rect", {{"width", kWidth}, {"height", height}, {"fill", palette::kBackground}});
  whole.Open("g", {{"font-family", "sans-serif"}});
  whole.Add(svg_);
  whole.Close();
  whole.Close();
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n" + whole.Get();
}

std::string Painter::Draw() {
  constexpr int kMostMarks = 9;
  constexpr double kLeastStep = 32;
  plot_height_ = PlotHeight(request_.families.size());
  panels_ = PanelsOf(file_, request_, ColumnsOf(kColumnsPerPx),
                     static_cast<int>(plot_height_ / kLeastStep));
  marks_ = file_.has_time ? ShownMarks(file_, TimeMarks(file_.axis_us, shown_, kMostMarks))
                          : NumberMarks(TicksAhead(file_).value_or(0), shown_, kMostMarks);
  DrawHead();
  for (const PlotPanel& panel : panels_) DrawPanel(panel, &panel == &panels_.front());
  if (!IsAlone()) DrawRecorded();
  DrawTimes();
  DrawKey();
  DrawCaptions();
  return Frame();
}

}  // namespace

bool Tells(const CaseFile& file, const std::string& family) {
  return std::any_of(
      file.recordings.begin(), file.recordings.end(), [&family](const CaseRecording& recording) {
        return std::any_of(recording.series.begin(), recording.series.end(),
                           [&family](const CaseSeries& one) { return one.family == family; });
      });
}

std::string SvgPlot(const CaseFile& file, const PlotRequest& request) {
  return Painter(file, request).Draw();
}

}  // namespace vmr::tool
