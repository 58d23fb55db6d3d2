// Extracting a range of ticks of a ring into a flat file of its own.
#include "backends/data_store_flat.h"
#include "host/file_ops.h"
#include "host/log.h"
#include "reader/cluster_walk.h"
#include "reader/metadata_reader.h"
#include "reader/output_room.h"
#include "reader/state_dump_search.h"

namespace vmr {
namespace {

constexpr char kLogSource[] = "MetadataReader.cc";
constexpr char kOperation[] = "ReadToNewFile";

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

// One extraction, from the open ring to the open file. What it comes to goes into the
// report.
class RangeExtraction {
 public:
  // `range`: as it was asked for.
  RangeExtraction(PacketCollector& packets, PacketParser& parser, ExtractionReport& report,
                  DataStoreNormal& source, DataStoreFlatWrite& out, const OutputRoom::Range& range,
                  Watchdog* watchdog)
      : packets_(packets),
        parser_(parser),
        report_(report),
        source_(source),
        out_(out),
        room_(out, range),
        start_(range.start),
        end_(EndOfExtract(range.end)),
        watchdog_(watchdog) {}

  bool Run();

 private:
  enum class Progress { kGoOn, kDone, kFailed };

  bool GoToState();
  Progress TakeTick();
  Progress TakeTickBeforeStart();
  Progress CopyTick();
  Progress EndBefore(unsigned int tick);
  void CountCopiedTick();
  void WriteStartState(const char* relation);
  void WriteState();
  Position Here() const { return {packets_.Tick(), start_, end_}; }

  PacketCollector& packets_;
  PacketParser& parser_;
  ExtractionReport& report_;
  DataStoreNormal& source_;
  DataStoreFlatWrite& out_;
  OutputRoom room_;
  unsigned int start_;
  unsigned int end_;  // widened
  Watchdog* watchdog_;
  bool started_ = false;
};

// The file holds a full state whatever happens.
bool RangeExtraction::Run() {
  room_.ReportLabel();
  report_.widened_end = end_;
  packets_.UseBuffer(out_);
  Progress progress = GoToState() ? Progress::kGoOn : Progress::kFailed;
  // Items of the ranges before are no news; a relative position without an
  // absolute one before it is.
  parser_.Decoded().policy_end_seen = true;
  while (progress == Progress::kGoOn) {
    const int packets = packets_.CollectTick(source_, out_);
    // Deliberate: the end of the data and data that cannot be read are both the
    // end, and a success.
    report_.read_failed = packets < 0;
    if (packets < 1) break;
    progress = TakeTick();
    if (progress == Progress::kGoOn) Pet(watchdog_);
  }
  if (!started_) {
    VMR_LOG(kLogTrace, kOperation << ": Metadata system tick read NEVER FOUND IN RANGE to "
                                     "starting/ending system ticks, writing full state at starting "
                                     "system tick");
    out_.InitCurrentSystemTick(start_);
    WriteState();
  }
  return progress != Progress::kFailed;
}

// Leaves the reader where the replay begins.
bool RangeExtraction::GoToState() {
  const int cluster = source_.FindSystemTick(start_);
  Pet(watchdog_);
  if (cluster < 0) {  // never so: the search of an open ring ends at a cluster
    VMR_LOG(kLogError, kOperation << ": Failure finding system tick - " << start_);
    return false;
  }
  VMR_LOG(kLogTrace, kOperation << ": Found system tick (" << start_ << ") at cluster " << cluster
                                << ", searching for last full state dump");
  const ClusterWalk walk(packets_, parser_, report_);
  const StateDumpSearch::Job job{source_, out_, cluster, start_, &room_, watchdog_};
  const int state_cluster = StateDumpSearch(packets_, walk, job).Run();
  if (state_cluster < 0) {
    VMR_LOG(kLogError, kOperation << ": Failure finding recent state dump - " << start_);
    return false;
  }
  report_.state_cluster = state_cluster;
  VMR_LOG(kLogInfo, kOperation << ": Last state dump found: stateCluster(" << state_cluster
                               << "), nextReadLoc(" << packets_.NextPosition() << "), readSysTick("
                               << packets_.Tick() << ")");
  Pet(watchdog_);
  return true;
}

RangeExtraction::Progress RangeExtraction::TakeTick() {
  if (!started_) return TakeTickBeforeStart();
  if (IsPast(packets_.Tick(), end_)) return EndBefore(packets_.Tick());
  const Progress progress = CopyTick();
  if (progress == Progress::kGoOn)
    VMR_LOG(kLogTrace, kOperation << ": Metadata system tick read is IN RANGE to the "
                                     "starting/ending system ticks, writing metadata"
                                  << Here());
  return progress;
}

RangeExtraction::Progress RangeExtraction::TakeTickBeforeStart() {
  const unsigned int tick = packets_.Tick();
  const bool past_start = !IsBefore(tick, start_) && tick != start_;
  if (past_start) {
    WriteStartState("GREATER THAN");
    started_ = true;
    return IsPast(tick, end_) ? EndBefore(tick) : CopyTick();
  }
  if (!parser_.ParseTick(out_, packets_)) {  // never so: what was collected is of known kinds
    VMR_LOG(kLogError, kOperation << ": Failed Parsing System Tick");
    return Progress::kFailed;
  }
  room_.KeepForState();
  if (IsBefore(tick, start_)) return Progress::kGoOn;
  // The tick's own packets are part of that state, and not copied.
  report_.start_tick_folded = true;
  WriteStartState("EQUAL TO");
  started_ = true;
  return Progress::kGoOn;
}

RangeExtraction::Progress RangeExtraction::EndBefore(unsigned int tick) {
  report_.next_tick = tick;
  return Progress::kDone;
}

RangeExtraction::Progress RangeExtraction::CopyTick() {
  if (!parser_.ParseTick(out_, packets_) || !packets_.CopyTo(out_)) {
    VMR_LOG(kLogError, kOperation << ": Failed Parsing or Writing System Tick");
    return Progress::kFailed;
  }
  CountCopiedTick();
  if (room_.IsScarce()) out_.WriteBuffers();
  return Progress::kGoOn;
}

void RangeExtraction::CountCopiedTick() {
  const unsigned int tick = packets_.Tick();
  for (const PacketCollector::Packet& packet : packets_) report_.bytes += packet.count;
  report_.packets += static_cast<unsigned long>(packets_.PacketCount());
  report_.skipped_bytes = packets_.SkippedBytes();
  if (tick == kNoTick) return;
  const unsigned int before = report_.last_tick;
  report_.last_tick = tick;
  if (report_.first_tick == kNoTick) report_.first_tick = tick;
  if (before == kNoTick) return;
  report_.ticks_went_back = report_.ticks_went_back || tick < before;
  const unsigned int gap = tick < before ? 0 : tick - before;
  if (gap <= report_.widest_gap) return;
  report_.widest_gap = gap;
  report_.gap_tick = before;
}

// Stamped with the start, whose tick the output already has when it was read.
void RangeExtraction::WriteStartState(const char* relation) {
  VMR_LOG(kLogTrace, kOperation << ": Metadata system tick read is " << relation
                                << " the starting system tick, writing full state start" << Here());
  if (packets_.Tick() != start_) out_.InitCurrentSystemTick(start_);
  WriteState();
  packets_.ForgetSkippedBytes();
}

void RangeExtraction::WriteState() {
  room_.KeepForState();
  out_.WriteFullState(false);
  out_.WriteBuffers();
}

}  // namespace

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
  StartAt(0);
  RangeExtraction extraction(collector_, parser_, extraction_, source, out,
                             {startSystemTick, endSystemTick}, watchdog);
  const bool extracted = extraction.Run();
  Pet(watchdog);
  source.Close();
  Pet(watchdog);
  out.Close();
  extraction_.wrote_everything = out.WroteEverything();
  Pet(watchdog);
  return extracted;
}

}  // namespace vmr
