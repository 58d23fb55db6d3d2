// The store of a recording and what was reported to it.
#ifndef VMR_TOOLS_RECORD_RECORDER_H_
#define VMR_TOOLS_RECORD_RECORDER_H_

#include <string>

#include "backends/data_store_normal.h"
#include "tools/common/store_lock.h"
#include "tools/events/event_parser.h"
#include "tools/record/gps_tracker.h"
#include "tools/record/ring_watch.h"
#include "tools/record/unit_configuration.h"
#include "tools/record/write_alarm.h"

namespace vmr::tool {

// Hears of each packet whether a file took it.
class WatchedStore final : public DataStoreNormal {
 public:
  explicit WatchedStore(const std::string& base) : DataStoreNormal(base), alarm_(base) {}
  int WriteData(const unsigned char* data, int length, unsigned int sysTick) override;

 private:
  WriteAlarm alarm_;
};

// What does not reach the disk is told when it happens.
//
// Owns     the store and its lock.
// Threads  none.
class Recorder {
 public:
  // `configuration` must outlive it.
  Recorder(const std::string& base, const UnitConfiguration& configuration)
      : base_(base), configuration_(configuration), store_(base), files_(base) {}

  // Locks and opens the store; false after saying why not. FirstTick() is then
  // the tick after the last recorded one. Where opening would give up what the
  // store holds, that has to be asked for: `begin_anew`.
  bool Open(bool begin_anew);
  // Starts to record at `first_tick`: what was on when the store was last used is
  // reported off as of its last tick, and the unit's configuration is reported.
  // The first TimerTick follows.
  void Begin(unsigned int first_tick);
  // Moves the first tick, while nothing but the configuration was reported.
  void StartAt(unsigned int first_tick);
  // Hands a report to the store as of `tick`.
  void Record(const Report& report, unsigned int tick);
  void LoseGps() { gps_.Lose(store_); }
  void TimerTick(unsigned int tick);
  // Reports everything off, flushes and closes.
  void Close();
  // After closing: says what of the recording is in no file, or in one only. False
  // when something is in none.
  bool Conclude() { return files_.Conclude(store_); }

  bool HasPendingItems() const { return store_.HasPendingItems(); }
  unsigned int FirstTick() const { return first_tick_; }
  unsigned int LastTick() const { return store_.GetCurrentSystemTick(); }
  unsigned long Events() const { return events_; }
  unsigned long Fixes() const { return gps_.Fixes(); }
  unsigned long Losses() const { return gps_.Losses(); }

 private:
  bool RefuseToBeginAnew() const;
  bool RefuseToResumeAtTheBeginning() const;
  void MakeRoom(unsigned int bytes);
  void Flush();

  std::string base_;
  const UnitConfiguration& configuration_;
  StoreLock lock_;
  WatchedStore store_;
  RingWatch files_;
  GpsTracker gps_;
  unsigned int first_tick_ = 1;
  unsigned int last_tick_ = 0;      // of what the store held; 0 nothing
  unsigned int pending_bytes_ = 0;  // at most so many wait for a flush
  unsigned long events_ = 0;
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_RECORD_RECORDER_H_
