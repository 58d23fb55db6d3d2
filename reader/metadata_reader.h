// Reads a recording back: collects packets, parses them into a store, prints
// them.
#ifndef VMR_READER_METADATA_READER_H_
#define VMR_READER_METADATA_READER_H_

#include <string>

#include "store/data_store.h"
#include "store/tag_catalogue.h"

namespace vmr {

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
  MetadataReader() = default;
  virtual ~MetadataReader() = default;
  MetadataReader(const MetadataReader&) = delete;
  MetadataReader& operator=(const MetadataReader&) = delete;

  // Begins a new pass at a position of the source: forgets what was buffered and
  // decoded, and the tick.
  void StartAt(long position);

  // Collects the packets of the next tick from `source` into the work buffer of
  // `buffer`, an open store other than `source` and than a ring. Returns how many
  // (at most 17), 0 at the end of the data, -1 when the source could not be read.
  int ReadNextSystemTick(DataStore& source, DataStore& buffer);
  // Parses the collected packets. 0 at the first that cannot be, else 1.
  int ParseReadSystemTick(DataStore& out);
  // Hands the collected packets to `out` as they are. 0 at the first that it
  // refuses, else 1.
  int WriteReadSystemTick(DataStore& out);
  // Parses one packet, of which `length` bytes may be looked at. 1, or 0 for a
  // null packet or a byte that is no header.
  int ParsePacket(DataStore& out, const unsigned char* packet, int length);
  // Parses one item, all of which must be there. Returns its bytes, -1 for an
  // illegal tag.
  int ParseItem(DataStore& out, const unsigned char* item);
  // Prints bytes as a hexadecimal and a printable row.
  static void DebugPrint(const unsigned char* bytes, int count);

  // Prints the ring store or flat file at `path` between two ticks (0 and
  // 0xFFFFFFFF for all of it) to standard output; `expanded` adds dumps. False
  // only when it could not be opened.
  bool ViewFile(const std::string& path, bool ringStore, unsigned int startSystemTick,
                unsigned int endSystemTick, bool expanded);

  // The tick of the packets collected last; kNoTick before the first that
  // tells it.
  unsigned int ReadSysTick() const { return read_sys_tick_; }

 private:
  static constexpr int kMaxPackets = 17;

  enum class Examined { kHandled, kIncomplete, kTickComplete };

  // How a packet's length follows from its head, whose last byte counts.
  struct PacketShape {
    std::size_t head_bytes;
    std::size_t bytes_per_count;
    std::size_t tail_bytes;
  };

  // What one pass over a packet's bytes needs to know of it.
  struct ItemArea {
    const char* header_name;  // as the viewer prints it
    int head_bytes;
    int item_bytes;
  };

  // Collecting (metadata_reader.cc).
  void UseBuffer(DataStore& buffer);
  std::size_t Unparsed() const;
  void MakeRoom();
  bool HasRoomForCluster(DataStore& buffer);
  bool ReadMore(DataStore& source, DataStore& buffer, int& bytes_read);
  Examined ExaminePacket(std::size_t available);
  Examined ExamineHeader1(std::size_t available);
  Examined ExamineHeader2(std::size_t available);
  Examined ExamineContinuation(std::size_t available);
  Examined ExamineDictionary(std::size_t available);
  bool IsWhole(std::size_t available, const PacketShape& shape, std::size_t& packet_bytes) const;
  void Collect(std::size_t packet_bytes);

  // Parsing (packet_parser.cc).
  int ParseItemPacket(DataStore& out, const unsigned char* packet, const ItemArea& area,
                      unsigned int tick_before);
  void ParseItems(DataStore& out, const unsigned char* items, int count);
  int ParseItemWithin(DataStore& out, const unsigned char* item, std::size_t available);

  // Viewing (text_viewer.cc).
  void ViewRange(DataStore& source, DataStore& out, unsigned int start, unsigned int end,
                 bool expanded);
  void ViewTick(DataStore& out);

  int num_read_packets_ = 0;
  bool tick_started_ = false;  // a header or continuation is among the packets
  unsigned char* buffer_start_ = nullptr;
  unsigned int buffer_openings_ = 0;  // of the store that owns the buffer
  unsigned char* parse_position_ = nullptr;
  std::size_t buffered_bytes_ = 0;  // valid bytes in the buffer
  unsigned char* packets_[kMaxPackets] = {};
  std::size_t packet_bytes_[kMaxPackets] = {};
  unsigned int read_sys_tick_ = kNoTick;
  long next_read_location_ = 0;
  DecodeResult decoded_;
};

}  // namespace vmr

#endif  // VMR_READER_METADATA_READER_H_
