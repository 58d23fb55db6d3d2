// Everything that the two files of a ring hold, cluster by cluster.
#ifndef VMR_TOOLS_RING_SURVEY_H_
#define VMR_TOOLS_RING_SURVEY_H_

#include <array>
#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include "records/one_recording.h"
#include "tools/ring/cluster_content.h"
#include "tools/ring/cluster_file.h"
#include "tools/ring/recorded_clock.h"
#include "tools/ring/search_path.h"

namespace vmr::tool {

// How the two copies of a cluster compare; what lies behind their used bytes does
// not count.
enum class Relation : unsigned char {
  kNoneSound,  // neither can be used: it is bad, or belongs elsewhere in the ring
  kOneSound,   // the best one can
  kEqual,
  kShorter,    // the other one is a beginning of the best one
  kOlder,      // the other one is of an earlier time, or was never written
  kFaulty,     // the other one has unsound packets where the best one has none,
               // or its CRC is right by chance
  kWrongTick,  // the other one has the same packets under a first tick that is not theirs
  kMisplaced,  // the other one's ticks belong elsewhere in the ring
  kConflict,   // both are sound, different, and nothing tells which is right
};

struct CopyFacts {
  CopyState state = CopyState::kAbsent;
  unsigned short used_bytes = 0;              // of a sound copy, and of one with a wrong CRC
  unsigned int first_tick = kNeverWrittenSt;  // the header's, of a sound copy
  ClusterContent content;                     // of a good copy
  std::uint64_t digest = 0;                   // the same: of its whole image, see ImageDigest

  // The ticks of a good copy, as far as anything tells them.
  unsigned int FirstTick() const;
  unsigned int LastTick() const;
};

// Files are numbered as in their names, 1 and 2.
inline constexpr int kFileNumbers[] = {1, 2};
inline int OtherFile(int file) { return 3 - file; }

struct ClusterFacts {
  std::array<CopyFacts, 2> copies;  // see Copy
  Relation relation = Relation::kNoneSound;
  int best = 0;               // the file whose copy counts; 0 without a sound one
  bool same_packets = false;  // in both copies, under whatever first tick
  records::Likeness likeness = records::Likeness::kNothing;

  CopyFacts& Copy(int file) { return copies[static_cast<std::size_t>(file - 1)]; }
  const CopyFacts& Copy(int file) const { return copies[static_cast<std::size_t>(file - 1)]; }
  const CopyFacts& Best() const { return Copy(best); }
  bool Known() const { return best > 0; }
  bool HoldsData() const { return Known() && Best().state == CopyState::kGood; }
  unsigned int FirstTick() const { return Best().FirstTick(); }
  unsigned int LastTick() const { return Best().LastTick(); }
};

// What was written into a ring's files, for whoever reads them back.
class MeantImages {
 public:
  virtual ~MeantImages() = default;
  // Of the cluster's image, if it is exactly what was meant, and looked at before; else null.
  virtual const CopyFacts* FactsOf(int cluster, const unsigned char* image) const = 0;
};

// Reads both files of a ring once, and again what looked unsound or unlike, since
// a recorder may be at work. Two clusters at a time are in memory.
//
// Owns     the files, open for reading.
// Errors   a file that cannot be read is one of absent clusters.
class RingSurvey {
 public:
  // A ring's two files. An empty path stands for a file that there is not.
  RingSurvey(const std::string& path1, const std::string& path2);

  // Of images that are as `meant` nothing is gathered again.
  void Read(const MeantImages* meant = nullptr);

  ClusterFile& File(int number) { return files_[static_cast<std::size_t>(number - 1)]; }
  const ClusterFile& File(int number) const { return files_[static_cast<std::size_t>(number - 1)]; }
  const ClusterFacts& At(int cluster) const { return clusters_[static_cast<std::size_t>(cluster)]; }

  // Nothing was ever written, as far as can be read.
  bool Empty() const { return newest_ < 0; }
  // The cluster that the recording ends in; -1 when Empty.
  int Newest() const { return newest_; }
  // The first cluster with data behind the newest, in ring order.
  int Oldest() const;
  // Clusters with data whose successor is older or was never written. One, the
  // newest, in a sound ring.
  const std::vector<int>& RunEnds() const { return run_ends_; }
  // The cluster is one that a recorder writes next or has written last, so that
  // one file may lack its latest packets.
  bool IsBeingWritten(int cluster) const;

  // The file that a recorder would go on with: 1 or 2. Of copies in conflict its
  // are the best ones, so that two recordings are not mixed.
  int LastWriter() const;
  // The files hold one recording each: what is said of both together is of neither.
  bool IsOfTwoRecordings() const { return is_of_two_; }
  // Clusters went on changing while they were read: a recorder is at work.
  bool IsBeingRecorded() const { return is_being_recorded_; }

  // The copy has packets behind the recording's end: its write went to a wrong place.
  bool HoldsLatest(const CopyFacts& copy) const;

  // The recorder's search, in one file as it is and in the best copies of all.
  const SearchResult& SearchOf(int file) const {
    return searches_[static_cast<std::size_t>(file - 1)];
  }
  const SearchResult& SearchOfBest() const { return searches_[2]; }
  bool OnSearchPath(int cluster) const;

  // Which tick was which time, of the best copies.
  const RecordedClock& Clock() const { return clock_; }

 private:
  struct TimeReading {
    int cluster;
    unsigned int tick;
    std::int32_t time_s;
  };
  class TimeSink;

  enum class Pass { kFirst, kAgain };

  // True when the facts are other than before.
  bool ReadCluster(int cluster, Pass pass, const MeantImages* meant = nullptr);
  bool NeedsSecondLook(int cluster) const;
  void LookAgain();
  void SearchFiles();
  void SettleConflicts();
  void SettleFirstTicks();
  void CompareRecordings();
  void SettleMisplaced();
  bool BelongsElsewhere(int cluster);
  void ReadTimes(int cluster, const unsigned char* image);
  void FindRunEnds();
  void SearchBestCopies();
  void Settle(SearchResult& search) const;
  bool IsContinuedWithin(int before, int cluster) const;
  bool IsOfLapBefore(int cluster) const;
  void ChooseNewest();
  void BuildClock();

  std::array<ClusterFile, 2> files_;
  std::vector<ClusterFacts> clusters_;
  // By cluster; a ring of idle hours has two in each.
  std::deque<TimeReading> times_;
  std::vector<int> run_ends_;
  bool is_of_two_ = false;
  bool is_being_recorded_ = false;
  int newest_ = -1;
  std::array<SearchResult, 3> searches_;  // in file 1, in file 2, in the best copies
  int conflicts_go_to_ = 1;               // the file whose copies count
  RecordedClock clock_;
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_RING_SURVEY_H_
