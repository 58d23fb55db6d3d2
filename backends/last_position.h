// The search for the cluster that was written last, over nothing but first ticks.
#ifndef VMR_BACKENDS_LAST_POSITION_H_
#define VMR_BACKENDS_LAST_POSITION_H_

namespace vmr {

// The first ticks of a file's clusters, asked for one at a time.
class FirstTicks {
 public:
  virtual ~FirstTicks() = default;
  // kUnreadableSt for a cluster that cannot be read. May be asked for the same one
  // again.
  virtual unsigned int At(int cluster) = 0;
  // Told what the first and the last cluster have, before any other is asked for.
  virtual void Ends(unsigned int /*first_st*/, unsigned int /*last_st*/) {}
  // Told when the lower bound has moved up.
  virtual void Narrowed(int /*low*/, unsigned int /*low_st*/, int /*high*/,
                        unsigned int /*high_st*/) {}
};

enum class LastPositionKind {
  kEmpty,        // nothing was ever written
  kPartialWrap,  // cluster 0 has only continuations yet: the last cluster counts
  kReadyToWrap,  // all clusters are of one lap
  kFound,        // where ticks drop, or what was never written begins
  kUnreadable,   // a cluster that the search needs cannot be read
  kTooFew        // no two clusters to search between
};

// Clusters are valid for the first four kinds. The oldest one is behind the newest.
struct LastPosition {
  LastPositionKind kind;
  int newest = -1;
  unsigned int newest_st = 0;
  int oldest = -1;
  unsigned int oldest_st = 0;

  bool Found() const { return kind < LastPositionKind::kUnreadable; }
};

// Relies on what recording leaves behind: first ticks rise with the cluster number
// from the oldest cluster to the newest, and behind the newest they drop (the ring has
// wrapped) or are "never written". A cluster that continuations alone have filled may
// be without a tick, in what older recorders have left; there the search goes on to the
// next one that has one. Asks for about fifteen of 32768.
LastPosition SearchLastPosition(FirstTicks& ticks, int cluster_count);

}  // namespace vmr

#endif  // VMR_BACKENDS_LAST_POSITION_H_
