// Printing a recording as text.
#include <cstdio>
#include <memory>

#include "backends/data_store_flat.h"
#include "backends/data_store_normal.h"
#include "backends/data_store_null.h"
#include "reader/metadata_reader.h"

namespace vmr {
namespace {

constexpr unsigned int kWholeFileStart = 0;
constexpr unsigned int kWholeFileEnd = 0xFFFFFFFF;

// A tick that is not known yet, usual where a wrapped ring begins, comes before
// every start but the very beginning, and is never past the end.
bool IsBefore(unsigned int tick, unsigned int start) {
  return tick == kNoTick ? start > kWholeFileStart : tick < start;
}
bool IsPast(unsigned int tick, unsigned int end) { return tick != kNoTick && tick > end; }

}  // namespace

bool MetadataReader::ViewFile(const std::string& path, bool ringStore, unsigned int startSystemTick,
                              unsigned int endSystemTick, bool expanded) {
  std::printf("Expanded view = %d\n", expanded ? 1 : 0);
  std::fflush(stdout);
  if (startSystemTick != kWholeFileStart || endSystemTick != kWholeFileEnd)
    std::printf("Start System Tick (%u) End System Tick (%u)\n", startSystemTick, endSystemTick);

  const std::unique_ptr<DataStore> source = OpenSource(path, ringStore);
  if (source == nullptr) {
    std::fprintf(stderr, "Could not open input file %s\n", path.c_str());
    return false;
  }
  DataStoreNull out;
  if (out.Open() == 0) {
    std::fprintf(stderr, "Could not open output data store\n");
    source->Close();
    return false;
  }
  StartAt(source->InitialReadLocation());
  ViewRange(*source, out, startSystemTick, endSystemTick, expanded);
  static_cast<void>(source->Close());  // nothing was recorded
  static_cast<void>(out.Close());
  std::fflush(stdout);
  return true;
}

// Null when it cannot be opened.
std::unique_ptr<DataStore> MetadataReader::OpenSource(const std::string& path,
                                                      bool ring_store) const {
  if (ring_store) {
    auto ring = std::make_unique<DataStoreNormal>(path);
    if (OpenRing(*ring)) return ring;
    return nullptr;
  }
  auto flat = std::make_unique<DataStoreFlatRead>(path);
  if (flat->Open() != 0) return flat;
  return nullptr;
}

void MetadataReader::ViewRange(DataStore& source, DataStore& out, unsigned int start,
                               unsigned int end, bool expanded) {
  bool started = false;
  while (ReadNextSystemTick(source, out) >= 1) {
    if (decoded_.end_of_stream_seen) return;
    const bool was_started = started;
    if (!started && !IsBefore(read_sys_tick_, start)) {
      out.SetViewMode(kViewItems | (expanded ? kViewDumps : 0));
      started = true;
    }
    ViewTick(out);
    // Deliberate: the first tick past the end is still printed, and the first
    // tick printed is not tested.
    if (was_started && IsPast(read_sys_tick_, end)) {
      out.SetViewMode(0);
      return;
    }
  }
}

void MetadataReader::ViewTick(DataStore& out) {
  if (ParseReadSystemTick(out) == 0) {  // never so: what was collected is of known kinds
    // Deliberate: to standard error, and the listing counts as a success.
    std::fprintf(stderr, "Error Parsing the system tick\n");
    decoded_.end_of_stream_seen = true;  // ends the listing like the stream's own end
  }
  // What reading recorded again is discarded here, before it piles up.
  if (out.HasPendingItems()) out.WriteBuffers();
}

}  // namespace vmr
