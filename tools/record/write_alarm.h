// Tells when packets no longer reach the disk, and when they do again.
#ifndef VMR_TOOLS_RECORD_WRITE_ALARM_H_
#define VMR_TOOLS_RECORD_WRITE_ALARM_H_

#include <string>

namespace vmr::tool {

// Follows a store packet by packet. The two files take turns: where one of them
// fails, every second packet is in no file until the next one is written, which is
// told once and not at each of them. All is well again when both have taken one.
//
// Threads  none.
class WriteAlarm {
 public:
  explicit WriteAlarm(std::string store) : store_(std::move(store)) {}

  // What became of the packet written last, at `tick`: whether a file took it.
  // `not_stored`: so many packets are in none by now.
  void Note(bool stored, unsigned int tick, unsigned long not_stored);

 private:
  enum class State { kWell, kOneFailed, kNothingStored };

  void NoteFailure(unsigned int tick);
  void NoteSuccess(unsigned long not_stored);

  std::string store_;
  State state_ = State::kWell;
  bool failed_last_ = false;
  unsigned int failed_tick_ = 0;  // of the first of the failures in a row
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_RECORD_WRITE_ALARM_H_
