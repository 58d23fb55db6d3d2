// A line over time, point by point.
#ifndef VMR_TOOLS_REPORT_LINE_BUILDER_H_
#define VMR_TOOLS_REPORT_LINE_BUILDER_H_

#include <utility>

#include "tools/report/case_file.h"

namespace vmr::tool {

// Keeps a point for each change. What is told late is put where it belongs.
class LineBuilder {
 public:
  // From x on it is so. `told_by_full_state`: what is known stays as it is.
  void Tell(AxisX x, std::int64_t value, bool told_by_full_state);
  // The same of a word in place of a value.
  void TellWord(AxisX x, std::int64_t number, bool told_by_full_state);
  // A packet whose CRC is wrong says so.
  void Doubt(AxisX x, std::int64_t value);
  // From x on it is unknown. What was never told needs no point for that.
  void Lose(AxisX x);

  const Line& Points() const { return line_; }
  Line Take() { return std::move(line_); }

 private:
  void Put(const LinePoint& point, bool told_by_full_state);
  // Behind all that lies at x or before.
  Line::iterator Behind(AxisX x);
  // The last point in front that holds; null: none.
  const LinePoint* InForceBefore(Line::const_iterator at) const;

  Line line_;
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_REPORT_LINE_BUILDER_H_
