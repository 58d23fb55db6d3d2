// The lines of a case as one picture for a document: a panel for each family of measured values
// under one axis of time.
#ifndef VMR_TOOLS_REPORT_SVG_PLOT_H_
#define VMR_TOOLS_REPORT_SVG_PLOT_H_

#include <string>
#include <vector>

#include "tools/report/case_file.h"

namespace vmr::tool {

// What a plot can show: the families of CaseSeries.
inline constexpr const char* kPlotFamilies[] = {"speed", "radar", "temperature", "voltage"};

struct PlotRequest {
  std::vector<std::string> families;  // of kPlotFamilies, each once; a panel each, in this order
  std::string title;                  // empty: what it shows of what
};

// Some recording tells a value of it.
bool Tells(const CaseFile& file, const std::string& family);

// SVG 1.1, 1000 px wide: no script, nothing from elsewhere, texts in the fonts that are there. Of
// the same case the same bytes. A line shows no more than the picture can, but each of its
// extremes. Local times are of the zone in use. Recorded text that is long ends in an ellipsis;
// what the picture says in words has all of it.
std::string SvgPlot(const CaseFile& file, const PlotRequest& request);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_REPORT_SVG_PLOT_H_
