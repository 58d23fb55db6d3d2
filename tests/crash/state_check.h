// Opens a store on the files as they stand and compares what it makes of them
// with what the oracle predicts and with what was recorded.
#ifndef VMR_TESTS_CRASH_STATE_CHECK_H_
#define VMR_TESTS_CRASH_STATE_CHECK_H_

#include <array>
#include <map>
#include <string>
#include <vector>

#include "backends/data_store_normal.h"
#include "tests/crash/cow_files.h"
#include "tests/crash/oracle.h"
#include "tests/crash/recording.h"

namespace vmr::crash {

// What must be read back.
struct Expected {
  const Stream* stream = nullptr;
  int at_least = 0;  // packets
  int at_most = 0;
  // What may be read back in its place, as many packets of it: a packet that was
  // never acknowledged may have been unreadable, and be readable again.
  const Stream* resurfaced = nullptr;
  // One packet less is allowed when the oracle finds this file (kFile1, kFile2)
  // unsearchable; kAnyName: never.
  int holder = kAnyName;
  bool may_recreate = false;  // if the oracle finds neither file searchable
  bool may_fail = false;      // if the oracle finds a loaded cluster bad in both
  bool mirrors_equal = true;  // closed clusters must be the same in both files
  // What is bad on a search path stays there: each restart may cost a packet.
  bool damage_stays = false;
  // Clusters that are damaged in one file and must be read from the other.
  struct DamagedCopy {
    int name = kAnyName;
    int cluster = -1;
  };
  std::array<DamagedCopy, 2> damaged;
  int lost_cluster = -1;    // damaged in both files; outside of what is read back
  bool everything = false;  // read the whole ring back, which takes long
};

// A store's write of one cluster.
struct ClusterWrite {
  int name;
  int cluster;
};

using Counts = std::map<std::string, long>;

// A packet as far as the writing of it depends on it.
struct Appended {
  int bytes;
  std::uint32_t tick;
};

// What the appending of packets must write after an open.
std::vector<ClusterWrite> PredictWrites(const Prediction& prediction,
                                        const std::vector<Appended>& packets);

// The image of one cluster in one file as the oracle reads it.
ReadImage ImageOf(const CowFiles& files, int name);

// Everything that a store has from a cluster on; false when a read fails.
bool ReadStream(DataStoreNormal& store, int from_cluster, Bytes* stream);

// Visits states. The files are left as they were found.
class StateCheck {
 public:
  StateCheck(CowFiles& files, Counts& counts) : files_(files), counts_(counts) {}

  // What is wrong with the state, "" when nothing is.
  std::string Visit(const Expected& expected);
  // After Visit: how many packets were found, and what the oracle said.
  int Found() const { return found_; }
  const Prediction& Predicted() const { return predicted_; }

 private:
  std::string CompareSearches() const;
  std::string CompareOpened(const DataStoreNormal& store, const Prediction& predicted) const;
  std::string CheckOutcome(const Expected& expected);
  std::string CheckFirstOpen(const Expected& expected);
  std::string CheckFound(const Expected& expected);
  int DocumentedLoss(const Expected& expected);
  std::string CheckDamagedCluster(const Expected::DamagedCopy& damaged, const unsigned char* good,
                                  DataStoreNormal& store) const;
  std::string CheckLostCluster(const Expected& expected, DataStoreNormal& store) const;
  std::string CheckEverything(DataStoreNormal& store);
  std::string CheckFlags(DataStoreNormal& store) const;
  std::string CheckGoingOn(const Expected& expected);
  bool MayLackTheLast(const Expected& expected, const Prediction& closed);
  std::string AppendThree(DataStoreNormal& store);
  std::string CompareMirrors(int from, int previous, int current) const;
  std::string CompareWrites(const std::vector<Appended>& packets, std::size_t from) const;

  CowFiles& files_;
  Counts& counts_;
  Prediction predicted_;
  int found_ = 0;
  Bytes stream_;
  Bytes again_;
  unsigned char good_[2][kPageBytes];  // the sound copies of the damaged clusters
};

}  // namespace vmr::crash

#endif  // VMR_TESTS_CRASH_STATE_CHECK_H_
