// What a plot says in words: its title, what stands below it, and all of it for who cannot see it.
#ifndef VMR_TOOLS_REPORT_PLOT_WORDS_H_
#define VMR_TOOLS_REPORT_PLOT_WORDS_H_

#include <optional>
#include <string>
#include <vector>

#include "tools/report/case_file.h"
#include "tools/report/plot_axis.h"
#include "tools/report/plot_line.h"

namespace vmr::tool {

// From the beginning of what was recorded to its end. Without anything recorded a half second.
AxisSpan ExtentOf(const CaseFile& file);

// What the numbers of an axis without times are less its places. Nothing where ticks begin anew
// or several recordings have their own: there half seconds are counted.
std::optional<AxisX> TicksAhead(const CaseFile& file);

// "12 min 30 s"
std::string LengthText(AxisX halves);
// "Speed, radar" as a title: the first letter a capital.
std::string Listed(const std::vector<std::string>& families);
std::string Capital(std::string text);

std::string DefaultTitle(const CaseFile& file, const std::vector<std::string>& families);
// "2019-06-19 16:33:57-05:00 to 2019-06-19 17:15:20-05:00 (41 min 23 s)"; what is displaced is
// said to be so.
std::string SpanText(const CaseFile& file, const AxisSpan& shown);
// Without those at times that no clock showed: where all that is recorded is displaced.
std::vector<AxisMark> ShownMarks(const CaseFile& file, std::vector<AxisMark> marks);
// "Local time, America/Chicago, UTC-05:00", "Tick (half seconds)"
std::string AxisTitle(const CaseFile& file, const AxisSpan& shown);
// Which unit, and what of it is there; of a recording among several with its name.
std::string Caption(const CaseFile& file, const CaseRecording& recording,
                    const std::vector<std::string>& families);
// What broke the course of time, a sentence each with a blank behind it, as far as there are few.
std::string BreaksText(const CaseFile& file, const CaseRecording& recording);
// "off, or clock set +1 h", "clock set -3 min 20 s"
std::string StepText(const CaseClockStep& step);

// A series of a picture, and whose it is.
struct DescribedSeries {
  const CaseRecording* recording;
  const CaseSeries* series;
  const LineParts* parts;
};
// "GPS speed"; of several recordings "car7: GPS speed".
std::string NameOf(const CaseFile& file, const DescribedSeries& described);
// "GPS speed: 0 to 74 mph, the greatest first at 2019-06-19 16:51:28-05:00; unknown for 2 min."
std::string Described(const CaseFile& file, const DescribedSeries& described);
// What a line's word is: its text, or its number where nothing tells one.
std::string WordText(const std::vector<CaseWord>& words, std::int64_t number);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_REPORT_PLOT_WORDS_H_
