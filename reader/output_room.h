// Room in the areas of a store that a recording is read into.
#ifndef VMR_READER_OUTPUT_ROOM_H_
#define VMR_READER_OUTPUT_ROOM_H_

#include "store/data_store.h"

namespace vmr {

// Reading one kind of item records it again in the store that it is read into. What so
// waits there is discarded before it leaves no room for a full state: that says what the
// items would.
//
// Owns     nothing; the store must outlive it.
class OutputRoom {
 public:
  // The range that an extracted file's label tells.
  struct Range {
    unsigned int start;
    unsigned int end;
  };

  // Of a store for whose items nobody waits.
  explicit OutputRoom(DataStore& out) : out_(out) {}
  // Of a file that begins with a label, which waits again when it was discarded.
  OutputRoom(DataStore& out, const Range& range) : out_(out), range_(range), labelled_(true) {}

  void ReportLabel() const;
  // Whether so many of the sixteen areas are filled that there may be no room for a full
  // state.
  bool IsScarce() const { return out_.UsedAreas() > kFilledAreas; }
  // Behind it there is room for all that a cluster, or a tick, can record again: nine
  // areas.
  void KeepForCluster();
  // Deliberate: once KeepForCluster has discarded items, all of them go at the first turn
  // of the replay, as they do when none is discarded before; extracts hold the same.
  void KeepForState();

 private:
  static constexpr int kFilledAreas = 4;

  void Discard();

  DataStore& out_;
  Range range_{};
  bool labelled_ = false;
  bool discarded_ = false;  // by KeepForCluster
};

}  // namespace vmr

#endif  // VMR_READER_OUTPUT_ROOM_H_
