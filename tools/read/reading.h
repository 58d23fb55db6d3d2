// What the commands that read recordings have in common: which recordings, which part of
// them, whose local time, and where the text goes.
#ifndef VMR_TOOLS_READ_READING_H_
#define VMR_TOOLS_READ_READING_H_

#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "records/record.h"
#include "tools/common/time_point.h"
#include "tools/read/opened_recording.h"
#include "tools/read/range.h"

namespace vmr::tool {

inline constexpr const char* kRecordedZone = "recorded";

// As the command line has it, checked for what can be told without the recordings.
struct ReadingOptions {
  std::vector<std::string> paths;
  PathKind path_kind = PathKind::kDetect;
  std::string called;  // what the recording is called, where its path tells people nothing
  std::optional<TypedTime> from;
  std::optional<TypedTime> to;
  std::string time_zone = kRecordedZone;
  std::set<records::KindId> kinds;  // none: all
  std::string out;                  // empty: standard output
  bool force = false;               // an existing `out` is replaced
};

// Ends of a range that mean the recording's, 0 and 4294967295, become none.
void DropOpenEnds(ReadingOptions& options);

// One of the recordings, opened, and what is asked of it.
struct Reading {
  OpenedRecording recording;
  Range range;
  // Of its local times, in use from now on. Empty when the recording was to tell it and does
  // not: times are UTC.
  std::string zone;
  std::size_t index = 0;  // of `count` recordings
  std::size_t count = 1;
};

// Opens one recording after the other and hands it to `read`, which returns an exit code.
// Folders stand for all recordings in them, in the order of their names; they are not looked
// into deeper. What cannot be
// read is said, and the others are read all the same. Returns the gravest exit code.
int ForEachReading(const ReadingOptions& options, const std::function<int(Reading&)>& read);

// The time zone that the recording tells first, looked for in its oldest part; empty: none.
std::string RecordedZone(const records::Source& source);

// From now on local times are those of `time_zone`, which is known here, or the recording's own.
// Returns the zone's name; empty when the recording was to tell it and does not.
std::string UseZone(const std::string& time_zone, const OpenedRecording& recording);

// Decodes all of it through a filter for range and kinds, with a line of progress unless the
// text goes to the same terminal. `watcher`, if there is one, gets everything, whether it was
// asked for or not, right behind `sink`.
struct ReadOutcome {
  unsigned long records = 0;
  bool complete = true;  // nothing of what was asked for is lost, unknown or outside
  bool outside = false;  // all of it is, which was said
};
ReadOutcome ReadRange(Reading& reading, const std::set<records::KindId>& kinds, records::Sink& sink,
                      records::Sink* watcher = nullptr, bool shows_progress = true);
// The same for a sink that needs what was said before the range, too: it gets everything and
// looks itself at what lies in the range.
ReadOutcome ReadThroughRange(Reading& reading, records::Sink& sink);

// Of two exit codes the one that says more is wrong.
int Gravest(int a, int b);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_READ_READING_H_
