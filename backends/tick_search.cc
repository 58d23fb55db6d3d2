// Finding the cluster that holds a tick, by binary search around the ring.
#include <cstring>

#include "backends/data_store_normal.h"
#include "host/log.h"

namespace vmr {
namespace {

constexpr char kLogSource[] = "DataStoreNormal.cc";
constexpr char kOperation[] = "FindSystemTick";

// Clusters from the older bound up to the newer one, across the wrap if need be.
int Distance(int oldCluster, int newCluster) {
  return newCluster > oldCluster ? newCluster - oldCluster
                                 : kClusterCount - oldCluster + newCluster;
}

int Fold(int cluster) { return cluster >= kClusterCount ? cluster - kClusterCount : cluster; }

CLUSTER_HEADER_T HeaderOf(const unsigned char* cluster) {
  CLUSTER_HEADER_T header;
  memcpy(&header, cluster, kClusterHeaderBytes);
  return header;
}

}  // namespace

unsigned int DataStoreNormal::GetSystemTick(int cluster) {
  if (!open_) return kNeverWrittenSt;
  if (const CLUSTER_HEADER_T* const cached = hdr_cache_.Find(cluster)) return cached->FirstTick();
  unsigned char* const scratch = WorkBuffer();
  if (ReadCluster(scratch, cluster) == 0) return kNeverWrittenSt;
  CLUSTER_HEADER_T header = HeaderOf(scratch);
  hdr_cache_.Add(cluster, header);
  return header.FirstTick();
}

// What was cached before may have been overwritten since. The two clusters in
// memory are entered at once: the file that is read first may lack the newest
// one, and show in its place what stood there a lap ago.
void DataStoreNormal::StartTickSearch() {
  hdr_cache_.Clear();
  if (!open_) return;
  CLUSTER_HEADER_T curr = HeaderOf(curr_buffer_.get());
  CLUSTER_HEADER_T prev = HeaderOf(prev_buffer_.get());
  hdr_cache_.Add(currCluster, curr);
  hdr_cache_.Add(prevCluster, prev);
}

// A recorder in another process may have gone on since the ring was opened for
// reading. Behind the cluster that was the newest then stand newer ones, and the
// oldest only behind those.
int DataStoreNormal::ClusterBehindNewest() {
  if (!read_only_) return GetNextCluster(currCluster);
  const unsigned int newSt = GetSystemTick(currCluster);
  const auto is_newer = [&](int clusters_on) {
    const unsigned int st = GetSystemTick(Fold(currCluster + clusters_on));
    return st != kNeverWrittenSt && st >= newSt;
  };
  if (!is_newer(1)) return GetNextCluster(currCluster);
  int newer = 1, older = kClusterCount;  // the newest itself, a lap on
  while (older - newer > 1) {
    const int middle = (newer + older) / 2;
    (is_newer(middle) ? newer : older) = middle;
  }
  return Fold(currCluster + older);
}

int DataStoreNormal::FindSystemTick(unsigned int sysTick) {
  StartTickSearch();
  const int newCluster = currCluster;
  const unsigned int newSt = GetSystemTick(newCluster);
  int oldCluster = ClusterBehindNewest();
  unsigned int oldSt = GetSystemTick(oldCluster);
  if (oldSt == kNeverWrittenSt) {
    oldCluster = 0;
    oldSt = GetSystemTick(0);
  }
  VMR_LOG(kLogEachItem, "newCluster(" << newCluster << ") newSt(" << newSt << "), oldCluster("
                                      << oldCluster << "), oldSt(" << oldSt << ")");
  if (oldSt > sysTick) {
    VMR_LOG(kLogSearch, kOperation << ": System tick (" << sysTick
                                   << ") is prior to oldest system tick " << oldSt
                                   << " Cluster = " << oldCluster);
    return oldCluster;
  }
  if (newSt < sysTick) {
    // Deliberate: "after to newest", as log watchers know it.
    VMR_LOG(kLogInfo, kOperation << ": System tick (" << sysTick
                                 << ") is after to newest system tick " << newSt);
    return newCluster;
  }
  if (sysTick == oldSt) {
    VMR_LOG(kLogInfo,
            kOperation << ": System tick (" << sysTick << ") is oldest system tick in data store");
    return oldCluster;
  }
  if (sysTick == newSt) {
    VMR_LOG(kLogInfo, kOperation << ": System tick (" << sysTick << ") is start of newest cluster");
    return newCluster;
  }
  if (newCluster == oldCluster) {
    // Never so while the newest cluster is answered from memory: its one tick
    // has been compared above. Deliberate: no blank behind the parenthesis.
    VMR_LOG(kLogInfo, kOperation << ": System tick (" << sysTick
                                 << ")data store only contains one cluster, searching that "
                                    "cluster");
    return oldCluster;
  }
  return SearchBetween(oldCluster, oldSt, newCluster, newSt, sysTick);
}

// The tick is after `oldSt` and before `newSt`. A cluster that cannot be read
// counts as later than every tick.
int DataStoreNormal::SearchBetween(int oldCluster, unsigned int oldSt, int newCluster,
                                   unsigned int newSt, unsigned int sysTick) {
  for (;;) {
    const int distance = Distance(oldCluster, newCluster);
    const int foldCluster = Fold(oldCluster + distance / 2);
    const unsigned int foldSt = GetSystemTick(foldCluster);
    VMR_LOG(kLogEachItem, kOperation << ": newCluster(" << newCluster << "), newSt(" << newSt
                                     << "), foldCluster(" << foldCluster << "), foldSt(" << foldSt
                                     << "), oldCluster(" << oldCluster << "), oldSt(" << oldSt
                                     << "), distance(" << distance << "), sysTick(" << sysTick
                                     << ")");
    if (distance <= 1) return oldCluster;
    if (sysTick == foldSt) return foldCluster;
    if (sysTick < foldSt) {
      newCluster = foldCluster;
      newSt = foldSt;
    } else {
      oldCluster = foldCluster;
      oldSt = foldSt;
    }
  }
}

}  // namespace vmr
