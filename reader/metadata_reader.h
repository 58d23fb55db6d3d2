// Reads a recording back: collects packets, parses them into a store, prints
// them.
#ifndef VMR_READER_METADATA_READER_H_
#define VMR_READER_METADATA_READER_H_

#include <memory>
#include <string>

#include "backends/data_store_normal.h"
#include "host/watchdog.h"
#include "reader/packet_collector.h"
#include "reader/packet_parser.h"
#include "store/data_store.h"

namespace vmr {

// How a reader opens a ring that it is given the path of.
enum class RingAccess {
  kRepair,    // as a recorder does: what is damaged or missing is repaired
  kReadOnly,  // as it is: nothing on disk is changed
};

// What the last extraction came to. Ticks are kNoTick where there is none. Copied
// packets whose tick is unknown count as packets and bytes, and not in what is said
// of ticks.
struct ExtractionReport {
  unsigned int widened_end = 0;  // last tick that was copied if there was one
  int state_cluster = -1;        // where the replay began; -1: nowhere
  bool dump_found = false;       // ... because a state dump was found there
  unsigned int dump_tick = kNoTick;
  unsigned int later_dump_tick = kNoTick;  // of the earliest dump passed as too late
  bool start_tick_folded = false;          // the start tick held packets: not copied
  unsigned long packets = 0;               // copied
  unsigned long long bytes = 0;            // of them
  unsigned int first_tick = kNoTick;       // of them
  unsigned int last_tick = kNoTick;
  unsigned int widest_gap = 0;           // ticks from one copied tick to the next
  unsigned int gap_tick = kNoTick;       // the tick before it
  unsigned long long skipped_bytes = 0;  // among the copied ticks that were no packet
  bool ticks_went_back = false;          // from one copied tick to the next
  unsigned int next_tick = kNoTick;      // the first one past the end
  bool read_failed = false;              // the source could not be read to its end
  bool wrote_everything = false;         // no write to the file failed or was short
};

// One reader makes one pass over one source at a time. It collects the packets
// of a tick in the work buffer of a second store, the output, and then parses
// them into that store or copies them to it.
//
// Owns     nothing of the stores, which outlive each call.
// Threads  none.
// Errors   damage is skipped and logged; nothing in a recording makes it read
//          outside a packet or a buffer. No packet CRC is checked.
class MetadataReader {
 public:
  explicit MetadataReader(RingAccess access = RingAccess::kRepair) : ring_access_(access) {}
  virtual ~MetadataReader() = default;
  MetadataReader(const MetadataReader&) = delete;
  MetadataReader& operator=(const MetadataReader&) = delete;

  // Begins a new pass at a position of the source: forgets what was buffered and
  // decoded, and the tick.
  void StartAt(long position);

  // Collects the packets of the next tick from `source` into the work buffer of
  // `buffer`, an open store other than `source` and than a ring. Returns how many
  // (at most 17), 0 at the end of the data, -1 when the source could not be read.
  [[nodiscard]] int ReadNextSystemTick(DataStore& source, DataStore& buffer);
  // Parses the collected packets. 0 at the first that cannot be, else 1.
  int ParseReadSystemTick(DataStore& out);
  // Hands the collected packets to `out` as they are. 0 at the first that it
  // refuses, else 1.
  [[nodiscard]] int WriteReadSystemTick(DataStore& out);
  // Parses one packet, of which `length` bytes may be looked at. 1, or 0 for a
  // null packet or a byte that is no header.
  int ParsePacket(DataStore& out, const unsigned char* packet, int length);
  // Parses one item, all of which must be there. Returns its bytes, -1 for an
  // illegal tag and for null.
  int ParseItem(DataStore& out, const unsigned char* item);
  // Prints bytes as a hexadecimal and a printable row; nothing for null.
  static void DebugPrint(const unsigned char* bytes, int count);

  // Prints the ring store or flat file at `path` between two ticks (0 and
  // 0xFFFFFFFF for all of it) to standard output; `expanded` adds dumps. What stands in
  // front of the first is replayed, of a ring only as far as lines depend on it. False
  // only when it could not be opened.
  [[nodiscard]] bool ViewFile(const std::string& path, bool ringStore, unsigned int startSystemTick,
                              unsigned int endSystemTick, bool expanded);

  // Makes `destPath` a flat file that can be decoded on its own: a label, the
  // full state at `startSystemTick`, and every packet of the ring at `sourcePath`
  // after that tick and up to 20 ticks past `endSystemTick`. What was at
  // `destPath` is lost once the ring is open. `watchdog` may be null. False when
  // the ring or the file could not be opened, read or written, or when no state
  // could be found to begin with; the file then holds what there was to write.
  // True also when the range holds nothing.
  [[nodiscard]] bool ReadToNewFile(const std::string& sourcePath, const std::string& destPath,
                                   unsigned int startSystemTick, unsigned int endSystemTick,
                                   Watchdog* watchdog);
  // The cluster from which to replay in order to know the state at `sysTick`: the
  // last one, going back from `startCluster`, with a state dump not after it, or an
  // empty one. A dump whose tick its cluster's packets do not tell is taken only when
  // there is no other, from the cluster's first tick, and not behind the oldest
  // cluster. -1 when there is none or a cluster cannot be read. The reader then
  // stands at the packet with the dump's end. What reading records again in `output`
  // is discarded before it fills the areas, unless items waited there before.
  int FindMostRecentStateDump(DataStoreNormal& source, DataStore& output, int startCluster,
                              unsigned int sysTick);
  // Whether the cluster in the read buffer, which is `output`'s work buffer, holds
  // the end of a state dump not after `sysTick`. Parses it into `output` up to there.
  bool DoesClusterContainStateDump(DataStore& output, unsigned int sysTick);

  const ExtractionReport& LastExtraction() const { return extraction_; }

  // The tick of the packets collected last; kNoTick before the first that
  // tells it.
  unsigned int ReadSysTick() const { return collector_.Tick(); }

 private:
  bool OpenRing(DataStoreNormal& ring) const;
  std::unique_ptr<DataStore> OpenSource(const std::string& path, bool ring_store) const;

  RingAccess ring_access_;
  PacketCollector collector_;
  PacketParser parser_;
  ExtractionReport extraction_;
};

}  // namespace vmr

#endif  // VMR_READER_METADATA_READER_H_
