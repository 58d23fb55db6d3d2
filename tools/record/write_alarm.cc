#include "tools/record/write_alarm.h"

#include <fmt/format.h>

#include "tools/common/console.h"

namespace vmr::tool {

void WriteAlarm::Note(bool stored, unsigned int tick, unsigned long not_stored) {
  if (stored)
    NoteSuccess(not_stored);
  else
    NoteFailure(tick);
  failed_last_ = !stored;
}

void WriteAlarm::NoteFailure(unsigned int tick) {
  if (!failed_last_) failed_tick_ = tick;
  if (state_ == State::kWell) {
    state_ = State::kOneFailed;
    Say(
        fmt::format("{}: WARNING: what was recorded at tick {} is in no file: the one whose turn "
                    "it was did not take it",
                    store_, tick));
    Say(
        fmt::format("{}: it goes to the other file with the next packet, and is lost if power goes "
                    "before; is the disk full, write-protected or failing?",
                    store_));
  } else if (state_ == State::kOneFailed && failed_last_) {
    state_ = State::kNothingStored;
    Say(
        fmt::format("{}: WARNING: NOTHING IS STORED since tick {}: neither file takes what is "
                    "recorded",
                    store_, failed_tick_));
    Say(
        fmt::format("{}: make room or mend the disk, and it goes on by itself; or end this "
                    "recorder and record to another store",
                    store_));
  }
}

void WriteAlarm::NoteSuccess(unsigned long not_stored) {
  if (state_ == State::kWell || failed_last_) return;
  state_ = State::kWell;
  Say(fmt::format(
      "{}: both files take what is recorded again; {}", store_,
      not_stored == 0 ? "nothing is lost" : fmt::format("not stored: {} packets", not_stored)));
}

}  // namespace vmr::tool
