// What recordings say, gathered for a picture of them: lines over time, a way, a table of
// events, and what of it all is missing. Whoever draws needs nothing else of a recording.
#ifndef VMR_TOOLS_REPORT_CASE_FILE_H_
#define VMR_TOOLS_REPORT_CASE_FILE_H_

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "records/record.h"

namespace vmr::tool {

// ---- The axis --------------------------------------------------------------------

// Where on the axis something lies: half seconds of UTC, as the unit's clock told it, from
// CaseFile::axis_us on. The axis never goes back: what was recorded later lies behind.
using AxisX = std::int64_t;

// Part of a run that goes on without a gap by one reckoning of time. What lies between two
// stretches is not recorded: lost, or the unit was off, or its clock was set forward.
struct CaseStretch {
  AxisX first = 0;
  AxisX last = 0;      // its own, too
  records::Time time;  // at `first`; the clock goes on from there as the axis does
  int run = 0;
  unsigned int tick = 0;  // at `first`
  // It does not lie where `time` says, or that says nothing: it stands between its neighbours,
  // because its clock contradicts those of more of the recording, or nobody had set it.
  bool displaced = false;
  // In microseconds, only where `time` is known.
  std::int64_t UtcAt(AxisX x) const { return time.us + (x - first) * records::kTick_us; }
};

// ---- Lines -----------------------------------------------------------------------

// A value that holds from `x` up to the next point of its line.
struct LinePoint {
  // In the file of a report: these values may not change.
  enum Flag : unsigned char {
    kUnknown = 1,   // from here on nothing tells it: a gap, no reading, another run; `value` is 0
    kWrongCrc = 2,  // of a packet whose CRC is wrong: it stands by itself and does not hold
    kSinceUnknown = 4,  // a full state was the first to tell it: since when it is so is unknown
    kWord = 8,  // with kUnknown: told is a word in place of a value, and `value` is its number
  };

  AxisX x = 0;
  std::int64_t value = 0;
  unsigned char flags = 0;

  bool Holds() const { return (flags & kWrongCrc) == 0; }
  bool IsKnown() const { return (flags & kUnknown) == 0; }
  bool IsWord() const { return (flags & kWord) != 0; }
};
// In the order of x, a point at each change. Of several at one x that hold the last one counts.
using Line = std::vector<LinePoint>;

// What a device tells where it has no value.
struct CaseWord {
  std::int64_t number = 0;  // as a point of the line has it
  std::string text;         // "blank"
};

// A measured value over time.
struct CaseSeries {
  std::string id;      // "speed/1": of no other series of the recording
  std::string family;  // "speed", "radar", "temperature" or "voltage": what one scale fits
  std::string name;    // "GPS speed"
  std::string unit;    // of the values; empty: the recording does not tell it
  Line line;
  bool thinned = false;  // points were left out
  // Of some of the values the unit was not told: it is the only one that the recording tells.
  bool unit_assumed = false;
  std::vector<CaseWord> words;  // of the line's points that are words, each once

  // It told words all the time, and never a value: there is no line to draw.
  bool IsWordsAlone() const {
    return !words.empty() && std::none_of(line.begin(), line.end(),
                                          [](const LinePoint& point) { return point.IsKnown(); });
  }
};

// A state out of a few over time: an input, a microphone, a camera.
struct CaseLane {
  std::string id;     // "input/siren": of no other lane of the recording
  std::string group;  // "inputs", "microphones", "cameras", "streams", "gps" or "radar"
  std::string name;
  std::string role;                // "lights", "siren" or empty
  std::vector<std::string> words;  // a value is an index; 0 is "unknown"
  std::vector<int> on;             // those of them that say it is on
  Line line;                       // begins where the recording does
};

// ---- The way ---------------------------------------------------------------------

struct WayPoint {
  // In the file of a report: these values may not change.
  enum Flag : unsigned char {
    kBegins = 1,      // a piece: no way leads here from the point before
    kUnverified = 2,  // its hemisphere is not recorded
    kWrongCrc = 4,    // of a packet whose CRC is wrong: a piece of its own
  };

  AxisX x = 0;
  std::int32_t latitude_tts = 0;     // ten-thousandths of a minute of arc, north positive
  std::int32_t longitude_tts = 0;    // the same, east positive
  std::int64_t speed_mm_per_s = -1;  // by the GPS receiver; -1: unknown
  unsigned char flags = 0;
};

// ---- Events ----------------------------------------------------------------------

struct CaseEvent {
  // In the file of a report: these values may not change.
  enum Flag : unsigned char {
    kWrongCrc = 2,
    kFullState = 4,   // a full state was the first to tell it
    kNoTick = 8,      // none of its own: `x` is where it stands in the recording
    kEstimated = 16,  // its time is
  };

  AxisX x = 0;
  int kind = 0;            // index into CaseEvents::kinds
  int text = 0;            // index into CaseEvents::texts
  std::int64_t tick = -1;  // -1: unknown
  int run = 0;
  unsigned char flags = 0;
};

// In recorded order.
struct CaseEvents {
  std::vector<std::string> kinds;  // names of kinds of records, "gap", "clock_step", "new_run"
  std::vector<std::string> texts;  // each once; recorded text in them is escaped
  std::vector<CaseEvent> all;
};

// ---- What is missing, and what is odd --------------------------------------------

struct CaseGap {
  records::GapReason reason = records::GapReason::kMarked;
  std::string words;
  // The last place that is known in front of it and the first one behind it.
  std::optional<AxisX> from, to;
  unsigned int from_tick = kNoTick, to_tick = kNoTick;
  int clusters = 0;
  std::int64_t bytes = 0;
};

struct CaseClockStep {
  AxisX x = 0;
  unsigned int tick = 0;
  std::int64_t expected_us = 0, told_us = 0;
  std::string words;
};

struct CaseNewRun {
  AxisX x = 0;
  int run = 0;
  unsigned int tick = 0;
};

struct CaseFinding {
  const char* severity;  // "gap", "clock", "crc", "position" or "note"
  std::string words;
  std::optional<AxisX> x;
};

// ---- The whole -------------------------------------------------------------------

struct CaseText {
  std::string text;        // escaped
  std::optional<AxisX> x;  // where it was told first; of a part of a recording it may have been
                           // told in front of that
  unsigned int tick = kNoTick;
};
// Who and what: the texts in the order of being told, each change of them; none: it is not told.
struct CaseFact {
  std::string name;  // of the kind of record
  std::vector<CaseText> values;
  std::string untold;         // in words why there is none; empty where there are some
  std::int64_t left_out = 0;  // changes in front of the last one that are not among them
};

struct CaseVersion {
  std::string component, text;
};
struct CasePolicy {
  std::int64_t number = 0;
  std::string name, value;
};

struct CaseSource {
  std::string path;       // as it is shown: hidden characters are escaped
  std::string file_name;  // the last part of it, escaped nowhere
  std::int64_t bytes = 0;
  std::optional<std::string> sha256;  // of what was read
  std::string problem;                // why it has no digest, or could not be read; may be empty
  std::string damage;                 // in words what of it cannot be used; empty: none was found
  bool is_there = true;
};

struct CaseTotals {
  std::int64_t recorded_halves =
      0;  // half seconds from the first to the last tick of what hangs together
  std::int64_t lost_halves = 0;   // in gaps whose both ends are known
  std::int64_t lost_unknown = 0;  // gaps whose length nobody knows
  std::int64_t records = 0;       // of packets whose CRC is right
  std::int64_t wrong_crc = 0;     // records of the others
  std::int64_t wrong_crc_packets = 0;
  std::int64_t unverified = 0;  // positions
  std::int64_t runs = 0;        // of ticks
  std::int64_t starts = 0;      // of the unit, where it recorded one
  bool overwritten = false;     // newer packets stand in place of the beginning
};

// Both ends are inside, and may lie in a gap.
struct CasePart {
  AxisX from = 0, to = 0;
};

struct CaseRecording {
  std::string name;  // of no other recording of the case
  bool is_store = false;
  bool is_part = false;  // no more than a range of it was asked for
  // That range as far as the recording reaches; of a range outside of it there is none.
  std::optional<CasePart> part;
  std::string nothing;          // in words why nothing is there of what was asked for; else empty
  std::int64_t bad_places = 0;  // in packets, of the whole recording
  bool begins_unknown = false;  // what was known in front of that got lost in a gap there
  std::string zone;           // that its local times are of; empty: it tells none, and they are UTC
  std::string recorded_zone;  // that it tells first, known here or not; escaped; empty: none
  std::vector<CaseSource> sources;
  std::vector<CaseFact> facts;
  std::vector<CaseVersion> versions;  // versions and policies: in force at the end
  std::vector<CasePolicy> policies;
  std::optional<std::string> policy_sha256;
  bool policies_complete = false;
  std::string no_policy;               // in words why there are no policies; else empty
  std::vector<CaseStretch> stretches;  // ascending
  CaseTotals totals;
  std::vector<CaseGap> gaps;
  std::vector<CaseClockStep> steps;
  std::vector<CaseNewRun> new_runs;
  std::vector<WayPoint> way;
  bool way_thinned = false;
  std::vector<CaseSeries> series;  // of what the recording tells a value at all
  std::vector<CaseLane> lanes;     // of what a unit can tell, told or not
  CaseEvents events;
  std::vector<CaseFinding> findings;

  // Its axis is half seconds since 1970-01-01 00:00 UTC until it shares one with others.
  bool on_utc = false;

  // Some of it tells when it was.
  bool HasTime() const;
  // All of it is.
  bool IsDisplaced() const;
};

// Whose local times are shown, and how far those are ahead of UTC.
struct CaseZone {
  struct Offset {
    std::int64_t from_us;  // UTC; the first one counts for all in front of it, too
    int minutes;
    std::string abbreviation;
  };
  std::string name;
  bool recorded = false;  // else somebody asked for it, or nothing tells one
  bool asked = false;     // for, whatever the recordings tell
  std::string unknown;    // the recorded one that nobody here knows, escaped; times are UTC then
  std::vector<Offset> offsets;
};

struct CaseFile {
  std::int64_t axis_us = 0;  // UTC at x = 0; a multiple of half a second
  bool has_time = false;     // else the axis counts half seconds from where recordings begin
  CaseZone zone;
  std::vector<CaseRecording> recordings;
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_REPORT_CASE_FILE_H_
