// The packets of a ring: of each cluster the better copy, oldest first.
#ifndef VMR_RECORDS_RING_SOURCE_H_
#define VMR_RECORDS_RING_SOURCE_H_

#include <array>
#include <memory>
#include <string>
#include <vector>

#include "records/cluster_reader.h"
#include "records/source.h"

namespace vmr::records {

// Where a ring began and ended when it was opened.
struct RingSpan {
  int newest = -1;           // cluster; -1: nothing was ever recorded
  int oldest = -1;           // the first one in recorded order
  bool has_wrapped = false;  // what came before `oldest` was written over
};

enum class RingProblem {
  kNone,
  kNoFile,         // neither file can be opened
  kNoEnd,          // no cluster of either file tells a tick
  kTwoRecordings,  // the files are not of one recording
};

// May be read while a recorder writes: it ends where the ring ended when it was opened, and
// what was written over meanwhile is a gap.
//
// Owns     the files, open for reading.
class RingSource final : public Source {
 public:
  // An empty path stands for a file that there is not.
  static std::unique_ptr<RingSource> Open(const std::string& path1, const std::string& path2,
                                          RingProblem& problem);

  bool Next(std::size_t unused, Stretch& stretch) override;
  std::unique_ptr<Source> Fork() const override;
  bool IsFlat() const override { return false; }
  double Progress() const override;

  const RingSpan& Span() const { return span_; }
  // Where it ends was told by all its clusters: one that a recorder's search needs is bad in
  // both files, so that a recorder would begin the store anew.
  bool SearchedAll() const { return searched_all_; }
  // From now on only what stands in `cluster` and behind it is handed out.
  void StartAt(int cluster);
  // First tick of the better copy; kNeverWrittenSt, kPartialWrapSt and kUnreadableSt as in
  // clusters.
  unsigned int FirstTick(int cluster);
  // Clusters met whose copies are neither the same, nor one the other's beginning, nor of
  // two laps, though both are sound.
  int Conflicts() const { return conflicts_; }

 private:
  // The copy that counts. Null image: none is sound.
  struct Best {
    const unsigned char* image = nullptr;
    int file = 0;
    bool conflict = false;
  };

  RingSource(std::string path1, std::string path2);
  bool OpenFiles();
  bool FindSpan();
  bool FindSpanInAll();
  void SetSpan(bool has_wrapped);
  Best BestOf(const unsigned char* image1, const unsigned char* image2) const;
  Best BestAt(int cluster);
  Best BestInTurn(int cluster);
  bool HasData(const Best& best) const;
  bool IsOfLapBefore(int cluster, unsigned int st);
  bool WasOvertaken(int cluster, unsigned int st);
  bool IsLost(int cluster, const Best& best, GapReason& reason);
  void AddToGap(GapReason reason, int cluster);
  void HandOut(const Best& best, Stretch& stretch);

  std::array<std::string, 2> paths_;
  std::array<ClusterReader, 2> files_;
  RingSpan span_;
  unsigned int behind_newest_st_ = kNeverWrittenSt;  // when it was opened
  unsigned int newest_st_ = kNeverWrittenSt;
  bool one_lap_ = false;  // no file has wrapped
  bool searched_all_ = false;

  int next_ = 0;        // cluster
  int left_ = 0;        // clusters, `next_` included
  int handed_out_ = 0;  // cluster
  bool has_begun_ = false;
  unsigned int last_st_ = kNeverWrittenSt;  // of what was handed out
  std::optional<Gap> gap_;
  int conflicts_ = 0;
  int looks_ = 0;  // at clusters out of turn
};

}  // namespace vmr::records

#endif  // VMR_RECORDS_RING_SOURCE_H_
