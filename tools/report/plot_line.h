// A line over time made ready to be drawn: in pieces that nothing interrupts, and no finer than
// the picture.
#ifndef VMR_TOOLS_REPORT_PLOT_LINE_H_
#define VMR_TOOLS_REPORT_PLOT_LINE_H_

#include <cmath>
#include <cstdint>
#include <vector>

#include "tools/report/case_file.h"
#include "tools/report/plot_axis.h"

namespace vmr::tool {

// Where a recording goes on without a hole: its stretches, those of one run that follow each
// other as one. The clock may have been set in between.
std::vector<AxisSpan> RecordedSpans(const CaseRecording& recording);
// Why something of the axis is not there.
enum class HoleKind {
  kLost,         // a gap says so
  kNoTime,       // the clock was set back while ticks went on: it never showed these times
  kNotRecorded,  // the unit was off, or its clock was set forward
};
// Of one kind, what of the recording is not there: between its spans, and its gaps whose ends are
// known. Where something is lost and no place of the axis with it, the span is empty. Ascending;
// they do not overlap.
std::vector<AxisSpan> HolesOf(const CaseRecording& recording, HoleKind kind);

struct LineStep {
  AxisX x = 0;
  std::int64_t value = 0;
};
// Values that hold from step to step, the last up to `to`; at least one step.
struct LinePiece {
  std::vector<LineStep> steps;
  AxisX to = 0;
  AxisX From() const { return steps.front().x; }
};
struct WordSpan {
  AxisSpan span;
  std::int64_t number = 0;  // the word's
};
struct LineParts {
  std::vector<LinePiece> pieces;
  std::vector<AxisSpan> unknown;  // recorded, but nothing tells the value
  std::vector<WordSpan> words;    // a word is told in place of it
  std::vector<LineStep> wrong;    // of packets whose CRC is wrong: they hold nowhere
};
// What is told in front of a span does not hold in it.
LineParts PartsOf(const Line& line, const std::vector<AxisSpan>& recorded);

// Columns of a picture, counted from 0 at `from`.
struct Columns {
  AxisX from = 0;
  double per_half = 1;
  std::int64_t Of(AxisX x) const {
    return static_cast<std::int64_t>(std::floor(static_cast<double>(x - from) * per_half));
  }
};

// Leave out what falls on the same column as its neighbours. What is left stays where it is; of
// each column there are its least value, its greatest and its last one.
void Thin(std::vector<LineStep>& steps, const Columns& columns);
// The same of each piece. Of pieces that lie within one column those with its least and with its
// greatest value are left.
void Thin(std::vector<LinePiece>& pieces, const Columns& columns);
// Joins those that would touch.
void Thin(std::vector<AxisSpan>& spans, const Columns& columns);
// The same of those of one word; of others that lie within one column the first is left.
void Thin(std::vector<WordSpan>& words, const Columns& columns);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_REPORT_PLOT_LINE_H_
