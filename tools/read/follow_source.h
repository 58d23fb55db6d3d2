// The packets of a ring that a recorder writes: what is there, and later what has come.
#ifndef VMR_TOOLS_READ_FOLLOW_SOURCE_H_
#define VMR_TOOLS_READ_FOLLOW_SOURCE_H_

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "records/source.h"

namespace vmr::tool {

// How far a ring was read.
struct RingPlace {
  int cluster = -1;                   // -1: nothing was read
  int bytes = 0;                      // of its packets
  unsigned int first_tick = kNoTick;  // of the cluster; kNoTick: it told none then
  std::uint64_t hash = 0;             // of those bytes

  bool operator==(const RingPlace& other) const {
    return cluster == other.cluster && bytes == other.bytes && hash == other.hash;
  }
  bool operator!=(const RingPlace& other) const { return !(*this == other); }
};

// Hands out what is new since the last look, and then says that there is no more; behind the
// next look it goes on. A packet at the end is held back until it stands there for two looks:
// continuations may be on their way.
//
// Owns     the ring's files, open for reading.
class FollowSource final : public records::Source {
 public:
  enum class Look : unsigned char {
    kGoesOn,         // what was read is there, and maybe more
    kNotThere,       // neither file can be opened
    kNoEnd,          // where the recording ends cannot be found, maybe in this moment only
    kTwoRecordings,  // the files are not of one recording
    kOvertaken,      // a recorder has gone around: newer packets stand where reading ended
    kOther,          // another recording stands there
  };

  FollowSource(std::string path1, std::string path2) : paths_{std::move(path1), std::move(path2)} {}

  // Looks at the ring as it is now. Only kGoesOn has something to hand out.
  Look LookAgain();
  // Whether the ring holds what was read up to `place`; nothing is handed out by that.
  // kOvertaken also when the cluster cannot be read: only who recorded it can tell then.
  Look Compare(const RingPlace& place) const;

  // From the next look on everything is handed out anew, behind a gap.
  void BeginBehindGap();
  // Hands out what is in front of `place` and no more; nothing: all.
  void StopAt(std::optional<RingPlace> place) { stop_ = place; }
  // Until the next look, nothing is held back.
  void TakeAll() { takes_all_ = true; }
  // At the last look its end was told by all its clusters; see RingSource.
  bool SearchedAll() const { return searched_all_; }
  // Up to where everything was handed out.
  const RingPlace& Reached() const { return reached_; }

  bool Next(std::size_t unused, records::Stretch& stretch) override;
  std::unique_ptr<Source> Fork() const override;
  bool IsFlat() const override { return false; }
  double Progress() const override { return ring_ == nullptr ? 1 : ring_->Progress(); }

 private:
  bool Fetch();
  Look CompareReached();
  std::size_t EndNow() const;
  void HandOut(std::size_t end, records::Stretch& stretch);

  std::pair<std::string, std::string> paths_;
  std::unique_ptr<records::Source> ring_;  // as it was at the last look
  int newest_ = -1;                        // cluster, then
  bool has_wrapped_ = false;
  bool searched_all_ = false;

  records::Stretch current_;  // a cluster's packets
  std::size_t done_ = 0;      // bytes of them
  std::size_t begin_ = 0;     // where what was handed out last begins in its cluster
  RingPlace reached_;
  std::vector<unsigned char> seen_;  // the bytes of `reached_`
  bool is_behind_gap_ = false;
  int looks_in_vain_ = 0;
  std::optional<RingPlace> stop_;
  bool takes_all_ = false;
  std::pair<int, std::size_t> end_{-1, 0};         // the newest cluster and its bytes
  std::pair<int, std::size_t> end_before_{-1, 0};  // the same at the look before
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_READ_FOLLOW_SOURCE_H_
