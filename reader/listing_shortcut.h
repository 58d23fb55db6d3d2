// Where a listing that begins late in a ring may go on without reading all in front.
#ifndef VMR_READER_LISTING_SHORTCUT_H_
#define VMR_READER_LISTING_SHORTCUT_H_

#include <bitset>
#include <optional>

#include "backends/data_store_normal.h"
#include "store/data_store.h"

namespace vmr {

// A listing replays silently what stands in front of its start, because lines depend on
// what was recorded before: the tick, the clock, the position, which speeds and radars
// there are. All of that a state dump says anew, so that all between the oldest dump and
// the last one can be passed over. The oldest is replayed in any case: a radar's state
// prints a line, viewed or not, when no dump has described that radar yet.
//
// What is passed over is looked at here and there only: every 32nd cluster must hold
// whole packets of known items, and ticks that only rise. So must every cluster that is
// replayed. Where one does not, or where not all is said anew, nothing is passed over.
//
// Owns     nothing; both stores must outlive it. `out` is what was replayed so far.
// Threads  none.
class ListingShortcut {
 public:
  // Where to go on: at the beginning of a cluster, of which this is the first tick.
  struct Place {
    int cluster;
    unsigned int tick;
  };

  ListingShortcut(DataStoreNormal& ring, const DataStore& out, unsigned int start)
      : ring_(ring), out_(out), start_(start) {}

  // Looks once, when `out` knows speeds and radars and a cluster was replayed since, and
  // the replay has reached `position`. Nothing, too, when it is not worth while.
  std::optional<Place> Find(long position);

 private:
  // What a stretch of the ring says anew, from its first header on.
  struct Said {
    bool time = false;
    bool fix = false;
    bool receiver = false;        // whether the receiver is available
    bool first_receiver = false;  // ... as it is said first
    bool fix_behind_receiver = false;
    std::bitset<256> speeds;  // by their ids

    void Prepend(const Said& earlier);
  };
  struct Cluster {
    Said said;
    unsigned int first_tick = 0;
    unsigned int last_tick = 0;
    bool reaches_start = false;  // nothing from there on was looked at
    bool goes_on = false;        // it begins with the rest of a packet
  };
  class Walk;

  bool KnowsDevices() const;
  bool SaysAll(const Said& said) const;
  std::optional<Place> FindBefore(int newest, int replayed);
  bool IsOrderly(int from, int to) const;
  std::optional<Cluster> Look(int cluster) const;

  DataStoreNormal& ring_;
  const DataStore& out_;
  const unsigned int start_;
  int devices_known_at_ = -1;  // the cluster that was replayed then
  bool looked_ = false;
};

}  // namespace vmr

#endif  // VMR_READER_LISTING_SHORTCUT_H_
