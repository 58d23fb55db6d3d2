// The last step of opening the ring: loading the newest cluster and the one before it,
// each from the file that has the better copy.
//
// The cluster's CRC of eight bits passes one torn image in 256, and a device may have
// reported a write that it never made. So both files' copies are looked at. What can
// only be had from the file that is behind is never taken for what that file lacks: the
// recording then goes on from that file as a whole, one packet short.
#include <cstring>
#include <utility>

#include "backends/cluster_copies.h"
#include "backends/data_store_normal.h"
#include "host/log.h"

namespace vmr {
namespace {

constexpr char kLogSource[] = "DataStoreNormal.cc";

void LogOtherIsTried(int cluster) {
  VMR_LOG(kLogWarning,
          "Failed to read cluster #" << cluster << " from current file will try other file");
}

void LogBetterCopy(const FileStore& file, int cluster) {
  const short number = file.FileNumber();
  VMR_LOG(kLogWarning, "File #" << number << " has the better copy of cluster " << cluster);
}

}  // namespace

// The file to count as the last writer: the one that has all of both images; null when
// they cannot be had.
FileStore* DataStoreNormal::LoadImages(FileStore& last_writer) {
  given_up_cluster_ = -1;
  FileStore* writer = LoadCurrent(last_writer);
  if (writer == nullptr || !LoadPrevious(*writer)) return nullptr;
  if (!HasTwinGoneOn(*writer)) return writer;
  given_up_cluster_ = currCluster;
  writer = LookForCurrent(*HandOver(*writer).writer, false).writer;
  return writer != nullptr && LoadPrevious(*writer) ? writer : nullptr;
}

// While this file could not be read, recording went on from the twin, in front of the
// cluster that this one begins: what stands in that is older than what the twin has.
bool DataStoreNormal::HasTwinGoneOn(const FileStore& writer) {
  const FileStore& twin = Twin(writer);
  const unsigned int st = ClusterSt(curr_buffer_.get());
  return writer.prevClusterStale && !twin.prevClusterStale && TellsTick(st) &&
         EndsBeforeCurrent(twin) && LastToldTick(prev_buffer_.get()) > st;
}

void DataStoreNormal::StartFrom(FileStore& writer) {
  const int number = writer.FileNumber();
  VMR_LOG(kLogInfo, "Last wrote to file #" << number << ". Will initialize from file #" << number);
  curr_file_ = &writer;
  other_file_ = &Twin(writer);
  currCluster = writer.NewestCluster();
  prevCluster = GetPrevCluster(currCluster);
  VMR_LOG(kLogInfo, "Curr cluster is " << currCluster << ", prev Cluster is " << prevCluster);
}

// ---- The current cluster ---------------------------------------------------------

FileStore* DataStoreNormal::LoadCurrent(FileStore& last_writer) {
  const Look look = LookForCurrent(last_writer, true);
  return look.is_loaded ? look.writer : LookForCurrent(*look.writer, false).writer;
}

DataStoreNormal::Look DataStoreNormal::LookForCurrent(FileStore& writer, bool may_hand_over) {
  StartFrom(writer);
  SayWhatIsRead(currCluster);
  unsigned char* const image = curr_buffer_.get();
  if (writer.ReadClusterTwice(kClusterBytes, image, currCluster) != 0)
    return LoadBetterCurrent(writer, may_hand_over);
  if (file1_.FileCreated() && file2_.FileCreated()) {
    FillNeverWritten(image, kClusterBytes);  // as it was made a moment ago
    return {&writer, true};
  }
  LogOtherIsTried(currCluster);
  return LoadLostCurrent(writer, BadCopyOf(image), may_hand_over);
}

// The writer's copy is loaded. The twin's can only be better where its own search has
// not told that it ends before.
DataStoreNormal::Look DataStoreNormal::LoadBetterCurrent(FileStore& writer, bool may_hand_over) {
  FileStore& twin = Twin(writer);
  const unsigned char* const mine = curr_buffer_.get();
  const bool first_look = may_hand_over;
  if (!twin.IsOpen() || (first_look && WasSearched(twin) && PacketsAreSound(mine)))
    return {&writer, true};
  unsigned char* const theirs = prev_buffer_.get();
  if (twin.ReadCluster(kClusterBytes, theirs, currCluster) == 0) return {&writer, true};
  if (first_look && IsTornFirstWrite(twin, theirs)) {
    if (!read_only_) RepairCluster(theirs, currCluster);
    return HandOver(writer);
  }
  if (!IsTwinOfCurrent(twin, theirs) || !IsBetterCopy(theirs, mine)) return {&writer, true};
  LogBetterCopy(twin, currCluster);
  std::swap(curr_buffer_, prev_buffer_);
  writer.MarkStale(true, false);
  twin.MarkStale(false, false);
  return {&twin, true};
}

// An empty file ends nowhere, though its search answers with cluster 0.
bool DataStoreNormal::EndsBeforeCurrent(const FileStore& twin) const {
  return WasSearched(twin) && twin.NewestCluster() == prevCluster &&
         twin.NewestSt() != kNeverWrittenSt;
}

// Of a cluster that the twin has not begun, and in front of which it ends. What is left
// of such a write is nothing that was ever recorded; the twin has what stood there.
bool DataStoreNormal::IsTornFirstWrite(const FileStore& twin, const unsigned char* theirs) const {
  return EndsBeforeCurrent(twin) && !PacketsAreSound(curr_buffer_.get()) &&
         PacketsAreSound(theirs) && !IsTwinOfCurrent(twin, theirs);
}

// The twin's copy is of the same cluster, not of a lap before.
bool DataStoreNormal::IsTwinOfCurrent(const FileStore& twin, const unsigned char* theirs) const {
  const unsigned int st = ClusterSt(curr_buffer_.get());
  return ClusterSt(theirs) == st || st == kPartialWrapSt ||
         (WasSearched(twin) && twin.NewestCluster() == currCluster);
}

// The search read the cluster from the writer, and now that fails. The twin's copy counts
// if it is all of what the search has met.
DataStoreNormal::Look DataStoreNormal::LoadLostCurrent(FileStore& writer, const BadCopy& bad,
                                                       bool may_hand_over) {
  FileStore& twin = Twin(writer);
  unsigned char* const image = curr_buffer_.get();
  const bool read = twin.IsOpen() && twin.ReadClusterTwice(kClusterBytes, image, currCluster) != 0;
  if (read && ClusterSt(image) == writer.NewestSt() && ClusterSize(image) >= writer.NewestSize()) {
    if (!read_only_ && MayReplace(image, bad, currCluster)) RepairCluster(image, currCluster);
    return {&writer, true};
  }
  // One that has missed more than the last packets is not gone on from: an opening that
  // is tried again may read what this one could not.
  const bool ends_here = WasSearched(twin) && twin.NewestCluster() == currCluster;
  if (may_hand_over && (EndsBeforeCurrent(twin) || (read && ends_here))) {
    given_up_cluster_ = currCluster;
    return HandOver(writer);
  }
  VMR_LOG(kLogTrace, "Failed to read cluster #" << currCluster << " from metadata files");
  VMR_LOG(kLogError, "Failed to read current cluster " << currCluster);
  return {nullptr, true};
}

DataStoreNormal::Look DataStoreNormal::HandOver(FileStore& writer) {
  FileStore& twin = Twin(writer);
  const short number = writer.FileNumber();
  VMR_LOG(kLogWarning, "Cluster " << currCluster << " of file #" << number
                                  << " is of no use, going on from the other file");
  writer.MarkStale(true, writer.NewestCluster() != twin.NewestCluster());
  twin.MarkStale(false, false);
  return {&twin, false};
}

// ---- The previous cluster --------------------------------------------------------

bool DataStoreNormal::LoadPrevious(FileStore& writer) {
  curr_file_ = &writer;
  other_file_ = &Twin(writer);
  SayWhatIsRead(prevCluster);
  unsigned char* const image = prev_buffer_.get();
  if (writer.ReadClusterTwice(kClusterBytes, image, prevCluster) != 0) {
    LoadBetterPrevious(writer);
    return true;
  }
  if (file1_.FileCreated() && file2_.FileCreated()) {
    FillNeverWritten(image, kClusterBytes);
    return true;
  }
  LogOtherIsTried(prevCluster);
  return LoadLostPrevious(writer, BadCopyOf(image));
}

// Where both copies pass their CRC and differ, the file with the worse one gets the
// better one with its next turn.
void DataStoreNormal::LoadBetterPrevious(FileStore& writer) {
  FileStore& twin = Twin(writer);
  unsigned char* const mine = prev_buffer_.get();
  unsigned char* const theirs = WorkBuffer();
  if (!twin.IsOpen() || twin.ReadCluster(kClusterBytes, theirs, prevCluster) == 0) return;
  if (AreSameCopy(mine, theirs)) return;
  if (IsBetterPrevious(theirs)) {
    LogBetterCopy(twin, prevCluster);
    memcpy(mine, theirs, kClusterBytes);
    writer.prevClusterStale = true;
    twin.prevClusterStale = false;
  } else if (PacketsAreSound(mine)) {
    twin.prevClusterStale = true;
  }
}

bool DataStoreNormal::IsBetterPrevious(const unsigned char* theirs) {
  const unsigned char* const mine = prev_buffer_.get();
  const unsigned int my_st = ClusterSt(mine);
  const unsigned int their_st = ClusterSt(theirs);
  // Of one first tick they are of one lap, whatever the cluster in front of them tells.
  if (IsBetterCopy(theirs, mine)) return their_st == my_st || BelongsAt(theirs, prevCluster);
  // A file that lost every write of the cluster still holds the lap before.
  const unsigned int curr_st = ClusterSt(curr_buffer_.get());
  return PacketsAreSound(theirs) && TellsTick(their_st) &&
         (my_st == kNeverWrittenSt || my_st < their_st) && their_st <= curr_st &&
         curr_st != kNeverWrittenSt;
}

bool DataStoreNormal::LoadLostPrevious(FileStore& writer, const BadCopy& bad) {
  unsigned char* const image = prev_buffer_.get();
  FileStore& twin = Twin(writer);
  if (!twin.IsOpen() || twin.ReadClusterTwice(kClusterBytes, image, prevCluster) == 0) {
    VMR_LOG(kLogTrace, "Failed to read cluster #" << prevCluster << " from metadata files");
    VMR_LOG(kLogError, "Failed to read previous cluster " << prevCluster);
    return false;
  }
  if (!read_only_ && MayReplace(image, bad, prevCluster)) RepairCluster(image, prevCluster);
  return true;
}

}  // namespace vmr
