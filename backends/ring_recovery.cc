// Opening the ring store: which cluster was written last, which of the two files
// took the last write, what tick the recording had reached. All of it is found
// out from the files alone; nothing else is kept anywhere.
#include <algorithm>
#include <new>
#include <utility>

#include "backends/cluster_copies.h"
#include "backends/data_store_normal.h"
#include "backends/file_io.h"
#include "host/file_ops.h"
#include "host/log.h"
#include "store/packet_format.h"

namespace vmr {
namespace {

constexpr char kLogSource[] = "DataStoreNormal.cc";

// How much a file's word counts when the last writer is chosen.
enum class Standing { kNotSearchable, kEmpty, kHoldsData };

// "File 1: newest: cluster(3), sysTick(99) - oldest: cluster(4), sysTick(5)"
struct PositionOf {
  const FileStore* file;
};
std::ostream& operator<<(std::ostream& out, const PositionOf& position) {
  const FileStore& file = *position.file;
  return out << "File " << file.FileNumber() << ": newest: cluster(" << file.NewestCluster()
             << "), sysTick(" << file.NewestSt() << ") - oldest: cluster(" << file.OldestCluster()
             << "), sysTick(" << file.OldestSt() << ")";
}

Standing StandingOf(const FileStore& file, bool searched) {
  if (!searched) return Standing::kNotSearchable;
  const bool empty = file.NewestSt() == kNeverWrittenSt && file.NewestSize() <= kClusterHeaderBytes;
  return empty ? Standing::kEmpty : Standing::kHoldsData;
}

// The packets of one cluster, walked for the tick they reach.
class TickWalk {
 public:
  explicit TickWalk(const unsigned char* cluster)
      : cluster_(cluster), size_(ClusterSize(cluster)), tick_(ClusterSt(cluster)) {}

  unsigned int Run() {
    for (std::size_t at = kClusterHeaderBytes; at < size_;) at += Step(cluster_ + at, size_ - at);
    return tick_;
  }

 private:
  // A packet that is cut tells its tick when all of its head is there.
  std::size_t Step(const unsigned char* packet, std::size_t available) {
    const PacketShape* const shape = FindPacketShape(packet[0]);
    if (shape != nullptr && available >= shape->head_bytes) tick_ = PacketTick(packet, tick_);
    LogStep(packet[0]);
    // Deliberate: damage is skipped byte by byte.
    return shape == nullptr ? 1 : PacketBytes(*shape, packet, available);
  }

  void LogStep(unsigned char header) const {
    if (header == HEADER_1)
      VMR_LOG(kLogEachItem, "HDR1: sysTick(" << tick_ << ")");
    else if (header == HEADER_2)
      VMR_LOG(kLogEachItem, "HDR2: sysTick(" << tick_ << ")");
    else if (header == HEADER_CONT)
      VMR_LOG(kLogEachItem, "CONT:");
    else if (header == HEADER_DICTIONARY)
      VMR_LOG(kLogEachItem, "DICT");
    else
      VMR_LOG(kLogEachItem, "INVALID");
  }

  const unsigned char* cluster_;
  std::size_t size_;
  unsigned int tick_;
};

}  // namespace

int DataStoreNormal::Open() {
  if (!base_path_.empty() && base_path_[0] == '-') {
    // The copy command would take it for an option.
    VMR_LOG(kLogError, "Refusing the base path " << base_path_ << ": it begins with '-'");
    return 0;
  }
  if (OpenInit() == 0) return 0;
  read_only_ = false;
  last_packet_stored_ = false;
  unstored_ = Unstored{};
  if (OpenAndRecover() == 0) {
    Close();
    return 0;
  }
  HealNextCluster();
  curr_crc_.Learn();
  return 1;
}

int DataStoreNormal::OpenReadOnly() {
  if (OpenInit() == 0) return 0;
  read_only_ = true;
  if (OpenAsItIs() != 0) return 1;
  Close();
  return 0;
}

int DataStoreNormal::AllocateImages() {
  curr_buffer_.reset(new (std::nothrow) unsigned char[kClusterBytes]);
  prev_buffer_.reset(new (std::nothrow) unsigned char[kClusterBytes]);
  check_buffer_.reset(new (std::nothrow) unsigned char[kClusterBytes]);
  if (curr_buffer_ != nullptr && prev_buffer_ != nullptr && check_buffer_ != nullptr) return 1;
  // Deliberate: "NewDataStore", as log watchers know it.
  VMR_LOG(kLogFatal, "NewDataStore: Could not allocate memory");
  return 0;
}

int DataStoreNormal::StartStoreFiles(const std::string& basePath) {
  if (open_) {
    VMR_LOG(kLogError, "Refusing to start the files of an open store");
    return 0;
  }
  unsigned char* const scratch = curr_buffer_.get();
  // Deliberate: the second is started even if the first cannot be, so that both
  // say what is wrong with them.
  const int started1 = file1_.StartFile(basePath, scratch, kClusterCount, kClusterBytes, 1);
  const int started2 = file2_.StartFile(basePath, scratch, kClusterCount, kClusterBytes, 2);
  if (started1 != 0 && started2 != 0) return 1;
  Close();
  return 0;
}

int DataStoreNormal::OpenAndRecover() {
  if (AllocateImages() == 0 || StartStoreFiles(base_path_) == 0) return 0;
  FindBothLastPositions();
  const bool one_new = file1_.FileCreated() != file2_.FileCreated();
  const bool source_searched = file1_.FileCreated() ? searched2_ : searched1_;
  const bool none_usable = (!searched1_ && !searched2_) || (one_new && !source_searched);
  if (none_usable && RecreateFiles() == 0) return 0;

  file1_.MarkStale(false, false);
  file2_.MarkStale(false, false);
  FileStore* last_writer = ChooseLastWriter();
  if (last_writer != nullptr) last_writer = LoadImages(*last_writer);
  if (last_writer == nullptr) return 0;

  InitCurrentSystemTick(FindLastTick());
  PointNextWriteAwayFrom(*last_writer);
  open_ = true;
  return 1;
}

// The last writer stays the file that reads prefer: it lacks nothing.
int DataStoreNormal::OpenAsItIs() {
  if (AllocateImages() == 0) return 0;
  FileStore* last_writer = ChooseAsItIs();
  if (last_writer != nullptr) last_writer = LoadImages(*last_writer);
  if (last_writer == nullptr) return 0;
  curr_file_ = last_writer;
  other_file_ = &Twin(*last_writer);
  // An empty file has won against one that cannot be searched, if there is
  // another at all. What that one holds is read from it.
  if (last_writer->NewestSt() == kNeverWrittenSt) std::swap(curr_file_, other_file_);
  InitCurrentSystemTick(FindLastTick());
  open_ = true;
  return 1;
}

// Both files are tried, so that both say what is wrong with them.
FileStore* DataStoreNormal::ChooseAsItIs() {
  searched1_ = file1_.StartFileReadOnly(base_path_, kClusterCount, kClusterBytes, 1) != 0;
  searched2_ = file2_.StartFileReadOnly(base_path_, kClusterCount, kClusterBytes, 2) != 0;
  searched1_ = searched1_ && SearchPatiently(file1_, WorkBuffer());
  searched2_ = searched2_ && SearchPatiently(file2_, WorkBuffer());
  if (searched1_ || searched2_) return CompareFiles();
  VMR_LOG(kLogError, "Unable to find last position in both Metadata files. Nothing is changed");
  return nullptr;
}

void DataStoreNormal::FindBothLastPositions() {
  searched1_ = SearchPatiently(file1_, WorkBuffer());
  searched2_ = SearchPatiently(file2_, WorkBuffer());
}

// What a search comes to decides what becomes of a file. One in which a call failed is
// repeated before it counts.
bool DataStoreNormal::SearchPatiently(FileStore& file, unsigned char* scratch) {
  constexpr int kRepeats = 3;
  constexpr unsigned int kPause_us = 100000;
  for (int repeats = 0;; ++repeats) {
    const bool found = file.FindLastPosition(kClusterCount, kClusterBytes, scratch) != 0;
    if (!file.CallFailed() || repeats == kRepeats) return found;
    static_cast<void>(FileOps::Current().Usleep(kPause_us));  // a shorter one does no harm
  }
}

// Deliberate: the history is lost to the recorder rather than recording refused. Of two
// files only file #1 is kept aside. One that this opening made holds nothing: #2, which
// then has all there is, is kept, and what an opening cut short by a power loss has set
// aside does not give way to it.
int DataStoreNormal::RecreateFiles() {
  file1_.Close();
  file2_.Close();
  VMR_LOG(kLogError, "Unable to find last position in both Metadata files. Recreating files");
  if (file1_.FileCreated() && !file2_.FileCreated()) {
    file1_.Remove();
    if (file2_.SetAside() == 0) return 0;
  } else {
    if (file1_.FileCreated())
      file1_.Remove();
    else
      file1_.HandleCorrupt();
    file2_.Remove();
  }
  // If the new files' names reached the device first, a power loss could leave a
  // new file #1 without the one set aside, or beside the old file #2.
  if (!SyncDirectoryOf(file1_.Path())) {
    const Reason reason;
    VMR_LOG(kLogWarning,
            "Could not sync the directory of file " << file1_.Path() << ", " << reason);
  }
  if (StartStoreFiles(base_path_) == 0) return 0;
  FindBothLastPositions();
  const bool both_new = file1_.FileCreated() && file2_.FileCreated();
  return both_new || (searched1_ && searched2_) ? 1 : 0;
}

FileStore* DataStoreNormal::ChooseLastWriter() {
  if (file1_.FileCreated() && file2_.FileCreated()) return ChooseOfNewFiles();
  if (file1_.FileCreated()) {
    if (!searched1_) file1_.TakeNothingWritten(kClusterCount);
    return FillCreatedFile(file1_, file2_);
  }
  if (file2_.FileCreated()) {
    StepOntoContinuations(file1_);
    return FillCreatedFile(file2_, file1_);
  }
  return CompareFiles();
}

// What is in new files is known, even where they cannot be searched.
FileStore* DataStoreNormal::ChooseOfNewFiles() {
  VMR_LOG(kLogWarning, "Completely new store for metadata created.");
  if (!searched1_) file1_.TakeNothingWritten(kClusterCount);
  return &file1_;
}

// Deliberate: file #1 counts as the last writer in both cases, with the position
// that its own search found before the copy. When file #1 was the missing one
// that is cluster 0, and recording resumes there.
FileStore* DataStoreNormal::FillCreatedFile(FileStore& created, FileStore& source) {
  const std::string& created_path = created.Path();
  const std::string& source_path = source.Path();
  VMR_LOG(kLogWarning,
          "File " << created_path << " was created, copying in contents from " << source_path);
  if (created.CopyFile(kClusterCount, kClusterBytes, source) == 0) {
    RemoveFailedCopy(created);
    return nullptr;
  }
  const PositionOf position{&source};
  VMR_LOG(kLogInfo, position);
  return &file1_;
}

FileStore* DataStoreNormal::CompareFiles() {
  VMR_LOG(kLogEachItem, "Found last position");
  VMR_LOG(kLogEachItem, PositionOf{&file1_});
  VMR_LOG(kLogEachItem, PositionOf{&file2_});
  if (searched1_) StepOntoContinuations(file1_);
  if (searched2_) StepOntoContinuations(file2_);
  StepBackFromLapBefore();

  const Standing standing1 = StandingOf(file1_, searched1_);
  const Standing standing2 = StandingOf(file2_, searched2_);
  const bool same_cluster =
      standing1 == standing2 && file1_.NewestCluster() == file2_.NewestCluster();
  const bool file2_is_newer =
      standing1 == standing2 ? IsFile2Newer(same_cluster) : standing1 < standing2;
  FileStore& newer = file2_is_newer ? file2_ : file1_;
  FileStore& behind = file2_is_newer ? file1_ : file2_;
  // A power loss may have come between creating a missing file and filling it.
  // Its never-written clusters would read as the end of the recording. Where the
  // recording is still in its first cluster, the next turn fills it; a copy would
  // only spread what damage the other file has.
  const bool first_cluster_only = newer.NewestCluster() == 0 && newer.OldestSt() == kNeverWrittenSt;
  const bool never_filled = std::min(standing1, standing2) == Standing::kEmpty &&
                            std::max(standing1, standing2) == Standing::kHoldsData &&
                            !first_cluster_only;
  if (never_filled && !SettleEmptyFile(behind, newer)) return nullptr;
  // A file that is behind within the same cluster lacks its last write; one that
  // is behind by a cluster lacks the end of the previous one too.
  behind.MarkStale(true, !same_cluster);
  return &newer;
}

// The search stops in front of a cluster that only continuations have reached yet where
// that is the first or the last one of the file.
void DataStoreNormal::StepOntoContinuations(FileStore& file) {
  const bool empty = file.NewestCluster() == 0 && file.NewestSt() == kNeverWrittenSt;
  if (file.NewestSt() == kPartialWrapSt || empty) return;
  const int next = GetNextCluster(file.NewestCluster());
  const unsigned int next_st = file.OldestCluster() == next
                                   ? file.OldestSt()
                                   : file.GetSt(kClusterBytes, WorkBuffer(), next);
  if (next_st != kPartialWrapSt) return;
  if (file.GetSize(kClusterBytes, WorkBuffer(), next) <= kClusterHeaderBytes) return;
  file.TakeNewest(kClusterCount, kClusterBytes, WorkBuffer(), next);
}

// An older recorder left such a cluster without a tick when it was full; where the
// newest one stands in front of it, it is of the lap before. The two files' copies of it
// are then the same, which those of a newest cluster are not.
void DataStoreNormal::StepBackFromLapBefore() {
  unsigned char* const one = curr_buffer_.get();
  unsigned char* const two = prev_buffer_.get();
  for (FileStore* const file : {&file1_, &file2_}) {
    const int cluster = file->NewestCluster();
    const bool full = kClusterBytes - file->NewestSize() < static_cast<int>(kMaxPacketBytes);
    if (!WasSearched(*file) || file->NewestSt() != kPartialWrapSt || !full) continue;
    if (file->OldestSt() == kNeverWrittenSt) continue;  // there was no lap before
    if (file->ReadCluster(kClusterBytes, one, cluster) == 0 || !Twin(*file).IsOpen() ||
        Twin(*file).ReadCluster(kClusterBytes, two, cluster) == 0 || !AreSameCopy(one, two))
      continue;
    file->TakeNewest(kClusterCount, kClusterBytes, WorkBuffer(), GetPrevCluster(cluster));
  }
}

// Of two files of one standing.
bool DataStoreNormal::IsFile2Newer(bool same_cluster) {
  const int newest1 = file1_.NewestCluster();
  const int newest2 = file2_.NewestCluster();
  const unsigned int st1 = file1_.NewestSt();
  const unsigned int st2 = file2_.NewestSt();
  // One of them may have begun the cluster anew, after the other could not be read.
  const bool begun_anew = st1 != st2 && TellsTick(st1) && TellsTick(st2);
  if (same_cluster) return begun_anew ? st1 < st2 : file1_.NewestSize() < file2_.NewestSize();
  // Of clusters of one tick (a dump may fill a dozen) the shorter way round leads ahead.
  const int ahead = (newest2 - newest1 + kClusterCount) % kClusterCount;
  if (st1 == st2) return ahead < kClusterCount / 2;
  // So it does of neighbours of which one has no tick yet.
  const bool one_untold = st1 == kPartialWrapSt || st2 == kPartialWrapSt;
  if (one_untold && (ahead == 1 || ahead == kClusterCount - 1)) return ahead == 1;
  return ComparableTick(file1_) < ComparableTick(file2_);
}

// Of the newest cluster, or of the one before that if it has none.
unsigned int DataStoreNormal::ComparableTick(FileStore& file) {
  if (file.NewestSt() != kPartialWrapSt) return file.NewestSt();
  return file.GetSt(kClusterBytes, WorkBuffer(), GetPrevCluster(file.NewestCluster()));
}

// For a reader that must not fill it, it is better not there.
bool DataStoreNormal::SettleEmptyFile(FileStore& empty, FileStore& source) {
  if (!read_only_) return FillEmptyFile(empty, source);
  empty.Close();
  return true;
}

bool DataStoreNormal::FillEmptyFile(FileStore& empty, FileStore& source) {
  const std::string& empty_path = empty.Path();
  const std::string& source_path = source.Path();
  VMR_LOG(kLogWarning,
          "File " << empty_path << " is empty, copying in contents from " << source_path);
  if (empty.CopyFile(kClusterCount, kClusterBytes, source) != 0) return true;
  // A copy that never began (a write-protected medium) leaves what there was.
  if (empty.ValidateAndOpenFile(kClusterCount, kClusterBytes) != 0) return true;
  RemoveFailedCopy(empty);
  return false;
}

void DataStoreNormal::RemoveFailedCopy(FileStore& file) {
  const std::string& path = file.Path();
  VMR_LOG(kLogError, "Error copying to file " << path);
  Close();
  if (!file.FileCreated()) file.Remove();  // else the copying has
}

unsigned int DataStoreNormal::FindLastTick() const {
  VMR_LOG(kLogEachItem, "Searching for last system tick at last position");
  const bool has_tick = ClusterSt(curr_buffer_.get()) != kPartialWrapSt;
  return TickOrZero(TickWalk(has_tick ? curr_buffer_.get() : prev_buffer_.get()).Run());
}

void DataStoreNormal::PointNextWriteAwayFrom(const FileStore& last_writer) {
  const bool wrote_file1 = &last_writer == &file1_;
  curr_file_ = wrote_file1 ? &file2_ : &file1_;
  other_file_ = wrote_file1 ? &file1_ : &file2_;
  VMR_LOG(kLogInfo, "Last wrote to file #" << other_file_->FileNumber()
                                           << ". Setting next write file to be #"
                                           << curr_file_->FileNumber());
  VMR_LOG(kLogEachItem,
          "currFile->" << curr_file_->FileNumber() << " otherFile->" << other_file_->FileNumber());
  VMR_LOG(kLogInfo, "Data Store Initialized: currCluster(" << currCluster << "), prevCluster("
                                                           << prevCluster << "), lastSysTick("
                                                           << GetCurrentSystemTick() << ")");
}

// A power loss may have torn the first write of the next cluster. Reading it
// repairs it from the mirror while that is still good; left alone, a second
// power loss could make both files unsearchable.
void DataStoreNormal::HealNextCluster() {
  static_cast<void>(
      ReadWithFallback(WorkBuffer(), GetNextCluster(currCluster), &FileStore::ReadClusterTwice));
}

}  // namespace vmr
