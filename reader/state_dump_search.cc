#include "reader/state_dump_search.h"

#include <optional>

#include "backends/cluster_format.h"
#include "host/log.h"
#include "reader/metadata_reader.h"

namespace vmr {
namespace {

constexpr char kLogSource[] = "MetadataReader.cc";

// kNoTick in a cluster that has none.
unsigned int FirstTick(DataStoreNormal& ring, int cluster) {
  const unsigned int st = ring.GetSystemTick(cluster);
  return TellsTick(st) ? st : kNoTick;
}

// Of a difference of two clusters: how many lie between, or which one lies so many back.
int InRing(int difference) { return (difference + kClusterCount) % kClusterCount; }

}  // namespace

int StateDumpSearch::Run() {
  const int found = WalkBack();
  return found < 0 && untold_ >= 0 ? FindDumpOfUntoldTick() : found;
}

int StateDumpSearch::WalkBack() {
  int cluster = job_.start_cluster;
  do {
    int bytes_read = 0;
    if (!LoadCluster(cluster, bytes_read)) return -1;
    if (bytes_read == 0) {
      // Deliberate: not an error. A ring that is young, or holds no dump yet, is
      // replayed from here, which is where it begins.
      VMR_LOG(kLogError, "No data found in cluster " << cluster);
      return cluster;
    }
    const bool found = walk_.Run(job_.output, kNoTick, job_.tick);
    LeaveCluster();
    if (found) return cluster;
    if (walk_.MetUntoldDump() && untold_ < 0) untold_ = cluster;
    cluster = PreviousCluster(cluster);
  } while (cluster != job_.start_cluster);
  VMR_LOG(kLogWarning, "Made it through all clusters and did not find systick");
  return -1;
}

// A packet with the upper bits of the tick is written every 256 ticks only. Where
// clusters are filled faster, many a dump has none before it in its cluster, and a
// ring's oldest part may hold no other. What is newer than the start lies behind
// the oldest cluster, and holds no state of use.
int StateDumpSearch::FindDumpOfUntoldTick() {
  const int oldest = static_cast<int>(job_.source.InitialReadLocation() / kClusterBytes);
  const int farthest = InRing(job_.start_cluster - oldest);
  for (int back = InRing(job_.start_cluster - untold_); back <= farthest; ++back) {
    const int cluster = InRing(job_.start_cluster - back);
    const bool is_oldest = cluster == oldest;
    int bytes_read = 0;
    if (!LoadCluster(cluster, bytes_read)) return -1;
    if (is_oldest) walk_.PassContinuations();
    if (walk_.HoldsDump(FirstTick(job_.source, cluster), job_.tick))
      return ParseFromFirstTick(cluster, is_oldest) ? cluster : -1;
    LeaveCluster();
  }
  return -1;
}

// A dump that is split begins in the cluster before. Without that it is no full
// state: what continues it is passed over.
bool StateDumpSearch::ParseFromFirstTick(int cluster, bool is_oldest) {
  const unsigned int first_tick = FirstTick(job_.source, cluster);
  const int before = PreviousCluster(cluster);
  VMR_LOG(kLogInfo, "Reading cluster " << cluster << " again from its first tick " << first_tick);
  int bytes_read = 0;
  const bool begun = !is_oldest && LoadCluster(before, bytes_read);
  if (begun) walk_.Run(job_.output, FirstTick(job_.source, before), std::nullopt);
  LeaveCluster();
  if (!LoadCluster(cluster, bytes_read)) return false;
  if (!begun) walk_.PassContinuations();
  const bool found = walk_.Run(job_.output, first_tick, job_.tick);
  LeaveCluster();
  return found;
}

// Into the buffer; an empty one is read, too.
bool StateDumpSearch::LoadCluster(int cluster, int& bytes_read) {
  const bool in_ring = packets_.HasBuffer() && cluster >= 0 && cluster < kClusterCount;
  packets_.ForgetBytes();
  bytes_read = 0;
  if (!in_ring || !packets_.Fill(job_.source, job_.output,
                                 static_cast<long>(cluster) * kClusterBytes, bytes_read)) {
    VMR_LOG(kLogError, "Failed to read data from cluster " << cluster);
    return false;
  }
  if (bytes_read > 0)
    VMR_LOG(kLogEachItem, "read " << bytes_read << " bytes from data store at cluster " << cluster);
  return true;
}

void StateDumpSearch::LeaveCluster() {
  constexpr unsigned int kClustersBetweenPets = 256;
  if (++walked_ % kClustersBetweenPets == 0 && job_.watchdog != nullptr)
    job_.watchdog->PetWatchdog();
  if (job_.room != nullptr) job_.room->KeepForCluster();
}

// ---- The reader's operations ------------------------------------------------------

int MetadataReader::FindMostRecentStateDump(DataStoreNormal& source, DataStore& output,
                                            int startCluster, unsigned int sysTick) {
  collector_.UseBuffer(output);
  OutputRoom room(output);
  const ClusterWalk walk(collector_, parser_, extraction_);
  OutputRoom* const discardable = output.UsedAreas() == 0 ? &room : nullptr;
  const StateDumpSearch::Job job{source, output, startCluster, sysTick, discardable, nullptr};
  return StateDumpSearch(collector_, walk, job).Run();
}

bool MetadataReader::DoesClusterContainStateDump(DataStore& output, unsigned int sysTick) {
  collector_.UseBuffer(output);
  collector_.GoToStart();
  return ClusterWalk(collector_, parser_, extraction_).Run(output, kNoTick, sysTick);
}

}  // namespace vmr
