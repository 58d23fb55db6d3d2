// Where in UTC the parts of a recording lie.
#ifndef VMR_TOOLS_REPORT_AXIS_LAYOUT_H_
#define VMR_TOOLS_REPORT_AXIS_LAYOUT_H_

#include <optional>
#include <vector>

#include "tools/report/case_file.h"

namespace vmr::tool {

// Takes the stretches of a recording as its ticks go on, and moves each to the UTC that its clock
// told. Ticks alone do not say it: they go on where they were when a parked vehicle starts again.
//
// Stretches keep their order and never overlap. Where the clocks of some contradict those of
// others, most of the recording is right: the stretches with the most ticks that can all lie where
// they say stay there, with room for what was recorded between them. Each of the others is
// displaced: it is put right behind the one in front of it, or, with none in front of it that is
// where its clock says, right before the one behind it. So is one that tells no time.
//
// A time before 2000 is that of a clock that nobody has set since the unit came on. Such a
// stretch is displaced, too, and put right before the one behind it if that stays: what begins so
// goes on there, and between it and what was recorded in front of it the unit was off.
//
// Times are good to a second: a stretch that goes on so near to what the clock told before is left
// as its ticks are, and one that is moved by no more than two is not displaced.
class AxisLayout {
 public:
  // Ascending, not overlapping; with nothing recorded between those of different runs.
  explicit AxisLayout(const std::vector<CaseStretch>& stretches);

  // Half seconds since 1970-01-01 00:00 UTC where HasTime, else from the first tick. Never goes
  // back as `x` goes on. What lies between two stretches stays there.
  AxisX Moved(AxisX x) const;
  // The stretch that `x` lies in is not where its clock says, or that says nothing.
  bool IsDisplaced(AxisX x) const;
  // Some stretch is where its clock says.
  bool HasTime() const { return has_time_; }

 private:
  struct Part {
    AxisX first = 0, last = 0;  // as it was
    AxisX moved = 0;            // its first place
    bool displaced = false;
    AxisX MovedLast() const { return moved + (last - first); }
  };
  // Stretches that follow each other by one clock as by their ticks: they are moved together.
  struct Group {
    std::size_t part = 0;  // its first one
    AxisX first = 0, last = 0;
    int run = 0;
    AxisX ticks = 0;           // recorded in it
    std::optional<AxisX> own;  // where its clock says that it begins, in half seconds
    AxisX between = 0;         // at least from the last place of the one before to its first
    AxisX moved = 0;           // its first place
    bool unset = false;        // its clock was not set yet
    bool stays = false;        // there, as far as there is room
    AxisX Length() const { return last - first; }
    AxisX MovedLast() const { return moved + Length(); }
  };

  static std::vector<Group> GroupsOf(const std::vector<CaseStretch>& stretches);
  static void ChooseThoseThatStay(std::vector<Group>& groups);
  static void Place(std::vector<Group>& groups);

  std::vector<Part> parts_;
  bool has_time_ = false;
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_REPORT_AXIS_LAYOUT_H_
