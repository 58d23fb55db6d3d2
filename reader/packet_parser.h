// Parsing packets and items into a store.
#ifndef VMR_READER_PACKET_PARSER_H_
#define VMR_READER_PACKET_PARSER_H_

#include <cstddef>

#include "reader/date_text.h"
#include "store/data_store.h"
#include "store/tag_catalogue.h"

namespace vmr {

class PacketCollector;

// Hands each item to the decoder of its kind, and prints what frames it when the store
// is in view mode.
//
// Owns     what the items told beside changing the store, and the date printed last.
// Threads  none.
// Errors   nothing in a packet makes it read outside of it.
class PacketParser {
 public:
  // What was told since the last reset. Whoever waits for something takes it back here.
  DecodeResult& Decoded() { return decoded_; }

  // Parses the packets that are listed. False at the first that cannot be.
  [[nodiscard]] bool ParseTick(DataStore& out, const PacketCollector& packets);
  // Parses one packet, of which `length` bytes may be looked at. `position`, for the log:
  // where the source is read next. False for a null packet or a byte that is no header.
  bool ParsePacket(DataStore& out, const unsigned char* packet, int length, long position);
  // Parses one item that must end within `available` bytes. Returns its bytes, -1 for an
  // illegal tag.
  int ParseItem(DataStore& out, const unsigned char* item, std::size_t available);

  // Prints bytes as a hexadecimal and a printable row.
  static void DebugPrint(const unsigned char* bytes, int count);

 private:
  void ParseItemPacket(DataStore& out, const unsigned char* packet, int length, int head_bytes);
  [[gnu::noinline]] void ShowItemPacket(DataStore& out, const unsigned char* packet, int length,
                                        int head_bytes, unsigned int tick_before);
  bool ParseItemOf(const TagRow* row, DataStore& out, const unsigned char* item,
                   std::size_t available, std::size_t& length);
  void ParseItems(DataStore& out, const unsigned char* items, std::size_t count);
  void DumpItems(DataStore& out, const unsigned char* items, std::size_t count);

  DecodeResult decoded_;
  DateText date_;
};

}  // namespace vmr

#endif  // VMR_READER_PACKET_PARSER_H_
