// Printing a recording as text.
#include <cstdio>
#include <memory>
#include <optional>

#include "backends/cluster_format.h"
#include "backends/data_store_flat.h"
#include "backends/data_store_normal.h"
#include "backends/data_store_null.h"
#include "reader/listing_shortcut.h"
#include "reader/metadata_reader.h"
#include "store/view_text.h"

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

// One listing of what is between two ticks, of a source that is open.
class Listing {
 public:
  Listing(PacketCollector& packets, PacketParser& parser, DataStore& source, DataStore& out)
      : packets_(packets), parser_(parser), source_(source), out_(out) {}

  // `shortcut` may be null.
  void Print(unsigned int start, unsigned int end, bool expanded, ListingShortcut* shortcut);

 private:
  void PrintTick();
  void TakeShortcut(ListingShortcut& shortcut);

  PacketCollector& packets_;
  PacketParser& parser_;
  DataStore& source_;
  DataStore& out_;
};

void Listing::Print(unsigned int start, unsigned int end, bool expanded,
                    ListingShortcut* shortcut) {
  const ViewBatch batch;
  bool started = false;
  while (packets_.CollectTick(source_, out_) >= 1) {
    if (parser_.Decoded().end_of_stream_seen) return;
    const bool was_started = started;
    if (!started && !IsBefore(packets_.Tick(), start)) {
      out_.SetViewMode(kViewItems | (expanded ? kViewDumps : 0));
      started = true;
    }
    PrintTick();
    // Deliberate: the first tick past the end is still printed, and the first
    // tick printed is not tested.
    if (was_started && IsPast(packets_.Tick(), end)) {
      out_.SetViewMode(0);
      return;
    }
    if (!started && shortcut != nullptr) TakeShortcut(*shortcut);
  }
}

// Bytes that are no packets are none of a recorder's.
void Listing::TakeShortcut(ListingShortcut& shortcut) {
  if (packets_.SkippedBytes() > 0) return;
  const auto place = shortcut.Find(packets_.NextPosition());
  if (!place) return;
  packets_.StartAt(static_cast<long>(place->cluster) * kClusterBytes);
  packets_.SetTick(place->tick);
  out_.InitCurrentSystemTick(place->tick);
}

void Listing::PrintTick() {
  if (!parser_.ParseTick(out_, packets_)) {  // never so: what was collected is of known kinds
    // Deliberate: to standard error, and the listing counts as a success.
    std::fprintf(stderr, "Error Parsing the system tick\n");
    parser_.Decoded().end_of_stream_seen = true;  // ends the listing like the stream's own end
  }
  // What reading recorded again is discarded here, before it piles up.
  if (out_.HasPendingItems()) out_.WriteBuffers();
}

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
  std::optional<ListingShortcut> shortcut;
  if (ringStore && startSystemTick != kWholeFileStart)
    shortcut.emplace(static_cast<DataStoreNormal&>(*source), out, startSystemTick);
  Listing(collector_, parser_, *source, out)
      .Print(startSystemTick, endSystemTick, expanded, shortcut ? &*shortcut : nullptr);
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

}  // namespace vmr
