// Finding the cluster that holds a tick, by binary search around the ring.
#include <cstring>

#include "backends/data_store_normal.h"
#include "host/log.h"

namespace vmr {
namespace {

constexpr char kLogSource[] = "DataStoreNormal.cc";
constexpr char kOperation[] = "FindSystemTick";

// Clusters from the older bound up to the newer one, across the wrap if need be.
int Distance(int old_cluster, int new_cluster) {
  return new_cluster > old_cluster ? new_cluster - old_cluster
                                   : kClusterCount - old_cluster + new_cluster;
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

// The first tick of the cluster, or of the first one behind it that has one: older
// recorders left clusters without, which continuations alone had filled.
DataStoreNormal::ToldTick DataStoreNormal::TickFrom(int cluster) {
  unsigned int st = GetSystemTick(cluster);
  while (st == kPartialWrapSt && cluster != currCluster) {
    cluster = Fold(cluster + 1);
    st = GetSystemTick(cluster);
  }
  return {cluster, st};
}

// A recorder in another process may have gone on since the ring was opened for
// reading. Behind the cluster that was the newest then stand newer ones, and the
// oldest only behind those.
int DataStoreNormal::ClusterBehindNewest() {
  const int next = GetNextCluster(currCluster);
  if (next == given_up_cluster_) return GetNextCluster(next);
  if (!read_only_) return next;
  unsigned int new_st = GetSystemTick(currCluster);
  if (new_st == kPartialWrapSt) new_st = GetSystemTick(prevCluster);
  const auto is_newer = [&](int clusters_on) {
    const unsigned int st = TickFrom(Fold(currCluster + clusters_on)).st;
    return st != kNeverWrittenSt && st >= new_st;
  };
  if (!is_newer(1)) return next;
  int newer = 1, older = kClusterCount;  // the newest itself, a lap on
  while (older - newer > 1) {
    const int middle = (newer + older) / 2;
    (is_newer(middle) ? newer : older) = middle;
  }
  return Fold(currCluster + older);
}

int DataStoreNormal::FindSystemTick(unsigned int sysTick) {
  StartTickSearch();
  const int new_cluster = currCluster;
  const unsigned int new_st = GetSystemTick(new_cluster);
  int old_cluster = ClusterBehindNewest();
  unsigned int old_st = TickFrom(old_cluster).st;
  if (old_st == kNeverWrittenSt) {
    old_cluster = 0;
    old_st = TickFrom(0).st;
  }
  VMR_LOG(kLogEachItem, "newCluster(" << new_cluster << ") newSt(" << new_st << "), oldCluster("
                                      << old_cluster << "), oldSt(" << old_st << ")");
  if (old_st > sysTick) {
    VMR_LOG(kLogSearch, kOperation << ": System tick (" << sysTick
                                   << ") is prior to oldest system tick " << old_st
                                   << " Cluster = " << old_cluster);
    return old_cluster;
  }
  if (new_st < sysTick) {
    // Deliberate: "after to newest", as log watchers know it.
    VMR_LOG(kLogInfo, kOperation << ": System tick (" << sysTick
                                 << ") is after to newest system tick " << new_st);
    return new_cluster;
  }
  if (sysTick == old_st) {
    VMR_LOG(kLogInfo,
            kOperation << ": System tick (" << sysTick << ") is oldest system tick in data store");
    return old_cluster;
  }
  if (sysTick == new_st) {
    VMR_LOG(kLogInfo, kOperation << ": System tick (" << sysTick << ") is start of newest cluster");
    return new_cluster;
  }
  if (new_cluster == old_cluster) {
    // Never so while the newest cluster is answered from memory: its one tick
    // has been compared above. Deliberate: no blank behind the parenthesis.
    VMR_LOG(kLogInfo, kOperation << ": System tick (" << sysTick
                                 << ")data store only contains one cluster, searching that "
                                    "cluster");
    return old_cluster;
  }
  return SearchBetween(old_cluster, old_st, new_cluster, new_st, sysTick);
}

// The tick is after `old_st` and before `new_st`. A cluster that cannot be read
// counts as later than every tick.
int DataStoreNormal::SearchBetween(int old_cluster, unsigned int old_st, int new_cluster,
                                   unsigned int new_st, unsigned int sysTick) {
  for (;;) {
    const int distance = Distance(old_cluster, new_cluster);
    const int fold_cluster = Fold(old_cluster + distance / 2);
    const ToldTick told = TickFrom(fold_cluster);
    const unsigned int fold_st = told.st;
    VMR_LOG(kLogEachItem, kOperation << ": newCluster(" << new_cluster << "), newSt(" << new_st
                                     << "), foldCluster(" << fold_cluster << "), foldSt(" << fold_st
                                     << "), oldCluster(" << old_cluster << "), oldSt(" << old_st
                                     << "), distance(" << distance << "), sysTick(" << sysTick
                                     << ")");
    if (distance <= 1) return old_cluster;
    if (sysTick == fold_st) return told.cluster;
    if (sysTick < fold_st) {
      new_cluster = fold_cluster;
      new_st = fold_st;
    } else {
      old_cluster = told.cluster;
      old_st = fold_st;
    }
  }
}

}  // namespace vmr
