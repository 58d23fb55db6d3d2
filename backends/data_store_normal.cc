// The ring store's writing and reading; opening is in ring_recovery.cc.
#include "backends/data_store_normal.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <limits>
#include <utility>

#include "backends/cluster_copies.h"
#include "host/log.h"

namespace vmr {
namespace {
constexpr char kLogSource[] = "DataStoreNormal.cc";

bool IsInt(long value) {
  return value >= std::numeric_limits<int>::min() && value <= std::numeric_limits<int>::max();
}

}  // namespace

DataStoreNormal::DataStoreNormal(const std::string& basePath)
    : DataStore(DATA_STORE_NORMAL, kClusterBytes), base_path_(basePath) {}

DataStoreNormal::~DataStoreNormal() = default;

int DataStoreNormal::Close() {
  if (open_ && !read_only_) WriteBuffers();
  open_ = false;
  hdr_cache_.Clear();
  static_cast<void>(DataStore::Close());  // always 1
  file1_.Close();
  file2_.Close();
  curr_buffer_.reset();
  prev_buffer_.reset();
  check_buffer_.reset();
  return 1;
}

int DataStoreNormal::GetNextCluster(int cluster) { return NextCluster(cluster); }

int DataStoreNormal::GetPrevCluster(int cluster) { return vmr::PreviousCluster(cluster); }

int DataStoreNormal::AdjustClusterNumber(int cluster) {
  if (cluster >= 0 && cluster < kClusterCount) return cluster;
  VMR_LOG(kLogError, "Adjusting cluster (" << cluster << ") to be in range");
  if (cluster < 0) return cluster + kClusterCount;
  // Deliberate: not the mirror image of the fold below zero. 32768 becomes -1,
  // which no read accepts, and 32769 becomes 0.
  return cluster - 2 * kClusterCount + (kClusterCount - 1);
}

// ---- Writing -------------------------------------------------------------------

int DataStoreNormal::WriteData(const unsigned char* data, int length, unsigned int sysTick) {
  if (data == nullptr) {
    VMR_LOG(kLogFatal, "Null value passed to "
                           << "WriteData");
    return 0;
  }
  VMR_LOG(kLogEachItem, "writing into data store " << length << " bytes at sysTick " << sysTick);
  last_packet_stored_ = false;
  if (const char* const reason = WhyNotWritable(length)) {
    VMR_LOG(kLogError, "Refusing to write " << length << " bytes: " << reason);
    return 0;
  }
  if (length > kClusterBytes - ClusterSize(curr_buffer_.get())) CloseCurrentCluster(sysTick);
  AppendToCurrent(data, length, sysTick);
  ++unstored_.of_current;
  WriteCurrentToFile();
  // Deliberate: the packet is kept, in memory at least; a file that could not
  // take it has logged so and takes it on its next turn.
  return 1;
}

const char* DataStoreNormal::WhyNotWritable(int length) const {
  if (!open_) return "the store is closed";
  if (read_only_) return "the store is open for reading";
  return length < 1 || length > kMaxClusterPayload ? "1 to 4089 fit a cluster" : nullptr;
}

void DataStoreNormal::CloseCurrentCluster(unsigned int sysTick) {
  // A file that still lacks the cluster in prev_buffer_ gets it now, before it
  // is overwritten in memory. Deliberate: no blank before "cluster" for the
  // other file.
  FlushPrevBuffer(*curr_file_, " cluster #");
  FlushPrevBuffer(*other_file_, "cluster #");

  std::swap(curr_buffer_, prev_buffer_);
  unstored_.lost += unstored_.of_previous;
  unstored_.of_previous = std::exchange(unstored_.of_current, 0);
  prevCluster = currCluster;
  memset(curr_buffer_.get(), 0, kClusterBytes);
  for (FileStore* const file : {&file1_, &file2_}) file->prevClusterStale = file->currClusterStale;
  GivePreviousATick(sysTick);

  VMR_LOG(kLogInfo, "Moving to new cluster from cluster " << currCluster);
  currCluster = GetNextCluster(currCluster);
  if (currCluster == given_up_cluster_) given_up_cluster_ = -1;
  SetClusterSize(curr_buffer_.get(), kClusterHeaderBytes);
  SetClusterSt(curr_buffer_.get(), sysTick);
}

// Filled by continuations alone it has had no tick to give, and the searches would lose
// their way at it: it takes that of the packet behind it, and both files get it so.
void DataStoreNormal::GivePreviousATick(unsigned int sysTick) {
  unsigned char* const cluster = prev_buffer_.get();
  if (ClusterSt(cluster) != kPartialWrapSt || !TellsTick(sysTick)) return;
  SetClusterSt(cluster, sysTick);
  SealCluster(cluster, ClusterSize(cluster));
  file1_.prevClusterStale = file2_.prevClusterStale = true;
}

// The last chance of a file that has failed since: two images are all there are.
void DataStoreNormal::FlushPrevBuffer(FileStore& file, const char* cluster_text) {
  if (!file.prevClusterStale || WritePrevBuffer(file, cluster_text)) return;
  const short number = file.FileNumber();
  VMR_LOG(kLogError, "File #" << number << " lacks the end of cluster " << prevCluster
                              << ", only the other file has it");
}

bool DataStoreNormal::WritePrevBuffer(FileStore& file, const char* cluster_text) {
  if (file.WriteCluster(kClusterBytes, prev_buffer_.get(), prevCluster) == 0) return false;
  unstored_.of_previous = 0;
  const short number = file.FileNumber();
  VMR_LOG(kLogEachItem, "wrote prevBuffer to file #" << number << cluster_text << prevCluster);
  return true;
}

void DataStoreNormal::AppendToCurrent(const unsigned char* data, int length, unsigned int sysTick) {
  unsigned char* const cluster = curr_buffer_.get();
  const int size = ClusterSize(cluster);
  VMR_LOG(kLogEachItem, "current size " << size);
  memcpy(cluster + size, data, static_cast<std::size_t>(length));
  VMR_LOG(kLogEachItem,
          "add in " << length << " to get " << size + length << " into cluster " << currCluster);
  // A continuation that opened the cluster had no tick to give.
  if (ClusterSt(cluster) == kNeverWrittenSt || ClusterSt(cluster) == kPartialWrapSt) {
    SetClusterSt(cluster, sysTick);
    curr_crc_.Forget();
  }
  SetClusterSize(cluster, size + length);
  cluster[0] = curr_crc_.OfAppended(cluster, size);
}

// Writes the file whose turn it is. A file that could not take a write stays marked
// stale, and its next turn writes it again. One that could not take the end of the
// previous cluster must not hold a newer one, or Open would go on from it: the other
// file takes the packet, and this one keeps its turn.
void DataStoreNormal::WriteCurrentToFile() {
  FileStore& turn = *curr_file_;
  const bool keeps_turn = !CatchUp(turn) && CatchUp(*other_file_);
  FileStore& file = keeps_turn ? *other_file_ : turn;
  FileStore& rest = keeps_turn ? turn : *other_file_;
  const bool written = file.WriteCluster(kClusterBytes, curr_buffer_.get(), currCluster) != 0;
  const short number = file.FileNumber();
  if (written)
    VMR_LOG(kLogEachItem, "wrote currBuffer to file #" << number << " cluster #" << currCluster);
  if (written) unstored_.of_current = 0;
  last_packet_stored_ = written;
  file.currClusterStale = !written;
  rest.currClusterStale = true;
  if (!keeps_turn) std::swap(curr_file_, other_file_);
}

// True when the file lacks nothing of the previous cluster any more.
bool DataStoreNormal::CatchUp(FileStore& file) {
  if (file.prevClusterStale) file.prevClusterStale = !WritePrevBuffer(file, " cluster #");
  return !file.prevClusterStale;
}

unsigned long DataStoreNormal::FailedWrites(int fileNumber) const {
  for (const FileStore* const file : {&file1_, &file2_})
    if (file->FileNumber() == fileNumber) return file->FailedWrites();
  return 0;
}

// ---- Reading -------------------------------------------------------------------

int DataStoreNormal::ReadCluster(unsigned char* buf, int cluster) {
  return ReadWithFallback(buf, cluster, &FileStore::ReadCluster);
}

void DataStoreNormal::SayWhatIsRead(int cluster) const {
  VMR_LOG(kLogEachItem, "Reading Cluster #" << cluster);
  if (Viewing()) std::printf("     ****Reading Cluster %d****\n", cluster);
}

int DataStoreNormal::ReadWithFallback(unsigned char* buf, int cluster, ReadOperation read_first) {
  SayWhatIsRead(cluster);
  if ((curr_file_->*read_first)(kClusterBytes, buf, cluster) != 0) return 1;
  VMR_LOG(kLogWarning,
          "Failed to read cluster #" << cluster << " from current file will try other file");
  const BadCopy bad = buf == nullptr ? BadCopy{} : BadCopyOf(buf);
  if (other_file_->ReadCluster(kClusterBytes, buf, cluster) != 0) {
    if (!read_only_ && MayReplace(buf, bad, cluster)) RepairCluster(buf, cluster);
    return 1;
  }
  // Deliberate: only a trace; the callers log what it means to them.
  VMR_LOG(kLogTrace, "Failed to read cluster #" << cluster << " from metadata files");
  return 0;
}

DataStoreNormal::BadCopy DataStoreNormal::BadCopyOf(const unsigned char* image) {
  return {ClusterSt(image), ClaimedBytes(image), ClusterSize(image) != 0};
}

// A copy that cannot be read, this time at least, may be all there is of what was
// recorded last: it does not give way to one that is older or shorter.
bool DataStoreNormal::MayReplace(const unsigned char* good, const BadCopy& bad, int cluster) {
  const auto is_all_of = [good](unsigned int st, int used_bytes) {
    return ClusterSt(good) == st && ClusterSize(good) >= used_bytes;
  };
  const auto is_all_of_image = [&is_all_of](const unsigned char* image) {
    return is_all_of(ClusterSt(image), ClusterSize(image));
  };
  const FileStore& file = *curr_file_;
  bool may = true;
  if (open_ && cluster == currCluster)
    may = is_all_of_image(curr_buffer_.get());
  else if (open_ && cluster == prevCluster)
    may = is_all_of_image(prev_buffer_.get());
  else if (WasSearched(file) && cluster == file.NewestCluster() &&
           (!open_ || cluster == GetNextCluster(currCluster)))
    may = is_all_of(file.NewestSt(), file.NewestSize());  // what the search read there
  else
    may = !WasLonger(bad, good, cluster) && BelongsAt(good, cluster);
  if (!may)
    VMR_LOG(kLogWarning,
            "Not rewriting Cluster #" << cluster << ", the other file's copy lacks something");
  return may;
}

// As far as it can be told. Of what a call kept from being read nothing is known: it is
// read once more.
bool DataStoreNormal::WasLonger(BadCopy bad, const unsigned char* good, int cluster) {
  if (bad.was_read) return bad.st == ClusterSt(good) && bad.used_bytes > ClusterSize(good);
  unsigned char* const image = check_buffer_.get();
  const bool whole = curr_file_->ReadCluster(kClusterBytes, image, cluster) != 0;
  const int used_bytes = whole ? ClusterSize(image) : ClaimedBytes(image);
  return ClusterSt(image) == ClusterSt(good) && used_bytes > ClusterSize(good);
}

// False for a copy of the lap before in a file that has missed this one: its first
// tick is below that of the cluster in front of it.
bool DataStoreNormal::BelongsAt(const unsigned char* copy, int cluster) {
  const int before = GetPrevCluster(cluster);
  const unsigned int st = ClusterSt(copy);
  const unsigned int before_st = before == currCluster ? kNeverWrittenSt : LatestFirstTick(before);
  if (st == kPartialWrapSt) return true;  // tells nothing
  if (st != kNeverWrittenSt) return before_st == kNeverWrittenSt || before_st <= st;
  if (before_st != kNeverWrittenSt) return false;
  const int behind = GetNextCluster(cluster);
  return behind == 0 || LatestFirstTick(behind) == kNeverWrittenSt;
}

// The later of the two files' first ticks; kNeverWrittenSt when neither tells one.
unsigned int DataStoreNormal::LatestFirstTick(int cluster) {
  unsigned char* const image = check_buffer_.get();
  unsigned int latest = kNeverWrittenSt;
  for (FileStore* const file : {&file1_, &file2_}) {
    if (!file->IsOpen() || file->ReadCluster(kClusterBytes, image, cluster) == 0) continue;
    const unsigned int st = ClusterSt(image);
    if (TellsTick(st) && (latest == kNeverWrittenSt || st > latest)) latest = st;
  }
  return latest;
}

void DataStoreNormal::RepairCluster(const unsigned char* buf, int cluster) {
  VMR_LOG(kLogWarning, "Rewrote Cluster #" << cluster << " to file-" << curr_file_->Path());
  // A repair that fails is tried again by the next read.
  static_cast<void>(curr_file_->WriteCluster(kClusterBytes, buf, cluster));
}

int DataStoreNormal::ReadDataIntoBuffer(long position, unsigned char* buffer, int bufferSize,
                                        int& bytesRead, long& nextPosition) {
  if (buffer == nullptr) {
    VMR_LOG(kLogError, "Null value passed to "
                           << "ReadDataIntoBuffer");
    return 0;
  }
  bytesRead = 0;
  const long position_cluster = position / kClusterBytes;
  const auto index = static_cast<int>(position - position_cluster * kClusterBytes);
  if (!open_ || bufferSize < 1 || index < 0 || !IsInt(position_cluster)) return FailRead();
  return ReadFrom(AdjustClusterNumber(static_cast<int>(position_cluster)),
                  index + kClusterHeaderBytes, position,
                  {buffer, bufferSize, bytesRead, nextPosition});
}

int DataStoreNormal::FailRead() {
  VMR_LOG(kLogError, "Failed to read cluster");
  return 0;
}

// Goes from cluster to cluster until one has bytes at or behind the offset. It
// ends at the latest where the ring comes round to the current cluster.
int DataStoreNormal::ReadFrom(int cluster, int offset, long position, const ReadTarget& to) {
  for (;;) {
    VMR_LOG(kLogEachItem,
            "read request at pos " << position << " cluster " << cluster << " offset " << offset);
    if (cluster == prevCluster) {
      if (offset < ClusterSize(prev_buffer_.get())) {
        CopyOut(prev_buffer_.get(), cluster, offset, to);
        VMR_LOG(kLogEachItem, "data found in prevBuffer");
        return 1;
      }
      cluster = GetNextCluster(cluster);
      offset = kClusterHeaderBytes;
    }
    if (cluster == currCluster) return ReadFromCurrent(cluster, offset, to);

    unsigned char* const scratch = WorkBuffer();
    memset(scratch, 0, kClusterBytes);
    if (ReadCluster(scratch, cluster) == 0) return FailRead();
    if (offset < ClusterSize(scratch)) {
      CopyOut(scratch, cluster, offset, to);
      VMR_LOG(kLogEachItem, "data found in cluster read from file");
      return 1;
    }
    cluster = GetNextCluster(cluster);
    offset = kClusterHeaderBytes;
    if (ClusterSt(scratch) == kNeverWrittenSt) {
      to.next_position = static_cast<long>(cluster) * kClusterBytes;
      return 1;
    }
  }
}

// Deliberate: within a cluster the next position is the cluster's start plus the
// bytes just copied, whatever index the copying began at. Readers start every
// cluster at its beginning, where the two are the same.
void DataStoreNormal::CopyOut(const unsigned char* image, int cluster, int offset,
                              const ReadTarget& to) {
  const int available = ClusterSize(image) - offset;
  const int copied = std::min(available, to.buffer_size);
  memcpy(to.buffer, image + offset, static_cast<std::size_t>(copied));
  to.bytes_read = copied;
  to.next_position = copied < available
                         ? static_cast<long>(cluster) * kClusterBytes + copied
                         : static_cast<long>(GetNextCluster(cluster)) * kClusterBytes;
}

int DataStoreNormal::ReadFromCurrent(int cluster, int offset, const ReadTarget& to) const {
  const unsigned char* const image = curr_buffer_.get();
  const int size = ClusterSize(image);
  const long start = static_cast<long>(cluster) * kClusterBytes;
  if (size > offset) {
    CopyOut(image, cluster, offset, to);
    to.next_position = start + to.bytes_read;
  } else {
    // In a full cluster one byte less: the position behind it would be the
    // oldest cluster, and a reader would go round the ring for ever.
    to.next_position = start + std::min(size, kClusterBytes - 1);
  }
  VMR_LOG(kLogEachItem, "data found in currBuffer");
  return 1;
}

long DataStoreNormal::InitialReadLocation() {
  if (!open_) return 0;
  unsigned char* const scratch = WorkBuffer();
  StartTickSearch();
  for (int cluster = ClusterBehindNewest(); cluster != currCluster;
       cluster = GetNextCluster(cluster)) {
    if (ReadCluster(scratch, cluster) == 0) continue;  // lost; what follows it is not
    const bool wrapped = ClusterSt(scratch) != kNeverWrittenSt;
    return wrapped ? static_cast<long>(cluster) * kClusterBytes : 0;
  }
  return static_cast<long>(currCluster) * kClusterBytes;
}

}  // namespace vmr
