// Extracting a range of ticks of a ring into a flat file of its own.
#include <cstdio>

#include "backends/data_store_flat.h"
#include "host/file_ops.h"
#include "host/log.h"
#include "reader/metadata_reader.h"

namespace vmr {
namespace {

constexpr char kLogSource[] = "MetadataReader.cc";
constexpr char kOperation[] = "ReadToNewFile";

constexpr unsigned int kEndOfAllTicks = 0xFFFFFFFF;
// What follows a range by less than ten seconds is copied too.
constexpr unsigned int kTicksPastEnd = 20;

unsigned int Widened(unsigned int end) {
  return end > kEndOfAllTicks - kTicksPastEnd ? kEndOfAllTicks : end + kTicksPastEnd;
}

// An unknown tick comes before every start and is past no end.
bool IsBefore(unsigned int tick, unsigned int start) { return tick == kNoTick || tick < start; }
bool IsPast(unsigned int tick, unsigned int end) { return tick != kNoTick && tick > end; }

void Pet(Watchdog* watchdog) {
  if (watchdog != nullptr) watchdog->PetWatchdog();
}

// A tick beside the range it is compared with.
struct Position {
  unsigned int read;
  unsigned int start;
  unsigned int end;
};
std::ostream& operator<<(std::ostream& out, const Position& at) {
  return out << ", readSysTick = " << at.read << ", startSystemTick_ = " << at.start
             << ", endSystemTick_ = " << at.end;
}

}  // namespace

struct MetadataReader::Extraction {
  DataStoreNormal& source;
  DataStoreFlatWrite& out;
  unsigned int start;
  unsigned int asked_end;
  unsigned int end;  // widened
  Watchdog* watchdog;

  // What the file begins with says which range it is.
  void ReportLabel() const {
    char label[256];
    std::snprintf(label, sizeof(label), "Range %u to %u", start, asked_end);
    label[sizeof(label) - 1] = '\0';
    out.ReportStringData(TAG_LOG, label);
  }
};

bool MetadataReader::OpenRing(DataStoreNormal& ring) const {
  return (ring_access_ == RingAccess::kReadOnly ? ring.OpenReadOnly() : ring.Open()) != 0;
}

bool MetadataReader::ReadToNewFile(const std::string& sourcePath, const std::string& destPath,
                                   unsigned int startSystemTick, unsigned int endSystemTick,
                                   Watchdog* watchdog) {
  VMR_LOG(kLogInfo, kOperation << ": Being asked for metadata in range at starting system tick "
                               << startSystemTick << " to ending system tick " << endSystemTick);
  extraction_ = ExtractionReport{};
  DataStoreNormal source(sourcePath);
  if (!OpenRing(source)) {
    VMR_LOG(kLogError, kOperation << ": Could not open input file " << sourcePath);
    return false;
  }
  // There is usually none.
  static_cast<void>(FileOps::Current().Remove(destPath.c_str()));
  Pet(watchdog);
  DataStoreFlatWrite out(destPath);
  if (out.Open() == 0) {
    VMR_LOG(kLogError, kOperation << ": Could not open output data store");
    source.Close();
    return false;
  }
  Pet(watchdog);
  const bool extracted =
      Extract({source, out, startSystemTick, endSystemTick, Widened(endSystemTick), watchdog});
  Pet(watchdog);
  source.Close();
  Pet(watchdog);
  out.Close();
  extraction_.wrote_everything = out.WroteEverything();
  Pet(watchdog);
  return extracted;
}

// The file holds a full state whatever happens.
bool MetadataReader::Extract(const Extraction& job) {
  job.ReportLabel();
  extraction_.widened_end = job.end;
  job_ = &job;
  items_discarded_ = false;
  StartAt(0);
  UseBuffer(job.out);
  bool started = false;
  Progress progress = GoToState(job) ? Progress::kGoOn : Progress::kFailed;
  // Items of the ranges before are no news; a relative position without an
  // absolute one before it is.
  decoded_.policy_end_seen = true;
  while (progress == Progress::kGoOn) {
    const int packets = ReadNextSystemTick(job.source, job.out);
    // Deliberate: the end of the data and data that cannot be read are both the
    // end, and a success.
    extraction_.read_failed = packets < 0;
    if (packets < 1) break;
    progress = TakeTick(job, started);
    if (progress == Progress::kGoOn) Pet(job.watchdog);
  }
  if (!started) {
    VMR_LOG(kLogTrace, kOperation << ": Metadata system tick read NEVER FOUND IN RANGE to "
                                     "starting/ending system ticks, writing full state at starting "
                                     "system tick");
    job.out.InitCurrentSystemTick(job.start);
    WriteState(job);
  }
  job_ = nullptr;
  return progress != Progress::kFailed;
}

// Leaves the reader where the replay begins.
bool MetadataReader::GoToState(const Extraction& job) {
  const int cluster = job.source.FindSystemTick(job.start);
  Pet(job.watchdog);
  if (cluster < 0) {  // never so: the search of an open ring ends at a cluster
    VMR_LOG(kLogError, kOperation << ": Failure finding system tick - " << job.start);
    return false;
  }
  VMR_LOG(kLogTrace, kOperation << ": Found system tick (" << job.start << ") at cluster "
                                << cluster << ", searching for last full state dump");
  const int state_cluster = FindMostRecentStateDump(job.source, job.out, cluster, job.start);
  if (state_cluster < 0) {
    VMR_LOG(kLogError, kOperation << ": Failure finding recent state dump - " << job.start);
    return false;
  }
  extraction_.state_cluster = state_cluster;
  VMR_LOG(kLogInfo, kOperation << ": Last state dump found: stateCluster(" << state_cluster
                               << "), nextReadLoc(" << next_read_location_ << "), readSysTick("
                               << read_sys_tick_ << ")");
  Pet(job.watchdog);
  return true;
}

MetadataReader::Progress MetadataReader::TakeTick(const Extraction& job, bool& started) {
  if (!started) return TakeTickBeforeStart(job, started);
  if (IsPast(read_sys_tick_, job.end)) return EndBefore(read_sys_tick_);
  const Progress progress = CopyTick(job);
  if (progress == Progress::kGoOn)
    VMR_LOG(kLogTrace, kOperation << ": Metadata system tick read is IN RANGE to the "
                                     "starting/ending system ticks, writing metadata"
                                  << Position{read_sys_tick_, job.start, job.end});
  return progress;
}

MetadataReader::Progress MetadataReader::TakeTickBeforeStart(const Extraction& job, bool& started) {
  const bool past_start = !IsBefore(read_sys_tick_, job.start) && read_sys_tick_ != job.start;
  if (past_start) {
    WriteStartState(job, "GREATER THAN");
    started = true;
    return IsPast(read_sys_tick_, job.end) ? EndBefore(read_sys_tick_) : CopyTick(job);
  }
  if (ParseReadSystemTick(job.out) == 0) {  // never so: what was collected is of known kinds
    VMR_LOG(kLogError, kOperation << ": Failed Parsing System Tick");
    return Progress::kFailed;
  }
  KeepRoomForState(job);
  if (IsBefore(read_sys_tick_, job.start)) return Progress::kGoOn;
  // The tick's own packets are part of that state, and not copied.
  extraction_.start_tick_folded = true;
  WriteStartState(job, "EQUAL TO");
  started = true;
  return Progress::kGoOn;
}

MetadataReader::Progress MetadataReader::EndBefore(unsigned int tick) {
  extraction_.next_tick = tick;
  return Progress::kDone;
}

MetadataReader::Progress MetadataReader::CopyTick(const Extraction& job) {
  if (ParseReadSystemTick(job.out) == 0 || WriteReadSystemTick(job.out) == 0) {
    VMR_LOG(kLogError, kOperation << ": Failed Parsing or Writing System Tick");
    return Progress::kFailed;
  }
  CountCopiedTick();
  if (job.out.UsedAreas() > kFilledAreas) job.out.WriteBuffers();
  return Progress::kGoOn;
}

void MetadataReader::CountCopiedTick() {
  ExtractionReport& report = extraction_;
  for (int i = 0; i < num_read_packets_; ++i) report.bytes += packet_bytes_[i];
  report.packets += static_cast<unsigned long>(num_read_packets_);
  report.skipped_bytes = skipped_bytes_;
  if (read_sys_tick_ == kNoTick) return;
  const unsigned int before = report.last_tick;
  report.last_tick = read_sys_tick_;
  if (report.first_tick == kNoTick) report.first_tick = read_sys_tick_;
  if (before == kNoTick) return;
  report.ticks_went_back = report.ticks_went_back || read_sys_tick_ < before;
  const unsigned int gap = read_sys_tick_ < before ? 0 : read_sys_tick_ - before;
  if (gap <= report.widest_gap) return;
  report.widest_gap = gap;
  report.gap_tick = before;
}

// Stamped with the start, whose tick the output already has when it was read.
void MetadataReader::WriteStartState(const Extraction& job, const char* relation) {
  VMR_LOG(kLogTrace, kOperation << ": Metadata system tick read is " << relation
                                << " the starting system tick, writing full state start"
                                << Position{read_sys_tick_, job.start, job.end});
  if (read_sys_tick_ != job.start) job.out.InitCurrentSystemTick(job.start);
  WriteState(job);
  skipped_bytes_ = 0;
}

void MetadataReader::WriteState(const Extraction& job) {
  KeepRoomForState(job);
  job.out.WriteFullState(false);
  job.out.WriteBuffers();
}

// The waiting items go when they are too many: the full state says what they would.
// Deliberate: once the search has discarded some, all of them go at the first turn of
// the replay, as they do when none is discarded before; extracts hold the same.
void MetadataReader::KeepRoomForState(const Extraction& job) {
  if (!items_discarded_ && job.out.UsedAreas() <= kFilledAreas) return;
  items_discarded_ = false;
  job.out.DiscardPendingItems();
  job.ReportLabel();
}

// Behind it there is room for all that a cluster, or a tick, can record again: nine
// areas.
void MetadataReader::DiscardRecordedAgain(DataStore& output) {
  if (output.UsedAreas() <= kFilledAreas) return;
  items_discarded_ = true;
  output.DiscardPendingItems();
  if (job_ != nullptr) job_->ReportLabel();
}

void MetadataReader::PetBetweenClusters() const {
  if (job_ != nullptr) Pet(job_->watchdog);
}

}  // namespace vmr
