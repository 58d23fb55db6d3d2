#include "tools/report/plot_panels.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <optional>
#include <set>

#include "tools/report/palette.h"
#include "tools/report/plot_words.h"
#include "tools/report/svg_plot.h"

namespace vmr::tool {
namespace {

constexpr const char* kDashes[] = {"", "6 3", "2 2", "8 3 2 3"};

// Its zero says something: a standing vehicle.
bool BeginsAtZero(const std::string& family) { return family == "speed" || family == "radar"; }

std::string TitleOf(const std::string& family, const std::string& unit) {
  if (unit.empty()) return Capital(family) + ", unit not told";
  return Capital(family) + (unit[0] == '(' ? " " : ", ") + unit;
}

// The least value and the greatest one of some lines, those of wrong CRCs among them.
class ValueRange {
 public:
  void Take(const LineParts& parts) {
    for (const LinePiece& piece : parts.pieces)
      for (const LineStep& step : piece.steps) Take(step.value);
    for (const LineStep& step : parts.wrong) Take(step.value);
  }
  bool IsEmpty() const { return !least_; }
  ValueScale Scale(bool begins_at_zero, int most_steps) const {
    constexpr std::int64_t kSlow = 10;  // a standing vehicle's speeds fill no panel
    if (begins_at_zero)
      return ScaleFor(std::min<std::int64_t>(*least_, 0), std::max(*most_, kSlow), most_steps);
    return ScaleFor(*least_ - 1, *most_ + 1, most_steps);
  }

 private:
  void Take(std::int64_t value) {
    least_ = std::min(least_.value_or(value), value);
    most_ = std::max(most_.value_or(value), value);
  }
  std::optional<std::int64_t> least_, most_;
};

PlotLine LineOf(const CaseFile& file, const CaseRecording& recording, const CaseSeries& series,
                const Columns& columns) {
  PlotLine line;
  line.parts = PartsOf(series.line, RecordedSpans(recording));
  const DescribedSeries described{&recording, &series, &line.parts};
  line.name = NameOf(file, described);
  line.short_name = series.name;
  line.recording = recording.name;
  line.words = Described(file, described);
  line.told = series.words;
  Thin(line.parts.pieces, columns);
  Thin(line.parts.unknown, columns);
  Thin(line.parts.words, columns);
  Thin(line.parts.wrong, columns);
  return line;
}

std::vector<std::string> UnitsOf(const CaseFile& file, const std::string& family) {
  std::vector<std::string> units;
  for (const CaseRecording& recording : file.recordings)
    for (const CaseSeries& series : recording.series)
      if (series.family == family && !series.IsWordsAlone() &&
          std::find(units.begin(), units.end(), series.unit) == units.end())
        units.push_back(series.unit);
  return units;
}

PlotPanel PanelOf(const CaseFile& file, const std::string& family, const std::string& unit,
                  const Columns& columns, int most_steps) {
  PlotPanel panel;
  panel.title = TitleOf(family, unit);
  ValueRange range;
  std::set<std::string> names;
  for (std::size_t i = 0; i < file.recordings.size(); ++i) {
    LinePlace place{panel.lines.size(), 0, i};
    for (const CaseSeries& series : file.recordings[i].series) {
      if (series.family != family || series.unit != unit || series.IsWordsAlone()) continue;
      panel.lines.push_back(LineOf(file, file.recordings[i], series, columns));
      panel.lines.back().style = StyleOf(place, file.recordings.size() == 1);
      range.Take(panel.lines.back().parts);
      names.insert(series.name);
      ++place.of_panel, ++place.of_recording;
    }
  }
  // Of several recordings with one line each their names say more.
  if (names.size() == 1)
    for (PlotLine& line : panel.lines) line.short_name = line.recording;
  panel.has_values = !range.IsEmpty();
  if (panel.has_values) panel.scale = range.Scale(BeginsAtZero(family), most_steps);
  return panel;
}

// Sentences on what is no line and goes without a panel.
void WordsAlone(const CaseFile& file, const std::string& family, std::string& text) {
  for (const CaseRecording& recording : file.recordings)
    for (const CaseSeries& series : recording.series) {
      if (series.family != family || !series.IsWordsAlone()) continue;
      std::vector<std::string> told;
      for (const CaseWord& word : series.words) told.push_back(word.text);
      text += fmt::format("{}{}: no value, it told \"{}\" alone.", text.empty() ? "" : " ",
                          NameOf(file, {&recording, &series, nullptr}), fmt::join(told, "\", \""));
    }
}

}  // namespace

LineStyle StyleOf(const LinePlace& place, bool is_alone) {
  constexpr double kWidths[] = {1.8, 1.4, 2.6, 1};
  constexpr std::size_t kColours = std::size(palette::kSeries);
  // With the second round of colours each has another dash.
  const std::size_t dash = is_alone ? place.of_panel + place.of_panel / kColours : place.recording;
  const std::size_t width =
      is_alone ? std::min<std::size_t>(place.of_panel, 1) : place.of_recording;
  return {palette::kSeries[place.of_panel % kColours], kDashes[dash % std::size(kDashes)],
          kWidths[width % std::size(kWidths)]};
}

std::vector<PlotPanel> PanelsOf(const CaseFile& file, const PlotRequest& request,
                                const Columns& columns, int most_steps) {
  std::vector<PlotPanel> panels;
  std::string words;
  for (const std::string& family : request.families) {
    const std::vector<std::string> units = UnitsOf(file, family);
    for (const std::string& unit : units)
      panels.push_back(PanelOf(file, family, unit, columns, most_steps));
    WordsAlone(file, family, words);
    if (!units.empty() || Tells(file, family)) continue;
    panels.emplace_back();
    panels.back().title = Capital(family);
  }
  const auto drawn = std::find_if(panels.rbegin(), panels.rend(),
                                  [](const PlotPanel& panel) { return !panel.lines.empty(); });
  if (drawn != panels.rend() && !words.empty()) drawn->lines.back().words += " " + words;
  return panels;
}

}  // namespace vmr::tool
