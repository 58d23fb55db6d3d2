// What breaks the course of a recording, in words for people.
#ifndef VMR_TOOLS_READ_BREAK_WORDS_H_
#define VMR_TOOLS_READ_BREAK_WORDS_H_

#include <string>

#include "records/record.h"

namespace vmr::tool {

// "16:51:29", local; "--:--:--" when the time is unknown.
std::string ClockText(const records::Time& time);

// "gap: 3 clusters lost; tick 2110 to 2510, 16:51:31 to 16:54:51, 3 min 20 s"; of an overwritten
// beginning what it is.
std::string GapWords(const records::Gap& gap);
// "the unit's clock was set back by 2 h at tick 500: it showed ... and now ..."; forward:
// "the unit was off, or its clock was set, 2 h forward at tick 500: ..."
std::string ClockStepWords(const records::ClockStep& step);
// "ticks begin anew at 10: what follows is ..."
std::string NewRunWords(unsigned int tick);
// Of positions that a unit has written into an extract.
inline constexpr const char* kUnverifiedWords =
    "positions are unverified: the unit that made this extract may have told a wrong hemisphere "
    "at its start";

}  // namespace vmr::tool

#endif  // VMR_TOOLS_READ_BREAK_WORDS_H_
