// Looking for the state dump from which a replay can begin.
#ifndef VMR_READER_STATE_DUMP_SEARCH_H_
#define VMR_READER_STATE_DUMP_SEARCH_H_

#include "backends/data_store_normal.h"
#include "host/watchdog.h"
#include "reader/cluster_walk.h"
#include "reader/output_room.h"
#include "reader/packet_collector.h"

namespace vmr {

// One search, and how far it has come: MetadataReader::FindMostRecentStateDump.
class StateDumpSearch {
 public:
  struct Job {
    DataStoreNormal& source;
    DataStore& output;
    int start_cluster;
    unsigned int tick;
    OutputRoom* room;    // null: what waits in the output is somebody's
    Watchdog* watchdog;  // may be null
  };

  StateDumpSearch(PacketCollector& packets, const ClusterWalk& walk, const Job& job)
      : packets_(packets), walk_(walk), job_(job) {}

  int Run();

 private:
  int WalkBack();
  int FindDumpOfUntoldTick();
  bool ParseFromFirstTick(int cluster, bool is_oldest);
  bool LoadCluster(int cluster, int& bytes_read);
  void LeaveCluster();

  PacketCollector& packets_;
  ClusterWalk walk_;
  Job job_;
  unsigned int walked_ = 0;
  int untold_ = -1;  // the nearest cluster with a dump whose tick its packets do not tell
};

}  // namespace vmr

#endif  // VMR_READER_STATE_DUMP_SEARCH_H_
