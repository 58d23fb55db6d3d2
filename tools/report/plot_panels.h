// The panels of a plot, with their lines ready to be drawn.
#ifndef VMR_TOOLS_REPORT_PLOT_PANELS_H_
#define VMR_TOOLS_REPORT_PLOT_PANELS_H_

#include <string>
#include <vector>

#include "tools/report/case_file.h"
#include "tools/report/plot_axis.h"
#include "tools/report/plot_line.h"
#include "tools/report/svg_plot.h"

namespace vmr::tool {

// Told apart without their colours, too.
struct LineStyle {
  const char* colour = "";
  const char* dash = "";  // as SVG has it; empty: none
  double width = 1;
};
// Of one recording each line has its dash; of several each recording has, and its lines differ in
// their widths.
struct LinePlace {
  std::size_t of_panel = 0;      // which line
  std::size_t of_recording = 0;  // which of those
  std::size_t recording = 0;
};
LineStyle StyleOf(const LinePlace& place, bool is_alone);

struct PlotLine {
  std::string name;
  std::string short_name;  // what its style does not tell
  std::string recording;
  std::string words;           // what it shows, in a sentence
  LineParts parts;             // no finer than the picture
  std::vector<CaseWord> told;  // what its words are
  LineStyle style;
};

// Of one family, and of one unit: others do not fit its scale.
struct PlotPanel {
  std::string title;
  std::vector<PlotLine> lines;  // none: no recording tells any
  bool has_values = false;      // some are known
  ValueScale scale;
};

// `most_steps`: of a panel's scale.
std::vector<PlotPanel> PanelsOf(const CaseFile& file, const PlotRequest& request,
                                const Columns& columns, int most_steps);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_REPORT_PLOT_PANELS_H_
