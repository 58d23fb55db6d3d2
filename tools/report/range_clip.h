// The part of a gathered recording that lies in a range.
#ifndef VMR_TOOLS_REPORT_RANGE_CLIP_H_
#define VMR_TOOLS_REPORT_RANGE_CLIP_H_

#include <optional>
#include <vector>

#include "tools/read/range.h"
#include "tools/report/case_file.h"

namespace vmr::tool {

// The places of a range: one of ticks is in each run, one of times comes again where the clock
// is set back. A gap between two places of the range belongs to it.
class Inside {
 public:
  // All stretches of a recording, ascending. Of a range of times nothing of a stretch that
  // tells no time is inside.
  Inside(const std::vector<CaseStretch>& stretches, const Range& range);

  // What of the stretches is inside.
  const std::vector<CaseStretch>& Stretches() const { return stretches_; }
  bool Has(AxisX x) const;
  // From the first place that was asked for to the last one, both of them in the recording or
  // between two stretches of one run; nothing: all of the range is elsewhere.
  std::optional<CasePart> Asked() const;
  // Of two places, `from` in front of `to`, those of them between which something was asked for.
  // False: they stay as they are.
  bool Clip(AxisX& from, AxisX& to) const;
  // Of its parts, ascending.
  std::vector<AxisX> Begins() const;
  // What is in force where a part begins is told anew there, with what is known of since when.
  void Clip(Line& line) const;
  void Clip(CaseEvents& events) const;
  // The same of a way; `ends` are the places where its pieces end, ascending. A position that
  // is in force where a part begins is the first of it.
  void Clip(std::vector<WayPoint>& way, const std::vector<AxisX>& ends) const;

 private:
  struct Part {
    AxisX first, last;
  };
  void Ask(AxisX from, AxisX to);

  std::vector<CaseStretch> stretches_;
  std::vector<CasePart> asked_;  // the same with what lies between stretches, ascending
  std::vector<Part> parts_;      // ascending, with something between them that is outside
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_REPORT_RANGE_CLIP_H_
